// Planes and spheres of least squares through measured points.
#pragma once

#include "scanner/device/geometry.h"

#include <array>
#include <cstddef>
#include <optional>
#include <span>
#include <vector>

namespace acceptance {

using device::Vec3;

/// The points p with normal p = offset; mm.
struct Plane
{
    Vec3 normal{0.0, 0.0, 1.0}; ///< unit length, normal.z >= 0
    double offset = 0.0;

    /// Signed distance of a point, positive on the side that the normal points to.
    double DistanceTo(const Vec3& point) const { return Dot(normal, point) - offset; }
};

/// mm.
struct Sphere
{
    Vec3 centre;
    double radius = 0.0;

    /// Signed distance of a point, positive outside.
    double DistanceTo(const Vec3& point) const { return Length(point - centre) - radius; }
};

/// A point of one of the two sides of a step, mm.
struct SidedPoint
{
    Vec3 position;
    std::size_t side = 0; ///< 0 or 1
};

/// Two planes with one normal; mm.
struct ParallelPlanes
{
    Vec3 normal{0.0, 0.0, 1.0}; ///< unit length, normal.z >= 0
    std::array<double, 2> offsets{};

    /// Signed distance of a point from the plane of its side.
    double DistanceTo(const SidedPoint& point) const
    {
        return Dot(normal, point.position) - offsets[point.side];
    }
};

/// The plane with the least sum of squared distances (total least squares).
/// @return nothing for fewer than three points, for points on a line, and where a coordinate is not finite
std::optional<Plane> FitPlane(std::span<const Vec3> points);

/// The pair of planes with the least sum of squared distances of the points of either side from their own plane.
/// @return nothing where a side has no point, for fewer than four points, where the points of both sides, each around
///         their centre, lie along one line, and where a coordinate is not finite
std::optional<ParallelPlanes> FitParallelPlanes(std::span<const SidedPoint> points);

/// The sphere with the least sum of squared distances, by Gauss-Newton from the algebraic fit.
/// @param radius of the sphere (mm) where it is known; else it is fitted
/// @return nothing for fewer than four points, for points on a plane, where a coordinate or the radius is not finite
///         or the radius not positive, and where the iteration does not converge
std::optional<Sphere> FitSphere(std::span<const Vec3> points, std::optional<double> radius = std::nullopt);

/// How far points are from the shape that was fitted to them, mm.
struct Deviations
{
    std::size_t points = 0;   ///< that were measured
    std::size_t rejected = 0; ///< of them, those that the fit and the figures below leave out
    double least = 0.0;       ///< signed distance, like the next one
    double greatest = 0.0;
    double rms = 0.0;
    double rmsOfAll = 0.0;     ///< over the rejected points, too
    double largestOfAll = 0.0; ///< absolute distance, over the rejected points, too

    double Range() const { return greatest - least; }
};

/// The share of points that may be left out as outliers.
inline constexpr double c_rejectedShare = 0.003;

template <typename Shape>
struct Fitted
{
    Shape shape;
    Deviations deviations;
};

/// Fits without the points that are farthest from the shape: `c_rejectedShare` of them, rounded down. Which ones is
/// decided by repeated fits, until none changes sides.
/// @return nothing where the fit finds no shape
std::optional<Fitted<Plane>> MeasurePlane(std::span<const Vec3> points);
std::optional<Fitted<ParallelPlanes>> MeasureParallelPlanes(std::span<const SidedPoint> points);
std::optional<Fitted<Sphere>> MeasureSphere(std::span<const Vec3> points,
                                            std::optional<double> radius = std::nullopt);

} // namespace acceptance
