// Images: size, type and range.
#include "scanner/app/filefacts.h"

#include "cctimage.h"
#include "imagecsv.h"
#include "orx/platform/archive.h"
#include "orx/platform/imagecodec.h"
#include "pixelelements.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <span>
#include <sstream>
#include <stdexcept>
#include <type_traits>
#include <vector>

namespace app {

namespace {

using LxCV::CCTImage;
using namespace std::string_view_literals;

/// What is at the beginning of the image files that are read.
constexpr std::array kMarks{"\x89PNG\r\n"sv, "II*\0"sv, "MM\0*"sv, "II+\0"sv, "MM\0+"sv, "\xFF\xD8\xFF"sv};

bool IsSpace(char letter)
{
    return letter == ' ' || letter == '\t' || letter == '\r' || letter == '\n';
}

bool HasImageMark(std::string_view content)
{
    constexpr std::array letters{"P2"sv, "P5"sv, "Pf"sv, "PF"sv};
    const bool isNetpbm = std::ranges::any_of(letters, [&](std::string_view mark) {
        return content.starts_with(mark) && content.size() > mark.size() && IsSpace(content[mark.size()]);
    });
    // Four bytes that are not used, and are zero in all files, follow the size.
    const bool isBmp = content.starts_with("BM") && content.substr(0, 10).ends_with("\0\0\0\0"sv);
    return isNetpbm || isBmp ||
           std::ranges::any_of(kMarks, [&](std::string_view mark) { return content.starts_with(mark); });
}

template <typename Number>
void AddRangeOf(std::span<const Number> levels, nlohmann::ordered_json& facts)
{
    std::size_t notFinite = 0;
    Number least = std::numeric_limits<Number>::max();
    Number greatest = std::numeric_limits<Number>::lowest();
    for (const Number level : levels) {
        if constexpr (std::is_floating_point_v<Number>) {
            if (!std::isfinite(level)) {
                ++notFinite;
                continue;
            }
        }
        least = std::min(least, level);
        greatest = std::max(greatest, level);
    }
    if (notFinite < levels.size()) {
        facts["least"] = least;
        facts["greatest"] = greatest;
    }
    if (notFinite > 0) {
        facts["not_finite"] = notFinite;
    }
}

std::string TypeName(CCTImage::EImageDataType type)
{
    switch (type) {
    case CCTImage::eIDT_ARGB8:
        return "8-bit colour with alpha";
    case CCTImage::eIDT_BGRU8:
        return "8-bit colour";
    case CCTImage::eIDT_FLOAT32_3:
        return "32-bit float colour";
    case CCTImage::eIDT_UINT32:
        return "32-bit unsigned grey";
    case CCTImage::eIDT_INT32:
        return "32-bit signed grey";
    case CCTImage::eIDT_UINT16:
        return "16-bit grey";
    case CCTImage::eIDT_INT16:
        return "16-bit signed grey";
    case CCTImage::eIDT_INT8:
        return "8-bit signed grey";
    case CCTImage::eIDT_FLOAT32:
        return "32-bit float grey";
    case CCTImage::eIDT_FLOAT64:
        return "64-bit float grey";
    default:
        return "8-bit grey";
    }
}

/// Size, type, and range over all channels, alpha among them.
void AddPixels(const CCTImage& image, nlohmann::ordered_json& facts)
{
    facts["width"] = image.GetWidth();
    facts["height"] = image.GetHeight();
    facts["type"] = TypeName(image.GetDataType());
    LxCV::WithElementType(image.GetDataType(), [&]<typename Number>(std::type_identity<Number>) {
        AddRangeOf<Number>(LxCV::ElementsOf<Number>(image), facts);
    });
}

/// Elements of pixels, which stand in the buffer as they do in an array.
template <typename Number>
void AddRangeAs(const platform::CPixels& pixels, nlohmann::ordered_json& facts)
{
    std::vector<Number> levels(pixels.bytes.size() / sizeof(Number));
    std::memcpy(levels.data(), pixels.bytes.data(), levels.size() * sizeof(Number));
    AddRangeOf<Number>(levels, facts);
}

void AddRange(const platform::CPixels& pixels, nlohmann::ordered_json& facts)
{
    using platform::EPixelFormat;
    switch (pixels.format) {
    case EPixelFormat::eGray8:
    case EPixelFormat::eBgr8:
    case EPixelFormat::eBgra8:
        return AddRangeAs<std::uint8_t>(pixels, facts);
    case EPixelFormat::eGrayInt8:
        return AddRangeAs<std::int8_t>(pixels, facts);
    case EPixelFormat::eGray16:
        return AddRangeAs<std::uint16_t>(pixels, facts);
    case EPixelFormat::eGrayInt16:
        return AddRangeAs<std::int16_t>(pixels, facts);
    case EPixelFormat::eGrayUInt32:
        return AddRangeAs<std::uint32_t>(pixels, facts);
    case EPixelFormat::eGrayInt32:
        return AddRangeAs<std::int32_t>(pixels, facts);
    case EPixelFormat::eGrayFloat:
    case EPixelFormat::eBgrFloat:
        return AddRangeAs<float>(pixels, facts);
    case EPixelFormat::eGrayDouble:
        return AddRangeAs<double>(pixels, facts);
    }
}

FileFacts TellPicture(const FileView& file)
{
    using platform::EImageFileResult;
    platform::CPixels pixels;
    std::string description;
    const EImageFileResult result =
        platform::ReadImage(std::as_bytes(std::span(file.content)), pixels, description);
    if (result == EImageFileResult::eUnsupported) {
        throw std::runtime_error("it is an image that is not read: " + description);
    }
    if (result != EImageFileResult::eOk) {
        throw std::runtime_error("it is a damaged image: " + description);
    }
    FileFacts told{"image"};
    told.facts["width"] = pixels.width;
    told.facts["height"] = pixels.height;
    told.facts["type"] = description;
    AddRange(pixels, told.facts);
    return told;
}

/// Any number of images, one after the other.
FileFacts TellArchive(const FileView& file)
{
    std::istringstream stream{std::string(file.content)};
    platform::CArchive archive(stream);
    FileFacts told{"images in an archive"};
    std::size_t count = 0;
    while (stream.peek() != std::istringstream::traits_type::eof()) {
        CCTImage image;
        if (image.Serialize(archive) != CCTImage::eRC_OK) {
            throw std::runtime_error("it is an archive of images that is damaged in its image " +
                                     std::to_string(count + 1));
        }
        if (count == 0) {
            AddPixels(image, told.facts);
        }
        ++count;
    }
    told.facts["images"] = count;
    return told;
}

/// Whether the text begins with a line that names the type of its numbers.
bool HasCsvMark(std::string_view content)
{
    constexpr std::array types{"uint8"sv, "int8"sv,    "uint16"sv,  "int16"sv, "uint32"sv,
                               "int32"sv, "float32"sv, "float64"sv, "gray8"sv};
    return content.starts_with("# ") && std::ranges::any_of(types, [&](std::string_view type) {
               const std::string_view rest = content.substr(2);
               return rest.starts_with(type) && rest.size() > type.size() && IsSpace(rest[type.size()]);
           });
}

FileFacts TellCsv(const FileView& file)
{
    CCTImage image;
    std::string error;
    if (LxCV::ReadCsv(file.content, image, error) != CCTImage::eRC_OK) {
        throw std::runtime_error("it is no image as text: " + error);
    }
    FileFacts told{"image as text"};
    AddPixels(image, told.facts);
    return told;
}

} // namespace

std::optional<FileFacts> TellImage(const FileView& file)
{
    if (HasImageMark(file.content)) {
        return TellPicture(file);
    }
    if (file.content.starts_with("CCTI")) {
        return TellArchive(file);
    }
    if (HasCsvMark(file.content) || file.HasSuffix(".csv")) {
        return TellCsv(file);
    }
    return std::nullopt;
}

} // namespace app
