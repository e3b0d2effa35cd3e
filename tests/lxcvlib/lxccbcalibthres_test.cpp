#include "lxccbcalibthres.h"

#include "tests/lxcvlib/sectiontext.h"

#include <gtest/gtest.h>

#include <utility>

namespace LxCV {
namespace {

void ExpectDefaults(const LxCCBCalibThres& thres)
{
    EXPECT_EQ(thres.m_iMinLocExtAmount, 40);
    EXPECT_EQ(thres.m_iMinTotalExtAmount, 80);
    EXPECT_EQ(thres.m_iMinEdgeLen, 10);
    EXPECT_EQ(thres.m_iMaxEdgeLen, 80);
    EXPECT_EQ(thres.m_iNrOfSamples, 27);
    EXPECT_EQ(thres.m_iSkip, 3);
    EXPECT_EQ(thres.m_iNrOfCols, 8);
    EXPECT_EQ(thres.m_iNrOfRows, 7);
    EXPECT_EQ(thres.m_iIdOfFirstMarkedSquare, 27);
    EXPECT_EQ(thres.m_eTypeOfCB, 1);
    EXPECT_EQ(thres.m_fFactor2, 1.0F);
    EXPECT_EQ(thres.m_fFactor1, 1.0F);
    EXPECT_EQ(thres.m_iMaxDistCornerToEdgeEnd, 80);
    EXPECT_EQ(thres.m_iMinDistCornerToOppEdgeEnd, 7);
    EXPECT_FALSE(thres.m_bAssumeStandardOrientation);
    EXPECT_EQ(thres.m_dXOffset, 0.0);
    EXPECT_EQ(thres.m_dYOffset, 0.0);
    EXPECT_FALSE(thres.m_bUseParabolaFit);
    EXPECT_TRUE(thres.m_bUseEdgeDirCheck);
    EXPECT_EQ(thres.m_uiTargetId, 0U);
    EXPECT_EQ(thres.m_sTargetIdS, L"");
    EXPECT_EQ(thres.m_eTargetVersion, 0);
}

/// Every key away from its default, in file order.
const char* const c_sAllKeys = "::Thres\n"
                               "TargetId=123\n"
                               "TargetIdS=Brett Nr. 5 \xC3\xA4\n"
                               "TargetVersion=4\n"
                               "MinLocExtAmount=21\n"
                               "MinTotalExtAmount=22\n"
                               "NrOfSamples=23\n"
                               "Skip=24\n"
                               "MaxDistCornerToEdgeEnd=25\n"
                               "MinDistCornerToOppEdgeEnd=26\n"
                               "NrOfRows=27\n"
                               "NrOfCols=28\n"
                               "MinEdgeLen=29\n"
                               "MaxEdgeLen=30\n"
                               "IdOfFirstMarkedSquare=31\n"
                               "TypeOfCB=3\n"
                               "AssumeStandardOrientation=1\n"
                               "XOffset=0.50000000000000000000\n"
                               "YOffset=-0.25000000000000000000\n"
                               "UseParabolaFit=1\n"
                               "UseEdgeDirCheck=0\n"
                               "Factor1=1.50000000000000000000\n"
                               "Factor2=2.50000000000000000000\n"
                               "::Thres::Base\n"
                               "ImgMargin=9\n"
                               "ImgMarginBottom=0\n"
                               "SmoothingMode=1\n"
                               "KernelSizeX=5\n"
                               "KernelSizeY=5\n"
                               "MarginPercent=0.12500000000000000000\n"
                               "FishEyeLens=0\n"
                               "PseudoKappa2Tsai=0.00000000000000000000\n"
                               "MaxIterationsPropIDs=10\n"
                               "UseAutoThresholds=1\n";

TEST(LxCCBCalibThres, ConstructionGivesTheDefaultsOfBothClasses)
{
    const LxCCBCalibThres thres;
    ExpectDefaults(thres);
    EXPECT_EQ(thres.m_iImgMargin, 5);
    EXPECT_EQ(thres.m_dMarginPercent, 0.015);
}

TEST(LxCCBCalibThres, ResetLeavesTheBaseAlone)
{
    LxCCBCalibThres thres;
    TestSupport::Load(thres, "::Thres", c_sAllKeys);
    LxCCalibThres& base = thres;
    base.Reset();
    ExpectDefaults(thres);
    EXPECT_EQ(thres.m_iImgMargin, 9);
    EXPECT_EQ(thres.m_dMarginPercent, 0.125);
}

TEST(LxCCBCalibThres, LoadsEveryKeyIntoItsField)
{
    LxCCBCalibThres thres;
    TestSupport::Load(thres, "::Thres", c_sAllKeys);
    EXPECT_EQ(thres.m_uiTargetId, 123U);
    EXPECT_EQ(thres.m_sTargetIdS, L"Brett Nr. 5 \u00E4");
    EXPECT_EQ(thres.m_eTargetVersion, 4);
    EXPECT_EQ(thres.m_iMinLocExtAmount, 21);
    EXPECT_EQ(thres.m_iMinTotalExtAmount, 22);
    EXPECT_EQ(thres.m_iNrOfSamples, 23);
    EXPECT_EQ(thres.m_iSkip, 24);
    EXPECT_EQ(thres.m_iMaxDistCornerToEdgeEnd, 25);
    EXPECT_EQ(thres.m_iMinDistCornerToOppEdgeEnd, 26);
    EXPECT_EQ(thres.m_iNrOfRows, 27);
    EXPECT_EQ(thres.m_iNrOfCols, 28);
    EXPECT_EQ(thres.m_iMinEdgeLen, 29);
    EXPECT_EQ(thres.m_iMaxEdgeLen, 30);
    EXPECT_EQ(thres.m_iIdOfFirstMarkedSquare, 31);
    EXPECT_EQ(thres.m_eTypeOfCB, LxCCBCalibThres::eCBT_NoPolarity);
    EXPECT_TRUE(thres.m_bAssumeStandardOrientation);
    EXPECT_EQ(thres.m_dXOffset, 0.5);
    EXPECT_EQ(thres.m_dYOffset, -0.25);
    EXPECT_TRUE(thres.m_bUseParabolaFit);
    EXPECT_FALSE(thres.m_bUseEdgeDirCheck);
    EXPECT_EQ(thres.m_fFactor1, 1.5F);
    EXPECT_EQ(thres.m_fFactor2, 2.5F);
}

TEST(LxCCBCalibThres, WritesOwnKeysThenTheBaseInFileOrder)
{
    LxCCBCalibThres thres;
    TestSupport::Load(thres, "::Thres", c_sAllKeys);
    EXPECT_EQ(TestSupport::Store(thres, "::Thres"), c_sAllKeys);
}

TEST(LxCCBCalibThres, CopyMoveAndAssignmentCarryAllFields)
{
    LxCCBCalibThres thres;
    TestSupport::Load(thres, "::Thres", c_sAllKeys);
    LxCCBCalibThres copy(thres);
    EXPECT_EQ(TestSupport::Store(copy, "::Thres"), c_sAllKeys);
    LxCCBCalibThres moved(std::move(copy));
    EXPECT_EQ(TestSupport::Store(moved, "::Thres"), c_sAllKeys);
    LxCCBCalibThres assigned;
    assigned = moved;
    EXPECT_EQ(TestSupport::Store(assigned, "::Thres"), c_sAllKeys);
}

TEST(LxCCBCalibThres, MinEdgeLenIsAtLeastOne)
{
    LxCCBCalibThres thres;
    TestSupport::Load(thres, "::Thres", "::Thres\nMinEdgeLen=0\n");
    EXPECT_EQ(thres.m_iMinEdgeLen, 1);
    EXPECT_EQ(thres.m_iMaxEdgeLen, 80);
}

TEST(LxCCBCalibThres, MaxEdgeLenIsAtLeastMinEdgeLen)
{
    LxCCBCalibThres thres;
    TestSupport::Load(thres, "::Thres", "::Thres\nMinEdgeLen=50\nMaxEdgeLen=20\n");
    EXPECT_EQ(thres.m_iMinEdgeLen, 50);
    EXPECT_EQ(thres.m_iMaxEdgeLen, 50);
}

TEST(LxCCBCalibThres, StoringCorrectsNothing)
{
    LxCCBCalibThres thres;
    thres.m_iMinEdgeLen = -3;
    TestSupport::Store(thres, "::Thres");
    EXPECT_EQ(thres.m_iMinEdgeLen, -3);
    EXPECT_EQ(thres.m_sTargetIdS, L"");
}

TEST(LxCCBCalibThres, AMissingTargetTextIsTheNumberWithEightDigits)
{
    LxCCBCalibThres thres;
    TestSupport::Load(thres, "::Thres", "::Thres\nTargetId=123\n");
    EXPECT_EQ(thres.m_sTargetIdS, L"00000123");
}

TEST(LxCCBCalibThres, TheTargetTextOfAnIdBeyondIntIsNegative)
{
    LxCCBCalibThres thres;
    TestSupport::Load(thres, "::Thres", "::Thres\nTargetId=4294967295\n");
    EXPECT_EQ(thres.m_uiTargetId, 4294967295U);
    EXPECT_EQ(thres.m_sTargetIdS, L"-0000001");
}

TEST(LxCCBCalibThres, TheBaseSectionKeepsItsValue)
{
    LxCCBCalibThres thres;
    TestSupport::Load(thres, "::Thres", "::Thres\nSkip=4\n::Thres::Base\nMarginPercent=0.5\n");
    EXPECT_EQ(thres.m_dMarginPercent, 0.5);
    EXPECT_EQ(thres.m_iSkip, 4);
}

TEST(LxCCBCalibThres, AMissingBaseSectionGivesTheBaseItsDefaults)
{
    LxCCBCalibThres thres;
    thres.m_dMarginPercent = 0.5;
    TestSupport::Load(thres, "::Thres", "::Thres\nSkip=4\nMarginPercent=0.75\n");
    EXPECT_EQ(thres.m_dMarginPercent, 0.015);
    EXPECT_EQ(thres.m_iSkip, 4);
}

TEST(LxCCBCalibThres, AnEmptyTextGivesTheDefaultsAndATargetText)
{
    LxCCBCalibThres thres;
    TestSupport::Load(thres, "::Thres", c_sAllKeys);
    TestSupport::Load(thres, "::Thres", "::Nothing\n");
    EXPECT_EQ(thres.m_sTargetIdS, L"00000000");
    thres.m_sTargetIdS.clear();
    ExpectDefaults(thres);
}

TEST(LxCCBCalibThres, UnknownEnumerationNumbersAreCarried)
{
    LxCCBCalibThres thres;
    TestSupport::Load(thres, "::Thres", "::Thres\nTypeOfCB=-2147483648\nTargetVersion=2147483647\n");
    EXPECT_EQ(static_cast<int>(thres.m_eTypeOfCB), -2147483647 - 1);
    EXPECT_EQ(static_cast<int>(thres.m_eTargetVersion), 2147483647);
}

} // namespace
} // namespace LxCV
