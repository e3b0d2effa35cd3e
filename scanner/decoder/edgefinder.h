// Combines the steps of the three colour channels into stripe edges.
#pragma once

#include "scanner/decoder/decoderconfig.h"
#include "scanner/decoder/edgecolumns.h"
#include "scanner/decoder/extrema.h"
#include "scanner/decoder/stripesignal.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace decoder {

/// For how many edge pixels of an image memory is taken beforehand: stripes are hardly less than four rows high. More
/// of them are no fault.
/// @param width, height pixels, at least 1
inline std::size_t ExpectedEdgePixels(int width, int height)
{
    return static_cast<std::size_t>(width) * (static_cast<std::size_t>(height) / 4 + 1);
}

/// Finds the stripe edges of a signal.
///
/// Steps of different channels that lie within `maxChannelSpread` are one edge: its symbol is the sum of their symbols,
/// its position their mean weighted by amplitude. Of two edges within one row the lower one stands.
class EdgeFinder
{
public:
    explicit EdgeFinder(const DecoderConfig& config)
        : m_minGradient(config.minGradient),
          m_channelSpread(
              LxCV::TruncateTo<int>(config.maxChannelSpread * LxCV::LxCSubpixel::m_scfSubpixFactor))
    {}

    /// Makes the working buffers for images of so many pixels.
    void Init(int width, int height);

    /// @param columns receives a column for each of the signal
    void Find(const StripeSignal& signal, EdgeColumns& columns);

private:
    /// Steps close together, at most one of a channel.
    struct Edge
    {
        std::int32_t first; ///< position of the uppermost step, 1/64 rows
        std::int32_t last;  ///< that of the lowest one
        float weighted;     ///< sum of amplitude times distance from the first position
        float weight;       ///< sum of the amplitudes
        std::uint32_t symbol;
    };

    void AddSteps(const StepBatch& steps);
    std::span<const Edge> EdgesOf(std::size_t column) const;
    static std::int32_t PositionOf(const Edge& edge);

    float m_minGradient; ///< signal units a row
    int m_channelSpread; ///< 1/64 rows
    StepFinder m_finder;
    std::size_t m_room = 0;    ///< edges that a column can have, and the one before the first
    std::vector<Edge> m_edges; ///< column after column
    std::array<std::size_t, StepFinder::kColumns> m_counts{};
};

} // namespace decoder
