#include "lxcstripepattern.h"

#include "allocationcount.h"
#include "lxclxcvlibsettings.h"
#include "orx/logging/logger.h"
#include "stripepatterntestsupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <map>
#include <random>
#include <set>
#include <type_traits>

namespace LxCV {
namespace {

using Logging::ELevel;
using TestSupport::MakeStripePattern;
using TestSupport::OpenStripePattern;

constexpr const wchar_t* c_sChannel = L"ORX.Lumorad.LxCStripePattern";
constexpr double c_dNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double c_dInfinity = std::numeric_limits<double>::infinity();

const std::string c_sPatternA = "2163050307412525052743436347214303614703416165612707056507256365";
const std::string c_sPatternC = "50305250125214121610343014341070";

/// The standard base shift of the first 64 edges, in quarters of a slide unit.
constexpr int c_aiStdShiftQuarters[64] = {4, -5, 4, -3, 4, -4, 4, -3, 3, -2, 3, -4, 5, -5, 5, -5,
                                          4, -4, 4, -3, 2, -3, 4, -3, 5, -3, 4, -3, 3, -4, 5, -3,
                                          4, -2, 4, -4, 4, -2, 2, -2, 4, -4, 4, -4, 4, -5, 5, -3,
                                          4, -1, 1, -1, 1, -3, 4, -4, 3, -2, 2, -4, 4, -4, 4, -4};

/// Sets ReplaceEdgePositionRaw while it lives.
class ReplaceEdgePositionRaw
{
public:
    explicit ReplaceEdgePositionRaw(bool value) : m_bBefore(LxCLxCVLibSettings::IsReplaceEdgePositionRaw())
    {
        LxCLxCVLibSettings::m_bReplaceEdgePositionRaw.Set(value);
    }
    ~ReplaceEdgePositionRaw() { LxCLxCVLibSettings::m_bReplaceEdgePositionRaw.Set(m_bBefore); }
    ReplaceEdgePositionRaw(const ReplaceEdgePositionRaw&) = delete;
    ReplaceEdgePositionRaw& operator=(const ReplaceEdgePositionRaw&) = delete;

private:
    bool m_bBefore;
};

/// Fills the LUT with values that tell patch, depth patch and edge: 1000 p + 100 d + e.
void Mark(LxCStripePattern& pattern)
{
    auto& lut = pattern.GetCalibratedEdgePositionLUT();
    for (std::size_t p = 0; p < lut.size(); ++p) {
        for (std::size_t d = 0; d < lut[p].size(); ++d) {
            for (std::size_t e = 0; e < lut[p][d].size(); ++e) {
                lut[p][d][e] =
                    1000.0 * static_cast<double>(p) + 100.0 * static_cast<double>(d) + static_cast<double>(e);
            }
        }
    }
}

/// Four patches along a pattern of 10 edges (height 500), four depth patches from 60 to 100 mm.
OpenStripePattern MakeMarkedPattern()
{
    OpenStripePattern pattern = MakeStripePattern(c_sPatternA, 10);
    pattern.InitCalibratedEdgePositionLUT(4, 4, 60.0F, 100.0F);
    Mark(pattern);
    return pattern;
}

int ChangedChannels(char from, char to)
{
    return std::popcount(static_cast<unsigned>((from - '0') ^ (to - '0')));
}

TEST(StripePatternStrings, HaveTheirFixedDigits)
{
    EXPECT_EQ(LxCStripePattern::GetPatternStringA(), c_sPatternA);
    EXPECT_EQ(LxCStripePattern::GetPatternStringC(), c_sPatternC);
    EXPECT_EQ(c_sPatternA.size(), 64U);
    EXPECT_EQ(c_sPatternC.size(), 32U);
}

TEST(StripePatternStrings, HaveDistinctWindowsOfThreeAndFour)
{
    for (const std::string& pattern : {c_sPatternA, c_sPatternC}) {
        for (const std::size_t length : {3U, 4U}) {
            std::set<std::string> windows;
            for (std::size_t i = 0; i < pattern.size(); ++i) {
                windows.insert((pattern + pattern).substr(i, length));
            }
            EXPECT_EQ(windows.size(), pattern.size());
        }
    }
}

TEST(StripePatternStrings, ChangeColourAtEveryEdge)
{
    const auto histogram = [](const std::string& pattern) {
        std::map<int, int> count;
        for (std::size_t i = 0; i < pattern.size(); ++i) {
            ++count[ChangedChannels(pattern[i], pattern[(i + 1) % pattern.size()])];
        }
        return count;
    };
    EXPECT_EQ(histogram(c_sPatternA), (std::map<int, int>{{2, 40}, {3, 24}}));
    EXPECT_EQ(histogram(c_sPatternC), (std::map<int, int>{{1, 4}, {2, 16}, {3, 12}}));
}

TEST(LxCStripePattern, BeginsWithItsDefaults)
{
    const LxCStripePattern pattern;
    EXPECT_EQ(pattern.GetPrimitiveSize(), 50);
    EXPECT_EQ(pattern.GetPatternString(), "");
    EXPECT_EQ(pattern.GetWidth(), 0);
    EXPECT_EQ(pattern.GetHeight(), 0);
    EXPECT_EQ(pattern.GetPattern().length(), 0U);
    EXPECT_TRUE(pattern.GetNominalEdgePositions().empty());
    EXPECT_TRUE(pattern.GetCWToStripeEdgeNrLUT().empty());
    EXPECT_TRUE(pattern.GetStripeEdgeNrToExtLUT().empty());
    EXPECT_TRUE(pattern.GetCalibratedEdgePositionLUT().empty());
    EXPECT_EQ(pattern.GetNumPatches(), 0);
    EXPECT_EQ(pattern.GetNumPatchesDepth(), 0);
    EXPECT_EQ(pattern.GetMinDistProjToScene(), 0.0F);
    EXPECT_EQ(pattern.GetMaxDistProjToScene(), 0.0F);
    EXPECT_EQ(pattern.GetMinCalibratedEdge(), 25);
    EXPECT_EQ(pattern.GetMaxCalibratedEdge(), 122);
    EXPECT_EQ(pattern.GetEdgePositionMethodCalib(), LxCStripePattern::eEdgePosPlain);
    EXPECT_TRUE(pattern.GetIgnoreDepthOnLSECalib().empty());
    EXPECT_TRUE(pattern.GetBaseShift().empty());
    EXPECT_TRUE(pattern.GetCalibratedBaseShift().empty());
    EXPECT_FALSE(pattern.IsBaseShiftCalibrated());
    EXPECT_FALSE(pattern.IsCalibrated());
}

TEST(LxCStripePattern, IsAPatternAndACalibrationRecord)
{
    EXPECT_TRUE((std::is_base_of_v<LxAProjectionPatternBase, LxCStripePattern>));
    EXPECT_TRUE((std::is_base_of_v<LxCCalibState, LxCStripePattern>));
}

TEST(LxCStripePattern, IsValidWithAllOfItsNumbers)
{
    const auto isValid = [](int width, int height, int stripe, int length, const char* digits) {
        LxCStripePattern pattern;
        pattern.SetWidth(width);
        pattern.SetHeight(height);
        pattern.SetPrimitiveSize(stripe);
        pattern.SetCodewordLen(length);
        pattern.SetPatternString(digits);
        return pattern.IsValid();
    };
    EXPECT_TRUE(isValid(1, 1, 1, 1, "1"));
    EXPECT_TRUE(isValid(-1, -1, -1, -1, " "));
    EXPECT_FALSE(isValid(0, 1, 1, 1, "1"));
    EXPECT_FALSE(isValid(1, 0, 1, 1, "1"));
    EXPECT_FALSE(isValid(1, 1, 0, 1, "1"));
    EXPECT_FALSE(isValid(1, 1, 1, 0, "1"));
    EXPECT_FALSE(isValid(1, 1, 1, 1, ""));
}

TEST(LxCStripePattern, EdgeCountIsRoundedUp)
{
    LxCStripePattern pattern;
    pattern.SetHeight(6400);
    EXPECT_EQ(pattern.GetNrOfStripeEdges(), 128);
    pattern.SetHeight(6401);
    EXPECT_EQ(pattern.GetNrOfStripeEdges(), 129);
    pattern.SetHeight(6450);
    EXPECT_EQ(pattern.GetNrOfStripeEdges(), 129);
    pattern.SetPrimitiveSize(0);
    EXPECT_EQ(pattern.GetNrOfStripeEdges(), std::numeric_limits<int>::max());
    pattern.SetHeight(0);
    EXPECT_EQ(pattern.GetNrOfStripeEdges(), 0);
}

TEST(LxCStripePattern, PatternDistanceGoesTheShorterWay)
{
    LxCStripePattern pattern;
    EXPECT_EQ(pattern.GetPatternDistance(1, 63), 0);
    pattern.SetPatternString(c_sPatternA);
    EXPECT_EQ(pattern.GetPatternDistance(1, 63), 2);
    EXPECT_EQ(pattern.GetPatternDistance(63, 1), 2);
    EXPECT_EQ(pattern.GetPatternDistance(0, 32), 32);
    EXPECT_EQ(pattern.GetPatternDistance(0, 33), 31);
    EXPECT_EQ(pattern.GetPatternDistance(5, 5 + 640), 0);
    pattern.SetPatternString("12345");
    // Half of 5 is 2: a distance of 3 goes the other way.
    EXPECT_EQ(pattern.GetPatternDistance(0, 2), 2);
    EXPECT_EQ(pattern.GetPatternDistance(0, 3), 2);
}

TEST(LxCStripePattern, NominalPositionsBeginAStripeBeforeThePattern)
{
    const LxCStripePattern pattern = MakeStripePattern(c_sPatternA, 128);
    const std::vector<double>& nominal = pattern.GetNominalEdgePositions();
    ASSERT_EQ(nominal.size(), 128U);
    for (int e = 0; e < 128; ++e) {
        EXPECT_EQ(nominal[static_cast<std::size_t>(e)], (e - 1) * 50.0);
    }
}

TEST(LxCStripePattern, EdgePositionsCoverAnIncompleteLastStripe)
{
    LxCStripePattern pattern = MakeStripePattern(c_sPatternA, 2);
    pattern.SetHeight(101);
    std::vector<double> positions = {1.0, 2.0, 3.0, 4.0, 5.0};
    EXPECT_TRUE(pattern.FillEdgePositionArray(&positions, pattern.GetPattern()));
    EXPECT_EQ(positions, (std::vector<double>{-50.0, 0.0, 50.0}));
    EXPECT_TRUE(pattern.FillEdgePositionArray(nullptr, LxCPatternStorage()));
}

TEST(LxCStripePattern, EdgePositionsOfAnInvalidPatternAreRefused)
{
    std::vector<double> positions = {7.0};
    EXPECT_FALSE(LxCStripePattern().FillEdgePositionArray(&positions, LxCPatternStorage()));
    EXPECT_EQ(positions, std::vector<double>{7.0});
}

TEST(LxCStripePattern, CodeWordTableMatchesAllWindowsOfBothPatterns)
{
    for (const std::string& digits : {c_sPatternA, c_sPatternC}) {
        const LxCStripePattern pattern = MakeStripePattern(digits, 140);
        const std::vector<int>& lut = pattern.GetCWToStripeEdgeNrLUT();
        ASSERT_EQ(lut.size(), 7778U);
        std::map<int, int> expected;
        const int n = static_cast<int>(digits.size());
        for (int i = 0; i < n; ++i) {
            const int codeWord = std::stoi((digits + digits).substr(static_cast<std::size_t>(i), 4));
            // The last of the three edges of the window, as a number from 1 to n.
            expected[codeWord] = i + 4 > n ? i + 4 - n : i + 4;
        }
        for (int codeWord = 0; codeWord < 7778; ++codeWord) {
            ASSERT_EQ(lut[static_cast<std::size_t>(codeWord)], expected[codeWord])
                << digits << " " << codeWord;
        }
    }
}

TEST(LxCStripePattern, CodeWordsAtTheEndOfTheCycleKeepTheirNumbers)
{
    const LxCStripePattern pattern = MakeStripePattern(c_sPatternA, 128);
    EXPECT_EQ(pattern.GetCWToStripeEdgeNrLUT()[2163], 4);
    EXPECT_EQ(pattern.GetCWToStripeEdgeNrLUT()[6365], 64); // the window at 60
    EXPECT_EQ(pattern.GetCWToStripeEdgeNrLUT()[5216], 3);  // the window at 63
}

TEST(LxCStripePattern, SymbolTableHoldsTheChangesBetweenStripes)
{
    for (const std::string& digits : {c_sPatternA, c_sPatternC}) {
        const LxCStripePattern pattern = MakeStripePattern(digits, 140);
        const std::vector<LxCSymbol>& symbols = pattern.GetStripeEdgeNrToExtLUT();
        ASSERT_EQ(symbols.size(), 141U);
        EXPECT_EQ(symbols[0].GetValue(), 0U);
        EXPECT_EQ(symbols[1].GetValue(), 0U);
        for (std::size_t e = 2; e <= 140; ++e) {
            const int before = digits[(e - 2) % digits.size()] - '0';
            const int after = digits[(e - 1) % digits.size()] - '0';
            std::uint32_t expected = 0;
            for (int channel = 0; channel < 3; ++channel) {
                const int change = (after >> channel) % 2 - (before >> channel) % 2;
                expected += (change > 0 ? 2U : change < 0 ? 1U : 0U) << (2 * channel);
            }
            ASSERT_EQ(symbols[e].GetValue(), expected) << digits << " " << e;
        }
    }
}

TEST(LxCStripePattern, SymbolsOfThreeEdgesLeadBackToTheLastEdge)
{
    for (const std::string& digits : {c_sPatternA, c_sPatternC}) {
        const LxCStripePattern pattern = MakeStripePattern(digits, 140);
        const std::vector<LxCSymbol>& symbols = pattern.GetStripeEdgeNrToExtLUT();
        for (std::size_t e = 4; e <= 140; ++e) {
            const LxCSymbol read[3] = {symbols[e], symbols[e - 1], symbols[e - 2]};
            const int codeWord = LxCSymbol::DetCodeWord(read);
            const int expected = static_cast<int>((e - 1) % digits.size()) + 1;
            ASSERT_EQ(pattern.GetCWToStripeEdgeNrLUT()[static_cast<std::size_t>(codeWord)], expected) << e;
        }
    }
}

TEST(LxCStripePattern, SeparatorsCountAsStripeIdsButNotAsStripes)
{
    std::string separated;
    for (const char digit : c_sPatternA) {
        separated += digit;
        separated += separated.size() % 2 == 0 ? "," : ", ";
    }
    const LxCStripePattern plain = MakeStripePattern(c_sPatternA, 128);
    const LxCStripePattern pattern = MakeStripePattern(separated, 128);
    EXPECT_EQ(pattern.GetCWToStripeEdgeNrLUT(), plain.GetCWToStripeEdgeNrLUT());
    EXPECT_EQ(pattern.GetStripeEdgeNrToExtLUT(), plain.GetStripeEdgeNrToExtLUT());
    EXPECT_EQ(plain.GetNrOfUniqueStripeIds(), 64);
    EXPECT_EQ(pattern.GetNrOfUniqueStripeIds(), static_cast<int>(separated.size()));
    EXPECT_EQ(pattern.GetPattern().length(), separated.size());
    EXPECT_EQ(pattern.GetPattern().getColor(0), LxCPatternStorage::eGreen);
    EXPECT_EQ(pattern.GetPattern().getColor(1), LxCPatternStorage::eBlack);
}

TEST(LxCStripePattern, TableSizeFollowsTheLargestDigitAndTheLength)
{
    OpenStripePattern pattern = MakeStripePattern("0123210", 10);
    EXPECT_EQ(pattern.GetCWToStripeEdgeNrLUT().size(), 3334U);
    pattern.SetCodewordLen(2);
    EXPECT_TRUE(pattern.ConstructLUTs());
    EXPECT_EQ(pattern.GetCWToStripeEdgeNrLUT().size(), 34U);
    // The window "12" at 1 ends at edge 3.
    EXPECT_EQ(pattern.GetCWToStripeEdgeNrLUT()[12], 3);
    pattern.SetPatternString("1x9");
    EXPECT_TRUE(pattern.ConstructLUTs());
    EXPECT_EQ(pattern.GetCWToStripeEdgeNrLUT().size(), 100U);
    EXPECT_EQ(pattern.GetCWToStripeEdgeNrLUT()[10], 2);
    EXPECT_EQ(pattern.GetCWToStripeEdgeNrLUT()[9], 3);
    EXPECT_EQ(pattern.GetCWToStripeEdgeNrLUT()[91], 1);
}

TEST(LxCStripePattern, ConstructionLogsWhatItBuilds)
{
    Logging::CCapture capture;
    MakeStripePattern(c_sPatternA, 128);
    EXPECT_EQ(
        capture.Count(ELevel::eInfo, c_sChannel, L"Constructing stripe edge number to pixel position LUT\n"),
        1);
    EXPECT_EQ(capture.Count(ELevel::eInfo, c_sChannel,
                            L"Final pattern LUT size is 7778, number of stripe edges 128\n"),
              1);
    EXPECT_EQ(capture.GetRecords().size(), 2U);
}

TEST(LxCStripePattern, FewerDigitsThanACodeWordLeaveNoCodeTables)
{
    OpenStripePattern pattern = MakeStripePattern(c_sPatternA, 128);
    Logging::CCapture capture;
    for (const char* digits : {"123", "1, 2, 3", "   "}) {
        pattern.SetPatternString(digits);
        EXPECT_FALSE(pattern.ConstructLUTs());
        EXPECT_TRUE(pattern.GetCWToStripeEdgeNrLUT().empty());
        EXPECT_TRUE(pattern.GetStripeEdgeNrToExtLUT().empty());
        EXPECT_EQ(pattern.GetNominalEdgePositions().size(), 128U);
    }
    for (const Logging::CRecord& record : capture.GetRecords()) {
        EXPECT_EQ(record.level, ELevel::eInfo);
    }
}

TEST(LxCStripePattern, CodeWordLengthsThatCannotBeUsedAreRefused)
{
    std::string zeros(2000, '0');
    for (const std::string& digits : {c_sPatternA + c_sPatternA, zeros}) {
        OpenStripePattern pattern = MakeStripePattern(digits, 128);
        for (const int length : {-4, 10, 1000, std::numeric_limits<int>::min()}) {
            if (length > static_cast<int>(digits.size())) {
                continue;
            }
            pattern.SetCodewordLen(length);
            Logging::CCapture capture;
            EXPECT_FALSE(pattern.ConstructLUTs()) << length;
            EXPECT_EQ(
                capture.Count(ELevel::eError, c_sChannel,
                              L"Code words of length " + std::to_wstring(length) + L" cannot be used\n"),
                1);
            EXPECT_TRUE(pattern.GetCWToStripeEdgeNrLUT().empty());
        }
        pattern.SetCodewordLen(0);
        EXPECT_FALSE(pattern.ConstructLUTs());
    }
}

TEST(LxCStripePattern, CodeWordsHaveUpToSixDigitsWhateverTheyAre)
{
    OpenStripePattern pattern = MakeStripePattern(c_sPatternA, 128);
    pattern.SetCodewordLen(5);
    EXPECT_TRUE(pattern.ConstructLUTs());
    EXPECT_EQ(pattern.GetCWToStripeEdgeNrLUT().size(), 77778U);
    pattern.SetCodewordLen(6);
    EXPECT_TRUE(pattern.ConstructLUTs());
    EXPECT_EQ(pattern.GetCWToStripeEdgeNrLUT().size(), 777778U);
    EXPECT_EQ(pattern.GetCWToStripeEdgeNrLUT()[216305], 6);
    EXPECT_EQ(pattern.GetCWToStripeEdgeNrLUT()[365216], 3); // the window at 61
    OpenStripePattern nines = MakeStripePattern("9123456", 10);
    nines.SetCodewordLen(6);
    EXPECT_TRUE(nines.ConstructLUTs());
    EXPECT_EQ(nines.GetCWToStripeEdgeNrLUT().size(), 1000000U);
    const Logging::CCapture quiet;
    for (const int length : {7, 9, 64}) {
        pattern.SetCodewordLen(length);
        EXPECT_FALSE(pattern.ConstructLUTs()) << length;
        EXPECT_TRUE(pattern.GetCWToStripeEdgeNrLUT().empty());
    }
}

TEST(LxCStripePattern, SizesThatCannotBeUsedAreRefused)
{
    struct Size
    {
        int height;
        int stripe;
    };
    for (const Size size : {Size{2000000000, 1}, Size{6400, -50}, Size{-6400, 50}, Size{-6400, -50},
                            Size{4095, 1}, Size{std::numeric_limits<int>::min(), -1}}) {
        OpenStripePattern pattern = MakeStripePattern(c_sPatternA, 128);
        pattern.SetHeight(size.height);
        pattern.SetPrimitiveSize(size.stripe);
        Logging::CCapture capture;
        EXPECT_FALSE(pattern.ConstructLUTs());
        EXPECT_EQ(capture.Count(ELevel::eError, c_sChannel,
                                L"Pattern height " + std::to_wstring(size.height) + L" and stripe width " +
                                    std::to_wstring(size.stripe) + L" give no usable stripe edges\n"),
                  1);
        EXPECT_TRUE(pattern.GetNominalEdgePositions().empty());
        EXPECT_TRUE(pattern.GetCWToStripeEdgeNrLUT().empty());
        EXPECT_TRUE(pattern.GetStripeEdgeNrToExtLUT().empty());
        pattern.InitCalibratedEdgePositionLUT(1, 1, 0.0F, 1.0F);
        EXPECT_EQ(pattern.GetNumPatches(), 0);
        EXPECT_TRUE(pattern.GetCalibratedEdgePositionLUT().empty());
    }
}

TEST(LxCStripePattern, TheLargestPatternUsesAllValidEdgeNumbers)
{
    OpenStripePattern pattern = MakeStripePattern(c_sPatternA, 10);
    pattern.SetPrimitiveSize(std::numeric_limits<int>::max() / 4094 + 1);
    pattern.SetHeight(std::numeric_limits<int>::max());
    EXPECT_TRUE(pattern.ConstructLUTs());
    EXPECT_EQ(pattern.GetNominalEdgePositions().size(), 4094U);
    EXPECT_EQ(pattern.GetStripeEdgeNrToExtLUT().size(), 4095U);
}

TEST(LxCStripePattern, CalibratedTableBeginsWithNominalPositions)
{
    OpenStripePattern pattern = MakeStripePattern(c_sPatternA, 10);
    pattern.InitCalibratedEdgePositionLUT(3, 2, 60.0F, 100.0F);
    EXPECT_EQ(pattern.GetNumPatches(), 3);
    EXPECT_EQ(pattern.GetNumPatchesDepth(), 2);
    EXPECT_EQ(pattern.GetMinDistProjToScene(), 60.0F);
    EXPECT_EQ(pattern.GetMaxDistProjToScene(), 100.0F);
    const auto& lut = pattern.GetCalibratedEdgePositionLUT();
    ASSERT_EQ(lut.size(), 3U);
    for (const auto& patch : lut) {
        ASSERT_EQ(patch.size(), 2U);
        for (const auto& row : patch) {
            ASSERT_EQ(row.size(), 11U);
            for (std::size_t e = 0; e < 10; ++e) {
                EXPECT_EQ(row[e], pattern.GetNominalEdgePositions()[e]);
            }
            EXPECT_EQ(row[10], 0.0);
        }
    }
}

TEST(LxCStripePattern, CalibratedTablesThatCannotBeUsedAreRefused)
{
    OpenStripePattern pattern = MakeMarkedPattern();
    const int huge = std::numeric_limits<int>::max();
    for (const auto& [patches, patchesDepth] :
         {std::pair(0, 1), std::pair(1, 0), std::pair(-1, -1), std::pair(huge, huge), std::pair(huge, 1)}) {
        Logging::CCapture capture;
        pattern.InitCalibratedEdgePositionLUT(patches, patchesDepth, 1.0F, 2.0F);
        EXPECT_EQ(capture.Count(ELevel::eError, c_sChannel,
                                L"No calibrated edge positions for " + std::to_wstring(patches) + L" by " +
                                    std::to_wstring(patchesDepth) + L" patches\n"),
                  1);
        EXPECT_EQ(pattern.GetNumPatches(), 0);
        EXPECT_EQ(pattern.GetNumPatchesDepth(), 0);
        EXPECT_TRUE(pattern.GetCalibratedEdgePositionLUT().empty());
    }
}

TEST(LxCStripePattern, ManyShortRowsAreRefusedByTheMemoryThatTheyTake)
{
    const Logging::CCapture quiet;
    OpenStripePattern pattern = MakeStripePattern(c_sPatternA, 1);
    pattern.InitCalibratedEdgePositionLUT(2000000, 1, 60.0F, 100.0F);
    EXPECT_EQ(pattern.GetNumPatches(), 0);
    EXPECT_TRUE(pattern.GetCalibratedEdgePositionLUT().empty());
}

TEST(LxCStripePattern, TheEntryBehindTheLastEdgeIsZeroAlsoForAPatternMadeShorter)
{
    OpenStripePattern pattern = MakeStripePattern(c_sPatternA, 10);
    pattern.SetHeight(250);
    pattern.InitCalibratedEdgePositionLUT(1, 1, 60.0F, 100.0F);
    EXPECT_EQ(pattern.GetCalibratedEdgePositionLUT().at(0).at(0),
              (std::vector<double>{-50.0, 0.0, 50.0, 100.0, 150.0, 0.0}));
}

TEST(LxCStripePattern, PatchesAreFoundByFloorAndClamp)
{
    const OpenStripePattern pattern = MakeMarkedPattern();
    const auto expectPatches = [&](double pos, double depth, int patch, int depthPatch) {
        int p = -1;
        int d = -1;
        pattern.GetIndexOfPatchFromPos(pos, depth, p, d);
        EXPECT_EQ(p, patch) << pos;
        EXPECT_EQ(d, depthPatch) << depth;
    };
    expectPatches(0.0, 60.0, 0, 0);
    expectPatches(124.9, 69.9, 0, 0);
    expectPatches(125.0, 70.0, 1, 1);
    expectPatches(374.9, 89.9, 2, 2);
    expectPatches(375.0, 90.0, 3, 3);
    expectPatches(500.0, 100.0, 3, 3);
    expectPatches(-0.1, 59.9, 0, 0);
    expectPatches(1e300, 1e300, 3, 3);
    expectPatches(-c_dInfinity, c_dInfinity, 0, 3);
    expectPatches(c_dNaN, c_dNaN, 0, 0);
}

TEST(LxCStripePattern, OneDepthPatchTakesEveryDepth)
{
    OpenStripePattern pattern = MakeStripePattern(c_sPatternA, 10);
    pattern.InitCalibratedEdgePositionLUT(4, 1, 60.0F, 60.0F);
    Mark(pattern);
    for (const double depth : {60.0, -1e9, 1e9, c_dNaN, c_dInfinity}) {
        int p = -1;
        int d = -1;
        pattern.GetIndexOfPatchFromPos(130.0, depth, p, d);
        EXPECT_EQ(p, 1);
        EXPECT_EQ(d, 0);
        EXPECT_EQ(pattern.GetCalibratetPosition(7, 130.0, depth), 1007.0);
    }
}

TEST(LxCStripePattern, PatchesOfAnEmptyTableAreZero)
{
    int p = -1;
    int d = -1;
    LxCStripePattern().GetIndexOfPatchFromPos(1.0, 1.0, p, d);
    EXPECT_EQ(p, 0);
    EXPECT_EQ(d, 0);
}

TEST(LxCStripePattern, PositionsAreInterpolatedBetweenDepthPatchCentres)
{
    const OpenStripePattern pattern = MakeMarkedPattern();
    // The centres of the depth patches lie at 65, 75, 85 and 95 mm.
    EXPECT_EQ(pattern.GetCalibratetPosition(7, 130.0, 60.0), 1007.0);
    EXPECT_EQ(pattern.GetCalibratetPosition(7, 130.0, 65.0), 1007.0);
    EXPECT_EQ(pattern.GetCalibratetPosition(7, 130.0, 75.0), 1107.0);
    EXPECT_EQ(pattern.GetCalibratetPosition(7, 130.0, 80.0), 1157.0);
    EXPECT_EQ(pattern.GetCalibratetPosition(7, 130.0, 87.5), 1232.0);
    EXPECT_EQ(pattern.GetCalibratetPosition(7, 130.0, 95.0), 1307.0);
    EXPECT_EQ(pattern.GetCalibratetPosition(7, 130.0, 1000.0), 1307.0);
}

TEST(LxCStripePattern, PositionsMatchLinearInterpolation)
{
    OpenStripePattern pattern = MakeStripePattern(c_sPatternA, 140);
    pattern.InitCalibratedEdgePositionLUT(4, 5, 61.3F, 98.7F);
    std::mt19937 random(9);
    std::uniform_real_distribution<double> offset(-20.0, 20.0);
    auto& lut = pattern.GetCalibratedEdgePositionLUT();
    for (auto& patch : lut) {
        for (auto& row : patch) {
            for (double& position : row) {
                position += offset(random);
            }
        }
    }
    std::uniform_real_distribution<double> depths(50.0, 110.0);
    std::uniform_real_distribution<double> positions(-500.0, 7500.0);
    std::uniform_int_distribution<int> edges(0, 140);
    const double min = pattern.GetMinDistProjToScene();
    const double step = (pattern.GetMaxDistProjToScene() - min) / 5.0;
    for (int i = 0; i < 20000; ++i) {
        const double depth = depths(random);
        const double pos = positions(random);
        const int edge = edges(random);
        const auto patch = static_cast<std::size_t>(std::clamp(std::floor(pos / 7000.0 * 4.0), 0.0, 3.0));
        double expected = 0.0;
        double weights = 0.0;
        // Hat functions around the centres, flat beyond the first and the last.
        const double place = std::clamp((depth - min) / step - 0.5, 0.0, 4.0);
        for (int d = 0; d < 5; ++d) {
            const double weight = std::max(0.0, 1.0 - std::abs(place - d));
            weights += weight;
            expected += weight * lut[patch][static_cast<std::size_t>(d)][static_cast<std::size_t>(edge)];
        }
        ASSERT_NEAR(weights, 1.0, 1e-12);
        // Depth in float: 110 mm are off by 4e-6, some of them over a step of 7 mm, times 40 units of difference.
        ASSERT_NEAR(pattern.GetCalibratetPosition(edge, pos, depth), expected, 2e-4) << edge << " " << depth;
    }
}

TEST(LxCStripePattern, WeightsAreComputedInSinglePrecision)
{
    const OpenStripePattern pattern = MakeMarkedPattern();
    // 70.1F is 70.09999847412109375; minus 60, over 40, times 4, minus 0.5 in float.
    const float t = (70.1F - 60.0F) / 40.0F * 4.0F - 0.5F;
    const double expected = static_cast<double>(1.0F - t) * 7.0 + static_cast<double>(t) * 107.0;
    EXPECT_EQ(pattern.GetCalibratetPosition(7, 0.0, 70.1), expected);
    const double inDouble = 7.0 + ((70.1 - 60.0) / 40.0 * 4.0 - 0.5) * 100.0;
    EXPECT_NE(expected, inDouble);
}

TEST(LxCStripePattern, BaseShiftIsAddedByMethodAndSetting)
{
    OpenStripePattern pattern = MakeMarkedPattern();
    // Applied to a marked table, which is marked again afterwards.
    pattern.SetCalibratedBaseShift({0.0, 0.1, 0.25, -1.0});
    pattern.ApplyBaseShift();
    Mark(pattern);
    const ReplaceEdgePositionRaw on(true);
    EXPECT_EQ(pattern.GetCalibratetPosition(2, 0.0, 65.0), 2.0);
    pattern.SetEdgePositionMethodCalib(LxCStripePattern::eEdgePosBaseShifted);
    EXPECT_EQ(pattern.GetCalibratetPosition(2, 0.0, 65.0), 2.25);
    EXPECT_EQ(pattern.GetCalibratetPosition(3, 0.0, 60.0), 2.0);
    EXPECT_EQ(pattern.GetCalibratetPosition(3, 0.0, 99.0), 302.0);
    EXPECT_EQ(pattern.GetCalibratetPosition(3, 0.0, 80.0), 152.0);
    // Reduced to float.
    EXPECT_EQ(pattern.GetCalibratetPosition(1, 0.0, 65.0), 1.0 + static_cast<double>(0.1F));
    // Beyond the end of the base shift.
    EXPECT_EQ(pattern.GetCalibratetPosition(4, 0.0, 65.0), 4.0);
    const ReplaceEdgePositionRaw off(false);
    EXPECT_EQ(pattern.GetCalibratetPosition(2, 0.0, 65.0), 2.0);
}

TEST(LxCStripePattern, PositionsOutsideTheTableAreNominalOrZero)
{
    const OpenStripePattern pattern = MakeMarkedPattern();
    EXPECT_EQ(pattern.GetCalibratetPosition(10, 0.0, 65.0), 10.0);
    for (const int edge : {11, -1, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()}) {
        EXPECT_EQ(pattern.GetCalibratetPosition(edge, 0.0, 80.0), 0.0) << edge;
    }
    const OpenStripePattern uncalibrated = MakeStripePattern(c_sPatternA, 10);
    EXPECT_EQ(uncalibrated.GetCalibratetPosition(3, 100.0, 80.0), 100.0);
    EXPECT_EQ(LxCStripePattern().GetCalibratetPosition(3, 100.0, 80.0), 0.0);
}

TEST(LxCStripePattern, DepthsThatAreNoNumberCountAsTheNearest)
{
    const OpenStripePattern pattern = MakeMarkedPattern();
    EXPECT_EQ(pattern.GetCalibratetPosition(7, 130.0, c_dNaN), 1007.0);
    EXPECT_EQ(pattern.GetCalibratetPosition(7, 130.0, -c_dInfinity), 1007.0);
    EXPECT_EQ(pattern.GetCalibratetPosition(7, 130.0, c_dInfinity), 1307.0);
    EXPECT_EQ(pattern.GetCalibratetPosition(7, 130.0, 1e300), 1307.0);
    EXPECT_EQ(pattern.GetCalibratetPosition(7, c_dNaN, 65.0), 7.0);
    EXPECT_EQ(pattern.GetCalibratetPosition(7, 1e300, 65.0), 3007.0);
    OpenStripePattern noRange = MakeMarkedPattern();
    noRange.InitCalibratedEdgePositionLUT(4, 4, 60.0F, 60.0F);
    Mark(noRange);
    EXPECT_EQ(noRange.GetCalibratetPosition(7, 130.0, 60.0), 1007.0);
    EXPECT_EQ(noRange.GetCalibratetPosition(7, 130.0, 61.0), 1307.0);
}

TEST(LxCStripePattern, PositionsAreFoundWithoutAllocating)
{
    OpenStripePattern pattern = MakeMarkedPattern();
    pattern.SetEdgePositionMethodCalib(LxCStripePattern::eEdgePosBaseShifted);
    pattern.ApplyBaseShift();
    double sum = pattern.GetCalibratetPosition(1, 0.0, 65.0); // fetches the setting
    const AllocationCount allocations;
    for (int i = 0; i < 1000; ++i) {
        sum += pattern.GetCalibratetPosition(i % 11, i * 0.5, 55.0 + i * 0.05);
    }
    EXPECT_EQ(allocations.Get(), 0U);
    EXPECT_TRUE(std::isfinite(sum));
}

TEST(LxCStripePattern, StandardBaseShiftFollowsItsTable)
{
    ASSERT_EQ(LxCStripePattern::sc_StdBaseShift.size(), 140U);
    for (std::size_t e = 0; e < 140; ++e) {
        const double shift = LxCStripePattern::sc_StdBaseShift[e];
        EXPECT_EQ(shift, c_aiStdShiftQuarters[e % 64] * 0.25) << e;
        EXPECT_EQ(shift > 0.0, e % 2 == 0) << e;
        EXPECT_LE(std::abs(shift), 1.25) << e;
        EXPECT_GE(std::abs(shift), 0.25) << e;
    }
}

TEST(LxCStripePattern, StandardAndZeroBaseShiftClearTheFlag)
{
    OpenStripePattern pattern;
    pattern.SetBaseShiftCalibrated(true);
    pattern.SetBaseShiftToStandard();
    EXPECT_FALSE(pattern.IsBaseShiftCalibrated());
    ASSERT_EQ(pattern.GetBaseShift().size(), 140U);
    EXPECT_EQ(pattern.GetBaseShift()[1], -1.25);
    pattern.SetBaseShiftCalibrated(true);
    pattern.SetBaseShiftToZero();
    EXPECT_FALSE(pattern.IsBaseShiftCalibrated());
    EXPECT_EQ(pattern.GetBaseShift(), std::vector<double>(140, 0.0));
}

TEST(LxCStripePattern, ApplyingTheBaseShiftKeepsThePositions)
{
    OpenStripePattern pattern = MakeMarkedPattern();
    const auto before = pattern.GetCalibratedEdgePositionLUT();
    const auto expectPositionsKept = [&] {
        const auto& lut = pattern.GetCalibratedEdgePositionLUT();
        for (std::size_t p = 0; p < 4; ++p) {
            for (std::size_t d = 0; d < 4; ++d) {
                EXPECT_EQ(lut[p][d][0], before[p][d][0]);
                for (std::size_t e = 1; e <= 10; ++e) {
                    const double shift = e < pattern.GetBaseShift().size() ? pattern.GetBaseShift()[e] : 0.0;
                    EXPECT_EQ(lut[p][d][e] + shift, before[p][d][e]) << p << d << " " << e;
                }
            }
        }
    };
    pattern.ApplyBaseShift();
    EXPECT_EQ(pattern.GetBaseShift().size(), 140U);
    EXPECT_FALSE(pattern.IsBaseShiftCalibrated());
    expectPositionsKept();
    // From one shift to another, here a shorter one.
    pattern.SetCalibratedBaseShift({8.0, 0.5, -0.5, 0.75});
    pattern.ApplyBaseShift();
    EXPECT_EQ(pattern.GetBaseShift(), (std::vector<double>{8.0, 0.5, -0.5, 0.75}));
    EXPECT_TRUE(pattern.IsBaseShiftCalibrated());
    expectPositionsKept();
}

TEST(LxCStripePattern, UndoingTheBaseShiftLeavesPlainPositions)
{
    OpenStripePattern pattern = MakeMarkedPattern();
    const auto before = pattern.GetCalibratedEdgePositionLUT();
    pattern.ApplyBaseShift();
    EXPECT_NE(pattern.GetCalibratedEdgePositionLUT(), before);
    pattern.UndoBaseShift();
    EXPECT_EQ(pattern.GetCalibratedEdgePositionLUT(), before);
    EXPECT_EQ(pattern.GetBaseShift(), std::vector<double>(140, 0.0));
    EXPECT_TRUE(pattern.GetCalibratedBaseShift().empty());
}

TEST(LxCStripePattern, UndoingKeepsACalibratedBaseShift)
{
    OpenStripePattern pattern = MakeMarkedPattern();
    const std::vector<double> calibrated = {0.0, 0.5, -0.5, 0.75, 1.0, 0.0, 0.0, 0.0, 0.0, 0.0, 2.0};
    pattern.SetCalibratedBaseShift(calibrated);
    pattern.ApplyBaseShift();
    pattern.SetCalibratedBaseShift({});
    pattern.UndoBaseShift();
    EXPECT_EQ(pattern.GetCalibratedBaseShift(), calibrated);
    EXPECT_FALSE(pattern.IsBaseShiftCalibrated());
    EXPECT_EQ(pattern.GetBaseShift(), std::vector<double>(11, 0.0));
    EXPECT_EQ(pattern.GetCalibratedEdgePositionLUT()[3][3][10], 3310.0);
}

TEST(LxCStripePattern, ResetRestoresScalarsAndLeavesTables)
{
    OpenStripePattern pattern = MakeMarkedPattern();
    pattern.SetPrimitiveSize(60);
    pattern.SetMinCalibratedEdge(1);
    pattern.SetMaxCalibratedEdge(2);
    pattern.SetBaseShiftCalibrated(true);
    pattern.SetEdgePositionMethodCalib(LxCStripePattern::eEdgePosBaseShifted);
    pattern.Reset();
    EXPECT_EQ(pattern.GetPatternString(), "");
    EXPECT_EQ(pattern.GetPrimitiveSize(), 50);
    EXPECT_EQ(pattern.GetMinCalibratedEdge(), 25);
    EXPECT_EQ(pattern.GetMaxCalibratedEdge(), 122);
    EXPECT_EQ(pattern.GetNumPatches(), 0);
    EXPECT_EQ(pattern.GetMaxDistProjToScene(), 0.0F);
    EXPECT_FALSE(pattern.IsBaseShiftCalibrated());
    EXPECT_EQ(pattern.GetEdgePositionMethodCalib(), LxCStripePattern::eEdgePosPlain);
    EXPECT_EQ(pattern.GetNominalEdgePositions().size(), 10U);
    EXPECT_EQ(pattern.GetCWToStripeEdgeNrLUT().size(), 7778U);
    EXPECT_EQ(pattern.GetCalibratedEdgePositionLUT().size(), 4U);
}

} // namespace
} // namespace LxCV
