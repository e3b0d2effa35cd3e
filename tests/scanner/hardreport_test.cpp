#include "scanner/app/hardreport.h"

#include <gtest/gtest.h>

#include <cmath>
#include <sstream>
#include <vector>

namespace app {
namespace {

/// Two seeds of a scene and one of nothing.
std::vector<HardResult> MadeUp()
{
    acceptance::HardFigures first, second;
    first.all = {1000, 2, 1, 0.003, 0.25};
    first.clipped = {100, 1, 1, 0.01, 0.25};
    first.coverage = 0.98;
    second.all = {3000, 0, 0, 0.005, 0.02};
    second.coverage = 0.96;
    return {{"a scene", {first, second}}, {"nothing", {{}}}};
}

TEST(HardReport, JsonPoolsThePointsOfAllSeeds)
{
    const nlohmann::ordered_json json = ToJson({{2, 7, 1.5}, false, true}, MadeUp());
    EXPECT_EQ(json.at("seeds"), 2);
    EXPECT_EQ(json.at("first_seed"), 7);
    EXPECT_EQ(json.at("noise"), 1.5);
    EXPECT_EQ(json.at("table"), true);
    const auto& scene = json.at("hard_scenes").at(0);
    EXPECT_EQ(scene.at("scene"), "a scene");
    EXPECT_DOUBLE_EQ(scene.at("points").get<double>(), 2000.0);
    EXPECT_DOUBLE_EQ(scene.at("coverage").get<double>(), 0.97);
    EXPECT_DOUBLE_EQ(scene.at("wrong_code_fraction").get<double>(), 2.0 / 4000.0);
    EXPECT_DOUBLE_EQ(scene.at("ghost_fraction").get<double>(), 1.0 / 4000.0);
    EXPECT_DOUBLE_EQ(scene.at("rms_mm").get<double>(),
                     std::sqrt((1000.0 * 0.003 * 0.003 + 3000.0 * 0.005 * 0.005) / 4000.0));
    EXPECT_EQ(scene.at("worst_mm"), 0.25);
    EXPECT_DOUBLE_EQ(scene.at("clipped").at("points").get<double>(), 50.0);
    EXPECT_EQ(scene.at("in_shadow").at("points"), 0.0);
    EXPECT_EQ(scene.at("moved").at("rms_mm"), 0.0);
    const auto& nothing = json.at("hard_scenes").at(1);
    for (const char* key :
         {"points", "coverage", "wrong_code_fraction", "ghost_fraction", "rms_mm", "worst_mm"}) {
        EXPECT_EQ(nothing.at(key), 0.0) << key;
    }
}

TEST(HardReport, TableHasALineForEachScene)
{
    std::ostringstream out;
    PrintHardReport({{2, 7, 1.0}, false, false}, MadeUp(), out);
    EXPECT_EQ(out.str(),
              "Over 2 seeds from 7 with 1 times the sensor's noise; wrong codes and ghosts in 10,000 points\n"
              "  scene                               points coverage, %       wrong      ghosts     RMS, mm  "
              " worst, mm\n"
              "  a scene                               2000       97.00        5.00        2.50      0.0046  "
              "    0.2500\n"
              "  nothing                                  0        0.00        0.00        0.00      0.0000  "
              "    0.0000\n");
}

} // namespace
} // namespace app
