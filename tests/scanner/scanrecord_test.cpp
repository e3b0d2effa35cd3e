#include "scanner/decoder/scanrecord.h"

#include "lxccoordsystrans.h"
#include "lxcfloat3.h"
#include "lxclxcvlibsettings.h"
#include "lxsscandatacct.h"
#include "tests/support/temporaryfolder.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

namespace decoder {
namespace {

using LxCV::CCTImage;
using LxCV::LxCFloat3;

constexpr int kColumns = 9;
constexpr int kEdges = 9;

/// A reference image whose pixels tell their place: blue the column, green the row, red 7.4.
CCTImage Places()
{
    CCTImage image(kColumns, 20, CCTImage::eIDT_FLOAT32_3, 0.0F);
    for (int row = 0; row < image.GetHeight(); ++row) {
        for (int column = 0; column < image.GetWidth(); ++column) {
            image.SetFloat3PixelFast(column, row,
                                     LxCFloat3(static_cast<float>(column), static_cast<float>(row), 7.4F));
        }
    }
    return image;
}

MeasuredPoint Point(int column, double row, int edge, double z = 30.0)
{
    return {{column, row, edge}, {static_cast<double>(column), static_cast<double>(edge), z}};
}

std::array<int, 3> ColourAt(const CCTImage& image, int column, int row)
{
    std::array<std::uint8_t, 3> bytes{};
    image.GetPixelFast(column, row, bytes.data());
    return {bytes[0], bytes[1], bytes[2]};
}

std::array<float, 3> ValueAt(const CCTImage& image, int column, int row)
{
    LxCFloat3 value;
    image.GetPixelFast(column, row, &value);
    return {value.get(0), value.get(1), value.get(2)};
}

class ScanRecord : public ::testing::Test
{
protected:
    ScanRecord() { EXPECT_TRUE(m_record.Initialize(kColumns, kEdges, kColumns, 20, false)); }

    LxCV::LxSScanDataCCT m_record;
};

TEST_F(ScanRecord, HasEachPointInItsColumnAndEdge)
{
    const std::vector<MeasuredPoint> points{Point(2, 5.4, 3, 31.0), Point(8, 19.9, 0, 32.0),
                                            Point(0, -0.3, 8)};
    FillRecord(points, Places(), false, m_record);
    for (const CCTImage* const positions : {m_record.GetFull3DPoints(), m_record.Get3DPoints()}) {
        EXPECT_EQ(ValueAt(*positions, 2, 3), (std::array{2.0F, 3.0F, 31.0F}));
        EXPECT_EQ(ValueAt(*positions, 8, 0), (std::array{8.0F, 0.0F, 32.0F}));
        EXPECT_EQ(ValueAt(*positions, 3, 3), (std::array{0.0F, 0.0F, 0.0F}));
    }
    for (const CCTImage* const mask : {m_record.GetFullValidMask(), m_record.GetValidMask()}) {
        int valid = 0;
        for (int edge = 0; edge < kEdges; ++edge) {
            for (int column = 0; column < kColumns; ++column) {
                valid += mask->GetBytePixelFast(column, edge);
            }
        }
        EXPECT_EQ(valid, 3);
        EXPECT_EQ(mask->GetBytePixelFast(0, 8), 1);
    }
    EXPECT_EQ(m_record.GetNumValidPoints(), 3);
    // Colours are those of the nearest row that there is, rounded.
    EXPECT_EQ(ColourAt(*m_record.GetFullColor(), 2, 3), (std::array{2, 5, 7}));
    EXPECT_EQ(ColourAt(*m_record.GetFullColor(), 8, 0), (std::array{8, 19, 7}));
    EXPECT_EQ(ColourAt(*m_record.GetColor(), 0, 8), (std::array{0, 0, 7}));
}

TEST_F(ScanRecord, KeepsNothingOfTheScanBefore)
{
    FillRecord(std::vector{Point(2, 5.0, 3)}, Places(), false, m_record);
    FillRecord({}, Places(), false, m_record);
    EXPECT_EQ(ValueAt(*m_record.GetFull3DPoints(), 2, 3), (std::array{0.0F, 0.0F, 0.0F}));
    EXPECT_EQ(m_record.GetFullValidMask()->GetBytePixelFast(2, 3), 0);
    EXPECT_EQ(m_record.GetNumValidPoints(), 0);
}

TEST_F(ScanRecord, LeavesOutWhatLiesOutside)
{
    const std::vector<MeasuredPoint> points{Point(-1, 5.0, 3), Point(kColumns, 5.0, 3), Point(1, 5.0, -1),
                                            Point(1, 5.0, kEdges), Point(1, 1e9, 1)};
    FillRecord(points, Places(), false, m_record);
    EXPECT_EQ(m_record.GetNumValidPoints(), 1);
}

TEST_F(ScanRecord, LevelsBeyondAByteAreItsLimits)
{
    CCTImage image(kColumns, 1, CCTImage::eIDT_FLOAT32_3, 0.0F);
    image.SetFloat3PixelFast(1, 0, LxCFloat3(-3.0F, 1e9F, std::nanf("")));
    FillRecord(std::vector{Point(1, 0.0, 1)}, image, false, m_record);
    EXPECT_EQ(ColourAt(*m_record.GetFullColor(), 1, 1), (std::array{0, 255, 0}));
}

TEST_F(ScanRecord, NormalsOfAPlanePointTowardsTheCamera)
{
    std::vector<MeasuredPoint> points;
    for (int edge = 0; edge < kEdges; ++edge) {
        for (int column = 0; column < kColumns; ++column) {
            points.push_back(Point(column, edge, edge, 30.0)); // x right, y down, all at one depth
        }
    }
    FillRecord(points, Places(), false, m_record);
    EXPECT_EQ(ValueAt(*m_record.GetNormals(), 4, 4), (std::array{0.0F, 0.0F, -1.0F}));
    EXPECT_EQ(m_record.GetNormalMask()->GetBytePixelFast(4, 4), 1);
}

TEST_F(ScanRecord, NormalsAreThoseOfTheSurfaceInRecordsThatAreNotSquareToo)
{
    // z = 30 + x falls away to the right: the normal is (1, 0, -1) at unit length.
    constexpr int kWide = 25;
    ASSERT_TRUE(m_record.Initialize(kWide, kEdges, kWide, 20, false));
    std::vector<MeasuredPoint> points;
    for (int edge = 0; edge < kEdges; ++edge) {
        for (int column = 0; column < kWide; ++column) {
            points.push_back(Point(column, edge, edge, 30.0 + column));
        }
    }
    const CCTImage reference(kWide, 20, CCTImage::eIDT_FLOAT32_3, 100.0F);
    FillRecord(points, reference, false, m_record);
    for (int edge = 0; edge < kEdges; ++edge) {
        for (int column = 0; column < kWide; ++column) {
            const auto normal = ValueAt(*m_record.GetNormals(), column, edge);
            ASSERT_NEAR(normal[0], std::sqrt(0.5F), 1e-6F) << column << " " << edge;
            ASSERT_NEAR(normal[1], 0.0F, 1e-6F);
            ASSERT_NEAR(normal[2], -std::sqrt(0.5F), 1e-6F);
        }
    }
}

/// A record of which three columns make one.
class ReducedScanRecord : public ScanRecord
{
protected:
    ReducedScanRecord()
    {
        LxCV::LxCLxCVLibSettings::SetReduceData(LxCV::LxCLxCVLibSettings::eRD_Reduction1);
        EXPECT_TRUE(m_record.Initialize(kColumns, kEdges, kColumns, 20, false));
        LxCV::LxCLxCVLibSettings::SetReduceData(LxCV::LxCLxCVLibSettings::eRD_None);
        EXPECT_EQ(m_record.Get3DPoints()->GetWidth(), kColumns / 3);
    }

    /// What the columns 3 to 5 become in a smoothed record.
    std::array<float, 3> Smoothed(const std::vector<MeasuredPoint>& points)
    {
        FillRecord(points, Places(), true, m_record);
        return ValueAt(*m_record.Get3DPoints(), 1, 2);
    }
};

TEST_F(ReducedScanRecord, TakesTheMiddleOfThreeColumns)
{
    FillRecord(std::vector{Point(3, 5.0, 2), Point(4, 6.0, 2), Point(5, 7.0, 2), Point(6, 8.0, 2)}, Places(),
               false, m_record);
    EXPECT_EQ(ValueAt(*m_record.Get3DPoints(), 1, 2), (std::array{4.0F, 2.0F, 30.0F}));
    EXPECT_EQ(ColourAt(*m_record.GetColor(), 1, 2), (std::array{4, 6, 7}));
    EXPECT_EQ(m_record.GetValidMask()->GetBytePixelFast(2, 2), 0);
    EXPECT_EQ(m_record.GetNumValidPoints(), 1);
    EXPECT_EQ(m_record.GetFullValidMask()->GetBytePixelFast(6, 2), 1);
}

TEST_F(ReducedScanRecord, SmoothedTakesTheMeanOfThreeColumns)
{
    // x is the column, y the edge, and z 30.25, 30, 30.125: the mean is (4, 2, 30.125).
    EXPECT_EQ(Smoothed({Point(3, 5.0, 2, 30.25), Point(4, 6.0, 2, 30.0), Point(5, 8.0, 2, 30.125)}),
              (std::array{4.0F, 2.0F, 30.125F}));
    // Blue is the column, green the row: 19 / 3 is 6.33.
    EXPECT_EQ(ColourAt(*m_record.GetColor(), 1, 2), (std::array{4, 6, 7}));
    EXPECT_EQ(m_record.GetValidMask()->GetBytePixelFast(1, 2), 1);
    EXPECT_EQ(m_record.GetNormalMask()->GetBytePixelFast(1, 2), 1);
    EXPECT_EQ(m_record.GetValidMask()->GetBytePixelFast(0, 2), 0);
    EXPECT_EQ(m_record.GetNumValidPoints(), 1);
    EXPECT_EQ(ValueAt(*m_record.GetFull3DPoints(), 3, 2), (std::array{3.0F, 2.0F, 30.25F})) << "stays full";
}

TEST_F(ReducedScanRecord, SmoothedTakesTheMeanOfWhatThereIs)
{
    EXPECT_EQ(Smoothed({Point(3, 5.0, 2, 30.25), Point(5, 8.0, 2, 30.0)}), (std::array{4.0F, 2.0F, 30.125F}));
    EXPECT_EQ(ColourAt(*m_record.GetColor(), 1, 2), (std::array{4, 7, 7})) << "6.5 is rounded up";
    EXPECT_EQ(Smoothed({Point(5, 8.0, 2, 30.5)}), (std::array{5.0F, 2.0F, 30.5F}));
    EXPECT_EQ(Smoothed({}), (std::array{0.0F, 0.0F, 0.0F}));
    EXPECT_EQ(m_record.GetValidMask()->GetBytePixelFast(1, 2), 0);
    EXPECT_EQ(ColourAt(*m_record.GetColor(), 1, 2), (std::array{0, 0, 0}));
}

TEST_F(ReducedScanRecord, SmoothedDoesNotMixSurfaces)
{
    // 0.5 mm is the largest step of one surface, data/settings.lua.
    EXPECT_EQ(Smoothed({Point(3, 5.0, 2, 30.0), Point(4, 6.0, 2, 30.5), Point(5, 8.0, 2, 31.0625)}),
              (std::array{3.5F, 2.0F, 30.25F}));
    EXPECT_EQ(Smoothed({Point(3, 5.0, 2, 33.0), Point(5, 8.0, 2, 30.0)}), (std::array{5.0F, 2.0F, 30.0F}))
        << "the nearer one, without one in the middle";
}

TEST_F(ReducedScanRecord, SmoothedHasLessNoise)
{
    // The mean of three has a third of the variance.
    std::mt19937 random(9);
    std::normal_distribution<double> noise(0.0, 0.01); // mm
    double single = 0.0, smoothed = 0.0;
    for (int trial = 0; trial < 300; ++trial) {
        std::vector<MeasuredPoint> points;
        for (int edge = 0; edge < kEdges; ++edge) {
            for (int column = 0; column < kColumns; ++column) {
                points.push_back(Point(column, 2.0 * edge, edge, 30.0 + noise(random)));
            }
        }
        for (const bool isSmoothed : {false, true}) {
            FillRecord(points, Places(), isSmoothed, m_record);
            double& sum = isSmoothed ? smoothed : single;
            for (int edge = 0; edge < kEdges; ++edge) {
                for (int column = 0; column < kColumns / 3; ++column) {
                    sum += std::pow(ValueAt(*m_record.Get3DPoints(), column, edge)[2] - 30.0, 2);
                }
            }
        }
    }
    EXPECT_NEAR(smoothed / single, 1.0 / 3.0, 0.02); // of 8100 squares each
}

TEST_F(ScanRecord, SurvivesWritingReadingAndTheWayThereAndBack)
{
    FillRecord(std::vector{Point(2, 5.0, 3, 31.25), Point(7, 9.0, 5, 33.5)}, Places(), false, m_record);
    const TestSupport::CTemporaryFolder folder;
    ASSERT_TRUE(m_record.Write3DFile(folder / "scan.3d", false));
    LxCV::LxSScanDataCCT back;
    ASSERT_TRUE(back.Initialize(kColumns, kEdges, kColumns, 20, false));
    ASSERT_TRUE(back.Read3DFile(folder / "scan.3d"));
    EXPECT_EQ(ValueAt(*back.Get3DPoints(), 2, 3), (std::array{2.0F, 3.0F, 31.25F}));
    EXPECT_EQ(ValueAt(*back.Get3DPoints(), 7, 5), (std::array{7.0F, 5.0F, 33.5F}));

    LxCV::LxCCoordSysTrans there;
    there.ReadFromEulerAnglesAndVector(0.1, -0.2, 0.3, 1.0, 2.0, 3.0);
    LxCV::LxCCoordSysTrans home(there);
    home.Invert();
    ASSERT_TRUE(back.TrafoScanData(&there));
    EXPECT_GT(std::abs(ValueAt(*back.Get3DPoints(), 2, 3)[0] - 2.0F), 1.0F);
    ASSERT_TRUE(back.TrafoScanData(&home));
    constexpr float kRounding = 1e-5F; // mm, of floats of some 30 mm, twice
    for (const auto& [column, edge] : {std::pair{2, 3}, {7, 5}}) {
        const auto expected = ValueAt(*m_record.GetFull3DPoints(), column, edge);
        const auto actual = ValueAt(*back.Get3DPoints(), column, edge);
        for (std::size_t i = 0; i < 3; ++i) {
            EXPECT_NEAR(actual[i], expected[i], kRounding);
        }
    }
}

} // namespace
} // namespace decoder
