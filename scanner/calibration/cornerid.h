// The numbering of corners that all targets share.
#pragma once

#include <array>
#include <cstddef>

namespace calibration {

inline constexpr int c_cornersOfSquare = 4;

/// The square n, from 1, of a corner: one of those with the ids 4n - 3 to 4n.
inline int SquareOf(int id)
{
    return (id - 1) / c_cornersOfSquare + 1;
}

/// Which corner of its square that is, as the image shows it.
inline const char* CornerName(int id)
{
    constexpr std::array names{"upper left", "upper right", "lower left", "lower right"};
    return names[static_cast<std::size_t>(id - 1) % names.size()];
}

} // namespace calibration
