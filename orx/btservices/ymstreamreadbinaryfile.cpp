// Reads bytes of an ordinary file.
#include "orx/btservices/ymstreamreadbinaryfile.h"

#include "orx/platform/paths.h"

#include <filesystem>
#include <system_error>

YmStreamReadBinaryFile::YmStreamReadBinaryFile(const BtString& pathText)
{
    const std::filesystem::path path = platform::NativePath(pathText);
    std::error_code failure;
    if (std::filesystem::is_regular_file(path, failure)) {
        m_File.open(path, std::ios_base::binary);
    }
    if (!m_File.is_open()) {
        SetFailed();
    }
}

YmStreamReadBinaryFile::~YmStreamReadBinaryFile() = default;

bool YmStreamReadBinaryFile::Transfer(std::span<std::byte> bytes)
{
    m_File.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    return !m_File.fail();
}
