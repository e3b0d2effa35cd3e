// How often each hue occurs, and where the hues of two kinds of pixels part.
#pragma once

#include "lxcfloat3.h"
#include "orx/base/export.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace LxCV {

/// Counts pixels by hue, in bins of one degree. Bin b holds the hues that are b - 180 degrees after truncation towards
/// zero; red lies at 180, in a bin of two degrees.
///
/// The hue of a colour is the usual one of the hexagon, from -60 (magenta) over 0 (red), 120 (green) and 240 (blue)
/// to 300. Hues from 180 on, which are those from cyan to magenta by way of blue, lie beyond the last bin and are not
/// counted: the histogram is for teeth and tissue, between red and yellow.
class ORX_EXPORT CHueHistogram
{
public:
    static constexpr int c_iBins = 360;

    /// @param pixel blue, green and red, on any scale. Greys and black count as hue 0; a pixel with an element that is
    /// no finite number does not count
    void Add(const LxCFloat3& pixel);

    /// Pixels in a bin, 0 for one that is not there.
    std::int64_t GetCount(int bin) const;
    std::int64_t GetLargestCount() const;

    /// The bin that ends the lower of two classes of pixels, so that the variance between them is largest; of equal
    /// ones the lowest. 0 where fewer than two bins hold pixels.
    /// Source: N. Otsu, A threshold selection method from gray-level histograms, 1979.
    int GetOtsuThreshold() const;

private:
    std::array<std::int64_t, c_iBins> m_aCounts{};
};

/// The hue of a colour in degrees, between -60 and 300; 0 for greys and black.
ORX_EXPORT float HueOf(const LxCFloat3& pixel);

} // namespace LxCV
