// Counts the memory allocations of the calling thread, and lets some of them fail.
#pragma once

#include <cstddef>

namespace LxCV {

/// Counts calls of operator new, in the test program and in the libraries that it loads, by the thread that
/// constructed it. Calls of malloc are not seen.
///
///     const AllocationCount allocations;
///     ... the code under test ...
///     EXPECT_EQ(allocations.Get(), 0U);
///
/// The operators are replaced in allocationcount_test.cpp, once for the whole test program. Under the thread
/// sanitizer, which does not let them be replaced, nothing is counted.
class AllocationCount
{
public:
    AllocationCount() : m_Start(GetTotal()) {}

    /// Allocations since construction.
    std::size_t Get() const { return GetTotal() - m_Start; }

private:
    static std::size_t GetTotal();

    std::size_t m_Start;
};

/// While it lives, calls of operator new for at least `minBytes` fail on the thread that constructed it, after the
/// first `allowed` ones of them. At most one lives in a thread. Under the thread sanitizer nothing fails.
class AllocationLimit
{
public:
    AllocationLimit(std::size_t minBytes, std::size_t allowed);
    ~AllocationLimit();
    AllocationLimit(const AllocationLimit&) = delete;
    AllocationLimit& operator=(const AllocationLimit&) = delete;

    /// Whether allocations can be made to fail, as they can without the thread sanitizer.
    static bool IsEffective();
};

} // namespace LxCV
