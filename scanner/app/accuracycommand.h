// The command `lumorad accuracy`: the acceptance test with its reports.
#pragma once

#include "scanner/app/targetcommands.h"

namespace app {

/// Adds `accuracy` to the program.
/// @return runs it where it was parsed
TargetCommand AddAccuracyCommand(CLI::App& program);

} // namespace app
