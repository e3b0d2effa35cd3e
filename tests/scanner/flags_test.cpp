#include "scanner/decoder/flags.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <random>
#include <span>
#include <vector>

namespace decoder {
namespace {

constexpr std::size_t kCount = 192;
using Flags = std::array<std::uint8_t, kCount>;

std::vector<std::size_t> SetOnes(const Flags& flags)
{
    std::vector<std::size_t> set;
    ForEachFlag(std::span<const std::uint8_t, kCount>(flags), [&](std::size_t i) { set.push_back(i); });
    return set;
}

TEST(ForEachFlag, TellsEachSingleFlag)
{
    EXPECT_TRUE(SetOnes({}).empty());
    for (std::size_t i = 0; i < kCount; ++i) {
        Flags flags{};
        flags[i] = 1;
        EXPECT_EQ(SetOnes(flags), std::vector{i});
    }
}

TEST(ForEachFlag, TellsManyFlagsInAscendingOrder)
{
    std::mt19937 random(3);
    for (unsigned int share = 1; share <= 8; ++share) {
        for (int trial = 0; trial < 100; ++trial) {
            Flags flags{};
            std::vector<std::size_t> expected;
            for (std::size_t i = 0; i < kCount; ++i) {
                if (random() % 8 < share) {
                    flags[i] = 1;
                    expected.push_back(i);
                }
            }
            ASSERT_EQ(SetOnes(flags), expected);
        }
    }
}

} // namespace
} // namespace decoder
