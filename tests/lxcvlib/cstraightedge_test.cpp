// Tests of straight edges: tracing.
#include "cstraightedge.h"

#include "straightedgetestsupport.h"

#include <gtest/gtest.h>

#include <array>
#include <limits>
#include <optional>
#include <random>
#include <vector>

namespace LxCV {
namespace {

using TestSupport::EdgeWord;
using TestSupport::PixelAt;
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

} // namespace
} // namespace LxCV
