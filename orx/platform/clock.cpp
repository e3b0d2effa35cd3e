// The system's clock, and the switch to another one.
#include "orx/platform/clock.h"

#include <atomic>
#include <cstdlib>
#include <ctime>
#include <shared_mutex>

namespace platform {

namespace {

constexpr std::int64_t c_iNanosecondsPerSecond = 1'000'000'000;

class SystemClock : public ClockSource
{
public:
    bool QueryTicks(std::int64_t& ticks) override
    {
        timespec now{};
        if (clock_gettime(CLOCK_MONOTONIC, &now) != 0) {
            return false;
        }
        ticks = static_cast<std::int64_t>(now.tv_sec) * c_iNanosecondsPerSecond + now.tv_nsec;
        return true;
    }

    bool QueryFrequency(std::int64_t& frequency) override
    {
        frequency = c_iNanosecondsPerSecond;
        return true;
    }

    std::chrono::system_clock::time_point Now() override { return std::chrono::system_clock::now(); }
};

/// The lock keeps an overriding source alive while another thread reads it; without an override nothing locks.
std::atomic<bool> s_overridden{false};
std::shared_mutex s_mutex;
ClockSource* s_source = nullptr;

template <typename Query>
auto Ask(Query query)
{
    if (s_overridden.load(std::memory_order_acquire)) {
        const std::shared_lock lock(s_mutex);
        if (s_source != nullptr) {
            return query(*s_source);
        }
    }
    SystemClock system;
    return query(system);
}

ClockSource* Exchange(ClockSource* source)
{
    const std::unique_lock lock(s_mutex);
    ClockSource* const previous = s_source;
    s_source = source;
    s_overridden.store(source != nullptr, std::memory_order_release);
    return previous;
}

/// Takes over the time zone that the environment names now. Where it names none, `tzset` looks at the system's file at
/// each call; once a second will do.
void UpdateZone()
{
    static std::atomic<std::time_t> s_lastLook{-1};
    if (std::getenv("TZ") != nullptr) {
        s_lastLook.store(-1, std::memory_order_relaxed);
        tzset();
        return;
    }
    const std::time_t now = std::time(nullptr);
    if (s_lastLook.exchange(now, std::memory_order_relaxed) != now) {
        tzset();
    }
}

} // namespace

bool Clock::QueryTicks(std::int64_t& ticks)
{
    return Ask([&ticks](ClockSource& source) { return source.QueryTicks(ticks); });
}

bool Clock::QueryFrequency(std::int64_t& frequency)
{
    return Ask([&frequency](ClockSource& source) { return source.QueryFrequency(frequency); });
}

std::chrono::system_clock::time_point Clock::Now()
{
    return Ask([](ClockSource& source) { return source.Now(); });
}

LocalTime Clock::GetLocalTime()
{
    return ToLocalTime(Now());
}

LocalTime Clock::ToLocalTime(std::chrono::system_clock::time_point moment)
{
    const auto second = std::chrono::floor<std::chrono::seconds>(moment);
    const std::time_t time = std::chrono::system_clock::to_time_t(second);
    const auto rest = std::chrono::duration_cast<std::chrono::milliseconds>(moment - second);
    UpdateZone();
    std::tm local{};
    localtime_r(&time, &local);
    constexpr int c_iFirstYear = 1900;
    return {local.tm_year + c_iFirstYear,
            local.tm_mon + 1,
            local.tm_mday,
            local.tm_hour,
            local.tm_min,
            local.tm_sec,
            static_cast<int>(rest.count()),
            local.tm_wday};
}

ScopedClock::ScopedClock(ClockSource& source) : m_previous(Exchange(&source)) {}

ScopedClock::~ScopedClock()
{
    Exchange(m_previous);
}

bool ManualClock::QueryTicks(std::int64_t& ticks)
{
    const std::lock_guard lock(m_mutex);
    if (m_ticksAvailable) {
        ticks = m_ticks;
    }
    return m_ticksAvailable;
}

bool ManualClock::QueryFrequency(std::int64_t& frequency)
{
    const std::lock_guard lock(m_mutex);
    if (m_frequencyAvailable) {
        frequency = m_frequency;
    }
    return m_frequencyAvailable;
}

std::chrono::system_clock::time_point ManualClock::Now()
{
    const std::lock_guard lock(m_mutex);
    return m_now;
}

void ManualClock::SetTicks(std::int64_t ticks)
{
    const std::lock_guard lock(m_mutex);
    m_ticks = ticks;
}

void ManualClock::SetFrequency(std::int64_t ticksPerSecond)
{
    const std::lock_guard lock(m_mutex);
    m_frequency = ticksPerSecond;
}

void ManualClock::SetNow(std::chrono::system_clock::time_point moment)
{
    const std::lock_guard lock(m_mutex);
    m_now = moment;
}

void ManualClock::Advance(std::chrono::nanoseconds duration)
{
    const std::lock_guard lock(m_mutex);
    const auto seconds = std::chrono::floor<std::chrono::seconds>(duration);
    const std::int64_t nanoseconds = (duration - seconds).count();
    m_ticks += seconds.count() * m_frequency + nanoseconds * m_frequency / c_iNanosecondsPerSecond;
    m_now += std::chrono::duration_cast<std::chrono::system_clock::duration>(duration);
}

void ManualClock::SetTicksAvailable(bool available)
{
    const std::lock_guard lock(m_mutex);
    m_ticksAvailable = available;
}

void ManualClock::SetFrequencyAvailable(bool available)
{
    const std::lock_guard lock(m_mutex);
    m_frequencyAvailable = available;
}

} // namespace platform
