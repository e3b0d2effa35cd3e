// Working memory of kernels that is taken once and used again.
#pragma once

#include "orx/base/export.h"

#include <cstddef>
#include <limits>
#include <new>
#include <vector>

namespace LxCV {

/// Blocks of memory that a thread has freed and will want again. Each thread has its own, so nothing locks.
///
/// A measurement calls the same kernels over and over with images of one size. After the first call on a thread they
/// find their working memory here, and take none from the system.
class ORX_EXPORT CScratchMemory
{
public:
    static constexpr std::size_t c_uiLargestKept = std::size_t{4}
                                                   << 20U; ///< bytes of a thread's blocks together

    /// At least `bytes`, aligned for any type and for a cache line, with any content.
    /// Throws std::bad_alloc.
    static void* Take(std::size_t bytes);

    /// Keeps a block that the calling thread has taken, or frees it where there are enough already.
    static void GiveBack(void* block, std::size_t bytes) noexcept;
};

/// Allocator over `CScratchMemory`, for containers that live within one call on one thread.
template <typename T>
class CScratchAllocator
{
public:
    using value_type = T;

    CScratchAllocator() = default;
    template <typename U>
    CScratchAllocator(const CScratchAllocator<U>&)
    {}

    T* allocate(std::size_t count)
    {
        if (count > std::numeric_limits<std::size_t>::max() / sizeof(T)) {
            throw std::bad_array_new_length();
        }
        return static_cast<T*>(CScratchMemory::Take(count * sizeof(T)));
    }
    void deallocate(T* block, std::size_t count) noexcept
    {
        CScratchMemory::GiveBack(block, count * sizeof(T));
    }

    bool operator==(const CScratchAllocator&) const { return true; }
};

template <typename T>
using ScratchVector = std::vector<T, CScratchAllocator<T>>;

} // namespace LxCV
