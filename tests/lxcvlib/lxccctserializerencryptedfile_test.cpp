#include "lxccctserializerencryptedfile.h"

#include "lxccctserializerstring.h"
#include "tests/lxcvlib/storegrabber.h"
#include "tests/lxcvlib/storetestsupport.h"
#include "tests/support/container.h"
#include "tests/support/watchdog.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <random>
#include <string>
#include <sys/stat.h>
#include <utility>

namespace LxCV {
namespace {

using Logging::ELevel;
using TestSupport::CStoreGrabber;
using ::TestSupport::PlainContainer;
using ::TestSupport::ReadFile;
using TestSupport::ReadValue;
using ::TestSupport::WithChangedBit;
using ::TestSupport::WriteFile;
using TestSupport::WriteValue;

namespace fs = std::filesystem;

LxAFrameGrabber* const c_pNoGrabber = nullptr;

class LxCCCTSerializerEncryptedFileTest : public TestSupport::StoreTest
{
protected:
    template <typename Target>
    bool Store(const Target& target, int value)
    {
        LxCCCTSerializerEncryptedFile serializer;
        EXPECT_TRUE(serializer.Init(target, true));
        WriteValue(serializer, value);
        return serializer.Exit();
    }

    /// The value in a copy or a file; -2 where it cannot be loaded.
    template <typename Target>
    int Load(const Target& target)
    {
        LxCCCTSerializerEncryptedFile serializer;
        return serializer.Init(target, false) ? ReadValue(serializer) : -2;
    }

    CStoreGrabber m_Grabber;
    const std::string m_sFile = m_Folder / "store";
};

TEST_F(LxCCCTSerializerEncryptedFileTest, LoadsWhatItStoredByName)
{
    std::mt19937 random(25);
    for (int trial = 0; trial < 50; ++trial) {
        const int value = static_cast<int>(random());
        ASSERT_TRUE(Store(m_sFile, value));
        ASSERT_EQ(Load(m_sFile), value);
    }
    EXPECT_FALSE(fs::exists(m_Folder / "Lumorad"));
}

TEST_F(LxCCCTSerializerEncryptedFileTest, LoadsWhatItStoredForAGrabber)
{
    ASSERT_TRUE(Store(&m_Grabber, 9));
    EXPECT_TRUE(fs::exists(CopyOf("123")));
    EXPECT_EQ(Load(&m_Grabber), 9);
    EXPECT_EQ(Load(CopyOf("123")), 9);
    EXPECT_EQ(m_Grabber.m_sOperations, "") << "the device is not touched";
    m_Grabber.m_sSerialNumber = "124";
    EXPECT_EQ(Load(&m_Grabber), -2);
}

TEST_F(LxCCCTSerializerEncryptedFileTest, FileIsAContainerWithoutComments)
{
    ASSERT_TRUE(Store(m_sFile, 7));
    const std::string bytes = ReadFile(m_sFile);
    EXPECT_EQ(bytes.at(0), 2);
    EXPECT_EQ(bytes.find("Store"), std::string::npos);
    std::vector<char> buffer(bytes.begin(), bytes.end());
    LxCCCTSerializerString loading;
    ASSERT_TRUE(loading.Init(buffer, false));
    LxCCCTSerializerString expected;
    std::stringstream text("::Store\nValue=7\n");
    expected.ReadFromStringStream(text);
    EXPECT_TRUE(loading.HasSameData(expected));
}

TEST_F(LxCCCTSerializerEncryptedFileTest, PathsTakeEitherSeparatorAndNarrowLiterals)
{
    fs::create_directory(m_Folder / "folder");
    EXPECT_TRUE(Store(m_Folder.GetPath().string() + "\\folder\\store", 3));
    EXPECT_EQ(Load((m_Folder / "folder/store").c_str()), 3);
}

TEST_F(LxCCCTSerializerEncryptedFileTest, FileIsNotTouchedBeforeExit)
{
    ASSERT_TRUE(Store(m_sFile, 1));
    const std::string before = ReadFile(m_sFile);
    LxCCCTSerializerEncryptedFile serializer;
    ASSERT_TRUE(serializer.Init(m_sFile, true));
    WriteValue(serializer, 2);
    EXPECT_EQ(ReadFile(m_sFile), before);
    EXPECT_TRUE(serializer.Exit());
    EXPECT_EQ(Load(m_sFile), 2);
}

TEST_F(LxCCCTSerializerEncryptedFileTest, ExitNeedsAGrabberOrANameWhenStoring)
{
    LxCCCTSerializerEncryptedFile serializer;
    EXPECT_TRUE(serializer.Exit()) << "not storing before Init";
    EXPECT_TRUE(serializer.Init(c_pNoGrabber, true));
    EXPECT_FALSE(serializer.Exit());
    EXPECT_TRUE(serializer.Init("", true));
    EXPECT_FALSE(serializer.Exit());
    EXPECT_TRUE(serializer.Init(m_sFile, true));
    EXPECT_TRUE(serializer.Init(c_pNoGrabber, true)) << "forgets the name";
    EXPECT_FALSE(serializer.Exit());
    EXPECT_FALSE(fs::exists(m_sFile));
    EXPECT_FALSE(serializer.Init(c_pNoGrabber, false));
    EXPECT_FALSE(serializer.Init("", false));
    EXPECT_TRUE(serializer.Exit()) << "not storing any more";
}

TEST_F(LxCCCTSerializerEncryptedFileTest, NameTakesThePlaceOfTheGrabber)
{
    LxCCCTSerializerEncryptedFile serializer;
    ASSERT_TRUE(serializer.Init(&m_Grabber, true));
    ASSERT_TRUE(serializer.Init(m_sFile, true));
    WriteValue(serializer, 4);
    EXPECT_TRUE(serializer.Exit());
    EXPECT_EQ(Load(m_sFile), 4);
    EXPECT_FALSE(fs::exists(CopyOf("123")));
}

TEST_F(LxCCCTSerializerEncryptedFileTest, LoadingThatFailsNeverStores)
{
    LxCCCTSerializerEncryptedFile serializer;
    ASSERT_TRUE(serializer.Init(m_sFile, true));
    WriteValue(serializer, 4);
    EXPECT_FALSE(serializer.Init(m_Folder / "missing", false));
    EXPECT_TRUE(serializer.Exit());
    EXPECT_FALSE(fs::exists(m_sFile));
    EXPECT_FALSE(fs::exists(m_Folder / "missing"));
}

TEST_F(LxCCCTSerializerEncryptedFileTest, EachLoadingIsLogged)
{
    EXPECT_EQ(Load(m_sFile), -2);
    EXPECT_EQ(CountUtils(ELevel::eInfo, L"Read camera ini file from encrypted backup copy"), 1);
    EXPECT_EQ(m_Capture.GetRecords().size(), 2U) << "that and the line that names the file";
}

TEST_F(LxCCCTSerializerEncryptedFileTest, FileOfVersionOneLoadsWithoutAKey)
{
    m_KeyFile.Set("/dev/null/key");
    WriteFile(m_sFile, PlainContainer("::Store\nValue=42\n"));
    EXPECT_EQ(Load(m_sFile), 42);
}

TEST_F(LxCCCTSerializerEncryptedFileTest, FileCutOrChangedIsRefused)
{
    ASSERT_TRUE(Store(m_sFile, 42));
    const std::string whole = ReadFile(m_sFile);
    for (std::size_t i = 0; i < whole.size(); ++i) {
        WriteFile(m_sFile, whole.substr(0, i));
        EXPECT_EQ(Load(m_sFile), -2) << i;
        WriteFile(m_sFile, WithChangedBit(whole, 8 * i + i % 8));
        EXPECT_EQ(Load(m_sFile), -2) << i;
    }
    m_Capture.Clear();
    WriteFile(m_sFile, "\x03" + whole.substr(1));
    EXPECT_EQ(Load(m_sFile), -2);
    EXPECT_EQ(CountUtils(ELevel::eError,
                         L"LxCMatrixFrameGrabber::decryptAndDecompress: invalid version number 3.\n"),
              1);
}

TEST_F(LxCCCTSerializerEncryptedFileTest, TextThatIsTooBigLeavesAnEmptyFileWithoutAFailure)
{
    std::mt19937 random(26);
    std::string noise(100'000, '\0');
    for (char& character : noise) {
        character = static_cast<char>('!' + random() % 90);
    }
    LxCCCTSerializerEncryptedFile serializer;
    ASSERT_TRUE(serializer.Init(m_sFile, true));
    serializer.Write("Noise", noise, "", c_iFormatDecimal);
    EXPECT_TRUE(serializer.Exit());
    EXPECT_EQ(fs::file_size(m_sFile), 0U);
    EXPECT_EQ(Load(m_sFile), -2);
}

TEST_F(LxCCCTSerializerEncryptedFileTest, FullDiskFailsExit)
{
    FillTheDisk(m_sFile);
    EXPECT_FALSE(Store(m_sFile, 1));
    EXPECT_EQ(CountDiagnostics(ELevel::eError, L"Write ini-file to device failed"), 1);
    FillTheDisk(CopyOf("123"));
    EXPECT_FALSE(Store(&m_Grabber, 1));
    EXPECT_EQ(CountDiagnostics(ELevel::eError, L"Write ini-file to device failed"), 2);
}

TEST_F(LxCCCTSerializerEncryptedFileTest, PlaceThatTakesNoFileFailsExit)
{
    WriteFile(m_Folder / "plain", "content");
    const std::string below = m_Folder / "plain/store";
    EXPECT_FALSE(Store(below, 1));
    EXPECT_EQ(CountDiagnostics(ELevel::eError, L"Could not open streamDev with write access on device.\n"),
              1);
    EXPECT_EQ(CountDiagnostics(ELevel::eError, L"Write ini-file to device failed"), 1);
    EXPECT_FALSE(Store(m_Folder.GetPath().string(), 1)) << "a folder";
    EXPECT_EQ(Load(m_Folder.GetPath().string()), -2);
    EXPECT_EQ(Load(below), -2);
    EXPECT_EQ(ReadFile(m_Folder / "plain"), "content");
}

// A pipe would keep who opens it waiting for the other end; devices never end.
TEST_F(LxCCCTSerializerEncryptedFileTest, PipesAndDevicesAreNoFiles)
{
    const ::TestSupport::CWatchdog watchdog;
    ASSERT_EQ(mkfifo(m_sFile.c_str(), S_IRUSR | S_IWUSR), 0);
    EXPECT_EQ(Load(m_sFile), -2);
    EXPECT_FALSE(Store(m_sFile, 1));
    EXPECT_EQ(Load("/dev/zero"), -2);
}

TEST_F(LxCCCTSerializerEncryptedFileTest, MovesWithItsFile)
{
    LxCCCTSerializerEncryptedFile first;
    ASSERT_TRUE(first.Init(m_sFile, true));
    WriteValue(first, 6);
    LxCCCTSerializerEncryptedFile second(std::move(first));
    LxCCCTSerializerEncryptedFile third;
    third = std::move(second);
    EXPECT_TRUE(third.Exit());
    EXPECT_EQ(Load(m_sFile), 6);
}

} // namespace
} // namespace LxCV
