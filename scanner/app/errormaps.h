// The picture of an acceptance test: how far the points of each flat are from its plane.
#pragma once

#include "cctimage.h"
#include "scanner/acceptance/acceptancetest.h"

#include <span>

namespace app {

/// One map for each flat, in rows of four at half the size of the camera's image: distances up to +-`scale` (mm) from
/// blue, nearer than the plane, over white to red; dark where there is no point. Names, figures and the scale of
/// colours are written beside them.
/// @param width, height of the camera's image, pixels
/// @return type `eIDT_ARGB8`
LxCV::CCTImage PaintErrorMaps(std::span<const acceptance::FlatnessRuns> flats, int width, int height,
                              double scale);

} // namespace app
