// Scripts by which shells complete the program's commands, options and values.
#pragma once

#include "scanner/app/commandtree.h"

#include <string>

namespace app {

/// To be sourced by bash 4 or later. `_lumorad`, after the program's name, fills COMPREPLY.
std::string BashCompletion(const CommandNode& program);

/// To be sourced by zsh after `compinit`, or put into a folder of `fpath` as `_lumorad`.
std::string ZshCompletion(const CommandNode& program);

/// To be sourced by fish 3 or later, or put into its folder of completions.
std::string FishCompletion(const CommandNode& program);

} // namespace app
