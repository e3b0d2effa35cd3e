#include "lxchomography.h"

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

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kWidth = 658.0;  // pixels
constexpr double kHeight = 494.0; // pixels
constexpr double kScale = 1000.0; // of the two perspective parameters
constexpr const wchar_t* c_sChannel = L"ORX.Lumorad.LxCHomography";

static_assert(std::has_virtual_destructor_v<LxCHomography>);
static_assert(std::is_standard_layout_v<SHomographyFeature> &&
              sizeof(SHomographyFeature) == 6 * sizeof(double));
static_assert(offsetof(SHomographyFeature, dVarianceX) == 2 * sizeof(double));
static_assert(offsetof(SHomographyFeature, dSourceX) == 4 * sizeof(double));

using Params = std::array<double, 8>;
using Features = std::vector<SHomographyFeature>;

struct SPoint
{
    double x;
    double y;
};

/// Opens what derived classes may call.
class CProbe : public LxCHomography
{
public:
    using LxCHomography::applyHomography;
    using LxCHomography::applyHomographyInverse;
    using LxCHomography::calcDifferenceForOneFeature;
    using LxCHomography::init;
    using LxCHomography::jacobian;

    Params GetParams()
    {
        Params params;
        std::copy_n(DebugGetHomograpy(), 8, params.begin());
        return params;
    }
    void SetParams(const Params& params) { std::copy(params.begin(), params.end(), DebugGetHomograpy()); }
    SPoint Map(Params params, double x, double y)
    {
        SPoint out{};
        applyHomography(params.data(), x, y, out.x, out.y);
        return out;
    }
};

/// The map of the class comment, in long double and with scaled perspective terms.
SPoint TrueMap(const Params& h, double x, double y)
{
    const long double d = h[6] / 1000.0L * x + h[7] / 1000.0L * y + 1.0L;
    return {static_cast<double>(
                (static_cast<long double>(h[0]) * x + static_cast<long double>(h[1]) * y + h[2]) / d),
            static_cast<double>(
                (static_cast<long double>(h[3]) * x + static_cast<long double>(h[4]) * y + h[5]) / d)};
}

/// A view of a tilted, turned plane: near a similarity, with up to 30 % perspective across the image.
Params RandomParams(std::mt19937& random)
{
    std::uniform_real_distribution<double> unit(-1.0, 1.0);
    const double size = 1.0 + 0.3 * unit(random);
    const double angle = 0.7 * unit(random); // radians
    return {size * std::cos(angle) + 0.1 * unit(random),
            -size * std::sin(angle),
            80.0 * unit(random),
            size * std::sin(angle),
            size * std::cos(angle) + 0.1 * unit(random),
            80.0 * unit(random),
            0.25 * unit(random),
            0.25 * unit(random)};
}

/// Pairs all over the camera image with noise of the given standard deviation on the targets.
Features MakeFeatures(const Params& params, int count, double noise, std::mt19937& random)
{
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    std::normal_distribution<double> error(0.0, 1.0);
    Features features;
    for (int i = 0; i < count; ++i) {
        const double x = kWidth * unit(random);
        const double y = kHeight * unit(random);
        const SPoint target = TrueMap(params, x, y);
        features.push_back(
            {target.x + noise * error(random), target.y + noise * error(random), 1.0, 1.0, x, y});
    }
    return features;
}

/// The largest distance of the mapped image corners from the true ones, pixels; not a number if any is.
double CornerError(CProbe& homography, const Params& truth)
{
    double worst = 0.0;
    for (const SPoint corner :
         {SPoint{0, 0}, SPoint{kWidth, 0}, SPoint{0, kHeight}, SPoint{kWidth, kHeight}}) {
        const SPoint mapped = homography.Map(homography.GetParams(), corner.x, corner.y);
        const SPoint expected = TrueMap(truth, corner.x, corner.y);
        const double error = std::hypot(mapped.x - expected.x, mapped.y - expected.y);
        worst = error <= worst ? worst : error;
    }
    return worst;
}

long SizeOf(const Features& features)
{
    return static_cast<long>(features.size());
}

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

/// Analytic derivatives of the mapped position by the eight parameters, x and y.
std::array<Params, 2> Derivatives(const Params& h, double x, double y)
{
    const double d = h[6] / kScale * x + h[7] / kScale * y + 1.0;
    const SPoint m = TrueMap(h, x, y);
    return {Params{x / d, y / d, 1 / d, 0, 0, 0, -m.x * x / d / kScale, -m.x * y / d / kScale},
            Params{0, 0, 0, x / d, y / d, 1 / d, -m.y * x / d / kScale, -m.y * y / d / kScale}};
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

/// The sum of squared algebraic errors of a unit vector a0 ... a8.
double AlgebraicError(const Features& features, const std::array<double, 9>& a)
{
    double sum = 0.0;
    for (const SHomographyFeature& f : features) {
        const double d = a[6] * f.dSourceX + a[7] * f.dSourceY + a[8];
        const double ex = d * f.dTargetX - (a[0] * f.dSourceX + a[1] * f.dSourceY + a[2]);
        const double ey = d * f.dTargetY - (a[3] * f.dSourceX + a[4] * f.dSourceY + a[5]);
        sum += ex * ex + ey * ey;
    }
    return sum;
}

std::array<double, 9> UnitVector(const Params& params)
{
    std::array<double, 9> a{};
    std::copy(params.begin(), params.end(), a.begin());
    a[8] = 1.0;
    double lengthSq = 0.0;
    for (const double element : a) {
        lengthSq += element * element;
    }
    for (double& element : a) {
        element /= std::sqrt(lengthSq);
    }
    return a;
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

/// The refinement once more, with the normal equations solved by Cholesky's method in place of a decomposition, and
/// each of its habits as a switch.
struct CReference
{
    bool keepStaleRows = true;
    bool limitVariances = true;
    int firstStop = 4;

    int halvings = 0;
    int iterations = 0;
    int unweighted = 0; ///< features without weight, summed over all iterations
    bool converged = false;

    Params Optimise(const Features& features, const Params& start);

private:
    double Weigh(const Features& features, const Params& params, double scale);
    Params Solve() const;
    std::vector<Params> m_Rows;
    std::vector<double> m_Rhs;
    int m_iIteration = 0;
};

Params CReference::Solve() const
{
    std::vector<double> normal(64, 0.0);
    std::vector<double> rhs(8, 0.0);
    for (std::size_t row = 0; row < m_Rows.size(); ++row) {
        for (std::size_t i = 0; i < 8; ++i) {
            rhs[i] += m_Rows[row][i] * m_Rhs[row];
            for (std::size_t k = 0; k < 8; ++k) {
                normal[i * 8 + k] += m_Rows[row][i] * m_Rows[row][k];
            }
        }
    }
    EXPECT_TRUE(InvertGaussJordan(normal.data(), 8));
    Params step{};
    for (std::size_t i = 0; i < 8; ++i) {
        for (std::size_t k = 0; k < 8; ++k) {
            step[i] += normal[i * 8 + k] * rhs[k];
        }
    }
    return step;
}

/// Writes the rows, and returns the new scale.
double CReference::Weigh(const Features& features, const Params& params, double scale)
{
    double meanVariance = 0.0;
    for (const SHomographyFeature& f : features) {
        meanVariance += (f.dVarianceX + f.dVarianceY) / static_cast<double>(features.size());
    }
    const double cSq = 4.6851 * 4.6851;
    double errors = 0.0;
    double weights = 0.0;
    std::size_t row = 0;
    if (!keepStaleRows) {
        std::fill(m_Rows.begin(), m_Rows.end(), Params{});
        std::fill(m_Rhs.begin(), m_Rhs.end(), 0.0);
    }
    for (const SHomographyFeature& f : features) {
        const SPoint m = TrueMap(params, f.dSourceX, f.dSourceY);
        const double e = std::pow(f.dTargetX - m.x, 2) + std::pow(f.dTargetY - m.y, 2);
        double u = e / (scale * scale * cSq);
        if (m_iIteration < 3) {
            u = limitVariances ? (f.dVarianceX + f.dVarianceY) / (cSq * meanVariance) : 0.0;
        }
        if (u >= 1.0) {
            ++unweighted;
            continue;
        }
        const double w = std::pow(1.0 - u, 2);
        const std::array<Params, 2> derivatives = Derivatives(params, f.dSourceX, f.dSourceY);
        const double residuals[] = {f.dTargetX - m.x, f.dTargetY - m.y};
        for (std::size_t axis = 0; axis < 2; ++axis, ++row) {
            for (std::size_t k = 0; k < 8; ++k) {
                m_Rows[row][k] = w * derivatives[axis][k];
            }
            m_Rhs[row] = w * residuals[axis];
        }
        errors += w * e;
        weights += w;
    }
    return std::sqrt(errors / weights);
}

Params CReference::Optimise(const Features& features, const Params& start)
{
    m_Rows.assign(2 * features.size(), Params{});
    m_Rhs.assign(2 * features.size(), 0.0);
    Params params = start;
    Params best = start;
    Params step{};
    double bestScale = 1e38;
    double scale = 1e38;
    double lengthSq = 0.0;
    for (m_iIteration = 0; m_iIteration < 1000; ++m_iIteration) {
        const double newScale = Weigh(features, params, scale);
        if (newScale <= bestScale) {
            step = Solve();
            best = params;
            bestScale = scale = newScale;
        } else {
            ++halvings;
            scale = bestScale;
            for (double& element : step) {
                element /= 2;
            }
        }
        lengthSq = 0.0;
        for (std::size_t k = 0; k < 8; ++k) {
            params[k] = best[k] + step[k];
            lengthSq += step[k] * step[k];
        }
        if (m_iIteration >= firstStop && lengthSq < 1.1920928955078125e-07) {
            break;
        }
    }
    iterations = m_iIteration;
    converged = lengthSq < 1.1920928955078125e-07;
    return params;
}

/// The largest distance between the maps of two sets of parameters in the corners of the image, pixels.
double MapDistance(const Params& a, const Params& b)
{
    CProbe homography;
    homography.SetParams(a);
    return CornerError(homography, b);
}

struct SResult
{
    Params params;
    bool converged;
};

SResult Optimise(Features& features, const Params& start)
{
    CProbe homography;
    homography.SetFeatureData(SizeOf(features), features.data());
    homography.SetParams(start);
    const bool converged = homography.OptimiseHomography();
    return {homography.GetParams(), converged};
}

SResult EstimateAndOptimise(Features& features)
{
    CProbe homography;
    homography.SetFeatureData(SizeOf(features), features.data());
    EXPECT_TRUE(homography.EstimateHomography());
    const bool converged = homography.OptimiseHomography();
    return {homography.GetParams(), converged};
}

constexpr Params kIdentity{1, 0, 0, 0, 1, 0, 0, 0};

// The last step is shorter than 3.5e-4, and the one to follow it far shorter still: derivatives that are off by some
// 1e-6 of themselves move the end of the iteration by 1e-6 of that, and scales take a part in a thousand of a pixel.
constexpr double kReferenceTolerance = 2e-3; // pixels

TEST(LxCHomography, OptimiseRefinesTheLinearEstimateToExactMaps)
{
    std::mt19937 random(10);
    for (int trial = 0; trial < 200; ++trial) {
        const Params truth = RandomParams(random);
        Features features = MakeFeatures(truth, 30, 0.0, random);
        const SResult result = EstimateAndOptimise(features);
        EXPECT_LE(MapDistance(result.params, truth), 1e-6) << trial;
        EXPECT_NEAR(result.params[6], truth[6], 1e-9) << "scaled now";
        EXPECT_NEAR(result.params[7], truth[7], 1e-9) << "scaled now";
    }
}

TEST(LxCHomography, OptimiseFindsMapsOfNoisyPairsWithinTheirNoise)
{
    std::mt19937 random(11);
    for (int trial = 0; trial < 50; ++trial) {
        const Params truth = RandomParams(random);
        Features features = MakeFeatures(truth, 200, 0.3, random);
        const SResult result = EstimateAndOptimise(features);
        EXPECT_TRUE(result.converged) << trial;
        // 0.3 pixels over the root of 200, some five times that in the corners, four standard deviations.
        EXPECT_LE(MapDistance(result.params, truth), 0.45) << trial;
    }
}

TEST(LxCHomography, OptimiseGoesTheStepsOfAnIndependentIteration)
{
    std::mt19937 random(12);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    int unweighted = 0;
    int halvings = 0;
    for (int trial = 0; trial < 150; ++trial) {
        const Params truth = RandomParams(random);
        Features features = MakeFeatures(truth, 60, 0.3, random);
        for (std::size_t i = 0; i < features.size(); ++i) {
            features[i].dVarianceX = 0.1 + unit(random);
            features[i].dVarianceY = 0.1 + unit(random);
            if (trial % 3 != 0 && i % 15 == 7) {
                features[i].dTargetX += 5.0 + 40.0 * unit(random);
            }
        }
        CReference reference;
        const Params expected = reference.Optimise(features, kIdentity);
        const SResult result = Optimise(features, kIdentity);
        EXPECT_EQ(result.converged, reference.converged) << trial;
        EXPECT_LE(MapDistance(result.params, expected), kReferenceTolerance) << trial;
        unweighted += reference.unweighted;
        halvings += reference.halvings;
    }
    EXPECT_GT(unweighted, 100) << "features were left out";
    EXPECT_GT(halvings, 100) << "steps were halved";
}

/// Pairs of which some are wrong by 20 to 60 pixels, so that rows are left over from earlier iterations.
Features WithOutliers(const Params& truth, int every, std::mt19937& random)
{
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    Features features = MakeFeatures(truth, 60, 0.3, random);
    for (std::size_t i = 0; i < features.size(); i += static_cast<std::size_t>(every)) {
        features[i].dTargetX += 20.0 + 40.0 * unit(random);
        features[i].dTargetY -= 20.0 + 40.0 * unit(random);
    }
    return features;
}

TEST(LxCHomography, RowsOfFeaturesThatLostTheirWeightTakePartWithWhatTheyLastHeld)
{
    std::mt19937 random(13);
    int different = 0;
    for (int trial = 0; trial < 30; ++trial) {
        Features features = WithOutliers(RandomParams(random), 12, random);
        CReference keeping;
        CReference clearing;
        clearing.keepStaleRows = false;
        const Params expected = keeping.Optimise(features, kIdentity);
        const Params other = clearing.Optimise(features, kIdentity);
        const SResult result = Optimise(features, kIdentity);
        EXPECT_LE(MapDistance(result.params, expected), kReferenceTolerance) << trial;
        different += MapDistance(result.params, other) > 10.0 * kReferenceTolerance ? 1 : 0;
    }
    EXPECT_GT(different, 15) << "clearing the rows would give another result";
}

/// A fifth of 200 pairs is wrong: by 28 to 85 pixels, or anywhere in the image.
Features WithAFifthWrong(const Params& truth, bool anywhere, std::mt19937& random)
{
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    Features features = MakeFeatures(truth, 200, 0.3, random);
    for (std::size_t i = 0; i < features.size(); i += 5) {
        SHomographyFeature& f = features[i];
        const double u = unit(random);
        const double v = unit(random);
        f.dTargetX = anywhere ? kWidth * u : f.dTargetX + 20.0 + 40.0 * u;
        f.dTargetY = anywhere ? kHeight * v : f.dTargetY - 20.0 - 40.0 * v;
    }
    return features;
}

double Median(std::vector<double> values)
{
    std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2),
                     values.end());
    return values[values.size() / 2];
}

TEST(LxCHomography, OptimiseLeavesLittleOfAFifthOfWrongPairsAndTheRestComesFromRowsThatStay)
{
    for (const bool anywhere : {false, true}) {
        std::mt19937 random(21);
        std::vector<double> linear;
        std::vector<double> refined;
        std::vector<double> clean;
        for (int trial = 0; trial < 40; ++trial) {
            const Params truth = RandomParams(random);
            Features features = WithAFifthWrong(truth, anywhere, random);
            CReference reference;
            const Params expected = reference.Optimise(features, kIdentity);
            CReference clearing;
            clearing.keepStaleRows = false;
            const SResult result = Optimise(features, kIdentity);
            EXPECT_TRUE(result.converged) << trial;
            EXPECT_LE(MapDistance(result.params, expected), kReferenceTolerance) << trial;

            CProbe estimate;
            estimate.SetFeatureData(SizeOf(features), features.data());
            ASSERT_TRUE(estimate.EstimateHomography());
            Params scaled = estimate.GetParams();
            scaled[6] *= kScale;
            scaled[7] *= kScale;
            linear.push_back(MapDistance(scaled, truth));
            refined.push_back(MapDistance(result.params, truth));
            clean.push_back(MapDistance(clearing.Optimise(features, kIdentity), truth));
        }
        // The biweight alone reaches what the noise allows, as in the test without wrong pairs.
        EXPECT_LE(*std::max_element(clean.begin(), clean.end()), 0.45);
        EXPECT_LE(Median(refined), anywhere ? 15.0 : 1.0) << "pixels";
        EXPECT_LE(Median(refined), 0.1 * Median(linear));
        EXPECT_GT(Median(refined), 2.0 * Median(clean)) << "the pull of the rows that stay";
    }
}

TEST(LxCHomography, RepeatedAndCollinearPairsEndBothEstimations)
{
    std::mt19937 random(22);
    const Params truth = RandomParams(random);
    const Features one = MakeFeatures(truth, 1, 0.0, random);
    Features line;
    for (int i = 0; i < 50; ++i) {
        const SPoint target = TrueMap(truth, 10.0 * i, 5.0 * i);
        line.push_back({target.x, target.y, 1.0, 1.0, 10.0 * i, 5.0 * i});
    }
    for (Features features : {one, Features(50, one.front()), line}) {
        CProbe homography;
        homography.SetFeatureData(SizeOf(features), features.data());
        EXPECT_TRUE(homography.EstimateHomography());
        const std::array<double, 9> found = UnitVector(homography.GetParams());
        // A unit vector times terms of at most 1e6, which are rounded.
        EXPECT_LE(AlgebraicError(features, found), 1e-12) << features.size() << ": a map that fits";
        homography.OptimiseHomography();
    }
}

TEST(LxCHomography, RefinementGivesTheSameBitsEachTime)
{
    std::mt19937 random(23);
    Features features = WithAFifthWrong(RandomParams(random), true, random);
    const Params first = EstimateAndOptimise(features).params;
    EXPECT_EQ(EstimateAndOptimise(features).params, first);
}

TEST(LxCHomography, NeverStopsBeforeTheFifthIterationEvenIfStepsAreShort)
{
    // Iterations 0 to 2 weigh all pairs alike and come to rest; the weights by residuals come with iteration 3 only.
    std::mt19937 random(14);
    for (int trial = 0; trial < 20; ++trial) {
        const Params truth{1, 0, 0.1, 0, 1, -0.1, 0, 0};
        Features features = MakeFeatures(truth, 40, 0.5, random);
        CReference reference;
        CReference hasty;
        hasty.firstStop = 0;
        const Params expected = reference.Optimise(features, kIdentity);
        const Params early = hasty.Optimise(features, kIdentity);
        ASSERT_LT(hasty.iterations, 3) << "the least squares are at rest";
        ASSERT_GE(reference.iterations, 4);
        const SResult result = Optimise(features, kIdentity);
        EXPECT_TRUE(result.converged);
        EXPECT_LE(MapDistance(result.params, expected), kReferenceTolerance) << trial;
        EXPECT_GT(MapDistance(result.params, early), 5.0 * kReferenceTolerance) << trial;
    }
}

TEST(LxCHomography, AFeatureOfFarMoreThanTheMeanVarianceDoesNotCountInTheFirstIterations)
{
    // The sum of feature 0 is v of a mean of (v + 2 * 59) / 60: 21.95 times the mean for v = 68.1 and more.
    std::mt19937 random(15);
    const Params truth = RandomParams(random);
    for (const double variance : {60.0, 68.0, 69.0, 1e6}) {
        Features features = MakeFeatures(truth, 60, 0.1, random);
        features[0].dVarianceX = 0.75 * variance;
        features[0].dVarianceY = 0.25 * variance;
        features[0].dTargetX += 5000.0;
        CReference reference;
        const Params expected = reference.Optimise(features, kIdentity);
        EXPECT_EQ(reference.unweighted > reference.iterations - 2, variance > 68.1)
            << "in iterations 0 to 2 as well";
        const SResult result = Optimise(features, kIdentity);
        EXPECT_EQ(result.converged, reference.converged);
        EXPECT_LE(MapDistance(result.params, expected), kReferenceTolerance) << variance;
        if (variance > 68.1) {
            EXPECT_LE(MapDistance(result.params, truth), 0.3) << variance;
        }
    }
}

TEST(LxCHomography, WithoutVariancesTheFirstThreeIterationsTakeNoStep)
{
    // 0 / 0 is no weight and no number, which is no improvement; from iteration 3 on residuals weigh.
    std::mt19937 random(16);
    const Params truth = RandomParams(random);
    Features features = MakeFeatures(truth, 60, 0.1, random);
    for (SHomographyFeature& feature : features) {
        feature.dVarianceX = feature.dVarianceY = 0.0;
    }
    const SResult result = Optimise(features, kIdentity);
    EXPECT_TRUE(result.converged);
    EXPECT_LE(MapDistance(result.params, truth), 0.3);
}

TEST(LxCHomography, ASingularValueOfZeroMakesParametersInfiniteAndTheResultFalse)
{
    // All sources in the origin: only h2 and h5 have derivatives.
    Features features;
    for (int i = 0; i < 6; ++i) {
        features.push_back({10.0 + i, 20.0 - i, 1.0, 1.0, 0.0, 0.0});
    }
    const SResult result = Optimise(features, kIdentity);
    EXPECT_FALSE(result.converged);
    EXPECT_FALSE(
        std::all_of(result.params.begin(), result.params.end(), [](double h) { return std::isfinite(h); }));
}

TEST(LxCHomography, APairThatIsNoNumberLeavesTheParametersAsTheyWere)
{
    // No scale is a number, so no step is taken, and the step that was not taken has length zero.
    std::mt19937 random(17);
    Features features = MakeFeatures(RandomParams(random), 20, 0.1, random);
    features[5].dTargetX = kNaN;
    const SResult result = Optimise(features, kIdentity);
    EXPECT_TRUE(result.converged);
    EXPECT_EQ(result.params, kIdentity);
}

TEST(LxCHomography, AnyCoordinatesAndVariancesEndTheRefinement)
{
    std::mt19937 random(18);
    const double hard[] = {kNaN, kInfinity, -kInfinity, 1e308, -1e308, 1e160, 1e-320, 0.0, -1.0, 1e38};
    const Logging::CCapture capture;
    for (int trial = 0; trial < 150; ++trial) {
        Features features = MakeFeatures(RandomParams(random), 1 + trial % 8, 0.5, random);
        for (int bad = 0; bad <= trial % 3; ++bad) {
            SHomographyFeature& f = features[random() % features.size()];
            double* const members[] = {&f.dTargetX,   &f.dTargetY, &f.dVarianceX,
                                       &f.dVarianceY, &f.dSourceX, &f.dSourceY};
            *members[random() % 6] = hard[random() % std::size(hard)];
        }
        CProbe homography;
        homography.SetFeatureData(SizeOf(features), features.data());
        homography.OptimiseHomography();
        homography.EstimateHomography();
        homography.OptimiseHomography();
    }
}

TEST(LxCHomography, EquationsThatAreNotFiniteEndTheRefinementAndAreLogged)
{
    // The target and the residual fit, but the derivative by h0, the source x over d, overflows once it is weighted
    // with more than one, which a negative variance brings.
    Features features{{0, 0, 100.0, 0.0, 1e308, 1e308}, {0, 0, -98.0, 0.0, 1e308, 1e308}};
    const Params start{0, 0, 0, 0, 0, 0, 0, 0};
    const Logging::CCapture capture;
    const SResult result = Optimise(features, start);
    EXPECT_FALSE(result.converged);
    EXPECT_EQ(result.params, start);
    EXPECT_EQ(capture.Count(Logging::ELevel::eError, c_sChannel,
                            L"OptimiseHomography: singular value decomposition: an element is not finite\n"),
              1);
}

TEST(LxCHomography, FewerThanFourPairsTakeTheShortestStepThatFitsThem)
{
    std::mt19937 random(19);
    for (int count = 1; count <= 3; ++count) {
        const Params truth{1.01, 0.02, 3.0, -0.01, 0.99, -2.0, 0.01, 0.02};
        Features features = MakeFeatures(truth, count, 0.0, random);
        const SResult result = Optimise(features, kIdentity);
        CProbe homography;
        for (const SHomographyFeature& f : features) {
            const SPoint mapped = homography.Map(result.params, f.dSourceX, f.dSourceY);
            EXPECT_NEAR(mapped.x, f.dTargetX, 1e-3) << count;
            EXPECT_NEAR(mapped.y, f.dTargetY, 1e-3) << count;
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
