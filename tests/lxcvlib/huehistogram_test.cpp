#include "huehistogram.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <random>
#include <vector>

namespace LxCV {
namespace {

constexpr int c_iRed = 180; ///< bin of hue 0
constexpr float c_fInfinity = std::numeric_limits<float>::infinity();
constexpr float c_fNaN = std::numeric_limits<float>::quiet_NaN();

/// A colour in the middle of a bin from 180 to 239, that is half a degree above `bin` - 180: red 120, no blue, and
/// green 120 / 60 times the hue.
LxCFloat3 ColorOf(int bin)
{
    return {0.0F, static_cast<float>(2 * (bin - c_iRed) + 1), 120.0F};
}

void AddTimes(CHueHistogram& histogram, int bin, int times)
{
    for (int i = 0; i < times; ++i) {
        histogram.Add(ColorOf(bin));
    }
}

/// The bin that the pixel is counted in; -1 where it is in none.
int BinOf(const LxCFloat3& pixel)
{
    CHueHistogram histogram;
    histogram.Add(pixel);
    for (int bin = 0; bin < CHueHistogram::c_iBins; ++bin) {
        if (histogram.GetCount(bin) == 1) {
            return bin;
        }
    }
    return -1;
}

TEST(HueOf, IsAMultipleOfSixtyForTheCornersOfTheHexagon)
{
    // Blue, green, red.
    EXPECT_EQ(HueOf({0, 0, 255}), 0.0F);     // red
    EXPECT_EQ(HueOf({0, 255, 255}), 60.0F);  // yellow
    EXPECT_EQ(HueOf({0, 255, 0}), 120.0F);   // green
    EXPECT_EQ(HueOf({255, 255, 0}), 180.0F); // cyan
    EXPECT_EQ(HueOf({255, 0, 0}), 240.0F);   // blue
    EXPECT_EQ(HueOf({255, 0, 255}), -60.0F); // magenta: of equal ones red is the largest
}

TEST(HueOf, IsZeroWithoutColour)
{
    EXPECT_EQ(HueOf({0, 0, 0}), 0.0F);
    EXPECT_EQ(HueOf({7, 7, 7}), 0.0F);
    EXPECT_EQ(HueOf({255, 255, 255}), 0.0F);
}

TEST(HueOf, IsTheHueThatAColourWasMadeOf)
{
    // The way back: along the hexagon one channel is full, one empty, and the third grows or falls by 1 in 60 degrees.
    // Six roundings of numbers up to 360 in units of 2^-24, magnified by the division by a range of at least 0.1.
    constexpr double c_dTolerance = 6 * 360 * 0x1p-24 / 0.1;
    std::mt19937 random(91);
    std::uniform_real_distribution<double> hues(-59.0, 299.0);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    for (int i = 0; i < 5000; ++i) {
        const double hue = hues(random);
        const double range = 0.1 + 0.9 * unit(random);
        const double grey = (1.0 - range) * unit(random);
        const auto channel = [&](double center) {
            double distance = std::abs(hue - center);
            distance = std::min(distance, 360.0 - distance);
            return static_cast<float>(255.0 * (grey + range * std::clamp(2.0 - distance / 60.0, 0.0, 1.0)));
        };
        const LxCFloat3 pixel(channel(240.0), channel(120.0), channel(0.0));
        ASSERT_NEAR(HueOf(pixel), hue, c_dTolerance) << range << " above " << grey;
    }
}

TEST(CHueHistogram, CutsHuesTowardsRed)
{
    // Hues of red 120: (green - blue) / 120 * 60.
    EXPECT_EQ(BinOf({0, 3, 120}), 181); // 1.5
    EXPECT_EQ(BinOf({0, 1, 120}), 180); // 0.5
    EXPECT_EQ(BinOf({1, 0, 120}), 180); // -0.5
    EXPECT_EQ(BinOf({3, 0, 120}), 179); // -1.5
    EXPECT_EQ(BinOf({255, 0, 255}), 120);
}

TEST(CHueHistogram, CountsNoHueFromCyanOn)
{
    EXPECT_EQ(BinOf({254, 255, 0}), 359); // 120 + 60 * 254 / 255 = 179.76
    EXPECT_EQ(BinOf({255, 255, 0}), -1);  // 180
    EXPECT_EQ(BinOf({255, 0, 0}), -1);    // 240
    EXPECT_EQ(BinOf({255, 0, 254}), -1);  // 299.76
}

TEST(CHueHistogram, CountsOnlyFiniteColours)
{
    constexpr float c_fLargest = std::numeric_limits<float>::max();
    for (std::size_t hard = 0; hard < 3; ++hard) {
        for (const float value : {c_fNaN, c_fInfinity, -c_fInfinity}) {
            for (const float other : {0.0F, 10.0F}) {
                std::array<float, 3> elements{other, other, other};
                elements[hard] = value;
                EXPECT_EQ(BinOf({elements[0], elements[1], elements[2]}), -1) << hard << " " << value;
            }
        }
    }
    EXPECT_EQ(BinOf(LxCFloat3(c_fLargest)), c_iRed);
    EXPECT_EQ(BinOf({0, 0, 0}), c_iRed);
}

TEST(CHueHistogram, TellsItsCounts)
{
    CHueHistogram histogram;
    EXPECT_EQ(histogram.GetLargestCount(), 0);
    AddTimes(histogram, 200, 3);
    AddTimes(histogram, 210, 5);
    EXPECT_EQ(histogram.GetCount(200), 3);
    EXPECT_EQ(histogram.GetCount(201), 0);
    EXPECT_EQ(histogram.GetCount(210), 5);
    EXPECT_EQ(histogram.GetLargestCount(), 5);
    for (const int bin : {-1, 360, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()}) {
        EXPECT_EQ(histogram.GetCount(bin), 0) << bin;
    }
}

TEST(OtsuThreshold, IsZeroWithoutTwoClasses)
{
    CHueHistogram histogram;
    EXPECT_EQ(histogram.GetOtsuThreshold(), 0);
    AddTimes(histogram, 200, 4);
    EXPECT_EQ(histogram.GetOtsuThreshold(), 0);
}

TEST(OtsuThreshold, IsTheFirstOfEqualOnes)
{
    // {180} and {200, 220}: 1 * 2 * (180 - 210)^2 = 1800; {180, 200} and {220}: 2 * 1 * (190 - 220)^2 = 1800. Bins
    // between two filled ones part the same classes as the lower one of them.
    CHueHistogram histogram;
    for (const int bin : {180, 200, 220}) {
        AddTimes(histogram, bin, 1);
    }
    EXPECT_EQ(histogram.GetOtsuThreshold(), 180);
    // {180, 200} and {220, 220}: 2 * 2 * (190 - 220)^2 = 3600; {180} and {200, 220, 220}: 3 * (180 - 640 / 3)^2 = 3333.
    AddTimes(histogram, 220, 1);
    EXPECT_EQ(histogram.GetOtsuThreshold(), 200);
}

/// The sum of squared distances from the means of both classes, which Otsu's threshold makes smallest.
double Within(const std::vector<int>& bins, int threshold)
{
    double result = 0.0;
    for (const bool isUpper : {false, true}) {
        double count = 0.0;
        double sum = 0.0;
        for (const int bin : bins) {
            if ((bin > threshold) == isUpper) {
                count += 1.0;
                sum += bin;
            }
        }
        for (const int bin : bins) {
            if ((bin > threshold) == isUpper) {
                result += (bin - sum / count) * (bin - sum / count);
            }
        }
    }
    return result;
}

TEST(OtsuThreshold, MakesTheVarianceWithinTheClassesSmallest)
{
    // Sums of up to 60 squares below 60^2.
    constexpr double c_dTolerance = 60 * 3600.0 * 0x1p-48;
    std::mt19937 random(92);
    for (int run = 0; run < 300; ++run) {
        std::vector<int> bins(2 + random() % 59);
        const unsigned width = 2 + random() % 58;
        CHueHistogram histogram;
        for (int& bin : bins) {
            bin = c_iRed + static_cast<int>(random() % width);
            histogram.Add(ColorOf(bin));
        }
        const auto [lowest, highest] = std::ranges::minmax(bins);
        if (lowest == highest) {
            continue;
        }
        const int threshold = histogram.GetOtsuThreshold();
        ASSERT_GE(threshold, lowest);
        ASSERT_LT(threshold, highest);
        ASSERT_GT(histogram.GetCount(threshold), 0);
        const double within = Within(bins, threshold);
        for (int other = lowest; other < highest; ++other) {
            ASSERT_LE(within, Within(bins, other) + c_dTolerance) << threshold << " against " << other;
        }
    }
}

} // namespace
} // namespace LxCV
