#include "lxcpinholeframework.h"

#include "lxccctserializerfile.h"
#include "lxccctserializerstring.h"
#include "orx/logging/logger.h"
#include "tests/lxcvlib/cameramodel.h"
#include "tests/lxcvlib/frameworkprobe.h"
#include "tests/lxcvlib/sectiontext.h"

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <random>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace LxCV {
namespace {

using Logging::ELevel;
using TestSupport::CCameraModel;
using TestSupport::CFrameworkProbe;
using TestSupport::Load;
using TestSupport::ModelText;
using TestSupport::PlainModel;
using TestSupport::SmallModel;
using TestSupport::Store;

constexpr const wchar_t* c_sChannel = L"ORX.Lumorad.LxCPinholeFramework";
constexpr const char* c_sRoot = "::MV3DCam";

std::vector<std::string> Sections(const std::string& text)
{
    std::vector<std::string> sections;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with("::")) {
            sections.push_back(line);
        }
    }
    return sections;
}

std::string Replaced(std::string text, const std::string& from, const std::string& to)
{
    const std::size_t at = text.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    return at == std::string::npos ? text : text.replace(at, from.size(), to);
}

TEST(ModelText, HasItsSectionsInFileOrder)
{
    CFrameworkProbe framework(PlainModel());
    framework.GetRoiIgnore().assign(2, LxCRoi(1, 2, 3, 4));
    const std::vector<std::string> expected = {
        "::S::MV3DCamBase",
        "::S::Cams[0]",
        "::S::Cams[0]::CoordSysTrans",
        "::S::Cams[0]::IntrinsicParams",
        "::S::Projector::PinholeProjector::PinholeCamera",
        "::S::Projector::PinholeProjector::PinholeCamera::CoordSysTrans",
        "::S::Projector::PinholeProjector::PinholeCamera::IntrinsicParams",
        "::S::Projector::CLPattern",
        "::S::PolynomKoma",
        "::S::RoiIgnore",
        "::S::RoiIgnore::Roi[0]",
        "::S::RoiIgnore::Roi[1]",
        "::S::CamCalibBody",
        "::S::CamCalibBody::Thres",
        "::S::CamCalibBody::Thres::Base",
        "::S::ProjCalibBody",
        "::S::ProjCalibBody::Thres",
        "::S::ProjCalibBody::Thres::Base"};
    EXPECT_EQ(Sections(Store(framework, "::S")), expected);
}

TEST(ModelText, WithoutRegionsHasTheirCountOnly)
{
    CFrameworkProbe framework(PlainModel());
    const std::string text = Store(framework, "::S");
    EXPECT_NE(text.find("::S::RoiIgnore\nNumRoiIgnore=0\n"), std::string::npos);
    EXPECT_EQ(text.find("::Roi[0]"), std::string::npos);
}

TEST(ModelText, ComesBackByteForByte)
{
    std::mt19937_64 random(21);
    for (int trial = 0; trial < 40; ++trial) {
        CCameraModel model = TestSupport::RandomModel(random, trial % 2 == 0);
        model.camera.calibrated = trial % 5 != 0;
        model.camera.height = 40.0 + trial;
        CFrameworkProbe framework(model);
        framework.GetRoiIgnore().assign(random() % 4, LxCRoi(5, 6, static_cast<int>(random() % 100), 8));
        const std::string text = Store(framework, c_sRoot);
        CFrameworkProbe again(text);
        ASSERT_EQ(Store(again, c_sRoot), text) << trial;
    }
}

TEST(ModelText, OfAFreshModelComesBackButForItsTargets)
{
    CFrameworkProbe fresh;
    const std::string text = Store(fresh, c_sRoot);
    CFrameworkProbe again(text);
    const std::string read = Store(again, c_sRoot);
    const std::string targets =
        "::MV3DCam::CamCalibBody\n"; // take the standard slide, and correct a serial number
    EXPECT_EQ(read.substr(0, read.find(targets)), text.substr(0, text.find(targets)));
    CFrameworkProbe third(read);
    EXPECT_EQ(Store(third, c_sRoot), read);
}

TEST(ModelText, GivesAModelThatMeasuresTheSame)
{
    std::mt19937_64 random(22);
    CFrameworkProbe framework(TestSupport::RandomModel(random, false));
    const CFrameworkProbe again(Store(framework, c_sRoot));
    for (int row = 0; row < 494; row += 7) {
        for (int edge = 0; edge < 140; edge += 3) {
            ASSERT_EQ(framework.ComputeEdgeDepth(329.5, row, edge, false, true),
                      again.ComputeEdgeDepth(329.5, row, edge, false, true));
        }
    }
}

TEST(ReadingAModel, MakesTheCameraTheProjectorsMaster)
{
    CFrameworkProbe framework;
    framework.GetProjector()->SetMasterCam(nullptr);
    Load(framework, c_sRoot, ModelText(PlainModel(), c_sRoot));
    EXPECT_EQ(framework.GetProjector()->GetMasterCam(), framework.GetCamera());
    EXPECT_TRUE(framework.IsCalibrated());
}

TEST(WritingAModel, LeavesTheProjectorsMasterAndTheTables)
{
    CFrameworkProbe framework(PlainModel());
    framework.GetProjector()->SetMasterCam(nullptr);
    const double before = framework.ComputeEdgeDepth(300.0, 200.0, 70, true, false);
    Store(framework, c_sRoot);
    EXPECT_EQ(framework.GetProjector()->GetMasterCam(), nullptr);
    EXPECT_EQ(framework.ComputeEdgeDepth(300.0, 200.0, 70, true, false), before);
}

TEST(ReadingAModel, BuildsTheTablesBeforeTheRegions)
{
    class CRecorder : public LxCPinholeFramework
    {
    public:
        void CalibStatusChanged(int minEdge, int maxEdge, bool intrinsicsChanged, bool rebuildUnwrap,
                                bool workingSpaceChanged) override
        {
            m_viArguments = {minEdge, maxEdge, intrinsicsChanged, rebuildUnwrap, workingSpaceChanged};
            m_uiRegions = GetRoiIgnore().size();
            m_bKomaRead = GetPolynomKoma()->GetUse();
            LxCPinholeFramework::CalibStatusChanged(minEdge, maxEdge, intrinsicsChanged, rebuildUnwrap,
                                                    workingSpaceChanged);
            m_bCalibrated = IsCalibrated();
        }
        std::vector<int> m_viArguments;
        std::size_t m_uiRegions = 99;
        bool m_bKomaRead = false;
        bool m_bCalibrated = false;
    };
    CCameraModel model = PlainModel();
    model.useKoma = true;
    CRecorder recorder;
    Load(recorder, c_sRoot, ModelText(model, c_sRoot) + "::MV3DCam::RoiIgnore\nNumRoiIgnore=2\n");
    EXPECT_EQ(recorder.m_viArguments, (std::vector<int>{0, 0x7FFFFFFF, 1, 1, 1}));
    EXPECT_EQ(recorder.m_uiRegions, 0U);
    EXPECT_TRUE(recorder.m_bKomaRead);
    EXPECT_TRUE(recorder.m_bCalibrated);
    EXPECT_EQ(recorder.GetRoiIgnore().size(), 2U);
}

TEST(ReadingAModel, ReadsRegions)
{
    CFrameworkProbe framework(ModelText(PlainModel(), c_sRoot) +
                              "::MV3DCam::RoiIgnore\nNumRoiIgnore=3\n"
                              "::MV3DCam::RoiIgnore::Roi[2]\nLeftCol=1\nTopRow=2\nWidth=3\nHeight=4\n"
                              "::MV3DCam::RoiIgnore::Roi[0]\nLeftCol=10\nWidth=30\n");
    ASSERT_EQ(framework.GetRoiIgnore().size(), 3U);
    EXPECT_EQ(framework.GetRoiIgnore()[0].GetLeftCol(), 10);
    EXPECT_EQ(framework.GetRoiIgnore()[0].GetWidth(), 30);
    EXPECT_EQ(framework.GetRoiIgnore()[0].GetHeight(), 0);
    EXPECT_EQ(framework.GetRoiIgnore()[1].GetWidth(), 0);
    EXPECT_EQ(framework.GetRoiIgnore()[2].GetTopRow(), 2);
}

TEST(ReadingAModel, TakesAsManyRegionsAsThereAreForAFalseNumber)
{
    const std::string base = ModelText(PlainModel(), c_sRoot);
    for (const std::string number : {"2000000000", "-1", "-2147483648", "100000"}) {
        const Logging::CCapture log;
        CFrameworkProbe framework(base + "::MV3DCam::RoiIgnore\nNumRoiIgnore=" + number +
                                  "\n::MV3DCam::RoiIgnore::Roi[0]\nLeftCol=1\n"
                                  "::MV3DCam::RoiIgnore::Roi[1]\nLeftCol=2\n");
        const std::size_t expected = number.front() == '-' ? 0 : 2;
        EXPECT_EQ(framework.GetRoiIgnore().size(), expected);
        EXPECT_EQ(log.Count(ELevel::eError, c_sChannel,
                            L"LxCPinholeFramework::Serialize: " + std::wstring(number.begin(), number.end()) +
                                L" ignored regions are not possible, " + std::to_wstring(expected) +
                                L" are read\n"),
                  1)
            << number;
    }
}

TEST(ReadingAModel, KeepsItsRegionsWhereTheTextHasNone)
{
    CFrameworkProbe framework;
    framework.GetRoiIgnore().assign(1000, LxCRoi(1, 2, 3, 4));
    Load(framework, c_sRoot, "::Other\nKey=1\n");
    ASSERT_EQ(framework.GetRoiIgnore().size(), 1000U);
    EXPECT_EQ(framework.GetRoiIgnore()[999].GetWidth(), 3);
}

TEST(ReadingAModel, KeepsWhatAMissingSectionLeavesOut)
{
    CFrameworkProbe framework(PlainModel());
    const std::string before = Store(framework, c_sRoot);
    Load(framework, c_sRoot, "::MV3DCam::MV3DCamBase\nMinDistCamCoords=26\n");
    EXPECT_EQ(framework.GetMinZc(), 26.0);
    EXPECT_EQ(framework.GetMaxZc(), 41.0);
    EXPECT_TRUE(framework.GetCamera()->IsCalibrated());
    EXPECT_EQ(framework.GetCamera()->GetIntrinsicParams()->GetFocalLength(), PlainModel().camera.f);
}

TEST(ReadingAModel, ForgetsPlacementsAndPatternSizeThatTheTextLeavesOut)
{
    CCameraModel model = PlainModel();
    model.camera.t = {1.0, 2.0, 3.0};
    CFrameworkProbe framework(model);
    Load(framework, c_sRoot, "::MV3DCam::MV3DCamBase\nMinDistCamCoords=26\n");
    EXPECT_TRUE(framework.GetCamera()->IsIdentity());
    EXPECT_TRUE(framework.GetProjector()->IsIdentity());
    EXPECT_EQ(framework.GetCLPattern()->GetNrOfStripeEdges(), 0);
    EXPECT_EQ(framework.GetStatus(658, 494), LxCPinholeFramework::eInvalidPattern);
}

TEST(ReadingAModel, CountsTheFirstOfTwoEqualSections)
{
    const std::string text = ModelText(PlainModel(), c_sRoot);
    CFrameworkProbe framework(text + "::MV3DCam::MV3DCamBase\nMinDistCamCoords=1\n");
    EXPECT_EQ(framework.GetMinZc(), 25.0);
}

TEST(ReadingAModel, TakesAFileWithComments)
{
    CFrameworkProbe framework(PlainModel());
    const auto path =
        std::filesystem::temp_directory_path() / ("model" + std::to_string(std::random_device()()) + ".ini");
    LxCCCTSerializerFile writer;
    ASSERT_TRUE(writer.Init(path.string(), true));
    framework.Serialize(writer, c_sRoot);
    ASSERT_TRUE(writer.Exit());
    CFrameworkProbe again;
    LxCCCTSerializerFile reader;
    ASSERT_TRUE(reader.Init(path.string(), false));
    again.Serialize(reader, c_sRoot);
    EXPECT_TRUE(reader.Exit());
    std::filesystem::remove(path);
    EXPECT_TRUE(again.IsCalibrated());
    EXPECT_EQ(Store(again, c_sRoot), Store(framework, c_sRoot));
}

TEST(ReadingAModel, TakesAnEncryptedContainer)
{
    std::mt19937_64 random(23);
    CFrameworkProbe framework(TestSupport::RandomModel(random, true));
    std::vector<char> bytes;
    LxCCCTSerializerString writer;
    ASSERT_TRUE(writer.Init(bytes, true));
    framework.Serialize(writer, c_sRoot);
    ASSERT_TRUE(writer.Exit());
    bytes = writer.GetBuffer();
    CFrameworkProbe again;
    LxCCCTSerializerString reader;
    ASSERT_TRUE(reader.Init(bytes, false));
    again.Serialize(reader, c_sRoot);
    EXPECT_TRUE(reader.Exit());
    EXPECT_TRUE(again.IsCalibrated());
    EXPECT_EQ(Store(again, c_sRoot), Store(framework, c_sRoot));
}

/// Uses a model in every way that a caller might after reading it.
void UseEverywhere(CFrameworkProbe& framework)
{
    framework.GetStatus(658, 494);
    for (const double at : {0.0, 300.0, 1e9, std::nan("")}) {
        for (const int id : {-1, 63}) {
            const int edge = framework.UnwrapStripeId(id, at);
            framework.ComputeEdgeDepth(at, at, edge, true, false);
            framework.ComputeEdgeDepth(300.0, at, id, false, true);
        }
    }
    framework.SetWorkingSpace(10.0, 20.0, false);
    const std::string text = Store(framework, c_sRoot);
    CFrameworkProbe again(text);
}

TEST(ReadingAModel, SurvivesEveryKeyWithHostileValues)
{
    // One key at a time takes each of the values; what matters is that nothing crashes, hangs or takes memory out
    // of proportion.
    const std::string text = ModelText(SmallModel(), c_sRoot);
    const std::size_t lastKey = text.find("P01=");
    for (std::size_t at = text.find('='); at < lastKey; at = text.find('=', at + 1)) {
        const std::size_t end = text.find('\n', at);
        for (const std::string value : {"nan", "-1", "2147483647"}) {
            const Logging::CCapture log;
            CFrameworkProbe framework(text.substr(0, at + 1) + value + text.substr(end));
            UseEverywhere(framework);
        }
    }
}

TEST(ReadingAModel, SurvivesTextsThatEndEarly)
{
    const std::string text = ModelText(SmallModel(), c_sRoot);
    for (std::size_t length = 0; length < text.size(); length += 197) {
        const Logging::CCapture log;
        CFrameworkProbe framework(text.substr(0, length));
        UseEverywhere(framework);
    }
}

TEST(ReadingAModel, IsUncalibratedAfterRowsLongerThanThePattern)
{
    CCameraModel model = PlainModel();
    CFrameworkProbe framework(model);
    ASSERT_TRUE(framework.IsCalibrated());
    model.numPatches = model.numPatchesDepth = 1;
    model.rows = {std::string(140, 'a')};
    EXPECT_THROW(Load(framework, c_sRoot, ModelText(model, c_sRoot)), std::out_of_range);
    EXPECT_FALSE(framework.IsCalibrated());
    UseEverywhere(framework);
}

TEST(ReadingAModel, TakesAHugeImageForUncalibrated)
{
    const Logging::CCapture log;
    const CFrameworkProbe framework(Replaced(ModelText(PlainModel(), c_sRoot), "Nfy=494", "Nfy=2e9"));
    EXPECT_FALSE(framework.IsCalibrated());
    EXPECT_EQ(framework.UnwrapStripeId(0, 0.0), 4095);
    EXPECT_EQ(
        log.Count(ELevel::eDebug, c_sChannel,
                  L"Error while computing LUTs for the camera. System will be regarded as uncalibrated!\n"),
        1);
}

TEST(ReadingAModel, TakesAPatternOfTooManyEdgesForUncalibrated)
{
    const Logging::CCapture log;
    const CFrameworkProbe framework(
        Replaced(ModelText(PlainModel(), c_sRoot), "PatternHeight=7000", "PatternHeight=2000000000"));
    EXPECT_FALSE(framework.IsCalibrated());
}

} // namespace
} // namespace LxCV
