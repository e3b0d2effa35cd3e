#include "scanner/calibration/turnedimage.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <new>
#include <numbers>
#include <stdexcept>

namespace calibration {

using LxCV::CCTImage;

namespace {

constexpr double c_eighth = std::numbers::sqrt2 / 2.0; // sine and cosine of 45 degrees
constexpr int c_channels = 3;
constexpr int c_taps = 4;

/// The side of the raster that holds a turned image.
int SideOf(const CCTImage& source)
{
    return static_cast<int>(
        std::ceil(c_eighth * (static_cast<double>(source.GetWidth()) + source.GetHeight())));
}

/// Weights of the samples at -1, 0, 1 and 2 for a value at `t` between 0 and 1.
std::array<float, c_taps> CubicWeights(float t)
{
    const float t2 = t * t;
    const float t3 = t2 * t;
    return {0.5F * (-t3 + 2.0F * t2 - t), 0.5F * (3.0F * t3 - 5.0F * t2 + 2.0F),
            0.5F * (-3.0F * t3 + 4.0F * t2 + t), 0.5F * (t3 - t2)};
}

/// Interpolates one axis: the samples that take part, kept inside, and their weights.
struct Axis
{
    std::array<std::ptrdiff_t, c_taps> indices{};
    std::array<float, c_taps> weights;

    Axis(double position, int size)
        : weights(CubicWeights(static_cast<float>(position - std::floor(position))))
    {
        const int first = static_cast<int>(std::floor(position)) - 1;
        for (int i = 0; i < c_taps; ++i) {
            indices[static_cast<std::size_t>(i)] = std::clamp(first + i, 0, size - 1);
        }
    }
};

void Interpolate(const CCTImage& source, const device::Vec2& place, float* pixel)
{
    const Axis columns(place.x, source.GetWidth());
    const Axis rows(place.y, source.GetHeight());
    const auto* const pixels = static_cast<const float*>(source.GetBuffer());
    std::array<float, c_channels> sum{};
    for (std::size_t j = 0; j < c_taps; ++j) {
        const float* const row = pixels + rows.indices[j] * source.GetWidth() * c_channels;
        for (std::size_t i = 0; i < c_taps; ++i) {
            const float weight = rows.weights[j] * columns.weights[i];
            const float* const sample = row + columns.indices[i] * c_channels;
            for (std::size_t channel = 0; channel < c_channels; ++channel) {
                sum[channel] += weight * sample[channel];
            }
        }
    }
    std::copy(sum.begin(), sum.end(), pixel);
}

} // namespace

TurnedImage::TurnedImage(const CCTImage& source)
    : m_sourceMiddle{0.5 * (source.GetWidth() - 1), 0.5 * (source.GetHeight() - 1)}, m_middle(0.0)
{
    if (!source.IsValid() || source.GetDataType() != CCTImage::eIDT_FLOAT32_3) {
        throw std::invalid_argument("there is no image to turn");
    }
    const int side = SideOf(source);
    m_middle = 0.5 * (side - 1);
    if (m_image.Resize(side, side, CCTImage::eIDT_FLOAT32_3) != CCTImage::eRC_OK) {
        throw std::bad_alloc();
    }
    auto* pixel = static_cast<float*>(m_image.GetBuffer());
    for (int y = 0; y < side; ++y) {
        for (int x = 0; x < side; ++x, pixel += c_channels) {
            Interpolate(source, ToSource({static_cast<double>(x), static_cast<double>(y)}), pixel);
        }
    }
}

device::Vec2 TurnedImage::ToSource(const device::Vec2& turned) const
{
    const double x = turned.x - m_middle;
    const double y = turned.y - m_middle;
    return {m_sourceMiddle.x + c_eighth * (x - y), m_sourceMiddle.y + c_eighth * (x + y)};
}

} // namespace calibration
