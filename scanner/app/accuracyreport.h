// Reports on an acceptance test.
#pragma once

#include "scanner/acceptance/goals.h"

#include <nlohmann/json.hpp>

#include <iosfwd>

namespace app {

/// What was asked for, which reports begin with.
struct AccuracySettings
{
    acceptance::Repetitions repetitions;
    bool quick = false;
    bool table = false; ///< whether points are looked up in the table instead of being computed
};

nlohmann::ordered_json ToJson(const AccuracySettings& settings, const acceptance::AcceptanceResult& result);

void PrintAccuracyReport(const AccuracySettings& settings, const acceptance::AcceptanceResult& result,
                         std::ostream& out);

} // namespace app
