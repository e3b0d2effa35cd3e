// Hard scenes held against their limits.
#pragma once

#include "scanner/acceptance/hardscenes.h"
#include "tests/scanner/smalldevice.h"

#include <gtest/gtest.h>

#include <span>
#include <stdexcept>
#include <string>
#include <vector>

namespace acceptance {

/// What a scene may give at the worst, in each exposure.
struct HardLimits
{
    const char* name;
    double coverage; ///< at least
    std::size_t wrong;
    std::size_t ghosts;
    double rmsMm;
    double worstMm;
};

inline HardScene FindHardScene(const std::string& name)
{
    for (HardScene& scene : HardScenes()) {
        if (scene.name == name) {
            return scene;
        }
    }
    throw std::invalid_argument("no such scene: " + name);
}

/// A window of all rows, in which all hard scenes show what is hard about them.
inline device::DeviceParameters HardWindow()
{
    return device::SmallDevice(160, 494);
}

/// Measures a scene with the default noise of two seeds.
inline std::vector<HardFigures> MeasureTwice(const std::string& name)
{
    const std::vector<device::Exposure> exposures{{1.0, 1}, {1.0, 2}};
    return MeasureHardScene(FindHardScene(name), HardWindow(), exposures);
}

inline void ExpectWithin(const HardLimits& limits, std::span<const HardFigures> measured)
{
    for (const HardFigures& figures : measured) {
        EXPECT_GE(figures.coverage, limits.coverage) << limits.name;
        EXPECT_LE(figures.all.wrong, limits.wrong) << limits.name;
        EXPECT_LE(figures.all.ghosts, limits.ghosts) << limits.name;
        EXPECT_LE(figures.all.rmsMm, limits.rmsMm) << limits.name;
        EXPECT_LE(figures.all.worstMm, limits.worstMm) << limits.name;
        EXPECT_EQ(figures.unlit.points, 0U) << limits.name << ": a point in the shadow";
    }
}

} // namespace acceptance
