// What each command says to files and folders that it cannot use.
#include "orx/logging/logger.h"
#include "tests/scanner/commandrun.h"
#include "tests/support/environment.h"
#include "tests/support/temporaryfolder.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <string>
#include <vector>

namespace app {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;
using TestSupport::ReadFile;
using TestSupport::WriteFile;

using Words = std::vector<std::string>;

/// That the command fails with a message that holds the part, and prints nothing else.
void ExpectMessage(const Words& arguments, const std::string& part)
{
    const std::string printed = RunCommand(arguments);
    EXPECT_THAT(printed, StartsWith("[1 lumorad: ")) << ::testing::PrintToString(arguments);
    EXPECT_THAT(printed, HasSubstr(part)) << ::testing::PrintToString(arguments);
}

class WrongInput : public ::testing::Test
{
protected:
    WrongInput()
    {
        RunCommand({"render", "--scene", "plane", "--noise", "0", "--out", m_good});
        std::filesystem::create_directory(m_Folder / "folder");
        WriteFile(m_Folder / "empty", "");
        WriteFile(m_Folder / "text", "no such thing\n");
        WriteFile(m_Folder / "short.png", ReadFile(m_reference).substr(0, 3000));
    }

    /// The command lines that read a file, with the one that is asked for.
    std::vector<Words> Readers(const std::string& file) const
    {
        return {{"target", "locate", file},
                {"target", "locate", m_reference, "--target", file},
                {"target", "slide-locate", file, m_reference, "--model", m_model},
                {"target", "slide-locate", m_reference, file, "--model", m_model},
                {"target", "slide-locate", m_reference, m_reference, "--model", file},
                {"target", "unpack", file},
                {"target", "pack", file, m_out},
                {"target", "install", "12345607", "--archive", file},
                {"mtf", file},
                {"model", "show", file},
                {"model", "check", file},
                {"model", "convert", file, "-o", m_out},
                {"render", "--mesh", file, "--out", m_out},
                {"demo", "--mesh", file, "--out", m_out}};
    }

    /// The command lines that write to the path.
    std::vector<Words> Writers(const std::string& path) const
    {
        return {{"target", "pack", m_targets, path},
                {"model", "convert", m_model, "-o", path},
                {"target", "locate", m_reference, "--out", path},
                {"target", "locate", m_reference, "--edges", path},
                {"mtf", m_reference, "--out", path}};
    }

    const Logging::CCapture m_Quiet;
    TestSupport::CTemporaryFolder m_Folder;
    TestSupport::CEnvironmentVariable m_Store{"LXCV_STORE", m_Folder / "store"};
    const std::string m_good = m_Folder / "good";
    const std::string m_reference = m_good + "/reference.png";
    const std::string m_model = m_good + "/model.txt";
    const std::string m_targets = m_Folder / "targets.txt";
    const std::string m_out = m_Folder / "out";
};

TEST_F(WrongInput, IsNamedByEveryCommandThatReads)
{
    for (const char* name : {"missing", "folder", "empty", "text", "short.png"}) {
        const std::string file = m_Folder / name;
        for (const Words& arguments : Readers(file)) {
            ExpectMessage(arguments, file);
        }
    }
    EXPECT_FALSE(std::filesystem::exists(m_Folder / "store"));
}

TEST_F(WrongInput, IsToldWithItsReason)
{
    for (const Words& arguments : Readers(m_Folder / "folder")) {
        if (arguments[1] != "--mesh") { // which is refused by its name before
            ExpectMessage(arguments, "cannot open '" + (m_Folder / "folder") + "': Is a directory");
        }
    }
    const std::string file = m_Folder / "empty";
    ExpectMessage({"target", "locate", file}, "'" + file + "' is empty, and no image");
    ExpectMessage({"mtf", file}, "'" + file + "' is empty, and no image");
    ExpectMessage({"model", "show", file}, "'" + file + "' is empty");
    const std::string cut = m_Folder / "short.png";
    ExpectMessage({"mtf", cut}, "'" + cut + "' is a damaged image: write or copy it anew");
}

TEST_F(WrongInput, IsAFolderThatIsNotThereForEveryCommandThatWrites)
{
    WriteFile(m_targets, "::123456\n0 0 0\n");
    for (const Words& arguments : Writers(m_Folder / "none/file.png")) {
        ExpectMessage(arguments,
                      "cannot write '" + (m_Folder / "none/file.png") + "': No such file or directory");
    }
    for (const Words& arguments : Writers(m_Folder / "folder")) {
        ExpectMessage(arguments, "cannot write '" + (m_Folder / "folder") + "': Is a directory");
    }
}

TEST(WrongFolder, IsTold)
{
    const TestSupport::CTemporaryFolder folder;
    const std::string taken = folder / "text";
    WriteFile(taken, "");
    for (const Words& arguments : std::vector<Words>{{"demo", "--out", taken},
                                                     {"render", "--out", taken},
                                                     {"render", "--target", "mtf", "--out", taken},
                                                     {"accuracy", "--quick", "--out", taken},
                                                     {"calibrate-check", "--views", "1", "--out", taken},
                                                     {"colour", "make", "--folder", taken}}) {
        ExpectMessage(arguments, "cannot create the folder '" + taken);
    }
}

TEST(WrongArguments, NameTheCommandThatIsNotThere)
{
    EXPECT_EQ(RunCommand({"mesure"}),
              "[2 There is no command 'mesure'\nRun with --help for the commands that there are.\n]");
    EXPECT_THAT(RunCommand({"target", "find", "--json"}), StartsWith("[2 There is no command 'find'\n"));
    EXPECT_THAT(RunCommand({}), StartsWith("[2 A subcommand is required\n"));
    EXPECT_THAT(RunCommand({"target"}), StartsWith("[2 A subcommand is required\n"));
    EXPECT_THAT(RunCommand({"--nonsense"}), StartsWith("[2 A subcommand is required\n"));
    EXPECT_THAT(RunCommand({"demo", "--nonsense"}), HasSubstr("not expected: --nonsense"));
    EXPECT_THAT(RunCommand({"demo", "--scene", "moon"}), HasSubstr("--scene: moon not in {plane,"));
}

} // namespace
} // namespace app
