// The commands of `lumorad target` that work on images of the projector's slide with marks.
#pragma once

#include "scanner/app/targetcommands.h"
#include "scanner/calibration/slidelocator.h"

#include <string>

namespace app {

/// --slide, one of the names that `SlideOf` knows.
void AddSlideOption(CLI::App& parser, std::string& slide);

/// @throws std::out_of_range for a name that the option does not take
calibration::MarkedSlide SlideOf(const std::string& name);

/// Adds `slide-locate` and `slide-accuracy` to the command `target`.
/// @return runs that of them which was parsed, and does nothing where none was; good as long as `target` is
TargetCommand AddSlideCommands(CLI::App& target);

} // namespace app
