// What the tests of the image files share.
#pragma once

#include "orx/platform/imagecodec.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <initializer_list>
#include <random>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

namespace ImageTest {

using platform::BytesPerPixel;
using platform::CPixels;
using platform::CPixelsView;
using platform::EImageFileResult;
using platform::EPixelFormat;

inline std::vector<std::byte> Bytes(std::initializer_list<int> values)
{
    std::vector<std::byte> bytes;
    for (const int value : values) {
        bytes.push_back(static_cast<std::byte>(value));
    }
    return bytes;
}

inline std::vector<std::byte> Bytes(std::string_view text)
{
    const auto* const first = reinterpret_cast<const std::byte*>(text.data());
    return {first, first + text.size()};
}

inline void Append(std::vector<std::byte>& target, const std::vector<std::byte>& bytes)
{
    target.insert(target.end(), bytes.begin(), bytes.end());
}

/// Appends the number with its low byte first.
template <typename T>
void AppendLittle(std::vector<std::byte>& target, std::type_identity_t<T> number)
{
    for (std::size_t i = 0; i < sizeof(T); ++i) {
        target.push_back(static_cast<std::byte>((static_cast<std::uint64_t>(number) >> (8 * i)) & 0xFF));
    }
}

/// Pixels given as numbers of type T.
template <typename T>
CPixels Image(int width, int height, EPixelFormat format, const std::vector<T>& values)
{
    const auto bytes = std::as_bytes(std::span(values));
    return {width, height, format, {bytes.begin(), bytes.end()}};
}

/// Pixels of any bytes.
inline CPixels RandomImage(int width, int height, EPixelFormat format, unsigned seed)
{
    std::mt19937 random(seed);
    CPixels image{width, height, format, {}};
    image.bytes.resize(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) *
                       BytesPerPixel(format));
    for (std::byte& byte : image.bytes) {
        byte = static_cast<std::byte>(random() & 0xFF);
    }
    return image;
}

inline CPixelsView View(const CPixels& image)
{
    return {image.width, image.height, image.format, image.bytes};
}

inline void ExpectEqual(const CPixels& actual, const CPixels& expected)
{
    EXPECT_EQ(actual.width, expected.width);
    EXPECT_EQ(actual.height, expected.height);
    EXPECT_EQ(actual.format, expected.format);
    EXPECT_TRUE(actual.bytes == expected.bytes) << ::testing::PrintToString(actual.bytes) << "\ninstead of\n"
                                                << ::testing::PrintToString(expected.bytes);
}

/// The most memory that the process has held at once since the mark was reset, in bytes.
inline std::size_t PeakMemory()
{
    std::ifstream status("/proc/self/status");
    std::string word;
    std::size_t kilobytes = 0;
    while (status >> word) {
        if (word == "VmHWM:") {
            status >> kilobytes;
        }
    }
    return kilobytes * 1024;
}

/// How much more memory than now the process holds at once while it runs `work`, in bytes.
template <typename TWork>
std::size_t PeakMemoryOf(TWork work)
{
    std::ofstream("/proc/self/clear_refs") << 5; // resets the mark
    const std::size_t before = PeakMemory();
    work();
    return PeakMemory() - before;
}

/// What reading gives.
struct CRead
{
    EImageFileResult result;
    std::string description;
    CPixels image;
};

inline CRead Read(std::span<const std::byte> file)
{
    CRead read{};
    read.result = platform::ReadImage(file, read.image, read.description);
    return read;
}

inline void ExpectImage(std::span<const std::byte> file, const CPixels& expected,
                        const std::string& description)
{
    const CRead read = Read(file);
    ASSERT_EQ(read.result, EImageFileResult::eOk) << read.description;
    EXPECT_EQ(read.description, description);
    ExpectEqual(read.image, expected);
}

/// The file is refused, and the image that it should have replaced stands.
inline void ExpectRefused(std::span<const std::byte> file, EImageFileResult result,
                          const std::string& description)
{
    const CPixels before = Image<std::uint8_t>(2, 1, EPixelFormat::eGray8, {7, 9});
    CPixels image = before;
    std::string actual = "a text to be replaced";
    EXPECT_EQ(platform::ReadImage(file, image, actual), result);
    EXPECT_EQ(actual, description);
    ExpectEqual(image, before);
}

inline void ExpectBroken(std::span<const std::byte> file, const std::string& description)
{
    ExpectRefused(file, EImageFileResult::eBroken, description);
}

inline void ExpectUnsupported(std::span<const std::byte> file, const std::string& description)
{
    ExpectRefused(file, EImageFileResult::eUnsupported, description);
}

/// A file that ends early gives no image. The last `unneeded` bytes may be missing.
inline void ExpectNoImageOfAnyBeginning(std::span<const std::byte> file, std::size_t unneeded = 0)
{
    for (std::size_t length = 0; length + unneeded < file.size(); ++length) {
        // A copy of its own, so that the sanitizer sees the end.
        const std::vector<std::byte> begin(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(length));
        const CRead read = Read(begin);
        EXPECT_NE(read.result, EImageFileResult::eOk) << "cut to " << length << " of " << file.size();
        EXPECT_FALSE(read.description.empty()) << "cut to " << length;
        EXPECT_TRUE(read.image.bytes.empty()) << "cut to " << length;
    }
}

/// Whatever byte is changed to whatever, reading ends and gives a whole image or none.
inline void ExpectSurvivesChangedBytes(std::span<const std::byte> file, unsigned seed, int rounds)
{
    std::mt19937 random(seed);
    for (int round = 0; round < rounds; ++round) {
        std::vector<std::byte> changed(file.begin(), file.end());
        for (unsigned i = 0; i <= random() % 3; ++i) {
            changed[random() % changed.size()] = static_cast<std::byte>(random() & 0xFF);
        }
        const CRead read = Read(changed);
        EXPECT_FALSE(read.description.empty());
        if (read.result == EImageFileResult::eOk) {
            EXPECT_GT(read.image.width, 0);
            EXPECT_EQ(read.image.bytes.size(), static_cast<std::size_t>(read.image.width) *
                                                   static_cast<std::size_t>(read.image.height) *
                                                   BytesPerPixel(read.image.format));
        } else {
            EXPECT_TRUE(read.image.bytes.empty());
        }
    }
}

} // namespace ImageTest
