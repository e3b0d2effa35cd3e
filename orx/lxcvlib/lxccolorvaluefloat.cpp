// Conversion of float colours from and to hue, saturation and value.
#include "lxccolorvaluefloat.h"

namespace LxCV {

namespace {

constexpr float c_fPi = 3.1415927F;
constexpr float c_fTwoPi = 6.2831855F;
constexpr float c_fFullScale = 255.0F;

float ClampToUnit(float value)
{
    return value > 1.0F ? 1.0F : value < 0.0F ? 0.0F : value;
}

} // namespace

void LxCColorValueFloat::fromHSV(float h, float s, float v)
{
    const float saturation = ClampToUnit(s);
    const float full = ClampToUnit(v) * c_fFullScale;
    const float sixths = std::fmod(h, c_fTwoPi) * 3.0F / c_fPi;
    if (!std::isfinite(sixths)) {
        return;
    }
    const float f = sixths - std::floor(sixths);
    const float p = (1.0F - saturation) * full;
    const float q = (1.0F - f * saturation) * full;
    const float t = (1.0F - (1.0F - f) * saturation) * full;
    switch (static_cast<int>(sixths) % 6) {
    case 0:
        SetRGB(full, t, p);
        break;
    case 1:
        SetRGB(q, full, p);
        break;
    case 2:
        SetRGB(p, full, t);
        break;
    case 3:
        SetRGB(p, q, full);
        break;
    case 4:
        SetRGB(t, p, full);
        break;
    case 5:
        SetRGB(full, p, q);
        break;
    default:
        break;
    }
}

float LxCColorValueFloat::toHue() const
{
    const float max = getMax();
    const float min = getMin();
    if (max == min) {
        return 0.0F;
    }
    const float range = max - min;
    float sixths = 0.0F;
    if (GetRed() == max) {
        sixths = (GetGreen() - GetBlue()) / range;
    } else if (GetGreen() == max) {
        sixths = (GetBlue() - GetRed()) / range + 2.0F;
    } else {
        sixths = (GetRed() - GetGreen()) / range + 4.0F;
    }
    const float hue = sixths * c_fPi / 3.0F;
    return hue < 0.0F ? hue + c_fTwoPi : hue;
}

} // namespace LxCV
