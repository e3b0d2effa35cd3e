#include "lxclightstripeedge.h"

#include "tests/lxcvlib/edgetestsupport.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <limits>
#include <thread>
#include <vector>

namespace LxCV {
namespace {

using TestSupport::c_iOwnId;
using TestSupport::c_uiOwnSymbol;
using TestSupport::CEdgeImage;
using TestSupport::CExtendedTrace;
using TestSupport::CTracedEdge;
using TestSupport::ExtremumWord;

constexpr std::uint32_t c_uiGap = 60000;
constexpr unsigned c_uiOtherSymbol = 32; // red rises
constexpr int c_iMin = std::numeric_limits<int>::min();
constexpr int c_iMax = std::numeric_limits<int>::max();

const std::uint32_t c_uiConfirmed = ExtremumWord(c_iOwnId, c_uiOtherSymbol, 9);
const std::uint32_t c_uiMatching = ExtremumWord(0, c_uiOwnSymbol, 10);
const std::uint32_t c_uiFree = ExtremumWord(0, c_uiOtherSymbol, 11);
const std::uint32_t c_uiOfAnother = ExtremumWord(c_iOwnId + 1, c_uiOwnSymbol, 12);
const std::uint32_t c_uiTraced = 0xC00000U | c_iOwnId << 14 | c_uiOwnSymbol << 6 | 13;

LxCEdgeDetectionConfig Small()
{
    return {true, false};
}

/// The entry that a word in a row becomes.
std::uint32_t EntryOf(int row, std::uint32_t word)
{
    return static_cast<std::uint32_t>(row) * 64 + (word & 63);
}

struct CFound
{
    int index;
    ETraceQuality quality;

    friend bool operator==(const CFound&, const CFound&) = default;
};

/// The search through one column of words, which lie `stride` apart.
CFound Search(const std::vector<std::uint32_t>& words, int stride = 1)
{
    std::vector<LxCLightStripeEdgeSinglePixel> pixels(words.size() * static_cast<std::size_t>(stride));
    for (std::size_t i = 0; i < words.size(); ++i) {
        pixels[i * static_cast<std::size_t>(stride)] = LxCLightStripeEdgeSinglePixel(words[i]);
    }
    const CTracedEdge edge(1);
    ETraceQuality quality = eTraceSingle;
    const int index = edge.DetNextEdgel(pixels.data(), static_cast<int>(words.size()), stride, quality);
    return {index, quality};
}

TEST(LxCLightStripeEdge, SearchFindsNothingInAnEmptyColumn)
{
    EXPECT_EQ(Search({0, 0, 0}), (CFound{3, eTraceNone}));
    EXPECT_EQ(Search({}), (CFound{0, eTraceNone}));
}

TEST(LxCLightStripeEdge, SearchTakesTheFirstPixelWithTheOwnId)
{
    EXPECT_EQ(Search({c_uiMatching, c_uiConfirmed, c_uiConfirmed}), (CFound{1, eTraceConfirmed}));
}

TEST(LxCLightStripeEdge, SearchTakesTheLastOfSeveralMatches)
{
    EXPECT_EQ(Search({c_uiMatching, c_uiMatching, c_uiFree, c_uiMatching, c_uiFree}),
              (CFound{3, eTraceSymbol}));
}

TEST(LxCLightStripeEdge, SearchWantsTheWholeSymbolAndAllowsMore)
{
    const std::uint32_t more = ExtremumWord(0, c_uiOwnSymbol | 16, 1);
    const std::uint32_t less = ExtremumWord(0, 2, 1);
    EXPECT_EQ(Search({more, c_uiFree}), (CFound{0, eTraceSymbol}));
    EXPECT_EQ(Search({less, c_uiFree}), (CFound{2, eTraceNone}));
}

TEST(LxCLightStripeEdge, SearchTakesALoneFreePixel)
{
    EXPECT_EQ(Search({0, 0, c_uiFree, 0}), (CFound{2, eTraceSingle}));
}

TEST(LxCLightStripeEdge, SearchTakesNoFreePixelBesideAnyOther)
{
    EXPECT_EQ(Search({c_uiFree, c_uiFree}), (CFound{2, eTraceNone}));
    EXPECT_EQ(Search({c_uiFree, c_uiOfAnother}), (CFound{2, eTraceNone}));
    EXPECT_EQ(Search({c_uiFree, c_uiTraced}), (CFound{2, eTraceNone})) << "a traced pixel occupies its place";
}

TEST(LxCLightStripeEdge, SearchTakesNoTracedPixelNorOneOfAnotherId)
{
    EXPECT_EQ(Search({c_uiTraced}), (CFound{1, eTraceNone}));
    EXPECT_EQ(Search({c_uiOfAnother}), (CFound{1, eTraceNone}));
    for (const std::uint32_t marker : {0x400000U, 0x800000U}) {
        EXPECT_EQ(Search({marker | c_uiConfirmed}), (CFound{1, eTraceNone})) << "one marker bit is enough";
    }
}

TEST(LxCLightStripeEdge, SearchGoesInStepsOfTheStride)
{
    EXPECT_EQ(Search({0, c_uiMatching, 0}, 5), (CFound{1, eTraceSymbol}));
}

TEST(LxCLightStripeEdge, BeginsEmpty)
{
    const LxCLightStripeEdge edge;
    EXPECT_EQ(edge.GetLen(), 0);
    EXPECT_EQ(edge.GetId(), 0);
    EXPECT_EQ(edge.GetNrOfPixels(), 0);
    EXPECT_EQ(edge.GetNrOfConfirmedPixels(), 0);
    EXPECT_EQ(edge.GetContCount(), 0);
    EXPECT_EQ(edge.GetContCount2(), 0);
    EXPECT_EQ(edge.GetValidCWPercent(), 0);
}

void ExpectSeedAlone(const CTracedEdge& edge, int col)
{
    EXPECT_EQ(edge.First(), col);
    EXPECT_EQ(edge.Last(), col);
    EXPECT_EQ(edge.GetLen(), 1);
    EXPECT_EQ(edge.GetNrOfPixels(), 1);
    EXPECT_EQ(edge.GetNrOfConfirmedPixels(), 1);
    EXPECT_EQ(edge.GetContCount(), 0);
    EXPECT_EQ(edge.GetContCount2(), 0);
}

TEST(LxCLightStripeEdge, ALonelySeedStaysAlone)
{
    CEdgeImage image(20, 9);
    CTracedEdge edge(image.width);
    edge.TraceFrom(image, 8, 4, 3, 2, Small());
    ExpectSeedAlone(edge, 8);
    EXPECT_EQ(edge.GetElement(0).GetWord(), 4U * 64 + 5);
    EXPECT_EQ(edge.GetValidCWPercent(), 100);
}

/// Row 4 full of pixels with the edge's id.
CEdgeImage ConfirmedRow(int width)
{
    CEdgeImage image(width, 9);
    for (int col = 0; col < width; ++col) {
        image.Put(col, 4, ExtremumWord(c_iOwnId, c_uiOtherSymbol, 9, col % 2 == 0, col % 3 == 0));
    }
    return image;
}

TEST(LxCLightStripeEdge, FollowsItsIdBetweenTheMargins)
{
    CEdgeImage image = ConfirmedRow(20);
    CTracedEdge edge(image.width);
    edge.TraceFrom(image, 8, 4, 0, 1, Small());
    EXPECT_EQ(edge.First(), 2);
    EXPECT_EQ(edge.Last(), 17); // stride - 3
    EXPECT_EQ(edge.GetNrOfPixels(), 16);
    EXPECT_EQ(edge.GetNrOfConfirmedPixels(), 16);
    // Flags at the columns 2, 4 ... 16 and 3, 6 ... 15, but not of the seed, column 8.
    EXPECT_EQ(edge.GetContCount(), 7);
    EXPECT_EQ(edge.GetContCount2(), 5);
    for (int col = 2; col <= 17; ++col) {
        EXPECT_EQ(edge.GetElementAtSubsection(col).GetWord(), 4U * 64 + (col == 8 ? 5 : 9)) << col;
    }
}

TEST(LxCLightStripeEdge, SeedsAtTheMarginsGoTheOneWayThatIsLeft)
{
    struct CCase
    {
        int seed;
        int first;
        int last;
    };
    for (const CCase& c : {CCase{0, 0, 17}, CCase{1, 1, 17}, CCase{2, 2, 17}, CCase{3, 2, 17},
                           CCase{16, 2, 17}, CCase{17, 2, 17}, CCase{18, 2, 18}, CCase{19, 2, 19}}) {
        CEdgeImage image = ConfirmedRow(20);
        CTracedEdge edge(image.width);
        edge.TraceFrom(image, c.seed, 4, 0, 1, Small());
        EXPECT_EQ(edge.First(), c.first) << c.seed;
        EXPECT_EQ(edge.Last(), c.last) << c.seed;
        EXPECT_TRUE(edge.IsWithinBuffer());
    }
}

TEST(LxCLightStripeEdge, StoresTheSeedThenTheLeftThenTheRight)
{
    CEdgeImage image(20, 9);
    CTracedEdge edge(image.width);
    const std::array<int, 6> columns = {8, 7, 6, 9, 10, 11}; // in buffer order
    for (const int col : columns) {
        image.Put(col, 4, ExtremumWord(c_iOwnId, 1, static_cast<unsigned>(col)));
    }
    edge.TraceFrom(image, 8, 4, 0, 1, Small());
    ASSERT_EQ(edge.GetLen(), 6);
    EXPECT_EQ(edge.Entries()[0].GetWord(), 4U * 64 + 5);
    for (std::size_t i = 1; i < columns.size(); ++i) {
        EXPECT_EQ(edge.Entries()[i].GetWord(), 4U * 64 + static_cast<unsigned>(columns.at(i))) << i;
    }
}

TEST(LxCLightStripeEdge, FollowsASlopeFromPixelToPixel)
{
    CEdgeImage image(40, 60);
    for (int col = 0; col < 40; ++col) {
        image.Put(col, 10 + col, c_uiConfirmed);
    }
    CTracedEdge edge(image.width);
    edge.TraceFrom(image, 20, 30, 0, 1, Small());
    EXPECT_EQ(edge.First(), 2);
    EXPECT_EQ(edge.Last(), 37);
    for (int col = 2; col <= 37; ++col) {
        EXPECT_EQ(edge.GetElementAtSubsection(col).GetWord() >> 6, static_cast<unsigned>(10 + col));
    }
}

TEST(LxCLightStripeEdge, ASymbolIsFollowedAsFarAsTheRadius)
{
    CEdgeImage image(20, 20);
    image.Put(9, 12, c_uiMatching);
    image.Put(10, 12, c_uiConfirmed);
    CTracedEdge edge(image.width);
    edge.TraceFrom(image, 8, 10, 0, 2, Small());
    EXPECT_EQ(edge.Words(), (std::vector<std::uint32_t>{10 * 64 + 5, EntryOf(12, c_uiMatching),
                                                        EntryOf(12, c_uiConfirmed)}));
    EXPECT_EQ(edge.GetNrOfPixels(), 3);
    EXPECT_EQ(edge.GetNrOfConfirmedPixels(), 2);
}

TEST(LxCLightStripeEdge, ALoneFreePixelCountsOnlyNearby)
{
    for (const int distance : {-2, -1, 0, 1, 2}) {
        CEdgeImage image(20, 20);
        image.Put(9, 10 + distance, c_uiFree);
        image.Put(10, 10, c_uiConfirmed);
        CTracedEdge edge(image.width);
        edge.TraceFrom(image, 8, 10, 1, 2, Small());
        ASSERT_EQ(edge.GetLen(), 3) << distance;
        const bool near = distance > -2 && distance < 2;
        EXPECT_EQ(edge.GetElement(1).GetWord(), near ? EntryOf(10 + distance, c_uiFree) : c_uiGap)
            << distance;
        EXPECT_EQ(edge.GetNrOfPixels(), near ? 3 : 2) << distance;
    }
}

TEST(LxCLightStripeEdge, OfTwoForksWithItsSymbolTheLowerWins)
{
    CEdgeImage image(20, 20);
    for (int col = 9; col < 13; ++col) {
        image.Put(col, 10, c_uiMatching); // straight on
        image.Put(col, 12, c_uiMatching); // and two rows below
    }
    image.Put(13, 12, c_uiConfirmed);
    CTracedEdge edge(image.width);
    edge.TraceFrom(image, 8, 10, 0, 2, Small());
    const std::uint32_t lower = EntryOf(12, c_uiMatching);
    EXPECT_EQ(edge.Words(), (std::vector<std::uint32_t>{10 * 64 + 5, lower, lower, lower, lower,
                                                        EntryOf(12, c_uiConfirmed)}));
}

TEST(LxCLightStripeEdge, AnotherTracedEdgeStopsIt)
{
    CEdgeImage image = ConfirmedRow(20);
    image.Put(12, 4, c_uiTraced);
    CTracedEdge edge(image.width);
    edge.TraceFrom(image, 8, 4, 0, 1, Small());
    EXPECT_EQ(edge.First(), 2);
    EXPECT_EQ(edge.Last(), 11);
}

TEST(LxCLightStripeEdge, CrossesAsManyGapsAsItMay)
{
    for (int gaps = 0; gaps < 6; ++gaps) {
        CEdgeImage image(40, 9);
        image.Put(9 + gaps, 4, c_uiConfirmed);
        CTracedEdge edge(image.width);
        edge.TraceFrom(image, 8, 4, 3, 1, Small());
        EXPECT_EQ(edge.Last(), gaps <= 3 ? 9 + gaps : 8) << gaps;
        for (int col = 9; col < edge.Last(); ++col) {
            EXPECT_EQ(edge.GetElementAtSubsection(col).GetWord(), c_uiGap);
            EXPECT_EQ(edge.GetElementAtSubsectionWSubpixelAcc(col), -1.0);
        }
    }
}

/// A confirmed pixel, a symbol or a gap a letter, from the column right of the seed on.
CEdgeImage RowOf(const char* letters)
{
    CEdgeImage image(100, 9);
    for (int col = 9; *letters != '\0'; ++letters, ++col) {
        image.Put(col, 4, *letters == 'c' ? c_uiConfirmed : *letters == 's' ? c_uiMatching : 0);
    }
    return image;
}

int LastColumn(const char* letters, int maxGaps)
{
    CEdgeImage image = RowOf(letters);
    CTracedEdge edge(image.width);
    edge.TraceFrom(image, 8, 4, maxGaps, 1, Small());
    return edge.Last() - 8;
}

TEST(LxCLightStripeEdge, ConfirmedPixelsPayGapsBack)
{
    EXPECT_EQ(LastColumn(".c.c.c.c.c.c.c.c.c.c", 1), 20) << "each gap is paid by the pixel behind it";
    EXPECT_EQ(LastColumn("..c..c..c", 2), 3) << "2 - 1 + 2 are too many";
    EXPECT_EQ(LastColumn("..cc..cc..cc", 2), 12);
}

TEST(LxCLightStripeEdge, UnconfirmedPixelsPayNothingBack)
{
    EXPECT_EQ(LastColumn(".s.s.c", 1), 0);
    EXPECT_EQ(LastColumn(".s.s.c", 3), 6);
}

TEST(LxCLightStripeEdge, NothingIsSavedUpForLaterGaps)
{
    EXPECT_EQ(LastColumn("cccccc..c", 1), 6);
}

TEST(LxCLightStripeEdge, IsCutBackToItsLastConfirmedPixel)
{
    CEdgeImage image(30, 9);
    for (int col = 5; col < 20; ++col) {
        image.Put(col, 4, c_uiMatching);
    }
    image.Put(6, 4, c_uiConfirmed);
    image.Put(15, 4, c_uiConfirmed);
    CTracedEdge edge(image.width);
    edge.TraceFrom(image, 10, 4, 0, 1, Small());
    EXPECT_EQ(edge.First(), 6);
    EXPECT_EQ(edge.Last(), 15);
    EXPECT_EQ(edge.GetNrOfPixels(), 15) << "what is cut off stays counted";
    EXPECT_EQ(edge.GetNrOfConfirmedPixels(), 3);
}

void ExpectTailsKept(const LxCEdgeDetectionConfig& config)
{
    CEdgeImage image(30, 9);
    for (int col = 5; col < 20; ++col) {
        image.Put(col, 4, c_uiMatching);
    }
    CTracedEdge edge(image.width);
    edge.TraceFrom(image, 10, 4, 1, 1, config);
    // The two gaps that end the arm stay at its end.
    EXPECT_EQ(edge.First(), 3);
    EXPECT_EQ(edge.Last(), 21);
    EXPECT_EQ(edge.GetElementAtSubsection(3).GetWord(), c_uiGap);
    EXPECT_EQ(edge.GetElementAtSubsection(5).GetWord(), EntryOf(4, c_uiMatching));
    EXPECT_EQ(edge.GetElementAtSubsection(21).GetWord(), c_uiGap);
    EXPECT_EQ(edge.GetNrOfPixels(), 15);
    EXPECT_EQ(edge.GetNrOfConfirmedPixels(), 1);
}

TEST(LxCLightStripeEdge, KeepsItsTailsWhereIdsAreAssignedManually)
{
    LxCEdgeDetectionConfig config = Small();
    config.m_bManuallyAssignLseId = true;
    ExpectTailsKept(config);
}

TEST(LxCLightStripeEdge, KeepsItsTailsWithExtendedTrace)
{
    const CExtendedTrace extended(true);
    ExpectTailsKept(Small());
}

TEST(LxCLightStripeEdge, StopsWhereNoPixelIsConfirmedForTheStepLimit)
{
    LxCEdgeDetectionConfig config = Small();
    config.m_bManuallyAssignLseId = true;
    config.m_iTraceStepLimit = 6;
    CEdgeImage image(60, 9);
    for (int col = 0; col < 60; ++col) {
        image.Put(col, 4, c_uiMatching);
    }
    image.Put(33, 4, c_uiConfirmed);
    CTracedEdge edge(image.width);
    edge.TraceFrom(image, 30, 4, 0, 1, config);
    EXPECT_EQ(edge.First(), 24) << "six steps";
    EXPECT_EQ(edge.Last(), 38) << "the confirmed pixel is the first of six";
}

TEST(LxCLightStripeEdge, ConfirmedPixelsCarryItFartherThanTheStepLimit)
{
    LxCEdgeDetectionConfig config = Small();
    config.m_iTraceStepLimit = 1;
    CEdgeImage image = ConfirmedRow(60);
    CTracedEdge edge(image.width);
    edge.TraceFrom(image, 30, 4, 0, 1, config);
    EXPECT_EQ(edge.First(), 29) << "the step to a confirmed pixel is the first of the new count";
    EXPECT_EQ(edge.Last(), 31);
    config.m_iTraceStepLimit = 2;
    edge.TraceFrom(image, 30, 4, 0, 1, config);
    EXPECT_EQ(edge.First(), 2);
    EXPECT_EQ(edge.Last(), 57);
    EXPECT_TRUE(edge.IsWithinBuffer());
}

TEST(LxCLightStripeEdge, NegativeGapsLeaveTheSeedAlone)
{
    for (const int maxGaps : {-1, c_iMin}) {
        CEdgeImage image = ConfirmedRow(20);
        CTracedEdge edge(image.width);
        edge.TraceFrom(image, 8, 4, 0, 1, Small());
        ASSERT_EQ(edge.GetLen(), 16);
        edge.TraceFrom(image, 9, 4, maxGaps, 1, Small());
        ExpectSeedAlone(edge, 9);
    }
}

TEST(LxCLightStripeEdge, TracingAgainStartsAnew)
{
    CEdgeImage image = ConfirmedRow(20);
    CTracedEdge edge(image.width);
    edge.TraceFrom(image, 8, 4, 0, 1, Small());
    const auto words = edge.Words();
    const int pixels = edge.GetNrOfPixels();
    edge.TraceFrom(image, 8, 4, 0, 1, Small());
    EXPECT_EQ(edge.Words(), words);
    EXPECT_EQ(edge.GetNrOfPixels(), pixels);
}

TEST(LxCLightStripeEdge, TheSignOfTheRadiusIsIgnored)
{
    for (const int radius : {2, -2}) {
        CEdgeImage image(20, 20);
        image.Put(9, 12, c_uiConfirmed);
        CTracedEdge edge(image.width);
        edge.TraceFrom(image, 8, 10, 0, radius, Small());
        EXPECT_EQ(edge.Last(), 9) << radius;
    }
}

/// Whether a pixel so many rows away from a seed is found.
bool IsFound(int height, int seedRow, int pixelRow, int radius)
{
    CEdgeImage image(20, height);
    image.Put(9, pixelRow, c_uiConfirmed);
    CTracedEdge edge(image.width);
    edge.TraceFrom(image, 8, seedRow, 0, radius, Small());
    return edge.Last() == 9;
}

TEST(LxCLightStripeEdge, TheSearchShrinksTowardsTheBorders)
{
    constexpr int c_iHeight = 10;
    constexpr int c_iRadius = 2;
    // Upwards only from a row above the radius, downwards only where the border is more than the radius away.
    EXPECT_TRUE(IsFound(c_iHeight, 3, 1, c_iRadius));
    EXPECT_FALSE(IsFound(c_iHeight, 2, 1, c_iRadius));
    EXPECT_FALSE(IsFound(c_iHeight, 2, 0, c_iRadius));
    EXPECT_TRUE(IsFound(c_iHeight, 2, 2, c_iRadius));
    EXPECT_TRUE(IsFound(c_iHeight, 2, 4, c_iRadius));
    EXPECT_TRUE(IsFound(c_iHeight, 6, 8, c_iRadius));
    EXPECT_FALSE(IsFound(c_iHeight, 7, 8, c_iRadius));
    EXPECT_TRUE(IsFound(c_iHeight, 9, 9, c_iRadius));
    EXPECT_TRUE(IsFound(1, 0, 0, c_iRadius));
    for (const int huge : {c_iMin, c_iMax, c_iHeight}) {
        EXPECT_TRUE(IsFound(c_iHeight, 5, 5, huge)) << huge;
        EXPECT_FALSE(IsFound(c_iHeight, 5, 6, huge)) << huge;
    }
}

TEST(LxCLightStripeEdge, CountsConfirmedPixelsInWholePercent)
{
    CEdgeImage image = RowOf("sscssscs"); // with the seed 3 of 9
    CTracedEdge edge(image.width);
    edge.TraceFrom(image, 8, 4, 0, 1, Small());
    EXPECT_EQ(edge.GetNrOfPixels(), 9);
    EXPECT_EQ(edge.GetNrOfConfirmedPixels(), 3);
    EXPECT_EQ(edge.GetValidCWPercent(), 33);
}

TEST(LxCLightStripeEdge, ImpossibleArgumentsLeaveTheSeedAlone)
{
    CEdgeImage image = ConfirmedRow(20);
    const LxCEdgeDetectionConfig config = Small();
    LxCLightStripeEdgeSinglePixel* const pixels = image.pixels.data();
    struct CCase
    {
        LxCLightStripeEdgeSinglePixel* image;
        int col;
        int row;
        int stride;
        int height;
        const LxCEdgeDetectionConfig* config;
    };
    for (const CCase& c : {CCase{nullptr, 8, 4, 20, 9, &config}, CCase{pixels, 8, 4, 20, 9, nullptr},
                           CCase{pixels, -1, 4, 20, 9, &config}, CCase{pixels, 20, 4, 20, 9, &config},
                           CCase{pixels, c_iMin, 4, 20, 9, &config}, CCase{pixels, c_iMax, 4, 20, 9, &config},
                           CCase{pixels, 8, 9, 20, 9, &config}, CCase{pixels, 8, 0x3FFFFFF, 20, 9, &config},
                           CCase{pixels, 8, 4, 0, 9, &config}, CCase{pixels, 8, 4, -20, 9, &config},
                           CCase{pixels, 8, 4, c_iMin, 9, &config}, CCase{pixels, 8, 0, 20, 0, &config},
                           CCase{pixels, 8, 4, 20, -9, &config}, CCase{pixels, 8, 4, 20, c_iMin, &config}}) {
        CTracedEdge edge(20);
        edge.Entries()[0] = LxCDataBufferEntry(static_cast<std::uint32_t>(c.row) * 64);
        edge.Trace(c.image, c.col, c.stride, c.height, 3, 1, c.config);
        ExpectSeedAlone(edge, c.col);
    }
    CTracedEdge bufferless(20);
    bufferless.SetExtDataBuffer(nullptr);
    bufferless.Trace(pixels, 8, 20, 9, 3, 1, &config);
    ExpectSeedAlone(bufferless, 8);
}

TEST(LxCLightStripeEdge, StepLimitsBelowOneLeaveTheSeedAlone)
{
    for (const int limit : {0, -1, c_iMin}) {
        LxCEdgeDetectionConfig config = Small();
        config.m_iTraceStepLimit = limit;
        CEdgeImage image = ConfirmedRow(20);
        CTracedEdge edge(image.width);
        edge.TraceFrom(image, 8, 4, 3, 1, config);
        ExpectSeedAlone(edge, 8);
    }
}

TEST(LxCLightStripeEdge, ManyAreTracedAtOnceOnOneImage)
{
    constexpr int c_iEdges = 8;
    constexpr int c_iSpacing = 6; // rows
    CEdgeImage image(120, c_iEdges * c_iSpacing);
    for (int edge = 0; edge < c_iEdges; ++edge) {
        for (int col = 0; col < image.width; ++col) {
            image.Put(col, edge * c_iSpacing + 3,
                      ExtremumWord(static_cast<unsigned>(edge + 1), c_uiOwnSymbol,
                                   static_cast<unsigned>(col % 64)));
        }
    }
    const LxCEdgeDetectionConfig config = Small();
    std::vector<LxCDataBufferEntry> entries(static_cast<std::size_t>(c_iEdges) * 120);
    std::vector<LxCLightStripeEdge> edges(c_iEdges);
    {
        std::vector<std::jthread> threads;
        for (int i = 0; i < c_iEdges; ++i) {
            threads.emplace_back([&, i] {
                LxCLightStripeEdge& edge = edges[static_cast<std::size_t>(i)];
                LxCDataBufferEntry* const buffer = entries.data() + std::ptrdiff_t{i} * 120;
                buffer[0] = LxCDataBufferEntry(static_cast<std::uint32_t>(i * c_iSpacing + 3) * 64);
                edge.SetExtDataBuffer(buffer);
                edge.SetId(i + 1);
                edge.SetSymbol(LxCSymbol(c_uiOwnSymbol));
                edge.Trace(image.pixels.data(), 60, image.width, image.height, 1, 2, &config);
            });
        }
    }
    for (int i = 0; i < c_iEdges; ++i) {
        const LxCLightStripeEdge& edge = edges[static_cast<std::size_t>(i)];
        EXPECT_EQ(edge.First(), 2);
        EXPECT_EQ(edge.Last(), 117);
        EXPECT_EQ(edge.GetNrOfConfirmedPixels(), 116);
        EXPECT_EQ(edge.GetElementAtSubsection(100).GetWord(),
                  static_cast<std::uint32_t>(i * c_iSpacing + 3) * 64 + 100 % 64);
    }
}

} // namespace
} // namespace LxCV
