// What the page of a scan shows.
#include "scanner/app/scanreport.h"

namespace app {

namespace {

/// Without points there are no depths to tell.
std::vector<ReportFigure> FiguresOf(const RecordCloud& cloud)
{
    const ReportFigure count{"points", "Points", static_cast<double>(cloud.points.size()), 0, ""};
    if (cloud.points.empty()) {
        return {count};
    }
    const auto [nearest, farthest] = DepthRange(cloud.points);
    return {count,
            {"nearest_mm", "Depth that 1 percent lie before", nearest, 3, "mm"},
            {"farthest_mm", "Depth that 1 percent lie behind", farthest, 3, "mm"}};
}

} // namespace

ScanReport ReportOfScan(const std::string& title, const std::string& subtitle,
                        const acquisition::ImagePair& images, const RecordCloud& cloud,
                        const std::vector<std::pair<std::string, double>>& times)
{
    ReportStages stages{"Stages", {}};
    for (const auto& [name, milliseconds] : times) {
        stages.stages.push_back({name, milliseconds});
    }
    return {title,
            subtitle,
            cloud.points,
            {},
            FiguresOf(cloud),
            {{"Reference image, white light", ColourImage::FromLevels(images.reference)},
             {"Pattern image, coloured stripes", ColourImage::FromLevels(images.pattern)}},
            {stages}};
}

} // namespace app
