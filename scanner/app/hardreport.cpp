// Table and JSON of scenes that are hard to measure.
#include "scanner/app/hardreport.h"

#include <algorithm>
#include <cmath>
#include <iomanip>
#include <ostream>

namespace app {

using acceptance::HardFigures;
using acceptance::PointErrors;
using nlohmann::ordered_json;

namespace {

/// Points of one kind over all seeds.
struct PooledErrors
{
    double points = 0.0; ///< mean over the seeds
    double wrongShare = 0.0;
    double ghostShare = 0.0;
    double rmsMm = 0.0;
    double worstMm = 0.0;
};

double ShareOf(double part, double whole)
{
    return whole > 0.0 ? part / whole : 0.0;
}

PooledErrors Pool(const HardResult& result, PointErrors HardFigures::*kind)
{
    PooledErrors pooled;
    double points = 0.0, wrong = 0.0, ghosts = 0.0, squares = 0.0;
    for (const HardFigures& figures : result.seeds) {
        const PointErrors& errors = figures.*kind;
        const auto count = static_cast<double>(errors.points);
        points += count;
        wrong += static_cast<double>(errors.wrong);
        ghosts += static_cast<double>(errors.ghosts);
        squares += count * errors.rmsMm * errors.rmsMm;
        pooled.worstMm = std::max(pooled.worstMm, errors.worstMm);
    }
    pooled.points = ShareOf(points, static_cast<double>(result.seeds.size()));
    pooled.wrongShare = ShareOf(wrong, points);
    pooled.ghostShare = ShareOf(ghosts, points);
    pooled.rmsMm = std::sqrt(ShareOf(squares, points));
    return pooled;
}

double MeanCoverage(const HardResult& result)
{
    double sum = 0.0;
    for (const HardFigures& figures : result.seeds) {
        sum += figures.coverage;
    }
    return ShareOf(sum, static_cast<double>(result.seeds.size()));
}

ordered_json PooledToJson(const PooledErrors& pooled)
{
    return {{"points", pooled.points},
            {"wrong_code_fraction", pooled.wrongShare},
            {"ghost_fraction", pooled.ghostShare},
            {"rms_mm", pooled.rmsMm},
            {"worst_mm", pooled.worstMm}};
}

} // namespace

ordered_json ToJson(const AccuracySettings& settings, std::span<const HardResult> results)
{
    ordered_json json;
    json["seeds"] = settings.repetitions.seeds;
    json["first_seed"] = settings.repetitions.firstSeed;
    json["noise"] = settings.repetitions.noise;
    json["table"] = settings.table;
    json["hard_scenes"] = ordered_json::array();
    for (const HardResult& result : results) {
        ordered_json scene = {{"scene", result.scene}, {"coverage", MeanCoverage(result)}};
        scene.update(PooledToJson(Pool(result, &HardFigures::all)));
        scene["in_shadow"] = PooledToJson(Pool(result, &HardFigures::unlit));
        scene["clipped"] = PooledToJson(Pool(result, &HardFigures::clipped));
        scene["moved"] = PooledToJson(Pool(result, &HardFigures::moved));
        json["hard_scenes"].push_back(std::move(scene));
    }
    return json;
}

void PrintHardReport(const AccuracySettings& settings, std::span<const HardResult> results, std::ostream& out)
{
    constexpr double percent = 100.0, tenThousand = 1e4;
    constexpr int nameWidth = 32, width = 12;
    const auto print = [&](const auto&... cells) { ((out << std::setw(width) << cells), ...) << "\n"; };
    out << "Over " << settings.repetitions.seeds << " seeds from " << settings.repetitions.firstSeed
        << " with " << settings.repetitions.noise
        << " times the sensor's noise; wrong codes and ghosts in 10,000 points\n";
    out << std::left << std::setw(nameWidth) << "  scene" << std::right;
    print("points", "coverage, %", "wrong", "ghosts", "RMS, mm", "worst, mm");
    for (const HardResult& result : results) {
        const PooledErrors all = Pool(result, &HardFigures::all);
        out << "  " << std::left << std::setw(nameWidth - 2) << result.scene << std::right << std::fixed
            << std::setprecision(0) << std::setw(width) << all.points << std::setprecision(2)
            << std::setw(width) << percent * MeanCoverage(result) << std::setw(width)
            << tenThousand * all.wrongShare << std::setw(width) << tenThousand * all.ghostShare
            << std::setprecision(4);
        print(all.rmsMm, all.worstMm);
        out << std::defaultfloat;
    }
}

} // namespace app
