#include "scanner/calibration/calibrationcheck.h"

#include "tests/support/temporaryfolder.h"

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <limits>
#include <memory>
#include <sstream>
#include <string>
#include <string_view>

namespace calibration {
namespace {

constexpr double c_limit = 1.5;

const Perturbation* Find(std::string_view name)
{
    for (const Perturbation& perturbation : Perturbations()) {
        if (perturbation.name == name) {
            return &perturbation;
        }
    }
    return nullptr;
}

CalibrationCheckResult RunOneView(const Perturbation* perturbation)
{
    CalibrationCheck check;
    check.views = 1;
    check.seed = 5;
    check.perturbation = perturbation;
    return Run(check);
}

/// Two views of the true model, rendered once.
class TrueModel : public testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        s_folder = std::make_unique<TestSupport::CTemporaryFolder>();
        CalibrationCheck check;
        check.views = 2;
        check.seed = 3; // its plate does not reach over the whole image
        check.marks = s_folder->GetPath();
        s_result = std::make_unique<CalibrationCheckResult>(calibration::Run(check));
    }

    static void TearDownTestSuite()
    {
        s_result.reset();
        s_folder.reset();
    }

    static inline std::unique_ptr<TestSupport::CTemporaryFolder> s_folder;
    static inline std::unique_ptr<CalibrationCheckResult> s_result;
};

TEST_F(TrueModel, MissesTheMarksByTheirOwnErrorAlone)
{
    // The marks' own errors come from the rendered corners, the library's from coordinates in single precision: on a
    // plate of 22 mm these are rounded by 1e-6 mm, 4e-5 pixels.
    constexpr double c_coordinates = 5e-5;
    const CalibrationCheckResult& result = *s_result;
    EXPECT_EQ(result.Objection(c_limit), "");
    EXPECT_EQ(result.wrong, 0U);
    EXPECT_NEAR(result.camera.library.rms, result.camera.noise.rms, c_coordinates);
    EXPECT_NEAR(result.camera.library.mean, result.camera.noise.mean, c_coordinates);
    EXPECT_NEAR(result.camera.library.largest, result.camera.noise.largest, c_coordinates);
    EXPECT_NEAR(result.projector.Ratio(), 1.0, 1e-6);
}

TEST_F(TrueModel, HasErrorsOfHundredthsOfAPixel)
{
    const CalibrationCheckResult& result = *s_result;
    EXPECT_GT(result.camera.library.rms, 0.01);
    EXPECT_LT(result.camera.library.rms, 0.03);
    EXPECT_GT(result.slideInImage.rms, 0.01);
    EXPECT_LT(result.slideInImage.rms, 0.04);
    // A pixel of the camera is about ten units of the slide wide.
    EXPECT_GT(result.projector.library.rms, 5.0 * result.slideInImage.rms);
    EXPECT_LT(result.projector.library.rms, 20.0 * result.slideInImage.rms);
}

TEST_F(TrueModel, HasTheSameFiguresFromTheLibraryAndFromTheDevicesEquations)
{
    ASSERT_EQ(s_result->views.size(), 2U);
    EXPECT_LE(s_result->difference, c_agreement);
    for (const ViewCheck& view : s_result->views) {
        EXPECT_GE(view.camera.library.marks, 50U);
        EXPECT_LE(DifferenceOf(view.camera.library, view.camera.computed), c_agreement);
        EXPECT_GE(view.projector.library.marks, 50U);
        EXPECT_LE(DifferenceOf(view.projector.library, view.projector.computed), c_agreement);
    }
    EXPECT_NE(s_result->views[0].camera.library.mean, s_result->views[1].camera.library.mean);
    EXPECT_LE(DifferenceOf(s_result->camera.library, s_result->camera.computed), c_agreement);
    EXPECT_LE(DifferenceOf(s_result->projector.library, s_result->projector.computed), c_agreement);
}

TEST_F(TrueModel, HoldsTheMarksOfAllViewsButThoseBesideThePlate)
{
    const ViewCheck& first = s_result->views[0];
    const ViewCheck& second = s_result->views[1];
    EXPECT_EQ(s_result->camera.library.marks, first.camera.library.marks + second.camera.library.marks);
    EXPECT_EQ(s_result->projector.library.marks,
              first.projector.library.marks + second.projector.library.marks);
    EXPECT_GT(first.screened, 0U);
    EXPECT_EQ(first.projector.library.marks + first.screened, first.slideInImage.marks);
}

TEST_F(TrueModel, TellsWhatItGot)
{
    const auto marks = [](std::size_t count) { return std::to_string(count); };
    const ViewCheck& first = s_result->views[0];
    const ViewCheck& second = s_result->views[1];
    const std::size_t all = s_result->camera.library.marks;
    const std::size_t projected = second.projector.library.marks + second.screened;
    EXPECT_NE(s_result->status.find("Added " + marks(second.camera.library.marks) +
                                    " camera calibration marks from new viewpoint. (yielding in total " +
                                    marks(all) + " marks from 2 distinct view(s))\n"),
              std::string::npos)
        << s_result->status;
    EXPECT_NE(
        s_result->status.find("Added " + marks(projected) +
                              " projector calibration marks from current viewpoint. (yielding in total " +
                              marks(s_result->projector.library.marks) + " marks from 1 distinct view(s))\n"),
        std::string::npos)
        << s_result->status;
    EXPECT_EQ(s_result->model.rfind("Calibration of the Structured Light System:\n", 0), 0U)
        << s_result->model;
    EXPECT_NE(s_result->cameraReport.find("(with " + marks(all) + " marks over 2 views)"), std::string::npos)
        << s_result->cameraReport;
    EXPECT_NE(s_result->projectorReport.find("Calibration Results (Slave)\n"), std::string::npos);
    EXPECT_GT(first.camera.library.marks, 0U);
}

TEST_F(TrueModel, LeavesItsMarksAsText)
{
    const auto countLines = [](const std::string& name) {
        std::ifstream file(*s_folder / name);
        std::size_t lines = 0;
        for (std::string line; std::getline(file, line);) {
            std::istringstream numbers(line);
            double u = 0.0, v = 0.0, x = 0.0, y = 0.0, z = 0.0;
            EXPECT_TRUE(numbers >> u >> v >> x >> y >> z) << line;
            ++lines;
        }
        return lines;
    };
    EXPECT_EQ(countLines("camera_view00.txt"), s_result->views[0].camera.library.marks);
    EXPECT_EQ(countLines("camera_view01.txt"), s_result->views[1].camera.library.marks);
    EXPECT_EQ(countLines("projector_view00.txt"), s_result->projector.library.marks);
}

TEST(CalibrationCheck, FindsAWrongFocalLengthOfTheCamera)
{
    const CalibrationCheckResult result = RunOneView(Find("camera-focal-length"));
    EXPECT_EQ(result.Objection(c_limit).rfind("the camera misses the marks by ", 0), 0U)
        << result.Objection(c_limit);
    // 0.1 percent of up to some 400 pixels from the centre
    EXPECT_GT(result.camera.library.largest, 0.2);
    EXPECT_LT(result.camera.library.largest, 0.5);
    EXPECT_GT(result.camera.Ratio(), 5.0);
    EXPECT_LE(result.difference, c_agreement);
}

TEST(CalibrationCheck, FindsAWrongAngleOfTheProjector)
{
    const CalibrationCheckResult result = RunOneView(Find("projector-angle"));
    EXPECT_EQ(result.Objection(c_limit).rfind("the projector misses the marks by ", 0), 0U)
        << result.Objection(c_limit);
    EXPECT_NEAR(result.camera.Ratio(), 1.0, 1e-3);
    // On the slide 0.0005 radians are 0.0005 of its focal length in slide units, and a little more off the axis.
    const device::LensParameters projector = device::DeviceParameters().projector;
    EXPECT_NEAR(result.projector.library.mean, 0.0005 * projector.focalLength / projector.pitchY,
                0.1 * result.projector.library.mean);
    EXPECT_LE(result.difference, c_agreement);
}

TEST(CalibrationCheck, EveryPerturbationChangesTheModel)
{
    for (const Perturbation& perturbation : Perturbations()) {
        device::DeviceParameters changed;
        perturbation.apply(changed);
        EXPECT_NE(device::VirtualDevice(changed).ParameterText("::D"),
                  device::VirtualDevice().ParameterText("::D"))
            << perturbation.name;
        EXPECT_EQ(Find(perturbation.name), &perturbation);
    }
}

TEST(CalibrationCheck, TellsWhyAViewHasNoMarks)
{
    CalibrationCheck check;
    check.views = 1;
    check.noise = 60.0; // drowns both targets
    const CalibrationCheckResult result = calibration::Run(check);
    ASSERT_EQ(result.views.size(), 1U);
    EXPECT_NE(result.views[0].boardProblem, "");
    EXPECT_NE(result.views[0].slideProblem, "");
    EXPECT_EQ(result.camera.library.marks, 0U);
    EXPECT_EQ(result.projector.library.marks, 0U);
    EXPECT_EQ(result.status, "");
    EXPECT_EQ(result.Objection(c_limit), "no marks of the camera were found");
}

/// The view in which one of the squares is found whole, of a plate of eight squares that is blurred and noisy.
TEST(CalibrationCheck, TellsAViewOfTooFewCorners)
{
    CalibrationCheck check;
    check.views = 1;
    check.seed = 3;
    check.blur = 3.0;
    check.noise = 6.0;
    check.board.rows = 2;
    check.board.columns = 4;
    check.board.idOfFirstMarkedSquare = 1;
    const CalibrationCheckResult result = calibration::Run(check);
    ASSERT_EQ(result.views.size(), 1U);
    EXPECT_EQ(result.views[0].boardProblem,
              "found 4 corners that calibration takes, of at least 10 that a view needs");
    EXPECT_EQ(result.camera.library.marks, 0U);
    EXPECT_EQ(result.status.find("Did NOT add the 4 camera calibration marks, as at least 10 per view are "
                                 "needed.\n"),
              0U)
        << result.status;
}

class CalibrationObjection : public testing::Test
{
protected:
    /// A model as good as its marks.
    CalibrationObjection()
    {
        for (DeviceErrors* errors : {&m_result.camera, &m_result.projector}) {
            errors->noise = errors->computed = errors->library = {10, 0.1, 0.05, 0.2, 0.4};
        }
    }

    CalibrationCheckResult m_result;
};

TEST_F(CalibrationObjection, IsNoneWithinTheLimit)
{
    m_result.projector.library.rms = 0.25; // 1.25 times the noise
    EXPECT_EQ(m_result.Objection(1.25), "");
    EXPECT_EQ(m_result.Objection(1.24), "the projector misses the marks by 1.25 times their own error");
}

TEST_F(CalibrationObjection, IsTheCameraBeforeTheProjector)
{
    m_result.camera.library.rms = 0.5;
    m_result.projector.library.rms = 0.6;
    EXPECT_EQ(m_result.Objection(2.0), "the camera misses the marks by 2.5 times their own error");
}

TEST_F(CalibrationObjection, IsAnErrorThatIsNoNumber)
{
    m_result.projector.library.rms = std::numeric_limits<double>::quiet_NaN();
    EXPECT_NE(m_result.Objection(1000.0), "");
}

TEST_F(CalibrationObjection, IsAWrongName)
{
    m_result.wrong = 2;
    EXPECT_EQ(m_result.Objection(c_limit), "2 marks have a wrong name");
}

TEST_F(CalibrationObjection, IsADifferenceBetweenTheTwoComputations)
{
    const std::string message = "the library's figures are not those of the virtual device's equations";
    m_result.difference = 2.0 * c_agreement;
    EXPECT_EQ(m_result.Objection(c_limit), message);
    m_result.difference = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(m_result.Objection(c_limit), message);
}

TEST_F(CalibrationObjection, IsADeviceWithoutMarks)
{
    m_result.projector = {};
    EXPECT_EQ(m_result.Objection(c_limit), "no marks of the projector were found");
}

} // namespace
} // namespace calibration
