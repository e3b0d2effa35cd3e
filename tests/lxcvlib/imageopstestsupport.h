// What the tests of image operations share.
#pragma once

#include "tests/lxcvlib/imagetestsupport.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <vector>

namespace LxCV::TestSupport {

inline constexpr float c_fNan = std::numeric_limits<float>::quiet_NaN();
inline constexpr float c_fInfinity = std::numeric_limits<float>::infinity();
inline constexpr unsigned c_uiMark = 0xA5; // what targets hold before

template <typename T>
std::vector<T> ValuesOf(const Image& image)
{
    std::vector<T> values(static_cast<std::size_t>(image.GetSizeInBytes()) / sizeof(T));
    if (!values.empty()) {
        std::memcpy(values.data(), image.GetBuffer(), values.size() * sizeof(T));
    }
    return values;
}

template <typename T>
Image ImageOf(int width, int height, Image::EImageDataType type, const std::vector<T>& values)
{
    Image image(width, height, type, true, nullptr);
    EXPECT_EQ(image.GetSizeInBytes(), static_cast<int>(values.size() * sizeof(T)));
    std::memcpy(image.GetBuffer(), values.data(), values.size() * sizeof(T));
    return image;
}

inline Image MarkedImage(int width, int height, int type)
{
    Image image(width, height, TypeOf(type), true, nullptr);
    if (image.IsValid()) {
        std::memset(image.GetBuffer(), c_uiMark, static_cast<std::size_t>(image.GetSizeInBytes()));
    }
    return image;
}

inline bool IsUntouched(const Image& image)
{
    return std::ranges::all_of(BytesOf(image), [](std::uint8_t byte) { return byte == c_uiMark; });
}

/// An image of a size and a type, but without memory.
inline Image Hollow(int width, int height, int type)
{
    return {width, height, TypeOf(type), false, nullptr};
}

/// Pixel type and pixel size of this image do not agree.
class CBeliedImage : public COpenImage
{
public:
    CBeliedImage(int width, int height, EImageDataType type, int bytes)
        : COpenImage(width, height, type, true, nullptr)
    {
        EXPECT_EQ(allocate(width, height, bytes), eRC_OK);
    }
};

} // namespace LxCV::TestSupport
