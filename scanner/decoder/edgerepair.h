// Short gaps in traced stripe edges.
#pragma once

#include "scanner/decoder/edgetracer.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace decoder {

/// Closes gaps in traced stripe edges, where the active preset wants it (`m_bRepairEdges`): between two pixels of one
/// stripe edge, with none of it in the columns between them, the row is interpolated along a straight line.
///
/// A gap is closed if it is at most `m_iRepairEdgesMaxNumGaps` columns wide (of the edge detection) and at most
/// `m_iMaxIpolGap` (of the preset), and if the edge goes up or down by at most `traceRadius` rows a column across it, and
/// not by 3/8 of a row a column more or less than on either side. There it must be seen in eight columns without a gap, and
/// in none of them twice. Short pieces and bends lie along the borders of things, where numbers are wrong more often than
/// elsewhere.
///
/// With `m_bRepairEdgesUndercutFree` a gap is closed as a whole or not at all: no pixel of the bridge may be one of
/// another traced edge, and in each column the next number that is seen above must stay above, and the one below must
/// stay below; else the gap is where a nearer part of the scene hides the edge. Without it only those pixels stay open
/// that are another edge's.
class EdgeRepair
{
public:
    explicit EdgeRepair(const DecoderConfig& config);

    /// Whether the active preset wants it and the limits leave gaps to close.
    bool IsWanted() const { return m_longestGap > 0; }

    /// Makes the working buffers for images of so many pixels.
    /// @throws std::bad_alloc
    void Init(int width, int height);

    /// Adds the pixels of the bridges.
    /// @param words image of type INT32, as traced; the bridges are drawn into it
    /// @param edges the pixels of the traced edges, by ascending whole row and column, and so afterwards. Those outside
    ///        of the image or with a number beyond 0 to 255 stay and are bridged by nothing
    /// @throws std::invalid_argument for an image of another type
    void Repair(LxCV::CCTImage& words, std::vector<EdgePixel>& edges);

private:
    /// A stretch of columns between two pixels of one edge.
    struct Gap
    {
        int number;      ///< of the stripe edge
        int firstColumn; ///< that of the pixel before it
        int lastColumn;  ///< that of the pixel behind it
    };

    void Place(const std::vector<EdgePixel>& edges, int height);
    void CloseGapsOf(int number, LxCV::CCTImage& words);
    bool IsSure(int number, int column, int direction) const;
    void Close(const Gap& gap, LxCV::CCTImage& words);
    bool IsStraight(const Gap& gap) const;
    std::int32_t PositionIn(const Gap& gap, int column) const;
    bool IsInOrder(int number, int column, std::int32_t position) const;
    std::int32_t& At(int number, int column);
    std::int32_t At(int number, int column) const;
    void MergeInto(std::vector<EdgePixel>& edges);

    int m_longestGap; ///< columns; 0 for none
    int m_steepest;   ///< 1/64 rows a column
    bool m_isUndercutFree;
    int m_width = 0;
    int m_numbers = 0; ///< behind the largest number that is seen
    /// By number and column: 1/64 rows, or what `kNone` and `kTwice` mean.
    std::vector<std::int32_t> m_positions;
    std::vector<EdgePixel> m_added;
};

} // namespace decoder
