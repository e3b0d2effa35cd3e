// Spans of time on the system's running clock.
#pragma once

#include <cstdint>

namespace LxCV {

/// A moment of `platform::Clock`'s tick counter, since an unknown one. Where there is no counter, time stands still
/// at 0. C's clock() would not do: on most systems it is the processor time of the process, which stands nearly
/// still while everything waits.
struct SRunningMoment
{
    std::int64_t iSeconds = 0;
    double dRestMs = 0.0; ///< less than 1000 either way

    static SRunningMoment Now();

    /// Whole ms, modulo 2^64.
    std::int64_t GetMs() const;

    /// Ms from then until now.
    double GetElapsedMs() const;
};

} // namespace LxCV
