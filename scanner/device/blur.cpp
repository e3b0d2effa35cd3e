#include "scanner/device/blur.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <stdexcept>

namespace device {

namespace {

/// row[x] = sum over k of weights[k] sources[k][x]. The loop over x is innermost, so that it is vectorised.
template <typename Value>
void WeightedSum(std::span<const Value* const> sources, std::span<const double> weights,
                 std::span<double> row)
{
    std::fill(row.begin(), row.end(), 0.0);
    for (std::size_t k = 0; k < weights.size(); ++k) {
        const double weight = weights[k];
        const Value* const source = sources[k];
        for (std::size_t x = 0; x < row.size(); ++x) {
            row[x] += weight * static_cast<double>(source[x]);
        }
    }
}

} // namespace

std::vector<double> BlurKernel(double sigma)
{
    constexpr double c_sharp = 0.02; // pixels; exp(-0.5 / c_sharp^2) is 0 in double precision
    if (sigma < c_sharp) {
        return {1.0};
    }
    const int reach = static_cast<int>(std::ceil(4.0 * sigma));
    std::vector<double> kernel;
    double sum = 0.0;
    for (int offset = -reach; offset <= reach; ++offset) {
        kernel.push_back(std::exp(-0.5 * offset * offset / (sigma * sigma)));
        sum += kernel.back();
    }
    for (double& weight : kernel) {
        weight /= sum;
    }
    return kernel;
}

std::vector<float> BlurPlane(std::span<const float> source, int width, int height,
                             std::span<const double> kernel)
{
    const std::size_t taps = kernel.size();
    if (taps % 2 == 0 || width < 0 || height < 0) {
        throw std::invalid_argument("a blur needs an odd kernel and a plane of positive size");
    }
    const std::size_t columns = static_cast<std::size_t>(width), rows = static_cast<std::size_t>(height);
    const std::size_t stride = columns + taps - 1;
    if (source.size() != stride * (rows + taps - 1)) {
        throw std::invalid_argument("the plane to blur does not have the margin of its kernel");
    }
    std::vector<float> result(columns * rows);
    std::vector<double> ring(columns * taps); // the last rows, blurred along x
    std::vector<double> sum(columns);
    std::vector<const float*> shifted(taps);
    std::vector<const double*> lines(taps);
    for (std::size_t line = 0; line < rows + taps - 1; ++line) {
        for (std::size_t k = 0; k < taps; ++k) {
            shifted[k] = source.data() + line * stride + k;
        }
        WeightedSum<float>(shifted, kernel, std::span(ring).subspan((line % taps) * columns, columns));
        if (line + 1 < taps) {
            continue;
        }
        const std::size_t row = line + 1 - taps;
        for (std::size_t k = 0; k < taps; ++k) {
            lines[k] = ring.data() + ((row + k) % taps) * columns;
        }
        WeightedSum<double>(lines, kernel, sum);
        std::transform(sum.begin(), sum.end(), result.begin() + static_cast<std::ptrdiff_t>(row * columns),
                       [](double value) { return static_cast<float>(value); });
    }
    return result;
}

} // namespace device
