// How exactly a target's corners are found: many rendered images of it, located and held against the truth.
#pragma once

#include "scanner/calibration/boardaccuracy.h"
#include "scanner/calibration/boardlocator.h"
#include "scanner/device/checkerboard.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace calibration {

struct BoardExperiment
{
    std::size_t poses = 12;
    std::uint64_t seed = 1; ///< of the first pose and of its noise; the next pose has the next one
    device::Checkerboard board;
    device::BoardPoses range;
    device::TargetImaging imaging; ///< but for the seed
};

/// The nominal board before the default device's camera, with blur 0.8 pixels and noise of 2 grey levels.
BoardExperiment DefaultExperiment();

/// An image of the experiment, with grey levels as a camera delivers them where it has noise.
/// @param pose from 0
device::RenderedBoard RenderPose(const BoardExperiment& experiment, std::size_t pose);

struct BoardExperimentResult
{
    BoardAccuracy accuracy;
    LocationTimes meanTimes;                ///< of an image
    std::vector<std::uint64_t> failedSeeds; ///< of the images in which the target was not identified
    std::vector<std::uint64_t> wrongSeeds;  ///< of those with a wrong name
};

/// @param locator knows the experiment's board
/// @throws std::invalid_argument as `device::RenderBoard` and `device::DrawBoardPlacement`
BoardExperimentResult Run(const BoardExperiment& experiment, BoardLocator& locator);

} // namespace calibration
