#include "scanner/device/slidemarks.h"

#include "scanner/device/lensfield.h"
#include "scanner/device/random.h"

#include <algorithm>
#include <numbers>
#include <stdexcept>

namespace device {

namespace {

bool IsFinite(const Vec3& vector)
{
    return std::isfinite(vector.x) && std::isfinite(vector.y) && std::isfinite(vector.z);
}

/// Follows the light of slide positions to a plane and on into the camera.
class PlaneView
{
public:
    PlaneView(const VirtualDevice& device, const PlanePose& plane)
        : m_device(device), m_plane(plane), m_field(device.Parameters().camera, 0)
    {}

    void Complete(MarkCorner& corner) const
    {
        const Ray ray = m_device.RayFromSlide(corner.slide);
        const double distance =
            Dot(m_plane.normal, m_plane.point - ray.origin) / Dot(m_plane.normal, ray.direction);
        corner.pointInCamera = ray.origin + distance * ray.direction;
        corner.onPlane = distance > 0.0 && IsFinite(corner.pointInCamera) && corner.pointInCamera.z > 0.0;
        if (!corner.onPlane) {
            return;
        }
        const Vec3& point = corner.pointInCamera;
        const Vec2 direction{point.x / point.z, point.y / point.z};
        corner.image = m_field.GetLens().RasterFromDirection(direction);
        // The camera stands at the origin: both look at one side of the plane where both sides have one sign.
        const double ofCamera = Dot(m_plane.normal, m_plane.point);
        const double ofProjector = Dot(m_plane.normal, m_plane.point - ray.origin);
        corner.visible = ofCamera * ofProjector > 0.0 && OnSlide(corner.slide) && m_field.Holds(direction) &&
                         m_field.InRaster(corner.image);
    }

private:
    bool OnSlide(const Vec2& slide) const
    {
        const LensParameters& projector = m_device.Parameters().projector;
        return slide.x >= 0.0 && slide.x <= projector.width && slide.y >= 0.0 && slide.y <= projector.height;
    }

    const VirtualDevice& m_device;
    PlanePose m_plane;
    LensField m_field;
};

} // namespace

std::vector<MarkCorner> FindMarkCorners(const VirtualDevice& device, const PlanePose& plane)
{
    if (!IsFinite(plane.point) || !IsFinite(plane.normal) || !(Length(plane.normal) > 0.0)) {
        throw std::invalid_argument("a plane needs a finite point and a normal");
    }
    const PlaneView view(device, plane);
    const SlideParameters& slide = device.Parameters().slide;
    std::vector<MarkCorner> corners;
    corners.reserve(4 * slide.markCentres.size() * slide.markStripes.size());
    for (std::size_t row = 0; row < slide.markCentres.size(); ++row) {
        for (const int stripe : slide.markStripes) {
            for (int which = 0; which < 4; ++which) {
                MarkCorner corner;
                corner.stripe = stripe;
                corner.row = static_cast<int>(row);
                corner.corner = which;
                corner.slide.x =
                    slide.markCentres[row] + (which < 2 ? slide.markHalfLength : -slide.markHalfLength);
                corner.slide.y = static_cast<double>((stripe - 1 + which % 2) * slide.stripeWidth);
                view.Complete(corner);
                corners.push_back(corner);
            }
        }
    }
    return corners;
}

PlanePose DrawPlane(const PlaneRange& range, std::uint64_t seed)
{
    const bool fits = range.nearest > 0.0 && range.farthest >= range.nearest &&
                      std::isfinite(range.farthest) && range.steepestTilt >= 0.0 &&
                      range.steepestTilt < 0.5 * std::numbers::pi;
    if (!fits) {
        throw std::invalid_argument("the range of planes is empty");
    }
    const CounterRandom random(seed);
    const double depth = range.nearest + (range.farthest - range.nearest) * random.Uniform(0);
    const double tilt = range.steepestTilt * random.Uniform(1);
    const double towards = 2.0 * std::numbers::pi * random.Uniform(2);
    return {{0.0, 0.0, depth},
            {std::sin(tilt) * std::cos(towards), std::sin(tilt) * std::sin(towards), -std::cos(tilt)}};
}

} // namespace device
