// A colour pixel of three bytes, blue first.
#pragma once

#include "lxccolorvalue8.h"
#include "orx/base/export.h"

#include <cstdint>
#include <type_traits>

namespace LxCV {

/// Three bytes in the order blue, green, red.
class ORX_EXPORT LxCColorValueBGR8 : public LxCColorValue8<LxCColorValueBGR8>
{
public:
    /// The byte index of a channel.
    enum EColorChannel : int
    {
        eChannelBlue = 0,
        eChannelGreen = 1,
        eChannelRed = 2
    };

    constexpr LxCColorValueBGR8() = default;
    constexpr LxCColorValueBGR8(std::uint8_t red, std::uint8_t green, std::uint8_t blue)
        : m_auiValue{blue, green, red}
    {}
    LxCColorValueBGR8(float red, float green, float blue)
        : LxCColorValueBGR8(ToByte(red), ToByte(green), ToByte(blue))
    {}
    explicit LxCColorValueBGR8(const LxCColorValueFloat& color)
        : LxCColorValueBGR8(color.GetRed(), color.GetGreen(), color.GetBlue())
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

    /// The packed word of red, green and blue, with alpha 0.
    std::uint32_t ConvertToARGB() const
    {
        return (std::uint32_t{GetRed()} << 16) + (std::uint32_t{GetGreen()} << 8) + GetBlue();
    }

    friend bool operator==(const LxCColorValueBGR8&, const LxCColorValueBGR8&) = default;

private:
    static constexpr bool IsChannel(EColorChannel channel) { return static_cast<unsigned>(channel) < 3U; }

    std::uint8_t m_auiValue[3] = {0, 0, 0};
};

static_assert(sizeof(LxCColorValueBGR8) == 3 && std::is_trivially_copyable_v<LxCColorValueBGR8>);

inline LxCColorValueFloat::LxCColorValueFloat(const LxCColorValueBGR8& pixel)
    : LxCColorValueFloat(pixel.GetRed(), pixel.GetGreen(), pixel.GetBlue())
{}

} // namespace LxCV
