// The choice of a compute device.
#pragma once

#include "orx/base/export.h"
#include "orx/gpgpu/itechnologyaccess.h"

#include <memory>

namespace GPGPU {

/// Gives access to what this machine computes on. All operations may be called from any thread.
class ORX_EXPORT CGPGPUFactory
{
public:
    CGPGPUFactory() = delete;

    /// OpenCL where a device answers, that is, gives a context, and host memory elsewhere. The environment variable
    /// LXCV_GPGPU forces one of them: "opencl" or "host"; any other text counts as not set, with a line in the log.
    /// @return never null
    /// @throws CException with OpenCL's own error if "opencl" is forced and no device answers
    static std::shared_ptr<ITechnologyAccess> GetTechnologyAccess();

    /// The same for one technology. Of the devices of all OpenCL drivers the first GPU is taken, else the first
    /// accelerator, else the first device.
    /// @throws CException if no device answers
    static std::shared_ptr<ITechnologyAccess> GetTechnologyAccess(ETechnology technology);
};

} // namespace GPGPU
