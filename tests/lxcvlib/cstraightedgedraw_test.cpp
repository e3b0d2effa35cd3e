// Tests of straight edges in id images: drawing and looking for drawn ones.
#include "cstraightedge.h"

#include "lxccalibid.h"
#include "straightedgetestsupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <limits>
#include <set>
#include <utility>

namespace LxCV {
namespace {

using TestSupport::MakeEdge;
using TestSupport::PixelAt;
using TestSupport::WordImage;

constexpr auto eHor = CStraightEdge::eHorizontal;
constexpr auto eVer = CStraightEdge::eVertical;
constexpr std::array c_aOrientations{eHor, eVer};
constexpr int c_iMin = std::numeric_limits<int>::min();
constexpr int c_iMax = std::numeric_limits<int>::max();

using Pixels = std::set<std::pair<int, int>>; // position along the edge, value across it

Pixels DrawnPixels(CCTImage& image, CStraightEdge::EOrientation orientation, int value)
{
    Pixels pixels;
    const bool vertical = orientation == eVer;
    const int length = vertical ? image.GetHeight() : image.GetWidth();
    const int breadth = vertical ? image.GetWidth() : image.GetHeight();
    for (int position = 0; position < length; ++position) {
        for (int across = 0; across < breadth; ++across) {
            if (PixelAt(image, orientation, position, across) == value) {
                pixels.emplace(position, across);
            }
        }
    }
    return pixels;
}

/// Three entries in row 10, three in row 11 and one, two rows further, in row 13.
CStraightEdge StepEdge(CStraightEdge::EOrientation orientation)
{
    return MakeEdge(orientation, 5, 11, [](double p) { return p < 8 ? 10.0 : p < 11 ? 11.0 : 13.0; });
}

TEST(CStraightEdgeDraw, WritesThePixelOfEachEntry)
{
    for (const auto orientation : c_aOrientations) {
        CCTImage image = WordImage(20, 20);
        StepEdge(orientation).Draw(image, 77, 0, false);
        EXPECT_EQ(DrawnPixels(image, orientation, 77),
                  (Pixels{{5, 10}, {6, 10}, {7, 10}, {8, 11}, {9, 11}, {10, 11}, {11, 13}}));
    }
}

TEST(CStraightEdgeDraw, ClosesStepsOfOnePixel)
{
    for (const auto orientation : c_aOrientations) {
        CCTImage image = WordImage(20, 20);
        StepEdge(orientation).Draw(image, 77, 0, true);
        // (8, 10) joins (7, 10) and (8, 11); the step of two stays open.
        EXPECT_EQ(DrawnPixels(image, orientation, 77),
                  (Pixels{{5, 10}, {6, 10}, {7, 10}, {8, 10}, {8, 11}, {9, 11}, {10, 11}, {11, 13}}));
    }
}

TEST(CStraightEdgeDraw, GoesOnBeyondBothEndsAsFarAsTheImage)
{
    for (const auto orientation : c_aOrientations) {
        CCTImage image = WordImage(13, 20);
        if (orientation == eVer) {
            image = WordImage(20, 13);
        }
        StepEdge(orientation).Draw(image, 1, 3, false);
        EXPECT_EQ(DrawnPixels(image, orientation, 1), (Pixels{{2, 10},
                                                              {3, 10},
                                                              {4, 10},
                                                              {5, 10},
                                                              {6, 10},
                                                              {7, 10},
                                                              {8, 11},
                                                              {9, 11},
                                                              {10, 11},
                                                              {11, 13},
                                                              {12, 13}}));
    }
}

TEST(CStraightEdgeDraw, MovesByItsOffsetInTheImagePlane)
{
    CCTImage image = WordImage(20, 20);
    StepEdge(eHor).DrawEx(image, 1, 0, false, 3, -2);
    EXPECT_EQ(DrawnPixels(image, eHor, 1),
              (Pixels{{8, 8}, {9, 8}, {10, 8}, {11, 9}, {12, 9}, {13, 9}, {14, 11}}));
    image.Clear();
    StepEdge(eVer).DrawEx(image, 1, 0, false, 3, -2); // x is the value across
    EXPECT_EQ(DrawnPixels(image, eVer, 1),
              (Pixels{{3, 13}, {4, 13}, {5, 13}, {6, 14}, {7, 14}, {8, 14}, {9, 16}}));
}

TEST(CStraightEdgeDraw, LeavesGapsOpen)
{
    CCTImage words = WordImage(40, 40);
    TestSupport::PutEdge(words, eHor, 10, 20, [](double p) { return p < 15 ? 20.0 : 21.0; });
    words.SetInt32PixelFast(15, 21, 0);
    CStraightEdge edge(eHor);
    edge.Trace(words, 18, 21, CStraightEdge::sc_iBridgeGaps);
    CCTImage image = WordImage(40, 40);
    edge.Draw(image, 1, 0, true);
    EXPECT_EQ(DrawnPixels(image, eHor, 1).size(), 10U);
    EXPECT_EQ(image.GetInt32PixelFast(15, 20), 0);
    EXPECT_EQ(image.GetInt32PixelFast(16, 20), 0);
}

TEST(CStraightEdgeDraw, KeepsWithinTheImage)
{
    for (const auto orientation : c_aOrientations) {
        const CStraightEdge edge = StepEdge(orientation);
        for (const int size : {1, 2, 3, 5, 11}) {
            CCTImage image = WordImage(size, size);
            for (const int offset : {c_iMin, -11, -10, -1, 0, 1, c_iMax}) {
                edge.DrawEx(image, 1, c_iMax, true, offset, offset);
                edge.DrawEx(image, 1, c_iMin, true, offset, 0);
            }
        }
        CCTImage empty;
        edge.Draw(empty, 1, 5, true);
    }
}

TEST(CStraightEdgeDraw, LeavesImagesOfOtherPixelSizesAlone)
{
    CCTImage bytes(20, 20, CCTImage::eIDT_UINT8, 0.0F);
    CCTImage triples(20, 20, CCTImage::eIDT_FLOAT32_3, 0.0F);
    StepEdge(eHor).Draw(bytes, -1, 3, true);
    StepEdge(eHor).Draw(triples, -1, 3, true);
    const auto isClear = [](const CCTImage& image) {
        const auto* const first = static_cast<const std::uint8_t*>(image.GetBuffer());
        return std::all_of(first, first + image.GetSizeInBytes(), [](std::uint8_t b) { return b == 0; });
    };
    EXPECT_TRUE(isClear(bytes));
    EXPECT_TRUE(isClear(triples));
    CCTImage colors(20, 20, CCTImage::eIDT_ARGB8, true, nullptr);
    colors.Clear();
    StepEdge(eHor).Draw(colors, 0xFFFFFF, 0, true);
    EXPECT_EQ(colors.GetInt32PixelFast(5, 10), 0xFFFFFF);
}

TEST(CStraightEdgeDraw, AnEdgeWithoutEntriesDrawsNothing)
{
    CCTImage image = WordImage(10, 10);
    CStraightEdge(eHor).Draw(image, 1, 5, true);
    EXPECT_TRUE(DrawnPixels(image, eHor, 1).empty());
}

TEST(CStraightEdgeDraw, FindsTheFirstEntryThatIsDrawnAlready)
{
    for (const auto orientation : c_aOrientations) {
        const CStraightEdge edge = StepEdge(orientation);
        CCTImage ids = WordImage(20, 20);
        int id = -5;
        EXPECT_FALSE(edge.CheckForPrevEntries(ids, 0, 0, id));
        EXPECT_EQ(id, -5);
        PixelAt(ids, orientation, 9, 11) = LxCCalibId().Encode(12);
        PixelAt(ids, orientation, 10, 11) = LxCCalibId().Encode(13);
        EXPECT_TRUE(edge.CheckForPrevEntries(ids, 0, 0, id));
        EXPECT_EQ(id, 12);
        PixelAt(ids, orientation, 7, 10) = 1 << 30; // any bit counts, the id does not
        EXPECT_TRUE(edge.CheckForPrevEntries(ids, 0, 0, id));
        EXPECT_EQ(id, 0);
    }
}

TEST(CStraightEdgeDraw, LooksForEntriesAtAnOffset)
{
    const CStraightEdge edge = StepEdge(eHor);
    CCTImage ids = WordImage(20, 20);
    ids.SetInt32PixelFast(6 + 2, 10 - 3, LxCCalibId().Encode(4));
    int id = 0;
    EXPECT_FALSE(edge.CheckForPrevEntries(ids, 0, 0, id));
    EXPECT_TRUE(edge.CheckForPrevEntries(ids, 2, -3, id));
    EXPECT_EQ(id, 4);
    for (const int offset : {c_iMin, -1000, 1000, c_iMax}) {
        EXPECT_FALSE(edge.CheckForPrevEntries(ids, offset, 0, id));
        EXPECT_FALSE(edge.CheckForPrevEntries(ids, 0, offset, id));
    }
}

TEST(CStraightEdgeDraw, GapsMeetNothing)
{
    CCTImage words = WordImage(40, 40);
    TestSupport::PutEdge(words, eHor, 10, 20, [](double) { return 20.0; });
    words.SetInt32PixelFast(15, 20, 0);
    CStraightEdge edge(eHor);
    edge.Trace(words, 18, 20, CStraightEdge::sc_iBridgeGaps);
    CCTImage ids = WordImage(40, 40);
    ids.SetInt32PixelFast(15, 20, LxCCalibId().Encode(1));
    int id = 0;
    EXPECT_FALSE(edge.CheckForPrevEntries(ids, 0, 0, id));
    CCTImage floats(40, 40, CCTImage::eIDT_FLOAT32, 1.0F);
    EXPECT_FALSE(edge.CheckForPrevEntries(floats, 0, 0, id));
}

} // namespace
} // namespace LxCV
