#include "matrixroutines.h"

#include "allocationcount.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <functional>
#include <iterator>
#include <limits>
#include <numeric>
#include <random>
#include <string>
#include <thread>
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

TEST(SolveCubic, RootsFarFromOneKeepTheirDigits)
{
    // k³·(x/k - 1)(x/k - 2)(x/k + 3) and (x - k)(x² + x·k + k²)
    for (const double k : {1e-100, 1e-60, 1e-20, 1e20, 1e60, 1e100}) {
        const std::vector<double> three = Roots(6 * k * k * k, -7 * k * k, 0, 1);
        ASSERT_EQ(three.size(), 3U) << k;
        EXPECT_NEAR(three[0] / k, 2.0, kRootTolerance) << k;
        EXPECT_NEAR(three[1] / k, 1.0, kRootTolerance) << k;
        EXPECT_NEAR(three[2] / k, -3.0, kRootTolerance) << k;
        const std::vector<double> one = Roots(-k * k * k, 0, 0, 1);
        ASSERT_EQ(one.size(), 1U) << k;
        EXPECT_NEAR(one[0] / k, 1.0, kRootTolerance) << k;
    }
    // (x + 1)(x² + (k - 1)·x + 1): besides 1 - k the roots are small, and next to it a double one.
    for (const double k : {1e60, 1e110, 1e200}) {
        const std::vector<double> roots = Roots(1, k, k, 1);
        ASSERT_FALSE(roots.empty()) << k;
        EXPECT_NEAR(roots.back() / k, -1.0, kRootTolerance) << k;
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

/// Rounding of the coefficients and of the evaluation moves a root by some eps times the sum of the
/// magnitudes of the polynomial's terms, over its slope there.
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

/// M·Mᵀ of a random n·m matrix M.
std::vector<double> RandomGram(int n, int m, std::mt19937& random)
{
    const std::vector<double> factor = RandomMatrix(std::max(n, m), random);
    std::vector<double> gram(static_cast<std::size_t>(n) * n);
    for (int r = 0; r < n; ++r) {
        for (int c = 0; c < n; ++c) {
            for (int k = 0; k < m; ++k) {
                gram[r * n + c] += factor[r * m + k] * factor[c * m + k];
            }
        }
    }
    return gram;
}

TEST(Cholesky, DecomposesByHand)
{
    // rows (2, 0), (1, 3): the product with its transpose is 4, 2; 2, 10
    const double matrix[4] = {4, kNaN, 2, 10};
    double lower[4] = {7, 7, 7, 7};
    ASSERT_TRUE(DecomposeCholesky(matrix, 2, lower));
    const double expected[4] = {2, 0, 1, 3};
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(lower[i], expected[i]) << "the upper triangle is not read";
    }
}

TEST(Cholesky, FactorsOfRandomMatricesMultiplyBackAndInvert)
{
    std::mt19937 random(5);
    for (int trial = 0; trial < 2000; ++trial) {
        const int n = 1 + trial % 8;
        const std::vector<double> matrix = RandomGram(n, n + 4, random);
        std::vector<double> lower = matrix;
        ASSERT_TRUE(DecomposeCholesky(lower.data(), n, lower.data())) << "trial " << trial << ", in place";
        const double tolerance = 10.0 * n * std::numeric_limits<double>::epsilon() * LargestElement(matrix);
        for (int r = 0; r < n; ++r) {
            for (int c = 0; c < n; ++c) {
                double sum = 0.0;
                for (int k = 0; k < n; ++k) {
                    sum += lower[r * n + k] * lower[c * n + k];
                }
                EXPECT_NEAR(sum, matrix[r * n + c], tolerance) << "trial " << trial;
            }
        }
        std::vector<double> inverse = lower;
        ASSERT_TRUE(InvertLowerTriangle(inverse.data(), n));
        const double bound = 100.0 * n * std::numeric_limits<double>::epsilon() * LargestElement(lower) *
                             LargestElement(inverse);
        EXPECT_LE(DeviationFromIdentity(lower, inverse, n), bound) << "trial " << trial;
        EXPECT_LE(DeviationFromIdentity(inverse, lower, n), bound) << "trial " << trial;
    }
}

TEST(Cholesky, RefusesWhatIsNotPositiveDefinite)
{
    double out[9];
    const double indefinite[4] = {1, 0, 2, 1};
    EXPECT_FALSE(DecomposeCholesky(indefinite, 2, out));
    const double negative[1] = {-1};
    EXPECT_FALSE(DecomposeCholesky(negative, 1, out));
    const double zero[1] = {0};
    EXPECT_FALSE(DecomposeCholesky(zero, 1, out));
    std::mt19937 random(6);
    for (int trial = 0; trial < 500; ++trial) {
        const std::vector<double> rankTwo = RandomGram(3, 2, random);
        std::vector<double> exact = rankTwo;
        // Semidefinite but for rounding, which this is well below.
        exact[8] *= 1.0 - 1e-9;
        EXPECT_FALSE(DecomposeCholesky(exact.data(), 3, out)) << "trial " << trial;
    }
}

TEST(Cholesky, APivotThatIsOnlyRoundingIsRefused)
{
    // The products are exact, so each matrix is singular. Its factor is rounded.
    int positive = 0;
    for (int a = 1; a <= 100; ++a) {
        for (int b = 1; b <= 100; ++b) {
            const double matrix[4] = {1.0 * a * a * 7, 1.0 * a * b * 7, 1.0 * a * b * 7, 1.0 * b * b * 7};
            const double factor = matrix[2] / std::sqrt(matrix[0]);
            positive += matrix[3] - factor * factor > 0.0 ? 1 : 0;
            double out[4];
            EXPECT_FALSE(DecomposeCholesky(matrix, 2, out)) << a << ' ' << b;
        }
    }
    EXPECT_GT(positive, 100) << "rounding left no pivot to refuse";
}

TEST(Cholesky, RefusesNaNInfinityAndArgumentsThatHoldNoMatrix)
{
    for (const double bad : {kNaN, kInfinity, -kInfinity}) {
        for (const int place : {0, 2, 3}) {
            double matrix[4] = {4, 2, 2, 10};
            matrix[place] = bad;
            double lower[4];
            const bool decomposed = DecomposeCholesky(matrix, 2, lower);
            EXPECT_FALSE(decomposed) << bad << " at " << place;
            double triangle[4] = {4, 2, 2, 10};
            triangle[place] = bad;
            if (place != 2) {
                EXPECT_FALSE(InvertLowerTriangle(triangle, 2)) << bad << " at " << place;
            }
        }
    }
    double one[1] = {1.0};
    EXPECT_FALSE(DecomposeCholesky(nullptr, 1, one));
    EXPECT_FALSE(DecomposeCholesky(one, 1, nullptr));
    EXPECT_FALSE(DecomposeCholesky(one, 0, one));
    EXPECT_FALSE(InvertLowerTriangle(nullptr, 1));
    EXPECT_FALSE(InvertLowerTriangle(one, -1));
}

TEST(Cholesky, ATriangleWithAZeroOnItsDiagonalHasNoInverse)
{
    double lower[9] = {1, 0, 0, 2, 0, 0, 3, 4, 5};
    EXPECT_FALSE(InvertLowerTriangle(lower, 3));
    double tiny[1] = {std::numeric_limits<double>::denorm_min()};
    EXPECT_FALSE(InvertLowerTriangle(tiny, 1));
}

TEST(Cholesky, InvertingLeavesTheUpperTriangleAlone)
{
    double lower[4] = {2, kNaN, 1, 4};
    ASSERT_TRUE(InvertLowerTriangle(lower, 2));
    EXPECT_EQ(lower[0], 0.5);
    EXPECT_TRUE(std::isnan(lower[1]));
    EXPECT_EQ(lower[2], -0.125);
    EXPECT_EQ(lower[3], 0.25);
}

TEST(JacobiEigen, FindsValuesAndVectorsByHand)
{
    // 2, 1; 1, 2: eigenvalues 3 and 1 along the diagonals
    double matrix[4] = {2, 1, kNaN, 2};
    double values[2];
    double vectors[4];
    ASSERT_TRUE(ComputeJacobiEigen(matrix, 2, values, vectors)) << "the lower triangle is not read";
    EXPECT_NEAR(values[0], 3.0, 1e-15);
    EXPECT_NEAR(values[1], 1.0, 1e-15);
    EXPECT_NEAR(std::abs(vectors[0]), std::sqrt(0.5), 1e-15);
    EXPECT_NEAR(vectors[0], vectors[2], 1e-15);
    EXPECT_NEAR(vectors[1], -vectors[3], 1e-15);
}

/// Whether the columns are orthonormal eigenvectors of the values, which descend.
void ExpectEigen(const std::vector<double>& matrix, const std::vector<double>& values,
                 const std::vector<double>& vectors, int n, const char* what)
{
    const double tolerance = 20.0 * n * std::numeric_limits<double>::epsilon();
    const double scale = LargestElement(matrix);
    for (int j = 0; j < n; ++j) {
        EXPECT_TRUE(j == 0 || values[j - 1] >= values[j]) << what;
        for (int r = 0; r < n; ++r) {
            double product = 0.0;
            double dot = j == r ? -1.0 : 0.0;
            for (int k = 0; k < n; ++k) {
                product += matrix[r * n + k] * vectors[k * n + j];
                dot += vectors[k * n + r] * vectors[k * n + j];
            }
            EXPECT_NEAR(product, values[j] * vectors[r * n + j], tolerance * n * scale) << what;
            EXPECT_NEAR(dot, 0.0, tolerance) << what;
        }
    }
}

TEST(JacobiEigen, DecomposesThousandsOfRandomSymmetricMatrices)
{
    std::mt19937 random(7);
    for (int trial = 0; trial < 2000; ++trial) {
        const int n = 1 + trial % 9;
        std::vector<double> matrix = RandomMatrix(n, random);
        for (int r = 0; r < n; ++r) {
            for (int c = 0; c < r; ++c) {
                // Every third matrix has a block of zeros, every seventh spans many magnitudes.
                matrix[r * n + c] *= trial % 3 == 0 && r > n / 2 ? 0.0 : 1.0;
                matrix[r * n + c] *= trial % 7 == 0 ? std::pow(10.0, -4.0 * r) : 1.0;
                matrix[c * n + r] = matrix[r * n + c];
            }
        }
        std::vector<double> work = matrix;
        std::vector<double> values(static_cast<std::size_t>(n));
        std::vector<double> vectors(matrix.size());
        ASSERT_TRUE(ComputeJacobiEigen(work.data(), n, values.data(), vectors.data())) << "trial " << trial;
        ExpectEigen(matrix, values, vectors, n, ("trial " + std::to_string(trial)).c_str());
    }
}

TEST(JacobiEigen, TakesEqualAndZeroEigenvalues)
{
    for (const int rank : {0, 1, 3}) {
        std::mt19937 random(8);
        std::vector<double> matrix = RandomGram(6, rank, random);
        std::vector<double> work = matrix;
        std::vector<double> values(6);
        std::vector<double> vectors(36);
        ASSERT_TRUE(ComputeJacobiEigen(work.data(), 6, values.data(), vectors.data()));
        ExpectEigen(matrix, values, vectors, 6, "low rank");
        for (int i = rank; i < 6; ++i) {
            EXPECT_NEAR(values[i], 0.0, 1e-14);
        }
    }
}

TEST(JacobiEigen, TakesTheLargestAndSmallestMagnitudes)
{
    for (const double scale : {1e-300, 1e-160, 1e160, 1e300}) {
        double matrix[4] = {2 * scale, scale, scale, 2 * scale};
        double values[2];
        double vectors[4];
        ASSERT_TRUE(ComputeJacobiEigen(matrix, 2, values, vectors)) << scale;
        EXPECT_NEAR(values[0] / scale, 3.0, 1e-14);
        EXPECT_NEAR(values[1] / scale, 1.0, 1e-14);
    }
    double steep[4] = {1e300, 1.0, 1.0, -1e300};
    double values[2];
    double vectors[4];
    ASSERT_TRUE(ComputeJacobiEigen(steep, 2, values, vectors));
    EXPECT_EQ(values[0], 1e300);
    EXPECT_EQ(values[1], -1e300);
}

TEST(JacobiEigen, RefusesNaNInfinityAndArgumentsThatHoldNoMatrix)
{
    double values[3];
    double vectors[9];
    for (const double bad : {kNaN, kInfinity, -kInfinity}) {
        for (const int place : {0, 1, 2, 4, 5, 8}) {
            double matrix[9] = {1, 2, 3, 2, 4, 5, 3, 5, 6};
            matrix[place] = bad;
            EXPECT_FALSE(ComputeJacobiEigen(matrix, 3, values, vectors)) << bad << " at " << place;
        }
    }
    double matrix[1] = {1.0};
    EXPECT_FALSE(ComputeJacobiEigen(nullptr, 1, values, vectors));
    EXPECT_FALSE(ComputeJacobiEigen(matrix, 1, nullptr, vectors));
    EXPECT_FALSE(ComputeJacobiEigen(matrix, 1, values, nullptr));
    EXPECT_FALSE(ComputeJacobiEigen(matrix, 0, values, vectors));
}

TEST(FitLineLeastSquares, FitsByHandWithTheResidualOverCountMinusOne)
{
    // means 1.5 and 2.5; slope (1.5·1.5 + 0.5·0.5 + 0.5·1.5 + 1.5·0.5 = 4)/5 = 0.8; residuals -0.3, 0.9,
    // -0.9, 0.3
    const double x[4] = {0, 1, 2, 3};
    const double y[4] = {1, 3, 2, 4};
    double slope = 0.0;
    double intercept = 0.0;
    EXPECT_DOUBLE_EQ(FitLineLeastSquares(x, y, 4, slope, intercept), std::sqrt(1.8 / 3.0));
    EXPECT_DOUBLE_EQ(slope, 0.8);
    EXPECT_DOUBLE_EQ(intercept, 1.3);
}

TEST(FitLineLeastSquares, AgreesWithCentredSumsInLongDoubleWhereverThePointsLie)
{
    std::mt19937 random(9);
    std::normal_distribution<double> noise(0.0, 0.2);
    std::uniform_real_distribution<double> unit(-1.0, 1.0);
    for (int trial = 0; trial < 2000; ++trial) {
        const int n = 2 + trial % 50;
        const double offset = trial % 2 == 0 ? 0.0 : 1e6;
        std::vector<double> x(static_cast<std::size_t>(n));
        std::vector<double> y(x.size());
        long double meanX = 0.0L;
        long double meanY = 0.0L;
        for (std::size_t i = 0; i < x.size(); ++i) {
            x[i] = offset + static_cast<double>(i) + unit(random);
            y[i] = 3.0 - 0.7 * (x[i] - offset) + noise(random);
            meanX += x[i] / static_cast<long double>(n);
            meanY += y[i] / static_cast<long double>(n);
        }
        long double xx = 0.0L;
        long double xy = 0.0L;
        for (std::size_t i = 0; i < x.size(); ++i) {
            xx += (x[i] - meanX) * (x[i] - meanX);
            xy += (x[i] - meanX) * (y[i] - meanY);
        }
        double slope = 0.0;
        double intercept = 0.0;
        ASSERT_GE(FitLineLeastSquares(x.data(), y.data(), n, slope, intercept), 0.0);
        EXPECT_NEAR(slope, static_cast<double>(xy / xx), 1e-11);
        EXPECT_NEAR(slope * static_cast<double>(meanX) + intercept, static_cast<double>(meanY), 1e-9);
    }
}

TEST(FitLineLeastSquares, RefusesUntouchedWhatHasNoLine)
{
    double slope = 77.0;
    double intercept = 78.0;
    const double x[3] = {0.1, 0.1, 0.1};
    const double y[3] = {1, 2, 3};
    EXPECT_EQ(FitLineLeastSquares(x, y, 3, slope, intercept), -1.0) << "vertical";
    EXPECT_EQ(FitLineLeastSquares(y, x, 1, slope, intercept), -1.0);
    EXPECT_EQ(FitLineLeastSquares(y, x, 0, slope, intercept), -1.0);
    EXPECT_EQ(FitLineLeastSquares(y, x, -5, slope, intercept), -1.0);
    EXPECT_EQ(FitLineLeastSquares(nullptr, x, 3, slope, intercept), -1.0);
    EXPECT_EQ(FitLineLeastSquares(y, nullptr, 3, slope, intercept), -1.0);
    // The squares overflow, although their quotient, a slope of 0, would not.
    const double wide[3] = {0.0, 1e200, -1e200};
    const double narrow[3] = {0.0, 1.0, -1.0};
    EXPECT_EQ(FitLineLeastSquares(wide, narrow, 3, slope, intercept), -1.0);
    for (const double bad : {kNaN, kInfinity, -kInfinity, 1e308}) {
        for (int place = 0; place < 3; ++place) {
            double spoilt[3] = {1, 2, 4};
            spoilt[place] = bad;
            EXPECT_EQ(FitLineLeastSquares(spoilt, y, 3, slope, intercept), -1.0) << bad << " at " << place;
            EXPECT_EQ(FitLineLeastSquares(y, spoilt, 3, slope, intercept), -1.0) << bad << " at " << place;
        }
    }
    EXPECT_EQ(slope, 77.0);
    EXPECT_EQ(intercept, 78.0);
}

double EvaluateAt(const std::vector<double>& coefficients, double x)
{
    double value = 0.0;
    for (auto c = coefficients.rbegin(); c != coefficients.rend(); ++c) {
        value = value * x + *c;
    }
    return value;
}

TEST(FitPolynomial, DegreeZeroIsTheMeanAndDegreeTwoIsFittedByHand)
{
    const double x[4] = {-1, 0, 0, 1};
    const double y[4] = {2, 1, 3, 4};
    double c[3] = {7, 7, 7};
    ASSERT_TRUE(FitPolynomial(x, y, 4, 0, c));
    EXPECT_DOUBLE_EQ(c[0], 2.5);
    EXPECT_EQ(c[1], 7.0) << "only degree + 1 values are written";
    // Three abscissae, so the parabola meets their means 2, 2, 4: 2 + x + x².
    ASSERT_TRUE(FitPolynomial(x, y, 4, 2, c));
    EXPECT_NEAR(c[0], 2.0, 1e-15);
    EXPECT_NEAR(c[1], 1.0, 1e-15);
    EXPECT_NEAR(c[2], 1.0, 1e-15);
}

TEST(FitPolynomial, RecoversPolynomialsOverAllColumnsOfAnImage)
{
    std::mt19937 random(10);
    std::uniform_real_distribution<double> value(-5.0, 5.0);
    for (int trial = 0; trial < 300; ++trial) {
        const int degree = trial % 6;
        std::vector<double> expected;
        for (int k = 0; k <= degree; ++k) {
            expected.push_back(value(random) * std::pow(300.0, -k));
        }
        std::vector<double> x(static_cast<std::size_t>(degree + 1 + trial % 600));
        std::iota(x.begin(), x.end(), 40.0);
        std::vector<double> y;
        std::transform(x.begin(), x.end(), std::back_inserter(y),
                       [&](double at) { return EvaluateAt(expected, at); });
        std::vector<double> found(expected.size());
        ASSERT_TRUE(FitPolynomial(x.data(), y.data(), static_cast<int>(x.size()), degree, found.data()));
        for (std::size_t i = 0; i < x.size(); ++i) {
            // Powers of up to 640/300 five times cancel; each fit is good to some hundred of their last
            // digits.
            EXPECT_NEAR(EvaluateAt(found, x[i]), y[i], 1e-9) << "trial " << trial;
        }
    }
}

TEST(FitPolynomial, ResidualsAreOrthogonalToAllPowers)
{
    // What defines least squares: the sum of residual · t^k vanishes for each power in the fit.
    std::mt19937 random(11);
    std::normal_distribution<double> noise(0.0, 1.0);
    for (int trial = 0; trial < 300; ++trial) {
        const int degree = trial % 8;
        const int n = degree + 1 + trial % 100;
        std::vector<double> x;
        std::vector<double> y;
        for (int i = 0; i < n; ++i) {
            x.push_back((i - 0.5 * n) * 2.0 / n + 0.001 * noise(random) / n);
            y.push_back(noise(random));
        }
        std::vector<double> c(static_cast<std::size_t>(degree) + 1);
        ASSERT_TRUE(FitPolynomial(x.data(), y.data(), n, degree, c.data()));
        for (int power = 0; power <= degree; ++power) {
            double sum = 0.0;
            for (int i = 0; i < n; ++i) {
                sum += (y[i] - EvaluateAt(c, x[i])) * std::pow(x[i], power);
            }
            EXPECT_NEAR(sum, 0.0, 1e-9) << "trial " << trial << ", degree " << degree;
        }
    }
}

TEST(FitPolynomial, NeedsAsManyDistinctAbscissaeAsCoefficients)
{
    const double x[6] = {1, 2, 1, 2, 1, 2};
    const double y[6] = {1, 2, 3, 4, 5, 6};
    double c[3] = {7, 7, 7};
    EXPECT_FALSE(FitPolynomial(x, y, 6, 2, c));
    EXPECT_EQ(c[0], 7.0);
    ASSERT_TRUE(FitPolynomial(x, y, 6, 1, c));
    // through the means 3 at 1 and 4 at 2
    EXPECT_NEAR(c[0], 2.0, 1e-14);
    EXPECT_NEAR(c[1], 1.0, 1e-14);
    // Three abscissae whose cubic vanishes on them up to rounding only.
    const double rounded[6] = {0.1, 0.35, 0.7, 0.1, 0.35, 0.7};
    double cubic[4] = {7, 7, 7, 7};
    EXPECT_FALSE(FitPolynomial(rounded, y, 6, 3, cubic));
    EXPECT_EQ(cubic[0], 7.0);
    const double same[3] = {5, 5, 5};
    EXPECT_FALSE(FitPolynomial(same, y, 3, 1, c));
    ASSERT_TRUE(FitPolynomial(same, y, 3, 0, c));
    EXPECT_DOUBLE_EQ(c[0], 2.0);
}

TEST(FitPolynomial, RefusesUntouchedWhatHasNoPolynomial)
{
    const double x[4] = {0, 1, 2, 3};
    const double y[4] = {0, 1, 4, 9};
    double c[4] = {7, 7, 7, 7};
    EXPECT_FALSE(FitPolynomial(nullptr, y, 4, 1, c));
    EXPECT_FALSE(FitPolynomial(x, nullptr, 4, 1, c));
    EXPECT_FALSE(FitPolynomial(x, y, 4, 1, nullptr));
    EXPECT_FALSE(FitPolynomial(x, y, 4, -1, c));
    EXPECT_FALSE(FitPolynomial(x, y, 4, 4, c)) << "five coefficients of four points";
    EXPECT_FALSE(FitPolynomial(x, y, 0, 0, c));
    EXPECT_FALSE(FitPolynomial(x, y, -1, 0, c));
    EXPECT_FALSE(FitPolynomial(x, y, std::numeric_limits<int>::max(), c_iMaxPolynomialDegree + 1, c));
    for (const double bad : {kNaN, kInfinity, -kInfinity}) {
        double spoilt[4] = {0, 1, bad, 3};
        EXPECT_FALSE(FitPolynomial(spoilt, y, 4, 1, c)) << bad;
        EXPECT_FALSE(FitPolynomial(x, spoilt, 4, 1, c)) << bad;
    }
    const double huge[4] = {-1.7e308, 0, 1, 1.7e308};
    EXPECT_FALSE(FitPolynomial(x, huge, 4, 3, c)) << "differences beyond double";
    EXPECT_TRUE(std::all_of(c, c + 4, [](double value) { return value == 7.0; }));
}

TEST(FitPolynomial, TakesTheHighestDegree)
{
    const int n = 400;
    std::vector<double> x;
    std::vector<double> y;
    for (int i = 0; i < n; ++i) {
        x.push_back(-1.0 + 2.0 * i / (n - 1.0));
        y.push_back(std::sin(6.0 * x.back()));
    }
    std::vector<double> c(c_iMaxPolynomialDegree + 1);
    ASSERT_TRUE(FitPolynomial(x.data(), y.data(), n, c_iMaxPolynomialDegree, c.data()));
    for (int i = 0; i < n; ++i) {
        EXPECT_NEAR(EvaluateAt(c, x[i]), y[i], 1e-6);
    }
}

TEST(FitPolynomial, ThreadsFitAtOnceWithTheResultsOfOne)
{
    std::vector<double> x(500);
    std::iota(x.begin(), x.end(), 0.0);
    const auto fit = [&x](int seed) {
        std::vector<double> y;
        std::transform(x.begin(), x.end(), std::back_inserter(y),
                       [seed](double at) { return std::sin(0.01 * at * seed); });
        std::vector<double> c(4);
        EXPECT_TRUE(FitPolynomial(x.data(), y.data(), 500, 3, c.data()));
        return c;
    };
    std::vector<std::vector<double>> expected;
    for (int seed = 0; seed < 4; ++seed) {
        expected.push_back(fit(seed));
    }
    std::vector<std::jthread> threads;
    for (int seed = 0; seed < 4; ++seed) {
        threads.emplace_back([&, seed] {
            for (int round = 0; round < 50; ++round) {
                EXPECT_EQ(fit(seed), expected[static_cast<std::size_t>(seed)]);
            }
        });
    }
}

} // namespace
} // namespace LxCV
