// The artefacts of the acceptance test and where they stand.
#pragma once

#include "scanner/device/geometry.h"
#include "scanner/device/scene.h"

#include <memory>
#include <string>
#include <vector>

namespace acceptance {

/// A flat that fills the field of view; mm, camera frame.
struct FlatPose
{
    std::string name;
    device::Vec3 point;
    device::Vec3 normal;
};

/// A bar with a ball at each end; centres in mm, camera frame.
struct BarPlacement
{
    std::string name;
    device::Vec3 first;
    device::Vec3 second;
};

/// The measuring volume is the field of view at 33 mm, 17 by 13 mm, times the working range of 16 mm; its diagonal is
/// 26.7 mm. Balls may have 2 to 20 percent of it for a diameter, and the bar has at least 30 percent between centres.
inline constexpr double c_ballRadius = 2.5; // mm
inline constexpr double c_barLength = 8.4;  // mm
inline constexpr double c_stepHeight = 3.0; // mm

/// Eight poses: across the view at three distances, the middle one of 33 mm first, and tilted to all sides.
std::vector<FlatPose> FlatPoses();

/// Seven placements of one bar: along the image's axes and diagonals, and rising in depth.
std::vector<BarPlacement> BarPlacements();

std::unique_ptr<device::Scene> MakeFlat(const FlatPose& pose);

/// A single ball, surface 0.
std::unique_ptr<device::Scene> MakeProbe();
std::unique_ptr<device::Scene> MakeBar(const BarPlacement& placement);

/// Two planes across the view, `c_stepHeight` apart.
std::unique_ptr<device::Scene> MakeStep();

/// Signed distance (mm) of a point from the wall of the step, positive over the far plane.
double DistanceFromWall(const device::Vec3& point);

} // namespace acceptance
