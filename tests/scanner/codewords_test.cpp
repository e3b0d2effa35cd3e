#include "scanner/decoder/codewords.h"

#include "cctimage.h"
#include "lxcextremum.h"
#include "lxcstripepattern.h"
#include "tests/scanner/testmodel.h"

#include <gtest/gtest.h>

#include <limits>
#include <map>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

namespace decoder {
namespace {

using LxCV::CCTImage;
using LxCV::LxCExtremum;
using LxCV::LxCSymbol;

/// The stripe edges of a plane as the device sees them, written as words without any image processing.
class CodeWords : public ::testing::Test
{
protected:
    static constexpr double kDeviceColumn = 300.0; ///< where the device looks
    static constexpr int kColumn = 0;              ///< the only column of the words
    static constexpr int kWidth = 1;
    static constexpr int kHeight = 494;

    static void SetUpTestSuite()
    {
        s_device = new device::VirtualDevice();
        s_model = scannertest::LoadModel(*s_device).release();
        const auto plane = device::MakeScene("plane");
        s_crossings = new std::vector<device::EdgeCrossing>();
        for (int edge = s_device->FirstEdge(); edge <= s_device->LastEdge(); ++edge) {
            const auto crossing =
                s_device->CrossingNear(*plane, {kDeviceColumn, kHeight / 2.0}, edge, kHeight / 2.0);
            if (crossing && crossing->row > 1.0 && crossing->row < kHeight - 2.0) {
                s_crossings->push_back(*crossing);
            }
        }
    }

    static void TearDownTestSuite()
    {
        delete s_crossings;
        delete s_model;
        delete s_device;
    }

    /// The transitions of edge e between the stripes with the digits e - 2 and e - 1 of the pattern string:
    /// a bit that appears rises, a bit that vanishes falls.
    static unsigned int SymbolOfEdge(int edge)
    {
        const std::string& digits = s_device->Parameters().slide.digits;
        const auto digit = [&digits](int index) {
            const int length = static_cast<int>(digits.size());
            return digits[static_cast<std::size_t>((index % length + length) % length)] - '0';
        };
        const int from = digit(edge - 2);
        const int to = digit(edge - 1);
        unsigned int symbol = 0;
        for (int bit = 0; bit < 3; ++bit) {
            const bool before = ((from >> bit) & 1) != 0;
            const bool after = ((to >> bit) & 1) != 0;
            symbol |= before == after ? 0U : (after ? 2U : 1U) << (2 * bit);
        }
        return symbol;
    }

    static CCTImage EmptyWords()
    {
        CCTImage words(kWidth, kHeight, LxCV::CCTImage::eIDT_INT32, true, nullptr);
        words.Clear();
        return words;
    }

    static void Put(CCTImage& words, double row, unsigned int symbol)
    {
        LxCExtremum word(0);
        const int pixel = static_cast<int>(row);
        word.EncodeExtremum(0, false, false, LxCSymbol(symbol), static_cast<int>((row - pixel) * 64.0));
        words.GetInt32PixelFast(kColumn, pixel) = static_cast<int>(word.GetWord());
    }

    static CCTImage WordsOf(std::size_t first, std::size_t count)
    {
        CCTImage words = EmptyWords();
        for (std::size_t i = first; i < first + count; ++i) {
            Put(words, s_crossings->at(i).row, SymbolOfEdge(s_crossings->at(i).edge));
        }
        return words;
    }

    /// The edges of words.
    static EdgeColumns ColumnsOf(const CCTImage& words)
    {
        EdgeColumns columns;
        columns.BeginColumn();
        for (int row = 0; row < kHeight; ++row) {
            const LxCExtremum word = WordAt(words, row);
            if (word.HasEntry()) {
                columns.Add({64 * row + word.GetSubpixelInt(), word.GetSymbolFromExt()});
            }
        }
        return columns;
    }

    /// Reads the edges of the words, and gives the cyclic number found at each whole row.
    static std::map<int, int> Read(CCTImage& words, const DecoderConfig& config = {})
    {
        CodeWordReader(*s_model, config).Read(ColumnsOf(words), words);
        std::map<int, int> named;
        for (int row = 0; row < kHeight; ++row) {
            if (WordAt(words, row).GetLSEdgeIdUntraced() != 0) {
                named[row] = WordAt(words, row).GetLSEdgeIdUntraced();
            }
        }
        return named;
    }

    static LxCExtremum WordAt(const CCTImage& words, int row)
    {
        return LxCExtremum(static_cast<unsigned int>(words.GetInt32PixelFast(kColumn, row)));
    }

    /// Numbers start again at 1 where the digits of the slide do.
    static int CyclicId(int edge)
    {
        return (edge - 1) % static_cast<int>(s_device->Parameters().slide.digits.size()) + 1;
    }

    static std::map<int, int> TrueIds(std::size_t first, std::size_t count)
    {
        std::map<int, int> ids;
        for (std::size_t i = first; i < first + count; ++i) {
            ids[static_cast<int>(s_crossings->at(i).row)] = CyclicId(s_crossings->at(i).edge);
        }
        return ids;
    }

    static device::VirtualDevice* s_device;
    static LxCV::LxCPinholeFramework* s_model;
    static std::vector<device::EdgeCrossing>* s_crossings; ///< of column kDeviceColumn, by ascending row
};

device::VirtualDevice* CodeWords::s_device = nullptr;
LxCV::LxCPinholeFramework* CodeWords::s_model = nullptr;
std::vector<device::EdgeCrossing>* CodeWords::s_crossings = nullptr;

TEST_F(CodeWords, NameEveryEdgeOfAPerfectColumn)
{
    ASSERT_GT(s_crossings->size(), 80U);
    CCTImage words = WordsOf(0, s_crossings->size());
    EXPECT_EQ(Read(words), TrueIds(0, s_crossings->size()));
}

TEST_F(CodeWords, AreNotBelievedWithoutANeighbour)
{
    CCTImage three = WordsOf(20, 3);
    EXPECT_TRUE(Read(three).empty());
    CCTImage four = WordsOf(20, 4);
    EXPECT_EQ(Read(four), TrueIds(20, 4));
}

TEST_F(CodeWords, DoNotReachOverAWideGap)
{
    CCTImage words = WordsOf(10, 3);
    const CCTImage lower = WordsOf(17, 3);
    for (int row = 0; row < kHeight; ++row) {
        words.GetInt32PixelFast(kColumn, row) |= const_cast<CCTImage&>(lower).GetInt32PixelFast(kColumn, row);
    }
    EXPECT_TRUE(Read(words).empty());
}

TEST_F(CodeWords, SurviveOneWrongSymbolWithoutAWrongName)
{
    const auto truth = TrueIds(0, s_crossings->size());
    // Closer to an end of the column fewer than four edges would remain, too few for two code words.
    for (std::size_t wrong = 4; wrong + 4 < s_crossings->size(); ++wrong) {
        for (unsigned int symbol = 1; symbol < 64; symbol += 3) {
            if (symbol == SymbolOfEdge(s_crossings->at(wrong).edge)) {
                continue;
            }
            CCTImage words = WordsOf(0, s_crossings->size());
            Put(words, s_crossings->at(wrong).row, symbol);
            const auto named = Read(words);
            EXPECT_GE(named.size() + 1, truth.size()) << "only the wrong edge may be lost";
            for (const auto& [row, edge] : named) {
                ASSERT_EQ(edge, truth.at(row)) << "edge " << wrong << ", symbol " << symbol;
            }
        }
    }
}

TEST_F(CodeWords, LeaveTheirNameSymbolAndFractionInTheWord)
{
    CCTImage words = WordsOf(0, s_crossings->size());
    const CCTImage before(words);
    Read(words);
    for (const device::EdgeCrossing& crossing : *s_crossings) {
        const int row = static_cast<int>(crossing.row);
        const LxCExtremum word = WordAt(words, row);
        EXPECT_EQ(word.GetLSEdgeIdUntraced(), CyclicId(crossing.edge));
        EXPECT_EQ(word.GetSymbolFromExt().GetValue(), SymbolOfEdge(crossing.edge));
        const LxCExtremum old(static_cast<unsigned int>(before.GetInt32PixelFast(kColumn, row)));
        EXPECT_EQ(word.GetSubpixelInt(), old.GetSubpixelInt());
    }
}

TEST_F(CodeWords, FlagNamedEdgesAndThoseThatThreeOfThemName)
{
    constexpr std::size_t kFirst = 20;
    constexpr std::size_t kCount = 7;
    CCTImage words = WordsOf(kFirst, kCount);
    Read(words);
    for (std::size_t i = 0; i < kCount; ++i) {
        const LxCExtremum word = WordAt(words, static_cast<int>(s_crossings->at(kFirst + i).row));
        EXPECT_TRUE(word.IsContFlag()) << i;
        // The two edges at either end belong to one or two code words.
        EXPECT_EQ(word.IsContFlag2(), i >= 2 && i < kCount - 2) << i;
    }
}

TEST_F(CodeWords, CountInRunsAsLongAsThePresetWants)
{
    constexpr std::size_t kFirst = 20;
    for (const int least : {-1, 0, 1, 2, 3, 5}) {
        DecoderConfig config;
        config.algorithm.GetActiveAlgorithmConfig().m_iMinNumSymbols = least;
        for (std::size_t count = 1; count < 10; ++count) {
            // So many edges make two code words less.
            const bool isRun = count >= 3 && static_cast<int>(count) - 2 >= least;
            CCTImage words = WordsOf(kFirst, count);
            const auto expected = isRun ? TrueIds(kFirst, count) : std::map<int, int>();
            EXPECT_EQ(Read(words, config), expected) << least << " " << count;
        }
    }
}

TEST_F(CodeWords, NameTheirLastEdgeOnlyUnlessOtherSymbolsAreChecked)
{
    constexpr std::size_t kFirst = 20;
    constexpr std::size_t kCount = 7;
    DecoderConfig config;
    config.algorithm.GetActiveAlgorithmConfig().m_bCheckOtherSymbols = false;
    CCTImage words = WordsOf(kFirst, kCount);
    EXPECT_EQ(Read(words, config), TrueIds(kFirst + 2, kCount - 2));
    config.algorithm.GetActiveAlgorithmConfig().m_bCheckOtherSymbols = true;
    words = WordsOf(kFirst, kCount);
    EXPECT_EQ(Read(words, config), TrueIds(kFirst, kCount));
}

TEST_F(CodeWords, AreSilentOnAnEmptyImage)
{
    CCTImage words = EmptyWords();
    EXPECT_TRUE(Read(words).empty());
    CCTImage none;
    const CCTImage one = WordsOf(20, 3);
    CodeWordReader(*s_model, DecoderConfig()).Read(ColumnsOf(one), none);
    EXPECT_FALSE(none.IsValid());
    CCTImage hollow(kWidth, kHeight, LxCV::CCTImage::eIDT_INT32, false, nullptr);
    CodeWordReader(*s_model, DecoderConfig()).Read(ColumnsOf(one), hollow);
    EXPECT_FALSE(hollow.IsValid());
}

TEST_F(CodeWords, AreWrittenToEdgeWordsOnly)
{
    CCTImage bytes(kWidth, kHeight, LxCV::CCTImage::eIDT_UINT8, true, nullptr);
    EXPECT_THROW(CodeWordReader(*s_model, DecoderConfig()).Read(EdgeColumns(), bytes), std::invalid_argument);
}

TEST_F(CodeWords, ReplaceAllWordsOfTheImage)
{
    CCTImage words(kWidth, kHeight, LxCV::CCTImage::eIDT_INT32, 7.0F);
    const CCTImage expected = WordsOf(20, 4);
    CCTImage read(expected);
    Read(read);
    CodeWordReader(*s_model, DecoderConfig()).Read(ColumnsOf(expected), words);
    for (int row = 0; row < kHeight; ++row) {
        ASSERT_EQ(words.GetInt32PixelFast(kColumn, row), read.GetInt32PixelFast(kColumn, row)) << row;
    }
}

TEST_F(CodeWords, AreNotWrittenBesideTheImage)
{
    EdgeColumns columns;
    for (int column = 0; column < kWidth + 2; ++column) {
        columns.BeginColumn();
        for (const int position : {-1, 64 * kHeight - 1, 64 * kHeight, std::numeric_limits<int>::max()}) {
            columns.Add({position, LxCSymbol(5)});
        }
    }
    CCTImage words = EmptyWords();
    CodeWordReader(*s_model, DecoderConfig()).Read(columns, words);
    for (int row = 0; row < kHeight; ++row) {
        ASSERT_EQ(WordAt(words, row).HasEntry(), row == kHeight - 1) << row;
    }
}

TEST_F(CodeWords, OfAnyBitsNameEdgesOfTheSlide)
{
    const int cycle = static_cast<int>(s_device->Parameters().slide.digits.size());
    std::mt19937 random(7);
    for (int trial = 0; trial < 300; ++trial) {
        CCTImage words = EmptyWords();
        for (int row = 0; row < kHeight; ++row) {
            const auto bits = static_cast<unsigned int>(random());
            words.GetInt32PixelFast(kColumn, row) = bits % 4 == 0 ? static_cast<int>(random() & 0xFFF) : 0;
        }
        const CCTImage before(words);
        for (const auto& [row, id] : Read(words)) {
            ASSERT_NE(before.GetInt32PixelFast(kColumn, row), 0) << trial;
            ASSERT_TRUE(id >= 1 && id <= cycle) << trial;
        }
        for (int row = 0; row < kHeight; ++row) {
            ASSERT_EQ(words.GetInt32PixelFast(kColumn, row) & 0xFFF, before.GetInt32PixelFast(kColumn, row));
        }
    }
}

TEST_F(CodeWords, SurviveWordsOfAllBits)
{
    std::mt19937 random(8);
    CCTImage words = EmptyWords();
    for (int row = 0; row < kHeight; ++row) {
        words.GetInt32PixelFast(kColumn, row) = static_cast<int>(random());
    }
    for (const int distance : {std::numeric_limits<int>::min(), -1, 0, std::numeric_limits<int>::max()}) {
        DecoderConfig config;
        config.Edges().m_iMaxCodeLetterDist = distance;
        CCTImage copy(words);
        CodeWordReader(*s_model, config).Read(ColumnsOf(words), copy);
        EXPECT_EQ(copy.GetInt32PixelFast(kColumn, 0) & 0xFFF, words.GetInt32PixelFast(kColumn, 0) & 0xFFF);
    }
}

} // namespace
} // namespace decoder
