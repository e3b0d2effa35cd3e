// A nearly straight edge in an image of gradient extrema, for calibration targets.
#pragma once

#include "lxcedge.h"
#include "lxcsensorcoordscct.h"
#include "orx/base/export.h"

#include <cstdint>
#include <span>

namespace LxCV {

class C2DStraightLine;
class CCTImage;

/// An edge that was followed along the columns of an image, or along its rows, with one entry for each.
///
/// Pixels count along the edge and across it: a horizontal edge has the column as its position and the row as the
/// value across, a vertical edge the row as its position and the column as the value across. An entry holds the
/// value across in 1/64 pixel, or the gap value; what `LxCEdge` calls column and row are position and value here.
///
/// The edge has a buffer of its own, which keeps its room from one trace to the next. Nothing is drawn, fitted or
/// traced outside the images that are handed in, whatever the arguments. Const operations may run concurrently.
class ORX_EXPORT CStraightEdge : public LxCEdge
{
public:
    enum EOrientation : int
    {
        eHorizontal = 0, ///< one entry a column
        eVertical = 1    ///< one entry a row
    };

    /// The method of `Trace` that bridges gaps.
    static constexpr int sc_iBridgeGaps = 4;

    explicit CStraightEdge(EOrientation orientation) : LxCEdge(true), m_eOrientation(orientation) {}

    EOrientation GetOrientation() const { return m_eOrientation; }

    /// Whether the edge was traced along local maxima: bright to dark across it.
    bool GetTypeIsLocalMax() const { return m_bTypeIsLocalMax; }

    /// Bits 8 to 15 of the word of its seed.
    std::uint8_t GetEdgeId() const { return m_uiEdgeId; }

    /// Follows the edge from its seed towards lower positions, the seed's included, and then from the seed again
    /// towards higher ones.
    ///
    /// At each position it looks at the pixels up to `method` + 1 before and behind the last value across; next to
    /// the image border, where a pixel more than that would not fit, it leaves out those on the border's side, and
    /// at the far border the middle one as well. Of the pixels with an entry that have the seed's bit 6 and id it
    /// takes the nearest, of two as near the one before. Position 2 is the last one downwards, and size - 3 is the
    /// last one upwards.
    ///
    /// A position without such a pixel ends the walk; with the method `sc_iBridgeGaps` it becomes a gap, and the
    /// gaps at the far end of a walk are dropped. A value across of 937.5 is told by the value of a gap.
    ///
    /// A seed outside the image, and an image that is not one of `LxCCalibEdge` words, leave an edge without
    /// entries.
    /// @param edgeImage `eIDT_INT32`
    void Trace(const CCTImage& edgeImage, int x, int y, int method);
    void TraceHor(const CCTImage& edgeImage, int x, int y, int method); ///< one entry a column
    void TraceVer(const CCTImage& edgeImage, int x, int y, int method); ///< one entry a row

    /// Entries that are no gaps.
    int CountEntries() const;

    /// Replaces all entries, gaps included, by the polynomial's values at their positions, rounded down to 1/64 pixel;
    /// by 0 where it lies before the image.
    /// @param coefficients ascending, pixels
    void ReplaceByPolynomial(std::span<const double> coefficients);

    /// Looks for the first entry whose pixel, moved by `dx` and `dy`, is not 0 in an id image.
    /// @param idImage `eIDT_INT32`, `LxCCalibId` words
    /// @param id receives the id of that pixel
    /// @return false, with `id` untouched, if there is none
    bool CheckForPrevEntries(const CCTImage& idImage, int dx, int dy, int& id) const;

    /// `DrawEx` without an offset.
    void Draw(CCTImage& image, std::int32_t value, int width, bool closeSteps) const;

    /// Writes `value` to the pixel of each entry, moved by `dx` and `dy`, and goes on straight for `width` pixels
    /// at either end.
    /// @param image pixels of 4 bytes; others are left alone
    /// @param closeSteps whether a step of one pixel across is closed by the pixel between the two entries, at the
    ///        later position, so that neighbours share a side
    void DrawEx(CCTImage& image, std::int32_t value, int width, bool closeSteps, int dx, int dy) const;

    // The fits take n = max(2, min(length - 2 * skip, samples)) entries that are no gaps, fewer if there are not as
    // many: from the start of the edge upwards or from its end downwards, `skip` positions left out. A negative
    // `skip` leaves out none.

    /// Fits a line in the image plane.
    /// @param residual of the fit, pixels: that of `FitLineLeastSquares`, else that of `FitLineMinAbsDev`.
    ///        Written wherever there is something to fit
    /// @return false, with `line` untouched, for a null line, an edge of fewer than 2 entries, and where the fit
    ///         fails
    bool FitToStrLine(C2DStraightLine* line, int samples, int skip, bool fromStart, double& residual,
                      bool leastSquares) const;

    /// The same with all entries but those near two corners. With an entry's position p and value v, and the
    /// corners A and B, it takes entries with
    ///
    ///     (p - pA)² + (v - vA)² > exclusion²  and  (p - pB)² + (v - vB)·(v - vA) > exclusion²
    ///
    /// The product of the distances to both corners is deliberate: measured corners depend on it.
    /// @param cornerA, cornerB image plane, pixels
    /// @param horizontal whether x is the position; else y is
    bool FitToStrLine(C2DStraightLine* line, const LxCSensorCoordsCCT& cornerA,
                      const LxCSensorCoordsCCT& cornerB, bool horizontal, double exclusion, double& residual,
                      bool leastSquares) const;

    /// Fits the value across as a polynomial of the position, leaves out what lies 2.5 pixels or more from it, and
    /// fits again where that was something.
    /// @param coefficients receives a new array of degree + 1 values, ascending, which the caller frees by delete[]
    /// @return false, with `coefficients` null, if the edge does not have more entries than `degree`, for a degree
    ///         that `FitPolynomial` does not take, and where a fit fails
    bool FitToPoly(double*& coefficients, int degree, int samples, int skip, bool fromStart) const;

    /// The same into a place of the caller's, of degree + 1 values; untouched where it fails.
    bool FitToPoly(std::span<double> coefficients, int samples, int skip, bool fromStart) const;

    /// Compares the image 3 pixels before and 3 pixels behind the edge at n entries as above, up to the first gap;
    /// entries where one of both lies outside the image do not count.
    /// @param limit of a channel; a sample is oversaturated if a channel on either side exceeds it
    /// @param contrast mean absolute difference of a channel, rounded down
    /// @param overSat oversaturated samples in percent, rounded down. Both stay 0 for pixels other than `eIDT_ARGB8`
    /// @return whether there was a sample
    bool GetContrastAndOversat(const CCTImage& image, int samples, int skip, bool fromStart, int limit,
                               int& contrast, int& overSat) const;

    /// Leaves this edge its entries in a buffer of just their size, and gives `next` the room that it had. A caller
    /// that keeps one edge of many thus traces all of them in one buffer.
    void HandRoomTo(CStraightEdge& next);

private:
    struct SWalk;
    struct SSamples;
    struct SCanvas;

    void FollowFrom(const CCTImage& edgeImage, SWalk& walk, int position, int across, int method);
    const LxCDataBufferEntry& EntryAt(int i) const;
    int GetSampleCount(int samples, int skip) const;
    SSamples Gather(int samples, int skip, bool fromStart) const;

    EOrientation m_eOrientation;
    bool m_bTypeIsLocalMax = false;
    std::uint8_t m_uiEdgeId = 0;
};

} // namespace LxCV
