// Surface normals of points in a grid. Free of the image class.
#pragma once

#include "lxcfloat3.h"
#include "orx/base/export.h"

#include <cstddef>
#include <cstdint>
#include <span>

namespace LxCV::NormalKernels {

/// Points in lines, one line behind the other, with what belongs to each point. All spans have one size, a multiple of
/// the line's length.
struct SGrid
{
    std::size_t lineLength = 0;
    std::span<const LxCFloat3> points;
    std::span<const std::uint8_t> mask;
    std::span<LxCFloat3> normals;
    std::span<std::uint8_t> normalMask;
};

/// Squared length in mm^4 of a sum of vector products up to which there is no normal.
inline constexpr float c_fMinSquaredLength = 1.0000001e-6F;

/// Gives each point the normal of the surface that its neighbours span, in 32-bit arithmetic.
///
/// With the differences to the point before (a) and behind (b) in the line and to that of the line before (c) and
/// behind (d), the normal is
///
///     -s / |s|,   s = a x c + d x a + c x b + b x d
///
/// and zero where s·s is not above `c_fMinSquaredLength`. Where s·s overflows, from differences of some 1e9 mm on, s is
/// divided by infinity: zero, or NaN in the elements in which s itself overflows. Products with a neighbour outside of
/// the grid are left out. Neighbours count whatever their mask is. Where lines are rows of an image, x leads right, y
/// down and z away from the camera, normals of what the camera sees point towards it.
///
/// A point whose mask is not 1 has a zero normal, and its normal mask becomes 0; the normal masks of others stay.
/// Nothing is written if the spans do not have one size.
/// @return the number of points whose mask is 1
ORX_EXPORT std::size_t ComputeNormals(const SGrid& grid);

} // namespace LxCV::NormalKernels
