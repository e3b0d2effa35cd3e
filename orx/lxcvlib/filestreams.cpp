// Opens and reads ordinary files.
#include "filestreams.h"

#include "orx/platform/paths.h"

#include <array>
#include <cstddef>
#include <filesystem>
#include <system_error>

namespace LxCV {

std::ifstream OpenFileForReading(const std::string& pathText)
{
    const std::filesystem::path path = platform::NativePath(pathText);
    std::error_code failure;
    return std::filesystem::is_regular_file(path, failure) ? std::ifstream(path, std::ios_base::binary)
                                                           : std::ifstream();
}

std::ofstream OpenFileForWriting(const std::string& pathText)
{
    const std::filesystem::path path = platform::NativePath(pathText);
    std::ofstream file;
    std::error_code failure;
    if (std::filesystem::is_fifo(path, failure)) {
        file.setstate(std::ios_base::failbit);
    } else {
        file.open(path, std::ios_base::binary | std::ios_base::trunc);
    }
    return file;
}

std::string ReadRest(std::istream& stream)
{
    std::string text;
    std::array<char, 1 << 16> block{};
    do {
        stream.read(block.data(), block.size());
        text.append(block.data(), static_cast<std::size_t>(stream.gcount()));
    } while (stream.good());
    return text;
}

std::uintmax_t GetRemainingBytes(std::istream& stream)
{
    const std::istream::pos_type place = stream.tellg();
    stream.seekg(0, std::ios_base::end);
    const std::istream::pos_type end = stream.tellg();
    if (place < 0 || end < place) {
        stream.clear(stream.rdstate() | std::ios_base::failbit);
        return 0;
    }
    stream.seekg(place);
    return static_cast<std::uintmax_t>(end - place);
}

} // namespace LxCV
