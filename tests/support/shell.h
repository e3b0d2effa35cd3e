// Programs of the machine that tests run.
#pragma once

#include <array>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <vector>

namespace TestSupport {

/// Whether the machine has a program of this name.
inline bool HasProgram(const std::string& name)
{
    return std::system(("command -v " + name + " >/dev/null 2>&1").c_str()) == 0;
}

/// A word that the shell takes as it stands.
inline std::string Quoted(const std::string& word)
{
    std::string quoted = "'";
    for (const char character : word) {
        quoted += character == '\'' ? std::string("'\\''") : std::string(1, character);
    }
    return quoted + "'";
}

/// What a command line prints, messages included, followed by its exit status in brackets where it fails.
inline std::string RunShell(const std::string& commandLine)
{
    std::FILE* const pipe = popen(("{ " + commandLine + "\n} 2>&1").c_str(), "r");
    if (pipe == nullptr) {
        throw std::runtime_error("cannot run " + commandLine);
    }
    std::string printed;
    std::array<char, 4096> buffer{};
    for (std::size_t count = 0; (count = std::fread(buffer.data(), 1, buffer.size(), pipe)) > 0;) {
        printed.append(buffer.data(), count);
    }
    const int status = pclose(pipe);
    return status == 0 ? printed : printed + "[" + std::to_string(status) + "]";
}

/// The lines of a text.
inline std::vector<std::string> Lines(const std::string& text)
{
    std::vector<std::string> lines;
    std::size_t begin = 0;
    for (std::size_t end = 0; (end = text.find('\n', begin)) != std::string::npos; begin = end + 1) {
        lines.push_back(text.substr(begin, end - begin));
    }
    if (begin < text.size()) {
        lines.push_back(text.substr(begin));
    }
    return lines;
}

} // namespace TestSupport
