#include "lxccprojslidecalibthres.h"

#include "orx/logging/logger.h"
#include "tests/lxcvlib/sectiontext.h"

#include <gtest/gtest.h>

#include <limits>
#include <utility>
#include <vector>

namespace LxCV {
namespace {

void ExpectDefaults(const LxCCProjSlideCalibThres& thres)
{
    EXPECT_EQ(thres.m_iMinLocExtAmount, 40);
    EXPECT_EQ(thres.m_iMinTotalExtAmount, 80);
    EXPECT_EQ(thres.m_iNrOfCols, 0);
    EXPECT_EQ(thres.m_iNrOfRows, 0);
    EXPECT_EQ(thres.m_viCalibMarkPos,
              (std::vector<int>{10, 20, 28, 38, 50, 58, 74, 84, 92, 102, 114, 122, 138}));
    EXPECT_EQ(thres.m_viBlankOutMarkerPos, (std::vector<int>{1750, 3500, 5250}));
    EXPECT_EQ(thres.m_iBlankOutMarkerWidth, 100);
    EXPECT_EQ(thres.m_dMaxPolyFitQuad, 0.00005);
    EXPECT_EQ(thres.m_dMaxDiffFitLinear, 0.025);
    EXPECT_EQ(thres.m_iFixedNrVisibleRows, 3);
    EXPECT_EQ(thres.m_viMarkerMaskRow, (std::vector<int>{580, 350, 115}));
    EXPECT_EQ(thres.m_viMarkerMaskTolerance, (std::vector<int>{70, 70, 70}));
    EXPECT_EQ(thres.m_eMarkerTyp, 1);
}

/// Every key away from its default, in file order.
const char* const c_sAllKeys = "::Thres\n"
                               "MinLocExtAmount=51\n"
                               "MinTotalExtAmount=52\n"
                               "NrOfRows=53\n"
                               "NrOfCols=54\n"
                               "CalibMarkPos=8,24,32\n"
                               "BlankOutMarkerPos=-5,100\n"
                               "BlankOutMarkerWidth=55\n"
                               "MaxPolyFitQuad=0.50000000000000000000\n"
                               "MaxDiffFitLinear=0.25000000000000000000\n"
                               "FixedNrVisibleRows=4\n"
                               "MarkerTyp=2\n"
                               "::Thres::Base\n"
                               "ImgMargin=3\n"
                               "ImgMarginBottom=0\n"
                               "SmoothingMode=1\n"
                               "KernelSizeX=3\n"
                               "KernelSizeY=3\n"
                               "MarginPercent=0.12500000000000000000\n"
                               "FishEyeLens=0\n"
                               "PseudoKappa2Tsai=0.00000000000000000000\n"
                               "MaxIterationsPropIDs=10\n"
                               "UseAutoThresholds=1\n";

TEST(LxCCProjSlideCalibThres, ConstructionGivesTheDefaultsOfBothClasses)
{
    const LxCCProjSlideCalibThres thres;
    ExpectDefaults(thres);
    EXPECT_EQ(thres.m_iImgMargin, 5);
}

TEST(LxCCProjSlideCalibThres, ResetLeavesTheBaseAlone)
{
    LxCCProjSlideCalibThres thres;
    TestSupport::Load(thres, "::Thres", c_sAllKeys);
    LxCCalibThres& base = thres;
    base.Reset();
    ExpectDefaults(thres);
    EXPECT_EQ(thres.m_iImgMargin, 3);
}

TEST(LxCCProjSlideCalibThres, LoadsEveryKeyIntoItsField)
{
    LxCCProjSlideCalibThres thres;
    TestSupport::Load(thres, "::Thres", c_sAllKeys);
    EXPECT_EQ(thres.m_iMinLocExtAmount, 51);
    EXPECT_EQ(thres.m_iMinTotalExtAmount, 52);
    EXPECT_EQ(thres.m_iNrOfRows, 53);
    EXPECT_EQ(thres.m_iNrOfCols, 54);
    EXPECT_EQ(thres.m_viCalibMarkPos, (std::vector<int>{8, 24, 32}));
    EXPECT_EQ(thres.m_viBlankOutMarkerPos, (std::vector<int>{-5, 100}));
    EXPECT_EQ(thres.m_iBlankOutMarkerWidth, 55);
    EXPECT_EQ(thres.m_dMaxPolyFitQuad, 0.5);
    EXPECT_EQ(thres.m_dMaxDiffFitLinear, 0.25);
    EXPECT_EQ(thres.m_iFixedNrVisibleRows, 4);
    EXPECT_EQ(thres.m_eMarkerTyp, LxCCProjSlideCalibThres::eMT_WhiteInBlack);
    EXPECT_EQ(thres.m_dMarginPercent, 0.125);
}

TEST(LxCCProjSlideCalibThres, WritesOwnKeysThenTheBaseInFileOrder)
{
    LxCCProjSlideCalibThres thres;
    TestSupport::Load(thres, "::Thres", c_sAllKeys);
    EXPECT_EQ(TestSupport::Store(thres, "::Thres"), c_sAllKeys);
}

TEST(LxCCProjSlideCalibThres, CopyMoveAndAssignmentCarryAllFields)
{
    LxCCProjSlideCalibThres thres;
    TestSupport::Load(thres, "::Thres", c_sAllKeys);
    thres.m_viMarkerMaskRow = {1, 2};
    thres.m_viMarkerMaskTolerance = {3};
    const auto expectAll = [](LxCCProjSlideCalibThres& carried) {
        EXPECT_EQ(TestSupport::Store(carried, "::Thres"), c_sAllKeys);
        EXPECT_EQ(carried.m_viMarkerMaskRow, (std::vector<int>{1, 2}));
        EXPECT_EQ(carried.m_viMarkerMaskTolerance, (std::vector<int>{3}));
    };
    LxCCProjSlideCalibThres copy(thres);
    expectAll(copy);
    LxCCProjSlideCalibThres moved(std::move(copy));
    expectAll(moved);
    LxCCProjSlideCalibThres assigned;
    assigned = moved;
    expectAll(assigned);
}

TEST(LxCCProjSlideCalibThres, ListsAreReadWithAndWithoutBlanks)
{
    LxCCProjSlideCalibThres thres;
    thres.m_viCalibMarkPos.clear();
    thres.m_viBlankOutMarkerPos.clear();
    TestSupport::Load(thres, "::Thres",
                      "::Thres\nCalibMarkPos=10,20,28,38,50,58,74,84,92,102,114,122,138\n"
                      "BlankOutMarkerPos=1750, 3500, 5250\n");
    ExpectDefaults(thres);
}

TEST(LxCCProjSlideCalibThres, MissingKeysFallBackToTheDefaults)
{
    LxCCProjSlideCalibThres thres;
    TestSupport::Load(thres, "::Thres", c_sAllKeys);
    TestSupport::Load(thres, "::Thres", "::Nothing\n");
    ExpectDefaults(thres);
    EXPECT_EQ(thres.m_iImgMargin, 5);
}

TEST(LxCCProjSlideCalibThres, KeysThatNobodyReadsAreIgnored)
{
    LxCCProjSlideCalibThres thres;
    const Logging::CCapture capture;
    TestSupport::Load(thres, "::Thres",
                      "::Thres\nMarkerTyp=2\n::Thres::Base\nRequestedType=CProjISlideCalibBody\n"
                      "FixedOrienation=0\nImgMargin=4\n");
    EXPECT_EQ(thres.m_eMarkerTyp, 2);
    EXPECT_EQ(thres.m_iImgMargin, 4);
    EXPECT_TRUE(capture.GetRecords().empty());
}

TEST(LxCCProjSlideCalibThres, MarkerIdsCountFromOneInTheOrderOfTheList)
{
    const LxCCProjSlideCalibThres thres;
    EXPECT_EQ(thres.GetIdOfMarker(10), 1);
    EXPECT_EQ(thres.GetIdOfMarker(28), 3);
    EXPECT_EQ(thres.GetIdOfMarker(138), 13);
    EXPECT_EQ(thres.GetIdOfMarker(11), 0);
    EXPECT_EQ(thres.GetIdOfMarker(-10), 0);
}

TEST(LxCCProjSlideCalibThres, OnlyStripesOfTheListHaveMarkers)
{
    const LxCCProjSlideCalibThres thres;
    EXPECT_TRUE(thres.LSHasMarker(10));
    EXPECT_TRUE(thres.LSHasMarker(138));
    EXPECT_FALSE(thres.LSHasMarker(9));
    EXPECT_FALSE(thres.LSHasMarker(0));
}

TEST(LxCCProjSlideCalibThres, BothEdgesOfAMarkedStripeAreCloseToItsMarks)
{
    const LxCCProjSlideCalibThres thres;
    EXPECT_FALSE(thres.IsCloseByMarkerPosition(9, 1750.0));
    EXPECT_TRUE(thres.IsCloseByMarkerPosition(10, 1750.0));
    EXPECT_TRUE(thres.IsCloseByMarkerPosition(11, 1750.0));
    EXPECT_FALSE(thres.IsCloseByMarkerPosition(12, 1750.0));
}

TEST(LxCCProjSlideCalibThres, TheBoundsOfAMarkerPositionAreExcluded)
{
    const LxCCProjSlideCalibThres thres;
    EXPECT_FALSE(thres.IsCloseByMarkerPosition(10, 3400.0));
    EXPECT_TRUE(thres.IsCloseByMarkerPosition(10, 3400.001));
    EXPECT_TRUE(thres.IsCloseByMarkerPosition(10, 3599.999));
    EXPECT_FALSE(thres.IsCloseByMarkerPosition(10, 3600.0));
}

TEST(LxCCProjSlideCalibThres, ExtremeStripesAndPositionsAreNotClose)
{
    LxCCProjSlideCalibThres thres;
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_FALSE(thres.IsCloseByMarkerPosition(10, nan));
    EXPECT_FALSE(thres.IsCloseByMarkerPosition(std::numeric_limits<int>::min(), 1750.0));
    thres.m_viCalibMarkPos = {std::numeric_limits<int>::max()};
    EXPECT_FALSE(thres.IsCloseByMarkerPosition(std::numeric_limits<int>::min(), 1750.0));
    thres.m_viBlankOutMarkerPos = {std::numeric_limits<int>::max()};
    thres.m_iBlankOutMarkerWidth = std::numeric_limits<int>::max();
    EXPECT_TRUE(thres.IsCloseByMarkerPosition(std::numeric_limits<int>::max(), 4294967293.0));
}

TEST(LxCCProjSlideCalibThres, ResetMarkerMaskRestoresItsEntries)
{
    LxCCProjSlideCalibThres thres;
    thres.m_viMarkerMaskRow = {1};
    thres.m_viMarkerMaskTolerance.clear();
    thres.ResetMarkerMask();
    ExpectDefaults(thres);
}

TEST(LxCCProjSlideCalibThres, TheMarkerMaskHasOneEntryPerVisibleRow)
{
    LxCCProjSlideCalibThres thres;
    TestSupport::Load(thres, "::Thres", "::Thres\nFixedNrVisibleRows=5\n");
    EXPECT_EQ(thres.m_viMarkerMaskRow, (std::vector<int>{580, 350, 115, 0, 0}));
    EXPECT_EQ(thres.m_viMarkerMaskTolerance, (std::vector<int>{70, 70, 70, 70, 70}));
}

TEST(LxCCProjSlideCalibThres, FewerThanThreeVisibleRowsTakeWhatFits)
{
    LxCCProjSlideCalibThres thres;
    thres.m_iFixedNrVisibleRows = 2;
    thres.ResetMarkerMask();
    EXPECT_EQ(thres.m_viMarkerMaskRow, (std::vector<int>{580, 350}));
    EXPECT_EQ(thres.m_viMarkerMaskTolerance, (std::vector<int>{70, 70}));
    thres.m_iFixedNrVisibleRows = 0;
    thres.ResetMarkerMask();
    EXPECT_TRUE(thres.m_viMarkerMaskRow.empty());
    EXPECT_TRUE(thres.m_viMarkerMaskTolerance.empty());
}

TEST(LxCCProjSlideCalibThres, ANegativeNumberOfVisibleRowsBecomesZeroWithAWarning)
{
    LxCCProjSlideCalibThres thres;
    const Logging::CCapture capture;
    TestSupport::Load(thres, "::Thres", "::Thres\nFixedNrVisibleRows=-1\n::Thres::Base\nImgMargin=1\n");
    EXPECT_EQ(thres.m_iFixedNrVisibleRows, 0);
    EXPECT_TRUE(thres.m_viMarkerMaskRow.empty());
    EXPECT_EQ(capture.Count(
                  Logging::ELevel::eWarning, L"ORX.Lumorad.LxCCProjSlideCalibThres",
                  L"LxCCProjSlideCalibThres::ResetMarkerMask: -1 visible rows are not possible, 0 taken\n"),
              1);
}

TEST(LxCCProjSlideCalibThres, AnEnormousNumberOfVisibleRowsIsCappedWithAWarning)
{
    LxCCProjSlideCalibThres thres;
    const Logging::CCapture capture;
    TestSupport::Load(thres, "::Thres",
                      "::Thres\nFixedNrVisibleRows=2147483647\n::Thres::Base\nImgMargin=1\n");
    EXPECT_EQ(thres.m_iFixedNrVisibleRows, 4096);
    EXPECT_EQ(thres.m_viMarkerMaskRow.size(), 4096U);
    EXPECT_EQ(thres.m_viMarkerMaskTolerance.size(), 4096U);
    EXPECT_EQ(capture.Count(Logging::ELevel::eWarning, L"ORX.Lumorad.LxCCProjSlideCalibThres",
                            L"LxCCProjSlideCalibThres::ResetMarkerMask: 2147483647 visible rows are not "
                            L"possible, 4096 taken\n"),
              1);
}

} // namespace
} // namespace LxCV
