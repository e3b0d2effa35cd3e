// Where the camera sees the marks of the projected slide on a plane.
#pragma once

#include "scanner/device/virtualdevice.h"

#include <cstdint>
#include <vector>

namespace device {

/// A plane: mm, camera frame.
struct PlanePose
{
    Vec3 point;
    Vec3 normal; ///< of any length and to either side
};

/// A corner of a mark on the slide, and where its light meets a plane.
struct MarkCorner
{
    int stripe = 0; ///< number, from 1
    int row = 0;    ///< index of the mark's centre, from 0
    int corner = 0; ///< 0, 1: at larger u; 2, 3: at smaller u; of each pair the one at smaller v comes first
    Vec2 slide;     ///< u along the stripes, v across, slide units
    bool onPlane =
        false; ///< whether the projector's ray meets the plane, in front of the projector and the camera
    Vec3 pointInCamera;   ///< mm
    Vec2 image;           ///< pixels, exact to rounding
    bool visible = false; ///< on the plane, lit from the side that the camera sees, within the image
};

/// The corners of all marks of the device's slide on a plane: row of marks by row of marks in the order of the slide's
/// mark centres, in each the stripes in their order, of each mark (u + h, v), (u + h, v + w), (u - h, v),
/// (u - h, v + w) with its centre u, half length h, the stripe's begin v and width w.
/// @throws std::invalid_argument for a normal of no direction and for numbers that are not finite
std::vector<MarkCorner> FindMarkCorners(const VirtualDevice& device, const PlanePose& plane);

/// Which planes `DrawPlane` draws.
struct PlaneRange
{
    double nearest = 30.0;      ///< mm, depth at which the plane crosses the camera's axis
    double farthest = 37.0;     ///< mm
    double steepestTilt = 0.26; ///< radians, between the plane's normal and the camera's axis
};

/// A random plane: depth, tilt and the tilt's direction evenly distributed. The same seed gives the same plane.
/// @throws std::invalid_argument for an empty range
PlanePose DrawPlane(const PlaneRange& range, std::uint64_t seed);

} // namespace device
