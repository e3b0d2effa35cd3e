// Ratio of two images with horizontal smoothing.
#include "scanner/decoder/stripesignal.h"

#include "cctimage.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <stdexcept>

namespace decoder {

using LxCV::CCTImage;

namespace {

constexpr float kUndecodable = std::numeric_limits<float>::quiet_NaN();

/// Rows that are computed before they are spread over the columns: as many floats as fill a cache line.
constexpr int kBlockRows = 16;

/// Grey levels of 255 over the darkest reference that makes sense, one grey level, stay below this signal.
constexpr float kLargestSignal = 256.0F;

} // namespace

void StripeSignal::Compute(const CCTImage& reference, const CCTImage& pattern, const DecoderConfig& config)
{
    if (!reference.IsValid() || !pattern.IsValid() ||
        reference.GetDataType() != LxCV::CCTImage::eIDT_FLOAT32_3 ||
        !reference.DoTypeAndDimMatchWith(pattern)) {
        throw std::invalid_argument("the stripe signal needs two float colour images of one size");
    }
    m_width = reference.GetWidth();
    m_height = reference.GetHeight();
    const std::size_t stride = kChannels * static_cast<std::size_t>(m_width);
    const std::size_t size = stride * static_cast<std::size_t>(m_height);
    for (std::vector<float>& plane : m_planes) {
        plane.resize(size / kChannels);
    }
    const std::span referencePixels(static_cast<const float*>(reference.GetImageDataRaw()), size);
    const std::span patternPixels(static_cast<const float*>(pattern.GetImageDataRaw()), size);
    m_ratios.resize(kBlockRows * stride);
    for (int top = 0; top < m_height; top += kBlockRows) {
        const int rows = std::min(kBlockRows, m_height - top);
        for (int i = 0; i < rows; ++i) {
            const std::size_t start = static_cast<std::size_t>(top + i) * stride;
            ComputeRow(referencePixels.subspan(start, stride), patternPixels.subspan(start, stride),
                       config.minReference,
                       std::span(m_ratios).subspan(static_cast<std::size_t>(i) * stride, stride));
        }
        SpreadRows(top, rows);
    }
}

/// Ratios of one image row, the channels of a pixel next to each other as in the images.
void StripeSignal::ComputeRow(std::span<const float> reference, std::span<const float> pattern,
                              float minReference, std::span<float> ratios)
{
    constexpr float kWeightSum = 4.0F;
    const auto smooth = [](std::span<const float> row, std::size_t i) {
        return row[i - kChannels] + 2.0F * row[i] + row[i + kChannels];
    };
    const float darkest = kWeightSum * minReference;
    std::fill_n(ratios.begin(), kChannels, kUndecodable);
    for (std::size_t i = kChannels; i + kChannels < ratios.size(); ++i) {
        const float white = smooth(reference, i);
        const float ratio = smooth(pattern, i) / white;
        // Comparisons are joined without branches, so that the loop runs on vectors.
        const bool decodable = (white >= darkest) & (std::abs(ratio) <= kLargestSignal);
        ratios[i] = decodable ? ratio : kUndecodable;
    }
    std::fill_n(ratios.end() - static_cast<std::ptrdiff_t>(kChannels), kChannels, kUndecodable);
}

/// Lays the `rows` image rows in `m_ratios`, of which the first is `top`, into the columns of the planes.
void StripeSignal::SpreadRows(int top, int rows)
{
    const std::size_t stride = kChannels * static_cast<std::size_t>(m_width);
    for (std::size_t column = 0; column < static_cast<std::size_t>(m_width); ++column) {
        const std::size_t target =
            column * static_cast<std::size_t>(m_height) + static_cast<std::size_t>(top);
        for (std::size_t channel = 0; channel < kChannels; ++channel) {
            const float* ratio = m_ratios.data() + column * kChannels + channel;
            float* signal = m_planes[channel].data() + target;
            for (int i = 0; i < rows; ++i, ratio += stride) {
                signal[i] = *ratio;
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
