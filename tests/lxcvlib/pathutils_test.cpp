#include "pathutils.h"

#include "stringutils.h"
#include "tests/support/environment.h"
#include "tests/support/temporaryfolder.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <sys/wait.h>
#include <thread>

namespace LxCV {
namespace {

using TestSupport::CEnvironmentVariable;
using TestSupport::CTemporaryFolder;
using TestSupport::ReadFile;

using Clock = std::chrono::steady_clock;

constexpr const char* c_sProbeVariable = "LXCV_TEST_APP_PATH_PROBE";
constexpr std::uint32_t c_uiLongMs = 20000; // far beyond what any of the programs takes

std::int64_t MillisecondsSince(Clock::time_point begin)
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - begin).count();
}

/// Waits until the file has the content, for at most `c_uiLongMs`.
bool FileBecomes(const std::string& path, const std::string& content)
{
    for (const auto begin = Clock::now(); MillisecondsSince(begin) < c_uiLongMs;) {
        if (ReadFile(path) == content) {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return false;
}

/// Runs a shell that waits until `Open` and then ends with "done" in a file. It ends by itself far later.
class CGatedProcess
{
public:
    std::uint32_t Execute(std::uint32_t timeoutMs)
    {
        return ExecuteProcess("/bin/sh",
                              "sh -c \"i=0; while [ ! -e gate ] && [ $i -lt 400 ]; do sleep 0.05; "
                              "i=$((i + 1)); done; echo done > out\"",
                              m_Folder.GetPath().string(), timeoutMs);
    }

    /// Whether the process was still running now, and has ended after the gate was opened.
    bool RunsUntilOpen()
    {
        const bool wasRunning = ReadFile(m_Folder / "out").empty();
        TestSupport::WriteFile(m_Folder / "gate", "");
        return FileBecomes(m_Folder / "out", "done\n") && wasRunning;
    }

private:
    CTemporaryFolder m_Folder;
};

/// Runs this test program, copied to a path of `length` bytes, for the one test that is running now.
/// @return whether that test passed there
bool PassesInProgramPathOfLength(std::size_t length)
{
    const CTemporaryFolder folder;
    std::string path = folder.GetPath().string();
    while (path.size() + 1 < length) {
        path += "/" + std::string(std::min<std::size_t>(100, length - path.size() - 1), 'd');
    }
    EXPECT_EQ(path.size(), length);
    const std::filesystem::path program = std::filesystem::canonical("/proc/self/exe");
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::filesystem::copy_file(program, path);
    const CEnvironmentVariable probe(c_sProbeVariable, "1");
    const auto* const test = testing::UnitTest::GetInstance()->current_test_info();
    const std::string command =
        path + " --gtest_filter=" + test->test_suite_name() + "." + test->name() + " >/dev/null 2>&1";
    const int status = std::system(command.c_str()); // NOLINT: a path of this test
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

TEST(GetAppPath, IsTheFolderOfTheRunningProgram)
{
    const std::string expected = std::filesystem::canonical("/proc/self/exe").parent_path().string();
    EXPECT_EQ(GetAppPathA(), expected);
    EXPECT_EQ(GetAppPathW(), s2ws(expected));
}

TEST(GetAppPath, TakesAProgramPathOf259Characters)
{
    if (std::getenv(c_sProbeVariable) != nullptr) {
        EXPECT_EQ(GetAppPathW(), s2ws(GetAppPathA()));
        return;
    }
    EXPECT_TRUE(PassesInProgramPathOfLength(259));
}

TEST(GetAppPath, ThrowsForAProgramPathThatFillsTheBuffer)
{
    if (std::getenv(c_sProbeVariable) == nullptr) {
        EXPECT_TRUE(PassesInProgramPathOfLength(260));
        return;
    }
    for (const auto& call : {+[] { GetAppPathA(); }, +[] { GetAppPathW(); }, +[] { GetGlobalDataDirA(); },
                             +[] { GetGlobalDataDirW(); }}) {
        try {
            call();
            ADD_FAILURE() << "nothing was thrown";
        } catch (const std::exception& exception) {
            EXPECT_STREQ(exception.what(), "failed to determine the filename of the executable");
        }
    }
}

TEST(GetGlobalDataDir, AppendsGlobalToTheProgramsFolder)
{
    EXPECT_EQ(GetGlobalDataDirA(), GetAppPathA() + "\\global");
    EXPECT_EQ(GetGlobalDataDirW(), GetAppPathW() + L"\\global");
}

TEST(SetInstanceData, SetsBothForms)
{
    const std::string& narrow = GetInstanceDataDirA();
    const std::wstring& wide = GetInstanceDataDirW();
    SetInstanceData(std::string("C:\\data \xC3\xA4"));
    EXPECT_EQ(narrow, "C:\\data \xC3\xA4");
    EXPECT_EQ(wide, L"C:\\data \u00E4");
    SetInstanceData(std::wstring(L"/other \u20AC"));
    EXPECT_EQ(narrow, "/other \xE2\x82\xAC");
    EXPECT_EQ(wide, L"/other \u20AC");
    SetInstanceData("");
    EXPECT_EQ(wide, L"");
}

TEST(ExecuteProcess, GivesZeroForAProcessThatEndsInTimeWhateverItsExitCode)
{
    EXPECT_EQ(ExecuteProcess("/bin/true", "true", "", c_uiLongMs), 0U);
    EXPECT_EQ(ExecuteProcess("/bin/false", "false", "", c_uiLongMs), 0U);
    EXPECT_EQ(ExecuteProcess("/bin/sh", "sh -c \"kill -9 $$\"", "", c_uiLongMs), 0U);
}

TEST(ExecuteProcess, DoesNotWaitWithoutTimeout)
{
    CGatedProcess process;
    EXPECT_EQ(process.Execute(0), 0U);
    EXPECT_TRUE(process.RunsUntilOpen());
}

TEST(ExecuteProcess, Gives258AndLeavesTheProcessRunningAfterTheTimeout)
{
    CGatedProcess process;
    const auto begin = Clock::now();
    EXPECT_EQ(process.Execute(100), 258U);
    EXPECT_GE(MillisecondsSince(begin), 200); // one round
    EXPECT_TRUE(process.RunsUntilOpen());
    errno = 0;
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD); // no child is left, so no zombie
}

TEST(ExecuteProcess, WaitsOneRoundMoreThanATimeoutOfWholeRounds)
{
    CGatedProcess process;
    const auto begin = Clock::now();
    EXPECT_EQ(process.Execute(200), 258U);
    EXPECT_GE(MillisecondsSince(begin), 400);
    EXPECT_TRUE(process.RunsUntilOpen());
}

TEST(ExecuteProcess, GivesErrnoWhereTheProcessCannotStart)
{
    const CTemporaryFolder folder;
    TestSupport::WriteFile(folder / "text", "no program");
    for (const std::uint32_t timeout : {0U, 1000U}) {
        EXPECT_EQ(ExecuteProcess(folder / "absent", "absent", "", timeout), std::uint32_t{ENOENT});
        EXPECT_EQ(ExecuteProcess(folder / "text", "text", "", timeout), std::uint32_t{EACCES});
        EXPECT_EQ(ExecuteProcess("/bin/true", "true", folder / "absent", timeout), std::uint32_t{ENOENT});
        EXPECT_EQ(ExecuteProcess("", "", "", timeout), std::uint32_t{ENOENT});
    }
}

TEST(ExecuteProcess, GivesTheProgramAllArgumentsOfTheCommandLine)
{
    const CTemporaryFolder folder;
    const std::string command = "name -c \"printf '%s|' \\\"$0\\\" \\\"$@\\\" > out\" \"a b\" c\\d";
    EXPECT_EQ(ExecuteProcess("/bin/sh", command, folder.GetPath().string(), c_uiLongMs), 0U);
    EXPECT_EQ(ReadFile(folder / "out"), "a b|c\\d|");
}

TEST(ExecuteProcess, GivesTheProgramItsPathWithoutCommandLine)
{
    const CTemporaryFolder folder;
    TestSupport::WriteFile(folder / "script", "#!/bin/sh\necho $# > out\n");
    std::filesystem::permissions(folder / "script", std::filesystem::perms::owner_all);
    EXPECT_EQ(ExecuteProcess(folder / "script", "", folder.GetPath().string(), c_uiLongMs), 0U);
    EXPECT_EQ(ReadFile(folder / "out"), "0\n");
}

TEST(ExecuteProcess, TakesWideTexts)
{
    const CTemporaryFolder folder;
    const std::wstring sub = s2ws(folder.GetPath().string()) + L"\\\u00E4";
    std::filesystem::create_directory(folder / "\xC3\xA4");
    EXPECT_EQ(ExecuteProcess(L"/bin/sh", L"sh -c \"echo \u20AC > out\"", sub, c_uiLongMs), 0U);
    EXPECT_EQ(ReadFile(folder / "\xC3\xA4/out"), "\xE2\x82\xAC\n");
    EXPECT_EQ(ExecuteProcess(L"/nonexistent/program", L"", L"", 0), std::uint32_t{ENOENT});
}

} // namespace
} // namespace LxCV
