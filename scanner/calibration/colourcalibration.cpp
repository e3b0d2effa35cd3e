// White, patches, the matrix between them, and the correction.
#include "scanner/calibration/colourcalibration.h"

#include "matrixroutines.h"
#include "scanner/calibration/imageview.h"
#include "scanner/device/random.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <functional>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>

namespace calibration {

namespace {

using device::Colour;
using device::ColourChart;
using device::ImageF;
using LxCV::CCTImage;
using Record = LxCV::LxCColorCalibrationData;

constexpr std::size_t c_channels = 3;
constexpr int c_mostImages = 1000;
constexpr int c_mostExposures = 12;
constexpr double c_exposedWell = 0.5; ///< grey levels off `c_whiteLevel`, below its noise in one pixel

void Check(const ColourExperiment& experiment)
{
    const auto isWithin = [](double value, double least, double most) {
        return value >= least && value <= most;
    };
    if (!isWithin(experiment.depth, 1.0, 1000.0) || !isWithin(experiment.white, 0.05, 1.0) ||
        !isWithin(experiment.images, 1, c_mostImages) || !isWithin(experiment.noise, 0.0, 100.0)) {
        throw std::invalid_argument("the colours of a device cannot be calibrated with these numbers");
    }
}

/// A device that exposes by `shutterTime`.
device::VirtualDevice DeviceWith(const ColourExperiment& experiment, double shutterTime)
{
    device::DeviceParameters parameters = experiment.device;
    parameters.optics.exposure = shutterTime;
    return device::VirtualDevice(parameters);
}

/// The mean of images under white light.
ImageF RenderMean(const ColourExperiment& experiment, const device::VirtualDevice& camera,
                  const device::Scene& scene, std::uint64_t seed)
{
    device::RenderOptions options;
    options.noise = experiment.noise;
    options.truth = false;
    const int count = experiment.noise > 0.0 ? experiment.images : 1;
    ImageF mean;
    for (int i = 0; i < count; ++i) {
        options.seed = seed + static_cast<std::uint64_t>(i);
        const ImageF image = camera.RenderPair(scene, options).reference;
        if (i == 0) {
            mean = image;
        } else {
            // Levels are whole numbers with noise, and the sum of a thousand of them is exact in single precision.
            std::ranges::transform(image.data, mean.data, mean.data.begin(), std::plus<>());
        }
    }
    for (float& level : mean.data) {
        level /= static_cast<float>(count);
    }
    return mean;
}

/// A chart without patches in the middle of the view, whose sides are nine tenths of the view's.
ColourChart ChartInView(const ColourExperiment& experiment)
{
    constexpr double c_share = 0.9;
    Check(experiment);
    const device::VirtualDevice camera(experiment.device);
    const double right = experiment.device.camera.width - 1, bottom = experiment.device.camera.height - 1;
    const device::Vec3 first = camera.RayFromImage({0.0, 0.0}).direction;
    const device::Vec3 last = camera.RayFromImage({right, bottom}).direction;
    const auto place = [&](double from, double to, double share) {
        return experiment.depth * (0.5 * (from + to) + 0.5 * share * (to - from));
    };
    ColourChart chart;
    chart.depth = experiment.depth;
    chart.least = {place(first.x, last.x, -c_share), place(first.y, last.y, -c_share)};
    chart.greatest = {place(first.x, last.x, c_share), place(first.y, last.y, c_share)};
    return chart;
}

/// The mean of all channels over the middle of an image.
double AverageOfMiddle(const ImageF& image)
{
    double sum = 0.0;
    std::size_t count = 0;
    for (int row = image.height / 4; row < image.height - image.height / 4; ++row) {
        for (int col = image.width / 4; col < image.width - image.width / 4; ++col) {
            for (int channel = 0; channel < ImageF::channels; ++channel) {
                sum += image.At(col, row, channel);
                ++count;
            }
        }
    }
    return sum / static_cast<double>(count);
}

/// The shutter time at which the average of white is `c_whiteLevel`. Levels that are clipped make the steps smaller, but
/// not wrong.
double ExposeWhite(const ColourExperiment& experiment, const device::Scene& white)
{
    ColourExperiment quick = experiment;
    quick.images = 1;
    double shutterTime = experiment.device.optics.exposure;
    for (int i = 0; i < c_mostExposures; ++i) {
        const double average =
            AverageOfMiddle(RenderMean(quick, DeviceWith(quick, shutterTime), white, quick.seed));
        if (!(average > 0.0)) {
            break;
        }
        if (std::abs(average - c_whiteLevel) <= c_exposedWell) {
            return shutterTime;
        }
        shutterTime *= c_whiteLevel / average;
    }
    throw std::runtime_error("no exposure gives white the level " +
                             std::to_string(std::lround(c_whiteLevel)) + " at a depth of " +
                             std::to_string(experiment.depth) + " mm");
}

/// Divides a pixel by white. @return false where white is too dark for that
bool Balance(const float* pixel, const float* white, double scale, Colour& balanced)
{
    for (std::size_t channel = 0; channel < c_channels; ++channel) {
        const double level = white[channel];
        if (!(level >= c_leastWhite)) {
            return false;
        }
        balanced[channel] = pixel[channel] * scale * c_whiteLevel / level;
    }
    return true;
}

Colour Multiply(const Record::Matrix& matrix, const Colour& colour)
{
    Colour product{};
    for (std::size_t row = 0; row < c_channels; ++row) {
        const float* element = &matrix[4 * row];
        product[row] = element[0] * colour[0] + element[1] * colour[1] + element[2] * colour[2] + element[3];
    }
    return product;
}

/// A patch as it is seen through a white balance image.
struct SeenPatch
{
    Colour truth{};
    Colour measured{}; ///< mean levels
    Colour balanced{}; ///< mean of levels divided by white
};

/// Which patch each pixel lies well inside of, or -1.
std::vector<int> PatchesOfPixels(const device::VirtualDevice& camera, const ColourChart& chart, int width,
                                 int height)
{
    constexpr double c_margin = 0.15; // mm, five pixels of the default device and so beyond its blur
    std::vector<int> patches;
    patches.reserve(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
    for (int row = 0; row < height; ++row) {
        for (int col = 0; col < width; ++col) {
            const device::Ray ray = camera.RayFromImage({static_cast<double>(col), static_cast<double>(row)});
            const device::Vec3 point = ray.origin + (chart.depth - ray.origin.z) * ray.direction;
            patches.push_back(chart.PatchAt({point.x, point.y}, c_margin));
        }
    }
    return patches;
}

/// The patches that are seen in enough pixels.
/// @param image of the chart
std::vector<SeenPatch> SeePatches(const ColourExperiment& experiment, const ColourChart& chart,
                                  const ImageF& image, const CCTImage& white)
{
    constexpr std::size_t c_fewestPixels = 100;
    const device::VirtualDevice camera(experiment.device);
    const std::vector<int> patches = PatchesOfPixels(camera, chart, image.width, image.height);
    std::vector<SeenPatch> sums(chart.albedos.size());
    std::vector<std::size_t> counts(chart.albedos.size());
    const auto* const whiteLevels = static_cast<const float*>(white.GetBuffer());
    for (std::size_t i = 0; i < patches.size(); ++i) {
        const float* const pixel = image.data.data() + c_channels * i;
        Colour balanced{};
        if (patches[i] < 0 || !Balance(pixel, whiteLevels + c_channels * i, 1.0, balanced)) {
            continue;
        }
        SeenPatch& sum = sums[static_cast<std::size_t>(patches[i])];
        for (std::size_t channel = 0; channel < c_channels; ++channel) {
            sum.measured[channel] += pixel[channel];
            sum.balanced[channel] += balanced[channel];
        }
        ++counts[static_cast<std::size_t>(patches[i])];
    }
    std::vector<SeenPatch> seen;
    for (std::size_t i = 0; i < sums.size(); ++i) {
        if (counts[i] < c_fewestPixels) {
            continue;
        }
        for (std::size_t channel = 0; channel < c_channels; ++channel) {
            sums[i].measured[channel] /= static_cast<double>(counts[i]);
            sums[i].balanced[channel] /= static_cast<double>(counts[i]);
            sums[i].truth[channel] = c_whiteLevel * chart.albedos[i][channel] / experiment.white;
        }
        seen.push_back(sums[i]);
    }
    return seen;
}

/// The matrix of least squares by its normal equations: (sum q q^T) M^T = sum q t^T.
Record::Matrix FitMatrix(const std::vector<SeenPatch>& patches)
{
    std::array<double, c_channels * c_channels> squares{};
    std::array<double, c_channels * c_channels> products{};
    for (const SeenPatch& patch : patches) {
        for (std::size_t i = 0; i < c_channels; ++i) {
            for (std::size_t k = 0; k < c_channels; ++k) {
                squares[c_channels * i + k] += patch.balanced[i] * patch.balanced[k];
                products[c_channels * i + k] += patch.balanced[i] * patch.truth[k];
            }
        }
    }
    if (patches.size() < c_channels) {
        throw std::runtime_error(
            std::to_string(patches.size()) +
            " patches of the colour chart are seen well lit, too few to fit a matrix; take "
            "a depth that the projector's light reaches");
    }
    if (!LxCV::SolveGaussJordan(squares.data(), c_channels, products.data(), c_channels)) {
        throw std::runtime_error(
            "the camera sees the patches of the colour chart in fewer than three independent colours");
    }
    Record::Matrix matrix{};
    for (std::size_t row = 0; row < c_channels; ++row) {
        for (std::size_t column = 0; column < c_channels; ++column) {
            matrix[4 * row + column] = static_cast<float>(products[c_channels * column + row]);
        }
    }
    return matrix;
}

ColourError ErrorOf(const std::vector<PatchLevels>& patches, Colour PatchLevels::*levels)
{
    ColourError error;
    for (const PatchLevels& patch : patches) {
        for (std::size_t channel = 0; channel < c_channels; ++channel) {
            const double difference = (patch.*levels)[channel] - patch.truth[channel];
            error.rms += difference * difference;
            error.largest = std::max(error.largest, std::abs(difference));
        }
    }
    const std::size_t count = std::max<std::size_t>(1, c_channels * patches.size());
    error.rms = std::sqrt(error.rms / static_cast<double>(count));
    return error;
}

/// @throws std::invalid_argument for a record that cannot correct an image of this size (pixels)
void CheckCorrection(int width, int height, const Record& record, double shutterTime)
{
    if (!record.IsColorCalibrationDataValid()) {
        throw std::invalid_argument(
            "a colour calibration without a matrix or an image of white corrects no image");
    }
    if (!(shutterTime > 0.0) || !std::isfinite(shutterTime) ||
        !(record.GetColorCalibrationShutterTime() > 0.0F)) {
        throw std::invalid_argument("colours are corrected for positive shutter times");
    }
    const CCTImage& white = *record.GetWhiteBalanceImg();
    if (width != white.GetWidth() || height != white.GetHeight()) {
        const auto sizeOf = [](int columns, int rows) {
            return std::to_string(columns) + " by " + std::to_string(rows);
        };
        throw std::invalid_argument("an image of " + sizeOf(width, height) +
                                    " pixels cannot be corrected by an image of white of " +
                                    sizeOf(white.GetWidth(), white.GetHeight()));
    }
}

/// A level of single precision; the nearest one for what is beyond it.
float ToLevel(double level)
{
    constexpr double c_largest = std::numeric_limits<float>::max();
    return static_cast<float>(std::clamp(level, -c_largest, c_largest));
}

} // namespace

ColourError MeasuredError(const std::vector<PatchLevels>& patches)
{
    return ErrorOf(patches, &PatchLevels::measured);
}

ColourError CorrectedError(const std::vector<PatchLevels>& patches)
{
    return ErrorOf(patches, &PatchLevels::corrected);
}

ColourChart FittedChart(const ColourExperiment& experiment)
{
    constexpr double c_dark = 0.08, c_middle = 0.4, c_bright = 0.8;
    ColourChart chart = ChartInView(experiment);
    for (const double grey : {0.9, 0.65, 0.45, 0.3, 0.15, 0.05}) {
        chart.albedos.push_back({grey, grey, grey});
    }
    for (const unsigned mixed : {1U, 2U, 4U, 3U, 5U, 6U}) {
        Colour strong{}, weak{};
        for (std::size_t channel = 0; channel < c_channels; ++channel) {
            const bool isOn = ((mixed >> channel) & 1U) != 0;
            strong[channel] = isOn ? c_bright : c_dark;
            weak[channel] = isOn ? c_middle : c_dark;
        }
        chart.albedos.push_back(strong);
        chart.albedos.push_back(weak);
    }
    return chart;
}

ColourChart DrawChart(const ColourExperiment& experiment, std::uint64_t seed)
{
    constexpr std::uint64_t c_patches = 24;
    constexpr double c_darkest = 0.05, c_brightest = 0.9;
    const device::CounterRandom random(seed);
    ColourChart chart = ChartInView(experiment);
    for (std::uint64_t i = 0; i < c_patches; ++i) {
        Colour albedo{};
        for (std::size_t channel = 0; channel < c_channels; ++channel) {
            albedo[channel] =
                c_darkest + (c_brightest - c_darkest) * random.Uniform(c_channels * i + channel);
        }
        chart.albedos.push_back(albedo);
    }
    return chart;
}

void CalibrateColours(const ColourExperiment& experiment, Record& record)
{
    Check(experiment);
    const std::unique_ptr<device::Scene> target =
        device::MakePlane({0.0, 0.0, experiment.depth}, {0.0, 0.0, -1.0},
                          {experiment.white, experiment.white, experiment.white});
    const double shutterTime = ExposeWhite(experiment, *target);
    ImageF white = RenderMean(experiment, DeviceWith(experiment, shutterTime), *target, experiment.seed);
    std::ranges::transform(white.data, white.data.begin(), [](float level) { return std::round(level); });
    const CCTImage image = ViewOf(white);
    const ColourChart chart = FittedChart(experiment);
    const ImageF chartImage = RenderMean(experiment, DeviceWith(experiment, shutterTime),
                                         *device::MakeColourChart(chart), experiment.seed + c_mostImages);
    const Record::Matrix matrix = FitMatrix(SeePatches(experiment, chart, chartImage, image));
    record.SetWhiteBalanceImg(&image);
    record.SetColorCalibrationMatrix(matrix);
    record.SetColorCalibrationShutterTime(static_cast<float>(shutterTime));
    record.SetShutterTimeCorrectionFactor(
        static_cast<float>(shutterTime / experiment.device.optics.exposure));
    record.SetReferenceDepth(static_cast<float>(experiment.depth));
}

ImageF RenderChart(const ColourExperiment& experiment, const ColourChart& chart, double shutterTime)
{
    Check(experiment);
    return RenderMean(experiment, DeviceWith(experiment, shutterTime), *device::MakeColourChart(chart),
                      experiment.seed + 2 * c_mostImages);
}

std::vector<PatchLevels> MeasureChart(const ColourExperiment& experiment, const ColourChart& chart,
                                      const Record& record)
{
    const double shutterTime = record.GetColorCalibrationShutterTime();
    CheckCorrection(experiment.device.camera.width, experiment.device.camera.height, record, shutterTime);
    const ImageF image = RenderChart(experiment, chart, shutterTime);
    std::vector<PatchLevels> patches;
    for (const SeenPatch& seen : SeePatches(experiment, chart, image, *record.GetWhiteBalanceImg())) {
        patches.push_back(
            {seen.truth, seen.measured, Multiply(record.GetColorCalibrationMatrix(), seen.balanced)});
    }
    return patches;
}

CCTImage CorrectColours(const CCTImage& image, const Record& record, double shutterTime)
{
    CheckCorrection(image.GetWidth(), image.GetHeight(), record, shutterTime);
    CCTImage corrected;
    if (image.ConvertToFloat(&corrected, true) != CCTImage::eRC_OK ||
        corrected.GetDataType() != CCTImage::eIDT_FLOAT32_3) {
        throw std::invalid_argument("an image without colours has none to correct");
    }
    const double scale = record.GetColorCalibrationShutterTime() / shutterTime;
    const auto* white = static_cast<const float*>(record.GetWhiteBalanceImg()->GetBuffer());
    auto* pixel = static_cast<float*>(corrected.GetBuffer());
    for (int i = 0; i < corrected.GetSizeInPixels(); ++i, pixel += c_channels, white += c_channels) {
        Colour colour{};
        const bool isLit = Balance(pixel, white, scale, colour);
        const Colour levels = isLit ? Multiply(record.GetColorCalibrationMatrix(), colour) : Colour{};
        std::ranges::transform(levels, pixel, ToLevel);
    }
    return corrected;
}

} // namespace calibration
