// The commands of `lumorad target`, which work on calibration targets.
#pragma once

#include <functional>
#include <iosfwd>

namespace CLI {
class App;
} // namespace CLI

namespace app {

/// Runs the command that was parsed.
/// @param out results
/// @throws std::runtime_error where the work could not be done; the message says which file and why
using TargetCommand = std::function<void(std::ostream& out)>;

/// Adds the command `target` with its own commands to the program.
/// @return runs that of them which was parsed, and does nothing where none was; good as long as `program` is
TargetCommand AddTargetCommands(CLI::App& program);

} // namespace app
