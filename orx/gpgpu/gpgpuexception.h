// What a compute device reports.
#pragma once

#include "orx/base/export.h"

#include <stdexcept>
#include <string>

namespace GPGPU {

/// A compute device refused or failed. The text names the call and tells what the device itself said:
/// "<call>: <name of the error code> (<number>) on <device>, driver <version>: <text of the driver>", the last part
/// where the driver gave one.
class ORX_EXPORT CException : public std::runtime_error
{
public:
    CException(const std::string& text, int code) : std::runtime_error(text), m_iCode(code) {}

    /// The device's own error code.
    int GetCode() const noexcept { return m_iCode; }

private:
    int m_iCode;
};

} // namespace GPGPU
