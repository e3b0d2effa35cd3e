#include "lxsaccelerometerdata.h"

#include "tests/support/virtualslot.h"

#include <gtest/gtest.h>

#include <climits>
#include <type_traits>
#include <utility>

namespace LxCV {
namespace {

using TestSupport::SlotBehindDestructor;

/// A reading of another module.
class Reading : public Base::IAccelerometerDataSimple
{
public:
    int GetX() const override { return -4096; }
    int GetY() const override { return INT_MAX; }
    int GetZ() const override { return INT_MIN; }
    long GetTimestamp() const override { return LONG_MAX; }
};

void ExpectValues(const Base::IAccelerometerDataSimple& data, int x, int y, int z, long timestamp)
{
    EXPECT_EQ(data.GetX(), x);
    EXPECT_EQ(data.GetY(), y);
    EXPECT_EQ(data.GetZ(), z);
    EXPECT_EQ(data.GetTimestamp(), timestamp);
}

TEST(LxSAccelerometerData, KeepsItsFourValues)
{
    ExpectValues(LxSAccelerometerData(1, -2, 3, 4000000000L), 1, -2, 3, 4000000000L);
}

TEST(LxSAccelerometerData, IsCopiedAndMoved)
{
    LxSAccelerometerData source(1, 2, 3, 4);
    const LxSAccelerometerData copy(source);
    const LxSAccelerometerData moved(std::move(source));
    ExpectValues(copy, 1, 2, 3, 4);
    ExpectValues(moved, 1, 2, 3, 4);
    LxSAccelerometerData assigned(0, 0, 0, 0);
    assigned = copy;
    ExpectValues(assigned, 1, 2, 3, 4);
    assigned = LxSAccelerometerData(5, 6, 7, 8);
    ExpectValues(assigned, 5, 6, 7, 8);
}

TEST(LxSAccelerometerData, TakesTheValuesOfAnyReading)
{
    const Reading reading;
    ExpectValues(LxSAccelerometerData(reading), -4096, INT_MAX, INT_MIN, LONG_MAX);
    const LxSAccelerometerData own(1, 2, 3, 4);
    const Base::IAccelerometerDataSimple& face = own;
    ExpectValues(LxSAccelerometerData(face), 1, 2, 3, 4);
}

TEST(LxSAccelerometerData, SetReplacesAllFourValues)
{
    LxSAccelerometerData data(1, 2, 3, 4);
    data.Set(-1, -2, -3, -4);
    ExpectValues(data, -1, -2, -3, -4);
}

TEST(LxSAccelerometerData, IsNotCopiedThroughItsInterface)
{
    EXPECT_FALSE(std::is_copy_constructible_v<Base::IAccelerometerDataSimple>);
    EXPECT_FALSE(std::is_copy_assignable_v<Base::IAccelerometerDataSimple>);
    EXPECT_TRUE(std::has_virtual_destructor_v<Base::IAccelerometerDataSimple>);
}

TEST(LxSAccelerometerData, VirtualFunctionsKeepTheirSlots)
{
    using Face = Base::IAccelerometerDataSimple;
    EXPECT_EQ(SlotBehindDestructor(&Face::GetX), 0);
    EXPECT_EQ(SlotBehindDestructor(&Face::GetY), 1);
    EXPECT_EQ(SlotBehindDestructor(&Face::GetZ), 2);
    EXPECT_EQ(SlotBehindDestructor(&Face::GetTimestamp), 3);
}

} // namespace
} // namespace LxCV
