// PNG through libpng.
#include "orx/platform/imagereaders.h"

#include <png.h>

#include <array>
#include <csetjmp>
#include <cstring>
#include <exception>
#include <new>
#include <optional>
#include <string>
#include <vector>

namespace platform {

namespace {

using namespace ImageFiles;

constexpr const char* c_sKind = "PNG";

/// The last error text of libpng, which is gone once its caller has jumped away.
struct CMessage
{
    std::array<char, 200> text{};

    void Set(const char* message)
    {
        std::strncpy(text.data(), message, text.size() - 1); // the last byte stays 0
    }
};

void OnError(png_structp png, png_const_charp message)
{
    static_cast<CMessage*>(png_get_error_ptr(png))->Set(message);
    png_longjmp(png, 1);
}

void OnWarning(png_structp, png_const_charp) {}

/// libpng over a file in memory.
///
/// libpng reports an error by a jump back into the member function that called it. These functions, and the
/// callbacks between, therefore hold nothing that has a destructor or changes after setjmp.
class CPngReader
{
public:
    explicit CPngReader(std::span<const std::byte> file)
        : m_Rest(file), m_pPng(png_create_read_struct(PNG_LIBPNG_VER_STRING, &m_Message, OnError, OnWarning)),
          m_pInfo(m_pPng == nullptr ? nullptr : png_create_info_struct(m_pPng))
    {
        if (m_pInfo == nullptr) {
            png_destroy_read_struct(&m_pPng, nullptr, nullptr);
            throw std::bad_alloc();
        }
    }
    ~CPngReader() { png_destroy_read_struct(&m_pPng, &m_pInfo, nullptr); }
    CPngReader(const CPngReader&) = delete;
    CPngReader& operator=(const CPngReader&) = delete;

    /// Reads all that stands before the pixels.
    bool ReadHead()
    {
        if (setjmp(png_jmpbuf(m_pPng)) != 0) {
            return false;
        }
        // Sizes are checked against the file before memory is taken for them.
        png_set_user_limits(m_pPng, PNG_UINT_31_MAX, PNG_UINT_31_MAX);
        png_set_read_fn(m_pPng, this, OnRead);
        // Texts, profiles and the like are skipped: they say nothing of pixels, and libpng trusts their lengths.
        png_set_keep_unknown_chunks(m_pPng, PNG_HANDLE_CHUNK_NEVER, nullptr, -1);
        png_read_info(m_pPng, m_pInfo);
        return true;
    }

    /// Asks for bytes of blue, green, red and alpha, or for one grey number, and tells the bytes of a row.
    bool SetUp(std::size_t& rowBytes)
    {
        if (setjmp(png_jmpbuf(m_pPng)) != 0) {
            return false;
        }
        png_set_expand(m_pPng);
        png_set_bgr(m_pPng);
        if (Bits() == 16) {
            png_set_swap(m_pPng);
        } else if (HasAlpha()) {
            png_set_gray_to_rgb(m_pPng);
        }
        m_iPasses = png_set_interlace_handling(m_pPng);
        png_read_update_info(m_pPng, m_pInfo);
        rowBytes = png_get_rowbytes(m_pPng, m_pInfo);
        return true;
    }

    /// Reads the pixels, pass by pass, and the rest of the file. Row by row, since pointers to rows of a single pixel,
    /// which libpng would take too, need eight times the memory of the image.
    bool ReadRows(std::byte* pixels, std::size_t rowBytes)
    {
        if (setjmp(png_jmpbuf(m_pPng)) != 0) {
            return false;
        }
        for (int pass = 0; pass < m_iPasses; ++pass) {
            for (std::size_t y = 0; y < Height(); ++y) {
                png_read_row(m_pPng, reinterpret_cast<png_bytep>(pixels + y * rowBytes), nullptr);
            }
        }
        png_read_end(m_pPng, nullptr);
        return true;
    }

    png_uint_32 Width() const { return png_get_image_width(m_pPng, m_pInfo); }
    png_uint_32 Height() const { return png_get_image_height(m_pPng, m_pInfo); }
    unsigned Bits() const { return png_get_bit_depth(m_pPng, m_pInfo); }
    unsigned Samples() const { return png_get_channels(m_pPng, m_pInfo); }
    bool IsPalette() const { return ColourType() == PNG_COLOR_TYPE_PALETTE; }
    bool IsGrey() const { return (ColourType() & PNG_COLOR_MASK_COLOR) == 0; }

    /// Whether there is an alpha sample, or colours that count as transparent.
    bool HasAlpha() const
    {
        return (ColourType() & PNG_COLOR_MASK_ALPHA) != 0 ||
               png_get_valid(m_pPng, m_pInfo, PNG_INFO_tRNS) != 0;
    }

    const char* Error() const { return m_Message.text.data(); }

private:
    static void OnRead(png_structp png, png_bytep target, std::size_t length)
    {
        auto& rest = static_cast<CPngReader*>(png_get_io_ptr(png))->m_Rest;
        if (length > rest.size()) {
            png_error(png, "the file is cut short");
        }
        std::memcpy(target, rest.data(), length);
        rest = rest.subspan(length);
    }

    int ColourType() const { return png_get_color_type(m_pPng, m_pInfo); }

    std::span<const std::byte> m_Rest;
    CMessage m_Message;
    png_structp m_pPng;
    png_infop m_pInfo;
    int m_iPasses = 1; ///< over all rows
};

[[noreturn]] void RefuseError(const char* error)
{
    RefuseBroken(std::string("PNG: ") + error);
}

std::string Describe(const CPngReader& png)
{
    const char* const samples = png.IsPalette() ? "palette" : png.IsGrey() ? "grey" : "RGB";
    return std::to_string(png.Bits()) + "-bit " + samples + (png.HasAlpha() ? " with alpha PNG" : " PNG");
}

std::optional<EPixelFormat> FormatOf(const CPngReader& png)
{
    const bool grey = png.IsGrey() && !png.HasAlpha();
    if (png.Bits() == 16) {
        return grey ? std::optional(EPixelFormat::eGray16) : std::nullopt;
    }
    return grey ? EPixelFormat::eGray8 : png.HasAlpha() ? EPixelFormat::eBgra8 : EPixelFormat::eBgr8;
}

} // namespace

std::string ImageFiles::ReadPng(std::span<const std::byte> file, CPixels& image)
{
    CPngReader png(file);
    if (!png.ReadHead()) {
        RefuseError(png.Error());
    }
    std::string description = Describe(png);
    const auto format = FormatOf(png);
    if (!format) {
        RefuseUnsupported(description);
    }
    RequireSize(c_sKind, png.Width(), png.Height(), BytesPerPixel(*format));
    const std::uint64_t bits = std::uint64_t{png.Width()} * png.Height() * png.Samples() * png.Bits();
    RequireBytes(c_sKind, file.size(), bits / 8 / c_iMaxRatio);
    std::size_t rowBytes = 0;
    if (!png.SetUp(rowBytes)) {
        RefuseError(png.Error());
    }
    if (rowBytes != png.Width() * BytesPerPixel(*format)) {
        RefuseUnsupported(description);
    }
    Allocate(image, c_sKind, png.Width(), png.Height(), *format);
    if (!png.ReadRows(image.bytes.data(), rowBytes)) {
        RefuseError(png.Error());
    }
    return description;
}

namespace {

/// libpng that writes into memory; jumps as in CPngReader.
class CPngWriter
{
public:
    CPngWriter()
        : m_pPng(png_create_write_struct(PNG_LIBPNG_VER_STRING, &m_Message, OnError, OnWarning)),
          m_pInfo(m_pPng == nullptr ? nullptr : png_create_info_struct(m_pPng))
    {}
    ~CPngWriter() { png_destroy_write_struct(&m_pPng, &m_pInfo); }
    CPngWriter(const CPngWriter&) = delete;
    CPngWriter& operator=(const CPngWriter&) = delete;

    bool Write(const CPixelsView& image, int bits, int colourType, png_const_bytep pixels)
    {
        if (m_pInfo == nullptr || setjmp(png_jmpbuf(m_pPng)) != 0) {
            return false;
        }
        png_set_user_limits(m_pPng, PNG_UINT_31_MAX, PNG_UINT_31_MAX);
        png_set_write_fn(m_pPng, this, OnWrite, nullptr);
        png_set_IHDR(m_pPng, m_pInfo, static_cast<png_uint_32>(image.width),
                     static_cast<png_uint_32>(image.height), bits, colourType, PNG_INTERLACE_NONE,
                     PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
        png_write_info(m_pPng, m_pInfo);
        png_set_bgr(m_pPng);
        if (bits == 16) {
            png_set_swap(m_pPng);
        }
        const std::size_t rowBytes = static_cast<std::size_t>(image.width) * BytesPerPixel(image.format);
        const auto rows = static_cast<std::size_t>(image.height);
        for (std::size_t y = 0; y < rows; ++y) {
            png_write_row(m_pPng, pixels + y * rowBytes);
        }
        png_write_end(m_pPng, m_pInfo);
        return true;
    }

    std::vector<std::byte> TakeFile() { return std::move(m_File); }

private:
    static void OnWrite(png_structp png, png_bytep source, std::size_t length)
    {
        if (!static_cast<CPngWriter*>(png_get_io_ptr(png))->Append(source, length)) {
            png_error(png, "out of memory");
        }
    }

    /// False where memory does not suffice; an exception may not pass through libpng.
    bool Append(png_const_bytep source, std::size_t length) noexcept
    {
        try {
            const auto* const bytes = reinterpret_cast<const std::byte*>(source);
            m_File.insert(m_File.end(), bytes, bytes + length);
            return true;
        } catch (const std::exception&) {
            return false;
        }
    }

    std::vector<std::byte> m_File;
    CMessage m_Message;
    png_structp m_pPng;
    png_infop m_pInfo;
};

} // namespace

std::vector<std::byte> EncodePng(const CPixelsView& image)
{
    int colourType = 0;
    switch (image.format) {
    case EPixelFormat::eGray8:
    case EPixelFormat::eGray16:
        colourType = PNG_COLOR_TYPE_GRAY;
        break;
    case EPixelFormat::eBgr8:
        colourType = PNG_COLOR_TYPE_RGB;
        break;
    case EPixelFormat::eBgra8:
        colourType = PNG_COLOR_TYPE_RGBA;
        break;
    default:
        return {};
    }
    CPngWriter png;
    const bool isWritten =
        IsWhole(image) && png.Write(image, image.format == EPixelFormat::eGray16 ? 16 : 8, colourType,
                                    reinterpret_cast<png_const_bytep>(image.bytes.data()));
    return isWritten ? png.TakeFile() : std::vector<std::byte>();
}

bool WritePng(const std::filesystem::path& path, const CPixelsView& image)
{
    const std::vector<std::byte> file = EncodePng(image);
    return !file.empty() && WriteFile(path, file);
}

} // namespace platform
