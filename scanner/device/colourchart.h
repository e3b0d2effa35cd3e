// A flat chart of coloured patches.
#pragma once

#include "scanner/device/scene.h"

#include <memory>
#include <vector>

namespace device {

/// Patches of known colour on the plane z = `depth`, in equal cells that fill a rectangle; the rest of the plane is
/// black. The patch with the index i lies in column i modulo `columns` and row i / `columns`, columns along x, rows
/// along y.
struct ColourChart
{
    double depth = 33.7;         ///< mm, camera frame
    Vec2 least{-7.5, -5.5};      ///< mm, camera frame
    Vec2 greatest{7.5, 5.5};     ///< mm, camera frame
    int columns = 6;             ///< 1 or more
    std::vector<Colour> albedos; ///< of whole rows

    /// The patch at a point of the plane that is at least `margin` (mm) away from the patch's border, or -1.
    int PatchAt(const Vec2& point, double margin = 0.0) const;
};

/// The chart as a scene; each patch is a surface of its own, numbered as it is.
/// @throws std::invalid_argument for numbers that describe no chart: albedos beside 0 to 1, a part of a row, an empty
/// rectangle, a depth that is not positive
std::unique_ptr<Scene> MakeColourChart(const ColourChart& chart);

} // namespace device
