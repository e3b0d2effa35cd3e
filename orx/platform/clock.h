// The one source of time: a tick counter, the date and the local calendar, all of which a test can set.
#pragma once

#include "orx/base/export.h"

#include <chrono>
#include <cstdint>
#include <mutex>

namespace platform {

/// A moment in the local time zone.
struct LocalTime
{
    int year;        ///< four digits, such as 2015
    int month;       ///< 1 to 12
    int day;         ///< 1 to 31
    int hour;        ///< 0 to 23
    int minute;      ///< 0 to 59
    int second;      ///< 0 to 60
    int millisecond; ///< 0 to 999
    int dayOfWeek;   ///< 0 for Sunday to 6
};

/// Where time comes from. The operations may be called from any thread.
class ORX_EXPORT ClockSource
{
public:
    virtual ~ClockSource() = default;

    /// Reads the tick counter, which never runs backwards. Returns false, with `ticks` unchanged, where there
    /// is none.
    virtual bool QueryTicks(std::int64_t& ticks) = 0;

    /// Reads the ticks per second. Returns false, with `frequency` unchanged, where it is not known.
    virtual bool QueryFrequency(std::int64_t& frequency) = 0;

    /// The date, in UTC, which a user may set back.
    virtual std::chrono::system_clock::time_point Now() = 0;
};

/// Time for the whole process. It is the operating system's, unless a `ScopedClock` lives. All operations may
/// be called from any thread.
class ORX_EXPORT Clock
{
public:
    /// See `ClockSource::QueryTicks`. The system's counter counts nanoseconds.
    static bool QueryTicks(std::int64_t& ticks);

    /// See `ClockSource::QueryFrequency`.
    static bool QueryFrequency(std::int64_t& frequency);

    static std::chrono::system_clock::time_point Now();

    /// `Now()` in the time zone of the process, which the environment variable TZ names.
    static LocalTime GetLocalTime();

    /// Any moment in the time zone of the process.
    static LocalTime ToLocalTime(std::chrono::system_clock::time_point moment);
};

/// While it lives, the process takes its time from `source`, which must outlive this object. Scoped clocks
/// nest: they end in the reverse order of their making.
class ORX_EXPORT ScopedClock
{
public:
    explicit ScopedClock(ClockSource& source);
    ~ScopedClock();
    ScopedClock(const ScopedClock&) = delete;
    ScopedClock& operator=(const ScopedClock&) = delete;

private:
    ClockSource* m_previous;
};

/// A clock that stands still until it is set.
class ORX_EXPORT ManualClock : public ClockSource
{
public:
    bool QueryTicks(std::int64_t& ticks) override;
    bool QueryFrequency(std::int64_t& frequency) override;
    std::chrono::system_clock::time_point Now() override;

    void SetTicks(std::int64_t ticks);
    void SetFrequency(std::int64_t ticksPerSecond);
    void SetNow(std::chrono::system_clock::time_point moment);

    /// Moves the date on, and the tick counter by the same time at the present frequency.
    void Advance(std::chrono::nanoseconds duration);

    /// Whether the counter and its frequency can be read; both can at first.
    void SetTicksAvailable(bool available);
    void SetFrequencyAvailable(bool available);

private:
    std::mutex m_mutex;
    std::int64_t m_ticks = 0;
    std::int64_t m_frequency = 1'000'000'000; ///< ticks per second
    std::chrono::system_clock::time_point m_now{};
    bool m_ticksAvailable = true;
    bool m_frequencyAvailable = true;
};

} // namespace platform
