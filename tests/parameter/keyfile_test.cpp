#include "orx/parameter/keyfile.h"

#include "orx/logging/logger.h"
#include "orx/platform/unicode.h"
#include "tests/support/environment.h"
#include "tests/support/temporaryfolder.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <thread>
#include <vector>

namespace parameter {
namespace {

using Logging::ELevel;
using TestSupport::CEnvironmentVariable;
using TestSupport::CTemporaryFolder;
using TestSupport::ReadFile;
using TestSupport::WriteFile;

const std::wstring kChannel = L"ORX.Lumorad.KeyFile";

std::wstring Line(const std::string& path, const std::wstring& rest)
{
    return L"The key file '" + platform::WidenUtf8(path) + L"'" + rest;
}

std::string BytesOf(const std::optional<KeyBytes>& key)
{
    return key ? std::string(key->begin(), key->end()) : "no key";
}

void ExpectRefusedAndKept(const std::string& path, const std::wstring& rest)
{
    const Logging::CCapture capture;
    EXPECT_EQ(LoadOrCreateKey(path), std::nullopt);
    EXPECT_EQ(capture.Count(ELevel::eError, kChannel, Line(path, rest)), 1) << path;
}

TEST(KeyFile, IsMadeOnceForItsOwnerAlone)
{
    const CTemporaryFolder folder;
    const std::string path = folder / "new/folders/key";
    const Logging::CCapture capture;
    const auto key = LoadOrCreateKey(path);
    ASSERT_TRUE(key);
    EXPECT_EQ(capture.Count(ELevel::eInfo, kChannel, Line(path, L" was made.\n")), 1);
    EXPECT_EQ(ReadFile(path), BytesOf(key));
    struct stat status = {};
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600U);
    EXPECT_EQ(LoadOrCreateKey(path), key);
    EXPECT_EQ(capture.GetRecords().size(), 1U);
    const auto files = std::filesystem::directory_iterator(folder / "new/folders");
    EXPECT_EQ(std::distance(begin(files), end(files)), 1); // no temporary file is left
}

TEST(KeyFile, HoldsAnotherKeyEachTimeItIsMade)
{
    const CTemporaryFolder folder;
    EXPECT_NE(BytesOf(LoadOrCreateKey(folder / "a")), BytesOf(LoadOrCreateKey(folder / "b")));
}

TEST(KeyFile, GivesTheBytesOfAFileThatIsThere)
{
    const CTemporaryFolder folder;
    const std::string bytes("0123456789abcdef\0\n\r\xFFklmnopqrstuv", 32);
    WriteFile(folder / "key", bytes);
    std::filesystem::permissions(folder / "key", std::filesystem::perms::owner_read);
    EXPECT_EQ(BytesOf(LoadOrCreateKey(folder / "key")), bytes);
}

TEST(KeyFile, OfAnotherSizeIsRefusedAndKept)
{
    const CTemporaryFolder folder;
    for (const std::size_t size : {0, 1, 31, 33, 64}) {
        const std::string path = folder / std::to_string(size);
        WriteFile(path, std::string(size, 'k'));
        ExpectRefusedAndKept(path, L" does not hold exactly 32 bytes.\n");
        EXPECT_EQ(ReadFile(path), std::string(size, 'k'));
    }
}

TEST(KeyFile, ThatIsNoRegularFileIsRefusedWithoutWaiting)
{
    const CTemporaryFolder folder;
    std::filesystem::create_directory(folder / "folder");
    ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
    ExpectRefusedAndKept(folder / "folder", L" does not hold exactly 32 bytes.\n");
    ExpectRefusedAndKept(folder / "pipe", L" does not hold exactly 32 bytes.\n");
    EXPECT_TRUE(std::filesystem::is_fifo(folder / "pipe"));
}

TEST(KeyFile, ThatCannotBeMadeIsAnError)
{
    const CTemporaryFolder folder;
    WriteFile(folder / "file", "");
    ExpectRefusedAndKept(folder / "file/key", L" cannot be opened: Not a directory.\n");
    std::filesystem::create_symlink(folder / "absent", folder / "link");
    ExpectRefusedAndKept(folder / "link", L" cannot be opened: No such file or directory.\n");
}

TEST(KeyFile, OpenToEveryUserGivesItsKeyWithAWarning)
{
    const CTemporaryFolder folder;
    const std::string path = folder / "key";
    WriteFile(path, std::string(32, 'k'));
    std::filesystem::permissions(path, std::filesystem::perms(0644));
    const Logging::CCapture capture;
    EXPECT_EQ(BytesOf(LoadOrCreateKey(path)), std::string(32, 'k'));
    EXPECT_EQ(capture.Count(ELevel::eWarning, kChannel, Line(path, L" is open to every user.\n")), 1);
}

TEST(KeyFile, MadeByManyAtOnceHasOneKey)
{
    const CTemporaryFolder folder;
    const Logging::CCapture capture;
    for (int trial = 0; trial < 20; ++trial) {
        const std::string path = folder / std::to_string(trial);
        std::vector<std::optional<KeyBytes>> keys(8);
        std::vector<std::thread> threads;
        for (auto& key : keys) {
            threads.emplace_back([&key, &path] { key = LoadOrCreateKey(path); });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        for (const auto& key : keys) {
            EXPECT_EQ(BytesOf(key), ReadFile(path));
        }
        EXPECT_EQ(capture.Count(ELevel::eInfo, kChannel, Line(path, L" was made.\n")), 1);
    }
}

TEST(KeyFile, IsNamedByTheEnvironmentElseLiesInTheProgramData)
{
    const CEnvironmentVariable data("PROGRAMDATA", "/program\\data");
    CEnvironmentVariable file("LXCV_KEY_FILE", "/a\\b.key");
    EXPECT_EQ(GetKeyFilePath().string(), "/a/b.key");
    file.Set(std::nullopt);
    EXPECT_EQ(GetKeyFilePath().string(), "/program/data/Lumorad/device.key");
}

} // namespace
} // namespace parameter
