#include "matrixroutines.h"

#include "allocationcount.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <functional>
#include <limits>
#include <random>
#include <vector>

namespace LxCV {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

std::vector<double> RandomMatrix(int n, std::mt19937& random)
{
    std::uniform_real_distribution<double> element(-1.0, 1.0);
    std::vector<double> matrix(static_cast<std::size_t>(n) * n);
    std::generate(matrix.begin(), matrix.end(), [&] { return element(random); });
    return matrix;
}

double LargestElement(const std::vector<double>& matrix)
{
    double largest = 0.0;
    for (const double value : matrix) {
        largest = std::max(largest, std::abs(value));
    }
    return largest;
}

/// The largest deviation of a·b from the identity.
double DeviationFromIdentity(const std::vector<double>& a, const std::vector<double>& b, int n)
{
    double largest = 0.0;
    for (int r = 0; r < n; ++r) {
        for (int c = 0; c < n; ++c) {
            long double sum = r == c ? -1.0L : 0.0L;
            for (int k = 0; k < n; ++k) {
                sum += static_cast<long double>(a[r * n + k]) * b[k * n + c];
            }
            largest = std::max(largest, std::abs(static_cast<double>(sum)));
        }
    }
    return largest;
}

TEST(GaussJordan, InvertsTwoByTwoByHand)
{
    // determinant 4·6 - 7·2 = 10
    double matrix[4] = {4, 7, 2, 6};
    ASSERT_TRUE(InvertGaussJordan(matrix, 2));
    const double expected[4] = {0.6, -0.7, -0.2, 0.4};
    for (int i = 0; i < 4; ++i) {
        EXPECT_NEAR(matrix[i], expected[i], 1e-15);
    }
}

TEST(GaussJordan, InvertsAPermutationExactlyAlthoughItsDiagonalIsZero)
{
    double matrix[9] = {0, 1, 0, 0, 0, 1, 1, 0, 0};
    ASSERT_TRUE(InvertGaussJordan(matrix, 3));
    const double transposed[9] = {0, 0, 1, 1, 0, 0, 0, 1, 0};
    for (int i = 0; i < 9; ++i) {
        EXPECT_EQ(matrix[i], transposed[i]);
    }
}

TEST(GaussJordan, InversesOfRandomMatricesOfAllSizesMultiplyToTheIdentity)
{
    // Gauss-Jordan's residual is bounded by a small multiple of n·eps times both magnitudes.
    constexpr double residualPerMagnitude = 100.0 * std::numeric_limits<double>::epsilon();
    std::mt19937 random(1);
    for (int trial = 0; trial < 3000; ++trial) {
        const int n = 1 + trial % 9;
        const std::vector<double> matrix = RandomMatrix(n, random);
        std::vector<double> inverse = matrix;
        ASSERT_TRUE(InvertGaussJordan(inverse.data(), n)) << "trial " << trial;
        const double bound = residualPerMagnitude * n * LargestElement(matrix) * LargestElement(inverse);
        EXPECT_LE(DeviationFromIdentity(matrix, inverse, n), bound) << "trial " << trial << ", n " << n;
    }
}

TEST(GaussJordan, SolvesSeveralRightSidesAtOnce)
{
    std::mt19937 random(2);
    for (int trial = 0; trial < 1000; ++trial) {
        const int n = 1 + trial % 8;
        const int count = 1 + trial % 3;
        const std::vector<double> matrix = RandomMatrix(n, random);
        std::uniform_real_distribution<double> element(-1.0, 1.0);
        std::vector<double> solution(static_cast<std::size_t>(n) * count);
        std::generate(solution.begin(), solution.end(), [&] { return element(random); });
        std::vector<double> sides(solution.size());
        for (int r = 0; r < n; ++r) {
            for (int c = 0; c < count; ++c) {
                for (int k = 0; k < n; ++k) {
                    sides[r * count + c] += matrix[r * n + k] * solution[k * count + c];
                }
            }
        }
        std::vector<double> inverse = matrix;
        ASSERT_TRUE(SolveGaussJordan(inverse.data(), n, sides.data(), count));
        // The right sides themselves are rounded, and the inverse magnifies that.
        const double tolerance =
            100.0 * n * n * std::numeric_limits<double>::epsilon() * std::max(1.0, LargestElement(inverse));
        for (std::size_t i = 0; i < sides.size(); ++i) {
            EXPECT_NEAR(sides[i], solution[i], tolerance * (1.0 + LargestElement(inverse)))
                << "trial " << trial;
        }
    }
}

TEST(GaussJordan, RefusesSingularMatrices)
{
    double zero[9] = {};
    EXPECT_FALSE(InvertGaussJordan(zero, 3));
    double rankOne[9] = {1, 2, 4, 2, 4, 8, 4, 8, 16};
    EXPECT_FALSE(InvertGaussJordan(rankOne, 3));
    double zeroRow[4] = {1, 2, 0, 0};
    EXPECT_FALSE(InvertGaussJordan(zeroRow, 2));
}

TEST(GaussJordan, RefusesANaNOrAnInfinityInAnyPlace)
{
    for (const double bad : {kNaN, kInfinity, -kInfinity}) {
        for (int place = 0; place < 16; ++place) {
            double matrix[16] = {2, 1, 0, 0, 0, 3, 1, 0, 0, 0, 4, 1, 0, 0, 0, 5};
            matrix[place] = bad;
            EXPECT_FALSE(InvertGaussJordan(matrix, 4)) << bad << " at " << place;
        }
    }
}

TEST(GaussJordan, RefusesAPivotWithoutAFiniteReciprocal)
{
    double matrix[1] = {std::numeric_limits<double>::denorm_min()};
    EXPECT_FALSE(InvertGaussJordan(matrix, 1));
}

TEST(GaussJordan, RefusesArgumentsThatHoldNoMatrix)
{
    double one[1] = {1.0};
    EXPECT_FALSE(InvertGaussJordan(nullptr, 3));
    EXPECT_FALSE(InvertGaussJordan(one, 0));
    EXPECT_FALSE(InvertGaussJordan(one, -1));
    EXPECT_FALSE(SolveGaussJordan(one, 1, nullptr, 1));
    EXPECT_FALSE(SolveGaussJordan(one, 1, one, -1));
}

TEST(GaussJordan, TakesNoMemoryForTransforms)
{
    double matrix[16] = {2, 1, 0, 0, 0, 3, 1, 0, 0, 0, 4, 1, 0, 0, 0, 5};
    const AllocationCount allocations;
    EXPECT_TRUE(InvertGaussJordan(matrix, 4));
    EXPECT_EQ(allocations.Get(), 0U);
}

std::vector<double> Roots(double c0, double c1, double c2, double c3)
{
    const double coefficients[4] = {c0, c1, c2, c3};
    double roots[3] = {};
    const int count = SolveCubic(coefficients, roots);
    return {roots, roots + count};
}

void ExpectRoots(const std::vector<double>& found, const std::vector<double>& expected, double tolerance)
{
    ASSERT_EQ(found.size(), expected.size());
    for (std::size_t i = 0; i < found.size(); ++i) {
        EXPECT_NEAR(found[i], expected[i], tolerance * std::max(1.0, std::abs(expected[i])));
    }
}

constexpr double kRootTolerance = 1e-14; ///< of well separated roots, relative

TEST(SolveCubic, ThreeRootsComeInDescendingOrder)
{
    // (x - 1)(x - 2)(x - 3)
    ExpectRoots(Roots(-6, 11, -6, 1), {3, 2, 1}, kRootTolerance);
    // -2(x + 4)(x - 0.5)(x - 10)
    ExpectRoots(Roots(-40, 74, 13, -2), {10, 0.5, -4}, kRootTolerance);
}

TEST(SolveCubic, OneRootComesFromCardanosRadicals)
{
    // (x - 2)(x² + x + 1)
    ExpectRoots(Roots(-2, -1, -1, 1), {2}, kRootTolerance);
    // x³ = -8
    ExpectRoots(Roots(8, 0, 0, 1), {-2}, kRootTolerance);
}

TEST(SolveCubic, ATripleRootIsReportedOnce)
{
    ExpectRoots(Roots(0, 0, 0, 5), {0}, 0.0);
    // (x - 1)³
    ExpectRoots(Roots(-1, 3, -3, 1), {1}, kRootTolerance);
}

TEST(SolveCubic, ADoubleRootIsFoundToHalfTheDigits)
{
    // (x - 1)²(x + 2)
    constexpr double halfTheDigits = 1e-7;
    const std::vector<double> roots = Roots(2, -3, 0, 1);
    ASSERT_GE(roots.size(), 1U);
    EXPECT_NEAR(roots.back(), -2.0, kRootTolerance);
    for (std::size_t i = 0; i + 1 < roots.size(); ++i) {
        EXPECT_NEAR(roots[i], 1.0, halfTheDigits);
    }
}

TEST(SolveCubic, AZeroLeadingCoefficientFallsThroughToTheQuadraticFormula)
{
    // (x - 3)(x + 5), and with a linear coefficient that would cancel in the textbook formula
    ExpectRoots(Roots(-15, 2, 1, 0), {3, -5}, kRootTolerance);
    ExpectRoots(Roots(1, -1e9, 1, 0), {1e9, 1e-9}, kRootTolerance);
    EXPECT_NEAR(Roots(1, -1e9, 1, 0)[1] / 1e-9, 1.0, kRootTolerance);
}

TEST(SolveCubic, AQuadraticWithANonPositiveDiscriminantHasNoRoots)
{
    EXPECT_TRUE(Roots(1, 0, 1, 0).empty());
    EXPECT_TRUE(Roots(1, -2, 1, 0).empty()) << "a double root";
}

TEST(SolveCubic, TwoZeroLeadingCoefficientsFallThroughToTheLinearEquation)
{
    ExpectRoots(Roots(3, -2, 0, 0), {1.5}, 0.0);
    EXPECT_TRUE(Roots(3, 0, 0, 0).empty());
    EXPECT_TRUE(Roots(0, 0, 0, 0).empty());
}

TEST(SolveCubic, ANonFiniteCoefficientGivesNoRoots)
{
    for (const double bad : {kNaN, kInfinity, -kInfinity}) {
        EXPECT_TRUE(Roots(bad, 1, 1, 1).empty());
        EXPECT_TRUE(Roots(1, bad, 1, 1).empty());
        EXPECT_TRUE(Roots(1, 1, bad, 1).empty());
        EXPECT_TRUE(Roots(1, 1, 1, bad).empty());
    }
}

TEST(SolveCubic, ANullPointerGivesNoRoots)
{
    double values[4] = {-6, 11, -6, 1};
    EXPECT_EQ(SolveCubic(nullptr, values), 0);
    EXPECT_EQ(SolveCubic(values, nullptr), 0);
}

TEST(SolveCubic, CoefficientsOfExtremeRatioGiveFiniteRootsOnly)
{
    for (const double large : {1e100, 1e200, 1e300, 1e-300}) {
        for (const double root : Roots(1, large, -large, 1 / large)) {
            EXPECT_TRUE(std::isfinite(root)) << large;
        }
    }
}

TEST(SolveCubic, SmallRootsKeepTheirDigitsWhenTheLeadingCoefficientAlmostVanishes)
{
    // As the leading coefficient goes to zero, two roots go to those of (x - 1)(x - 2).
    for (const double leading : {1e-8, 1e-11, 1e-14, 1e-17}) {
        const std::vector<double> roots = Roots(2, -3, 1, leading);
        ASSERT_EQ(roots.size(), 3U) << leading;
        // First-order shift of a root x: -leading·x³ / (2x - 3).
        EXPECT_NEAR(roots[0], 2.0 - 8.0 * leading, 1e-14) << leading;
        EXPECT_NEAR(roots[1], 1.0 + leading, 1e-14) << leading;
        EXPECT_NEAR(roots[2] * leading, -1.0, 4.0 * leading + 1e-9) << leading;
    }
}

/// Rounding of the coefficients and of the evaluation moves a root by some eps times the sum of the magnitudes of
/// the polynomial's terms, over its slope there.
double RootTolerance(const std::array<double, 3>& roots, std::size_t i)
{
    double terms = 1.0;
    double slope = 1.0;
    for (std::size_t k = 0; k < 3; ++k) {
        terms *= std::abs(roots[i]) + std::abs(roots[k]);
        slope *= k == i ? 1.0 : roots[i] - roots[k];
    }
    return 8.0 * std::numeric_limits<double>::epsilon() * (1.0 + terms / std::abs(slope));
}

TEST(SolveCubic, FindsTheRootsOfThousandsOfRandomPolynomials)
{
    constexpr double separation = 0.05;
    std::mt19937 random(3);
    std::uniform_real_distribution<double> root(-10.0, 10.0);
    std::uniform_real_distribution<double> lead(0.1, 3.0);
    int tested = 0;
    for (int trial = 0; trial < 20000; ++trial) {
        std::array<double, 3> x = {root(random), root(random), root(random)};
        std::sort(x.begin(), x.end(), std::greater<>());
        const double a = trial % 2 == 0 ? lead(random) : -lead(random);
        if (x[0] - x[1] < separation || x[1] - x[2] < separation) {
            continue;
        }
        ++tested;
        const std::vector<double> found =
            Roots(-a * x[0] * x[1] * x[2], a * (x[0] * x[1] + x[0] * x[2] + x[1] * x[2]),
                  -a * (x[0] + x[1] + x[2]), a);
        ASSERT_EQ(found.size(), 3U) << x[0] << ' ' << x[1] << ' ' << x[2];
        for (std::size_t i = 0; i < 3; ++i) {
            EXPECT_NEAR(found[i], x[i], RootTolerance(x, i)) << x[0] << ' ' << x[1] << ' ' << x[2];
        }
    }
    EXPECT_GT(tested, 15000);
}

TEST(SolveCubic, FindsTheOneRootOfRandomPolynomialsWithAComplexPair)
{
    constexpr double tolerance = 1e-11;
    std::mt19937 random(4);
    std::uniform_real_distribution<double> value(-10.0, 10.0);
    std::uniform_real_distribution<double> imaginary(0.1, 10.0);
    for (int trial = 0; trial < 10000; ++trial) {
        const double x = value(random);
        const double re = value(random);
        const double im = imaginary(random);
        // (t - x)(t² - 2·re·t + re² + im²)
        const double norm = re * re + im * im;
        const std::vector<double> found = Roots(-x * norm, norm + 2.0 * re * x, -2.0 * re - x, 1.0);
        ASSERT_EQ(found.size(), 1U) << x << ' ' << re << ' ' << im;
        EXPECT_NEAR(found[0], x, tolerance) << re << ' ' << im;
    }
}

} // namespace
} // namespace LxCV
