// What the 8-bit colour pixels have in common.
#pragma once

#include "floattointeger.h"
#include "lxccolorvaluefloat.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace LxCV {

/// Colour accessors of a pixel class with 8 bits a channel, red, green and blue on the scale 0 to 255.
///
/// `Pixel` derives from this empty class, names its channels in `EColorChannel` and stores them behind
/// `GetChannel` and `SetChannel`. Each setter takes a byte or a float; a float is rounded to the nearest integer
/// by adding 0.5 and truncating, of which the low 8 bits are kept. There is no clamping: values outside 0 to 255
/// wrap.
template <typename Pixel>
class LxCColorValue8
{
public:
    std::uint8_t GetRed() const { return Self().GetChannel(Pixel::eChannelRed); }
    std::uint8_t GetGreen() const { return Self().GetChannel(Pixel::eChannelGreen); }
    std::uint8_t GetBlue() const { return Self().GetChannel(Pixel::eChannelBlue); }

    void SetRed(std::uint8_t value) { Self().SetChannel(Pixel::eChannelRed, value); }
    void SetGreen(std::uint8_t value) { Self().SetChannel(Pixel::eChannelGreen, value); }
    void SetBlue(std::uint8_t value) { Self().SetChannel(Pixel::eChannelBlue, value); }
    void SetRed(float value) { SetRed(ToByte(value)); }
    void SetGreen(float value) { SetGreen(ToByte(value)); }
    void SetBlue(float value) { SetBlue(ToByte(value)); }

    void SetRGB(std::uint8_t red, std::uint8_t green, std::uint8_t blue)
    {
        SetRed(red);
        SetGreen(green);
        SetBlue(blue);
    }
    void SetRGB(float red, float green, float blue) { SetRGB(ToByte(red), ToByte(green), ToByte(blue)); }

    std::uint8_t GetMax() const { return std::max(std::max(GetRed(), GetGreen()), GetBlue()); }
    int GetSum() const { return GetRed() + GetGreen() + GetBlue(); }
    float GetGrayVal() const { return static_cast<float>(GetSum()) / 3.0F; }

    friend bool operator==(const LxCColorValue8&, const LxCColorValue8&) = default;

protected:
    static std::uint8_t ToByte(float value)
    {
        // From 2^31 on a float is a multiple of 256, so its low 8 bits are 0, as they are taken to be for what is
        // no number.
        constexpr float c_fLimit = 2147483648.0F;
        const float rounded = value + 0.5F;
        return std::abs(rounded) < c_fLimit ? static_cast<std::uint8_t>(static_cast<std::int32_t>(rounded))
                                            : std::uint8_t{0};
    }

private:
    Pixel& Self() { return static_cast<Pixel&>(*this); }
    const Pixel& Self() const { return static_cast<const Pixel&>(*this); }
};

} // namespace LxCV
