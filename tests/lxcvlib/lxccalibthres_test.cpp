#include "lxccalibthres.h"

#include "tests/lxcvlib/sectiontext.h"

#include <gtest/gtest.h>

#include <type_traits>
#include <utility>

namespace LxCV {
namespace {

void SetAllToOtherValues(LxCCalibThres& thres)
{
    thres.m_iImgMargin = 11;
    thres.m_iImgMarginBottom = 12;
    thres.m_eSmoothingMode = CCTImage::eSM_Blur;
    thres.m_iKernelSizeX = 7;
    thres.m_iKernelSizeY = 9;
    thres.m_dMarginPercent = 0.25;
    thres.m_bFishEyeLens = true;
    thres.m_dPseudoKappa2Tsai = -0.125;
    thres.m_bUseAutoThresholds = false;
    thres.m_iMaxIterationsPropIDs = 13;
}

void ExpectOtherValues(const LxCCalibThres& thres)
{
    EXPECT_EQ(thres.m_iImgMargin, 11);
    EXPECT_EQ(thres.m_iImgMarginBottom, 12);
    EXPECT_EQ(thres.m_eSmoothingMode, 2);
    EXPECT_EQ(thres.m_iKernelSizeX, 7);
    EXPECT_EQ(thres.m_iKernelSizeY, 9);
    EXPECT_EQ(thres.m_dMarginPercent, 0.25);
    EXPECT_TRUE(thres.m_bFishEyeLens);
    EXPECT_EQ(thres.m_dPseudoKappa2Tsai, -0.125);
    EXPECT_FALSE(thres.m_bUseAutoThresholds);
    EXPECT_EQ(thres.m_iMaxIterationsPropIDs, 13);
}

void ExpectDefaults(const LxCCalibThres& thres)
{
    EXPECT_EQ(thres.m_iImgMargin, 5);
    EXPECT_EQ(thres.m_iImgMarginBottom, 0);
    EXPECT_EQ(thres.m_eSmoothingMode, 1);
    EXPECT_EQ(thres.m_iKernelSizeX, 5);
    EXPECT_EQ(thres.m_iKernelSizeY, 5);
    EXPECT_EQ(thres.m_dMarginPercent, 0.015);
    EXPECT_FALSE(thres.m_bFishEyeLens);
    EXPECT_EQ(thres.m_dPseudoKappa2Tsai, 0.0);
    EXPECT_TRUE(thres.m_bUseAutoThresholds);
    EXPECT_EQ(thres.m_iMaxIterationsPropIDs, 10);
}

TEST(LxCCalibThres, ConstructionGivesTheDefaults)
{
    ExpectDefaults(LxCCalibThres());
}

TEST(LxCCalibThres, ResetRestoresTheDefaults)
{
    LxCCalibThres thres;
    SetAllToOtherValues(thres);
    thres.Reset();
    ExpectDefaults(thres);
}

TEST(LxCCalibThres, CopyMoveAndAssignmentCarryAllFields)
{
    LxCCalibThres thres;
    SetAllToOtherValues(thres);
    LxCCalibThres copy(thres);
    ExpectOtherValues(copy);
    LxCCalibThres moved(std::move(copy));
    ExpectOtherValues(moved);
    LxCCalibThres assigned;
    assigned = thres;
    ExpectOtherValues(assigned);
}

TEST(LxCCalibThres, IsPolymorphicWithAVirtualDestructor)
{
    EXPECT_TRUE(std::has_virtual_destructor_v<LxCCalibThres>);
}

TEST(LxCCalibThres, WritesItsKeysInFileOrder)
{
    LxCCalibThres thres;
    SetAllToOtherValues(thres);
    EXPECT_EQ(TestSupport::Store(thres, "::T"), "::T\n"
                                                "ImgMargin=11\n"
                                                "ImgMarginBottom=12\n"
                                                "SmoothingMode=2\n"
                                                "KernelSizeX=7\n"
                                                "KernelSizeY=9\n"
                                                "MarginPercent=0.25000000000000000000\n"
                                                "FishEyeLens=1\n"
                                                "PseudoKappa2Tsai=-0.12500000000000000000\n"
                                                "MaxIterationsPropIDs=13\n"
                                                "UseAutoThresholds=0\n");
}

TEST(LxCCalibThres, ReadsWhatItWrote)
{
    LxCCalibThres thres;
    SetAllToOtherValues(thres);
    LxCCalibThres loaded;
    TestSupport::Load(loaded, "::T", TestSupport::Store(thres, "::T"));
    ExpectOtherValues(loaded);
}

TEST(LxCCalibThres, MissingKeysFallBackToTheDefaultsAndNotToThePresentValues)
{
    LxCCalibThres thres;
    SetAllToOtherValues(thres);
    TestSupport::Load(thres, "::T", "::Other\nImgMargin=8\n");
    ExpectDefaults(thres);
}

TEST(LxCCalibThres, ValuesThatDoNotConvertGiveTheDefaults)
{
    LxCCalibThres thres;
    TestSupport::Load(
        thres, "::T",
        "::T\nImgMargin=many\nMarginPercent=\nFishEyeLens=7\nKernelSizeX=99999999999999999999\n");
    ExpectDefaults(thres);
}

} // namespace
} // namespace LxCV
