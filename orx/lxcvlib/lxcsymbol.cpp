// Text form of stripe edge symbols.
#include "lxcsymbol.h"

namespace LxCV {

std::string LxCSymbol::ToString() const
{
    constexpr char c_acChannel[3] = {'B', 'G', 'R'};
    std::string text;
    for (unsigned channel = 0; channel < 3; ++channel) {
        const std::uint32_t pair = m_uiValue >> (2 * channel) & 3U;
        if (pair != 0) {
            text += c_acChannel[channel];
            text += (pair & 1U) != 0 ? '-' : '+';
        }
    }
    return text;
}

} // namespace LxCV
