// Painting of error maps.
#include "scanner/app/errormaps.h"

#include "lxccolorvalueargb8.h"
#include "lxcgdiplusbitmaputilities.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <iomanip>
#include <locale>
#include <sstream>
#include <string>

namespace app {

using acceptance::FlatnessFigures;
using acceptance::FlatnessRuns;
using acceptance::MapPoint;
using LxCV::CCTImage;
using LxCV::LxCColorValueARGB8;

namespace {

constexpr int c_columns = 4;
constexpr int c_gap = 12;
constexpr int c_title = 22; // pixels above a map
constexpr int c_legend = 40;
constexpr int c_font = 14;
constexpr LxCColorValueARGB8 c_paper{std::uint8_t{255}, std::uint8_t{255}, std::uint8_t{255}};
constexpr LxCColorValueARGB8 c_nothing{std::uint8_t{40}, std::uint8_t{40}, std::uint8_t{40}};
constexpr LxCColorValueARGB8 c_ink{std::uint8_t{20}, std::uint8_t{20}, std::uint8_t{20}};

/// Blue at -1, white at 0, red at 1. Points that are nearer to the camera than the plane are negative.
LxCColorValueARGB8 ColourOf(double share)
{
    const double strength = std::abs(share) < 1.0 ? std::abs(share) : 1.0; // also what is no number
    const auto pale = static_cast<std::uint8_t>(std::lround(255.0 * (1.0 - strength)));
    const auto full = static_cast<std::uint8_t>(std::lround(255.0 - 55.0 * strength));
    return share < 0.0 ? LxCColorValueARGB8{pale, pale, full} : LxCColorValueARGB8{full, pale, pale};
}

/// Where a map stands in the picture.
struct Tile
{
    int left = 0;
    int top = 0;
    int width = 0;
    int height = 0;
};

void Fill(CCTImage& picture, const Tile& tile, const LxCColorValueARGB8& colour)
{
    for (int y = tile.top; y < tile.top + tile.height; ++y) {
        for (int x = tile.left; x < tile.left + tile.width; ++x) {
            picture.SetPixelFast(x, y, &colour);
        }
    }
}

/// Each point colours its pixel and those above and below, so that stripe edges meet.
void PaintMap(CCTImage& picture, const Tile& tile, std::span<const MapPoint> points, double scale)
{
    for (const MapPoint& point : points) {
        const double x = 0.5 * point.image.x, y = 0.5 * point.image.y;
        if (!(x >= 0.0 && y >= 0.0 && x < tile.width && y < tile.height)) {
            continue;
        }
        const LxCColorValueARGB8 colour = ColourOf(point.distance / scale);
        const int middle = static_cast<int>(y);
        for (int row = std::max(middle - 1, 0); row <= std::min(middle + 1, tile.height - 1); ++row) {
            picture.SetPixelFast(tile.left + static_cast<int>(x), tile.top + row, &colour);
        }
    }
}

std::wstring TitleOf(const FlatnessRuns& flat)
{
    std::wostringstream title;
    title.imbue(std::locale::classic());
    title << std::wstring(flat.name.begin(), flat.name.end()) << L": RMS " << std::fixed
          << std::setprecision(4) << flat.Of(&FlatnessFigures::rms).mean << L" mm";
    return title.str();
}

void PaintLegend(CCTImage& picture, const Tile& bar)
{
    for (int x = 0; x < bar.width; ++x) {
        const double share = 2.0 * x / (bar.width - 1) - 1.0;
        Fill(picture, {bar.left + x, bar.top, 1, bar.height}, ColourOf(share));
    }
}

/// A distance in micrometres.
std::wstring Micrometres(double distance)
{
    constexpr double inMillimetre = 1000.0;
    return std::to_wstring(std::lround(inMillimetre * distance)) + L" \u00b5m";
}

} // namespace

CCTImage PaintErrorMaps(std::span<const FlatnessRuns> flats, int width, int height, double scale)
{
    const int rows = (static_cast<int>(flats.size()) + c_columns - 1) / c_columns;
    const int stepX = width / 2 + c_gap, stepY = height / 2 + c_title + c_gap;
    CCTImage picture(c_columns * stepX + c_gap, rows * stepY + c_legend, CCTImage::eIDT_ARGB8, true, nullptr);
    Fill(picture, {0, 0, picture.GetWidth(), picture.GetHeight()}, c_paper);
    const Tile bar{c_gap, rows * stepY + c_gap, width / 2, c_legend - 2 * c_gap};
    PaintLegend(picture, bar);
    const auto tileOf = [&](std::size_t index) {
        const int place = static_cast<int>(index);
        return Tile{c_gap + place % c_columns * stepX, c_title + place / c_columns * stepY, width / 2,
                    height / 2};
    };
    for (std::size_t index = 0; index < flats.size(); ++index) {
        Fill(picture, tileOf(index), c_nothing);
        PaintMap(picture, tileOf(index), flats[index].map, scale);
    }
    LxCV::LxCGdiPlusBitmapUtilities surface(picture);
    for (std::size_t index = 0; index < flats.size(); ++index) {
        const Tile tile = tileOf(index);
        surface.DrawTextW(TitleOf(flats[index]), tile.left, tile.top - c_title + 2, c_font, c_ink);
    }
    const std::wstring range = Micrometres(-scale) + L" (left) to " + Micrometres(scale) +
                               L" (right) from the plane of least squares; negative is nearer to the camera";
    surface.DrawTextW(range, bar.left + bar.width + c_gap, bar.top, c_font, c_ink);
    surface.CopyResult(&picture);
    return picture;
}

} // namespace app
