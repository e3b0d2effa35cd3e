// A colour as three floats.
#pragma once

#include "lxcfloat3.h"

namespace LxCV {

class LxCColorValueARGB8;
class LxCColorValueBGR8;
class LxCColorValueRGB8;

/// A float triple whose element 0 is blue, 1 is green, 2 is red, on the scale 0 to 255.
class ORX_EXPORT LxCColorValueFloat : public LxCFloat3
{
public:
    /// Index of a colour channel, here and in the stripe code.
    enum EColor : int
    {
        eBlue = 0,
        eGreen = 1,
        eRed = 2
    };

    using LxCFloat3::operator=;
    LxCColorValueFloat() = default;
    LxCColorValueFloat(const LxCFloat3& o) : LxCFloat3(o) {}
    explicit LxCColorValueFloat(float value) : LxCFloat3(value) {}
    LxCColorValueFloat(float red, float green, float blue) : LxCFloat3(blue, green, red) {}

    /// Element by element, without alpha; defined with the pixel classes.
    explicit LxCColorValueFloat(const LxCColorValueARGB8& pixel);
    explicit LxCColorValueFloat(const LxCColorValueBGR8& pixel);
    explicit LxCColorValueFloat(const LxCColorValueRGB8& pixel);

    float GetRed() const { return get(eRed); }
    float GetGreen() const { return get(eGreen); }
    float GetBlue() const { return get(eBlue); }
    void SetRed(float value) { set(eRed, value); }
    void SetGreen(float value) { set(eGreen, value); }
    void SetBlue(float value) { set(eBlue, value); }
    void SetRGB(float red, float green, float blue) { set(blue, green, red); }

    float Get(EColor color) const { return get(color); }
    void Set(EColor color, float value) { set(color, value); }

    float GetMax() const { return getMax(); }

    /// The sum of the three channels divided by 3.
    float GetGrayVal() const { return GetMean(); }

    /// The absolute differences of the channels.
    LxCColorValueFloat calcContrast(const LxCColorValueFloat& o) const { return (*this - o).absolute(); }

    /// (max - min) / (max + min) over the channels; not a number for black.
    float calcColorContrast() const { return (getMax() - getMin()) / (getMax() + getMin()); }

    /// Sets the colour from hue, saturation and value.
    /// @param h hue in radians, red at 0, any number of turns; a hue that is not finite, or that lies a sixth of
    ///        a turn or more below 0, leaves the colour as it was
    /// @param s, v saturation and value, clamped to 0 to 1
    void fromHSV(float h, float s, float v);

    /// The hue in radians, from 0 up to 2 pi; 0 for a grey.
    float toHue() const;
};

static_assert(sizeof(LxCColorValueFloat) == sizeof(LxCFloat3));

} // namespace LxCV
