// Tests of the words of edge images.
#include "lxccalibedge.h"

#include <gtest/gtest.h>

#include <limits>

namespace LxCV {
namespace {

TEST(LxCCalibEdge, ConstantsNameTheBits)
{
    EXPECT_EQ(LxCCalibEdge::m_sciImgLocalMax, 0x40);
    EXPECT_EQ(LxCCalibEdge::m_sciImgLocalMin, 0x80);
    EXPECT_EQ(LxCCalibEdge::m_sciCalibIdPosition, 8);
    EXPECT_EQ(LxCCalibEdge::m_sciCalibEdgeIdMaskInv, 0xFF);
}

TEST(LxCCalibEdge, EncodesPolarityAndFraction)
{
    LxCCalibEdge edge(0);
    EXPECT_FALSE(edge.HasEntry());
    EXPECT_EQ(edge.Encode(true, 5), 0x45);
    EXPECT_TRUE(edge.IsLocalMax());
    EXPECT_FALSE(edge.IsLocalMin());
    EXPECT_TRUE(edge.HasEntry());
    EXPECT_EQ(edge.Encode(false, 63), 0xBF);
    EXPECT_FALSE(edge.IsLocalMax());
    EXPECT_TRUE(edge.IsLocalMin());
    EXPECT_EQ(edge.GetCalibEdgeId(), 0);
}

TEST(LxCCalibEdge, EncodesTheIdAboveBit8)
{
    LxCCalibEdge edge;
    EXPECT_EQ(edge.Encode(true, 1, 0xAB), 0xAB41);
    EXPECT_EQ(edge.GetCalibEdgeId(), 0xAB);
    edge.Encode(true, 1);
    EXPECT_EQ(edge.GetCalibEdgeId(), 0);
}

TEST(LxCCalibEdge, AllFieldsComeBack)
{
    for (int id = 0; id < 256; ++id) {
        for (int fraction = 0; fraction < 64; ++fraction) {
            for (const bool isMax : {false, true}) {
                LxCCalibEdge edge;
                edge.Encode(isMax, fraction, id);
                ASSERT_EQ(edge.GetCalibEdgeId(), id);
                ASSERT_EQ(edge.GetWord() & 0x3F, fraction);
                ASSERT_EQ(edge.IsLocalMax(), isMax);
                ASSERT_EQ(edge.IsLocalMin(), !isMax);
            }
        }
    }
}

TEST(LxCCalibEdge, NumbersOutOfRangeAreDefined)
{
    // Sums modulo 2^32: 0x40 + 0xFFFFFF00 + 0x7FFFFFFF and 0x80 + 0xFFFFFF00 + 0x80000000.
    LxCCalibEdge edge;
    constexpr int kLargest = std::numeric_limits<int>::max();
    EXPECT_EQ(edge.Encode(true, kLargest, kLargest), 0x7FFFFF3F);
    EXPECT_EQ(edge.Encode(false, std::numeric_limits<int>::min(), -1), 0x7FFFFF80);
    EXPECT_EQ(LxCCalibEdge(-1).GetCalibEdgeId(), 255);
    EXPECT_TRUE(LxCCalibEdge(-1).IsLocalMax());
}

} // namespace
} // namespace LxCV
