// Narrow UTF-8 to wide text and back, without loss.
#pragma once

#include "orx/base/export.h"

#include <string>
#include <string_view>

namespace platform {

/// Decodes UTF-8. A byte that is no part of well-formed UTF-8 becomes the code point 0xDC00 + byte, so that
/// `NarrowUtf8` gives the same bytes back.
ORX_EXPORT std::wstring WidenUtf8(std::string_view text);

/// Encodes as UTF-8. Code points 0xDC80 to 0xDCFF become the single byte they stand for; what is no code point
/// becomes U+FFFD.
ORX_EXPORT std::string NarrowUtf8(std::wstring_view text);

} // namespace platform
