// Tests of the two calibration targets as parts of a persistent model, and of what reading says about its text.
#include "lxcpinholeframework.h"

#include "lxccbcalibthres.h"
#include "lxccctserializerencryptedfile.h"
#include "orx/logging/logger.h"
#include "tests/lxcvlib/cameramodel.h"
#include "tests/lxcvlib/frameworkprobe.h"
#include "tests/lxcvlib/sectiontext.h"
#include "tests/lxcvlib/storetestsupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace LxCV {
namespace {

using Logging::ELevel;
using TestSupport::CCameraModel;
using TestSupport::CFrameworkProbe;
using TestSupport::Load;
using TestSupport::ModelText;
using TestSupport::SmallModel;
using TestSupport::Store;

constexpr const wchar_t* c_sChannel = L"ORX.Lumorad.LxCPinholeFramework";
constexpr const char* c_sRoot = "::MV3DCam";
constexpr const char* c_sA2 = "StandardParamsDiaA2";
constexpr const char* c_sC = "StandardParamsDiaC";

/// The text of a model with thresholds of the camera's target that are not the defaults.
std::string WholeText()
{
    CFrameworkProbe framework(SmallModel());
    framework.GetRoiIgnore().assign(2, LxCRoi(1, 2, 3, 4));
    LxCCBCalibBody& board = *framework.GetCamCalibBody();
    board.SetCoordFile("board.txt");
    board.SetMaxCalibrationIteration(33);
    board.GetThres()->m_iImgMargin = 12;
    dynamic_cast<LxCCBCalibThres&>(*board.GetThres()).m_iNrOfCols = 9;
    return Store(framework, c_sRoot);
}

/// Sections of a text, each with its header.
std::vector<std::string> Split(const std::string& text)
{
    std::vector<std::string> sections;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find("\n::", at), text.size() - 1) + 1;
        sections.push_back(text.substr(at, end - at));
        at = end;
    }
    return sections;
}

std::string Join(const std::vector<std::string>& sections)
{
    std::string text;
    for (const std::string& section : sections) {
        text += section;
    }
    return text;
}

int CountWarnings(const Logging::CCapture& log)
{
    const auto records = log.GetRecords();
    return static_cast<int>(
        std::ranges::count_if(records, [](const auto& record) { return record.level >= ELevel::eWarning; }));
}

TEST(TargetsOfAModel, ComeBackByteForByteWithoutAWarning)
{
    const std::string text = WholeText();
    EXPECT_NE(text.find("::MV3DCam::CamCalibBody\nCoordFile=board.txt\nMaxCalibrationIteration=33\n"
                        "::MV3DCam::CamCalibBody::Thres\n"),
              std::string::npos);
    const Logging::CCapture log;
    CFrameworkProbe again(text);
    EXPECT_EQ(CountWarnings(log), 0);
    EXPECT_EQ(again.GetCamCalibBody()->GetCoordFile(), "board.txt");
    EXPECT_EQ(again.GetCamCalibBody()->GetMaxCalibrationIteration(), 33);
    EXPECT_EQ(again.GetCamCalibBody()->GetThres()->m_iImgMargin, 12);
    EXPECT_EQ(Store(again, c_sRoot), text);
}

TEST(TargetsOfAModel, AreOfTheirKinds)
{
    CFrameworkProbe framework;
    const LxCCalibBody* const board = framework.GetCamCalibBody();
    const LxCCalibBody* const slide = framework.GetProjCalibBody();
    EXPECT_EQ(board->GetCoordFile(), LxCCalibBody::sc_FilenameReadFromRegistry);
    EXPECT_NE(dynamic_cast<const LxCCBCalibThres*>(board->GetThres()), nullptr);
    EXPECT_EQ(slide->GetThres(), framework.GetProjCalibThres());
    const CFrameworkProbe& constFramework = framework;
    EXPECT_EQ(constFramework.GetCamCalibBody(), board);
    EXPECT_EQ(constFramework.GetProjCalibBody(), slide);
}

/// What a model with a pattern of these digits loads for the slide.
void ExpectSlide(const std::string& digits, const std::string& name, int columns,
                 LxCCProjSlideCalibThres::EMarkerTyp type)
{
    CCameraModel model = SmallModel();
    model.digits = digits;
    CFrameworkProbe framework(ModelText(model, c_sRoot));
    ASSERT_EQ(framework.GetCLPattern()->GetPatternString(), digits);
    EXPECT_EQ(framework.GetProjCalibBody()->GetCoordFile(), name);
    EXPECT_EQ(framework.GetProjCalibThres()->m_iNrOfCols, columns);
    EXPECT_EQ(framework.GetProjCalibThres()->m_eMarkerTyp, type);
}

TEST(StandardSlide, FollowsThePattern)
{
    using Thres = LxCCProjSlideCalibThres;
    ExpectSlide(LxCStripePattern::GetPatternStringA(), c_sA2, 13, Thres::eMT_BlackInWhite);
    ExpectSlide(LxCStripePattern::GetPatternStringC(), c_sC, 11, Thres::eMT_WhiteInBlack);
}

TEST(StandardSlide, IsThatOfPatternAForAnyOther)
{
    ExpectSlide("01020304", c_sA2, 13, LxCCProjSlideCalibThres::eMT_BlackInWhite);
    ExpectSlide("", c_sA2, 13, LxCCProjSlideCalibThres::eMT_BlackInWhite);
}

TEST(StandardSlide, IsLoadedWithItsCoordinates)
{
    CFrameworkProbe framework(SmallModel());
    LxCCalibMark last;
    last.SetId(156); // the last corner of slide A2: column 1750 - 50, row 50 * 138
    const LxC3DCoordsCCT world = framework.GetProjCalibBody()->GetWorldCoords(last);
    EXPECT_EQ(world.x, 1700.0);
    EXPECT_EQ(world.y, 6900.0);
}

TEST(StandardSlide, GoesBeforeThresholdsOfTheTextAndThoseThatStood)
{
    CFrameworkProbe framework(SmallModel());
    const std::string text = Store(framework, c_sRoot);
    framework.GetProjCalibThres()->m_iNrOfCols = 99; // the same slide is loaded anew
    framework.GetProjCalibBody()->SetCoordFile("other.txt");
    const std::string changed = Store(framework, c_sRoot);
    EXPECT_NE(changed, text);
    Load(framework, c_sRoot, changed);
    EXPECT_EQ(framework.GetProjCalibThres()->m_iNrOfCols, 13);
    EXPECT_EQ(Store(framework, c_sRoot), text);
}

TEST(StandardSlide, StaysAsItIsWhenAModelIsWritten)
{
    CFrameworkProbe framework;
    Store(framework, c_sRoot);
    EXPECT_EQ(framework.GetProjCalibBody()->GetCoordFile(), LxCCalibBody::sc_FilenameReadFromRegistry);
    EXPECT_EQ(framework.GetProjCalibThres()->m_iNrOfCols, 0);
}

TEST(SectionsOfAModel, CountInAnyOrder)
{
    const std::string text = WholeText();
    std::vector<std::string> sections = Split(text);
    std::mt19937_64 random(3);
    for (int trial = 0; trial < 10; ++trial) {
        std::shuffle(sections.begin(), sections.end(), random);
        const Logging::CCapture log;
        CFrameworkProbe framework(Join(sections));
        EXPECT_EQ(CountWarnings(log), 0);
        ASSERT_EQ(Store(framework, c_sRoot), text);
    }
}

TEST(SectionsOfAModel, CountOnceAndAreWarnedOfWhereRepeated)
{
    const std::string text = WholeText();
    const std::vector<std::string> sections = Split(text);
    for (const std::string& section : sections) {
        std::string other = section;
        std::replace(other.begin() + static_cast<std::ptrdiff_t>(other.find('\n')), other.end(), '3', '4');
        const Logging::CCapture log;
        CFrameworkProbe framework(text + other + other);
        ASSERT_EQ(Store(framework, c_sRoot), text) << section;
        EXPECT_EQ(
            log.Count(ELevel::eWarning, c_sChannel,
                      L"LxCPinholeFramework::Serialize: 2 sections of the text are repeated, the first of "
                      L"each is read\n"),
            1);
    }
}

TEST(SectionsOfAModel, AreReportedWhereMissing)
{
    const std::string text = WholeText();
    const std::vector<std::string> sections = Split(text);
    for (std::size_t missing = 0; missing < sections.size(); ++missing) {
        std::vector<std::string> others = sections;
        others.erase(others.begin() + static_cast<std::ptrdiff_t>(missing));
        const std::string name = sections[missing].substr(0, sections[missing].find('\n'));
        const Logging::CCapture log;
        CFrameworkProbe framework(Join(others));
        const auto records = log.GetRecords();
        const std::wstring expected = L"CCCTSerializer::FindExtractSection: Section " +
                                      std::wstring(name.begin(), name.end()) + L" not found.\n";
        EXPECT_TRUE(std::ranges::any_of(records, [&](const auto& record) { return record.text == expected; }))
            << name;
        EXPECT_GE(CountWarnings(log), 1) << name; // of its keys
        Store(framework, c_sRoot);
    }
}

TEST(SectionsOfAModel, AreWarnedOfWhereKeysAreMissing)
{
    // Each key by itself, as of an older model: one line in the log, and the rest is read.
    const std::string text = WholeText();
    int keys = 0;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = text.find('\n', begin) + 1;
        const std::string line = text.substr(begin, end - begin);
        if (!line.starts_with("::")) {
            const Logging::CCapture log;
            const CFrameworkProbe framework(text.substr(0, begin) + text.substr(end));
            EXPECT_EQ(
                log.Count(ELevel::eWarning, c_sChannel,
                          L"LxCPinholeFramework::Serialize: 1 values are not in the text, defaults stand "
                          L"for them\n"),
                1)
                << line;
            ++keys;
        }
        begin = end;
    }
    EXPECT_GT(keys, 130);
}

TEST(SectionsOfAModel, FromBeforeTheTargetsGiveTheirDefaults)
{
    CFrameworkProbe framework(WholeText());
    framework.GetCamCalibBody()->SetCoordFile("kept.txt");
    const std::string text = WholeText();
    const Logging::CCapture log;
    Load(framework, c_sRoot, text.substr(0, text.find("::MV3DCam::CamCalibBody")));
    EXPECT_TRUE(framework.IsCalibrated());
    EXPECT_EQ(framework.GetCamCalibBody()->GetCoordFile(), "kept.txt");
    EXPECT_EQ(framework.GetCamCalibBody()->GetThres()->m_iImgMargin, 5);
    EXPECT_EQ(framework.GetProjCalibBody()->GetCoordFile(), c_sA2);
    EXPECT_EQ(CountWarnings(log), 1);
}

TEST(DataFileOfAModel, StaysInItsFolder)
{
    const std::string text = WholeText();
    const std::string line = "CoordFile=board.txt\n";
    for (const std::string name : {"../../x", "a\\b.txt", "/etc/passwd", "..", "."}) {
        const Logging::CCapture log;
        std::string changed = text;
        changed.replace(changed.find(line), line.size(), "CoordFile=" + name + "\n");
        CFrameworkProbe framework(changed);
        EXPECT_EQ(framework.GetCamCalibBody()->GetCoordFile(), LxCCalibBody::sc_FilenameReadFromRegistry);
        EXPECT_EQ(framework.GetCamCalibBody()->GetMaxCalibrationIteration(), 33);
        EXPECT_EQ(log.Count(ELevel::eError, L"ORX.Lumorad.LxCCalibBody",
                            L"LxCCalibBody::Serialize: <" + std::wstring(name.begin(), name.end()) +
                                L"> is no name of a data file\n"),
                  1)
            << name;
    }
}

class EncryptedModel : public TestSupport::StoreTest
{};

TEST_F(EncryptedModel, IsDecryptedToTheSameText)
{
    const std::string text = WholeText();
    const std::string file = m_Folder / "model";
    CFrameworkProbe framework(text);
    LxCCCTSerializerEncryptedFile writer;
    ASSERT_TRUE(writer.Init(file, true));
    framework.Serialize(writer, c_sRoot);
    ASSERT_TRUE(writer.Exit());

    CFrameworkProbe again;
    LxCCCTSerializerEncryptedFile reader;
    ASSERT_TRUE(reader.Init(file, false));
    again.Serialize(reader, c_sRoot);
    EXPECT_TRUE(reader.Exit());
    EXPECT_EQ(Store(again, c_sRoot), text);
    LxCCCTSerializer plain;
    std::stringstream source(text);
    plain.ReadFromStringStream(source);
    EXPECT_TRUE(reader.HasSameData(plain));
}

TEST(HostileTargets, AreSurvived)
{
    const std::string text = WholeText();
    for (std::size_t at = text.find('=', text.find("::MV3DCam::CamCalibBody")); at != std::string::npos;
         at = text.find('=', at + 1)) {
        const std::size_t end = text.find('\n', at);
        for (const std::string value : {"", "nan", "-1", "2000000000", "9,9,9,9", "x"}) {
            const Logging::CCapture log;
            CFrameworkProbe framework(text.substr(0, at + 1) + value + text.substr(end));
            ASSERT_TRUE(framework.IsCalibrated());
            ASSERT_EQ(framework.GetProjCalibThres()->m_iNrOfCols, 13);
            framework.ResetCalibration(false);
            Store(framework, c_sRoot);
        }
    }
}

} // namespace
} // namespace LxCV
