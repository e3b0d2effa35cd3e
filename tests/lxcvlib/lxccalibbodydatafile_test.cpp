#include "lxccalibbody.h"

#include "lxccalibrationtargetwriter.h"
#include "lxccbcalibthres.h"
#include "orx/logging/logger.h"
#include "orx/platform/keyvaluestore.h"
#include "tests/lxcvlib/calibbodytestsupport.h"
#include "tests/support/environment.h"
#include "tests/support/temporaryfolder.h"
#include "tests/support/workplace.h"

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <limits>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

namespace LxCV {
namespace {

using Logging::ELevel;
using platform::EStoreRoot;
using TestSupport::CPlainTarget;

constexpr const wchar_t* c_sChannel = L"ORX.Lumorad.LxCCalibBody";
constexpr const wchar_t* c_sStuck =
    L"Error: LxCCalibBody::Read3DCoordsFromStream: read process got stuck and did not finish properly\n";
constexpr const char* c_sKey = "SOFTWARE\\Kelvane Optic Systems\\CADCAM\\Device\\Acquisition\\Lumorad";

using Points = std::vector<std::tuple<double, double, double>>;

Points PointsOf(const CPlainTarget& target)
{
    Points points;
    for (const LxC3DCoordsCCT& point : target.m_vWorldCoords) {
        points.emplace_back(point.x, point.y, point.z);
    }
    return points;
}

int Read(CPlainTarget& target, const std::string& text)
{
    std::istringstream stream(text);
    return target.Read3DCoordsFromStream(stream);
}

/// The points of a text that is expected to be good.
Points Read(const std::string& text)
{
    CPlainTarget target;
    EXPECT_EQ(Read(target, text), 0) << text;
    return PointsOf(target);
}

/// The result of a text with a list that ends badly, with the points before its end.
void ExpectStuck(const std::string& text, const Points& points)
{
    CPlainTarget target;
    const Logging::CCapture capture;
    EXPECT_EQ(Read(target, text), 4) << text;
    EXPECT_EQ(capture.Count(ELevel::eError, c_sChannel, c_sStuck), 1) << text;
    EXPECT_EQ(PointsOf(target), points) << text;
}

// Coordinate lines

TEST(LxCCalibBodyCoords, AreThreeNumbersALineBehindTheHeader)
{
    EXPECT_EQ(Read("::Coords\n1 2 3\n-4.5 5e1 0x10\n"), (Points{{1, 2, 3}, {-4.5, 50, 16}}));
    EXPECT_EQ(Read("::Thres\nNrOfCols=8\n1 1 1\n::Coords\n1\t2\t3"), (Points{{1, 2, 3}}));
}

TEST(LxCCalibBodyCoords, AreOfSinglePrecision)
{
    EXPECT_EQ(Read("::Coords\n0.1 16777217 3\n"), (Points{{static_cast<double>(0.1F), 16777216.0, 3.0}}));
}

TEST(LxCCalibBodyCoords, ALineOfTwoNumbersKeepsTheHeightBefore)
{
    EXPECT_EQ(Read("::Coords\n1 2\n3 4 5\n6 7\n8 9 x\n"),
              (Points{{1, 2, 0}, {3, 4, 5}, {6, 7, 5}, {8, 9, 5}}));
}

TEST(LxCCalibBodyCoords, FurtherTextOnALineDoesNotCount)
{
    EXPECT_EQ(Read("::Coords\n1 2 3 4 # corner\n"), (Points{{1, 2, 3}}));
}

TEST(LxCCalibBodyCoords, EmptyLinesAndCommentsAreSkipped)
{
    EXPECT_EQ(Read("::Coords\n\n# a comment\n#\n1 2 3\n\n#\n4 5 6\n"), (Points{{1, 2, 3}, {4, 5, 6}}));
}

TEST(LxCCalibBodyCoords, ALineThatBeginsWithAColonEndsThem)
{
    EXPECT_EQ(Read("::Coords\n1 2 3\n::More\n4 5 6\n"), (Points{{1, 2, 3}}));
    EXPECT_EQ(Read("::Coords\n1 2 3\n:\nrubbish\n"), (Points{{1, 2, 3}}));
}

TEST(LxCCalibBodyCoords, TheHeaderIsTheWholeLine)
{
    ExpectStuck("::Coords \n1 2 3\n", {});
    ExpectStuck(" ::Coords\n1 2 3\n", {});
    ExpectStuck("::Coords\r\n1 2 3\r\n", {});
}

TEST(LxCCalibBodyCoords, ALineOfOneNumberEndsThemWith4)
{
    ExpectStuck("::Coords\n1 2 3\n4\n", {{1, 2, 3}});
    ExpectStuck("::Coords\n1 2 3\n4\n5 6 7\n", {{1, 2, 3}});
}

TEST(LxCCalibBodyCoords, ALineWithoutNumbersEndsThemWith4)
{
    ExpectStuck("::Coords\n1 2 3\n \n5 6 7\n", {{1, 2, 3}});
    ExpectStuck("::Coords\nrubbish\n", {});
}

TEST(LxCCalibBodyCoords, NoLineThatCountsGives4)
{
    ExpectStuck("", {});
    ExpectStuck("::Thres\n", {});
    ExpectStuck("::Coords", {});
    ExpectStuck("::Coords\n# nothing\n\n#", {});
    ExpectStuck("::Coords\n::Coords\n1 2 3\n", {});
}

TEST(LxCCalibBodyCoords, NumbersThatAreNoneOrInfiniteAreCarried)
{
    const Points points = Read("::Coords\nnan inf -1e99\n");
    ASSERT_EQ(points.size(), 1U);
    EXPECT_TRUE(std::isnan(std::get<0>(points[0])));
    EXPECT_EQ(std::get<1>(points[0]), std::numeric_limits<double>::infinity());
    EXPECT_EQ(std::get<2>(points[0]), -std::numeric_limits<double>::infinity());
}

TEST(LxCCalibBodyCoords, AStreamThatIsNotGoodGives3)
{
    CPlainTarget target;
    target.m_vWorldCoords = {{1.0, 2.0, 3.0}};
    target.m_bNormalized = true;
    std::istringstream stream("::Coords\n1 2 3\n");
    stream.setstate(std::ios_base::failbit);
    const Logging::CCapture capture;
    EXPECT_EQ(target.Read3DCoordsFromStream(stream), 3);
    EXPECT_EQ(capture.Count(ELevel::eError, c_sChannel,
                            L"Error: LxCCalibBody::Read3DCoordsFromStream: rStream not open\n"),
              1);
    EXPECT_TRUE(target.m_vWorldCoords.empty());
    EXPECT_TRUE(target.m_bNormalized);
}

TEST(LxCCalibBodyCoords, ReplaceThoseBeforeAndAreNotNormalised)
{
    CPlainTarget target;
    EXPECT_EQ(Read(target, "::Coords\n1 2 3\n4 5 6\n"), 0);
    target.NormalizeTargetCoordsToCenter();
    EXPECT_EQ(Read(target, "::Coords\n7 8 9\n"), 0);
    EXPECT_EQ(PointsOf(target), (Points{{7, 8, 9}}));
    EXPECT_FALSE(target.m_bNormalized);
}

TEST(LxCCalibBodyCoords, AFailureLeavesTheMarks)
{
    CPlainTarget target;
    target.AddMark(1.0, 2.0, 3);
    EXPECT_EQ(Read(target, "rubbish"), 4);
    EXPECT_EQ(target.GetCalibMarks().size(), 1U);
}

TEST(LxCCalibBodyCoords, RandomPointsComeBackWhateverStandsBetween)
{
    std::mt19937 random(3);
    std::uniform_real_distribution<float> coordinate(-30.0F, 30.0F);
    for (int trial = 0; trial < 300; ++trial) {
        std::ostringstream text;
        text.precision(9); // digits that tell a float
        text << "junk 1 2\n::Coords\n";
        Points expected;
        const int lines = 1 + static_cast<int>(random() % 60);
        for (int i = 0; i < lines; ++i) {
            const float x = coordinate(random);
            const float y = coordinate(random);
            const float z = coordinate(random);
            const char* const gap = random() % 2 == 0 ? " " : "\t  ";
            text << x << gap << y << gap << z << (random() % 3 == 0 ? "\n# note 1 2 3\n\n" : "\n");
            expected.emplace_back(x, y, z);
        }
        ASSERT_EQ(Read(text.str()), expected) << text.str();
    }
}

// Files

class LxCCalibBodyFile : public testing::Test
{
protected:
    LxCCalibBodyFile() { m_Target.m_sPath = m_Folder.GetPath().string() + "\\"; }

    void Write(const std::string& name, const std::string& text) const
    {
        ::TestSupport::WriteFile(m_Folder.GetPath() / name, text);
    }

    int Load(const std::string& coordFile)
    {
        m_Target.SetCoordFile(coordFile);
        return m_Target.LoadDataFile();
    }

    ::TestSupport::CTemporaryFolder m_Folder;
    CPlainTarget m_Target;
    Logging::CCapture m_Capture;
};

const std::string c_sFile = "::Thres\nImgMargin=9\n::Coords\n1 2 3\n4 5 6\n";

TEST_F(LxCCalibBodyFile, GivesCoordinatesAndThresholds)
{
    Write("target.txt", c_sFile);
    EXPECT_EQ(Load("target.txt"), 0);
    EXPECT_EQ(PointsOf(m_Target), (Points{{1, 2, 3}, {4, 5, 6}}));
    EXPECT_EQ(m_Target.m_pThres->m_iImgMargin, 9);
    EXPECT_TRUE(m_Target.m_bDataLoaded);
    EXPECT_EQ(m_Target.m_sLoadedFile, "target.txt");
    EXPECT_EQ(m_Capture.Count(ELevel::eInfo, c_sChannel,
                              L"LoadDataFile: " + m_Folder.GetPath().wstring() + L"\\target.txt\n"),
              1);
}

TEST_F(LxCCalibBodyFile, GivesThresholdsOfTheTargetsKindWithTheirBase)
{
    m_Target.m_pThres = std::make_unique<LxCCBCalibThres>();
    Write("target.txt", "::Thres\nNrOfCols=5\nMinEdgeLen=0\nImgMargin=1\n::Thres::Base\nImgMargin=7\n"
                        "::Coords\n1 2 3\n");
    EXPECT_EQ(Load("target.txt"), 0);
    const auto& thres = dynamic_cast<const LxCCBCalibThres&>(*m_Target.GetThres());
    EXPECT_EQ(thres.m_iNrOfCols, 5);
    EXPECT_EQ(thres.m_iMinEdgeLen, 1);
    EXPECT_EQ(thres.m_iImgMargin, 7);
}

TEST_F(LxCCalibBodyFile, MayHaveCarriageReturns)
{
    Write("target.txt", "::Thres\r\nImgMargin=9\r\n\r\n::Coords\r\n\r\n1 2 3\r\n4 5 6\r\n");
    EXPECT_EQ(Load("target.txt"), 0);
    EXPECT_EQ(PointsOf(m_Target), (Points{{1, 2, 3}, {4, 5, 6}}));
    EXPECT_EQ(m_Target.m_pThres->m_iImgMargin, 9);
}

TEST_F(LxCCalibBodyFile, WithoutThresholdsGivesTheirDefaults)
{
    m_Target.m_pThres->m_iImgMargin = 77;
    Write("target.txt", "::Coords\n1 2 3\n");
    EXPECT_EQ(Load("target.txt"), 0);
    EXPECT_EQ(m_Target.m_pThres->m_iImgMargin, 5);
}

TEST_F(LxCCalibBodyFile, WithoutADotInItsPathGivesDefaultThresholds)
{
    const ::TestSupport::CWorkplace workplace(false);
    ::TestSupport::WriteFile("target", c_sFile);
    m_Target.m_sPath.clear();
    m_Target.m_pThres->m_iImgMargin = 77;
    EXPECT_EQ(Load("target"), 0);
    EXPECT_EQ(m_Target.m_vWorldCoords.size(), 2U);
    EXPECT_EQ(m_Target.m_pThres->m_iImgMargin, 5);
}

TEST_F(LxCCalibBodyFile, LoadsIntoATargetWithoutThresholds)
{
    m_Target.m_pThres.reset();
    Write("target.txt", c_sFile);
    EXPECT_EQ(Load("target.txt"), 0);
    EXPECT_EQ(m_Target.m_vWorldCoords.size(), 2U);
}

TEST_F(LxCCalibBodyFile, IsReadOnce)
{
    Write("target.txt", c_sFile);
    EXPECT_EQ(Load("target.txt"), 0);
    std::filesystem::remove(m_Folder.GetPath() / "target.txt");
    EXPECT_EQ(Load("target.txt"), 0);
    EXPECT_EQ(m_Target.m_vWorldCoords.size(), 2U);
    EXPECT_EQ(m_Capture.Count(ELevel::eInfo, c_sChannel,
                              L"LoadDataFile: " + m_Folder.GetPath().wstring() + L"\\target.txt\n"),
              1);
}

TEST_F(LxCCalibBodyFile, IsReadAgainOnceItIsForgotten)
{
    Write("target.txt", c_sFile);
    EXPECT_EQ(Load("target.txt"), 0);
    Write("target.txt", "::Coords\n7 8 9\n");
    m_Target.ForgetDataFile();
    EXPECT_EQ(Load("target.txt"), 0);
    EXPECT_EQ(PointsOf(m_Target), (Points{{7, 8, 9}}));
}

TEST_F(LxCCalibBodyFile, OfAnotherNameIsReadAndTheFormerOneThenAgain)
{
    Write("a.txt", "::Coords\n1 2 3\n");
    Write("b.txt", "::Coords\n4 5 6\n");
    EXPECT_EQ(Load("a.txt"), 0);
    EXPECT_EQ(Load("b.txt"), 0);
    EXPECT_EQ(PointsOf(m_Target), (Points{{4, 5, 6}}));
    EXPECT_EQ(Load("a.txt"), 0);
    EXPECT_EQ(PointsOf(m_Target), (Points{{1, 2, 3}}));
}

TEST_F(LxCCalibBodyFile, ThatIsMissingGives3AndIsLogged)
{
    EXPECT_EQ(Load("none.txt"), 3);
    EXPECT_FALSE(m_Target.m_bDataLoaded);
    EXPECT_EQ(m_Capture.Count(ELevel::eError, c_sChannel,
                              L"Error: LxCCalibBody::LoadDataFile: File couldn't be opened: <" +
                                  m_Folder.GetPath().wstring() + L"\\none.txt>\n"),
              1);
}

TEST_F(LxCCalibBodyFile, ThatIsAFolderOrAPipeGives3)
{
    std::filesystem::create_directory(m_Folder.GetPath() / "folder.txt");
    EXPECT_EQ(Load("folder.txt"), 3);
    EXPECT_EQ(Load(""), 3);
    m_Target.m_sPath = "/dev/";
    EXPECT_EQ(Load("zero"), 3);
}

TEST_F(LxCCalibBodyFile, ThatOpensButCannotBeReadGives3)
{
    // The memory of the process counts as a regular file; nothing is mapped at its beginning, so reading fails.
    m_Target.m_sPath = "/proc/self/";
    EXPECT_EQ(Load("mem"), 3);
    EXPECT_FALSE(m_Target.m_bDataLoaded);
    EXPECT_EQ(m_Capture.Count(ELevel::eError, c_sChannel,
                              L"Error: LxCCalibBody::LoadDataFile: File couldn't be opened: "
                              L"</proc/self/mem>\n"),
              1);
}

TEST_F(LxCCalibBodyFile, ThatIsBadLeavesTheThresholds)
{
    Write("bad.txt", "::Thres\nImgMargin=9\n::Coords\nrubbish\n");
    EXPECT_EQ(Load("bad.txt"), 4);
    EXPECT_EQ(m_Target.m_pThres->m_iImgMargin, 5);
    EXPECT_FALSE(m_Target.m_bDataLoaded);
}

TEST_F(LxCCalibBodyFile, IsReadAgainAfterAnotherWasBad)
{
    Write("good.txt", c_sFile);
    Write("bad.txt", "rubbish");
    EXPECT_EQ(Load("good.txt"), 0);
    EXPECT_EQ(Load("bad.txt"), 4);
    EXPECT_TRUE(m_Target.m_vWorldCoords.empty());
    EXPECT_EQ(Load("good.txt"), 0);
    EXPECT_EQ(m_Target.m_vWorldCoords.size(), 2U);
}

TEST_F(LxCCalibBodyFile, GoesThroughTheReaderOfTheDynamicType)
{
    class CCountingTarget : public CPlainTarget
    {
    public:
        ECalibError Read3DCoordsFromStream(std::istream& stream) override
        {
            ++m_iReads;
            return CPlainTarget::Read3DCoordsFromStream(stream);
        }
        int m_iReads = 0;
    };
    Write("target.txt", c_sFile);
    CCountingTarget target;
    EXPECT_EQ(target.Read3DCoordsFromDataFile(m_Folder / "target.txt"), 0);
    EXPECT_EQ(target.m_iReads, 1);
}

// Registry

class LxCCalibBodyRegistry : public LxCCalibBodyFile
{
protected:
    static void WriteValue(const std::string& value, EStoreRoot root = EStoreRoot::eCurrentUser)
    {
        EXPECT_FALSE(
            platform::WriteStoreValue(root, c_sKey, "calibrationdata", std::as_bytes(std::span(value))));
    }

    ::TestSupport::CEnvironmentVariable m_Store{"LXCV_STORE", m_Folder / "store"};
};

TEST_F(LxCCalibBodyRegistry, WithoutTheKeyGives4)
{
    EXPECT_EQ(Load("registry"), 4);
    EXPECT_EQ(m_Capture.Count(ELevel::eError, c_sChannel, c_sStuck), 1);
}

TEST_F(LxCCalibBodyRegistry, WithTheKeyButNoValueGives44AndKeepsTheCoordinates)
{
    EXPECT_FALSE(platform::WriteStoreValue(EStoreRoot::eCurrentUser, c_sKey, "other", {}));
    m_Target.m_vWorldCoords = {{1.0, 2.0, 3.0}};
    EXPECT_EQ(Load("registry"), 44);
    EXPECT_EQ(m_Target.m_vWorldCoords.size(), 1U);
}

TEST_F(LxCCalibBodyRegistry, GivesCoordinatesAndThresholds)
{
    WriteValue("::Thres\r\nImgMargin=9\r\n::Coords\r\n\r\n1 2 3\r\n4 5 6");
    EXPECT_EQ(Load("registry"), 0);
    EXPECT_EQ(PointsOf(m_Target), (Points{{1, 2, 3}, {4, 5, 6}}));
    EXPECT_EQ(m_Target.m_pThres->m_iImgMargin, 9);
    EXPECT_EQ(m_Target.m_sLoadedFile, "registry");
}

TEST_F(LxCCalibBodyRegistry, EndsAtTheFirstZeroByte)
{
    WriteValue(std::string("::Coords\n1 2 3\n") + '\0' + "4 5 6\nrubbish");
    EXPECT_EQ(Load("registry"), 0);
    EXPECT_EQ(PointsOf(m_Target), (Points{{1, 2, 3}}));
}

TEST_F(LxCCalibBodyRegistry, OfTheMachineServesWhereTheUserHasNoKey)
{
    WriteValue("::Coords\n1 2 3\n", EStoreRoot::eLocalMachine);
    EXPECT_EQ(Load("registry"), 0);
    EXPECT_EQ(PointsOf(m_Target), (Points{{1, 2, 3}}));
}

TEST_F(LxCCalibBodyRegistry, OfTheUserComesFirstEvenWithoutTheValue)
{
    WriteValue("::Coords\n1 2 3\n", EStoreRoot::eLocalMachine);
    EXPECT_FALSE(platform::WriteStoreValue(EStoreRoot::eCurrentUser, c_sKey, "other", {}));
    EXPECT_EQ(Load("registry"), 44);
    WriteValue("::Coords\n4 5 6\n");
    EXPECT_EQ(Load("registry"), 0);
    EXPECT_EQ(PointsOf(m_Target), (Points{{4, 5, 6}}));
}

TEST_F(LxCCalibBodyRegistry, HoldsAValueOf65536BytesAndNoLongerOne)
{
    constexpr std::size_t c_uiLargest = 0x10000;
    std::string value = "::Coords\n1 2 3\n#";
    value.append(c_uiLargest - value.size(), 'x');
    WriteValue(value);
    EXPECT_EQ(Load("registry"), 0);
    WriteValue(value + 'x');
    m_Target.ForgetDataFile();
    EXPECT_EQ(Load("registry"), 44);
}

TEST_F(LxCCalibBodyRegistry, TakesWhatTheTargetWriterWrites)
{
    // d0 = 3: a target whose coordinates are fixed; a = 2(3 + 0 + 0) = 6, b = 3, so that the check digits are 4 and 7.
    ASSERT_EQ(LxCCalibrationTargetWriter::WriteCalibDataToRegistry(std::string("30000047")), 0);
    m_Target.m_pThres = std::make_unique<LxCCBCalibThres>();
    EXPECT_EQ(Load("registry"), 0);
    const auto& thres = dynamic_cast<const LxCCBCalibThres&>(*m_Target.GetThres());
    EXPECT_EQ(thres.m_uiTargetId, 30000047U);
    ASSERT_EQ(m_Target.m_vWorldCoords.size(), 224U);
    // The last square, row 6 and column 7 at a pitch of 3 mm: its lower right corner.
    EXPECT_EQ(m_Target.m_vWorldCoords[223].x, static_cast<double>(22.003F));
    EXPECT_EQ(m_Target.m_vWorldCoords[223].y, static_cast<double>(19.003F));
}

} // namespace
} // namespace LxCV
