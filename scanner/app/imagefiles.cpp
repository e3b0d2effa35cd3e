#include "scanner/app/imagefiles.h"

#include "orx/platform/imagecodec.h"
#include "pixelelements.h"

#include <stdexcept>
#include <utility>

namespace app {

using LxCV::CCTImage;

CCTImage LoadImage(const std::filesystem::path& file)
{
    CCTImage image;
    const CCTImage::EReturnCode code = image.Load(file.string());
    switch (code) {
    case CCTImage::eRC_OK:
        return image;
    case CCTImage::eRC_FileNotFound:
        throw std::runtime_error("there is no file '" + file.string() + "'");
    case CCTImage::eRC_UnsupportedType:
        throw std::runtime_error("'" + file.string() + "' is no image of a kind that can be read");
    case CCTImage::eRC_OutOfMemory:
        throw std::runtime_error("'" + file.string() + "' is too large for the memory");
    default:
        throw std::runtime_error("'" + file.string() + "' is a damaged image, or cannot be read");
    }
}

CCTImage LoadLevels(const std::filesystem::path& file)
{
    constexpr float bytes = 257.0F; // 65535 / 255
    const CCTImage image = LoadImage(file);
    CCTImage levels;
    CCTImage::EReturnCode code = image.ConvertToFloat(&levels, true);
    if (code == CCTImage::eRC_OK && levels.GetDataType() == CCTImage::eIDT_FLOAT32) {
        const float divisor = image.GetDataType() == CCTImage::eIDT_UINT16 ? bytes : 1.0F;
        for (float& level : LxCV::ElementsOf<float>(levels)) {
            level /= divisor;
        }
        CCTImage colours(levels.GetWidth(), levels.GetHeight(), CCTImage::eIDT_FLOAT32_3, true, nullptr);
        code = levels.CreateRGBFromSingleChannel(&colours, LxCV::LxCColorValueFloat::eGreen);
        levels = std::move(colours);
    }
    if (code != CCTImage::eRC_OK) {
        throw std::runtime_error("'" + file.string() + "' is too large for the memory");
    }
    return levels;
}

void WritePicture(const CCTImage& picture, const std::filesystem::path& file)
{
    platform::CPixels pixels;
    if (picture.CreateBitmap(&pixels) != CCTImage::eRC_OK ||
        !platform::WritePng(file, {pixels.width, pixels.height, pixels.format, pixels.bytes})) {
        throw std::runtime_error("cannot write '" + file.string() + "'");
    }
}

} // namespace app
