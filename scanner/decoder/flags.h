// Few flags among many, found without looking at each.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

namespace decoder {

/// Eight bytes of 0 or 1 as the bits of a byte, the first one lowest.
inline std::uint64_t BitsOfFlags(const std::uint8_t* flags)
{
    static_assert(std::endian::native == std::endian::little);
    // Each product that reaches the highest byte brings one flag to its bit there; none carries.
    constexpr std::uint64_t kToHighestByte = 0x0102040810204080;
    std::uint64_t bytes;
    std::memcpy(&bytes, flags, sizeof(bytes));
    return bytes * kToHighestByte >> 56;
}

/// Calls `take` with the index of each flag that is set, in ascending order.
/// @param flags bytes of 0 or 1, which a loop over pixels writes fast; a multiple of 64 of them
template <std::size_t Size, typename Take>
void ForEachFlag(std::span<const std::uint8_t, Size> flags, Take&& take)
{
    constexpr std::size_t kBits = 64;
    static_assert(Size % kBits == 0);
    for (std::size_t group = 0; group < Size; group += kBits) {
        std::uint64_t set = 0;
        for (std::size_t byte = 0; byte < sizeof(set); ++byte) {
            set |= BitsOfFlags(&flags[group + 8 * byte]) << 8 * byte;
        }
        for (; set != 0; set &= set - 1) {
            take(group + static_cast<std::size_t>(std::countr_zero(set)));
        }
    }
}

} // namespace decoder
