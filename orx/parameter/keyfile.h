// The key of encrypted parameter data, kept in a file of its own.
#pragma once

#include "orx/base/export.h"

#include <array>
#include <filesystem>
#include <optional>

namespace parameter {

/// The bytes of one key.
using KeyBytes = std::array<unsigned char, 32>;

/// The key file of this machine: what the environment variable LXCV_KEY_FILE names, else Lumorad/device.key in
/// `platform::GetProgramDataDir`.
ORX_EXPORT std::filesystem::path GetKeyFilePath();

/// The key in the file: exactly 32 raw bytes. A file that is not there is made, with the folder that it is to
/// lie in, from random bytes of the system and with access for its owner alone; of two processes that make it at
/// once, one succeeds and both get its key. A file that is there is never replaced or changed.
///
/// Channel "ORX.Lumorad.KeyFile": an info line as a key is made, a warning for a file that everyone may read or
/// write, and an error for every failure.
/// @return the key; nothing where the file cannot be read or made, is no regular file or has another size
ORX_EXPORT std::optional<KeyBytes> LoadOrCreateKey(const std::filesystem::path& file);

} // namespace parameter
