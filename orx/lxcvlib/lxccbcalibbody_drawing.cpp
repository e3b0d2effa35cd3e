// Masks and debug pictures of a checkerboard target.
#include "cctimage.h"
#include "floattointeger.h"
#include "lxccbcalibbody.h"
#include "lxccbrect.h"
#include "lxccolorvalueargb8.h"
#include "lxcgdiplusbitmaputilities.h"
#include "lxclxcvlibsettings.h"
#include "lxcrectcornercalibmark.h"
#include "orx/logging/logger.h"
#include "stringutils.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <string>

namespace LxCV {

namespace {

const Logging::CLogger s_Logger(L"ORX.Lumorad.LxCCBCalibBody");

constexpr int c_iFontSize = 10; // pixels

LxCSensorCoordsCCT PositionOf(const LxCRectCornerCalibMark* corner)
{
    return corner->GetImageCoords();
}

/// The position on the line through `a` and `b` at a value of the other coordinate; not a number for points of one
/// such value.
double Interpolate(double at, double a, double b, double valueAtA, double valueAtB)
{
    return valueAtA + (at - a) * ((valueAtB - valueAtA) / (b - a));
}

/// The four corners of a square.
struct SQuad
{
    explicit SQuad(const LxCCBRect& rect)
        : ul(PositionOf(rect.GetULCorner())), ur(PositionOf(rect.GetURCorner())),
          ll(PositionOf(rect.GetLLCorner())), lr(PositionOf(rect.GetLRCorner()))
    {}

    double Left(double y) const { return Interpolate(y, ul.y, ll.y, ul.x, ll.x); }
    double Right(double y) const { return Interpolate(y, ur.y, lr.y, ur.x, lr.x); }
    double Top(double x) const { return Interpolate(x, ul.x, ur.x, ul.y, ur.y); }
    double Bottom(double x) const { return Interpolate(x, ll.x, lr.x, ll.y, lr.y); }

    LxCSensorCoordsCCT ul;
    LxCSensorCoordsCCT ur;
    LxCSensorCoordsCCT ll;
    LxCSensorCoordsCCT lr;
};

/// Sets the pixels of one row to 0 that lie in the widened square.
void BlankRow(CCTImage& mask, const SQuad& quad, double margin, int y)
{
    const double left = quad.Left(y);
    const double right = quad.Right(y);
    constexpr std::array<std::byte, 16> c_aNothing{}; // the largest pixel takes 12 bytes
    // One pixel more at either end, which the exact comparisons below decide.
    const int last = std::min(mask.GetWidth() - 1, TruncateTo<int>(right + margin + 1.0));
    for (int x = std::max(0, TruncateTo<int>(left - margin - 1.0)); x <= last; ++x) {
        if (x - left > -margin && x - right < margin && y - quad.Top(x) > -margin &&
            y - quad.Bottom(x) < margin) {
            mask.SetPixelFast(x, y, c_aNothing.data());
        }
    }
}

void DrawOutlines(LxCGdiPlusBitmapUtilities& surface, const std::vector<LxCCBRect*>& rects,
                  const LxCColorValueARGB8& color)
{
    for (const LxCCBRect* rect : rects) {
        if (!rect->HasFourCorners()) {
            continue;
        }
        const SQuad quad(*rect);
        const auto line = [&](const LxCSensorCoordsCCT& a, const LxCSensorCoordsCCT& b) {
            surface.DrawLine(TruncateTo<int>(a.x), TruncateTo<int>(a.y), TruncateTo<int>(b.x),
                             TruncateTo<int>(b.y), color);
        };
        line(quad.ul, quad.ur);
        line(quad.ur, quad.lr);
        line(quad.lr, quad.ll);
        line(quad.ll, quad.ul);
    }
}

void DrawEdges(CCTImage& mask, const LxCRectEdgeLocator::Edges& edges, int stepX, int stepY)
{
    constexpr auto c_iWhite = static_cast<std::int32_t>(LxCColorValueARGB8::eWhite);
    for (const auto& edge : edges) {
        for (int shift = -1; shift <= 1; ++shift) {
            edge->DrawEx(mask, c_iWhite, 0, true, shift * stepX, shift * stepY);
        }
    }
}

} // namespace

ECalibError LxCCBCalibBody::FilterOutCalibMarks(CCTImage* mask, double margin)
{
    if (mask == nullptr) {
        s_Logger.Error(L"Error: LxCCBCalibBody:FilterOutCalibMark: pLSE = nullptr.\n");
        return eCalibImageUnsuitable;
    }
    if (!mask->IsValid()) {
        return eCalibOk;
    }
    for (const LxCCBRect* rect : m_vRects) {
        if (!rect->HasFourCorners()) {
            continue;
        }
        const SQuad quad(*rect);
        for (int y = 0; y < mask->GetHeight(); ++y) {
            BlankRow(*mask, quad, margin, y);
        }
    }
    return eCalibOk;
}

void LxCCBCalibBody::DrawMask(CCTImage* mask, int size) const
{
    if (mask == nullptr || size < 1) {
        s_Logger.Error(L"Error: LxCCalibBody::DrawMask: Drawing without a mask or a negative mask size.\n");
        return;
    }
    LxCCalibBody::DrawMask(mask, size);
    DrawEdges(*mask, GetHorEdges(), 0, 1);
    DrawEdges(*mask, GetVerEdges(), 1, 0);
}

void LxCCBCalibBody::DrawCalibMarks(CCTImage* image)
{
    if (image == nullptr || !image->IsValid()) {
        return;
    }
    LxCGdiPlusBitmapUtilities surface(*image);
    DrawOutlines(surface, m_vRects, LxCColorValueARGB8::eGreen);
    DrawOutlines(surface, m_vSecondRects, LxCColorValueARGB8::eYellow);
    if (LxCLxCVLibSettings::IsDrawMarkerPosForDebugging()) {
        for (const LxCCalibMark* mark : m_vMarks) {
            if (mark->GetId() != 0) {
                std::string text;
                mark->Sprint(text, false);
                surface.DrawTextW(s2ws(text), TruncateTo<int>(mark->GetXImg()),
                                  TruncateTo<int>(mark->GetYImg()), c_iFontSize, LxCColorValueARGB8::eRed);
            }
        }
    }
    surface.CopyResult(image);
}

} // namespace LxCV
