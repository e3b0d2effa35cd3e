// The stripe pattern freed of shading, texture and coupling of the colours.
#pragma once

#include "cctimage.h"
#include "lxccolorvaluefloat.h"
#include "scanner/decoder/decoderconfig.h"

#include <array>
#include <cstddef>
#include <optional>
#include <span>
#include <vector>

namespace decoder {

inline constexpr std::size_t kChannels = 3;

/// Rows and columns in the order of the pixels' channels: blue, green, red.
using ColourMatrix = std::array<std::array<float, kChannels>, kChannels>;

/// What undoes the configuration's coupling of projector and camera; nothing where it is the identity. A coupling
/// without an inverse counts as the identity, and leaves a line in the log.
std::optional<ColourMatrix> UnmixingOf(const DecoderConfig& config);

/// The ratio of pattern to reference image per colour channel, smoothed by `LxCV::CCTImage::Smooth` with mode and
/// kernel of the edge detection's configuration.
///
/// Where the configuration's coupling of projector and camera is not the identity, both images are first taken through
/// its inverse: what is divided then is the light of one colour of the slide, not what a colour of the sensor takes.
/// The scale of the coupling does not matter to the ratio, but the least reference is one of unmixed light.
///
/// Dark places read as undecodable, as do those
/// whose ratio no image of grey levels can have, and all that the smoothing kernel mixes with one of them. So do the
/// rows whose kernel reaches over the upper or lower border by more than one row: the border row, which stands for
/// what lies beyond, would shift their edges.
class StripeSignal
{
public:
    /// Makes the buffers for images of so many pixels, but for that of the ratio, whose size depends on the smoothing. The
    /// signal is empty then.
    /// @throws std::bad_alloc
    void Init(int width, int height);

    /// @param reference, pattern images of one size and of type FLOAT32_3, grey levels 0 to 255
    /// @throws std::invalid_argument for other sizes or types; the signal is unchanged then. Also for a smoothing
    ///         that the library does not know; the signal is empty then
    void Compute(const LxCV::CCTImage& reference, const LxCV::CCTImage& pattern, const DecoderConfig& config);

    /// The same with what `UnmixingOf` gave for the configuration.
    void Compute(const LxCV::CCTImage& reference, const LxCV::CCTImage& pattern, const DecoderConfig& config,
                 const std::optional<ColourMatrix>& unmixing);

    int GetWidth() const { return m_width; }
    int GetHeight() const { return m_height; }

    /// How many rows at the upper and at the lower border the smoothing leaves undecodable.
    int GetNumBlankRows() const { return m_blankRows; }

    /// The pixels row by row, each of three values in the order of `LxCV::LxCColorValueFloat::EColor`. Where a pixel is
    /// undecodable its value is not a number, elsewhere it is finite. Empty without a signal.
    std::span<const float> Values() const;

    /// @throws std::out_of_range for a channel or pixel that is not there
    float At(LxCV::LxCColorValueFloat::EColor channel, int column, int row) const;

private:
    void ComputeStrip(int first, int end, int reach, const LxCV::CCTImage& reference,
                      const LxCV::CCTImage& pattern, const DecoderConfig& config,
                      const std::optional<ColourMatrix>& unmixing);
    void BlankBorderRows(int rows);

    int m_width = 0;
    int m_height = 0;
    int m_blankRows = 0;
    std::vector<float> m_ratio; ///< of some rows
    std::vector<float> m_kept;  ///< of smoothed rows
    LxCV::CCTImage m_smoothed;  ///< FLOAT32_3
};

} // namespace decoder
