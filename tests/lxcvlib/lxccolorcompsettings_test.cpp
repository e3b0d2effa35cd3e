#include "lxccolorcompsettings.h"

#include "orx/logging/logger.h"
#include "tests/lxcvlib/sectiontext.h"
#include "tests/support/virtualslot.h"

#include <gtest/gtest.h>

#include <array>
#include <limits>
#include <string>

namespace LxCV {
namespace {

/// Lets the helpers of the section text reach `SerializeNonIniFileParams`.
struct SNonIni
{
    LxCColorCompSettings& settings;

    void Serialize(LxCCCTSerializer& serializer, const std::string& section)
    {
        settings.SerializeNonIniFileParams(serializer, section);
    }
};

TEST(LxCColorCompSettings, Defaults)
{
    const LxCColorCompSettings settings;
    EXPECT_EQ(settings.GetRBC(), 0.0F);
    EXPECT_EQ(settings.GetGBC(), 0.0F);
    EXPECT_EQ(settings.GetBBC(), 0.0F);
    EXPECT_EQ(settings.GetCCOpMode(), 2);
    EXPECT_EQ(settings.GetLowerBoundaryCC(), 0.0F);
    EXPECT_EQ(settings.GetUpperBoundaryCC(), 3.4028234663852886e38F);
    EXPECT_TRUE(settings.GetOptimizeAlgoForIntraoralMeasurement());
    EXPECT_EQ(settings.GetMulValNormal(), 100.0F);
    EXPECT_EQ(settings.GetMulValIntraoral(), 170.0F);
}

TEST(LxCColorCompSettings, VirtualFunctionsKeepTheirSlots)
{
    EXPECT_EQ(::TestSupport::SlotOf(&LxCColorCompSettings::Serialize), 0);
    EXPECT_EQ(::TestSupport::SlotOf(&LxCColorCompSettings::SerializeNonIniFileParams), 1);
}

TEST(LxCColorCompSettings, TheCouplingIsReachedAsAWholeAndByItsCoefficients)
{
    LxCColorCompSettings settings;
    EXPECT_TRUE(settings.SetCameraProjectorCoupling(1, 2, 3, 4, 5, 6, 7, 8, 9));
    std::array<float, 9> v{};
    settings.GetCameraProjectorCoupling(v[0], v[1], v[2], v[3], v[4], v[5], v[6], v[7], v[8]);
    EXPECT_EQ(v, (std::array<float, 9>{1, 2, 3, 4, 5, 6, 7, 8, 9}));
    settings.GetCameraProjectorCoupling()->SetValues(9, 8, 7, 6, 5, 4, 3, 2, 1);
    const LxCColorCompSettings& constant = settings;
    constant.GetCameraProjectorCoupling()->GetValues(v[0], v[1], v[2], v[3], v[4], v[5], v[6], v[7], v[8]);
    EXPECT_EQ(v, (std::array<float, 9>{9, 8, 7, 6, 5, 4, 3, 2, 1}));
}

const char* const c_sParameters = "::CC\n"
                                  "RBC=1.50000000000000000000\n"
                                  "GBC=2.50000000000000000000\n"
                                  "BBC=3.50000000000000000000\n"
                                  "CCOpMode=-7\n"
                                  "::CC::CameraProjectorCoupling\n"
                                  "Arr=11.00000000000000000000\n"
                                  "Arg=12.00000000000000000000\n"
                                  "Arb=13.00000000000000000000\n"
                                  "Agr=14.00000000000000000000\n"
                                  "Agg=15.00000000000000000000\n"
                                  "Agb=16.00000000000000000000\n"
                                  "Abr=17.00000000000000000000\n"
                                  "Abg=18.00000000000000000000\n"
                                  "Abb=19.00000000000000000000\n";

TEST(LxCColorCompSettings, LoadsAndStoresTheParametersInOrder)
{
    LxCColorCompSettings settings;
    TestSupport::Load(settings, "::CC", c_sParameters);
    EXPECT_EQ(settings.GetRBC(), 1.5F);
    EXPECT_EQ(settings.GetGBC(), 2.5F);
    EXPECT_EQ(settings.GetBBC(), 3.5F);
    EXPECT_EQ(settings.GetCCOpMode(), -7);
    EXPECT_EQ(TestSupport::Store(settings, "::CC"), c_sParameters);
}

TEST(LxCColorCompSettings, LoadsAndStoresTheOtherParametersInOrder)
{
    const std::string text = "::CC\n"
                             "OptimizeForIntraoral=0\n"
                             "MulValIntraotal=1.25000000000000000000\n"
                             "MulValNormal=2.25000000000000000000\n";
    LxCColorCompSettings settings;
    SNonIni nonIni{settings};
    TestSupport::Load(nonIni, "::CC", text);
    EXPECT_FALSE(settings.GetOptimizeAlgoForIntraoralMeasurement());
    EXPECT_EQ(settings.GetMulValIntraoral(), 1.25F);
    EXPECT_EQ(settings.GetMulValNormal(), 2.25F);
    EXPECT_EQ(TestSupport::Store(nonIni, "::CC"), text);
}

TEST(LxCColorCompSettings, TheOtherSpellingIsNotReadHere)
{
    LxCColorCompSettings settings;
    SNonIni nonIni{settings};
    TestSupport::Load(nonIni, "::CC", "::CC\nMulValIntraoral=1\n");
    EXPECT_EQ(settings.GetMulValIntraoral(), 170.0F);
}

TEST(LxCColorCompSettings, LeavesWhatATextLacks)
{
    const Logging::CCapture quiet;
    LxCColorCompSettings settings;
    TestSupport::Load(settings, "::CC", "::CC\nGBC=4\nCCOpMode=many\n");
    EXPECT_EQ(settings.GetRBC(), 0.0F);
    EXPECT_EQ(settings.GetGBC(), 4.0F);
    EXPECT_EQ(settings.GetCCOpMode(), 2);
    LxCColorValueFloat color(10.0F, 20.0F, 30.0F);
    settings.GetCameraProjectorCoupling()->TransformColor(color, color);
    EXPECT_EQ(color.GetRed(), 10.0F) << "the coupling stays the identity";
}

TEST(LxCColorCompSettings, OperatingModesHaveTexts)
{
    EXPECT_STREQ(LxCColorCompSettings::GetOperatingModeText(LxCColorCompSettings::eOM_FullMatrix),
                 "Use full matrix mode");
    EXPECT_STREQ(LxCColorCompSettings::GetOperatingModeText(LxCColorCompSettings::eOM_TriangularMatrix),
                 "Use triangular matrix mode");
    for (const int mode : {0, 3, -1, std::numeric_limits<int>::max()}) {
        EXPECT_STREQ(LxCColorCompSettings::GetOperatingModeText(mode), "");
    }
}

} // namespace
} // namespace LxCV
