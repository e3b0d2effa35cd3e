#include "scanner/app/targetcommands.h"

#include "lxccalibrationtargetwriter.h"
#include "orx/logging/logger.h"
#include "tests/scanner/commandrun.h"
#include "tests/support/environment.h"
#include "tests/support/hexfilesfolder.h"
#include "tests/support/temporaryfolder.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

namespace app {
namespace {

using TestSupport::ReadFile;
using TestSupport::WriteFile;
using Writer = LxCV::LxCCalibrationTargetWriter;

const std::string c_sText = "::123456\n0 0 0\t1.5 2 0.25\t\t-3 1e1 4\n::000000\n1 2 3\n";

std::string ArchiveOf(const std::string& text)
{
    std::istringstream in(text);
    std::ostringstream archive;
    EXPECT_TRUE(Writer::compress(in, archive));
    return archive.str();
}

class TargetCommands : public testing::Test
{
protected:
    /// What a command prints; a failing one gives its exit code and message in brackets.
    static std::string Run(std::vector<std::string> arguments)
    {
        arguments.insert(arguments.begin(), "target");
        return RunCommand(arguments);
    }

    const Logging::CCapture m_Quiet;
    TestSupport::CTemporaryFolder m_Folder;
    TestSupport::CEnvironmentVariable m_Store{"LXCV_STORE", m_Folder / "store"};
    const std::string m_text = m_Folder / "targets.txt";
    const std::string m_archive = m_Folder / "targets.dat";
    const std::string m_stored =
        m_Folder /
        "store/user/SOFTWARE/Kelvane Optic Systems/CADCAM/Device/Acquisition/Lumorad/calibrationdata";
};

TEST_F(TargetCommands, PackMakesAnArchiveOfTheText)
{
    WriteFile(m_text, c_sText);
    const std::string archive = ArchiveOf(c_sText);
    EXPECT_EQ(Run({"pack", m_text, m_archive}),
              "Wrote 2 targets to " + m_archive + ", " + std::to_string(archive.size()) + " bytes\n");
    EXPECT_EQ(ReadFile(m_archive), archive);
}

TEST_F(TargetCommands, PackRefusesATextWithFileAndLineAndLeavesTheArchive)
{
    WriteFile(m_text, c_sText + "::123456\n1 2 3\n");
    WriteFile(m_archive, "old");
    EXPECT_EQ(Run({"pack", m_text, m_archive}),
              Failure(m_text + ":5: the target 123456 stands in line 1 already"));
    WriteFile(m_text, "::123456\n1 2 3\t4 5 six\n");
    EXPECT_EQ(Run({"pack", m_text, m_archive}),
              Failure(m_text + ":2: '4 5 six' is no point of two or three numbers"));
    EXPECT_EQ(ReadFile(m_archive), "old");
}

TEST_F(TargetCommands, PackTellsFilesThatCannotBeReadOrWritten)
{
    EXPECT_EQ(Run({"pack", m_text, m_archive}),
              Failure("cannot open '" + m_text + "': No such file or directory"));
    EXPECT_EQ(Run({"pack", m_Folder.GetPath().string(), m_archive}),
              Failure("cannot open '" + m_Folder.GetPath().string() + "': Is a directory"));
    EXPECT_EQ(Run({"pack", "/dev/zero", m_archive}),
              Failure("'/dev/zero' is longer than the 134217728 bytes that an archive holds"));
    WriteFile(m_text, c_sText);
    EXPECT_EQ(Run({"pack", m_text, m_Folder / "none/targets.dat"}),
              Failure("cannot write '" + (m_Folder / "none/targets.dat") + "': No such file or directory"));
    EXPECT_EQ(Run({"pack", m_text, m_Folder / "./targets.txt"}),
              Failure("'" + m_text + "' and '" + (m_Folder / "./targets.txt") + "' are one file"));
    EXPECT_EQ(ReadFile(m_text), c_sText);
}

TEST_F(TargetCommands, UnpackListsTheTargets)
{
    WriteFile(m_archive, ArchiveOf(c_sText));
    EXPECT_EQ(Run({"unpack", m_archive}), "  target  points  extent (mm)\n"
                                          "  123456       3  x -3 to 1.5, y 0 to 10, z 0 to 4\n"
                                          "  000000       1  x 1 to 1, y 2 to 2, z 3 to 3\n"
                                          "2 targets\n");
    WriteFile(m_archive, ArchiveOf("::123456\n1 2\n"));
    EXPECT_TRUE(Run({"unpack", m_archive}).ends_with("\n1 target\n"));
}

TEST_F(TargetCommands, UnpackListsTheTargetsAsJson)
{
    WriteFile(m_archive, ArchiveOf(c_sText));
    const nlohmann::json list = nlohmann::json::parse(Run({"unpack", m_archive, "--json"}));
    EXPECT_EQ(list, nlohmann::json::parse(R"({"archive": ")" + m_archive + R"(", "targets": [
        {"number": "123456", "points": 3, "least_mm": [-3, 0, 0], "greatest_mm": [1.5, 10, 4]},
        {"number": "000000", "points": 1, "least_mm": [1, 2, 3], "greatest_mm": [1, 2, 3]}]})"));
}

TEST_F(TargetCommands, UnpackWritesTheTextAsItStands)
{
    for (const std::string& text : {c_sText, std::string("no target\r\n\0\xFF", 13), std::string()}) {
        WriteFile(m_archive, ArchiveOf(text));
        EXPECT_EQ(Run({"unpack", m_archive, m_text}),
                  "Wrote " + std::to_string(text.size()) + " bytes of text to " + m_text + "\n");
        EXPECT_EQ(ReadFile(m_text), text);
    }
}

TEST_F(TargetCommands, UnpackOfAnArchiveWhoseTextIsWrongTellsTheLine)
{
    WriteFile(m_archive, ArchiveOf("::123456\n1 2 3\nwrong\n"));
    EXPECT_EQ(
        Run({"unpack", m_archive}),
        Failure("'" + m_archive +
                "', line 3 of its text: 'wrong' is not '::' and the first six digits of a target's number"));
}

TEST_F(TargetCommands, UnpackRefusesWhatIsNoArchive)
{
    EXPECT_EQ(Run({"unpack", m_archive}),
              Failure("cannot open '" + m_archive + "': No such file or directory"));
    const std::string damaged =
        Failure("'" + m_archive +
                "' is no archive of targets, or damaged; 'lumorad target pack' makes one of a text");
    const std::string archive = ArchiveOf(c_sText);
    for (const std::string& content :
         {std::string(), std::string("text"), archive.substr(0, archive.size() - 1)}) {
        WriteFile(m_archive, content);
        EXPECT_EQ(Run({"unpack", m_archive}), damaged);
        EXPECT_EQ(Run({"unpack", m_archive, m_text}), damaged);
    }
    EXPECT_FALSE(std::filesystem::exists(m_text));
}

TEST_F(TargetCommands, UnpackDoesNotWriteOverItsArchive)
{
    WriteFile(m_archive, ArchiveOf(c_sText));
    EXPECT_EQ(Run({"unpack", m_archive, m_archive}),
              Failure("'" + m_archive + "' and '" + m_archive + "' are one file"));
    EXPECT_EQ(ReadFile(m_archive), ArchiveOf(c_sText));
}

TEST_F(TargetCommands, InstallPutsATargetOfAnArchiveIntoTheStore)
{
    WriteFile(m_archive, ArchiveOf(c_sText));
    EXPECT_EQ(Run({"install", "1234-5607", "--archive", m_archive}),
              "Target 12345607, a paper target, is installed in " + m_stored + "\n");
    const std::string stored = ReadFile(m_stored);
    EXPECT_NE(stored.find("TargetId=12345607\r\n"), std::string::npos);
    EXPECT_TRUE(stored.ends_with("\r\n0 0 0\r\n1.5 2 0.25\r\n\r\n-3 1e1 4"));
}

TEST_F(TargetCommands, InstallPutsAnImtTargetIntoTheStoreWithoutAnArchive)
{
    EXPECT_EQ(Run({"install", "30000047"}),
              "Target 30000047, an IMT target, is installed in " + m_stored + "\n");
    EXPECT_NE(ReadFile(m_stored).find("LabelType=IMT\r\n"), std::string::npos);
}

TEST_F(TargetCommands, InstallLooksForTheArchiveBesideTheProgram)
{
    const TestSupport::CHexFilesFolder folder;
    const std::string path = Writer::GetArchivePath();
    EXPECT_EQ(Run({"install", "12345607"}),
              Failure("'" + path + "' cannot be opened, is no archive of targets, or is damaged"));
    WriteFile(path, ArchiveOf(c_sText));
    EXPECT_EQ(Run({"install", "12345607"}),
              "Target 12345607, a paper target, is installed in " + m_stored + "\n");
}

TEST_F(TargetCommands, InstallTellsWhyItCannot)
{
    WriteFile(m_archive, ArchiveOf("::000000\n1 2 3\n::123456\n#" + std::string(9000, 'x') + "\n"));
    const auto install = [this](const std::string& number) {
        return Run({"install", number, "--archive", m_archive});
    };
    for (const std::string& number : {std::string("12345608"), std::string("1234560"), std::string("none")}) {
        EXPECT_EQ(install(number),
                  Failure("'" + number +
                          "' is no target's number: it has eight digits, the last two of which "
                          "check the others"));
    }
    EXPECT_EQ(install("99999999"), Failure("there are no data for targets of the kind of 99999999"));
    // 2 + 0 + 0 and 1: 10 - 2 and 10 - 1.
    for (const std::string& number : {std::string("12345607"), std::string("10000089")}) {
        EXPECT_EQ(install(number), Failure("'" + m_archive + "' has no data for target " + number +
                                           ", or more than the store has room for"));
    }
    EXPECT_EQ(Run({"install", "12345607", "--archive", m_text}),
              Failure("cannot open '" + m_text + "': No such file or directory"));
    WriteFile(m_archive, "text");
    EXPECT_EQ(install("12345607"),
              Failure("'" + m_archive + "' cannot be opened, is no archive of targets, or is damaged"));
    EXPECT_FALSE(std::filesystem::exists(m_Folder / "store"));
    m_Store.Set(m_archive);
    EXPECT_EQ(
        install("30000047"),
        Failure("cannot write '" + m_archive +
                "/user/SOFTWARE/Kelvane Optic Systems/CADCAM/Device/Acquisition/Lumorad/calibrationdata'"));
}

TEST_F(TargetCommands, TellWhatTheyDidAsJson)
{
    WriteFile(m_text, c_sText);
    const nlohmann::ordered_json packed =
        nlohmann::ordered_json::parse(Run({"pack", m_text, m_archive, "--json"}));
    EXPECT_EQ(packed, nlohmann::ordered_json({{"text", m_text},
                                              {"archive", m_archive},
                                              {"targets", 2},
                                              {"bytes", std::filesystem::file_size(m_archive)}}));
    const std::string again = m_Folder / "again.txt";
    EXPECT_EQ(nlohmann::ordered_json::parse(Run({"unpack", m_archive, again, "--json"})),
              nlohmann::ordered_json(
                  {{"archive", m_archive}, {"text", again}, {"bytes", std::filesystem::file_size(m_text)}}));
    EXPECT_EQ(ReadFile(again), c_sText);
    EXPECT_EQ(nlohmann::ordered_json::parse(Run({"install", "1234-5607", "--archive", m_archive, "--json"})),
              nlohmann::ordered_json({{"number", "12345607"}, {"type", "paper"}, {"store", m_stored}}));
    EXPECT_EQ(nlohmann::ordered_json::parse(Run({"install", "30000047", "--json"})),
              nlohmann::ordered_json({{"number", "30000047"}, {"type", "imt"}, {"store", m_stored}}));
}

TEST_F(TargetCommands, RefuseArgumentsThatMakeNoSense)
{
    for (const std::vector<std::string>& arguments :
         std::vector<std::vector<std::string>>{{},
                                               {"unknown"},
                                               {"pack"},
                                               {"pack", m_text},
                                               {"unpack"},
                                               {"install"},
                                               {"install", "1", "2"},
                                               {"pack", m_text, m_archive, "more"}}) {
        EXPECT_TRUE(Run(arguments).starts_with("[2 ")) << ::testing::PrintToString(arguments);
    }
    EXPECT_FALSE(std::filesystem::exists(m_archive));
}

} // namespace
} // namespace app
