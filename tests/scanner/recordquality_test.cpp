#include "scanner/decoder/recordquality.h"

#include "lxclxcvlibsettings.h"
#include "lxsscandatacct.h"
#include "scanner/decoder/stripesignal.h"

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <vector>

namespace decoder {
namespace {

using LxCV::CCTImage;
using LxCV::LxCFloat3;

constexpr int kColumns = 9;
constexpr int kRows = 40;
constexpr int kEdges = 4;
constexpr int kEdgeRow = 20;

/// A pair whose pattern is dark above row 20, and from there on in each column as bright as `levels` tells in blue, green
/// and red, of 200.
StripeSignal StepOf(const std::array<LxCFloat3, kColumns>& levels)
{
    constexpr float kWhite = 200.0F;
    const CCTImage reference(kColumns, kRows, CCTImage::eIDT_FLOAT32_3, kWhite);
    CCTImage pattern(kColumns, kRows, CCTImage::eIDT_FLOAT32_3, 0.0F);
    for (int row = kEdgeRow; row < kRows; ++row) {
        for (int column = 0; column < kColumns; ++column) {
            pattern.SetFloat3PixelFast(column, row, levels[static_cast<std::size_t>(column)] * kWhite);
        }
    }
    StripeSignal signal;
    signal.Compute(reference, pattern, DecoderConfig());
    return signal;
}

std::array<LxCFloat3, kColumns> Same(const LxCFloat3& level)
{
    std::array<LxCFloat3, kColumns> levels;
    levels.fill(level);
    return levels;
}

constexpr float kRounding = 1e-3F; // signal units; grey levels are quotients, smoothed

TEST(StepContrast, IsTheLargestStepOfAChannel)
{
    const StripeSignal signal = StepOf(Same(LxCFloat3(0.3F, 0.7F, 0.1F)));
    EXPECT_NEAR(StepContrast(signal, {4, kEdgeRow - 0.5, 1}), 0.7F, kRounding);
    EXPECT_NEAR(StepContrast(signal, {4, kEdgeRow - 10.0, 1}), 0.0F, kRounding) << "no edge";
}

TEST(StepContrast, IsAtMostOne)
{
    EXPECT_EQ(StepContrast(StepOf(Same(LxCFloat3(1.2F, 0.0F, 0.0F))), {4, kEdgeRow - 0.5, 1}), 1.0F);
}

TEST(StepContrast, IsNothingAtTheBorderAndWhereNothingCanBeDecoded)
{
    const StripeSignal signal = StepOf(Same(LxCFloat3(0.5F, 0.5F, 0.5F)));
    for (const double row : {-5.0, 0.0, 1.4, kRows - 2.4, kRows - 1.0, 1e9}) {
        EXPECT_EQ(StepContrast(signal, {4, row, 1}), 0.0F) << row;
    }
    const CCTImage dark(kColumns, kRows, CCTImage::eIDT_FLOAT32_3, 1.0F);
    StripeSignal nothing;
    nothing.Compute(dark, dark, DecoderConfig());
    EXPECT_EQ(StepContrast(nothing, {4, kEdgeRow - 0.5, 1}), 0.0F);
}

class RecordQualities : public ::testing::Test
{
protected:
    RecordQualities()
    {
        std::array<LxCFloat3, kColumns> levels;
        for (std::size_t column = 0; column < levels.size(); ++column) {
            levels[column] = LxCFloat3(0.0F, 0.1F * static_cast<float>(column + 1), 0.0F);
            m_points.push_back({{static_cast<int>(column), kEdgeRow - 0.5, 2}, {0.0, 0.0, 30.0}});
        }
        m_signal = StepOf(levels);
    }

    void Initialize(LxCV::LxCLxCVLibSettings::EReduceData reduceData, bool withQualities)
    {
        LxCV::LxCLxCVLibSettings::SetReduceData(reduceData);
        EXPECT_TRUE(m_record.Initialize(kColumns, kEdges, kColumns, kRows, withQualities));
        LxCV::LxCLxCVLibSettings::SetReduceData(LxCV::LxCLxCVLibSettings::eRD_None);
    }

    float QualityAt(int column, int edge) const
    {
        const int width = m_record.Get3DPoints()->GetWidth();
        return m_record.GetQualities()[static_cast<std::size_t>(edge * width + column)].GetFloatQuality();
    }

    /// The step of a column, which is smoothed over its neighbours: the mean of three levels that rise evenly.
    static float StepAt(int column) { return 0.1F * static_cast<float>(column + 1); }

    StripeSignal m_signal;
    std::vector<MeasuredPoint> m_points;
    LxCV::LxSScanDataCCT m_record;
};

TEST_F(RecordQualities, AreTheStepsOfThePoints)
{
    Initialize(LxCV::LxCLxCVLibSettings::eRD_None, true);
    FillQualities(m_points, m_signal, false, m_record);
    for (int column = 1; column + 1 < kColumns; ++column) {
        EXPECT_NEAR(QualityAt(column, 2), StepAt(column), kRounding) << column;
        EXPECT_EQ(QualityAt(column, 1), 1.0F) << "the default where there is no point";
    }
    EXPECT_EQ(m_record.GetQualities()[0].GetSymbols(), 5);
    FillQualities({}, m_signal, false, m_record);
    EXPECT_EQ(QualityAt(4, 2), 1.0F) << "nothing stays of the scan before";
}

TEST_F(RecordQualities, OfReducedRecordsAreThoseOfTheMiddleColumn)
{
    Initialize(LxCV::LxCLxCVLibSettings::eRD_Reduction1, true);
    FillQualities(m_points, m_signal, false, m_record);
    EXPECT_NEAR(QualityAt(1, 2), StepAt(4), kRounding);
}

TEST_F(RecordQualities, OfSmoothedRecordsAreTheLeastOfThreeColumns)
{
    Initialize(LxCV::LxCLxCVLibSettings::eRD_Reduction2, true);
    FillQualities(m_points, m_signal, true, m_record);
    EXPECT_NEAR(QualityAt(1, 2), StepAt(3), kRounding);
    m_points.erase(m_points.begin() + 3);
    FillQualities(m_points, m_signal, true, m_record);
    EXPECT_NEAR(QualityAt(1, 2), StepAt(4), kRounding);
}

TEST_F(RecordQualities, LeaveOutWhatLiesOutsideAndRecordsWithoutThem)
{
    Initialize(LxCV::LxCLxCVLibSettings::eRD_None, true);
    const std::vector<MeasuredPoint> outside{
        {{-1, 19.5, 2}, {}}, {{kColumns, 19.5, 2}, {}}, {{2, 19.5, -1}, {}}, {{2, 19.5, kEdges}, {}}};
    FillQualities(outside, m_signal, false, m_record);
    for (const LxCV::MultipleQualities& quality : m_record.GetQualities()) {
        EXPECT_EQ(quality.GetFloatQuality(), 1.0F);
    }
    Initialize(LxCV::LxCLxCVLibSettings::eRD_None, false);
    FillQualities(m_points, m_signal, false, m_record);
    EXPECT_TRUE(m_record.GetQualities().empty());
}

} // namespace
} // namespace decoder
