#include "scanner/app/cornerreport.h"

#include "scanner/acquisition/rendering.h"
#include "scanner/app/numberoption.h"
#include "scanner/calibration/cornerid.h"

#include <CLI/CLI.hpp>

#include <iomanip>
#include <ostream>
#include <string>

namespace app {

nlohmann::ordered_json TimesToJson(const calibration::StageTimes& times)
{
    nlohmann::ordered_json json = nlohmann::ordered_json::object();
    for (const calibration::StageTimes::Stage& stage : times.Stages()) {
        json[std::string(stage.name)] = stage.milliseconds;
    }
    return json;
}

void PrintTimes(const calibration::StageTimes& times, std::ostream& out)
{
    out << std::fixed << std::setprecision(2);
    const char* separator = "";
    for (const calibration::StageTimes::Stage& stage : times.Stages()) {
        out << separator << stage.name << " " << stage.milliseconds << " ms";
        separator = ", ";
    }
    out << "\n";
}

void AddCounts(const calibration::BoardAccuracy& accuracy, nlohmann::ordered_json& json)
{
    json["not_identified"] = accuracy.failed;
    json["named"] = accuracy.named;
    json["wrong"] = accuracy.wrong;
    json["visible"] = accuracy.visible;
    json["named_share"] = accuracy.NamedShare();
}

void AddErrors(const calibration::BoardAccuracy& accuracy, nlohmann::ordered_json& json)
{
    json["mean_px"] = accuracy.mean;
    json["p95_px"] = accuracy.p95;
    json["p99_px"] = accuracy.p99;
    json["max_px"] = accuracy.largest;
    json["bias_px"] = {accuracy.bias.x, accuracy.bias.y};
}

nlohmann::ordered_json MarkToJson(int id, const device::Vec2& image)
{
    return {{"id", id},
            {"square", calibration::SquareOf(id)},
            {"corner", calibration::CornerName(id)},
            {"x", image.x},
            {"y", image.y}};
}

std::ostream& PrintMark(std::ostream& out, int id, const device::Vec2& image)
{
    return out << std::fixed << std::setw(5) << id << std::setw(8) << calibration::SquareOf(id) << "  "
               << std::left << std::setw(11) << calibration::CornerName(id) << std::right
               << std::setprecision(3) << std::setw(8) << image.x << " " << std::setw(8) << image.y;
}

std::ostream& Label(std::ostream& out, const char* text)
{
    constexpr int width = 18;
    return out << "  " << std::left << std::setw(width) << text << std::right;
}

void PrintErrors(const calibration::BoardAccuracy& accuracy, std::ostream& out)
{
    out << std::fixed << std::setprecision(4);
    Label(out, "error, mean") << accuracy.mean << " pixels over " << accuracy.named << " corners\n";
    Label(out, "error, 95 percent") << accuracy.p95 << " pixels\n";
    Label(out, "error, 99 percent") << accuracy.p99 << " pixels\n";
    Label(out, "error, largest") << accuracy.largest << " pixels\n";
    Label(out, "bias") << accuracy.bias.x << ", " << accuracy.bias.y << " pixels\n";
    Label(out, "wrong names") << accuracy.wrong << "\n";
}

void AddSeriesOptions(CLI::App& parser, const std::string& name, const std::string& help, std::size_t& count,
                      std::uint64_t& seed)
{
    constexpr std::size_t mostImages = 1000000;
    constexpr std::uint64_t mostSeed = std::uint64_t{1} << 62;
    parser.add_option(name, count, help)->check(IsBetween<std::size_t>(1, mostImages))->capture_default_str();
    parser.add_option("--seed", seed, "Seed of the first pose and its noise; each next pose has the next")
        ->check(IsBetween<std::uint64_t>(0, mostSeed))
        ->capture_default_str();
}

void AddPoseOptions(CLI::App& parser, std::size_t& poses, std::uint64_t& seed)
{
    AddSeriesOptions(parser, "--poses", "How many poses are rendered", poses, seed);
}

void AddBlurOption(CLI::App& parser, double& blur)
{
    constexpr double mostBlur = 10.0;
    parser.add_option("--blur", blur, "Sigma of the camera's blur, pixels")
        ->check(IsBetween(0.0, mostBlur))
        ->capture_default_str();
}

void AddNoiseFactorOption(CLI::App& parser, double& noise)
{
    parser.add_option("--noise", noise, "Factor on the sensor's noise; 0 for none, and no rounding")
        ->check(IsBetween(0.0, acquisition::kLargestNoise))
        ->capture_default_str();
}

} // namespace app
