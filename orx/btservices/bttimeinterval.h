// A span of calendar time.
#pragma once

#include <cstdint>

/// Years, months and days, of either sign, for `BtDateTime`.
class BtTimeInterval
{
public:
    constexpr BtTimeInterval() = default;
    constexpr explicit BtTimeInterval(std::int32_t years, std::int32_t months = 0, std::int32_t days = 0)
        : m_iYears(years), m_iMonths(months), m_iDays(days)
    {}

    constexpr std::int32_t GetYears() const { return m_iYears; }
    constexpr std::int32_t GetMonths() const { return m_iMonths; }
    constexpr std::int32_t GetDays() const { return m_iDays; }

private:
    std::int32_t m_iYears = 0;
    std::int32_t m_iMonths = 0;
    std::int32_t m_iDays = 0;
};
