#include "scanner/calibration/modelcheck.h"

#include "lxcpinholeframework.h"
#include "orx/logging/logger.h"
#include "scanner/calibration/modelranges.h"
#include "scanner/device/virtualdevice.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace calibration {
namespace {

constexpr const char* c_root = "::S";
constexpr const char* c_algorithm = "::S::LxCCCLAlgoConfig";

std::string Sound()
{
    static const std::string text = device::VirtualDevice().ParameterText(c_root);
    return text;
}

std::string Replaced(std::string text, const std::string& from, const std::string& to)
{
    const std::size_t at = text.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    return at == std::string::npos ? text : text.replace(at, from.size(), to);
}

/// The sound text with the line of a key in a section replaced; an empty line deletes it.
std::string With(const std::string& section, const std::string& key, const std::string& line)
{
    std::string text = Sound();
    const std::size_t header = text.find(c_root + section + "\n");
    const std::size_t begin = text.find("\n" + key + "=", header) + 1;
    const std::size_t end = text.find('\n', begin) + 1;
    EXPECT_TRUE(header != std::string::npos && begin != 0) << section << key;
    return text.replace(begin, end - begin, line);
}

/// Section, key and problem of each finding; notes have a prefix.
std::vector<std::string> Findings(const std::string& text)
{
    const Logging::CCapture quiet;
    std::vector<std::string> texts;
    for (const ModelFinding& finding : CheckModel(text, c_root)) {
        EXPECT_NE(finding.advice, "") << finding.problem;
        texts.push_back((finding.isError ? "" : "note: ") + finding.section + "|" + finding.key + "|" +
                        finding.problem);
    }
    return texts;
}

using Texts = std::vector<std::string>;

bool Has(const Texts& findings, const std::string& finding)
{
    return std::find(findings.begin(), findings.end(), finding) != findings.end();
}

TEST(ModelCheck, OfTheDevicesFindsNothing)
{
    EXPECT_EQ(Findings(Sound()), Texts());
    device::DeviceParameters parameters;
    parameters.slide = device::SlideWithBrightMarks();
    EXPECT_EQ(Findings(device::VirtualDevice(parameters).ParameterText(c_root)), Texts());
    parameters = {};
    parameters.patches = 0;
    EXPECT_EQ(Findings(device::VirtualDevice(parameters).ParameterText(c_root)), Texts());
}

TEST(ModelCheck, TakesAModelWithoutARoot)
{
    const Logging::CCapture quiet;
    const std::string text = device::VirtualDevice().ParameterText("");
    EXPECT_TRUE(CheckModel(text + "::Grabber\nGain=3\n", "").empty());
    const auto findings = CheckModel(text + "::Projector::Lamp\nPower=3\n", "");
    ASSERT_EQ(findings.size(), 1U);
    EXPECT_EQ(findings[0].section, "::Projector::Lamp");
}

TEST(ModelCheck, CommentsAndForeignSectionsAreNoMatter)
{
    EXPECT_EQ(Findings("# a comment\n" + Sound() + "::Grabber\nGain=3\nGain=4\n"), Texts());
}

TEST(ModelCheck, FindsEachMissingSection)
{
    for (std::size_t at = 0; at != std::string::npos; at = Sound().find("\n::", at + 1)) {
        const std::size_t begin = at == 0 ? 0 : at + 1;
        const std::string header = Sound().substr(begin, Sound().find('\n', begin) - begin);
        const std::size_t end = Sound().find("\n::", begin);
        const std::size_t length = end == std::string::npos ? std::string::npos : end + 1 - begin;
        if (header.starts_with(c_algorithm)) {
            continue; // which may be missing
        }
        const Texts findings = Findings(Sound().erase(begin, length));
        EXPECT_TRUE(Has(findings, header.substr(3) + "||is missing")) << header;
    }
}

TEST(ModelCheck, FindsEachMissingKey)
{
    // Of the rows of the table one is enough.
    std::string section;
    std::istringstream lines(Sound());
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with(c_algorithm)) {
            break; // which may lack any
        }
        if (line.starts_with("::")) {
            section = line.substr(3);
        } else if (!line.starts_with("LUT[") || line.starts_with("LUT[3][2]")) {
            const std::string key = line.substr(0, line.find('='));
            if (section == "::Projector::CLPattern" &&
                (key.starts_with("NumPatches") || key == "DataVersion")) {
                continue; // without these there is no table, or one of an old kind
            }
            const Texts findings = Findings(With(section, key, ""));
            EXPECT_TRUE(Has(findings, section + "|" + key + "|is missing")) << section << key;
        }
    }
}

TEST(ModelCheck, FindsWhatComesTwice)
{
    const std::string text =
        With("::MV3DCamBase", "MaxDistCamCoords", "MaxDistCamCoords=41\nMaxDistCamCoords=50\n") +
        "::S::PolynomKoma\nUse=1\n";
    const Texts findings = Findings(text);
    EXPECT_EQ(findings.size(), 2U);
    EXPECT_TRUE(Has(findings, "::MV3DCamBase|MaxDistCamCoords|comes twice; only the one in line 3 counts"));
    EXPECT_TRUE(Has(findings, "::PolynomKoma||comes twice; only the one in line 108 counts"))
        << testing::PrintToString(findings);
}

TEST(ModelCheck, TellsTheLinesOfTheText)
{
    const Logging::CCapture quiet;
    const auto findings = CheckModel(With("::Cams[0]::IntrinsicParams", "f", "f=500\n"), c_root);
    ASSERT_FALSE(findings.empty());
    // Line 1 is the first header; two keys, the state of 4 keys, the placement of 6, then the eighth key.
    EXPECT_EQ(findings.front().line, 3U + 5U + 7U + 1U + 8U);
    EXPECT_EQ(findings.front().problem, "500 is not in 1 to 200 mm");
    EXPECT_EQ(findings.front().key, "f");
}

TEST(ModelCheck, FindsWhatIsUnknown)
{
    EXPECT_EQ(Findings(With("::Cams[0]", "Calibrated", "Calibrated=1\nColour=red\n")),
              Texts{"::Cams[0]|Colour|is unknown: nothing reads it"});
    EXPECT_EQ(Findings(Sound() + "::S::Cams[1]\nCalibrated=1\n"),
              Texts{"::Cams[1]||is unknown: nothing reads it"});
    EXPECT_EQ(Findings("stray=1\n" + Sound()), Texts{"||lines before the first section are not read"});
    EXPECT_EQ(Findings(With("::Cams[0]", "Calibrated", "Calibrated=1\nnonsense\n")),
              Texts{"::Cams[0]||a line without '=' is not read"});
}

TEST(ModelCheck, FindsValuesThatDoNotConvert)
{
    for (const char* value : {"nan", "inf", "1e999", "9,45", "9.45 mm", "", "--1"}) {
        const Texts findings =
            Findings(With("::Cams[0]::CoordSysTrans", "Tz", std::string("Tz=") + value + "\n"));
        ASSERT_FALSE(findings.empty()) << value;
        EXPECT_TRUE(findings[0].starts_with("::Cams[0]::CoordSysTrans|Tz|'" + std::string(value) +
                                            "' is no number; "))
            << findings[0];
    }
    EXPECT_EQ(Findings(With("::Cams[0]::CoordSysTrans", "Tz", "Tz= +1.6\n")), Texts());
}

TEST(ModelCheck, FindsValuesThatAreReadAsOthers)
{
    EXPECT_EQ(Findings(With("::CamCalibBody::Thres", "MinEdgeLen", "MinEdgeLen=0\n")),
              Texts{"::CamCalibBody::Thres|MinEdgeLen|is read as 1"});
    EXPECT_EQ(Findings(With("::CamCalibBody", "CoordFile", "CoordFile=../plate.txt\n")),
              Texts{"::CamCalibBody|CoordFile|is read as something else"});
    EXPECT_TRUE(Has(Findings(With("::RoiIgnore", "NumRoiIgnore", "NumRoiIgnore=1000000\n")),
                    "::RoiIgnore|NumRoiIgnore|is read as 0"));
}

TEST(ModelCheck, WhatTheStandardSlideReplacesIsANote)
{
    const Texts findings = Findings(With("::ProjCalibBody::Thres", "NrOfRows", "NrOfRows=5\n"));
    EXPECT_EQ(findings,
              Texts{"note: ::ProjCalibBody::Thres|NrOfRows|is 3 by the standard data of the slide"});
}

TEST(ModelCheck, FindsDefectsOfTheEdgeTable)
{
    const std::string section = "::Projector::CLPattern";
    EXPECT_EQ(Findings(With(section, "NumPatchesDepth", "NumPatchesDepth=3\n")).size(), 4U);
    EXPECT_EQ(Findings(With(section, "NumPatches", "NumPatches=2000000000\n")),
              Texts{section + "|NumPatches|no table of edge positions is read"});
    EXPECT_EQ(Findings(With(section, "LUT[2][1]", "LUT[2][1]=" + std::string(140, '\x80') + "\n")),
              (Texts{section + "|NumPatches|no table of edge positions is read",
                     section + "|LUT[patch][depth]|a row is longer than the pattern has stripe edges"}));
    // Edge 30 lies 112 - 128 = -16 quarters off, edge 31 by -28 slide units, beyond half a stripe.
    std::string row(139, '\x80');
    row[29] = '\x70';
    EXPECT_EQ(Findings(With(section, "LUT[2][1]", "LUT[2][1]=" + row + "\n")), Texts());
    row[30] = '\x10';
    EXPECT_EQ(Findings(With(section, "LUT[2][1]", "LUT[2][1]=" + row + "\n")),
              Texts{section + "|LUT[2][1]|edge 31 is -28 slide units from its nominal position, nearer to "
                              "another edge"});
    EXPECT_TRUE(Has(Findings(With(section, "LUT[2][1]", "LUT[2][1]=\x80\x80\n")),
                    section + "|LUT[2][1]|is read as something else"));
}

struct Unsound
{
    const char* section;
    const char* key;
    const char* value;
    const char* problem;
};

TEST(ModelCheck, FindsValuesOutOfTheDevicesRanges)
{
    const Unsound cases[] = {
        {"::Cams[0]", "Calibrated", "0", "0 is not 1"},
        {"::Cams[0]::IntrinsicParams", "f", "0.5", "0.5 is not in 1 to 200 mm"},
        {"::Cams[0]::IntrinsicParams", "Cx", "658", "the principal point at 658 is outside the image of 658"},
        {"::Cams[0]::IntrinsicParams", "Cy", "0", "the principal point at 0 is outside the image of 494"},
        {"::Cams[0]::IntrinsicParams", "Nfx", "640",
         "640 is less than the 658 pixels of the device's images"},
        {"::Cams[0]::IntrinsicParams", "Nfy", "480",
         "480 is less than the 494 pixels of the device's images"},
        {"::Cams[0]::CoordSysTrans", "Rx", "3.2", "3.2 is not in -3.14159 to 3.14159 radians"},
        {"::MV3DCamBase", "MinDistCamCoords", "0", "0 is not in 1 to 1000 mm"},
        {"::MV3DCamBase", "MinDistCamCoords", "41.5", "is not between 0 and MaxDistCamCoords"},
        {"::Projector::CLPattern", "PatternWidth", "6000",
         "6000 is not the 7000 slide units that the projector was calibrated with (Nfx)"},
        {"::Projector::CLPattern", "PatternHeight", "6000",
         "6000 is not the 7000 slide units that the projector was calibrated with (Nfy)"},
        {"::Projector::CLPattern", "MinCalibratedEdge", "130",
         "edges 130 to 122 are no part of the 140 that the pattern has"},
        {"::Projector::CLPattern", "MinDistProjToScene", "50", "is not less than MaxDistProjToScene"},
        {"::Projector::CLPattern", "CodewordLen", "1", "1 is not in 2 to 8 digits"},
        {"::Projector::CLPattern", "Pattern", "0123456x", "holds something else than the digits 0 to 7"},
        {"::Projector::CLPattern", "Pattern", "012334567",
         "has the same digit twice in succession, which makes no edge"},
        {"::PolynomKoma", "MaxDelta", "-0.1", "-0.1 is not in 0 to 1 mm"},
        {"::CamCalibBody", "CoordFile", "", "no data file is named"},
        {"::CamCalibBody", "CoordFile", "StandardParamsDiaC",
         "'StandardParamsDiaC' is a slide of the projector, no checkerboard"},
        {"::CamCalibBody", "CoordFile", "plate",
         "'plate' has no '.', without which no thresholds are read from the file"},
        {"::CamCalibBody::Thres", "TypeOfCB", "7", "7 is not in 0 to 3"},
        {"::CamCalibBody::Thres", "TargetId", "12345678",
         "is no target's number: the last two of its eight digits check the others"},
        {"::CamCalibBody::Thres", "IdOfFirstMarkedSquare", "57",
         "square 57 is none of the board's NrOfRows times NrOfCols"},
        {"::CamCalibBody::Thres::Base", "KernelSizeX", "4", "a kernel of 4 pixels has no middle"},
    };
    for (const Unsound& unsound : cases) {
        const Texts findings = Findings(
            With(unsound.section, unsound.key, std::string(unsound.key) + "=" + unsound.value + "\n"));
        EXPECT_TRUE(Has(findings, std::string(unsound.section) + "|" + unsound.key + "|" + unsound.problem))
            << unsound.key << "=" << unsound.value << testing::PrintToString(findings);
    }
}

TEST(ModelCheck, FindsAProjectorThatLightsSomethingElse)
{
    const std::string projector = "::Projector::PinholeProjector::PinholeCamera::CoordSysTrans";
    const Texts turned = Findings(With(projector, "Rx", "Rx=0.9\n"));
    EXPECT_TRUE(std::any_of(turned.begin(), turned.end(), [](const std::string& finding) {
        return finding.starts_with(
            "::MV3DCamBase|MinDistCamCoords|the middle of the image sees slide position ");
    })) << testing::PrintToString(turned);
    device::DeviceParameters parameters;
    parameters.projectorFromCamera = {};
    EXPECT_TRUE(Has(Findings(device::VirtualDevice(parameters).ParameterText(c_root)),
                    projector + "|Tx|the projector is 0 mm from the camera, too near to tell depths"));
}

TEST(ModelCheck, FindsRegionsOutsideTheImage)
{
    const auto withRegion = [](const std::string& region) {
        return Replaced(Sound(), "NumRoiIgnore=0\n", "NumRoiIgnore=1\n::S::RoiIgnore::Roi[0]\n" + region);
    };
    EXPECT_EQ(Findings(withRegion("LeftCol=600\nTopRow=0\nWidth=58\nHeight=494\n")), Texts());
    const Texts expected{"::RoiIgnore::Roi[0]||is empty, or not wholly in the image"};
    EXPECT_EQ(Findings(withRegion("LeftCol=600\nTopRow=0\nWidth=59\nHeight=494\n")), expected);
    EXPECT_EQ(Findings(withRegion("LeftCol=600\nTopRow=2147483647\nWidth=2\nHeight=2147483647\n")), expected);
    EXPECT_EQ(Findings(withRegion("LeftCol=6\nTopRow=0\nWidth=0\nHeight=4\n")), expected);
}

TEST(ModelCheck, AnUncalibratedModelIsTold)
{
    EXPECT_TRUE(Has(Findings(With("::Cams[0]", "Calibrated", "Calibrated=0\n")),
                    "||the model is not calibrated: it lacks light planes or the unwrap table"));
    EXPECT_TRUE(Has(Findings(""), "::Cams[0]||is missing"));
}

TEST(ModelCheck, AnotherPatternThanThoseOfTheSlidesIsANote)
{
    // Turning the cycle by one digit leaves a good code.
    const std::string digits = device::SlideParameters().digits;
    const std::string turned = digits.substr(1) + digits[0];
    const Texts findings = Findings(Replaced(Sound(), digits, turned));
    EXPECT_TRUE(Has(findings,
                    "note: ::ProjCalibBody|CoordFile|the pattern is that of no slide that is built in; "
                    "the marks of slide A2 are taken"))
        << testing::PrintToString(findings);
}

TEST(ModelCheck, HoldsAnAlgorithmConfigurationBesideTheModelAgainstItsOwnKeys)
{
    const std::string algorithm = "::LxCCCLAlgoConfig";
    const std::string known = Sound() + "::S" + algorithm + "\nDepthCulling_mm=3\nFocalDistance_mm=33\n";
    EXPECT_EQ(Findings(known), Texts());
    EXPECT_EQ(Findings(known + "DepthCuling_mm=3\n"),
              Texts{algorithm + "|DepthCuling_mm|is unknown: nothing reads it"});
    EXPECT_EQ(Findings(With(algorithm + "::CameraProjectorCoupling", "Arr", "Arr=x\n")),
              Texts{algorithm + "::CameraProjectorCoupling|Arr|'x' is no finite number"});
    EXPECT_EQ(Findings(Sound() + "::S" + algorithm + "::Coupling\nArr=1\n"),
              Texts{algorithm + "::Coupling||is unknown: nothing reads it"});
}

/// What `ReadForMeasuring` finds: section, key and problem.
std::vector<std::string> Obstacles(const std::string& text)
{
    const Logging::CCapture quiet;
    std::vector<std::string> texts;
    const CheckedModel checked = ReadForMeasuring(text, c_root);
    EXPECT_TRUE(checked.model != nullptr || !checked.obstacles.empty());
    for (const ModelFinding& finding : checked.obstacles) {
        EXPECT_TRUE(finding.isError);
        texts.push_back(finding.section + "|" + finding.key + "|" + finding.problem);
    }
    return texts;
}

TEST(ModelForMeasuring, FindsWhatFalsifiesAMeasurement)
{
    EXPECT_EQ(Obstacles(Sound()), Texts());
    const std::string lens = "::Cams[0]::IntrinsicParams";
    EXPECT_EQ(Obstacles(With(lens, "Cx", "Cx=\n")),
              Texts{lens + "|Cx|'' is no number; 0.00000000000000000000 is taken"});
    EXPECT_EQ(Obstacles(With(lens, "f", "")), Texts{lens + "|f|is missing"});
    EXPECT_EQ(Obstacles(With(lens, "f", "f=-9.45\n")), Texts{lens + "|f|-9.45 is not in 1 to 200 mm"});
    EXPECT_EQ(Obstacles(With(lens, "Kappa2ICV", "Kappa2ICV=1e30\n")),
              Texts{lens + "|Kappa2ICV|1e+30 is not in -10 to 10"});
    EXPECT_EQ(Obstacles(With(lens, "f", "f=9.45\nf=9.5\n")),
              Texts{lens + "|f|comes twice; only the one in line 24 counts"});
    const std::string pattern = "::Projector::CLPattern";
    EXPECT_EQ(Obstacles(With(pattern, "NumPatches", "NumPatches=1000\n")),
              Texts{pattern + "|NumPatches|no table of edge positions is read"});
    EXPECT_EQ(Obstacles(With("::PolynomKoma", "Use", "Use=maybe\n")),
              Texts{"::PolynomKoma|Use|'maybe' is no number; 0 is taken"});
    const std::string cut = Sound().substr(0, Sound().find("::S" + pattern));
    EXPECT_EQ(Obstacles(cut), Texts{pattern + "||is missing"});
}

TEST(ModelForMeasuring, PassesOverWhatChangesNoPoint)
{
    EXPECT_EQ(Obstacles(With("::Cams[0]", "CalibTime", "")), Texts());
    EXPECT_EQ(Obstacles(With("::Cams[0]", "Calibrated", "Calibrated=0\n")), Texts())
        << "which is told elsewhere";
    EXPECT_EQ(Obstacles(With("::Cams[0]", "CalibTime", "CalibTime=today\nColour=red\nnonsense\n")), Texts());
    EXPECT_EQ(Obstacles(With("::CamCalibBody::Thres", "MinEdgeLen", "MinEdgeLen=x\n")), Texts());
    EXPECT_EQ(Obstacles("stray=1\n" + Sound() + "::S::Cams[1]\nCalibrated=1\n"), Texts());
    EXPECT_EQ(Obstacles(With("::Cams[0]::IntrinsicParams", "Nfx", "Nfx=640\n")), Texts());
    // Neither correction nor regions, nor targets.
    EXPECT_EQ(Obstacles(Sound().substr(0, Sound().find("::S::PolynomKoma"))), Texts());
}

TEST(ModelForMeasuring, TakesWhatIsReadAsItIsMeant)
{
    const std::string lens = "::Cams[0]::IntrinsicParams";
    EXPECT_EQ(Obstacles(With("::PolynomKoma", "P12", "P12=3.1415926e-18\n")), Texts());
    EXPECT_EQ(Obstacles(With("::PolynomKoma", "P00", "P00=1e-30\n")), Texts());
    EXPECT_EQ(Obstacles(With("::Cams[0]::CoordSysTrans", "Rz", "Rz=3.14159274101257324219\n")), Texts());
    EXPECT_EQ(
        Obstacles(With("::Projector::CLPattern", "IgnoreDepthOnLSECalib", "IgnoreDepthOnLSECalib=1, 2\n")),
        Texts());
}

/// The sound text with a pattern without a table, whose keys are there all the same.
std::string WithoutTable()
{
    std::string text = Sound();
    const std::size_t rows = text.find("LUT[0][0]=");
    text.erase(rows, text.find("::S::PolynomKoma") - rows);
    text = Replaced(text, "NumPatches=4\nNumPatchesDepth=4\n", "NumPatches=0\nNumPatchesDepth=0\n");
    return Replaced(text, "DataVersion=2\n", "");
}

TEST(ModelForMeasuring, NeedsNoTableOfEdgePositions)
{
    EXPECT_EQ(Findings(WithoutTable()), Texts());
    EXPECT_EQ(Obstacles(WithoutTable()), Texts());
    EXPECT_EQ(Obstacles(Replaced(WithoutTable(), "MinDistProjToScene=25", "MinDistProjToScene=0")), Texts());
}

TEST(ModelForMeasuring, TakesOldTablesWithoutAVersion)
{
    const std::string rows = "CalibratedPositionLUTPD[0][0]=";
    std::string old = Sound();
    const std::size_t begin = old.find("BaseShiftCalibrated");
    old.erase(begin, old.find("::S::PolynomKoma") - begin);
    old = Replaced(old, "NumPatches=4\nNumPatchesDepth=4\n", "NumPatches=1\nNumPatchesDepth=1\n");
    std::string row;
    for (int edge = 0; edge < 140; ++edge) {
        row += std::to_string(50 * edge) + ",";
    }
    old.insert(old.find("::S::PolynomKoma"), rows + row + "\n");
    EXPECT_EQ(Obstacles(old), Texts());
    old.insert(old.find(rows), "DataVersion= 1\n");
    EXPECT_EQ(Obstacles(old), Texts());
}

TEST(ModelCheck, AFindingInOneLineTellsPlaceProblemAndAdvice)
{
    EXPECT_EQ(FindingText({true, 7, "::A", "f", "is missing", "add it"}),
              "line 7, ::A, f: is missing; add it");
    EXPECT_EQ(FindingText({true, 0, "::A", "", "is missing", "add it"}), "::A: is missing; add it");
    EXPECT_EQ(FindingText({true, 0, "", "", "no model", "take another"}), "no model; take another");
}

TEST(ModelCheck, NotesLeaveAModelSound)
{
    EXPECT_TRUE(IsSound({}));
    EXPECT_TRUE(IsSound({{false, 0, "", "", "a note", ""}}));
    EXPECT_FALSE(IsSound({{false, 0, "", "", "a note", ""}, {true, 0, "", "", "an error", ""}}));
}

TEST(ModelCheck, EndsForAnyText)
{
    std::mt19937 random(5);
    const Logging::CCapture quiet;
    for (int trial = 0; trial < 60; ++trial) {
        std::string text = Sound();
        for (int change = 0; change < 20; ++change) {
            text[random() % text.size()] = "0123456789=-.:[]\n\xff"[random() % 18];
        }
        CheckModel(text, c_root);
    }
}

TEST(ModelNumbers, AreWholeTexts)
{
    EXPECT_EQ(ParseNumber(" -1.5e2"), -150.0);
    EXPECT_EQ(ParseNumber("+3"), 3.0);
    EXPECT_EQ(ParseNumber("0x1F"), 31.0);
    for (const char* text : {"", " ", "1 ", "1,5", "nan", "-inf", "1e999", "0x", "0x1G", "+-1", "one"}) {
        EXPECT_FALSE(ParseNumber(text).has_value()) << text;
    }
}

} // namespace
} // namespace calibration
