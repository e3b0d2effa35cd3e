// Section text in a container in memory.
#pragma once

#include "lxccctserializer.h"
#include "orx/base/export.h"

#include <vector>

namespace LxCV {

/// A serializer whose text is a compressed and encrypted container (`LxCCCTEncryptionUtils`) in a byte vector that
/// it owns. Always with comments.
class ORX_EXPORT LxCCCTSerializerString : public LxCCCTSerializer
{
public:
    using LxCCCTSerializer::Init;

    /// Copies `bytes`, the container to load; when storing, they are what `GetBuffer` gives before `Exit`.
    /// @return false when loading bytes that are no container. The NUL behind the text of a container counts as a
    /// line of its own, so that a container of an empty text loads
    bool Init(std::vector<char>& bytes, bool storing);

    /// When storing, replaces the byte vector by the container of the text; by no bytes where the text is too big
    /// for a container, which deliberately is no failure.
    /// @return true when loading; else whether the container was made. On failure the byte vector stays
    bool Exit() override;

    /// A copy of the byte vector.
    std::vector<char> GetBuffer() const { return m_vBytes; }

private:
    std::vector<char> m_vBytes;
};

} // namespace LxCV
