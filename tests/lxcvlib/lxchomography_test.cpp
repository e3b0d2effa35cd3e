#include "lxchomography.h"

#include "homographytestsupport.h"
#include "matrixroutines.h"
#include "orx/logging/logger.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <limits>
#include <random>
#include <type_traits>
#include <vector>

namespace LxCV {
namespace {

using namespace TestSupport::Homography;

static_assert(std::has_virtual_destructor_v<LxCHomography>);
static_assert(std::is_standard_layout_v<SHomographyFeature> &&
              sizeof(SHomographyFeature) == 6 * sizeof(double));
static_assert(offsetof(SHomographyFeature, dVarianceX) == 2 * sizeof(double));
static_assert(offsetof(SHomographyFeature, dSourceX) == 4 * sizeof(double));

TEST(LxCHomography, MapsByHand)
{
    // d = 0.5·4 - 0.25·4 + 1 = 2; (2·4 + 3·4 + 4) / 2 = 12; (1·4 - 5·4 + 6) / 2 = -5
    CProbe homography;
    const SPoint mapped = homography.Map({2, 3, 4, 1, -5, 6, 500, -250}, 4.0, 4.0);
    EXPECT_EQ(mapped.x, 12.0);
    EXPECT_EQ(mapped.y, -5.0);
}

TEST(LxCHomography, TheDifferenceIsTheMappedPositionMinusTheTarget)
{
    CProbe homography;
    Params params{2, 3, 4, 1, -5, 6, 500, -250};
    const SHomographyFeature feature{10.0, 1.0, 0.0, 0.0, 4.0, 4.0};
    double difference[2] = {};
    homography.calcDifferenceForOneFeature(&feature, params.data(), difference);
    EXPECT_EQ(difference[0], 2.0);
    EXPECT_EQ(difference[1], -6.0);
}

TEST(LxCHomography, MapsLeaveTheRoundingOfADivisionAndAMultiplicationInThePerspectiveTerms)
{
    CProbe homography;
    std::mt19937 random(1);
    int traces = 0;
    for (int trial = 0; trial < 5000; ++trial) {
        const Params before = RandomParams(random);
        Params forward = before;
        Params inverse = before;
        double ox, oy;
        homography.applyHomography(forward.data(), 1.0, 2.0, ox, oy);
        homography.applyHomographyInverse(inverse.data(), 1.0, 2.0, ox, oy);
        Params expected = before;
        for (const std::size_t k : {6U, 7U}) {
            volatile double divided = before[k] / kScale;
            expected[k] = divided * kScale;
            traces += expected[k] != before[k] ? 1 : 0;
        }
        EXPECT_EQ(forward, expected);
        EXPECT_EQ(inverse, expected);
    }
    EXPECT_GT(traces, 100) << "some values do not survive";
}

/// Inverse by Gauss-Jordan elimination in long double.
SPoint InverseByElimination(const Params& h, double u, double v)
{
    // (h0 - p6 u) x + (h1 - p7 u) y = u - h2, and the same for v
    const long double p6 = h[6] / 1000.0L;
    const long double p7 = h[7] / 1000.0L;
    const long double a = h[0] - p6 * u;
    const long double b = h[1] - p7 * u;
    const long double c = h[3] - p6 * v;
    const long double d = h[4] - p7 * v;
    const long double r = static_cast<long double>(u) - h[2];
    const long double s = static_cast<long double>(v) - h[5];
    const long double y = (s - c / a * r) / (d - c / a * b);
    return {static_cast<double>((r - b * y) / a), static_cast<double>(y)};
}

TEST(LxCHomography, TheInverseSolvesTheEquationsOfTheMap)
{
    CProbe homography;
    std::mt19937 random(2);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    for (int trial = 0; trial < 5000; ++trial) {
        const Params params = RandomParams(random);
        homography.SetParams(params);
        const double u = kWidth * unit(random);
        const double v = kHeight * unit(random);
        const SPoint expected = InverseByElimination(params, u, v);
        SPoint out{};
        homography.ApplyHomographyInverse(u, v, out.x, out.y);
        // Terms of up to 1e6 are summed and divided by some 0.5: thousands of pixels times epsilon.
        EXPECT_NEAR(out.x, expected.x, 1e-10 * (1.0 + std::abs(expected.x))) << trial;
        EXPECT_NEAR(out.y, expected.y, 1e-10 * (1.0 + std::abs(expected.y))) << trial;
    }
}

TEST(LxCHomography, TheInverseOfTheMapOfAPointIsThePoint)
{
    CProbe homography;
    std::mt19937 random(3);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    for (int trial = 0; trial < 5000; ++trial) {
        const Params params = RandomParams(random);
        homography.SetParams(params);
        const double x = kWidth * unit(random);
        const double y = kHeight * unit(random);
        const SPoint mapped = homography.Map(params, x, y);
        SPoint back{};
        homography.ApplyHomographyInverse(mapped.x, mapped.y, back.x, back.y);
        EXPECT_NEAR(back.x, x, 1e-9) << trial;
        EXPECT_NEAR(back.y, y, 1e-9) << trial;
    }
}

TEST(LxCHomography, TheInverseOfAMapWithoutOneIsNotFinite)
{
    CProbe homography; // all parameters zero: everything maps to the origin
    double ox = 0.0;
    double oy = 0.0;
    homography.ApplyHomographyInverse(3.0, 4.0, ox, oy);
    EXPECT_FALSE(std::isfinite(ox));
    EXPECT_FALSE(std::isfinite(oy));
}

TEST(LxCHomography, JacobianIsNearTheAnalyticDerivatives)
{
    CProbe homography;
    std::mt19937 random(4);
    for (int trial = 0; trial < 2000; ++trial) {
        Params params = RandomParams(random);
        const Params before = params;
        SHomographyFeature feature = MakeFeatures(params, 1, 5.0, random).front();
        double found[2][9];
        homography.jacobian(&feature, params.data(), 8, found[0], found[1]);
        const std::array<Params, 2> expected = Derivatives(before, feature.dSourceX, feature.dSourceY);
        // Positions of some 2000 pixels are rounded to 2.3e-13 several times and divided by the step of 1e-6; the
        // curvature by h6 and h7 adds half the step times 2 x' (x / 1000 d)^2, below 2e-3.
        for (std::size_t k = 0; k < 8; ++k) {
            const double tolerance = k < 6 ? 4e-6 : 4e-3;
            EXPECT_NEAR(found[0][k], expected[0][k], tolerance) << trial << ", " << k;
            EXPECT_NEAR(found[1][k], expected[1][k], tolerance) << trial << ", " << k;
        }
        const SPoint mapped = TrueMap(before, feature.dSourceX, feature.dSourceY);
        EXPECT_NEAR(found[0][8], feature.dTargetX - mapped.x, 1e-10);
        EXPECT_NEAR(found[1][8], feature.dTargetY - mapped.y, 1e-10);
        EXPECT_TRUE(std::equal(params.begin(), params.begin() + 6, before.begin())) << "put back exactly";
        EXPECT_NEAR(params[6], before[6], 1e-15);
        EXPECT_NEAR(params[7], before[7], 1e-15);
    }
}

TEST(LxCHomography, AStepThatIsLostInItsParameterCountsAsOneMillionth)
{
    CProbe homography;
    Params params{1e12, 0, 0, 0, 1, 0, 0, 0}; // 1e12 + 1e-6 is 1e12
    SHomographyFeature feature{0, 0, 1, 1, 3, 4};
    double dx[9];
    double dy[9];
    homography.jacobian(&feature, params.data(), 8, dx, dy);
    EXPECT_EQ(dx[0], 0.0);
    EXPECT_EQ(dy[0], 0.0);
    EXPECT_NEAR(dy[4], 4.0, 1e-8);
}

TEST(LxCHomography, DerivativesDivideByTheStepThatTheParameterReallyTook)
{
    // At h2 = 2^20 a step of 1e-6 is rounded to a multiple of 2^-32, 0.7e-4 of it off; the division takes that out.
    CProbe homography;
    Params params{0, 0, 1048576.0, 0, 0, 0, 0, 0};
    SHomographyFeature feature{0, 0, 1, 1, 3, 4};
    double dx[9];
    double dy[9];
    homography.jacobian(&feature, params.data(), 8, dx, dy);
    EXPECT_EQ(dx[2], 1.0);
}

TEST(LxCHomography, JacobianOfFewerParametersPutsTheResidualBehindThem)
{
    CProbe homography;
    Params params{1, 0, 0, 0, 1, 0, 0, 0};
    SHomographyFeature feature{5, 7, 1, 1, 3, 4};
    double dx[9] = {kNaN, kNaN, kNaN, kNaN, 99, 99, 99, 99, 99};
    double dy[9] = {kNaN, kNaN, kNaN, kNaN, 99, 99, 99, 99, 99};
    homography.jacobian(&feature, params.data(), 3, dx, dy);
    EXPECT_NEAR(dx[0], 3.0, 1e-8);
    EXPECT_NEAR(dx[2], 1.0, 1e-8);
    EXPECT_EQ(dx[3], 2.0);
    EXPECT_EQ(dy[3], 3.0);
    EXPECT_EQ(dx[4], 99);
    EXPECT_EQ(dy[4], 99);
}

TEST(LxCHomography, MapsJacobianAndDifferenceWriteNothingForBadArguments)
{
    CProbe homography;
    Params params{1, 0, 0, 0, 1, 0, 0, 0};
    SHomographyFeature feature{5, 7, 1, 1, 3, 4};
    double dx[9] = {99, 99, 99, 99, 99, 99, 99, 99, 99};
    double dy[9] = {99, 99, 99, 99, 99, 99, 99, 99, 99};
    for (const int count : {-1, 9, INT_MAX, INT_MIN}) {
        homography.jacobian(&feature, params.data(), count, dx, dy);
    }
    homography.applyHomography(nullptr, 1.0, 2.0, dx[0], dy[0]);
    homography.applyHomographyInverse(nullptr, 1.0, 2.0, dx[0], dy[0]);
    homography.jacobian(nullptr, params.data(), 8, dx, dy);
    homography.jacobian(&feature, nullptr, 8, dx, dy);
    homography.jacobian(&feature, params.data(), 8, nullptr, dy);
    homography.jacobian(&feature, params.data(), 8, dx, nullptr);
    homography.calcDifferenceForOneFeature(nullptr, params.data(), dx);
    homography.calcDifferenceForOneFeature(&feature, nullptr, dx);
    homography.calcDifferenceForOneFeature(&feature, params.data(), nullptr);
    EXPECT_TRUE(std::all_of(std::begin(dx), std::end(dx), [](double value) { return value == 99; }));
    EXPECT_TRUE(std::all_of(std::begin(dy), std::end(dy), [](double value) { return value == 99; }));
}

TEST(LxCHomography, StartsWithZerosAndInitBringsThemBack)
{
    CProbe homography;
    EXPECT_EQ(homography.GetParams(), Params{});
    homography.SetParams({1, 2, 3, 4, 5, 6, 7, 8});
    EXPECT_TRUE(homography.init());
    EXPECT_EQ(homography.GetParams(), Params{});
}

TEST(LxCHomography, SettingFeaturesResetsTheParameters)
{
    std::mt19937 random(5);
    Features features = MakeFeatures(RandomParams(random), 10, 0.0, random);
    CProbe homography;
    homography.SetFeatureData(SizeOf(features), features.data());
    ASSERT_TRUE(homography.EstimateHomography());
    ASSERT_NE(homography.GetParams(), Params{});
    homography.SetFeatureData(SizeOf(features), features.data());
    EXPECT_EQ(homography.GetParams(), Params{});
}

TEST(LxCHomography, WithoutFeaturesBothEstimationsFailAndLeaveTheParameters)
{
    Features features(3);
    const Params params{1, 2, 3, 4, 5, 6, 7, 8};
    CProbe homography;
    const auto expectFailure = [&] {
        homography.SetParams(params);
        EXPECT_FALSE(homography.EstimateHomography());
        EXPECT_FALSE(homography.OptimiseHomography());
        EXPECT_EQ(homography.GetParams(), params);
    };
    expectFailure();
    for (const long count : {0L, -1L, LONG_MIN, LONG_MAX, 1L << 31, 1L << 32}) {
        homography.SetFeatureData(count, features.data());
        expectFailure();
    }
    homography.SetFeatureData(3, nullptr);
    expectFailure();
}

/// The parameters that a linear estimation is to find: the perspective terms unscaled.
Params Unscaled(Params params)
{
    params[6] /= kScale;
    params[7] /= kScale;
    return params;
}

TEST(LxCHomography, EstimateFindsTheMapOfFourPairsByHand)
{
    // x' = 2x / (x + 1), y' = 2y / (x + 1): the corners of the unit square, the right ones half as far up.
    Features features{{0, 0, 1, 1, 0, 0}, {1, 0, 1, 1, 1, 0}, {0, 2, 1, 1, 0, 1}, {1, 1, 1, 1, 1, 1}};
    CProbe homography;
    homography.SetFeatureData(4, features.data());
    ASSERT_TRUE(homography.EstimateHomography());
    const Params expected{2, 0, 0, 0, 2, 0, 1, 0};
    for (std::size_t k = 0; k < 8; ++k) {
        EXPECT_NEAR(homography.GetParams()[k], expected[k], 1e-14) << k;
    }
}

TEST(LxCHomography, EstimateFindsExactMapsAndLeavesThePerspectiveUnscaled)
{
    std::mt19937 random(6);
    for (int trial = 0; trial < 500; ++trial) {
        const Params truth = RandomParams(random);
        Features features = MakeFeatures(truth, 8 + trial % 40, 0.0, random);
        CProbe homography;
        homography.SetFeatureData(SizeOf(features), features.data());
        ASSERT_TRUE(homography.EstimateHomography());
        const Params expected = Unscaled(truth);
        for (std::size_t k = 0; k < 8; ++k) {
            // Coordinates differ by 1e5 in size and pairs may lie close together: ten of sixteen digits are left.
            EXPECT_NEAR(homography.GetParams()[k], expected[k], k % 3 == 2 && k < 6 ? 1e-6 : 1e-8) << trial;
        }
    }
}

TEST(LxCHomography, EstimateMinimisesTheAlgebraicErrorOfNoisyPairs)
{
    std::mt19937 random(7);
    std::normal_distribution<double> jitter(0.0, 1.0);
    for (int trial = 0; trial < 100; ++trial) {
        Params truth = RandomParams(random);
        Features features = MakeFeatures(truth, 12, 0.01, random);
        for (SHomographyFeature& f :
             features) { // coordinates of size one, so that nine directions can be compared
            f.dTargetX /= 500, f.dTargetY /= 500, f.dSourceX /= 500, f.dSourceY /= 500;
        }
        CProbe homography;
        homography.SetFeatureData(SizeOf(features), features.data());
        ASSERT_TRUE(homography.EstimateHomography());
        const std::array<double, 9> found = UnitVector(homography.GetParams());
        const double least = AlgebraicError(features, found);
        for (int direction = 0; direction < 200; ++direction) {
            std::array<double, 9> other{};
            double lengthSq = 0.0;
            for (std::size_t k = 0; k < 9; ++k) {
                other[k] = found[k] + 1e-4 * jitter(random);
                lengthSq += other[k] * other[k];
            }
            for (double& element : other) {
                element /= std::sqrt(lengthSq);
            }
            EXPECT_GE(AlgebraicError(features, other), least * (1.0 - 1e-9)) << trial;
        }
    }
}

TEST(LxCHomography, EstimateOfFewerThanFourPairsIsAMapThatFitsThem)
{
    std::mt19937 random(8);
    for (int count = 1; count <= 3; ++count) {
        Features features = MakeFeatures(RandomParams(random), count, 0.0, random);
        CProbe homography;
        homography.SetFeatureData(count, features.data());
        EXPECT_TRUE(homography.EstimateHomography());
        const std::array<double, 9> found = UnitVector(homography.GetParams());
        EXPECT_LE(AlgebraicError(features, found), 1e-12) << count;
    }
}

TEST(LxCHomography, EstimateOfAMapWithTheOriginAtInfinityIsTrueAndHuge)
{
    // x' = 1 / x, y' = y / x: the ninth element is zero but for rounding.
    Features features;
    for (const SPoint p : {SPoint{1, 1}, SPoint{2, 1}, SPoint{1, 3}, SPoint{4, 5}, SPoint{2, 7}}) {
        features.push_back({1.0 / p.x, p.y / p.x, 1.0, 1.0, p.x, p.y});
    }
    CProbe homography;
    homography.SetFeatureData(SizeOf(features), features.data());
    EXPECT_TRUE(homography.EstimateHomography());
    EXPECT_FALSE(std::abs(homography.GetParams()[6]) < 1e12);
}

TEST(LxCHomography, EstimateRefusesCoordinatesThatAreNotFiniteOrOverflowAndSaysSo)
{
    std::mt19937 random(9);
    const Features good = MakeFeatures(RandomParams(random), 6, 0.0, random);
    for (const double bad : {kNaN, kInfinity, -kInfinity, 1e308}) {
        for (int place = 0; place < 4; ++place) {
            Features features = good;
            SHomographyFeature& f = features[2];
            double* const coordinates[] = {&f.dTargetX, &f.dTargetY, &f.dSourceX, &f.dSourceY};
            *coordinates[place] = bad;
            CProbe homography;
            homography.SetFeatureData(SizeOf(features), features.data());
            const Logging::CCapture capture;
            EXPECT_FALSE(homography.EstimateHomography()) << bad << " at " << place;
            EXPECT_EQ(homography.GetParams(), Params{});
            EXPECT_EQ(capture.Count(
                          Logging::ELevel::eError, c_sChannel,
                          L"EstimateHomography: singular value decomposition: an element is not finite\n"),
                      1);
        }
    }
}

TEST(LxCHomography, CopiesShareTheFeaturesAndOwnTheirParameters)
{
    std::mt19937 random(20);
    const Params truth = RandomParams(random);
    Features features = MakeFeatures(truth, 20, 0.0, random);
    CProbe homography;
    homography.SetFeatureData(SizeOf(features), features.data());
    CProbe copy = homography;
    ASSERT_TRUE(copy.EstimateHomography());
    ASSERT_TRUE(copy.OptimiseHomography());
    EXPECT_EQ(homography.GetParams(), Params{});
    EXPECT_LE(CornerError(copy, truth), 1e-6);
}

} // namespace
} // namespace LxCV
