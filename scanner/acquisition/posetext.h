// Poses of meshes in arguments.
#pragma once

#include "scanner/device/meshscene.h"

#include <string>
#include <string_view>

namespace acquisition {

/// Reads "RX,RY,RZ" or "RX,RY,RZ,TX,TY,TZ", degrees and mm in the classic locale; the scale stays.
/// @return false, and the pose as it was, for another text or a number that is not finite
bool ReadPose(std::string_view text, device::MeshPose& pose);

/// The text that reads back as the same pose.
std::string PoseText(const device::MeshPose& pose);

/// The shortest text that reads back as the same number.
std::string NumberText(double number);

} // namespace acquisition
