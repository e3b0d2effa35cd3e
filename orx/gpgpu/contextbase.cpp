// Sessions, ranges, and copies through host memory.
#include "orx/gpgpu/contextbase.h"

#include <algorithm>
#include <chrono>
#include <stdexcept>
#include <string>
#include <vector>

namespace GPGPU {

namespace {

/// Copies piece by piece, so that a large buffer does not need its size in host memory again. The pieces run towards
/// lower offsets where the target lies above the source in the same buffer, so that none is overwritten unread.
void CopyThroughHost(const IBuffer& source, std::size_t sourceOffset, IBuffer& target,
                     std::size_t targetOffset, std::size_t size)
{
    constexpr std::size_t c_largestPiece = std::size_t{4} << 20U; // bytes
    std::vector<std::byte> piece(std::min(size, c_largestPiece));
    const bool downwards = targetOffset > sourceOffset;
    for (std::size_t done = 0; done < size;) {
        const std::size_t length = std::min(size - done, piece.size());
        const std::size_t start = downwards ? size - done - length : done;
        const std::span<std::byte> bytes = std::span(piece).first(length);
        source.Read(sourceOffset + start, bytes);
        target.Write(targetOffset + start, bytes);
        done += length;
    }
}

} // namespace

void CheckRange(std::size_t offset, std::size_t size, std::size_t bufferSize)
{
    if (offset > bufferSize || size > bufferSize - offset) {
        throw std::out_of_range(std::to_string(size) + " bytes at " + std::to_string(offset) +
                                " do not lie in a buffer of " + std::to_string(bufferSize) + " bytes");
    }
}

void CContextBase::Copy(const IBuffer& source, std::size_t sourceOffset, IBuffer& target,
                        std::size_t targetOffset, std::size_t size)
{
    CheckRange(sourceOffset, size, source.GetSize());
    CheckRange(targetOffset, size, target.GetSize());
    if (size > 0 && !CopyDirectly(source, sourceOffset, target, targetOffset, size)) {
        CopyThroughHost(source, sourceOffset, target, targetOffset, size);
    }
}

bool CContextBase::BeginSession(int timeoutMilliseconds)
{
    std::unique_lock lock(m_SessionMutex);
    const auto isFree = [this] { return !m_bInSession; };
    if (timeoutMilliseconds < 0) {
        m_SessionEnded.wait(lock, isFree);
    } else if (!m_SessionEnded.wait_for(lock, std::chrono::milliseconds(timeoutMilliseconds), isFree)) {
        return false;
    }
    m_bInSession = true;
    return true;
}

void CContextBase::EndSession()
{
    {
        const std::lock_guard lock(m_SessionMutex);
        m_bInSession = false;
    }
    m_SessionEnded.notify_one();
}

} // namespace GPGPU
