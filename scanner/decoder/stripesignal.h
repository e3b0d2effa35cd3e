// The stripe pattern freed of shading and texture, laid out column by column.
#pragma once

#include "cctimage.h"
#include "lxccolorvaluefloat.h"
#include "scanner/decoder/decoderconfig.h"

#include <array>
#include <cstddef>
#include <span>
#include <vector>

namespace decoder {

inline constexpr std::size_t kChannels = 3;

/// The ratio of pattern to reference image per colour channel, smoothed by `LxCV::CCTImage::Smooth` with mode and
/// kernel of the edge detection's configuration.
///
/// Columns are contiguous, since edges are searched along columns. Dark places read as undecodable, as do those
/// whose ratio no image of grey levels can have, and all that the smoothing kernel mixes with one of them. So do the
/// rows whose kernel reaches over the upper or lower border by more than one row: the border row, which stands for
/// what lies beyond, would shift their edges.
class StripeSignal
{
public:
    /// Makes the working buffers for images of so many pixels. The signal is empty then.
    /// @throws std::bad_alloc
    void Init(int width, int height);

    /// @param reference, pattern images of one size and of type FLOAT32_3, grey levels 0 to 255
    /// @throws std::invalid_argument for other sizes or types; the signal is unchanged then. Also for a smoothing
    ///         that the library does not know; the signal is empty then
    void Compute(const LxCV::CCTImage& reference, const LxCV::CCTImage& pattern, const DecoderConfig& config);

    int GetWidth() const { return m_width; }
    int GetHeight() const { return m_height; }

    /// One value a row. Where the pixel is undecodable the value is not a number, elsewhere it is finite.
    /// @throws std::out_of_range for a channel or column that is not there
    std::span<const float> Column(LxCV::LxCColorValueFloat::EColor channel, int column) const;

private:
    void Divide(std::span<const float> reference, std::span<const float> pattern, float minReference);
    void Smooth(const LxCV::LxCEdgeDetectionConfig& config);
    void BlankBorderRows(int rows);
    void SpreadRows(int top, int rows);

    int m_width = 0;
    int m_height = 0;
    LxCV::CCTImage m_ratio;                             ///< FLOAT32_3
    LxCV::CCTImage m_smoothed;                          ///< FLOAT32_3
    std::array<std::vector<float>, kChannels> m_planes; ///< index: column * height + row
};

} // namespace decoder
