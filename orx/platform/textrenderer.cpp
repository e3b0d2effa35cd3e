// Fonts by fontconfig, glyphs by FreeType.
#include "orx/platform/textrenderer.h"

#include <algorithm>
#include <fontconfig/fontconfig.h>
#include <ft2build.h>
#include <map>
#include <memory>
#include <mutex>
#include FT_FREETYPE_H

namespace platform {

namespace {

constexpr int c_iFixedPoint = 64; ///< of FreeType's lengths: parts of a pixel

/// The file that fontconfig takes for a family; empty if there is none.
std::string FindFontFile(const std::string& family)
{
    const std::unique_ptr<FcConfig, decltype(&FcConfigDestroy)> config(FcInitLoadConfigAndFonts(),
                                                                       &FcConfigDestroy);
    const std::unique_ptr<FcPattern, decltype(&FcPatternDestroy)> pattern(FcPatternCreate(),
                                                                          &FcPatternDestroy);
    if (config == nullptr || pattern == nullptr) {
        return {};
    }
    FcPatternAddString(pattern.get(), FC_FAMILY, reinterpret_cast<const FcChar8*>(family.c_str()));
    FcPatternAddBool(pattern.get(), FC_OUTLINE, FcTrue);
    FcConfigSubstitute(config.get(), pattern.get(), FcMatchPattern);
    FcDefaultSubstitute(pattern.get());
    FcResult result = FcResultNoMatch;
    const std::unique_ptr<FcPattern, decltype(&FcPatternDestroy)> match(
        FcFontMatch(config.get(), pattern.get(), &result), &FcPatternDestroy);
    FcChar8* file = nullptr;
    if (match == nullptr || FcPatternGetString(match.get(), FC_FILE, 0, &file) != FcResultMatch) {
        return {};
    }
    return reinterpret_cast<const char*>(file);
}

/// FreeType and the faces in use. Neither may be used by two threads at once.
class CFonts
{
public:
    CFonts()
    {
        if (FT_Init_FreeType(&m_Library) != 0) {
            m_Library = nullptr;
        }
    }
    CFonts(const CFonts&) = delete;
    CFonts& operator=(const CFonts&) = delete;
    ~CFonts() { FT_Done_FreeType(m_Library); }

    /// The face of a family, null where there is none.
    FT_Face Get(const std::string& family)
    {
        const auto known = m_Faces.find(family);
        if (known != m_Faces.end()) {
            return known->second;
        }
        FT_Face face = nullptr;
        const std::string file = FindFontFile(family);
        if (m_Library == nullptr || file.empty() || FT_New_Face(m_Library, file.c_str(), 0, &face) != 0) {
            face = nullptr;
        }
        return m_Faces.emplace(family, face).first->second;
    }

private:
    FT_Library m_Library = nullptr;
    std::map<std::string, FT_Face> m_Faces;
};

struct SPen
{
    int x = 0;        ///< pixels from the left side
    int baseline = 0; ///< pixels from the upper side
};

/// Sets the mask's pixels where the rendered glyph has some.
void Stamp(const FT_GlyphSlotRec_& glyph, const SPen& pen, CTextMask& mask)
{
    const FT_Bitmap& bitmap = glyph.bitmap;
    for (int row = 0; row < static_cast<int>(bitmap.rows); ++row) {
        const int y = pen.baseline - glyph.bitmap_top + row;
        for (int column = 0; column < static_cast<int>(bitmap.width); ++column) {
            const int x = pen.x + glyph.bitmap_left + column;
            const unsigned char byte = bitmap.buffer[row * bitmap.pitch + column / 8];
            if ((byte >> (7 - column % 8) & 1) != 0 && x >= 0 && x < mask.width && y >= 0 &&
                y < mask.height) {
                mask.pixels[static_cast<std::size_t>(y) * static_cast<std::size_t>(mask.width) +
                            static_cast<std::size_t>(x)] = 1;
            }
        }
    }
}

/// Calls `use` with each glyph of the text and returns the pen's way, pixels.
template <typename Use>
int Walk(FT_Face face, std::wstring_view text, FT_Int32 flags, Use use)
{
    int x = 0;
    for (const wchar_t character : text) {
        if (character >= L' ' && FT_Load_Char(face, static_cast<FT_ULong>(character), flags) == 0) {
            use(*face->glyph, x);
            x += static_cast<int>(face->glyph->advance.x / c_iFixedPoint);
        }
    }
    return x;
}

} // namespace

bool RenderText(std::wstring_view text, const std::string& family, int size, CTextMask& mask)
{
    static std::mutex s_Mutex;
    static CFonts s_Fonts;
    text = text.substr(0, c_uiMaxTextLength);
    mask = {};
    if (text.empty() || size < 1) {
        return true;
    }
    const std::lock_guard lock(s_Mutex);
    const FT_Face face = s_Fonts.Get(family);
    const auto pixels = static_cast<FT_UInt>(std::min(size, c_iMaxTextSize));
    if (face == nullptr || FT_Set_Pixel_Sizes(face, 0, pixels) != 0) {
        return false;
    }
    constexpr FT_Int32 c_Mono = FT_LOAD_RENDER | FT_LOAD_TARGET_MONO;
    const int ascent = static_cast<int>(face->size->metrics.ascender / c_iFixedPoint) + 1;
    const int descent = static_cast<int>(-face->size->metrics.descender / c_iFixedPoint) + 1;
    mask.width = Walk(face, text, c_Mono, [](const FT_GlyphSlotRec_&, int) {});
    mask.height = ascent + descent;
    mask.pixels.resize(static_cast<std::size_t>(mask.width) * static_cast<std::size_t>(mask.height));
    Walk(face, text, c_Mono, [&](const FT_GlyphSlotRec_& glyph, int x) { Stamp(glyph, {x, ascent}, mask); });
    return true;
}

} // namespace platform
