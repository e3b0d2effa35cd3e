#include "scanner/device/random.h"
#include "scanner/device/virtualdevice.h"
#include "tests/scanner/smalldevice.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>

namespace device {
namespace {

constexpr double c_fullScale = 255.0;

/// A step from 0 to 1 at 0 as an image with noise-free optics shows it at `x` pixels: the projector's blur of sigma
/// pixels, the mean over a pixel, the camera's blur sampled at whole pixels.
class BlurredStep
{
public:
    BlurredStep(double projectorSigma, double cameraSigma) : m_sigma(projectorSigma)
    {
        for (int offset = -c_reach; offset <= c_reach; ++offset) {
            const double bell = std::exp(-0.5 * offset * offset / (cameraSigma * cameraSigma));
            m_kernel.push_back(offset == 0 ? 1.0 : bell);
        }
        const double sum = std::accumulate(m_kernel.begin(), m_kernel.end(), 0.0);
        std::for_each(m_kernel.begin(), m_kernel.end(), [sum](double& weight) { weight /= sum; });
    }

    double At(double x) const
    {
        double value = 0.0;
        for (int offset = -c_reach; offset <= c_reach; ++offset) {
            const double right = Integral(x - offset + 0.5), left = Integral(x - offset - 0.5);
            value += m_kernel[static_cast<std::size_t>(offset + c_reach)] * (right - left);
        }
        return value;
    }

    /// The x at which the step has risen to `share`, by halving.
    double Where(double share) const
    {
        double low = -4.0, high = 4.0;
        for (int step = 0; step < 40; ++step) {
            const double middle = 0.5 * (low + high);
            (At(middle) < share ? low : high) = middle;
        }
        return 0.5 * (low + high);
    }

private:
    static constexpr int c_reach = 3; // four sigma of 0.7 pixels

    /// Of the normal distribution with sigma m_sigma.
    double Integral(double x) const
    {
        const double t = x / m_sigma;
        return 0.5 * x * std::erfc(-t / std::sqrt(2.0)) +
               m_sigma * std::exp(-0.5 * t * t) / std::sqrt(2.0 * std::acos(-1.0));
    }

    double m_sigma;
    std::vector<double> m_kernel;
};

constexpr Colour c_grey{0.7, 0.7, 0.7};
constexpr std::array<Colour, 3> c_pureColours{Colour{1, 0, 0}, Colour{0, 1, 0}, Colour{0, 0, 1}};

/// What a sensor channel sees of a wide stripe on a grey surface, as a share of white light: crosstalk over the light of each channel.
double StripeLevel(const DeviceParameters& parameters, int digit, std::size_t channel)
{
    double seen = 0.0, white = 0.0;
    for (std::size_t source = 0; source < 3; ++source) {
        const double light = parameters.optics.crosstalk[channel][source] * parameters.optics.light[source];
        white += light;
        seen += light * (((digit >> source) & 1) != 0 ? 1.0 : parameters.slide.darkLevel);
    }
    return seen / white;
}

/// How far the rendered transitions lie from the true crossings, pixels, over all channels with a clear change.
struct Deviation
{
    std::vector<double> errors;
    double Mean() const
    {
        return std::accumulate(errors.begin(), errors.end(), 0.0) / static_cast<double>(errors.size());
    }
    double Quantile(double share)
    {
        for (double& error : errors) {
            error = std::abs(error);
        }
        std::sort(errors.begin(), errors.end());
        return errors[static_cast<std::size_t>(share * static_cast<double>(errors.size() - 1))];
    }
};

/// Measures edges in noise-free images as no decoder could: with the levels of both stripes and the form of the
/// transition known. The pattern over the reference image is free of shading; the row nearest to the edge then tells
/// how far away the edge is.
Deviation MeasureTransitions(const DeviceParameters& parameters, const RenderedPair& pair)
{
    Deviation deviation;
    const int height = pair.pattern.height;
    for (int col = 0; col < pair.pattern.width; ++col) {
        for (const EdgeCrossing& crossing : pair.truth.crossings[static_cast<std::size_t>(col)]) {
            const int row = static_cast<int>(std::round(crossing.row));
            if (row < 4 || row > height - 5 || !crossing.seenByProjector) {
                continue;
            }
            const auto digit = [&](int stripe) {
                const std::string& digits = parameters.slide.digits;
                return digits[static_cast<std::size_t>(stripe) % digits.size()] - '0';
            };
            const double unitsPerPixel =
                0.5 * (pair.truth.At(col, row + 1).slide.y - pair.truth.At(col, row - 1).slide.y);
            const BlurredStep step(parameters.slide.blur / unitsPerPixel, parameters.optics.cameraBlur);
            for (int channel = 0; channel < 3; ++channel) {
                const auto index = static_cast<std::size_t>(channel);
                const double before = StripeLevel(parameters, digit(crossing.edge - 2), index);
                const double after = StripeLevel(parameters, digit(crossing.edge - 1), index);
                if (std::abs(after - before) < 0.4) {
                    continue;
                }
                const double share =
                    pair.pattern.At(col, row, channel) / pair.reference.At(col, row, channel);
                const double found = row - step.Where((share - before) / (after - before));
                deviation.errors.push_back(found - crossing.row);
            }
        }
    }
    return deviation;
}

DeviceParameters WithoutAmbient(DeviceParameters parameters)
{
    parameters.optics.ambient = {0.0, 0.0, 0.0};
    return parameters;
}

TEST(DeviceRender, TransitionsOnAPlaneLieOnTheTrueEdges)
{
    const DeviceParameters parameters = WithoutAmbient(SmallDevice(24, 494));
    const auto scene = MakePlane({0, 0, 33}, {0, 0, -1}, c_grey);
    const RenderedPair pair = VirtualDevice(parameters).RenderPair(*scene, NoiseFree());
    Deviation deviation = MeasureTransitions(parameters, pair);
    EXPECT_GT(deviation.errors.size(), 3000U);
    EXPECT_NEAR(deviation.Mean(), 0.0, 0.0005);
    EXPECT_LT(deviation.Quantile(1.0), 0.002);
}

TEST(DeviceRender, TransitionsOnATexturedSlopeLieOnTheTrueEdges)
{
    const DeviceParameters parameters = WithoutAmbient(SmallDevice(24, 494));
    const auto scene = MakePlane({0, 0, 33}, {0.30, -0.22, -1.0}, c_grey, 0.06);
    const RenderedPair pair = VirtualDevice(parameters).RenderPair(*scene, NoiseFree());
    Deviation deviation = MeasureTransitions(parameters, pair);
    EXPECT_GT(deviation.errors.size(), 3000U);
    EXPECT_NEAR(deviation.Mean(), 0.0, 0.0005);
    EXPECT_LT(deviation.Quantile(1.0), 0.002);
}

TEST(DeviceRender, TransitionsOnAMolarLieOnTheTrueEdges)
{
    // Without the camera's blur, which mixes places of different slope and shade, nothing moves an edge.
    DeviceParameters parameters = WithoutAmbient(SmallDevice(60, 400));
    parameters.optics.crosstalk = c_pureColours; // the surface is not grey
    parameters.optics.cameraBlur = 0.0;
    const RenderedPair pair = VirtualDevice(parameters).RenderPair(*MakeScene("molar"), NoiseFree());
    Deviation deviation = MeasureTransitions(parameters, pair);
    EXPECT_GT(deviation.errors.size(), 4000U);
    EXPECT_NEAR(deviation.Mean(), 0.0, 0.001);
    EXPECT_LT(deviation.Quantile(0.95), 0.003);
}

TEST(DeviceRender, CameraBlurOnAMolarMovesTransitionsByHundredthsOfAPixel)
{
    DeviceParameters parameters = WithoutAmbient(SmallDevice(60, 400));
    parameters.optics.crosstalk = c_pureColours;
    const RenderedPair pair = VirtualDevice(parameters).RenderPair(*MakeScene("molar"), NoiseFree());
    Deviation deviation = MeasureTransitions(parameters, pair);
    EXPECT_NEAR(deviation.Mean(), 0.0, 0.006);
    EXPECT_LT(deviation.Quantile(0.95), 0.02);
}

TEST(DeviceRender, RayByRayAndModelledPixelsAgree)
{
    // A slope that just exceeds the modelled bending makes neighbours switch from one way to the other; both must
    // give the same light. One supersample against sixteen shows that the stripes are integrated, not sampled.
    const DeviceParameters parameters = SmallDevice(40, 120);
    const VirtualDevice device(parameters);
    const auto scene = MakeScene("molar");
    RenderOptions coarse = NoiseFree(), fine = NoiseFree();
    coarse.supersamples = 4;
    fine.supersamples = 12;
    const ImageF a = device.RenderPair(*scene, coarse).pattern, b = device.RenderPair(*scene, fine).pattern;
    double most = 0.0;
    for (std::size_t i = 0; i < a.data.size(); ++i) {
        most = std::max(most, std::abs(static_cast<double>(a.data[i]) - b.data[i]));
    }
    EXPECT_LT(most, 0.05);
}

/// Stripes of black and white, 40 pixels wide.
DeviceParameters WideStripes()
{
    DeviceParameters parameters = WithoutAmbient(SmallDevice(9, 494));
    parameters.slide.digits = "07";
    parameters.slide.stripeWidth = 400;
    return parameters;
}

/// The variance of the point spread along a column at one wide black-white edge, pixels squared, measured and as
/// the parameters promise. The differences of neighbouring rows are the edge's slope, seen through the pixel and,
/// by taking differences, through one more box of a pixel.
void ExpectSpread(const DeviceParameters& parameters)
{
    constexpr double c_box = 1.0 / 12.0;  // pixels squared
    constexpr double c_tolerance = 0.005; // sampling at whole pixels leaves some 1e-3
    constexpr int c_reach = 9;            // pixels
    const RenderedPair pair = VirtualDevice(parameters).RenderPair(*MakeScene("plane"), NoiseFree());
    const int col = 4;
    const EdgeCrossing& crossing = pair.truth.crossings[col][4];
    const int middle = static_cast<int>(std::round(crossing.row));
    double sum = 0.0, first = 0.0, second = 0.0;
    const auto share = [&](int row) {
        return static_cast<double>(pair.pattern.At(col, row, 1)) / pair.reference.At(col, row, 1);
    };
    for (int row = middle - c_reach; row < middle + c_reach; ++row) {
        const double weight = share(row + 1) - share(row);
        const double at = row + 0.5 - crossing.row;
        sum += weight;
        first += weight * at;
        second += weight * at * at;
    }
    const double unitsPerPixel =
        0.5 * (pair.truth.At(col, middle + 1).slide.y - pair.truth.At(col, middle - 1).slide.y);
    const double expected = std::pow(parameters.slide.blur / unitsPerPixel, 2) +
                            std::pow(parameters.optics.cameraBlur, 2) + 2.0 * c_box;
    EXPECT_NEAR(first / sum, 0.0, c_tolerance);
    EXPECT_NEAR(second / sum, expected, c_tolerance);
}

TEST(DeviceRender, SpreadIsThatOfCameraProjectorAndPixel)
{
    DeviceParameters parameters = WideStripes();
    parameters.optics.cameraBlur = 0.0;
    parameters.slide.blur = 8.0;
    ExpectSpread(parameters);
    parameters.slide.blur = 12.0;
    ExpectSpread(parameters);
    parameters.optics.cameraBlur =
        1.2; // from a sigma of 1 on, a bell sampled at whole pixels keeps its variance
    ExpectSpread(parameters);
}

TEST(DeviceRender, WhiteLightFollowsLambertDistanceAndVignetting)
{
    DeviceParameters parameters = SmallDevice(31, 31);
    parameters.optics.cameraBlur = 0.0;
    parameters.optics.crosstalk = c_pureColours;
    const VirtualDevice device(parameters);
    const Colour albedo{0.3, 0.5, 0.7};
    const Vec3 normal = Normalized({0.2, -0.1, -1.0});
    const auto scene = MakePlane({0, 0, 33}, normal, albedo);
    const RenderedPair pair = device.RenderPair(*scene, NoiseFree());
    const Vec3 centre = device.ProjectorCentre();
    // The projector's axis is the direction whose slide position is the principal point.
    const Placement& placement = parameters.projectorFromCamera;
    const Vec3 axis = RigidMotion(placement).Backward({0, 0, 1}) - centre;
    for (int row = 0; row < 31; row += 3) {
        for (int col = 0; col < 31; col += 3) {
            const Vec3 toLight = centre - pair.truth.At(col, row).pointInCamera;
            const double distance = Length(toLight);
            const double cosineOfAxis = -Dot(toLight, axis) / distance;
            const double tangentSquared = 1.0 / (cosineOfAxis * cosineOfAxis) - 1.0;
            const double light =
                Dot(normal, toLight) / distance * std::pow(33.7 / distance, 2) * (1.0 - 0.8 * tangentSquared);
            for (int channel = 0; channel < 3; ++channel) {
                const auto index = static_cast<std::size_t>(channel);
                const double expected =
                    c_fullScale * albedo[index] *
                    (parameters.optics.light[index] * light + parameters.optics.ambient[index]);
                ASSERT_NEAR(pair.reference.At(col, row, channel), expected, 1e-4); // float pixels
            }
        }
    }
}

TEST(DeviceRender, CrosstalkIsTheMatrixAppliedToEachPixel)
{
    DeviceParameters parameters = SmallDevice(40, 60);
    const auto scene = MakeScene("molar");
    parameters.optics.crosstalk = c_pureColours;
    const ImageF pure = VirtualDevice(parameters).RenderPair(*scene, NoiseFree()).pattern;
    parameters.optics.crosstalk = {Colour{0.8, 0.15, 0.05}, Colour{0.1, 0.8, 0.1}, Colour{0.0, 0.25, 0.75}};
    const ImageF mixed = VirtualDevice(parameters).RenderPair(*scene, NoiseFree()).pattern;
    for (int row = 0; row < 60; ++row) {
        for (int col = 0; col < 40; ++col) {
            const double b = pure.At(col, row, 0), g = pure.At(col, row, 1), r = pure.At(col, row, 2);
            ASSERT_NEAR(mixed.At(col, row, 0), 0.8 * b + 0.15 * g + 0.05 * r, 1e-4);
            ASSERT_NEAR(mixed.At(col, row, 1), 0.1 * b + 0.8 * g + 0.1 * r, 1e-4);
            ASSERT_NEAR(mixed.At(col, row, 2), 0.25 * g + 0.75 * r, 1e-4);
        }
    }
}

TEST(DeviceRender, DefaultCrosstalkTakesFiveToTenPercentFromNeighboursAndKeepsWhite)
{
    for (const Colour& row : DeviceParameters().optics.crosstalk) {
        EXPECT_NEAR(row[0] + row[1] + row[2], 1.0, 1e-15);
    }
}

TEST(DeviceRender, StripesHaveTheColoursOfTheDigits)
{
    const DeviceParameters parameters = SmallDevice(30, 300);
    const RenderedPair pair = VirtualDevice(parameters).RenderPair(*MakeScene("plane"), NoiseFree());
    int checked = 0;
    for (int row = 0; row < 300; ++row) {
        const PixelTruth& truth = pair.truth.At(15, row);
        if (std::abs(truth.edgeDistance) < 20.0) {
            continue; // only the middle of a stripe
        }
        const int stripe = static_cast<int>(std::floor(truth.slide.y / 50.0));
        const int digit = parameters.slide.digits[static_cast<std::size_t>(stripe) % 64] - '0';
        for (int channel = 0; channel < 3; ++channel) {
            const double share = pair.pattern.At(15, row, channel) / pair.reference.At(15, row, channel);
            ASSERT_EQ(share > 0.5, ((digit >> channel) & 1) != 0) << row << " " << digit;
        }
        ++checked;
    }
    EXPECT_GT(checked, 40);
}

TEST(DeviceRender, ShadowShowsAmbientLightAlone)
{
    DeviceParameters parameters = SmallDevice(200, 200);
    const VirtualDevice device(parameters);
    const RenderedPair pair = device.RenderPair(*MakeScene("step"), NoiseFree());
    int dark = 0;
    for (int row = 5; row < 195; ++row) {
        for (int col = 5; col < 195; ++col) {
            bool deep = true; // shadow as far as the blur reaches
            for (int dy = -4; dy <= 4; ++dy) {
                for (int dx = -4; dx <= 4; ++dx) {
                    deep = deep && !pair.truth.At(col + dx, row + dy).seenByProjector;
                }
            }
            if (!deep) {
                continue;
            }
            ++dark;
            const Colour& ambient = parameters.optics.ambient;
            const Colour& takes = parameters.optics.crosstalk[1];
            const double expected =
                c_fullScale *
                (takes[0] * 0.66 * ambient[0] + takes[1] * 0.70 * ambient[1] + takes[2] * 0.72 * ambient[2]);
            ASSERT_NEAR(pair.pattern.At(col, row, 1), expected, 1e-3);
            ASSERT_NEAR(pair.reference.At(col, row, 1), expected, 1e-3);
        }
    }
    EXPECT_GT(dark, 500);
}

TEST(DeviceRender, NoiseHasShotAndReadVarianceAndNoBias)
{
    const VirtualDevice device(SmallDevice(160, 160));
    const auto scene = MakeScene("plane");
    const ImageF clean = device.RenderPair(*scene, NoiseFree()).pattern;
    struct Bin
    {
        double count = 0.0, sum = 0.0, square = 0.0, expected = 0.0;
    };
    std::array<Bin, 4> bins;
    for (std::uint64_t seed = 1; seed <= 4; ++seed) {
        RenderOptions options;
        options.seed = seed;
        options.truth = false;
        const ImageF noisy = device.RenderPair(*scene, options).pattern;
        for (std::size_t i = 0; i < clean.data.size(); ++i) {
            const double grey = clean.data[i];
            if (grey < 20.0 || grey > 235.0) {
                continue; // where clipping cannot reach
            }
            Bin& bin = bins[static_cast<std::size_t>(grey / 64.0)];
            const double error = static_cast<double>(noisy.data[i]) - grey;
            ++bin.count;
            bin.sum += error;
            bin.square += error * error;
            // Shot: grey * 255 / 20000 electrons; read: 1 percent of 255; rounding: 1/12.
            bin.expected += grey * c_fullScale / 20000.0 + 2.55 * 2.55 + 1.0 / 12.0;
        }
    }
    for (const Bin& bin : bins) {
        if (bin.count < 1000.0) {
            continue;
        }
        const double variance = bin.square / bin.count, expected = bin.expected / bin.count;
        EXPECT_NEAR(bin.sum / bin.count, 0.0, 5.0 * std::sqrt(expected / bin.count));
        EXPECT_NEAR(variance / expected, 1.0, 5.0 * std::sqrt(2.0 / bin.count));
    }
    EXPECT_GT(bins[0].count, 1000.0);
    EXPECT_GT(bins[2].count, 1000.0);
}

TEST(DeviceRender, NoiseFactorScalesTheNoise)
{
    const VirtualDevice device(SmallDevice(80, 80));
    const auto scene = MakeScene("plane");
    const ImageF clean = device.RenderPair(*scene, NoiseFree()).reference;
    const auto variance = [&](double factor) {
        RenderOptions options;
        options.noise = factor;
        const ImageF noisy = device.RenderPair(*scene, options).reference;
        double sum = 0.0;
        for (std::size_t i = 0; i < clean.data.size(); ++i) {
            sum += std::pow(static_cast<double>(noisy.data[i]) - clean.data[i], 2);
        }
        return sum / static_cast<double>(clean.data.size()) - 1.0 / 12.0;
    };
    EXPECT_NEAR(variance(2.0) / variance(1.0), 4.0, 0.15);
}

TEST(DeviceRender, NoiseOfReferencePatternAndSeedsIsUnrelated)
{
    const VirtualDevice device(SmallDevice(80, 80));
    const auto scene = MakeScene("plane");
    const RenderedPair clean = device.RenderPair(*scene, NoiseFree());
    RenderOptions options;
    const RenderedPair first = device.RenderPair(*scene, options);
    options.seed = 2;
    const RenderedPair second = device.RenderPair(*scene, options);
    const auto correlation = [&](const ImageF& a, const ImageF& cleanA, const ImageF& b,
                                 const ImageF& cleanB) {
        double ab = 0.0, aa = 0.0, bb = 0.0;
        for (std::size_t i = 0; i < a.data.size(); ++i) {
            const double x = static_cast<double>(a.data[i]) - cleanA.data[i];
            const double y = static_cast<double>(b.data[i]) - cleanB.data[i];
            ab += x * y;
            aa += x * x;
            bb += y * y;
        }
        return ab / std::sqrt(aa * bb);
    };
    constexpr double c_chance = 5.0 / 138.0; // five sigma of 80 * 80 * 3 pairs
    EXPECT_NEAR(correlation(first.reference, clean.reference, first.pattern, clean.pattern), 0.0, c_chance);
    EXPECT_NEAR(correlation(first.pattern, clean.pattern, second.pattern, clean.pattern), 0.0, c_chance);
    EXPECT_NEAR(correlation(first.pattern, clean.pattern, second.reference, clean.reference), 0.0, c_chance);
}

TEST(DeviceRender, NoisyImagesHoldWholeGreyLevelsAndNoiseFreeOnesDoNot)
{
    DeviceParameters parameters = SmallDevice(60, 60);
    parameters.optics.exposure = 1.25; // so that some pixels saturate
    const VirtualDevice device(parameters);
    const auto scene = MakeScene("sphere");
    RenderOptions options;
    options.noise = 3.0;
    float least = 255.0F, most = 0.0F;
    for (float grey : device.RenderPair(*scene, options).pattern.data) {
        ASSERT_EQ(grey, std::floor(grey));
        ASSERT_TRUE(grey >= 0.0F && grey <= 255.0F);
        least = std::min(least, grey);
        most = std::max(most, grey);
    }
    EXPECT_EQ(least, 0.0F);
    EXPECT_EQ(most, 255.0F);
    const ImageF clean = device.RenderPair(*scene, NoiseFree()).pattern;
    EXPECT_TRUE(std::any_of(clean.data.begin(), clean.data.end(),
                            [](float grey) { return grey != std::floor(grey); }));
}

TEST(DeviceRender, ResultDependsOnTheSeedButNotOnTheThreads)
{
    const VirtualDevice device(SmallDevice(70, 90));
    for (const char* name : {"sphere", "molar"}) {
        const auto scene = MakeScene(name);
        RenderOptions options;
        options.seed = 77;
        options.threads = 1;
        const RenderedPair one = device.RenderPair(*scene, options);
        for (int threads : {1, 2, 5, 0}) {
            options.threads = threads;
            const RenderedPair other = device.RenderPair(*scene, options);
            ASSERT_EQ(one.reference.data, other.reference.data) << threads;
            ASSERT_EQ(one.pattern.data, other.pattern.data) << threads;
            ASSERT_EQ(one.truth.crossings.size(), other.truth.crossings.size());
            for (std::size_t col = 0; col < one.truth.crossings.size(); ++col) {
                ASSERT_EQ(one.truth.crossings[col].size(), other.truth.crossings[col].size());
                for (std::size_t i = 0; i < one.truth.crossings[col].size(); ++i) {
                    ASSERT_EQ(one.truth.crossings[col][i].row, other.truth.crossings[col][i].row);
                }
            }
        }
        options.seed = 78;
        EXPECT_NE(one.pattern.data, device.RenderPair(*scene, options).pattern.data);
    }
}

TEST(DeviceRender, TruthIsLeftOutWhereNotAskedFor)
{
    RenderOptions options;
    options.truth = false;
    const RenderedPair pair = VirtualDevice(SmallDevice(20, 20)).RenderPair(*MakeScene("plane"), options);
    EXPECT_TRUE(pair.truth.pixels.empty());
    EXPECT_TRUE(pair.truth.crossings.empty());
    EXPECT_EQ(pair.pattern.data.size(), 20U * 20U * 3U);
}

TEST(DeviceRender, TheSmallestBlurIsNone)
{
    DeviceParameters parameters = SmallDevice(20, 40);
    const auto scene = MakeScene("plane");
    parameters.optics.cameraBlur = 0.0;
    const ImageF sharp = VirtualDevice(parameters).RenderPair(*scene, NoiseFree()).pattern;
    for (const double blur : {1e-300, 1e-160, 0.01, 0.03}) {
        parameters.optics.cameraBlur = blur;
        EXPECT_EQ(VirtualDevice(parameters).RenderPair(*scene, NoiseFree()).pattern.data, sharp.data) << blur;
    }
}

TEST(DeviceRender, NothingInViewIsBlack)
{
    const auto behind = MakePlane({0, 0, -5.0}, {0, 0, 1}, {0.5, 0.5, 0.5});
    const RenderedPair pair = VirtualDevice(SmallDevice(20, 20)).RenderPair(*behind, NoiseFree());
    for (float grey : pair.pattern.data) {
        ASSERT_EQ(grey, 0.0F);
    }
    EXPECT_EQ(pair.truth.CountSeenCrossings(), 0U);
}

TEST(DeviceRender, ExposuresOfOneSamplingAreThePairsThatAreRenderedOneByOne)
{
    const VirtualDevice device(SmallDevice(24, 60));
    const auto scene = MakeScene("step");
    const std::vector<Exposure> exposures{{0.0, 3}, {1.0, 3}, {1.0, 4}, {2.5, 4}};
    std::size_t taken = 0;
    device.RenderEach(*scene, exposures, RenderOptions(), [&](RenderedPair& pair) {
        RenderOptions options;
        options.noise = exposures[taken].noise;
        options.seed = exposures[taken].seed;
        const RenderedPair expected = device.RenderPair(*scene, options);
        EXPECT_EQ(pair.reference.data, expected.reference.data) << taken;
        EXPECT_EQ(pair.pattern.data, expected.pattern.data) << taken;
        EXPECT_EQ(pair.truth.CountSeenCrossings(), expected.truth.CountSeenCrossings()) << taken;
        pair = {}; // the next one does not depend on it
        ++taken;
    });
    EXPECT_EQ(taken, exposures.size());
}

TEST(DeviceRender, ASenselessExposureIsRefusedBeforeTheFirstPair)
{
    const VirtualDevice device(SmallDevice(24, 60));
    const auto scene = MakeScene("plane");
    const std::vector<Exposure> exposures{{1.0, 1}, {-1.0, 1}};
    EXPECT_THROW(device.RenderEach(*scene, exposures, RenderOptions(),
                                   [](RenderedPair&) { FAIL() << "a pair was rendered"; }),
                 std::invalid_argument);
}

} // namespace
} // namespace device
