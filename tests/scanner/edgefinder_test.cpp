#include "scanner/decoder/edgefinder.h"

#include "cctimage.h"
#include "scanner/decoder/stripesignal.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <vector>

namespace decoder {
namespace {

using LxCV::CCTImage;
using LxCV::LxCSymbol;

constexpr int kWidth = 3;
constexpr int kHeight = 40;

struct Step
{
    int channel; ///< 0 blue, 1 green, 2 red
    double row;
    bool rising;
};

struct Found
{
    double row;
    int symbol;
};

/// The edges of each column for a pattern that is the sum of blurred steps of the same height.
std::vector<Found> EdgesOf(const std::vector<Step>& steps)
{
    const CCTImage reference(kWidth, kHeight, LxCV::CCTImage::eIDT_FLOAT32_3, 100.0F);
    CCTImage pattern(kWidth, kHeight, LxCV::CCTImage::eIDT_FLOAT32_3, 100.0F);
    for (int y = 0; y < kHeight; ++y) {
        for (const Step& step : steps) {
            const double level = 0.5 * std::erfc((step.row - y) / std::sqrt(2.0));
            for (int x = 0; x < kWidth; ++x) {
                auto& pixel = pattern.GetFloat3Fast(x, y);
                const double sign = step.rising ? 1.0 : -1.0;
                pixel.set(step.channel, pixel.get(step.channel) + static_cast<float>(sign * 80.0 * level));
            }
        }
    }
    StripeSignal signal;
    signal.Compute(reference, pattern, DecoderConfig());
    EdgeColumns columns;
    EdgeFinder(DecoderConfig()).Find(signal, columns);

    EXPECT_EQ(columns.CountColumns(), kWidth);
    std::vector<Found> found;
    for (const EdgeColumns::Edge& edge : columns.At(0)) {
        found.push_back({edge.position / 64.0, static_cast<int>(edge.symbol.GetValue())});
    }
    for (int x = 1; x < kWidth; ++x) {
        EXPECT_TRUE(std::ranges::equal(
            columns.At(x), columns.At(0), [](const EdgeColumns::Edge& a, const EdgeColumns::Edge& b) {
                return a.position == b.position && a.symbol.GetValue() == b.symbol.GetValue();
            }));
    }
    return found;
}

TEST(EdgeFinder, CombinesStepsOfDifferentChannels)
{
    const auto found = EdgesOf({{0, 10.2, true}, {1, 10.4, false}, {2, 25.0, true}});
    ASSERT_EQ(found.size(), 2U);
    EXPECT_EQ(found[0].symbol, LxCSymbol::m_scaiIncBlue + LxCSymbol::m_scaiDecGreen);
    EXPECT_EQ(found[1].symbol, LxCSymbol::m_scaiIncRed);
    constexpr double kTolerance = 1.5 / 64.0; // one rounding of each step and one of the mean, in 1/64 row
    EXPECT_NEAR(found[0].row, 10.3, kTolerance);
    EXPECT_NEAR(found[1].row, 25.0, kTolerance);
}

TEST(EdgeFinder, KeepsDistantStepsApart)
{
    const auto found = EdgesOf({{0, 10.0, true}, {1, 12.5, true}, {2, 20.0, false}});
    ASSERT_EQ(found.size(), 3U);
    EXPECT_EQ(found[0].symbol, LxCSymbol::m_scaiIncBlue);
    EXPECT_EQ(found[1].symbol, LxCSymbol::m_scaiIncGreen);
    EXPECT_EQ(found[2].symbol, LxCSymbol::m_scaiDecRed);
}

TEST(EdgeFinder, NeverPutsTwoStepsOfOneChannelIntoAnEdge)
{
    const auto found = EdgesOf({{2, 10.0, true}, {2, 14.0, false}, {1, 12.0, true}});
    ASSERT_EQ(found.size(), 3U);
    EXPECT_EQ(found[0].symbol, LxCSymbol::m_scaiIncRed);
    EXPECT_EQ(found[1].symbol, LxCSymbol::m_scaiIncGreen);
    EXPECT_EQ(found[2].symbol, LxCSymbol::m_scaiDecRed);
}

TEST(EdgeFinder, FindsTheEdgesOfEachSignalAnew)
{
    const CCTImage even(kWidth, kHeight, LxCV::CCTImage::eIDT_FLOAT32_3, 100.0F);
    CCTImage striped(even);
    for (int x = 0; x < kWidth; ++x) {
        striped.GetFloat3Fast(x, 20).set(1, 0.0F);
    }
    EdgeFinder finder{DecoderConfig()};
    EdgeColumns columns;
    for (const CCTImage* const pattern : std::vector<const CCTImage*>{&striped, &even, &striped}) {
        StripeSignal signal;
        signal.Compute(even, *pattern, DecoderConfig());
        finder.Find(signal, columns);
        ASSERT_EQ(columns.CountColumns(), kWidth);
        for (int x = 0; x < kWidth; ++x) {
            EXPECT_EQ(columns.At(x).size(), pattern == &even ? 0U : 2U);
        }
    }
    finder.Find(StripeSignal(), columns);
    EXPECT_EQ(columns.CountColumns(), 0);
}

TEST(EdgeColumns, HoldOneEdgeARow)
{
    EdgeColumns columns;
    columns.BeginColumn();
    columns.Add({64 * 3 + 5, LxCSymbol(1)});
    columns.Add({64 * 3 + 60, LxCSymbol(2)});
    columns.Add({64 * 4, LxCSymbol(4)});
    columns.BeginColumn();
    columns.BeginColumn();
    columns.Add({64 * 4 + 1, LxCSymbol(8)}); // of another column than the one in this row before
    ASSERT_EQ(columns.CountColumns(), 3);
    ASSERT_EQ(columns.At(0).size(), 2U);
    EXPECT_EQ(columns.At(0)[0].position, 64 * 3 + 60);
    EXPECT_EQ(columns.At(0)[0].symbol.GetValue(), 2U);
    EXPECT_TRUE(columns.At(1).empty());
    ASSERT_EQ(columns.At(2).size(), 1U);
    EXPECT_EQ(EdgeColumns::RowOf(columns.At(2)[0]), 4);
    EXPECT_THROW(columns.At(3), std::out_of_range);
    EXPECT_THROW(columns.At(-1), std::out_of_range);
    columns.Clear();
    EXPECT_EQ(columns.CountColumns(), 0);
}

} // namespace
} // namespace decoder
