// Texts: numbers, JSON, pages and settings.
#include "scanner/app/filefacts.h"

#include "orx/settingsvalue/settingsfile.h"
#include "scanner/acquisition/numbertext.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <stdexcept>
#include <vector>

namespace app {

namespace {

using namespace std::string_view_literals;

constexpr std::size_t kMostNumbers = 8; ///< of a line

/// Takes the next word of a line.
std::string_view NextWord(std::string_view& line)
{
    constexpr std::string_view blanks = " \t\r";
    line.remove_prefix(std::min(line.size(), line.find_first_not_of(blanks)));
    const std::string_view word = line.substr(0, line.find_first_of(blanks));
    line.remove_prefix(word.size());
    return word;
}

/// Lines of as many numbers each, with the range of each column over the lines whose numbers are all finite.
struct NumberLines
{
    std::size_t lines = 0;
    std::size_t notFinite = 0; ///< lines with a number that is not finite
    std::size_t numbers = 0;   ///< of each line
    std::vector<double> least; ///< empty where no line is finite
    std::vector<double> greatest;

    /// @return false for a line that is none of as many numbers as those before
    bool Add(std::string_view line)
    {
        std::vector<double> read;
        for (std::string_view word = NextWord(line); !word.empty(); word = NextWord(line)) {
            double number = 0.0;
            if (read.size() == kMostNumbers || !acquisition::ReadNumber(word, number)) {
                return false;
            }
            read.push_back(number);
        }
        if (lines == 0) {
            numbers = read.size();
        }
        if (read.empty() || read.size() != numbers) {
            return false;
        }
        ++lines;
        Widen(read);
        return true;
    }

private:
    void Widen(const std::vector<double>& line)
    {
        if (!std::ranges::all_of(line, [](double number) { return std::isfinite(number); })) {
            ++notFinite;
            return;
        }
        if (least.empty()) {
            least = line;
            greatest = line;
        }
        for (std::size_t i = 0; i < line.size(); ++i) {
            least[i] = std::min(least[i], line[i]);
            greatest[i] = std::max(greatest[i], line[i]);
        }
    }
};

/// @return nothing for a text with another line
std::optional<NumberLines> ReadNumberLines(std::string_view text)
{
    NumberLines read;
    while (!text.empty()) {
        const std::string_view line = text.substr(0, text.find('\n'));
        text.remove_prefix(std::min(text.size(), line.size() + 1));
        if (!read.Add(line)) {
            return std::nullopt;
        }
    }
    return read.lines > 0 ? std::optional(read) : std::nullopt;
}

/// What lines of so many numbers are, by the name of their file.
std::string KindOfNumbers(const FileView& file, std::size_t numbers)
{
    const std::string name = file.name.filename().string();
    const bool isProjector = name.starts_with("ProjCalib_");
    if (isProjector || name.starts_with("CamCalib_")) {
        return isProjector ? "marks of the projector's calibration" : "marks of the camera's calibration";
    }
    constexpr std::size_t coordinates = 3;
    return numbers == coordinates ? "points as text" : "numbers as text";
}

/// What the numbers of a line of marks are.
const char* MeaningOfMarks(std::size_t numbers)
{
    switch (numbers) {
    case 2:
        return "u v";
    case 3:
        return "x y z";
    case 5:
        return "x y z u v";
    case 8:
        return "x y at its height, z, x y z u v";
    default:
        return "not known";
    }
}

std::optional<FileFacts> TellNumbers(const FileView& file)
{
    const std::optional<NumberLines> read = ReadNumberLines(file.content);
    if (!read) {
        if (file.HasSuffix(".xyz")) {
            throw std::runtime_error("it is no text of as many numbers in each line");
        }
        return std::nullopt;
    }
    FileFacts told{KindOfNumbers(file, read->numbers)};
    told.facts["lines"] = read->lines;
    told.facts["numbers_a_line"] = read->numbers;
    if (told.kind.starts_with("marks")) {
        told.facts["numbers"] = MeaningOfMarks(read->numbers);
    }
    if (!read->least.empty()) {
        told.facts["least"] = read->least;
        told.facts["greatest"] = read->greatest;
    }
    if (read->notFinite > 0) {
        told.facts["not_finite"] = read->notFinite;
    }
    return told;
}

std::optional<FileFacts> TellJson(const FileView& file)
{
    constexpr std::size_t most = 32;
    const bool isMarked = file.content.front() == '{' || file.content.front() == '[';
    if (!isMarked && !file.HasSuffix(".json")) {
        return std::nullopt;
    }
    // Values are passed over as they come: only the keys of the first level take memory.
    using Event = nlohmann::ordered_json::parse_event_t;
    nlohmann::ordered_json keys = nlohmann::ordered_json::array();
    const auto isKept = [&keys](int depth, Event event, nlohmann::ordered_json& parsed) {
        if (depth == 1 && event == Event::key && keys.size() < most) {
            keys.push_back(parsed);
        }
        return depth == 0;
    };
    const nlohmann::ordered_json json =
        nlohmann::ordered_json::parse(file.content.begin(), file.content.end(), isKept, false);
    if (json.is_discarded()) {
        if (file.HasSuffix(".json")) {
            throw std::runtime_error("it is no valid JSON");
        }
        return std::nullopt;
    }
    FileFacts told{"JSON"};
    told.facts["keys"] = keys;
    return told;
}

std::optional<FileFacts> TellPage(const FileView& file)
{
    constexpr std::size_t headLength = 4096;
    const std::string_view head = file.content.substr(0, headLength);
    if (head.starts_with("<?xml")) {
        return FileFacts{"XML"};
    }
    if (!head.starts_with("<!DOCTYPE html") && !head.starts_with("<!doctype html")) {
        return std::nullopt;
    }
    return FileFacts{file.content.find("\"cloud\":") != std::string_view::npos ? "report of a scan"
                                                                               : "HTML page"};
}

std::optional<FileFacts> TellSettings(const FileView& file)
{
    const bool isNamed = file.HasSuffix(".lua");
    if (file.content.size() > LxCV::c_longestSettingsText && !isNamed) {
        return std::nullopt;
    }
    std::string error;
    const auto table = LxCV::ParseSettings(file.content, error);
    if (!table && isNamed) {
        throw std::runtime_error("it is no settings file: " + error);
    }
    if (!table || (table->empty() && !isNamed)) {
        return std::nullopt;
    }
    FileFacts told{"settings"};
    std::size_t keys = 0;
    nlohmann::ordered_json groups = nlohmann::ordered_json::array();
    for (const auto& [name, group] : *table) {
        groups.push_back(name);
        keys += group.size();
    }
    told.facts["groups"] = groups;
    told.facts["keys"] = keys;
    return told;
}

} // namespace

std::optional<FileFacts> TellText(const FileView& file)
{
    for (const auto tell : {TellPage, TellJson, TellNumbers, TellSettings}) {
        if (std::optional<FileFacts> facts = tell(file)) {
            return facts;
        }
    }
    return std::nullopt;
}

} // namespace app
