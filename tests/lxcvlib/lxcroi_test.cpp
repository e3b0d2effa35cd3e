#include "lxcroi.h"

#include "cctimage.h"
#include "tests/lxcvlib/sectiontext.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace LxCV {
namespace {

/// Opens the clipping and tells whether `Set` came through the virtual call.
class COpenRoi : public LxCRoi
{
public:
    using LxCRoi::CheckAndAdjust;
    using LxCRoi::LxCRoi;

    bool Set(int left, int top, int width, int height) override
    {
        ++m_iSets;
        return LxCRoi::Set(left, top, width, height);
    }
    using LxCRoi::Shrink;
    bool Shrink(int pixels) override
    {
        ++m_iShrinks;
        return LxCRoi::Shrink(pixels);
    }

    int m_iSets = 0;
    int m_iShrinks = 0;
};

void ExpectRoi(const LxCRoi& roi, int left, int top, int width, int height, const std::string& name = {})
{
    EXPECT_EQ(roi.GetLeftCol(), left);
    EXPECT_EQ(roi.GetTopRow(), top);
    EXPECT_EQ(roi.GetWidth(), width);
    EXPECT_EQ(roi.GetHeight(), height);
    EXPECT_EQ(roi.GetName(), name);
}

TEST(LxCRoi, DefaultConstructionGivesZerosAndNoName)
{
    ExpectRoi(LxCRoi(), 0, 0, 0, 0);
    ExpectRoi(LxCRoi(3), 3, 0, 0, 0);
}

TEST(LxCRoi, ConstructorNormalisesNegativeSizes)
{
    ExpectRoi(LxCRoi(10, 10, -4, 5), 6, 10, 4, 5);
    ExpectRoi(LxCRoi(10, 10, 4, -5, "n"), 10, 5, 4, 5, "n");
}

TEST(LxCRoi, SetTakesNegativeSizesAsTheyAre)
{
    LxCRoi roi(1, 2, 3, 4, "n");
    EXPECT_TRUE(roi.Set(10, 10, -4, -5));
    ExpectRoi(roi, 10, 10, -4, -5, "n");
}

TEST(LxCRoi, ConstructionFromAPointerLeavesTheName)
{
    LxCRoi source(1, 2, 3, 4, "n");
    ExpectRoi(LxCRoi(&source), 1, 2, 3, 4);
    source.Set(1, 2, -3, -4);
    ExpectRoi(LxCRoi(&source), 1, 2, -3, -4);
    ExpectRoi(LxCRoi(static_cast<const LxCRoi*>(nullptr)), 0, 0, 0, 0);
}

TEST(LxCRoi, ConstructionFromAnImageCoversIt)
{
    const CCTImage image(7, 5, CCTImage::eIDT_UINT8, true, nullptr);
    ExpectRoi(LxCRoi(&image), 0, 0, 7, 5);
    ExpectRoi(LxCRoi(static_cast<const CCTImage*>(nullptr)), 0, 0, 0, 0);
}

TEST(LxCRoi, CopiesAndMovesCarryTheName)
{
    LxCRoi source(1, 2, 3, 4, "n");
    LxCRoi copy(source);
    ExpectRoi(copy, 1, 2, 3, 4, "n");
    LxCRoi assigned;
    assigned = source;
    ExpectRoi(assigned, 1, 2, 3, 4, "n");
    LxCRoi moved(std::move(copy));
    ExpectRoi(moved, 1, 2, 3, 4, "n");
    assigned = std::move(moved);
    ExpectRoi(assigned, 1, 2, 3, 4, "n");
}

TEST(LxCRoi, IsPolymorphicWithoutAVirtualDestructor)
{
    EXPECT_TRUE(std::is_polymorphic_v<LxCRoi>);
    EXPECT_FALSE(std::has_virtual_destructor_v<LxCRoi>);
}

TEST(LxCRoi, EdgesAreInclusiveOrExclusiveAsNamed)
{
    const LxCRoi roi(10, 20, 4, 5);
    EXPECT_EQ(roi.GetStartCol(), 10);
    EXPECT_EQ(roi.GetStartRow(), 20);
    EXPECT_EQ(roi.GetRightCol(), 13);
    EXPECT_EQ(roi.GetBottomRow(), 24);
    EXPECT_EQ(roi.GetEndCol(), 14);
    EXPECT_EQ(roi.GetEndRow(), 25);
    EXPECT_EQ(roi.GetSize(), 20);
    EXPECT_EQ(LxCRoi().GetRightCol(), -1);
}

TEST(LxCRoi, CentreAndDistanceAreMeasuredInHalves)
{
    const LxCRoi roi(10, 20, 5, 8);
    EXPECT_EQ(roi.GetCenterCol(), 12.5F);
    EXPECT_EQ(roi.GetCenterRow(), 24.0F);
    // 3-4-5 triangle from the centre.
    EXPECT_EQ(roi.GetDist(15.5, 20.0), 5.0F);
    EXPECT_EQ(roi.GetDist(12.5, 24.0), 0.0F);
}

TEST(LxCRoi, ContainsIncludesTheStartAndExcludesTheEnd)
{
    const LxCRoi roi(10, 20, 4, 5);
    EXPECT_TRUE(roi.Contains(10.0, 20.0));
    EXPECT_TRUE(roi.Contains(13.999, 24.999));
    EXPECT_FALSE(roi.Contains(14.0, 22.0));
    EXPECT_FALSE(roi.Contains(12.0, 25.0));
    EXPECT_FALSE(roi.Contains(9.999, 22.0));
    EXPECT_FALSE(roi.Contains(12.0, 19.999));
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_FALSE(roi.Contains(nan, 22.0));
    EXPECT_FALSE(roi.Contains(12.0, nan));
}

TEST(LxCRoi, ShiftMovesLeftAndTop)
{
    LxCRoi roi(10, 20, 4, 5, "n");
    EXPECT_TRUE(roi.Shift(-11, 3));
    ExpectRoi(roi, -1, 23, 4, 5, "n");
}

TEST(LxCRoi, ResetGoesThroughTheVirtualSetAndKeepsTheName)
{
    COpenRoi roi(10, 20, 4, 5, "n");
    EXPECT_TRUE(roi.Reset());
    ExpectRoi(roi, 0, 0, 0, 0, "n");
    EXPECT_EQ(roi.m_iSets, 1);
}

TEST(LxCRoi, ShrinkTakesPixelsFromAllSides)
{
    COpenRoi roi(10, 20, 9, 15, "n");
    EXPECT_TRUE(roi.Shrink(2));
    ExpectRoi(roi, 12, 22, 5, 11, "n");
    EXPECT_TRUE(roi.Shrink(3, 1));
    ExpectRoi(roi, 15, 23, -1, 9, "n");
    EXPECT_EQ(roi.m_iSets, 2);
}

TEST(LxCRoi, InflateIsTheVirtualShrinkByTheNegative)
{
    COpenRoi roi(10, 20, 9, 15, "n");
    EXPECT_TRUE(roi.Inflate(2));
    ExpectRoi(roi, 8, 18, 13, 19, "n");
    EXPECT_EQ(roi.m_iShrinks, 1);
}

TEST(LxCRoi, FactorsAndDivisorsApplyToAllFourValues)
{
    const LxCRoi roi(3, -5, 7, 9, "n");
    ExpectRoi(roi * 2, 6, -10, 14, 18);
    ExpectRoi(roi * -1, -3, 5, -7, -9);
    ExpectRoi(roi / 2, 1, -2, 3, 4);
    ExpectRoi(roi / -2, -1, 2, -3, -4);
    ExpectRoi(roi / 0, 0, 0, 0, 0);
}

TEST(LxCRoi, AddingMovesByTheOtherRegion)
{
    const LxCRoi roi(3, 5, 7, 9, "n");
    ExpectRoi(roi + LxCRoi(10, -20, 1, 1, "o"), 13, -15, 7, 9);
}

TEST(LxCRoi, ExtremeValuesSaturate)
{
    ExpectRoi(LxCRoi(-5, INT_MIN, INT_MIN, INT_MIN), INT_MIN, INT_MIN, INT_MAX, INT_MAX);
    LxCRoi high(INT_MAX, INT_MAX, INT_MAX, INT_MAX);
    EXPECT_EQ(high.GetRightCol(), INT_MAX);
    EXPECT_EQ(high.GetBottomRow(), INT_MAX);
    EXPECT_EQ(high.GetEndCol(), INT_MAX);
    EXPECT_EQ(high.GetEndRow(), INT_MAX);
    EXPECT_EQ(high.GetSize(), INT_MAX);
    EXPECT_FALSE(high.Contains(0.0, 0.0));
    EXPECT_TRUE(high.Contains(2147483648.0, 2147483648.0));
    ExpectRoi(high * INT_MIN, INT_MIN, INT_MIN, INT_MIN, INT_MIN);
    ExpectRoi(high + high, INT_MAX, INT_MAX, INT_MAX, INT_MAX);
    high.Shift(1, INT_MAX);
    ExpectRoi(high, INT_MAX, INT_MAX, INT_MAX, INT_MAX);
    high.Shrink(INT_MIN);
    ExpectRoi(high, -1, -1, INT_MAX, INT_MAX);
    high.Inflate(INT_MIN);
    ExpectRoi(high, INT_MAX - 1, INT_MAX - 1, -INT_MAX, -INT_MAX);
    LxCRoi low;
    low.Set(INT_MIN, INT_MIN, INT_MIN, INT_MIN);
    EXPECT_EQ(low.GetRightCol(), INT_MIN);
    EXPECT_EQ(low.GetEndRow(), INT_MIN);
    EXPECT_EQ(low.GetSize(), INT_MAX);
    ExpectRoi(low / -1, INT_MAX, INT_MAX, INT_MAX, INT_MAX);
    EXPECT_EQ(low.GetCenterCol(), -3221225472.0F);
}

TEST(LxCRoi, ClippingExtremeValuesSaturates)
{
    COpenRoi roi;
    roi.LxCRoi::Set(INT_MIN, INT_MAX, INT_MIN, INT_MAX);
    EXPECT_TRUE(roi.CheckAndAdjust(INT_MIN, INT_MIN, INT_MAX, INT_MAX));
    // Columns run from -2^32 to -2^31, all left of the bound; rows start at the last one.
    ExpectRoi(roi, INT_MIN, INT_MAX, 0, 0);
    roi.LxCRoi::Set(INT_MAX, INT_MIN, INT_MAX, INT_MIN);
    EXPECT_TRUE(roi.CheckAndAdjust(INT_MAX, INT_MAX, INT_MIN, INT_MIN));
    ExpectRoi(roi, INT_MIN, INT_MIN, 0, INT_MIN);
}

TEST(LxCRoi, CheckAndAdjustClipsAtEveryBound)
{
    COpenRoi inside(2, 3, 4, 5, "n");
    EXPECT_TRUE(inside.CheckAndAdjust(10, 10));
    ExpectRoi(inside, 2, 3, 4, 5, "n");
    COpenRoi across(-2, -3, 20, 30);
    EXPECT_TRUE(across.CheckAndAdjust(10, 12));
    ExpectRoi(across, 0, 0, 10, 12);
    COpenRoi beyond(11, 13, 4, 5);
    EXPECT_TRUE(beyond.CheckAndAdjust(10, 12));
    ExpectRoi(beyond, 10, 12, 0, 0);
    COpenRoi before(-10, -10, 4, 3);
    EXPECT_TRUE(before.CheckAndAdjust(10, 12));
    ExpectRoi(before, 0, 0, -6, -7);
    COpenRoi bounds(0, 0, 100, 100);
    EXPECT_TRUE(bounds.CheckAndAdjust(5, 6, 50, 60));
    ExpectRoi(bounds, 5, 6, 45, 54);
    COpenRoi negative;
    negative.Set(8, 9, -6, -4);
    EXPECT_TRUE(negative.CheckAndAdjust(5, 7));
    ExpectRoi(negative, 2, 5, 3, 2);
}

TEST(LxCRoi, CheckAndAdjustAndIntersectTakeTheImagesSize)
{
    const CCTImage image(10, 12, CCTImage::eIDT_BGRU8, true, nullptr);
    COpenRoi adjusted(-2, 3, 20, 30, "n");
    EXPECT_TRUE(adjusted.CheckAndAdjust(&image));
    ExpectRoi(adjusted, 0, 3, 10, 9, "n");
    LxCRoi intersected(-2, 3, 20, 30, "n");
    EXPECT_TRUE(intersected.Intersect(&image));
    ExpectRoi(intersected, 0, 3, 10, 9, "n");
}

TEST(LxCRoi, IntersectWithANullImageChangesNothing)
{
    LxCRoi roi(-2, 3, 20, 30, "n");
    EXPECT_FALSE(roi.Intersect(static_cast<const CCTImage*>(nullptr)));
    ExpectRoi(roi, -2, 3, 20, 30, "n");
}

TEST(LxCRoi, IntersectWithBoundsWritesStartsAndExclusiveEnds)
{
    const LxCRoi roi(-2, 3, 20, 4, "n");
    int startCol = -9;
    int startRow = -9;
    int endCol = -9;
    int endRow = -9;
    EXPECT_TRUE(roi.Intersect(10, 12, startCol, startRow, endCol, endRow));
    EXPECT_EQ(startCol, 0);
    EXPECT_EQ(startRow, 3);
    EXPECT_EQ(endCol, 10);
    EXPECT_EQ(endRow, 7);
    ExpectRoi(roi, -2, 3, 20, 4, "n");
}

TEST(LxCRoi, IntersectWithBoundsAgreesWithCountingPixels)
{
    std::mt19937 random(5);
    std::uniform_int_distribution<int> position(-12, 20);
    std::uniform_int_distribution<int> size(-15, 15);
    for (int trial = 0; trial < 5000; ++trial) {
        LxCRoi roi;
        roi.Set(position(random), position(random), size(random), size(random));
        int startCol = 0;
        int startRow = 0;
        int endCol = 0;
        int endRow = 0;
        roi.Intersect(10, 8, startCol, startRow, endCol, endRow);
        const LxCRoi covered(roi.GetLeftCol(), roi.GetTopRow(), roi.GetWidth(), roi.GetHeight());
        for (int x = -1; x <= 10; ++x) {
            const bool expected =
                x >= 0 && x < 10 && covered.Contains(x, covered.GetTopRow()) && covered.GetHeight() > 0;
            const bool actual = x >= startCol && x < endCol && covered.GetHeight() > 0;
            ASSERT_EQ(actual, expected) << "trial " << trial << " column " << x;
        }
        for (int y = -1; y <= 8; ++y) {
            const bool expected =
                y >= 0 && y < 8 && covered.Contains(covered.GetLeftCol(), y) && covered.GetWidth() > 0;
            const bool actual = y >= startRow && y < endRow && covered.GetWidth() > 0;
            ASSERT_EQ(actual, expected) << "trial " << trial << " row " << y;
        }
    }
}

TEST(LxCRoi, IntersectWithARegionEndsOneShortPastTheRightAndLowerEdge)
{
    const LxCRoi window(10, 20, 30, 40, "w");
    // Inside: stays. Right edge of the window: last column 39, last row 59.
    ExpectRoi(LxCRoi(12, 22, 5, 6, "n").Intersect(&window), 12, 22, 5, 6);
    ExpectRoi(LxCRoi(0, 0, 100, 100, "n").Intersect(&window), 10, 20, 29, 39);
    // Ends exactly with the window, and still loses the last column and row.
    ExpectRoi(LxCRoi(10, 20, 30, 40).Intersect(&window), 10, 20, 29, 39);
    ExpectRoi(LxCRoi(10, 20, 29, 39).Intersect(&window), 10, 20, 29, 39);
    ExpectRoi(LxCRoi(100, 200, 5, 5).Intersect(&window), 39, 59, 0, 0);
    ExpectRoi(LxCRoi(0, 0, 4, 4).Intersect(&window), 10, 20, -6, -16);
}

TEST(LxCRoi, IntersectWithARegionNormalisesOnlyItself)
{
    LxCRoi roi;
    roi.Set(20, 30, -5, -5);
    const LxCRoi window(10, 20, 30, 40);
    ExpectRoi(roi.Intersect(&window), 15, 25, 5, 5);
    ExpectRoi(roi, 20, 30, -5, -5);
    ExpectRoi(roi.Intersect(static_cast<const LxCRoi*>(nullptr)), 0, 0, 0, 0);
}

/// Ten passes over the region, each of which takes the last extreme pixel that is not taken yet.
double TenPassContrast(const CCTImage& image, const LxCRoi& roi, double& minOut, double& maxOut)
{
    std::vector<std::pair<int, int>> takenMax;
    std::vector<std::pair<int, int>> takenMin;
    double sumMin = 0.0;
    double sumMax = 0.0;
    for (int pass = 0; pass < 10; ++pass) {
        double runningMax = 0.0;
        double runningMin = 255.0;
        std::pair<int, int> atMax(-1, -1);
        std::pair<int, int> atMin(-1, -1);
        for (int y = roi.GetTopRow(); y <= roi.GetBottomRow(); ++y) {
            for (int x = roi.GetLeftCol(); x <= roi.GetRightCol(); ++x) {
                const std::pair here(x, y);
                const double value = static_cast<std::uint8_t>(image.GetBytePixelFast(x, y));
                if (value >= runningMax &&
                    std::find(takenMax.begin(), takenMax.end(), here) == takenMax.end()) {
                    runningMax = value;
                    atMax = here;
                }
                if (value <= runningMin &&
                    std::find(takenMin.begin(), takenMin.end(), here) == takenMin.end()) {
                    runningMin = value;
                    atMin = here;
                }
            }
        }
        takenMax.push_back(atMax);
        takenMin.push_back(atMin);
        sumMax += runningMax;
        sumMin += runningMin;
    }
    minOut = sumMin / 10.0;
    maxOut = sumMax / 10.0;
    return (maxOut - minOut) / (maxOut + minOut);
}

TEST(LxCRoi, ContrastAveragesTheTenBrightestAndDarkest)
{
    // 20 pixels 0, 10, ..., 190: darkest ten average 45, brightest ten 145; (145 - 45) / (145 + 45).
    CCTImage image(5, 4, CCTImage::eIDT_UINT8, true, nullptr);
    for (int i = 0; i < 20; ++i) {
        image.SetPixel(i % 5, i / 5, static_cast<unsigned long>(10 * i));
    }
    double darkest = 0.0;
    double brightest = 0.0;
    EXPECT_EQ(LxCRoi(&image).CalcContrast(&image, darkest, brightest), 100.0 / 190.0);
    EXPECT_EQ(darkest, 45.0);
    EXPECT_EQ(brightest, 145.0);
}

TEST(LxCRoi, ContrastAgreesWithTenPassesOverThePixels)
{
    std::mt19937 random(6);
    for (int trial = 0; trial < 2000; ++trial) {
        const unsigned levels = trial % 3 == 0 ? 4 : 256; // few levels make many ties
        CCTImage image(9, 7, trial % 2 == 0 ? CCTImage::eIDT_UINT8 : CCTImage::eIDT_GRAY8, true, nullptr);
        for (int i = 0; i < 63; ++i) {
            image.SetPixel(i % 9, i / 9, random() % levels * 255UL / (levels - 1));
        }
        const int left = static_cast<int>(random() % 10);
        const int top = static_cast<int>(random() % 8);
        const LxCRoi inside(left, top, static_cast<int>(random() % static_cast<unsigned>(10 - left)),
                            static_cast<int>(random() % static_cast<unsigned>(8 - top)));
        double expectedMin = 0.0;
        double expectedMax = 0.0;
        double actualMin = 0.0;
        double actualMax = 0.0;
        const double expected = TenPassContrast(image, inside, expectedMin, expectedMax);
        const double actual = inside.CalcContrast(&image, actualMin, actualMax);
        ASSERT_EQ(actualMin, expectedMin) << "trial " << trial;
        ASSERT_EQ(actualMax, expectedMax) << "trial " << trial;
        ASSERT_TRUE(actual == expected || (std::isnan(actual) && std::isnan(expected))) << "trial " << trial;
    }
}

TEST(LxCRoi, ContrastOfFewerThanTenPixelsCountsTheMissingOnes)
{
    CCTImage image(2, 1, CCTImage::eIDT_UINT8, true, nullptr);
    image.SetPixel(0, 0, 100UL);
    image.SetPixel(1, 0, 200UL);
    double darkest = 0.0;
    double brightest = 0.0;
    // Darkest: 100, 200 and eight times 255 are 2340; brightest: 200, 100 and eight times 0 are 300.
    EXPECT_EQ(LxCRoi(&image).CalcContrast(&image, darkest, brightest), (30.0 - 234.0) / (30.0 + 234.0));
    EXPECT_EQ(darkest, 234.0);
    EXPECT_EQ(brightest, 30.0);
}

TEST(LxCRoi, ContrastOfAnAllBlackRegionIsNotANumber)
{
    CCTImage image(4, 4, CCTImage::eIDT_UINT8, true, nullptr);
    image.Clear();
    double darkest = 7.0;
    double brightest = 7.0;
    EXPECT_TRUE(std::isnan(LxCRoi(&image).CalcContrast(&image, darkest, brightest)));
    EXPECT_EQ(darkest, 0.0);
    EXPECT_EQ(brightest, 0.0);
}

TEST(LxCRoi, ContrastPartlyOutsideIsMinusOneAndLeavesTheOutputs)
{
    const CCTImage image(5, 4, CCTImage::eIDT_UINT8, 1.0F);
    double darkest = 7.0;
    double brightest = 8.0;
    for (const LxCRoi& roi :
         {LxCRoi(1, 0, 5, 4), LxCRoi(0, 1, 5, 4), LxCRoi(-1, 0, 5, 4), LxCRoi(0, -1, 5, 4),
          LxCRoi(INT_MAX, INT_MAX, INT_MAX, INT_MAX), LxCRoi(1, 1, INT_MAX, 1)}) {
        EXPECT_EQ(roi.CalcContrast(&image, darkest, brightest), -1.0);
    }
    EXPECT_EQ(darkest, 7.0);
    EXPECT_EQ(brightest, 8.0);
}

TEST(LxCRoi, ContrastNeedsAnImageOfUnsignedBytes)
{
    const LxCRoi roi(0, 0, 1, 1);
    double darkest = 7.0;
    double brightest = 8.0;
    EXPECT_EQ(roi.CalcContrast(nullptr, darkest, brightest), -1.0);
    for (const int type : {1, 2, 3, 4, 5, 6, 8, 9, 10, 11}) {
        const CCTImage image(5, 4, static_cast<CCTImage::EImageDataType>(type), 1.0F);
        EXPECT_EQ(roi.CalcContrast(&image, darkest, brightest), -1.0);
    }
    const CCTImage withoutMemory(5, 4, CCTImage::eIDT_UINT8, false, nullptr);
    EXPECT_EQ(roi.CalcContrast(&withoutMemory, darkest, brightest), -1.0);
    EXPECT_EQ(darkest, 7.0);
    EXPECT_EQ(brightest, 8.0);
}

TEST(LxCRoi, ContrastOfANegativeSizeReadsNoPixel)
{
    const CCTImage image(5, 4, CCTImage::eIDT_UINT8, 1.0F);
    LxCRoi roi;
    roi.Set(2, 2, -5, INT_MIN);
    double darkest = 0.0;
    double brightest = 0.0;
    EXPECT_EQ(roi.CalcContrast(&image, darkest, brightest), -1.0);
    EXPECT_EQ(darkest, 255.0);
    EXPECT_EQ(brightest, 0.0);
}

TEST(LxCRoi, SerializeWritesTheGeometryInFileOrder)
{
    LxCRoi roi(1, -2, 3, 4, "n");
    EXPECT_EQ(TestSupport::Store(roi, "::Roi"), "::Roi\nLeftCol=1\nTopRow=-2\nWidth=3\nHeight=4\n");
}

TEST(LxCRoi, SerializeReadsTheGeometryAndKeepsTheName)
{
    LxCRoi roi(9, 9, 9, 9, "n");
    TestSupport::Load(roi, "::Roi", "::Roi\nHeight=-4\nWidth=3\nTopRow=-2\nLeftCol=1\n");
    ExpectRoi(roi, 1, -2, 3, -4, "n");
}

TEST(LxCRoi, SerializeKeepsPresentValuesForMissingAndBadKeys)
{
    LxCRoi roi(5, 6, 7, 8);
    TestSupport::Load(roi, "::Roi", "::Roi\nTopRow=upper\nWidth=3\nHeight=99999999999\n");
    ExpectRoi(roi, 5, 6, 3, 8);
    TestSupport::Load(roi, "::Roi", "::Other\nTopRow=1\n");
    ExpectRoi(roi, 5, 6, 3, 8);
}

} // namespace
} // namespace LxCV
