// Tracing and drawing of stripe edges.
#include "lxclightstripeedge.h"

#include "lxcedgedetectionconfig.h"
#include "lxclxcvlibsettings.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>

namespace LxCV {

namespace {

constexpr int c_iFirstCol = 2;            // pixels; an arm to the left goes no further
constexpr int c_iRightMargin = 2;         // pixels; one to the right leaves so many out
constexpr int c_iMaxSingleDistance = 2;   // rows; a lone extremum must be nearer
constexpr int c_iLongestInterpolated = 2; // columns; longer gaps stay open
constexpr int c_iPercent = 100;

std::uint32_t PixelRow(const LxCDataBufferEntry& entry)
{
    return entry.GetWord() >> LxCSubpixel::m_sciNrSubpixBits;
}

} // namespace

/// The image that is searched and the limits of the search.
struct LxCLightStripeEdge::SSearch
{
    const LxCLightStripeEdgeSinglePixel* image;
    int stride;
    int height;
    int maxGaps;
    std::int64_t radius;
    int stepLimit;
    bool keepTails;

    /// Only the border ahead ends an arm: a seed beyond the margins is followed back over them.
    bool IsInReach(int col, int direction) const
    {
        return direction < 0 ? col >= c_iFirstCol : col < stride - c_iRightMargin;
    }

    /// First and last row of the search around a row.
    int FirstRow(int row) const { return row > radius ? static_cast<int>(row - radius) : row; }
    int LastRow(int row) const { return row < height - (radius + 1) ? static_cast<int>(row + radius) : row; }

    const LxCLightStripeEdgeSinglePixel* Pixel(int col, int row) const
    {
        return image + static_cast<std::ptrdiff_t>(row) * stride + col;
    }
};

/// The image that is drawn into and the word to draw with.
struct LxCLightStripeEdge::SCanvas
{
    LxCLightStripeEdgeSinglePixel* image;
    int stride;
    LxCLightStripeEdgeSinglePixel pattern;
    bool closeGaps;

    void Draw(const LxCDataBufferEntry& entry, std::int64_t col)
    {
        if (col >= 0 && col < stride) {
            pattern.SetSubpixel(entry.GetSubpixelInt());
            image[static_cast<std::ptrdiff_t>(PixelRow(entry)) * stride + static_cast<std::ptrdiff_t>(col)] =
                pattern;
        }
    }
};

int LxCLightStripeEdge::DetNextEdgel(const LxCLightStripeEdgeSinglePixel* pixels, int count, int stride,
                                     ETraceQuality& quality) const
{
    quality = eTraceNone;
    int occupied = 0;
    int lastFree = count;
    int lastMatching = count;
    for (int i = 0; i < count; ++i) {
        const LxCLightStripeEdgeSinglePixel pixel = pixels[std::ptrdiff_t{i} * stride];
        if (!pixel.HasEntry()) {
            continue;
        }
        ++occupied;
        if (pixel.IsPartOfATracedLightStripeEdge()) {
            continue;
        }
        const int id = pixel.GetLSEdgeIdUntraced();
        if (id == m_iId) {
            quality = eTraceConfirmed;
            return i;
        }
        if (id == 0) {
            lastFree = i;
            if (LxCSymbol::AllExtremasArePresent(m_Symbol, pixel.GetSymbolFromExt())) {
                lastMatching = i;
            }
        }
    }
    if (lastMatching != count) {
        quality = eTraceSymbol;
        return lastMatching;
    }
    if (occupied == 1 && lastFree != count) {
        quality = eTraceSingle;
        return lastFree;
    }
    return count;
}

void LxCLightStripeEdge::Confirm(const LxCLightStripeEdgeSinglePixel& pixel)
{
    ++m_iNrOfConfirmedPixels;
    m_iContCount += pixel.IsContFlag() ? 1 : 0;
    m_iContCount2 += pixel.IsContFlag2() ? 1 : 0;
}

/// Follows one arm; its entries are stored from index `first` on. Returns how many of them stay.
int LxCLightStripeEdge::FollowArm(const SSearch& search, int direction, int first)
{
    LxCDataBufferEntry* const entries = GetEntries();
    int row = static_cast<int>(PixelRow(entries[0]));
    int next = first;
    int confirmedEnd = first;
    int gaps = 0;
    int steps = 0;
    for (int col = m_iSeedCol + direction;
         steps < search.stepLimit && gaps <= search.maxGaps && search.IsInReach(col, direction);
         col += direction) {
        const int firstRow = search.FirstRow(row);
        const int count = search.LastRow(row) - firstRow + 1;
        ETraceQuality quality = eTraceNone;
        const int found = firstRow + DetNextEdgel(search.Pixel(col, firstRow), count, search.stride, quality);
        if (quality == eTraceNone ||
            (quality == eTraceSingle && std::abs(found - row) >= c_iMaxSingleDistance)) {
            entries[next].SetContourGap();
            ++gaps;
        } else {
            row = found;
            const LxCLightStripeEdgeSinglePixel pixel = *search.Pixel(col, row);
            entries[next] =
                LxCDataBufferEntry((static_cast<std::uint32_t>(row) << LxCSubpixel::m_sciNrSubpixBits) +
                                   static_cast<std::uint32_t>(pixel.GetSubpixelInt()));
            ++m_iNrOfPixels;
            if (quality == eTraceConfirmed) {
                Confirm(pixel);
                steps = 0;
                gaps = std::max(gaps - 1, 0);
                confirmedEnd = next + 1;
            }
        }
        ++steps;
        ++next;
    }
    return (search.keepTails ? next : confirmedEnd) - first;
}

void LxCLightStripeEdge::Trace(LxCLightStripeEdgeSinglePixel* image, int col, int stride, int height,
                               int maxGaps, int searchRadius, const LxCEdgeDetectionConfig* config)
{
    m_iNrOfPixels = 1;
    m_iNrOfConfirmedPixels = 1;
    m_iContCount = 0;
    m_iContCount2 = 0;
    m_iSeedCol = col;
    m_iLeftCount = 1;
    m_iRightCount = 0;
    const bool possible = maxGaps >= 0 && image != nullptr && config != nullptr && GetEntries() != nullptr;
    if (!possible || col < 0 || col >= stride ||
        static_cast<std::int64_t>(PixelRow(GetEntries()[0])) >= height) {
        return;
    }
    const SSearch search{image,
                         stride,
                         height,
                         maxGaps,
                         std::abs(std::int64_t{searchRadius}),
                         config->m_iTraceStepLimit,
                         config->m_bManuallyAssignLseId || LxCLxCVLibSettings::GetExtendedTrace()};
    m_iLeftCount += FollowArm(search, -1, m_iLeftCount);
    m_iRightCount = FollowArm(search, 1, m_iLeftCount);
}

/// Draws `count` entries from index `first` on, beginning in column `firstCol`.
void LxCLightStripeEdge::DrawArm(SCanvas& canvas, int first, std::int64_t count, std::int64_t firstCol,
                                 int direction) const
{
    const LxCDataBufferEntry* const entries = GetEntries() + first;
    int gaps = 0;
    for (std::int64_t i = 0; i < count; ++i) {
        const LxCDataBufferEntry entry = entries[i];
        if (entry.IsContorGap()) {
            ++gaps;
            continue;
        }
        canvas.Draw(entry, firstCol + direction * i);
        // What lies before an arm's first entry is the end of the other arm, or nothing.
        if (canvas.closeGaps && gaps > 0 && gaps <= c_iLongestInterpolated && i > gaps &&
            !entries[i - gaps - 1].IsContorGap()) {
            const LxCDataBufferEntry mean = LxCDataBufferEntry::GetMean(entries[i - gaps - 1], entry);
            for (int back = 1; back <= gaps; ++back) {
                canvas.Draw(mean, firstCol + direction * (i - back));
            }
        }
        gaps = 0;
    }
}

void LxCLightStripeEdge::DrawWInterpol(LxCLightStripeEdgeSinglePixel* image,
                                       LxCLightStripeEdgeSinglePixel pattern, int stride, int throwAway) const
{
    if (image == nullptr || GetEntries() == nullptr) {
        return;
    }
    SCanvas canvas{image, stride, pattern, LxCLxCVLibSettings::GetExtendedTrace()};
    const std::int64_t cut = std::max(throwAway, 0);
    DrawArm(canvas, 0, m_iLeftCount - cut, m_iSeedCol, -1);
    DrawArm(canvas, m_iLeftCount, m_iRightCount - cut, std::int64_t{m_iSeedCol} + 1, 1);
}

int LxCLightStripeEdge::GetValidCWPercent() const
{
    return m_iNrOfPixels == 0
               ? 0
               : static_cast<int>(std::int64_t{m_iNrOfConfirmedPixels} * c_iPercent / m_iNrOfPixels);
}

} // namespace LxCV
