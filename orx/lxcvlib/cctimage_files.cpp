// Image files.
#include "cctimage.h"
#include "imagecsv.h"
#include "orx/logging/logger.h"
#include "orx/platform/imagecodec.h"
#include "orx/platform/paths.h"
#include "pixelelements.h"
#include "stringutils.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <new>
#include <optional>
#include <span>
#include <stdexcept>
#include <string_view>
#include <system_error>

namespace LxCV {

using platform::EPixelFormat;

namespace {

const Logging::CLogger s_Logger(L"ORX.Lumorad.CCTImage");

struct SFileType
{
    CCTImage::EImageDataType type;
    EPixelFormat format;
};

/// Of two types with the same format, the first one is what the format is read as.
constexpr std::array<SFileType, 12> c_aFileTypes{{
    {CCTImage::eIDT_ARGB8, EPixelFormat::eBgra8},
    {CCTImage::eIDT_BGRU8, EPixelFormat::eBgr8},
    {CCTImage::eIDT_UINT32, EPixelFormat::eGrayUInt32},
    {CCTImage::eIDT_INT32, EPixelFormat::eGrayInt32},
    {CCTImage::eIDT_UINT16, EPixelFormat::eGray16},
    {CCTImage::eIDT_INT16, EPixelFormat::eGrayInt16},
    {CCTImage::eIDT_UINT8, EPixelFormat::eGray8},
    {CCTImage::eIDT_INT8, EPixelFormat::eGrayInt8},
    {CCTImage::eIDT_FLOAT32, EPixelFormat::eGrayFloat},
    {CCTImage::eIDT_FLOAT64, EPixelFormat::eGrayDouble},
    {CCTImage::eIDT_FLOAT32_3, EPixelFormat::eBgrFloat},
    {CCTImage::eIDT_GRAY8, EPixelFormat::eGray8},
}};

CCTImage::EImageDataType TypeOf(EPixelFormat format)
{
    const auto* const found = std::ranges::find(c_aFileTypes, format, &SFileType::format);
    return found != c_aFileTypes.end() ? found->type : CCTImage::eIDT_Undefined;
}

/// The pixels of an image as a codec takes them; nothing for an image without pixels, and for one whose pixel size
/// is not that of its type.
std::optional<platform::CPixelsView> ViewOf(const CCTImage& image)
{
    const auto* const found = std::ranges::find(c_aFileTypes, image.GetDataType(), &SFileType::type);
    const int bytesPerPixel = CCTImage::GetBytesPerPixel(image.GetDataType());
    if (found == c_aFileTypes.end() || !image.IsValid() || image.GetBytesPerPixel() != bytesPerPixel) {
        return std::nullopt;
    }
    return platform::CPixelsView{
        image.GetWidth(),
        image.GetHeight(),
        found->format,
        {static_cast<const std::byte*>(image.GetBuffer()), static_cast<std::size_t>(image.GetSizeInBytes())}};
}

using CWriter = bool (*)(const std::filesystem::path& path, const platform::CPixelsView& image);

CCTImage::EReturnCode WriteWith(CWriter write, const std::string& path, const platform::CPixelsView& image)
{
    if (!write(platform::NativePath(path), image)) {
        s_Logger.Error(L"the file %s could not be written!\n", path);
        return CCTImage::eRC_Failed;
    }
    return CCTImage::eRC_OK;
}

/// Writes an image of one of the formats that the kind of file holds.
CCTImage::EReturnCode WriteIfOneOf(std::initializer_list<EPixelFormat> formats, CWriter write,
                                   const wchar_t* operation, const CCTImage& image, const std::string& path)
{
    const std::optional<platform::CPixelsView> view = ViewOf(image);
    if (!view || std::ranges::find(formats, view->format) == formats.end()) {
        s_Logger.Error(L"CCTImage::%s: An image of data type %i and %i by %i pixels cannot be written!\n",
                       operation, image.GetDataType(), image.GetWidth(), image.GetHeight());
        return CCTImage::eRC_FileTypeMismatch;
    }
    return WriteWith(write, path, *view);
}

void LogNotFound(const std::string& path)
{
    s_Logger.Error(L"the file %s could not be found or opened!\n", path);
}

void LogUnsupported(const std::string& description)
{
    s_Logger.Error(L"Der Datentyp des geladenen Bildes (%s) wird nicht unterstützt!\n", description);
}

/// Reads a file into an image without a size.
CCTImage::EReturnCode ReadFile(const std::string& path, CCTImage& image, std::string& description)
{
    platform::CPixels pixels;
    switch (platform::ReadImageFile(platform::NativePath(path), pixels, description)) {
    case platform::EImageFileResult::eNotFound:
        LogNotFound(path);
        return CCTImage::eRC_FileNotFound;
    case platform::EImageFileResult::eUnsupported:
        LogUnsupported(description);
        return CCTImage::eRC_UnsupportedType;
    case platform::EImageFileResult::eBroken:
        s_Logger.Error(L"the file %s is damaged: %s\n", path, description);
        return CCTImage::eRC_Failed;
    case platform::EImageFileResult::eOk:
        break;
    }
    const CCTImage::EReturnCode resized = image.Resize(pixels.width, pixels.height, TypeOf(pixels.format));
    if (resized != CCTImage::eRC_OK) {
        return resized;
    }
    return image.CopyDataFrom(pixels.bytes.data(), pixels.width, pixels.height,
                              static_cast<int>(platform::BytesPerPixel(pixels.format)));
}

constexpr const char* c_sCsv = ".csv";
constexpr int c_iColorChannels = 3;
/// In the order of the channels.
constexpr std::array<const char*, c_iColorChannels> c_aChannelEndings{"_B.csv", "_G.csv", "_R.csv"};

std::string WithoutCsv(const std::string& path)
{
    return path.substr(0, path.size() - (path.ends_with(c_sCsv) ? std::strlen(c_sCsv) : 0));
}

bool IsFile(const std::string& path)
{
    std::error_code error;
    return std::filesystem::is_regular_file(platform::NativePath(path), error);
}

/// Writes all of a text, or leaves no file.
bool WriteText(const std::string& path, const std::string& text)
{
    std::ofstream file(platform::NativePath(path), std::ios::binary | std::ios::trunc);
    if (!file) {
        return false;
    }
    file << text;
    file.close();
    if (file.fail() && IsFile(path)) { // a device is not ours to remove
        std::error_code ignored;
        std::filesystem::remove(platform::NativePath(path), ignored);
    }
    return !file.fail();
}

/// Reads the text of one channel into an image without a size.
CCTImage::EReturnCode ReadCsvFile(const std::string& path, CCTImage& image)
{
    constexpr std::uintmax_t c_iMaxBytes = std::uintmax_t{1} << 30;
    std::error_code failure;
    // A pipe would wait for its writer; hence the test before the opening.
    std::ifstream file(IsFile(path) ? platform::NativePath(path) : std::filesystem::path(), std::ios::binary);
    const std::uintmax_t size = std::filesystem::file_size(platform::NativePath(path), failure);
    if (failure || !file) {
        LogNotFound(path);
        return CCTImage::eRC_FileNotFound;
    }
    if (size > c_iMaxBytes) {
        s_Logger.Error(L"LoadCSV: %s has more than %i bytes\n", path, c_iMaxBytes);
        return CCTImage::eRC_UnsupportedType;
    }
    std::string text(size, '\0');
    file.read(text.data(), static_cast<std::streamsize>(size));
    text.resize(static_cast<std::size_t>(file.gcount()));
    std::string error;
    const CCTImage::EReturnCode result = ReadCsv(text, image, error);
    if (result != CCTImage::eRC_OK) {
        s_Logger.Error(L"LoadCSV: %s: %s\n", path, error);
    }
    return result;
}

/// Element `channel` of all pixels of a colour becomes the grey.
template <typename T>
void PutChannel(const CCTImage& grey, std::size_t channel, CCTImage& color)
{
    const std::span<const T> from = ElementsOf<T>(grey);
    const std::span<T> to = ElementsOf<T>(color);
    for (std::size_t i = 0; i < from.size(); ++i) {
        to[i * c_iColorChannels + channel] = from[i];
    }
}

/// Joins three channels of one size and type into a colour.
CCTImage::EReturnCode JoinChannels(const std::array<CCTImage, c_iColorChannels>& channels, CCTImage& image)
{
    const CCTImage& first = channels.front();
    const bool isFloat = first.GetDataType() == CCTImage::eIDT_FLOAT32;
    if (!isFloat && first.GetDataType() != CCTImage::eIDT_UINT8) {
        return CCTImage::eRC_UnsupportedType;
    }
    for (const CCTImage& channel : channels) {
        if (!channel.DoTypeAndDimMatchWith(first)) {
            return channel.DoDimMatchWith(first) ? CCTImage::eRC_UnsupportedType : CCTImage::eRC_SizeMismatch;
        }
    }
    const CCTImage::EReturnCode resized = image.Resize(
        first.GetWidth(), first.GetHeight(), isFloat ? CCTImage::eIDT_FLOAT32_3 : CCTImage::eIDT_BGRU8);
    for (std::size_t i = 0; resized == CCTImage::eRC_OK && i < channels.size(); ++i) {
        if (isFloat) {
            PutChannel<float>(channels[i], i, image);
        } else {
            PutChannel<std::uint8_t>(channels[i], i, image);
        }
    }
    return resized;
}

/// Reads the texts of three channels into an image without a size.
CCTImage::EReturnCode ReadCsvFiles(const std::string& base, CCTImage& image)
{
    std::array<CCTImage, c_iColorChannels> channels;
    for (std::size_t i = 0; i < channels.size(); ++i) {
        const CCTImage::EReturnCode result = ReadCsvFile(base + c_aChannelEndings[i], channels[i]);
        if (result != CCTImage::eRC_OK) {
            return result;
        }
    }
    const CCTImage::EReturnCode result = JoinChannels(channels, image);
    if (result != CCTImage::eRC_OK) {
        s_Logger.Error(L"LoadCSV: the channels of %s do not make an image\n", base);
    }
    return result;
}

/// What `IsValidFilename` of both widths does.
template <typename Char>
bool EndsLikeAnImage(std::basic_string_view<Char> path)
{
    constexpr std::array<std::string_view, 8> c_aEndings{".tif", "tiff", ".png", ".jpg",
                                                         "jpeg", ".bmp", ".pfm", ".pgm"};
    return std::ranges::any_of(c_aEndings, [path](std::string_view ending) {
        return path.size() >= ending.size() &&
               std::ranges::equal(path.substr(path.size() - ending.size()), ending);
    });
}

template <typename Text>
CCTImage::EReturnCode CreateImageOfFile(CCTImage** image, const Text& path)
{
    if (image == nullptr) {
        return CCTImage::eRC_Failed;
    }
    try {
        *image = new CCTImage(path);
    } catch (const std::exception& exception) {
        s_Logger.Error(L"CreateImage: %s (%s)\n", exception.what(), path);
        return CCTImage::eRC_OutOfMemory;
    }
    return CCTImage::eRC_OK;
}

} // namespace

CCTImage::CCTImage(const std::string& path)
{
    if (Load(path) != eRC_OK) {
        throw std::runtime_error("failed to load image");
    }
}

CCTImage::CCTImage(const std::wstring& path) : CCTImage(ws2s(path)) {}

bool CCTImage::IsValidFilename(const std::string& path)
{
    return EndsLikeAnImage<char>(path);
}

bool CCTImage::IsValidFilename(const std::wstring& path)
{
    return EndsLikeAnImage<wchar_t>(path);
}

CCTImage::EReturnCode CCTImage::Load(const std::string& path)
{
    CCTImage loaded;
    std::string description;
    const EReturnCode result = ReadFile(path, loaded, description);
    if (result == eRC_OK) {
        TakePixelsOf(loaded);
        m_sPathname = path;
    }
    return result;
}

CCTImage::EReturnCode CCTImage::Load(const std::wstring& path)
{
    return Load(ws2s(path));
}

CCTImage::EReturnCode CCTImage::LoadARGB(const std::string& path)
{
    CCTImage loaded;
    std::string description;
    EReturnCode result = ReadFile(path, loaded, description);
    if (result != eRC_OK) {
        return result;
    }
    CCTImage converted;
    if (loaded.m_eDataType == eIDT_ARGB8 || loaded.m_eDataType == eIDT_BGRU8) {
        result = loaded.rearrangeFromBGR8ToARGB();
        converted.TakePixelsOf(loaded);
    } else {
        result = loaded.ConvertToARGB8(&converted, true);
    }
    if (result == eRC_WrongFormat) {
        LogUnsupported(description);
        return eRC_UnsupportedType;
    }
    if (result == eRC_OK) {
        TakePixelsOf(converted);
        m_sPathname = path;
    }
    return result;
}

CCTImage::EReturnCode CCTImage::LoadARGB(const std::wstring& path)
{
    return LoadARGB(ws2s(path));
}

CCTImage::EReturnCode CCTImage::SaveTif(const std::string& path) const
{
    const std::optional<platform::CPixelsView> view = ViewOf(*this);
    if (!view) {
        s_Logger.Error(L"CCTImage::SaveTif: The temporary image for export could not be created.");
        return eRC_FileTypeMismatch;
    }
    return WriteWith(platform::WriteTiff, path, *view);
}

CCTImage::EReturnCode CCTImage::SaveTif(const std::wstring& path) const
{
    return SaveTif(ws2s(path));
}

CCTImage::EReturnCode CCTImage::SavePNG(const std::string& path) const
{
    return WriteIfOneOf(
        {EPixelFormat::eGray8, EPixelFormat::eGray16, EPixelFormat::eBgr8, EPixelFormat::eBgra8},
        platform::WritePng, L"SavePNG", *this, path);
}

CCTImage::EReturnCode CCTImage::SavePNG(const std::wstring& path) const
{
    return SavePNG(ws2s(path));
}

CCTImage::EReturnCode CCTImage::SaveBmp(const std::string& path) const
{
    return WriteIfOneOf({EPixelFormat::eGray8, EPixelFormat::eBgr8, EPixelFormat::eBgra8}, platform::WriteBmp,
                        L"SaveBmp", *this, path);
}

CCTImage::EReturnCode CCTImage::SaveBmp(const std::wstring& path) const
{
    return SaveBmp(ws2s(path));
}

CCTImage::EReturnCode CCTImage::Save(const std::string& path) const
{
    const std::string_view name = platform::FileNameOf(path);
    const std::size_t nameLength = std::min(name.rfind('.'), name.size());
    const std::string base = path.substr(0, path.size() - name.size() + nameLength);
    switch (m_eDataType) {
    case eIDT_ARGB8:
    case eIDT_BGRU8:
    case eIDT_UINT32:
    case eIDT_INT32:
    case eIDT_UINT8:
    case eIDT_GRAY8:
        return SaveTif(base + ".tif");
    case eIDT_UINT16:
    case eIDT_FLOAT32:
    case eIDT_FLOAT64:
    case eIDT_FLOAT32_3:
        // With the ending, lest that of a name such as "a.csv.tif" be taken for it.
        return SaveCSV(base + c_sCsv);
    default:
        s_Logger.Error(L"Save: Unsupported image type\n");
        return eRC_UnsupportedType;
    }
}

CCTImage::EReturnCode CCTImage::Save(const std::wstring& path) const
{
    return Save(ws2s(path));
}

CCTImage::EReturnCode CCTImage::SaveCSV(const std::string& path) const
{
    const std::string base = WithoutCsv(path);
    const bool isGrey = m_iNumChannels == 1;
    for (int channel = 0; channel < (isGrey ? 1 : c_iColorChannels); ++channel) {
        const std::string text = WriteCsv(*this, channel);
        if (text.empty()) {
            s_Logger.Error(L"SaveCSV: Unsupported image type\n");
            return eRC_UnsupportedType;
        }
        const std::string file =
            base + (isGrey ? c_sCsv : c_aChannelEndings[static_cast<std::size_t>(channel)]);
        if (!WriteText(file, text)) {
            s_Logger.Error(L"the file %s could not be written!\n", file);
            return eRC_Failed;
        }
    }
    return eRC_OK;
}

CCTImage::EReturnCode CCTImage::SaveCSV(const std::wstring& path) const
{
    return SaveCSV(ws2s(path));
}

CCTImage::EReturnCode CCTImage::LoadCSV(const std::string& path)
{
    const std::string base = WithoutCsv(path);
    CCTImage loaded;
    EReturnCode result = eRC_FileNotFound;
    try {
        if (IsFile(path) || IsFile(base + c_sCsv)) {
            result = ReadCsvFile(IsFile(path) ? path : base + c_sCsv, loaded);
        } else if (IsFile(base + c_aChannelEndings.front())) {
            result = ReadCsvFiles(base, loaded);
        } else {
            LogNotFound(path);
        }
    } catch (const std::bad_alloc&) {
        s_Logger.Error(L"LoadCSV: memory does not suffice for %s\n", path);
        result = eRC_OutOfMemory;
    }
    if (result == eRC_OK) {
        TakePixelsOf(loaded);
        m_sPathname = path;
    }
    return result;
}

CCTImage::EReturnCode CCTImage::LoadCSV(const std::wstring& path)
{
    return LoadCSV(ws2s(path));
}

CCTImage::EReturnCode CreateImage(CCTImage** image, const std::string& path)
{
    return CreateImageOfFile(image, path);
}

CCTImage::EReturnCode CreateImage(CCTImage** image, const std::wstring& path)
{
    return CreateImageOfFile(image, path);
}

} // namespace LxCV
