// TIFF files as libtiff writes them.
#include "tests/platform/imagetestsupport.h"
#include "tests/support/temporaryfolder.h"

#include <tiffio.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <stdexcept>

namespace platform {
namespace {

using namespace ImageTest;

/// What to write, as libtiff wants it.
struct CTiffFile
{
    std::uint32_t width = 1;
    std::uint32_t height = 1;
    int bits = 8;
    int samples = 1;
    int sampleFormat = SAMPLEFORMAT_UINT;
    int photometric = PHOTOMETRIC_MINISBLACK;
    std::vector<std::vector<std::byte>>
        planes{};            ///< one, or as many as samples; whole rows of this machine's numbers
    const char* mode = "wl"; ///< "wb": big-endian, "wl8": big file
    int compression = COMPRESSION_NONE;
    int predictor = PREDICTOR_NONE;
    int orientation = ORIENTATION_TOPLEFT;
    std::uint32_t rowsPerStrip = 5;
    std::uint32_t tileSize = 0;           ///< not 0: square tiles
    int chroma = 1;                       ///< chroma is that much coarser
    std::vector<std::uint16_t> palette{}; ///< all red, all green, all blue

    std::vector<std::byte> Make() const
    {
        const TestSupport::CTemporaryFolder folder;
        const std::string path = folder / "image";
        TIFF* const tiff = TIFFOpen(path.c_str(), mode);
        SetFields(tiff);
        for (std::size_t plane = 0; plane < planes.size(); ++plane) {
            tileSize == 0 ? WriteStrips(tiff, plane) : WriteTiles(tiff, plane);
        }
        TIFFClose(tiff);
        return Bytes(TestSupport::ReadFile(path));
    }

private:
    void SetFields(TIFF* tiff) const
    {
        TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, width);
        TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, height);
        TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, bits);
        TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, samples);
        TIFFSetField(tiff, TIFFTAG_SAMPLEFORMAT, sampleFormat);
        TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, photometric);
        TIFFSetField(tiff, TIFFTAG_PLANARCONFIG,
                     planes.size() > 1 ? PLANARCONFIG_SEPARATE : PLANARCONFIG_CONTIG);
        TIFFSetField(tiff, TIFFTAG_COMPRESSION, compression);
        TIFFSetField(tiff, TIFFTAG_ORIENTATION, orientation);
        if (predictor != PREDICTOR_NONE) {
            TIFFSetField(tiff, TIFFTAG_PREDICTOR, predictor);
        }
        if (photometric == PHOTOMETRIC_YCBCR) {
            TIFFSetField(tiff, TIFFTAG_YCBCRSUBSAMPLING, chroma, chroma);
        }
        if (compression == COMPRESSION_JPEG) {
            TIFFSetField(tiff, TIFFTAG_JPEGQUALITY, 100);
            TIFFSetField(tiff, TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
        }
        if (!palette.empty()) {
            const std::size_t count = palette.size() / 3;
            TIFFSetField(tiff, TIFFTAG_COLORMAP, palette.data(), palette.data() + count,
                         palette.data() + 2 * count);
        }
        if (tileSize != 0) {
            TIFFSetField(tiff, TIFFTAG_TILEWIDTH, tileSize);
            TIFFSetField(tiff, TIFFTAG_TILELENGTH, tileSize);
        } else {
            TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, rowsPerStrip);
        }
    }

    std::size_t RowBytes(std::uint32_t pixels) const
    {
        const int together = planes.size() > 1 ? 1 : samples;
        return (std::size_t{pixels} * static_cast<std::size_t>(bits * together) + 7) / 8;
    }

    void WriteStrips(TIFF* tiff, std::size_t plane) const
    {
        for (std::uint32_t y = 0; y < height; y += rowsPerStrip) {
            const std::size_t rows = std::min(rowsPerStrip, height - y);
            const auto first = planes[plane].begin() + static_cast<std::ptrdiff_t>(y * RowBytes(width));
            std::vector<std::byte> copy(first, first + static_cast<std::ptrdiff_t>(rows * RowBytes(width)));
            const auto strip = TIFFComputeStrip(tiff, y, static_cast<std::uint16_t>(plane));
            if (TIFFWriteEncodedStrip(tiff, strip, copy.data(), static_cast<tmsize_t>(copy.size())) < 0) {
                throw std::logic_error("libtiff writes no such strip");
            }
        }
    }

    void WriteTiles(TIFF* tiff, std::size_t plane) const
    {
        for (std::uint32_t y = 0; y < height; y += tileSize) {
            for (std::uint32_t x = 0; x < width; x += tileSize) {
                std::vector<std::byte> tile(RowBytes(tileSize) * tileSize,
                                            std::byte{0x5A}); // 0x5A: no pixel's
                for (std::uint32_t row = 0; row < std::min(tileSize, height - y); ++row) {
                    std::memcpy(tile.data() + row * RowBytes(tileSize),
                                planes[plane].data() + (y + row) * RowBytes(width) + RowBytes(x),
                                RowBytes(std::min(tileSize, width - x)));
                }
                if (TIFFWriteTile(tiff, tile.data(), x, y, 0, static_cast<std::uint16_t>(plane)) < 0) {
                    throw std::logic_error("libtiff writes no such tile");
                }
            }
        }
    }
};

/// What libtiff calls a format, and how the codec does.
struct CKind
{
    EPixelFormat format;
    int bits;
    int samples;
    int sampleFormat;
    const char* description;
};

constexpr std::array c_Kinds{
    CKind{EPixelFormat::eGray8, 8, 1, SAMPLEFORMAT_UINT, "8-bit grey TIFF"},
    CKind{EPixelFormat::eGrayInt8, 8, 1, SAMPLEFORMAT_INT, "8-bit signed grey TIFF"},
    CKind{EPixelFormat::eGray16, 16, 1, SAMPLEFORMAT_UINT, "16-bit grey TIFF"},
    CKind{EPixelFormat::eGrayInt16, 16, 1, SAMPLEFORMAT_INT, "16-bit signed grey TIFF"},
    CKind{EPixelFormat::eGrayUInt32, 32, 1, SAMPLEFORMAT_UINT, "32-bit grey TIFF"},
    CKind{EPixelFormat::eGrayInt32, 32, 1, SAMPLEFORMAT_INT, "32-bit signed grey TIFF"},
    CKind{EPixelFormat::eGrayFloat, 32, 1, SAMPLEFORMAT_IEEEFP, "32-bit float grey TIFF"},
    CKind{EPixelFormat::eGrayDouble, 64, 1, SAMPLEFORMAT_IEEEFP, "64-bit float grey TIFF"},
    CKind{EPixelFormat::eBgr8, 8, 3, SAMPLEFORMAT_UINT, "8-bit RGB TIFF"},
    CKind{EPixelFormat::eBgra8, 8, 4, SAMPLEFORMAT_UINT, "8-bit RGB with alpha TIFF"},
    CKind{EPixelFormat::eBgrFloat, 32, 3, SAMPLEFORMAT_IEEEFP, "32-bit float RGB TIFF"},
};

/// The image's samples as TIFF stores them: red first, together or a plane each.
std::vector<std::vector<std::byte>> Planes(const CPixels& image, const CKind& kind, bool separate)
{
    const auto samples = static_cast<std::size_t>(kind.samples);
    const std::size_t bytes = static_cast<std::size_t>(kind.bits) / 8;
    std::vector<std::vector<std::byte>> planes(separate ? samples : 1);
    for (std::size_t pixel = 0; pixel < image.bytes.size(); pixel += samples * bytes) {
        for (std::size_t sample = 0; sample < samples; ++sample) {
            const std::size_t channel = samples > 1 && sample < 3 ? 2 - sample : sample;
            const auto first = image.bytes.begin() + static_cast<std::ptrdiff_t>(pixel + channel * bytes);
            auto& plane = planes[separate ? sample : 0];
            plane.insert(plane.end(), first, first + static_cast<std::ptrdiff_t>(bytes));
        }
    }
    return planes;
}

CTiffFile FileOf(const CPixels& image, const CKind& kind, bool separate = false)
{
    CTiffFile file;
    file.width = static_cast<std::uint32_t>(image.width);
    file.height = static_cast<std::uint32_t>(image.height);
    file.bits = kind.bits;
    file.samples = kind.samples;
    file.sampleFormat = kind.sampleFormat;
    file.photometric = kind.samples > 1 ? PHOTOMETRIC_RGB : PHOTOMETRIC_MINISBLACK;
    file.planes = Planes(image, kind, separate);
    return file;
}

/// The file with the value of a number in its directory replaced; little-endian classic files only.
std::vector<std::byte> WithTag(std::vector<std::byte> file, std::uint16_t tag, std::uint32_t value)
{
    const auto number = [&file](std::size_t at, std::size_t bytes) {
        std::size_t result = 0;
        for (std::size_t i = bytes; i-- > 0;) {
            result = result << 8 | std::to_integer<std::size_t>(file.at(at + i));
        }
        return result;
    };
    const std::size_t directory = number(4, 4);
    for (std::size_t i = 0; i < number(directory, 2); ++i) {
        const std::size_t entry = directory + 2 + 12 * i;
        if (number(entry, 2) == tag) {
            file[entry + 2] = std::byte{4}; // a number of 32 bits
            for (std::size_t byte = 0; byte < 4; ++byte) {
                file[entry + 8 + byte] = static_cast<std::byte>(value >> (8 * byte));
            }
            return file;
        }
    }
    throw std::logic_error("no such tag");
}

std::vector<std::byte> SmallTiff(int compression = COMPRESSION_NONE)
{
    return CTiffFile{
        .width = 3, .height = 2, .planes = {Bytes({1, 2, 3, 4, 5, 6})}, .compression = compression}
        .Make();
}

TEST(ReadTiff, TakesEveryFormatInEveryOrderLayoutAndCompression)
{
    for (const CKind& kind : c_Kinds) {
        const CPixels image = RandomImage(37, 21, kind.format, 1);
        for (const bool separate : {false, true}) {
            if (separate && kind.samples == 1) {
                continue;
            }
            CTiffFile file = FileOf(image, kind, separate);
            for (const char* const mode : {"wl", "wb", "wl8", "wb8"}) {
                for (const std::uint32_t tileSize : {0U, 16U}) {
                    for (const int compression : {COMPRESSION_NONE, COMPRESSION_LZW,
                                                  COMPRESSION_ADOBE_DEFLATE, COMPRESSION_PACKBITS}) {
                        if (std::strlen(mode) == 3 && compression != COMPRESSION_NONE) {
                            continue; // a big file differs in its directory alone
                        }
                        SCOPED_TRACE(std::string(mode) + " tiles " + std::to_string(tileSize) +
                                     " compression " + std::to_string(compression));
                        file.mode = mode;
                        file.tileSize = tileSize;
                        file.compression = compression;
                        ExpectImage(file.Make(), image, kind.description);
                    }
                }
            }
        }
    }
}

TEST(ReadTiff, TakesDeflateByItsOldNumber)
{
    const std::vector<std::byte> file = SmallTiff(COMPRESSION_ADOBE_DEFLATE);
    ExpectImage(WithTag(file, TIFFTAG_COMPRESSION, COMPRESSION_DEFLATE),
                Image<std::uint8_t>(3, 2, EPixelFormat::eGray8, {1, 2, 3, 4, 5, 6}), "8-bit grey TIFF");
}

TEST(ReadTiff, UndoesPredictors)
{
    for (const CKind& kind : c_Kinds) {
        const CPixels image = RandomImage(37, 21, kind.format, 2);
        CTiffFile file = FileOf(image, kind);
        file.compression = COMPRESSION_LZW;
        const bool isFloat = kind.sampleFormat == SAMPLEFORMAT_IEEEFP;
        file.predictor = isFloat ? PREDICTOR_FLOATINGPOINT : PREDICTOR_HORIZONTAL;
        ExpectImage(file.Make(), image, kind.description);
        if (!isFloat) { // on little-endian machines libtiff 4.5 writes big-endian floats that it reads otherwise
            file.mode = "wb";
            ExpectImage(file.Make(), image, kind.description);
        }
    }
}

TEST(ReadTiff, ScalesGreyOfFewBits)
{
    // The numbers 0 to 3 in each number of bits, of which 1 bit holds the lowest.
    const std::array<std::pair<int, std::vector<std::byte>>, 3> files{
        {{1, Bytes({0x50})}, {2, Bytes({0x1B})}, {4, Bytes({0x01, 0x23})}}};
    const std::array<std::vector<std::uint8_t>, 3> expected{
        {{0, 255, 0, 255}, {0, 85, 170, 255}, {0, 17, 34, 51}}};
    for (std::size_t i = 0; i < files.size(); ++i) {
        CTiffFile file{.width = 4, .bits = files[i].first, .planes = {files[i].second}};
        const std::string description = std::to_string(files[i].first) + "-bit grey TIFF";
        ExpectImage(file.Make(), Image(4, 1, EPixelFormat::eGray8, expected[i]), description);
        file.photometric = PHOTOMETRIC_MINISWHITE;
        std::vector<std::uint8_t> inverted = expected[i];
        for (std::uint8_t& value : inverted) {
            value = static_cast<std::uint8_t>(255 - value);
        }
        ExpectImage(file.Make(), Image(4, 1, EPixelFormat::eGray8, inverted), description);
    }
}

TEST(ReadTiff, TakesSingleBitsFromTilesAndRowsThatEndWithinAByte)
{
    // 18 by 17 pixels, so that the second tile of 16 has two columns and the third one row.
    CPixels image = RandomImage(18, 17, EPixelFormat::eGray8, 3);
    CTiffFile file{.width = 18, .height = 17, .bits = 1, .planes = {std::vector<std::byte>(3 * 17)}};
    for (std::size_t i = 0; i < image.bytes.size(); ++i) {
        const bool isWhite = image.bytes[i] > std::byte{127};
        image.bytes[i] = isWhite ? std::byte{255} : std::byte{0};
        if (isWhite) {
            file.planes[0][i / 18 * 3 + i % 18 / 8] |= std::byte{0x80} >> (i % 18 % 8);
        }
    }
    ExpectImage(file.Make(), image, "1-bit grey TIFF");
    file.tileSize = 16;
    ExpectImage(file.Make(), image, "1-bit grey TIFF");
}

TEST(ReadTiff, InvertsUnsignedNumbersWhoseZeroIsWhite)
{
    const std::vector<std::uint16_t> numbers{0, 1, 0x1234, 0xFFFF};
    CTiffFile file = FileOf(Image(4, 1, EPixelFormat::eGray16, numbers), c_Kinds[2]);
    file.photometric = PHOTOMETRIC_MINISWHITE;
    file.mode = "wb";
    ExpectImage(file.Make(),
                Image<std::uint16_t>(4, 1, EPixelFormat::eGray16, {65535, 65534, 65535 - 0x1234, 0}),
                "16-bit grey TIFF");
    file = FileOf(Image<std::uint32_t>(2, 1, EPixelFormat::eGrayUInt32, {0, 5}), c_Kinds[4]);
    file.photometric = PHOTOMETRIC_MINISWHITE;
    ExpectImage(file.Make(), Image<std::uint32_t>(2, 1, EPixelFormat::eGrayUInt32, {4294967295, 4294967290}),
                "32-bit grey TIFF");
}

TEST(ReadTiff, TakesGreyWithAlpha)
{
    CTiffFile file{.width = 2, .samples = 2, .planes = {Bytes({10, 20, 30, 40})}};
    const CPixels expected =
        Image<std::uint8_t>(2, 1, EPixelFormat::eBgra8, {10, 10, 10, 20, 30, 30, 30, 40});
    ExpectImage(file.Make(), expected, "8-bit grey with alpha TIFF");
    file.planes = {Bytes({10, 30}), Bytes({20, 40})};
    ExpectImage(file.Make(), expected, "8-bit grey with alpha TIFF");
    const CPixels inverted =
        Image<std::uint8_t>(2, 1, EPixelFormat::eBgra8, {245, 245, 245, 20, 225, 225, 225, 40});
    file.photometric = PHOTOMETRIC_MINISWHITE;
    ExpectImage(file.Make(), inverted, "8-bit grey with alpha TIFF");
    file.planes = {Bytes({10, 20, 30, 40})};
    ExpectImage(file.Make(), inverted, "8-bit grey with alpha TIFF");
}

TEST(ReadTiff, TakesPalettesOfEveryDepth)
{
    const std::array<std::pair<int, int>, 4> depths{
        {{1, 0x80}, {2, 0x40}, {4, 0x10}, {8, 0x01}}}; // 1, then 0
    const CPixels expected = Image<std::uint8_t>(2, 1, EPixelFormat::eBgr8, {6, 4, 2, 5, 3, 1});
    for (const auto& [bits, first] : depths) {
        CTiffFile file{
            .width = 2, .bits = bits, .photometric = PHOTOMETRIC_PALETTE, .planes = {Bytes({first, 0})}};
        const std::size_t colours = std::size_t{1} << bits;
        for (const bool wide :
             {true, false}) { // 16 bits as the format wants, or bytes as some programs write
            file.palette.assign(3 * colours, 0);
            for (std::uint16_t i = 0; i < 6; ++i) { // red 1 2, green 3 4, blue 5 6
                file.palette[i / 2 * colours + i % 2] =
                    static_cast<std::uint16_t>((i + 1) * (wide ? 257 : 1));
            }
            ExpectImage(file.Make(), expected, std::to_string(bits) + "-bit palette TIFF");
        }
    }
}

TEST(ReadTiff, TurnsMirrorImages)
{
    const CPixels image = Image<std::uint16_t>(2, 2, EPixelFormat::eGray16, {1, 2, 0x301, 0x402});
    CTiffFile file = FileOf(image, c_Kinds[2]);
    file.orientation = ORIENTATION_TOPRIGHT;
    ExpectImage(file.Make(), Image<std::uint16_t>(2, 2, EPixelFormat::eGray16, {2, 1, 0x402, 0x301}),
                "16-bit grey TIFF");
    file.orientation = ORIENTATION_BOTRIGHT;
    ExpectImage(file.Make(), Image<std::uint16_t>(2, 2, EPixelFormat::eGray16, {0x402, 0x301, 2, 1}),
                "16-bit grey TIFF");
    file.orientation = ORIENTATION_BOTLEFT;
    ExpectImage(file.Make(), Image<std::uint16_t>(2, 2, EPixelFormat::eGray16, {0x301, 0x402, 1, 2}),
                "16-bit grey TIFF");
    for (const int sideways : {5, 6, 7, 8}) {
        file.orientation = sideways;
        ExpectUnsupported(file.Make(), "16-bit grey TIFF turned on its side");
    }
}

/// At quality 100, of slopes that halved chroma keeps too; the same bounds as for JPEG files.
constexpr int kGreyTolerance = 2;
constexpr int kColourTolerance = 5;

void ExpectNear(const CTiffFile& file, const CPixels& expected, const std::string& description, int tolerance)
{
    const CRead read = Read(file.Make());
    ASSERT_EQ(read.result, EImageFileResult::eOk) << read.description;
    EXPECT_EQ(read.description, description);
    ASSERT_EQ(read.image.bytes.size(), expected.bytes.size());
    EXPECT_EQ(read.image.format, expected.format);
    for (std::size_t i = 0; i < expected.bytes.size(); ++i) {
        EXPECT_NEAR(std::to_integer<int>(read.image.bytes[i]), std::to_integer<int>(expected.bytes[i]),
                    tolerance)
            << i;
    }
}

/// Slopes of 37 by 21 pixels.
CPixels Slopes(const CKind& kind)
{
    CPixels image{37, 21, kind.format, {}};
    for (int y = 0; y < image.height; ++y) {
        for (int x = 0; x < image.width; ++x) {
            for (int channel = 0; channel < kind.samples; ++channel) {
                image.bytes.push_back(static_cast<std::byte>(40 + 50 * channel + 2 * x + y));
            }
        }
    }
    return image;
}

TEST(ReadTiff, TakesJpegWithin)
{
    for (const CKind& kind : {c_Kinds[0], c_Kinds[8]}) {
        const CPixels image = Slopes(kind);
        CTiffFile file = FileOf(image, kind);
        file.compression = COMPRESSION_JPEG;
        file.rowsPerStrip = 16;
        for (const std::uint32_t tileSize : {0U, 16U}) {
            file.tileSize = tileSize;
            ExpectNear(file, image, kind.description, kGreyTolerance);
        }
    }
    const CPixels image = Slopes(c_Kinds[8]);
    CTiffFile file = FileOf(image, c_Kinds[8]);
    file.compression = COMPRESSION_JPEG;
    file.photometric = PHOTOMETRIC_YCBCR;
    file.rowsPerStrip = 16;
    for (const int chroma : {1, 2}) {
        file.chroma = chroma;
        ExpectNear(file, image, "8-bit YCbCr TIFF", kColourTolerance);
    }
}

TEST(ReadTiff, RefusesWhatHasNoCounterpart)
{
    const auto expect = [](const CTiffFile& file, const char* description) {
        ExpectUnsupported(file.Make(), description);
    };
    const auto bytes = [](std::size_t count) { return std::vector(1, std::vector<std::byte>(count)); };
    expect({.bits = 16, .samples = 3, .photometric = PHOTOMETRIC_RGB, .planes = bytes(6)}, "16-bit RGB TIFF");
    expect({.bits = 16, .samples = 2, .planes = bytes(4)}, "16-bit grey with alpha TIFF");
    expect({.samples = 5, .photometric = PHOTOMETRIC_RGB, .planes = bytes(5)}, "8-bit RGB of 5 samples TIFF");
    expect({.samples = 3, .planes = bytes(3)}, "8-bit grey of 3 samples TIFF");
    expect({.samples = 4, .photometric = PHOTOMETRIC_SEPARATED, .planes = bytes(4)}, "8-bit CMYK TIFF");
    expect({.samples = 3, .photometric = PHOTOMETRIC_CIELAB, .planes = bytes(3)}, "8-bit CIELAB TIFF");
    expect({.samples = 3, .photometric = PHOTOMETRIC_YCBCR, .planes = bytes(3)}, "8-bit YCbCr TIFF");
    expect({.bits = 12, .planes = bytes(2)}, "12-bit grey TIFF");
    expect({.bits = 64, .planes = bytes(8)}, "64-bit grey TIFF");
    expect({.bits = 64, .sampleFormat = SAMPLEFORMAT_INT, .planes = bytes(8)}, "64-bit signed grey TIFF");
    expect({.bits = 16, .sampleFormat = SAMPLEFORMAT_IEEEFP, .planes = bytes(2)}, "16-bit float grey TIFF");
    expect({.bits = 64, .sampleFormat = SAMPLEFORMAT_COMPLEXIEEEFP, .planes = bytes(8)},
           "64-bit complex grey TIFF");
    expect({.bits = 32,
            .sampleFormat = SAMPLEFORMAT_IEEEFP,
            .photometric = PHOTOMETRIC_MINISWHITE,
            .planes = bytes(4)},
           "32-bit float grey TIFF");
    expect({.bits = 16,
            .samples = 1,
            .photometric = PHOTOMETRIC_PALETTE,
            .planes = bytes(2),
            .palette = std::vector<std::uint16_t>(3 * 65536)},
           "16-bit palette TIFF");
    expect({.bits = 1, .planes = bytes(1), .compression = COMPRESSION_CCITTFAX4},
           "1-bit grey TIFF with compression 4");
}

void ExpectBroken(const std::vector<std::byte>& file)
{
    const CRead read = Read(file);
    EXPECT_EQ(read.result, EImageFileResult::eBroken) << read.description;
    EXPECT_EQ(read.description.substr(0, 4), "TIFF");
}

TEST(ReadTiff, RefusesSizesThatLie)
{
    const std::vector<std::byte> file = SmallTiff();
    const std::string size = std::to_string(file.size());
    ExpectUnsupported(WithTag(file, TIFFTAG_IMAGEWIDTH, 0x80000000),
                      "TIFF of 2147483648 by 2 pixels, which is too large");
    ExpectUnsupported(
        WithTag(WithTag(file, TIFFTAG_IMAGELENGTH, 0x7FFFFFFF), TIFFTAG_ROWSPERSTRIP, 0x7FFFFFFF),
        "TIFF of 3 by 2147483647 pixels, which is too large");
    ImageTest::ExpectBroken(WithTag(file, TIFFTAG_IMAGEWIDTH, 10'000'000),
                            "TIFF cut short: " + size + " bytes, needs at least 20000000");
    ImageTest::ExpectBroken(WithTag(SmallTiff(COMPRESSION_LZW), TIFFTAG_IMAGEWIDTH, 10'000'000),
                            "TIFF cut short: " + std::to_string(SmallTiff(COMPRESSION_LZW).size()) +
                                " bytes, needs at least 9765");
    for (const std::uint16_t tag : {TIFFTAG_IMAGEWIDTH, TIFFTAG_IMAGELENGTH}) {
        for (const std::uint32_t value : {0U, 300U}) { // 300 is more than the whole file has
            ExpectBroken(WithTag(file, tag, value));
        }
    }
    ExpectBroken(WithTag(file, TIFFTAG_STRIPOFFSETS, 0xFFFFFFF0));
}

TEST(ReadTiff, RefusesTilesThatAreLargerThanTheFile)
{
    CTiffFile tiled = FileOf(RandomImage(16, 16, EPixelFormat::eGray8, 1), c_Kinds[0]);
    tiled.tileSize = 16;
    const std::vector<std::byte> file = tiled.Make();
    ExpectUnsupported(WithTag(WithTag(file, TIFFTAG_TILEWIDTH, 1U << 20), TIFFTAG_TILELENGTH, 1U << 20),
                      "TIFF in tiles of 1048576 by 1048576 pixels, which is too large");
    ImageTest::ExpectBroken(WithTag(file, TIFFTAG_TILELENGTH, 1U << 20),
                            "TIFF cut short: " + std::to_string(file.size()) +
                                " bytes, needs at least 16777216");
    ExpectBroken(WithTag(file, TIFFTAG_TILEWIDTH, 0));
    ExpectBroken(WithTag(file, TIFFTAG_TILELENGTH, 0));
}

TEST(ReadTiff, RefusesDirectoriesThatContradictThemselves)
{
    const std::vector<std::byte> file = SmallTiff();
    std::vector<std::byte> endless = file;
    endless[4] = endless[5] = endless[6] = endless[7] = std::byte{0}; // the directory at the file's begin
    ExpectBroken(endless);
    CTiffFile palette{.bits = 8, .photometric = PHOTOMETRIC_PALETTE, .planes = {Bytes({0})}};
    palette.palette.assign(std::size_t{3} * 256, 9);
    // The palette of a number of bits that is not the file's.
    EXPECT_NE(Read(WithTag(palette.Make(), TIFFTAG_BITSPERSAMPLE, 4)).result, EImageFileResult::eOk);
    // A palette of 4 bits that is not there. (For one of 8 bits libtiff takes the numbers as grey.)
    ExpectBroken(WithTag(WithTag(file, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_PALETTE), TIFFTAG_BITSPERSAMPLE, 4));
}

struct CEntry
{
    std::uint16_t tag;
    std::uint16_t type; ///< 1: byte, 3: 16 bits, 4: 32 bits
    std::uint32_t count;
    std::uint32_t value; ///< or where it stands
};

/// A little-endian classic file: its header, `body` from byte 8 on, and the directory.
std::vector<std::byte> HandMade(std::vector<std::byte> body, const std::vector<CEntry>& entries)
{
    body.resize((body.size() + 1) / 2 * 2);
    std::vector<std::byte> file = Bytes({'I', 'I', 42, 0});
    AppendLittle<std::uint32_t>(file, 8 + body.size());
    Append(file, body);
    AppendLittle<std::uint16_t>(file, entries.size());
    for (const CEntry& entry : entries) {
        AppendLittle<std::uint16_t>(file, entry.tag);
        AppendLittle<std::uint16_t>(file, entry.type);
        AppendLittle<std::uint32_t>(file, entry.count);
        AppendLittle<std::uint32_t>(file, entry.value);
    }
    AppendLittle<std::uint32_t>(file, 0);
    return file;
}

/// The same as a big file.
std::vector<std::byte> HandMadeBig(const std::vector<std::byte>& body, const std::vector<CEntry>& entries)
{
    std::vector<std::byte> file = Bytes({'I', 'I', 43, 0, 8, 0, 0, 0});
    AppendLittle<std::uint64_t>(file, 16 + body.size());
    Append(file, body);
    AppendLittle<std::uint64_t>(file, entries.size());
    for (const CEntry& entry : entries) {
        AppendLittle<std::uint16_t>(file, entry.tag);
        AppendLittle<std::uint16_t>(file, entry.type);
        AppendLittle<std::uint64_t>(file, entry.count);
        AppendLittle<std::uint64_t>(file, entry.value);
    }
    AppendLittle<std::uint64_t>(file, 0);
    return file;
}

/// One grey pixel, at byte 16, and `count` unknown tags, which all stand for the same `bytes` bytes.
std::vector<CEntry> PixelAndTags(std::uint32_t count, std::uint32_t bytes)
{
    std::vector<CEntry> entries{
        {TIFFTAG_IMAGEWIDTH, 4, 1, 1},    {TIFFTAG_IMAGELENGTH, 4, 1, 1},
        {TIFFTAG_BITSPERSAMPLE, 3, 1, 8}, {TIFFTAG_COMPRESSION, 3, 1, COMPRESSION_NONE},
        {TIFFTAG_PHOTOMETRIC, 3, 1, 1},   {TIFFTAG_STRIPOFFSETS, 4, 1, 16},
        {TIFFTAG_ROWSPERSTRIP, 4, 1, 1},  {TIFFTAG_STRIPBYTECOUNTS, 4, 1, 1}};
    for (std::uint32_t i = 0; i < count; ++i) {
        entries.push_back({static_cast<std::uint16_t>(40000 + i), 1, bytes, 16});
    }
    return entries;
}

TEST(ReadTiff, RefusesDirectoriesThatReferToMoreThanTheFile)
{
    constexpr std::uint32_t bytes = 1U << 20;
    const std::vector<std::byte> body(bytes + 16, std::byte{7});
    const CPixels pixel = Image<std::uint8_t>(1, 1, EPixelFormat::eGray8, {7});
    ExpectImage(HandMade(body, PixelAndTags(1, bytes)), pixel, "8-bit grey TIFF");
    ExpectImage(HandMadeBig(body, PixelAndTags(1, bytes)), pixel, "8-bit grey TIFF");

    // Each tag alone would be loaded, 3 GiB in all.
    const std::uint64_t values = std::uint64_t{3000} * bytes + 5 * 4 + 3 * 2; // with those of the pixel
    for (const auto& file :
         {HandMade(body, PixelAndTags(3000, bytes)), HandMadeBig(body, PixelAndTags(3000, bytes))}) {
        CRead read;
        EXPECT_LT(PeakMemoryOf([&] { read = Read(file); }), 64U << 20U);
        EXPECT_EQ(read.result, EImageFileResult::eBroken);
        EXPECT_EQ(read.description, "TIFF of " + std::to_string(file.size()) +
                                        " bytes whose directory refers to " + std::to_string(values));
    }
}

TEST(ReadTiff, PassesOverTagsWhoseValuesTheFileCannotHold)
{
    const CPixels pixel = Image<std::uint8_t>(1, 1, EPixelFormat::eGray8, {7});
    const std::vector<std::byte> body(16, std::byte{7});
    for (const std::uint32_t count : {1000U, 0x80000000U, 0xFFFFFFFFU}) {
        for (const std::uint16_t type : {1, 3, 4, 5, 12, 99}) {
            std::vector<CEntry> entries = PixelAndTags(0, 0);
            entries.push_back({40000, type, count, 16});
            ExpectImage(HandMade(body, entries), pixel, "8-bit grey TIFF");
            ExpectImage(HandMadeBig(body, entries), pixel, "8-bit grey TIFF");
        }
    }
}

TEST(ReadTiff, RefusesDirectoriesThatBeginOrEndBehindTheFile)
{
    const std::vector<std::byte> body(16, std::byte{7});
    for (const bool big : {false, true}) {
        const std::vector<std::byte> file =
            big ? HandMadeBig(body, PixelAndTags(0, 0)) : HandMade(body, PixelAndTags(0, 0));
        const std::size_t placeAt = big ? 8 : 4;
        const std::size_t countAt = big ? 32 : 24;
        for (const int high : {1, 0x7F, 0xFF}) {
            std::vector<std::byte> far = file;
            far[placeAt + (big ? 7 : 3)] = static_cast<std::byte>(high);
            ExpectBroken(far);
            std::vector<std::byte> long_ = file;
            long_[countAt + (big ? 7 : 1)] = static_cast<std::byte>(high);
            ExpectBroken(long_);
        }
    }
}

/// `rows` strips of one pixel that are all stored in the same bytes.
std::vector<std::byte> SharedStrips(std::uint32_t rows, int compression, const std::vector<std::byte>& strip)
{
    // Two rows at least: a single offset would stand in the directory.
    std::vector<std::byte> body = strip;
    body.resize((body.size() + 3) / 4 * 4);
    const auto offsetsAt = static_cast<std::uint32_t>(8 + body.size());
    for (std::uint32_t i = 0; i < rows; ++i) {
        AppendLittle<std::uint32_t>(body, 8);
    }
    for (std::uint32_t i = 0; i < rows; ++i) {
        AppendLittle<std::uint32_t>(body, strip.size());
    }
    return HandMade(body, {{TIFFTAG_IMAGEWIDTH, 4, 1, 1},
                           {TIFFTAG_IMAGELENGTH, 4, 1, rows},
                           {TIFFTAG_BITSPERSAMPLE, 3, 1, 8},
                           {TIFFTAG_COMPRESSION, 3, 1, static_cast<std::uint32_t>(compression)},
                           {TIFFTAG_PHOTOMETRIC, 3, 1, 1},
                           {TIFFTAG_STRIPOFFSETS, 4, rows, offsetsAt},
                           {TIFFTAG_ROWSPERSTRIP, 4, 1, 1},
                           {TIFFTAG_STRIPBYTECOUNTS, 4, rows, offsetsAt + 4 * rows}});
}

TEST(ReadTiff, RefusesStripsThatShareBytesWithoutPixels)
{
    // PackBits: 0x80 stands for nothing, and 0 7 for one byte of 7.
    std::vector<std::byte> idle(100'000, std::byte{0x80});
    idle.push_back(std::byte{0});
    idle.push_back(std::byte{7});
    const auto sevens = [](int rows) {
        return Image(1, rows, EPixelFormat::eGray8,
                     std::vector<std::uint8_t>(static_cast<std::size_t>(rows), 7));
    };
    ExpectImage(SharedStrips(2, COMPRESSION_PACKBITS, idle), sevens(2), "8-bit grey TIFF");
    // Small strips may be the same ones, as those of an empty image are.
    ExpectImage(SharedStrips(2000, COMPRESSION_PACKBITS, Bytes({0, 7})), sevens(2000), "8-bit grey TIFF");
    ImageTest::ExpectBroken(SharedStrips(2000, COMPRESSION_PACKBITS, idle),
                            "TIFF whose strips or tiles take 200004000 bytes for 2000");
}

TEST(ReadTiff, GivesNoImageOfTheBeginningOfAFile)
{
    // The directory stands last. The four bytes that end it, and what of the largest numbers is 0, may be missing.
    for (const int compression :
         {COMPRESSION_NONE, COMPRESSION_LZW, COMPRESSION_ADOBE_DEFLATE, COMPRESSION_PACKBITS}) {
        ExpectNoImageOfAnyBeginning(SmallTiff(compression), 4);
    }
}

TEST(ReadTiff, RefusesPixelsThatAreCutShort)
{
    // Of an uncompressed strip the length is known, and libtiff goes by that.
    for (const int compression :
         {COMPRESSION_LZW, COMPRESSION_ADOBE_DEFLATE, COMPRESSION_PACKBITS, COMPRESSION_JPEG}) {
        SCOPED_TRACE(compression);
        CTiffFile large = FileOf(RandomImage(64, 64, EPixelFormat::eGray8, 1), c_Kinds[0]);
        large.rowsPerStrip = 64;
        large.compression = compression;
        const std::vector<std::byte> file = large.Make();
        ASSERT_EQ(Read(file).result, EImageFileResult::eOk);
        for (const std::uint32_t length : {1U, 20U, 300U, 500U}) { // 0 would stand for the whole strip
            ExpectBroken(WithTag(file, TIFFTAG_STRIPBYTECOUNTS, length));
        }
    }
}

TEST(ReadTiff, SurvivesChangedBytes)
{
    for (const int compression :
         {COMPRESSION_NONE, COMPRESSION_LZW, COMPRESSION_ADOBE_DEFLATE, COMPRESSION_PACKBITS}) {
        ExpectSurvivesChangedBytes(SmallTiff(compression), static_cast<unsigned>(compression), 2000);
    }
    CTiffFile jpeg = FileOf(Slopes(c_Kinds[8]), c_Kinds[8]);
    jpeg.compression = COMPRESSION_JPEG;
    jpeg.photometric = PHOTOMETRIC_YCBCR;
    jpeg.rowsPerStrip = 16;
    ExpectSurvivesChangedBytes(jpeg.Make(), 1, 2000);
    CTiffFile tiled = FileOf(RandomImage(18, 5, EPixelFormat::eBgra8, 1), c_Kinds[9], true);
    tiled.tileSize = 16;
    ExpectSurvivesChangedBytes(tiled.Make(), 2, 2000);
}

TEST(ReadTiff, SaysNothingOnTheErrorStream)
{
    ::testing::internal::CaptureStderr();
    for (const int compression :
         {COMPRESSION_NONE, COMPRESSION_LZW, COMPRESSION_ADOBE_DEFLATE, COMPRESSION_PACKBITS}) {
        const std::vector<std::byte> file = SmallTiff(compression);
        ExpectNoImageOfAnyBeginning(file, 4);
        ExpectSurvivesChangedBytes(file, 1, 200);
    }
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
}

} // namespace
} // namespace platform
