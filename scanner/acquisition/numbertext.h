// Numbers in arguments.
#pragma once

#include <charconv>
#include <string_view>
#include <system_error>

namespace acquisition {

/// Whether the whole text is one number, in the classic locale, that the type holds; for a floating-point one, "inf"
/// and "nan" are numbers too.
template <typename Number>
bool ReadNumber(std::string_view text, Number& number)
{
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && stop == end;
}

} // namespace acquisition
