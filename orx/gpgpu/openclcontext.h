// Contexts on OpenCL devices.
#pragma once

#include "orx/gpgpu/itechnologyaccess.h"

#include <memory>

namespace GPGPU {

/// Chooses a device: of all that are available, have OpenCL 1.2 and belong to whichever driver, the first GPU, else
/// the first accelerator, else the first one. Throws CException if there is none, or if it gives no context.
std::shared_ptr<ITechnologyAccess> MakeOpenCLAccess();

} // namespace GPGPU
