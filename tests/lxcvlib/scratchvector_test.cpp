#include "scratchvector.h"

#include "tests/lxcvlib/allocationcount.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <new>
#include <random>
#include <thread>
#include <utility>
#include <vector>

namespace LxCV {
namespace {

TEST(ScratchVector, TakesItsMemoryOnce)
{
    const auto work = [] {
        ScratchVector<float> a(1000, 1.0F);
        ScratchVector<std::uint8_t> b(77);
        ScratchVector<float> c(1000, 2.0F);
        return a.back() + c.front() + static_cast<float>(b.size());
    };
    EXPECT_EQ(work(), 80.0F);
    const AllocationCount allocations;
    for (int i = 0; i < 10; ++i) {
        EXPECT_EQ(work(), 80.0F);
    }
    EXPECT_EQ(allocations.Get(), 0U);
}

TEST(ScratchVector, IsMadeOfTheSameValuesAgain)
{
    ScratchVector<int>(50, 7).clear();
    const ScratchVector<int> zeros(50);
    EXPECT_EQ(zeros, ScratchVector<int>(50, 0));
}

TEST(ScratchVector, LiveOnesShareNoMemory)
{
    std::mt19937 random(3);
    std::vector<std::pair<ScratchVector<std::uint8_t>, std::uint8_t>> live;
    for (int i = 0; i < 3000; ++i) {
        if (live.size() < 90 && random() % 2 == 0) {
            const auto mark = static_cast<std::uint8_t>(random());
            live.emplace_back(ScratchVector<std::uint8_t>(1 + random() % 3000, mark), mark);
        } else if (!live.empty()) {
            const std::size_t which = random() % live.size();
            const auto& [bytes, mark] = live[which];
            EXPECT_EQ(bytes, ScratchVector<std::uint8_t>(bytes.size(), mark));
            live.erase(live.begin() + static_cast<std::ptrdiff_t>(which));
        }
    }
}

TEST(ScratchVector, IsAlignedForACacheLine)
{
    for (const std::size_t size : {1U, 63U, 64U, 1000U}) {
        const ScratchVector<std::uint8_t> bytes(size);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(bytes.data()) % 64, 0U);
    }
}

TEST(ScratchMemory, KeepsNoLargeBlocksAndNotTooManySmallOnes)
{
    constexpr std::size_t large = CScratchMemory::c_uiLargestKept + 1;
    const AllocationCount probe;
    ::operator delete(::operator new(8));
    const bool isCounted = probe.Get() > 0; // not under the thread sanitizer
    CScratchMemory::GiveBack(CScratchMemory::Take(large), large);
    const AllocationCount allocations;
    CScratchMemory::GiveBack(CScratchMemory::Take(large), large);
    EXPECT_EQ(allocations.Get(), isCounted ? 1U : 0U);

    constexpr std::size_t half = CScratchMemory::c_uiLargestKept / 2;
    std::vector<void*> blocks(5);
    for (void*& block : blocks) {
        block = CScratchMemory::Take(half);
        std::memset(block, 1, half);
    }
    for (void* const block : blocks) {
        CScratchMemory::GiveBack(block, half);
    }
}

TEST(ScratchVector, RefusesMoreElementsThanBytesCanBeCounted)
{
    constexpr std::size_t most = std::numeric_limits<std::size_t>::max();
    EXPECT_THROW(static_cast<void>(CScratchAllocator<double>().allocate(most / sizeof(double) + 1)),
                 std::bad_array_new_length);
    EXPECT_THROW(static_cast<void>(CScratchAllocator<double>().allocate(most)), std::bad_array_new_length);
}

TEST(ScratchMemory, BelongsToItsThread)
{
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([i] {
            for (int round = 0; round < 200; ++round) {
                const ScratchVector<int> numbers(100 + static_cast<std::size_t>(round % 7), i);
                ASSERT_EQ(numbers.back(), i);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

} // namespace
} // namespace LxCV
