// Medians, deviations, cubic splines and robust lines.
#pragma once

#include "orx/base/export.h"

#include <concepts>

namespace LxCV {

/// Exchanges two numbers.
template <std::floating_point T>
constexpr void ELEM_SWAP(T& first, T& second)
{
    const T old = first;
    first = second;
    second = old;
}

/// The element of rank (count - 1) / 2 of an array of float or double, by quick-select with a median of
/// three.
///
/// Takes no memory. A NaN compares as equal to everything, so the result is then one of the values, but no
/// median.
///
/// @param values      count values; reordered
/// @param averageEven whether to give the mean of ranks k and k + 1 where the search ends with two
///                    candidates. It has no effect, deliberately, where the search ends with one: then the
///                    result is the lower median, also of an even number of values. And the two are averaged
///                    whatever the parity.
/// @return `values[0]` for count 0 and 1; 0 for a negative count or a null array
template <typename T>
T QuickSelectMedian(T* const values, int count, bool averageEven);

extern template ORX_EXPORT float QuickSelectMedian<float>(float* const values, int count, bool averageEven);
extern template ORX_EXPORT double QuickSelectMedian<double>(double* const values, int count,
                                                            bool averageEven);

/// The standard deviation of a sample (divisor count - 1), in one pass over sums and squares. Where the mean
/// is large against the deviation the digits cancel; a negative difference gives 0.
///
/// @param values count values
/// @return 0.0 below two values and for a null array
ORX_EXPORT double CalcStandardDeviation(const double* values, int count);

/// The second derivatives of the natural cubic spline through count points, zero at both ends.
///
/// @param x                 count abscissae in ascending order; two that are equal give values that are not
///         finite
/// @param y                 count values
/// @param secondDerivatives receives count values; must not overlap the points
/// @return false, with nothing written, below three points, for a null array, and if there is no memory
ORX_EXPORT bool Compute2ndSplineDerivative(const double* x, const double* y, int count,
                                           double* secondDerivatives);

/// The value at `at` of the cubic spline through count points; beyond the ends the outermost cubics go on.
///
/// @param x                 count abscissae in ascending order
/// @param y                 count values
/// @param secondDerivatives count values of `Compute2ndSplineDerivative`, or null to compute them for this
///         call
/// @param result            receives the value
/// @return false, with nothing written, if the two abscissae around `at` are equal, if the second derivatives
///         cannot be computed, below two points, and for a null array or result
ORX_EXPORT bool CubicSplineInterpolation(const double* x, const double* y, const double* secondDerivatives,
                                         int count, double at, double* result);

/// The line y = intercept + slope·x of least mean absolute deviation in y, which outliers do not pull.
///
/// From the least-squares line the slope is searched for the sign change of the derivative of the deviation,
/// first by growing steps, then by halving, to a hundredth of the standard deviation of the least-squares
/// residuals. Residuals that are within rounding of zero relative to |y| have no weight in the derivative.
/// A derivative of exactly zero, which even numbers of points can have, does not end the halving, deliberately:
/// it goes on away from the least-squares slope.
/// The line with the least-squares slope stays where the search does not better it.
///
/// @param x, y count values each
/// @return the mean absolute deviation in the unit of y; 0.0 if the least-squares line meets all points;
///         -1.0, with `slope` and `intercept` untouched, where `FitLineLeastSquares` fails, numbers overflow,
///         or there is no memory
ORX_EXPORT double FitLineMinAbsDev(const double* x, const double* y, int count, double& slope,
                                   double& intercept);

} // namespace LxCV
