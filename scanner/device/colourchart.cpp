// Places on a chart of patches, and the chart as a scene.
#include "scanner/device/colourchart.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <stdexcept>

namespace device {

namespace {

constexpr std::size_t c_mostPatches = 10'000;

class ChartScene : public Scene
{
public:
    explicit ChartScene(const ColourChart& chart) : m_chart(chart) {}

    std::optional<Hit> Intersect(const Ray& ray) const override
    {
        const double distance = (m_chart.depth - ray.origin.z) / ray.direction.z;
        if (!(distance > 0.0) || !std::isfinite(distance)) {
            return std::nullopt;
        }
        const Vec3 at = ray.origin + distance * ray.direction;
        const Vec3 normal{0.0, 0.0, ray.direction.z > 0.0 ? -1.0 : 1.0};
        return Hit{distance, at, normal, m_chart.PatchAt({at.x, at.y})};
    }

    Colour Albedo(const Hit& hit) const override
    {
        return hit.surface >= 0 ? m_chart.albedos[static_cast<std::size_t>(hit.surface)] : Colour{};
    }

    bool Hides(const Vec3&, const Vec3&) const override { return false; }

private:
    ColourChart m_chart;
};

bool IsAlbedo(const Colour& colour)
{
    return std::ranges::all_of(colour, [](double share) { return share >= 0.0 && share <= 1.0; });
}

} // namespace

int ColourChart::PatchAt(const Vec2& point, double margin) const
{
    const int rows = static_cast<int>(albedos.size()) / columns;
    const double width = (greatest.x - least.x) / columns, height = (greatest.y - least.y) / rows;
    const double x = point.x - least.x, y = point.y - least.y;
    if (!(x >= 0.0 && x < width * columns && y >= 0.0 && y < height * rows)) {
        return -1;
    }
    const int column = std::min(static_cast<int>(x / width), columns - 1);
    const int row = std::min(static_cast<int>(y / height), rows - 1);
    const double inX = x - column * width, inY = y - row * height;
    const bool isInside = std::min(inX, width - inX) >= margin && std::min(inY, height - inY) >= margin;
    return isInside ? row * columns + column : -1;
}

std::unique_ptr<Scene> MakeColourChart(const ColourChart& chart)
{
    const bool isFinite = std::isfinite(chart.depth) && std::isfinite(chart.least.x) &&
                          std::isfinite(chart.least.y) && std::isfinite(chart.greatest.x) &&
                          std::isfinite(chart.greatest.y);
    if (!isFinite || chart.depth <= 0.0 || chart.greatest.x <= chart.least.x ||
        chart.greatest.y <= chart.least.y) {
        throw std::invalid_argument("a chart of colours needs a positive depth and a rectangle");
    }
    if (chart.columns < 1 || chart.albedos.empty() || chart.albedos.size() > c_mostPatches ||
        chart.albedos.size() % static_cast<std::size_t>(chart.columns) != 0) {
        throw std::invalid_argument("a chart of colours needs whole rows of patches");
    }
    if (!std::ranges::all_of(chart.albedos, IsAlbedo)) {
        throw std::invalid_argument("the patches of a chart reflect from none to all of the light");
    }
    return std::make_unique<ChartScene>(chart);
}

} // namespace device
