// The command `lumorad mtf`, which measures the contrast of the optics.
#pragma once

#include "scanner/app/targetcommands.h"

namespace app {

/// Adds the command `mtf` to the program: contrast, scale and angle of the chart in an image file.
/// @return runs it if it was parsed, and does nothing otherwise; good as long as `program` is
TargetCommand AddMtfCommand(CLI::App& program);

} // namespace app
