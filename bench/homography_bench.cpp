// A homography from 200 noisy point pairs with and without outliers, beside another library's robust estimate; and the
// decomposition of a tall matrix beside its QR factor alone.
#include "lxchomography.h"
#include "orx/ymalgo/ymsingularvaluedecomposition.h"

#include <Eigen/QR>
#include <Eigen/SVD>
#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <random>
#include <vector>

#ifdef LXCV_HAVE_OPENCV
#include <opencv2/calib3d.hpp>
#include <opencv2/core.hpp>
#endif

namespace {

using LxCV::SHomographyFeature;

constexpr double c_dWidth = 658.0;  // pixels of the camera
constexpr double c_dHeight = 494.0; // pixels of the camera
constexpr double c_dNoise = 0.3;    // pixels, standard deviation of each coordinate
constexpr int c_iPairs = 200;
constexpr int c_iSets = 16;

struct SPoint
{
    double x;
    double y;
};

/// A tilted plane: 15 % of perspective across the image.
SPoint TrueMap(double x, double y)
{
    const double d = 2.0e-4 * x - 1.2e-4 * y + 1.0;
    return {(1.05 * x - 0.12 * y + 14.0) / d, (0.09 * x + 0.97 * y - 9.0) / d};
}

/// @param outliers of 100 pairs; their targets lie anywhere in the image
std::vector<SHomographyFeature> MakePairs(int outliers, unsigned int seed)
{
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    std::normal_distribution<double> noise(0.0, c_dNoise);
    std::vector<SHomographyFeature> pairs;
    for (int i = 0; i < c_iPairs; ++i) {
        const SPoint source{c_dWidth * unit(random), c_dHeight * unit(random)};
        SPoint target = TrueMap(source.x, source.y);
        target.x += noise(random);
        target.y += noise(random);
        if (i % 100 < outliers) {
            target = {c_dWidth * unit(random), c_dHeight * unit(random)};
        }
        pairs.push_back({target.x, target.y, c_dNoise * c_dNoise, c_dNoise * c_dNoise, source.x, source.y});
    }
    return pairs;
}

std::vector<std::vector<SHomographyFeature>> MakeSets(int outliers)
{
    std::vector<std::vector<SHomographyFeature>> sets;
    for (unsigned int seed = 1; seed <= c_iSets; ++seed) {
        sets.push_back(MakePairs(outliers, seed));
    }
    return sets;
}

/// The largest distance in the corners of the image between a 3 by 3 matrix, row by row, and the true map, pixels.
double CornerError(const std::array<double, 9>& h)
{
    double worst = 0.0;
    for (const SPoint c :
         {SPoint{0, 0}, SPoint{c_dWidth, 0}, SPoint{0, c_dHeight}, SPoint{c_dWidth, c_dHeight}}) {
        const double d = h[6] * c.x + h[7] * c.y + h[8];
        const SPoint truth = TrueMap(c.x, c.y);
        worst = std::max(worst, std::hypot((h[0] * c.x + h[1] * c.y + h[2]) / d - truth.x,
                                           (h[3] * c.x + h[4] * c.y + h[5]) / d - truth.y));
    }
    return worst;
}

void ReportCorners(benchmark::State& state, std::vector<double> errors)
{
    std::sort(errors.begin(), errors.end());
    state.counters["corner_px_median"] = errors[errors.size() / 2];
    state.counters["corner_px_worst"] = errors.back();
    state.SetItemsProcessed(state.iterations() * c_iPairs);
}

/// @return the 3 by 3 matrix, perspective unscaled
std::array<double, 9> Refine(std::vector<SHomographyFeature>& pairs, bool optimise)
{
    LxCV::LxCHomography homography;
    homography.SetFeatureData(static_cast<long>(pairs.size()), pairs.data());
    homography.EstimateHomography();
    double scale = 1.0;
    if (optimise) {
        homography.OptimiseHomography();
        scale = 1000.0;
    }
    const double* h = homography.DebugGetHomograpy();
    return {h[0], h[1], h[2], h[3], h[4], h[5], h[6] / scale, h[7] / scale, 1.0};
}

void RunHomography(benchmark::State& state, bool optimise)
{
    auto sets = MakeSets(static_cast<int>(state.range(0)));
    std::vector<double> errors;
    for (auto& pairs : sets) {
        errors.push_back(CornerError(Refine(pairs, optimise)));
    }
    std::size_t next = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(Refine(sets[next++ % sets.size()], optimise));
    }
    ReportCorners(state, errors);
}

void HomographyEstimate(benchmark::State& state)
{
    RunHomography(state, false);
}
BENCHMARK(HomographyEstimate)->ArgName("outlier_percent")->Arg(0)->Arg(20);

void HomographyEstimateAndOptimise(benchmark::State& state)
{
    RunHomography(state, true);
}
BENCHMARK(HomographyEstimateAndOptimise)->ArgName("outlier_percent")->Arg(0)->Arg(20);

#ifdef LXCV_HAVE_OPENCV
std::array<double, 9> PeerHomography(const std::vector<SHomographyFeature>& pairs)
{
    std::vector<cv::Point2d> from;
    std::vector<cv::Point2d> to;
    for (const SHomographyFeature& pair : pairs) {
        from.emplace_back(pair.dSourceX, pair.dSourceY);
        to.emplace_back(pair.dTargetX, pair.dTargetY);
    }
    // 3 pixels, the default: ten standard deviations.
    const cv::Mat h = cv::findHomography(from, to, cv::RANSAC, 3.0);
    std::array<double, 9> result{};
    if (!h.empty()) {
        std::copy_n(h.ptr<double>(), 9, result.begin());
    }
    return result;
}

void PeerFindHomographyRansac(benchmark::State& state)
{
    cv::setNumThreads(1);
    const auto sets = MakeSets(static_cast<int>(state.range(0)));
    std::vector<double> errors;
    for (const auto& pairs : sets) {
        errors.push_back(CornerError(PeerHomography(pairs)));
    }
    std::size_t next = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(PeerHomography(sets[next++ % sets.size()]));
    }
    ReportCorners(state, errors);
}
BENCHMARK(PeerFindHomographyRansac)->ArgName("outlier_percent")->Arg(0)->Arg(20);
#endif

constexpr int c_iColumns = 8;
using CRowMajor = Eigen::Matrix<double, Eigen::Dynamic, c_iColumns, Eigen::RowMajor>;

/// Eigen's generator has a fixed seed of its own; this one stands here.
CRowMajor TallMatrix(std::int64_t rows)
{
    std::mt19937 random(3);
    std::uniform_real_distribution<double> element(-1.0, 1.0);
    return CRowMajor::NullaryExpr(rows, c_iColumns, [&] { return element(random); });
}

void SingularValuesOfTall(benchmark::State& state)
{
    const CRowMajor matrix = TallMatrix(state.range(0));
    for (auto _ : state) {
        const YmSingularValueDecomposition<double> svd(matrix.data(), static_cast<std::size_t>(matrix.rows()),
                                                       c_iColumns);
        benchmark::DoNotOptimize(svd.GetValues().data());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(SingularValuesOfTall)->ArgName("rows")->Arg(8)->Arg(40)->Arg(400)->Arg(4000)->Arg(40000);

/// The floor: both factors Q and R, without any singular value.
void FloorQrFactorsOfTall(benchmark::State& state)
{
    const CRowMajor matrix = TallMatrix(state.range(0));
    for (auto _ : state) {
        const Eigen::HouseholderQR<Eigen::MatrixXd> qr{Eigen::MatrixXd(matrix)};
        const Eigen::MatrixXd thin = qr.householderQ() * Eigen::MatrixXd::Identity(matrix.rows(), c_iColumns);
        benchmark::DoNotOptimize(thin.data());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(FloorQrFactorsOfTall)->ArgName("rows")->Arg(8)->Arg(40)->Arg(400)->Arg(4000)->Arg(40000);

/// The floor below: the reflections and R alone, from which Q is still to be made.
void FloorQrReflectionsOfTall(benchmark::State& state)
{
    const CRowMajor matrix = TallMatrix(state.range(0));
    for (auto _ : state) {
        const Eigen::HouseholderQR<Eigen::MatrixXd> qr{Eigen::MatrixXd(matrix)};
        benchmark::DoNotOptimize(qr.hCoeffs().data());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(FloorQrReflectionsOfTall)->ArgName("rows")->Arg(8)->Arg(40)->Arg(400)->Arg(4000)->Arg(40000);

/// What the decomposition of a tall matrix may cost: both factors Q and R, the decomposition of R, and the product of
/// Q and the left vectors.
void PeerQrThenSvdOfTall(benchmark::State& state)
{
    const CRowMajor matrix = TallMatrix(state.range(0));
    for (auto _ : state) {
        const Eigen::HouseholderQR<Eigen::MatrixXd> qr{Eigen::MatrixXd(matrix)};
        const Eigen::MatrixXd triangle = qr.matrixQR().topRows(c_iColumns).triangularView<Eigen::Upper>();
        const Eigen::JacobiSVD<Eigen::MatrixXd> svd(triangle, Eigen::ComputeFullU | Eigen::ComputeFullV);
        Eigen::MatrixXd left = Eigen::MatrixXd::Zero(matrix.rows(), c_iColumns);
        left.topRows(c_iColumns) = svd.matrixU();
        left.applyOnTheLeft(qr.householderQ());
        benchmark::DoNotOptimize(left.data());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(PeerQrThenSvdOfTall)->ArgName("rows")->Arg(8)->Arg(40)->Arg(400)->Arg(4000)->Arg(40000);

/// Eigen's decomposition of the whole matrix, which takes a pivoted QR decomposition first.
void PeerJacobiSvdOfTall(benchmark::State& state)
{
    const CRowMajor matrix = TallMatrix(state.range(0));
    for (auto _ : state) {
        const Eigen::JacobiSVD<Eigen::MatrixXd> svd(matrix, Eigen::ComputeThinU | Eigen::ComputeThinV);
        benchmark::DoNotOptimize(svd.singularValues().data());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(PeerJacobiSvdOfTall)->ArgName("rows")->Arg(8)->Arg(40)->Arg(400)->Arg(4000)->Arg(40000);

} // namespace
