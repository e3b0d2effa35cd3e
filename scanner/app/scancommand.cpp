// From two image files to the files of a scan; and what the command is told.
#include "scanner/app/scancommand.h"

#include "lxcpinholeframework.h"
#include "scanner/app/algorithmfile.h"
#include "scanner/app/commandtree.h"
#include "scanner/app/cornerreport.h"
#include "scanner/app/decoding.h"
#include "scanner/app/imagefiles.h"
#include "scanner/app/imagesources.h"
#include "scanner/app/jsonreport.h"
#include "scanner/app/livescan.h"
#include "scanner/app/measuringmodel.h"
#include "scanner/app/meshoptions.h"
#include "scanner/app/numberoption.h"
#include "scanner/app/pairoptions.h"
#include "scanner/app/processmemory.h"
#include "scanner/app/progress.h"
#include "scanner/app/scanoutput.h"
#include "scanner/app/scanreport.h"

#include <CLI/CLI.hpp>

#include <filesystem>
#include <iomanip>
#include <memory>
#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

namespace app {

namespace {

using StageTimes = std::vector<std::pair<std::string, double>>;

constexpr int kStages = 10;

/// What came of a pair of files.
struct Scan
{
    acquisition::ImagePair images;
    RecordCloud cloud;
    StageTimes times;
};

acquisition::ImagePair LoadPair(const ScanOptions& options)
{
    acquisition::ImagePair images{LoadLevels(options.reference), LoadLevels(options.pattern)};
    if (!images.reference.DoDimMatchWith(images.pattern)) {
        throw std::runtime_error("'" + options.reference.string() + "' has " + SizeText(images.reference) +
                                 " and '" + options.pattern.string() + "' " + SizeText(images.pattern) +
                                 ": take two images of one camera as it took them");
    }
    return images;
}

Scan Measure(const ScanOptions& options)
{
    Scan scan;
    Progress progress(kStages);
    const auto run = [&progress](const char* stage, auto work) { progress.Run(stage, work); };
    run("load images", [&] { scan.images = LoadPair(options); });
    const int width = scan.images.pattern.GetWidth();
    const int height = scan.images.pattern.GetHeight();
    std::unique_ptr<LxCV::LxCPinholeFramework> model;
    decoder::DecoderConfig config;
    const bool isInModel = options.algorithm.empty();
    run("load model",
        [&] { model = LoadMeasuringModel(options.model, isInModel ? &config.algorithm : nullptr); });
    RequireCalibrated(*model, ModelName(options.model), width, height);
    if (!isInModel) {
        LoadAlgorithm(options.algorithm, config.algorithm);
    }
    config.useTable = !options.exact;
    decoder::Decoder decoder(*model, config);
    run("prepare", [&] { decoder.Init(width, height); });
    Decode(decoder, scan.images, run);
    scan.cloud = CloudOf(decoder.GetPoints(), decoder.GetRecord());
    run("write files", [&] { WriteScanFiles(options, {decoder.GetRecord(), scan.cloud}); });
    scan.times = progress.GetTimes();
    return scan;
}

void WriteReport(const ScanOptions& options, const Scan& scan)
{
    const std::string subtitle = "Reference " + options.reference.string() + ", model " +
                                 options.model.string() + ", points " +
                                 (options.exact ? "computed" : "looked up in a table");
    WriteHtmlReport(ReportOfScan("Scan of " + options.pattern.filename().string(), subtitle, scan.images,
                                 scan.cloud, scan.times),
                    options.report);
}

void PrintScanAsJson(const ScanOptions& options, const Scan& scan, std::ostream& out)
{
    nlohmann::ordered_json json;
    json["reference"] = options.reference.string();
    json["pattern"] = options.pattern.string();
    json["model"] = options.model.string();
    if (!options.algorithm.empty()) {
        json["algorithm"] = options.algorithm.string();
    }
    json["width"] = scan.images.pattern.GetWidth();
    json["height"] = scan.images.pattern.GetHeight();
    json["exact"] = options.exact;
    json["points"] = scan.cloud.points.size();
    if (scan.cloud.points.empty()) {
        json["note"] = kNoPoints;
    }
    for (const auto& [stage, milliseconds] : scan.times) {
        json["stages_ms"][stage] = milliseconds;
    }
    json["files"] = FilesToJson(options);
    json["peak_memory_mb"] = PeakMemoryMb();
    PrintJson(out, json);
}

void PrintScan(const ScanOptions& options, const Scan& scan, std::ostream& out)
{
    constexpr int width = 8;
    out << "Scan of " << options.pattern.string() << " with the reference " << options.reference.string()
        << "\n";
    Label(out, "size") << SizeText(scan.images.pattern) << "\n";
    Label(out, "points") << scan.cloud.points.size() << "\n";
    if (scan.cloud.points.empty()) {
        out << "There are " << kNoPoints << "\n";
    }
    out << "Stages\n" << std::fixed << std::setprecision(1);
    for (const auto& [stage, milliseconds] : scan.times) {
        Label(out, stage.c_str()) << std::setw(width) << milliseconds << " ms\n";
    }
    PrintFiles(options, out);
}

void RunScan(const ScanOptions& options, std::ostream& out)
{
    RequireInputsStay(options);
    const Scan scan = Measure(options);
    if (!options.report.empty()) {
        WriteReport(options, scan);
    }
    if (options.json) {
        PrintScanAsJson(options, scan, out);
    } else {
        PrintScan(options, scan, out);
    }
}

CLI::Validator HasKnownSuffix()
{
    return {[](std::string& text) { return SuffixProblem(text); }, "", ""};
}

struct ScanCommand
{
    LiveOptions options;
    MeshOptions mesh;
};

void AddFileOptions(CLI::App& parser, ScanOptions& options)
{
    parser.add_option("REF", options.reference, "The reference image, taken in white light")
        ->type_name(kFileType);
    parser.add_option("PAT", options.pattern, "The pattern image, taken with the stripes")
        ->type_name(kFileType);
    parser.option_defaults()->take_last();
    parser.add_option("--model", options.model, "The model of the camera, in any form")->type_name(kFileType);
    parser
        .add_option("--algorithm", options.algorithm,
                    "Text with coupling of the colours, culling depth and exit window; else the model's")
        ->type_name(kFileType);
    parser
        .add_option("-o,--out", options.out,
                    "File to write, in the format of its suffix: .ply, .3d, .stl or .xyz; may be given "
                    "several times")
        ->type_name(kFileType)
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->check(HasKnownSuffix());
    parser.add_option("--report", options.report, "HTML page to write, which shows the scan")
        ->type_name(kFileType);
    parser.add_flag("--exact", options.exact, "Compute each point instead of looking it up in a table");
    parser.add_flag("--json", options.json, "Print the figures as JSON");
}

void AddLiveOptions(CLI::App& parser, ScanCommand& command)
{
    constexpr std::size_t mostFrames = 1'000'000;
    CLI::Option* const grabber =
        parser
            .add_option("--grabber", command.options.grabber,
                        "Image source for live operation: the virtual device, or REF and PAT replayed")
            ->check(CLI::IsMember({kVirtualSource, kSimulatedSource}));
    parser.get_option("--report")->excludes(grabber);
    parser.add_option("--frames", command.options.frames, "How many pairs are taken")
        ->check(IsBetween<std::size_t>(1, mostFrames))
        ->capture_default_str()
        ->needs(grabber);
    AddPairOptions(parser, command.options.pair);
    AddMeshOptions(parser, command.mesh);
    AddMeshScale(parser, command.mesh);
}

/// Refuses options that do not go together.
void RequireUse(const CLI::App& parser, const LiveOptions& options)
{
    const bool hasFiles = !options.reference.empty() || !options.pattern.empty();
    const bool hasAllFiles = !options.reference.empty() && !options.pattern.empty() && !options.model.empty();
    if (options.grabber == kVirtualSource) {
        if (hasFiles) {
            throw CLI::ValidationError("REF", "the virtual device takes images of its own");
        }
        return;
    }
    if (!hasAllFiles) {
        throw CLI::ValidationError("scan", "wants REF, PAT and --model, or --grabber virtual");
    }
    for (const char* name : {"--scene", "--seed", "--noise", "--mesh", "--pose", "--scale"}) {
        if (parser.get_option(name)->count() > 0) {
            throw CLI::ValidationError(name,
                                       "tells the virtual device what it sees; it wants --grabber virtual");
        }
    }
}

} // namespace

TargetCommand AddScanCommand(CLI::App& program)
{
    const auto command = std::make_shared<ScanCommand>();
    CLI::App* const parser = program.add_subcommand(
        "scan", "Measure a reference and a pattern image, or image after image from a source");
    AddFileOptions(*parser, command->options);
    AddLiveOptions(*parser, *command);
    parser->callback([parser, command] { RequireUse(*parser, command->options); });
    return [parser, command](std::ostream& out) {
        if (!parser->parsed()) {
            return;
        }
        if (command->options.grabber.empty()) {
            RunScan(command->options, out);
        } else {
            Apply(command->mesh, command->options.pair);
            RunLiveScan(command->options, out);
        }
    };
}

} // namespace app
