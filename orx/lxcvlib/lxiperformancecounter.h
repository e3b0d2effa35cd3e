// What a stage needs of a performance counter.
#pragma once

#include "orx/btservices/btstring.h"

namespace LxCV {

/// Stamps named moments. The order of the virtual operations is part of the binary interface between modules;
/// nobody destroys a counter through it.
class LxIPerformanceCounter
{
public:
    /// Notes the time since the counter's start under `name`, in place of an earlier stamp of that name.
    virtual void AddTimestamp(BtString name) = 0;

    /// The stamp's time since the counter's start, in seconds; 0 for a name that was never stamped.
    virtual double GetTimestamp(BtString name) = 0;

protected:
    ~LxIPerformanceCounter() = default;
};

} // namespace LxCV
