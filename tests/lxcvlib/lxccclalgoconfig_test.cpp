#include "lxccclalgoconfig.h"

#include "cctimage.h"
#include "orx/logging/logger.h"
#include "tests/lxcvlib/sectiontext.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace LxCV {
namespace {

using Settings = LxCLxCVLibSettings;

LxCCCLAlgoConfig::ESettings Preset(int number)
{
    return static_cast<LxCCCLAlgoConfig::ESettings>(number);
}

/// Lets the helpers of the section text reach `SerializeNonIniFileParams`.
struct SNonIni
{
    LxCColorCompSettings& config;

    void Serialize(LxCCCTSerializer& serializer, const std::string& section)
    {
        config.SerializeNonIniFileParams(serializer, section);
    }
};

TEST(LxCCCLAlgoConfig, PresetZeroIsActiveAtFirst)
{
    LxCCCLAlgoConfig config;
    EXPECT_EQ(config.GetActivatedAlgorithmSetting(), 0);
    EXPECT_EQ(&config.GetActiveAlgorithmConfig(), &config.GetAlgorithmConfig(Preset(0)));
    EXPECT_EQ(config.GetFocalDistance(), 0.0F);
    EXPECT_EQ(config.GetDepthCullingDistance(), 0.0F);
    EXPECT_EQ(config.GetExitWindowDistance(), 0.0F);
    EXPECT_EQ(config.GetExitWindowNormalX(), 0.0F);
    EXPECT_EQ(config.GetExitWindowNormalY(), 0.0F);
    EXPECT_EQ(config.GetExitWindowNormalZ(), 0.0F);
    EXPECT_FALSE(config.GetCalibState().IsCalibrated());
    EXPECT_EQ(config.GetShadingCorrection().GetShadingCorrectionImage(), nullptr);
    EXPECT_EQ(config.GetCCOpMode(), 2);
}

TEST(LxCCCLAlgoConfig, EachPresetIsBuiltWithItsIndex)
{
    const LxCCCLAlgoConfig config;
    for (const int number : {0, 1, 2, 3}) {
        const bool full = number == 0 || number == 3;
        EXPECT_EQ(config.GetAlgorithmConfig(Preset(number)).m_bUsePyrApproach, full) << number;
        for (const int other : {0, 1, 2, 3}) {
            EXPECT_EQ(&config.GetAlgorithmConfig(Preset(number)) == &config.GetAlgorithmConfig(Preset(other)),
                      number == other);
        }
    }
}

TEST(LxCCCLAlgoConfig, ActivatesPresets)
{
    LxCCCLAlgoConfig config;
    for (const int number : {3, 1, 2, 0}) {
        config.ActivateAlgorithmSettings(Preset(number));
        EXPECT_EQ(config.GetActivatedAlgorithmSetting(), number);
        EXPECT_EQ(&config.GetActiveAlgorithmConfig(), &config.GetAlgorithmConfig(Preset(number)));
        const LxCCCLAlgoConfig& constant = config;
        EXPECT_EQ(&constant.GetActiveAlgorithmConfig(), &config.GetActiveAlgorithmConfig());
    }
}

TEST(LxCCCLAlgoConfig, NumbersThatAreNoPresetChangeNothing)
{
    LxCCCLAlgoConfig config;
    config.ActivateAlgorithmSettings(Preset(2));
    for (const int number : {-1, 4, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()}) {
        const Logging::CCapture capture;
        config.ActivateAlgorithmSettings(Preset(number));
        EXPECT_EQ(config.GetActivatedAlgorithmSetting(), 2);
        EXPECT_EQ(capture.Count(Logging::ELevel::eError, L"ORX.Lumorad.LxCCCLAlgoConfig",
                                L"there are no algorithm settings " + std::to_wstring(number)),
                  1);
        EXPECT_EQ(&config.GetAlgorithmConfig(Preset(number)), &config.GetAlgorithmConfig(Preset(0)));
    }
}

TEST(LxCCCLAlgoConfig, HandsOutTheEdgeDetectionOfTeethOrOfPlaster)
{
    LxCCCLAlgoConfig config;
    EXPECT_EQ(config.GetEdgeDetectionConfigBig().m_iMinStripeLengthContFlag, 7);
    EXPECT_EQ(config.GetEdgeDetectionConfigSmall().m_iMinStripeLengthContFlag, 5);
    config.GetEdgeDetectionConfigBig().m_iIncrement = 101;
    config.GetEdgeDetectionConfigSmall().m_iIncrement = 102;
    config.SetOptimizeAlgoForIntraoralMeasurement(false);
    EXPECT_EQ(config.GetEdgeDetectionConfigBig().m_iMinStripeLengthContFlag, 7);
    EXPECT_EQ(config.GetEdgeDetectionConfigBig().m_iIncrement, 7);
    EXPECT_EQ(config.GetEdgeDetectionConfigSmall().m_iMinStripeLengthContFlag, 5);
    EXPECT_EQ(config.GetEdgeDetectionConfigSmall().m_iIncrement, 3);
    config.SetOptimizeAlgoForIntraoralMeasurement(true);
    const LxCCCLAlgoConfig& constant = config;
    EXPECT_EQ(constant.GetEdgeDetectionConfigBig().m_iIncrement, 101);
    EXPECT_EQ(constant.GetEdgeDetectionConfigSmall().m_iIncrement, 102);
}

TEST(LxCCCLAlgoConfig, TheExitWindowIsStoredAndStamped)
{
    LxCCCLAlgoConfig config;
    config.SetExitWindow(0.25F, -0.5F, 0.75F, 12.5F);
    EXPECT_EQ(config.GetExitWindowNormalX(), 0.25F);
    EXPECT_EQ(config.GetExitWindowNormalY(), -0.5F);
    EXPECT_EQ(config.GetExitWindowNormalZ(), 0.75F);
    EXPECT_EQ(config.GetExitWindowDistance(), 12.5F);
    EXPECT_TRUE(config.GetCalibState().IsCalibrated());
    EXPECT_FALSE(config.GetCalibState().GetCalibTime().empty());
    EXPECT_TRUE(config.GetCalibState().GetCalibInfos().empty());
    EXPECT_EQ(config.GetCalibState().GetRevisionNumber(), LxCCalibState::sc_iRevisionNumber);
}

TEST(LxCCCLAlgoConfig, ReductionIsSetInPresetZeroWhicheverIsActive)
{
    LxCCCLAlgoConfig config;
    config.ActivateAlgorithmSettings(Preset(3));
    const auto before = config.GetActiveAlgorithmConfig().m_eReduceData;
    config.SetReduceDataInMeasurement(Settings::eRD_Reduction2);
    EXPECT_EQ(config.GetAlgorithmConfig(Preset(0)).m_eReduceData, Settings::eRD_Reduction2);
    EXPECT_EQ(config.GetActiveAlgorithmConfig().m_eReduceData, before);
}

TEST(LxCCCLAlgoConfig, TheDumpPathIsTheSetting)
{
    const std::wstring before = Settings::GetDump3DDataPath();
    LxCCCLAlgoConfig::SetDump3DDataPath(L"d:\\dump");
    EXPECT_EQ(Settings::GetDump3DDataPath(), L"d:\\dump");
    Settings::SetDump3DDataPath(L"e:\\dump");
    EXPECT_EQ(LxCCCLAlgoConfig::GetDump3DDataPath(), L"e:\\dump");
    Settings::SetDump3DDataPath(before);
}

TEST(LxCCCLAlgoConfig, CopiesKeepTheirOwnParts)
{
    LxCCCLAlgoConfig config;
    config.GetShadingCorrection().Init(2, 2);
    config.GetEdgeDetectionConfigSmall().m_iIncrement = 9;
    const LxCCCLAlgoConfig copy = config;
    config.GetShadingCorrection().Release();
    config.GetEdgeDetectionConfigSmall().m_iIncrement = 1;
    ASSERT_NE(copy.GetShadingCorrection().GetShadingCorrectionImage(), nullptr);
    EXPECT_EQ(copy.GetShadingCorrection().GetShadingCorrectionImage()->GetWidth(), 2);
    EXPECT_EQ(copy.GetEdgeDetectionConfigSmall().m_iIncrement, 9);
}

/// Every key of the device's parameter set away from its default, in file order.
const char* const c_sParameters = "::Algo\n"
                                  "FocalDistance_mm=1.50000000000000000000\n"
                                  "DepthCulling_mm=2.50000000000000000000\n"
                                  "ExitWindowDistance=3.50000000000000000000\n"
                                  "ExitWindowNormalX=4.50000000000000000000\n"
                                  "ExitWindowNormalY=5.50000000000000000000\n"
                                  "ExitWindowNormalZ=6.50000000000000000000\n"
                                  "Calibrated=1\n"
                                  "CalibTime=03.03.2015 09:05\n"
                                  "CalibRevNumber=200000\n"
                                  "CalibInfos=glass\n"
                                  "RBC=7.50000000000000000000\n"
                                  "GBC=8.50000000000000000000\n"
                                  "BBC=9.50000000000000000000\n"
                                  "CCOpMode=1\n"
                                  "::Algo::CameraProjectorCoupling\n"
                                  "Arr=11.00000000000000000000\n"
                                  "Arg=12.00000000000000000000\n"
                                  "Arb=13.00000000000000000000\n"
                                  "Agr=14.00000000000000000000\n"
                                  "Agg=15.00000000000000000000\n"
                                  "Agb=16.00000000000000000000\n"
                                  "Abr=17.00000000000000000000\n"
                                  "Abg=18.00000000000000000000\n"
                                  "Abb=19.00000000000000000000\n";

TEST(LxCCCLAlgoConfig, LoadsAndStoresTheParametersInOrder)
{
    LxCCCLAlgoConfig config;
    LxCColorCompSettings& base = config; // the operation is virtual
    TestSupport::Load(base, "::Algo", c_sParameters);
    EXPECT_EQ(config.GetFocalDistance(), 1.5F);
    EXPECT_EQ(config.GetDepthCullingDistance(), 2.5F);
    EXPECT_EQ(config.GetExitWindowDistance(), 3.5F);
    EXPECT_EQ(config.GetExitWindowNormalX(), 4.5F);
    EXPECT_EQ(config.GetExitWindowNormalY(), 5.5F);
    EXPECT_EQ(config.GetExitWindowNormalZ(), 6.5F);
    EXPECT_TRUE(config.GetCalibState().IsCalibrated());
    EXPECT_EQ(config.GetCalibState().GetCalibTime(), L"03.03.2015 09:05");
    EXPECT_EQ(config.GetCalibState().GetCalibInfos(), L"glass");
    EXPECT_EQ(config.GetRBC(), 7.5F);
    EXPECT_EQ(config.GetGBC(), 8.5F);
    EXPECT_EQ(config.GetBBC(), 9.5F);
    EXPECT_EQ(config.GetCCOpMode(), 1);
    EXPECT_EQ(TestSupport::Store(base, "::Algo"), c_sParameters);
}

TEST(LxCCCLAlgoConfig, LeavesWhatATextLacks)
{
    const Logging::CCapture quiet;
    LxCCCLAlgoConfig config;
    TestSupport::Load(config, "::Algo", c_sParameters);
    TestSupport::Load(config, "::Algo", "::Algo\nDepthCulling_mm=30\nExitWindowNormalZ=up\n");
    EXPECT_EQ(config.GetDepthCullingDistance(), 30.0F);
    EXPECT_EQ(config.GetExitWindowNormalZ(), 6.5F);
    TestSupport::Load(config, "::Elsewhere", c_sParameters);
    EXPECT_EQ(config.GetDepthCullingDistance(), 30.0F);
    EXPECT_EQ(config.GetFocalDistance(), 1.5F);
}

/// The keys of one edge detection, from `first` on.
std::string EdgeKeys(const std::string& section, int first)
{
    std::string text = section + "\n";
    for (const char* key :
         {"MinDerivativeAmount", "MinSingExtremumAmount", "MinTotExtremumAmount", "MaxExtremaDist",
          "MaxCodeLetterDist", "MaxGapWithinStripeBoundary", "MinStripeLen", "MinStripeLengthContFlag",
          "Increment", "MinConfirmedPixelsPercentage", "KernelSizeX", "KernelSizeY",
          "ThrowAwayPixAtStripeBegEnd", "SmoothingMode"}) {
        text += std::string(key) + "=" + std::to_string(first++) + "\n";
    }
    return text + "ManuallyAssignLseId=1\n";
}

/// Every other key away from its default, in file order.
std::string OtherParameters(const std::string& optimize)
{
    return "::Algo\n"
           "LowerBoundaryCC=1.50000000000000000000\n"
           "UpperBoundaryCC=2.50000000000000000000\n"
           "MulValNormal=3.50000000000000000000\n"
           "MulValIntraoral=4.50000000000000000000\n"
           "OptimizeForIntraoral=" +
           optimize +
           "\n"
           "MulValIntraotal=4.50000000000000000000\n"
           "MulValNormal=3.50000000000000000000\n" +
           EdgeKeys("::Algo::EdgeDetectionBigIntraoral", 100) +
           EdgeKeys("::Algo::EdgeDetectionSmallIntraoral", 200) +
           EdgeKeys("::Algo::EdgeDetectionBigPlaster", 300) +
           EdgeKeys("::Algo::EdgeDetectionSmallPlaster", 400);
}

TEST(LxCCCLAlgoConfig, LoadsAndStoresTheOtherParametersInOrder)
{
    for (const bool intraoral : {false, true}) {
        const std::string text = OtherParameters(intraoral ? "1" : "0");
        LxCCCLAlgoConfig config;
        SNonIni nonIni{config};
        TestSupport::Load(nonIni, "::Algo", text);
        EXPECT_EQ(config.GetLowerBoundaryCC(), 1.5F);
        EXPECT_EQ(config.GetUpperBoundaryCC(), 2.5F);
        EXPECT_EQ(config.GetMulValNormal(), 3.5F);
        EXPECT_EQ(config.GetMulValIntraoral(), 4.5F);
        EXPECT_EQ(config.GetOptimizeAlgoForIntraoralMeasurement(), intraoral);
        EXPECT_EQ(config.GetEdgeDetectionConfigBig().m_iMinDerivativeAmount, intraoral ? 100 : 300);
        EXPECT_EQ(config.GetEdgeDetectionConfigSmall().m_iMinDerivativeAmount, intraoral ? 200 : 400);
        EXPECT_EQ(TestSupport::Store(nonIni, "::Algo"), text);
    }
}

TEST(LxCCCLAlgoConfig, MulValNormalIsWrittenTwiceWithOneValue)
{
    LxCCCLAlgoConfig config;
    SNonIni nonIni{config};
    TestSupport::Load(nonIni, "::Algo", "::Algo\nMulValNormal=12\n");
    EXPECT_EQ(config.GetMulValNormal(), 12.0F);
    const std::string text = TestSupport::Store(nonIni, "::Algo");
    const std::string line = "\nMulValNormal=12.00000000000000000000\n";
    const std::size_t first = text.find(line);
    ASSERT_NE(first, std::string::npos) << text;
    EXPECT_NE(text.find(line, first + 1), std::string::npos) << text;
}

TEST(LxCCCLAlgoConfig, EitherSpellingSetsTheMultiplierForTeeth)
{
    LxCCCLAlgoConfig config;
    SNonIni nonIni{config};
    TestSupport::Load(nonIni, "::Algo", "::Algo\nMulValIntraoral=12\n");
    EXPECT_EQ(config.GetMulValIntraoral(), 12.0F);
    TestSupport::Load(nonIni, "::Algo", "::Algo\nMulValIntraotal=13\n");
    EXPECT_EQ(config.GetMulValIntraoral(), 13.0F);
    TestSupport::Load(nonIni, "::Algo", "::Algo\nMulValIntraotal=15\nMulValIntraoral=14\n");
    EXPECT_EQ(config.GetMulValIntraoral(), 15.0F);
}

TEST(LxCCCLAlgoConfig, TheLargestFloatComesBackFromItsText)
{
    LxCCCLAlgoConfig config;
    SNonIni nonIni{config};
    const std::string text = TestSupport::Store(nonIni, "::Algo");
    EXPECT_NE(text.find("UpperBoundaryCC=340282346638528859811704183484516925440.00000000000000000000\n"),
              std::string::npos);
    LxCCCLAlgoConfig loaded;
    SNonIni other{loaded};
    TestSupport::Load(other, "::Algo", OtherParameters("1"));
    TestSupport::Load(other, "::Algo", text);
    EXPECT_EQ(loaded.GetUpperBoundaryCC(), std::numeric_limits<float>::max());
}

} // namespace
} // namespace LxCV
