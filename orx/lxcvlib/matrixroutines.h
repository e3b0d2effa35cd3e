// Dense linear systems of any size, symmetric decompositions, least-squares fits of lines and polynomials,
// and the real roots of cubic polynomials.
#pragma once

#include "orx/base/export.h"

namespace LxCV {

/// Solves A·X = B and inverts A by Gauss-Jordan elimination with full pivoting, both in place.
/// Only pivots of exactly zero make A singular: where rounding keeps one from it, the inverse is rounding too.
///
/// @param matrix     n·n doubles by rows; holds the inverse of A afterwards
/// @param n          number of rows and columns
/// @param rightSides n·count doubles by rows, one right side a column; holds X afterwards. May be null for
///                   count 0. Must not overlap `matrix`.
/// @param count      number of right sides
/// @return false if A is singular, if a pivot or its reciprocal is not finite (so any NaN or infinity in A
///         gives false), or if an argument is null or n is below 1. What is in the arrays is undefined then.
ORX_EXPORT bool SolveGaussJordan(double* matrix, int n, double* rightSides, int count);

/// Inverts an n·n matrix in place; `SolveGaussJordan` without right sides.
ORX_EXPORT bool InvertGaussJordan(double* matrix, int n);

/// Decomposes a symmetric positive definite matrix into L·Lᵀ, L lower triangular (Cholesky).
///
/// @param matrix n·n doubles by rows; only its lower triangle is read
/// @param lower  receives L, n·n doubles by rows, zeros above the diagonal; may be `matrix` itself
/// @return false if the matrix is not positive definite: a pivot is not above n rounding errors of its
///         diagonal element, or not finite. Then, and if an argument is null or n is below 1, `lower` is
///         undefined.
ORX_EXPORT bool DecomposeCholesky(const double* matrix, int n, double* lower);

/// Inverts a lower triangular matrix in place.
///
/// @param lower n·n doubles by rows; what stands above the diagonal is neither read nor written
/// @return false if a diagonal element is zero, if one or its reciprocal is not finite, or if `lower` is null
///         or n is below 1. What is in the array is undefined then.
ORX_EXPORT bool InvertLowerTriangle(double* lower, int n);

/// Eigenvalues and eigenvectors of a symmetric matrix by cyclic Jacobi rotations.
///
/// @param matrix       n·n doubles by rows; only its upper triangle is read. Undefined afterwards.
/// @param eigenvalues  receives n values in descending order
/// @param eigenvectors receives n·n doubles by rows: column j is the unit eigenvector of eigenvalue j
/// @return false, with the outputs undefined, if an element is not finite, if the rotations do not converge,
///         or if an argument is null or n is below 1
ORX_EXPORT bool ComputeJacobiEigen(double* matrix, int n, double* eigenvalues, double* eigenvectors);

/// The line y = intercept + slope·x of least squares in y. Points whose differences of coordinates are small
/// multiples of a power of two, and which lie on a line with such a slope, are met without rounding.
///
/// @param x, y count values each
/// @return the root of the sum of squared residuals over count - 1, in the unit of y; -1.0, with `slope` and
///         `intercept` untouched, below two points, for a null array, if all abscissae are equal or the squares
///         of their differences vanish, and if a sum or the result is not finite (so for any NaN or infinity
///         among the points)
ORX_EXPORT double FitLineLeastSquares(const double* x, const double* y, int count, double& slope,
                                      double& intercept);

/// Largest degree that `FitPolynomial` takes; powers beyond it carry no digits in double precision.
inline constexpr int c_iMaxPolynomialDegree = 30;

/// The polynomial c[0] + c[1]·x + ... of least squares in y, by orthogonal polynomials.
///
/// Threads may fit at once. Scratch memory is taken and given back under one lock of the process; the
/// arithmetic runs outside it.
///
/// @param x, y         count values each
/// @param degree       0 to `c_iMaxPolynomialDegree`
/// @param coefficients receives degree + 1 values in ascending order
/// @return false, with `coefficients` untouched, if a pointer is null, for a degree outside its range, if
///         there are fewer distinct abscissae than coefficients, if a value is not finite, and if memory or
///         digits run out
ORX_EXPORT bool FitPolynomial(const double* x, const double* y, int count, int degree, double* coefficients);

/// Real roots of c[0] + c[1]·x + c[2]·x² + c[3]·x³, in closed form, each polished by one Newton step.
///
/// A leading coefficient of exactly zero falls through to the quadratic formula and then to the linear one. A
/// double root of a cubic counts twice if rounding lets it, a triple root once. A quadratic with a
/// non-positive discriminant reports no roots: the polynomial does not change its sign there.
///
/// @param coefficients four values in ascending order
/// @param roots        receives the roots in descending order; entries beyond the count are left alone
/// @return number of roots, 0 to 3; 0 for a constant, where a coefficient is not finite, and for a null
///         pointer
ORX_EXPORT int SolveCubic(const double coefficients[4], double roots[3]);

} // namespace LxCV
