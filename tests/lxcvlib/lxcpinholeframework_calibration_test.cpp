// Tests of the calibration side of the camera model: which marks are taken, what becomes of them, and what is told.
#include "lxcpinholeframework.h"

#include "lxccalibrationdata.h"
#include "lxcrectcornercalibmark.h"
#include "orx/logging/logger.h"
#include "tests/lxcvlib/allocationcount.h"
#include "tests/lxcvlib/calibbodytestsupport.h"
#include "tests/lxcvlib/cameramodel.h"
#include "tests/lxcvlib/frameworkprobe.h"
#include "tests/lxcvlib/sectiontext.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <memory>
#include <new>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace LxCV {
namespace {

using Logging::ELevel;
using TestSupport::CCameraModel;
using TestSupport::CFrameworkProbe;
using TestSupport::CRecords;
using TestSupport::Load;
using TestSupport::PlainModel;
using TestSupport::Store;

constexpr const wchar_t* c_sChannel = L"ORX.Lumorad.LxCPinholeFramework";
constexpr double c_dTolerance = 1e-9; // mm; rounding of a ray's intersection at some 50 mm

std::vector<LxCCalibrationData*> NewRecords(int count)
{
    std::vector<LxCCalibrationData*> records;
    for (int i = 0; i < count; ++i) {
        records.push_back(new LxCCalibrationData(i, 1.0, 2.0, 3.0, 4.0, 1.0));
    }
    return records;
}

/// A camera 30 mm above the plane Zw = 0, looking down its z axis with the world's x and y, without distortion:
/// pixel (u, v) sees the plane at x = 30 / 9.5 * 0.0075 (u - 331) mm, y likewise with 245.
struct CScene
{
    CScene()
    {
        CCameraModel model = PlainModel();
        model.camera.height = 40.0; // few rows of the unwrap table
        model.camera.t = {0.0, 0.0, c_dHeight};
        Load(framework, "::M", ModelText(model, "::M"));
        EXPECT_TRUE(framework.IsCalibrated());
    }

    /// Gives the camera's target a box of +-1 mm in x and +-2 mm in y.
    void SetTarget()
    {
        std::stringstream data("::Coords\n-1 -2 0\n1 -2 0\n-1 2 0\n1 2 0\n");
        ASSERT_EQ(framework.GetCamCalibBody()->Read3DCoordsFromStream(data), eCalibOk);
        static_cast<LxCCalibThres*>(framework.GetCamCalibBody()->GetThres())->m_dMarginPercent = 0.0;
    }

    /// A record as the slide's target exports it, at the pixel that sees (x, y) mm on the plane.
    static LxCCalibrationData* NewMark(double slideCol, double slideRow, double x, double y)
    {
        const double pixelsPerMm = 9.5 / c_dHeight / 0.0075;
        return new LxCCalibrationData(slideCol, slideRow, 9.0, 331.0 + pixelsPerMm * x,
                                      245.0 + pixelsPerMm * y, 0.5);
    }

    std::vector<LxCCalibrationData*> Filed(int view) const
    {
        std::vector<LxCCalibrationData*> records;
        EXPECT_EQ(framework.GetProjector()->GetCalibDataForView(&records, view), eCalibOk);
        return records;
    }

    static constexpr double c_dHeight = 30.0; // mm
    CFrameworkProbe framework;
};

TEST(AddCamCalibData, RefusesNineMarksAndDeletesThem)
{
    CFrameworkProbe framework;
    std::vector<LxCCalibrationData*> marks = NewRecords(9);
    EXPECT_EQ(framework.AddCamCalibData(&marks, true), eCalibTooFewMarks);
    EXPECT_TRUE(marks.empty());
    EXPECT_EQ(framework.GetCamera()->GetNrOfMarks(), 0);
    EXPECT_EQ(framework.GetCalibStatus(),
              "Did NOT add the 9 camera calibration marks, as at least 10 per view are needed.\n");
}

TEST(AddCamCalibData, TakesTenMarks)
{
    CFrameworkProbe framework;
    std::vector<LxCCalibrationData*> marks = NewRecords(10);
    EXPECT_EQ(framework.AddCamCalibData(&marks, false), eCalibOk);
    EXPECT_EQ(marks.size(), 10U);
    EXPECT_EQ(framework.GetCamera()->GetNrOfMarks(), 10);
    EXPECT_EQ(framework.GetCalibStatus(), "Added 10 camera calibration marks from current viewpoint. "
                                          "(yielding in total 10 marks from 1 distinct view(s))\n");
}

TEST(AddCamCalibData, CountsNoMarksForNull)
{
    CFrameworkProbe framework;
    EXPECT_EQ(framework.AddCamCalibData(nullptr, true), eCalibTooFewMarks);
    EXPECT_EQ(framework.GetCalibStatus(),
              "Did NOT add the 0 camera calibration marks, as at least 10 per view are needed.\n");
}

TEST(AddCamCalibData, AppendsToTheStatusAndCountsViews)
{
    CFrameworkProbe framework;
    for (const int count : {10, 12, 3}) {
        std::vector<LxCCalibrationData*> marks = NewRecords(count);
        framework.AddCamCalibData(&marks, true);
    }
    EXPECT_EQ(framework.GetNrOfViewsCurCamCalib(), 2);
    EXPECT_EQ(framework.GetNrOfViewsCurProjCalib(), 0);
    EXPECT_EQ(framework.GetCalibStatus(),
              "Added 10 camera calibration marks from new viewpoint. "
              "(yielding in total 10 marks from 1 distinct view(s))\n"
              "Added 12 camera calibration marks from new viewpoint. "
              "(yielding in total 22 marks from 2 distinct view(s))\n"
              "Did NOT add the 3 camera calibration marks, as at least 10 per view are needed.\n");
}

TEST(AddCamCalibData, DeletesRefusedMarksOnceAndNoneThatIsFiled)
{
    CFrameworkProbe framework;
    std::vector<LxCCalibrationData*> marks = NewRecords(10);
    framework.AddCamCalibData(&marks, true);
    auto* const fresh = new LxCCalibrationData(1.0, 2.0, 3.0, 4.0, 5.0, 1.0);
    std::vector<LxCCalibrationData*> odd = {marks[3], nullptr, fresh, fresh, marks[3]};
    EXPECT_EQ(framework.AddCamCalibData(&odd, true), eCalibTooFewMarks);
    EXPECT_EQ(framework.GetCamera()->GetNrOfMarks(), 10);
    std::vector<LxCCalibrationData*> filed;
    framework.GetCamera()->GetCalibDataForView(&filed, 0);
    EXPECT_EQ(filed[3]->m_dXw, 3.0);
}

TEST(AddProjCalibData, WantsACalibratedCameraForScreening)
{
    const Logging::CCapture log;
    CFrameworkProbe framework;
    CRecords marks;
    marks.list = NewRecords(3);
    EXPECT_EQ(framework.AddProjCalibData(&marks.list, true, true), eCalibCameraNotCalibrated);
    EXPECT_EQ(
        log.Count(ELevel::eInfo, c_sChannel,
                  L"CMV3DCam::AddProjCalibData: Error: Camera is not calibrated. This is a prerequisite "
                  L"for calibrating the projector.\n"),
        1);
    EXPECT_EQ(marks.list.size(), 3U);
    EXPECT_EQ(marks.list[2]->m_dXw, 2.0);
    EXPECT_EQ(framework.GetProjector()->GetNrOfMarks(), 0);
    EXPECT_EQ(framework.GetCalibStatus(), "");
}

TEST(AddProjCalibData, NeverLooksAtTheCameraWithoutScreening)
{
    CFrameworkProbe framework; // its camera is not calibrated
    for (const bool toCameraCoords : {false, true}) {
        std::vector<LxCCalibrationData*> marks = NewRecords(2);
        EXPECT_EQ(framework.AddProjCalibData(&marks, false, toCameraCoords), eCalibOk);
        EXPECT_EQ(marks[1]->m_dXw, 1.0);
        EXPECT_EQ(marks[1]->m_dYi, 4.0);
    }
    EXPECT_EQ(framework.GetNrOfViewsCurProjCalib(), 2);
    EXPECT_EQ(framework.GetCalibStatus(), "Added 2 projector calibration marks from new viewpoint. "
                                          "(yielding in total 2 marks from 1 distinct view(s))\n"
                                          "Added 2 projector calibration marks from new viewpoint. "
                                          "(yielding in total 4 marks from 2 distinct view(s))\n");
}

TEST(AddProjCalibData, ReportsTheCountBeforeScreening)
{
    CScene scene;
    scene.SetTarget();
    std::vector<LxCCalibrationData*> marks;
    // Inside, and outside in each of the four directions.
    for (const auto& [x, y] : std::vector<std::pair<double, double>>{
             {0.9, -1.9}, {-1.1, 0.0}, {1.1, 0.0}, {0.0, -2.1}, {0.0, 2.1}, {-0.9, 1.9}}) {
        marks.push_back(CScene::NewMark(100.0 * x, 200.0 * y, x, y));
    }
    EXPECT_EQ(scene.framework.AddProjCalibData(&marks, true, true), eCalibOk);
    ASSERT_EQ(marks.size(), 6U);
    for (const std::size_t refused : {1U, 2U, 3U, 4U}) {
        EXPECT_EQ(marks[refused], nullptr) << refused;
    }
    EXPECT_EQ(scene.Filed(0), (std::vector<LxCCalibrationData*>{marks[0], marks[5]}));
    EXPECT_EQ(scene.framework.GetCalibStatus(), "Added 6 projector calibration marks from current viewpoint. "
                                                "(yielding in total 2 marks from 1 distinct view(s))\n");
}

TEST(AddProjCalibData, RewritesScreenedMarksInCameraCoordinates)
{
    CScene scene;
    LxCCalibrationData* const mark = CScene::NewMark(1750.0, 500.0, 3.0, -4.0);
    mark->m_dX2 = mark->m_dY2 = 7.0;
    mark->m_iA = mark->m_iB = 8;
    std::vector<LxCCalibrationData*> marks = {mark};
    EXPECT_EQ(scene.framework.AddProjCalibData(&marks, true, true), eCalibOk);
    EXPECT_NEAR(mark->m_dXw, 3.0, c_dTolerance);
    EXPECT_NEAR(mark->m_dYw, -4.0, c_dTolerance);
    EXPECT_NEAR(mark->m_dZw, CScene::c_dHeight, c_dTolerance);
    EXPECT_EQ(mark->m_dXi, 1750.0);
    EXPECT_EQ(mark->m_dYi, 500.0);
    EXPECT_EQ(mark->m_dX2, 0.0);
    EXPECT_EQ(mark->m_dY2, 0.0);
    EXPECT_EQ(mark->m_iA, 0);
    EXPECT_EQ(mark->m_iB, 0);
    EXPECT_EQ(mark->m_dWeight, 0.5);
}

TEST(AddProjCalibData, LeavesScreenedMarksInTheTargetPlaneInANewView)
{
    CScene scene;
    for (int view = 0; view < 2; ++view) {
        std::vector<LxCCalibrationData*> marks = {CScene::NewMark(1750.0, 500.0, 3.0, -4.0)};
        EXPECT_EQ(scene.framework.AddProjCalibData(&marks, true, false), eCalibOk);
        EXPECT_NEAR(marks[0]->m_dXw, 3.0, c_dTolerance);
        EXPECT_NEAR(marks[0]->m_dYw, -4.0, c_dTolerance);
        EXPECT_EQ(marks[0]->m_dZw, 0.0);
        EXPECT_EQ(marks[0]->m_dXi, 1750.0);
    }
    EXPECT_EQ(scene.framework.GetNrOfViewsCurProjCalib(), 2);
    // What is screened into camera coordinates joins the view that stands.
    std::vector<LxCCalibrationData*> marks = {CScene::NewMark(1750.0, 500.0, 3.0, -4.0)};
    scene.framework.AddProjCalibData(&marks, true, true);
    EXPECT_EQ(scene.Filed(1).size(), 2U);
}

TEST(AddProjCalibData, ScreensByTheRayAndTheBoxForAnyModel)
{
    std::mt19937_64 random(7);
    std::uniform_real_distribution<double> col(0.0, 658.0);
    std::uniform_real_distribution<double> row(0.0, 494.0);
    CScene scene;
    scene.SetTarget();
    int kept = 0;
    for (int trial = 0; trial < 300; ++trial) {
        const double u = col(random);
        const double v = row(random);
        const double x = CScene::c_dHeight / 9.5 * 0.0075 * (u - 331.0);
        const double y = CScene::c_dHeight / 9.5 * 0.0075 * (v - 245.0);
        const bool isInside = std::abs(x) <= 1.0 && std::abs(y) <= 2.0;
        std::vector<LxCCalibrationData*> marks = {new LxCCalibrationData(1.0, 2.0, 0.0, u, v, 1.0)};
        scene.framework.AddProjCalibData(&marks, true, trial % 2 == 0);
        ASSERT_EQ(marks[0] != nullptr, isInside) << u << " " << v;
        kept += isInside ? 1 : 0;
    }
    EXPECT_GT(kept, 5);
    EXPECT_EQ(scene.framework.GetProjector()->GetNrOfMarks(), kept);
}

TEST(AddProjCalibData, RefusesWhatIsNoNumberAndSkipsWhatIsNull)
{
    constexpr double c_dNaN = std::numeric_limits<double>::quiet_NaN();
    constexpr double c_dInfinity = std::numeric_limits<double>::infinity();
    CScene scene; // with a target whose box has no limits
    std::vector<LxCCalibrationData*> marks = {
        new LxCCalibrationData(1.0, 2.0, 0.0, c_dNaN, 5.0, 1.0), nullptr,
        new LxCCalibrationData(1.0, 2.0, 0.0, 5.0, c_dInfinity, 1.0), CScene::NewMark(1.0, 2.0, 0.0, 0.0)};
    EXPECT_EQ(scene.framework.AddProjCalibData(&marks, true, false), eCalibOk);
    EXPECT_EQ(marks[0], nullptr);
    EXPECT_EQ(marks[2], nullptr);
    EXPECT_EQ(scene.Filed(0), (std::vector<LxCCalibrationData*>{marks[3]}));
}

TEST(AddProjCalibData, RefusesWhatIsSeenAlongTheTargetsPlane)
{
    // The camera's z axis is the world's y axis, so that the row of the principal point looks along the plane.
    CScene scene;
    const double rotation[9] = {1.0, 0.0, 0.0, 0.0, 0.0, -1.0, 0.0, 1.0, 0.0};
    scene.framework.GetCamera()->ReadFromMatrixAndVector(rotation, 0.0, -1.0, 0.0);
    for (const bool toCameraCoords : {false, true}) {
        std::vector<LxCCalibrationData*> marks = {new LxCCalibrationData(1.0, 2.0, 0.0, 400.0, 245.0, 1.0),
                                                  new LxCCalibrationData(1.0, 2.0, 0.0, 400.0, 246.0, 1.0)};
        scene.framework.AddProjCalibData(&marks, true, toCameraCoords);
        EXPECT_EQ(marks[0], nullptr);
        EXPECT_NE(marks[1], nullptr);
    }
}

TEST(AddProjCalibData, FilesAMarkOnceThatIsListedTwice)
{
    CScene scene;
    LxCCalibrationData* const inside = CScene::NewMark(1.0, 2.0, 0.0, 0.0);
    std::vector<LxCCalibrationData*> marks = {inside, inside};
    scene.framework.AddProjCalibData(&marks, true, true);
    EXPECT_EQ(marks, (std::vector<LxCCalibrationData*>{inside, nullptr}));
    scene.framework.AddProjCalibData(&marks, true,
                                     true); // filed already, so that it must not be rewritten again
    EXPECT_EQ(inside->m_dXi, 1.0);
    EXPECT_EQ(scene.framework.GetProjector()->GetNrOfMarks(), 1);
    scene.SetTarget();
    LxCCalibrationData* const outside = CScene::NewMark(1.0, 2.0, 5.0, 0.0);
    marks = {outside, outside};
    scene.framework.AddProjCalibData(&marks, true, true);
    EXPECT_EQ(marks, (std::vector<LxCCalibrationData*>{nullptr, nullptr}));
}

TEST(AddProjCalibData, TellsNothingWithoutMarks)
{
    CScene scene;
    std::vector<LxCCalibrationData*> none;
    EXPECT_EQ(scene.framework.AddProjCalibData(&none, true, true), eCalibOk);
    EXPECT_EQ(scene.framework.AddProjCalibData(&none, false, false), eCalibOk);
    EXPECT_EQ(scene.framework.AddProjCalibData(nullptr, false, false), eCalibOk); // the target has no marks
    EXPECT_EQ(scene.framework.GetCalibStatus(), "");
    EXPECT_EQ(scene.framework.GetNrOfViewsCurProjCalib(), 0);
}

/// The second corner of square 2, at the pixel that sees (0, 0) mm, without a square and edges.
class CNumberedCorner : public LxCRectCornerCalibMark
{
public:
    CNumberedCorner() : LxCRectCornerCalibMark(331.0, 245.0, nullptr, nullptr, false, false) {}

    int GetId() const override { return 6; }
};

TEST(AddProjCalibData, TakesTheMarksOfTheProjectorsTargetForNull)
{
    CScene scene;
    LxCProjSlideCalibBody& slide = *scene.framework.GetProjCalibBody();
    slide.SetCalibOrientation(LxCCalibBody::eCO_QuarterTurn);
    slide.GetCalibMarks().push_back(new CNumberedCorner);
    ASSERT_EQ(scene.framework.AddProjCalibData(nullptr, true, false), eCalibOk);
    EXPECT_TRUE(slide.GetCalibMarks().empty());
    const std::vector<LxCCalibrationData*> filed = scene.Filed(0);
    ASSERT_EQ(filed.size(), 1U);
    EXPECT_NEAR(filed[0]->m_dXw, 0.0, c_dTolerance);
    EXPECT_NEAR(filed[0]->m_dYw, 0.0, c_dTolerance);
    // The second mark of slide A2 is on stripe 20 of the row at 5250: columns 5250 +-50, rows 950 and 1000.
    EXPECT_EQ(std::abs(filed[0]->m_dXi - 5250.0), 50.0);
    EXPECT_TRUE(filed[0]->m_dYi == 950.0 || filed[0]->m_dYi == 1000.0) << filed[0]->m_dYi;
}

TEST(AddProjCalibData, ReturnsWhatTheExportOfTheTargetReturns)
{
    CScene scene;
    scene.framework.GetProjCalibBody()->GetCalibMarks().push_back(new LxCCalibMark()); // no corner: refused
    EXPECT_EQ(scene.framework.AddProjCalibData(nullptr, true, true), eCalibNotDone);
    EXPECT_EQ(scene.framework.GetCalibStatus(), "");
}

TEST(AddProjCalibData, FilesAllOrNothingOfAnExportWhereMemoryRunsOut)
{
    // What was exported and not filed is deleted, which the address sanitizer sees.
    bool isShort = true;
    for (std::size_t allowed = 0; isShort; ++allowed) {
        CScene scene;
        LxCProjSlideCalibBody& slide = *scene.framework.GetProjCalibBody();
        slide.SetCalibOrientation(LxCCalibBody::eCO_QuarterTurn);
        for (int i = 0; i < 3; ++i) {
            slide.GetCalibMarks().push_back(new CNumberedCorner);
        }
        isShort = false;
        try {
            const AllocationLimit limit(1, allowed);
            scene.framework.AddProjCalibData(nullptr, true, allowed % 2 == 0);
        } catch (const std::bad_alloc&) {
            isShort = true;
        }
        const int filed = scene.framework.GetProjector()->GetNrOfMarks();
        ASSERT_TRUE(filed == 3 || (isShort && filed == 0)) << allowed << " " << filed;
        scene.framework.RemoveAllCalibData();
    }
}

TEST(AddCamCalibData, DeletesRefusedMarksOnceWhereMemoryRunsOut)
{
    bool isShort = true;
    for (std::size_t allowed = 0; isShort; ++allowed) {
        CFrameworkProbe framework;
        CRecords marks; // deletes what is not refused yet
        marks.list = NewRecords(9);
        isShort = false;
        try {
            const AllocationLimit limit(1, allowed);
            framework.AddCamCalibData(&marks.list, true);
        } catch (const std::bad_alloc&) {
            isShort = true;
        }
        ASSERT_EQ(marks.list.size(), isShort ? 9U : 0U) << allowed;
    }
}

/// A scene whose target is the point (0, 0) mm alone.
struct CPointScene : CScene
{
    CPointScene()
    {
        std::stringstream data("::Coords\n0 0 0\n0 0 0\n0 0 0\n0 0 0\n");
        framework.GetCamCalibBody()->Read3DCoordsFromStream(data);
        double box[4] = {1.0, 1.0, 1.0, 1.0};
        framework.GetCamCalibBody()->GetPositionInWC(&box[0], &box[1], &box[2], &box[3]);
        for (const double side : box) {
            EXPECT_EQ(side, 0.0);
        }
    }
};

TEST(AddProjCalibData, TakesWhatIsSeenOnTheBordersOfTheTarget)
{
    CPointScene scene;
    std::vector<LxCCalibrationData*> marks = {CScene::NewMark(1.0, 2.0, 0.0, 0.0)};
    constexpr double c_dStep = 1e-9; // mm; some 4e-8 pixels, where doubles near 331 are 6e-14 apart
    for (const auto& [x, y] :
         std::vector<std::pair<double, double>>{{-c_dStep, 0}, {c_dStep, 0}, {0, -c_dStep}, {0, c_dStep}}) {
        marks.push_back(CScene::NewMark(1.0, 2.0, x, y));
    }
    scene.framework.AddProjCalibData(&marks, true, true);
    EXPECT_EQ(marks, (std::vector<LxCCalibrationData*>{marks[0], nullptr, nullptr, nullptr, nullptr}));
    EXPECT_EQ(scene.Filed(0), (std::vector<LxCCalibrationData*>{marks[0]}));
}

TEST(AddProjCalibData, OpensAViewAlsoWhereAllMarksAreRefused)
{
    CPointScene scene;
    for (const double x : {0.0, 5.0}) {
        std::vector<LxCCalibrationData*> marks = {CScene::NewMark(1.0, 2.0, x, 0.0)};
        EXPECT_EQ(scene.framework.AddProjCalibData(&marks, true, false), eCalibOk);
    }
    EXPECT_EQ(scene.framework.GetCalibStatus(), "Added 1 projector calibration marks from new viewpoint. "
                                                "(yielding in total 1 marks from 1 distinct view(s))\n"
                                                "Added 1 projector calibration marks from new viewpoint. "
                                                "(yielding in total 1 marks from 2 distinct view(s))\n");
}

TEST(RemoveAllCalibData, EmptiesCameraAndProjector)
{
    CFrameworkProbe framework;
    std::vector<LxCCalibrationData*> ofCamera = NewRecords(10);
    std::vector<LxCCalibrationData*> ofProjector = NewRecords(4);
    framework.AddCamCalibData(&ofCamera, true);
    framework.AddProjCalibData(&ofProjector, false, false);
    const std::string status = framework.GetCalibStatus();
    framework.RemoveAllCalibData();
    EXPECT_EQ(framework.GetCamera()->GetNrOfMarks(), 0);
    EXPECT_EQ(framework.GetProjector()->GetNrOfMarks(), 0);
    EXPECT_EQ(framework.GetNrOfViewsCurCamCalib(), 0);
    EXPECT_EQ(framework.GetCalibStatus(), status);
}

TEST(CombinedCalibration, IsNotDoneAndChangesNothing)
{
    CScene scene;
    LxCPinholeFramework& framework = scene.framework;
    const std::string before = Store(framework, "::M");
    std::vector<LxCCoordSysTrans> transforms(3);
    for (const int number : {0, 1, 2, 7}) {
        const auto method = static_cast<LxCPinholeCamera::ECalibMethod>(number);
        EXPECT_EQ(framework.CalibCamProjCombined(method, transforms, true, false, "", "", nullptr, nullptr),
                  1);
        EXPECT_EQ(framework.CalibCamProjCombined3D(method, transforms, true, false, "", "", nullptr, nullptr),
                  1);
        EXPECT_EQ(framework.CalibProjectorBasedOnLSEPosCalib(method, transforms), 1);
    }
    EXPECT_EQ(transforms.size(), 3U);
    EXPECT_EQ(Store(framework, "::M"), before);
    EXPECT_EQ(scene.framework.GetCalibStatus(), "");
}

TEST(ProjectorsTarget, ThatTakesThresholdsOfAnotherClassHasNoMarksNearby)
{
    CScene scene;
    ASSERT_NE(scene.framework.GetProjCalibThres(), nullptr);
    const LxCCBCalibBody board(true);
    static_cast<LxCCalibBody&>(*scene.framework.GetProjCalibBody()) = board;
    EXPECT_EQ(scene.framework.GetProjCalibThres(), nullptr);
    scene.framework.ResetCalibration(true);
    EXPECT_EQ(scene.framework.ComputeEdgeDepth(300.0, 20.0, 70, true, true),
              scene.framework.ComputeEdgeDepth(300.0, 20.0, 70, true, false));
}

} // namespace
} // namespace LxCV
