#include "scanner/app/pointcloud.h"

#include "tests/support/temporaryfolder.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

namespace app {
namespace {

CloudPoint PointAt(double z, int column = 0, double row = 0.0)
{
    return {{1.5, -2.25, z}, column, row, {10, 20, 30}};
}

TEST(WritePly, WritesOneRecordAPoint)
{
    const TestSupport::CTemporaryFolder folder;
    const std::string file = folder / "cloud.ply";
    WritePly(file, std::vector<CloudPoint>{PointAt(33.5), PointAt(34.0)});
    const std::string bytes = TestSupport::ReadFile(file);

    const std::string end = "end_header\n";
    const std::size_t header = bytes.find(end) + end.size();
    EXPECT_NE(bytes.find("element vertex 2\n"), std::string::npos);
    ASSERT_EQ(bytes.size(), header + 2 * 15); // three floats and three bytes each
    float values[3];
    std::memcpy(values, bytes.data() + header, sizeof values);
    EXPECT_EQ(values[0], 1.5F);
    EXPECT_EQ(values[1], -2.25F);
    EXPECT_EQ(values[2], 33.5F);
    EXPECT_EQ(bytes.substr(header + 12, 3), "\x0a\x14\x1e");
}

TEST(WritePly, PutsNormalsBetweenPlaceAndColour)
{
    const TestSupport::CTemporaryFolder folder;
    const std::string file = folder / "cloud.ply";
    WritePly(file, std::vector<CloudPoint>{PointAt(33.5)}, std::vector<PointNormal>{{0.0F, 0.6F, -0.8F}});
    const std::string bytes = TestSupport::ReadFile(file);
    const std::string end = "property float z\nproperty float nx\nproperty float ny\nproperty float nz\n"
                            "property uchar red\nproperty uchar green\nproperty uchar blue\nend_header\n";
    ASSERT_NE(bytes.find(end), std::string::npos);
    const std::size_t header = bytes.find(end) + end.size();
    ASSERT_EQ(bytes.size(), header + 27); // six floats and three bytes
    float values[6];
    std::memcpy(values, bytes.data() + header, sizeof values);
    EXPECT_EQ(values[2], 33.5F);
    EXPECT_EQ(values[3], 0.0F);
    EXPECT_EQ(values[4], 0.6F);
    EXPECT_EQ(values[5], -0.8F);
    EXPECT_EQ(bytes.substr(header + 24), "\x0a\x14\x1e");
}

TEST(WritePly, WantsANormalForEachPoint)
{
    const TestSupport::CTemporaryFolder folder;
    EXPECT_THROW(WritePly(folder / "cloud.ply", {}, std::vector<PointNormal>(1)), std::invalid_argument);
}

TEST(WriteXyz, WritesALineAPointThatReadsBackAsTheSameFloats)
{
    const TestSupport::CTemporaryFolder folder;
    const std::string file = folder / "cloud.xyz";
    WriteXyz(file, std::vector<CloudPoint>{PointAt(33.1), PointAt(1e10)});
    EXPECT_EQ(TestSupport::ReadFile(file), "1.5 -2.25 33.1\n1.5 -2.25 1e+10\n");
    WriteXyz(file, {});
    EXPECT_EQ(TestSupport::ReadFile(file), "");
}

TEST(WriteXyz, NamesTheFileThatItCannotWrite)
{
    EXPECT_THROW(WriteXyz("/nonexistent-folder/cloud.xyz", {}), std::runtime_error);
}

TEST(WritePly, NamesTheFileThatItCannotWrite)
{
    EXPECT_THROW(WritePly("/nonexistent-folder/cloud.ply", {}), std::runtime_error);
}

TEST(DepthRange, LeavesOutOnePercentAtEitherEnd)
{
    std::vector<CloudPoint> points;
    for (int i = 0; i < 200; ++i) {
        points.push_back(PointAt(i));
    }
    EXPECT_EQ(DepthRange(points), (std::array<double, 2>{2.0, 197.0}));
    EXPECT_EQ(DepthRange({}), (std::array<double, 2>{0.0, 0.0}));
}

TEST(PaintDepth, PaintsNearPointsRedAndFarPointsBlue)
{
    const std::vector<CloudPoint> points = {PointAt(30.0, 1, 5.0), PointAt(36.0, 3, 5.0)};
    const ColourImage image = PaintDepth(5, 11, points, 30.0, 36.0);
    EXPECT_GT(image.At(1, 5)[0], image.At(1, 5)[2]);
    EXPECT_LT(image.At(3, 5)[0], image.At(3, 5)[2]);
    EXPECT_EQ(image.At(2, 5), image.At(0, 0)) << "a column without points stays dark";
}

TEST(PaintDepth, LeavesOutWhatLiesBesideThePicture)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const std::vector<CloudPoint> points = {PointAt(30.0, -1, 2.0), PointAt(30.0, 3, 2.0),
                                            PointAt(30.0, 1, -9.0), PointAt(30.0, 1, 1e300),
                                            PointAt(30.0, 1, nan)};
    const ColourImage image = PaintDepth(3, 4, points, 30.0, 36.0);
    const ColourImage empty = PaintDepth(3, 4, {}, 30.0, 36.0);
    for (int row = 0; row < 4; ++row) {
        for (int column = 0; column < 3; ++column) {
            EXPECT_EQ(image.At(column, row), empty.At(column, row));
        }
    }
}

TEST(PaintDepth, GivesEachRowToItsNearestPoint)
{
    const std::vector<CloudPoint> points = {PointAt(30.0, 0, 2.0), PointAt(36.0, 0, 6.0)};
    const ColourImage image = PaintDepth(1, 9, points, 30.0, 36.0);
    EXPECT_EQ(image.At(0, 3), image.At(0, 2));
    EXPECT_EQ(image.At(0, 5), image.At(0, 6));
    EXPECT_NE(image.At(0, 3), image.At(0, 5));
}

} // namespace
} // namespace app
