// How much memory of the heap the process holds.
#pragma once

#include <cstddef>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define LXCV_SANITIZER_HEAP
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define LXCV_SANITIZER_HEAP
#endif
#endif

#if defined(LXCV_SANITIZER_HEAP)
extern "C" std::size_t __sanitizer_get_current_allocated_bytes(); // its header is not part of every clang
#else
#include <malloc.h>
#endif

namespace TestSupport {

/// Bytes that are allocated and not yet freed, on all threads. Without a sanitizer that keeps its own account, blocks
/// that the C library holds ready for the next allocation of their size count, too: some KiB.
inline std::size_t HeapBytesInUse()
{
#if defined(LXCV_SANITIZER_HEAP)
    return __sanitizer_get_current_allocated_bytes();
#else
    const struct mallinfo2 use = mallinfo2();
    return use.uordblks + use.hblkhd;
#endif
}

} // namespace TestSupport
