// Tests of the identification of marks on the projector's slide, and of what improves their positions.
#include "frameworkprobe.h"
#include "lxclxcvlibsettings.h"
#include "lxcprojslidecalibbody.h"
#include "orx/logging/logger.h"
#include "slidetestsupport.h"
#include "straightedgetestsupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <deque>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <vector>

namespace LxCV {
namespace {

using TestSupport::CSlideScene;
using TestSupport::CSlideTarget;
using TestSupport::MakeEdge;
using TestSupport::SmallScene;
using TestSupport::SSlide;
using EType = LxCRectCornerCalibMark::EType;

constexpr auto eHor = CStraightEdge::eHorizontal;
constexpr auto eVer = CStraightEdge::eVertical;
constexpr const wchar_t* c_pChannel = L"ORX.Lumorad.LxCProjSlideCalibBody";
constexpr int c_iSize = 500;   // pixels of the images that edges are made in
constexpr int c_iColumns = 13; // marks a row of the standard slide

/// Marks on edges of their own: each vertical edge is a side of one mark, and holds its upper and lower corner.
class CHandMade
{
public:
    CSlideTarget target;

    /// Adds both corners of one side of the mark in a row (from 0) and column (from 1): x = side(y) for 8 rows.
    /// @return the upper corner; the lower one follows it in the list
    LxCRectCornerCalibMark& AddSide(int row, int column, bool isLeft,
                                    const std::function<double(double)>& side)
    {
        const int top = 20 + 33 * column;
        m_Edges.push_back(MakeEdge<LxCCBRectEdge>(eVer, top, top + 7, side, true, c_iSize));
        LxCCBRectEdge& ver = m_Edges.back();
        const std::size_t first = target.m_vMarks.size();
        for (const bool isUpper : {true, false}) {
            const double y = isUpper ? top : top + 7;
            auto mark = std::make_unique<LxCRectCornerCalibMark>(std::floor(side(y)), y, &StripeEdge(y), &ver,
                                                                 isLeft, isUpper);
            mark->SetRect(&RectOf(row * c_iColumns + column));
            target.m_vMarks.push_back(mark.release());
        }
        return target.Corner(first);
    }

    /// Two rows with marks at these columns of the slide, both sides.
    void AddRows(const std::vector<int>& columns)
    {
        for (int row = 0; row < 2; ++row) {
            for (const int column : columns) {
                AddSide(row, column, true,
                        [row](double y) { return 400.0 - 150.0 * row + 0.01 * (y - 249.0); });
                AddSide(row, column, false,
                        [row](double y) { return 410.0 - 150.0 * row + 0.01 * (y - 249.0); });
            }
        }
    }

private:
    /// The stripe edge of a row of the image, level.
    LxCCBRectEdge& StripeEdge(double y)
    {
        for (LxCCBRectEdge& edge : m_Edges) {
            if (edge.GetOrientation() == eHor && edge.GetElementWSubpixelAcc(0) == y) {
                return edge;
            }
        }
        m_Edges.push_back(MakeEdge<LxCCBRectEdge>(
            eHor, 3, c_iSize - 4, [y](double) { return y; }, true, c_iSize));
        return m_Edges.back();
    }

    LxCCBRect& RectOf(int id)
    {
        for (LxCCBRect* rect : target.m_vRects) {
            if (rect->GetId() == id) {
                return *rect;
            }
        }
        auto rect = std::make_unique<LxCCBRect>();
        rect->SetId(id);
        target.m_vRects.push_back(rect.release());
        return *target.m_vRects.back();
    }

    std::deque<LxCCBRectEdge> m_Edges; ///< stay where they are
};

/// A corner on a level stripe edge at row 100, and an image of words.
struct SCornerOnEdge
{
    explicit SCornerOnEdge(int type)
        : hor(MakeEdge<LxCCBRectEdge>(eHor, 10, 30, [](double) { return 100.0; })),
          words(TestSupport::WordImage(200, 200)),
          mark(15.0, 100.0, &hor, nullptr, type == 1 || type == 3, type <= 2)
    {}

    void Put(int x, int number, bool isTraced = true)
    {
        words.SetInt32PixelFast(x, 100, (isTraced ? 0x400000 : 0x200000) + number * 64 + 5);
    }

    LxCCBRectEdge hor; ///< 21 entries, the middle one at column 20
    CCTImage words;
    LxCRectCornerCalibMark mark;
    CSlideTarget target;
};

TEST(DetPatternColumn, IsTheIndexOfTheMarkedStripeFromOne)
{
    const std::vector<int> stripes{10, 20, 28, 38, 50, 58, 74, 84, 92, 102, 114, 122, 138};
    for (int type = 1; type <= 4; ++type) {
        for (std::size_t i = 0; i < stripes.size(); ++i) {
            for (const int off : {-1, 0, 1}) {
                SCornerOnEdge corner(type);
                corner.Put(20, stripes[i] + off);
                // The upper side has the stripe's number, the lower one the next.
                const bool fits = off == (type <= 2 ? 0 : 1);
                EXPECT_EQ(corner.target.DetPatternColumn(&corner.words, corner.mark),
                          fits ? static_cast<int>(i) + 1 : 0);
            }
        }
    }
}

TEST(DetPatternColumn, ReadsTheWordNearestToTheMiddleOfTheEdge)
{
    SCornerOnEdge corner(1);
    EXPECT_EQ(corner.target.DetPatternColumn(&corner.words, corner.mark), 0);
    const auto expectAfter = [&](int x, int number, int column, bool isTraced = true) {
        corner.Put(x, number, isTraced);
        EXPECT_EQ(corner.target.DetPatternColumn(&corner.words, corner.mark), column) << x;
    };
    expectAfter(9, 10, 0); // beside the edge
    expectAfter(31, 10, 0);
    expectAfter(10, 10, 1); // its ends
    expectAfter(30, 20, 2); // to the right first
    expectAfter(12, 28, 3);
    expectAfter(21, 38, 3, false); // no stripe edge
    expectAfter(19, 38, 4);
    expectAfter(21, 50, 5);
    expectAfter(20, 58, 6);
}

TEST(DetPatternColumn, IsZeroWithoutAnythingToRead)
{
    SCornerOnEdge corner(1);
    corner.Put(20, 50);
    EXPECT_EQ(corner.target.DetPatternColumn(nullptr, corner.mark), 0);
    EXPECT_EQ(corner.target.DetPatternColumn(&corner.words, LxCRectCornerCalibMark(false)), 0);
    const CCTImage triples(200, 200, CCTImage::eIDT_FLOAT32_3, 1.0F);
    EXPECT_EQ(corner.target.DetPatternColumn(&triples, corner.mark), 0);
    const CCTImage tiny(1, 1, CCTImage::eIDT_INT32, true, nullptr);
    EXPECT_EQ(corner.target.DetPatternColumn(&tiny, corner.mark), 0);
    LxCCBRectEdge empty(eHor);
    const LxCRectCornerCalibMark onEmpty(1.0, 1.0, &empty, nullptr, true, true);
    EXPECT_EQ(corner.target.DetPatternColumn(&corner.words, onEmpty), 0);
}

/// Where the camera sees a slide position at a depth in the projector's frame.
LxCSensorCoordsCCT PixelOf(const TestSupport::CCameraModel& model, double slideCol, double slideRow,
                           double depth)
{
    using namespace TestSupport;
    const Vector direction = DirectionFromImage(model.projector, slideCol, slideRow);
    const Vector inProjector = (static_cast<Real>(depth) / direction[2]) * direction;
    const Vector pixel = ImageFromPoint(model.camera, OuterFromInner(model.projector, inProjector));
    return {static_cast<double>(pixel[0]), static_cast<double>(pixel[1])};
}

TEST(DetPatternRow, IsTheNearestRowOfTheSlideFromOne)
{
    const TestSupport::CCameraModel model = TestSupport::PlainModel();
    const TestSupport::CFrameworkProbe framework(model);
    ASSERT_TRUE(framework.IsCalibrated());
    SCornerOnEdge corner(1);
    for (const int rows : {3, 5}) {
        corner.target.Thres().m_iNrOfRows = rows;
        for (const int edge : {59, 70, 84}) {
            corner.Put(20, edge);
            for (double slideCol = 110.0; slideCol < 7000.0; slideCol += 230.0) {
                const LxCSensorCoordsCCT pixel = PixelOf(model, slideCol, model.NominalPosition(edge), 33.0);
                corner.mark.SetXImg(pixel.x);
                corner.mark.SetYImg(pixel.y);
                const int expected = static_cast<int>((7000.0 - slideCol) / 7000.0 * (rows + 1) + 0.5);
                EXPECT_EQ(corner.target.DetPatternRow(&corner.words, corner.mark, framework), expected)
                    << slideCol << ' ' << edge;
            }
        }
    }
}

TEST(DetPatternRow, IsZeroWithoutAStripeEdgeOrAPattern)
{
    const TestSupport::CFrameworkProbe framework(TestSupport::PlainModel());
    SCornerOnEdge corner(1);
    EXPECT_EQ(corner.target.DetPatternRow(&corner.words, corner.mark, framework), 0);
    corner.Put(20, 50);
    EXPECT_NE(corner.target.DetPatternRow(&corner.words, corner.mark, framework), 0);
    const LxCPinholeFramework uncalibrated;
    EXPECT_EQ(corner.target.DetPatternRow(&corner.words, corner.mark, uncalibrated), 0);
}

TEST(IdentifySlide, TriangulationTellsTheSameRowsAsTheColumnOfTheImage)
{
    const TestSupport::CCameraModel model = TestSupport::PlainModel();
    TestSupport::CFrameworkProbe framework(model);
    constexpr std::array c_aCenters{5250.0, 3500.0, 1750.0};
    for (std::size_t row = 0; row < c_aCenters.size(); ++row) {
        SCornerOnEdge corner(1);
        corner.Put(20, 74);
        const LxCSensorCoordsCCT pixel =
            PixelOf(model, c_aCenters.at(row) - 50.0, model.NominalPosition(74), 33.0);
        auto mark =
            std::make_unique<LxCRectCornerCalibMark>(pixel.x, pixel.y, &corner.hor, nullptr, true, true);
        corner.target.m_vMarks.push_back(mark.release());
        LxCCalibData data;
        EXPECT_EQ(corner.target.IdentifyCalibMarks(&corner.words, data, &framework),
                  eCalibTooFewVerticalFits);
        // 74 is the seventh marked stripe.
        EXPECT_EQ(corner.target.Corner(0).GetRectId(), static_cast<int>(row) * c_iColumns + 7);
        const LxC3DCoordsCCT world = corner.target.GetWorldCoords(corner.target.Corner(0));
        EXPECT_EQ(world.x, c_aCenters.at(row) - 50.0);
        EXPECT_EQ(world.y, 50.0 * 73);
    }
}

/// The square of a corner in column 1 of the slide, at a column of an image of 200 pixels.
int RectIdAt(double x, int visibleRows, int rows)
{
    SCornerOnEdge corner(1);
    corner.Put(20, 10);
    corner.target.Thres().m_iFixedNrVisibleRows = visibleRows;
    corner.target.Thres().m_iNrOfRows = rows;
    auto mark = std::make_unique<LxCRectCornerCalibMark>(x, 100.0, &corner.hor, nullptr, true, true);
    corner.target.m_vMarks.push_back(mark.release());
    LxCCalibData data;
    corner.target.IdentifyCalibMarks(&corner.words, data, nullptr);
    return corner.target.Corner(0).GetRectId();
}

TEST(IdentifySlide, RowsAreEqualPartsOfTheImageFromTheRight)
{
    // 200 / 3 = 66: rows begin at 200, 134 and 68; of 133.5 and 134 the differences are 66.5 and 66.
    EXPECT_EQ(RectIdAt(199.0, 3, 3), 1);
    EXPECT_EQ(RectIdAt(134.5, 3, 3), 1); // 65.5, truncated 65
    EXPECT_EQ(RectIdAt(134.0, 3, 3), 1 + c_iColumns);
    EXPECT_EQ(RectIdAt(68.5, 3, 3), 1 + c_iColumns);
    EXPECT_EQ(RectIdAt(68.0, 3, 3), 1 + 2 * c_iColumns);
    EXPECT_EQ(RectIdAt(99.0, 2, 3), 1 + c_iColumns);
}

TEST(IdentifySlide, OddNumbersOfVisibleRowsDivideNothingByZero)
{
    for (const int rows : {0, -1, std::numeric_limits<int>::min()}) {
        EXPECT_EQ(RectIdAt(10.0, rows, 3), 1); // as one row
    }
    // More rows than pixels: a row a pixel.
    EXPECT_EQ(RectIdAt(198.0, 1000, 3), 1 + 2 * c_iColumns);
    EXPECT_EQ(RectIdAt(-1e300, 1000, 3), std::numeric_limits<int>::max());
}

TEST(IdentifySlide, ACornerBeforeTheFirstRowIsInvalid)
{
    // 70 pixels beyond an image of 200, at rows of 66: the truncated row is -1.
    for (const double x : {270.0, 1e300}) {
        EXPECT_EQ(RectIdAt(x, 3, 3), 0);
    }
    // A framework without a pattern tells no row.
    SCornerOnEdge corner(1);
    corner.Put(20, 10);
    auto mark = std::make_unique<LxCRectCornerCalibMark>(50.0, 100.0, &corner.hor, nullptr, true, true);
    corner.target.m_vMarks.push_back(mark.release());
    LxCCalibData data;
    LxCPinholeFramework uncalibrated;
    corner.target.IdentifyCalibMarks(&corner.words, data, &uncalibrated);
    EXPECT_TRUE(corner.target.Corner(0).IsInvalid());
    EXPECT_FALSE(corner.target.Corner(0).IsPartOfRect());
    EXPECT_TRUE(corner.target.m_vRects.empty());
}

TEST(IdentifySlide, ThreeOfFiveRowsAreTheMiddleOnes)
{
    EXPECT_EQ(RectIdAt(199.0, 3, 5), 1 + c_iColumns);
    EXPECT_EQ(RectIdAt(10.0, 3, 5), 1 + 3 * c_iColumns);
    EXPECT_EQ(RectIdAt(199.0, 4, 5), 1);
    EXPECT_EQ(RectIdAt(199.0, 3, 4), 1);
}

TEST(IdentifySlide, ACornerOnAnotherStripeIsInvalid)
{
    SCornerOnEdge corner(1);
    corner.Put(20, 11);
    auto mark = std::make_unique<LxCRectCornerCalibMark>(50.0, 100.0, &corner.hor, nullptr, true, true);
    corner.target.m_vMarks.push_back(mark.release());
    LxCCalibData data;
    corner.target.IdentifyCalibMarks(&corner.words, data, nullptr);
    EXPECT_TRUE(corner.target.Corner(0).IsInvalid());
    EXPECT_FALSE(corner.target.Corner(0).IsPartOfRect());
    EXPECT_TRUE(corner.target.m_vRects.empty());
}

TEST(IdentifySlide, CornersOfOneMarkShareASquare)
{
    SSlide slide(SmallScene());
    ASSERT_EQ(slide.Locate(), eCalibOk);
    for (int i = 0; i < 2; ++i) { // the second time the squares are made anew
        slide.Identify();
        ASSERT_EQ(slide.target.m_vRects.size(), 2U);
        for (const LxCCBRect* rect : slide.target.m_vRects) {
            for (int type = 1; type <= 4; ++type) {
                const LxCRectCornerCalibMark* const corner =
                    rect->GetCorners().at(static_cast<std::size_t>(type) - 1);
                ASSERT_NE(corner, nullptr);
                EXPECT_EQ(corner->GetType(), type);
                EXPECT_EQ(corner->GetRect(), rect);
            }
        }
        for (LxCCalibMark* mark : slide.target.m_vMarks) {
            mark->ToggleValidity(); // one mark in a row is none
        }
    }
    EXPECT_EQ(slide.target.GetCalibOrientation(), eCO_QuarterTurn);
}

TEST(IdentifySlide, NeedsWordsOfFourBytes)
{
    CSlideTarget target;
    LxCCalibData data;
    CCTImage bytes(20, 20, CCTImage::eIDT_UINT8, 0.0F);
    EXPECT_EQ(target.IdentifyCalibMarks(&bytes, data, nullptr), eCalibImageUnsuitable);
    EXPECT_EQ(target.IdentifyCalibMarks(nullptr, data, nullptr), eCalibImageUnsuitable);
}

// ------------------------------------------------------------------------------------------- median

/// A target with upper left corners in one row of the slide, at these columns of the image.
void AddMarks(CSlideTarget& target, int row, EType type, const std::vector<double>& columns)
{
    int column = 0;
    for (const double x : columns) {
        auto rect = std::make_unique<LxCCBRect>();
        rect->SetId(row * c_iColumns + ++column);
        auto mark = std::make_unique<LxCRectCornerCalibMark>(false);
        mark->SetType(type);
        mark->SetXImg(x);
        mark->SetRect(rect.get());
        target.m_vRects.push_back(rect.release());
        target.m_vMarks.push_back(mark.release());
    }
}

std::vector<bool> AreInvalid(const CSlideTarget& target)
{
    std::vector<bool> invalid;
    for (const LxCCalibMark* mark : target.m_vMarks) {
        invalid.push_back(mark->IsInvalid());
    }
    return invalid;
}

TEST(FilterOutByMedian, MakesMarksInvalidThatAreEightPixelsOff)
{
    CSlideTarget target;
    AddMarks(target, 0, LxCRectCornerCalibMark::eUpperLeft, {100.0, 107.9, 92.1, 108.0, 92.0, 100.0, 100.5});
    EXPECT_EQ(target.FilterOutByMedian(), eCalibOk);
    EXPECT_EQ(AreInvalid(target), (std::vector<bool>{false, false, false, true, true, false, false}));
}

TEST(FilterOutByMedian, OfAnEvenNumberTheUpperMiddleIsTheMedian)
{
    CSlideTarget target;
    AddMarks(target, 0, LxCRectCornerCalibMark::eUpperLeft, {100.0, 101.0, 109.0, 110.0}); // 109
    target.FilterOutByMedian();
    EXPECT_EQ(AreInvalid(target), (std::vector<bool>{true, true, false, false}));
}

TEST(FilterOutByMedian, MarksInNoColumnAreInvalid)
{
    CSlideTarget target;
    std::vector<double> columns(60, 100.0); // four rows of 13 and one of 8
    std::vector<bool> expected(60, false);
    for (std::size_t i = 1; i < columns.size(); i += 3) {
        columns[i] = std::nan("");
        expected[i] = true;
    }
    AddMarks(target, 0, LxCRectCornerCalibMark::eUpperLeft, columns);
    target.FilterOutByMedian();
    EXPECT_EQ(AreInvalid(target), expected);
}

TEST(FilterOutByMedian, TwoMarksHaveNoMedian)
{
    CSlideTarget target;
    AddMarks(target, 0, LxCRectCornerCalibMark::eUpperLeft, {100.0, 200.0});
    target.FilterOutByMedian();
    EXPECT_EQ(AreInvalid(target), (std::vector<bool>{false, false}));
}

TEST(FilterOutByMedian, RowsAndSidesCountForThemselves)
{
    CSlideTarget target;
    AddMarks(target, 0, LxCRectCornerCalibMark::eUpperLeft, {100.0, 101.0});
    AddMarks(target, 0, LxCRectCornerCalibMark::eLowerLeft, {100.0, 300.0}); // the same side: an outlier
    AddMarks(target, 0, LxCRectCornerCalibMark::eUpperRight, {110.0, 310.0});
    AddMarks(target, 1, LxCRectCornerCalibMark::eUpperLeft, {300.0, 500.0});
    target.FilterOutByMedian();
    EXPECT_EQ(AreInvalid(target), (std::vector<bool>{false, false, false, true, false, false, false, false}));
}

TEST(FilterOutByMedian, EndsAfterThirtyOneRowsAndSides)
{
    for (const int row : {14, 15, 16}) {
        for (const EType type : {LxCRectCornerCalibMark::eLowerLeft, LxCRectCornerCalibMark::eLowerRight}) {
            CSlideTarget target;
            AddMarks(target, row, type, {100.0, 100.0, 200.0});
            target.FilterOutByMedian();
            const bool isHandled = row < 15 || (row == 15 && type == LxCRectCornerCalibMark::eLowerLeft);
            EXPECT_EQ(AreInvalid(target)[2], isHandled) << row;
        }
    }
}

// ------------------------------------------------------------------------------------------- improvement

TEST(ImprovePositionEstimate, MovesMarksToTheCurveOfTheirRowAndSide)
{
    CHandMade made;
    made.AddRows({1, 5, 9, 12});
    EXPECT_EQ(made.target.ImprovePositionEstimate(nullptr), eCalibOk);
    for (std::size_t i = 0; i < made.target.m_vMarks.size(); ++i) {
        const LxCRectCornerCalibMark& mark = made.target.Corner(i);
        const int row = (mark.GetId() - 1) / (4 * c_iColumns);
        const bool isLeft = mark.GetType() == 1 || mark.GetType() == 3;
        const double x = (isLeft ? 400.0 : 410.0) - 150.0 * row + 0.01 * (mark.GetYImg() - 249.0);
        EXPECT_NEAR(mark.GetXImg(), x, 0.02);                          // entries are rounded down to 1/64
        EXPECT_NEAR(mark.GetYImg(), std::round(mark.GetYImg()), 1e-6); // stripe edges are level
        EXPECT_TRUE(mark.UseForCalib());
    }
}

TEST(ImprovePositionEstimate, TellsWhereTheRowsOfMarksAre)
{
    CHandMade made;
    ASSERT_EQ(made.target.Thres().m_viMarkerMaskRow, (std::vector<int>{580, 350, 115}));
    made.AddRows({1, 5, 9, 12});
    EXPECT_EQ(made.target.ImprovePositionEstimate(nullptr), eCalibOk);
    // The left sides at row 249, rounded down to 1/64 pixel first; the third row was not seen.
    EXPECT_EQ(made.target.Thres().m_viMarkerMaskRow, (std::vector<int>{399, 249, 115}));
    EXPECT_EQ(made.target.Thres().m_viMarkerMaskTolerance, (std::vector<int>{25, 25, 70}));
}

TEST(ImprovePositionEstimate, OfFiveRowsTheFirstVisibleOneIsTheSecond)
{
    CHandMade made;
    made.target.Thres().m_iNrOfRows = 5;
    made.AddRows({1, 5, 9, 12});
    EXPECT_EQ(made.target.ImprovePositionEstimate(nullptr), eCalibOk);
    EXPECT_EQ(made.target.Thres().m_viMarkerMaskRow, (std::vector<int>{249, 350, 115}));
}

TEST(ImprovePositionEstimate, TwoEdgesGiveALineAndMoreAParabola)
{
    for (const bool hasThird : {false, true}) {
        CHandMade made;
        made.target.Thres().m_dMaxPolyFitQuad = 1e-6;
        made.target.Thres().m_dMaxDiffFitLinear = 10.0;
        const auto bent = [](double y) { return 200.0 + 1.5e-4 * (y - 249.0) * (y - 249.0); };
        for (int row = 0; row < 2; ++row) {
            for (const bool isLeft : {true, false}) {
                made.AddSide(row, 2, isLeft, bent);
                made.AddSide(row, 11, isLeft, bent);
                if (hasThird) {
                    made.AddSide(row, 7, isLeft, bent);
                }
            }
        }
        const Logging::CCapture capture;
        // A line is never bent.
        EXPECT_EQ(made.target.ImprovePositionEstimate(nullptr), hasThird ? eCalibVerticalFitPoor : eCalibOk);
        const auto records = capture.GetRecords();
        ASSERT_EQ(records.size(), hasThird ? 1U : 0U);
        if (hasThird) {
            EXPECT_EQ(records[0].level, Logging::ELevel::eError);
            EXPECT_EQ(records[0].channel, c_pChannel);
            EXPECT_EQ(records[0].text.substr(0, 42), L"The square part of the polynom fit (0.0001");
        }
        // What is refused changes no thresholds.
        EXPECT_EQ(made.target.Thres().m_viMarkerMaskTolerance[0], hasThird ? 70 : 25);
    }
}

TEST(ImprovePositionEstimate, ARowAndSideOfOneEdgeIsInvalid)
{
    CHandMade made;
    made.AddRows({1, 5});
    LxCRectCornerCalibMark& lonely = made.AddSide(2, 3, true, [](double) { return 100.0; });
    EXPECT_EQ(made.target.ImprovePositionEstimate(nullptr), eCalibOk);
    EXPECT_TRUE(lonely.IsInvalid());
    EXPECT_TRUE(made.target.m_vMarks.back()->IsInvalid()); // the lower corner of the same edge
    EXPECT_EQ(std::count_if(made.target.m_vMarks.begin(), made.target.m_vMarks.end(),
                            [](const LxCCalibMark* mark) { return mark->IsInvalid(); }),
              2);
}

TEST(ImprovePositionEstimate, NeedsFourCurves)
{
    CHandMade made;
    for (const bool isLeft : {true, false}) {
        made.AddSide(0, 1, isLeft, [](double) { return 100.0; });
        made.AddSide(0, 8, isLeft, [](double) { return 100.0; });
    }
    made.AddSide(1, 1, true, [](double) { return 100.0; });
    made.AddSide(1, 8, true, [](double) { return 100.0; });
    EXPECT_EQ(made.target.ImprovePositionEstimate(nullptr), eCalibTooFewVerticalFits);
    made.AddSide(1, 1, false, [](double) { return 100.0; });
    made.AddSide(1, 8, false, [](double) { return 100.0; });
    EXPECT_EQ(made.target.ImprovePositionEstimate(nullptr), eCalibOk);
}

TEST(ImprovePositionEstimate, CurvesMustBeParallel)
{
    for (const double limit : {0.025, -0.025}) {
        for (const double slope : {0.02, 0.03}) {
            CHandMade made;
            made.target.Thres().m_dMaxDiffFitLinear = limit;
            made.AddRows({1, 12});
            for (const bool isLeft : {true, false}) {
                const auto side = [slope](double y) { return 100.0 + (0.01 + slope) * y; };
                made.AddSide(2, 1, isLeft, side);
                made.AddSide(2, 12, isLeft, side);
            }
            EXPECT_EQ(made.target.ImprovePositionEstimate(nullptr),
                      slope < 0.025 ? eCalibOk : eCalibVerticalFitPoor);
        }
    }
}

TEST(ImprovePositionEstimate, MarksWhoseCurvesDoNotCrossNearThemAreNotUsed)
{
    CHandMade made;
    made.AddRows({1, 5, 9, 12});
    LxCRectCornerCalibMark& mark = made.target.Corner(0);
    mark.SetXImg(mark.GetXImg() + 20.0); // the curve lies more than 4 pixels before it
    const double x = mark.GetXImg();
    const Logging::CCapture capture;
    EXPECT_EQ(made.target.ImprovePositionEstimate(nullptr), eCalibOk);
    EXPECT_FALSE(mark.UseForCalib());
    EXPECT_FALSE(mark.IsInvalid());
    EXPECT_EQ(mark.GetXImg(), x);
    const auto records = capture.GetRecords();
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].level, Logging::ELevel::eInfo);
    EXPECT_EQ(records[0].channel, c_pChannel);
    EXPECT_EQ(records[0].text, L"AuxUpdatePos failed\n");
}

TEST(ImprovePositionEstimate, LeavesInvalidMarksOut)
{
    CHandMade made;
    made.AddRows({1, 5, 9});
    LxCRectCornerCalibMark& outlier = made.AddSide(0, 12, true, [](double) { return 300.0; });
    outlier.MakeInvalid();
    made.target.m_vMarks.back()->MakeInvalid();
    EXPECT_EQ(made.target.ImprovePositionEstimate(nullptr), eCalibOk);
    EXPECT_NEAR(made.target.Corner(0).GetXImg(), 400.0 + 0.01 * (made.target.Corner(0).GetYImg() - 249.0),
                0.02);
    EXPECT_EQ(outlier.GetXImg(), 300.0);
}

TEST(ImprovePositionEstimate, DrawsItsCurvesForDebugging)
{
    CHandMade made;
    made.AddRows({1, 5, 9});
    CCTImage image(c_iSize, c_iSize, CCTImage::eIDT_ARGB8, true, nullptr);
    image.Clear();
    made.target.ImprovePositionEstimate(&image);
    EXPECT_EQ(image.GetInt32PixelFast(400, 249), 0);
    LxCLxCVLibSettings::SetDrawMarkerPosForDebugging(true);
    made.target.ImprovePositionEstimate(&image);
    LxCLxCVLibSettings::SetDrawMarkerPosForDebugging(false);
    EXPECT_EQ(image.GetInt32PixelFast(400, 249), 0xFF00FF);
}

TEST(AuxUpdatePosHor, TakesDegreesUpToTwo)
{
    CHandMade made;
    LxCRectCornerCalibMark& mark = made.AddSide(0, 1, true, [](double) { return 100.0; });
    for (int degree = -1; degree <= 3; ++degree) {
        mark.SetXImg(100.0);
        EXPECT_EQ(made.target.AuxUpdatePosHor(mark, {101.5, 0.0, 0.0}, degree), degree >= 0 && degree <= 2);
        EXPECT_NEAR(mark.GetXImg(), degree >= 0 && degree <= 2 ? 101.5 : 100.0, 1e-7);
    }
    LxCRectCornerCalibMark without(false);
    EXPECT_FALSE(made.target.AuxUpdatePosHor(without, {101.5, 0.0, 0.0}, 2));
}

} // namespace
} // namespace LxCV
