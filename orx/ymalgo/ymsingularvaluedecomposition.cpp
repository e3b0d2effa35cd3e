// Singular value decomposition of a real matrix of any shape.

// Blocks of matrix products are cut by the sizes of the machine's caches unless Eigen is kept from asking for them,
// and sums would then round differently from machine to machine. No wider vectors than those of every x86-64 machine
// are used for the same reason; the build sees to that.
#define EIGEN_NO_CPUID
#define EIGEN_DONT_PARALLELIZE

#include "orx/ymalgo/ymsingularvaluedecomposition.h"

#include <Eigen/QR>
#include <Eigen/SVD>

#include <cmath>
#include <cstddef>
#include <limits>
#include <stdexcept>
#include <utility>
#include <vector>

#if defined(EIGEN_VECTORIZE_SSE3) || defined(EIGEN_VECTORIZE_AVX) || defined(EIGEN_VECTORIZE_FMA)
#error "Eigen must use SSE2 alone here, or results depend on the machine that the library was built for"
#endif

namespace {

template <typename T>
using CMatrix = Eigen::Matrix<T, Eigen::Dynamic, Eigen::Dynamic>;

/// The decomposition of a matrix with at least as many rows as columns, one vector behind the other.
template <typename T>
struct SFactors
{
    std::vector<T> left;
    Eigen::Matrix<T, Eigen::Dynamic, 1> values;
    std::vector<T> right;
};

void CheckSize(std::size_t rows, std::size_t columns)
{
    constexpr std::size_t largest =
        static_cast<std::size_t>(std::numeric_limits<std::ptrdiff_t>::max()) / sizeof(double);
    if (rows == 0 || columns == 0 || rows > largest / columns) {
        throw std::invalid_argument("singular value decomposition: bad size of matrix");
    }
}

/// The exponent e for which all elements times 2^-e are at most 1 and squares of them neither overflow nor vanish.
template <typename T>
int ScaleExponent(const CMatrix<T>& matrix)
{
    // Zero times a number is zero, but times an infinite one or none it is none, which stays in a sum.
    if (!((matrix.array() * T(0)).sum() == T(0))) {
        throw std::invalid_argument("singular value decomposition: an element is not finite");
    }
    int exponent = 0;
    std::frexp(matrix.cwiseAbs().maxCoeff(), &exponent);
    return exponent;
}

/// The matrix divided by a power of two, which is exact for all elements that count beside the largest. In two steps,
/// since the power for a matrix of subnormal numbers is beyond the range of T.
template <typename T>
void Scale(CMatrix<T>& matrix, int exponent)
{
    if (exponent != 0) {
        const int half = exponent / 2;
        matrix = (matrix * std::ldexp(T(1), -half)) * std::ldexp(T(1), half - exponent);
    }
}

template <typename T>
Eigen::BDCSVD<CMatrix<T>> DecomposeSquare(const CMatrix<T>& matrix)
{
    // Divide and conquer, which turns to two-sided Jacobi rotations for less than 16 columns.
    Eigen::BDCSVD<CMatrix<T>> svd(matrix, Eigen::ComputeFullU | Eigen::ComputeFullV);
    if (svd.info() != Eigen::Success) {
        throw std::runtime_error("singular value decomposition: no convergence");
    }
    return svd;
}

/// Q · (left 0; 0 I), where Q is the orthogonal factor of a QR decomposition of n columns and `left` is n by n: its
/// first `wanted` columns. Q is the product of the reflections I - tau v vᵀ, written as one step I - V T Vᵀ with an
/// upper triangular T (Schreiber and Van Loan 1989), so that long vectors are passed over by matrix products only.
/// @param packed the vectors v below the diagonal; each is 1 on the diagonal and 0 above it
template <typename T>
std::vector<T> ApplyOrthogonalFactor(const CMatrix<T>& packed, const Eigen::Matrix<T, Eigen::Dynamic, 1>& tau,
                                     const CMatrix<T>& left, Eigen::Index wanted)
{
    const Eigen::Index rows = packed.rows();
    const Eigen::Index n = packed.cols();
    const CMatrix<T> top = packed.topRows(n).template triangularView<Eigen::UnitLower>();
    const auto bottom = packed.bottomRows(rows - n);

    CMatrix<T> products = top.transpose() * top;
    products.noalias() += bottom.transpose() * bottom;
    CMatrix<T> factor = CMatrix<T>::Zero(n, n);
    for (Eigen::Index i = 0; i < n; ++i) {
        factor.col(i).head(i) = factor.topLeftCorner(i, i) * products.col(i).head(i) * -tau[i];
        factor(i, i) = tau[i];
    }

    CMatrix<T> projected(n, wanted);
    projected.leftCols(n).noalias() = top.transpose() * left;
    projected.rightCols(wanted - n) = bottom.topRows(wanted - n).transpose();
    const CMatrix<T> weights = factor * projected;

    std::vector<T> vectors(static_cast<std::size_t>(rows) * static_cast<std::size_t>(wanted));
    Eigen::Map<CMatrix<T>> result(vectors.data(), rows, wanted);
    result.topLeftCorner(n, n) = left;
    result.bottomRightCorner(rows - n, wanted - n).setIdentity();
    result.topRows(n).noalias() -= top * weights;
    result.bottomRows(rows - n).noalias() -= bottom * weights;
    return vectors;
}

/// @param matrix at least as many rows as columns; used up
/// @param completed whether the left vectors are completed to a basis, as many as rows
template <typename T>
SFactors<T> DecomposeTall(CMatrix<T>& matrix, bool completed)
{
    const auto copied = [](const CMatrix<T>& m) { return std::vector<T>(m.data(), m.data() + m.size()); };
    if (matrix.rows() == matrix.cols()) {
        const auto svd = DecomposeSquare(matrix);
        return {copied(svd.matrixU()), svd.singularValues(), copied(svd.matrixV())};
    }
    const Eigen::HouseholderQR<Eigen::Ref<CMatrix<T>>> qr(matrix); // in place
    const CMatrix<T> triangle = matrix.topRows(matrix.cols()).template triangularView<Eigen::Upper>();
    const auto svd = DecomposeSquare(triangle);
    return {ApplyOrthogonalFactor<T>(matrix, qr.hCoeffs(), svd.matrixU(),
                                     completed ? matrix.rows() : matrix.cols()),
            svd.singularValues(), copied(svd.matrixV())};
}

template <typename T>
std::span<const T> VectorAt(const std::vector<T>& vectors, std::size_t length, std::size_t index)
{
    if (index >= vectors.size() / length) {
        throw std::out_of_range("singular value decomposition: no such vector");
    }
    return {vectors.data() + index * length, length};
}

} // namespace

template <typename T>
YmSingularValueDecomposition<T>::YmSingularValueDecomposition(const T* matrix, std::size_t rows,
                                                              std::size_t columns)
    : m_uiRows(rows), m_uiColumns(columns)
{
    CheckSize(rows, columns);
    if (!matrix) {
        throw std::invalid_argument("singular value decomposition: no matrix");
    }
    const Eigen::Map<const CMatrix<T>> transposed(matrix, static_cast<Eigen::Index>(columns),
                                                  static_cast<Eigen::Index>(rows));
    const bool wide = rows < columns;
    CMatrix<T> tall;
    if (wide) {
        tall = transposed;
    } else {
        tall = transposed.transpose();
    }
    const int exponent = ScaleExponent(tall);
    Scale(tall, exponent);

    SFactors<T> factors = DecomposeTall(tall, wide);
    for (const T value : factors.values) {
        m_vValues.push_back(std::ldexp(value, exponent));
    }
    m_vLeft = std::move(wide ? factors.right : factors.left);
    m_vRight = std::move(wide ? factors.left : factors.right);
}

template <typename T>
std::span<const T> YmSingularValueDecomposition<T>::GetLeftVector(std::size_t index) const
{
    return VectorAt(m_vLeft, m_uiRows, index);
}

template <typename T>
std::span<const T> YmSingularValueDecomposition<T>::GetRightVector(std::size_t index) const
{
    return VectorAt(m_vRight, m_uiColumns, index);
}

template class YmSingularValueDecomposition<float>;
template class YmSingularValueDecomposition<double>;
