// Dense linear systems of any size and the real roots of cubic polynomials.
#pragma once

#include "orx/base/export.h"

namespace LxCV {

/// Solves A·X = B and inverts A by Gauss-Jordan elimination with full pivoting, both in place.
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

/// Real roots of c[0] + c[1]·x + c[2]·x² + c[3]·x³, in closed form, each polished by one Newton step.
///
/// A leading coefficient of exactly zero falls through to the quadratic formula and then to the linear one. A
/// double root of a cubic counts twice if rounding lets it, a triple root once. A quadratic with a non-positive
/// discriminant reports no roots: the polynomial does not change its sign there.
///
/// @param coefficients four values in ascending order
/// @param roots        receives the roots in descending order; entries beyond the count are left alone
/// @return number of roots, 0 to 3; 0 for a constant, where a coefficient is not finite, and for a null pointer
ORX_EXPORT int SolveCubic(const double coefficients[4], double roots[3]);

} // namespace LxCV
