// Which points of a measurement count, by where they lie.
#pragma once

#include "lxc3dcoordscct.h"
#include "lxcroi.h"

namespace LxCV {
class LxCCCLAlgoConfig;
}

namespace decoder {

/// The part of an image that is measured: `region` is told in pixels of the sensor's window, 658 by 494. In an image
/// of another size its left and upper border and its right and lower one stay as wide as they are in the window, so
/// that without borders it is the whole image; what would reach beyond the image is cut off.
/// @param width, height pixels of the image
/// @return not beyond the image; of no size where nothing is left
LxCV::LxCRoi MeasuredRegion(const LxCV::LxCRoi& region, int width, int height);

/// Drops points by their position as the active preset wants it.
///
/// Depth culling drops what is farther than z = `FocalDistance_mm` + `DepthCulling_mm` in the camera frame. Without a
/// positive `DepthCulling_mm` the depth is not calibrated, and nothing is dropped.
///
/// Exit-window culling drops what lies on the camera's side of the window, the plane of all points p with n p = d in
/// the camera frame, n being the normal at unit length and d the distance in mm: the origin's side, that of n p < d for
/// positive d and that of n p > d for negative d. So (n, d) and (-n, -d) tell one window, and it does not matter whether
/// the normal points into the scene or back. A zero normal or distance, which is that of a window which is not calibrated,
/// drops nothing, and neither do values that are not finite.
///
/// Points on the limit or in the plane are kept.
class PointCulling
{
public:
    explicit PointCulling(const LxCV::LxCCCLAlgoConfig& config);

    /// @param position mm, camera frame, finite
    bool IsKept(const LxCV::LxC3DCoordsCCT& position) const
    {
        return position.z <= m_farthest && m_normal.Dot(position) >= m_nearest;
    }

private:
    double m_farthest;             ///< mm, camera frame; z
    LxCV::LxC3DCoordsCCT m_normal; ///< unit vector, from the camera towards the window; zero without a window
    double m_nearest;              ///< mm, camera frame; along the normal
};

} // namespace decoder
