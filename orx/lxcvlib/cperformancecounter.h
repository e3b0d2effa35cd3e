// Named time stamps of one measurement.
#pragma once

#include "lxiperformancecounter.h"
#include "orx/base/export.h"

#include <cstdint>
#include <iosfwd>
#include <map>
#include <mutex>

namespace LxCV {

/// Maps names to times since the counter's start, in seconds. Times come from the tick counter of
/// `platform::Clock`: whole nanoseconds, rounded towards 0. All operations may be called from any thread.
class ORX_EXPORT CPerformanceCounter final : public LxIPerformanceCounter
{
public:
    /// Starts now.
    CPerformanceCounter();
    ~CPerformanceCounter() = default;
    CPerformanceCounter(const CPerformanceCounter&) = delete;
    CPerformanceCounter& operator=(const CPerformanceCounter&) = delete;

    /// Starts anew; the stamps stay. Returns whether the tick counter could be read.
    bool Restart();

    void AddTimestamp(BtString name) override;
    double GetTimestamp(BtString name) override;

    /// Stamps `name` with the time since the start. Returns false, without a stamp, where the tick counter
    /// cannot be read.
    bool addTimestamp(const BtString& name);

    /// Stamps `name` with `getDiff(other)`.
    void addTimestampDiff(const BtString& name, const CPerformanceCounter& other);

    /// From this counter's start to the start of `other`, in seconds; negative if `other` started first.
    double getDiff(const CPerformanceCounter& other) const;

    /// The stamp in seconds; 0 for a name that was never stamped.
    double getTimeStamp(const BtString& name) const;

    bool hasTimeStamp(const BtString& name) const;

    /// Writes a line "<milliseconds>\t<name>" for each stamp, in order of time, then of name. Milliseconds have
    /// three decimals. A name beyond ASCII needs a stream whose locale can write it.
    void Trace(std::wostream& stream) const;

private:
    double SecondsSinceStart(std::int64_t tick) const;
    std::int64_t GetStart() const;

    mutable std::mutex m_Mutex;
    std::int64_t m_iStart = 0;     ///< ticks
    std::int64_t m_iLast = 0;      ///< ticks, of the latest stamp
    std::int64_t m_iFrequency = 1; ///< ticks per second, above 0
    std::map<BtString, double> m_Timestamps;
};

/// Stamps `name` on a counter; nothing without one.
ORX_EXPORT void AddTimestamp(LxIPerformanceCounter* counter, const BtString& name);

} // namespace LxCV
