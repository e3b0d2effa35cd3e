// Tests of a checkerboard target in the world: coordinates of corners, black areas, export, reading.
#include "checkerboardtestsupport.h"
#include "lxccalibrationdata.h"
#include "orx/logging/logger.h"

#include <gtest/gtest.h>

#include <limits>
#include <sstream>

namespace LxCV {
namespace {

using TestSupport::AxisParallel;
using TestSupport::BoardPose;
using TestSupport::BoardShape;
using TestSupport::CBoardProbe;
using TestSupport::CSeenBoard;

constexpr const wchar_t* kChannel = L"ORX.Lumorad.LxCCBCalibBody";

/// World coordinate i is (i, 10 i, 100 i).
void FillWorldCoords(CBoardProbe& board, int count)
{
    for (int i = 0; i < count; ++i) {
        board.WorldCoords().emplace_back(i, 10.0 * i, 100.0 * i);
    }
}

/// Which world coordinate a mark with this id has; -1 for the origin.
int IndexOf(const CBoardProbe& board, int id)
{
    LxCCalibMark mark;
    mark.SetId(id);
    const LxC3DCoordsCCT world = board.GetWorldCoords(mark);
    return world.x == 0.0 && world.y == 0.0 && world.z == 0.0 ? -1 : static_cast<int>(world.x);
}

TEST(LxCCBCalibBodyWorld, CornersHaveTheRowOfTheTableOfEachOrientation)
{
    CBoardProbe board;
    FillWorldCoords(board, 12);
    const std::array<std::array<int, 4>, 4> table = {
        {{1, 2, 3, 4}, {3, 1, 4, 2}, {4, 3, 2, 1}, {2, 4, 1, 3}}};
    for (int orientation = -1; orientation < 4; ++orientation) {
        board.SetCalibOrientation(static_cast<ECalibOrientation>(orientation));
        const auto& corners = table[static_cast<std::size_t>(std::max(orientation, 0))];
        for (int id = 5; id <= 12; ++id) {
            const int inSquare = (id - 1) % 4;
            const int firstOfSquare = id - 1 - inSquare;
            EXPECT_EQ(IndexOf(board, id), firstOfSquare + corners[static_cast<std::size_t>(inSquare)] - 1)
                << orientation << ' ' << id;
        }
    }
}

TEST(LxCCBCalibBodyWorld, TheFirstIdHasCoordinatesTooAndTheLastOne)
{
    CBoardProbe board;
    FillWorldCoords(board, 8);
    board.WorldCoords()[0] = LxC3DCoordsCCT(77.0, 0.0, 0.0);
    EXPECT_EQ(IndexOf(board, 1), 77);
    EXPECT_EQ(IndexOf(board, 8), 7);
}

TEST(LxCCBCalibBodyWorld, IdsWithoutCoordinatesAreTheOrigin)
{
    CBoardProbe board;
    for (const int id : {1, 0, 5}) {
        EXPECT_EQ(IndexOf(board, id), -1);
    }
    FillWorldCoords(board, 8);
    for (const int id : {0, -1, 9, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()}) {
        EXPECT_EQ(IndexOf(board, id), -1) << id;
    }
}

TEST(LxCCBCalibBodyWorld, ASquareWithoutAllItsCoordinatesHasThoseThatAreThere)
{
    CBoardProbe board;
    FillWorldCoords(board, 6);
    board.SetCalibOrientation(
        eCO_HalfTurn); // ids 5 and 6 belong to coordinates 7 and 6, of which there are none
    EXPECT_EQ(IndexOf(board, 5), -1);
    EXPECT_EQ(IndexOf(board, 6), -1);
    board.SetCalibOrientation(eCO_QuarterTurn); // to coordinates 6 and 4
    EXPECT_EQ(IndexOf(board, 5), -1);
    EXPECT_EQ(IndexOf(board, 6), 4);
}

/// Records that the test owns.
class CRecords
{
public:
    CRecords() = default;
    CRecords(const CRecords&) = delete;
    CRecords& operator=(const CRecords&) = delete;
    ~CRecords()
    {
        for (const LxCCalibrationData* record : list) {
            delete record;
        }
    }

    std::vector<LxCCalibrationData*> list;
};

TEST(LxCCBCalibBodyExport, EveryIdentifiedCornerIsExportedWithItsPlaceOnTheTarget)
{
    for (int turns = 0; turns < 4; ++turns) {
        BoardPose pose;
        pose.quarterTurns = turns;
        pose.angle = 0.1;
        CSeenBoard board(pose, BoardShape());
        board.SetWorldCoords();
        ASSERT_EQ(board.body.IdentifyCalibMarks(), eCalibOk);
        CRecords records;
        ASSERT_EQ(board.body.ExportCalibrationDataUsingWCDataFile(records.list), eCalibOk);
        ASSERT_EQ(records.list.size(), 224U);
        for (const LxCCalibrationData* const record : records.list) {
            const TestSupport::Point seen = pose.ToImage(record->m_dXw, record->m_dYw);
            EXPECT_EQ(record->m_dXi, seen.x);
            EXPECT_EQ(record->m_dYi, seen.y);
            EXPECT_EQ(record->m_dWeight, 1.0);
        }
        EXPECT_TRUE(board.body.GetCalibMarks().empty());
        EXPECT_TRUE(board.body.GetRects().empty());
        EXPECT_EQ(board.body.ExportCalibrationDataUsingWCDataFile(records.list), eCalibOk);
        EXPECT_EQ(records.list.size(), 224U);
    }
}

TEST(LxCCBCalibBodyExport, MarksWithoutAnIdWithoutCoordinatesOrOutOfUseAreLeftOut)
{
    CBoardProbe board;
    FillWorldCoords(board, 8);
    board.AddRect(AxisParallel(10.0, 10.0, 30.0, 30.0), 2); // ids 5 to 8
    board.AddRect(AxisParallel(60.0, 10.0, 30.0, 30.0), 3); // ids 9 to 12
    board.AddRect(AxisParallel(110.0, 10.0, 30.0, 30.0), 0);
    board.GetCalibMarks()[1]->MarkAsUnusableForCalib();
    board.GetCalibMarks()[2]->SetQuality(0.25);
    CRecords records;
    EXPECT_EQ(board.ExportCalibrationData(records.list), eCalibOk);
    ASSERT_EQ(records.list.size(), 3U);
    EXPECT_EQ(records.list[0]->m_dXw, 4.0);
    EXPECT_EQ(records.list[1]->m_dXw, 6.0);
    EXPECT_EQ(records.list[1]->m_dZw, 600.0);
    EXPECT_EQ(records.list[1]->m_dXi, 10.0);
    EXPECT_EQ(records.list[1]->m_dYi, 40.0);
    EXPECT_EQ(records.list[1]->m_dWeight, 0.25);
    EXPECT_EQ(records.list[2]->m_dXw, 7.0);
}

TEST(LxCCBCalibBodyExport, AMarkOfAnotherKindIsRefused)
{
    CBoardProbe board;
    FillWorldCoords(board, 8);
    board.AddRect(AxisParallel(10.0, 10.0, 30.0, 30.0), 1);
    board.GetCalibMarks().push_back(new LxCCalibMark);
    CRecords records;
    EXPECT_EQ(board.ExportCalibrationDataUsingWCDataFile(records.list), eCalibNotDone);
    EXPECT_TRUE(records.list.empty());
    EXPECT_EQ(board.GetCalibMarks().size(), 5U);
}

TEST(LxCCBCalibBodyBlackAreas, EachSquareMakesAnAreaWithAMargin)
{
    CBoardProbe board;
    // Corners in any order: x from 1 to 2.5, y from -2 to -0.5.
    board.WorldCoords() = {{2.5, -2.0, 0.0}, {1.0, -1.0, 0.0}, {1.5, -0.5, 0.0}, {2.0, -1.5, 0.0}};
    EXPECT_EQ(board.FillVectorBlackAreaOnTarget(), eCalibOk);
    ASSERT_EQ(board.GetBlackAreas().size(), 1U);
    const LxCRoi& area = board.GetBlackAreas()[0];
    EXPECT_EQ(area.GetLeftCol(), 925);
    EXPECT_EQ(area.GetWidth(), 2575 - 925);
    EXPECT_EQ(area.GetTopRow(), -2075);
    EXPECT_EQ(area.GetHeight(), -425 + 2075);
}

TEST(LxCCBCalibBodyBlackAreas, BoundsAreComputedInSinglePrecisionAndTruncatedTowardsZero)
{
    // 0.0759 * 1000 - 75 = 0.9, truncated to 0; -0.0759 * 1000 - 75 = -150.9 to -150. 1.005 is just below itself in
    // single as in double precision, but only in single precision its product with 1000 rounds to 1005, which leaves
    // 930 and not 929. So it does as an upper bound: 1080.
    CBoardProbe board;
    board.WorldCoords() = {{0.0759, 1.005, 0.0}, {1.005, 17.0, 0.0}, {0.5, 17.0, 0.0}, {0.5, 17.0, 0.0}};
    board.FillVectorBlackAreaOnTarget();
    EXPECT_EQ(board.GetBlackAreas()[0].GetLeftCol(), 0);
    EXPECT_EQ(board.GetBlackAreas()[0].GetWidth(), 1080);
    EXPECT_EQ(board.GetBlackAreas()[0].GetTopRow(), 930);
    board.WorldCoords()[0] = LxC3DCoordsCCT(-0.0759, 1.005, 0.0);
    board.FillVectorBlackAreaOnTarget();
    EXPECT_EQ(board.GetBlackAreas()[0].GetLeftCol(), -150);
}

TEST(LxCCBCalibBodyBlackAreas, FewerThanFourCoordinatesMakeNone)
{
    CBoardProbe board;
    FillWorldCoords(board, 8);
    board.FillVectorBlackAreaOnTarget();
    EXPECT_EQ(board.GetBlackAreas().size(), 2U);
    board.WorldCoords().resize(7);
    board.FillVectorBlackAreaOnTarget();
    EXPECT_EQ(board.GetBlackAreas().size(), 1U);
    board.WorldCoords().resize(3);
    EXPECT_EQ(board.FillVectorBlackAreaOnTarget(), eCalibOk);
    EXPECT_TRUE(board.GetBlackAreas().empty());
}

TEST(LxCCBCalibBodyBlackAreas, CoordinatesThatNoIntegerHoldsAreSafe)
{
    constexpr double huge = std::numeric_limits<double>::max();
    constexpr double nan = std::numeric_limits<double>::quiet_NaN();
    CBoardProbe board;
    board.WorldCoords() = {{-huge, nan, 0.0}, {huge, nan, 0.0}, {nan, 1.0, 0.0}, {0.0, -1.0, 0.0}};
    EXPECT_EQ(board.FillVectorBlackAreaOnTarget(), eCalibOk);
    ASSERT_EQ(board.GetBlackAreas().size(), 1U);
    EXPECT_FALSE(board.IsInsideBlackAreaOnTarget(nan, nan));
    EXPECT_FALSE(board.IsInsideBlackAreaOnTarget(huge, huge));
}

TEST(LxCCBCalibBodyBlackAreas, LowerBoundsAreInsideAndUpperOnesAreNot)
{
    CBoardProbe board;
    board.WorldCoords() = {{1.0, 2.0, 0.0}, {2.0, 2.0, 0.0}, {1.0, 3.0, 0.0}, {2.0, 3.0, 0.0},
                           {5.0, 2.0, 0.0}, {6.0, 2.0, 0.0}, {5.0, 3.0, 0.0}, {6.0, 3.0, 0.0}};
    EXPECT_FALSE(board.IsInsideBlackAreaOnTarget(1.5, 2.5)); // not filled yet
    board.FillVectorBlackAreaOnTarget();
    EXPECT_TRUE(board.IsInsideBlackAreaOnTarget(1.5, 2.5));
    EXPECT_TRUE(board.IsInsideBlackAreaOnTarget(5.5, 2.5));
    EXPECT_FALSE(board.IsInsideBlackAreaOnTarget(3.5, 2.5));
    EXPECT_TRUE(board.IsInsideBlackAreaOnTarget(0.925, 1.925));
    EXPECT_FALSE(board.IsInsideBlackAreaOnTarget(0.9249, 1.925));
    EXPECT_FALSE(board.IsInsideBlackAreaOnTarget(0.925, 1.9249));
    EXPECT_TRUE(board.IsInsideBlackAreaOnTarget(2.0749, 3.0749));
    EXPECT_FALSE(board.IsInsideBlackAreaOnTarget(2.075, 3.0));
    EXPECT_FALSE(board.IsInsideBlackAreaOnTarget(2.0, 3.075));
}

TEST(LxCCBCalibBodyBlackAreas, DistancesAreThoseToTheNearestCentre)
{
    CBoardProbe board;
    EXPECT_EQ(board.GetDistToBlackAreaOnTarget(0.0, 0.0), std::numeric_limits<float>::max() / 1000.0F);
    board.WorldCoords() = {{1.0, 2.0, 0.0}, {2.0, 2.0, 0.0}, {1.0, 3.0, 0.0}, {2.0, 3.0, 0.0},
                           {5.0, 2.0, 0.0}, {6.0, 2.0, 0.0}, {5.0, 3.0, 0.0}, {6.0, 3.0, 0.0}};
    board.FillVectorBlackAreaOnTarget();
    // Centres (1.5, 2.5) and (5.5, 2.5); single precision has seven digits.
    EXPECT_NEAR(board.GetDistToBlackAreaOnTarget(1.5, 2.5), 0.0F, 1e-6F);
    EXPECT_NEAR(board.GetDistToBlackAreaOnTarget(8.5, 6.5), 5.0F, 1e-6F);
    EXPECT_NEAR(board.GetDistToBlackAreaOnTarget(3.4, 2.5), 1.9F, 1e-6F);
    EXPECT_NEAR(board.GetDistToBlackAreaOnTarget(3.6, 2.5), 1.9F, 1e-6F);
}

TEST(LxCCBCalibBodyRead, CoordinatesAreCentredAndBlackAreasFilled)
{
    CBoardProbe board;
    std::istringstream stream("::Coords\n9 18\n11 18\n9 22\n11 22\n");
    const Logging::CCapture capture;
    EXPECT_EQ(board.Read3DCoordsFromStream(stream), eCalibOk);
    EXPECT_EQ(capture.GetRecords().size(), 1U);
    EXPECT_EQ(capture.Count(Logging::ELevel::eInfo, kChannel, L"Read3DCoordsFromStream\n"), 1);
    ASSERT_EQ(board.WorldCoords().size(), 4U);
    EXPECT_EQ(board.WorldCoords()[0].x, -1.0);
    EXPECT_EQ(board.WorldCoords()[0].y, -2.0);
    EXPECT_TRUE(board.IsInsideBlackAreaOnTarget(0.0, 0.0));
    EXPECT_FALSE(board.IsInsideBlackAreaOnTarget(10.0, 20.0));
}

TEST(LxCCBCalibBodyRead, AnErrorOfTheBaseEndsIt)
{
    CBoardProbe board;
    std::istringstream stream("::Coords\n9 18\nno number\n");
    const Logging::CCapture capture;
    EXPECT_EQ(board.Read3DCoordsFromStream(stream), eCalibWorldFileBad);
    EXPECT_EQ(capture.Count(Logging::ELevel::eInfo, kChannel, L"Read3DCoordsFromStream\n"), 1);
    ASSERT_EQ(board.WorldCoords().size(), 1U);
    EXPECT_EQ(board.WorldCoords()[0].x, 9.0); // not centred
}

TEST(LxCCBCalibBodyRead, AStreamThatIsNotGoodIsReported)
{
    CBoardProbe board;
    std::istringstream stream;
    stream.setstate(std::ios::failbit);
    EXPECT_EQ(board.Read3DCoordsFromStream(stream), eCalibWorldFileNotFound);
}

} // namespace
} // namespace LxCV
