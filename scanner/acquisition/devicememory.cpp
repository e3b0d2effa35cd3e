#include "scanner/acquisition/devicememory.h"

#include "orx/platform/replacefile.h"

#include <fstream>
#include <span>
#include <system_error>
#include <utility>

namespace acquisition {

bool DeviceMemory::Open(const std::filesystem::path& file)
{
    std::string content(kSize, kErased);
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(file, error);
    if (status.type() != std::filesystem::file_type::not_found) {
        // A pipe would keep the reader waiting.
        std::ifstream stream;
        if (std::filesystem::is_regular_file(status)) {
            stream.open(file, std::ios::binary);
        }
        if (!stream.is_open()) {
            return false;
        }
        stream.read(content.data(), static_cast<std::streamsize>(content.size()));
        if (stream.bad() || stream.peek() != std::ifstream::traits_type::eof()) {
            return false;
        }
    }
    m_content = std::move(content);
    m_file = file;
    return true;
}

bool DeviceMemory::Write(std::string_view bytes)
{
    if (bytes.size() > kSize) {
        return false;
    }
    std::string content(bytes);
    content.resize(kSize, kErased);
    if (!m_file.empty() && platform::ReplaceFile(m_file, std::as_bytes(std::span(content)))) {
        return false;
    }
    m_content = std::move(content);
    return true;
}

} // namespace acquisition
