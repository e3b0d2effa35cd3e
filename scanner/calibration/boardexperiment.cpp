#include "scanner/calibration/boardexperiment.h"

#include "lxccbcalibthres.h"
#include "orx/logging/logger.h"
#include "scanner/calibration/imageview.h"
#include "scanner/device/virtualdevice.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <utility>

namespace calibration {

BoardExperiment DefaultExperiment()
{
    BoardExperiment experiment;
    experiment.imaging.camera = device::DeviceParameters().camera;
    experiment.imaging.blur = 0.8;
    experiment.imaging.noise = 2.0;
    return experiment;
}

device::RenderedBoard RenderPose(const BoardExperiment& experiment, std::size_t pose)
{
    device::TargetImaging imaging = experiment.imaging;
    imaging.seed = experiment.seed + pose;
    return device::RenderBoard(
        experiment.board,
        device::DrawBoardPlacement(experiment.board, imaging.camera, experiment.range, imaging.seed),
        imaging);
}

double AngleFromDiagonal(const device::Checkerboard& board, std::span<const device::TargetCorner> truth)
{
    constexpr double none = 90.0, diagonal = 45.0, halfTurn = 180.0;
    constexpr std::size_t corners = 4;
    constexpr std::array<std::pair<std::size_t, std::size_t>, 4> sides{{{0, 1}, {2, 3}, {0, 2}, {1, 3}}};
    const std::array<int, 4> marked = board.MarkedIds();
    double least = none;
    for (std::size_t first = 0; first + corners <= truth.size(); first += corners) {
        if (std::find(marked.begin(), marked.end(), truth[first].square) == marked.end()) {
            continue;
        }
        for (const auto& [a, b] : sides) {
            const device::Vec2 from = truth[first + a].image, to = truth[first + b].image;
            const double angle = std::atan2(std::abs(to.y - from.y), std::abs(to.x - from.x));
            least = std::min(least, std::abs(angle * halfTurn / std::numbers::pi - diagonal));
        }
    }
    return least;
}

double BoardExperimentResult::NamedShareUpright() const
{
    return uprightVisible == 0 ? 1.0
                               : static_cast<double>(uprightNamed) / static_cast<double>(uprightVisible);
}

BoardExperimentResult Run(const BoardExperiment& experiment, BoardLocator& locator)
{
    BoardStatistics statistics;
    BoardExperimentResult result;
    StageTimes sum;
    for (std::size_t pose = 0; pose < experiment.poses; ++pose) {
        device::RenderedBoard rendered = RenderPose(experiment, pose);
        const LocatedBoard found = [&] {
            const Logging::CCapture quiet; // what was not identified is counted
            return locator.Locate(ViewOf(rendered.image));
        }();
        sum += found.times;
        const BoardComparison comparison =
            CompareWithTruth(found.marks, rendered.corners, rendered.image.width, rendered.image.height,
                             locator.Thresholds().m_iImgMargin);
        const bool isIdentified = found.error == LxCV::eCalibOk;
        statistics.Add(comparison, isIdentified);
        if (AngleFromDiagonal(experiment.board, rendered.corners) < c_diagonal) {
            ++result.diagonal;
            result.diagonalFailed += isIdentified ? 0 : 1;
        } else {
            result.uprightVisible += comparison.visible;
            result.uprightNamed += comparison.visibleNamed;
        }
        if (!isIdentified) {
            result.failedSeeds.push_back(experiment.seed + pose);
        }
        if (comparison.wrong > 0) {
            result.wrongSeeds.push_back(experiment.seed + pose);
        }
    }
    result.accuracy = statistics.Summarise();
    result.meanTimes = sum.MeanOver(experiment.poses);
    return result;
}

} // namespace calibration
