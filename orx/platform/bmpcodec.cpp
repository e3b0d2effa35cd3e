// BMP: uncompressed, run lengths, and masks.
#include "orx/platform/imagereaders.h"

#include <algorithm>
#include <array>
#include <bit>
#include <concepts>
#include <cstring>
#include <limits>
#include <string>
#include <utility>
#include <vector>

namespace platform {

namespace {

using namespace ImageFiles;

constexpr const char* c_sKind = "BMP";

constexpr std::size_t c_iFileHeaderBytes = 14;
constexpr std::uint32_t c_iCoreHeaderBytes = 12;
constexpr std::uint32_t c_iInfoHeaderBytes = 40;
constexpr std::uint32_t c_iAlphaMaskHeaderBytes = 56; ///< this one and the longer ones hold an alpha mask
constexpr std::uint32_t c_iVersion4HeaderBytes = 108;
constexpr std::size_t c_iMasksAt = c_iFileHeaderBytes + c_iInfoHeaderBytes; ///< in the header or behind it

enum ECompression : std::uint32_t
{
    eNone = 0,
    eRle8 = 1,
    eRle4 = 2,
    eMasks = 3,
    eJpeg = 4,
    ePng = 5,
    eMasksWithAlpha = 6
};

using CBgr = std::array<std::byte, 3>;

template <typename T>
T Number(std::span<const std::byte> file, std::size_t position)
{
    RequireBytes(c_sKind, file.size(), position + sizeof(T));
    T number;
    std::memcpy(&number, file.data() + position, sizeof(T));
    return number;
}

struct CHeader
{
    std::uint32_t headerBytes = 0;
    std::uint32_t pixelsAt = 0; ///< from the begin of the file
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    bool topDown = false;
    unsigned bits = 0; ///< a pixel
    std::uint32_t compression = eNone;
    std::uint32_t coloursUsed = 0;
    std::array<std::uint32_t, 4> masks{}; ///< of blue, green, red, alpha; 0 for a channel that is not there

    bool IsPalette() const { return bits <= 8; }
    bool IsRle() const { return compression == eRle8 || compression == eRle4; }
    bool HasAlpha() const { return masks[3] != 0; }
    bool IsCore() const { return headerBytes == c_iCoreHeaderBytes; }
    std::uint64_t RowBytes() const { return (std::uint64_t{width} * bits + 7) / 8; }
};

bool IsKnownHeader(std::uint32_t bytes)
{
    constexpr std::array<std::uint32_t, 6> known{c_iCoreHeaderBytes,      c_iInfoHeaderBytes,     52,
                                                 c_iAlphaMaskHeaderBytes, c_iVersion4HeaderBytes, 124};
    return std::ranges::find(known, bytes) != known.end();
}

std::string Describe(const CHeader& header)
{
    const std::string bits = std::to_string(header.bits) + "-bit ";
    if (!header.IsPalette()) {
        return bits + (header.HasAlpha() ? "RGB with alpha BMP" : "RGB BMP");
    }
    return bits + (header.IsRle() ? "palette BMP in run lengths" : "palette BMP");
}

/// Which compressions go with which bits, and the masks of the pixels that hold colours.
void ReadMasks(std::span<const std::byte> file, CHeader& header)
{
    const bool masks = header.compression == eMasks || header.compression == eMasksWithAlpha;
    if (masks && (header.bits == 16 || header.bits == 32)) {
        for (const std::size_t channel : {0U, 1U, 2U}) {
            // Stored red first.
            header.masks[channel] = Number<std::uint32_t>(file, c_iMasksAt + 4 * (2 - channel));
        }
        if (header.headerBytes >= c_iAlphaMaskHeaderBytes || header.compression == eMasksWithAlpha) {
            header.masks[3] = Number<std::uint32_t>(file, c_iMasksAt + 12);
        }
        return;
    }
    const bool rle = (header.compression == eRle8 && header.bits == 8) ||
                     (header.compression == eRle4 && header.bits == 4);
    if (header.compression != eNone && !rle) {
        RefuseUnsupported(std::to_string(header.bits) + "-bit BMP with compression " +
                          std::to_string(header.compression));
    }
    if (header.bits == 16) {
        header.masks = {0x1F, 0x1F << 5, 0x1F << 10, 0};
    } else if (header.bits == 32) {
        header.masks = {0xFF, 0xFF << 8, 0xFF << 16, 0};
    }
}

CHeader ReadHeader(std::span<const std::byte> file)
{
    CHeader header;
    header.pixelsAt = Number<std::uint32_t>(file, 10);
    header.headerBytes = Number<std::uint32_t>(file, c_iFileHeaderBytes);
    if (!IsKnownHeader(header.headerBytes)) {
        RefuseUnsupported("BMP with a header of " + std::to_string(header.headerBytes) + " bytes");
    }
    RequireBytes(c_sKind, file.size(), c_iFileHeaderBytes + header.headerBytes);
    if (header.IsCore()) {
        header.width = Number<std::uint16_t>(file, 18);
        header.height = Number<std::uint16_t>(file, 20);
        header.bits = Number<std::uint16_t>(file, 24);
    } else {
        const auto height = Number<std::int32_t>(file, 22);
        header.width = Number<std::uint32_t>(file, 18); // a negative one becomes too large
        header.topDown = height < 0;
        header.height =
            height < 0 ? 0U - static_cast<std::uint32_t>(height) : static_cast<std::uint32_t>(height);
        header.bits = Number<std::uint16_t>(file, 28);
        header.compression = Number<std::uint32_t>(file, 30);
        header.coloursUsed = Number<std::uint32_t>(file, 46);
    }
    constexpr std::array bits{1U, 4U, 8U, 16U, 24U, 32U};
    if (std::ranges::find(bits, header.bits) == bits.end()) {
        RefuseUnsupported(std::to_string(header.bits) + "-bit BMP");
    }
    ReadMasks(file, header);
    return header;
}

/// All colours that a pixel can name; black for those that the file leaves out.
std::vector<CBgr> ReadPalette(std::span<const std::byte> file, const CHeader& header)
{
    std::vector<CBgr> palette(std::size_t{1} << header.bits);
    std::size_t count = palette.size();
    if (header.coloursUsed != 0) {
        count = std::min<std::size_t>(count, header.coloursUsed);
    }
    const std::size_t entryBytes = header.IsCore() ? 3 : 4;
    const std::size_t at = c_iFileHeaderBytes + header.headerBytes;
    RequireBytes(c_sKind, file.size(), at + count * entryBytes);
    for (std::size_t i = 0; i < count; ++i) {
        std::memcpy(palette[i].data(), file.data() + at + i * entryBytes, palette[i].size());
    }
    return palette;
}

bool IsGrey(const std::vector<CBgr>& palette)
{
    return std::ranges::all_of(palette, [](const CBgr& c) { return c[0] == c[1] && c[1] == c[2]; });
}

/// Run lengths unpacked to one number a pixel, rows in the file's order. Pixels that the runs skip are 0.
class CRunLengths
{
public:
    CRunLengths(std::span<const std::byte> runs, const CHeader& header)
        : m_Rest(runs), m_iWidth(header.width), m_iHeight(header.height), m_iBits(header.bits),
          m_Pixels(m_iWidth * m_iHeight)
    {}

    std::vector<std::uint8_t> Unpack()
    {
        while (!m_bDone) {
            const unsigned count = Next();
            const unsigned value = Next();
            if (count > 0) {
                for (unsigned i = 0; i < count; ++i) {
                    Put(m_iBits == 8 ? value : (i % 2 == 0 ? value >> 4 : value & 15U));
                }
            } else {
                Escape(value);
            }
        }
        return std::move(m_Pixels);
    }

private:
    void Escape(unsigned value)
    {
        switch (value) {
        case 0: // end of the row
            m_iX = 0;
            ++m_iY;
            break;
        case 1: // end of the image
            m_bDone = true;
            break;
        case 2: // onwards by columns and rows
            m_iX += Next();
            m_iY += Next();
            break;
        default:
            PutSingly(value);
        }
    }

    /// `count` pixels of their own values, filled up to a whole number of 16 bits.
    void PutSingly(unsigned count)
    {
        const unsigned perByte = 8 / m_iBits;
        const unsigned bytes = (count + perByte - 1) / perByte;
        RequireBytes("BMP run", m_Rest.size(), bytes);
        for (unsigned i = 0; i < count; ++i) {
            Put(PackedNumber(m_Rest.data(), i, m_iBits));
        }
        m_Rest = m_Rest.subspan(std::min<std::size_t>(bytes + bytes % 2, m_Rest.size()));
    }

    unsigned Next()
    {
        if (m_Rest.empty()) {
            RefuseBroken("BMP cut short: its run lengths have no end");
        }
        const auto value = std::to_integer<unsigned>(m_Rest.front());
        m_Rest = m_Rest.subspan(1);
        return value;
    }

    void Put(unsigned value)
    {
        if (m_iX >= m_iWidth || m_iY >= m_iHeight) {
            RefuseBroken("BMP whose run lengths leave the image");
        }
        m_Pixels[m_iY * m_iWidth + m_iX] = static_cast<std::uint8_t>(value);
        ++m_iX;
    }

    std::span<const std::byte> m_Rest;
    std::size_t m_iWidth;
    std::size_t m_iHeight;
    unsigned m_iBits;
    std::vector<std::uint8_t> m_Pixels;
    std::size_t m_iX = 0;
    std::size_t m_iY = 0;
    bool m_bDone = false;
};

/// Where row `y` of the image, counted from the top, stands among the rows of the file.
std::size_t StoredRow(const CHeader& header, std::size_t y)
{
    return header.topDown ? y : header.height - 1 - y;
}

/// Turns one number a pixel, `numberAt(x)`, into a row of the image.
template <typename TNumberAt>
void PutColours(std::span<std::byte> row, const std::vector<CBgr>& palette, bool grey, TNumberAt numberAt)
{
    const std::size_t step = grey ? 1 : 3;
    for (std::size_t x = 0; x * step < row.size(); ++x) {
        std::memcpy(&row[x * step], palette[numberAt(x)].data(), step);
    }
}

/// The bytes of the uncompressed rows, each but the last filled up to a whole number of 32 bits.
class CRows
{
public:
    CRows(std::span<const std::byte> file, const CHeader& header) : m_iStride((header.RowBytes() + 3) / 4 * 4)
    {
        RequireBytes(c_sKind, file.size(),
                     header.pixelsAt + m_iStride * (header.height - 1) + header.RowBytes());
        m_Bytes = file.subspan(header.pixelsAt);
    }
    const std::byte* operator[](std::size_t storedRow) const
    {
        return m_Bytes.data() + storedRow * m_iStride;
    }

private:
    std::uint64_t m_iStride;
    std::span<const std::byte> m_Bytes;
};

void ReadPalettePixels(std::span<const std::byte> file, const CHeader& header, CPixels& image)
{
    const std::vector<CBgr> palette = ReadPalette(file, header);
    const bool grey = IsGrey(palette);
    const auto format = grey ? EPixelFormat::eGray8 : EPixelFormat::eBgr8;
    RequireSize(c_sKind, header.width, header.height, BytesPerPixel(format));
    if (header.IsRle()) {
        RequireBytes(c_sKind, file.size(), header.pixelsAt);
        RequireBytes(c_sKind, file.size(), std::uint64_t{header.width} * header.height / c_iMaxRatio);
        const auto numbers = CRunLengths(file.subspan(header.pixelsAt), header).Unpack();
        Allocate(image, c_sKind, header.width, header.height, format);
        for (std::size_t y = 0; y < header.height; ++y) {
            const std::uint8_t* const row = &numbers[StoredRow(header, y) * header.width];
            PutColours(RowOf(image, y), palette, grey, [row](std::size_t x) { return row[x]; });
        }
        return;
    }
    const CRows rows(file, header);
    Allocate(image, c_sKind, header.width, header.height, format);
    for (std::size_t y = 0; y < header.height; ++y) {
        const std::byte* const row = rows[StoredRow(header, y)];
        PutColours(RowOf(image, y), palette, grey,
                   [row, &header](std::size_t x) { return PackedNumber(row, x, header.bits); });
    }
}

/// One channel of a pixel as 0..255.
std::byte Channel(std::uint32_t pixel, std::uint32_t mask)
{
    if (mask == 0) {
        return std::byte{0};
    }
    const int shift = std::countr_zero(mask);
    const std::uint64_t most = mask >> shift; // 64 bits, since the product below may need them
    const std::uint64_t value = (pixel & mask) >> shift;
    return static_cast<std::byte>((value * 255 + most / 2) / most);
}

void ReadMaskedRow(const std::byte* row, const CHeader& header, std::span<std::byte> target)
{
    const std::size_t bytes = header.bits / 8;
    const std::size_t channels = header.HasAlpha() ? 4 : 3;
    for (std::size_t x = 0; x < header.width; ++x) {
        std::uint32_t pixel = 0;
        std::memcpy(&pixel, row + x * bytes, bytes);
        for (std::size_t channel = 0; channel < channels; ++channel) {
            target[x * channels + channel] = Channel(pixel, header.masks[channel]);
        }
    }
}

void ReadColourPixels(std::span<const std::byte> file, const CHeader& header, CPixels& image)
{
    const auto format = header.HasAlpha() ? EPixelFormat::eBgra8 : EPixelFormat::eBgr8;
    RequireSize(c_sKind, header.width, header.height, BytesPerPixel(format));
    const CRows rows(file, header);
    Allocate(image, c_sKind, header.width, header.height, format);
    for (std::size_t y = 0; y < header.height; ++y) {
        const std::byte* const row = rows[StoredRow(header, y)];
        const std::span<std::byte> target = RowOf(image, y);
        if (header.bits == 24) {
            std::memcpy(target.data(), row, target.size());
        } else {
            ReadMaskedRow(row, header, target);
        }
    }
}

} // namespace

std::string ImageFiles::ReadBmp(std::span<const std::byte> file, CPixels& image)
{
    const CHeader header = ReadHeader(file);
    if (header.IsPalette()) {
        ReadPalettePixels(file, header, image);
    } else {
        ReadColourPixels(file, header, image);
    }
    return Describe(header);
}

namespace {

class CBytes
{
public:
    template <std::integral T>
    void Put(T number)
    {
        const auto bytes = std::bit_cast<std::array<std::byte, sizeof(T)>>(number);
        m_Bytes.insert(m_Bytes.end(), bytes.begin(), bytes.end());
    }
    void Put(std::span<const std::byte> bytes) { m_Bytes.insert(m_Bytes.end(), bytes.begin(), bytes.end()); }
    void Fill(std::size_t size) { m_Bytes.resize(size); }
    void Reserve(std::size_t size) { m_Bytes.reserve(size); }
    std::size_t GetSize() const { return m_Bytes.size(); }
    std::span<const std::byte> Get() const { return m_Bytes; }

private:
    std::vector<std::byte> m_Bytes;
};

void PutHeaders(CBytes& file, const CPixelsView& image, std::uint32_t pixelsAt, std::uint32_t pixelBytes)
{
    const bool alpha = image.format == EPixelFormat::eBgra8;
    constexpr std::uint32_t pixelsPerMetre = 2835; // 72 dots per inch
    file.Put(std::uint16_t{0x4D42});               // "BM"
    file.Put(pixelsAt + pixelBytes);
    file.Put(std::uint32_t{0});
    file.Put(pixelsAt);
    file.Put(alpha ? c_iVersion4HeaderBytes : c_iInfoHeaderBytes);
    file.Put(std::int32_t{image.width});
    file.Put(std::int32_t{image.height});
    file.Put(std::uint16_t{1}); // planes
    file.Put(static_cast<std::uint16_t>(8 * BytesPerPixel(image.format)));
    file.Put(static_cast<std::uint32_t>(alpha ? eMasks : eNone));
    file.Put(pixelBytes);
    file.Put(pixelsPerMetre);
    file.Put(pixelsPerMetre);
    file.Put(std::uint32_t{image.format == EPixelFormat::eGray8 ? 256U : 0U});
    file.Put(std::uint32_t{0});
    if (alpha) {
        for (const std::uint32_t mask : {0xFF0000U, 0xFF00U, 0xFFU, 0xFF000000U}) { // red, green, blue, alpha
            file.Put(mask);
        }
        file.Put(std::uint32_t{0x73524742}); // the colour space "sRGB", whose end points and gammas are 0
    } else if (image.format == EPixelFormat::eGray8) {
        for (std::uint32_t grey = 0; grey < 256; ++grey) {
            file.Put(grey * 0x010101U);
        }
    }
    file.Fill(pixelsAt);
}

std::uint32_t PixelsAt(EPixelFormat format)
{
    switch (format) {
    case EPixelFormat::eGray8:
        return c_iFileHeaderBytes + c_iInfoHeaderBytes + 256 * 4;
    case EPixelFormat::eBgr8:
        return c_iFileHeaderBytes + c_iInfoHeaderBytes;
    case EPixelFormat::eBgra8:
        return c_iFileHeaderBytes + c_iVersion4HeaderBytes;
    default:
        return 0;
    }
}

} // namespace

bool WriteBmp(const std::filesystem::path& path, const CPixelsView& image)
{
    const std::uint32_t pixelsAt = PixelsAt(image.format);
    if (pixelsAt == 0 || !IsWhole(image)) {
        return false;
    }
    const std::size_t rowBytes = static_cast<std::size_t>(image.width) * BytesPerPixel(image.format);
    const std::size_t stride = (rowBytes + 3) / 4 * 4;
    const auto height = static_cast<std::size_t>(image.height);
    if (stride > (std::numeric_limits<std::uint32_t>::max() - pixelsAt) / height) {
        return false;
    }
    CBytes file;
    file.Reserve(pixelsAt + stride * height);
    PutHeaders(file, image, pixelsAt, static_cast<std::uint32_t>(stride * height));
    for (std::size_t y = height; y-- > 0;) {
        file.Put(image.bytes.subspan(y * rowBytes, rowBytes));
        file.Fill(file.GetSize() + stride - rowBytes);
    }
    return WriteFile(path, file.Get());
}

} // namespace platform
