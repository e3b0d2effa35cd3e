#include "scanner/app/lumorad.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

namespace app {
namespace {

struct Outcome
{
    int exitCode;
    std::string out;
    std::string err;
};

Outcome RunProgram(const std::vector<std::string>& arguments)
{
    std::ostringstream out;
    std::ostringstream err;
    const int exitCode = RunLumorad(arguments, out, err);
    return {exitCode, out.str(), err.str()};
}

std::string ReadFile(const std::filesystem::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(stream), {});
}

class Lumorad : public ::testing::Test
{
protected:
    Lumorad()
        : m_folder(std::filesystem::temp_directory_path() /
                   (std::string("lxcv_lumorad_") +
                    ::testing::UnitTest::GetInstance()->current_test_info()->name()))
    {
        std::filesystem::remove_all(m_folder);
    }
    ~Lumorad() override { std::filesystem::remove_all(m_folder); }

    nlohmann::json Demo(const std::string& scene, const std::string& noise,
                        const std::string& folder = "a") const
    {
        const Outcome outcome = RunProgram(
            {"demo", "--scene", scene, "--noise", noise, "--json", "--out", (m_folder / folder).string()});
        EXPECT_EQ(outcome.exitCode, kExitDone) << outcome.err;
        return nlohmann::json::parse(outcome.out);
    }

    std::filesystem::path m_folder;
};

TEST_F(Lumorad, DemoMeasuresTheMolarWithinItsBounds)
{
    const nlohmann::json report = Demo("molar", "1");
    EXPECT_GE(report.at("points").get<int>(), 50000);
    EXPECT_LE(report.at("rms_mm").get<double>(), 0.020);
    EXPECT_LT(report.at("wrong_code_fraction").get<double>(), 0.01);
    EXPECT_GT(report.at("coverage").get<double>(), 0.85);
    EXPECT_GT(report.at("mean_mm").get<double>(), 0.0);
    EXPECT_GE(report.at("p95_mm").get<double>(), report.at("mean_mm").get<double>());
    EXPECT_GT(report.at("stages_ms").at("triangulate").get<double>(), 0.0);
    for (const char* file :
         {"reference.png", "pattern.png", "depth.png", "overview.png", "cloud.ply", "model.txt"}) {
        EXPECT_GT(std::filesystem::file_size(m_folder / "a" / file), 0U) << file;
    }
}

TEST_F(Lumorad, DemoMeasuresANoiseFreePlaneToMicrometres)
{
    const nlohmann::json report = Demo("plane", "0");
    EXPECT_GE(report.at("points").get<int>(), 50000);
    EXPECT_LE(report.at("rms_mm").get<double>(), 0.003);
    EXPECT_EQ(report.at("wrong_code_fraction").get<double>(), 0.0);
    EXPECT_GT(report.at("coverage").get<double>(), 0.95);
}

TEST_F(Lumorad, DemoGivesTheSameCloudForTheSameSeed)
{
    Demo("sphere", "1", "a");
    Demo("sphere", "1", "b");
    EXPECT_EQ(ReadFile(m_folder / "a" / "cloud.ply"), ReadFile(m_folder / "b" / "cloud.ply"));
}

TEST_F(Lumorad, RenderWritesThePairAndTheModel)
{
    const Outcome outcome = RunProgram({"render", "--scene", "step", "--out", m_folder.string()});
    EXPECT_EQ(outcome.exitCode, kExitDone) << outcome.err;
    EXPECT_EQ(outcome.out, "Wrote reference.png, pattern.png and model.txt to " + m_folder.string() + "\n");
    EXPECT_NE(ReadFile(m_folder / "model.txt").find("::MV3DCamBase::Cams[0]"), std::string::npos);
    EXPECT_FALSE(std::filesystem::exists(m_folder / "cloud.ply"));
}

TEST_F(Lumorad, RefusesArgumentsThatMakeNoSense)
{
    EXPECT_EQ(RunProgram({}).exitCode, kExitUsage);
    EXPECT_EQ(RunProgram({"measure"}).exitCode, kExitUsage);
    EXPECT_EQ(RunProgram({"demo", "--scene", "teapot"}).exitCode, kExitUsage);
    EXPECT_EQ(RunProgram({"demo", "--noise", "-1"}).exitCode, kExitUsage);
    EXPECT_EQ(RunProgram({"demo", "--seed", "x"}).exitCode, kExitUsage);
}

TEST_F(Lumorad, ExplainsItself)
{
    const Outcome outcome = RunProgram({"demo", "--help"});
    EXPECT_EQ(outcome.exitCode, kExitDone);
    EXPECT_NE(outcome.out.find("--scene"), std::string::npos);
}

TEST_F(Lumorad, NamesTheFolderThatItCannotCreate)
{
    const Outcome outcome = RunProgram({"render", "--scene", "plane", "--out", "/proc/lumorad"});
    EXPECT_EQ(outcome.exitCode, kExitFailed);
    EXPECT_NE(outcome.err.find("/proc/lumorad"), std::string::npos) << outcome.err;
}

} // namespace
} // namespace app
