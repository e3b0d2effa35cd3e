// A time limit for a test that would otherwise hang.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>
#include <thread>

namespace TestSupport {

/// Ends the process with a message that names the running test, unless it is destroyed within the limit.
class CWatchdog
{
public:
    explicit CWatchdog(std::chrono::seconds limit = std::chrono::seconds(20))
        : m_sTest(NameOfTest()), m_Thread([this, limit] { Watch(limit); })
    {}
    ~CWatchdog()
    {
        {
            const std::lock_guard lock(m_Mutex);
            m_bDone = true;
            m_Changed.notify_all();
        }
        m_Thread.join();
    }
    CWatchdog(const CWatchdog&) = delete;
    CWatchdog& operator=(const CWatchdog&) = delete;

private:
    static std::string NameOfTest()
    {
        const testing::TestInfo* const test = testing::UnitTest::GetInstance()->current_test_info();
        return test != nullptr ? std::string(test->test_suite_name()) + "." + test->name() : "a test";
    }

    void Watch(std::chrono::seconds limit)
    {
        std::unique_lock lock(m_Mutex);
        if (!m_Changed.wait_for(lock, limit, [this] { return m_bDone; })) {
            std::fprintf(stderr, "%s hangs: not done after %lld s\n", m_sTest.c_str(),
                         static_cast<long long>(limit.count()));
            std::_Exit(EXIT_FAILURE);
        }
    }

    std::mutex m_Mutex;
    std::condition_variable m_Changed;
    bool m_bDone = false;
    std::string m_sTest;
    std::thread m_Thread;
};

/// Looks every millisecond until `condition` holds. @return false if it did not come to that in ten seconds
template <typename Condition>
bool ComesTrue(Condition condition)
{
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > limit) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

} // namespace TestSupport
