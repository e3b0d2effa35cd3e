// Whole reads and writes on file descriptors.
#include "orx/platform/filedescriptor.h"

#include <cerrno>
#include <unistd.h>

namespace platform {

CFileDescriptor::~CFileDescriptor()
{
    if (m_iDescriptor >= 0) {
        close(m_iDescriptor);
    }
}

bool ReadWhole(int file, std::span<std::byte> bytes)
{
    errno = 0;
    while (!bytes.empty()) {
        const ssize_t count = read(file, bytes.data(), bytes.size());
        if (count == 0 || (count < 0 && errno != EINTR)) {
            return false;
        }
        bytes = bytes.subspan(count > 0 ? static_cast<std::size_t>(count) : 0);
    }
    return true;
}

bool WriteWhole(int file, std::span<const std::byte> bytes)
{
    while (!bytes.empty()) {
        const ssize_t count = write(file, bytes.data(), bytes.size());
        if (count < 0 && errno != EINTR) {
            return false;
        }
        bytes = bytes.subspan(count > 0 ? static_cast<std::size_t>(count) : 0);
    }
    return fsync(file) == 0;
}

} // namespace platform
