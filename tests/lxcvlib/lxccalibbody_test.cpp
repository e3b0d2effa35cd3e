#include "lxccalibbody.h"

#include "lxccbcalibthres.h"
#include "orx/logging/logger.h"
#include "pathutils.h"
#include "tests/lxcvlib/calibbodytestsupport.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <string>

namespace LxCV {
namespace {

using TestSupport::CPlainTarget;

constexpr const wchar_t* c_sChannel = L"ORX.Lumorad.LxCCalibBody";
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr int c_iMax = std::numeric_limits<int>::max();
constexpr int c_iMin = std::numeric_limits<int>::min();

/// A kind of mark that a copy must not flatten.
class CSpecialMark : public LxCCalibMark
{
public:
    std::unique_ptr<LxCCalibMark> Clone() const override { return std::make_unique<CSpecialMark>(*this); }
    int GetId() const override { return LxCCalibMark::GetId() + 100; }
};

TEST(LxCCalibBody, StartsWithTheDocumentedState)
{
    const CPlainTarget target;
    EXPECT_EQ(target.GetPath(), GetAppPathA() + "\\Vekiob_ChDeviceFiles\\Vekiob Calibration Data\\");
    EXPECT_EQ(target.GetCoordFile(), "");
    EXPECT_FALSE(target.m_bDataLoaded);
    EXPECT_EQ(target.m_sLoadedFile, "");
    EXPECT_FALSE(target.m_bNormalized);
    EXPECT_TRUE(target.m_vWorldCoords.empty());
    EXPECT_TRUE(target.GetCalibMarks().empty());
    EXPECT_EQ(target.GetCalibOrientation(), -1);
    ASSERT_NE(target.m_pIntrinsicParams, nullptr);
    EXPECT_EQ(target.m_pIntrinsicParams->GetPixelPitchX(), 0.01);
    EXPECT_EQ(target.m_pIntrinsicParams->GetPixelPitchY(), 0.01);
    EXPECT_TRUE(target.m_pIntrinsicParams->IsUseTsai());
    EXPECT_EQ(target.m_iNumMeasurements, 0);
    EXPECT_EQ(target.GetMaxCalibrationIteration(), 100);
    EXPECT_NE(target.GetThres(), nullptr);
}

TEST(LxCCalibBody, CreatesNoThresholdsWhereADescendantBringsItsOwn)
{
    EXPECT_EQ(CPlainTarget(false).GetThres(), nullptr);
}

TEST(LxCCalibBody, SpecialCoordinateFilesHaveTheirNames)
{
    EXPECT_STREQ(LxCCalibBody::sc_FilenameReadFromRegistry, "registry");
    EXPECT_STREQ(LxCCalibBody::sc_StandardParammsDiaA2, "StandardParamsDiaA2");
    EXPECT_STREQ(LxCCalibBody::sc_StandardParammsDiaC, "StandardParamsDiaC");
}

TEST(LxCCalibBody, OrientationsAreQuarterTurns)
{
    EXPECT_EQ(LxCCalibBody::eCO_Unknown, -1);
    EXPECT_EQ(LxCCalibBody::eCO_NoTurn, 0);
    EXPECT_EQ(LxCCalibBody::eCO_QuarterTurn, 1);
    EXPECT_EQ(LxCCalibBody::eCO_HalfTurn, 2);
    EXPECT_EQ(LxCCalibBody::eCO_ThreeQuarterTurn, 3);
    CPlainTarget target;
    target.SetCalibOrientation(LxCCalibBody::eCO_HalfTurn);
    EXPECT_EQ(target.GetCalibOrientation(), LxCCalibBody::eCO_HalfTurn);
}

TEST(LxCCalibBody, KeepsTheMaximumOfIterations)
{
    CPlainTarget target;
    target.SetMaxCalibrationIteration(7);
    EXPECT_EQ(target.GetMaxCalibrationIteration(), 7);
}

TEST(LxCCalibBody, OperationsThatConcreteTargetsBringDoNothing)
{
    CPlainTarget target;
    EXPECT_EQ(target.AssessMarkQual(nullptr), 0);
    EXPECT_EQ(target.DoubleCheckIds(8, 7), 0);
    LxC3DCoordsCCT coords(1.0, 2.0, 3.0);
    EXPECT_EQ(target.IdToWCDirect(5, coords), 12);
    EXPECT_EQ(coords.x, 1.0);
}

TEST(LxCCalibBody, SaysThatItCannotBlankMarksOut)
{
    CPlainTarget target;
    const Logging::CCapture capture;
    EXPECT_EQ(target.FilterOutCalibMarks(nullptr, 1.0), 1);
    EXPECT_EQ(capture.Count(Logging::ELevel::eInfo, c_sChannel,
                            L"Error: FilterOutCalibMarks ist für diesen CalibBody nicht implementiert.\n"),
              1);
}

// Copies

/// A target with everything away from its initial value.
void Fill(CPlainTarget& target)
{
    auto thres = std::make_unique<LxCCBCalibThres>();
    thres->m_iNrOfCols = 21;
    target.m_pThres = std::move(thres);
    target.m_sPath = "folder/";
    target.SetCoordFile("file.txt");
    target.m_bDataLoaded = true;
    target.m_sLoadedFile = "file.txt";
    target.m_bNormalized = true;
    target.m_vWorldCoords = {{1.0, 2.0, 3.0}};
    target.AddMark(4.0, 5.0, 6);
    target.m_vMarks.push_back(new CSpecialMark);
    target.SetCalibOrientation(LxCCalibBody::eCO_QuarterTurn);
    target.m_pIntrinsicParams->SetFocalLength(9.0);
    target.m_iNumMeasurements = 11;
    target.SetMaxCalibrationIteration(12);
}

void ExpectFilled(const CPlainTarget& target, const CPlainTarget& source)
{
    ASSERT_NE(target.m_pThres, source.m_pThres);
    const auto* const thres = dynamic_cast<const LxCCBCalibThres*>(target.GetThres());
    ASSERT_NE(thres, nullptr);
    EXPECT_EQ(thres->m_iNrOfCols, 21);
    EXPECT_EQ(target.GetPath(), "folder/");
    EXPECT_EQ(target.GetCoordFile(), "file.txt");
    EXPECT_TRUE(target.m_bDataLoaded);
    EXPECT_EQ(target.m_sLoadedFile, "file.txt");
    EXPECT_TRUE(target.m_bNormalized);
    ASSERT_EQ(target.m_vWorldCoords.size(), 1U);
    EXPECT_EQ(target.m_vWorldCoords[0].z, 3.0);
    ASSERT_EQ(target.m_vMarks.size(), 2U);
    EXPECT_NE(target.m_vMarks[0], source.m_vMarks[0]);
    EXPECT_EQ(target.m_vMarks[0]->GetXImg(), 4.0);
    EXPECT_EQ(target.m_vMarks[0]->GetId(), 6);
    EXPECT_EQ(target.m_vMarks[1]->GetId(), 100);
    EXPECT_EQ(target.GetCalibOrientation(), LxCCalibBody::eCO_QuarterTurn);
    ASSERT_NE(target.m_pIntrinsicParams, source.m_pIntrinsicParams);
    EXPECT_EQ(target.m_pIntrinsicParams->GetFocalLength(), 9.0);
    EXPECT_EQ(target.m_iNumMeasurements, 11);
    EXPECT_EQ(target.GetMaxCalibrationIteration(), 12);
}

TEST(LxCCalibBody, CopiesAreDeepAndKeepTheTypesOfMarksAndThresholds)
{
    CPlainTarget source;
    Fill(source);
    const CPlainTarget copy(source);
    ExpectFilled(copy, source);
}

TEST(LxCCalibBody, AssignmentReplacesEverything)
{
    CPlainTarget source;
    Fill(source);
    CPlainTarget target;
    target.AddMark(1.0, 1.0, 1);
    target = source;
    ExpectFilled(target, source);
    EXPECT_EQ(source.m_vMarks.size(), 2U);
}

TEST(LxCCalibBody, AssignmentToItselfChangesNothing)
{
    CPlainTarget target;
    Fill(target);
    const std::vector<LxCCalibMark*> before = target.m_vMarks;
    const CPlainTarget& self = target;
    target = self;
    EXPECT_EQ(target.m_vMarks, before);
    EXPECT_EQ(target.m_vMarks[0]->GetId(), 6);
}

TEST(LxCCalibBody, CopiesOfATargetWithoutThresholdsOrLensHaveNone)
{
    CPlainTarget source(false);
    source.m_pIntrinsicParams.reset();
    const CPlainTarget copy(source);
    EXPECT_EQ(copy.m_pThres, nullptr);
    EXPECT_EQ(copy.m_pIntrinsicParams, nullptr);
    CPlainTarget assigned;
    assigned = source;
    EXPECT_EQ(assigned.m_pThres, nullptr);
    EXPECT_EQ(assigned.m_pIntrinsicParams, nullptr);
}

TEST(LxCCalibBody, ResetDeletesTheMarks)
{
    CPlainTarget target;
    target.AddMark(1.0, 2.0, 3);
    target.m_vWorldCoords = {{1.0, 2.0, 3.0}};
    target.Reset();
    EXPECT_TRUE(target.GetCalibMarks().empty());
    EXPECT_EQ(target.m_vWorldCoords.size(), 1U);
}

// Lookup

TEST(LxCCalibBody, FindsTheFirstMarkWithAnId)
{
    CPlainTarget target;
    target.AddMark(0.0, 0.0);
    LxCCalibMark* const first = target.AddMark(1.0, 0.0, 5);
    target.AddMark(2.0, 0.0, 5);
    EXPECT_EQ(target.FindCalibMark(5), first);
    EXPECT_EQ(target.FindCalibMarkIndex(5), 1);
    EXPECT_EQ(target.FindCalibMark(6), nullptr);
    EXPECT_EQ(target.FindCalibMarkIndex(6), -1);
}

TEST(LxCCalibBody, Id0NamesNoMarkEvenWhereMarksLackIds)
{
    CPlainTarget target;
    target.AddMark(0.0, 0.0);
    EXPECT_EQ(target.FindCalibMark(0), nullptr);
    EXPECT_EQ(target.FindCalibMarkIndex(0), -1);
}

TEST(LxCCalibBody, TheIntegerBoxHoldsTruncatedPositionsInsideItsBorder)
{
    CPlainTarget target;
    LxCCalibMark* const mark = target.AddMark(12.9, -7.9); // truncated (12, -7)
    EXPECT_EQ(target.FindCalibMark(10, -7, 3), mark);
    EXPECT_EQ(target.FindCalibMark(10, -7, 2), nullptr);
    EXPECT_EQ(target.FindCalibMark(12, -5, 3), mark);
    EXPECT_EQ(target.FindCalibMark(12, -4, 3), nullptr);
    EXPECT_EQ(target.FindCalibMark(12, -7, 0), nullptr);
    EXPECT_EQ(target.FindCalibMark(12, -7, -1), nullptr);
}

TEST(LxCCalibBody, TheIntegerSearchTakesTheLeastRealDistanceAndTheFirstOnATie)
{
    CPlainTarget target;
    target.AddMark(10.9, 10.0); // truncated as near as the next, in truth farther
    LxCCalibMark* const near = target.AddMark(10.2, 10.0);
    target.AddMark(9.8, 10.0); // equally near
    EXPECT_EQ(target.FindCalibMark(10, 10, 5), near);
}

TEST(LxCCalibBody, TheRealBoxExcludesItsBorder)
{
    CPlainTarget target;
    LxCCalibMark* const mark = target.AddMark(10.0, 20.0);
    EXPECT_EQ(target.FindCalibMark(12.5, 20.0, 2.5), nullptr);
    EXPECT_EQ(target.FindCalibMark(12.5, 20.0, 2.75), mark);
    EXPECT_EQ(target.FindCalibMark(10.0, 17.5, 2.5), nullptr);
    EXPECT_EQ(target.FindCalibMark(12.0, 25.0, 3.0, 6.0), mark);
    EXPECT_EQ(target.FindCalibMark(12.0, 25.0, 6.0, 3.0), nullptr);
}

TEST(LxCCalibBody, TheNearestMarkIsThatOfABruteForceSearch)
{
    std::mt19937 random(7);
    std::uniform_int_distribution<int> place(-40, 40); // quarter pixels, so that there are ties
    for (int trial = 0; trial < 2000; ++trial) {
        CPlainTarget target;
        for (int i = 0; i < 12; ++i) {
            target.AddMark(place(random) * 0.25, place(random) * 0.25);
        }
        const double x = place(random) * 0.25;
        const double y = place(random) * 0.25;
        const double tolX = std::abs(place(random)) * 0.25;
        const double tolY = std::abs(place(random)) * 0.25;
        const LxCCalibMark* expected = nullptr;
        for (const LxCCalibMark* mark : target.m_vMarks) {
            const double dx = mark->GetXImg() - x;
            const double dy = mark->GetYImg() - y;
            const bool isInside = dx < tolX && -dx < tolX && dy < tolY && -dy < tolY;
            // Squares of multiples of 1/4 are exact.
            if (isInside &&
                (expected == nullptr || dx * dx + dy * dy < std::pow(expected->GetXImg() - x, 2) +
                                                                std::pow(expected->GetYImg() - y, 2))) {
                expected = mark;
            }
        }
        ASSERT_EQ(target.FindCalibMark(x, y, tolX, tolY), expected) << trial;
    }
}

TEST(LxCCalibBody, ExtremeNumbersFindNothing)
{
    CPlainTarget target;
    target.AddMark(kNaN, 0.0);
    target.AddMark(0.0, kNaN);
    target.AddMark(kInfinity, -kInfinity);
    EXPECT_EQ(target.FindCalibMark(0, 0, c_iMax), nullptr);
    EXPECT_EQ(target.FindCalibMark(c_iMin, c_iMax, c_iMax), nullptr);
    EXPECT_EQ(target.FindCalibMark(kNaN, kNaN, kNaN), nullptr);
    EXPECT_EQ(target.FindCalibMark(0.0, 0.0, kInfinity), nullptr);
    EXPECT_EQ(target.ToggleCalibMark(0, 0, 5), 1);
}

TEST(LxCCalibBody, AMarkInAHugeBoxIsFoundHoweverFarItIs)
{
    CPlainTarget target;
    LxCCalibMark* const far = target.AddMark(1e200, 0.0); // its squared distance is beyond double
    target.AddMark(-1e200, 0.0);
    EXPECT_EQ(target.FindCalibMark(0.0, 0.0, 2e200), far);
    LxCCalibMark* const near = target.AddMark(1e100, 0.0);
    EXPECT_EQ(target.FindCalibMark(0.0, 0.0, 2e200), near);
}

TEST(LxCCalibBody, TogglesEveryMarkInTheBox)
{
    CPlainTarget target;
    const LxCCalibMark* const first = target.AddMark(10.0, 10.0);
    LxCCalibMark* const second = target.AddMark(11.9, 9.0);
    const LxCCalibMark* const outside = target.AddMark(12.0, 10.0);
    second->MakeInvalid();
    EXPECT_EQ(target.ToggleCalibMark(10, 10, 2), 0);
    EXPECT_TRUE(first->IsInvalid());
    EXPECT_FALSE(second->IsInvalid());
    EXPECT_FALSE(outside->IsInvalid());
}

TEST(LxCCalibBody, TogglingNothingIs1)
{
    CPlainTarget target;
    EXPECT_EQ(target.ToggleCalibMark(0, 0, 5), 1);
    target.AddMark(10.0, 0.0);
    EXPECT_EQ(target.ToggleCalibMark(0, 0, 5), 1);
}

TEST(LxCCalibBody, AnIdIsAssignedByHandLessThanTenPixelsOff)
{
    CPlainTarget target;
    const LxCCalibMark* const mark = target.AddMark(100.0, 50.0);
    EXPECT_EQ(target.ManAssignId(110, 50, 9), 1);
    EXPECT_EQ(mark->GetId(), 0);
    EXPECT_EQ(target.ManAssignId(109, 41, 9), 0);
    EXPECT_EQ(mark->GetId(), 9);
}

TEST(LxCCalibBody, PrintsALineForEachMark)
{
    CPlainTarget target;
    target.AddMark(1.0, 2.0, 3);
    target.AddMark(4.5, 5.0);
    std::string text = "Before\n";
    target.PrintCalibMarks(text);
    // Positions have the stream precision 2 that a mark's text has.
    EXPECT_EQ(text, "Before\nNewly Located Calibration Marks:\n3: (1, 2)\n0: (4.5, 5)\n");
}

// Statistics

TEST(LxCCalibBody, GoodMarksHaveAnIdAndAreUsed)
{
    CPlainTarget target;
    target.AddMark(0.0, 0.0, 1);
    target.AddMark(0.0, 0.0, -1);
    target.AddMark(0.0, 0.0);
    target.AddMark(0.0, 0.0, 2)->MakeInvalid();
    target.AddMark(0.0, 0.0, 3)->MarkAsUnusableForCalib();
    target.AddMark(0.0, 0.0, 4)->SetQuality(10.0);
    EXPECT_EQ(target.GetNrOfGoodMarks(), 2);
}

TEST(LxCCalibBody, TheMeanPositionLeavesInvalidMarksOut)
{
    CPlainTarget target;
    target.AddMark(1.0, 10.0, 1);
    target.AddMark(4.0, 30.0);
    target.AddMark(1000.0, 1000.0, 2)->MakeInvalid();
    double x = -1.0;
    double y = -1.0;
    EXPECT_EQ(target.GetMeanPos(&x, &y, false), 0);
    EXPECT_EQ(x, 2.5);
    EXPECT_EQ(y, 20.0);
    EXPECT_EQ(target.GetMeanPos(&x, &y, true), 0);
    EXPECT_EQ(x, 1.0);
    EXPECT_EQ(y, 10.0);
}

TEST(LxCCalibBody, TheMeanPositionOfNothingIsTheOriginAnd1)
{
    CPlainTarget target;
    target.AddMark(4.0, 30.0);
    double x = -1.0;
    double y = -1.0;
    EXPECT_EQ(target.GetMeanPos(&x, &y, true), 1);
    EXPECT_EQ(x, 0.0);
    EXPECT_EQ(y, 0.0);
    EXPECT_EQ(target.GetMeanPos(nullptr, &y, false), 1);
    EXPECT_EQ(target.GetMeanPos(&x, nullptr, false), 1);
}

TEST(LxCCalibBody, TheBoxInTheWorldHasNoLimits)
{
    const CPlainTarget target;
    double box[4] = {};
    EXPECT_EQ(target.GetPositionInWC(&box[0], &box[1], &box[2], &box[3]), 0);
    EXPECT_EQ(box[0], -std::numeric_limits<double>::max());
    EXPECT_EQ(box[1], -std::numeric_limits<double>::max());
    EXPECT_EQ(box[2], std::numeric_limits<double>::max());
    EXPECT_EQ(box[3], std::numeric_limits<double>::max());
    for (int missing = 0; missing < 4; ++missing) {
        const auto at = [&](int i) { return i == missing ? nullptr : &box[i]; };
        EXPECT_EQ(target.GetPositionInWC(at(0), at(1), at(2), at(3)), 1);
    }
}

TEST(LxCCalibBody, WorldCoordinatesBelongToIdsFrom2ToTheirNumber)
{
    CPlainTarget target;
    target.m_vWorldCoords = {{1.0, 1.0, 1.0}, {2.0, 2.0, 2.0}, {3.0, 3.0, 3.0}};
    LxCCalibMark mark;
    const auto expectX = [&](int id, double x) {
        mark.SetId(id);
        EXPECT_EQ(target.GetWorldCoords(mark).x, x) << id;
        EXPECT_EQ(target.GetWorldCoords(mark).z, x) << id;
    };
    expectX(c_iMin, 0.0);
    expectX(0, 0.0);
    expectX(1, 0.0);
    expectX(2, 2.0);
    expectX(3, 3.0);
    expectX(4, 0.0);
    expectX(c_iMax, 0.0);
}

TEST(LxCCalibBody, WorldCoordinatesMoveToTheirMeanOnce)
{
    CPlainTarget target;
    target.m_vWorldCoords = {{1.0, 2.0, 0.0}, {3.0, 6.0, 8.0}};
    EXPECT_EQ(target.NormalizeTargetCoordsToCenter(), 0);
    EXPECT_EQ(target.m_vWorldCoords[0].x, -1.0);
    EXPECT_EQ(target.m_vWorldCoords[0].y, -2.0);
    EXPECT_EQ(target.m_vWorldCoords[0].z, -4.0);
    EXPECT_EQ(target.m_vWorldCoords[1].x, 1.0);
    EXPECT_TRUE(target.m_bNormalized);
    target.m_vWorldCoords[0].x = 5.0;
    EXPECT_EQ(target.NormalizeTargetCoordsToCenter(), 0);
    EXPECT_EQ(target.m_vWorldCoords[0].x, 5.0);
}

TEST(LxCCalibBody, NormalisingWithoutCoordinatesIsHarmless)
{
    CPlainTarget target;
    EXPECT_EQ(target.NormalizeTargetCoordsToCenter(), 0);
    EXPECT_TRUE(target.m_vWorldCoords.empty());
}

} // namespace
} // namespace LxCV
