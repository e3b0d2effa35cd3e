#include "lxcpinholeframework.h"

#include "orx/logging/logger.h"
#include "tests/lxcvlib/allocationcount.h"
#include "tests/lxcvlib/cameramodel.h"
#include "tests/lxcvlib/frameworkprobe.h"

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <climits>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <thread>
#include <vector>

namespace LxCV {
namespace {

using TestSupport::CCameraModel;
using TestSupport::CFrameworkProbe;
using TestSupport::CXYZ;
using TestSupport::EdgeXYZ;

constexpr double c_dNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double c_dInfinity = std::numeric_limits<double>::infinity();

void ExpectZero(const CXYZ& p)
{
    EXPECT_EQ(p.x, 0.0);
    EXPECT_EQ(p.y, 0.0);
    EXPECT_EQ(p.z, 0.0);
}

void ExpectSame(const CXYZ& a, const CXYZ& b)
{
    EXPECT_EQ(a.x, b.x);
    EXPECT_EQ(a.y, b.y);
    EXPECT_EQ(a.z, b.z);
}

// mm. The local plane's two points are two slide units apart, 2e-4 of their distance, so that rounding of 1e-16
// turns the plane by 1e-12 and moves a point 100 mm away, at a baseline of 7 mm, by some 1e-9. The weights between
// depth patches are computed in float: 1e-7 of steps of up to 5 slide units, 0.01 mm of depth each.
constexpr double c_dModelTolerance = 5e-8;

void ExpectAgreementWithRaysAndNormals(bool useTsai)
{
    std::mt19937_64 random(useTsai ? 11 : 12);
    std::uniform_real_distribution<double> col(0.0, 657.0);
    std::uniform_real_distribution<double> row(0.0, 493.0);
    int compared = 0;
    for (int trial = 0; trial < 24; ++trial) {
        const CCameraModel model = TestSupport::RandomModel(random, useTsai);
        const CFrameworkProbe framework(model);
        ASSERT_TRUE(framework.IsCalibrated());
        for (int point = 0; point < 250; ++point) {
            const double u = col(random);
            const double v = row(random);
            const int edge = 1 + static_cast<int>(random() % static_cast<unsigned>(model.NumEdges() - 1));
            const auto expected = TestSupport::Triangulate(model, u, v, edge);
            const bool inReach = expected.inCamera[2] > 10.0L && expected.inCamera[2] < 100.0L;
            if (!inReach || expected.patchMargin < 1e-3L) {
                continue;
            }
            ++compared;
            const CXYZ inCamera = EdgeXYZ(framework, u, v, edge, true);
            const CXYZ inWorld = EdgeXYZ(framework, u, v, edge, false);
            const double computed[6] = {inCamera.x, inCamera.y, inCamera.z, inWorld.x, inWorld.y, inWorld.z};
            for (std::size_t i = 0; i < 6; ++i) {
                const auto truth = i < 3 ? expected.inCamera[i] : expected.inWorld[i - 3];
                ASSERT_NEAR(computed[i], static_cast<double>(truth), c_dModelTolerance)
                    << "trial " << trial << " pixel " << u << " " << v << " edge " << edge << " axis " << i;
            }
        }
    }
    EXPECT_GT(compared, 2000);
}

TEST(Triangulation, AgreesWithRaysAndNormalsForRadialAndTangentialLenses)
{
    ExpectAgreementWithRaysAndNormals(false);
}

TEST(Triangulation, AgreesWithRaysAndNormalsForTsaiLenses)
{
    ExpectAgreementWithRaysAndNormals(true);
}

TEST(Triangulation, IsExactForAHandMadeGeometry)
{
    // Pinholes without distortion, parallel axes, the projector 10 mm along -y: camera y = z ux / f, the sheet of
    // slide row v leaves (0, -10, 0) with slope s = (v - 3500) 0.001 / 10. It meets the pixel row with slope
    // w = (row - 240) 0.01 / 10 at z = 10 / (s - w).
    CCameraModel model = TestSupport::PlainModel();
    model.camera.cx = 320.0;
    model.camera.cy = 240.0;
    model.camera.pitchX = model.camera.pitchY = 0.01;
    model.camera.f = 10.0;
    model.projector.cx = model.projector.cy = 3500.0;
    model.projector.f = 10.0;
    model.projector.r = {};
    model.projector.t = {0.0, 10.0, 0.0};
    model.camera.t = {1.0, 2.0, 3.0};
    const CFrameworkProbe framework(model);
    // Edge 121 is slide row 6000, s = 0.25; image row 290 has w = 0.05: z = 50, y = 2.5. Column 220 has slope -0.1.
    constexpr double tolerance = 1e-9; // mm, see c_dModelTolerance
    const CXYZ inCamera = EdgeXYZ(framework, 220.0, 290.0, 121, true);
    EXPECT_NEAR(inCamera.x, -5.0, tolerance);
    EXPECT_NEAR(inCamera.y, 2.5, tolerance);
    EXPECT_NEAR(inCamera.z, 50.0, tolerance);
    const CXYZ inWorld = EdgeXYZ(framework, 220.0, 290.0, 121, false);
    EXPECT_NEAR(inWorld.x, -6.0, tolerance);
    EXPECT_NEAR(inWorld.y, 0.5, tolerance);
    EXPECT_NEAR(inWorld.z, 47.0, tolerance);
    EXPECT_NEAR(framework.ComputeEdgeDepth(220.0, 290.0, 121, false, false), 47.0, tolerance);
}

/// Which lens the camera and the projector have.
enum class ELens
{
    eTsai,
    eTangential, ///< undistorted by iteration
    eRadial      ///< undistorted by table
};

class CFrameworkOfLens : public CFrameworkProbe
{
public:
    CFrameworkOfLens(const CCameraModel& model, ELens lens) : CFrameworkProbe(model)
    {
        GetCamera()->GetIntrinsicParams()->SetUseTau(lens != ELens::eRadial);
        GetProjector()->GetIntrinsicParams()->SetUseTau(lens != ELens::eRadial);
        CalibStatusChanged(0, std::numeric_limits<int>::max(), true, true, true);
    }
};

struct CSlidePlace
{
    double col;
    double row;
    double slideRow; ///< where the edge lies at this place
};

/// Where on the slide the ray of a pixel meets the nominal plane of an edge, and the edge's row there: one call of
/// camera, projector or pattern at a time.
CSlidePlace SlidePlaceStepByStep(const LxCPinholeFramework& framework, double col, double row, int edge)
{
    const LxCPinholeCamera& camera = *framework.GetCamera();
    const LxCPatternProjector& projector = *framework.GetProjector();
    const LxCStripePattern& pattern = *framework.GetCLPattern();
    const auto index = static_cast<std::size_t>(edge);
    double ux = 0.0;
    double uy = 0.0;
    camera.DisImageToUndisSensorCoords(col, row, &ux, &uy);
    const double z0 = std::abs(framework.GetEdgePlanes()[index].Intersect(ux, uy));
    const double inverse = camera.GetIntrinsicParams()->GetFocalLengthInvers();
    double wx = 0.0;
    double wy = 0.0;
    double wz = 0.0;
    camera.LocalToWorldCoords(z0 * ux * inverse, z0 * uy * inverse, z0, &wx, &wy, &wz);
    double px = 0.0;
    double py = 0.0;
    double pz = 0.0;
    projector.WorldToLocalCoords(wx, wy, wz, &px, &py, &pz);
    CSlidePlace place{};
    projector.CameraToDisImageCoords(px, py, pz, &place.col, &place.row);
    place.slideRow = pattern.GetNumPatches() > 0 ? pattern.GetCalibratetPosition(edge, place.col, pz)
                                                 : pattern.GetNominalEdgePositions()[index];
    return place;
}

/// The point of a pixel in the plane through the projector's centre and two columns of a slide row, one call of
/// camera or projector at a time.
CXYZ PointStepByStep(const LxCPinholeFramework& framework, double col, double row, const CSlidePlace& place,
                     bool camCoords)
{
    const LxCPinholeCamera& camera = *framework.GetCamera();
    const LxCPatternProjector& projector = *framework.GetProjector();
    const LxCIntrinsicParams& intrinsics = *camera.GetIntrinsicParams();
    double ux = 0.0;
    double uy = 0.0;
    camera.DisImageToUndisSensorCoords(col, row, &ux, &uy);
    LxC3DCoordsCCT p0;
    projector.LocalToLocalCoords(&camera, 0.0, 0.0, 0.0, &p0.x, &p0.y, &p0.z);
    const auto spanTo = [&](double projCol) {
        double x = 0.0;
        double y = 0.0;
        projector.DisImageToCameraCoords(projCol, place.slideRow, 30.0, &x, &y);
        LxC3DCoordsCCT p;
        projector.LocalToLocalCoords(&camera, x, y, 30.0, &p.x, &p.y, &p.z);
        return LxC3DCoordsCCT(p.x - p0.x, p.y - p0.y, p.z - p0.z);
    };
    const LxC3DCoordsCCT d1 = spanTo(place.col - 1.0);
    const LxC3DCoordsCCT d2 = spanTo(place.col + 1.0);
    const double det = d1.x * d2.z - d2.x * d1.z;
    const double m = (d1.y * d2.z - d2.y * d1.z) / det;
    const double n = -(d1.y * d2.x - d2.y * d1.x) / det;
    const double f = intrinsics.GetFocalLength();
    const double z = (p0.y - m * p0.x - n * p0.z) * f / (uy - m * ux - n * f);
    CXYZ p{z * intrinsics.GetFocalLengthInvers() * ux, z * intrinsics.GetFocalLengthInvers() * uy, z};
    framework.GetPolynomKoma()->CorrectPoint(&p.x, &p.y, &p.z);
    if (!camCoords) {
        camera.LocalToWorldCoords(p.x, p.y, p.z, &p.x, &p.y, &p.z);
    }
    return p;
}

bool IsSameBitForBit(const CXYZ& a, const CXYZ& b)
{
    const auto bits = [](double value) { return std::bit_cast<std::uint64_t>(value); };
    return bits(a.x) == bits(b.x) && bits(a.y) == bits(b.y) && bits(a.z) == bits(b.z);
}

TEST(Triangulation, EqualsItsStepsOneByOneBitForBit)
{
    std::mt19937_64 random(5);
    for (int trial = 0; trial < 24; ++trial) {
        const ELens lens = std::array{ELens::eTsai, ELens::eTangential, ELens::eRadial}[trial % 3];
        CCameraModel model = TestSupport::RandomModel(random, lens == ELens::eTsai);
        if (trial % 4 == 0) {
            model.numPatches = model.numPatchesDepth = 0;
            model.rows.clear();
        }
        const CFrameworkOfLens framework(model, lens);
        ASSERT_TRUE(framework.IsCalibrated());
        for (int point = 0; point < 200; ++point) {
            const double col =
                static_cast<double>(random() % 42112) / 64.0; // pixels in steps of an edge word
            const double row = static_cast<double>(random() % 31616) / 64.0;
            const int edge = static_cast<int>(random() % 140U);
            const bool camCoords = point % 2 == 0;
            const CSlidePlace place = SlidePlaceStepByStep(framework, col, row, edge);
            const CXYZ expected = PointStepByStep(framework, col, row, place, camCoords);
            CXYZ ofPlace{};
            framework.ComputeEdgeXYZSubEdge(col, row, place.col, place.row, place.slideRow, camCoords,
                                            &ofPlace.x, &ofPlace.y, &ofPlace.z, false);
            ASSERT_TRUE(IsSameBitForBit(ofPlace, expected))
                << trial << " " << col << " " << row << " " << edge;
            ASSERT_TRUE(IsSameBitForBit(EdgeXYZ(framework, col, row, edge, camCoords), expected))
                << trial << " " << col << " " << row << " " << edge;
        }
    }
}

TEST(Triangulation, OfAKnownSlidePlaceIgnoresSlideRowOfTheEstimateAndMarks)
{
    const CFrameworkProbe framework(TestSupport::PlainModel());
    CXYZ a{};
    CXYZ b{};
    framework.ComputeEdgeXYZSubEdge(300.0, 200.0, 1750.0, 3450.0, 3450.0, true, &a.x, &a.y, &a.z, false);
    framework.ComputeEdgeXYZSubEdge(300.0, 200.0, 1750.0, c_dNaN, 3450.0, true, &b.x, &b.y, &b.z, true);
    EXPECT_GT(a.z, 1.0);
    ExpectSame(a, b);
}

TEST(Triangulation, CorrectsComaInCameraCoordinatesBeforeTheWorldFrame)
{
    CCameraModel model = TestSupport::PlainModel();
    model.camera.t = {1.0, 2.0, 3.0};
    const CFrameworkProbe plain(model);
    model.useKoma = true;
    model.koma[0] = 0.01; // x, constant
    model.koma[20] = 1.0; // z, constant, beyond the limit of 0.025
    const CFrameworkProbe corrected(model);
    const CXYZ before = EdgeXYZ(plain, 300.0, 200.0, 70, true);
    const CXYZ after = EdgeXYZ(corrected, 300.0, 200.0, 70, true);
    EXPECT_EQ(after.x, before.x - 0.01);
    EXPECT_EQ(after.y, before.y);
    EXPECT_EQ(after.z, before.z - 0.025);
    const CXYZ world = EdgeXYZ(corrected, 300.0, 200.0, 70, false);
    constexpr double tolerance = 1e-13; // mm; roundings of values below 100
    EXPECT_NEAR(world.z, after.z - 3.0, tolerance);
}

TEST(Triangulation, GivesZeroWhileTheCameraIsNotCalibrated)
{
    CCameraModel model = TestSupport::PlainModel();
    model.camera.calibrated = false;
    const CFrameworkProbe framework(model);
    ExpectZero(EdgeXYZ(framework, 300.0, 200.0, 70, true));
    EXPECT_EQ(framework.ComputeEdgeDepth(300.0, 200.0, 70, true, false), 0.0);
    CXYZ p{1.0, 1.0, 1.0};
    framework.ComputeEdgeXYZSubEdge(300.0, 200.0, 3500.0, 3450.0, 3450.0, true, &p.x, &p.y, &p.z, false);
    ExpectZero(p);
}

TEST(Triangulation, GivesZeroForEdgesWithoutLightPlane)
{
    const CFrameworkProbe framework(TestSupport::PlainModel());
    ASSERT_EQ(framework.GetEdgePlanes().size(), 140U);
    EXPECT_GT(framework.ComputeEdgeDepth(300.0, 200.0, 139, true, false), 0.0);
    for (const int edge : {-1, 140, 4095, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()}) {
        ExpectZero(EdgeXYZ(framework, 300.0, 200.0, edge, true));
        ExpectZero(EdgeXYZ(framework, 300.0, 200.0, edge, false, true));
    }
}

TEST(Triangulation, GivesZeroForEdgesThatThePatternLost)
{
    CFrameworkProbe framework(TestSupport::PlainModel());
    LxCStripePattern small;
    *framework.GetCLPattern() = small;
    ExpectZero(EdgeXYZ(framework, 300.0, 200.0, 70, true));
}

TEST(Triangulation, LeavesOutEdgesNearMarksOnRequest)
{
    // Stripe 74 bears marks at slide columns 1750, 3500 and 5250, each 100 wide to both sides.
    const CCameraModel model = TestSupport::PlainModel();
    const CFrameworkProbe framework(model);
    int blanked = 0;
    for (int col = 0; col < 658; ++col) {
        const auto direction = TestSupport::DirectionFromImage(model.camera, col, 240.0);
        const auto point = TestSupport::PointOnSlideLine(model, direction, 1750.0L, 5250.0L, 73.0L * 50.0L);
        const auto slideCol = static_cast<double>(TestSupport::ImageFromPoint(
            model.projector, TestSupport::InnerFromOuter(model.projector, point))[0]);
        bool onMark = false;
        for (const double mark : {1750.0, 3500.0, 5250.0}) {
            onMark = onMark || std::abs(slideCol - mark) < 100.0;
        }
        blanked += onMark ? 1 : 0;
        EXPECT_EQ(EdgeXYZ(framework, col, 240.0, 74, true, true).z == 0.0, onMark) << col;
        EXPECT_GT(EdgeXYZ(framework, col, 240.0, 74, true, false).z, 0.0) << col;
        EXPECT_GT(EdgeXYZ(framework, col, 240.0, 73, true, true).z, 0.0) << col;
    }
    EXPECT_GT(blanked, 30);
}

TEST(Triangulation, OfManyEdgesAtOnceIsThatOfEachBitForBit)
{
    std::mt19937_64 random(77);
    for (int trial = 0; trial < 20; ++trial) {
        const CFrameworkProbe framework(TestSupport::RandomModel(random, trial % 2 == 0));
        const double col = static_cast<double>(random() % 6580) / 10.0;
        const double row = static_cast<double>(random() % 4940) / 10.0;
        const bool camCoords = trial % 3 == 0;
        for (const int first : {0, 70, -3, 138, 4095, INT_MAX, INT_MIN}) {
            std::vector<LxC3DCoordsCCT> points(150, LxC3DCoordsCCT(1.0, 2.0, 3.0));
            framework.ComputeEdgesXYZ(col, row, first, camCoords, points, true);
            for (std::size_t i = 0; i < points.size(); ++i) {
                const std::int64_t edge = first + static_cast<std::int64_t>(i);
                const bool isInt = edge <= INT_MAX;
                const CXYZ expected =
                    isInt ? EdgeXYZ(framework, col, row, static_cast<int>(edge), camCoords, true) : CXYZ{};
                ExpectSame({points[i].x, points[i].y, points[i].z}, expected);
            }
        }
    }
}

TEST(Triangulation, TakesTheMarksFromItsThresholds)
{
    CFrameworkProbe framework(TestSupport::PlainModel());
    LxCCProjSlideCalibThres& thres = *framework.GetProjCalibThres();
    thres.m_viCalibMarkPos = {60};
    thres.m_viBlankOutMarkerPos = {3500};
    thres.m_iBlankOutMarkerWidth = 10000;
    EXPECT_EQ(framework.ComputeEdgeDepth(300.0, 240.0, 60, true, true), 0.0);
    EXPECT_EQ(framework.ComputeEdgeDepth(300.0, 240.0, 61, true, true), 0.0);
    EXPECT_GT(framework.ComputeEdgeDepth(300.0, 240.0, 62, true, true), 0.0);
}

TEST(Triangulation, ReadsNothingOutOfBoundsForAnyPixel)
{
    std::mt19937_64 random(3);
    for (const bool useTsai : {false, true}) {
        const CFrameworkProbe framework(TestSupport::RandomModel(random, useTsai));
        for (const double at : {c_dNaN, c_dInfinity, -c_dInfinity, 1e300, -1e300, 1e9, -1e9, 0.0}) {
            for (const int edge : {0, 1, 70, 139}) {
                for (const bool skip : {false, true}) {
                    EdgeXYZ(framework, at, 100.0, edge, true, skip);
                    EdgeXYZ(framework, 100.0, at, edge, false, skip);
                    CXYZ p{};
                    framework.ComputeEdgeXYZSubEdge(100.0, 100.0, at, 0.0, at, false, &p.x, &p.y, &p.z, skip);
                }
            }
        }
    }
}

TEST(Triangulation, DepthOfARayInAPlaneSolvesTheThreeEquations)
{
    const CFrameworkProbe framework;
    std::mt19937_64 random(8);
    std::uniform_real_distribution<double> value(-1.0, 1.0);
    for (int trial = 0; trial < 5000; ++trial) {
        const LxC3DCoordsCCT p0(value(random) * 10.0, value(random) * 10.0, value(random) * 10.0);
        const LxC3DCoordsCCT d1(value(random), value(random), value(random));
        const LxC3DCoordsCCT d2(value(random), value(random), value(random));
        const LxC3DCoordsCCT ray(value(random), value(random), 8.0);
        // Cramer's rule for t in p0 + a d1 + b d2 = t ray.
        const double volume = d1.CrossProduct(d2).Dot(ray);
        const double det = d1.x * d2.z - d2.x * d1.z;
        if (std::abs(volume) < 0.05 || std::abs(det) < 0.01) {
            continue;
        }
        const double expected = d1.CrossProduct(d2).Dot(p0) / volume * 8.0;
        // Some 20 roundings, enlarged by the two small divisors that are let through.
        const double tolerance = 20 * 1.2e-16 * (1.0 + std::abs(expected)) * 30.0 / (0.05 * 0.01);
        ASSERT_NEAR(framework.AuxComputeDepth(p0, d1, d2, ray.x, ray.y, 8.0), expected, tolerance) << trial;
    }
}

TEST(Triangulation, DepthInAPlaneAlongTheYAxisIsTheLowestDouble)
{
    const CFrameworkProbe framework;
    const LxC3DCoordsCCT origin;
    EXPECT_EQ(framework.AuxComputeDepth(origin, {1.0, 0.0, 2.0}, {0.0, 1.0, 0.0}, 0.1, 0.2, 8.0),
              -1.7976931348623157e308);
}

TEST(Triangulation, BringsARayOfOneDeviceIntoAnotherFrameOrTheWorld)
{
    CCameraModel model = TestSupport::PlainModel();
    model.camera.t = {1.0, 2.0, 3.0};
    const CFrameworkProbe framework(model);
    const auto expected = TestSupport::OuterFromInner(
        model.projector, 30.0L * TestSupport::DirectionFromImage(model.projector, 1000.0, 2000.0));
    constexpr double tolerance = 1e-12; // mm; roundings of values below 100
    double x = 0.0;
    double y = 0.0;
    double z = 0.0;
    framework.AuxTrafoProjImgToCamCoords(framework.GetProjector(), framework.GetCamera(), 1000.0, 2000.0,
                                         30.0, &x, &y, &z);
    EXPECT_NEAR(x, static_cast<double>(expected[0]), tolerance);
    EXPECT_NEAR(y, static_cast<double>(expected[1]), tolerance);
    EXPECT_NEAR(z, static_cast<double>(expected[2]), tolerance);
    // Null stands for the world, from the camera, which is a root, as from the projector: the world is the camera's
    // frame moved by (-1, -2, -3).
    framework.AuxTrafoProjImgToCamCoords(framework.GetProjector(), nullptr, 1000.0, 2000.0, 30.0, &x, &y, &z);
    EXPECT_NEAR(x, static_cast<double>(expected[0]) - 1.0, tolerance);
    EXPECT_NEAR(y, static_cast<double>(expected[1]) - 2.0, tolerance);
    EXPECT_NEAR(z, static_cast<double>(expected[2]) - 3.0, tolerance);
    framework.AuxTrafoProjImgToCamCoords(framework.GetCamera(), nullptr, 331.0, 245.0, 30.0, &x, &y, &z);
    EXPECT_NEAR(x, -1.0, tolerance);
    EXPECT_NEAR(y, -2.0, tolerance);
    EXPECT_NEAR(z, 27.0, tolerance);
}

TEST(Triangulation, AllocatesNothing)
{
    std::mt19937_64 random(4);
    for (const bool useTsai : {false, true}) {
        const CFrameworkProbe framework(TestSupport::RandomModel(random, useTsai));
        double sum = 0.0;
        const AllocationCount allocations;
        for (int i = 0; i < 2000; ++i) {
            const int edge = framework.UnwrapStripeId(i, i % 494);
            sum += framework.ComputeEdgeDepth(i % 658, i % 494, edge, i % 2 == 0, i % 3 == 0);
            CXYZ p{};
            framework.ComputeEdgeXYZSubEdge(i % 658, i % 494, i, i, i, true, &p.x, &p.y, &p.z, false);
            sum += p.z;
        }
        EXPECT_EQ(allocations.Get(), 0U);
        EXPECT_TRUE(std::isfinite(sum));
    }
}

TEST(Triangulation, RebuildsNoTableOfALensOnceTheModelIsReady)
{
    // Far off the image and off the slide, where no table reaches; other threads may be reading it.
    const CFrameworkOfLens framework(TestSupport::PlainModel(), ELens::eRadial);
    ASSERT_TRUE(framework.IsCalibrated());
    const Logging::CCapture log;
    CXYZ p{};
    framework.ComputeEdgeXYZSubEdge(1e6, 200.0, 1e6, 0.0, 3450.0, true, &p.x, &p.y, &p.z, false);
    constexpr const wchar_t* channel = L"ORX.Lumorad.LxCIntrinsicParams";
    EXPECT_EQ(log.Count(Logging::ELevel::eError, channel, L"LxCIntrinsicParams::LookupInverseDist failed"),
              3);
    EXPECT_EQ(log.Count(Logging::ELevel::eInfo, channel,
                        L"LxCIntrinsicParams::LookupInverseDist: recalculate inverse dist lut with "
                        L"c_dSafetyFactor = 2.0"),
              0);
}

TEST(Triangulation, GivesTheSameOnTwoThreads)
{
    std::mt19937_64 random(6);
    const CFrameworkProbe framework(TestSupport::RandomModel(random, false));
    const auto sweep = [&framework] {
        std::vector<double> depths;
        for (int row = 0; row < 494; row += 13) {
            for (int col = 0; col < 658; col += 17) {
                depths.push_back(
                    framework.ComputeEdgeDepth(col, row, framework.UnwrapStripeId(col, row), false, true));
            }
        }
        return depths;
    };
    std::vector<double> other;
    std::thread thread([&] { other = sweep(); });
    const std::vector<double> own = sweep();
    thread.join();
    EXPECT_EQ(own, other);
}

} // namespace
} // namespace LxCV
