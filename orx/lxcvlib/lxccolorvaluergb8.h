// A colour pixel of three bytes, red first.
#pragma once

#include "lxccolorvalue8.h"
#include "orx/base/export.h"

#include <cstdint>
#include <type_traits>

namespace LxCV {

/// Three bytes in the order red, green, blue.
class ORX_EXPORT LxCColorValueRGB8 : public LxCColorValue8<LxCColorValueRGB8>
{
public:
    /// The byte index of a channel.
    enum EColorChannel : int
    {
        eChannelRed = 0,
        eChannelGreen = 1,
        eChannelBlue = 2
    };

    constexpr LxCColorValueRGB8() = default;
    constexpr LxCColorValueRGB8(std::uint8_t red, std::uint8_t green, std::uint8_t blue)
        : m_auiValue{red, green, blue}
    {}
    LxCColorValueRGB8(float red, float green, float blue)
        : LxCColorValueRGB8(ToByte(red), ToByte(green), ToByte(blue))
    {}
    explicit LxCColorValueRGB8(const LxCColorValueFloat& color)
        : LxCColorValueRGB8(color.GetRed(), color.GetGreen(), color.GetBlue())
    {}

    /// A channel outside the enumeration reads 0 and writes nothing.
    std::uint8_t GetChannel(EColorChannel channel) const
    {
        return IsChannel(channel) ? m_auiValue[channel] : std::uint8_t{0};
    }
    void SetChannel(EColorChannel channel, std::uint8_t value)
    {
        if (IsChannel(channel)) {
            m_auiValue[channel] = value;
        }
    }
    void SetChannel(EColorChannel channel, float value) { SetChannel(channel, ToByte(value)); }

    friend bool operator==(const LxCColorValueRGB8&, const LxCColorValueRGB8&) = default;

private:
    static constexpr bool IsChannel(EColorChannel channel) { return static_cast<unsigned>(channel) < 3U; }

    std::uint8_t m_auiValue[3] = {0, 0, 0};
};

static_assert(sizeof(LxCColorValueRGB8) == 3 && std::is_trivially_copyable_v<LxCColorValueRGB8>);

inline LxCColorValueFloat::LxCColorValueFloat(const LxCColorValueRGB8& pixel)
    : LxCColorValueFloat(pixel.GetRed(), pixel.GetGreen(), pixel.GetBlue())
{}

} // namespace LxCV
