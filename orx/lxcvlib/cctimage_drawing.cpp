// Lines and curves in images.
#include "cctimage.h"

#include "drawing.h"
#include "lxccolorvalueargb8.h"
#include "lxcellipse.h"
#include "saturate.h"

#include <algorithm>
#include <cmath>

namespace LxCV {

namespace {

/// Lines that make up an ellipse: a pixel long, but never more than these.
constexpr double c_dFewestEllipseLines = 8.0;
constexpr double c_dMostEllipseLines = 20000.0;
constexpr double c_dTwoPi = 6.283185307179586;

/// A pixel of an image's type in memory.
class CPixel
{
public:
    CPixel(const LxCColorValueARGB8& color, CCTImage::EImageDataType type)
    {
        const std::uint32_t word = color.GetARGB();
        const auto blue = static_cast<std::uint8_t>(word);
        const auto green = static_cast<std::uint8_t>(word >> 8);
        const auto red = static_cast<std::uint8_t>(word >> 16);
        const unsigned grey = (blue + 2U * green + red) >> 2;
        switch (type) {
        case CCTImage::eIDT_ARGB8:
        case CCTImage::eIDT_UINT32:
        case CCTImage::eIDT_INT32:
            Store(word);
            break;
        case CCTImage::eIDT_FLOAT32:
            Store(static_cast<float>(grey));
            break;
        case CCTImage::eIDT_FLOAT64:
            Store(static_cast<double>(grey));
            break;
        case CCTImage::eIDT_FLOAT32_3:
            Store(LxCFloat3(blue, green, red));
            break;
        case CCTImage::eIDT_BGRU8:
            Store(std::array{blue, green, red});
            break;
        default:
            Store(grey);
            break; // little-endian: the lowest byte or two are the pixel
        }
    }

    const void* Get() const { return m_Bytes.data(); }

private:
    template <typename T>
    void Store(const T& value)
    {
        static_assert(sizeof value <= sizeof(LxCFloat3));
        std::memcpy(m_Bytes.data(), &value, sizeof value);
    }

    std::array<std::byte, sizeof(LxCFloat3)> m_Bytes{};
};

int Shift(int value, int by)
{
    return SaturateToInt(std::int64_t{value} + by);
}

/// c[0] + c[1] p + c[2] p² ... by Horner's scheme.
double Evaluate(std::span<const double> coefficients, double p)
{
    double value = 0.0;
    for (std::size_t i = coefficients.size(); i-- > 0;) {
        value = value * p + coefficients[i];
    }
    return value;
}

} // namespace

void CCTImage::PlotLine(double x1, double y1, double x2, double y2, const void* pixel)
{
    if (pixel != nullptr && IsValid()) {
        Drawing::Line({m_iWidth, m_iHeight}, x1, y1, x2, y2,
                      [&](int x, int y) { SetPixelFast(x, y, pixel); });
    }
}

void CCTImage::DrawLine(int x1, int y1, int x2, int y2, const void* pixel)
{
    PlotLine(x1, y1, x2, y2, pixel);
}

void CCTImage::DrawLine(int x1, int y1, int x2, int y2, const LxCColorValueARGB8& color)
{
    DrawLine(x1, y1, x2, y2, CPixel(color, m_eDataType).Get());
}

void CCTImage::DrawRect(int left, int top, int right, int bottom, const void* pixel, int thickness)
{
    if (pixel == nullptr || !IsValid() || thickness < 1) {
        return;
    }
    const int before = -((thickness - 1) / 2);
    const int after = thickness / 2;
    const auto block = [&](int x1, int y1, int x2, int y2) {
        Drawing::Block({m_iWidth, m_iHeight}, Shift(x1, before), Shift(y1, before), Shift(x2, after),
                       Shift(y2, after), [&](int x, int y) { SetPixelFast(x, y, pixel); });
    };
    const auto [x1, x2] = std::minmax({left, right});
    const auto [y1, y2] = std::minmax({top, bottom});
    block(x1, y1, x2, y1);
    block(x1, y2, x2, y2);
    block(x1, y1, x1, y2);
    block(x2, y1, x2, y2);
}

void CCTImage::DrawRect(int left, int top, int right, int bottom, const LxCColorValueARGB8& color,
                        int thickness)
{
    DrawRect(left, top, right, bottom, CPixel(color, m_eDataType).Get(), thickness);
}

void CCTImage::DrawTick(int x, int y, int size, const void* pixel)
{
    if (size >= 0) {
        PlotLine(static_cast<double>(x) - size, y, static_cast<double>(x) + size, y, pixel);
        PlotLine(x, static_cast<double>(y) - size, x, static_cast<double>(y) + size, pixel);
    }
}

void CCTImage::DrawTick(int x, int y, int size, const LxCColorValueARGB8& color)
{
    DrawTick(x, y, size, CPixel(color, m_eDataType).Get());
}

void CCTImage::DrawEllipse(const LxCEllipse& ellipse, const void* pixel)
{
    const double length = c_dTwoPi * std::max(ellipse.GetA(), ellipse.GetB());
    if (!std::isfinite(length)) {
        return;
    }
    const auto lines =
        static_cast<int>(std::clamp(std::ceil(length), c_dFewestEllipseLines, c_dMostEllipseLines));
    const double co = std::cos(ellipse.GetAlpha());
    const double si = std::sin(ellipse.GetAlpha());
    double lastX = ellipse.GetX() + ellipse.GetA() * co;
    double lastY = ellipse.GetY() + ellipse.GetA() * si;
    for (int i = 1; i <= lines; ++i) {
        const double u = ellipse.GetA() * std::cos(c_dTwoPi * i / lines);
        const double w = ellipse.GetB() * std::sin(c_dTwoPi * i / lines);
        const double x = ellipse.GetX() + u * co - w * si;
        const double y = ellipse.GetY() + u * si + w * co;
        PlotLine(lastX, lastY, x, y, pixel);
        lastX = x;
        lastY = y;
    }
}

void CCTImage::DrawEllipse(const LxCEllipse& ellipse, const LxCColorValueARGB8& color)
{
    DrawEllipse(ellipse, CPixel(color, m_eDataType).Get());
}

void CCTImage::DrawPolynomial(std::span<const double> coefficients, bool alongX, int first, int last,
                              const void* pixel)
{
    if (pixel != nullptr && IsValid()) {
        Drawing::Curve(
            {m_iWidth, m_iHeight}, alongX, first, last,
            [coefficients](double p) { return Evaluate(coefficients, p); },
            [&](int x, int y) { SetPixelFast(x, y, pixel); });
    }
}

void CCTImage::DrawPolynomial(std::span<const double> coefficients, bool alongX, int first, int last,
                              const LxCColorValueARGB8& color)
{
    DrawPolynomial(coefficients, alongX, first, last, CPixel(color, m_eDataType).Get());
}

} // namespace LxCV
