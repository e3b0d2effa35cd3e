// The colour sequence of a stripe pattern.
#pragma once

#include "lxcpatternposition.h"
#include "orx/base/export.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace LxCV {

/// Colour digits of the stripes of one cycle, first stripe first.
class ORX_EXPORT LxCPatternStorage
{
public:
    /// The colour of a stripe: bit 0 blue, bit 1 green, bit 2 red.
    enum EColorSymbol : std::int32_t
    {
        eBlack = 0,
        eBlue = 1,
        eGreen = 2,
        eCyan = 3,
        eRed = 4,
        eMagenta = 5,
        eYellow = 6,
        eWhite = 7
    };

    /// Takes one element for each character of the text, 0 for a character that is no decimal digit. Returns
    /// true.
    bool init(const std::string& pattern);

    std::size_t length() const { return m_vColors.size(); }

    /// The colour at a position, which may lie beyond the cycle. An empty storage, which must not be asked,
    /// answers black.
    EColorSymbol getColor(const LxCPatternPosition& position) const
    {
        return m_vColors.empty() ? eBlack : m_vColors[position.get() % m_vColors.size()];
    }

private:
    std::vector<EColorSymbol> m_vColors;
};

} // namespace LxCV
