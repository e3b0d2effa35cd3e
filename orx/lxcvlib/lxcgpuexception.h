// A fault of GPU modules.
#pragma once

#include "orx/base/export.h"

#include <stdexcept>
#include <string>

namespace LxCV {

/// Carries, beside its text, where it came from: the call stack of `LxCCallStack` at construction, for the log.
class ORX_EXPORT LxCGPUException : public std::runtime_error
{
public:
    /// @param text copied; null counts as empty
    explicit LxCGPUException(const char* text);

    const std::string& GetCallStack() const noexcept { return m_sCallStack; }

private:
    std::string m_sCallStack;
};

} // namespace LxCV
