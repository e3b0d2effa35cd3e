// Text form of float triples.
#include "lxcfloat3.h"

#include <cstdint>
#include <iomanip>
#include <limits>
#include <locale>
#include <sstream>

namespace LxCV {

namespace {

/// Truncation that stays defined for every float: what does not fit saturates, what is no number is 0.
std::uint32_t TruncateToUnsigned(float value)
{
    constexpr float c_fTwoTo32 = 4294967296.0F;
    if (!(value > 0.0F)) {
        return 0;
    }
    return value < c_fTwoTo32 ? static_cast<std::uint32_t>(value) : std::numeric_limits<std::uint32_t>::max();
}

} // namespace

std::string LxCFloat3::toHTML(float scale) const
{
    const float factor = std::min(scale, 255.0F / getMax());
    std::ostringstream stream;
    stream.imbue(std::locale::classic());
    stream << std::hex << std::setfill('0');
    for (const float element : m_afValue) {
        stream << std::setw(2) << TruncateToUnsigned((element < 0.0F ? 0.0F : element) * factor);
    }
    return stream.str();
}

} // namespace LxCV
