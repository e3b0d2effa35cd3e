#include "cctimage.h"

#include "lxcroi.h"
#include "orx/logging/logger.h"
#include "tests/lxcvlib/imageopstestsupport.h"
#include "tests/support/workplace.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace LxCV {
namespace {

using namespace TestSupport;

using Statistics = Image::SStatistics;
using Bytes = std::vector<std::uint8_t>;

constexpr double c_dRelative = 1e-12; // of sums of some hundred doubles

template <typename T>
double FullScale()
{
    return std::is_floating_point_v<T> ? 255.0 : static_cast<double>(std::numeric_limits<T>::max());
}

/// The values of a channel in the part of a region that lies inside the image,
/// collected pixel by pixel.
template <typename T>
std::vector<long double> Collect(const Image& image, const LxCRoi& roi, int channel)
{
    const std::vector<T> elements = ValuesOf<T>(image);
    std::vector<long double> values;
    for (int y = 0; y < image.GetHeight(); ++y) {
        for (int x = 0; x < image.GetWidth(); ++x) {
            const auto i =
                static_cast<std::size_t>((y * image.GetWidth() + x) * image.GetNumChannels() + channel);
            if (roi.Contains(x, y) && !std::isnan(static_cast<double>(elements[i]))) {
                values.push_back(static_cast<long double>(elements[i]));
            }
        }
    }
    return values;
}

template <typename T>
void ExpectStatistics(const Image& image, const LxCRoi& roi)
{
    Statistics statistics;
    ASSERT_EQ(image.GetStats(roi, statistics), 0);
    ASSERT_EQ(statistics.iChannels, std::min(image.GetNumChannels(), 3));
    for (int c = 0; c < statistics.iChannels; ++c) {
        const std::vector<long double> values = Collect<T>(image, roi, c);
        ASSERT_FALSE(values.empty());
        long double sum = 0;
        for (const long double value : values) {
            sum += value;
        }
        const long double mean = sum / static_cast<long double>(values.size());
        long double squares = 0;
        for (const long double value : values) {
            squares += (value - mean) * (value - mean);
        }
        const auto sigma = static_cast<double>(std::sqrt(squares / static_cast<long double>(values.size())));
        const auto& channel = statistics.aChannels[static_cast<std::size_t>(c)];
        const auto greatest = static_cast<double>(*std::ranges::max_element(values));
        const auto least = static_cast<double>(*std::ranges::min_element(values));
        const double tolerance = c_dRelative * std::max(std::abs(greatest), std::abs(least));
        EXPECT_NEAR(channel.dMean, static_cast<double>(mean), tolerance);
        EXPECT_NEAR(channel.dSigma, sigma, tolerance);
        EXPECT_EQ(channel.dMax, greatest);
        EXPECT_EQ(channel.dMin, least);
        const auto full = [](long double value) { return static_cast<double>(value) >= FullScale<T>(); };
        EXPECT_EQ(channel.iOvermodulated, std::ranges::count_if(values, full));
    }
}

template <typename T>
void ExpectStatisticsOfType(int type)
{
    const std::array<LxCRoi, 6> regions{LxCRoi(0, 0, 21, 13),   LxCRoi(3, 4, 10, 5),
                                        LxCRoi(-5, -5, 10, 10), LxCRoi(15, 10, 100, 40),
                                        LxCRoi(20, 12, 1, 1),   LxCRoi(-100, -100, 1000, 1000)};
    Image image = RandomImage(21, 13, type, static_cast<unsigned>(type));
    if constexpr (std::is_floating_point_v<T>) {
        std::mt19937 random(4);
        std::uniform_real_distribution<double> level(-20.0, 300.0);
        auto* const elements = static_cast<T*>(image.GetBuffer());
        std::generate_n(elements, 21 * 13 * image.GetNumChannels(),
                        [&] { return static_cast<T>(level(random)); });
        elements[0] = std::numeric_limits<T>::quiet_NaN();
        elements[1] = T{255};
    }
    for (const LxCRoi& region : regions) {
        ExpectStatistics<T>(image, region);
    }
}

TEST(CCTImageStatistics, EqualDirectSumsForEveryType)
{
    for (const int type : {1, 2, 7, 12}) {
        ExpectStatisticsOfType<std::uint8_t>(type);
    }
    ExpectStatisticsOfType<std::uint32_t>(3);
    ExpectStatisticsOfType<std::int32_t>(4);
    ExpectStatisticsOfType<std::uint16_t>(5);
    ExpectStatisticsOfType<std::int16_t>(6);
    ExpectStatisticsOfType<std::int8_t>(8);
    ExpectStatisticsOfType<float>(9);
    ExpectStatisticsOfType<double>(10);
    ExpectStatisticsOfType<float>(11);
}

TEST(CCTImageStatistics, AreThoseOfTheRegionAlone)
{
    // 2, 4, 4, 4, 5, 5, 7, 9 have mean 5 and sigma 2; 255 and 0 lie outside.
    const Image image =
        ImageOf<std::uint8_t>(6, 2, Image::eIDT_UINT8, {255, 2, 4, 4, 4, 0, 0, 5, 5, 7, 9, 255});
    Statistics statistics;
    ASSERT_EQ(image.GetStats(LxCRoi(1, 0, 4, 2), statistics), 0);
    EXPECT_EQ(statistics.iChannels, 1);
    EXPECT_EQ(statistics.aChannels[0].dMean, 5.0);
    EXPECT_EQ(statistics.aChannels[0].dSigma, 2.0);
    EXPECT_EQ(statistics.aChannels[0].dMin, 2.0);
    EXPECT_EQ(statistics.aChannels[0].dMax, 9.0);
    EXPECT_EQ(statistics.aChannels[0].iOvermodulated, 0);
    ASSERT_EQ(image.GetStats(LxCRoi(0, 0, 6, 2), statistics), 0);
    EXPECT_EQ(statistics.aChannels[0].iOvermodulated, 2);
}

TEST(CCTImageStatistics, TellBlueGreenAndRedWithoutAlpha)
{
    const Image image = ImageOf<std::uint8_t>(2, 1, Image::eIDT_ARGB8, {1, 2, 3, 200, 3, 4, 255, 100});
    Statistics statistics;
    ASSERT_EQ(image.GetStats(LxCRoi(&image), statistics), 0);
    EXPECT_EQ(statistics.iChannels, 3);
    EXPECT_EQ(statistics.aChannels[0].dMean, 2.0);
    EXPECT_EQ(statistics.aChannels[1].dMean, 3.0);
    EXPECT_EQ(statistics.aChannels[2].dMean, 129.0);
    EXPECT_EQ(statistics.aChannels[2].iOvermodulated, 1);
}

TEST(CCTImageStatistics, ARegionWithoutPixelsHasNoData)
{
    const Image image = RandomImage(5, 4, Image::eIDT_UINT8, 1);
    for (const LxCRoi& roi : {LxCRoi(), LxCRoi(5, 0, 3, 3), LxCRoi(0, 4, 3, 3), LxCRoi(-3, 0, 3, 3),
                              LxCRoi(1, 1, 0, 3), LxCRoi(INT_MAX, INT_MAX, INT_MAX, INT_MAX)}) {
        Statistics statistics;
        statistics.iChannels = 77;
        std::string text = "before";
        int x = 7;
        int y = 8;
        EXPECT_EQ(image.GetStats(roi, statistics), 13);
        EXPECT_EQ(statistics.iChannels, 77);
        EXPECT_EQ(image.PrintStatistics(roi, text), 13);
        EXPECT_EQ(text, "");
        EXPECT_EQ(image.FindGlobalPeakPos(&x, &y, roi, false), 13);
        EXPECT_EQ(x, 7);
        EXPECT_EQ(y, 8);
    }
    for (const auto& [width, height] : {std::pair{0, 0}, {0, 4}, {4, 0}}) {
        const Image empty(width, height, Image::eIDT_UINT8, true, nullptr);
        Statistics statistics;
        EXPECT_EQ(empty.GetStats(LxCRoi(0, 0, 5, 5), statistics), 13);
    }
}

TEST(CCTImageStatistics, AChannelOfNoNumbersHasNoData)
{
    const Image image = ImageOf<float>(1, 1, Image::eIDT_FLOAT32_3, {1.0F, c_fNan, 2.0F});
    Statistics statistics;
    EXPECT_EQ(image.GetStats(LxCRoi(&image), statistics), 13);
    int x = 0;
    int y = 0;
    EXPECT_EQ(image.FindGlobalPeakPos(&x, &y, LxCRoi(&image), false), 13);
}

TEST(CCTImageStatistics, InfinitePixelsAreExtremes)
{
    const Image image = ImageOf<float>(3, 1, Image::eIDT_FLOAT32, {c_fInfinity, 1.0F, -c_fInfinity});
    Statistics statistics;
    ASSERT_EQ(image.GetStats(LxCRoi(&image), statistics), 0);
    EXPECT_EQ(statistics.aChannels[0].dMax, double{c_fInfinity});
    EXPECT_EQ(statistics.aChannels[0].dMin, -double{c_fInfinity});
    EXPECT_EQ(statistics.aChannels[0].iOvermodulated, 1);
}

TEST(CCTImageStatistics, ImagesWithoutPixelsOrTypeAreRefused)
{
    Statistics statistics;
    std::string text = "before";
    int x = 0;
    int y = 0;
    const LxCRoi roi(0, 0, 2, 2);
    EXPECT_EQ(Hollow(2, 2, Image::eIDT_UINT8).GetStats(roi, statistics), 15);
    EXPECT_EQ(Hollow(2, 2, Image::eIDT_UINT8).PrintStatistics(roi, text), 15);
    EXPECT_EQ(text, "");
    EXPECT_EQ(Hollow(2, 2, Image::eIDT_UINT8).FindGlobalPeakPos(&x, &y, roi, false), 15);
    EXPECT_EQ(Image().GetStats(roi, statistics), 8);
    EXPECT_EQ(Image().FindGlobalPeakPos(&x, &y, roi, false), 8);
    EXPECT_EQ(CBeliedImage(2, 2, Image::eIDT_FLOAT64, 1).GetStats(roi, statistics), 8);
}

TEST(CCTImageStatistics, PrintOneNumberForGreyAndThreeForColour)
{
    const Image gray = ImageOf<std::uint8_t>(4, 1, Image::eIDT_UINT8, {10, 20, 255, 255});
    std::string text;
    // Mean 540 / 4 = 135; deviations 125, 115, 120, 120: sqrt(57650 / 4) =
    // 120.05.
    EXPECT_EQ(gray.PrintStatistics(LxCRoi(&gray), text), 0);
    EXPECT_EQ(text, "Mean=135.00, Sigma=120.05, Overmodulated=2, Max=255.00, Min=10.00");
    const Image color = ImageOf<std::uint8_t>(2, 1, Image::eIDT_BGRU8, {1, 10, 255, 2, 30, 255});
    EXPECT_EQ(color.PrintStatistics(LxCRoi(&color), text), 0);
    EXPECT_EQ(text, "Mean=255.00/20.00/1.50, Sigma=0.00/10.00/0.50, Overmodulated=2/0/0, "
                    "Max=255.00/30.00/2.00, Min=255.00/10.00/1.00");
}

// ---- FindGlobalPeakPos

TEST(CCTImagePeak, IsTheFirstOfTheGreatestOrTheLowest)
{
    const Image image = ImageOf<std::uint8_t>(4, 2, Image::eIDT_UINT8, {5, 9, 1, 9, 9, 1, 9, 200});
    int x = -1;
    int y = -1;
    EXPECT_EQ(image.FindGlobalPeakPos(&x, &y, LxCRoi(0, 0, 3, 2), false), 0);
    EXPECT_EQ(std::pair(x, y), std::pair(1, 0));
    EXPECT_EQ(image.FindGlobalPeakPos(&x, &y, LxCRoi(0, 0, 3, 2), true), 0);
    EXPECT_EQ(std::pair(x, y), std::pair(2, 0));
    EXPECT_EQ(image.FindGlobalPeakPos(&x, &y, LxCRoi(&image), false), 0);
    EXPECT_EQ(std::pair(x, y), std::pair(3, 1));
    EXPECT_EQ(image.FindGlobalPeakPos(&x, &y, LxCRoi(-5, 1, 7, 9), false), 0);
    EXPECT_EQ(std::pair(x, y), std::pair(0, 1));
}

TEST(CCTImagePeak, OfAColourIsThatOfItsSum)
{
    const Image argb = ImageOf<std::uint8_t>(2, 1, Image::eIDT_ARGB8, {10, 10, 10, 255, 0, 31, 0, 0});
    const Image bgr = ImageOf<std::uint8_t>(2, 1, Image::eIDT_BGRU8, {10, 10, 10, 0, 31, 0});
    const Image triple = ImageOf<float>(2, 1, Image::eIDT_FLOAT32_3, {0.1F, 0.1F, 0.1F, 0.0F, 0.31F, 0.0F});
    for (const Image* const image : {&argb, &bgr, &triple}) {
        int x = -1;
        int y = -1;
        EXPECT_EQ(image->FindGlobalPeakPos(&x, &y, LxCRoi(image), false), 0);
        EXPECT_EQ(x, 1);
        EXPECT_EQ(image->FindGlobalPeakPos(&x, &y, LxCRoi(image), true), 0);
        EXPECT_EQ(x, 0);
    }
}

TEST(CCTImagePeak, LeavesOutWhatIsNoNumber)
{
    const Image image = ImageOf<float>(4, 1, Image::eIDT_FLOAT32, {c_fNan, -c_fInfinity, c_fNan, -3.5F});
    int x = -1;
    int y = -1;
    EXPECT_EQ(image.FindGlobalPeakPos(&x, &y, LxCRoi(&image), false), 0);
    EXPECT_EQ(x, 3);
    EXPECT_EQ(image.FindGlobalPeakPos(&x, &y, LxCRoi(&image), true), 0);
    EXPECT_EQ(x, 1);
    EXPECT_EQ(image.FindGlobalPeakPos(nullptr, &y, LxCRoi(&image), true), 15);
    EXPECT_EQ(image.FindGlobalPeakPos(&x, nullptr, LxCRoi(&image), true), 15);
}

TEST(CCTImagePeak, EqualsABruteForceSearch)
{
    std::mt19937 random(11);
    const Image image = RandomImage(17, 13, Image::eIDT_INT16, 2);
    const auto at = [&](int x, int y) { return image.GetInt16PixelFast(x, y); };
    const auto coordinate = [&] { return static_cast<int>(random() % 30) - 10; };
    for (int trial = 0; trial < 2000; ++trial) {
        const LxCRoi roi(coordinate(), coordinate(), coordinate(), coordinate());
        std::pair best(-1, -1);
        for (int y = 0; y < 13; ++y) {
            for (int x = 0; x < 17; ++x) {
                if (roi.Contains(x, y) && (best.first < 0 || at(x, y) > at(best.first, best.second))) {
                    best = {x, y};
                }
            }
        }
        int x = -1;
        int y = -1;
        const int result = image.FindGlobalPeakPos(&x, &y, roi, false);
        ASSERT_EQ(result, best.first < 0 ? 13 : 0) << trial;
        ASSERT_EQ(std::pair(x, y), best) << trial;
    }
}

TEST(CCTImageResults, AreWrittenWhereTheirFolderExists)
{
    const ::TestSupport::CWorkplace workplace(true);
    Image a = ImageOf<std::uint8_t>(2, 1, Image::eIDT_UINT8, {100, 40});
    Image b = ImageOf<std::uint8_t>(2, 1, Image::eIDT_UINT8, {50, 20});
    Image result;
    EXPECT_EQ(Image::CalcMeanImage({&a, &b}, &result), 0);
    EXPECT_EQ(Image::DivideTwoImages(&a, &b, &a, 1.0F, false), 0);
    EXPECT_EQ(
        workplace.GetNames(),
        (std::vector<std::string>{"Results", "Results/mean_image.tif", "Results/tmp_image1_Source.tif",
                                  "Results/tmp_image2_Divide.tif", "Results/tmp_image3_Result.tif", "work"}));
    const auto firstByteOf = [&](const char* name) {
        Image picture;
        EXPECT_EQ(picture.Load((workplace.GetResults() / name).string()), 0) << name;
        return BytesOf(picture).at(0);
    };
    EXPECT_EQ(firstByteOf("mean_image.tif"), 75);
    EXPECT_EQ(firstByteOf("tmp_image1_Source.tif"), 100);
    EXPECT_EQ(firstByteOf("tmp_image2_Divide.tif"), 50);
    EXPECT_EQ(firstByteOf("tmp_image3_Result.tif"), 2);
}

TEST(CCTImageResults, MakeNoFolder)
{
    const ::TestSupport::CWorkplace workplace(false);
    Image a = RandomImage(2, 1, Image::eIDT_UINT8, 1);
    Image result;
    const Logging::CCapture capture;
    EXPECT_EQ(Image::CalcMeanImage({&a}, &result), 0);
    EXPECT_EQ(Image::DivideTwoImages(&a, &a, &result, 1.0F, false), 0);
    EXPECT_EQ(workplace.GetNames(), std::vector<std::string>{"work"});
    EXPECT_TRUE(capture.GetRecords().empty());
}

TEST(CCTImageResults, ThatCannotBeWrittenDoNotMatter)
{
    const ::TestSupport::CWorkplace workplace(true);
    // A folder in the place of each file.
    for (const char* const name :
         {"mean_image.tif", "tmp_image1_Source.tif", "tmp_image2_Divide.tif", "tmp_image3_Result.tif"}) {
        std::filesystem::create_directory(workplace.GetResults() / name);
    }
    const Logging::CCapture capture;
    Image a = RandomImage(2, 1, Image::eIDT_UINT8, 1);
    Image result;
    EXPECT_EQ(Image::CalcMeanImage({&a}, &result), 0);
    EXPECT_EQ(BytesOf(result), BytesOf(a));
    EXPECT_EQ(Image::DivideTwoImages(&a, &a, &result, 1.0F, false), 0);
}

// ---- CalcMeanImage

TEST(CCTImageMean, IsTheMeanOfEachElement)
{
    Image a = ImageOf<std::uint8_t>(2, 1, Image::eIDT_BGRU8, {0, 1, 2, 255, 10, 7});
    Image b = ImageOf<std::uint8_t>(2, 1, Image::eIDT_BGRU8, {0, 2, 5, 255, 20, 8});
    Image c = ImageOf<std::uint8_t>(2, 1, Image::eIDT_BGRU8, {1, 2, 5, 255, 30, 8});
    Image result;
    EXPECT_EQ(Image::CalcMeanImage({&a, &b, &c}, &result), 0);
    // 1/3, 5/3, 12/3, 255, 20, 23/3
    EXPECT_EQ(BytesOf(result), (Bytes{0, 2, 4, 255, 20, 8}));
    EXPECT_EQ(result.GetDataType(), Image::eIDT_BGRU8);
    EXPECT_EQ(Image::CalcMeanImage({&a, &b}, &result), 0);
    // Halves are rounded upwards: 0, 1.5, 3.5, 255, 15, 7.5.
    EXPECT_EQ(BytesOf(result), (Bytes{0, 2, 4, 255, 15, 8}));
}

TEST(CCTImageMean, OfRandomImagesEqualsDirectSums)
{
    for (const int type : {4, 6, 9, 11}) {
        std::vector<Image> images;
        for (unsigned i = 0; i < 5; ++i) {
            images.push_back(RandomImage(61, 37, type, i));
            if (type == 9 || type == 11) {
                std::mt19937 random(i);
                auto* const floats = static_cast<float*>(images.back().GetBuffer());
                std::generate_n(floats, images.back().GetSizeInBytes() / 4,
                                [&] { return static_cast<float>(random() % 1000) / 8.0F; });
            }
        }
        std::vector<Image*> list;
        for (Image& image : images) {
            list.push_back(&image);
        }
        Image result = MarkedImage(1, 2, Image::eIDT_UINT8);
        ASSERT_EQ(Image::CalcMeanImage(list, &result), 0);
        ASSERT_TRUE(result.DoTypeAndDimMatchWith(images[0]));
        const auto expect = [&]<typename T>(T) {
            const std::vector<T> means = ValuesOf<T>(result);
            for (std::size_t i = 0; i < means.size(); ++i) {
                long double sum = 0;
                for (const Image& image : images) {
                    sum += static_cast<long double>(static_cast<const T*>(image.GetBuffer())[i]);
                }
                const long double mean = sum / 5;
                ASSERT_EQ(means[i], static_cast<T>(std::is_integral_v<T> ? std::floor(mean + 0.5L) : mean));
            }
        };
        if (type == 4) {
            expect(std::int32_t{});
        } else if (type == 6) {
            expect(std::int16_t{});
        } else {
            expect(float{});
        }
    }
}

TEST(CCTImageMean, MayReplaceOneOfTheImages)
{
    Image a = RandomImage(50, 50, Image::eIDT_UINT8, 1);
    Image b = RandomImage(50, 50, Image::eIDT_UINT8, 2);
    Image expected;
    ASSERT_EQ(Image::CalcMeanImage({&a, &b}, &expected), 0);
    ASSERT_EQ(Image::CalcMeanImage({&a, &b}, &b), 0);
    EXPECT_EQ(BytesOf(b), BytesOf(expected));
    ASSERT_EQ(Image::CalcMeanImage({&a}, &a), 0);
}

TEST(CCTImageMean, FailsWithOneLogLineAndLeavesTheResult)
{
    Image image = RandomImage(3, 2, Image::eIDT_UINT8, 1);
    Image larger = RandomImage(4, 2, Image::eIDT_UINT8, 1);
    Image otherType = RandomImage(3, 2, Image::eIDT_GRAY8, 1);
    Image hollow = Hollow(3, 2, Image::eIDT_UINT8);
    Image empty;
    CBeliedImage belied(3, 2, Image::eIDT_FLOAT64, 1);
    Image result = MarkedImage(3, 2, Image::eIDT_UINT8);
    const std::vector<std::vector<Image*>> lists{
        {},        {nullptr}, {&image, nullptr}, {&image, &larger}, {&image, &otherType}, {&image, &hollow},
        {&hollow}, {&empty},  {&belied}};
    for (const std::vector<Image*>& images : lists) {
        const Logging::CCapture capture;
        EXPECT_EQ(Image::CalcMeanImage(images, &result), 17);
        EXPECT_EQ(
            capture.Count(Logging::ELevel::eError, c_sChannel, L"ERROR: Could not calculate mean image\n"),
            1);
        EXPECT_EQ(capture.GetRecords().size(), 1U);
    }
    EXPECT_TRUE(IsUntouched(result));
    const Logging::CCapture capture;
    EXPECT_EQ(Image::CalcMeanImage({&image}, nullptr), 17);
}

// ---- DivideTwoImages

TEST(CCTImageQuotient, OfBytesIsRoundedAndClamped)
{
    const Image a = ImageOf<std::uint8_t>(7, 1, Image::eIDT_UINT8, {10, 10, 200, 0, 5, 255, 3});
    const Image b = ImageOf<std::uint8_t>(7, 1, Image::eIDT_UINT8, {4, 3, 1, 0, 0, 255, 200});
    Image result;
    EXPECT_EQ(Image::DivideTwoImages(&a, &b, &result, 2.0F, false), 0);
    // 5, 6.67, 400, 0 / 0, 5 / 0, 2, 0.03
    EXPECT_EQ(BytesOf(result), (Bytes{5, 7, 255, 0, 255, 2, 0}));
    EXPECT_EQ(result.GetDataType(), Image::eIDT_UINT8);
    EXPECT_EQ(Image::DivideTwoImages(&a, &b, &result, -1.0F, true), 0);
    EXPECT_EQ(BytesOf(result), (Bytes{0, 0, 0, 0, 0, 0, 0}));
}

TEST(CCTImageQuotient, OfFloatsIsClampedWhereAsked)
{
    const Image a =
        ImageOf<float>(2, 1, Image::eIDT_FLOAT32_3, {1.0F, -3.0F, 600.0F, 0.0F, 5.0F, c_fInfinity});
    const Image b = ImageOf<float>(2, 1, Image::eIDT_FLOAT32_3, {4.0F, 2.0F, 2.0F, 0.0F, 0.0F, 1.0F});
    Image result;
    EXPECT_EQ(Image::DivideTwoImages(&a, &b, &result, 2.0F, false), 0);
    std::vector<float> values = ValuesOf<float>(result);
    EXPECT_TRUE(std::isnan(values[3]));
    values[3] = 0.0F;
    EXPECT_EQ(values, (std::vector<float>{0.5F, -3.0F, 600.0F, 0.0F, c_fInfinity, c_fInfinity}));
    EXPECT_EQ(Image::DivideTwoImages(&a, &b, &result, 2.0F, true), 0);
    values = ValuesOf<float>(result);
    EXPECT_TRUE(std::isnan(values[3]));
    values[3] = 0.0F;
    EXPECT_EQ(values, (std::vector<float>{0.5F, 0.0F, 255.0F, 0.0F, 255.0F, 255.0F}));
}

TEST(CCTImageQuotient, KeepsTheAlphaOfTheDividend)
{
    const Image a = ImageOf<std::uint8_t>(1, 1, Image::eIDT_ARGB8, {10, 20, 30, 77});
    const Image b = ImageOf<std::uint8_t>(1, 1, Image::eIDT_ARGB8, {5, 5, 5, 7});
    Image result;
    EXPECT_EQ(Image::DivideTwoImages(&a, &b, &result, 1.0F, false), 0);
    EXPECT_EQ(BytesOf(result), (Bytes{2, 4, 6, 77}));
}

TEST(CCTImageQuotient, MayReplaceEitherImage)
{
    const Image a = RandomImage(20, 20, Image::eIDT_ARGB8, 1);
    const Image b = RandomImage(20, 20, Image::eIDT_ARGB8, 2);
    Image expected;
    ASSERT_EQ(Image::DivideTwoImages(&a, &b, &expected, 64.0F, false), 0);
    Image dividend(a);
    ASSERT_EQ(Image::DivideTwoImages(&dividend, &b, &dividend, 64.0F, false), 0);
    EXPECT_EQ(BytesOf(dividend), BytesOf(expected));
    Image divisor(b);
    ASSERT_EQ(Image::DivideTwoImages(&a, &divisor, &divisor, 64.0F, false), 0);
    EXPECT_EQ(BytesOf(divisor), BytesOf(expected));
}

TEST(CCTImageQuotient, OfDifferentTypesOrSizesIsLogged)
{
    const Image a = RandomImage(3, 2, Image::eIDT_UINT8, 1);
    const Image otherType = RandomImage(3, 2, Image::eIDT_GRAY8, 1);
    Image result = MarkedImage(3, 2, Image::eIDT_UINT8);
    const Logging::CCapture capture;
    EXPECT_EQ(Image::DivideTwoImages(&a, &otherType, &result, 1.0F, false), 12);
    EXPECT_EQ(capture.Count(Logging::ELevel::eError, c_sChannel,
                            L"ERROR: DivideTwoImages() -> The input images have "
                            L"different DataTypes\n"),
              1);
    for (const auto& [width, height] : {std::pair{4, 2}, {3, 1}}) {
        const Image other = RandomImage(width, height, Image::eIDT_UINT8, 1);
        EXPECT_EQ(Image::DivideTwoImages(&a, &other, &result, 1.0F, false), 9);
    }
    EXPECT_EQ(capture.Count(Logging::ELevel::eError, c_sChannel,
                            L"ERROR: DivideTwoImages() -> The input images have "
                            L"different dimensions\n"),
              2);
    EXPECT_EQ(capture.GetRecords().size(), 3U);
    EXPECT_TRUE(IsUntouched(result));
}

TEST(CCTImageQuotient, RefusesWhatItCannotDo)
{
    const Image a = RandomImage(3, 2, Image::eIDT_UINT8, 1);
    const Image hollow = Hollow(3, 2, Image::eIDT_UINT8);
    Image result = MarkedImage(3, 2, Image::eIDT_UINT8);
    EXPECT_EQ(Image::DivideTwoImages(nullptr, &a, &result, 1.0F, false), 1);
    EXPECT_EQ(Image::DivideTwoImages(&a, nullptr, &result, 1.0F, false), 1);
    EXPECT_EQ(Image::DivideTwoImages(&a, &a, nullptr, 1.0F, false), 1);
    EXPECT_EQ(Image::DivideTwoImages(&a, &hollow, &result, 1.0F, false), 15);
    EXPECT_EQ(Image::DivideTwoImages(&hollow, &a, &result, 1.0F, false), 15);
    EXPECT_TRUE(IsUntouched(result));
    const Image undefined;
    EXPECT_EQ(Image::DivideTwoImages(&undefined, &undefined, &result, 1.0F, false), 8);
}

} // namespace
} // namespace LxCV
