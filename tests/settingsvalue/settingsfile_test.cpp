#include "orx/settingsvalue/settingsfile.h"

#include <gtest/gtest.h>

#include <chrono>
#include <limits>
#include <string>

namespace LxCV {
namespace {

using namespace std::string_literals;

/// The group G of a text that is accepted.
LxCSettingsGroup GroupOf(const std::string& text)
{
    std::string error;
    auto table = ParseSettings(text, error);
    EXPECT_TRUE(table.has_value()) << error;
    return table ? (*table)["G"] : LxCSettingsGroup();
}

/// Why a text is refused; empty if it is accepted.
std::string ErrorOf(const std::string& text)
{
    std::string error;
    const auto table = ParseSettings(text, error);
    EXPECT_EQ(table.has_value(), error.empty());
    return error;
}

bool Contains(const std::string& text, const std::string& part)
{
    return text.find(part) != std::string::npos;
}

TEST(ParseSettings, GivesValuesByGroupKeyAndType)
{
    const LxCSettingsGroup group =
        GroupOf("G = { b = true, n = -7, d = 0.5, s = 'te\\0xt', t = {}, f = type }");
    EXPECT_EQ(group.size(), 6U);
    EXPECT_EQ(group.at("b"), LxCSettingsEntry(true));
    EXPECT_EQ(group.at("n"), LxCSettingsEntry(-7LL));
    EXPECT_EQ(group.at("d"), LxCSettingsEntry(0.5));
    EXPECT_EQ(group.at("s"), LxCSettingsEntry(std::string("te\0xt", 5)));
    EXPECT_EQ(group.at("t"), LxCSettingsEntry());
    EXPECT_EQ(group.at("f"), LxCSettingsEntry());
}

TEST(ParseSettings, EmptyTextHasNoGroups)
{
    std::string error;
    const auto table = ParseSettings("", error);
    ASSERT_TRUE(table.has_value());
    EXPECT_TRUE(table->empty());
}

TEST(ParseSettings, TakesTablesWithTextKeysOnly)
{
    std::string error;
    const auto table = ParseSettings("x = 1; s = 'a'; G = { 10, 20, [true] = 1, [1.5] = 2, k = 3 }", error);
    ASSERT_TRUE(table.has_value()) << error;
    ASSERT_EQ(table->size(), 1U);
    EXPECT_EQ(table->at("G").size(), 1U);
    EXPECT_EQ(table->at("G").at("k"), LxCSettingsEntry(3LL));
}

TEST(ParseSettings, ComputesWithTheAllowedFunctions)
{
    const LxCSettingsGroup group = GroupOf(R"(
        G = { angle = math.rad(180), largest = math.max(1, 7, 3), text = tostring(12) .. type(1) }
        for i, name in ipairs({ 'a', 'b' }) do G[name] = i end
        for key, value in pairs({ c = 3 }) do G[key] = value end
        assert(tonumber('0x10') == 16 and select('#', 1, 2) == 2))");
    EXPECT_EQ(group.at("angle"), LxCSettingsEntry(3.14159265358979323846));
    EXPECT_EQ(group.at("largest"), LxCSettingsEntry(7LL));
    EXPECT_EQ(group.at("text"), LxCSettingsEntry(std::string("12number")));
    EXPECT_EQ(group.at("a"), LxCSettingsEntry(1LL));
    EXPECT_EQ(group.at("b"), LxCSettingsEntry(2LL));
    EXPECT_EQ(group.at("c"), LxCSettingsEntry(3LL));
}

TEST(ParseSettings, AcceptsAByteOrderMark)
{
    EXPECT_EQ(GroupOf("\xEF\xBB\xBFG = { k = 1 }").at("k"), LxCSettingsEntry(1LL));
}

TEST(ParseSettings, OffersNothingThatReachesOutside)
{
    const char* const names[] = {
        "io",       "os",       "package", "debug",  "string",  "table",        "utf8",     "coroutine",
        "load",     "loadfile", "dofile",  "pcall",  "require", "loadstring",   "print",    "collectgarbage",
        "rawset",   "rawget",   "_G",      "next",   "xpcall",  "setmetatable", "_VERSION", "getmetatable",
        "rawequal", "rawlen",   "warn",    "module", "setfenv", "arg",          "_ENV.io",  "math.random",
    };
    for (const char* const name : names) {
        EXPECT_EQ(GroupOf(std::string("G = { absent = ") + name + " == nil }").at("absent"),
                  LxCSettingsEntry(true))
            << name;
    }
}

TEST(ParseSettings, TextsHaveNoMethods)
{
    EXPECT_TRUE(Contains(ErrorOf("G = { s = ('x'):rep(1000000000) }"), "attempt to index a string value"));
}

TEST(ParseSettings, ReportsErrorsWithTheirLine)
{
    EXPECT_EQ(ErrorOf("G = {\n k = 1\n"), "settings:3: '}' expected (to close '{' at line 1) near <eof>");
    EXPECT_EQ(ErrorOf("\nos.exit(0)"), "settings:2: attempt to index a nil value (global 'os')");
    EXPECT_EQ(ErrorOf("error('stop')"), "settings:1: stop");
}

TEST(ParseSettings, ReportsAnyErrorValueAsOneShortLine)
{
    EXPECT_EQ(ErrorOf("error({})"), "error without a message");
    EXPECT_EQ(ErrorOf("error(42)"), "error without a message");
    EXPECT_EQ(ErrorOf("error()"), "error without a message");
    EXPECT_EQ(ErrorOf("error('a\\nb\\27c', 0)"), "a b c");
    EXPECT_EQ(ErrorOf("local s = 'abcdefgh' for i = 1, 10 do s = s .. s end error(s, 0)").size(), 200U);
}

TEST(ParseSettings, RefusesCompiledCode)
{
    EXPECT_TRUE(Contains(ErrorOf("\x1BLuaT"), "attempt to load a binary chunk"));
    EXPECT_TRUE(Contains(ErrorOf("\xEF\xBB\xBF\x1BLuaT"), "attempt to load a binary chunk"));
}

TEST(ParseSettings, RefusesTextBeyondTheLongestSize)
{
    const std::string text = "G = { k = 1 } --";
    EXPECT_EQ(ErrorOf(text + std::string(c_longestSettingsText - text.size(), 'x')), "");
    EXPECT_EQ(ErrorOf(text + std::string(c_longestSettingsText - text.size() + 1, 'x')), "too long");
}

TEST(ParseSettings, StopsEndlessPrograms)
{
    EXPECT_TRUE(Contains(ErrorOf("while true do end"), "takes too long"));
    EXPECT_TRUE(Contains(ErrorOf("local function f() return f() end f()"), "takes too long"));
    EXPECT_TRUE(Contains(ErrorOf("::again:: goto again"), "takes too long"));
    EXPECT_TRUE(Contains(ErrorOf("for i = 1, math.huge do end"), "takes too long"));
}

TEST(ParseSettings, StopsEndlessRecursion)
{
    EXPECT_NE(ErrorOf("local function f() f() end f()"), "");
    EXPECT_NE(ErrorOf("local function f() return 1 + f() end f()"), "");
}

TEST(ParseSettings, RefusesDeeplyNestedText)
{
    constexpr std::size_t c_depth = 100000;
    EXPECT_NE(ErrorOf("x = " + std::string(c_depth, '(') + "1" + std::string(c_depth, ')')), "");
    EXPECT_NE(ErrorOf("x = " + std::string(c_depth, '{') + std::string(c_depth, '}')), "");
    EXPECT_NE(ErrorOf("x = " + std::string(c_depth, '-') + "1"), "");
}

TEST(ParseSettings, RefusesHugeTexts)
{
    EXPECT_EQ(ErrorOf("local s = 'x' while true do s = s .. s end"), "not enough memory");
}

TEST(ParseSettings, RefusesHugeTables)
{
    EXPECT_EQ(ErrorOf("G = {} for i = 1, 1000000 do G[i] = i end"), "not enough memory");
}

TEST(ParseSettings, RefusesEndlessGarbage)
{
    EXPECT_NE(ErrorOf("local s = 'x' for i = 1, 20 do s = s .. s end while true do local t = s .. 'y' end"),
              "");
}

TEST(ParseSettings, StopsFewInstructionsThatAreSlow)
{
    // Two equal texts of 1 MiB are compared byte by byte.
    EXPECT_TRUE(Contains(ErrorOf("local a, b = 'x', 'x' for i = 1, 20 do a = a .. a b = b .. b end "
                                 "a = a .. 'y' b = b .. 'y' while true do local c = a == b end"),
                         "takes too long"));
}

TEST(ParseSettings, RefusesATextThatStandsInManyPlaces)
{
    EXPECT_EQ(
        ErrorOf(
            "local s = 'x' for i = 1, 16 do s = s .. s end G = {} for i = 1, 1000 do G['k' .. i] = s end"),
        "too many values");
}

TEST(ParseSettings, RefusesATableThatStandsInManyPlaces)
{
    EXPECT_EQ(
        ErrorOf("local t = {} for i = 1, 2000 do t['k' .. i] = i end a = t b = t c = t d = t e = t f = t "
                "g = t h = t i = t j = t k = t l = t m = t n = t o = t p = t q = t r = t s = t u = t v = t "
                "w = t x = t y = t z = t A = t B = t C = t D = t E = t F = t H = t I = t J = t K = t"),
        "too many values");
}

TEST(ParseSettings, ATableThatHoldsItselfIsNoValue)
{
    EXPECT_EQ(GroupOf("G = {} G.G = G").at("G"), LxCSettingsEntry());
}

TEST(ParseSettings, ChangesToTheAllowedFunctionsEndWithTheText)
{
    GroupOf("math.pi = 3 G = { pi = math.pi }");
    EXPECT_EQ(GroupOf("G = { three = math.pi < 3.1 }").at("three"), LxCSettingsEntry(false));
}

TEST(FormatSettings, TextGivesTheSameValuesBack)
{
    const LxCSettingsGroup group = {
        {"a", true},
        {"b", false},
        {"c", -5LL},
        {"d", std::numeric_limits<long long>::min()},
        {"e", std::numeric_limits<long long>::max()},
        {"f", 2.0},
        {"g", -1.7976931348623157e308},
        {"h", 5e-324},
        {"i", std::numeric_limits<double>::infinity()},
        {"j", -std::numeric_limits<double>::infinity()},
        {"k", "\"quoted\" \\ \x7F\r\n\t\0001 \xC3\xA4 \xFF ]] --"s},
        {"l", std::string()},
    };
    EXPECT_EQ(GroupOf(FormatSettings("G", group)), group);
}

TEST(FormatSettings, LeavesOutWhatIsNoValue)
{
    EXPECT_EQ(FormatSettings("G", {{"a", LxCSettingsEntry()}, {"b", 1LL}}), "G = {\n    b = 1,\n}\n");
}

} // namespace
} // namespace LxCV
