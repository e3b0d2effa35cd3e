// The manual page of the program.
#pragma once

#include "scanner/app/commandtree.h"

#include <string>

namespace app {

/// Parts of the page that no parser knows, as roff text.
/// @{
extern const char* const kManualDescription; ///< before the commands
extern const char* const kManualEnd;         ///< after them
/// @}

/// The page as roff text for the macros `man`, ASCII alone.
std::string ManualPage(const CommandNode& program);

} // namespace app
