// Colour calibrations: made with the virtual device, shown, and applied to image files.
#include "scanner/app/colourcommands.h"

#include "cctimage.h"
#include "lxccolorcalibrationaccesssingleton.h"
#include "lxccolorcalibrationdata.h"
#include "orx/platform/imagecodec.h"
#include "orx/platform/paths.h"
#include "orx/platform/unicode.h"
#include "scanner/app/colourimage.h"
#include "scanner/app/commandtree.h"
#include "scanner/app/cornerreport.h"
#include "scanner/app/filecontent.h"
#include "scanner/app/imagefiles.h"
#include "scanner/app/jsonreport.h"
#include "scanner/app/measurement.h"
#include "scanner/app/numberoption.h"
#include "scanner/calibration/colourcalibration.h"
#include "scanner/calibration/imageview.h"

#include <CLI/CLI.hpp>

#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <iomanip>
#include <memory>
#include <optional>
#include <ostream>
#include <span>
#include <sstream>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

namespace app {

namespace {

using calibration::ColourError;
using calibration::ColourExperiment;
using LxCV::CCTImage;
using Record = LxCV::LxCColorCalibrationData;

constexpr const char* kUsualCamera = "virtual";

/// Where a camera's calibration is stored.
struct PlaceOptions
{
    std::string camera = kUsualCamera;
    std::filesystem::path folder; ///< empty for that of all programs
};

/// The two files of a camera, and the texts that a record takes for them.
struct Place
{
    std::wstring folder; ///< path text with a separator at its end
    std::wstring camera;
    std::filesystem::path dataFile;
    std::filesystem::path imageFile;
};

Place Find(const PlaceOptions& options)
{
    if (options.camera.find_first_of("/\\") != std::string::npos) {
        throw std::runtime_error("'" + options.camera +
                                 "' cannot be a camera's name: files are named by it, so that it has no '/' "
                                 "and no '\\'");
    }
    if (options.folder.string().find('\\') != std::string::npos) {
        throw std::runtime_error("'" + options.folder.string() +
                                 "' has a backslash, which separates folders here: take another folder");
    }
    Place place;
    place.folder = options.folder.empty()
                       ? LxCV::LxCColorCalibrationAccessSingleton::makeColorCalibrationPath()
                       : platform::WidenUtf8(options.folder.string()) + L"/";
    place.camera = platform::WidenUtf8(options.camera);
    place.dataFile = platform::NativePath(Record::GetDataFilePath(place.folder, place.camera));
    place.imageFile = platform::NativePath(Record::GetImageFilePath(place.folder, place.camera));
    return place;
}

/// @throws std::runtime_error naming the file that is missing or damaged
void Load(const PlaceOptions& options, const Place& place, Record& record)
{
    const std::string remedy = "; 'lumorad colour make --camera " + options.camera + "' makes a new one";
    std::error_code ignored;
    if (!std::filesystem::exists(place.dataFile, ignored)) {
        throw std::runtime_error("there is no colour calibration of the camera '" + options.camera +
                                 "': no file '" + place.dataFile.string() + "'" + remedy);
    }
    if (!std::filesystem::exists(place.imageFile, ignored)) {
        throw std::runtime_error("the colour calibration of the camera '" + options.camera +
                                 "' has lost its image '" + place.imageFile.string() + "'" + remedy);
    }
    if (!record.SerializeFromFile(place.folder, place.camera)) {
        throw std::runtime_error("'" + place.dataFile.string() +
                                 "' is damaged or of an earlier version than " +
                                 std::to_string(Record::sc_iVersion) + ", or '" + place.imageFile.string() +
                                 "' is damaged" + remedy);
    }
}

std::string ToText(const BtDateTime& date)
{
    if (date.IsNull()) {
        return "unknown";
    }
    std::ostringstream text;
    text << std::setfill('0') << std::setw(4) << date.GetYear() << "-" << std::setw(2) << date.GetMonth()
         << "-" << std::setw(2) << date.GetDay() << " " << std::setw(2) << date.GetHour() << ":"
         << std::setw(2) << date.GetMinute() << " UTC";
    return text.str();
}

BtDateTime ExpiryOf(const Record& record)
{
    return record.GetCalibrationDate() + BtTimeInterval(0, Record::sc_iMonthsOfValidity);
}

/// Mean of blue, green and red over an image.
std::array<double, 3> MeanOf(const CCTImage& white)
{
    std::array<double, 3> sums{};
    const auto* level = static_cast<const float*>(white.GetBuffer());
    for (int i = 0; i < white.GetSizeInPixels(); ++i) {
        for (double& sum : sums) {
            sum += *level++;
        }
    }
    for (double& sum : sums) {
        sum /= white.GetSizeInPixels();
    }
    return sums;
}

nlohmann::ordered_json ToJson(const PlaceOptions& options, const Place& place, const Record& record)
{
    nlohmann::ordered_json json;
    json["camera"] = options.camera;
    json["data_file"] = place.dataFile.string();
    json["image_file"] = place.imageFile.string();
    json["valid"] = record.IsColorCalibrationDataValid();
    json["expired"] = record.IsColorCalibrationDataExpired();
    json["date"] = ToText(record.GetCalibrationDate());
    json["expires"] = ToText(ExpiryOf(record));
    json["shutter_time"] = record.GetColorCalibrationShutterTime();
    json["shutter_correction"] = record.GetShutterTimeCorrectionFactor();
    json["reference_depth_mm"] = record.GetReferenceDepth();
    json["matrix"] = nlohmann::ordered_json::array();
    const std::span<const float> matrix = record.GetColorCalibrationMatrix();
    for (std::size_t row = 0; row < matrix.size(); row += 4) {
        json["matrix"].push_back(std::vector<float>(matrix.begin() + row, matrix.begin() + row + 4));
    }
    const CCTImage& white = *record.GetWhiteBalanceImg();
    json["white"] = {{"width", white.GetWidth()}, {"height", white.GetHeight()}, {"mean", MeanOf(white)}};
    return json;
}

void PrintRecord(const PlaceOptions& options, const Place& place, const Record& record, std::ostream& out)
{
    const CCTImage& white = *record.GetWhiteBalanceImg();
    const std::array<double, 3> mean = MeanOf(white);
    out << "Colour calibration of the camera " << options.camera << "\n";
    Label(out, "made") << ToText(record.GetCalibrationDate()) << "\n";
    Label(out, "expires") << ToText(ExpiryOf(record))
                          << (record.IsColorCalibrationDataExpired() ? ", which is over" : "") << "\n";
    out << std::fixed << std::setprecision(4);
    Label(out, "shutter time") << record.GetColorCalibrationShutterTime() << ", correction factor "
                               << record.GetShutterTimeCorrectionFactor() << "\n";
    Label(out, "reference depth") << std::setprecision(2) << record.GetReferenceDepth() << " mm\n";
    Label(out, "white") << white.GetWidth() << " by " << white.GetHeight() << " pixels, mean blue " << mean[0]
                        << ", green " << mean[1] << ", red " << mean[2] << "\n";
    out << std::setprecision(5);
    const Record::Matrix& matrix = record.GetColorCalibrationMatrix();
    for (std::size_t row = 0; row < 3; ++row) {
        Label(out, row == 0 ? "matrix" : "");
        for (std::size_t column = 0; column < 4; ++column) {
            out << (column == 0 ? "" : " ") << std::setw(9) << matrix[4 * row + column];
        }
        out << "\n";
    }
    Label(out, "files") << place.dataFile.string() << "\n";
    Label(out, "") << place.imageFile.string() << "\n";
}

struct MakeOptions
{
    PlaceOptions place;
    ColourExperiment experiment;
    std::filesystem::path out; ///< folder of pictures; empty for none
    bool json = false;
};

/// How well a chart comes back.
struct ChartReport
{
    std::size_t patches = 0;
    ColourError measured;
    ColourError corrected;
};

ChartReport Measure(const ColourExperiment& experiment, const device::ColourChart& chart,
                    const Record& record)
{
    const std::vector<calibration::PatchLevels> patches = MeasureChart(experiment, chart, record);
    return {patches.size(), MeasuredError(patches), CorrectedError(patches)};
}

nlohmann::ordered_json ToJson(const ChartReport& report)
{
    return {{"patches", report.patches},
            {"measured_rms", report.measured.rms},
            {"measured_largest", report.measured.largest},
            {"corrected_rms", report.corrected.rms},
            {"corrected_largest", report.corrected.largest}};
}

void Print(const char* label, const ChartReport& report, std::ostream& out)
{
    out << std::setprecision(3);
    Label(out, label) << report.patches << ", off by " << report.measured.rms << " grey levels RMS, at most "
                      << report.measured.largest << "; corrected by " << report.corrected.rms << ", at most "
                      << report.corrected.largest << "\n";
}

std::span<const float> LevelsOf(const CCTImage& image)
{
    return {static_cast<const float*>(image.GetBuffer()),
            3 * static_cast<std::size_t>(image.GetSizeInPixels())};
}

void WritePng(const CCTImage& image, const std::filesystem::path& file)
{
    ColourImage::FromBgr(image.GetWidth(), image.GetHeight(), LevelsOf(image)).WritePng(file);
}

/// Pictures of white and of a chart, as the camera delivers it and corrected.
void WritePictures(const MakeOptions& options, const device::ColourChart& chart, const Record& record)
{
    CreateFolder(options.out);
    device::ImageF rendered = RenderChart(options.experiment, chart, record.GetColorCalibrationShutterTime());
    const CCTImage image = calibration::ViewOf(rendered);
    WritePng(*record.GetWhiteBalanceImg(), options.out / "white.png");
    WritePng(image, options.out / "chart.png");
    WritePng(calibration::CorrectColours(image, record, record.GetColorCalibrationShutterTime()),
             options.out / "corrected.png");
}

void Make(const MakeOptions& options, std::ostream& out)
{
    const Place place = Find(options.place);
    CreateFolder(place.dataFile.parent_path());
    Record made;
    CalibrateColours(options.experiment, made);
    if (!made.SerializeToFile(place.folder, place.camera)) {
        throw std::runtime_error("cannot write '" + place.dataFile.string() + "' and '" +
                                 place.imageFile.string() + "'");
    }
    Record record; // as others will read it, with an image of bytes
    Load(options.place, place, record);
    const device::ColourChart others = DrawChart(options.experiment, options.experiment.seed);
    const ChartReport fitted = Measure(options.experiment, FittedChart(options.experiment), record);
    const ChartReport drawn = Measure(options.experiment, others, record);
    if (!options.out.empty()) {
        WritePictures(options, others, record);
    }
    if (options.json) {
        nlohmann::ordered_json json = ToJson(options.place, place, record);
        json["fitted_patches"] = ToJson(fitted);
        json["other_patches"] = ToJson(drawn);
        PrintJson(out, json);
        return;
    }
    PrintRecord(options.place, place, record, out);
    Print("fitted patches", fitted, out);
    Print("other patches", drawn, out);
}

struct ShowOptions
{
    PlaceOptions place;
    bool json = false;
};

void Show(const ShowOptions& options, std::ostream& out)
{
    const Place place = Find(options.place);
    Record record;
    Load(options.place, place, record);
    if (options.json) {
        PrintJson(out, ToJson(options.place, place, record));
    } else {
        PrintRecord(options.place, place, record, out);
    }
}

struct ApplyOptions
{
    PlaceOptions place;
    std::filesystem::path image;
    std::filesystem::path out;
    std::optional<double> shutterTime; ///< the calibration's where none is told
    bool takesExpired = false;
    bool json = false;
};

bool IsTiff(const std::filesystem::path& file)
{
    const std::string suffix = LowerSuffix(file);
    return suffix == ".tif" || suffix == ".tiff";
}

void WriteCorrected(const CCTImage& image, const std::filesystem::path& file)
{
    if (!IsTiff(file)) {
        WritePng(image, file);
        return;
    }
    if (!platform::WriteTiff(file, {image.GetWidth(), image.GetHeight(), platform::EPixelFormat::eBgrFloat,
                                    std::as_bytes(LevelsOf(image))})) {
        throw WriteFailure(file);
    }
}

void Apply(const ApplyOptions& options, std::ostream& out)
{
    const Place place = Find(options.place);
    Record record;
    Load(options.place, place, record);
    if (record.IsColorCalibrationDataExpired() && !options.takesExpired) {
        throw std::runtime_error("the colour calibration '" + place.dataFile.string() + "' expired on " +
                                 ToText(ExpiryOf(record)) + ": make a new one, or add --expired");
    }
    RequireTwoFiles(options.image, options.out);
    const double shutterTime = options.shutterTime.value_or(record.GetColorCalibrationShutterTime());
    const CCTImage image = LoadImage(options.image);
    CCTImage corrected;
    try {
        corrected = calibration::CorrectColours(image, record, shutterTime);
    } catch (const std::invalid_argument& error) {
        throw std::runtime_error("'" + options.image.string() + "' cannot be corrected by '" +
                                 place.imageFile.string() + "': " + error.what());
    }
    WriteCorrected(corrected, options.out);
    if (options.json) {
        PrintJson(out, {{"image", options.image.string()},
                        {"out", options.out.string()},
                        {"camera", options.place.camera},
                        {"shutter_time", shutterTime},
                        {"width", corrected.GetWidth()},
                        {"height", corrected.GetHeight()}});
    } else {
        out << "Wrote " << corrected.GetWidth() << " by " << corrected.GetHeight()
            << " pixels with corrected colours to " << options.out.string() << "\n";
    }
}

void AddPlaceOptions(CLI::App& parser, PlaceOptions& place)
{
    parser.option_defaults()->take_last();
    parser.add_option("--camera", place.camera, "The camera's name")->capture_default_str();
    parser
        .add_option("--folder", place.folder,
                    "The folder of the files; without it that of all programs, see PROGRAMDATA")
        ->type_name(kFolderType);
}

TargetCommand AddMake(CLI::App& colour)
{
    const auto options = std::make_shared<MakeOptions>();
    ColourExperiment& experiment = options->experiment;
    CLI::App* const parser = colour.add_subcommand(
        "make", "Calibrate the colours of the virtual device and store the result for a camera");
    AddPlaceOptions(*parser, options->place);
    constexpr double nearest = 10.0, farthest = 200.0; // mm
    constexpr double darkest = 0.05, mostNoise = 100.0;
    constexpr int mostImages = 1000;
    constexpr std::uint64_t mostSeed = std::uint64_t{1} << 62;
    parser->add_option("--depth", experiment.depth, "Depth of the white target and the chart, mm")
        ->check(IsBetween(nearest, farthest))
        ->capture_default_str();
    parser->add_option("--white", experiment.white, "Albedo of the white target")
        ->check(IsBetween(darkest, 1.0))
        ->capture_default_str();
    parser->add_option("--images", experiment.images, "How many images are averaged")
        ->check(IsBetween(1, mostImages))
        ->capture_default_str();
    parser
        ->add_option("--seed", experiment.seed, "Seed of the noise, and of the colours that check the result")
        ->check(IsBetween<std::uint64_t>(0, mostSeed))
        ->capture_default_str();
    parser
        ->add_option("--noise", experiment.noise, "Factor on the sensor's noise; 0 for none, and no rounding")
        ->check(IsBetween(0.0, mostNoise))
        ->capture_default_str();
    parser->add_option("--out", options->out, "Folder for white.png, chart.png and corrected.png")
        ->type_name(kFolderType);
    parser->add_flag("--json", options->json, "Print the calibration as JSON");
    return [parser, options](std::ostream& out) {
        if (parser->parsed()) {
            Make(*options, out);
        }
    };
}

TargetCommand AddShow(CLI::App& colour)
{
    const auto options = std::make_shared<ShowOptions>();
    CLI::App* const parser = colour.add_subcommand("show", "Show the colour calibration of a camera");
    AddPlaceOptions(*parser, options->place);
    parser->add_flag("--json", options->json, "Print the calibration as JSON");
    return [parser, options](std::ostream& out) {
        if (parser->parsed()) {
            Show(*options, out);
        }
    };
}

CLI::Validator IsPngOrTiff()
{
    return {[](std::string& text) {
                const std::filesystem::path file(text);
                return LowerSuffix(file) == ".png" || IsTiff(file)
                           ? std::string()
                           : "'" + text +
                                 "' is no name of an image to write: it ends with .png, .tif or .tiff";
            },
            "", ""};
}

TargetCommand AddApply(CLI::App& colour)
{
    const auto options = std::make_shared<ApplyOptions>();
    CLI::App* const parser =
        colour.add_subcommand("apply", "Correct the colours of an image by a camera's calibration");
    AddPlaceOptions(*parser, options->place);
    parser->add_option("IMAGE", options->image, "The image: TIFF, PNG, JPEG, BMP or PFM")
        ->type_name(kFileType)
        ->required();
    parser
        ->add_option("OUT", options->out,
                     "The image to write: PNG, rounded to 8 bits, or TIFF, neither rounded nor clipped")
        ->type_name(kFileType)
        ->required()
        ->check(IsPngOrTiff());
    constexpr double shortest = 1e-6, longest = 1e6;
    parser
        ->add_option("--shutter-time", options->shutterTime,
                     "Shutter time of the image, in the calibration's unit; without it the calibration's")
        ->check(IsBetween(shortest, longest));
    parser->add_flag("--expired", options->takesExpired, "Take a calibration that has expired, too");
    parser->add_flag("--json", options->json, "Print what was done as JSON");
    return [parser, options](std::ostream& out) {
        if (parser->parsed()) {
            Apply(*options, out);
        }
    };
}

} // namespace

TargetCommand AddColourCommands(CLI::App& program)
{
    CLI::App* const colour = program.add_subcommand("colour", "Make, show and apply colour calibrations");
    colour->require_subcommand(1);
    return [make = AddMake(*colour), show = AddShow(*colour), apply = AddApply(*colour)](std::ostream& out) {
        make(out);
        show(out);
        apply(out);
    };
}

} // namespace app
