// The report page of a scan whose truth is not known.
#pragma once

#include "scanner/acquisition/imagepair.h"
#include "scanner/app/htmlreport.h"
#include "scanner/app/recordpoints.h"

#include <string>
#include <utility>
#include <vector>

namespace app {

/// @param title, subtitle of the page
/// @param times name and milliseconds of each stage that has run
ScanReport ReportOfScan(const std::string& title, const std::string& subtitle,
                        const acquisition::ImagePair& images, const RecordCloud& cloud,
                        const std::vector<std::pair<std::string, double>>& times);

} // namespace app
