#include "scanner/device/meshfile.h"

#include "scanner/device/meshorpoints.h"
#include "scanner/device/meshparsing.h"

#include <algorithm>
#include <fstream>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>

namespace device {

namespace {

std::optional<EMeshFormat> FormatOf(const std::filesystem::path& file)
{
    std::string extension = file.extension().string();
    std::ranges::transform(extension, extension.begin(), [](char letter) {
        return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
    });
    if (extension == ".stl") {
        return EMeshFormat::eStl;
    }
    if (extension == ".ply") {
        return EMeshFormat::ePly;
    }
    return extension == ".obj" ? std::optional(EMeshFormat::eObj) : std::nullopt;
}

/// The whole file; no more than the limit is read of any.
std::string ReadBytes(const std::filesystem::path& file, std::size_t limit)
{
    constexpr std::size_t c_step = 1 << 16;
    std::error_code ignored;
    std::ifstream stream;
    if (!std::filesystem::is_directory(file, ignored)) {
        stream.open(file, std::ios::binary);
    }
    if (!stream.is_open()) {
        FailMesh("it cannot be opened; check path and permissions");
    }
    std::string content;
    while (stream.good() && content.size() <= limit) {
        const std::size_t begin = content.size();
        content.resize(std::min(limit + 1, begin + std::max(begin, c_step)));
        stream.read(content.data() + begin, static_cast<std::streamsize>(content.size() - begin));
        content.resize(begin + static_cast<std::size_t>(stream.gcount()));
    }
    if (stream.bad()) {
        FailMesh("it cannot be read; check the disk");
    }
    if (content.size() > limit) {
        FailMesh("it is longer than the " + std::to_string(limit) + " bytes that are read; reduce the mesh");
    }
    return content;
}

Mesh Parse(std::string_view content, EMeshFormat format, const ParsingLimits& limits)
{
    if (content.empty()) {
        FailMesh("it is empty; export the mesh anew");
    }
    switch (format) {
    case EMeshFormat::eStl:
        return ParseStl(content, limits);
    case EMeshFormat::ePly:
        return ParsePly(content, limits);
    default:
        return ParseObj(content, limits);
    }
}

} // namespace

Mesh ParseMesh(std::string_view content, EMeshFormat format, const MeshLimits& limits)
{
    return Parse(content, format, {limits, false});
}

Mesh ParseMeshOrPoints(std::string_view content, EMeshFormat format, const MeshLimits& limits)
{
    return Parse(content, format, {limits, true});
}

Mesh ReadMesh(const std::filesystem::path& file, const MeshLimits& limits)
{
    const std::string start = "cannot read the mesh " + file.string() + ": ";
    try {
        const std::optional<EMeshFormat> format = FormatOf(file);
        if (!format) {
            FailMesh("its name ends in none of .stl, .ply and .obj; convert it to one of these");
        }
        return ParseMesh(ReadBytes(file, limits.bytes), *format, limits);
    } catch (const std::bad_alloc&) {
        throw std::runtime_error(start + "there is not enough memory for it; reduce the mesh");
    } catch (const std::runtime_error& error) {
        throw std::runtime_error(start + error.what());
    }
}

} // namespace device
