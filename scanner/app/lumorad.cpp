// Arguments, commands and reports.
#include "scanner/app/lumorad.h"

#include "scanner/app/measurement.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <exception>
#include <iomanip>
#include <ostream>

namespace app {

namespace {

constexpr int kDemoStages = 8;
constexpr int kRenderStages = 2;
constexpr double kLargestNoise = 100.0;

using StageTimes = std::vector<std::pair<std::string, double>>;

nlohmann::ordered_json ToJson(const SceneOptions& options, const Accuracy& accuracy, const StageTimes& times)
{
    nlohmann::ordered_json json;
    json["scene"] = options.scene;
    json["seed"] = options.seed;
    json["noise"] = options.noise;
    json["points"] = accuracy.points;
    json["crossings"] = accuracy.seenCrossings;
    json["coverage"] = accuracy.coverage;
    json["mean_mm"] = accuracy.meanMm;
    json["rms_mm"] = accuracy.rmsMm;
    json["p95_mm"] = accuracy.p95Mm;
    json["rms_all_mm"] = accuracy.rmsAllMm;
    json["wrong_code_fraction"] = accuracy.wrongCodeFraction;
    for (const auto& [stage, milliseconds] : times) {
        json["stages_ms"][stage] = milliseconds;
    }
    json["out"] = options.out.string();
    return json;
}

void PrintReport(std::ostream& out, const SceneOptions& options, const Accuracy& accuracy,
                 const StageTimes& times)
{
    constexpr int kLabelWidth = 18;
    const auto label = [&out](const std::string& text) -> std::ostream& {
        return out << "  " << std::left << std::setw(kLabelWidth) << text << std::right;
    };
    const auto percent = [](double share) { return 100.0 * share; };
    out << std::fixed << "Scene " << options.scene << ", seed " << options.seed << ", noise "
        << std::setprecision(2) << options.noise << "\n";
    label("points") << accuracy.points << "\n";
    label("coverage") << std::setprecision(1) << percent(accuracy.coverage) << " % of "
                      << accuracy.seenCrossings << " edge crossings\n";
    label("wrong codes") << std::setprecision(3) << percent(accuracy.wrongCodeFraction)
                         << " % of the points\n";
    out << std::setprecision(4);
    label("error, mean") << accuracy.meanMm << " mm\n";
    label("error, RMS") << accuracy.rmsMm << " mm\n";
    label("error, 95 percent") << accuracy.p95Mm << " mm\n";
    out << "Stages\n" << std::setprecision(1);
    for (const auto& [stage, milliseconds] : times) {
        label(stage) << std::setw(8) << milliseconds << " ms\n";
    }
    out << "Files are in " << options.out.string() << "\n";
}

void RunRender(const SceneOptions& options, bool json, std::ostream& out)
{
    Progress progress(kRenderStages);
    std::optional<Rendering> rendering;
    progress.Run("render", [&] { rendering.emplace(Render(options)); });
    progress.Run("write", [&] { WriteRendering(*rendering, options.out); });
    if (json) {
        nlohmann::ordered_json report;
        report["scene"] = options.scene;
        report["seed"] = options.seed;
        report["noise"] = options.noise;
        report["crossings"] = rendering->pair.truth.CountSeenCrossings();
        report["out"] = options.out.string();
        out << report.dump(2) << "\n";
    } else {
        out << "Wrote reference.png, pattern.png and model.txt to " << options.out.string() << "\n";
    }
}

void RunDemo(const SceneOptions& options, bool json, std::ostream& out)
{
    StageTimes times;
    Measurement measurement;
    {
        Progress progress(kDemoStages);
        std::optional<Rendering> rendering;
        progress.Run("render", [&] { rendering.emplace(Render(options)); });
        WriteRendering(*rendering, options.out);
        measurement = Measure(*rendering, options.out / "model.txt", progress);
        progress.Run("write", [&] { WriteMeasurement(*rendering, measurement, options.out); });
        times = progress.GetTimes();
    }
    if (json) {
        out << ToJson(options, measurement.accuracy, times).dump(2) << "\n";
    } else {
        PrintReport(out, options, measurement.accuracy, times);
    }
}

void AddSceneOptions(CLI::App& command, SceneOptions& options, bool& json)
{
    command.add_option("--scene", options.scene, "What the camera looks at")
        ->check(CLI::IsMember(device::SceneNames()))
        ->capture_default_str();
    command.add_option("--seed", options.seed, "Seed of the noise")->capture_default_str();
    command.add_option("--noise", options.noise, "Factor on the sensor's noise; 0 for none")
        ->check(CLI::Range(0.0, kLargestNoise))
        ->capture_default_str();
    command.add_option("--out", options.out, "Folder for the results")->capture_default_str();
    command.add_flag("--json", json, "Print the figures as JSON");
}

} // namespace

int RunLumorad(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err)
{
    CLI::App program("Single-shot 3D measurement with colour-coded stripes", "lumorad");
    program.require_subcommand(1);
    SceneOptions options;
    bool json = false;
    CLI::App* demo =
        program.add_subcommand("demo", "Render an image pair, measure it, compare with the truth");
    CLI::App* render = program.add_subcommand("render", "Render an image pair and write the device's model");
    AddSceneOptions(*demo, options, json);
    AddSceneOptions(*render, options, json);
    try {
        program.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
    } catch (const CLI::ParseError& error) {
        return program.exit(error, out, err) == 0 ? kExitDone : kExitUsage;
    }
    try {
        if (demo->parsed()) {
            RunDemo(options, json, out);
        } else if (render->parsed()) {
            RunRender(options, json, out);
        }
    } catch (const std::exception& error) {
        err << "lumorad: " << error.what() << "\n";
        return kExitFailed;
    }
    return kExitDone;
}

} // namespace app
