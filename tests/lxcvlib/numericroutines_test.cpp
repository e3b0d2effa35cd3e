#include "numericroutines.h"

#include "allocationcount.h"
#include "matrixroutines.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <numeric>
#include <random>
#include <vector>

namespace LxCV {
namespace {

constexpr double c_dNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double c_dInfinity = std::numeric_limits<double>::infinity();
constexpr double c_dEpsilon = std::numeric_limits<double>::epsilon();

TEST(ElemSwap, ExchangesFloatsAndDoubles)
{
    float f = 1.0F;
    float g = 2.0F;
    ELEM_SWAP(f, g);
    EXPECT_EQ(f, 2.0F);
    EXPECT_EQ(g, 1.0F);
    double d = 3.0;
    double e = 4.0;
    ELEM_SWAP(d, e);
    ELEM_SWAP(d, d);
    EXPECT_EQ(d, 4.0);
    EXPECT_EQ(e, 3.0);
}

template <typename T>
class QuickSelect : public testing::Test
{};
using Numbers = testing::Types<float, double>;
TYPED_TEST_SUITE(QuickSelect, Numbers);

template <typename T>
std::vector<T> RandomValues(int count, int distinct, std::mt19937& random)
{
    std::uniform_int_distribution<int> value(0, distinct - 1);
    std::vector<T> values(static_cast<std::size_t>(count));
    std::generate(values.begin(), values.end(), [&] { return static_cast<T>(value(random)); });
    return values;
}

TYPED_TEST(QuickSelect, IsTheLowerMedianOfASortAndKeepsTheValues)
{
    std::mt19937 random(1);
    for (int trial = 0; trial < 5000; ++trial) {
        const int count = 1 + trial % 60;
        const int distinct = trial % 3 == 0 ? 3 : (trial % 3 == 1 ? count : 1000000);
        const std::vector<TypeParam> values = RandomValues<TypeParam>(count, distinct, random);
        std::vector<TypeParam> sorted = values;
        std::sort(sorted.begin(), sorted.end());
        std::vector<TypeParam> work = values;
        const auto k = static_cast<std::size_t>((count - 1) / 2);
        ASSERT_EQ(QuickSelectMedian(work.data(), count, false), sorted[k]) << testing::PrintToString(values);
        std::sort(work.begin(), work.end());
        ASSERT_EQ(work, sorted);
    }
}

TYPED_TEST(QuickSelect, WithAverageEvenGivesTheLowerMedianOrItsMeanWithTheNextRank)
{
    std::mt19937 random(2);
    int lower = 0;
    int mean = 0;
    for (int trial = 0; trial < 5000; ++trial) {
        const int count = 2 + trial % 40;
        std::vector<TypeParam> values(static_cast<std::size_t>(count));
        std::iota(values.begin(), values.end(), TypeParam{0});
        std::shuffle(values.begin(), values.end(), random);
        const std::vector<TypeParam> input = values;
        const TypeParam found = QuickSelectMedian(values.data(), count, true);
        const auto k = static_cast<TypeParam>((count - 1) / 2);
        (found == k ? lower : mean) += 1;
        ASSERT_TRUE(found == k || found == k + TypeParam{0.5}) << testing::PrintToString(input);
    }
    EXPECT_GT(lower, 1000);
    EXPECT_GT(mean, 1000);
}

TYPED_TEST(QuickSelect, OneValueAndNoneReadTheFirst)
{
    TypeParam values[1] = {TypeParam{7}};
    EXPECT_EQ(QuickSelectMedian(values, 1, true), TypeParam{7});
    EXPECT_EQ(QuickSelectMedian(values, 0, true), TypeParam{7});
    EXPECT_EQ(QuickSelectMedian(values, 0, false), TypeParam{7});
}

TYPED_TEST(QuickSelect, TwoValuesGiveTheirMeanOrTheSmaller)
{
    TypeParam values[2] = {TypeParam{9}, TypeParam{4}};
    EXPECT_EQ(QuickSelectMedian(values, 2, true), TypeParam{6.5});
    EXPECT_EQ(values[0], TypeParam{4});
    EXPECT_EQ(values[1], TypeParam{9});
    EXPECT_EQ(QuickSelectMedian(values, 2, false), TypeParam{4});
}

TYPED_TEST(QuickSelect, FourValuesAverageOnTheTwoElementExitOnly)
{
    // The pivot 2 of 1, 2, 4 lands on rank 1 at once: one element is left.
    TypeParam ascending[4] = {TypeParam{1}, TypeParam{2}, TypeParam{3}, TypeParam{4}};
    EXPECT_EQ(QuickSelectMedian(ascending, 4, true), TypeParam{2});
    // The pivot 3 of 2, 3, 4 lands on rank 2: two elements are left.
    TypeParam mixed[4] = {TypeParam{2}, TypeParam{3}, TypeParam{1}, TypeParam{4}};
    EXPECT_EQ(QuickSelectMedian(mixed, 4, true), TypeParam{2.5});
}

TYPED_TEST(QuickSelect, AnOddCountIsAveragedToo)
{
    // Where a first pivot of 1 ... 7 lands on rank 4 and a second on rank 1, ranks 2 and 3 are left: (4 +
    // 5)/2.
    std::array<TypeParam, 7> order;
    std::iota(order.begin(), order.end(), TypeParam{1});
    int lower = 0;
    int averaged = 0;
    do {
        std::array<TypeParam, 7> values = order;
        const TypeParam found = QuickSelectMedian(values.data(), 7, true);
        lower += found == TypeParam{4} ? 1 : 0;
        averaged += found == TypeParam{4.5} ? 1 : 0;
    } while (std::next_permutation(order.begin(), order.end()));
    EXPECT_GT(lower, 0);
    EXPECT_GT(averaged, 0);
    EXPECT_EQ(lower + averaged, 5040);
}

TYPED_TEST(QuickSelect, RefusesNullAndNegativeCounts)
{
    TypeParam values[1] = {TypeParam{7}};
    EXPECT_EQ(QuickSelectMedian(static_cast<TypeParam*>(nullptr), 5, true), TypeParam{0});
    EXPECT_EQ(QuickSelectMedian(static_cast<TypeParam*>(nullptr), 0, false), TypeParam{0});
    EXPECT_EQ(QuickSelectMedian(values, -1, false), TypeParam{0});
    EXPECT_EQ(QuickSelectMedian(values, std::numeric_limits<int>::min(), true), TypeParam{0});
}

/// Sorts NaN to the end.
template <typename T>
void SortWithNaN(std::vector<T>& values)
{
    std::sort(values.begin(), values.end(), [](T a, T b) { return std::isnan(b) ? !std::isnan(a) : a < b; });
}

TYPED_TEST(QuickSelect, AnyMixOfNaNAndInfinityStaysInTheArrayAndIsOnlyReordered)
{
    using Limits = std::numeric_limits<TypeParam>;
    const TypeParam special[] = {Limits::quiet_NaN(), Limits::infinity(), -Limits::infinity(), TypeParam{0},
                                 TypeParam{1},        Limits::max(),      TypeParam{-3}};
    const TypeParam guard = TypeParam{12345};
    std::mt19937 random(3);
    for (int trial = 0; trial < 20000; ++trial) {
        const int count = 1 + trial % 24;
        std::vector<TypeParam> values(static_cast<std::size_t>(count) + 2, guard);
        for (int i = 1; i <= count; ++i) {
            values[static_cast<std::size_t>(i)] = special[random() % std::size(special)];
        }
        std::vector<TypeParam> sorted(values.begin() + 1, values.end() - 1);
        QuickSelectMedian(values.data() + 1, count, trial % 2 == 0);
        EXPECT_EQ(values.front(), guard);
        EXPECT_EQ(values.back(), guard);
        std::vector<TypeParam> after(values.begin() + 1, values.end() - 1);
        SortWithNaN(sorted);
        SortWithNaN(after);
        ASSERT_TRUE(
            std::equal(sorted.begin(), sorted.end(), after.begin(),
                       [](TypeParam a, TypeParam b) { return a == b || (std::isnan(a) && std::isnan(b)); }))
            << "trial " << trial;
    }
}

TYPED_TEST(QuickSelect, InfinitiesAreTheOutermostRanks)
{
    using Limits = std::numeric_limits<TypeParam>;
    const TypeParam special[] = {Limits::infinity(), -Limits::infinity(), Limits::max(),
                                 Limits::lowest(),   TypeParam{0},        Limits::denorm_min()};
    std::mt19937 random(11);
    for (int trial = 0; trial < 5000; ++trial) {
        const int count = 1 + trial % 20;
        std::vector<TypeParam> values(static_cast<std::size_t>(count));
        std::generate(values.begin(), values.end(), [&] { return special[random() % std::size(special)]; });
        std::vector<TypeParam> sorted = values;
        std::sort(sorted.begin(), sorted.end());
        ASSERT_EQ(QuickSelectMedian(values.data(), count, false),
                  sorted[static_cast<std::size_t>((count - 1) / 2)])
            << testing::PrintToString(sorted);
    }
}

TEST(QuickSelectMemory, TakesNone)
{
    std::mt19937 random(4);
    std::vector<double> values = RandomValues<double>(1001, 1000, random);
    const AllocationCount allocations;
    QuickSelectMedian(values.data(), 1001, true);
    EXPECT_EQ(allocations.Get(), 0U);
}

TEST(CalcStandardDeviation, DividesByCountMinusOne)
{
    // sum 40, squares 232: (8·232 - 40²)/(7·8) = 256/56
    const double values[8] = {2, 4, 4, 4, 5, 5, 7, 9};
    EXPECT_DOUBLE_EQ(CalcStandardDeviation(values, 8), std::sqrt(256.0 / 56.0));
    // (2·(1 + 9) - 4²)/(1·2) = 2
    const double two[2] = {1, 3};
    EXPECT_DOUBLE_EQ(CalcStandardDeviation(two, 2), std::sqrt(2.0));
}

TEST(CalcStandardDeviation, IsZeroBelowTwoValuesAndForNull)
{
    const double values[1] = {5};
    EXPECT_EQ(CalcStandardDeviation(values, 1), 0.0);
    EXPECT_EQ(CalcStandardDeviation(values, 0), 0.0);
    EXPECT_EQ(CalcStandardDeviation(values, -3), 0.0);
    EXPECT_EQ(CalcStandardDeviation(nullptr, 2), 0.0);
}

TEST(CalcStandardDeviation, IsNoFiniteNumberForValuesThatAreNone)
{
    for (const double bad : {c_dNaN, c_dInfinity, -c_dInfinity}) {
        for (std::size_t place = 0; place < 3; ++place) {
            double values[3] = {1, 2, 4};
            values[place] = bad;
            EXPECT_FALSE(std::isfinite(CalcStandardDeviation(values, 3))) << bad << " at " << place;
        }
    }
}

TEST(CalcStandardDeviation, CancellationBelowZeroGivesZeroAndNeverNaN)
{
    int negative = 0;
    for (int k = 1; k < 2000; ++k) {
        const double value = 0.1 * k;
        const double values[3] = {value, value, value};
        const double sum = value + value + value;
        negative += 3.0 * (value * value + value * value + value * value) - sum * sum < 0.0 ? 1 : 0;
        const double deviation = CalcStandardDeviation(values, 3);
        // The difference of two numbers near 9·value² is off by some of their last digits.
        EXPECT_LE(deviation, std::sqrt(4.0 * c_dEpsilon * 9.0 * value * value / 6.0)) << value;
        EXPECT_GE(deviation, 0.0) << value;
    }
    EXPECT_GT(negative, 0) << "no input took the branch under test";
}

TEST(CalcStandardDeviation, AgreesWithTwoPassesInLongDouble)
{
    std::mt19937 random(5);
    std::normal_distribution<double> value(3.0, 2.0);
    for (int trial = 0; trial < 2000; ++trial) {
        std::vector<double> values(static_cast<std::size_t>(2 + trial % 100));
        std::generate(values.begin(), values.end(), [&] { return value(random); });
        const long double mean =
            std::accumulate(values.begin(), values.end(), 0.0L) / static_cast<long double>(values.size());
        long double squares = 0.0L;
        for (const double v : values) {
            squares += (v - mean) * (v - mean);
        }
        const auto expected =
            static_cast<double>(std::sqrt(squares / static_cast<long double>(values.size() - 1)));
        // Two close values lose digits: absolute, for a mean of 3.
        EXPECT_NEAR(CalcStandardDeviation(values.data(), static_cast<int>(values.size())), expected, 1e-6);
    }
}

struct Points
{
    std::vector<double> x;
    std::vector<double> y;
    int Count() const { return static_cast<int>(x.size()); }
};

Points RandomKnots(int count, std::mt19937& random)
{
    std::uniform_real_distribution<double> step(0.2, 2.0);
    std::uniform_real_distribution<double> value(-10.0, 10.0);
    Points points;
    double x = value(random);
    for (int i = 0; i < count; ++i) {
        points.x.push_back(x += step(random));
        points.y.push_back(value(random));
    }
    return points;
}

/// The second derivatives by the full system h[i-1]·M[i-1] + 2(h[i-1] + h[i])·M[i] + h[i]·M[i+1] =
/// 6·(difference of slopes), solved by elimination with full pivoting.
std::vector<double> SolveSpline(const Points& points)
{
    const std::size_t n = points.x.size();
    std::vector<double> matrix(n * n);
    std::vector<double> sides(n);
    matrix.front() = 1.0;
    matrix.back() = 1.0;
    for (std::size_t i = 1; i + 1 < n; ++i) {
        const double before = points.x[i] - points.x[i - 1];
        const double after = points.x[i + 1] - points.x[i];
        matrix[i * n + i - 1] = before;
        matrix[i * n + i] = 2.0 * (before + after);
        matrix[i * n + i + 1] = after;
        sides[i] = 6.0 * ((points.y[i + 1] - points.y[i]) / after - (points.y[i] - points.y[i - 1]) / before);
    }
    EXPECT_TRUE(SolveGaussJordan(matrix.data(), static_cast<int>(n), sides.data(), 1));
    return sides;
}

/// The cubic of interval i in its moments.
double EvaluateSpline(const Points& points, const std::vector<double>& moments, std::size_t i, double at)
{
    const double h = points.x[i + 1] - points.x[i];
    const double right = points.x[i + 1] - at;
    const double left = at - points.x[i];
    return moments[i] * right * right * right / (6.0 * h) + moments[i + 1] * left * left * left / (6.0 * h) +
           (points.y[i] / h - moments[i] * h / 6.0) * right +
           (points.y[i + 1] / h - moments[i + 1] * h / 6.0) * left;
}

constexpr double c_dSplineTolerance = 1e-10; ///< some hundred roundings of second derivatives below 3000

TEST(CubicSpline, AgreesWithTheFullTridiagonalSystemInsideAndBeyondTheKnots)
{
    std::mt19937 random(6);
    std::uniform_real_distribution<double> place(-0.2, 1.2);
    for (int trial = 0; trial < 1000; ++trial) {
        const Points points = RandomKnots(3 + trial % 12, random);
        const std::vector<double> expected = SolveSpline(points);
        std::vector<double> moments(points.x.size(), c_dNaN);
        ASSERT_TRUE(
            Compute2ndSplineDerivative(points.x.data(), points.y.data(), points.Count(), moments.data()));
        EXPECT_EQ(moments.front(), 0.0);
        EXPECT_EQ(moments.back(), 0.0);
        for (std::size_t i = 0; i < moments.size(); ++i) {
            EXPECT_NEAR(moments[i], expected[i], c_dSplineTolerance);
        }
        for (int k = 0; k < 20; ++k) {
            const double at = points.x.front() + place(random) * (points.x.back() - points.x.front());
            std::size_t interval = 0;
            while (interval + 2 < points.x.size() && points.x[interval + 1] <= at) {
                ++interval;
            }
            double value = c_dNaN;
            ASSERT_TRUE(CubicSplineInterpolation(points.x.data(), points.y.data(), moments.data(),
                                                 points.Count(), at, &value));
            EXPECT_NEAR(value, EvaluateSpline(points, expected, interval, at), c_dSplineTolerance);
            double again = c_dNaN;
            ASSERT_TRUE(CubicSplineInterpolation(points.x.data(), points.y.data(), nullptr, points.Count(),
                                                 at, &again));
            EXPECT_EQ(again, value) << "second derivatives computed for the call";
        }
    }
}

TEST(CubicSpline, MeetsItsKnotsAndKeepsStraightLines)
{
    const double x[5] = {0, 1, 2.5, 3, 7};
    const double y[5] = {4, -1, 3, 3, 0};
    double value = c_dNaN;
    for (int i = 0; i < 5; ++i) {
        ASSERT_TRUE(CubicSplineInterpolation(x, y, nullptr, 5, x[i], &value));
        EXPECT_DOUBLE_EQ(value, y[i]);
    }
    const double straight[5] = {1, 3, 6, 7, 15};
    ASSERT_TRUE(CubicSplineInterpolation(x, straight, nullptr, 5, 5.0, &value));
    EXPECT_DOUBLE_EQ(value, 11.0);
}

TEST(CubicSpline, IsTheKnownParabolaOfThreeKnotsByHand)
{
    // Knots 0, 1, 2 with values 0, 1, 0: 4·M = 6·((0 - 1) - (1 - 0)) = -12, so M = -3.
    const double x[3] = {0, 1, 2};
    const double y[3] = {0, 1, 0};
    double moments[3];
    ASSERT_TRUE(Compute2ndSplineDerivative(x, y, 3, moments));
    EXPECT_DOUBLE_EQ(moments[1], -3.0);
    // At 0.5: 0.5·0 + 0.5·1 + (0.125 - 0.5)·(-3)/6 = 0.6875
    double value = 0.0;
    ASSERT_TRUE(CubicSplineInterpolation(x, y, moments, 3, 0.5, &value));
    EXPECT_DOUBLE_EQ(value, 0.6875);
}

TEST(CubicSpline, TwoKnotsAreInterpolatedWithGivenSecondDerivativesOnly)
{
    const double x[2] = {0, 2};
    const double y[2] = {1, 5};
    const double moments[2] = {0, 0};
    double value = 77.0;
    EXPECT_FALSE(CubicSplineInterpolation(x, y, nullptr, 2, 0.5, &value));
    EXPECT_EQ(value, 77.0);
    EXPECT_TRUE(CubicSplineInterpolation(x, y, moments, 2, 0.5, &value));
    EXPECT_DOUBLE_EQ(value, 2.0);
}

TEST(CubicSpline, EqualAbscissaeAroundThePlaceAreRefused)
{
    const double x[4] = {0, 1, 1, 2};
    const double y[4] = {0, 1, 2, 3};
    const double moments[4] = {0, 0, 0, 0};
    double value = 77.0;
    EXPECT_FALSE(CubicSplineInterpolation(x + 1, y + 1, moments, 2, 1.0, &value));
    EXPECT_EQ(value, 77.0);
    // The bisection of four knots looks at knot 1 and, at 0.5, turns left of the double one.
    EXPECT_TRUE(CubicSplineInterpolation(x, y, moments, 4, 0.5, &value));
    EXPECT_DOUBLE_EQ(value, 0.5);
    ASSERT_TRUE(CubicSplineInterpolation(x, y, moments, 4, 1.0, &value));
    EXPECT_EQ(value, 2.0) << "the later one of the two counts at their place";
    const double triple[3] = {1, 1, 1};
    EXPECT_FALSE(CubicSplineInterpolation(triple, y, moments, 3, 1.0, &value));
}

TEST(CubicSpline, EqualAbscissaeHaveNoFiniteSecondDerivatives)
{
    const double y[5] = {0, 1, 2, 5, 3};
    for (const auto& x : {std::array<double, 5>{0, 0, 1, 2, 3},
                          {0, 1, 1, 2, 3},
                          {0, 1, 2, 3, 3},
                          {0, 1, 1, 1, 2},
                          {4, 4, 4, 4, 4}}) {
        double moments[7] = {7, 7, 7, 7, 7, 7, 7};
        ASSERT_TRUE(Compute2ndSplineDerivative(x.data(), y, 5, moments + 1));
        EXPECT_FALSE(std::all_of(moments + 1, moments + 6, [](double m) { return std::isfinite(m); }));
        EXPECT_EQ(moments[1], 0.0) << "the ends are natural";
        EXPECT_EQ(moments[5], 0.0);
        EXPECT_EQ(moments[0], 7.0);
        EXPECT_EQ(moments[6], 7.0);
    }
}

TEST(CubicSpline, RefusesNullsAndTooFewPointsUntouched)
{
    const double x[3] = {0, 1, 2};
    const double y[3] = {0, 1, 0};
    double out[3] = {7, 7, 7};
    for (const int count : {2, 1, 0, -1, std::numeric_limits<int>::min()}) {
        EXPECT_FALSE(Compute2ndSplineDerivative(x, y, count, out)) << count;
    }
    EXPECT_FALSE(Compute2ndSplineDerivative(nullptr, y, 3, out));
    EXPECT_FALSE(Compute2ndSplineDerivative(x, nullptr, 3, out));
    EXPECT_FALSE(Compute2ndSplineDerivative(x, y, 3, nullptr));
    for (const int count : {1, 0, -1}) {
        EXPECT_FALSE(CubicSplineInterpolation(x, y, out, count, 0.5, out)) << count;
    }
    EXPECT_FALSE(CubicSplineInterpolation(nullptr, y, out, 3, 0.5, out));
    EXPECT_FALSE(CubicSplineInterpolation(x, nullptr, out, 3, 0.5, out));
    EXPECT_FALSE(CubicSplineInterpolation(x, y, out, 3, 0.5, nullptr));
    EXPECT_EQ(out[0], 7.0);
}

TEST(CubicSpline, NaNAndInfinityEndAndGiveNoFiniteValueByChance)
{
    const double y[3] = {0, 1, 0};
    double value = 0.0;
    for (const double bad : {c_dNaN, c_dInfinity, -c_dInfinity}) {
        const double good[3] = {0, 1, 2};
        ASSERT_TRUE(CubicSplineInterpolation(good, y, nullptr, 3, bad, &value));
        EXPECT_FALSE(std::isfinite(value)) << bad;
        const double x[3] = {0, bad, 2};
        CubicSplineInterpolation(x, y, nullptr, 3, 1.0, &value);
        EXPECT_FALSE(std::isfinite(value)) << bad;
    }
}

/// The least sum of absolute deviations: some optimal line goes through two of the points.
double LeastDeviationOverPairs(const Points& points)
{
    double best = c_dInfinity;
    for (std::size_t i = 0; i < points.x.size(); ++i) {
        for (std::size_t j = i + 1; j < points.x.size(); ++j) {
            if (points.x[i] == points.x[j]) {
                continue;
            }
            const double slope = (points.y[j] - points.y[i]) / (points.x[j] - points.x[i]);
            double sum = 0.0;
            for (std::size_t k = 0; k < points.x.size(); ++k) {
                sum += std::abs(points.y[k] - points.y[i] - slope * (points.x[k] - points.x[i]));
            }
            best = std::min(best, sum);
        }
    }
    return best;
}

double SumOfDeviations(const Points& points, double slope, double intercept)
{
    double sum = 0.0;
    for (std::size_t i = 0; i < points.x.size(); ++i) {
        sum += std::abs(points.y[i] - (slope * points.x[i] + intercept));
    }
    return sum;
}

Points RandomLine(int count, double outliers, std::mt19937& random)
{
    std::uniform_real_distribution<double> abscissa(-5.0, 5.0);
    std::normal_distribution<double> noise(0.0, 0.3);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    Points points;
    const double slope = abscissa(random);
    const double intercept = abscissa(random);
    for (int i = 0; i < count; ++i) {
        points.x.push_back(abscissa(random));
        points.y.push_back(intercept + slope * points.x.back() + noise(random) +
                           (unit(random) < outliers ? 20.0 * unit(random) : 0.0));
    }
    return points;
}

TEST(FitLineMinAbsDev, ComesWithinItsStepOfTheBestLineThroughTwoPoints)
{
    std::mt19937 random(7);
    constexpr int c_iTrials = 3000;
    int missed = 0;
    for (int trial = 0; trial < c_iTrials; ++trial) {
        const Points points = RandomLine(3 + trial % 15, trial % 2 == 0 ? 0.0 : 0.2, random);
        double slope = c_dNaN;
        double intercept = c_dNaN;
        const double mean =
            FitLineMinAbsDev(points.x.data(), points.y.data(), points.Count(), slope, intercept);
        const double found = mean * points.Count();
        EXPECT_NEAR(found, SumOfDeviations(points, slope, intercept), 1e-11) << "trial " << trial;
        const double best = LeastDeviationOverPairs(points);
        double leastSquaresSlope = 0.0;
        double leastSquaresIntercept = 0.0;
        const double s = FitLineLeastSquares(points.x.data(), points.y.data(), points.Count(),
                                             leastSquaresSlope, leastSquaresIntercept);
        // The search ends within 0.01·s of the optimal slope, and the sum grows by at most |x| a point and
        // slope.
        double reach = 0.0;
        for (const double x : points.x) {
            reach += std::abs(x);
        }
        EXPECT_GE(found, best - 1e-11) << "trial " << trial;
        missed += found <= best + 0.01 * s * reach + 1e-11 ? 0 : 1;
        EXPECT_LE(found, SumOfDeviations(points, leastSquaresSlope, leastSquaresIntercept) + 1e-11);
    }
    // Where an ordinate near zero makes the rounding of the median point's own deviation count, the search
    // can take the wrong half. It then still betters the least-squares line.
    EXPECT_LE(missed, c_iTrials / 100);
}

TEST(FitLineMinAbsDev, SearchesByStepsOfThreeDeviationsAndThenByHalving)
{
    // The least-squares slope is -0.4 with s = √((12.8 - 0.4²·10)/4) = √2.8. The best slope is 0, within the
    // first step w = 3·s. w/512 is the first part below 0.01·s, so nine halvings lead to an odd number of
    // them: 0.4·512/w = 40.8 lies between 40 and 42, whose middle is evaluated last.
    const double s = std::sqrt(2.8);
    const double w = 3.0 * s;
    constexpr double c_dTolerance = 1e-12; // roundings of numbers up to 50
    const double x[5] = {0, 1, 2, 3, 4};
    const double y[5] = {0, 4, 0, 0, 0};
    double slope = c_dNaN;
    double intercept = c_dNaN;
    FitLineMinAbsDev(x, y, 5, slope, intercept);
    EXPECT_NEAR(slope, -0.4 + 41.0 / 512.0 * w, c_dTolerance);
    // With abscissae a hundredth as wide, the slope -40 is off by more. The steps w, 1.6·w, 2.56·w, 4.096·w
    // lead to -35.0, -26.9, -14.1 and +6.5. 4.096·w/2048 is the first part below 0.01·s, and 14.097·2048/
    // (4.096·w) = 1404.1 lies between 1404 and 1406.
    const double narrow[5] = {0, 0.01, 0.02, 0.03, 0.04};
    FitLineMinAbsDev(narrow, y, 5, slope, intercept);
    EXPECT_NEAR(slope, -40.0 + 5.16 * w + 4.096 * w * 1405.0 / 2048.0, c_dTolerance);
    // Mirrored, the search goes the other way.
    const double mirrored[5] = {0, -0.01, -0.02, -0.03, -0.04};
    FitLineMinAbsDev(mirrored, y, 5, slope, intercept);
    EXPECT_NEAR(slope, 40.0 - 5.16 * w - 4.096 * w * 1405.0 / 2048.0, c_dTolerance);
}

TEST(FitLineMinAbsDev, ADerivativeOfZeroSendsTheSearchOnAwayFromTheLeastSquaresSlope)
{
    // The least-squares slope is 27/34 with s = √((46 - 27²/34)/3), and too steep. At 27/34 - 8/512·3·s = 0.66
    // the deviations +, -, -, + at -2, 1, 3, 6 have the derivative -2 - 1 - 3 + 6 = 0. All products with it
    // are 0, so that 12, 14 and 15 parts of 512 follow.
    const double x[4] = {-2, 1, 3, 6};
    const double y[4] = {11, 7, 14, 16};
    double slope = c_dNaN;
    double intercept = c_dNaN;
    FitLineMinAbsDev(x, y, 4, slope, intercept);
    EXPECT_NEAR(slope, 27.0 / 34.0 - 15.0 / 512.0 * 3.0 * std::sqrt((46.0 - 27.0 * 27.0 / 34.0) / 3.0),
                1e-13);
}

TEST(FitLineMinAbsDev, DeviationsOfTwoRoundingsOfTheOrdinatesCount)
{
    // The search of the steps above, 2^40 farther up: deviations are 1e-12 of the ordinates.
    const double high = std::ldexp(1.0, 40);
    const double x[5] = {0, 1, 2, 3, 4};
    const double y[5] = {high, high + 4.0, high, high, high};
    double slope = c_dNaN;
    double intercept = c_dNaN;
    FitLineMinAbsDev(x, y, 5, slope, intercept);
    // Half the way from 41 parts of 512 to the next slope of the search, two parts of 3·√2.8 farther.
    EXPECT_NEAR(slope, -0.4 + 41.0 / 512.0 * 3.0 * std::sqrt(2.8), std::sqrt(2.8) * 3.0 / 512.0);
}

TEST(FitLineMinAbsDev, IsNotPulledByOutliers)
{
    Points points;
    for (int i = 0; i < 40; ++i) {
        points.x.push_back(i);
        points.y.push_back(3.0 + 0.5 * i + (i % 2 == 0 ? 0.01 : -0.01) + (i % 8 == 7 ? 100.0 : 0.0));
    }
    double slope = 0.0;
    double intercept = 0.0;
    EXPECT_GT(FitLineMinAbsDev(points.x.data(), points.y.data(), 40, slope, intercept), 0.0);
    // The slope is as good as its step, a hundredth of the least-squares deviation of about 34.
    EXPECT_NEAR(slope, 0.5, 0.34);
    EXPECT_NEAR(slope * 20.0 + intercept, 13.0, 1.0);
}

TEST(FitLineMinAbsDev, CollinearPointsGiveZeroWithTheLeastSquaresLine)
{
    const double x[5] = {3, -1, 8, 0, 11};
    const double y[5] = {7, -1, 17, 1, 23};
    double slope = c_dNaN;
    double intercept = c_dNaN;
    EXPECT_EQ(FitLineMinAbsDev(x, y, 5, slope, intercept), 0.0);
    EXPECT_EQ(slope, 2.0);
    EXPECT_EQ(intercept, 1.0);
}

TEST(FitLineMinAbsDev, CollinearPointsOfPixelEdgesWithSixFractionalBitsGiveZero)
{
    std::mt19937 random(8);
    for (int trial = 0; trial < 500; ++trial) {
        const int start = static_cast<int>(random() % 600);
        const double step = static_cast<int>(random() % 129) / 64.0 - 1.0;
        Points points;
        for (int i = 0; i < 20 + trial % 30; ++i) {
            points.x.push_back(start + i);
            points.y.push_back(300.0 + step * i);
        }
        double slope = c_dNaN;
        double intercept = c_dNaN;
        EXPECT_EQ(FitLineMinAbsDev(points.x.data(), points.y.data(), points.Count(), slope, intercept), 0.0);
        EXPECT_EQ(slope, step);
        EXPECT_EQ(intercept, 300.0 - step * start);
    }
}

TEST(FitLineMinAbsDev, WeighsDeviationsRelativeToTheOrdinates)
{
    // Powers of two change no digit, so ordinates of any scale give the same search, although all deviations
    // of the small ones lie below the bound that counts as zero.
    std::mt19937 random(9);
    const Points points = RandomLine(15, 0.3, random);
    double slope = 0.0;
    double intercept = 0.0;
    const double mean = FitLineMinAbsDev(points.x.data(), points.y.data(), 15, slope, intercept);
    const double scale = std::ldexp(1.0, -60);
    std::vector<double> small = points.y;
    for (double& y : small) {
        y *= scale;
    }
    double smallSlope = 0.0;
    double smallIntercept = 0.0;
    EXPECT_EQ(FitLineMinAbsDev(points.x.data(), small.data(), 15, smallSlope, smallIntercept), mean * scale);
    EXPECT_EQ(smallSlope, slope * scale);
    EXPECT_EQ(smallIntercept, intercept * scale);
    double ignored = 0.0;
    double leastSquares = 0.0;
    FitLineLeastSquares(points.x.data(), points.y.data(), 15, leastSquares, ignored);
    EXPECT_NE(slope, leastSquares) << "the search found nothing better, so nothing was tested";
}

TEST(FitLineMinAbsDev, OrdinatesOfZeroAreWeighedByTheDeviationItself)
{
    // As above, but zeros are not divided by: in the small scale they are within the bound and lose their
    // weight.
    const double x[5] = {0, 1, 2, 3, 4};
    const double y[5] = {0, 4, 0, 0, 0};
    double slope = 0.0;
    double intercept = 0.0;
    // The least-squares slope is -0.4 with s = √((12.8 - 0.4²·10)/4) = 1.67; the best line is y = 0.
    EXPECT_NEAR(FitLineMinAbsDev(x, y, 5, slope, intercept), 0.8, 0.0167 * 10.0 / 5.0);
    EXPECT_NEAR(slope, 0.0, 0.0167);
    const double scale = std::ldexp(1.0, -60);
    const double small[5] = {0, 4 * scale, 0, 0, 0};
    // The one weight left drives the slope away, so that of least squares stays: y = 1.2 - 0.4·x, the median
    // of y + 0.4·x being 1.2, with deviations of 1.2, 3.2, 0.4, 0 and 0.4.
    EXPECT_DOUBLE_EQ(FitLineMinAbsDev(x, small, 5, slope, intercept) / scale, 1.04);
    EXPECT_DOUBLE_EQ(slope / scale, -0.4);
    EXPECT_DOUBLE_EQ(intercept / scale, 1.2);
}

TEST(FitLineMinAbsDev, RefusesTooFewPointsNullsAndAVerticalLine)
{
    const double x[3] = {1, 1, 1};
    const double y[3] = {1, 2, 4};
    double slope = 77.0;
    double intercept = 78.0;
    for (const int count : {1, 0, -1, std::numeric_limits<int>::min()}) {
        EXPECT_EQ(FitLineMinAbsDev(x, y, count, slope, intercept), -1.0) << count;
    }
    EXPECT_EQ(FitLineMinAbsDev(nullptr, y, 3, slope, intercept), -1.0);
    EXPECT_EQ(FitLineMinAbsDev(x, nullptr, 3, slope, intercept), -1.0);
    EXPECT_EQ(FitLineMinAbsDev(x, y, 3, slope, intercept), -1.0);
    EXPECT_EQ(slope, 77.0);
    EXPECT_EQ(intercept, 78.0);
}

TEST(FitLineMinAbsDev, RepeatedAbscissaeAreFitted)
{
    const double x[6] = {0, 0, 0, 1, 1, 1};
    const double y[6] = {0, 1, 5, 2, 3, 9};
    // Any line from median 1 to median 3: 1 + 4 + 1 + 6 = 12 in all.
    double slope = 0.0;
    double intercept = 0.0;
    const double s = FitLineLeastSquares(x, y, 6, slope, intercept);
    EXPECT_NEAR(FitLineMinAbsDev(x, y, 6, slope, intercept), 2.0, 0.01 * s * 3.0 / 6.0 + 1e-12);
}

TEST(FitLineMinAbsDev, EndsForAnyNumbers)
{
    const double special[] = {0.0,    1.0,     -1.0,        1e300,        -1e300,      1e-300, 5e-324,
                              c_dNaN, 1.7e308, c_dInfinity, -c_dInfinity, 1.0 + 1e-15, 1e154,  3.0};
    std::mt19937 random(10);
    for (int trial = 0; trial < 20000; ++trial) {
        // Mostly without the numbers that are refused at once.
        const std::size_t kinds = std::size(special);
        const int count = 2 + trial % 7;
        Points points;
        bool finite = true;
        for (int i = 0; i < 2 * count; ++i) {
            double value = special[random() % kinds];
            value = trial % 4 != 0 && !std::isfinite(value) ? 2.0 : value;
            finite = finite && std::isfinite(value);
            (i < count ? points.x : points.y).push_back(value);
        }
        double slope = 77.0;
        double intercept = 78.0;
        const double mean = FitLineMinAbsDev(points.x.data(), points.y.data(), count, slope, intercept);
        if (!finite) {
            EXPECT_EQ(mean, -1.0);
        }
        if (mean == -1.0) {
            EXPECT_EQ(slope, 77.0);
            EXPECT_EQ(intercept, 78.0);
        } else {
            EXPECT_TRUE(mean >= 0.0 && std::isfinite(slope) && std::isfinite(intercept))
                << testing::PrintToString(points.x) << testing::PrintToString(points.y);
        }
    }
}

} // namespace
} // namespace LxCV
