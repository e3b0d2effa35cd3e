// Parsing of colour sequences.
#include "lxcpatternstorage.h"

#include <algorithm>
#include <iterator>

namespace LxCV {

bool LxCPatternStorage::init(const std::string& pattern)
{
    m_vColors.clear();
    m_vColors.reserve(pattern.size());
    std::transform(pattern.begin(), pattern.end(), std::back_inserter(m_vColors), [](char digit) {
        return digit >= '0' && digit <= '9' ? static_cast<EColorSymbol>(digit - '0') : eBlack;
    });
    return true;
}

} // namespace LxCV
