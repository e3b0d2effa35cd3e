// Collects bytes for a file that is replaced whole.
#include "orx/btservices/ymstreamwritebinaryfile.h"

#include "orx/platform/paths.h"
#include "orx/platform/replacefile.h"

#include <filesystem>

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
    return !platform::ReplaceFile(path, m_vBytes);
}
