// Opens files for containers.
#include "containerfile.h"

#include "filestreams.h"
#include "lxccctencryptionutils.h"
#include "orx/logging/logger.h"

namespace LxCV {

namespace {

// The channel of the class whose containers these are.
const Logging::CLogger s_Logger(L"ORX.Lumorad.LxCCCTEncryptionUtils");

} // namespace

bool ReadContainerFile(std::stringstream& text, const std::vector<std::string>& paths)
{
    s_Logger.Info(L"Read camera ini file from encrypted backup copy");
    for (const std::string& path : paths) {
        std::ifstream file = OpenFileForReading(path);
        if (file.is_open()) {
            return LxCCCTEncryptionUtils::DecryptAndDecompress(text, file);
        }
        s_Logger.Info(L"There is no encrypted copy '%s'.\n", path);
    }
    return false;
}

std::ofstream OpenContainerFile(const std::string& path)
{
    std::ofstream file = OpenFileForWriting(path);
    if (!file.is_open()) {
        s_Logger.Error(L"The encrypted copy '%s' cannot be opened for writing.\n", path);
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
