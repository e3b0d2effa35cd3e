#include "orx/platform/imagecodec.h"

#include "orx/platform/imagereaders.h"

#include <bit>
#include <cctype>
#include <fstream>
#include <new>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

namespace platform {

static_assert(std::endian::native == std::endian::little, "pixels are copied as numbers of this machine");

namespace ImageFiles {

void RequireBytes(const char* kind, std::uint64_t fileBytes, std::uint64_t needed)
{
    if (fileBytes < needed) {
        RefuseBroken(std::string(kind) + " cut short: " + std::to_string(fileBytes) +
                     " bytes, needs at least " + std::to_string(needed));
    }
}

void RequireSize(const char* kind, std::uint64_t width, std::uint64_t height, std::uint64_t bytesPerPixel)
{
    const std::string size = std::to_string(width) + " by " + std::to_string(height) + " pixels";
    if (width == 0 || height == 0) {
        RefuseBroken(std::string(kind) + " of " + size);
    }
    if (width > c_iLongestSide || height > c_iLongestSide || width * height > c_iMaxBytes / bytesPerPixel) {
        RefuseUnsupported(std::string(kind) + " of " + size + ", which is too large");
    }
}

void Allocate(CPixels& image, const char* kind, std::uint64_t width, std::uint64_t height,
              EPixelFormat format)
{
    RequireSize(kind, width, height, BytesPerPixel(format));
    image.width = static_cast<int>(width);
    image.height = static_cast<int>(height);
    image.format = format;
    image.bytes.assign(width * height * BytesPerPixel(format), std::byte{0});
}

bool IsWhole(const CPixelsView& image)
{
    if (image.width <= 0 || image.height <= 0) {
        return false;
    }
    // Two positive ints and a pixel of at most 12 bytes need 66 bits, so that the division comes first.
    const std::uint64_t pixels =
        static_cast<std::uint64_t>(image.width) * static_cast<unsigned>(image.height);
    const std::uint64_t size = BytesPerPixel(image.format);
    return image.bytes.size() % size == 0 && image.bytes.size() / size == pixels;
}

bool WriteFile(const std::filesystem::path& path, std::span<const std::byte> content)
{
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    if (!file) {
        return false;
    }
    file.write(reinterpret_cast<const char*>(content.data()), static_cast<std::streamsize>(content.size()));
    file.close();
    if (!file) {
        std::error_code ignored;
        // A device such as /dev/full is not ours to remove.
        if (std::filesystem::is_regular_file(path, ignored)) {
            std::filesystem::remove(path, ignored);
        }
        return false;
    }
    return true;
}

} // namespace ImageFiles

namespace {

using ImageFiles::CRefusal;
using ImageFiles::RefuseBroken;
using ImageFiles::RefuseUnsupported;

using CReader = std::string (*)(std::span<const std::byte> file, CPixels& image);

/// The reader for 'P' and the letter or digit that follows it.
CReader NetpbmReader(char letter)
{
    switch (letter) {
    case '2':
    case '5':
        return ImageFiles::ReadPgm;
    case 'f':
    case 'F':
        return ImageFiles::ReadPfm;
    case '1':
    case '4':
        RefuseUnsupported("1-bit PBM");
    case '3':
    case '6':
        RefuseUnsupported("RGB PPM");
    default:
        return nullptr;
    }
}

/// The reader for a file that begins with these bytes.
CReader FindReader(std::string_view start)
{
    using namespace std::string_view_literals;
    for (const auto signature : {"II*\0"sv, "MM\0*"sv, "II+\0"sv, "MM\0+"sv}) {
        if (start.starts_with(signature)) {
            return ImageFiles::ReadTiff;
        }
    }
    if (start.starts_with("\x89PNG"sv)) {
        return ImageFiles::ReadPng;
    }
    if (start.starts_with("\xFF\xD8\xFF"sv)) {
        return ImageFiles::ReadJpeg;
    }
    if (start.starts_with("BM"sv)) {
        return ImageFiles::ReadBmp;
    }
    if (start.size() > 2 && start[0] == 'P' &&
        (std::isspace(static_cast<unsigned char>(start[2])) != 0 || start[2] == '#')) {
        return NetpbmReader(start[1]);
    }
    return nullptr;
}

/// Reads the whole file, which may not be larger than the limit.
std::vector<std::byte> ReadBytes(const std::filesystem::path& path)
{
    std::error_code error;
    // A pipe would wait for its writer, and a device never ends.
    if (!std::filesystem::is_regular_file(path, error)) {
        throw CRefusal(EImageFileResult::eNotFound, "no such file");
    }
    std::ifstream file(path, std::ios::binary);
    const std::uintmax_t size = std::filesystem::file_size(path, error);
    if (!file || error) {
        throw CRefusal(EImageFileResult::eNotFound, "the file cannot be opened");
    }
    if (size > ImageFiles::c_iMaxBytes) {
        RefuseUnsupported("a file of " + std::to_string(size) + " bytes, which is too large");
    }
    std::vector<std::byte> bytes(size);
    file.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(size));
    bytes.resize(static_cast<std::size_t>(file.gcount()));
    return bytes;
}

std::string Read(std::span<const std::byte> file, CPixels& image)
{
    if (file.empty()) {
        RefuseBroken("an empty file");
    }
    const CReader reader = FindReader({reinterpret_cast<const char*>(file.data()), file.size()});
    if (reader == nullptr) {
        RefuseUnsupported("no image file of a known kind");
    }
    if (file.size() > ImageFiles::c_iMaxBytes) {
        RefuseUnsupported("a file of " + std::to_string(file.size()) + " bytes, which is too large");
    }
    return reader(file, image);
}

/// Runs `read`, which fills an image and returns a description or throws, and hands its results on.
template <typename TRead>
EImageFileResult Deliver(TRead read, CPixels& image, std::string& description)
{
    try {
        CPixels whole;
        description = read(whole);
        image = std::move(whole);
        return EImageFileResult::eOk;
    } catch (const CRefusal& refusal) {
        description = refusal.what();
        return refusal.GetResult();
    } catch (const std::bad_alloc&) {
        description = "an image that memory does not suffice for";
        return EImageFileResult::eUnsupported;
    }
}

} // namespace

std::size_t BytesPerPixel(EPixelFormat format)
{
    switch (format) {
    case EPixelFormat::eGray8:
    case EPixelFormat::eGrayInt8:
        return 1;
    case EPixelFormat::eGray16:
    case EPixelFormat::eGrayInt16:
        return 2;
    case EPixelFormat::eBgr8:
        return 3;
    case EPixelFormat::eGrayUInt32:
    case EPixelFormat::eGrayInt32:
    case EPixelFormat::eGrayFloat:
    case EPixelFormat::eBgra8:
        return 4;
    case EPixelFormat::eGrayDouble:
        return 8;
    case EPixelFormat::eBgrFloat:
        return 12;
    }
    return 1; // a number that is no EPixelFormat
}

EImageFileResult ReadImageFile(const std::filesystem::path& path, CPixels& image, std::string& description)
{
    return Deliver([&path](CPixels& whole) { return Read(ReadBytes(path), whole); }, image, description);
}

EImageFileResult ReadImage(std::span<const std::byte> file, CPixels& image, std::string& description)
{
    return Deliver([file](CPixels& whole) { return Read(file, whole); }, image, description);
}

} // namespace platform
