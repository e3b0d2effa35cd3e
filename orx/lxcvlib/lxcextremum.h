// A pixel of the extrema image.
#pragma once

#include "lxcsubpixel.h"
#include "lxcsymbol.h"

namespace LxCV {

/// The word of an untraced pixel: bits 0 to 5 the sub-pixel offset in 1/64 pixel, 6 to 11 the symbol, 12 and 13
/// two continuation flags, 14 to 21 the untraced stripe edge id, the rest zero. A word of zero is no extremum.
class ORX_EXPORT LxCExtremum : public LxCSubpixel
{
public:
    static constexpr int m_sciLSEdgeIdOffset = 14;
    static constexpr int m_sciUint8Max = 255;
    static constexpr int m_sciSymAndOffsetBitmask = 0xFFF;
    static constexpr int m_sciContFlag = 0x1000;
    static constexpr int m_sciContFlag2 = 0x2000;

    constexpr LxCExtremum() = default;
    constexpr explicit LxCExtremum(std::uint32_t word) : LxCSubpixel(word) {}

    /// No argument is masked: a value that exceeds its field corrupts the fields above.
    void EncodeExtremum(int id, bool contFlag, bool contFlag2, LxCSymbol sym, int subpixel)
    {
        m_uiWord = static_cast<std::uint32_t>(id) << m_sciLSEdgeIdOffset |
                   sym.GetValue() << m_sciNrSubpixBits | (contFlag ? m_sciContFlag : 0U) |
                   (contFlag2 ? m_sciContFlag2 : 0U) | static_cast<std::uint32_t>(subpixel);
    }

    bool HasEntry() const { return m_uiWord != 0; }

    /// The symbol of an untraced pixel. On a traced one these are bits of the id.
    LxCSymbol GetSymbolFromExt() const { return LxCSymbol(m_uiWord >> m_sciNrSubpixBits & 0x3FU); }

    int GetLSEdgeIdUntraced() const
    {
        return static_cast<int>(m_uiWord >> m_sciLSEdgeIdOffset & m_sciUint8Max);
    }

    /// Keeps the symbol and the sub-pixel offset only: both continuation flags are dropped.
    void SetUntracedId(int id)
    {
        m_uiWord =
            (static_cast<std::uint32_t>(id) << m_sciLSEdgeIdOffset) + (m_uiWord & m_sciSymAndOffsetBitmask);
    }

    bool IsContFlag() const { return (m_uiWord & m_sciContFlag) != 0; }
    bool IsContFlag2() const { return (m_uiWord & m_sciContFlag2) != 0; }
    void AddContFlag() { m_uiWord |= m_sciContFlag; }
    void AddContFlag2() { m_uiWord |= m_sciContFlag2; }
};

static_assert(sizeof(LxCExtremum) == 4 && std::is_trivially_copyable_v<LxCExtremum>);

} // namespace LxCV
