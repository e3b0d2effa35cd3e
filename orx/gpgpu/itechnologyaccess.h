// A way to compute devices.
#pragma once

#include "orx/base/export.h"
#include "orx/base/inoncopyable.h"
#include "orx/gpgpu/icontext.h"

#include <memory>

namespace GPGPU {

/// Makes contexts on the device that was chosen for it. All operations may be called from any thread.
class ORX_EXPORT ITechnologyAccess : public Base::INonCopyable
{
public:
    virtual ~ITechnologyAccess() = default;

    virtual ETechnology GetTechnology() const = 0;

    /// A new context, never null. Throws CException if the device fails.
    virtual std::shared_ptr<IContext> CreateContext() = 0;
};

} // namespace GPGPU
