// Debug pictures of edge images.
#include "calibedgedrawing.h"

#include "cctimage.h"
#include "lxccolorvalueargb8.h"
#include "lxcgdiplusbitmaputilities.h"

#include <string>

namespace LxCV {

namespace {

constexpr int c_iTextOffset = 10; // pixels
constexpr int c_iTextSize = 20;   // pixels

} // namespace

void DrawThresholdRegions(CCTImage& image, const SExtremumThresholds& thresholds)
{
    LxCGdiPlusBitmapUtilities surface(image);
    for (std::size_t i = 0; i < thresholds.regions.size(); ++i) {
        const LxCRoi& region = thresholds.regions[i];
        surface.DrawRectangle(region.GetLeftCol(), region.GetTopRow(), region.GetWidth(), region.GetHeight(),
                              LxCColorValueARGB8::eGreen);
        const std::wstring text =
            std::to_wstring(thresholds.minLocal[i]) + L' ' + std::to_wstring(thresholds.minTotal[i]);
        surface.DrawTextW(text, region.GetLeftCol() + c_iTextOffset, region.GetTopRow() + c_iTextOffset,
                          c_iTextSize, LxCColorValueARGB8::eGreen);
    }
    surface.CopyResult(&image);
}

} // namespace LxCV
