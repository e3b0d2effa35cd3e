#include "scanner/device/texture.h"

#include "scanner/device/random.h"

#include <cmath>

namespace device {

namespace {

double LatticeValue(std::int64_t column, std::int64_t row, std::uint64_t key)
{
    constexpr std::uint64_t c_rowFactor = 0x100000001b3ULL;
    const std::uint64_t cell =
        static_cast<std::uint64_t>(column) + static_cast<std::uint64_t>(row) * c_rowFactor;
    return 2.0 * CounterRandom(key).Uniform(cell) - 1.0;
}

double Smooth(double t)
{
    return t * t * t * (10.0 + t * (6.0 * t - 15.0));
}

} // namespace

double ValueNoise(double x, double y, std::uint64_t key)
{
    constexpr double c_farthest = 1e9; // keeps the cell numbers within 64 bits; scenes span millimetres
    if (!(std::abs(x) < c_farthest && std::abs(y) < c_farthest)) {
        return 0.0;
    }
    const double left = std::floor(x);
    const double top = std::floor(y);
    const auto column = static_cast<std::int64_t>(left);
    const auto row = static_cast<std::int64_t>(top);
    const double a = Smooth(x - left);
    const double b = Smooth(y - top);
    const double upper = (1.0 - a) * LatticeValue(column, row, key) + a * LatticeValue(column + 1, row, key);
    const double lower =
        (1.0 - a) * LatticeValue(column, row + 1, key) + a * LatticeValue(column + 1, row + 1, key);
    return (1.0 - b) * upper + b * lower;
}

double Mottle(double x, double y, double grain, std::uint64_t key)
{
    return (2.0 * ValueNoise(x / grain, y / grain, key) +
            ValueNoise(2.0 * x / grain, 2.0 * y / grain, key + 1)) /
           3.0;
}

} // namespace device
