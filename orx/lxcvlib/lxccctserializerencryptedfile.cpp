// Moves the text of a serializer between it and an encrypted file.
#include "lxccctserializerencryptedfile.h"

#include "containerfile.h"
#include "lxccctencryptionutils.h"

#include <utility>

namespace LxCV {

bool LxCCCTSerializerEncryptedFile::Init(LxAFrameGrabber* grabber, bool storing)
{
    m_pGrabber = grabber;
    m_sFileName.clear();
    SetStoring(storing);
    if (!storing) {
        GetStream().clear();
        if (!LxCCCTEncryptionUtils::ReadIniFileFromCryptedFile(GetStream(), grabber)) {
            return false;
        }
    }
    return LxCCCTSerializer::Init(storing, false);
}

bool LxCCCTSerializerEncryptedFile::Init(std::string fileName, bool storing)
{
    m_pGrabber = nullptr;
    m_sFileName = std::move(fileName);
    SetStoring(storing);
    if (!storing) {
        GetStream().clear();
        if (!readIniFileFromCryptedFile(GetStream())) {
            return false;
        }
    }
    return LxCCCTSerializer::Init(storing, false);
}

bool LxCCCTSerializerEncryptedFile::Exit()
{
    if (!IsStoring()) {
        return true;
    }
    if (m_pGrabber != nullptr) {
        return LxCCCTEncryptionUtils::WriteIniFileToCryptedFile(GetStream(), m_pGrabber);
    }
    return !m_sFileName.empty() && writeIniFileToCryptedFile(GetStream());
}

bool LxCCCTSerializerEncryptedFile::readIniFileFromCryptedFile(std::stringstream& text)
{
    return ReadContainerFile(text, {m_sFileName});
}

bool LxCCCTSerializerEncryptedFile::writeIniFileToCryptedFile(std::stringstream& text)
{
    std::ofstream file = OpenContainerFile(m_sFileName);
    return WriteContainerFile(text, file);
}

} // namespace LxCV
