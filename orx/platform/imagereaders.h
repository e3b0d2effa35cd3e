// What the readers of the kinds of image files share; private to the folder.
//
// A reader takes a whole file whose first bytes are those of its kind, fills an image, and returns what the file
// holds in words. It throws CRefusal, with the image in any state, where it cannot.
#pragma once

#include "orx/platform/imagecodec.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>

namespace platform::ImageFiles {

/// The largest file and the largest image that are read, in bytes. Images of the cameras that this library knows
/// are some hundred times smaller.
constexpr std::uint64_t c_iMaxBytes = std::uint64_t{512} << 20;

/// The largest width and height that are read. A row costs time even where it has no more than one pixel.
constexpr std::uint64_t c_iLongestSide = std::uint64_t{1} << 24;

/// No compression that is read packs more bytes into one: deflate reaches 1032, LZW with codes of 12 bits
/// 1340, JPEG 1366 (one bit a block, chroma at a sixteenth), run lengths 128. A file that claims more lies.
constexpr std::uint64_t c_iMaxRatio = 2048;

/// Why a file gives no image.
class CRefusal : public std::runtime_error
{
public:
    CRefusal(EImageFileResult result, const std::string& description)
        : std::runtime_error(description), m_eResult(result)
    {}
    EImageFileResult GetResult() const { return m_eResult; }

private:
    EImageFileResult m_eResult;
};

[[noreturn]] inline void RefuseBroken(const std::string& description)
{
    throw CRefusal(EImageFileResult::eBroken, description);
}

[[noreturn]] inline void RefuseUnsupported(const std::string& description)
{
    throw CRefusal(EImageFileResult::eUnsupported, description);
}

/// Refuses a file, `kind` in words, that has fewer than `needed` bytes.
void RequireBytes(const char* kind, std::uint64_t fileBytes, std::uint64_t needed);

/// Refuses sizes of 0, sizes beyond c_iLongestSide, and images whose pixels take more than c_iMaxBytes, each pixel
/// counted with `bytesPerPixel`.
void RequireSize(const char* kind, std::uint64_t width, std::uint64_t height, std::uint64_t bytesPerPixel);

/// Gives the image its size, after RequireSize, and bytes of 0.
void Allocate(CPixels& image, const char* kind, std::uint64_t width, std::uint64_t height,
              EPixelFormat format);

/// Where row `y` of an allocated image begins, and how long it is.
inline std::span<std::byte> RowOf(CPixels& image, std::size_t y)
{
    const std::size_t length = static_cast<std::size_t>(image.width) * BytesPerPixel(image.format);
    return std::span(image.bytes).subspan(y * length, length);
}

/// Number `index` of those of `bits` bits, 1, 2, 4 or 8, in a row of bytes, the first in the highest bits.
inline unsigned PackedNumber(const std::byte* row, std::size_t index, unsigned bits)
{
    const std::size_t bit = index * bits;
    const unsigned shift = 8 - bits - static_cast<unsigned>(bit % 8);
    return (std::to_integer<unsigned>(row[bit / 8]) >> shift) & ((1U << bits) - 1U);
}

std::string ReadTiff(std::span<const std::byte> file, CPixels& image);
std::string ReadPng(std::span<const std::byte> file, CPixels& image);
std::string ReadJpeg(std::span<const std::byte> file, CPixels& image);
std::string ReadBmp(std::span<const std::byte> file, CPixels& image);
std::string ReadPgm(std::span<const std::byte> file, CPixels& image);
std::string ReadPfm(std::span<const std::byte> file, CPixels& image);

/// Whether the view has pixels, and as many bytes as its size and format tell.
bool IsWhole(const CPixelsView& image);

/// Writes a file; false, and no file, where it cannot be written whole.
bool WriteFile(const std::filesystem::path& path, std::span<const std::byte> content);

} // namespace platform::ImageFiles
