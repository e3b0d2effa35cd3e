#include "scanner/app/algorithmfile.h"

#include "scanner/app/imagefiles.h"
#include "scanner/app/measurement.h"
#include "scanner/app/progress.h"
#include "tests/scanner/commandrun.h"
#include "tests/scanner/smalldevice.h"
#include "tests/support/temporaryfolder.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cstddef>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace app {
namespace {

using Json = nlohmann::json;

const char* const c_algorithm = "::Dev::LxCCCLAlgoConfig\nFocalDistance_mm=33\nDepthCulling_mm=6.5\n"
                                "ExitWindowDistance=20\nExitWindowNormalX=0.25\nExitWindowNormalY=-0.5\n"
                                "ExitWindowNormalZ=1\n"
                                "::Dev::LxCCCLAlgoConfig::CameraProjectorCoupling\n"
                                "Arr=0.7\nArg=0.15\nArb=0.15\nAgr=0.15\nAgg=0.7\nAgb=0.15\n"
                                "Abr=0.15\nAbg=0.15\nAbb=0.7\n";

/// Files of a small device whose channels take 30 percent of other channels' light: reference.png, pattern.png,
/// model.txt, which tells it, and untold.txt, the same without.
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
        TestSupport::WriteFile(m_algorithm, c_algorithm);
        const std::string told = TestSupport::ReadFile(m_model);
        TestSupport::WriteFile(m_untold, told.substr(0, told.find("::MV3DCamBase::LxCCCLAlgoConfig")));
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
    const std::string m_untold = m_folder / "untold.txt";
    const std::string m_algorithm = m_folder / "algorithm.txt";
    std::size_t m_live = 0; ///< points of a measurement that knows the device's coupling
};

TEST_F(CoupledScan, FilesAreMeasuredLikeTheDeviceItselfWhereModelOrOptionTellsTheCoupling)
{
    ASSERT_GT(m_live, 3000U);
    EXPECT_EQ(PointsOf(m_model), m_live);
    EXPECT_EQ(PointsOf(m_untold, {"--algorithm", m_algorithm}), m_live);
    EXPECT_LT(PointsOf(m_untold), m_live * 9 / 10);
}

TEST_F(CoupledScan, TheOptionCountsWhereTheModelTellsAnotherCoupling)
{
    const std::string told = m_folder / "told.txt";
    TestSupport::WriteFile(told, TestSupport::ReadFile(m_untold) + "::A::CameraProjectorCoupling\nArg=0.4\n");
    EXPECT_NE(PointsOf(told), m_live);
    EXPECT_EQ(PointsOf(told, {"--algorithm", m_algorithm}), m_live);
}

TEST_F(CoupledScan, TheReplayKnowsTheCouplingToo)
{
    const std::string report =
        RunCommand({"scan", m_reference, m_pattern, "--model", m_untold, "--grabber", "simulated", "--frames",
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
        Scan(m_model, {"--algorithm", m_untold}),
        Failure("'" + m_untold +
                "' is no algorithm configuration: it has no section with FocalDistance_mm and none whose "
                "name ends with '::CameraProjectorCoupling'"));
    TestSupport::WriteFile(file, "::A::CameraProjectorCoupling\nArr=x\n");
    const std::string problem =
        "'" + file +
        "': line 2, ::A::CameraProjectorCoupling, Arr: 'x' is no finite number; write a number, with a point "
        "for its fraction";
    EXPECT_EQ(Scan(m_model, {"--algorithm", file}), Failure(problem));
    const std::string text = TestSupport::ReadFile(m_model);
    TestSupport::WriteFile(file, "::A::CameraProjectorCoupling\nArr=x\n" + text);
    EXPECT_EQ(Scan(file), Failure(problem));
    EXPECT_EQ(Scan(m_model, {"--algorithm", m_algorithm, "--report", m_algorithm}),
              Failure("'" + m_algorithm + "' and '" + m_algorithm + "' are one file"));
}

} // namespace
} // namespace app
