// Writes a file beside the old one and puts it in its place.
#include "orx/btservices/ymstreamwritebinaryfile.h"

#include "orx/platform/paths.h"

#include <filesystem>
#include <fstream>
#include <system_error>

namespace {

bool WriteFile(const std::filesystem::path& path, std::span<const std::byte> bytes)
{
    std::ofstream file(path, std::ios_base::binary | std::ios_base::trunc);
    file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    file.close();
    return !file.fail();
}

} // namespace

YmStreamWriteBinaryFile::YmStreamWriteBinaryFile(const BtString& path) : m_sPath(path) {}

YmStreamWriteBinaryFile::~YmStreamWriteBinaryFile() = default;

bool YmStreamWriteBinaryFile::Transfer(std::span<std::byte> bytes)
{
    m_vBytes.insert(m_vBytes.end(), bytes.begin(), bytes.end());
    return true;
}

bool YmStreamWriteBinaryFile::Close()
{
    const bool good = IsGood();
    SetFailed();
    const std::filesystem::path path = platform::NativePath(m_sPath);
    if (!good || path.empty()) {
        return false;
    }
    std::filesystem::path fresh = path;
    fresh += ".new";
    std::error_code failure;
    // What is left there of an earlier time could be a pipe, which would keep the writer waiting.
    std::filesystem::remove(fresh, failure);
    failure.clear();
    if (WriteFile(fresh, m_vBytes)) {
        std::filesystem::rename(fresh, path, failure);
        if (!failure) {
            return true;
        }
    }
    std::filesystem::remove(fresh, failure);
    return false;
}
