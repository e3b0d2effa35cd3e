// Singular value decomposition of a real matrix of any shape.

// Blocks of matrix products are cut by the sizes of the machine's caches unless Eigen is kept from asking for them,
// and sums would then round differently from machine to machine. No wider vectors than those of every x86-64 machine
// are used for the same reason; the build sees to that.
#define EIGEN_NO_CPUID
#define EIGEN_DONT_PARALLELIZE

#include "orx/ymalgo/ymsingularvaluedecomposition.h"

#include <Eigen/QR>
#include <Eigen/SVD>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <stdexcept>

#if defined(EIGEN_VECTORIZE_SSE3) || defined(EIGEN_VECTORIZE_AVX) || defined(EIGEN_VECTORIZE_FMA)
#error "Eigen must use SSE2 alone here, or results depend on the machine that the library was built for"
#endif

namespace {

template <typename T>
using CMatrix = Eigen::Matrix<T, Eigen::Dynamic, Eigen::Dynamic>;

/// The decomposition of a matrix with at least as many rows as columns, vectors as columns.
template <typename T>
struct SFactors
{
    CMatrix<T> left;
    Eigen::Matrix<T, Eigen::Dynamic, 1> values;
    CMatrix<T> right;
};

std::size_t CheckedSize(std::size_t rows, std::size_t columns)
{
    constexpr std::size_t largest =
        static_cast<std::size_t>(std::numeric_limits<std::ptrdiff_t>::max()) / sizeof(double);
    if (rows == 0 || columns == 0 || rows > largest / columns) {
        throw std::invalid_argument("singular value decomposition: bad size of matrix");
    }
    return rows * columns;
}

/// The exponent e for which all elements times 2^-e are at most 1 and squares of them neither overflow nor vanish.
template <typename T>
int ScaleExponent(const T* matrix, std::size_t size)
{
    T largest = 0;
    for (std::size_t i = 0; i < size; ++i) {
        if (!std::isfinite(matrix[i])) {
            throw std::invalid_argument("singular value decomposition: an element is not finite");
        }
        largest = std::max(largest, std::abs(matrix[i]));
    }
    int exponent = 0;
    std::frexp(largest, &exponent);
    return exponent;
}

/// The matrix divided by a power of two, which is exact for all elements that count beside the largest. In two steps,
/// since the power for a matrix of subnormal numbers is beyond the range of T.
template <typename T>
void Scale(CMatrix<T>& matrix, int exponent)
{
    if (exponent != 0) {
        const int half = exponent / 2;
        matrix *= std::ldexp(T(1), -half);
        matrix *= std::ldexp(T(1), half - exponent);
    }
}

template <typename T>
SFactors<T> DecomposeSquare(const CMatrix<T>& matrix)
{
    // Divide and conquer, which turns to two-sided Jacobi rotations for less than 16 columns.
    const Eigen::BDCSVD<CMatrix<T>> svd(matrix, Eigen::ComputeFullU | Eigen::ComputeFullV);
    if (svd.info() != Eigen::Success) {
        throw std::runtime_error("singular value decomposition: no convergence");
    }
    return {svd.matrixU(), svd.singularValues(), svd.matrixV()};
}

/// Q · (left 0; 0 I), where Q is the orthogonal factor of a QR decomposition of n columns and `left` is n by n: its
/// first `wanted` columns. Q is the product of the reflections I - tau v vᵀ, written as one step I - V T Vᵀ with an
/// upper triangular T (Schreiber and Van Loan 1989), so that long vectors are passed over by matrix products only.
template <typename T>
CMatrix<T> ApplyOrthogonalFactor(const Eigen::HouseholderQR<CMatrix<T>>& qr, const CMatrix<T>& left,
                                 Eigen::Index wanted)
{
    const Eigen::Index rows = qr.rows();
    const Eigen::Index n = qr.cols();
    CMatrix<T> reflectors = qr.matrixQR();
    reflectors.template triangularView<Eigen::StrictlyUpper>().setZero();
    reflectors.diagonal().setOnes();

    const CMatrix<T> products = reflectors.transpose() * reflectors;
    CMatrix<T> factor = CMatrix<T>::Zero(n, n);
    for (Eigen::Index i = 0; i < n; ++i) {
        const T tau = qr.hCoeffs()[i];
        factor.col(i).head(i) = factor.topLeftCorner(i, i) * products.col(i).head(i) * -tau;
        factor(i, i) = tau;
    }

    CMatrix<T> projected(n, wanted);
    projected.leftCols(n).noalias() = reflectors.topRows(n).transpose() * left;
    projected.rightCols(wanted - n) = reflectors.middleRows(n, wanted - n).transpose();
    const CMatrix<T> weights = factor * projected;

    CMatrix<T> result = CMatrix<T>::Identity(rows, wanted);
    result.topLeftCorner(n, n) = left;
    result.noalias() -= reflectors * weights;
    return result;
}

/// @param completed whether the left vectors are completed to a basis, as many as rows
template <typename T>
SFactors<T> DecomposeTall(const CMatrix<T>& matrix, bool completed)
{
    if (matrix.rows() == matrix.cols()) {
        return DecomposeSquare(matrix);
    }
    const Eigen::HouseholderQR<CMatrix<T>> qr(matrix);
    const CMatrix<T> triangle = qr.matrixQR().topRows(matrix.cols()).template triangularView<Eigen::Upper>();
    SFactors<T> factors = DecomposeSquare(triangle);
    factors.left = ApplyOrthogonalFactor(qr, factors.left, completed ? matrix.rows() : matrix.cols());
    return factors;
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
    const std::size_t size = CheckedSize(rows, columns);
    if (!matrix) {
        throw std::invalid_argument("singular value decomposition: no matrix");
    }
    const int exponent = ScaleExponent(matrix, size);
    const Eigen::Map<const CMatrix<T>> transposed(matrix, static_cast<Eigen::Index>(columns),
                                                  static_cast<Eigen::Index>(rows));
    const bool wide = rows < columns;
    CMatrix<T> tall;
    if (wide) {
        tall = transposed;
    } else {
        tall = transposed.transpose();
    }
    Scale(tall, exponent);

    const SFactors<T> factors = DecomposeTall(tall, wide);
    const CMatrix<T>& left = wide ? factors.right : factors.left;
    const CMatrix<T>& right = wide ? factors.left : factors.right;
    for (const T value : factors.values) {
        m_vValues.push_back(std::ldexp(value, exponent));
    }
    m_vLeft.assign(left.data(), left.data() + left.size());
    m_vRight.assign(right.data(), right.data() + right.size());
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
