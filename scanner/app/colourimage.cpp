// PNG through libpng's simplified interface.
#include "scanner/app/colourimage.h"

#include <png.h>

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

void ColourImage::WritePng(const std::filesystem::path& file) const
{
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(m_width);
    image.height = static_cast<png_uint_32>(m_height);
    image.format = PNG_FORMAT_RGB;
    if (png_image_write_to_file(&image, file.c_str(), 0, m_pixels.data(), 0, nullptr) == 0) {
        throw std::runtime_error("cannot write " + file.string() + ": " + image.message);
    }
}

} // namespace app
