// What the demo's report shows.
#include "scanner/app/demoreport.h"

#include <iomanip>
#include <set>
#include <sstream>

namespace app {

namespace {

const std::string kMicrometre = "\u00b5m";

/// Of the demo's stages those that a scan of a real surface has, too.
bool IsMeasuring(const std::string& stage)
{
    static const std::set<std::string> names{"remove texture", "find edges",  "read code words",
                                             "trace edges",    "triangulate", "deliver"};
    return names.contains(stage);
}

std::vector<ReportFigure> Figures(const Measurement& measurement)
{
    const Accuracy& accuracy = measurement.accuracy;
    const auto count = [](const std::string& key, const std::string& label, std::size_t value) {
        return ReportFigure{key, label, static_cast<double>(value), 0, ""};
    };
    const auto share = [](const std::string& key, const std::string& label, double value, int decimals) {
        return ReportFigure{key, label, 100.0 * value, decimals, "%"};
    };
    const auto length = [](const std::string& key, const std::string& label, double millimetres) {
        return ReportFigure{key, label, 1000.0 * millimetres, 1, kMicrometre};
    };
    std::vector<ReportFigure> figures{
        count("points", "Points", accuracy.points),
        count("crossings", "Edge crossings in sight", accuracy.seenCrossings),
        share("coverage", "Coverage of the crossings", accuracy.coverage, 1),
    };
    if (accuracy.points == 0) {
        return figures;
    }
    figures.insert(figures.end(),
                   {share("wrong_code_fraction", "Points with a wrong code", accuracy.wrongCodeFraction, 3),
                    length("mean_mm", "Error, mean", accuracy.meanMm),
                    length("rms_mm", "Error, RMS", accuracy.rmsMm),
                    length("rms_right_code_mm", "Error, RMS without wrong codes", accuracy.rmsRightCodeMm),
                    length("p95_mm", "Error, 95 percent", accuracy.p95Mm)});
    if (measurement.table.has_value()) {
        figures.push_back(
            length("table_largest_mm", "Table, largest deviation", measurement.table->largestMm));
        figures.push_back(length("table_rms_mm", "Table, RMS deviation", measurement.table->rmsMm));
    }
    return figures;
}

ColourImage Picture(const device::ImageF& image)
{
    return ColourImage::FromBgr(image.width, image.height, image.data);
}

} // namespace

ScanReport DemoReport(const acquisition::Rendering& rendering, const std::string& source,
                      const Measurement& measurement,
                      const std::vector<std::pair<std::string, double>>& times)
{
    std::ostringstream subtitle;
    subtitle << "Rendered and measured by the virtual device; seed " << rendering.options.seed << ", noise "
             << std::fixed << std::setprecision(2) << rendering.options.noise << ", image source " << source
             << ", points " << (measurement.table.has_value() ? "looked up in a table" : "computed");
    ReportStages measuring{"Measurement", {}};
    ReportStages around{"Before and after it", {}};
    for (const auto& [name, milliseconds] : times) {
        (IsMeasuring(name) ? measuring : around).stages.push_back({name, milliseconds});
    }
    return {"Scan of the scene " + rendering.options.scene,
            subtitle.str(),
            measurement.cloud,
            measurement.accuracy.errorsMm,
            Figures(measurement),
            {{"Reference image, white light", Picture(rendering.pair.reference)},
             {"Pattern image, coloured stripes", Picture(rendering.pair.pattern)}},
            {measuring, around}};
}

} // namespace app
