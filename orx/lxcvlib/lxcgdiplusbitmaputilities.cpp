// Shapes and text on a copy of an image.
#include "lxcgdiplusbitmaputilities.h"

#include "orx/logging/logger.h"
#include "orx/platform/textrenderer.h"
#include "saturate.h"

#include <algorithm>

namespace LxCV {

namespace {

const Logging::CLogger s_Logger(L"ORX.Lumorad.LxCGdiPlusBitmapUtilities");

constexpr const char* c_sFontFamily = "Arial";

int Sum(int a, std::int64_t b)
{
    return SaturateToInt(a + b);
}

struct SSpan
{
    int first = 0;
    int end = 0; ///< one behind the last
};

/// Which of `count` pixels that begin at `start` lie on 0 to size - 1.
SSpan SeenPart(int start, int count, int size)
{
    return {SaturateToInt(std::max<std::int64_t>(0, -std::int64_t{start})),
            SaturateToInt(std::min<std::int64_t>(count, std::int64_t{size} - start))};
}

} // namespace

LxCGdiPlusBitmapUtilities::LxCGdiPlusBitmapUtilities(const CCTImage& image) : m_Surface(image)
{
    m_Surface.SetId(image.GetId()); // which a copy leaves behind
}

void LxCGdiPlusBitmapUtilities::DrawLine(int x1, int y1, int x2, int y2, const LxCColorValueARGB8& color)
{
    m_Surface.DrawLine(x1, y1, x2, y2, color);
}

void LxCGdiPlusBitmapUtilities::DrawPolygon(std::span<const SPoint> corners, const LxCColorValueARGB8& color)
{
    for (std::size_t i = 0; i < corners.size(); ++i) {
        const SPoint& from = corners[i];
        const SPoint& to = corners[(i + 1) % corners.size()];
        m_Surface.DrawLine(from.x, from.y, to.x, to.y, color);
    }
}

void LxCGdiPlusBitmapUtilities::DrawRectangle(int x, int y, int width, int height,
                                              const LxCColorValueARGB8& color)
{
    m_Surface.DrawRect(x, y, Sum(x, width), Sum(y, height), color);
}

void LxCGdiPlusBitmapUtilities::DrawTextW(const std::wstring& text, int x, int y, int size,
                                          const LxCColorValueARGB8& color)
{
    platform::CTextMask mask;
    if (!platform::RenderText(text, c_sFontFamily, size, mask)) {
        s_Logger.Error(L"No font for the family %s, a text is left out\n", c_sFontFamily);
        return;
    }
    const SSpan columns = SeenPart(x, mask.width, m_Surface.GetWidth());
    const SSpan rows = SeenPart(y, mask.height, m_Surface.GetHeight());
    for (int row = rows.first; row < rows.end; ++row) {
        const std::uint8_t* const pixels = mask.pixels.data() + std::ptrdiff_t{row} * mask.width;
        for (int column = columns.first; column < columns.end; ++column) {
            if (pixels[column] != 0) {
                m_Surface.DrawLine(x + column, y + row, x + column, y + row, color);
            }
        }
    }
}

void LxCGdiPlusBitmapUtilities::DrawXMark(int x, int y, int size, const LxCColorValueARGB8& color)
{
    if (size >= 0) {
        const std::int64_t reach = size;
        m_Surface.DrawLine(Sum(x, -reach), Sum(y, -reach), Sum(x, reach), Sum(y, reach), color);
        m_Surface.DrawLine(Sum(x, -reach), Sum(y, reach), Sum(x, reach), Sum(y, -reach), color);
    }
}

void LxCGdiPlusBitmapUtilities::CopyResult(CCTImage* image) const
{
    if (image != nullptr) {
        *image = m_Surface;
    }
}

} // namespace LxCV
