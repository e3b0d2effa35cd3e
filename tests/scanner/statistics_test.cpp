#include "scanner/acceptance/statistics.h"

#include "scanner/device/random.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <numbers>
#include <stdexcept>
#include <vector>

namespace acceptance {
namespace {

struct TableEntry
{
    int freedom;
    double probability;
    double quantile; ///< to three decimals
};

TEST(StudentQuantile, AgreesWithTheTable)
{
    constexpr std::array<TableEntry, 22> table{
        {{1, 0.975, 12.706},  {2, 0.975, 4.303},  {3, 0.975, 3.182},  {4, 0.975, 2.776},  {5, 0.975, 2.571},
         {6, 0.975, 2.447},   {7, 0.975, 2.365},  {8, 0.975, 2.306},  {9, 0.975, 2.262},  {10, 0.975, 2.228},
         {15, 0.975, 2.131},  {20, 0.975, 2.086}, {29, 0.975, 2.045}, {30, 0.975, 2.042}, {60, 0.975, 2.000},
         {120, 0.975, 1.980}, {1, 0.95, 6.314},   {5, 0.95, 2.015},   {10, 0.995, 3.169}, {3, 0.9, 1.638},
         {7, 0.999, 4.785},   {100, 0.99, 2.364}}};
    for (const TableEntry& entry : table) {
        EXPECT_NEAR(StudentQuantile(entry.probability, entry.freedom), entry.quantile, 0.0005)
            << entry.freedom << " " << entry.probability;
    }
}

TEST(StudentQuantile, AgreesWithTheClosedFormsOfOneAndTwoDegrees)
{
    constexpr double rounding = 1e-12;
    for (const double p : {0.01, 0.1, 0.4, 0.5, 0.6, 0.9, 0.99}) {
        EXPECT_NEAR(StudentQuantile(p, 1), std::tan(std::numbers::pi * (p - 0.5)), 100.0 * rounding) << p;
        EXPECT_NEAR(StudentQuantile(p, 2), (2.0 * p - 1.0) / std::sqrt(2.0 * p * (1.0 - p)), 10.0 * rounding)
            << p;
    }
}

TEST(StudentQuantile, TendsToTheNormalOne)
{
    EXPECT_NEAR(StudentQuantile(0.975, 1000000), 1.959964, 5e-6);
}

TEST(StudentQuantile, SenselessArgumentsAreRefused)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    for (const double probability : {0.0, 1.0, -0.1, 1.1, nan}) {
        EXPECT_THROW(StudentQuantile(probability, 5), std::invalid_argument) << probability;
    }
    EXPECT_THROW(StudentQuantile(0.975, 0), std::invalid_argument);
    EXPECT_THROW(StudentQuantile(0.975, 1000001), std::invalid_argument);
}

TEST(Summary, IsThatOfAHandCalculation)
{
    // Deviation 1, so standard error 1 / sqrt 3 and 4.3027 times it.
    const Summary summary = Summarise(std::vector{1.0, 2.0, 3.0});
    EXPECT_EQ(summary.count, 3U);
    EXPECT_EQ(summary.mean, 2.0);
    EXPECT_EQ(summary.least, 1.0);
    EXPECT_EQ(summary.greatest, 3.0);
    EXPECT_NEAR(summary.standardError.value(), 0.577350, 1e-6);
    EXPECT_NEAR(summary.halfWidth.value(), 2.484138, 1e-5);
}

TEST(Summary, OfOneValueHasNoInterval)
{
    const Summary one = Summarise(std::vector{4.0});
    EXPECT_EQ(one.mean, 4.0);
    EXPECT_FALSE(one.standardError.has_value());
    EXPECT_FALSE(one.halfWidth.has_value());
    const Summary none = Summarise({});
    EXPECT_EQ(none.count, 0U);
    EXPECT_EQ(none.mean, 0.0);
}

TEST(Summary, IntervalCoversTheTruthIn95PercentOfTheSeries)
{
    constexpr int series = 4000;
    const device::CounterRandom random(3);
    int covered = 0;
    for (int trial = 0; trial < series; ++trial) {
        std::vector<double> values;
        for (int index = 0; index < 5; ++index) {
            values.push_back(7.0 + random.Normal(static_cast<std::uint64_t>(5 * trial + index)));
        }
        const Summary summary = Summarise(values);
        covered += std::abs(summary.mean - 7.0) <= summary.halfWidth.value() ? 1 : 0;
    }
    // Binomial: sigma is sqrt(0.95 * 0.05 / 4000) = 0.0034; four of them.
    EXPECT_NEAR(static_cast<double>(covered) / series, 0.95, 0.0138);
}

} // namespace
} // namespace acceptance
