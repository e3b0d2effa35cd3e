// Marks of the projected slide: located in a pair of image files, and measured on rendered pairs.
#include "scanner/app/slidecommands.h"

#include "lxccolorvalueargb8.h"
#include "lxcgdiplusbitmaputilities.h"
#include "lxcpinholeframework.h"
#include "scanner/app/commandtree.h"
#include "scanner/app/cornerreport.h"
#include "scanner/app/imagefiles.h"
#include "scanner/app/jsonreport.h"
#include "scanner/app/measuringmodel.h"
#include "scanner/calibration/cornerid.h"
#include "scanner/calibration/slideexperiment.h"
#include "scanner/calibration/slidelocator.h"

#include <CLI/CLI.hpp>

#include <cmath>
#include <filesystem>
#include <iomanip>
#include <map>
#include <memory>
#include <ostream>
#include <stdexcept>
#include <string>
#include <utility>

namespace app {

namespace {

using calibration::LocatedSlide;
using calibration::MarkedSlide;
using calibration::RowSource;
using calibration::SlideMark;
using calibration::SquareOf;
using LxCV::CCTImage;

const std::map<std::string, MarkedSlide> c_slides{{"a2", MarkedSlide::eDarkMarks},
                                                  {"c", MarkedSlide::eBrightMarks}};
const std::map<std::string, RowSource> c_rowSources{{"model", RowSource::eModel},
                                                    {"image", RowSource::eImage}};

CCTImage LoadColours(const std::filesystem::path& file)
{
    const CCTImage image = LoadImage(file);
    CCTImage colours(image.GetWidth(), image.GetHeight(), CCTImage::eIDT_FLOAT32_3, true, nullptr);
    if (image.GetNumChannels() < static_cast<int>(decoder::kChannels) ||
        image.ConvertToFloat(&colours, false) != CCTImage::eRC_OK) {
        throw std::runtime_error("'" + file.string() + "' is no colour image");
    }
    return colours;
}

struct LocateOptions
{
    std::filesystem::path reference;
    std::filesystem::path pattern;
    std::filesystem::path model;
    std::filesystem::path out; ///< picture; empty for none
    std::string slide = "a2";
    std::string rows = "model";
    bool json = false;
};

nlohmann::ordered_json ToJson(const LocateOptions& options, const LocatedSlide& slide)
{
    nlohmann::ordered_json json;
    json["reference"] = options.reference.string();
    json["pattern"] = options.pattern.string();
    json["slide"] = options.slide;
    json["corners"] = slide.corners;
    json["times_ms"] = TimesToJson(slide.times);
    json["marks"] = nlohmann::ordered_json::array();
    for (const SlideMark& mark : slide.marks) {
        nlohmann::ordered_json told = MarkToJson(mark.id, mark.image);
        told["usable"] = mark.usable;
        told["slide_u"] = mark.slide.x;
        told["slide_v"] = mark.slide.y;
        json["marks"].push_back(std::move(told));
    }
    return json;
}

void PrintMarks(const LocateOptions& options, const LocatedSlide& slide, std::ostream& out)
{
    out << slide.marks.size() << " corners of marks of the slide " << options.slide << "\n"
        << kMarkHeading << "  slide u  slide v\n";
    for (const SlideMark& mark : slide.marks) {
        PrintMark(out, mark.id, mark.image)
            << std::setprecision(0) << std::setw(9) << mark.slide.x << std::setw(9) << mark.slide.y
            << UsableNote(mark.usable) << "\n";
    }
    PrintTimes(slide.times, out);
}

/// Crosses on the corners, red where calibration takes them, else magenta, and the numbers of the marks beside them.
void DrawMarks(const LocatedSlide& slide, CCTImage& picture)
{
    using LxCV::LxCColorValueARGB8;
    LxCV::LxCGdiPlusBitmapUtilities surface(picture);
    constexpr int arm = 3, fontSize = 12, gap = 6; // pixels
    for (const SlideMark& mark : slide.marks) {
        const int x = static_cast<int>(std::lround(mark.image.x)),
                  y = static_cast<int>(std::lround(mark.image.y));
        const LxCColorValueARGB8 colour =
            mark.usable ? LxCColorValueARGB8::eRed : LxCColorValueARGB8::eMagenta;
        surface.DrawLine(x - arm, y, x + arm, y, colour);
        surface.DrawLine(x, y - arm, x, y + arm, colour);
        if (mark.id % calibration::c_cornersOfSquare == 2) { // one of them, the upper right one
            surface.DrawTextW(std::to_wstring(SquareOf(mark.id)), x + gap, y - gap / 2, fontSize, colour);
        }
    }
    surface.CopyResult(&picture);
}

/// The pattern image in pale grey, on which colours stand out, as `eIDT_ARGB8`.
CCTImage ToPaleGrey(const CCTImage& pattern)
{
    constexpr float darkest = 110.0F, share = 0.55F; // grey levels; of the mean of the channels
    CCTImage grey(pattern.GetWidth(), pattern.GetHeight(), CCTImage::eIDT_FLOAT32_3, true, nullptr);
    for (int y = 0; y < grey.GetHeight(); ++y) {
        for (int x = 0; x < grey.GetWidth(); ++x) {
            const LxCV::LxCFloat3& pixel = pattern.GetFloat3Fast(x, y);
            const float mean = (pixel.get(0) + pixel.get(1) + pixel.get(2)) / 3.0F;
            grey.SetFloat3PixelFast(x, y, LxCV::LxCFloat3(darkest + share * mean));
        }
    }
    CCTImage picture;
    grey.ConvertToARGB8(&picture, true);
    return picture;
}

void WriteMarks(const LocatedSlide& slide, const CCTImage& pattern, const std::filesystem::path& file)
{
    CCTImage picture = ToPaleGrey(pattern);
    DrawMarks(slide, picture);
    WritePicture(picture, file);
}

void Locate(const LocateOptions& options, std::ostream& out)
{
    const std::unique_ptr<LxCV::LxCPinholeFramework> model = LoadMeasuringModel(options.model);
    const CCTImage reference = LoadColours(options.reference), pattern = LoadColours(options.pattern);
    if (!pattern.DoTypeAndDimMatchWith(reference)) {
        throw std::runtime_error("'" + options.reference.string() + "' and '" + options.pattern.string() +
                                 "' differ in size");
    }
    RequireCalibrated(*model, ModelName(options.model), pattern.GetWidth(), pattern.GetHeight());
    calibration::SlideLocator locator(SlideOf(options.slide), *model);
    locator.SetRowSource(c_rowSources.at(options.rows));
    const LocatedSlide slide = locator.Locate(reference, pattern);
    if (!options.out.empty()) {
        WriteMarks(slide, pattern, options.out); // also after an error: the picture may tell why
    }
    if (slide.error != LxCV::eCalibOk) {
        throw std::runtime_error("'" + options.pattern.string() + "': " + slide.problem);
    }
    if (options.json) {
        PrintJson(out, ToJson(options, slide));
    } else {
        PrintMarks(options, slide, out);
    }
}

struct AccuracyOptions
{
    calibration::SlideExperiment experiment;
    std::string slide = "a2";
    std::string rows = "model";
    bool json = false;
};

nlohmann::ordered_json ToJson(const AccuracyOptions& options,
                              const calibration::SlideExperimentResult& result)
{
    const calibration::BoardAccuracy& accuracy = result.accuracy;
    nlohmann::ordered_json json;
    json["slide"] = options.slide;
    json["parallel_axes"] = options.experiment.parallelAxes;
    json["rows"] = options.rows;
    json["poses"] = options.experiment.poses;
    json["seed"] = options.experiment.seed;
    json["noise"] = options.experiment.noise;
    AddCounts(accuracy, json);
    json["discarded"] = result.discarded;
    json["found_share"] = result.FoundShare();
    AddErrors(accuracy, json);
    json["times_ms"] = TimesToJson(result.meanTimes);
    json["seeds_not_identified"] = result.failedSeeds;
    json["seeds_wrong"] = result.wrongSeeds;
    json["seeds_incomplete"] = result.incompleteSeeds;
    return json;
}

void PrintAccuracy(const AccuracyOptions& options, const calibration::SlideExperimentResult& result,
                   std::ostream& out)
{
    const calibration::BoardAccuracy& accuracy = result.accuracy;
    const auto percent = [](double share) { return 100.0 * share; };
    out << "Slide " << options.slide << ", " << options.experiment.poses << " planes from seed "
        << options.experiment.seed << ", noise " << options.experiment.noise << ", axes "
        << (options.experiment.parallelAxes ? "parallel" : "converging") << ", rows by " << options.rows
        << "\n";
    PrintErrors(accuracy, out);
    out << std::setprecision(2);
    Label(out, "found") << percent(result.FoundShare()) << " % of " << accuracy.visible
                        << " visible corners\n";
    Label(out, "used") << percent(accuracy.NamedShare()) << " %; " << result.discarded
                       << " corners are too far off the others of their row\n";
    Label(out, "not identified") << accuracy.failed << " images\n";
    Label(out, "mean times");
    PrintTimes(result.meanTimes, out);
}

void MeasureAccuracy(const AccuracyOptions& options, std::ostream& out)
{
    calibration::SlideExperiment experiment = options.experiment;
    experiment.slide = SlideOf(options.slide);
    experiment.rows = c_rowSources.at(options.rows);
    const calibration::SlideExperimentResult result = Run(experiment);
    if (options.json) {
        PrintJson(out, ToJson(options, result));
    } else {
        PrintAccuracy(options, result, out);
    }
}

/// What both commands are told.
template <typename Options>
void AddSlideOptions(CLI::App& parser, Options& options)
{
    AddSlideOption(parser, options.slide);
    parser
        .add_option("--rows", options.rows,
                    "What tells the row of a mark: triangulation by the model, or the column of the image")
        ->check(CLI::IsMember(c_rowSources))
        ->capture_default_str();
}

TargetCommand AddLocate(CLI::App& target)
{
    const auto options = std::make_shared<LocateOptions>();
    CLI::App* const parser =
        target.add_subcommand("slide-locate", "Find the marks of the projected slide in a pair of images");
    parser->option_defaults()->take_last();
    parser->add_option("REFERENCE", options->reference, "The image under white light")
        ->type_name(kFileType)
        ->required();
    parser->add_option("PATTERN", options->pattern, "The image under the slide's stripes")
        ->type_name(kFileType)
        ->required();
    parser->add_option("--model", options->model, "The device's parameter set")
        ->type_name(kFileType)
        ->required();
    AddSlideOptions(*parser, *options);
    parser
        ->add_option("--out", options->out, "PNG to write: corners and numbers of marks on the pattern image")
        ->type_name(kFileType);
    parser->add_flag("--json", options->json, "Print the corners as JSON");
    return [parser, options](std::ostream& out) {
        if (parser->parsed()) {
            Locate(*options, out);
        }
    };
}

TargetCommand AddAccuracy(CLI::App& target)
{
    const auto options = std::make_shared<AccuracyOptions>();
    calibration::SlideExperiment& experiment = options->experiment;
    CLI::App* const parser = target.add_subcommand(
        "slide-accuracy", "Measure on rendered pairs how exactly marks of the projected slide are found");
    parser->option_defaults()->take_last();
    AddSlideOptions(*parser, *options);
    AddPoseOptions(*parser, experiment.poses, experiment.seed);
    AddNoiseFactorOption(*parser, experiment.noise);
    parser->add_flag("--parallel-axes", experiment.parallelAxes,
                     "A device whose camera and projector have parallel axes");
    parser->add_flag("--json", options->json, "Print the figures as JSON");
    return [parser, options](std::ostream& out) {
        if (parser->parsed()) {
            MeasureAccuracy(*options, out);
        }
    };
}

} // namespace

void AddSlideOption(CLI::App& parser, std::string& slide)
{
    parser.add_option("--slide", slide, "The slide: a2 has dark marks, c bright ones")
        ->check(CLI::IsMember(c_slides))
        ->capture_default_str();
}

calibration::MarkedSlide SlideOf(const std::string& name)
{
    return c_slides.at(name);
}

TargetCommand AddSlideCommands(CLI::App& target)
{
    return [locate = AddLocate(target), accuracy = AddAccuracy(target)](std::ostream& out) {
        locate(out);
        accuracy(out);
    };
}

} // namespace app
