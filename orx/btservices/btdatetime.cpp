// Calendar arithmetic and the words of a moment in a stream.
#include "orx/btservices/btdatetime.h"

#include "orx/btservices/ymstream.h"
#include "orx/platform/clock.h"

#include <algorithm>
#include <chrono>

namespace {

constexpr std::int64_t c_iFirstYear = 1;
constexpr std::int64_t c_iLastYear = 9999;
constexpr std::int64_t c_iMonthsOfYear = 12;

constexpr bool IsWithin(std::int64_t value, std::int64_t least, std::int64_t greatest)
{
    return value >= least && value <= greatest;
}

std::chrono::year_month MonthOf(std::int64_t year, std::int64_t month)
{
    return std::chrono::year(static_cast<int>(year)) / std::chrono::month(static_cast<unsigned>(month));
}

std::int32_t DaysOf(std::int64_t year, std::int64_t month)
{
    const unsigned last = static_cast<unsigned>((MonthOf(year, month) / std::chrono::last).day());
    return static_cast<std::int32_t>(last);
}

bool IsMoment(std::int32_t year, std::int32_t month, std::int32_t day, std::int32_t hour, std::int32_t minute,
              std::int32_t second, std::int32_t millisecond)
{
    return IsWithin(year, c_iFirstYear, c_iLastYear) && IsWithin(month, 1, c_iMonthsOfYear) &&
           IsWithin(day, 1, DaysOf(year, month)) && IsWithin(hour, 0, 23) && IsWithin(minute, 0, 59) &&
           IsWithin(second, 0, 59) && IsWithin(millisecond, 0, 999);
}

} // namespace

BtDateTime::BtDateTime(std::int32_t year, std::int32_t month, std::int32_t day, std::int32_t hour,
                       std::int32_t minute, std::int32_t second, std::int32_t millisecond)
{
    if (IsMoment(year, month, day, hour, minute, second, millisecond)) {
        m_iYear = year;
        m_iMonth = month;
        m_iDay = day;
        m_iHour = hour;
        m_iMinute = minute;
        m_iSecond = second;
        m_iMillisecond = millisecond;
    }
}

BtDateTime BtDateTime::Now()
{
    using namespace std::chrono;
    const auto now = floor<milliseconds>(platform::Clock::Now());
    const auto day = floor<days>(now);
    const year_month_day date(day);
    const hh_mm_ss time(now - day);
    return BtDateTime(
        static_cast<int>(date.year()), static_cast<std::int32_t>(static_cast<unsigned>(date.month())),
        static_cast<std::int32_t>(static_cast<unsigned>(date.day())),
        static_cast<std::int32_t>(time.hours().count()), static_cast<std::int32_t>(time.minutes().count()),
        static_cast<std::int32_t>(time.seconds().count()),
        static_cast<std::int32_t>(time.subseconds().count()));
}

bool BtDateTime::Serialize(YmStream& stream)
{
    BtDateTime other = *this;
    for (std::int32_t* field : {&other.m_iYear, &other.m_iMonth, &other.m_iDay, &other.m_iHour,
                                &other.m_iMinute, &other.m_iSecond, &other.m_iMillisecond}) {
        if (!stream.Serialize(*field)) {
            return false;
        }
    }
    const bool moment = IsMoment(other.m_iYear, other.m_iMonth, other.m_iDay, other.m_iHour, other.m_iMinute,
                                 other.m_iSecond, other.m_iMillisecond);
    if (!moment && !other.IsNull()) {
        return false;
    }
    *this = other;
    return true;
}

BtDateTime BtDateTime::operator+(const BtTimeInterval& interval) const
{
    static const BtDateTime first(1, 1, 1);
    static const BtDateTime last(9999, 12, 31, 23, 59, 59, 999);
    if (IsNull()) {
        return *this;
    }
    const std::int64_t months =
        (std::int64_t{m_iYear} + interval.GetYears()) * c_iMonthsOfYear + m_iMonth - 1 + interval.GetMonths();
    // The calendar repeats every 400 years, so that any number of months finds its day without bounds.
    constexpr std::int64_t c_iMonthsOfCycle = 400 * c_iMonthsOfYear;
    constexpr std::int64_t c_iDaysOfCycle = 146'097;
    const std::int64_t inCycle = ((months % c_iMonthsOfCycle) + c_iMonthsOfCycle) % c_iMonthsOfCycle;
    const std::int64_t cycles = (months - inCycle) / c_iMonthsOfCycle;
    const std::int64_t year = inCycle / c_iMonthsOfYear;
    const std::int64_t month = inCycle % c_iMonthsOfYear + 1;
    const std::int32_t day = std::min(m_iDay, DaysOf(year, month));
    const std::chrono::sys_days start = MonthOf(year, month) / std::chrono::day(static_cast<unsigned>(day));
    const std::int64_t total =
        std::int64_t{start.time_since_epoch().count()} + cycles * c_iDaysOfCycle + interval.GetDays();
    constexpr std::chrono::sys_days c_Begin = std::chrono::year(1) / 1 / 1;
    constexpr std::chrono::sys_days c_End = std::chrono::year(9999) / 12 / 31;
    if (total < c_Begin.time_since_epoch().count()) {
        return first;
    }
    if (total > c_End.time_since_epoch().count()) {
        return last;
    }
    const std::chrono::year_month_day date(
        std::chrono::sys_days(std::chrono::days(static_cast<std::chrono::days::rep>(total))));
    BtDateTime sum = *this;
    sum.m_iYear = static_cast<int>(date.year());
    sum.m_iMonth = static_cast<std::int32_t>(static_cast<unsigned>(date.month()));
    sum.m_iDay = static_cast<std::int32_t>(static_cast<unsigned>(date.day()));
    return sum;
}
