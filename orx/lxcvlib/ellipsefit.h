// The ellipse through scattered points.
#pragma once

#include "lxcellipse.h"
#include "orx/base/export.h"

namespace LxCV {

/// Fits the conic a·x² + b·x·y + c·y² + d·x + e·y + f of least squared values at the points, under the
/// constraint 4·a·c - b² > 0 of ellipses (direct least squares; Fitzgibbon, Pilu and Fisher 1999).
///
/// The solution follows the points exactly through shifts, turns and changes of scale, and is computed about
/// their centre of gravity in their own scale, so that neither place nor size of the points costs digits.
/// Points that lie exactly on one ellipse give it.
///
/// @param xs, ys  count coordinates each, in one unit, commonly pixels
/// @param ellipse receives the result; semi-axis a is the one within 45 degrees of the x axis
/// @return false, with `ellipse` untouched, below 6 points, for a null pointer, if the points lie on a line
///         or are too few that differ, if a value is not finite, and if no real ellipse comes out
ORX_EXPORT bool FitEllipseDirect(const double* xs, const double* ys, int count, LxCEllipse* ellipse);

} // namespace LxCV
