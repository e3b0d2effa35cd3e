#include "scanner/app/calibratecheckcommand.h"

#include "orx/logging/logger.h"
#include "scanner/app/lumorad.h"
#include "tests/support/temporaryfolder.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

namespace app {
namespace {

class CalibrateCheckCommand : public testing::Test
{
protected:
    int Run(std::vector<std::string> arguments)
    {
        arguments.insert(arguments.begin(), "calibrate-check");
        return RunLumorad(arguments, m_out, m_err);
    }

    const Logging::CCapture m_quiet;
    std::ostringstream m_out;
    std::ostringstream m_err;
};

TEST_F(CalibrateCheckCommand, PrintsTheFiguresOfTheTrueModel)
{
    const TestSupport::CTemporaryFolder folder;
    const std::string marks = folder / "new" + std::string("/folder");
    EXPECT_EQ(Run({"--views", "1", "--seed", "7", "--slide", "c", "--json", "-o", marks}), kExitDone)
        << m_err.str();
    const nlohmann::json report = nlohmann::json::parse(m_out.str());
    EXPECT_EQ(report.at("slide"), "c");
    EXPECT_EQ(report.at("seed"), 7);
    EXPECT_EQ(report.at("objection"), "");
    EXPECT_EQ(report.at("per_view").size(), 1U);
    EXPECT_LE(report.at("largest_difference").get<double>(), 1e-9);
    for (const char* device : {"camera_px", "projector_slide_units"}) {
        const nlohmann::json& errors = report.at(device);
        EXPECT_GE(errors.at("library").at("marks").get<int>(), 50) << device;
        EXPECT_NEAR(errors.at("ratio").get<double>(), 1.0, 1e-3) << device;
        EXPECT_EQ(report.at("per_view").at(0).at(device).at("computed"), errors.at("computed")) << device;
    }
    EXPECT_TRUE(std::filesystem::is_regular_file(std::filesystem::path(marks) / "camera_view00.txt"));
    EXPECT_TRUE(std::filesystem::is_regular_file(std::filesystem::path(marks) / "projector_view00.txt"));
}

TEST_F(CalibrateCheckCommand, FailsWithItsReportWhereTheModelMissesTheMarks)
{
    EXPECT_EQ(Run({"--views", "1", "--perturb", "projector-focal-length"}), kExitFailed);
    EXPECT_EQ(m_err.str().rfind("lumorad: the projector misses the marks by ", 0), 0U) << m_err.str();
    const std::string report = m_out.str();
    for (const char* part :
         {"the projector's focal length is 0.1 percent too long", "camera, pixels", "projector, slide units",
          "       all ", "  library           mean ", "  computed          mean ", "ratio of RMS",
          "  render, a view    board ", "Added ", "Calibration of the Structured Light System:",
          "Calibration Results (Master)", "Calibration Results (Slave)"}) {
        EXPECT_NE(report.find(part), std::string::npos) << part << "\n" << report;
    }
}

TEST_F(CalibrateCheckCommand, TakesThePerturbedModelWithAWideLimit)
{
    EXPECT_EQ(Run({"--views", "1", "--perturb", "camera-distortion", "--limit", "20", "--json"}), kExitDone)
        << m_err.str();
    const nlohmann::json report = nlohmann::json::parse(m_out.str());
    EXPECT_EQ(report.at("perturbation"), "camera-distortion");
    EXPECT_GT(report.at("camera_px").at("ratio").get<double>(), 1.5);
}

TEST_F(CalibrateCheckCommand, RefusesArgumentsThatMakeNoSense)
{
    for (const std::vector<std::string>& arguments :
         std::vector<std::vector<std::string>>{{"--views", "0"},
                                               {"--perturb", "everything"},
                                               {"--limit", "0.9"},
                                               {"--noise", "-1"},
                                               {"--blur", "11"},
                                               {"--slide", "b"},
                                               {"more"}}) {
        EXPECT_EQ(Run(arguments), kExitUsage) << arguments.front();
    }
    EXPECT_EQ(m_out.str(), "");
}

TEST_F(CalibrateCheckCommand, TellsWhereMarksCannotBeWritten)
{
    const TestSupport::CTemporaryFolder folder;
    TestSupport::WriteFile(folder / "file", "");
    EXPECT_EQ(Run({"--views", "1", "-o", folder / "file"}), kExitFailed);
    EXPECT_NE(m_err.str().find(folder / "file"), std::string::npos) << m_err.str();
    EXPECT_EQ(m_out.str(), "");
}

} // namespace
} // namespace app
