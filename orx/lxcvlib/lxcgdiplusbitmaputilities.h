// A drawing surface with text.
#pragma once

#include "cctimage.h"
#include "lxccolorvalueargb8.h"
#include "orx/base/export.h"

#include <span>
#include <string>

namespace LxCV {

/// A copy of an image to draw on; the image itself changes by `CopyResult` only. Shapes and colours follow the rules
/// of the drawing operations of `CCTImage`. Positions are pixels.
class ORX_EXPORT LxCGdiPlusBitmapUtilities
{
public:
    /// A corner of a polygon.
    struct SPoint
    {
        int x = 0;
        int y = 0;
    };

    /// Throws as the copy of an image does.
    explicit LxCGdiPlusBitmapUtilities(const CCTImage& image);

    void DrawLine(int x1, int y1, int x2, int y2, const LxCColorValueARGB8& color);

    /// A closed line over all corners.
    void DrawPolygon(std::span<const SPoint> corners, const LxCColorValueARGB8& color);

    /// A frame from (x, y) to (x + width, y + height), both included.
    void DrawRectangle(int x, int y, int width, int height, const LxCColorValueARGB8& color);

    /// One line of text in Arial or what the system has in its place, without a background.
    /// @param x,y upper left corner of the text
    /// @param size height of the font, pixels
    /// Where the system has no font, an error is logged and nothing drawn.
    void DrawTextW(const std::wstring& text, int x, int y, int size, const LxCColorValueARGB8& color);

    /// Two diagonals that reach `size` pixels to all four sides.
    void DrawXMark(int x, int y, int size, const LxCColorValueARGB8& color);

    /// Brings the drawing to an image of any kind, by assignment; a null is ignored.
    void CopyResult(CCTImage* image) const;

private:
    CCTImage m_Surface;
};

} // namespace LxCV
