// Hues, their counts and Otsu's threshold.
#include "huehistogram.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace LxCV {

namespace {

constexpr float c_fUnit = 0.00390625F; ///< 1/256, of a grey level of a byte
constexpr float c_fSector = 60.0F;     ///< degrees between two corners of the hexagon
constexpr int c_iHalfTurn = 180;       ///< degrees

/// In units of a sector, of three channels of which the largest exceeds the smallest.
float HexagonHue(float blue, float green, float red, float largest, float range)
{
    if (red == largest) {
        return (green - blue) / range;
    }
    if (green == largest) {
        return (blue - red) / range + 2.0F;
    }
    return (red - green) / range + 4.0F;
}

} // namespace

float HueOf(const LxCFloat3& pixel)
{
    const float blue = pixel.get(0) * c_fUnit;
    const float green = pixel.get(1) * c_fUnit;
    const float red = pixel.get(2) * c_fUnit;
    const float largest = std::max({blue, green, red});
    const float range = largest - std::min({blue, green, red});
    if (largest == 0.0F || range / largest == 0.0F) {
        return 0.0F;
    }
    const float hue = HexagonHue(blue, green, red, largest, range) * c_fSector;
    return hue < -static_cast<float>(c_iHalfTurn) ? hue + 2.0F * static_cast<float>(c_iHalfTurn) : hue;
}

void CHueHistogram::Add(const LxCFloat3& pixel)
{
    // Beside two equal elements, one that is no number would pass for grey.
    const double sum = double{pixel.get(0)} + double{pixel.get(1)} + double{pixel.get(2)};
    if (!std::isfinite(sum)) {
        return;
    }
    const float hue = HueOf(pixel);
    // Negative hues are cut towards 0 like positive ones, so that bin 180 is two degrees wide.
    if (hue > -static_cast<float>(c_iHalfTurn + 1) && hue < static_cast<float>(c_iHalfTurn)) {
        const int bin = static_cast<int>(hue) + c_iHalfTurn;
        ++m_aCounts[static_cast<std::size_t>(bin)];
    }
}

std::int64_t CHueHistogram::GetCount(int bin) const
{
    return bin >= 0 && bin < c_iBins ? m_aCounts[static_cast<std::size_t>(bin)] : 0;
}

std::int64_t CHueHistogram::GetLargestCount() const
{
    return *std::ranges::max_element(m_aCounts);
}

int CHueHistogram::GetOtsuThreshold() const
{
    double total = 0.0;
    double sum = 0.0;
    for (int bin = 0; bin < c_iBins; ++bin) {
        const auto count = static_cast<double>(GetCount(bin));
        total += count;
        sum += bin * count;
    }
    int threshold = 0;
    double best = -1.0;
    double lower = 0.0;
    double lowerSum = 0.0;
    for (int bin = 0; bin < c_iBins; ++bin) {
        const auto count = static_cast<double>(GetCount(bin));
        lower += count;
        lowerSum += bin * count;
        if (lower == 0.0) {
            continue;
        }
        const double upper = total - lower;
        if (upper == 0.0) {
            break;
        }
        const double distance = lowerSum / lower - (sum - lowerSum) / upper;
        const double between = upper * lower * (distance * distance);
        if (between > best) {
            best = between;
            threshold = bin;
        }
    }
    return threshold;
}

} // namespace LxCV
