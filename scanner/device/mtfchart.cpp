// Renders rings, a line and patches of bars under a Gaussian blur in closed form.
#include "scanner/device/mtfchart.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numbers>
#include <stdexcept>

namespace device {

namespace {

constexpr double c_discRadius = 0.16; // of the scale
constexpr double c_innerRing = 0.28;  // of the scale
constexpr double c_outerRing = 0.4;   // of the scale
constexpr double c_maxBlur = 10.0;    // pixels
constexpr double c_reach = 9.0;       // sigma; what lies beyond is less than any rounding
constexpr double c_maxGrey = 255.0;
constexpr int c_maxSize = 1 << 14; // pixels

/// An edge from 0 to 1 at x = 0 after the blur.
double BlurredStep(double x, double blur)
{
    if (std::abs(x) > c_reach * blur) {
        return x > 0.0 ? 1.0 : 0.0;
    }
    return x == 0.0 ? 0.5 : 0.5 * std::erfc(-x / (blur * std::numbers::sqrt2));
}

/// 1 between the two ends, 0 elsewhere, after the blur.
double BlurredInterval(double x, double begin, double end, double blur)
{
    return BlurredStep(x - begin, blur) - BlurredStep(x - end, blur);
}

/// Bars over the interval -half ... half, the outermost ones cut there: dark from k P - P/4 to k P + P/4.
double BlurredBars(double x, double period, double half, double blur)
{
    const int last = static_cast<int>(half / period + 0.25);
    const double reach = 0.25 * period + c_reach * blur;
    const int first = std::max(-last, static_cast<int>(std::ceil((x - reach) / period)));
    const int end = std::min(last, static_cast<int>(std::floor((x + reach) / period)));
    double sum = 0.0;
    for (int bar = first; bar <= end; ++bar) {
        sum += BlurredInterval(x, std::max((bar - 0.25) * period, -half),
                               std::min((bar + 0.25) * period, half), blur);
    }
    return sum;
}

bool IsFinePositive(double value, double most)
{
    return value > 0.0 && value <= most;
}

bool AreBars(const MtfBars& bars)
{
    return bars.period >= 1.0 && bars.period <= c_maxSize && bars.dark >= 0.0 && bars.dark <= c_maxGrey;
}

void Check(const MtfChart& chart)
{
    const double places[] = {chart.centre.x, chart.centre.y, chart.tilt, chart.lineDistance,
                             chart.lineHalfLength};
    const bool fine =
        chart.width > 0 && chart.width <= c_maxSize && chart.height > 0 && chart.height <= c_maxSize &&
        std::all_of(std::begin(places), std::end(places),
                    [](double p) { return std::abs(p) <= c_maxSize; }) &&
        chart.scale >= 1.0 && chart.scale <= c_maxSize && IsFinePositive(chart.ringWidth, c_maxSize) &&
        IsFinePositive(chart.lineWidth, c_maxSize) && IsFinePositive(chart.patchSide, 1.0) &&
        chart.bright >= 0.0 && chart.bright <= c_maxGrey && chart.ink >= 0.0 && chart.ink <= c_maxGrey &&
        AreBars(chart.alongV) && AreBars(chart.alongU) && chart.blur >= 0.0 && chart.blur <= c_maxBlur &&
        chart.rowStretch >= 0.1 && chart.rowStretch <= 10.0;
    if (!fine) {
        throw std::invalid_argument("not a test chart");
    }
}

/// How much of the ink of rings and line a chart point has, 0 to 1.
double InkAt(const MtfChart& chart, double u, double v)
{
    const double radius = std::hypot(u, v);
    const double half = 0.5 * chart.ringWidth;
    double ink = BlurredInterval(radius, -c_discRadius * chart.scale, c_discRadius * chart.scale, chart.blur);
    for (const double ring : {c_innerRing * chart.scale, c_outerRing * chart.scale}) {
        ink += BlurredInterval(radius, ring - half, ring + half, chart.blur);
    }
    ink += BlurredInterval(u, chart.lineDistance - 0.5 * chart.lineWidth,
                           chart.lineDistance + 0.5 * chart.lineWidth, chart.blur) *
           BlurredInterval(v, -chart.lineHalfLength, chart.lineHalfLength, chart.blur);
    return std::min(ink, 1.0);
}

/// The loss of grey level that the patch about the lattice place (i, j) has at (u, v).
double PatchAt(const MtfChart& chart, std::int64_t i, std::int64_t j, double u, double v)
{
    const double half = 0.5 * chart.patchSide * chart.scale;
    const double right = static_cast<double>(i) * chart.scale + half + 0.5 * chart.lineWidth;
    if ((i == 0 && j == 0) || ((i ^ j) & 1) != 0 || right > chart.lineDistance) {
        return 0.0;
    }
    const double du = u - static_cast<double>(i) * chart.scale;
    const double dv = v - static_cast<double>(j) * chart.scale;
    const bool odd = (i & 1) != 0;
    const MtfBars& bars = odd ? chart.alongV : chart.alongU;
    const double across = odd ? du : dv;
    const double along = odd ? dv : du;
    if (std::max(std::abs(du), std::abs(dv)) > half + c_reach * chart.blur) {
        return 0.0;
    }
    return (chart.bright - bars.dark) * BlurredBars(across, bars.period, half, chart.blur) *
           BlurredInterval(along, -half, half, chart.blur);
}

float GreyAt(const MtfChart& chart, double u, double v)
{
    double grey = chart.bright - (chart.bright - chart.ink) * InkAt(chart, u, v);
    // The patch of this place and its neighbours, whose blur reaches over here.
    const auto i = static_cast<std::int64_t>(std::lround(u / chart.scale));
    const auto j = static_cast<std::int64_t>(std::lround(v / chart.scale));
    for (std::int64_t di = -1; di <= 1; ++di) {
        for (std::int64_t dj = -1; dj <= 1; ++dj) {
            grey -= PatchAt(chart, i + di, j + dj, u, v);
        }
    }
    return static_cast<float>(std::clamp(grey, 0.0, c_maxGrey));
}

} // namespace

ImageF RenderMtfChart(const MtfChart& chart)
{
    Check(chart);
    ImageF image(chart.width, chart.height);
    const double cosine = std::cos(chart.tilt);
    const double sine = std::sin(chart.tilt);
    for (int row = 0; row < chart.height; ++row) {
        for (int col = 0; col < chart.width; ++col) {
            const double x = col - chart.centre.x;
            const double y = (row - chart.centre.y) / chart.rowStretch;
            const float grey = GreyAt(chart, x * cosine + y * sine, y * cosine - x * sine);
            for (int channel = 0; channel < ImageF::channels; ++channel) {
                image.At(col, row, channel) = grey;
            }
        }
    }
    return image;
}

double MtfContrast(const MtfChart& chart, const MtfBars& bars)
{
    Check(chart);
    const double half = 0.5 * chart.patchSide * chart.scale;
    const auto greyAt = [&](double x) {
        return chart.bright - (chart.bright - bars.dark) * BlurredBars(x, bars.period, half, chart.blur);
    };
    const double darkest = greyAt(0.0);
    const double brightest = greyAt(0.5 * bars.period);
    return (brightest - darkest) / (brightest + darkest);
}

} // namespace device
