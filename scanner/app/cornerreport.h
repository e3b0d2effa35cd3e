// What the reports on corners of all targets share.
#pragma once

#include "scanner/calibration/boardaccuracy.h"
#include "scanner/calibration/stagetimes.h"
#include "scanner/device/geometry.h"

#include <nlohmann/json.hpp>

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string>

namespace CLI {
class App;
} // namespace CLI

namespace app {

nlohmann::ordered_json TimesToJson(const calibration::StageTimes& times);

/// A line such as "locate 3.52 ms, identify 0.10 ms".
void PrintTimes(const calibration::StageTimes& times, std::ostream& out);

/// Counts of corners: not_identified, named, wrong, visible, named_share.
void AddCounts(const calibration::BoardAccuracy& accuracy, nlohmann::ordered_json& json);

/// Errors in pixels: mean_px, p95_px, p99_px, max_px, bias_px.
void AddErrors(const calibration::BoardAccuracy& accuracy, nlohmann::ordered_json& json);

/// What is told of every corner of a mark: id, square, corner, x, y.
/// @param image pixels, distorted image
nlohmann::ordered_json MarkToJson(int id, const device::Vec2& image);

/// The same as the first columns of a table, and their heading.
std::ostream& PrintMark(std::ostream& out, int id, const device::Vec2& image);
inline constexpr const char* kMarkHeading = "   id  square  corner            x        y";

/// What stands behind the last column of a mark.
inline const char* UsableNote(bool usable)
{
    return usable ? "" : "  not for calibration";
}

/// Begins a line of a report.
std::ostream& Label(std::ostream& out, const char* text);

/// The lines on errors and wrong names.
void PrintErrors(const calibration::BoardAccuracy& accuracy, std::ostream& out);

// Options of measurements on rendered images.

/// A count of images by an option of its own name, and --seed.
void AddSeriesOptions(CLI::App& parser, const std::string& name, const std::string& help, std::size_t& count,
                      std::uint64_t& seed);

/// --poses and --seed.
void AddPoseOptions(CLI::App& parser, std::size_t& poses, std::uint64_t& seed);

/// --blur, pixels.
void AddBlurOption(CLI::App& parser, double& blur);

/// --noise as a factor on what the sensor has.
void AddNoiseFactorOption(CLI::App& parser, double& noise);

} // namespace app
