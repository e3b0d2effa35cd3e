// UTF-8 transcoding with escapes for malformed bytes, after the "surrogateescape" scheme of Python's PEP 383.
#include "orx/platform/unicode.h"

#include <cstddef>
#include <cstdint>

namespace platform {

namespace {

constexpr std::uint32_t kEscapeBase = 0xDC00;
constexpr std::uint32_t kReplacement = 0xFFFD;
constexpr std::uint32_t kLastCodePoint = 0x10FFFF;

bool IsSurrogate(std::uint32_t codePoint)
{
    return codePoint >= 0xD800 && codePoint <= 0xDFFF;
}

struct Decoded
{
    std::uint32_t codePoint;
    std::size_t length; ///< bytes read; 0 where the text is malformed
};

/// Decodes the well-formed sequence that `text` begins with: shortest form only, no surrogates.
Decoded DecodeFirst(std::string_view text)
{
    const auto byteAt = [text](std::size_t i) { return static_cast<std::uint8_t>(text[i]); };
    const std::uint8_t lead = byteAt(0);
    if (lead < 0x80) {
        return {lead, 1};
    }
    const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    if (lead < 0xC2 || lead > 0xF4 || text.size() < length) {
        return {0, 0};
    }
    std::uint32_t codePoint = lead & (0x7FU >> length);
    for (std::size_t i = 1; i < length; ++i) {
        if ((byteAt(i) & 0xC0U) != 0x80U) {
            return {0, 0};
        }
        codePoint = (codePoint << 6) | (byteAt(i) & 0x3FU);
    }
    constexpr std::uint32_t smallest[] = {0, 0, 0x80, 0x800, 0x10000};
    if (codePoint < smallest[length] || codePoint > kLastCodePoint || IsSurrogate(codePoint)) {
        return {0, 0};
    }
    return {codePoint, length};
}

void AppendUtf8(std::string& out, std::uint32_t codePoint)
{
    const auto append = [&out](std::uint32_t byte) { out.push_back(static_cast<char>(byte)); };
    if (codePoint < 0x80) {
        append(codePoint);
    } else if (codePoint < 0x800) {
        append(0xC0 | (codePoint >> 6));
        append(0x80 | (codePoint & 0x3F));
    } else if (codePoint < 0x10000) {
        append(0xE0 | (codePoint >> 12));
        append(0x80 | ((codePoint >> 6) & 0x3F));
        append(0x80 | (codePoint & 0x3F));
    } else {
        append(0xF0 | (codePoint >> 18));
        append(0x80 | ((codePoint >> 12) & 0x3F));
        append(0x80 | ((codePoint >> 6) & 0x3F));
        append(0x80 | (codePoint & 0x3F));
    }
}

} // namespace

std::wstring WidenUtf8(std::string_view text)
{
    std::wstring wide;
    wide.reserve(text.size());
    while (!text.empty()) {
        const Decoded first = DecodeFirst(text);
        if (first.length == 0) {
            wide.push_back(static_cast<wchar_t>(kEscapeBase + static_cast<std::uint8_t>(text[0])));
            text.remove_prefix(1);
        } else {
            wide.push_back(static_cast<wchar_t>(first.codePoint));
            text.remove_prefix(first.length);
        }
    }
    return wide;
}

std::string NarrowUtf8(std::wstring_view text)
{
    std::string narrow;
    narrow.reserve(text.size());
    for (const wchar_t character : text) {
        const auto codePoint =
            static_cast<std::uint32_t>(character); // NOLINT(bugprone-signed-char-misuse): wide
        if (codePoint >= kEscapeBase + 0x80 && codePoint <= kEscapeBase + 0xFF) {
            narrow.push_back(static_cast<char>(codePoint - kEscapeBase));
        } else {
            AppendUtf8(narrow,
                       codePoint > kLastCodePoint || IsSurrogate(codePoint) ? kReplacement : codePoint);
        }
    }
    return narrow;
}

} // namespace platform
