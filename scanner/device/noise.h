// Noise of whole rows of grey levels.
#pragma once

#include "scanner/device/random.h"

#include <cstdint>
#include <span>

namespace device {

/// Adds normally distributed noise to grey levels, rounds them to whole numbers and clips them to 0..255. Level i
/// gets the number with the counter `first` + i, or, with `channels` above 1, groups of that many levels share the
/// number of their first one. The result does not depend on the machine.
/// @param sigma grey levels
void AddNoise(std::span<float> grey, const CounterRandom& random, std::uint64_t first, double sigma,
              std::size_t channels = 1);

} // namespace device
