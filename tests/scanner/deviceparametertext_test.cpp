#include "scanner/device/virtualdevice.h"

#include <gtest/gtest.h>

#include <locale>
#include <map>
#include <sstream>

namespace device {
namespace {

using Sections = std::map<std::string, std::vector<std::string>>;

/// The lines of each section, and the order of the sections in "".
Sections Split(const std::string& text)
{
    Sections sections;
    std::istringstream in(text);
    std::string line, section;
    while (std::getline(in, line)) {
        if (line.rfind("::", 0) == 0) {
            section = line;
            sections[""].push_back(section);
        } else {
            sections[section].push_back(line);
        }
    }
    return sections;
}

/// The value of `key` in a section, or a text that no value equals.
std::string Value(const Sections& sections, const std::string& section, const std::string& key)
{
    const auto found = sections.find(section);
    if (found != sections.end()) {
        for (const std::string& line : found->second) {
            if (line.rfind(key + "=", 0) == 0) {
                return line.substr(key.size() + 1);
            }
        }
    }
    return "(missing)";
}

std::vector<std::string> Keys(const std::vector<std::string>& lines)
{
    std::vector<std::string> keys;
    for (const std::string& line : lines) {
        keys.push_back(line.substr(0, line.find('=')));
    }
    return keys;
}

TEST(DeviceParameterText, HoldsTheSectionsOfADeviceInOrder)
{
    const Sections sections = Split(VirtualDevice().ParameterText("::Unit"));
    const std::vector<std::string> expected = {
        "::Unit::MV3DCamBase",
        "::Unit::Cams[0]",
        "::Unit::Cams[0]::CoordSysTrans",
        "::Unit::Cams[0]::IntrinsicParams",
        "::Unit::Projector::PinholeProjector::PinholeCamera",
        "::Unit::Projector::PinholeProjector::PinholeCamera::CoordSysTrans",
        "::Unit::Projector::PinholeProjector::PinholeCamera::IntrinsicParams",
        "::Unit::Projector::CLPattern",
        "::Unit::PolynomKoma",
        "::Unit::RoiIgnore",
        "::Unit::CamCalibBody",
        "::Unit::CamCalibBody::Thres",
        "::Unit::CamCalibBody::Thres::Base",
        "::Unit::ProjCalibBody",
        "::Unit::ProjCalibBody::Thres",
        "::Unit::ProjCalibBody::Thres::Base",
        "::Unit::LxCCCLAlgoConfig::CameraProjectorCoupling",
    };
    EXPECT_EQ(sections.at(""), expected);
}

TEST(DeviceParameterText, WorkingRangeAndCameraReadAsSet)
{
    const Sections sections = Split(VirtualDevice().ParameterText("::S"));
    const std::vector<std::string> range = {"MinDistCamCoords=25.00000000000000000000",
                                            "MaxDistCamCoords=41.00000000000000000000"};
    EXPECT_EQ(sections.at("::S::MV3DCamBase"), range);
    const std::vector<std::string> state = {"Calibrated=1", "CalibTime=01.03.2024 09:00",
                                            "CalibRevNumber=200000", "CalibInfos=virtual device"};
    EXPECT_EQ(sections.at("::S::Cams[0]"), state);
    EXPECT_EQ(sections.at("::S::Projector::PinholeProjector::PinholeCamera"), state);
}

TEST(DeviceParameterText, LensKeysStandInTheirOrder)
{
    const Sections sections = Split(VirtualDevice().ParameterText("::S"));
    const std::vector<std::string> keys = {"Nfx",       "Dx",     "Dy",      "Cx",        "Cy",
                                           "CxDef",     "CyDef",  "f",       "Kappa1",    "Kappa2",
                                           "Kappa3",    "Kappa4", "UseTsai", "Kappa2ICV", "Kappa4ICV",
                                           "Kappa6ICV", "Tau1",   "Tau2",    "UseTau",    "Nfy"};
    EXPECT_EQ(Keys(sections.at("::S::Cams[0]::IntrinsicParams")), keys);
    EXPECT_EQ(Keys(sections.at("::S::Projector::PinholeProjector::PinholeCamera::IntrinsicParams")), keys);
    EXPECT_EQ(Value(sections, "::S::Cams[0]::IntrinsicParams", "Nfx"), "658.00000000000000000000");
    EXPECT_EQ(Value(sections, "::S::Cams[0]::IntrinsicParams", "Nfy"), "494.00000000000000000000");
    EXPECT_EQ(Value(sections, "::S::Cams[0]::IntrinsicParams", "UseTsai"), "0");
    EXPECT_EQ(Value(sections, "::S::Cams[0]::IntrinsicParams", "UseTau"), "1");
    EXPECT_EQ(Value(sections, "::S::Projector::PinholeProjector::PinholeCamera::IntrinsicParams", "UseTau"),
              "0");
}

TEST(DeviceParameterText, NumbersReadBackExactly)
{
    DeviceParameters parameters;
    parameters.camera.focalLength = 9.4567890123456789;
    parameters.cameraFromWorld.tx = -1.0 / 3.0;
    parameters.projectorFromCamera.rx = 0.2105;
    const Sections sections = Split(VirtualDevice(parameters).ParameterText("::S"));
    EXPECT_EQ(std::stod(Value(sections, "::S::Cams[0]::IntrinsicParams", "f")), 9.4567890123456789);
    EXPECT_EQ(std::stod(Value(sections, "::S::Cams[0]::CoordSysTrans", "Tx")), -1.0 / 3.0);
    EXPECT_EQ(
        std::stod(Value(sections, "::S::Projector::PinholeProjector::PinholeCamera::CoordSysTrans", "Rx")),
        0.2105);
    const std::vector<std::string> keys = {"Tx", "Ty", "Tz", "Rx", "Ry", "Rz"};
    EXPECT_EQ(Keys(sections.at("::S::Cams[0]::CoordSysTrans")), keys);
}

TEST(DeviceParameterText, SlideHoldsPatternAndNominalEdgeTables)
{
    const Sections sections = Split(VirtualDevice().ParameterText("::S"));
    const std::string section = "::S::Projector::CLPattern";
    EXPECT_EQ(Value(sections, section, "PatternHeight"), "7000");
    EXPECT_EQ(Value(sections, section, "PatternWidth"), "7000");
    EXPECT_EQ(Value(sections, section, "Pattern"),
              "2163050307412525052743436347214303614703416165612707056507256365");
    EXPECT_EQ(Value(sections, section, "CodewordLen"), "4");
    EXPECT_EQ(Value(sections, section, "StripeWidth"), "50");
    EXPECT_EQ(Value(sections, section, "CalibRevNumber"), "200000");
    EXPECT_EQ(Value(sections, section, "NumPatches"), "4");
    EXPECT_EQ(Value(sections, section, "NumPatchesDepth"), "4");
    EXPECT_EQ(Value(sections, section, "DataVersion"), "2");
    EXPECT_EQ(Value(sections, section, "IgnoreDepthOnLSECalib"), "");
    // 140 edges; one byte for each from 1 to 139, 128 for no offset.
    const std::string nominal(139, static_cast<char>(128));
    EXPECT_EQ(Value(sections, section, "BaseShift"), nominal);
    for (char patch = '0'; patch < '4'; ++patch) {
        for (char depth = '0'; depth < '4'; ++depth) {
            EXPECT_EQ(Value(sections, section, std::string("LUT[") + patch + "][" + depth + "]"), nominal);
        }
    }
}

TEST(DeviceParameterText, EdgeTablesAreLeftOutOnDemand)
{
    DeviceParameters parameters;
    parameters.patches = 0;
    const Sections sections = Split(VirtualDevice(parameters).ParameterText("::S"));
    EXPECT_EQ(Value(sections, "::S::Projector::CLPattern", "NumPatches"), "(missing)");
    EXPECT_EQ(Value(sections, "::S::Projector::CLPattern", "LUT[0][0]"), "(missing)");
    EXPECT_EQ(Value(sections, "::S::Projector::CLPattern", "StripeWidth"), "50");
}

TEST(DeviceParameterText, CorrectionPolynomialIsZeroAndOff)
{
    const Sections sections = Split(VirtualDevice().ParameterText("::S"));
    const auto& lines = sections.at("::S::PolynomKoma");
    ASSERT_EQ(lines.size(), 32U);
    EXPECT_EQ(lines[0], "P00=0.00000000000000000000");
    EXPECT_EQ(lines[29], "P29=0.00000000000000000000");
    EXPECT_EQ(lines[31], "Use=0");
    EXPECT_EQ(sections.at("::S::RoiIgnore"), std::vector<std::string>{"NumRoiIgnore=0"});
}

TEST(DeviceParameterText, TheCamerasTargetIsTheInstalledPlate)
{
    const Sections sections = Split(VirtualDevice().ParameterText("::S"));
    const std::vector<std::string> target = {"CoordFile=registry", "MaxCalibrationIteration=100"};
    EXPECT_EQ(sections.at("::S::CamCalibBody"), target);
    // The plate of the rendered checkerboard: 7 rows of 8 squares, the first embedded one in square 27.
    EXPECT_EQ(Value(sections, "::S::CamCalibBody::Thres", "NrOfRows"), "7");
    EXPECT_EQ(Value(sections, "::S::CamCalibBody::Thres", "NrOfCols"), "8");
    EXPECT_EQ(Value(sections, "::S::CamCalibBody::Thres", "IdOfFirstMarkedSquare"), "27");
    EXPECT_EQ(Value(sections, "::S::CamCalibBody::Thres::Base", "KernelSizeX"), "5");
}

TEST(DeviceParameterText, TheProjectorsTargetIsTheSlideOfTheDigits)
{
    DeviceParameters parameters;
    const Sections dark = Split(VirtualDevice(parameters).ParameterText("::S"));
    EXPECT_EQ(Value(dark, "::S::ProjCalibBody", "CoordFile"), "StandardParamsDiaA2");
    EXPECT_EQ(Value(dark, "::S::ProjCalibBody::Thres", "CalibMarkPos"),
              "10,20,28,38,50,58,74,84,92,102,114,122,138");
    EXPECT_EQ(Value(dark, "::S::ProjCalibBody::Thres", "BlankOutMarkerPos"), "1750,3500,5250");
    EXPECT_EQ(Value(dark, "::S::ProjCalibBody::Thres", "MarkerTyp"), "1");
    parameters.slide = SlideWithBrightMarks();
    const Sections bright = Split(VirtualDevice(parameters).ParameterText("::S"));
    EXPECT_EQ(Value(bright, "::S::ProjCalibBody", "CoordFile"), "StandardParamsDiaC");
    EXPECT_EQ(Value(bright, "::S::ProjCalibBody::Thres", "CalibMarkPos"),
              "8,24,32,40,56,64,72,88,96,104,120");
    EXPECT_EQ(Value(bright, "::S::ProjCalibBody::Thres", "MarkerTyp"), "2");
}

/// A locale with decimal commas and grouped thousands.
class Commas : public std::numpunct<char>
{
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
};

TEST(DeviceParameterText, TheCouplingIsThatOfTheSensor)
{
    DeviceParameters parameters;
    parameters.optics.crosstalk[0] = {0.5, 0.25, 0.125}; // what blue takes from blue, green, red
    parameters.optics.crosstalk[2][0] = 0.375;
    const Sections sections = Split(VirtualDevice(parameters).ParameterText("::S"));
    const std::string section = "::S::LxCCCLAlgoConfig::CameraProjectorCoupling";
    const std::vector<std::string> keys = {"Arr", "Arg", "Arb", "Agr", "Agg", "Agb", "Abr", "Abg", "Abb"};
    EXPECT_EQ(Keys(sections.at(section)), keys);
    EXPECT_EQ(Value(sections, section, "Abb"), "0.50000000000000000000");
    EXPECT_EQ(Value(sections, section, "Agb"), "0.25000000000000000000");
    EXPECT_EQ(Value(sections, section, "Arb"), "0.12500000000000000000");
    EXPECT_EQ(Value(sections, section, "Abr"), "0.37500000000000000000");
}

TEST(DeviceParameterText, DoesNotDependOnTheLocale)
{
    const std::string expected = VirtualDevice().ParameterText("::S");
    const std::locale before = std::locale::global(std::locale(std::locale::classic(), new Commas));
    const std::string text = VirtualDevice().ParameterText("::S");
    std::locale::global(before);
    EXPECT_EQ(text, expected);
}

} // namespace
} // namespace device
