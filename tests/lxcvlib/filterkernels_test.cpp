// Filters against a plain convolution in double precision, and against their own order of additions bit for bit.
#include "filterkernels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

namespace LxCV {
namespace {

using namespace FilterKernels;

constexpr float c_fLargest = 255.0F;

struct CImage
{
    SPlane plane;
    std::vector<float> values;

    float At(std::ptrdiff_t x, std::ptrdiff_t y, std::size_t channel) const
    {
        const auto column = static_cast<std::size_t>(
            std::clamp<std::ptrdiff_t>(x, 0, static_cast<std::ptrdiff_t>(plane.width) - 1));
        const auto row = static_cast<std::size_t>(
            std::clamp<std::ptrdiff_t>(y, 0, static_cast<std::ptrdiff_t>(plane.height) - 1));
        return values[(row * plane.width + column) * plane.channels + channel];
    }
};

CImage RandomImage(std::size_t width, std::size_t height, std::size_t channels, unsigned seed)
{
    CImage image{{width, height, channels}, {}};
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> grey(0.0F, c_fLargest);
    std::generate_n(std::back_inserter(image.values), image.plane.Size(), [&] { return grey(random); });
    return image;
}

std::vector<CImage> Images()
{
    std::vector<CImage> images;
    for (const auto& [width, height] :
         {std::pair{1, 1}, {2, 7}, {7, 2}, {1, 40}, {40, 1}, {45, 37}, {131, 6}}) {
        for (const std::size_t channels : {1U, 3U}) {
            images.push_back(RandomImage(static_cast<std::size_t>(width), static_cast<std::size_t>(height),
                                         channels, static_cast<unsigned>(images.size())));
        }
    }
    return images;
}

/// Every kernel value times its pixel, in double precision.
template <typename Kernel>
double Convolve(const CImage& image, int x, int y, std::size_t channel, int radius, Kernel kernel)
{
    double sum = 0.0;
    for (int dy = -radius; dy <= radius; ++dy) {
        for (int dx = -radius; dx <= radius; ++dx) {
            sum += kernel(dx, dy) * static_cast<double>(image.At(x + dx, y + dy, channel));
        }
    }
    return sum;
}

template <typename Kernel>
void ExpectConvolution(const CImage& image, const std::vector<float>& found, int radius, Kernel kernel,
                       double tolerance)
{
    ASSERT_EQ(found.size(), image.plane.Size());
    std::size_t i = 0;
    for (int y = 0; y < static_cast<int>(image.plane.height); ++y) {
        for (int x = 0; x < static_cast<int>(image.plane.width); ++x) {
            for (std::size_t channel = 0; channel < image.plane.channels; ++channel, ++i) {
                const double expected = Convolve(image, x, y, channel, radius, kernel);
                ASSERT_TRUE(std::abs(found[i] - expected) <= tolerance)
                    << image.plane.width << " x " << image.plane.height << " pixels, radius " << radius
                    << ", at " << x << ' ' << y << ": " << found[i] << " for " << expected;
            }
        }
    }
}

double Binomial(int n, int k)
{
    return std::round(std::exp(std::lgamma(n + 1.0) - std::lgamma(k + 1.0) - std::lgamma(n - k + 1.0)));
}

// All weights are positive and sum to 1. Each of the operations on a value, at most 2 (radius + 1) a direction,
// rounds by half a unit in the last place of at most 255.
double RoundingOfSums(int operations)
{
    return operations * 0.5 * std::numeric_limits<float>::epsilon() * static_cast<double>(c_fLargest);
}

TEST(FilterKernels, BinomialIsTheConvolutionWithBinomialWeights)
{
    for (const CImage& image : Images()) {
        for (int radius = 1; radius <= static_cast<int>(c_uiMaxBinomialRadius); ++radius) {
            std::vector<float> found(image.values.size());
            SmoothBinomial(image.plane, static_cast<std::size_t>(radius), image.values, found);
            const auto kernel = [radius](int dx, int dy) {
                return Binomial(2 * radius, radius + dx) * Binomial(2 * radius, radius + dy) /
                       std::pow(16.0, radius);
            };
            ExpectConvolution(image, found, radius, kernel, RoundingOfSums(4 * (radius + 1)));
        }
    }
}

TEST(FilterKernels, TheSmallestBinomialHasTheWeightsOneTwoFourSixteenths)
{
    CImage image{{5, 5, 1}, std::vector<float>(25, 0.0F)};
    image.values[12] = 1.0F;
    std::vector<float> found(25);
    SmoothBinomial(image.plane, 1, image.values, found);
    const std::vector<float> expected{0, 0,       0,      0,       0, //
                                      0, 0.0625F, 0.125F, 0.0625F, 0, //
                                      0, 0.125F,  0.25F,  0.125F,  0, //
                                      0, 0.0625F, 0.125F, 0.0625F, 0, //
                                      0, 0,       0,      0,       0};
    EXPECT_EQ(found, expected);
}

TEST(FilterKernels, BoxIsTheMeanOfItsWindow)
{
    for (const CImage& image : Images()) {
        for (const int radius : {0, 1, 2, 3, 4, 5, 7, 12}) {
            std::vector<float> found(image.values.size());
            SmoothBox(image.plane, static_cast<std::size_t>(radius), image.values, found);
            const double area = (2.0 * radius + 1.0) * (2.0 * radius + 1.0);
            // A column has at most `window` additions, a row as many, and the reciprocal and the product round once.
            ExpectConvolution(
                image, found, radius, [area](int, int) { return 1.0 / area; },
                RoundingOfSums(2 * (2 * radius + 1) + 2));
        }
    }
}

TEST(FilterKernels, BoxHoldsWindowsLargerThanTheImage)
{
    const CImage image = RandomImage(6, 5, 3, 77);
    std::vector<float> found(image.values.size());
    constexpr int c_iRadius = 100;
    SmoothBox(image.plane, c_iRadius, image.values, found);
    ExpectConvolution(
        image, found, c_iRadius, [](int, int) { return 1.0 / (201.0 * 201.0); }, RoundingOfSums(2 * 201 + 2));
}

TEST(FilterKernels, GradientIsTheSobelKernelOverFour)
{
    constexpr double c_adWeights[] = {0.25, 0.5, 0.25};
    for (const CImage& image : Images()) {
        std::vector<float> found(image.values.size());
        Gradient(image.plane, EAxis::eX, image.values, found);
        ExpectConvolution(
            image, found, 1, [&](int dx, int dy) { return dx * c_adWeights[dy + 1]; }, RoundingOfSums(16));
        Gradient(image.plane, EAxis::eY, image.values, found);
        ExpectConvolution(
            image, found, 1, [&](int dx, int dy) { return dy * c_adWeights[dx + 1]; }, RoundingOfSums(16));
    }
}

/// The order of operations that all machines share, one pixel at a time.
class COneByOne
{
public:
    explicit COneByOne(const CImage& image) : m_Image(image) {}

    float Binomial(std::ptrdiff_t x, std::ptrdiff_t y, std::size_t channel, int radius) const
    {
        const auto along = [radius](auto value) {
            float sum = Weight(radius, 0) * value(0);
            for (int k = 1; k <= radius; ++k) {
                sum += Weight(radius, k) * (value(-k) + value(k));
            }
            return sum;
        };
        const auto lastColumn = static_cast<std::ptrdiff_t>(m_Image.plane.width) - 1;
        return along([&](int dx) {
            const std::ptrdiff_t column = std::clamp<std::ptrdiff_t>(x + dx, 0, lastColumn);
            return along([&](int dy) { return m_Image.At(column, y + dy, channel); });
        });
    }

    float Box(std::ptrdiff_t x, std::ptrdiff_t y, std::size_t channel, int radius) const
    {
        const int window = 2 * radius + 1;
        const auto column = [&](int dx) { return ColumnSum(x + dx, y, channel, radius); };
        float sum = column(0);
        if (radius <= 5) {
            for (int k = 1; k <= radius; ++k) {
                sum += column(-k) + column(k);
            }
        } else {
            sum = SumByBinaryDigits(window, [&](int i) { return column(i - radius); });
        }
        return sum * static_cast<float>(1.0 / (static_cast<double>(window) * window));
    }

private:
    static float Weight(int radius, int k)
    {
        return static_cast<float>(LxCV::Binomial(2 * radius, radius + k) / std::pow(4.0, radius));
    }

    /// To the end of the block of rows that the window starts in, from the last row up; then from the begin of the
    /// next block down.
    float ColumnSum(std::ptrdiff_t x, std::ptrdiff_t y, std::size_t channel, int radius) const
    {
        const std::ptrdiff_t window = 2 * radius + 1;
        const auto bordered = [&](std::ptrdiff_t row) { return m_Image.At(x, row - radius, channel); };
        const std::ptrdiff_t end = (y / window + 1) * window;
        float toEnd = bordered(end - 1);
        for (std::ptrdiff_t row = end - 1; row-- > y;) {
            toEnd = bordered(row) + toEnd;
        }
        if (y % window == 0) {
            return toEnd;
        }
        float fromBegin = bordered(end);
        for (std::ptrdiff_t row = end + 1; row < y + window; ++row) {
            fromBegin += bordered(row);
        }
        return toEnd + fromBegin;
    }

    /// Halves first, then the pieces of the binary digits from the lowest on.
    template <typename Value>
    static float SumByBinaryDigits(int window, Value value)
    {
        float sum = value(0);
        int done = 1;
        for (int length = 2; length <= window; length *= 2) {
            if ((window & length) != 0) {
                sum += Piece(done, length, value);
                done += length;
            }
        }
        return sum;
    }

    template <typename Value>
    static float Piece(int first, int length, Value value)
    {
        return length == 1 ? value(first)
                           : Piece(first, length / 2, value) + Piece(first + length / 2, length / 2, value);
    }

    const CImage& m_Image;
};

TEST(FilterKernels, AddInOneOrderWhateverTheVectors)
{
    for (const CImage& image : Images()) {
        for (int radius = 1; radius <= static_cast<int>(c_uiMaxBinomialRadius) + 1; ++radius) {
            std::vector<float> binomial(image.values.size());
            std::vector<float> box(image.values.size());
            SmoothBinomial(image.plane, static_cast<std::size_t>(radius), image.values, binomial);
            SmoothBox(image.plane, static_cast<std::size_t>(radius), image.values, box);
            const COneByOne expected(image);
            std::size_t i = 0;
            for (std::ptrdiff_t y = 0; y < static_cast<std::ptrdiff_t>(image.plane.height); ++y) {
                for (std::ptrdiff_t x = 0; x < static_cast<std::ptrdiff_t>(image.plane.width); ++x) {
                    for (std::size_t channel = 0; channel < image.plane.channels; ++channel, ++i) {
                        if (radius <= static_cast<int>(c_uiMaxBinomialRadius)) {
                            ASSERT_EQ(binomial[i], expected.Binomial(x, y, channel, radius)) << x << ' ' << y;
                        }
                        ASSERT_EQ(box[i], expected.Box(x, y, channel, radius)) << x << ' ' << y;
                    }
                }
            }
        }
    }
}

TEST(FilterKernels, WhatIsNoNumberStaysInItsWindow)
{
    constexpr int c_iRadius = 2;
    for (const float bad :
         {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity()}) {
        CImage image = RandomImage(50, 40, 3, 5);
        image.values[(20 * 50 + 30) * 3 + 1] = bad;
        for (const bool box : {false, true}) {
            std::vector<float> found(image.values.size());
            (box ? SmoothBox : SmoothBinomial)(image.plane, c_iRadius, image.values, found);
            for (int y = 0; y < 40; ++y) {
                for (int x = 0; x < 50; ++x) {
                    for (std::size_t channel = 0; channel < 3; ++channel) {
                        const bool inside =
                            channel == 1 && std::abs(x - 30) <= c_iRadius && std::abs(y - 20) <= c_iRadius;
                        const float value =
                            found[(static_cast<std::size_t>(y) * 50 + static_cast<std::size_t>(x)) * 3 +
                                  channel];
                        ASSERT_EQ(std::isfinite(value), !inside) << x << ' ' << y << ' ' << box;
                    }
                }
            }
        }
    }
}

TEST(FilterKernels, LeaveTheTargetAloneWhereASpanIsTooShort)
{
    const CImage image = RandomImage(10, 10, 3, 9);
    std::vector<float> target(image.values.size(), -1.0F);
    const std::vector<float> untouched = target;
    const std::span<const float> shortSource = std::span(image.values).first(image.values.size() - 1);
    SmoothBinomial(image.plane, 1, shortSource, target);
    SmoothBox(image.plane, 1, shortSource, target);
    Gradient(image.plane, EAxis::eX, shortSource, target);
    SmoothBox(image.plane, 1, image.values, std::span(target).first(1));
    EXPECT_EQ(target, untouched);
    SmoothBinomial({0, 10, 3}, 1, image.values, target);
    SmoothBox({10, 0, 3}, 1, image.values, target);
    EXPECT_EQ(target, untouched);
}

TEST(FilterKernels, ABinomialOfAnotherRadiusCopies)
{
    const CImage image = RandomImage(10, 10, 3, 10);
    for (const std::size_t radius : {std::size_t{0}, c_uiMaxBinomialRadius + 1}) {
        std::vector<float> target(image.values.size());
        SmoothBinomial(image.plane, radius, image.values, target);
        EXPECT_EQ(target, image.values);
    }
}

} // namespace
} // namespace LxCV
