// Whether the parts of a model fit each other.
#pragma once

#include "scanner/calibration/modelcheck.h"

#include <vector>

namespace LxCV {
class LxCPinholeFramework;
}

namespace calibration {

/// Image size and principal points, placements, working space, pattern, edge positions, light planes, unwrap table and
/// regions of a model, each where what it builds on is there.
std::vector<ModelFinding> CheckGeometry(const LxCV::LxCPinholeFramework& model);

} // namespace calibration
