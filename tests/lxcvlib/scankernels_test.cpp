#include "scankernels.h"

#include "tests/lxcvlib/scantestsupport.h"
#include "vectorunits.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

namespace LxCV {
namespace {

using namespace TestSupport;

std::array<double, 12> RandomMatrix(std::mt19937& random)
{
    std::uniform_real_distribution<double> element(-3.0, 3.0);
    std::array<double, 12> matrix;
    for (double& value : matrix) {
        value = element(random);
    }
    return matrix;
}

std::vector<LxCFloat3> RandomPoints(std::mt19937& random, std::size_t count)
{
    std::uniform_real_distribution<float> coordinate(-100.0F, 100.0F);
    std::vector<LxCFloat3> points;
    for (std::size_t i = 0; i < count; ++i) {
        points.emplace_back(coordinate(random), coordinate(random), coordinate(random));
    }
    return points;
}

TEST(ScanKernels, TransformPointsSumsUpEachRowFromItsFirstElement)
{
    // 1e16 + 1 is 1e16 in double: a sum in any other order gives another number.
    const std::array<double, 12> matrix = {1e16, 1.0, -1e16, 0.5, 0, 2, 0, 1, 0, 0, 4, -1};
    for (std::size_t count = 0; count < 12; ++count) {
        std::vector<LxCFloat3> points(count, LxCFloat3(1.0F, 1.0F, 1.0F));
        ScanKernels::TransformPoints(matrix, points);
        for (const LxCFloat3& point : points) {
            EXPECT_TRUE(HaveSameBits(point, LxCFloat3(0.5F, 3.0F, 3.0F))) << count;
        }
    }
}

TEST(ScanKernels, TransformPointsIsTheSameInEveryKindOfVectors)
{
    std::mt19937 random(1);
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float infinity = std::numeric_limits<float>::infinity();
    for (std::size_t count = 0; count < 200; ++count) {
        const std::array<double, 12> matrix = RandomMatrix(random);
        std::vector<LxCFloat3> points = RandomPoints(random, count);
        if (count > 5) {
            points[count / 2] = LxCFloat3(infinity, 1.0F, 1e38F);
            points[count / 3] = LxCFloat3(0.0F, nan, -0.0F);
        }
        std::vector<LxCFloat3> wide = points;
        ScanKernels::TransformPoints(matrix, wide);
        const VectorUnits::CBasicOnly basic;
        ScanKernels::TransformPoints(matrix, points);
        for (std::size_t i = 0; i < count; ++i) {
            // The hardware gives the sign and payload of a NaN by operand order, so only being one is compared.
            for (const int element : {0, 1, 2}) {
                const float a = wide[i].get(element);
                const float b = points[i].get(element);
                EXPECT_TRUE(std::isnan(a) ? std::isnan(b) : std::memcmp(&a, &b, sizeof a) == 0)
                    << count << " points, " << i << ": " << a << " and " << b;
            }
        }
    }
}

TEST(ScanKernels, ZeroInvalidPointsKeepsThoseWithMaskOneOnly)
{
    const std::vector<std::uint8_t> mask = {1, 0, 2, 255, 1};
    std::vector<LxCFloat3> points(5, LxCFloat3(1.0F, 2.0F, 3.0F));
    EXPECT_EQ(ScanKernels::ZeroInvalidPoints(mask, points), 2U);
    for (std::size_t i = 0; i < 5; ++i) {
        const bool kept = i == 0 || i == 4;
        EXPECT_TRUE(HaveSameBits(points[i], kept ? LxCFloat3(1.0F, 2.0F, 3.0F) : LxCFloat3())) << i;
    }
}

TEST(ScanKernels, ZeroInvalidPointsStopsAtTheEndOfTheShorterOne)
{
    const std::vector<std::uint8_t> mask = {0, 1};
    std::vector<LxCFloat3> points(3, LxCFloat3(1.0F));
    EXPECT_EQ(ScanKernels::ZeroInvalidPoints(mask, points), 1U);
    EXPECT_EQ(points[2].get(0), 1.0F);
    EXPECT_EQ(ScanKernels::ZeroInvalidPoints(mask, {}), 0U);
    EXPECT_EQ(ScanKernels::ZeroInvalidPoints({}, points), 0U);
}

} // namespace
} // namespace LxCV
