#include "orx/logging/logger.h"
#include "orx/platform/archive.h"
#include "tests/lxcvlib/imageopstestsupport.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

namespace LxCV {
namespace {

using namespace TestSupport;
using Logging::ELevel;

int Store(Image& image, std::ostream& stream)
{
    platform::CArchive archive(stream);
    return image.Serialize(archive);
}

int LoadFrom(const std::string& bytes, Image& image)
{
    std::istringstream stream(bytes);
    platform::CArchive archive(stream);
    return image.Serialize(archive);
}

std::string Stored(Image& image)
{
    std::ostringstream stream;
    EXPECT_EQ(Store(image, stream), 0);
    return stream.str();
}

/// Loading fails with the code and the log line, and the image stands.
void ExpectRefused(const std::string& bytes, int code, const std::wstring& text)
{
    Image image = MarkedImage(3, 2, Image::eIDT_UINT16);
    image.SetDescription("before");
    image.SetId(5);
    const Logging::CCapture log;
    EXPECT_EQ(LoadFrom(bytes, image), code);
    EXPECT_EQ(log.GetRecords().size(), 1U);
    EXPECT_EQ(log.Count(ELevel::eError, c_sChannel, text), 1);
    EXPECT_TRUE(IsUntouched(image));
    EXPECT_EQ(image.GetDataType(), Image::eIDT_UINT16);
    EXPECT_EQ(image.GetSizeInPixels(), 6);
    EXPECT_EQ(image.GetDescription(), "before");
    EXPECT_EQ(image.GetId(), 5);
}

constexpr const wchar_t* c_sDamaged = L"Serialize: the archive is damaged\n";

/// Where the numbers of the head stand.
constexpr std::size_t c_iTypeAt = 8;
constexpr std::size_t c_iWidthAt = 16;
constexpr std::size_t c_iHeightAt = 20;

std::string WithNumber(std::string bytes, std::size_t at, std::int32_t number)
{
    std::memcpy(&bytes.at(at), &number, sizeof number);
    return bytes;
}

TEST(CCTImageArchive, BytesStandAsDocumented)
{
    Image image = ImageOf<std::uint16_t>(2, 1, Image::eIDT_UINT16, {0x0102, 0x0304});
    image.SetType(Image::eIT_DepthmapSecondary);
    image.SetId(-1);
    image.SetTimestamp(7);
    image.SetDescription("ab");
    image.SetPathname("c");
    const std::string expected("CCTI"
                               "\1\0\0\0"
                               "\5\0\0\0"
                               "\2\0\0\0"
                               "\2\0\0\0"
                               "\1\0\0\0"
                               "\xFF\xFF\xFF\xFF"
                               "\7\0\0\0"
                               "\2\0\0\0ab"
                               "\1\0\0\0c"
                               "\0\0\0\0"
                               "\2\1\4\3",
                               51);
    EXPECT_EQ(Stored(image), expected);
}

TEST(CCTImageArchive, EveryTypeLoadsAsItWasStored)
{
    for (const SType& type : c_aTypes) {
        Image image = RandomImage(31, 17, type.number, 1);
        image.SetType(static_cast<Image::EImageType>(9));
        image.SetId(11);
        image.SetTimestamp(0xFFFFFFFF);
        image.SetDescription("größe\n");
        image.SetPathname("a\\b.tif");
        image.SetSourcePathname("c");
        Image back = MarkedImage(2, 2, Image::eIDT_UINT8);
        ASSERT_EQ(LoadFrom(Stored(image), back), 0) << type.number;
        EXPECT_TRUE(back.DoTypeAndDimMatchWith(image));
        EXPECT_EQ(BytesOf(back), BytesOf(image));
        EXPECT_EQ(back.GetType(), 9);
        EXPECT_EQ(back.GetId(), 11);
        EXPECT_EQ(back.GetTimestamp(), 0xFFFFFFFF);
        EXPECT_EQ(back.GetDescription(), "größe\n");
        EXPECT_EQ(back.GetPathname(), "a\\b.tif");
        EXPECT_EQ(back.GetSourcePathname(), "c");
    }
}

TEST(CCTImageArchive, ImagesFollowOneAnother)
{
    std::stringstream stream;
    Image first = RandomImage(3, 2, Image::eIDT_ARGB8, 2);
    Image empty;
    Image flat(0, 4, Image::eIDT_FLOAT64, true, nullptr);
    Image last = RandomImage(300, 200, Image::eIDT_FLOAT32_3, 3);
    platform::CArchive out(static_cast<std::ostream&>(stream));
    for (Image* const image : {&first, &empty, &flat, &last}) {
        ASSERT_EQ(image->Serialize(out), 0);
    }
    platform::CArchive in(static_cast<std::istream&>(stream));
    for (Image* const image : {&first, &empty, &flat, &last}) {
        Image back = MarkedImage(2, 2, Image::eIDT_UINT8);
        ASSERT_EQ(back.Serialize(in), 0);
        EXPECT_TRUE(back.DoTypeAndDimMatchWith(*image));
        EXPECT_EQ(BytesOf(back), BytesOf(*image));
    }
}

TEST(CCTImageArchive, WrappingImageStoresAndThenOwnsWhatItLoads)
{
    std::vector<std::uint8_t> memory{1, 2, 3, 4};
    Image image(2, 2, Image::eIDT_UINT8, false, memory.data());
    const std::string bytes = Stored(image);
    memory = {9, 9, 9, 9};
    ASSERT_EQ(LoadFrom(bytes, image), 0);
    EXPECT_EQ(ValuesOf<std::uint8_t>(image), (std::vector<std::uint8_t>{1, 2, 3, 4}));
    EXPECT_EQ(memory, (std::vector<std::uint8_t>{9, 9, 9, 9}));
}

TEST(CCTImageArchive, ImagesThatHoldNoPixelsOfTheirTypeAreNotStored)
{
    const Logging::CCapture log;
    std::ostringstream stream;
    Image hollow = Hollow(2, 2, Image::eIDT_UINT8);
    EXPECT_EQ(Store(hollow, stream), 15);
    CBeliedImage belied(2, 2, Image::eIDT_FLOAT64, 1);
    EXPECT_EQ(Store(belied, stream), 8);
    Image strange(2, 2, static_cast<Image::EImageDataType>(13), true, nullptr);
    EXPECT_EQ(Store(strange, stream), 8);
    EXPECT_EQ(stream.str(), "");
    EXPECT_EQ(log.Count(ELevel::eError, c_sChannel, L"Serialize: the image has no memory\n"), 1);
    EXPECT_EQ(log.Count(ELevel::eError, c_sChannel, L"Serialize: Unsupported image type\n"), 2);
}

TEST(CCTImageArchive, StreamThatTakesNothingIsAFailure)
{
    const Logging::CCapture log;
    std::ostringstream stream;
    stream.setstate(std::ios::badbit);
    Image image = RandomImage(2, 2, Image::eIDT_UINT8, 4);
    EXPECT_EQ(Store(image, stream), 1);
    EXPECT_EQ(log.Count(ELevel::eError, c_sChannel, L"Serialize: the archive cannot be written\n"), 1);
}

TEST(CCTImageArchive, CutImagesAreDamaged)
{
    Image image = RandomImage(3, 2, Image::eIDT_BGRU8, 5);
    image.SetDescription("text");
    const std::string bytes = Stored(image);
    for (std::size_t length = 0; length < bytes.size(); ++length) {
        ExpectRefused(bytes.substr(0, length), 1, c_sDamaged);
    }
}

TEST(CCTImageArchive, OtherContentIsNoImage)
{
    Image image = RandomImage(3, 2, Image::eIDT_BGRU8, 6);
    const std::string bytes = Stored(image);
    constexpr const wchar_t* c_sUnknown = L"Serialize: the archive holds no image of a known version\n";
    ExpectRefused(WithNumber(bytes, 0, 1), 8, c_sUnknown);
    ExpectRefused(WithNumber(bytes, 4, 2), 8, c_sUnknown);
    for (const int type : {-1, 13, 1 << 30}) {
        ExpectRefused(WithNumber(bytes, c_iTypeAt, type), 8, L"Serialize: Unsupported image type\n");
    }
}

TEST(CCTImageArchive, SizesThatNoImageHasAreDamage)
{
    constexpr int c_iMost = std::numeric_limits<int>::max();
    Image image = RandomImage(3, 2, Image::eIDT_FLOAT32_3, 7);
    const std::string bytes = Stored(image);
    ExpectRefused(WithNumber(bytes, c_iWidthAt, -1), 1, c_sDamaged);
    ExpectRefused(WithNumber(bytes, c_iHeightAt, std::numeric_limits<int>::min()), 1, c_sDamaged);
    ExpectRefused(WithNumber(bytes, c_iWidthAt, c_iMost), 1, c_sDamaged);
    ExpectRefused(WithNumber(WithNumber(bytes, c_iWidthAt, c_iMost), c_iHeightAt, c_iMost), 1, c_sDamaged);
    ExpectRefused(WithNumber(bytes, c_iWidthAt, 80000000), 1, c_sDamaged); // fits an int, not the stream
}

} // namespace
} // namespace LxCV
