// Combines the steps of the three colour channels into stripe edges, one packed word a pixel.
#pragma once

#include "scanner/decoder/decoderconfig.h"
#include "scanner/decoder/extrema.h"
#include "scanner/decoder/stripesignal.h"

#include <cstddef>
#include <span>

namespace LxCV {
class CCTImage;
}

namespace decoder {

/// For how many edge pixels of an image memory is taken beforehand: stripes are hardly less than four rows high.
/// More of them are no fault.
/// @param width, height pixels, at least 1
inline std::size_t ExpectedEdgePixels(int width, int height)
{
    return static_cast<std::size_t>(width) * (static_cast<std::size_t>(height) / 4 + 1);
}

/// Writes the stripe edges of an image as `LxCExtremum` words.
///
/// Steps of different channels that lie within `maxChannelSpread` are one edge: its symbol is the sum of their
/// symbols, its position their mean weighted by amplitude. The word stands at the pixel that holds the
/// position's whole row, with the fraction of the row as sub-pixel offset and 0 as stripe edge id. A pixel holds
/// one word: of two edges within one row the lower one stands.
class EdgeWordWriter
{
public:
    explicit EdgeWordWriter(const DecoderConfig& config)
        : m_minGradient(config.minGradient),
          m_channelSpread(
              LxCV::TruncateTo<int>(config.maxChannelSpread * LxCV::LxCSubpixel::m_scfSubpixFactor))
    {}

    /// Makes the working buffers for columns of so many rows.
    void Init(int height) { m_finder.Init(height); }

    /// @param words image of type INT32 and of the signal's size; cleared and filled
    /// @throws std::invalid_argument if the sizes or the type differ, or if there are no pixels
    void Write(const StripeSignal& signal, LxCV::CCTImage& words);

private:
    void WriteColumn(std::span<const ChannelStep> steps, int column, LxCV::CCTImage& words) const;

    float m_minGradient; ///< signal units a row
    int m_channelSpread; ///< 1/64 rows
    StepFinder m_finder;
};

} // namespace decoder
