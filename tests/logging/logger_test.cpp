#include "orx/logging/logger.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <thread>

namespace Logging {
namespace {

const CLogger s_Logger(L"ORX.Lumorad.Test");

template <typename... Args>
std::wstring Logged(const wchar_t* format, const Args&... args)
{
    const CCapture capture;
    s_Logger.Info(format, args...);
    return capture.GetRecords().at(0).text;
}

TEST(CLogger, FormatsNarrowAndWideTextByTheSameConversion)
{
    EXPECT_EQ(Logged(L"'%s' '%s' '%s' '%s'", std::string("a\xC3\xA4"), std::wstring(L"b"), "c", L"d"),
              L"'a\u00E4' 'b' 'c' 'd'");
}

TEST(CLogger, FormatsNumbersAsPrintfDoes)
{
    EXPECT_EQ(Logged(L"%i %d %u", -1, 7, 8U), L"-1 7 8");
    EXPECT_EQ(Logged(L"%08x %u", -2, -1), L"fffffffe 4294967295");
    EXPECT_EQ(Logged(L"%lld %llu", std::numeric_limits<std::int64_t>::min(), ~std::uint64_t{0}),
              L"-9223372036854775808 18446744073709551615");
    EXPECT_EQ(Logged(L"%.3f %5.1f %g", 1.0f / 3.0f, 2.25, 1e30), L"0.333   2.2 1e+30");
    EXPECT_EQ(Logged(L"%i %i %c %%", true, ELevel::eError, L'x'), L"1 3 x %");
}

TEST(CLogger, PrintsNullTextsAsSuch)
{
    EXPECT_EQ(Logged(L"%s %s", static_cast<const char*>(nullptr), static_cast<const wchar_t*>(nullptr)),
              L"(null) (null)");
}

TEST(CLogger, LogsTheFormatWhereArgumentsDoNotFit)
{
    EXPECT_EQ(Logged(L"%i of %i", 1), L"%i of %i");
    EXPECT_EQ(Logged(L"%i", "text"), L"%i");
    EXPECT_EQ(Logged(L"%q", 1), L"%q");
    EXPECT_EQ(Logged(L"ends in %", 1), L"ends in %");
}

TEST(CLogger, CapturesLevelChannelAndText)
{
    const CCapture capture;
    s_Logger.Debug(L"d");
    s_Logger.Info(L"i");
    s_Logger.Warning(L"w");
    s_Logger.Error(L"e\n");
    EXPECT_EQ(capture.GetRecords().size(), 4U);
    EXPECT_EQ(capture.Count(ELevel::eDebug, L"ORX.Lumorad.Test", L"d"), 1);
    EXPECT_EQ(capture.Count(ELevel::eInfo, L"ORX.Lumorad.Test", L"i"), 1);
    EXPECT_EQ(capture.Count(ELevel::eWarning, L"ORX.Lumorad.Test", L"w"), 1);
    EXPECT_EQ(capture.Count(ELevel::eError, L"ORX.Lumorad.Test", L"e\n"), 1);
    EXPECT_EQ(capture.Count(ELevel::eError, L"ORX.Lumorad.Other", L"e\n"), 0);
}

TEST(CCapture, InnermostOneGetsTheMessage)
{
    CCapture outer;
    s_Logger.Info(L"before");
    {
        const CCapture inner;
        s_Logger.Info(L"inside");
        EXPECT_EQ(inner.GetRecords().size(), 1U);
    }
    s_Logger.Info(L"after");
    ASSERT_EQ(outer.GetRecords().size(), 2U);
    EXPECT_EQ(outer.GetRecords()[1].text, L"after");
    outer.Clear();
    EXPECT_TRUE(outer.GetRecords().empty());
}

TEST(CCapture, CollectsFromManyThreads)
{
    const CCapture capture;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([] {
            for (int i = 0; i < 250; ++i) {
                s_Logger.Info(L"%i", i);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(capture.GetRecords().size(), 1000U);
    EXPECT_EQ(capture.Count(ELevel::eInfo, L"ORX.Lumorad.Test", L"249"), 4);
}

} // namespace
} // namespace Logging
