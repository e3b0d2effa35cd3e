// The colour transitions at one stripe edge.
#pragma once

#include "lxccolorvaluefloat.h"
#include "orx/base/export.h"

#include <cstdint>
#include <string>
#include <type_traits>

namespace LxCV {

/// Six transition bits, a pair for each colour channel, of which the lower one says that the channel falls and
/// the upper one that it rises: bits 0 and 1 blue, 2 and 3 green, 4 and 5 red. A channel without a transition has
/// both bits clear.
///
/// The colour of a stripe is a digit from 0 to 7: bit 0 blue, bit 1 green, bit 2 red.
class ORX_EXPORT LxCSymbol
{
public:
    static constexpr int m_scaiIncRed = 32;
    static constexpr int m_scaiDecRed = 16;
    static constexpr int m_scaiIncGreen = 8;
    static constexpr int m_scaiDecGreen = 4;
    static constexpr int m_scaiIncBlue = 2;
    static constexpr int m_scaiDecBlue = 1;

    /// The on/off sequence of one channel over four stripes, as a decimal number with the digits 0 and 1, by the
    /// channel's transitions at the three edges between them: bits 0 and 1 the last edge, 4 and 5 the first; 1
    /// falls, 2 rises. Sequences that cannot be, and a channel without any transition, count as off.
    static constexpr int m_scaiExtSeqToColorSeqLUT[64] = {0,    1110, 1,    0, 1100, 0, 1101, 0,  // from 0
                                                          11,   10,   0,    0, 0,    0, 0,    0,  // from 8
                                                          1000, 0,    1001, 0, 0,    0, 0,    0,  // from 16
                                                          1011, 1010, 0,    0, 0,    0, 0,    0,  // from 24
                                                          111,  110,  0,    0, 100,  0, 101,  0,  // from 32
                                                          0,    0,    0,    0, 0,    0, 0,    0,  // from 40
                                                          0,    0,    0,    0, 0,    0, 0,    0,  // from 48
                                                          0,    0,    0,    0, 0,    0, 0,    0}; // from 56

    constexpr LxCSymbol() = default;
    constexpr explicit LxCSymbol(std::uint32_t value) : m_uiValue(value) {}

    void Clear() { m_uiValue = 0; }
    std::uint32_t GetValue() const { return m_uiValue; }

    /// Becomes the single transition of one channel; another colour value gives the empty symbol.
    void Encode(LxCColorValueFloat::EColor color, bool rising)
    {
        const bool known = static_cast<unsigned>(color) <= LxCColorValueFloat::eRed;
        m_uiValue = known ? (rising ? 2U : 1U) << (2 * color) : 0U;
    }

    /// Adds the other word as an integer; the bits of both are to be disjoint.
    void CombineWith(const LxCSymbol& o) { m_uiValue += o.m_uiValue; }

    /// Becomes the symbol of the edge from a stripe of colour `from` to a stripe of colour `to`, 0 to 7.
    void ConstructExtSym(int from, int to)
    {
        m_uiValue = 0;
        for (unsigned channel = 0; channel < 3; ++channel) {
            const unsigned before = static_cast<unsigned>(from) >> channel & 1U;
            const unsigned after = static_cast<unsigned>(to) >> channel & 1U;
            m_uiValue |= (after & ~before) << (2 * channel + 1) | (before & ~after) << (2 * channel);
        }
    }

    /// Whether every bit of `a` is also in `b`.
    static bool AllExtremasArePresent(const LxCSymbol& a, const LxCSymbol& b)
    {
        return (a.m_uiValue & ~b.m_uiValue) == 0;
    }

    /// How far two symbols are apart. One differing bit in red or in green counts 1 and both count 4; each
    /// differing bit in blue counts 6.
    static int CompareExt(const LxCSymbol& a, const LxCSymbol& b)
    {
        constexpr int c_aiRedOrGreen[4] = {0, 1, 1, 4};
        constexpr int c_aiBlue[4] = {0, 6, 6, 12};
        const std::uint32_t x = a.m_uiValue ^ b.m_uiValue;
        return c_aiRedOrGreen[x >> 4 & 3] + c_aiRedOrGreen[x >> 2 & 3] + c_aiBlue[x & 3];
    }

    /// The colours of the four stripes around three successive edges as the digits of a decimal number, the
    /// first stripe being the most significant.
    /// @param syms three symbols: of the last edge first, of the first edge last
    static int DetCodeWord(const LxCSymbol syms[3])
    {
        const std::uint32_t s0 = syms[0].m_uiValue;
        const std::uint32_t s1 = syms[1].m_uiValue;
        const std::uint32_t s2 = syms[2].m_uiValue;
        const std::uint32_t blue = (s0 & 3) | (s1 & 3) << 2 | (s2 & 3) << 4;
        const std::uint32_t green = (s0 >> 2 & 3) | (s1 & 0xC) | (s2 & 0xC) << 2;
        const std::uint32_t red = (s0 >> 4 & 3) | (s1 >> 2 & 0xC) | (s2 & 0x30);
        return m_scaiExtSeqToColorSeqLUT[blue] + 2 * m_scaiExtSeqToColorSeqLUT[green] +
               4 * m_scaiExtSeqToColorSeqLUT[red];
    }

    /// Two characters for each channel with a transition, in the order blue, green, red, such as "B+G-". A
    /// channel with both bits set prints as falling.
    std::string ToString() const;

    friend bool operator==(const LxCSymbol&, const LxCSymbol&) = default;

private:
    std::uint32_t m_uiValue = 0;
};

static_assert(sizeof(LxCSymbol) == 4 && std::is_trivially_copyable_v<LxCSymbol>);

} // namespace LxCV
