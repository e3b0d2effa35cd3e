// The file of settings that the environment names.
#pragma once

namespace app {

/// The library passes over a file that it cannot use with a line in the log, and measures with its defaults; a program
/// that is told to use one must not.
/// @throws std::runtime_error naming the file that `LXCV_SETTINGS` names, where it cannot be read or is refused
void RequireHostSettings();

} // namespace app
