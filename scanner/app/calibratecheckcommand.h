// The command `lumorad calibrate-check`, which holds a calibrated model against marks of rendered targets.
#pragma once

#include "scanner/app/targetcommands.h"

namespace app {

/// Adds `calibrate-check` to the program.
/// @return runs it where it was parsed, and does nothing where it was not; good as long as `program` is. Throws
/// std::runtime_error, after the report, where the model misses the marks
TargetCommand AddCalibrateCheckCommand(CLI::App& program);

} // namespace app
