#include "scanner/app/imagefiles.h"

#include "orx/platform/imagecodec.h"
#include "pixelelements.h"
#include "scanner/app/filecontent.h"

#include <stdexcept>
#include <system_error>

namespace app {

using LxCV::CCTImage;

namespace {

/// What to throw for a file that holds no image.
std::runtime_error NoImage(const std::filesystem::path& file, const char* problem)
{
    std::error_code unknown;
    const bool isEmpty = std::filesystem::file_size(file, unknown) == 0;
    return std::runtime_error("'" + file.string() + (isEmpty ? "' is empty, and no image" : problem));
}

/// Makes colours of grey levels, which are divided.
CCTImage::EReturnCode SpreadGrey(float divisor, CCTImage& levels)
{
    CCTImage grey;
    CCTImage::EReturnCode code = grey.Resize(levels.GetWidth(), levels.GetHeight(), levels.GetDataType());
    if (code == CCTImage::eRC_OK) {
        code = grey.CopyFrom(&levels, false);
    }
    if (code != CCTImage::eRC_OK) {
        return code;
    }
    for (float& level : LxCV::ElementsOf<float>(grey)) {
        level /= divisor;
    }
    code = levels.Resize(grey.GetWidth(), grey.GetHeight(), CCTImage::eIDT_FLOAT32_3);
    return code != CCTImage::eRC_OK
               ? code
               : grey.CreateRGBFromSingleChannel(&levels, LxCV::LxCColorValueFloat::eGreen);
}

} // namespace

CCTImage LoadImage(const std::filesystem::path& file)
{
    RequireNoBackslash("cannot read", file);
    if (std::error_code unknown; !std::filesystem::exists(file, unknown)) {
        throw std::runtime_error("there is no file '" + file.string() +
                                 "'"); // which the library would log, too
    }
    CCTImage image;
    const CCTImage::EReturnCode code = image.Load(file.string());
    switch (code) {
    case CCTImage::eRC_OK:
        return image;
    case CCTImage::eRC_FileNotFound:
        OpenForReading(file); // which tells why it cannot
        throw std::runtime_error("cannot open '" + file.string() + "'");
    case CCTImage::eRC_UnsupportedType:
        throw NoImage(file,
                      "' is no image of a kind that can be read: TIFF, PNG, JPEG, BMP, PGM and PFM can");
    case CCTImage::eRC_OutOfMemory:
        throw std::runtime_error("'" + file.string() + "' is too large for the memory");
    default:
        throw NoImage(file, "' is a damaged image: write or copy it anew");
    }
}

CCTImage LoadLevels(const std::filesystem::path& file)
{
    constexpr float bytes = 257.0F; // 65535 / 255
    const CCTImage image = LoadImage(file);
    CCTImage levels;
    CCTImage::EReturnCode code = image.ConvertToFloat(&levels, true);
    if (code == CCTImage::eRC_OK && levels.GetDataType() == CCTImage::eIDT_FLOAT32) {
        code = SpreadGrey(image.GetDataType() == CCTImage::eIDT_UINT16 ? bytes : 1.0F, levels);
    }
    if (code != CCTImage::eRC_OK) {
        throw std::runtime_error("'" + file.string() + "' is too large for the memory");
    }
    return levels;
}

std::string SizeText(int width, int height)
{
    return std::to_string(width) + " by " + std::to_string(height) + " pixels";
}

std::string SizeText(const CCTImage& image)
{
    return SizeText(image.GetWidth(), image.GetHeight());
}

void WritePicture(const CCTImage& picture, const std::filesystem::path& file)
{
    platform::CPixels pixels;
    if (picture.CreateBitmap(&pixels) != CCTImage::eRC_OK ||
        !platform::WritePng(file, {pixels.width, pixels.height, pixels.format, pixels.bytes})) {
        throw WriteFailure(file);
    }
}

} // namespace app
