// The command-line program `lumorad`.
#pragma once

#include <iosfwd>
#include <string>
#include <vector>

namespace app {

/// Exit codes of the program.
inline constexpr int kExitDone = 0;
inline constexpr int kExitFailed = 1; ///< the work could not be done; the message says which file and why
inline constexpr int kExitUsage = 2;  ///< the arguments make no sense

/// Runs the program.
/// @param arguments without the program's own name
/// @param out results; @param err messages
/// @return an exit code
int RunLumorad(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err);

} // namespace app
