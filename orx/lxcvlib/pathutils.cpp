// Program and instance folders, and helper processes with a polled timeout.
#include "pathutils.h"

#include "orx/platform/paths.h"
#include "orx/platform/process.h"
#include "stringutils.h"

#include <stdexcept>
#include <string_view>

namespace LxCV {

namespace {

constexpr std::size_t c_uiPathBufferSize = 260; // characters, with the terminating one
constexpr int c_iPollIntervalMs = 200;

std::string s_sInstanceDataDir;
std::wstring s_wsInstanceDataDir;

template <typename Char>
std::basic_string<Char> FolderOfProgram(const std::basic_string<Char>& program)
{
    if (program.empty() || program.size() >= c_uiPathBufferSize) {
        throw std::runtime_error("failed to determine the filename of the executable");
    }
    return std::basic_string<Char>(platform::FolderOf(std::basic_string_view<Char>(program)));
}

} // namespace

std::string GetAppPathA()
{
    return FolderOfProgram(platform::GetExecutablePath());
}

std::wstring GetAppPathW()
{
    return FolderOfProgram(s2ws(platform::GetExecutablePath()));
}

std::string GetGlobalDataDirA()
{
    return GetAppPathA() + "\\global";
}

std::wstring GetGlobalDataDirW()
{
    return GetAppPathW() + L"\\global";
}

const std::string& GetInstanceDataDirA()
{
    return s_sInstanceDataDir;
}

const std::wstring& GetInstanceDataDirW()
{
    return s_wsInstanceDataDir;
}

void SetInstanceData(const std::string& path)
{
    s_sInstanceDataDir = path;
    s_wsInstanceDataDir = s2ws(path);
}

void SetInstanceData(const std::wstring& path)
{
    s_sInstanceDataDir = ws2s(path);
    s_wsInstanceDataDir = path;
}

std::uint32_t ExecuteProcess(const std::string& application, const std::string& commandLine,
                             const std::string& workingFolder, std::uint32_t timeoutMs)
{
    platform::DetachedProcess process;
    const int error = process.Start(application, platform::SplitCommandLine(commandLine), workingFolder);
    if (error != 0 || timeoutMs == 0) {
        return static_cast<std::uint32_t>(error);
    }
    std::uint64_t waitedMs = 0;
    while (process.IsRunning(c_iPollIntervalMs)) {
        waitedMs += c_iPollIntervalMs;
        if (waitedMs > timeoutMs) {
            return c_uiWaitTimeout;
        }
    }
    return 0;
}

std::uint32_t ExecuteProcess(const std::wstring& application, const std::wstring& commandLine,
                             const std::wstring& workingFolder, std::uint32_t timeoutMs)
{
    return ExecuteProcess(ws2s(application), ws2s(commandLine), ws2s(workingFolder), timeoutMs);
}

} // namespace LxCV
