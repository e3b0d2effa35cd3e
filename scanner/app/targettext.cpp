// Records line by line, points tab by tab.
#include "scanner/app/targettext.h"

#include "lxccalibrationtargetwriter.h"
#include "scanner/acquisition/numbertext.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <optional>

namespace app {

namespace {

constexpr std::string_view kKeyMark = "::";
constexpr std::size_t kKeyDigits = 6;
constexpr double kLargest = std::numeric_limits<float>::max();

/// Cuts the part of a text off that ends before a separator, or the rest; nothing where no text is left. What ends
/// with a separator has no empty part behind it.
class Splitter
{
public:
    Splitter(std::string_view text, char separator) : m_rest(text), m_separator(separator) {}

    std::optional<std::string_view> Next()
    {
        if (m_rest.empty()) {
            return std::nullopt;
        }
        const std::string_view part = m_rest.substr(0, m_rest.find(m_separator));
        m_rest.remove_prefix(std::min(m_rest.size(), part.size() + 1));
        return part;
    }

private:
    std::string_view m_rest;
    char m_separator;
};

bool IsKey(std::string_view line)
{
    return line.starts_with(kKeyMark) && line.size() == kKeyMark.size() + kKeyDigits &&
           std::ranges::all_of(line.substr(kKeyMark.size()),
                               [](char character) { return character >= '0' && character <= '9'; });
}

/// A text of unknown origin, as far as it can be shown in a message.
std::string Quote(std::string_view text)
{
    constexpr std::size_t longest = 40;
    std::string shown(text.substr(0, longest));
    std::ranges::replace_if(
        shown, [](char character) { return character < ' ' || character > '~'; }, '?');
    return "'" + shown + (text.size() > longest ? "...'" : "'");
}

/// Reads the numbers of a point over those of the point before.
/// @return whether the text is a point
bool ReadPoint(std::string_view text, std::array<double, 3>& point)
{
    std::size_t count = 0;
    Splitter words(text, ' ');
    while (std::optional<std::string_view> word = words.Next()) {
        if (word->empty()) {
            continue;
        }
        if (word->starts_with("+") && !word->starts_with("+-")) {
            word->remove_prefix(1);
        }
        // A host reads single precision. Written so that NaN fails.
        if (count == point.size() || !acquisition::ReadNumber(*word, point[count]) ||
            !(std::abs(point[count]) <= kLargest)) {
            return false;
        }
        ++count;
    }
    return count >= 2;
}

void CheckSize(std::string_view coordinates, std::size_t line)
{
    const auto breaks = static_cast<std::size_t>(std::ranges::count(coordinates, '\t'));
    const std::size_t size = coordinates.size() + breaks;
    const std::size_t room = LxCV::LxCCalibrationTargetWriter::GetMaxCoordinatesSize();
    if (size > room) {
        throw TargetTextError(line, "the coordinates take " + std::to_string(size) +
                                        " bytes with two for each line break; the store has room for " +
                                        std::to_string(room));
    }
}

void ReadCoordinates(std::string_view coordinates, std::size_t line, TargetRecord& record)
{
    CheckSize(coordinates, line);
    std::array<double, 3> point{};
    Splitter parts(coordinates, '\t');
    while (const std::optional<std::string_view> part = parts.Next()) {
        if (part->empty() || part->starts_with("#")) {
            continue;
        }
        if (!ReadPoint(*part, point)) {
            throw TargetTextError(line, Quote(*part) + " is no point of two or three numbers");
        }
        for (std::size_t axis = 0; axis < point.size(); ++axis) {
            const bool isFirst = record.points == 0;
            record.least[axis] = isFirst ? point[axis] : std::min(record.least[axis], point[axis]);
            record.greatest[axis] = isFirst ? point[axis] : std::max(record.greatest[axis], point[axis]);
        }
        ++record.points;
    }
    if (record.points == 0) {
        throw TargetTextError(line, "the target " + record.number + " has no point");
    }
}

} // namespace

std::vector<TargetRecord> ReadTargetText(std::string_view text)
{
    std::vector<TargetRecord> records;
    std::map<std::string, std::size_t, std::less<>> lineOfNumber;
    std::size_t line = 0;
    Splitter lines(text, '\n');
    while (const std::optional<std::string_view> key = lines.Next()) {
        ++line;
        if (key->ends_with("\r")) {
            throw TargetTextError(line, "the line ends with a carriage return before its line feed");
        }
        if (!IsKey(*key)) {
            throw TargetTextError(line,
                                  Quote(*key) + " is not '::' and the first six digits of a target's number");
        }
        TargetRecord record;
        record.number = key->substr(kKeyMark.size());
        const auto [other, isNew] = lineOfNumber.emplace(record.number, line);
        if (!isNew) {
            throw TargetTextError(line, "the target " + record.number + " stands in line " +
                                            std::to_string(other->second) + " already");
        }
        const std::optional<std::string_view> coordinates = lines.Next();
        if (!coordinates) {
            throw TargetTextError(line, "the target " + record.number + " has no line of coordinates");
        }
        ReadCoordinates(*coordinates, ++line, record);
        records.push_back(record);
    }
    if (records.empty()) {
        throw TargetTextError(1, "the text has no target");
    }
    return records;
}

} // namespace app
