// Looks for vector units once.
#include "vectorunits.h"

#include <atomic>

namespace LxCV::VectorUnits {

namespace {

std::atomic<int> s_iBasicOnly{0}; // how many objects forbid wide vectors

bool HasAvx2()
{
#if defined(__x86_64__)
    static const bool has = __builtin_cpu_supports("avx2") != 0;
    return has;
#else
    return false;
#endif
}

} // namespace

bool AreWide()
{
    return s_iBasicOnly.load(std::memory_order_relaxed) == 0 && HasAvx2();
}

CBasicOnly::CBasicOnly()
{
    s_iBasicOnly.fetch_add(1, std::memory_order_relaxed);
}

CBasicOnly::~CBasicOnly()
{
    s_iBasicOnly.fetch_sub(1, std::memory_order_relaxed);
}

} // namespace LxCV::VectorUnits
