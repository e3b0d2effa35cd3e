// Section text in the memory of a camera.
#pragma once

#include "lxccctserializer.h"
#include "orx/base/export.h"

namespace LxCV {

class LxAFrameGrabber;

/// A serializer whose text is the file that a camera keeps in its own memory, packed by the camera's frame grabber.
/// Never with comments, since the camera's memory is small. The grabber is the caller's and must outlive the work up
/// to `Exit`.
class ORX_EXPORT LxCCCTSerializerCamera : public LxCCCTSerializer
{
public:
    using LxCCCTSerializer::Init;

    /// When loading, reads the file of the device; a device without one is not touched further. A null grabber is
    /// noticed by `Exit` when storing.
    /// @return false when loading without a grabber, where the device has no file or cannot read it, or if its text
    ///         has no line
    bool Init(LxAFrameGrabber* grabber, bool storing);

    /// When storing, hands the text to the device.
    /// @return true when loading; else whether there is a grabber and its device took the text
    bool Exit() override;

    /// Writes the text to the device's encrypted backup copy on disk as well; see
    /// `LxCCCTEncryptionUtils::WriteIniFileToCryptedFile`.
    bool SaveCryptedFile();

private:
    LxAFrameGrabber* m_pGrabber = nullptr; ///< not owned
};

} // namespace LxCV
