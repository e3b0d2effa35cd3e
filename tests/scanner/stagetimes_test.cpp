#include "scanner/calibration/stagetimes.h"

#include "scanner/calibration/cornerid.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>

namespace calibration {
namespace {

TEST(StageTimes, StagesKeepTheOrderInWhichTheyFirstRan)
{
    StageTimes times;
    times.Add("late", 2.0);
    times.Add("early", 1.0);
    times.Add("late", 0.5);
    ASSERT_EQ(times.Stages().size(), 2U);
    EXPECT_EQ(times.Stages()[0].name, "late");
    EXPECT_EQ(times.Of("late"), 2.5);
    EXPECT_EQ(times.Of("early"), 1.0);
    EXPECT_EQ(times.Total(), 3.5);
}

TEST(StageTimes, AStageThatNeverRanTookNoTime)
{
    EXPECT_EQ(StageTimes().Of("locate"), 0.0);
    EXPECT_EQ(StageTimes().Total(), 0.0);
}

TEST(StageTimes, SumsTakeStagesOfBoth)
{
    StageTimes sum;
    sum.Add("a", 1.0);
    StageTimes other;
    other.Add("b", 4.0);
    other.Add("a", 2.0);
    sum += other;
    EXPECT_EQ(sum.Of("a"), 3.0);
    EXPECT_EQ(sum.Of("b"), 4.0);
}

TEST(StageTimes, MeanDividesEachStage)
{
    StageTimes sum;
    sum.Add("a", 3.0);
    sum.Add("b", 6.0);
    EXPECT_EQ(sum.MeanOver(3).Of("a"), 1.0);
    EXPECT_EQ(sum.MeanOver(3).Of("b"), 2.0);
    EXPECT_TRUE(sum.MeanOver(0).Stages().empty());
}

TEST(StageTimes, RunningAStepTakesAtLeastItsTime)
{
    StageTimes times;
    bool hasRun = false;
    times.Run("wait", [&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
        hasRun = true;
    });
    EXPECT_TRUE(hasRun);
    EXPECT_GE(times.Of("wait"), 2.0);
}

TEST(CornerId, FourIdsEachMakeASquare)
{
    EXPECT_EQ(SquareOf(1), 1);
    EXPECT_EQ(SquareOf(4), 1);
    EXPECT_EQ(SquareOf(5), 2);
    EXPECT_EQ(SquareOf(224), 56);
    EXPECT_EQ(std::string(CornerName(1)), "upper left");
    EXPECT_EQ(std::string(CornerName(6)), "upper right");
    EXPECT_EQ(std::string(CornerName(7)), "lower left");
    EXPECT_EQ(std::string(CornerName(8)), "lower right");
}

} // namespace
} // namespace calibration
