// Reading and writing of whole files.
#include "scanner/app/filecontent.h"

#include "orx/platform/replacefile.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <fcntl.h>
#include <span>
#include <system_error>
#include <unistd.h>

namespace app {

namespace {

/// What the system says to opening the file for writing; no error if it lets that happen. The file stays as it is, and
/// none is left where there was none.
std::error_code TryWriting(const std::filesystem::path& file)
{
    const int made = open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (made >= 0) {
        close(made);
        unlink(file.c_str());
        return {};
    }
    if (errno != EEXIST) {
        return {errno, std::generic_category()};
    }
    const int opened = open(file.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
    if (opened < 0) {
        return {errno, std::generic_category()};
    }
    close(opened);
    return {};
}

std::runtime_error Failure(const char* what, const std::filesystem::path& file, const std::error_code& why)
{
    return std::runtime_error(std::string(what) + " '" + file.string() + "'" +
                              (why ? ": " + why.message() : std::string()));
}

} // namespace

std::runtime_error WriteFailure(const std::filesystem::path& file)
{
    std::error_code why = TryWriting(file);
    std::error_code unknown;
    const std::filesystem::path folder = std::filesystem::absolute(file, unknown).parent_path();
    if (!why && std::filesystem::space(folder, unknown).available == 0) {
        why = std::make_error_code(std::errc::no_space_on_device);
    }
    return Failure("cannot write", file, why);
}

std::ifstream OpenForReading(const std::filesystem::path& file)
{
    std::error_code ignored;
    std::ifstream stream;
    if (std::filesystem::is_directory(file, ignored)) {
        throw Failure("cannot open", file, std::make_error_code(std::errc::is_a_directory));
    }
    stream.open(file, std::ios::binary);
    if (!stream.is_open()) {
        throw Failure("cannot open", file, {errno, std::generic_category()});
    }
    return stream;
}

namespace {

[[noreturn]] void RefuseLength(const std::filesystem::path& file, std::size_t limit,
                               const std::string& holder)
{
    throw std::runtime_error("'" + file.string() + "' is longer than the " + std::to_string(limit) +
                             " bytes that " + holder + " holds");
}

} // namespace

/// What the system tells of the size saves the reading of a file that is too long; pipes and devices have none.
std::string ReadContent(const std::filesystem::path& file, std::size_t limit, const std::string& holder)
{
    constexpr std::size_t step = 64 * 1024;
    const std::size_t tooLong = limit + 1;
    std::ifstream stream = OpenForReading(file);
    std::error_code unknown;
    if (const std::uintmax_t size = std::filesystem::file_size(file, unknown); !unknown && size > limit) {
        RefuseLength(file, limit, holder);
    }
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
        RefuseLength(file, limit, holder);
    }
    return content;
}

void WriteContent(const std::filesystem::path& file, std::string_view content)
{
    if (std::error_code error = platform::ReplaceFile(file, std::as_bytes(std::span(content)))) {
        std::error_code unknown;
        if (std::filesystem::is_directory(file, unknown)) {
            error = std::make_error_code(std::errc::is_a_directory);
        }
        throw Failure("cannot write", file, error);
    }
}

std::string LowerSuffix(const std::filesystem::path& file)
{
    std::string suffix = file.extension().string();
    std::ranges::transform(suffix, suffix.begin(), [](char letter) {
        return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
    });
    return suffix;
}

void RequireNoBackslash(const char* what, const std::filesystem::path& file)
{
    if (file.native().find('\\') != std::string::npos) {
        throw std::runtime_error(std::string(what) + " '" + file.string() +
                                 "': there is a backslash in its path; take another folder");
    }
}

void RequireTwoFiles(const std::filesystem::path& one, const std::filesystem::path& other)
{
    std::error_code ignored;
    const bool isSamePath =
        std::filesystem::weakly_canonical(one, ignored) ==
        std::filesystem::weakly_canonical(other, ignored); // also of files that are not there
    if (isSamePath || std::filesystem::equivalent(one, other, ignored)) {
        throw std::runtime_error("'" + one.string() + "' and '" + other.string() + "' are one file");
    }
}

} // namespace app
