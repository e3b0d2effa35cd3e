// The GPU context of the image-processing modules.
#pragma once

#include "orx/base/export.h"
#include "orx/gpgpu/icontext.h"

#include <memory>

namespace LxCV {

/// Creates contexts with `GPGPU::CGPGPUFactory`: on an OpenCL device where one answers, in host memory elsewhere.
class ORX_EXPORT CGPUContextFactoryCCT
{
public:
    CGPUContextFactoryCCT() = delete;

    /// A new context, never null. Throws GPGPU::CException if the device fails.
    static std::shared_ptr<GPGPU::IContext> CreateContext();

    /// The same with a session on it, which began without a time limit and ends with the last copy of the returned
    /// handle. A further session on the context would wait until then.
    /// @param allowHostMemory whether host memory may stand in for a device; if it may not, the result is null where
    ///        no device answers, and nothing is thrown
    static std::shared_ptr<GPGPU::IContext> CreateContextWithSession(bool allowHostMemory = true);
};

} // namespace LxCV
