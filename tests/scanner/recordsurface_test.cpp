#include "scanner/app/recordsurface.h"

#include "lxcfloat3.h"
#include "lxsscandatacct.h"
#include "pixelelements.h"
#include "tests/support/temporaryfolder.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <limits>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

namespace app {
namespace {

using Corner = std::array<float, 3>;

/// A record of three columns and two or more stripe edges, whose points are set one by one: at the column's index in x
/// and the edge's in y.
class RecordSurface : public testing::Test
{
protected:
    explicit RecordSurface(int edges = 3)
    {
        EXPECT_TRUE(m_record.Initialize(kColumns, edges, kColumns, edges, false));
        m_record.Clear();
    }

    Corner Set(int column, int edge, float z)
    {
        return Set(column, edge, {static_cast<float>(column), static_cast<float>(edge), z});
    }

    Corner Set(int column, int edge, const Corner& point)
    {
        const auto place = static_cast<std::size_t>(edge * kColumns + column);
        LxCV::ElementsOf<LxCV::LxCFloat3>(*m_record.GetFull3DPoints())[place] =
            LxCV::LxCFloat3(point[0], point[1], point[2]);
        LxCV::ElementsOf<std::uint8_t>(*m_record.GetFullValidMask())[place] = 1;
        return point;
    }

    /// The triangles as sets of corners, whatever their order.
    std::set<std::set<Corner>> Triangles() const
    {
        std::set<std::set<Corner>> triangles;
        for (const SurfaceTriangle& triangle : SurfaceOf(m_record)) {
            triangles.insert({triangle.begin(), triangle.end()});
        }
        return triangles;
    }

    static constexpr int kColumns = 3;
    LxCV::LxSScanDataCCT m_record;
};

TEST_F(RecordSurface, FourPointsMeetAlongTheShorterDiagonal)
{
    // The diagonals are sqrt(2 + 0.3^2) from a to c and sqrt(2 + 0.1^2) from b to d.
    const Corner a = Set(0, 0, 30.0F);
    const Corner b = Set(1, 0, 30.1F);
    const Corner c = Set(1, 1, 30.3F);
    const Corner d = Set(0, 1, 30.2F);
    EXPECT_EQ(Triangles(), (std::set<std::set<Corner>>{{a, b, d}, {b, c, d}}));
    const Corner raised = Set(1, 1, 30.05F); // now the first one is the shorter: 0.05 against 0.1
    EXPECT_EQ(Triangles(), (std::set<std::set<Corner>>{{a, b, raised}, {a, raised, d}}));
}

TEST_F(RecordSurface, ThreePointsMakeATriangleWhicheverIsMissing)
{
    for (int missing = 0; missing < 4; ++missing) {
        m_record.Clear();
        std::set<Corner> corners;
        for (int i = 0; i < 4; ++i) {
            if (i != missing) {
                corners.insert(Set(i % 2, i / 2, 30.0F));
            }
        }
        EXPECT_EQ(Triangles(), std::set<std::set<Corner>>{corners}) << missing;
    }
}

TEST_F(RecordSurface, TwoPointsMakeNone)
{
    Set(0, 0, 30.0F);
    Set(1, 1, 30.0F);
    EXPECT_TRUE(SurfaceOf(m_record).empty());
}

TEST_F(RecordSurface, OnlyNeighboursAreJoined)
{
    // Columns 0 and 2, and edges 0 and 2: no cell has three of them.
    for (const int column : {0, 2}) {
        for (const int edge : {0, 2}) {
            Set(column, edge, 30.0F);
        }
    }
    EXPECT_TRUE(SurfaceOf(m_record).empty());
}

TEST_F(RecordSurface, AWholeGridHasTwoTrianglesACell)
{
    for (int column = 0; column < 3; ++column) {
        for (int edge = 0; edge < 3; ++edge) {
            Set(column, edge, 30.0F);
        }
    }
    EXPECT_EQ(SurfaceOf(m_record).size(), 8U);
}

TEST_F(RecordSurface, NothingIsJoinedAcrossAJumpInDepth)
{
    // The jump lies between columns 1 and 2.
    const float behind = 30.0F + 1.01F * kLargestDepthStep;
    for (int edge = 0; edge < 2; ++edge) {
        Set(0, edge, 30.0F);
        Set(1, edge, 30.0F);
        Set(2, edge, behind);
    }
    EXPECT_EQ(SurfaceOf(m_record).size(), 2U);
    for (const SurfaceTriangle& triangle : SurfaceOf(m_record)) {
        for (const Corner& corner : triangle) {
            EXPECT_EQ(corner[2], 30.0F);
        }
    }
    EXPECT_EQ(SurfaceOf(m_record, 1.02F * kLargestDepthStep).size(), 4U);
}

TEST_F(RecordSurface, AStepOfTheLimitIsNoJump)
{
    Set(0, 0, 30.0F);
    Set(1, 0, 30.25F);
    Set(0, 1, 30.5F);
    EXPECT_EQ(SurfaceOf(m_record, 0.5F).size(), 1U); // all three depths are exact
    EXPECT_TRUE(SurfaceOf(m_record, 0.49F).empty());
}

TEST_F(RecordSurface, NormalsPointToTheCameraWhicheverWayEdgesRun)
{
    for (const float direction : {1.0F, -1.0F}) {
        m_record.Clear();
        for (int i = 0; i < 4; ++i) {
            Set(i % 2, i / 2, {static_cast<float>(i % 2), direction * static_cast<float>(i / 2), 30.0F});
        }
        const std::vector<SurfaceTriangle> surface = SurfaceOf(m_record);
        ASSERT_EQ(surface.size(), 2U);
        for (const auto& [a, b, c] : surface) {
            // The third coordinate of (b - a) x (c - a): the camera looks along z.
            EXPECT_LT((b[0] - a[0]) * (c[1] - a[1]) - (b[1] - a[1]) * (c[0] - a[0]), 0.0F) << direction;
        }
    }
}

TEST_F(RecordSurface, PointsThatAreNowhereOrOneAreLeftOut)
{
    Set(0, 0, 30.0F);
    Set(1, 0, {1.0F, 0.0F, std::numeric_limits<float>::quiet_NaN()});
    Set(0, 1, 30.0F);
    EXPECT_TRUE(SurfaceOf(m_record).empty());
    Set(1, 0, {0.0F, 0.0F, 30.0F}); // the place of the first one
    EXPECT_TRUE(SurfaceOf(m_record).empty());
    Set(1, 0, {std::numeric_limits<float>::infinity(), 0.0F, 30.0F});
    EXPECT_TRUE(SurfaceOf(m_record).empty());
}

TEST(SurfaceOf, IsEmptyForARecordOfOneRow)
{
    LxCV::LxSScanDataCCT record;
    ASSERT_TRUE(record.Initialize(4, 1, 4, 1, false));
    EXPECT_TRUE(SurfaceOf(record).empty());
}

TEST(WriteStl, WritesFiftyBytesATriangle)
{
    const TestSupport::CTemporaryFolder folder;
    const std::string file = folder / "surface.stl";
    // A right angle in the plane z = 30, whose normal is (0, 0, -1).
    WriteStl(file, std::vector<SurfaceTriangle>{{Corner{0, 0, 30}, {0, 2, 30}, {2, 0, 30}}});
    const std::string bytes = TestSupport::ReadFile(file);
    ASSERT_EQ(bytes.size(), 134U); // 80 of header, 4 of count, 12 floats, 2 of attributes
    EXPECT_NE(bytes.substr(0, 5), "solid");
    EXPECT_EQ(bytes.substr(80, 4), std::string("\x01\x00\x00\x00", 4));
    std::array<float, 12> values{};
    std::memcpy(values.data(), bytes.data() + 84, sizeof values);
    EXPECT_EQ(values, (std::array<float, 12>{0, 0, -1, 0, 0, 30, 0, 2, 30, 2, 0, 30}));
    EXPECT_EQ(bytes.substr(132), std::string(2, '\0'));
}

TEST(WriteStl, WritesAFileWithoutTriangles)
{
    const TestSupport::CTemporaryFolder folder;
    const std::string file = folder / "surface.stl";
    WriteStl(file, {});
    const std::string bytes = TestSupport::ReadFile(file);
    ASSERT_EQ(bytes.size(), 84U);
    EXPECT_EQ(bytes.substr(80), std::string(4, '\0'));
}

TEST(WriteStl, NamesTheFileThatItCannotWrite)
{
    try {
        WriteStl("/nonexistent-folder/surface.stl", {});
        FAIL();
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(),
                     "cannot write '/nonexistent-folder/surface.stl': No such file or directory");
    }
}

} // namespace
} // namespace app
