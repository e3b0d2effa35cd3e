#include "lxccoordsystrans.h"

#include "allocationcount.h"
#include "hardposes.h"
#include "sectiontext.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <numbers>
#include <string>
#include <vector>

namespace LxCV {
namespace {

using TestSupport::AllPoses;
using TestSupport::Pose;

constexpr double kPi = std::numbers::pi;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

/// Some roundings of numbers up to 1.
constexpr double kRotationTolerance = 2e-15;

/// Roundings of a position after one mapping and back, relative to the largest coordinate on the way.
constexpr double kRoundTrip = 1e-14;

using Rotation = std::array<long double, 9>;

Rotation Product(const Rotation& a, const Rotation& b)
{
    Rotation product{};
    for (std::size_t r = 0; r < 3; ++r) {
        for (std::size_t c = 0; c < 3; ++c) {
            for (std::size_t k = 0; k < 3; ++k) {
                product[3 * r + c] += a[3 * r + k] * b[3 * k + c];
            }
        }
    }
    return product;
}

/// X(rx)·Y(ry)·Z(rz), multiplied out from the three axis rotations.
Rotation FromAxisRotations(const Pose& pose)
{
    const auto c = [](double angle) { return std::cos(static_cast<long double>(angle)); };
    const auto s = [](double angle) { return std::sin(static_cast<long double>(angle)); };
    const Rotation x = {1, 0, 0, 0, c(pose.rx), -s(pose.rx), 0, s(pose.rx), c(pose.rx)};
    const Rotation y = {c(pose.ry), 0, s(pose.ry), 0, 1, 0, -s(pose.ry), 0, c(pose.ry)};
    const Rotation z = {c(pose.rz), -s(pose.rz), 0, s(pose.rz), c(pose.rz), 0, 0, 0, 1};
    return Product(Product(x, y), z);
}

LxCCoordSysTrans MakeTransform(const Pose& pose)
{
    LxCCoordSysTrans transform;
    transform.ReadFromEulerAnglesAndVector(pose.rx, pose.ry, pose.rz, pose.tx, pose.ty, pose.tz);
    return transform;
}

double Size(const Pose& pose)
{
    return 1.0 + std::abs(pose.tx) + std::abs(pose.ty) + std::abs(pose.tz);
}

std::vector<double> Forward(const LxCCoordSysTrans& t)
{
    return {t.GetForward(), t.GetForward() + 16};
}
std::vector<double> Backward(const LxCCoordSysTrans& t)
{
    return {t.GetBackward(), t.GetBackward() + 16};
}

const std::vector<double> kIdentity = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};

class LxCCoordSysTransPoses : public testing::Test
{
protected:
    std::vector<Pose> m_vPoses = AllPoses();
};

TEST_F(LxCCoordSysTransPoses, RotationBlockIsTheProductOfTheAxisRotations)
{
    for (const Pose& pose : m_vPoses) {
        const LxCCoordSysTrans transform = MakeTransform(pose);
        const Rotation expected = FromAxisRotations(pose);
        for (std::size_t i = 0; i < 9; ++i) {
            EXPECT_NEAR(transform.GetR(i), static_cast<double>(expected[i]), kRotationTolerance) << pose.name;
        }
        EXPECT_NEAR(transform.GetR(2), std::sin(pose.ry), kRotationTolerance) << pose.name;
        EXPECT_EQ(transform.GetT(0), pose.tx);
        EXPECT_EQ(transform.GetT(1), pose.ty);
        EXPECT_EQ(transform.GetT(2), pose.tz);
    }
}

TEST_F(LxCCoordSysTransPoses, BackwardIsTheTransposedRotationWithTheTurnedTranslation)
{
    for (const Pose& pose : m_vPoses) {
        const LxCCoordSysTrans transform = MakeTransform(pose);
        const Rotation r = FromAxisRotations(pose);
        const double* const backward = transform.GetBackward();
        for (std::size_t row = 0; row < 3; ++row) {
            for (std::size_t column = 0; column < 3; ++column) {
                EXPECT_NEAR(backward[4 * row + column], static_cast<double>(r[3 * column + row]),
                            4.0 * kRotationTolerance)
                    << pose.name;
            }
            const long double translation = -(r[row] * pose.tx + r[3 + row] * pose.ty + r[6 + row] * pose.tz);
            EXPECT_NEAR(backward[4 * row + 3], static_cast<double>(translation), kRoundTrip * Size(pose))
                << pose.name;
            // Full pivoting begins at the translation, so that even the last row is rounded.
            EXPECT_NEAR(backward[12 + row], 0.0, kRotationTolerance) << pose.name;
        }
        EXPECT_NEAR(backward[15], 1.0, kRotationTolerance) << pose.name;
    }
}

TEST_F(LxCCoordSysTransPoses, PointsReturnFromThereAndBack)
{
    for (const Pose& pose : m_vPoses) {
        const LxCCoordSysTrans transform = MakeTransform(pose);
        const LxC3DCoordsCCT point(12.5, -7.25, 88.0);
        LxC3DCoordsCCT there;
        LxC3DCoordsCCT back;
        transform.Transform(point, there);
        transform.TransformInverse(there, back);
        const double tolerance = kRoundTrip * (100.0 + Size(pose));
        EXPECT_NEAR(back.x, point.x, tolerance) << pose.name;
        EXPECT_NEAR(back.y, point.y, tolerance) << pose.name;
        EXPECT_NEAR(back.z, point.z, tolerance) << pose.name;
    }
}

TEST_F(LxCCoordSysTransPoses, TheThreeFormsOfTransformAgreeBitForBit)
{
    for (const Pose& pose : m_vPoses) {
        const LxCCoordSysTrans transform = MakeTransform(pose);
        const LxC3DCoordsCCT point(12.5, -7.25, 88.0);
        LxC3DCoordsCCT byPoint;
        double x = 0, y = 0, z = 0;
        double hx = 0, hy = 0, hz = 0, hw = 0;
        transform.Transform(point, byPoint);
        transform.Transform(point.x, point.y, point.z, &x, &y, &z);
        transform.Transform(point.x, point.y, point.z, 1.0, &hx, &hy, &hz, &hw);
        EXPECT_EQ(std::vector({x, y, z}), std::vector({byPoint.x, byPoint.y, byPoint.z})) << pose.name;
        EXPECT_EQ(std::vector({x, y, z, 1.0}), std::vector({hx, hy, hz, hw})) << pose.name;
        transform.TransformInverse(point, byPoint);
        transform.TransformInverse(point.x, point.y, point.z, &x, &y, &z);
        transform.TransformInverse(point.x, point.y, point.z, 1.0, &hx, &hy, &hz, &hw);
        EXPECT_EQ(std::vector({x, y, z}), std::vector({byPoint.x, byPoint.y, byPoint.z})) << pose.name;
        EXPECT_EQ(std::vector({x, y, z}), std::vector({hx, hy, hz})) << pose.name;
        transform.LocalToWorldCoords(point.x, point.y, point.z, &hx, &hy, &hz);
        EXPECT_EQ(std::vector({x, y, z}), std::vector({hx, hy, hz})) << pose.name;
    }
}

TEST_F(LxCCoordSysTransPoses, SolvedAnglesRebuildTheRotation)
{
    for (const Pose& pose : m_vPoses) {
        const LxCCoordSysTrans transform = MakeTransform(pose);
        const Pose solved = {"", transform.GetRx(), transform.GetRy(), transform.GetRz(), 0, 0, 0};
        const Rotation rebuilt = FromAxisRotations(solved);
        // At the lock the angles hold up to the lock's bound on cos(Ry); elsewhere asin loses eps/cos(Ry).
        const double cosine = std::abs(std::cos(pose.ry));
        const double tolerance = cosine < 1.5e-6 ? 3e-6 : kRotationTolerance / cosine;
        for (std::size_t i = 0; i < 9; ++i) {
            EXPECT_NEAR(static_cast<double>(rebuilt[i]), transform.GetR(i), tolerance) << pose.name;
        }
    }
}

TEST_F(LxCCoordSysTransPoses, AnglesInsideTheirRangesAreSolvedAsGiven)
{
    for (const Pose& pose : m_vPoses) {
        const double cosine = std::abs(std::cos(pose.ry));
        if (cosine < 1.5e-6 || std::abs(pose.rx) == kPi || std::abs(pose.rz) == kPi) {
            continue;
        }
        const LxCCoordSysTrans transform = MakeTransform(pose);
        const double tolerance = 2.0 * kRotationTolerance / cosine;
        EXPECT_NEAR(transform.GetRx(), pose.rx, tolerance) << pose.name;
        EXPECT_NEAR(transform.GetRy(), pose.ry, tolerance) << pose.name;
        EXPECT_NEAR(transform.GetRz(), pose.rz, tolerance) << pose.name;
    }
}

TEST_F(LxCCoordSysTransPoses, InvertTwiceRestoresEverythingBitForBit)
{
    for (const Pose& pose : m_vPoses) {
        const LxCCoordSysTrans before = MakeTransform(pose);
        LxCCoordSysTrans transform = before;
        EXPECT_TRUE(transform.Invert());
        EXPECT_EQ(Forward(transform), Backward(before)) << pose.name;
        EXPECT_EQ(Backward(transform), Forward(before)) << pose.name;
        EXPECT_EQ(transform.GetRx(), -before.GetRx());
        EXPECT_EQ(transform.GetRy(), -before.GetRy());
        EXPECT_EQ(transform.GetRz(), -before.GetRz());
        EXPECT_TRUE(transform.Invert());
        EXPECT_EQ(Forward(transform), Forward(before)) << pose.name;
        EXPECT_EQ(Backward(transform), Backward(before)) << pose.name;
        EXPECT_EQ(transform.GetRx(), before.GetRx());
        EXPECT_EQ(transform.GetRy(), before.GetRy());
        EXPECT_EQ(transform.GetRz(), before.GetRz());
    }
}

TEST_F(LxCCoordSysTransPoses, ConcatenationAppliesTheRightFactorFirst)
{
    for (std::size_t i = 0; i + 1 < m_vPoses.size(); ++i) {
        const LxCCoordSysTrans a = MakeTransform(m_vPoses[i]);
        const LxCCoordSysTrans b = MakeTransform(m_vPoses[i + 1]);
        const LxC3DCoordsCCT point(3.0, -4.0, 50.0);
        const double tolerance = 4.0 * kRoundTrip * (100.0 + Size(m_vPoses[i]) + Size(m_vPoses[i + 1]));
        for (const bool invertA : {false, true}) {
            for (const bool invertB : {false, true}) {
                LxCCoordSysTrans product;
                EXPECT_TRUE(product.Concatenate(a, b, invertA, invertB));
                LxC3DCoordsCCT expected;
                LxC3DCoordsCCT found;
                invertB ? b.TransformInverse(point, expected) : b.Transform(point, expected);
                invertA ? a.TransformInverse(expected, expected) : a.Transform(expected, expected);
                product.Transform(point, found);
                EXPECT_TRUE(found.IsEqualTol(expected, tolerance)) << m_vPoses[i].name;
                product.TransformInverse(found, found);
                EXPECT_TRUE(found.IsEqualTol(point, tolerance)) << m_vPoses[i].name;
            }
        }
    }
}

TEST(LxCCoordSysTrans, StartsAsTheIdentity)
{
    const LxCCoordSysTrans transform;
    EXPECT_EQ(Forward(transform), kIdentity);
    EXPECT_EQ(Backward(transform), kIdentity);
    EXPECT_EQ(transform.GetRx(), 0.0);
    EXPECT_EQ(transform.GetRy(), 0.0);
    EXPECT_EQ(transform.GetRz(), 0.0);
    EXPECT_TRUE(transform.IsIdentity());
}

TEST(LxCCoordSysTrans, IndexTablesNameTheBlocksOfARowMajorMatrix)
{
    for (std::uint64_t r = 0; r < 3; ++r) {
        for (std::uint64_t c = 0; c < 3; ++c) {
            EXPECT_EQ(LxCCoordSysTrans::ms_uivRIdx[3 * r + c], 4 * r + c);
        }
        EXPECT_EQ(LxCCoordSysTrans::ms_uivTIdx[r], 4 * r + 3);
    }
    for (std::uint64_t i = 0; i < 4; ++i) {
        EXPECT_EQ(LxCCoordSysTrans::ms_uivOneIdx[i], 5 * i);
    }
}

TEST(LxCCoordSysTrans, ConstructsFromSixteenValuesAndUpdates)
{
    const double forward[16] = {0, -1, 0, 5, 1, 0, 0, 6, 0, 0, 1, 7, 0, 0, 0, 1};
    const LxCCoordSysTrans transform(forward);
    EXPECT_EQ(Forward(transform), std::vector<double>(forward, forward + 16));
    // The inverse of a quarter turn about z: x' = y - 6, y' = -x + 5.
    const double inverse[16] = {0, 1, 0, -6, -1, 0, 0, 5, 0, 0, 1, -7, 0, 0, 0, 1};
    for (std::size_t i = 0; i < 16; ++i) {
        EXPECT_NEAR(transform.GetBackward()[i], inverse[i], 5.0 * kRotationTolerance) << i;
    }
    EXPECT_DOUBLE_EQ(transform.GetRz(), kPi / 2.0);
    EXPECT_EQ(Forward(LxCCoordSysTrans(nullptr)), kIdentity);
}

TEST(LxCCoordSysTrans, CopiesComputeNothingAnew)
{
    LxCCoordSysTrans stale;
    const double shift[3] = {1, 2, 3};
    stale.SetTranslationPart(shift);
    const LxCCoordSysTrans constructed(stale);
    LxCCoordSysTrans assigned;
    assigned = stale;
    LxCCoordSysTrans copied;
    copied.CopyFrom(&stale);
    for (const LxCCoordSysTrans& copy : {constructed, assigned, copied}) {
        EXPECT_EQ(Forward(copy), Forward(stale));
        EXPECT_EQ(Backward(copy), kIdentity);
    }
    copied.CopyFrom(nullptr);
    EXPECT_EQ(Forward(copied), Forward(stale));
}

TEST(LxCCoordSysTrans, EulerFormsAgree)
{
    const double angles[3] = {0.1, -0.2, 0.3};
    const double vector[3] = {4, 5, 6};
    const double six[6] = {0.1, -0.2, 0.3, 4, 5, 6};
    LxCCoordSysTrans scalars;
    LxCCoordSysTrans arrays;
    LxCCoordSysTrans array;
    EXPECT_TRUE(scalars.ReadFromEulerAnglesAndVector(0.1, -0.2, 0.3, 4, 5, 6));
    EXPECT_TRUE(arrays.ReadFromEulerAnglesAndVector(angles, vector));
    EXPECT_TRUE(array.ReadFromEulerAnglesAndVector(six));
    EXPECT_EQ(Forward(scalars), Forward(arrays));
    EXPECT_EQ(Forward(scalars), Forward(array));
    EXPECT_TRUE(arrays.ReadFromEulerAnglesAndVector(angles, nullptr));
    EXPECT_EQ(arrays.GetT(0), 0.0);
    EXPECT_EQ(arrays.GetT(1), 0.0);
    EXPECT_EQ(arrays.GetT(2), 0.0);
    EXPECT_TRUE(array.ReadFromEulerAnglesAndVector(nullptr));
    EXPECT_TRUE(array.IsIdentity());
}

TEST(LxCCoordSysTrans, EulerFormsLeaveTheLastRowAlone)
{
    const double scaled[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 2};
    LxCCoordSysTrans transform(scaled);
    transform.ReadFromEulerAnglesAndVector(0, 0, 0, 1, 2, 3);
    EXPECT_EQ(transform.GetForward()[15], 2.0);
}

TEST(LxCCoordSysTrans, MatrixFormsTakeRowsAndStartFromTheIdentity)
{
    const double scaled[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 2};
    const double rows[9] = {0, -1, 0, 1, 0, 0, 0, 0, 1};
    const double vector[3] = {5, 6, 7};
    const std::vector<double> expected = {0, -1, 0, 5, 1, 0, 0, 6, 0, 0, 1, 7, 0, 0, 0, 1};
    LxCCoordSysTrans transform(scaled);
    EXPECT_TRUE(transform.ReadFromMatrixAndVector(rows, vector));
    EXPECT_EQ(Forward(transform), expected);
    EXPECT_TRUE(transform.ReadFromMatrixAndVector(rows, 5.0, 6.0, 7.0));
    EXPECT_EQ(Forward(transform), expected);
    EXPECT_TRUE(transform.ReadFromMatrixAndVector(static_cast<const double*>(nullptr), vector));
    EXPECT_EQ(Forward(transform), (std::vector<double>{1, 0, 0, 5, 0, 1, 0, 6, 0, 0, 1, 7, 0, 0, 0, 1}));
    EXPECT_TRUE(transform.ReadFromMatrixAndVector(rows, static_cast<const double*>(nullptr)));
    EXPECT_EQ(Forward(transform), (std::vector<double>{0, -1, 0, 0, 1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}));
    EXPECT_TRUE(transform.ReadFromMatrixAndVector(static_cast<const double*>(nullptr), 0.0, 0.0, 0.0));
    EXPECT_TRUE(transform.IsIdentity());
    EXPECT_TRUE(transform.ReadFromMatrixAndVector(static_cast<const float*>(nullptr), 0.5F, 0.0F, 0.0F));
    EXPECT_EQ(transform.GetT(0), 0.5);
}

TEST(LxCCoordSysTrans, SinglePrecisionIsWidened)
{
    const float rows[9] = {1.1F, 0.1F, 0, 0, 1, 0, 0, 0, 1};
    LxCCoordSysTrans transform;
    EXPECT_TRUE(transform.ReadFromMatrixAndVector(rows, 0.2F, 0.3F, 0.4F));
    EXPECT_EQ(transform.GetR(0), static_cast<double>(1.1F));
    EXPECT_EQ(transform.GetR(1), static_cast<double>(0.1F));
    EXPECT_EQ(transform.GetT(0), static_cast<double>(0.2F));
}

TEST(LxCCoordSysTrans, CoordinatesFormTakesColumns)
{
    LxCCoordSysTrans transform;
    EXPECT_TRUE(transform.ReadFromMatrixAndVector(LxC3DCoordsCCT(1, 2, 3), LxC3DCoordsCCT(4, 5, 7),
                                                  LxC3DCoordsCCT(7, 8, 1), LxC3DCoordsCCT(10, 11, 12)));
    EXPECT_EQ(Forward(transform), (std::vector<double>{1, 4, 7, 10, 2, 5, 8, 11, 3, 7, 1, 12, 0, 0, 0, 1}));
}

TEST(LxCCoordSysTrans, TranslationMovesForwardByItsVector)
{
    LxCCoordSysTrans transform;
    EXPECT_TRUE(transform.ReadFromEulerAnglesAndVector(1, 1, 1, 9, 9, 9));
    EXPECT_TRUE(transform.MakeTranslation(LxC3DCoordsCCT(1, -2, 3)));
    EXPECT_EQ(Forward(transform), (std::vector<double>{1, 0, 0, 1, 0, 1, 0, -2, 0, 0, 1, 3, 0, 0, 0, 1}));
    EXPECT_EQ(Backward(transform), (std::vector<double>{1, 0, 0, -1, 0, 1, 0, 2, 0, 0, 1, -3, 0, 0, 0, 1}));
}

TEST(LxCCoordSysTrans, RotationAboutAnAxisTurnsVectorsByTheAngle)
{
    constexpr double tolerance = 1e-13; // of coordinates up to 10
    for (const double angle : {0.0, 1e-5, 0.7, kPi / 2.0, kPi, -2.5}) {
        for (const LxC3DCoordsCCT& axis :
             {LxC3DCoordsCCT(0, 0, 4), LxC3DCoordsCCT(1, 0, 0), LxC3DCoordsCCT(-1, 2, 0.5)}) {
            LxCCoordSysTrans transform;
            EXPECT_TRUE(transform.MakeRotation(axis, angle));
            const LxC3DCoordsCCT v(3, -5, 8);
            const LxC3DCoordsCCT n = axis.Normalized();
            // Part along the axis stays; the rest turns in its plane.
            const LxC3DCoordsCCT along = n * n.Dot(v);
            const LxC3DCoordsCCT across = v - along;
            const LxC3DCoordsCCT expected =
                along + across * std::cos(angle) + n.CrossProduct(across) * std::sin(angle);
            LxC3DCoordsCCT turned;
            transform.Transform(v, turned);
            EXPECT_TRUE(turned.IsEqualTol(expected, tolerance)) << angle;
        }
    }
    LxCCoordSysTrans degenerate;
    EXPECT_TRUE(degenerate.MakeRotation(LxC3DCoordsCCT(0, 0, 0), 1.0));
    EXPECT_TRUE(degenerate.IsIdentity());
}

TEST(LxCCoordSysTrans, RotationAboutAnAxisMatchesTheEulerAngleOfThatAxis)
{
    LxCCoordSysTrans transform;
    transform.MakeRotation(LxC3DCoordsCCT(2, 0, 0), 0.4);
    EXPECT_NEAR(transform.GetRx(), 0.4, kRotationTolerance);
    transform.MakeRotation(LxC3DCoordsCCT(0, 2, 0), 0.4);
    EXPECT_NEAR(transform.GetRy(), 0.4, kRotationTolerance);
    transform.MakeRotation(LxC3DCoordsCCT(0, 0, 2), 0.4);
    EXPECT_NEAR(transform.GetRz(), 0.4, kRotationTolerance);
}

TEST(LxCCoordSysTrans, PerspectiveProjectionKeepsTheBackwardIdentity)
{
    LxCCoordSysTrans transform;
    transform.ReadFromEulerAnglesAndVector(1, 1, 1, 9, 9, 9);
    transform.MakePerspectiveProjection(4.0);
    double x = 0, y = 0, z = 0, w = 0;
    transform.Transform(3.0, 5.0, 10.0, 1.0, &x, &y, &z, &w);
    EXPECT_EQ(std::vector({x, y, z, w}), std::vector({3.0, 5.0, 0.0, 2.5}));
    EXPECT_EQ(Backward(transform), kIdentity);
    EXPECT_EQ(transform.GetRx(), 0.0);
    EXPECT_FALSE(transform.Update()) << "the projection is singular";
}

TEST(LxCCoordSysTrans, PartialSettersLeaveTheRestStaleUntilUpdate)
{
    const double quarterTurn[9] = {1, 0, 0, 0, 0, -1, 0, 1, 0};
    const double shift[3] = {1, 2, 3};
    LxCCoordSysTrans transform;
    transform.SetRotationPart(quarterTurn);
    transform.SetTranslationPart(shift);
    EXPECT_EQ(Forward(transform), (std::vector<double>{1, 0, 0, 1, 0, 0, -1, 2, 0, 1, 0, 3, 0, 0, 0, 1}));
    EXPECT_EQ(transform.GetRx(), 0.0);
    EXPECT_EQ(Backward(transform), kIdentity);
    EXPECT_TRUE(transform.Update());
    EXPECT_DOUBLE_EQ(transform.GetRx(), kPi / 2.0);
    EXPECT_EQ(Backward(transform), (std::vector<double>{1, 0, 0, -1, 0, 0, 1, -3, 0, -1, 0, 2, 0, 0, 0, 1}));
    transform.SetRotationPart(nullptr);
    transform.SetTranslationPart(nullptr);
    EXPECT_EQ(Forward(transform), (std::vector<double>{1, 0, 0, 1, 0, 0, -1, 2, 0, 1, 0, 3, 0, 0, 0, 1}));
}

TEST(LxCCoordSysTrans, ReadersAnswerZeroToABadIndex)
{
    const double forward[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 12, 12, 0, 0, 0, 1};
    const LxCCoordSysTrans transform(forward);
    const double rotation[9] = {1, 2, 3, 5, 6, 7, 9, 10, 12};
    for (std::uint64_t i = 0; i < 9; ++i) {
        EXPECT_EQ(transform.GetR(i), rotation[i]);
    }
    EXPECT_EQ(transform.GetT(0), 4.0);
    EXPECT_EQ(transform.GetT(1), 8.0);
    EXPECT_EQ(transform.GetT(2), 12.0);
    for (const std::uint64_t bad : {std::uint64_t(3), std::uint64_t(9), ~std::uint64_t(0)}) {
        EXPECT_EQ(transform.GetT(bad), 0.0);
    }
    EXPECT_EQ(transform.GetR(9), 0.0);
    EXPECT_EQ(transform.GetR(~std::uint64_t(0)), 0.0);
}

TEST(LxCCoordSysTrans, WritersReturnWhatWasRead)
{
    LxCCoordSysTrans transform;
    const double rows[9] = {0, -1, 0, 1, 0, 0, 0, 0, 1};
    const double vector[3] = {5, 6, 7};
    transform.ReadFromMatrixAndVector(rows, vector);
    double rotation[9] = {};
    double translation[3] = {};
    double six[6] = {};
    transform.WriteToMatrixAndVector(rotation, translation);
    EXPECT_TRUE(std::equal(rows, rows + 9, rotation));
    EXPECT_TRUE(std::equal(vector, vector + 3, translation));
    transform.WriteToEulerAnglesAndVector(six);
    EXPECT_EQ(six[2], transform.GetRz());
    EXPECT_TRUE(std::equal(vector, vector + 3, six + 3));
    transform.WriteToMatrixAndVector(nullptr, nullptr);
    transform.WriteToEulerAnglesAndVector(nullptr);
}

TEST(LxCCoordSysTrans, IdentityHasNoTolerance)
{
    for (std::size_t i = 0; i < 16; ++i) {
        for (const double deviation : {1e-300, -1e-300, kNaN}) {
            std::vector<double> forward = kIdentity;
            // 1 + 1e-300 is 1, so the diagonal moves by one unit in the last place.
            forward[i] = forward[i] == 0.0 || std::isnan(deviation) ? deviation : std::nextafter(1.0, 2.0);
            EXPECT_FALSE(LxCCoordSysTrans(forward.data()).IsIdentity()) << i << ' ' << deviation;
        }
    }
}

TEST(LxCCoordSysTrans, NegativeZeroIsStillTheIdentity)
{
    std::vector<double> forward = kIdentity;
    forward[1] = -0.0;
    EXPECT_TRUE(LxCCoordSysTrans(forward.data()).IsIdentity());
}

TEST(LxCCoordSysTrans, FactorsMayBeTheResultItself)
{
    LxCCoordSysTrans quarter;
    quarter.MakeRotation(LxC3DCoordsCCT(0, 0, 1), kPi / 4.0);
    LxCCoordSysTrans transform = quarter;
    EXPECT_TRUE(transform.Concatenate(transform, transform, false, false));
    EXPECT_NEAR(transform.GetRz(), kPi / 2.0, kRotationTolerance);
    EXPECT_TRUE(transform.LeftMultiply(&transform, false));
    EXPECT_NEAR(std::abs(transform.GetRz()), kPi, kRotationTolerance);
    EXPECT_TRUE(transform.LeftMultiply(&quarter, true));
    EXPECT_NEAR(transform.GetRz(), 0.75 * kPi, 2.0 * kRotationTolerance);
    EXPECT_TRUE(transform.LeftMultiply(&transform, true));
    EXPECT_NEAR(transform.GetRz(), 0.0, kRotationTolerance);
}

TEST(LxCCoordSysTrans, LeftMultiplicationAppliesTheOtherTransformLast)
{
    LxCCoordSysTrans transform;
    transform.MakeTranslation(LxC3DCoordsCCT(1, 0, 0));
    const double quarterTurn[9] = {0, -1, 0, 1, 0, 0, 0, 0, 1};
    LxCCoordSysTrans other;
    other.ReadFromMatrixAndVector(quarterTurn, 0.0, 0.0, 5.0);
    EXPECT_TRUE(transform.LeftMultiply(&other, false));
    double x = 0, y = 0, z = 0;
    transform.Transform(0, 0, 0, &x, &y, &z);
    EXPECT_EQ(std::vector({x, y, z}), std::vector({0.0, 1.0, 5.0}));
    EXPECT_TRUE(transform.LeftMultiply(&other, true));
    transform.Transform(0, 0, 0, &x, &y, &z);
    EXPECT_EQ(std::vector({x, y, z}), std::vector({1.0, 0.0, 0.0}));
    EXPECT_TRUE(transform.LeftMultiply(nullptr, false));
    EXPECT_EQ(transform.GetT(0), 1.0);
}

TEST(LxCCoordSysTrans, InvertNegatesAnglesThatUpdateThenSolves)
{
    LxCCoordSysTrans transform;
    transform.ReadFromEulerAnglesAndVector(0.5, 0.6, 0.7, 1, 2, 3);
    const double rx = transform.GetRx();
    transform.Invert();
    EXPECT_EQ(transform.GetRx(), -rx);
    EXPECT_TRUE(transform.Update());
    // The inverse's rotation is Z(-0.7)·Y(-0.6)·X(-0.5); its element (0,2) is the transposed (2,0).
    const double m20 = std::sin(0.5) * std::sin(0.7) - std::cos(0.5) * std::sin(0.6) * std::cos(0.7);
    EXPECT_NEAR(transform.GetRy(), std::asin(m20), kRotationTolerance);
    EXPECT_GT(std::abs(transform.GetRx() + rx), 0.1);
}

TEST(LxCCoordSysTrans, AtTheGimbalLockRxIsZeroAndRzComesFromTheSecondRow)
{
    for (const double sign : {1.0, -1.0}) {
        LxCCoordSysTrans transform;
        transform.ReadFromEulerAnglesAndVector(0.3, sign * kPi / 2.0, 0.5, 0, 0, 0);
        EXPECT_EQ(transform.GetRx(), 0.0);
        EXPECT_NEAR(transform.GetRy(), sign * kPi / 2.0, 1e-7);
        // Up, both rotations turn the same way; down, they turn against each other.
        EXPECT_NEAR(transform.GetRz(), 0.5 + sign * 0.3, kRotationTolerance);
        EXPECT_EQ(transform.GetRz(), std::atan2(transform.GetR(3), transform.GetR(4)));
    }
}

TEST(LxCCoordSysTrans, RoundingAboveOneAtTheLockGivesFiniteAngles)
{
    const double excess = std::nextafter(1.0, 2.0);
    const double rows[9] = {0, 0, excess, 0, 1, 0, -1, 0, 0};
    LxCCoordSysTrans transform;
    EXPECT_TRUE(transform.ReadFromMatrixAndVector(rows, static_cast<const double*>(nullptr)));
    EXPECT_EQ(transform.GetRx(), 0.0);
    EXPECT_DOUBLE_EQ(transform.GetRy(), kPi / 2.0);
    EXPECT_EQ(transform.GetRz(), 0.0);
}

TEST(LxCCoordSysTrans, UpdateReportsSingularAndNonFiniteMatrices)
{
    const double flat[9] = {1, 0, 0, 0, 1, 0, 0, 0, 0};
    LxCCoordSysTrans transform;
    EXPECT_FALSE(transform.ReadFromMatrixAndVector(flat, static_cast<const double*>(nullptr)));
    EXPECT_FALSE(transform.ReadFromEulerAnglesAndVector(kNaN, 0, 0, 0, 0, 0));
    EXPECT_FALSE(transform.MakeTranslation(LxC3DCoordsCCT(kNaN, 0, 0)));
    EXPECT_TRUE(transform.MakeTranslation(LxC3DCoordsCCT(1, 0, 0)));
}

TEST(LxCCoordSysTrans, UpdateInvertsMatricesThatAreNotRigid)
{
    const double scale[9] = {2, 0, 0, 0, 4, 0, 0, 0, 8};
    LxCCoordSysTrans transform;
    EXPECT_TRUE(transform.ReadFromMatrixAndVector(scale, 2.0, 4.0, 8.0));
    EXPECT_EQ(Backward(transform),
              (std::vector<double>{0.5, 0, 0, -1, 0, 0.25, 0, -1, 0, 0, 0.125, -1, 0, 0, 0, 1}));
}

TEST(LxCCoordSysTrans, OutputsMayBeTheInputs)
{
    LxCCoordSysTrans transform;
    const double rows[9] = {0, -1, 0, 1, 0, 0, 0, 0, 1};
    transform.ReadFromMatrixAndVector(rows, 10.0, 20.0, 30.0);
    LxC3DCoordsCCT point(1, 2, 3);
    transform.Transform(point, point);
    EXPECT_EQ(std::vector({point.x, point.y, point.z}), std::vector({8.0, 21.0, 33.0}));
    transform.TransformInverse(point, point);
    EXPECT_EQ(std::vector({point.x, point.y, point.z}), std::vector({1.0, 2.0, 3.0}));
}

TEST(LxCCoordSysTrans, MappingAndUpdatingTakeNoMemory)
{
    LxCCoordSysTrans transform;
    const LxCCoordSysTrans other;
    double x = 1, y = 2, z = 3;
    const AllocationCount allocations;
    transform.ReadFromEulerAnglesAndVector(0.1, 0.2, 0.3, 1, 2, 3);
    transform.LeftMultiply(&other, false);
    transform.Transform(x, y, z, &x, &y, &z);
    EXPECT_EQ(allocations.Get(), 0U);
}

TEST(LxCCoordSysTrans, WritesItsSixNumbersInOrder)
{
    LxCCoordSysTrans transform;
    transform.ReadFromEulerAnglesAndVector(0, 0, 0, 1.5, -2, 100.25);
    EXPECT_EQ(TestSupport::Store(transform, "::A::CoordSysTrans"), "::A::CoordSysTrans\n"
                                                                   "Tx=1.50000000000000000000\n"
                                                                   "Ty=-2.00000000000000000000\n"
                                                                   "Tz=100.25000000000000000000\n"
                                                                   "Rx=0.00000000000000000000\n"
                                                                   "Ry=0.00000000000000000000\n"
                                                                   "Rz=0.00000000000000000000\n");
}

TEST(LxCCoordSysTrans, ReadsAnglesBitForBitWithoutSolvingThem)
{
    LxCCoordSysTrans transform;
    // Ry lies outside the range that solving would give.
    TestSupport::Load(transform, "::P", "::P\nTx=1\nTy=2\nTz=3\nRx=0.25\nRy=3\nRz=-0.5\n");
    EXPECT_EQ(transform.GetRx(), 0.25);
    EXPECT_EQ(transform.GetRy(), 3.0);
    EXPECT_EQ(transform.GetRz(), -0.5);
    const Rotation expected = FromAxisRotations({"", 0.25, 3.0, -0.5, 0, 0, 0});
    for (std::size_t i = 0; i < 9; ++i) {
        EXPECT_NEAR(transform.GetR(i), static_cast<double>(expected[i]), kRotationTolerance);
    }
    LxC3DCoordsCCT point(7, 8, 9);
    transform.Transform(point, point);
    transform.TransformInverse(point, point);
    EXPECT_TRUE(point.IsEqualTol(LxC3DCoordsCCT(7, 8, 9), kRoundTrip * 20.0));
}

TEST(LxCCoordSysTrans, TextRoundTripKeepsTheSixNumbersToTheTwentyWrittenDigits)
{
    for (const Pose& pose : TestSupport::HardPoses()) {
        LxCCoordSysTrans written = MakeTransform(pose);
        LxCCoordSysTrans read;
        TestSupport::Load(read, "::P", TestSupport::Store(written, "::P"));
        double before[6];
        double after[6];
        written.WriteToEulerAnglesAndVector(before);
        read.WriteToEulerAnglesAndVector(after);
        for (std::size_t i = 0; i < 6; ++i) {
            // Twenty digits after the point hold any double of this size but the angles that are rounding noise.
            EXPECT_NEAR(after[i], before[i], 1e-20) << pose.name;
        }
    }
}

TEST(LxCCoordSysTrans, ReadingStartsFromTheIdentity)
{
    LxCCoordSysTrans transform;
    transform.ReadFromEulerAnglesAndVector(1, 1, 1, 9, 9, 9);
    TestSupport::Load(transform, "::P", "::P\nTy=2\nRz=0.5\n");
    double six[6];
    transform.WriteToEulerAnglesAndVector(six);
    EXPECT_EQ(std::vector<double>(six, six + 6), (std::vector<double>{0, 0, 0.5, 0, 2, 0}));
    transform.ReadFromEulerAnglesAndVector(1, 1, 1, 9, 9, 9);
    TestSupport::Load(transform, "::Missing", "::P\nTy=2\n");
    EXPECT_TRUE(transform.IsIdentity());
    EXPECT_EQ(Backward(transform), kIdentity);
}

TEST(LxCCoordSysTrans, HostileNumbersInTextDoNotHarm)
{
    for (const std::string text : {"1e308", "-1e308", "nan", "inf", "1e-320", "", "x"}) {
        LxCCoordSysTrans transform;
        TestSupport::Load(transform, "::P",
                          "::P\nTx=" + text + "\nRx=" + text + "\nRy=" + text + "\nRz=" + text + "\n");
        double x = 0, y = 0, z = 0;
        transform.TransformInverse(1, 2, 3, &x, &y, &z);
        std::string report;
        transform.PrettyPrint(report);
        EXPECT_FALSE(report.empty());
    }
}

TEST(LxCCoordSysTrans, PrettyPrintsInFixedWidthAndDegrees)
{
    LxCCoordSysTrans transform;
    transform.ReadFromEulerAnglesAndVector(0.0, 0.0, kPi / 2.0, 1.5, -2.0, 100.25);
    std::string text = "what was here before";
    transform.PrettyPrint(text);
    EXPECT_EQ(text, "Tx =   1.500000 Ty =  -2.000000 Tz = 100.250000 [mm]\n"
                    "Rx =   0.000000 Ry =   0.000000 Rz =  90.000000 [deg]\n"
                    "\t  0.000000  -1.000000   0.000000\n"
                    "R =\t  1.000000   0.000000  -0.000000\n"
                    "\t  0.000000   0.000000   1.000000\n");
}

} // namespace
} // namespace LxCV
