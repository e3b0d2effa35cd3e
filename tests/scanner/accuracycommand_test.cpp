#include "scanner/app/accuracycommand.h"

#include "lxccolorvalueargb8.h"
#include "scanner/app/accuracyreport.h"
#include "scanner/app/errormaps.h"
#include "scanner/app/lumorad.h"
#include "tests/support/temporaryfolder.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cstdint>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

namespace app {
namespace {

using LxCV::CCTImage;
using LxCV::LxCColorValueARGB8;

/// A result with made-up figures of two seeds.
acceptance::AcceptanceResult MadeUp()
{
    acceptance::AcceptanceResult result;
    acceptance::FlatnessRuns flat;
    flat.name = "33 mm";
    flat.noiseFree.centralRms = 0.0005;
    flat.noisy.resize(2);
    flat.noisy[0].centralRms = 0.003;
    flat.noisy[1].centralRms = 0.005;
    result.flatness.push_back(flat);
    result.probing.noisy = {{1000, 0.02, 0.003, -0.001}, {1000, 0.03, 0.004, -0.002}};
    result.spacing = {{"along x", {-0.0002, 0, 0, 0}, {{0.004, 0, 0, 0}, {-0.006, 0, 0, 0}}}};
    result.step.noisy = {{0.001, 0.004}, {0.003, 0.004}};
    result.codes = {{"plane, default", {}, {{1000, 1, 0.001, 0.99}, {1000, 0, 0.0, 0.99}}}};
    return result;
}

TEST(AccuracyReport, JsonHasTheFiguresUnderTheirKeys)
{
    const nlohmann::ordered_json json = ToJson({{2, 7, 1.5}, false, true}, MadeUp());
    EXPECT_EQ(json.at("seeds"), 2);
    EXPECT_EQ(json.at("first_seed"), 7);
    EXPECT_EQ(json.at("noise"), 1.5);
    EXPECT_EQ(json.at("quick"), false);
    EXPECT_EQ(json.at("table"), true);
    EXPECT_DOUBLE_EQ(json.at("flatness_rms_mm").get<double>(), 0.004);
    EXPECT_DOUBLE_EQ(json.at("flatness_noise_free_rms_mm").get<double>(), 0.0005);
    EXPECT_DOUBLE_EQ(json.at("probing_error_mm").get<double>(), 0.025);
    EXPECT_DOUBLE_EQ(json.at("probing_size_mm").get<double>(), -0.0015);
    EXPECT_DOUBLE_EQ(json.at("sphere_spacing_mm").get<double>(), 0.005);
    EXPECT_DOUBLE_EQ(json.at("sphere_spacing_noise_free_mm").get<double>(), 0.0002);
    EXPECT_DOUBLE_EQ(json.at("step_height_error_mm").get<double>(), 0.002);
    const auto& central = json.at("flatness").at(0).at("central_rms_mm");
    EXPECT_DOUBLE_EQ(central.at("standard_error").get<double>(), 0.001);
    EXPECT_NEAR(central.at("half_width_95").get<double>(), 0.012706, 1e-6); // t of one degree of freedom
    EXPECT_DOUBLE_EQ(json.at("codes").at(0).at("wrong_code_fraction").get<double>(), 0.0005);
    EXPECT_EQ(json.at("goals").at(0).at("met"), true);
}

TEST(AccuracyReport, OneSeedHasNoInterval)
{
    acceptance::AcceptanceResult result = MadeUp();
    result.flatness[0].noisy.resize(1);
    const auto central = ToJson({}, result).at("flatness").at(0).at("central_rms_mm");
    EXPECT_TRUE(central.at("standard_error").is_null());
    EXPECT_TRUE(central.at("half_width_95").is_null());
}

TEST(AccuracyReport, TableTellsIntervalsAndMissedGoals)
{
    std::ostringstream out;
    PrintAccuracyReport({{2, 7, 1.0}, false, false}, MadeUp(), out);
    const std::string text = out.str();
    EXPECT_NE(text.find("Means over 2 seeds from 7 with 1 times the sensor's noise +- 95 percent interval"),
              std::string::npos)
        << text;
    EXPECT_NE(text.find("0.00400 +- 0.01271 (0.00050)"), std::string::npos) << text;
    EXPECT_NE(text.find("wrong codes: plane, default                 0.00050, at most 0.00010  MISSED"),
              std::string::npos)
        << text;
    EXPECT_NE(text.find("coverage: plane, default                    0.99000, at least 0.97000\n"),
              std::string::npos)
        << text;
}

/// The colour at a pixel of a picture.
std::uint32_t ColourAt(const CCTImage& picture, int x, int y)
{
    LxCColorValueARGB8 colour;
    picture.GetPixelFast(x, y, &colour);
    return colour.GetARGB() & 0xFFFFFFU;
}

TEST(ErrorMaps, PaintPointsAtTheirPlacesByTheirDistances)
{
    std::vector<acceptance::FlatnessRuns> flats(5);
    flats[0].map = {{{20.0, 40.0}, -0.02}, {{60.0, 40.0}, 0.02}, {{100.0, 40.0}, 0.0}, {{100.0, 80.0}, 1.0}};
    flats[4].map = {{{20.0, 40.0}, -1.0}, {{-5.0, 2.0}, 0.0}, {{1e9, 1e9}, 0.0}, {{20.0, 1e300}, 0.0}};
    const CCTImage picture = PaintErrorMaps(flats, 200, 100, 0.02);
    // Maps of 100 by 50 pixels with 12 between them, below a title of 22; the legend takes 40.
    EXPECT_EQ(picture.GetWidth(), 4 * 112 + 12);
    EXPECT_EQ(picture.GetHeight(), 2 * 84 + 40);
    EXPECT_EQ(ColourAt(picture, 12 + 10, 22 + 20), 0x0000C8U);
    EXPECT_EQ(ColourAt(picture, 12 + 30, 22 + 20), 0xC80000U);
    EXPECT_EQ(ColourAt(picture, 12 + 50, 22 + 20), 0xFFFFFFU);
    EXPECT_EQ(ColourAt(picture, 12 + 50, 22 + 40), 0xC80000U); // beyond the scale
    EXPECT_EQ(ColourAt(picture, 12 + 80, 22 + 40), 0x282828U); // no point
    EXPECT_EQ(ColourAt(picture, 12 + 10, 22 + 84 + 20), 0x0000C8U);
}

TEST(ErrorMaps, DistancesThatAreNoNumbersAreHarmless)
{
    std::vector<acceptance::FlatnessRuns> flats(1);
    const double nan = std::numeric_limits<double>::quiet_NaN();
    flats[0].map = {{{nan, nan}, 0.0}, {{4.0, 4.0}, nan}};
    EXPECT_EQ(PaintErrorMaps(flats, 40, 40, 0.02).GetWidth(), 4 * 32 + 12);
}

int ExitCodeOf(std::vector<std::string> arguments)
{
    std::ostringstream out, err;
    arguments.insert(arguments.begin(), "accuracy");
    return RunLumorad(arguments, out, err);
}

TEST(AccuracyCommand, SenselessOptionsAreRefused)
{
    EXPECT_EQ(ExitCodeOf({"--seeds", "0"}), kExitUsage);
    EXPECT_EQ(ExitCodeOf({"--seeds", "-1"}), kExitUsage);
    EXPECT_EQ(ExitCodeOf({"--seeds", "1001"}), kExitUsage);
    EXPECT_EQ(ExitCodeOf({"--noise", "nan"}), kExitUsage);
    EXPECT_EQ(ExitCodeOf({"--noise", "-1"}), kExitUsage);
    EXPECT_EQ(ExitCodeOf({"extra"}), kExitUsage);
}

TEST(AccuracyCommand, AFolderThatCannotBeMadeEndsItBeforeAnyMeasurement)
{
    const TestSupport::CTemporaryFolder folder;
    const std::string file = folder / "file";
    TestSupport::WriteFile(file, "no folder");
    EXPECT_EQ(ExitCodeOf({"--out", file + "/below"}), kExitFailed);
}

} // namespace
} // namespace app
