// Tests of the identification of checkerboard targets: the figure of the marked squares and what follows from it.
#include "checkerboardtestsupport.h"
#include "orx/logging/logger.h"

#include <gtest/gtest.h>

#include <limits>
#include <map>
#include <random>
#include <set>

namespace LxCV {
namespace {

using TestSupport::AxisParallel;
using TestSupport::BoardPose;
using TestSupport::BoardShape;
using TestSupport::CBoardProbe;
using TestSupport::CSeenBoard;
using TestSupport::Point;

constexpr const wchar_t* kChannel = L"ORX.Lumorad.LxCCBCalibBody";
constexpr int kIntMin = std::numeric_limits<int>::min();
constexpr int kIntMax = std::numeric_limits<int>::max();

/// The only thing that was logged.
void ExpectLogged(const Logging::CCapture& capture, Logging::ELevel level, const std::wstring& text)
{
    const auto records = capture.GetRecords();
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].level, level);
    EXPECT_EQ(records[0].channel, kChannel);
    EXPECT_EQ(records[0].text, text);
}

BoardPose Turned(int quarterTurns)
{
    BoardPose pose;
    pose.quarterTurns = quarterTurns;
    return pose;
}

/// How far, in pitches, the middle one of the marked squares is from the first one, the last one and the one beside.
struct FigureShape
{
    double toFirst;
    double toLast;
    double toBeside;
};

/// The four marked squares alone.
class CSeenFigure : public CSeenBoard
{
public:
    CSeenFigure(const BoardPose& pose, const FigureShape& figure) : CSeenBoard(pose, BoardShape(), AllIds())
    {
        const Point middle = BoardShape().CentreOf(BoardShape().MarkedIds()[1]);
        for (const Point& place :
             {middle - Point(figure.toFirst, 0.0), middle, middle + Point(figure.toLast, 0.0),
              middle + Point(0.0, figure.toBeside)}) {
            body.AddCorners(QuadOf(SeeSquare(pose, place, 0.5)));
            body.AddCorners(QuadOf(SeeSquare(pose, place, 0.25)), true);
        }
    }

private:
    static std::set<int> AllIds()
    {
        std::set<int> ids;
        for (int id = 1; id <= BoardShape().columns * BoardShape().rows; ++id) {
            ids.insert(id);
        }
        return ids;
    }
};

class LxCCBCalibBodyIdentify : public testing::TestWithParam<int>
{};

INSTANTIATE_TEST_SUITE_P(Orientation, LxCCBCalibBodyIdentify, testing::Range(0, 4));

TEST_P(LxCCBCalibBodyIdentify, EverySquareOfAWholeBoardGetsItsId)
{
    CSeenBoard board(Turned(GetParam()), BoardShape());
    const Logging::CCapture capture;
    EXPECT_EQ(board.body.IdentifyCalibMarks(), eCalibOk);
    EXPECT_TRUE(capture.GetRecords().empty());
    EXPECT_EQ(board.body.GetCalibOrientation(), GetParam());
    EXPECT_EQ(board.CountIds().right, 56);
}

TEST_P(LxCCBCalibBodyIdentify, MarksKnowWhereOnTheTargetTheyAre)
{
    BoardPose pose = Turned(GetParam());
    pose.angle = 0.12;
    CSeenBoard board(pose, BoardShape());
    board.SetWorldCoords();
    ASSERT_EQ(board.body.IdentifyCalibMarks(), eCalibOk);
    for (const LxCCalibMark* const mark : board.body.GetCalibMarks()) {
        const LxC3DCoordsCCT world = board.body.GetWorldCoords(*mark);
        EXPECT_EQ(world.x, board.TruePlace(mark).x);
        EXPECT_EQ(world.y, board.TruePlace(mark).y);
        EXPECT_EQ((mark->GetId() + 3) / 4, board.TrueId(mark));
    }
}

TEST_P(LxCCBCalibBodyIdentify, TiltedBoardsGetNoWrongId)
{
    std::mt19937 random(static_cast<unsigned int>(40 + GetParam()));
    std::uniform_real_distribution<double> unit(-1.0, 1.0);
    for (int trial = 0; trial < 60; ++trial) {
        BoardPose pose = Turned(GetParam());
        pose.angle = 0.25 * unit(random);
        pose.pitch = 62.0 + 8.0 * unit(random);
        pose.stretch = 1.0 + 0.15 * unit(random);
        pose.perspective = Point(3e-4 * unit(random), 3e-4 * unit(random));
        CSeenBoard board(pose, BoardShape());
        ASSERT_EQ(board.body.IdentifyCalibMarks(), eCalibOk) << "trial " << trial;
        ASSERT_EQ(board.body.GetCalibOrientation(), GetParam()) << "trial " << trial;
        ASSERT_EQ(board.CountIds().right, 56) << "trial " << trial;
    }
}

TEST_P(LxCCBCalibBodyIdentify, MissingSquaresLeaveHolesAndNoWrongId)
{
    std::mt19937 random(static_cast<unsigned int>(50 + GetParam()));
    const auto marked = BoardShape().MarkedIds();
    for (int trial = 0; trial < 60; ++trial) {
        BoardPose pose = Turned(GetParam());
        pose.angle = 0.1;
        std::set<int> missing;
        for (int id = 1; id <= 56; ++id) {
            if (random() % 4 == 0 && std::find(marked.begin(), marked.end(), id) == marked.end()) {
                missing.insert(id);
            }
        }
        CSeenBoard board(pose, BoardShape(), missing);
        ASSERT_EQ(board.body.IdentifyCalibMarks(), eCalibOk);
        const auto count = board.CountIds();
        EXPECT_EQ(count.wrong, 0) << "trial " << trial;
        // Searches reach over one missing square in a row or a column.
        EXPECT_GE(count.right, 50 - static_cast<int>(missing.size())) << "trial " << trial;
    }
}

TEST_P(LxCCBCalibBodyIdentify, AQuarterOfTheBoardIsEnough)
{
    std::set<int> missing;
    for (int id = 1; id <= 56; ++id) {
        const int row = (id - 1) / 8;
        const int column = (id - 1) % 8;
        if (row < 2 || row > 4 || column < 2 || column > 5) {
            missing.insert(id);
        }
    }
    CSeenBoard board(Turned(GetParam()), BoardShape(), missing);
    EXPECT_EQ(board.body.IdentifyCalibMarks(), eCalibOk);
    EXPECT_EQ(board.body.GetCalibOrientation(), GetParam());
    EXPECT_EQ(board.CountIds().right, 12);
}

TEST_P(LxCCBCalibBodyIdentify, AMirroredBoardIsRefused)
{
    BoardPose pose = Turned(GetParam());
    pose.mirrored = true;
    CSeenBoard board(pose, BoardShape());
    board.body.SetCalibOrientation(eCO_HalfTurn);
    const Logging::CCapture capture;
    EXPECT_EQ(board.body.IdentifyCalibMarks(), eCalibMirrorTube);
    EXPECT_EQ(board.body.GetCalibOrientation(), eCO_Unknown);
    EXPECT_TRUE(capture.GetRecords().empty());
}

TEST_P(LxCCBCalibBodyIdentify, TheTwoPartsOfTheFigureMayDifferInScaleByHalf)
{
    // The two columns between the first marked square and the middle one measure 2.9, 3 or 3.1 units, against one of 1.
    // Where it is 3, with corners that are exact, half of it is exactly 1.5 times the other part.
    for (const double columns : {2.9, 3.0, 3.1}) {
        CSeenFigure board(Turned(GetParam()), {columns, 1.0, 1.0});
        board.body.SetCalibOrientation(eCO_NoTurn);
        EXPECT_EQ(board.body.IdentifyCalibMarks(), columns <= 3.0 ? eCalibOk : eCalibMirrorTube) << columns;
        EXPECT_EQ(board.body.GetCalibOrientation(), columns <= 3.0 ? GetParam() : -1) << columns;
    }
}

TEST_P(LxCCBCalibBodyIdentify, SearchesReachOverFiveSixthsOfTheRow)
{
    // Of 6 units 5; the scales differ too much in either case, which is only noticed where the middle one is found.
    for (const double columns : {4.9, 5.1}) {
        CSeenFigure board(Turned(GetParam()), {columns, 6.0 - columns, 1.0});
        EXPECT_EQ(board.body.IdentifyCalibMarks(), columns < 5.0 ? eCalibMirrorTube : eCalibWrongOrientation);
    }
}

TEST_P(LxCCBCalibBodyIdentify, UnitsOfTheFigureAreThoseOfItsParts)
{
    // 2.4 columns of 60 pixels for two, 1 for one, 1.25 rows for one: 72, 60 and 75 pixels.
    CSeenFigure board(Turned(GetParam()), {2.4, 1.0, 1.25});
    board.body.Thres().m_iMaxIterationsPropIDs = 0;
    ASSERT_EQ(board.body.IdentifyCalibMarks(), eCalibOk);
    const bool isUpright = GetParam() % 2 == 0;
    for (const auto& [id, alongRow] : std::map<int, double>{{27, 72.0}, {29, 66.0}, {30, 60.0}, {37, 66.0}}) {
        const LxCCBRect* const rect = LxCCBCalibBody::FindRect(board.body.GetRects(), id);
        ASSERT_NE(rect, nullptr) << id;
        EXPECT_NEAR(isUpright ? rect->GetHorDistUnit() : rect->GetVerDistUnit(), alongRow, 1e-9) << id;
        EXPECT_NEAR(isUpright ? rect->GetVerDistUnit() : rect->GetHorDistUnit(), 75.0, 1e-9) << id;
    }
}

TEST_P(LxCCBCalibBodyIdentify, ASquareThatIsNotBesideTheMiddleGivesNoOrientation)
{
    // Instead of the square below the middle one, the one below the last one is marked.
    const BoardPose pose = Turned(GetParam());
    const BoardShape shape;
    CSeenBoard board(pose, shape, {}, {37});
    board.body.AddCorners(QuadOf(SeeSquare(pose, shape.CentreOf(38), shape.embedded)), true);
    board.body.SetCalibOrientation(eCO_HalfTurn);
    const Logging::CCapture capture;
    EXPECT_EQ(board.body.IdentifyCalibMarks(), eCalibWrongOrientation);
    EXPECT_EQ(board.body.GetCalibOrientation(), eCO_HalfTurn);
    ExpectLogged(capture, Logging::ELevel::eError,
                 L"Error: LxCCBCalibBody::IdentifyCalibMarks: could not establish the orientation of the "
                 L"calibration body.\n");
}

TEST_P(LxCCBCalibBodyIdentify, FiguresFarFromTheGridLineNeedAFishEyeLens)
{
    // The last marked square, alone with the other three, stands 12 pixels beside the row.
    for (const bool fishEye : {false, true}) {
        const BoardPose pose = Turned(GetParam());
        const BoardShape shape;
        std::set<int> missing;
        for (int id = 1; id <= 56; ++id) {
            if (id != 27 && id != 29 && id != 37) {
                missing.insert(id);
            }
        }
        CSeenBoard board(pose, shape, missing);
        const Point moved = shape.CentreOf(30) + Point(0.0, 12.0 / pose.pitch);
        board.body.AddCorners(QuadOf(SeeSquare(pose, moved, shape.side)));
        board.body.AddCorners(QuadOf(SeeSquare(pose, moved, shape.embedded)), true);
        board.body.Thres().m_bFishEyeLens = fishEye;
        EXPECT_EQ(board.body.IdentifyCalibMarks(), fishEye ? eCalibOk : eCalibWrongOrientation);
    }
}

TEST_P(LxCCBCalibBodyIdentify, FourSquaresAreNeeded)
{
    for (const std::size_t seen : {0U, 1U, 2U, 3U, 5U}) {
        const BoardPose pose = Turned(GetParam());
        const BoardShape shape;
        const auto marked = shape.MarkedIds();
        std::set<int> unmarked;
        for (std::size_t i = seen; i < marked.size(); ++i) {
            unmarked.insert(marked[i]);
        }
        CSeenBoard board(pose, shape, {}, unmarked);
        if (seen == 5) {
            board.body.AddCorners(QuadOf(SeeSquare(pose, shape.CentreOf(1), shape.embedded)), true);
        }
        const Logging::CCapture capture;
        EXPECT_EQ(board.body.IdentifyCalibMarks(), eCalibNoFourSquares);
        ExpectLogged(
            capture, Logging::ELevel::eError,
            L"Error: LxCCBCalibBody::IdentifyCalibMarks: Could not find embedded squares: only found " +
                std::to_wstring(seen) + L".\n");
    }
}

TEST(LxCCBCalibBodyIdentification, UnitsAreThePitchesOfTheFigure)
{
    // Alone, the four squares are each other's only neighbours: right of 27 nothing with id 28, so it keeps the unit of
    // the figure; 29 has 30 at its right and 37 below.
    BoardPose pose;
    pose.stretch = 1.2;
    std::set<int> missing;
    for (int id = 1; id <= 56; ++id) {
        if (id != 27 && id != 29 && id != 30 && id != 37) {
            missing.insert(id);
        }
    }
    CSeenBoard board(pose, BoardShape(), missing);
    ASSERT_EQ(board.body.IdentifyCalibMarks(), eCalibOk);
    ASSERT_EQ(board.CountIds().right, 4);
    for (const LxCCBRect* const rect : board.body.GetRects()) {
        EXPECT_NEAR(rect->GetHorDistUnit(), 72.0, 1e-9);
        EXPECT_NEAR(rect->GetVerDistUnit(), 60.0, 1e-9);
    }
}

TEST(LxCCBCalibBodyIdentification, ThreeMarkedSquaresAreEnoughIfTheTargetIsKnownToStandUpright)
{
    CSeenBoard board(BoardPose{}, BoardShape(), {}, {27});
    board.body.Thres().m_bAssumeStandardOrientation = true;
    board.body.SetCalibOrientation(eCO_HalfTurn);
    const Logging::CCapture capture;
    EXPECT_EQ(board.body.IdentifyCalibMarks(), eCalibOk);
    ExpectLogged(capture, Logging::ELevel::eInfo,
                 L"Info: LxCCBCalibBody::IdentifyCalibMarks: Found only 3 embedded squares, assume standard "
                 L"orientation.\n");
    EXPECT_EQ(board.body.GetCalibOrientation(), eCO_NoTurn);
    EXPECT_EQ(board.CountIds().right, 56);
}

TEST(LxCCBCalibBodyIdentification, FourMarkedSquaresTellTheOrientationThoughAnotherIsAssumed)
{
    CSeenBoard board(Turned(1), BoardShape());
    board.body.Thres().m_bAssumeStandardOrientation = true;
    EXPECT_EQ(board.body.IdentifyCalibMarks(), eCalibOk);
    EXPECT_EQ(board.body.GetCalibOrientation(), eCO_QuarterTurn);
}

TEST(LxCCBCalibBodyIdentification, ThreeMarkedSquaresWithWideColumnsAreRefused)
{
    for (const double stretch : {1.45, 1.55}) {
        BoardPose pose;
        pose.stretch = stretch;
        CSeenBoard board(pose, BoardShape(), {}, {27});
        const Logging::CCapture capture;
        EXPECT_EQ(board.body.IdentifyCalibMarksWDefaultOrient3EmbSqs(),
                  stretch < 1.5 ? eCalibOk : eCalibNoFourSquares);
        EXPECT_TRUE(capture.GetRecords().empty());
    }
}

TEST(LxCCBCalibBodyIdentification, ThreeMarkedSquaresHaveThePitchesBetweenThem)
{
    BoardPose pose;
    pose.stretch = 1.2;
    CSeenBoard board(pose, BoardShape(), {}, {27});
    board.body.Thres().m_iMaxIterationsPropIDs = 0;
    ASSERT_EQ(board.body.IdentifyCalibMarksWDefaultOrient3EmbSqs(), eCalibOk);
    EXPECT_EQ(board.CountIds().right, 3);
    for (const int id : {29, 30, 37}) {
        const LxCCBRect* const rect = LxCCBCalibBody::FindRect(board.body.GetRects(), id);
        ASSERT_NE(rect, nullptr) << id;
        EXPECT_NEAR(rect->GetHorDistUnit(), 72.0, 1e-9) << id;
        EXPECT_NEAR(rect->GetVerDistUnit(), 60.0, 1e-9) << id;
    }
}

TEST(LxCCBCalibBodyIdentification, ThreeMarkedSquaresInALevelRowAreRefused)
{
    CBoardProbe body;
    for (int i = 0; i < 3; ++i) {
        body.AddCorners(AxisParallel(50.0 + 60.0 * i, 50.0, 30.0, 30.0));
        body.AddCorners(AxisParallel(60.0 + 60.0 * i, 60.0, 10.0, 10.0), true);
    }
    EXPECT_EQ(body.IdentifyCalibMarksWDefaultOrient3EmbSqs(), eCalibNoFourSquares);
}

TEST(LxCCBCalibBodyIdentification, AssumingTheOrientationNeedsThreeSquares)
{
    CSeenBoard board(BoardPose{}, BoardShape());
    const Logging::CCapture capture;
    EXPECT_EQ(board.body.IdentifyCalibMarksWDefaultOrient3EmbSqs(), eCalibNoFourSquares);
    ExpectLogged(
        capture, Logging::ELevel::eError,
        L"Error: LxCCBCalibBody::IdentifyCalibMarks: Could not find embedded squares: only found 4.\n");
}

TEST(LxCCBCalibBodyIdentification, ThresholdsOfAnotherTargetAreRefused)
{
    for (const bool none : {false, true}) {
        CSeenBoard board(BoardPose{}, BoardShape());
        board.body.SetThres(none ? nullptr : std::make_unique<LxCCalibThres>());
        {
            const Logging::CCapture capture;
            EXPECT_EQ(board.body.IdentifyCalibMarks(), eCalibWrongThresholds);
            ExpectLogged(capture, Logging::ELevel::eError,
                         L"LxCCBCalibBody::IdentifyCalibMarks: m_pThres is no instance of LxCCBCalibThres\n");
        }
        const Logging::CCapture capture;
        EXPECT_EQ(board.body.IdentifyCalibMarksWDefaultOrient3EmbSqs(), eCalibWrongThresholds);
        ExpectLogged(capture, Logging::ELevel::eError,
                     L"LxCCBCalibBody::IdentifyCalibMarksWDefaultOrient3EmbSqs: m_pThres is no instance of "
                     L"LxCCBCalibThres\n");
    }
}

/// A target that cannot sort.
class CUnsortable : public CBoardProbe
{
    bool SortRects(const std::vector<LxCCBRect*>&, LxCCBRect**, LxCCBRect**, LxCCBRect**,
                   LxCCBRect**) override
    {
        return false;
    }
};

TEST(LxCCBCalibBodyIdentification, SquaresThatCannotBeSortedAreReported)
{
    for (const int marked : {4, 3}) {
        CUnsortable body;
        for (int i = 0; i < marked; ++i) {
            body.AddCorners(AxisParallel(50.0 + 60.0 * i, 50.0, 30.0, 30.0));
            body.AddCorners(AxisParallel(60.0 + 60.0 * i, 60.0, 10.0, 10.0), true);
        }
        const Logging::CCapture capture;
        EXPECT_EQ(marked == 4 ? body.IdentifyCalibMarks() : body.IdentifyCalibMarksWDefaultOrient3EmbSqs(),
                  eCalibTiltTooStrong);
        ExpectLogged(capture, Logging::ELevel::eError,
                     L"Error: LxCCBCalibBody::IdentifyCalibMarks: embedded squares could not be sorted.\n");
    }
}

TEST(LxCCBCalibBodyIdentification, SquaresAreBuiltAnew)
{
    CSeenBoard board(BoardPose{}, BoardShape());
    EXPECT_EQ(board.body.IdentifyCalibMarks(), eCalibOk);
    EXPECT_EQ(board.body.IdentifyCalibMarks(), eCalibOk);
    EXPECT_EQ(board.body.GetNumDetectedRects(), 56);
    EXPECT_EQ(board.CountIds().right, 56);
}

TEST(LxCCBCalibBodyIdentification, ATargetWithoutMarksIsNoneAtAnyTime)
{
    CBoardProbe body;
    EXPECT_EQ(body.IdentifyCalibMarks(), eCalibNoFourSquares);
    EXPECT_EQ(body.PropagateRectIds(8, 7), eCalibOk);
    EXPECT_EQ(body.DoubleCheckIds(8, 7), eCalibOk);
    body.Reset();
    EXPECT_EQ(body.IdentifyCalibMarks(), eCalibNoFourSquares);
}

TEST(LxCCBCalibBodyIdentification, AnyNumbersInTheThresholdsAreSafe)
{
    for (const int columns : {8, 0, -1, kIntMin, kIntMax}) {
        for (const int rows : {7, 0, kIntMin, kIntMax}) {
            for (const int first : {27, 0, kIntMin, kIntMax}) {
                for (const int passes : {-1, kIntMax}) {
                    CSeenBoard board(Turned(2), BoardShape());
                    LxCCBCalibThres& thres = board.body.Thres();
                    thres.m_iNrOfCols = columns;
                    thres.m_iNrOfRows = rows;
                    thres.m_iIdOfFirstMarkedSquare = first;
                    thres.m_iMaxIterationsPropIDs = passes;
                    EXPECT_EQ(board.body.IdentifyCalibMarks(), eCalibOk);
                    const std::int64_t last = std::int64_t{columns} * rows;
                    for (const LxCCBRect* const rect : board.body.GetRects()) {
                        EXPECT_TRUE(rect->GetId() == 0 || passes < 0 ||
                                    (rect->GetId() > 0 && rect->GetId() <= last))
                            << columns << ' ' << rows << ' ' << first;
                    }
                }
            }
        }
    }
}

TEST(LxCCBCalibBodyEmbedded, TheFirstSquareThatEnclosesABrightOneIsTaken)
{
    CBoardProbe body;
    body.AddCorners(AxisParallel(100.0, 100.0, 60.0, 60.0)); // encloses both others
    body.AddCorners(AxisParallel(105.0, 105.0, 50.0, 50.0));
    body.AddCorners(AxisParallel(300.0, 100.0, 60.0, 60.0));
    body.AddCorners(AxisParallel(500.0, 100.0, 30.0, 30.0), true); // in none
    body.AddCorners(AxisParallel(320.0, 120.0, 20.0, 20.0), true);
    body.AddCorners(AxisParallel(120.0, 120.0, 20.0, 20.0), true);
    body.AddCorners(AxisParallel(300.0, 120.0, 20.0, 20.0), true); // touches its square's side
    body.DetectAllRects();
    ASSERT_EQ(body.GetRects().size(), 3U);
    const auto& bright = body.GetRectsOfSecondPolarity();
    ASSERT_EQ(bright.size(), 4U);
    std::vector<LxCCBRect*> embedded = {nullptr};
    std::vector<LxCCBRect*> enclosing;
    EXPECT_EQ(body.DetectEmbeddedRects(embedded, enclosing), 2);
    EXPECT_EQ(embedded, (std::vector<LxCCBRect*>{nullptr, bright[1], bright[2]}));
    EXPECT_EQ(enclosing, (std::vector<LxCCBRect*>{body.GetRects()[2], body.GetRects()[0]}));
}

} // namespace
} // namespace LxCV
