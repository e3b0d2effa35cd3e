// Open files of the system, for those who need more than a stream: modes, syncing, no waiting for a pipe.
#pragma once

#include "orx/base/export.h"

#include <cstddef>
#include <span>

namespace platform {

/// A file descriptor that closes itself; negative where opening failed.
class ORX_EXPORT CFileDescriptor
{
public:
    explicit CFileDescriptor(int descriptor) : m_iDescriptor(descriptor) {}
    ~CFileDescriptor();
    CFileDescriptor(const CFileDescriptor&) = delete;
    CFileDescriptor& operator=(const CFileDescriptor&) = delete;

    int Get() const { return m_iDescriptor; }
    bool IsOpen() const { return m_iDescriptor >= 0; }

private:
    int m_iDescriptor;
};

/// Reads until `bytes` is full, through interruptions by signals.
/// @return whether it is full; an end before that leaves errno at 0
ORX_EXPORT bool ReadWhole(int file, std::span<std::byte> bytes);

/// Writes all of `bytes`, through interruptions by signals, and waits until the device has them.
/// @return whether it has; else errno tells why
ORX_EXPORT bool WriteWhole(int file, std::span<const std::byte> bytes);

} // namespace platform
