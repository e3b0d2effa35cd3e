#include "lxcmtfcalibration.h"

#include "cctimage.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <numbers>
#include <random>
#include <set>
#include <tuple>
#include <utility>
#include <vector>

namespace LxCV {
namespace {

constexpr double c_dNaN = std::numeric_limits<double>::quiet_NaN();
constexpr unsigned c_uiHuge = std::numeric_limits<unsigned>::max();

class CMtfProbe : public LxCMTFCalibration
{
public:
    using LxCMTFCalibration::CalculateSingleMTFContrast;
    using LxCMTFCalibration::FindOuterRing;
    using LxCMTFCalibration::LxCMTFCalibration;
    using LxCMTFCalibration::RobustMean;
    using LxCMTFCalibration::sc_dNoRing;
    using LxCMTFCalibration::SetAngle;
    using LxCMTFCalibration::SetScaleFactor;
};

using Bytes = std::array<std::uint8_t, 4>;
constexpr Bytes c_Red = {0, 0, 255, 9};
constexpr Bytes c_White = {255, 255, 255, 9};

/// A bright image whose pixels can be looked at; the fourth byte of a pixel is 9.
class CCanvas
{
public:
    CCanvas(int width, int height, std::uint8_t level = 200)
        : m_Image(width, height, CCTImage::eIDT_ARGB8, true, nullptr)
    {
        Fill(0, 0, width, height, level);
    }

    CCTImage* Image() { return &m_Image; }
    std::uint8_t* At(int x, int y)
    {
        return static_cast<std::uint8_t*>(m_Image.GetBuffer()) + 4 * (y * m_Image.GetWidth() + x);
    }
    Bytes PixelAt(int x, int y)
    {
        Bytes bytes{};
        std::memcpy(bytes.data(), At(x, y), bytes.size());
        return bytes;
    }
    void Fill(int left, int top, int width, int height, std::uint8_t level)
    {
        for (int y = std::max(top, 0); y < std::min(top + height, m_Image.GetHeight()); ++y) {
            for (int x = std::max(left, 0); x < std::min(left + width, m_Image.GetWidth()); ++x) {
                const Bytes pixel = {level, level, level, 9};
                std::memcpy(At(x, y), pixel.data(), pixel.size());
            }
        }
    }

    /// Dark runs in one row: first column and width of each.
    void Runs(int row, const std::vector<std::pair<int, int>>& runs)
    {
        for (const auto& [col, width] : runs) {
            Fill(col, row, width, 1, 10);
        }
    }

    /// A disc of radius 10 and rings from 16 to 18 and from 24 to 26 about a pixel, in which columns and rows are
    /// stretched.
    void Rings(double cx, double cy, double stretchX = 1.0, double stretchY = 1.0)
    {
        for (int y = 0; y < m_Image.GetHeight(); ++y) {
            for (int x = 0; x < m_Image.GetWidth(); ++x) {
                const double r = std::hypot((x - cx) / stretchX, (y - cy) / stretchY);
                if (r < 10.0 || (r > 16.0 && r < 18.0) || (r > 24.0 && r < 26.0)) {
                    Fill(x, y, 1, 1, 10);
                }
            }
        }
    }

    std::vector<std::uint8_t> AllBytes() { return {At(0, 0), At(0, 0) + m_Image.GetSizeInBytes()}; }

private:
    CCTImage m_Image;
};

// -------------------------------------------------------------------------------------------------------- centre

/// Searches the central 60 by 60 pixels, from (20, 10), of 100 by 80 ones; thin runs have 3 pixels at most.
CMtfProbe Searching(CCanvas& canvas)
{
    return CMtfProbe(canvas.Image(), 60, 100, 20, 3);
}

/// Thin, thin, wide, thin, thin about column 41.5.
const std::vector<std::pair<int, int>> c_Figure = {{25, 2}, {30, 2}, {38, 8}, {52, 2}, {57, 2}};

TEST(LxCMTFCalibration, TheMeanOfFiveRunCentresIsTheCentre)
{
    CCanvas canvas(100, 80);
    canvas.Runs(33, c_Figure);
    CMtfProbe mtf = Searching(canvas);
    EXPECT_TRUE(mtf.FindCenterOfCircle());
    // Centres 25.5, 30.5, 41.5, 52.5 and 57.5: their mean 41.5 is truncated.
    EXPECT_EQ(mtf.GetCircleColPos(), 41U);
    EXPECT_EQ(mtf.GetCircleRowPos(), 33U);
    for (const int col : {25, 30, 52, 57}) {
        EXPECT_EQ(canvas.PixelAt(col, 33), c_Red) << col;
    }
    EXPECT_EQ(canvas.PixelAt(41, 33), c_White) << "red before";
    EXPECT_EQ(canvas.PixelAt(42, 33), (Bytes{10, 10, 10, 9}));
    EXPECT_EQ(canvas.PixelAt(26, 33), (Bytes{10, 10, 10, 9}));
    EXPECT_EQ(canvas.PixelAt(25, 32), (Bytes{200, 200, 200, 9}));
}

TEST(LxCMTFCalibration, RunsBeforeTheFigureAreSkippedAndTheFirstFigureCounts)
{
    CCanvas canvas(140, 80);
    canvas.Runs(40, {{42, 5}, {52, 2}, {57, 2}, {65, 8}, {79, 2}, {84, 2}, {90, 8}, {99, 2}, {102, 2}});
    CMtfProbe mtf(canvas.Image(), 100, 100, 20, 3);
    EXPECT_TRUE(mtf.FindCenterOfCircle());
    // 52.5, 57.5, 68.5, 79.5, 84.5; the later figure 79.5, 84.5, 93.5 ... has the mean 91.2.
    EXPECT_EQ(mtf.GetCircleColPos(), 68U);
}

/// That an image with these runs in a row has no centre and stays as it is.
void ExpectNoCentre(const std::vector<std::pair<int, int>>& runs, const char* why)
{
    CCanvas canvas(100, 80);
    canvas.Runs(33, runs);
    const auto before = canvas.AllBytes();
    CMtfProbe mtf = Searching(canvas);
    EXPECT_FALSE(mtf.FindCenterOfCircle()) << why;
    EXPECT_EQ(mtf.GetCircleColPos(), 0U) << why;
    EXPECT_TRUE(canvas.AllBytes() == before) << why;
}

TEST(LxCMTFCalibration, AnImageWithoutTheFigureStaysUnmarked)
{
    ExpectNoCentre({}, "nothing dark");
    ExpectNoCentre({{25, 2}, {30, 2}, {38, 8}, {52, 2}}, "four runs");
    ExpectNoCentre({{25, 4}, {30, 2}, {38, 8}, {52, 2}, {57, 2}}, "a thin run of more than the limit");
    ExpectNoCentre({{25, 2}, {30, 2}, {38, 6}, {52, 2}, {57, 2}}, "a wide run of just twice the limit");
    ExpectNoCentre({{21, 2}, {26, 2}, {31, 20}, {54, 2}, {59, 2}},
                   "a wide run of the longest dark run's length");
    ExpectNoCentre({{25, 2}, {30, 2}, {38, 8}, {52, 2}, {78, 2}},
                   "a run that reaches the square's right side");
    ExpectNoCentre({{20, 2}, {24, 2}, {38, 8}, {70, 2}, {74, 2}}, "gaps that are too wide: 15.5, but 29");
    ExpectNoCentre({{15, 2}, {30, 2}, {38, 8}, {52, 2}, {57, 2}}, "a run outside of the square");
}

TEST(LxCMTFCalibration, WidthsAreComparedWithTheLimitsAsTold)
{
    CCanvas canvas(100, 80);
    // 19 is below the longest dark run, 3 is no more than the thin limit, 19 > 6; the gaps are below 20.
    canvas.Runs(33, {{21, 3}, {26, 3}, {31, 19}, {54, 3}, {59, 3}});
    CMtfProbe mtf = Searching(canvas);
    EXPECT_TRUE(mtf.FindCenterOfCircle());
    EXPECT_EQ(mtf.GetCircleColPos(), 40U) << "the mean of 22, 27, 40, 55 and 60 is 40.8";
}

TEST(LxCMTFCalibration, BytesBelowTheLimitAreDark)
{
    for (const int level : {99, 100}) {
        CCanvas canvas(100, 80);
        for (const auto& [col, width] : c_Figure) {
            canvas.Fill(col, 33, width, 1, static_cast<std::uint8_t>(level));
        }
        CMtfProbe mtf = Searching(canvas);
        EXPECT_EQ(mtf.FindCenterOfCircle(), level < 100);
    }
}

TEST(LxCMTFCalibration, FourNarrowGapsSufficeInALongerRow)
{
    CCanvas canvas(100, 80);
    // A sixth run, 30 columns behind the others.
    canvas.Runs(33, {{21, 1}, {24, 1}, {28, 8}, {39, 1}, {42, 1}, {72, 2}});
    CMtfProbe mtf = Searching(canvas);
    EXPECT_TRUE(mtf.FindCenterOfCircle());
    EXPECT_EQ(mtf.GetCircleColPos(), 31U) << "the mean of 21, 24, 31.5, 39 and 42 is 31.5";
}

TEST(LxCMTFCalibration, AGapOfTheLongestDarkRunIsTooWide)
{
    // Centres 22, 24, 35.5, 55 or 55.5, 58 in the square from 20 on; the fourth narrow gap is 19.5, or 20.
    for (const auto& [width, fine] : {std::pair{1, true}, {2, false}}) {
        CCanvas canvas(100, 80);
        canvas.Runs(33, {{22, 1}, {24, 1}, {32, 8}, {55, width}, {58, 1}});
        CMtfProbe mtf = Searching(canvas);
        EXPECT_EQ(mtf.FindCenterOfCircle(), fine) << width;
    }
}

TEST(LxCMTFCalibration, LongRunsAreNoneSoThatTheirNeighboursMeet)
{
    CCanvas canvas(160, 80);
    // The run of 20 is as the longest dark run, and so none. The gap over it, from 34 to 63.5, is too wide, the four
    // others of the six are not.
    canvas.Runs(34, {{32, 1}, {34, 1}, {38, 20}, {60, 8}, {72, 1}, {74, 1}, {80, 1}});
    CMtfProbe mtf(canvas.Image(), 100, 100, 20, 3);
    ASSERT_TRUE(mtf.FindCenterOfCircle());
    EXPECT_EQ(canvas.PixelAt(32, 34), c_Red)
        << "five runs about the long one, and four narrow gaps beside it";
    EXPECT_EQ(canvas.PixelAt(63, 34), c_Red);
    EXPECT_EQ(canvas.PixelAt(48, 34), (Bytes{10, 10, 10, 9}));
    EXPECT_EQ(canvas.PixelAt(80, 34), (Bytes{10, 10, 10, 9}));
}

TEST(LxCMTFCalibration, RowAndColumnAreTruncatedMeansOverTheRows)
{
    CCanvas canvas(100, 80);
    for (const int row : {30, 31, 32, 33}) {
        canvas.Runs(row, c_Figure);
    }
    CMtfProbe mtf = Searching(canvas);
    ASSERT_TRUE(mtf.FindCenterOfCircle());
    EXPECT_EQ(mtf.GetCircleColPos(), 41U);
    EXPECT_EQ(mtf.GetCircleRowPos(), 31U) << "the mean of 30 to 33 is 31.5";
}

TEST(LxCMTFCalibration, ADiscWithoutRingsIsNoFigure)
{
    CCanvas canvas(201, 151);
    for (int y = 65; y <= 85; ++y) {
        for (int x = 90; x <= 110; ++x) {
            if (std::hypot(x - 100, y - 75) < 10.0) {
                canvas.Fill(x, y, 1, 1, 10);
            }
        }
    }
    const auto before = canvas.AllBytes();
    CMtfProbe mtf(canvas.Image(), 100, 100, 40, 6);
    EXPECT_FALSE(mtf.FindCenterOfCircle());
    EXPECT_TRUE(canvas.AllBytes() == before);
}

TEST(LxCMTFCalibration, FindsTheCentreOfRings)
{
    for (const int dx : {-5, 0, 7}) {
        for (const int dy : {-4, 0, 6}) {
            CCanvas canvas(201, 151);
            canvas.Rings(100 + dx, 75 + dy);
            CMtfProbe mtf(canvas.Image(), 100, 100, 40, 6);
            ASSERT_TRUE(mtf.FindCenterOfCircle());
            EXPECT_EQ(mtf.GetCircleColPos(), 100U + static_cast<unsigned>(dx));
            EXPECT_EQ(mtf.GetCircleRowPos(), 75U + static_cast<unsigned>(dy));
        }
    }
}

TEST(LxCMTFCalibration, RowsWithAnotherFigureAreDropped)
{
    CCanvas canvas(201, 151);
    canvas.Rings(100, 75);
    // A figure of its own, 35 rows below and 20 columns beside.
    canvas.Runs(115, {{105, 2}, {110, 2}, {114, 14}, {130, 2}, {135, 2}});
    CMtfProbe mtf(canvas.Image(), 100, 100, 40, 6);
    ASSERT_TRUE(mtf.FindCenterOfCircle());
    EXPECT_EQ(canvas.PixelAt(105, 115), c_Red) << "it is found";
    EXPECT_EQ(mtf.GetCircleColPos(), 100U);
    EXPECT_EQ(mtf.GetCircleRowPos(), 75U);
}

TEST(LxCMTFCalibration, RobustMeansDropFarSamplesOneByOne)
{
    EXPECT_EQ(CMtfProbe::RobustMean({}), 0.0);
    EXPECT_EQ(CMtfProbe::RobustMean({7.0}), 7.0);
    EXPECT_EQ(CMtfProbe::RobustMean({0.0, 100.0}), 50.0) << "two samples have no outlier";
    // Mean 34: distances 34, 32, 66; 66 >= 1.1 * 34. Then two samples are left.
    EXPECT_EQ(CMtfProbe::RobustMean({0.0, 2.0, 100.0}), 1.0);
    EXPECT_EQ(CMtfProbe::RobustMean({0.0, 0.0, 100.0, 100.0}), 50.0) << "no sample is farther than the next";
    // Mean 0.1: distances 0.1, 0.1, 0.2 are not more than 0.2.
    EXPECT_NEAR(CMtfProbe::RobustMean({0.0, 0.0, 0.3}), 0.1, 1e-15);
    // Mean exactly 0: distances 0.1, 0.1 and 0.2, which is just not over 0.2; then the same times 1.5, 0.3 being over.
    EXPECT_EQ(CMtfProbe::RobustMean({-0.1, -0.1, 0.2}), 0.0);
    EXPECT_EQ(CMtfProbe::RobustMean({-0.15, -0.15, 0.3}), -0.15);
    // Mean 10.15, distances 0.15 three times and 0.45.
    EXPECT_EQ(CMtfProbe::RobustMean({10.0, 10.0, 10.6, 10.0}), 10.0);
    // Mean 26, distances 26, 26, 26, 4, 74; then mean 7.5, distances 7.5 three times and 22.5; then zeros.
    EXPECT_EQ(CMtfProbe::RobustMean({0.0, 0.0, 0.0, 30.0, 100.0}), 0.0);
    // Mean 11, distances 11, 1, 10: 11 is 1.1 times 10, and goes.
    EXPECT_EQ(CMtfProbe::RobustMean({0.0, 12.0, 21.0}), 16.5);
    // Mean 10.95, distances 10.95, 1.05, 9.9 ... 1.106; and mean 11.05, distances 11.05, 10.05, 1: 1.0995.
    EXPECT_NEAR(CMtfProbe::RobustMean({0.0, 21.1, 12.05}), 11.05, 1e-12);
    EXPECT_TRUE(std::isnan(CMtfProbe::RobustMean({1.0, c_dNaN, 2.0, 3.0})));
}

// --------------------------------------------------------------------------------------------------------- scale

TEST(LxCMTFCalibration, TheOuterRingLiesBetweenTheLastTwoChanges)
{
    CCanvas canvas(200, 3);
    canvas.Runs(1, {{50, 8}, {70, 3}, {80, 4}}); // a disc from its middle on, two rings
    const CMtfProbe mtf(canvas.Image(), 0, 100, 0, 0);
    // From column 50: changes at 57 -> 58, 69 -> 70, 72 -> 73, 79 -> 80 and 83 -> 84: 29.5 and 33.5.
    EXPECT_EQ(mtf.FindOuterRing(canvas.At(50, 1), 4, 149), 31.5);
    EXPECT_EQ(mtf.FindOuterRing(canvas.At(50, 1), 4, 33), 0.5 * (22.5 + 29.5))
        << "the reach ends in the ring";
    EXPECT_EQ(mtf.FindOuterRing(canvas.At(50, 1), 4, 8), CMtfProbe::sc_dNoRing) << "one change";
    EXPECT_EQ(mtf.FindOuterRing(canvas.At(50, 1), 4, 0), CMtfProbe::sc_dNoRing);
    EXPECT_EQ(mtf.FindOuterRing(canvas.At(90, 1), -4, 90), 0.5 * (32.5 + 40.5)) << "from the right";
    EXPECT_EQ(CMtfProbe::sc_dNoRing, -1000.0);
}

TEST(LxCMTFCalibration, TheMarkOfTheCentreIsAChange)
{
    CCanvas canvas(100, 1);
    canvas.Runs(0, {{40, 21}});
    const CMtfProbe mtf(canvas.Image(), 0, 100, 0, 0);
    EXPECT_EQ(mtf.FindOuterRing(canvas.At(50, 0), 4, 49), CMtfProbe::sc_dNoRing) << "the disc's end alone";
    canvas.Fill(50, 0, 1, 1, 255);
    EXPECT_EQ(mtf.FindOuterRing(canvas.At(50, 0), 4, 49), 0.5 * (0.5 + 10.5));
}

TEST(LxCMTFCalibration, RingsAreSoughtOverAHundredPixels)
{
    CCanvas canvas(200, 1);
    canvas.Runs(0, {{50, 49}, {99, 2}});
    canvas.Fill(99, 0, 1, 1, 200);
    const CMtfProbe mtf(canvas.Image(), 0, 100, 0, 0);
    EXPECT_EQ(mtf.FindOuterRing(canvas.At(0, 0), 4, 199), 0.5 * (98.5 + 99.5)) << "a change at 100 counts";
    EXPECT_EQ(mtf.FindOuterRing(canvas.At(0, 0), 4, 99), 0.5 * (49.5 + 98.5));
    CCanvas far(200, 1);
    far.Runs(0, {{50, 51}});
    const CMtfProbe other(far.Image(), 0, 100, 0, 0);
    EXPECT_EQ(other.FindOuterRing(far.At(0, 0), 4, 199), CMtfProbe::sc_dNoRing) << "and one at 101 does not";
}

TEST(LxCMTFCalibration, TheScaleIsTheRingsDiameterOverFourFifths)
{
    CCanvas canvas(201, 151);
    canvas.Rings(100, 75);
    CMtfProbe mtf(canvas.Image(), 100, 100, 40, 6);
    ASSERT_TRUE(mtf.FindCenterOfCircle());
    ASSERT_TRUE(mtf.DetermineScaleFactor());
    // Along the axes pixel 25 alone is dark in the outer ring: changes at 24.5 and 25.5.
    EXPECT_FLOAT_EQ(mtf.GetScaleFactor(), 50.0F / 0.8F);
}

TEST(LxCMTFCalibration, DiametersThatDifferByATenthAreRefused)
{
    // In the plain image the rings' diameters are 50 along both axes.
    for (const auto& [stretchX, stretchY, fine] : {std::tuple{1.0, 1.0, true},
                                                   {1.0, 1.08, true},
                                                   {1.08, 1.0, true},
                                                   {1.0, 1.2, false},
                                                   {1.2, 1.0, false}}) {
        CCanvas canvas(201, 151);
        canvas.Rings(100, 75, stretchX, stretchY);
        CMtfProbe mtf(canvas.Image(), 100, 100, 60, 8);
        ASSERT_TRUE(mtf.FindCenterOfCircle());
        EXPECT_EQ(mtf.DetermineScaleFactor(), fine) << stretchX << ", " << stretchY;
        EXPECT_EQ(mtf.GetScaleFactor() > 0.0F, fine);
    }
}

TEST(LxCMTFCalibration, JustATenthIsRefused)
{
    // Rings of one pixel at 20 to the left and right; other distances above and below. 18 and 22 are a tenth off.
    for (const auto& [along, fine] :
         {std::pair{21, true}, {22, false}, {19, true}, {18, false}, {17, false}}) {
        CCanvas canvas(101, 101);
        canvas.Runs(50, {{30, 1}, {38, 1}, {46, 9}, {62, 1}, {70, 1}});
        canvas.Fill(50, 46, 1, 9, 10);
        canvas.Fill(50, 50 - along, 1, 1, 10);
        canvas.Fill(50, 50 + along, 1, 1, 10);
        CMtfProbe mtf(canvas.Image(), 101, 100, 20, 3);
        ASSERT_TRUE(mtf.FindCenterOfCircle());
        ASSERT_EQ(mtf.GetCircleColPos(), 50U);
        ASSERT_EQ(mtf.GetCircleRowPos(), 50U);
        EXPECT_EQ(mtf.DetermineScaleFactor(), fine) << along;
        EXPECT_FLOAT_EQ(mtf.GetScaleFactor(), fine ? static_cast<float>((20 + along) / 0.8) : 0.0F);
    }
}

TEST(LxCMTFCalibration, AMissingRingIsRefused)
{
    CCanvas canvas(101, 101);
    canvas.Runs(50, {{30, 1}, {38, 1}, {46, 9}, {62, 1}, {70, 1}}); // nothing above and below
    CMtfProbe mtf(canvas.Image(), 101, 100, 20, 3);
    ASSERT_TRUE(mtf.FindCenterOfCircle());
    EXPECT_FALSE(mtf.DetermineScaleFactor());
}

// --------------------------------------------------------------------------------------------------- orientation

/// A canvas whose rows are dark up to, not including, the column of each row; 0 is a bright row.
CCanvas EdgeCanvas(const std::vector<int>& columns, int width = 120)
{
    CCanvas canvas(width, static_cast<int>(columns.size()));
    for (std::size_t row = 0; row < columns.size(); ++row) {
        canvas.Fill(0, static_cast<int>(row), columns[row], 1, 10);
    }
    return canvas;
}

float AngleOf(const std::vector<int>& columns, bool& found)
{
    CCanvas canvas = EdgeCanvas(columns);
    CMtfProbe mtf(canvas.Image(), 10, 100, 10, 3);
    found = mtf.DetermineOrientation();
    return mtf.GetAngle();
}

/// The told formula over rows begin to end - 1, in long double.
double SlopeOf(const std::vector<int>& columns, std::size_t begin, std::size_t end)
{
    long double meanCol = 0.0L;
    long double meanRow = 0.0L;
    const auto count = static_cast<long double>(end - begin);
    for (std::size_t row = begin; row < end; ++row) {
        meanCol += columns[row] / count;
        meanRow += static_cast<long double>(row) / count;
    }
    long double rowCol = 0.0L;
    long double colCol = 0.0L;
    for (std::size_t row = begin; row < end; ++row) {
        rowCol += (static_cast<long double>(row) - meanRow) * (columns[row] - meanCol);
        colCol += (columns[row] - meanCol) * (columns[row] - meanCol);
    }
    return static_cast<double>(-std::atan2(rowCol, colCol));
}

constexpr double c_dAngleTolerance = 1e-6; ///< radians, of a float below pi/2

TEST(LxCMTFCalibration, AnEdgeAlongAColumnHasNoAngle)
{
    bool found = false;
    EXPECT_EQ(AngleOf(std::vector<int>(20, 50), found), 0.0F);
    EXPECT_TRUE(found);
    AngleOf(std::vector<int>(19, 50), found);
    EXPECT_FALSE(found) << "19 rows";
}

TEST(LxCMTFCalibration, TheAngleIsTheSlopeOfTheEdge)
{
    // One column to the right a row: 45 degrees downwards to the right. y upwards, that is -45 degrees.
    std::vector<int> columns(40);
    for (int row = 0; row < 40; ++row) {
        columns[static_cast<std::size_t>(row)] = 20 + row;
    }
    bool found = false;
    EXPECT_NEAR(AngleOf(columns, found), -std::numbers::pi / 4.0, c_dAngleTolerance);
    EXPECT_TRUE(found);
    std::reverse(columns.begin(), columns.end());
    EXPECT_NEAR(AngleOf(columns, found), std::numbers::pi / 4.0, c_dAngleTolerance);
    // One column in ten rows: 84.3 degrees, but for the steps.
    for (int row = 0; row < 40; ++row) {
        columns[static_cast<std::size_t>(row)] = 60 - row / 10;
    }
    EXPECT_NEAR(AngleOf(columns, found), SlopeOf(columns, 0, 40), c_dAngleTolerance);
    EXPECT_NEAR(SlopeOf(columns, 0, 40), std::atan(10.0), 0.01);
}

TEST(LxCMTFCalibration, JumpsOfTwoColumnsEndAnEdge)
{
    // 25 rows at column 50, then 25 rows that fall by 1 in 5, two columns aside.
    std::vector<int> columns(50, 50);
    for (int i = 0; i < 25; ++i) {
        columns[static_cast<std::size_t>(25 + i)] = 48 - i / 5;
    }
    bool found = false;
    const double expected = 0.5 * (0.0 + SlopeOf(columns, 25, 50));
    EXPECT_NEAR(AngleOf(columns, found), expected, c_dAngleTolerance);
    for (int i = 0; i < 25; ++i) {
        columns[static_cast<std::size_t>(25 + i)] = 49 - i / 5;
    }
    EXPECT_NEAR(AngleOf(columns, found), SlopeOf(columns, 0, 50), c_dAngleTolerance)
        << "a jump of one does not";
}

TEST(LxCMTFCalibration, RowsWithoutAnEdgeAreNoJump)
{
    std::vector<int> columns;
    for (int row = 0; row < 20; ++row) {
        columns.push_back(50);
        columns.push_back(0);
    }
    bool found = false;
    EXPECT_EQ(AngleOf(columns, found), 0.0F);
    EXPECT_TRUE(found);
}

TEST(LxCMTFCalibration, ShortEdgesDoNotCount)
{
    std::vector<int> columns;
    for (int piece = 0; piece < 5; ++piece) {
        columns.insert(columns.end(), 19, 30 + 10 * piece);
    }
    bool found = true;
    AngleOf(columns, found);
    EXPECT_FALSE(found);
}

TEST(LxCMTFCalibration, LongEdgesDecideAlone)
{
    std::vector<int> columns(200, 50);
    for (int row = 0; row < 40; ++row) {
        columns.push_back(80 - row);
    }
    bool found = false;
    EXPECT_EQ(AngleOf(columns, found), 0.0F) << "200 rows";
    columns.erase(columns.begin());
    EXPECT_NEAR(AngleOf(columns, found), std::numbers::pi / 8.0, c_dAngleTolerance)
        << "199 rows: the mean of 0 and 45 degrees";
}

TEST(LxCMTFCalibration, SixteenBrightPixelsMakeAnEdge)
{
    bool found = false;
    AngleOf(std::vector<int>(30, 120 - 16), found);
    EXPECT_TRUE(found);
    AngleOf(std::vector<int>(30, 120 - 15), found);
    EXPECT_FALSE(found);
    AngleOf(std::vector<int>(30, 120), found);
    EXPECT_FALSE(found) << "dark rows";
    AngleOf(std::vector<int>(30, 0), found);
    EXPECT_FALSE(found) << "bright rows";
}

TEST(LxCMTFCalibration, TheLastEdgeOfARowCounts)
{
    // A tilted edge on the left, an upright one on the right, and dark pixels behind it that have too few bright ones.
    CCanvas canvas(150, 40);
    for (int row = 0; row < 40; ++row) {
        canvas.Fill(0, row, 20 + row, 1, 10);
        canvas.Fill(90, row, 10, 1, 10);
        canvas.Fill(116 + row % 3, row, 15, 1, 10);
        canvas.Fill(145, row, 5, 1, 10);
    }
    CMtfProbe mtf(canvas.Image(), 10, 100, 10, 3);
    EXPECT_TRUE(mtf.DetermineOrientation());
    EXPECT_EQ(mtf.GetAngle(), 0.0F);
}

TEST(LxCMTFCalibration, EdgesAreThoseOfABruteSearch)
{
    std::mt19937 random(8);
    for (int trial = 0; trial < 100; ++trial) {
        CCanvas canvas(80, 60);
        std::vector<int> columns;
        int shift = 0;
        for (int row = 0; row < 60; ++row) {
            shift += random() % 8 == 0 ? static_cast<int>(random() % 3) - 1 : 0;
            canvas.Fill(30 + shift, row, 4, 1, 10);
            if (random() % 3 == 0) {
                canvas.Fill(static_cast<int>(random() % 25), row, 3, 1, 10);
            }
            // From the left: the last bright run of 16 pixels or more that has a dark pixel before it.
            int last = -1;
            int begin = -1;
            for (int x = 1; x < 80; ++x) {
                const bool dark = *canvas.At(x, row) < 100;
                begin = dark ? -1 : *canvas.At(x - 1, row) < 100 ? x : begin;
                last = begin >= 0 && x - begin + 1 >= 16 ? begin : last;
            }
            columns.push_back(last);
        }
        CMtfProbe mtf(canvas.Image(), 10, 100, 10, 3);
        ASSERT_TRUE(mtf.DetermineOrientation());
        ASSERT_NEAR(mtf.GetAngle(), SlopeOf(columns, 0, columns.size()), c_dAngleTolerance) << trial;
    }
}

// ------------------------------------------------------------------------------------------------------ contrast

TEST(LxCMTFCalibration, ContrastIsThatOfTheLeastAndTheGreatestByte)
{
    CCanvas canvas(40, 40, 120);
    *canvas.At(15, 15) = 40;
    *canvas.At(24, 24) = 200;
    *canvas.At(14, 20) = 1;
    *canvas.At(25, 20) = 255;
    CMtfProbe mtf(canvas.Image(), 0, 100, 0, 0);
    mtf.SetScaleFactor(17.5F); // a square of 10.5 -> 10 pixels, from 15 to 24 about 20
    EXPECT_FLOAT_EQ(mtf.CalculateSingleMTFContrast(20, 20), 160.0F / 240.0F);
    for (int y = 0; y < 40; ++y) {
        for (int x = 0; x < 40; ++x) {
            const bool inside = x >= 15 && x <= 24 && y >= 15 && y <= 24;
            const bool border = inside && (x == 15 || x == 24 || y == 15 || y == 24);
            const Bytes pixel = canvas.PixelAt(x, y);
            EXPECT_EQ(pixel[0] == 0 && pixel[1] == 255, border) << x << ", " << y;
            EXPECT_EQ(pixel[2], 120);
        }
    }
}

TEST(LxCMTFCalibration, APatchThatLeavesTheImageHasNoContrast)
{
    CCanvas canvas(40, 30, 120);
    const auto before = canvas.AllBytes();
    CMtfProbe mtf(canvas.Image(), 0, 100, 0, 0);
    EXPECT_EQ(mtf.CalculateSingleMTFContrast(20, 15), -1.0F) << "no scale yet";
    mtf.SetScaleFactor(1.6F);
    EXPECT_EQ(mtf.CalculateSingleMTFContrast(20, 15), -1.0F) << "a side of 0.96";
    mtf.SetScaleFactor(20.0F); // 12 pixels, 6 of them before the centre
    constexpr int c_iMost = std::numeric_limits<int>::max();
    for (const auto& [x, y] : {std::pair{5, 15},
                               {35, 15},
                               {20, 5},
                               {20, 25},
                               {-1000, 15},
                               {c_iMost, c_iMost},
                               {std::numeric_limits<int>::min(), 15}}) {
        EXPECT_EQ(mtf.CalculateSingleMTFContrast(x, y), -1.0F) << x << ", " << y;
    }
    mtf.SetScaleFactor(std::numeric_limits<float>::infinity());
    EXPECT_EQ(mtf.CalculateSingleMTFContrast(20, 15), -1.0F);
    mtf.SetScaleFactor(std::numeric_limits<float>::quiet_NaN());
    EXPECT_EQ(mtf.CalculateSingleMTFContrast(20, 15), -1.0F);
    EXPECT_TRUE(canvas.AllBytes() == before);
    mtf.SetScaleFactor(20.0F);
    for (const auto& [x, y] : {std::pair{6, 6}, {34, 24}}) {
        EXPECT_EQ(mtf.CalculateSingleMTFContrast(x, y), 0.0F) << x << ", " << y;
    }
}

TEST(LxCMTFCalibration, BlackHasNoContrast)
{
    CCanvas canvas(40, 40, 0);
    CMtfProbe mtf(canvas.Image(), 0, 100, 0, 0);
    mtf.SetScaleFactor(20.0F);
    EXPECT_EQ(mtf.CalculateSingleMTFContrast(20, 20), 0.0F);
}

/// The middles of the squares that are marked, as upper left corners plus half of the side.
std::set<std::pair<int, int>> MarkedSquares(CCanvas& canvas, int side)
{
    const auto isMark = [&canvas](int x, int y) {
        return x >= 0 && y >= 0 && x < canvas.Image()->GetWidth() && y < canvas.Image()->GetHeight() &&
               canvas.At(x, y)[0] == 0 && canvas.At(x, y)[1] == 255;
    };
    std::set<std::pair<int, int>> squares;
    for (int y = 0; y < canvas.Image()->GetHeight(); ++y) {
        for (int x = 0; x < canvas.Image()->GetWidth(); ++x) {
            if (isMark(x, y) && !isMark(x - 1, y) && !isMark(x, y - 1) && isMark(x + side - 1, y) &&
                isMark(x, y + side - 1)) {
                squares.insert({x + side / 2, y + side / 2});
            }
        }
    }
    return squares;
}

/// Rings of scale 62.5 in an image of 400 by 300 pixels; then the scale is set to 50: squares of 30, a lattice of
/// 4 by 3 places.
struct SLattice
{
    explicit SLattice(double cx = 200, double cy = 150) : canvas(400, 300)
    {
        canvas.Rings(cx, cy);
        EXPECT_TRUE(mtf.FindCenterOfCircle());
        mtf.SetScaleFactor(50.0F);
    }
    CCanvas canvas;
    CMtfProbe mtf{canvas.Image(), 100, 100, 40, 6};
};

const std::vector<std::pair<int, int>> c_FirstLattice = {{50, 100},  {50, 200},  {50, 300},  {150, 100},
                                                         {150, 200}, {150, 300}, {250, 100}, {250, 200},
                                                         {250, 300}, {350, 100}, {350, 200}, {350, 300}};

// Without the rings at (200, 150) and without the last one, (300, 250).
const std::vector<std::pair<int, int>> c_SecondLattice = {{100, 150}, {100, 250}, {200, 250}, {300, 150}};

TEST(LxCMTFCalibration, TwoLatticesOfPatchesAreRead)
{
    SLattice lattice;
    EXPECT_TRUE(lattice.mtf.CalculateContrast());
    std::set<std::pair<int, int>> expected(c_SecondLattice.begin(), c_SecondLattice.end());
    for (const auto& place : c_FirstLattice) {
        if (place.second < 300) { // the others leave the image
            expected.insert(place);
        }
    }
    EXPECT_EQ(MarkedSquares(lattice.canvas, 30), expected);
}

TEST(LxCMTFCalibration, ContrastsAreTheMeansOfTheirLattices)
{
    SLattice lattice;
    double sumHor = 0.0;
    double sumVer = 0.0;
    int countHor = 0;
    std::uint8_t dark = 20;
    for (const auto& [x, y] : c_FirstLattice) {
        if (y < 300) {
            lattice.canvas.Fill(x - 3, y, 5, 1, dark);
            sumHor += (200.0 - dark) / (200.0 + dark);
            ++countHor;
        }
        dark += 10;
    }
    dark = 5;
    for (const auto& [x, y] : c_SecondLattice) {
        lattice.canvas.Fill(x, y - 2, 1, 4, dark);
        sumVer += (200.0 - dark) / (200.0 + dark);
        dark += 20;
    }
    lattice.canvas.Fill(300, 250, 3, 3, 0); // the place that is not read
    EXPECT_TRUE(lattice.mtf.CalculateContrast());
    EXPECT_NEAR(lattice.mtf.GetContrastHor(), sumHor / countHor, 1e-6);
    EXPECT_NEAR(lattice.mtf.GetContrastVer(), sumVer / 4, 1e-6);
    EXPECT_EQ(countHor, 8);
}

TEST(LxCMTFCalibration, LatticesAreTurnedByTheAngle)
{
    SLattice lattice;
    // tan = 3/4: cos = 0.8, sin = 0.6. The first place (-150, -50) goes to (-90, -130), the second's (-100, 0) to
    // (-80, -60).
    lattice.mtf.SetAngle(static_cast<float>(std::atan2(0.6, 0.8)));
    EXPECT_TRUE(lattice.mtf.CalculateContrast());
    std::set<std::pair<int, int>> expected;
    const auto add = [&expected](int u, int v) {
        const double x = 200 + 0.8 * u - 0.6 * v;
        const double y = 150 + 0.6 * u + 0.8 * v;
        if (x >= 15 && y >= 15 && x <= 385 && y <= 285) {
            expected.insert({static_cast<int>(x), static_cast<int>(y)});
        }
    };
    for (const auto& [x, y] : c_FirstLattice) {
        add(x - 200, y - 150);
    }
    for (const auto& [x, y] : c_SecondLattice) {
        add(x - 200, y - 150);
    }
    const auto got = MarkedSquares(lattice.canvas, 30);
    ASSERT_EQ(got.size(), expected.size());
    for (auto a = got.begin(), b = expected.begin(); a != got.end(); ++a, ++b) {
        EXPECT_NEAR(a->first, b->first, 1) << "an angle in single precision can tip a whole number";
        EXPECT_NEAR(a->second, b->second, 1);
    }
}

TEST(LxCMTFCalibration, OddNumbersOfPlacesReachFartherToTheRightAndDown)
{
    // 500 by 500 pixels and a scale of 50: 5 by 5 places; u = -100 ... 300, that is (i + 1 - 2) times 100.
    CCanvas canvas(500, 500);
    canvas.Rings(250, 250);
    CMtfProbe mtf(canvas.Image(), 100, 100, 40, 6);
    ASSERT_TRUE(mtf.FindCenterOfCircle());
    mtf.SetScaleFactor(50.0F);
    EXPECT_TRUE(mtf.CalculateContrast());
    std::set<std::pair<int, int>> expected;
    for (const int x : {100, 200, 300, 400}) {
        for (const int y : {100, 200, 300, 400}) {
            expected.insert({x, y});
        }
    }
    // The second lattice: -100, 0, 100, 200 in both directions, without the middle and (200, 200).
    for (const int x : {150, 250, 350, 450}) {
        for (const int y : {150, 250, 350, 450}) {
            expected.insert({x, y});
        }
    }
    expected.erase({250, 250});
    expected.erase({450, 450});
    EXPECT_EQ(MarkedSquares(canvas, 30), expected);
}

TEST(LxCMTFCalibration, TooFewPlacesAreRefused)
{
    CCanvas canvas(200, 150);
    const auto before = canvas.AllBytes();
    CMtfProbe mtf(canvas.Image(), 100, 100, 40, 6);
    EXPECT_FALSE(mtf.CalculateContrast()) << "no scale";
    for (const float scale : {0.4F, 38.0F, 51.0F, 1e30F, -5.0F, std::numeric_limits<float>::infinity(),
                              std::numeric_limits<float>::quiet_NaN()}) {
        mtf.SetScaleFactor(scale);
        EXPECT_FALSE(mtf.CalculateContrast()) << scale;
    }
    EXPECT_TRUE(canvas.AllBytes() == before);
    EXPECT_EQ(mtf.GetContrastHor(), 0.0F);
    mtf.SetScaleFactor(37.9F);
    EXPECT_TRUE(mtf.CalculateContrast()) << "75 pixels go twice into 150";
}

TEST(LxCMTFCalibration, ALatticeWithoutPatchesGivesMinusOne)
{
    CCanvas canvas(200, 200);
    canvas.Rings(100, 100);
    CMtfProbe mtf(canvas.Image(), 100, 100, 40, 6);
    ASSERT_TRUE(mtf.FindCenterOfCircle());
    mtf.SetScaleFactor(50.0F); // 2 by 2 places; the second lattice has the centre alone
    EXPECT_TRUE(mtf.CalculateContrast());
    EXPECT_GE(mtf.GetContrastHor(), 0.0F);
    EXPECT_EQ(mtf.GetContrastVer(), -1.0F);
}

// ------------------------------------------------------------------------------------------------- any input at all

void RunAll(LxCMTFCalibration& mtf)
{
    mtf.FindCenterOfCircle();
    mtf.DetermineScaleFactor();
    mtf.DetermineOrientation();
    mtf.CalculateContrast();
}

TEST(LxCMTFCalibration, WhatIsNoImageMakesEveryStepFalse)
{
    CCTImage empty;
    CCTImage grey(300, 300, CCTImage::eIDT_UINT8, true, nullptr);
    CCTImage noMemory(300, 300, CCTImage::eIDT_ARGB8, false, nullptr);
    for (CCTImage* image : {static_cast<CCTImage*>(nullptr), &empty, &grey, &noMemory}) {
        LxCMTFCalibration mtf(image, 100, 100, 40, 6);
        EXPECT_FALSE(mtf.FindCenterOfCircle());
        EXPECT_FALSE(mtf.DetermineScaleFactor());
        EXPECT_FALSE(mtf.DetermineOrientation());
        EXPECT_FALSE(mtf.CalculateContrast());
    }
}

TEST(LxCMTFCalibration, AnImageThatChangedItsSizeIsNotTouched)
{
    CCanvas canvas(201, 151);
    canvas.Rings(100, 75);
    CMtfProbe mtf(canvas.Image(), 100, 100, 40, 6);
    ASSERT_TRUE(mtf.FindCenterOfCircle());
    ASSERT_TRUE(mtf.DetermineScaleFactor());
    ASSERT_EQ(canvas.Image()->Resize(10, 10), CCTImage::eRC_OK);
    EXPECT_FALSE(mtf.FindCenterOfCircle());
    EXPECT_FALSE(mtf.DetermineScaleFactor());
    EXPECT_FALSE(mtf.DetermineOrientation());
    EXPECT_FALSE(mtf.CalculateContrast());
    EXPECT_EQ(mtf.CalculateSingleMTFContrast(5, 5), -1.0F);
}

TEST(LxCMTFCalibration, NoNumbersLeadOutOfTheImage)
{
    std::mt19937 random(12);
    const unsigned numbers[] = {0, 1, 2, 5, 30, 100, 255, 256, 0x7FFFFFFF, 0x80000000, c_uiHuge};
    const auto any = [&] { return numbers[random() % std::size(numbers)]; };
    for (int trial = 0; trial < 3000; ++trial) {
        const int width = 1 + static_cast<int>(random() % 60);
        const int height = 1 + static_cast<int>(random() % 60);
        const std::size_t bytes = 4U * static_cast<std::size_t>(width * height);
        constexpr std::size_t c_uiGuard = 4096;
        std::vector<std::uint8_t> memory(bytes + 2 * c_uiGuard, 77);
        const unsigned kind = random() % 3;
        for (std::size_t i = 0; i < bytes; ++i) {
            memory[c_uiGuard + i] = static_cast<std::uint8_t>(kind == 0   ? random()
                                                              : kind == 1 ? 255 * (random() % 5 / 4)
                                                                          : 255 * (i / 8 % 2));
        }
        CCTImage image(width, height, CCTImage::eIDT_ARGB8, false, memory.data() + c_uiGuard);
        CMtfProbe mtf(&image, any(), any(), any(), any());
        RunAll(mtf);
        ASSERT_LT(mtf.GetCircleColPos(), static_cast<unsigned>(width)) << trial;
        ASSERT_LT(mtf.GetCircleRowPos(), static_cast<unsigned>(height)) << trial;
        mtf.SetScaleFactor(static_cast<float>(random() % 1000) / 20.0F);
        mtf.SetAngle(static_cast<float>(random() % 1000) / 100.0F);
        mtf.CalculateContrast();
        mtf.CalculateSingleMTFContrast(static_cast<std::int32_t>(random()),
                                       static_cast<std::int32_t>(random()));
        const auto isGuard = [](std::uint8_t byte) { return byte == 77; };
        ASSERT_TRUE(std::all_of(memory.begin(), memory.begin() + c_uiGuard, isGuard)) << trial;
        ASSERT_TRUE(std::all_of(memory.end() - c_uiGuard, memory.end(), isGuard)) << trial;
    }
}

TEST(LxCMTFCalibration, ThinRunsOfAnyLimitDoNotWrapAround)
{
    CCanvas canvas(100, 80);
    canvas.Runs(33, c_Figure);
    CMtfProbe mtf(canvas.Image(), 60, 100, 20, 0x80000000U); // twice that is 0 in 32 bits
    EXPECT_FALSE(mtf.FindCenterOfCircle());
}

} // namespace
} // namespace LxCV
