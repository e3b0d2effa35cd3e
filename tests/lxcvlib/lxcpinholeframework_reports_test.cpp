// Tests of what the camera model tells about its calibration.
#include "cameratestsupport.h"
#include "frameworkprobe.h"
#include "lxcpinholeframework.h"
#include "orx/logging/logger.h"
#include "tests/support/environment.h"
#include "tests/support/temporaryfolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <limits>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace LxCV {
namespace {

using ::TestSupport::CCommaDecimalLocale;
using ::TestSupport::CTemporaryFolder;
using ::TestSupport::ReadFile;

class CReportProbe : public TestSupport::CFrameworkProbe
{
public:
    using CFrameworkProbe::CFrameworkProbe;
    using LxCPinholeFramework::DebugPrintCalibResultsPart1;
    using LxCPinholeFramework::DebugPrintCalibResultsPart2;
    using LxCPinholeFramework::DebugPrintCalibResultsPart3;
};

ECalibError Code(int number)
{
    return static_cast<ECalibError>(number);
}

// --------------------------------------------------------------------------------------------------- status text

/// Texts of the codes that have one of their own.
const std::map<int, std::string> c_Texts = {
    {2, "Some camera parameters required for camera calibration are missing. Please specify all parameters "
        "and try again."},
    {3, "The data file with the world co-ordinates of the calibration marks was not found. Please check "
        "whether you specified it correctly."},
    {4, "The data file with the coordinates of the calibration target could not be read correctly. The "
        "format should be x y z separated by white space."},
    {5, "There was a problem with or within the calibration library."},
    {7, "Memory allocation failed during calibration."},
    {8, "The number of located and identified calibration marks is insufficient."},
    {9, "The camera needs to be calibrated for projector calibration, but it is not."},
    {10, "This type of calibration is currently not supported."},
    {11, "This calibration method is currently not supported."},
    {12, "Cannot convert a calibration mark id to world coordinates."},
    {13, "The calibration target does not have the required orientation."},
    {14, "Could not find the four small white squares (the ones embedded within the larger black squares). "
         "All four of them need to be visible."},
    {15, "The small white squares could be detected, but the tilt of the calibration target is too strong."},
    {21, "Could not find enough reference marks for identification"},
    {26, "The camera calibration could be performed, but the quality of the result is insufficient. Make "
         "sure rectification is turned off."},
    {27, "Could find some usable camera calibration marks, but not enough for a high-quality calibration."},
    {31,
     "Could not improve projector calibration marks. The vertical polynomial fit (magenta) is insufficient."},
    {32, "Could not fit enough vertical polynomials (magenta)."},
    {33, "Could not improve projector calibration marks. The horizontal polynomial fit (yellow) is "
         "insufficient."},
    {34, "Discard images by user decision."},
    {43, "mirror tube error"},
};

TEST(CalibrationStatus, EveryCodeHasItsText)
{
    for (int code = 1; code <= 60; ++code) {
        LxCPinholeFramework framework;
        framework.InterpretCalibError(Code(code));
        const auto found = c_Texts.find(code);
        EXPECT_EQ(framework.GetCalibStatus(),
                  (found != c_Texts.end() ? found->second : "general error") + "\n")
            << code;
    }
}

TEST(CalibrationStatus, SuccessHasNoText)
{
    LxCPinholeFramework framework;
    framework.InterpretCalibError(eCalibOk);
    EXPECT_EQ(framework.GetCalibStatus(), "");
    framework.InterpretCalibError(eCalibMirrorTube);
    framework.InterpretCalibError(eCalibOk);
    EXPECT_EQ(framework.GetCalibStatus(), "mirror tube error\n");
}

TEST(CalibrationStatus, NumbersThatAreNoCodesAreGeneralErrors)
{
    for (const int code : {-1, 61, 1000, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()}) {
        LxCPinholeFramework framework;
        framework.InterpretCalibError(Code(code));
        EXPECT_EQ(framework.GetCalibStatus(), "general error\n") << code;
    }
}

TEST(CalibrationStatus, TextsFollowEachOther)
{
    LxCPinholeFramework framework;
    framework.InterpretCalibError(eCalibOpenCVUnavailable);
    framework.InterpretCalibError(eCalibDiscardedByUser);
    framework.InterpretCalibError(eCalibOpenCVUnavailable);
    EXPECT_EQ(framework.GetCalibStatus(), "general error\nDiscard images by user decision.\ngeneral error\n");
}

TEST(CalibrationStatus, IsGivenAsACopy)
{
    LxCPinholeFramework framework;
    framework.InterpretCalibError(eCalibMirrorTube);
    std::string copy = framework.GetCalibStatus();
    copy.clear();
    EXPECT_EQ(framework.GetCalibStatus(), "mirror tube error\n");
}

TEST(CalibrationStatus, IsPrintedBehindOrBeforeWhatThereIs)
{
    const std::string text = "mirror tube error\n\n\n";
    for (const bool append : {false, true}) {
        for (const bool clear : {false, true}) {
            LxCPinholeFramework framework;
            framework.InterpretCalibError(eCalibMirrorTube);
            std::string out = "old";
            framework.PrintCalibStatus(out, append, clear);
            EXPECT_EQ(out, clear ? text : append ? "old" + text : text + "old") << append << clear;
            EXPECT_EQ(framework.GetCalibStatus(), "");
        }
    }
}

TEST(CalibrationStatus, SecondPrintChangesNothing)
{
    LxCPinholeFramework framework;
    framework.InterpretCalibError(eCalibMirrorTube);
    std::string out;
    framework.PrintCalibStatus(out, true, true);
    for (const bool append : {false, true}) {
        for (const bool clear : {false, true}) {
            framework.PrintCalibStatus(out, append, clear);
            EXPECT_EQ(out, "mirror tube error\n\n\n") << append << clear;
        }
    }
}

TEST(CalibrationStatus, TextsAfterPrintingStartAnew)
{
    LxCPinholeFramework framework;
    framework.InterpretCalibError(eCalibMirrorTube);
    std::string out;
    framework.PrintCalibStatus(out, true, false);
    framework.InterpretCalibError(eCalibDiscardedByUser);
    framework.PrintCalibStatus(out, true, false);
    EXPECT_EQ(out, "mirror tube error\n\n\nDiscard images by user decision.\n\n\n");
}

// ---------------------------------------------------------------------------------------------- calibration data

/// The camera at (1.25, -2.5, 100) in the world, the projector at (3, -4.5, -2) from it; no turns.
TestSupport::CCameraModel ShiftedModel()
{
    TestSupport::CCameraModel model = TestSupport::PlainModel();
    model.camera.t = {-1.25, 2.5, -100.0};
    model.camera.r = {0.0, 0.0, 0.0};
    model.camera.k2 = -0.125;
    model.projector.t = {-3.0, 4.5, 2.0};
    model.projector.r = {0.0, 0.0, 0.0};
    model.projector.useTsai = true;
    model.projector.kappa2 = 0.0078125;
    return model;
}

const std::string c_sShiftedReport =
    "Calibration of the Structured Light System:\n"
    "\n"
    "Camera Position (World Co's):\n"
    "1.25 -2.50 100.00\n"
    "\n"
    "Internal Camera Parameters:\n"
    "\n"
    "f\t= 9.5  [mm] (fy=0)\n"
    "kappa2\t= -1.250000e-01 [1/mm^2],kappa4\t= 0.000000e+00 [1/mm^4]kappa6\t= 0.000000e+00 [1/mm^6]\n"
    "\n"
    "tau1\t= 0.000000e+00 [1/mm^2],\ttau2\t= 0.000000e+00 [1/mm^2]\n"
    "\n"
    "Cx\t= 331.000000, Cy\t= 245.000000 [pix]\n"
    "\n"
    "\n"
    "Projector Position (Camera Co's):\n"
    "4.25 -7.00 98.00\n" // in the world, whatever the label says
    "\n"
    "Internal Projector Parameters:\n"
    "\n"
    "f\t= 11  [mm] (fy=0)\n"
    "kappa1\t= 0.000000e+00 [1/mm],kappa2\t= 7.812500e-03 [1/mm^2]\n"
    "\n"
    "kappa3\t= 0.000000e+00 [1/mm^3],kappa4\t= 0.000000e+00 [1/mm^4]\n"
    "\n"
    "Cx\t= 3490.000000, Cy\t= 3520.000000 [pix]";

std::string CalibData(const LxCPinholeFramework& framework)
{
    std::string out = "old";
    framework.PrintCalibData(out);
    return out;
}

TEST(CalibrationData, WholeReportOfACalibratedSystem)
{
    const CReportProbe framework(ShiftedModel());
    ASSERT_TRUE(framework.IsCalibrated());
    EXPECT_EQ(CalibData(framework), c_sShiftedReport);
}

TEST(CalibrationData, UncalibratedSystemHasOneSentence)
{
    EXPECT_EQ(CalibData(LxCPinholeFramework()), "The Structured Light System is currently not calibrated");
    TestSupport::CCameraModel model = ShiftedModel();
    model.projector.calibrated = false;
    EXPECT_EQ(CalibData(CReportProbe(model)), "The Structured Light System is currently not calibrated");
}

TEST(CalibrationData, DoesNotDependOnTheLocale)
{
    TestSupport::CCameraModel model = ShiftedModel();
    model.camera.t[2] = -12345.5;
    const CReportProbe framework(model);
    const std::string before = CalibData(framework);
    EXPECT_NE(before.find("\n1.25 -2.50 12345.50\n"), std::string::npos);
    const CCommaDecimalLocale commas;
    EXPECT_EQ(CalibData(framework), before);
}

TEST(CalibrationData, PlacesAreThoseOfTheWorldForTurnedDevices)
{
    // Two decimals round by half of 0.01, and as much again for sums that end near the middle.
    constexpr double c_dRounding = 0.005 + 1e-9;
    std::mt19937_64 random(41);
    std::uniform_real_distribution<double> angle(-3.0, 3.0);
    std::uniform_real_distribution<double> shift(-200.0, 200.0);
    for (int trial = 0; trial < 20; ++trial) {
        TestSupport::CCameraModel model = TestSupport::PlainModel();
        for (std::size_t i = 0; i < 3; ++i) {
            model.camera.r[i] = angle(random);
            model.camera.t[i] = shift(random);
            model.projector.r[i] += 0.01 * angle(random);
            model.projector.t[i] += 0.01 * shift(random);
        }
        const CReportProbe framework(model);
        ASSERT_TRUE(framework.IsCalibrated()) << trial;
        const std::string text = CalibData(framework);
        const TestSupport::Vector projectorInCamera = OuterFromInner(model.projector, {0, 0, 0});
        const std::map<std::string, TestSupport::Vector> expected = {
            {"Camera Position (World Co's):\n", OuterFromInner(model.camera, {0, 0, 0})},
            {"Projector Position (Camera Co's):\n", OuterFromInner(model.camera, projectorInCamera)}};
        for (const auto& [label, place] : expected) {
            std::istringstream line(text.substr(text.find(label) + label.size()));
            for (std::size_t i = 0; i < 3; ++i) {
                double value = std::numeric_limits<double>::quiet_NaN();
                line >> value;
                EXPECT_NEAR(value, static_cast<double>(place[i]), c_dRounding) << label << trial;
            }
        }
    }
}

// ------------------------------------------------------------------------------------------------- files of marks

using Line = std::vector<double>;
using Lines = std::vector<Line>;

struct CMark
{
    double x, y, z, u, v;
};

/// A view with these marks, by AddCalibData.
void AddView(LxCPinholeCamera& device, const std::vector<CMark>& marks)
{
    CalibMarks records;
    for (const CMark& mark : marks) {
        records.push_back(new LxCCalibrationData(mark.x, mark.y, mark.z, mark.u, mark.v, 1.0));
    }
    device.AddCalibData(&records, true);
}

/// Numbers by blanks, lines by line feeds, nothing else.
Lines ParseLines(const std::string& text)
{
    Lines lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        Line numbers;
        const char* place = line.c_str();
        while (true) {
            char* end = nullptr;
            numbers.push_back(std::strtod(place, &end));
            if (end == place || *end != ' ') {
                EXPECT_TRUE(end != place && *end == '\0') << line;
                break;
            }
            place = end + 1;
        }
        lines.push_back(numbers);
    }
    return lines;
}

class CalibrationFiles : public testing::Test
{
protected:
    CalibrationFiles()
    {
        SetUnitLens(*m_Framework.GetCamera());
        SetUnitLens(*m_Framework.GetProjector());
    }

    std::vector<std::string> FileNames() const
    {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(m_Folder.GetPath())) {
            names.push_back(entry.path().filename().string());
        }
        std::sort(names.begin(), names.end());
        return names;
    }

    std::string Text(const std::string& name) const
    {
        EXPECT_TRUE(std::filesystem::exists(m_Folder / name)) << name;
        return ReadFile(m_Folder / name);
    }

    void Part1() { Part1(m_Framework.GetCamera(), m_Framework.GetProjector()); }
    void Part1(const LxCPinholeCamera* camera, const LxCPinholeCamera* projector)
    {
        m_Framework.DebugPrintCalibResultsPart1(m_sDirectory, camera, projector);
    }

    void Part3(LxCCoordSysTrans* transforms)
    {
        m_Framework.DebugPrintCalibResultsPart3(m_sDirectory, m_Framework.GetCamera(),
                                                m_Framework.GetProjector(), transforms);
    }

    CTemporaryFolder m_Folder;
    std::string m_sDirectory = m_Folder.GetPath().string();
    CReportProbe m_Framework;
};

TEST_F(CalibrationFiles, FirstPartWritesPixelsAndPointsOfEachView)
{
    AddView(*m_Framework.GetCamera(), {{1.0, 2.0, 3.0, 330.5, 240.25}, {-1.5, 0.1, 0.0, 7.0, 8.0}});
    AddView(*m_Framework.GetProjector(), {{0.25, -0.5, 31.0, 3500.0, 3600.125}});
    AddView(*m_Framework.GetProjector(), {{4.0, 5.0, 6.0, 7.0, 8.0}, {9.0, 10.0, 11.0, 12.0, 13.0}});
    Part1();
    EXPECT_EQ(FileNames(),
              (std::vector<std::string>{"CamCalib_SensorCoords_000.xyz", "ProjCalib_SensorCoords_000.xyz",
                                        "ProjCalib_SensorCoords_001.xyz", "ProjCalib_pre_5dArray_000.xyz",
                                        "ProjCalib_pre_5dArray_001.xyz"}));
    EXPECT_EQ(Text("CamCalib_SensorCoords_000.xyz"), "330.5 240.25\n7 8\n");
    EXPECT_EQ(Text("ProjCalib_SensorCoords_000.xyz"), "3500 3600.125\n");
    EXPECT_EQ(Text("ProjCalib_SensorCoords_001.xyz"), "7 8\n12 13\n");
    EXPECT_EQ(Text("ProjCalib_pre_5dArray_000.xyz"), "0.25 -0.5 31 3500 3600.125\n");
    EXPECT_EQ(Text("ProjCalib_pre_5dArray_001.xyz"), "4 5 6 7 8\n9 10 11 12 13\n");
}

TEST_F(CalibrationFiles, CameraMayHaveMoreViewsThanTheProjector)
{
    for (int view = 0; view < 3; ++view) {
        AddView(*m_Framework.GetCamera(), {{1.0, 2.0, 3.0, 4.0, 5.0 + view}});
    }
    Part1();
    EXPECT_EQ(FileNames(),
              (std::vector<std::string>{"CamCalib_SensorCoords_000.xyz", "CamCalib_SensorCoords_001.xyz",
                                        "CamCalib_SensorCoords_002.xyz"}));
    EXPECT_EQ(Text("CamCalib_SensorCoords_002.xyz"), "4 7\n");
}

TEST_F(CalibrationFiles, MarksThatAreZeroOrNullHaveNoLine)
{
    CalibMarks marks = {nullptr, new LxCCalibrationData(),
                        new LxCCalibrationData(0.0, 0.0, 0.0, 0.0, 2.0, 1.0), nullptr};
    marks[1]->m_dX2 = 5.0; // no part of a mark's place
    m_Framework.GetProjector()->AddCalibData(&marks, true);
    AddView(*m_Framework.GetCamera(), {{0.0, 0.0, 0.0, 0.0, 0.0}, {0.0, 0.0, 1.0, 0.0, 0.0}});
    Part1();
    Part3(nullptr);
    EXPECT_EQ(Text("ProjCalib_SensorCoords_000.xyz"), "0 2\n");
    EXPECT_EQ(Text("ProjCalib_pre_5dArray_000.xyz"), "0 0 0 0 2\n");
    EXPECT_EQ(Text("CamCalib_SensorCoords_000.xyz"), "0 0\n");
    EXPECT_EQ(Text("CamCalib_5DArray_000.xyz"), "0 0 1 0 0\n");
    EXPECT_EQ(Text("ProjCalib_3dCoords.xyz"), "0 0 0\n");
    EXPECT_EQ(Text("ProjCalib_5dArray.xyz"), "0 0 0 0 2\n");
}

TEST_F(CalibrationFiles, EmptyViewHasAnEmptyFile)
{
    AddView(*m_Framework.GetCamera(), {{1.0, 2.0, 3.0, 4.0, 5.0}});
    AddView(*m_Framework.GetCamera(), {});
    AddView(*m_Framework.GetCamera(), {{1.0, 2.0, 3.0, 6.0, 7.0}});
    Part1();
    EXPECT_EQ(Text("CamCalib_SensorCoords_001.xyz"), "");
    EXPECT_EQ(Text("CamCalib_SensorCoords_002.xyz"), "6 7\n");
}

TEST_F(CalibrationFiles, ViewNumbersHaveThreeDigitsOrMore)
{
    for (int view = 0; view < 1001; ++view) {
        AddView(*m_Framework.GetCamera(), {{0.0, 0.0, 0.0, 1.0, 2.0}});
    }
    // The names are seen where files cannot be written, which is faster than writing a thousand.
    m_sDirectory += "/absent";
    const Logging::CCapture log;
    Part1(m_Framework.GetCamera(), nullptr);
    ASSERT_EQ(log.GetRecords().size(), 1001U);
    for (const auto& [view, number] : std::map<std::size_t, std::wstring>{
             {0, L"000"}, {9, L"009"}, {10, L"010"}, {999, L"999"}, {1000, L"1000"}}) {
        const std::wstring text = log.GetRecords()[view].text;
        EXPECT_NE(text.find(L"\\CamCalib_SensorCoords_" + number + L".xyz>"), std::wstring::npos) << view;
    }
}

TEST_F(CalibrationFiles, NumbersGiveTheSameDoublesAgain)
{
    std::mt19937_64 random(7);
    std::uniform_real_distribution<double> exponent(-300.0, 300.0);
    std::vector<CMark> marks;
    Lines expected;
    for (int i = 0; i < 2000; ++i) {
        std::array<double, 5> n{};
        for (double& number : n) {
            number = std::pow(10.0, exponent(random)) * (random() % 2 == 0 ? 1.0 : -1.0);
        }
        marks.push_back({n[0], n[1], n[2], n[3], n[4]});
        expected.emplace_back(n.begin(), n.end());
    }
    AddView(*m_Framework.GetProjector(), marks);
    const CCommaDecimalLocale commas;
    Part1();
    Part3(nullptr);
    EXPECT_EQ(ParseLines(Text("ProjCalib_pre_5dArray_000.xyz")), expected);
    EXPECT_EQ(ParseLines(Text("ProjCalib_5dArray.xyz")), expected);
}

TEST_F(CalibrationFiles, NumbersThatAreNotFiniteAreWrittenAsWords)
{
    AddView(*m_Framework.GetCamera(), {{1.0, 2.0, 3.0, std::numeric_limits<double>::quiet_NaN(),
                                        -std::numeric_limits<double>::infinity()}});
    Part1();
    EXPECT_EQ(Text("CamCalib_SensorCoords_000.xyz"), "nan -inf\n");
}

TEST_F(CalibrationFiles, OldFilesAreReplaced)
{
    ::TestSupport::WriteFile(m_Folder / "CamCalib_SensorCoords_000.xyz", std::string(1000, 'x'));
    AddView(*m_Framework.GetCamera(), {{1.0, 2.0, 3.0, 4.0, 5.0}});
    Part1();
    EXPECT_EQ(Text("CamCalib_SensorCoords_000.xyz"), "4 5\n");
}

TEST_F(CalibrationFiles, DevicesThatAreNullHaveNoFiles)
{
    AddView(*m_Framework.GetCamera(), {{1.0, 2.0, 3.0, 4.0, 5.0}});
    Part1(nullptr, nullptr);
    EXPECT_TRUE(FileNames().empty());
    m_Framework.DebugPrintCalibResultsPart3(m_sDirectory, nullptr, nullptr, nullptr);
    EXPECT_EQ(FileNames(), std::vector<std::string>{"log.txt"});
    EXPECT_EQ(Text("log.txt"), "");
}

TEST_F(CalibrationFiles, DirectoryIsAPathTextWithEitherSeparator)
{
    std::filesystem::create_directories(m_Folder.GetPath() / "a" / "b");
    AddView(*m_Framework.GetCamera(), {{1.0, 2.0, 3.0, 4.0, 5.0}});
    for (const char* below : {"/a/b", "\\a\\b", "\\a/b\\"}) {
        std::string directory = m_sDirectory + below;
        const std::string before = directory;
        m_Framework.DebugPrintCalibResultsPart1(directory, m_Framework.GetCamera(), nullptr);
        EXPECT_EQ(directory, before);
        EXPECT_TRUE(std::filesystem::remove(m_Folder.GetPath() / "a" / "b" / "CamCalib_SensorCoords_000.xyz"))
            << below;
    }
}

// -------------------------------------------------------------------------------------- files with orientations

/// A transform from six numbers: angles (radians) and translation (mm).
LxCCoordSysTrans Transform(const std::array<double, 6>& six)
{
    LxCCoordSysTrans transform;
    transform.ReadFromEulerAnglesAndVector(six.data());
    return transform;
}

/// A pinhole without distortion.
SLens PlainLens()
{
    SLens lens;
    lens.k2 = lens.k4 = lens.k6 = lens.t1 = lens.t2 = 0.0L;
    return lens;
}

/// Where the ray of a pixel meets the plane at height z of the target, by the definition of the pinhole: with the
/// target's frame led to the camera's by R and t, the centre is at -R't and the ray's direction R'd.
std::array<double, 2> SeenOnTarget(const SLens& lens, const SPose& pose, const CMark& mark)
{
    const std::array<long double, 3> d = {(mark.u - lens.cx) * lens.dx / lens.f,
                                          (mark.v - lens.cy) * lens.dy / lens.f, 1.0L};
    std::array<long double, 3> centre{};
    std::array<long double, 3> direction{};
    for (std::size_t row = 0; row < 3; ++row) {
        for (std::size_t i = 0; i < 3; ++i) {
            centre[i] -= pose.r[3 * row + i] * pose.t[row];
            direction[i] += pose.r[3 * row + i] * d[row];
        }
    }
    const long double length = (mark.z - centre[2]) / direction[2];
    return {static_cast<double>(centre[0] + length * direction[0]),
            static_cast<double>(centre[1] + length * direction[1])};
}

/// Views of marks that the camera of a pose sees within two pixels, and their poses.
struct CViews
{
    std::vector<std::array<double, 6>> poses;
    std::vector<std::vector<CMark>> marks;
    std::vector<LxCCoordSysTrans> transforms;
};

CViews MakeViews(LxCPinholeCamera& camera, int count, int marksEach)
{
    std::mt19937 random(11);
    std::uniform_real_distribution<double> miss(-2.0, 2.0);
    const SLens lens = PlainLens();
    SetLens(camera, lens);
    CViews views;
    for (int view = 0; view < count; ++view) {
        const std::array<double, 6> six = RandomPose(random);
        std::vector<CMark> marks;
        for (int i = 0; i < marksEach; ++i) {
            const LxC3DCoordsCCT point = RandomPoint(random);
            const auto pixel = lens.Project(MakePose(six).Apply(point.x, point.y, point.z));
            marks.push_back({point.x, point.y, point.z, static_cast<double>(pixel[0]) + miss(random),
                             static_cast<double>(pixel[1]) + miss(random)});
        }
        AddView(camera, marks);
        views.poses.push_back(six);
        views.marks.push_back(marks);
        views.transforms.push_back(Transform(six));
    }
    return views;
}

/// Lengths of some 200 mm have an error of 3e-14 a step, a hundred times that is plenty.
constexpr double c_dTolerance = 1e-11;

void ExpectLine(const Line& line, const std::vector<double>& expected)
{
    ASSERT_EQ(line.size(), expected.size());
    for (std::size_t i = 0; i < line.size(); ++i) {
        EXPECT_NEAR(line[i], expected[i], c_dTolerance) << i;
    }
}

TEST_F(CalibrationFiles, ThirdPartLeadsPointsIntoTheCamera)
{
    CViews views = MakeViews(*m_Framework.GetCamera(), 4, 250);
    Part3(views.transforms.data());
    for (std::size_t view = 0; view < 4; ++view) {
        const SPose pose = MakePose(views.poses[view]);
        const Lines lines = ParseLines(Text("CamCalib_3D_Coords_00" + std::to_string(view) + ".xyz"));
        ASSERT_EQ(lines.size(), views.marks[view].size());
        for (std::size_t i = 0; i < lines.size(); ++i) {
            const CMark& mark = views.marks[view][i];
            const auto p = pose.Apply(mark.x, mark.y, mark.z);
            ExpectLine(lines[i],
                       {static_cast<double>(p[0]), static_cast<double>(p[1]), static_cast<double>(p[2])});
        }
    }
}

TEST_F(CalibrationFiles, ThirdPartTellsWhereTheCameraSeesAMarkBesideWhereItIs)
{
    CViews views = MakeViews(*m_Framework.GetCamera(), 4, 250);
    Part3(views.transforms.data());
    for (std::size_t view = 0; view < 4; ++view) {
        const SPose pose = MakePose(views.poses[view]);
        const Lines lines = ParseLines(Text("CamCalib_8DArray_00" + std::to_string(view) + ".xyz"));
        ASSERT_EQ(lines.size(), views.marks[view].size());
        for (std::size_t i = 0; i < lines.size(); ++i) {
            const CMark& mark = views.marks[view][i];
            const auto seen = SeenOnTarget(PlainLens(), pose, mark);
            ExpectLine(lines[i], {seen[0], seen[1], mark.z, mark.x, mark.y, mark.z, mark.u, mark.v});
            EXPECT_LT(std::hypot(seen[0] - mark.x, seen[1] - mark.y), 0.5)
                << "three pixels of 0.06 mm at 200 mm, on a target that is tilted by less than 60 degrees";
        }
    }
}

TEST_F(CalibrationFiles, MarksWithoutErrorAreSeenWhereTheyAre)
{
    // From (0, 0, -10), with f = 1 and pitches 1, (30, -20, 0) lies 10 mm deep and is seen at (3, -2); (30, -15, 5)
    // lies 15 mm deep and is seen at (2, -1).
    LxCPinholeCamera& camera = *m_Framework.GetCamera();
    AddView(camera, {{30.0, -20.0, 0.0, 3.0, -2.0}, {30.0, -15.0, 5.0, 2.0, -1.0}});
    LxCCoordSysTrans transform = Transform({0.0, 0.0, 0.0, 0.0, 0.0, 10.0});
    Part3(&transform);
    EXPECT_EQ(Text("CamCalib_3D_Coords_000.xyz"), "30 -20 10\n30 -15 15\n");
    EXPECT_EQ(Text("CamCalib_5DArray_000.xyz"), "30 -20 0 3 -2\n30 -15 5 2 -1\n");
    EXPECT_EQ(Text("CamCalib_8DArray_000.xyz"), "30 -20 0 30 -20 0 3 -2\n30 -15 5 30 -15 5 2 -1\n");
}

TEST_F(CalibrationFiles, OwnPlaceOfTheCameraAndItsMasterTakeNoPart)
{
    LxCPinholeCamera& camera = *m_Framework.GetCamera();
    CViews views = MakeViews(camera, 2, 20);
    Part3(views.transforms.data());
    const std::string before = Text("CamCalib_8DArray_001.xyz");
    LxCPinholeCamera master;
    master.MakeTranslation(LxC3DCoordsCCT(5.0, 6.0, 7.0));
    camera.SetMasterCam(&master);
    const LxCCoordSysTrans place = Transform({0.1, 0.2, 0.3, 4.0, 5.0, 6.0});
    camera.LxCCoordSysTrans::CopyFrom(&place);
    Part3(views.transforms.data());
    EXPECT_EQ(Text("CamCalib_8DArray_001.xyz"), before);
    EXPECT_EQ(camera.GetMasterCam(), &master);
    EXPECT_EQ(camera.GetT(0), 4.0) << "the camera itself stays where it is";
    camera.SetMasterCam(nullptr);
}

TEST_F(CalibrationFiles, RaysAlongThePlaneAreSeenAtTheOrigin)
{
    // The target's z axis is the camera's y axis, so that a pixel in the row of the principal point looks along it.
    LxCPinholeCamera& camera = *m_Framework.GetCamera();
    AddView(camera, {{1.0, 2.0, 0.0, 3.0, 0.0}});
    const double rotation[9] = {1.0, 0.0, 0.0, 0.0, 0.0, 1.0, 0.0, -1.0, 0.0};
    LxCCoordSysTrans transform;
    transform.ReadFromMatrixAndVector(rotation, 0.0, 0.0, 10.0);
    Part3(&transform);
    EXPECT_EQ(ParseLines(Text("CamCalib_8DArray_000.xyz")),
              (Lines{{0.0, 0.0, 0.0, 1.0, 2.0, 0.0, 3.0, 0.0}}));
}

TEST_F(CalibrationFiles, ProjectorsFirstViewStandsAlone)
{
    AddView(*m_Framework.GetProjector(), {{1.0, 2.0, 3.0, 4.0, 5.0}, {6.0, 7.0, 8.0, 9.0, 10.5}});
    AddView(*m_Framework.GetProjector(), {{11.0, 12.0, 13.0, 14.0, 15.0}});
    Part3(nullptr);
    EXPECT_EQ(FileNames(),
              (std::vector<std::string>{"ProjCalib_3dCoords.xyz", "ProjCalib_5dArray.xyz", "log.txt"}));
    EXPECT_EQ(Text("ProjCalib_3dCoords.xyz"), "1 2 3\n6 7 8\n");
    EXPECT_EQ(Text("ProjCalib_5dArray.xyz"), "1 2 3 4 5\n6 7 8 9 10.5\n");
}

TEST_F(CalibrationFiles, WithoutMarksTheProjectorsFilesAreEmpty)
{
    Part1();
    EXPECT_TRUE(FileNames().empty());
    Part3(nullptr);
    EXPECT_EQ(Text("ProjCalib_3dCoords.xyz"), "");
    EXPECT_EQ(Text("ProjCalib_5dArray.xyz"), "");
    EXPECT_EQ(FileNames().size(), 3U);
}

TEST_F(CalibrationFiles, WithoutOrientationsFilesThatNeedThemAreEmpty)
{
    AddView(*m_Framework.GetCamera(), {{1.0, 2.0, 3.0, 4.0, 5.0}});
    Part3(nullptr);
    EXPECT_EQ(Text("CamCalib_3D_Coords_000.xyz"), "");
    EXPECT_EQ(Text("CamCalib_8DArray_000.xyz"), "");
    EXPECT_EQ(Text("CamCalib_5DArray_000.xyz"), "1 2 3 4 5\n");
}

TEST_F(CalibrationFiles, ViewsBehindTheCamerasOwnOrientationsHaveNone)
{
    LxCPinholeCamera& camera = *m_Framework.GetCamera();
    AddView(camera, {{1.0, 2.0, 3.0, 4.0, 5.0}});
    camera.PerformCalib(LxCPinholeCamera::eCalibMethodTsai, false, nullptr, 0, 0, 0.0, 0, false, 0.0F, 0.0F,
                        nullptr);
    ASSERT_EQ(camera.GetNrOfTargetOrientations(), 1U);
    AddView(camera, {{6.0, 7.0, 8.0, 9.0, 10.0}});
    Part3(camera.GetTargetOrientation());
    EXPECT_EQ(Text("CamCalib_3D_Coords_000.xyz"), "1 2 3\n") << "the orientation is the identity";
    EXPECT_EQ(Text("CamCalib_8DArray_000.xyz"), "12 15 3 1 2 3 4 5\n");
    EXPECT_EQ(Text("CamCalib_3D_Coords_001.xyz"), "");
    EXPECT_EQ(Text("CamCalib_8DArray_001.xyz"), "");
    EXPECT_EQ(Text("CamCalib_5DArray_001.xyz"), "6 7 8 9 10\n");
}

// --------------------------------------------------------------------------------------------------------- the log

std::string Results(const LxCPinholeCamera& device)
{
    std::string text;
    device.PrintCalibResults(false, text, true, true);
    return text;
}

TEST_F(CalibrationFiles, LogHasStatusThenCameraThenProjector)
{
    AddView(*m_Framework.GetCamera(), {{1.0, 2.0, 3.0, 4.0, 5.0}});
    m_Framework.InterpretCalibError(eCalibMirrorTube);
    Part3(nullptr);
    const std::string camera = Results(*m_Framework.GetCamera());
    const std::string projector = Results(*m_Framework.GetProjector());
    EXPECT_EQ(camera.rfind("Calibration Results (Master)\n", 0), 0U);
    EXPECT_EQ(projector.rfind("Calibration Results (Slave)\n", 0), 0U);
    EXPECT_EQ(Text("log.txt"), "mirror tube error\n\n\n" + camera + projector);
    EXPECT_EQ(m_Framework.GetCalibStatus(), "");
    Part3(nullptr);
    EXPECT_EQ(Text("log.txt"), camera + projector) << "there is no status text any more";
}

TEST_F(CalibrationFiles, FirstPartKeepsTheStatusText)
{
    m_Framework.InterpretCalibError(eCalibMirrorTube);
    Part1();
    EXPECT_EQ(m_Framework.GetCalibStatus(), "mirror tube error\n");
}

TEST_F(CalibrationFiles, StatusTextIsKeptWhereTheLogCannotBeWritten)
{
    AddView(*m_Framework.GetCamera(), {{1.0, 2.0, 3.0, 4.0, 5.0}});
    m_Framework.InterpretCalibError(eCalibMirrorTube);
    m_sDirectory += "/absent";
    const Logging::CCapture log;
    Part1();
    Part3(nullptr);
    EXPECT_TRUE(FileNames().empty());
    EXPECT_EQ(m_Framework.GetCalibStatus(), "mirror tube error\n");
    // The camera's pixels; its three files of the third part; the projector's two; the log.
    EXPECT_EQ(log.GetRecords().size(), 7U);
    const std::wstring directory(m_sDirectory.begin(), m_sDirectory.end());
    for (const wchar_t* name :
         {L"CamCalib_SensorCoords_000.xyz", L"CamCalib_3D_Coords_000.xyz", L"CamCalib_5DArray_000.xyz",
          L"CamCalib_8DArray_000.xyz", L"ProjCalib_3dCoords.xyz", L"ProjCalib_5dArray.xyz", L"log.txt"}) {
        EXPECT_EQ(log.Count(Logging::ELevel::eError, L"ORX.Lumorad.LxCPinholeFramework",
                            L"LxCPinholeFramework::DebugPrintCalibResults: <" + directory + L"\\" + name +
                                L"> cannot be written\n"),
                  1)
            << std::filesystem::path(name);
    }
}

TEST_F(CalibrationFiles, StatusTextIsKeptWhereTheDiskIsFull)
{
    if (!std::filesystem::is_character_file("/dev/full")) {
        GTEST_SKIP() << "no device that is always full";
    }
    std::filesystem::create_symlink("/dev/full", m_Folder / "log.txt");
    m_Framework.InterpretCalibError(eCalibMirrorTube);
    const Logging::CCapture log;
    Part3(nullptr);
    EXPECT_EQ(log.GetRecords().size(), 1U);
    EXPECT_EQ(m_Framework.GetCalibStatus(), "mirror tube error\n");
}

TEST_F(CalibrationFiles, OneFileThatCannotBeWrittenKeepsNoOtherFromBeing)
{
    std::filesystem::create_directory(m_Folder / "ProjCalib_SensorCoords_000.xyz");
    AddView(*m_Framework.GetCamera(), {{1.0, 2.0, 3.0, 4.0, 5.0}});
    AddView(*m_Framework.GetProjector(), {{1.0, 2.0, 3.0, 4.0, 5.0}});
    const Logging::CCapture log;
    Part1();
    EXPECT_EQ(log.GetRecords().size(), 1U);
    EXPECT_EQ(Text("ProjCalib_pre_5dArray_000.xyz"), "1 2 3 4 5\n");
    EXPECT_EQ(Text("CamCalib_SensorCoords_000.xyz"), "4 5\n");
}

TEST_F(CalibrationFiles, DirectoryWithANulIsNone)
{
    // Cut at the NUL, the path would name the other file.
    ::TestSupport::WriteFile(m_Folder / "other", "kept");
    AddView(*m_Framework.GetCamera(), {{1.0, 2.0, 3.0, 4.0, 5.0}});
    m_sDirectory += "/other";
    m_sDirectory += '\0';
    m_Framework.InterpretCalibError(eCalibMirrorTube);
    const Logging::CCapture log;
    Part1();
    Part3(nullptr);
    EXPECT_EQ(log.GetRecords().size(), 7U);
    EXPECT_EQ(FileNames(), std::vector<std::string>{"other"});
    EXPECT_EQ(Text("other"), "kept");
    EXPECT_EQ(m_Framework.GetCalibStatus(), "mirror tube error\n");
}

TEST_F(CalibrationFiles, PublicReportWritesNothing)
{
    AddView(*m_Framework.GetCamera(), {{1.0, 2.0, 3.0, 4.0, 5.0}});
    AddView(*m_Framework.GetCamera(), {{6.0, 7.0, 8.0, 9.0, 10.0}});
    m_Framework.InterpretCalibError(eCalibMirrorTube);
    const Logging::CCapture log;
    for (std::size_t count = 0; count < 4; ++count) {
        std::vector<LxCCoordSysTrans> transforms(count, Transform({0.0, 0.0, 0.0, 1.0, 2.0, 3.0}));
        m_Framework.DebugPrintCalibResults(m_sDirectory, "text", transforms);
        ASSERT_EQ(transforms.size(), count) << "the caller's transforms stay as they are";
        for (const LxCCoordSysTrans& transform : transforms) {
            EXPECT_EQ(transform.GetT(2), 3.0);
        }
    }
    m_Framework.DebugPrintCalibResultsPart2(m_sDirectory, "text", nullptr, nullptr, nullptr);
    EXPECT_TRUE(FileNames().empty());
    EXPECT_TRUE(log.GetRecords().empty());
    EXPECT_EQ(m_Framework.GetCalibStatus(), "mirror tube error\n");
}

} // namespace
} // namespace LxCV
