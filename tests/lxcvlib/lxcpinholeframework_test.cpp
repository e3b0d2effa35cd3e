#include "lxcpinholeframework.h"

#include "lxclxcvlibsettings.h"
#include "orx/logging/logger.h"
#include "tests/lxcvlib/cameramodel.h"
#include "tests/lxcvlib/frameworkprobe.h"
#include "tests/lxcvlib/grabberprobe.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

namespace LxCV {
namespace {

using Logging::ELevel;
using TestSupport::CCameraModel;
using TestSupport::CFrameworkProbe;
using TestSupport::PlainModel;

constexpr const wchar_t* c_sChannel = L"ORX.Lumorad.LxCPinholeFramework";
constexpr int c_iAllEdges = 0x7FFFFFFF;
constexpr int c_iNoEdge = 4095;

using Table = std::vector<std::vector<std::int32_t>>;

static_assert(!std::is_copy_constructible_v<LxCPinholeFramework>);
static_assert(!std::is_copy_assignable_v<LxCPinholeFramework>);
static_assert(std::has_virtual_destructor_v<LxCPinholeFramework>);

// ------------------------------------------------------------------------------------------------- construction

TEST(LxCPinholeFramework, IsAtFirstUncalibratedAndEmpty)
{
    const LxCPinholeFramework framework;
    EXPECT_FALSE(framework.IsCalibrated());
    EXPECT_TRUE(framework.GetEdgePlanes().empty());
    EXPECT_TRUE(framework.GetRoiIgnore().empty());
    EXPECT_TRUE(std::isnan(framework.GetMinZc()));
    EXPECT_TRUE(std::isnan(framework.GetMaxZw()));
    EXPECT_EQ(framework.UnwrapStripeId(5, 100.0), c_iNoEdge);
    ASSERT_NE(framework.GetCamera(), nullptr);
    EXPECT_FALSE(framework.GetCamera()->IsCalibrated());
}

TEST(LxCPinholeFramework, MakesTheCameraTheProjectorsMaster)
{
    LxCPinholeFramework framework;
    EXPECT_EQ(framework.GetProjector()->GetMasterCam(), framework.GetCamera());
    EXPECT_EQ(framework.GetCLPattern(), framework.GetProjector()->GetCLPattern());
}

TEST(LxCPinholeFramework, NumbersItsReturnCodes)
{
    EXPECT_EQ(static_cast<int>(LxCPinholeFramework::eOk), 0);
    EXPECT_EQ(static_cast<int>(LxCPinholeFramework::eNotCalibrated), 1);
    EXPECT_EQ(static_cast<int>(LxCPinholeFramework::eInvalidPattern), 2);
    EXPECT_EQ(static_cast<int>(LxCPinholeFramework::eImageSizeMismatch), 3);
}

// ------------------------------------------------------------------------------------------------------- status

CCameraModel LargerSensorModel()
{
    CCameraModel model = PlainModel();
    model.camera.width = 660.0;
    model.camera.height = 496.0;
    return model;
}

TEST(GetStatus, RefusesAnInvalidPatternFirst)
{
    const Logging::CCapture log;
    EXPECT_EQ(LxCPinholeFramework().GetStatus(658, 494), LxCPinholeFramework::eInvalidPattern);
    EXPECT_EQ(log.Count(ELevel::eError, c_sChannel, L"Error: CMV3DCam::GetStatus(): Invalid Pattern.\n"), 1);
    EXPECT_EQ(log.Count(ELevel::eError, c_sChannel, L"Error: CMV3DCam::GetStatus(): Not Calibrated.\n"), 0);
}

TEST(GetStatus, RefusesAModelThatIsNotCalibrated)
{
    CCameraModel model = PlainModel();
    model.projector.calibrated = false;
    const CFrameworkProbe framework(model);
    const Logging::CCapture log;
    EXPECT_EQ(framework.GetStatus(1, 1), LxCPinholeFramework::eNotCalibrated);
    EXPECT_EQ(log.Count(ELevel::eError, c_sChannel, L"Error: CMV3DCam::GetStatus(): Not Calibrated.\n"), 1);
}

TEST(GetStatus, AcceptsTheCalibratedSizeSilently)
{
    const CFrameworkProbe framework(LargerSensorModel());
    const Logging::CCapture log;
    EXPECT_EQ(framework.GetStatus(660, 496), LxCPinholeFramework::eOk);
    EXPECT_TRUE(log.GetRecords().empty());
    EXPECT_EQ(framework.GetCamera()->GetIntrinsicParams()->GetPrincipalPointX(), 331.0);
}

TEST(GetStatus, TakesTheConvertedSizeOfAGrabber)
{
    const CFrameworkProbe framework(LargerSensorModel());
    TestSupport::CPlainGrabber grabber;
    grabber.GetReqs()->setWidth(660);
    grabber.GetReqs()->setHeight(496);
    const Logging::CCapture log;
    EXPECT_EQ(framework.GetStatus(&grabber), LxCPinholeFramework::eOk);
    EXPECT_TRUE(log.GetRecords().empty());
    grabber.GetReqs()->setWidth(640);
    EXPECT_EQ(framework.GetStatus(&grabber), LxCPinholeFramework::eImageSizeMismatch);
    EXPECT_EQ(log.GetRecords().size(), 1U);
    EXPECT_EQ(framework.GetStatus(nullptr), LxCPinholeFramework::eImageSizeMismatch);
}

TEST(GetStatus, RefusesAnUnfitModelBeforeItLooksAtAGrabber)
{
    const TestSupport::CPlainGrabber grabber;
    CCameraModel model = PlainModel();
    model.projector.calibrated = false;
    for (const LxAFrameGrabber* source :
         {static_cast<const LxAFrameGrabber*>(&grabber), static_cast<const LxAFrameGrabber*>(nullptr)}) {
        const Logging::CCapture log;
        EXPECT_EQ(LxCPinholeFramework().GetStatus(source), LxCPinholeFramework::eInvalidPattern);
        EXPECT_EQ(CFrameworkProbe(model).GetStatus(source), LxCPinholeFramework::eNotCalibrated);
        EXPECT_EQ(log.Count(ELevel::eError, c_sChannel, L"Error: CMV3DCam::GetStatus(): Invalid Pattern.\n"),
                  1);
        EXPECT_EQ(log.Count(ELevel::eError, c_sChannel, L"Error: CMV3DCam::GetStatus(): Not Calibrated.\n"),
                  1);
    }
}

TEST(GetStatus, CutsALargerSensorWindowOnce)
{
    const CFrameworkProbe framework(LargerSensorModel());
    const LxCIntrinsicParams& intrinsics = *framework.GetCamera()->GetIntrinsicParams();
    for (int call = 0; call < 2; ++call) {
        EXPECT_EQ(framework.GetStatus(658, 494), LxCPinholeFramework::eOk);
        EXPECT_EQ(intrinsics.GetExactImageWidth(), 658.0);
        EXPECT_EQ(intrinsics.GetExactImageHeight(), 494.0);
        EXPECT_EQ(intrinsics.GetPrincipalPointX(), 331.0 - 3.0);
        EXPECT_EQ(intrinsics.GetPrincipalPointY(), 245.0 - 2.0);
    }
}

TEST(GetStatus, RefusesAnotherWidth)
{
    const CFrameworkProbe framework(LargerSensorModel());
    const Logging::CCapture log;
    EXPECT_EQ(framework.GetStatus(640, 480), LxCPinholeFramework::eImageSizeMismatch);
    EXPECT_EQ(
        log.Count(ELevel::eError, c_sChannel, L"Non matching image dimensions (width) for the camera!\n"), 1);
    EXPECT_EQ(framework.GetCamera()->GetIntrinsicParams()->GetExactImageWidth(), 660.0);
}

TEST(GetStatus, RefusesAnotherHeightAfterCuttingTheWidth)
{
    const CFrameworkProbe framework(LargerSensorModel());
    const Logging::CCapture log;
    EXPECT_EQ(framework.GetStatus(658, 480), LxCPinholeFramework::eImageSizeMismatch);
    EXPECT_EQ(
        log.Count(ELevel::eError, c_sChannel, L"Non matching image dimensions (height) for the camera!\n"),
        1);
    EXPECT_EQ(framework.GetCamera()->GetIntrinsicParams()->GetExactImageWidth(), 658.0);
    EXPECT_EQ(framework.GetCamera()->GetIntrinsicParams()->GetPrincipalPointX(), 328.0);
    EXPECT_EQ(framework.GetCamera()->GetIntrinsicParams()->GetExactImageHeight(), 496.0);
}

TEST(GetStatus, AcceptsAnySizeOfACameraWithoutOne)
{
    CCameraModel model = PlainModel();
    model.camera.width = 0.0;
    model.camera.height = 0.0;
    const CFrameworkProbe framework(model);
    EXPECT_EQ(framework.GetStatus(640, 480), LxCPinholeFramework::eOk);
    EXPECT_EQ(framework.GetStatus(658, 494), LxCPinholeFramework::eOk);
    EXPECT_EQ(framework.GetCamera()->GetIntrinsicParams()->GetPrincipalPointX(), 331.0);
}

// ------------------------------------------------------------------------------------------------- light planes

/// The edges whose planes a call built: a plane that was not built has a zero normal.
std::vector<int> BuiltPlanes(CFrameworkProbe& framework, int minEdge, int maxEdge)
{
    CFrameworkProbe fresh;
    *fresh.GetCamera() = *framework.GetCamera();
    *fresh.GetProjector() = *framework.GetProjector();
    fresh.GetProjector()->SetMasterCam(fresh.GetCamera());
    EXPECT_TRUE(fresh.PrepareLightPlanes(minEdge, maxEdge));
    std::vector<int> built;
    for (std::size_t i = 0; i < fresh.GetEdgePlanes().size(); ++i) {
        if (fresh.GetEdgePlanes()[i].IsValid()) {
            built.push_back(static_cast<int>(i));
        }
    }
    return built;
}

std::vector<int> Range(int first, int end)
{
    std::vector<int> range;
    for (int i = first; i < end; ++i) {
        range.push_back(i);
    }
    return range;
}

CCameraModel ModelWithEdges(int edges)
{
    CCameraModel model = PlainModel();
    model.patternHeight = edges * model.stripeWidth;
    return model;
}

TEST(PrepareLightPlanes, BuildsTheRangeAroundTheMiddleOfThePattern)
{
    CFrameworkProbe framework(ModelWithEdges(122));
    EXPECT_EQ(BuiltPlanes(framework, 80, 60), Range(0, 0));
    EXPECT_EQ(BuiltPlanes(framework, 25, 122), Range(25, 122));
    EXPECT_EQ(BuiltPlanes(framework, 80, 90), Range(70, 90));
    EXPECT_EQ(BuiltPlanes(framework, 60, 65), Range(60, 70));
    EXPECT_EQ(BuiltPlanes(framework, 0, c_iAllEdges), Range(0, 122));
    EXPECT_EQ(BuiltPlanes(framework, std::numeric_limits<int>::min(), 10), Range(0, 70));
    EXPECT_EQ(BuiltPlanes(framework, 10, -5), Range(10, 70));
}

TEST(PrepareLightPlanes, StaysInsideAPatternWithFewEdges)
{
    CFrameworkProbe framework(ModelWithEdges(40));
    EXPECT_EQ(BuiltPlanes(framework, 10, 20), Range(10, 40));
    EXPECT_EQ(BuiltPlanes(framework, 60, 65), Range(0, 0));
}

TEST(PrepareLightPlanes, LeavesPlanesOutsideTheRangeAsTheyWere)
{
    CFrameworkProbe framework(ModelWithEdges(122));
    ASSERT_TRUE(framework.PrepareLightPlanes(0, c_iAllEdges));
    const double before = framework.GetEdgePlanes()[10].Intersect(0.1, 0.2);
    framework.GetProjector()->MakeTranslation({0.0, 20.0, 0.0});
    ASSERT_TRUE(framework.PrepareLightPlanes(60, 70));
    EXPECT_EQ(framework.GetEdgePlanes()[10].Intersect(0.1, 0.2), before);
    EXPECT_NE(framework.GetEdgePlanes()[65].Intersect(0.1, 0.2), 0.0);
}

TEST(PrepareLightPlanes, PutsTheNominalSlideRowOnThePlane)
{
    const CCameraModel model = PlainModel();
    const CFrameworkProbe framework(model);
    for (int edge = 0; edge < 140; ++edge) {
        for (const double col : {0.0, 1750.0, 3500.0, 7000.0}) {
            // Without distortion the whole slide row lies on the plane, at any depth.
            const auto point = TestSupport::OuterFromInner(
                model.projector,
                40.0L * TestSupport::DirectionFromImage(model.projector, col, model.NominalPosition(edge)));
            const auto x = static_cast<double>(point[0]);
            const auto y = static_cast<double>(point[1]);
            const auto z = static_cast<double>(point[2]);
            const CLightPlane& plane = framework.GetEdgePlanes()[static_cast<std::size_t>(edge)];
            constexpr double tolerance = 1e-10; // mm; roundings of points taken 1000 mm away
            EXPECT_NEAR(plane.GetDistToPoint(x, y, z), 0.0, tolerance) << edge << " " << col;
            const double scale = model.camera.f / z;
            EXPECT_NEAR(plane.Intersect(x * scale, y * scale), z, 1e-8) << edge << " " << col;
        }
    }
}

TEST(PrepareLightPlanes, RefusesAPatternWhoseGeometryChangedUnderItsPositions)
{
    CFrameworkProbe framework(PlainModel());
    // The geometry of the text is read, but without digits no positions are made.
    TestSupport::Load(*framework.GetCLPattern(), "::CLPattern",
                      "::CLPattern\nPatternHeight=3000\nPattern=\n");
    const Logging::CCapture log;
    EXPECT_FALSE(framework.PrepareLightPlanes(0, c_iAllEdges));
    EXPECT_EQ(log.Count(ELevel::eError, c_sChannel,
                        L"PrepareLightPlanes error: Number of stripe edges differs from number of known "
                        L"positions!\n"),
              1);
}

// ------------------------------------------------------------------------------------------------------- unwrap

/// The table as its definition tells it, from points that the framework computes.
Table ExpectedTable(const LxCPinholeFramework& framework, double zMin, double zMax, int numIds, int numEdges)
{
    const int width = framework.GetCamera()->GetIntrinsicParams()->GetImageWidth();
    const int height = framework.GetCamera()->GetIntrinsicParams()->GetImageHeight();
    const double zMid = (zMin + zMax) * 0.5;
    Table table(static_cast<std::size_t>(height / 8 + 1),
                std::vector<std::int32_t>(static_cast<std::size_t>(numIds), c_iNoEdge));
    for (int row = 0; row < height; row += 8) {
        for (int id = 0; id < numIds; ++id) {
            double best = std::numeric_limits<double>::max();
            int inside = c_iNoEdge;
            int nearest = c_iNoEdge;
            double nearestDistance = 100.0;
            for (int edge = id; edge < numEdges; edge += numIds) {
                const double z = framework.ComputeEdgeDepth(width / 2, row, edge, false, false);
                const double distance = z < zMin ? zMin - z : z > zMax ? z - zMax : 0.0;
                if (distance == 0.0 && std::abs(z - zMid) < std::abs(best)) {
                    best = z - zMid;
                    inside = edge;
                } else if (distance > 0.0 && distance < nearestDistance) {
                    nearestDistance = distance;
                    nearest = edge;
                }
            }
            table[static_cast<std::size_t>(row / 8)][static_cast<std::size_t>(id)] =
                inside != c_iNoEdge ? inside : nearest;
        }
    }
    return table;
}

TEST(InitIdUnwrapLUT, ChoosesTheEdgeNearestToTheMiddleOfTheRange)
{
    std::mt19937_64 random(17);
    for (int trial = 0; trial < 6; ++trial) {
        CFrameworkProbe framework(TestSupport::RandomModel(random, trial % 2 == 0));
        for (const auto& [zMin, zMax] :
             {std::pair{25.0, 41.0}, {30.0, 30.5}, {10.0, 200.0}, {-500.0, -450.0}}) {
            Table table;
            ASSERT_TRUE(framework.InitIdUnwrapLUTGeneric(zMin, zMax, 64, 140, table));
            ASSERT_EQ(table.size(), 62U);
            EXPECT_EQ(table, ExpectedTable(framework, zMin, zMax, 64, 140)) << trial << " " << zMin;
        }
    }
}

// The plain model has 140 edges with light planes; all others have depth 0.

TEST(InitIdUnwrapLUT, TakesTheFirstOfEquallyGoodEdges)
{
    CFrameworkProbe framework(PlainModel());
    // Depth 0 is in the middle of the first range and 1 mm from the second; edges with planes are far from both.
    for (const auto& [zMin, zMax] : {std::pair{-1.0, 1.0}, {1.0, 2.0}, {-2.0, -1.0}}) {
        Table table;
        ASSERT_TRUE(framework.InitIdUnwrapLUTGeneric(zMin, zMax, 16, 200, table));
        for (int id = 0; id < 16; ++id) {
            const int first = id < 12 ? 144 + id : 128 + id; // from 140 on
            EXPECT_EQ(table[30][static_cast<std::size_t>(id)], first) << zMin << " " << id;
        }
    }
}

TEST(InitIdUnwrapLUT, CountsTheBordersOfTheRangeInAndAHundredMillimetresOut)
{
    CFrameworkProbe framework(PlainModel());
    const auto edgeAtDepthZero = [&framework](double zMin, double zMax) {
        Table table;
        EXPECT_TRUE(framework.InitIdUnwrapLUTGeneric(zMin, zMax, 150, 151, table));
        return table[30][145]; // 145 is the only edge of this id
    };
    EXPECT_EQ(edgeAtDepthZero(0.0, 1e300), 145);
    EXPECT_EQ(edgeAtDepthZero(-1e300, 0.0), 145);
    EXPECT_EQ(edgeAtDepthZero(std::nextafter(100.0, 0.0), 200.0), 145);
    EXPECT_EQ(edgeAtDepthZero(100.0, 200.0), c_iNoEdge);
    EXPECT_EQ(edgeAtDepthZero(-200.0, -std::nextafter(100.0, 0.0)), 145);
    EXPECT_EQ(edgeAtDepthZero(-200.0, -100.0), c_iNoEdge);
}

TEST(InitIdUnwrapLUT, NamesNoEdgeOfADepthThatIsNoNumber)
{
    CFrameworkProbe framework(PlainModel());
    constexpr double nan = std::numeric_limits<double>::quiet_NaN();
    framework.GetCamera()->GetIntrinsicParams()->SetPrincipalPoint(nan, nan);
    Table table;
    ASSERT_TRUE(framework.InitIdUnwrapLUTGeneric(25.0, 41.0, 64, 140, table));
    EXPECT_EQ(table, Table(62, std::vector<std::int32_t>(64, c_iNoEdge)));
}

TEST(InitIdUnwrapLUT, NamesNoEdgeFartherThanAHundredMillimetres)
{
    CFrameworkProbe framework(PlainModel());
    Table table;
    ASSERT_TRUE(framework.InitIdUnwrapLUTGeneric(1e6, 2e6, 64, 140, table));
    for (const auto& row : table) {
        for (const int edge : row) {
            EXPECT_EQ(edge, c_iNoEdge);
        }
    }
}

TEST(InitIdUnwrapLUT, UnwrapsEveryEdgeInTheWorkingSpaceForAPlainScene)
{
    // Every pixel of the middle column that sees a point of the plane z = 33 sees it lit by exactly one place of the
    // slide; the id of the nearest edge must unwrap to this edge.
    const CCameraModel model = PlainModel();
    const CFrameworkProbe framework(model);
    int checked = 0;
    for (int row = 0; row < 494; row += 8) {
        const auto direction = TestSupport::DirectionFromImage(model.camera, 329.0, row);
        const auto slide = TestSupport::ImageFromPoint(
            model.projector, TestSupport::InnerFromOuter(model.projector, 33.0L * direction));
        const int edge = 1 + static_cast<int>(std::lround(slide[1] / model.stripeWidth));
        if (edge >= 1 && edge < 140) {
            EXPECT_EQ(framework.UnwrapStripeId(edge % 64, row), edge) << row;
            ++checked;
        }
    }
    EXPECT_GT(checked, 50);
}

TEST(InitIdUnwrapLUT, IsTheIdentityWithoutAmbiguity)
{
    CCameraModel model = PlainModel();
    model.patternHeight = 64 * 50;
    const CFrameworkProbe framework(model);
    for (int row = 0; row < 494; ++row) {
        for (int id = 0; id < 64; ++id) {
            ASSERT_EQ(framework.UnwrapStripeId(id, row), id);
        }
    }
}

TEST(InitIdUnwrapLUT, TakesBandsOfTheImageWithoutACalibration)
{
    CCameraModel model = PlainModel();
    model.camera.calibrated = false;
    const CFrameworkProbe framework(model);
    // 140 / 64 repetitions on 494 rows: a band is 225.83 rows.
    EXPECT_FALSE(framework.IsCalibrated());
    EXPECT_EQ(framework.UnwrapStripeId(10, 0.0), 10);
    EXPECT_EQ(framework.UnwrapStripeId(10, 224.0), 10);
    EXPECT_EQ(framework.UnwrapStripeId(10, 232.0), 64 + 10);
    EXPECT_EQ(framework.UnwrapStripeId(10, 448.0), 64 + 10);
    EXPECT_EQ(framework.UnwrapStripeId(10, 456.0), 128 + 10);
}

TEST(InitIdUnwrapLUT, HasARowMoreThanAnImageOfWholeSteps)
{
    CCameraModel model = PlainModel();
    model.camera.height = 480.0;
    model.patternHeight = 64 * 50;
    const CFrameworkProbe framework(model);
    EXPECT_EQ(framework.UnwrapStripeId(7, 479.0), 7);
    EXPECT_EQ(framework.UnwrapStripeId(7, 480.0), c_iNoEdge); // the row is there but empty
    EXPECT_EQ(framework.UnwrapStripeId(7, 488.0), c_iNoEdge);
}

TEST(InitIdUnwrapLUT, RefusesAPatternWithoutIdsAndKeepsTheTable)
{
    CFrameworkProbe framework(PlainModel());
    Table table(1, {7});
    EXPECT_FALSE(framework.InitIdUnwrapLUTGeneric(25.0, 41.0, 0, 140, table));
    EXPECT_FALSE(framework.InitIdUnwrapLUTGeneric(25.0, 41.0, -1, 140, table));
    EXPECT_EQ(table, Table(1, {7}));
}

TEST(InitIdUnwrapLUT, RefusesTablesOutOfProportion)
{
    CFrameworkProbe framework(PlainModel());
    framework.GetCamera()->GetIntrinsicParams()->SetImageSize(658.0, 2e9);
    const Logging::CCapture log;
    Table table(1, {7});
    EXPECT_FALSE(framework.InitIdUnwrapLUTGeneric(25.0, 41.0, 64, 140, table));
    EXPECT_TRUE(table.empty());
    EXPECT_EQ(
        log.Count(ELevel::eError, c_sChannel,
                  L"LxCPinholeFramework::InitIdUnwrapLUTGeneric: 250000001 rows, 64 ids and 140 stripe edges "
                  L"are too many!\n"),
        1);
    framework.GetCamera()->GetIntrinsicParams()->SetImageSize(658.0, 494.0);
    for (const auto& [ids, edges] : {std::pair{c_iAllEdges, 140},
                                     {64, c_iAllEdges},
                                     {64, -1},
                                     {64, std::numeric_limits<int>::min()},
                                     {c_iAllEdges, c_iAllEdges}}) {
        EXPECT_FALSE(framework.InitIdUnwrapLUTGeneric(25.0, 41.0, ids, edges, table));
        EXPECT_TRUE(table.empty());
    }
}

TEST(InitIdUnwrapLUT, HasOneRowForAnImageWithoutHeight)
{
    CFrameworkProbe framework(PlainModel());
    for (const double height : {0.0, -1e9, std::numeric_limits<double>::quiet_NaN()}) {
        framework.GetCamera()->GetIntrinsicParams()->SetImageSize(658.0, height);
        Table table;
        EXPECT_TRUE(framework.InitIdUnwrapLUTGeneric(25.0, 41.0, 64, 140, table));
        EXPECT_EQ(table, Table(1, std::vector<std::int32_t>(64, c_iNoEdge)));
    }
}

TEST(InitIdUnwrapLUT, TakesDepthRangesThatAreNoNumbers)
{
    CFrameworkProbe framework(PlainModel());
    constexpr double nan = std::numeric_limits<double>::quiet_NaN();
    constexpr double infinity = std::numeric_limits<double>::infinity();
    for (const auto& [zMin, zMax] : {std::pair{nan, nan}, {-infinity, infinity}, {infinity, -infinity}}) {
        Table table;
        EXPECT_TRUE(framework.InitIdUnwrapLUTGeneric(zMin, zMax, 64, 140, table));
        EXPECT_EQ(table.size(), 62U);
    }
}

TEST(UnwrapStripeId, CountsIdsModuloTheTableAsUnsigned)
{
    CCameraModel model = PlainModel();
    model.digits = "50305250125214121610343014341070";
    model.patternHeight = 32 * 50;
    const CFrameworkProbe framework(model);
    EXPECT_EQ(framework.UnwrapStripeId(38, 100.0), 6);
    EXPECT_EQ(framework.UnwrapStripeId(-1, 100.0), 31); // 4294967295 = 32 * 134217727 + 31
    EXPECT_EQ(framework.UnwrapStripeId(std::numeric_limits<int>::min(), 100.0), 0);
}

TEST(UnwrapStripeId, ReadsEntrySixForIdSeventy)
{
    const CFrameworkProbe framework(PlainModel());
    for (int row = 0; row < 494; ++row) {
        ASSERT_EQ(framework.UnwrapStripeId(70, row), framework.UnwrapStripeId(6, row));
    }
}

TEST(UnwrapStripeId, FindsNoEdgeOutsideTheRows)
{
    const CFrameworkProbe framework(PlainModel());
    EXPECT_NE(framework.UnwrapStripeId(5, 0.0), c_iNoEdge);
    EXPECT_EQ(framework.UnwrapStripeId(5, -0.5), framework.UnwrapStripeId(5, 0.0)); // truncated to row 0
    for (const double row :
         {1e6, -1.0, -8.0, -1e6, 2147483647.0, 2147483648.0, -2147483649.0, 1e300, -1e300,
          std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity(),
          std::numeric_limits<double>::quiet_NaN()}) {
        EXPECT_EQ(framework.UnwrapStripeId(5, row), c_iNoEdge) << row;
    }
}

TEST(UnwrapStripeId, UsesOneTableRowForEightImageRows)
{
    const CFrameworkProbe framework;
    EXPECT_EQ(framework.UnwrappingLutIndexFromPosition(0), 0);
    EXPECT_EQ(framework.UnwrappingLutIndexFromPosition(7), 0);
    EXPECT_EQ(framework.UnwrappingLutIndexFromPosition(8), 1);
    EXPECT_EQ(framework.UnwrappingLutIndexFromPosition(493), 61);
    EXPECT_EQ(framework.UnwrappingLutIndexFromPosition(-1), -1);
}

// ------------------------------------------------------------------------------------------------- state changes

TEST(CalibStatusChanged, SetsTheFlagOnlyForACalibratedCameraAndProjector)
{
    for (const bool camera : {false, true}) {
        for (const bool projector : {false, true}) {
            CCameraModel model = PlainModel();
            model.camera.calibrated = camera;
            model.projector.calibrated = projector;
            const CFrameworkProbe framework(model);
            EXPECT_EQ(framework.IsCalibrated(), camera && projector);
            EXPECT_NE(framework.UnwrapStripeId(5, 0.0), c_iNoEdge);
        }
    }
}

TEST(CalibStatusChanged, ClearsTheFlagWhereTablesCannotBeBuilt)
{
    CFrameworkProbe framework(PlainModel());
    ASSERT_TRUE(framework.IsCalibrated());
    TestSupport::Load(*framework.GetCLPattern(), "::CLPattern",
                      "::CLPattern\nPatternHeight=3000\nPattern=\n");
    const Logging::CCapture log;
    framework.CalibStatusChanged(0, c_iAllEdges, false, true, false);
    EXPECT_FALSE(framework.IsCalibrated());
    EXPECT_EQ(
        log.Count(ELevel::eDebug, c_sChannel,
                  L"Error while computing LUTs for the camera. System will be regarded as uncalibrated!\n"),
        1);
}

TEST(CalibStatusChanged, ClearsTheFlagWhereTheUnwrapTableIsWantedAndFails)
{
    CFrameworkProbe framework(PlainModel());
    framework.GetCamera()->GetIntrinsicParams()->SetImageSize(658.0, 2e9);
    framework.CalibStatusChanged(0, c_iAllEdges, false, false, false);
    EXPECT_TRUE(framework.IsCalibrated());
    framework.CalibStatusChanged(0, c_iAllEdges, false, true, false);
    EXPECT_FALSE(framework.IsCalibrated());
}

TEST(CalibStatusChanged, RebuildsTheUnwrapTableOnRequest)
{
    CFrameworkProbe framework(PlainModel());
    framework.GetCLPattern()->SetPatternString("5030"); // four ids now
    framework.CalibStatusChanged(0, c_iAllEdges, false, false, false);
    EXPECT_EQ(framework.UnwrapStripeId(6, 0.0) % 64, 6);
    framework.CalibStatusChanged(0, c_iAllEdges, false, true, false);
    EXPECT_EQ(framework.UnwrapStripeId(6, 0.0) % 4, 2);
}

TEST(CalibStatusChanged, DerivesReducedParametersOnRequest)
{
    CFrameworkProbe framework(PlainModel());
    framework.GetCamera()->GetIntrinsicParams()->SetImageSize(1000.0, 494.0);
    framework.GetProjector()->GetIntrinsicParams()->SetImageSize(301.0, 494.0);
    framework.CalibStatusChanged(0, c_iAllEdges, false, false, false);
    EXPECT_EQ(framework.GetCamera()->GetIntrinsicParamsReduced()->GetExactImageWidth(), 657.0 / 3.0);
    framework.CalibStatusChanged(0, c_iAllEdges, true, false, false);
    EXPECT_EQ(framework.GetCamera()->GetIntrinsicParamsReduced()->GetExactImageWidth(), 333.0);
    EXPECT_EQ(framework.GetProjector()->GetIntrinsicParamsReduced()->GetExactImageWidth(), 100.0);
}

TEST(CalibStatusChanged, FollowsAMovedCameraWithTheWorkingSpaceOnRequest)
{
    CFrameworkProbe framework(PlainModel());
    constexpr double tolerance = 1e-12; // mm; roundings of values below 100
    framework.GetCamera()->MakeTranslation({0.0, 0.0, 5.0});
    framework.CalibStatusChanged(0, c_iAllEdges, false, false, false);
    EXPECT_NEAR(framework.GetMinZw(), 25.0, tolerance);
    framework.CalibStatusChanged(0, c_iAllEdges, false, false, true);
    EXPECT_NEAR(framework.GetMinZw(), 20.0, tolerance);
    EXPECT_NEAR(framework.GetMaxZw(), 36.0, tolerance);
    EXPECT_EQ(framework.GetMinZc(), 25.0);
    EXPECT_EQ(framework.GetMaxZc(), 41.0);
}

TEST(ResetCalibration, ClearsTheComaPolynomialUnlessAReducedOneIsKept)
{
    const bool before = LxCLxCVLibSettings::IsReducedPolynomKoma();
    for (const bool reduced : {true, false}) {
        LxCLxCVLibSettings::SetReducedPolynomKoma(reduced);
        CFrameworkProbe framework(PlainModel());
        framework.GetPolynomKoma()->SetCoefficient(CKomaParameter::eAxisX, 3, 5.0);
        framework.ResetCalibration(false);
        EXPECT_EQ(framework.GetPolynomKoma()->GetCoefficient(CKomaParameter::eAxisX, 3), reduced ? 5.0 : 0.0);
    }
    LxCLxCVLibSettings::SetReducedPolynomKoma(before);
}

TEST(ResetCalibration, ResetsTheMarkMaskAndRebuildsTheTables)
{
    CFrameworkProbe framework(PlainModel());
    framework.GetProjCalibThres()->m_viMarkerMaskRow.clear();
    framework.GetCamera()->MarkAsUncalibrated();
    framework.ResetCalibration(true);
    EXPECT_EQ(framework.GetProjCalibThres()->m_viMarkerMaskRow, (std::vector<int>{580, 350, 115}));
    EXPECT_FALSE(framework.IsCalibrated());
}

TEST(SetWorkingSpace, MovesTheRangeAndTheUnwrapTable)
{
    CCameraModel model = PlainModel();
    model.camera.t = {0.0, 0.0, 5.0};
    CFrameworkProbe framework(model);
    Table expected;
    framework.InitIdUnwrapLUTGeneric(50.0, 60.0, 64, 140, expected);
    framework.SetWorkingSpace(50.0, 60.0, false);
    constexpr double tolerance = 1e-12; // mm; roundings of values below 100
    EXPECT_EQ(framework.GetMinZw(), 50.0);
    EXPECT_EQ(framework.GetMaxZw(), 60.0);
    EXPECT_NEAR(framework.GetMinDistCamToScene(), 55.0, tolerance);
    EXPECT_NEAR(framework.GetMaxDistCamToScene(), 65.0, tolerance);
    for (int id = 0; id < 64; ++id) {
        ASSERT_EQ(framework.UnwrapStripeId(id, 240.0), expected[30][static_cast<std::size_t>(id)]);
    }
    framework.SetWorkingSpace(30.0, 40.0, true);
    EXPECT_EQ(framework.GetMinZc(), 30.0);
    EXPECT_NEAR(framework.GetMaxZw(), 35.0, tolerance);
}

TEST(SetWorkingSpace, KeepsTheRangeOfAnUncalibratedSystem)
{
    LxCPinholeFramework framework;
    const Logging::CCapture log;
    framework.SetWorkingSpace(30.0, 40.0, true);
    EXPECT_EQ(framework.GetMinZc(), 30.0);
    EXPECT_EQ(framework.GetMaxZc(), 40.0);
    EXPECT_EQ(log.Count(ELevel::eError, c_sChannel, L"Error: CMV3DCam::SetDistCamToScene: Not calibrated.\n"),
              1);
}

TEST(SetWorkingSpace, KeepsTheRangeWhereTheTableFails)
{
    CFrameworkProbe framework(PlainModel());
    framework.GetCLPattern()->SetPatternString("");
    const Logging::CCapture log;
    framework.SetWorkingSpace(30.0, 40.0, true);
    EXPECT_EQ(framework.GetMinZc(), 30.0);
    EXPECT_EQ(log.Count(ELevel::eError, c_sChannel, L"Error: Failed to init cc LUT for the camera!\n"), 1);
}

} // namespace
} // namespace LxCV
