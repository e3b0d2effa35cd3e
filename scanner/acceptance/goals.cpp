#include "scanner/acceptance/goals.h"

#include <algorithm>
#include <cmath>

namespace acceptance {

namespace {

constexpr double c_flatness = 0.0053;         // mm
constexpr double c_flatnessNoiseFree = 0.001; // mm
constexpr double c_spacing = 0.010;           // mm
constexpr double c_wrong = 1e-4;              // of the points
constexpr double c_wrongUnderStress = 1e-3;
constexpr double c_coverage = 0.97; // of the crossings
constexpr double c_coverageOfMolar = 0.92;

} // namespace

LargestSpacing LargestSpacingOf(const std::vector<Runs<SpacingFigures>>& placements)
{
    LargestSpacing largest;
    std::vector<double> bySeed;
    for (const Runs<SpacingFigures>& placement : placements) {
        largest.noiseFree = std::max(largest.noiseFree, std::abs(placement.noiseFree.spacing));
        bySeed.resize(std::max(bySeed.size(), placement.noisy.size()), 0.0);
        for (std::size_t seed = 0; seed < placement.noisy.size(); ++seed) {
            bySeed[seed] = std::max(bySeed[seed], std::abs(placement.noisy[seed].spacing));
        }
    }
    largest.noisy = Summarise(bySeed);
    return largest;
}

double WrongFractionOf(const Runs<CodeFigures>& runs)
{
    double wrong = 0.0, points = 0.0;
    for (const CodeFigures& figures : runs.noisy) {
        wrong += figures.wrong;
        points += figures.points;
    }
    return points > 0.0 ? wrong / points : 0.0;
}

std::vector<Goal> GoalsOf(const AcceptanceResult& result)
{
    const FlatnessRuns& reference = result.flatness.front();
    std::vector<Goal> goals{
        {"flatness, RMS of the centre at 33 mm", reference.Of(&FlatnessFigures::centralRms).mean, c_flatness},
        {"the same without noise", reference.noiseFree.centralRms, c_flatnessNoiseFree},
        {"sphere spacing, largest error", LargestSpacingOf(result.spacing).noisy.mean, c_spacing}};
    for (const Runs<CodeFigures>& codes : result.codes) {
        const bool isDefault = codes.name.ends_with(CodeConditions().front().name);
        goals.push_back(
            {"wrong codes: " + codes.name, WrongFractionOf(codes), isDefault ? c_wrong : c_wrongUnderStress});
        if (isDefault) {
            const bool isMolar = codes.name.starts_with("molar");
            goals.push_back({"coverage: " + codes.name, codes.Of(&CodeFigures::coverage).mean,
                             isMolar ? c_coverageOfMolar : c_coverage, true});
        }
    }
    return goals;
}

} // namespace acceptance
