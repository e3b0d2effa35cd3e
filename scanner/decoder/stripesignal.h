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
/// computed; they read as undecodable, as do dark places and those whose ratio no image of grey levels can have.
class StripeSignal
{
public:
    /// @param reference, pattern images of one size and of type FLOAT32_3, grey levels 0 to 255
    /// @throws std::invalid_argument for other sizes or types; the signal is unchanged then
    void Compute(const LxCV::CCTImage& reference, const LxCV::CCTImage& pattern, const DecoderConfig& config);

    int GetWidth() const { return m_width; }
    int GetHeight() const { return m_height; }

    /// One value a row. Where the pixel is undecodable the value is not a number, elsewhere it is finite.
    /// @throws std::out_of_range for a channel or column that is not there
    std::span<const float> Column(LxCV::LxCColorValueFloat::EColor channel, int column) const;

private:
    static void ComputeRow(std::span<const float> reference, std::span<const float> pattern,
                           float minReference, std::span<float> ratios);
    void SpreadRows(int top, int rows);

    int m_width = 0;
    int m_height = 0;
    std::array<std::vector<float>, kChannels> m_planes; ///< index: column * height + row
    std::vector<float> m_ratios;                        ///< some image rows, before they are spread
};

} // namespace decoder
