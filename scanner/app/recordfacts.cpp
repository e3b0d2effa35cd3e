// 3D files, surface files and records of colour calibrations.
#include "scanner/app/filefacts.h"

#include "lxcqccserializer.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <iomanip>
#include <sstream>
#include <stdexcept>

namespace app {

namespace {

static_assert(std::endian::native == std::endian::little, "records are read as they lie");

using Point = std::array<float, 3>;

/// A value that the content holds at this place.
template <typename Value>
Value At(std::string_view content, std::size_t place)
{
    Value value{};
    std::memcpy(&value, content.data() + place, sizeof value);
    return value;
}

constexpr std::size_t kGridHeader = 132;
constexpr std::size_t kGridSize = 120; ///< where width, height and channels stand

/// Whether the file begins with the rotation that all 3D files have.
bool HasGridMark(std::string_view content)
{
    constexpr std::array<double, 9> identity{1, 0, 0, 0, 1, 0, 0, 0, 1};
    return content.size() >= kGridHeader && At<std::array<double, 9>>(content, 0) == identity;
}

FileFacts TellGrid(std::string_view content)
{
    if (content.size() < kGridHeader) {
        throw std::runtime_error("it is no 3D file: it is shorter than its header of 132 bytes");
    }
    const auto [width, height, channels] = At<std::array<std::int32_t, 3>>(content, kGridSize);
    if (width < 0 || height < 0 || channels != 3) {
        throw std::runtime_error("it is no 3D file of points: its header tells " + std::to_string(width) +
                                 " by " + std::to_string(height) + " pixels of " + std::to_string(channels) +
                                 " channels");
    }
    const auto count = static_cast<std::uint64_t>(width) * static_cast<std::uint64_t>(height);
    if (count > (content.size() - kGridHeader) / sizeof(Point)) {
        throw std::runtime_error("it is a 3D file that ends before its " + std::to_string(width) + " by " +
                                 std::to_string(height) + " points do");
    }
    Extent extent;
    for (std::size_t i = 0; i < count; ++i) {
        const auto point = At<Point>(content, kGridHeader + sizeof(Point) * i);
        if (point != Point{}) {
            extent.Add({point[0], point[1], point[2]});
        }
    }
    FileFacts told{"3D file"};
    told.facts["width"] = width;
    told.facts["height"] = height;
    told.facts["points"] = extent.GetPoints();
    extent.AddTo(told.facts);
    return told;
}

/// Surface files have no mark: what reads as one to the last point counts.
std::optional<FileFacts> TellSurface(std::string_view content)
{
    constexpr std::size_t shortest = 100; // header and counts
    constexpr float latestVersion = 1000.0F;
    if (content.size() < shortest) {
        return std::nullopt;
    }
    const auto version = At<float>(content, 0);
    if (!(version >= 1.0F && version <= latestVersion)) {
        return std::nullopt;
    }
    LxCV::LxCQCCSerializer reader;
    std::istringstream stream{std::string(content)};
    reader.ReadSurfaceHeader(stream);
    bool hasFlags = true;
    for (std::size_t i = 0; i < LxCV::LxCQCCSerializer::c_uiNumFlags; ++i) {
        hasFlags = hasFlags && reader.GetFlag(i) <= 1;
    }
    if (!hasFlags) {
        return std::nullopt;
    }
    reader.ReadSurfaceMetaData(stream);
    reader.ReadMotorPositions(stream);
    reader.ReadSensorData(stream);
    const auto place = static_cast<std::streamoff>(stream.tellg());
    if (place < 0 || static_cast<std::size_t>(place) > content.size() || reader.GetNumPixels() == 0 ||
        reader.GetNumPixels() > (content.size() - static_cast<std::size_t>(place)) / sizeof(Point)) {
        return std::nullopt;
    }
    Extent extent;
    for (std::size_t i = 0; i < reader.GetNumPixels(); ++i) {
        const auto [p, q, s] = At<Point>(content, static_cast<std::size_t>(place) + sizeof(Point) * i);
        const bool isNone = std::isnan(p) || std::isnan(q) || std::isnan(s);
        if (!isNone) {
            extent.Add({q, p, -s});
        }
    }
    FileFacts told{"surface file"};
    told.facts["version"] = version;
    told.facts["width"] = reader.GetNumColumns();
    told.facts["height"] = reader.GetNumRows();
    told.facts["points"] = extent.GetPoints();
    extent.AddTo(told.facts);
    return told;
}

/// What stands in the data file of a colour calibration.
struct ColourData
{
    std::int32_t version;
    std::array<float, 12> matrix;
    float shutterFactor;
    float shutterTime;
    float referenceDepth;
    std::array<std::int32_t, 7> date; ///< year, month, day, hour, minute, second, millisecond
};
static_assert(sizeof(ColourData) == 92);

bool IsColourData(const FileView& file)
{
    constexpr std::int32_t version = 3;
    const std::string name = file.name.filename().string();
    const bool isNamed = name.starts_with("ColorCalibrationData_") && file.HasSuffix(".dat");
    return isNamed ||
           (file.content.size() == sizeof(ColourData) && At<std::int32_t>(file.content, 0) == version);
}

std::string DateText(const std::array<std::int32_t, 7>& date)
{
    if (date == std::array<std::int32_t, 7>{}) {
        return "none";
    }
    constexpr std::array<std::int32_t, 7> least{1, 1, 1, 0, 0, 0, 0};
    constexpr std::array<std::int32_t, 7> greatest{9999, 12, 31, 23, 59, 59, 999};
    for (std::size_t i = 0; i < date.size(); ++i) {
        if (date[i] < least[i] || date[i] > greatest[i]) {
            throw std::runtime_error("it is a record of a colour calibration whose date is none");
        }
    }
    std::ostringstream text;
    text.fill('0');
    text << std::setw(4) << date[0];
    constexpr std::array separators{'-', '-', ' ', ':', ':'};
    for (std::size_t i = 0; i < separators.size(); ++i) {
        text << separators[i] << std::setw(2) << date[i + 1];
    }
    return text.str() + " UTC";
}

FileFacts TellColourData(std::string_view content)
{
    if (content.size() < sizeof(ColourData)) {
        throw std::runtime_error("it is a record of a colour calibration that ends early");
    }
    const auto data = At<ColourData>(content, 0);
    if (data.version < 3) {
        throw std::runtime_error("it is a record of a colour calibration of version " +
                                 std::to_string(data.version) + "; 3 and later ones are read");
    }
    const std::array others{data.shutterFactor, data.shutterTime, data.referenceDepth};
    const auto isFinite = [](float value) { return std::isfinite(value); };
    if (!std::ranges::all_of(data.matrix, isFinite) || !std::ranges::all_of(others, isFinite)) {
        throw std::runtime_error("it is a record of a colour calibration with numbers that are not finite");
    }
    FileFacts told{"colour calibration"};
    told.facts["version"] = data.version;
    told.facts["date"] = DateText(data.date);
    told.facts["matrix"] = data.matrix;
    told.facts["shutter_factor"] = data.shutterFactor;
    told.facts["shutter_time"] = data.shutterTime;
    told.facts["reference_depth"] = data.referenceDepth;
    return told;
}

} // namespace

std::optional<FileFacts> TellRecord(const FileView& file)
{
    if (IsColourData(file)) {
        return TellColourData(file.content);
    }
    if (HasGridMark(file.content) || file.HasSuffix(".3d")) {
        return TellGrid(file.content);
    }
    return TellSurface(file.content);
}

} // namespace app
