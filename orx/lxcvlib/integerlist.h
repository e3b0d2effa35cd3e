// Lists of integers as comma-separated text.
#pragma once

#include "orx/base/export.h"

#include <string>
#include <vector>

namespace LxCV {

/// The values in decimal with a comma between each two; an empty list gives an empty text.
ORX_EXPORT std::string JoinIntegers(const std::vector<int>& values);

/// The number that `text` begins with, in decimal; 0 where there is none, or none that an int can hold.
ORX_EXPORT int ParseInteger(const std::string& text);

/// Cuts at every comma; a piece that is no number gives 0, and so does an empty text.
ORX_EXPORT std::vector<int> SplitIntegers(const std::string& text);

} // namespace LxCV
