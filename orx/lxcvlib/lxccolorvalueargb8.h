// A colour pixel packed in a 32-bit word.
#pragma once

#include "lxccolorvalue8.h"
#include "orx/base/export.h"

#include <cstdint>
#include <type_traits>

namespace LxCV {

/// One unsigned 32-bit word: bits 0 to 7 blue, 8 to 15 green, 16 to 23 red, 24 to 31 alpha. In memory the bytes
/// are blue, green, red, alpha. Construction from colours leaves alpha 0.
class ORX_EXPORT LxCColorValueARGB8 : public LxCColorValue8<LxCColorValueARGB8>
{
public:
    /// The byte of a channel in the word.
    enum EColorChannel : int
    {
        eChannelBlue = 0,
        eChannelGreen = 1,
        eChannelRed = 2,
        eChannelAlpha = 3
    };

    /// Named colours; the value is the packed word, with alpha 0.
    enum EColor : std::uint32_t
    {
        eBlack = 0x000000,
        eBlue = 0x0000FF,
        eGreen = 0x00FF00,
        eCyan = 0x00FFFF,
        eRed = 0xFF0000,
        eMagenta = 0xFF00FF,
        eYellow = 0xFFFF00,
        eWhite = 0xFFFFFF
    };

    constexpr LxCColorValueARGB8() = default;
    constexpr LxCColorValueARGB8(EColor color) : m_uiValue(color) {}
    constexpr explicit LxCColorValueARGB8(std::uint32_t word) : m_uiValue(word) {}
    constexpr LxCColorValueARGB8(std::uint8_t red, std::uint8_t green, std::uint8_t blue)
        : m_uiValue(Pack(red, green, blue))
    {}
    LxCColorValueARGB8(float red, float green, float blue)
        : m_uiValue(Pack(ToByte(red), ToByte(green), ToByte(blue)))
    {}
    explicit LxCColorValueARGB8(const LxCColorValueFloat& color)
        : LxCColorValueARGB8(color.GetRed(), color.GetGreen(), color.GetBlue())
    {}

    /// The packed word.
    std::uint32_t GetARGB() const { return m_uiValue; }

    std::uint8_t GetChannel(EColorChannel channel) const
    {
        return static_cast<std::uint8_t>(m_uiValue >> Shift(channel));
    }
    void SetChannel(EColorChannel channel, std::uint8_t value)
    {
        const int shift = Shift(channel);
        m_uiValue = (m_uiValue & ~(c_uiByteMask << shift)) | (std::uint32_t{value} << shift);
    }
    void SetChannel(EColorChannel channel, float value) { SetChannel(channel, ToByte(value)); }

    std::uint8_t GetAlpha() const { return GetChannel(eChannelAlpha); }
    void SetAlpha(std::uint8_t value) { SetChannel(eChannelAlpha, value); }
    void SetAlpha(float value) { SetChannel(eChannelAlpha, value); }

    void SetARGB(std::uint8_t alpha, std::uint8_t red, std::uint8_t green, std::uint8_t blue)
    {
        SetRGB(red, green, blue);
        SetAlpha(alpha);
    }
    void SetARGB(float alpha, float red, float green, float blue)
    {
        SetRGB(red, green, blue);
        SetAlpha(alpha);
    }

    /// This pixel times (1 - t) plus `other` times t for red, green and blue; alpha becomes 0.
    LxCColorValueARGB8 MixWith(const LxCColorValueARGB8& other, float t) const
    {
        return LxCColorValueARGB8(
            LxCColorValueFloat(LxCColorValueFloat(*this) * (1.0F - t) + LxCColorValueFloat(other) * t));
    }

    friend bool operator==(const LxCColorValueARGB8&, const LxCColorValueARGB8&) = default;

private:
    static constexpr std::uint32_t c_uiByteMask = 0xFF;

    static constexpr int Shift(EColorChannel channel) { return (channel & 3) * 8; }
    static constexpr std::uint32_t Pack(std::uint8_t red, std::uint8_t green, std::uint8_t blue)
    {
        return std::uint32_t{red} << 16 | std::uint32_t{green} << 8 | blue;
    }

    std::uint32_t m_uiValue = 0;
};

static_assert(sizeof(LxCColorValueARGB8) == 4 && std::is_trivially_copyable_v<LxCColorValueARGB8>);

inline LxCColorValueFloat::LxCColorValueFloat(const LxCColorValueARGB8& pixel)
    : LxCColorValueFloat(pixel.GetRed(), pixel.GetGreen(), pixel.GetBlue())
{}

} // namespace LxCV
