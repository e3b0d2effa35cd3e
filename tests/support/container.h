// Containers that no code of the library had a hand in.
#pragma once

#include "tests/support/storedzlib.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace TestSupport {

/// The four bytes of a number, the lowest first.
inline std::string UInt32(std::uint32_t value)
{
    std::string bytes;
    for (int i = 0; i < 4; ++i) {
        bytes.push_back(static_cast<char>(value >> (8 * i)));
    }
    return bytes;
}

inline std::uint32_t UInt32At(const std::string& bytes, std::size_t offset)
{
    std::uint32_t value = 0;
    for (std::size_t i = 4; i-- > 0;) {
        value = value * 256 + static_cast<unsigned char>(bytes.at(offset + i));
    }
    return value;
}

/// A container of version 1 with a text of at most 65535 bytes.
inline std::string PlainContainer(const std::string& text)
{
    const std::string compressed = StoredZlib(text);
    return "\x01" + UInt32(static_cast<std::uint32_t>(text.size())) +
           UInt32(static_cast<std::uint32_t>(compressed.size())) + compressed;
}

inline std::string WithChangedBit(std::string bytes, std::size_t bit)
{
    bytes[bit / 8] = static_cast<char>(bytes[bit / 8] ^ (1 << (bit % 8)));
    return bytes;
}

} // namespace TestSupport
