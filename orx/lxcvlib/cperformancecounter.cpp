// Reading of the tick counter, and the list of stamps.
#include "cperformancecounter.h"

#include "orx/platform/clock.h"
#include "timetext.h"

#include <ostream>

namespace LxCV {

CPerformanceCounter::CPerformanceCounter()
{
    std::int64_t frequency = 0;
    if (platform::Clock::QueryFrequency(frequency) && frequency > 0) {
        m_iFrequency = frequency;
    }
    Restart();
}

bool CPerformanceCounter::Restart()
{
    const std::lock_guard lock(m_Mutex);
    const bool read = platform::Clock::QueryTicks(m_iStart);
    m_iLast = m_iStart;
    return read;
}

void CPerformanceCounter::AddTimestamp(BtString name)
{
    addTimestamp(name);
}

double CPerformanceCounter::GetTimestamp(BtString name)
{
    return getTimeStamp(name);
}

bool CPerformanceCounter::addTimestamp(const BtString& name)
{
    const std::lock_guard lock(m_Mutex);
    if (!platform::Clock::QueryTicks(m_iLast)) {
        return false;
    }
    m_Timestamps[name] = SecondsSinceStart(m_iLast);
    return true;
}

void CPerformanceCounter::addTimestampDiff(const BtString& name, const CPerformanceCounter& other)
{
    // One lock after the other: two counters that stamp each other cannot block.
    const std::int64_t start = other.GetStart();
    const std::lock_guard lock(m_Mutex);
    m_Timestamps[name] = SecondsSinceStart(start);
}

double CPerformanceCounter::getDiff(const CPerformanceCounter& other) const
{
    const std::int64_t start = other.GetStart();
    const std::lock_guard lock(m_Mutex);
    return SecondsSinceStart(start);
}

double CPerformanceCounter::getTimeStamp(const BtString& name) const
{
    const std::lock_guard lock(m_Mutex);
    const auto found = m_Timestamps.find(name);
    return found != m_Timestamps.end() ? found->second : 0.0;
}

bool CPerformanceCounter::hasTimeStamp(const BtString& name) const
{
    const std::lock_guard lock(m_Mutex);
    return m_Timestamps.contains(name);
}

void CPerformanceCounter::Trace(std::wostream& stream) const
{
    std::multimap<double, BtString> inOrder;
    {
        const std::lock_guard lock(m_Mutex);
        for (const auto& [name, seconds] : m_Timestamps) {
            inOrder.emplace(seconds, name);
        }
    }
    for (const auto& [seconds, name] : inOrder) {
        stream << FormatMilliseconds(seconds) << L'\t' << name << L'\n';
    }
}

/// m_Mutex is held. The product has 128 bits: in 64 it would overflow after nine seconds of nanosecond ticks.
double CPerformanceCounter::SecondsSinceStart(std::int64_t tick) const
{
    __extension__ using Wide = __int128;
    constexpr std::int64_t c_iNanosecondsPerSecond = 1'000'000'000;
    constexpr double c_dSecondsPerNanosecond = 1e-9;
    const Wide nanoseconds = (Wide{tick} - m_iStart) * c_iNanosecondsPerSecond / m_iFrequency;
    return static_cast<double>(nanoseconds) * c_dSecondsPerNanosecond;
}

std::int64_t CPerformanceCounter::GetStart() const
{
    const std::lock_guard lock(m_Mutex);
    return m_iStart;
}

void AddTimestamp(LxIPerformanceCounter* counter, const BtString& name)
{
    if (counter != nullptr) {
        counter->AddTimestamp(name);
    }
}

} // namespace LxCV
