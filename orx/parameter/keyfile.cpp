// Reads the key file, and makes it whole under another name before it gets its own.
#include "orx/parameter/keyfile.h"

#include "orx/logging/logger.h"
#include "orx/platform/filedescriptor.h"
#include "orx/platform/paths.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <openssl/rand.h>
#include <span>
#include <string>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace parameter {

namespace {

using platform::CFileDescriptor;

const Logging::CLogger s_Logger(L"ORX.Lumorad.KeyFile");

std::string ErrorText(int error)
{
    return std::generic_category().message(error);
}

/// Opens without waiting for the other end of a pipe, which a hostile file may be.
int OpenForReading(const std::filesystem::path& file)
{
    return open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
}

std::optional<KeyBytes> ReadKey(int descriptor, const std::filesystem::path& file)
{
    struct stat status = {};
    KeyBytes key{};
    if (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode) ||
        status.st_size != static_cast<off_t>(key.size()) ||
        !platform::ReadWhole(descriptor, std::as_writable_bytes(std::span(key)))) {
        s_Logger.Error(L"The key file '%s' does not hold exactly %i bytes.\n", file.string(), key.size());
        return std::nullopt;
    }
    if ((status.st_mode & (S_IROTH | S_IWOTH)) != 0) {
        s_Logger.Warning(L"The key file '%s' is open to every user.\n", file.string());
    }
    return key;
}

/// Writes a new key to a temporary file beside `file` and links it there, so that no process ever sees a part of
/// it and the first of several wins.
/// @return 0, also where another process was first, or an errno
int CreateKey(const std::filesystem::path& file)
{
    std::error_code ignored;
    std::filesystem::create_directories(file.parent_path(), ignored);
    KeyBytes key{};
    if (RAND_bytes(key.data(), static_cast<int>(key.size())) != 1) {
        return EIO;
    }
    std::string temporary = file.string() + ".XXXXXX";
    const CFileDescriptor descriptor(mkostemp(temporary.data(), O_CLOEXEC)); // with mode 0600
    if (!descriptor.IsOpen()) {
        return errno;
    }
    int error = 0;
    if (!platform::WriteWhole(descriptor.Get(), std::as_bytes(std::span(key))) ||
        link(temporary.c_str(), file.c_str()) != 0) {
        error = errno;
    } else {
        s_Logger.Info(L"The key file '%s' was made.\n", file.string());
    }
    unlink(temporary.c_str());
    return error == EEXIST ? 0 : error;
}

} // namespace

std::filesystem::path GetKeyFilePath()
{
    const std::string named = platform::GetEnvironmentText("LXCV_KEY_FILE");
    return platform::NativePath(named.empty() ? platform::GetProgramDataDir() + "\\Lumorad\\device.key"
                                              : named);
}

std::optional<KeyBytes> LoadOrCreateKey(const std::filesystem::path& file)
{
    CFileDescriptor present(OpenForReading(file));
    if (present.IsOpen()) {
        return ReadKey(present.Get(), file);
    }
    int error = errno;
    if (error == ENOENT) {
        error = CreateKey(file);
        if (error == 0) {
            const CFileDescriptor made(OpenForReading(file));
            if (made.IsOpen()) {
                return ReadKey(made.Get(), file);
            }
            error = errno;
        }
    }
    s_Logger.Error(L"The key file '%s' cannot be opened: %s.\n", file.string(), ErrorText(error));
    return std::nullopt;
}

} // namespace parameter
