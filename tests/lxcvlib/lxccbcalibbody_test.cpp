// Tests of the checkerboard target's life, lookup, squares, quality, masks and refinement.
#include "lxccbcalibbody.h"

#include "checkerboardprobe.h"
#include "lxccolorvalueargb8.h"
#include "lxclxcvlibsettings.h"
#include "orx/logging/logger.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <random>
#include <string>

namespace LxCV {
namespace {

using namespace TestSupport;
using EType = LxCRectCornerCalibMark::EType;

constexpr const wchar_t* kChannel = L"ORX.Lumorad.LxCCBCalibBody";
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kRounding = 1e-12; ///< relative, of a few operations in double precision

std::array<SPoint, 4> Quad(double left, double top, double size)
{
    return {SPoint{left, top}, {left + size, top}, {left, top + size}, {left + size, top + size}};
}

/// A board of 4 by 3 squares, located, with its squares.
struct CLocated
{
    explicit CLocated(const SquareBoard& drawn, int width = 330, int height = 260)
        : board(drawn), data(ViewOf(Render(board, width, height)))
    {
        target.LocateCalibMarks(data, true);
        target.DetectAllRectsExtern();
    }

    SquareBoard board;
    LxCCalibData data;
    CCheckerboardProbe target;
};

TEST(LxCCBCalibBody, StartsWithItsThresholdsAndTheRegistry)
{
    const CCheckerboardProbe target;
    EXPECT_NE(dynamic_cast<const LxCCBCalibThres*>(target.GetThres()), nullptr);
    EXPECT_EQ(target.GetCoordFile(), "registry");
    EXPECT_EQ(CCheckerboardProbe(false).GetThres(), nullptr);
}

TEST(LxCCBCalibBody, RectIsFoundByItsId)
{
    CCheckerboardProbe target;
    LxCCBRect& first = target.AddRect(Quad(10, 10, 5), 7);
    target.AddRect(Quad(30, 10, 5), 7);
    LxCCBRect& other = target.AddRect(Quad(50, 10, 5), -2);
    EXPECT_EQ(LxCCBCalibBody::FindRect(target.GetRects(), 7), &first);
    EXPECT_EQ(LxCCBCalibBody::FindRect(target.GetRects(), -2), &other);
    EXPECT_EQ(LxCCBCalibBody::FindRect(target.GetRects(), 8), nullptr);
    EXPECT_EQ(LxCCBCalibBody::FindRect({}, 7), nullptr);
}

TEST(LxCCBCalibBody, RectIsFoundByItsUpperLeftCorner)
{
    CCheckerboardProbe target;
    LxCCBRect& a = target.AddRect(Quad(10, 10, 5), 1);
    LxCCBRect& b = target.AddRect(Quad(20, 10, 5), 2);
    EXPECT_EQ(target.FindRect(12.0, 11.0, 5.0), &a);
    EXPECT_EQ(target.FindRect(17.0, 11.0, 5.0), &b);
    EXPECT_EQ(target.FindRect(15.0, 10.0, 6.0), &a) << "the first one on a tie";
    EXPECT_EQ(target.FindRect(15.0, 10.0, 5.0), nullptr) << "the tolerance is excluded";
    EXPECT_EQ(target.FindRect(kNaN, 10.0, 50.0), nullptr);
    EXPECT_EQ(target.FindRect(10.0, 10.0, 0.0), nullptr);
    a.SetULCorner(nullptr);
    EXPECT_EQ(target.FindRect(12.0, 11.0, 5.0), nullptr);
}

TEST(LxCCBCalibBody, DetectedRectsAreReachedByIndex)
{
    CCheckerboardProbe target;
    LxCCBRect& rect = target.AddRect(Quad(10, 10, 5), 1);
    EXPECT_EQ(target.GetNumDetectedRects(), 1);
    EXPECT_EQ(target.GetDetectedRect(0), &rect);
    EXPECT_EQ(target.GetDetectedRect(1), nullptr);
    EXPECT_EQ(target.GetDetectedRect(-1), nullptr);
}

TEST(LxCCBCalibBody, CornerAngleIsThatBetweenCentres)
{
    CCheckerboardProbe target;
    target.AddRect(Quad(10, 10, 4), 1);
    target.AddRect(Quad(50, 10, 4), 2);
    target.AddRect(Quad(50, 50, 4), 3);
    target.AddRect(Quad(90, 10, 4), 4);
    // Degrees with pi cut off after ten decimals: 90 pi / 3.1415926535.
    constexpr double kRightAngle = 90.0 * 3.141592653589793 / 3.1415926535;
    EXPECT_NEAR(target.ComputeCornerAngle(0, 1, 2), kRightAngle, 90.0 * kRounding);
    EXPECT_NEAR(target.ComputeCornerAngle(1, 0, 2), kRightAngle / 2, 1e-6);
    EXPECT_NEAR(target.ComputeCornerAngle(0, 1, 3), 2 * kRightAngle, 1e-5);
    EXPECT_NEAR(target.ComputeCornerAngle(1, 0, 3), 0.0, 1e-5);
    EXPECT_TRUE(std::isnan(target.ComputeCornerAngle(0, 0, 1)));
    EXPECT_TRUE(std::isnan(target.ComputeCornerAngle(0, 1, 4)));
    EXPECT_TRUE(std::isnan(target.ComputeCornerAngle(-1, 1, 2)));
}

TEST(LxCCBCalibBody, CornerAngleOfParallelDirectionsIsANumberWhateverTheRounding)
{
    // Directions (10, 80) and (-10, -80): 6500 over the square of its rounded root is a little more than 1.
    ASSERT_GT(6500.0 / (std::sqrt(6500.0) * std::sqrt(6500.0)), 1.0);
    CCheckerboardProbe target;
    target.AddRect(Quad(100, 100, 4), 1);
    target.AddRect(Quad(110, 180, 4), 2);
    target.AddRect(Quad(90, 20, 4), 3);
    EXPECT_EQ(target.ComputeCornerAngle(1, 0, 1), 0.0);
    EXPECT_NEAR(target.ComputeCornerAngle(1, 0, 2), 180.0 * 3.141592653589793 / 3.1415926535,
                180.0 * kRounding);
}

TEST(LxCCBCalibBody, BoxOfTheTargetIsWidenedByItsMargin)
{
    CCheckerboardProbe target;
    double box[4] = {0, 0, 0, 0};
    EXPECT_EQ(target.GetPositionInWC(&box[0], &box[1], &box[2], &box[3]), 0);
    EXPECT_EQ(box[0], std::numeric_limits<double>::lowest()) << "without coordinates the base's answer";
    target.m_vWorldCoords = {{-2.0, 5.0, 9.0}, {8.0, 1.0, -9.0}, {0.0, 3.0, 0.0}};
    target.Thres().m_dMarginPercent = 0.25;
    EXPECT_EQ(target.GetPositionInWC(&box[0], &box[1], &box[2], &box[3]), 0);
    // x from -2 to 8, widened by 2.5; y from 1 to 5, widened by 1.
    EXPECT_EQ(box[0], -4.5);
    EXPECT_EQ(box[1], 0.0);
    EXPECT_EQ(box[2], 10.5);
    EXPECT_EQ(box[3], 6.0);
    EXPECT_EQ(target.GetPositionInWC(nullptr, &box[1], &box[2], &box[3]), 1);
    EXPECT_EQ(target.GetPositionInWC(&box[0], &box[1], &box[2], nullptr), 1);
}

TEST(LxCCBCalibBody, DrawnSquaresBecomeRects)
{
    SquareBoard board;
    board.marked = {6, 7};
    CLocated view(board);
    EXPECT_EQ(view.target.GetNumDetectedRects(), 12);
    EXPECT_EQ(view.target.GetRectsOfSecondPolarity().size(), 2U);
    for (int id = 1; id <= 12; ++id) {
        const std::array<SPoint, 4> corners = board.Square(id);
        const LxCCBRect* const rect = view.target.FindRect(corners[0].x, corners[0].y, 1.0);
        ASSERT_NE(rect, nullptr) << id;
        EXPECT_EQ(rect->GetId(), 0);
        for (std::size_t i = 0; i < 4; ++i) {
            const LxCRectCornerCalibMark* const corner = rect->GetCorners()[i];
            ASSERT_NE(corner, nullptr);
            EXPECT_NEAR(corner->GetXImg(), corners[i].x, 0.03);
            EXPECT_TRUE(corner->IsPartOfRect());
            EXPECT_FALSE(corner->IsInvalid());
        }
    }
}

TEST(LxCCBCalibBody, RectsTakeIdsThatWereAssignedByHand)
{
    CLocated view{SquareBoard()};
    LxCRectCornerCalibMark* const corner = Nearest(view.target.GetCalibMarks(), view.board.Square(5)[2]);
    corner->AssignIdMan(33);
    view.target.DetectAllRectsExtern();
    EXPECT_NE(LxCCBCalibBody::FindRect(view.target.GetRects(), 33), nullptr);
    EXPECT_EQ(corner->GetId(), 4 * 33 + 3 - 4);
}

TEST(LxCCBCalibBody, ThreeCornersGetAVirtualFourthThatIsNotUsed)
{
    SquareBoard board;
    LxCCalibData data = ViewOf(Render(board, 330, 260));
    const SPoint hidden = board.Square(6)[3];
    CCTImage& mask = data.GetImage(LxCCalibData::eCamMask);
    for (int dy = -3; dy <= 3; ++dy) {
        const int y = static_cast<int>(hidden.y) + dy;
        mask.DrawLine(static_cast<int>(hidden.x) - 3, y, static_cast<int>(hidden.x) + 3, y,
                      LxCColorValueARGB8::eWhite);
    }
    data.SetCamMaskInUse(true);
    CCheckerboardProbe target;
    ASSERT_EQ(target.LocateCalibMarks(data, false), eCalibOk);
    ASSERT_EQ(target.GetCalibMarks().size(), 47U);
    for (int run = 0; run < 2; ++run) { // the second time it is there already
        target.DetectAllRectsExtern();
        ASSERT_EQ(target.GetCalibMarks().size(), 48U);
        EXPECT_EQ(target.GetNumDetectedRects(), 12);
        const LxCRectCornerCalibMark* const corner = Nearest(target.GetCalibMarks(), hidden);
        EXPECT_NEAR(corner->GetXImg(), hidden.x, 0.05);
        EXPECT_NEAR(corner->GetYImg(), hidden.y, 0.05);
        EXPECT_TRUE(corner->IsVirtual());
        EXPECT_FALSE(corner->UseForCalib());
        EXPECT_TRUE(corner->IsPartOfRect());
        EXPECT_EQ(corner->GetType(), LxCRectCornerCalibMark::eLowerRight);
    }
}

TEST(LxCCBCalibBody, CornersWithoutASquareBecomeInvalid)
{
    CLocated view{SquareBoard()};
    const SPoint gone = view.board.Square(6)[0];
    LxCRectCornerCalibMark* const first = Nearest(view.target.GetCalibMarks(), gone);
    LxCRectCornerCalibMark* const second = Nearest(view.target.GetCalibMarks(), view.board.Square(6)[3]);
    first->MakeInvalid();
    second->MakeInvalid();
    view.target.DetectAllRectsExtern();
    EXPECT_EQ(view.target.GetNumDetectedRects(), 11);
    int invalid = 0;
    for (const LxCCalibMark* mark : view.target.GetCalibMarks()) {
        invalid += mark->IsInvalid() ? 1 : 0;
    }
    EXPECT_EQ(invalid, 4);
}

TEST(LxCCBCalibBody, MarksOfOtherClassesAreNoCorners)
{
    CCheckerboardProbe target;
    target.GetCalibMarks().push_back(new LxCCalibMark);
    target.AddCorner(5.0, 5.0, LxCRectCornerCalibMark::eUpperLeft);
    target.DetectAllRectsExtern();
    EXPECT_FALSE(target.GetCalibMarks()[0]->IsInvalid());
    EXPECT_TRUE(target.GetCalibMarks()[1]->IsInvalid());
    CCTImage image(20, 20, CCTImage::eIDT_ARGB8, 0.0F);
    EXPECT_EQ(target.AssessMarkQual(&image), 0);
    EXPECT_EQ(target.GetCalibMarks()[0]->GetQuality(), 1.0);
    EXPECT_EQ(target.GetCalibMarks()[1]->GetQuality(), 10.0);
    target.ImprovePositionByEstimatedCorner();
    target.ImprovePositionByPolyOverEntireImage(&image);
    target.DrawCalibMarks(&image);
}

TEST(LxCCBCalibBody, ResetForgetsEverything)
{
    SquareBoard board;
    board.marked = {6};
    CLocated view(board);
    for (int run = 0; run < 2; ++run) {
        view.target.Reset();
        EXPECT_TRUE(view.target.GetCalibMarks().empty());
        EXPECT_TRUE(view.target.GetMarksOfSecondPolarity().empty());
        EXPECT_TRUE(view.target.GetRects().empty());
        EXPECT_TRUE(view.target.GetRectsOfSecondPolarity().empty());
        EXPECT_TRUE(view.target.GetHorEdges().empty());
        EXPECT_TRUE(view.target.GetVerEdges().empty());
    }
}

TEST(LxCCBCalibBody, RemovedRectsLeaveTheirCorners)
{
    SquareBoard board;
    board.marked = {6};
    CLocated view(board);
    view.target.RemoveRects();
    EXPECT_EQ(view.target.GetNumDetectedRects(), 0);
    EXPECT_TRUE(view.target.GetRectsOfSecondPolarity().empty());
    for (const auto* marks : {&view.target.m_vMarks, &view.target.m_vSecondMarks}) {
        EXPECT_FALSE(marks->empty());
        for (const LxCCalibMark* mark : *marks) {
            EXPECT_FALSE(dynamic_cast<const LxCRectCornerCalibMark&>(*mark).IsPartOfRect());
        }
    }
}

TEST(LxCCBCalibBody, RemovedEdgesLeaveTheirCorners)
{
    SquareBoard board;
    board.marked = {6};
    CLocated view(board);
    view.target.RemoveRectEdges();
    EXPECT_TRUE(view.target.GetHorEdges().empty());
    EXPECT_TRUE(view.target.GetVerEdges().empty());
    for (const auto* marks : {&view.target.m_vMarks, &view.target.m_vSecondMarks}) {
        EXPECT_FALSE(marks->empty());
        for (const LxCCalibMark* mark : *marks) {
            EXPECT_EQ(dynamic_cast<const LxCRectCornerCalibMark&>(*mark).GetHorEdge(), nullptr);
            EXPECT_EQ(dynamic_cast<const LxCRectCornerCalibMark&>(*mark).GetVerEdge(), nullptr);
        }
    }
    // What looks along edges finds none.
    EXPECT_EQ(view.target.AssessMarkQual(&view.data.GetImage(LxCCalibData::eCamDebugImage)), eCalibOk);
    EXPECT_EQ(view.target.GetCalibMarks()[0]->GetQuality(), 10.0);
    view.target.DetectAllRectsExtern();
    EXPECT_EQ(view.target.GetNumDetectedRects(), 0);
}

TEST(LxCCBCalibBody, QualityFollowsContrastAndOversaturation)
{
    struct SCase
    {
        float ground;
        float square;
        double quality;
    };
    // (255 - contrast) / 255, plus 100 percent / 5 where the ground exceeds 250.
    for (const SCase& c : {SCase{200.0F, 60.0F, 115.0 / 255.0},
                           {250.0F, 50.0F, 55.0 / 255.0},
                           {251.0F, 51.0F, 55.0 / 255.0 + 20.0}}) {
        SquareBoard board;
        board.ground = c.ground;
        board.square = c.square;
        CLocated view(board);
        const CCTImage& picture = view.data.GetImage(LxCCalibData::eCamImage);
        CCTImage colors;
        ASSERT_EQ(colors.Resize(330, 260, CCTImage::eIDT_ARGB8), CCTImage::eRC_OK);
        ASSERT_EQ(picture.ConvertToARGB8(&colors, false), CCTImage::eRC_OK);
        ASSERT_EQ(view.target.AssessMarkQual(&colors), eCalibOk);
        for (const LxCCalibMark* mark : view.target.GetCalibMarks()) {
            EXPECT_NEAR(mark->GetQuality(), c.quality, kRounding * 21.0);
            EXPECT_EQ(mark->UseForCalib(), c.quality < 10.0);
        }
    }
}

TEST(LxCCBCalibBody, QualityOfAnotherImageTypeIsThatOfNoContrast)
{
    CLocated view{SquareBoard()};
    ASSERT_EQ(view.target.AssessMarkQual(&view.data.GetImage(LxCCalibData::eCamImage)), eCalibOk);
    for (const LxCCalibMark* mark : view.target.GetCalibMarks()) {
        EXPECT_EQ(mark->GetQuality(), 1.0);
    }
    EXPECT_EQ(view.target.AssessMarkQual(nullptr), 1);
}

TEST(LxCCBCalibBody, QualityNeedsItsThresholds)
{
    CCheckerboardProbe target(false);
    const CCTImage image(4, 4, CCTImage::eIDT_ARGB8, 0.0F);
    const Logging::CCapture log;
    EXPECT_EQ(target.AssessMarkQual(&image), 45);
    EXPECT_EQ(log.Count(Logging::ELevel::eError, kChannel,
                        L"LxCCBCalibBody::AssessMarkQual: m_pThres is no instance of LxCCBCalibThres\n"),
              1);
    target.ImprovePositionByEstimatedCorner();
    target.ImprovePositionByPolyOverEntireImage(nullptr);
}

/// Moves all marks by a known step, as if they were badly placed.
void Shake(LxCCBCalibBody& target)
{
    int i = 0;
    for (LxCCalibMark* mark : target.GetCalibMarks()) {
        mark->SetXImg(mark->GetXImg() + (++i % 2 == 0 ? 0.4 : -0.4));
        mark->SetYImg(mark->GetYImg() + (i % 3 == 0 ? 0.3 : -0.3));
    }
}

double WorstError(const CLocated& view)
{
    double worst = 0.0;
    for (int id = 1; id <= view.board.columns * view.board.rows; ++id) {
        for (const SPoint& corner : view.board.Square(id)) {
            const LxCRectCornerCalibMark* const mark = Nearest(view.target.GetCalibMarks(), corner);
            worst = std::max(worst, std::hypot(mark->GetXImg() - corner.x, mark->GetYImg() - corner.y));
        }
    }
    return worst;
}

SquareBoard Skewed()
{
    SquareBoard board;
    board.right = {60.0, 4.0};
    board.down = {-5.0, 61.0};
    return board;
}

TEST(LxCCBCalibBody, WholeEdgesFindTheirCornersAgain)
{
    CLocated view(Skewed());
    Shake(view.target);
    ASSERT_GT(WorstError(view), 0.4);
    view.target.ImprovePositionByEstimatedCorner();
    EXPECT_LT(WorstError(view), 0.03);
}

TEST(LxCCBCalibBody, CornersThatAreNotUsedStayWhereTheyAre)
{
    CLocated view(Skewed());
    LxCCalibMark* const mark = view.target.GetCalibMarks()[5];
    mark->MarkAsUnusableForCalib();
    mark->SetXImg(123.0);
    view.target.ImprovePositionByEstimatedCorner();
    EXPECT_EQ(mark->GetXImg(), 123.0);
}

TEST(LxCCBCalibBody, EdgeWithOneCornerMovesNothing)
{
    CLocated view(Skewed());
    LxCRectCornerCalibMark* const corner = Nearest(view.target.GetCalibMarks(), view.board.Square(6)[0]);
    LxCRectCornerCalibMark* const other = corner->GetHorEdge()->GetRightCorner();
    ASSERT_NE(other, nullptr);
    corner->GetHorEdge()->SetRightCorner(nullptr);
    corner->SetXImg(11.0);
    view.target.ImprovePositionByEstimatedCorner();
    EXPECT_EQ(corner->GetXImg(), 11.0);
}

/// Gives the squares ids as if the target had `columns` squares a row and the first one seen had `first`.
void Identify(CLocated& view, int columns, int first)
{
    view.target.Thres().m_iNrOfCols = columns;
    for (int id = 1; id <= view.board.columns * view.board.rows; ++id) {
        const SPoint corner = view.board.Square(id)[0];
        const int row = (id - 1) / view.board.columns;
        const int column = (id - 1) % view.board.columns;
        view.target.FindRect(corner.x, corner.y, 2.0)->SetId(first + row * columns + column);
    }
}

TEST(LxCCBCalibBody, ParabolasAlongTheGridFindTheCornersAgain)
{
    CLocated view(Skewed());
    Identify(view, 8, 10);
    view.target.SetCalibOrientation(LxCCalibBody::ECalibOrientation(0));
    Shake(view.target);
    view.target.ImprovePositionByPolyOverEntireImage(nullptr);
    EXPECT_LT(WorstError(view), 0.03);
}

TEST(LxCCBCalibBody, ParabolasFollowTheOrientation)
{
    // Turned by a quarter, squares of one image row follow each other by the number of columns.
    CLocated view(Skewed());
    view.target.Thres().m_iNrOfCols = 8;
    for (int id = 1; id <= 12; ++id) {
        const SPoint corner = view.board.Square(id)[0];
        const int row = (id - 1) / 4;
        const int column = (id - 1) % 4;
        view.target.FindRect(corner.x, corner.y, 2.0)->SetId(42 - 8 * column + row);
    }
    view.target.SetCalibOrientation(LxCCalibBody::ECalibOrientation(1));
    Shake(view.target);
    view.target.ImprovePositionByPolyOverEntireImage(nullptr);
    EXPECT_LT(WorstError(view), 0.03);
}

TEST(LxCCBCalibBody, ParabolasNeedIdsAndColumns)
{
    CLocated view(Skewed());
    Shake(view.target);
    const double before = WorstError(view);
    view.target.ImprovePositionByPolyOverEntireImage(nullptr);
    EXPECT_EQ(WorstError(view), before) << "no ids";
    Identify(view, 8, 10);
    for (const int columns : {0, -3}) {
        view.target.Thres().m_iNrOfCols = columns;
        view.target.ImprovePositionByPolyOverEntireImage(nullptr);
        EXPECT_EQ(WorstError(view), before);
    }
}

TEST(LxCCBCalibBody, LastSquareOfARowCountsToTheNextRow)
{
    // With four columns the ids 4 and 8 leave no remainder: they lie in column 0 of rows 1 and 2, so that the curves of
    // rows 0 and 3 alone are made of one row of squares. Squares 1 to 3 keep to their row.
    CLocated view(Skewed());
    Identify(view, 4, 1);
    view.target.SetCalibOrientation(LxCCalibBody::ECalibOrientation(0));
    view.target.ImprovePositionByPolyOverEntireImage(nullptr);
    const auto errorOf = [&](int id) {
        const SPoint corner = view.board.Square(id)[0];
        const LxCRectCornerCalibMark* const mark =
            view.target.FindRect(corner.x, corner.y, 30.0)->GetULCorner();
        return std::hypot(mark->GetXImg() - corner.x, mark->GetYImg() - corner.y);
    };
    EXPECT_LT(errorOf(1), 0.03);
    EXPECT_LT(errorOf(2), 0.03);
    EXPECT_LT(errorOf(12), 0.1) << "alone in row 3, so that the end of a parabola through one side counts";
    EXPECT_GT(errorOf(5), 1.0) << "its parabola passes through square 4, a row above, as well";
}

TEST(LxCCBCalibBody, ParabolasAreDrawnWhereTheSettingAsksForIt)
{
    CLocated view(Skewed());
    Identify(view, 8, 10);
    CCTImage picture(330, 260, CCTImage::eIDT_ARGB8, 0.0F);
    const auto magenta = [&] {
        const auto* begin = static_cast<const std::int32_t*>(picture.GetBuffer());
        return std::count(begin, begin + picture.GetSizeInPixels(), 0xFF00FF);
    };
    view.target.ImprovePositionByPolyOverEntireImage(&picture);
    EXPECT_EQ(magenta(), 0);
    LxCLxCVLibSettings::SetDrawMarkerPosForDebugging(true);
    view.target.ImprovePositionByPolyOverEntireImage(&picture);
    LxCLxCVLibSettings::SetDrawMarkerPosForDebugging(false);
    EXPECT_GT(magenta(), 6 * 300 + 8 * 230) << "six curves across the image and eight down";
}

/// The definition, for every pixel.
bool IsBlanked(const std::array<SPoint, 4>& q, double margin, int x, int y)
{
    const auto along = [](double at, double a, double b, double va, double vb) {
        return va + (vb - va) * (at - a) / (b - a);
    };
    return x - along(y, q[0].y, q[2].y, q[0].x, q[2].x) > -margin &&
           x - along(y, q[1].y, q[3].y, q[1].x, q[3].x) < margin &&
           y - along(x, q[0].x, q[1].x, q[0].y, q[1].y) > -margin &&
           y - along(x, q[2].x, q[3].x, q[2].y, q[3].y) < margin;
}

TEST(LxCCBCalibBody, SquaresAreBlankedOutOfAMask)
{
    std::mt19937 random(1);
    std::uniform_real_distribution<double> place(-8.0, 60.0);
    std::uniform_real_distribution<double> tilt(-6.0, 6.0);
    std::uniform_real_distribution<double> margins(-3.0, 6.0);
    for (int run = 0; run < 200; ++run) {
        const double left = place(random);
        const double top = place(random);
        const double tx = tilt(random);
        const double ty = tilt(random);
        const std::array<SPoint, 4> quad{
            SPoint{left, top}, {left + 20, top + ty}, {left + tx, top + 20}, {left + 20 + tx, top + 20 + ty}};
        const double margin = margins(random);
        CCheckerboardProbe target;
        target.AddRect(quad, 1);
        CCTImage mask(64, 48, CCTImage::eIDT_ARGB8, 1.0F);
        const auto full = static_cast<std::uint32_t>(mask.GetInt32PixelFast(0, 0));
        ASSERT_EQ(target.FilterOutCalibMarks(&mask, margin), eCalibOk);
        for (int y = 0; y < 48; ++y) {
            for (int x = 0; x < 64; ++x) {
                ASSERT_EQ(static_cast<std::uint32_t>(mask.GetInt32PixelFast(x, y)),
                          IsBlanked(quad, margin, x, y) ? 0U : full)
                    << run << ": " << x << ' ' << y;
            }
        }
    }
}

TEST(LxCCBCalibBody, BlankingTakesAnyImageAndMargin)
{
    CCheckerboardProbe target;
    LxCCBRect& rect = target.AddRect(Quad(5.0, 5.0, 10.0), 1);
    target.AddRect(Quad(kNaN, 5.0, 10.0), 2);
    target.AddRect({SPoint{3, 3}, {3, 3}, {3, 3}, {3, 3}}, 3);
    target.AddRect(Quad(-1e300, 5.0, 1e308), 4);
    for (const int type : {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}) {
        CCTImage mask(20, 20, static_cast<CCTImage::EImageDataType>(type), 1.0F);
        for (const double margin : {0.0, kNaN, -kInfinity, 1e308, kInfinity}) {
            EXPECT_EQ(target.FilterOutCalibMarks(&mask, margin), eCalibOk);
        }
    }
    CCTImage empty;
    EXPECT_EQ(target.FilterOutCalibMarks(&empty, 1.0), eCalibOk);
    rect.SetLRCorner(nullptr);
    CCTImage mask(20, 20, CCTImage::eIDT_UINT8, true, nullptr);
    mask.Clear();
    mask.SetBytePixelFast(8, 8, 7);
    CCheckerboardProbe other;
    other.AddRect(Quad(5.0, 5.0, 10.0), 1).SetLRCorner(nullptr);
    EXPECT_EQ(other.FilterOutCalibMarks(&mask, 0.0), eCalibOk);
    EXPECT_EQ(mask.GetBytePixelFast(8, 8), 7) << "three corners are no square";
}

TEST(LxCCBCalibBody, BlankingWithoutAMaskIsLogged)
{
    CCheckerboardProbe target;
    const Logging::CCapture log;
    EXPECT_EQ(target.FilterOutCalibMarks(nullptr, 1.0), 19);
    EXPECT_EQ(log.Count(Logging::ELevel::eError, kChannel,
                        L"Error: LxCCBCalibBody:FilterOutCalibMark: pLSE = nullptr.\n"),
              1);
}

TEST(LxCCBCalibBody, MaskShowsMarksAndEdgesThreePixelsWide)
{
    SquareBoard board;
    board.columns = board.rows = 1;
    CLocated view(board, 160, 160);
    CCTImage mask(160, 160, CCTImage::eIDT_ARGB8, 0.0F);
    view.target.DrawMask(&mask, 7);
    const auto isWhite = [&](int x, int y) { return (mask.GetInt32PixelFast(x, y) & 0xFFFFFF) == 0xFFFFFF; };
    // The upper side lies at y = 55.7 and the left one at x = 60.3; between the corners' squares of 7 pixels:
    for (int i = 68; i < 87; ++i) {
        for (int across = -4; across <= 4; ++across) {
            EXPECT_EQ(isWhite(i, 55 + across), across >= -1 && across <= 1) << i << ' ' << across;
            EXPECT_EQ(isWhite(60 + across, i), across >= -1 && across <= 1) << i << ' ' << across;
        }
    }
    EXPECT_TRUE(isWhite(58, 53)) << "the corner's square";
}

TEST(LxCCBCalibBody, MaskWithoutImageOrSizeIsAnError)
{
    CCheckerboardProbe target;
    CCTImage mask(16, 16, CCTImage::eIDT_ARGB8, 0.0F);
    const Logging::CCapture log;
    target.DrawMask(nullptr, 5);
    target.DrawMask(&mask, 0);
    target.DrawMask(&mask, std::numeric_limits<int>::min());
    EXPECT_EQ(log.Count(Logging::ELevel::eError, kChannel,
                        L"Error: LxCCalibBody::DrawMask: Drawing without a mask or a negative mask size.\n"),
              3);
}

TEST(LxCCBCalibBody, PictureShowsSquaresInTheColourOfTheirList)
{
    SquareBoard board;
    board.marked = {6};
    CLocated view(board);
    CCTImage picture(330, 260, CCTImage::eIDT_ARGB8, 0.0F);
    view.target.DrawCalibMarks(&picture);
    const auto colorAt = [&](const SPoint& p) {
        return picture.GetInt32PixelFast(static_cast<int>(p.x), static_cast<int>(p.y)) & 0xFFFFFF;
    };
    for (int id = 1; id <= 12; ++id) {
        const std::array<SPoint, 4> c = board.Square(id);
        EXPECT_EQ(colorAt({(c[0].x + c[1].x) / 2, c[0].y}), 0x00FF00);
        EXPECT_EQ(colorAt({c[3].x, (c[1].y + c[3].y) / 2}), 0x00FF00);
    }
    const std::array<SPoint, 4> bright = board.Embedded(6);
    EXPECT_EQ(colorAt({(bright[0].x + bright[1].x) / 2, bright[0].y}), 0xFFFF00);
    EXPECT_EQ(colorAt({5, 5}), 0);
    view.target.DrawCalibMarks(static_cast<CCTImage*>(nullptr));
}

TEST(LxCCBCalibBody, PictureShowsIdsWhereTheSettingAsksForThem)
{
    CLocated view(Skewed());
    Identify(view, 8, 10);
    CCTImage picture(330, 260, CCTImage::eIDT_ARGB8, 0.0F);
    const auto red = [&] {
        const auto* begin = static_cast<const std::int32_t*>(picture.GetBuffer());
        return std::count_if(begin, begin + picture.GetSizeInPixels(),
                             [](std::int32_t pixel) { return (pixel & 0xFFFFFF) == 0xFF0000; });
    };
    view.target.DrawCalibMarks(&picture);
    EXPECT_EQ(red(), 0);
    LxCLxCVLibSettings::SetDrawMarkerPosForDebugging(true);
    view.target.DrawCalibMarks(&picture);
    LxCLxCVLibSettings::SetDrawMarkerPosForDebugging(false);
    EXPECT_GT(red(), 48 * 5);
}

} // namespace
} // namespace LxCV
