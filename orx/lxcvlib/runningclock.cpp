// Moments of the tick counter, in parts that keep their precision.
#include "runningclock.h"

#include "orx/platform/clock.h"

namespace LxCV {

namespace {

constexpr std::uint64_t c_uiMsPerSecond = 1000;

} // namespace

SRunningMoment SRunningMoment::Now()
{
    std::int64_t ticks = 0;
    std::int64_t frequency = 0;
    if (!platform::Clock::QueryTicks(ticks) || !platform::Clock::QueryFrequency(frequency) ||
        frequency <= 0) {
        return {};
    }
    return {ticks / frequency,
            static_cast<double>(ticks % frequency) * c_uiMsPerSecond / static_cast<double>(frequency)};
}

std::int64_t SRunningMoment::GetMs() const
{
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(iSeconds) * c_uiMsPerSecond +
                                     static_cast<std::uint64_t>(static_cast<std::int64_t>(dRestMs)));
}

double SRunningMoment::GetElapsedMs() const
{
    const SRunningMoment now = Now();
    const double seconds = static_cast<double>(now.iSeconds) - static_cast<double>(iSeconds);
    return seconds * c_uiMsPerSecond + (now.dRestMs - dRestMs);
}

} // namespace LxCV
