#include "lxcworkingspace.h"

#include "lxcpinholecamera.h"
#include "tests/lxcvlib/sectiontext.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>
#include <string>

namespace LxCV {
namespace {

constexpr double c_dRoundingTolerance = 1e-12; ///< mm; a few roundings of values below 1000

/// f = 8 mm, pitch 0.01 mm. The middle of the image, (320, 240), is sensor (0.2, -0.1) mm off the principal point, so
/// the middle ray is (0.025, -0.0125, 1).
LxCPinholeCamera MakeCamera(double rx, double ry, double rz, double tx, double ty, double tz)
{
    LxCPinholeCamera camera;
    LxCIntrinsicParams& intrinsics = *camera.GetIntrinsicParams();
    intrinsics.SetImageSize(640.0, 480.0);
    intrinsics.SetPixelPitch(0.01, 0.01);
    intrinsics.SetPrincipalPoint(300.0, 250.0);
    intrinsics.SetFocalLength(8.0);
    camera.ReadFromEulerAnglesAndVector(rx, ry, rz, tx, ty, tz);
    return camera;
}

TEST(LxCWorkingSpace, IsNotANumberUntilSet)
{
    const LxCWorkingSpace space;
    EXPECT_TRUE(std::isnan(space.GetMinWorkingDistCamCoords()));
    EXPECT_TRUE(std::isnan(space.GetMaxWorkingDistCamCoords()));
    EXPECT_TRUE(std::isnan(space.GetMinWorkingDistWorldCoords()));
    EXPECT_TRUE(std::isnan(space.GetMaxWorkingDistWorldCoords()));
}

TEST(LxCWorkingSpace, DerivesWorldDistancesOfAnUprightCamera)
{
    // zCamera = zWorld + 50.
    const LxCPinholeCamera camera = MakeCamera(0.0, 0.0, 0.0, 1.0, 2.0, 50.0);
    LxCWorkingSpace space;
    space.SetUsingCamCoords(80.0, 120.0, &camera);
    EXPECT_EQ(space.GetMinWorkingDistCamCoords(), 80.0);
    EXPECT_EQ(space.GetMaxWorkingDistCamCoords(), 120.0);
    EXPECT_NEAR(space.GetMinWorkingDistWorldCoords(), 30.0, c_dRoundingTolerance);
    EXPECT_NEAR(space.GetMaxWorkingDistWorldCoords(), 70.0, c_dRoundingTolerance);
}

TEST(LxCWorkingSpace, UsesTheRayThroughTheMiddleOfTheImageNotThePrincipalPoint)
{
    // A quarter turn about x: xCamera = xWorld, yCamera = -zWorld, zCamera = yWorld. So zWorld = -yCamera, which on
    // the middle ray is 0.0125 z; on the ray of the principal point it were 0.
    const LxCPinholeCamera camera = MakeCamera(std::numbers::pi / 2.0, 0.0, 0.0, 0.0, 0.0, 0.0);
    LxCWorkingSpace space;
    space.SetUsingCamCoords(80.0, 160.0, &camera);
    EXPECT_NEAR(space.GetMinWorkingDistWorldCoords(), 1.0, c_dRoundingTolerance);
    EXPECT_NEAR(space.GetMaxWorkingDistWorldCoords(), 2.0, c_dRoundingTolerance);
}

TEST(LxCWorkingSpace, SortsTheDerivedPairOfACameraThatLooksDown)
{
    // A half turn about x: zCamera = 100 - zWorld.
    const LxCPinholeCamera camera = MakeCamera(std::numbers::pi, 0.0, 0.0, 0.0, 0.0, 100.0);
    LxCWorkingSpace space;
    space.SetUsingWorldCoords(10.0, 30.0, &camera);
    EXPECT_EQ(space.GetMinWorkingDistWorldCoords(), 10.0);
    EXPECT_EQ(space.GetMaxWorkingDistWorldCoords(), 30.0);
    EXPECT_NEAR(space.GetMinWorkingDistCamCoords(), 70.0, c_dRoundingTolerance);
    EXPECT_NEAR(space.GetMaxWorkingDistCamCoords(), 90.0, c_dRoundingTolerance);

    space.SetUsingCamCoords(70.0, 90.0, &camera);
    EXPECT_NEAR(space.GetMinWorkingDistWorldCoords(), 10.0, c_dRoundingTolerance);
    EXPECT_NEAR(space.GetMaxWorkingDistWorldCoords(), 30.0, c_dRoundingTolerance);
}

TEST(LxCWorkingSpace, KeepsASourcePairAsItWasGiven)
{
    const LxCPinholeCamera camera = MakeCamera(0.0, 0.0, 0.0, 0.0, 0.0, 0.0);
    LxCWorkingSpace space;
    space.SetUsingCamCoords(120.0, 80.0, &camera);
    EXPECT_EQ(space.GetMinWorkingDistCamCoords(), 120.0);
    EXPECT_EQ(space.GetMaxWorkingDistCamCoords(), 80.0);
    EXPECT_EQ(space.GetMinWorkingDistWorldCoords(), 80.0);
    EXPECT_EQ(space.GetMaxWorkingDistWorldCoords(), 120.0);
}

TEST(LxCWorkingSpace, HasTwoNamesForEachDistance)
{
    const LxCPinholeCamera camera = MakeCamera(0.0, 0.0, 0.0, 0.0, 0.0, 50.0);
    LxCWorkingSpace space;
    space.SetUsingCamCoords(80.0, 120.0, &camera);
    EXPECT_EQ(space.GetMinWorkingDistCC(), space.GetMinWorkingDistCamCoords());
    EXPECT_EQ(space.GetMaxWorkingDistCC(), space.GetMaxWorkingDistCamCoords());
    EXPECT_EQ(space.GetMinWorkingDistWC(), space.GetMinWorkingDistWorldCoords());
    EXPECT_EQ(space.GetMaxWorkingDistWC(), space.GetMaxWorkingDistWorldCoords());
}

TEST(LxCWorkingSpace, UpdateFollowsACameraThatMoved)
{
    LxCPinholeCamera camera = MakeCamera(0.0, 0.0, 0.0, 0.0, 0.0, 50.0);
    LxCWorkingSpace space;
    space.SetUsingCamCoords(80.0, 120.0, &camera);
    camera.ReadFromEulerAnglesAndVector(0.0, 0.0, 0.0, 0.0, 0.0, 60.0);
    space.Update(&camera);
    EXPECT_EQ(space.GetMinWorkingDistCamCoords(), 80.0);
    EXPECT_NEAR(space.GetMinWorkingDistWorldCoords(), 20.0, c_dRoundingTolerance);

    space.SetUsingWorldCoords(20.0, 60.0, &camera);
    camera.ReadFromEulerAnglesAndVector(0.0, 0.0, 0.0, 0.0, 0.0, 10.0);
    space.Update(&camera);
    EXPECT_EQ(space.GetMinWorkingDistWorldCoords(), 20.0);
    EXPECT_NEAR(space.GetMinWorkingDistCamCoords(), 30.0, c_dRoundingTolerance);
    EXPECT_NEAR(space.GetMaxWorkingDistCamCoords(), 70.0, c_dRoundingTolerance);
}

TEST(LxCWorkingSpace, UpdateWithoutARangeLeavesEverythingNotANumber)
{
    const LxCPinholeCamera camera = MakeCamera(0.1, 0.0, 0.0, 0.0, 0.0, 50.0);
    LxCWorkingSpace space;
    space.Update(&camera);
    EXPECT_TRUE(std::isnan(space.GetMinWorkingDistCamCoords()));
    EXPECT_TRUE(std::isnan(space.GetMaxWorkingDistCamCoords()));
    EXPECT_TRUE(std::isnan(space.GetMinWorkingDistWorldCoords()));
    EXPECT_TRUE(std::isnan(space.GetMaxWorkingDistWorldCoords()));
}

TEST(LxCWorkingSpace, HasNoDerivedPairWithoutACamera)
{
    LxCWorkingSpace space;
    space.SetUsingWorldCoords(10.0, 20.0, nullptr);
    EXPECT_EQ(space.GetMinWorkingDistWorldCoords(), 10.0);
    EXPECT_TRUE(std::isnan(space.GetMinWorkingDistCamCoords()));
    space.SetUsingCamCoords(30.0, 40.0, nullptr);
    EXPECT_EQ(space.GetMaxWorkingDistCamCoords(), 40.0);
    EXPECT_TRUE(std::isnan(space.GetMaxWorkingDistWorldCoords()));
}

TEST(LxCWorkingSpace, StoresTheCameraPairOnly)
{
    const LxCPinholeCamera camera = MakeCamera(0.0, 0.0, 0.0, 0.0, 0.0, 50.0);
    LxCWorkingSpace space;
    space.SetUsingCamCoords(80.0, 120.5, &camera);
    EXPECT_EQ(TestSupport::Store(space, "::MV3DCamBase"),
              "::MV3DCamBase\nMinDistCamCoords=80.00000000000000000000\n"
              "MaxDistCamCoords=120.50000000000000000000\n");
}

TEST(LxCWorkingSpace, HasNoWorldPairAfterReadingUntilUpdate)
{
    LxCWorkingSpace space;
    TestSupport::Load(space, "::S", "::S\nMinDistCamCoords=80\nMaxDistCamCoords=120\n");
    EXPECT_EQ(space.GetMinWorkingDistCamCoords(), 80.0);
    EXPECT_EQ(space.GetMaxWorkingDistCamCoords(), 120.0);
    EXPECT_TRUE(std::isnan(space.GetMinWorkingDistWorldCoords()));
    const LxCPinholeCamera camera = MakeCamera(0.0, 0.0, 0.0, 0.0, 0.0, 50.0);
    space.Update(&camera);
    EXPECT_NEAR(space.GetMinWorkingDistWorldCoords(), 30.0, c_dRoundingTolerance);
}

TEST(LxCWorkingSpace, ReadingKeepsWhichPairIsTheSource)
{
    const LxCPinholeCamera camera = MakeCamera(0.0, 0.0, 0.0, 0.0, 0.0, 50.0);
    LxCWorkingSpace space;
    space.SetUsingWorldCoords(10.0, 20.0, &camera);
    TestSupport::Load(space, "::S", "::S\nMinDistCamCoords=80\n");
    EXPECT_EQ(space.GetMinWorkingDistCamCoords(), 80.0);
    space.Update(&camera);
    EXPECT_NEAR(space.GetMinWorkingDistCamCoords(), 60.0, c_dRoundingTolerance);
    EXPECT_EQ(space.GetMinWorkingDistWorldCoords(), 10.0);
}

TEST(LxCWorkingSpace, DistancesThatAreNotFiniteReadAsMissing)
{
    const LxCPinholeCamera camera = MakeCamera(0.0, 0.0, 0.0, 0.0, 0.0, 50.0);
    LxCWorkingSpace space;
    space.SetUsingCamCoords(std::nan(""), std::numeric_limits<double>::infinity(), &camera);
    const std::string text = TestSupport::Store(space, "::S");
    LxCWorkingSpace other;
    other.SetUsingCamCoords(80.0, 120.0, &camera);
    TestSupport::Load(other, "::S", text);
    EXPECT_EQ(other.GetMinWorkingDistCamCoords(), 80.0);
    EXPECT_EQ(other.GetMaxWorkingDistCamCoords(), 120.0);
}

} // namespace
} // namespace LxCV
