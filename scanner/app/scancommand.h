// The command `lumorad scan`, which measures images.
#pragma once

#include "scanner/app/targetcommands.h"

namespace app {

/// @return runs the command if it was parsed; good as long as `program` is
TargetCommand AddScanCommand(CLI::App& program);

} // namespace app
