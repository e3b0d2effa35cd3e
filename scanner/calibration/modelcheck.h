// Whether a model file is whole, and whether its device can measure.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace LxCV {
class LxCPinholeFramework;
}

namespace calibration {

/// Something about a model that a person should know.
struct ModelFinding
{
    bool isError = true;  ///< whether the model is unsound by it; a note otherwise
    std::size_t line = 0; ///< in the text, from 1; 0 for what is nowhere
    std::string section;  ///< below the model's root
    std::string key;      ///< empty for the section as a whole
    std::string problem;
    std::string advice; ///< what to do
};

/// Holds a text against what the library reads of it, and the model against the ranges of the device.
///
/// The text: sections and keys that are missing, come twice or are unknown, lines of no form, and values that do not
/// convert or are read as something else. What the library would write of the model is what a text is to have. The
/// model: each number in its range; image size, principal points, working space, placements, pattern, edge positions,
/// light planes and unwrap table in proportion to each other; regions in the image; thresholds and numbers of both
/// targets.
///
/// @param root what stands before the names of the model's sections; sections elsewhere are no matter of this model
std::vector<ModelFinding> CheckModel(const std::string& text, const std::string& root);

/// Whether no finding is an error.
bool IsSound(const std::vector<ModelFinding>& findings);

/// A model with what stands in the way of measuring with it.
struct CheckedModel
{
    std::unique_ptr<LxCV::LxCPinholeFramework> model; ///< may be null where there are obstacles
    std::vector<ModelFinding> obstacles;              ///< all of them errors
};

/// Reads a model as `ReadModel` does. Obstacles are those errors of `CheckModel` that may falsify what is measured: numbers
/// that are missing, come twice, are read as others or are out of range, in the sections that measuring reads. What nothing
/// reads does not matter, nor do targets and the size of the device's images; sections that have defaults may be missing.
/// @throws ModelError as `ReadModel` does
CheckedModel ReadForMeasuring(const std::string& text, const std::string& root);

/// A finding in one line: where it is, the problem and what to do.
std::string FindingText(const ModelFinding& finding);

} // namespace calibration
