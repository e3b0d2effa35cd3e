// Depth of a pixel on a light plane, beside Eigen's intersection of a ray with a plane.
#include "clightplane.h"

#include <Eigen/Geometry>
#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

namespace {

using LxCV::CLightPlane;
using LxCV::LxC3DCoordsCCT;

constexpr int kEdges = 122;
constexpr int kRows = 494;
constexpr double kFocalLength = 25.0; // mm

/// One edge pixel: the plane it belongs to and its undistorted sensor position in millimetres.
struct SEdgePixel
{
    std::uint32_t edge;
    double x;
    double y;
};

/// Stripe planes as a projector 100 mm beside the camera sweeps them: y = alpha x + beta z + c, c > 0.
struct SScene
{
    std::vector<CLightPlane> lightPlanes;
    std::vector<Eigen::Hyperplane<double, 3>> planes;
    std::vector<SEdgePixel> pixels;
    std::vector<Eigen::ParametrizedLine<double, 3>> rays;
    std::vector<double> depths;
};

SScene MakeScene()
{
    std::mt19937 random(1);
    std::uniform_real_distribution<double> jitter(-0.01, 0.01);
    SScene scene;
    for (int edge = 0; edge < kEdges; ++edge) {
        const double alpha = jitter(random);
        const double beta = -0.4 + 0.001 * edge + jitter(random);
        const double c = 100.0 + jitter(random);
        scene.lightPlanes.emplace_back(LxC3DCoordsCCT(0.0, c, 0.0), LxC3DCoordsCCT(1.0, alpha + c, 0.0),
                                       LxC3DCoordsCCT(0.0, beta + c, 1.0));
        scene.lightPlanes.back().OptimizeEquation(kFocalLength);
        scene.planes.push_back(Eigen::Hyperplane<double, 3>::Through(Eigen::Vector3d(0.0, c, 0.0), //
                                                                     Eigen::Vector3d(1.0, alpha + c, 0.0),
                                                                     Eigen::Vector3d(0.0, beta + c, 1.0)));
    }
    for (int row = 0; row < kRows; ++row) {
        for (int edge = 0; edge < kEdges; ++edge) {
            const double x = (edge - kEdges / 2) * 0.04 + jitter(random);
            const double y = (row - kRows / 2) * 0.0074 + jitter(random);
            scene.pixels.push_back({static_cast<std::uint32_t>(edge), x, y});
            // The depth is the parameter of a direction whose z is 1. Made beforehand, to Eigen's favour.
            scene.rays.emplace_back(Eigen::Vector3d::Zero(),
                                    Eigen::Vector3d(x / kFocalLength, y / kFocalLength, 1.0));
        }
    }
    scene.depths.resize(scene.pixels.size());
    return scene;
}

void BM_LightPlaneDepth(benchmark::State& state)
{
    SScene scene = MakeScene();
    for (auto _ : state) {
        for (std::size_t i = 0; i < scene.pixels.size(); ++i) {
            const SEdgePixel& pixel = scene.pixels[i];
            scene.depths[i] = scene.lightPlanes[pixel.edge].Intersect(pixel.x, pixel.y);
        }
        benchmark::DoNotOptimize(scene.depths.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(scene.pixels.size()));
}
BENCHMARK(BM_LightPlaneDepth);

void BM_LightPlaneDepthEigen(benchmark::State& state)
{
    SScene scene = MakeScene();
    for (auto _ : state) {
        for (std::size_t i = 0; i < scene.pixels.size(); ++i) {
            scene.depths[i] = scene.rays[i].intersectionParameter(scene.planes[scene.pixels[i].edge]);
        }
        benchmark::DoNotOptimize(scene.depths.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(scene.pixels.size()));
}
BENCHMARK(BM_LightPlaneDepthEigen);

/// The same with each ray made from its pixel: more arithmetic, less memory.
void BM_LightPlaneDepthEigenFromPixel(benchmark::State& state)
{
    SScene scene = MakeScene();
    constexpr double kInverse = 1.0 / kFocalLength;
    for (auto _ : state) {
        for (std::size_t i = 0; i < scene.pixels.size(); ++i) {
            const SEdgePixel& pixel = scene.pixels[i];
            const Eigen::ParametrizedLine<double, 3> ray(
                Eigen::Vector3d::Zero(), Eigen::Vector3d(pixel.x * kInverse, pixel.y * kInverse, 1.0));
            scene.depths[i] = ray.intersectionParameter(scene.planes[pixel.edge]);
        }
        benchmark::DoNotOptimize(scene.depths.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(scene.pixels.size()));
}
BENCHMARK(BM_LightPlaneDepthEigenFromPixel);

} // namespace
