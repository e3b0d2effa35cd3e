// What the operating system tells about a thread and lets be set: id, name, priority, processors.
#pragma once

#include "orx/base/export.h"

#include <cstdint>
#include <string>

namespace platform {

/// The system's number of the calling thread, never 0. It is unique among the living threads of all
/// processes; the system may give it to a new thread when this one has ended.
ORX_EXPORT std::uint32_t GetCurrentThreadId();

/// Names the calling thread for debuggers and process lists, in UTF-8. The system keeps 15 bytes: a longer
/// name is cut after the last character that fits. Returns false if the system refuses.
ORX_EXPORT bool SetCurrentThreadName(const std::string& name);

/// The name that the system keeps for the calling thread; empty if it cannot be read.
ORX_EXPORT std::string GetCurrentThreadName();

/// Sets a thread's priority beside that of the process: -15 (runs when nothing else does), -2, -1, 0 (as the
/// process), 1, 2 or 15 (before all else). They are the nice values 19, 10, 5, 0, -5, -10 and -20, added to
/// the nice value of the process and bounded by -20 and 19.
/// @return false for any other number, for a thread that does not live, and where the system refuses, as it does for
///         a higher priority than the present one without the right to raise it
ORX_EXPORT bool SetThreadPriority(std::uint32_t threadId, int priority);

/// The processors that the process may run on: bit n for processor n, of the first 64. 0 if it cannot be
/// told.
ORX_EXPORT std::uint64_t GetProcessAffinityMask();

/// The same of one thread of this process. 0 if the thread does not live.
ORX_EXPORT std::uint64_t GetThreadAffinityMask(std::uint32_t threadId);

/// Lets a thread run on the processors of `mask` alone.
/// @return false for a mask without any processor of the machine, and for a thread that does not live
ORX_EXPORT bool SetThreadAffinityMask(std::uint32_t threadId, std::uint64_t mask);

} // namespace platform
