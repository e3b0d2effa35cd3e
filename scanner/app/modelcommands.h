// The commands of `lumorad model`, which work on model files.
#pragma once

#include "scanner/app/targetcommands.h"

namespace app {

/// Adds the command `model` with its own commands to the program.
/// @return runs that of them which was parsed, and does nothing where none was; good as long as `program` is
TargetCommand AddModelCommands(CLI::App& program);

} // namespace app
