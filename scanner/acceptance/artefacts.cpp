#include "scanner/acceptance/artefacts.h"

#include <cmath>
#include <numbers>

namespace acceptance {

using device::Vec3;

namespace {

constexpr device::Colour c_plaster{0.66, 0.70, 0.72};
constexpr double c_backdrop = 44.0; // mm, behind the working range
constexpr device::Vec2 c_acrossStep{0.6, 0.8};
constexpr double c_wall = 0.7; // mm, along c_acrossStep

/// The normal of a plane that was across the view and is turned about x, then about y.
Vec3 Tilted(double aboutX, double aboutY)
{
    const double x = aboutX * std::numbers::pi / 180.0, y = aboutY * std::numbers::pi / 180.0;
    return {-std::cos(x) * std::sin(y), std::sin(x), -std::cos(x) * std::cos(y)};
}

BarPlacement PlaceBar(const std::string& name, const Vec3& middle, const Vec3& along)
{
    const Vec3 half = 0.5 * c_barLength * Normalized(along);
    return {name, middle - half, middle + half};
}

} // namespace

std::vector<FlatPose> FlatPoses()
{
    const auto pose = [](const std::string& name, double depth, double aboutX, double aboutY) {
        return FlatPose{name, {0.0, 0.0, depth}, Tilted(aboutX, aboutY)};
    };
    return {pose("33 mm", 33.0, 0.0, 0.0),
            pose("28 mm", 28.0, 0.0, 0.0),
            pose("38 mm", 38.0, 0.0, 0.0),
            pose("33 mm, about x by 20", 33.0, 20.0, 0.0),
            pose("33 mm, about x by -20", 33.0, -20.0, 0.0),
            pose("33 mm, about y by 20", 33.0, 0.0, 20.0),
            pose("33 mm, about y by -20", 33.0, 0.0, -20.0),
            pose("35 mm, about x and y by 15", 35.0, 15.0, 15.0)};
}

std::vector<BarPlacement> BarPlacements()
{
    constexpr double slope = 0.7;
    constexpr Vec3 middle{0.0, 0.0, 34.0}, deeper{0.0, 0.0, 35.0};
    return {PlaceBar("along x", middle, {1.0, 0.0, 0.0}),
            PlaceBar("along y", middle, {0.0, 1.0, 0.0}),
            PlaceBar("along x + y", middle, {1.0, 1.0, 0.0}),
            PlaceBar("along x - y", middle, {1.0, -1.0, 0.0}),
            PlaceBar("along x, rising", deeper, {1.0, 0.0, slope}),
            PlaceBar("along y, rising", deeper, {0.0, 1.0, slope}),
            PlaceBar("along x + y, rising", deeper, {1.0, 1.0, 1.0})};
}

std::unique_ptr<device::Scene> MakeFlat(const FlatPose& pose)
{
    return device::MakePlane(pose.point, pose.normal, c_plaster);
}

std::unique_ptr<device::Scene> MakeProbe()
{
    return device::MakeBall({0.3, -0.2, 35.0}, c_ballRadius, c_backdrop, c_plaster);
}

std::unique_ptr<device::Scene> MakeBar(const BarPlacement& placement)
{
    return device::MakeBar(placement.first, placement.second, c_ballRadius, c_backdrop, c_plaster);
}

std::unique_ptr<device::Scene> MakeStep()
{
    constexpr double nearDepth = 31.5; // mm
    return device::MakeStep(nearDepth, nearDepth + c_stepHeight, c_acrossStep, c_wall, c_plaster);
}

double DistanceFromWall(const Vec3& point)
{
    return c_acrossStep.x * point.x + c_acrossStep.y * point.y - c_wall;
}

} // namespace acceptance
