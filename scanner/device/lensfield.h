// What a camera's image can hold: straight outlines of space become curved polygons on the raster.
#pragma once

#include "scanner/device/geometry.h"
#include "scanner/device/lens.h"

#include <span>
#include <vector>

namespace device {

/// A lens with the box of directions that its raster sees. Outside that box the distortion's polynomials may fold
/// back into the image, so that nothing out there is projected.
class LensField
{
public:
    /// @param margin pixels around the raster that belong to the field, too
    LensField(const LensParameters& camera, int margin);

    const Lens& GetLens() const { return m_lens; }

    /// Whether the box holds the direction.
    bool Holds(const Vec2& direction) const
    {
        return direction.x >= m_least.x && direction.x <= m_greatest.x && direction.y >= m_least.y &&
               direction.y <= m_greatest.y;
    }

    /// Whether a raster position lies on the raster's pixels, without the margin.
    bool InRaster(const Vec2& raster) const;

    /// The image of a flat polygon: the part of it in the field, with chords that leave the curved sides by less than
    /// 1e-5 pixels.
    /// @param corners mm, camera frame; may lie behind the camera
    /// @return raster positions; empty where the field holds nothing of it
    std::vector<Vec2> Outline(std::span<const Vec3> corners) const;

private:
    void AppendSide(const Vec2& from, const Vec2& to, std::vector<Vec2>& outline) const;

    Lens m_lens;
    Vec2 m_least; ///< directions
    Vec2 m_greatest;
};

} // namespace device
