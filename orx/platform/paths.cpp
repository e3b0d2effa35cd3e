// Separators of path texts, and the folders of this system.
#include "orx/platform/paths.h"

#include "orx/platform/unicode.h"

#include <array>
#include <cstdlib>
#include <pwd.h>
#include <system_error>
#include <unistd.h>

namespace platform {

namespace {

constexpr const char* kDataDirName = "lxcvlib";

template <typename Char>
bool IsSeparator(Char character)
{
    return character == Char('/') || character == Char('\\');
}

/// Number of characters of `path` up to and with its last separator; 0 where there is none.
template <typename Char>
std::size_t LengthToLastSeparator(std::basic_string_view<Char> path)
{
    std::size_t length = path.size();
    while (length > 0 && !IsSeparator(path[length - 1])) {
        --length;
    }
    return length;
}

template <typename Char>
std::basic_string_view<Char> FolderOfText(std::basic_string_view<Char> path)
{
    std::size_t length = LengthToLastSeparator(path);
    while (length > 1 && IsSeparator(path[length - 1])) {
        --length;
    }
    return path.substr(0, length);
}

bool IsUsableFolder(const std::string& folder)
{
    std::error_code error;
    std::filesystem::create_directory(folder, error);
    return std::filesystem::is_directory(folder, error) && access(folder.c_str(), W_OK | X_OK) == 0;
}

/// The home folder by the environment, else by the user database; empty where neither knows one.
std::string GetHomeDir()
{
    std::string home = GetEnvironmentText("HOME");
    if (!home.empty()) {
        return home;
    }
    std::array<char, 4096> buffer{};
    passwd entry{};
    passwd* found = nullptr;
    const int error = getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found);
    return error == 0 && found != nullptr && entry.pw_dir != nullptr ? entry.pw_dir : "";
}

} // namespace

std::filesystem::path NativePath(std::string_view text)
{
    std::string native(text.substr(0, text.find('\0')));
    for (char& character : native) {
        if (character == '\\') {
            character = '/';
        }
    }
    return std::filesystem::path(std::move(native));
}

std::filesystem::path NativePath(std::wstring_view text)
{
    return NativePath(NarrowUtf8(text));
}

std::string_view FileNameOf(std::string_view path)
{
    return path.substr(LengthToLastSeparator(path));
}

std::wstring_view FileNameOf(std::wstring_view path)
{
    return path.substr(LengthToLastSeparator(path));
}

std::string_view FolderOf(std::string_view path)
{
    return FolderOfText(path);
}

std::wstring_view FolderOf(std::wstring_view path)
{
    return FolderOfText(path);
}

std::string GetExecutablePath()
{
    std::error_code error;
    return std::filesystem::read_symlink("/proc/self/exe", error).string();
}

std::string GetEnvironmentText(const char* name)
{
    const char* value = std::getenv(name);
    return value != nullptr ? value : "";
}

std::string GetUserDataDir()
{
    std::string folder = GetEnvironmentText("XDG_DATA_HOME");
    if (!folder.empty()) {
        return folder + "/" + kDataDirName;
    }
    folder = GetHomeDir();
    return folder.empty() ? folder : folder + "/.local/share/" + kDataDirName;
}

std::string GetProgramDataDir(const std::string& machineWide)
{
    std::string folder = GetEnvironmentText("PROGRAMDATA");
    if (!folder.empty()) {
        return folder;
    }
    if (IsUsableFolder(machineWide)) {
        return machineWide;
    }
    std::string user = GetUserDataDir();
    return user.empty() ? machineWide : user;
}

} // namespace platform
