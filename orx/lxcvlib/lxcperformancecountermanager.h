// All performance counters of a run, and their statistics.
#pragma once

#include "cperformancecounter.h"
#include "orx/base/export.h"
#include "orx/btservices/btcriticalsection.h"
#include "orx/btservices/btsingleton.h"

#include <atomic>
#include <fstream>
#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

namespace LxCV {

/// Owns the counters, one a measurement. The object is `BtSingleton<LxCPerformanceCounterManager>::Instance()`;
/// it is disabled at first. All operations may be called from any thread.
class ORX_EXPORT LxCPerformanceCounterManager
{
public:
    void Enable(bool enabled) { m_bEnabled = enabled; }

    /// A counter that starts now and lives until `Clear`; null when disabled.
    CPerformanceCounter* GetNewPerformanceCounter();

    /// Deletes all counters; pointers to them end here.
    void Clear();

    /// Writes the statistics to Trace\PerformanceCounter.txt beside the running program, in place of earlier
    /// ones. The folder is made where it is missing. Does nothing when disabled.
    /// @return false if the program's path has 260 characters or more, or the file cannot be written
    bool Trace();

    /// Writes the stamps of each counter, in the order of their making. Returns false for a stream without an
    /// open file.
    bool Trace(std::wofstream& stream);

    /// Writes how many measurements count, and for each stage of the pipeline how long it took.
    ///
    /// A stage's value is the time between its two stamps; for the first row it is the time from the counter's
    /// start to its stamp. A measurement may lack a stage.
    /// - A measurement is discarded ("Verworfen") if it has no value at all, or a stage of which one stamp is
    ///   missing or the end is before the start: it was broken off.
    /// - It is outside ("Ausserhalb") if one of its values lies more than three spreads from the mean of all
    ///   that are not discarded: something else held it up.
    /// - The others are used ("Verwendet"), and the rows show them alone.
    ///
    /// The spread is the root of the mean squared deviation from the mean. The text is the three counts, each as
    /// "label:\t<count>\n"; an empty line; a header; and a row "<stage>\t<values>\t<mean>\t<spread>\n" for each
    /// stage, in milliseconds, with "-" where a stage has no value.
    void CalculateAndTraceStatistics(std::wostream& stream);

    /// The file that `Trace()` writes for a program; empty if the program's path is empty or has 260 characters
    /// or more.
    static std::wstring GetTraceFileName(const std::wstring& programPath);

private:
    friend class BtSingleton<LxCPerformanceCounterManager>;

    LxCPerformanceCounterManager() = default;

    BtCriticalSection m_CriticalSection;
    std::vector<std::unique_ptr<CPerformanceCounter>> m_vCounters;
    std::atomic<bool> m_bEnabled{false};
};

} // namespace LxCV

extern template class BtSingleton<LxCV::LxCPerformanceCounterManager>;
