// The image that the virtual device delivers.
#pragma once

#include <cstddef>
#include <vector>

namespace device {

/// Grey levels row by row, the channels of a pixel next to each other in the order blue, green, red.
struct ImageF
{
    ImageF() = default;
    ImageF(int imageWidth, int imageHeight)
        : width(imageWidth), height(imageHeight),
          data(static_cast<std::size_t>(imageWidth) * static_cast<std::size_t>(imageHeight) * channels)
    {}

    float& At(int col, int row, int channel) { return data[Index(col, row, channel)]; }
    float At(int col, int row, int channel) const { return data[Index(col, row, channel)]; }

    static constexpr int channels = 3;
    int width = 0;
    int height = 0;
    std::vector<float> data;

private:
    std::size_t Index(int col, int row, int channel) const
    {
        return (static_cast<std::size_t>(row) * static_cast<std::size_t>(width) +
                static_cast<std::size_t>(col)) *
                   channels +
               static_cast<std::size_t>(channel);
    }
};

} // namespace device
