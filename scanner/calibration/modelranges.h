// The ranges of a model's single values.
#pragma once

#include "scanner/calibration/modelcheck.h"
#include "scanner/calibration/modeltext.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace calibration {

/// A whole text as a number, blanks around it aside: decimal, or hexadecimal behind 0x. Nothing for "inf" and "nan",
/// which no model holds.
std::optional<double> ParseNumber(std::string_view text);

/// Holds the numbers of a model that the library has written against the range of each.
/// @param root what stands before the names of the sections
std::vector<ModelFinding> CheckRanges(const std::vector<ModelSection>& sections, const std::string& root);

} // namespace calibration
