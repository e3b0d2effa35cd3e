// A pixel of the extrema image after tracing.
#pragma once

#include "lxcextremum.h"

namespace LxCV {

/// The word of a traced pixel: bits 0 to 5 the sub-pixel offset in 1/64 pixel, 6 to 13 the traced stripe edge id
/// (over the symbol and the continuation flags of the untraced form), 16 to 21 the symbol quality, 22 and 23 the
/// traced marker, 24 to 31 the contrast quality.
class ORX_EXPORT LxCLightStripeEdgeSinglePixel : public LxCExtremum
{
public:
    static constexpr int m_sciTracedLSEdge = 0xC00000;
    static constexpr int m_sciUint8Max = 255;
    static constexpr int m_sciContFlag = 0x1000;
    static constexpr int m_sciContFlag2 = 0x2000;
    static constexpr int m_sciIdMask = 0x3FC0;
    static constexpr std::uint32_t m_sciIdMaskInv = 0xFFFFC03F;
    static constexpr std::uint32_t m_sciQualityMaskInv = 0xFFC0FFFF;

    constexpr LxCLightStripeEdgeSinglePixel() = default;
    constexpr explicit LxCLightStripeEdgeSinglePixel(std::uint32_t word) : LxCExtremum(word) {}

    /// Becomes a traced pixel without qualities. Neither argument is masked.
    void EncodeTracedLSEdgeInfo(int id, int subpixel)
    {
        m_uiWord = (static_cast<std::uint32_t>(id) << m_sciNrSubpixBits) + m_sciTracedLSEdge +
                   static_cast<std::uint32_t>(subpixel);
    }

    bool IsPartOfATracedLightStripeEdge() const { return (m_uiWord & m_sciTracedLSEdge) != 0; }

    int GetLSEdgeIDTraced() const { return static_cast<int>(m_uiWord >> m_sciNrSubpixBits & m_sciUint8Max); }
    void SetTracedId(int id)
    {
        m_uiWord = (static_cast<std::uint32_t>(id) << m_sciNrSubpixBits) + (m_uiWord & m_sciIdMaskInv);
    }

    int GetSymbolQuality() const { return static_cast<int>(m_uiWord >> c_iQualityOffset & 0x3FU); }
    void SetSymbolQuality(int quality)
    {
        m_uiWord =
            (m_uiWord & m_sciQualityMaskInv) + (static_cast<std::uint32_t>(quality) << c_iQualityOffset);
    }

    int GetContrastQuality() const { return static_cast<int>(m_uiWord >> c_iContrastOffset); }

private:
    static constexpr int c_iQualityOffset = 16;
    static constexpr int c_iContrastOffset = 24;
};

static_assert(sizeof(LxCLightStripeEdgeSinglePixel) == 4 &&
              std::is_trivially_copyable_v<LxCLightStripeEdgeSinglePixel>);

} // namespace LxCV
