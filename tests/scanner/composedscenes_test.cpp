#include "scanner/device/colourchart.h"
#include "scanner/device/random.h"
#include "scanner/device/virtualdevice.h"
#include "tests/scanner/smalldevice.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

namespace device {
namespace {

constexpr Colour c_grey{0.3, 0.4, 0.5};
constexpr double c_fullScale = 255.0;

/// A ray from near the camera into its field of view.
Ray RandomRay(const CounterRandom& random, std::uint64_t trial)
{
    const auto number = [&](std::uint64_t index, double reach) {
        return reach * (2.0 * random.Uniform(8 * trial + index) - 1.0);
    };
    return {{number(0, 1.0), number(1, 8.0), number(2, 1.0)}, {number(3, 0.28), number(4, 0.3), 1.0}};
}

/// Optics whose grey levels are the light of each pixel alone, with room for highlights.
DeviceParameters PlainOptics(int width, int height)
{
    DeviceParameters parameters = SmallDevice(width, height);
    parameters.optics.crosstalk = {Colour{1, 0, 0}, Colour{0, 1, 0}, Colour{0, 0, 1}};
    parameters.optics.ambient = {0.0, 0.0, 0.0};
    parameters.optics.vignetting = 0.0;
    parameters.optics.cameraBlur = 0.0;
    parameters.optics.exposure = 0.25;
    return parameters;
}

TEST(GlossyScene, AddsTheLightThatBlinnAndPhongTell)
{
    constexpr double kTolerance =
        0.002; // grey levels; the mean of a pixel instead of the value at its centre
    const DeviceParameters parameters = PlainOptics(40, 60);
    const VirtualDevice device(parameters);
    const Vec3 normal = Normalized({0.02, -0.11, -1.0}); // about halfway between camera and projector
    const std::shared_ptr<const Scene> plain = MakePlane({0, 0, 33}, normal, c_grey);
    for (const Gloss& gloss : {Gloss{0.9, 20}, Gloss{2.0, 37}, Gloss{0.5, 1}, Gloss{0.4, 0}}) {
        const RenderedPair without = device.RenderPair(*plain, NoiseFree());
        const RenderedPair with = device.RenderPair(*MakeGlossy(plain, gloss), NoiseFree());
        for (int row = 0; row < 60; ++row) {
            for (int col = 0; col < 40; ++col) {
                const Vec3 point = without.truth.At(col, row).pointInCamera;
                const Vec3 toLight = device.ProjectorCentre() - point;
                const Vec3 halfway = Normalized(Normalized(toLight) + Normalized(-1.0 * point));
                const double nearness = parameters.optics.referenceDistance / Length(toLight);
                const double mirrored =
                    gloss.strength * std::pow(Dot(normal, halfway), gloss.exponent) * nearness * nearness;
                for (int channel = 0; channel < 3; ++channel) {
                    const double light = parameters.optics.light[static_cast<std::size_t>(channel)];
                    const double expected = c_fullScale * parameters.optics.exposure * light * mirrored;
                    ASSERT_NEAR(with.reference.At(col, row, channel) -
                                    without.reference.At(col, row, channel),
                                expected, kTolerance)
                        << col << " " << row;
                }
            }
        }
    }
}

TEST(GlossyScene, MirrorsTheStripesInTheirPlaces)
{
    constexpr double kTolerance = 5e-4; // of the ratio; what is mirrored changes a little within a pixel
    const VirtualDevice device(PlainOptics(20, 200));
    const std::shared_ptr<const Scene> plain = MakeScene("plane");
    const RenderedPair without = device.RenderPair(*plain, NoiseFree());
    const RenderedPair with = device.RenderPair(*MakeGlossy(plain, {1.5, 60}), NoiseFree());
    for (std::size_t i = 0; i < with.pattern.data.size(); ++i) {
        ASSERT_NEAR(with.pattern.data[i] / with.reference.data[i],
                    without.pattern.data[i] / without.reference.data[i], kTolerance);
    }
}

TEST(GlossyScene, MirrorsNothingInTheShadow)
{
    const VirtualDevice device(PlainOptics(120, 300));
    const std::shared_ptr<const Scene> plain = MakeBall({0.0, 0.5, 31.0}, 2.0, 38.0, c_grey);
    const RenderedPair with = device.RenderPair(*MakeGlossy(plain, {1.5, 0}), NoiseFree());
    int dark = 0;
    for (int row = 1; row + 1 < with.truth.height; ++row) {
        for (int col = 1; col + 1 < with.truth.width; ++col) {
            bool isUnlit = true; // the pixel and all around it
            for (int dy = -1; dy <= 1; ++dy) {
                for (int dx = -1; dx <= 1; ++dx) {
                    isUnlit = isUnlit && !with.truth.At(col + dx, row + dy).seenByProjector;
                }
            }
            if (isUnlit) {
                ASSERT_EQ(with.reference.At(col, row, 1), 0.0F) << col << " " << row;
                ++dark;
            }
        }
    }
    EXPECT_GT(dark, 200);
}

TEST(GlossyScene, IsTheOtherSceneInAllButItsGloss)
{
    const std::shared_ptr<const Scene> plain = MakeScene("molar");
    const auto glossy = MakeGlossy(plain, {0.7, 9});
    const auto textured = MakeTextured(MakeGlossy(plain, {0.7, 9}), 0.5);
    const CounterRandom random(5);
    for (std::uint64_t trial = 0; trial < 500; ++trial) {
        const auto hit = glossy->Intersect(RandomRay(random, trial));
        const auto expected = plain->Intersect(RandomRay(random, trial));
        ASSERT_EQ(hit.has_value(), expected.has_value());
        if (hit) {
            ASSERT_EQ(hit->distance, expected->distance);
            ASSERT_EQ(glossy->Albedo(*hit), plain->Albedo(*expected));
            ASSERT_EQ(glossy->Hides({0, -7, 0}, hit->point), plain->Hides({0, -7, 0}, hit->point));
            ASSERT_EQ(glossy->GlossOf(*hit).strength, 0.7);
            ASSERT_EQ(glossy->GlossOf(*hit).exponent, 9);
            ASSERT_EQ(textured->GlossOf(*hit).exponent, 9);
            ASSERT_EQ(plain->GlossOf(*hit).strength, 0.0);
        }
    }
}

TEST(SceneGroup, ShowsTheNearestOfItsPartsWithAllThatIsItsOwn)
{
    const std::shared_ptr<const Scene> ball = MakeBall({-2.0, 0.0, 32.0}, 2.0, 60.0, {0.2, 0.3, 0.4});
    const std::shared_ptr<const Scene> step = MakeStep(31.0, 35.0, {0.6, 0.8}, 0.7, {0.5, 0.5, 0.6});
    const std::shared_ptr<const Scene> wall = MakeGlossy(MakePlane({0, 0, 33}, {0, 0, -1}, c_grey), {0.5, 3});
    const std::vector<std::shared_ptr<const Scene>> parts{ball, step, wall};
    const auto group = MakeGroup(parts);
    const CounterRandom random(6);
    std::vector<int> seen(parts.size());
    for (std::uint64_t trial = 0; trial < 3000; ++trial) {
        const Ray ray = RandomRay(random, trial);
        std::size_t nearest = 0;
        for (std::size_t part = 1; part < parts.size(); ++part) {
            const auto hit = parts[part]->Intersect(ray);
            nearest = hit && hit->distance < parts[nearest]->Intersect(ray)->distance ? part : nearest;
        }
        const auto hit = group->Intersect(ray), expected = parts[nearest]->Intersect(ray);
        ASSERT_TRUE(hit && expected);
        ASSERT_EQ(hit->distance, expected->distance);
        ASSERT_EQ(hit->surface, expected->surface * 3 + static_cast<int>(nearest));
        ASSERT_EQ(group->Albedo(*hit), parts[nearest]->Albedo(*expected));
        ASSERT_EQ(group->GlossOf(*hit).exponent, parts[nearest]->GlossOf(*expected).exponent);
        ++seen[nearest];
    }
    EXPECT_GT(*std::min_element(seen.begin(), seen.end()), 50);
}

TEST(SceneGroup, ShowsAChartWithWhatIsBesideItsPatchesWhicheverPartItIs)
{
    ColourChart chart;
    chart.columns = 1;
    chart.least = {-1.0, -1.0};
    chart.greatest = {1.0, 1.0};
    chart.depth = 33.0;
    chart.albedos = {c_grey};
    const std::shared_ptr<const Scene> board = MakeColourChart(chart);
    const std::shared_ptr<const Scene> behind = MakePlane({0, 0, 40}, {0, 0, -1}, Colour{0.9, 0.9, 0.9});
    for (const auto& group : {MakeGroup({board, behind}), MakeGroup({behind, board}),
                              MakeGroup({behind, behind, board}), MakeGroup({behind, board, behind})}) {
        const auto onPatch = group->Intersect({{0, 0, 0}, {0, 0, 1}});
        const auto beside = group->Intersect({{0, 0, 0}, {0.2, 0, 1}});
        ASSERT_TRUE(onPatch && beside);
        EXPECT_EQ(group->Albedo(*onPatch), c_grey);
        EXPECT_EQ(group->Albedo(*beside), Colour{});
        EXPECT_EQ(group->GlossOf(*beside).strength, 0.0);
    }
}

TEST(SceneGroup, StandsInItsOwnLight)
{
    const std::shared_ptr<const Scene> wall = MakePlane({0, 0, 36}, {0, 0, -1}, c_grey);
    const std::shared_ptr<const Scene> rod = MakeRod({-9, 0, 30}, {9, 0, 30}, 0.5, c_grey);
    const auto group = MakeGroup({wall, rod});
    const Vec3 light{0.0, -6.0, 0.0};
    // The line from the light through the rod's axis meets the wall at y = -6 + 6 * 36 / 30.
    const Vec3 inShadow{1.0, 1.2, 36.0}, beside{1.0, 3.0, 36.0};
    EXPECT_TRUE(group->Hides(light, inShadow));
    EXPECT_FALSE(wall->Hides(light, inShadow));
    EXPECT_FALSE(group->Hides(light, beside));
    EXPECT_TRUE(group->Hides(light, {0.0, 0.0, 30.5}));  // the rod's back
    EXPECT_FALSE(group->Hides(light, {0.0, 0.0, 29.5})); // its front
}

TEST(SceneGroup, OfNothingIsNothing)
{
    const auto nothing = MakeGroup({});
    EXPECT_FALSE(nothing->Intersect({{0, 0, 0}, {0, 0, 1}}).has_value());
    const RenderedPair pair = VirtualDevice(SmallDevice(20, 20)).RenderPair(*nothing, NoiseFree());
    EXPECT_EQ(*std::max_element(pair.reference.data.begin(), pair.reference.data.end()), 0.0F);
    EXPECT_EQ(pair.truth.CountSeenCrossings(), 0U);
}

/// How far a point is from the surface of a rod, mm.
double DistanceToRod(const Vec3& point, const Vec3& from, const Vec3& to, double radius)
{
    const Vec3 along = to - from;
    const double share = std::clamp(Dot(point - from, along) / Dot(along, along), 0.0, 1.0);
    return Length(point - from - share * along) - radius;
}

TEST(Rod, IsHitWhereMarchingByItsDistanceFindsIt)
{
    constexpr double kNear = 1e-9; // mm
    const CounterRandom random(7);
    const std::vector<std::pair<Vec3, Vec3>> rods{{{-3, -2, 30}, {3, 2, 34}},
                                                  {{0, 0, 28}, {0.5, 0.2, 40}}, // towards the camera
                                                  {{-9, 1, 31}, {9, 1, 31}},
                                                  {{1, 1, 32}, {1, 1, 32}}}; // a ball
    constexpr double radius = 1.5;
    for (const auto& [from, to] : rods) {
        const auto rod = MakeRod(from, to, radius, c_grey);
        int hits = 0;
        for (std::uint64_t trial = 0; trial < 1500; ++trial) {
            const Ray ray = RandomRay(random, trial);
            // The distance to the rod along the ray: its least value by thirds, as it is convex.
            double low = 0.0, high = 60.0;
            const Vec3 a = from, b = to.x == from.x && to.y == from.y ? to + Vec3{0, 0, 1e-12} : to;
            const auto distance = [&](double t) {
                return DistanceToRod(ray.origin + t * ray.direction, a, b, radius);
            };
            for (int step = 0; step < 200; ++step) {
                const double third = (high - low) / 3.0;
                if (distance(low + third) < distance(high - third)) {
                    high -= third;
                } else {
                    low += third;
                }
            }
            const auto hit = rod->Intersect(ray);
            if (std::abs(distance(low)) > 1e-6) { // not at the silhouette
                ASSERT_EQ(hit.has_value(), distance(low) < 0.0) << trial;
            }
            if (!hit) {
                continue;
            }
            ++hits;
            ASSERT_NEAR(distance(hit->distance), 0.0, kNear) << trial;
            ASSERT_LE(hit->distance, low + 1e-6) << trial; // the first of the two places
            ASSERT_NEAR(Length(hit->normal), 1.0, kNear);
            ASSERT_LT(Dot(hit->normal, ray.direction), 0.0);
            ASSERT_NEAR(DistanceToRod(hit->point + 0.5 * hit->normal, a, b, radius), 0.5, kNear);
        }
        EXPECT_GT(hits, 15);
    }
}

TEST(MovingScene, WithoutMotionIsThePairOfTheScene)
{
    const VirtualDevice device(SmallDevice(30, 40));
    const auto scene = MakeScene("molar");
    RenderOptions options;
    options.seed = 9;
    const RenderedPair moved = device.RenderMotion(*scene, *scene, options);
    const RenderedPair still = device.RenderPair(*scene, options);
    EXPECT_EQ(moved.reference.data, still.reference.data);
    EXPECT_EQ(moved.pattern.data, still.pattern.data);
    EXPECT_EQ(moved.truth.CountSeenCrossings(), still.truth.CountSeenCrossings());
}

TEST(MovingScene, HasTheReferenceOfOneSceneAndPatternAndTruthOfTheOther)
{
    const VirtualDevice device(SmallDevice(30, 40));
    const auto before = MakeScene("plane"), after = MakeScene("tilted");
    const RenderedPair moved = device.RenderMotion(*before, *after);
    const RenderedPair first = device.RenderPair(*before), second = device.RenderPair(*after);
    EXPECT_EQ(moved.reference.data, first.reference.data);
    EXPECT_EQ(moved.pattern.data, second.pattern.data);
    EXPECT_EQ(moved.truth.At(12, 20).pointInCamera.z, second.truth.At(12, 20).pointInCamera.z);
    RenderOptions options;
    options.noise = -1.0;
    EXPECT_THROW(device.RenderMotion(*before, *after, options), std::invalid_argument);
}

} // namespace
} // namespace device
