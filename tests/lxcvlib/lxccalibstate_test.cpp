#include "lxccalibstate.h"

#include "orx/platform/clock.h"
#include "tests/lxcvlib/sectiontext.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <ctime>
#include <limits>
#include <string>

namespace LxCV {
namespace {

/// The clock stands at 2015-03-03 08:05:59 UTC, in a zone one hour east of Greenwich.
class LxCCalibStateTest : public testing::Test
{
protected:
    LxCCalibStateTest() : m_scope(m_clock)
    {
        const char* const zone = std::getenv("TZ");
        m_bHadZone = zone != nullptr;
        m_sZone = m_bHadZone ? zone : "";
        setenv("TZ", "XST-1", 1);
        tzset();
        // date -u -d "2015-03-03 08:05:59" +%s
        m_clock.SetNow(std::chrono::system_clock::time_point(std::chrono::seconds(1425369959)));
    }
    ~LxCCalibStateTest() override
    {
        if (m_bHadZone) {
            setenv("TZ", m_sZone.c_str(), 1);
        } else {
            unsetenv("TZ");
        }
        tzset();
    }

private:
    platform::ManualClock m_clock;
    platform::ScopedClock m_scope;
    bool m_bHadZone;
    std::string m_sZone;
};

std::string Store(LxCCalibState& state)
{
    return TestSupport::Store(state, ":State");
}

void Load(LxCCalibState& state, const std::string& text)
{
    TestSupport::Load(state, ":State", text);
}

TEST_F(LxCCalibStateTest, NewStateIsNotCalibratedAndEmpty)
{
    const LxCCalibState state;
    EXPECT_FALSE(state.IsCalibrated());
    EXPECT_EQ(state.GetCalibTime(), L"");
    EXPECT_EQ(state.GetCalibInfos(), L"");
    EXPECT_EQ(state.GetRevisionNumber(), 0);
}

TEST_F(LxCCalibStateTest, FinishedCalibrationStampsLocalTimeAndRevision)
{
    LxCCalibState state;
    state.FinishedCalibrationSuccessful(L"camera 7");
    EXPECT_TRUE(state.IsCalibrated());
    EXPECT_EQ(state.GetCalibTime(), L"03.03.2015 09:05");
    EXPECT_EQ(state.GetCalibInfos(), L"camera 7");
    EXPECT_EQ(state.GetRevisionNumber(), 200000);
}

TEST_F(LxCCalibStateTest, ResetReturnsAllFieldsToTheirInitialValues)
{
    LxCCalibState state;
    state.FinishedCalibrationSuccessful(L"camera 7");
    state.ResetCalibState();
    EXPECT_EQ(Store(state), "Calibrated=0\nCalibTime=\nCalibRevNumber=\nCalibInfos=\n");
}

TEST_F(LxCCalibStateTest, StoringWritesFourKeysInOrderWithoutAHeader)
{
    LxCCalibState state;
    state.FinishedCalibrationSuccessful(L"Gr\u00fc\u00dfe");
    EXPECT_EQ(Store(state), "Calibrated=1\nCalibTime=03.03.2015 09:05\nCalibRevNumber=200000\n"
                            "CalibInfos=Gr\u00fc\u00dfe\n");
}

TEST_F(LxCCalibStateTest, LoadingRestoresAllFields)
{
    LxCCalibState state;
    Load(state, ":State\nCalibrated=1\nCalibTime=01.02.2003 04:05\nCalibRevNumber=0x10\nCalibInfos=a=b\n");
    EXPECT_TRUE(state.IsCalibrated());
    EXPECT_EQ(state.GetCalibTime(), L"01.02.2003 04:05");
    EXPECT_EQ(state.GetCalibInfos(), L"a=b");
    EXPECT_EQ(state.GetRevisionNumber(), 16);
}

TEST_F(LxCCalibStateTest, LoadingWithoutTheSectionOrAKeyKeepsTheState)
{
    LxCCalibState state;
    state.FinishedCalibrationSuccessful(L"kept");
    Load(state, ":Other\nCalibrated=0\n");
    EXPECT_TRUE(state.IsCalibrated());
    Load(state, ":State\nCalibTime=later\n");
    EXPECT_TRUE(state.IsCalibrated());
    EXPECT_EQ(state.GetCalibTime(), L"later");
    EXPECT_EQ(state.GetCalibInfos(), L"kept");
    EXPECT_EQ(state.GetRevisionNumber(), 200000);
}

struct RevisionCase
{
    const char* text;
    int revision;
};

TEST_F(LxCCalibStateTest, RevisionIsParsedAsScanfDoes)
{
    constexpr int c_largest = std::numeric_limits<int>::max();
    constexpr int c_smallest = std::numeric_limits<int>::min();
    constexpr std::array c_cases{
        RevisionCase{"200000", 200000},
        RevisionCase{"", 0},
        RevisionCase{"0", 0},
        RevisionCase{" \t 12", 12},
        RevisionCase{"+5", 5},
        RevisionCase{"-17", -17},
        RevisionCase{"0x1F", 31},
        RevisionCase{"0X1f", 31},
        RevisionCase{"-0x10", -16},
        RevisionCase{"0x", 0},
        RevisionCase{"0xg", 0},
        RevisionCase{"017", 15},
        RevisionCase{"08", 0},
        RevisionCase{"078", 7},
        RevisionCase{"12abc", 12},
        RevisionCase{"abc", 0},
        RevisionCase{"- 5", 0},
        RevisionCase{"--5", 0},
        RevisionCase{"+", 0},
        RevisionCase{"12.9", 12},
        RevisionCase{"2147483647", c_largest},
        RevisionCase{"2147483648", c_largest},
        RevisionCase{"-2147483648", c_smallest},
        RevisionCase{"-2147483649", c_smallest},
        RevisionCase{"99999999999999999999999999999999", c_largest},
        RevisionCase{"-99999999999999999999999999999999", c_smallest},
        RevisionCase{"0xffffffffffffffffffff", c_largest},
    };
    for (const RevisionCase& revisionCase : c_cases) {
        LxCCalibState state;
        Load(state, std::string(":State\nCalibRevNumber=") + revisionCase.text + "\n");
        EXPECT_EQ(state.GetRevisionNumber(), revisionCase.revision) << revisionCase.text;
    }
}

} // namespace
} // namespace LxCV
