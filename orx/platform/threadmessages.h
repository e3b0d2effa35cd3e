// Messages from one thread to another, addressed by thread id.
#pragma once

#include "orx/base/export.h"

#include <cstddef>
#include <cstdint>

namespace platform {

/// What one thread tells another; the two parameters mean what sender and receiver agree on.
struct ThreadMessage
{
    std::uint32_t id = 0;
    std::uint64_t firstParameter = 0;
    std::int64_t secondParameter = 0;
};

/// The queues of messages, one a thread that reads. A thread's queue begins with `Open`, or with its first
/// `Read`, and ends with the thread, together with what was not read; a later thread that the system gives
/// the same id starts without one. All operations may be called from any thread.
class ORX_EXPORT ThreadMessages
{
public:
    static constexpr std::size_t c_uiLimit = 10000; ///< unread messages of one thread

    /// A time limit, in ms, that means none; so does every larger one.
    static constexpr unsigned long c_ulInfinite = 0xFFFFFFFF;

    /// Begins the calling thread's queue, so that others can post before its first `Read`. Does nothing where
    /// it has begun.
    static void Open();

    /// Puts a message at the end of a thread's queue.
    /// @return false, with nothing posted, for a thread without a queue (id 0 never has one) and for a full
    ///         queue
    static bool Post(std::uint32_t threadId, const ThreadMessage& message);

    /// Takes the oldest message of the calling thread, and waits for one at most `timeoutMs`.
    /// @return false, with `message` unchanged, if none came
    static bool Read(ThreadMessage& message, unsigned long timeoutMs);
};

} // namespace platform
