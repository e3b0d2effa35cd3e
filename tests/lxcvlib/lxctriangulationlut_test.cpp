#include "lxctriangulationlut.h"

#include "orx/logging/logger.h"
#include "tests/lxcvlib/allocationcount.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <climits>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace LxCV {
namespace {

using Table = LxCTriangulationLUT;

constexpr float c_fInfinity = std::numeric_limits<float>::infinity();
constexpr float c_fNaN = std::numeric_limits<float>::quiet_NaN();

int Errors(const Logging::CCapture& log, const std::wstring& text)
{
    return log.Count(Logging::ELevel::eError, L"ORX.Lumorad.LxCTriangulationLUT", text);
}

struct SPoint
{
    float xyz[3];
    int valid;
};

SPoint LookUp(const Table& table, float col, float row, int edge)
{
    SPoint point{{-1.0F, -1.0F, -1.0F}, -1};
    unsigned char valid = 0xFF;
    table.LookUpXYZ(col, row, edge, point.xyz, &valid);
    point.valid = valid;
    return point;
}

void ExpectNoPoint(const Table& table, float col, float row, int edge)
{
    const SPoint point = LookUp(table, col, row, edge);
    EXPECT_EQ(point.valid, 0) << col << " " << row << " " << edge;
    for (const float value : point.xyz) {
        EXPECT_EQ(value, 0.0F) << col << " " << row << " " << edge;
    }
}

void ExpectNoDepth(const Table& table, float col, float row, int edge)
{
    EXPECT_EQ(table.LookUpZ(col, row, edge), 0.0F) << col << " " << row << " " << edge;
}

void SetPoint(Table& table, int entry, int x, int y, float z)
{
    table.GetLUTEntry(entry)->SetFloat3PixelFast(x, y, LxCFloat3(10.0F * z, 100.0F * z, z));
}

/// All points of an entry at one depth.
void FillEntry(Table& table, int entry, float z)
{
    for (int y = 0; y < table.GetLUTEntry(entry)->GetHeight(); ++y) {
        for (int x = 0; x < table.GetLUTEntry(entry)->GetWidth(); ++x) {
            SetPoint(table, entry, x, y, z);
        }
    }
}

void FillRandomly(Table& table, unsigned int seed)
{
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> coordinate(-50.0F, 50.0F);
    for (int entry = 0; entry < table.GetNrEntries(); ++entry) {
        auto* const values = static_cast<float*>(table.GetLUTEntry(entry)->GetBuffer());
        std::generate_n(values, table.GetNrElements() / table.GetNrEntries(),
                        [&] { return coordinate(random); });
    }
}

// --- The grid

TEST(LxCTriangulationLUT, NewOneHasNoEntries)
{
    Table table;
    EXPECT_EQ(table.GetNrElements(), 0);
    EXPECT_EQ(table.GetNrEntries(), 0);
    EXPECT_EQ(table.GetBlock(), nullptr);
    EXPECT_EQ(table.GetLUTEntry(0), nullptr);
    EXPECT_EQ(table.GetPaddedWidth(), 0);
    EXPECT_EQ(table.GetPaddedHeight(), 0);
    ExpectNoDepth(table, 0.0F, 0.0F, 1);
    ExpectNoPoint(table, 0.0F, 0.0F, 0);
}

TEST(LxCTriangulationLUT, CameraOf122EdgesTakesFifteenMegabytes)
{
    Table table;
    ASSERT_TRUE(table.Init(122, 658, 494));
    EXPECT_EQ(table.GetNrEntries(), 122);
    EXPECT_EQ(table.GetNrElements(), 122 * (84 * 125) * 3);
    EXPECT_EQ(table.GetPaddedWidth(), 664);
    EXPECT_EQ(table.GetPaddedHeight(), 496);
}

TEST(LxCTriangulationLUT, GridReachesBeyondTheLastPixel)
{
    struct SSize
    {
        int width, height, gridWidth, gridHeight, paddedWidth, paddedHeight;
    };
    for (const SSize& size : {SSize{0, 0, 2, 2, 0, 0}, SSize{1, 1, 2, 2, 8, 4}, SSize{7, 3, 2, 2, 8, 4},
                              SSize{8, 4, 3, 3, 8, 4}, SSize{9, 5, 3, 3, 16, 8}, SSize{16, 8, 4, 4, 16, 8}}) {
        Table table;
        ASSERT_TRUE(table.Init(3, size.width, size.height));
        EXPECT_EQ(table.GetPaddedWidth(), size.paddedWidth);
        EXPECT_EQ(table.GetPaddedHeight(), size.paddedHeight);
        EXPECT_EQ(table.GetNrElements(), 3 * size.gridWidth * size.gridHeight * 3);
        for (int entry = 0; entry < 3; ++entry) {
            const CCTImage* const image = table.GetLUTEntry(entry);
            ASSERT_NE(image, nullptr);
            EXPECT_EQ(image->GetWidth(), size.gridWidth);
            EXPECT_EQ(image->GetHeight(), size.gridHeight);
            EXPECT_EQ(image->GetDataType(), CCTImage::eIDT_FLOAT32_3);
            FillEntry(table, entry, 1.0F);
        }
        const auto col = static_cast<float>(size.width);
        const auto row = static_cast<float>(size.height);
        EXPECT_EQ(LookUp(table, col, row, 2).valid, 1) << "even a pixel beyond the last";
    }
}

TEST(LxCTriangulationLUT, EntriesFollowEachOtherInTheBlockAndAreEmpty)
{
    Table table;
    ASSERT_TRUE(table.Init(5, 17, 9));
    const int floatsPerEntry = table.GetNrElements() / 5;
    for (int entry = 0; entry < 5; ++entry) {
        EXPECT_EQ(table.GetLUTEntry(entry)->GetBuffer(), table.GetBlock() + entry * floatsPerEntry);
    }
    EXPECT_TRUE(std::all_of(table.GetBlock(), table.GetBlock() + table.GetNrElements(),
                            [](float value) { return std::bit_cast<std::uint32_t>(value) == 0; }));
    for (const int index : {-1, 5, INT_MIN, INT_MAX}) {
        EXPECT_EQ(table.GetLUTEntry(index), nullptr);
        EXPECT_EQ(std::as_const(table).GetLUTEntry(index), nullptr);
    }
}

TEST(LxCTriangulationLUT, NoEdgesAreATableToo)
{
    Table table;
    EXPECT_TRUE(table.Init(0, 658, 494));
    EXPECT_NE(table.GetBlock(), nullptr);
    EXPECT_EQ(table.GetNrElements(), 0);
    EXPECT_EQ(table.GetLUTEntry(0), nullptr);
    ExpectNoDepth(table, 0.0F, 0.0F, 1);
    ExpectNoPoint(table, 0.0F, 0.0F, 0);
}

TEST(LxCTriangulationLUT, ResetDropsAll)
{
    Table table;
    ASSERT_TRUE(table.Init(3, 16, 8));
    FillEntry(table, 0, 1.0F);
    table.Reset();
    EXPECT_EQ(table.GetNrElements(), 0);
    EXPECT_EQ(table.GetBlock(), nullptr);
    EXPECT_EQ(table.GetLUTEntry(0), nullptr);
    ExpectNoDepth(table, 0.0F, 0.0F, 1);
    ExpectNoPoint(table, 0.0F, 0.0F, 0);
    ASSERT_TRUE(table.Init(2, 8, 4));
    EXPECT_EQ(table.GetNrElements(), 2 * 9 * 3);
    ExpectNoDepth(table, 0.0F, 0.0F, 1);
}

TEST(LxCTriangulationLUT, NumbersOfWhichNoTableCanBeAreRefused)
{
    const int cases[][3] = {{-1, 8, 4},
                            {1, -1, 4},
                            {1, 8, -1},
                            {INT_MIN, 8, 4},
                            {1, INT_MIN, INT_MIN},
                            {1, INT_MAX, 4},
                            {1, 8, INT_MAX},
                            {1, INT_MAX, INT_MAX},
                            {INT_MAX, 658, 494},
                            {INT_MAX, 0, 0}};
    for (const auto& numbers : cases) {
        Table table;
        ASSERT_TRUE(table.Init(1, 8, 4));
        const Logging::CCapture log;
        EXPECT_FALSE(table.Init(numbers[0], numbers[1], numbers[2]));
        EXPECT_EQ(Errors(log, L"LxCTriangulationLUT::Init: no table of " + std::to_wstring(numbers[0]) +
                                  L" edges on " + std::to_wstring(numbers[1]) + L" by " +
                                  std::to_wstring(numbers[2]) + L" pixels"),
                  1);
        EXPECT_EQ(table.GetBlock(), nullptr);
        EXPECT_EQ(table.GetNrElements(), 0);
    }
}

TEST(LxCTriangulationLUT, ShortMemoryLeavesNoTable)
{
    if (!AllocationLimit::IsEffective()) {
        GTEST_SKIP() << "allocations do not fail under the thread sanitizer";
    }
    constexpr int c_edges = 100'000;             // a block of 4.8 MB and a list of 0.8 MB
    constexpr std::size_t c_large = 500'000;     // bytes
    for (const std::size_t allowed : {0U, 1U}) { // the block, or its list of entries, is what fails
        Table table;
        const Logging::CCapture log;
        const AllocationLimit limit(c_large, allowed);
        ASSERT_FALSE(table.Init(c_edges, 0, 0));
        EXPECT_EQ(Errors(log, L"LxCTriangulationLUT::Init: out of memory"), 1);
        EXPECT_EQ(table.GetBlock(), nullptr);
        EXPECT_EQ(table.GetLUTEntry(0), nullptr);
        EXPECT_EQ(table.GetNrElements(), 0);
    }
}

TEST(LxCTriangulationLUT, TakesLittleMemoryBesideItsBlock)
{
    constexpr std::size_t c_small = 4096; // bytes
    const AllocationCount allocations;
    Table table;
    {
        const AllocationLimit oneLargeBlock(c_small, 1);
        ASSERT_TRUE(table.Init(122, 658, 494));
    }
    EXPECT_LE((allocations.Get() - std::min<std::size_t>(allocations.Get(), 1)) * c_small,
              std::size_t{1} << 20U);
}

// --- Lookup

TEST(LxCTriangulationLUT, DepthCountsEdgesFromOneAndPointsFromZero)
{
    Table table;
    ASSERT_TRUE(table.Init(3, 8, 4));
    for (int entry = 0; entry < 3; ++entry) {
        FillEntry(table, entry, static_cast<float>(entry + 1));
    }
    EXPECT_EQ(table.LookUpZ(0.0F, 0.0F, 1), 1.0F) << "entry 0";
    EXPECT_EQ(LookUp(table, 0.0F, 0.0F, 1).xyz[2], 2.0F) << "entry 1";
    EXPECT_EQ(table.LookUpZ(0.0F, 0.0F, 3), 3.0F);
    EXPECT_EQ(LookUp(table, 0.0F, 0.0F, 0).xyz[2], 1.0F);
    EXPECT_EQ(LookUp(table, 0.0F, 0.0F, 2).xyz[2], 3.0F);
}

TEST(LxCTriangulationLUT, GridPositionsGiveTheirPoints)
{
    Table table;
    ASSERT_TRUE(table.Init(2, 24, 12));
    FillRandomly(table, 1);
    for (int entry = 0; entry < 2; ++entry) {
        for (int y = 0; y < 4; ++y) {
            for (int x = 0; x < 4; ++x) {
                const auto col = static_cast<float>(8 * x);
                const auto row = static_cast<float>(4 * y);
                const SPoint found = LookUp(table, col, row, entry);
                const LxCFloat3& expected = table.GetLUTEntry(entry)->GetFloat3Fast(x, y);
                EXPECT_EQ(found.valid, 1);
                for (int channel = 0; channel < 3; ++channel) {
                    EXPECT_EQ(found.xyz[channel], expected.get(channel)) << x << " " << y;
                }
                EXPECT_EQ(table.LookUpZ(col, row, entry + 1), expected.get(2));
            }
        }
    }
}

TEST(LxCTriangulationLUT, PositionBetweenFourPointsIsBilinear)
{
    Table table;
    ASSERT_TRUE(table.Init(1, 8, 4));
    SetPoint(table, 0, 0, 0, 10.0F);
    SetPoint(table, 0, 1, 0, 20.0F);
    SetPoint(table, 0, 0, 1, 30.0F);
    SetPoint(table, 0, 1, 1, 80.0F);
    // A quarter of the way to the right and half of the way down: above 12.5, below 42.5.
    EXPECT_EQ(table.LookUpZ(2.0F, 2.0F, 1), 27.5F);
    const SPoint point = LookUp(table, 2.0F, 2.0F, 0);
    EXPECT_EQ(point.valid, 1);
    EXPECT_EQ(point.xyz[0], 275.0F);
    EXPECT_EQ(point.xyz[1], 2750.0F);
    EXPECT_EQ(point.xyz[2], 27.5F);
}

/// The definition, with the order of operations that it tells.
float Bilinear(const Table& table, float col, float row, int entry, int channel)
{
    const float fx = col / 8.0F;
    const float fy = row / 4.0F;
    const auto ix = static_cast<int>(fx);
    const auto iy = static_cast<int>(fy);
    const float a = fx - static_cast<float>(ix);
    const float b = fy - static_cast<float>(iy);
    const CCTImage& grid = *table.GetLUTEntry(entry);
    const float v00 = grid.GetFloat3Fast(ix, iy).get(channel);
    const float v10 = grid.GetFloat3Fast(ix + 1, iy).get(channel);
    const float v01 = grid.GetFloat3Fast(ix, iy + 1).get(channel);
    const float v11 = grid.GetFloat3Fast(ix + 1, iy + 1).get(channel);
    return ((1 - a) * v00 + a * v10) * (1 - b) + ((1 - a) * v01 + a * v11) * b;
}

TEST(LxCTriangulationLUT, LookupsAreTheDefinitionBitForBit)
{
    constexpr int c_width = 101;
    constexpr int c_height = 67;
    Table table;
    ASSERT_TRUE(table.Init(7, c_width, c_height));
    FillRandomly(table, 2);
    std::mt19937 random(3);
    // Up to the last position whose cell has all its points.
    std::uniform_real_distribution<float> anyCol(0.0F, 8.0F * (c_width / 8 + 1));
    std::uniform_real_distribution<float> anyRow(0.0F, 4.0F * (c_height / 4 + 1));
    for (int trial = 0; trial < 20000; ++trial) {
        const float col = std::nextafter(anyCol(random), 0.0F);
        const float row = std::nextafter(anyRow(random), 0.0F);
        const auto entry = static_cast<int>(random() % 7);
        const SPoint point = LookUp(table, col, row, entry);
        ASSERT_EQ(point.valid, 1) << col << " " << row;
        for (int channel = 0; channel < 3; ++channel) {
            ASSERT_EQ(std::bit_cast<std::uint32_t>(point.xyz[channel]),
                      std::bit_cast<std::uint32_t>(Bilinear(table, col, row, entry, channel)))
                << col << " " << row << " " << entry << " " << channel;
        }
        ASSERT_EQ(std::bit_cast<std::uint32_t>(table.LookUpZ(col, row, entry + 1)),
                  std::bit_cast<std::uint32_t>(point.xyz[2]));
    }
}

TEST(LxCTriangulationLUT, CellWithOneCornerWithoutAPointHasNone)
{
    Table table;
    ASSERT_TRUE(table.Init(1, 24, 12)); // 5 by 5 points
    for (const float none : {0.0F, -0.0F}) {
        FillEntry(table, 0, 30.0F);
        table.GetLUTEntry(0)->SetFloat3PixelFast(2, 2, LxCFloat3(7.0F, 8.0F, none));
        for (int cellY = 0; cellY < 4; ++cellY) {
            for (int cellX = 0; cellX < 4; ++cellX) {
                const float col = static_cast<float>(8 * cellX) + 3.0F;
                const float row = static_cast<float>(4 * cellY) + 1.0F;
                if ((cellX == 1 || cellX == 2) && (cellY == 1 || cellY == 2)) {
                    ExpectNoDepth(table, col, row, 1);
                    ExpectNoPoint(table, col, row, 0);
                } else {
                    EXPECT_EQ(table.LookUpZ(col, row, 1), 30.0F);
                    EXPECT_EQ(LookUp(table, col, row, 0).valid, 1);
                }
            }
        }
    }
}

TEST(LxCTriangulationLUT, CornerWithoutAPointCountsEvenWithoutWeight)
{
    // At a grid point of depth 30 the other three corners have weight 0. One of them has no point.
    constexpr int c_others[][2] = {{2, 1}, {1, 2}, {2, 2}};
    for (const auto& other : c_others) {
        Table table;
        ASSERT_TRUE(table.Init(1, 24, 12));
        FillEntry(table, 0, 30.0F);
        EXPECT_EQ(table.LookUpZ(8.0F, 4.0F, 1), 30.0F);
        SetPoint(table, 0, other[0], other[1], 0.0F);
        ExpectNoDepth(table, 8.0F, 4.0F, 1);
        ExpectNoPoint(table, 8.0F, 4.0F, 0);
    }
}

TEST(LxCTriangulationLUT, PointWithAZeroBesideItsDepthIsOne)
{
    Table table;
    ASSERT_TRUE(table.Init(1, 8, 4));
    for (int i = 0; i < 9; ++i) {
        table.GetLUTEntry(0)->SetFloat3PixelFast(i % 3, i / 3, LxCFloat3(0.0F, 0.0F, 30.0F));
    }
    const SPoint point = LookUp(table, 1.0F, 1.0F, 0);
    EXPECT_EQ(point.valid, 1);
    EXPECT_EQ(point.xyz[0], 0.0F);
    EXPECT_EQ(point.xyz[2], 30.0F);
}

TEST(LxCTriangulationLUT, PositionsOutsideTheGridHaveNoPoint)
{
    Table table;
    ASSERT_TRUE(table.Init(2, 24, 12)); // 5 by 5 points, to column 32 and row 16
    FillEntry(table, 0, 30.0F);
    FillEntry(table, 1, 30.0F);
    const float lastCol = std::nextafter(32.0F, 0.0F);
    const float lastRow = std::nextafter(16.0F, 0.0F);
    EXPECT_EQ(LookUp(table, lastCol, lastRow, 1).valid, 1);
    EXPECT_EQ(LookUp(table, -0.0F, -0.0F, 1).valid, 1);
    constexpr float c_fTiny = std::numeric_limits<float>::denorm_min();
    constexpr float c_fHuge = std::numeric_limits<float>::max();
    for (const float outside : {32.0F, 40.0F, 1e9F, 3e9F, 1e19F, c_fHuge, c_fInfinity, -1.0F, -8.0F, -1e9F,
                                -3e9F, -c_fHuge, -c_fInfinity, c_fNaN, -c_fNaN}) {
        for (const float inside : {0.0F, c_fTiny, 5.0F, lastRow}) {
            ExpectNoPoint(table, outside, inside, 1);
            ExpectNoPoint(table, inside, outside, 1);
            ExpectNoDepth(table, outside, inside, 2);
            ExpectNoDepth(table, inside, outside, 2);
        }
        ExpectNoPoint(table, outside, outside, 1);
        ExpectNoDepth(table, outside, outside, 2);
    }
    ExpectNoPoint(table, 5.0F, 16.0F, 1);
    ExpectNoDepth(table, 5.0F, 16.0F, 2);
}

TEST(LxCTriangulationLUT, EdgesThatItDoesNotHaveHaveNoPoint)
{
    Table table;
    ASSERT_TRUE(table.Init(2, 24, 12));
    FillEntry(table, 0, 30.0F);
    FillEntry(table, 1, 30.0F);
    for (const int edge : {-1, 2, 3, 4095, -4095, INT_MIN, INT_MAX}) {
        ExpectNoPoint(table, 5.0F, 5.0F, edge);
    }
    for (const int edge : {0, -1, 3, 4, 4095, 4096, INT_MIN, INT_MAX}) {
        ExpectNoDepth(table, 5.0F, 5.0F, edge);
    }
}

TEST(LxCTriangulationLUT, NothingIsWrittenWhereOneResultHasNoPlace)
{
    Table table;
    ASSERT_TRUE(table.Init(1, 24, 12));
    FillEntry(table, 0, 30.0F);
    float xyz[3] = {1.0F, 2.0F, 3.0F};
    unsigned char valid = 7;
    table.LookUpXYZ(5.0F, 5.0F, 0, nullptr, &valid);
    table.LookUpXYZ(5.0F, 5.0F, 0, xyz, nullptr);
    table.LookUpXYZ(-5.0F, 5.0F, 0, nullptr, nullptr);
    EXPECT_EQ(valid, 7);
    EXPECT_EQ(xyz[2], 3.0F);
}

TEST(LxCTriangulationLUT, LookupsTakeNoMemory)
{
    Table table;
    ASSERT_TRUE(table.Init(2, 24, 12));
    FillEntry(table, 0, 30.0F);
    float xyz[3];
    unsigned char valid = 0;
    const AllocationCount allocations;
    for (int i = 0; i < 100; ++i) {
        const auto position = static_cast<float>(i);
        table.LookUpXYZ(position, position, i % 3, xyz, &valid);
        EXPECT_GE(table.LookUpZ(position, position, i % 3), 0.0F);
    }
    EXPECT_EQ(allocations.Get(), 0U);
}

} // namespace
} // namespace LxCV
