// Ranges of numbers on the command line.
#pragma once

#include "scanner/acquisition/numbertext.h"

#include <CLI/CLI.hpp>

#include <string>

namespace app {

/// Takes numbers in the classic locale alone, no infinite ones and none that is no number.
template <typename Number>
CLI::Validator IsBetween(Number least, Number most)
{
    return {[least, most](std::string& text) {
                Number number{};
                const bool fits = acquisition::ReadNumber(text, number) && number >= least && number <= most;
                return fits ? std::string()
                            : "Value " + text + " is no number from " + CLI::detail::to_string(least) +
                                  " to " + CLI::detail::to_string(most);
            },
            "", ""};
}

} // namespace app
