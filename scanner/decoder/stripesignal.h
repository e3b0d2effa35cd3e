// The stripe pattern freed of shading and texture, laid out column by column.
#pragma once

#include "lxccolorvaluefloat.h"
#include "scanner/decoder/decoderconfig.h"

#include <array>
#include <cstddef>
#include <span>
#include <vector>

namespace LxCV {
class CCTImage;
}

namespace decoder {

inline constexpr std::size_t kChannels = 3;

/// The ratio of pattern to reference image per colour channel, both smoothed along the row with the binomial
/// weights 1 2 1: stripes run along the rows, so this takes noise out and leaves the edges.
///
/// Columns are contiguous, since edges are searched along columns. The first and the last image column are not
/// computed; they read as undecodable.
class StripeSignal
{
public:
    /// @param reference, pattern images of one size and of type FLOAT32_3, grey levels 0 to 255
    /// @throws std::invalid_argument if they are not
    void Compute(const LxCV::CCTImage& reference, const LxCV::CCTImage& pattern, const DecoderConfig& config);

    int GetWidth() const { return m_width; }
    int GetHeight() const { return m_height; }

    /// One value a row. Where the reference image is too dark the value is not a number.
    std::span<const float> Column(LxCV::LxCColorValueFloat::EColor channel, int column) const;

private:
    void ComputeRow(const float* reference, const float* pattern, int row, float minReference);

    int m_width = 0;
    int m_height = 0;
    std::array<std::vector<float>, kChannels> m_planes; ///< index: column * height + row
};

} // namespace decoder
