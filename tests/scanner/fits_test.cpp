#include "scanner/acceptance/fits.h"

#include "scanner/device/random.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <numbers>

namespace acceptance {
namespace {

constexpr double c_nan = std::numeric_limits<double>::quiet_NaN();
constexpr double c_infinity = std::numeric_limits<double>::infinity();

/// Random numbers of one trial, from -1 to 1 and normal ones.
class Draw
{
public:
    explicit Draw(std::uint64_t seed) : m_random(seed) {}

    double Uniform() { return 2.0 * m_random.Uniform(m_next++) - 1.0; }
    double Normal() { return m_random.Normal(m_next++); }
    Vec3 Direction()
    {
        Vec3 direction{Uniform(), Uniform(), Uniform()};
        while (!(Length(direction) > 0.1)) {
            direction = {Uniform(), Uniform(), Uniform()};
        }
        return Normalized(direction);
    }

private:
    device::CounterRandom m_random;
    std::uint64_t m_next = 0;
};

/// Points within 8 mm around the foot of the plane, off it by `noise` times a normal number.
std::vector<Vec3> PointsNear(const Plane& plane, std::size_t count, double noise, Draw& draw)
{
    std::vector<Vec3> points;
    for (std::size_t index = 0; index < count; ++index) {
        const Vec3 at{8.0 * draw.Uniform(), 8.0 * draw.Uniform(), 8.0 * draw.Uniform()};
        points.push_back(at - plane.DistanceTo(at) * plane.normal + noise * draw.Normal() * plane.normal);
    }
    return points;
}

/// Points on the part of a sphere that faces the camera, up to 60 degrees from the z axis.
std::vector<Vec3> PointsNear(const Sphere& sphere, std::size_t count, double noise, Draw& draw)
{
    std::vector<Vec3> points;
    while (points.size() < count) {
        const Vec3 direction = draw.Direction();
        if (direction.z < -0.5) {
            points.push_back(sphere.centre + (sphere.radius + noise * draw.Normal()) * direction);
        }
    }
    return points;
}

template <typename Shape, typename Point>
double SumOfSquares(const Shape& shape, std::span<const Point> points)
{
    double sum = 0.0;
    for (const Point& point : points) {
        sum += shape.DistanceTo(point) * shape.DistanceTo(point);
    }
    return sum;
}

/// The derivative of a function at 0 by central differences.
double DerivativeOf(const std::function<double(double)>& function)
{
    constexpr double step = 1e-4;
    return (function(step) - function(-step)) / (2.0 * step);
}

/// A turn of a unit vector by about `angle` towards a direction.
Vec3 Turned(const Vec3& vector, const Vec3& towards, double angle)
{
    return Normalized(vector + angle * towards);
}

TEST(Fits, PlaneOfExactPointsIsMet)
{
    constexpr double rounding = 1e-12; // of unit vectors and some 40 mm
    for (std::uint64_t trial = 0; trial < 1000; ++trial) {
        Draw draw(trial);
        Plane plane{draw.Direction(), 40.0 * draw.Uniform()};
        if (plane.normal.z < 0.0) {
            plane = {-1.0 * plane.normal, -plane.offset};
        }
        const auto fitted = FitPlane(PointsNear(plane, 20, 0.0, draw));
        ASSERT_TRUE(fitted.has_value()) << trial;
        ASSERT_NEAR(Length(fitted->normal - plane.normal), 0.0, rounding) << trial;
        ASSERT_NEAR(fitted->offset, plane.offset, 40.0 * rounding) << trial;
        ASSERT_GE(fitted->normal.z, 0.0);
    }
}

TEST(Fits, PlaneHasTheLeastSquaresOfItsNeighbours)
{
    for (std::uint64_t trial = 0; trial < 200; ++trial) {
        Draw draw(trial);
        const std::vector<Vec3> points = PointsNear(Plane{draw.Direction(), 5.0}, 50, 0.3, draw);
        const auto fitted = FitPlane(points);
        ASSERT_TRUE(fitted.has_value());
        const auto sum = [&](const Plane& plane) { return SumOfSquares<Plane, Vec3>(plane, points); };
        const Vec3 aside = draw.Direction();
        // The sum is some 4 mm² and bends by some 1000 mm² per radian²; the third order and rounding stay far below.
        constexpr double flat = 1e-5;
        EXPECT_NEAR(DerivativeOf([&](double d) {
                        return sum({fitted->normal, fitted->offset + d});
                    }),
                    0.0, flat);
        Vec3 centre;
        for (const Vec3& point : points) {
            centre = centre + (1.0 / 50.0) * point;
        }
        EXPECT_NEAR(DerivativeOf([&](double d) {
                        const Vec3 normal = Turned(fitted->normal, aside, d);
                        return sum({normal, Dot(normal, centre)});
                    }),
                    0.0, flat);
    }
}

TEST(Fits, ParallelPlanesMeetExactPointsAndHaveTheLeastSquares)
{
    for (std::uint64_t trial = 0; trial < 200; ++trial) {
        Draw draw(trial);
        const Vec3 normal = Normalized(Vec3{0.3 * draw.Uniform(), 0.3 * draw.Uniform(), 1.0});
        for (const double noise : {0.0, 0.2}) {
            std::vector<SidedPoint> points;
            for (std::size_t side = 0; side < 2; ++side) {
                const Plane plane{normal, side == 0 ? 31.5 : 34.5};
                for (const Vec3& point : PointsNear(plane, side == 0 ? 40 : 25, noise, draw)) {
                    points.push_back({point, side});
                }
            }
            const auto fitted = FitParallelPlanes(points);
            ASSERT_TRUE(fitted.has_value());
            if (noise == 0.0) {
                ASSERT_NEAR(fitted->offsets[1] - fitted->offsets[0], 3.0, 1e-11);
                ASSERT_NEAR(Length(fitted->normal - normal), 0.0, 1e-12);
            }
            for (std::size_t side = 0; side < 2; ++side) {
                EXPECT_NEAR(DerivativeOf([&](double d) {
                                ParallelPlanes moved = *fitted;
                                moved.offsets[side] += d;
                                return SumOfSquares<ParallelPlanes, SidedPoint>(moved, points);
                            }),
                            0.0, 1e-5);
            }
        }
    }
}

TEST(Fits, SphereOfExactPointsIsMet)
{
    for (std::uint64_t trial = 0; trial < 500; ++trial) {
        Draw draw(trial);
        const Sphere sphere{{5.0 * draw.Uniform(), 5.0 * draw.Uniform(), 35.0}, 3.0 + 2.0 * draw.Uniform()};
        const std::vector<Vec3> points = PointsNear(sphere, 60, 0.0, draw);
        constexpr double rounding =
            1e-10; // mm; the cap tells the depth of the centre some ten times worse than a point
        for (const bool isKnown : {false, true}) {
            const auto fitted = FitSphere(points, isKnown ? std::optional(sphere.radius) : std::nullopt);
            ASSERT_TRUE(fitted.has_value()) << trial;
            ASSERT_NEAR(Length(fitted->centre - sphere.centre), 0.0, rounding) << trial;
            ASSERT_NEAR(fitted->radius, sphere.radius, rounding) << trial;
        }
    }
}

TEST(Fits, SphereHasTheLeastSquaresOfItsNeighbours)
{
    for (std::uint64_t trial = 0; trial < 200; ++trial) {
        Draw draw(trial);
        const std::vector<Vec3> points = PointsNear(Sphere{{0.0, 0.0, 35.0}, 2.5}, 100, 0.1, draw);
        for (const bool isKnown : {false, true}) {
            const auto fitted = FitSphere(points, isKnown ? std::optional(2.5) : std::nullopt);
            ASSERT_TRUE(fitted.has_value());
            const auto slope = [&](const Vec3& centre, double radius) {
                return DerivativeOf([&](double d) {
                    const Sphere moved{fitted->centre + d * centre, fitted->radius + d * radius};
                    return SumOfSquares<Sphere, Vec3>(moved, points);
                });
            };
            constexpr double flat = 1e-6; // mm; the sum is about 1 mm² and bends by 200 per mm²
            EXPECT_NEAR(slope({1.0, 0.0, 0.0}, 0.0), 0.0, flat);
            EXPECT_NEAR(slope({0.0, 1.0, 0.0}, 0.0), 0.0, flat);
            EXPECT_NEAR(slope({0.0, 0.0, 1.0}, 0.0), 0.0, flat);
            if (!isKnown) {
                EXPECT_NEAR(slope({}, 1.0), 0.0, flat);
            }
        }
    }
}

TEST(Fits, FarFromTheOriginShapesAreMetAsWell)
{
    Draw draw(1);
    const Sphere sphere{{1e5, -2e5, 3e5}, 2.5};
    const auto fitted = FitSphere(PointsNear(sphere, 200, 0.0, draw));
    ASSERT_TRUE(fitted.has_value());
    constexpr double roundingOfPoints = 1e-9; // mm; 3e5 in double precision has steps of 6e-11
    EXPECT_NEAR(Length(fitted->centre - sphere.centre), 0.0, roundingOfPoints);
}

TEST(Fits, TooFewPointsHaveNoShape)
{
    Draw draw(1);
    EXPECT_FALSE(FitPlane({}).has_value());
    EXPECT_FALSE(FitPlane(PointsNear(Plane{}, 2, 0.0, draw)).has_value());
    EXPECT_FALSE(FitSphere({}).has_value());
    EXPECT_FALSE(FitSphere(PointsNear(Sphere{{}, 1.0}, 3, 0.0, draw)).has_value());
    EXPECT_FALSE(FitParallelPlanes({}).has_value());
    EXPECT_FALSE(MeasurePlane({}).has_value());
    EXPECT_FALSE(MeasureSphere({}).has_value());
    EXPECT_FALSE(MeasureParallelPlanes({}).has_value());
}

TEST(Fits, PointsOnALineHaveNoPlane)
{
    std::vector<Vec3> points;
    std::vector<SidedPoint> sided;
    for (int step = 0; step < 20; ++step) {
        points.push_back({0.1 * step, 0.7 * step - 3.0, 30.0 + 0.3 * step});
        sided.push_back({points.back(), static_cast<std::size_t>(step % 2)});
    }
    EXPECT_FALSE(FitPlane(points).has_value());
    EXPECT_FALSE(FitSphere(points).has_value());
    EXPECT_FALSE(FitParallelPlanes(sided).has_value());
    EXPECT_FALSE(FitPlane(std::vector<Vec3>(10, Vec3{1.0, 2.0, 3.0})).has_value());
}

TEST(Fits, PointsOnAPlaneHaveNoSphere)
{
    Draw draw(1);
    const std::vector<Vec3> points =
        PointsNear(Plane{device::Normalized({0.1, 0.2, 1.0}), 33.0}, 100, 0.0, draw);
    EXPECT_FALSE(FitSphere(points).has_value());
    EXPECT_FALSE(FitSphere(points, 2.5).has_value());
}

TEST(Fits, AStepNeedsPointsOnBothSides)
{
    Draw draw(1);
    std::vector<SidedPoint> points;
    for (const Vec3& point : PointsNear(Plane{{0.0, 0.0, 1.0}, 33.0}, 10, 0.0, draw)) {
        points.push_back({point, 0});
    }
    EXPECT_FALSE(FitParallelPlanes(points).has_value());
    points.push_back({{0.0, 0.0, 36.0}, 1});
    const auto fitted = FitParallelPlanes(points);
    ASSERT_TRUE(fitted.has_value());
    EXPECT_NEAR(fitted->offsets[1] - fitted->offsets[0], 3.0, 1e-12);
}

TEST(Fits, NumbersThatAreNoneOrInfiniteHaveNoShape)
{
    for (const double bad : {c_nan, c_infinity, -c_infinity, 1e200}) {
        Draw draw(1);
        std::vector<Vec3> points = PointsNear(Sphere{{0.0, 0.0, 35.0}, 2.5}, 400, 0.01, draw);
        points[7].y = bad;
        EXPECT_FALSE(FitPlane(points).has_value()) << bad;
        EXPECT_FALSE(FitSphere(points).has_value()) << bad;
        EXPECT_FALSE(MeasurePlane(points).has_value()) << bad;
        EXPECT_FALSE(MeasureSphere(points, 2.5).has_value()) << bad;
    }
}

TEST(Fits, ASenselessRadiusHasNoSphere)
{
    Draw draw(1);
    const std::vector<Vec3> points = PointsNear(Sphere{{0.0, 0.0, 35.0}, 2.5}, 50, 0.0, draw);
    for (const double radius : {0.0, -2.5, c_nan, c_infinity}) {
        EXPECT_FALSE(FitSphere(points, radius).has_value()) << radius;
    }
}

TEST(Fits, DeviationsAreThoseOfAHandCalculation)
{
    // Heights of +-1 at the corners of a square: products of height and place sum up to 0, so the plane is z = 0.
    const std::vector<Vec3> points{{-10, -10, 1}, {10, -10, -1}, {10, 10, 1}, {-10, 10, -1}};
    const auto fitted = MeasurePlane(points);
    ASSERT_TRUE(fitted.has_value());
    EXPECT_NEAR(fitted->shape.normal.z, 1.0, 1e-15);
    EXPECT_NEAR(fitted->deviations.rms, 1.0, 1e-14);
    EXPECT_NEAR(fitted->deviations.Range(), 2.0, 1e-14);
    EXPECT_EQ(fitted->deviations.points, 4U);
    EXPECT_EQ(fitted->deviations.rejected, 0U);
}

TEST(Fits, ThreeOfAThousandPointsAreLeftOut)
{
    Draw draw(4);
    const Plane plane{device::Normalized({0.2, -0.1, 1.0}), 33.0};
    std::vector<Vec3> points = PointsNear(plane, 1000, 0.005, draw);
    const auto clean = MeasurePlane(points);
    ASSERT_TRUE(clean.has_value());
    EXPECT_EQ(clean->deviations.rejected, 3U);
    EXPECT_LT(clean->deviations.rms, clean->deviations.rmsOfAll);
    for (const std::size_t index : {100U, 200U, 300U}) {
        points[index] = points[index] + 5.0 * plane.normal;
    }
    const auto three = MeasurePlane(points);
    ASSERT_TRUE(three.has_value());
    EXPECT_LT(three->deviations.Range(), 0.05); // ten sigma
    EXPECT_NEAR(three->deviations.largestOfAll, 5.0, 0.05);
    points[400] = points[400] + 5.0 * plane.normal;
    const auto four = MeasurePlane(points);
    ASSERT_TRUE(four.has_value());
    EXPECT_GT(four->deviations.Range(), 4.9); // one of the four stays
    EXPECT_EQ(four->deviations.rejected, 3U);
}

TEST(Fits, SmallSetsLoseNoPoint)
{
    Draw draw(4);
    const std::vector<Vec3> points = PointsNear(Sphere{{0.0, 0.0, 35.0}, 2.5}, 333, 0.01, draw);
    const auto fitted = MeasureSphere(points);
    ASSERT_TRUE(fitted.has_value());
    EXPECT_EQ(fitted->deviations.rejected, 0U);
    EXPECT_EQ(fitted->deviations.rms, fitted->deviations.rmsOfAll);
}

} // namespace
} // namespace acceptance
