// Tests of straight edges: tracing.
#include "cstraightedge.h"

#include "allocationcount.h"
#include "matrixroutines.h"
#include "straightedgetestsupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <limits>
#include <optional>
#include <random>
#include <vector>

namespace LxCV {
namespace {

using TestSupport::EdgeWord;
using TestSupport::PixelAt;
using TestSupport::PutEdge;
using TestSupport::WordImage;

constexpr auto eHor = CStraightEdge::eHorizontal;
constexpr auto eVer = CStraightEdge::eVertical;
constexpr std::array c_aOrientations{eHor, eVer};

/// What a trace should give: from `first` on one word a position, 60000 for a gap.
struct SExpected
{
    int first = 0;
    std::vector<std::uint32_t> words;
};

/// Tracing as it is defined, pixel by pixel, without any short cut.
class CDefinition
{
public:
    CDefinition(CCTImage& image, CStraightEdge::EOrientation orientation, int method)
        : m_Image(image), m_eOrientation(orientation), m_iMethod(method),
          m_iLength(orientation == eVer ? image.GetHeight() : image.GetWidth()),
          m_iBreadth(orientation == eVer ? image.GetWidth() : image.GetHeight())
    {}

    SExpected Trace(int position, int across)
    {
        m_Seed = LxCCalibEdge(PixelAt(m_Image, m_eOrientation, position, across));
        std::vector<std::uint32_t> left = Walk(position, 2, -1, across);
        const std::vector<std::uint32_t> right = Walk(position + 1, m_iLength - 3, 1, across);
        SExpected expected;
        expected.first = position - static_cast<int>(left.size()) + 1;
        expected.words.assign(left.rbegin(), left.rend());
        expected.words.insert(expected.words.end(), right.begin(), right.end());
        return expected;
    }

private:
    std::vector<std::uint32_t> Walk(int position, int last, int step, int across)
    {
        std::vector<std::uint32_t> words;
        for (; (last - position) * step >= 0; position += step) {
            const std::optional<int> offset = Search(position, across);
            if (offset) {
                across += *offset;
                const int fraction = PixelAt(m_Image, m_eOrientation, position, across) & 63;
                words.push_back(static_cast<std::uint32_t>(across * 64 + fraction));
            } else if (m_iMethod == 4) {
                words.push_back(60000);
            } else {
                break;
            }
        }
        while (!words.empty() && words.back() == 60000) {
            words.pop_back();
        }
        return words;
    }

    std::optional<int> Search(int position, int across)
    {
        const int from = across - m_iMethod - 1 < 0 ? 0 : -(m_iMethod + 1);
        const int end = across + m_iMethod + 2 >= m_iBreadth ? 0 : m_iMethod + 2;
        std::optional<int> best;
        for (int offset = from; offset < end; ++offset) {
            const LxCCalibEdge pixel(PixelAt(m_Image, m_eOrientation, position, across + offset));
            if (pixel.HasEntry() && pixel.IsLocalMax() == m_Seed.IsLocalMax() &&
                pixel.GetCalibEdgeId() == m_Seed.GetCalibEdgeId() &&
                (!best || std::abs(offset) < std::abs(*best))) {
                best = offset;
            }
        }
        return best;
    }

    CCTImage& m_Image;
    CStraightEdge::EOrientation m_eOrientation;
    int m_iMethod;
    int m_iLength;
    int m_iBreadth;
    LxCCalibEdge m_Seed;
};

std::vector<std::uint32_t> WordsOf(const CStraightEdge& edge)
{
    std::vector<std::uint32_t> words;
    for (int i = 0; i < edge.GetLen(); ++i) {
        words.push_back(edge.GetElement(i).GetWord());
    }
    return words;
}

/// An image in which `percent` of the pixels have entries, of two polarities and two ids.
CCTImage RandomEdges(std::mt19937& random, int width, int height, int percent)
{
    CCTImage image = WordImage(width, height);
    const auto upTo = [&random](int last) { return std::uniform_int_distribution(0, last)(random); };
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            if (upTo(99) < percent) {
                image.SetInt32PixelFast(x, y, EdgeWord(upTo(7) != 0, upTo(63), upTo(15) == 0 ? 1 : 0));
            }
        }
    }
    return image;
}

TEST(CStraightEdge, TracesAsDefinedOnRandomImages)
{
    std::mt19937 random(17);
    const auto upTo = [&random](int last) { return std::uniform_int_distribution(0, last)(random); };
    int entries = 0;
    for (int trial = 0; trial < 4000; ++trial) {
        const int width = 1 + upTo(24);
        const int height = 1 + upTo(24);
        CCTImage image = RandomEdges(random, width, height, 20 + upTo(70));
        const auto orientation = c_aOrientations.at(static_cast<std::size_t>(trial % 2));
        const int method = upTo(5) - 1;
        const int x = upTo(width - 1);
        const int y = upTo(height - 1);
        image.SetInt32PixelFast(x, y, EdgeWord(upTo(3) != 0, upTo(63)));
        CStraightEdge edge(orientation);
        edge.Trace(image, x, y, method);
        const bool vertical = orientation == eVer;
        const SExpected expected =
            CDefinition(image, orientation, method).Trace(vertical ? y : x, vertical ? x : y);
        ASSERT_EQ(edge.First(), expected.first) << "trial " << trial;
        ASSERT_EQ(WordsOf(edge), expected.words) << "trial " << trial;
        entries += edge.GetLen();
    }
    EXPECT_GT(entries, 10000);
}

TEST(CStraightEdge, GoesFromPositionTwoToSizeMinusThree)
{
    for (const auto orientation : c_aOrientations) {
        CCTImage image = WordImage(50, 50);
        TestSupport::PutEdge(image, orientation, 0, 49, [](double) { return 20.5; });
        CStraightEdge fromMiddle(orientation);
        const bool vertical = orientation == eVer;
        fromMiddle.Trace(image, vertical ? 20 : 25, vertical ? 25 : 20, 1);
        EXPECT_EQ(fromMiddle.First(), 2);
        EXPECT_EQ(fromMiddle.Last(), 47);
        EXPECT_EQ(fromMiddle.GetElementWSubpixelAcc(0), 20.5);
    }
}

TEST(CStraightEdge, TakesPolarityAndIdFromTheSeed)
{
    CCTImage image = WordImage(20, 20);
    TestSupport::PutEdge(
        image, eHor, 0, 19, [](double) { return 10.0; }, false, 0xA5);
    CStraightEdge edge(eHor);
    edge.Trace(image, 10, 10, 1);
    EXPECT_FALSE(edge.GetTypeIsLocalMax());
    EXPECT_EQ(edge.GetEdgeId(), 0xA5);
    image.SetInt32PixelFast(10, 10, EdgeWord(true, 7, 3));
    edge.Trace(image, 10, 10, 1);
    EXPECT_TRUE(edge.GetTypeIsLocalMax());
    EXPECT_EQ(edge.GetEdgeId(), 3);
    EXPECT_EQ(edge.GetLen(), 1); // the neighbours are of the other polarity and id
}

TEST(CStraightEdge, SeesTheParityOfAStripeEdgeAsItsPolarity)
{
    // Words of traced stripe edges: bits 6 to 13 the number, bits 22 and 23 set. 28 and 29 share bits 8 to 15.
    CCTImage image = WordImage(30, 20);
    for (int x = 0; x < 30; ++x) {
        image.SetInt32PixelFast(x, 10, 0xC00000 + (28 << 6));
        image.SetInt32PixelFast(x, 11, 0xC00000 + (29 << 6));
    }
    CStraightEdge even(eHor);
    CStraightEdge odd(eHor);
    even.Trace(image, 15, 10, 4);
    odd.Trace(image, 15, 11, 4);
    EXPECT_FALSE(even.GetTypeIsLocalMax());
    EXPECT_TRUE(odd.GetTypeIsLocalMax());
    for (int i = 0; i < 26; ++i) {
        EXPECT_EQ(even.GetElementWSubpixelAcc(i), 10.0);
        EXPECT_EQ(odd.GetElementWSubpixelAcc(i), 11.0);
    }
}

TEST(CStraightEdge, OfTwoPixelsAsNearTakesTheOneBefore)
{
    for (const auto orientation : c_aOrientations) {
        CCTImage image = WordImage(20, 20);
        PixelAt(image, orientation, 10, 10) = EdgeWord(true, 0);
        PixelAt(image, orientation, 11, 9) = EdgeWord(true, 1);
        PixelAt(image, orientation, 11, 11) = EdgeWord(true, 2);
        CStraightEdge edge(orientation);
        edge.Trace(image, 10, 10, 1);
        EXPECT_EQ(WordsOf(edge), (std::vector<std::uint32_t>{10 * 64, 9 * 64 + 1}));
    }
}

TEST(CStraightEdge, ReachesOnePixelMoreThanTheMethod)
{
    for (int method = 0; method < 6; ++method) {
        CCTImage image = WordImage(40, 40);
        image.SetInt32PixelFast(20, 20, EdgeWord(true, 0));
        image.SetInt32PixelFast(21, 20 + method + 1, EdgeWord(true, 0));
        CStraightEdge edge(eHor);
        edge.Trace(image, 20, 20, method);
        EXPECT_EQ(edge.GetLen(), 2) << method;
        image.SetInt32PixelFast(21, 20 + method + 1, 0);
        image.SetInt32PixelFast(21, 20 - method - 2, EdgeWord(true, 0));
        edge.Trace(image, 20, 20, method);
        EXPECT_EQ(edge.GetLen(), 1) << method;
    }
}

TEST(CStraightEdge, LooksOnlyAwayFromTheNearBorder)
{
    CCTImage image = WordImage(20, 20);
    image.SetInt32PixelFast(10, 1, EdgeWord(true, 0)); // 1 - 1 - 1 < 0: the span starts at the seed's row
    image.SetInt32PixelFast(11, 0, EdgeWord(true, 0));
    CStraightEdge edge(eHor);
    edge.Trace(image, 10, 1, 1);
    EXPECT_EQ(edge.GetLen(), 1);
    image.SetInt32PixelFast(11, 0, 0);
    image.SetInt32PixelFast(11, 2, EdgeWord(true, 0));
    edge.Trace(image, 10, 1, 1);
    EXPECT_EQ(edge.GetLen(), 2);
}

TEST(CStraightEdge, LeavesOutTheMiddleNextToTheFarBorder)
{
    CCTImage image = WordImage(20, 20);
    TestSupport::PutEdge(image, eHor, 0, 19, [](double) { return 17.0; });
    CStraightEdge edge(eHor);
    edge.Trace(image, 10, 17, 1); // 17 + 1 + 2 reaches 20: rows 15 and 16 are searched
    EXPECT_EQ(edge.GetLen(), 0);
    TestSupport::PutEdge(image, eHor, 0, 19, [](double) { return 16.0; });
    edge.Trace(image, 10, 17, 1);
    EXPECT_EQ(edge.GetLen(), 16);
    EXPECT_EQ(edge.GetElementWSubpixelAcc(8), 16.0);
}

TEST(CStraightEdge, BridgesGapsWithMethodFourAlone)
{
    for (const int method : {1, 4}) {
        CCTImage image = WordImage(60, 40);
        TestSupport::PutEdge(image, eHor, 10, 50, [](double) { return 20.25; });
        for (const int x : {20, 21, 40}) {
            image.SetInt32PixelFast(x, 20, 0);
        }
        CStraightEdge edge(eHor);
        edge.Trace(image, 30, 20, method);
        EXPECT_EQ(edge.First(), method == 4 ? 10 : 22);
        EXPECT_EQ(edge.Last(), method == 4 ? 50 : 39);
        int gaps = 0;
        for (int i = 0; i < edge.GetLen(); ++i) {
            gaps += edge.GetElement(i).IsContorGap() ? 1 : 0;
        }
        EXPECT_EQ(gaps, method == 4 ? 3 : 0);
    }
}

TEST(CStraightEdge, TellsRow937AndAHalfAsAGap)
{
    CCTImage image = WordImage(10, 1000);
    TestSupport::PutEdge(image, eHor, 0, 9, [](double) { return 937.5; });
    CStraightEdge edge(eHor);
    edge.Trace(image, 5, 937, 1);
    EXPECT_EQ(edge.GetLen(), 6);
    EXPECT_EQ(edge.GetElementWSubpixelAcc(0), -1.0);
}

TEST(CStraightEdge, HasNoEntriesFromOutsideOfTheImage)
{
    constexpr int c_iMin = std::numeric_limits<int>::min();
    constexpr int c_iMax = std::numeric_limits<int>::max();
    CCTImage image = WordImage(20, 20);
    TestSupport::PutEdge(image, eHor, 0, 19, [](double) { return 10.0; });
    for (const auto orientation : c_aOrientations) {
        CStraightEdge edge(orientation);
        for (const int bad : {c_iMin, -1, 20, c_iMax}) {
            edge.Trace(image, 10, 10, 1);
            edge.Trace(image, bad, 10, 1);
            EXPECT_EQ(edge.GetLen(), 0);
            edge.Trace(image, 10, bad, 4);
            EXPECT_EQ(edge.GetLen(), 0);
        }
    }
}

TEST(CStraightEdge, SurvivesAnyMethod)
{
    CCTImage image = WordImage(20, 20);
    TestSupport::PutEdge(image, eHor, 0, 19, [](double) { return 10.0; });
    for (const int method : {std::numeric_limits<int>::min(), -2, 1000, std::numeric_limits<int>::max()}) {
        CStraightEdge edge(eHor);
        edge.Trace(image, 10, 10, method);
        EXPECT_EQ(edge.GetLen(), 0) << method; // an empty span, or one that fits nowhere
    }
}

TEST(CStraightEdge, HasNoEntriesInImagesOfOtherTypes)
{
    CStraightEdge edge(eHor);
    CCTImage empty;
    edge.Trace(empty, 0, 0, 1);
    EXPECT_EQ(edge.GetLen(), 0);
    for (const auto type : {CCTImage::eIDT_UINT8, CCTImage::eIDT_FLOAT32, CCTImage::eIDT_FLOAT32_3}) {
        CCTImage image(30, 30, type, 65.0F);
        edge.Trace(image, 15, 15, 1);
        EXPECT_EQ(edge.GetLen(), 0);
    }
    CCTImage noPixels(30, 30, CCTImage::eIDT_INT32, false, nullptr);
    edge.Trace(noPixels, 15, 15, 1);
    EXPECT_EQ(edge.GetLen(), 0);
}

TEST(CStraightEdge, TracesTinyImages)
{
    // Positions run from 2 to size - 3, so that an image of 5 pixels has one.
    for (const int size : {1, 2, 3, 4, 5, 6}) {
        CCTImage image = WordImage(size, 9);
        TestSupport::PutEdge(image, eHor, 0, size - 1, [](double) { return 4.0; });
        int longest = 0;
        for (int x = 0; x < size; ++x) {
            CStraightEdge edge(eHor);
            edge.Trace(image, x, 4, 1);
            longest = std::max(longest, edge.GetLen());
        }
        // A walk downwards starts at the seed, wherever that is.
        EXPECT_EQ(longest, size < 3 ? 0 : size - 2) << size;
    }
}

TEST(CStraightEdge, TakesNoMemoryForFurtherTraces)
{
    CCTImage image = WordImage(300, 300);
    TestSupport::PutEdge(image, eVer, 0, 299, [](double) { return 150.0; });
    CStraightEdge edge(eVer);
    edge.Trace(image, 150, 10, 1);
    const AllocationCount allocations;
    for (int y = 5; y < 290; ++y) {
        edge.Trace(image, 150, y, 1);
        ASSERT_EQ(edge.GetLen(), 296);
    }
    EXPECT_EQ(allocations.Get(), 0U);
}

TEST(CStraightEdge, KeepsItsEntriesWhenItHandsOverItsRoom)
{
    CCTImage image = WordImage(300, 50);
    TestSupport::PutEdge(image, eHor, 0, 299, [](double p) { return 20.0 + 0.01 * p; });
    CStraightEdge edge(eHor);
    edge.Trace(image, 150, 21, 1);
    const std::vector<std::uint32_t> before = WordsOf(edge);
    CStraightEdge next(eHor);
    edge.HandRoomTo(next);
    EXPECT_EQ(WordsOf(edge), before);
    EXPECT_EQ(next.GetLen(), 0);
    const AllocationCount allocations;
    next.Trace(image, 150, 21, 1);
    EXPECT_EQ(allocations.Get(), 0U);
    EXPECT_EQ(WordsOf(next), before);
    edge.HandRoomTo(edge);
    EXPECT_EQ(WordsOf(edge), before);
}

TEST(CStraightEdge, FitsAndReplacesItsEntriesWhereverItsSeedWas)
{
    CCTImage image = WordImage(100, 100);
    PutEdge(image, eHor, 5, 90, [](double x) { return 30.0 + 0.1 * x + 0.001 * x * x; });
    for (int x = 20; x < 23; ++x) {
        for (int y = 0; y < 100; ++y) {
            image.SetInt32PixelFast(x, y, 0);
        }
    }
    for (const int seed : {5, 40, 90}) {
        CStraightEdge edge(eHor);
        edge.Trace(image, seed, static_cast<int>(30.0 + 0.1 * seed + 0.001 * seed * seed), 4);
        ASSERT_EQ(edge.GetLen(), 86);
        EXPECT_EQ(edge.CountEntries(), 83);
        std::vector<double> positions;
        std::vector<double> values;
        for (int i = 0; i < edge.GetLen(); ++i) {
            if (!edge.GetElement(i).IsContorGap()) {
                positions.push_back(5.0 + i);
                values.push_back(edge.GetElementWSubpixelAcc(i));
            }
        }
        std::array<double, 3> expected{};
        ASSERT_TRUE(FitPolynomial(positions.data(), values.data(), 83, 2, expected.data()));
        std::array<double, 3> fitted{};
        ASSERT_TRUE(edge.FitToPoly(fitted, edge.GetLen(), 0, true));
        EXPECT_EQ(fitted, expected);
        edge.ReplaceByPolynomial(std::array{40.0, -0.501});
        EXPECT_EQ(edge.CountEntries(), 86);
        for (int i = 0; i < edge.GetLen(); ++i) {
            const double value = std::max(0.0, 40.0 - 0.501 * (5 + i)); // before the image from column 80 on
            ASSERT_EQ(edge.GetElement(i).GetWord(), static_cast<std::uint32_t>(value * 64.0)) << i;
        }
    }
    CStraightEdge empty(eHor);
    EXPECT_EQ(empty.CountEntries(), 0);
    empty.ReplaceByPolynomial(std::array{1.0});
    EXPECT_EQ(empty.GetLen(), 0);
}

TEST(CStraightEdge, CopiesAreIndependent)
{
    CStraightEdge edge = TestSupport::MakeEdge(eVer, 5, 60, [](double p) { return 30.0 + 0.1 * p; });
    const CStraightEdge copy(edge);
    const std::vector<std::uint32_t> before = WordsOf(edge);
    edge.Trace(CCTImage(), 0, 0, 1);
    EXPECT_EQ(WordsOf(copy), before);
    EXPECT_EQ(copy.GetOrientation(), eVer);
    EXPECT_TRUE(copy.GetTypeIsLocalMax());
}

} // namespace
} // namespace LxCV
