// Opens ordinary files.
#include "filestreams.h"

#include "orx/platform/paths.h"

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
