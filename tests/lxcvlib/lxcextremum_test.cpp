#include "lxcextremum.h"

#include "lxcdatabufferentry.h"
#include "lxclightstripeedgesinglepixel.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <type_traits>

namespace LxCV {
namespace {

using TracedPixel = LxCLightStripeEdgeSinglePixel;

LxCExtremum Encoded(int id, bool contFlag, bool contFlag2, std::uint32_t symbol, int subpixel)
{
    LxCExtremum pixel;
    pixel.EncodeExtremum(id, contFlag, contFlag2, LxCSymbol(symbol), subpixel);
    return pixel;
}

TEST(DecodingWords, AddressAnImageOfWords)
{
    static_assert(std::is_trivially_copyable_v<LxCExtremum> && std::is_trivially_copyable_v<TracedPixel>);
    EXPECT_EQ(sizeof(LxCExtremum), 4U);
    EXPECT_EQ(sizeof(TracedPixel), 4U);
    EXPECT_EQ(sizeof(LxCDataBufferEntry), 4U);
    // Little endian: the low byte holds the sub-pixel offset.
    const unsigned char bytes[4] = {0x2A, 0x00, 0x00, 0x00};
    LxCExtremum pixel;
    std::memcpy(static_cast<void*>(&pixel), bytes, sizeof(pixel));
    EXPECT_EQ(pixel.GetSubpixelInt(), 42);
}

TEST(LxCExtremum, ConstantsDescribeTheFields)
{
    EXPECT_EQ(LxCExtremum::m_sciLSEdgeIdOffset, 14);
    EXPECT_EQ(LxCExtremum::m_sciUint8Max, 255);
    EXPECT_EQ(LxCExtremum::m_sciSymAndOffsetBitmask, 4095);
    EXPECT_EQ(LxCExtremum::m_sciContFlag, 0x1000);
    EXPECT_EQ(LxCExtremum::m_sciContFlag2, 0x2000);
}

TEST(LxCExtremum, AWordOfZeroIsNoExtremum)
{
    EXPECT_FALSE(LxCExtremum().HasEntry());
    EXPECT_TRUE(LxCExtremum(1).HasEntry());
}

TEST(LxCExtremum, FieldsDoNotDisturbEachOther)
{
    std::mt19937 random(8);
    for (int i = 0; i < 5000; ++i) {
        const int id = static_cast<int>(random() % 256);
        const bool flag = random() % 2 == 1;
        const bool flag2 = random() % 2 == 1;
        const std::uint32_t symbol = random() % 64;
        const int subpixel = static_cast<int>(random() % 64);
        const LxCExtremum pixel = Encoded(id, flag, flag2, symbol, subpixel);
        ASSERT_EQ(pixel.GetLSEdgeIdUntraced(), id);
        ASSERT_EQ(pixel.IsContFlag(), flag);
        ASSERT_EQ(pixel.IsContFlag2(), flag2);
        ASSERT_EQ(pixel.GetSymbolFromExt().GetValue(), symbol);
        ASSERT_EQ(pixel.GetSubpixelInt(), subpixel);
        ASSERT_EQ(pixel.GetWord() >> 22, 0U);
    }
}

TEST(LxCExtremum, EncodingPutsFieldsIntoTheirBits)
{
    EXPECT_EQ(Encoded(0xA5, true, false, 0x2A, 0x11).GetWord(), 0xA5U << 14 | 0x1000U | 0x2AU << 6 | 0x11U);
    EXPECT_EQ(Encoded(0, false, true, 0, 0).GetWord(), 0x2000U);
}

TEST(LxCExtremum, EncodingMasksNothing)
{
    // A fraction of 70 is 64 + 6: it sets the lowest symbol bit.
    EXPECT_EQ(Encoded(0, false, false, 4, 70).GetSymbolFromExt().GetValue(), 5U);
    // An OR, not a sum: a bit that is set already stays.
    EXPECT_EQ(Encoded(0, false, false, 1, 70).GetSymbolFromExt().GetValue(), 1U);
    EXPECT_EQ(Encoded(0, false, false, 64, 0).IsContFlag(), true);
    EXPECT_EQ(Encoded(256, false, false, 0, 0).GetWord(), 1U << 22);
    EXPECT_EQ(Encoded(-1, false, false, 0, 0).GetWord(), 0xFFFFC000U);
    EXPECT_EQ(Encoded(0, false, false, 0, -1).GetWord(), 0xFFFFFFFFU);
}

TEST(LxCExtremum, ANewIdDropsTheContinuationFlags)
{
    LxCExtremum pixel = Encoded(3, true, true, 0x15, 9);
    pixel.SetUntracedId(200);
    EXPECT_EQ(pixel.GetWord(), Encoded(200, false, false, 0x15, 9).GetWord());
    LxCExtremum high(0xFFFFFFFFU);
    high.SetUntracedId(0);
    EXPECT_EQ(high.GetWord(), 0xFFFU);
}

TEST(LxCExtremum, FlagsAreAddedOneByOne)
{
    LxCExtremum pixel = Encoded(3, false, false, 0x15, 9);
    pixel.AddContFlag();
    EXPECT_EQ(pixel.GetWord(), Encoded(3, true, false, 0x15, 9).GetWord());
    pixel.AddContFlag();
    pixel.AddContFlag2();
    EXPECT_EQ(pixel.GetWord(), Encoded(3, true, true, 0x15, 9).GetWord());
}

TEST(LxCLightStripeEdgeSinglePixel, ConstantsDescribeTheFields)
{
    EXPECT_EQ(TracedPixel::m_sciTracedLSEdge, 0xC00000);
    EXPECT_EQ(TracedPixel::m_sciUint8Max, 255);
    EXPECT_EQ(TracedPixel::m_sciContFlag, 0x1000);
    EXPECT_EQ(TracedPixel::m_sciContFlag2, 0x2000);
    EXPECT_EQ(TracedPixel::m_sciIdMask, 0x3FC0);
    EXPECT_EQ(TracedPixel::m_sciIdMaskInv, 0xFFFFC03FU);
    EXPECT_EQ(TracedPixel::m_sciQualityMaskInv, 0xFFC0FFFFU);
}

TEST(LxCLightStripeEdgeSinglePixel, EncodingClearsAllOtherFields)
{
    TracedPixel pixel(0xFFFFFFFFU);
    pixel.EncodeTracedLSEdgeInfo(122, 33);
    EXPECT_EQ(pixel.GetWord(), 0xC00000U + 122U * 64U + 33U);
    EXPECT_TRUE(pixel.IsPartOfATracedLightStripeEdge());
    EXPECT_EQ(pixel.GetLSEdgeIDTraced(), 122);
    EXPECT_EQ(pixel.GetSubpixelInt(), 33);
    EXPECT_EQ(pixel.GetSymbolQuality(), 0);
    EXPECT_EQ(pixel.GetContrastQuality(), 0);
}

TEST(LxCLightStripeEdgeSinglePixel, EitherMarkerBitMarksATracedPixel)
{
    EXPECT_FALSE(TracedPixel(0xFF3FFFFFU).IsPartOfATracedLightStripeEdge());
    EXPECT_TRUE(TracedPixel(0x400000).IsPartOfATracedLightStripeEdge());
    EXPECT_TRUE(TracedPixel(0x800000).IsPartOfATracedLightStripeEdge());
}

TEST(LxCLightStripeEdgeSinglePixel, AnUntracedIdDoesNotMarkThePixel)
{
    EXPECT_FALSE(TracedPixel(Encoded(255, true, true, 63, 63).GetWord()).IsPartOfATracedLightStripeEdge());
}

TEST(LxCLightStripeEdgeSinglePixel, SettersKeepTheOtherFields)
{
    TracedPixel pixel(0x12C51234U);
    pixel.SetTracedId(0x55);
    EXPECT_EQ(pixel.GetWord(), (0x12C51234U & ~0x3FC0U) | 0x55U << 6);
    EXPECT_EQ(pixel.GetLSEdgeIDTraced(), 0x55);
    const std::uint32_t before = pixel.GetWord();
    pixel.SetSymbolQuality(0x2B);
    EXPECT_EQ(pixel.GetWord(), (before & ~(63U << 16)) | 0x2BU << 16);
    EXPECT_EQ(pixel.GetSymbolQuality(), 0x2B);
    EXPECT_EQ(pixel.GetContrastQuality(), 0x12);
    EXPECT_EQ(TracedPixel(0xFF000000U).GetContrastQuality(), 255);
}

TEST(LxCLightStripeEdgeSinglePixel, SettersMaskNothing)
{
    TracedPixel pixel;
    pixel.SetTracedId(256);
    EXPECT_EQ(pixel.GetWord(), 256U * 64U);
    pixel.Clear();
    pixel.SetSymbolQuality(64);
    EXPECT_EQ(pixel.GetWord(), 64U << 16);
    pixel.Clear();
    pixel.SetTracedId(-1);
    EXPECT_EQ(pixel.GetWord(), 0xFFFFFFC0U);
    // Sums, not ORs: what exceeds a field carries.
    pixel.EncodeTracedLSEdgeInfo(1, 70);
    EXPECT_EQ(pixel.GetLSEdgeIDTraced(), 2);
    EXPECT_EQ(pixel.GetSubpixelInt(), 6);
    pixel.SetSymbolQuality(64);
    EXPECT_FALSE(pixel.IsPartOfATracedLightStripeEdge());
    EXPECT_EQ(pixel.GetContrastQuality(), 1);
}

TEST(LxCLightStripeEdgeSinglePixel, HasIdBitsInPlaceOfTheSymbol)
{
    TracedPixel pixel;
    pixel.EncodeTracedLSEdgeInfo(0xAB, 0);
    EXPECT_EQ(pixel.GetSymbolFromExt().GetValue(), 0xABU & 63U);
}

TEST(LxCDataBufferEntry, OneWordMarksAGap)
{
    EXPECT_EQ(LxCDataBufferEntry::m_sciCountourGap, 60000);
    LxCDataBufferEntry entry;
    EXPECT_FALSE(entry.IsContorGap());
    entry.SetContourGap();
    EXPECT_TRUE(entry.IsContorGap());
    EXPECT_EQ(entry.GetWord(), 60000U);
    EXPECT_FALSE(LxCDataBufferEntry(60001).IsContorGap());
    EXPECT_FALSE(LxCDataBufferEntry(60000U + (1U << 16)).IsContorGap());
}

TEST(LxCDataBufferEntry, MeanOfAGapIsAGap)
{
    LxCDataBufferEntry gap;
    gap.SetContourGap();
    const LxCDataBufferEntry entry(100);
    EXPECT_TRUE(LxCDataBufferEntry::GetMean(gap, entry).IsContorGap());
    EXPECT_TRUE(LxCDataBufferEntry::GetMean(entry, gap).IsContorGap());
    EXPECT_TRUE(LxCDataBufferEntry::GetMean(gap, gap).IsContorGap());
    EXPECT_EQ(LxCDataBufferEntry::GetMean(entry, LxCDataBufferEntry(105)).GetWord(), 102U);
}

} // namespace
} // namespace LxCV
