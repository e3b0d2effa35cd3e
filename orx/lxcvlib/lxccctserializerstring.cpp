// Packs and unpacks the byte vector of a serializer.
#include "lxccctserializerstring.h"

#include "lxccctencryptionutils.h"

#include <sstream>

namespace LxCV {

bool LxCCCTSerializerString::Init(std::vector<char>& bytes, bool storing)
{
    m_vBytes = bytes;
    if (!storing) {
        std::istringstream container(std::string(m_vBytes.begin(), m_vBytes.end()));
        GetStream().clear();
        if (!LxCCCTEncryptionUtils::DecryptAndDecompress(GetStream(), container)) {
            return false;
        }
    }
    return LxCCCTSerializer::Init(storing, true);
}

bool LxCCCTSerializerString::Exit()
{
    if (!IsStoring()) {
        return true;
    }
    std::ostringstream container;
    if (!LxCCCTEncryptionUtils::EncryptAndCompress(GetStream(), container)) {
        return false;
    }
    const std::string_view bytes = container.view();
    m_vBytes.assign(bytes.begin(), bytes.end());
    return true;
}

} // namespace LxCV
