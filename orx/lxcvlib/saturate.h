// Narrowing of wide integers that is defined for every value.
#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>

namespace LxCV {

/// `value`, or the nearest int where int cannot hold it.
constexpr int SaturateToInt(std::int64_t value)
{
    using Limits = std::numeric_limits<int>;
    return static_cast<int>(
        std::clamp<std::int64_t>(value, std::int64_t{Limits::min()}, std::int64_t{Limits::max()}));
}

} // namespace LxCV
