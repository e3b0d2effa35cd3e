// The four steps of `LxCMTFCalibration` on an image file.
#include "scanner/app/mtfcommand.h"

#include "lxcmtfcalibration.h"
#include "scanner/app/commandtree.h"
#include "scanner/app/cornerreport.h"
#include "scanner/app/imagefiles.h"
#include "scanner/app/jsonreport.h"
#include "scanner/app/numberoption.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <iomanip>
#include <memory>
#include <numbers>
#include <ostream>
#include <stdexcept>
#include <string>

namespace app {

namespace {

using LxCV::CCTImage;
using LxCV::LxCMTFCalibration;

struct MtfOptions
{
    std::filesystem::path image;
    std::filesystem::path out; ///< picture; empty for none
    unsigned size = 160;       ///< side of the central square that is searched for the rings, pixels
    unsigned limit = 120;      ///< blue levels below are dark
    unsigned dark = 45;        ///< runs of this many dark pixels and more are no part of the rings
    unsigned thin = 7;         ///< most dark pixels across a ring
    bool json = false;
};

/// The image with four bytes a pixel, as it is measured. Levels of 16 bits lose their lower 8.
CCTImage ToBytes(const CCTImage& image, const std::filesystem::path& file)
{
    CCTImage bytes;
    CCTImage::EReturnCode code = CCTImage::eRC_OK;
    if (image.GetDataType() == CCTImage::eIDT_UINT16) {
        CCTImage upper(image.GetWidth(), image.GetHeight(), CCTImage::eIDT_GRAY8, true, nullptr);
        const auto* const from = static_cast<const std::uint16_t*>(image.GetBuffer());
        auto* const to = static_cast<std::uint8_t*>(upper.GetBuffer());
        std::transform(from, from + (to == nullptr ? 0 : upper.GetSizeInPixels()), to,
                       [](std::uint16_t level) { return static_cast<std::uint8_t>(level >> 8); });
        code = upper.ConvertToARGB8(&bytes, true);
    } else {
        code = image.ConvertToARGB8(&bytes, true);
    }
    if (code != CCTImage::eRC_OK) {
        throw std::runtime_error("'" + file.string() + "' cannot be turned into an image of bytes");
    }
    return bytes;
}

/// Runs the steps up to the first one that fails.
/// @return what failed and what to do about it; empty for nothing
std::string Measure(LxCMTFCalibration& mtf, unsigned size)
{
    if (!mtf.FindCenterOfCircle()) {
        const std::string side = std::to_string(size);
        return "found no disc with two rings in the central " + side + " by " + side +
               " pixels; bring the middle of the chart there, or change --size, --limit, --dark or --thin";
    }
    if (!mtf.DetermineScaleFactor()) {
        return "the outer ring is not seen in all four directions, or its width and height differ by 10 "
               "percent "
               "or more; hold the chart parallel to the image, with nothing but the rings dark within 100 "
               "pixels "
               "of its middle";
    }
    if (!mtf.DetermineOrientation()) {
        return "found no straight edge of 20 rows with 16 bright pixels to its right; bring the line at the "
               "chart's right side into the image";
    }
    if (!mtf.CalculateContrast()) {
        return "the rings' scale of " + std::to_string(std::lround(mtf.GetScaleFactor())) +
               " pixels leaves fewer than two by two places of patches in the image; hold the chart farther "
               "away, with nothing but the rings dark within 100 pixels of its middle";
    }
    return "";
}

/// A contrast that could not be read is null.
nlohmann::ordered_json ContrastToJson(float contrast)
{
    return contrast < 0.0F ? nlohmann::ordered_json() : nlohmann::ordered_json(contrast);
}

void PrintJsonReport(const MtfOptions& options, const LxCMTFCalibration& mtf, std::ostream& out)
{
    nlohmann::ordered_json json;
    json["image"] = options.image.string();
    json["centre"] = {mtf.GetCircleColPos(), mtf.GetCircleRowPos()};
    json["scale_px"] = mtf.GetScaleFactor();
    json["angle_rad"] = mtf.GetAngle();
    json["contrast_horizontal"] = ContrastToJson(mtf.GetContrastHor());
    json["contrast_vertical"] = ContrastToJson(mtf.GetContrastVer());
    PrintJson(out, json);
}

void PrintContrast(const char* label, float contrast, std::ostream& out)
{
    Label(out, label);
    if (contrast < 0.0F) {
        out << "none; no patch lies within the image\n";
    } else {
        out << contrast << "\n";
    }
}

void PrintReport(const MtfOptions& options, const LxCMTFCalibration& mtf, std::ostream& out)
{
    constexpr double c_degrees = 180.0 / std::numbers::pi;
    out << "Chart in " << options.image.string() << "\n" << std::fixed;
    Label(out, "centre") << "column " << mtf.GetCircleColPos() << ", row " << mtf.GetCircleRowPos() << "\n";
    Label(out, "scale") << std::setprecision(2) << mtf.GetScaleFactor() << " pixels\n";
    Label(out, "angle") << std::setprecision(2) << mtf.GetAngle() * c_degrees << " degrees\n";
    out << std::setprecision(3);
    PrintContrast("horizontal", mtf.GetContrastHor(), out);
    PrintContrast("vertical", mtf.GetContrastVer(), out);
}

void RunMtf(const MtfOptions& options, std::ostream& out)
{
    CCTImage image = ToBytes(LoadImage(options.image), options.image);
    LxCMTFCalibration mtf(&image, options.size, options.limit, options.dark, options.thin);
    const std::string problem = Measure(mtf, options.size);
    // Also where a step failed: the marks tell how far it went.
    if (!options.out.empty()) {
        WritePicture(image, options.out);
    }
    if (!problem.empty()) {
        throw std::runtime_error("'" + options.image.string() + "': " + problem);
    }
    if (options.json) {
        PrintJsonReport(options, mtf, out);
    } else {
        PrintReport(options, mtf, out);
    }
}

} // namespace

TargetCommand AddMtfCommand(CLI::App& program)
{
    constexpr unsigned c_mostPixels = 1U << 16;
    constexpr unsigned c_mostLevel = 256; // all levels are dark
    const auto options = std::make_shared<MtfOptions>();
    CLI::App* const parser =
        program.add_subcommand("mtf", "Measure the contrast of the optics on an image of the bar chart");
    parser->option_defaults()->take_last();
    parser->add_option("IMAGE", options->image, "The image: TIFF, PNG, JPEG, BMP, PGM or PFM")
        ->type_name(kFileType)
        ->required();
    const auto add = [&](const char* name, unsigned& value, unsigned most, const char* text) {
        parser->add_option(name, value, text)->check(IsBetween(1U, most))->capture_default_str();
    };
    add("--size", options->size, c_mostPixels, "Side of the central square with the rings, pixels");
    add("--limit", options->limit, c_mostLevel, "Levels of the blue channel below this one are dark");
    add("--dark", options->dark, c_mostPixels,
        "Runs of this many dark pixels and more are no part of the rings");
    add("--thin", options->thin, c_mostPixels,
        "Most dark pixels across a ring; the disc has over twice as many");
    parser->add_option("--out", options->out, "PNG to write: the image with marks on what was measured")
        ->type_name(kFileType);
    parser->add_flag("--json", options->json, "Print the figures as JSON");
    return [parser, options](std::ostream& out) {
        if (parser->parsed()) {
            RunMtf(*options, out);
        }
    };
}

} // namespace app
