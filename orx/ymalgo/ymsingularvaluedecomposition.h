// Singular value decomposition of a real matrix of any shape.
#pragma once

#include "orx/base/export.h"

#include <cstddef>
#include <span>
#include <vector>

/// The singular value decomposition A = U W Vᵀ of a matrix of `rows` by `columns` real numbers.
///
/// W holds the min(rows, columns) singular values, none negative, largest first. The left singular vectors are the
/// columns of U, one for each value, each of `rows` elements. The right singular vectors are the columns of V, that
/// is, the rows of Vᵀ: always `columns` of them, each of `columns` elements, also where the matrix has fewer rows;
/// the vectors behind the last value then span what the matrix maps to zero. All vectors are orthonormal, those of
/// values of zero too.
///
/// A long matrix is first reduced to the triangular factor of its QR decomposition, so that it costs no more than a
/// small multiple of that. The result is a function of the elements alone: it is the same on every machine and in
/// every thread. Objects are values; const operations may run concurrently. There are instances for float and double.
template <typename T>
class ORX_EXPORT YmSingularValueDecomposition
{
public:
    /// Decomposes a matrix that is stored row by row, and keeps no reference to it.
    /// @param matrix `rows` times `columns` finite elements
    /// @throws std::invalid_argument if the matrix is null or empty, too large to be addressed, or has an element
    ///         that is not finite; std::runtime_error if the iteration finds no result; std::bad_alloc
    YmSingularValueDecomposition(const T* matrix, std::size_t rows, std::size_t columns);

    std::size_t GetRows() const { return m_uiRows; }
    std::size_t GetColumns() const { return m_uiColumns; }

    /// The min(rows, columns) singular values, largest first. One beyond the range of T is infinite.
    std::span<const T> GetValues() const { return m_vValues; }

    /// The left singular vector of value `index`.
    /// @throws std::out_of_range if there is no such value
    std::span<const T> GetLeftVector(std::size_t index) const;

    /// Row `index` of Vᵀ: the right singular vector of value `index`, or one of the null space behind the last value.
    /// @throws std::out_of_range if `index` is not below the number of columns
    std::span<const T> GetRightVector(std::size_t index) const;

private:
    std::size_t m_uiRows;
    std::size_t m_uiColumns;
    std::vector<T> m_vValues;
    std::vector<T> m_vLeft;  ///< one vector behind the other
    std::vector<T> m_vRight; ///< one vector behind the other
};

extern template class YmSingularValueDecomposition<float>;
extern template class YmSingularValueDecomposition<double>;
