#include "scanner/app/calibratecheckcommand.h"

#include "scanner/app/commandtree.h"
#include "scanner/app/cornerreport.h"
#include "scanner/app/jsonreport.h"
#include "scanner/app/measurement.h"
#include "scanner/app/numberoption.h"
#include "scanner/app/slidecommands.h"
#include "scanner/calibration/calibrationcheck.h"

#include <CLI/CLI.hpp>

#include <iomanip>
#include <memory>
#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

namespace app {

namespace {

using calibration::CalibrationCheckResult;
using calibration::DeviceErrors;
using calibration::ErrorFigures;
using calibration::Perturbation;
using calibration::ViewCheck;

constexpr const char* c_noPerturbation = "none";

struct CheckOptions
{
    calibration::CalibrationCheck check;
    std::string slide = "a2";
    std::string perturbation = c_noPerturbation;
    double limit = 1.5;
    bool json = false;
};

/// The names that --perturb takes.
std::vector<std::string> PerturbationNames()
{
    std::vector<std::string> names{c_noPerturbation};
    for (const Perturbation& perturbation : calibration::Perturbations()) {
        names.emplace_back(perturbation.name);
    }
    return names;
}

/// Null for none.
const Perturbation* FindPerturbation(const std::string& name)
{
    for (const Perturbation& perturbation : calibration::Perturbations()) {
        if (perturbation.name == name) {
            return &perturbation;
        }
    }
    return nullptr;
}

nlohmann::ordered_json ToJson(const ErrorFigures& figures)
{
    return {{"marks", figures.marks},
            {"mean", figures.mean},
            {"stddev", figures.deviation},
            {"rms", figures.rms},
            {"max", figures.largest}};
}

nlohmann::ordered_json ToJson(const DeviceErrors& errors)
{
    nlohmann::ordered_json json;
    json["noise"] = ToJson(errors.noise);
    json["computed"] = ToJson(errors.computed);
    json["library"] = ToJson(errors.library);
    json["ratio"] = errors.Ratio();
    return json;
}

nlohmann::ordered_json ToJson(const ViewCheck& view)
{
    nlohmann::ordered_json json;
    json["seed"] = view.seed;
    json["board_problem"] = view.boardProblem;
    json["slide_problem"] = view.slideProblem;
    json["wrong"] = view.wrong;
    json["screened"] = view.screened;
    json["camera_px"] = ToJson(view.camera);
    json["projector_slide_units"] = ToJson(view.projector);
    json["slide_marks_noise_px"] = ToJson(view.slideInImage);
    return json;
}

nlohmann::ordered_json ToJson(const CheckOptions& options, const CalibrationCheckResult& result)
{
    nlohmann::ordered_json json;
    json["slide"] = options.slide;
    json["views"] = options.check.views;
    json["seed"] = options.check.seed;
    json["noise"] = options.check.noise;
    json["blur_px"] = options.check.blur;
    json["perturbation"] = options.perturbation;
    json["limit"] = options.limit;
    json["camera_px"] = ToJson(result.camera);
    json["projector_slide_units"] = ToJson(result.projector);
    json["slide_marks_noise_px"] = ToJson(result.slideInImage);
    json["wrong"] = result.wrong;
    json["largest_difference"] = result.difference;
    json["objection"] = result.Objection(options.limit);
    json["per_view"] = nlohmann::ordered_json::array();
    for (const ViewCheck& view : result.views) {
        json["per_view"].push_back(ToJson(view));
    }
    json["status"] = result.status;
    json["model"] = result.model;
    json["camera_report"] = result.cameraReport;
    json["projector_report"] = result.projectorReport;
    json["render_times_ms"] = TimesToJson(result.renderTimes);
    json["board_times_ms"] = TimesToJson(result.boardTimes);
    json["slide_times_ms"] = TimesToJson(result.slideTimes);
    json["model_times_ms"] = TimesToJson(result.modelTimes);
    return json;
}

constexpr int c_labelWidth = 10;
constexpr int c_countWidth = 7;
constexpr int c_numberWidth = 9;

/// Marks, mean, root mean square and largest error, and the marks' own.
void PrintFigures(const DeviceErrors& errors, std::ostream& out)
{
    const ErrorFigures& figures = errors.library;
    out << std::setw(c_countWidth) << figures.marks;
    for (const double value : {figures.mean, figures.rms, figures.largest, errors.noise.rms}) {
        out << std::setw(c_numberWidth) << value;
    }
}

void PrintRow(const std::string& label, const DeviceErrors& camera, const DeviceErrors& projector,
              std::ostream& out)
{
    out << std::setw(c_labelWidth) << label;
    PrintFigures(camera, out);
    out << "  ";
    PrintFigures(projector, out);
}

void PrintTable(const CalibrationCheckResult& result, std::ostream& out)
{
    out << "              camera, pixels                             projector, slide units\n"
           "      seed  marks     mean      RMS  largest    noise    marks     mean      RMS  largest    "
           "noise  beside\n"
        << std::fixed << std::setprecision(4);
    std::size_t beside = 0;
    for (const ViewCheck& view : result.views) {
        PrintRow(std::to_string(view.seed), view.camera, view.projector, out);
        out << std::setw(8) << view.screened << "\n";
        beside += view.screened;
        for (const std::string& problem : {view.boardProblem, view.slideProblem}) {
            if (!problem.empty()) {
                out << std::setw(c_labelWidth) << ""
                    << "  " << problem << "\n";
            }
        }
    }
    PrintRow("all", result.camera, result.projector, out);
    out << std::setw(8) << beside << "\n";
}

/// The figures of one device, as the library tells them and as they are computed.
void PrintBoth(const std::string& device, const DeviceErrors& errors, std::ostream& out)
{
    out << std::setprecision(10);
    const auto print = [&](const char* whose, const ErrorFigures& figures) {
        Label(out, whose) << "mean " << figures.mean << ", stddev " << figures.deviation << ", RMS "
                          << figures.rms << ", largest " << figures.largest << "\n";
    };
    out << device << "\n";
    print("library", errors.library);
    print("computed", errors.computed);
    print("marks alone", errors.noise);
    Label(out, "ratio of RMS") << std::setprecision(4) << errors.Ratio() << "\n";
}

void PrintTimesOf(const char* what, const calibration::StageTimes& times, std::ostream& out)
{
    Label(out, what);
    PrintTimes(times, out);
}

void PrintReport(const CheckOptions& options, const CalibrationCheckResult& result, std::ostream& out)
{
    const Perturbation* const perturbation = options.check.perturbation;
    out << options.check.views << " views from seed " << options.check.seed << ", slide " << options.slide
        << ", noise " << options.check.noise << ", blur " << options.check.blur << " pixels; "
        << (perturbation == nullptr ? "the true model" : perturbation->description) << "\n";
    PrintTable(result, out);
    out << "\n";
    PrintBoth("Camera over all views, pixels", result.camera, out);
    PrintBoth("Projector over all views, slide units", result.projector, out);
    Label(out, "marks in image") << "RMS " << result.slideInImage.rms << " pixels of the camera\n";
    out << std::scientific << std::setprecision(1)
        << "The library's figures differ from the computed ones by " << result.difference
        << " at most\nTimes\n";
    PrintTimesOf("render, a view", result.renderTimes, out);
    PrintTimesOf("board, a view", result.boardTimes, out);
    PrintTimesOf("slide, a view", result.slideTimes, out);
    PrintTimesOf("model, in all", result.modelTimes, out);
    out << "\n"
        << result.status << result.model << "\n\nCamera, last view\n"
        << result.cameraReport << "Projector, marks in the camera's frame\n"
        << result.projectorReport;
}

void Check(CheckOptions& options, std::ostream& out)
{
    options.check.slide = SlideOf(options.slide);
    options.check.perturbation = FindPerturbation(options.perturbation);
    if (!options.check.marks.empty()) {
        CreateFolder(options.check.marks);
    }
    const CalibrationCheckResult result = Run(options.check);
    if (options.json) {
        PrintJson(out, ToJson(options, result));
    } else {
        PrintReport(options, result, out);
    }
    const std::string objection = result.Objection(options.limit);
    if (!objection.empty()) {
        throw std::runtime_error(objection);
    }
}

std::string HelpOfPerturbations()
{
    std::string help = "What is wrong with the model";
    std::string separator = ": ";
    for (const Perturbation& perturbation : calibration::Perturbations()) {
        help += separator + std::string(perturbation.name) + ", " + std::string(perturbation.description);
        separator = "; ";
    }
    return help;
}

} // namespace

TargetCommand AddCalibrateCheckCommand(CLI::App& program)
{
    const auto options = std::make_shared<CheckOptions>();
    calibration::CalibrationCheck& check = options->check;
    CLI::App* const parser = program.add_subcommand(
        "calibrate-check", "Hold the model against marks found in rendered views of both targets");
    parser->option_defaults()->take_last();
    AddSeriesOptions(*parser, "--views", "How many views of each target are rendered", check.views,
                     check.seed);
    AddSlideOption(*parser, options->slide);
    AddNoiseFactorOption(*parser, check.noise);
    AddBlurOption(*parser, check.blur);
    constexpr double mostLimit = 1000.0;
    parser
        ->add_option("--limit", options->limit,
                     "By which factor the model's RMS error may exceed that of the marks alone")
        ->check(IsBetween(1.0, mostLimit))
        ->capture_default_str();
    parser->add_option("--perturb", options->perturbation, HelpOfPerturbations())
        ->check(CLI::IsMember(PerturbationNames()))
        ->capture_default_str();
    parser->add_option("-o,--out", check.marks, "Folder for the marks as text, made where it is missing")
        ->type_name(kFolderType);
    parser->add_flag("--json", options->json, "Print the figures as JSON");
    return [parser, options](std::ostream& out) {
        if (parser->parsed()) {
            Check(*options, out);
        }
    };
}

} // namespace app
