// Scenes in which a decoder can go wrong by their images: highlights, too much light, motion between the two.
#include "tests/scanner/hardscenesupport.h"

#include <cmath>
#include <string>

namespace acceptance {
namespace {

// Limits as in the tests of hard shapes: means over ten seeds plus, or for coverage minus, four times the spread from seed
// to seed, with the means above them.

/// A clipped reference makes the signal too strong where the pattern is not clipped, and the edges move towards the dark
/// side of their steps: by 0.02 mm where twice the light falls on a tooth, by up to 0.2 mm in a small bright highlight.
constexpr HardLimits kLight[] = {
    // 95.8 %, 4.6 wrong, 0.0284, 0.149 mm
    {"wet ball", 0.9552, 8, 0, 0.0286, 0.244},
    // 99.8 %, 0.0087, 0.099 mm
    {"wet molar", 0.9979, 0, 0, 0.0089, 0.104},
    // 99.7 %, 0.3 ghosts, 0.0118, 0.198 mm
    {"polished molar", 0.9966, 0, 3, 0.0121, 0.209},
    // 100.0 %, 0.0040, 0.026 mm
    {"molar, exposure 1.5", 0.9999, 0, 0, 0.0043, 0.042},
    // 100.0 %, 0.0138, 0.057 mm
    {"molar, exposure 2.0", 0.9999, 0, 0, 0.0139, 0.061},
    // 100.0 %, 0.0398, 0.107 mm
    {"molar, exposure 3.0", 0.9994, 0, 0, 0.0399, 0.112},
};

/// RMS of the points of a dry molar, 0.0052 mm, with the spread of the limits above.
constexpr double kDryRms = 0.0056;

/// RMS of the points that nothing clips, mm.
double RmsBeside(const HardFigures& figures)
{
    const auto squares = [](const PointErrors& errors) {
        return static_cast<double>(errors.points) * errors.rmsMm * errors.rmsMm;
    };
    const auto others = static_cast<double>(figures.all.points - figures.clipped.points);
    return std::sqrt((squares(figures.all) - squares(figures.clipped)) / others);
}

TEST(HardLight, HighlightsAndTooMuchLightMoveEdgesALittle)
{
    for (const HardLimits& limits : kLight) {
        const auto measured = MeasureTwice(limits.name);
        ExpectWithin(limits, measured);
        for (const HardFigures& figures : measured) {
            EXPECT_GT(figures.clipped.points, 200U) << limits.name;
            if (std::string(limits.name).ends_with("molar")) { // of which little is clipped
                EXPECT_LT(RmsBeside(figures), kDryRms) << limits.name;
            }
        }
    }
}

/// Where the reference image sees a shadow's border or the border of an object that is no longer there, the signal has a
/// step that is none of the pattern. Where the pattern has an edge of the same colours nearby, the step takes its place.
constexpr HardLimits kMotion[] = {
    // 97.5 %, 12.0 wrong, 15.4 ghosts, 0.0170, 0.534 mm
    {"wall moves away by 2 mm", 0.9726, 16, 18, 0.0185, 0.565},
    // 97.7 %, 0.2 wrong, 0.8 ghosts, 0.0084, 0.196 mm
    {"mottled wall moves by 0.3 mm", 0.9740, 2, 9, 0.0116, 0.442},
    // 91.3 %, 0.1 wrong, 0.0085, 0.100 mm
    {"finger moves by 0.8 mm", 0.9071, 2, 0, 0.0095, 0.154},
    // 87.5 %, 0.1 wrong, 0.0062, 0.082 mm
    {"finger comes", 0.8693, 2, 0, 0.0067, 0.099},
    // 94.0 %, 15.6 wrong, 19.7 ghosts, 0.0205, 0.580 mm
    {"finger goes", 0.9365, 19, 23, 0.0222, 0.610},
};

TEST(HardLight, MotionBetweenTheImagesHarmsLittleAndOnlyWhatMoves)
{
    for (const HardLimits& limits : kMotion) {
        const auto measured = MeasureTwice(limits.name);
        ExpectWithin(limits, measured);
        for (const HardFigures& figures : measured) {
            EXPECT_GT(figures.moved.points, 1500U) << limits.name;
            EXPECT_LE(figures.all.wrong, figures.moved.wrong + 1) << limits.name; // at the ball's limb
            EXPECT_EQ(figures.all.ghosts, figures.moved.ghosts) << limits.name;
        }
    }
}

} // namespace
} // namespace acceptance
