// Finding, checking and reading of an algorithm configuration.
#include "scanner/calibration/algorithmtext.h"

#include "lxccclalgoconfig.h"
#include "lxccctserializer.h"
#include "scanner/calibration/modelranges.h"

#include <array>
#include <cmath>
#include <functional>
#include <limits>
#include <map>
#include <set>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace calibration {

namespace {

using LxCV::LxCCCLAlgoConfig;
using Sections = std::vector<ModelSection>;

constexpr std::string_view kOwnName = "::LxCCCLAlgoConfig";
constexpr std::string_view kCoupling = "::CameraProjectorCoupling";

class TextSerializer : public LxCV::LxCCCTSerializer
{
public:
    std::string GetText() { return GetStream().str(); }
};

/// The sections that the library writes of one part of a configuration.
Sections Written(void (LxCCCLAlgoConfig::*serialize)(LxCV::LxCCCTSerializer&, const std::string&),
                 const std::string& root)
{
    LxCCCLAlgoConfig algorithm;
    TextSerializer serializer;
    serializer.Init(true, false);
    (algorithm.*serialize)(serializer, root);
    return SplitModelText(serializer.GetText());
}

/// Whether the library reads a float from a text, and all of it. It takes no hexadecimal ones.
bool IsFinite(std::string_view text)
{
    constexpr double kMost = std::numeric_limits<float>::max();
    const std::optional<double> number = ParseNumber(text);
    return number && std::abs(*number) <= kMost && text.find_first_of("xX") == std::string_view::npos;
}

std::array<float, 9> ValuesOf(const LxCV::LxCCameraProjectorCoupling& coupling)
{
    std::array<float, 9> a{};
    coupling.GetValues(a[0], a[1], a[2], a[3], a[4], a[5], a[6], a[7], a[8]);
    return a;
}

/// The library answers the identity where there is no inverse.
bool CanBeUndone(const LxCV::LxCCameraProjectorCoupling& coupling)
{
    const auto identity = ValuesOf({});
    return ValuesOf(coupling) == identity || ValuesOf(coupling.GetInverse()) != identity;
}

/// The library reads nothing of a text that is none to it.
bool Read(const std::string& text, const std::string& root, LxCCCLAlgoConfig& algorithm)
{
    LxCV::LxCCCTSerializer serializer;
    std::stringstream stream(text);
    serializer.ReadFromStringStream(stream);
    if (!serializer.Init(false, false)) {
        return false;
    }
    algorithm.Serialize(serializer, root);
    return true;
}

std::string TextOf(const ModelSection& section)
{
    std::string text = section.name + "\n";
    for (const ModelLine& line : section.lines) {
        text += line.key + (line.isPair ? "=" + line.value : "") + "\n";
    }
    return text;
}

/// Walks through the sections of a configuration.
class AlgorithmCheck
{
public:
    AlgorithmCheck(const Sections& sections, const std::string& root) : m_sections(sections), m_root(root)
    {
        // The two parts share a section. The values of the tools' part are not read from these texts.
        for (const ModelSection& section : Written(&LxCCCLAlgoConfig::Serialize, root)) {
            for (const ModelLine& line : section.lines) {
                m_known[section.name].insert(line.key);
                if (!line.key.starts_with("Calib")) { // the calibration state is in words
                    m_numbers[section.name].insert(line.key);
                }
            }
        }
        for (const ModelSection& section : Written(&LxCCCLAlgoConfig::SerializeNonIniFileParams, root)) {
            for (const ModelLine& line : section.lines) {
                m_known[section.name].insert(line.key);
            }
        }
    }

    std::vector<ModelFinding> Run()
    {
        std::map<std::string_view, std::size_t> lines;
        for (const ModelSection& section : m_sections) {
            if (!IsOfAlgorithm(section.name, m_root)) {
                continue;
            }
            const auto [first, isNew] = lines.try_emplace(section.name, section.number);
            const auto known = m_known.find(section.name);
            if (!isNew) {
                Add(section.number, section.name, "",
                    "comes twice; only the one in line " + std::to_string(first->second) + " counts",
                    "delete one of them");
            } else if (known == m_known.end()) {
                Add(section.number, section.name, "", "is unknown: nothing reads it",
                    "correct its name, or delete it");
            } else {
                CheckKeys(section, known->second);
            }
        }
        CheckCoupling();
        return std::move(m_findings);
    }

private:
    using Keys = std::set<std::string, std::less<>>;

    void Add(std::size_t line, const std::string& section, const std::string& key, const std::string& problem,
             const std::string& advice)
    {
        m_findings.push_back({true, line, section, key, problem, advice});
    }

    void CheckKeys(const ModelSection& section, const Keys& known)
    {
        std::map<std::string_view, std::size_t> lines;
        for (const ModelLine& line : section.lines) {
            const auto [first, isNew] = lines.try_emplace(line.key, line.number);
            if (!line.isPair && !m_isOwn) {
                continue;
            }
            if (!line.isPair) {
                Add(line.number, section.name, "", "a line without '=' is not read", "correct or delete it");
            } else if (!known.contains(line.key) && !m_isOwn) {
                continue; // of something else in this section
            } else if (!known.contains(line.key)) {
                Add(line.number, section.name, line.key, "is unknown: nothing reads it",
                    "correct its name, or delete it");
            } else if (!m_numbers[section.name].contains(line.key)) {
                continue; // of which the library itself writes one twice
            } else if (!isNew) {
                Add(line.number, section.name, line.key,
                    "comes twice; only the one in line " + std::to_string(first->second) + " counts",
                    "delete one of them");
            } else if (!IsFinite(line.value)) {
                Add(line.number, section.name, line.key, "'" + line.value + "' is no finite number",
                    "write a number, with a point for its fraction");
            }
        }
    }

    /// Of what can be read.
    void CheckCoupling()
    {
        const ModelSection* const coupling = FindSection(m_sections, m_root + std::string(kCoupling));
        LxCCCLAlgoConfig algorithm;
        if (coupling != nullptr && m_findings.empty() && Read(TextOf(*coupling), m_root, algorithm) &&
            !CanBeUndone(*algorithm.GetCameraProjectorCoupling())) {
            Add(coupling->number, coupling->name, "", "the coupling of projector and camera has no inverse",
                "calibrate the colours, or delete the section, which leaves the colours as they are");
        }
    }

    const Sections& m_sections;
    const std::string& m_root;
    bool m_isOwn = m_root.ends_with(kOwnName);          ///< whether nothing else is to be in these sections
    std::map<std::string, Keys, std::less<>> m_known;   ///< by section
    std::map<std::string, Keys, std::less<>> m_numbers; ///< those of one number
    std::vector<ModelFinding> m_findings;
};

} // namespace

std::optional<std::string> FindAlgorithmRoot(const Sections& sections)
{
    std::set<std::string_view> names;
    for (const ModelSection& section : sections) {
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

bool IsOfAlgorithm(std::string_view section, std::string_view root)
{
    if (section.empty() || !section.starts_with(root)) {
        return false;
    }
    const std::string_view name = section.substr(root.size());
    return name.empty() || name == kCoupling || name.starts_with("::EdgeDetection") ||
           (name.starts_with("::") && root.ends_with(kOwnName));
}

std::string AlgorithmTextOf(const Sections& sections)
{
    const std::optional<std::string> root = FindAlgorithmRoot(sections);
    std::string text;
    for (const ModelSection& section : sections) {
        text += root && IsOfAlgorithm(section.name, *root) ? TextOf(section) : "";
    }
    return text;
}

std::vector<ModelFinding> CheckAlgorithm(const Sections& sections, const std::string& root)
{
    return AlgorithmCheck(sections, root).Run();
}

bool TakeAlgorithm(const std::string& text, const Sections& sections, LxCCCLAlgoConfig& algorithm)
{
    const std::optional<std::string> root = FindAlgorithmRoot(sections);
    if (!root) {
        return false;
    }
    const std::vector<ModelFinding> findings = CheckAlgorithm(sections, *root);
    if (!findings.empty()) {
        throw std::runtime_error(FindingText(findings.front()));
    }
    LxCCCLAlgoConfig taken = algorithm;
    if (!Read(text, *root, taken)) {
        return false;
    }
    if (!CanBeUndone(*taken.GetCameraProjectorCoupling())) {
        throw std::runtime_error(*root + std::string(kCoupling) +
                                 ": together with the coefficients that are kept, the "
                                 "coupling of projector and camera has no inverse");
    }
    algorithm = std::move(taken);
    return true;
}

} // namespace calibration
