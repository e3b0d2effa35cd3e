// Text form of float triples.
#include "lxcfloat3.h"

#include "floattointeger.h"

#include <cstdint>
#include <iomanip>
#include <locale>
#include <sstream>

namespace LxCV {

std::string LxCFloat3::toHTML(float scale) const
{
    const float factor = std::min(scale, 255.0F / getMax());
    std::ostringstream stream;
    stream.imbue(std::locale::classic());
    stream << std::hex << std::setfill('0');
    for (const float element : m_afValue) {
        stream << std::setw(2) << TruncateTo<std::uint32_t>((element < 0.0F ? 0.0F : element) * factor);
    }
    return stream.str();
}

} // namespace LxCV
