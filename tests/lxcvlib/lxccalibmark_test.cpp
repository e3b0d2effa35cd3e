// Tests of calibration marks.
#include "lxccalibmark.h"

#include <gtest/gtest.h>

#include <limits>

namespace LxCV {
namespace {

TEST(LxCCalibMark, StartsValidUsableAndUnidentified)
{
    const LxCCalibMark mark;
    EXPECT_FALSE(mark.IsInvalid());
    EXPECT_TRUE(mark.UseForCalib());
    EXPECT_EQ(mark.GetId(), 0);
    EXPECT_EQ(mark.GetXImg(), 0.0);
    EXPECT_EQ(mark.GetYImg(), 0.0);
    EXPECT_EQ(mark.GetQuality(), 1.0);
    EXPECT_EQ(mark.GetQualityLimit(), 10.0);
    EXPECT_EQ(mark.GetWorldCoords().GetLength(), 0.0);
}

TEST(LxCCalibMark, NegativeQualityBecomesZero)
{
    LxCCalibMark mark;
    mark.SetQuality(-1.0);
    EXPECT_EQ(mark.GetQuality(), 0.0);
    mark.SetQuality(3.5);
    EXPECT_EQ(mark.GetQuality(), 3.5);
}

TEST(LxCCalibMark, QualityMustLieBelowItsLimit)
{
    LxCCalibMark mark;
    mark.SetQuality(10.0);
    EXPECT_FALSE(mark.UseForCalib());
    mark.SetQuality(9.999);
    EXPECT_TRUE(mark.UseForCalib());
    mark.SetQualityLimit(9.0);
    EXPECT_FALSE(mark.UseForCalib());
    mark.SetQualityLimit(10.0);
    mark.SetQuality(std::numeric_limits<double>::quiet_NaN());
    EXPECT_FALSE(mark.UseForCalib());
}

TEST(LxCCalibMark, ValidityTogglesAndIsNeededForUse)
{
    LxCCalibMark mark;
    mark.ToggleValidity();
    EXPECT_TRUE(mark.IsInvalid());
    EXPECT_FALSE(mark.UseForCalib());
    mark.MakeInvalid();
    EXPECT_TRUE(mark.IsInvalid());
    mark.ToggleValidity();
    EXPECT_FALSE(mark.IsInvalid());
    EXPECT_TRUE(mark.UseForCalib());
}

TEST(LxCCalibMark, UsabilityIsSwitchedApartFromValidity)
{
    LxCCalibMark mark;
    mark.MarkAsUnusableForCalib();
    EXPECT_FALSE(mark.UseForCalib());
    EXPECT_FALSE(mark.IsInvalid());
    mark.MarkAsUsableForCalib();
    EXPECT_TRUE(mark.UseForCalib());
}

TEST(LxCCalibMark, WorldPositionIsSetThroughTheReference)
{
    LxCCalibMark mark;
    mark.GetWorldCoords().Set(1.0, 2.0, 3.0);
    const LxCCalibMark& constMark = mark;
    EXPECT_EQ(constMark.GetWorldCoords().X(), 1.0);
    EXPECT_EQ(constMark.GetWorldCoords().Y(), 2.0);
    EXPECT_EQ(constMark.GetWorldCoords().Z(), 3.0);
}

TEST(LxCCalibMark, ResetKeepsTheQualityLimit)
{
    LxCCalibMark mark;
    mark.SetXImg(5.0);
    mark.SetYImg(6.0);
    mark.GetWorldCoords().Set(1.0, 2.0, 3.0);
    mark.SetId(7);
    mark.SetQuality(4.0);
    mark.SetQualityLimit(2.0);
    mark.MakeInvalid();
    mark.MarkAsUnusableForCalib();
    mark.Reset();
    EXPECT_EQ(mark.GetImageCoords(), LxCSensorCoordsCCT(0.0, 0.0));
    EXPECT_EQ(mark.GetWorldCoords().GetLength(), 0.0);
    EXPECT_EQ(mark.GetId(), 0);
    EXPECT_EQ(mark.GetQuality(), 1.0);
    EXPECT_FALSE(mark.IsInvalid());
    EXPECT_TRUE(mark.UseForCalib());
    EXPECT_EQ(mark.GetQualityLimit(), 2.0);
}

TEST(LxCCalibMark, SprintAppendsIdAndPosition)
{
    LxCCalibMark mark;
    mark.SetId(12);
    mark.SetXImg(1.25);
    mark.SetYImg(-8.5);
    std::string text = "mark ";
    mark.Sprint(text, false);
    EXPECT_EQ(text, "mark 12");
    text.clear();
    mark.Sprint(text, true);
    EXPECT_EQ(text, "12: (1.2, -8.5)");
    EXPECT_EQ(text, "12: " + mark.GetImageCoords().ToString(2));
}

/// Calls go to the descendant through the base, in every slot that a special mark overrides.
class CForeignMark : public LxCCalibMark
{
public:
    explicit CForeignMark(bool& destroyed) : m_bDestroyed(destroyed) {}
    ~CForeignMark() override { m_bDestroyed = true; }
    int GetId() const override { return 99; }
    bool UseForCalib() const override { return false; }

private:
    bool& m_bDestroyed;
};

TEST(LxCCalibMark, OperationsAreVirtual)
{
    bool destroyed = false;
    const LxCCalibMark* mark = new CForeignMark(destroyed);
    EXPECT_EQ(mark->GetId(), 99);
    EXPECT_FALSE(mark->UseForCalib());
    delete mark;
    EXPECT_TRUE(destroyed);
}

} // namespace
} // namespace LxCV
