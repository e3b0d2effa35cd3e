#include "scanner/app/hostsettings.h"

#include "tests/scanner/commandrun.h"
#include "tests/support/environment.h"
#include "tests/support/temporaryfolder.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <stdexcept>
#include <string>

namespace app {
namespace {

class HostSettings : public testing::Test
{
protected:
    /// What is wrong with the settings; empty for nothing.
    static std::string Complaint()
    {
        try {
            RequireHostSettings();
            return {};
        } catch (const std::runtime_error& error) {
            return error.what();
        }
    }

    TestSupport::CTemporaryFolder m_folder;
    const std::string m_file = m_folder / "settings.lua";
    TestSupport::CEnvironmentVariable m_variable{"LXCV_SETTINGS", m_file};
    const std::string m_remedy = "; correct the file, or unset LXCV_SETTINGS, which names it";
};

TEST_F(HostSettings, AreFineWhereThereAreNoneOrTheyAreRead)
{
    TestSupport::WriteFile(m_file, "LxCVLib = { MinNumSymbols = 1 }\n");
    EXPECT_EQ(Complaint(), "");
    m_variable.Set("");
    EXPECT_EQ(Complaint(), "");
    m_variable.Set(std::nullopt);
    EXPECT_EQ(Complaint(), "");
}

TEST_F(HostSettings, OfAFileThatCannotBeReadAreTold)
{
    EXPECT_EQ(Complaint(),
              "the settings: cannot open '" + m_file + "': No such file or directory" + m_remedy);
    m_variable.Set(m_folder.GetPath().string());
    EXPECT_EQ(Complaint(),
              "the settings: cannot open '" + m_folder.GetPath().string() + "': Is a directory" + m_remedy);
    m_variable.Set(m_file);
    ASSERT_EQ(mkfifo(m_file.c_str(), 0600), 0);
    EXPECT_EQ(Complaint(), "the settings: '" + m_file + "' is no regular file" + m_remedy);
}

TEST_F(HostSettings, ThatAreRefusedAreToldWithTheReason)
{
    TestSupport::WriteFile(m_file, "LxCVLib = {\n");
    const std::string complaint = Complaint();
    EXPECT_TRUE(complaint.starts_with("the settings '" + m_file + "' are refused: ")) << complaint;
    EXPECT_TRUE(complaint.ends_with(m_remedy)) << complaint;
    EXPECT_NE(complaint.find(":2: "), std::string::npos) << "the line: " << complaint;
}

TEST_F(HostSettings, ThatAreNotReadLetNothingBeMeasured)
{
    const std::string none = m_folder / "none";
    EXPECT_NE(RunCommand({"manual"}).front(), '[');
    TestSupport::WriteFile(m_folder / "points.xyz", "1 2 3\n");
    EXPECT_NE(RunCommand({"info", m_folder / "points.xyz"}).front(), '[');
    EXPECT_EQ(RunCommand({"scan", none, none, "--model", none}),
              Failure("the settings: cannot open '" + m_file + "': No such file or directory" + m_remedy));
}

} // namespace
} // namespace app
