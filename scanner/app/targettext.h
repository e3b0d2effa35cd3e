// The text of an archive of calibration targets.
#pragma once

#include <array>
#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace app {

/// One target of an archive.
struct TargetRecord
{
    std::string number;                  ///< the first six digits of its number
    std::size_t points = 0;              ///< 1 or more
    std::array<double, 3> least = {};    ///< least x, y and z of the points; mm, target frame
    std::array<double, 3> greatest = {}; ///< greatest x, y and z
};

/// What is wrong in a text, and in which line.
class TargetTextError : public std::runtime_error
{
public:
    TargetTextError(std::size_t line, const std::string& message) : std::runtime_error(message), m_line(line)
    {}

    std::size_t GetLine() const { return m_line; } ///< from 1

private:
    std::size_t m_line;
};

/// Reads the text that `LxCCalibrationTargetWriter` finds its targets in: for each target a line of "::" and six
/// digits, and a line of coordinates. Between the tabs of the latter, each of which stands for a line break, there are
/// points: two or three numbers each that single precision holds, with blanks between them; where the third is missing,
/// that of the point before counts, or 0. Nothing, or a comment that begins with '#', may stand there, too.
///
/// @throws TargetTextError for the first line that is otherwise, for a number that comes twice, for coordinates without
/// a point or too long to be put into the store, and for a text without a target
std::vector<TargetRecord> ReadTargetText(std::string_view text);

} // namespace app
