#include "scanner/device/blur.h"

#include "scanner/device/random.h"

#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>

namespace device {
namespace {

TEST(DeviceBlur, KernelIsASymmetricBellOfSumOne)
{
    for (const double sigma : {0.3, 0.7, 1.0, 2.5, 10.0}) {
        const std::vector<double> kernel = BlurKernel(sigma);
        ASSERT_EQ(kernel.size() % 2, 1U);
        const std::size_t middle = kernel.size() / 2;
        double sum = 0.0;
        for (std::size_t k = 0; k < kernel.size(); ++k) {
            sum += kernel[k];
            EXPECT_EQ(kernel[k], kernel[kernel.size() - 1 - k]);
        }
        EXPECT_NEAR(sum, 1.0, 1e-15);
        EXPECT_NEAR(kernel[middle + 1] / kernel[middle], std::exp(-0.5 / (sigma * sigma)), 1e-15);
    }
}

TEST(DeviceBlur, WithoutWidthItIsASingleWeight)
{
    EXPECT_EQ(BlurKernel(0.0), std::vector<double>{1.0});
    EXPECT_EQ(BlurPlane(std::vector<float>{1, 2, 3, 4, 5, 6}, 3, 2, BlurKernel(0.0)),
              (std::vector<float>{1, 2, 3, 4, 5, 6}));
}

TEST(DeviceBlur, PlaneIsTheDirectDoubleSum)
{
    constexpr int c_width = 9, c_height = 6;
    const std::vector<double> kernel = BlurKernel(0.8);
    const int taps = static_cast<int>(kernel.size());
    const int stride = c_width + taps - 1;
    std::vector<float> source(static_cast<std::size_t>(stride * (c_height + taps - 1)));
    const CounterRandom random(4);
    for (std::size_t i = 0; i < source.size(); ++i) {
        source[i] = static_cast<float>(random.Uniform(i));
    }
    const std::vector<float> result = BlurPlane(source, c_width, c_height, kernel);
    ASSERT_EQ(result.size(), static_cast<std::size_t>(c_width * c_height));
    for (int row = 0; row < c_height; ++row) {
        for (int col = 0; col < c_width; ++col) {
            double sum = 0.0;
            for (int j = 0; j < taps; ++j) {
                for (int i = 0; i < taps; ++i) {
                    sum += kernel[static_cast<std::size_t>(j)] * kernel[static_cast<std::size_t>(i)] *
                           source[static_cast<std::size_t>((row + j) * stride + col + i)];
                }
            }
            EXPECT_NEAR(result[static_cast<std::size_t>(row * c_width + col)], sum, 1e-7); // a float below 1
        }
    }
}

TEST(DeviceBlur, RefusesSizesThatDoNotFit)
{
    const std::vector<double> kernel = BlurKernel(0.7);
    EXPECT_THROW(BlurPlane(std::vector<float>(5), 3, 2, kernel), std::invalid_argument);
    EXPECT_THROW(BlurPlane(std::vector<float>(6), 3, 2, std::vector<double>{}), std::invalid_argument);
    EXPECT_THROW(BlurPlane(std::vector<float>(6), 3, -2, BlurKernel(0.0)), std::invalid_argument);
}

} // namespace
} // namespace device
