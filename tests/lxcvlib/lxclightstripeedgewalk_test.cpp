// Tracing beside a second walk that is written as a list of rules, on random images.
#include "lxclightstripeedge.h"

#include "tests/lxcvlib/edgetestsupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <random>
#include <string>
#include <vector>

namespace LxCV {
namespace {

using TestSupport::c_iOwnId;
using TestSupport::c_uiOwnSymbol;
using TestSupport::CEdgeImage;
using TestSupport::CExtendedTrace;
using TestSupport::CTracedEdge;

constexpr std::uint32_t c_uiGap = 60000;

struct CTask
{
    std::vector<std::uint32_t> words; ///< row by row
    int width = 0;
    int height = 0;
    int seedCol = 0;
    int seedRow = 0;
    int maxGaps = 0;
    int radius = 0;
    int stepLimit = 0;
    bool keep = false;

    std::uint32_t Word(int col, int row) const
    {
        return words.at(static_cast<std::size_t>(row * width + col));
    }
};

struct CResult
{
    int first = 0;
    std::vector<std::uint32_t> byColumn;
    int pixels = 1;
    int confirmed = 1;
    int cont = 0;
    int cont2 = 0;

    friend bool operator==(const CResult&, const CResult&) = default;
};

struct CChoice
{
    int row;
    bool confirmed;
};

unsigned IdOf(std::uint32_t word)
{
    return word >> 14 & 255;
}

/// Which row of a column the edge goes on at, if any.
std::optional<CChoice> Choose(const CTask& task, int col, int row)
{
    const int r = std::abs(task.radius);
    const int top = row > r ? row - r : row;
    const int bottom = row < task.height - (r + 1) ? row + r : row;
    std::vector<int> occupied, own, matching, free;
    for (int y = top; y <= bottom; ++y) {
        const std::uint32_t word = task.Word(col, y);
        if (word == 0) {
            continue;
        }
        occupied.push_back(y);
        if ((word & 0xC00000) != 0) {
            continue;
        }
        if (IdOf(word) == c_iOwnId) {
            own.push_back(y);
        }
        if (IdOf(word) == 0) {
            free.push_back(y);
            if ((word >> 6 & c_uiOwnSymbol) == c_uiOwnSymbol) {
                matching.push_back(y);
            }
        }
    }
    if (!own.empty()) {
        return CChoice{own.front(), true};
    }
    if (!matching.empty()) {
        return CChoice{matching.back(), false};
    }
    if (occupied.size() == 1 && free.size() == 1 && std::abs(free[0] - row) < 2) {
        return CChoice{free[0], false};
    }
    return std::nullopt;
}

/// The columns of one arm in the order of the walk, and how many of them are kept.
std::vector<std::uint32_t> WalkArm(const CTask& task, int direction, CResult& result)
{
    std::vector<std::uint32_t> arm;
    std::size_t confirmedLength = 0;
    int row = task.seedRow;
    int gaps = 0;
    int quietSteps = 0;
    int col = task.seedCol;
    while (quietSteps < task.stepLimit && gaps <= task.maxGaps) {
        col += direction;
        if (direction < 0 ? col <= 1 : col >= task.width - 2) {
            break;
        }
        ++quietSteps;
        const auto choice = Choose(task, col, row);
        if (!choice) {
            arm.push_back(c_uiGap);
            ++gaps;
            continue;
        }
        row = choice->row;
        const std::uint32_t word = task.Word(col, row);
        arm.push_back(static_cast<std::uint32_t>(row) * 64 + word % 64);
        ++result.pixels;
        if (choice->confirmed) {
            ++result.confirmed;
            result.cont += static_cast<int>(word >> 12 & 1);
            result.cont2 += static_cast<int>(word >> 13 & 1);
            confirmedLength = arm.size();
            quietSteps = 1;
            gaps -= gaps > 0 ? 1 : 0;
        }
    }
    if (!task.keep) {
        arm.resize(confirmedLength);
    }
    return arm;
}

CResult Walk(const CTask& task)
{
    CResult result;
    std::vector<std::uint32_t> left, right;
    if (task.maxGaps >= 0) {
        left = WalkArm(task, -1, result);
        right = WalkArm(task, 1, result);
    }
    result.first = task.seedCol - static_cast<int>(left.size());
    result.byColumn.assign(left.rbegin(), left.rend());
    result.byColumn.push_back(static_cast<std::uint32_t>(task.seedRow) * 64 + 5);
    result.byColumn.insert(result.byColumn.end(), right.begin(), right.end());
    return result;
}

/// Tracing by the library.
CResult Trace(const CTask& task)
{
    CEdgeImage image(task.width, task.height);
    for (std::size_t i = 0; i < task.words.size(); ++i) {
        image.pixels[i] = LxCLightStripeEdgeSinglePixel(task.words[i]);
    }
    LxCEdgeDetectionConfig config(true, false);
    config.m_iTraceStepLimit = task.stepLimit;
    config.m_bManuallyAssignLseId = task.keep && task.seedCol % 2 == 0;
    const CExtendedTrace extended(task.keep && task.seedCol % 2 != 0);
    CTracedEdge edge(task.width);
    edge.TraceFrom(image, task.seedCol, task.seedRow, task.maxGaps, task.radius, config);
    EXPECT_TRUE(edge.IsWithinBuffer());
    EXPECT_TRUE(std::equal(task.words.begin(), task.words.end(), image.pixels.begin(),
                           [](std::uint32_t word, const auto& pixel) { return pixel.GetWord() == word; }))
        << "the image is only read";
    return {edge.First(),        edge.Words(),        edge.GetNrOfPixels(), edge.GetNrOfConfirmedPixels(),
            edge.GetContCount(), edge.GetContCount2()};
}

class CRandomTask
{
public:
    explicit CRandomTask(unsigned seed) : m_Random(seed) {}

    CTask Next()
    {
        CTask task;
        task.width = Below(40) + 1;
        task.height = Below(16) + 1;
        const int empty = Below(8);
        const int confirmed = Below(8);
        for (int i = 0; i < task.width * task.height; ++i) {
            task.words.push_back(Below(8) < empty ? 0 : RandomWord(confirmed));
        }
        task.seedCol = Below(task.width);
        task.seedRow = Below(task.height);
        task.maxGaps = Below(6) - 1;
        task.radius = Below(9) - 4;
        task.stepLimit = Below(3) == 0 ? Below(5) - 1 : 50;
        task.keep = Below(2) == 0;
        return task;
    }

private:
    int Below(int limit) { return static_cast<int>(m_Random() % static_cast<unsigned>(limit)); }

    std::uint32_t RandomWord(int confirmed)
    {
        const unsigned id = Below(8) < confirmed ? c_iOwnId : Below(3) != 0 ? 0 : 200;
        const unsigned marker = Below(12) == 0 ? static_cast<unsigned>(Below(3) + 1) << 22 : 0;
        const auto lowBits = static_cast<unsigned>(Below(1 << 14));
        const unsigned symbol = Below(2) == 0 ? c_uiOwnSymbol << 6 : 0;
        return marker | id << 14 | lowBits | symbol;
    }

    std::mt19937 m_Random;
};

std::string Describe(const CTask& task)
{
    return std::to_string(task.width) + " by " + std::to_string(task.height) + ", seed " +
           std::to_string(task.seedCol) + " " + std::to_string(task.seedRow) + ", gaps " +
           std::to_string(task.maxGaps) + ", radius " + std::to_string(task.radius) + ", steps " +
           std::to_string(task.stepLimit) + (task.keep ? ", tails kept" : "");
}

TEST(LxCLightStripeEdge, TracesRandomImagesByTheRules)
{
    constexpr int c_iTrials = 10000;
    CRandomTask tasks(2024);
    int longEdges = 0;
    for (int trial = 0; trial < c_iTrials; ++trial) {
        const CTask task = tasks.Next();
        const CResult expected = Walk(task);
        ASSERT_EQ(Trace(task), expected) << "trial " << trial << ": " << Describe(task);
        longEdges += expected.byColumn.size() > 8 ? 1 : 0;
    }
    EXPECT_GT(longEdges, c_iTrials / 10) << "the random images hold too little to follow";
}

} // namespace
} // namespace LxCV
