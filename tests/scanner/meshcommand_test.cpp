#include "scanner/acquisition/posetext.h"
#include "scanner/acquisition/virtualframegrabber.h"
#include "scanner/app/lumorad.h"
#include "tests/scanner/commandrun.h"
#include "tests/scanner/meshsupport.h"
#include "tests/support/temporaryfolder.h"

#include "cctimage.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

namespace app {
namespace {

using TestSupport::ReadFile;
using TestSupport::WriteFile;

class MeshCommand : public ::testing::Test
{
protected:
    /// A file of a mesh, as what its name's end tells.
    std::string File(const std::string& name, const device::Mesh& mesh) const
    {
        const std::string path = m_folder / name;
        WriteFile(path, name.ends_with(".stl")   ? device::BinaryStl(mesh)
                        : name.ends_with(".ply") ? device::BinaryPly(mesh, false)
                                                 : device::ObjText(mesh));
        return path;
    }

    nlohmann::json Report(std::vector<std::string> arguments) const
    {
        arguments.insert(arguments.end(), {"--json", "--out", m_folder / "out"});
        const Outcome outcome = RunProgram(arguments);
        EXPECT_EQ(outcome.exitCode, kExitDone) << outcome.err;
        return nlohmann::json::parse(outcome.out);
    }

    /// The depths of depth.pfm, top row first.
    std::vector<float> Depths(int width, int height) const
    {
        const std::string bytes = ReadFile(m_folder / "out/depth.pfm");
        const std::string header = "Pf\n" + std::to_string(width) + " " + std::to_string(height) + "\n-1.0\n";
        EXPECT_TRUE(bytes.starts_with(header));
        std::vector<float> lines(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
        EXPECT_EQ(bytes.size(), header.size() + sizeof(float) * lines.size());
        std::memcpy(lines.data(), bytes.data() + header.size(), bytes.size() - header.size());
        std::vector<float> depths;
        for (int row = height - 1; row >= 0; --row) {
            const auto first = lines.begin() + static_cast<std::ptrdiff_t>(row) * width;
            depths.insert(depths.end(), first, first + width);
        }
        return depths;
    }

    TestSupport::CTemporaryFolder m_folder;
};

constexpr int kWidth = 658, kHeight = 494;

TEST_F(MeshCommand, DemoMeasuresAPlaneOfTrianglesAsExactlyAsThePlane)
{
    const std::string file = File("plane.stl", device::SheetMesh(40.0, 30.0, 25, 20));
    const nlohmann::json report = Report({"demo", "--mesh", file, "--noise", "0", "--exact"});
    const nlohmann::json plane = Report({"demo", "--scene", "plane", "--noise", "0", "--exact"});
    EXPECT_EQ(report.at("scene"), "mesh");
    EXPECT_GE(report.at("points").get<int>(), 50000);
    EXPECT_LE(report.at("rms_mm").get<double>(), 0.0007);
    EXPECT_NEAR(report.at("rms_mm").get<double>(), plane.at("rms_mm").get<double>(), 1e-5);
    EXPECT_NEAR(report.at("points").get<double>(), plane.at("points").get<double>(), 10.0);
    EXPECT_EQ(report.at("wrong_code_fraction").get<double>(), 0.0);
    EXPECT_GT(report.at("coverage").get<double>(), 0.99);
    const nlohmann::json& mesh = report.at("mesh");
    EXPECT_EQ(mesh.at("file"), file);
    EXPECT_EQ(mesh.at("triangles"), 1000);
    EXPECT_EQ(mesh.at("dropped_triangles"), 0);
    EXPECT_EQ(mesh.at("rotation_deg"), nlohmann::json({180.0, 0.0, 0.0}));
    EXPECT_EQ(mesh.at("scale"), 1.0);
    EXPECT_EQ(mesh.at("within_working_range"), true);
    EXPECT_NEAR(mesh.at("translation_mm").at(2).get<double>(), 33.0, 1e-6);
}

TEST_F(MeshCommand, RenderWritesTheTrueDepthBesideTheImages)
{
    // A box of 6 by 4 by 2 mm, turned by nothing: its near face lies at z = 30, the camera looks past it.
    const std::string file = File("box.obj", device::BoxMesh({-30.0, -20.0, 0.0}, {30.0, 20.0, 20.0}));
    const nlohmann::json report =
        Report({"render", "--mesh", file, "--noise", "0", "--pose", "0,0,0,0.5,-0.5,30", "--scale", "0.1"});
    EXPECT_EQ(report.at("mesh").at("scale"), 0.1);
    EXPECT_EQ(report.at("mesh").at("translation_mm"), nlohmann::json({0.5, -0.5, 30.0}));
    const std::vector<float> depths = Depths(kWidth, kHeight);
    const device::VirtualDevice camera;
    std::size_t seen = 0;
    for (int row = 0; row < kHeight; ++row) {
        for (int col = 0; col < kWidth; ++col) {
            const device::Vec3 at = 30.0 * camera.RayFromImage({1.0 * col, 1.0 * row}).direction;
            const float depth =
                depths[static_cast<std::size_t>(row) * kWidth + static_cast<std::size_t>(col)];
            const double overRim = std::max(std::abs(at.x - 0.5) - 3.0, std::abs(at.y + 0.5) - 2.0);
            constexpr double kRim = 1e-9; // mm
            if (overRim < -kRim) {
                ASSERT_EQ(depth, 30.0F) << col << " " << row;
            } else if (overRim > kRim) { // the sides stand behind the near face
                ASSERT_TRUE(std::isnan(depth)) << col << " " << row;
            }
            seen += std::isnan(depth) ? 0U : 1U;
        }
    }
    EXPECT_GT(seen, 30000U);
    const std::string cloud = ReadFile(m_folder / "out/truth.ply");
    EXPECT_NE(cloud.find("element vertex " + std::to_string(seen) + "\n"), std::string::npos);
    constexpr std::size_t kPointBytes = 15; // three floats, three colours
    const std::size_t begin = cloud.find("end_header\n") + 11;
    ASSERT_EQ(cloud.size() - begin, kPointBytes * seen);
    for (std::size_t i = 0; i < seen; ++i) {
        std::array<float, 3> point{};
        std::memcpy(point.data(), cloud.data() + begin + kPointBytes * i, sizeof point);
        ASSERT_TRUE(point[2] >= 30.0F && point[2] < 32.0F);
    }
    for (const char* name : {"reference.png", "pattern.png", "model.txt"}) {
        EXPECT_GT(std::filesystem::file_size(m_folder / ("out/" + std::string(name))), 0U);
    }
}

TEST_F(MeshCommand, TheLibraryReadsTheTrueDepthOfAnyScene)
{
    Report({"render", "--scene", "plane", "--noise", "0"});
    LxCV::CCTImage image;
    ASSERT_EQ(image.Load(m_folder / "out/depth.pfm"), LxCV::CCTImage::eRC_OK);
    ASSERT_EQ(image.GetWidth(), kWidth);
    ASSERT_EQ(image.GetHeight(), kHeight);
    EXPECT_EQ(Depths(kWidth, kHeight), std::vector<float>(static_cast<std::size_t>(kWidth) * kHeight, 33.0F));
}

TEST_F(MeshCommand, TellsTheMeshAndWhatLiesOutsideTheWorkingRange)
{
    device::Mesh box = device::BoxMesh({-2.0, -2.0, 0.0}, {2.0, 2.0, 20.0});
    box.triangles.push_back({0, 0, 1});
    const std::string file = File("deep.ply", box);
    const Outcome outcome = RunProgram({"render", "--mesh", file, "--noise", "0", "--out", m_folder / "out"});
    EXPECT_EQ(outcome.exitCode, kExitDone) << outcome.err;
    EXPECT_TRUE(
        outcome.out.starts_with("Mesh " + file +
                                ": 12 triangles and 1 without an area, which are left out; 4.00 by 4.00 by "
                                "20.00 mm as it stands, --pose 180,0,0,"))
        << outcome.out;
    EXPECT_NE(outcome.out.find(
                  " --scale 1\nIt reaches from 25.00 to 45.00 mm; what lies outside the working range of "
                  "25.00 to 41.00 mm is not measured\nWrote "),
              std::string::npos)
        << outcome.out;
}

TEST_F(MeshCommand, MistakesInFilesNameTheFileAndTheRemedy)
{
    const std::string missing = m_folder / "none.stl";
    const std::string complaint =
        "cannot read the mesh " + missing + ": it cannot be opened; check path and permissions\n";
    EXPECT_EQ(RunProgram({"render", "--mesh", missing, "--out", m_folder / "out"}).err,
              "lumorad: " + complaint);
    EXPECT_EQ(RunProgram({"demo", "--mesh", missing, "--source", "simulated", "--out", m_folder / "out"}).err,
              "lumorad: " + complaint);
    const Outcome demo = RunProgram({"demo", "--mesh", missing, "--out", m_folder / "out"});
    EXPECT_EQ(demo.exitCode, kExitFailed);
    EXPECT_EQ(demo.err, "lumorad: cannot start the virtual device: " + complaint);

    const std::string file = File("box.stl", device::BoxMesh({0, 0, 0}, {1, 1, 1}));
    const Outcome outside =
        RunProgram({"render", "--mesh", file, "--pose", "0,0,0,500,0,30", "--out", m_folder / "out"});
    EXPECT_EQ(outside.exitCode, kExitFailed);
    EXPECT_EQ(outside.err,
              "lumorad: the camera sees nothing of the mesh " + file +
                  ", 1 by 1 by 1 mm, in the pose 0,0,0,500,0,30; without a translation it stands in the "
                  "middle of the view\n");
}

TEST_F(MeshCommand, ADemoWithoutPointsTellsNoErrors)
{
    const std::string file = File("box.stl", device::BoxMesh({-40, -40, 0}, {40, 40, 1}));
    const std::vector<std::string> arguments = {"demo",  "--mesh",        file, "--pose", "180,0,0,0,0,150",
                                                "--out", m_folder / "out"};
    const Outcome outcome = RunProgram(arguments);
    EXPECT_EQ(outcome.exitCode, kExitDone) << outcome.err;
    EXPECT_NE(outcome.out.find("  points            0\n"), std::string::npos) << outcome.out;
    EXPECT_NE(outcome.out.find("\nThere are no points, so no errors can be told; see that the object stands "
                               "within the working range of the device, and that the noise is not too "
                               "large\nStages\n"),
              std::string::npos)
        << outcome.out;
    EXPECT_EQ(outcome.out.find("error, mean"), std::string::npos) << outcome.out;
    const std::string page = ReadFile(m_folder / "out/report.html");
    EXPECT_NE(page.find("\"coverage\""), std::string::npos);
    EXPECT_EQ(page.find("\"rms_mm\""), std::string::npos);

    std::vector<std::string> withJson = arguments;
    withJson.insert(withJson.end(), {"--json", "--no-report"});
    const auto json = nlohmann::json::parse(RunProgram(withJson).out);
    EXPECT_EQ(json.at("points"), 0);
    for (const char* const key : {"mean_mm", "rms_mm", "p95_mm", "wrong_code_fraction", "rms_right_code_mm",
                                  "table_largest_mm", "table_rms_mm"}) {
        EXPECT_TRUE(json.at(key).is_null()) << key;
    }
}

TEST_F(MeshCommand, AMeshInMetresIsToldToWantAScale)
{
    const std::string file = File("metres.stl", device::BoxMesh({0, 0, 0}, {0.012, 0.01, 0.004}));
    const Outcome tiny = RunProgram({"render", "--mesh", file, "--out", m_folder / "out"});
    EXPECT_EQ(tiny.exitCode, kExitFailed);
    EXPECT_EQ(tiny.err, "lumorad: the camera sees nothing of the mesh " + file +
                            ", 0.012 by 0.01 by 0.004 mm, in the pose 180,0,0; of a file that is not in mm "
                            "give the scale, 1000 for metres and 25.4 for inches\n");
    const Outcome scaled =
        RunProgram({"render", "--mesh", file, "--scale", "1000", "--out", m_folder / "out"});
    EXPECT_EQ(scaled.exitCode, kExitDone) << scaled.err;
}

TEST_F(MeshCommand, RefusesArgumentsThatMakeNoSense)
{
    const std::string file = File("box.stl", device::BoxMesh({0, 0, 0}, {1, 1, 1}));
    const std::vector<std::vector<std::string>> senseless = {
        {"render", "--mesh"},
        {"render", "--mesh", ""},
        {"render", "--mesh", file, "--scene", "plane"},
        {"render", "--mesh", file, "--target", "mtf"},
        {"render", "--mesh", file, "--pose", "1,2"},
        {"render", "--mesh", file, "--pose", "1,2,3,4"},
        {"render", "--mesh", file, "--pose", "1,2,3,4,5,6,7"},
        {"render", "--mesh", file, "--pose", "1,2,nan"},
        {"render", "--mesh", file, "--pose", "1, 2,3"},
        {"render", "--mesh", file, "--scale", "0"},
        {"render", "--mesh", file, "--scale", "-1"},
        {"render", "--mesh", file, "--tilt", "1"},
        {"render", "--pose", "1,2,3"},
        {"render", "--scale", "1"},
        {"render", "--scale", "1", "--target", "mtf"},
        {"demo", "--mesh", file, "--scene", "plane"},
        {"demo", "--mesh", file, "--scale", "inf"},
        {"demo", "--pose", "1,2,3"},
        {"demo", "--scale", "1"},
    };
    for (std::vector<std::string> arguments : senseless) {
        arguments.insert(arguments.end(), {"--out", m_folder / "out"});
        const Outcome outcome = RunProgram(arguments);
        EXPECT_EQ(outcome.exitCode, kExitUsage) << ::testing::PrintToString(arguments);
        EXPECT_EQ(outcome.out, "");
        EXPECT_NE(outcome.err, "");
    }
}

TEST(PoseText, ReadsBackWhatItWrites)
{
    for (const char* text : {"180,0,0", "-90,1e-05,359.5", "0,0,0,-1.25,2,33", "1,2,3,4,5,6"}) {
        device::MeshPose pose;
        pose.scale = 7.0;
        ASSERT_TRUE(acquisition::ReadPose(text, pose)) << text;
        EXPECT_EQ(acquisition::PoseText(pose), text);
        EXPECT_EQ(pose.scale, 7.0);
    }
    device::MeshPose pose;
    for (const char* text :
         {"", ",", "1,2", "1,2,3,", "1,2,3,4,5", "1,2,3,4,5,6,7", "1,2,x", "1,2,inf", " 1,2,3", "1;2;3"}) {
        EXPECT_FALSE(acquisition::ReadPose(text, pose)) << text;
        EXPECT_EQ(acquisition::PoseText(pose), "180,0,0");
    }
}

TEST(PoseText, ZeroHasNoSign)
{
    device::MeshPose pose;
    pose.rotation = {-0.0, 0.0, -0.5};
    pose.translation = {-0.0, -0.0, 33.0};
    EXPECT_EQ(acquisition::PoseText(pose), "0,0,-0.5,0,0,33");
}

TEST_F(MeshCommand, TheVirtualSourceTakesMeshPoseAndScale)
{
    using acquisition::VirtualFrameGrabber;
    const std::string file = File("box.stl", device::BoxMesh({-10, -10, -1}, {10, 10, 1}));
    VirtualFrameGrabber grabber;
    ASSERT_EQ(grabber.Init({"mesh=" + file, "pose=0,0,10,0,0,30", "scale=0.5", "noise=0"}),
              VirtualFrameGrabber::eRC_OK);
    EXPECT_EQ(grabber.GetFault(), "");
    const std::shared_ptr<const acquisition::Rendering> rendering = grabber.GetRendering();
    EXPECT_EQ(rendering->options.scene, "mesh");
    EXPECT_EQ(acquisition::PoseText(rendering->mesh->GetPose()), "0,0,10,0,0,30");
    EXPECT_NEAR(rendering->mesh->GetLowest().z, 29.5, 1e-12);
    ASSERT_EQ(grabber.Start(), VirtualFrameGrabber::eRC_OK);
    LxCV::CCTImage* const first = grabber.AcquireImageRaw(LxCV::LxAFrameGrabber::eLT_Ref);
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first->GetDescription(), "mesh_1_Ref");
    std::filesystem::remove(file); // the scene stays, whatever becomes of the file
    LxCV::CCTImage* const next = grabber.AcquireImageRaw(LxCV::LxAFrameGrabber::eLT_Ref);
    ASSERT_NE(next, nullptr);
    EXPECT_EQ(next->GetDescription(), "mesh_2_Ref");
    EXPECT_EQ(grabber.GetRendering()->mesh, rendering->mesh);

    for (const auto& [arguments, fault] :
         {std::pair<std::vector<std::string>, std::string>{{"pose=0,0,0"}, "pose and scale want a mesh"},
          {{"scale=2"}, "pose and scale want a mesh"},
          {{"mesh=" + file, "pose=0,0"}, "the argument pose=0,0 makes no sense"},
          {{"mesh=" + file, "scale=-1"}, "the argument scale=-1 makes no sense"},
          {{"mesh="}, "the argument mesh= makes no sense"}}) {
        EXPECT_EQ(grabber.Init(arguments), VirtualFrameGrabber::eRC_ConfigFileErrononeus);
        EXPECT_EQ(grabber.GetFault(), fault);
    }
    EXPECT_EQ(grabber.Init({"mesh=" + file}), VirtualFrameGrabber::eRC_CouldNotBeInitialized);
    EXPECT_EQ(grabber.GetFault(),
              "cannot read the mesh " + file + ": it cannot be opened; check path and permissions");
}

} // namespace
} // namespace app
