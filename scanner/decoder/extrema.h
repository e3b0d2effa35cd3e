// Signal steps of one colour channel along an image column.
#pragma once

#include "lxcedgeposition.h"
#include "lxcsymbol.h"

#include <span>
#include <vector>

namespace decoder {

/// One extremum of the signal's derivative: a step of one colour channel.
struct ChannelStep
{
    LxCV::LxCEdgePosition position; ///< row of the step, in 1/64 rows; integer rows are pixel centres
    LxCV::LxCSymbol symbol;         ///< channel and direction
    float amplitude;                ///< size of the step from row to row, signal units; positive
};

/// Appends the extrema of the difference between successive values of `signal` (one a row) to `steps`, by ascending
/// row. A difference belongs to the middle between its rows.
///
/// The sub-pixel position is the vertex of a parabola through three values of the eighth root of the
/// difference. The difference across a blurred step is close to a Gaussian, whose logarithm is a parabola; the
/// eighth root comes near the logarithm, and square roots are rounded alike on every machine. Rows next to a
/// value that is not a number give no extremum. Smoothing, which knows nothing beyond the image, makes the first and
/// the last difference a little wrong: an extremum beside one of them counts only where it does not lean towards it.
/// @param minGradient least size of a step, signal units; a negative one counts as 0
void FindSteps(std::span<const float> signal, LxCV::LxCColorValueFloat::EColor channel, float minGradient,
               std::vector<ChannelStep>& steps);

} // namespace decoder
