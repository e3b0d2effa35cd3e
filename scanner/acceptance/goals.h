// What an acceptance test found, and the limits that it is held against.
#pragma once

#include "scanner/acceptance/acceptancetest.h"

#include <string>
#include <vector>

namespace acceptance {

struct AcceptanceResult
{
    std::vector<FlatnessRuns> flatness; ///< by the order of `FlatPoses`, the reference pose first
    Runs<BallFigures> probing;
    std::vector<Runs<SpacingFigures>> spacing;
    Runs<StepFigures> step;
    std::vector<Runs<CodeFigures>> codes;
};

/// The largest absolute sphere-spacing error (mm) over all placements: without noise, and for each seed.
struct LargestSpacing
{
    double noiseFree = 0.0;
    Summary noisy;
};

LargestSpacing LargestSpacingOf(const std::vector<Runs<SpacingFigures>>& placements);

/// Wrong points over all points of all seeds; 0 without points.
double WrongFractionOf(const Runs<CodeFigures>& runs);

/// A figure and its limit.
struct Goal
{
    std::string figure;
    double value = 0.0;
    double limit = 0.0;
    bool isLeast = false; ///< whether the value must reach the limit instead of staying within it

    bool IsMet() const { return isLeast ? value >= limit : value <= limit; }
};

/// The goals for all that was measured.
/// @param result with the reference pose and at least one placement
std::vector<Goal> GoalsOf(const AcceptanceResult& result);

} // namespace acceptance
