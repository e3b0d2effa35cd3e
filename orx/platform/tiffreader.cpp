// TIFF through libtiff: reading.
#include "orx/platform/imagereaders.h"
#include "orx/platform/tiffdirectory.h"

#include <tiffio.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace platform {

namespace {

using namespace ImageFiles;

constexpr const char* c_sKind = "TIFF";

/// A file in memory as libtiff wants it, and what libtiff said about it. No exception may pass through libtiff.
struct CSource
{
    std::span<const std::byte> bytes;
    toff_t position = 0;
    std::array<char, 200> error{}; ///< the first
    bool isDamaged = false;        ///< the JPEG decoder has made up pixels

    static CSource& Of(thandle_t handle) { return *static_cast<CSource*>(handle); }

    static tmsize_t Read(thandle_t handle, void* target, tmsize_t length)
    {
        CSource& source = Of(handle);
        if (length <= 0 || source.position >= source.bytes.size()) {
            return 0;
        }
        const auto count =
            std::min<std::size_t>(static_cast<std::size_t>(length), source.bytes.size() - source.position);
        std::memcpy(target, source.bytes.data() + source.position, count);
        source.position += count;
        return static_cast<tmsize_t>(count);
    }
    static tmsize_t Write(thandle_t, void*, tmsize_t) { return -1; }
    static toff_t Seek(thandle_t handle, toff_t offset, int whence)
    {
        CSource& source = Of(handle);
        // Unsigned, so that an offset from a hostile file may wrap; Read tests where it leads.
        source.position = offset + (whence == SEEK_CUR   ? source.position
                                    : whence == SEEK_END ? source.bytes.size()
                                                         : 0);
        return source.position;
    }
    static int Close(thandle_t) { return 0; }
    static toff_t Size(thandle_t handle) { return Of(handle).bytes.size(); }
    static int Map(thandle_t handle, void** base, toff_t* size)
    {
        // libtiff only reads a mapped file that is open for reading.
        *base = const_cast<std::byte*>(Of(handle).bytes.data());
        *size = Of(handle).bytes.size();
        return 1;
    }
    static void Unmap(thandle_t, void*, toff_t) {}

    __attribute__((format(printf, 4, 0))) static int OnError(TIFF*, void* user, const char*,
                                                             const char* format, va_list values)
    {
        CSource& source = Of(user);
        if (source.error[0] == '\0') {
            std::vsnprintf(source.error.data(), source.error.size(), format, values);
        }
        return 1; // nobody else is told
    }
    static int OnWarning(TIFF*, void* user, const char* module, const char*, va_list)
    {
        if (module != nullptr && std::string_view(module) == "JPEGLib") {
            Of(user).isDamaged = true;
        }
        return 1;
    }
};

using CTiff = std::unique_ptr<TIFF, decltype(&TIFFClose)>;

CTiff Open(CSource& source)
{
    const std::unique_ptr<TIFFOpenOptions, decltype(&TIFFOpenOptionsFree)> options(TIFFOpenOptionsAlloc(),
                                                                                   TIFFOpenOptionsFree);
    // Tables of a small file are small; the first part leaves room for the decoders' own.
    constexpr std::uint64_t tables = std::uint64_t{4} << 20;
    const std::uint64_t most = std::min(c_iMaxBytes - 1, tables + source.bytes.size() * c_iMaxRatio);
    TIFFOpenOptionsSetMaxSingleMemAlloc(options.get(), static_cast<tmsize_t>(most));
    TIFFOpenOptionsSetErrorHandlerExtR(options.get(), CSource::OnError, &source);
    TIFFOpenOptionsSetWarningHandlerExtR(options.get(), CSource::OnWarning, &source);
    return {TIFFClientOpenExt("", "r", &source, CSource::Read, CSource::Write, CSource::Seek, CSource::Close,
                              CSource::Size, CSource::Map, CSource::Unmap, options.get()),
            TIFFClose};
}

/// What the pixels of the first image are.
struct CLayout
{
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::uint16_t bits = 0; ///< a sample
    std::uint16_t samples = 0;
    std::uint16_t sampleFormat = SAMPLEFORMAT_UINT;
    std::uint16_t photometric = 0;
    std::uint16_t planar = PLANARCONFIG_CONTIG;
    std::uint16_t compression = COMPRESSION_NONE;
    std::uint16_t orientation = ORIENTATION_TOPLEFT;

    bool IsGrey() const
    {
        return photometric == PHOTOMETRIC_MINISBLACK || photometric == PHOTOMETRIC_MINISWHITE;
    }
    bool IsPalette() const { return photometric == PHOTOMETRIC_PALETTE; }
    bool IsSeparate() const { return planar == PLANARCONFIG_SEPARATE; }
    bool IsUnsigned() const { return sampleFormat == SAMPLEFORMAT_UINT || sampleFormat == SAMPLEFORMAT_VOID; }

    /// Samples that stand together in a strip or tile.
    std::uint64_t SamplesTogether() const { return IsSeparate() ? 1 : samples; }
};

[[noreturn]] void RefuseError(const CSource& source)
{
    RefuseBroken(std::string("TIFF: ") + (source.error[0] != '\0' ? source.error.data() : "damaged"));
}

CLayout ReadLayout(TIFF* tiff)
{
    CLayout layout;
    if (TIFFGetField(tiff, TIFFTAG_IMAGEWIDTH, &layout.width) == 0 ||
        TIFFGetField(tiff, TIFFTAG_IMAGELENGTH, &layout.height) == 0) {
        RefuseBroken("TIFF without a width or height");
    }
    if (TIFFGetField(tiff, TIFFTAG_PHOTOMETRIC, &layout.photometric) == 0) {
        RefuseBroken("TIFF that does not say what its samples mean");
    }
    TIFFGetFieldDefaulted(tiff, TIFFTAG_BITSPERSAMPLE, &layout.bits);
    TIFFGetFieldDefaulted(tiff, TIFFTAG_SAMPLESPERPIXEL, &layout.samples);
    TIFFGetFieldDefaulted(tiff, TIFFTAG_SAMPLEFORMAT, &layout.sampleFormat);
    TIFFGetFieldDefaulted(tiff, TIFFTAG_PLANARCONFIG, &layout.planar);
    TIFFGetFieldDefaulted(tiff, TIFFTAG_COMPRESSION, &layout.compression);
    TIFFGetFieldDefaulted(tiff, TIFFTAG_ORIENTATION, &layout.orientation);
    return layout;
}

/// What one byte of the file can become at most; nothing for a compression that is not read.
std::optional<std::uint64_t> RatioOf(std::uint16_t compression)
{
    switch (compression) {
    case COMPRESSION_NONE:
        return 1;
    case COMPRESSION_LZW:
    case COMPRESSION_ADOBE_DEFLATE:
    case COMPRESSION_DEFLATE:
    case COMPRESSION_PACKBITS:
    case COMPRESSION_JPEG:
        return c_iMaxRatio;
    default:
        return std::nullopt;
    }
}

std::string PhotometricName(const CLayout& layout)
{
    switch (layout.photometric) {
    case PHOTOMETRIC_MINISBLACK:
    case PHOTOMETRIC_MINISWHITE:
        return "grey";
    case PHOTOMETRIC_RGB:
        return "RGB";
    case PHOTOMETRIC_PALETTE:
        return "palette";
    case PHOTOMETRIC_SEPARATED:
        return "CMYK";
    case PHOTOMETRIC_YCBCR:
        return "YCbCr";
    case PHOTOMETRIC_CIELAB:
        return "CIELAB";
    default:
        return "photometric " + std::to_string(layout.photometric);
    }
}

std::string Describe(const CLayout& layout)
{
    std::string text = std::to_string(layout.bits) + "-bit ";
    switch (layout.sampleFormat) {
    case SAMPLEFORMAT_INT:
        text += "signed ";
        break;
    case SAMPLEFORMAT_IEEEFP:
        text += "float ";
        break;
    case SAMPLEFORMAT_COMPLEXINT:
    case SAMPLEFORMAT_COMPLEXIEEEFP:
        text += "complex ";
        break;
    default:
        break;
    }
    text += PhotometricName(layout);
    const int usual = layout.IsGrey() || layout.IsPalette()         ? 1
                      : layout.photometric == PHOTOMETRIC_SEPARATED ? 4
                                                                    : 3;
    if (layout.samples == usual + 1) {
        text += " with alpha";
    } else if (layout.samples != usual) {
        text += " of " + std::to_string(layout.samples) + " samples";
    }
    text += " TIFF";
    if (!RatioOf(layout.compression)) {
        text += " with compression " + std::to_string(layout.compression);
    }
    if (layout.orientation > ORIENTATION_BOTLEFT) {
        text += " turned on its side";
    }
    return text;
}

std::optional<EPixelFormat> GreyFormat(const CLayout& layout)
{
    if (layout.IsUnsigned()) {
        switch (layout.bits) {
        case 1:
        case 2:
        case 4:
        case 8:
            return EPixelFormat::eGray8;
        case 16:
            return EPixelFormat::eGray16;
        case 32:
            return EPixelFormat::eGrayUInt32;
        default:
            return std::nullopt;
        }
    }
    if (layout.photometric == PHOTOMETRIC_MINISWHITE) {
        return std::nullopt; // no white that a signed or floating-point number could be taken from
    }
    if (layout.sampleFormat == SAMPLEFORMAT_INT) {
        return layout.bits == 8    ? std::optional(EPixelFormat::eGrayInt8)
               : layout.bits == 16 ? std::optional(EPixelFormat::eGrayInt16)
               : layout.bits == 32 ? std::optional(EPixelFormat::eGrayInt32)
                                   : std::nullopt;
    }
    if (layout.sampleFormat == SAMPLEFORMAT_IEEEFP) {
        return layout.bits == 32   ? std::optional(EPixelFormat::eGrayFloat)
               : layout.bits == 64 ? std::optional(EPixelFormat::eGrayDouble)
                                   : std::nullopt;
    }
    return std::nullopt;
}

std::optional<EPixelFormat> ColourFormat(const CLayout& layout)
{
    const bool bytes = layout.IsUnsigned() && layout.bits == 8;
    switch (layout.photometric) {
    case PHOTOMETRIC_RGB:
        if (layout.samples == 3 && layout.sampleFormat == SAMPLEFORMAT_IEEEFP && layout.bits == 32) {
            return EPixelFormat::eBgrFloat;
        }
        return !bytes                ? std::nullopt
               : layout.samples == 3 ? std::optional(EPixelFormat::eBgr8)
               : layout.samples == 4 ? std::optional(EPixelFormat::eBgra8)
                                     : std::nullopt;
    case PHOTOMETRIC_YCBCR: // the JPEG decoder gives RGB
        return bytes && layout.samples == 3 && !layout.IsSeparate() && layout.compression == COMPRESSION_JPEG
                   ? std::optional(EPixelFormat::eBgr8)
                   : std::nullopt;
    case PHOTOMETRIC_PALETTE:
        return layout.samples == 1 && layout.IsUnsigned() && GreyFormat(layout) == EPixelFormat::eGray8
                   ? std::optional(EPixelFormat::eBgr8)
                   : std::nullopt;
    default:
        return std::nullopt;
    }
}

std::optional<EPixelFormat> FormatOf(const CLayout& layout)
{
    if (!RatioOf(layout.compression) || layout.orientation > ORIENTATION_BOTLEFT) {
        return std::nullopt;
    }
    if (!layout.IsGrey()) {
        return ColourFormat(layout);
    }
    if (layout.samples == 2) {
        return layout.IsUnsigned() && layout.bits == 8 ? std::optional(EPixelFormat::eBgra8) : std::nullopt;
    }
    return layout.samples == 1 ? GreyFormat(layout) : std::nullopt;
}

using CBgr = std::array<std::byte, 3>;

/// Colours of all numbers of `bits` bits; empty where the file has none.
std::vector<CBgr> ReadPalette(TIFF* tiff, unsigned bits)
{
    std::array<std::uint16_t*, 3> channels{}; // red, green, blue, owned by libtiff
    if (TIFFGetField(tiff, TIFFTAG_COLORMAP, &channels[0], &channels[1], &channels[2]) == 0) {
        return {};
    }
    const std::size_t count = std::size_t{1} << bits;
    // Some writers store bytes where the format wants 16 bits.
    const bool wide = std::ranges::any_of(channels, [count](const std::uint16_t* values) {
        return std::any_of(values, values + count, [](std::uint16_t value) { return value > 255; });
    });
    std::vector<CBgr> palette(count);
    for (std::size_t i = 0; i < count; ++i) {
        for (std::size_t channel = 0; channel < 3; ++channel) {
            palette[i][2 - channel] = static_cast<std::byte>(channels[channel][i] >> (wide ? 8 : 0));
        }
    }
    return palette;
}

/// Puts the rows of strips and tiles in their places.
class CPlacer
{
public:
    CPlacer(CPixels& image, const CLayout& layout, std::vector<CBgr> palette)
        : m_Image(image), m_Layout(layout), m_Palette(std::move(palette))
    {}

    /// Places `count` pixels from (x, y) on; of one sample, `plane`, where the planes are separate.
    void Put(const std::byte* row, std::size_t x, std::size_t y, std::size_t count, std::size_t plane)
    {
        const std::size_t pixelBytes = BytesPerPixel(m_Image.format);
        std::byte* const target = RowOf(m_Image, y).data() + x * pixelBytes;
        if (m_Layout.IsPalette()) {
            for (std::size_t i = 0; i < count; ++i) {
                std::memcpy(target + 3 * i, m_Palette[PackedNumber(row, i, m_Layout.bits)].data(), 3);
            }
        } else if (m_Layout.samples == 1 && m_Layout.bits < 8) {
            const unsigned white = (1U << m_Layout.bits) - 1U;
            for (std::size_t i = 0; i < count; ++i) {
                target[i] = static_cast<std::byte>(PackedNumber(row, i, m_Layout.bits) * 255U / white);
            }
        } else if (m_Layout.samples == 1) {
            std::memcpy(target, row, count * pixelBytes);
        } else if (m_Layout.IsSeparate()) {
            PutSample(row, 1, target, count, plane);
        } else {
            for (std::size_t sample = 0; sample < m_Layout.samples; ++sample) {
                PutSample(row + sample * m_Layout.bits / 8, m_Layout.samples, target, count, sample);
            }
        }
        if (m_Layout.photometric == PHOTOMETRIC_MINISWHITE && plane == 0) {
            Invert(target, count);
        }
    }

private:
    /// Places one sample of several of a pixel; in the row they stand `step` samples apart.
    void PutSample(const std::byte* row, std::size_t step, std::byte* target, std::size_t count,
                   std::size_t sample) const
    {
        const std::size_t bytes = m_Layout.bits / 8U;
        const std::size_t pixelBytes = BytesPerPixel(m_Image.format);
        const auto putChannel = [&](std::size_t channel) {
            for (std::size_t i = 0; i < count; ++i) {
                std::memcpy(target + i * pixelBytes + channel * bytes, row + i * step * bytes, bytes);
            }
        };
        if (!m_Layout.IsGrey()) {
            putChannel(sample < 3 ? 2 - sample : sample); // red, green, blue become blue, green, red
        } else if (sample == 1) {
            putChannel(3);
        } else {
            for (const std::size_t channel : {0U, 1U, 2U}) {
                putChannel(channel);
            }
        }
    }

    /// The other meaning of 0. In unsigned numbers, white less a number is the number with all bits turned.
    void Invert(std::byte* target, std::size_t count) const
    {
        const bool alpha = m_Image.format == EPixelFormat::eBgra8;
        for (std::size_t i = 0; i < count * BytesPerPixel(m_Image.format); ++i) {
            if (!alpha || i % 4 != 3) {
                target[i] = ~target[i];
            }
        }
    }

    CPixels& m_Image;
    const CLayout& m_Layout;
    std::vector<CBgr> m_Palette;
};

/// How the image is cut: strips are tiles as wide as the image, the last of them lower.
struct CTiling
{
    bool isTiled = false;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::uint64_t rowBytes = 0;
    std::uint64_t count = 0; ///< in one plane
};

CTiling ReadTiling(TIFF* tiff, const CLayout& layout)
{
    CTiling tiling;
    tiling.isTiled = TIFFIsTiled(tiff) != 0;
    if (tiling.isTiled) {
        TIFFGetField(tiff, TIFFTAG_TILEWIDTH, &tiling.width);
        TIFFGetField(tiff, TIFFTAG_TILELENGTH, &tiling.height);
        tiling.rowBytes = TIFFTileRowSize64(tiff);
    } else {
        TIFFGetFieldDefaulted(tiff, TIFFTAG_ROWSPERSTRIP, &tiling.height);
        tiling.width = layout.width;
        tiling.height = std::min(tiling.height, layout.height);
        tiling.rowBytes = TIFFScanlineSize64(tiff);
    }
    if (tiling.width == 0 || tiling.height == 0) {
        RefuseBroken("TIFF in strips or tiles without size");
    }
    // Rows of another length would mean that libtiff sees other pixels in the file.
    if (tiling.rowBytes != (std::uint64_t{tiling.width} * layout.bits * layout.SamplesTogether() + 7) / 8) {
        RefuseBroken("TIFF in strips or tiles whose size does not fit its samples");
    }
    const auto parts = [](std::uint64_t whole, std::uint64_t part) { return (whole + part - 1) / part; };
    tiling.count = parts(layout.width, tiling.width) * parts(layout.height, tiling.height);
    return tiling;
}

/// Refuses strips and tiles that are stored in many more bytes than they hold and than the file has: those that
/// share bytes without pixels, which a decoder would run through again for each.
void CheckStoredBytes(TIFF* tiff, std::uint64_t parts, std::uint64_t pixelBytes, std::uint64_t fileBytes)
{
    constexpr std::uint64_t tables = 1024; // of a compression, in each strip or tile
    std::uint64_t stored = 0;
    for (std::uint64_t part = 0; part < parts; ++part) {
        stored += std::min(TIFFGetStrileByteCount(tiff, static_cast<std::uint32_t>(part)), fileBytes);
    }
    if (stored > 2 * std::max(pixelBytes, fileBytes) + parts * tables) {
        RefuseBroken("TIFF whose strips or tiles take " + std::to_string(stored) + " bytes for " +
                     std::to_string(pixelBytes));
    }
}

/// Refuses strips and tiles that together hold more than the file can. Tiles reach over the image's edges, but
/// those of a file that is not meant to waste time do not reach far.
void CheckTiling(TIFF* tiff, const CTiling& tiling, const CLayout& layout, std::uint64_t fileBytes)
{
    if (tiling.rowBytes > c_iMaxBytes / tiling.height) {
        RefuseUnsupported("TIFF in tiles of " + std::to_string(tiling.width) + " by " +
                          std::to_string(tiling.height) + " pixels, which is too large");
    }
    const std::uint64_t planes = layout.IsSeparate() ? layout.samples : 1;
    const std::uint64_t rows = tiling.isTiled ? tiling.count * tiling.height : layout.height;
    const std::uint64_t pixelBytes = tiling.rowBytes * rows * planes;
    RequireBytes(c_sKind, fileBytes, pixelBytes / *RatioOf(layout.compression));
    if (layout.compression != COMPRESSION_NONE) {
        CheckStoredBytes(tiff, tiling.count * planes, pixelBytes, fileBytes);
    }
}

void ReadPlane(TIFF* tiff, const CSource& source, const CTiling& tiling, const CLayout& layout,
               std::uint16_t plane, CPlacer& placer)
{
    std::vector<std::byte> buffer(tiling.rowBytes * tiling.height);
    for (std::uint64_t top = 0; top < layout.height; top += tiling.height) {
        const auto rows =
            static_cast<std::uint32_t>(std::min<std::uint64_t>(tiling.height, layout.height - top));
        for (std::uint64_t left = 0; left < layout.width; left += tiling.width) {
            const auto x = static_cast<std::uint32_t>(left);
            const auto y = static_cast<std::uint32_t>(top);
            const auto wanted =
                static_cast<tmsize_t>(tiling.rowBytes * (tiling.isTiled ? tiling.height : rows));
            const tmsize_t got =
                tiling.isTiled
                    ? TIFFReadEncodedTile(tiff, TIFFComputeTile(tiff, x, y, 0, plane), buffer.data(), wanted)
                    : TIFFReadEncodedStrip(tiff, TIFFComputeStrip(tiff, y, plane), buffer.data(), wanted);
            if (got != wanted || source.isDamaged) {
                RefuseError(source);
            }
            const std::uint64_t columns = std::min<std::uint64_t>(tiling.width, layout.width - left);
            for (std::uint32_t row = 0; row < rows; ++row) {
                placer.Put(buffer.data() + row * tiling.rowBytes, x, top + row, columns, plane);
            }
        }
    }
}

void MirrorRows(CPixels& image)
{
    const std::size_t pixelBytes = BytesPerPixel(image.format);
    for (std::size_t y = 0; y < static_cast<std::size_t>(image.height); ++y) {
        const std::span<std::byte> row = RowOf(image, y);
        std::ranges::reverse(row); // reverses the bytes of each pixel too, which the loop takes back
        for (std::size_t i = 0; i < row.size(); i += pixelBytes) {
            std::ranges::reverse(row.subspan(i, pixelBytes));
        }
    }
}

void FlipRows(CPixels& image)
{
    const auto height = static_cast<std::size_t>(image.height);
    for (std::size_t y = 0; y < height / 2; ++y) {
        std::ranges::swap_ranges(RowOf(image, y), RowOf(image, height - 1 - y));
    }
}

} // namespace

std::string ImageFiles::ReadTiff(std::span<const std::byte> file, CPixels& image)
{
    CheckTiffDirectory(file);
    CSource source{.bytes = file};
    const CTiff tiff = Open(source);
    if (tiff == nullptr) {
        RefuseError(source);
    }
    const CLayout layout = ReadLayout(tiff.get());
    std::string description = Describe(layout);
    const auto format = FormatOf(layout);
    if (!format) {
        RefuseUnsupported(description);
    }
    RequireSize(c_sKind, layout.width, layout.height, BytesPerPixel(*format));
    if (layout.compression == COMPRESSION_JPEG && layout.photometric == PHOTOMETRIC_YCBCR) {
        TIFFSetField(tiff.get(), TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
    }
    const CTiling tiling = ReadTiling(tiff.get(), layout);
    CheckTiling(tiff.get(), tiling, layout, file.size());
    std::vector<CBgr> palette;
    if (layout.IsPalette()) {
        palette = ReadPalette(tiff.get(), layout.bits);
        if (palette.empty()) {
            RefuseBroken("TIFF without the palette that it refers to");
        }
    }
    Allocate(image, c_sKind, layout.width, layout.height, *format);
    CPlacer placer(image, layout, std::move(palette));
    const auto planes = static_cast<std::uint16_t>(layout.IsSeparate() ? layout.samples : 1);
    for (std::uint16_t plane = 0; plane < planes; ++plane) {
        ReadPlane(tiff.get(), source, tiling, layout, plane, placer);
    }
    if (layout.orientation == ORIENTATION_BOTLEFT || layout.orientation == ORIENTATION_BOTRIGHT) {
        FlipRows(image);
    }
    if (layout.orientation == ORIENTATION_TOPRIGHT || layout.orientation == ORIENTATION_BOTRIGHT) {
        MirrorRows(image);
    }
    return description;
}

} // namespace platform
