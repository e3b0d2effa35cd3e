// Tests of the location of marks on the projector's slide.
#include "calibedgeimages.h"
#include "lxccalibid.h"
#include "lxcimagedata.h"
#include "lxclxcvlibsettings.h"
#include "lxcprojslidecalibbody.h"
#include "orx/logging/logger.h"
#include "slidetestsupport.h"
#include "straightedgetestsupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace LxCV {
namespace {

using TestSupport::CSlideScene;
using TestSupport::CSlideTarget;
using TestSupport::MakeEdge;
using TestSupport::SmallScene;
using TestSupport::SSlide;

constexpr auto eVer = CStraightEdge::eVertical;
constexpr const wchar_t* c_pChannel = L"ORX.Lumorad.LxCProjSlideCalibBody";
constexpr std::size_t c_uiAll = 8; // corners of the two marks of the small scene

void ExpectLog(const Logging::CCapture& capture, Logging::ELevel level, const std::wstring& text)
{
    const auto records = capture.GetRecords();
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].level, level);
    EXPECT_EQ(records[0].channel, c_pChannel);
    EXPECT_EQ(records[0].text, text);
}

void ClearStripeEdge(SSlide& slide, int edge)
{
    for (int y = 0; y < CSlideScene::c_iHeight; ++y) {
        for (int x = 0; x < CSlideScene::c_iWidth; ++x) {
            const LxCLightStripeEdgeSinglePixel word(
                static_cast<std::uint32_t>(slide.Words().GetInt32PixelFast(x, y)));
            if (word.GetLSEdgeIDTraced() == edge) {
                slide.Words().SetInt32PixelFast(x, y, 0);
            }
        }
    }
}

TEST(LocateCalibMarks2, PutsCornersAtPixelsAndIntoTheSlotsOfVerticalEdges)
{
    SSlide slide(SmallScene());
    ASSERT_EQ(slide.Locate(), eCalibOk);
    ASSERT_EQ(slide.target.m_vMarks.size(), c_uiAll);
    for (std::size_t i = 0; i < c_uiAll; ++i) {
        LxCRectCornerCalibMark& mark = slide.target.Corner(i);
        EXPECT_EQ(mark.GetXImg(), std::floor(mark.GetXImg()));
        EXPECT_EQ(mark.GetYImg(), std::floor(mark.GetYImg()));
        const bool isUpper = mark.GetType() <= 2;
        EXPECT_EQ(mark.GetVerEdge()->GetCorner(isUpper), &mark);
        EXPECT_EQ(mark.GetHorEdge()->GetLeftCorner(), nullptr);
        EXPECT_EQ(mark.GetHorEdge()->GetRightCorner(), nullptr);
        const bool isLeft = mark.GetType() == 1 || mark.GetType() == 3;
        const std::size_t row = mark.GetXImg() > 300.0 ? 0 : 1;
        const LxCSensorCoordsCCT place = slide.scene.Corner(row, isLeft, isUpper ? 58 : 59);
        EXPECT_NEAR(mark.GetXImg(), place.x, 2.0); // an edge is drawn as wide as its steps
        EXPECT_NEAR(mark.GetYImg(), place.y, 2.0);
    }
}

TEST(LocateCalibMarks2, TakesColourOfFloatsAlone)
{
    SSlide slide(SmallScene());
    slide.Image().Resize(CSlideScene::c_iWidth, CSlideScene::c_iHeight, CCTImage::eIDT_ARGB8);
    EXPECT_EQ(slide.Locate(), eCalibImageUnsuitable);
}

TEST(LocateCalibMarks2, RefusesOtherMarkerTypes)
{
    SSlide slide(SmallScene());
    for (const int type : {-1, 0, 3}) {
        slide.target.Thres().m_eMarkerTyp = static_cast<LxCCProjSlideCalibThres::EMarkerTyp>(type);
        const Logging::CCapture capture;
        EXPECT_EQ(slide.Locate(), eCalibNotDone);
        ExpectLog(capture, Logging::ELevel::eError,
                  L"LocateCalibMarks2 only works with marker type eMT_BlackInWhite or eMT_WhiteInBlack");
    }
}

TEST(LocateCalibMarks2, RefusesOtherThresholds)
{
    SSlide slide(SmallScene());
    slide.target.m_pThres = std::make_unique<LxCCalibThres>();
    {
        const Logging::CCapture capture;
        EXPECT_EQ(slide.Locate(), eCalibWrongThresholds);
        ExpectLog(capture, Logging::ELevel::eError, L"invalid projector calib thres");
    }
    const Logging::CCapture capture;
    EXPECT_EQ(slide.Identify(), eCalibWrongThresholds);
    EXPECT_EQ(slide.target.ImprovePositionEstimate(nullptr), eCalibWrongThresholds);
    EXPECT_EQ(slide.target.FilterOutByMedian(), eCalibWrongThresholds);
    slide.target.CreateEdgeImgs(slide.algo, slide.data, 6, false);
    slide.target.EnforceVerEdgeConsistency(slide.Words());
    EXPECT_EQ(capture.GetRecords().size(), 4U); // there are no edges to be made consistent
}

TEST(LocateCalibMarks2, AStripeEdgeNeedsTwentyEntries)
{
    for (const int entries : {19, 20}) {
        SSlide slide(SmallScene());
        ClearStripeEdge(slide, 59);
        for (int i = 0; i < entries; ++i) {
            const int x = 630 - 33 * i; // one of them, 333, lies in a column of seeds
            const int fixed = static_cast<int>(slide.scene.EdgeY(59, x) * 64.0);
            LxCLightStripeEdgeSinglePixel word;
            word.EncodeTracedLSEdgeInfo(59, fixed & 63);
            slide.Words().SetInt32PixelFast(x, fixed >> 6, static_cast<int>(word.GetWord()));
        }
        EXPECT_EQ(slide.Locate(), eCalibOk);
        EXPECT_EQ(slide.target.m_vMarks.size(), entries < 20 ? c_uiAll / 2 : c_uiAll) << entries;
        for (std::size_t i = 0; entries < 20 && i < slide.target.m_vMarks.size(); ++i) {
            EXPECT_LE(slide.target.Corner(i).GetType(), 2); // upper corners alone
        }
    }
}

TEST(LocateCalibMarks2, ABrightPointInsideRefusesDarkMarksAlone)
{
    for (const bool brightMarks : {false, true}) {
        for (const float value : {120.0F, 121.0F}) {
            CSlideScene scene = SmallScene();
            scene.brightMarks = brightMarks;
            SSlide slide(scene);
            if (brightMarks) {
                slide.target.Thres().m_eMarkerTyp = LxCCProjSlideCalibThres::eMT_WhiteInBlack;
            }
            // Another channel than the one that edges are found in, in a block that smoothing leaves a middle of.
            const LxCSensorCoordsCCT corner = scene.Corner(0, true, 58);
            for (int y = -2; y <= 9; ++y) {
                for (int x = 2; x <= 8; ++x) {
                    slide.Image()
                        .GetFloat3Fast(static_cast<int>(corner.x) + x, static_cast<int>(corner.y) + y)
                        .set(2, value);
                }
            }
            ASSERT_EQ(slide.Locate(), eCalibOk);
            const bool isRefused = !brightMarks && value > 120.0F;
            EXPECT_EQ(slide.target.m_vMarks.size(), isRefused ? c_uiAll / 2 : c_uiAll) << value;
        }
    }
}

TEST(LocateCalibMarks2, LeavesOutWhatIsMasked)
{
    for (const bool inUse : {false, true}) {
        SSlide slide(SmallScene());
        slide.data.SetProjMaskInUse(inUse);
        for (int y = 0; y < CSlideScene::c_iHeight; ++y) {
            for (int x = 400; x < CSlideScene::c_iWidth; ++x) {
                slide.data.GetImage(LxCCalibData::eProjMask).SetInt32PixelFast(x, y, 0xFFFFFF);
            }
        }
        ASSERT_EQ(slide.Locate(), eCalibOk);
        EXPECT_EQ(slide.target.m_vMarks.size(), inUse ? c_uiAll / 2 : c_uiAll);
    }
}

TEST(LocateCalibMarks2, MarksInTheMarginAreNotUsed)
{
    SSlide slide(SmallScene());
    slide.target.Thres().m_iImgMargin = 200;
    ASSERT_EQ(slide.Locate(), eCalibOk);
    ASSERT_EQ(slide.target.m_vMarks.size(), c_uiAll);
    for (const LxCCalibMark* mark : slide.target.m_vMarks) {
        EXPECT_FALSE(mark->UseForCalib());
        EXPECT_FALSE(mark->IsInvalid());
    }
}

TEST(LocateCalibMarks2, LooksForCornersTenColumnsInside)
{
    // Sides lie 5 pixels from the middle of a mark, and at row 82 another 1.67 to the right.
    const auto countAt = [](double left, double right) {
        CSlideScene scene = SmallScene();
        scene.centers = {right - 5.0 - 1.67, left + 5.0 - 1.67};
        SSlide slide(scene);
        slide.Locate();
        return slide.target.m_vMarks.size();
    };
    EXPECT_EQ(countAt(10.5, 647.5), c_uiAll);
    EXPECT_EQ(countAt(9.5, 647.5), c_uiAll - 2);
    EXPECT_EQ(countAt(10.5, 648.5), c_uiAll - 2);
}

TEST(LocateCalibMarks2, LooksForCornersFiveRowsInside)
{
    CSlideScene scene;
    scene.marked = {47, 115};
    scene.centers = {450.0, 350.0, 250.0};
    SSlide slide(scene);
    for (const int edge : {47, 115, 116}) {
        scene.DrawStripeEdge(slide.Words(), edge);
    }
    slide.Locate();
    // Edge 47 lies in row 4 at the third column of marks, edge 116 in row 489 at the first one.
    EXPECT_EQ(slide.target.m_vMarks.size(), 20U);
    int atTop = 0;
    int atBottom = 0;
    for (const LxCCalibMark* mark : slide.target.m_vMarks) {
        EXPECT_GE(mark->GetYImg(), 5.0);
        EXPECT_LE(mark->GetYImg(), 488.0);
        atTop += mark->GetYImg() == 5.0 ? 1 : 0;
        atBottom += mark->GetYImg() == 488.0 ? 1 : 0;
    }
    EXPECT_GE(atTop, 2);
    EXPECT_GE(atBottom, 2);
}

TEST(LocateCalibMarks2, NeedsAStripeEdge)
{
    SSlide slide(SmallScene());
    slide.Words().Clear();
    const Logging::CCapture capture;
    EXPECT_EQ(slide.Locate(), eCalibHorizontalFitPoor);
    EXPECT_TRUE(slide.target.m_vMarks.empty());
    EXPECT_TRUE(capture.GetRecords().empty());
}

/// Replaces the stripe edges by two that run as told.
void DrawTwoEdges(SSlide& slide, const std::function<double(double)>& first,
                  const std::function<double(double)>& second)
{
    slide.Words().Clear();
    for (int x = 0; x < CSlideScene::c_iWidth; ++x) {
        for (const bool isFirst : {true, false}) {
            const int fixed = static_cast<int>((isFirst ? first : second)(x)*64.0);
            LxCLightStripeEdgeSinglePixel word;
            word.EncodeTracedLSEdgeInfo(isFirst ? 58 : 70, fixed & 63);
            slide.Words().SetInt32PixelFast(x, fixed >> 6, static_cast<int>(word.GetWord()));
        }
    }
}

TEST(LocateCalibMarks2, StripesMustBeStraight)
{
    for (const double limit : {5e-5, -5e-5}) {
        SSlide slide(SmallScene());
        slide.target.Thres().m_dMaxPolyFitQuad = limit;
        slide.target.Thres().m_dMaxDiffFitLinear = 1.0;
        const auto bent = [](double bend) {
            return [bend](double x) { return 100.0 + bend * (x - 329.0) * (x - 329.0); };
        };
        DrawTwoEdges(slide, bent(4e-5), [](double) { return 300.0; });
        EXPECT_EQ(slide.Locate(), eCalibOk);
        DrawTwoEdges(slide, bent(-6e-5), [](double) { return 300.0; });
        const Logging::CCapture capture;
        EXPECT_EQ(slide.Locate(), eCalibHorizontalFitPoor);
        const auto records = capture.GetRecords();
        ASSERT_EQ(records.size(), 1U);
        EXPECT_EQ(records[0].level, Logging::ELevel::eError);
        EXPECT_EQ(records[0].channel, c_pChannel);
        const std::wstring start = L"The square part of the polynom fit (-0.0000";
        const std::wstring end = L") is above the threshold value.\n";
        EXPECT_EQ(records[0].text.substr(0, start.size()), start);
        EXPECT_EQ(records[0].text.size(), start.size() + 6 + end.size()); // ten decimals
        EXPECT_EQ(records[0].text.substr(start.size() + 6), end);
    }
}

TEST(LocateCalibMarks2, StripesMustBeParallel)
{
    for (const double limit : {0.025, -0.025}) {
        for (const double slope : {0.02, 0.03}) {
            SSlide slide(SmallScene());
            slide.target.Thres().m_dMaxDiffFitLinear = limit;
            DrawTwoEdges(
                slide, [](double) { return 100.0; }, [slope](double x) { return 300.0 + slope * x; });
            const Logging::CCapture capture;
            EXPECT_EQ(slide.Locate(), slope < 0.025 ? eCalibOk : eCalibHorizontalFitPoor);
            EXPECT_TRUE(capture.GetRecords().empty());
        }
    }
}

TEST(LocateCalibMarks2, ReplacesStripeEdgesByParabolas)
{
    SSlide slide(SmallScene());
    // One entry is off by three rows, and one is missing.
    const int y = static_cast<int>(slide.scene.EdgeY(58, 200));
    const int word = slide.Words().GetInt32PixelFast(200, y);
    slide.Words().SetInt32PixelFast(200, y, 0);
    slide.Words().SetInt32PixelFast(200, y - 3, word);
    slide.Words().SetInt32PixelFast(300, static_cast<int>(slide.scene.EdgeY(58, 300)), 0);
    ASSERT_EQ(slide.Locate(), eCalibOk);
    for (const auto& edge : slide.target.GetHorEdges()) {
        if (std::abs(edge->GetElementAtSubsectionWSubpixelAcc(250) - slide.scene.EdgeY(58, 250)) < 2.0) {
            for (const int x : {100, 200, 300, 600}) {
                // Words are rounded down to 1/64, and so is the parabola.
                EXPECT_NEAR(edge->GetElementAtSubsectionWSubpixelAcc(x), slide.scene.EdgeY(58, x), 0.04) << x;
            }
        }
    }
}

TEST(LocateCalibMarks2, DrawsParabolasAndCornersForDebugging)
{
    SSlide slide(SmallScene());
    ASSERT_EQ(slide.Locate(true), eCalibOk);
    const CCTImage& picture = slide.data.GetImage(LxCCalibData::eProjDebugImage);
    const int y = static_cast<int>(std::lround(slide.scene.EdgeY(70, 329)));
    EXPECT_EQ(picture.GetInt32PixelFast(329, y), 0xFFFF00);
    for (std::size_t i = 0; i < c_uiAll; ++i) {
        const LxCRectCornerCalibMark& mark = slide.target.Corner(i);
        EXPECT_EQ(
            picture.GetInt32PixelFast(static_cast<int>(mark.GetXImg()), static_cast<int>(mark.GetYImg())),
            0x00FF00);
    }
}

// ------------------------------------------------------------------------------------------- pairs of sides

/// A side of a mark: x = column + slope * (y - first) for rows first to last.
LxCCBRectEdge Side(double column, int first, int last, bool isMax, double slope = 0.0)
{
    return MakeEdge<LxCCBRectEdge>(
        eVer, first, last, [=](double y) { return column + slope * (y - first); }, isMax);
}

TEST(CompareVerEdges, AddsUpWhatTellsAgainstAPair)
{
    const CSlideTarget target;
    const LxCCBRectEdge left = Side(50.0, 40, 46, true); // 7 rows
    // The width 10 is what is expected; 20 / 14 is within 0.5 of 1.5.
    EXPECT_EQ(target.CompareVerEdges(left, Side(60.0, 40, 46, false)), 0);
    EXPECT_EQ(target.CompareVerEdges(Side(60.0, 40, 46, false), left), 0);
    EXPECT_EQ(target.CompareVerEdges(left, Side(60.0, 42, 46, false)), 2);
    EXPECT_EQ(target.CompareVerEdges(left, Side(60.0, 38, 49, false)), 5); // 20 / 19 is within 0.5, too
    // Width 12.5: 2.5 off, 25 / 14 within 0.5 of 1.5.
    EXPECT_EQ(target.CompareVerEdges(left, Side(62.5, 40, 46, false)), 2);
    // Width 15: 5 off, and 30 / 14 = 2.142857 is 0.642857 off: 5 + 12.857.
    EXPECT_EQ(target.CompareVerEdges(left, Side(65.0, 40, 46, false)), 17);
    // A slope of 1 / 8 against 0: 20 / 8 = 2.5, at a mean column of 59.625 + 3 / 8 = 60.
    EXPECT_EQ(target.CompareVerEdges(left, Side(59.625, 40, 46, false, 0.125)), 2);
}

TEST(CompareVerEdges, AsksForThePolaritiesOfTheMarkerType)
{
    for (const bool isDark : {true, false}) {
        CSlideTarget target;
        target.Thres().m_eMarkerTyp =
            isDark ? LxCCProjSlideCalibThres::eMT_BlackInWhite : LxCCProjSlideCalibThres::eMT_WhiteInBlack;
        for (const bool leftIsMax : {true, false}) {
            for (const bool rightIsMax : {true, false}) {
                const LxCCBRectEdge left = Side(50.0, 40, 46, leftIsMax);
                const LxCCBRectEdge right = Side(60.0, 40, 46, rightIsMax);
                const bool isMark = leftIsMax == isDark && rightIsMax != isDark;
                EXPECT_EQ(target.CompareVerEdges(left, right), isMark ? 0 : 0x7FFFFFFF);
                EXPECT_EQ(target.CompareVerEdges(right, left), isMark ? 0 : 0x7FFFFFFF);
            }
        }
    }
}

TEST(CompareVerEdges, EdgesWithoutALineAreNoPair)
{
    const CSlideTarget target;
    const LxCCBRectEdge side = Side(50.0, 40, 46, true);
    EXPECT_EQ(target.CompareVerEdges(side, Side(60.0, 40, 40, false)), 0x7FFFFFFF);
    EXPECT_EQ(target.CompareVerEdges(LxCCBRectEdge(eVer), side), 0x7FFFFFFF);
}

TEST(CompareVerEdges, TellsThresholdsThatItCannotUse)
{
    CSlideTarget target;
    const LxCCBRectEdge side = Side(50.0, 40, 46, true);
    target.Thres().m_eMarkerTyp = static_cast<LxCCProjSlideCalibThres::EMarkerTyp>(0);
    {
        const Logging::CCapture capture;
        EXPECT_EQ(target.CompareVerEdges(side, side), 1);
        ExpectLog(capture, Logging::ELevel::eError,
                  L"CompareVerEdges only works with marker type eMT_BlackInWhite or eMT_WhiteInBlack");
    }
    target.m_pThres = std::make_unique<LxCCalibThres>();
    const Logging::CCapture capture;
    EXPECT_EQ(target.CompareVerEdges(side, side), 1);
    ExpectLog(capture, Logging::ELevel::eError, L"invalid projector calib thres");
}

/// A target that has traced these sides: column, first row, last row, whether a maximum.
struct STraced
{
    struct SLine
    {
        int column;
        int first;
        int last;
        bool isMax;
    };

    explicit STraced(const std::vector<SLine>& lines) : ids(TestSupport::WordImage(200, 200))
    {
        CCTImage image = TestSupport::WordImage(200, 200);
        for (const SLine& line : lines) {
            TestSupport::PutEdge(
                image, eVer, line.first, line.last, [&](double) { return line.column; }, line.isMax);
        }
        target.TraceRectEdgesVer(image, ids, 0, 0, 0, std::numeric_limits<int>::max());
    }

    /// Index of the edge at a column.
    std::size_t IndexOf(int column) const
    {
        const auto& edges = target.GetVerEdges();
        const auto found = std::find_if(edges.begin(), edges.end(), [column](const auto& edge) {
            return edge->GetLen() > 0 && edge->GetElementWSubpixelAcc(0) == column;
        });
        return static_cast<std::size_t>(found - edges.begin());
    }

    /// The column of the partner, 0 without one.
    int PartnerOf(int column) const
    {
        const std::uint32_t partner = target.GetVerEdgePartners().at(IndexOf(column));
        return partner == 0
                   ? 0
                   : static_cast<int>(target.GetVerEdges().at(partner - 1)->GetElementWSubpixelAcc(0));
    }

    bool HasPixels(int column) const
    {
        int count = 0;
        for (int y = 0; y < 200; ++y) {
            count += ids.GetInt32PixelFast(column, y) != 0 ? 1 : 0;
        }
        return count > 0;
    }

    CSlideTarget target;
    CCTImage ids;
};

TEST(EnforceVerEdgeConsistency, KeepsPairsThatChooseEachOther)
{
    STraced traced({{50, 80, 86, true}, {60, 80, 86, false}, {120, 81, 87, true}, {131, 80, 86, false}});
    traced.target.EnforceVerEdgeConsistency(traced.ids);
    EXPECT_EQ(traced.PartnerOf(50), 60);
    EXPECT_EQ(traced.PartnerOf(60), 50);
    EXPECT_EQ(traced.PartnerOf(120), 131);
    EXPECT_EQ(traced.PartnerOf(131), 120);
    for (const int column : {50, 60, 120, 131}) {
        EXPECT_TRUE(traced.HasPixels(column));
    }
}

TEST(EnforceVerEdgeConsistency, AnEdgeWhosePartnerPrefersAnotherLosesItsPixels)
{
    // 62 is as wide as expected from 52; from 50 it is not, but 50 has no better one.
    STraced traced({{50, 80, 86, true}, {52, 80, 86, true}, {62, 80, 86, false}});
    traced.target.EnforceVerEdgeConsistency(traced.ids);
    EXPECT_EQ(traced.PartnerOf(50), 0);
    EXPECT_EQ(traced.PartnerOf(52), 62);
    EXPECT_EQ(traced.PartnerOf(62), 52);
    EXPECT_FALSE(traced.HasPixels(50));
    EXPECT_TRUE(traced.HasPixels(52));
    EXPECT_TRUE(traced.HasPixels(62));
}

TEST(EnforceVerEdgeConsistency, ScoresOfThirtyAreNoPair)
{
    // The ends differ by 14 and the starts by 15, or 16: 29 and 30 at a width of 10. Lengths of 30 and 59, or 60, ask
    // for a width of 44 to 45, 0.5 of which is free: 20 / 89 is 1.28 off.
    STraced traced({{50, 80, 94, true}, {60, 80, 94, false}, {120, 80, 86, true}, {130, 100, 110, false}});
    traced.target.EnforceVerEdgeConsistency(traced.ids);
    // 20 / 30 is 0.83 off: 16.7 points.
    EXPECT_EQ(traced.PartnerOf(50), 60);
    EXPECT_EQ(traced.PartnerOf(120), 0); // starts that differ by 20, ends by 24
    EXPECT_FALSE(traced.HasPixels(120));
    EXPECT_FALSE(traced.HasPixels(130));
}

TEST(EnforceVerEdgeConsistency, AgreesWithAllComparisons)
{
    std::mt19937 random(31);
    for (int trial = 0; trial < 40; ++trial) {
        std::vector<STraced::SLine> lines;
        for (int column = 10; column < 190; column += 3 + static_cast<int>(random() % 6)) {
            const int first = 70 + static_cast<int>(random() % 6);
            lines.push_back({column, first, first + 5 + static_cast<int>(random() % 4), random() % 2 == 0});
        }
        STraced traced(lines);
        traced.target.EnforceVerEdgeConsistency(traced.ids);
        const auto& edges = traced.target.GetVerEdges();
        std::vector<std::uint32_t> best(edges.size());
        for (std::size_t i = 0; i < edges.size(); ++i) {
            int least = 30;
            for (std::size_t k = 0; k < edges.size(); ++k) {
                const int score = k == i ? least : traced.target.CompareVerEdges(*edges[i], *edges[k]);
                if (score < least) {
                    least = score;
                    best[i] = static_cast<std::uint32_t>(k + 1);
                }
            }
        }
        for (std::size_t i = 0; i < edges.size(); ++i) {
            const bool isMutual = best[i] != 0 && best[best[i] - 1] == i + 1;
            ASSERT_EQ(traced.target.GetVerEdgePartners()[i], isMutual ? best[i] : 0) << "trial " << trial;
        }
    }
}

TEST(EnforceVerEdgeConsistency, UnusableThresholdsLeaveTheImage)
{
    STraced traced({{50, 80, 86, true}, {60, 80, 86, false}, {90, 80, 86, false}});
    traced.target.Thres().m_eMarkerTyp = static_cast<LxCCProjSlideCalibThres::EMarkerTyp>(7);
    const Logging::CCapture capture;
    traced.target.EnforceVerEdgeConsistency(traced.ids);
    EXPECT_EQ(capture.GetRecords().size(), 1U);
    EXPECT_EQ(traced.PartnerOf(50), 0);
    EXPECT_TRUE(traced.HasPixels(50));
}

// ------------------------------------------------------------------------------------------- edge images

TEST(LxCProjSlideCalibBodyEdges, ThresholdsOfSixPartsComeFromTheStrongestValues)
{
    std::mt19937 random(8);
    for (const auto& [width, height] : {std::pair(480, 400), std::pair(481, 401)}) {
        CCTImage image(width, height, CCTImage::eIDT_FLOAT32_3, 0.0F);
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                const auto value = [&] { return static_cast<float>(random() % 2000) / 8.0F - 100.0F; };
                image.SetFloat3PixelFast(x, y, LxCFloat3(value(), value(), value()));
            }
        }
        SExtremumThresholds thresholds;
        ASSERT_TRUE(LxCProjSlideCalibBody::DecideForBestSettings(image, thresholds));
        ASSERT_EQ(thresholds.regions.size(), 6U);
        const int partWidth = (width + 2) / 3;
        for (int part = 0; part < 6; ++part) {
            const int left = part % 3 * partWidth;
            const int top = part / 3 * (height / 2);
            const LxCRoi& region = thresholds.regions[static_cast<std::size_t>(part)];
            EXPECT_EQ(region.GetLeftCol(), left);
            EXPECT_EQ(region.GetTopRow(), top);
            EXPECT_EQ(region.GetWidth(), partWidth);
            EXPECT_EQ(region.GetHeight(), height / 2);
            std::vector<double> alone;
            std::vector<double> together;
            for (int y = top + 75; y < top + height / 2 - 75; ++y) {
                for (int x = left + 75; x < std::min(left + partWidth - 75, width); ++x) {
                    for (int c = 0; c < 3; ++c) {
                        const auto at = [&](int row) { return std::abs(image.GetFloat3Fast(x, row).get(c)); };
                        alone.push_back(at(y));
                        together.push_back(at(y - 1) + at(y) + at(y + 1));
                    }
                }
            }
            const auto threshold = [](std::vector<double> values) {
                std::sort(values.rbegin(), values.rend());
                double sum = 0.0;
                for (std::size_t i = 200; i < 600; ++i) {
                    sum += values.at(i);
                }
                return static_cast<int>(sum / 400.0 * 0.2);
            };
            EXPECT_EQ(thresholds.minLocal[static_cast<std::size_t>(part)], threshold(alone));
            EXPECT_EQ(thresholds.minTotal[static_cast<std::size_t>(part)], threshold(together));
        }
    }
}

TEST(LxCProjSlideCalibBodyEdges, SmallImagesAndOtherTypesGiveNoThresholds)
{
    SExtremumThresholds thresholds{{}, {1}, {2}};
    EXPECT_FALSE(LxCProjSlideCalibBody::DecideForBestSettings(
        CCTImage(450, 300, CCTImage::eIDT_FLOAT32_3, 1.0F), thresholds));
    EXPECT_FALSE(LxCProjSlideCalibBody::DecideForBestSettings(
        CCTImage(640, 480, CCTImage::eIDT_FLOAT32, 1.0F), thresholds));
    EXPECT_FALSE(LxCProjSlideCalibBody::DecideForBestSettings(CCTImage(), thresholds));
    EXPECT_EQ(thresholds.minLocal, std::vector<int>{1});
    EXPECT_TRUE(thresholds.regions.empty());
}

int CountWords(const CCTImage& image)
{
    int count = 0;
    for (int y = 0; y < image.GetHeight(); ++y) {
        for (int x = 0; x < image.GetWidth(); ++x) {
            count += image.GetInt32PixelFast(x, y) != 0 ? 1 : 0;
        }
    }
    return count;
}

TEST(LxCProjSlideCalibBodyEdges, AutomaticThresholdsComeFromTheMeasurement)
{
    SSlide slide(SmallScene());
    ASSERT_EQ(slide.Locate(), eCalibOk); // smoothes
    const CCTImage& edges = slide.data.GetImage(LxCCalibData::eProjVerEdges);
    slide.target.CreateEdgeImgs(slide.algo, slide.data, 6, false);
    const int found = CountWords(edges);
    EXPECT_GT(found, 20);
    slide.target.Thres().m_bUseAutoThresholds = true;
    slide.target.CreateEdgeImgs(slide.algo, slide.data, 6, false); // there is no measurement
    EXPECT_EQ(CountWords(edges), found);
    const auto measurement = std::make_shared<LxCImageData>();
    ASSERT_TRUE(measurement->Init(CSlideScene::c_iWidth, CSlideScene::c_iHeight, CSlideScene::c_iWidth,
                                  CSlideScene::c_iHeight, nullptr, CCTImage::eIDT_ARGB8));
    slide.algo.SetImageData(measurement);
    for (const float value : {100.0F, 1e5F}) {
        *measurement->GetPatImg() =
            CCTImage(CSlideScene::c_iWidth, CSlideScene::c_iHeight, CCTImage::eIDT_FLOAT32_3, value);
        slide.target.CreateEdgeImgs(slide.algo, slide.data, 6, false);
        if (value < 1e3F) {
            EXPECT_GT(CountWords(edges), 20); // thresholds of 20 and 60
        } else {
            EXPECT_EQ(CountWords(edges), 0); // of 20000 and more
        }
    }
}

TEST(LxCProjSlideCalibBodyEdges, ChecksTheGradientOnDemand)
{
    SSlide slide(SmallScene());
    ASSERT_EQ(slide.Locate(), eCalibOk);
    CCTImage& smoothed = slide.data.GetImage(LxCCalibData::eProjImageSmoothed);
    // A steep edge that runs mostly along x: its gradient is 45 degrees and more off the x axis.
    for (int y = 0; y < CSlideScene::c_iHeight; ++y) {
        for (int x = 0; x < CSlideScene::c_iWidth; ++x) {
            smoothed.SetFloat3PixelFast(
                x, y,
                LxCFloat3(std::clamp(
                    100.0F * (static_cast<float>(y) - 250.0F - 0.4F * (static_cast<float>(x) - 300.0F)),
                    -300.0F, 300.0F)));
        }
    }
    const CCTImage& edges = slide.data.GetImage(LxCCalibData::eProjVerEdges);
    slide.target.CreateEdgeImgs(slide.algo, slide.data, 6, false);
    const int unchecked = CountWords(edges);
    slide.target.CreateEdgeImgs(slide.algo, slide.data, 6, true);
    EXPECT_GT(unchecked, 100);
    EXPECT_LT(CountWords(edges), unchecked / 4);
}

TEST(LxCProjSlideCalibBodyEdges, DrawsItsRegionsForDebugging)
{
    SSlide slide(SmallScene());
    ASSERT_EQ(slide.Locate(true), eCalibOk);
    const CCTImage& picture = slide.data.GetImage(LxCCalibData::eProjDebugImage);
    EXPECT_NE(picture.GetInt32PixelFast(0, 0), 0x00FF00);
    LxCLxCVLibSettings::SetDrawMarkerPosForDebugging(true);
    slide.target.CreateEdgeImgs(slide.algo, slide.data, 6, false);
    LxCLxCVLibSettings::SetDrawMarkerPosForDebugging(false);
    EXPECT_EQ(picture.GetInt32PixelFast(0, 0), 0x00FF00);
}

} // namespace
} // namespace LxCV
