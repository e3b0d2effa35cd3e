#include "lxccctencryptionutils.h"

#include "orx/logging/logger.h"
#include "orx/ymalgo/ymzip.h"
#include "tests/support/container.h"
#include "tests/support/environment.h"
#include "tests/support/temporaryfolder.h"
#include "tests/support/watchdog.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace LxCV {
namespace {

using Logging::ELevel;
using ::TestSupport::PlainContainer;
using ::TestSupport::UInt32;
using ::TestSupport::UInt32At;
using ::TestSupport::WithChangedBit;

const std::wstring c_sChannel = L"ORX.Lumorad.LxCCCTEncryptionUtils";
const std::wstring c_sDiagnosticsChannel = L"Diagnostics.Lumorad";
const std::wstring c_sPrefix = L"LxCMatrixFrameGrabber::decryptAndDecompress: ";
constexpr std::uint32_t c_uiLargestText = 65523 * 1032; // the device's storage area at deflate's best ratio
const std::string c_sText = "::A\nk=1\n";

std::string RandomText(std::mt19937& random, std::size_t size)
{
    std::string text(size, '\0');
    for (char& character : text) {
        character = static_cast<char>(random());
    }
    return text;
}

/// Each test has a key of its own and captures the log.
class LxCCCTEncryptionUtilsTest : public testing::Test
{
protected:
    std::string Pack(const std::string& content)
    {
        std::stringstream text(content);
        std::ostringstream sink;
        EXPECT_TRUE(LxCCCTEncryptionUtils::EncryptAndCompress(text, sink));
        return sink.str();
    }

    /// Whether the container is read, with what is then in the text.
    std::pair<bool, std::string> Unpack(const std::string& container)
    {
        std::stringstream text;
        std::istringstream source(container);
        const bool done = LxCCCTEncryptionUtils::DecryptAndDecompress(text, source);
        return {done, text.str()};
    }

    /// Expects that the container is refused with the fixed last line and, if not empty, an error line before.
    void ExpectRefused(const std::string& container, const std::wstring& reason = {})
    {
        m_Capture.Clear();
        EXPECT_EQ(Unpack(container), std::pair(false, std::string()));
        const auto records = m_Capture.GetRecords();
        ASSERT_EQ(records.size(), reason.empty() ? 1U : 2U);
        EXPECT_EQ(m_Capture.Count(ELevel::eError, c_sChannel, L"Read ini-file failed"), 1);
        if (!reason.empty()) {
            EXPECT_EQ(records[0].text, reason);
            EXPECT_EQ(records[0].level, ELevel::eError);
            EXPECT_EQ(records[0].channel, c_sChannel);
        }
    }

    ::TestSupport::CTemporaryFolder m_Folder;
    ::TestSupport::CEnvironmentVariable m_KeyFile{"LXCV_KEY_FILE", m_Folder / "key"};
    Logging::CCapture m_Capture;
};

TEST_F(LxCCCTEncryptionUtilsTest, WritesTheHeadOfVersionTwo)
{
    const std::string container = Pack(c_sText);
    ASSERT_GT(container.size(), 13U);
    EXPECT_EQ(container[0], 2);
    EXPECT_EQ(UInt32At(container, 1), c_sText.size());
    const std::uint32_t compressed = UInt32At(container, 5);
    const std::uint32_t encrypted = UInt32At(container, 9);
    EXPECT_EQ(encrypted, compressed + 28); // nonce and tag
    EXPECT_EQ(container.size(), 13U + encrypted);
    YmCompressZIP zip;
    ASSERT_TRUE(zip.Compress(c_sText.data(), c_sText.size()));
    EXPECT_EQ(compressed, zip.GetOutputSize());
}

// Made by Python's zlib and AESGCM of its cryptography package, under a key of 32 'k' and the nonce 0 to 11.
TEST_F(LxCCCTEncryptionUtilsTest, ReadsAContainerOfAnotherWriter)
{
    ::TestSupport::WriteFile(m_Folder / "key", std::string(32, 'k'));
    const std::string container("\x02\x08\x00\x00\x00\x10\x00\x00\x00\x2c\x00\x00\x00"
                                "\x00\x01\x02\x03\x04\x05\x06\x07\x08\x09\x0a\x0b"
                                "\x12\x07\x47\x9c\x76\x34\x4c\xc3\x76\x7f\x51\x8a\x63\x30\x09\xfb"
                                "\x11\xec\x62\x91\xf7\xce\x74\xa7\x5f\x07\xd5\x94\x9e\x51\xeb\x7e",
                                57);
    EXPECT_EQ(Unpack(container), std::pair(true, c_sText + '\0'));
}

TEST_F(LxCCCTEncryptionUtilsTest, LogsSuccessOfWritingAndReading)
{
    const std::string container = Pack(c_sText);
    const std::wstring compressed = std::to_wstring(UInt32At(container, 5));
    EXPECT_EQ(m_Capture.Count(ELevel::eInfo, c_sDiagnosticsChannel,
                              L"write camera ini File: " + compressed + L" written.\n\n"),
              1);
    EXPECT_EQ(
        m_Capture.Count(ELevel::eInfo, c_sDiagnosticsChannel, L"Write ini-file to device was successful"), 1);
    m_Capture.Clear();
    EXPECT_TRUE(Unpack(container).first);
    EXPECT_EQ(m_Capture.Count(ELevel::eInfo, c_sChannel, L"decrypt ini file: 8 Byte read.\n"), 1);
    EXPECT_EQ(m_Capture.GetRecords().size(), 1U);
}

TEST_F(LxCCCTEncryptionUtilsTest, ReadsBackTheTextWithANulBehindIt)
{
    std::mt19937 random(9);
    for (int trial = 0; trial < 200; ++trial) {
        const std::string text = RandomText(random, random() % 2000);
        ASSERT_EQ(Unpack(Pack(text)), std::pair(true, text + '\0'));
    }
}

TEST_F(LxCCCTEncryptionUtilsTest, WritesTheWholeTextWhereverItWasRead)
{
    std::stringstream text(c_sText);
    std::string line;
    std::getline(text, line);
    std::ostringstream sink;
    EXPECT_TRUE(LxCCCTEncryptionUtils::EncryptAndCompress(text, sink));
    EXPECT_EQ(Unpack(sink.str()).second, c_sText + '\0');
}

TEST_F(LxCCCTEncryptionUtilsTest, AppendsToTheTextAndLeavesWhatFollowsTheContainer)
{
    std::stringstream text;
    text << "before";
    std::istringstream source(Pack(c_sText) + "padding of the storage area");
    EXPECT_TRUE(LxCCCTEncryptionUtils::DecryptAndDecompress(text, source));
    EXPECT_EQ(text.str(), "before" + c_sText + '\0');
    std::string rest;
    std::getline(source, rest);
    EXPECT_EQ(rest, "padding of the storage area");
}

TEST_F(LxCCCTEncryptionUtilsTest, ReadsVersionOneWithoutAKey)
{
    m_KeyFile.Set("/dev/null/key");
    EXPECT_EQ(Unpack(PlainContainer(c_sText)), std::pair(true, c_sText + '\0'));
    EXPECT_EQ(Unpack(PlainContainer("")), std::pair(true, std::string(1, '\0')));
}

TEST_F(LxCCCTEncryptionUtilsTest, RefusesOtherVersions)
{
    for (int version = 0; version < 256; ++version) {
        if (version != 1 && version != 2) {
            std::string container = PlainContainer(c_sText);
            container[0] = static_cast<char>(version);
            ExpectRefused(container,
                          c_sPrefix + L"invalid version number " + std::to_wstring(version) + L".\n");
        }
    }
}

TEST_F(LxCCCTEncryptionUtilsTest, RefusesContainersCutAtAnyByte)
{
    for (const std::string& container : {Pack(c_sText), PlainContainer(c_sText)}) {
        for (std::size_t size = 0; size < container.size(); ++size) {
            ExpectRefused(container.substr(0, size), c_sPrefix + L"the container ends early\n");
        }
    }
}

TEST_F(LxCCCTEncryptionUtilsTest, RefusesEveryChangedBitOfAnEncryptedContainer)
{
    const std::string container = Pack(c_sText);
    for (std::size_t bit = 0; bit < container.size() * 8; ++bit) {
        m_Capture.Clear();
        EXPECT_EQ(Unpack(WithChangedBit(container, bit)), std::pair(false, std::string())) << bit;
        EXPECT_EQ(m_Capture.Count(ELevel::eError, c_sChannel, L"Read ini-file failed"), 1);
    }
}

// The stream's checksum covers the text; bits that pad the head of a stored block mean nothing.
TEST_F(LxCCCTEncryptionUtilsTest, NeverReadsAnotherTextFromAChangedPlainContainer)
{
    const std::string container = PlainContainer(c_sText);
    for (std::size_t bit = 0; bit < container.size() * 8; ++bit) {
        const auto [done, text] = Unpack(WithChangedBit(container, bit));
        EXPECT_EQ(text, done ? c_sText + '\0' : "") << bit;
    }
}

TEST_F(LxCCCTEncryptionUtilsTest, RefusesAnotherKey)
{
    const std::string container = Pack(c_sText);
    m_KeyFile.Set(m_Folder / "other");
    Unpack(container); // makes the other key
    ExpectRefused(container);
    m_KeyFile.Set(m_Folder / "key");
    EXPECT_TRUE(Unpack(container).first);
}

TEST_F(LxCCCTEncryptionUtilsTest, RefusesSizesThatLie)
{
    const std::string container = Pack(c_sText);
    const std::uint32_t compressed = UInt32At(container, 5);
    const auto with = [](std::string bytes, std::size_t offset, std::uint32_t value) {
        return bytes.replace(offset, 4, UInt32(value));
    };
    ExpectRefused(with(container, 5, compressed - 1),
                  c_sPrefix + L"the container lies about its compressed size\n");
    ExpectRefused(with(container, 5, 0xFFFFFFFF),
                  c_sPrefix + L"the container lies about its compressed size\n");
    ExpectRefused(with(container, 9, 0xFFFFFFFF), c_sPrefix + L"the container ends early\n");
    ExpectRefused(with(container, 9, compressed + 27)); // the cipher refuses what is cut
    ExpectRefused(with(container, 9, 0));
    const std::string plain = PlainContainer(c_sText);
    for (const std::string& bytes : {container, plain}) {
        for (const std::uint32_t size : {0U, 7U, 9U, 1000U, 100000U, c_uiLargestText}) {
            ExpectRefused(with(bytes, 1, size)); // the compressed bytes hold another number
        }
        for (const std::uint32_t size : {c_uiLargestText + 1, 0xFFFFFFFFU}) {
            ExpectRefused(with(bytes, 1, size), c_sPrefix + L"the container claims too long a text\n");
        }
    }
    ExpectRefused(with(plain, 5, 0xFFFFFFFF), c_sPrefix + L"the container ends early\n");
    ExpectRefused(with(plain, 5, 0));
}

TEST_F(LxCCCTEncryptionUtilsTest, ReadsFromAStreamThatCannotSeek)
{
    class CForwardOnly : public std::stringbuf
    {
    public:
        using std::stringbuf::stringbuf;

    protected:
        pos_type seekoff(off_type, std::ios_base::seekdir, std::ios_base::openmode) override
        {
            return off_type(-1);
        }
        pos_type seekpos(pos_type, std::ios_base::openmode) override { return off_type(-1); }
    };
    std::mt19937 random(10);
    const std::string content = RandomText(random, 60000);
    CForwardOnly buffer(Pack(content));
    std::istream source(&buffer);
    std::stringstream text;
    EXPECT_TRUE(LxCCCTEncryptionUtils::DecryptAndDecompress(text, source));
    EXPECT_EQ(text.str(), content + '\0');
}

TEST_F(LxCCCTEncryptionUtilsTest, RefusesStreamsInAFailedState)
{
    std::istringstream source(Pack(c_sText));
    source.setstate(std::ios_base::failbit);
    std::stringstream text;
    m_Capture.Clear();
    EXPECT_FALSE(LxCCCTEncryptionUtils::DecryptAndDecompress(text, source));
    EXPECT_EQ(m_Capture.Count(ELevel::eError, c_sChannel,
                              c_sPrefix + L"Could not open streamDev with read access on device.\n"),
              1);
    EXPECT_EQ(m_Capture.Count(ELevel::eError, c_sChannel, L"Read ini-file failed"), 1);
    std::ostringstream sink;
    sink.setstate(std::ios_base::failbit);
    EXPECT_FALSE(LxCCCTEncryptionUtils::EncryptAndCompress(text, sink));
    EXPECT_EQ(m_Capture.Count(ELevel::eError, c_sDiagnosticsChannel,
                              L"Could not open streamDev with write access on device.\n"),
              1);
    EXPECT_EQ(m_Capture.Count(ELevel::eError, c_sDiagnosticsChannel, L"Write ini-file to device failed"), 1);
    EXPECT_EQ(m_Capture.GetRecords().size(), 4U);
}

TEST_F(LxCCCTEncryptionUtilsTest, FailsWhereTheSinkTakesNothing)
{
    class CFull : public std::streambuf
    {};
    CFull full;
    std::ostream sink(&full);
    std::stringstream text(c_sText);
    EXPECT_FALSE(LxCCCTEncryptionUtils::EncryptAndCompress(text, sink));
    EXPECT_EQ(m_Capture.Count(ELevel::eError, c_sDiagnosticsChannel, L"Write ini-file to device failed"), 1);
}

TEST_F(LxCCCTEncryptionUtilsTest, FailsWithoutAKey)
{
    const std::string container = Pack(c_sText);
    ::TestSupport::WriteFile(m_Folder / "key", "too short");
    std::stringstream text(c_sText);
    std::ostringstream sink;
    m_Capture.Clear();
    EXPECT_FALSE(LxCCCTEncryptionUtils::EncryptAndCompress(text, sink));
    EXPECT_EQ(sink.str(), "");
    EXPECT_EQ(m_Capture.Count(ELevel::eError, c_sDiagnosticsChannel, L"Write ini-file to device failed"), 1);
    EXPECT_FALSE(Unpack(container).first);
    EXPECT_EQ(m_Capture.Count(ELevel::eError, c_sChannel, L"Read ini-file failed"), 1);
    EXPECT_EQ(::TestSupport::ReadFile(m_Folder / "key"), "too short");
}

TEST_F(LxCCCTEncryptionUtilsTest, LogsWhatAStreamThrows)
{
    class CThrowing : public std::streambuf
    {
    public:
        explicit CThrowing(bool standard) : m_bStandard(standard) {}

    protected:
        int_type underflow() override
        {
            if (m_bStandard) {
                throw std::runtime_error("the device is gone");
            }
            throw 5; // NOLINT: what no standard exception is
        }

    private:
        bool m_bStandard;
    };
    for (const bool standard : {true, false}) {
        m_Capture.Clear();
        CThrowing buffer(standard);
        std::istream source(&buffer);
        source.exceptions(std::ios_base::badbit);
        std::stringstream text;
        EXPECT_FALSE(LxCCCTEncryptionUtils::DecryptAndDecompress(text, source));
        EXPECT_EQ(m_Capture.Count(ELevel::eError, c_sChannel,
                                  standard ? c_sPrefix + L"the device is gone\n"
                                           : L"Exception decryptAndDecompress\n"),
                  1);
        EXPECT_EQ(m_Capture.Count(ELevel::eError, c_sChannel, L"Read ini-file failed"), 1);
    }
}

// Random bytes do not compress: the length of their stream grows by one with each.
TEST_F(LxCCCTEncryptionUtilsTest, WritesNothingButSucceedsFrom65523CompressedBytesOn)
{
    std::mt19937 random(11);
    const std::string bytes = RandomText(random, 66000);
    const auto compressedSize = [&bytes](std::size_t size) {
        YmCompressZIP zip;
        EXPECT_TRUE(zip.Compress(bytes.data(), size));
        return zip.GetOutputSize();
    };
    std::size_t size = 65400;
    while (compressedSize(size) < 65522) {
        ++size;
    }
    ASSERT_EQ(compressedSize(size), 65522U);
    ASSERT_EQ(compressedSize(size + 1), 65523U);
    EXPECT_EQ(Pack(bytes.substr(0, size)).size(), 13U + 65522 + 28);
    m_Capture.Clear();
    EXPECT_EQ(Pack(bytes.substr(0, size + 1)), "");
    EXPECT_EQ(m_Capture.Count(ELevel::eError, c_sDiagnosticsChannel,
                              L"Could not write camera ini file. The file is too big: 65523 Byte.\n"),
              1);
    EXPECT_EQ(
        m_Capture.Count(ELevel::eInfo, c_sDiagnosticsChannel, L"Write ini-file to device was successful"), 1);
    EXPECT_EQ(m_Capture.GetRecords().size(), 2U);
}

// Small containers stay in the buffer of a file stream: the fault shows when that is emptied.
TEST_F(LxCCCTEncryptionUtilsTest, FailsOnAFullDisk)
{
    std::ofstream sink("/dev/full", std::ios_base::binary);
    ASSERT_TRUE(sink.is_open());
    std::stringstream text(c_sText);
    EXPECT_FALSE(LxCCCTEncryptionUtils::EncryptAndCompress(text, sink));
    EXPECT_EQ(m_Capture.Count(ELevel::eError, c_sDiagnosticsChannel, L"Write ini-file to device failed"), 1);
    EXPECT_EQ(m_Capture.GetRecords().size(), 2U) << "that and the line that tells of the new key";
}

// The reader has no limit of the device: what it holds may come from a larger one.
TEST_F(LxCCCTEncryptionUtilsTest, ReadsContainersLargerThanTheDevicesStorage)
{
    const std::string text(65530, 'x');
    EXPECT_GT(PlainContainer(text).size(), 65523U);
    EXPECT_EQ(Unpack(PlainContainer(text)), std::pair(true, text + '\0'));
}

// The key is not there before: one of the threads makes it and all use it.
TEST_F(LxCCCTEncryptionUtilsTest, ManyThreadsPackAndUnpackAtOnce)
{
    const ::TestSupport::CWatchdog watchdog;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([this, thread] {
            for (int i = 0; i < 20; ++i) {
                const std::string text = "::Thread\nk=" + std::to_string(thread) + "\n";
                EXPECT_EQ(Unpack(Pack(text)), std::pair(true, text + '\0'));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

TEST_F(LxCCCTEncryptionUtilsTest, AssignmentDoesNothing)
{
    LxCCCTEncryptionUtils one;
    LxCCCTEncryptionUtils other;
    EXPECT_EQ(&(one = other), &one);
    EXPECT_EQ(&(one = LxCCCTEncryptionUtils()), &one);
}

} // namespace
} // namespace LxCV
