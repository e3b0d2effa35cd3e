#include "scanner/app/usagemessage.h"

#include <CLI/CLI.hpp>

#include <vector>

namespace app {

std::string UsageMessage(const CLI::App* program, const CLI::Error& error)
{
    const std::vector<std::string> left = program->remaining(true);
    const std::string lacksCommand = CLI::RequiredError::Subcommand(1).what();
    if (left.empty() || left.front().starts_with('-') || error.what() != lacksCommand) {
        return CLI::FailureMessage::simple(program, error);
    }
    return "There is no command '" + left.front() + "'\nRun with --help for the commands that there are.\n";
}

} // namespace app
