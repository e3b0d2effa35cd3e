// The projector's slide as a target: life, pictures, masks and marks for whole squares.
#include "lxcprojslidecalibbody.h"

#include "cctimage.h"
#include "floattointeger.h"
#include "lxccbrect.h"
#include "lxccolorvalueargb8.h"
#include "lxcrectcornercalibmark.h"
#include "orx/logging/logger.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <memory>

namespace LxCV {

namespace {

const Logging::CLogger s_Logger(L"ORX.Lumorad.LxCProjSlideCalibBody");

constexpr double c_dCorners = 4.0;

/// The corners of a square in the order of its outline.
using Outline = std::array<LxCSensorCoordsCCT, 4>;

Outline OutlineOf(const LxCCBRect& rect)
{
    return {rect.GetULCorner()->GetImageCoords(), rect.GetURCorner()->GetImageCoords(),
            rect.GetLRCorner()->GetImageCoords(), rect.GetLLCorner()->GetImageCoords()};
}

void DrawOutline(CCTImage& image, const Outline& outline, const LxCColorValueARGB8& color)
{
    for (std::size_t i = 0; i < outline.size(); ++i) {
        const LxCSensorCoordsCCT& from = outline[i];
        const LxCSensorCoordsCCT& to = outline[(i + 1) % outline.size()];
        image.DrawLine(TruncateTo<int>(from.x), TruncateTo<int>(from.y), TruncateTo<int>(to.x),
                       TruncateTo<int>(to.y), color);
    }
}

/// Fills a convex outline, its border included.
void FillOutline(CCTImage& image, const Outline& outline, const LxCColorValueARGB8& color)
{
    DrawOutline(image, outline, color);
    const auto [upper, lower] = std::minmax_element(
        outline.begin(), outline.end(),
        [](const LxCSensorCoordsCCT& a, const LxCSensorCoordsCCT& b) { return a.y < b.y; });
    const int first = std::max(0, TruncateTo<int>(std::ceil(upper->y)));
    const int last = std::min(image.GetHeight() - 1, TruncateTo<int>(std::floor(lower->y)));
    for (int y = first; y <= last; ++y) {
        double left = std::numeric_limits<double>::infinity();
        double right = -left;
        for (std::size_t i = 0; i < outline.size(); ++i) {
            const LxCSensorCoordsCCT& a = outline[i];
            const LxCSensorCoordsCCT& b = outline[(i + 1) % outline.size()];
            if (a.y != b.y && std::min(a.y, b.y) <= y && y <= std::max(a.y, b.y)) {
                const double x = a.x + (y - a.y) * ((b.x - a.x) / (b.y - a.y));
                left = std::min(left, x);
                right = std::max(right, x);
            }
        }
        if (left <= right) {
            image.DrawLine(TruncateTo<int>(std::ceil(left)), y, TruncateTo<int>(std::floor(right)), y, color);
        }
    }
}

LxCSensorCoordsCCT CenterOf(const LxCCBRect& rect)
{
    const Outline outline = OutlineOf(rect);
    return (outline[0] + outline[1] + outline[2] + outline[3]) / c_dCorners;
}

/// The mark that stands for a square with four corners.
std::unique_ptr<LxCCalibMark> MakeMarkOf(const LxCCBRect& rect)
{
    auto mark = std::make_unique<LxCCalibMark>();
    const LxCSensorCoordsCCT center = CenterOf(rect);
    double quality = 0.0;
    for (const LxCRectCornerCalibMark* corner : rect.GetCorners()) {
        quality += corner->GetQuality();
    }
    mark->SetXImg(center.x);
    mark->SetYImg(center.y);
    mark->SetQuality(quality / c_dCorners);
    mark->SetId(rect.GetId());
    return mark;
}

} // namespace

LxCProjSlideCalibBody::LxCProjSlideCalibBody() : LxCCBCalibBody(false)
{
    m_pThres = std::make_unique<LxCCProjSlideCalibThres>();
}

LxCProjSlideCalibBody::~LxCProjSlideCalibBody() = default;

const LxCCProjSlideCalibThres* LxCProjSlideCalibBody::GetSlideThres() const
{
    return dynamic_cast<const LxCCProjSlideCalibThres*>(m_pThres.get());
}

void LxCProjSlideCalibBody::DrawCalibMarks(CCTImage* image)
{
    if (image == nullptr || !image->IsValid()) {
        return;
    }
    for (const LxCCBRect* rect : m_vRects) {
        if (rect->HasFourCorners()) {
            DrawOutline(*image, OutlineOf(*rect), LxCColorValueARGB8::eGreen);
        }
    }
    LxCCalibBody::DrawCalibMarks(image);
}

ECalibError LxCProjSlideCalibBody::IdentifyCalibMarks()
{
    return eCalibNotDone;
}

ECalibError LxCProjSlideCalibBody::ExportCalibrationDataUsingWCDataFile(std::vector<LxCCalibrationData*>& out)
{
    return LxCCBCalibBody::ExportCalibrationDataUsingWCDataFile(out);
}

ECalibError LxCProjSlideCalibBody::Read3DCoordsFromStream(std::istream& stream)
{
    return LxCCalibBody::Read3DCoordsFromStream(stream);
}

void LxCProjSlideCalibBody::ReduceToRectID()
{
    for (LxCCalibMark* mark : m_vMarks) {
        mark->MarkAsUnusableForCalib();
    }
    for (const LxCCBRect* rect : m_vRects) {
        if (!rect->HasFourCorners()) {
            continue;
        }
        std::unique_ptr<LxCCalibMark> mark = MakeMarkOf(*rect);
        m_vMarks.push_back(mark.get());
        mark.release();
        s_Logger.Info(L"LxCProjSlideCalibBody::ReduceToRectID push_back RectId % i\n", rect->GetId());
        s_Logger.Info(L"LxCProjSlideCalibBody::ReduceToRectID Ids %i %i %i %i\n",
                      rect->GetULCorner()->GetId(), rect->GetURCorner()->GetId(),
                      rect->GetLLCorner()->GetId(), rect->GetLRCorner()->GetId());
    }
}

void LxCProjSlideCalibBody::DrawCalibMarkMask(CCTImage* mask, double* x, double* y) const
{
    if (mask == nullptr || !mask->IsValid()) {
        return;
    }
    mask->Clear();
    LxCSensorCoordsCCT sum;
    int count = 0;
    for (const LxCCBRect* rect : m_vRects) {
        if (rect->HasFourCorners() && !rect->IsInvalid()) {
            FillOutline(*mask, OutlineOf(*rect), LxCColorValueARGB8::eWhite);
            sum += CenterOf(*rect);
            ++count;
        }
    }
    if (count > 0 && x != nullptr && y != nullptr) {
        *x = sum.x / count;
        *y = sum.y / count;
    }
}

} // namespace LxCV
