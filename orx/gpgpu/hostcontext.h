// A context in the memory of the process.
#pragma once

#include "orx/gpgpu/contextbase.h"

namespace GPGPU {

/// Stands in for a device where there is none. A buffer's bytes are 0 until they are written, and take memory from
/// then on.
class CHostContext final : public CContextBase
{
public:
    ETechnology GetTechnology() const override { return ETechnology::eHostMemory; }
    std::string GetDeviceName() const override;
    std::uint64_t GetMemorySize() const override;    ///< the machine's memory
    std::uint64_t GetMaxBufferSize() const override; ///< the same
    std::shared_ptr<IBuffer> CreateBuffer(std::size_t size) override;

private:
    bool CopyDirectly(const IBuffer& source, std::size_t sourceOffset, IBuffer& target,
                      std::size_t targetOffset, std::size_t size) override;
};

} // namespace GPGPU
