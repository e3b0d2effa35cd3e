// Fixed-point positions with a fraction of 1/64 pixel.
#pragma once

#include "floattointeger.h"
#include "orx/base/export.h"

#include <cmath>
#include <cstdint>
#include <type_traits>

namespace LxCV {

/// One 32-bit word of a decoding image, of which bits 0 to 5 are a sub-pixel fraction. What the other bits mean
/// is up to the descendants; none of them adds a field or a virtual operation, so that an image of words can be
/// addressed as an array of any of them. Arithmetic on words wraps.
class ORX_EXPORT LxCSubpixel
{
public:
    static constexpr int m_sciNrSubpixBits = 6;
    static constexpr int m_sciSubpixMask = 0x3F;
    static constexpr float m_scfSubpixFactor = 64.0F;
    static constexpr float m_scfSubPixFactorInv = 0.015625F;

    constexpr LxCSubpixel() = default;

    void Clear() { m_uiWord = 0; }

    /// The fraction in 1/64 pixel, 0 to 63.
    int GetSubpixelInt() const { return static_cast<int>(m_uiWord & m_sciSubpixMask); }

    /// The fraction in pixels.
    float GetSubpixelFloat() const { return static_cast<float>(GetSubpixelInt()) * m_scfSubPixFactorInv; }

    /// Replaces the fraction by `subpixel`, in 1/64 pixel. It is added unmasked: a value outside 0 to 63 carries
    /// into the bits above.
    void SetSubpixel(int subpixel) { m_uiWord = WithoutFraction() + static_cast<std::uint32_t>(subpixel); }

    /// The same with `subpixel` in pixels, truncated to 1/64.
    void SetSubpixel(float subpixel) { SetSubpixel(TruncateTo<int>(subpixel * m_scfSubpixFactor)); }

    static constexpr int GetNumberSubpixBit() { return m_sciNrSubpixBits; }

    /// The vertex of the parabola through the samples a, b, c, in pixels from the middle one; 0 for samples on a
    /// straight line.
    static float ComputeSubpixelFloat(float a, float b, float c)
    {
        const float d = a + c - (b + b);
        return d == 0.0F ? 0.0F : (a - c) / d * 0.5F;
    }

    /// The same in 1/64 pixel, rounded; negative for a vertex before the middle sample.
    static int ComputeSubpixelInt(float a, float b, float c)
    {
        return TruncateTo<int>(std::floor(ComputeSubpixelFloat(a, b, c) * m_scfSubpixFactor + 0.5F));
    }

    /// The whole word.
    std::uint32_t GetWord() const { return m_uiWord; }

protected:
    constexpr explicit LxCSubpixel(std::uint32_t word) : m_uiWord(word) {}

    std::uint32_t WithoutFraction() const { return m_uiWord >> m_sciNrSubpixBits << m_sciNrSubpixBits; }

    std::uint32_t m_uiWord = 0;
};

static_assert(sizeof(LxCSubpixel) == 4 && std::is_trivially_copyable_v<LxCSubpixel>);

} // namespace LxCV
