// Exact places where stripe edges cross image columns.
#include "scanner/device/devicemodel.h"

#include <algorithm>

namespace device {

namespace {

/// A sample and the row where it was taken.
struct RowSample
{
    double row = 0.0;
    SurfaceSample sample;
};

/// Searches one image column.
class ColumnSearch
{
public:
    ColumnSearch(const DeviceModel& model, const Scene& scene, double col)
        : m_model(model), m_scene(scene), m_col(col), m_steepest(5.0 * model.SlideUnitsPerPixel())
    {}

    /// Appends every crossing between the rows of `a` and `b`. A break of the surface between them is closed in on
    /// by halves, so that both sides of it are searched.
    void Collect(const RowSample& a, const RowSample& b, int depth, std::vector<EdgeCrossing>& out) const
    {
        constexpr int c_maxDepth = 24; // 6e-8 pixels
        if (!a.sample.hit && !b.sample.hit) {
            return;
        }
        if (Joined(a, b, depth)) {
            CollectSmooth(a, b, out);
            return;
        }
        if (depth < c_maxDepth) {
            const RowSample middle = At(0.5 * (a.row + b.row));
            Collect(a, middle, depth + 1, out);
            Collect(middle, b, depth + 1, out);
        }
    }

    RowSample At(double row) const { return {row, m_model.Sample(m_scene, {m_col, row})}; }

    /// The crossing of one edge between two rows whose v lie on different sides of it; nothing at a break.
    std::optional<EdgeCrossing> Solve(int edge, double low, double missLow, double high,
                                      double missHigh) const
    {
        constexpr int c_maxSteps = 60;
        constexpr double c_exactV = 1e-7;    // slide units, about 1e-8 pixels
        constexpr double c_exactRow = 1e-12; // pixels
        double row = low, miss = missLow;
        for (int step = 0; step < c_maxSteps && high - low > c_exactRow; ++step) {
            const double secant = low - missLow * (high - low) / (missHigh - missLow);
            row = step % 4 != 3 && secant > low && secant < high ? secant : 0.5 * (low + high);
            miss = m_model.SlideV(m_scene, {m_col, row}) - m_model.EdgePosition(edge);
            if (!(std::abs(miss) > c_exactV)) {
                break;
            }
            if ((miss < 0.0) == (missLow < 0.0)) {
                low = row;
                missLow = miss;
            } else {
                high = row;
                missHigh = miss;
            }
        }
        constexpr double c_noBreak = 1e-4; // slide units; steep surfaces miss c_exactV by rounding of the row
        if (!(std::abs(miss) < c_noBreak)) {
            return std::nullopt;
        }
        return Crossing(edge, row);
    }

private:
    /// Whether one smooth piece of surface reaches from `a` to `b`. Near a silhouette v becomes ever steeper, so that
    /// small intervals count as joined however steep; `Solve` finds no crossing at a break.
    bool Joined(const RowSample& a, const RowSample& b, int depth) const
    {
        constexpr int c_steepDepth = 5;
        if (!a.sample.hit || !b.sample.hit || a.sample.surface != b.sample.surface) {
            return false;
        }
        return depth >= c_steepDepth ||
               std::abs(b.sample.slide.y - a.sample.slide.y) < m_steepest * (b.row - a.row);
    }

    void CollectSmooth(const RowSample& a, const RowSample& b, std::vector<EdgeCrossing>& out) const
    {
        const double vA = a.sample.slide.y, vB = b.sample.slide.y;
        const double width = m_model.Parameters().slide.stripeWidth;
        const double lastEdge = m_model.LastEdge();
        const int first = static_cast<int>(
            std::clamp(std::floor(std::min(vA, vB) / width) + 1.0, 1.0 * c_firstEdge, lastEdge + 1.0));
        const int last =
            static_cast<int>(std::clamp(std::ceil(std::max(vA, vB) / width) + 1.0, 0.0, lastEdge));
        for (int edge = first; edge <= last; ++edge) {
            const double position = m_model.EdgePosition(edge);
            if ((vA < position) == (vB < position)) {
                continue;
            }
            if (const auto crossing = Solve(edge, a.row, vA - position, b.row, vB - position)) {
                out.push_back(*crossing);
            }
        }
    }

    std::optional<EdgeCrossing> Crossing(int edge, double row) const
    {
        const RowSample found = At(row);
        const double u = found.sample.slide.x;
        if (!found.sample.hit || u < 0.0 || u > m_model.Parameters().projector.width) {
            return std::nullopt;
        }
        return EdgeCrossing{
            edge, row, found.sample.point, m_model.WorldFromCamera(found.sample.point), u, found.sample.lit};
    }

    const DeviceModel& m_model;
    const Scene& m_scene;
    double m_col;
    double m_steepest; ///< slide units per pixel; more between two rows is looked into more closely
};

} // namespace

std::vector<EdgeCrossing> FindCrossings(const DeviceModel& model, const Scene& scene, double col,
                                        const std::vector<SurfaceSample>& samples)
{
    const ColumnSearch search(model, scene, col);
    std::vector<EdgeCrossing> crossings;
    for (std::size_t row = 1; row < samples.size(); ++row) {
        search.Collect({static_cast<double>(row - 1), samples[row - 1]},
                       {static_cast<double>(row), samples[row]}, 0, crossings);
    }
    std::sort(crossings.begin(), crossings.end(),
              [](const EdgeCrossing& a, const EdgeCrossing& b) { return a.row < b.row; });
    return crossings;
}

std::optional<EdgeCrossing> FindCrossingNear(const DeviceModel& model, const Scene& scene, const Vec2& image,
                                             int edge, double reach)
{
    constexpr double c_spacing = 0.25; // pixels; two crossings of one edge are farther apart
    const ColumnSearch search(model, scene, image.x);
    const int steps = static_cast<int>(std::ceil(std::clamp(reach, 0.0, 1e4) / c_spacing));
    std::optional<EdgeCrossing> nearest;
    double lastMiss = std::numeric_limits<double>::quiet_NaN();
    for (int step = -steps; step <= steps; ++step) {
        const double row = image.y + step * c_spacing;
        const double miss = model.SlideV(scene, {image.x, row}) - model.EdgePosition(edge);
        const bool crossed = (lastMiss < 0.0 && miss >= 0.0) || (lastMiss >= 0.0 && miss < 0.0);
        if (crossed) {
            const auto crossing = search.Solve(edge, row - c_spacing, lastMiss, row, miss);
            const bool nearer =
                crossing && std::abs(crossing->row - image.y) <= reach &&
                (!nearest || std::abs(crossing->row - image.y) < std::abs(nearest->row - image.y));
            if (nearer) {
                nearest = crossing;
            }
        }
        lastMiss = miss;
    }
    return nearest;
}

} // namespace device
