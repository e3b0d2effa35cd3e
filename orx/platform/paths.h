// Path texts, and the folders that the system sets aside for programs and their data.
#pragma once

#include "orx/base/export.h"

#include <filesystem>
#include <string>
#include <string_view>

namespace platform {

/// Turns a path text into a path of the file system; every path text that is opened passes through here.
/// Both '/' and '\' separate folders, narrow text is taken byte for byte, wide text becomes UTF-8. The text
/// ends at its first NUL, as the system would read it.
ORX_EXPORT std::filesystem::path NativePath(std::string_view text);
ORX_EXPORT std::filesystem::path NativePath(std::wstring_view text);

/// What follows the last separator of a path text, or the whole text.
ORX_EXPORT std::string_view FileNameOf(std::string_view path);
ORX_EXPORT std::wstring_view FileNameOf(std::wstring_view path);

/// What stands before the last separator of a path text, without the separator but for that of the root folder;
/// empty where there is no separator.
ORX_EXPORT std::string_view FolderOf(std::string_view path);
ORX_EXPORT std::wstring_view FolderOf(std::wstring_view path);

/// The file of the running program with all links resolved; empty where the system does not tell.
ORX_EXPORT std::string GetExecutablePath();

/// The value of an environment variable; empty where it is not set.
ORX_EXPORT std::string GetEnvironmentText(const char* name);

/// The machine-wide data folder, for all users.
inline constexpr const char* kMachineWideDataDir = "/var/lib/lxcvlib";

/// The folder of the user's own data, as path text without a separator at its end: lxcvlib in XDG_DATA_HOME or in
/// .local/share of the home folder; empty where neither is known. It need not exist.
ORX_EXPORT std::string GetUserDataDir();

/// The folder that programs keep shared data in, as path text without a separator at its end: the environment
/// variable PROGRAMDATA where set and not empty; else the machine-wide folder where this process can write to it
/// or make it; else that of `GetUserDataDir`, where there is one. The machine-wide folder is made here where it is
/// absent and may be made; no other folder is.
ORX_EXPORT std::string GetProgramDataDir(const std::string& machineWide = kMachineWideDataDir);

} // namespace platform
