// Reads the text of a settings file.
#pragma once

#include "orx/base/export.h"

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace LxCV {

/// A value of a settings file. The first alternative stands for what is no value of a setting, such as a table.
using LxCSettingsEntry = std::variant<std::monostate, bool, long long, double, std::string>;

using LxCSettingsGroup = std::map<std::string, LxCSettingsEntry>;

/// Group name to key to value.
using LxCSettingsTable = std::map<std::string, LxCSettingsGroup>;

/// Longest accepted text of a settings file, in bytes.
constexpr std::size_t c_longestSettingsText = 256 * 1024;

/// Runs the text as a Lua 5.4 program and gives its global tables.
///
/// The program sees a few functions that compute, and nothing through which it could reach files, programs,
/// other modules or compiled code. It is stopped when it exceeds its number of instructions, its memory or its
/// processor time, so that any text is answered after bounded work. UTF-8, with or without a byte order mark.
///
/// @param error receives one line that says why a text is refused
/// @return the tables, or nothing for a text that is refused
ORX_EXPORT std::optional<LxCSettingsTable> ParseSettings(std::string_view text, std::string& error);

/// The text of a settings file that holds one group, a key a line in the order of keys. Read back, it gives the
/// same values; entries that are no value are left out. The names must be Lua names.
ORX_EXPORT std::string FormatSettings(const std::string& name, const LxCSettingsGroup& group);

} // namespace LxCV
