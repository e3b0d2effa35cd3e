// Gaussian blur on whole pixels.
#pragma once

#include <span>
#include <vector>

namespace device {

/// Samples of Gauss's bell at whole pixels, with sum 1, an odd number of them around the middle; a single 1 where the
/// bell is gone at the next pixel. `sigma` in pixels, not negative.
std::vector<double> BlurKernel(double sigma);

/// Blurs a plane along rows and columns with one symmetric kernel.
///
/// @param source the plane row by row, with a margin of half a kernel on every side: width + k - 1 columns and
///     height + k - 1 rows for k weights
/// @param kernel an odd number of weights
/// @return width * height values, row by row
/// @throws std::invalid_argument where the sizes do not fit
std::vector<float> BlurPlane(std::span<const float> source, int width, int height,
                             std::span<const double> kernel);

} // namespace device
