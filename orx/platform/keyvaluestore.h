// Small values that outlive the process, by key and name: a folder a key, a file a value.
#pragma once

#include "orx/base/export.h"

#include <cstddef>
#include <filesystem>
#include <span>
#include <string_view>
#include <system_error>
#include <vector>

namespace platform {

/// The two trees of keys. Readers ask the user's first.
enum class EStoreRoot
{
    eCurrentUser = 0, ///< the user's own
    eLocalMachine = 1 ///< all users'
};

/// The folder of a root: "user" or "machine" in the folder that the environment variable LXCV_STORE names, where set
/// and not empty. Else "store" in `GetUserDataDir`, and in what PROGRAMDATA names or the machine-wide data folder.
/// Empty where the user has no data folder. It need not exist.
ORX_EXPORT std::filesystem::path GetStoreRootPath(EStoreRoot root);

/// The file of the value `name` below `key`. Names in a key are separated as in every path text, and a key is a folder
/// below the root's; a key "a" with a value "b" leaves no room for a key "a\b". Case counts.
/// @return empty where the root has no folder, where `name` or a name in `key` is ".", ".." or holds a NUL, or where
/// `name` is empty or holds a separator: nothing outside of the root's folder is ever touched
ORX_EXPORT std::filesystem::path GetStoreValuePath(EStoreRoot root, std::string_view key,
                                                   std::string_view name);

/// Whether the key exists, with values or without.
ORX_EXPORT bool HasStoreKey(EStoreRoot root, std::string_view key);

/// Makes the key where it is absent and sets the value. A value is replaced as a whole: a reader, also one after a
/// crash, finds the old one or the new one. The user's values are readable by the user alone.
/// @return no error, or why the value is as it was; `std::errc::invalid_argument` where it can have no file
ORX_EXPORT std::error_code WriteStoreValue(EStoreRoot root, std::string_view key, std::string_view name,
                                           std::span<const std::byte> value);

/// Reads a value of at most `largest` bytes.
/// @param value the value; empty on failure
/// @return no error; `std::errc::no_such_file_or_directory` where there is no such value,
/// `std::errc::value_too_large` for a longer one, `std::errc::invalid_argument` for what is no value, or what the
/// system tells
ORX_EXPORT std::error_code ReadStoreValue(EStoreRoot root, std::string_view key, std::string_view name,
                                          std::size_t largest, std::vector<std::byte>& value);

} // namespace platform
