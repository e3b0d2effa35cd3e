// A named rectangular region of an image.
#pragma once

#include "orx/base/export.h"

#include <string>

namespace LxCV {

class CCTImage;
class LxCCCTSerializer;

/// A rectangle of pixels with a name: left column, top row, width, height. A region covers the columns from
/// left to left + width - 1; one of zero or negative size covers no pixel. Construction from numbers, and the
/// operations that clip before they clip, make sizes positive; all others take sizes as they are.
///
/// Results that int cannot hold saturate. Deliberately, the destructor is not virtual: no region is deleted
/// through a base.
class ORX_EXPORT LxCRoi
{
public:
    LxCRoi() = default;

    /// A negative width or height is made positive, and left or top moved, so that the same pixels are
    /// covered.
    explicit LxCRoi(int left, int top = 0, int width = 0, int height = 0, const std::string& name = {});

    /// The geometry of `other`, stored as it is, without its name; all zero for null.
    explicit LxCRoi(const LxCRoi* other);

    /// The whole image; all zero for null.
    explicit LxCRoi(const CCTImage* image);

    int GetLeftCol() const { return m_iLeftCol; }
    int GetTopRow() const { return m_iTopRow; }
    int GetWidth() const { return m_iWidth; }
    int GetHeight() const { return m_iHeight; }
    const std::string& GetName() const { return m_sName; }

    int GetStartCol() const { return m_iLeftCol; }
    int GetStartRow() const { return m_iTopRow; }
    int GetRightCol() const;  ///< the last column of the region
    int GetBottomRow() const; ///< the last row of the region
    int GetEndCol() const;    ///< the column behind the last one
    int GetEndRow() const;    ///< the row behind the last one

    /// Width times height, pixels.
    int GetSize() const;

    /// The centre, pixels: left + width * 0.5, top + height * 0.5.
    float GetCenterCol() const;
    float GetCenterRow() const;

    /// Euclidean distance, pixels, of a point from the centre.
    float GetDist(double col, double row) const;

    /// Whether left <= col < left + width, and so for the row.
    bool Contains(double col, double row) const;

    /// `Set(0, 0, 0, 0)`; the name stays. Returns true, as the two below.
    virtual bool Reset();
    virtual bool Shift(int cols, int rows);
    virtual bool Set(int left, int top, int width, int height);

    /// New regions without a name. Factors and divisors apply to all four values, and a size that comes out
    /// negative stays so; dividing by zero gives all zero. Adding moves left and top by those of `other`.
    virtual LxCRoi operator*(int factor) const;
    virtual LxCRoi operator/(int divisor) const;
    virtual LxCRoi operator+(const LxCRoi& other) const;

    /// Takes pixels away at all four sides, through `Set`. Sizes may become negative. Return true.
    virtual bool Shrink(int cols, int rows);
    virtual bool Shrink(int pixels);

    /// The part within columns 0 to maxCol - 1 and rows 0 to maxRow - 1; the region itself stays. An end is
    /// the column or row behind the last one; where nothing is left, it is not above its start. Returns true.
    virtual bool Intersect(int maxCol, int maxRow, int& startCol, int& startRow, int& endCol,
                           int& endRow) const;

    /// Clips this region to the image as the form above does. Returns true, or false for null.
    bool Intersect(const CCTImage* image);

    /// This region clipped to `other`, without a name; all zero for null. Deliberately, a region that runs
    /// past the right or lower edge of `other` comes out one column or row short of the overlap: callers'
    /// windows rely on it.
    LxCRoi Intersect(const LxCRoi* other) const;

    /// `Shrink(-pixels)`.
    bool Inflate(int pixels);

    /// Michelson contrast (max - min) / (max + min) of an image of 8-bit unsigned pixels within the region,
    /// where `maxOut` and `minOut` are the means of the ten brightest and the ten darkest pixels. Of fewer
    /// than ten pixels, each missing one counts as 0 for the brightest and as 255 for the darkest. An
    /// all-black region gives not a number.
    /// @return -1 with the outputs unchanged for null, a region that is partly outside the image, and other
    ///         types
    double CalcContrast(const CCTImage* image, double& minOut, double& maxOut) const;

    /// Keys: LeftCol, TopRow, Width, Height. The name is not persisted.
    void Serialize(LxCCCTSerializer& serializer, const std::string& section);

protected:
    /// Makes sizes positive, then clips the region to columns minCol to maxCol - 1 and rows minRow to maxRow
    /// - 1. A region left of or above them keeps a negative size. Returns true; the image form false for
    /// null.
    bool CheckAndAdjust(int minCol, int minRow, int maxCol, int maxRow);
    bool CheckAndAdjust(int maxCol, int maxRow);
    bool CheckAndAdjust(const CCTImage* image);

private:
    int m_iLeftCol = 0;
    int m_iTopRow = 0;
    int m_iWidth = 0;
    int m_iHeight = 0;
    std::string m_sName;
};

} // namespace LxCV
