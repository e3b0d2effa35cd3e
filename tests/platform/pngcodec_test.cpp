// PNG files as libpng writes them.
#include "tests/platform/imagetestsupport.h"

#include <png.h>

#include <array>
#include <stdexcept>

namespace platform {
namespace {

using namespace ImageTest;

/// What to write, the rows as PNG stores them.
struct CPng
{
    int width = 1;
    int height = 1;
    int bits = 8;
    int type = PNG_COLOR_TYPE_GRAY;
    std::vector<std::byte> pixels{};
    std::vector<png_color> palette{};
    std::vector<png_byte> paletteAlpha{};
    const png_color_16* transparent = nullptr;
    bool interlaced = false;

    std::vector<std::byte> Make() const
    {
        const auto fail = [](png_structp, png_const_charp message) { throw std::logic_error(message); };
        png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, fail, nullptr);
        png_infop info = png_create_info_struct(png);
        std::vector<std::byte> file;
        png_set_write_fn(
            png, &file,
            [](png_structp writer, png_bytep data, std::size_t length) {
                const auto* const bytes = reinterpret_cast<const std::byte*>(data);
                auto& target = *static_cast<std::vector<std::byte>*>(png_get_io_ptr(writer));
                target.insert(target.end(), bytes, bytes + length);
            },
            nullptr);
        png_set_user_limits(png, PNG_UINT_31_MAX, PNG_UINT_31_MAX);
        png_set_IHDR(png, info, static_cast<png_uint_32>(width), static_cast<png_uint_32>(height), bits, type,
                     interlaced ? PNG_INTERLACE_ADAM7 : PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
                     PNG_FILTER_TYPE_DEFAULT);
        if (!palette.empty()) {
            png_set_PLTE(png, info, palette.data(), static_cast<int>(palette.size()));
        }
        if (!paletteAlpha.empty() || transparent != nullptr) {
            png_set_tRNS(png, info, paletteAlpha.data(), static_cast<int>(paletteAlpha.size()), transparent);
        }
        png_write_info(png, info);
        std::vector<png_bytep> rows;
        std::vector<std::byte> copy = pixels;
        const std::size_t rowBytes = pixels.size() / static_cast<std::size_t>(height);
        for (std::size_t y = 0; y < static_cast<std::size_t>(height); ++y) {
            rows.push_back(reinterpret_cast<png_bytep>(copy.data() + y * rowBytes));
        }
        png_write_image(png, rows.data());
        png_write_end(png, info);
        png_destroy_write_struct(&png, &info);
        return file;
    }
};

CPixels Grey(int width, int height, const std::vector<std::uint8_t>& values)
{
    return Image(width, height, EPixelFormat::eGray8, values);
}

CPixels Bgra(int width, int height, const std::vector<std::uint8_t>& values)
{
    return Image(width, height, EPixelFormat::eBgra8, values);
}

TEST(ReadPng, ScalesGreyOfFewBits)
{
    CPng png{.width = 3, .bits = 1, .pixels = Bytes({0xA0})};
    ExpectImage(png.Make(), Grey(3, 1, {255, 0, 255}), "1-bit grey PNG");
    png.bits = 2;
    png.pixels = Bytes({0x1B}); // 0 1 2 3
    png.width = 4;
    ExpectImage(png.Make(), Grey(4, 1, {0, 85, 170, 255}), "2-bit grey PNG");
    png.bits = 4;
    png.pixels = Bytes({0x01, 0x8F});
    ExpectImage(png.Make(), Grey(4, 1, {0, 17, 136, 255}), "4-bit grey PNG");
}

TEST(ReadPng, TakesGrey)
{
    ExpectImage(CPng{.width = 3, .height = 2, .pixels = Bytes({1, 2, 3, 4, 5, 255})}.Make(),
                Grey(3, 2, {1, 2, 3, 4, 5, 255}), "8-bit grey PNG");
    ExpectImage(CPng{.width = 2, .bits = 16, .pixels = Bytes({0x12, 0x34, 0xFF, 0xFE})}.Make(),
                Image<std::uint16_t>(2, 1, EPixelFormat::eGray16, {0x1234, 0xFFFE}), "16-bit grey PNG");
}

TEST(ReadPng, TakesColour)
{
    CPng png{.width = 2, .type = PNG_COLOR_TYPE_RGB, .pixels = Bytes({1, 2, 3, 4, 5, 6})};
    ExpectImage(png.Make(), Image<std::uint8_t>(2, 1, EPixelFormat::eBgr8, {3, 2, 1, 6, 5, 4}),
                "8-bit RGB PNG");
    png.type = PNG_COLOR_TYPE_RGBA;
    png.pixels = Bytes({1, 2, 3, 4, 5, 6, 7, 0});
    ExpectImage(png.Make(), Bgra(2, 1, {3, 2, 1, 4, 7, 6, 5, 0}), "8-bit RGB with alpha PNG");
    png.type = PNG_COLOR_TYPE_GRAY_ALPHA;
    png.pixels = Bytes({1, 2, 5, 255});
    ExpectImage(png.Make(), Bgra(2, 1, {1, 1, 1, 2, 5, 5, 5, 255}), "8-bit grey with alpha PNG");
}

TEST(ReadPng, TakesPalettesOfEveryDepth)
{
    CPng png{.width = 2, .type = PNG_COLOR_TYPE_PALETTE};
    png.palette = {{10, 20, 30}, {40, 50, 60}};
    const CPixels expected = Image<std::uint8_t>(2, 1, EPixelFormat::eBgr8, {60, 50, 40, 30, 20, 10});
    const std::array<std::pair<int, int>, 4> depths{{{1, 0x80}, {2, 0x40}, {4, 0x10}, {8, 0x01}}};
    for (const auto& [bits, first] : depths) {
        png.bits = bits;
        png.pixels = Bytes({first, 0});
        ExpectImage(png.Make(), expected, std::to_string(bits) + "-bit palette PNG");
    }
    png.paletteAlpha = {77}; // of the first colour; the others are opaque
    ExpectImage(png.Make(), Bgra(2, 1, {60, 50, 40, 255, 30, 20, 10, 77}), "8-bit palette with alpha PNG");
}

TEST(ReadPng, TakesOneColourAsTransparent)
{
    png_color_16 transparent{};
    transparent.gray = 5;
    CPng png{.width = 2, .pixels = Bytes({5, 6})};
    png.transparent = &transparent;
    ExpectImage(png.Make(), Bgra(2, 1, {5, 5, 5, 0, 6, 6, 6, 255}), "8-bit grey with alpha PNG");
    png.bits = 1;
    transparent.gray = 1;
    png.pixels = Bytes({0x40});
    ExpectImage(png.Make(), Bgra(2, 1, {0, 0, 0, 255, 255, 255, 255, 0}), "1-bit grey with alpha PNG");
    png.bits = 8;
    transparent.red = 1;
    transparent.green = 2;
    transparent.blue = 3;
    png.type = PNG_COLOR_TYPE_RGB;
    png.pixels = Bytes({1, 2, 3, 4, 5, 6});
    ExpectImage(png.Make(), Bgra(2, 1, {3, 2, 1, 0, 6, 5, 4, 255}), "8-bit RGB with alpha PNG");
}

TEST(ReadPng, TakesInterlacedImages)
{
    const CPixels grey = RandomImage(37, 21, EPixelFormat::eGray8, 3);
    CPng png{.width = 37, .height = 21, .pixels = grey.bytes};
    png.interlaced = true;
    ExpectImage(png.Make(), grey, "8-bit grey PNG");
    for (const int size : {1, 2, 3, 5}) { // smaller than the grid of 8 by 8
        const CPixels small = RandomImage(size, size, EPixelFormat::eGray8, 4);
        png.width = png.height = size;
        png.pixels = small.bytes;
        ExpectImage(png.Make(), small, "8-bit grey PNG");
    }
}

TEST(ReadPng, RefusesWideColour)
{
    CPng png{.bits = 16, .type = PNG_COLOR_TYPE_RGB, .pixels = Bytes({1, 2, 3, 4, 5, 6})};
    ExpectUnsupported(png.Make(), "16-bit RGB PNG");
    png.type = PNG_COLOR_TYPE_RGBA;
    png.pixels = Bytes({1, 2, 3, 4, 5, 6, 7, 8});
    ExpectUnsupported(png.Make(), "16-bit RGB with alpha PNG");
    png.type = PNG_COLOR_TYPE_GRAY_ALPHA;
    png.pixels = Bytes({1, 2, 3, 4});
    ExpectUnsupported(png.Make(), "16-bit grey with alpha PNG");
    png_color_16 transparent{};
    png.type = PNG_COLOR_TYPE_GRAY;
    png.transparent = &transparent;
    png.pixels = Bytes({1, 2});
    ExpectUnsupported(png.Make(), "16-bit grey with alpha PNG");
}

/// Sets the checksum of the chunk that stands at `at`.
void Seal(std::vector<std::byte>& file, std::size_t at)
{
    std::size_t length = 0;
    for (std::size_t i = 0; i < 4; ++i) {
        length = length << 8 | std::to_integer<std::size_t>(file[at + i]);
    }
    std::uint32_t sum = 0xFFFFFFFF; // CRC-32, bit by bit
    for (std::size_t i = at + 4; i < at + 8 + length; ++i) {
        sum ^= std::to_integer<std::uint32_t>(file[i]);
        for (int bit = 0; bit < 8; ++bit) {
            sum = (sum >> 1) ^ ((sum & 1U) != 0 ? 0xEDB88320U : 0U);
        }
    }
    for (std::size_t i = 0; i < 4; ++i) {
        file[at + 8 + length + i] = static_cast<std::byte>(~sum >> (24 - 8 * i));
    }
}

constexpr std::size_t kHeadAt = 8;   // the first chunk, behind the signature
constexpr std::size_t kWidthAt = 16; // high byte first
constexpr std::size_t kHeightAt = 20;

std::vector<std::byte> SmallPng()
{
    return CPng{.width = 2, .height = 2, .pixels = Bytes({1, 2, 3, 4})}.Make();
}

std::vector<std::byte> WithSize(std::uint32_t width, std::uint32_t height)
{
    std::vector<std::byte> file = SmallPng();
    for (std::size_t i = 0; i < 4; ++i) {
        file[kWidthAt + i] = static_cast<std::byte>(width >> (24 - 8 * i));
        file[kHeightAt + i] = static_cast<std::byte>(height >> (24 - 8 * i));
    }
    Seal(file, kHeadAt);
    return file;
}

TEST(ReadPng, RefusesSizesThatLie)
{
    const std::string size = std::to_string(SmallPng().size());
    ExpectUnsupported(WithSize(0x7FFFFFFF, 0x7FFFFFFF),
                      "PNG of 2147483647 by 2147483647 pixels, which is too large");
    ExpectUnsupported(WithSize(30000, 30000), "PNG of 30000 by 30000 pixels, which is too large");
    // 400 million bytes from a file that can hold 2048 times its size.
    ExpectBroken(WithSize(20000, 20000), "PNG cut short: " + size + " bytes, needs at least 195312");
    for (const auto& file :
         {WithSize(0, 1), WithSize(1, 0), WithSize(0x80000000, 1), WithSize(3, 2), WithSize(2, 3)}) {
        const CRead read = Read(file);
        EXPECT_EQ(read.result, EImageFileResult::eBroken) << read.description;
        EXPECT_EQ(read.description.substr(0, 5), "PNG: ");
    }
}

/// A file whose text says to be of `length` bytes and is of six.
std::vector<std::byte> WithText(std::uint32_t length)
{
    constexpr std::size_t textAt = kHeadAt + 25;
    std::vector<std::byte> file = SmallPng();
    auto text = Bytes({0, 0, 0, 0, 't', 'E', 'X', 't', 'T', 'i', 't', 'l', 'e', 0, 0, 0, 0, 0});
    for (std::size_t i = 0; i < 4; ++i) {
        text[i] = static_cast<std::byte>(length >> (24 - 8 * i));
    }
    file.insert(file.begin() + textAt, text.begin(), text.end());
    if (length == 6) {
        Seal(file, textAt);
    }
    return file;
}

TEST(ReadPng, SkipsTexts)
{
    EXPECT_EQ(Read(WithText(6)).image.bytes, Bytes({1, 2, 3, 4}));
}

TEST(ReadPng, TakesNoMemoryForTheLengthOfATextThatLies)
{
    const auto read = [] { ExpectBroken(WithText(0x70000000), "PNG: the file is cut short"); };
    EXPECT_LT(PeakMemoryOf(read), 64U << 20U); // not the 1.8 GB that the text claims
}

TEST(ReadPng, TakesNoMemoryForRowsButTheirPixels)
{
    // Pointers to the rows would take eight times the memory of the image.
    constexpr int rows = 4 << 20;
    const CPng png{.height = rows, .pixels = std::vector<std::byte>(rows, std::byte{9})};
    const std::vector<std::byte> file = png.Make();
    EXPECT_LT(PeakMemoryOf([&] { EXPECT_TRUE(Read(file).image.bytes == png.pixels); }), 16U << 20U);
}

TEST(ReadPng, RefusesSidesBeyondTheLongest)
{
    std::vector<std::byte> file = SmallPng();
    file[kHeightAt] = std::byte{1}; // 2^24 and the rows that it has
    Seal(file, kHeadAt);
    ExpectUnsupported(file, "PNG of 2 by 16777218 pixels, which is too large");
}

TEST(ReadPng, RefusesChecksumsThatDoNotFit)
{
    std::vector<std::byte> file = SmallPng();
    file[kWidthAt + 3] = std::byte{3};
    EXPECT_EQ(Read(file).result, EImageFileResult::eBroken);
    file = SmallPng();
    file[4] = std::byte{0}; // of the signature
    EXPECT_EQ(Read(file).result, EImageFileResult::eBroken);
}

TEST(ReadPng, GivesNoImageOfTheBeginningOfAFile)
{
    ExpectNoImageOfAnyBeginning(SmallPng());
    CPng png{.width = 2, .type = PNG_COLOR_TYPE_PALETTE, .pixels = Bytes({0, 1})};
    png.palette = {{10, 20, 30}, {40, 50, 60}};
    png.paletteAlpha = {77};
    png.interlaced = true;
    ExpectNoImageOfAnyBeginning(png.Make());
}

TEST(ReadPng, SurvivesChangedBytes)
{
    std::vector<std::byte> file = SmallPng();
    ExpectSurvivesChangedBytes(file, 1, 2000);
    for (int type = 0; type < 8; ++type) { // every head under a right checksum
        for (int bits = 0; bits < 20; ++bits) {
            for (int interlace = 0; interlace < 3; ++interlace) {
                file[kHeightAt + 4] = static_cast<std::byte>(bits);
                file[kHeightAt + 5] = static_cast<std::byte>(type);
                file[kHeightAt + 8] = static_cast<std::byte>(interlace);
                Seal(file, kHeadAt);
                EXPECT_FALSE(Read(file).description.empty());
            }
        }
    }
}

} // namespace
} // namespace platform
