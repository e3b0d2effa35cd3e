#include "scanner/decoder/edgetracer.h"

#include "lxcpatternposition.h"
#include "lxcstripepattern.h"
#include "tests/scanner/testmodel.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <map>
#include <optional>
#include <random>
#include <set>
#include <stdexcept>
#include <utility>
#include <vector>

namespace decoder {
namespace {

using LxCV::CCTImage;
using LxCV::LxCExtremum;
using LxCV::LxCLightStripeEdgeSinglePixel;
using LxCV::LxCSymbol;

/// Names and flags of a pixel.
struct Name
{
    int cyclicId = 0;
    bool cont = true;
    bool cont2 = true;
};

/// Images of words in which the stripe edges run straight along the rows where the device sees them on a plane.
class EdgeTracing : public ::testing::Test
{
protected:
    static constexpr double kDeviceColumn = 300.0;
    static constexpr int kWidth = 40;
    static constexpr int kHeight = 494;
    static constexpr int kFraction = 17; ///< of every pixel's row, in 1/64

    static void SetUpTestSuite()
    {
        s_device = new device::VirtualDevice();
        s_model = scannertest::LoadModel(*s_device).release();
        s_rows = new std::map<int, int>();
        const auto plane = device::MakeScene("plane");
        for (int edge = s_device->FirstEdge(); edge <= s_device->LastEdge(); ++edge) {
            const auto crossing =
                s_device->CrossingNear(*plane, {kDeviceColumn, kHeight / 2.0}, edge, kHeight / 2.0);
            if (crossing && crossing->row > 5.0 && crossing->row < kHeight - 5.0) {
                (*s_rows)[edge] = static_cast<int>(crossing->row);
            }
        }
    }

    static void TearDownTestSuite()
    {
        delete s_rows;
        delete s_model;
        delete s_device;
    }

    static CCTImage EmptyWords()
    {
        CCTImage words(kWidth, kHeight, CCTImage::eIDT_INT32, true, nullptr);
        words.Clear();
        return words;
    }

    static int CyclicId(int edge)
    {
        return (edge - 1) % static_cast<int>(s_device->Parameters().slide.digits.size()) + 1;
    }

    static LxCSymbol SymbolOf(int edge)
    {
        return s_model->GetCLPattern()->GetStripeEdgeNrToExtLUT().at(static_cast<std::size_t>(edge));
    }

    static void Put(CCTImage& words, int column, int row, LxCSymbol symbol, const Name& name)
    {
        LxCExtremum word;
        word.EncodeExtremum(name.cyclicId, name.cont, name.cont2, symbol, kFraction);
        words.GetInt32PixelFast(column, row) = static_cast<int>(word.GetWord());
    }

    /// A stretch of one edge.
    static void PutEdge(CCTImage& words, int edge, int firstColumn, int lastColumn, const Name& flags = {})
    {
        for (int column = firstColumn; column <= lastColumn; ++column) {
            Put(words, column, s_rows->at(edge), SymbolOf(edge), {CyclicId(edge), flags.cont, flags.cont2});
        }
    }

    static std::vector<EdgePixel> Trace(CCTImage& words, const DecoderConfig& config = {})
    {
        std::vector<EdgePixel> edges;
        EdgeTracer(*s_model, config).Trace(words, edges);
        return edges;
    }

    /// The columns in which an edge was found, all pixels being of this edge.
    static std::set<int> ColumnsOf(const std::vector<EdgePixel>& edges, int edge)
    {
        std::set<int> columns;
        for (const EdgePixel& pixel : edges) {
            EXPECT_EQ(pixel.stripeEdge, edge);
            EXPECT_EQ(pixel.row, s_rows->at(edge) + kFraction / 64.0);
            columns.insert(pixel.column);
        }
        EXPECT_EQ(columns.size(), edges.size());
        return columns;
    }

    static std::set<int> Range(int first, int last)
    {
        std::set<int> columns;
        for (int column = first; column <= last; ++column) {
            columns.insert(column);
        }
        return columns;
    }

    static int SomeEdge() { return std::next(s_rows->begin(), 30)->first; }

    static device::VirtualDevice* s_device;
    static LxCV::LxCPinholeFramework* s_model;
    static std::map<int, int>* s_rows; ///< whole row of each visible edge
};

device::VirtualDevice* EdgeTracing::s_device = nullptr;
LxCV::LxCPinholeFramework* EdgeTracing::s_model = nullptr;
std::map<int, int>* EdgeTracing::s_rows = nullptr;

TEST_F(EdgeTracing, NumbersEveryEdgeInEveryColumn)
{
    CCTImage words = EmptyWords();
    for (const auto& [edge, row] : *s_rows) {
        PutEdge(words, edge, 0, kWidth - 1);
    }
    ASSERT_GT(s_rows->size(), 80U);
    const auto edges = Trace(words);
    ASSERT_EQ(edges.size(), s_rows->size() * kWidth);
    std::size_t i = 0;
    for (const auto& [edge, row] : *s_rows) {
        for (int column = 0; column < kWidth; ++column, ++i) {
            ASSERT_EQ(edges[i].column, column);
            ASSERT_EQ(edges[i].row, row + kFraction / 64.0);
            ASSERT_EQ(edges[i].stripeEdge, edge);
        }
    }
}

TEST_F(EdgeTracing, LeavesTracedWordsInTheImageAndTheOthersAsTheyWere)
{
    const int edge = SomeEdge();
    CCTImage words = EmptyWords();
    PutEdge(words, edge, 0, kWidth - 1);
    const int other = 0x12345;
    words.GetInt32PixelFast(3, 2) = other;
    Trace(words);
    // Number in bits 6 to 13, both marker bits, fraction.
    const int expected = edge << 6 | 0xC00000 | kFraction;
    for (int row = 0; row < kHeight; ++row) {
        for (int column = 0; column < kWidth; ++column) {
            const bool isOther = column == 3 && row == 2;
            ASSERT_EQ(words.GetInt32PixelFast(column, row),
                      row == s_rows->at(edge) ? expected : (isOther ? other : 0));
        }
    }
}

TEST_F(EdgeTracing, GivesUnnamedPixelsTheNumberOfTheirEdge)
{
    const int edge = SomeEdge();
    CCTImage words = EmptyWords();
    PutEdge(words, edge, 0, kWidth - 1);
    for (int column = 10; column < 20; ++column) {
        Put(words, column, s_rows->at(edge), SymbolOf(edge), {0, false, false});
    }
    Put(words, 25, s_rows->at(edge), LxCSymbol(0), {0, false, false}); // a channel was missed
    EXPECT_EQ(ColumnsOf(Trace(words), edge), Range(0, kWidth - 1));
}

TEST_F(EdgeTracing, LeavesOutEndsWithoutNames)
{
    const int edge = SomeEdge();
    CCTImage words = EmptyWords();
    PutEdge(words, edge, 5, 30);
    for (const int column : {3, 4, 31, 32, 33}) {
        Put(words, column, s_rows->at(edge), SymbolOf(edge), {0, false, false});
    }
    EXPECT_EQ(ColumnsOf(Trace(words), edge), Range(5, 30));
}

TEST_F(EdgeTracing, JoinsWhatAColumnParts)
{
    const int edge = SomeEdge();
    CCTImage words = EmptyWords();
    PutEdge(words, edge, 0, 36, {0, true, false});
    PutEdge(words, edge, 38, kWidth - 1, {0, true, false}); // too short to be an edge by itself
    std::set<int> expected = Range(0, kWidth - 1);
    expected.erase(37);
    EXPECT_EQ(ColumnsOf(Trace(words), edge), expected);
}

TEST_F(EdgeTracing, DropsShortEdgesThatNoThreeCodeWordsName)
{
    const int edge = SomeEdge();
    // Five pixels with the flag beside the seed are needed, and ten in all.
    for (const auto& [pixels, cont2, valid] :
         {std::tuple{9, false, false}, {10, false, true}, {6, true, true}, {5, true, false}}) {
        CCTImage words = EmptyWords();
        PutEdge(words, edge, 12, 11 + pixels, {0, true, cont2});
        EXPECT_EQ(!Trace(words).empty(), valid) << pixels;
    }
}

TEST_F(EdgeTracing, DropsEdgesWithoutNamesAndWithoutFlags)
{
    const int edge = SomeEdge();
    CCTImage words = EmptyWords();
    for (int column = 0; column < kWidth; ++column) {
        Put(words, column, s_rows->at(edge), SymbolOf(edge), {0, true, true});
    }
    EXPECT_TRUE(Trace(words).empty());
    words.Clear();
    PutEdge(words, edge, 0, kWidth - 1, {0, false, false});
    EXPECT_TRUE(Trace(words).empty());
}

TEST_F(EdgeTracing, SeedsInColumnsAnIncrementApart)
{
    const int edge = SomeEdge();
    DecoderConfig config;
    config.Edges().m_iIncrement = 20; // columns 0 and 20
    CCTImage between = EmptyWords();
    PutEdge(between, edge, 1, 19);
    EXPECT_TRUE(Trace(between, config).empty());
    CCTImage across = EmptyWords();
    PutEdge(across, edge, 1, 20);
    EXPECT_EQ(ColumnsOf(Trace(across, config), edge), Range(1, 20));
}

TEST_F(EdgeTracing, DrawsNoPixelsThatAreToBeThrownAway)
{
    const int edge = SomeEdge();
    DecoderConfig config;
    config.Edges().m_iThrowAwayPixAtStripeBegEnd = 2;
    CCTImage words = EmptyWords();
    PutEdge(words, edge, 1, 33);
    EXPECT_EQ(ColumnsOf(Trace(words, config), edge), Range(3, 31));
}

TEST_F(EdgeTracing, TakesNoMoreMemoryThanForEveryPixelOfTheImage)
{
    DecoderConfig config;
    config.Edges().m_iIncrement = 1;
    config.Edges().m_iThrowAwayPixAtStripeBegEnd =
        kWidth; // so that every pixel is a seed of an edge that is not drawn
    CCTImage words = EmptyWords();
    for (const auto& entry : *s_rows) {
        PutEdge(words, entry.first, 0, kWidth - 1);
    }
    const auto edges = Trace(words, config);
    EXPECT_TRUE(edges.empty());
    EXPECT_LE(edges.capacity(), static_cast<std::size_t>(kWidth) * kHeight);
}

/// A cyclic number that means two edges at rows next to each other.
struct Turn
{
    int cyclicId;
    int lastRow; ///< of the first meaning
    int before;
    int after;
};

std::optional<Turn> FindTurn(const LxCV::LxCPinholeFramework& model, int height)
{
    const auto isEdge = [](int edge) {
        return edge > 0 && edge < static_cast<int>(LxCV::LxCPatternPosition::ms_uiInvalidPosition);
    };
    for (int id = 1; id <= model.GetCLPattern()->GetNrOfUniqueStripeIds(); ++id) {
        for (int row = 20; row + 20 < height; ++row) {
            const Turn turn{id, row, model.UnwrapStripeId(id, row), model.UnwrapStripeId(id, row + 1)};
            if (isEdge(turn.before) && isEdge(turn.after) && turn.before != turn.after) {
                return turn;
            }
        }
    }
    return std::nullopt;
}

TEST_F(EdgeTracing, LetsTheConfirmedPixelsVoteOnTheNumber)
{
    const auto turn = FindTurn(*s_model, kHeight);
    ASSERT_TRUE(turn.has_value());
    for (const bool mostlyBefore : {false, true}) {
        CCTImage words = EmptyWords();
        for (int column = 0; column < kWidth; ++column) {
            const bool before = (column < 15) != mostlyBefore;
            const int row = before ? turn->lastRow : turn->lastRow + 1;
            Put(words, column, row, LxCSymbol(0), {turn->cyclicId, true, true});
        }
        const auto edges = Trace(words);
        ASSERT_EQ(edges.size(), static_cast<std::size_t>(kWidth));
        for (const EdgePixel& pixel : edges) {
            EXPECT_EQ(pixel.stripeEdge, mostlyBefore ? turn->before : turn->after);
        }
    }
}

TEST_F(EdgeTracing, TakesImagesOfAnySize)
{
    for (const auto& [width, height] : {std::pair{1, 1}, {1, 40}, {40, 1}, {2, 3}, {5, 5}}) {
        CCTImage words(width, height, CCTImage::eIDT_INT32, true, nullptr);
        words.Clear();
        for (int column = 0; column < width; ++column) {
            Put(words, column, height / 2, LxCSymbol(6), {3, true, true});
        }
        Trace(words);
    }
    CCTImage none;
    EXPECT_TRUE(Trace(none).empty());
    CCTImage hollow(kWidth, kHeight, CCTImage::eIDT_INT32, false, nullptr);
    EXPECT_TRUE(Trace(hollow).empty());
}

TEST_F(EdgeTracing, KeepsNothingOfTheImageBefore)
{
    const int edge = SomeEdge();
    EdgeTracer tracer(*s_model, {});
    std::vector<EdgePixel> edges;
    CCTImage first = EmptyWords();
    for (const auto& entry : *s_rows) {
        PutEdge(first, entry.first, 0, kWidth - 1);
    }
    tracer.Trace(first, edges);
    edges.clear();
    CCTImage second = EmptyWords();
    PutEdge(second, edge, 4, 30);
    tracer.Trace(second, edges);
    EXPECT_EQ(ColumnsOf(edges, edge), Range(4, 30));
}

TEST_F(EdgeTracing, WorksOnEdgeWordsOnly)
{
    CCTImage bytes(kWidth, kHeight, CCTImage::eIDT_UINT8, true, nullptr);
    EXPECT_THROW(Trace(bytes), std::invalid_argument);
}

TEST_F(EdgeTracing, SurvivesWordsOfAnyBits)
{
    std::mt19937 random(5);
    for (int trial = 0; trial < 40; ++trial) {
        CCTImage words(30, 60, CCTImage::eIDT_INT32, true, nullptr);
        for (int row = 0; row < 60; ++row) {
            for (int column = 0; column < 30; ++column) {
                const auto bits = static_cast<std::uint32_t>(random());
                const std::uint32_t mask = trial % 2 == 0 ? 0xFFFFFFFF : 0x000C3FFF; // few ids, untraced
                words.GetInt32PixelFast(column, row) = static_cast<int>(bits & mask);
            }
        }
        for (const EdgePixel& pixel : Trace(words)) {
            ASSERT_TRUE(pixel.column >= 0 && pixel.column < 30);
            ASSERT_TRUE(pixel.row >= 0.0 && pixel.row < 60.0);
            ASSERT_TRUE(pixel.stripeEdge >= 0 && pixel.stripeEdge <= 255);
        }
    }
}

} // namespace
} // namespace decoder
