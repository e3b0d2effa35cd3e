// Turns a scene into a pair of images: geometry, light, optics, sensor.
#include "scanner/device/devicemodel.h"

#include "scanner/device/blur.h"
#include "scanner/device/parallel.h"
#include "scanner/device/random.h"

#include <algorithm>

namespace device {

namespace {

constexpr double c_fullScale = 255.0;

/// Light that reaches one pixel, blue, green, red, under white light and under the stripes.
struct PixelLight
{
    Colour reference{};
    Colour pattern{};
};

void AddScaled(Colour& sum, const Colour& colour, double factor)
{
    for (std::size_t channel = 0; channel < sum.size(); ++channel) {
        sum[channel] += factor * colour[channel];
    }
}

/// One rendering. Pixels are addressed with the margin that the blur needs: pixel (0, 0) of the image stands at
/// (margin, margin). The raster of samples is one ring larger, so that every pixel has all its neighbours.
class Renderer
{
public:
    Renderer(const DeviceModel& model, const Scene& scene, const RenderOptions& options)
        : m_model(model), m_scene(scene), m_options(options),
          m_kernel(BlurKernel(model.Parameters().optics.cameraBlur)),
          m_margin(static_cast<int>(m_kernel.size() / 2)), m_width(model.Parameters().camera.width),
          m_height(model.Parameters().camera.height), m_rasterWidth(m_width + 2 * (m_margin + 1)),
          m_rasterHeight(m_height + 2 * (m_margin + 1))
    {}

    GroundTruth TruthAlone()
    {
        TakeSamples();
        GroundTruth truth;
        FillTruth(truth);
        return truth;
    }

    void RunEach(std::span<const Exposure> exposures, const std::function<void(RenderedPair&)>& take)
    {
        TakeSamples();
        RenderedPair pair;
        if (m_options.truth) {
            FillTruth(pair.truth);
        }
        GatherLight();
        for (std::size_t index = 0; index < exposures.size(); ++index) {
            m_options.noise = exposures[index].noise;
            m_options.seed = exposures[index].seed;
            RenderedPair exposed;
            exposed.truth = index + 1 < exposures.size() ? pair.truth : std::move(pair.truth);
            exposed.reference = Expose(&PixelLight::reference, 0);
            exposed.pattern = Expose(&PixelLight::pattern, 1);
            take(exposed);
        }
    }

private:
    const SurfaceSample& SampleAt(int col, int row) const
    {
        return m_samples[static_cast<std::size_t>(row + m_margin + 1) *
                             static_cast<std::size_t>(m_rasterWidth) +
                         static_cast<std::size_t>(col + m_margin + 1)];
    }

    std::size_t LightIndex(int col, int row) const
    {
        return static_cast<std::size_t>(row + m_margin) * static_cast<std::size_t>(m_width + 2 * m_margin) +
               static_cast<std::size_t>(col + m_margin);
    }

    void TakeSamples()
    {
        m_samples.resize(static_cast<std::size_t>(m_rasterWidth) * static_cast<std::size_t>(m_rasterHeight));
        ParallelFor(m_rasterHeight, m_options.threads, [this](int line) {
            for (int place = 0; place < m_rasterWidth; ++place) {
                const Vec2 image{static_cast<double>(place - m_margin - 1),
                                 static_cast<double>(line - m_margin - 1)};
                m_samples[static_cast<std::size_t>(line) * static_cast<std::size_t>(m_rasterWidth) +
                          static_cast<std::size_t>(place)] = m_model.Sample(m_scene, image);
            }
        });
    }

    void FillTruth(GroundTruth& truth) const
    {
        truth.width = m_width;
        truth.height = m_height;
        truth.pixels.resize(static_cast<std::size_t>(m_width) * static_cast<std::size_t>(m_height));
        truth.crossings.resize(static_cast<std::size_t>(m_width));
        ParallelFor(m_height, m_options.threads, [&](int row) {
            for (int col = 0; col < m_width; ++col) {
                truth.pixels[static_cast<std::size_t>(row) * static_cast<std::size_t>(m_width) +
                             static_cast<std::size_t>(col)] = m_model.TruthOf(SampleAt(col, row));
            }
        });
        ParallelFor(m_width, m_options.threads, [&](int col) {
            std::vector<SurfaceSample> column;
            column.reserve(static_cast<std::size_t>(m_height));
            for (int row = 0; row < m_height; ++row) {
                column.push_back(SampleAt(col, row));
            }
            truth.crossings[static_cast<std::size_t>(col)] = FindCrossings(m_model, m_scene, col, column);
        });
    }

    void GatherLight()
    {
        m_light.resize(static_cast<std::size_t>(m_width + 2 * m_margin) *
                       static_cast<std::size_t>(m_height + 2 * m_margin));
        ParallelFor(m_height + 2 * m_margin, m_options.threads, [this](int line) {
            const int row = line - m_margin;
            for (int col = -m_margin; col < m_width + m_margin; ++col) {
                m_light[LightIndex(col, row)] =
                    IsSmooth(col, row) ? SmoothPixel(col, row) : BrokenPixel(col, row);
            }
        });
    }

    /// Whether one piece of surface fills the pixel and its neighbours, so flat that a quadratic describes the
    /// slide position.
    bool IsSmooth(int col, int row) const
    {
        constexpr double c_mostBending = 0.6; // slide units, a sixteenth of a pixel
        const SurfaceSample& centre = SampleAt(col, row);
        for (int dy = -1; dy <= 1; ++dy) {
            for (int dx = -1; dx <= 1; ++dx) {
                const SurfaceSample& sample = SampleAt(col + dx, row + dy);
                if (sample.hit != centre.hit || sample.lit != centre.lit ||
                    sample.surface != centre.surface) {
                    return false;
                }
            }
        }
        const auto isFlat = [&](double Vec2::*part) {
            const SlideModel model = ModelAt(col, row, part);
            return std::abs(model.bendX) < c_mostBending && std::abs(model.bendY) < c_mostBending &&
                   std::abs(model.twist) < c_mostBending;
        };
        return isFlat(&Vec2::y) && (!m_model.Slide().HasMarks() || isFlat(&Vec2::x));
    }

    /// A quadratic model of one slide coordinate around a pixel centre, slide units and pixels.
    struct SlideModel
    {
        double centre, slopeX, slopeY, bendX, bendY, twist;

        double At(double dx, double dy) const
        {
            return centre + slopeX * dx + slopeY * dy + 0.5 * (bendX * dx * dx + bendY * dy * dy) +
                   twist * dx * dy;
        }
    };

    SlideModel ModelAt(int col, int row, double Vec2::*part) const
    {
        const auto at = [&](int dx, int dy) { return SampleAt(col + dx, row + dy).slide.*part; };
        const double centre = at(0, 0);
        return {centre,
                0.5 * (at(1, 0) - at(-1, 0)),
                0.5 * (at(0, 1) - at(0, -1)),
                at(-1, 0) - 2.0 * centre + at(1, 0),
                at(0, -1) - 2.0 * centre + at(0, 1),
                0.25 * (at(1, 1) - at(-1, 1) - at(1, -1) + at(-1, -1))};
    }

    /// Supersamples a quadratic model of the slide position and a linear one of the light within the pixel.
    PixelLight SmoothPixel(int col, int row) const
    {
        const SurfaceSample& centre = SampleAt(col, row);
        PixelLight light;
        if (!centre.lit) {
            Shine(centre, centre.slide, {1.0, 1.0}, 1.0, light);
            return light;
        }
        const SurfaceSample &left = SampleAt(col - 1, row), &right = SampleAt(col + 1, row);
        const SurfaceSample &above = SampleAt(col, row - 1), &below = SampleAt(col, row + 1);
        const SlideModel v = ModelAt(col, row, &Vec2::y);
        const bool hasMarks = m_model.Slide().HasMarks();
        const SlideModel u = hasMarks ? ModelAt(col, row, &Vec2::x) : SlideModel{};
        const int n = m_options.supersamples;
        const double weight = 1.0 / (n * n);
        SurfaceSample local = centre;
        for (int j = 0; j < n; ++j) {
            const double dy = (j + 0.5) / n - 0.5;
            for (int i = 0; i < n; ++i) {
                const double dx = (i + 0.5) / n - 0.5;
                local.irradiance = centre.irradiance + 0.5 * dx * (right.irradiance - left.irradiance) +
                                   0.5 * dy * (below.irradiance - above.irradiance);
                local.mirrored = centre.mirrored + 0.5 * dx * (right.mirrored - left.mirrored) +
                                 0.5 * dy * (below.mirrored - above.mirrored);
                for (std::size_t channel = 0; channel < local.albedo.size(); ++channel) {
                    local.albedo[channel] = centre.albedo[channel] +
                                            0.5 * dx * (right.albedo[channel] - left.albedo[channel]) +
                                            0.5 * dy * (below.albedo[channel] - above.albedo[channel]);
                }
                // Rows cross the stripes, columns cross the marks' other sides.
                Vec2 at{0.0, v.At(dx, dy)};
                Vec2 reach{0.0, 0.5 * std::abs(v.slopeY + v.bendY * dy + v.twist * dx) / n};
                if (hasMarks) {
                    at.x = u.At(dx, dy);
                    reach.x = 0.5 * std::abs(u.slopeX + u.bendX * dx + u.twist * dy) / n;
                }
                Shine(local, at, reach, weight, light);
            }
        }
        return light;
    }

    /// Supersamples the scene itself.
    PixelLight BrokenPixel(int col, int row) const
    {
        const int n = m_options.supersamples;
        const double weight = 1.0 / (n * n);
        const double reach = 0.5 * m_model.SlideUnitsPerPixel() / n;
        PixelLight light;
        for (int j = 0; j < n; ++j) {
            for (int i = 0; i < n; ++i) {
                const Vec2 image{col + (i + 0.5) / n - 0.5, row + (j + 0.5) / n - 0.5};
                const SurfaceSample sample = m_model.Sample(m_scene, image);
                Shine(sample, sample.slide, {reach, reach}, weight, light);
            }
        }
        return light;
    }

    /// Adds what one sample sends to the camera. Its pattern is the slide's mean over the rectangle around `slide`
    /// that reaches by `reach` to each side.
    void Shine(const SurfaceSample& sample, const Vec2& slide, const Vec2& reach, double weight,
               PixelLight& light) const
    {
        if (!sample.hit) {
            return;
        }
        const OpticsParameters& optics = m_model.Parameters().optics;
        const Colour passed = sample.lit ? m_model.Slide().Mean(slide, reach) : Colour{};
        for (std::size_t channel = 0; channel < passed.size(); ++channel) {
            const double share = weight * sample.albedo[channel];
            const double lit = optics.light[channel] * sample.irradiance;
            light.reference[channel] += share * (lit + optics.ambient[channel]);
            light.pattern[channel] += share * (lit * passed[channel] + optics.ambient[channel]);
            const double mirrored = weight * optics.light[channel] * sample.mirrored;
            light.reference[channel] += mirrored;
            light.pattern[channel] += mirrored * passed[channel];
        }
    }

    /// Blur, crosstalk, gain, noise and digitising of one of the two images. `number` tells their noise apart.
    ImageF Expose(Colour PixelLight::*kind, std::uint64_t number) const
    {
        ImageF image(m_width, m_height);
        std::vector<Colour> blurredRows(static_cast<std::size_t>(m_width) *
                                        static_cast<std::size_t>(m_height + 2 * m_margin));
        ParallelFor(m_height + 2 * m_margin, m_options.threads, [&](int line) {
            for (int col = 0; col < m_width; ++col) {
                Colour& sum = blurredRows[static_cast<std::size_t>(line) * static_cast<std::size_t>(m_width) +
                                          static_cast<std::size_t>(col)];
                for (int k = 0; k <= 2 * m_margin; ++k) {
                    AddScaled(sum, m_light[LightIndex(col + k - m_margin, line - m_margin)].*kind,
                              m_kernel[static_cast<std::size_t>(k)]);
                }
            }
        });
        const CounterRandom random(2 * m_options.seed + number);
        ParallelFor(m_height, m_options.threads, [&](int row) {
            for (int col = 0; col < m_width; ++col) {
                Colour light{};
                for (int k = 0; k <= 2 * m_margin; ++k) {
                    AddScaled(
                        light,
                        blurredRows[static_cast<std::size_t>(row + k) * static_cast<std::size_t>(m_width) +
                                    static_cast<std::size_t>(col)],
                        m_kernel[static_cast<std::size_t>(k)]);
                }
                for (int channel = 0; channel < ImageF::channels; ++channel) {
                    image.At(col, row, channel) = GreyLevel(light, col, row, channel, random);
                }
            }
        });
        return image;
    }

    float GreyLevel(const Colour& light, int col, int row, int channel, const CounterRandom& random) const
    {
        const OpticsParameters& optics = m_model.Parameters().optics;
        const SensorParameters& sensor = m_model.Parameters().sensor;
        const Colour& takes = optics.crosstalk[static_cast<std::size_t>(channel)];
        double grey =
            c_fullScale * optics.exposure * (takes[0] * light[0] + takes[1] * light[1] + takes[2] * light[2]);
        if (m_options.noise > 0.0) {
            const double shotVariance = std::max(0.0, grey) * c_fullScale / sensor.fullWell;
            const double readSigma = sensor.readNoise * c_fullScale;
            const std::uint64_t pixel =
                static_cast<std::uint64_t>(row) * static_cast<std::uint64_t>(m_width) +
                static_cast<std::uint64_t>(col);
            const double normal =
                random.Normal(pixel * ImageF::channels + static_cast<std::uint64_t>(channel));
            grey += m_options.noise * std::sqrt(shotVariance + readSigma * readSigma) * normal;
            grey = std::floor(grey + 0.5);
        }
        return static_cast<float>(std::clamp(grey, 0.0, c_fullScale));
    }

    const DeviceModel& m_model;
    const Scene& m_scene;
    RenderOptions m_options;
    std::vector<double> m_kernel;
    int m_margin; ///< pixels around the image whose light the blur carries into it
    int m_width;
    int m_height;
    int m_rasterWidth;
    int m_rasterHeight;
    std::vector<SurfaceSample> m_samples;
    std::vector<PixelLight> m_light;
};

} // namespace

GroundTruth FindTruth(const DeviceModel& model, const Scene& scene, int threads)
{
    RenderOptions options;
    options.threads = threads;
    return Renderer(model, scene, options).TruthAlone();
}

void RenderEachExposure(const DeviceModel& model, const Scene& scene, std::span<const Exposure> exposures,
                        const RenderOptions& options, const std::function<void(RenderedPair&)>& take)
{
    Renderer(model, scene, options).RunEach(exposures, take);
}

} // namespace device
