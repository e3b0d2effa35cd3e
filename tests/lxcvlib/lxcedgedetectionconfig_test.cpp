#include "lxcedgedetectionconfig.h"

#include "tests/lxcvlib/edgetestsupport.h"
#include "tests/lxcvlib/sectiontext.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace LxCV {
namespace {

using TestSupport::CEdgeImage;
using TestSupport::CTracedEdge;
using TestSupport::ExtremumWord;

TEST(LxCEdgeDetectionConfig, SmallDefaults)
{
    for (const bool second : {false, true}) {
        const LxCEdgeDetectionConfig config(true, second);
        EXPECT_EQ(config.m_iMinDerivativeAmount, 0);
        EXPECT_EQ(config.m_iMinSingExtremumAmount, 1);
        EXPECT_EQ(config.m_iMinTotExtremumAmount, 1);
        EXPECT_EQ(config.m_iMaxExtremaDist, 20);
        EXPECT_EQ(config.m_iMaxCodeLetterDist, 8);
        EXPECT_EQ(config.m_iMaxGapWithinStripeBoundary, 1);
        EXPECT_EQ(config.m_iMinStripeLen, 10);
        EXPECT_EQ(config.m_iMinStripeLengthContFlag, 5);
        EXPECT_EQ(config.m_iIncrement, 3);
        EXPECT_EQ(config.m_iTraceStepLimit, 200);
        EXPECT_EQ(config.m_iMinConfirmedPixelsPercentage, 10);
        EXPECT_EQ(config.m_iThrowAwayPixAtStripeBegEnd, 0);
        EXPECT_EQ(config.m_iSmoothingMode, 1);
        EXPECT_EQ(config.m_iKernelSizeX, 3);
        EXPECT_EQ(config.m_iKernelSizeY, 3);
        EXPECT_FALSE(config.m_bManuallyAssignLseId);
    }
}

TEST(LxCEdgeDetectionConfig, BigDefaults)
{
    for (const bool second : {false, true}) {
        const LxCEdgeDetectionConfig config(false, second);
        EXPECT_EQ(config.m_iMinDerivativeAmount, 0);
        EXPECT_EQ(config.m_iMinSingExtremumAmount, 5);
        EXPECT_EQ(config.m_iMinTotExtremumAmount, 5);
        EXPECT_EQ(config.m_iMaxExtremaDist, 30);
        EXPECT_EQ(config.m_iMaxCodeLetterDist, 15);
        EXPECT_EQ(config.m_iMaxGapWithinStripeBoundary, 3);
        EXPECT_EQ(config.m_iMinStripeLen, 10);
        EXPECT_EQ(config.m_iMinStripeLengthContFlag, 7);
        EXPECT_EQ(config.m_iIncrement, 7);
        EXPECT_EQ(config.m_iTraceStepLimit, 50);
        EXPECT_EQ(config.m_iMinConfirmedPixelsPercentage, 33);
        EXPECT_EQ(config.m_iThrowAwayPixAtStripeBegEnd, 0);
        EXPECT_EQ(config.m_iSmoothingMode, 2);
        EXPECT_EQ(config.m_iKernelSizeX, 5);
        EXPECT_EQ(config.m_iKernelSizeY, 5);
        EXPECT_FALSE(config.m_bManuallyAssignLseId);
    }
}

TEST(LxCEdgeDetectionConfig, TakesTheRepairGapLimitFromTheSettings)
{
    const int before = LxCLxCVLibSettings::GetRepairEdgesMaxNumGaps();
    LxCLxCVLibSettings::SetRepairEdgesMaxNumGaps(41);
    const LxCEdgeDetectionConfig small(true, false);
    const LxCEdgeDetectionConfig big(false, false);
    LxCLxCVLibSettings::SetRepairEdgesMaxNumGaps(before);
    EXPECT_EQ(small.m_iRepairEdgesMaxNumGaps, 41);
    EXPECT_EQ(big.m_iRepairEdgesMaxNumGaps, 41);
    EXPECT_EQ(LxCEdgeDetectionConfig(true, true).m_iRepairEdgesMaxNumGaps, before);
}

/// Every key away from both defaults, in file order.
const char* const c_sAllKeys = "::Edge\n"
                               "MinDerivativeAmount=101\n"
                               "MinSingExtremumAmount=102\n"
                               "MinTotExtremumAmount=103\n"
                               "MaxExtremaDist=104\n"
                               "MaxCodeLetterDist=105\n"
                               "MaxGapWithinStripeBoundary=106\n"
                               "MinStripeLen=107\n"
                               "MinStripeLengthContFlag=108\n"
                               "Increment=109\n"
                               "MinConfirmedPixelsPercentage=110\n"
                               "KernelSizeX=111\n"
                               "KernelSizeY=112\n"
                               "ThrowAwayPixAtStripeBegEnd=113\n"
                               "SmoothingMode=-114\n"
                               "ManuallyAssignLseId=1\n";

TEST(LxCEdgeDetectionConfig, LoadsEveryKeyIntoItsField)
{
    LxCEdgeDetectionConfig config(true, false);
    TestSupport::Load(config, "::Edge", c_sAllKeys);
    EXPECT_EQ(config.m_iMinDerivativeAmount, 101);
    EXPECT_EQ(config.m_iMinSingExtremumAmount, 102);
    EXPECT_EQ(config.m_iMinTotExtremumAmount, 103);
    EXPECT_EQ(config.m_iMaxExtremaDist, 104);
    EXPECT_EQ(config.m_iMaxCodeLetterDist, 105);
    EXPECT_EQ(config.m_iMaxGapWithinStripeBoundary, 106);
    EXPECT_EQ(config.m_iMinStripeLen, 107);
    EXPECT_EQ(config.m_iMinStripeLengthContFlag, 108);
    EXPECT_EQ(config.m_iIncrement, 109);
    EXPECT_EQ(config.m_iMinConfirmedPixelsPercentage, 110);
    EXPECT_EQ(config.m_iKernelSizeX, 111);
    EXPECT_EQ(config.m_iKernelSizeY, 112);
    EXPECT_EQ(config.m_iThrowAwayPixAtStripeBegEnd, 113);
    EXPECT_EQ(config.m_iSmoothingMode, -114);
    EXPECT_TRUE(config.m_bManuallyAssignLseId);
}

TEST(LxCEdgeDetectionConfig, StoresEveryKeyInOrder)
{
    LxCEdgeDetectionConfig config(false, false);
    TestSupport::Load(config, "::Edge", c_sAllKeys);
    const std::string stored = TestSupport::Store(config, "::Edge");
    EXPECT_NE(stored.find(c_sAllKeys), std::string::npos) << stored;
}

TEST(LxCEdgeDetectionConfig, KeepsTheTwoLimitsThatAreNotStored)
{
    LxCEdgeDetectionConfig config(true, false);
    config.m_iTraceStepLimit = 12345;
    config.m_iRepairEdgesMaxNumGaps = 54321;
    const std::string stored = TestSupport::Store(config, "::Edge");
    EXPECT_EQ(stored.find("12345"), std::string::npos);
    EXPECT_EQ(stored.find("54321"), std::string::npos);
    TestSupport::Load(config, "::Edge", c_sAllKeys);
    EXPECT_EQ(config.m_iTraceStepLimit, 12345);
    EXPECT_EQ(config.m_iRepairEdgesMaxNumGaps, 54321);
}

TEST(LxCEdgeDetectionConfig, LeavesWhatATextLacks)
{
    LxCEdgeDetectionConfig config(true, false);
    config.m_iMaxExtremaDist = 21;
    config.m_bManuallyAssignLseId = true;
    TestSupport::Load(config, "::Edge", "::Edge\nIncrement=4\nMinStripeLen=seven\n");
    EXPECT_EQ(config.m_iIncrement, 4);
    EXPECT_EQ(config.m_iMaxExtremaDist, 21);
    EXPECT_TRUE(config.m_bManuallyAssignLseId);
    TestSupport::Load(config, "::Elsewhere", "::Edge\nIncrement=5\n");
    EXPECT_EQ(config.m_iIncrement, 4);
}

/// Edges along one row: the seed, then pixels of a kind each.
struct CPixelCounts
{
    int plain = 0;  ///< confirmed, without flags
    int cont = 0;   ///< confirmed, with the continuation flag
    int cont2 = 0;  ///< confirmed, with the second continuation flag alone
    int symbol = 0; ///< accepted by their symbol
};

void TraceCounts(CTracedEdge& edge, const CPixelCounts& counts)
{
    const int seedCol = 2;
    CEdgeImage image(seedCol + counts.plain + counts.cont + counts.cont2 + counts.symbol + 3, 1);
    int col = seedCol;
    const auto put = [&](int count, std::uint32_t word) {
        for (int i = 0; i < count; ++i) {
            image.Put(++col, 0, word);
        }
    };
    put(counts.plain, ExtremumWord(TestSupport::c_iOwnId, TestSupport::c_uiOwnSymbol, 3));
    put(counts.cont, ExtremumWord(TestSupport::c_iOwnId, TestSupport::c_uiOwnSymbol, 3, true, false));
    put(counts.cont2, ExtremumWord(TestSupport::c_iOwnId, TestSupport::c_uiOwnSymbol, 3, false, true));
    put(counts.symbol, ExtremumWord(0, TestSupport::c_uiOwnSymbol, 3));
    edge.TraceFrom(image, seedCol, 0, 0, 0, LxCEdgeDetectionConfig(true, false));
    ASSERT_EQ(edge.GetNrOfPixels(), 1 + counts.plain + counts.cont + counts.cont2 + counts.symbol);
    ASSERT_EQ(edge.GetNrOfConfirmedPixels(), 1 + counts.plain + counts.cont + counts.cont2);
}

/// The verdict of a configuration on an edge of so many pixels.
bool IsValid(const LxCEdgeDetectionConfig& config, const CPixelCounts& counts, bool strict)
{
    CTracedEdge edge(200);
    TraceCounts(edge, counts);
    return config.IsLightStripeEdgeValid(&edge, strict);
}

TEST(LxCEdgeDetectionConfig, EdgesNeedContinuationPixels)
{
    const LxCEdgeDetectionConfig small(true, false); // 5 of them
    EXPECT_FALSE(IsValid(small, {.plain = 50, .cont = 4, .cont2 = 3}, false));
    EXPECT_TRUE(IsValid(small, {.plain = 50, .cont = 5, .cont2 = 0}, false));
    const LxCEdgeDetectionConfig big(false, false); // 7 of them
    EXPECT_FALSE(IsValid(big, {.plain = 50, .cont = 6, .cont2 = 3}, false));
    EXPECT_TRUE(IsValid(big, {.plain = 50, .cont = 7, .cont2 = 0}, false));
}

TEST(LxCEdgeDetectionConfig, ASecondContinuationPixelMakesAnyLengthValid)
{
    LxCEdgeDetectionConfig config(true, false);
    config.m_iMinStripeLen = 1000;
    config.m_iMinConfirmedPixelsPercentage = 100;
    for (const bool strict : {false, true}) {
        EXPECT_TRUE(IsValid(config, {.cont = 5, .cont2 = 1, .symbol = 30}, strict));
        EXPECT_FALSE(IsValid(config, {.cont = 5, .cont2 = 0, .symbol = 30}, strict));
    }
}

TEST(LxCEdgeDetectionConfig, StrictnessWantsTheSecondContinuationFlag)
{
    const LxCEdgeDetectionConfig config(true, false);
    EXPECT_TRUE(IsValid(config, {.cont = 20}, false));
    EXPECT_FALSE(IsValid(config, {.cont = 20}, true));
}

TEST(LxCEdgeDetectionConfig, EdgesHaveALeastLength)
{
    const LxCEdgeDetectionConfig config(true, false); // 10 pixels with the seed
    EXPECT_FALSE(IsValid(config, {.cont = 8}, false));
    EXPECT_TRUE(IsValid(config, {.cont = 9}, false));
}

TEST(LxCEdgeDetectionConfig, ALengthOfZeroLeavesTheContinuationTestInForce)
{
    LxCEdgeDetectionConfig config(true, false);
    TestSupport::Load(config, "::Edge", "::Edge\nMinStripeLen=0\n");
    EXPECT_FALSE(IsValid(config, {.plain = 3, .cont = 4}, false));
    EXPECT_TRUE(IsValid(config, {.cont = 5}, false));
}

TEST(LxCEdgeDetectionConfig, EdgesHaveALeastShareOfConfirmedPixels)
{
    const LxCEdgeDetectionConfig config(false, false); // 33 percent
    // 8 of 24 are 33.3 percent, 8 of 25 are 32.
    EXPECT_TRUE(IsValid(config, {.cont = 7, .symbol = 16}, false));
    EXPECT_FALSE(IsValid(config, {.cont = 7, .symbol = 17}, false));
}

TEST(LxCEdgeDetectionConfig, ManualIdsMakeEveryEdgeValid)
{
    LxCEdgeDetectionConfig config(true, false);
    config.m_bManuallyAssignLseId = true;
    LxCLightStripeEdge fresh;
    EXPECT_TRUE(config.IsLightStripeEdgeValid(&fresh, true));
    EXPECT_TRUE(config.IsLightStripeEdgeValid(nullptr, true));
}

TEST(LxCEdgeDetectionConfig, NoEdgeIsNotValid)
{
    LxCEdgeDetectionConfig config(true, false);
    config.m_iMinStripeLengthContFlag = std::numeric_limits<int>::min();
    EXPECT_FALSE(config.IsLightStripeEdgeValid(nullptr, false));
}

} // namespace
} // namespace LxCV
