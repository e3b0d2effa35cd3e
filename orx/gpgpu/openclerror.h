// Names of OpenCL's error codes.
#pragma once

#include "orx/base/export.h"

namespace GPGPU {

/// Such as "CL_OUT_OF_RESOURCES"; "unknown error" for a code that has no name.
ORX_EXPORT const char* GetOpenCLErrorName(int code);

} // namespace GPGPU
