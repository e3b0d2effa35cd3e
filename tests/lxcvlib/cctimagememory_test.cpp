#include "cctimage.h"

#include "orx/logging/logger.h"
#include "tests/lxcvlib/imagetestsupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <vector>

namespace LxCV {
namespace {

using namespace TestSupport;

TEST(CCTImage, AllocateKeepsABlockOfTheSameByteCount)
{
    COpenImage image(6, 2, Image::eIDT_UINT8, true, nullptr);
    FillBytes(image, 9);
    const std::vector<std::uint8_t> before = BytesOf(image);
    const void* const block = image.GetBuffer();
    EXPECT_EQ(image.allocate(1, 3, 4), 0);
    EXPECT_EQ(image.GetBuffer(), block);
    EXPECT_EQ(image.GetWidth(), 1);
    EXPECT_EQ(image.GetHeight(), 3);
    EXPECT_EQ(image.GetBytesPerPixel(), 4);
    EXPECT_EQ(BytesOf(image), before);
}

TEST(CCTImage, AllocateForgetsAWrappedBuffer)
{
    std::array<std::uint8_t, 4> data{1, 2, 3, 4};
    COpenImage image(2, 2, Image::eIDT_UINT8, false, data.data());
    EXPECT_EQ(image.allocate(2, 2, 1), 0);
    EXPECT_TRUE(image.OwnsBuffer());
    EXPECT_NE(image.GetBuffer(), data.data());
    image.Clear();
    EXPECT_EQ(data, (std::array<std::uint8_t, 4>{1, 2, 3, 4}));
}

TEST(CCTImage, AFailedAllocationLeavesNoSizeAndNoBuffer)
{
    const std::array<std::array<int, 3>, 6> sizes{{{65536, 32768, 1},
                                                   {INT_MAX, INT_MAX, INT_MAX},
                                                   {-1, 2, 1},
                                                   {2, -1, 1},
                                                   {2, 2, -1},
                                                   {178956971, 1, 12}}};
    for (const auto& [width, height, bytes] : sizes) {
        const Logging::CCapture capture;
        COpenImage image(2, 2, Image::eIDT_UINT8, true, nullptr);
        EXPECT_EQ(image.allocate(width, height, bytes), 10);
        ExpectEmpty(image);
        EXPECT_EQ(image.GetBuffer(), nullptr);
        EXPECT_EQ(capture.Count(Logging::ELevel::eError, c_sChannel, L"Warning CCTImage::Allocate failed."),
                  1);
    }
}

TEST(CCTImage, DeallocateFreesAnOwnedBufferAndForgetsSizes)
{
    COpenImage owned(2, 2, Image::eIDT_UINT8, true, nullptr);
    EXPECT_EQ(owned.deallocate(), 0);
    ExpectEmpty(owned);
    EXPECT_EQ(owned.GetBuffer(), nullptr);
    EXPECT_EQ(owned.GetDataType(), Image::eIDT_UINT8);
    std::array<std::uint8_t, 4> data{1, 2, 3, 4};
    COpenImage wrapped(2, 2, Image::eIDT_UINT8, false, data.data());
    EXPECT_EQ(wrapped.deallocate(), 0);
    ExpectEmpty(wrapped);
    EXPECT_EQ(wrapped.GetBuffer(), data.data());
}

TEST(CCTImage, InitializeToDefaultsResetsEverything)
{
    COpenImage image(2, 2, Image::eIDT_UINT8, true, nullptr);
    SetAttributes(image);
    image.initializeToDefaults();
    ExpectEmpty(image);
    EXPECT_EQ(image.GetBuffer(), nullptr);
    EXPECT_FALSE(image.OwnsBuffer());
    EXPECT_EQ(image.GetDataType(), 0);
    EXPECT_EQ(image.GetNumChannels(), 0);
    EXPECT_EQ(image.GetType(), 0);
    EXPECT_EQ(image.GetId(), 0);
    EXPECT_EQ(image.GetTimestamp(), 0U);
    EXPECT_EQ(image.GetPathname() + image.GetSourcePathname() + image.GetDescription(), "");
}

TEST(CCTImage, ResizeGivesSizeAndTypeAndClears)
{
    Image image = RandomImage(3, 2, 7, 10);
    EXPECT_EQ(image.Resize(4, 5, Image::eIDT_FLOAT32_3), 0);
    EXPECT_EQ(image.GetWidth(), 4);
    EXPECT_EQ(image.GetHeight(), 5);
    EXPECT_EQ(image.GetDataType(), Image::eIDT_FLOAT32_3);
    EXPECT_EQ(image.GetNumChannels(), 3);
    EXPECT_EQ(BytesOf(image), std::vector<std::uint8_t>(240, 0));
}

TEST(CCTImage, ResizeWithoutATypeKeepsTheTypeAndClears)
{
    Image image = RandomImage(3, 2, 5, 11);
    const void* const block = image.GetBuffer();
    EXPECT_EQ(image.Resize(3, 2, TypeOf(0)), 0);
    EXPECT_EQ(image.GetDataType(), 5);
    EXPECT_EQ(image.GetBuffer(), block);
    EXPECT_EQ(BytesOf(image), std::vector<std::uint8_t>(12, 0));
}

TEST(CCTImage, ResizeTakesNegativeSizesAsZero)
{
    Image image = RandomImage(3, 2, 5, 12);
    EXPECT_EQ(image.Resize(-4, INT_MIN), 0);
    EXPECT_EQ(image.GetWidth(), 0);
    EXPECT_EQ(image.GetHeight(), 0);
    EXPECT_FALSE(image.IsValid());
}

TEST(CCTImage, ResizeOfAWrappedImageLogsAndLeavesTheCallersBlock)
{
    std::array<std::uint8_t, 4> data{1, 2, 3, 4};
    COpenImage image(2, 2, Image::eIDT_UINT8, false, data.data());
    const Logging::CCapture capture;
    EXPECT_EQ(image.Resize(2, 2), 0);
    EXPECT_EQ(capture.Count(Logging::ELevel::eInfo, c_sChannel,
                            L"Warning: resizing a non-internally managed image!\n"),
              1);
    EXPECT_TRUE(image.OwnsBuffer());
    EXPECT_EQ(BytesOf(image), std::vector<std::uint8_t>(4, 0));
    EXPECT_EQ(data, (std::array<std::uint8_t, 4>{1, 2, 3, 4}));
}

TEST(CCTImage, ResizeOfTheEmptyImageLogsNothing)
{
    const Logging::CCapture capture;
    Image image;
    EXPECT_EQ(image.Resize(2, 2, Image::eIDT_UINT8), 0);
    EXPECT_TRUE(capture.GetRecords().empty());
}

TEST(CCTImage, AFailedResizeKeepsTheType)
{
    const Logging::CCapture capture;
    Image image = RandomImage(3, 2, 5, 13);
    EXPECT_EQ(image.Resize(INT_MAX, INT_MAX, Image::eIDT_FLOAT32_3), 10);
    EXPECT_EQ(image.GetDataType(), 5);
    ExpectEmpty(image);
    EXPECT_EQ(capture.Count(Logging::ELevel::eError, c_sChannel, L"Warning CCTImage::Allocate failed."), 1);
    EXPECT_EQ(capture.Count(Logging::ELevel::eInfo, c_sChannel, L"Warning CCTImage::Allocate failed."), 1);
    EXPECT_EQ(image.Resize(2, 2, Image::eIDT_UINT8), 0);
    EXPECT_TRUE(image.IsValid());
}

TEST(CCTImage, ResizeWithoutATypeAfterAFailureHasThePixelSizeOfTheType)
{
    const Logging::CCapture capture;
    Image image = RandomImage(3, 2, 11, 30);
    ASSERT_EQ(image.Resize(INT_MAX, INT_MAX), 10);
    EXPECT_EQ(image.Resize(2, 3), 0);
    EXPECT_EQ(image.GetDataType(), Image::eIDT_FLOAT32_3);
    EXPECT_EQ(image.GetBytesPerPixel(), 12);
    EXPECT_EQ(BytesOf(image), std::vector<std::uint8_t>(72, 0));
}

TEST(CCTImage, ResizeWithoutATypeKeepsThePixelSizeOfAnUntypedBuffer)
{
    COpenImage image;
    ASSERT_EQ(image.allocate(1, 1, 5), 0);
    EXPECT_EQ(image.Resize(2, 3), 0);
    EXPECT_EQ(image.GetDataType(), Image::eIDT_Undefined);
    EXPECT_EQ(image.GetBytesPerPixel(), 5);
}

TEST(CCTImage, CopyFromTheSameSizeTakesPixelsTypeAndAttributes)
{
    Image source = RandomImage(4, 3, 9, 14);
    SetAttributes(source);
    Image image(4, 3, Image::eIDT_INT32, true, nullptr);
    EXPECT_EQ(image.CopyFrom(&source, false), 0);
    EXPECT_EQ(BytesOf(image), BytesOf(source));
    EXPECT_EQ(image.GetDataType(), Image::eIDT_FLOAT32);
    ExpectAttributes(image, 0);
}

TEST(CCTImage, CopyFromItselfChangesNothing)
{
    Image image = RandomImage(4, 3, 9, 15);
    SetAttributes(image);
    const std::vector<std::uint8_t> before = BytesOf(image);
    EXPECT_EQ(image.CopyFrom(&image, true), 0);
    EXPECT_EQ(BytesOf(image), before);
    ExpectAttributes(image, 17);
}

TEST(CCTImage, CopyFromNullFails)
{
    Image image(1, 1, Image::eIDT_UINT8, true, nullptr);
    EXPECT_EQ(image.CopyFrom(nullptr, false), 1);
}

TEST(CCTImage, CopyFromCentresASmallerSource)
{
    Image image(4, 3, Image::eIDT_INT16, 9.0F);
    Image marked(2, 1, Image::eIDT_UINT16, true, nullptr);
    marked.SetInt16PixelFast(0, 0, 5);
    marked.SetInt16PixelFast(1, 0, 6);
    EXPECT_EQ(image.CopyFrom(&marked, false), 0);
    EXPECT_EQ(image.GetDataType(), Image::eIDT_UINT16);
    for (int y = 0; y < 3; ++y) {
        for (int x = 0; x < 4; ++x) {
            const int expected = y != 1 || x == 0 || x == 3 ? 0 : 4 + x;
            EXPECT_EQ(image.GetInt16PixelFast(x, y), expected);
        }
    }
}

TEST(CCTImage, CopyFromBordersAgreeWithBruteForceInAllTypes)
{
    std::mt19937 random(16);
    for (int trial = 0; trial < 3000; ++trial) {
        const SType& type = c_aTypes[random() % c_aTypes.size()];
        const int width = static_cast<int>(random() % 6) + 1;
        const int height = static_cast<int>(random() % 6) + 1;
        const int left = static_cast<int>(random() % 4);
        const int top = static_cast<int>(random() % 4);
        const bool replicate = random() % 2 == 0;
        const Image source = RandomImage(width, height, type.number, random());
        Image image = RandomImage(width + 2 * left, height + 2 * top, type.number, random());
        ASSERT_EQ(image.CopyFrom(&source, replicate), 0);
        for (int y = 0; y < image.GetHeight(); ++y) {
            for (int x = 0; x < image.GetWidth(); ++x) {
                const int nearX = std::clamp(x - left, 0, width - 1);
                const int nearY = std::clamp(y - top, 0, height - 1);
                const bool inside = nearX == x - left && nearY == y - top;
                std::array<std::uint8_t, 12> expected{};
                std::array<std::uint8_t, 12> actual{};
                if (inside || replicate) {
                    source.GetPixel(nearX, nearY, expected.data());
                }
                image.GetPixel(x, y, actual.data());
                ASSERT_EQ(actual, expected) << "trial " << trial << " type " << type.number << " source "
                                            << width << "x" << height << " border " << left << "," << top;
            }
        }
    }
}

TEST(CCTImage, CopyFromALargerDestinationTakesAttributes)
{
    Image source = RandomImage(4, 3, 9, 17);
    SetAttributes(source);
    Image image(6, 3, Image::eIDT_UINT32, true, nullptr);
    image.SetId(3);
    EXPECT_EQ(image.CopyFrom(&source, true), 0);
    EXPECT_EQ(image.GetDataType(), Image::eIDT_FLOAT32);
    ExpectAttributes(image, 3);
}

TEST(CCTImage, CopyFromAnEmptySourceOfTheSamePixelSizeClears)
{
    const Image source(0, 0, Image::eIDT_UINT8, true, nullptr);
    for (const bool replicate : {false, true}) {
        Image image = RandomImage(2, 2, 7, 18);
        EXPECT_EQ(image.CopyFrom(&source, replicate), 0);
        EXPECT_EQ(BytesOf(image), std::vector<std::uint8_t>(4, 0));
    }
}

TEST(CCTImage, CopyFromRefusesWhatIsLargerOrOfAnotherPixelSize)
{
    Image image = RandomImage(4, 3, 7, 19);
    image.SetType(Image::eIT_DepthmapSecondary);
    const std::vector<std::uint8_t> before = BytesOf(image);
    Image wider(6, 1, Image::eIDT_UINT8, true, nullptr);
    wider.SetType(static_cast<Image::EImageType>(-7));
    const Image higher(2, 5, Image::eIDT_UINT8, true, nullptr);
    const Image deeper(4, 3, Image::eIDT_FLOAT32_3, true, nullptr);
    EXPECT_EQ(TextOf([&] { image.CopyFrom(&wider, false); }),
              "CCTImage::CopyFrom - Size mismatch: (4x3x1) vs. (6x1x1); ImageType: 2 vs. -7");
    EXPECT_EQ(TextOf([&] { image.CopyFrom(&higher, true); }),
              "CCTImage::CopyFrom - Size mismatch: (4x3x1) vs. (2x5x1); ImageType: 2 vs. 0");
    EXPECT_EQ(TextOf([&] { image.CopyFrom(&deeper, true); }),
              "CCTImage::CopyFrom - Size mismatch: (4x3x1) vs. (4x3x12); ImageType: 2 vs. 0");
    EXPECT_EQ(BytesOf(image), before);
}

TEST(CCTImage, TheSizeMismatchTextEndsAt127Characters)
{
    Image image(INT_MAX, 1, Image::eIDT_UINT8, false, nullptr);
    Image source(1, INT_MAX, Image::eIDT_UINT8, false, nullptr);
    image.SetType(static_cast<Image::EImageType>(INT_MIN));
    source.SetType(static_cast<Image::EImageType>(INT_MIN));
    const std::string whole = "CCTImage::CopyFrom - Size mismatch: (2147483647x1x1) vs. (1x2147483647x1); "
                              "ImageType: -2147483648 vs. -2147483648";
    EXPECT_EQ(TextOf([&] { image.CopyFrom(&source, false); }), whole.substr(0, 127));
}

TEST(CCTImage, CopyFromRefusesOddDifferences)
{
    Image image(4, 4, Image::eIDT_UINT8, true, nullptr);
    const Image oneNarrower(3, 4, Image::eIDT_UINT8, true, nullptr);
    const Image oneLower(4, 3, Image::eIDT_UINT8, true, nullptr);
    const std::string text = "CCTImage::CopyFrom - Size of destination image not allowed!";
    EXPECT_EQ(TextOf([&] { image.CopyFrom(&oneNarrower, false); }), text);
    EXPECT_EQ(TextOf([&] { image.CopyFrom(&oneLower, true); }), text);
}

TEST(CCTImage, CopyFromRefusesASourceWhoseTypeBeliesItsPixelSize)
{
    COpenImage source(2, 2, Image::eIDT_UINT8, true, nullptr);
    ASSERT_EQ(source.allocate(2, 2, 4), 0);
    source.Clear();
    Image same(2, 2, Image::eIDT_INT32, true, nullptr);
    EXPECT_EQ(TextOf([&] { same.CopyFrom(&source, false); }), "new image type has different pixel size");
    Image larger(4, 4, Image::eIDT_INT32, true, nullptr);
    EXPECT_EQ(TextOf([&] { larger.CopyFrom(&source, false); }), "new image type has different pixel size");
}

TEST(CCTImage, CopyDataFromTakesABlockOfItsOwnSize)
{
    Image image(2, 2, Image::eIDT_UINT16, true, nullptr);
    SetAttributes(image);
    const std::array<std::uint16_t, 4> data{1, 2, 3, 4};
    EXPECT_EQ(image.CopyDataFrom(data.data(), 2, 2, 2), 0);
    EXPECT_EQ(std::memcmp(image.GetBuffer(), data.data(), 8), 0);
    ExpectAttributes(image, 17);
}

TEST(CCTImage, CopyDataFromRefusesOtherSizesAndNull)
{
    Image image = RandomImage(2, 2, 5, 20);
    const std::vector<std::uint8_t> before = BytesOf(image);
    const std::array<std::uint16_t, 8> data{};
    const Logging::CCapture capture;
    EXPECT_EQ(image.CopyDataFrom(data.data(), 3, 2, 2), 9);
    EXPECT_EQ(image.CopyDataFrom(data.data(), 2, 1, 2), 9);
    EXPECT_EQ(image.CopyDataFrom(data.data(), 2, 2, 4), 9);
    EXPECT_EQ(capture.Count(Logging::ELevel::eWarning, c_sChannel,
                            L"Warning CCTImage::CopyFrom: Trying to copy from differently sized image.\n"),
              3);
    EXPECT_EQ(image.CopyDataFrom(nullptr, 2, 2, 2), 15);
    EXPECT_EQ(BytesOf(image), before);
}

TEST(CCTImage, AssignmentOfAnOwningImageCopiesEverything)
{
    for (const SType& type : c_aTypes) {
        Image source = RandomImage(4, 3, type.number, 21);
        SetAttributes(source);
        COpenImage image;
        image.Image::operator=(source);
        EXPECT_TRUE(image.OwnsBuffer());
        EXPECT_TRUE(image.DoTypeAndDimMatchWith(source));
        EXPECT_NE(image.GetBuffer(), source.GetBuffer());
        EXPECT_EQ(BytesOf(image), BytesOf(source));
        ExpectAttributes(image, 17);
    }
}

TEST(CCTImage, AssignmentOfTheSameSizeKeepsTheBlock)
{
    const Image source = RandomImage(4, 3, 9, 22);
    Image image(4, 3, Image::eIDT_INT32, true, nullptr);
    const void* const block = image.GetBuffer();
    image = source;
    EXPECT_EQ(image.GetBuffer(), block);
    EXPECT_EQ(image.GetDataType(), Image::eIDT_FLOAT32);
    EXPECT_EQ(BytesOf(image), BytesOf(source));
}

TEST(CCTImage, AssignmentWritesIntoAWrappedBlockOfTheSameSize)
{
    const Image source = RandomImage(2, 2, 7, 23);
    std::array<std::uint8_t, 4> data{};
    Image image(2, 2, Image::eIDT_UINT8, false, data.data());
    image = source;
    EXPECT_EQ(image.GetBuffer(), data.data());
    EXPECT_TRUE(std::equal(data.begin(), data.end(), BytesOf(source).begin()));
}

TEST(CCTImage, AssignmentAcrossPixelSizesResizes)
{
    const Image wide = RandomImage(3, 3, 11, 24);
    Image image = RandomImage(3, 3, 7, 25);
    image = wide;
    EXPECT_EQ(image.GetBytesPerPixel(), 12);
    EXPECT_EQ(BytesOf(image), BytesOf(wide));
    const Image narrow = RandomImage(3, 3, 5, 26);
    image = narrow;
    EXPECT_EQ(image.GetBytesPerPixel(), 2);
    EXPECT_EQ(BytesOf(image), BytesOf(narrow));
}

TEST(CCTImage, AssignmentToAWrappedNullAllocates)
{
    const Image source = RandomImage(2, 2, 7, 27);
    COpenImage image(2, 2, Image::eIDT_UINT8, false, nullptr);
    image.Image::operator=(source);
    EXPECT_TRUE(image.OwnsBuffer());
    EXPECT_EQ(BytesOf(image), BytesOf(source));
}

TEST(CCTImage, SelfAssignmentChangesNothing)
{
    std::array<std::uint8_t, 4> data{1, 2, 3, 4};
    Image wrapped(2, 2, Image::eIDT_UINT8, false, data.data());
    Image owned = RandomImage(2, 2, 7, 28);
    const std::vector<std::uint8_t> before = BytesOf(owned);
    for (Image* image : {&wrapped, &owned}) {
        SetAttributes(*image);
        const Image& self = *image;
        *image = self;
        ExpectAttributes(*image, 17);
    }
    EXPECT_EQ(BytesOf(owned), before);
    EXPECT_EQ(wrapped.GetBuffer(), data.data());
}

TEST(CCTImage, AWrappedImageAssignedToAnEmptyOneGivesASecondWrapper)
{
    std::array<std::uint8_t, 4> data{1, 2, 3, 4};
    Image wrapped(2, 2, Image::eIDT_UINT8, false, data.data());
    SetAttributes(wrapped);
    COpenImage image;
    image.Image::operator=(wrapped);
    EXPECT_FALSE(image.OwnsBuffer());
    EXPECT_EQ(image.GetBuffer(), data.data());
    EXPECT_TRUE(image.DoTypeAndDimMatchWith(wrapped));
    ExpectAttributes(image, 17);
}

TEST(CCTImage, AWrappedImageAssignedToAnOwningOneReleasesItsBuffer)
{
    std::array<std::uint8_t, 4> data{1, 2, 3, 4};
    const Image wrapped(2, 2, Image::eIDT_UINT8, false, data.data());
    {
        COpenImage image(7, 7, Image::eIDT_FLOAT32_3, 1.0F);
        image.Image::operator=(wrapped);
        EXPECT_FALSE(image.OwnsBuffer());
        EXPECT_EQ(image.GetBuffer(), data.data());
        EXPECT_EQ(image.GetSizeInBytes(), 4);
    }
    EXPECT_EQ(data, (std::array<std::uint8_t, 4>{1, 2, 3, 4}));
}

TEST(CCTImage, AnEmptyImageAssignedToAnOwningOneEmptiesIt)
{
    COpenImage image(2, 2, Image::eIDT_UINT8, true, nullptr);
    image.Image::operator=(Image());
    ExpectEmpty(image);
    EXPECT_FALSE(image.OwnsBuffer());
    EXPECT_EQ(image.GetBuffer(), nullptr);
    EXPECT_EQ(image.GetDataType(), 0);
}

TEST(CCTImage, AViewOfItsOwnBufferKeepsTheBufferAlive)
{
    COpenImage image(4, 4, Image::eIDT_UINT8, true, nullptr);
    FillBytes(image, 29);
    const std::vector<std::uint8_t> before = BytesOf(image);
    auto* const block = static_cast<std::uint8_t*>(image.GetBuffer());
    const Image whole(4, 4, Image::eIDT_UINT8, false, block);
    const Image lowerHalf(4, 2, Image::eIDT_UINT8, false, block + 8);
    image.Image::operator=(lowerHalf);
    EXPECT_TRUE(image.OwnsBuffer());
    EXPECT_EQ(BytesOf(image), std::vector<std::uint8_t>(before.begin() + 8, before.end()));
    image.Image::operator=(whole);
    EXPECT_TRUE(image.OwnsBuffer());
    EXPECT_EQ(BytesOf(image), before);
    image.Image::operator=(lowerHalf);
    EXPECT_EQ(image.Resize(8, 1), 0);
    EXPECT_EQ(BytesOf(image), std::vector<std::uint8_t>(8, 0));
}

TEST(CCTImage, QuotientsAreElementwiseAndCappedAt255)
{
    Image dividend(2, 1, Image::eIDT_FLOAT32_3, 10.0F, 20.0F, 600.0F);
    Image divisor(2, 1, Image::eIDT_FLOAT32_3, 4.0F, 0.0F, 2.0F);
    dividend.SetFloat3PixelFast(1, 0, LxCFloat3(-1.0F, 0.0F, 255.0F));
    divisor.SetFloat3PixelFast(1, 0, LxCFloat3(0.5F, 0.0F, 1.0F));
    const Image quotient = dividend / divisor;
    EXPECT_TRUE(quotient.DoTypeAndDimMatchWith(dividend));
    EXPECT_EQ(quotient.GetFloat3Fast(0, 0).get(0), 2.5F);
    EXPECT_EQ(quotient.GetFloat3Fast(0, 0).get(1), 255.0F);
    EXPECT_EQ(quotient.GetFloat3Fast(0, 0).get(2), 255.0F);
    EXPECT_EQ(quotient.GetFloat3Fast(1, 0).get(0), -2.0F);
    EXPECT_TRUE(std::isnan(quotient.GetFloat3Fast(1, 0).get(1)));
    EXPECT_EQ(quotient.GetFloat3Fast(1, 0).get(2), 255.0F);
}

TEST(CCTImage, QuotientsOfImagesThatDifferHaveTheLeftSizeAndNoError)
{
    const Image left(3, 2, Image::eIDT_FLOAT32_3, 1.0F);
    const Image other(2, 3, Image::eIDT_FLOAT32_3, 1.0F);
    const Image gray(3, 2, Image::eIDT_FLOAT32, 1.0F);
    for (const Image* divisor : {&other, &gray}) {
        const Image quotient = left / *divisor;
        EXPECT_TRUE(quotient.DoTypeAndDimMatchWith(left));
        EXPECT_EQ(BytesOf(quotient), std::vector<std::uint8_t>(72, 0));
    }
}

TEST(CCTImage, QuotientsOfOtherTypesAreZero)
{
    const Image left(3, 2, Image::eIDT_UINT8, 1.0F);
    EXPECT_EQ(BytesOf(left / left), std::vector<std::uint8_t>(6, 0));
    const Image empty;
    EXPECT_FALSE((empty / empty).IsValid());
}

TEST(CCTImage, QuotientsOfPixelsThatTheirTypeBeliesAreZero)
{
    const Image left(3, 2, Image::eIDT_FLOAT32_3, 1.0F);
    COpenImage shallow(3, 2, Image::eIDT_FLOAT32_3, 1.0F);
    ASSERT_EQ(shallow.allocate(3, 2, 4), 0);
    FillBytes(shallow, 31);
    for (const Image& quotient : {left / shallow, shallow / left, shallow / shallow}) {
        EXPECT_TRUE(quotient.DoTypeAndDimMatchWith(left));
        EXPECT_EQ(BytesOf(quotient), std::vector<std::uint8_t>(72, 0));
    }
}

TEST(CCTImage, RearrangingPacksBytesIntoWords)
{
    COpenImage image(2, 1, Image::eIDT_BGRU8, true, nullptr);
    const std::array<std::uint8_t, 6> bgr{1, 2, 3, 0xFD, 0xFE, 0xFF};
    ASSERT_EQ(image.CopyDataFrom(bgr.data(), 2, 1, 3), 0);
    EXPECT_EQ(image.rearrangeFromBGR8ToARGB(), 0);
    EXPECT_EQ(image.GetDataType(), Image::eIDT_ARGB8);
    EXPECT_EQ(image.GetBytesPerPixel(), 4);
    EXPECT_EQ(image.GetNumChannels(), 4);
    EXPECT_EQ(image.GetInt32PixelFast(0, 0), 0x00030201);
    EXPECT_EQ(image.GetInt32PixelFast(1, 0), 0x00FFFEFD);
    EXPECT_EQ(image.rearrangeFromBGR8ToARGB(), 0);
    EXPECT_EQ(image.GetInt32PixelFast(0, 0), 0x00030201);
}

TEST(CCTImage, RearrangingRefusesOtherTypesAndWrappedBuffers)
{
    COpenImage gray(1, 1, Image::eIDT_UINT8, true, nullptr);
    EXPECT_EQ(gray.rearrangeFromBGR8ToARGB(), 12);
    std::array<std::uint8_t, 3> data{1, 2, 3};
    COpenImage wrapped(1, 1, Image::eIDT_BGRU8, false, data.data());
    EXPECT_EQ(wrapped.rearrangeFromBGR8ToARGB(), 1);
    EXPECT_EQ(wrapped.GetDataType(), Image::eIDT_BGRU8);
}

TEST(CCTImage, RearrangingFailsWhereTheWordsAreTooMany)
{
    // A column of 600 million pixels of 3 bytes still fits an int, of 4 bytes no more, also where the width is 0.
    COpenImage image;
    ASSERT_EQ(image.Resize(0, 600000000, Image::eIDT_BGRU8), 0);
    EXPECT_EQ(image.rearrangeFromBGR8ToARGB(), 10);
    EXPECT_EQ(image.GetDataType(), Image::eIDT_BGRU8);
}

} // namespace
} // namespace LxCV
