// Few flags among many, found without looking at each.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

namespace decoder {

/// Calls `take` with the index of each flag that is set, in ascending order.
/// @param flags bytes of 0 or 1, which a loop over pixels writes fast; a multiple of eight of them
template <std::size_t Size, typename Take>
void ForEachFlag(std::span<const std::uint8_t, Size> flags, Take&& take)
{
    static_assert(Size % sizeof(std::uint64_t) == 0 && std::endian::native == std::endian::little);
    constexpr int kBits = 8; // of a flag
    for (std::size_t group = 0; group < Size; group += sizeof(std::uint64_t)) {
        std::uint64_t set;
        std::memcpy(&set, &flags[group], sizeof(set));
        for (; set != 0; set &= set - 1) {
            take(group + static_cast<std::size_t>(std::countr_zero(set) / kBits));
        }
    }
}

} // namespace decoder
