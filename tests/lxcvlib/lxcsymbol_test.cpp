#include "lxcsymbol.h"

#include <gtest/gtest.h>

#include <array>
#include <random>
#include <string>
#include <vector>

namespace LxCV {
namespace {

using Color = LxCColorValueFloat;

const std::string c_sPattern64 = "2163050307412525052743436347214303614703416165612707056507256365";
const std::string c_sPattern32 = "50305250125214121610343014341070";

LxCSymbol EdgeSymbol(int from, int to)
{
    LxCSymbol symbol;
    symbol.ConstructExtSym(from, to);
    return symbol;
}

/// Rising and falling bit of a colour channel: 0 blue, 1 green, 2 red.
constexpr std::array<std::uint32_t, 3> c_aRising = {2, 8, 32};
constexpr std::array<std::uint32_t, 3> c_aFalling = {1, 4, 16};

enum class Transition
{
    eNone,
    eFalling,
    eRising,
    eBoth
};

Transition TransitionOf(std::uint32_t symbol, int channel)
{
    const bool rises = (symbol & c_aRising[channel]) != 0;
    const bool falls = (symbol & c_aFalling[channel]) != 0;
    return rises && falls ? Transition::eBoth
           : rises        ? Transition::eRising
           : falls        ? Transition::eFalling
                          : Transition::eNone;
}

/// The on/off sequence of one channel over four stripes by trying all sixteen: the only one that makes these
/// transitions, first edge first, as a decimal number; 0 if there is none, or if nothing tells on from off.
int SimulateChannel(Transition first, Transition second, Transition third)
{
    const std::array<Transition, 3> seen = {first, second, third};
    int matches = 0;
    int sequence = 0;
    for (int levels = 0; levels < 16; ++levels) {
        const auto on = [levels](int stripe) { return (levels >> stripe & 1) != 0; };
        bool same = true;
        for (int edge = 0; edge < 3; ++edge) {
            const Transition made = on(edge) == on(edge + 1) ? Transition::eNone
                                    : on(edge)               ? Transition::eFalling
                                                             : Transition::eRising;
            same = same && made == seen[edge];
        }
        if (same) {
            ++matches;
            sequence = on(0) * 1000 + on(1) * 100 + on(2) * 10 + on(3);
        }
    }
    return matches == 1 ? sequence : 0;
}

TEST(LxCSymbol, IsOneWord)
{
    EXPECT_EQ(sizeof(LxCSymbol), 4U);
    EXPECT_EQ(LxCSymbol().GetValue(), 0U);
    LxCSymbol symbol(63);
    EXPECT_EQ(LxCSymbol(symbol).GetValue(), 63U);
    symbol.Clear();
    EXPECT_EQ(symbol.GetValue(), 0U);
}

TEST(LxCSymbol, EncodesOneTransition)
{
    LxCSymbol symbol;
    symbol.Encode(Color::eRed, true);
    EXPECT_EQ(symbol.GetValue(), static_cast<std::uint32_t>(LxCSymbol::m_scaiIncRed));
    EXPECT_EQ(LxCSymbol::m_scaiIncRed, 32);
    symbol.Encode(Color::eRed, false);
    EXPECT_EQ(symbol.GetValue(), static_cast<std::uint32_t>(LxCSymbol::m_scaiDecRed));
    EXPECT_EQ(LxCSymbol::m_scaiDecRed, 16);
    symbol.Encode(Color::eGreen, true);
    EXPECT_EQ(symbol.GetValue(), static_cast<std::uint32_t>(LxCSymbol::m_scaiIncGreen));
    EXPECT_EQ(LxCSymbol::m_scaiIncGreen, 8);
    symbol.Encode(Color::eGreen, false);
    EXPECT_EQ(symbol.GetValue(), static_cast<std::uint32_t>(LxCSymbol::m_scaiDecGreen));
    EXPECT_EQ(LxCSymbol::m_scaiDecGreen, 4);
    symbol.Encode(Color::eBlue, true);
    EXPECT_EQ(symbol.GetValue(), static_cast<std::uint32_t>(LxCSymbol::m_scaiIncBlue));
    EXPECT_EQ(LxCSymbol::m_scaiIncBlue, 2);
    symbol.Encode(Color::eBlue, false);
    EXPECT_EQ(symbol.GetValue(), static_cast<std::uint32_t>(LxCSymbol::m_scaiDecBlue));
    EXPECT_EQ(LxCSymbol::m_scaiDecBlue, 1);
}

TEST(LxCSymbol, EncodingAnotherColourGivesTheEmptySymbol)
{
    LxCSymbol symbol(7);
    symbol.Encode(static_cast<Color::EColor>(3), true);
    EXPECT_EQ(symbol.GetValue(), 0U);
    symbol = LxCSymbol(7);
    symbol.Encode(static_cast<Color::EColor>(-1), false);
    EXPECT_EQ(symbol.GetValue(), 0U);
}

TEST(LxCSymbol, CombiningAddsWords)
{
    LxCSymbol symbol(2);
    symbol.CombineWith(LxCSymbol(4));
    EXPECT_EQ(symbol.GetValue(), 6U);
    symbol.CombineWith(LxCSymbol(2)); // not an OR
    EXPECT_EQ(symbol.GetValue(), 8U);
    symbol = LxCSymbol(0xFFFFFFFFU);
    symbol.CombineWith(LxCSymbol(3));
    EXPECT_EQ(symbol.GetValue(), 2U);
}

TEST(LxCSymbol, EdgeOfTwoColoursHoldsTheChangingChannels)
{
    EXPECT_EQ(EdgeSymbol(2, 1).GetValue(), 6U);  // blue rises, green falls
    EXPECT_EQ(EdgeSymbol(0, 7).GetValue(), 42U); // all rise: 32 + 8 + 2
    EXPECT_EQ(EdgeSymbol(7, 0).GetValue(), 21U); // all fall: 16 + 4 + 1
    for (int from = 0; from < 8; ++from) {
        for (int to = 0; to < 8; ++to) {
            std::uint32_t expected = 0;
            for (int channel = 0; channel < 3; ++channel) {
                const bool before = (from >> channel) % 2 == 1;
                const bool after = (to >> channel) % 2 == 1;
                expected += before == after ? 0 : after ? c_aRising[channel] : c_aFalling[channel];
            }
            EXPECT_EQ(EdgeSymbol(from, to).GetValue(), expected) << from << to;
        }
    }
}

TEST(LxCSymbol, AllExtremasArePresentIsTheSubsetRelation)
{
    for (std::uint32_t a = 0; a < 64; ++a) {
        for (std::uint32_t b = 0; b < 64; ++b) {
            bool subset = true;
            for (int bit = 0; bit < 6; ++bit) {
                subset = subset && ((a >> bit) % 2 == 0 || (b >> bit) % 2 == 1);
            }
            ASSERT_EQ(LxCSymbol::AllExtremasArePresent(LxCSymbol(a), LxCSymbol(b)), subset) << a << " " << b;
        }
    }
}

TEST(LxCSymbol, ComparisonWeighsBlueSixTimes)
{
    EXPECT_EQ(LxCSymbol::CompareExt(LxCSymbol(0), LxCSymbol(1)), 6);
    EXPECT_EQ(LxCSymbol::CompareExt(LxCSymbol(0), LxCSymbol(3)), 12);
    EXPECT_EQ(LxCSymbol::CompareExt(LxCSymbol(0), LxCSymbol(4)), 1);
    EXPECT_EQ(LxCSymbol::CompareExt(LxCSymbol(0), LxCSymbol(12)), 4);
    EXPECT_EQ(LxCSymbol::CompareExt(LxCSymbol(0), LxCSymbol(32)), 1);
    EXPECT_EQ(LxCSymbol::CompareExt(LxCSymbol(0), LxCSymbol(48)), 4);
    for (std::uint32_t a = 0; a < 64; ++a) {
        for (std::uint32_t b = 0; b < 64; ++b) {
            std::array<int, 3> count = {0, 0, 0};
            for (int bit = 0; bit < 6; ++bit) {
                count[bit / 2] += (a >> bit) % 2 != (b >> bit) % 2;
            }
            const std::array<int, 3> weight = {0, 1, 4};
            const int expected = 6 * count[0] + weight[count[1]] + weight[count[2]];
            ASSERT_EQ(LxCSymbol::CompareExt(LxCSymbol(a), LxCSymbol(b)), expected) << a << " " << b;
        }
    }
}

TEST(LxCSymbol, TextListsChannelsInTheOrderBlueGreenRed)
{
    EXPECT_EQ(LxCSymbol(0).ToString(), "");
    EXPECT_EQ(LxCSymbol(6).ToString(), "B+G-");
    EXPECT_EQ(LxCSymbol(3).ToString(), "B-");
    EXPECT_EQ(LxCSymbol(12).ToString(), "G-");
    EXPECT_EQ(LxCSymbol(48).ToString(), "R-");
    EXPECT_EQ(LxCSymbol(42).ToString(), "B+G+R+");
    EXPECT_EQ(LxCSymbol(21).ToString(), "B-G-R-");
}

TEST(LxCSymbol, CodeWordOfEmptySymbolsIsZero)
{
    const LxCSymbol none[3];
    EXPECT_EQ(LxCSymbol::DetCodeWord(none), 0);
}

TEST(LxCSymbol, CodeWordTakesTheLastEdgeFirst)
{
    const LxCSymbol symbols[3] = {EdgeSymbol(6, 3), EdgeSymbol(1, 6), EdgeSymbol(2, 1)};
    EXPECT_EQ(LxCSymbol::DetCodeWord(symbols), 2163);
}

TEST(LxCSymbol, AnImpossibleChannelDropsItsOwnTermOnly)
{
    // Blue falls twice, green falls at the first edge, red rises at the last.
    const LxCSymbol symbols[3] = {LxCSymbol(32), LxCSymbol(1), LxCSymbol(1 + 4)};
    EXPECT_EQ(LxCSymbol::DetCodeWord(symbols), 2 * 1000 + 4 * 1);
}

TEST(LxCSymbol, CodeWordMatchesTheSimulationForAllTriples)
{
    // The sequence of each channel by the transitions at the first, second and third edge.
    int sequence[4][4][4];
    for (int first = 0; first < 4; ++first) {
        for (int second = 0; second < 4; ++second) {
            for (int third = 0; third < 4; ++third) {
                sequence[first][second][third] =
                    SimulateChannel(static_cast<Transition>(first), static_cast<Transition>(second),
                                    static_cast<Transition>(third));
            }
        }
    }
    for (std::uint32_t first = 0; first < 64; ++first) {
        for (std::uint32_t second = 0; second < 64; ++second) {
            for (std::uint32_t third = 0; third < 64; ++third) {
                int expected = 0;
                for (int channel = 0; channel < 3; ++channel) {
                    const auto of = [channel](std::uint32_t symbol) {
                        return static_cast<int>(TransitionOf(symbol, channel));
                    };
                    expected += sequence[of(first)][of(second)][of(third)] << channel;
                }
                const LxCSymbol symbols[3] = {LxCSymbol(third), LxCSymbol(second), LxCSymbol(first)};
                ASSERT_EQ(LxCSymbol::DetCodeWord(symbols), expected)
                    << first << " " << second << " " << third;
            }
        }
    }
}

TEST(LxCSymbol, CodeWordIgnoresBitsAboveTheSymbol)
{
    std::mt19937 random(7);
    std::uniform_int_distribution<std::uint32_t> word;
    for (int i = 0; i < 1000; ++i) {
        const std::array<std::uint32_t, 3> words = {word(random), word(random), word(random)};
        const LxCSymbol whole[3] = {LxCSymbol(words[0]), LxCSymbol(words[1]), LxCSymbol(words[2])};
        const LxCSymbol masked[3] = {LxCSymbol(words[0] & 63), LxCSymbol(words[1] & 63),
                                     LxCSymbol(words[2] & 63)};
        ASSERT_EQ(LxCSymbol::DetCodeWord(whole), LxCSymbol::DetCodeWord(masked));
    }
}

TEST(LxCSymbol, CodeWordsOfAllPatternWindowsAreTheirDigits)
{
    for (const std::string& pattern : {c_sPattern64, c_sPattern32}) {
        for (std::size_t i = 0; i < pattern.size(); ++i) {
            const auto digit = [&](std::size_t k) { return pattern[(i + k) % pattern.size()] - '0'; };
            const LxCSymbol symbols[3] = {EdgeSymbol(digit(2), digit(3)), EdgeSymbol(digit(1), digit(2)),
                                          EdgeSymbol(digit(0), digit(1))};
            EXPECT_EQ(LxCSymbol::DetCodeWord(symbols),
                      1000 * digit(0) + 100 * digit(1) + 10 * digit(2) + digit(3))
                << pattern << " at " << i;
        }
    }
}

} // namespace
} // namespace LxCV
