// Tests of the tracing of all edges of an image.
#include "lxcrectedgelocator.h"

#include "allocationcount.h"
#include "c2dstraightline.h"
#include "lxccalibid.h"
#include "straightedgetestsupport.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <limits>
#include <memory>
#include <random>
#include <utility>
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
constexpr int c_iMax = std::numeric_limits<int>::max();

ECalibError TraceAll(LxCRectEdgeLocator& locator, CStraightEdge::EOrientation orientation,
                     const CCTImage& edgeImage, CCTImage& idImage, int drawWidth = 1, int method = 1,
                     int minLen = 1, int maxLen = c_iMax)
{
    return orientation == eVer
               ? locator.TraceRectEdgesVer(edgeImage, idImage, drawWidth, method, minLen, maxLen)
               : locator.TraceRectEdgesHor(edgeImage, idImage, drawWidth, method, minLen, maxLen);
}

const LxCRectEdgeLocator::Edges& EdgesOf(const LxCRectEdgeLocator& locator,
                                         CStraightEdge::EOrientation orientation)
{
    return orientation == eVer ? locator.GetVerEdges() : locator.GetHorEdges();
}

int IdAt(CCTImage& ids, CStraightEdge::EOrientation orientation, int position, int across)
{
    return LxCCalibId(PixelAt(ids, orientation, position, across)).GetId();
}

/// All edges of an image as tracing is defined, step by step.
class CDefinition
{
public:
    CDefinition(CCTImage& edgeImage, CStraightEdge::EOrientation orientation)
        : ids(WordImage(edgeImage.GetWidth(), edgeImage.GetHeight())), m_Image(edgeImage),
          m_eOrientation(orientation)
    {}

    void Run(int drawWidth, int method, int minLen, int maxLen)
    {
        const bool vertical = m_eOrientation == eVer;
        const int lines = vertical ? m_Image.GetHeight() : m_Image.GetWidth();
        const int size = vertical ? m_Image.GetWidth() : m_Image.GetHeight();
        for (int offset = 0; offset < lines; offset += 3) {
            const int line = offset == 0       ? lines / 2
                             : offset % 2 == 1 ? (lines + offset) / 2
                                               : (lines - offset) / 2 - 1;
            if (line < 0) {
                continue;
            }
            for (int place = 2; place <= size - 2; ++place) {
                if (PixelAt(m_Image, m_eOrientation, line, place) == 0 ||
                    LxCCalibId(PixelAt(ids, m_eOrientation, line, place)).IsContourPixel()) {
                    continue;
                }
                auto edge = std::make_unique<CStraightEdge>(m_eOrientation);
                edge->Trace(m_Image, vertical ? place : line, vertical ? line : place, method);
                if (minLen <= edge->GetLen() && edge->GetLen() <= maxLen) {
                    edges.push_back(std::move(edge));
                    Draw(drawWidth);
                }
            }
        }
    }

    CCTImage ids;
    std::vector<std::unique_ptr<CStraightEdge>> edges;

private:
    void Draw(int drawWidth)
    {
        const CStraightEdge& edge = *edges.back();
        const int word = LxCCalibId().Encode(static_cast<int>(edges.size()));
        int oldId = 0;
        if (edge.CheckForPrevEntries(ids, 0, 0, oldId)) {
            const CStraightEdge& old = *edges.at(static_cast<std::size_t>(oldId) - 1);
            C2DStraightLine line;
            double residual = 0.0;
            double oldResidual = 0.0;
            if (!edge.FitToStrLine(&line, edge.GetLen(), 0, true, residual, true) ||
                !old.FitToStrLine(&line, old.GetLen(), 0, true, oldResidual, true) ||
                oldResidual <= residual) {
                return;
            }
            old.DrawEx(ids, word, drawWidth, true, 0, 0);
        }
        edge.DrawEx(ids, word, drawWidth, true, 0, 0);
    }

    CCTImage& m_Image;
    CStraightEdge::EOrientation m_eOrientation;
};

bool HaveSamePixels(const CCTImage& a, const CCTImage& b)
{
    return a.DoTypeAndDimMatchWith(b) &&
           std::memcmp(a.GetBuffer(), b.GetBuffer(), static_cast<std::size_t>(a.GetSizeInBytes())) == 0;
}

TEST(LxCRectEdgeLocator, TracesAsDefinedOnRandomImages)
{
    std::mt19937 random(23);
    const auto upTo = [&random](int last) { return std::uniform_int_distribution(0, last)(random); };
    std::size_t found = 0;
    for (int trial = 0; trial < 1500; ++trial) {
        const int width = 1 + upTo(40);
        const int height = 1 + upTo(40);
        const int percent = upTo(60);
        CCTImage image = WordImage(width, height);
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                if (upTo(99) < percent) {
                    image.SetInt32PixelFast(x, y, EdgeWord(upTo(3) != 0, upTo(63)));
                }
            }
        }
        const auto orientation = c_aOrientations.at(static_cast<std::size_t>(trial % 2));
        const int method = trial % 5 == 0 ? 4 : upTo(2);
        const int minLen = upTo(4);
        const int maxLen = minLen + upTo(20);
        const int drawWidth = upTo(6);
        CDefinition expected(image, orientation);
        expected.Run(drawWidth, method, minLen, maxLen);
        LxCRectEdgeLocator locator;
        CCTImage ids = WordImage(width, height);
        ASSERT_EQ(TraceAll(locator, orientation, image, ids, drawWidth, method, minLen, maxLen), eCalibOk);
        ASSERT_TRUE(HaveSamePixels(ids, expected.ids)) << "trial " << trial;
        const auto& edges = EdgesOf(locator, orientation);
        ASSERT_EQ(edges.size(), expected.edges.size()) << "trial " << trial;
        for (std::size_t i = 0; i < edges.size(); ++i) {
            ASSERT_EQ(edges[i]->First(), expected.edges[i]->First()) << "trial " << trial;
            ASSERT_EQ(edges[i]->GetLen(), expected.edges[i]->GetLen()) << "trial " << trial;
            ASSERT_EQ(edges[i]->GetOrientation(), orientation);
        }
        found += edges.size();
    }
    EXPECT_GT(found, 20000U);
}

TEST(LxCRectEdgeLocator, NumbersEdgesInTheOrderInWhichTheyAreFound)
{
    for (const auto orientation : c_aOrientations) {
        CCTImage image = WordImage(60, 60);
        PutEdge(image, orientation, 5, 50, [](double) { return 40.0; });
        PutEdge(
            image, orientation, 5, 50, [](double) { return 10.0; }, false);
        PutEdge(image, orientation, 45, 55, [](double) { return 25.0; }); // not in the middle
        LxCRectEdgeLocator locator;
        CCTImage ids = WordImage(60, 60);
        ASSERT_EQ(TraceAll(locator, orientation, image, ids), eCalibOk);
        const auto& edges = EdgesOf(locator, orientation);
        ASSERT_EQ(edges.size(), 3U);
        EXPECT_FALSE(edges[0]->GetTypeIsLocalMax());
        EXPECT_EQ(edges[1]->GetElementWSubpixelAcc(0), 40.0);
        EXPECT_EQ(edges[2]->GetElementWSubpixelAcc(0), 25.0);
        EXPECT_EQ(IdAt(ids, orientation, 30, 10), 1);
        EXPECT_EQ(IdAt(ids, orientation, 30, 40), 2);
        EXPECT_EQ(IdAt(ids, orientation, 50, 25), 3);
        EXPECT_EQ(PixelAt(ids, orientation, 50, 25), 0xFE0003);
        EXPECT_TRUE(EdgesOf(locator, orientation == eVer ? eHor : eVer).empty());
    }
}

TEST(LxCRectEdgeLocator, KeepsEdgesOfBothLimitsOfLength)
{
    for (const auto orientation : c_aOrientations) {
        CCTImage image = WordImage(80, 80);
        for (int i = 0; i < 5; ++i) {
            PutEdge(image, orientation, 30, 49 + i,
                    [i](double) { return 10.0 + 10.0 * i; }); // 20 + i entries
        }
        LxCRectEdgeLocator locator;
        CCTImage ids = WordImage(80, 80);
        ASSERT_EQ(TraceAll(locator, orientation, image, ids, 1, 1, 21, 23), eCalibOk);
        const auto& edges = EdgesOf(locator, orientation);
        ASSERT_EQ(edges.size(), 3U);
        for (int i = 0; i < 3; ++i) {
            EXPECT_EQ(edges[static_cast<std::size_t>(i)]->GetLen(), 21 + i);
        }
        EXPECT_EQ(IdAt(ids, orientation, 40, 10), 0);
        EXPECT_EQ(IdAt(ids, orientation, 40, 50), 0);
    }
}

/// A ragged edge through the middle, and a straight one that runs into it: the latter is found later.
CCTImage TouchingEdges(CStraightEdge::EOrientation orientation, bool laterIsStraighter)
{
    CCTImage image = WordImage(80, 80);
    const auto ragged = [](double p) { return std::fmod(p, 2.0) == 0.0 ? 30.0 : 30.9; };
    const auto straight = [](double) { return 30.5; };
    if (laterIsStraighter) {
        PutEdge(image, orientation, 30, 60, ragged);
        PutEdge(image, orientation, 10, 28, straight);
    } else {
        PutEdge(image, orientation, 30, 60, straight);
        PutEdge(image, orientation, 10, 28, ragged);
    }
    return image;
}

TEST(LxCRectEdgeLocator, AStraighterEdgeTakesOverThePixelsThatItTouches)
{
    for (const auto orientation : c_aOrientations) {
        const CCTImage image = TouchingEdges(orientation, true);
        LxCRectEdgeLocator locator;
        CCTImage ids = WordImage(80, 80);
        // Drawn 6 pixels beyond its ends, the first edge reaches into the second one.
        ASSERT_EQ(TraceAll(locator, orientation, image, ids, 6), eCalibOk);
        ASSERT_EQ(EdgesOf(locator, orientation).size(), 2U);
        for (const int position : {10, 20, 28, 40, 60}) {
            EXPECT_EQ(IdAt(ids, orientation, position, 30), 2) << position;
        }
    }
}

TEST(LxCRectEdgeLocator, AnEdgeThatIsLessStraightIsListedButNotDrawn)
{
    for (const auto orientation : c_aOrientations) {
        const CCTImage image = TouchingEdges(orientation, false);
        LxCRectEdgeLocator locator;
        CCTImage ids = WordImage(80, 80);
        ASSERT_EQ(TraceAll(locator, orientation, image, ids, 6), eCalibOk);
        EXPECT_GE(EdgesOf(locator, orientation).size(), 2U); // found again from each of its seeds
        EXPECT_EQ(EdgesOf(locator, orientation)[1]->GetLen(), 19);
        EXPECT_EQ(IdAt(ids, orientation, 24, 30), 1);
        EXPECT_EQ(IdAt(ids, orientation, 20, 30), 0);
        EXPECT_EQ(IdAt(ids, orientation, 40, 30), 1);
    }
}

TEST(LxCRectEdgeLocator, StopsAfterAllEdgesThatIdsCanTell)
{
    for (const auto orientation : c_aOrientations) {
        // Two columns of single entries, a pixel apart from each other: more than 4095 of them in all.
        CCTImage image = orientation == eVer ? WordImage(9000, 9) : WordImage(9, 9000);
        for (int across = 0; across < 9000; across += 2) {
            PixelAt(image, orientation, 4, across) = EdgeWord(true, 0);
        }
        LxCRectEdgeLocator locator;
        CCTImage ids = orientation == eVer ? WordImage(9000, 9) : WordImage(9, 9000);
        ASSERT_EQ(TraceAll(locator, orientation, image, ids, 0, -1), eCalibOk);
        EXPECT_EQ(EdgesOf(locator, orientation).size(), LxCRectEdgeLocator::sc_uiMaxEdges);
        EXPECT_EQ(IdAt(ids, orientation, 4, 2), 1);
        EXPECT_EQ(IdAt(ids, orientation, 4, 8190), 4095);
        EXPECT_EQ(IdAt(ids, orientation, 4, 8192), 0);
    }
}

TEST(LxCRectEdgeLocator, ClearsTheIdImageAndAddsToItsEdges)
{
    CCTImage image = WordImage(40, 40);
    PutEdge(image, eHor, 5, 35, [](double) { return 20.0; });
    LxCRectEdgeLocator locator;
    CCTImage ids = WordImage(40, 40);
    ids.SetInt32PixelFast(0, 0, 99);
    ASSERT_EQ(TraceAll(locator, eHor, image, ids), eCalibOk);
    EXPECT_EQ(ids.GetInt32PixelFast(0, 0), 0);
    ASSERT_EQ(TraceAll(locator, eHor, image, ids), eCalibOk);
    EXPECT_EQ(locator.GetHorEdges().size(), 2U);
    EXPECT_EQ(IdAt(ids, eHor, 20, 20), 2);
    locator.RemoveRectEdges();
    EXPECT_TRUE(locator.GetHorEdges().empty());
    EXPECT_TRUE(locator.GetVerEdges().empty());
}

TEST(LxCRectEdgeLocator, FindsNothingInImagesThatDoNotFit)
{
    CCTImage image = WordImage(40, 40);
    PutEdge(image, eHor, 5, 35, [](double) { return 20.0; });
    LxCRectEdgeLocator locator;
    CCTImage smaller = WordImage(39, 40);
    CCTImage floats(40, 40, CCTImage::eIDT_FLOAT32, 1.0F);
    CCTImage empty;
    EXPECT_EQ(TraceAll(locator, eHor, image, smaller), eCalibOk);
    EXPECT_EQ(TraceAll(locator, eHor, image, floats), eCalibOk);
    EXPECT_EQ(TraceAll(locator, eHor, floats, smaller), eCalibOk);
    EXPECT_EQ(TraceAll(locator, eHor, empty, empty), eCalibOk);
    EXPECT_TRUE(locator.GetHorEdges().empty());
}

TEST(LxCRectEdgeLocator, SurvivesTinyImagesAndAnyArguments)
{
    constexpr int c_iMin = std::numeric_limits<int>::min();
    for (const int width : {1, 2, 3, 5, 7}) {
        for (const int height : {1, 2, 3, 5, 7}) {
            CCTImage image = WordImage(width, height);
            for (int y = 0; y < height; ++y) {
                PutEdge(image, eHor, 0, width - 1, [y](double) { return y; });
            }
            for (const int argument : {c_iMin, -1, 0, 1, 4, c_iMax}) {
                for (const auto orientation : c_aOrientations) {
                    LxCRectEdgeLocator locator;
                    CCTImage ids = WordImage(width, height);
                    EXPECT_EQ(
                        TraceAll(locator, orientation, image, ids, argument, argument, argument, c_iMax),
                        eCalibOk);
                    EXPECT_EQ(TraceAll(locator, orientation, image, ids, 1, 1, 0, argument), eCalibOk);
                }
            }
        }
    }
}

/// Words that no edge detector writes, for all methods, those that bridge gaps among them.
TEST(LxCRectEdgeLocator, TracesAnyWordsInsideTheImage)
{
    constexpr int c_iMin = std::numeric_limits<int>::min();
    std::mt19937 random(99);
    const auto upTo = [&random](int last) { return std::uniform_int_distribution(0, last)(random); };
    std::size_t found = 0;
    for (int trial = 0; trial < 400; ++trial) {
        const int width = 1 + upTo(40);
        const int height = 1 + upTo(40);
        const std::array words{static_cast<int>(random()), -1, c_iMin, c_iMax, 1 << upTo(30)};
        const bool isMixed = upTo(1) != 0;
        const int percent = upTo(100);
        CCTImage image = WordImage(width, height);
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                const int word = isMixed ? static_cast<int>(random()) : words[trial % words.size()];
                image.SetInt32PixelFast(x, y, upTo(99) < percent ? word : 0);
            }
        }
        const int method = std::array{4, 4, 0, 1, 2, 3, 5, -1, c_iMin, c_iMax}.at(trial % 10);
        const int drawWidth = std::array{1, 6, 0, 100, -1, c_iMin, c_iMax}.at(trial % 7);
        for (const auto orientation : c_aOrientations) {
            LxCRectEdgeLocator locator;
            CCTImage ids = WordImage(width, height);
            ASSERT_EQ(TraceAll(locator, orientation, image, ids, drawWidth, method, 1), eCalibOk);
            const int along = orientation == eVer ? height : width;
            const int across = orientation == eVer ? width : height;
            for (const auto& edge : EdgesOf(locator, orientation)) {
                ASSERT_GE(edge->First(), 0) << trial;
                ASSERT_LT(edge->Last(), along) << trial;
                for (int i = 0; i < edge->GetLen(); ++i) {
                    if (!edge->GetElement(i).IsContorGap()) {
                        ASSERT_GE(edge->GetElementWSubpixelAcc(i), 0.0) << trial;
                        ASSERT_LT(edge->GetElementWSubpixelAcc(i), across) << trial;
                    }
                }
                ++found;
            }
        }
    }
    EXPECT_GT(found, 1000U);
}

TEST(LxCRectEdgeLocator, TellsThatMemoryHasRunOut)
{
    CCTImage image = WordImage(400, 400);
    for (int i = 10; i < 390; i += 10) {
        PutEdge(image, eHor, 5, 395, [i](double) { return i; });
    }
    CCTImage ids = WordImage(400, 400);
    LxCRectEdgeLocator locator;
    {
        const AllocationLimit limit(1000, 5); // buffers of edges
        const ECalibError result = TraceAll(locator, eHor, image, ids);
        EXPECT_EQ(result, AllocationLimit::IsEffective() ? eCalibNoMemory : eCalibOk);
        EXPECT_EQ(locator.GetHorEdges().size() < 38U, AllocationLimit::IsEffective());
    }
    locator.RemoveRectEdges();
    EXPECT_EQ(TraceAll(locator, eHor, image, ids), eCalibOk);
    EXPECT_EQ(locator.GetHorEdges().size(), 38U);
}

} // namespace
} // namespace LxCV
