// A colour as red, green, blue and alpha, and its form as hue, saturation and value.
#pragma once

#include "orx/base/export.h"

/// A colour of red, green, blue and alpha on the scale 0 to 1. Larger channels are allowed: the value then
/// exceeds 1 too.
struct ORX_EXPORT YmColorRGBA
{
    /// The hexcone form of a colour. With M and m the largest and smallest channel: value = M,
    /// saturation = (M - m) / M, and hue the angle around the grey axis.
    struct SHsv
    {
        float fHue = 0.0F; ///< radians, 0 up to 2 pi: red 0, green 2 pi / 3, blue 4 pi / 3; 0 for a grey
        float fSaturation = 0.0F; ///< 0 to 1; 0 for black
        float fValue = 0.0F;      ///< 0 or more
    };

    float fRed = 0.0F;
    float fGreen = 0.0F;
    float fBlue = 0.0F;
    float fAlpha = 1.0F;

    /// A channel that is negative or not a number counts as 0. Alpha is left out.
    static SHsv RgbToHsv(const YmColorRGBA& color);

    /// The hue may lie any number of turns away; one that is not finite counts as 0. Saturation is clamped to 0
    /// to 1, and a negative value to 0; what is not a number counts as 0.
    static YmColorRGBA HsvToRgb(const SHsv& hsv, float alpha = 1.0F);
};
