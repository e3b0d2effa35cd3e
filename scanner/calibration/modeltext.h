// The lines of a model's section text, with their numbers.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace calibration {

/// One line of a section that is no comment.
struct ModelLine
{
    std::size_t number = 0; ///< in the text, from 1
    bool isPair = false;    ///< whether it is key=value; otherwise the key is the whole line
    std::string key;
    std::string value;
};

/// A header and the lines up to the next one. The lines before the first header are a section without a name.
struct ModelSection
{
    std::size_t number = 0; ///< of the header's line
    std::string name;
    std::vector<ModelLine> lines;

    /// The first line with this key, which is the one that counts; null without one.
    const ModelLine* Find(std::string_view key) const;
};

/// Takes a text apart as the library does, but keeps what comes twice.
std::vector<ModelSection> SplitModelText(std::string_view text);

/// The first section of a name, which is the one that counts; null without one.
const ModelSection* FindSection(const std::vector<ModelSection>& sections, std::string_view name);

/// The root below which a text has most of a model's sections, of several the alphabetically first; nothing where it
/// has none.
std::optional<std::string> FindModelRoot(const std::vector<ModelSection>& sections);

} // namespace calibration
