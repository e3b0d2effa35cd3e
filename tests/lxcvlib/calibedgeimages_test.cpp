// Tests of gradient images, edge images and thresholds against their definitions, pixel by pixel.
#include "calibedgeimages.h"

#include "lxccalibedge.h"
#include "lxcsubpixel.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <limits>
#include <random>
#include <tuple>
#include <vector>

namespace LxCV {
namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr int kIntMax = std::numeric_limits<int>::max();
constexpr int kIntMin = std::numeric_limits<int>::min();

CCTImage Make(int width, int height, CCTImage::EImageDataType type)
{
    CCTImage image;
    image.Resize(width, height, type);
    return image;
}

CCTImage RandomColors(int width, int height, std::mt19937& random)
{
    CCTImage image = Make(width, height, CCTImage::eIDT_FLOAT32_3);
    for (int i = 0; i < width * height; ++i) {
        const auto level = [&] { return static_cast<float>(random() % 7); };
        image.SetFloat3PixelFast(i % width, i / width, {level(), level(), level()});
    }
    return image;
}

CCTImage RandomGradient(int width, int height, std::mt19937& random)
{
    CCTImage image = Make(width, height, CCTImage::eIDT_FLOAT32);
    for (int i = 0; i < width * height; ++i) {
        image.SetFloatPixelFast(i % width, i / width, static_cast<float>(random() % 13) - 6.0F);
    }
    return image;
}

std::vector<std::int32_t> WordsOf(const CCTImage& image)
{
    const auto* begin = static_cast<const std::int32_t*>(image.GetBuffer());
    return {begin, begin + image.GetSizeInPixels()};
}

SExtremumThresholds WholeImage(const CCTImage& image, int local, int total)
{
    return {{LxCRoi(&image)}, {local}, {total}};
}

TEST(CalibEdgeImages, HorizontalGradientSumIsThatOfTheFirstChannel)
{
    std::mt19937 random(1);
    for (int run = 0; run < 500; ++run) {
        const int width = 1 + static_cast<int>(random() % 20);
        const int height = 1 + static_cast<int>(random() % 6);
        CCTImage source = RandomColors(width, height, random);
        CCTImage target(width, height, CCTImage::eIDT_FLOAT32, -77.0F);
        ASSERT_TRUE(ComputeSobelSumHor(source, target, nullptr));
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                float expected = 0.0F;
                if (x >= 2 && x < width - 2) {
                    expected = 1.5F * (source.GetFloat3Fast(x - 1, y).get(0) -
                                       source.GetFloat3Fast(x + 1, y).get(0));
                }
                ASSERT_EQ(target.GetFloatPixelFast(x, y), expected) << x << ' ' << y << " of width " << width;
            }
        }
    }
}

TEST(CalibEdgeImages, VerticalGradientSumLeavesTheOutermostRowsAlone)
{
    std::mt19937 random(2);
    for (int run = 0; run < 500; ++run) {
        const int width = 1 + static_cast<int>(random() % 20);
        const int height = 1 + static_cast<int>(random() % 6);
        CCTImage source = RandomColors(width, height, random);
        CCTImage target(width, height, CCTImage::eIDT_FLOAT32, -77.0F);
        ASSERT_TRUE(ComputeSobelSumVer(source, target, nullptr));
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                float expected = -77.0F;
                if (y >= 1 && y < height - 1) {
                    expected = 1.5F * (source.GetFloat3Fast(x, y - 1).get(0) -
                                       source.GetFloat3Fast(x, y + 1).get(0));
                }
                ASSERT_EQ(target.GetFloatPixelFast(x, y), expected) << x << ' ' << y;
            }
        }
    }
}

TEST(CalibEdgeImages, StepOfAnotherChannelHasNoGradient)
{
    CCTImage source = Make(10, 4, CCTImage::eIDT_FLOAT32_3);
    for (int y = 0; y < 4; ++y) {
        for (int x = 5; x < 10; ++x) {
            source.SetFloat3PixelFast(x, y, {0.0F, 200.0F, kNaN});
        }
    }
    CCTImage target(10, 4, CCTImage::eIDT_FLOAT32, 1.0F);
    ASSERT_TRUE(ComputeSobelSumHor(source, target, nullptr));
    for (int x = 0; x < 10; ++x) {
        EXPECT_EQ(target.GetFloatPixelFast(x, 2), 0.0F) << x;
    }
}

TEST(CalibEdgeImages, BrightToDarkIsPositive)
{
    CCTImage source(8, 8, CCTImage::eIDT_FLOAT32_3, 200.0F);
    for (int y = 4; y < 8; ++y) {
        for (int x = 0; x < 8; ++x) {
            source.SetFloat3PixelFast(x, y, LxCFloat3(100.0F));
        }
    }
    CCTImage target = Make(8, 8, CCTImage::eIDT_FLOAT32);
    ASSERT_TRUE(ComputeSobelSumVer(source, target, nullptr));
    EXPECT_EQ(target.GetFloatPixelFast(3, 3), 150.0F);
    EXPECT_EQ(target.GetFloatPixelFast(3, 2), 0.0F);
}

TEST(CalibEdgeImages, GradientSumOfARegionWritesThereOnly)
{
    std::mt19937 random(3);
    const CCTImage source = RandomColors(20, 10, random);
    CCTImage whole = Make(20, 10, CCTImage::eIDT_FLOAT32);
    for (const bool alongRows : {true, false}) {
        const auto compute = alongRows ? ComputeSobelSumHor : ComputeSobelSumVer;
        ASSERT_TRUE(compute(source, whole, nullptr));
        // The second one reaches beyond the image, the third one lies outside.
        for (const LxCRoi& region : {LxCRoi(4, 3, 6, 2), LxCRoi(15, -5, 100, 9), LxCRoi(30, 30, 5, 5)}) {
            CCTImage part(20, 10, CCTImage::eIDT_FLOAT32, -77.0F);
            ASSERT_TRUE(compute(source, part, &region));
            for (int y = 0; y < 10; ++y) {
                for (int x = 0; x < 20; ++x) {
                    const bool isZeroed = alongRows && (x < 2 || x >= 18);
                    const bool isInside = region.Contains(x, y) && (alongRows || (y > 0 && y < 9));
                    const float expected = isZeroed   ? 0.0F
                                           : isInside ? whole.GetFloatPixelFast(x, y)
                                                      : -77.0F;
                    ASSERT_EQ(part.GetFloatPixelFast(x, y), expected) << x << ' ' << y;
                }
            }
        }
    }
}

TEST(CalibEdgeImages, GradientSumsRefuseOtherTypesAndSizes)
{
    const CCTImage color = Make(8, 8, CCTImage::eIDT_FLOAT32_3);
    const CCTImage gray = Make(8, 8, CCTImage::eIDT_FLOAT32);
    CCTImage target(8, 8, CCTImage::eIDT_FLOAT32, 3.0F);
    CCTImage smaller(8, 7, CCTImage::eIDT_FLOAT32, 3.0F);
    CCTImage words = Make(8, 8, CCTImage::eIDT_INT32);
    CCTImage empty;
    for (const auto compute : {ComputeSobelSumHor, ComputeSobelSumVer}) {
        EXPECT_FALSE(compute(gray, target, nullptr));
        EXPECT_FALSE(compute(color, smaller, nullptr));
        EXPECT_FALSE(compute(color, words, nullptr));
        EXPECT_FALSE(compute(empty, target, nullptr));
        EXPECT_FALSE(compute(color, empty, nullptr));
    }
    EXPECT_EQ(target.GetFloatPixelFast(4, 4), 3.0F);
    EXPECT_EQ(smaller.GetFloatPixelFast(4, 4), 3.0F);
}

/// The suppression by its definition, one pixel after the other; `at` maps (position, line) to a pixel.
struct SScan
{
    const CCTImage& gradient;
    const SExtremumThresholds& thresholds;
    int border;
    int range;
    bool alongColumns;

    std::vector<std::int32_t> Run(const CCTImage& edges) const
    {
        std::vector<std::int32_t> words = WordsOf(edges);
        const int lines = alongColumns ? gradient.GetWidth() : gradient.GetHeight();
        const int length = alongColumns ? gradient.GetHeight() : gradient.GetWidth();
        std::size_t region = 0;
        for (int line = border; line <= lines - border - 1; ++line) {
            for (int p = border + 2; p <= length - border - 2 && p + 2 < length; ++p) {
                for (std::size_t i = 0; i < thresholds.regions.size(); ++i) {
                    const LxCRoi& roi = thresholds.regions[i];
                    if (alongColumns ? roi.Contains(line, p) : roi.Contains(p, line)) {
                        region = i;
                        break;
                    }
                }
                Pixel(line, p, region, words);
            }
        }
        ClearFrame(words);
        return words;
    }

private:
    std::size_t Index(int line, int p) const
    {
        return static_cast<std::size_t>(alongColumns ? p * gradient.GetWidth() + line
                                                     : line * gradient.GetWidth() + p);
    }
    float At(int line, int p) const
    {
        return static_cast<const float*>(gradient.GetBuffer())[Index(line, p)];
    }
    void Pixel(int line, int p, std::size_t region, std::vector<std::int32_t>& words) const
    {
        const float g0 = At(line, p - 2);
        const float g1 = At(line, p - 1);
        const float g2 = At(line, p);
        const float g3 = At(line, p + 1);
        const float g4 = At(line, p + 2);
        const float sum = g1 + g2 + g3;
        const auto local = static_cast<float>(thresholds.minLocal[region]);
        const auto total = static_cast<float>(thresholds.minTotal[region]);
        const bool isMax = (g2 > local || sum > total) && g2 >= g0 && g2 >= g1 && g2 > g3 && g2 > g4;
        const bool isMin = (g2 < -local || sum < -total) && g0 >= g2 && g1 >= g2 && g3 > g2 && g4 > g2;
        if (isMax || isMin) {
            // The vertex of the parabola through three samples at -1, 0, 1.
            const float bend = g1 + g3 - (g2 + g2);
            const float vertex = bend == 0.0F ? 0.0F : (g1 - g3) / bend * 0.5F;
            const int f = static_cast<int>(std::floor(vertex * 64.0F + 0.5F));
            const int polarity = isMax ? 0x40 : 0x80;
            if (f >= 0) {
                words[Index(line, p)] = polarity + f;
            } else {
                words[Index(line, p - 1)] = polarity + f + (1 << range);
            }
        }
    }
    void ClearFrame(std::vector<std::int32_t>& words) const
    {
        const int width = gradient.GetWidth();
        const int height = gradient.GetHeight();
        for (int y = border; y < height - border; ++y) {
            for (int x = border; x < width - border; ++x) {
                const int inside = std::min({x, y, width - 1 - x, height - 1 - y}) - border;
                if (inside < border + 2) {
                    words[static_cast<std::size_t>(y * width + x)] = 0;
                }
            }
        }
    }
};

TEST(CalibEdgeImages, ExtremaFollowTheirDefinitionForAnyRegions)
{
    std::mt19937 random(4);
    const auto number = [&](int low, int high) {
        return low + static_cast<int>(random() % static_cast<unsigned>(high - low + 1));
    };
    for (int run = 0; run < 3000; ++run) {
        const CCTImage gradient = RandomGradient(number(1, 24), number(1, 24), random);
        SExtremumThresholds thresholds;
        // Regions overlap, leave gaps and reach beyond the image.
        for (int i = number(1, 4); i > 0; --i) {
            thresholds.regions.emplace_back(number(-5, 20), number(-5, 20), number(0, 20), number(0, 20));
            thresholds.minLocal.push_back(number(-1, 6));
            thresholds.minTotal.push_back(number(-1, 12));
        }
        const int border = number(0, 3);
        const int range = number(0, 20) == 0 ? 7 : 6;
        for (const bool alongColumns : {false, true}) {
            CCTImage edges = Make(gradient.GetWidth(), gradient.GetHeight(), CCTImage::eIDT_INT32);
            std::fill_n(static_cast<std::int32_t*>(edges.GetBuffer()), edges.GetSizeInPixels(), 0x1234500);
            const SScan scan{gradient, thresholds, border, range, alongColumns};
            const std::vector<std::int32_t> expected = scan.Run(edges);
            const auto suppress = alongColumns ? NonLocExtSuppVer : NonLocExtSuppHor;
            ASSERT_TRUE(suppress(gradient, edges, thresholds, border, range));
            ASSERT_EQ(WordsOf(edges), expected) << "run " << run << " columns " << alongColumns;
        }
    }
}

TEST(CalibEdgeImages, ExtremumBeforeThePixelStandsOnePixelEarlier)
{
    CCTImage gradient = Make(15, 9, CCTImage::eIDT_FLOAT32);
    const auto row = {0.0F, 90.0F, 100.0F, 50.0F, 0.0F}; // from x = 5; vertex at 7 - 20 / 60 = 6.667
    std::copy(row.begin(), row.end(), &gradient.GetFloatPixelFast(5, 4));
    CCTImage edges = Make(15, 9, CCTImage::eIDT_INT32);
    ASSERT_TRUE(NonLocExtSuppHor(gradient, edges, WholeImage(gradient, 40, 80), 1, 6));
    EXPECT_EQ(edges.GetInt32PixelFast(7, 4), 0);
    // (90 - 50) / (90 + 50 - 200) / 2 = -1/3; floor(-64 / 3 + 1/2) = -21; 64 - 21 = 43.
    EXPECT_EQ(edges.GetInt32PixelFast(6, 4), 0x40 + 43);
}

TEST(CalibEdgeImages, StepsToTheZeroedColumnsOfAGradientAreNoEdges)
{
    // A slope that fills the image: the gradient is the same everywhere but in the two outermost columns at each side.
    constexpr int width = 40;
    constexpr int height = 30;
    CCTImage gradient = Make(width, height, CCTImage::eIDT_FLOAT32);
    for (int y = 0; y < height; ++y) {
        for (int x = 2; x < width - 2; ++x) {
            gradient.GetFloatPixelFast(x, y) = 100.0F;
        }
    }
    CCTImage edges = Make(width, height, CCTImage::eIDT_INT32);
    ASSERT_TRUE(NonLocExtSuppHor(gradient, edges, WholeImage(gradient, 40, 80), 1, 6));
    const std::vector<std::int32_t> words = WordsOf(edges);
    EXPECT_EQ(std::count(words.begin(), words.end(), 0), width * height);
}

TEST(CalibEdgeImages, ThresholdsOfAnyValueAreTaken)
{
    std::mt19937 random(5);
    const CCTImage gradient = RandomGradient(30, 20, random);
    for (const int threshold : {0, -1, kIntMin, kIntMax}) {
        const SExtremumThresholds thresholds = WholeImage(gradient, threshold, threshold);
        CCTImage edges = Make(30, 20, CCTImage::eIDT_INT32);
        ASSERT_TRUE(NonLocExtSuppHor(gradient, edges, thresholds, 1, 6));
        EXPECT_EQ(WordsOf(edges),
                  (SScan{gradient, thresholds, 1, 6, false}.Run(Make(30, 20, CCTImage::eIDT_INT32))));
    }
    CCTImage edges = Make(30, 20, CCTImage::eIDT_INT32);
    ASSERT_TRUE(NonLocExtSuppVer(gradient, edges, {}, 1, 6)) << "without a region nothing is found";
    EXPECT_EQ(WordsOf(edges), std::vector<std::int32_t>(600));
}

TEST(CalibEdgeImages, SuppressionRefusesWhatItCannotDo)
{
    const CCTImage gradient = Make(8, 8, CCTImage::eIDT_FLOAT32);
    CCTImage edges = Make(8, 8, CCTImage::eIDT_INT32);
    edges.SetInt32PixelFast(0, 0, 5);
    CCTImage smaller = Make(7, 8, CCTImage::eIDT_INT32);
    CCTImage colors = Make(8, 8, CCTImage::eIDT_ARGB8);
    const SExtremumThresholds thresholds = WholeImage(gradient, 1, 1);
    for (const auto suppress : {NonLocExtSuppHor, NonLocExtSuppVer}) {
        EXPECT_FALSE(suppress(edges, edges, thresholds, 1, 6));
        EXPECT_FALSE(suppress(gradient, smaller, thresholds, 1, 6));
        EXPECT_FALSE(suppress(gradient, colors, thresholds, 1, 6));
        EXPECT_FALSE(suppress(CCTImage(), edges, thresholds, 1, 6));
        EXPECT_FALSE(suppress(gradient, edges, thresholds, -1, 6));
        EXPECT_FALSE(suppress(gradient, edges, thresholds, 1, -1));
        EXPECT_FALSE(suppress(gradient, edges, thresholds, 1, 31));
        EXPECT_EQ(edges.GetInt32PixelFast(0, 0), 5);
    }
    EXPECT_TRUE(NonLocExtSuppHor(gradient, edges, thresholds, kIntMax, 6)) << "a border beyond the image";
}

TEST(CalibEdgeImages, GradientDirectionDeletesEntriesOfTheOtherAxis)
{
    std::mt19937 random(6);
    for (int run = 0; run < 300; ++run) {
        const int width = 1 + static_cast<int>(random() % 15);
        const int height = 1 + static_cast<int>(random() % 15);
        const CCTImage image = RandomColors(width, height, random);
        CCTImage edges = Make(width, height, CCTImage::eIDT_INT32);
        for (int i = 0; i < width * height; ++i) {
            edges.SetInt32PixelFast(i % width, i / width, random() % 2 == 0 ? 0x45 : 0);
        }
        CCTImage hor(edges);
        CCTImage ver(edges);
        ASSERT_TRUE(CheckGradientOfHorEdges(image, hor));
        ASSERT_TRUE(CheckGradientOfVerEdges(image, ver));
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                int inHor = edges.GetInt32PixelFast(x, y);
                int inVer = inHor;
                if (x >= 1 && y >= 1 && x < width - 1 && y < height - 1) {
                    const auto mean = [&](int c, int r) { return image.GetFloat3Fast(c, r).GetMean(); };
                    // In double precision, since that of single precision may be a digit off.
                    const auto angle = std::abs(
                        static_cast<float>(std::atan2(static_cast<double>(mean(x, y + 1) - mean(x, y - 1)),
                                                      static_cast<double>(mean(x + 1, y) - mean(x - 1, y)))));
                    inHor = angle < 0.7853982F || angle > 2.3561945F ? 0 : inHor;
                    inVer = angle > 0.7853982F && angle < 2.3561945F ? 0 : inVer;
                }
                ASSERT_EQ(hor.GetInt32PixelFast(x, y), inHor) << run << ": " << x << ' ' << y;
                ASSERT_EQ(ver.GetInt32PixelFast(x, y), inVer) << run << ": " << x << ' ' << y;
            }
        }
    }
}

TEST(CalibEdgeImages, GradientDirectionRefusesOtherTypesAndSizes)
{
    CCTImage edges = Make(8, 8, CCTImage::eIDT_INT32);
    EXPECT_FALSE(CheckGradientOfHorEdges(Make(8, 8, CCTImage::eIDT_FLOAT32), edges));
    EXPECT_FALSE(CheckGradientOfVerEdges(Make(8, 9, CCTImage::eIDT_FLOAT32_3), edges));
    EXPECT_FALSE(CheckGradientOfVerEdges(CCTImage(), edges));
}

TEST(CalibEdgeImages, AutomaticThresholdsAreFourTenthsOfTheRankedMean)
{
    std::mt19937 random(7);
    std::normal_distribution<float> normal(0.0F, 50.0F);
    constexpr int kWidth = 351; // quarters of 175 by 180, of which 25 by 30 count
    constexpr int kHeight = 360;
    CCTImage gradient = Make(kWidth, kHeight, CCTImage::eIDT_FLOAT32);
    for (int i = 0; i < kWidth * kHeight; ++i) {
        gradient.SetFloatPixelFast(i % kWidth, i / kWidth, normal(random));
    }
    SExtremumThresholds thresholds;
    ASSERT_TRUE(DecideForBestSettings(gradient, thresholds));
    ASSERT_EQ(thresholds.regions.size(), 4U);
    const int lefts[] = {0, 0, 175, 175};
    const int tops[] = {0, 180, 0, 180};
    for (std::size_t i = 0; i < 4; ++i) {
        const LxCRoi& region = thresholds.regions[i];
        EXPECT_EQ(region.GetLeftCol(), lefts[i]);
        EXPECT_EQ(region.GetTopRow(), tops[i]);
        EXPECT_EQ(region.GetWidth(), 175);
        EXPECT_EQ(region.GetHeight(), 180);
        std::vector<float> alone;
        std::vector<float> together;
        for (int x = lefts[i] + 75; x < lefts[i] + 100; ++x) {
            for (int y = tops[i] + 75; y < tops[i] + 105; ++y) {
                const auto amount = [&](int row) { return std::abs(gradient.GetFloatPixelFast(x, row)); };
                alone.push_back(amount(y));
                together.push_back(amount(y - 1) + amount(y) + amount(y + 1));
            }
        }
        const auto threshold = [](std::vector<float>& values) {
            std::sort(values.begin(), values.end(), std::greater<>());
            double sum = 0.0;
            for (std::size_t k = 100; k < 300; ++k) {
                sum += static_cast<double>(values[k]);
            }
            return static_cast<int>(sum / 200.0 * 0.4);
        };
        EXPECT_EQ(thresholds.minLocal.at(i), threshold(alone));
        EXPECT_EQ(thresholds.minTotal.at(i), threshold(together));
    }
}

TEST(CalibEdgeImages, SmallImagesKeepTheirThresholds)
{
    // 330 by 340: quarters leave 15 by 20 = 300 values, just enough; 328 leaves 14 columns.
    for (const auto& [width, height, suffices] : {std::tuple{330, 340, true},
                                                  {328, 340, false},
                                                  {302, 302, false},
                                                  {300, 494, false},
                                                  {658, 300, false},
                                                  {658, 150, false},
                                                  {1, 1, false}}) {
        const CCTImage gradient(width, height, CCTImage::eIDT_FLOAT32, 100.0F);
        SExtremumThresholds thresholds = WholeImage(gradient, 7, 8);
        EXPECT_EQ(DecideForBestSettings(gradient, thresholds), suffices) << width << " by " << height;
        EXPECT_EQ(thresholds.regions.size(), suffices ? 4U : 1U);
        EXPECT_EQ(thresholds.minLocal.front(), suffices ? 40 : 7);
        EXPECT_EQ(thresholds.minTotal.front(), suffices ? 120 : 8);
    }
    SExtremumThresholds thresholds;
    EXPECT_FALSE(DecideForBestSettings(CCTImage(), thresholds));
    EXPECT_FALSE(DecideForBestSettings(Make(400, 400, CCTImage::eIDT_FLOAT32_3), thresholds));
}

TEST(CalibEdgeImages, ThresholdsOfColorsTakeAllChannels)
{
    // 151 by 152: one column and two rows count; with rows above and below, that is 3 + 3 values.
    CCTImage image(151, 152, CCTImage::eIDT_FLOAT32_3, 1.0F, -10.0F, 100.0F);
    std::vector<int> local;
    std::vector<int> total;
    ASSERT_TRUE(ThresholdsOfRegions(image, {LxCRoi(&image)}, {2, 4, 1.0}, local, total));
    // In descending order 100, 100, 10, 10, 1, 1.
    EXPECT_EQ(local, std::vector<int>{10});
    EXPECT_EQ(total, std::vector<int>{30});
    EXPECT_FALSE(ThresholdsOfRegions(image, {LxCRoi(&image)}, {0, 7, 1.0}, local, total));
    EXPECT_FALSE(ThresholdsOfRegions(Make(151, 152, CCTImage::eIDT_INT32), {LxCRoi(&image)}, {0, 1, 1.0},
                                     local, total));
    image.Resize(151, 152, CCTImage::eIDT_FLOAT32);
    image.SetFloatPixelFast(75, 76, std::numeric_limits<float>::infinity());
    image.SetFloatPixelFast(75, 74, kNaN);
    ASSERT_TRUE(ThresholdsOfRegions(image, {LxCRoi(&image)}, {0, 1, 1.0}, local, total));
    EXPECT_EQ(local, std::vector<int>{kIntMax});
    EXPECT_FALSE(ThresholdsOfRegions(image, {LxCRoi(&image)}, {0, 2, 1.0}, local, total)) << "no number";
}

} // namespace
} // namespace LxCV
