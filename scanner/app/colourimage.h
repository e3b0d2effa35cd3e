// An 8-bit colour picture and its PNG file.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <span>
#include <vector>

namespace LxCV {
class CCTImage;
}

namespace app {

using Rgb = std::array<std::uint8_t, 3>; ///< red, green, blue

/// Row-major 8-bit RGB picture without padding, for files that people look at.
class ColourImage
{
public:
    ColourImage(int width, int height, Rgb fill = {});

    /// Rounds and clips a float image.
    /// @param pixels width * height triples in the order blue, green, red; grey levels 0 to 255
    static ColourImage FromBgr(int width, int height, std::span<const float> pixels);

    /// The same of an image of type FLOAT32_3, grey levels 0 to 255.
    static ColourImage FromLevels(const LxCV::CCTImage& image);

    int GetWidth() const { return m_width; }
    int GetHeight() const { return m_height; }

    Rgb& At(int column, int row) { return m_pixels[Index(column, row)]; }
    const Rgb& At(int column, int row) const { return m_pixels[Index(column, row)]; }

    /// Copies `other` to (column, row); what lies outside is cut off.
    void Paste(const ColourImage& other, int column, int row);

    /// @throws std::runtime_error naming the file if it cannot be written
    void WritePng(const std::filesystem::path& file) const;

    /// The bytes of a PNG file.
    /// @throws std::runtime_error for a picture without pixels
    std::vector<std::byte> ToPng() const;

private:
    std::vector<std::byte> ToBgr() const;

    std::size_t Index(int column, int row) const
    {
        return static_cast<std::size_t>(row) * static_cast<std::size_t>(m_width) +
               static_cast<std::size_t>(column);
    }

    int m_width;
    int m_height;
    std::vector<Rgb> m_pixels;
};

} // namespace app
