// Corners of a checkerboard target: located in an image file, and measured on rendered images.
#include "scanner/app/boardcommands.h"

#include "lxccbcalibthres.h"
#include "scanner/app/commandtree.h"
#include "scanner/app/cornerreport.h"
#include "scanner/app/imagefiles.h"
#include "scanner/app/jsonreport.h"
#include "scanner/app/numberoption.h"
#include "scanner/calibration/boardexperiment.h"
#include "scanner/calibration/boardlocator.h"

#include <CLI/CLI.hpp>

#include <filesystem>
#include <iomanip>
#include <map>
#include <memory>
#include <ostream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace app {

namespace {

using calibration::BoardLocator;
using calibration::BoardMark;
using calibration::LocatedBoard;
using calibration::Refinement;
using LxCV::CCTImage;

constexpr const char* c_noRefinement = "none";

const std::map<std::string, Refinement> c_refinements{{c_noRefinement, Refinement::eNone},
                                                      {"edges", Refinement::eWholeEdges},
                                                      {"rows", Refinement::eRowPolynomials}};

CCTImage ToPicture(const CCTImage& image)
{
    CCTImage picture;
    if (image.GetDataType() == CCTImage::eIDT_UINT16 ||
        image.ConvertToARGB8(&picture, true) != CCTImage::eRC_OK) {
        picture.Resize(image.GetWidth(), image.GetHeight(), CCTImage::eIDT_ARGB8);
        picture.Clear(); // the drawing alone
    }
    return picture;
}

struct LocateOptions
{
    std::filesystem::path image;
    std::filesystem::path target; ///< data file; empty for the installed target
    bool nominal = false;
    std::string refinement = c_noRefinement;
    std::filesystem::path out;   ///< picture; empty for none
    std::filesystem::path edges; ///< picture; empty for none
    bool json = false;
};

/// @return what the coordinates come from
std::string ChooseTarget(const LocateOptions& options, BoardLocator& locator)
{
    if (!options.target.empty()) {
        locator.LoadFile(options.target);
        return options.target.string();
    }
    return !options.nominal && locator.LoadInstalled() ? "installed" : "nominal";
}

nlohmann::ordered_json ToJson(const LocateOptions& options, const std::string& target,
                              const LocatedBoard& board)
{
    nlohmann::ordered_json json;
    json["image"] = options.image.string();
    json["target"] = target;
    json["quarter_turns"] = board.orientation;
    json["searched_turned"] = board.isTurned;
    json["corners"] = board.corners;
    json["squares"] = board.squares;
    json["times_ms"] = TimesToJson(board.times);
    json["marks"] = nlohmann::ordered_json::array();
    for (const BoardMark& mark : board.marks) {
        nlohmann::ordered_json told = MarkToJson(mark.id, mark.image);
        told["quality"] = mark.quality;
        told["usable"] = mark.usable;
        told["computed"] = mark.computed;
        told["world_mm"] = {mark.world.x, mark.world.y, mark.world.z};
        json["marks"].push_back(std::move(told));
    }
    return json;
}

void PrintMarks(const std::string& target, const LocatedBoard& board, std::ostream& out)
{
    out << board.marks.size() << " corners of the " << (target == "nominal" ? "nominal" : target)
        << " target, turned by " << board.orientation << " quarters"
        << (board.isTurned ? " in the image turned by 45 degrees" : "") << "\n"
        << kMarkHeading << "  quality    X mm    Y mm    Z mm\n";
    for (const BoardMark& mark : board.marks) {
        PrintMark(out, mark.id, mark.image)
            << std::setw(9) << mark.quality << std::setw(8) << mark.world.x << std::setw(8) << mark.world.y
            << std::setw(8) << mark.world.z << UsableNote(mark.usable) << "\n";
    }
    PrintTimes(board.times, out);
}

void Locate(const LocateOptions& options, std::ostream& out)
{
    BoardLocator locator;
    const std::string target = ChooseTarget(options, locator);
    locator.SetRefinement(c_refinements.at(options.refinement));
    const CCTImage image = LoadImage(options.image);
    const LocatedBoard board = locator.Locate(image);
    // Also where the target was not identified: the pictures tell why.
    if (!options.out.empty()) {
        CCTImage picture = ToPicture(image);
        locator.Draw(picture);
        WritePicture(picture, options.out);
    }
    if (!options.edges.empty()) {
        WritePicture(locator.DrawEdges(), options.edges);
    }
    if (board.error != LxCV::eCalibOk) {
        throw std::runtime_error("'" + options.image.string() + "': " + board.problem);
    }
    if (options.json) {
        PrintJson(out, ToJson(options, target, board));
    } else {
        PrintMarks(target, board, out);
    }
}

struct AccuracyOptions
{
    calibration::BoardExperiment experiment = calibration::DefaultExperiment();
    std::string refinement = c_noRefinement;
    bool json = false;
};

nlohmann::ordered_json ToJson(const AccuracyOptions& options,
                              const calibration::BoardExperimentResult& result)
{
    const calibration::BoardAccuracy& accuracy = result.accuracy;
    nlohmann::ordered_json json;
    json["poses"] = options.experiment.poses;
    json["seed"] = options.experiment.seed;
    json["blur_px"] = options.experiment.imaging.blur;
    json["noise"] = options.experiment.imaging.noise;
    json["refinement"] = options.refinement;
    AddCounts(accuracy, json);
    json["diagonal"] = result.diagonal;
    json["diagonal_not_identified"] = result.diagonalFailed;
    json["named_share_not_diagonal"] = result.NamedShareUpright();
    AddErrors(accuracy, json);
    json["times_ms"] = TimesToJson(result.meanTimes);
    json["seeds_not_identified"] = result.failedSeeds;
    json["seeds_wrong"] = result.wrongSeeds;
    return json;
}

void PrintAccuracy(const AccuracyOptions& options, const calibration::BoardExperimentResult& result,
                   std::ostream& out)
{
    const calibration::BoardAccuracy& accuracy = result.accuracy;
    const auto percent = [](double share) { return 100.0 * share; };
    out << options.experiment.poses << " poses from seed " << options.experiment.seed << ", blur "
        << options.experiment.imaging.blur << " pixels, noise " << options.experiment.imaging.noise
        << " grey levels, refinement " << options.refinement << "\n";
    PrintErrors(accuracy, out);
    out << std::setprecision(2);
    Label(out, "named") << percent(accuracy.NamedShare()) << " % of " << accuracy.visible
                        << " visible corners, " << percent(result.NamedShareUpright())
                        << " % away from the diagonal\n";
    Label(out, "not identified") << accuracy.failed << " images, " << result.diagonalFailed
                                 << " of them of the " << result.diagonal
                                 << " with sides near the diagonal\n";
    Label(out, "mean times");
    PrintTimes(result.meanTimes, out);
}

void MeasureAccuracy(const AccuracyOptions& options, std::ostream& out)
{
    BoardLocator locator;
    locator.SetRefinement(c_refinements.at(options.refinement));
    const calibration::BoardExperimentResult result = Run(options.experiment, locator);
    if (options.json) {
        PrintJson(out, ToJson(options, result));
    } else {
        PrintAccuracy(options, result, out);
    }
}

void AddRefinement(CLI::App& parser, std::string& refinement)
{
    parser
        .add_option("--refine", refinement,
                    "How corners are placed in the end: where lines through the ends of edges cross (none), "
                    "lines through whole edges, or parabolas through rows of squares")
        ->check(CLI::IsMember({c_noRefinement, "edges", "rows"}))
        ->capture_default_str();
}

TargetCommand AddLocate(CLI::App& target)
{
    const auto options = std::make_shared<LocateOptions>();
    CLI::App* const parser =
        target.add_subcommand("locate", "Find the corners of a checkerboard target in an image");
    parser->option_defaults()->take_last();
    parser->add_option("IMAGE", options->image, "The image: TIFF, PNG, JPEG, BMP, PGM or PFM")
        ->type_name(kFileType)
        ->required();
    CLI::Option* const file =
        parser
            ->add_option(
                "--target", options->target,
                "The target's data file; without it the installed target, or the nominal one where none is")
            ->type_name(kFileType);
    parser->add_flag("--nominal", options->nominal, "Take the nominal target even if one is installed")
        ->excludes(file);
    AddRefinement(*parser, options->refinement);
    parser->add_option("--out", options->out, "PNG to write: squares, corners and numbers on the image")
        ->type_name(kFileType);
    parser->add_option("--edges", options->edges, "PNG to write: the extrema that edges are traced along")
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
    calibration::BoardExperiment& experiment = options->experiment;
    CLI::App* const parser = target.add_subcommand(
        "accuracy", "Measure on rendered images how exactly corners of a checkerboard are found");
    parser->option_defaults()->take_last();
    AddPoseOptions(*parser, experiment.poses, experiment.seed);
    AddBlurOption(*parser, experiment.imaging.blur);
    constexpr double mostNoise = 100.0;
    parser
        ->add_option("--noise", experiment.imaging.noise,
                     "Sigma of the sensor's noise, grey levels; 0 for no rounding either")
        ->check(IsBetween(0.0, mostNoise))
        ->capture_default_str();
    AddRefinement(*parser, options->refinement);
    parser->add_flag("--json", options->json, "Print the figures as JSON");
    return [parser, options](std::ostream& out) {
        if (parser->parsed()) {
            MeasureAccuracy(*options, out);
        }
    };
}

} // namespace

TargetCommand AddBoardCommands(CLI::App& target)
{
    return [locate = AddLocate(target), accuracy = AddAccuracy(target)](std::ostream& out) {
        locate(out);
        accuracy(out);
    };
}

} // namespace app
