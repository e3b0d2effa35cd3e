// Reads any text as an algorithm configuration: it is refused with a reason, or its numbers are those of the text.
#include "lxccclalgoconfig.h"
#include "orx/logging/logger.h"
#include "scanner/calibration/algorithmtext.h"

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using LxCV::LxCCCLAlgoConfig;
using Sections = std::vector<calibration::ModelSection>;
using Numbers = std::array<float, 15>;

constexpr std::array kDistances{"FocalDistance_mm",  "DepthCulling_mm",   "ExitWindowDistance",
                                "ExitWindowNormalX", "ExitWindowNormalY", "ExitWindowNormalZ"};

void Require(bool condition)
{
    if (!condition) {
        std::abort();
    }
}

/// The distances in the order of their keys, and the coupling by rows.
Numbers NumbersOf(const LxCCCLAlgoConfig& algorithm)
{
    Numbers n{algorithm.GetFocalDistance(),      algorithm.GetDepthCullingDistance(),
              algorithm.GetExitWindowDistance(), algorithm.GetExitWindowNormalX(),
              algorithm.GetExitWindowNormalY(),  algorithm.GetExitWindowNormalZ()};
    algorithm.GetCameraProjectorCoupling(n[6], n[7], n[8], n[9], n[10], n[11], n[12], n[13], n[14]);
    return n;
}

/// Every distance that the text tells is taken; one that it does not tell stays.
void CheckDistances(const Sections& sections, const std::string& root, const Numbers& before,
                    const Numbers& now)
{
    const calibration::ModelSection* const section = calibration::FindSection(sections, root);
    for (std::size_t i = 0; i < kDistances.size(); ++i) {
        const calibration::ModelLine* const line =
            section == nullptr ? nullptr : section->Find(kDistances[i]);
        const float expected = line == nullptr ? before[i] : std::strtof(line->value.c_str(), nullptr);
        Require(now[i] == expected);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const Logging::CCapture quiet;
    const std::string text(data, data + size);
    const Sections sections = calibration::SplitModelText(text);
    LxCCCLAlgoConfig algorithm;
    const Numbers before = NumbersOf(algorithm);
    try {
        const bool isTaken = calibration::TakeAlgorithm(text, sections, algorithm);
        const Numbers now = NumbersOf(algorithm);
        for (const float number : now) {
            Require(std::isfinite(number));
        }
        if (!isTaken) {
            Require(now == before);
            return 0;
        }
        CheckDistances(sections, calibration::FindAlgorithmRoot(sections).value(), before, now);
        Require(calibration::TakeAlgorithm(text, sections, algorithm) && NumbersOf(algorithm) == now);
    } catch (const std::runtime_error& error) {
        Require(*error.what() != '\0');
    }
    return 0;
}
