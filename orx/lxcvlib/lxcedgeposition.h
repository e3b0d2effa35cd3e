// A position along one direction of an image.
#pragma once

#include "lxcsubpixel.h"

namespace LxCV {

/// An unsigned fixed-point position: bits 0 to 5 the fraction in 1/64 pixel, bits 6 to 31 the pixel index.
class ORX_EXPORT LxCEdgePosition : public LxCSubpixel
{
public:
    constexpr LxCEdgePosition() = default;
    constexpr explicit LxCEdgePosition(std::uint32_t word) : LxCSubpixel(word) {}

    /// @param subpixel in 1/64 pixel, of which the low 6 bits count
    void Encode(int pixel, int subpixel)
    {
        m_uiWord = FromPixel(pixel) + static_cast<std::uint32_t>(subpixel & m_sciSubpixMask);
    }

    /// The vertex of the parabola through the samples a, b, c, of which b lies at `pixel`. A vertex before b
    /// borrows from the pixel.
    void Encode(int pixel, float a, float b, float c)
    {
        m_uiWord = FromPixel(pixel) + static_cast<std::uint32_t>(ComputeSubpixelInt(a, b, c));
    }

    /// The position in 1/64 pixel.
    std::uint32_t GetPixelAndSubpixelPos() const { return m_uiWord; }

    int GetPixelPos() const { return static_cast<int>(m_uiWord >> m_sciNrSubpixBits); }

    /// This position minus `o`, in 1/64 pixel.
    int Subtract(const LxCEdgePosition& o) const { return static_cast<int>(m_uiWord - o.m_uiWord); }

    bool IsSmallerThan(const LxCEdgePosition& o) const { return m_uiWord < o.m_uiWord; }
    bool IsSmallerOrEqualTo(const LxCEdgePosition& o) const { return m_uiWord <= o.m_uiWord; }

    /// The mean, rounded down. The sum is taken in 32 bits: the mean of positions from pixel 2^25 on wraps.
    static LxCEdgePosition GetMean(const LxCEdgePosition& a, const LxCEdgePosition& b)
    {
        return LxCEdgePosition((a.m_uiWord + b.m_uiWord) >> 1);
    }

    /// Mean with the weights w1, w2 (, w3), computed in single precision and truncated to 1/64 pixel. Weights
    /// whose sum is 0 give position 0 or the largest position.
    static LxCEdgePosition Combine2(float w1, const LxCEdgePosition& a, float w2, const LxCEdgePosition& b)
    {
        return FromFloat((a.ToFloat() * w1 + b.ToFloat() * w2) / (w1 + w2));
    }
    static LxCEdgePosition Combine3(float w1, const LxCEdgePosition& a, float w2, const LxCEdgePosition& b,
                                    float w3, const LxCEdgePosition& c)
    {
        return FromFloat((a.ToFloat() * w1 + b.ToFloat() * w2 + c.ToFloat() * w3) / (w1 + w2 + w3));
    }

private:
    static std::uint32_t FromPixel(int pixel)
    {
        return static_cast<std::uint32_t>(pixel) << m_sciNrSubpixBits;
    }
    static LxCEdgePosition FromFloat(float word) { return LxCEdgePosition(TruncateTo<std::uint32_t>(word)); }
    float ToFloat() const { return static_cast<float>(m_uiWord); }
};

static_assert(sizeof(LxCEdgePosition) == 4 && std::is_trivially_copyable_v<LxCEdgePosition>);

} // namespace LxCV
