// The commands of `lumorad target` that work on images of a checkerboard target.
#pragma once

#include "scanner/app/targetcommands.h"

namespace app {

/// Adds `locate` and `accuracy` to the command `target`.
/// @return runs that of them which was parsed, and does nothing where none was; good as long as `target` is
TargetCommand AddBoardCommands(CLI::App& target);

} // namespace app
