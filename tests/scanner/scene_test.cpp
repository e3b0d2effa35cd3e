#include "scanner/device/scene.h"

#include "scanner/device/random.h"
#include "scanner/device/texture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>

namespace device {
namespace {

/// A random ray from near the camera into its field of view.
Ray RandomRay(const CounterRandom& random, std::uint64_t trial)
{
    const auto number = [&](std::uint64_t index, double scale) {
        return scale * (2.0 * random.Uniform(8 * trial + index) - 1.0);
    };
    return {{number(0, 1.0), number(1, 8.0), number(2, 1.0)}, {number(3, 0.28), number(4, 0.3), 1.0}};
}

TEST(DeviceScene, EveryNameMakesASceneThatFillsTheFieldOfView)
{
    for (const std::string& name : SceneNames()) {
        const auto scene = MakeScene(name);
        for (double y = -0.22; y <= 0.22; y += 0.01) {
            for (double x = -0.28; x <= 0.28; x += 0.01) {
                const auto hit = scene->Intersect({{0, 0, 0}, {x, y, 1.0}});
                ASSERT_TRUE(hit.has_value()) << name;
                ASSERT_GT(hit->point.z, 25.0) << name;
                ASSERT_LT(hit->point.z, 41.0) << name;
                const Colour albedo = scene->Albedo(*hit);
                for (double share : albedo) {
                    ASSERT_TRUE(share > 0.1 && share < 1.0) << name << " " << share;
                }
            }
        }
    }
}

TEST(DeviceScene, UnknownNameIsRefusedByName)
{
    try {
        MakeScene("banana");
        FAIL();
    } catch (const std::invalid_argument& error) {
        EXPECT_STREQ(error.what(), "unknown scene: banana");
    }
}

TEST(DeviceScene, PlaneIsHitWhereItsEquationHolds)
{
    const Vec3 point{0.5, -0.5, 33.0}, normal{0.3, -0.2, -1.0};
    const auto scene = MakePlane(point, normal, {0.5, 0.5, 0.5});
    const CounterRandom random(11);
    for (std::uint64_t trial = 0; trial < 2000; ++trial) {
        const Ray ray = RandomRay(random, trial);
        const auto hit = scene->Intersect(ray);
        ASSERT_TRUE(hit.has_value());
        ASSERT_NEAR(Dot(hit->point - point, normal), 0.0, 1e-12);
        ASSERT_LT(Length(ray.origin + hit->distance * ray.direction - hit->point), 1e-12);
        ASSERT_LT(Dot(hit->normal, ray.direction), 0.0);
    }
    EXPECT_FALSE(scene->Intersect({{0, 0, 0}, {0, 0, -1}}).has_value());
    EXPECT_FALSE(scene->Intersect({{0, 0, 0}, {0.2, 0.3, 0}}).has_value()); // parallel
}

TEST(DeviceScene, BallIsHitWhereTheDistanceToItsCentreIsTheRadius)
{
    const Vec3 centre{0.3, -0.2, 35.5};
    const auto scene = MakeBall(centre, 5.0, 37.0, {0.5, 0.5, 0.5});
    const CounterRandom random(12);
    int onBall = 0, onBackdrop = 0;
    for (std::uint64_t trial = 0; trial < 5000; ++trial) {
        const Ray ray = RandomRay(random, trial);
        const auto hit = scene->Intersect(ray);
        ASSERT_TRUE(hit.has_value());
        // The ball is hit exactly by rays whose nearest approach to its centre is below the radius.
        const Vec3 along = Normalized(ray.direction);
        const Vec3 toCentre = centre - ray.origin;
        const double approach = Length(toCentre - Dot(toCentre, along) * along);
        ASSERT_EQ(hit->surface == 0, approach < 5.0) << trial;
        if (hit->surface == 0) {
            ++onBall;
            ASSERT_NEAR(Length(hit->point - centre), 5.0, 1e-11);
            ASSERT_LT(Dot(hit->point - centre, ray.direction), 0.0); // the near side
            ASSERT_LT(Length(centre + 5.0 * hit->normal - hit->point), 1e-11);
        } else {
            ++onBackdrop;
            ASSERT_NEAR(hit->point.z, 37.0, 1e-12);
        }
    }
    EXPECT_GT(onBall, 500);
    EXPECT_GT(onBackdrop, 1000);
}

TEST(DeviceScene, StepShowsNearPlaneWallAndFarPlaneAsMarchingFindsThem)
{
    const auto scene = MakeStep(31.5, 34.5, {0.6, 0.8}, 0.7, {0.5, 0.5, 0.5});
    const CounterRandom random(13);
    std::array<int, 3> seen{};
    for (std::uint64_t trial = 0; trial < 2000; ++trial) {
        const Ray ray = RandomRay(random, trial);
        const auto hit = scene->Intersect(ray);
        ASSERT_TRUE(hit.has_value());
        // March along the ray until inside the solid: below the near plane on its side, below the far one anywhere.
        double t = 28.0;
        const auto inside = [&](double at) {
            const Vec3 p = ray.origin + at * ray.direction;
            return p.z >= 34.5 || (p.z >= 31.5 && 0.6 * p.x + 0.8 * p.y < 0.7);
        };
        constexpr double c_step = 0.002;
        while (!inside(t)) {
            t += c_step;
        }
        ASSERT_NEAR(hit->distance, t, c_step) << trial;
        ++seen[static_cast<std::size_t>(hit->surface)];
    }
    for (int count : seen) {
        EXPECT_GT(count, 10);
    }
}

TEST(DeviceScene, MolarIsHitWhereMarchingFindsIt)
{
    // Straight down rays tell the height field; a march over it then tells oblique hits.
    const auto scene = MakeMolar();
    const auto depth = [&](double x, double y) { return scene->Intersect({{x, y, 0}, {0, 0, 1}})->point.z; };
    const CounterRandom random(14);
    for (std::uint64_t trial = 0; trial < 80; ++trial) {
        const Ray ray = RandomRay(random, trial);
        const auto hit = scene->Intersect(ray);
        ASSERT_TRUE(hit.has_value());
        constexpr double c_step = 0.02;
        double t = 27.0;
        const auto below = [&](double at) {
            const Vec3 p = ray.origin + at * ray.direction;
            return p.z >= depth(p.x, p.y);
        };
        while (!below(t)) {
            t += c_step;
        }
        ASSERT_NEAR(hit->distance, t, c_step) << trial;
        ASSERT_NEAR(hit->point.z, depth(hit->point.x, hit->point.y), 1e-11) << trial;
    }
}

TEST(DeviceScene, MolarNormalIsTheGradientOfItsHeight)
{
    const auto scene = MakeMolar();
    const auto depth = [&](double x, double y) { return scene->Intersect({{x, y, 0}, {0, 0, 1}})->point.z; };
    constexpr double c_step = 1e-4; // mm
    constexpr double c_error =
        1e-6; // third derivatives of about 100/mm^2 times the step squared, and rounding
    const CounterRandom random(15);
    for (std::uint64_t trial = 0; trial < 500; ++trial) {
        const double x = 18.0 * random.Uniform(2 * trial) - 9.0;
        const double y = 14.0 * random.Uniform(2 * trial + 1) - 7.0;
        const Vec3 expected =
            Normalized({(depth(x + c_step, y) - depth(x - c_step, y)) / (2.0 * c_step),
                        (depth(x, y + c_step) - depth(x, y - c_step)) / (2.0 * c_step), -1.0});
        const auto hit = scene->Intersect({{x, y, 0}, {0, 0, 1}});
        ASSERT_LT(Length(hit->normal - expected), c_error) << x << " " << y;
    }
}

TEST(DeviceScene, MolarKeepsWithinTheBoundsThatItsSearchReliesOn)
{
    // The search takes slopes below 2 and depths within 29..36.5 mm for granted.
    const auto scene = MakeMolar();
    double steepest = 0.0, nearest = 100.0, farthest = 0.0;
    for (double y = -25.0; y <= 25.0; y += 0.25) {
        for (double x = -25.0; x <= 25.0; x += 0.25) {
            const auto hit = scene->Intersect({{x, y, 0}, {0, 0, 1}});
            const double sideways = std::hypot(hit->normal.x, hit->normal.y);
            steepest = std::max(steepest, sideways / -hit->normal.z);
            nearest = std::min(nearest, hit->point.z);
            farthest = std::max(farthest, hit->point.z);
        }
    }
    EXPECT_LT(steepest, 1.9);
    EXPECT_GT(steepest, 0.8); // it has flanks
    EXPECT_GT(nearest, 29.1);
    EXPECT_LT(farthest, 36.45);
    EXPECT_GT(farthest - nearest, 3.0); // it has relief
}

TEST(DeviceScene, MolarHidesFromAGrazingEyeWhatACuspStandsBefore)
{
    const auto scene = MakeMolar();
    const auto depth = [&](double x, double y) { return scene->Intersect({{x, y, 0}, {0, 0, 1}})->point.z; };
    const CounterRandom random(16);
    int hidden = 0;
    for (std::uint64_t trial = 0; trial < 90; ++trial) {
        const double x = 14.0 * random.Uniform(2 * trial) - 7.0,
                     y = 10.0 * random.Uniform(2 * trial + 1) - 5.0;
        const Vec3 point{x, y, depth(x, y)};
        const Vec3 eye{0.0, -30.0, 20.0};
        // Hidden if any place on the way lies below the surface; what is undecided by 2 micrometres is left out.
        double deepest = -100.0;
        for (double t = 0.001; t < 0.36; t += 0.001) {
            const Vec3 place = point + t * (eye - point);
            deepest = std::max(deepest, place.z - depth(place.x, place.y));
        }
        if (std::abs(deepest) < 0.002) {
            continue;
        }
        ASSERT_EQ(scene->Hides(eye, point), deepest > 0.0) << trial << " " << deepest;
        hidden += deepest > 0.0 ? 1 : 0;
    }
    EXPECT_GT(hidden, 15);
}

TEST(DeviceTexture, IsContinuousAcrossItsLattice)
{
    for (double at : {-3.0, 0.0, 5.0}) {
        EXPECT_NEAR(ValueNoise(at - 1e-9, 0.3, 1), ValueNoise(at + 1e-9, 0.3, 1), 1e-8);
        EXPECT_NEAR(ValueNoise(0.7, at - 1e-9, 1), ValueNoise(0.7, at + 1e-9, 1), 1e-8);
    }
    EXPECT_NE(ValueNoise(0.4, 0.3, 1), ValueNoise(0.4, 0.3, 2));
    EXPECT_EQ(ValueNoise(std::numeric_limits<double>::quiet_NaN(), 0.0, 1), 0.0);
}

TEST(DeviceRandom, UniformAndNormalHaveTheirMoments)
{
    constexpr std::uint64_t c_count = 400000;
    const CounterRandom random(21);
    double uniformSum = 0.0, sum = 0.0, square = 0.0, fourth = 0.0, neighbour = 0.0, last = 0.0;
    for (std::uint64_t i = 0; i < c_count; ++i) {
        uniformSum += random.Uniform(i);
        const double normal = random.Normal(i);
        sum += normal;
        square += normal * normal;
        fourth += normal * normal * normal * normal;
        neighbour += normal * last;
        last = normal;
    }
    const double n = c_count;
    const double sigmaOfMean = 1.0 / std::sqrt(n);
    EXPECT_NEAR(uniformSum / n, 0.5, 5.0 * sigmaOfMean / std::sqrt(12.0));
    EXPECT_NEAR(sum / n, 0.0, 5.0 * sigmaOfMean);
    EXPECT_NEAR(square / n, 1.0, 5.0 * std::sqrt(2.0) * sigmaOfMean);
    EXPECT_NEAR(fourth / n, 3.0,
                0.031 + 5.0 * std::sqrt(96.0) * sigmaOfMean); // a binomial's tails are shorter
    EXPECT_NEAR(neighbour / n, 0.0, 5.0 * sigmaOfMean);
}

TEST(DeviceRandom, FirstWordsAreThoseOfSplitMix64)
{
    // With the state that follows MixBits(key + step), words are those of the published generator: seed 0 gives
    // 0xe220a8397b1dcdaf first, which is MixBits of the step itself.
    EXPECT_EQ(MixBits(0x9e3779b97f4a7c15ULL), 0xe220a8397b1dcdafULL);
    EXPECT_NE(CounterRandom(1).Word(0), CounterRandom(2).Word(0));
}

TEST(DeviceScene, BarIsTheNearerOneOfItsTwoBallsBeforeTheBackdrop)
{
    const Vec3 first{-3.0, 0.0, 33.0}, second{1.0, 0.5, 35.0};
    constexpr double radius = 2.5, backdrop = 44.0;
    const Colour albedo{0.5, 0.5, 0.5};
    const auto bar = MakeBar(first, second, radius, backdrop, albedo);
    const auto one = MakeBall(first, radius, backdrop, albedo),
               other = MakeBall(second, radius, backdrop, albedo);
    const CounterRandom random(12);
    int onBalls = 0;
    for (std::uint64_t trial = 0; trial < 3000; ++trial) {
        const Ray ray = RandomRay(random, trial);
        const auto hit = bar->Intersect(ray), onFirst = one->Intersect(ray), onSecond = other->Intersect(ray);
        ASSERT_TRUE(hit && onFirst && onSecond);
        ASSERT_EQ(hit->distance, std::min(onFirst->distance, onSecond->distance));
        int expected = 2;
        if (onFirst->surface == 0 && !(onSecond->distance < onFirst->distance)) {
            expected = 0;
        } else if (onSecond->surface == 0) {
            expected = 1;
        }
        ASSERT_EQ(hit->surface, expected) << trial;
        onBalls += expected < 2 ? 1 : 0;
    }
    EXPECT_GT(onBalls, 200);
    EXPECT_TRUE(bar->Hides({0.0, 0.0, 0.0}, {-3.0 * 44.0 / 33.0, 0.0, backdrop}));
    EXPECT_FALSE(bar->Hides({0.0, 0.0, 0.0}, {9.0, 0.0, backdrop}));
}

TEST(DeviceScene, TextureChangesTheAlbedoAloneAndEveryChannelOnItsOwn)
{
    const std::shared_ptr<const Scene> plain = MakeScene("molar");
    constexpr double texture = 0.6;
    const auto textured = MakeTextured(plain, texture);
    const CounterRandom random(13);
    double least = 2.0, greatest = 0.0, apart = 0.0;
    for (std::uint64_t trial = 0; trial < 2000; ++trial) {
        const Ray ray = RandomRay(random, trial);
        const auto hit = textured->Intersect(ray), expected = plain->Intersect(ray);
        ASSERT_EQ(hit.has_value(), expected.has_value());
        if (!hit) {
            continue;
        }
        ASSERT_EQ(hit->distance, expected->distance);
        ASSERT_EQ(textured->Hides({0.0, -7.0, 0.0}, hit->point), plain->Hides({0.0, -7.0, 0.0}, hit->point));
        const Colour with = textured->Albedo(*hit), without = plain->Albedo(*hit);
        const double blue = with[0] / without[0], red = with[2] / without[2];
        least = std::min(least, blue);
        greatest = std::max(greatest, blue);
        apart = std::max(apart, std::abs(blue - red));
    }
    EXPECT_TRUE(least >= 1.0 - texture && least < 0.65) << least;
    EXPECT_TRUE(greatest <= 1.0 + texture && greatest > 1.35) << greatest;
    EXPECT_GT(apart, 0.5);
}

} // namespace
} // namespace device
