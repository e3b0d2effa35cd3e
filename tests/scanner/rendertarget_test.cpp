#include "scanner/app/rendertarget.h"

#include "scanner/app/lumorad.h"
#include "scanner/device/checkerboard.h"
#include "scanner/device/slidemarks.h"
#include "tests/scanner/commandrun.h"
#include "tests/support/temporaryfolder.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

namespace app {
namespace {

using TestSupport::ReadFile;

class RenderTargetCommand : public ::testing::Test
{
protected:
    Outcome Run(std::vector<std::string> options) const
    {
        options.insert(options.begin(), {"render", "--out", m_folder.string()});
        return RunProgram(options);
    }

    nlohmann::json Truth() const { return nlohmann::json::parse(ReadFile(m_folder / "truth.json")); }

    TestSupport::CTemporaryFolder m_temporary;
    std::filesystem::path m_folder = m_temporary.GetPath() / "target";
};

constexpr double kRadian = 180.0 / 3.14159265358979323846; // degrees

TEST_F(RenderTargetCommand, WritesACheckerboardWithTheCornersOfThePoseThatItTells)
{
    const Outcome outcome = Run({"--target", "checkerboard", "--seed", "9", "--json"});
    ASSERT_EQ(outcome.exitCode, kExitDone) << outcome.err;
    for (const char* file : {"image.png", "model.txt"}) {
        EXPECT_GT(std::filesystem::file_size(m_folder / file), 0U) << file;
    }
    const nlohmann::json truth = Truth();
    const nlohmann::json& pose = truth.at("camera_from_target");
    const device::Placement placement{pose.at("rx"), pose.at("ry"), pose.at("rz"),
                                      pose.at("tx"), pose.at("ty"), pose.at("tz")};
    const device::LensParameters camera = device::DeviceParameters().camera;
    EXPECT_EQ(placement.rz,
              device::DrawBoardPlacement(device::Checkerboard(), camera, device::BoardPoses(), 9).rz);
    const device::RenderedBoard board = device::FindBoardCorners(device::Checkerboard(), placement, camera);
    const nlohmann::json& corners = truth.at("corners");
    ASSERT_EQ(corners.size(), board.corners.size());
    std::size_t inImage = 0;
    for (std::size_t i = 0; i < board.corners.size(); ++i) {
        EXPECT_EQ(corners[i].at("square"), board.corners[i].square);
        EXPECT_EQ(corners[i].at("corner"), static_cast<int>(i % 4));
        EXPECT_EQ(corners[i].at("image")[0], board.corners[i].image.x);
        EXPECT_EQ(corners[i].at("image")[1], board.corners[i].image.y);
        EXPECT_EQ(corners[i].at("target_mm")[1], board.corners[i].pointOnTarget.y);
        EXPECT_EQ(corners[i].at("in_image"), board.corners[i].inImage);
        inImage += board.corners[i].inImage ? 1 : 0;
    }
    EXPECT_EQ(truth.at("embedded").size(), 16U);
    const nlohmann::json report = nlohmann::json::parse(outcome.out);
    EXPECT_EQ(report.at("target"), "checkerboard");
    EXPECT_EQ(report.at("corners"), 224);
    EXPECT_EQ(report.at("visible_corners"), inImage);
    EXPECT_EQ(report.at("out"), m_folder.string());
}

TEST_F(RenderTargetCommand, PutsTheCheckerboardWhereItIsTold)
{
    const Outcome outcome = Run({"--target", "checkerboard", "--tilt", "20", "--rotation", "-90",
                                 "--distance", "30", "--noise", "0", "--blur", "0"});
    ASSERT_EQ(outcome.exitCode, kExitDone) << outcome.err;
    const nlohmann::json truth = Truth();
    EXPECT_NEAR(truth.at("camera_from_target").at("rx").get<double>() * kRadian, 20.0, 1e-9);
    EXPECT_NEAR(truth.at("camera_from_target").at("rz").get<double>() * kRadian, -90.0, 1e-9);
    // A quarter turn to the left: the rows run upwards.
    const auto& corners = truth.at("corners");
    EXPECT_GT(corners[0].at("image")[1].get<double>(), corners[1].at("image")[1].get<double>() + 10.0);
    EXPECT_EQ(truth.at("blur"), 0.0);
    EXPECT_NE(outcome.out.find("Wrote image.png, model.txt and truth.json to " + m_folder.string()),
              std::string::npos)
        << outcome.out;
}

TEST_F(RenderTargetCommand, WritesBothSlidesWithTheirMarks)
{
    for (const auto& [name, slide] : {std::pair{"slide-a2", device::SlideWithDarkMarks()},
                                      std::pair{"slide-c", device::SlideWithBrightMarks()}}) {
        const Outcome outcome =
            Run({"--target", name, "--tilt", "8", "--rotation", "90", "--distance", "32"});
        ASSERT_EQ(outcome.exitCode, kExitDone) << outcome.err;
        for (const char* file : {"reference.png", "pattern.png"}) {
            EXPECT_GT(std::filesystem::file_size(m_folder / file), 0U) << file;
        }
        EXPECT_NE(ReadFile(m_folder / "model.txt").find("Pattern=" + slide.digits), std::string::npos);
        device::DeviceParameters parameters;
        parameters.slide = slide;
        const nlohmann::json truth = Truth();
        const nlohmann::json& normal = truth.at("plane").at("normal");
        EXPECT_NEAR(normal[1].get<double>(), std::sin(8.0 / kRadian), 1e-12);
        const std::vector<device::MarkCorner> expected = device::FindMarkCorners(
            device::VirtualDevice(parameters), {{0.0, 0.0, 32.0}, {normal[0], normal[1], normal[2]}});
        ASSERT_EQ(truth.at("corners").size(), expected.size());
        for (std::size_t i = 0; i < expected.size(); ++i) {
            const nlohmann::json& corner = truth.at("corners")[i];
            EXPECT_EQ(corner.at("stripe"), expected[i].stripe);
            EXPECT_EQ(corner.at("row"), expected[i].row);
            EXPECT_EQ(corner.at("corner"), expected[i].corner);
            EXPECT_EQ(corner.at("slide")[0], expected[i].slide.x);
            EXPECT_EQ(corner.at("visible"), expected[i].visible);
            EXPECT_EQ(corner.at("image")[0], expected[i].image.x);
            EXPECT_EQ(corner.at("camera_mm")[2], expected[i].pointInCamera.z);
        }
    }
}

TEST_F(RenderTargetCommand, TheSameArgumentsGiveTheSameFiles)
{
    ASSERT_EQ(Run({"--target", "checkerboard", "--seed", "5"}).exitCode, kExitDone);
    const std::string image = ReadFile(m_folder / "image.png"), truth = ReadFile(m_folder / "truth.json");
    ASSERT_EQ(Run({"--target", "checkerboard", "--seed", "5"}).exitCode, kExitDone);
    EXPECT_EQ(ReadFile(m_folder / "image.png"), image);
    EXPECT_EQ(ReadFile(m_folder / "truth.json"), truth);
    ASSERT_EQ(Run({"--target", "checkerboard", "--seed", "6"}).exitCode, kExitDone);
    EXPECT_NE(ReadFile(m_folder / "image.png"), image);
}

TEST_F(RenderTargetCommand, RefusesArgumentsThatMakeNoSense)
{
    const std::vector<std::vector<std::string>> senseless{
        {"--target", "sphere"},
        {"--target", ""},
        {"--tilt", "3"},
        {"--blur", "1"},
        {"--target", "slide-c", "--scene", "plane"},
        {"--target", "slide-c", "--tilt", "nan"},
        {"--target", "slide-c", "--tilt", "-1"},
        {"--target", "slide-c", "--rotation", "361"},
        {"--target", "slide-c", "--distance", "9"},
        {"--target", "slide-c", "--blur", "inf"},
        {"--target", "slide-c", "--blur", "1x"},
    };
    for (const std::vector<std::string>& options : senseless) {
        const Outcome outcome = Run(options);
        EXPECT_EQ(outcome.exitCode, kExitUsage) << options[1] << " " << options.back();
        EXPECT_FALSE(outcome.err.empty());
    }
    EXPECT_FALSE(std::filesystem::exists(m_folder));
}

TEST_F(RenderTargetCommand, NamesTheFileThatCannotBeWritten)
{
    std::filesystem::create_directories(m_folder / "truth.json");
    const Outcome outcome = Run({"--target", "checkerboard"});
    EXPECT_EQ(outcome.exitCode, kExitFailed);
    EXPECT_EQ(outcome.err,
              "lumorad: cannot write '" + (m_folder / "truth.json").string() + "': Is a directory\n");
}

} // namespace
} // namespace app
