#include "lxcrectangle.h"

#include <gtest/gtest.h>

#include <climits>
#include <type_traits>

namespace LxCV {
namespace {

void ExpectRectangle(const LxCRectangle& rectangle, int left, int top, int width, int height)
{
    EXPECT_EQ(rectangle.GetLeftCol(), left);
    EXPECT_EQ(rectangle.GetTopRow(), top);
    EXPECT_EQ(rectangle.GetWidth(), width);
    EXPECT_EQ(rectangle.GetHeight(), height);
}

TEST(LxCRectangle, DefaultConstructionAndResetGiveZeros)
{
    ExpectRectangle(LxCRectangle(), 0, 0, 0, 0);
    LxCRectangle rectangle(1, 2, 3, 4);
    rectangle.Reset();
    ExpectRectangle(rectangle, 0, 0, 0, 0);
}

TEST(LxCRectangle, NegativeSizesAreStoredAsTheyAre)
{
    ExpectRectangle(LxCRectangle(10, 10, -4, -5), 10, 10, -4, -5);
    LxCRectangle rectangle;
    rectangle.Set(-1, -2, -3, -4);
    ExpectRectangle(rectangle, -1, -2, -3, -4);
}

TEST(LxCRectangle, RightAndBottomAreInclusive)
{
    const LxCRectangle rectangle(10, 20, 4, 5);
    EXPECT_EQ(rectangle.GetRightCol(), 13);
    EXPECT_EQ(rectangle.GetBottomRow(), 24);
    EXPECT_EQ(LxCRectangle().GetRightCol(), -1);
}

TEST(LxCRectangle, ExtremeSumsSaturate)
{
    const LxCRectangle high(INT_MAX, INT_MAX, INT_MAX, 1);
    EXPECT_EQ(high.GetRightCol(), INT_MAX);
    EXPECT_EQ(high.GetBottomRow(), INT_MAX);
    const LxCRectangle low(INT_MIN, INT_MIN, INT_MIN, 0);
    EXPECT_EQ(low.GetRightCol(), INT_MIN);
    EXPECT_EQ(low.GetBottomRow(), INT_MIN);
}

TEST(LxCRectangle, HoldsFourIntsAndNothingElse)
{
    EXPECT_EQ(sizeof(LxCRectangle), 4 * sizeof(int));
    EXPECT_TRUE(std::is_trivially_copyable_v<LxCRectangle>);
}

} // namespace
} // namespace LxCV
