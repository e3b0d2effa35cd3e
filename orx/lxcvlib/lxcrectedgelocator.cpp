// Traces the edges of a target's squares.
#include "lxcrectedgelocator.h"

#include "c2dstraightline.h"
#include "cctimage.h"
#include "lxccalibedge.h"
#include "lxccalibid.h"

#include <new>

namespace LxCV {

namespace {

constexpr int c_iSeedStep = 3;   // pixels between seed columns, or rows
constexpr int c_iFirstSeed = 2;  // pixels; first seed in a column, or row
constexpr int c_iSeedMargin = 2; // pixels; the last one lies at size - 2

/// Edge image and id image, by seed line and position in it: columns and rows for horizontal edges, rows and
/// columns for vertical ones.
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
        const int lines = IsVertical() ? m_EdgeImage.GetHeight() : m_EdgeImage.GetWidth();
        TraceLine(lines / 2);
        for (std::int64_t offset = c_iSeedStep; offset < lines; offset += c_iSeedStep) {
            const std::int64_t line = offset % 2 != 0 ? (lines + offset) / 2 : (lines - offset) / 2 - 1;
            if (line >= 0 && !IsFull()) {
                TraceLine(static_cast<int>(line));
            }
        }
    }

private:
    bool IsVertical() const { return m_eOrientation == CStraightEdge::eVertical; }
    bool IsFull() const { return m_Edges.size() >= LxCRectEdgeLocator::sc_uiMaxEdges; }

    void TraceLine(int line)
    {
        const std::ptrdiff_t width = m_EdgeImage.GetWidth();
        const int last = (IsVertical() ? m_EdgeImage.GetWidth() : m_EdgeImage.GetHeight()) - c_iSeedMargin;
        const std::ptrdiff_t step = IsVertical() ? 1 : width;
        std::ptrdiff_t pixel = (IsVertical() ? line * width : line) + c_iFirstSeed * step;
        for (int place = c_iFirstSeed; place <= last && !IsFull(); ++place, pixel += step) {
            if (LxCCalibEdge(m_pWords[pixel]).HasEntry() && !LxCCalibId(m_pIds[pixel]).IsContourPixel()) {
                TraceSeed(IsVertical() ? place : line, IsVertical() ? line : place);
            }
        }
    }

    void TraceSeed(int x, int y)
    {
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
            const LxCCBRectEdge& old = *m_Edges[static_cast<std::size_t>(oldId) - 1];
            if (!IsStraighter(edge, old)) {
                return;
            }
            old.DrawEx(m_IdImage, word, m_iDrawWidth, true, 0, 0);
        }
        edge.DrawEx(m_IdImage, word, m_iDrawWidth, true, 0, 0);
    }

    static bool IsStraighter(const LxCCBRectEdge& edge, const LxCCBRectEdge& old)
    {
        C2DStraightLine line;
        double residual = 0.0;
        double oldResidual = 0.0;
        return edge.FitToStrLine(&line, edge.GetLen(), 0, true, residual, true) &&
               old.FitToStrLine(&line, old.GetLen(), 0, true, oldResidual, true) && oldResidual > residual;
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
