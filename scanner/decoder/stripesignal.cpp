// Ratio of two images, smoothed.
#include "scanner/decoder/stripesignal.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>
#include <stdexcept>

namespace decoder {

using LxCV::CCTImage;

namespace {

constexpr float kUndecodable = std::numeric_limits<float>::quiet_NaN();

/// Rows that are spread over the columns at a time: as many floats as fill a cache line.
constexpr int kBlockRows = 16;

/// Grey levels of 255 over the darkest reference that makes sense, one grey level, stay below this signal.
constexpr float kLargestSignal = 256.0F;

std::span<const float> FloatsOf(const CCTImage& image)
{
    return {static_cast<const float*>(image.GetImageDataRaw()),
            kChannels * static_cast<std::size_t>(image.GetSizeInPixels())};
}

void FitSize(CCTImage& image, int width, int height)
{
    const bool fits = image.IsValid() && image.GetWidth() == width && image.GetHeight() == height;
    if (!fits && image.Resize(width, height, CCTImage::eIDT_FLOAT32_3) != LxCV::CCTImage::eRC_OK) {
        throw std::bad_alloc();
    }
}

} // namespace

void StripeSignal::Init(int width, int height)
{
    m_width = 0;
    m_height = 0;
    FitSize(m_ratio, width, height);
    FitSize(m_smoothed, width, height);
    for (std::vector<float>& plane : m_planes) {
        plane.resize(static_cast<std::size_t>(m_ratio.GetSizeInPixels()));
    }
}

void StripeSignal::Compute(const CCTImage& reference, const CCTImage& pattern, const DecoderConfig& config)
{
    if (!reference.IsValid() || !pattern.IsValid() ||
        reference.GetDataType() != LxCV::CCTImage::eIDT_FLOAT32_3 ||
        !reference.DoTypeAndDimMatchWith(pattern)) {
        throw std::invalid_argument("the stripe signal needs two float colour images of one size");
    }
    Init(reference.GetWidth(), reference.GetHeight());
    Divide(FloatsOf(reference), FloatsOf(pattern), config.minReference);
    Smooth(config.Edges());
    m_width = reference.GetWidth();
    m_height = reference.GetHeight();
    for (int top = 0; top < m_height; top += kBlockRows) {
        SpreadRows(top, std::min(kBlockRows, m_height - top));
    }
}

void StripeSignal::Divide(std::span<const float> reference, std::span<const float> pattern,
                          float minReference)
{
    float* const ratios = static_cast<float*>(m_ratio.GetImageDataRaw());
    for (std::size_t i = 0; i < reference.size(); ++i) {
        const float white = reference[i];
        const float ratio = pattern[i] / white;
        // Comparisons are joined without branches, so that the loop runs on vectors.
        const bool decodable = (white >= minReference) & (std::abs(ratio) <= kLargestSignal);
        ratios[i] = decodable ? ratio : kUndecodable;
    }
}

void StripeSignal::Smooth(const LxCV::LxCEdgeDetectionConfig& config)
{
    const auto mode = static_cast<LxCV::CCTImage::ESmoothingMode>(config.m_iSmoothingMode);
    if (m_ratio.Smooth(&m_smoothed, mode, config.m_iKernelSizeX, config.m_iKernelSizeY) !=
        LxCV::CCTImage::eRC_OK) {
        throw std::invalid_argument("the stripe signal cannot be smoothed like this");
    }
    if (mode != LxCV::CCTImage::eSM_None) {
        BlankBorderRows(config.m_iKernelSizeY / 2 - 1);
    }
}

/// Makes so many rows at the upper and at the lower border undecodable.
void StripeSignal::BlankBorderRows(int rows)
{
    const auto stride = static_cast<std::ptrdiff_t>(kChannels) * m_smoothed.GetWidth();
    const std::ptrdiff_t count = stride * std::min(rows, m_smoothed.GetHeight());
    float* const begin = static_cast<float*>(m_smoothed.GetImageDataRaw());
    float* const end = begin + stride * m_smoothed.GetHeight();
    std::fill(begin, begin + count, kUndecodable);
    std::fill(end - count, end, kUndecodable);
}

/// Lays `rows` rows of the smoothed image, of which the first is `top`, into the columns of the planes.
void StripeSignal::SpreadRows(int top, int rows)
{
    const std::size_t stride = kChannels * static_cast<std::size_t>(m_width);
    const float* const block = FloatsOf(m_smoothed).data() + static_cast<std::size_t>(top) * stride;
    for (std::size_t column = 0; column < static_cast<std::size_t>(m_width); ++column) {
        const std::size_t target =
            column * static_cast<std::size_t>(m_height) + static_cast<std::size_t>(top);
        for (std::size_t channel = 0; channel < kChannels; ++channel) {
            const float* value = block + column * kChannels + channel;
            float* signal = m_planes[channel].data() + target;
            for (int i = 0; i < rows; ++i, value += stride) {
                signal[i] = *value;
            }
        }
    }
}

std::span<const float> StripeSignal::Column(LxCV::LxCColorValueFloat::EColor channel, int column) const
{
    if (column < 0 || column >= m_width) {
        throw std::out_of_range("the stripe signal has no such column");
    }
    const std::size_t height = static_cast<std::size_t>(m_height);
    return std::span(m_planes.at(static_cast<std::size_t>(channel)))
        .subspan(static_cast<std::size_t>(column) * height, height);
}

} // namespace decoder
