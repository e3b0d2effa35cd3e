// The hexcone colour model: A. R. Smith, "Color gamut transform pairs", 1978.
#include "orx/ymalgo/ymcolorrgba.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr double c_dTurn = 6.283185307179586; // radians
constexpr double c_dSextants = 6.0;           // of the hexcone in a turn

double AtLeastZero(float value)
{
    return value > 0.0F ? double{value} : 0.0;
}

/// Hue in sextants, from -1 up to 5.
double HueInSextants(double red, double green, double blue, double largest, double range)
{
    if (largest == red) {
        return (green - blue) / range;
    }
    if (largest == green) {
        return (blue - red) / range + 2.0;
    }
    return (red - green) / range + 4.0;
}

} // namespace

YmColorRGBA::SHsv YmColorRGBA::RgbToHsv(const YmColorRGBA& color)
{
    const double red = AtLeastZero(color.fRed);
    const double green = AtLeastZero(color.fGreen);
    const double blue = AtLeastZero(color.fBlue);
    const double largest = std::max({red, green, blue});
    const double range = largest - std::min({red, green, blue});
    SHsv hsv;
    hsv.fValue = static_cast<float>(largest);
    if (range > 0.0 && std::isfinite(largest)) {
        const double sextants = HueInSextants(red, green, blue, largest, range);
        const double positive = sextants < 0.0 ? sextants + c_dSextants : sextants;
        hsv.fHue = static_cast<float>(positive * (c_dTurn / c_dSextants));
        hsv.fSaturation = static_cast<float>(range / largest);
    }
    return hsv;
}

YmColorRGBA YmColorRGBA::HsvToRgb(const SHsv& hsv, float alpha)
{
    const double value = AtLeastZero(hsv.fValue);
    const double saturation = std::min(AtLeastZero(hsv.fSaturation), 1.0);
    const double hue = std::isfinite(hsv.fHue) ? double{hsv.fHue} : 0.0;
    const double turns = hue / c_dTurn;
    const double sextants = (turns - std::floor(turns)) * c_dSextants;
    // Each channel is a trapezoid over the hue: full for two sextants, a ramp on either side, then none.
    const auto channel = [&](double offset) {
        const double place = std::fmod(sextants + offset, c_dSextants);
        const double missing = std::clamp(std::min(place, 4.0 - place), 0.0, 1.0);
        return static_cast<float>(saturation > 0.0 ? value * (1.0 - saturation * missing) : value);
    };
    return {channel(5.0), channel(3.0), channel(1.0), alpha};
}
