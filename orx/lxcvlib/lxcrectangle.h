// A plain rectangle of pixels.
#pragma once

#include "orx/base/export.h"
#include "saturate.h"

#include <cstdint>

namespace LxCV {

/// A rectangle of pixels: left column, top row, width, height; signed and stored as given. The plain form of
/// `LxCRoi`. Sums that int cannot hold saturate.
class ORX_EXPORT LxCRectangle
{
public:
    LxCRectangle() = default;
    LxCRectangle(int left, int top, int width, int height)
        : m_iLeftCol(left), m_iTopRow(top), m_iWidth(width), m_iHeight(height)
    {}

    void Set(int left, int top, int width, int height) { *this = LxCRectangle(left, top, width, height); }

    /// Sets all four values to zero.
    void Reset() { *this = LxCRectangle(); }

    int GetLeftCol() const { return m_iLeftCol; }
    int GetTopRow() const { return m_iTopRow; }
    int GetWidth() const { return m_iWidth; }
    int GetHeight() const { return m_iHeight; }

    /// The last column, respectively row, that belongs to the rectangle.
    int GetRightCol() const { return SaturateToInt(std::int64_t{m_iLeftCol} + m_iWidth - 1); }
    int GetBottomRow() const { return SaturateToInt(std::int64_t{m_iTopRow} + m_iHeight - 1); }

private:
    int m_iLeftCol = 0;
    int m_iTopRow = 0;
    int m_iWidth = 0;
    int m_iHeight = 0;
};

} // namespace LxCV
