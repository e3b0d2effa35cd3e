// Normals of whole lines at a time, with wider vectors where the processor has them.
#include "normalkernels.h"

#include "scankernels.h"
#include "scratchvector.h"
#include "vectorunits.h"

#include <array>
#include <bit>
#include <cmath>
#include <limits>

namespace LxCV::NormalKernels {

namespace {

using ScanKernels::c_uiValid;

// What is called per point is inlined into the bodies at the end, which are compiled twice. Without contraction both
// round alike.

struct SVector
{
    float x;
    float y;
    float z;
};

[[gnu::always_inline]] inline SVector operator-(const SVector& a, const SVector& b)
{
    return {a.x - b.x, a.y - b.y, a.z - b.z};
}

[[gnu::always_inline]] inline SVector operator+(const SVector& a, const SVector& b)
{
    return {a.x + b.x, a.y + b.y, a.z + b.z};
}

[[gnu::always_inline]] inline SVector Cross(const SVector& a, const SVector& b)
{
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

/// The bits of `value` where all bits of `mask` are set, those of `other` where none is.
[[gnu::always_inline]] inline float Select(std::int32_t mask, float value, float other)
{
    return std::bit_cast<float>((std::bit_cast<std::int32_t>(value) & mask) |
                                (std::bit_cast<std::int32_t>(other) & ~mask));
}

/// The normal of a sum of products; zero where it is too short, not a number, or not wanted.
///
/// The bits of floats from 0 upwards are ordered as integers, and those above infinity are not numbers. Masks of
/// integers, unlike branches on floats, become vector code: a length that does not count is replaced before the
/// division, whose result is dropped.
[[gnu::always_inline]] inline SVector NormalOf(const SVector& sum, std::int32_t isWanted)
{
    constexpr auto c_iTooShort = std::bit_cast<std::int32_t>(c_fMinSquaredLength);
    constexpr auto c_iInfinite = std::bit_cast<std::int32_t>(std::numeric_limits<float>::infinity());
    const float squared = sum.x * sum.x + sum.y * sum.y + sum.z * sum.z;
    const auto bits = std::bit_cast<std::int32_t>(squared);
    const std::int32_t counts =
        -static_cast<std::int32_t>(bits > c_iTooShort) & -static_cast<std::int32_t>(bits <= c_iInfinite);
    const float length = std::sqrt(Select(counts, squared, 1.0F));
    const std::int32_t keeps = counts & -isWanted;
    return {Select(keeps, -(sum.x / length), 0.0F), Select(keeps, -(sum.y / length), 0.0F),
            Select(keeps, -(sum.z / length), 0.0F)};
}

SVector VectorOf(const LxCFloat3& point)
{
    return {point.get(0), point.get(1), point.get(2)};
}

/// The normal of any point, also at the border of the grid; zero for one that is not valid.
SVector NormalAt(const SGrid& grid, std::size_t index)
{
    const std::size_t inLine = index % grid.lineLength;
    const bool hasA = inLine > 0;
    const bool hasB = inLine + 1 < grid.lineLength;
    const bool hasC = index >= grid.lineLength;
    const bool hasD = grid.points.size() - index > grid.lineLength;
    const SVector point = VectorOf(grid.points[index]);
    const auto to = [&](bool exists, std::size_t neighbour) {
        return exists ? VectorOf(grid.points[neighbour]) - point : SVector{};
    };
    const SVector a = to(hasA, index - 1);
    const SVector b = to(hasB, index + 1);
    const SVector c = to(hasC, index - grid.lineLength);
    const SVector d = to(hasD, index + grid.lineLength);
    SVector sum{};
    sum = hasA && hasC ? sum + Cross(a, c) : sum;
    sum = hasA && hasD ? sum + Cross(d, a) : sum;
    sum = hasB && hasC ? sum + Cross(c, b) : sum;
    sum = hasB && hasD ? sum + Cross(b, d) : sum;
    return NormalOf(sum, static_cast<std::int32_t>(grid.mask[index] == c_uiValid));
}

/// The coordinates of a line, each in an array of its own.
class CLine
{
public:
    explicit CLine(std::size_t length) : m_Length(length), m_vfValues(3 * length) {}

    float* X() { return m_vfValues.data(); }
    float* Y() { return X() + m_Length; }
    float* Z() { return Y() + m_Length; }

    const float* X() const { return m_vfValues.data(); }
    const float* Y() const { return X() + m_Length; }
    const float* Z() const { return Y() + m_Length; }

    [[gnu::always_inline]] void Load(const LxCFloat3* points)
    {
        const auto* const floats = reinterpret_cast<const float*>(points);
        float* const x = X();
        float* const y = Y();
        float* const z = Z();
        for (std::size_t i = 0; i < m_Length; ++i) {
            x[i] = floats[3 * i];
            y[i] = floats[3 * i + 1];
            z[i] = floats[3 * i + 2];
        }
    }

    [[gnu::always_inline]] void Store(LxCFloat3* points) const
    {
        auto* const floats = reinterpret_cast<float*>(points);
        const float* const x = X();
        const float* const y = Y();
        const float* const z = Z();
        for (std::size_t i = 0; i < m_Length; ++i) {
            floats[3 * i] = x[i];
            floats[3 * i + 1] = y[i];
            floats[3 * i + 2] = z[i];
        }
    }

private:
    std::size_t m_Length;
    ScratchVector<float> m_vfValues;
};

/// The coordinates of the points of a line.
struct SLineView
{
    explicit SLineView(const CLine& line) : x(line.X()), y(line.Y()), z(line.Z()) {}

    [[gnu::always_inline]] SVector operator[](std::size_t i) const { return {x[i], y[i], z[i]}; }

    const float* x;
    const float* y;
    const float* z;
};

/// Normals of all points of a line but the first and the last one, each coordinate in an array of its own.
[[gnu::always_inline]] inline void InnerNormals(const SLineView& before, const SLineView& line,
                                                const SLineView& behind, std::span<const std::uint8_t> mask,
                                                float* __restrict nx, float* __restrict ny,
                                                float* __restrict nz)
{
    const std::uint8_t* const valid = mask.data();
    const std::size_t end = mask.size() - 1;
    for (std::size_t i = 1; i < end; ++i) {
        const SVector point = line[i];
        const SVector a = line[i - 1] - point;
        const SVector b = line[i + 1] - point;
        const SVector c = before[i] - point;
        const SVector d = behind[i] - point;
        const SVector sum = Cross(a, c) + Cross(d, a) + Cross(c, b) + Cross(b, d);
        const SVector normal = NormalOf(sum, static_cast<std::int32_t>(valid[i] == c_uiValid));
        nx[i] = normal.x;
        ny[i] = normal.y;
        nz[i] = normal.z;
    }
}

/// Clears the normal masks of points that are not valid. @return the number of valid ones
[[gnu::always_inline]] inline std::size_t StoreMasks(std::span<const std::uint8_t> mask,
                                                     std::span<std::uint8_t> normalMask)
{
    std::size_t valid = 0;
    for (std::size_t i = 0; i < mask.size(); ++i) {
        const bool isValid = mask[i] == c_uiValid;
        normalMask[i] = static_cast<std::uint8_t>(normalMask[i] & -static_cast<int>(isValid));
        valid += isValid ? 1 : 0;
    }
    return valid;
}

void StoreAtBorder(const SGrid& grid, std::size_t index)
{
    const SVector normal = NormalAt(grid, index);
    grid.normals[index].set(normal.x, normal.y, normal.z);
}

/// The first or the last line, or any line of a grid without inner points.
void BorderLine(const SGrid& grid, std::size_t first)
{
    for (std::size_t i = 0; i < grid.lineLength; ++i) {
        StoreAtBorder(grid, first + i);
    }
}

[[gnu::always_inline]] inline void InnerLinesBody(const SGrid& grid)
{
    const std::size_t length = grid.lineLength;
    std::array<CLine, 3> lines = {CLine(length), CLine(length), CLine(length)};
    CLine normals(length);
    lines[0].Load(&grid.points[0]);
    lines[1].Load(&grid.points[length]);
    for (std::size_t first = length, n = 1; first + length < grid.points.size(); first += length, ++n) {
        lines[(n + 1) % 3].Load(&grid.points[first + length]);
        InnerNormals(SLineView(lines[(n - 1) % 3]), SLineView(lines[n % 3]), SLineView(lines[(n + 1) % 3]),
                     grid.mask.subspan(first, length), normals.X(), normals.Y(), normals.Z());
        normals.Store(&grid.normals[first]);
        StoreAtBorder(grid, first);
        StoreAtBorder(grid, first + length - 1);
    }
}

void InnerLines(const SGrid& grid)
{
    InnerLinesBody(grid);
}

#if defined(__x86_64__)
[[gnu::target("avx2")]] void InnerLinesWide(const SGrid& grid)
{
    InnerLinesBody(grid);
}
#else
constexpr auto InnerLinesWide = InnerLines;
#endif

bool IsWhole(const SGrid& grid)
{
    const std::size_t points = grid.points.size();
    return grid.lineLength > 0 && points % grid.lineLength == 0 && grid.mask.size() == points &&
           grid.normals.size() == points && grid.normalMask.size() == points;
}

} // namespace

std::size_t ComputeNormals(const SGrid& grid)
{
    if (!IsWhole(grid) || grid.points.empty()) {
        return 0;
    }
    constexpr std::size_t c_uiMinInnerLength = 3; // below, all points lie at the border
    const std::size_t length = grid.lineLength;
    const std::size_t count = grid.points.size();
    BorderLine(grid, 0);
    if (length >= c_uiMinInnerLength && count > 2 * length) {
        (VectorUnits::AreWide() ? InnerLinesWide : InnerLines)(grid);
    } else {
        for (std::size_t first = length; first + length < count; first += length) {
            BorderLine(grid, first);
        }
    }
    if (count > length) {
        BorderLine(grid, count - length);
    }
    return StoreMasks(grid.mask, grid.normalMask);
}

} // namespace LxCV::NormalKernels
