#include "scanner/decoder/edgerepair.h"

#include "tests/lxcvlib/allocationcount.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <stdexcept>
#include <utility>
#include <vector>

namespace decoder {
namespace {

using LxCV::CCTImage;
using LxCV::LxCLightStripeEdgeSinglePixel;

constexpr int kWidth = 30;
constexpr int kHeight = 60;

CCTImage EmptyWords()
{
    CCTImage words(kWidth, kHeight, CCTImage::eIDT_INT32, true, nullptr);
    words.Clear();
    return words;
}

DecoderConfig Config(int columns, bool isUndercutFree = true)
{
    DecoderConfig config;
    LxCV::LxCAlgorithmConfig& preset = config.algorithm.GetActiveAlgorithmConfig();
    preset.m_bRepairEdges = true;
    preset.m_bRepairEdgesUndercutFree = isUndercutFree;
    preset.m_iMaxIpolGap = 10;
    config.Edges().m_iRepairEdgesMaxNumGaps = columns;
    config.traceRadius = 2;
    return config;
}

int WordOf(const EdgePixel& edge)
{
    const double whole = std::floor(edge.row);
    LxCLightStripeEdgeSinglePixel word;
    word.EncodeTracedLSEdgeInfo(edge.stripeEdge, static_cast<int>((edge.row - whole) * 64.0));
    return static_cast<int>(word.GetWord());
}

/// Traced edges: the pixels and the image.
struct Traced
{
    std::vector<EdgePixel> edges;
    CCTImage words = EmptyWords();

    Traced& Add(int number, int firstColumn, int lastColumn, double row, double rowsPerColumn = 0.0)
    {
        for (int column = firstColumn; column <= lastColumn; ++column) {
            const EdgePixel edge{column, row + rowsPerColumn * (column - firstColumn), number};
            edges.push_back(edge);
            words.GetInt32PixelFast(column, static_cast<int>(edge.row)) = WordOf(edge);
        }
        Sort();
        return *this;
    }

    void Sort()
    {
        std::ranges::sort(edges, {}, [](const EdgePixel& edge) {
            return std::pair{static_cast<int>(edge.row), edge.column};
        });
    }

    /// What repairing adds.
    std::vector<EdgePixel> Repair(const DecoderConfig& config)
    {
        const std::vector<EdgePixel> before = edges;
        EdgeRepair(config).Repair(words, edges);
        const auto place = [](const EdgePixel& edge) {
            return std::pair{static_cast<int>(edge.row), edge.column};
        };
        EXPECT_TRUE(std::ranges::is_sorted(edges, {}, place));
        std::vector<EdgePixel> added;
        std::ranges::copy_if(edges, std::back_inserter(added), [&before](const EdgePixel& edge) {
            return std::ranges::find(before, edge) == before.end();
        });
        EXPECT_EQ(added.size() + before.size(), edges.size());
        for (const EdgePixel& edge : added) {
            EXPECT_EQ(words.GetInt32PixelFast(edge.column, static_cast<int>(edge.row)), WordOf(edge));
        }
        return added;
    }
};

TEST(EdgeRepair, InterpolatesTheRowAcrossAGap)
{
    // From 20 + 32/64 at column 9 to 21 + 38/64 at column 12: 70/64 in three columns, 23.33 and 46.67 of them.
    Traced traced;
    traced.Add(40, 0, 9, 20.5).Add(40, 12, 20, 21.59375);
    const std::vector<EdgePixel> expected{{10, 20.0 + 55.0 / 64.0, 40}, {11, 21.0 + 15.0 / 64.0, 40}};
    EXPECT_EQ(traced.Repair(Config(2)), expected);
}

TEST(EdgeRepair, ClosesGapsUpToTheSmallerOfBothLimits)
{
    for (const auto& [ofEdges, ofPreset, longest] : {std::tuple{2, 10, 2},
                                                     {10, 10, 10},
                                                     {20, 10, 10},
                                                     {10, 3, 3},
                                                     {0, 10, 0},
                                                     {-1, 10, 0},
                                                     {10, 0, 0},
                                                     {10, std::numeric_limits<int>::min(), 0}}) {
        DecoderConfig config = Config(ofEdges);
        config.algorithm.GetActiveAlgorithmConfig().m_iMaxIpolGap = ofPreset;
        EXPECT_EQ(EdgeRepair(config).IsWanted(), longest > 0);
        for (int gap = 1; gap <= 12; ++gap) {
            Traced traced;
            traced.Add(7, 0, 8, 30.5).Add(7, 9 + gap, kWidth - 1, 30.5);
            EXPECT_EQ(traced.Repair(config).size(), gap <= longest ? static_cast<std::size_t>(gap) : 0U)
                << ofEdges << " " << ofPreset << " " << gap;
        }
    }
}

TEST(EdgeRepair, IsWantedWhereThePresetTellsIt)
{
    DecoderConfig config = Config(2);
    EXPECT_TRUE(EdgeRepair(config).IsWanted());
    config.algorithm.GetActiveAlgorithmConfig().m_bRepairEdges = false;
    EXPECT_FALSE(EdgeRepair(config).IsWanted());
    // data/settings.lua: RepairEdges is off and RepairEdgesMaxNumGaps 2, and the bare presets repair nothing.
    DecoderConfig defaults;
    EXPECT_FALSE(EdgeRepair(defaults).IsWanted());
    defaults.algorithm.GetActiveAlgorithmConfig().m_bRepairEdges = true;
    EXPECT_TRUE(EdgeRepair(defaults).IsWanted());
    defaults.algorithm.ActivateAlgorithmSettings(LxCV::LxCAlgorithmConfig::eS_Preset1);
    EXPECT_FALSE(EdgeRepair(defaults).IsWanted());
}

TEST(EdgeRepair, AnEdgeGoesAtMostTheTraceRadiusUpOrDownAColumn)
{
    // Two columns between are three steps: at most 3 * 2 rows.
    for (const double direction : {1.0, -1.0}) {
        for (const double step : {6.0, 6.015625}) {
            const double row = direction > 0.0 ? 5.0 : 50.0;
            Traced traced;
            traced.Add(9, 0, 8, row, 2.0 * direction)
                .Add(9, 11, 19, row + (16.0 + step) * direction, 2.0 * direction);
            EXPECT_EQ(traced.Repair(Config(2)).size(), step <= 6.0 ? 2U : 0U) << direction << " " << step;
        }
    }
}

TEST(EdgeRepair, ABridgeBendsByAtMostThreeEighthsOfARowAColumn)
{
    // Three columns on: 72/64 of a row. Before and behind, the edge is level or goes by 3/8 of a row a column.
    for (const double direction : {1.0, -1.0}) {
        for (const double step : {1.125, 1.140625}) {
            const std::size_t bridge = step <= 1.125 ? 2 : 0;
            Traced level;
            level.Add(9, 0, 8, 30.5).Add(9, 11, 20, 30.5 + step * direction);
            EXPECT_EQ(level.Repair(Config(2)).size(), bridge) << step;
            Traced before;
            before.Add(9, 0, 8, 27.5).Add(9, 11, 20, 27.5 + step * direction, 0.375 * direction);
            EXPECT_EQ(before.Repair(Config(2)).size(), bridge) << step;
            Traced behind;
            behind.Add(9, 0, 8, 27.5 - 3.0 * direction, 0.375 * direction)
                .Add(9, 11, 20, 27.5 + step * direction);
            EXPECT_EQ(behind.Repair(Config(2)).size(), bridge) << step;
        }
    }
}

TEST(EdgeRepair, AGapStaysOpenBesideAPieceOfFewerThanEightColumns)
{
    for (const int columns : {1, 7, 8}) {
        const std::size_t bridge = columns < 8 ? 0 : 2;
        Traced before;
        before.Add(9, 9 - columns, 8, 30.5).Add(9, 11, kWidth - 1, 30.5);
        EXPECT_EQ(before.Repair(Config(2)).size(), bridge) << columns;
        Traced behind;
        behind.Add(9, 0, 8, 30.5).Add(9, 11, 10 + columns, 30.5);
        EXPECT_EQ(behind.Repair(Config(2)).size(), bridge) << columns;
    }
}

TEST(EdgeRepair, JoinsOnlyPiecesOfOneNumber)
{
    Traced traced;
    traced.Add(9, 0, 8, 30.5).Add(10, 10, 20, 30.5);
    EXPECT_TRUE(traced.Repair(Config(2)).empty());
}

TEST(EdgeRepair, OverwritesWordsThatAreNotTraced)
{
    Traced traced;
    traced.Add(9, 0, 8, 30.5).Add(9, 10, 20, 30.5);
    LxCLightStripeEdgeSinglePixel word;
    word.EncodeExtremum(3, true, false, LxCV::LxCSymbol(4), 5);
    traced.words.GetInt32PixelFast(9, 30) = static_cast<int>(word.GetWord());
    EXPECT_EQ(traced.Repair(Config(2)), (std::vector<EdgePixel>{{9, 30.5, 9}}));
}

TEST(EdgeRepair, ABridgeThatMeetsAnotherEdgeIsLeftOutOrOpenThere)
{
    // Edge 20 stands in the row of the gap in one of its two columns, as an edge of something nearer does.
    Traced traced;
    traced.Add(9, 0, 8, 30.5).Add(9, 11, 20, 30.5).Add(20, 10, 10, 30.75);
    Traced same;
    same.Add(9, 0, 8, 30.5).Add(9, 11, 20, 30.5).Add(20, 10, 10, 30.75);
    EXPECT_TRUE(traced.Repair(Config(2, true)).empty());
    EXPECT_EQ(same.Repair(Config(2, false)), (std::vector<EdgePixel>{{9, 30.5, 9}}));
}

TEST(EdgeRepair, ABridgeKeepsTheOrderOfTheEdgesWhereItIsToBeFreeOfUndercuts)
{
    struct Other
    {
        int number;
        double row;
        bool isInOrder;
    };
    // The nearest seen number counts, not the next one there is.
    for (const auto& [number, row, isInOrder] :
         {Other{8, 25.0, true}, Other{8, 35.0, false}, Other{4, 35.0, false}, Other{4, 25.0, true},
          Other{10, 35.0, true}, Other{10, 25.0, false}, Other{200, 25.0, false}, Other{200, 35.0, true}}) {
        for (const bool isUndercutFree : {true, false}) {
            Traced traced;
            traced.Add(9, 0, 8, 30.5).Add(9, 10, 20, 30.5).Add(number, 9, 9, row);
            EXPECT_EQ(traced.Repair(Config(2, isUndercutFree)).size(), isInOrder || !isUndercutFree ? 1U : 0U)
                << number << " " << row;
        }
    }
}

TEST(EdgeRepair, AnEdgeSeenTwiceInAColumnIsNotContinued)
{
    Traced traced;
    traced.Add(9, 0, 8, 30.5).Add(9, 8, 8, 40.5).Add(9, 10, 20, 30.5).Add(9, 22, kWidth - 1, 30.5);
    EXPECT_EQ(traced.Repair(Config(2)), (std::vector<EdgePixel>{{21, 30.5, 9}}));
}

TEST(EdgeRepair, ClosesAllGapsOfManyEdges)
{
    // 10 inclined edges, 4 rows apart, each with a gap of two columns elsewhere.
    Traced traced;
    for (int number = 1; number <= 10; ++number) {
        traced.Add(number, 0, number + 8, 4.0 * number, 0.25);
        traced.Add(number, number + 11, kWidth - 1, 4.0 * number + 0.25 * (number + 11), 0.25);
    }
    for (const EdgePixel& edge : traced.Repair(Config(2))) {
        EXPECT_EQ(edge.row, 4.0 * edge.stripeEdge + 0.25 * edge.column);
    }
    EXPECT_EQ(traced.edges.size(), 10U * kWidth);
}

TEST(EdgeRepair, TakesNoMemoryOnceItsBuffersAreMade)
{
    Traced traced;
    traced.Add(9, 0, 8, 30.5).Add(9, 10, 20, 30.5);
    traced.edges.reserve(kWidth * kHeight);
    EdgeRepair repair(Config(2));
    repair.Init(kWidth, kHeight);
    const LxCV::AllocationCount allocations;
    repair.Repair(traced.words, traced.edges);
    EXPECT_EQ(allocations.Get(), 0U);
    EXPECT_EQ(traced.edges.size(), 21U);
}

TEST(EdgeRepair, WorksOnEdgeWordsOnly)
{
    CCTImage bytes(kWidth, kHeight, CCTImage::eIDT_UINT8, true, nullptr);
    std::vector<EdgePixel> edges{{3, 4.0, 5}};
    EXPECT_THROW(EdgeRepair(Config(2)).Repair(bytes, edges), std::invalid_argument);
    CCTImage none;
    EdgeRepair(Config(2)).Repair(none, edges);
    EXPECT_EQ(edges.size(), 1U);
}

TEST(EdgeRepair, SurvivesEdgesOfAnyPlaceAndNumber)
{
    std::mt19937 random(3);
    constexpr int kMost = std::numeric_limits<int>::max();
    constexpr double kNotANumber = std::numeric_limits<double>::quiet_NaN();
    const int wild[] = {-1, kMost, -kMost, 256, 255, kWidth, 0};
    const double wildRows[] = {-1.0, 1e300, -1e300, kNotANumber, kHeight, kHeight - 0.5, 0.0};
    for (int trial = 0; trial < 500; ++trial) {
        CCTImage words = EmptyWords();
        std::vector<EdgePixel> edges;
        for (int i = 0; i < 200; ++i) {
            const auto any = [&random](int end) {
                return static_cast<int>(random() % static_cast<unsigned>(end));
            };
            const auto pick = [&](int end) { return any(8) == 0 ? wild[any(7)] : any(end); };
            edges.push_back(
                {pick(kWidth), any(8) == 0 ? wildRows[any(7)] : any(64 * kHeight) / 64.0, pick(6)});
        }
        const std::size_t before = edges.size();
        DecoderConfig config = Config(10, trial % 2 == 0);
        config.traceRadius = trial % 5 == 0 ? wild[trial / 5 % 7] : 2;
        EdgeRepair(config).Repair(words, edges);
        ASSERT_GE(edges.size(), before);
    }
}

} // namespace
} // namespace decoder
