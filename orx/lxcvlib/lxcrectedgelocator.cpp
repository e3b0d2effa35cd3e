// Traces the edges of a target's squares.
#include "lxcrectedgelocator.h"

#include "c2dstraightline.h"
#include "calibedgekernels.h"
#include "cctimage.h"
#include "lxccalibedge.h"
#include "lxccalibid.h"

#include <new>
#include <numeric>
#include <span>

namespace LxCV {

namespace {

constexpr int c_iSeedStep = 3;   // pixels between seed columns, or rows
constexpr int c_iFirstSeed = 2;  // pixels; first seed in a column, or row
constexpr int c_iSeedMargin = 2; // pixels; the last one lies at size - 2

/// The places of all entries in each column where seeds are looked for.
///
/// They are collected row by row: a walk down the columns of a large image would wait for memory at each pixel.
class CColumnSeeds
{
public:
    explicit CColumnSeeds(const CCTImage& edgeImage)
        : m_uiWidth(static_cast<std::size_t>(edgeImage.GetWidth())), m_vEnds(m_uiWidth + 1)
    {
        ForEachEntry(edgeImage, [this](std::size_t column, int) { ++m_vEnds[column + 1]; });
        std::partial_sum(m_vEnds.begin(), m_vEnds.end(), m_vEnds.begin());
        m_vRows.resize(m_vEnds.back());
        // Each begin moves to the end of its column, which is the begin of the next one.
        ForEachEntry(edgeImage, [this](std::size_t column, int row) { m_vRows[m_vEnds[column]++] = row; });
    }

    /// Rows in ascending order.
    std::span<const int> GetRows(int column) const
    {
        const auto index = static_cast<std::size_t>(column);
        const std::size_t begin = index == 0 ? 0 : m_vEnds[index - 1];
        return std::span(m_vRows).subspan(begin, m_vEnds[index] - begin);
    }

private:
    template <typename Action>
    void ForEachEntry(const CCTImage& edgeImage, Action action) const
    {
        const auto* const first = static_cast<const std::int32_t*>(edgeImage.GetBuffer());
        for (int y = c_iFirstSeed; y <= edgeImage.GetHeight() - c_iSeedMargin; ++y) {
            const std::span<const std::int32_t> words(first + y * m_uiWidth, m_uiWidth);
            for (std::size_t x = 0; (x = CalibEdgeKernels::FindNonZero(words, x)) < m_uiWidth; ++x) {
                action(x, y);
            }
        }
    }

    std::size_t m_uiWidth;
    std::vector<std::size_t> m_vEnds; ///< of each column's places; once all are stored, else begins
    std::vector<int> m_vRows;         ///< column by column
};

/// Traces from all seeds of an edge image: column by column for horizontal edges, row by row for vertical ones.
class CTracing
{
public:
    CTracing(LxCRectEdgeLocator::Edges& edges, const CCTImage& edgeImage, CCTImage& idImage,
             CStraightEdge::EOrientation orientation)
        : m_Edges(edges), m_EdgeImage(edgeImage), m_IdImage(idImage), m_eOrientation(orientation),
          m_pWords(static_cast<const std::int32_t*>(edgeImage.GetBuffer())),
          m_pIds(static_cast<const std::int32_t*>(idImage.GetBuffer()))
    {}

    /// Seed lines run from the middle of the image outwards, alternately to both sides.
    void TraceAll(int drawWidth, int method, int minLen, int maxLen)
    {
        m_iDrawWidth = drawWidth;
        m_iMethod = method;
        m_iMinLen = minLen;
        m_iMaxLen = maxLen;
        m_pSpare = std::make_unique<LxCCBRectEdge>(m_eOrientation);
        if (m_eOrientation == CStraightEdge::eVertical) {
            ForEachLine(m_EdgeImage.GetHeight(), [this](int y) { TraceRow(y); });
        } else {
            const CColumnSeeds seeds(m_EdgeImage);
            ForEachLine(m_EdgeImage.GetWidth(), [this, &seeds](int x) { TraceColumn(seeds, x); });
        }
    }

private:
    template <typename Action>
    void ForEachLine(int lines, Action action) const
    {
        action(lines / 2);
        for (std::int64_t offset = c_iSeedStep; offset < lines && !IsFull(); offset += c_iSeedStep) {
            const std::int64_t line = offset % 2 != 0 ? (lines + offset) / 2 : (lines - offset) / 2 - 1;
            if (line >= 0) {
                action(static_cast<int>(line));
            }
        }
    }

    bool IsFull() const { return m_Edges.size() >= LxCRectEdgeLocator::sc_uiMaxEdges; }

    void TraceColumn(const CColumnSeeds& seeds, int x)
    {
        for (const int y : seeds.GetRows(x)) {
            TraceSeed(x, y);
        }
    }

    void TraceRow(int y)
    {
        const auto width = static_cast<std::size_t>(m_EdgeImage.GetWidth());
        if (width <= c_iSeedMargin) {
            return;
        }
        const std::span<const std::int32_t> seeds(m_pWords + y * width, width - c_iSeedMargin + 1);
        for (std::size_t x = c_iFirstSeed; (x = CalibEdgeKernels::FindNonZero(seeds, x)) < seeds.size();
             ++x) {
            TraceSeed(static_cast<int>(x), y);
        }
    }

    void TraceSeed(int x, int y)
    {
        const std::ptrdiff_t pixel = static_cast<std::ptrdiff_t>(y) * m_EdgeImage.GetWidth() + x;
        if (IsFull() || LxCCalibId(m_pIds[pixel]).IsContourPixel()) {
            return;
        }
        m_pSpare->Trace(m_EdgeImage, x, y, m_iMethod);
        const int length = m_pSpare->GetLen();
        if (length < m_iMinLen || length > m_iMaxLen) {
            return;
        }
        auto next = std::make_unique<LxCCBRectEdge>(m_eOrientation);
        m_pSpare->HandRoomTo(*next);
        m_Edges.push_back(std::move(m_pSpare));
        m_pSpare = std::move(next);
        DrawLatest();
    }

    /// Draws the edge that was found last, unless a straighter one lies there.
    void DrawLatest()
    {
        const LxCCBRectEdge& edge = *m_Edges.back();
        const std::int32_t word = LxCCalibId().Encode(static_cast<int>(m_Edges.size()));
        int oldId = 0;
        if (edge.CheckForPrevEntries(m_IdImage, 0, 0, oldId)) {
            if (oldId < 1 || static_cast<std::size_t>(oldId) > m_Edges.size()) {
                return;
            }
            const auto oldIndex = static_cast<std::size_t>(oldId) - 1;
            if (!IsStraighter(m_Edges.size() - 1, oldIndex)) {
                return;
            }
            m_Edges[oldIndex]->DrawEx(m_IdImage, word, m_iDrawWidth, true, 0, 0);
        }
        edge.DrawEx(m_IdImage, word, m_iDrawWidth, true, 0, 0);
    }

    /// How well a line fits an edge.
    struct SFit
    {
        bool isKnown = false;
        bool hasLine = false;
        double residual = 0.0; ///< pixels
    };

    /// Fitted once: many edges may touch one that was drawn.
    const SFit& FitOf(std::size_t index)
    {
        m_vFits.resize(m_Edges.size());
        SFit& fit = m_vFits[index];
        if (!fit.isKnown) {
            C2DStraightLine line;
            const LxCCBRectEdge& edge = *m_Edges[index];
            fit.hasLine = edge.FitToStrLine(&line, edge.GetLen(), 0, true, fit.residual, true);
            fit.isKnown = true;
        }
        return fit;
    }

    bool IsStraighter(std::size_t index, std::size_t oldIndex)
    {
        const SFit fit = FitOf(index);
        const SFit& old = FitOf(oldIndex);
        return fit.hasLine && old.hasLine && old.residual > fit.residual;
    }

    LxCRectEdgeLocator::Edges& m_Edges;
    const CCTImage& m_EdgeImage;
    CCTImage& m_IdImage;
    CStraightEdge::EOrientation m_eOrientation;
    const std::int32_t* m_pWords;
    const std::int32_t* m_pIds;
    int m_iDrawWidth = 0;
    int m_iMethod = 0;
    int m_iMinLen = 0;
    int m_iMaxLen = 0;
    std::vector<SFit> m_vFits;               ///< of the edges, as far as they are needed
    std::unique_ptr<LxCCBRectEdge> m_pSpare; ///< traces all seeds until an edge is kept
};

ECalibError TraceEdges(LxCRectEdgeLocator::Edges& edges, const CCTImage& edgeImage, CCTImage& idImage,
                       CStraightEdge::EOrientation orientation, int drawWidth, int method, int minLen,
                       int maxLen)
{
    idImage.Clear();
    if (!edgeImage.IsValid() || edgeImage.GetDataType() != CCTImage::eIDT_INT32 ||
        !idImage.DoTypeAndDimMatchWith(edgeImage) || !idImage.IsValid() || &edgeImage == &idImage) {
        return eCalibOk;
    }
    try {
        CTracing(edges, edgeImage, idImage, orientation).TraceAll(drawWidth, method, minLen, maxLen);
    } catch (const std::bad_alloc&) {
        return eCalibNoMemory;
    }
    return eCalibOk;
}

} // namespace

LxCRectEdgeLocator::~LxCRectEdgeLocator() = default;

ECalibError LxCRectEdgeLocator::TraceRectEdgesVer(const CCTImage& edgeImage, CCTImage& idImage, int drawWidth,
                                                  int method, int minLen, int maxLen)
{
    return TraceEdges(m_vVerEdges, edgeImage, idImage, CStraightEdge::eVertical, drawWidth, method, minLen,
                      maxLen);
}

ECalibError LxCRectEdgeLocator::TraceRectEdgesHor(const CCTImage& edgeImage, CCTImage& idImage, int drawWidth,
                                                  int method, int minLen, int maxLen)
{
    return TraceEdges(m_vHorEdges, edgeImage, idImage, CStraightEdge::eHorizontal, drawWidth, method, minLen,
                      maxLen);
}

void LxCRectEdgeLocator::RemoveRectEdges()
{
    m_vVerEdges.clear();
    m_vHorEdges.clear();
}

} // namespace LxCV
