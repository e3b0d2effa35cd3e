#include "orx/gpgpu/csession.h"

#include "tests/support/computecontext.h"
#include "tests/support/watchdog.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <optional>
#include <thread>

namespace GPGPU {
namespace {

/// A session that never begins or never ends would hang its test.
class Session : public TestSupport::CEachTechnology
{
    const TestSupport::CWatchdog m_Watchdog;
};

INSTANTIATE_TEST_SUITE_P(On, Session, TestSupport::c_allTechnologies, TestSupport::NameOfTechnology);

TEST_P(Session, KeepsOthersOffUntilItEnds)
{
    const auto context = CreateContext();
    CSession first(context, CSession::sc_iNoTimeout);
    EXPECT_TRUE(first.IsActive());
    CSession second(context, 0);
    EXPECT_FALSE(second.IsActive());
    EXPECT_FALSE(second.Begin(0));
    first.End();
    EXPECT_FALSE(first.IsActive());
    EXPECT_TRUE(second.Begin(0));
    EXPECT_FALSE(first.Begin(0));
}

TEST_P(Session, EndsWithItsObject)
{
    const auto context = CreateContext();
    {
        const CSession first(context, 0);
    }
    EXPECT_TRUE(CSession(context, 0).IsActive());
}

TEST_P(Session, OfTwoContextsDoNotMeet)
{
    const CSession first(CreateContext(), 0);
    const CSession second(CreateContext(), 0);
    EXPECT_TRUE(first.IsActive());
    EXPECT_TRUE(second.IsActive());
}

TEST_P(Session, MayEndOnAnotherThread)
{
    const auto context = CreateContext();
    std::optional<CSession> first;
    first.emplace(context, 0);
    std::thread([&first] { first.reset(); }).join();
    EXPECT_TRUE(CSession(context, 0).IsActive());
}

TEST_P(Session, BeginsAsSoonAsTheOtherEnds)
{
    const auto context = CreateContext();
    CSession first(context, 0);
    std::atomic<bool> ended{false};
    std::thread waiting([&context, &ended] {
        const CSession second(context, CSession::sc_iNoTimeout);
        EXPECT_TRUE(second.IsActive());
        EXPECT_TRUE(ended);
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    ended = true;
    first.End();
    waiting.join();
}

TEST_P(Session, IsExclusiveAmongManyThreads)
{
    const auto context = CreateContext();
    int unguarded = 0; // the thread sanitizer tells if two sessions overlap
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&context, &unguarded] {
            for (int i = 0; i < 200; ++i) {
                const CSession session(context, CSession::sc_iNoTimeout);
                ++unguarded;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(unguarded, 800);
}

TEST_P(Session, WaitsNoLongerThanItsTimeLimit)
{
    const auto context = CreateContext();
    const CSession first(context, 0);
    const auto start = std::chrono::steady_clock::now();
    CSession second(context, 30);
    EXPECT_FALSE(second.IsActive());
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(30));
}

TEST_P(Session, SecondBeginAndSecondEndChangeNothing)
{
    const auto context = CreateContext();
    CSession first(context, 0);
    EXPECT_TRUE(first.Begin(0));
    first.End();
    CSession second(context, 0);
    first.End();
    EXPECT_FALSE(first.Begin(0)) << "the second one still holds the context";
}

TEST(SessionWithoutAContext, NeverBegins)
{
    CSession session(nullptr, CSession::sc_iNoTimeout);
    EXPECT_FALSE(session.IsActive());
    EXPECT_FALSE(session.Begin(0));
    session.End();
}

} // namespace
} // namespace GPGPU
