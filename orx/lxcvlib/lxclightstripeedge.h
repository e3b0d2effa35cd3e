// A stripe edge that is traced through an extrema image.
#pragma once

#include "lxcedge.h"
#include "lxclightstripeedgesinglepixel.h"
#include "lxcsymbol.h"
#include "orx/base/export.h"

#include <cstdint>

namespace LxCV {

class LxCEdgeDetectionConfig;

/// What the search for the next pixel of an edge found in one column.
enum ETraceQuality : int
{
    eTraceNone = 0,      ///< no acceptable pixel
    eTraceConfirmed = 1, ///< a pixel with the edge's own untraced id
    eTraceSymbol = 2,    ///< a pixel without an id whose symbol contains the edge's symbol
    eTraceSingle = 3     ///< the only extremum in reach, without an id and with another symbol
};

/// An edge across an image of `LxCExtremum` words, one row a column, with counts of how well it is confirmed. Its
/// entries lie in an external buffer, so that one block of entries serves many edges without an allocation.
///
/// Many edges may be traced at once on one image, while nobody draws into it.
class ORX_EXPORT LxCLightStripeEdge : public LxCEdge
{
public:
    LxCLightStripeEdge() : LxCEdge(false) {}

    /// Follows the edge from its seed column by column, first to the left as far as column 2, then to the right
    /// as far as column stride - 3. The caller has set the id, the symbol and the external buffer, whose entry 0
    /// holds the seed's position.
    ///
    /// In each column the search goes `searchRadius` rows up and down from the row of the last pixel; next to the
    /// image border it does not go towards the border. A column without an acceptable pixel, or with only a
    /// `eTraceSingle` one two rows away or more, becomes a gap. An arm ends when it has more than `maxGaps` gaps,
    /// of which each confirmed pixel pays one back, and when the step limit passes without a confirmed pixel. It
    /// is then cut back to its last confirmed pixel, unless ids are assigned manually or the setting
    /// `ExtendedTrace` is on. The numbers of pixels stay as counted.
    ///
    /// A negative `maxGaps` leaves the seed alone; so do a seed outside the image, an image without pixels, and a
    /// null image, buffer or configuration.
    /// @param image rows of `stride` pixels, `height` of them; read only
    /// @param col column of the seed
    /// @param searchRadius rows; its sign is ignored
    ///
    /// The buffer must hold `stride` entries: a confirmed pixel starts the count of steps anew, so that the step
    /// limit is no bound of the length. Row 937.5 is told by the value of a gap and reads as one.
    void Trace(LxCLightStripeEdgeSinglePixel* image, int col, int stride, int height, int maxGaps,
               int searchRadius, const LxCEdgeDetectionConfig* config);

    /// Writes the edge into an image: each pixel becomes `pattern` with the fraction of its row. Gaps of one and
    /// two columns are closed at the mean of their neighbours if the setting `ExtendedTrace` is on, but not a gap
    /// next to the seed on its right; longer ones stay open.
    /// @param image rows of `stride` pixels, at least as many as the traced image has; columns outside it are not
    ///        written, rows are taken from the entries unseen
    /// @param pattern as `EncodeTracedLSEdgeInfo` makes it
    /// @param throwAway pixels at either end that are not drawn; a negative number counts as 0
    void DrawWInterpol(LxCLightStripeEdgeSinglePixel* image, LxCLightStripeEdgeSinglePixel pattern,
                       int stride, int throwAway) const;

    /// Share of confirmed pixels among all, in whole percent, rounded down; 0 without pixels.
    int GetValidCWPercent() const;

    int GetId() const { return m_iId; }
    void SetId(int id) { m_iId = id; } ///< the untraced id of this edge's pixels, 1 to 255
    void SetSymbol(const LxCSymbol& symbol) { m_Symbol = symbol; } ///< the transitions that it must show

    int GetNrOfPixels() const { return m_iNrOfPixels; } ///< placed, the seed included
    int GetNrOfConfirmedPixels() const
    {
        return m_iNrOfConfirmedPixels;
    }                                                 ///< with the edge's id, and the seed
    int GetContCount() const { return m_iContCount; } ///< confirmed pixels with the continuation flag
    int GetContCount2() const
    {
        return m_iContCount2;
    } ///< confirmed pixels with the second continuation flag

protected:
    /// Looks at `count` pixels from `pixels` on, `stride` apart, for the next one of the edge. Pixels of traced
    /// edges are never acceptable. The first pixel with the edge's id wins at once; else of several that contain
    /// the edge's symbol the last one, deliberately not the nearest.
    /// @return its index; `count` if there is none
    int DetNextEdgel(const LxCLightStripeEdgeSinglePixel* pixels, int count, int stride,
                     ETraceQuality& quality) const;

private:
    struct SSearch;
    struct SCanvas;

    void Confirm(const LxCLightStripeEdgeSinglePixel& pixel);
    int FollowArm(const SSearch& search, int direction, int first);
    void DrawArm(SCanvas& canvas, int first, std::int64_t count, std::int64_t firstCol, int direction) const;

    std::int32_t m_iNrOfPixels = 0;
    LxCSymbol m_Symbol;
    std::int32_t m_iNrOfConfirmedPixels = 0;
    std::int32_t m_iContCount = 0;
    std::int32_t m_iContCount2 = 0;
    std::int32_t m_iId = 0;
};

} // namespace LxCV
