#include "scanner/app/pagecommands.h"

#include "scanner/app/commandtree.h"
#include "scanner/app/completion.h"
#include "scanner/app/manualpage.h"

#include <CLI/CLI.hpp>

#include <map>
#include <memory>
#include <ostream>
#include <string>

namespace app {

namespace {

using Script = std::string (*)(const CommandNode&);

const std::map<std::string, Script> c_shells{
    {"bash", BashCompletion}, {"fish", FishCompletion}, {"zsh", ZshCompletion}};

} // namespace

TargetCommand AddPageCommands(CLI::App& program)
{
    const auto shell = std::make_shared<std::string>();
    CLI::App* const completion =
        program.add_subcommand("completion", "Print a script by which a shell completes the command line");
    completion->add_option("SHELL", *shell, "The shell")->required()->check(CLI::IsMember(c_shells));
    CLI::App* const manual = program.add_subcommand("manual", "Print the manual page, docs/lumorad.1");
    manual->group(""); // for those who build the program, not for those who use it
    return [&program, completion, manual, shell](std::ostream& out) {
        if (completion->parsed()) {
            out << c_shells.at(*shell)(ReadCommands(program));
        } else if (manual->parsed()) {
            out << ManualPage(ReadCommands(program));
        }
    };
}

} // namespace app
