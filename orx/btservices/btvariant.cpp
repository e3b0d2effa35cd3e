// Conversions between the types of a variant.
#include "orx/btservices/btvariant.h"

#include "orx/platform/unicode.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <optional>
#include <string_view>
#include <type_traits>

namespace {

template <typename T>
constexpr bool c_isText = std::is_same_v<T, std::string> || std::is_same_v<T, std::wstring>;

std::string ToLower(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(), [](char character) {
        return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a') : character;
    });
    return text;
}

template <typename T>
std::optional<T> ParseWhole(std::string_view text)
{
    T value{};
    const char* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, value);
    return result.ec == std::errc{} && result.ptr == end ? std::optional<T>(value) : std::nullopt;
}

/// To a number or bool, from a number or bool.
template <typename To, typename From>
std::optional<To> FromNumber(From value)
{
    if (static_cast<double>(value) != static_cast<double>(value)) {
        return std::is_same_v<To, double> ? std::optional<To>(static_cast<To>(value)) : std::nullopt;
    }
    if constexpr (std::is_same_v<To, bool>) {
        return value != From{};
    } else if constexpr (std::is_same_v<To, double>) {
        return static_cast<double>(value);
    } else {
        // A double holds every int and unsigned int exactly.
        const double whole = std::trunc(static_cast<double>(value));
        const bool fits = whole >= static_cast<double>(std::numeric_limits<To>::min()) &&
                          whole <= static_cast<double>(std::numeric_limits<To>::max());
        return fits ? std::optional<To>(static_cast<To>(whole)) : std::nullopt;
    }
}

template <typename To>
std::optional<To> FromText(const std::string& text)
{
    if constexpr (std::is_same_v<To, bool>) {
        const std::string lower = ToLower(text);
        if (lower == "true" || lower == "false") {
            return lower == "true";
        }
        const std::optional<double> number = ParseWhole<double>(text);
        return number ? FromNumber<bool>(*number) : std::nullopt;
    } else {
        return ParseWhole<To>(text);
    }
}

template <typename From>
std::string ToText(const From& value)
{
    if constexpr (std::is_same_v<From, bool>) {
        return value ? "true" : "false";
    } else if constexpr (std::is_same_v<From, std::string>) {
        return value;
    } else if constexpr (std::is_same_v<From, std::wstring>) {
        return platform::NarrowUtf8(value);
    } else {
        constexpr std::size_t c_longestNumber = 32;
        std::array<char, c_longestNumber> digits{};
        const auto result = std::to_chars(digits.data(), digits.data() + digits.size(), value);
        return {digits.data(), result.ptr};
    }
}

template <typename To, typename From>
std::optional<To> Convert(const From& value)
{
    if constexpr (std::is_same_v<To, From>) {
        return value;
    } else if constexpr (std::is_same_v<From, std::monostate>) {
        return std::nullopt;
    } else if constexpr (std::is_same_v<To, std::string>) {
        return ToText(value);
    } else if constexpr (std::is_same_v<To, std::wstring>) {
        return platform::WidenUtf8(ToText(value));
    } else if constexpr (c_isText<From>) {
        return FromText<To>(ToText(value));
    } else {
        return FromNumber<To>(value);
    }
}

template <typename To, typename Value>
bool ConvertIn(Value& value)
{
    std::optional<To> converted = std::visit([](const auto& present) { return Convert<To>(present); }, value);
    if (converted) {
        value = std::move(*converted);
    }
    return converted.has_value();
}

} // namespace

bool BtVariant::ConvertTo(EType type)
{
    switch (type) {
    case eEmpty:
        m_value = std::monostate{};
        return true;
    case eBool:
        return ConvertIn<bool>(m_value);
    case eInt:
        return ConvertIn<int>(m_value);
    case eUnsigned:
        return ConvertIn<unsigned int>(m_value);
    case eDouble:
        return ConvertIn<double>(m_value);
    case eString:
        return ConvertIn<std::string>(m_value);
    case eWString:
        return ConvertIn<std::wstring>(m_value);
    }
    return false;
}
