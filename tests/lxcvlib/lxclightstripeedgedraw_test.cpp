#include "lxclightstripeedge.h"

#include "tests/lxcvlib/edgetestsupport.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <map>
#include <random>
#include <utility>
#include <vector>

namespace LxCV {
namespace {

using TestSupport::CEdgeImage;
using TestSupport::CExtendedTrace;

constexpr int c_iTracedId = 99;
constexpr std::uint32_t c_uiGap = 60000;

/// Pixel (column, row) and its fraction.
using Drawing = std::map<std::pair<int, int>, int>;

LxCLightStripeEdgeSinglePixel Pattern()
{
    LxCLightStripeEdgeSinglePixel pattern;
    pattern.EncodeTracedLSEdgeInfo(c_iTracedId, 0);
    pattern.SetSymbolQuality(21);
    return pattern;
}

/// An edge of given arms: entries going left from the seed, the seed first, and entries going right.
class CArms : public LxCLightStripeEdge
{
public:
    CArms(int seedCol, const std::vector<std::uint32_t>& left, const std::vector<std::uint32_t>& right)
    {
        for (const auto* arm : {&left, &right}) {
            for (const std::uint32_t word : *arm) {
                m_vEntries.emplace_back(word);
            }
        }
        SetExtDataBuffer(m_vEntries.data());
        m_iSeedCol = seedCol;
        m_iLeftCount = static_cast<int>(left.size());
        m_iRightCount = static_cast<int>(right.size());
    }
    CArms(const CArms&) = delete;
    CArms& operator=(const CArms&) = delete;

    Drawing Draw(int width, int height, int throwAway = 0) const
    {
        CEdgeImage image(width, height);
        DrawWInterpol(image.pixels.data(), Pattern(), width, throwAway);
        Drawing drawing;
        for (int row = 0; row < height; ++row) {
            for (int col = 0; col < width; ++col) {
                const LxCLightStripeEdgeSinglePixel pixel = image.At(col, row);
                if (pixel.HasEntry()) {
                    EXPECT_EQ(pixel.GetWord() & ~63U, Pattern().GetWord())
                        << "the template's other bits stay";
                    drawing[{col, row}] = pixel.GetSubpixelInt();
                }
            }
        }
        return drawing;
    }

private:
    std::vector<LxCDataBufferEntry> m_vEntries;
};

constexpr std::uint32_t At(std::uint32_t row, std::uint32_t fraction)
{
    return row * 64 + fraction;
}

TEST(LxCLightStripeEdge, DrawsEveryEntryInItsColumn)
{
    const CArms edge(10, {At(5, 1), At(6, 2), At(7, 3)}, {At(4, 4), At(3, 5)});
    EXPECT_EQ(edge.Draw(20, 10),
              (Drawing{{{10, 5}, 1}, {{9, 6}, 2}, {{8, 7}, 3}, {{11, 4}, 4}, {{12, 3}, 5}}));
}

TEST(LxCLightStripeEdge, LeavesGapsOpenWithoutExtendedTrace)
{
    const CExtendedTrace extended(false);
    const CArms edge(10, {At(5, 1), c_uiGap, At(7, 3)}, {At(4, 4), c_uiGap, c_uiGap, At(3, 5)});
    EXPECT_EQ(edge.Draw(20, 10), (Drawing{{{10, 5}, 1}, {{8, 7}, 3}, {{11, 4}, 4}, {{14, 3}, 5}}));
}

TEST(LxCLightStripeEdge, ClosesAGapOfOneColumnByTheMean)
{
    const CExtendedTrace extended(true);
    // The words 321 and 451 have the mean 386, 6 rows and 2/64; 260 and 197 have 228, 3 rows and 36/64.
    const CArms edge(10, {At(5, 1), c_uiGap, At(7, 3)}, {At(4, 4), c_uiGap, At(3, 5)});
    EXPECT_EQ(edge.Draw(20, 10),
              (Drawing{{{10, 5}, 1}, {{9, 6}, 2}, {{8, 7}, 3}, {{11, 4}, 4}, {{12, 3}, 36}, {{13, 3}, 5}}));
}

TEST(LxCLightStripeEdge, ClosesAGapOfTwoColumnsByOneMean)
{
    const CExtendedTrace extended(true);
    const CArms edge(10, {At(5, 1), c_uiGap, c_uiGap, At(7, 3)}, {At(4, 4), c_uiGap, c_uiGap, At(3, 5)});
    EXPECT_EQ(edge.Draw(20, 10), (Drawing{{{10, 5}, 1},
                                          {{9, 6}, 2},
                                          {{8, 6}, 2},
                                          {{7, 7}, 3},
                                          {{11, 4}, 4},
                                          {{12, 3}, 36},
                                          {{13, 3}, 36},
                                          {{14, 3}, 5}}));
}

TEST(LxCLightStripeEdge, LeavesAGapOfThreeColumnsOpen)
{
    const CExtendedTrace extended(true);
    const CArms edge(10, {At(5, 1), c_uiGap, c_uiGap, c_uiGap, At(7, 3)},
                     {At(4, 4), c_uiGap, c_uiGap, c_uiGap, At(3, 5)});
    EXPECT_EQ(edge.Draw(20, 10), (Drawing{{{10, 5}, 1}, {{6, 7}, 3}, {{11, 4}, 4}, {{15, 3}, 5}}));
}

TEST(LxCLightStripeEdge, LeavesAGapRightOfTheSeedOpen)
{
    const CExtendedTrace extended(true);
    const CArms one(10, {At(5, 1), At(9, 9)}, {c_uiGap, At(4, 4)});
    EXPECT_EQ(one.Draw(20, 10), (Drawing{{{10, 5}, 1}, {{9, 9}, 9}, {{12, 4}, 4}}));
    const CArms two(10, {At(5, 1), At(9, 9)}, {c_uiGap, c_uiGap, At(4, 4)});
    EXPECT_EQ(two.Draw(20, 10), (Drawing{{{10, 5}, 1}, {{9, 9}, 9}, {{13, 4}, 4}}));
}

TEST(LxCLightStripeEdge, ThrowsPixelsAwayAtEitherEnd)
{
    const CArms edge(10, {At(5, 1), At(6, 2), At(7, 3)}, {At(4, 4), At(3, 5)});
    EXPECT_EQ(edge.Draw(20, 10, 1), (Drawing{{{10, 5}, 1}, {{9, 6}, 2}, {{11, 4}, 4}}));
    EXPECT_EQ(edge.Draw(20, 10, 2), (Drawing{{{10, 5}, 1}}));
    EXPECT_TRUE(edge.Draw(20, 10, 3).empty());
    EXPECT_TRUE(edge.Draw(20, 10, std::numeric_limits<int>::max()).empty());
}

TEST(LxCLightStripeEdge, ThrowsNoNegativeNumberOfPixelsAway)
{
    const CArms edge(10, {At(5, 1), At(6, 2)}, {At(4, 4)});
    for (const int throwAway : {-1, -3, std::numeric_limits<int>::min()}) {
        EXPECT_EQ(edge.Draw(20, 10, throwAway), edge.Draw(20, 10, 0)) << throwAway;
    }
}

TEST(LxCLightStripeEdge, DrawsNoColumnBesideTheImage)
{
    const CExtendedTrace extended(true);
    const CArms left(1, {At(5, 1), At(5, 2), c_uiGap, At(5, 3), At(5, 4)}, {});
    EXPECT_EQ(left.Draw(4, 10), (Drawing{{{1, 5}, 1}, {{0, 5}, 2}}));
    const CArms right(2, {At(5, 1)}, {At(5, 2), c_uiGap, At(5, 3)});
    EXPECT_EQ(right.Draw(4, 10), (Drawing{{{2, 5}, 1}, {{3, 5}, 2}}));
    for (const int seed : {std::numeric_limits<int>::min(), -7, 30, std::numeric_limits<int>::max()}) {
        const CArms outside(seed, {At(5, 1), At(5, 2)}, {At(5, 3)});
        EXPECT_TRUE(outside.Draw(20, 10).empty()) << seed;
    }
}

TEST(LxCLightStripeEdge, DrawsNothingWithoutImageOrEntries)
{
    const CArms edge(1, {At(0, 1)}, {});
    edge.DrawWInterpol(nullptr, Pattern(), 4, 0);
    CEdgeImage image(4, 4);
    edge.DrawWInterpol(image.pixels.data(), Pattern(), 0, 0);
    edge.DrawWInterpol(image.pixels.data(), Pattern(), -4, 0);
    LxCLightStripeEdge().DrawWInterpol(image.pixels.data(), Pattern(), 4, 0);
    for (const LxCLightStripeEdgeSinglePixel& pixel : image.pixels) {
        EXPECT_FALSE(pixel.HasEntry());
    }
}

/// What of one arm is to be seen: its entries by distance from its begin, and the means of what encloses runs of
/// one or two gaps.
std::map<int, std::uint32_t> VisibleOf(std::vector<std::uint32_t> arm, int throwAway, bool closeGaps)
{
    const int length = static_cast<int>(arm.size()) - throwAway;
    std::map<int, std::uint32_t> visible;
    for (int i = 0; i < length; ++i) {
        if (arm[static_cast<std::size_t>(i)] != c_uiGap) {
            visible[i] = arm[static_cast<std::size_t>(i)];
        }
    }
    const auto entries = visible;
    for (auto next = entries.begin(); closeGaps && next != entries.end(); ++next) {
        if (next == entries.begin()) {
            continue;
        }
        const auto before = std::prev(next);
        const int gaps = next->first - before->first - 1;
        for (int i = before->first + 1; gaps <= 2 && i < next->first; ++i) {
            visible[i] = (before->second + next->second) / 2;
        }
    }
    return visible;
}

std::vector<std::uint32_t> RandomArm(std::mt19937& random, bool withSeed, int height)
{
    std::vector<std::uint32_t> arm(random() % 10);
    for (std::uint32_t& word : arm) {
        word = random() % 3 == 0
                   ? c_uiGap
                   : static_cast<std::uint32_t>(random()) % (64U * static_cast<unsigned>(height));
    }
    if (withSeed) {
        arm.insert(arm.begin(), At(1, 1));
    }
    return arm;
}

TEST(LxCLightStripeEdge, DrawsRandomEdgesAsTheirArmsTell)
{
    constexpr int c_iWidth = 12;
    constexpr int c_iHeight = 5;
    std::mt19937 random(11);
    for (int trial = 0; trial < 6000; ++trial) {
        const CExtendedTrace extended(trial % 2 == 0);
        const int seed = static_cast<int>(random() % c_iWidth);
        const auto left = RandomArm(random, true, c_iHeight);
        const auto right = RandomArm(random, false, c_iHeight);
        const int throwAway = static_cast<int>(random() % 4);
        Drawing expected;
        const auto add = [&expected](int col, std::uint32_t word) {
            if (col >= 0 && col < c_iWidth) {
                expected[{col, static_cast<int>(word / 64)}] = static_cast<int>(word % 64);
            }
        };
        for (const auto& [i, word] : VisibleOf(left, throwAway, trial % 2 == 0)) {
            add(seed - i, word);
        }
        for (const auto& [i, word] : VisibleOf(right, throwAway, trial % 2 == 0)) {
            add(seed + 1 + i, word);
        }
        ASSERT_EQ(CArms(seed, left, right).Draw(c_iWidth, c_iHeight, throwAway), expected) << trial;
    }
}

} // namespace
} // namespace LxCV
