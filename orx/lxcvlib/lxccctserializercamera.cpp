// Moves the text of a serializer between it and a device.
#include "lxccctserializercamera.h"

#include "lxaframegrabber.h"
#include "lxccctencryptionutils.h"

namespace LxCV {

bool LxCCCTSerializerCamera::Init(LxAFrameGrabber* grabber, bool storing)
{
    m_pGrabber = grabber;
    SetStoring(storing);
    if (!storing) {
        GetStream().clear();
        if (grabber == nullptr || !grabber->IsThereAnIniFileOnDevice() ||
            !grabber->ReadIniFileFromDevice(GetStream())) {
            return false;
        }
    }
    return LxCCCTSerializer::Init(storing, false);
}

bool LxCCCTSerializerCamera::Exit()
{
    return !IsStoring() || (m_pGrabber != nullptr && m_pGrabber->WriteIniFileToDevice(GetStream()));
}

bool LxCCCTSerializerCamera::SaveCryptedFile()
{
    return LxCCCTEncryptionUtils::WriteIniFileToCryptedFile(GetStream(), m_pGrabber);
}

} // namespace LxCV
