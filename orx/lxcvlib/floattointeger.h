// Truncation of floating-point values to integers that is defined for every value.
#pragma once

#include <cstdint>
#include <limits>

namespace LxCV {

/// `value` truncated towards zero. What does not fit becomes the nearest value that does; what is no number
/// becomes 0.
template <typename Integer, typename Float>
constexpr Integer TruncateTo(Float value)
{
    using Limits = std::numeric_limits<Integer>;
    // Both are powers of two or zero, hence exact: the first value above the range, and its lower end.
    constexpr Float c_End = static_cast<Float>((Limits::max() >> 1) + 1) * 2;
    constexpr Float c_Begin = static_cast<Float>(Limits::min());
    if (value >= c_End) {
        return Limits::max();
    }
    if (value <= c_Begin) {
        return Limits::min();
    }
    return value == value ? static_cast<Integer>(value) : Integer{0};
}

} // namespace LxCV
