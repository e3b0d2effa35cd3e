// Containers, memories of devices and archives of targets.
#include "scanner/app/filefacts.h"

#include "lxccalibrationtargetwriter.h"
#include "scanner/acquisition/devicememory.h"
#include "scanner/app/modelfile.h"

#include <cstdint>
#include <sstream>
#include <stdexcept>

namespace app {

namespace {

using acquisition::DeviceMemory;

std::uint32_t Word(std::string_view content, std::size_t place)
{
    std::uint32_t word = 0;
    for (std::size_t i = 0; i < sizeof word; ++i) {
        word |= static_cast<std::uint32_t>(static_cast<unsigned char>(content[place + i])) << (8 * i);
    }
    return word;
}

/// What the header of a container tells; an archive of targets has that of a plain one.
struct Header
{
    bool isEncrypted = false;
    std::size_t textLength = 0;
    std::size_t length = 0; ///< of the whole
};

std::optional<Header> ReadHeader(std::string_view content)
{
    constexpr std::size_t plainLength = 9;
    constexpr std::size_t encryptedLength = 13;
    if (content.front() == kPlainContainer && content.size() > plainLength && content[plainLength] == 'x') {
        return Header{false, Word(content, 1), plainLength + std::size_t{Word(content, 5)}};
    }
    if (content.front() == kEncryptedContainer && content.size() > encryptedLength) {
        return Header{true, Word(content, 1), encryptedLength + std::size_t{Word(content, 9)}};
    }
    return std::nullopt;
}

/// Nothing where the text is none of targets, as in containers of other texts.
std::optional<FileFacts> TellArchive(std::string_view content)
{
    std::istringstream stream{std::string(content)};
    std::ostringstream text;
    if (!LxCV::LxCCalibrationTargetWriter::decompress(text, stream)) {
        throw std::runtime_error("it is a container or an archive of targets that was cut or changed");
    }
    std::optional<FileFacts> told = TellTargetsText(text.view());
    if (told) {
        told->kind = "archive of targets";
    }
    return told;
}

/// Tells the container and its text; without its key the container alone.
FileFacts TellPacked(std::string_view content, const Header& header, const std::string& kind)
{
    FileFacts told{kind};
    told.facts["text_bytes"] = header.textLength;
    std::string text;
    try {
        text = UnpackContainer(content);
    } catch (const std::runtime_error& error) {
        told.facts["content"] = "not known: it " + std::string(error.what());
        return told;
    }
    if (const std::optional<FileFacts> inner = TellSections({{}, text})) {
        told.facts["content"] = inner->kind;
        told.facts.update(inner->facts);
    }
    return told;
}

} // namespace

std::optional<FileFacts> TellContainer(const FileView& file)
{
    const std::string_view content = file.content;
    const bool isMemory = content.size() == DeviceMemory::kSize;
    if (isMemory && content.front() == DeviceMemory::kErased) {
        return FileFacts{"memory of a device, without a text"};
    }
    const std::optional<Header> header = ReadHeader(content);
    const bool isWhole =
        header && (isMemory ? header->length <= content.size() : header->length == content.size());
    if (!isWhole) {
        return std::nullopt;
    }
    if (!header->isEncrypted && !isMemory) {
        if (std::optional<FileFacts> archive = TellArchive(content)) {
            return archive;
        }
    }
    return TellPacked(content, *header,
                      isMemory              ? "memory of a device"
                      : header->isEncrypted ? "encrypted container"
                                            : "container that is not encrypted");
}

} // namespace app
