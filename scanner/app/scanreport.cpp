// What the page of a scan shows.
#include "scanner/app/scanreport.h"

namespace app {

ScanReport ReportOfScan(const std::string& title, const std::string& subtitle,
                        const acquisition::ImagePair& images, const RecordCloud& cloud,
                        const std::vector<std::pair<std::string, double>>& times)
{
    const auto [nearest, farthest] = DepthRange(cloud.points);
    std::vector<ReportFigure> figures{
        {"points", "Points", static_cast<double>(cloud.points.size()), 0, ""},
    };
    if (!cloud.points.empty()) {
        figures.push_back({"nearest_mm", "Depth that 1 percent lie before", nearest, 3, "mm"});
        figures.push_back({"farthest_mm", "Depth that 1 percent lie behind", farthest, 3, "mm"});
    }
    ReportStages stages{"Stages", {}};
    for (const auto& [name, milliseconds] : times) {
        stages.stages.push_back({name, milliseconds});
    }
    return {title,
            subtitle,
            cloud.points,
            {},
            figures,
            {{"Reference image, white light", ColourImage::FromLevels(images.reference)},
             {"Pattern image, coloured stripes", ColourImage::FromLevels(images.pattern)}},
            {stages}};
}

} // namespace app
