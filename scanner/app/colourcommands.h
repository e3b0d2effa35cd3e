// The commands of `lumorad colour`, which work on colour calibrations.
#pragma once

#include "scanner/app/targetcommands.h"

namespace app {

/// Adds the command `colour` with its own commands to the program.
/// @return runs that of them which was parsed, and does nothing where none was; good as long as `program` is
TargetCommand AddColourCommands(CLI::App& program);

} // namespace app
