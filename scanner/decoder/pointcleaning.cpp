// Least depths of windows of pixels, and normals of points in a grid.
#include "scanner/decoder/pointcleaning.h"

#include "lxccclalgoconfig.h"
#include "lxclxcvlibsettings.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace decoder {

namespace {

constexpr int kReach = 3; ///< pixels; how far a near surface is felt beside it
constexpr int kWindow = 2 * kReach + 1;
constexpr int kMostEdges = 256; ///< numbers of 8 bits, which traced edges have
constexpr int kMargin = 1;      ///< places on each side of the grid without points
constexpr float kNoDepth = std::numeric_limits<float>::max();

std::size_t AreaOf(int width, int height, int margin)
{
    return static_cast<std::size_t>(width + 2 * margin) * static_cast<std::size_t>(height + 2 * margin);
}

int WholeRow(const MeasuredPoint& point)
{
    return static_cast<int>(point.edge.row);
}

void MoveTo(std::vector<MeasuredPoint>& points, std::size_t to, std::size_t from)
{
    if (to != from) {
        points[to] = points[from];
    }
}

struct Vector
{
    float x;
    float y;
    float z;
};

Vector operator-(const Vector& a, const Vector& b)
{
    return {a.x - b.x, a.y - b.y, a.z - b.z};
}

float Dot(const Vector& a, const Vector& b)
{
    return a.x * b.x + a.y * b.y + a.z * b.z;
}

Vector Cross(const Vector& a, const Vector& b)
{
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

} // namespace

PointCleaning::PointCleaning(const LxCV::LxCCCLAlgoConfig& config)
    : m_isWanted(config.GetActiveAlgorithmConfig().m_bClean3DData),
      m_minCosine(LxCV::LxCLxCVLibSettings::GetClean3DDataDotProductThresh()),
      m_maxStep(LxCV::LxCLxCVLibSettings::GetClean3DDataZDistThresh())
{}

void PointCleaning::Init(int width, int height, int edges)
{
    edges = std::min(edges, kMostEdges);
    if (width == m_width && height == m_height && edges == m_edges) {
        return;
    }
    m_least.resize(static_cast<std::size_t>(width + 2 * kReach));
    m_lines.assign(m_least.size() * kWindow, kNoDepth);
    m_grid.resize(AreaOf(width, edges, kMargin));
    m_isClear.resize(AreaOf(width, edges, kMargin));
    m_width = width;
    m_height = height;
    m_edges = edges;
}

bool PointCleaning::Has(const EdgePixel& edge) const
{
    return edge.column >= 0 && edge.column < m_width && edge.row >= 0.0 && edge.row < m_height &&
           edge.stripeEdge >= 0 && edge.stripeEdge < m_edges;
}

std::size_t PointCleaning::PlaceOf(const EdgePixel& edge) const
{
    return static_cast<std::size_t>(edge.stripeEdge + kMargin) *
               static_cast<std::size_t>(m_width + 2 * kMargin) +
           static_cast<std::size_t>(edge.column + kMargin);
}

void PointCleaning::Clean(int width, int height, int edges, std::vector<MeasuredPoint>& points)
{
    if (points.empty()) {
        return;
    }
    Init(width, height, edges);
    std::size_t inside = 0;
    std::ranges::fill(m_grid, GridPoint{});
    for (std::size_t i = 0; i < points.size(); ++i) {
        if (Has(points[i].edge)) {
            Place(points[i]);
            MoveTo(points, inside++, i);
        }
    }
    points.resize(inside);
    JudgeNormals();
    RemoveUnclear(points);
}

void PointCleaning::Place(const MeasuredPoint& point)
{
    m_grid[PlaceOf(point.edge)] = {static_cast<float>(point.position.x), static_cast<float>(point.position.y),
                                   static_cast<float>(point.position.z), 1.0F};
}

/// Goes down the image with the depths of as many rows at hand as a window has, and closes the gaps of what it leaves
/// out.
void PointCleaning::RemoveUnclear(std::vector<MeasuredPoint>& points)
{
    std::ranges::fill(m_lines, kNoDepth);
    std::size_t entering = 0;
    std::size_t judged = 0;
    std::size_t kept = 0;
    for (int row = -kReach; row < m_height && judged < points.size(); ++row) {
        const std::span line = Line(row + kReach);
        std::ranges::fill(line, kNoDepth);
        for (; entering < points.size() && WholeRow(points[entering]) <= row + kReach; ++entering) {
            float& nearest = line[static_cast<std::size_t>(points[entering].edge.column + kReach)];
            nearest = std::min(nearest, static_cast<float>(points[entering].position.z));
        }
        if (judged == entering || WholeRow(points[judged]) > row) {
            continue;
        }
        FindLeastOfColumns();
        for (; judged < entering && WholeRow(points[judged]) <= row; ++judged) {
            if (IsClear(points[judged])) {
                MoveTo(points, kept++, judged);
            }
        }
    }
    points.resize(kept);
}

/// Whether a point of the row in the middle of the window stays.
bool PointCleaning::IsClear(const MeasuredPoint& point) const
{
    const float* const window = &m_least[static_cast<std::size_t>(point.edge.column)];
    const float step = static_cast<float>(point.position.z) - *std::min_element(window, window + kWindow);
    return !(step > m_maxStep) && m_isClear[PlaceOf(point.edge)] != 0;
}

/// The depths of a row of pixels, with a margin at either side, in place of those of the row that leaves the window.
std::span<float> PointCleaning::Line(int row)
{
    return std::span(m_lines).subspan(static_cast<std::size_t>(row % kWindow) * m_least.size(),
                                      m_least.size());
}

void PointCleaning::FindLeastOfColumns()
{
    static_assert(kWindow == 7);
    const std::size_t size = m_least.size();
    const float* const lines = m_lines.data();
    for (std::size_t i = 0; i < size; ++i) {
        const float* const depth = lines + i;
        m_least[i] = std::min({depth[0], depth[size], depth[2 * size], depth[3 * size], depth[4 * size],
                               depth[5 * size], depth[6 * size]});
    }
}

void PointCleaning::JudgeNormals()
{
    const auto width = static_cast<std::ptrdiff_t>(m_width);
    const std::ptrdiff_t stride = width + 2 * kMargin;
    const float squaredCosine = m_minCosine > 0.0F ? m_minCosine * m_minCosine : 0.0F;
    for (int edge = kMargin; edge < m_edges + kMargin; ++edge) {
        const std::ptrdiff_t first = edge * stride + kMargin;
        const GridPoint* const points = m_grid.data() + first;
        std::int32_t* const __restrict isClear = m_isClear.data() + first;
        // From the point itself to a neighbour, which is nowhere where it is missing.
        const auto to = [points](std::ptrdiff_t i, std::ptrdiff_t neighbour) {
            const GridPoint& from = points[i];
            const GridPoint& end = points[i + neighbour];
            return Vector{end.isThere * (end.x - from.x), end.isThere * (end.y - from.y),
                          end.isThere * (end.z - from.z)};
        };
        for (std::ptrdiff_t i = 0; i < width; ++i) {
            const Vector point{points[i].x, points[i].y, points[i].z};
            const Vector normal = Cross(to(i, 1) - to(i, -1), to(i, stride) - to(i, -stride));
            const float along = Dot(normal, point);
            const float squaredLength = Dot(normal, normal);
            isClear[i] =
                static_cast<std::int32_t>(squaredLength > 0.0F) &
                static_cast<std::int32_t>(along * along >= squaredCosine * squaredLength * Dot(point, point));
        }
    }
}

} // namespace decoder
