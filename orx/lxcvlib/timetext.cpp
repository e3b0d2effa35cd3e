// Times as text for reports.
#include "timetext.h"

#include <array>
#include <charconv>
#include <limits>

namespace LxCV {

std::wstring FormatMilliseconds(double seconds)
{
    constexpr double c_dMillisecondsPerSecond = 1e3;
    constexpr int c_iDecimals = 3;
    // The digits of the largest double, its decimals, point and sign.
    std::array<char, std::numeric_limits<double>::max_exponent10 + 8> text{};
    const auto end = std::to_chars(text.data(), text.data() + text.size(), seconds * c_dMillisecondsPerSecond,
                                   std::chars_format::fixed, c_iDecimals);
    return {text.data(), end.ptr};
}

} // namespace LxCV
