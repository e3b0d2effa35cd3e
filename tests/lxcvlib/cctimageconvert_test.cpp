#include "cctimage.h"

#include "orx/platform/imagecodec.h"
#include "tests/lxcvlib/imageopstestsupport.h"
#include "tests/support/temporaryfolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <limits>
#include <random>
#include <span>
#include <vector>

namespace LxCV {
namespace {

using namespace TestSupport;

/// Blue, green, red of a pixel on the scale of its elements; grey thrice.
std::array<float, 3> ColorOf(const Image& image, int x, int y)
{
    std::array<std::uint8_t, 12> pixel{};
    EXPECT_EQ(image.GetPixel(x, y, pixel.data()), 0);
    std::array<float, 3> color{};
    const auto byte = [&pixel](std::size_t i) { return static_cast<float>(pixel[i]); };
    switch (image.GetDataType()) {
    case Image::eIDT_ARGB8:
    case Image::eIDT_BGRU8:
        return {byte(0), byte(1), byte(2)};
    case Image::eIDT_UINT8:
    case Image::eIDT_GRAY8:
        return {byte(0), byte(0), byte(0)};
    case Image::eIDT_FLOAT32:
        std::memcpy(color.data(), pixel.data(), 4);
        return {color[0], color[0], color[0]};
    default:
        std::memcpy(color.data(), pixel.data(), 12);
        return color;
    }
}

/// Random floats between -60 and 315, of which a fifth are multiples of a half.
Image RandomFloats(int width, int height, Image::EImageDataType type, unsigned seed)
{
    Image image(width, height, type, true, nullptr);
    std::mt19937 random(seed);
    auto* const floats = static_cast<float*>(image.GetBuffer());
    for (int i = 0; i < image.GetSizeInBytes() / 4; ++i) {
        const float value = static_cast<float>(random() % 37500) / 100.0F - 60.0F;
        floats[i] = random() % 5 == 0 ? std::round(value) + 0.5F : value;
    }
    return image;
}

Image RandomColors(int width, int height, int type, unsigned seed)
{
    const bool isFloat = type == Image::eIDT_FLOAT32 || type == Image::eIDT_FLOAT32_3;
    return isFloat ? RandomFloats(width, height, TypeOf(type), seed) : RandomImage(width, height, type, seed);
}

constexpr std::array<int, 6> c_aColorForms{Image::eIDT_ARGB8, Image::eIDT_BGRU8,   Image::eIDT_UINT8,
                                           Image::eIDT_GRAY8, Image::eIDT_FLOAT32, Image::eIDT_FLOAT32_3};

float RoundedByte(float value)
{
    return std::min(std::max(std::floor(value + 0.5F), 0.0F), 255.0F);
}

// ---- ConvertToGrayscale

TEST(CCTImageConvert, TheWeightedGreyIsAQuarterOfBlueTwiceGreenAndRed)
{
    // (10 + 2 * 20 + 30) >> 2 = 20
    const Image bgr = ImageOf<std::uint8_t>(1, 1, Image::eIDT_BGRU8, {10, 20, 30});
    const Image argb = ImageOf<std::uint8_t>(1, 1, Image::eIDT_ARGB8, {10, 20, 30, 200});
    for (const int type : {Image::eIDT_UINT8, Image::eIDT_GRAY8}) {
        for (const Image* const source : {&bgr, &argb}) {
            Image target = MarkedImage(1, 1, type);
            EXPECT_EQ(source->ConvertToGrayscale(&target, static_cast<Image::EConversionMode>(3)), 0);
            EXPECT_EQ(BytesOf(target), std::vector<std::uint8_t>{20});
            EXPECT_EQ(target.GetDataType(), type);
        }
    }
}

TEST(CCTImageConvert, EachModeMixesTheChannelsItsWay)
{
    const auto expected = [](int mode, int b, int g, int r) {
        switch (mode) {
        case 0:
            return b;
        case 1:
            return g;
        case 2:
            return r;
        case 3:
            return (b + 2 * g + r) / 4;
        case 4:
            return (b + g + r) / 3;
        default:
            return (29 * b + 150 * g + 77 * r + 128) / 256;
        }
    };
    for (int mode = 0; mode < 6; ++mode) {
        for (const int type : {Image::eIDT_BGRU8, Image::eIDT_ARGB8}) {
            // Widths around those of vectors, so that their rests are met.
            for (const int width : {1, 2, 15, 16, 17, 31, 33, 64, 101, 658}) {
                const Image source = RandomImage(width, 3, type, static_cast<unsigned>(width + mode));
                Image target = MarkedImage(width, 3, Image::eIDT_UINT8);
                ASSERT_EQ(source.ConvertToGrayscale(&target, static_cast<Image::EConversionMode>(mode)), 0);
                const std::vector<std::uint8_t> pixels = BytesOf(source);
                const std::vector<std::uint8_t> grays = BytesOf(target);
                const auto stride = static_cast<std::size_t>(source.GetBytesPerPixel());
                for (std::size_t i = 0; i < grays.size(); ++i) {
                    const std::uint8_t* const p = pixels.data() + i * stride;
                    ASSERT_EQ(grays[i], expected(mode, p[0], p[1], p[2])) << mode << " " << type << " " << i;
                }
            }
        }
    }
}

TEST(CCTImageConvert, TheMeanDropsFractionsOfEverySum)
{
    for (int sum = 0; sum <= 765; ++sum) {
        const int blue = std::min(sum, 255);
        const int green = std::min(sum - blue, 255);
        const Image source =
            ImageOf<std::uint8_t>(1, 1, Image::eIDT_BGRU8,
                                  {static_cast<std::uint8_t>(blue), static_cast<std::uint8_t>(green),
                                   static_cast<std::uint8_t>(sum - blue - green)});
        Image target = MarkedImage(1, 1, Image::eIDT_UINT8);
        source.ConvertToGrayscale(&target, Image::eCM_Mean);
        ASSERT_EQ(BytesOf(target)[0], sum / 3);
    }
}

TEST(CCTImageConvert, AGreyTargetThatIsLargerIsClearedBesideAndBelow)
{
    const Image source = ImageOf<std::uint8_t>(2, 1, Image::eIDT_BGRU8, {8, 8, 8, 4, 4, 4});
    Image target = MarkedImage(4, 3, Image::eIDT_UINT8);
    EXPECT_EQ(source.ConvertToGrayscale(&target, Image::eCM_Weighted), 0);
    EXPECT_EQ(BytesOf(target), (std::vector<std::uint8_t>{8, 4, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
    Image below = MarkedImage(2, 2, Image::eIDT_UINT8);
    EXPECT_EQ(source.ConvertToGrayscale(&below, Image::eCM_Weighted), 0);
    EXPECT_EQ(BytesOf(below), (std::vector<std::uint8_t>{8, 4, 0, 0}));
}

TEST(CCTImageConvert, AnEmptyColourImageClearsTheGreyTarget)
{
    for (const auto& [width, height] : {std::pair{0, 0}, {0, 2}, {2, 0}}) {
        const Image source(width, height, Image::eIDT_ARGB8, true, nullptr);
        Image target = MarkedImage(3, 2, Image::eIDT_UINT8);
        EXPECT_EQ(source.ConvertToGrayscale(&target, Image::eCM_Weighted), 0);
        EXPECT_EQ(BytesOf(target), std::vector<std::uint8_t>(6, 0));
    }
}

TEST(CCTImageConvert, GreyConversionRefusesWhatItCannotDo)
{
    const Image source = RandomImage(3, 2, Image::eIDT_BGRU8, 1);
    EXPECT_EQ(source.ConvertToGrayscale(nullptr, Image::eCM_Weighted), 1);
    Image target = MarkedImage(3, 2, Image::eIDT_UINT8);
    for (int type = 0; type < 14; ++type) {
        if (type != Image::eIDT_ARGB8 && type != Image::eIDT_BGRU8) {
            EXPECT_EQ(MarkedImage(3, 2, type).ConvertToGrayscale(&target, Image::eCM_Weighted), 12) << type;
        }
        if (type != Image::eIDT_UINT8 && type != Image::eIDT_GRAY8) {
            Image other = MarkedImage(3, 2, type);
            EXPECT_EQ(source.ConvertToGrayscale(&other, Image::eCM_Weighted), 8) << type;
            EXPECT_TRUE(IsUntouched(other));
        }
    }
    for (const int mode : {-1, 6, 1000}) {
        EXPECT_EQ(source.ConvertToGrayscale(&target, static_cast<Image::EConversionMode>(mode)), 2);
    }
    EXPECT_EQ(Hollow(3, 2, Image::eIDT_BGRU8).ConvertToGrayscale(&target, Image::eCM_Weighted), 15);
    EXPECT_EQ(CBeliedImage(3, 2, Image::eIDT_BGRU8, 1).ConvertToGrayscale(&target, Image::eCM_Weighted), 8);
    EXPECT_TRUE(IsUntouched(target));
    for (const auto& [width, height] : {std::pair{2, 2}, {3, 1}, {2, 5}, {0, 0}}) {
        Image small = MarkedImage(width, height, Image::eIDT_UINT8);
        EXPECT_EQ(source.ConvertToGrayscale(&small, Image::eCM_Weighted), 9);
        EXPECT_TRUE(IsUntouched(small));
    }
    Image hollow = Hollow(3, 2, Image::eIDT_UINT8);
    EXPECT_EQ(source.ConvertToGrayscale(&hollow, Image::eCM_Weighted), 15);
}

// ---- ConvertToARGB8, ConvertToBGRU8

TEST(CCTImageConvert, EveryColourFormBecomesBytes)
{
    for (const int type : c_aColorForms) {
        const Image source = RandomColors(13, 7, type, 5);
        Image argb = MarkedImage(13, 7, Image::eIDT_ARGB8);
        Image bgr = MarkedImage(13, 7, Image::eIDT_BGRU8);
        ASSERT_EQ(source.ConvertToARGB8(&argb, false), 0);
        ASSERT_EQ(source.ConvertToBGRU8(&bgr, false), 0);
        for (int y = 0; y < 7; ++y) {
            for (int x = 0; x < 13; ++x) {
                std::array<float, 3> expected = ColorOf(source, x, y);
                std::ranges::transform(expected, expected.begin(), RoundedByte);
                ASSERT_EQ(ColorOf(argb, x, y), expected) << "type " << type;
                ASSERT_EQ(ColorOf(bgr, x, y), expected) << "type " << type;
                const std::uint32_t alpha = static_cast<std::uint32_t>(argb.GetInt32PixelFast(x, y)) >> 24;
                const bool keepsAlpha = type == Image::eIDT_ARGB8;
                ASSERT_EQ(alpha,
                          keepsAlpha ? static_cast<std::uint32_t>(source.GetInt32PixelFast(x, y)) >> 24 : 0);
            }
        }
    }
}

TEST(CCTImageConvert, FloatsAreRoundedAndClampedToBytes)
{
    const std::vector<float> floats{0.0F,   0.49F, 0.5F,        254.49F,      254.5F, 255.0F,
                                    255.6F, 1e30F, c_fInfinity, -c_fInfinity, c_fNan, -0.6F};
    const Image source = ImageOf<float>(4, 1, Image::eIDT_FLOAT32_3, floats);
    Image target = MarkedImage(4, 1, Image::eIDT_BGRU8);
    EXPECT_EQ(source.ConvertToBGRU8(&target, false), 0);
    EXPECT_EQ(BytesOf(target), (std::vector<std::uint8_t>{0, 0, 1, 254, 255, 255, 255, 255, 255, 0, 0, 0}));
}

TEST(CCTImageConvert, AColourTargetThatKeepsAnotherTypeThrows)
{
    const Image source = RandomImage(2, 2, Image::eIDT_BGRU8, 1);
    for (int type = 0; type < 14; ++type) {
        Image target = MarkedImage(2, 2, type);
        if (type != Image::eIDT_BGRU8) {
            EXPECT_EQ(TextOf([&] { source.ConvertToBGRU8(&target, false); }),
                      "CCTImage::ConvertToBGRU8 -> wrong type of destination image");
        }
        if (type != Image::eIDT_ARGB8) {
            EXPECT_EQ(TextOf([&] { source.ConvertToARGB8(&target, false); }),
                      "CCTImage::ConvertToARGB8 -> wrong type of destination image");
        }
        if (type != Image::eIDT_FLOAT32 && type != Image::eIDT_FLOAT32_3) {
            EXPECT_EQ(TextOf([&] { source.ConvertToFloat(&target, false); }),
                      "CCTImage::ConvertToFloat -> wrong type of destination image");
        }
        EXPECT_TRUE(IsUntouched(target));
    }
}

using Conversion = Image::EReturnCode (Image::*)(Image*, bool) const;

struct SConversion
{
    Conversion convert;
    int type; // of the target, from colour
};
constexpr std::array<SConversion, 3> c_aConversions{{{&Image::ConvertToARGB8, Image::eIDT_ARGB8},
                                                     {&Image::ConvertToBGRU8, Image::eIDT_BGRU8},
                                                     {&Image::ConvertToFloat, Image::eIDT_FLOAT32_3}}};

TEST(CCTImageConvert, ColourConversionsRefuseWhatTheyCannotDo)
{
    const Image source = RandomImage(3, 2, Image::eIDT_BGRU8, 1);
    for (const auto& [convert, type] : c_aConversions) {
        EXPECT_EQ((source.*convert)(nullptr, false), 1);
        EXPECT_EQ((source.*convert)(nullptr, true), 1);
        Image small = MarkedImage(2, 3, type);
        EXPECT_EQ((source.*convert)(&small, false), 9);
        EXPECT_TRUE(IsUntouched(small));
        Image hollow = Hollow(3, 2, type);
        EXPECT_EQ((source.*convert)(&hollow, false), 15);
        Image target = MarkedImage(3, 2, type);
        EXPECT_EQ((Hollow(3, 2, Image::eIDT_BGRU8).*convert)(&target, false), 15);
        EXPECT_EQ((Hollow(3, 2, Image::eIDT_BGRU8).*convert)(&target, true), 15);
        EXPECT_EQ((CBeliedImage(3, 2, Image::eIDT_BGRU8, 12).*convert)(&target, false), 8);
        CBeliedImage belied(3, 2, TypeOf(type), 1);
        EXPECT_EQ((source.*convert)(&belied, false), 8);
        EXPECT_TRUE(IsUntouched(target));
    }
}

TEST(CCTImageConvert, NumbersThatAreNoColourDoNotBecomeColours)
{
    for (const int type : {0, 3, 4, 5, 6, 8, 10, 13}) {
        const Image source = MarkedImage(2, 2, type);
        Image argb = MarkedImage(2, 2, Image::eIDT_ARGB8);
        Image bgr = MarkedImage(2, 2, Image::eIDT_BGRU8);
        EXPECT_EQ(source.ConvertToARGB8(&argb, false), 12);
        EXPECT_EQ(source.ConvertToBGRU8(&bgr, true), 12);
        EXPECT_TRUE(IsUntouched(argb) && IsUntouched(bgr));
        EXPECT_EQ(bgr.GetWidth(), 2);
    }
}

TEST(CCTImageConvert, ALargerColourTargetIsClearedBesideAndBelow)
{
    const Image source = RandomImage(3, 2, Image::eIDT_BGRU8, 9);
    for (const auto& [convert, type] : c_aConversions) {
        for (const auto& [width, height] : {std::pair{4, 2}, {3, 5}, {6, 3}}) {
            Image target = MarkedImage(width, height, type);
            ASSERT_EQ((source.*convert)(&target, false), 0);
            for (int y = 0; y < height; ++y) {
                for (int x = 0; x < width; ++x) {
                    const bool covered = x < 3 && y < 2;
                    const std::array<float, 3> black{};
                    ASSERT_EQ(ColorOf(target, x, y), covered ? ColorOf(source, x, y) : black);
                }
            }
        }
    }
}

TEST(CCTImageConvert, ResizingGivesTheTargetSizeAndType)
{
    const Image source = RandomImage(3, 2, Image::eIDT_GRAY8, 9);
    for (const auto& [convert, type] : c_aConversions) {
        for (int old = 0; old < 13; ++old) {
            Image target = MarkedImage(5, 1, old);
            SetAttributes(target);
            ASSERT_EQ((source.*convert)(&target, true), 0);
            EXPECT_EQ(target.GetDataType(), type);
            EXPECT_EQ(target.GetWidth(), 3);
            EXPECT_EQ(target.GetHeight(), 2);
            EXPECT_EQ(ColorOf(target, 2, 1), ColorOf(source, 2, 1));
            ExpectAttributes(target, 17);
        }
    }
}

TEST(CCTImageConvert, AnImageConvertsIntoItself)
{
    for (const int type : c_aColorForms) {
        for (const auto& [convert, targetType] : c_aConversions) {
            Image image = RandomColors(5, 4, type, 3);
            Image expected;
            ASSERT_EQ((image.*convert)(&expected, true), 0);
            ASSERT_EQ((image.*convert)(&image, true), 0);
            EXPECT_EQ(image.GetDataType(), expected.GetDataType());
            EXPECT_EQ(BytesOf(image), BytesOf(expected));
            ASSERT_EQ((image.*convert)(&image, false), 0);
            EXPECT_EQ(BytesOf(image), BytesOf(expected));
        }
    }
}

TEST(CCTImageConvert, ConversionsWriteNoAttributes)
{
    Image source = RandomImage(2, 2, Image::eIDT_ARGB8, 1);
    SetAttributes(source);
    for (const auto& [convert, type] : c_aConversions) {
        Image target = MarkedImage(2, 2, type);
        ASSERT_EQ((source.*convert)(&target, false), 0);
        EXPECT_EQ(target.GetType(), 0);
        EXPECT_EQ(target.GetTimestamp(), 0U);
        EXPECT_EQ(target.GetPathname() + target.GetDescription(), "");
    }
}

// ---- ConvertToFloat

TEST(CCTImageConvert, ColoursAndGreysForColoursBecomeTriples)
{
    for (const int type : {1, 2, 11, 12}) {
        const Image source = RandomColors(9, 5, type, 7);
        Image target = MarkedImage(9, 5, Image::eIDT_FLOAT32_3);
        ASSERT_EQ(source.ConvertToFloat(&target, false), 0);
        for (int y = 0; y < 5; ++y) {
            for (int x = 0; x < 9; ++x) {
                ASSERT_EQ(ColorOf(target, x, y), ColorOf(source, x, y));
            }
        }
        Image single = MarkedImage(9, 5, Image::eIDT_FLOAT32);
        EXPECT_EQ(source.ConvertToFloat(&single, false), 12);
        EXPECT_TRUE(IsUntouched(single));
    }
}

template <typename T>
void ExpectFloats(Image::EImageDataType type, const std::vector<T>& values)
{
    const Image source = ImageOf<T>(static_cast<int>(values.size()), 1, type, values);
    Image target = MarkedImage(source.GetWidth(), 1, Image::eIDT_FLOAT32);
    ASSERT_EQ(source.ConvertToFloat(&target, false), 0);
    const std::vector<float> floats = ValuesOf<float>(target);
    for (std::size_t i = 0; i < values.size(); ++i) {
        EXPECT_EQ(floats[i], static_cast<float>(values[i]));
    }
    Image triples = MarkedImage(source.GetWidth(), 1, Image::eIDT_FLOAT32_3);
    EXPECT_EQ(source.ConvertToFloat(&triples, false), 12);
    EXPECT_TRUE(IsUntouched(triples));
}

TEST(CCTImageConvert, SingleChannelsBecomeSingleFloats)
{
    ExpectFloats<std::uint8_t>(Image::eIDT_UINT8, {0, 1, 128, 255});
    ExpectFloats<std::int8_t>(Image::eIDT_INT8, {0, -1, -128, 127});
    ExpectFloats<std::uint16_t>(Image::eIDT_UINT16, {0, 32768, 65535});
    ExpectFloats<std::int16_t>(Image::eIDT_INT16, {0, -32768, 32767});
    ExpectFloats<std::uint32_t>(Image::eIDT_UINT32, {0, 16777217, 4294967295U});
    ExpectFloats<std::int32_t>(Image::eIDT_INT32, {0, -2147483647 - 1, 2147483647});
    ExpectFloats<float>(Image::eIDT_FLOAT32, {0.25F, -1e30F});
    ExpectFloats<double>(Image::eIDT_FLOAT64, {0.1, -1e30, 2.5});
}

// ---- Convert

TEST(CCTImageConvert, ConvertChoosesByTheTargetsType)
{
    const Image source = RandomImage(6, 5, Image::eIDT_ARGB8, 2);
    for (const auto& [convert, type] : c_aConversions) {
        Image target = MarkedImage(6, 5, type);
        Image expected = MarkedImage(6, 5, type);
        ASSERT_EQ(source.Convert(&target, false), (source.*convert)(&expected, false));
        EXPECT_EQ(BytesOf(target), BytesOf(expected));
        Image resized = MarkedImage(1, 1, type);
        ASSERT_EQ(source.Convert(&resized, true), 0);
        EXPECT_EQ(BytesOf(resized), BytesOf(expected));
    }
    Image single = MarkedImage(6, 5, Image::eIDT_FLOAT32);
    ASSERT_EQ(RandomImage(6, 5, Image::eIDT_UINT8, 3).Convert(&single, false), 0);
    EXPECT_FALSE(IsUntouched(single));
    for (const int type : {Image::eIDT_UINT8, Image::eIDT_GRAY8}) {
        Image target = MarkedImage(6, 5, type);
        Image expected = MarkedImage(6, 5, type);
        ASSERT_EQ(source.Convert(&target, false), source.ConvertToGrayscale(&expected, Image::eCM_Weighted));
        EXPECT_EQ(BytesOf(target), BytesOf(expected));
    }
}

TEST(CCTImageConvert, ConvertCopiesBytesOfGreyIntoTheMiddle)
{
    for (const int from : {Image::eIDT_UINT8, Image::eIDT_GRAY8}) {
        for (const int to : {Image::eIDT_UINT8, Image::eIDT_GRAY8}) {
            Image source = ImageOf<std::uint8_t>(1, 1, TypeOf(from), {7});
            SetAttributes(source);
            Image target = MarkedImage(3, 3, to);
            EXPECT_EQ(source.Convert(&target, true), 0);
            EXPECT_EQ(BytesOf(target), (std::vector<std::uint8_t>{0, 0, 0, 0, 7, 0, 0, 0, 0}));
            EXPECT_EQ(target.GetDataType(), from);
            ExpectAttributes(target, 0);
            Image odd = MarkedImage(2, 3, to);
            EXPECT_EQ(TextOf([&] { source.Convert(&odd, false); }),
                      "CCTImage::CopyFrom - Size of destination image not allowed!");
        }
    }
}

TEST(CCTImageConvert, ConvertOfOtherTypesToGreyLeavesTheTargetAlone)
{
    for (int from = 0; from < 14; ++from) {
        if (from == Image::eIDT_ARGB8 || from == Image::eIDT_UINT8 || from == Image::eIDT_GRAY8) {
            continue;
        }
        for (const int to : {Image::eIDT_UINT8, Image::eIDT_GRAY8}) {
            Image target = MarkedImage(2, 2, to);
            EXPECT_EQ(MarkedImage(2, 2, from).Convert(&target, false), 0) << from;
            EXPECT_TRUE(IsUntouched(target));
            EXPECT_EQ(target.GetDataType(), to);
        }
    }
}

TEST(CCTImageConvert, ConvertToOtherTypesThrows)
{
    const Image source = RandomImage(2, 2, Image::eIDT_ARGB8, 1);
    for (const int type : {0, 3, 4, 5, 6, 8, 10, 13, -1}) {
        Image target(2, 2, TypeOf(type), true, nullptr);
        for (const bool resize : {false, true}) {
            EXPECT_EQ(TextOf([&] { source.Convert(&target, resize); }),
                      "CCTImage::Convert - unsupported type");
        }
    }
    EXPECT_EQ(source.Convert(nullptr, false), 1);
}

// ---- CreateRGBFromSingleChannel

TEST(CCTImageConvert, OneChannelBecomesAGreyPicture)
{
    for (const int from : c_aColorForms) {
        for (const int to : {Image::eIDT_ARGB8, Image::eIDT_BGRU8, Image::eIDT_FLOAT32_3}) {
            for (int channel = 0; channel < 3; ++channel) {
                const Image source = RandomColors(7, 3, from, 4);
                Image target = MarkedImage(7, 3, to);
                ASSERT_EQ(source.CreateRGBFromSingleChannel(&target,
                                                            static_cast<LxCColorValueFloat::EColor>(channel)),
                          0);
                for (int x = 0; x < 7; ++x) {
                    const float value = ColorOf(source, x, 2)[static_cast<std::size_t>(channel)];
                    const float expected = to == Image::eIDT_FLOAT32_3 ? value : RoundedByte(value);
                    ASSERT_EQ(ColorOf(target, x, 2), (std::array{expected, expected, expected}));
                }
                if (to == Image::eIDT_ARGB8) {
                    EXPECT_EQ(static_cast<std::uint32_t>(target.GetInt32PixelFast(0, 0)) >> 24, 0U);
                }
            }
        }
    }
}

TEST(CCTImageConvert, AnImageTakesOneOfItsOwnChannels)
{
    Image image = ImageOf<std::uint8_t>(2, 1, Image::eIDT_BGRU8, {1, 2, 3, 4, 5, 6});
    EXPECT_EQ(image.CreateRGBFromSingleChannel(&image, LxCColorValueFloat::eRed), 0);
    EXPECT_EQ(BytesOf(image), (std::vector<std::uint8_t>{3, 3, 3, 6, 6, 6}));
}

TEST(CCTImageConvert, OneChannelRefusesWhatItCannotDo)
{
    const Image source = RandomImage(2, 2, Image::eIDT_BGRU8, 1);
    const auto green = LxCColorValueFloat::eGreen;
    EXPECT_EQ(source.CreateRGBFromSingleChannel(nullptr, green), 1);
    Image target = MarkedImage(2, 2, Image::eIDT_ARGB8);
    for (const int channel : {-1, 3, 77}) {
        EXPECT_EQ(
            source.CreateRGBFromSingleChannel(&target, static_cast<LxCColorValueFloat::EColor>(channel)), 2);
    }
    for (const int type : {0, 3, 4, 5, 6, 8, 10, 13}) {
        EXPECT_EQ(MarkedImage(2, 2, type).CreateRGBFromSingleChannel(&target, green), 12);
        Image other = MarkedImage(2, 2, type);
        EXPECT_EQ(source.CreateRGBFromSingleChannel(&other, green), 8);
        EXPECT_TRUE(IsUntouched(other));
    }
    EXPECT_EQ(Hollow(2, 2, Image::eIDT_BGRU8).CreateRGBFromSingleChannel(&target, green), 15);
    EXPECT_TRUE(IsUntouched(target));
    for (const auto& [width, height] : {std::pair{3, 2}, {2, 1}}) {
        Image other = MarkedImage(width, height, Image::eIDT_ARGB8);
        EXPECT_EQ(source.CreateRGBFromSingleChannel(&other, green), 9);
        EXPECT_TRUE(IsUntouched(other));
    }
}

// ---- CreateBitmap, CreateBitmapFromGreenChannel

TEST(CCTImageConvert, BitmapsHoldTheColoursOrTheGreenChannelOpaquely)
{
    for (const int type : c_aColorForms) {
        const Image source = RandomColors(7, 3, type, 5);
        platform::CPixels colors{9, 9, platform::EPixelFormat::eGray8, {std::byte{1}}};
        platform::CPixels green;
        ASSERT_EQ(source.CreateBitmap(&colors), 0);
        ASSERT_EQ(source.CreateBitmapFromGreenChannel(&green), 0);
        for (const platform::CPixels* const bitmap : {&colors, &green}) {
            ASSERT_EQ(bitmap->width, 7);
            ASSERT_EQ(bitmap->height, 3);
            ASSERT_EQ(bitmap->format, platform::EPixelFormat::eBgra8);
            ASSERT_EQ(bitmap->bytes.size(), 7U * 3 * 4);
        }
        for (std::size_t i = 0; i < colors.bytes.size(); ++i) {
            const int pixel = static_cast<int>(i / 4);
            const std::array<float, 3> expected = ColorOf(source, pixel % 7, pixel / 7);
            const bool isAlpha = i % 4 == 3;
            ASSERT_EQ(std::to_integer<int>(colors.bytes[i]), isAlpha ? 255 : RoundedByte(expected[i % 4 % 3]))
                << "type " << type << " byte " << i;
            ASSERT_EQ(std::to_integer<int>(green.bytes[i]), isAlpha ? 255 : RoundedByte(expected[1]))
                << "type " << type << " byte " << i;
        }
    }
}

TEST(CCTImageConvert, ABitmapIsWhatAPictureFileTakes)
{
    const ::TestSupport::CTemporaryFolder folder;
    const Image source = ImageOf<std::uint8_t>(2, 1, Image::eIDT_BGRU8, {1, 2, 3, 4, 5, 6});
    platform::CPixels bitmap;
    ASSERT_EQ(source.CreateBitmap(&bitmap), 0);
    const std::filesystem::path path = folder.GetPath() / "bitmap.png";
    ASSERT_TRUE(platform::WritePng(path, {bitmap.width, bitmap.height, bitmap.format, bitmap.bytes}));
    Image loaded;
    ASSERT_EQ(loaded.Load(path.string()), 0);
    EXPECT_EQ(BytesOf(loaded), (std::vector<std::uint8_t>{1, 2, 3, 255, 4, 5, 6, 255}));
}

TEST(CCTImageConvert, BitmapsRefuseWhatTheyCannotHold)
{
    const auto isUntouched = [](const platform::CPixels& bitmap) {
        return bitmap.width == 9 && bitmap.bytes.size() == 1;
    };
    platform::CPixels bitmap{9, 9, platform::EPixelFormat::eGray8, {std::byte{1}}};
    const Image source = RandomImage(2, 2, Image::eIDT_BGRU8, 1);
    EXPECT_EQ(source.CreateBitmap(nullptr), 1);
    EXPECT_EQ(source.CreateBitmapFromGreenChannel(nullptr), 1);
    for (const int type : {0, 3, 4, 5, 6, 8, 10, 13}) {
        EXPECT_EQ(MarkedImage(2, 2, type).CreateBitmap(&bitmap), 12) << type;
        EXPECT_EQ(MarkedImage(2, 2, type).CreateBitmapFromGreenChannel(&bitmap), 12) << type;
    }
    EXPECT_EQ(Hollow(2, 2, Image::eIDT_BGRU8).CreateBitmap(&bitmap), 15);
    EXPECT_EQ(Hollow(2, 2, Image::eIDT_BGRU8).CreateBitmapFromGreenChannel(&bitmap), 15);
    EXPECT_TRUE(isUntouched(bitmap));
    EXPECT_EQ(Image(0, 2, Image::eIDT_BGRU8, true, nullptr).CreateBitmap(&bitmap), 0);
    EXPECT_TRUE(bitmap.bytes.empty());
}

// ---- MakeOpaque

TEST(CCTImageConvert, OpaquePixelsKeepTheirColours)
{
    Image source = ImageOf<std::uint8_t>(2, 1, Image::eIDT_ARGB8, {1, 2, 3, 4, 5, 6, 7, 255});
    const std::vector<std::uint8_t> opaque{1, 2, 3, 255, 5, 6, 7, 255};
    Image target = MarkedImage(2, 1, Image::eIDT_ARGB8);
    EXPECT_EQ(source.MakeOpaque(&target), 0);
    EXPECT_EQ(BytesOf(target), opaque);
    EXPECT_EQ(source.MakeOpaque(&source), 0);
    EXPECT_EQ(BytesOf(source), opaque);
}

TEST(CCTImageConvert, OpaqueRefusesWhatItCannotDo)
{
    const Image source = RandomImage(2, 2, Image::eIDT_ARGB8, 1);
    EXPECT_EQ(source.MakeOpaque(nullptr), 1);
    for (const int type : {0, 2, 3, 4, 9, 11}) {
        Image other = MarkedImage(2, 2, type);
        EXPECT_EQ(source.MakeOpaque(&other), 8);
        EXPECT_TRUE(IsUntouched(other));
        Image target = MarkedImage(2, 2, Image::eIDT_ARGB8);
        EXPECT_EQ(other.MakeOpaque(&target), 12);
        EXPECT_TRUE(IsUntouched(target));
    }
    Image larger = MarkedImage(3, 2, Image::eIDT_ARGB8);
    EXPECT_EQ(source.MakeOpaque(&larger), 9);
    EXPECT_TRUE(IsUntouched(larger));
    Image smaller = MarkedImage(2, 1, Image::eIDT_ARGB8);
    EXPECT_EQ(source.MakeOpaque(&smaller), 9);
    Image hollow = Hollow(2, 2, Image::eIDT_ARGB8);
    EXPECT_EQ(source.MakeOpaque(&hollow), 15);
    EXPECT_EQ(hollow.MakeOpaque(&smaller), 15);
}

// ---- CorrectGammaInHSV

TEST(CCTImageConvert, GammasOfOneKeepEveryPixel)
{
    for (const int type : {Image::eIDT_ARGB8, Image::eIDT_BGRU8}) {
        Image image = RandomImage(64, 64, type, 6);
        const std::vector<std::uint8_t> before = BytesOf(image);
        EXPECT_EQ(image.CorrectGammaInHSV(&image, 1.0F, 1.0F), 0);
        EXPECT_EQ(BytesOf(image), before);
    }
}

TEST(CCTImageConvert, GammasRaiseSaturationAndValue)
{
    // Blue 51, green 153, red 204 of 255 is value 0.8 and saturation 0.75, green (153 - 51) / 153 = 2/3 of the way.
    // Squared: value 0.64, saturation 0.5625, so red 163.2, blue 163.2 * (1 - 0.5625) = 71.4 and
    // green 163.2 * (1 - 0.5625 / 3) = 132.6.
    const Image bytes = ImageOf<std::uint8_t>(1, 1, Image::eIDT_ARGB8, {51, 153, 204, 9});
    Image target = MarkedImage(1, 1, Image::eIDT_ARGB8);
    EXPECT_EQ(bytes.CorrectGammaInHSV(&target, 2.0F, 2.0F), 0);
    EXPECT_EQ(BytesOf(target), (std::vector<std::uint8_t>{71, 133, 163, 9}));
    // Of the value alone: red 163.2, and the ratios stay, blue 40.8, green 122.4.
    EXPECT_EQ(bytes.CorrectGammaInHSV(&target, 1.0F, 2.0F), 0);
    EXPECT_EQ(BytesOf(target), (std::vector<std::uint8_t>{41, 122, 163, 9}));
    const Image floats = ImageOf<float>(1, 1, Image::eIDT_FLOAT32_3, {51.0F, 153.0F, 204.0F});
    Image triple = MarkedImage(1, 1, Image::eIDT_FLOAT32_3);
    EXPECT_EQ(floats.CorrectGammaInHSV(&triple, 2.0F, 2.0F), 0);
    constexpr float c_fTolerance = 1e-3F; // float arithmetic on values up to 255
    EXPECT_NEAR(ColorOf(triple, 0, 0)[0], 71.4F, c_fTolerance);
    EXPECT_NEAR(ColorOf(triple, 0, 0)[1], 132.6F, c_fTolerance);
    EXPECT_NEAR(ColorOf(triple, 0, 0)[2], 163.2F, c_fTolerance);
}

TEST(CCTImageConvert, GammaKeepsGreyGreyAndBlackBlack)
{
    Image image = ImageOf<std::uint8_t>(3, 1, Image::eIDT_BGRU8, {0, 0, 0, 255, 255, 255, 51, 51, 51});
    EXPECT_EQ(image.CorrectGammaInHSV(&image, 0.3F, 0.5F), 0);
    // 255 * sqrt(51 / 255) = 114.04
    EXPECT_EQ(BytesOf(image), (std::vector<std::uint8_t>{0, 0, 0, 255, 255, 255, 114, 114, 114}));
}

TEST(CCTImageConvert, GammaTakesAnyFloat)
{
    Image image =
        ImageOf<float>(2, 1, Image::eIDT_FLOAT32_3, {-5.0F, c_fNan, 255.0F, c_fInfinity, -c_fInfinity, 3.0F});
    EXPECT_EQ(image.CorrectGammaInHSV(&image, 2.0F, 2.0F), 0);
    EXPECT_EQ(ColorOf(image, 0, 0), (std::array{0.0F, 0.0F, 255.0F}));
    EXPECT_EQ(ColorOf(image, 1, 0), (std::array{c_fInfinity, c_fInfinity, c_fInfinity}));
}

TEST(CCTImageConvert, GammaRefusesWhatItCannotDo)
{
    const Image source = RandomImage(2, 2, Image::eIDT_BGRU8, 1);
    EXPECT_EQ(source.CorrectGammaInHSV(nullptr, 1.0F, 1.0F), 1);
    Image target = MarkedImage(2, 2, Image::eIDT_BGRU8);
    for (const float gamma : {0.0F, -1.0F, c_fNan, c_fInfinity}) {
        EXPECT_EQ(source.CorrectGammaInHSV(&target, gamma, 1.0F), 2);
        EXPECT_EQ(source.CorrectGammaInHSV(&target, 1.0F, gamma), 2);
    }
    Image argb = MarkedImage(2, 2, Image::eIDT_ARGB8);
    EXPECT_EQ(source.CorrectGammaInHSV(&argb, 1.0F, 1.0F), 12);
    Image gray = MarkedImage(2, 2, Image::eIDT_GRAY8);
    EXPECT_EQ(gray.CorrectGammaInHSV(&gray, 2.0F, 2.0F), 8);
    Image larger = MarkedImage(2, 3, Image::eIDT_BGRU8);
    EXPECT_EQ(source.CorrectGammaInHSV(&larger, 1.0F, 1.0F), 9);
    EXPECT_EQ(Hollow(2, 2, Image::eIDT_BGRU8).CorrectGammaInHSV(&target, 1.0F, 1.0F), 15);
    EXPECT_TRUE(IsUntouched(target) && IsUntouched(argb) && IsUntouched(gray) && IsUntouched(larger));
}

// ---- Bin4To1

/// Mean and sum of two by two elements, written from the definition.
template <typename T>
void ExpectBinned(int type, int width, int height, unsigned seed)
{
    const Image source = RandomColors(width, height, type, seed);
    const std::vector<T> values = ValuesOf<T>(source);
    const int channels = source.GetNumChannels();
    const auto at = [&](int x, int y, int c) {
        return static_cast<double>(values[static_cast<std::size_t>((y * width + x) * channels + c)]);
    };
    for (const bool sum : {false, true}) {
        Image target = MarkedImage(width / 2, height / 2, type);
        ASSERT_EQ(source.Bin4To1(&target, sum), 0);
        const std::vector<T> binned = ValuesOf<T>(target);
        std::size_t i = 0;
        for (int y = 0; y < height / 2; ++y) {
            for (int x = 0; x < width / 2; ++x) {
                for (int c = 0; c < channels; ++c, ++i) {
                    const double total = at(2 * x, 2 * y, c) + at(2 * x + 1, 2 * y, c) +
                                         at(2 * x, 2 * y + 1, c) + at(2 * x + 1, 2 * y + 1, c);
                    if constexpr (std::is_floating_point_v<T>) {
                        const double expected = sum ? total : total / 4.0;
                        ASSERT_NEAR(binned[i], expected, 1e-4); // float sums up to 1300
                    } else {
                        using Limits = std::numeric_limits<T>;
                        const double clamped = std::clamp(total, static_cast<double>(Limits::min()),
                                                          static_cast<double>(Limits::max()));
                        ASSERT_EQ(static_cast<double>(binned[i]),
                                  sum ? clamped : std::floor(total / 4.0 + 0.5))
                            << "type " << type;
                    }
                }
            }
        }
        EXPECT_EQ(i, binned.size());
    }
}

TEST(CCTImageConvert, FourPixelsBecomeTheirMeanOrSum)
{
    for (const auto& [width, height] : {std::pair{2, 2}, {3, 3}, {10, 7}, {33, 8}}) {
        for (const int type : {1, 2, 7, 12}) {
            ExpectBinned<std::uint8_t>(type, width, height, 1);
        }
        ExpectBinned<std::uint32_t>(3, width, height, 2);
        ExpectBinned<std::int32_t>(4, width, height, 3);
        ExpectBinned<std::uint16_t>(5, width, height, 4);
        ExpectBinned<std::int16_t>(6, width, height, 5);
        ExpectBinned<std::int8_t>(8, width, height, 6);
        ExpectBinned<float>(9, width, height, 7);
        ExpectBinned<float>(11, width, height, 8);
    }
}

TEST(CCTImageConvert, BinningOfDoublesIsExact)
{
    const Image source = ImageOf<double>(2, 2, Image::eIDT_FLOAT64, {1.0, 2.5, -0.5, 4.0});
    Image target = MarkedImage(1, 1, Image::eIDT_FLOAT64);
    EXPECT_EQ(source.Bin4To1(&target, false), 0);
    EXPECT_EQ(ValuesOf<double>(target)[0], 1.75);
    EXPECT_EQ(source.Bin4To1(&target, true), 0);
    EXPECT_EQ(ValuesOf<double>(target)[0], 7.0);
}

TEST(CCTImageConvert, BinningIntoAnotherSizeOrPixelSizeGives8)
{
    const Image source = RandomImage(6, 4, Image::eIDT_ARGB8, 1);
    for (const auto& [width, height] : {std::pair{6, 4}, {3, 4}, {6, 2}, {2, 2}, {4, 2}, {0, 0}}) {
        Image target = MarkedImage(width, height, Image::eIDT_ARGB8);
        EXPECT_EQ(source.Bin4To1(&target, false), 8);
        EXPECT_TRUE(IsUntouched(target));
    }
    Image bgr = MarkedImage(3, 2, Image::eIDT_BGRU8);
    EXPECT_EQ(source.Bin4To1(&bgr, false), 8);
    EXPECT_TRUE(IsUntouched(bgr));
    EXPECT_EQ(source.Bin4To1(nullptr, false), 1);
    Image undefined = MarkedImage(6, 4, 0);
    Image half = MarkedImage(3, 2, 0);
    EXPECT_EQ(undefined.Bin4To1(&half, false), 8);
    Image hollow = Hollow(3, 2, Image::eIDT_ARGB8);
    EXPECT_EQ(source.Bin4To1(&hollow, false), 15);
    EXPECT_EQ(Hollow(6, 4, Image::eIDT_ARGB8).Bin4To1(&half, false), 15);
}

TEST(CCTImageConvert, BinningPassesTheDataTypeOn)
{
    const Image source = ImageOf<float>(2, 2, Image::eIDT_FLOAT32, {1.0F, 2.0F, 3.0F, 4.0F});
    Image target = MarkedImage(1, 1, Image::eIDT_INT32);
    EXPECT_EQ(source.Bin4To1(&target, false), 0);
    EXPECT_EQ(target.GetDataType(), Image::eIDT_FLOAT32);
    EXPECT_EQ(target.GetFloatPixelFast(0, 0), 2.5F);
}

TEST(CCTImageConvert, BinningOfASinglePixelIsEmpty)
{
    const Image source = RandomImage(1, 1, Image::eIDT_UINT8, 1);
    Image target(0, 0, Image::eIDT_UINT8, true, nullptr);
    EXPECT_EQ(source.Bin4To1(&target, true), 0);
}

} // namespace
} // namespace LxCV
