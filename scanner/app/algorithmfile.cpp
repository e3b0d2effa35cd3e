// Finding, checking and reading of an algorithm configuration.
#include "scanner/app/algorithmfile.h"

#include "lxccclalgoconfig.h"
#include "lxccctserializer.h"
#include "scanner/app/modelfile.h"
#include "scanner/calibration/modelranges.h"
#include "scanner/calibration/modeltext.h"

#include <array>
#include <cmath>
#include <limits>
#include <set>
#include <span>
#include <sstream>
#include <stdexcept>
#include <string_view>

namespace app {

namespace {

using Sections = std::vector<calibration::ModelSection>;

constexpr std::string_view kCoupling = "::CameraProjectorCoupling";

/// Whether the library reads a float from a text, and all of it. It takes no hexadecimal ones.
bool IsFinite(std::string_view text)
{
    constexpr double kMost = std::numeric_limits<float>::max();
    const std::optional<double> number = calibration::ParseNumber(text);
    return number && std::abs(*number) <= kMost && text.find_first_of("xX") == std::string_view::npos;
}

/// The library would keep the default, and the measurement would be a wrong one without a word.
void RequireNumbers(const Sections& sections, const std::string& name, std::span<const char* const> keys)
{
    const calibration::ModelSection* const section = calibration::FindSection(sections, name);
    for (const char* const key : keys) {
        const calibration::ModelLine* const line = section == nullptr ? nullptr : section->Find(key);
        if (line != nullptr && !IsFinite(line->value)) {
            throw std::runtime_error(name + ": " + key + " in line " + std::to_string(line->number) +
                                     " is no finite number");
        }
    }
}

void RequireInverse(const LxCV::LxCCCLAlgoConfig& algorithm, const std::string& name)
{
    const auto valuesOf = [](const LxCV::LxCCameraProjectorCoupling& coupling) {
        std::array<float, 9> a{};
        coupling.GetValues(a[0], a[1], a[2], a[3], a[4], a[5], a[6], a[7], a[8]);
        return a;
    };
    const LxCV::LxCCameraProjectorCoupling& coupling = *algorithm.GetCameraProjectorCoupling();
    const auto identity = valuesOf({});
    // The library answers the identity where there is no inverse.
    if (valuesOf(coupling) != identity && valuesOf(coupling.GetInverse()) == identity) {
        throw std::runtime_error(name + ": the coupling of projector and camera has no inverse");
    }
}

} // namespace

std::optional<std::string> FindAlgorithmRoot(const Sections& sections)
{
    std::set<std::string_view> names;
    for (const calibration::ModelSection& section : sections) {
        // The library reads nothing of lines before the first header, nor of a second section of a name.
        const bool isRead = !section.name.empty() && names.insert(section.name).second;
        if (isRead && section.Find("FocalDistance_mm") != nullptr) {
            return section.name;
        }
        if (section.name.ends_with(kCoupling)) {
            return section.name.substr(0, section.name.size() - kCoupling.size());
        }
    }
    return std::nullopt;
}

bool TakeAlgorithm(const std::string& text, const Sections& sections, LxCV::LxCCCLAlgoConfig& algorithm)
{
    constexpr std::array kDistances{"FocalDistance_mm",  "DepthCulling_mm",   "ExitWindowDistance",
                                    "ExitWindowNormalX", "ExitWindowNormalY", "ExitWindowNormalZ"};
    constexpr std::array kCoefficients{"Arr", "Arg", "Arb", "Agr", "Agg", "Agb", "Abr", "Abg", "Abb"};
    const std::optional<std::string> root = FindAlgorithmRoot(sections);
    if (!root) {
        return false;
    }
    const std::string coupling = *root + std::string(kCoupling);
    RequireNumbers(sections, *root, kDistances);
    RequireNumbers(sections, coupling, kCoefficients);
    LxCV::LxCCCTSerializer serializer;
    std::stringstream stream(text);
    serializer.ReadFromStringStream(stream);
    if (!serializer.Init(false, false)) {
        return false;
    }
    algorithm.Serialize(serializer, *root);
    RequireInverse(algorithm, coupling);
    return true;
}

void LoadAlgorithm(const std::filesystem::path& file, LxCV::LxCCCLAlgoConfig& algorithm)
{
    const std::string text = ReadModelFile(file).text;
    bool isThere = false;
    try {
        isThere = TakeAlgorithm(text, calibration::SplitModelText(text), algorithm);
    } catch (const std::runtime_error& error) {
        throw std::runtime_error("'" + file.string() + "': " + error.what());
    }
    if (!isThere) {
        throw std::runtime_error(
            "'" + file.string() +
            "' is no algorithm configuration: it has no section with FocalDistance_mm and "
            "none whose name ends with '" +
            std::string(kCoupling) + "'");
    }
}

} // namespace app
