// Section text in an encrypted file on disk.
#pragma once

#include "lxccctserializer.h"
#include "orx/base/export.h"

#include <sstream>
#include <string>

namespace LxCV {

class LxAFrameGrabber;

/// A serializer whose text is a container (`LxCCCTEncryptionUtils`) in a file: the backup copy of a camera's file, or
/// a file by name. Never with comments, as the camera's own file. A grabber is the caller's and must outlive the work
/// up to `Exit`.
class ORX_EXPORT LxCCCTSerializerEncryptedFile : public LxCCCTSerializer
{
public:
    using LxCCCTSerializer::Init;

    /// Works on the backup copy of a grabber's camera, and when loading reads it; see
    /// `LxCCCTEncryptionUtils::ReadIniFileFromCryptedFile`. A null grabber is noticed by `Exit` when storing.
    /// @return false when loading without a grabber, or if the copy cannot be read or its text has no line
    bool Init(LxAFrameGrabber* grabber, bool storing);

    /// Works on a file by name, and when loading reads it. Either separator may stand between folders. When storing,
    /// the file is not touched before `Exit`, where an empty name is noticed.
    /// @return false when loading a file that does not open, is no regular file or no container, or whose text has no
    ///         line
    bool Init(std::string fileName, bool storing);
    bool Init(const char* fileName, bool storing) { return Init(std::string(fileName), storing); }

    /// When storing, writes the container; the copy of a grabber where there is one, else the file.
    /// @return true when loading; else whether the file was written, false with neither a grabber nor a name. A text
    ///         that is too big for a container leaves an empty file, which deliberately is no failure
    bool Exit() override;

protected:
    bool readIniFileFromCryptedFile(std::stringstream& text);
    bool writeIniFileToCryptedFile(std::stringstream& text);

private:
    LxAFrameGrabber* m_pGrabber = nullptr; ///< not owned; null for a file by name
    std::string m_sFileName;               ///< path text; empty for the copy of a grabber
};

} // namespace LxCV
