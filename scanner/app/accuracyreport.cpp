// Tables and JSON of an acceptance test.
#include "scanner/app/accuracyreport.h"

#include <cmath>
#include <iomanip>
#include <locale>
#include <optional>
#include <ostream>
#include <sstream>
#include <string>
#include <vector>

namespace app {

using acceptance::AcceptanceResult;
using acceptance::BallFigures;
using acceptance::CodeFigures;
using acceptance::FlatnessFigures;
using acceptance::FlatnessRuns;
using acceptance::Goal;
using acceptance::LargestSpacing;
using acceptance::Runs;
using acceptance::SpacingFigures;
using acceptance::StepFigures;
using acceptance::Summary;
using nlohmann::ordered_json;

namespace {

ordered_json SummaryToJson(const Summary& summary)
{
    ordered_json json;
    json["mean"] = summary.mean;
    json["standard_error"] = summary.standardError ? ordered_json(*summary.standardError) : ordered_json();
    json["half_width_95"] = summary.halfWidth ? ordered_json(*summary.halfWidth) : ordered_json();
    json["least"] = summary.least;
    json["greatest"] = summary.greatest;
    return json;
}

/// One figure with noise, and without it.
template <typename Figures>
ordered_json FigureToJson(const Runs<Figures>& runs, double Figures::*figure)
{
    ordered_json json = SummaryToJson(runs.Of(figure));
    json["noise_free"] = runs.noiseFree.*figure;
    return json;
}

ordered_json FlatnessToJson(const FlatnessRuns& flat)
{
    return {{"pose", flat.name},
            {"points", flat.Of(&FlatnessFigures::points).mean},
            {"rms_mm", FigureToJson(flat, &FlatnessFigures::rms)},
            {"range_mm", FigureToJson(flat, &FlatnessFigures::range)},
            {"rms_of_all_mm", FigureToJson(flat, &FlatnessFigures::rmsOfAll)},
            {"central_points", flat.Of(&FlatnessFigures::centralPoints).mean},
            {"central_rms_mm", FigureToJson(flat, &FlatnessFigures::centralRms)},
            {"central_range_mm", FigureToJson(flat, &FlatnessFigures::centralRange)}};
}

ordered_json SpacingToJson(const Runs<SpacingFigures>& placement)
{
    return {{"placement", placement.name},
            {"spacing_mm", FigureToJson(placement, &SpacingFigures::spacing)},
            {"spacing_known_radius_mm", FigureToJson(placement, &SpacingFigures::knownRadius)},
            {"form_mm", FigureToJson(placement, &SpacingFigures::form)},
            {"size_mm", FigureToJson(placement, &SpacingFigures::size)}};
}

ordered_json CodesToJson(const Runs<CodeFigures>& codes)
{
    return {{"scene", codes.name},
            {"points", codes.Of(&CodeFigures::points).mean},
            {"wrong_code_fraction", acceptance::WrongFractionOf(codes)},
            {"wrong_codes", SummaryToJson(codes.Of(&CodeFigures::wrong))},
            {"coverage", SummaryToJson(codes.Of(&CodeFigures::coverage))}};
}

ordered_json GoalToJson(const Goal& goal)
{
    return {{"figure", goal.figure},
            {"value", goal.value},
            {goal.isLeast ? "at_least" : "at_most", goal.limit},
            {"met", goal.IsMet()}};
}

template <typename Items, typename Convert>
ordered_json ListToJson(const Items& items, const Convert& convert)
{
    ordered_json json = ordered_json::array();
    for (const auto& item : items) {
        json.push_back(convert(item));
    }
    return json;
}

/// Mean and interval; with the value without noise in brackets.
std::string Text(const Summary& summary, std::optional<double> noiseFree)
{
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text << std::fixed << std::setprecision(5) << summary.mean;
    if (summary.halfWidth) {
        text << " +- " << *summary.halfWidth;
    }
    if (noiseFree) {
        text << " (" << *noiseFree << ")";
    }
    return text.str();
}

template <typename Figures>
std::string Text(const Runs<Figures>& runs, double Figures::*figure)
{
    return Text(runs.Of(figure), runs.noiseFree.*figure);
}

/// A line: a name and cells.
void PrintRow(std::ostream& out, const std::string& name, const std::vector<std::string>& cells)
{
    constexpr int nameWidth = 30, cellWidth = 33;
    out << "  " << std::left << std::setw(nameWidth) << name;
    for (std::size_t index = 0; index < cells.size(); ++index) {
        out << std::setw(index + 1 < cells.size() ? cellWidth : 0) << cells[index];
    }
    out << std::right << "\n";
}

void PrintCodes(const std::vector<Runs<CodeFigures>>& codes, std::ostream& out)
{
    constexpr double percent = 100.0;
    out << "Codes\n";
    PrintRow(out, "", {"wrong points", "wrong, 1 in 10,000", "coverage, percent"});
    for (const Runs<CodeFigures>& runs : codes) {
        constexpr double tenThousand = 1e4;
        std::ostringstream fraction, coverage;
        const Summary covered = runs.Of(&CodeFigures::coverage);
        fraction << std::fixed << std::setprecision(2) << tenThousand * acceptance::WrongFractionOf(runs);
        coverage << std::fixed << std::setprecision(2) << percent * covered.mean;
        if (covered.halfWidth) {
            coverage << " +- " << percent * *covered.halfWidth;
        }
        const Summary wrong = runs.Of(&CodeFigures::wrong);
        std::ostringstream count;
        count << std::fixed << std::setprecision(1) << wrong.mean << " of " << std::setprecision(0)
              << runs.Of(&CodeFigures::points).mean;
        PrintRow(out, runs.name, {count.str(), fraction.str(), coverage.str()});
    }
}

void PrintGoals(const std::vector<Goal>& goals, std::ostream& out)
{
    out << "Goals\n";
    for (const Goal& goal : goals) {
        constexpr int width = 44;
        out << "  " << std::left << std::setw(width) << goal.figure << std::right << std::fixed
            << std::setprecision(5) << goal.value << (goal.isLeast ? ", at least " : ", at most ")
            << goal.limit << (goal.IsMet() ? "" : "  MISSED") << "\n";
    }
}

void PrintArtefacts(const AcceptanceResult& result, std::ostream& out)
{
    out << "Flats, mm\n";
    PrintRow(out, "", {"RMS of the centre", "RMS", "F, range"});
    for (const FlatnessRuns& flat : result.flatness) {
        PrintRow(out, flat.name,
                 {Text(flat, &FlatnessFigures::centralRms), Text(flat, &FlatnessFigures::rms),
                  Text(flat, &FlatnessFigures::range)});
    }
    out << "Ball of " << 2.0 * acceptance::c_ballRadius << " mm, mm\n";
    PrintRow(out, "", {"PF, range", "PF, RMS", "PS"});
    PrintRow(out, "probing error",
             {Text(result.probing, &BallFigures::form), Text(result.probing, &BallFigures::formRms),
              Text(result.probing, &BallFigures::size)});
    out << "Bar of " << acceptance::c_barLength << " mm, mm\n";
    PrintRow(out, "", {"SD", "SD, known radius", "PF of its balls"});
    for (const Runs<SpacingFigures>& placement : result.spacing) {
        PrintRow(out, placement.name,
                 {Text(placement, &SpacingFigures::spacing), Text(placement, &SpacingFigures::knownRadius),
                  Text(placement, &SpacingFigures::form)});
    }
    const LargestSpacing largest = acceptance::LargestSpacingOf(result.spacing);
    PrintRow(out, "largest of them", {Text(largest.noisy, largest.noiseFree)});
    out << "Step of " << acceptance::c_stepHeight << " mm, mm\n";
    PrintRow(out, "", {"error of the height", "RMS"});
    PrintRow(out, "step", {Text(result.step, &StepFigures::height), Text(result.step, &StepFigures::rms)});
}

} // namespace

ordered_json ToJson(const AccuracySettings& settings, const AcceptanceResult& result)
{
    const FlatnessRuns& reference = result.flatness.front();
    const LargestSpacing spacing = acceptance::LargestSpacingOf(result.spacing);
    ordered_json json;
    json["seeds"] = settings.repetitions.seeds;
    json["first_seed"] = settings.repetitions.firstSeed;
    json["noise"] = settings.repetitions.noise;
    json["quick"] = settings.quick;
    json["table"] = settings.table;
    json["flatness_rms_mm"] = reference.Of(&FlatnessFigures::centralRms).mean;
    json["flatness_noise_free_rms_mm"] = reference.noiseFree.centralRms;
    json["flatness_range_mm"] = reference.Of(&FlatnessFigures::centralRange).mean;
    json["probing_error_mm"] = result.probing.Of(&BallFigures::form).mean;
    json["probing_error_rms_mm"] = result.probing.Of(&BallFigures::formRms).mean;
    json["probing_size_mm"] = result.probing.Of(&BallFigures::size).mean;
    json["sphere_spacing_mm"] = spacing.noisy.mean;
    json["sphere_spacing_noise_free_mm"] = spacing.noiseFree;
    json["step_height_error_mm"] = result.step.Of(&StepFigures::height).mean;
    json["flatness"] = ListToJson(result.flatness, FlatnessToJson);
    json["probing"] = {{"points", result.probing.Of(&BallFigures::points).mean},
                       {"form_mm", FigureToJson(result.probing, &BallFigures::form)},
                       {"form_rms_mm", FigureToJson(result.probing, &BallFigures::formRms)},
                       {"size_mm", FigureToJson(result.probing, &BallFigures::size)}};
    json["spacing"] = ListToJson(result.spacing, SpacingToJson);
    json["spacing_largest_mm"] = SummaryToJson(spacing.noisy);
    json["step"] = {{"height_error_mm", FigureToJson(result.step, &StepFigures::height)},
                    {"rms_mm", FigureToJson(result.step, &StepFigures::rms)}};
    json["codes"] = ListToJson(result.codes, CodesToJson);
    json["goals"] = ListToJson(acceptance::GoalsOf(result), GoalToJson);
    return json;
}

void PrintAccuracyReport(const AccuracySettings& settings, const AcceptanceResult& result, std::ostream& out)
{
    const acceptance::Repetitions& repetitions = settings.repetitions;
    out << "Means over " << repetitions.seeds << " seeds from " << repetitions.firstSeed << " with "
        << repetitions.noise << " times the sensor's noise"
        << (repetitions.seeds > 1 ? " +- 95 percent interval" : "") << "; without noise in brackets\n";
    PrintArtefacts(result, out);
    PrintCodes(result.codes, out);
    PrintGoals(acceptance::GoalsOf(result), out);
}

} // namespace app
