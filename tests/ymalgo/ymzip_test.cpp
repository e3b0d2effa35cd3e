#include "orx/ymalgo/ymzip.h"

#include "tests/support/storedzlib.h"

#include <gtest/gtest.h>

#include <limits>
#include <random>
#include <string>

namespace {

std::string Compressed(const std::string& text)
{
    YmCompressZIP zip;
    EXPECT_TRUE(zip.Compress(text.data(), text.size()));
    return {reinterpret_cast<const char*>(zip.GetOutputBuffer()), zip.GetOutputSize()};
}

bool Decompresses(const std::string& bytes, std::size_t uncompressedSize)
{
    YmDecompressZIP zip;
    const bool done = zip.Decompress(bytes.data(), bytes.size(), uncompressedSize);
    EXPECT_EQ(done, zip.GetOutputBuffer() != nullptr);
    EXPECT_EQ(zip.GetOutputSize(), done ? uncompressedSize : 0);
    return done;
}

std::string Decompressed(const std::string& bytes, std::size_t uncompressedSize)
{
    YmDecompressZIP zip;
    EXPECT_TRUE(zip.Decompress(bytes.data(), bytes.size(), uncompressedSize));
    return {reinterpret_cast<const char*>(zip.GetOutputBuffer()), zip.GetOutputSize()};
}

std::string RandomBytes(std::mt19937& random, std::size_t size)
{
    std::string bytes(size, '\0');
    for (char& byte : bytes) {
        byte = static_cast<char>(random());
    }
    return bytes;
}

TEST(YmDecompressZIP, ReadsAStreamMadeByHand)
{
    const std::string text("text with a \0 in it", 19);
    EXPECT_EQ(Decompressed(TestSupport::StoredZlib(text), text.size()), text);
}

// Python's zlib.compress(b'a' * 100, 9).
TEST(YmDecompressZIP, ReadsAStreamOfAnotherWriter)
{
    const std::string bytes("\x78\xda\x4b\x4c\xa4\x3d\x00\x00\x7a\x47\x25\xe5", 12);
    EXPECT_EQ(Decompressed(bytes, 100), std::string(100, 'a'));
}

TEST(YmCompressZIP, WritesWhatDecompressReads)
{
    std::mt19937 random(2);
    for (int trial = 0; trial < 1000; ++trial) {
        std::string text = RandomBytes(random, random() % 3000);
        if (trial % 2 == 0) {
            for (char& byte : text) {
                byte = static_cast<char>('0' + byte % 4); // compressible
            }
        }
        ASSERT_EQ(Decompressed(Compressed(text), text.size()), text);
    }
}

TEST(YmCompressZIP, TakesNoBytes)
{
    EXPECT_EQ(Decompressed(Compressed(""), 0), "");
    YmCompressZIP zip;
    EXPECT_EQ(zip.GetOutputBuffer(), nullptr);
    EXPECT_TRUE(zip.Compress(nullptr, 0));
}

TEST(YmCompressZIP, TakesTheMostCompressibleText)
{
    const std::string text(10'000'000, '\0');
    const std::string bytes = Compressed(text);
    EXPECT_LT(bytes.size(), text.size() / 1000);
    EXPECT_EQ(Decompressed(bytes, text.size()), text);
}

TEST(YmDecompressZIP, RefusesSizesThatAreNotThoseOfTheStream)
{
    const std::string bytes = Compressed("some text");
    for (std::size_t size = 0; size < 64; ++size) {
        EXPECT_EQ(Decompresses(bytes, size), size == 9) << size;
    }
    EXPECT_FALSE(Decompresses(bytes, bytes.size() * 1032));
    EXPECT_FALSE(Decompresses(bytes, std::numeric_limits<std::uint32_t>::max()));
    EXPECT_FALSE(Decompresses(bytes, std::numeric_limits<std::size_t>::max()));
}

TEST(YmDecompressZIP, RefusesCutAndProlongedStreams)
{
    const std::string text(300, 'x');
    const std::string bytes = Compressed(text);
    for (std::size_t size = 0; size < bytes.size(); ++size) {
        EXPECT_FALSE(Decompresses(bytes.substr(0, size), text.size())) << size;
    }
    EXPECT_FALSE(Decompresses(bytes + '\0', text.size()));
    YmDecompressZIP zip;
    EXPECT_FALSE(zip.Decompress(nullptr, 0, 0));
}

TEST(YmDecompressZIP, SurvivesRandomBytes)
{
    std::mt19937 random(3);
    for (int trial = 0; trial < 5000; ++trial) {
        std::string bytes = RandomBytes(random, 2 + random() % 60);
        bytes[0] = '\x78'; // a valid head, so that the body is looked at
        bytes[1] = '\x01';
        Decompresses(bytes, random() % 400);
    }
}

TEST(YmDecompressZIP, GivesNothingAfterAFailure)
{
    const std::string bytes = Compressed("some text");
    YmDecompressZIP zip;
    ASSERT_TRUE(zip.Decompress(bytes.data(), bytes.size(), 9));
    EXPECT_FALSE(zip.Decompress(bytes.data(), bytes.size(), 8));
    EXPECT_EQ(zip.GetOutputBuffer(), nullptr);
    EXPECT_EQ(zip.GetOutputSize(), 0U);
}

} // namespace
