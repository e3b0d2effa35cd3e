// What contexts of all technologies have in common.
#pragma once

#include "orx/gpgpu/icontext.h"

#include <condition_variable>
#include <mutex>

namespace GPGPU {

/// Throws std::out_of_range unless `size` bytes from `offset` lie in a buffer of `bufferSize` bytes.
void CheckRange(std::size_t offset, std::size_t size, std::size_t bufferSize);

/// Sessions, and copies through host memory.
class CContextBase : public IContext
{
public:
    void Copy(const IBuffer& source, std::size_t sourceOffset, IBuffer& target, std::size_t targetOffset,
              std::size_t size) final;
    bool BeginSession(int timeoutMilliseconds) final;
    void EndSession() final;

private:
    /// Copies between ranges that were checked. Returns false, with nothing copied, where that needs a detour through
    /// host memory.
    virtual bool CopyDirectly(const IBuffer& source, std::size_t sourceOffset, IBuffer& target,
                              std::size_t targetOffset, std::size_t size) = 0;

    std::mutex m_SessionMutex;
    std::condition_variable m_SessionEnded;
    bool m_bInSession = false;
};

} // namespace GPGPU
