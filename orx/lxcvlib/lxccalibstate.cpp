// Stamping, clearing and persistence of a calibration record.
#include "lxccalibstate.h"

#include "lxcpropertybag.h"
#include "orx/platform/clock.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cwchar>
#include <limits>
#include <string_view>

namespace LxCV {

namespace {

std::wstring FormatTime(const platform::LocalTime& time)
{
    constexpr std::size_t c_size = 80; // five numbers of eleven characters, and what stands between them
    std::array<wchar_t, c_size> text{};
    std::swprintf(text.data(), text.size(), L"%02i.%02i.%02i %02i:%02i", time.day, time.month, time.year,
                  time.hour, time.minute);
    return text.data();
}

/// The value of a digit in any base to 16, or 16 for what is no digit.
int DigitValue(wchar_t digit)
{
    constexpr std::wstring_view c_digits = L"0123456789abcdef";
    constexpr std::wstring_view c_capitals = L"0123456789ABCDEF";
    const std::size_t small = c_digits.find(digit);
    return static_cast<int>(
        small != std::wstring_view::npos ? small : std::min(c_capitals.find(digit), std::size_t{16}));
}

/// Removes the prefix that tells the base: "0x" or "0X" for 16, "0" for 8. A "0x" without a digit behind it is
/// the number 0 followed by other text.
int TakeBase(std::wstring_view& text)
{
    constexpr int c_octal = 8;
    constexpr int c_decimal = 10;
    constexpr int c_hexadecimal = 16;
    if (!text.starts_with(L'0')) {
        return c_decimal;
    }
    const bool prefixed = text.size() > 2 && (text[1] == L'x' || text[1] == L'X');
    if (prefixed && DigitValue(text[2]) < c_hexadecimal) {
        text.remove_prefix(2);
        return c_hexadecimal;
    }
    return c_octal;
}

/// Reads a leading integer as scanf's "%i" does; a value outside int is clamped, and no number gives 0.
int ScanInteger(std::wstring_view text)
{
    text.remove_prefix(std::min(text.find_first_not_of(L" \t\n\v\f\r"), text.size()));
    const bool negative = text.starts_with(L'-');
    if (negative || text.starts_with(L'+')) {
        text.remove_prefix(1);
    }
    const int base = TakeBase(text);
    using Limits = std::numeric_limits<int>;
    const std::int64_t largest = negative ? -std::int64_t{Limits::min()} : std::int64_t{Limits::max()};
    std::int64_t magnitude = 0;
    for (const wchar_t character : text) {
        const int digit = DigitValue(character);
        if (digit >= base) {
            break;
        }
        magnitude = std::min(magnitude * base + digit, largest);
    }
    return static_cast<int>(negative ? -magnitude : magnitude);
}

} // namespace

void LxCCalibState::FinishedCalibrationSuccessful(const std::wstring& info)
{
    m_bCalibrated = true;
    m_sCalibTime = FormatTime(platform::Clock::GetLocalTime());
    m_sCalibRevNumber = std::to_wstring(sc_iRevisionNumber);
    m_sCalibInfos = info;
}

void LxCCalibState::ResetCalibState()
{
    m_bCalibrated = false;
    m_sCalibTime.clear();
    m_sCalibRevNumber.clear();
    m_sCalibInfos.clear();
}

int LxCCalibState::GetRevisionNumber() const
{
    return ScanInteger(m_sCalibRevNumber);
}

void LxCCalibState::Serialize(LxCCCTSerializer& serializer, const std::string& section)
{
    LxCPropertyBag bag;
    bag.addScalar(m_bCalibrated, "Calibrated");
    bag.addScalar(m_sCalibTime, "CalibTime");
    bag.addScalar(m_sCalibRevNumber, "CalibRevNumber");
    bag.addScalar(m_sCalibInfos, "CalibInfos");
    // The owner has written the section's header, and appends these keys to its own.
    bag.serialize(serializer, section, false);
}

} // namespace LxCV
