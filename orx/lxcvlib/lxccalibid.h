// A pixel of an id image: which traced edge runs through it.
#pragma once

#include "orx/base/export.h"

#include <cstdint>

namespace LxCV {

/// One 32-bit word, laid out so that an image of `eIDT_INT32` is an array of it:
///
///     bits 0 to 16    number of the traced edge, counted from 1
///     bits 17 to 23   contour bits, set on every pixel that lies on a traced edge
class ORX_EXPORT LxCCalibId
{
public:
    static constexpr std::int32_t m_sciIdMask = 0x1FFFF;
    static constexpr std::int32_t m_sciContourPixelExt = 0xFE0000;

    LxCCalibId() = default;
    explicit LxCCalibId(std::int32_t word) : m_iWord(word) {}

    /// Sets id and contour bits; the id keeps its low 17 bits.
    /// @return the word
    std::int32_t Encode(int id) { return m_iWord = (id & m_sciIdMask) + m_sciContourPixelExt; }

    /// Replaces the id, of which the low 17 bits count, and nothing else.
    void SetId(int id) { m_iWord = (m_iWord & ~m_sciIdMask) | (id & m_sciIdMask); }
    int GetId() const { return m_iWord & m_sciIdMask; }

    void SetContour() { m_iWord |= m_sciContourPixelExt; }

    /// Whether any contour bit is set.
    bool IsContourPixel() const { return (m_iWord & m_sciContourPixelExt) != 0; }

    bool HasEntry() const { return m_iWord != 0; }
    void Clear() { m_iWord = 0; }
    std::int32_t GetWord() const { return m_iWord; }

private:
    std::int32_t m_iWord = 0;
};

static_assert(sizeof(LxCCalibId) == sizeof(std::int32_t));

} // namespace LxCV
