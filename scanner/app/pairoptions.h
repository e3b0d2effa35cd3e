// Options of commands that render image pairs.
#pragma once

#include "scanner/acquisition/rendering.h"

namespace CLI {
class App;
} // namespace CLI

namespace app {

/// Adds `--scene`, `--seed` and `--noise`.
void AddPairOptions(CLI::App& command, acquisition::PairOptions& options);

} // namespace app
