// Means of channels.
#include "scanner/decoder/greyscene.h"

#include <cstddef>
#include <new>

namespace decoder {

using LxCV::CCTImage;

namespace {

/// What the channels of the camera take of light that is equally strong in all three.
std::array<float, kChannels> CoupledGrey(const DecoderConfig& config)
{
    float arr, arg, arb, agr, agg, agb, abr, abg, abb;
    config.algorithm.GetCameraProjectorCoupling(arr, arg, arb, agr, agg, agb, abr, abg, abb);
    return {arb + agb + abb, arg + agg + abg, arr + agr + abr};
}

} // namespace

GreyScene::GreyScene(const DecoderConfig& config, const std::optional<ColourMatrix>& unmixing)
    : m_isWanted(!config.algorithm.GetActiveAlgorithmConfig().m_bUseCompSceneColor)
{
    constexpr ColourMatrix kIdentity{{{1.0F, 0.0F, 0.0F}, {0.0F, 1.0F, 0.0F}, {0.0F, 0.0F, 1.0F}}};
    const ColourMatrix matrix = unmixing.value_or(kIdentity);
    for (std::size_t from = 0; from < kChannels; ++from) {
        m_shares[from] =
            (matrix[0][from] + matrix[1][from] + matrix[2][from]) / static_cast<float>(kChannels);
    }
    m_grey = unmixing ? CoupledGrey(config) : std::array{1.0F, 1.0F, 1.0F};
}

void GreyScene::Init(int width, int height)
{
    const bool fits = m_image.IsValid() && m_image.GetWidth() == width && m_image.GetHeight() == height;
    if (!fits && m_image.Resize(width, height, CCTImage::eIDT_FLOAT32_3) != CCTImage::eRC_OK) {
        throw std::bad_alloc();
    }
}

const CCTImage& GreyScene::Of(const CCTImage& reference)
{
    if (!reference.IsValid() || reference.GetDataType() != CCTImage::eIDT_FLOAT32_3) {
        return reference;
    }
    Init(reference.GetWidth(), reference.GetHeight());
    const auto* const from = static_cast<const float*>(reference.GetImageDataRaw());
    auto* const to = static_cast<float*>(m_image.GetImageDataRaw());
    const std::size_t size = kChannels * static_cast<std::size_t>(reference.GetSizeInPixels());
    for (std::size_t i = 0; i < size; i += kChannels) {
        const float brightness =
            m_shares[0] * from[i] + m_shares[1] * from[i + 1] + m_shares[2] * from[i + 2];
        to[i] = m_grey[0] * brightness;
        to[i + 1] = m_grey[1] * brightness;
        to[i + 2] = m_grey[2] * brightness;
    }
    return m_image;
}

} // namespace decoder
