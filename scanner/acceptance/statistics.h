// Means of repeated measurements and how well they are known.
#pragma once

#include <cstddef>
#include <optional>
#include <span>

namespace acceptance {

/// The value that a quantity with Student's t distribution exceeds with probability 1 - `probability`.
/// @param freedom degrees of freedom
/// @throws std::invalid_argument for a probability that is not between 0 and 1, and for less than 1 or more than a
///         million degrees of freedom
double StudentQuantile(double probability, int freedom);

/// One figure over repetitions.
struct Summary
{
    std::size_t count = 0;
    double mean = 0.0;
    double least = 0.0;
    double greatest = 0.0;
    std::optional<double> standardError; ///< of the mean; from two repetitions on
    std::optional<double> halfWidth; ///< the mean lies within +- this with a probability of 95 percent, by
                                     ///< Student's t; from two repetitions on
};

/// The summary of no values is all zeros.
Summary Summarise(std::span<const double> values);

} // namespace acceptance
