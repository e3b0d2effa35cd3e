// Rounding, pasting and saving pictures.
#include "scanner/app/colourimage.h"

#include "orx/platform/imagecodec.h"
#include "pixelelements.h"
#include "scanner/app/filecontent.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <string>

namespace app {

namespace {

std::uint8_t ToByte(float value)
{
    constexpr float kWhite = 255.0F;
    return value > 0.0F ? static_cast<std::uint8_t>(std::lround(std::min(value, kWhite))) : std::uint8_t{0};
}

} // namespace

ColourImage::ColourImage(int width, int height, Rgb fill)
    : m_width(width), m_height(height),
      m_pixels(static_cast<std::size_t>(width) * static_cast<std::size_t>(height), fill)
{}

ColourImage ColourImage::FromBgr(int width, int height, std::span<const float> pixels)
{
    ColourImage image(width, height);
    if (pixels.size() != 3 * image.m_pixels.size()) {
        throw std::invalid_argument("a colour image needs three values a pixel");
    }
    for (std::size_t i = 0; i < image.m_pixels.size(); ++i) {
        image.m_pixels[i] = {ToByte(pixels[3 * i + 2]), ToByte(pixels[3 * i + 1]), ToByte(pixels[3 * i])};
    }
    return image;
}

ColourImage ColourImage::FromLevels(const LxCV::CCTImage& image)
{
    return FromBgr(image.GetWidth(), image.GetHeight(), LxCV::ElementsOf<float>(image));
}

void ColourImage::Paste(const ColourImage& other, int column, int row)
{
    const int rows = std::min(other.m_height, m_height - row);
    const int columns = std::min(other.m_width, m_width - column);
    for (int y = std::max(0, -row); y < rows; ++y) {
        for (int x = std::max(0, -column); x < columns; ++x) {
            At(column + x, row + y) = other.At(x, y);
        }
    }
}

std::vector<std::byte> ColourImage::ToBgr() const
{
    std::vector<std::byte> bytes(m_pixels.size() * sizeof(Rgb));
    auto next = bytes.begin();
    for (const auto& [red, green, blue] : m_pixels) {
        for (const std::uint8_t channel : {blue, green, red}) {
            *next++ = std::byte{channel};
        }
    }
    return bytes;
}

void ColourImage::WritePng(const std::filesystem::path& file) const
{
    // Not through `CCTImage::SavePNG`: in a path text a backslash separates folders, here it may be part of a name.
    const std::vector<std::byte> pixels = ToBgr();
    if (!platform::WritePng(file, {m_width, m_height, platform::EPixelFormat::eBgr8, pixels})) {
        throw WriteFailure(file);
    }
}

std::vector<std::byte> ColourImage::ToPng() const
{
    const std::vector<std::byte> pixels = ToBgr();
    std::vector<std::byte> file =
        platform::EncodePng({m_width, m_height, platform::EPixelFormat::eBgr8, pixels});
    if (file.empty()) {
        throw std::runtime_error("a picture without pixels makes no PNG");
    }
    return file;
}

} // namespace app
