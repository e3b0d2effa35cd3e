// Arithmetic on the points of a scan. Free of the image class.
#pragma once

#include "lxcfloat3.h"
#include "orx/base/export.h"

#include <cstddef>
#include <cstdint>
#include <span>

namespace LxCV::ScanKernels {

/// The value of a mask where its pixel holds a point.
inline constexpr std::uint8_t c_uiValid = 1;

/// Maps every point p to M·(p, 1), in double and rounded to float at the end, in place.
/// @param matrix three rows of four, row-major; each is summed up from its first element to its last one
ORX_EXPORT void TransformPoints(std::span<const double, 12> matrix, std::span<LxCFloat3> points);

/// Sets every point whose mask is not 1 to (0, 0, 0). Points beyond the end of the mask are left as they are.
/// @return the number of points whose mask is 1
ORX_EXPORT std::size_t ZeroInvalidPoints(std::span<const std::uint8_t> mask, std::span<LxCFloat3> points);

} // namespace LxCV::ScanKernels
