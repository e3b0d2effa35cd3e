// Tests of the words of id images.
#include "lxccalibid.h"

#include <gtest/gtest.h>

#include <limits>

namespace LxCV {
namespace {

TEST(LxCCalibId, ConstantsCoverBits0To23)
{
    EXPECT_EQ(LxCCalibId::m_sciIdMask, 0x1FFFF);
    EXPECT_EQ(LxCCalibId::m_sciContourPixelExt, 0xFE0000);
    EXPECT_EQ(LxCCalibId::m_sciIdMask + LxCCalibId::m_sciContourPixelExt, 0xFFFFFF);
}

TEST(LxCCalibId, StartsEmpty)
{
    const LxCCalibId id;
    EXPECT_FALSE(id.HasEntry());
    EXPECT_FALSE(id.IsContourPixel());
    EXPECT_EQ(id.GetId(), 0);
}

TEST(LxCCalibId, EncodeKeepsTheLow17BitsOfTheId)
{
    LxCCalibId id;
    EXPECT_EQ(id.Encode(0x20001), 0xFE0001);
    EXPECT_EQ(id.GetId(), 1);
    EXPECT_TRUE(id.IsContourPixel());
    EXPECT_TRUE(id.HasEntry());
    id.Encode(0x1FFFF);
    EXPECT_EQ(id.GetWord(), 0xFFFFFF);
}

TEST(LxCCalibId, EncodeTakesAnyNumber)
{
    LxCCalibId id;
    id.Encode(-1);
    EXPECT_EQ(id.GetWord(), 0xFFFFFF);
    id.Encode(std::numeric_limits<int>::min());
    EXPECT_EQ(id.GetWord(), 0xFE0000);
}

TEST(LxCCalibId, SetIdReplacesTheIdOnly)
{
    LxCCalibId id;
    id.SetId(5);
    EXPECT_EQ(id.GetWord(), 5);
    EXPECT_FALSE(id.IsContourPixel());
    id.SetContour();
    EXPECT_EQ(id.GetWord(), 0xFE0005);
    id.SetId(0x20003);
    EXPECT_EQ(id.GetWord(), 0xFE0003);
    LxCCalibId high(0x7F000001);
    high.SetId(2);
    EXPECT_EQ(high.GetWord(), 0x7F000002);
}

TEST(LxCCalibId, ClearAndCopy)
{
    LxCCalibId id;
    id.Encode(9);
    const LxCCalibId copy(id);
    LxCCalibId assigned;
    assigned = id;
    id.Clear();
    EXPECT_FALSE(id.HasEntry());
    EXPECT_EQ(copy.GetId(), 9);
    EXPECT_EQ(assigned.GetId(), 9);
}

} // namespace
} // namespace LxCV
