// Telling, unpacking and packing of model files.
#include "scanner/app/modelfile.h"

#include "lxccctencryptionutils.h"
#include "orx/parameter/keyfile.h"
#include "scanner/acquisition/devicememory.h"
#include "scanner/app/filecontent.h"
#include "scanner/calibration/modeltext.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace app {

namespace {

using acquisition::DeviceMemory;
using LxCV::LxCCCTEncryptionUtils;

/// The longest text that a container holds: deflating makes one of 65523 bytes at most 1032 times shorter.
constexpr std::size_t kLargestText = std::size_t{65523} * 1032;
constexpr std::ptrdiff_t kMostLines = 1'000'000;

std::runtime_error Problem(const std::filesystem::path& file, const std::string& text)
{
    return std::runtime_error("'" + file.string() + "' " + text);
}

/// The key file with what moves it, for messages.
std::string KeyFileName()
{
    return "'" + parameter::GetKeyFilePath().string() + "'";
}

void RequireKeyFile()
{
    std::error_code ignored;
    if (!std::filesystem::exists(parameter::GetKeyFilePath(), ignored)) {
        throw std::runtime_error("is encrypted, and there is no key file " + KeyFileName() +
                                 ": let LXCV_KEY_FILE name the one that it was made with");
    }
}

std::string PackContainer(const std::filesystem::path& file, const std::string& text)
{
    std::stringstream source(text);
    std::ostringstream sink;
    if (!LxCCCTEncryptionUtils::EncryptAndCompress(source, sink)) {
        throw std::runtime_error("cannot encrypt '" + file.string() + "' with the key of " + KeyFileName() +
                                 ": it is to hold 32 bytes and to be readable, or to be missing in a folder "
                                 "that can be written");
    }
    if (sink.view().empty()) {
        throw Problem(file,
                      "would be longer than a container can be: leave comments and foreign sections out "
                      "of the text");
    }
    return std::move(sink).str();
}

} // namespace

std::string UnpackContainer(std::string_view content)
{
    const bool isEncrypted = content.starts_with(kEncryptedContainer);
    if (isEncrypted) {
        RequireKeyFile();
    }
    std::stringstream text;
    std::istringstream source{std::string(content)};
    if (!LxCCCTEncryptionUtils::DecryptAndDecompress(text, source)) {
        throw std::runtime_error(
            isEncrypted
                ? "is a container that was cut or changed, or that was made with another key than that of " +
                      KeyFileName() + ": let LXCV_KEY_FILE name the right one, or take the file from a backup"
                : "is a container that was cut or changed: take it from a backup");
    }
    std::string unpacked = std::move(text).str();
    unpacked.pop_back(); // the NUL that reading puts behind the text
    return unpacked;
}

namespace {

/// Each line is kept with its number, key and value, some hundred bytes, so that a text of short ones would grow
/// beyond all memory.
void RequireFewLines(const std::filesystem::path& file, const std::string& text)
{
    if (std::ranges::count(text, '\n') > kMostLines) {
        throw Problem(file, "is no model: it has more than " + std::to_string(kMostLines) + " lines");
    }
}

ModelFile ReadAnyModelFile(const std::filesystem::path& file)
{
    const std::string content = ReadContent(file, kLargestText, "a model");
    if (content.empty()) {
        throw Problem(file, "is empty");
    }
    const bool isMemory = content.size() == DeviceMemory::kSize;
    if (isMemory && content.front() == DeviceMemory::kErased) {
        throw Problem(file, "is the memory of a device that keeps no model");
    }
    if (content.front() == kPlainContainer || content.front() == kEncryptedContainer) {
        try {
            return {isMemory ? ModelForm::eMemory : ModelForm::eContainer, content.front(),
                    UnpackContainer(content)};
        } catch (const std::runtime_error& error) {
            throw Problem(file, error.what());
        }
    }
    return {ModelForm::eText, 0, content};
}

} // namespace

ModelFile ReadModelFile(const std::filesystem::path& file)
{
    ModelFile read = ReadAnyModelFile(file);
    RequireFewLines(file, read.text);
    return read;
}

std::string RequireModelRoot(const std::filesystem::path& file,
                             const std::vector<calibration::ModelSection>& sections)
{
    if (std::optional<std::string> root = calibration::FindModelRoot(sections)) {
        return *std::move(root);
    }
    throw Problem(file, "is no model: it has none of a model's sections, such as '::Cams[0]'");
}

void WriteModelFile(const std::filesystem::path& file, ModelForm form, const std::string& text)
{
    std::string content = form == ModelForm::eText ? text : PackContainer(file, text);
    if (form == ModelForm::eMemory) {
        content.resize(DeviceMemory::kSize, DeviceMemory::kErased);
    }
    WriteContent(file, content);
}

} // namespace app
