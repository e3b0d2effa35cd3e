// BMP files made by hand from the format's description.
#include "tests/platform/imagetestsupport.h"

#include <algorithm>
#include <limits>

namespace platform {
namespace {

using namespace ImageTest;

constexpr std::size_t kFileHeader = 14;

/// A file of which every part can be given.
struct CBmp
{
    std::uint32_t headerBytes = 40;
    std::int32_t width = 1;
    std::int32_t height = 1;
    std::uint16_t bits = 24;
    std::uint32_t compression = 0;
    std::uint32_t coloursUsed = 0;
    std::vector<std::uint32_t> masks{}; ///< red, green, blue, alpha; in or behind the header
    std::vector<std::byte> palette{};   ///< as stored
    std::vector<std::byte> pixels{};    ///< as stored

    std::vector<std::byte> Make() const
    {
        std::vector<std::byte> header;
        AppendLittle<std::uint32_t>(header, headerBytes);
        if (headerBytes == 12) {
            AppendLittle<std::uint16_t>(header, static_cast<std::uint16_t>(width));
            AppendLittle<std::uint16_t>(header, static_cast<std::uint16_t>(height));
            AppendLittle<std::uint16_t>(header, 1);
            AppendLittle<std::uint16_t>(header, bits);
        } else {
            AppendLittle<std::uint32_t>(header, static_cast<std::uint32_t>(width));
            AppendLittle<std::uint32_t>(header, static_cast<std::uint32_t>(height));
            AppendLittle<std::uint16_t>(header, 1);
            AppendLittle<std::uint16_t>(header, bits);
            AppendLittle<std::uint32_t>(header, compression);
            for (int i = 0; i < 3; ++i) { // bytes of the pixels, pixels per metre
                AppendLittle<std::uint32_t>(header, 0);
            }
            AppendLittle<std::uint32_t>(header, coloursUsed);
            AppendLittle<std::uint32_t>(header, 0);
            for (const std::uint32_t mask : masks) {
                AppendLittle<std::uint32_t>(header, mask);
            }
        }
        header.resize(std::max<std::size_t>(header.size(), headerBytes));
        Append(header, palette);

        std::vector<std::byte> file = Bytes("BM");
        AppendLittle<std::uint32_t>(file,
                                    static_cast<std::uint32_t>(kFileHeader + header.size() + pixels.size()));
        AppendLittle<std::uint32_t>(file, 0);
        AppendLittle<std::uint32_t>(file, static_cast<std::uint32_t>(kFileHeader + header.size()));
        Append(file, header);
        Append(file, pixels);
        return file;
    }
};

CPixels Grey(int width, int height, const std::vector<std::uint8_t>& values)
{
    return Image(width, height, EPixelFormat::eGray8, values);
}

CPixels Bgr(int width, int height, const std::vector<std::uint8_t>& values)
{
    return Image(width, height, EPixelFormat::eBgr8, values);
}

const std::vector<std::uint8_t> c_RedGreen{0, 0, 255, 0, 255, 0};

/// 2 by 2 pixels of 24 bits, rows filled up to 8 bytes.
CBmp TrueColour()
{
    return {.width = 2, .height = 2, .pixels = Bytes({7, 8, 9, 10, 11, 12, 0, 0, 1, 2, 3, 4, 5, 6, 0, 0})};
}

const CPixels c_TrueColour = Bgr(2, 2, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12});

TEST(ReadBmp, TakesTrueColourWithEveryHeader)
{
    for (const std::uint32_t headerBytes : {12U, 40U, 52U, 56U, 108U, 124U}) {
        SCOPED_TRACE(headerBytes);
        CBmp bmp = TrueColour();
        bmp.headerBytes = headerBytes;
        ExpectImage(bmp.Make(), c_TrueColour, "24-bit RGB BMP");
    }
}

TEST(ReadBmp, TakesTheTopRowFirstWhereTheHeightIsNegative)
{
    CBmp bmp = TrueColour();
    bmp.height = -2;
    ExpectImage(bmp.Make(), Bgr(2, 2, {7, 8, 9, 10, 11, 12, 1, 2, 3, 4, 5, 6}), "24-bit RGB BMP");
}

TEST(ReadBmp, DoesWithoutTheFillBytesOfTheLastRow)
{
    CBmp bmp = TrueColour();
    bmp.pixels.resize(bmp.pixels.size() - 2);
    ExpectImage(bmp.Make(), c_TrueColour, "24-bit RGB BMP");
    bmp.pixels.pop_back();
    ExpectBroken(bmp.Make(), "BMP cut short: 67 bytes, needs at least 68");
}

TEST(ReadBmp, TakesPalettesOfColours)
{
    CBmp bmp{.width = 2, .palette = Bytes({0, 0, 255, 0, 0, 255, 0, 0}), .pixels = Bytes({0, 1, 0, 0})};
    bmp.bits = 8;
    bmp.coloursUsed = 2;
    ExpectImage(bmp.Make(), Bgr(2, 1, c_RedGreen), "8-bit palette BMP");
    bmp.bits = 4;
    bmp.pixels = Bytes({0x01, 0, 0, 0});
    ExpectImage(bmp.Make(), Bgr(2, 1, c_RedGreen), "4-bit palette BMP");
    bmp.bits = 1;
    bmp.pixels = Bytes({0x40, 0, 0, 0});
    ExpectImage(bmp.Make(), Bgr(2, 1, c_RedGreen), "1-bit palette BMP");
    bmp.coloursUsed = 0; // stands for all of them
    ExpectImage(bmp.Make(), Bgr(2, 1, c_RedGreen), "1-bit palette BMP");
    bmp.coloursUsed = 4'000'000'000; // more than the pixels can name
    ExpectImage(bmp.Make(), Bgr(2, 1, c_RedGreen), "1-bit palette BMP");
}

TEST(ReadBmp, TakesThePaletteOfTheShortHeaderAsThreeBytesAColour)
{
    CBmp bmp{.headerBytes = 12,
             .width = 2,
             .palette = Bytes({0, 0, 255, 0, 255, 0}),
             .pixels = Bytes({0x40, 0, 0, 0})};
    bmp.bits = 1;
    ExpectImage(bmp.Make(), Bgr(2, 1, c_RedGreen), "1-bit palette BMP");
}

TEST(ReadBmp, GivesGreyForAPaletteOfGreys)
{
    // Nine pixels, so that the second byte of a row counts: 1 0 1 1 0 0 0 0 1.
    CBmp bmp{
        .width = 9, .palette = Bytes({0, 0, 0, 0, 255, 255, 255, 0}), .pixels = Bytes({0xB0, 0x80, 0, 0})};
    bmp.bits = 1;
    ExpectImage(bmp.Make(), Grey(9, 1, {255, 0, 255, 255, 0, 0, 0, 0, 255}), "1-bit palette BMP");
    bmp.palette = Bytes({200, 200, 200, 0, 3, 3, 3, 0}); // in any order
    ExpectImage(bmp.Make(), Grey(9, 1, {3, 200, 3, 3, 200, 200, 200, 200, 3}), "1-bit palette BMP");
}

TEST(ReadBmp, GivesBlackForColoursThatAreLeftOut)
{
    CBmp bmp{.width = 2, .palette = Bytes({9, 8, 7, 0}), .pixels = Bytes({0, 200, 0, 0})};
    bmp.bits = 8;
    bmp.coloursUsed = 1;
    ExpectImage(bmp.Make(), Bgr(2, 1, {9, 8, 7, 0, 0, 0}), "8-bit palette BMP");
}

TEST(ReadBmp, IgnoresTheFourthByteWithoutAnAlphaMask)
{
    CBmp bmp{.bits = 32, .pixels = Bytes({1, 2, 3, 77})};
    ExpectImage(bmp.Make(), Bgr(1, 1, {1, 2, 3}), "32-bit RGB BMP");
    bmp.compression = 3;
    bmp.masks = {0xFF, 0xFF00, 0xFF0000}; // red in the low byte, the masks behind the header
    ExpectImage(bmp.Make(), Bgr(1, 1, {3, 2, 1}), "32-bit RGB BMP");
}

TEST(ReadBmp, TakesAnAlphaMaskFromTheHeaderOrBehindIt)
{
    CBmp bmp{.headerBytes = 108, .bits = 32, .compression = 3, .pixels = Bytes({1, 2, 3, 77})};
    bmp.masks = {0xFF0000, 0xFF00, 0xFF, 0xFF000000};
    const CPixels expected = Image<std::uint8_t>(1, 1, EPixelFormat::eBgra8, {1, 2, 3, 77});
    for (const std::uint32_t headerBytes : {56U, 108U, 124U}) {
        bmp.headerBytes = headerBytes;
        ExpectImage(bmp.Make(), expected, "32-bit RGB with alpha BMP");
    }
    bmp.headerBytes = 40;
    bmp.compression = 6;
    ExpectImage(bmp.Make(), expected, "32-bit RGB with alpha BMP");
}

TEST(ReadBmp, ScalesTheChannelsOf16Bits)
{
    // 5 bits a channel: red 31, green 0, blue 16 = 0x7C10; 16 of 31 is 255 * 16 / 31 = 131.6.
    CBmp bmp{.bits = 16, .pixels = Bytes({0x10, 0x7C, 0, 0})};
    ExpectImage(bmp.Make(), Bgr(1, 1, {132, 0, 255}), "16-bit RGB BMP");
    // 5, 6, 5 bits: red 0, green 63, blue 1 = 0x07E1; 255 / 31 = 8.2.
    bmp.compression = 3;
    bmp.masks = {0xF800, 0x07E0, 0x001F};
    bmp.pixels = Bytes({0xE1, 0x07, 0, 0});
    ExpectImage(bmp.Make(), Bgr(1, 1, {8, 255, 0}), "16-bit RGB BMP");
}

TEST(ReadBmp, BearsAnyMask)
{
    CBmp bmp{.bits = 32, .compression = 3, .pixels = Bytes({255, 255, 255, 255})};
    bmp.masks = {0xFFFFFFFF, 0, 0x80000001}; // all bits, none, and two far apart
    ExpectImage(bmp.Make(), Bgr(1, 1, {255, 0, 255}), "32-bit RGB BMP");
}

/// Greys that are 16 times their number, so that run lengths of 4 bits can be told.
std::vector<std::byte> SixteenGreys()
{
    std::vector<std::byte> palette{};
    for (int i = 0; i < 16; ++i) {
        Append(palette, Bytes({16 * i, 16 * i, 16 * i, 0}));
    }
    return palette;
}

CBmp RunLengths8(int width, int height, const std::vector<std::byte>& runs)
{
    return {.width = width,
            .height = height,
            .bits = 8,
            .compression = 1,
            .coloursUsed = 16,
            .palette = SixteenGreys(),
            .pixels = runs};
}

TEST(ReadBmp, UnpacksRunLengthsOf8Bits)
{
    // Bottom row: three 1, three single pixels 2 3 4 with a fill byte, end of row. Top row: onwards by 2, four 5.
    const auto runs = Bytes({3, 1, 0, 3, 2, 3, 4, 0, 0, 0, 0, 2, 2, 0, 4, 5, 0, 1});
    ExpectImage(RunLengths8(6, 2, runs).Make(), Grey(6, 2, {0, 0, 80, 80, 80, 80, 16, 16, 16, 32, 48, 64}),
                "8-bit palette BMP in run lengths");
}

TEST(ReadBmp, UnpacksRunLengthsOf4Bits)
{
    // Bottom row: five of 1 and 2 in turn. Onwards by a row and back at column 5: a new row, three single pixels
    // 3 4 5 in two bytes.
    const auto runs = Bytes({5, 0x12, 0, 0, 0, 3, 0x34, 0x50, 0, 1});
    CBmp bmp = RunLengths8(5, 2, runs);
    bmp.bits = 4;
    bmp.compression = 2;
    ExpectImage(bmp.Make(), Grey(5, 2, {48, 64, 80, 0, 0, 16, 32, 16, 32, 16}),
                "4-bit palette BMP in run lengths");
}

TEST(ReadBmp, RefusesRunLengthsThatLeaveTheImage)
{
    const std::string outside = "BMP whose run lengths leave the image";
    ExpectBroken(RunLengths8(2, 1, Bytes({3, 1, 0, 1})).Make(), outside);
    ExpectBroken(RunLengths8(2, 1, Bytes({0, 3, 1, 1, 1, 0, 0, 1})).Make(), outside);
    ExpectBroken(RunLengths8(2, 1, Bytes({0, 0, 1, 1, 0, 1})).Make(), outside);
    ExpectBroken(RunLengths8(2, 1, Bytes({0, 2, 0, 255, 1, 1, 0, 1})).Make(), outside);
}

TEST(ReadBmp, RefusesRunLengthsWithoutAnEnd)
{
    ExpectBroken(RunLengths8(2, 1, Bytes({2, 1})).Make(), "BMP cut short: its run lengths have no end");
    ExpectBroken(RunLengths8(9, 1, Bytes({0, 9, 1, 2})).Make(),
                 "BMP run cut short: 2 bytes, needs at least 9");
}

TEST(ReadBmp, RefusesWhatItDoesNotKnow)
{
    CBmp bmp = TrueColour();
    bmp.headerBytes = 64;
    ExpectUnsupported(bmp.Make(), "BMP with a header of 64 bytes");
    bmp = TrueColour();
    bmp.bits = 2;
    ExpectUnsupported(bmp.Make(), "2-bit BMP");
    bmp = TrueColour();
    for (const std::uint32_t compression : {1U, 3U, 4U, 5U, 99U}) {
        bmp.compression = compression;
        ExpectUnsupported(bmp.Make(), "24-bit BMP with compression " + std::to_string(compression));
    }
}

TEST(ReadBmp, RefusesSizesThatLie)
{
    CBmp bmp = TrueColour();
    bmp.width = 0;
    ExpectBroken(bmp.Make(), "BMP of 0 by 2 pixels");
    bmp = TrueColour();
    bmp.height = 0;
    ExpectBroken(bmp.Make(), "BMP of 2 by 0 pixels");
    bmp = TrueColour();
    bmp.width = -2;
    ExpectUnsupported(bmp.Make(), "BMP of 4294967294 by 2 pixels, which is too large");
    bmp = TrueColour();
    bmp.height = std::numeric_limits<std::int32_t>::min();
    ExpectUnsupported(bmp.Make(), "BMP of 2 by 2147483648 pixels, which is too large");
    bmp = TrueColour();
    bmp.height = 10000; // 9999 rows of 8 bytes and one of 6 behind 54 bytes
    ExpectBroken(bmp.Make(), "BMP cut short: 70 bytes, needs at least 80052");
    bmp = RunLengths8(20000, 20000, Bytes({0, 1}));
    ExpectBroken(bmp.Make(), "BMP cut short: 120 bytes, needs at least 195312");
}

TEST(ReadBmp, RefusesPixelsThatBeginBehindTheEnd)
{
    std::vector<std::byte> file = TrueColour().Make();
    file[13] = std::byte{0xFF};
    ExpectBroken(file, "BMP cut short: 70 bytes, needs at least 4278190148");
    file = RunLengths8(2, 1, Bytes({0, 1})).Make();
    file[13] = std::byte{0xFF};
    ExpectBroken(file, "BMP cut short: 120 bytes, needs at least 4278190198");
}

TEST(ReadBmp, GivesNoImageOfTheBeginningOfAFile)
{
    ExpectNoImageOfAnyBeginning(TrueColour().Make(), 2);
    ExpectNoImageOfAnyBeginning(RunLengths8(6, 2, Bytes({3, 1, 0, 3, 2, 3, 4, 0, 0, 0, 4, 5, 0, 1})).Make());
    CBmp bmp{.headerBytes = 108, .bits = 32, .compression = 3, .pixels = Bytes({1, 2, 3, 77})};
    bmp.masks = {0xFF0000, 0xFF00, 0xFF, 0xFF000000};
    ExpectNoImageOfAnyBeginning(bmp.Make());
}

TEST(ReadBmp, SurvivesChangedBytes)
{
    ExpectSurvivesChangedBytes(TrueColour().Make(), 1, 3000);
    ExpectSurvivesChangedBytes(RunLengths8(6, 2, Bytes({3, 1, 0, 3, 2, 3, 4, 0, 0, 0, 4, 5, 0, 1})).Make(), 2,
                               3000);
}

} // namespace
} // namespace platform
