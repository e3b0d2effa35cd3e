// Ratio of two images with horizontal smoothing.
#include "scanner/decoder/stripesignal.h"

#include "cctimage.h"

#include <limits>
#include <stdexcept>

namespace decoder {

using LxCV::CCTImage;

void StripeSignal::Compute(const CCTImage& reference, const CCTImage& pattern, const DecoderConfig& config)
{
    if (!reference.IsValid() || reference.GetDataType() != LxCV::CCTImage::eIDT_FLOAT32_3 ||
        !reference.DoTypeAndDimMatchWith(pattern)) {
        throw std::invalid_argument("the stripe signal needs two float colour images of one size");
    }
    m_width = reference.GetWidth();
    m_height = reference.GetHeight();
    const std::size_t size = static_cast<std::size_t>(m_width) * static_cast<std::size_t>(m_height);
    for (std::vector<float>& plane : m_planes) {
        plane.assign(size, std::numeric_limits<float>::quiet_NaN());
    }
    const auto* referenceRow = static_cast<const float*>(reference.GetImageDataRaw());
    const auto* patternRow = static_cast<const float*>(pattern.GetImageDataRaw());
    const std::size_t stride = kChannels * static_cast<std::size_t>(m_width);
    for (int row = 0; row < m_height; ++row) {
        ComputeRow(referenceRow, patternRow, row, config.minReference);
        referenceRow += stride;
        patternRow += stride;
    }
}

void StripeSignal::ComputeRow(const float* reference, const float* pattern, int row, float minReference)
{
    constexpr float kWeightSum = 4.0F;
    const auto smooth = [](const float* at) {
        return at[-static_cast<std::ptrdiff_t>(kChannels)] + 2.0F * at[0] + at[kChannels];
    };
    for (int column = 1; column < m_width - 1; ++column) {
        const std::size_t pixel = kChannels * static_cast<std::size_t>(column);
        const std::size_t target = static_cast<std::size_t>(column) * static_cast<std::size_t>(m_height) +
                                   static_cast<std::size_t>(row);
        for (std::size_t channel = 0; channel < kChannels; ++channel) {
            const float white = smooth(reference + pixel + channel);
            if (white >= kWeightSum * minReference) {
                m_planes[channel][target] = smooth(pattern + pixel + channel) / white;
            }
        }
    }
}

std::span<const float> StripeSignal::Column(LxCV::LxCColorValueFloat::EColor channel, int column) const
{
    const std::size_t height = static_cast<std::size_t>(m_height);
    return std::span(m_planes.at(static_cast<std::size_t>(channel)))
        .subspan(static_cast<std::size_t>(column) * height, height);
}

} // namespace decoder
