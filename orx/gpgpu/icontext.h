// A compute device in use.
#pragma once

#include "orx/base/export.h"
#include "orx/base/inoncopyable.h"
#include "orx/gpgpu/ibuffer.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace GPGPU {

/// What the memory of a context lies in.
enum class ETechnology : int
{
    eHostMemory = 0, ///< memory of the process
    eOpenCL = 1      ///< memory of an OpenCL device
};

/// Creates buffers on a compute device and copies between them. One pipeline uses a context at a time, which
/// `CSession` ensures; the shared handles alone may be copied and dropped on any thread.
class ORX_EXPORT IContext : public Base::INonCopyable
{
public:
    virtual ~IContext() = default;

    virtual ETechnology GetTechnology() const = 0;

    /// The device's own name.
    virtual std::string GetDeviceName() const = 0;

    virtual std::uint64_t GetMemorySize() const = 0;    ///< bytes that the device has in all
    virtual std::uint64_t GetMaxBufferSize() const = 0; ///< bytes that one buffer may have

    /// A new buffer of `size` bytes; null, with a line in the log, for a size of 0 and for one that the device
    /// cannot hold. Throws CException if the device fails in another way.
    virtual std::shared_ptr<IBuffer> CreateBuffer(std::size_t size) = 0;

    /// Copies bytes between two buffers, which may be one and the same, also with ranges that overlap, and which may
    /// belong to any contexts, and returns when that is done. The bytes stay on the device where both buffers belong
    /// to this context, and pass through host memory otherwise.
    /// @throws std::out_of_range, with nothing copied, if a range does not lie in its buffer
    /// @throws CException if a device fails; part of the range may then have been copied
    virtual void Copy(const IBuffer& source, std::size_t sourceOffset, IBuffer& target,
                      std::size_t targetOffset, std::size_t size) = 0;

    /// Takes the context for exclusive use, for `CSession`. Waits for the end of a present use, at most
    /// `timeoutMilliseconds`, any negative time meaning no limit. Returns whether the context was taken.
    virtual bool BeginSession(int timeoutMilliseconds) = 0;

    /// Ends the exclusive use, on whichever thread; nothing if there is none.
    virtual void EndSession() = 0;
};

} // namespace GPGPU
