#include "scanner/acceptance/fits.h"

#include "matrixroutines.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace acceptance {

namespace {

/// Squared extents of point sets that differ by less than this factor cannot be told apart from rounding.
constexpr double c_flat = 1e-12;

using Matrix3 = std::array<double, 9>;

Vec3 CentreOf(std::span<const Vec3> points)
{
    const Vec3 sum = std::accumulate(points.begin(), points.end(), Vec3{});
    return (1.0 / static_cast<double>(points.size())) * sum;
}

/// Adds the outer products of the points around `centre`.
void AddScatter(std::span<const Vec3> points, const Vec3& centre, Matrix3& scatter)
{
    for (const Vec3& point : points) {
        const Vec3 d = point - centre;
        const std::array<double, 3> at{d.x, d.y, d.z};
        for (std::size_t row = 0; row < at.size(); ++row) {
            for (std::size_t column = 0; column < at.size(); ++column) {
                scatter[3 * row + column] += at[row] * at[column];
            }
        }
    }
}

struct Axes
{
    std::array<double, 3> extents{}; ///< eigenvalues, descending
    Vec3 shortest;                   ///< direction of the least extent
};

std::optional<Axes> AxesOf(Matrix3 scatter)
{
    Axes axes;
    Matrix3 vectors{};
    if (!LxCV::ComputeJacobiEigen(scatter.data(), 3, axes.extents.data(), vectors.data())) {
        return std::nullopt;
    }
    axes.shortest = {vectors[2], vectors[5], vectors[8]};
    return axes;
}

/// The normal of points that spread over a plane.
std::optional<Vec3> NormalOf(const Matrix3& scatter)
{
    const std::optional<Axes> axes = AxesOf(scatter);
    if (!axes || !(axes->extents[1] > c_flat * axes->extents[0])) {
        return std::nullopt;
    }
    return axes->shortest.z < 0.0 ? -1.0 * axes->shortest : axes->shortest;
}

using Unknowns = std::array<double, 4>; ///< centre and radius, or what stands for it

/// Normal equations of up to four unknowns.
class NormalEquations
{
public:
    explicit NormalEquations(int unknowns) : m_unknowns(unknowns) {}

    void Add(const Unknowns& gradient, double value)
    {
        for (int row = 0; row < m_unknowns; ++row) {
            const double factor = gradient[static_cast<std::size_t>(row)];
            for (int column = 0; column < m_unknowns; ++column) {
                m_matrix[static_cast<std::size_t>(row * m_unknowns + column)] +=
                    factor * gradient[static_cast<std::size_t>(column)];
            }
            m_right[static_cast<std::size_t>(row)] += factor * value;
        }
    }

    /// @return nothing where the equations do not determine the unknowns; unknowns that are not sought are 0
    std::optional<Unknowns> Solve()
    {
        const bool isSolved = LxCV::SolveGaussJordan(m_matrix.data(), m_unknowns, m_right.data(), 1);
        const bool isFinite = std::ranges::all_of(m_right, [](double value) { return std::isfinite(value); });
        return isSolved && isFinite ? std::optional(m_right) : std::nullopt;
    }

private:
    int m_unknowns;
    std::array<double, 16> m_matrix{};
    Unknowns m_right{};
};

/// The sphere that minimises the sum of (|p - c|² - r²)², which is linear in c and r² - |c|².
std::optional<Sphere> FitAlgebraic(std::span<const Vec3> points)
{
    NormalEquations equations(4);
    for (const Vec3& p : points) {
        equations.Add({2.0 * p.x, 2.0 * p.y, 2.0 * p.z, 1.0}, Dot(p, p));
    }
    const std::optional<Unknowns> solved = equations.Solve();
    if (!solved) {
        return std::nullopt;
    }
    const Vec3 centre{(*solved)[0], (*solved)[1], (*solved)[2]};
    const double squared = (*solved)[3] + Dot(centre, centre);
    return squared > 0.0 ? std::optional(Sphere{centre, std::sqrt(squared)}) : std::nullopt;
}

double SumOfSquares(std::span<const Vec3> points, const Sphere& sphere)
{
    double sum = 0.0;
    for (const Vec3& point : points) {
        const double distance = sphere.DistanceTo(point);
        sum += distance * distance;
    }
    return sum;
}

/// The change of centre and radius by which the linearised distances have the least squares.
std::optional<Unknowns> GaussNewtonStep(std::span<const Vec3> points, const Sphere& sphere,
                                        bool isRadiusKnown)
{
    NormalEquations equations(isRadiusKnown ? 3 : 4);
    for (const Vec3& point : points) {
        const Vec3 towards = point - sphere.centre;
        const double length = Length(towards);
        if (length > 0.0) {
            equations.Add({towards.x / length, towards.y / length, towards.z / length, 1.0},
                          length - sphere.radius);
        }
    }
    return equations.Solve();
}

Sphere Moved(const Sphere& sphere, const Unknowns& step, double share)
{
    return {sphere.centre + share * Vec3{step[0], step[1], step[2]}, sphere.radius + share * step[3]};
}

/// Gauss-Newton with steps that are halved until the sum of squares does not grow.
std::optional<Sphere> Refine(std::span<const Vec3> points, Sphere sphere, bool isRadiusKnown)
{
    constexpr int c_mostSteps = 100, c_mostHalvings = 30;
    constexpr double c_exact = 1e-12; // of the radius
    double sum = SumOfSquares(points, sphere);
    for (int step = 0; step < c_mostSteps; ++step) {
        const std::optional<Unknowns> change = GaussNewtonStep(points, sphere, isRadiusKnown);
        if (!change) {
            return std::nullopt;
        }
        const double length =
            std::sqrt(std::inner_product(change->begin(), change->end(), change->begin(), 0.0));
        if (length <= c_exact * sphere.radius) {
            return sphere;
        }
        double share = 1.0, moved = sum;
        Sphere next = sphere;
        for (int halving = 0; halving <= c_mostHalvings; ++halving, share *= 0.5) {
            next = Moved(sphere, *change, share);
            moved = next.radius > 0.0 ? SumOfSquares(points, next) : sum + 1.0;
            if (moved < sum) {
                break;
            }
        }
        if (!(moved < sum)) { // the sum's own rounding is reached
            return sphere;
        }
        sphere = next;
        sum = moved;
    }
    return std::nullopt;
}

/// Points by rising absolute distance from a shape; of equal ones the earlier first.
template <typename Shape, typename Point>
std::vector<std::size_t> OrderByDistance(std::span<const Point> points, const Shape& shape)
{
    std::vector<double> distances(points.size());
    std::ranges::transform(points, distances.begin(),
                           [&](const Point& point) { return std::abs(shape.DistanceTo(point)); });
    std::vector<std::size_t> order(points.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::ranges::stable_sort(order, {}, [&](std::size_t index) { return distances[index]; });
    return order;
}

template <typename Shape, typename Point>
Deviations DeviationsOf(std::span<const Point> points, std::span<const std::size_t> order, std::size_t kept,
                        const Shape& shape)
{
    Deviations deviations;
    deviations.points = points.size();
    deviations.rejected = points.size() - kept;
    deviations.least = deviations.greatest = shape.DistanceTo(points[order[0]]);
    double sum = 0.0, sumOfKept = 0.0;
    for (std::size_t place = 0; place < order.size(); ++place) {
        const double distance = shape.DistanceTo(points[order[place]]);
        sum += distance * distance;
        deviations.largestOfAll = std::max(deviations.largestOfAll, std::abs(distance));
        if (place < kept) {
            deviations.least = std::min(deviations.least, distance);
            deviations.greatest = std::max(deviations.greatest, distance);
            sumOfKept = sum;
        }
    }
    deviations.rms = std::sqrt(sumOfKept / static_cast<double>(kept));
    deviations.rmsOfAll = std::sqrt(sum / static_cast<double>(points.size()));
    return deviations;
}

/// @param fit finds the shape of a span of points, or nothing
template <typename Shape, typename Point, typename Fit>
std::optional<Fitted<Shape>> FitWithoutOutliers(std::span<const Point> points, const Fit& fit)
{
    constexpr int c_mostPasses = 50;
    const std::size_t kept =
        points.size() - static_cast<std::size_t>(c_rejectedShare * static_cast<double>(points.size()));
    std::vector<std::size_t> chosen(points.size()); // ascending
    std::iota(chosen.begin(), chosen.end(), std::size_t{0});
    std::vector<Point> inliers(points.begin(), points.end());
    std::optional<Fitted<Shape>> fitted;
    for (int pass = 0; pass < c_mostPasses; ++pass) {
        const std::optional<Shape> shape = fit(inliers);
        if (!shape) {
            return std::nullopt;
        }
        const std::vector<std::size_t> order = OrderByDistance(points, *shape);
        fitted = Fitted<Shape>{*shape, DeviationsOf(points, order, kept, *shape)};
        std::vector<std::size_t> next(order.begin(), order.begin() + static_cast<std::ptrdiff_t>(kept));
        std::ranges::sort(next);
        if (next == chosen) {
            break;
        }
        chosen = std::move(next);
        inliers.clear();
        for (const std::size_t index : chosen) {
            inliers.push_back(points[index]);
        }
    }
    return fitted;
}

} // namespace

std::optional<Plane> FitPlane(std::span<const Vec3> points)
{
    constexpr std::size_t c_fewest = 3;
    if (points.size() < c_fewest) {
        return std::nullopt;
    }
    const Vec3 centre = CentreOf(points);
    Matrix3 scatter{};
    AddScatter(points, centre, scatter);
    const std::optional<Vec3> normal = NormalOf(scatter);
    return normal ? std::optional(Plane{*normal, Dot(*normal, centre)}) : std::nullopt;
}

std::optional<ParallelPlanes> FitParallelPlanes(std::span<const SidedPoint> points)
{
    constexpr std::size_t c_fewest = 4;
    std::array<std::vector<Vec3>, 2> sides;
    for (const SidedPoint& point : points) {
        sides.at(point.side).push_back(point.position);
    }
    if (sides[0].empty() || sides[1].empty() || points.size() < c_fewest) {
        return std::nullopt;
    }
    const std::array<Vec3, 2> centres{CentreOf(sides[0]), CentreOf(sides[1])};
    Matrix3 scatter{};
    AddScatter(sides[0], centres[0], scatter);
    AddScatter(sides[1], centres[1], scatter);
    const std::optional<Vec3> normal = NormalOf(scatter);
    if (!normal) {
        return std::nullopt;
    }
    return ParallelPlanes{*normal, {Dot(*normal, centres[0]), Dot(*normal, centres[1])}};
}

std::optional<Sphere> FitSphere(std::span<const Vec3> points, std::optional<double> radius)
{
    constexpr std::size_t c_fewest = 4;
    if (points.size() < c_fewest || (radius && !(*radius > 0.0 && std::isfinite(*radius)))) {
        return std::nullopt;
    }
    const Vec3 origin = CentreOf(points);
    Matrix3 scatter{};
    AddScatter(points, origin, scatter);
    const std::optional<Axes> axes = AxesOf(scatter);
    if (!axes || !(axes->extents[2] > c_flat * axes->extents[0])) {
        return std::nullopt;
    }
    // Around the centre of the points and in units of their extent, so that no sum loses digits.
    const double unit = std::sqrt(axes->extents[0] / static_cast<double>(points.size()));
    std::vector<Vec3> scaled(points.size());
    std::ranges::transform(points, scaled.begin(),
                           [&](const Vec3& point) { return (1.0 / unit) * (point - origin); });
    std::optional<Sphere> sphere = FitAlgebraic(scaled);
    if (!sphere) {
        return std::nullopt;
    }
    if (radius) {
        sphere->radius = *radius / unit;
    }
    sphere = Refine(scaled, *sphere, radius.has_value());
    return sphere
               ? std::optional(Sphere{origin + unit * sphere->centre, radius.value_or(unit * sphere->radius)})
               : std::nullopt;
}

std::optional<Fitted<Plane>> MeasurePlane(std::span<const Vec3> points)
{
    return FitWithoutOutliers<Plane>(points, FitPlane);
}

std::optional<Fitted<ParallelPlanes>> MeasureParallelPlanes(std::span<const SidedPoint> points)
{
    return FitWithoutOutliers<ParallelPlanes>(
        points, [](std::span<const SidedPoint> kept) { return FitParallelPlanes(kept); });
}

std::optional<Fitted<Sphere>> MeasureSphere(std::span<const Vec3> points, std::optional<double> radius)
{
    return FitWithoutOutliers<Sphere>(points,
                                      [&](std::span<const Vec3> kept) { return FitSphere(kept, radius); });
}

} // namespace acceptance
