#include "scanner/acquisition/devicememory.h"

#include <fstream>
#include <system_error>
#include <utility>

namespace acquisition {

namespace {

/// Replaces a file by way of a new one beside it, so that a crash leaves the one or the other.
bool ReplaceFile(const std::filesystem::path& file, const std::string& content)
{
    std::filesystem::path fresh = file;
    fresh += ".new";
    std::ofstream stream(fresh, std::ios::binary | std::ios::trunc);
    stream << content;
    stream.close();
    std::error_code error;
    if (stream) {
        std::filesystem::rename(fresh, file, error);
    }
    if (!stream || error) {
        std::error_code ignored;
        std::filesystem::remove(fresh, ignored);
        return false;
    }
    return true;
}

} // namespace

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
    if (!m_file.empty() && !ReplaceFile(m_file, content)) {
        return false;
    }
    m_content = std::move(content);
    return true;
}

} // namespace acquisition
