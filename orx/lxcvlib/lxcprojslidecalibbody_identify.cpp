// Which mark of the projector's slide a corner belongs to.
#include "cctimage.h"
#include "floattointeger.h"
#include "lxccbrect.h"
#include "lxclightstripeedgesinglepixel.h"
#include "lxcpinholeframework.h"
#include "lxcprojslidecalibbody.h"
#include "lxcrectcornercalibmark.h"
#include "orx/logging/logger.h"
#include "saturate.h"
#include "slidemarkplace.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>

namespace LxCV {

namespace {

const Logging::CLogger s_Logger(L"ORX.Lumorad.LxCProjSlideCalibBody");

constexpr double c_dMaxFromMedian =
    8.0;                            // pixels; marks so far off the median of their row and side are invalid
constexpr int c_iMedianGroups = 31; // of rows and sides
constexpr std::size_t c_uiMinForMedian = 3;

bool IsWordImage(const CCTImage* image)
{
    return image != nullptr && image->IsValid() &&
           image->GetBytesPerPixel() == static_cast<int>(sizeof(LxCLightStripeEdgeSinglePixel));
}

/// The number of the traced stripe edge in the word under an edge; false if there is none.
bool ReadStripeEdge(const CCTImage& image, const LxCCBRectEdge& edge, int index, int& number)
{
    if (index < 0 || index >= edge.GetLen()) {
        return false;
    }
    const LxCDataBufferEntry entry = edge.GetElement(index);
    const int x = edge.First() + index;
    const int y = static_cast<int>(entry.GetWord() >> LxCSubpixel::m_sciNrSubpixBits);
    LxCLightStripeEdgeSinglePixel pixel;
    if (entry.IsContorGap() || image.GetPixel(x, y, &pixel) != CCTImage::eRC_OK ||
        !pixel.IsPartOfATracedLightStripeEdge()) {
        return false;
    }
    number = pixel.GetLSEdgeIDTraced();
    return true;
}

/// The number of the stripe edge that a corner lies on, read as near to the middle of its horizontal edge as there is
/// a word of one.
bool FindStripeEdge(const CCTImage* image, const LxCRectCornerCalibMark& mark, int& number)
{
    const LxCCBRectEdge* const edge = mark.GetHorEdge();
    if (edge == nullptr || !IsWordImage(image)) {
        return false;
    }
    const int middle = edge->GetLen() / 2;
    for (int offset = 0; offset <= middle; ++offset) {
        if (ReadStripeEdge(*image, *edge, middle + offset, number) ||
            ReadStripeEdge(*image, *edge, middle - offset, number)) {
            return true;
        }
    }
    return false;
}

bool IsLower(const LxCRectCornerCalibMark& mark)
{
    return mark.GetType() == LxCRectCornerCalibMark::eLowerLeft ||
           mark.GetType() == LxCRectCornerCalibMark::eLowerRight;
}

/// Rows from 0, by equal parts of the image that the visible rows of marks lie in.
std::int64_t RowByColumn(int width, double x, const LxCCProjSlideCalibThres& thres)
{
    const int part = std::max(1, width / std::max(1, thres.m_iFixedNrVisibleRows));
    return std::int64_t{TruncateTo<int>(width - x)} / part + HiddenSlideRows(thres);
}

void SetCorner(LxCCBRect& rect, LxCRectCornerCalibMark& mark)
{
    switch (mark.GetType()) {
    case LxCRectCornerCalibMark::eUpperLeft:
        rect.SetULCorner(&mark);
        break;
    case LxCRectCornerCalibMark::eUpperRight:
        rect.SetURCorner(&mark);
        break;
    case LxCRectCornerCalibMark::eLowerLeft:
        rect.SetLLCorner(&mark);
        break;
    case LxCRectCornerCalibMark::eLowerRight:
        rect.SetLRCorner(&mark);
        break;
    case LxCRectCornerCalibMark::eNone:
        break;
    }
}

/// Ascending columns; marks in no column at all are the last ones.
bool IsBefore(const LxCRectCornerCalibMark* a, const LxCRectCornerCalibMark* b)
{
    return a->GetXImg() < b->GetXImg() || (std::isnan(b->GetXImg()) && !std::isnan(a->GetXImg()));
}

/// Makes marks invalid that do not lie near the median of all. Reorders them.
void DropOutliers(std::vector<LxCRectCornerCalibMark*>& marks)
{
    if (marks.size() < c_uiMinForMedian) {
        return;
    }
    const auto middle = marks.begin() + static_cast<std::ptrdiff_t>(marks.size() / 2);
    std::nth_element(marks.begin(), middle, marks.end(), IsBefore);
    const double median = (*middle)->GetXImg();
    for (LxCRectCornerCalibMark* mark : marks) {
        if (!(std::abs(mark->GetXImg() - median) < c_dMaxFromMedian)) {
            mark->MakeInvalid();
        }
    }
}

} // namespace

std::vector<LxCRectCornerCalibMark*> LxCProjSlideCalibBody::GetCorners() const
{
    std::vector<LxCRectCornerCalibMark*> corners;
    corners.reserve(m_vMarks.size());
    for (LxCCalibMark* mark : m_vMarks) {
        if (auto* const corner = dynamic_cast<LxCRectCornerCalibMark*>(mark); corner != nullptr) {
            corners.push_back(corner);
        }
    }
    return corners;
}

ECalibError LxCProjSlideCalibBody::IdentifyCalibMarks(CCTImage* image, LxCCalibData& /*data*/,
                                                      LxCPinholeFramework* framework)
{
    const LxCCProjSlideCalibThres* const thres = GetSlideThres();
    RemoveRects();
    if (thres == nullptr) {
        s_Logger.Error(L"invalid projector calib thres");
        return eCalibWrongThresholds;
    }
    if (!IsWordImage(image)) {
        return eCalibImageUnsuitable;
    }
    try {
        IdentifyCorners(*image, *thres, framework);
        SetCalibOrientation(eCO_QuarterTurn);
        const ECalibError error = FilterOutByMedian();
        return error == eCalibOk ? ImprovePositionEstimate(image) : error;
    } catch (const std::bad_alloc&) {
        return eCalibNoMemory;
    }
}

void LxCProjSlideCalibBody::IdentifyCorners(const CCTImage& image, const LxCCProjSlideCalibThres& thres,
                                            const LxCPinholeFramework* framework)
{
    for (LxCRectCornerCalibMark* mark : GetCorners()) {
        const int column = DetPatternColumn(&image, *mark);
        if (column == 0) {
            // Its number would be that of the last mark in another row.
            mark->MakeInvalid();
            continue;
        }
        const std::int64_t row = framework == nullptr
                                     ? RowByColumn(image.GetWidth(), mark->GetXImg(), thres)
                                     : std::int64_t{DetPatternRow(&image, *mark, *framework)} - 1;
        const std::int64_t rectId = row * thres.m_iNrOfCols + column;
        if (rectId < 1) {
            // Beside the slide, or where its row could not be told.
            mark->MakeInvalid();
            continue;
        }
        AddToRect(*mark, SaturateToInt(rectId));
    }
}

/// Makes the mark a corner of the square with this id, and makes that square where there is none.
void LxCProjSlideCalibBody::AddToRect(LxCRectCornerCalibMark& mark, int rectId)
{
    LxCCBRect* rect = FindRect(m_vRects, rectId);
    if (rect == nullptr) {
        auto made = std::make_unique<LxCCBRect>();
        made->SetId(rectId);
        m_vRects.push_back(made.get());
        rect = made.release();
    }
    mark.SetRect(rect);
    SetCorner(*rect, mark);
}

int LxCProjSlideCalibBody::DetPatternColumn(const CCTImage* image, const LxCRectCornerCalibMark& mark) const
{
    const LxCCProjSlideCalibThres* const thres = GetSlideThres();
    int number = 0;
    if (thres == nullptr || !FindStripeEdge(image, mark, number)) {
        return 0;
    }
    // The lower side of a mark is the next stripe edge.
    return thres->GetIdOfMarker(IsLower(mark) ? number - 1 : number);
}

int LxCProjSlideCalibBody::DetPatternRow(const CCTImage* image, const LxCRectCornerCalibMark& mark,
                                         const LxCPinholeFramework& framework) const
{
    const LxCCProjSlideCalibThres* const thres = GetSlideThres();
    int number = 0;
    const double extent = framework.GetCLPattern()->GetWidth();
    if (thres == nullptr || !(extent > 0.0) || !FindStripeEdge(image, mark, number)) {
        return 0;
    }
    const LxCPinholeCamera& camera = *framework.GetCamera();
    const LxCPinholeCamera& projector = *framework.GetProjector();
    const double z = framework.ComputeEdgeDepth(mark.GetXImg(), mark.GetYImg(), number, true, false);
    double x = 0.0;
    double y = 0.0;
    camera.DisImageToCameraCoords(mark.GetXImg(), mark.GetYImg(), z, &x, &y);
    double projX = 0.0;
    double projY = 0.0;
    double projZ = 0.0;
    camera.LocalToLocalCoords(&projector, x, y, z, &projX, &projY, &projZ);
    double slideCol = 0.0;
    double slideRow = 0.0;
    if (!projector.CameraToDisImageCoords(projX, projY, projZ, &slideCol, &slideRow)) {
        return 0;
    }
    const double part = (extent - slideCol) / extent;
    return TruncateTo<int>(part * (thres->m_iNrOfRows + 1.0) + 0.5);
}

ECalibError LxCProjSlideCalibBody::FilterOutByMedian()
{
    const LxCCProjSlideCalibThres* const thres = GetSlideThres();
    if (thres == nullptr) {
        s_Logger.Error(L"invalid projector calib thres");
        return eCalibWrongThresholds;
    }
    std::array<std::vector<LxCRectCornerCalibMark*>, c_iMedianGroups> groups;
    for (LxCRectCornerCalibMark* mark : GetCorners()) {
        if (!SSlideMarkPlace::IsKnown(*mark, *thres)) {
            continue;
        }
        const SSlideMarkPlace place(mark->GetId(), thres->m_iNrOfCols);
        const std::int64_t group = 2 * place.row + (place.isLeft ? 0 : 1);
        if (group < c_iMedianGroups) {
            groups[static_cast<std::size_t>(group)].push_back(mark);
        }
    }
    for (std::vector<LxCRectCornerCalibMark*>& marks : groups) {
        DropOutliers(marks);
    }
    return eCalibOk;
}

} // namespace LxCV
