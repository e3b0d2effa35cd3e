// Whether a model's calibration targets can be used.
#pragma once

#include "scanner/calibration/modelcheck.h"

#include <vector>

namespace LxCV {
class LxCPinholeFramework;
}

namespace calibration {

/// Data files, numbers and thresholds of both targets of a model, as far as they depend on each other or on the
/// pattern.
std::vector<ModelFinding> CheckTargets(const LxCV::LxCPinholeFramework& model);

} // namespace calibration
