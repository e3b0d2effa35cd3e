// How exactly a target's corners are found: many rendered images of it, located and held against the truth.
#pragma once

#include "scanner/calibration/boardaccuracy.h"
#include "scanner/calibration/boardlocator.h"
#include "scanner/device/checkerboard.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace calibration {

inline constexpr double c_diagonal = 2.0; ///< degrees

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
    StageTimes meanTimes;                   ///< of an image
    std::vector<std::uint64_t> failedSeeds; ///< of the images in which the target was not identified
    std::vector<std::uint64_t> wrongSeeds;  ///< of those with a wrong name

    /// Images in which a side of a marked square runs within `c_diagonal` of a diagonal of the pixels: the target tells
    /// horizontal edges from vertical ones, and there they are neither.
    std::size_t diagonal = 0;
    std::size_t diagonalFailed = 0; ///< of them, those in which the target was not identified
    std::size_t uprightVisible = 0; ///< visible corners of the other images
    std::size_t uprightNamed = 0;   ///< of them, those that were named

    /// Share of the visible corners that were named in images that are not diagonal; 1 where none is visible.
    double NamedShareUpright() const;
};

/// The least angle (degrees) between a diagonal of the pixels and a side of a marked square.
/// @param truth corners of the board; 90 where none of them is of a marked square
double AngleFromDiagonal(const device::Checkerboard& board, std::span<const device::TargetCorner> truth);

/// @param locator knows the experiment's board
/// @throws std::invalid_argument as `device::RenderBoard` and `device::DrawBoardPlacement`
BoardExperimentResult Run(const BoardExperiment& experiment, BoardLocator& locator);

} // namespace calibration
