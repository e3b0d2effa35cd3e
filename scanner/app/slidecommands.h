// The commands of `lumorad target` that work on images of the projector's slide with marks.
#pragma once

#include "scanner/app/targetcommands.h"

namespace app {

/// Adds `slide-locate` and `slide-accuracy` to the command `target`.
/// @return runs that of them which was parsed, and does nothing where none was; good as long as `target` is
TargetCommand AddSlideCommands(CLI::App& target);

} // namespace app
