#include "lxctrace.h"

#include "orx/logging/logger.h"
#include "tests/lxcvlib/tracetestsupport.h"
#include "tests/support/virtualslot.h"
#include "tests/support/watchdog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <cstddef>
#include <fcntl.h>
#include <filesystem>
#include <random>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace LxCV {
namespace {

using testing::EndsWith;
using testing::StartsWith;
using TestSupport::COpenTrace;
using TestSupport::FormattedByTheCLibrary;
using TestSupport::LxCTraceTest;
using ::TestSupport::SlotOf;
using TestSupport::Unchecked;

namespace fs = std::filesystem;

constexpr std::size_t c_longestLine = 1023; // 1024 bytes with the terminating 0

// --- Files

TEST_F(LxCTraceTest, IsClosedAndNamelessBeforeInit)
{
    EXPECT_FALSE(m_Trace.IsInitialized());
    EXPECT_EQ(m_Trace.GetTraceFile(), "");
    EXPECT_EQ(m_Trace.GetPath(), "");
    EXPECT_EQ(m_Trace.GetLevel(), 3);
    m_Trace.Message("nobody reads this\n");
    EXPECT_TRUE(m_Trace.WriteTrace());
    EXPECT_FALSE(m_Trace.CopyTraceFileToFolder(m_Folder.GetPath().string()));
    EXPECT_TRUE(fs::is_empty(m_Folder.GetPath()));
}

TEST_F(LxCTraceTest, InitMakesAnEmptyFileAndKeepsThePathTextAsItIs)
{
    EXPECT_TRUE(Init());
    EXPECT_TRUE(m_Trace.IsInitialized());
    EXPECT_EQ(m_Trace.GetPath(), m_Folder.GetPath().string());
    EXPECT_EQ(m_Trace.GetTraceFile(), m_Folder.GetPath().string() + "\\base_0.txt");
    EXPECT_TRUE(Exists("base_0.txt"));
    EXPECT_EQ(Text(), "");
}

TEST_F(LxCTraceTest, InitMakesTheLastTraceTheRecentOne)
{
    ::TestSupport::WriteFile(m_Folder / "base_0.txt", "last session");
    ::TestSupport::WriteFile(m_Folder / "base_0_recent.txt", "the session before");
    EXPECT_TRUE(Init());
    EXPECT_EQ(Text(), "");
    EXPECT_EQ(Text("base_0_recent.txt"), "last session");
    EXPECT_TRUE(Init());
    EXPECT_EQ(Text("base_0_recent.txt"), "");
}

TEST_F(LxCTraceTest, FilesRotateWhenTheyExceedTheSizeAndEachKeepsOneOlderGeneration)
{
    ASSERT_TRUE(InitBare(10, 3));
    m_Trace.Message("0123456789"); // as long as allowed
    EXPECT_EQ(m_Trace.GetTraceFile(), m_Folder.GetPath().string() + "\\base_0.txt");
    m_Trace.Message("a"); // now longer
    EXPECT_EQ(m_Trace.GetTraceFile(), m_Folder.GetPath().string() + "\\base_1.txt");
    EXPECT_FALSE(Exists("base_1.txt")) << "made by the next line";
    m_Trace.Message("one, too long");
    m_Trace.Message("two, too long");
    EXPECT_EQ(m_Trace.GetTraceFile(), m_Folder.GetPath().string() + "\\base_0.txt");
    EXPECT_FALSE(Exists("base_0.txt"));
    EXPECT_EQ(Text("base_0_recent.txt"), "0123456789a");
    m_Trace.Message("new");
    EXPECT_EQ(Text("base_0.txt"), "new");
    EXPECT_EQ(Text("base_1.txt"), "one, too long");
    EXPECT_EQ(Text("base_2.txt"), "two, too long");
    m_Trace.Message("and even newer");
    EXPECT_EQ(Text("base_1_recent.txt"), "one, too long");
    EXPECT_FALSE(Exists("base_2_recent.txt"));
}

TEST_F(LxCTraceTest, FileCountBelowTwoIsTwo)
{
    for (const int count : {1, 0, -7, INT_MIN}) {
        ASSERT_TRUE(InitBare(0, count));
        m_Trace.Message("a");
        EXPECT_THAT(m_Trace.GetTraceFile(), EndsWith("\\base_1.txt"));
        m_Trace.Message("b");
        EXPECT_THAT(m_Trace.GetTraceFile(), EndsWith("\\base_0.txt"));
    }
}

TEST_F(LxCTraceTest, SizeBeyond32BitsIsTheLargestOne)
{
    ASSERT_TRUE(InitBare((1UL << 32) + 1)); // 1 if it were cut to 32 bits
    m_Trace.Message("longer than one byte");
    EXPECT_THAT(m_Trace.GetTraceFile(), EndsWith("\\base_0.txt"));
}

TEST_F(LxCTraceTest, SetPathTakesEffectWithTheNextFile)
{
    const std::string other = m_Folder / "other";
    fs::create_directory(other);
    ASSERT_TRUE(InitBare(3));
    m_Trace.SetPath(other);
    EXPECT_EQ(m_Trace.GetPath(), other);
    m_Trace.Message("here");
    EXPECT_EQ(Text(), "here");
    m_Trace.Message("there");
    EXPECT_EQ(Text("other/base_1.txt"), "there");
}

TEST_F(LxCTraceTest, CopyBearsTheLocalTimeAndReplacesAnEarlierOne)
{
    const std::string copies = m_Folder / "copies";
    fs::create_directory(copies);
    ASSERT_TRUE(InitBare());
    m_Trace.Message("first\n");
    EXPECT_TRUE(m_Trace.CopyTraceFileToFolder(copies));
    m_Trace.Message("second\n");
    EXPECT_TRUE(m_Trace.CopyTraceFileToFolder(copies));
    EXPECT_EQ(Text("copies/Trace_20150304__050607.txt"), "first\nsecond\n");
    EXPECT_EQ(std::distance(fs::directory_iterator(copies), {}), 1);
    EXPECT_FALSE(m_Trace.CopyTraceFileToFolder(m_Folder / "missing"));
    EXPECT_FALSE(m_Trace.CopyTraceFileToFolder(copies + std::string(1000, '/'))) << "1023 bytes or more";
}

TEST_F(LxCTraceTest, InvalidationEndsTheTraceUntilInit)
{
    ASSERT_TRUE(InitBare());
    m_Trace.Message("before");
    m_Trace.Invaldidate();
    EXPECT_FALSE(m_Trace.IsInitialized());
    m_Trace.Message("after");
    EXPECT_EQ(Text(), "before");
    EXPECT_TRUE(InitBare());
    m_Trace.Message("again");
    EXPECT_EQ(Text(), "again");
}

TEST_F(LxCTraceTest, EndIsWritten)
{
    const std::string folder = m_Folder.GetPath().string();
    {
        COpenTrace trace;
        trace.SetOptions(LxCTrace::eO_Level);
        ASSERT_TRUE(trace.Init("", folder, sc_ulNoLimit, 2, "ended"));
    }
    EXPECT_EQ(Text("ended_0.txt"), "3 Closing Trace Output\n");
}

// --- Prefix

TEST_F(LxCTraceTest, EveryCombinationOfOptionsGivesItsPartsInOrder)
{
    const std::array<std::string, 4> parts{"Module          ", "2015-03-04 ", "05:06:07.089 ", "1 "};
    for (unsigned int options = 0; options < 16; ++options) {
        m_Trace.SetOptions(static_cast<int>(options));
        ASSERT_TRUE(Init());
        m_Trace.Error("text\n");
        std::string expected;
        for (unsigned int bit = 0; bit < parts.size(); ++bit) {
            expected += (options >> bit & 1U) != 0 ? parts[bit] : "";
        }
        EXPECT_EQ(Text(), expected + "text\n") << options;
    }
}

TEST_F(LxCTraceTest, DateTimeAndLevelAreOnAtFirst)
{
    ASSERT_TRUE(Init());
    m_Trace.Message("text\n");
    EXPECT_EQ(Text(), "2015-03-04 05:06:07.089 3 text\n");
}

TEST_F(LxCTraceTest, LongModuleNameIsNotPaddedAndAHugeOneIsCut)
{
    m_Trace.SetOptions(LxCTrace::eO_ModuleName | LxCTrace::eO_Level);
    const std::string folder = m_Folder.GetPath().string();
    ASSERT_TRUE(m_Trace.Init("seventeen letters", folder, sc_ulNoLimit, 2, "base"));
    m_Trace.Message("text");
    EXPECT_EQ(Text(), "seventeen letters3 text");
    ASSERT_TRUE(m_Trace.Init(std::string(5000, 'm'), folder, sc_ulNoLimit, 2, "base"));
    m_Trace.Message("text");
    EXPECT_EQ(Text(), std::string(c_longestLine, 'm') + "text");
}

TEST_F(LxCTraceTest, AppendContinuesALineWithoutAPrefix)
{
    m_Trace.SetOptions(LxCTrace::eO_Level);
    ASSERT_TRUE(Init());
    m_Trace.Msg(2, "%d and", 1);
    m_Trace.Append(2, " %d\n", 2);
    EXPECT_EQ(Text(), "2 1 and 2\n");
}

// --- Levels

TEST_F(LxCTraceTest, LevelsFromOneToTheTraceLevelAreWritten)
{
    ASSERT_TRUE(InitBare());
    for (const int level : {INT_MIN, -1, 0, 1, 2, 3, 4, INT_MAX}) {
        m_Trace.Msg(level, "[%d]", level);
        m_Trace.Append(level, "(%d)", level);
    }
    EXPECT_EQ(Text(), "[1](1)[2](2)[3](3)");
}

TEST_F(LxCTraceTest, MessagesHaveLevelThreeAndErrorsLevelOne)
{
    ASSERT_TRUE(InitBare());
    m_Trace.SetLevel(2); // too low for its own message
    m_Trace.Message("message");
    m_Trace.MessageByList("message %d", 1);
    m_Trace.Error("error ");
    m_Trace.ErrorByList("error %d", 1);
    EXPECT_EQ(Text(), "error error 1");
    m_Trace.SetLevel(3);
    m_Trace.Message("message ");
    m_Trace.MessageByList("message %d", 1);
    EXPECT_EQ(Text(), "error error 1Trace level is 3\nmessage message 1");
}

TEST_F(LxCTraceTest, LevelZeroWritesNothingAndANegativeLevelIsZero)
{
    ASSERT_TRUE(InitBare());
    m_Trace.SetLevel(-1);
    EXPECT_EQ(m_Trace.GetLevel(), 0);
    m_Trace.Error("error");
    m_Trace.Msg(0, "zero");
    m_Trace.Msg(-1, "minus one");
    EXPECT_EQ(Text(), "");
    m_Trace.SetLevel(7);
    EXPECT_EQ(m_Trace.GetLevel(), 7);
    EXPECT_EQ(Text(), "Trace level is 7\n");
}

// --- Formats

TEST_F(LxCTraceTest, LineInAFileIsCutTo1023Bytes)
{
    for (const std::size_t length :
         {c_longestLine - 1, c_longestLine, c_longestLine + 1, 100 * c_longestLine}) {
        m_Trace.SetOptions(LxCTrace::eO_Level);
        ASSERT_TRUE(Init());
        m_Trace.Message("%s", std::string(length, 'x').c_str());
        EXPECT_EQ(Text(), "3 " + std::string(std::min(length, c_longestLine), 'x')) << length;
    }
}

TEST_F(LxCTraceTest, FormatsThatNeedMoreThanALineAreCut)
{
    const std::array<std::pair<const char*, std::string>, 3> cases{{
        {"%2000d", std::string(c_longestLine, ' ')},
        {"%02000d", std::string(c_longestLine, '0')},
        {"%.5000d", std::string(c_longestLine, '0')},
    }};
    for (const auto& [format, expected] : cases) {
        ASSERT_TRUE(InitBare());
        Unchecked(m_Trace, format, 1);
        EXPECT_EQ(Text(), expected) << format;
    }
}

// A width of 2147483647 takes the C library seconds and gigabytes, whatever the size of the buffer.
TEST_F(LxCTraceTest, HarmfulFormatsAreWrittenAsTheyStand)
{
    for (const char* const format :
         {"%10000d", "%.2147483647d", "%-08.99999d", "a%%b %5d%12345d", "%*.54321d"}) {
        ASSERT_TRUE(InitBare());
        Unchecked(m_Trace, format, 1, 1, 1);
        EXPECT_EQ(Text(), format);
    }
}

TEST_F(LxCTraceTest, FormatNeverWritesThroughItsArgument)
{
    for (const char* const format : {"abc%n", "abc%5n", "abc%1$n", "%%%n"}) {
        int target = 77;
        ASSERT_TRUE(InitBare());
        Unchecked(m_Trace, format, &target);
        EXPECT_EQ(Text(), format);
        EXPECT_EQ(target, 77) << format;
    }
    ASSERT_TRUE(InitBare());
    m_Trace.Message("%%n %d%s", 5, "n");
    EXPECT_EQ(Text(), "%n 5n") << "no conversion";
}

TEST_F(LxCTraceTest, WideTextBecomesUtf8WhateverTheLocale)
{
    ASSERT_TRUE(InitBare());
    m_Trace.Message("%ls|%.1f", L"\u00fc\u20ac", 0.5);
    EXPECT_EQ(Text(), "\xc3\xbc\xe2\x82\xac|0.5");
}

TEST_F(LxCTraceTest, WideTextWithoutUtf8LeavesTheFormat)
{
    ASSERT_TRUE(InitBare());
    const std::array<wchar_t, 2> surrogate{static_cast<wchar_t>(0xDC80), L'\0'};
    m_Trace.Message("<%ls>", surrogate.data());
    EXPECT_EQ(Text(), "<%ls>");
}

TEST_F(LxCTraceTest, ConversionsThatAreUnknownOrNotCompleteAreWrittenAsTheyStand)
{
    for (const char* const format :
         {"%", "100%", "%5", "%-", "%l", "%d and %", "%y", "%!", "% \n", "%\xff"}) {
        ASSERT_TRUE(InitBare());
        Unchecked(m_Trace, format, 1);
        EXPECT_EQ(Text(), format);
    }
}

TEST_F(LxCTraceTest, NullFormatIsNoLine)
{
    ASSERT_TRUE(InitBare());
    const char* const nothing = nullptr;
    Unchecked(m_Trace, nothing);
    m_Trace.Append(1, nothing);
    EXPECT_EQ(Text(), "");
    EXPECT_TRUE(m_Trace.IsInitialized());
}

/// Formats of random pieces whose arguments are all of one type, so that any of them may be read.
TEST_F(LxCTraceTest, RandomFormatsAreWrittenAsTheCLibraryWould)
{
    const std::array<const char*, 10> pieces{"%d",    "%5d",     "%-12d", "%+05d", "%.3d",
                                             "%900d", "%-1200d", "%x",    "plain", "%%"};
    std::mt19937 random(91);
    for (int round = 0; round < 300; ++round) {
        std::string format;
        for (int i = 0; i < 5; ++i) {
            format += pieces[random() % pieces.size()];
        }
        const std::array<int, 5> values{static_cast<int>(random()), 0, -1, INT_MIN, INT_MAX};
        const std::string expected =
            FormattedByTheCLibrary(format.c_str(), values[0], values[1], values[2], values[3], values[4]);
        ASSERT_TRUE(InitBare());
        Unchecked(m_Trace, format.c_str(), values[0], values[1], values[2], values[3], values[4]);
        ASSERT_EQ(Text(), expected) << format;
    }
}

// --- Silent mode

TEST_F(LxCTraceTest, SilentLinesReachTheFileOnlyWithWriteTrace)
{
    ASSERT_TRUE(InitSilent(4));
    EXPECT_TRUE(m_Trace.IsInitialized());
    m_Trace.Message("one\n");
    m_Trace.Error("two\n");
    EXPECT_FALSE(Exists("base_0.txt"));
    EXPECT_TRUE(m_Trace.WriteTrace());
    EXPECT_EQ(Text(), "3 one\n1 two\n");
    EXPECT_TRUE(m_Trace.WriteTrace());
    EXPECT_EQ(Text(), "3 one\n1 two\n") << "the ring is empty now";
    m_Trace.Message("three\n");
    EXPECT_TRUE(m_Trace.WriteTrace());
    EXPECT_EQ(Text(), "3 one\n1 two\n3 three\n");
}

TEST_F(LxCTraceTest, RingOfNLinesKeepsTheLastNOfWhichThoseOfTheLatestTurnAreWritten)
{
    constexpr int c_iLines = 5;
    for (int messages = 0; messages <= 3 * c_iLines; ++messages) {
        ASSERT_TRUE(InitSilent(c_iLines));
        for (int i = 0; i < messages; ++i) {
            m_Trace.Message("%d;", i);
        }
        EXPECT_TRUE(m_Trace.WriteTrace());
        std::string expected; // those since the ring last began anew: none after 5, the last one after 6
        for (int i = messages - messages % c_iLines; i < messages; ++i) {
            expected += "3 " + std::to_string(i) + ";";
        }
        EXPECT_EQ(Text(), expected) << messages;
        fs::remove(m_Folder / "base_0.txt");
    }
}

TEST_F(LxCTraceTest, RingHasALineForEvery1024BytesOfTheMaximumSize)
{
    m_Trace.SetOptions(LxCTrace::eO_Silent | LxCTrace::eO_Level);
    ASSERT_TRUE(Init(3 * 1024 - 1)); // two lines: the third message is the first of the second turn
    for (const char* const text : {"a", "b", "c"}) {
        m_Trace.Message("%s", text);
    }
    EXPECT_TRUE(m_Trace.WriteTrace());
    EXPECT_EQ(Text(), "3 c");
}

TEST_F(LxCTraceTest, RingWithoutLinesKeepsNothing)
{
    m_Trace.SetOptions(LxCTrace::eO_Silent | LxCTrace::eO_Level);
    ASSERT_TRUE(Init(1023));
    m_Trace.Message("lost");
    EXPECT_TRUE(m_Trace.WriteTrace());
    EXPECT_EQ(Text(), "");
}

TEST_F(LxCTraceTest, SilentLineIsCutWithItsPrefixAndThenEndsWithALineFeed)
{
    const std::size_t room = c_longestLine - 2; // beside the prefix "3 "
    for (const std::size_t length : {room - 1, room, room + 1, c_longestLine, c_longestLine + 1, 50 * room}) {
        ASSERT_TRUE(InitSilent(2));
        m_Trace.Message("%s", std::string(length, 'x').c_str());
        EXPECT_TRUE(m_Trace.WriteTrace());
        const std::string expected =
            length <= room ? std::string(length, 'x') : std::string(room - 1, 'x') + "\n";
        EXPECT_EQ(Text(), "3 " + expected) << length;
        fs::remove(m_Folder / "base_0.txt");
    }
}

TEST_F(LxCTraceTest, SilentLineWithoutAPrefixGoesToTheFile)
{
    ASSERT_TRUE(InitSilent(3));
    m_Trace.Message("in the ring\n");
    m_Trace.Append(1, "in the file\n");
    EXPECT_EQ(Text(), "in the file\n");
    ASSERT_TRUE(InitSilent(3, 0));
    m_Trace.Message("in the file too\n");
    EXPECT_EQ(Text(), "in the file too\n");
}

TEST_F(LxCTraceTest, WriteTraceRotatesFilesToo)
{
    ASSERT_TRUE(InitSilent(2));
    m_Trace.Message("%s", std::string(c_longestLine - 2, 'x').c_str());
    EXPECT_TRUE(m_Trace.WriteTrace());
    EXPECT_TRUE(m_Trace.WriteTrace());
    EXPECT_THAT(m_Trace.GetTraceFile(), EndsWith("\\base_0.txt"));
    for (int i = 0; i < 2; ++i) { // 3 * 1023 bytes exceed 2 * 1024
        m_Trace.Message("%s", std::string(c_longestLine - 2, 'y').c_str());
        EXPECT_TRUE(m_Trace.WriteTrace());
    }
    EXPECT_THAT(m_Trace.GetTraceFile(), EndsWith("\\base_1.txt"));
    EXPECT_EQ(Text().size(), 3 * c_longestLine);
}

TEST_F(LxCTraceTest, ChangeOfTheModeStartsTheTraceAnew)
{
    ASSERT_TRUE(Init());
    m_Trace.SetOptions(LxCTrace::eO_Level); // same mode
    m_Trace.Message("kept\n");
    EXPECT_EQ(Text(), "3 kept\n");
    m_Trace.SetOptions(LxCTrace::eO_Level | LxCTrace::eO_Silent);
    EXPECT_FALSE(Exists("base_0.txt"));
    EXPECT_EQ(Text("base_0_recent.txt"), "3 kept\n");
    m_Trace.Message("in the ring\n");
    m_Trace.SetOptions(LxCTrace::eO_Level);
    EXPECT_TRUE(m_Trace.WriteTrace());
    EXPECT_EQ(Text(), "") << "the ring is lost";
    EXPECT_EQ(m_Trace.GetPath(), m_Folder.GetPath().string());
}

TEST_F(LxCTraceTest, OptionsBeforeInitTouchNoFile)
{
    m_Trace.SetOptions(LxCTrace::eO_Silent);
    m_Trace.SetOptions(0);
    EXPECT_FALSE(m_Trace.IsInitialized());
    EXPECT_FALSE(fs::exists("/_0.txt"));
}

TEST_F(LxCTraceTest, HugeRingTakesMemoryOnlyForItsLines)
{
    ASSERT_TRUE(InitSilent(ULONG_MAX / 1024)); // 4 GiB if every line were made
    m_Trace.Message("one");
    EXPECT_TRUE(m_Trace.WriteTrace());
    EXPECT_EQ(Text(), "3 one");
}

// --- Faults

int CountLossWarnings(const Logging::CCapture& capture)
{
    int count = 0;
    for (const Logging::CRecord& record : capture.GetRecords()) {
        const bool complete = record.level == Logging::ELevel::eWarning &&
                              record.channel == L"ORX.Lumorad.LxCTrace" &&
                              record.text.starts_with(L"Lines are lost, since the trace file '/") &&
                              record.text.ends_with(L"\\base_0.txt' cannot be written.\n");
        count += complete ? 1 : 0;
    }
    return count;
}

TEST_F(LxCTraceTest, MissingFolderFails)
{
    EXPECT_FALSE(m_Trace.Init("", m_Folder / "missing", sc_ulNoLimit, 2, "base"));
    EXPECT_FALSE(m_Trace.IsInitialized());
    m_Trace.Message("lost");
    EXPECT_FALSE(Exists("missing"));
}

// Permissions do not keep root out; a kernel file system and a file in a folder's place do.
TEST_F(LxCTraceTest, FolderThatTakesNoFilesFails)
{
    ::TestSupport::WriteFile(m_Folder / "file", "content");
    for (const std::string& folder : {std::string("/proc/self"), m_Folder / "file"}) {
        EXPECT_FALSE(m_Trace.Init("", folder, sc_ulNoLimit, 2, "base")) << folder;
        EXPECT_FALSE(m_Trace.IsInitialized());
        m_Trace.Message("lost");
        EXPECT_FALSE(m_Trace.CopyTraceFileToFolder(m_Folder.GetPath().string()));
    }
    EXPECT_EQ(Text("file"), "content");
}

TEST_F(LxCTraceTest, FullDiskLosesLinesWithOneWarning)
{
    ASSERT_TRUE(InitBare());
    fs::remove(m_Folder / "base_0.txt");
    fs::create_symlink("/dev/full", m_Folder / "base_0.txt");
    const Logging::CCapture capture;
    m_Trace.Message("lost");
    m_Trace.Message("lost too");
    EXPECT_TRUE(m_Trace.IsInitialized());
    EXPECT_EQ(capture.GetRecords().size(), 1U);
    EXPECT_EQ(CountLossWarnings(capture), 1);
    fs::remove(m_Folder / "base_0.txt");
    m_Trace.Message("there is room again");
    EXPECT_EQ(Text(), "there is room again");
    fs::remove(m_Folder / "base_0.txt");
    fs::create_symlink("/dev/full", m_Folder / "base_0.txt");
    m_Trace.Message("lost again");
    EXPECT_EQ(CountLossWarnings(capture), 2);
}

// A pipe that nobody reads would keep who opens it waiting; one whose reader goes away ends who writes to it.
TEST_F(LxCTraceTest, PipeInPlaceOfAFileIsNeverWrittenTo)
{
    const ::TestSupport::CWatchdog watchdog;
    ASSERT_TRUE(InitBare());
    const std::string pipe = m_Folder / "base_0.txt";
    fs::remove(pipe);
    ASSERT_EQ(mkfifo(pipe.c_str(), S_IRUSR | S_IWUSR), 0);
    const Logging::CCapture capture;
    m_Trace.Message("lost");
    EXPECT_EQ(CountLossWarnings(capture), 1);
    const int reader = open(pipe.c_str(), O_RDONLY | O_NONBLOCK);
    ASSERT_GE(reader, 0);
    m_Trace.Message("lost too");
    char byte = 0;
    EXPECT_EQ(read(reader, &byte, 1), 0) << "end, as nobody writes";
    close(reader);
    fs::create_directories(m_Folder / "base_0_recent.txt/which/does/not/give/way");
    EXPECT_FALSE(InitBare());
}

TEST_F(LxCTraceTest, WriteTraceSaysThatTheDiskIsFull)
{
    ASSERT_TRUE(InitSilent(3));
    m_Trace.Message("lost");
    fs::create_symlink("/dev/full", m_Folder / "base_0.txt");
    EXPECT_FALSE(m_Trace.WriteTrace());
}

TEST_F(LxCTraceTest, WriteTraceKeepsTheRingWhereTheFileDoesNotOpen)
{
    const std::string folder = m_Folder / "later";
    m_Trace.SetOptions(LxCTrace::eO_Silent | LxCTrace::eO_Level);
    ASSERT_TRUE(m_Trace.Init("", folder, sc_ulNoLimit, 2, "base"));
    m_Trace.Message("kept");
    EXPECT_FALSE(m_Trace.WriteTrace());
    fs::create_directory(folder);
    EXPECT_TRUE(m_Trace.WriteTrace());
    EXPECT_EQ(Text("later/base_0.txt"), "3 kept");
}

TEST_F(LxCTraceTest, FolderMayVanishAndComeBack)
{
    const std::string folder = m_Folder / "short lived";
    fs::create_directory(folder);
    ASSERT_TRUE(m_Trace.Init("", folder, sc_ulNoLimit, 2, "base"));
    fs::remove_all(folder);
    const Logging::CCapture quiet;
    m_Trace.Message("lost");
    EXPECT_TRUE(m_Trace.IsInitialized());
    EXPECT_FALSE(Exists("short lived"));
    fs::create_directory(folder);
    m_Trace.SetOptions(0);
    m_Trace.Message("back");
    EXPECT_EQ(Text("short lived/base_0.txt"), "back");
}

TEST_F(LxCTraceTest, NamesOf1023BytesAreRefusedAndTouchNoFile)
{
    const std::string folder = m_Folder.GetPath().string();
    // Both names end in "\\<base>_0_recent.txt" at most: 14 bytes beside folder and base name.
    const std::size_t longest = c_longestLine - 1 - 14 - folder.size();
    const std::string slashes(longest - 4, '/'); // many separators are one, so that the file can be made
    EXPECT_TRUE(m_Trace.Init("", folder + slashes, sc_ulNoLimit, 2, "base"));
    EXPECT_TRUE(Exists("base_0.txt"));
    EXPECT_FALSE(m_Trace.Init("", folder + slashes + "/", sc_ulNoLimit, 2, "other"));
    EXPECT_FALSE(Exists("other_0.txt"));
    EXPECT_FALSE(m_Trace.IsInitialized());
    EXPECT_FALSE(m_Trace.Init("", std::string(100'000, 'x'), sc_ulNoLimit, 2, std::string(100'000, 'y')));
}

TEST_F(LxCTraceTest, PathThatBecomesTooLongEndsTheTraceWithTheNextFile)
{
    ASSERT_TRUE(InitBare(3));
    m_Trace.SetPath(std::string(2000, 'x'));
    m_Trace.Message("longer than three");
    EXPECT_FALSE(m_Trace.IsInitialized());
    EXPECT_EQ(Text(), "longer than three");
}

// --- Timers

TEST_F(LxCTraceTest, TimerTellsMillisecondsAndLogs)
{
    ASSERT_TRUE(InitBare());
    m_Trace.StartTimer("work");
    m_Clock.Advance(std::chrono::microseconds(1500));
    EXPECT_DOUBLE_EQ(m_Trace.SplitTime(3, "work", true), 1.5);
    m_Clock.Advance(std::chrono::microseconds(2250));
    EXPECT_DOUBLE_EQ(m_Trace.StopTimer("work"), 3.75);
    EXPECT_EQ(Text(),
              "work timer started\nwork timer split time is 1.50 ms\nwork timer stopped after 3.75 ms\n");
}

TEST_F(LxCTraceTest, TimerCountsInTheClocksOwnFrequency)
{
    m_Clock.SetFrequency(3);
    m_Clock.SetTicks(100);
    m_Trace.StartTimer(1, "a", false);
    m_Clock.SetTicks(102);
    EXPECT_DOUBLE_EQ(m_Trace.StopTimer(1, "a", false), 2000.0 / 3.0);
}

TEST_F(LxCTraceTest, TimerWithoutAFrequencyTakesTicksForSeconds)
{
    for (const bool available : {false, true}) {
        m_Clock.SetFrequency(0);
        m_Clock.SetFrequencyAvailable(available);
        m_Clock.SetTicks(10);
        m_Trace.StartTimer(1, "a", false);
        m_Clock.SetTicks(12);
        EXPECT_DOUBLE_EQ(m_Trace.StopTimer(1, "a", false), 2000.0);
    }
}

TEST_F(LxCTraceTest, TimerSurvivesTicksAtTheEndsOfTheirRange)
{
    m_Clock.SetTicks(INT64_MAX);
    m_Trace.StartTimer(1, "a", false);
    m_Clock.SetTicks(INT64_MIN); // one tick later, if the counter wraps
    EXPECT_DOUBLE_EQ(m_Trace.StopTimer(1, "a", false), 1e-6);
}

TEST_F(LxCTraceTest, SecondStartChangesNothingAndLogsNothing)
{
    ASSERT_TRUE(InitBare());
    m_Trace.StartTimer("a");
    m_Clock.Advance(std::chrono::milliseconds(1));
    m_Trace.StartTimer("a");
    m_Trace.StartTimer(3, "b", true); // depth 1: the second start of a did not count
    m_Clock.Advance(std::chrono::milliseconds(1));
    EXPECT_DOUBLE_EQ(m_Trace.StopTimer(3, "a", false), 2.0);
    EXPECT_EQ(Text(), "a timer started\n\tb timer started\n");
}

TEST_F(LxCTraceTest, StoppingAnUnknownOrStoppedTimerGivesZeroAndLogsNothing)
{
    ASSERT_TRUE(InitBare());
    EXPECT_EQ(m_Trace.StopTimer("nobody"), 0.0);
    EXPECT_EQ(m_Trace.SplitTime(3, "nobody", true), 0.0);
    m_Trace.StartTimer(3, "other", false);
    m_Trace.StartTimer(3, "a", false);
    m_Clock.Advance(std::chrono::milliseconds(1));
    EXPECT_EQ(m_Trace.StopTimer(3, "a", false), 1.0);
    EXPECT_EQ(m_Trace.StopTimer("a"), 0.0);
    EXPECT_EQ(m_Trace.SplitTime(3, "a", true), 0.0);
    EXPECT_EQ(Text(), "");
}

TEST_F(LxCTraceTest, TimerMessagesAreIndentedByTheDepthAtTheStartTenAtMost)
{
    ASSERT_TRUE(InitBare());
    std::string expected;
    for (int i = 0; i < 13; ++i) {
        m_Trace.StartTimer(3, std::to_string(i), i > 8);
    }
    EXPECT_EQ(Text(), std::string(9, '\t') + "9 timer started\n" +       //
                          std::string(10, '\t') + "10 timer started\n" + //
                          std::string(10, '\t') + "11 timer started\n" + //
                          std::string(10, '\t') + "12 timer started\n");
    ASSERT_TRUE(InitBare());
    m_Trace.StopTimer(3, "0", false);
    m_Trace.StopTimer("4"); // its own depth, however many run now
    m_Trace.SplitTime(3, "12", true);
    EXPECT_EQ(Text(), "\t\t\t\t4 timer stopped after 0.00 ms\n" + std::string(10, '\t') +
                          "12 timer split time is 0.00 ms\n");
}

TEST_F(LxCTraceTest, StoppedTimerFreesItsDepth)
{
    ASSERT_TRUE(InitBare());
    m_Trace.StartTimer(3, "a", false);
    m_Trace.StartTimer(3, "b", false);
    m_Trace.StopTimer(3, "b", false);
    m_Trace.StartTimer("c");
    m_Trace.StopTimer(3, "a", false);
    m_Trace.StopTimer(3, "c", false);
    m_Trace.StartTimer("d");
    EXPECT_EQ(Text(), "\tc timer started\nd timer started\n");
}

TEST_F(LxCTraceTest, TimersAboveTheLevelDoNothing)
{
    ASSERT_TRUE(InitBare());
    m_Trace.SetLevel(2);
    m_Trace.StartTimer("a");
    m_Trace.SetLevel(3);
    EXPECT_EQ(m_Trace.StopTimer("a"), 0.0) << "never started";
    m_Trace.StartTimer(3, "a", false);
    m_Clock.Advance(std::chrono::milliseconds(5));
    m_Trace.SetLevel(2);
    EXPECT_EQ(m_Trace.StopTimer("a"), 0.0);
    EXPECT_EQ(m_Trace.SplitTime(3, "a", true), 0.0);
    EXPECT_EQ(m_Trace.SplitTime(2, "a", false), 5.0) << "goes on running";
    EXPECT_EQ(Text(), "Trace level is 3\n");
}

TEST_F(LxCTraceTest, HostileTimerNamesAreText)
{
    ASSERT_TRUE(InitBare());
    m_Trace.StartTimer("%s%n%99999d");
    EXPECT_EQ(Text(), "%s%n%99999d timer started\n");
    ASSERT_TRUE(InitBare());
    m_Trace.StartTimer(std::string(5000, 'x'));
    EXPECT_EQ(Text(), "\t" + std::string(c_longestLine - 1, 'x'));
}

// --- Interface

TEST(LxCTrace, VirtualOperationsStandInTheirSlots)
{
    EXPECT_EQ(SlotOf(&LxCTrace::GetTraceFile), 0);
    EXPECT_EQ(SlotOf(&LxCTrace::Invaldidate), 1);
    EXPECT_EQ(SlotOf(&LxCTrace::Message), 2);
    EXPECT_EQ(SlotOf(&LxCTrace::MessageEx), 3);
    EXPECT_EQ(SlotOf(&LxCTrace::Error), 4);
    EXPECT_EQ(SlotOf(&LxCTrace::ErrorEx), 5);
    EXPECT_EQ(SlotOf<void (LxCTrace::*)(const std::string&)>(&LxCTrace::StartTimer), 6);
    EXPECT_EQ(SlotOf<double (LxCTrace::*)(const std::string&)>(&LxCTrace::StopTimer), 7);
    EXPECT_EQ(SlotOf(&LxCTrace::IsInitialized), 8);
}

TEST(LxCTrace, IsOneObjectOfTheProcess)
{
    LxCTrace& trace = BtSingleton<LxCTrace>::Instance();
    EXPECT_EQ(&trace, &BtSingleton<LxCTrace>::Instance());
    EXPECT_FALSE(trace.IsInitialized());
}

} // namespace
} // namespace LxCV
