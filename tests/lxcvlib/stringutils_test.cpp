#include "stringutils.h"

#include <gtest/gtest.h>

#include <random>

namespace LxCV {
namespace {

TEST(ReplaceAll, ReplacesEveryOccurrence)
{
    EXPECT_EQ(ReplaceAll(std::string("abcabc"), "b", "xyz"), "axyzcaxyzc");
    EXPECT_EQ(ReplaceAll(std::wstring(L"abcabc"), L"bc", L""), L"aa");
}

TEST(ReplaceAll, LeavesTheTextWhereThereIsNothingToReplace)
{
    EXPECT_EQ(ReplaceAll(std::string("abc"), "b", "b"), "abc");
    EXPECT_EQ(ReplaceAll(std::string("abc"), "", "x"), "abc");
    EXPECT_EQ(ReplaceAll(std::string("abc"), "d", "x"), "abc");
    EXPECT_EQ(ReplaceAll(std::string(), "d", "x"), "");
    EXPECT_EQ(ReplaceAll(std::wstring(L"abc"), L"b", L"b"), L"abc");
}

TEST(ReplaceAll, DoesNotLookAtWhatItPutIn)
{
    EXPECT_EQ(ReplaceAll(std::string("aaa"), "a", "aa"), "aaaaaa");
    EXPECT_EQ(ReplaceAll(std::string("aaa"), "aa", "a"), "aa");
}

// Independent statement: scan the characters once, from the left.
TEST(ReplaceAll, AgreesWithAScanOfEveryCharacter)
{
    std::mt19937 random(4);
    const auto word = [&random](std::size_t longest) {
        std::string text(random() % (longest + 1), 'a');
        for (char& character : text) {
            character = static_cast<char>('a' + random() % 2);
        }
        return text;
    };
    for (int trial = 0; trial < 5000; ++trial) {
        const std::string text = word(20);
        const std::string from = word(3);
        const std::string to = word(3);
        std::string expected;
        for (std::size_t i = 0; i < text.size();) {
            const bool here = !from.empty() && text.compare(i, from.size(), from) == 0;
            expected += here ? to : text.substr(i, 1);
            i += here ? from.size() : 1;
        }
        ASSERT_EQ(ReplaceAll(text, from, to), expected) << text << " " << from << " " << to;
    }
}

TEST(LxCStringConverter, ConvertsBetweenNarrowAndWide)
{
    const std::string narrow = "a\xC3\xA4\xE2\x82\xAC";
    const std::wstring wide = L"a\u00E4\u20AC";
    EXPECT_EQ(s2ws(narrow), wide);
    EXPECT_EQ(ws2s(wide), narrow);
    EXPECT_EQ(LxCStringConverter::CString2String(wide), narrow);
    EXPECT_EQ(LxCStringConverter::TString2String(wide), narrow);
    EXPECT_EQ(LxCStringConverter::WString2String(wide), narrow);
    EXPECT_EQ(LxCStringConverter::String2CString(narrow), wide);
    EXPECT_EQ(LxCStringConverter::String2TString(narrow), wide);
    EXPECT_EQ(LxCStringConverter::String2WString(narrow), wide);
}

TEST(LxCStringConverter, CopiesBetweenTheWideForms)
{
    const std::wstring wide(L"a\0\u20AC", 3);
    EXPECT_EQ(LxCStringConverter::CString2WString(wide), wide);
    EXPECT_EQ(LxCStringConverter::TString2WString(wide), wide);
    EXPECT_EQ(LxCStringConverter::WString2CString(wide), wide);
    EXPECT_EQ(LxCStringConverter::WString2TString(wide), wide);
}

TEST(LxCStringConverter, KeepsBytesThatAreNoUtf8)
{
    const std::string text("\xFF\0\xC3", 3);
    EXPECT_EQ(ws2s(s2ws(text)), text);
}

} // namespace
} // namespace LxCV
