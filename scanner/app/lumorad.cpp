// Arguments, commands and reports.
#include "scanner/app/lumorad.h"

#include "scanner/app/accuracycommand.h"
#include "scanner/app/calibratecheckcommand.h"
#include "scanner/app/colourcommands.h"
#include "scanner/app/commandtree.h"
#include "scanner/app/demoreport.h"
#include "scanner/app/hostsettings.h"
#include "scanner/app/imagesources.h"
#include "scanner/app/infocommand.h"
#include "scanner/app/jsonreport.h"
#include "scanner/app/measurement.h"
#include "scanner/app/meshoptions.h"
#include "scanner/app/modelcommands.h"
#include "scanner/app/mtfcommand.h"
#include "scanner/app/pagecommands.h"
#include "scanner/app/pairoptions.h"
#include "scanner/app/rendertarget.h"
#include "scanner/app/scancommand.h"
#include "scanner/app/targetcommands.h"
#include "scanner/app/truthfiles.h"
#include "scanner/app/usagemessage.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <exception>
#include <filesystem>
#include <iomanip>
#include <memory>
#include <ostream>
#include <stdexcept>

namespace app {

namespace {

constexpr int kDemoStages = 14;
constexpr int kRenderStages = 3;

using acquisition::Rendering;

/// What both commands work on.
struct SceneOptions : acquisition::PairOptions
{
    std::filesystem::path out = "out/demo";
    bool json = false;
};

using StageTimes = std::vector<std::pair<std::string, double>>;

/// What both commands tell of their arguments.
nlohmann::ordered_json SceneToJson(const Rendering& rendering)
{
    nlohmann::ordered_json json;
    json["scene"] = rendering.options.scene;
    json["seed"] = rendering.options.seed;
    json["noise"] = rendering.options.noise;
    if (rendering.mesh != nullptr) {
        json["mesh"] = MeshToJson(rendering);
    }
    return json;
}

nlohmann::ordered_json ToJson(const SceneOptions& options, const Rendering& rendering,
                              const std::string& source, const Measurement& measurement,
                              const StageTimes& times)
{
    const Accuracy& accuracy = measurement.accuracy;
    nlohmann::ordered_json json = SceneToJson(rendering);
    json["source"] = source;
    json["points"] = accuracy.points;
    json["crossings"] = accuracy.seenCrossings;
    json["coverage"] = accuracy.coverage;
    const auto ofPoints = [&accuracy](double figure) { // null where there are none
        return accuracy.points > 0 ? nlohmann::ordered_json(figure) : nlohmann::ordered_json();
    };
    json["mean_mm"] = ofPoints(accuracy.meanMm);
    json["rms_mm"] = ofPoints(accuracy.rmsMm);
    json["p95_mm"] = ofPoints(accuracy.p95Mm);
    json["wrong_code_fraction"] = ofPoints(accuracy.wrongCodeFraction);
    json["rms_right_code_mm"] = ofPoints(accuracy.rmsRightCodeMm);
    json["exact"] = !measurement.table.has_value();
    if (measurement.table.has_value()) {
        json["table_largest_mm"] = ofPoints(measurement.table->largestMm);
        json["table_rms_mm"] = ofPoints(measurement.table->rmsMm);
    }
    for (const auto& [stage, milliseconds] : times) {
        json["stages_ms"][stage] = milliseconds;
    }
    json["out"] = options.out.string();
    return json;
}

std::ostream& BeginLine(std::ostream& out, const std::string& text)
{
    constexpr int kLabelWidth = 18;
    return out << "  " << std::left << std::setw(kLabelWidth) << text << std::right;
}

/// How far the points, of which there are some, are from the truth and from computed ones.
void PrintDeviations(std::ostream& out, const Measurement& measurement)
{
    const Accuracy& accuracy = measurement.accuracy;
    const auto label = [&out](const std::string& text) -> std::ostream& { return BeginLine(out, text); };
    label("wrong codes") << std::setprecision(3) << 100.0 * accuracy.wrongCodeFraction
                         << " % of the points\n";
    out << std::setprecision(4);
    label("error, mean") << accuracy.meanMm << " mm\n";
    label("error, RMS") << accuracy.rmsMm << " mm (" << accuracy.rmsRightCodeMm
                        << " mm without wrong codes)\n";
    label("error, 95 percent") << accuracy.p95Mm << " mm\n";
    if (measurement.table.has_value()) {
        const TableDeviation& table = *measurement.table;
        label("table") << std::setprecision(5) << "at most " << table.largestMm
                       << " mm from computed points, RMS " << table.rmsMm << " mm\n";
    }
}

void PrintReport(std::ostream& out, const SceneOptions& options, const std::string& source,
                 const Measurement& measurement, const StageTimes& times)
{
    const Accuracy& accuracy = measurement.accuracy;
    const auto label = [&out](const std::string& text) -> std::ostream& { return BeginLine(out, text); };
    out << std::fixed << "Scene " << options.scene << ", seed " << options.seed << ", noise "
        << std::setprecision(2) << options.noise << "\n";
    label("source") << source << "\n";
    label("points") << accuracy.points << "\n";
    label("coverage") << std::setprecision(1) << 100.0 * accuracy.coverage << " % of "
                      << accuracy.seenCrossings << " edge crossings\n";
    if (accuracy.points > 0) {
        PrintDeviations(out, measurement);
    } else {
        out << "There are no points, so no errors can be told; see that the object stands within the working "
               "range of the device, and that the noise is not too large\n";
    }
    out << "Stages\n" << std::setprecision(1);
    for (const auto& [stage, milliseconds] : times) {
        label(stage) << std::setw(8) << milliseconds << " ms\n";
    }
    out << "Files are in " << options.out.string() << "\n";
}

void RunRender(const SceneOptions& options, std::ostream& out)
{
    CreateFolder(options.out);
    std::optional<Rendering> rendering;
    {
        Progress progress(kRenderStages);
        progress.Run("render",
                     [&] { rendering.emplace(Render(std::make_shared<device::VirtualDevice>(), options)); });
        progress.Run("write images", [&] { WriteRendering(*rendering, options.out); });
        progress.Run("write truth", [&] { WriteTruth(*rendering, options.out); });
    }
    if (options.json) {
        nlohmann::ordered_json report = SceneToJson(*rendering);
        report["crossings"] = rendering->pair.truth.CountSeenCrossings();
        report["out"] = options.out.string();
        PrintJson(out, report);
    } else {
        if (rendering->mesh != nullptr) {
            PrintMesh(out, *rendering);
        }
        out << "Wrote reference.png, pattern.png, model.txt, depth.pfm and truth.ply to "
            << options.out.string() << "\n";
    }
}

/// An image pair with its truth, rendered and taken through an image source.
struct Acquisition
{
    std::shared_ptr<const Rendering> rendering;
    acquisition::ImagePair images;
};

/// The pair as the virtual device delivers it.
Acquisition AcquireFromDevice(const SceneOptions& options, Progress& progress)
{
    Acquisition result;
    std::unique_ptr<acquisition::VirtualFrameGrabber> grabber;
    progress.Run("render", [&] {
        grabber = OpenVirtual(options);
        result.rendering = grabber->GetRendering();
    });
    progress.Run("write images", [&] { WriteRendering(*result.rendering, options.out); });
    progress.Run("acquire", [&] { result.images = acquisition::AcquirePair(*grabber); });
    return result;
}

/// The pair as it is replayed from the files that the program writes.
Acquisition AcquireFromFiles(const SceneOptions& options, Progress& progress)
{
    Acquisition result;
    std::vector<std::filesystem::path> files;
    progress.Run("render", [&] {
        result.rendering =
            std::make_shared<const Rendering>(Render(std::make_shared<device::VirtualDevice>(), options));
    });
    progress.Run("write images", [&] {
        WriteRendering(*result.rendering, options.out);
        files = WriteReplayFiles(*result.rendering, options.out);
    });
    progress.Run("acquire",
                 [&] { result.images = acquisition::AcquirePair(*OpenReplay(*result.rendering, files)); });
    return result;
}

/// How the demo measures and what it writes.
struct DemoOptions : SceneOptions
{
    std::string source = kVirtualSource;
    bool exact = false;
    bool noPage = false;
};

void RunDemo(const DemoOptions& options, std::ostream& out)
{
    CreateFolder(options.out);
    StageTimes times;
    Measurement measurement;
    Acquisition acquired;
    {
        Progress progress(kDemoStages);
        const auto acquire = options.source == kSimulatedSource ? AcquireFromFiles : AcquireFromDevice;
        acquired = acquire(options, progress);
        const Rendering& rendering = *acquired.rendering;
        const ETriangulation triangulation =
            options.exact ? ETriangulation::eComputed : ETriangulation::eTable;
        measurement = Measure(acquired.images, rendering, options.out / "model.txt", triangulation, progress);
        progress.Run("write results", [&] { WriteMeasurement(rendering, measurement, options.out); });
        if (!options.noPage) {
            progress.Run("write report", [&] {
                WriteHtmlReport(DemoReport(rendering, options.source, measurement, progress.GetTimes()),
                                options.out / "report.html");
            });
        }
        times = progress.GetTimes();
    }
    if (options.json) {
        PrintJson(out, ToJson(options, *acquired.rendering, options.source, measurement, times));
    } else {
        if (acquired.rendering->mesh != nullptr) {
            PrintMesh(out, *acquired.rendering);
        }
        PrintReport(out, options, options.source, measurement, times);
    }
}

CLI::Validator IsNotEmpty()
{
    return {[](std::string& text) { return text.empty() ? "The path is empty" : std::string(); }, "", ""};
}

/// Of an option that is given twice the last one counts, so that scripts can set defaults before their arguments.
void AddSceneOptions(CLI::App& command, SceneOptions& options)
{
    command.option_defaults()->take_last();
    AddPairOptions(command, options);
    command.add_option("--out", options.out, "Folder for the results, made where it is missing")
        ->type_name(kFolderType)
        ->check(IsNotEmpty())
        ->capture_default_str();
    command.add_flag("--json", options.json, "Print the figures as JSON");
}

TargetCommand AddDemoCommand(CLI::App& program)
{
    struct Arguments
    {
        DemoOptions options;
        MeshOptions mesh;
    };
    const auto demo = std::make_shared<Arguments>();
    CLI::App* const parser =
        program.add_subcommand("demo", "Render an image pair, measure it, compare with the truth");
    AddSceneOptions(*parser, demo->options);
    AddMeshOptions(*parser, demo->mesh);
    AddMeshScale(*parser, demo->mesh);
    parser
        ->add_option("--source", demo->options.source,
                     "Where the images come from: the virtual device, or its files replayed")
        ->check(CLI::IsMember({kVirtualSource, kSimulatedSource}))
        ->capture_default_str();
    parser->add_flag("--exact", demo->options.exact,
                     "Compute each point instead of looking it up in a table");
    parser->add_flag("--no-report", demo->options.noPage, "Write no report.html");
    return [parser, demo](std::ostream& out) {
        if (parser->parsed()) {
            Apply(demo->mesh, demo->options);
            RunDemo(demo->options, out);
        }
    };
}

TargetCommand AddRenderCommand(CLI::App& program)
{
    struct Arguments
    {
        SceneOptions options;
        MeshOptions mesh;
        TargetOptions target;
    };
    const auto render = std::make_shared<Arguments>();
    CLI::App* const parser =
        program.add_subcommand("render", "Render an image pair and write the device's model");
    AddSceneOptions(*parser, render->options);
    AddMeshOptions(*parser, render->mesh);
    AddTargetOptions(*parser, render->target);
    return [parser, render](std::ostream& out) {
        if (!parser->parsed()) {
            return;
        }
        auto& [options, mesh, target] = *render;
        mesh.scale = target.scale;
        Apply(mesh, options);
        if (target.target.empty()) {
            RunRender(options, out);
        } else {
            RenderTarget(target, {options.seed, options.noise, options.out, options.json}, out);
        }
    };
}

/// @return what runs each command where it was told
std::vector<TargetCommand> AddCommands(CLI::App& program)
{
    return {AddDemoCommand(program),           AddRenderCommand(program),   AddColourCommands(program),
            AddTargetCommands(program),        AddModelCommands(program),   AddMtfCommand(program),
            AddCalibrateCheckCommand(program), AddAccuracyCommand(program), AddScanCommand(program),
            AddInfoCommand(program),           AddPageCommands(program)};
}

} // namespace

int RunLumorad(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err)
{
    CLI::App program("Single-shot 3D measurement with colour-coded stripes", "lumorad");
    program.require_subcommand(1);
    program.failure_message(UsageMessage);
    const std::vector<TargetCommand> commands = AddCommands(program);
    try {
        program.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
    } catch (const CLI::ParseError& error) {
        return program.exit(error, out, err) == 0 ? kExitDone : kExitUsage;
    }
    try {
        if (!program.got_subcommand("info") && !program.got_subcommand("completion") &&
            !program.got_subcommand(
                "manual")) { // which need no settings, and help to find what is wrong with them
            RequireHostSettings();
        }
        for (const TargetCommand& run : commands) {
            run(out);
        }
        if (!out.flush()) {
            throw std::runtime_error("cannot write the report");
        }
    } catch (const std::exception& error) {
        err << "lumorad: " << error.what() << "\n";
        return kExitFailed;
    }
    return kExitDone;
}

} // namespace app
