// The command `lumorad info`, which tells what files are.
#pragma once

#include "scanner/app/targetcommands.h"

namespace app {

/// @return runs the command if it was parsed; good as long as `program` is
TargetCommand AddInfoCommand(CLI::App& program);

} // namespace app
