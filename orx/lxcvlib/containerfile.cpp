// Opens files for containers.
#include "containerfile.h"

#include "lxccctencryptionutils.h"
#include "orx/logging/logger.h"
#include "orx/platform/paths.h"

#include <filesystem>
#include <system_error>

namespace LxCV {

namespace {

// The channel of the class whose containers these are.
const Logging::CLogger s_Logger(L"ORX.Lumorad.LxCCCTEncryptionUtils");

std::ifstream OpenForReading(const std::string& pathText)
{
    const std::filesystem::path path = platform::NativePath(pathText);
    std::error_code failure;
    return std::filesystem::is_regular_file(path, failure) ? std::ifstream(path, std::ios_base::binary)
                                                           : std::ifstream();
}

} // namespace

bool ReadContainerFile(std::stringstream& text, const std::vector<std::string>& paths)
{
    s_Logger.Info(L"Read camera ini file from encrypted backup copy");
    for (const std::string& path : paths) {
        std::ifstream file = OpenForReading(path);
        if (file.is_open()) {
            return LxCCCTEncryptionUtils::DecryptAndDecompress(text, file);
        }
        s_Logger.Info(L"There is no encrypted copy '%s'.\n", path);
    }
    return false;
}

std::ofstream OpenContainerFile(const std::string& pathText)
{
    const std::filesystem::path path = platform::NativePath(pathText);
    std::ofstream file;
    std::error_code failure;
    if (std::filesystem::is_fifo(path, failure)) {
        file.setstate(std::ios_base::failbit);
    } else {
        file.open(path, std::ios_base::binary);
    }
    if (!file.is_open()) {
        s_Logger.Error(L"The encrypted copy '%s' cannot be opened for writing.\n", pathText);
    }
    return file;
}

bool WriteContainerFile(std::stringstream& text, std::ofstream& file)
{
    const bool done = LxCCCTEncryptionUtils::EncryptAndCompress(text, file);
    file.close();
    return done && !file.fail();
}

} // namespace LxCV
