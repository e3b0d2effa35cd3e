#include "scanner/calibration/algorithmtext.h"

#include "lxccclalgoconfig.h"
#include "lxccctserializer.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <stdexcept>
#include <string>
#include <vector>

namespace calibration {
namespace {

using LxCV::LxCCCLAlgoConfig;

const char* const c_coupling = "::Dev::LxCCCLAlgoConfig::CameraProjectorCoupling\n"
                               "Arr=0.7\nArg=0.15\nArb=0.15\nAgr=0.15\nAgg=0.7\nAgb=0.15\n"
                               "Abr=0.15\nAbg=0.15\nAbb=0.7\n";
const char* const c_distances = "::Dev::LxCCCLAlgoConfig\nFocalDistance_mm=33\nDepthCulling_mm=6.5\n"
                                "ExitWindowDistance=20\nExitWindowNormalX=0.25\nExitWindowNormalY=-0.5\n"
                                "ExitWindowNormalZ=1\n";

bool Take(const std::string& text, LxCCCLAlgoConfig& algorithm)
{
    return TakeAlgorithm(text, SplitModelText(text), algorithm);
}

/// What is wrong with a text.
std::string Problem(const std::string& text)
{
    LxCCCLAlgoConfig algorithm;
    try {
        Take(text, algorithm);
        return {};
    } catch (const std::runtime_error& error) {
        return error.what();
    }
}

float Coefficient(const LxCCCLAlgoConfig& algorithm, std::size_t index)
{
    float a[9];
    algorithm.GetCameraProjectorCoupling(a[0], a[1], a[2], a[3], a[4], a[5], a[6], a[7], a[8]);
    return a[index];
}

TEST(AlgorithmText, TakesCouplingDistancesAndExitWindow)
{
    LxCCCLAlgoConfig algorithm;
    EXPECT_TRUE(Take(std::string(c_distances) + c_coupling, algorithm));
    EXPECT_EQ(algorithm.GetFocalDistance(), 33.0F);
    EXPECT_EQ(algorithm.GetDepthCullingDistance(), 6.5F);
    EXPECT_EQ(algorithm.GetExitWindowDistance(), 20.0F);
    EXPECT_EQ(algorithm.GetExitWindowNormalX(), 0.25F);
    EXPECT_EQ(algorithm.GetExitWindowNormalY(), -0.5F);
    EXPECT_EQ(algorithm.GetExitWindowNormalZ(), 1.0F);
    EXPECT_EQ(Coefficient(algorithm, 0), 0.7F);
    EXPECT_EQ(Coefficient(algorithm, 3), 0.15F);
}

TEST(AlgorithmText, KeepsWhatTheTextDoesNotTell)
{
    LxCCCLAlgoConfig algorithm;
    EXPECT_TRUE(Take(c_distances, algorithm));
    EXPECT_TRUE(Take(c_coupling, algorithm));
    EXPECT_EQ(algorithm.GetDepthCullingDistance(), 6.5F);
    EXPECT_EQ(Coefficient(algorithm, 8), 0.7F);
    EXPECT_FALSE(Take("", algorithm));
    EXPECT_FALSE(Take("::Dev::Cams[0]\nCalibrated=1\n", algorithm));
    EXPECT_EQ(algorithm.GetDepthCullingDistance(), 6.5F);
    EXPECT_EQ(Coefficient(algorithm, 8), 0.7F);
}

TEST(AlgorithmText, FindsTheFirstSectionThatIsOneWhateverItsName)
{
    const auto rootOf = [](const std::string& text) {
        return FindAlgorithmRoot(SplitModelText(text)).value_or("none");
    };
    EXPECT_EQ(rootOf("::A\nx=1\n::B\nFocalDistance_mm=3\n::C\nFocalDistance_mm=3\n"), "::B");
    EXPECT_EQ(rootOf("::A\nx=1\n::B::C::CameraProjectorCoupling\nArr=1\n"), "::B::C");
    EXPECT_EQ(rootOf("::A\nDepthCulling_mm=1\n"), "none");
    EXPECT_EQ(rootOf("FocalDistance_mm=3\n"), "none");
    EXPECT_EQ(rootOf("FocalDistance_mm=3\n::B\nFocalDistance_mm=4\n"), "::B");
    EXPECT_EQ(rootOf("::A\nx=1\n::A\nFocalDistance_mm=3\n"), "none");
    EXPECT_EQ(rootOf("::A\nx=1\n::A\nFocalDistance_mm=3\n::B\nFocalDistance_mm=4\n"), "::B");
    EXPECT_EQ(rootOf(""), "none");
}

TEST(AlgorithmText, TakesEachNumberThatTheLibraryReads)
{
    for (const char* const value : {"6.5", " 6.5", "+6.5", "65e-1", "\t6.50"}) {
        LxCCCLAlgoConfig algorithm;
        EXPECT_TRUE(Take(std::string("::A\nFocalDistance_mm=3\nDepthCulling_mm=") + value + "\n", algorithm));
        EXPECT_EQ(algorithm.GetDepthCullingDistance(), 6.5F) << value;
    }
}

TEST(AlgorithmText, TellsKeyAndLineOfAValueThatIsNoNumber)
{
    const std::string c_noNumber = "' is no finite number; write a number, with a point for its fraction";
    for (const char* const value :
         {"", "much", "nan", "inf", "1e99", "1e39", "0.7;", "0,7", "+-1", "0x10", "0X10", "\x80"}) {
        EXPECT_EQ(Problem(std::string("::A::CameraProjectorCoupling\nArr=1\nAgb=") + value + "\n"),
                  "line 3, ::A::CameraProjectorCoupling, Agb: '" + std::string(value) + c_noNumber)
            << value;
        EXPECT_EQ(Problem(std::string("::A\nFocalDistance_mm=3\nExitWindowNormalY=") + value + "\n"),
                  "line 3, ::A, ExitWindowNormalY: '" + std::string(value) + c_noNumber)
            << value;
    }
}

TEST(AlgorithmText, RefusesACouplingThatCannotBeUndone)
{
    EXPECT_EQ(Problem("::A::CameraProjectorCoupling\nArr=0\n"),
              "line 1, ::A::CameraProjectorCoupling: the coupling of projector and camera has no inverse; "
              "calibrate the colours, or delete the section, which leaves the colours as they are");
    EXPECT_EQ(Problem("::A::CameraProjectorCoupling\nArr=1\n"), "");
}

TEST(AlgorithmText, RefusesACouplingThatCannotBeUndoneTogetherWithWhatIsKept)
{
    LxCCCLAlgoConfig algorithm;
    algorithm.SetCameraProjectorCoupling(1.0F, 1.0F, 0.0F, 0.0F, 1.0F, 0.0F, 0.0F, 0.0F, 1.0F);
    // Red gives green as much as itself; where green gives red as much, they cannot be told apart.
    EXPECT_THROW(Take("::A::CameraProjectorCoupling\nAgr=1\n", algorithm), std::runtime_error);
    EXPECT_EQ(Coefficient(algorithm, 3), 0.0F) << "nothing is taken";
    EXPECT_TRUE(Take("::A::CameraProjectorCoupling\nAgr=0.5\n", algorithm));
    EXPECT_EQ(Coefficient(algorithm, 3), 0.5F);
}

TEST(AlgorithmText, RefusesWhatNothingReads)
{
    const std::string section = "::A::LxCCCLAlgoConfig";
    const std::string unknown = ": is unknown: nothing reads it; correct its name, or delete it";
    EXPECT_EQ(Problem(section + "\nFocalDistance_mm=33\nDepthCuling_mm=1\n"),
              "line 3, " + section + ", DepthCuling_mm" + unknown);
    EXPECT_EQ(Problem(section + "\nFocalDistance_mm=33\n" + section + "::CameraCoupling\nArr=1\n"),
              "line 3, " + section + "::CameraCoupling" + unknown);
    EXPECT_EQ(Problem(section + "\nFocalDistance_mm=33\nDepthCulling_mm\n"),
              "line 3, " + section + ": a line without '=' is not read; correct or delete it");
    EXPECT_EQ(Problem(section + "\nFocalDistance_mm=33\nFocalDistance_mm=34\n"),
              "line 3, " + section +
                  ", FocalDistance_mm: comes twice; only the one in line 2 counts; delete one of them");
    EXPECT_EQ(Problem(section + "\nFocalDistance_mm=33\n" + section + "\nFocalDistance_mm=34\n"),
              "line 3, " + section + ": comes twice; only the one in line 1 counts; delete one of them");
}

TEST(AlgorithmText, SharesASectionWithSomethingElse)
{
    const std::string shared = "::Host\nFocalDistance_mm=33\nSerial=7\nodd\nSerial=8\n";
    EXPECT_EQ(Problem(shared), "");
    EXPECT_EQ(
        Problem(shared + "FocalDistance_mm=34\n"),
        "line 6, ::Host, FocalDistance_mm: comes twice; only the one in line 2 counts; delete one of them");
}

TEST(AlgorithmText, KnowsWhatTheLibraryWritesOfBothParts)
{
    class TextSerializer : public LxCV::LxCCCTSerializer
    {
    public:
        std::string GetText() { return GetStream().str(); }
    };
    // The two parts share a section, so each has a text of its own.
    LxCCCLAlgoConfig algorithm;
    algorithm.SetExitWindow(0.0F, 0.0F, 1.0F, 20.0F); // with a calibration state, in words
    TextSerializer device;
    ASSERT_TRUE(device.Init(true, false));
    algorithm.Serialize(device, "::X");
    TextSerializer tools;
    ASSERT_TRUE(tools.Init(true, false));
    algorithm.SerializeNonIniFileParams(tools, "::X");
    EXPECT_EQ(Problem(device.GetText()), "");
    EXPECT_EQ(Problem(tools.GetText() + "::X::CameraProjectorCoupling\nArr=1\n"), "");
    LxCCCLAlgoConfig read;
    EXPECT_TRUE(Take(device.GetText(), read));
    EXPECT_EQ(read.GetExitWindowDistance(), 20.0F);
}

TEST(AlgorithmText, SectionsOfOthersBesideTheConfigurationAreNoMatter)
{
    const std::string config = "::A::CameraProjectorCoupling\nArr=0.5\n";
    EXPECT_EQ(Problem("::A::Cams[0]\nCalibrated=1\nf=x\n" + config + "::AB\ny=z\n"), "");
    EXPECT_TRUE(IsOfAlgorithm("::A", "::A"));
    EXPECT_TRUE(IsOfAlgorithm("::A::EdgeDetectionBigPlaster", "::A"));
    EXPECT_FALSE(IsOfAlgorithm("::A::Cams[0]", "::A"));
    EXPECT_FALSE(IsOfAlgorithm("::AB", "::A"));
    EXPECT_FALSE(IsOfAlgorithm("", ""));
    EXPECT_TRUE(IsOfAlgorithm("::B::LxCCCLAlgoConfig::Any", "::B::LxCCCLAlgoConfig"));
    EXPECT_FALSE(IsOfAlgorithm("::B::LxCCCLAlgoConfigs", "::B::LxCCCLAlgoConfig"));
}

TEST(AlgorithmText, IsTakenOutOfATextAsItStands)
{
    const std::string config = "::A\nFocalDistance_mm= 33\nodd\n";
    const std::string coupling = "::A::CameraProjectorCoupling\nArr=x\n";
    EXPECT_EQ(AlgorithmTextOf(SplitModelText("# comment\n" + config + "::B\ny=1\n" + coupling)),
              config + coupling);
    EXPECT_EQ(AlgorithmTextOf(SplitModelText("::B\ny=1\n")), "");
}

} // namespace
} // namespace calibration
