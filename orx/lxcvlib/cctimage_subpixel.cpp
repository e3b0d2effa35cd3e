// Values between pixel centres.
#include "cctimage.h"
#include "floattointeger.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace LxCV {

namespace {

/// The pixels around a place, by rows, and the place's distance from the first of them.
struct Neighbours
{
    std::array<const std::byte*, 4> pixels;
    double dx;
    double dy;
};

/// A neighbour without weight does not count, whatever its value.
double Interpolate(double first, double second, double t)
{
    return t == 0.0 ? first : (1.0 - t) * first + t * second;
}

/// Element number `element` of type T.
template <typename T>
double ElementOf(const std::byte* pixel, std::size_t element)
{
    T value;
    std::memcpy(&value, pixel + element * sizeof(T), sizeof(T));
    return static_cast<double>(value);
}

template <typename T>
void InterpolateElements(const Neighbours& around, std::size_t elements, std::byte* out)
{
    for (std::size_t i = 0; i < elements; ++i) {
        std::array<double, 4> values;
        std::transform(around.pixels.begin(), around.pixels.end(), values.begin(),
                       [i](const std::byte* pixel) { return ElementOf<T>(pixel, i); });
        const double value = Interpolate(Interpolate(values[0], values[1], around.dx),
                                         Interpolate(values[2], values[3], around.dx), around.dy);
        T element;
        if constexpr (std::integral<T>) {
            element = TruncateTo<T>(std::floor(value + 0.5));
        } else {
            element = static_cast<T>(value);
        }
        std::memcpy(out + i * sizeof(T), &element, sizeof(T));
    }
}

/// @return whether the type is one with channels
bool InterpolatePixel(CCTImage::EImageDataType type, const Neighbours& around, std::byte* out)
{
    switch (type) {
    case CCTImage::eIDT_ARGB8:
        InterpolateElements<std::uint8_t>(around, 4, out);
        return true;
    case CCTImage::eIDT_BGRU8:
        InterpolateElements<std::uint8_t>(around, 3, out);
        return true;
    case CCTImage::eIDT_UINT8:
    case CCTImage::eIDT_GRAY8:
        InterpolateElements<std::uint8_t>(around, 1, out);
        return true;
    case CCTImage::eIDT_INT8:
        InterpolateElements<std::int8_t>(around, 1, out);
        return true;
    case CCTImage::eIDT_UINT16:
        InterpolateElements<std::uint16_t>(around, 1, out);
        return true;
    case CCTImage::eIDT_INT16:
        InterpolateElements<std::int16_t>(around, 1, out);
        return true;
    case CCTImage::eIDT_UINT32:
        InterpolateElements<std::uint32_t>(around, 1, out);
        return true;
    case CCTImage::eIDT_INT32:
        InterpolateElements<std::int32_t>(around, 1, out);
        return true;
    case CCTImage::eIDT_FLOAT32:
        InterpolateElements<float>(around, 1, out);
        return true;
    case CCTImage::eIDT_FLOAT64:
        InterpolateElements<double>(around, 1, out);
        return true;
    case CCTImage::eIDT_FLOAT32_3:
        InterpolateElements<float>(around, 3, out);
        return true;
    default:
        return false;
    }
}

} // namespace

CCTImage::EReturnCode CCTImage::GetSubPixelLinearInterpol(double x, double y, void* pixel) const
{
    if (pixel == nullptr) {
        return eRC_NullPointer;
    }
    const bool inside = x >= 0.0 && x <= m_iWidth - 1 && y >= 0.0 && y <= m_iHeight - 1;
    if (!inside || m_pBuffer == nullptr) {
        return eRC_OutOfImage;
    }
    // A descendant may have allocated pixels of another size than the type has.
    if (m_iBytesPerPixel != GetBytesPerPixel(m_eDataType)) {
        return eRC_UnsupportedType;
    }
    const int left = static_cast<int>(x);
    const int top = static_cast<int>(y);
    const int right = std::min(left + 1, m_iWidth - 1);
    const int bottom = std::min(top + 1, m_iHeight - 1);
    const Neighbours around{{PixelAddress(left, top), PixelAddress(right, top), PixelAddress(left, bottom),
                             PixelAddress(right, bottom)},
                            x - left,
                            y - top};
    return InterpolatePixel(m_eDataType, around, static_cast<std::byte*>(pixel)) ? eRC_OK
                                                                                 : eRC_UnsupportedType;
}

} // namespace LxCV
