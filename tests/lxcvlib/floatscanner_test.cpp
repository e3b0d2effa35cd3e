#include "floatscanner.h"

#include <gtest/gtest.h>

#include <array>
#include <clocale>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

namespace LxCV {
namespace {

constexpr float c_fUntouched = -99.0F;

std::vector<float> Scan(const std::string& text)
{
    std::array<float, 3> values{c_fUntouched, c_fUntouched, c_fUntouched};
    const std::size_t count = ScanFloats(text, values);
    EXPECT_LE(count, values.size());
    for (std::size_t i = count; i < values.size(); ++i) {
        EXPECT_EQ(values[i], c_fUntouched);
    }
    return {values.begin(), values.begin() + static_cast<std::ptrdiff_t>(count)};
}

using Floats = std::vector<float>;

TEST(ScanFloats, TakesNumbersBetweenAnyWhiteSpace)
{
    EXPECT_EQ(Scan("1 -2.5 +3e2"), (Floats{1.0F, -2.5F, 300.0F}));
    EXPECT_EQ(Scan(" \t1\v\f2\r\n3"), (Floats{1.0F, 2.0F, 3.0F}));
}

TEST(ScanFloats, StopsAtTheFirstThatIsNoNumber)
{
    EXPECT_EQ(Scan("1 2 x"), (Floats{1.0F, 2.0F}));
    EXPECT_EQ(Scan("1,2 3"), (Floats{1.0F}));
    EXPECT_EQ(Scan("x 1"), Floats{});
    EXPECT_EQ(Scan(""), Floats{});
    EXPECT_EQ(Scan("  "), Floats{});
}

TEST(ScanFloats, LeavesWhatStandsBehindTheNumbersThatAreWanted)
{
    EXPECT_EQ(Scan("1 2 3 4 more"), (Floats{1.0F, 2.0F, 3.0F}));
    EXPECT_EQ(Scan("1 2 3more"), (Floats{1.0F, 2.0F, 3.0F}));
}

TEST(ScanFloats, NumbersNeedNoSpaceWhereTheNextCannotBelongToThem)
{
    // Each number takes as many characters as can be one.
    EXPECT_EQ(Scan("1-2+3"), (Floats{1.0F, -2.0F, 3.0F}));
    EXPECT_EQ(Scan("1.5.25"), (Floats{1.5F, 0.25F}));
}

TEST(ScanFloats, ANumberThatBreaksOffIsNone)
{
    EXPECT_EQ(Scan("1 - 3"), Floats{1.0F});
    EXPECT_EQ(Scan("1 infi"), Floats{1.0F});
}

TEST(ScanFloats, TakesHexadecimalInfiniteAndUndefinedNumbers)
{
    constexpr float c_fInfinity = std::numeric_limits<float>::infinity();
    EXPECT_EQ(Scan("0x10 -0x1.8p1 0xA"), (Floats{16.0F, -3.0F, 10.0F}));
    EXPECT_EQ(Scan("inf -Infinity INF"), (Floats{c_fInfinity, -c_fInfinity, c_fInfinity}));
    const Floats undefined = Scan("nan");
    ASSERT_EQ(undefined.size(), 1U);
    EXPECT_TRUE(std::isnan(undefined[0]));
}

TEST(ScanFloats, ANumberBeyondFloatIsInfiniteAndATinyOneZero)
{
    EXPECT_EQ(Scan("1e39 -1e999 1e-99"), (Floats{std::numeric_limits<float>::infinity(),
                                                 -std::numeric_limits<float>::infinity(), 0.0F}));
}

TEST(ScanFloats, RoundsToTheNearestFloat)
{
    // 2^24 + 1 lies between two floats and goes to the even one; a double between would not change that.
    EXPECT_EQ(Scan("16777217 0.1 16777219"), (Floats{16777216.0F, 0.1F, 16777220.0F}));
}

TEST(ScanFloats, ReadsUpToTheFirstNul)
{
    EXPECT_EQ(Scan(std::string("1 2\0 3", 6)), (Floats{1.0F, 2.0F}));
}

TEST(ScanFloats, TheLocaleOfTheProcessDoesNotMatter)
{
    const std::string before = std::setlocale(LC_ALL, nullptr);
    for (const char* const name : {"de_DE.UTF-8", "de_DE", "fr_FR.UTF-8", "fr_FR"}) {
        if (std::setlocale(LC_ALL, name) != nullptr) {
            break;
        }
    }
    EXPECT_EQ(Scan("1.5 2,5"), (Floats{1.5F, 2.0F}));
    std::setlocale(LC_ALL, before.c_str());
}

TEST(ScanFloats, LeavesTheLocaleOfTheThreadAsItWas)
{
    const std::string before = std::setlocale(LC_ALL, nullptr);
    Scan("1");
    EXPECT_EQ(std::setlocale(LC_ALL, nullptr), before);
}

} // namespace
} // namespace LxCV
