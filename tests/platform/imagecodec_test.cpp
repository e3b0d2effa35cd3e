// What holds for image files of all kinds, and the files that we write.
#include "orx/platform/imagecodec.h"

#include "tests/platform/imagetestsupport.h"
#include "tests/support/temporaryfolder.h"

#include <png.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <map>
#include <thread>
#include <utility>

namespace platform {
namespace {

using namespace ImageTest;
using TestSupport::CTemporaryFolder;

constexpr std::array c_AllFormats{
    EPixelFormat::eGray8,      EPixelFormat::eGrayInt8,  EPixelFormat::eGray16,    EPixelFormat::eGrayInt16,
    EPixelFormat::eGrayUInt32, EPixelFormat::eGrayInt32, EPixelFormat::eGrayFloat, EPixelFormat::eGrayDouble,
    EPixelFormat::eBgr8,       EPixelFormat::eBgra8,     EPixelFormat::eBgrFloat};

/// Widths around the multiples of 4 that BMP fills rows up to, and an image of several strips.
constexpr std::array<std::array<int, 2>, 7> c_Sizes{
    {{1, 1}, {2, 3}, {3, 2}, {4, 1}, {5, 5}, {1, 9}, {401, 97}}};

using CWriter = bool (*)(const std::filesystem::path& path, const CPixelsView& image);

/// Writes images of all sizes in one format and reads them back.
void ExpectRoundTrip(CWriter write, EPixelFormat format, const std::string& description)
{
    const CTemporaryFolder folder;
    const std::string path = folder / "image";
    for (const auto& [width, height] : c_Sizes) {
        SCOPED_TRACE(std::to_string(width) + " by " + std::to_string(height) + " of format " +
                     std::to_string(static_cast<int>(format)));
        const CPixels image = RandomImage(width, height, format, 1);
        ASSERT_TRUE(write(path, View(image)));
        CPixels back;
        std::string actual;
        ASSERT_EQ(ReadImageFile(path, back, actual), EImageFileResult::eOk) << actual;
        EXPECT_EQ(actual, description);
        ExpectEqual(back, image);
    }
}

TEST(PixelFormat, TellsItsBytes)
{
    constexpr std::array<std::size_t, c_AllFormats.size()> expected{1, 1, 2, 2, 4, 4, 4, 8, 3, 4, 12};
    for (std::size_t i = 0; i < c_AllFormats.size(); ++i) {
        EXPECT_EQ(BytesPerPixel(c_AllFormats[i]), expected[i]) << i;
    }
}

TEST(WriteTiff, ComesBackInEveryFormat)
{
    constexpr std::array descriptions{
        "8-bit grey TIFF",  "8-bit signed grey TIFF",    "16-bit grey TIFF",       "16-bit signed grey TIFF",
        "32-bit grey TIFF", "32-bit signed grey TIFF",   "32-bit float grey TIFF", "64-bit float grey TIFF",
        "8-bit RGB TIFF",   "8-bit RGB with alpha TIFF", "32-bit float RGB TIFF"};
    static_assert(descriptions.size() == c_AllFormats.size());
    for (std::size_t i = 0; i < c_AllFormats.size(); ++i) {
        ExpectRoundTrip(WriteTiff, c_AllFormats[i], descriptions[i]);
    }
}

TEST(WritePng, ComesBackInItsFormats)
{
    ExpectRoundTrip(WritePng, EPixelFormat::eGray8, "8-bit grey PNG");
    ExpectRoundTrip(WritePng, EPixelFormat::eGray16, "16-bit grey PNG");
    ExpectRoundTrip(WritePng, EPixelFormat::eBgr8, "8-bit RGB PNG");
    ExpectRoundTrip(WritePng, EPixelFormat::eBgra8, "8-bit RGB with alpha PNG");
}

TEST(WriteBmp, ComesBackInItsFormats)
{
    ExpectRoundTrip(WriteBmp, EPixelFormat::eGray8, "8-bit palette BMP");
    ExpectRoundTrip(WriteBmp, EPixelFormat::eBgr8, "24-bit RGB BMP");
    ExpectRoundTrip(WriteBmp, EPixelFormat::eBgra8, "32-bit RGB with alpha BMP");
}

TEST(WriteImages, RefusesWhatTheKindCannotHold)
{
    const CTemporaryFolder folder;
    const std::string path = folder / "image";
    for (const EPixelFormat format : c_AllFormats) {
        const CPixels image = RandomImage(2, 2, format, 1);
        const bool isBmp =
            format == EPixelFormat::eGray8 || format == EPixelFormat::eBgr8 || format == EPixelFormat::eBgra8;
        EXPECT_EQ(WriteBmp(path, View(image)), isBmp) << static_cast<int>(format);
        EXPECT_EQ(WritePng(path, View(image)), isBmp || format == EPixelFormat::eGray16)
            << static_cast<int>(format);
        EXPECT_TRUE(WriteTiff(path, View(image))) << static_cast<int>(format);
    }
}

TEST(WriteImages, RefusesSizesThatAreNotThoseOfTheBytes)
{
    const CTemporaryFolder folder;
    const std::string path = folder / "image";
    const std::vector<std::byte> bytes(12);
    constexpr int longest = std::numeric_limits<int>::max();
    const std::array<std::array<int, 2>, 9> sizes{{{0, 12},
                                                   {12, 0},
                                                   {-3, -4},
                                                   {-12, -1},
                                                   {3, 5},
                                                   {11, 1},
                                                   {longest, longest},
                                                   {longest, 1},
                                                   {-longest, 2}}};
    for (const auto& [width, height] : sizes) {
        const CPixelsView image{width, height, EPixelFormat::eGray8, bytes};
        for (const CWriter write : {WriteTiff, WritePng, WriteBmp}) {
            EXPECT_FALSE(write(path, image)) << width << " by " << height;
        }
    }
    EXPECT_FALSE(WritePng(path, {6, 1, EPixelFormat::eBgr8, bytes}));
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST(WriteImages, LeavesNothingWhereItCannotWrite)
{
    const CTemporaryFolder folder;
    const CPixels image = RandomImage(2, 2, EPixelFormat::eGray8, 1);
    for (const CWriter write : {WriteTiff, WritePng, WriteBmp}) {
        EXPECT_FALSE(write(folder / "no such folder/image", View(image)));
        EXPECT_FALSE(write(folder.GetPath(), View(image)));
        EXPECT_FALSE(write("", View(image)));
        if (std::filesystem::exists("/dev/full")) { // takes no byte
            EXPECT_FALSE(write("/dev/full", View(image)));
            EXPECT_TRUE(std::filesystem::exists("/dev/full"));
        }
    }
    EXPECT_TRUE(std::filesystem::is_empty(folder.GetPath()));
}

TEST(WriteImages, ReplacesWhatStoodThere)
{
    const CTemporaryFolder folder;
    const std::string path = folder / "image";
    TestSupport::WriteFile(path, std::string(100000, 'x'));
    const CPixels image = RandomImage(2, 2, EPixelFormat::eGray8, 1);
    ASSERT_TRUE(WriteBmp(path, View(image)));
    EXPECT_LT(std::filesystem::file_size(path), 2000U);
}

/// 1 by 2 pixels: (blue 1, green 2, red 3) over (4, 5, 6).
const CPixels c_TwoColours = Image<std::uint8_t>(1, 2, EPixelFormat::eBgr8, {1, 2, 3, 4, 5, 6});

TEST(WriteBmp, WritesTheBytesOfTheFormat)
{
    const CTemporaryFolder folder;
    const std::string path = folder / "image";
    ASSERT_TRUE(WriteBmp(path, View(c_TwoColours)));
    // Length 62, pixels at 54; header of 40 bytes, 1 by 2, one plane, 24 bits, not compressed, 8 bytes of pixels,
    // 2835 pixels a metre; the lower row first, each filled up to 4 bytes.
    const auto expected =
        Bytes({'B',  'M',  62, 0, 0, 0, 0, 0,  0, 0, 54, 0, 0, 0, 40, 0, 0, 0,    1,    0, 0,
               0,    2,    0,  0, 0, 1, 0, 24, 0, 0, 0,  0, 0, 8, 0,  0, 0, 0x13, 0x0B, 0, 0,
               0x13, 0x0B, 0,  0, 0, 0, 0, 0,  0, 0, 0,  0, 4, 5, 6,  0, 1, 2,    3,    0});
    EXPECT_EQ(Bytes(TestSupport::ReadFile(path)), expected);
}

/// A number of `bytes` bytes of a little-endian file.
std::uint32_t Number(const std::string& file, std::size_t at, std::size_t bytes)
{
    std::uint32_t number = 0;
    for (std::size_t i = bytes; i-- > 0;) {
        number = number << 8 | static_cast<unsigned char>(file.at(at + i));
    }
    return number;
}

TEST(WriteTiff, WritesTheDirectoryAndPixelsOfTheFormat)
{
    const CTemporaryFolder folder;
    const std::string path = folder / "image";
    ASSERT_TRUE(WriteTiff(path, View(c_TwoColours)));
    const std::string file = TestSupport::ReadFile(path);
    ASSERT_EQ(file.substr(0, 4), std::string("II*\0", 4));
    const std::size_t directory = Number(file, 4, 4);
    std::map<std::uint32_t, std::array<std::uint32_t, 2>> entries; // by tag: count, and value or its position
    for (std::size_t i = 0; i < Number(file, directory, 2); ++i) {
        const std::size_t entry = directory + 2 + 12 * i;
        const std::size_t bytes = Number(file, entry + 2, 2) == 3 ? 2 : 4;
        const std::uint32_t count = Number(file, entry + 4, 4);
        entries[Number(file, entry, 2)] = {count, Number(file, entry + 8, count * bytes > 4 ? 4 : bytes)};
    }
    const auto value = [&entries](std::uint32_t tag) { return entries.at(tag)[1]; };
    EXPECT_EQ(value(256), 1U); // width
    EXPECT_EQ(value(257), 2U); // height
    EXPECT_EQ(entries.at(258)[0], 3U);
    EXPECT_EQ(Number(file, value(258), 2), 8U); // bits a sample
    EXPECT_EQ(value(259), 1U);                  // no compression
    EXPECT_EQ(value(262), 2U);                  // red, green, blue
    EXPECT_EQ(value(277), 3U);                  // samples
    EXPECT_EQ(value(284), 1U);                  // which stand together
    ASSERT_EQ(entries.at(273)[0], 1U);          // one strip
    EXPECT_EQ(value(279), 6U);
    EXPECT_EQ(file.substr(value(273), 6), std::string({3, 2, 1, 6, 5, 4}));
}

/// libpng's own picture of a file, as blue, green, red and alpha.
std::vector<std::uint8_t> Decode(const std::string& path)
{
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    EXPECT_NE(png_image_begin_read_from_file(&image, path.c_str()), 0) << image.message;
    image.format = PNG_FORMAT_BGRA;
    std::vector<std::uint8_t> pixels(PNG_IMAGE_SIZE(image));
    EXPECT_NE(png_image_finish_read(&image, nullptr, pixels.data(), 0, nullptr), 0) << image.message;
    return pixels;
}

TEST(WritePng, IsWhatLibpngReads)
{
    const CTemporaryFolder folder;
    const std::string path = folder / "image";
    ASSERT_TRUE(WritePng(path, View(c_TwoColours)));
    EXPECT_EQ(Decode(path), (std::vector<std::uint8_t>{1, 2, 3, 255, 4, 5, 6, 255}));
    ASSERT_TRUE(
        WritePng(path, View(Image<std::uint8_t>(2, 1, EPixelFormat::eBgra8, {1, 2, 3, 4, 5, 6, 7, 255}))));
    EXPECT_EQ(Decode(path), (std::vector<std::uint8_t>{1, 2, 3, 4, 5, 6, 7, 255}));
    ASSERT_TRUE(WritePng(path, View(Image<std::uint8_t>(2, 1, EPixelFormat::eGray8, {9, 200}))));
    EXPECT_EQ(Decode(path), (std::vector<std::uint8_t>{9, 9, 9, 255, 200, 200, 200, 255}));
}

/// What a foreign program reads: prints kind, type, size and pixels, the top row first, of each file.
constexpr const char* c_ForeignReader = R"(
import sys
from PIL import Image
for path in sys.argv[1:]:
    image = Image.open(path)
    print(image.format, image.mode, *image.size)
    print(*(' '.join(map(str, v)) if isinstance(v, tuple) else v for v in image.getdata()))
)";

/// The pixels as the foreign reader prints them: colours red first, numbers in decimal digits.
template <typename T>
std::string Print(const CPixels& image)
{
    const std::size_t channels = BytesPerPixel(image.format) / sizeof(T);
    std::string text;
    for (std::size_t i = 0; i < image.bytes.size() / sizeof(T); ++i) {
        const std::size_t channel = i % channels;
        const std::size_t source = channels > 1 && channel < 3 ? i - channel + 2 - channel : i;
        T value;
        std::memcpy(&value, &image.bytes[source * sizeof(T)], sizeof(T));
        text += (i == 0 ? "" : " ") + std::to_string(value);
    }
    return text + "\n";
}

/// The interpreter that has the foreign reader's library: the first one of the search path, or the system's, which
/// the first one may hide. Empty where neither has it.
std::string FindPython()
{
    for (const std::string python : {"python3", "/usr/bin/python3"}) {
        const std::string command = python + " -c 'import PIL' >/dev/null 2>&1";
        if (std::system(command.c_str()) == 0) { // NOLINT(concurrency-mt-unsafe)
            return python;
        }
    }
    return {};
}

TEST(WriteImages, AreWhatAForeignProgramReads)
{
    const std::string python = FindPython();
    if (python.empty()) {
        GTEST_SKIP() << "needs python3 with PIL";
    }
    const CTemporaryFolder folder;
    TestSupport::WriteFile(folder / "read.py", c_ForeignReader);
    std::string command = python + " " + (folder / "read.py");
    std::string expected;
    const auto write = [&](CWriter writer, const CPixels& image, const std::string& head,
                           const std::string& pixels) {
        const std::string path = folder / head;
        ASSERT_TRUE(writer(path, View(image))) << head;
        command += " '" + path + "'";
        expected += head + " 5 3\n" + pixels;
    };
    const CPixels grey = RandomImage(5, 3, EPixelFormat::eGray8, 1);
    const CPixels colour = RandomImage(5, 3, EPixelFormat::eBgr8, 2);
    const CPixels alpha = RandomImage(5, 3, EPixelFormat::eBgra8, 3);
    const std::array<std::pair<CWriter, std::string>, 3> writers{
        {{WriteTiff, "TIFF"}, {WritePng, "PNG"}, {WriteBmp, "BMP"}}};
    for (const auto& [writer, name] : writers) {
        write(writer, grey, name + " L", Print<std::uint8_t>(grey));
        write(writer, colour, name + " RGB", Print<std::uint8_t>(colour));
        write(writer, alpha, name + " RGBA", Print<std::uint8_t>(alpha));
    }
    const CPixels wide = RandomImage(5, 3, EPixelFormat::eGray16, 4);
    write(WriteTiff, wide, "TIFF I;16", Print<std::uint16_t>(wide));
    const CPixels integers = RandomImage(5, 3, EPixelFormat::eGrayInt32, 5);
    write(WriteTiff, integers, "TIFF I", Print<std::int32_t>(integers));
    ASSERT_EQ(std::system((command + " >" + (folder / "text")).c_str()), 0); // NOLINT(concurrency-mt-unsafe)
    EXPECT_EQ(TestSupport::ReadFile(folder / "text"), expected);
}

TEST(ReadImageFile, TellsFilesThatAreNotThere)
{
    const CTemporaryFolder folder;
    CPixels image = c_TwoColours;
    std::string description;
    for (const std::string& path : {folder / "missing.png", folder.GetPath().string(), std::string(),
                                    std::string("/dev/zero"), folder / "no/image.tif"}) {
        EXPECT_EQ(ReadImageFile(path, image, description), EImageFileResult::eNotFound) << path;
        EXPECT_EQ(description, "no such file");
    }
    ExpectEqual(image, c_TwoColours);
}

TEST(ReadImageFile, TellsTheKindByContentNotByName)
{
    const CTemporaryFolder folder;
    ASSERT_TRUE(WritePng(folder / "image.bmp", View(c_TwoColours)));
    CPixels image;
    std::string description;
    EXPECT_EQ(ReadImageFile(folder / "image.bmp", image, description), EImageFileResult::eOk);
    EXPECT_EQ(description, "8-bit RGB PNG");
    ExpectEqual(image, c_TwoColours);

    TestSupport::WriteFile(folder / "image.png", "a text");
    EXPECT_EQ(ReadImageFile(folder / "image.png", image, description), EImageFileResult::eUnsupported);
    EXPECT_EQ(description, "no image file of a known kind");
    TestSupport::WriteFile(folder / "image.tif", "");
    EXPECT_EQ(ReadImageFile(folder / "image.tif", image, description), EImageFileResult::eBroken);
    EXPECT_EQ(description, "an empty file");
}

TEST(ReadImageFile, RefusesFilesBeyondTheLimitUnread)
{
    const CTemporaryFolder folder;
    const std::string path = folder / "image";
    TestSupport::WriteFile(path, "BM");
    std::filesystem::resize_file(path, (std::uintmax_t{512} << 20) + 1); // a hole that takes no room
    CPixels image;
    std::string description;
    EXPECT_EQ(ReadImageFile(path, image, description), EImageFileResult::eUnsupported);
    EXPECT_EQ(description, "a file of 536870913 bytes, which is too large");
}

TEST(ReadImageFile, TakesPathsThatAreNoUtf8)
{
    const CTemporaryFolder folder;
    const std::filesystem::path path = folder / "\xE4\xFF image";
    ASSERT_TRUE(WriteTiff(path, View(c_TwoColours)));
    CPixels image;
    std::string description;
    EXPECT_EQ(ReadImageFile(path, image, description), EImageFileResult::eOk);
    ExpectEqual(image, c_TwoColours);
}

TEST(ReadImage, RefusesWhatOnlyBeginsLikeAnImage)
{
    using namespace std::string_literals;
    for (const std::string& start : {"II*\0"s, "MM\0*"s, "II+\0"s, "MM\0+"s, "\x89PNG"s, "\xFF\xD8\xFF"s,
                                     "BM"s, "P5 "s, "P2\n"s, "Pf\t"s, "PF#"s}) {
        for (const std::string& rest :
             {""s, "\0"s, "\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0"s, std::string(1000, '\xFF'),
              std::string(1000, '\0'), std::string(1000, '9'), std::string(1000, '#')}) {
            const CRead read = Read(Bytes(start + rest));
            EXPECT_NE(read.result, EImageFileResult::eOk) << start << rest;
            EXPECT_FALSE(read.description.empty());
        }
    }
    for (const std::string& text : {"x"s, "P"s, "P5"s, "B"s, "II"s, "\xFF\xD8"s, "GIF89a"s, "\0"s}) {
        ExpectUnsupported(Bytes(text), "no image file of a known kind");
    }
}

TEST(ReadImage, RunsOnManyThreads)
{
    const CTemporaryFolder folder;
    std::vector<std::vector<std::byte>> files;
    const CPixels image = RandomImage(40, 30, EPixelFormat::eBgr8, 1);
    for (const CWriter write : {WriteTiff, WritePng, WriteBmp}) {
        ASSERT_TRUE(write(folder / "image", View(image)));
        files.push_back(Bytes(TestSupport::ReadFile(folder / "image")));
        files.push_back({files.back().begin(), files.back().end() - 20}); // and one that is cut short
    }
    std::atomic<int> wrong = 0;
    {
        std::vector<std::jthread> threads;
        for (int thread = 0; thread < 4; ++thread) {
            threads.emplace_back([&] {
                for (int round = 0; round < 20; ++round) {
                    for (std::size_t i = 0; i < files.size(); ++i) {
                        const CRead read = Read(files[i]);
                        const bool isRight = i % 2 == 0 ? read.image.bytes == image.bytes
                                                        : read.result == EImageFileResult::eBroken;
                        wrong += isRight ? 0 : 1;
                    }
                }
            });
        }
    }
    EXPECT_EQ(wrong, 0);
}

} // namespace
} // namespace platform
