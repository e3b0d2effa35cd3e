// Arithmetic, clipping and contrast of regions.
#include "lxcroi.h"

#include "cctimage.h"
#include "lxcpropertybag.h"
#include "saturate.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>

namespace LxCV {

namespace {

constexpr int c_iContrastPixels = 10; // brightest and darkest pixels that are averaged
constexpr std::size_t c_iGrayLevels = 256;

using Histogram = std::array<std::int64_t, c_iGrayLevels>;

/// One direction of a region; the sums of two ints fit.
struct SInterval
{
    std::int64_t start;
    std::int64_t size;

    void Normalize()
    {
        if (size < 0) {
            start += size;
            size = -size;
        }
    }

    void Clip(std::int64_t low, std::int64_t high)
    {
        if (start < low) {
            size -= low - start;
            start = low;
        }
        start = std::min(start, high);
        size = std::min(size, high - start);
    }
};

Histogram GrayLevels(const CCTImage& image, const LxCRoi& roi)
{
    Histogram histogram{};
    for (int y = roi.GetStartRow(); y < roi.GetEndRow(); ++y) {
        for (int x = roi.GetStartCol(); x < roi.GetEndCol(); ++x) {
            ++histogram[static_cast<std::uint8_t>(image.GetBytePixelFast(x, y))];
        }
    }
    return histogram;
}

/// Sum of the `c_iContrastPixels` first grey levels of a histogram, in the order that `levelAt` gives; each
/// level that is missing adds `substitute`.
template <typename LevelAt>
std::int64_t SumOfFirst(const Histogram& histogram, LevelAt levelAt, int substitute)
{
    std::int64_t sum = 0;
    std::int64_t left = c_iContrastPixels;
    for (std::size_t i = 0; i < c_iGrayLevels && left > 0; ++i) {
        const std::size_t level = levelAt(i);
        const std::int64_t taken = std::min(left, histogram[level]);
        sum += taken * static_cast<std::int64_t>(level);
        left -= taken;
    }
    return sum + left * substitute;
}

} // namespace

LxCRoi::LxCRoi(int left, int top, int width, int height, const std::string& name) : m_sName(name)
{
    SInterval cols{left, width};
    SInterval rows{top, height};
    cols.Normalize();
    rows.Normalize();
    m_iLeftCol = SaturateToInt(cols.start);
    m_iTopRow = SaturateToInt(rows.start);
    m_iWidth = SaturateToInt(cols.size);
    m_iHeight = SaturateToInt(rows.size);
}

LxCRoi::LxCRoi(const LxCRoi* other)
{
    if (other != nullptr) {
        m_iLeftCol = other->m_iLeftCol;
        m_iTopRow = other->m_iTopRow;
        m_iWidth = other->m_iWidth;
        m_iHeight = other->m_iHeight;
    }
}

LxCRoi::LxCRoi(const CCTImage* image)
{
    if (image != nullptr) {
        m_iWidth = image->GetWidth();
        m_iHeight = image->GetHeight();
    }
}

int LxCRoi::GetRightCol() const
{
    return SaturateToInt(std::int64_t{m_iLeftCol} + m_iWidth - 1);
}

int LxCRoi::GetBottomRow() const
{
    return SaturateToInt(std::int64_t{m_iTopRow} + m_iHeight - 1);
}

int LxCRoi::GetEndCol() const
{
    return SaturateToInt(std::int64_t{m_iLeftCol} + m_iWidth);
}

int LxCRoi::GetEndRow() const
{
    return SaturateToInt(std::int64_t{m_iTopRow} + m_iHeight);
}

int LxCRoi::GetSize() const
{
    return SaturateToInt(std::int64_t{m_iWidth} * m_iHeight);
}

float LxCRoi::GetCenterCol() const
{
    return static_cast<float>(m_iLeftCol + m_iWidth * 0.5);
}

float LxCRoi::GetCenterRow() const
{
    return static_cast<float>(m_iTopRow + m_iHeight * 0.5);
}

float LxCRoi::GetDist(double col, double row) const
{
    const double cols = col - GetCenterCol();
    const double rows = row - GetCenterRow();
    return static_cast<float>(std::sqrt(cols * cols + rows * rows));
}

bool LxCRoi::Contains(double col, double row) const
{
    const auto endCol = static_cast<double>(std::int64_t{m_iLeftCol} + m_iWidth);
    const auto endRow = static_cast<double>(std::int64_t{m_iTopRow} + m_iHeight);
    return col >= m_iLeftCol && row >= m_iTopRow && col < endCol && row < endRow;
}

bool LxCRoi::Reset()
{
    return Set(0, 0, 0, 0);
}

bool LxCRoi::Shift(int cols, int rows)
{
    m_iLeftCol = SaturateToInt(std::int64_t{m_iLeftCol} + cols);
    m_iTopRow = SaturateToInt(std::int64_t{m_iTopRow} + rows);
    return true;
}

bool LxCRoi::Set(int left, int top, int width, int height)
{
    m_iLeftCol = left;
    m_iTopRow = top;
    m_iWidth = width;
    m_iHeight = height;
    return true;
}

LxCRoi LxCRoi::operator*(int factor) const
{
    const auto times = [factor](int value) { return SaturateToInt(std::int64_t{value} * factor); };
    LxCRoi product;
    product.Set(times(m_iLeftCol), times(m_iTopRow), times(m_iWidth), times(m_iHeight));
    return product;
}

LxCRoi LxCRoi::operator/(int divisor) const
{
    const auto over = [divisor](int value) {
        return divisor == 0 ? 0 : SaturateToInt(std::int64_t{value} / divisor);
    };
    LxCRoi quotient;
    quotient.Set(over(m_iLeftCol), over(m_iTopRow), over(m_iWidth), over(m_iHeight));
    return quotient;
}

LxCRoi LxCRoi::operator+(const LxCRoi& other) const
{
    LxCRoi sum;
    sum.Set(SaturateToInt(std::int64_t{m_iLeftCol} + other.m_iLeftCol),
            SaturateToInt(std::int64_t{m_iTopRow} + other.m_iTopRow), m_iWidth, m_iHeight);
    return sum;
}

bool LxCRoi::Shrink(int cols, int rows)
{
    return Set(SaturateToInt(std::int64_t{m_iLeftCol} + cols), SaturateToInt(std::int64_t{m_iTopRow} + rows),
               SaturateToInt(m_iWidth - 2 * std::int64_t{cols}),
               SaturateToInt(m_iHeight - 2 * std::int64_t{rows}));
}

bool LxCRoi::Shrink(int pixels)
{
    // Not through the other form, which a descendant may replace alone.
    return LxCRoi::Shrink(pixels, pixels);
}

bool LxCRoi::Inflate(int pixels)
{
    return Shrink(SaturateToInt(-std::int64_t{pixels}));
}

bool LxCRoi::Intersect(int maxCol, int maxRow, int& startCol, int& startRow, int& endCol, int& endRow) const
{
    LxCRoi clipped(this);
    clipped.CheckAndAdjust(maxCol, maxRow);
    startCol = clipped.GetStartCol();
    startRow = clipped.GetStartRow();
    endCol = clipped.GetEndCol();
    endRow = clipped.GetEndRow();
    return true;
}

bool LxCRoi::Intersect(const CCTImage* image)
{
    return CheckAndAdjust(image);
}

LxCRoi LxCRoi::Intersect(const LxCRoi* other) const
{
    if (other == nullptr) {
        return {};
    }
    LxCRoi clipped(this);
    clipped.CheckAndAdjust(other->m_iLeftCol, other->m_iTopRow, other->GetRightCol(), other->GetBottomRow());
    return clipped;
}

double LxCRoi::CalcContrast(const CCTImage* image, double& minOut, double& maxOut) const
{
    if (image == nullptr || m_iLeftCol < 0 || m_iTopRow < 0 || GetEndCol() > image->GetWidth() ||
        GetEndRow() > image->GetHeight()) {
        return -1.0;
    }
    const bool hasGrayLevels =
        image->GetDataType() == CCTImage::eIDT_UINT8 || image->GetDataType() == CCTImage::eIDT_GRAY8;
    if (!hasGrayLevels || image->GetBuffer() == nullptr) {
        return -1.0;
    }
    const Histogram histogram = GrayLevels(*image, *this);
    const std::int64_t darkest = SumOfFirst(
        histogram, [](std::size_t i) { return i; }, c_iGrayLevels - 1);
    const std::int64_t brightest = SumOfFirst(
        histogram, [](std::size_t i) { return c_iGrayLevels - 1 - i; }, 0);
    minOut = static_cast<double>(darkest) / c_iContrastPixels;
    maxOut = static_cast<double>(brightest) / c_iContrastPixels;
    return (maxOut - minOut) / (maxOut + minOut);
}

void LxCRoi::Serialize(LxCCCTSerializer& serializer, const std::string& section)
{
    LxCPropertyBag bag;
    bag.addScalar(m_iLeftCol, "LeftCol");
    bag.addScalar(m_iTopRow, "TopRow");
    bag.addScalar(m_iWidth, "Width");
    bag.addScalar(m_iHeight, "Height");
    bag.serialize(serializer, section, true);
}

bool LxCRoi::CheckAndAdjust(int minCol, int minRow, int maxCol, int maxRow)
{
    SInterval cols{m_iLeftCol, m_iWidth};
    SInterval rows{m_iTopRow, m_iHeight};
    cols.Normalize();
    rows.Normalize();
    cols.Clip(minCol, maxCol);
    rows.Clip(minRow, maxRow);
    m_iLeftCol = SaturateToInt(cols.start);
    m_iTopRow = SaturateToInt(rows.start);
    m_iWidth = SaturateToInt(cols.size);
    m_iHeight = SaturateToInt(rows.size);
    return true;
}

bool LxCRoi::CheckAndAdjust(int maxCol, int maxRow)
{
    return CheckAndAdjust(0, 0, maxCol, maxRow);
}

bool LxCRoi::CheckAndAdjust(const CCTImage* image)
{
    return image != nullptr && CheckAndAdjust(image->GetWidth(), image->GetHeight());
}

} // namespace LxCV
