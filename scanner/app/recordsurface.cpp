// Joining of points to triangles, and the STL file of them.
#include "scanner/app/recordsurface.h"

#include "lxcfloat3.h"
#include "lxsscandatacct.h"
#include "pixelelements.h"
#include "scanner/app/filecontent.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

namespace app {

namespace {

using LxCV::LxCFloat3;
using Point = std::array<float, 3>;
using Vector = std::array<double, 3>;

static_assert(std::endian::native == std::endian::little, "the STL writer copies floats as they lie");

Vector Between(const Point& from, const Point& to)
{
    return {static_cast<double>(to[0]) - from[0], static_cast<double>(to[1]) - from[1],
            static_cast<double>(to[2]) - from[2]};
}

double Dot(const Vector& a, const Vector& b)
{
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

double SquaredDistance(const Point& a, const Point& b)
{
    return Dot(Between(a, b), Between(a, b));
}

/// Twice the area long.
Vector NormalOf(const SurfaceTriangle& triangle)
{
    const Vector a = Between(triangle[0], triangle[1]);
    const Vector b = Between(triangle[0], triangle[2]);
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

/// Joins the points of a record, cell by cell.
class SurfaceBuilder
{
public:
    SurfaceBuilder(const LxCV::LxSScanDataCCT& record, float depthStep)
        : m_depthStep(depthStep), m_width(record.GetFull3DPoints()->GetWidth()),
          m_points(LxCV::ElementsOf<LxCFloat3>(*record.GetFull3DPoints())),
          m_valid(LxCV::ElementsOf<std::uint8_t>(*record.GetFullValidMask()))
    {}

    /// Adds the triangles of the cell between a column and a stripe edge and the next ones.
    void AddCell(int column, int edge)
    {
        const std::size_t first = static_cast<std::size_t>(edge) * static_cast<std::size_t>(m_width) +
                                  static_cast<std::size_t>(column);
        const std::size_t below = first + static_cast<std::size_t>(m_width);
        // Around the cell, so that neighbours in this list are neighbours in the cell.
        const std::array<std::size_t, 4> places{first, first + 1, below + 1, below};
        std::array<Point, 4> corners{};
        std::size_t count = 0;
        for (const std::size_t place : places) {
            if (m_valid[place] == 1) {
                const LxCFloat3& point = m_points[place];
                corners[count++] = {point.get(0), point.get(1), point.get(2)};
            }
        }
        const auto& [a, b, c, d] = corners;
        if (count == 3) {
            Add({a, b, c});
        } else if (count == 4 && SquaredDistance(a, c) <= SquaredDistance(b, d)) {
            Add({a, b, c});
            Add({a, c, d});
        } else if (count == 4) {
            Add({a, b, d});
            Add({b, c, d});
        }
    }

    std::vector<SurfaceTriangle> Take() { return std::move(m_surface); }

private:
    void Add(SurfaceTriangle triangle)
    {
        const auto [nearest, farthest] = std::minmax({triangle[0][2], triangle[1][2], triangle[2][2]});
        const Vector normal = NormalOf(triangle);
        // Also false for points that are nowhere.
        if (!(farthest - nearest <= m_depthStep) || !(Dot(normal, normal) > 0.0)) {
            return;
        }
        const Point origin{};
        if (Dot(normal, Between(origin, triangle[0])) > 0.0) {
            std::swap(triangle[1], triangle[2]);
        }
        m_surface.push_back(triangle);
    }

    float m_depthStep;
    int m_width;
    std::span<const LxCFloat3> m_points;
    std::span<const std::uint8_t> m_valid;
    std::vector<SurfaceTriangle> m_surface;
};

void Append(std::string& content, const auto& value)
{
    const std::size_t end = content.size();
    content.resize(end + sizeof(value));
    std::memcpy(content.data() + end, &value, sizeof(value));
}

} // namespace

std::vector<SurfaceTriangle> SurfaceOf(const LxCV::LxSScanDataCCT& record, float depthStep)
{
    SurfaceBuilder builder(record, depthStep);
    for (int edge = 0; edge + 1 < record.GetFull3DPoints()->GetHeight(); ++edge) {
        for (int column = 0; column + 1 < record.GetFull3DPoints()->GetWidth(); ++column) {
            builder.AddCell(column, edge);
        }
    }
    return builder.Take();
}

void WriteStl(const std::filesystem::path& file, std::span<const SurfaceTriangle> surface)
{
    constexpr std::size_t headerLength = 80;
    constexpr std::size_t triangleLength = 50;
    // No such file begins with "solid", which is how texts begin.
    std::string content = "Binary STL, millimetres, camera frame";
    content.resize(headerLength, ' ');
    content.reserve(headerLength + sizeof(std::uint32_t) + triangleLength * surface.size());
    Append(content, static_cast<std::uint32_t>(surface.size()));
    for (const SurfaceTriangle& triangle : surface) {
        const Vector normal = NormalOf(triangle);
        const double length = std::sqrt(Dot(normal, normal));
        Append(content, Point{static_cast<float>(normal[0] / length), static_cast<float>(normal[1] / length),
                              static_cast<float>(normal[2] / length)});
        Append(content, triangle);
        Append(content, std::uint16_t{0});
    }
    WriteContent(file, content);
}

} // namespace app
