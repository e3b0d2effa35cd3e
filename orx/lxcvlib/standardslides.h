// Data of the projector's slides that every device has, so that they need no file.
#pragma once

#include <string>

namespace LxCV {

/// The text of a target's data file for the slide of that name, `LxCCalibBody::sc_StandardParammsDiaA2` or
/// `LxCCalibBody::sc_StandardParammsDiaC`: thresholds of `LxCCProjSlideCalibThres`, and four corners for each of the
/// slide's marks, in slide units. Empty for any other name.
std::string GetStandardSlide(const std::string& name);

} // namespace LxCV
