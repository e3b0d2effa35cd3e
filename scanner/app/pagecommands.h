// The commands `completion` and `manual`, which tell of the program itself.
#pragma once

#include "scanner/app/targetcommands.h"

namespace CLI {
class App;
} // namespace CLI

namespace app {

/// Both tell of all commands that `program` has when they run.
/// @param program outlives the result
TargetCommand AddPageCommands(CLI::App& program);

} // namespace app
