// Reports on scenes that are hard to measure.
#pragma once

#include "scanner/acceptance/hardscenes.h"
#include "scanner/app/accuracyreport.h"

#include <nlohmann/json.hpp>

#include <iosfwd>
#include <span>
#include <string>
#include <vector>

namespace app {

/// What a scene gave, with a seed for each of the figures.
struct HardResult
{
    std::string scene;
    std::vector<acceptance::HardFigures> seeds;
};

nlohmann::ordered_json ToJson(const AccuracySettings& settings, std::span<const HardResult> results);

void PrintHardReport(const AccuracySettings& settings, std::span<const HardResult> results,
                     std::ostream& out);

} // namespace app
