#include "scanner/acceptance/statistics.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <numeric>
#include <stdexcept>

namespace acceptance {

namespace {

/// The probability that |t| does not exceed sqrt(freedom) tan(angle): the finite series for whole degrees of freedom
/// (Abramowitz and Stegun, 26.7.3 and 26.7.4).
double CentralProbability(double angle, int freedom)
{
    const double sine = std::sin(angle), cosine = std::cos(angle);
    const bool isOdd = freedom % 2 == 1;
    if (freedom == 1) {
        return 2.0 * angle / std::numbers::pi;
    }
    // Terms of the cosine's powers from 0 or 1 up to freedom - 2, each with the next factor (k - 1) / k.
    double term = isOdd ? cosine : 1.0;
    double sum = term;
    for (int power = isOdd ? 3 : 2; power <= freedom - 2; power += 2) {
        term *= cosine * cosine * (power - 1.0) / power;
        sum += term;
    }
    return isOdd ? 2.0 / std::numbers::pi * (angle + sine * sum) : sine * sum;
}

} // namespace

double StudentQuantile(double probability, int freedom)
{
    constexpr int c_mostFreedom = 1000000;
    if (!(probability > 0.0 && probability < 1.0) || freedom < 1 || freedom > c_mostFreedom) {
        throw std::invalid_argument("there is no such quantile of Student's distribution");
    }
    const double central = std::abs(2.0 * probability - 1.0);
    if (central == 0.0) {
        return 0.0; // where halving would go on down to the smallest number
    }
    double low = 0.0, high = std::numbers::pi / 2.0;
    for (double middle = 0.5 * high; low < middle && middle < high; middle = 0.5 * (low + high)) {
        (CentralProbability(middle, freedom) < central ? low : high) = middle;
    }
    return std::copysign(std::sqrt(static_cast<double>(freedom)) * std::tan(low), probability - 0.5);
}

Summary Summarise(std::span<const double> values)
{
    constexpr double c_upper = 0.975; // leaves 2.5 percent to each side
    Summary summary;
    summary.count = values.size();
    if (values.empty()) {
        return summary;
    }
    const auto count = static_cast<double>(values.size());
    summary.mean = std::accumulate(values.begin(), values.end(), 0.0) / count;
    summary.least = *std::ranges::min_element(values);
    summary.greatest = *std::ranges::max_element(values);
    if (values.size() > 1) {
        double squares = 0.0;
        for (const double value : values) {
            squares += (value - summary.mean) * (value - summary.mean);
        }
        summary.standardError = std::sqrt(squares / (count - 1.0) / count);
        summary.halfWidth =
            StudentQuantile(c_upper, static_cast<int>(values.size() - 1)) * *summary.standardError;
    }
    return summary;
}

} // namespace acceptance
