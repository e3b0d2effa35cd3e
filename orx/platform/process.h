// Helper processes.
#pragma once

#include "orx/base/export.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace platform {

/// Splits a command line into arguments by the rules that Win32 programs use, since callers quote for them.
///
/// Spaces and tabs separate; what stands between double quotes is one piece. In every argument but the first,
/// 2n backslashes before a double quote give n backslashes and the quote quotes, 2n + 1 give n backslashes and a
/// literal quote; other backslashes are literal, and two double quotes inside quotes give a literal one. In the
/// first argument, the program's name, backslashes are always literal.
ORX_EXPORT std::vector<std::string> SplitCommandLine(std::string_view commandLine);

/// A process that this one started and does not own: it is no child of this process, leaves no zombie here, and
/// goes on when this process ends. Not copied; moving hands over the watch.
class ORX_EXPORT DetachedProcess
{
public:
    DetachedProcess() = default;
    ~DetachedProcess();
    DetachedProcess(DetachedProcess&& other) noexcept;
    DetachedProcess& operator=(DetachedProcess&& other) noexcept;

    /// Starts `arguments` with the program file `program`, or, where `program` is empty, with the file that the
    /// first argument names, searched in PATH if it has no separator. A relative program is relative to the
    /// folder of this process. Both names may use either separator.
    ///
    /// The new process gets this one's environment and none of its open files: its standard streams are the null
    /// device. It is the leader of a session of its own, with no signal blocked or ignored.
    /// @param workingFolder empty for the folder of this process
    /// @return 0, or the errno of what failed, such as ENOENT for a program or folder that is not there
    int Start(const std::string& program, std::vector<std::string> arguments,
              const std::string& workingFolder);

    /// Whether the process has not ended yet, waiting at most `milliseconds` for its end.
    bool IsRunning(int milliseconds) const;

private:
    int m_iPid = 0;
    int m_iHandle = -1; ///< file descriptor that becomes readable as the process ends; -1 without one
};

} // namespace platform
