// What the tests of scans share.
#pragma once

#include "lxcfloat3.h"
#include "lxsscandata.h"
#include "pixelelements.h"

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <random>
#include <span>
#include <string>
#include <type_traits>
#include <vector>

namespace LxCV::TestSupport {

/// The bytes of a number as little-endian files have them, the lowest first.
template <typename T>
std::string LittleEndian(T value)
{
    using Bits = std::conditional_t<sizeof(T) == 8, std::uint64_t, std::uint32_t>;
    static_assert(sizeof(Bits) == sizeof(T));
    const auto bits = std::bit_cast<Bits>(value);
    std::string bytes;
    for (std::size_t i = 0; i < sizeof(T); ++i) {
        bytes.push_back(static_cast<char>(bits >> (8 * i) & 0xFFU));
    }
    return bytes;
}

inline std::span<LxCFloat3> PointsIn(const LxSScanData& scan)
{
    return ElementsOf<LxCFloat3>(*scan.Get3DPoints());
}

inline std::span<std::uint8_t> BytesIn(CCTImage* image)
{
    return ElementsOf<std::uint8_t>(*image);
}

inline std::string RawBytesOf(const CCTImage& image)
{
    const auto bytes = ElementsOf<char>(image);
    return {bytes.begin(), bytes.end()};
}

inline bool IsAllZero(const CCTImage& image)
{
    return RawBytesOf(image).find_first_not_of('\0') == std::string::npos;
}

inline void FillAllBytes(CCTImage& image, int byte)
{
    std::memset(image.GetBuffer(), byte, static_cast<std::size_t>(image.GetSizeInBytes()));
}

/// Bits of all three, so that the sign of zero and the kind of a NaN count.
inline bool HaveSameBits(const LxCFloat3& a, const LxCFloat3& b)
{
    return std::memcmp(&a, &b, sizeof a) == 0;
}

/// Points within 10 mm of the origin, of which most are valid.
inline void FillWithRandomPoints(const LxSScanData& scan, unsigned int seed)
{
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> coordinate(-10.0F, 10.0F);
    for (LxCFloat3& point : PointsIn(scan)) {
        point = LxCFloat3(coordinate(random), coordinate(random), coordinate(random));
    }
    for (std::uint8_t& mask : BytesIn(scan.GetValidMask())) {
        mask = random() % 4 == 0 ? static_cast<std::uint8_t>(random() % 2 * 255) : 1;
    }
}

} // namespace LxCV::TestSupport
