// Section text in a file on disk.
#pragma once

#include "lxccctserializer.h"
#include "orx/base/export.h"

#include <fstream>
#include <string>

namespace LxCV {

/// A serializer whose text is a file, always with comments. `Exit` writes it; a file that is opened for storing is
/// empty until then.
class ORX_EXPORT LxCCCTSerializerFile : public LxCCCTSerializer
{
public:
    LxCCCTSerializerFile();
    ~LxCCCTSerializerFile() override;
    LxCCCTSerializerFile(LxCCCTSerializerFile&&) noexcept;
    LxCCCTSerializerFile& operator=(LxCCCTSerializerFile&&) noexcept;

    using LxCCCTSerializer::Init;

    /// Opens a file and, when loading, reads it whole. Either separator may stand between folders.
    /// @param path must hold a '.', be it in the name of a folder
    /// @return false, without a message, for a path without '.'; false, with an info line, for a file that cannot
    /// be opened or read, or that is no regular file when loading; false for a file without any line when loading
    bool Init(const std::string& path, bool storing);
    bool Init(const std::wstring& path, bool storing);
    bool Init(const char* path, bool storing) { return Init(std::string(path), storing); }
    bool Init(const wchar_t* path, bool storing) { return Init(std::wstring(path), storing); }

    /// Writes the text, when storing, and closes the file. Returns true in any case; a warning tells of a file
    /// that could not be written whole.
    bool Exit() override;

private:
    std::fstream m_File;
};

} // namespace LxCV
