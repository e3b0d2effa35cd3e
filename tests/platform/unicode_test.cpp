#include "orx/platform/unicode.h"

#include <gtest/gtest.h>

#include <random>

namespace platform {
namespace {

TEST(Unicode, TranscodesEveryLengthOfSequence)
{
    const std::string narrow = "A\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80";
    const std::wstring wide = L"A\u00E4\u20AC\U0001F600";
    EXPECT_EQ(WidenUtf8(narrow), wide);
    EXPECT_EQ(NarrowUtf8(wide), narrow);
}

TEST(Unicode, EscapesMalformedBytes)
{
    // A lone continuation, an overlong '/', a surrogate, a cut sequence, a byte that never occurs.
    for (const std::string text :
         {"\x80", "\xC0\xAF", "\xED\xA0\x80", "\xE2\x82", "\xFF", "\xF4\x90\x80\x80"}) {
        const std::wstring wide = WidenUtf8(text);
        ASSERT_EQ(wide.size(), text.size());
        for (std::size_t i = 0; i < text.size(); ++i) {
            EXPECT_EQ(static_cast<unsigned>(wide[i]), 0xDC00U + static_cast<unsigned char>(text[i]));
        }
    }
}

TEST(Unicode, WritesWhatIsNoCodePointAsReplacement)
{
    for (const wchar_t character :
         {wchar_t(0xD800), wchar_t(0xDC7F), wchar_t(0xDFFF), wchar_t(0x110000), wchar_t(-1)}) {
        EXPECT_EQ(NarrowUtf8(std::wstring(1, character)), "\xEF\xBF\xBD");
    }
}

TEST(Unicode, AnyBytesSurviveTheWayThereAndBack)
{
    std::mt19937 random(1);
    for (int trial = 0; trial < 10000; ++trial) {
        std::string text(random() % 24, '\0');
        for (char& character : text) {
            // Mostly bytes of multi-byte sequences, so that well-formed and malformed ones meet.
            character = static_cast<char>(random() % 4 == 0 ? random() % 256 : 0x80 + random() % 128);
        }
        ASSERT_EQ(NarrowUtf8(WidenUtf8(text)), text) << testing::PrintToString(text);
    }
}

TEST(Unicode, EveryCodePointSurvivesTheWayThereAndBack)
{
    for (std::uint32_t codePoint = 0; codePoint <= 0x10FFFF; ++codePoint) {
        if (codePoint >= 0xD800 && codePoint <= 0xDFFF) {
            continue;
        }
        const std::wstring text(1, static_cast<wchar_t>(codePoint));
        ASSERT_EQ(WidenUtf8(NarrowUtf8(text)), text) << codePoint;
    }
}

} // namespace
} // namespace platform
