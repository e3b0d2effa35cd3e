#include "imagecsv.h"

#include "pixelelements.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <limits>
#include <optional>
#include <span>
#include <system_error>

namespace LxCV {

namespace {

constexpr std::string_view c_sBlanks = " \t\r";
constexpr char c_cComment = '#';

struct STypeName
{
    CCTImage::EImageDataType type;
    std::string_view name; ///< of the elements
};

/// Of two types with the same name, the first one is what a text of that name becomes.
constexpr std::array<STypeName, 11> c_aTypeNames{{
    {CCTImage::eIDT_UINT32, "uint32"},
    {CCTImage::eIDT_INT32, "int32"},
    {CCTImage::eIDT_UINT16, "uint16"},
    {CCTImage::eIDT_INT16, "int16"},
    {CCTImage::eIDT_UINT8, "uint8"},
    {CCTImage::eIDT_INT8, "int8"},
    {CCTImage::eIDT_FLOAT32, "float32"},
    {CCTImage::eIDT_FLOAT64, "float64"},
    {CCTImage::eIDT_GRAY8, "gray8"},
    {CCTImage::eIDT_BGRU8, "uint8"},
    {CCTImage::eIDT_FLOAT32_3, "float32"},
}};

std::string_view Trim(std::string_view text)
{
    const std::size_t first = text.find_first_not_of(c_sBlanks);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(c_sBlanks) + 1 - first);
}

/// Takes what stands before the next separator off the front of a text, and the separator.
std::string_view TakePart(std::string_view& text, char separator)
{
    const std::size_t length = std::min(text.find(separator), text.size());
    const std::string_view part = text.substr(0, length);
    text.remove_prefix(std::min(length + 1, text.size()));
    return part;
}

/// The next line that holds numbers; empty at the end of the text.
std::string_view TakeRow(std::string_view& text)
{
    while (!text.empty()) {
        const std::string_view line = Trim(TakePart(text, '\n'));
        if (!line.empty() && line.front() != c_cComment) {
            return line;
        }
    }
    return {};
}

struct SShape
{
    std::size_t width = 0;
    std::size_t height = 0;
};

/// Nothing, and an error, where the rows differ in length or there are none.
std::optional<SShape> FindShape(std::string_view text, std::string& error)
{
    SShape shape;
    for (std::string_view row = TakeRow(text); !row.empty(); row = TakeRow(text)) {
        const std::size_t width = static_cast<std::size_t>(std::ranges::count(row, ',')) + 1;
        if (shape.height > 0 && width != shape.width) {
            error = "row " + std::to_string(shape.height + 1) + " has " + std::to_string(width) +
                    " columns, the first one " + std::to_string(shape.width);
            return std::nullopt;
        }
        shape.width = width;
        ++shape.height;
    }
    if (shape.height == 0) {
        error = "no numbers";
        return std::nullopt;
    }
    return shape;
}

template <typename T>
bool ParseNumber(std::string_view text, T& number)
{
    const char* const end = text.data() + text.size();
    const auto [parsed, failure] = std::from_chars(text.data(), end, number);
    return failure == std::errc() && parsed == end;
}

/// Fills all elements; the text has as many.
template <typename T>
bool ParseElements(std::string_view text, std::size_t width, std::span<T> elements, std::string& error)
{
    std::string_view row;
    for (std::size_t i = 0; i < elements.size(); ++i) {
        if (i % width == 0) {
            row = TakeRow(text);
        }
        const std::string_view number = Trim(TakePart(row, ','));
        if (!ParseNumber(number, elements[i])) {
            constexpr std::size_t c_iShownCharacters = 40;
            error = "row " + std::to_string(i / width + 1) + ", column " + std::to_string(i % width + 1) +
                    ": no number of the type: " + std::string(number.substr(0, c_iShownCharacters));
            return false;
        }
    }
    return true;
}

/// The type that the first line tells; nothing for an unknown one.
std::optional<CCTImage::EImageDataType> FindType(std::string_view text)
{
    if (text.empty() || text.front() != c_cComment) {
        return CCTImage::eIDT_FLOAT32;
    }
    const std::string_view name = Trim(TakePart(text, '\n').substr(1));
    const auto* const found = std::ranges::find(c_aTypeNames, name, &STypeName::name);
    return found != c_aTypeNames.end() ? std::optional(found->type) : std::nullopt;
}

template <typename T>
void AppendNumber(T number, std::string& text)
{
    constexpr std::size_t c_iMaxCharacters = 32; // the longest is -2.2250738585072014e-308
    std::array<char, c_iMaxCharacters> characters{};
    const auto [end, failure] =
        std::to_chars(characters.data(), characters.data() + characters.size(), number);
    text.append(characters.data(), failure == std::errc() ? end : characters.data());
}

} // namespace

std::string WriteCsv(const CCTImage& image, int channel)
{
    const auto* const found = std::ranges::find(c_aTypeNames, image.GetDataType(), &STypeName::type);
    if (found == c_aTypeNames.end() || CheckPixels(image) != CCTImage::eRC_OK || !image.IsValid() ||
        channel < 0 || channel >= image.GetNumChannels()) {
        return {};
    }
    const auto stride = static_cast<std::size_t>(image.GetNumChannels());
    const std::size_t rowElements = static_cast<std::size_t>(image.GetWidth()) * stride;
    std::string text = "# " + std::string(found->name) + "\n";
    WithElementType(image.GetDataType(), [&]<typename T>(std::type_identity<T>) {
        const std::span<const T> elements = ElementsOf<T>(image);
        for (auto i = static_cast<std::size_t>(channel); i < elements.size(); i += stride) {
            AppendNumber(elements[i], text);
            text += (i + stride) % rowElements < stride ? '\n' : ',';
        }
    });
    return text;
}

CCTImage::EReturnCode ReadCsv(std::string_view text, CCTImage& image, std::string& error)
{
    const std::optional<CCTImage::EImageDataType> type = FindType(text);
    if (!type) {
        error = "an unknown type in the first line";
        return CCTImage::eRC_UnsupportedType;
    }
    const std::optional<SShape> shape = FindShape(text, error);
    if (!shape) {
        return CCTImage::eRC_Failed;
    }
    constexpr auto c_iLongest = static_cast<std::size_t>(std::numeric_limits<int>::max());
    if (shape->width > c_iLongest || shape->height > c_iLongest ||
        image.Resize(static_cast<int>(shape->width), static_cast<int>(shape->height), *type) !=
            CCTImage::eRC_OK) {
        error = "too large";
        return CCTImage::eRC_OutOfMemory;
    }
    bool isParsed = false;
    WithElementType(*type, [&]<typename T>(std::type_identity<T>) {
        isParsed = ParseElements(text, shape->width, ElementsOf<T>(image), error);
    });
    return isParsed ? CCTImage::eRC_OK : CCTImage::eRC_Failed;
}

} // namespace LxCV
