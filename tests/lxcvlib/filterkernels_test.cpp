// Filters against a plain convolution in double precision, and against their own order of additions bit for bit.
#include "filterkernels.h"

#include "vectorunits.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <iterator>
#include <limits>
#include <optional>
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

    float Gradient(std::ptrdiff_t x, std::ptrdiff_t y, std::size_t channel, EAxis axis) const
    {
        const auto lastColumn = static_cast<std::ptrdiff_t>(m_Image.plane.width) - 1;
        const auto at = [&](int dx, int dy) {
            return m_Image.At(std::clamp<std::ptrdiff_t>(x + dx, 0, lastColumn), y + dy, channel);
        };
        const auto difference = [](float previous, float next) { return 0.25F * (next - previous); };
        const auto weighted = [](float a, float b, float c) { return (a + c) + 2.0F * b; };
        if (axis == EAxis::eX) {
            return difference(weighted(at(-1, -1), at(-1, 0), at(-1, 1)),
                              weighted(at(1, -1), at(1, 0), at(1, 1)));
        }
        return weighted(difference(at(-1, -1), at(-1, 1)), difference(at(0, -1), at(0, 1)),
                        difference(at(1, -1), at(1, 1)));
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

/// Compares each element of a filtered image, bit for bit, with `expected(x, y, channel)`.
template <typename Expected>
void ExpectSame(const CImage& image, const std::vector<float>& found, Expected expected)
{
    std::size_t i = 0;
    for (std::ptrdiff_t y = 0; y < static_cast<std::ptrdiff_t>(image.plane.height); ++y) {
        for (std::ptrdiff_t x = 0; x < static_cast<std::ptrdiff_t>(image.plane.width); ++x) {
            for (std::size_t channel = 0; channel < image.plane.channels; ++channel, ++i) {
                ASSERT_EQ(std::bit_cast<std::uint32_t>(found[i]),
                          std::bit_cast<std::uint32_t>(expected(x, y, channel)))
                    << x << ' ' << y;
            }
        }
    }
}

void ExpectOneOrder(const CImage& image)
{
    const COneByOne one(image);
    std::vector<float> found(image.values.size());
    for (int radius = 1; radius <= static_cast<int>(c_uiMaxBinomialRadius); ++radius) {
        SmoothBinomial(image.plane, static_cast<std::size_t>(radius), image.values, found);
        ExpectSame(image, found, [&](auto x, auto y, auto c) { return one.Binomial(x, y, c, radius); });
    }
    for (const int radius : {1, 2, 3, 4, 5, 6, 7, 20}) {
        SmoothBox(image.plane, static_cast<std::size_t>(radius), image.values, found);
        ExpectSame(image, found, [&](auto x, auto y, auto c) { return one.Box(x, y, c, radius); });
    }
    for (const EAxis axis : {EAxis::eX, EAxis::eY}) {
        Gradient(image.plane, axis, image.values, found);
        ExpectSame(image, found, [&](auto x, auto y, auto c) { return one.Gradient(x, y, c, axis); });
    }
}

TEST(FilterKernels, AddInOneOrderWithAndWithoutWideVectors)
{
    for (const CImage& image : Images()) {
        ExpectOneOrder(image);
        const VectorUnits::CBasicOnly basic;
        ExpectOneOrder(image);
    }
}

/// Columns and rows around a pixel of the middle of an image that see it through a filter.
struct CReach
{
    const char* filter;
    int columns;
    int rows;
    void (*run)(const CImage& image, std::span<float> target);
};

const CReach c_aReaches[] = {
    {"binomial", 2, 2, [](const CImage& i, std::span<float> t) { SmoothBinomial(i.plane, 2, i.values, t); }},
    {"box", 2, 2, [](const CImage& i, std::span<float> t) { SmoothBox(i.plane, 2, i.values, t); }},
    {"wide box", 7, 7, [](const CImage& i, std::span<float> t) { SmoothBox(i.plane, 7, i.values, t); }},
    {"x", 1, 1, [](const CImage& i, std::span<float> t) { Gradient(i.plane, EAxis::eX, i.values, t); }},
    {"y", 1, 1, [](const CImage& i, std::span<float> t) { Gradient(i.plane, EAxis::eY, i.values, t); }},
};

TEST(FilterKernels, WhatIsNoNumberStaysInItsWindow)
{
    for (const float bad :
         {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity()}) {
        CImage image = RandomImage(50, 40, 3, 5);
        image.values[(20 * 50 + 30) * 3 + 1] = bad;
        for (const CReach& reach : c_aReaches) {
            CImage found = image;
            reach.run(image, found.values);
            const bool isAlongX = *reach.filter == 'x';
            const bool isAlongY = *reach.filter == 'y';
            for (int y = 0; y < 40; ++y) {
                for (int x = 0; x < 50; ++x) {
                    for (std::size_t channel = 0; channel < 3; ++channel) {
                        const bool inWindow = channel == 1 && std::abs(x - 30) <= reach.columns &&
                                              std::abs(y - 20) <= reach.rows;
                        // The row or column in the middle of the gradient's kernel is 0.
                        const bool hasWeight = !(isAlongX && x == 30) && !(isAlongY && y == 20);
                        ASSERT_EQ(std::isfinite(found.At(x, y, channel)), !(inWindow && hasWeight))
                            << reach.filter << ' ' << x << ' ' << y;
                    }
                }
            }
        }
    }
}

TEST(FilterKernels, SizesAndRadiiBeyondReasonLeaveTheTargetAlone)
{
    constexpr std::size_t c_uiHuge = std::size_t{1} << 32U;
    constexpr std::size_t c_uiQuarter = std::size_t{1} << 62U;
    constexpr std::size_t c_uiMost = std::numeric_limits<std::size_t>::max();
    const std::vector<float> source(12, 1.0F);
    std::vector<float> target(12, -1.0F);
    const std::vector<float> untouched = target;
    // The products of the sizes wrap round to 0 and twice to 4.
    for (const SPlane& plane :
         {SPlane{c_uiHuge, c_uiHuge, 1}, SPlane{c_uiQuarter + 1, 1, 4}, SPlane{c_uiMost, c_uiMost, 4}}) {
        SmoothBinomial(plane, 1, source, target);
        SmoothBox(plane, 1, source, target);
        Gradient(plane, EAxis::eY, source, target);
    }
    for (const std::size_t radius : {c_uiMaxBoxRadius + 1, c_uiMost / 2 + 1, c_uiMost}) {
        SmoothBox({2, 2, 3}, radius, source, target);
    }
    EXPECT_EQ(target, untouched);
    SmoothBox({2, 2, 3}, c_uiMaxBoxRadius, source, target);
    for (const float value : target) {
        EXPECT_NEAR(value, 1.0F, RoundingOfSums(2 * 511 + 2));
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
