#include "scanner/app/progress.h"

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <cstdlib>
#include <fcntl.h>
#include <stdexcept>
#include <string>
#include <thread>
#include <unistd.h>

namespace app {
namespace {

/// Leads the standard error stream to another file while it lives.
class RedirectedError
{
public:
    explicit RedirectedError(int target) : m_saved(dup(STDERR_FILENO)) { dup2(target, STDERR_FILENO); }
    ~RedirectedError()
    {
        dup2(m_saved, STDERR_FILENO);
        close(m_saved);
    }
    RedirectedError(const RedirectedError&) = delete;
    RedirectedError& operator=(const RedirectedError&) = delete;

private:
    int m_saved;
};

/// Reads what was written to the other, closed end of `file`.
std::string ReadToEnd(int file)
{
    std::string text;
    std::array<char, 256> buffer{};
    for (ssize_t size = 0; (size = read(file, buffer.data(), buffer.size())) > 0;) {
        text.append(buffer.data(), static_cast<std::size_t>(size));
    }
    return text;
}

TEST(Progress, KeepsNameAndTimeOfEachStageInOrder)
{
    constexpr std::chrono::milliseconds kWork(20);
    Progress progress(2);
    int runs = 0;
    progress.Run("first", [&] {
        std::this_thread::sleep_for(kWork);
        ++runs;
    });
    progress.Run("second", [&] { ++runs; });
    EXPECT_EQ(runs, 2);
    ASSERT_EQ(progress.GetTimes().size(), 2U);
    EXPECT_EQ(progress.GetTimes()[0].first, "first");
    EXPECT_GE(progress.GetTimes()[0].second, 20.0);
    EXPECT_EQ(progress.GetTimes()[1].first, "second");
    EXPECT_GE(progress.GetTimes()[1].second, 0.0);
}

TEST(Progress, KeepsNoTimeOfAStageThatThrows)
{
    Progress progress(1);
    EXPECT_THROW(progress.Run("work", [] { throw std::runtime_error("no"); }), std::runtime_error);
    EXPECT_TRUE(progress.GetTimes().empty());
}

TEST(Progress, WritesNothingWhereThereIsNoTerminal)
{
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    {
        const RedirectedError redirected(ends[1]);
        Progress progress(2);
        progress.Run("work", [] {});
    }
    close(ends[1]);
    EXPECT_EQ(ReadToEnd(ends[0]), "");
    close(ends[0]);
}

TEST(Progress, DrawsABarOnATerminalAndRemovesItAtTheEnd)
{
    const int master = posix_openpt(O_RDWR | O_NOCTTY);
    if (master < 0 || grantpt(master) != 0 || unlockpt(master) != 0) {
        GTEST_SKIP() << "this system lends no pseudo-terminal";
    }
    const int terminal = open(ptsname(master), O_RDWR | O_NOCTTY);
    ASSERT_GE(terminal, 0);
    {
        const RedirectedError redirected(terminal);
        Progress progress(2); // one stage more runs than is told: the bar stays full
        for (const char* stage : {"one", "two", "three"}) {
            progress.Run(stage, [] {});
        }
    }
    close(terminal);
    const std::string erase = "\r\033[K";
    EXPECT_EQ(ReadToEnd(master), erase + '[' + std::string(24, ' ') + "] one" + erase + '[' +
                                     std::string(12, '#') + std::string(12, ' ') + "] two" + erase + '[' +
                                     std::string(24, '#') + "] three" + erase);
    close(master);
}

TEST(Progress, TakesAnyNumberOfStages)
{
    for (const int stages : {0, -3}) {
        Progress progress(stages);
        progress.Run("work", [] {});
        EXPECT_EQ(progress.GetTimes().size(), 1U);
    }
}

} // namespace
} // namespace app
