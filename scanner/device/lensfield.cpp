#include "scanner/device/lensfield.h"

#include "scanner/device/clip.h"

#include <algorithm>
#include <limits>

namespace device {

LensField::LensField(const LensParameters& camera, int margin) : m_lens(camera)
{
    constexpr int c_steps = 32;        // along each border
    constexpr double c_reserve = 0.05; // of the box, for the border's bends between the steps
    const double none = std::numeric_limits<double>::infinity();
    Vec2 least{none, none}, greatest{-none, -none};
    const auto take = [&](double col, double row) {
        const Vec2 direction = m_lens.DirectionFromRaster({col, row});
        if (std::isfinite(direction.x) && std::isfinite(direction.y)) {
            least = {std::min(least.x, direction.x), std::min(least.y, direction.y)};
            greatest = {std::max(greatest.x, direction.x), std::max(greatest.y, direction.y)};
        }
    };
    const double left = -0.5 - margin, right = camera.width - 0.5 + margin;
    const double top = -0.5 - margin, bottom = camera.height - 0.5 + margin;
    for (int step = 0; step <= c_steps; ++step) {
        const double share = static_cast<double>(step) / c_steps;
        const double col = left + share * (right - left), row = top + share * (bottom - top);
        take(col, top);
        take(col, bottom);
        take(left, row);
        take(right, row);
    }
    const Vec2 reserve{c_reserve * (greatest.x - least.x), c_reserve * (greatest.y - least.y)};
    m_least = {least.x - reserve.x, least.y - reserve.y};
    m_greatest = {greatest.x + reserve.x, greatest.y + reserve.y};
}

bool LensField::InRaster(const Vec2& raster) const
{
    const LensParameters& camera = m_lens.Parameters();
    return raster.x >= -0.5 && raster.x <= camera.width - 0.5 && raster.y >= -0.5 &&
           raster.y <= camera.height - 0.5;
}

std::vector<Vec2> LensField::Outline(std::span<const Vec3> corners) const
{
    constexpr double c_nearest = 1e-3; // mm; closer to the camera's centre nothing is seen
    std::vector<Vec3> kept = ClipPolygon(std::vector<Vec3>(corners.begin(), corners.end()),
                                         [](const Vec3& p) { return p.z - c_nearest; });
    kept = ClipPolygon(kept, [this](const Vec3& p) { return p.x - m_least.x * p.z; });
    kept = ClipPolygon(kept, [this](const Vec3& p) { return m_greatest.x * p.z - p.x; });
    kept = ClipPolygon(kept, [this](const Vec3& p) { return p.y - m_least.y * p.z; });
    kept = ClipPolygon(kept, [this](const Vec3& p) { return m_greatest.y * p.z - p.y; });
    std::vector<Vec2> outline;
    for (std::size_t i = 0; i < kept.size(); ++i) {
        const Vec3& a = kept[i];
        const Vec3& b = kept[(i + 1) % kept.size()];
        AppendSide({a.x / a.z, a.y / a.z}, {b.x / b.z, b.y / b.z}, outline);
    }
    return outline;
}

void LensField::AppendSide(const Vec2& from, const Vec2& to, std::vector<Vec2>& outline) const
{
    constexpr double c_exact = 5e-6; // pixels
    constexpr double c_mostChords = 4096.0;
    const auto at = [&](double share) { return m_lens.RasterFromDirection(Between(from, to, share)); };
    // How far the curve leaves its chord, at three places; n chords leave it by n^2 times less.
    const Vec2 begin = at(0.0), end = at(1.0);
    double bend = 0.0;
    for (const double share : {0.25, 0.5, 0.75}) {
        const Vec2 curve = at(share);
        bend = std::max({bend, std::abs(curve.x - begin.x - share * (end.x - begin.x)),
                         std::abs(curve.y - begin.y - share * (end.y - begin.y))});
    }
    const int chords = static_cast<int>(std::clamp(std::ceil(std::sqrt(bend / c_exact)), 1.0, c_mostChords));
    outline.push_back(begin);
    for (int chord = 1; chord < chords; ++chord) {
        outline.push_back(at(static_cast<double>(chord) / chords));
    }
}

} // namespace device
