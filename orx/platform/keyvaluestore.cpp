// The store's folders and files.
#include "orx/platform/keyvaluestore.h"

#include "orx/platform/filedescriptor.h"
#include "orx/platform/paths.h"
#include "orx/platform/replacefile.h"

#include <cerrno>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>

namespace platform {

namespace {

constexpr const char* kStoreVariable = "LXCV_STORE";
constexpr const char* kStoreName = "store";
constexpr mode_t kUserMode = S_IRUSR | S_IWUSR;
constexpr mode_t kMachineMode = kUserMode | S_IRGRP | S_IROTH;

std::error_code SystemError(int error)
{
    return {error, std::generic_category()};
}

std::error_code Refused()
{
    return std::make_error_code(std::errc::invalid_argument);
}

/// A key may not lead out of the root, whoever made it up.
bool IsPlainName(const std::filesystem::path& name)
{
    return !name.empty() && name != "." && name != "..";
}

/// Empty where the key leads out of the root.
std::filesystem::path KeyPath(EStoreRoot root, std::string_view key)
{
    std::filesystem::path folder = GetStoreRootPath(root);
    if (folder.empty() || key.find('\0') != std::string_view::npos) {
        return {};
    }
    for (const std::filesystem::path& name : NativePath(key)) {
        if (!IsPlainName(name) || name.is_absolute()) {
            return {};
        }
        folder /= name;
    }
    return folder;
}

} // namespace

std::filesystem::path GetStoreRootPath(EStoreRoot root)
{
    const bool isUsers = root == EStoreRoot::eCurrentUser;
    const std::string moved = GetEnvironmentText(kStoreVariable);
    if (!moved.empty()) {
        return NativePath(moved) / (isUsers ? "user" : "machine");
    }
    std::string data = isUsers ? GetUserDataDir() : GetEnvironmentText("PROGRAMDATA");
    if (data.empty()) {
        if (isUsers) {
            return {};
        }
        data = kMachineWideDataDir;
    }
    return NativePath(data) / kStoreName;
}

std::filesystem::path GetStoreValuePath(EStoreRoot root, std::string_view key, std::string_view name)
{
    const std::filesystem::path folder = KeyPath(root, key);
    if (folder.empty() || name.find_first_of(std::string_view("/\\\0", 3)) != std::string_view::npos ||
        !IsPlainName(name)) {
        return {};
    }
    return folder / NativePath(name);
}

bool HasStoreKey(EStoreRoot root, std::string_view key)
{
    const std::filesystem::path folder = KeyPath(root, key);
    std::error_code ignored;
    return !folder.empty() && std::filesystem::is_directory(folder, ignored);
}

std::error_code WriteStoreValue(EStoreRoot root, std::string_view key, std::string_view name,
                                std::span<const std::byte> value)
{
    const std::filesystem::path file = GetStoreValuePath(root, key, name);
    if (file.empty()) {
        return Refused();
    }
    std::error_code error;
    std::filesystem::create_directories(file.parent_path(), error);
    if (error) {
        return error;
    }
    return ReplaceFile(file, value, root == EStoreRoot::eCurrentUser ? kUserMode : kMachineMode);
}

std::error_code ReadStoreValue(EStoreRoot root, std::string_view key, std::string_view name,
                               std::size_t largest, std::vector<std::byte>& value)
{
    value.clear();
    const std::filesystem::path file = GetStoreValuePath(root, key, name);
    if (file.empty()) {
        return Refused();
    }
    // A pipe in the place of the value must not keep the reader waiting.
    const CFileDescriptor descriptor(open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat status = {};
    if (!descriptor.IsOpen() || fstat(descriptor.Get(), &status) != 0) {
        return SystemError(errno);
    }
    if (!S_ISREG(status.st_mode)) {
        return Refused();
    }
    if (static_cast<std::size_t>(status.st_size) > largest) {
        return std::make_error_code(std::errc::value_too_large);
    }
    value.resize(static_cast<std::size_t>(status.st_size));
    if (!ReadWhole(descriptor.Get(), value)) {
        value.clear();
        return SystemError(errno != 0 ? errno : EIO);
    }
    return {};
}

} // namespace platform
