#include "scanner/app/lumorad.h"

#include "tests/scanner/commandrun.h"
#include "tests/support/temporaryfolder.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <filesystem>
#include <ostream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace app {
namespace {

using TestSupport::ReadFile;

class Lumorad : public ::testing::Test
{
protected:
    nlohmann::json Demo(const std::string& scene, const std::string& noise, const std::string& folder = "a",
                        const std::vector<std::string>& options = {}) const
    {
        std::vector<std::string> arguments{"demo", "--scene", scene,   "--noise",
                                           noise,  "--json",  "--out", (m_folder / folder).string()};
        arguments.insert(arguments.end(), options.begin(), options.end());
        const Outcome outcome = RunProgram(arguments);
        EXPECT_EQ(outcome.exitCode, kExitDone) << outcome.err;
        return nlohmann::json::parse(outcome.out);
    }

    TestSupport::CTemporaryFolder m_temporary;
    std::filesystem::path m_folder = m_temporary.GetPath() / "made by the program";
};

TEST_F(Lumorad, DemoMeasuresTheMolarWithinItsBounds)
{
    const nlohmann::json report = Demo("molar", "1", "a", {"--exact"});
    EXPECT_GE(report.at("points").get<int>(), 50000);
    EXPECT_LE(report.at("rms_mm").get<double>(), 0.0075);
    EXPECT_LT(report.at("wrong_code_fraction").get<double>(), 0.001);
    EXPECT_GT(report.at("coverage").get<double>(), 0.985);
    EXPECT_GT(report.at("mean_mm").get<double>(), 0.0);
    EXPECT_GE(report.at("p95_mm").get<double>(), report.at("mean_mm").get<double>());
    std::set<std::string> stages;
    for (const auto& [stage, milliseconds] : report.at("stages_ms").items()) {
        EXPECT_GT(milliseconds.get<double>(), 0.0) << stage;
        stages.insert(stage);
    }
    EXPECT_EQ(stages,
              (std::set<std::string>{"render", "write images", "acquire", "load model", "remove texture",
                                     "find edges", "read code words", "trace edges", "triangulate", "compare",
                                     "write results", "write report", "prepare", "deliver"}));
    for (const char* file : {"reference.png", "pattern.png", "depth.png", "overview.png", "cloud.ply",
                             "model.txt", "scan.3d", "report.html"}) {
        EXPECT_GT(std::filesystem::file_size(m_folder / "a" / file), 0U) << file;
    }
}

TEST_F(Lumorad, DemoMeasuresANoiseFreePlaneToMicrometres)
{
    const nlohmann::json report = Demo("plane", "0", "a", {"--exact"});
    EXPECT_GE(report.at("points").get<int>(), 50000);
    EXPECT_LE(report.at("rms_mm").get<double>(), 0.0007);
    EXPECT_EQ(report.at("wrong_code_fraction").get<double>(), 0.0);
    EXPECT_GT(report.at("coverage").get<double>(), 0.99);
}

TEST_F(Lumorad, DemoGivesTheSameCloudHoweverItReports)
{
    Demo("plane", "1", "a");
    // Any bytes but a slash and zero make a folder's name; a backslash is one of them.
    const std::filesystem::path folder = m_folder / "a b" / "c\\d \xc3\xbc \xff";
    const Outcome outcome = RunProgram({"demo", "--scene", "plane", "--seed", "1", "--out", folder.string()});
    EXPECT_EQ(outcome.exitCode, kExitDone) << outcome.err;
    EXPECT_EQ(outcome.err, "");
    EXPECT_TRUE(outcome.out.starts_with(
        "Scene plane, seed 1, noise 1.00\n  source            virtual\n  points            5"))
        << outcome.out;
    EXPECT_NE(outcome.out.find(" edge crossings\n  wrong codes       0.000 % of the points\n"),
              std::string::npos)
        << outcome.out;
    EXPECT_TRUE(outcome.out.ends_with("Files are in " + folder.string() + "\n")) << outcome.out;
    const std::string cloud = ReadFile(m_folder / "a" / "cloud.ply");
    EXPECT_FALSE(cloud.empty());
    EXPECT_TRUE(ReadFile(folder / "cloud.ply") == cloud);
    const std::string scan = ReadFile(m_folder / "a" / "scan.3d");
    EXPECT_FALSE(scan.empty());
    EXPECT_TRUE(ReadFile(folder / "scan.3d") == scan);
}

TEST_F(Lumorad, DemoWritesNoReportWhereNoneIsWanted)
{
    const nlohmann::json report = Demo("plane", "1", "a", {"--no-report"});
    EXPECT_FALSE(report.at("stages_ms").contains("write report"));
    EXPECT_FALSE(std::filesystem::exists(m_folder / "a" / "report.html"));
    EXPECT_TRUE(std::filesystem::exists(m_folder / "a" / "cloud.ply"));
}

TEST_F(Lumorad, DemoGivesTheSameFiguresFromEitherSource)
{
    nlohmann::json fromDevice = Demo("plane", "0", "a", {"--source", "virtual"});
    nlohmann::json fromFiles = Demo("plane", "0", "b", {"--source", "simulated"});
    EXPECT_EQ(fromDevice.at("source"), "virtual");
    EXPECT_EQ(fromFiles.at("source"), "simulated");
    for (const char* differs : {"source", "out", "stages_ms"}) {
        fromDevice.erase(differs);
        fromFiles.erase(differs);
    }
    EXPECT_EQ(fromFiles, fromDevice);
    EXPECT_TRUE(ReadFile(m_folder / "a" / "cloud.ply") == ReadFile(m_folder / "b" / "cloud.ply"));
    EXPECT_TRUE(ReadFile(m_folder / "a" / "scan.3d") == ReadFile(m_folder / "b" / "scan.3d"));
    EXPECT_FALSE(std::filesystem::exists(m_folder / "a" / "pattern.tif"));
    EXPECT_TRUE(std::filesystem::exists(m_folder / "b" / "pattern.tif"));
}

TEST_F(Lumorad, DemoLooksPointsUpAndTellsHowFarTheyAreFromComputedOnes)
{
    const nlohmann::json computed = Demo("plane", "0", "a", {"--exact"});
    const nlohmann::json found = Demo("plane", "0", "b");
    EXPECT_EQ(computed.at("exact"), true);
    EXPECT_FALSE(computed.contains("table_rms_mm"));
    EXPECT_EQ(found.at("exact"), false);
    EXPECT_EQ(found.at("points"), computed.at("points"))
        << "those beside the marks of the slide are computed";
    constexpr double kLargest = 0.0001; // mm: curvature of the lens and of the light within a cell
    EXPECT_LT(found.at("table_largest_mm").get<double>(), kLargest);
    EXPECT_GT(found.at("table_rms_mm").get<double>(), 0.0);
    EXPECT_LE(found.at("table_rms_mm"), found.at("table_largest_mm"));
    EXPECT_LT(found.at("rms_mm").get<double>(), 0.001);
    EXPECT_GT(found.at("coverage").get<double>(), 0.99);
}

TEST_F(Lumorad, FilesWithABackslashInTheirPathAreNotReplayed)
{
    const std::filesystem::path folder = m_folder / "a\\b";
    const Outcome outcome =
        RunProgram({"demo", "--scene", "plane", "--source", "simulated", "--out", folder.string()});
    EXPECT_EQ(outcome.exitCode, kExitFailed);
    EXPECT_EQ(outcome.err, "lumorad: cannot replay '" + (folder / "reference.png").string() +
                               "': there is a backslash in its path; take another folder\n");
}

TEST_F(Lumorad, RenderWritesThePairAndTheModel)
{
    const Outcome outcome =
        RunProgram({"render", "--scene", "plane", "--noise", "0", "--out", m_folder.string()});
    EXPECT_EQ(outcome.exitCode, kExitDone) << outcome.err;
    EXPECT_EQ(outcome.out, "Wrote reference.png, pattern.png, model.txt, depth.pfm and truth.ply to " +
                               m_folder.string() + "\n");
    EXPECT_NE(ReadFile(m_folder / "model.txt").find("::MV3DCamBase::Cams[0]"), std::string::npos);
    EXPECT_FALSE(std::filesystem::exists(m_folder / "cloud.ply"));
}

TEST_F(Lumorad, RenderReportsAsJsonWhateverTheFolderIsCalled)
{
    const std::string folder = (m_folder / "no UTF-8: \xff").string();
    const Outcome outcome =
        RunProgram({"render", "--json", "--scene", "plane", "--seed", "18446744073709551615", "--seed", "007",
                    "--noise", "0.25", "--out", folder});
    EXPECT_EQ(outcome.exitCode, kExitDone) << outcome.err;
    const nlohmann::json report = nlohmann::json::parse(outcome.out);
    EXPECT_EQ(report.at("scene"), "plane");
    EXPECT_EQ(report.at("seed"), 7U) << "the last one counts";
    EXPECT_EQ(report.at("noise"), 0.25);
    EXPECT_GT(report.at("crossings"), 50000);
    EXPECT_TRUE(
        report.at("out").get<std::string>().ends_with("no UTF-8: \xef\xbf\xbd")); // replacement character
    EXPECT_TRUE(std::filesystem::exists(folder + "/pattern.png"));
}

TEST_F(Lumorad, RefusesArgumentsThatMakeNoSense)
{
    const std::vector<std::vector<std::string>> senseless = {
        {},
        {"measure"},
        {"demo", "render"},
        {"demo", "more"},
        {"--json"},
        {"demo", "--scene"},
        {"demo", "--scene", "teapot"},
        {"demo", "--scene", ""},
        {"demo", "--noise", "-1"},
        {"demo", "--noise", "100.1"},
        {"demo", "--noise", "nan"},
        {"demo", "--noise", "inf"},
        {"demo", "--noise", "1,5"},
        {"demo", "--noise", ""},
        {"demo", "--seed", "x"},
        {"demo", "--seed", "-1"},
        {"demo", "--seed", "1.5"},
        {"demo", "--seed", "18446744073709551616"},
        {"render", "--out", ""},
        {"render", "--source", "virtual"},
        {"demo", "--source", "camera"},
    };
    for (const auto& arguments : senseless) {
        const Outcome outcome = RunProgram(arguments);
        EXPECT_EQ(outcome.exitCode, kExitUsage) << ::testing::PrintToString(arguments);
        EXPECT_EQ(outcome.out, "");
        EXPECT_NE(outcome.err, "");
    }
}

TEST_F(Lumorad, ExplainsItself)
{
    const Outcome program = RunProgram({"--help"});
    EXPECT_EQ(program.exitCode, kExitDone);
    EXPECT_NE(program.out.find("demo"), std::string::npos);
    EXPECT_NE(program.out.find("render"), std::string::npos);
    const Outcome demo = RunProgram({"demo", "--help"});
    EXPECT_EQ(demo.exitCode, kExitDone);
    for (const char* option : {"--scene", "--seed", "--noise", "--out", "--json", "--source", "plane",
                               "[0 - 100]", "out/demo", "virtual", "simulated"}) {
        EXPECT_NE(demo.out.find(option), std::string::npos) << option;
    }
}

TEST_F(Lumorad, NamesTheFolderThatItCannotCreate)
{
    for (const char* command : {"demo", "render"}) {
        const Outcome outcome = RunProgram({command, "--json", "--out", "/proc/lumorad"});
        EXPECT_EQ(outcome.exitCode, kExitFailed);
        EXPECT_EQ(outcome.out, "");
        EXPECT_TRUE(outcome.err.starts_with("lumorad: cannot create the folder '/proc/lumorad': "))
            << outcome.err;
    }
}

TEST_F(Lumorad, NamesTheFileThatItCannotWrite)
{
    std::filesystem::create_directories(m_folder / "pattern.png"); // a folder in the way of a file
    const Outcome outcome =
        RunProgram({"render", "--scene", "plane", "--noise", "0", "--out", m_folder.string()});
    EXPECT_EQ(outcome.exitCode, kExitFailed);
    EXPECT_EQ(outcome.err,
              "lumorad: cannot write '" + (m_folder / "pattern.png").string() + "': Is a directory\n");
}

TEST_F(Lumorad, FailsWhereTheReportCannotBeWritten)
{
    std::ostream closed(nullptr);
    std::ostringstream err;
    EXPECT_EQ(
        RunLumorad({"render", "--scene", "plane", "--noise", "0", "--out", m_folder.string()}, closed, err),
        kExitFailed);
    EXPECT_EQ(err.str(), "lumorad: cannot write the report\n");
}

} // namespace
} // namespace app
