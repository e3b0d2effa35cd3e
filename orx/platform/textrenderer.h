// Text as pixels.
#pragma once

#include "orx/base/export.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace platform {

/// A mask of gapless rows, top row first: 1 where a pixel belongs to the text, else 0.
struct CTextMask
{
    int width = 0;  ///< pixels
    int height = 0; ///< pixels
    std::vector<std::uint8_t> pixels;
};

/// Longest text, in characters, and largest size that are rendered; what is longer is cut, a larger size taken down.
inline constexpr std::size_t c_uiMaxTextLength = 1024;
inline constexpr int c_iMaxTextSize = 256; ///< pixels

/// Renders one line of text without anti-aliasing; control characters are left out.
/// @param family name of a font family; where it is not installed, what the system takes in its place
/// @param size   height of the em square, pixels
/// @param mask   receives the text; it becomes empty for an empty text and a size below 1
/// @return false, with an empty mask, where the system has no font
/// Any number of threads may call.
ORX_EXPORT bool RenderText(std::wstring_view text, const std::string& family, int size, CTextMask& mask);

} // namespace platform
