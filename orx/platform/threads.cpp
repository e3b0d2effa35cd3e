// Linux gives each thread a number, a nice value and a set of processors of its own.
#include "orx/platform/threads.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <optional>
#include <pthread.h>
#include <sched.h>
#include <sys/resource.h>
#include <unistd.h>

namespace platform {

namespace {

constexpr std::size_t c_uiNameBytes = 16; // with the terminating 0
constexpr int c_iMaskBits = 64;

std::optional<int> NiceOf(int priority)
{
    switch (priority) {
    case -15:
        return 19;
    case -2:
        return 10;
    case -1:
        return 5;
    case 0:
        return 0;
    case 1:
        return -5;
    case 2:
        return -10;
    case 15:
        return -20;
    default:
        return std::nullopt;
    }
}

bool IsContinuationByte(char byte)
{
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

std::uint64_t AffinityMaskOf(pid_t threadId)
{
    cpu_set_t processors;
    CPU_ZERO(&processors);
    if (sched_getaffinity(threadId, sizeof(processors), &processors) != 0) {
        return 0;
    }
    std::uint64_t mask = 0;
    for (int bit = 0; bit < c_iMaskBits; ++bit) {
        mask |= static_cast<std::uint64_t>(CPU_ISSET(bit, &processors) ? 1 : 0) << bit;
    }
    return mask;
}

} // namespace

std::uint32_t GetCurrentThreadId()
{
    return static_cast<std::uint32_t>(gettid());
}

bool SetCurrentThreadName(const std::string& name)
{
    const std::string text = name.substr(0, name.find('\0'));
    std::size_t length = std::min(text.size(), c_uiNameBytes - 1);
    while (length > 0 && length < text.size() && IsContinuationByte(text[length])) {
        --length;
    }
    return pthread_setname_np(pthread_self(), text.substr(0, length).c_str()) == 0;
}

std::string GetCurrentThreadName()
{
    std::array<char, c_uiNameBytes> name{};
    const bool known = pthread_getname_np(pthread_self(), name.data(), name.size()) == 0;
    return known ? name.data() : "";
}

bool SetThreadPriority(std::uint32_t threadId, int priority)
{
    const std::optional<int> nice = NiceOf(priority);
    if (!nice || threadId == 0) {
        return false;
    }
    errno = 0;
    const int ofProcess = getpriority(PRIO_PROCESS, static_cast<id_t>(getpid()));
    if (ofProcess == -1 && errno != 0) {
        return false;
    }
    return setpriority(PRIO_PROCESS, threadId, std::clamp(ofProcess + *nice, -20, 19)) == 0;
}

std::uint64_t GetProcessAffinityMask()
{
    return AffinityMaskOf(getpid());
}

std::uint64_t GetThreadAffinityMask(std::uint32_t threadId)
{
    return threadId == 0 ? 0 : AffinityMaskOf(static_cast<pid_t>(threadId));
}

bool SetThreadAffinityMask(std::uint32_t threadId, std::uint64_t mask)
{
    if (threadId == 0) {
        return false;
    }
    cpu_set_t processors;
    CPU_ZERO(&processors);
    for (int bit = 0; bit < c_iMaskBits; ++bit) {
        if ((mask >> bit & 1U) != 0) {
            CPU_SET(bit, &processors);
        }
    }
    return sched_setaffinity(static_cast<pid_t>(threadId), sizeof(processors), &processors) == 0;
}

} // namespace platform
