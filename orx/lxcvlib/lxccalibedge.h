// A pixel of an edge image: a local extremum of the grey value gradient.
#pragma once

#include "orx/base/export.h"

#include <cstdint>

namespace LxCV {

/// One 32-bit word, laid out so that an image of `eIDT_INT32` is an array of it:
///
///     bits 0 to 5    sub-pixel fraction in 1/64 pixel
///     bit 6          local maximum: bright to dark along the scan direction
///     bit 7          local minimum: dark to bright
///     bits 8 to 15   id of the edge
class ORX_EXPORT LxCCalibEdge
{
public:
    static constexpr std::int32_t m_sciImgLocalMax = 0x40;
    static constexpr std::int32_t m_sciImgLocalMin = 0x80;
    static constexpr std::int32_t m_sciCalibIdPosition = 8;
    static constexpr std::int32_t m_sciCalibEdgeIdMaskInv = 0xFF; ///< the bits that are not the id

    LxCCalibEdge() = default;
    explicit LxCCalibEdge(std::int32_t word) : m_iWord(word) {}

    /// Sets polarity and sub-pixel fraction, and clears the id. `subpixel` is 0 to 63; it is added as it is.
    /// @return the word
    std::int32_t Encode(bool isMax, int subpixel) { return Encode(isMax, subpixel, 0); }

    /// The same with an id, 0 to 255, which is shifted in as it is.
    std::int32_t Encode(bool isMax, int subpixel, int id)
    {
        // Unsigned, so that no argument overflows.
        const std::uint32_t word = static_cast<std::uint32_t>(isMax ? m_sciImgLocalMax : m_sciImgLocalMin) +
                                   (static_cast<std::uint32_t>(id) << m_sciCalibIdPosition) +
                                   static_cast<std::uint32_t>(subpixel);
        return m_iWord = static_cast<std::int32_t>(word);
    }

    bool IsLocalMax() const { return (m_iWord & m_sciImgLocalMax) != 0; }
    bool IsLocalMin() const { return (m_iWord & m_sciImgLocalMin) != 0; }

    /// 0 to 255.
    int GetCalibEdgeId() const { return (m_iWord >> m_sciCalibIdPosition) & 0xFF; }

    bool HasEntry() const { return m_iWord != 0; }
    std::int32_t GetWord() const { return m_iWord; }

private:
    std::int32_t m_iWord = 0;
};

static_assert(sizeof(LxCCalibEdge) == sizeof(std::int32_t));

} // namespace LxCV
