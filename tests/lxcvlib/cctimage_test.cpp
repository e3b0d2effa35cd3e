#include "cctimage.h"

#include "orx/logging/logger.h"
#include "tests/lxcvlib/imagetestsupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace LxCV {
namespace {

using namespace TestSupport;

/// Tells foreign modules another size than it has.
class CLyingImage : public Image
{
public:
    CLyingImage(int width, int height, int toldWidth, int toldHeight)
        : Image(width, height, eIDT_UINT8, true, nullptr), m_iToldWidth(toldWidth), m_iToldHeight(toldHeight)
    {}
    int GetWidth() const override { return m_iToldWidth; }
    int GetHeight() const override { return m_iToldHeight; }

private:
    int m_iToldWidth;
    int m_iToldHeight;
};

TEST(CCTImage, DefaultConstructionGivesTheEmptyImage)
{
    const COpenImage image;
    ExpectEmpty(image);
    EXPECT_EQ(image.GetBuffer(), nullptr);
    EXPECT_FALSE(image.OwnsBuffer());
    EXPECT_EQ(image.GetDataType(), 0);
    EXPECT_EQ(image.GetType(), 0);
    EXPECT_EQ(image.GetId(), 0);
    EXPECT_EQ(image.GetTimestamp(), 0U);
    EXPECT_EQ(image.GetPathname() + image.GetSourcePathname() + image.GetDescription(), "");
}

TEST(CCTImage, TheFillConstructorsFillEveryPixel)
{
    const Image one(3, 2, Image::eIDT_FLOAT32_3, 1.5F);
    const Image three(3, 2, Image::eIDT_FLOAT32_3, 1.0F, -2.0F, 3.0F);
    for (int y = 0; y < 2; ++y) {
        for (int x = 0; x < 3; ++x) {
            for (int c = 0; c < 3; ++c) {
                EXPECT_EQ(one.GetFloat3Fast(x, y).get(c), 1.5F);
            }
            EXPECT_EQ(three.GetFloat3Fast(x, y).get(0), 1.0F);
            EXPECT_EQ(three.GetFloat3Fast(x, y).get(1), -2.0F);
            EXPECT_EQ(three.GetFloat3Fast(x, y).get(2), 3.0F);
        }
    }
}

TEST(CCTImage, TheFillConstructorGivesOtherTypesTheFirstBytesOfTheTriple)
{
    // Writing twelve bytes at each pixel in turn leaves of each triple what the next pixel does not cover; what
    // would lie beyond the buffer is dropped.
    const std::array<float, 3> triple{1.25F, -8.5F, 77.0F};
    std::array<std::uint8_t, 12> bytes{};
    std::memcpy(bytes.data(), triple.data(), 12);
    for (const SType& type : c_aTypes) {
        const Image image(4, 3, TypeOf(type.number), 1.25F, -8.5F, 77.0F);
        const std::vector<std::uint8_t> pixels = BytesOf(image);
        ASSERT_EQ(pixels.size(), 12U * static_cast<unsigned>(type.bytes));
        for (std::size_t i = 0; i < pixels.size(); ++i) {
            ASSERT_EQ(pixels[i], bytes[i % static_cast<unsigned>(type.bytes)]) << "type " << type.number;
        }
    }
    EXPECT_FALSE(Image(4, 3, Image::eIDT_Undefined, 1.0F).IsValid());
}

TEST(CCTImage, SizesBelowOneBecomeZeroAndZeroBytesAreAllocated)
{
    for (const auto& [width, height] : {std::pair{0, 5}, {-3, 5}, {5, 0}, {5, INT_MIN}, {INT_MIN, INT_MIN}}) {
        const COpenImage image(width, height, Image::eIDT_UINT8, true, nullptr);
        EXPECT_EQ(image.GetWidth(), std::max(width, 0));
        EXPECT_EQ(image.GetHeight(), std::max(height, 0));
        EXPECT_EQ(image.GetBytesPerPixel(), 1);
        EXPECT_FALSE(image.IsValid());
        EXPECT_NE(image.GetBuffer(), nullptr);
        EXPECT_TRUE(image.OwnsBuffer());
        EXPECT_FALSE(Image(width, height, Image::eIDT_FLOAT32_3, 2.0F).IsValid());
    }
}

TEST(CCTImage, SizesThatNoIntTellsAreAllocationFailures)
{
    const Logging::CCapture capture;
    EXPECT_EQ(TextOf([] { Image(65536, 65536, Image::eIDT_UINT8, true, nullptr); }),
              "image allocation failed");
    EXPECT_EQ(TextOf([] { Image(INT_MAX, INT_MAX, Image::eIDT_FLOAT32_3, 1.0F); }),
              "image allocation failed");
    EXPECT_EQ(TextOf([] { Image(INT_MAX, 1, Image::eIDT_UINT16, 1.0F, 2.0F, 3.0F); }),
              "image allocation failed");
    EXPECT_EQ(TextOf([] { Image(INT_MAX, 0, Image::eIDT_UINT16, true, nullptr); }),
              "image allocation failed");
    EXPECT_EQ(TextOf([] { Image(65536, 65536, Image::eIDT_Undefined, true, nullptr); }),
              "image allocation failed");
    EXPECT_EQ(capture.Count(Logging::ELevel::eError, c_sChannel, L"Warning CCTImage::Allocate failed."), 5);
    char byte = 0;
    EXPECT_EQ(TextOf([&] { Image(65536, 65536, Image::eIDT_UINT8, false, &byte); }),
              "image allocation failed");
}

TEST(CCTImage, AllocationsStartAtWideVectorBoundaries)
{
    for (int width = 1; width < 50; ++width) {
        const Image image(width, 3, Image::eIDT_BGRU8, true, nullptr);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(image.GetBuffer()) % 64, 0U);
    }
}

TEST(CCTImage, AllocatingIgnoresTheData)
{
    std::array<std::uint8_t, 4> data{1, 2, 3, 4};
    const COpenImage image(2, 2, Image::eIDT_UINT8, true, data.data());
    EXPECT_TRUE(image.OwnsBuffer());
    EXPECT_NE(image.GetBuffer(), data.data());
}

TEST(CCTImage, WrappingKeepsTheCallersBuffer)
{
    std::array<std::uint8_t, 6> data{1, 2, 3, 4, 5, 6};
    {
        COpenImage image(3, 2, Image::eIDT_UINT8, false, data.data());
        EXPECT_FALSE(image.OwnsBuffer());
        EXPECT_EQ(image.GetBuffer(), data.data());
        EXPECT_TRUE(image.IsValid());
        image.SetBytePixelFast(2, 1, 9);
    }
    EXPECT_EQ(data, (std::array<std::uint8_t, 6>{1, 2, 3, 4, 5, 9}));
}

TEST(CCTImage, WrappingNullIsAnImageWithoutPixels)
{
    Image image(3, 2, Image::eIDT_FLOAT32_3, false, nullptr);
    EXPECT_EQ(image.GetWidth(), 3);
    EXPECT_FALSE(image.IsValid());
    std::array<float, 3> pixel{1.0F, 2.0F, 3.0F};
    EXPECT_EQ(image.GetPixel(0, 0, pixel.data()), 11);
    EXPECT_EQ(pixel, (std::array<float, 3>{0.0F, 0.0F, 0.0F}));
    EXPECT_EQ(image.SetPixel(0, 0, pixel.data()), 11);
    EXPECT_EQ(image.SetPixel(0, 0, 1UL), 11);
    EXPECT_EQ(image.CopyDataFrom(pixel.data(), 3, 2, 12), 15);
    std::string text;
    EXPECT_EQ(image.PrintPixel(0, 0, text), 2);
    image.Clear();
    const Image filled(3, 2, Image::eIDT_FLOAT32_3, 1.0F);
    EXPECT_EQ(image.CopyFrom(&filled, false), 15);
    Image larger(5, 4, Image::eIDT_FLOAT32_3, 1.0F);
    EXPECT_EQ(larger.CopyFrom(&image, true), 15);
    EXPECT_EQ(BytesOf(filled / image), std::vector<std::uint8_t>(72, 0));
    EXPECT_EQ(BytesOf(Image(image)), std::vector<std::uint8_t>(72, 0));
}

TEST(CCTImage, CopyConstructionOwnsAllButTheId)
{
    for (const SType& type : c_aTypes) {
        COpenImage source(5, 4, TypeOf(type.number), true, nullptr);
        FillBytes(source, 1);
        SetAttributes(source);
        const COpenImage copy(source);
        EXPECT_TRUE(copy.OwnsBuffer());
        EXPECT_NE(copy.GetBuffer(), source.GetBuffer());
        EXPECT_TRUE(copy.DoTypeAndDimMatchWith(source));
        EXPECT_EQ(BytesOf(copy), BytesOf(source));
        ExpectAttributes(copy, 0);
    }
}

TEST(CCTImage, CopyConstructionOfAWrappedImageOwnsItsPixels)
{
    std::array<std::uint8_t, 4> data{1, 2, 3, 4};
    const COpenImage wrapped(2, 2, Image::eIDT_GRAY8, false, data.data());
    const COpenImage copy(wrapped);
    EXPECT_TRUE(copy.OwnsBuffer());
    data.fill(0);
    EXPECT_EQ(BytesOf(copy), (std::vector<std::uint8_t>{1, 2, 3, 4}));
}

TEST(CCTImage, CopyConstructionOfTheEmptyImageIsEmpty)
{
    const Image empty;
    const Image copy(empty);
    ExpectEmpty(copy);
    EXPECT_EQ(copy.GetDataType(), 0);
}

TEST(CCTImage, CopyConstructionOfAFailedImageIsRefused)
{
    const Logging::CCapture capture;
    Image failed(2, 2, Image::eIDT_UINT8, true, nullptr);
    ASSERT_EQ(failed.Resize(INT_MAX, INT_MAX), 10);
    EXPECT_EQ(TextOf([&] { const Image image(failed); }), "new image type has different pixel size");
}

TEST(CCTImage, CopyConstructionAsksTheVirtualSize)
{
    const CLyingImage larger(2, 2, 4, 6);
    const Image copy(static_cast<const Image&>(larger));
    EXPECT_EQ(copy.GetWidth(), 4);
    EXPECT_EQ(copy.GetHeight(), 6);
    const Logging::CCapture capture;
    const CLyingImage negative(2, 2, -4, 6);
    EXPECT_EQ(TextOf([&] { const Image image(static_cast<const Image&>(negative)); }), "allocate failed");
    const CLyingImage huge(2, 2, INT_MAX, 2);
    EXPECT_EQ(TextOf([&] { const Image image(static_cast<const Image&>(huge)); }), "allocate failed");
}

TEST(CreateImage, MakesAnImageLikeTheConstructor)
{
    std::array<std::uint8_t, 4> data{1, 2, 3, 4};
    Image* image = nullptr;
    ASSERT_EQ(CreateImage(&image, 2, 2, Image::eIDT_UINT8, false, data.data()), 0);
    const std::unique_ptr<Image> owner(image);
    EXPECT_EQ(image->GetBuffer(), data.data());
    EXPECT_EQ(image->GetDataType(), Image::eIDT_UINT8);
    Image* zero = nullptr;
    ASSERT_EQ(CreateImage(&zero, 0, 0, Image::eIDT_UINT8, true, nullptr), 0);
    const std::unique_ptr<Image> zeroOwner(zero);
    EXPECT_FALSE(zero->IsValid());
}

TEST(CreateImage, RefusesNegativeSizesAndANullPointer)
{
    Image sentinel;
    Image* image = &sentinel;
    EXPECT_EQ(CreateImage(&image, -1, 2, Image::eIDT_UINT8, true, nullptr), 2);
    EXPECT_EQ(CreateImage(&image, 2, -1, Image::eIDT_UINT8, true, nullptr), 2);
    EXPECT_EQ(image, &sentinel);
    EXPECT_EQ(CreateImage(nullptr, 2, 2, Image::eIDT_UINT8, true, nullptr), 1);
}

TEST(CreateImage, LogsAFailureAndLeavesTheOutput)
{
    const Logging::CCapture capture;
    Image sentinel;
    Image* image = &sentinel;
    EXPECT_EQ(CreateImage(&image, 100000, 100000, Image::eIDT_UINT8, true, nullptr), 10);
    EXPECT_EQ(image, &sentinel);
    EXPECT_EQ(capture.Count(Logging::ELevel::eError, c_sChannel,
                            L"CreateImage: image allocation failed (100000 x 100000, type 7)\n"),
              1);
}

TEST(CCTImage, CreateCopyCopiesPixelsOrTheSizeOnly)
{
    Image source = RandomImage(4, 3, 5, 2);
    SetAttributes(source);
    Image* copy = nullptr;
    ASSERT_EQ(source.CreateCopy(&copy, false), 0);
    const std::unique_ptr<Image> owner(copy);
    EXPECT_TRUE(copy->DoTypeAndDimMatchWith(source));
    EXPECT_EQ(BytesOf(*copy), BytesOf(source));
    ExpectAttributes(*copy, 0);

    Image* sized = nullptr;
    ASSERT_EQ(source.CreateCopy(&sized, true), 0);
    const std::unique_ptr<Image> sizedOwner(sized);
    EXPECT_TRUE(sized->DoTypeAndDimMatchWith(source));
    EXPECT_EQ(sized->GetDescription(), "");
    EXPECT_TRUE(sized->IsValid());
}

TEST(CCTImage, CreateCopyTellsWhyThereIsNone)
{
    const Image image(2, 2, Image::eIDT_UINT8, true, nullptr);
    EXPECT_EQ(image.CreateCopy(nullptr, false), 1);
    const Image withoutMemory(2, 2, Image::eIDT_UINT8, false, nullptr);
    Image sentinel;
    Image* copy = &sentinel;
    EXPECT_EQ(withoutMemory.CreateCopy(&copy, false), 15);
    EXPECT_EQ(copy, nullptr);
}

TEST(CCTImage, CreateCopyOfAFailedImageIsReportedAndNotThrown)
{
    const Logging::CCapture capture;
    Image failed(2, 2, Image::eIDT_UINT8, true, nullptr);
    ASSERT_EQ(failed.Resize(INT_MAX, INT_MAX), 10);
    Image sentinel;
    Image* copy = &sentinel;
    EXPECT_EQ(failed.CreateCopy(&copy, false), 10);
    EXPECT_EQ(copy, nullptr);
    EXPECT_EQ(capture.Count(Logging::ELevel::eError, c_sChannel,
                            L"CCTImage::CreateCopy: CCTImage::CopyFrom - Size mismatch: (0x0x1) vs. (0x0x0); "
                            L"ImageType: 0 vs. 0\n"),
              1);
}

TEST(CCTImage, TypesTellPixelSizeAndChannels)
{
    for (const SType& type : c_aTypes) {
        const Image image(2, 3, TypeOf(type.number), true, nullptr);
        EXPECT_EQ(Image::GetBytesPerPixel(TypeOf(type.number)), type.bytes);
        EXPECT_EQ(image.GetBytesPerPixel(), type.bytes);
        EXPECT_EQ(image.BytePerPixel(), type.bytes);
        EXPECT_EQ(image.BytesPerLine(), 2 * type.bytes);
        EXPECT_EQ(image.GetSizeInPixels(), 6);
        EXPECT_EQ(image.GetSizeInBytes(), 6 * type.bytes);
        EXPECT_EQ(image.GetNumChannels(), type.channels);
        EXPECT_EQ(image.GetDataType(), type.number);
    }
}

TEST(CCTImage, UnknownTypesHaveNoBytesAndNoChannels)
{
    for (const int number : {0, 13, -1, INT_MAX, INT_MIN}) {
        EXPECT_EQ(Image::GetBytesPerPixel(TypeOf(number)), 0);
        const Image image(2, 3, TypeOf(number), true, nullptr);
        EXPECT_EQ(image.GetNumChannels(), 0);
        EXPECT_FALSE(image.IsValid());
    }
}

TEST(CCTImage, ColourTypesAreColourAndTheOthersGreyOrBlackAndWhite)
{
    for (const SType& type : c_aTypes) {
        const Image image(1, 1, TypeOf(type.number), true, nullptr);
        EXPECT_EQ(image.IsColor(), type.color);
        EXPECT_EQ(image.IsGrayScale(), !type.color);
        EXPECT_EQ(image.IsBW(), !type.color);
    }
}

TEST(CCTImage, AnUndefinedTypeIsBlackAndWhiteButHasNoColourAnswer)
{
    const Image image;
    EXPECT_EQ(TextOf([&] { image.IsColor(); }), "logic error");
    EXPECT_EQ(TextOf([&] { image.IsGrayScale(); }), "logic error");
    EXPECT_TRUE(image.IsBW());
    for (const int number : {13, -1}) {
        const Image other(1, 1, TypeOf(number), true, nullptr);
        EXPECT_EQ(TextOf([&] { other.IsColor(); }), "logic error");
        EXPECT_EQ(TextOf([&] { other.IsGrayScale(); }), "logic error");
        EXPECT_EQ(other.IsBW(), number > 0);
    }
}

TEST(CCTImage, DepthmapsAreInt32OfImageType1Or2)
{
    for (int dataType = 0; dataType <= 12; ++dataType) {
        for (int imageType = 0; imageType <= 3; ++imageType) {
            Image image(1, 1, TypeOf(dataType), true, nullptr);
            image.SetType(static_cast<Image::EImageType>(imageType));
            EXPECT_EQ(image.IsDepthmap(), dataType == 4 && (imageType == 1 || imageType == 2));
        }
    }
}

TEST(CCTImage, MatchesCompareWhatTheirNamesTell)
{
    const Image image(2, 3, Image::eIDT_INT32, true, nullptr);
    const Image otherType(2, 3, Image::eIDT_FLOAT32, true, nullptr);
    const Image otherSize(2, 3, Image::eIDT_UINT8, true, nullptr);
    const Image wider(3, 3, Image::eIDT_INT32, true, nullptr);
    const Image higher(2, 4, Image::eIDT_INT32, true, nullptr);
    EXPECT_TRUE(image.DoDimMatchWith(otherSize));
    EXPECT_FALSE(image.DoDimMatchWith(wider));
    EXPECT_FALSE(image.DoDimMatchWith(higher));
    EXPECT_TRUE(image.DoBPPAndDimMatchWith(otherType));
    EXPECT_FALSE(image.DoBPPAndDimMatchWith(otherSize));
    EXPECT_FALSE(image.DoBPPAndDimMatchWith(wider));
    EXPECT_TRUE(image.DoTypeAndDimMatchWith(image));
    EXPECT_FALSE(image.DoTypeAndDimMatchWith(otherType));
    EXPECT_FALSE(image.DoTypeAndDimMatchWith(higher));
}

TEST(CCTImage, CoordinatesAreValidInsideTheMargin)
{
    const Image image(3, 3, Image::eIDT_UINT8, true, nullptr);
    EXPECT_FALSE(image.CoordsAreValid(0, 0, 1));
    EXPECT_TRUE(image.CoordsAreValid(1, 1, 1));
    EXPECT_FALSE(image.CoordsAreValid(2, 2, 1));
    EXPECT_FALSE(image.CoordsAreValid(1, 2, 1));
    EXPECT_TRUE(image.CoordsAreValid(-1, 3, -1));
    EXPECT_TRUE(image.CoordsAreValid(1.999F, 1.0F, 1));
    EXPECT_FALSE(image.CoordsAreValid(2.0F, 1.0F, 1));
    EXPECT_TRUE(image.CoordsAreValid(1.0, 1.999999999, 1));
    EXPECT_FALSE(image.CoordsAreValid(0.999999999, 1.0, 1));
}

TEST(CCTImage, ExtremeCoordinatesAreNotValid)
{
    const Image image(3, 3, Image::eIDT_UINT8, true, nullptr);
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const float infinity = std::numeric_limits<float>::infinity();
    EXPECT_FALSE(image.CoordsAreValid(nan, 1.0, 0));
    EXPECT_FALSE(image.CoordsAreValid(1.0, nan, 0));
    EXPECT_FALSE(image.CoordsAreValid(infinity, 1.0F, 0));
    EXPECT_FALSE(image.CoordsAreValid(1.0F, -infinity, 0));
    EXPECT_FALSE(image.CoordsAreValid(INT_MAX, INT_MIN, 0));
    EXPECT_FALSE(image.CoordsAreValid(1, 1, INT_MAX));
    EXPECT_TRUE(image.CoordsAreValid(INT_MAX, INT_MIN, INT_MIN));
}

TEST(CCTImage, AttributesAreStored)
{
    Image image;
    SetAttributes(image);
    ExpectAttributes(image, 17);
}

TEST(CCTImage, ForeignModulesReadThroughTheInterface)
{
    Image image = RandomImage(4, 3, 11, 3);
    Base::IImageData2DSimple& foreign = image;
    const Base::IImageData2DSimple& reader = image;
    EXPECT_EQ(foreign.GetImageDataRaw(), image.GetBuffer());
    EXPECT_EQ(reader.GetImageDataRaw(), image.GetBuffer());
    EXPECT_EQ(reader.BytePerPixel(), 12);
    EXPECT_EQ(reader.BytesPerLine(), 48);
    EXPECT_EQ(reader.GetWidth(), 4);
    EXPECT_EQ(reader.GetHeight(), 3);
}

TEST(CCTImage, SetDataTypeReinterpretsPixelsOfOneSize)
{
    Image image(1, 1, Image::eIDT_INT32, true, nullptr);
    image.SetInt32PixelFast(0, 0, 0x3F800000);
    image.SetDataType(Image::eIDT_FLOAT32);
    EXPECT_EQ(image.GetDataType(), Image::eIDT_FLOAT32);
    EXPECT_EQ(image.GetFloatPixelFast(0, 0), 1.0F);
    image.SetDataType(Image::eIDT_ARGB8);
    EXPECT_EQ(image.GetNumChannels(), 4);
}

TEST(CCTImage, SetDataTypeRefusesAnotherPixelSize)
{
    Image image(1, 1, Image::eIDT_INT32, true, nullptr);
    EXPECT_EQ(TextOf([&] { image.SetDataType(Image::eIDT_UINT8); }),
              "new image type has different pixel size");
    EXPECT_EQ(TextOf([&] { image.SetDataType(Image::eIDT_Undefined); }),
              "new image type has different pixel size");
    EXPECT_EQ(image.GetDataType(), Image::eIDT_INT32);
}

TEST(CCTImage, SetDataTypeToTheSameTypeHasNoTest)
{
    const Logging::CCapture capture;
    Image failed(2, 2, Image::eIDT_UINT8, true, nullptr);
    ASSERT_EQ(failed.Resize(INT_MAX, INT_MAX), 10);
    EXPECT_EQ(TextOf([&] { failed.SetDataType(Image::eIDT_UINT8); }), "no exception");
}

TEST(CCTImage, CheckedPixelsRoundTripInAllTypes)
{
    for (const SType& type : c_aTypes) {
        Image image(3, 2, TypeOf(type.number), true, nullptr);
        image.Clear();
        std::array<std::uint8_t, 12> in{11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22};
        EXPECT_EQ(image.SetPixel(1, 1, in.data()), 0);
        std::array<std::uint8_t, 13> out{};
        out.fill(0xAA);
        EXPECT_EQ(image.GetPixel(1, 1, out.data()), 0);
        const auto size = static_cast<std::size_t>(type.bytes);
        EXPECT_TRUE(std::equal(in.begin(), in.begin() + type.bytes, out.begin()));
        EXPECT_EQ(out[size], 0xAA);
        // Pixel (1, 1) of a width of 3 is pixel 4; all other bytes stay 0.
        const std::vector<std::uint8_t> bytes = BytesOf(image);
        for (std::size_t i = 0; i < bytes.size(); ++i) {
            ASSERT_EQ(bytes[i], i / size == 4 ? in[i % size] : 0);
        }
    }
}

TEST(CCTImage, GetPixelOutsideClearsTheOutput)
{
    const Image image(3, 2, Image::eIDT_UINT16, 1.0F);
    for (const auto& [x, y] : {std::pair{-1, 0}, {0, -1}, {3, 0}, {0, 2}, {INT_MAX, INT_MAX}, {INT_MIN, 0}}) {
        std::array<std::uint8_t, 3> out{7, 7, 7};
        EXPECT_EQ(image.GetPixel(x, y, out.data()), 11);
        EXPECT_EQ(out, (std::array<std::uint8_t, 3>{0, 0, 7}));
    }
}

TEST(CCTImage, SetPixelOutsideChangesNothing)
{
    Image image = RandomImage(3, 2, 4, 5);
    const std::vector<std::uint8_t> before = BytesOf(image);
    const int value = 42;
    for (const auto& [x, y] : {std::pair{-1, 0}, {0, -1}, {3, 0}, {0, 2}, {INT_MAX, INT_MAX}, {INT_MIN, 0}}) {
        EXPECT_EQ(image.SetPixel(x, y, &value), 11);
        EXPECT_EQ(image.SetPixel(x, y, 42UL), 11);
    }
    EXPECT_EQ(BytesOf(image), before);
}

TEST(CCTImage, NullPixelPointersAreTold)
{
    Image image(1, 1, Image::eIDT_UINT8, true, nullptr);
    EXPECT_EQ(image.GetPixel(0, 0, nullptr), 15);
    EXPECT_EQ(image.GetPixel(9, 9, nullptr), 15);
    EXPECT_EQ(image.SetPixel(0, 0, static_cast<void*>(nullptr)), 15);
    EXPECT_EQ(image.SetPixel(9, 9, static_cast<void*>(nullptr)), 15);
}

TEST(CCTImage, SetPixelTakesTheLowBytesOfANumberAndZerosBeyondIt)
{
    const std::array<std::uint8_t, 12> expected{8, 7, 6, 5, 4, 3, 2, 1, 0, 0, 0, 0};
    for (const SType& type : c_aTypes) {
        Image image = RandomImage(2, 1, type.number, 6);
        EXPECT_EQ(image.SetPixel(1, 0, 0x0102030405060708UL), 0);
        const std::vector<std::uint8_t> bytes = BytesOf(image);
        EXPECT_TRUE(std::equal(bytes.begin() + type.bytes, bytes.end(), expected.begin()))
            << "type " << type.number;
    }
}

TEST(CCTImage, SetPixelOfANumberFillsPixelsLargerThanAnyTypeWithZeros)
{
    COpenImage image;
    ASSERT_EQ(image.allocate(1, 1, 20), 0);
    FillBytes(image, 30);
    EXPECT_EQ(image.SetPixel(0, 0, 0x0102030405060708UL), 0);
    std::vector<std::uint8_t> expected{8, 7, 6, 5, 4, 3, 2, 1};
    expected.resize(20, 0);
    EXPECT_EQ(BytesOf(image), expected);
}

TEST(CCTImage, FastPixelsUseThePublishedOffsets)
{
    Image image = RandomImage(3, 2, 11, 7);
    LxCFloat3 pixel;
    EXPECT_EQ(image.GetPixelFast(2, 1, &pixel), 0);
    EXPECT_EQ(std::memcmp(&pixel, static_cast<const std::uint8_t*>(image.GetBuffer()) + (3 * 1 + 2) * 12, 12),
              0);
    const LxCFloat3 other(1.0F, 2.0F, 3.0F);
    image.SetPixelFast(1, 0, &other);
    EXPECT_EQ(image.GetFloat3Fast(1, 0).get(1), 2.0F);
    image.SetFloat3PixelFast(0, 1, other);
    EXPECT_EQ(image.GetFloat3Fast(0, 1).get(2), 3.0F);
    image.GetFloat3Fast(2, 0).set(0, 9.0F);
    EXPECT_EQ(std::as_const(image).GetFloat3Fast(2, 0).get(0), 9.0F);
}

TEST(CCTImage, FastReferencesReadAndWriteTheirElement)
{
    Image bytes(3, 2, Image::eIDT_INT8, true, nullptr);
    Image shorts(3, 2, Image::eIDT_INT16, true, nullptr);
    Image ints(3, 2, Image::eIDT_INT32, true, nullptr);
    Image floats(3, 2, Image::eIDT_FLOAT32, true, nullptr);
    for (Image* image : {&bytes, &shorts, &ints, &floats}) {
        image->Clear();
    }
    bytes.GetBytePixelFast(1, 1) = -5;
    shorts.GetInt16PixelFast(1, 1) = -500;
    ints.GetInt32PixelFast(1, 1) = -500000;
    floats.GetFloatPixelFast(1, 1) = -0.5F;
    bytes.SetBytePixelFast(2, 0, 6);
    shorts.SetInt16PixelFast(2, 0, 600);
    ints.SetInt32PixelFast(2, 0, 600000);
    floats.SetFloatPixelFast(2, 0, 0.6F);
    EXPECT_EQ(static_cast<const signed char*>(bytes.GetBuffer())[4], -5);
    EXPECT_EQ(static_cast<const short*>(shorts.GetBuffer())[4], -500);
    EXPECT_EQ(static_cast<const int*>(ints.GetBuffer())[4], -500000);
    EXPECT_EQ(static_cast<const float*>(floats.GetBuffer())[4], -0.5F);
    EXPECT_EQ(std::as_const(bytes).GetBytePixelFast(2, 0), 6);
    EXPECT_EQ(std::as_const(shorts).GetInt16PixelFast(2, 0), 600);
    EXPECT_EQ(std::as_const(ints).GetInt32PixelFast(2, 0), 600000);
    EXPECT_EQ(std::as_const(floats).GetFloatPixelFast(2, 0), 0.6F);
}

TEST(CCTImage, TypedWritesStandAtTheByteOffsetOfThePixel)
{
    // A two-byte write into 12-byte pixels: byte (2 * 1 + 1) * 12.
    Image image(2, 2, Image::eIDT_FLOAT32_3, true, nullptr);
    image.Clear();
    image.SetInt16PixelFast(1, 1, 0x1234);
    EXPECT_EQ(BytesOf(image)[36], 0x34);
    EXPECT_EQ(BytesOf(image)[37], 0x12);
    image.SetBytePixelFast(0, 1, 0x56);
    EXPECT_EQ(BytesOf(image)[24], 0x56);
}

TEST(CCTImage, FloatChannelsCountByTheTypesChannels)
{
    Image color(2, 2, Image::eIDT_FLOAT32_3, 0.0F);
    color.SetFloatPixelFast(1, 1, 2, 8.0F);
    EXPECT_EQ(color.GetFloat3Fast(1, 1).get(2), 8.0F);
    Image gray(2, 2, Image::eIDT_FLOAT32, 0.0F);
    gray.SetFloatPixelFast(1, 0, 0, 7.0F);
    EXPECT_EQ(gray.GetFloatPixelFast(1, 0), 7.0F);
}

template <typename T>
int PixelAsInt(int type, const T& pixel)
{
    const Image image(1, 1, TypeOf(type), true, nullptr);
    bool converted = false;
    const int value = image.ConvertPixToInt(&pixel, &converted);
    EXPECT_TRUE(converted);
    EXPECT_EQ(image.ConvertPixToInt(&pixel), value);
    return value;
}

TEST(CCTImage, ConvertPixToIntKnowsEveryType)
{
    EXPECT_EQ(PixelAsInt(1, std::uint32_t{0xFF030201}), 1 + 2 + 3);
    EXPECT_EQ(PixelAsInt(1, std::uint32_t{0x00FFFFFF}), 765);
    EXPECT_EQ(PixelAsInt(3, std::uint32_t{7}), 7);
    EXPECT_EQ(PixelAsInt(3, std::uint32_t{0xFFFFFFFF}), -1);
    EXPECT_EQ(PixelAsInt(4, std::int32_t{-7}), -7);
    EXPECT_EQ(PixelAsInt(5, std::uint16_t{0xFFFF}), 65535);
    EXPECT_EQ(PixelAsInt(6, std::int16_t{-1}), -1);
    EXPECT_EQ(PixelAsInt(7, std::uint8_t{255}), 255);
    EXPECT_EQ(PixelAsInt(12, std::uint8_t{254}), 254);
    EXPECT_EQ(PixelAsInt(8, std::int8_t{-1}), -1);
    EXPECT_EQ(PixelAsInt(9, -2.9F), -2);
    EXPECT_EQ(PixelAsInt(9, 2.9F), 2);
    EXPECT_EQ(PixelAsInt(10, -3.99), -3);
    EXPECT_EQ(PixelAsInt(11, std::array<float, 3>{1.5F, 2.5F, -1.25F}), 2);
}

TEST(CCTImage, ConvertPixToIntClampsWhatIsBeyondInt)
{
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float infinity = std::numeric_limits<float>::infinity();
    EXPECT_EQ(PixelAsInt(9, 3e9F), INT_MAX);
    EXPECT_EQ(PixelAsInt(9, -infinity), INT_MIN);
    EXPECT_EQ(PixelAsInt(9, nan), 0);
    EXPECT_EQ(PixelAsInt(10, 2147483647.9), INT_MAX);
    EXPECT_EQ(PixelAsInt(10, -2147483648.9), INT_MIN);
    EXPECT_EQ(PixelAsInt(10, 1e300), INT_MAX);
    EXPECT_EQ(PixelAsInt(11, std::array<float, 3>{3e38F, 3e38F, 1.0F}), INT_MAX);
    EXPECT_EQ(PixelAsInt(11, std::array<float, 3>{1.0F, nan, 1.0F}), 0);
}

TEST(CCTImage, ConvertPixToIntFallsBackOnThePixelSize)
{
    const std::uint32_t pixel = 0xFFFFFFFE;
    const std::array<std::pair<int, int>, 6> expected{
        {{1, 254}, {2, 65534}, {4, -2}, {0, 0}, {3, 0}, {8, 0}}};
    for (const auto& [bytes, value] : expected) {
        COpenImage image;
        ASSERT_EQ(image.allocate(1, 1, bytes), 0);
        bool converted = false;
        EXPECT_EQ(image.ConvertPixToInt(&pixel, &converted), value) << bytes;
        EXPECT_EQ(converted, bytes == 1 || bytes == 2 || bytes == 4);
    }
    const Image bgr(1, 1, Image::eIDT_BGRU8, true, nullptr);
    EXPECT_EQ(bgr.ConvertPixToInt(&pixel), 0);
}

TEST(CCTImage, ConvertPixToIntOfNullIsOne)
{
    bool converted = true;
    EXPECT_EQ(Image().ConvertPixToInt(nullptr, &converted), 1);
    EXPECT_FALSE(converted);
    EXPECT_EQ(Image().ConvertPixToInt(nullptr), 1);
}

template <typename T>
std::string Printed(int type, const T& pixel)
{
    Image image(2, 1, TypeOf(type), true, nullptr);
    image.Clear();
    image.SetPixel(1, 0, &pixel);
    std::string text = "old";
    EXPECT_EQ(image.PrintPixel(1, 0, text), 0);
    return text;
}

TEST(CCTImage, PrintPixelWritesColoursAsRedGreenBlue)
{
    EXPECT_EQ(Printed(1, std::uint32_t{0xFF0C2203}), " 12,  34,   3");
    EXPECT_EQ(Printed(11, std::array<float, 3>{1.0F, 22.5F, 255.125F}), "255.12, 22.50, 1.00");
}

TEST(CCTImage, PrintPixelWritesSingleValues)
{
    EXPECT_EQ(Printed(4, std::int32_t{-70000}), "-70000");
    EXPECT_EQ(Printed(7, std::uint8_t{65}), "65");
    EXPECT_EQ(Printed(12, std::uint8_t{200}), "200");
    EXPECT_EQ(Printed(9, 1.005F), "1.00");
    EXPECT_EQ(Printed(10, -1234567.891), "-1234567.89");
}

TEST(CCTImage, PrintPixelHasNoTextForTheOtherTypes)
{
    for (const int type : {2, 3, 5, 6, 8}) {
        EXPECT_EQ(Printed(type, std::uint32_t{1}), "unsupported image type") << type;
    }
}

TEST(CCTImage, PrintPixelReadsNoFurtherThanThePixelWhoseTypeBeliesItsSize)
{
    // One byte 0x42 and zeros are a denormal float; more bytes 0x42 would make it 48.56.
    for (const auto& [type, text] : {std::pair{9, "0.00"}, {10, "0.00"}, {11, "0.00, 0.00, 0.00"}}) {
        COpenImage image(4, 4, TypeOf(type), true, nullptr);
        ASSERT_EQ(image.allocate(4, 4, 1), 0);
        std::fill_n(static_cast<std::uint8_t*>(image.GetBuffer()), 16, std::uint8_t{0x42});
        for (int i = 0; i < 16; ++i) {
            std::string printed;
            EXPECT_EQ(image.PrintPixel(i % 4, i / 4, printed), 0);
            EXPECT_EQ(printed, text);
        }
    }
}

TEST(CCTImage, PrintPixelOutsideTellsSo)
{
    const Image image(2, 2, Image::eIDT_UINT8, true, nullptr);
    std::string text;
    EXPECT_EQ(image.PrintPixel(2, 0, text), 2);
    EXPECT_EQ(text, "invalid coords");
    EXPECT_EQ(Image().PrintPixel(0, 0, text), 2);
}

TEST(CCTImage, ClearZeroesOwnedAndWrappedPixels)
{
    Image owned = RandomImage(3, 3, 11, 8);
    owned.Clear();
    EXPECT_EQ(BytesOf(owned), std::vector<std::uint8_t>(108, 0));
    std::array<std::uint8_t, 5> data{1, 2, 3, 4, 5};
    Image wrapped(2, 2, Image::eIDT_UINT8, false, data.data());
    wrapped.Clear();
    EXPECT_EQ(data, (std::array<std::uint8_t, 5>{0, 0, 0, 0, 5}));
    Image().Clear();
}

} // namespace
} // namespace LxCV
