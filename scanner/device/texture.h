// Smooth irregular variation of a surface's reflectance.
#pragma once

#include <cstdint>

namespace device {

/// Value noise: random numbers in -1..1 on the integer lattice, joined by quintic polynomials, so that the first and
/// second derivative are continuous.
double ValueNoise(double x, double y, std::uint64_t key);

/// Two octaves of value noise, roughly within -1..1, with details of about `grain` mm and half of it.
double Mottle(double x, double y, double grain, std::uint64_t key);

} // namespace device
