// Writes the new file under a name that no other writer has, syncs it and moves it to its place.
#include "orx/platform/replacefile.h"

#include "orx/platform/filedescriptor.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <string>
#include <unistd.h>

namespace platform {

namespace {

std::error_code SystemError()
{
    return {errno, std::generic_category()};
}

/// Opens a new file beside `file`. Its name is this process's own; one that a crashed process left is passed over.
int OpenBeside(const std::filesystem::path& file, mode_t mode, std::string& fresh)
{
    static std::atomic<unsigned int> s_counter{0};
    constexpr int trials = 100;
    int descriptor = -1;
    for (int trial = 0; trial < trials && descriptor < 0; ++trial) {
        fresh = file.string() + "." + std::to_string(getpid()) + "." + std::to_string(s_counter++);
        descriptor = open(fresh.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
        if (descriptor < 0 && errno != EEXIST) {
            break;
        }
    }
    return descriptor;
}

} // namespace

std::error_code ReplaceFile(const std::filesystem::path& file, std::span<const std::byte> content,
                            mode_t mode)
{
    std::error_code error;
    std::filesystem::path target = file;
    const std::filesystem::file_type type = std::filesystem::status(file, error).type();
    if (type == std::filesystem::file_type::regular) {
        target = std::filesystem::canonical(file, error);
        if (error) {
            return error;
        }
    } else if (type != std::filesystem::file_type::not_found) {
        return std::make_error_code(std::errc::invalid_argument);
    }
    std::string fresh;
    const CFileDescriptor descriptor(OpenBeside(target, mode, fresh));
    if (!descriptor.IsOpen()) {
        return SystemError();
    }
    if (!WriteWhole(descriptor.Get(), content) || std::rename(fresh.c_str(), target.c_str()) != 0) {
        error = SystemError();
        unlink(fresh.c_str());
        return error;
    }
    return {};
}

} // namespace platform
