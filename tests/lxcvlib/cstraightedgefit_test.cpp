// Tests of the fits and of the contrast of straight edges.
#include "cstraightedge.h"

#include "allocationcount.h"
#include "c2dstraightline.h"
#include "matrixroutines.h"
#include "numericroutines.h"
#include "straightedgetestsupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <memory>
#include <random>
#include <vector>

namespace LxCV {
namespace {

using TestSupport::MakeEdge;
using TestSupport::WordImage;

constexpr auto eHor = CStraightEdge::eHorizontal;
constexpr auto eVer = CStraightEdge::eVertical;
constexpr std::array c_aOrientations{eHor, eVer};
constexpr int c_iMin = std::numeric_limits<int>::min();
constexpr int c_iMax = std::numeric_limits<int>::max();
constexpr double c_dTolerance = 1e-9; // pixels; rounding of sums of some hundred values below 1000

struct SPoints
{
    std::vector<double> p; ///< positions
    std::vector<double> v; ///< values across
};

SPoints PointsOf(const CStraightEdge& edge)
{
    SPoints points;
    for (int i = 0; i < edge.GetLen(); ++i) {
        if (!edge.GetElement(i).IsContorGap()) {
            points.p.push_back(edge.First() + i);
            points.v.push_back(edge.GetElementWSubpixelAcc(i));
        }
    }
    return points;
}

SPoints Part(const SPoints& points, std::size_t first, std::size_t count)
{
    const auto cut = [&](const std::vector<double>& all) {
        return std::vector<double>(all.begin() + static_cast<std::ptrdiff_t>(first),
                                   all.begin() + static_cast<std::ptrdiff_t>(first + count));
    };
    return {cut(points.p), cut(points.v)};
}

struct SLine
{
    double slope;
    double intercept;
    double residual;
};

/// Least squares by deviations from the means.
SLine FitByMeans(const SPoints& points)
{
    const auto n = static_cast<double>(points.p.size());
    double meanP = 0.0;
    double meanV = 0.0;
    for (std::size_t i = 0; i < points.p.size(); ++i) {
        meanP += points.p[i] / n;
        meanV += points.v[i] / n;
    }
    double pp = 0.0;
    double pv = 0.0;
    double vv = 0.0;
    for (std::size_t i = 0; i < points.p.size(); ++i) {
        pp += (points.p[i] - meanP) * (points.p[i] - meanP);
        pv += (points.p[i] - meanP) * (points.v[i] - meanV);
        vv += (points.v[i] - meanV) * (points.v[i] - meanV);
    }
    const double slope = pv / pp;
    return {slope, meanV - slope * meanP, std::sqrt(std::max(0.0, vv - slope * pv) / (n - 1.0))};
}

/// The value across of a line at a position.
double LineAt(C2DStraightLine line, CStraightEdge::EOrientation orientation, double position)
{
    if (orientation == eVer) {
        line.Invert();
    }
    return line.f(position);
}

void ExpectLine(const C2DStraightLine& line, CStraightEdge::EOrientation orientation, const SLine& expected,
                double residual)
{
    for (const double position : {0.0, 100.0}) {
        EXPECT_NEAR(LineAt(line, orientation, position), expected.intercept + expected.slope * position,
                    c_dTolerance);
    }
    EXPECT_NEAR(residual, expected.residual, 1e-6); // the root of a difference of sums
}

/// A noisy edge around value = 60 + slope * position.
CStraightEdge NoisyEdge(std::mt19937& random, CStraightEdge::EOrientation orientation, int first, int last)
{
    std::uniform_real_distribution slopes(-0.2, 0.2);
    std::uniform_real_distribution noise(-0.4, 0.4);
    const double slope = slopes(random);
    return MakeEdge(orientation, first, last, [&](double p) { return 90.0 + slope * p + noise(random); });
}

TEST(CStraightEdgeFit, TakesSamplesFromEitherEndBehindThoseSkipped)
{
    std::mt19937 random(3);
    for (int trial = 0; trial < 2000; ++trial) {
        const auto orientation = c_aOrientations.at(static_cast<std::size_t>(trial % 2));
        const CStraightEdge edge = NoisyEdge(random, orientation, 10, 60 + trial % 60);
        const SPoints points = PointsOf(edge);
        ASSERT_EQ(points.p.size(), static_cast<std::size_t>(edge.GetLen()));
        const int samples = static_cast<int>(random() % 80);
        const int skip = static_cast<int>(random() % 20);
        const int count = std::max(2, std::min(edge.GetLen() - 2 * skip, samples));
        const bool fromStart = trial % 3 != 0;
        const int first = fromStart ? skip : edge.GetLen() - skip - count;
        C2DStraightLine line;
        double residual = -7.0;
        ASSERT_TRUE(edge.FitToStrLine(&line, samples, skip, fromStart, residual, true));
        ExpectLine(line, orientation,
                   FitByMeans(Part(points, static_cast<std::size_t>(first), static_cast<std::size_t>(count))),
                   residual);
    }
}

TEST(CStraightEdgeFit, FitsWithLeastAbsoluteDeviationsOnDemand)
{
    std::mt19937 random(4);
    for (const auto orientation : c_aOrientations) {
        const CStraightEdge edge = NoisyEdge(random, orientation, 10, 70);
        const SPoints points = Part(PointsOf(edge), 3, 40);
        double slope = 0.0;
        double intercept = 0.0;
        const double expected = FitLineMinAbsDev(points.p.data(), points.v.data(), 40, slope, intercept);
        C2DStraightLine line;
        double residual = 0.0;
        ASSERT_TRUE(edge.FitToStrLine(&line, 40, 3, true, residual, false));
        EXPECT_EQ(residual, expected);
        EXPECT_NEAR(LineAt(line, orientation, 50.0), intercept + 50.0 * slope, c_dTolerance);
    }
}

TEST(CStraightEdgeFit, AVerticalEdgeGivesALineThatIsXOfY)
{
    const CStraightEdge edge = MakeEdge(eVer, 10, 60, [](double) { return 32.5; });
    C2DStraightLine line;
    double residual = 1.0;
    ASSERT_TRUE(edge.FitToStrLine(&line, 20, 2, true, residual, true));
    EXPECT_TRUE(line.IsVertical());
    EXPECT_NEAR(line.GetDistToPoint(32.5, 1000.0), 0.0, c_dTolerance);
    EXPECT_EQ(residual, 0.0);
}

TEST(CStraightEdgeFit, GapsAreNoSamples)
{
    CCTImage image = WordImage(60, 40);
    TestSupport::PutEdge(image, eHor, 5, 50, [](double p) { return 10.0 + 0.25 * p; });
    for (const int x : {12, 13, 20}) {
        image.SetInt32PixelFast(x, 10 + x / 4, 0);
    }
    CStraightEdge edge(eHor);
    edge.Trace(image, 30, 17, CStraightEdge::sc_iBridgeGaps);
    ASSERT_EQ(edge.GetLen(), 46);
    C2DStraightLine line;
    double residual = 1.0;
    ASSERT_TRUE(edge.FitToStrLine(&line, 46, 0, true, residual, true));
    EXPECT_NEAR(residual, 0.0, c_dTolerance);
    EXPECT_NEAR(line.f(100.0), 35.0, c_dTolerance);
}

TEST(CStraightEdgeFit, RefusesWhatIsNoLine)
{
    C2DStraightLine line(LxCSensorCoordsCCT(1.0, 2.0), LxCSensorCoordsCCT(3.0, 4.0));
    double residual = 0.5;
    const CStraightEdge one = MakeEdge(eHor, 20, 20, [](double) { return 20.0; });
    const CStraightEdge two = MakeEdge(eHor, 20, 21, [](double) { return 20.0; });
    ASSERT_EQ(one.GetLen(), 1);
    ASSERT_EQ(two.GetLen(), 2);
    EXPECT_FALSE(two.FitToStrLine(nullptr, 10, 0, true, residual, true));
    EXPECT_FALSE(one.FitToStrLine(&line, 10, 0, true, residual, true));
    EXPECT_FALSE(CStraightEdge(eHor).FitToStrLine(&line, 10, 0, true, residual, true));
    EXPECT_EQ(residual, 0.5);
    EXPECT_FALSE(two.FitToStrLine(&line, 10, 1, true, residual, true)); // one entry left
    EXPECT_EQ(line.f(5.0), 6.0);
    EXPECT_TRUE(two.FitToStrLine(&line, 10, 0, false, residual, true));
    EXPECT_EQ(line.f(5.0), 20.0);
}

TEST(CStraightEdgeFit, SurvivesAnyCounts)
{
    const CStraightEdge edge = MakeEdge(eVer, 5, 60, [](double) { return 20.0; });
    C2DStraightLine line;
    double residual = 0.0;
    std::array<double, 3> parabola{};
    for (const int samples : {c_iMin, -1, 0, c_iMax}) {
        for (const int skip : {c_iMin, -1, 0, 55, 56, c_iMax}) {
            const bool fits = skip <= 54;
            EXPECT_EQ(edge.FitToStrLine(&line, samples, skip, true, residual, true), fits) << skip;
            edge.FitToPoly(parabola, samples, skip, false);
        }
    }
}

TEST(CStraightEdgeFit, LeavesOutWhatLiesNearTwoCorners)
{
    std::mt19937 random(5);
    std::uniform_real_distribution place(0.0, 120.0);
    for (int trial = 0; trial < 2000; ++trial) {
        const auto orientation = c_aOrientations.at(static_cast<std::size_t>(trial % 2));
        const bool horizontal = orientation == eHor;
        const CStraightEdge edge = NoisyEdge(random, orientation, 10, 100);
        const LxCSensorCoordsCCT a(place(random), place(random));
        const LxCSensorCoordsCCT b(place(random), place(random));
        const double exclusion = place(random) / 5.0;
        SPoints kept;
        const SPoints all = PointsOf(edge);
        for (std::size_t i = 0; i < all.p.size(); ++i) {
            const double x = horizontal ? all.p[i] : all.v[i];
            const double y = horizontal ? all.v[i] : all.p[i];
            const double alongB = horizontal ? x - b.x : y - b.y;
            const double acrossB = horizontal ? y - b.y : x - b.x;
            const double acrossA = horizontal ? y - a.y : x - a.x;
            if ((x - a.x) * (x - a.x) + (y - a.y) * (y - a.y) > exclusion * exclusion &&
                alongB * alongB + acrossB * acrossA > exclusion * exclusion) {
                kept.p.push_back(all.p[i]);
                kept.v.push_back(all.v[i]);
            }
        }
        C2DStraightLine line;
        double residual = 0.0;
        const bool fitted = edge.FitToStrLine(&line, a, b, horizontal, exclusion, residual, true);
        ASSERT_EQ(fitted, kept.p.size() > 1) << "trial " << trial;
        if (kept.p.size() > 5) {
            ExpectLine(line, orientation, FitByMeans(kept), residual);
        }
    }
}

TEST(CStraightEdgeFit, TheSecondCornerCountsWithTheDistanceFromTheFirst)
{
    // All entries at value 50. Corner B at (30, 40) is 10 pixels off, beyond the exclusion of 5, but with A at value
    // 60 the product (50 - 40)(50 - 60) = -100 asks for (p - 30)² > 125: positions 19 to 41 are left out. A's own
    // distance is above 5 everywhere.
    const CStraightEdge edge = MakeEdge(eHor, 19, 41, [](double) { return 50.0; });
    const CStraightEdge longer = MakeEdge(eHor, 18, 42, [](double) { return 50.0; });
    C2DStraightLine line;
    double residual = 0.0;
    const LxCSensorCoordsCCT a(100.0, 60.0);
    const LxCSensorCoordsCCT b(30.0, 40.0);
    EXPECT_FALSE(edge.FitToStrLine(&line, a, b, true, 5.0, residual, true));
    EXPECT_TRUE(longer.FitToStrLine(&line, a, b, true, 5.0, residual, true));
    EXPECT_TRUE(edge.FitToStrLine(&line, b, a, true, 5.0, residual, true)); // A and B are not alike
}

TEST(CStraightEdgeFit, TwoCornersRefuseWhatIsNoLine)
{
    const CStraightEdge edge = MakeEdge(eHor, 10, 30, [](double) { return 20.0; });
    C2DStraightLine line;
    double residual = 0.0;
    const LxCSensorCoordsCCT corner(20.0, 20.0);
    EXPECT_FALSE(edge.FitToStrLine(nullptr, corner, corner, true, 1.0, residual, true));
    EXPECT_FALSE(edge.FitToStrLine(&line, corner, corner, true, 100.0, residual, true));
    const LxCSensorCoordsCCT bad(std::nan(""), 0.0);
    EXPECT_FALSE(edge.FitToStrLine(&line, bad, corner, true, 1.0, residual, true));
}

TEST(CStraightEdgeFit, MeetsAParabola)
{
    const auto value = [](double p) { return 40.0 + 0.3 * p - 0.002 * p * p; };
    for (const auto orientation : c_aOrientations) {
        const CStraightEdge edge = MakeEdge(orientation, 10, 120, value);
        for (const bool fromStart : {true, false}) {
            double* coefficients = nullptr;
            ASSERT_TRUE(edge.FitToPoly(coefficients, 2, 60, 5, fromStart));
            const std::unique_ptr<double[]> owner(coefficients);
            for (const double p : {20.0, 60.0, 110.0}) {
                const double fitted = coefficients[0] + p * (coefficients[1] + p * coefficients[2]);
                // Entries are rounded down to 1/64 pixel; the fit extrapolates over as much as it covers.
                EXPECT_NEAR(fitted, value(p), 0.1);
            }
        }
    }
}

TEST(CStraightEdgeFit, MeetsAParabolaOfSixtyFourthsExactly)
{
    // p² / 64 is told without rounding.
    const CStraightEdge edge = MakeEdge(eHor, 10, 60, [](double p) { return 100.0 - p * p / 64.0; });
    std::array<double, 3> parabola{};
    ASSERT_TRUE(edge.FitToPoly(parabola, 1000, 0, true));
    EXPECT_NEAR(parabola[0], 100.0, c_dTolerance);
    EXPECT_NEAR(parabola[1], 0.0, c_dTolerance);
    EXPECT_NEAR(parabola[2], -1.0 / 64.0, c_dTolerance);
}

TEST(CStraightEdgeFit, DropsOutliersAndFitsAgain)
{
    // Every tenth entry lies 4 rows off; the walk reaches as far as 5.
    CCTImage image = WordImage(120, 60);
    const auto value = [](double p) { return std::fmod(p, 10.0) == 5.0 ? 24.0 : 20.0; };
    TestSupport::PutEdge(image, eHor, 10, 99, value);
    CStraightEdge edge(eHor);
    edge.Trace(image, 50, 20, CStraightEdge::sc_iBridgeGaps);
    ASSERT_EQ(edge.GetLen(), 90);
    std::array<double, 2> line{};
    ASSERT_TRUE(edge.FitToPoly(line, 90, 0, true));
    EXPECT_NEAR(line[0], 20.0, c_dTolerance);
    EXPECT_NEAR(line[1], 0.0, c_dTolerance);
}

TEST(CStraightEdgeFit, KeepsWhatLiesCloserThanTwoPixelsAndAHalf)
{
    // Halves 4 rows apart: all lie 2 rows from the mean, and none is dropped.
    CCTImage image = WordImage(120, 60);
    TestSupport::PutEdge(image, eHor, 10, 99,
                         [](double p) { return std::fmod(p, 2.0) == 0.0 ? 20.0 : 24.0; });
    CStraightEdge edge(eHor);
    edge.Trace(image, 50, 20, CStraightEdge::sc_iBridgeGaps);
    std::array<double, 1> mean{};
    ASSERT_TRUE(edge.FitToPoly(mean, 90, 0, true));
    EXPECT_NEAR(mean[0], 22.0, c_dTolerance);
    // 5 rows apart all are dropped, and nothing is left to fit.
    CCTImage wide = WordImage(120, 60);
    TestSupport::PutEdge(wide, eHor, 10, 99, [](double p) { return std::fmod(p, 2.0) == 0.0 ? 20.0 : 25.0; });
    edge.Trace(wide, 50, 20, CStraightEdge::sc_iBridgeGaps);
    EXPECT_FALSE(edge.FitToPoly(mean, 90, 0, true));
    EXPECT_NEAR(mean[0], 22.0, c_dTolerance);
}

TEST(CStraightEdgeFit, APolynomialNeedsMoreEntriesThanItsDegree)
{
    const CStraightEdge three = MakeEdge(eHor, 20, 22, [](double) { return 20.0; });
    ASSERT_EQ(three.GetLen(), 3);
    double dummy = 0.0;
    double* coefficients = &dummy;
    EXPECT_FALSE(three.FitToPoly(coefficients, 3, 10, 0, true));
    EXPECT_EQ(coefficients, nullptr);
    EXPECT_TRUE(three.FitToPoly(coefficients, 2, 10, 0, true));
    delete[] coefficients;
    EXPECT_FALSE(three.FitToPoly(coefficients, 2, 10, 1, true)); // max(2, 1) samples are too few
    EXPECT_FALSE(three.FitToPoly(coefficients, -1, 10, 0, true));
    const CStraightEdge longEdge = MakeEdge(eHor, 20, 100, [](double) { return 20.0; });
    EXPECT_FALSE(longEdge.FitToPoly(coefficients, c_iMaxPolynomialDegree + 1, 80, 0, true));
    EXPECT_EQ(coefficients, nullptr);
    EXPECT_FALSE(longEdge.FitToPoly(std::span<double>(), 80, 0, true));
}

TEST(CStraightEdgeFit, LinesTakeNoMemoryOnceAThreadHasFittedSome)
{
    const CStraightEdge edge = MakeEdge(eHor, 20, 100, [](double) { return 20.0; });
    const auto fitAll = [&edge] {
        C2DStraightLine line;
        double residual = 0.0;
        for (int samples = 80; samples > 30; --samples) {
            EXPECT_TRUE(edge.FitToStrLine(&line, samples, 0, true, residual, true));
        }
    };
    fitAll();
    const AllocationCount allocations;
    fitAll();
    EXPECT_EQ(allocations.Get(), 0U);
}

/// Rows above 20 in one colour, row 20 and those below in another, so that a place between them is neither.
CCTImage TwoColors(std::uint32_t above, std::uint32_t below)
{
    CCTImage image(60, 40, CCTImage::eIDT_ARGB8, true, nullptr);
    for (int y = 0; y < 40; ++y) {
        for (int x = 0; x < 60; ++x) {
            image.SetInt32PixelFast(x, y, static_cast<int>(y < 20 ? above : below));
        }
    }
    return image;
}

CStraightEdge MiddleEdge()
{
    return MakeEdge(eHor, 10, 40, [](double) { return 20.0; });
}

TEST(CStraightEdgeFit, ContrastIsTheMeanDifferenceOfAChannel)
{
    int contrast = -1;
    int overSat = -1;
    // Differences 100, 51 and 0 of blue, green and red: 151 a sample. With 7 samples (7 * 151 / 3) / 7 = 352 / 7 = 50.
    const CCTImage image = TwoColors(0x0A1E6E, 0x0A510A);
    EXPECT_TRUE(MiddleEdge().GetContrastAndOversat(image, 7, 2, true, 250, contrast, overSat));
    EXPECT_EQ(contrast, 50);
    EXPECT_EQ(overSat, 0);
    // Two samples of a difference of 1: (2 / 3) / 2 = 0.
    EXPECT_TRUE(MiddleEdge().GetContrastAndOversat(TwoColors(0, 1), 2, 0, true, 250, contrast, overSat));
    EXPECT_EQ(contrast, 0);
}

TEST(CStraightEdgeFit, AChannelAboveTheLimitIsOversaturated)
{
    int contrast = 0;
    int overSat = 0;
    EXPECT_TRUE(MiddleEdge().GetContrastAndOversat(TwoColors(0, 0xFA), 9, 0, true, 250, contrast, overSat));
    EXPECT_EQ(overSat, 0);
    EXPECT_TRUE(MiddleEdge().GetContrastAndOversat(TwoColors(0, 0xFB00), 9, 0, true, 250, contrast, overSat));
    EXPECT_EQ(overSat, 100);
    // One of three samples: 33 percent.
    CCTImage image = TwoColors(0, 0);
    image.SetInt32PixelFast(11, 17, 0xFF0000);
    EXPECT_TRUE(MiddleEdge().GetContrastAndOversat(image, 3, 0, true, 250, contrast, overSat));
    EXPECT_EQ(overSat, 33);
    // Alpha is no colour.
    EXPECT_TRUE(
        MiddleEdge().GetContrastAndOversat(TwoColors(0xFF000000, 0), 9, 0, true, 250, contrast, overSat));
    EXPECT_EQ(overSat, 0);
    EXPECT_EQ(contrast, 0);
}

TEST(CStraightEdgeFit, ContrastEndsAtTheFirstGap)
{
    CCTImage words = WordImage(60, 40);
    TestSupport::PutEdge(words, eHor, 10, 40, [](double) { return 20.0; });
    words.SetInt32PixelFast(14, 20, 0);
    CStraightEdge edge(eHor);
    edge.Trace(words, 30, 20, CStraightEdge::sc_iBridgeGaps);
    CCTImage image = TwoColors(0, 0);
    image.SetInt32PixelFast(10, 17, 0xFF); // one of the four samples 10 to 13
    int contrast = 0;
    int overSat = 0;
    EXPECT_TRUE(edge.GetContrastAndOversat(image, 20, 0, true, 250, contrast, overSat));
    EXPECT_EQ(overSat, 25);
    EXPECT_FALSE(edge.GetContrastAndOversat(image, 20, 4, true, 250, contrast, overSat)); // starts at the gap
}

TEST(CStraightEdgeFit, ContrastOfAVerticalEdgeLiesLeftAndRight)
{
    CCTImage image(40, 60, CCTImage::eIDT_ARGB8, true, nullptr);
    image.Clear();
    for (int y = 0; y < 60; ++y) {
        for (int x = 20; x < 40; ++x) {
            image.SetInt32PixelFast(x, y, 0x303030);
        }
    }
    int contrast = 0;
    int overSat = 0;
    const CStraightEdge edge = MakeEdge(eVer, 10, 40, [](double) { return 20.0; });
    EXPECT_TRUE(edge.GetContrastAndOversat(image, 9, 0, false, 250, contrast, overSat));
    EXPECT_EQ(contrast, 0x30);
}

TEST(CStraightEdgeFit, ContrastIsKnownOfBytesInColourAlone)
{
    int contrast = 5;
    int overSat = 5;
    CCTImage floats(60, 40, CCTImage::eIDT_FLOAT32_3, 300.0F);
    EXPECT_TRUE(MiddleEdge().GetContrastAndOversat(floats, 9, 0, true, 250, contrast, overSat));
    EXPECT_EQ(contrast, 0);
    EXPECT_EQ(overSat, 0);
    EXPECT_FALSE(CStraightEdge(eHor).GetContrastAndOversat(floats, 9, 0, true, 250, contrast, overSat));
    EXPECT_FALSE(MiddleEdge().GetContrastAndOversat(CCTImage(), 9, 0, true, 250, contrast, overSat));
    // 3 rows above row 2 lie outside.
    const CStraightEdge top = MakeEdge(eHor, 10, 40, [](double) { return 2.0; });
    EXPECT_FALSE(top.GetContrastAndOversat(TwoColors(0, 9), 9, 0, true, 250, contrast, overSat));
    for (const int count : {c_iMin, c_iMax}) {
        MiddleEdge().GetContrastAndOversat(floats, count, count, true, count, contrast, overSat);
    }
}

} // namespace
} // namespace LxCV
