// Edge images, id images and edges made by hand, for the tests of straight edges and of what is built from them.
#pragma once

#include "cctimage.h"
#include "cstraightedge.h"
#include "lxccalibedge.h"

#include <cmath>
#include <cstdint>
#include <functional>

namespace LxCV::TestSupport {

inline CCTImage WordImage(int width, int height)
{
    CCTImage image(width, height, CCTImage::eIDT_INT32, true, nullptr);
    image.Clear();
    return image;
}

inline std::int32_t EdgeWord(bool isMax, int subpixel, int id = 0)
{
    return LxCCalibEdge().Encode(isMax, subpixel, id);
}

/// The pixel at a position along an edge and a value across it.
inline int& PixelAt(CCTImage& image, CStraightEdge::EOrientation orientation, int position, int across)
{
    return orientation == CStraightEdge::eVertical ? image.GetInt32PixelFast(across, position)
                                                   : image.GetInt32PixelFast(position, across);
}

/// Writes the edge value(position) for positions first to last, to 1/64 pixel, rounded down.
inline void PutEdge(CCTImage& image, CStraightEdge::EOrientation orientation, int first, int last,
                    const std::function<double(double)>& value, bool isMax = true, int id = 0)
{
    for (int position = first; position <= last; ++position) {
        const int fixed = static_cast<int>(std::floor(value(position) * 64.0));
        PixelAt(image, orientation, position, fixed >> 6) = EdgeWord(isMax, fixed & 63, id);
    }
}

/// An edge traced through an image that holds nothing else: value(position) for positions first to last.
template <typename Edge = CStraightEdge>
Edge MakeEdge(CStraightEdge::EOrientation orientation, int first, int last,
              const std::function<double(double)>& value, bool isMax = true, int size = 200)
{
    CCTImage image = WordImage(size, size);
    PutEdge(image, orientation, first, last, value, isMax);
    Edge edge(orientation);
    int across = 0; // searched, since `value` may be random
    while (across + 1 < size && PixelAt(image, orientation, first, across) == 0) {
        ++across;
    }
    const bool vertical = orientation == CStraightEdge::eVertical;
    edge.Trace(image, vertical ? across : first, vertical ? first : across, 1);
    return edge;
}

} // namespace LxCV::TestSupport
