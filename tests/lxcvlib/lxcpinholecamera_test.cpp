// Tests of pinhole cameras: frames, projection, copies, persistence.
#include "lxcpinholecamera.h"

#include "allocationcount.h"
#include "cameratestsupport.h"
#include "lxc3dplane.h"
#include "lxc3dray.h"
#include "lxccctserializer.h"
#include "orx/logging/logger.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace LxCV {
namespace {

/// Pixels of some hundred, coordinates of some hundred mm, some twenty operations at 1e-16 relative.
constexpr double kPixelTolerance = 1e-9;

void Place(LxCPinholeCamera& camera, const std::array<double, 6>& six)
{
    camera.ReadFromEulerAnglesAndVector(six[0], six[1], six[2], six[3], six[4], six[5]);
}

void ExpectPoint(const LxC3DCoordsCCT& p, double x, double y, double z, double tolerance = 0.0)
{
    EXPECT_NEAR(p.x, x, tolerance);
    EXPECT_NEAR(p.y, y, tolerance);
    EXPECT_NEAR(p.z, z, tolerance);
}

TEST(LxCPinholeCamera, StartsUncalibratedAsItsOwnMaster)
{
    const LxCPinholeCamera camera;
    EXPECT_FALSE(camera.IsCalibrated());
    EXPECT_TRUE(camera.GetCalibTime().empty());
    EXPECT_FALSE(camera.IsVirtual());
    EXPECT_EQ(camera.GetQualityThreshold(), 2.0);
    double a = 1, b = 1, c = 1;
    camera.GetErrorStats(a, b, c);
    EXPECT_EQ(a, 0.0);
    EXPECT_EQ(b, 0.0);
    EXPECT_EQ(c, 0.0);
    EXPECT_TRUE(camera.IsMasterCam());
    EXPECT_EQ(camera.GetMasterCam(), nullptr);
    EXPECT_TRUE(camera.IsIdentity());
    EXPECT_FALSE(camera.ReadyForCalibration());
    EXPECT_EQ(LxCPinholeCamera::sc_iMinNumCalibPoints, 10);
}

TEST(LxCPinholeCamera, NegativeQualityThresholdIsZero)
{
    LxCPinholeCamera camera;
    camera.SetQualityThreshold(-1.0);
    EXPECT_EQ(camera.GetQualityThreshold(), 0.0);
    camera.SetQualityThreshold(7.5);
    EXPECT_EQ(camera.GetQualityThreshold(), 7.5);
}

TEST(LxCPinholeCamera, MarkedAsUncalibratedHasUnknownErrors)
{
    LxCPinholeCamera camera;
    camera.GetCalibState()->FinishedCalibrationSuccessful(L"bench");
    EXPECT_TRUE(camera.IsCalibrated());
    EXPECT_FALSE(camera.GetCalibTime().empty());
    camera.MarkAsUncalibrated();
    EXPECT_FALSE(camera.IsCalibrated());
    EXPECT_TRUE(camera.GetCalibTime().empty());
    double a = 0, b = 0, c = 0;
    camera.GetErrorStats(a, b, c);
    EXPECT_EQ(a, 999.0);
    EXPECT_EQ(b, 999.0);
    EXPECT_EQ(c, 999.0);
}

TEST(LxCPinholeCamera, ProjectsByHand)
{
    // f = 10, pitches 0.01 and 0.02, centre (100, 50). The camera stands 20 mm before the world's origin, so
    // (1, 2, 0) lies at (1, 2, 20): sensor (0.5, 1.0), pixel (50 + 100, 50 + 50).
    SLens lens;
    lens.f = 10.0L;
    lens.dx = 0.01L;
    lens.dy = 0.02L;
    lens.cx = 100.0L;
    lens.cy = 50.0L;
    lens.k2 = lens.k4 = lens.k6 = lens.t1 = lens.t2 = 0.0L;
    LxCPinholeCamera camera;
    SetLens(camera, lens);
    camera.MakeTranslation(LxC3DCoordsCCT(0.0, 0.0, 20.0));
    double u = 0, v = 0;
    EXPECT_TRUE(camera.WorldToDisImageCoords(1.0, 2.0, 0.0, &u, &v));
    EXPECT_NEAR(u, 150.0, 1e-12);
    EXPECT_NEAR(v, 100.0, 1e-12);
    double x = 0, y = 0;
    EXPECT_TRUE(camera.DisImageToCameraCoords(150.0, 100.0, 40.0, &x, &y));
    EXPECT_NEAR(x, 2.0, 1e-14);
    EXPECT_NEAR(y, 4.0, 1e-14);
    EXPECT_TRUE(camera.DisImageToWorldCoords(150.0, 100.0, 20.0, &x, &y));
    EXPECT_NEAR(x, 2.0, 1e-14);
    EXPECT_NEAR(y, 4.0, 1e-14);
    EXPECT_TRUE(camera.SensorToWorldCoords(0.5, 1.0, 0.0, &x, &y));
    EXPECT_NEAR(x, 1.0, 1e-14);
    EXPECT_NEAR(y, 2.0, 1e-14);
    EXPECT_TRUE(camera.UndisImageToWorldCoords(150.0, 100.0, -10.0, &x, &y));
    EXPECT_NEAR(x, 0.5, 1e-14);
    EXPECT_NEAR(y, 1.0, 1e-14);
}

TEST(LxCPinholeCamera, ProjectionAgreesWithAnIndependentModel)
{
    std::mt19937 random(40);
    const SLens lens;
    for (int i = 0; i < 3000; ++i) {
        const auto six = RandomPose(random);
        const LxC3DCoordsCCT p = RandomPoint(random);
        LxCPinholeCamera camera;
        SetLens(camera, lens);
        Place(camera, six);
        const auto pixel = lens.Project(MakePose(six).Apply(p.x, p.y, p.z));
        double u = 0, v = 0;
        ASSERT_TRUE(camera.WorldToDisImageCoords(p.x, p.y, p.z, &u, &v));
        ASSERT_NEAR(u, static_cast<double>(pixel[0]), kPixelTolerance) << i;
        ASSERT_NEAR(v, static_cast<double>(pixel[1]), kPixelTolerance) << i;
    }
}

TEST(LxCPinholeCamera, BackProjectionReturnsToThePoint)
{
    std::mt19937 random(41);
    // The fixed-point iteration of 20 steps contracts by some 0.02 a step for these lenses; what is left is
    // rounding, 200 mm at some 1e-15.
    constexpr double kTolerance = 1e-9; // mm
    for (int i = 0; i < 3000; ++i) {
        const LxC3DCoordsCCT p = RandomPoint(random);
        LxCPinholeCamera camera;
        SetLens(camera, SLens());
        Place(camera, RandomPose(random));
        double u = 0, v = 0, x = 0, y = 0, cx = 0, cy = 0, cz = 0;
        camera.WorldToDisImageCoords(p.x, p.y, p.z, &u, &v);
        ASSERT_TRUE(camera.DisImageToWorldCoords(u, v, p.z, &x, &y));
        ASSERT_NEAR(x, p.x, kTolerance) << i;
        ASSERT_NEAR(y, p.y, kTolerance) << i;
        camera.WorldToCameraCoords(p.x, p.y, p.z, &cx, &cy, &cz);
        ASSERT_TRUE(camera.DisImageToCameraCoords(u, v, cz, &x, &y));
        ASSERT_NEAR(x, cx, kTolerance) << i;
        ASSERT_NEAR(y, cy, kTolerance) << i;
    }
}

TEST(LxCPinholeCamera, PointInTheCameraPlaneLeavesTheOutputs)
{
    LxCPinholeCamera camera;
    SetLens(camera, SLens());
    double u = 42.0, v = 43.0;
    EXPECT_TRUE(camera.WorldToDisImageCoords(1.0, 2.0, 0.0, &u, &v));
    EXPECT_EQ(u, 42.0);
    EXPECT_EQ(v, 43.0);
    EXPECT_FALSE(camera.CameraToDisImageCoords(1.0, 2.0, 0.0, &u, &v));
    EXPECT_FALSE(camera.CameraToUnDisImageCoords(1.0, 2.0, 0.0, &u, &v));
    EXPECT_FALSE(camera.CameraToUnDisSensorCoords(1.0, 2.0, 0.0, &u, &v));
    EXPECT_EQ(u, 42.0);
    EXPECT_EQ(v, 43.0);
}

TEST(LxCPinholeCamera, PointListsAreOverwrittenInPlace)
{
    LxCPinholeCamera camera;
    SetUnitLens(camera);
    LxC3DCoordsCCT a(2.0, 4.0, 2.0), b(7.0, 8.0, 0.0), c(-3.0, 6.0, 3.0);
    std::vector<LxC3DCoordsCCT*> points = {&a, nullptr, &b, &c};
    EXPECT_TRUE(camera.WorldToDisImageCoords(&points));
    ExpectPoint(a, 1.0, 2.0, 0.0);
    ExpectPoint(b, 7.0, 8.0, 0.0);
    ExpectPoint(c, -1.0, 2.0, 0.0);
    EXPECT_TRUE(camera.WorldToDisImageCoords(nullptr));
}

TEST(LxCPinholeCamera, RayParallelToTheWorldPlaneMeetsNothing)
{
    // Turned by 90 degrees about x, the optical axis is horizontal in the world.
    LxCPinholeCamera camera;
    SetUnitLens(camera);
    const double rotation[9] = {1, 0, 0, 0, 0, -1, 0, 1, 0};
    const double translation[3] = {0, 0, 0};
    camera.ReadFromMatrixAndVector(rotation, translation);
    double x = 42.0, y = 43.0;
    EXPECT_FALSE(camera.SensorToWorldCoords(0.5, 0.0, 10.0, &x, &y));
    EXPECT_EQ(x, 0.0);
    EXPECT_EQ(y, 0.0);
    EXPECT_FALSE(camera.DisImageToWorldCoords(0.5, 0.0, 10.0, &x, &y));
    EXPECT_FALSE(camera.UndisImageToWorldCoords(0.5, 0.0, 10.0, &x, &y));
    EXPECT_TRUE(camera.SensorToWorldCoords(0.5, -0.5, 10.0, &x, &y));
}

TEST(LxCPinholeCamera, LineOfViewMeetsAPlaneByHand)
{
    // The pixel (0.5, 0.25) of the unit lens looks along (0.5, 0.25, 1). In z = x + 2 y + 4 at depth z:
    // z = 0.5 z + 0.5 z + 4 has no solution; in z = x + y + 4: z = 0.75 z + 4, z = 16.
    LxCPinholeCamera camera;
    SetUnitLens(camera);
    double x = 0, y = 0, z = 0;
    EXPECT_TRUE(camera.IntersectLineOfViewWPlane(0.5, 0.25, 1.0, 1.0, 4.0, &x, &y, &z));
    EXPECT_DOUBLE_EQ(x, 8.0);
    EXPECT_DOUBLE_EQ(y, 4.0);
    EXPECT_DOUBLE_EQ(z, 16.0);
    EXPECT_TRUE(camera.IntersectLineOfViewWPlane(0.5, 0.25, 1.0, 2.0, 4.0, &x, &y, &z));
    EXPECT_FALSE(std::isfinite(z));
}

TEST(LxCPinholeCamera, LineOfViewAgreesWithPlaneAndRay)
{
    std::mt19937 random(42);
    std::uniform_real_distribution<double> slope(-1.0, 1.0);
    std::uniform_real_distribution<double> column(0.0, 658.0);
    std::uniform_real_distribution<double> row(0.0, 494.0);
    LxCPinholeCamera camera;
    SetLens(camera, SLens());
    for (int i = 0; i < 3000; ++i) {
        const double a = slope(random), b = slope(random), c = 200.0 + 50.0 * slope(random);
        const double u = column(random), v = row(random);
        double x = 0, y = 0, z = 0, xs = 0, ys = 0;
        camera.IntersectLineOfViewWPlane(u, v, a, b, c, &x, &y, &z);
        camera.DisImageToUndisSensorCoords(u, v, &xs, &ys);
        LxC3DCoordsCCT hit;
        ASSERT_TRUE(
            LxC3DPlane(a, b, c).Intersect(LxC3DRay(LxC3DCoordsCCT(), LxC3DCoordsCCT(xs, ys, 25.0)), hit));
        // Depths to some 300 mm at 1e-15.
        ExpectPoint(hit, x, y, z, 1e-10);
    }
}

TEST(LxCPinholeCamera, ForwardsToItsIntrinsicParameters)
{
    LxCPinholeCamera camera;
    SetLens(camera, SLens());
    const LxCPinholeCamera& constCamera = camera;
    const LxCIntrinsicParams& params = *constCamera.GetIntrinsicParams();
    double a = 0, b = 0, c = 0, d = 0;
    EXPECT_TRUE(camera.ReadyForCalibration());
    EXPECT_TRUE(camera.CameraToDisImageCoords(3, 4, 50, &a, &b));
    params.CameraToDisImageCoords(3, 4, 50, &c, &d);
    EXPECT_TRUE(a == c && b == d);
    EXPECT_TRUE(camera.CameraToUnDisImageCoords(3, 4, 50, &a, &b));
    params.CameraToUnDisImageCoords(3, 4, 50, &c, &d);
    EXPECT_TRUE(a == c && b == d);
    EXPECT_TRUE(camera.CameraToUnDisSensorCoords(3, 4, 50, &a, &b));
    EXPECT_TRUE(a == 25.0 / 50.0 * 3 && b == 25.0 / 50.0 * 4);
    EXPECT_TRUE(camera.DisImageToUndisImageCoords(11, 22, &a, &b));
    params.DisImageToUndisImageCoords(11, 22, &c, &d);
    EXPECT_TRUE(a == c && b == d);
    EXPECT_TRUE(camera.UndisImageToDisImageCoords(11, 22, &a, &b));
    params.UndisImageToDisImageCoords(11, 22, &c, &d);
    EXPECT_TRUE(a == c && b == d);
    EXPECT_TRUE(camera.UndisSensorToDisImageCoords(1, 2, &a, &b));
    params.UndisToDisSensorCoords(1, 2, &c, &d);
    params.SensorToImageCoords(c, d, &c, &d);
    EXPECT_TRUE(a == c && b == d);
}

TEST(LxCPinholeCamera, FramesFollowTheMaster)
{
    std::mt19937 random(43);
    constexpr double kTolerance = 1e-10; // mm
    for (int i = 0; i < 1000; ++i) {
        LxCPinholeCamera camera, projector;
        const auto cameraSix = RandomPose(random), projectorSix = RandomPose(random);
        Place(camera, cameraSix);
        Place(projector, projectorSix);
        projector.SetMasterCam(&camera);
        EXPECT_FALSE(projector.IsMasterCam());
        EXPECT_EQ(projector.GetMasterCam(), &camera);
        const LxC3DCoordsCCT p = RandomPoint(random);
        const auto inCamera = MakePose(cameraSix).Apply(p.x, p.y, p.z);
        const auto inProjector = MakePose(projectorSix).Apply(inCamera[0], inCamera[1], inCamera[2]);
        const auto value = [](long double number) { return static_cast<double>(number); };
        LxC3DCoordsCCT out;
        projector.WorldToCameraCoords(p.x, p.y, p.z, &out.x, &out.y, &out.z);
        ExpectPoint(out, value(inProjector[0]), value(inProjector[1]), value(inProjector[2]), kTolerance);
        projector.CameraToWorldCoords(out.x, out.y, out.z, &out.x, &out.y, &out.z);
        ExpectPoint(out, p.x, p.y, p.z, kTolerance);
        camera.CameraToCameraCoords(&projector, value(inCamera[0]), value(inCamera[1]), value(inCamera[2]),
                                    &out.x, &out.y, &out.z);
        ExpectPoint(out, value(inProjector[0]), value(inProjector[1]), value(inProjector[2]), kTolerance);
        camera.CameraToCameraCoords(nullptr, value(inCamera[0]), value(inCamera[1]), value(inCamera[2]),
                                    &out.x, &out.y, &out.z);
        ExpectPoint(out, p.x, p.y, p.z, kTolerance);
        LxCCoordSysTrans trafo;
        projector.GetWorld2CamTrafo(&trafo);
        trafo.Transform(p, out);
        ExpectPoint(out, value(inProjector[0]), value(inProjector[1]), value(inProjector[2]), kTolerance);
        camera.GetCam2CamTrafo(&projector, &trafo);
        trafo.Transform(LxC3DCoordsCCT(value(inCamera[0]), value(inCamera[1]), value(inCamera[2])), out);
        ExpectPoint(out, value(inProjector[0]), value(inProjector[1]), value(inProjector[2]), kTolerance);
    }
}

TEST(LxCPinholeCamera, MasterThatIsNoCameraIsNotShownAsOne)
{
    const LxCObjectInSpace stand;
    LxCPinholeCamera camera;
    camera.SetMasterCoordSystem(&stand);
    EXPECT_FALSE(camera.IsMasterCam());
    EXPECT_EQ(camera.GetMasterCam(), nullptr);
}

TEST(LxCPinholeCamera, ProjectionDoesNotAllocate)
{
    LxCPinholeCamera camera, projector;
    SetLens(camera, SLens());
    SetLens(projector, SLens());
    projector.SetMasterCam(&camera);
    double a = 0, b = 0, c = 0;
    const AllocationCount allocations;
    camera.WorldToDisImageCoords(1, 2, 100, &a, &b);
    camera.DisImageToCameraCoords(300, 200, 100, &a, &b);
    camera.DisImageToWorldCoords(300, 200, 100, &a, &b);
    camera.IntersectLineOfViewWPlane(300, 200, 0.1, 0.1, 100, &a, &b, &c);
    projector.CameraToCameraCoords(&camera, 1, 2, 100, &a, &b, &c);
    EXPECT_EQ(allocations.Get(), 0U);
}

TEST(LxCPinholeCamera, ReducedParametersHaveAThirdOfTheColumns)
{
    LxCPinholeCamera camera;
    SetLens(camera, SLens());
    camera.GetIntrinsicParams()->SetNominalPrincipalPoint(300.0, 200.0);
    for (const double width : {1000.0, 1001.0}) {
        camera.GetIntrinsicParams()->SetImageSize(width, 494.0);
        camera.UpdateIntrinsicParamsReduced();
        const LxCPinholeCamera& constCamera = camera;
        const LxCIntrinsicParams& reduced = *constCamera.GetIntrinsicParamsReduced();
        EXPECT_EQ(reduced.GetExactImageWidth(), (width - 1.0) / 3.0);
        EXPECT_EQ(reduced.GetImageWidth(), 333);
        EXPECT_EQ(reduced.GetImageHeight(), 494);
        EXPECT_EQ(reduced.GetPixelPitchX(), 0.0075 * 3.0);
        EXPECT_EQ(reduced.GetPixelPitchY(), 0.0060);
        EXPECT_EQ(reduced.GetPrincipalPointX(), 110.0);
        EXPECT_EQ(reduced.GetPrincipalPointY(), 240.0);
        EXPECT_EQ(reduced.GetNominalPrincipalPointX(), 100.0);
        EXPECT_EQ(reduced.GetNominalPrincipalPointY(), 200.0);
        EXPECT_EQ(reduced.GetKappa2ICV(), -0.12);
        EXPECT_EQ(reduced.GetFocalLength(), 25.0);
    }
    EXPECT_EQ(camera.GetIntrinsicParams()->GetImageWidth(), 1001);
}

/// A camera with everything that a copy takes or leaves.
void FillCamera(LxCPinholeCamera& camera, const LxCPinholeCamera* master)
{
    SetLens(camera, SLens());
    camera.ReadFromEulerAnglesAndVector(0.1, 0.2, 0.3, 4.0, 5.0, 6.0);
    camera.SetMasterCam(master);
    camera.SetQualityThreshold(7.0);
    camera.MarkAsUncalibrated();
    camera.GetCalibState()->FinishedCalibrationSuccessful(L"bench");
    camera.MakeVirtual();
    camera.UpdateIntrinsicParamsReduced();
    CalibMarks marks = {new LxCCalibrationData(1, 2, 3, 4, 5, 6)};
    camera.AddCalibData(&marks, true);
    camera.PerformCalib(LxCPinholeCamera::eCalibMethodTsai, false, nullptr, 0, 0, 0, 0, false, 0, 0, nullptr);
    camera.GetTargetOrientation()[0].MakeTranslation(LxC3DCoordsCCT(7.0, 8.0, 9.0));
}

void ExpectCopied(const LxCPinholeCamera& copy, const LxCPinholeCamera& source,
                  const LxCPinholeCamera* master)
{
    EXPECT_TRUE(copy.IsCalibrated());
    EXPECT_EQ(copy.GetCalibTime(), source.GetCalibTime());
    EXPECT_EQ(copy.GetCalibState()->GetCalibInfos(), L"bench");
    EXPECT_EQ(copy.GetCalibState()->GetRevisionNumber(), LxCCalibState::sc_iRevisionNumber);
    EXPECT_TRUE(copy.IsVirtual());
    EXPECT_EQ(copy.GetQualityThreshold(), 7.0);
    double a = 0, b = 0, c = 0;
    copy.GetErrorStats(a, b, c);
    EXPECT_TRUE(a == 999.0 && b == 999.0 && c == 999.0);
    EXPECT_EQ(copy.GetMasterCam(), master);
    EXPECT_EQ(copy.GetT(0), 4.0);
    EXPECT_EQ(copy.GetRz(), source.GetRz());
    EXPECT_EQ(copy.GetIntrinsicParams()->GetFocalLength(), 25.0);
    EXPECT_EQ(copy.GetIntrinsicParams()->GetImageWidth(), 658);
    EXPECT_EQ(copy.GetNrOfMarks(), 0);
    EXPECT_EQ(copy.GetNrOfViews(), 0);
    ASSERT_EQ(copy.GetNrOfTargetOrientations(), 1U);
    EXPECT_NE(copy.GetTargetOrientation(), source.GetTargetOrientation());
    EXPECT_EQ(copy.GetTargetOrientation()[0].GetT(2), 9.0);
}

TEST(LxCPinholeCamera, CopiesTakeAllButMarksAndReducedParameters)
{
    LxCPinholeCamera master, source;
    FillCamera(source, &master);
    const LxCPinholeCamera constructed(source);
    LxCPinholeCamera assigned, copied;
    assigned.GetIntrinsicParamsReduced()->SetImageSize(77.0, 66.0);
    assigned = source;
    copied.CopyFrom(&source);
    ExpectCopied(constructed, source, &master);
    ExpectCopied(assigned, source, &master);
    ExpectCopied(copied, source, &master);
    EXPECT_EQ(constructed.GetIntrinsicParamsReduced()->GetImageWidth(), 0);
    EXPECT_EQ(assigned.GetIntrinsicParamsReduced()->GetImageWidth(), 77);
    EXPECT_EQ(source.GetNrOfMarks(), 1);
}

TEST(LxCPinholeCamera, CopyKeepsItsOwnMarks)
{
    LxCPinholeCamera source, target;
    FillCamera(source, nullptr);
    CalibMarks marks = {new LxCCalibrationData(9, 9, 9, 9, 9, 9), new LxCCalibrationData()};
    target.AddCalibData(&marks, true);
    target = source;
    EXPECT_EQ(target.GetNrOfMarks(), 2);
    EXPECT_EQ(source.GetNrOfMarks(), 1);
}

TEST(LxCPinholeCamera, NullAndItselfAsSourceChangeNothing)
{
    LxCPinholeCamera camera;
    FillCamera(camera, nullptr);
    camera.CopyFrom(nullptr);
    camera = *&camera;
    EXPECT_EQ(camera.GetNrOfMarks(), 1);
    EXPECT_EQ(camera.GetQualityThreshold(), 7.0);
    ASSERT_NE(camera.GetTargetOrientation(), nullptr);
    EXPECT_EQ(camera.GetTargetOrientation()[0].GetT(2), 9.0);
}

TEST(LxCPinholeCamera, CopyOfACameraWithoutViewsHasNoOrientations)
{
    LxCPinholeCamera source, target;
    FillCamera(source, nullptr);
    FillCamera(target, nullptr);
    source.RemoveAllCalibData(true);
    EXPECT_NE(source.GetTargetOrientation(), nullptr);
    target = source;
    EXPECT_EQ(target.GetTargetOrientation(), nullptr);

    FillCamera(target, nullptr);
    target = LxCPinholeCamera();
    EXPECT_EQ(target.GetTargetOrientation(), nullptr);
}

TEST(LxCPinholeCamera, CopyTakesOrientationsOfViewsThatHaveOne)
{
    // A second view after the orientations were made has none.
    LxCPinholeCamera source;
    FillCamera(source, nullptr);
    CalibMarks marks = {new LxCCalibrationData(1, 2, 3, 4, 5, 6)};
    source.AddCalibData(&marks, true);
    EXPECT_EQ(LxCPinholeCamera(source).GetNrOfTargetOrientations(), 1U);
}

ECalibError Calibrate(LxCPinholeCamera& camera, int method, bool preferTsai,
                      std::vector<LxCCoordSysTrans>* orientations)
{
    return camera.PerformCalib(static_cast<LxCPinholeCamera::ECalibMethod>(method), preferTsai, orientations,
                               1, 2, 3.0, 4, true, 5.0F, 6.0F, nullptr);
}

TEST(LxCPinholeCamera, EstimationAnswersByMethod)
{
    LxCPinholeCamera camera;
    camera.GetIntrinsicParams()->SetUseTsai(true);
    EXPECT_EQ(Calibrate(camera, 0, false, nullptr), 1);
    EXPECT_EQ(Calibrate(camera, 1, false, nullptr), 1);
    EXPECT_EQ(Calibrate(camera, 2, false, nullptr), 6);
    EXPECT_EQ(Calibrate(camera, 3, false, nullptr), 11);
    EXPECT_EQ(Calibrate(camera, -1, false, nullptr), 11);
    EXPECT_EQ(Calibrate(camera, 2, true, nullptr), 1);
    EXPECT_EQ(Calibrate(camera, 99, true, nullptr), 1);
    camera.GetIntrinsicParams()->SetUseTsai(false);
    EXPECT_EQ(Calibrate(camera, 2, true, nullptr), 6);
}

TEST(LxCPinholeCamera, EstimationMakesIdentityOrientationsOfAllViews)
{
    LxCPinholeCamera camera;
    SetLens(camera, SLens());
    for (int view = 0; view < 3; ++view) {
        CalibMarks marks = {new LxCCalibrationData(1, 2, 3, 4, 5, 6)};
        camera.AddCalibData(&marks, true);
    }
    std::vector<LxCCoordSysTrans> orientations(7);
    EXPECT_EQ(Calibrate(camera, 1, false, &orientations), eCalibNotDone);
    ASSERT_EQ(orientations.size(), 3U);
    ASSERT_EQ(camera.GetNrOfTargetOrientations(), 3U);
    for (std::size_t view = 0; view < 3; ++view) {
        EXPECT_TRUE(orientations[view].IsIdentity());
        EXPECT_TRUE(camera.GetTargetOrientation()[view].IsIdentity());
    }
    EXPECT_EQ(camera.GetIntrinsicParams()->GetFocalLength(), 25.0);
    camera.RemoveAllCalibData(true);
    EXPECT_EQ(camera.GetNrOfTargetOrientations(), 3U);
    EXPECT_EQ(Calibrate(camera, 1, false, &orientations), eCalibNotDone);
    EXPECT_TRUE(orientations.empty());
    EXPECT_NE(camera.GetTargetOrientation(), nullptr);
}

TEST(LxCPinholeCamera, DiagnosisOverAllPlatesDoesNothing)
{
    std::string text = "as it was";
    EXPECT_FALSE(LxCPinholeCamera().DebugObjectSpaceErrorStatsAllPlates(text, nullptr));
    EXPECT_EQ(text, "as it was");
}

/// Gives access to the text of a serializer.
class CTextSerializer : public LxCCCTSerializer
{
public:
    std::string GetText() { return GetStream().str(); }
};

std::string Store(LxCPinholeCamera& camera, const std::string& section)
{
    CTextSerializer serializer;
    serializer.Init(true, false);
    camera.Serialize(serializer, section);
    std::string text = serializer.GetText();
    serializer.Exit();
    return text;
}

void Load(LxCPinholeCamera& camera, const std::string& section, const std::string& text)
{
    LxCCCTSerializer serializer;
    std::stringstream stream(text);
    serializer.ReadFromStringStream(stream);
    serializer.Init(false, false);
    camera.Serialize(serializer, section);
}

TEST(LxCPinholeCamera, SectionsStandInTheirOrder)
{
    LxCPinholeCamera camera;
    FillCamera(camera, nullptr);
    std::istringstream lines(Store(camera, "::Cams[0]"));
    std::vector<std::string> keys;
    for (std::string line; std::getline(lines, line);) {
        while (!line.empty() && (line.back() == '\r' || line.back() == ' ')) {
            line.pop_back();
        }
        if (!line.empty() && line[0] != '#') {
            keys.push_back(line.substr(0, line.find('=')));
        }
    }
    const std::vector<std::string> expected = {"::Cams[0]",
                                               "Calibrated",
                                               "CalibTime",
                                               "CalibRevNumber",
                                               "CalibInfos",
                                               "::Cams[0]::CoordSysTrans",
                                               "Tx",
                                               "Ty",
                                               "Tz",
                                               "Rx",
                                               "Ry",
                                               "Rz",
                                               "::Cams[0]::IntrinsicParams",
                                               "Nfx"};
    ASSERT_GE(keys.size(), expected.size());
    keys.resize(expected.size());
    EXPECT_EQ(keys, expected);
}

TEST(LxCPinholeCamera, StoredCameraComesBack)
{
    LxCPinholeCamera camera, back;
    FillCamera(camera, nullptr);
    Load(back, "::Cams[0]", Store(camera, "::Cams[0]"));
    EXPECT_TRUE(back.IsCalibrated());
    EXPECT_EQ(back.GetCalibTime(), camera.GetCalibTime());
    EXPECT_NEAR(back.GetRx(), 0.1, 1e-12);
    EXPECT_NEAR(back.GetT(2), 6.0, 1e-12);
    EXPECT_NEAR(back.GetIntrinsicParams()->GetPixelPitchX(), 0.0075, 1e-12);
    EXPECT_TRUE(back.GetIntrinsicParams()->HasInverseDistLUT());
    // Not stored.
    EXPECT_EQ(back.GetQualityThreshold(), 2.0);
    EXPECT_FALSE(back.IsVirtual());
    EXPECT_EQ(back.GetIntrinsicParamsReduced()->GetImageWidth(), 0);
    double a = 1, b = 1, c = 1;
    back.GetErrorStats(a, b, c);
    EXPECT_TRUE(a == 0.0 && b == 0.0 && c == 0.0);
    double u = 0, v = 0, u2 = 0, v2 = 0;
    camera.WorldToDisImageCoords(1.0, 2.0, 100.0, &u, &v);
    back.WorldToDisImageCoords(1.0, 2.0, 100.0, &u2, &v2);
    EXPECT_NEAR(u2, u, 1e-6);
    EXPECT_NEAR(v2, v, 1e-6);
}

TEST(LxCPinholeCamera, TwoThreadsProjectWithTheTableThatReadingMade)
{
    LxCPinholeCamera stored, camera;
    FillCamera(stored, nullptr);
    stored.GetIntrinsicParams()->SetUseTsai(true);
    stored.GetIntrinsicParams()->SetKappas(0.0, 1e-3, 0.0, 1e-5);
    stored.MakeTranslation(LxC3DCoordsCCT(0.0, 0.0, 200.0));
    Load(camera, "::Cams[0]", Store(stored, "::Cams[0]"));
    const auto project = [&camera] {
        std::vector<double> pixels;
        for (int i = 0; i < 1000; ++i) {
            double u = 0, v = 0;
            camera.WorldToDisImageCoords(0.01 * i - 5.0, 0.005 * i, 0.0, &u, &v);
            pixels.insert(pixels.end(), {u, v});
        }
        return pixels;
    };
    const Logging::CCapture capture;
    std::vector<double> elsewhere;
    std::thread other([&] { elsewhere = project(); });
    const std::vector<double> here = project();
    other.join();
    EXPECT_EQ(here, elsewhere);
    EXPECT_LT(here.front(), here[1998]);
    EXPECT_TRUE(capture.GetRecords().empty()); // no table was made anew
}

TEST(LxCPinholeCamera, MissingSectionsLeaveTheIntrinsicParameters)
{
    LxCPinholeCamera camera;
    FillCamera(camera, nullptr);
    Load(camera, "::Cams[0]", "::Other\nNfx=5\n");
    EXPECT_TRUE(camera.IsCalibrated());
    EXPECT_EQ(camera.GetIntrinsicParams()->GetImageWidth(), 658);
    // A placement is read over the identity.
    EXPECT_TRUE(camera.IsIdentity());
}

} // namespace
} // namespace LxCV
