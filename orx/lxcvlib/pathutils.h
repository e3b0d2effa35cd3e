// Where the application's files lie, and how a helper process is run.
#pragma once

#include "orx/base/export.h"

#include <cstdint>
#include <string>

namespace LxCV {

/// The folder of the running program, without a separator at its end. Narrow texts are UTF-8.
/// @throws std::runtime_error "failed to determine the filename of the executable" where the system does not
/// tell, or where the program's whole path has 260 characters or more: callers keep such paths in fixed buffers
ORX_EXPORT std::string GetAppPathA();
ORX_EXPORT std::wstring GetAppPathW();

/// The folder of data that all instances share: that of the program, with "\global" appended. Throws as
/// `GetAppPathA` does.
ORX_EXPORT std::string GetGlobalDataDirA();
ORX_EXPORT std::wstring GetGlobalDataDirW();

/// The folder of this instance's data, as `SetInstanceData` set it; empty before. The reference stays valid; its
/// text must not be read while another thread sets it.
ORX_EXPORT const std::string& GetInstanceDataDirA();
ORX_EXPORT const std::wstring& GetInstanceDataDirW();

/// Sets the instance folder in both its narrow and its wide form.
ORX_EXPORT void SetInstanceData(const std::string& path);
ORX_EXPORT void SetInstanceData(const std::wstring& path);

/// What `ExecuteProcess` gives for a process that outlasts its timeout.
inline constexpr std::uint32_t c_uiWaitTimeout = 258;

/// Runs a program, without window, console or any open file of this process, and waits for its end.
///
/// The wait runs in rounds of 200 ms and gives up as their sum exceeds `timeoutMs`, so a timeout of 200 waits
/// 400 ms. A process that is left running goes on by itself and is never stopped.
/// @param application path of the program; relative to the folder of this process. If empty, the command line's
/// first argument names it, searched in PATH if it has no folder
/// @param commandLine all arguments, the program's name as the first one; split by the quoting rules of
/// `platform::SplitCommandLine`. If empty, the program gets its own path as only argument
/// @param workingFolder folder that the program starts in; empty for that of this process
/// @param timeoutMs 0 not to wait at all
/// @return 0 where the process was started and, with a timeout, has ended, whatever its exit code; 258 where it
/// outlasts the timeout; else the errno of the failure to start it, such as 2 (ENOENT) for no such program
ORX_EXPORT std::uint32_t ExecuteProcess(const std::string& application, const std::string& commandLine,
                                        const std::string& workingFolder, std::uint32_t timeoutMs);
ORX_EXPORT std::uint32_t ExecuteProcess(const std::wstring& application, const std::wstring& commandLine,
                                        const std::wstring& workingFolder, std::uint32_t timeoutMs);

} // namespace LxCV
