// Text form of float triples.
#include "lxcfloat3.h"

#include "floattointeger.h"

#include <algorithm>
#include <cstdint>
#include <iomanip>
#include <locale>
#include <sstream>

namespace LxCV {

std::string LxCFloat3::toHTML(float scale) const
{
    constexpr std::uint32_t c_uiFullScale = 255;
    const float factor = std::min(scale, static_cast<float>(c_uiFullScale) / getMax());
    std::ostringstream stream;
    stream.imbue(std::locale::classic());
    stream << std::hex << std::setfill('0');
    for (const float element : m_afValue) {
        const auto scaled = TruncateTo<std::uint32_t>((element < 0.0F ? 0.0F : element) * factor);
        // More than full scale comes of elements that are no numbers only, which bound no factor.
        stream << std::setw(2) << std::min(scaled, c_uiFullScale);
    }
    return stream.str();
}

} // namespace LxCV
