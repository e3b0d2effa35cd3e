#include "allocationcount.h"

#include "lxcsensorcoordscct.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <new>
#include <string>
#include <thread>
#include <vector>

// The thread sanitizer brings operators of its own that cannot be replaced; the other builds count.
#if defined(__SANITIZE_THREAD__)
#define LXCV_THREAD_SANITIZER
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define LXCV_THREAD_SANITIZER
#endif
#endif

#ifdef LXCV_THREAD_SANITIZER

std::size_t LxCV::AllocationCount::GetTotal()
{
    return 0;
}

LxCV::AllocationLimit::AllocationLimit(std::size_t, std::size_t) {}
LxCV::AllocationLimit::~AllocationLimit() = default;

bool LxCV::AllocationLimit::IsEffective()
{
    return false;
}

#else

namespace {

constexpr std::size_t c_NoLimit = SIZE_MAX;

thread_local std::size_t s_Allocations = 0;
thread_local std::size_t s_LimitedBytes = c_NoLimit; ///< allocations of so many bytes or more are limited
thread_local std::size_t s_Allowed = 0;              ///< of those, how many may still succeed

/// Whether an allocation is one that is to fail.
bool IsRefused(std::size_t size)
{
    if (size < s_LimitedBytes) {
        return false;
    }
    if (s_Allowed == 0) {
        return true;
    }
    --s_Allowed;
    return false;
}

void* Allocate(std::size_t size, std::size_t alignment = alignof(std::max_align_t)) noexcept
{
    ++s_Allocations;
    if (IsRefused(size)) {
        return nullptr;
    }
    const std::size_t rounded = (std::max<std::size_t>(size, 1) + alignment - 1) / alignment * alignment;
    return rounded < size ? nullptr : std::aligned_alloc(alignment, rounded);
}

void* AllocateOrThrow(std::size_t size, std::size_t alignment = alignof(std::max_align_t))
{
    void* memory = Allocate(size, alignment);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

/// Kept out of line: inlined into a caller, the compiler takes the pair of new and free for a mistake.
[[gnu::noinline]] void Release(void* memory) noexcept
{
    std::free(memory);
}

std::size_t ToSize(std::align_val_t alignment)
{
    return static_cast<std::size_t>(alignment);
}

} // namespace

void* operator new(std::size_t size)
{
    return AllocateOrThrow(size);
}
void* operator new[](std::size_t size)
{
    return AllocateOrThrow(size);
}
void* operator new(std::size_t size, std::align_val_t alignment)
{
    return AllocateOrThrow(size, ToSize(alignment));
}
void* operator new[](std::size_t size, std::align_val_t alignment)
{
    return AllocateOrThrow(size, ToSize(alignment));
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    return Allocate(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept
{
    return Allocate(size);
}
void* operator new(std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept
{
    return Allocate(size, ToSize(alignment));
}
void* operator new[](std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept
{
    return Allocate(size, ToSize(alignment));
}

void operator delete(void* memory) noexcept
{
    Release(memory);
}
void operator delete[](void* memory) noexcept
{
    Release(memory);
}
void operator delete(void* memory, std::size_t) noexcept
{
    Release(memory);
}
void operator delete[](void* memory, std::size_t) noexcept
{
    Release(memory);
}
void operator delete(void* memory, std::align_val_t) noexcept
{
    Release(memory);
}
void operator delete[](void* memory, std::align_val_t) noexcept
{
    Release(memory);
}
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept
{
    Release(memory);
}
void operator delete[](void* memory, std::size_t, std::align_val_t) noexcept
{
    Release(memory);
}
void operator delete(void* memory, const std::nothrow_t&) noexcept
{
    Release(memory);
}
void operator delete[](void* memory, const std::nothrow_t&) noexcept
{
    Release(memory);
}
void operator delete(void* memory, std::align_val_t, const std::nothrow_t&) noexcept
{
    Release(memory);
}
void operator delete[](void* memory, std::align_val_t, const std::nothrow_t&) noexcept
{
    Release(memory);
}

namespace LxCV {

std::size_t AllocationCount::GetTotal()
{
    return s_Allocations;
}

AllocationLimit::AllocationLimit(std::size_t minBytes, std::size_t allowed)
{
    s_LimitedBytes = minBytes;
    s_Allowed = allowed;
}

AllocationLimit::~AllocationLimit()
{
    s_LimitedBytes = c_NoLimit;
}

bool AllocationLimit::IsEffective()
{
    return true;
}

namespace {

TEST(AllocationCount, SeesEveryFormOfNew)
{
    struct alignas(64) CacheLine
    {
        char bytes[64];
    };
    const AllocationCount allocations;
    // Called as functions: new expressions whose memory is not used may be optimised away.
    ::operator delete(::operator new(8));
    ::operator delete[](::operator new[](8));
    ::operator delete(::operator new(8, std::nothrow), std::nothrow);
    std::unique_ptr<CacheLine> aligned(new CacheLine);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(aligned.get()) % 64, 0U);
    EXPECT_EQ(allocations.Get(), 4U);
}

TEST(AllocationCount, SeesAllocationsInsideTheLibrary)
{
    const LxCSensorCoordsCCT coords(1.0 / 3.0, 2.0 / 3.0);
    const AllocationCount allocations;
    const std::string text = coords.ToString(17);
    EXPECT_GT(allocations.Get(), 0U);
    EXPECT_FALSE(text.empty());
}

TEST(AllocationCount, LeavesOtherThreadsOut)
{
    std::size_t inThread = 0;
    std::vector<int> large;
    {
        std::thread worker([&inThread, &large] {
            const AllocationCount allocations;
            large.resize(1000);
            inThread = allocations.Get();
        });
        worker.join();
    }
    EXPECT_EQ(inThread, 1U);
}

TEST(AllocationLimit, LargeAllocationsFailWhenTheAllowedOnesAreGone)
{
    {
        const AllocationLimit limit(1000, 2);
        ::operator delete(::operator new(1000));
        ::operator delete (::operator new (5000, std::align_val_t{64}), std::align_val_t{64});
        EXPECT_THROW(static_cast<void>(::operator new(1000)), std::bad_alloc);
        EXPECT_EQ(::operator new(1000, std::nothrow), nullptr);
        ::operator delete(::operator new(999));
    }
    ::operator delete(::operator new(5000));
}

TEST(AllocationCount, CountsNothingWhereNothingIsAllocated)
{
    const AllocationCount allocations;
    EXPECT_EQ(allocations.Get(), 0U);
}

} // namespace
} // namespace LxCV

#endif
