// Steps, directions and corners of a checkerboard target in each of its four orientations.
#pragma once

#include "ecaliborientation.h"
#include "orx/base/export.h"

#include <cstdint>

namespace LxCV {

/// A direction in the image, and on the target the direction that it is at orientation 0.
enum EDirection : int
{
    eD_Left = 0,
    eD_Right = 1,
    eD_Up = 2,
    eD_Down = 3
};

/// What the id of a square changes by for one square to the right (`x`) and one downwards (`y`) in the image.
/// 64 bits, so that no number of columns overflows.
struct CheckerboardIdSteps
{
    std::int64_t x;
    std::int64_t y;
};

/// The steps on a target with `columns` squares a row, whose ids count row by row from 1. An orientation that is
/// not known, or none of the four, gives those of orientation 0.
ORX_EXPORT CheckerboardIdSteps GetCheckerboardIdSteps(ECalibOrientation orientation, int columns);

/// The direction on the target that `inImage` is; `inImage` itself for an orientation that is not known.
ORX_EXPORT EDirection GetDirectionOnTarget(ECalibOrientation orientation, EDirection inImage);

/// Which of a square's four world coordinates (1 upper left, 2 upper right, 3 lower left, 4 lower right as seen at
/// orientation 0) belongs to the corner that is seen at `place` (0 upper left, 1 upper right, 2 lower left, 3
/// lower right in the image; only its two lowest bits count). An orientation that is not known counts as 0.
ORX_EXPORT int GetCornerOnTarget(ECalibOrientation orientation, int place);

/// Whether the target goes on from square `id` towards `onTarget`, by the ids alone:
///
///     left   id mod columns is not 1
///     right  id mod columns is not 0
///     up     id > columns
///     down   (id - 1) / columns is not rows
///
/// Downwards deliberately compares with the number of rows and not with the last row: it is true for every square
/// of the target, so that a square found below the last row is an id out of range, and not a square unseen.
/// Remainder and quotient are those of the language, also of negative ids. Without columns all are false.
ORX_EXPORT bool HasNeighborOnTarget(int id, int columns, int rows, EDirection onTarget);

/// The same for a direction in the image. Always true for an orientation that is not known.
ORX_EXPORT bool HasNeighborInImage(int id, int columns, int rows, ECalibOrientation orientation,
                                   EDirection inImage);

} // namespace LxCV
