// Debug pictures of edge images.
#pragma once

#include "calibedgeimages.h"

namespace LxCV {

class CCTImage;

/// Draws the frame of each region in green, with its local and its total threshold in the upper left corner.
void DrawThresholdRegions(CCTImage& image, const SExtremumThresholds& thresholds);

} // namespace LxCV
