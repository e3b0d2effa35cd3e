#include "scanner/app/pairoptions.h"

#include "scanner/acquisition/numbertext.h"

#include <CLI/CLI.hpp>

#include <cstdint>
#include <string>

namespace app {

namespace {

/// Takes whole numbers in decimal only, where the parser would also wrap negative and clip large ones.
CLI::Validator IsSeed()
{
    return {[](std::string& text) {
                std::uint64_t seed = 0;
                if (!acquisition::ReadNumber(text, seed)) {
                    return "Value " + text + " is no whole number from 0 to 2^64 - 1";
                }
                text = std::to_string(seed);
                return std::string();
            },
            "", ""};
}

/// Refuses what is no number, too, unlike `CLI::Range`.
CLI::Validator IsNoise()
{
    return {[](std::string& text) {
                double noise = 0.0;
                const bool fits = acquisition::ReadNumber(text, noise) && noise >= 0.0 &&
                                  noise <= acquisition::kLargestNoise;
                return fits ? std::string() : "Value " + text + " is no number from 0 to 100";
            },
            "in [0 - 100]", ""};
}

} // namespace

void AddPairOptions(CLI::App& command, acquisition::PairOptions& options)
{
    command.add_option("--scene", options.scene, "What the camera looks at")
        ->check(CLI::IsMember(device::SceneNames()))
        ->capture_default_str();
    command.add_option("--seed", options.seed, "Seed of the noise")
        ->transform(IsSeed())
        ->capture_default_str();
    command.add_option("--noise", options.noise, "Factor on the sensor's noise; 0 for none, and no rounding")
        ->check(IsNoise())
        ->capture_default_str();
}

} // namespace app
