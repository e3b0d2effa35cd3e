#include "scanner/app/algorithmfile.h"

#include "lxccclalgoconfig.h"
#include "scanner/app/imagefiles.h"
#include "scanner/app/measurement.h"
#include "scanner/app/progress.h"
#include "scanner/calibration/modeltext.h"
#include "tests/scanner/commandrun.h"
#include "tests/scanner/smalldevice.h"
#include "tests/support/temporaryfolder.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cstddef>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace app {
namespace {

using Json = nlohmann::json;
using LxCV::LxCCCLAlgoConfig;

const char* const c_coupling = "::Dev::LxCCCLAlgoConfig::CameraProjectorCoupling\n"
                               "Arr=0.7\nArg=0.15\nArb=0.15\nAgr=0.15\nAgg=0.7\nAgb=0.15\n"
                               "Abr=0.15\nAbg=0.15\nAbb=0.7\n";
const char* const c_distances = "::Dev::LxCCCLAlgoConfig\nFocalDistance_mm=33\nDepthCulling_mm=6.5\n"
                                "ExitWindowDistance=20\nExitWindowNormalX=0.25\nExitWindowNormalY=-0.5\n"
                                "ExitWindowNormalZ=1\n";

bool Take(const std::string& text, LxCCCLAlgoConfig& algorithm)
{
    return TakeAlgorithm(text, calibration::SplitModelText(text), algorithm);
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

TEST(AlgorithmFile, TakesCouplingDistancesAndExitWindow)
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

TEST(AlgorithmFile, KeepsWhatTheTextDoesNotTell)
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

TEST(AlgorithmFile, FindsTheFirstSectionThatIsOneWhateverItsName)
{
    const auto rootOf = [](const std::string& text) {
        return FindAlgorithmRoot(calibration::SplitModelText(text)).value_or("none");
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

TEST(AlgorithmFile, TakesEachNumberThatTheLibraryReads)
{
    for (const char* const value : {"6.5", " 6.5", "+6.5", "65e-1", "\t6.50"}) {
        LxCCCLAlgoConfig algorithm;
        EXPECT_TRUE(Take(std::string("::A\nFocalDistance_mm=3\nDepthCulling_mm=") + value + "\n", algorithm));
        EXPECT_EQ(algorithm.GetDepthCullingDistance(), 6.5F) << value;
    }
}

TEST(AlgorithmFile, TellsKeyAndLineOfAValueThatIsNoNumber)
{
    for (const char* const value :
         {"", "much", "nan", "inf", "1e99", "1e39", "0.7;", "0,7", "+-1", "0x10", "0X10", "\x80"}) {
        EXPECT_EQ(Problem(std::string("::A::CameraProjectorCoupling\nArr=1\nAgb=") + value + "\n"),
                  "::A::CameraProjectorCoupling: Agb in line 3 is no finite number")
            << value;
        EXPECT_EQ(Problem(std::string("::A\nFocalDistance_mm=3\nExitWindowNormalY=") + value + "\n"),
                  "::A: ExitWindowNormalY in line 3 is no finite number")
            << value;
    }
}

TEST(AlgorithmFile, RefusesACouplingThatCannotBeUndone)
{
    EXPECT_EQ(Problem("::A::CameraProjectorCoupling\nArr=0\n"),
              "::A::CameraProjectorCoupling: the coupling of projector and camera has no inverse");
    EXPECT_EQ(Problem("::A::CameraProjectorCoupling\nArr=1\n"), "");
}

/// Files of a small device whose channels take 30 percent of other channels' light: reference.png, pattern.png and
/// model.txt, which does not tell it.
class CoupledScan : public testing::Test
{
protected:
    CoupledScan()
    {
        device::DeviceParameters parameters = device::SmallDevice(90, 300);
        for (std::size_t channel = 0; channel < parameters.optics.crosstalk.size(); ++channel) {
            parameters.optics.crosstalk[channel].fill(0.15);
            parameters.optics.crosstalk[channel][channel] = 0.7;
        }
        acquisition::PairOptions pair;
        pair.scene = "plane";
        const auto rendering = acquisition::Render(std::make_shared<device::VirtualDevice>(parameters), pair);
        WriteRendering(rendering, m_folder.GetPath());
        Progress progress(20);
        const acquisition::ImagePair images{LoadLevels(m_reference), LoadLevels(m_pattern)};
        m_live = Measure(images, rendering, m_model, ETriangulation::eTable, progress).accuracy.points;
        TestSupport::WriteFile(m_folder / "algorithm.txt", std::string(c_distances) + c_coupling);
    }

    std::string Scan(const std::string& model, std::vector<std::string> options = {}) const
    {
        options.insert(options.begin(), {"scan", m_reference, m_pattern, "--model", model});
        return RunCommand(options);
    }

    std::size_t PointsOf(const std::string& model, std::vector<std::string> options = {}) const
    {
        options.emplace_back("--json");
        const std::string report = Scan(model, std::move(options));
        EXPECT_EQ(report.front(), '{') << report;
        return Json::parse(report).at("points").get<std::size_t>();
    }

    TestSupport::CTemporaryFolder m_folder;
    const std::string m_reference = m_folder / "reference.png";
    const std::string m_pattern = m_folder / "pattern.png";
    const std::string m_model = m_folder / "model.txt";
    const std::string m_algorithm = m_folder / "algorithm.txt";
    std::size_t m_live = 0; ///< points of a measurement that knows the device's coupling
};

TEST_F(CoupledScan, FilesAreMeasuredLikeTheDeviceItselfWhereModelOrOptionTellsTheCoupling)
{
    const std::string told = m_folder / "told.txt";
    TestSupport::WriteFile(told, TestSupport::ReadFile(m_model) + c_coupling);
    ASSERT_GT(m_live, 3000U);
    EXPECT_EQ(PointsOf(told), m_live);
    EXPECT_EQ(PointsOf(m_model, {"--algorithm", m_algorithm}), m_live);
    EXPECT_LT(PointsOf(m_model), m_live * 9 / 10);
}

TEST_F(CoupledScan, TheOptionCountsWhereTheModelTellsAnotherCoupling)
{
    const std::string told = m_folder / "told.txt";
    TestSupport::WriteFile(told, TestSupport::ReadFile(m_model) + "::A::CameraProjectorCoupling\nArg=0.4\n");
    EXPECT_NE(PointsOf(told), m_live);
    EXPECT_EQ(PointsOf(told, {"--algorithm", m_algorithm}), m_live);
}

TEST_F(CoupledScan, TheReplayKnowsTheCouplingToo)
{
    const std::string report =
        RunCommand({"scan", m_reference, m_pattern, "--model", m_model, "--grabber", "simulated", "--frames",
                    "1", "--algorithm", m_algorithm, "--json"});
    ASSERT_EQ(report.front(), '{') << report;
    EXPECT_EQ(Json::parse(report).at("frames").at(0).at("points").get<std::size_t>(), m_live);
}

TEST_F(CoupledScan, WhatIsWrongWithAConfigurationIsToldWithItsFile)
{
    const std::string file = m_folder / "bad.txt";
    EXPECT_EQ(Scan(m_model, {"--algorithm", file}),
              Failure("cannot open '" + file + "': No such file or directory"));
    EXPECT_EQ(
        Scan(m_model, {"--algorithm", m_model}),
        Failure("'" + m_model +
                "' is no algorithm configuration: it has no section with FocalDistance_mm and none whose "
                "name ends with '::CameraProjectorCoupling'"));
    TestSupport::WriteFile(file, "::A::CameraProjectorCoupling\nArr=x\n");
    const std::string problem =
        "'" + file + "': ::A::CameraProjectorCoupling: Arr in line 2 is no finite number";
    EXPECT_EQ(Scan(m_model, {"--algorithm", file}), Failure(problem));
    const std::string text = TestSupport::ReadFile(m_model);
    TestSupport::WriteFile(file, "::A::CameraProjectorCoupling\nArr=x\n" + text);
    EXPECT_EQ(Scan(file), Failure(problem));
    EXPECT_EQ(Scan(m_model, {"--algorithm", m_algorithm, "--report", m_algorithm}),
              Failure("'" + m_algorithm + "' and '" + m_algorithm + "' are one file"));
}

} // namespace
} // namespace app
