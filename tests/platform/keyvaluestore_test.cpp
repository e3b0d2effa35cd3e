#include "orx/platform/keyvaluestore.h"

#include "tests/support/environment.h"
#include "tests/support/temporaryfolder.h"

#include <gtest/gtest.h>

#include <string>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace platform {
namespace {

using TestSupport::CEnvironmentVariable;
using TestSupport::CTemporaryFolder;

constexpr EStoreRoot c_user = EStoreRoot::eCurrentUser;
constexpr EStoreRoot c_machine = EStoreRoot::eLocalMachine;
constexpr std::size_t c_uiLargest = 64;

std::span<const std::byte> BytesOf(const std::string& text)
{
    return std::as_bytes(std::span(text));
}

class KeyValueStore : public testing::Test
{
protected:
    /// The value as text, or the message of the error in brackets.
    static std::string Read(EStoreRoot root, const std::string& key, const std::string& name,
                            std::size_t largest = c_uiLargest)
    {
        std::vector<std::byte> value{std::byte{1}};
        const std::error_code error = ReadStoreValue(root, key, name, largest, value);
        if (error) {
            EXPECT_TRUE(value.empty());
            return "[" + error.message() + "]";
        }
        return {reinterpret_cast<const char*>(value.data()), value.size()};
    }

    static std::string Message(std::errc error) { return "[" + std::make_error_code(error).message() + "]"; }

    CTemporaryFolder m_Folder;
    CEnvironmentVariable m_Store{"LXCV_STORE", m_Folder / "store"};
};

TEST_F(KeyValueStore, GivesBackTheBytesOfAValue)
{
    const std::string value("a\0\xFF\r\n", 5);
    EXPECT_EQ(WriteStoreValue(c_user, "SOFTWARE\\Maker\\Device", "data", BytesOf(value)), std::error_code());
    EXPECT_EQ(Read(c_user, "SOFTWARE\\Maker\\Device", "data"), value);
    EXPECT_EQ(TestSupport::ReadFile(m_Folder / "store/user/SOFTWARE/Maker/Device/data"), value);
}

TEST_F(KeyValueStore, TakesAnEmptyValue)
{
    EXPECT_EQ(WriteStoreValue(c_user, "key", "data", {}), std::error_code());
    EXPECT_EQ(Read(c_user, "key", "data"), "");
}

TEST_F(KeyValueStore, ReplacesAValueAndLeavesNoOtherFile)
{
    EXPECT_EQ(WriteStoreValue(c_user, "key", "data", BytesOf("a long one")), std::error_code());
    EXPECT_EQ(WriteStoreValue(c_user, "key", "data", BytesOf("short")), std::error_code());
    EXPECT_EQ(Read(c_user, "key", "data"), "short");
    const std::filesystem::directory_iterator files(m_Folder / "store/user/key");
    EXPECT_EQ(std::distance(begin(files), end(files)), 1);
}

TEST_F(KeyValueStore, KeepsTheTwoRootsApart)
{
    EXPECT_EQ(WriteStoreValue(c_machine, "key", "data", BytesOf("all")), std::error_code());
    EXPECT_FALSE(HasStoreKey(c_user, "key"));
    EXPECT_TRUE(HasStoreKey(c_machine, "key"));
    EXPECT_EQ(Read(c_user, "key", "data"), Message(std::errc::no_such_file_or_directory));
    EXPECT_EQ(Read(c_machine, "key", "data"), "all");
}

TEST_F(KeyValueStore, TellsAKeyWithoutTheValueFromNoKey)
{
    EXPECT_FALSE(HasStoreKey(c_user, "a\\b"));
    EXPECT_EQ(WriteStoreValue(c_user, "a\\b", "other", {}), std::error_code());
    EXPECT_TRUE(HasStoreKey(c_user, "a"));
    EXPECT_TRUE(HasStoreKey(c_user, "a\\b"));
    EXPECT_FALSE(HasStoreKey(c_user, "a\\b\\other")) << "a value is no key";
    EXPECT_EQ(Read(c_user, "a\\b", "data"), Message(std::errc::no_such_file_or_directory));
}

TEST_F(KeyValueStore, ReadsAValueOfExactlyTheLargestSizeAndNoLongerOne)
{
    EXPECT_EQ(WriteStoreValue(c_user, "key", "data", BytesOf("12345678")), std::error_code());
    EXPECT_EQ(Read(c_user, "key", "data", 8), "12345678");
    EXPECT_EQ(Read(c_user, "key", "data", 7), Message(std::errc::value_too_large));
}

TEST_F(KeyValueStore, RefusesWhatWouldLeaveItsFolder)
{
    const std::string refused = Message(std::errc::invalid_argument);
    for (const std::string& key :
         {std::string("..\\out"), std::string("a/../../out"), std::string("/out"), std::string("\\out"),
          std::string("a\0b", 3), std::string("a\\.\\b"), std::string("a\\")}) {
        EXPECT_EQ(WriteStoreValue(c_user, key, "data", BytesOf("x")), std::errc::invalid_argument) << key;
        EXPECT_EQ(Read(c_user, key, "data"), refused) << key;
        EXPECT_FALSE(HasStoreKey(c_user, key)) << key;
    }
    for (const std::string& name : {std::string(), std::string("."), std::string(".."), std::string("a/b"),
                                    std::string("a\\b"), std::string("a\0b", 3)}) {
        EXPECT_EQ(WriteStoreValue(c_user, "key", name, BytesOf("x")), std::errc::invalid_argument) << name;
        EXPECT_EQ(Read(c_user, "key", name), refused) << name;
    }
    EXPECT_FALSE(std::filesystem::exists(m_Folder / "store"));
}

TEST_F(KeyValueStore, RefusesToReadAFolderOrAPipe)
{
    std::filesystem::create_directories(m_Folder / "store/user/key/folder");
    ASSERT_EQ(mkfifo((m_Folder / "store/user/key/pipe").c_str(), 0600), 0);
    EXPECT_EQ(Read(c_user, "key", "folder"), Message(std::errc::invalid_argument));
    EXPECT_EQ(Read(c_user, "key", "pipe"), Message(std::errc::invalid_argument));
}

TEST_F(KeyValueStore, TellsWhyAValueCannotBeWritten)
{
    TestSupport::WriteFile(m_Folder / "file", "");
    m_Store.Set(m_Folder / "file");
    EXPECT_EQ(WriteStoreValue(c_user, "key", "data", {}), std::errc::not_a_directory);
    m_Store.Set(m_Folder / "store");
    std::filesystem::create_directories(m_Folder / "store/user/key/data");
    EXPECT_EQ(WriteStoreValue(c_user, "key", "data", {}), std::errc::invalid_argument);
    const std::filesystem::directory_iterator files(m_Folder / "store/user/key");
    EXPECT_EQ(std::distance(begin(files), end(files)), 1) << "what was begun is removed";
}

TEST_F(KeyValueStore, LetsTheUserAloneReadTheUsersValues)
{
    EXPECT_EQ(WriteStoreValue(c_user, "key", "data", {}), std::error_code());
    EXPECT_EQ(WriteStoreValue(c_machine, "key", "data", {}), std::error_code());
    using std::filesystem::perms;
    EXPECT_EQ(std::filesystem::status(m_Folder / "store/user/key/data").permissions(),
              perms::owner_read | perms::owner_write);
    EXPECT_EQ(std::filesystem::status(m_Folder / "store/machine/key/data").permissions(),
              perms::owner_read | perms::owner_write | perms::group_read | perms::others_read);
}

TEST_F(KeyValueStore, ShowsReadersOneWholeValueWhileItIsReplaced)
{
    const std::string values[] = {std::string(c_uiLargest, 'a'), std::string(c_uiLargest / 2, 'b')};
    EXPECT_EQ(WriteStoreValue(c_user, "key", "data", BytesOf(values[0])), std::error_code());
    std::thread writer([&] {
        for (int i = 0; i < 30; ++i) {
            EXPECT_EQ(WriteStoreValue(c_user, "key", "data", BytesOf(values[i % 2])), std::error_code());
        }
    });
    for (int i = 0; i < 1000; ++i) {
        const std::string value = Read(c_user, "key", "data");
        EXPECT_TRUE(value == values[0] || value == values[1]) << value;
    }
    writer.join();
}

TEST(StoreRoots, LieInTheDataFoldersUnlessMoved)
{
    const CEnvironmentVariable home("HOME", "/home/someone");
    CEnvironmentVariable store("LXCV_STORE", std::nullopt);
    CEnvironmentVariable data("XDG_DATA_HOME", std::nullopt);
    CEnvironmentVariable shared("PROGRAMDATA", std::nullopt);
    EXPECT_EQ(GetStoreRootPath(c_user), "/home/someone/.local/share/lxcvlib/store");
    EXPECT_EQ(GetStoreRootPath(c_machine), "/var/lib/lxcvlib/store");
    data.Set("/data");
    shared.Set("/shared");
    EXPECT_EQ(GetStoreRootPath(c_user), "/data/lxcvlib/store");
    EXPECT_EQ(GetStoreRootPath(c_machine), "/shared/store");
    store.Set("/moved");
    EXPECT_EQ(GetStoreRootPath(c_user), "/moved/user");
    EXPECT_EQ(GetStoreRootPath(c_machine), "/moved/machine");
    EXPECT_EQ(GetStoreValuePath(c_user, "A\\B", "c"), "/moved/user/A/B/c");
    EXPECT_EQ(GetStoreValuePath(c_user, "", "c"), "/moved/user/c");
}

} // namespace
} // namespace platform
