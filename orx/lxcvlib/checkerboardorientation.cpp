// The tables of the four orientations of a checkerboard target.
#include "checkerboardorientation.h"

#include <array>

namespace LxCV {
namespace {

constexpr int c_NrOrientations = 4;

struct Orientation
{
    std::array<EDirection, 4> direction; // on the target, by direction in the image
    std::array<int, 4> corner;           // of the square's world coordinates, by place in the image
};

constexpr std::array<Orientation, c_NrOrientations> c_Orientations = {{
    {{eD_Left, eD_Right, eD_Up, eD_Down}, {1, 2, 3, 4}},
    {{eD_Down, eD_Up, eD_Left, eD_Right}, {3, 1, 4, 2}},
    {{eD_Right, eD_Left, eD_Down, eD_Up}, {4, 3, 2, 1}},
    {{eD_Up, eD_Down, eD_Right, eD_Left}, {2, 4, 1, 3}},
}};

bool IsKnown(ECalibOrientation orientation)
{
    return orientation >= eCO_NoTurn && orientation <= eCO_ThreeQuarterTurn;
}

const Orientation& TablesOf(ECalibOrientation orientation)
{
    return c_Orientations[IsKnown(orientation) ? static_cast<std::size_t>(orientation) : 0];
}

std::int64_t StepTowards(EDirection onTarget, std::int64_t columns)
{
    switch (onTarget) {
    case eD_Left:
        return -1;
    case eD_Right:
        return 1;
    case eD_Up:
        return -columns;
    case eD_Down:
        break;
    }
    return columns;
}

} // namespace

CheckerboardIdSteps GetCheckerboardIdSteps(ECalibOrientation orientation, int columns)
{
    const Orientation& tables = TablesOf(orientation);
    return {StepTowards(tables.direction[eD_Right], columns),
            StepTowards(tables.direction[eD_Down], columns)};
}

EDirection GetDirectionOnTarget(ECalibOrientation orientation, EDirection inImage)
{
    return TablesOf(orientation).direction[static_cast<unsigned int>(inImage) & 3U];
}

int GetCornerOnTarget(ECalibOrientation orientation, int place)
{
    return TablesOf(orientation).corner[static_cast<unsigned int>(place) & 3U];
}

bool HasNeighborOnTarget(int id, int columns, int rows, EDirection onTarget)
{
    // In 64 bits the smallest int can be divided by -1.
    const std::int64_t wideId = id;
    const std::int64_t wideColumns = columns;
    if (wideColumns == 0) {
        return false;
    }
    switch (onTarget) {
    case eD_Left:
        return wideId % wideColumns != 1;
    case eD_Right:
        return wideId % wideColumns != 0;
    case eD_Up:
        return wideId > wideColumns;
    case eD_Down:
        break;
    }
    return (wideId - 1) / wideColumns != rows;
}

bool HasNeighborInImage(int id, int columns, int rows, ECalibOrientation orientation, EDirection inImage)
{
    return !IsKnown(orientation) ||
           HasNeighborOnTarget(id, columns, rows, GetDirectionOnTarget(orientation, inImage));
}

} // namespace LxCV
