// The elements that the pixels of an image are made of.
#pragma once

#include "cctimage.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <type_traits>

namespace LxCV {

/// All elements of an image as numbers of type T, in memory order; none where the image has no pixels.
template <typename T>
std::span<const T> ElementsOf(const CCTImage& image)
{
    if (!image.IsValid()) {
        return {};
    }
    return {static_cast<const T*>(image.GetBuffer()),
            static_cast<std::size_t>(image.GetSizeInBytes()) / sizeof(T)};
}

template <typename T>
std::span<T> ElementsOf(CCTImage& image)
{
    if (!image.IsValid()) {
        return {};
    }
    return {static_cast<T*>(image.GetBuffer()), static_cast<std::size_t>(image.GetSizeInBytes()) / sizeof(T)};
}

/// Calls `call(std::type_identity<T>())` with the element type of a data type: bytes for `eIDT_ARGB8` and
/// `eIDT_BGRU8`, floats for `eIDT_FLOAT32_3`. @return false, and no call, for an undefined type
template <typename Call>
bool WithElementType(CCTImage::EImageDataType type, Call call)
{
    switch (type) {
    case CCTImage::eIDT_ARGB8:
    case CCTImage::eIDT_BGRU8:
    case CCTImage::eIDT_UINT8:
    case CCTImage::eIDT_GRAY8:
        call(std::type_identity<std::uint8_t>());
        return true;
    case CCTImage::eIDT_UINT32:
        call(std::type_identity<std::uint32_t>());
        return true;
    case CCTImage::eIDT_INT32:
        call(std::type_identity<std::int32_t>());
        return true;
    case CCTImage::eIDT_UINT16:
        call(std::type_identity<std::uint16_t>());
        return true;
    case CCTImage::eIDT_INT16:
        call(std::type_identity<std::int16_t>());
        return true;
    case CCTImage::eIDT_INT8:
        call(std::type_identity<std::int8_t>());
        return true;
    case CCTImage::eIDT_FLOAT32:
    case CCTImage::eIDT_FLOAT32_3:
        call(std::type_identity<float>());
        return true;
    case CCTImage::eIDT_FLOAT64:
        call(std::type_identity<double>());
        return true;
    default:
        return false;
    }
}

/// Whether the pixels of an image can be worked on: 0, 15 for a size without memory, 8 for an undefined type
/// and one whose pixel size is not the image's.
inline CCTImage::EReturnCode CheckPixels(const CCTImage& image)
{
    if (image.GetBuffer() == nullptr && image.GetSizeInBytes() > 0) {
        return CCTImage::eRC_NullPointer;
    }
    const int bytes = CCTImage::GetBytesPerPixel(image.GetDataType());
    return bytes > 0 && bytes == image.GetBytesPerPixel() ? CCTImage::eRC_OK : CCTImage::eRC_UnsupportedType;
}

} // namespace LxCV
