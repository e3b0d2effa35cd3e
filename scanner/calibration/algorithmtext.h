// The device's part of the decoding stage's configuration in section text.
#pragma once

#include "scanner/calibration/modelcheck.h"
#include "scanner/calibration/modeltext.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace LxCV {
class LxCCCLAlgoConfig;
}

namespace calibration {

/// The section of an algorithm configuration, whatever its name: the first one that has a focal distance
/// (`FocalDistance_mm`) or a subsection of a coupling ("::CameraProjectorCoupling"); nothing where there is none. Lines
/// before the first header and a second section of a name are none, as the library reads neither.
std::optional<std::string> FindAlgorithmRoot(const std::vector<ModelSection>& sections);

/// Whether a section is one of a configuration: one that the library writes of it or, below a root that ends with
/// "::LxCCCLAlgoConfig", any.
bool IsOfAlgorithm(std::string_view section, std::string_view root);

/// The text of the sections of the configuration, without comments; empty where there is none.
std::string AlgorithmTextOf(const std::vector<ModelSection>& sections);

/// Holds a configuration against what the library reads of one: sections and keys that come twice, values that are no
/// finite numbers, and a coupling that cannot be undone; below a root that ends with "::LxCCCLAlgoConfig", where nothing
/// else is to be, also sections and keys that are unknown and lines of no form. Every section and key may be missing. The
/// keys of tools are known, but their values are not looked at.
/// @param root of the configuration; the findings' sections are whole names
std::vector<ModelFinding> CheckAlgorithm(const std::vector<ModelSection>& sections, const std::string& root);

/// Takes coupling, distances and exit window from a text where it has them; what it does not tell stays.
/// @param text     section text that `sections` were split from
/// @return whether it has a configuration
/// @throws std::runtime_error for the first finding of `CheckAlgorithm`, and nothing is taken; the message tells section,
///         key, line and what to do, not the file
bool TakeAlgorithm(const std::string& text, const std::vector<ModelSection>& sections,
                   LxCV::LxCCCLAlgoConfig& algorithm);

} // namespace calibration
