// Extrema of the central difference with sub-pixel positions.
#include "scanner/decoder/extrema.h"

#include <algorithm>
#include <cmath>

namespace decoder {

using LxCV::LxCColorValueFloat;
using LxCV::LxCEdgePosition;
using LxCV::LxCSymbol;

namespace {

float EighthRoot(float value)
{
    return std::sqrt(std::sqrt(std::sqrt(std::max(value, 0.0F))));
}

ChannelStep MakeStep(std::size_t row, float above, float centre, float below,
                     LxCColorValueFloat::EColor channel, bool rising)
{
    ChannelStep step{LxCEdgePosition(0), LxCSymbol(0), centre};
    step.position.Encode(static_cast<int>(row), EighthRoot(above), EighthRoot(centre), EighthRoot(below));
    step.symbol.Encode(channel, rising);
    return step;
}

} // namespace

void FindSteps(std::span<const float> signal, LxCColorValueFloat::EColor channel, float minGradient,
               std::vector<ChannelStep>& steps)
{
    const float least = std::max(minGradient, 0.0F); // a step has a height, which later is a weight
    const auto difference = [signal](std::size_t row) { return signal[row + 1] - signal[row - 1]; };
    for (std::size_t row = 2; row + 2 < signal.size(); ++row) {
        const float centre = difference(row);
        if (!(std::abs(centre) > least)) {
            continue;
        }
        const bool rising = centre > 0.0F;
        const float sign = rising ? 1.0F : -1.0F;
        const float height = sign * centre;
        const float above = sign * difference(row - 1);
        const float below = sign * difference(row + 1);
        if (height >= above && height > below) {
            steps.push_back(MakeStep(row, above, height, below, channel, rising));
        }
    }
}

} // namespace decoder
