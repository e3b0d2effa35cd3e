// Tests of the text reports of cameras.
#include "cameratestsupport.h"
#include "lxcpinholecamera.h"
#include "tests/support/environment.h"

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <numbers>
#include <string>
#include <unistd.h>

namespace LxCV {
namespace {

/// f = 1, pitches 1, principal point (0, 0), no distortion; placed at the origin.
LxCPinholeCamera UnitCamera()
{
    LxCPinholeCamera camera;
    SetUnitLens(camera);
    return camera;
}

/// A mark at (0, 0, 1) seen at (e, 0).
void AddMark(LxCPinholeCamera& camera, double e, bool newView)
{
    CalibMarks marks = {new LxCCalibrationData(0.0, 0.0, 1.0, e, 0.0, 1.0)};
    camera.AddCalibData(&marks, newView);
}

void MakeOrientations(LxCPinholeCamera& camera)
{
    camera.PerformCalib(LxCPinholeCamera::eCalibMethodTsai, false, nullptr, 0, 0, 0.0, 0, false, 0.0F, 0.0F,
                        nullptr);
}

std::string Print(const LxCPinholeCamera& camera, bool external = false)
{
    std::string text;
    camera.PrintCalibResults(external, text, true, false);
    return text;
}

const std::string kUnitIntrinsics = "\nf\t= 1  [mm] (fy=0)\n"
                                    "kappa2\t= 0.000000e+00 [1/mm^2],kappa4\t= 0.000000e+00 [1/mm^4]"
                                    "kappa6\t= 0.000000e+00 [1/mm^6]\n\n"
                                    "tau1\t= 0.000000e+00 [1/mm^2],\ttau2\t= 0.000000e+00 [1/mm^2]\n\n"
                                    "Cx\t= 0.000000, Cy\t= 0.000000 [pix]";
const std::string kUnitPlacement = "Tx =   0.000000 Ty =   0.000000 Tz =   0.000000 [mm]\n"
                                   "Rx =   0.000000 Ry =   0.000000 Rz =   0.000000 [deg]\n"
                                   "\t  1.000000   0.000000   0.000000\n"
                                   "R =\t  0.000000   1.000000   0.000000\n"
                                   "\t  0.000000   0.000000   1.000000\n";

TEST(CalibrationReports, WithoutMarksThereAreParametersAndAngleOnly)
{
    EXPECT_EQ(Print(UnitCamera()), "Calibration Results (Master)\n" + kUnitIntrinsics + "\n\n" +
                                       kUnitPlacement +
                                       "\n\n"
                                       "\nAngle Image Plane vs. Calibration Plane: 0\n\n");
}

TEST(CalibrationReports, ExternalReportLeavesTheLensOut)
{
    EXPECT_EQ(Print(UnitCamera(), true), "External Calibration Status (Master)\n" + kUnitPlacement +
                                             "\n\n"
                                             "\nAngle Image Plane vs. Calibration Plane: 0\n\n");
}

TEST(CalibrationReports, WholeReportOfTwoViews)
{
    // Last view: one mark with error 0.75 pixels, 3/5 mm from its ray, and 0.75 sqrt 6 = 1.837117 of a
    // projected pixel. Over both views: errors 0.25 and 0.75, mean 0.5, deviation sqrt(0.125) = 0.353553,
    // rms sqrt(0.3125) = 0.559017.
    LxCPinholeCamera camera = UnitCamera();
    AddMark(camera, 0.25, true);
    AddMark(camera, 0.75, true);
    MakeOrientations(camera);
    EXPECT_EQ(Print(camera), "Calibration Results (Master)\n" + kUnitIntrinsics + "\n\n" + kUnitPlacement +
                                 "\n\n"
                                 "Distorted image plane error:\n"
                                 "mean = 0.75, stddev = 0, max = 0.75, rms = 0.75 [pix]\n\n"
                                 "Undistorted image plane error:\n"
                                 "mean = 0.75, stddev = 0, max = 0.75, rms = 0.75 [pix]\n\n"
                                 "Undistorted image plane error over all images:\n"
                                 "mean = 0.5, stddev = 0.353553, max = 0.75, rms = 0.559017 [pix]\n\n"
                                 "Object space error:\n"
                                 "mean = 0.6, stddev = 0, max = 0.6, rms = 0.6 [mm]\n\n"
                                 "Normalized calibration error: 1.83712\n"
                                 "\nAngle Image Plane vs. Calibration Plane: 0\n\n"
                                 "(with 2 marks over 2 views)\n\n\n");
}

TEST(CalibrationReports, OneViewOrNoOrientationsHasNoBlockOverAllImages)
{
    LxCPinholeCamera camera = UnitCamera();
    AddMark(camera, 0.25, true);
    MakeOrientations(camera);
    EXPECT_EQ(Print(camera).find("over all images"), std::string::npos);
    EXPECT_NE(Print(camera).find("(with 1 marks over 1 views)\n\n\n"), std::string::npos);
    LxCPinholeCamera other = UnitCamera();
    AddMark(other, 0.25, true);
    AddMark(other, 0.25, true);
    EXPECT_EQ(Print(other).find("over all images"), std::string::npos);
}

TEST(CalibrationReports, SlaveHasNoObjectSpaceBlock)
{
    LxCPinholeCamera master, camera = UnitCamera();
    AddMark(camera, 0.25, true);
    camera.SetMasterCam(&master);
    const std::string text = Print(camera);
    EXPECT_EQ(text.rfind("Calibration Results (Slave)\n", 0), 0U);
    EXPECT_EQ(Print(camera, true).rfind("External Calibration Status (Slave)\n", 0), 0U);
    EXPECT_EQ(text.find("Object space error:\n"), std::string::npos);
    EXPECT_NE(text.find("Distorted image plane error:\n"), std::string::npos);
}

TEST(CalibrationReports, AngleIsThatOfTheTiltInDegrees)
{
    LxCPinholeCamera camera = UnitCamera();
    camera.ReadFromEulerAnglesAndVector(std::numbers::pi / 6.0, 0.0, 0.5, 1.0, 2.0, 3.0);
    EXPECT_NE(Print(camera).find("\nAngle Image Plane vs. Calibration Plane: 30\n\n"), std::string::npos);
    camera.ReadFromEulerAnglesAndVector(std::numbers::pi, 0.0, 0.0, 0.0, 0.0, 300.0);
    EXPECT_NE(Print(camera).find("Calibration Plane: 180\n"), std::string::npos);
    // The angle is to the world's plane, over the master too.
    LxCPinholeCamera slave = UnitCamera();
    slave.SetMasterCam(&camera);
    EXPECT_NE(Print(slave).find("Calibration Plane: 180\n"), std::string::npos);
}

TEST(CalibrationReports, TextIsAppendedPrependedOrAlone)
{
    const LxCPinholeCamera camera = UnitCamera();
    const std::string report = Print(camera);
    std::string text = "before";
    camera.PrintCalibResults(false, text, true, false);
    EXPECT_EQ(text, "before" + report);
    text = "after";
    camera.PrintCalibResults(false, text, false, false);
    EXPECT_EQ(text, report + "after");
    camera.PrintCalibResults(false, text, true, true);
    EXPECT_EQ(text, report);
    camera.PrintCalibResults(false, text, false, true);
    EXPECT_EQ(text, report);
}

TEST(CalibrationReports, NumbersDoNotDependOnTheLocale)
{
    LxCPinholeCamera camera = UnitCamera();
    AddMark(camera, 1234.5, true);
    const std::string before = Print(camera);
    const TestSupport::CCommaDecimalLocale commas;
    EXPECT_EQ(Print(camera), before);
}

class CalibrationReportFiles : public testing::Test
{
protected:
    CalibrationReportFiles() { std::filesystem::remove_all(m_Path); }
    ~CalibrationReportFiles() override { std::filesystem::remove_all(m_Path); }

    std::string Write(const LxCPinholeCamera& camera) const
    {
        camera.WriteCalibResults(m_Path.string());
        std::ifstream file(m_Path, std::ios::binary);
        EXPECT_TRUE(file.is_open());
        return {std::istreambuf_iterator<char>(file), {}};
    }

    std::filesystem::path m_Path =
        std::filesystem::temp_directory_path() /
        (std::string("lxcv_report_") + testing::UnitTest::GetInstance()->current_test_info()->name() + "_" +
         std::to_string(::getpid()) + ".txt");
};

TEST_F(CalibrationReportFiles, WholeFileOfTheRadialModel)
{
    LxCPinholeCamera camera = UnitCamera();
    camera.GetIntrinsicParams()->SetSecondFocalLength(2.5);
    AddMark(camera, 0.25, true);
    AddMark(camera, 0.75, true);
    MakeOrientations(camera);
    EXPECT_EQ(Write(camera),
              "Calibration Results:\n\n"
              "\nf\t= 1.000000  [mm] (2.500000)\n"
              "kappa2\t= 0.000000e+00 [1/mm^2],kappa4\t= 0.000000e+00 [1/mm^4]\n"
              "tau1\t= 0.000000e+00 [1/mm^2],\ttau2\t= 0.000000e+00 [1/mm^2]\n\n" +
                  kUnitPlacement +
                  "\n\n"
                  "Cx\t= 0.000000, Cy\t= 0.000000 [pixels}\n\n"
                  "Tz/f\t= 0.000000\n\n"
                  "distorted image plane error:\n"
                  "mean = 0.750000, stddev = 0.000000, max = 0.750000, rms = 0.750000 [pix]\n\n"
                  "undistorted image plane error:\n"
                  "mean = 0.750000, stddev = 0.000000, max = 0.750000, rms = 0.750000 [pix]\n\n"
                  "undistorted image plane error over all images:\n"
                  "mean = 0.500000, stddev = 0.353553, max = 0.750000, rms = 0.559017 [pix]\n\n"
                  "object space error:\n"
                  "mean = 0.600000, stddev = 0.000000, max = 0.600000, rms = 0.600000 [mm]\n\n"
                  "normalized calibration error:  1.837117\n");
}

TEST_F(CalibrationReportFiles, StatisticsThatCannotBeMadeAreZeros)
{
    LxCPinholeCamera camera = UnitCamera();
    camera.MakeTranslation(LxC3DCoordsCCT(0.0, 0.0, 250.0));
    camera.GetIntrinsicParams()->SetFocalLength(25.0);
    camera.GetIntrinsicParams()->SetPrincipalPoint(330.25, 240.5);
    camera.GetIntrinsicParams()->SetUseTsai(true);
    camera.GetIntrinsicParams()->SetKappas(1e-3, -2e-4, 3e-5, 4.5e-6);
    const std::string text = Write(camera);
    const std::string zeros = "mean = 0.000000, stddev = 0.000000, max = 0.000000, rms = 0.000000";
    EXPECT_EQ(text.rfind("Calibration Results:\n\n\nf\t= 25.000000  [mm] (0.000000)\n"
                         "kappa1\t= 1.000000e-03 [1/mm],kappa2\t= -2.000000e-04 [1/mm^2]\n"
                         "kappa3\t= 3.000000e-05 [1/mm^3],kappa4\t= 4.500000e-06 [1/mm^4]\n"
                         "Tx = ",
                         0),
              0U);
    EXPECT_NE(text.find("Cx\t= 330.250000, Cy\t= 240.500000 [pixels}\n\nTz/f\t= 10.000000\n\n"
                        "distorted image plane error:\n" +
                        zeros + " [pix]\n\nundistorted image plane error:\n" + zeros +
                        " [pix]\n\nobject space error:\n" + zeros +
                        " [mm]\n\nnormalized calibration error:  0.000000\n"),
              std::string::npos);
}

TEST_F(CalibrationReportFiles, NumbersDoNotDependOnTheLocale)
{
    LxCPinholeCamera camera = UnitCamera();
    camera.GetIntrinsicParams()->SetPrincipalPoint(1330.25, 240.5);
    AddMark(camera, 1234.5, true);
    const std::string before = Write(camera);
    EXPECT_NE(before.find("Cx\t= 1330.250000, Cy\t= 240.500000 [pixels}"), std::string::npos);
    const TestSupport::CCommaDecimalLocale commas;
    EXPECT_EQ(Write(camera), before);
}

TEST_F(CalibrationReportFiles, AllViewsWithoutOrientationsAreZeros)
{
    LxCPinholeCamera camera = UnitCamera();
    AddMark(camera, 0.25, true);
    AddMark(camera, 0.75, true);
    EXPECT_NE(
        Write(camera).find("undistorted image plane error over all images:\n"
                           "mean = 0.000000, stddev = 0.000000, max = 0.000000, rms = 0.000000 [pix]\n\n"),
        std::string::npos);
}

TEST_F(CalibrationReportFiles, FileThatCannotBeOpenedIsPassedOver)
{
    UnitCamera().WriteCalibResults((m_Path / "no" / "folder.txt").string());
    EXPECT_FALSE(std::filesystem::exists(m_Path));
}

} // namespace
} // namespace LxCV
