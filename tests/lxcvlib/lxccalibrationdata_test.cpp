// Tests of calibration records.
#include "lxccalibrationdata.h"

#include <gtest/gtest.h>

namespace LxCV {
namespace {

/// Every field by its name, in the order of the record.
void ExpectFields(const LxCCalibrationData& data, double worldX, double worldY, double worldZ, double imageX,
                  double imageY, double weight, double secondX, double secondY, int a, int b)
{
    EXPECT_EQ(data.m_dXw, worldX);
    EXPECT_EQ(data.m_dYw, worldY);
    EXPECT_EQ(data.m_dZw, worldZ);
    EXPECT_EQ(data.m_dXi, imageX);
    EXPECT_EQ(data.m_dYi, imageY);
    EXPECT_EQ(data.m_dWeight, weight);
    EXPECT_EQ(data.m_dX2, secondX);
    EXPECT_EQ(data.m_dY2, secondY);
    EXPECT_EQ(data.m_iA, a);
    EXPECT_EQ(data.m_iB, b);
}

TEST(LxCCalibrationData, StartsZeroWithWeightOne)
{
    ExpectFields(LxCCalibrationData(), 0, 0, 0, 0, 0, 1.0, 0, 0, 0, 0);
}

TEST(LxCCalibrationData, ConstructorsTakeWorldImageAndWeight)
{
    ExpectFields(LxCCalibrationData(1, 2, 3, 4, 5, 6), 1, 2, 3, 4, 5, 6, 0, 0, 0, 0);
    LxC3DCoordsCCT world(1, 2, 3);
    ExpectFields(LxCCalibrationData(&world, 4, 5, 6), 1, 2, 3, 4, 5, 6, 0, 0, 0, 0);
    ExpectFields(LxCCalibrationData(static_cast<LxC3DCoordsCCT*>(nullptr), 4, 5, 6), 0, 0, 0, 4, 5, 6, 0, 0,
                 0, 0);
}

TEST(LxCCalibrationData, SetKeepsTheWeight)
{
    LxCCalibrationData data(0, 0, 0, 0, 0, 0.25);
    data.Set(1, 2, 3, 4, 5, 6, 7, 8, 9);
    ExpectFields(data, 1, 2, 3, 4, 5, 0.25, 6, 7, 8, 9);
}

TEST(LxCCalibrationData, CopiesTakeAllFields)
{
    LxCCalibrationData data(0, 0, 0, 0, 0, 0.25);
    data.Set(1, 2, 3, 4, 5, 6, 7, 8, 9);
    ExpectFields(LxCCalibrationData(&data), 1, 2, 3, 4, 5, 0.25, 6, 7, 8, 9);
    LxCCalibrationData other;
    other.CopyFrom(&data);
    ExpectFields(other, 1, 2, 3, 4, 5, 0.25, 6, 7, 8, 9);
    other.CopyFrom(nullptr);
    ExpectFields(other, 1, 2, 3, 4, 5, 0.25, 6, 7, 8, 9);
    LxCCalibrationData assigned;
    assigned = data;
    ExpectFields(assigned, 1, 2, 3, 4, 5, 0.25, 6, 7, 8, 9);
    assigned.Reset();
    ExpectFields(assigned, 0, 0, 0, 0, 0, 1.0, 0, 0, 0, 0);
}

TEST(LxCCalibrationData, PartsAreWorldAndImage)
{
    const LxCCalibrationData data(1, 2, 3, 4, 5, 6);
    EXPECT_EQ(data.GetImagePart(), LxCSensorCoordsCCT(4.0, 5.0));
    EXPECT_EQ(data.GetWorldPart().X(), 1.0);
    EXPECT_EQ(data.GetWorldPart().Y(), 2.0);
    EXPECT_EQ(data.GetWorldPart().Z(), 3.0);
}

TEST(LxCCalibrationData, IdIsTheExactWorldPoint)
{
    const LxCCalibrationData data(1, 2, 3, 4, 5, 6);
    EXPECT_TRUE(data.HasSameId(LxCCalibrationData(1, 2, 3, 40, 50, 60)));
    EXPECT_FALSE(data.HasSameId(LxCCalibrationData(1, 2, 3 + 1e-15, 4, 5, 6)));
    EXPECT_FALSE(data.HasSameId(LxCCalibrationData(1, 1, 3, 4, 5, 6)));
    EXPECT_FALSE(data.HasSameId(LxCCalibrationData(0, 2, 3, 4, 5, 6)));
}

TEST(LxCCalibrationData, AnyCoordinateMakesItNonzero)
{
    EXPECT_FALSE(LxCCalibrationData().IsNonzero());
    EXPECT_FALSE(LxCCalibrationData(0, -0.0, 0, 0, 0, 7).IsNonzero());
    for (int field = 0; field < 5; ++field) {
        double values[5] = {};
        values[field] = 1e-300;
        EXPECT_TRUE(LxCCalibrationData(values[0], values[1], values[2], values[3], values[4], 0).IsNonzero());
    }
    LxCCalibrationData second;
    second.Set(0, 0, 0, 0, 0, 1, 1, 1, 1);
    EXPECT_FALSE(second.IsNonzero());
}

} // namespace
} // namespace LxCV
