#include "scanner/device/meshpieces.h"

#include <algorithm>
#include <numeric>
#include <tuple>

namespace device {

namespace {

constexpr double c_cosineOfCrease = 0.8660254037844386; // 30 degrees

/// A side of a triangle between two places, the lower one first.
struct Side
{
    std::uint32_t from = 0;
    std::uint32_t to = 0;
    std::uint32_t triangle = 0;
    std::uint32_t opposite = 0; ///< vertex
};

/// The first vertex at the place of each vertex.
std::vector<std::uint32_t> FindPlaces(const std::vector<Vec3>& vertices)
{
    std::vector<std::uint32_t> order(vertices.size());
    std::iota(order.begin(), order.end(), 0U);
    const auto key = [&](std::uint32_t i) { return std::tuple(vertices[i].x, vertices[i].y, vertices[i].z); };
    std::ranges::sort(order, [&](std::uint32_t a, std::uint32_t b) {
        return std::tuple_cat(key(a), std::tuple(a)) < std::tuple_cat(key(b), std::tuple(b));
    });
    std::vector<std::uint32_t> places(vertices.size());
    for (std::size_t i = 0; i < order.size(); ++i) {
        const bool isSame = i > 0 && key(order[i]) == key(order[i - 1]);
        places[order[i]] = isSame ? places[order[i - 1]] : order[i];
    }
    return places;
}

std::vector<Side> FindSides(const Mesh& mesh)
{
    const std::vector<std::uint32_t> places = FindPlaces(mesh.vertices);
    std::vector<Side> sides;
    sides.reserve(3 * mesh.triangles.size());
    for (std::size_t i = 0; i < mesh.triangles.size(); ++i) {
        const Corners& corners = mesh.triangles[i];
        for (std::size_t k = 0; k < corners.size(); ++k) {
            const std::uint32_t a = places[corners[k]], b = places[corners[(k + 1) % 3]];
            sides.push_back(
                {std::min(a, b), std::max(a, b), static_cast<std::uint32_t>(i), corners[(k + 2) % 3]});
        }
    }
    std::ranges::sort(sides, [](const Side& a, const Side& b) {
        return std::tie(a.from, a.to, a.triangle, a.opposite) <
               std::tie(b.from, b.to, b.triangle, b.opposite);
    });
    return sides;
}

/// The direction from a triangle's side to its other corner, square to the side.
Vec3 Away(const Mesh& mesh, const Side& side)
{
    const Vec3 along = Normalized(mesh.vertices[side.to] - mesh.vertices[side.from]);
    const Vec3 across = mesh.vertices[side.opposite] - mesh.vertices[side.from];
    return Normalized(across - Dot(across, along) * along);
}

/// Two triangles are flat where they reach to opposite directions from their common side.
bool IsSmooth(const Mesh& mesh, const Side& one, const Side& other)
{
    return Dot(Away(mesh, one), Away(mesh, other)) <= -c_cosineOfCrease;
}

/// Sets of triangles, each named by one of them.
class Sets
{
public:
    explicit Sets(std::size_t count) : m_parents(count) { std::iota(m_parents.begin(), m_parents.end(), 0U); }

    std::uint32_t Find(std::uint32_t i)
    {
        while (m_parents[i] != i) {
            m_parents[i] = m_parents[m_parents[i]];
            i = m_parents[i];
        }
        return i;
    }

    /// The lower name stays.
    void Join(std::uint32_t a, std::uint32_t b)
    {
        const std::uint32_t x = Find(a), y = Find(b);
        m_parents[std::max(x, y)] = std::min(x, y);
    }

private:
    std::vector<std::uint32_t> m_parents;
};

} // namespace

std::vector<int> FindSmoothPieces(const Mesh& mesh)
{
    const std::vector<Side> sides = FindSides(mesh);
    Sets sets(mesh.triangles.size());
    for (std::size_t first = 0; first < sides.size(); ++first) {
        constexpr std::size_t c_mostNeighbours = 8; // more triangles at one side are no surface
        const std::size_t end = std::min(sides.size(), first + c_mostNeighbours);
        for (std::size_t next = first + 1; next < end; ++next) {
            if (sides[next].from != sides[first].from || sides[next].to != sides[first].to) {
                break;
            }
            if (IsSmooth(mesh, sides[first], sides[next])) {
                sets.Join(sides[first].triangle, sides[next].triangle);
            }
        }
    }
    std::vector<int> pieces(mesh.triangles.size());
    int count = 0;
    for (std::size_t i = 0; i < pieces.size(); ++i) {
        const std::uint32_t name = sets.Find(static_cast<std::uint32_t>(i));
        pieces[i] = name == i ? count++ : pieces[name];
    }
    return pieces;
}

} // namespace device
