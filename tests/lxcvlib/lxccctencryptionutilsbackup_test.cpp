#include "lxccctencryptionutils.h"

#include "pathutils.h"
#include "tests/lxcvlib/storegrabber.h"
#include "tests/lxcvlib/storetestsupport.h"
#include "tests/support/container.h"
#include "tests/support/watchdog.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace LxCV {
namespace {

using Logging::ELevel;
using TestSupport::CStoreGrabber;
using ::TestSupport::PlainContainer;
using ::TestSupport::ReadFile;
using ::TestSupport::WriteFile;

namespace fs = std::filesystem;

constexpr const wchar_t* c_sRead = L"Read camera ini file from encrypted backup copy";
const std::string c_sText = "::A\nk=1\n";

class IniBackupTest : public TestSupport::StoreTest
{
protected:
    bool Write(const std::string& content)
    {
        std::stringstream text(content);
        return LxCCCTEncryptionUtils::WriteIniFileToCryptedFile(text, &m_Grabber);
    }

    std::pair<bool, std::string> Read()
    {
        std::stringstream text;
        const bool done = LxCCCTEncryptionUtils::ReadIniFileFromCryptedFile(text, &m_Grabber);
        return {done, text.str()};
    }

    CStoreGrabber m_Grabber;
};

TEST_F(IniBackupTest, NamesArePathTextsWithTheSerialNumber)
{
    std::string programCopy = "before";
    std::string dataCopy = "before";
    LxCCCTEncryptionUtils::GetIniBackupFilenames(programCopy, dataCopy, &m_Grabber);
    EXPECT_EQ(programCopy, GetAppPathA() + "\\123.dat");
    EXPECT_EQ(dataCopy, m_Folder.GetPath().string() + "\\Lumorad\\123.dat");
    EXPECT_TRUE(fs::is_directory(m_Folder / "Lumorad")) << "made for the file";
    EXPECT_TRUE(fs::is_empty(m_Folder / "Lumorad"));
    LxCCCTEncryptionUtils::GetIniBackupFilenames(programCopy, dataCopy, nullptr);
    EXPECT_EQ(programCopy, "");
    EXPECT_EQ(dataCopy, "");
}

TEST_F(IniBackupTest, FolderThatCannotBeMadeIsNoMatterForTheNames)
{
    WriteFile(m_Folder / "plain", "content");
    m_ProgramData.Set(m_Folder / "plain");
    std::string programCopy;
    std::string dataCopy;
    LxCCCTEncryptionUtils::GetIniBackupFilenames(programCopy, dataCopy, &m_Grabber);
    EXPECT_EQ(dataCopy, (m_Folder / "plain") + "\\Lumorad\\123.dat");
    m_Capture.Clear();
    EXPECT_FALSE(Write(c_sText));
    ASSERT_EQ(m_Capture.GetRecords().size(), 1U) << "nothing is packed for a file that did not open";
    EXPECT_EQ(CountUtils(ELevel::eError, L"The encrypted copy '" +
                                             std::wstring(dataCopy.begin(), dataCopy.end()) +
                                             L"' cannot be opened for writing.\n"),
              1);
    EXPECT_EQ(Read(), std::pair(false, std::string()));
}

TEST_F(IniBackupTest, CopyIsReadAsItWasWritten)
{
    ASSERT_TRUE(Write(c_sText));
    EXPECT_EQ(CountDiagnostics(ELevel::eInfo, L"Write ini-file to device was successful"), 1);
    m_Capture.Clear();
    EXPECT_EQ(Read(), std::pair(true, c_sText + '\0'));
    EXPECT_EQ(m_Capture.GetRecords().size(), 2U);
    EXPECT_EQ(CountUtils(ELevel::eInfo, c_sRead), 1);
    EXPECT_EQ(CountUtils(ELevel::eInfo, L"decrypt ini file: 8 Byte read.\n"), 1);
    ASSERT_TRUE(Write("::B\n"));
    EXPECT_EQ(Read().second, std::string("::B\n") + '\0') << "replaced";
}

TEST_F(IniBackupTest, CopyOfEitherVersionIsRead)
{
    fs::create_directory(m_Folder / "Lumorad");
    WriteFile(CopyOf("123"), PlainContainer(c_sText));
    EXPECT_EQ(Read(), std::pair(true, c_sText + '\0'));
    WriteFile(CopyOf("123"), "\x03");
    EXPECT_EQ(Read(), std::pair(false, std::string()));
    EXPECT_EQ(CountUtils(ELevel::eError, L"Read ini-file failed"), 1);
}

/// A copy beside the program of the tests, of a serial number that no other process uses.
class ProgramCopyTest : public IniBackupTest
{
protected:
    ProgramCopyTest() { m_Grabber.m_sSerialNumber = "test" + std::to_string(getpid()); }
    ~ProgramCopyTest() override { fs::remove(m_sProgramCopy); }

    const std::string m_sProgramCopy = GetAppPathA() + "/test" + std::to_string(getpid()) + ".dat";
};

TEST_F(ProgramCopyTest, IsReadWhereThereIsNoOtherCopyAndNeverWritten)
{
    const std::string container = PlainContainer("::Program\n");
    WriteFile(m_sProgramCopy, container);
    EXPECT_EQ(Read(), std::pair(true, std::string("::Program\n") + '\0'));
    EXPECT_EQ(CountUtils(ELevel::eInfo, c_sRead), 1);
    ASSERT_TRUE(Write(c_sText));
    EXPECT_EQ(ReadFile(m_sProgramCopy), container);
    EXPECT_EQ(Read().second, c_sText + '\0');
}

TEST_F(ProgramCopyTest, DoesNotStandInForADamagedCopy)
{
    WriteFile(m_sProgramCopy, PlainContainer("::Program\n"));
    fs::create_directory(m_Folder / "Lumorad");
    for (const char* const bytes : {"", "\x02 damaged"}) {
        WriteFile(CopyOf(m_Grabber.m_sSerialNumber), bytes);
        EXPECT_EQ(Read(), std::pair(false, std::string()));
    }
}

TEST_F(ProgramCopyTest, StandsInForWhatIsNoFile)
{
    const ::TestSupport::CWatchdog watchdog;
    WriteFile(m_sProgramCopy, PlainContainer("::Program\n"));
    fs::create_directories(CopyOf(m_Grabber.m_sSerialNumber)); // a folder
    EXPECT_TRUE(Read().first);
    fs::remove(CopyOf(m_Grabber.m_sSerialNumber));
    ASSERT_EQ(mkfifo(CopyOf(m_Grabber.m_sSerialNumber).c_str(), S_IRUSR | S_IWUSR), 0);
    EXPECT_TRUE(Read().first);
    EXPECT_FALSE(Write(c_sText)) << "waits for no reader of the pipe";
}

TEST_F(IniBackupTest, WithoutAnyCopyReadingFails)
{
    EXPECT_EQ(Read(), std::pair(false, std::string()));
    EXPECT_EQ(CountUtils(ELevel::eInfo, c_sRead), 1);
}

TEST_F(IniBackupTest, FullDiskFailsAndLeavesNoCopyThatCouldBeRead)
{
    FillTheDisk(CopyOf("123"));
    EXPECT_FALSE(Write(c_sText));
    EXPECT_EQ(CountDiagnostics(ELevel::eError, L"Write ini-file to device failed"), 1);
    EXPECT_FALSE(Read().first);
}

TEST_F(IniBackupTest, WithoutAGrabberNothingIsReadOrWritten)
{
    std::stringstream text(c_sText);
    EXPECT_FALSE(LxCCCTEncryptionUtils::WriteIniFileToCryptedFile(text, nullptr));
    EXPECT_FALSE(LxCCCTEncryptionUtils::ReadIniFileFromCryptedFile(text, nullptr));
    EXPECT_TRUE(fs::is_empty(m_Folder.GetPath()));
}

TEST_F(IniBackupTest, SerialNumberNeverLeadsOutOfTheFolder)
{
    for (const std::string& serialNumber :
         {std::string("../out"), std::string("..\\out"), std::string("a/b"), std::string("a\0b", 3)}) {
        m_Grabber.m_sSerialNumber = serialNumber;
        m_Capture.Clear();
        EXPECT_FALSE(Write(c_sText));
        EXPECT_FALSE(Read().first);
        EXPECT_EQ(m_Capture.GetRecords().size(), 2U);
    }
    EXPECT_FALSE(fs::exists(m_Folder / "out.dat"));
    m_Grabber.m_sSerialNumber = "a/b";
    m_Capture.Clear();
    EXPECT_FALSE(Write(c_sText));
    EXPECT_EQ(CountUtils(ELevel::eError, L"The serial number 'a/b' of the camera is no file name.\n"), 1);
}

TEST_F(IniBackupTest, AnyOtherSerialNumberNamesAFile)
{
    for (const char* const serialNumber : {"", "Unknown", "..", "a b\xff%s", "\xc3\xbc"}) {
        m_Grabber.m_sSerialNumber = serialNumber;
        EXPECT_TRUE(Write(c_sText)) << serialNumber;
        EXPECT_TRUE(fs::exists(CopyOf(serialNumber)));
        EXPECT_TRUE(Read().first);
    }
    m_Grabber.m_sSerialNumber = std::string(1000, 'x'); // longer than a file name may be
    EXPECT_FALSE(Write(c_sText));
    EXPECT_FALSE(Read().first);
}

} // namespace
} // namespace LxCV
