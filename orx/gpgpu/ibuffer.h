// Memory of a compute device.
#pragma once

#include "orx/base/export.h"
#include "orx/base/inoncopyable.h"

#include <cstddef>
#include <span>

namespace GPGPU {

/// A block of device memory, which a context creates. Its bytes are not defined until they are written. It keeps
/// what it needs of its context alive. One pipeline uses it at a time.
class ORX_EXPORT IBuffer : public Base::INonCopyable
{
public:
    virtual ~IBuffer() = default;

    virtual std::size_t GetSize() const = 0; ///< bytes, above 0

    /// Copies host memory to the bytes from `offset`, and returns when that is done.
    /// @throws std::out_of_range, with the buffer unchanged, if offset and size do not lie in the buffer
    /// @throws CException if the device fails
    virtual void Write(std::size_t offset, std::span<const std::byte> source) = 0;

    /// Copies the bytes from `offset` to host memory, and returns when they are there; throws as `Write` does.
    virtual void Read(std::size_t offset, std::span<std::byte> target) const = 0;
};

} // namespace GPGPU
