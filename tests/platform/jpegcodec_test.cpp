// JPEG files as libjpeg writes them.
#include "tests/platform/imagetestsupport.h"

#include <cstdio>
#include <cstdlib>

#include <jpeglib.h>

namespace platform {
namespace {

using namespace ImageTest;

/// At quality 100 every coefficient is rounded to a whole number: an error of 1 / sqrt(12) = 0.29 a pixel in the
/// mean square, and 2 is seven times that.
constexpr int kGreyTolerance = 2;

/// Blue is luma + 1.772 * Cb, with an error in each of luma and Cb, and of their own rounding to bytes.
constexpr int kColourTolerance = 5;

/// What to write; the pixels are grey, red-green-blue, or cyan-magenta-yellow-black.
struct CJpeg
{
    int width = 1;
    int height = 1;
    int components = 1;
    std::vector<std::byte> pixels{};
    bool progressive = false;
    bool rgb = false; ///< stored as RGB
    int quality = 100;
    int lumaSampling = 1; ///< 2 halves the chroma

    std::vector<std::byte> Make() const
    {
        jpeg_compress_struct info{};
        jpeg_error_mgr errors{};
        info.err = jpeg_std_error(&errors);
        jpeg_create_compress(&info);
        unsigned char* data = nullptr;
        unsigned long size = 0;
        jpeg_mem_dest(&info, &data, &size);
        info.image_width = static_cast<JDIMENSION>(width);
        info.image_height = static_cast<JDIMENSION>(height);
        info.input_components = components;
        info.in_color_space = components == 1 ? JCS_GRAYSCALE : components == 3 ? JCS_RGB : JCS_CMYK;
        jpeg_set_defaults(&info);
        if (rgb) {
            jpeg_set_colorspace(&info, JCS_RGB);
        }
        jpeg_set_quality(&info, quality, TRUE);
        info.comp_info[0].h_samp_factor = info.comp_info[0].v_samp_factor = lumaSampling;
        if (progressive) {
            jpeg_simple_progression(&info);
        }
        jpeg_start_compress(&info, TRUE);
        std::vector<std::byte> copy = pixels;
        for (int y = 0; y < height; ++y) {
            auto* row = reinterpret_cast<JSAMPROW>(copy.data() + y * width * components);
            jpeg_write_scanlines(&info, &row, 1);
        }
        jpeg_finish_compress(&info);
        jpeg_destroy_compress(&info);
        const auto bytes = std::as_bytes(std::span(data, size));
        const std::vector<std::byte> file(bytes.begin(), bytes.end());
        std::free(data);
        return file;
    }
};

/// Gentle slopes, which survive halved chroma too.
std::uint8_t Slope(int x, int y, int channel)
{
    return static_cast<std::uint8_t>(channel == 0 ? 40 + 2 * x : channel == 1 ? 60 + 3 * y : 200 - x - y);
}

CJpeg Slopes(int width, int height, int components)
{
    CJpeg jpeg{.width = width, .height = height, .components = components};
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            for (int channel = 0; channel < components; ++channel) {
                jpeg.pixels.push_back(static_cast<std::byte>(Slope(x, y, channel)));
            }
        }
    }
    return jpeg;
}

/// The image stands for the slopes, in the order of the format.
void ExpectSlopes(const CJpeg& jpeg, const std::string& description, int tolerance)
{
    const CRead read = Read(jpeg.Make());
    ASSERT_EQ(read.result, EImageFileResult::eOk) << read.description;
    EXPECT_EQ(read.description, description);
    ASSERT_EQ(read.image.width, jpeg.width);
    ASSERT_EQ(read.image.height, jpeg.height);
    EXPECT_EQ(read.image.format, jpeg.components == 1 ? EPixelFormat::eGray8 : EPixelFormat::eBgr8);
    std::size_t next = 0;
    for (int y = 0; y < jpeg.height; ++y) {
        for (int x = 0; x < jpeg.width; ++x) {
            for (int channel = jpeg.components - 1; channel >= 0; --channel) { // blue first
                const int value = std::to_integer<int>(read.image.bytes.at(next++));
                EXPECT_NEAR(value, Slope(x, y, channel), tolerance)
                    << x << ", " << y << ", channel " << channel;
            }
        }
    }
}

TEST(ReadJpeg, TakesGrey)
{
    ExpectSlopes(Slopes(35, 21, 1), "8-bit grey JPEG", kGreyTolerance);
    ExpectSlopes(Slopes(1, 1, 1), "8-bit grey JPEG", kGreyTolerance);
}

TEST(ReadJpeg, TakesColour)
{
    ExpectSlopes(Slopes(35, 21, 3), "8-bit RGB JPEG", kColourTolerance);
    CJpeg jpeg = Slopes(35, 21, 3);
    jpeg.lumaSampling = 2;
    ExpectSlopes(jpeg, "8-bit RGB JPEG", kColourTolerance);
    jpeg = Slopes(35, 21, 3);
    jpeg.rgb = true;
    ExpectSlopes(jpeg, "8-bit RGB JPEG", kGreyTolerance);
}

TEST(ReadJpeg, TakesProgressiveFiles)
{
    for (const int components : {1, 3}) {
        CJpeg jpeg = Slopes(35, 21, components);
        jpeg.progressive = true;
        ExpectSlopes(jpeg, components == 1 ? "8-bit grey progressive JPEG" : "8-bit RGB progressive JPEG",
                     components == 1 ? kGreyTolerance : kColourTolerance);
    }
}

TEST(ReadJpeg, RefusesFourColours)
{
    ExpectUnsupported(CJpeg{.components = 4, .pixels = Bytes({1, 2, 3, 4})}.Make(), "8-bit CMYK JPEG");
}

/// Where the first marker of a kind stands.
std::size_t Find(const std::vector<std::byte>& file, int marker)
{
    for (std::size_t i = 0; i + 1 < file.size(); ++i) {
        if (file[i] == std::byte{0xFF} && file[i + 1] == static_cast<std::byte>(marker)) {
            return i;
        }
    }
    return file.size();
}

/// Changes the frame header, which tells depth, height and width.
std::vector<std::byte> WithFrame(std::vector<std::byte> file, int marker, int bits, int height, int width)
{
    const std::size_t at = Find(file, marker);
    file.at(at + 4) = static_cast<std::byte>(bits);
    file.at(at + 5) = static_cast<std::byte>(height >> 8);
    file.at(at + 6) = static_cast<std::byte>(height & 0xFF);
    file.at(at + 7) = static_cast<std::byte>(width >> 8);
    file.at(at + 8) = static_cast<std::byte>(width & 0xFF);
    return file;
}

TEST(ReadJpeg, RefusesSizesThatLie)
{
    const std::vector<std::byte> grey = Slopes(8, 8, 1).Make();
    constexpr int baseline = 0xC0;
    ExpectUnsupported(WithFrame(grey, baseline, 8, 65000, 65000),
                      "JPEG of 65000 by 65000 pixels, which is too large");
    ExpectBroken(WithFrame(grey, baseline, 8, 20000, 20000),
                 "JPEG cut short: " + std::to_string(grey.size()) + " bytes, needs at least 195312");
    ExpectUnsupported(WithFrame(grey, baseline, 12, 8, 8), "JPEG: Unsupported JPEG data precision 12");
    ExpectBroken(WithFrame(grey, baseline, 8, 0, 8), "JPEG: Empty JPEG image (DNL not supported)");
    // More rows than the file has: nothing may be made up.
    EXPECT_EQ(Read(WithFrame(grey, baseline, 8, 64, 8)).result, EImageFileResult::eBroken);
}

TEST(ReadJpeg, CountsTheCoefficientsOfSeveralScans)
{
    CJpeg jpeg = Slopes(8, 8, 1);
    jpeg.progressive = true;
    // 225 million pixels fit the limit by themselves, but not with two bytes more for each.
    ExpectUnsupported(WithFrame(jpeg.Make(), 0xC2, 8, 15000, 15000),
                      "JPEG of 15000 by 15000 pixels, which is too large");
}

TEST(ReadJpeg, RefusesScansWithoutEnd)
{
    CJpeg jpeg = Slopes(16, 16, 1);
    jpeg.progressive = true;
    std::vector<std::byte> file = jpeg.Make();
    // The first scan, of the mean values, over and over; 8 times more precise each time is no progress either.
    const std::size_t first = Find(file, 0xDA);
    std::size_t second = first + 2;
    while (file[second] != std::byte{0xFF} || file[second + 1] == std::byte{0}) {
        ++second;
    }
    const std::vector<std::byte> scan(file.begin() + static_cast<std::ptrdiff_t>(first),
                                      file.begin() + static_cast<std::ptrdiff_t>(second));
    for (int i = 0; i < 2000; ++i) {
        file.insert(file.begin() + static_cast<std::ptrdiff_t>(second), scan.begin(), scan.end());
    }
    EXPECT_EQ(Read(file).result, EImageFileResult::eBroken);
}

TEST(ReadJpeg, GivesNoImageOfTheBeginningOfAFile)
{
    // What follows the last row are the two bytes that say so, which a reader may do without but this one wants.
    ExpectNoImageOfAnyBeginning(Slopes(17, 9, 1).Make());
    CJpeg jpeg = Slopes(17, 9, 3);
    jpeg.progressive = true;
    ExpectNoImageOfAnyBeginning(jpeg.Make());
}

TEST(ReadJpeg, SurvivesChangedBytes)
{
    ExpectSurvivesChangedBytes(Slopes(17, 9, 3).Make(), 1, 2000);
    CJpeg jpeg = Slopes(17, 9, 3);
    jpeg.progressive = true;
    ExpectSurvivesChangedBytes(jpeg.Make(), 2, 2000);
}

TEST(ReadJpeg, SaysNothingOnTheErrorStream)
{
    const std::vector<std::byte> file = Slopes(17, 9, 3).Make();
    ::testing::internal::CaptureStderr();
    ExpectNoImageOfAnyBeginning(file);
    ExpectSurvivesChangedBytes(file, 3, 200);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
}

} // namespace
} // namespace platform
