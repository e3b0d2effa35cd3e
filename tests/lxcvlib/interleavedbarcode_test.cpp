// Tests of the barcode reader.
#include "interleavedbarcode.h"

#include <gtest/gtest.h>

#include <array>
#include <random>
#include <string>
#include <vector>

namespace LxCV {
namespace {

using InterleavedBarcode::Decode;
using InterleavedBarcode::GetPattern;

constexpr unsigned char kSpace = 1;
constexpr unsigned char kBar = 2;

/// The symbology's definition: the five elements weigh 1, 2, 4, 7 and 0, the two wide ones add up to the digit, and
/// 0 is 4 + 7.
std::string DigitElements(int digit)
{
    constexpr std::array<int, 5> weights = {1, 2, 4, 7, 0};
    for (std::size_t i = 0; i < 5; ++i) {
        for (std::size_t j = i + 1; j < 5; ++j) {
            if (weights[i] + weights[j] == (digit == 0 ? 11 : digit)) {
                std::string elements(5, 'n');
                elements[i] = elements[j] = 'w';
                return elements;
            }
        }
    }
    return {};
}

std::string PairElements(int first, int second)
{
    const std::string bars = DigitElements(first);
    const std::string spaces = DigitElements(second);
    std::string elements;
    for (std::size_t i = 0; i < bars.size(); ++i) {
        elements += bars[i];
        elements += spaces[i];
    }
    return elements;
}

/// A line of pixels: `quiet` of them before the code and behind it, then bars and spaces in turn.
std::vector<unsigned char> Draw(const std::string& elements, std::size_t quietBefore, std::size_t quietBehind,
                                std::size_t narrow = 12, std::size_t wide = 30)
{
    std::vector<unsigned char> line(quietBefore, kSpace);
    unsigned char value = kBar;
    for (const char element : elements) {
        line.insert(line.end(), element == 'w' ? wide : narrow, value);
        value = value == kBar ? kSpace : kBar;
    }
    line.insert(line.end(), quietBehind, kSpace);
    line.push_back(0);
    return line;
}

TEST(InterleavedBarcode, DecodesEveryPairOfDigits)
{
    for (int first = 0; first < 10; ++first) {
        for (int second = 0; second < 10; ++second) {
            EXPECT_EQ(Decode(PairElements(first, second)), std::to_string(first) + std::to_string(second));
        }
    }
}

TEST(InterleavedBarcode, DecodesNothingButTheHundredPairs)
{
    int decoded = 0;
    for (unsigned int bits = 0; bits < 1024; ++bits) {
        std::string group;
        for (unsigned int i = 0; i < 10; ++i) {
            group += (bits >> i & 1U) != 0 ? 'w' : 'n';
        }
        decoded += Decode(group).empty() ? 0 : 1;
    }
    EXPECT_EQ(decoded, 100);
}

TEST(InterleavedBarcode, KnownGroups)
{
    EXPECT_EQ(Decode("nnnnwwwwnn"), "00");
    EXPECT_EQ(Decode("nwnnwnwnnw"), "01");
    EXPECT_EQ(Decode("nnwwnnwwnn"), "99");
}

TEST(InterleavedBarcode, NineLettersAreNoDigits)
{
    EXPECT_EQ(Decode("nnnnwwwwn"), "");
    EXPECT_EQ(Decode(""), "");
}

TEST(InterleavedBarcode, LettersBehindTheLastWholeGroupArePassedOver)
{
    EXPECT_EQ(Decode(PairElements(4, 2) + "nnnnwwwwn"), "42");
}

TEST(InterleavedBarcode, AGroupThatIsNoCodeAppendsNothing)
{
    EXPECT_EQ(Decode(PairElements(1, 2) + "wwwwwwwwww" + PairElements(3, 4)), "1234");
    EXPECT_EQ(Decode("NNNNWWWWNN"), "");
    EXPECT_EQ(Decode(std::string(10, '\0') + PairElements(5, 6)), "56");
}

TEST(InterleavedBarcode, ReadsWhatWasDrawn)
{
    const std::string digits = PairElements(0, 7) + PairElements(3, 9);
    EXPECT_EQ(GetPattern(Draw("nnnn" + digits + "wnn", 50, 0).data()), digits);
    EXPECT_EQ(Decode(GetPattern(Draw("nnnn" + digits + "wnn", 50, 0).data())), "0739");
}

TEST(InterleavedBarcode, ALineMayBeginWithTheFirstBar)
{
    const std::string digits = PairElements(8, 1);
    EXPECT_EQ(GetPattern(Draw("nnnn" + digits + "wnn", 0, 0).data()), digits);
}

TEST(InterleavedBarcode, AQuietZoneBehindTheCodeIsOneMoreElement)
{
    const std::string digits = PairElements(8, 1);
    const std::string pattern = GetPattern(Draw("nnnn" + digits + "wnn", 50, 50).data());
    EXPECT_EQ(pattern, digits + "w");
    EXPECT_EQ(Decode(pattern), "81");
}

TEST(InterleavedBarcode, ThirtyPixelsAreWide)
{
    const std::string code = "nnnn" + PairElements(6, 5) + "wnn";
    EXPECT_EQ(Decode(GetPattern(Draw(code, 5, 5, 29, 30).data())), "65");
    EXPECT_EQ(Decode(GetPattern(Draw(code, 5, 5, 1, 100000).data())), "65");
    EXPECT_EQ(Decode(GetPattern(Draw(code, 5, 5, 10, 29).data())), "");
}

TEST(InterleavedBarcode, StartAndStopCodeAreNotLookedAt)
{
    EXPECT_EQ(Decode(GetPattern(Draw("wwww" + PairElements(2, 3) + "nww", 5, 0).data())), "23");
}

TEST(InterleavedBarcode, EveryChangeOfValueBeginsAnElement)
{
    // Quiet zone, then seven elements of six values: start and stop code without anything between them.
    std::vector<unsigned char> line = {1, 1, 9, 8, 255, 7, 1, 6, 9};
    line.push_back(0);
    EXPECT_EQ(GetPattern(line.data()), "");
    line.insert(line.begin() + 2, 40, 77);
    EXPECT_EQ(GetPattern(line.data()), "n");
    line.insert(line.begin() + 2, {5, 6, 5, 6});
    EXPECT_EQ(GetPattern(line.data()), "wnnnn");
}

TEST(InterleavedBarcode, LinesTooShortForACodeGiveAnEmptyPattern)
{
    EXPECT_EQ(GetPattern(nullptr), "");
    for (std::size_t elements = 0; elements <= 7; ++elements) {
        EXPECT_EQ(GetPattern(Draw(std::string(elements, 'w'), 3, 0).data()), "") << elements;
    }
    EXPECT_EQ(GetPattern(Draw("", 0, 0).data()), "");
}

TEST(InterleavedBarcode, RandomNumbersComeBack)
{
    std::mt19937 random(20);
    for (int trial = 0; trial < 1000; ++trial) {
        std::string number;
        std::string code = "nnnn";
        for (unsigned int pairs = random() % 12; pairs > 0; --pairs) {
            const int first = static_cast<int>(random() % 10);
            const int second = static_cast<int>(random() % 10);
            number += std::to_string(first) + std::to_string(second);
            code += PairElements(first, second);
        }
        const std::size_t narrow = 1 + random() % 29;
        const std::size_t wide = 30 + random() % 60;
        const auto line = Draw(code + "wnn", random() % 80, random() % 80, narrow, wide);
        ASSERT_EQ(Decode(GetPattern(line.data())), number) << "trial " << trial;
    }
}

} // namespace
} // namespace LxCV
