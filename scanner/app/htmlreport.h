// One HTML file that shows a scan.
#pragma once

#include "scanner/app/colourimage.h"
#include "scanner/app/pointcloud.h"

#include <filesystem>
#include <string>
#include <variant>
#include <vector>

namespace app {

struct ReportImage
{
    std::string title;
    ColourImage picture;
};

/// A line of the table of figures.
struct ReportFigure
{
    std::string key; ///< names the figure to programs: the `id` of its element is this after "figure-"
    std::string label;
    std::variant<double, std::string> value; ///< a number that is infinite or none is shown as a dash
    int decimals = 0;                        ///< of a number
    std::string unit;
};

struct ReportStage
{
    std::string name;
    double milliseconds;
};

/// Stages that are shown and summed together.
struct ReportStages
{
    std::string title;
    std::vector<ReportStage> stages;
};

/// What a report tells. All texts may hold any bytes: they are shown as text, and what is no UTF-8 as replacement
/// characters. Whatever list is empty has no part on the page, but for the points.
struct ScanReport
{
    std::string title;
    std::string subtitle;
    std::vector<CloudPoint> points;
    std::vector<double>
        errorsMm; ///< one for each point, not a number where the truth is not known; or none at all
    std::vector<ReportFigure> figures;
    std::vector<ReportImage> images;
    std::vector<ReportStages> stages;
};

/// Errors counted in bins of one width.
struct ErrorHistogram
{
    double limitMm = 0.0; ///< upper end of the last bin: 1, 2 or 5 times a power of ten
    std::vector<std::size_t> counts;
    std::size_t beyond = 0; ///< errors at or above the limit
};

/// @param errorsMm not below 0; those that are no numbers count nowhere, infinite ones as beyond the limit
/// @return a histogram whose limit is the smallest one, from a micrometre on, that 98 percent of the errors do not exceed
ErrorHistogram CountErrors(const std::vector<double>& errorsMm);

/// The page as a whole. It holds style, script, images and points itself and refers to nothing outside. The points can be
/// turned, moved and enlarged, and are coloured by depth, camera or, where errors are known, error. Positions are rounded to
/// a 65535th of the cloud's extent along each axis, errors of the largest one. Points farther from the origin than
/// 10^4 mm, or nowhere, are left out.
/// @throws std::invalid_argument if there are errors, but not one for each point
/// @throws std::runtime_error for a picture without pixels
std::string HtmlReport(const ScanReport& report);

/// Makes or replaces the file as a whole.
/// @throws std::runtime_error naming the file that cannot be written; what `HtmlReport` throws
void WriteHtmlReport(const ScanReport& report, const std::filesystem::path& file);

} // namespace app
