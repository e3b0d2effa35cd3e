// A moment of the calendar.
#pragma once

#include "orx/base/export.h"
#include "orx/btservices/bttimeinterval.h"

#include <compare>
#include <cstdint>

class YmStream;

/// Year, month, day, hour, minute, second and millisecond in UTC, so that moments from different time zones and from
/// both sides of a change of the clocks compare. Either all zero, which stands for no moment and is before every other,
/// or a moment of the Gregorian calendar in the years 1 to 9999.
class ORX_EXPORT BtDateTime
{
public:
    /// No moment.
    constexpr BtDateTime() = default;

    /// What is no moment of the calendar gives the one of all zero.
    BtDateTime(std::int32_t year, std::int32_t month, std::int32_t day, std::int32_t hour = 0,
               std::int32_t minute = 0, std::int32_t second = 0, std::int32_t millisecond = 0);

    /// The date of `platform::Clock`; a clock outside of the years gives no moment.
    static BtDateTime Now();

    bool IsNull() const { return *this == BtDateTime(); }

    std::int32_t GetYear() const { return m_iYear; }
    std::int32_t GetMonth() const { return m_iMonth; } ///< 1 to 12
    std::int32_t GetDay() const { return m_iDay; }     ///< 1 to 31
    std::int32_t GetHour() const { return m_iHour; }
    std::int32_t GetMinute() const { return m_iMinute; }
    std::int32_t GetSecond() const { return m_iSecond; } ///< 0 to 59
    std::int32_t GetMillisecond() const { return m_iMillisecond; }

    /// Writes or reads seven integers in the order of the members. Seven that are no moment leave this one as it is.
    /// @return whether all was written or read and is a moment, or all zero
    bool Serialize(YmStream& stream);

    /// Years and months first, where a day that the month lacks becomes its last one, then days. The sum stays in the
    /// years 1 to 9999: beyond them it is their first or last millisecond. No moment stays none.
    BtDateTime operator+(const BtTimeInterval& interval) const;

    auto operator<=>(const BtDateTime&) const = default; // NOLINT(modernize-use-nullptr)

private:
    std::int32_t m_iYear = 0;
    std::int32_t m_iMonth = 0;
    std::int32_t m_iDay = 0;
    std::int32_t m_iHour = 0;
    std::int32_t m_iMinute = 0;
    std::int32_t m_iSecond = 0;
    std::int32_t m_iMillisecond = 0;
};
