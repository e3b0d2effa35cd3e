// Reading and writing of whole files.
#include "scanner/app/filecontent.h"

#include "orx/platform/replacefile.h"

#include <algorithm>
#include <span>
#include <stdexcept>
#include <system_error>

namespace app {

std::ifstream OpenForReading(const std::filesystem::path& file)
{
    std::error_code ignored;
    std::ifstream stream;
    if (!std::filesystem::is_directory(file, ignored)) {
        stream.open(file, std::ios::binary);
    }
    if (!stream.is_open()) {
        throw std::runtime_error("cannot open '" + file.string() + "'");
    }
    return stream;
}

std::string ReadContent(const std::filesystem::path& file, std::size_t limit, const std::string& holder)
{
    constexpr std::size_t step = 64 * 1024;
    const std::size_t tooLong = limit + 1;
    std::ifstream stream = OpenForReading(file);
    std::string content;
    while (stream.good() && content.size() < tooLong) {
        const std::size_t begin = content.size();
        content.resize(std::min(tooLong, begin + std::max(begin, step)));
        stream.read(content.data() + begin, static_cast<std::streamsize>(content.size() - begin));
        content.resize(begin + static_cast<std::size_t>(stream.gcount()));
    }
    if (stream.bad()) {
        throw std::runtime_error("cannot read '" + file.string() + "'");
    }
    if (content.size() == tooLong) {
        throw std::runtime_error("'" + file.string() + "' is longer than the " + std::to_string(limit) +
                                 " bytes that " + holder + " holds");
    }
    return content;
}

void WriteContent(const std::filesystem::path& file, std::string_view content)
{
    if (const std::error_code error = platform::ReplaceFile(file, std::as_bytes(std::span(content)))) {
        throw std::runtime_error("cannot write '" + file.string() + "': " + error.message());
    }
}

void RequireTwoFiles(const std::filesystem::path& one, const std::filesystem::path& other)
{
    std::error_code ignored;
    if (std::filesystem::equivalent(one, other, ignored)) {
        throw std::runtime_error("'" + one.string() + "' and '" + other.string() + "' are one file");
    }
}

} // namespace app
