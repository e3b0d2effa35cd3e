// Estimates and applies the shift.
#include "scanner/decoder/referenceshift.h"

#include "lxccclalgoconfig.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <new>

namespace decoder {

using LxCV::CCTImage;

namespace {

int BorderOf(const LxCV::LxCAlgorithmConfig& preset)
{
    return preset.m_bUseReferenceShift ? std::max(preset.m_iBoundaryShiftedRefImg, 0) : 0;
}

} // namespace

ReferenceShift::ReferenceShift(const LxCV::LxCCCLAlgoConfig& config)
    : m_border(BorderOf(config.GetActiveAlgorithmConfig())),
      m_estimator(m_border, config.GetActiveAlgorithmConfig().m_bUsePyrApproach)
{}

void ReferenceShift::Init(int width, int height)
{
    const bool fits = m_image.IsValid() && m_image.GetWidth() == width && m_image.GetHeight() == height;
    if (!fits && m_image.Resize(width, height, CCTImage::eIDT_FLOAT32_3) != CCTImage::eRC_OK) {
        throw std::bad_alloc();
    }
    m_estimator.Init(width, height);
}

const CCTImage& ReferenceShift::Align(const CCTImage& reference, const CCTImage& pattern)
{
    m_shift = {};
    if (!reference.IsValid() || !pattern.IsValid() || reference.GetDataType() != CCTImage::eIDT_FLOAT32_3 ||
        !reference.DoTypeAndDimMatchWith(pattern)) {
        return reference;
    }
    m_shift = m_estimator.Estimate(reference, pattern);
    if (m_shift != ImageShift{}) {
        Shift(reference);
    }
    return Aligned(reference);
}

/// Copies what both images show; the rest is black.
void ReferenceShift::Shift(const CCTImage& reference)
{
    Init(reference.GetWidth(), reference.GetHeight());
    m_image.Clear();
    constexpr std::ptrdiff_t kChannels = 3;
    const auto* const from = static_cast<const float*>(reference.GetImageDataRaw());
    auto* const to = static_cast<float*>(m_image.GetImageDataRaw());
    const std::ptrdiff_t stride = kChannels * m_image.GetWidth();
    const std::ptrdiff_t columns = m_shift.columns;
    const std::ptrdiff_t count = stride - kChannels * std::abs(columns);
    const int end = m_image.GetHeight() + std::min(m_shift.rows, 0);
    for (std::ptrdiff_t row = std::max(m_shift.rows, 0); row < end; ++row) {
        std::copy_n(from + (row - m_shift.rows) * stride + kChannels * std::max<std::ptrdiff_t>(-columns, 0),
                    count, to + row * stride + kChannels * std::max<std::ptrdiff_t>(columns, 0));
    }
}

} // namespace decoder
