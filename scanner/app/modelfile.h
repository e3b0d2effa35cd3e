// A model's section text in each of the forms that it is stored in.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace calibration {
struct ModelSection;
}

namespace app {

/// The first byte of a container: without encryption, as older versions and archives of targets are, and with it.
inline constexpr char kPlainContainer = '\x01';
inline constexpr char kEncryptedContainer = '\x02';

/// The forms of a model file.
enum class ModelForm
{
    eText,      ///< section text as it stands
    eContainer, ///< compressed and encrypted; an older version that is compressed alone is read, too
    eMemory     ///< the memory of a virtual device: a container, and erased bytes up to the memory's size
};

/// A model file, read.
struct ModelFile
{
    ModelForm form = ModelForm::eText;
    int version = 0; ///< of the container; 0 for a text
    std::string text;
};

/// Reads a file of any form, which is told by its content. The key file is not made where it is missing.
/// @throws std::runtime_error naming the file, and the key file where it is at fault, and what can be done
ModelFile ReadModelFile(const std::filesystem::path& file);

/// The text in a container or in the memory of a device. The key file is not made where it is missing.
/// @throws std::runtime_error telling what is wrong with it, as "is encrypted, and ...", and what can be done
std::string UnpackContainer(std::string_view content);

/// The root of the sections of a model that was read from `file`.
/// @throws std::runtime_error naming the file where no section is a model's
std::string RequireModelRoot(const std::filesystem::path& file,
                             const std::vector<calibration::ModelSection>& sections);

/// Makes or replaces a file as a whole; on failure it is as it was. A container is of the present version; its key
/// file is made where it is missing.
/// @throws std::runtime_error naming the file, and what can be done
void WriteModelFile(const std::filesystem::path& file, ModelForm form, const std::string& text);

} // namespace app
