#include "normalkernels.h"

#include "lxc3dcoordscct.h"
#include "tests/lxcvlib/scantestsupport.h"
#include "vectorunits.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

namespace LxCV {
namespace {

using namespace TestSupport;

constexpr float c_fNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float c_fInfinity = std::numeric_limits<float>::infinity();

/// Points in lines, all valid, with outputs that show what was not written.
struct SCloud
{
    SCloud(std::size_t numLines, std::size_t length)
        : lines(numLines), lineLength(length), points(numLines * length), mask(points.size(), 1),
          normals(points.size(), LxCFloat3(9.0F)), normalMask(points.size(), 77)
    {}

    std::size_t Compute()
    {
        NormalKernels::SGrid grid;
        grid.lineLength = lineLength;
        grid.points = points;
        grid.mask = mask;
        grid.normals = normals;
        grid.normalMask = normalMask;
        return NormalKernels::ComputeNormals(grid);
    }

    LxCFloat3& Point(std::size_t line, std::size_t place) { return points[line * lineLength + place]; }
    LxCFloat3& Normal(std::size_t line, std::size_t place) { return normals[line * lineLength + place]; }

    std::size_t lines;
    std::size_t lineLength;
    std::vector<LxCFloat3> points;
    std::vector<std::uint8_t> mask;
    std::vector<LxCFloat3> normals;
    std::vector<std::uint8_t> normalMask;
};

SCloud RandomCloud(std::mt19937& random, std::size_t lines, std::size_t length)
{
    std::uniform_real_distribution<float> coordinate(-2.0F, 2.0F);
    SCloud cloud(lines, length);
    for (LxCFloat3& point : cloud.points) {
        point = LxCFloat3(coordinate(random), coordinate(random), coordinate(random));
    }
    for (std::uint8_t& mask : cloud.mask) {
        mask = random() % 5 == 0 ? static_cast<std::uint8_t>(random()) : 1;
    }
    return cloud;
}

LxC3DCoordsCCT InDouble(const LxCFloat3& point)
{
    return {point.get(0), point.get(1), point.get(2)};
}

/// The sum of the products of neighbouring differences, taken round the point: behind in the line, behind in lines,
/// before in the line, before in lines.
LxC3DCoordsCCT ReferenceSum(SCloud& cloud, std::size_t line, std::size_t place)
{
    const int steps[4][2] = {{0, 1}, {1, 0}, {0, -1}, {-1, 0}};
    const auto neighbour = [&](int k, LxC3DCoordsCCT& difference) {
        const std::size_t l = line + static_cast<std::size_t>(steps[k % 4][0]);
        const std::size_t p = place + static_cast<std::size_t>(steps[k % 4][1]);
        if (l >= cloud.lines || p >= cloud.lineLength) {
            return false;
        }
        difference = InDouble(cloud.Point(l, p)) - InDouble(cloud.Point(line, place));
        return true;
    };
    LxC3DCoordsCCT sum;
    for (int k = 0; k < 4; ++k) {
        LxC3DCoordsCCT first, second;
        if (neighbour(k, first) && neighbour(k + 1, second)) {
            sum += first.CrossProduct(second);
        }
    }
    return sum;
}

TEST(NormalKernels, AgreesWithAReferenceInDoubleForGridsOfEverySmallSize)
{
    // Coordinates up to 2 have differences up to 4 and products up to 32 with an absolute error of some 1e-5.
    constexpr double c_dTolerance = 1e-4;
    constexpr double c_dMinLength = 0.5; // shorter sums have too large an error in their direction
    std::mt19937 random(1);
    int compared = 0;
    for (std::size_t lines = 1; lines <= 7; ++lines) {
        for (std::size_t length = 1; length <= 20; ++length) {
            SCloud cloud = RandomCloud(random, lines, length);
            cloud.Compute();
            for (std::size_t i = 0; i < cloud.points.size(); ++i) {
                const LxC3DCoordsCCT sum = ReferenceSum(cloud, i / length, i % length);
                if (cloud.mask[i] != 1 || sum.GetLength() < c_dMinLength) {
                    continue;
                }
                const LxC3DCoordsCCT expected = -sum.Normalized();
                EXPECT_TRUE(expected.IsEqualTol(InDouble(cloud.normals[i]), c_dTolerance))
                    << lines << " lines of " << length << ", point " << i;
                ++compared;
            }
        }
    }
    EXPECT_GT(compared, 3000);
}

TEST(NormalKernels, AFlatGridHasTheSameNormalAtEveryPoint)
{
    // Lines are rows, x leads right and y down: the camera sees the plane z = 30 along +z, so the normal is -z.
    SCloud cloud(6, 9);
    for (std::size_t line = 0; line < 6; ++line) {
        for (std::size_t place = 0; place < 9; ++place) {
            cloud.Point(line, place) = LxCFloat3(static_cast<float>(place), static_cast<float>(line), 30.0F);
        }
    }
    EXPECT_EQ(cloud.Compute(), 54U);
    for (const LxCFloat3& normal : cloud.normals) {
        EXPECT_EQ(normal.get(0), 0.0F);
        EXPECT_EQ(normal.get(1), 0.0F);
        EXPECT_EQ(normal.get(2), -1.0F);
    }
}

TEST(NormalKernels, ATiltedPlaneHasItsAnalyticNormalTowardsTheCamera)
{
    // z = 40 + x/2 - y/4 has the gradient (1/2, -1/4, -1) of x/2 - y/4 - z, whose z points to the camera.
    // Coordinates in steps of 1/16 are exact, and so are all products: only root and quotient round.
    constexpr float c_fTolerance = 1e-7F;
    const double length = std::sqrt(0.25 + 0.0625 + 1.0);
    SCloud cloud(40, 50);
    for (std::size_t line = 0; line < 40; ++line) {
        for (std::size_t place = 0; place < 50; ++place) {
            const float x = static_cast<float>(place) / 16.0F - 1.5F;
            const float y = static_cast<float>(line) / 16.0F - 1.25F;
            cloud.Point(line, place) = LxCFloat3(x, y, 40.0F + x / 2.0F - y / 4.0F);
        }
    }
    cloud.Compute();
    for (const LxCFloat3& normal : cloud.normals) {
        EXPECT_LE(std::abs(normal.get(0) - 0.5 / length), c_fTolerance);
        EXPECT_LE(std::abs(normal.get(1) + 0.25 / length), c_fTolerance);
        EXPECT_LE(std::abs(normal.get(2) + 1.0 / length), c_fTolerance);
    }
}

TEST(NormalKernels, ASphereHasRadialNormalsTowardsTheCamera)
{
    // Central differences are off by h^2/6 times the third derivative, h = 0.1 mm and at most 0.12 / mm^2 up to 7.1 mm
    // from the axis: 2e-4. Floats at 60 mm add 4e-6 mm / 0.2 mm.
    constexpr double c_dTolerance = 5e-4;
    constexpr double c_dRadius = 10.0; // mm
    constexpr double c_dStep = 0.1;    // mm
    constexpr int c_iHalf = 50;
    const LxC3DCoordsCCT center(0.0, 0.0, 60.0);
    SCloud cloud(2 * c_iHalf + 1, 2 * c_iHalf + 1);
    for (int line = -c_iHalf; line <= c_iHalf; ++line) {
        for (int place = -c_iHalf; place <= c_iHalf; ++place) {
            const double x = place * c_dStep;
            const double y = line * c_dStep;
            const double z = center.z - std::sqrt(c_dRadius * c_dRadius - x * x - y * y);
            cloud.Point(static_cast<std::size_t>(line + c_iHalf), static_cast<std::size_t>(place + c_iHalf))
                .set(x, y, z);
        }
    }
    cloud.Compute();
    for (std::size_t line = 1; line + 1 < cloud.lines; ++line) {
        for (std::size_t place = 1; place + 1 < cloud.lineLength; ++place) {
            const LxC3DCoordsCCT point = InDouble(cloud.Point(line, place));
            const LxC3DCoordsCCT normal = InDouble(cloud.Normal(line, place));
            EXPECT_TRUE(normal.IsEqualTol((point - center) * (1.0 / c_dRadius), c_dTolerance))
                << line << " " << place;
            EXPECT_LT(normal.Dot(point), 0.0) << "the camera is the origin";
            EXPECT_TRUE(normal.IsNormalized(1e-6));
        }
    }
}

TEST(NormalKernels, APointWithoutPairsOfNeighboursHasTheZeroNormalAndCounts)
{
    for (const auto& [lines, length] : {std::pair{1U, 1U}, {1U, 2U}, {2U, 1U}, {1U, 9U}, {9U, 1U}}) {
        std::mt19937 random(2);
        SCloud cloud = RandomCloud(random, lines, length);
        cloud.mask.assign(cloud.mask.size(), 1);
        EXPECT_EQ(cloud.Compute(), lines * length);
        for (const LxCFloat3& normal : cloud.normals) {
            EXPECT_TRUE(HaveSameBits(normal, LxCFloat3())) << lines << " by " << length;
        }
        EXPECT_EQ(cloud.normalMask, std::vector<std::uint8_t>(cloud.points.size(), 77)) << "is not touched";
    }
}

TEST(NormalKernels, SumsUpToTheThresholdAreNoNormal)
{
    // The corner's only product has the length x, whose square in float is the threshold itself for 0.001.
    const float atThreshold = 0.001F;
    ASSERT_EQ(atThreshold * atThreshold, NormalKernels::c_fMinSquaredLength);
    SCloud cloud(2, 2);
    cloud.Point(1, 0) = LxCFloat3(0.0F, 1.0F, 0.0F);
    cloud.Point(0, 1) = LxCFloat3(atThreshold, 0.0F, 0.0F);
    EXPECT_EQ(cloud.Compute(), 4U);
    EXPECT_TRUE(HaveSameBits(cloud.Normal(0, 0), LxCFloat3()));
    cloud.Point(0, 1) = LxCFloat3(std::nextafter(atThreshold, 1.0F), 0.0F, 0.0F);
    cloud.Compute();
    EXPECT_EQ(cloud.Normal(0, 0).get(2), -1.0F);
}

TEST(NormalKernels, InvalidPointsHaveAZeroNormalAndAZeroNormalMask)
{
    std::mt19937 random(3);
    for (const std::size_t length : {1U, 2U, 3U, 17U, 40U}) {
        SCloud cloud = RandomCloud(random, 12, length);
        std::size_t valid = 0;
        for (const std::uint8_t mask : cloud.mask) {
            valid += mask == 1 ? 1U : 0U;
        }
        EXPECT_EQ(cloud.Compute(), valid);
        for (std::size_t i = 0; i < cloud.points.size(); ++i) {
            EXPECT_EQ(cloud.normalMask[i], cloud.mask[i] == 1 ? 77 : 0) << i;
            if (cloud.mask[i] != 1) {
                EXPECT_TRUE(HaveSameBits(cloud.normals[i], LxCFloat3())) << i;
            }
        }
    }
}

TEST(NormalKernels, NeighboursCountWhateverTheirMask)
{
    std::mt19937 random(4);
    SCloud cloud = RandomCloud(random, 5, 12);
    SCloud all = cloud;
    all.mask.assign(all.mask.size(), 1);
    cloud.Compute();
    all.Compute();
    for (std::size_t i = 0; i < cloud.points.size(); ++i) {
        if (cloud.mask[i] == 1) {
            EXPECT_TRUE(HaveSameBits(cloud.normals[i], all.normals[i])) << i;
        }
    }
}

TEST(NormalKernels, NotANumberNearAPointLeavesTheZeroNormal)
{
    std::mt19937 random(5);
    SCloud cloud = RandomCloud(random, 7, 21);
    cloud.mask.assign(cloud.mask.size(), 1);
    cloud.Point(3, 10).set(1, c_fNaN);
    EXPECT_EQ(cloud.Compute(), 147U);
    for (const auto& [line, place] : {std::pair{3U, 10U}, {2U, 10U}, {4U, 10U}, {3U, 9U}, {3U, 11U}}) {
        EXPECT_TRUE(HaveSameBits(cloud.Normal(line, place), LxCFloat3())) << line << " " << place;
    }
    EXPECT_NEAR(cloud.Normal(2, 9).getModulus(), 1.0F, 1e-6F) << "no neighbour of it";
}

TEST(NormalKernels, LengthsBeyondFloatsDivideAsInfinity)
{
    // The four products of the point in the middle add up to (0, 0, 4 * size^2), of which the square is taken.
    for (const auto& [size, isNumber] : {std::pair{1e4F, true}, {1e12F, true}, {1e25F, false}}) {
        SCloud cloud(3, 3);
        cloud.Point(1, 0) = LxCFloat3(-size, 0.0F, 0.0F);
        cloud.Point(1, 2) = LxCFloat3(size, 0.0F, 0.0F);
        cloud.Point(0, 1) = LxCFloat3(0.0F, -size, 0.0F);
        cloud.Point(2, 1) = LxCFloat3(0.0F, size, 0.0F);
        EXPECT_EQ(cloud.Compute(), 9U);
        const float z = cloud.Normal(1, 1).get(2);
        EXPECT_EQ(cloud.Normal(1, 1).get(0), 0.0F);
        EXPECT_EQ(cloud.Normal(1, 1).get(1), 0.0F);
        EXPECT_EQ(std::isnan(z), !isNumber);
        EXPECT_TRUE(!isNumber || z == (size < 1e9F ? -1.0F : 0.0F)) << size << ": " << z;
    }
}

TEST(NormalKernels, IsTheSameInEveryKindOfVectors)
{
    std::mt19937 random(6);
    for (std::size_t length = 1; length < 70; ++length) {
        SCloud wide = RandomCloud(random, 5, length);
        if (length % 3 == 0) {
            wide.points[length + length / 2].set(0, c_fNaN);
            wide.points[3 * length].set(2, c_fInfinity);
            wide.points[2 * length + length / 2].set(1, 1e30F);
        }
        SCloud basic = wide;
        const std::size_t valid = wide.Compute();
        const VectorUnits::CBasicOnly only;
        EXPECT_EQ(basic.Compute(), valid);
        EXPECT_EQ(basic.normalMask, wide.normalMask);
        for (std::size_t i = 0; i < wide.points.size(); ++i) {
            const bool isNumber = std::isfinite(wide.normals[i].getSum());
            EXPECT_EQ(isNumber, std::isfinite(basic.normals[i].getSum()));
            EXPECT_TRUE(!isNumber || HaveSameBits(wide.normals[i], basic.normals[i])) << length << ", " << i;
        }
    }
}

TEST(NormalKernels, GridsThatAreNotWholeAreLeftAsTheyAre)
{
    std::mt19937 random(7);
    SCloud cloud = RandomCloud(random, 4, 5);
    cloud.lineLength = 0;
    EXPECT_EQ(cloud.Compute(), 0U);
    cloud.lineLength = 6;
    EXPECT_EQ(cloud.Compute(), 0U);
    cloud.lineLength = 5;
    cloud.mask.pop_back();
    EXPECT_EQ(cloud.Compute(), 0U);
    EXPECT_EQ(cloud.normals[0].get(0), 9.0F);
    EXPECT_EQ(SCloud(0, 3).Compute(), 0U);
}

} // namespace
} // namespace LxCV
