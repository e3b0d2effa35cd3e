// What the tests of the image class share.
#pragma once

#include "cctimage.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <exception>
#include <random>
#include <string>
#include <vector>

namespace LxCV::TestSupport {

using Image = CCTImage;

inline constexpr const wchar_t* c_sChannel = L"ORX.Lumorad.CCTImage";

/// The published table: number, bytes per pixel, channels, colour.
struct SType
{
    int number;
    int bytes;
    int channels;
    bool color;
};
inline constexpr std::array<SType, 12> c_aTypes{{{1, 4, 4, true},
                                                 {2, 3, 3, true},
                                                 {3, 4, 1, false},
                                                 {4, 4, 1, false},
                                                 {5, 2, 1, false},
                                                 {6, 2, 1, false},
                                                 {7, 1, 1, false},
                                                 {8, 1, 1, false},
                                                 {9, 4, 1, false},
                                                 {10, 8, 1, false},
                                                 {11, 12, 3, true},
                                                 {12, 1, 1, false}}};

inline Image::EImageDataType TypeOf(int number)
{
    return static_cast<Image::EImageDataType>(number);
}

/// Opens what descendants may use.
class COpenImage : public Image
{
public:
    using Image::allocate;
    using Image::deallocate;
    using Image::Image;
    using Image::initializeToDefaults;
    using Image::OwnsBuffer;
    using Image::rearrangeFromBGR8ToARGB;
};

inline std::vector<std::uint8_t> BytesOf(const Image& image)
{
    const auto* begin = static_cast<const std::uint8_t*>(image.GetBuffer());
    return {begin, begin + image.GetSizeInBytes()};
}

inline void FillBytes(Image& image, unsigned seed)
{
    std::mt19937 random(seed);
    auto* bytes = static_cast<std::uint8_t*>(image.GetBuffer());
    std::generate_n(bytes, image.GetSizeInBytes(), [&] { return static_cast<std::uint8_t>(random()); });
}

inline Image RandomImage(int width, int height, int type, unsigned seed)
{
    Image image(width, height, TypeOf(type), true, nullptr);
    FillBytes(image, seed);
    return image;
}

inline void SetAttributes(Image& image)
{
    image.SetType(Image::eIT_Depthmap);
    image.SetId(17);
    image.SetTimestamp(4000000000U);
    image.SetPathname("path");
    image.SetSourcePathname("source path");
    image.SetDescription("description");
}

inline void ExpectAttributes(const Image& image, int id)
{
    EXPECT_EQ(image.GetType(), 1);
    EXPECT_EQ(image.GetId(), id);
    EXPECT_EQ(image.GetTimestamp(), 4000000000U);
    EXPECT_EQ(image.GetPathname(), "path");
    EXPECT_EQ(image.GetSourcePathname(), "source path");
    EXPECT_EQ(image.GetDescription(), "description");
}

template <typename Call>
std::string TextOf(Call call)
{
    try {
        call();
    } catch (const std::exception& exception) {
        return exception.what();
    }
    return "no exception";
}

inline void ExpectEmpty(const Image& image)
{
    EXPECT_EQ(image.GetWidth(), 0);
    EXPECT_EQ(image.GetHeight(), 0);
    EXPECT_EQ(image.GetBytesPerPixel(), 0);
    EXPECT_FALSE(image.IsValid());
}

} // namespace LxCV::TestSupport
