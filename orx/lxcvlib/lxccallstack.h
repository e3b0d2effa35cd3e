// Stacks of function names, one a thread, and the guard that keeps them.
#pragma once

#include "orx/base/export.h"
#include "orx/btservices/btcriticalsection.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace LxCV {

/// The functions that each thread is in, as far as they announce themselves with `LxCAutomaticGuardUnguard`. A
/// thread without entries takes no memory. All operations may be called from any thread, and see the calling
/// thread's stack alone.
class ORX_EXPORT LxCCallStack
{
public:
    /// The one object, made at first use. It is never destroyed, so that functions that run while the process ends
    /// may be guarded too.
    static LxCCallStack& getInstance();

    LxCCallStack(const LxCCallStack&) = delete;
    LxCCallStack& operator=(const LxCCallStack&) = delete;

    /// @param name copied; null counts as empty
    void pushFunction(const char* name);

    /// Removes the latest name; nothing if there is none.
    void popFunction();

    /// The names in calling order, joined with " -> "; "no strCallStack" if there are none.
    std::string getCallStackString() const;

private:
    LxCCallStack() = default;
    ~LxCCallStack() = default;

    std::map<std::uint32_t, std::vector<std::string>> m_Functions; ///< by thread id; no stack is empty
    mutable BtCriticalSection m_CriticalSection;
};

/// Keeps a name on the calling thread's stack for a scope. The object must end on the thread that made it.
class ORX_EXPORT LxCAutomaticGuardUnguard
{
public:
    explicit LxCAutomaticGuardUnguard(const char* name) { LxCCallStack::getInstance().pushFunction(name); }
    ~LxCAutomaticGuardUnguard() { LxCCallStack::getInstance().popFunction(); }
    LxCAutomaticGuardUnguard(const LxCAutomaticGuardUnguard&) = delete;
    LxCAutomaticGuardUnguard& operator=(const LxCAutomaticGuardUnguard&) = delete;
};

} // namespace LxCV
