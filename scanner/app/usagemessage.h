// What the program says to arguments that make no sense.
#pragma once

#include <string>

namespace CLI {
class App;
class Error;
} // namespace CLI

namespace app {

/// The parser's own message, but for a command that is not there: of that one it would only tell that one is required.
std::string UsageMessage(const CLI::App* program, const CLI::Error& error);

} // namespace app
