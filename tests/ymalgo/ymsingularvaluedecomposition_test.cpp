#include "orx/ymalgo/ymsingularvaluedecomposition.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <functional>
#include <limits>
#include <random>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

template <typename T>
std::vector<T> RandomMatrix(std::size_t rows, std::size_t columns, std::mt19937& random, T size = 1)
{
    std::uniform_real_distribution<T> element(-1, 1);
    std::vector<T> matrix(rows * columns);
    std::generate(matrix.begin(), matrix.end(), [&] { return size * element(random); });
    return matrix;
}

/// The largest deviation of vectors from an orthonormal set.
template <typename T, typename Get>
double DeviationFromOrthonormal(Get vectorAt, std::size_t count)
{
    double largest = 0.0;
    for (std::size_t i = 0; i < count; ++i) {
        for (std::size_t k = 0; k <= i; ++k) {
            const std::span<const T> a = vectorAt(i);
            const std::span<const T> b = vectorAt(k);
            long double sum = i == k ? -1.0L : 0.0L;
            for (std::size_t e = 0; e < a.size(); ++e) {
                sum += static_cast<long double>(a[e]) * b[e];
            }
            largest = sum == sum ? std::max(largest, static_cast<double>(std::abs(sum)))
                                 : std::numeric_limits<double>::infinity();
        }
    }
    return largest;
}

/// The largest deviation of U W Vᵀ from the matrix, in units of the largest singular value.
template <typename T>
double DeviationFromMatrix(const YmSingularValueDecomposition<T>& svd, const std::vector<T>& matrix)
{
    double largest = 0.0;
    for (std::size_t r = 0; r < svd.GetRows(); ++r) {
        for (std::size_t c = 0; c < svd.GetColumns(); ++c) {
            long double sum = -static_cast<long double>(matrix[r * svd.GetColumns() + c]);
            for (std::size_t i = 0; i < svd.GetValues().size(); ++i) {
                sum += static_cast<long double>(svd.GetLeftVector(i)[r]) * svd.GetValues()[i] *
                       svd.GetRightVector(i)[c];
            }
            largest = sum == sum ? std::max(largest, static_cast<double>(std::abs(sum)))
                                 : std::numeric_limits<double>::infinity();
        }
    }
    const double scale = svd.GetValues()[0];
    return scale > 0.0 ? largest / scale : largest;
}

/// Orthonormal factors, sorted values that are not negative, and a product that is the matrix: what defines the
/// decomposition.
template <typename T>
void ExpectDecomposition(const std::vector<T>& matrix, std::size_t rows, std::size_t columns)
{
    SCOPED_TRACE(std::to_string(rows) + " by " + std::to_string(columns));
    const YmSingularValueDecomposition<T> svd(matrix.data(), rows, columns);
    // Backward errors of Householder and Jacobi steps grow with the root of the number of steps; this is a wide bound.
    const double tolerance =
        4.0 * std::numeric_limits<T>::epsilon() * (4.0 + static_cast<double>(std::max(rows, columns)));
    const std::span<const T> values = svd.GetValues();
    ASSERT_EQ(svd.GetRows(), rows);
    ASSERT_EQ(svd.GetColumns(), columns);
    ASSERT_EQ(values.size(), std::min(rows, columns));
    EXPECT_TRUE(std::is_sorted(values.begin(), values.end(), std::greater<>()));
    EXPECT_GE(values.back(), T(0));
    EXPECT_LE(DeviationFromOrthonormal<T>([&](std::size_t i) { return svd.GetLeftVector(i); }, values.size()),
              tolerance);
    EXPECT_LE(DeviationFromOrthonormal<T>([&](std::size_t i) { return svd.GetRightVector(i); }, columns),
              tolerance);
    EXPECT_LE(DeviationFromMatrix(svd, matrix), tolerance);
}

std::string TextOf(const std::function<void()>& call)
{
    try {
        call();
    } catch (const std::exception& exception) {
        return exception.what();
    }
    return "nothing thrown";
}

TEST(YmSingularValueDecomposition, DecomposesTwoByTwoByHand)
{
    // AᵀA = (25 20; 20 25) has the values 45 and 5 with the vectors (1 1) and (1 -1); A(1 1) = (3 9), A(1 -1) = (3 -1).
    const std::vector<double> matrix{3, 0, 4, 5};
    const YmSingularValueDecomposition<double> svd(matrix.data(), 2, 2);
    EXPECT_NEAR(svd.GetValues()[0], std::sqrt(45.0), 1e-14);
    EXPECT_NEAR(svd.GetValues()[1], std::sqrt(5.0), 1e-14);
    EXPECT_NEAR(std::abs(svd.GetRightVector(0)[0]), std::sqrt(0.5), 1e-15);
    EXPECT_NEAR(svd.GetRightVector(0)[0], svd.GetRightVector(0)[1], 1e-15);
    EXPECT_NEAR(svd.GetRightVector(1)[0], -svd.GetRightVector(1)[1], 1e-15);
    EXPECT_NEAR(svd.GetLeftVector(0)[1], 3.0 * svd.GetLeftVector(0)[0], 1e-15);
    EXPECT_NEAR(svd.GetLeftVector(1)[0], -3.0 * svd.GetLeftVector(1)[1], 1e-15);
    EXPECT_GT(svd.GetLeftVector(0)[0] * svd.GetRightVector(0)[0], 0.0);
    EXPECT_GT(svd.GetLeftVector(1)[0] * svd.GetRightVector(1)[0], 0.0);
}

TEST(YmSingularValueDecomposition, SortsTheElementsOfADiagonalAndDropsTheirSigns)
{
    const std::vector<double> matrix{2, 0, 0, 0, -7, 0, 0, 0, 0.5, 0, 0, 0};
    const YmSingularValueDecomposition<double> svd(matrix.data(), 4, 3);
    EXPECT_EQ(std::vector<double>(svd.GetValues().begin(), svd.GetValues().end()),
              (std::vector<double>{7, 2, 0.5}));
}

TEST(YmSingularValueDecomposition, FactorsOfAllSmallShapesMultiplyToTheMatrix)
{
    std::mt19937 random(1);
    for (std::size_t rows = 1; rows <= 20; ++rows) {
        for (std::size_t columns = 1; columns <= 20; ++columns) {
            ExpectDecomposition(RandomMatrix<double>(rows, columns, random), rows, columns);
            ExpectDecomposition(RandomMatrix<float>(rows, columns, random), rows, columns);
        }
    }
}

TEST(YmSingularValueDecomposition, FactorsOfLargeShapesMultiplyToTheMatrix)
{
    std::mt19937 random(2);
    for (const auto& [rows, columns] :
         {std::pair<std::size_t, std::size_t>{400, 8}, {401, 9}, {9, 150}, {60, 60}, {130, 40}, {17, 70}}) {
        ExpectDecomposition(RandomMatrix<double>(rows, columns, random), rows, columns);
        ExpectDecomposition(RandomMatrix<float>(rows, columns, random), rows, columns);
    }
}

TEST(YmSingularValueDecomposition, AWideMatrixHasAFullBasisWhoseEndIsMappedToZero)
{
    std::mt19937 random(3);
    const std::vector<double> matrix = RandomMatrix<double>(4, 9, random);
    const YmSingularValueDecomposition<double> svd(matrix.data(), 4, 9);
    for (std::size_t i = 4; i < 9; ++i) {
        for (std::size_t r = 0; r < 4; ++r) {
            double sum = 0.0;
            for (std::size_t c = 0; c < 9; ++c) {
                sum += matrix[r * 9 + c] * svd.GetRightVector(i)[c];
            }
            EXPECT_NEAR(sum, 0.0, 1e-14) << i << ", " << r;
        }
    }
}

TEST(YmSingularValueDecomposition, DecomposesMatricesWithoutFullRank)
{
    std::mt19937 random(4);
    for (const auto& [rows, columns] :
         {std::pair<std::size_t, std::size_t>{12, 8}, {8, 8}, {5, 9}, {60, 40}}) {
        ExpectDecomposition(std::vector<double>(rows * columns, 0.0), rows, columns);
        ExpectDecomposition(std::vector<double>(rows * columns, 1.0), rows, columns);
        std::vector<double> equalColumns = RandomMatrix<double>(rows, columns, random);
        for (std::size_t r = 0; r < rows; ++r) {
            equalColumns[r * columns + 3] = equalColumns[r * columns];
        }
        ExpectDecomposition(equalColumns, rows, columns);
    }
}

TEST(YmSingularValueDecomposition, AColumnOfZerosHasASingularValueOfZeroAndItsUnitVector)
{
    std::mt19937 random(5);
    std::vector<double> matrix = RandomMatrix<double>(12, 8, random);
    for (std::size_t r = 0; r < 12; ++r) {
        matrix[r * 8 + 5] = 0.0;
    }
    const YmSingularValueDecomposition<double> svd(matrix.data(), 12, 8);
    EXPECT_LE(svd.GetValues()[7], 1e-30);
    EXPECT_GT(svd.GetValues()[6], 0.01);
    EXPECT_NEAR(std::abs(svd.GetRightVector(7)[5]), 1.0, 1e-15);
}

TEST(YmSingularValueDecomposition, TakesTheLargestAndSmallestMagnitudes)
{
    std::mt19937 random(6);
    for (const double size : {1e307, 1e200, 1e-200, 1e-300}) {
        ExpectDecomposition(RandomMatrix<double>(20, 8, random, size), 20, 8);
        ExpectDecomposition(RandomMatrix<double>(3, 9, random, size), 3, 9);
        ExpectDecomposition(RandomMatrix<double>(30, 20, random, size), 30, 20);
    }
    const double denormal = std::numeric_limits<double>::denorm_min();
    const std::vector<double> smallest{denormal, 0, 0, 3 * denormal, 0, 0};
    const YmSingularValueDecomposition<double> svd(smallest.data(), 3, 2);
    EXPECT_EQ(svd.GetValues()[0], 3 * denormal);
    EXPECT_EQ(svd.GetValues()[1], denormal);
    const double largest = std::numeric_limits<double>::max();
    const std::vector<double> beyond{largest, largest};
    EXPECT_EQ(YmSingularValueDecomposition<double>(beyond.data(), 2, 1).GetValues()[0],
              std::numeric_limits<double>::infinity());
}

TEST(YmSingularValueDecomposition, APowerOfTwoScalesTheValuesAndLeavesTheVectorsBitForBit)
{
    std::mt19937 random(7);
    const std::vector<double> matrix = RandomMatrix<double>(24, 8, random);
    std::vector<double> scaled = matrix;
    for (double& element : scaled) {
        element = std::ldexp(element, 700);
    }
    const YmSingularValueDecomposition<double> svd(matrix.data(), 24, 8);
    const YmSingularValueDecomposition<double> scaledSvd(scaled.data(), 24, 8);
    for (std::size_t i = 0; i < 8; ++i) {
        EXPECT_EQ(scaledSvd.GetValues()[i], std::ldexp(svd.GetValues()[i], 700));
        EXPECT_TRUE(std::ranges::equal(scaledSvd.GetLeftVector(i), svd.GetLeftVector(i)));
        EXPECT_TRUE(std::ranges::equal(scaledSvd.GetRightVector(i), svd.GetRightVector(i)));
    }
}

TEST(YmSingularValueDecomposition, RefusesMatricesThatAreNoneWithATextEach)
{
    const double one = 1.0;
    using Svd = YmSingularValueDecomposition<double>;
    EXPECT_EQ(TextOf([] { Svd(nullptr, 1, 1); }), "singular value decomposition: no matrix");
    const std::string badSize = "singular value decomposition: bad size of matrix";
    EXPECT_EQ(TextOf([&] { Svd(&one, 0, 1); }), badSize);
    EXPECT_EQ(TextOf([&] { Svd(&one, 1, 0); }), badSize);
    const std::size_t huge = std::numeric_limits<std::size_t>::max();
    EXPECT_EQ(TextOf([&] { Svd(&one, huge, 1); }), badSize);
    EXPECT_EQ(TextOf([&] { Svd(&one, huge / 8, huge / 8); }), badSize);
}

TEST(YmSingularValueDecomposition, RefusesElementsThatAreNotFiniteAtAnyPlace)
{
    for (const double bad :
         {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity(),
          -std::numeric_limits<double>::infinity()}) {
        for (std::size_t place = 0; place < 6; ++place) {
            std::vector<double> matrix{1, 2, 3, 4, 5, 6};
            matrix[place] = bad;
            EXPECT_EQ(TextOf([&] { YmSingularValueDecomposition<double>(matrix.data(), 3, 2); }),
                      "singular value decomposition: an element is not finite");
        }
    }
}

TEST(YmSingularValueDecomposition, RefusesIndicesWithoutAVector)
{
    const std::vector<double> matrix{1, 2, 3, 4, 5, 6};
    const YmSingularValueDecomposition<double> svd(matrix.data(), 2, 3);
    EXPECT_NO_THROW(svd.GetLeftVector(1));
    EXPECT_NO_THROW(svd.GetRightVector(2));
    EXPECT_THROW(svd.GetLeftVector(2), std::out_of_range);
    EXPECT_EQ(TextOf([&] { svd.GetRightVector(3); }), "singular value decomposition: no such vector");
}

} // namespace
