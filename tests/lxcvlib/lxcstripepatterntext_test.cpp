// Stripe patterns in section text.
#include "lxclxcvlibsettings.h"
#include "lxcstripepattern.h"
#include "orx/logging/logger.h"
#include "sectiontext.h"
#include "stripepatterntestsupport.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <limits>
#include <random>
#include <stdexcept>
#include <vector>

namespace LxCV {
namespace {

using Logging::ELevel;
using TestSupport::Load;
using TestSupport::MakeStripePattern;
using TestSupport::OpenStripePattern;
using TestSupport::Store;

constexpr const wchar_t* c_sChannel = L"ORX.Lumorad.LxCStripePattern";
const std::string c_sSection = "::CLPattern";
const std::string c_sPatternA = "2163050307412525052743436347214303614703416165612707056507256365";

/// The keys of a pattern of four stripe edges: nominal positions -50, 0, 50 and 100.
const std::string c_sFourEdges = "::CLPattern\n"
                                 "PatternHeight=200\n"
                                 "PatternWidth=300\n"
                                 "Pattern=" +
                                 c_sPatternA +
                                 "\n"
                                 "CodewordLen=4\n"
                                 "StripeWidth=50\n";

OpenStripePattern LoadPattern(const std::string& text)
{
    OpenStripePattern pattern;
    Load(pattern, c_sSection, text);
    return pattern;
}

/// A pattern of four edges with this text behind its keys.
OpenStripePattern LoadFourEdges(const std::string& text)
{
    return LoadPattern(c_sFourEdges + text);
}

/// A text of four edges, one patch, with this row in the present form.
std::string OneRow(const std::string& bytes)
{
    return "NumPatches=1\nNumPatchesDepth=1\nDataVersion=2\nLUT[0][0]=" + bytes + "\n";
}

using Row = std::vector<double>;

const Row& FirstRow(const LxCStripePattern& pattern)
{
    return pattern.GetCalibratedEdgePositionLUT().at(0).at(0);
}

TEST(StripePatternText, ReadsAPatternWithoutCalibration)
{
    const OpenStripePattern pattern =
        LoadFourEdges("EdgePositionMethod=1\nMinCalibratedEdge=1\nMaxCalibratedEdge=3\n");
    EXPECT_EQ(pattern.GetHeight(), 200);
    EXPECT_EQ(pattern.GetWidth(), 300);
    EXPECT_EQ(pattern.GetPatternString(), c_sPatternA);
    EXPECT_EQ(pattern.GetPrimitiveSize(), 50);
    EXPECT_EQ(pattern.GetEdgePositionMethodCalib(), LxCStripePattern::eEdgePosBaseShifted);
    EXPECT_EQ(pattern.GetMinCalibratedEdge(), 1);
    EXPECT_EQ(pattern.GetMaxCalibratedEdge(), 3);
    EXPECT_EQ(pattern.GetNominalEdgePositions(), (Row{-50.0, 0.0, 50.0, 100.0}));
    EXPECT_EQ(pattern.GetCWToStripeEdgeNrLUT().size(), 7778U);
    EXPECT_EQ(pattern.GetNumPatches(), 0);
    EXPECT_EQ(pattern.GetNumPatchesDepth(), 0);
    EXPECT_TRUE(pattern.GetCalibratedEdgePositionLUT().empty());
    EXPECT_EQ(pattern.GetBaseShift(), Row(5, 0.0));
}

TEST(StripePatternText, MissingKeysLeaveTheDefaults)
{
    OpenStripePattern pattern = MakeStripePattern(c_sPatternA, 10);
    pattern.SetPrimitiveSize(60);
    pattern.SetCodewordLen(3);
    pattern.SetMinCalibratedEdge(1);
    pattern.SetMaxCalibratedEdge(2);
    pattern.SetEdgePositionMethodCalib(LxCStripePattern::eEdgePosBaseShifted);
    pattern.SetIgnoreDepthOnLSECalib({1, 2});
    pattern.InitCalibratedEdgePositionLUT(2, 2, 60.0F, 100.0F);
    Load(pattern, c_sSection, "::CLPattern\nPatternWidth=7\n");
    EXPECT_EQ(pattern.GetHeight(), 0);
    EXPECT_EQ(pattern.GetWidth(), 7);
    EXPECT_EQ(pattern.GetPrimitiveSize(), 50);
    EXPECT_EQ(pattern.GetMinCalibratedEdge(), 25);
    EXPECT_EQ(pattern.GetMaxCalibratedEdge(), 122);
    EXPECT_EQ(pattern.GetEdgePositionMethodCalib(), LxCStripePattern::eEdgePosPlain);
    EXPECT_TRUE(pattern.GetIgnoreDepthOnLSECalib().empty());
    EXPECT_EQ(pattern.GetNumPatches(), 0);
    EXPECT_EQ(pattern.GetMaxDistProjToScene(), 0.0F);
    EXPECT_TRUE(pattern.GetCalibratedEdgePositionLUT().empty());
    EXPECT_TRUE(pattern.GetNominalEdgePositions().empty());
    EXPECT_FALSE(pattern.IsValid());
}

TEST(StripePatternText, AMissingCodewordLenIsFourAndAMissingPatternStays)
{
    OpenStripePattern pattern = MakeStripePattern(c_sPatternA, 10);
    pattern.SetCodewordLen(3);
    Load(pattern, c_sSection, "::CLPattern\nPatternHeight=200\nPatternWidth=7\n");
    EXPECT_EQ(pattern.GetPatternString(), c_sPatternA);
    EXPECT_EQ(pattern.GetCWToStripeEdgeNrLUT().size(), 7778U);
}

TEST(StripePatternText, AMissingSectionLeavesAnInvalidPattern)
{
    const Logging::CCapture quiet;
    const OpenStripePattern pattern = LoadPattern("::Other\nPatternHeight=200\n");
    EXPECT_FALSE(pattern.IsValid());
    EXPECT_EQ(pattern.GetHeight(), 0);
    EXPECT_EQ(pattern.GetNumPatches(), 0);
}

TEST(StripePatternText, EdgePositionMethodsAboveOneReadAsOne)
{
    EXPECT_EQ(LoadFourEdges("EdgePositionMethod=5\n").GetEdgePositionMethodCalib(),
              LxCStripePattern::eEdgePosBaseShifted);
    EXPECT_EQ(LoadFourEdges("EdgePositionMethod=2\n").GetEdgePositionMethodCalib(),
              LxCStripePattern::eEdgePosBaseShifted);
    EXPECT_EQ(LoadFourEdges("EdgePositionMethod=0\n").GetEdgePositionMethodCalib(),
              LxCStripePattern::eEdgePosPlain);
    EXPECT_EQ(LoadFourEdges("EdgePositionMethod=-1\n").GetEdgePositionMethodCalib(),
              LxCStripePattern::eEdgePosPlain);
}

TEST(StripePatternText, ReadsRowsOfBytes)
{
    const OpenStripePattern pattern = LoadFourEdges("MinDistProjToScene=60\n"
                                                    "MaxDistProjToScene=100.5\n"
                                                    "NumPatches=1\n"
                                                    "NumPatchesDepth=2\n"
                                                    "IgnoreDepthOnLSECalib=3,7,x\n"
                                                    "BaseShiftCalibrated=1\n"
                                                    "BaseShift=\x80\x84\x7b\n"
                                                    "DataVersion=2\n"
                                                    "LUT[0][0]=\x80\x82\x7f\n"
                                                    "LUT[0][1]=\xff\x21\n");
    EXPECT_EQ(pattern.GetMinDistProjToScene(), 60.0F);
    EXPECT_EQ(pattern.GetMaxDistProjToScene(), 100.5F);
    EXPECT_EQ(pattern.GetNumPatches(), 1);
    EXPECT_EQ(pattern.GetNumPatchesDepth(), 2);
    EXPECT_EQ(pattern.GetIgnoreDepthOnLSECalib(), (std::vector<int>{3, 7, 0}));
    EXPECT_TRUE(pattern.IsBaseShiftCalibrated());
    // (128 - 128) / 4, (132 - 128) / 4, (123 - 128) / 4
    EXPECT_EQ(pattern.GetBaseShift(), (Row{0.0, 0.0, 1.0, -1.25, 0.0}));
    const auto& lut = pattern.GetCalibratedEdgePositionLUT();
    ASSERT_EQ(lut.size(), 1U);
    ASSERT_EQ(lut[0].size(), 2U);
    EXPECT_EQ(lut[0][0], (Row{0.0, 0.0, 50.5, 99.75, 0.0}));
    // (255 - 128) / 4 = 31.75, (33 - 128) / 4 = -23.75; what is not there stays 0.
    EXPECT_EQ(lut[0][1], (Row{0.0, 31.75, 50.0 - 23.75, 0.0, 0.0}));
}

TEST(StripePatternText, ReadsRowsOfLists)
{
    const OpenStripePattern pattern = LoadFourEdges("NumPatches=2\n"
                                                    "NumPatchesDepth=1\n"
                                                    "CalibratedPositionLUTPD[0][0]=250,50100,junk,-99000,7,\n"
                                                    "CalibratedPositionLUTPD[1][0]=1000,2000\n");
    const auto& lut = pattern.GetCalibratedEdgePositionLUT();
    ASSERT_EQ(lut.size(), 2U);
    // Thousandths, in single precision; the list ends at four items.
    EXPECT_EQ(lut[0][0], (Row{0.0, 0.25, static_cast<double>(50100.0F / 1000.0F), 0.0, -99.0}));
    EXPECT_NE(lut[0][0][2], 50.1);
    // An item ends at its comma: the one behind the last comma is none.
    EXPECT_EQ(lut[1][0], (Row{0.0, 1.0, 0.0, 0.0, 0.0}));
}

TEST(StripePatternText, AMissingRowReadsAsZeros)
{
    for (const char* version : {"1", "2"}) {
        const OpenStripePattern pattern =
            LoadFourEdges("NumPatches=2\nNumPatchesDepth=1\nCalibratedPositionLUTPD[1][0]=4000,\nLUT[1][0]="
                          "\x90\nDataVersion=" +
                          std::string(version) + "\n");
        const auto& lut = pattern.GetCalibratedEdgePositionLUT();
        ASSERT_EQ(lut.size(), 2U);
        EXPECT_EQ(lut[0][0], Row(5, 0.0));
        EXPECT_EQ(lut[1][0], (Row{0.0, 4.0, 0.0, 0.0, 0.0}));
    }
}

TEST(StripePatternText, DataVersionIsOneWhereItIsMissing)
{
    const std::string rows = "NumPatches=1\nNumPatchesDepth=1\n"
                             "CalibratedPositionLUTPD[0][0]=4000,\nLUT[0][0]=\x84\n";
    EXPECT_EQ(FirstRow(LoadFourEdges(rows))[1], 4.0);
    EXPECT_EQ(FirstRow(LoadFourEdges(rows + "DataVersion=1\n"))[1], 4.0);
    EXPECT_EQ(FirstRow(LoadFourEdges(rows + "DataVersion=2\n"))[1], 1.0);
}

TEST(StripePatternText, OtherDataVersionsLeaveTheRowsUnread)
{
    for (const char* version : {"0", "3", "-1", "2147483647"}) {
        const OpenStripePattern pattern = LoadFourEdges(
            "NumPatches=2\nNumPatchesDepth=3\nLUT[0][0]=\x84\nDataVersion=" + std::string(version) + "\n");
        ASSERT_EQ(pattern.GetCalibratedEdgePositionLUT().size(), 2U);
        ASSERT_EQ(pattern.GetCalibratedEdgePositionLUT()[1].size(), 3U);
        EXPECT_TRUE(FirstRow(pattern).empty());
        // Such a table has no entries to answer with.
        EXPECT_EQ(pattern.GetCalibratetPosition(2, 0.0, 0.0), 50.0);
    }
}

TEST(StripePatternText, CalibrationsUpTo68089AreMovedByHalfAUnit)
{
    Logging::CCapture capture;
    const OpenStripePattern pattern =
        LoadFourEdges("Calibrated=0\nCalibRevNumber=68089\n" + OneRow("\x80\x84\x80"));
    EXPECT_EQ(FirstRow(pattern), (Row{0.0, -0.5, 50.5, 99.5, 0.0}));
    EXPECT_TRUE(pattern.IsCalibrated());
    EXPECT_EQ(pattern.GetCalibInfos(), L"converted from 68089");
    EXPECT_EQ(pattern.GetRevisionNumber(), 200000);
    EXPECT_EQ(capture.Count(ELevel::eInfo, c_sChannel, L"Calib RevissionNumber 68089"), 1);
    EXPECT_EQ(capture.Count(ELevel::eInfo, c_sChannel,
                            L"alte Kalibrierung: Verwende Zusatzshift bei Kantenposition"),
              1);
}

TEST(StripePatternText, CalibrationsFrom68090OnAreNotMoved)
{
    for (const char* revision : {"68090", "200000"}) {
        Logging::CCapture capture;
        const OpenStripePattern pattern = LoadFourEdges(
            "CalibInfos=by hand\nCalibRevNumber=" + std::string(revision) + "\n" + OneRow("\x80"));
        EXPECT_EQ(FirstRow(pattern)[1], 0.0);
        EXPECT_EQ(pattern.GetCalibInfos(), L"by hand");
        EXPECT_EQ(pattern.GetRevisionNumber(), std::stoi(revision));
        EXPECT_EQ(capture.Count(ELevel::eInfo, c_sChannel,
                                L"alte Kalibrierung: Verwende Zusatzshift bei Kantenposition"),
                  0);
    }
}

TEST(StripePatternText, RevisionZeroIsNotOld)
{
    Logging::CCapture capture;
    const OpenStripePattern pattern =
        LoadFourEdges("CalibInfos=by hand\nCalibRevNumber=0\n" + OneRow("\x80"));
    EXPECT_EQ(FirstRow(pattern)[1], 0.0);
    EXPECT_EQ(pattern.GetCalibInfos(), L"by hand");
    EXPECT_EQ(capture.Count(ELevel::eInfo, c_sChannel, L"Calib RevissionNumber 0"), 1);
}

TEST(StripePatternText, ListsOfAnOldCalibrationAreNotMoved)
{
    const OpenStripePattern pattern = LoadFourEdges("CalibRevNumber=100\nNumPatches=1\nNumPatchesDepth=1\n"
                                                    "CalibratedPositionLUTPD[0][0]=4000,\n");
    EXPECT_EQ(FirstRow(pattern)[1], 4.0);
    EXPECT_EQ(pattern.GetCalibInfos(), L"converted from 100");
}

TEST(StripePatternText, IgnoreDepthListIsClearedByAnEmptyOrMissingOne)
{
    for (const char* text : {"IgnoreDepthOnLSECalib=\n", ""}) {
        OpenStripePattern pattern;
        pattern.SetIgnoreDepthOnLSECalib({4, 5});
        Load(pattern, c_sSection, c_sFourEdges + text);
        EXPECT_TRUE(pattern.GetIgnoreDepthOnLSECalib().empty());
    }
}

TEST(StripePatternText, BaseShiftStopsAtTheLastButOneEdge)
{
    const OpenStripePattern pattern = LoadFourEdges("BaseShift=\x84\x84\x84\x84\x84\x84\n");
    EXPECT_EQ(pattern.GetBaseShift(), (Row{0.0, 1.0, 1.0, 1.0, 0.0}));
}

TEST(StripePatternText, ARowLongerThanTheNominalPositionsThrows)
{
    EXPECT_NO_THROW(LoadFourEdges(OneRow("\x80\x80\x80")));
    try {
        LoadFourEdges(OneRow("\x80\x80\x80\x80"));
        ADD_FAILURE() << "nothing thrown";
    } catch (const std::out_of_range& error) {
        EXPECT_STREQ(error.what(), "invalid vector<T> subscript");
    }
    // Without a pattern string there are no nominal positions at all.
    EXPECT_THROW(LoadPattern("::CLPattern\nPatternHeight=200\nPatternWidth=300\n" + OneRow("\x80")),
                 std::out_of_range);
}

TEST(StripePatternText, WritesTheKeysInTheirOrder)
{
    OpenStripePattern pattern = LoadFourEdges("EdgePositionMethod=1\n");
    EXPECT_EQ(Store(pattern, c_sSection), c_sFourEdges + "EdgePositionMethod=1\n"
                                                         "MinCalibratedEdge=25\n"
                                                         "MaxCalibratedEdge=122\n"
                                                         "Calibrated=0\n"
                                                         "CalibTime=\n"
                                                         "CalibRevNumber=\n"
                                                         "CalibInfos=\n");
    pattern.InitCalibratedEdgePositionLUT(1, 2, 60.0F, 100.5F);
    pattern.SetIgnoreDepthOnLSECalib({3, 7});
    pattern.SetCalibratedBaseShift({9.0, 0.3, -0.3, 1.25});
    pattern.ApplyBaseShift();
    auto& lut = pattern.GetCalibratedEdgePositionLUT();
    lut[0][0] = {9.0, 0.4, 49.6, 100.0, 9.0};
    lut[0][1] = {9.0, -32.0, 81.75, 100.25, 9.0};
    // Shifts: trunc(129.2), trunc(126.8), 133. Offsets: 128 - trunc(-1.6), 128 - trunc(1.6), 128; 128 - 128,
    // 128 + 127, 129.
    using std::string_literals::operator""s;
    EXPECT_EQ(Store(pattern, c_sSection), c_sFourEdges + "EdgePositionMethod=1\n"
                                                         "MinCalibratedEdge=25\n"
                                                         "MaxCalibratedEdge=122\n"
                                                         "Calibrated=0\n"
                                                         "CalibTime=\n"
                                                         "CalibRevNumber=\n"
                                                         "CalibInfos=\n"
                                                         "MinDistProjToScene=60.00000000000000000000\n"
                                                         "MaxDistProjToScene=100.50000000000000000000\n"
                                                         "NumPatches=1\n"
                                                         "NumPatchesDepth=2\n"
                                                         "IgnoreDepthOnLSECalib=3,7\n"
                                                         "BaseShiftCalibrated=1\n"
                                                         "BaseShift=\x81\x7e\x85\n"
                                                         "DataVersion=2\n"
                                                         "LUT[0][0]=\x81\x7f\x80\n"
                                                         "LUT[0][1]=\0\xff\x81\n"s);
}

TEST(StripePatternText, WritesTheCalibrationRecord)
{
    OpenStripePattern pattern = LoadFourEdges("Calibrated=1\nCalibTime=03.03.2015 09:05\n"
                                              "CalibRevNumber=70000\nCalibInfos=first\n");
    const std::string text = Store(pattern, c_sSection);
    EXPECT_NE(text.find("Calibrated=1\nCalibTime=03.03.2015 09:05\nCalibRevNumber=70000\nCalibInfos=first\n"),
              std::string::npos);
}

/// A pattern of 140 edges with 4 by 4 patches whose positions differ from the nominal ones by up to `largest`.
OpenStripePattern MakeCalibratedPattern(unsigned seed, double largest)
{
    OpenStripePattern pattern = MakeStripePattern(c_sPatternA, 140);
    pattern.InitCalibratedEdgePositionLUT(4, 4, 63.25F, 101.7F);
    pattern.SetIgnoreDepthOnLSECalib({25, 26, 122});
    pattern.SetEdgePositionMethodCalib(LxCStripePattern::eEdgePosBaseShifted);
    pattern.FinishedCalibrationSuccessful(L"test stand 4, \u00e4");
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> offset(-largest, largest);
    for (auto& patch : pattern.GetCalibratedEdgePositionLUT()) {
        for (auto& row : patch) {
            for (double& position : row) {
                position += offset(random);
            }
        }
    }
    pattern.ApplyBaseShift();
    return pattern;
}

TEST(StripePatternText, ARealisticCalibrationKeepsItsTextByteForByte)
{
    for (unsigned seed = 1; seed <= 20; ++seed) {
        // With the base shift of up to 1.25 the offset stays below 24 slide units, the first that would not do.
        OpenStripePattern written = MakeCalibratedPattern(seed, 22.0);
        const std::string text = Store(written, c_sSection);
        OpenStripePattern read = LoadPattern(text);
        ASSERT_EQ(Store(read, c_sSection), text) << seed;
    }
}

TEST(StripePatternText, ARealisticCalibrationKeepsItsPositionsToAQuarterUnit)
{
    constexpr std::size_t edges = 140;
    OpenStripePattern written = MakeCalibratedPattern(42, 22.0);
    const OpenStripePattern read = LoadPattern(Store(written, c_sSection));
    ASSERT_EQ(read.GetNumPatches(), 4);
    ASSERT_EQ(read.GetNumPatchesDepth(), 4);
    EXPECT_EQ(read.GetMinDistProjToScene(), 63.25F);
    EXPECT_EQ(read.GetMaxDistProjToScene(), 101.7F);
    EXPECT_EQ(read.GetIgnoreDepthOnLSECalib(), written.GetIgnoreDepthOnLSECalib());
    EXPECT_EQ(read.GetCalibInfos(), written.GetCalibInfos());
    for (int p = 0; p < 4; ++p) {
        for (int d = 0; d < 4; ++d) {
            const Row& before = written.GetCalibratedEdgePositionLUT().at(p).at(d);
            const Row& after = read.GetCalibratedEdgePositionLUT().at(p).at(d);
            ASSERT_EQ(after.size(), before.size());
            for (std::size_t e = 1; e < edges; ++e) {
                const double nominal = (static_cast<double>(e) - 1.0) * 50.0;
                // The offset loses what is below a quarter, towards nominal.
                const double offset = before[e] - nominal;
                EXPECT_EQ(after[e] - nominal, std::trunc(offset * 4.0) / 4.0) << p << d << " " << e;
            }
        }
    }
    for (std::size_t e = 1; e < edges; ++e) {
        EXPECT_EQ(read.GetBaseShift()[e], LxCStripePattern::sc_StdBaseShift[e]);
    }
}

/// Whether four edges with this offset from nominal, in quarters, at one edge survive writing and reading.
bool Survives(int quarters, std::size_t edge)
{
    OpenStripePattern pattern = LoadFourEdges("");
    pattern.InitCalibratedEdgePositionLUT(1, 2, 0.0F, 1.0F);
    pattern.GetCalibratedEdgePositionLUT()[0][0][edge] += quarters * 0.25;
    const OpenStripePattern read = LoadPattern(Store(pattern, c_sSection));
    const Row& before = pattern.GetCalibratedEdgePositionLUT()[0][0];
    const Row& after = read.GetCalibratedEdgePositionLUT().at(0).at(0);
    return std::equal(before.begin() + 1, before.begin() + 4, after.begin() + 1);
}

TEST(StripePatternText, OffsetsSurviveUnlessTheirByteIsWhiteSpace)
{
    for (int quarters = -140; quarters <= 140; ++quarters) {
        const int byte = 128 + quarters;
        const bool fits = byte >= 0 && byte <= 255;
        EXPECT_EQ(Survives(quarters, 2), fits && byte != '\n') << quarters;
        const bool stripped = byte == '\t' || byte == '\n' || byte == '\r' || byte == ' ';
        EXPECT_EQ(Survives(quarters, 3), fits && !stripped) << quarters;
    }
}

TEST(StripePatternText, PositionsOfAnyValueAreWrittenAndReadSafely)
{
    const Logging::CCapture quiet;
    std::mt19937 random(11);
    std::uniform_real_distribution<double> offset(-40.0, 40.0);
    const double hard[] = {std::numeric_limits<double>::quiet_NaN(),
                           std::numeric_limits<double>::infinity(),
                           -std::numeric_limits<double>::infinity(),
                           1e300,
                           -1e300,
                           -29.5};
    OpenStripePattern pattern = MakeStripePattern(c_sPatternA, 140);
    pattern.InitCalibratedEdgePositionLUT(2, 2, 60.0F, 100.0F);
    for (int i = 0; i < 300; ++i) {
        for (auto& patch : pattern.GetCalibratedEdgePositionLUT()) {
            for (Row& row : patch) {
                for (std::size_t e = 0; e < row.size(); ++e) {
                    const double nominal = (static_cast<double>(e) - 1.0) * 50.0;
                    row[e] = nominal + (random() % 50 == 0 ? hard[random() % 6] : offset(random));
                }
            }
        }
        OpenStripePattern read = LoadPattern(Store(pattern, c_sSection));
        ASSERT_EQ(read.GetCalibratedEdgePositionLUT().size(), 2U);
        ASSERT_EQ(read.GetCalibratedEdgePositionLUT()[1][1].size(), 141U);
    }
}

TEST(StripePatternText, AShiftShorterThanThePatternIsWrittenAsZero)
{
    OpenStripePattern pattern = MakeStripePattern(c_sPatternA, 150);
    pattern.InitCalibratedEdgePositionLUT(1, 1, 60.0F, 100.0F);
    pattern.ApplyBaseShift();
    ASSERT_EQ(pattern.GetBaseShift().size(), 140U);
    const OpenStripePattern read = LoadPattern(Store(pattern, c_sSection));
    ASSERT_EQ(read.GetBaseShift().size(), 151U);
    EXPECT_EQ(read.GetBaseShift()[139], -1.0); // as edge 11 = 139 - 128
    EXPECT_EQ(read.GetBaseShift()[140], 0.0);
    EXPECT_EQ(read.GetBaseShift()[149], 0.0);
}

/// Reads a hostile text: no LUT may come of it, and one line at error level with the pattern's channel must.
void ExpectRefused(const std::string& text)
{
    Logging::CCapture capture;
    OpenStripePattern pattern;
    ASSERT_NO_THROW(Load(pattern, c_sSection, text)) << text;
    EXPECT_EQ(pattern.GetNumPatches(), 0) << text;
    EXPECT_EQ(pattern.GetNumPatchesDepth(), 0) << text;
    EXPECT_TRUE(pattern.GetCalibratedEdgePositionLUT().empty()) << text;
    EXPECT_LE(pattern.GetBaseShift().size(), 4096U) << text;
    int errors = 0;
    for (const Logging::CRecord& record : capture.GetRecords()) {
        errors += record.level == ELevel::eError && record.channel == c_sChannel;
    }
    EXPECT_GE(errors, 1) << text;
    // In use, such a pattern answers with something.
    EXPECT_TRUE(std::isfinite(pattern.GetCalibratetPosition(3, 10.0, 70.0)));
}

std::string PatternText(const char* height, const char* stripe, const char* length)
{
    return "::CLPattern\nPatternHeight=" + std::string(height) +
           "\nPatternWidth=300\nPattern=" + c_sPatternA + "\nStripeWidth=" + stripe +
           "\nCodewordLen=" + length + "\n";
}

TEST(StripePatternText, SizesThatCannotBeUsedAreRefused)
{
    for (const auto& [height, stripe] :
         {std::pair("2000000000", "1"), std::pair("200", "-50"), std::pair("-200", "50"),
          std::pair("-200", "-50"), std::pair("4095", "1")}) {
        ExpectRefused(PatternText(height, stripe, "4") + OneRow("\x80"));
        ExpectRefused(PatternText(height, stripe, "4"));
    }
    ExpectRefused(PatternText("200", "0", "4") + OneRow("\x80"));
    ExpectRefused(PatternText("0", "50", "4") + OneRow("\x80"));
}

TEST(StripePatternText, CodeWordLengthsThatCannotBeUsedLeaveNoCodeTables)
{
    for (const char* length : {"-4", "9", "-2147483648", "64"}) {
        Logging::CCapture capture;
        const OpenStripePattern pattern = LoadPattern(PatternText("200", "50", length));
        EXPECT_TRUE(pattern.GetCWToStripeEdgeNrLUT().empty()) << length;
        EXPECT_EQ(capture.Count(ELevel::eError, c_sChannel,
                                L"Code words of length " + std::to_wstring(std::stol(length)) +
                                    L" cannot be used\n"),
                  1)
            << length;
    }
    for (const char* length : {"0", "1000", "2147483647"}) {
        Logging::CCapture capture;
        const OpenStripePattern pattern = LoadPattern(PatternText("200", "50", length));
        EXPECT_TRUE(pattern.GetCWToStripeEdgeNrLUT().empty()) << length;
    }
}

TEST(StripePatternText, TablesOutOfProportionToTheTextAreRefused)
{
    for (const auto& [patches, patchesDepth] :
         {std::pair("2000000000", "1"), std::pair("1", "2000000000"), std::pair("2000000000", "2000000000"),
          std::pair("2147483647", "2147483647"), std::pair("100", "100")}) {
        ExpectRefused(c_sFourEdges + "DataVersion=2\nNumPatches=" + patches +
                      "\nNumPatchesDepth=" + patchesDepth + "\n");
        ExpectRefused(c_sFourEdges + "DataVersion=7\nNumPatches=" + patches +
                      "\nNumPatchesDepth=" + patchesDepth + "\n");
    }
}

TEST(StripePatternText, ARefusedTableIsLoggedWithItsSizes)
{
    Logging::CCapture capture;
    LoadPattern("::CLPattern\nPatternHeight=200\nPatternWidth=300\nNumPatches=5000\nNumPatchesDepth=3\n");
    // 11 + 13 + 3 + 12 + 3 + 10 + 4 + 15 + 1 characters of section name, keys and values.
    EXPECT_EQ(
        capture.Count(ELevel::eError, c_sChannel,
                      L"Refused calibrated edge positions of 5000 by 3 patches in a text of 72 bytes\n"),
        1);
}

TEST(StripePatternText, CountsBelowOneLeaveNoTable)
{
    for (const auto& [patches, patchesDepth] :
         {std::pair("0", "4"), std::pair("4", "0"), std::pair("-1", "-1"), std::pair("junk", "4"),
          std::pair("99999999999", "4")}) {
        const Logging::CCapture quiet;
        const OpenStripePattern pattern = LoadFourEdges("DataVersion=2\nNumPatches=" + std::string(patches) +
                                                        "\nNumPatchesDepth=" + patchesDepth + "\n");
        EXPECT_EQ(pattern.GetNumPatches(), 0);
        EXPECT_EQ(pattern.GetNumPatchesDepth(), 0);
        EXPECT_TRUE(pattern.GetCalibratedEdgePositionLUT().empty());
    }
}

TEST(StripePatternText, ManyKeysAndPatchesAreReadInLinearTime)
{
    constexpr int c_iKeys = 100000;
    constexpr int c_iPatches = 10000;
    std::string text = "::CLPattern\nPatternHeight=50\nPatternWidth=300\nPattern=" + c_sPatternA +
                       "\nDataVersion=2\nNumPatches=" + std::to_string(c_iPatches) + "\nNumPatchesDepth=1\n";
    for (int i = 0; i < c_iKeys; ++i) {
        text += "k" + std::to_string(i) + "=1\n";
    }
    const auto begin = std::chrono::steady_clock::now();
    const OpenStripePattern pattern = LoadPattern(text);
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - begin;
    EXPECT_EQ(pattern.GetCalibratedEdgePositionLUT().size(), static_cast<std::size_t>(c_iPatches));
    // A scan of all keys for each row would take 1e9 comparisons.
    EXPECT_LT(elapsed.count(), 5.0);
}

TEST(StripePatternText, MutilatedTextsAreReadSafely)
{
    const Logging::CCapture quiet;
    OpenStripePattern written = MakeCalibratedPattern(7, 22.0);
    const std::string text = Store(written, c_sSection);
    std::mt19937 random(12);
    for (int i = 0; i < 500; ++i) {
        std::string mutilated = text;
        const std::size_t changes = 1 + random() % 8;
        for (std::size_t k = 0; k < changes; ++k) {
            // Most changes go to the keys at the beginning.
            const std::size_t place = random() % (random() % 4 == 0 ? mutilated.size() : 700);
            if (random() % 3 == 0) {
                mutilated.erase(place, random() % 5);
            } else {
                mutilated[place] = static_cast<char>("0123456789=-\n:,\xff"[random() % 16]);
            }
        }
        OpenStripePattern pattern;
        try {
            Load(pattern, c_sSection, mutilated);
        } catch (const std::out_of_range& error) {
            EXPECT_STREQ(error.what(), "invalid vector<T> subscript");
        }
        for (int edge = -2; edge < 200; edge += 7) {
            pattern.GetCalibratetPosition(edge, 100.0 * edge, edge);
        }
        Store(pattern, c_sSection);
    }
}

} // namespace
} // namespace LxCV
