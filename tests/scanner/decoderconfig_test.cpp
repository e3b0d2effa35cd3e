#include "scanner/decoder/decoderconfig.h"

#include <gtest/gtest.h>

namespace decoder {
namespace {

TEST(DecoderConfig, MeasuresTeethUnlessToldOtherwise)
{
    EXPECT_TRUE(DecoderConfig().algorithm.GetOptimizeAlgoForIntraoralMeasurement());
}

TEST(DecoderConfig, DecodesByTheLimitsForSmallStructuresOfWhatIsMeasured)
{
    DecoderConfig config;
    EXPECT_EQ(&config.Edges(), &config.algorithm.GetEdgeDetectionConfigSmall());
    const LxCV::LxCEdgeDetectionConfig* const ofTeeth = &config.Edges();
    config.algorithm.SetOptimizeAlgoForIntraoralMeasurement(false);
    EXPECT_NE(&config.Edges(), ofTeeth);
    EXPECT_EQ(&config.Edges(), &config.algorithm.GetEdgeDetectionConfigSmall());
    const DecoderConfig& constant = config;
    EXPECT_EQ(&constant.Edges(), &config.Edges());
}

TEST(DecoderConfig, CodeWordsBridgeAStripeOfFourteenRowsAndAllElseIsTheLibrarysDefault)
{
    for (const bool intraoral : {false, true}) {
        DecoderConfig config;
        config.algorithm.SetOptimizeAlgoForIntraoralMeasurement(intraoral);
        const LxCV::LxCEdgeDetectionConfig library(true, intraoral);
        EXPECT_EQ(config.Edges().m_iMaxCodeLetterDist, 14);
        EXPECT_EQ(config.Edges().m_iIncrement, library.m_iIncrement);
        EXPECT_EQ(config.Edges().m_iMaxGapWithinStripeBoundary, library.m_iMaxGapWithinStripeBoundary);
        EXPECT_EQ(config.Edges().m_iTraceStepLimit, library.m_iTraceStepLimit);
        EXPECT_EQ(config.Edges().m_iSmoothingMode, library.m_iSmoothingMode);
        EXPECT_EQ(config.Edges().m_iKernelSizeX, library.m_iKernelSizeX);
        EXPECT_EQ(config.Edges().m_iKernelSizeY, library.m_iKernelSizeY);
        EXPECT_EQ(config.algorithm.GetEdgeDetectionConfigBig().m_iMaxCodeLetterDist, 15);
    }
}

} // namespace
} // namespace decoder
