// Runs the acceptance test and writes its reports.
#include "scanner/app/accuracycommand.h"

#include "scanner/app/accuracyreport.h"
#include "scanner/app/commandtree.h"
#include "scanner/app/cornerreport.h"
#include "scanner/app/errormaps.h"
#include "scanner/app/hardreport.h"
#include "scanner/app/imagefiles.h"
#include "scanner/app/jsonreport.h"
#include "scanner/app/measurement.h"
#include "scanner/app/numberoption.h"

#include <CLI/CLI.hpp>

#include <filesystem>
#include <memory>
#include <ostream>
#include <sstream>
#include <string>
#include <vector>

namespace app {

namespace {

using acceptance::AcceptanceResult;
using acceptance::BarPlacement;
using acceptance::CodeCondition;
using acceptance::FlatPose;
using acceptance::Instrument;
using acceptance::Repetitions;

const std::vector<std::string> c_codeScenes{"plane", "sphere", "molar"};
constexpr double c_mapScale = 0.02; // mm

struct AccuracyOptions : AccuracySettings
{
    std::filesystem::path out = "out/accuracy";
    bool hard = false; ///< whether hard scenes are measured instead of artefacts
    bool json = false;
};

decoder::DecoderConfig ConfigOf(const AccuracyOptions& options)
{
    decoder::DecoderConfig config;
    config.useTable = options.table;
    return config;
}

std::vector<CodeCondition> ConditionsOf(const AccuracyOptions& options)
{
    std::vector<CodeCondition> conditions = acceptance::CodeConditions();
    if (options.quick) {
        conditions.resize(1);
    }
    return conditions;
}

AcceptanceResult RunTest(const AccuracyOptions& options)
{
    const Repetitions& repetitions = options.repetitions;
    const std::vector<FlatPose> flats = acceptance::FlatPoses();
    const std::vector<BarPlacement> bars = acceptance::BarPlacements();
    const std::vector<CodeCondition> conditions = ConditionsOf(options);
    const std::size_t stages = flats.size() + bars.size() + conditions.size() * c_codeScenes.size() + 2;
    Progress progress(static_cast<int>(stages));
    AcceptanceResult result;
    Instrument instrument({}, ConfigOf(options));
    for (const FlatPose& pose : flats) {
        progress.Run("flat " + pose.name,
                     [&] { result.flatness.push_back(MeasureFlatness(instrument, pose, repetitions)); });
    }
    progress.Run("ball", [&] { result.probing = MeasureProbing(instrument, repetitions); });
    for (const BarPlacement& bar : bars) {
        progress.Run("bar " + bar.name,
                     [&] { result.spacing.push_back(MeasureSpacing(instrument, bar, repetitions)); });
    }
    progress.Run("step", [&] { result.step = MeasureStep(instrument, repetitions); });
    for (const CodeCondition& condition : conditions) {
        Instrument conditioned(DeviceUnder(condition, {}), ConfigOf(options));
        for (const std::string& scene : c_codeScenes) {
            progress.Run(scene + ", " + condition.name, [&] {
                result.codes.push_back(CountCodes(conditioned, scene, condition, repetitions));
            });
        }
    }
    return result;
}

std::vector<HardResult> RunHardScenes(const AccuracyOptions& options)
{
    std::vector<device::Exposure> exposures;
    for (std::size_t index = 0; index < options.repetitions.seeds; ++index) {
        exposures.push_back({options.repetitions.noise, options.repetitions.firstSeed + index});
    }
    const std::vector<acceptance::HardScene> scenes = acceptance::HardScenes();
    Progress progress(static_cast<int>(scenes.size()));
    std::vector<HardResult> results;
    for (const acceptance::HardScene& scene : scenes) {
        progress.Run(scene.name, [&] {
            results.push_back({scene.name, MeasureHardScene(scene, {}, exposures, ConfigOf(options))});
        });
    }
    return results;
}

void MeasureHardScenes(const AccuracyOptions& options, std::ostream& out)
{
    const std::vector<HardResult> results = RunHardScenes(options);
    std::ostringstream text;
    PrintJson(text, ToJson(options, results));
    WriteText(options.out / "hard.json", text.str());
    if (options.json) {
        out << text.str();
    } else {
        PrintHardReport(options, results, out);
        out << "Wrote hard.json to " << options.out.string() << "\n";
    }
}

void MeasureArtefacts(const AccuracyOptions& options, std::ostream& out)
{
    const AcceptanceResult result = RunTest(options);
    const device::LensParameters camera = device::DeviceParameters().camera;
    const std::filesystem::path picture = options.out / "flatness.png";
    WritePicture(PaintErrorMaps(result.flatness, camera.width, camera.height, c_mapScale), picture);
    nlohmann::ordered_json json = ToJson(options, result);
    json["picture"] = picture.string();
    std::ostringstream text;
    PrintJson(text, json);
    WriteText(options.out / "accuracy.json", text.str());
    if (options.json) {
        out << text.str();
    } else {
        PrintAccuracyReport(options, result, out);
        out << "Wrote flatness.png and accuracy.json to " << options.out.string() << "\n";
    }
}

void MeasureAccuracy(AccuracyOptions options, bool hasSeeds, std::ostream& out)
{
    if (options.quick && !hasSeeds) {
        options.repetitions.seeds = 1;
    }
    CreateFolder(options.out);
    if (options.hard) {
        MeasureHardScenes(options, out);
    } else {
        MeasureArtefacts(options, out);
    }
}

} // namespace

TargetCommand AddAccuracyCommand(CLI::App& program)
{
    constexpr std::size_t mostSeeds = 1000;
    const auto options = std::make_shared<AccuracyOptions>();
    CLI::App* const parser = program.add_subcommand(
        "accuracy", "Run an acceptance test after VDI/VDE 2634 part 2 on the virtual device");
    parser->option_defaults()->take_last();
    CLI::Option* const seeds =
        parser
            ->add_option("--seeds", options->repetitions.seeds, "How often everything is measured with noise")
            ->check(IsBetween<std::size_t>(1, mostSeeds))
            ->capture_default_str();
    AddNoiseFactorOption(*parser, options->repetitions.noise);
    parser->add_flag(
        "--quick", options->quick,
        "One seed if --seeds does not tell another number, and codes under the default conditions alone");
    parser->add_flag(
        "--hard", options->hard,
        "Measure scenes with occlusion, grazing sight, highlights, too much light, motion or no object "
        "instead");
    parser->add_flag("--table", options->table, "Look points up in a table instead of computing each");
    parser
        ->add_option("--out", options->out,
                     "Folder for the picture and the figures, made where it is missing")
        ->type_name(kFolderType)
        ->capture_default_str();
    parser->add_flag("--json", options->json, "Print the figures as JSON");
    return [parser, seeds, options](std::ostream& out) {
        if (parser->parsed()) {
            MeasureAccuracy(*options, seeds->count() > 0, out);
        }
    };
}

} // namespace app
