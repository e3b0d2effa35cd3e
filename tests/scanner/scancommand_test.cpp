#include "scanner/app/scancommand.h"

#include "orx/platform/imagecodec.h"
#include "scanner/app/measurement.h"
#include "tests/scanner/commandrun.h"
#include "tests/scanner/scanfilereaders.h"
#include "tests/scanner/smalldevice.h"
#include "tests/support/temporaryfolder.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <filesystem>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace app {
namespace {

using Json = nlohmann::json;
using scantest::Point;

constexpr int kWidth = 90;
constexpr int kHeight = 200;
constexpr double kTolerance = 0.03; // mm: some five sigma of the noise along the viewing ray

/// Files of a small device: reference.png, pattern.png and model.txt.
class ScanCommand : public testing::Test
{
protected:
    ScanCommand() { Render("step"); }

    void Render(const std::string& scene)
    {
        acquisition::PairOptions options;
        options.scene = scene;
        m_rendering = acquisition::Render(
            std::make_shared<device::VirtualDevice>(device::SmallDevice(kWidth, kHeight)), options);
        WriteRendering(*m_rendering, m_folder.GetPath());
    }

    std::string Scan(std::vector<std::string> options) const
    {
        options.insert(options.begin(), {"scan", m_reference, m_pattern, "--model", m_model});
        return RunCommand(options);
    }

    Json ScanToJson(std::vector<std::string> options) const
    {
        options.emplace_back("--json");
        const std::string report = Scan(options);
        EXPECT_NE(report.front(), '[') << report;
        return Json::parse(report);
    }

    std::string WriteColour(const std::string& name, int width, int height, unsigned char level) const
    {
        const std::vector<std::byte> levels(static_cast<std::size_t>(3 * width * height), std::byte{level});
        EXPECT_TRUE(
            platform::WritePng(m_folder / name, {width, height, platform::EPixelFormat::eBgr8, levels}));
        return m_folder / name;
    }

    /// The model with another text in the place of one that it has.
    std::string WriteModelWith(const std::string& name, const std::string& text,
                               const std::string& other) const
    {
        std::string model = TestSupport::ReadFile(m_model);
        EXPECT_NE(model.find(text), std::string::npos) << text;
        model.replace(model.find(text), text.size(), other);
        TestSupport::WriteFile(m_folder / name, model);
        return m_folder / name;
    }

    TestSupport::CTemporaryFolder m_folder;
    const std::string m_reference = m_folder / "reference.png";
    const std::string m_pattern = m_folder / "pattern.png";
    const std::string m_model = m_folder / "model.txt";
    std::optional<acquisition::Rendering> m_rendering;
};

std::multiset<Point> PointsOf(const scantest::Grid& grid)
{
    std::multiset<Point> points;
    std::ranges::copy_if(grid.points, std::inserter(points, points.end()),
                         [](const Point& point) { return point != Point{}; });
    return points;
}

TEST_F(ScanCommand, PointsLieWhereTheDeviceSeesItsStripeEdges)
{
    for (const std::vector<std::string>& options : {std::vector<std::string>{}, {"--exact"}}) {
        std::vector<std::string> arguments = options;
        arguments.insert(arguments.end(), {"-o", m_folder / "scan.3d"});
        const Json report = ScanToJson(arguments);
        const scantest::Grid grid = scantest::Read3D(m_folder / "scan.3d");
        ASSERT_EQ(grid.width, kWidth);
        std::size_t right = 0;
        for (int column = 0; column < kWidth; ++column) {
            for (const device::EdgeCrossing& crossing :
                 m_rendering->pair.truth.crossings[static_cast<std::size_t>(column)]) {
                const Point& point =
                    grid.points[static_cast<std::size_t>(crossing.edge * grid.width + column)];
                const device::Vec3 error =
                    crossing.pointInCamera - device::Vec3{point[0], point[1], point[2]};
                right += crossing.seenByProjector && device::Length(error) < kTolerance ? 1U : 0U;
            }
        }
        const auto points = report.at("points").get<std::size_t>();
        EXPECT_GT(points, 1000U);
        EXPECT_EQ(points, PointsOf(grid).size());
        EXPECT_GT(static_cast<double>(right), 0.97 * static_cast<double>(points));
    }
}

TEST_F(ScanCommand, AllFilesHoldTheSamePoints)
{
    const std::string ply = m_folder / "scan.ply";
    const std::string grid = m_folder / "scan.3D"; // suffixes are told in upper case, too
    const std::string stl = m_folder / "scan.stl";
    const std::string xyz = m_folder / "scan.xyz";
    const Json report = ScanToJson({"-o", ply, "-o", grid, "-o", stl, "-o", xyz});
    const std::multiset<Point> points = PointsOf(scantest::Read3D(grid));
    EXPECT_EQ(points.size(), report.at("points").get<std::size_t>());

    std::multiset<Point> vertices;
    for (const scantest::PlyVertex& vertex : scantest::ReadPly(ply)) {
        vertices.insert(vertex.position);
    }
    EXPECT_EQ(vertices, points);
    const std::vector<Point> lines = scantest::ReadXyz(xyz);
    EXPECT_EQ(std::multiset<Point>(lines.begin(), lines.end()), points);

    const auto triangles = scantest::ReadStl(stl);
    EXPECT_GT(triangles.size(), points.size()) << "a grid has nearly two triangles a point";
    for (const auto& triangle : triangles) {
        for (const Point& corner : triangle) {
            ASSERT_TRUE(points.contains(corner));
        }
        ASSERT_LE(std::ranges::max(triangle, {}, [](const Point& p) { return p[2]; })[2] -
                      std::ranges::min(triangle, {}, [](const Point& p) { return p[2]; })[2],
                  0.4F);
    }
    for (std::size_t i = 0; i < 4; ++i) {
        const Json& file = report.at("files").at(i);
        EXPECT_EQ(file.at("file"), (std::vector{ply, grid, stl, xyz}[i]));
        EXPECT_EQ(file.at("bytes"), std::filesystem::file_size(file.at("file").get<std::string>()));
    }
}

TEST_F(ScanCommand, ColoursAreThoseOfTheReferenceAndNormalsHaveUnitLength)
{
    Render("plane");
    ScanToJson({"-o", m_folder / "scan.ply"});
    std::size_t normals = 0;
    const std::vector<scantest::PlyVertex> vertices = scantest::ReadPly(m_folder / "scan.ply");
    for (const auto& [position, normal, colour] : vertices) {
        const float length = std::hypot(normal[0], normal[1], normal[2]);
        normals += length > 0.0F ? 1U : 0U;
        EXPECT_TRUE(length == 0.0F || std::abs(length - 1.0F) < 1e-5F) << length;
        EXPECT_GT(colour[0], 60) << "the plane is white";
        EXPECT_LT(std::abs(colour[0] - colour[2]), 60);
    }
    EXPECT_GT(normals, vertices.size() / 2);
}

TEST_F(ScanCommand, TellsStagesAndMemory)
{
    const Json report = ScanToJson({});
    EXPECT_EQ(report.at("reference"), m_reference);
    EXPECT_EQ(report.at("pattern"), m_pattern);
    EXPECT_EQ(report.at("model"), m_model);
    EXPECT_EQ(report.at("width"), kWidth);
    EXPECT_EQ(report.at("height"), kHeight);
    EXPECT_FALSE(report.contains("note"));
    for (const char* stage : {"load images", "load model", "prepare", "remove texture", "find edges",
                              "read code words", "trace edges", "triangulate", "deliver", "write files"}) {
        EXPECT_GE(report.at("stages_ms").at(stage).get<double>(), 0.0) << stage;
    }
    EXPECT_EQ(report.at("files"), Json::array());
    EXPECT_GT(report.at("peak_memory_mb").get<double>(), 1.0);
    EXPECT_LT(report.at("peak_memory_mb").get<double>(), 1e5);
}

TEST_F(ScanCommand, TellsItInWords)
{
    const std::string file = m_folder / "scan.xyz";
    const std::string points = std::to_string(ScanToJson({"-o", file}).at("points").get<std::size_t>());
    const std::string report = Scan({"-o", file});
    const std::string begin = "Scan of " + m_pattern + " with the reference " + m_reference +
                              "\n  size              90 by 200 pixels\n  points            " + points +
                              "\nStages\n  load images";
    EXPECT_EQ(report.substr(0, begin.size()), begin);
    EXPECT_NE(report.find("\n  peak memory       "), std::string::npos);
    EXPECT_NE(report.find(" MB\nWrote " + file + ", " + std::to_string(std::filesystem::file_size(file)) +
                          " bytes\n"),
              std::string::npos);
}

TEST_F(ScanCommand, WritesAReportWithoutErrors)
{
    const std::string page = m_folder / "report.html";
    const Json report = ScanToJson({"--report", page});
    const std::string html = TestSupport::ReadFile(page);
    EXPECT_EQ(report.at("files").at(0).at("file"), page);
    EXPECT_NE(html.find("\"title\":\"Scan of pattern.png\""), std::string::npos);
    EXPECT_NE(html.find("\"key\":\"points\""), std::string::npos);
    EXPECT_NE(html.find("\"count\":" + report.at("points").dump()), std::string::npos);
    EXPECT_EQ(html.find("\"histogram\":"), std::string::npos) << "no truth, no errors";
}

TEST_F(ScanCommand, ModelsMayBeContainers)
{
    setenv("LXCV_KEY_FILE", (m_folder / "key").c_str(), 1);
    const std::string container = m_folder / "model.dat";
    EXPECT_NE(RunCommand({"model", "convert", m_model, "-o", container}).front(), '[');
    const Json fromText = ScanToJson({"-o", m_folder / "text.xyz"});
    const std::string report =
        RunCommand({"scan", m_reference, m_pattern, "--model", container, "-o", m_folder / "container.xyz"});
    unsetenv("LXCV_KEY_FILE");
    EXPECT_NE(report.front(), '[') << report;
    EXPECT_EQ(TestSupport::ReadFile(m_folder / "container.xyz"),
              TestSupport::ReadFile(m_folder / "text.xyz"));
}

TEST_F(ScanCommand, ImagesWithoutAnObjectGiveEmptyFiles)
{
    WriteColour("reference.png", kWidth, kHeight, 0);
    WriteColour("pattern.png", kWidth, kHeight, 0);
    const std::string ply = m_folder / "scan.ply";
    const std::string grid = m_folder / "scan.3d";
    const std::string stl = m_folder / "scan.stl";
    const std::string xyz = m_folder / "scan.xyz";
    const std::string page = m_folder / "report.html";
    const std::vector<std::string> files{"-o", ply, "-o", grid, "-o", stl, "-o", xyz, "--report", page};
    const std::string note =
        "no points: the images show no stripes on an object that can be measured; bring "
        "the object into the working range of the model, and see that the reference image, "
        "taken in white light, comes before the pattern image";
    const Json report = ScanToJson(files);
    EXPECT_EQ(report.at("points"), 0);
    EXPECT_EQ(report.at("note"), note);
    EXPECT_NE(Scan(files).find("\nThere are " + note + "\n"), std::string::npos);
    EXPECT_TRUE(scantest::ReadPly(ply).empty());
    EXPECT_EQ(scantest::Read3D(grid).width, kWidth);
    EXPECT_TRUE(PointsOf(scantest::Read3D(grid)).empty());
    EXPECT_TRUE(scantest::ReadStl(stl).empty());
    EXPECT_TRUE(std::filesystem::exists(xyz));
    EXPECT_TRUE(scantest::ReadXyz(xyz).empty());
    EXPECT_NE(TestSupport::ReadFile(page).find("\"count\":0"), std::string::npos);
}

TEST_F(ScanCommand, GreyImagesAreReadAndHoldNoStripes)
{
    TestSupport::WriteFile(m_folder / "grey.pgm",
                           "P5 90 200 65535\n" + std::string(std::size_t{2} * kWidth * kHeight, 'd'));
    const std::string report =
        RunCommand({"scan", m_folder / "grey.pgm", m_folder / "grey.pgm", "--model", m_model, "--json"});
    EXPECT_EQ(Json::parse(report).at("points"), 0);
}

TEST_F(ScanCommand, ImagesMustBeOfOneSize)
{
    WriteColour("pattern.png", 64, 48, 9);
    EXPECT_EQ(Scan({}), Failure("'" + m_reference + "' has 90 by 200 pixels and '" + m_pattern +
                                "' 64 by 48 pixels: take two images of one camera as it took them"));
}

TEST_F(ScanCommand, ImagesMustHaveTheSizeOfTheModel)
{
    WriteColour("reference.png", 64, 48, 9);
    WriteColour("pattern.png", 64, 48, 9);
    EXPECT_EQ(Scan({}),
              Failure("the model '" + m_model +
                      "' was calibrated with images of 90 by 200 pixels, and these have 64 by 48 "
                      "pixels: take the model of the camera that took them, or images as that camera "
                      "took them"));
}

TEST_F(ScanCommand, TheModelMustBeCalibrated)
{
    const std::string model = WriteModelWith("raw.txt", "Calibrated=1", "Calibrated=0");
    EXPECT_EQ(
        RunCommand({"scan", m_reference, m_pattern, "--model", model}),
        Failure("the model '" + model + "' is not calibrated: 'lumorad model check' tells what it lacks"));
}

TEST_F(ScanCommand, TheModelMustHaveAPattern)
{
    std::string text = TestSupport::ReadFile(m_model);
    const std::size_t table = text.find("MinDistProjToScene");
    text.erase(table, text.find("::MV3DCamBase::PolynomKoma") - table);
    const std::size_t digits = text.find("\nPattern=") + 9;
    text.erase(digits, text.find('\n', digits) - digits);
    const std::string blank = m_folder / "blank.txt";
    TestSupport::WriteFile(blank, text);
    EXPECT_EQ(RunCommand({"scan", m_reference, m_pattern, "--model", blank}),
              Failure("the model '" + blank +
                      "' has no usable pattern: 'lumorad model check' tells what is wrong with it"));
    const std::string model = WriteModelWith("raw.txt", "PatternHeight=", "PatternHight=");
    EXPECT_EQ(
        RunCommand({"scan", m_reference, m_pattern, "--model", model}),
        Failure("'" + model +
                "': line 70, ::MV3DCamBase::Projector::CLPattern, PatternHeight: is missing; add it, or "
                "take the section from a backup; 'lumorad model check' tells everything"));
}

TEST_F(ScanCommand, AModelThatIsReadAsSomethingElseIsRefused)
{
    const std::string bad = WriteModelWith("bad.txt", "\nf=", "\nf=nine");
    const std::string refusal = RunCommand({"scan", m_reference, m_pattern, "--model", bad});
    EXPECT_TRUE(refusal.starts_with("[1 lumorad: '" + bad +
                                    "': line 24, ::MV3DCamBase::Cams[0]::IntrinsicParams, f: 'nine"))
        << refusal;
    EXPECT_TRUE(refusal.ends_with(" is taken; write a number, with a point for its fraction\n]")) << refusal;
    const std::string lacking =
        WriteModelWith("lacking.txt", "::MV3DCamBase::Projector::CLPattern", "::Other");
    EXPECT_EQ(RunCommand({"scan", m_reference, m_pattern, "--model", lacking}),
              Failure("'" + lacking +
                      "': ::MV3DCamBase::Projector::CLPattern: is missing; take it from a backup of this "
                      "device's model, or calibrate the device"));
}

TEST_F(ScanCommand, WhatIsNoModelIsNamed)
{
    EXPECT_EQ(
        RunCommand({"scan", m_reference, m_pattern, "--model", m_reference}),
        Failure("'" + m_reference + "' is no model: it has none of a model's sections, such as '::Cams[0]'"));
    const std::string missing = m_folder / "none.txt";
    EXPECT_EQ(RunCommand({"scan", m_reference, m_pattern, "--model", missing}),
              Failure("cannot open '" + missing + "': No such file or directory"));
}

TEST_F(ScanCommand, WhatIsNoImageIsNamed)
{
    const std::string foreign = m_folder / "a\\b.png";
    std::filesystem::copy_file(m_reference, foreign);
    EXPECT_EQ(
        RunCommand({"scan", foreign, m_pattern, "--model", m_model}),
        Failure("cannot read '" + foreign + "': there is a backslash in its path; take another folder"));
    const std::string missing = m_folder / "none.png";
    EXPECT_EQ(RunCommand({"scan", missing, m_pattern, "--model", m_model}),
              Failure("there is no file '" + missing + "'"));
    EXPECT_EQ(RunCommand({"scan", m_reference, m_model, "--model", m_model}),
              Failure("'" + m_model +
                      "' is no image of a kind that can be read: TIFF, PNG, JPEG, BMP, PGM and PFM can"));
    TestSupport::WriteFile(m_pattern, TestSupport::ReadFile(m_pattern).substr(0, 1000));
    EXPECT_EQ(Scan({}), Failure("'" + m_pattern + "' is a damaged image: write or copy it anew"));
}

TEST_F(ScanCommand, AnUnknownSuffixIsToldWithTheKnownOnes)
{
    for (const std::string name : {"scan.txt", "scan", ".ply", "scan.ply.gz"}) {
        const std::string report = Scan({"-o", m_folder / name});
        EXPECT_NE(report.find("'" + (m_folder / name) +
                              "' has none of the suffixes that tell the format of a scan: .ply, .3d, .stl, "
                              ".xyz"),
                  std::string::npos)
            << report;
        EXPECT_EQ(report.substr(0, 3), "[2 ");
    }
}

TEST_F(ScanCommand, AFileThatCannotBeWrittenIsNamed)
{
    for (const std::string name : {"scan.ply", "scan.3d", "scan.stl", "scan.xyz"}) {
        const std::string file = m_folder / ("none/" + name);
        EXPECT_EQ(Scan({"-o", file}), Failure("cannot write '" + file + "': No such file or directory"));
    }
    const std::string page = m_folder / "none/report.html";
    EXPECT_EQ(Scan({"--report", page}), Failure("cannot write '" + page + "': No such file or directory"));
}

TEST_F(ScanCommand, NothingIsWrittenOverAnInput)
{
    const std::string ply = m_folder / "reference.ply";
    std::filesystem::rename(m_reference, ply);
    EXPECT_EQ(RunCommand({"scan", ply, m_pattern, "--model", m_model, "-o", ply}),
              Failure("'" + ply + "' and '" + ply + "' are one file"));
    EXPECT_EQ(RunCommand({"scan", ply, m_pattern, "--model", m_model, "--report", m_model}),
              Failure("'" + m_model + "' and '" + m_model + "' are one file"));
}

TEST_F(ScanCommand, TheReportIsNotWrittenOverTheScan)
{
    const std::string file = m_folder / "a.ply";
    const std::string again = m_folder / "./a.ply";
    EXPECT_EQ(Scan({"-o", file, "--report", again}),
              Failure("'" + file + "' and '" + again + "' are one file"));
    EXPECT_FALSE(std::filesystem::exists(file));
}

TEST_F(ScanCommand, WantsBothImagesAndAModel)
{
    for (const std::vector<std::string>& arguments : {std::vector<std::string>{"scan"},
                                                      {"scan", m_reference, "--model", m_model},
                                                      {"scan", m_reference, m_pattern}}) {
        EXPECT_EQ(RunCommand(arguments).substr(0, 3), "[2 ");
    }
}

} // namespace
} // namespace app
