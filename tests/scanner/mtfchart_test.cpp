#include "scanner/device/mtfchart.h"

#include "cctimage.h"
#include "lxcmtfcalibration.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <numbers>
#include <stdexcept>
#include <vector>

namespace device {
namespace {

constexpr double kPi = std::numbers::pi;

// ------------------------------------------------------------------------------------------------- the chart itself

/// The chart without blur at a point, by the words of its definition.
double SharpGreyAt(const MtfChart& chart, double u, double v)
{
    const double s = chart.scale;
    const double radius = std::hypot(u, v);
    if (radius < 0.16 * s || std::abs(radius - 0.28 * s) < 0.5 * chart.ringWidth ||
        std::abs(radius - 0.4 * s) < 0.5 * chart.ringWidth) {
        return chart.ink;
    }
    if (std::abs(u - chart.lineDistance) < 0.5 * chart.lineWidth && std::abs(v) < chart.lineHalfLength) {
        return chart.ink;
    }
    const double half = 0.5 * chart.patchSide * s;
    const auto i = static_cast<int>(std::lround(u / s));
    const auto j = static_cast<int>(std::lround(v / s));
    const double du = u - i * s;
    const double dv = v - j * s;
    const bool odd = i % 2 != 0 && j % 2 != 0;
    const bool even = i % 2 == 0 && j % 2 == 0 && (i != 0 || j != 0);
    if ((!odd && !even) || std::abs(du) > half || std::abs(dv) > half ||
        i * s + half + 0.5 * chart.lineWidth > chart.lineDistance) {
        return chart.bright;
    }
    const MtfBars& bars = odd ? chart.alongV : chart.alongU;
    const double across = odd ? du : dv;
    const double phase = across - bars.period * std::round(across / bars.period);
    return std::abs(phase) < 0.25 * bars.period ? bars.dark : chart.bright;
}

/// The same under a Gaussian, summed up over a fine raster of offsets.
double BlurredGreyAt(const MtfChart& chart, double u, double v)
{
    constexpr int kSteps = 40; // offsets from -5 to 5 sigma
    double sum = 0.0;
    double weights = 0.0;
    for (int a = -kSteps; a <= kSteps; ++a) {
        for (int b = -kSteps; b <= kSteps; ++b) {
            const double x = 5.0 * a / kSteps;
            const double y = 5.0 * b / kSteps;
            const double weight = std::exp(-0.5 * (x * x + y * y));
            sum += weight * SharpGreyAt(chart, u + x * chart.blur, v + y * chart.blur);
            weights += weight;
        }
    }
    return sum / weights;
}

TEST(MtfChart, IsItsDefinitionUnderAGaussian)
{
    MtfChart chart;
    chart.tilt = 0.13;
    chart.blur = 1.2;
    chart.centre = {330.3, 245.8};
    const ImageF image = RenderMtfChart(chart);
    // Offsets of an eighth of sigma place an edge wrongly by half of that at most, which is 0.025 of the step each; an
    // edge of a bar can meet its end, and rings add the curvature of their radius.
    constexpr double kTolerance = 0.05 * 195.0;
    for (int row = 3; row < image.height; row += 43) {
        for (int col = 2; col < image.width; col += 31) {
            const double x = col - chart.centre.x;
            const double y = row - chart.centre.y;
            const double u = x * std::cos(chart.tilt) + y * std::sin(chart.tilt);
            const double v = y * std::cos(chart.tilt) - x * std::sin(chart.tilt);
            ASSERT_NEAR(image.At(col, row, 0), BlurredGreyAt(chart, u, v), kTolerance) << col << ", " << row;
            ASSERT_EQ(image.At(col, row, 0), image.At(col, row, 1));
            ASSERT_EQ(image.At(col, row, 0), image.At(col, row, 2));
        }
    }
}

TEST(MtfChart, WithoutBlurHasTwoLevels)
{
    MtfChart chart;
    chart.blur = 0.0;
    chart.tilt = 0.02;
    const ImageF image = RenderMtfChart(chart);
    for (int row = 0; row < image.height; ++row) {
        for (int col = 0; col < image.width; ++col) {
            const double x = col - chart.centre.x;
            const double y = row - chart.centre.y;
            const double u = x * std::cos(chart.tilt) + y * std::sin(chart.tilt);
            const double v = y * std::cos(chart.tilt) - x * std::sin(chart.tilt);
            ASSERT_EQ(image.At(col, row, 0), static_cast<float>(SharpGreyAt(chart, u, v)))
                << col << ", " << row;
        }
    }
    EXPECT_DOUBLE_EQ(MtfContrast(chart, chart.alongV), (215.0 - 40.0) / (215.0 + 40.0));
}

TEST(MtfChart, ContrastFollowsTheFourierSeriesOfTheBars)
{
    for (const double blur : {0.5, 1.0, 2.0, 3.0}) {
        for (const double period : {8.0, 12.0, 16.0}) {
            MtfChart chart;
            chart.scale = 400.0; // so many bars that their end does not matter
            chart.blur = blur;
            const MtfBars bars{period, 40.0};
            // A square wave between bright and dark: mean +- (difference/2) 4/pi (g1 - g3/3 + g5/5 ...), where the
            // Gaussian leaves gk = exp(-2 (pi k sigma / period)^2) of the kth harmonic.
            double series = 0.0;
            for (int k = 1; k < 400; k += 2) {
                const double w = kPi * k * blur / period;
                series += (k % 4 == 1 ? 1.0 : -1.0) / k * std::exp(-2.0 * w * w);
            }
            const double swing = 0.5 * (chart.bright - bars.dark) * 4.0 / kPi * series;
            const double mean = 0.5 * (chart.bright + bars.dark);
            EXPECT_NEAR(MtfContrast(chart, bars), swing / mean, 1e-9) << blur << ", " << period;
        }
    }
}

TEST(MtfChart, RefusesWhatIsNoChart)
{
    const auto refuses = [](auto&& change) {
        MtfChart chart;
        change(chart);
        EXPECT_THROW(RenderMtfChart(chart), std::invalid_argument);
    };
    constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
    refuses([](MtfChart& c) { c.width = 0; });
    refuses([](MtfChart& c) { c.height = 1 << 20; });
    refuses([](MtfChart& c) { c.tilt = kNaN; });
    refuses([](MtfChart& c) { c.centre.x = kNaN; });
    refuses([](MtfChart& c) { c.scale = 0.0; });
    refuses([](MtfChart& c) { c.blur = -0.1; });
    refuses([](MtfChart& c) { c.blur = kNaN; });
    refuses([](MtfChart& c) { c.alongU.period = 0.5; });
    refuses([](MtfChart& c) { c.alongV.dark = 256.0; });
    refuses([](MtfChart& c) { c.patchSide = 1.1; });
    refuses([](MtfChart& c) { c.rowStretch = 0.0; });
}

// -------------------------------------------------------------------------------------------------- its measurement

std::unique_ptr<LxCV::CCTImage> ToImage(const ImageF& rendered)
{
    auto image = std::make_unique<LxCV::CCTImage>(rendered.width, rendered.height, LxCV::CCTImage::eIDT_ARGB8,
                                                  true, nullptr);
    auto* byte = static_cast<std::uint8_t*>(image->GetBuffer());
    for (int row = 0; row < rendered.height; ++row) {
        for (int col = 0; col < rendered.width; ++col) {
            for (int channel = 0; channel < ImageF::channels; ++channel) {
                *byte++ = static_cast<std::uint8_t>(std::lround(rendered.At(col, row, channel)));
            }
            *byte++ = 0;
        }
    }
    return image;
}

constexpr double kContrastTolerance = 0.02;

/// A mean over whole columns and rows is truncated.
constexpr double kCentreTolerance = 1.25;

/// Radii are told to half a pixel in each of four directions.
constexpr double kScaleTolerance = 0.5 * 2.0 / 0.8;

/// Columns are whole, which adds their variance of 1/12 to that of the line: 2.9 mrad at most for 400 rows.
constexpr double kTiltTolerance = 0.003;

struct Measured
{
    explicit Measured(const MtfChart& chart)
        : image(ToImage(RenderMtfChart(chart))), mtf(image.get(), 120, 120, 45, 7)
    {}
    bool Run()
    {
        return mtf.FindCenterOfCircle() && mtf.DetermineScaleFactor() && mtf.DetermineOrientation() &&
               mtf.CalculateContrast();
    }
    std::unique_ptr<LxCV::CCTImage> image;
    LxCV::LxCMTFCalibration mtf;
};

/// The level of bars that have a contrast to the chart's ground: (bright - dark) / (bright + dark) solved for dark.
double DarkOf(const MtfChart& chart, double contrast)
{
    return chart.bright * (1.0 - contrast) / (1.0 + contrast);
}

/// The slope, y upwards, of a line that a clockwise tilt turns away from the columns.
double SlopeOfTilt(double tilt)
{
    return tilt == 0.0 ? 0.0 : std::copysign(0.5 * kPi, tilt) - tilt;
}

void ExpectMeasuredAs(const MtfChart& chart, double scaleTolerance = kScaleTolerance)
{
    Measured measured(chart);
    ASSERT_TRUE(measured.Run());
    EXPECT_NEAR(measured.mtf.GetCircleColPos(), chart.centre.x, kCentreTolerance);
    EXPECT_NEAR(measured.mtf.GetCircleRowPos(), chart.centre.y, kCentreTolerance);
    EXPECT_NEAR(measured.mtf.GetScaleFactor(), chart.scale, scaleTolerance);
    EXPECT_NEAR(measured.mtf.GetAngle(), SlopeOfTilt(chart.tilt), kTiltTolerance);
    EXPECT_NEAR(measured.mtf.GetContrastHor(), MtfContrast(chart, chart.alongV), kContrastTolerance);
    EXPECT_NEAR(measured.mtf.GetContrastVer(), MtfContrast(chart, chart.alongU), kContrastTolerance);
}

TEST(MtfMeasurement, AnUprightChartGivesItsContrasts)
{
    MtfChart chart;
    ExpectMeasuredAs(chart);
    EXPECT_GT(std::abs(MtfContrast(chart, chart.alongV) - MtfContrast(chart, chart.alongU)), 0.2)
        << "so that one cannot stand for the other";
}

TEST(MtfMeasurement, SharpAndBlurredBarsOfAnyContrastAreTold)
{
    for (const double contrast : {0.0, 0.3, 1.0}) {
        for (const double blur : {0.0, 1.0}) {
            SCOPED_TRACE(testing::Message() << contrast << ", " << blur);
            MtfChart chart;
            chart.blur = blur;
            chart.alongV.dark = DarkOf(chart, contrast);
            chart.alongU.dark = DarkOf(chart, 1.0 - contrast);
            ExpectMeasuredAs(chart);
            if (blur == 0.0) {
                EXPECT_DOUBLE_EQ(MtfContrast(chart, chart.alongV), contrast);
                EXPECT_DOUBLE_EQ(MtfContrast(chart, chart.alongU), 1.0 - contrast);
            }
        }
    }
}

TEST(MtfMeasurement, BlurTakesContrastAsTheChartTells)
{
    double before = 1.0;
    for (const double blur : {0.4, 1.2, 2.0}) {
        SCOPED_TRACE(blur);
        MtfChart chart;
        chart.blur = blur;
        chart.alongV.period = 12.0;
        chart.alongU.period = 10.0;
        ExpectMeasuredAs(chart);
        const double contrast = MtfContrast(chart, chart.alongU);
        EXPECT_LT(contrast, before);
        before = contrast;
    }
}

/// From the scale at which patches begin beyond the reach of the search for rings, 100 pixels = (2 - 0.45) * 64.5, to
/// the one at which four places fit into 658 columns, 658 / 8 = 82.
constexpr double kScales[] = {65.0, 72.0, 81.0};

TEST(MtfMeasurement, ChartsOfAnyScaleStandTiltsOfFourDegrees)
{
    constexpr double kMostTilt = 4.0 * kPi / 180.0;
    for (const double scale : kScales) {
        for (const double tilt : {-kMostTilt, 0.05 * kMostTilt, kMostTilt}) {
            SCOPED_TRACE(testing::Message() << scale << ", " << tilt);
            MtfChart chart;
            chart.scale = scale;
            chart.tilt = tilt;
            ExpectMeasuredAs(chart);
        }
    }
}

TEST(MtfMeasurement, StronglyBlurredChartsStandOneDegree)
{
    // Between blurred bars it is darker than beside the patch, so that no square may reach over its patch's end.
    for (const double scale : kScales) {
        SCOPED_TRACE(scale);
        MtfChart chart;
        chart.scale = scale;
        chart.blur = 2.0;
        chart.tilt = kPi / 180.0;
        ExpectMeasuredAs(chart);
    }
}

TEST(MtfMeasurement, TiltsOfEightDegreesMissThePatches)
{
    // Patches at 300 pixels from the rings are missed by 2 * 300 * sin 8 degrees = 83 pixels, more than the scale.
    MtfChart chart;
    chart.tilt = 8.0 * kPi / 180.0;
    Measured measured(chart);
    ASSERT_TRUE(measured.Run());
    EXPECT_LT(measured.mtf.GetContrastHor(), MtfContrast(chart, chart.alongV) - 0.1);
}

TEST(MtfMeasurement, ScaleAndCentreMayDiffer)
{
    for (const double scale : kScales) {
        for (const double dx : {-4.5, 3.0}) {
            SCOPED_TRACE(testing::Message() << scale << ", " << dx);
            MtfChart chart;
            chart.scale = scale;
            chart.centre = {329.0 + dx, 247.0 - dx};
            ExpectMeasuredAs(chart);
        }
    }
}

TEST(MtfMeasurement, PixelsThatAreNotSquareAreRefused)
{
    MtfChart chart;
    chart.rowStretch = 1.06;
    ExpectMeasuredAs(chart, kScaleTolerance + 0.03 * chart.scale);
    for (const double stretch : {0.87, 1.15}) {
        chart.rowStretch = stretch;
        Measured measured(chart);
        ASSERT_TRUE(measured.mtf.FindCenterOfCircle());
        EXPECT_FALSE(measured.mtf.DetermineScaleFactor()) << stretch;
    }
}

} // namespace
} // namespace device
