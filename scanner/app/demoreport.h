// The report page of the demo.
#pragma once

#include "scanner/app/htmlreport.h"
#include "scanner/app/measurement.h"

#include <string>
#include <utility>
#include <vector>

namespace app {

/// @param source where the images came from
/// @param times  name and milliseconds of each stage that has run
ScanReport DemoReport(const acquisition::Rendering& rendering, const std::string& source,
                      const Measurement& measurement,
                      const std::vector<std::pair<std::string, double>>& times);

} // namespace app
