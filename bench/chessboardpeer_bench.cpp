// Another library's finders of chessboard corners, on chessboards with the blur and the noise of the targets of
// target_bench, with the distance of their corners from the true ones.
#ifdef LXCV_HAVE_OPENCV

#include "scanner/device/blur.h"
#include "scanner/device/checkerboard.h"
#include "scanner/device/lensfield.h"
#include "scanner/device/noise.h"
#include "scanner/device/polygoncoverage.h"
#include "scanner/device/random.h"
#include "scanner/device/virtualdevice.h"

#include <benchmark/benchmark.h>
#include <opencv2/calib3d.hpp>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

namespace {

constexpr int c_iColumns = 11; // squares
constexpr int c_iRows = 9;
constexpr double c_dSide = 1.2;   // mm, 45 pixels
constexpr double c_dDepth = 33.0; // mm
constexpr double c_dBlur = 0.8;   // sigma, pixels
constexpr double c_dNoise = 2.0;  // sigma, grey levels
constexpr int c_iPoses = 12;
constexpr float c_fDark = 40.0F; // grey levels, as green in the targets' images
constexpr float c_fBright = 205.0F;

/// A chessboard as a camera sees it, and where its inner corners are, in pixels.
struct SChessboard
{
    cv::Mat image;
    std::vector<cv::Point2d> corners;
};

/// The whole board in the image: its middle near the axis, turned by up to 0.1 and tilted by up to 0.2 radians.
device::Placement DrawPlacement(std::uint64_t seed)
{
    const device::CounterRandom random(seed);
    const auto draw = [&](std::uint64_t n, double reach) { return reach * (2.0 * random.Uniform(n) - 1.0); };
    device::Placement placement{draw(0, 0.2), draw(1, 0.2), draw(2, 0.1), 0.0, 0.0, 0.0};
    const device::Vec3 middle = device::RotationOf(placement) *
                                device::Vec3{0.5 * c_iColumns * c_dSide, 0.5 * c_iRows * c_dSide, 0.0};
    placement.tx = draw(3, 0.2) - middle.x;
    placement.ty = draw(4, 0.1) - middle.y;
    placement.tz = c_dDepth + draw(5, 1.0) - middle.z;
    return placement;
}

SChessboard RenderChessboard(std::uint64_t seed)
{
    const device::LensParameters camera = device::DeviceParameters().camera;
    const device::RigidMotion motion(DrawPlacement(seed));
    const std::vector<double> kernel = device::BlurKernel(c_dBlur);
    const int margin = static_cast<int>(kernel.size() / 2);
    const device::LensField field(camera, margin);
    const auto at = [&](int column, int row) {
        return motion.Forward({c_dSide * column, c_dSide * row, 0.0});
    };
    device::PolygonCoverage dark(camera.width + 2 * margin, camera.height + 2 * margin);
    SChessboard board;
    for (int row = 0; row < c_iRows; ++row) {
        for (int column = 0; column < c_iColumns; ++column) {
            const std::vector<device::Vec3> corners{at(column, row), at(column + 1, row),
                                                    at(column + 1, row + 1), at(column, row + 1)};
            if (column > 0 && row > 0) {
                const device::Vec3& corner = corners.front();
                const device::Vec2 image =
                    field.GetLens().RasterFromDirection({corner.x / corner.z, corner.y / corner.z});
                board.corners.emplace_back(image.x, image.y);
            }
            if ((column + row) % 2 == 0) {
                std::vector<device::Vec2> polygon = field.Outline(corners);
                for (device::Vec2& vertex : polygon) {
                    vertex = {vertex.x + margin, vertex.y + margin};
                }
                dark.Add(polygon);
            }
        }
    }
    std::vector<float> grey = device::BlurPlane(dark.Shares(), camera.width, camera.height, kernel);
    std::transform(grey.begin(), grey.end(), grey.begin(),
                   [](float share) { return c_fBright + share * (c_fDark - c_fBright); });
    device::AddNoise(grey, device::CounterRandom(seed + 1000), 0, c_dNoise);
    cv::Mat(camera.height, camera.width, CV_32F, grey.data()).convertTo(board.image, CV_8U);
    return board;
}

const std::vector<SChessboard>& TheChessboards()
{
    static const std::vector<SChessboard> boards = [] {
        std::vector<SChessboard> result;
        for (std::uint64_t seed = 1; seed <= c_iPoses; ++seed) {
            result.push_back(RenderChessboard(seed));
        }
        return result;
    }();
    return boards;
}

/// The distance from the nearest corner that was found; infinite without any.
double Nearest(const cv::Point2d& corner, const std::vector<cv::Point2f>& found)
{
    double least = std::numeric_limits<double>::infinity();
    for (const cv::Point2f& point : found) {
        least = std::min(least, std::hypot(point.x - corner.x, point.y - corner.y));
    }
    return least;
}

/// Times a finder over all boards, and reports the errors of its corners.
template <typename Finder>
void RunFinder(benchmark::State& state, const Finder& find)
{
    cv::setNumThreads(1);
    const std::vector<SChessboard>& boards = TheChessboards();
    double sum = 0.0, largest = 0.0;
    std::size_t corners = 0, missed = 0;
    for (const SChessboard& board : boards) {
        const std::vector<cv::Point2f> found = find(board.image);
        if (found.empty()) {
            ++missed;
            continue;
        }
        for (const cv::Point2d& corner : board.corners) {
            const double error = Nearest(corner, found);
            sum += error;
            largest = std::max(largest, error);
            ++corners;
        }
    }
    std::size_t next = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(find(boards[next++ % boards.size()].image));
    }
    state.counters["corner_px_mean"] = sum / static_cast<double>(std::max<std::size_t>(corners, 1));
    state.counters["corner_px_worst"] = largest;
    state.counters["corners"] = static_cast<double>(boards.front().corners.size());
    state.counters["boards_missed"] = static_cast<double>(missed);
}

const cv::Size c_innerCorners(c_iColumns - 1, c_iRows - 1);

void PeerFindChessboardCorners(benchmark::State& state)
{
    // The window and the end of the iteration are those that its manual shows.
    const int reach = static_cast<int>(state.range(0));
    RunFinder(state, [reach](const cv::Mat& image) {
        std::vector<cv::Point2f> found;
        if (!cv::findChessboardCorners(image, c_innerCorners, found)) {
            return std::vector<cv::Point2f>();
        }
        cv::cornerSubPix(image, found, {reach, reach}, {-1, -1},
                         {cv::TermCriteria::EPS + cv::TermCriteria::COUNT, 30, 0.001});
        return found;
    });
}
BENCHMARK(PeerFindChessboardCorners)->ArgName("reach")->Arg(5)->Arg(11)->Unit(benchmark::kMillisecond);

void RunSectorBased(benchmark::State& state, int flags)
{
    RunFinder(state, [flags](const cv::Mat& image) {
        std::vector<cv::Point2f> found;
        return cv::findChessboardCornersSB(image, c_innerCorners, found, flags) ? found
                                                                                : std::vector<cv::Point2f>();
    });
}

void PeerFindChessboardCornersSB(benchmark::State& state)
{
    RunSectorBased(state, 0);
}
BENCHMARK(PeerFindChessboardCornersSB)->Unit(benchmark::kMillisecond);

void PeerFindChessboardCornersSBAccurate(benchmark::State& state)
{
    RunSectorBased(state, cv::CALIB_CB_ACCURACY);
}
BENCHMARK(PeerFindChessboardCornersSBAccurate)->Unit(benchmark::kMillisecond);

} // namespace

#endif
