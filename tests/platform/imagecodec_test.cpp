// What holds for image files of all kinds, and the files that we write.
#include "orx/platform/imagecodec.h"

#include "tests/platform/imagetestsupport.h"
#include "tests/support/temporaryfolder.h"

#include <array>
#include <cstdlib>
#include <limits>

namespace platform {
namespace {

using namespace ImageTest;
using TestSupport::CTemporaryFolder;

constexpr std::array c_AllFormats{
    EPixelFormat::eGray8,      EPixelFormat::eGrayInt8,  EPixelFormat::eGray16,    EPixelFormat::eGrayInt16,
    EPixelFormat::eGrayUInt32, EPixelFormat::eGrayInt32, EPixelFormat::eGrayFloat, EPixelFormat::eGrayDouble,
    EPixelFormat::eBgr8,       EPixelFormat::eBgra8,     EPixelFormat::eBgrFloat};

/// Widths around the multiples of 4 that BMP fills rows up to, and an image of several strips.
constexpr std::array<std::array<int, 2>, 7> c_Sizes{
    {{1, 1}, {2, 3}, {3, 2}, {4, 1}, {5, 5}, {1, 9}, {401, 97}}};

using CWriter = bool (*)(const std::filesystem::path& path, const CPixelsView& image);

/// Writes images of all sizes in one format and reads them back.
void ExpectRoundTrip(CWriter write, EPixelFormat format, const std::string& description)
{
    const CTemporaryFolder folder;
    const std::string path = folder / "image";
    for (const auto& [width, height] : c_Sizes) {
        SCOPED_TRACE(std::to_string(width) + " by " + std::to_string(height) + " of format " +
                     std::to_string(static_cast<int>(format)));
        const CPixels image = RandomImage(width, height, format, 1);
        ASSERT_TRUE(write(path, View(image)));
        CPixels back;
        std::string actual;
        ASSERT_EQ(ReadImageFile(path, back, actual), EImageFileResult::eOk) << actual;
        EXPECT_EQ(actual, description);
        ExpectEqual(back, image);
    }
}

TEST(PixelFormat, TellsItsBytes)
{
    constexpr std::array<std::size_t, c_AllFormats.size()> expected{1, 1, 2, 2, 4, 4, 4, 8, 3, 4, 12};
    for (std::size_t i = 0; i < c_AllFormats.size(); ++i) {
        EXPECT_EQ(BytesPerPixel(c_AllFormats[i]), expected[i]) << i;
    }
}

TEST(WriteTiff, ComesBackInEveryFormat)
{
    constexpr std::array descriptions{
        "8-bit grey TIFF",  "8-bit signed grey TIFF",    "16-bit grey TIFF",       "16-bit signed grey TIFF",
        "32-bit grey TIFF", "32-bit signed grey TIFF",   "32-bit float grey TIFF", "64-bit float grey TIFF",
        "8-bit RGB TIFF",   "8-bit RGB with alpha TIFF", "32-bit float RGB TIFF"};
    static_assert(descriptions.size() == c_AllFormats.size());
    for (std::size_t i = 0; i < c_AllFormats.size(); ++i) {
        ExpectRoundTrip(WriteTiff, c_AllFormats[i], descriptions[i]);
    }
}

TEST(WritePng, ComesBackInItsFormats)
{
    ExpectRoundTrip(WritePng, EPixelFormat::eGray8, "8-bit grey PNG");
    ExpectRoundTrip(WritePng, EPixelFormat::eGray16, "16-bit grey PNG");
    ExpectRoundTrip(WritePng, EPixelFormat::eBgr8, "8-bit RGB PNG");
    ExpectRoundTrip(WritePng, EPixelFormat::eBgra8, "8-bit RGB with alpha PNG");
}

TEST(WriteBmp, ComesBackInItsFormats)
{
    ExpectRoundTrip(WriteBmp, EPixelFormat::eGray8, "8-bit palette BMP");
    ExpectRoundTrip(WriteBmp, EPixelFormat::eBgr8, "24-bit RGB BMP");
    ExpectRoundTrip(WriteBmp, EPixelFormat::eBgra8, "32-bit RGB with alpha BMP");
}

} // namespace
} // namespace platform
