#include "scanner/device/meshscene.h"

#include "scanner/device/meshpieces.h"
#include "scanner/device/random.h"
#include "scanner/device/virtualdevice.h"
#include "tests/scanner/meshsupport.h"
#include "tests/scanner/smalldevice.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <thread>

namespace device {
namespace {

MeshPose AsItStands()
{
    MeshPose pose;
    pose.rotation = {};
    pose.translation = Vec3{};
    return pose;
}

/// Ray and plane, then the three sides: another way than the scene's.
std::optional<double> DistanceTo(const Mesh& mesh, const Corners& corners, const Ray& ray)
{
    const Vec3 &a = mesh.vertices[corners[0]], &b = mesh.vertices[corners[1]], &c = mesh.vertices[corners[2]];
    const Vec3 normal = Cross(b - a, c - a);
    const double approach = Dot(ray.direction, normal);
    const double distance = Dot(a - ray.origin, normal) / approach;
    if (!(distance > 0.0)) {
        return std::nullopt;
    }
    const Vec3 at = ray.origin + distance * ray.direction;
    const bool isInside = Dot(Cross(b - a, at - a), normal) >= 0.0 &&
                          Dot(Cross(c - b, at - b), normal) >= 0.0 &&
                          Dot(Cross(a - c, at - c), normal) >= 0.0;
    return isInside ? std::optional(distance) : std::nullopt;
}

/// The least distance over all triangles, and how many triangles lie within a nanometre of it.
std::optional<double> BruteForce(const Mesh& mesh, const Ray& ray)
{
    std::optional<double> least;
    for (const Corners& corners : mesh.triangles) {
        const std::optional<double> distance = DistanceTo(mesh, corners, ray);
        if (distance && (!least || *distance < *least)) {
            least = distance;
        }
    }
    return least;
}

Vec3 RandomPoint(const CounterRandom& random, std::uint64_t trial, double scale)
{
    const auto number = [&](std::uint64_t index) {
        return scale * (2.0 * random.Uniform(8 * trial + index) - 1.0);
    };
    return {number(0), number(1), number(2)};
}

TEST(MeshScene, FindsWhatTryingAllTrianglesFinds)
{
    const MeshScene scene(BallMesh(5.0, 3), AsItStands());
    const CounterRandom random(1), other(2);
    int hits = 0;
    for (std::uint64_t trial = 0; trial < 5000; ++trial) {
        // From within, from near and from far away, towards the ball and past it.
        const double away = trial % 3 == 0 ? 4.0 : trial % 3 == 1 ? 10.0 : 1000.0;
        const Vec3 origin = RandomPoint(random, trial, away);
        const Ray ray{origin, RandomPoint(other, trial, 6.5) - origin};
        const std::optional<double> expected = BruteForce(scene.GetMesh(), ray);
        const std::optional<Hit> hit = scene.Intersect(ray);
        ASSERT_EQ(hit.has_value(), expected.has_value()) << trial;
        if (hit) {
            ++hits;
            const double exact = 1e-12 * (1.0 + *expected); // rounding of two formulas, shares of the way
            ASSERT_NEAR(hit->distance, *expected, exact) << trial;
            ASSERT_LT(Length(ray.origin + hit->distance * ray.direction - hit->point), 1e-15);
            ASSERT_LE(Dot(hit->normal, ray.direction), 0.0);
        }
    }
    EXPECT_GT(hits, 2000);
}

TEST(MeshScene, PointsLieInTheirTriangleWithTheSharesOfItsCorners)
{
    const MeshScene scene(BallMesh(5.0, 2), AsItStands());
    const CounterRandom random(3);
    for (std::uint64_t trial = 0; trial < 2000; ++trial) {
        const Vec3 origin = RandomPoint(random, trial, 30.0);
        const std::optional<Hit> hit = scene.Intersect({origin, -1.0 * origin});
        ASSERT_TRUE(hit.has_value());
        Vec3 sum;
        for (std::size_t k = 0; k < 3; ++k) {
            ASSERT_GE(hit->shares[k], 0.0);
            sum = sum + hit->shares[k] * scene.GetMesh().vertices[scene.GetMesh().triangles[hit->facet][k]];
        }
        ASSERT_LT(Length(sum - hit->point), 1e-13) << trial; // mm
    }
}

TEST(MeshScene, BallIsMetWithinTheDepthOfItsFacets)
{
    // Middles of facets lie deepest below the ball, by r - r cos of the angle from their middle to their corners.
    const double radius = 5.0;
    const Mesh mesh = BallMesh(radius, 4);
    double sagitta = 0.0;
    for (const Corners& corners : mesh.triangles) {
        const Vec3 sum = mesh.vertices[corners[0]] + mesh.vertices[corners[1]] + mesh.vertices[corners[2]];
        sagitta = std::max(sagitta, radius - Length((1.0 / 3.0) * sum));
    }
    EXPECT_LT(sagitta, 0.01); // mm
    MeshPose pose = AsItStands();
    pose.translation = Vec3{0.3, -0.2, 35.5};
    const MeshScene scene(mesh, pose);
    const auto ball = MakeBall(*pose.translation, radius, 50.0, c_plaster);
    const CounterRandom random(4);
    int hits = 0;
    for (std::uint64_t trial = 0; trial < 4000; ++trial) {
        const Ray ray{{},
                      {0.14 * (2.0 * random.Uniform(2 * trial) - 1.0),
                       0.14 * (2.0 * random.Uniform(2 * trial + 1) - 1.0), 1.0}};
        const std::optional<Hit> onBall = ball->Intersect(ray);
        const std::optional<Hit> onMesh = scene.Intersect(ray);
        if (!onMesh) {
            continue;
        }
        ++hits;
        const double distance = Length(onMesh->point - *pose.translation);
        ASSERT_LE(distance, radius + 1e-12);
        ASSERT_GE(distance, radius - sagitta - 1e-12);
        ASSERT_EQ(onBall->surface, 0) << "the facets lie within the ball";
        ASSERT_GE(onMesh->distance, onBall->distance - 1e-12);
    }
    EXPECT_GT(hits, 2000);
}

TEST(MeshScene, NoRaySlipsThroughBetweenTrianglesOrAtTheirCorners)
{
    const MeshScene scene(BallMesh(5.0, 2), AsItStands());
    const Mesh& mesh = scene.GetMesh();
    const CounterRandom random(5);
    for (std::size_t i = 0; i < mesh.triangles.size(); ++i) {
        const Vec3 origin = RandomPoint(random, i, 2.5); // mm, within the ball's facets
        for (std::size_t k = 0; k < 3; ++k) {
            const Vec3 &a = mesh.vertices[mesh.triangles[i][k]],
                       &b = mesh.vertices[mesh.triangles[i][(k + 1) % 3]];
            for (const double share : {0.0, 0.25, 0.5, random.Uniform(100000 + i)}) {
                const Vec3 target = a + share * (b - a);
                const std::optional<Hit> hit = scene.Intersect({origin, target - origin});
                ASSERT_TRUE(hit.has_value()) << i << " " << k << " " << share;
                ASSERT_NEAR(hit->distance, 1.0, 1e-12);
            }
        }
    }
}

TEST(MeshScene, TheFoundTriangleIsTheFirstOfSeveralAtOneDistance)
{
    Mesh twice = SheetMesh(10.0, 10.0, 4, 4);
    const std::size_t count = twice.triangles.size();
    for (std::size_t i = 0; i < count; ++i) {
        twice.triangles.push_back(twice.triangles[count - 1 - i]);
    }
    MeshPose pose = AsItStands();
    pose.translation = Vec3{0.0, 0.0, 30.0};
    const MeshScene scene(twice, pose);
    const CounterRandom random(6);
    for (std::uint64_t trial = 0; trial < 1000; ++trial) {
        const Vec3 target{10.0 * random.Uniform(2 * trial) - 5.0, 10.0 * random.Uniform(2 * trial + 1) - 5.0,
                          30.0};
        const std::optional<Hit> hit = scene.Intersect({{}, target});
        ASSERT_TRUE(hit.has_value());
        ASSERT_LT(hit->facet, count);
    }
}

TEST(MeshScene, AnswersTheSameOnManyThreads)
{
    const MeshScene scene(BallMesh(5.0, 3), AsItStands());
    const auto cast = [&] {
        double sum = 0.0;
        const CounterRandom random(7);
        for (std::uint64_t trial = 0; trial < 2000; ++trial) {
            const Vec3 origin = RandomPoint(random, trial, 12.0);
            const std::optional<Hit> hit = scene.Intersect({origin, Vec3{0.1, 0.2, 0.3} - origin});
            sum += hit ? hit->distance : 0.0;
        }
        return sum;
    };
    const double alone = cast();
    std::array<double, 3> beside{};
    {
        std::vector<std::jthread> threads;
        for (double& result : beside) {
            threads.emplace_back([&result, &cast] { result = cast(); });
        }
    }
    for (const double result : beside) {
        EXPECT_EQ(result, alone);
    }
}

TEST(MeshScene, BoxIsHitOnTheSideThatItsEquationTells)
{
    const Vec3 lowest{-3.0, -2.0, 30.0}, highest{3.0, 2.0, 36.0};
    const MeshScene scene(BoxMesh(lowest, highest), AsItStands());
    EXPECT_EQ(scene.CountSurfaces(), 6);
    const CounterRandom random(8);
    std::set<int> seen;
    for (std::uint64_t trial = 0; trial < 3000; ++trial) {
        const Vec3 origin = Vec3{0.0, 0.0, 33.0} + RandomPoint(random, trial, 20.0);
        const Vec3 direction = Vec3{0.3, -0.4, 33.2} - origin;
        const std::optional<Hit> hit = scene.Intersect({origin, direction});
        ASSERT_TRUE(hit.has_value());
        // The slab method: the last entry of the three pairs of planes, or from within the first exit.
        const std::array<double, 3> o{origin.x, origin.y, origin.z}, d{direction.x, direction.y, direction.z},
            l{lowest.x, lowest.y, lowest.z}, h{highest.x, highest.y, highest.z};
        double entry = -1e300, exit = 1e300;
        for (std::size_t k = 0; k < 3; ++k) {
            const double one = (l[k] - o[k]) / d[k], two = (h[k] - o[k]) / d[k];
            entry = std::max(entry, std::min(one, two));
            exit = std::min(exit, std::max(one, two));
        }
        ASSERT_NEAR(hit->distance, entry > 0.0 ? entry : exit, 1e-12);
        const double largest =
            std::max({std::abs(hit->normal.x), std::abs(hit->normal.y), std::abs(hit->normal.z)});
        ASSERT_NEAR(largest, 1.0, 1e-15);
        seen.insert(hit->surface);
    }
    EXPECT_EQ(seen.size(), 6U);
}

TEST(MeshScene, HidesWhatStandsBehindATriangleAndNotTheSurfaceItself)
{
    MeshPose pose = AsItStands();
    pose.translation = Vec3{0.0, 0.0, 33.0};
    const MeshScene scene(BallMesh(5.0, 4), pose);
    const Vec3 eye{0.0, -7.0, 0.0};
    const CounterRandom random(9);
    int hidden = 0, grazing = 0;
    for (std::uint64_t trial = 0; trial < 4000; ++trial) {
        const std::optional<Hit> hit =
            scene.Intersect({{},
                             {0.15 * (2.0 * random.Uniform(2 * trial) - 1.0),
                              0.15 * (2.0 * random.Uniform(2 * trial + 1) - 1.0), 1.0}});
        if (!hit) {
            continue;
        }
        // Facets of a convex body are hidden exactly where they look away.
        const double cosine = Dot(hit->normal, Normalized(eye - hit->point));
        if (std::abs(cosine) < 1e-6) {
            continue;
        }
        ASSERT_EQ(scene.Hides(eye, hit->point), cosine < 0.0) << trial << " " << cosine;
        hidden += cosine < 0.0 ? 1 : 0;
        grazing += std::abs(cosine) < 0.05 ? 1 : 0;
    }
    EXPECT_GT(hidden, 20);
    EXPECT_GT(grazing, 20);
    EXPECT_TRUE(scene.Hides({}, {0.0, 0.0, 50.0}));
    EXPECT_FALSE(scene.Hides({}, {0.0, 0.0, 20.0}));
    EXPECT_FALSE(scene.Hides({}, {20.0, 0.0, 50.0}));
    EXPECT_FALSE(scene.Hides({1.0, 1.0, 1.0}, {1.0, 1.0, 1.0})) << "no way, nothing on it";
}

TEST(MeshScene, NormalsOfTheFileAreInterpolatedAndTurnedToTheEye)
{
    const MeshScene scene(BallMesh(5.0, 4, true), AsItStands());
    const MeshScene flat(BallMesh(5.0, 4), AsItStands());
    const CounterRandom random(10);
    double worst = 0.0, worstFlat = 0.0;
    for (std::uint64_t trial = 0; trial < 2000; ++trial) {
        const Vec3 outside = 20.0 * Normalized(RandomPoint(random, trial, 1.0));
        const Ray inwards{outside, -1.0 * outside};
        const std::optional<Hit> hit = scene.Intersect(inwards);
        worst = std::max(worst, Length(hit->normal - Normalized(hit->point)));
        worstFlat = std::max(worstFlat, Length(flat.Intersect(inwards)->normal - Normalized(hit->point)));
        const std::optional<Hit> fromWithin = scene.Intersect({{}, outside});
        ASSERT_LT(Length(fromWithin->normal + hit->normal), 1e-6) << "the other side";
    }
    // Facets of 0.08 radians between corners: linear interpolation is off by an eighth of the third power at most.
    EXPECT_LT(worst, 1e-3);
    EXPECT_GT(worstFlat, 0.02);
}

TEST(MeshScene, NormalsNeverLookAwayFromTheEye)
{
    const MeshScene scene(BallMesh(5.0, 1, true), AsItStands()); // coarse: normals lean over silhouettes
    const CounterRandom random(11), other(12);
    for (std::uint64_t trial = 0; trial < 5000; ++trial) {
        const Vec3 origin = 12.0 * Normalized(RandomPoint(random, trial, 1.0));
        const Ray ray{origin, RandomPoint(other, trial, 5.0) - origin};
        if (const std::optional<Hit> hit = scene.Intersect(ray)) {
            ASSERT_LE(Dot(hit->normal, Normalized(ray.direction)), 1e-15) << trial;
            ASSERT_NEAR(Length(hit->normal), 1.0, 1e-14);
        }
    }
}

TEST(MeshScene, ColoursAreInterpolatedAndPlasterWithoutAny)
{
    Mesh mesh;
    mesh.vertices = {{0, 0, 10}, {4, 0, 10}, {0, 4, 10}};
    mesh.triangles = {{0, 1, 2}};
    const MeshScene plain(mesh, AsItStands());
    EXPECT_EQ(plain.Albedo(*plain.Intersect({{1, 1, 0}, {0, 0, 1}})), c_plaster);
    mesh.colours = {{1.0, 0.0, 0.0}, {0.0, 1.0, 0.0}, {0.0, 0.0, 0.5}};
    const MeshScene scene(mesh, AsItStands());
    // (1, 1) = 0.5 (0, 0) + 0.25 (4, 0) + 0.25 (0, 4)
    const Colour albedo = scene.Albedo(*scene.Intersect({{1, 1, 0}, {0, 0, 1}}));
    EXPECT_NEAR(albedo[0], 0.5, 1e-15);
    EXPECT_NEAR(albedo[1], 0.25, 1e-15);
    EXPECT_NEAR(albedo[2], 0.125, 1e-15);
}

TEST(MeshScene, RaysThatLeadNowhereMeetNothing)
{
    const MeshScene scene(BoxMesh({-1, -1, 9}, {1, 1, 11}), AsItStands());
    const double nan = std::numeric_limits<double>::quiet_NaN(),
                 infinite = std::numeric_limits<double>::infinity();
    for (const Ray& ray : {Ray{{0, 0, 0}, {0, 0, 0}},
                           {{0, 0, 0}, {0, 0, -1}},
                           {{0, 0, 0}, {nan, 0, 1}},
                           {{0, nan, 0}, {0, 0, 1}},
                           {{0, 0, 0}, {0, 0, infinite}},
                           {{0, 0, -infinite}, {0, 0, 1}},
                           {{0, 0, 0}, {1e-300, 0, 0}},
                           {{3, 0, 0}, {0, 0, 1}}}) {
        EXPECT_FALSE(scene.Intersect(ray).has_value());
    }
    EXPECT_NEAR(scene.Intersect({{0, 0, 0}, {0, 0, 1e-9}})->distance, 9e9, 1e-4);
    EXPECT_NEAR(scene.Intersect({{0.3, 0.4, -1e6}, {0, 0, 1}})->distance, 1000009.0, 1e-9);
}

TEST(MeshScene, SizesFarFromMillimetresAreMetAsExactly)
{
    for (const double scale : {1e-6, 1e-3, 1e3, 1e5}) {
        MeshPose pose = AsItStands();
        pose.scale = scale;
        const MeshScene scene(BallMesh(1.0, 2), pose);
        const CounterRandom random(13);
        for (std::uint64_t trial = 0; trial < 500; ++trial) {
            const Vec3 origin = scale * RandomPoint(random, trial, 3.0);
            const Ray ray{origin, Vec3{0.0, 0.1 * scale, 0.0} - origin};
            const std::optional<double> expected = BruteForce(scene.GetMesh(), ray);
            const std::optional<Hit> hit = scene.Intersect(ray);
            ASSERT_EQ(hit.has_value(), expected.has_value());
            if (hit) {
                ASSERT_NEAR(hit->distance, *expected, 1e-12 * (1.0 + *expected));
            }
        }
    }
}

TEST(MeshScene, PosesTurnScaleAndMove)
{
    Mesh mesh;
    mesh.vertices = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
    mesh.triangles = {{0, 1, 2}};
    MeshPose pose;
    pose.rotation = {90.0, 0.0, 0.0}; // y to z, z to -y
    pose.translation = Vec3{10, 20, 30};
    pose.scale = 2.0;
    const MeshScene scene(mesh, pose);
    const std::vector<Vec3>& placed = scene.GetMesh().vertices;
    EXPECT_LT(Length(placed[0] - Vec3{12, 20, 30}), 1e-14);
    EXPECT_LT(Length(placed[1] - Vec3{10, 20, 32}), 1e-14);
    EXPECT_LT(Length(placed[2] - Vec3{10, 18, 30}), 1e-14);
}

TEST(MeshScene, DefaultPoseShowsTheTopInTheMiddleOfTheWorkingRange)
{
    const Mesh box = BoxMesh({100.0, 50.0, -7.0}, {108.0, 54.0, -1.0});
    const MeshScene scene(box, CompletePose(box, MeshPose(), 25.0, 41.0));
    EXPECT_LT(Length(scene.GetLowest() - Vec3{-4.0, -2.0, 30.0}), 1e-12);
    EXPECT_LT(Length(scene.GetHighest() - Vec3{4.0, 2.0, 36.0}), 1e-12);
    // The mesh's z points to the camera, its y up in the image.
    const Vec3& top = scene.GetMesh().vertices[7];
    EXPECT_LT(Length(top - Vec3{4.0, -2.0, 30.0}), 1e-12);

    const Mesh deep = BoxMesh({0.0, 0.0, 0.0}, {1.0, 1.0, 100.0});
    const MeshScene front(deep, CompletePose(deep, MeshPose(), 25.0, 41.0));
    EXPECT_NEAR(front.GetLowest().z, 25.0, 1e-12);
}

TEST(MeshScene, RefusesPosesThatMakeNoSense)
{
    const Mesh box = BoxMesh({0, 0, 0}, {1, 1, 1});
    const double nan = std::numeric_limits<double>::quiet_NaN(),
                 infinite = std::numeric_limits<double>::infinity();
    const auto refuses = [&](const MeshPose& pose) {
        EXPECT_THROW(CompletePose(box, pose, 25.0, 41.0), std::invalid_argument);
        EXPECT_THROW(MeshScene(box, pose), std::invalid_argument);
    };
    refuses({{nan, 0, 0}, Vec3{}, 1.0});
    refuses({{0, 0, 0}, Vec3{0, infinite, 0}, 1.0});
    refuses({{0, 0, 0}, Vec3{}, 0.0});
    refuses({{0, 0, 0}, Vec3{}, -1.0});
    refuses({{0, 0, 0}, Vec3{}, nan});
    EXPECT_THROW(MeshScene(box, MeshPose()), std::invalid_argument) << "without a translation";
    EXPECT_THROW(MeshScene(Mesh(), AsItStands()), std::invalid_argument);
    MeshPose huge = AsItStands();
    huge.scale = 1e308;
    EXPECT_THROW(MeshScene(BoxMesh({0, 0, 0}, {10, 10, 10}), huge), std::invalid_argument);
}

TEST(MeshPieces, BallsAreOnePieceAndCoarseOnesHaveCreases)
{
    const std::vector<int> smooth = FindSmoothPieces(BallMesh(1.0, 2));
    EXPECT_EQ(std::ranges::count(smooth, 0), 320);
    // Faces of an icosahedron fold by 41.8 degrees.
    std::vector<int> creased = FindSmoothPieces(BallMesh(1.0, 0));
    std::ranges::sort(creased);
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(creased[static_cast<std::size_t>(i)], i);
    }
}

TEST(MeshPieces, FoldsCountWhateverTheOrderOfCornersAndVerticesAtOnePlaceAreOne)
{
    for (const double degrees : {0.0, 29.0, 31.0, 90.0, 150.0, 180.0}) {
        const double angle = degrees * 3.14159265358979 / 180.0;
        Mesh mesh; // two triangles with vertices of their own at the common side, one of them turned round
        mesh.vertices = {{0, 0, 0}, {0, 1, 0}, {-1, 0, 0},
                         {0, 0, 0}, {0, 1, 0}, {std::cos(angle), 0, std::sin(angle)}};
        mesh.triangles = {{0, 1, 2}, {3, 4, 5}};
        EXPECT_EQ(FindSmoothPieces(mesh)[1], degrees < 30.0 ? 0 : 1) << degrees;
        mesh.triangles = {{0, 1, 2}, {4, 3, 5}};
        EXPECT_EQ(FindSmoothPieces(mesh)[1], degrees < 30.0 ? 0 : 1) << degrees;
    }
}

TEST(MeshScene, APlaneOfTrianglesGivesTheImagesOfThePlane)
{
    MeshPose pose = AsItStands();
    pose.translation = Vec3{0.0, 0.0, 33.0};
    const MeshScene scene(SheetMesh(40.0, 30.0, 40, 30), pose);
    const auto plane = MakePlane({0.0, 0.0, 33.0}, {0.0, 0.0, -1.0}, c_plaster);
    const VirtualDevice device(SmallDevice(60, 60));
    const RenderedPair expected = device.RenderPair(*plane, NoiseFree());
    const RenderedPair pair = device.RenderPair(scene, NoiseFree());
    for (std::size_t i = 0; i < pair.pattern.data.size(); ++i) {
        constexpr float c_rounding = 1e-3F; // grey levels
        ASSERT_NEAR(pair.pattern.data[i], expected.pattern.data[i], c_rounding) << i;
        ASSERT_NEAR(pair.reference.data[i], expected.reference.data[i], c_rounding) << i;
    }
    for (std::size_t i = 0; i < pair.truth.pixels.size(); ++i) {
        ASSERT_LT(Length(pair.truth.pixels[i].pointInCamera - expected.truth.pixels[i].pointInCamera), 1e-12);
    }
    ASSERT_EQ(pair.truth.CountSeenCrossings(), expected.truth.CountSeenCrossings());
}

} // namespace
} // namespace device
