#include "imagecsv.h"

#include "orx/logging/logger.h"
#include "stringutils.h"
#include "tests/lxcvlib/imageopstestsupport.h"
#include "tests/support/temporaryfolder.h"

#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <random>
#include <string>
#include <sys/stat.h>
#include <vector>

namespace LxCV {
namespace {

using namespace TestSupport;
using Logging::ELevel;
using ::TestSupport::CTemporaryFolder;
using ::TestSupport::ReadFile;
using ::TestSupport::WriteFile;

template <typename T>
void ExpectRead(const std::string& text, int width, int height, int type, const std::vector<T>& values)
{
    Image image;
    std::string error;
    ASSERT_EQ(ReadCsv(text, image, error), 0) << text << error;
    EXPECT_EQ(image.GetWidth(), width) << text;
    EXPECT_EQ(image.GetHeight(), height) << text;
    EXPECT_EQ(image.GetDataType(), type) << text;
    EXPECT_EQ(ValuesOf<T>(image), values) << text;
}

void ExpectRefused(const std::string& text, int code, const std::string& expected)
{
    Image image;
    std::string error;
    EXPECT_EQ(ReadCsv(text, image, error), code) << text;
    EXPECT_EQ(error, expected) << text;
}

/// Loading fails with the code and the log line, and the image stands.
void ExpectLoadFails(const std::string& path, int code, const std::string& text)
{
    Image image = MarkedImage(3, 2, Image::eIDT_UINT16);
    const Logging::CCapture log;
    EXPECT_EQ(image.LoadCSV(path), code);
    EXPECT_EQ(log.GetRecords().size(), 1U);
    EXPECT_EQ(log.Count(ELevel::eError, c_sChannel, s2ws(text)), 1) << text;
    EXPECT_TRUE(IsUntouched(image));
    EXPECT_EQ(image.GetDataType(), Image::eIDT_UINT16);
    EXPECT_EQ(image.GetPathname(), "");
}

TEST(ImageCsv, RowsAreLinesAndPixelsAreNumbersWithCommas)
{
    EXPECT_EQ(WriteCsv(ImageOf<std::uint16_t>(3, 2, Image::eIDT_UINT16, {0, 1, 65535, 10, 20, 30}), 0),
              "# uint16\n0,1,65535\n10,20,30\n");
    EXPECT_EQ(WriteCsv(ImageOf<float>(1, 3, Image::eIDT_FLOAT32, {0.1F, -2.0F, 1e30F}), 0),
              "# float32\n0.1\n-2\n1e+30\n");
    EXPECT_EQ(WriteCsv(ImageOf<double>(2, 1, Image::eIDT_FLOAT64, {1.0 / 3.0, -0.0}), 0),
              "# float64\n0.3333333333333333,-0\n");
    EXPECT_EQ(WriteCsv(ImageOf<float>(3, 1, Image::eIDT_FLOAT32, {c_fInfinity, -c_fInfinity, c_fNan}), 0),
              "# float32\ninf,-inf,nan\n");
}

TEST(ImageCsv, TypeStandsInTheFirstLine)
{
    const std::vector<std::pair<int, std::string>> names{{3, "uint32"},  {4, "int32"},    {5, "uint16"},
                                                         {6, "int16"},   {7, "uint8"},    {8, "int8"},
                                                         {9, "float32"}, {10, "float64"}, {12, "gray8"}};
    for (const auto& [type, name] : names) {
        Image image(1, 1, TypeOf(type), true, nullptr);
        image.Clear();
        EXPECT_EQ(WriteCsv(image, 0), "# " + name + "\n0\n");
        EXPECT_EQ(WriteCsv(image, 1), "");
        EXPECT_EQ(WriteCsv(image, -1), "");
    }
}

TEST(ImageCsv, ChannelsOfColorsAreWrittenOneByOne)
{
    const Image bytes = ImageOf<std::uint8_t>(2, 1, Image::eIDT_BGRU8, {1, 2, 3, 4, 5, 6});
    EXPECT_EQ(WriteCsv(bytes, 0), "# uint8\n1,4\n");
    EXPECT_EQ(WriteCsv(bytes, 2), "# uint8\n3,6\n");
    EXPECT_EQ(WriteCsv(bytes, 3), "");
    const Image floats = ImageOf<float>(1, 2, Image::eIDT_FLOAT32_3, {1, 2, 3, 4, 5, 6});
    EXPECT_EQ(WriteCsv(floats, 1), "# float32\n2\n5\n");
}

TEST(ImageCsv, ImagesWithoutNumbersHaveNoText)
{
    EXPECT_EQ(WriteCsv(Image(), 0), "");
    EXPECT_EQ(WriteCsv(Hollow(2, 2, Image::eIDT_UINT8), 0), "");
    EXPECT_EQ(WriteCsv(CBeliedImage(2, 2, Image::eIDT_FLOAT64, 1), 0), "");
    EXPECT_EQ(WriteCsv(RandomImage(2, 2, Image::eIDT_ARGB8, 1), 0), "");
}

TEST(ImageCsv, EveryGreyReadsBackTheSame)
{
    for (const SType& type : c_aTypes) {
        if (type.channels != 1) {
            continue;
        }
        Image image = RandomImage(31, 17, type.number, 2);
        if (type.number == Image::eIDT_FLOAT32 || type.number == Image::eIDT_FLOAT64) {
            continue; // their bytes may be those of any of many NaNs; see below
        }
        Image back;
        std::string error;
        ASSERT_EQ(ReadCsv(WriteCsv(image, 0), back, error), 0) << error;
        EXPECT_TRUE(back.DoTypeAndDimMatchWith(image));
        EXPECT_EQ(BytesOf(back), BytesOf(image));
    }
}

template <typename T, typename Bits>
void ExpectFloatsReadBack(Image::EImageDataType type)
{
    std::mt19937_64 random(3);
    std::vector<T> values;
    while (values.size() < 20000) {
        const T value = std::bit_cast<T>(static_cast<Bits>(random()));
        values.push_back(value == value ? value : std::numeric_limits<T>::denorm_min());
    }
    const Image image = ImageOf<T>(100, 200, type, values);
    Image back;
    std::string error;
    ASSERT_EQ(ReadCsv(WriteCsv(image, 0), back, error), 0) << error;
    EXPECT_EQ(BytesOf(back), BytesOf(image));
}

TEST(ImageCsv, FloatsReadBackBitByBit)
{
    ExpectFloatsReadBack<float, std::uint32_t>(Image::eIDT_FLOAT32);
    ExpectFloatsReadBack<double, std::uint64_t>(Image::eIDT_FLOAT64);
}

TEST(ImageCsv, BlanksEmptyLinesAndRemarksDoNotCount)
{
    ExpectRead<float>("1,2\n3,4\n", 2, 2, Image::eIDT_FLOAT32, {1, 2, 3, 4});
    ExpectRead<float>("1.5", 1, 1, Image::eIDT_FLOAT32, {1.5F});
    ExpectRead<float>("\n\r\n 1 ,\t2\t\r\n\n# 5,6,7\n3,4", 2, 2, Image::eIDT_FLOAT32, {1, 2, 3, 4});
    ExpectRead<std::int8_t>("#int8 \r\n-128,127\r\n", 2, 1, Image::eIDT_INT8, {-128, 127});
    ExpectRead<std::uint8_t>("# uint8\n7\n#\n8\n", 1, 2, Image::eIDT_UINT8, {7, 8});
}

TEST(ImageCsv, TextsThatAreNoImageAreRefused)
{
    ExpectRefused("", 1, "no numbers");
    ExpectRefused("# float64\n\n \n#1\n", 1, "no numbers");
    ExpectRefused("# complex\n1\n", 8, "an unknown type in the first line");
    ExpectRefused("1,2\n3\n", 1, "row 2 has 1 columns, the first one 2");
    ExpectRefused("1\n2\n3,4", 1, "row 3 has 2 columns, the first one 1");
    ExpectRefused("1,2\n3,x\n", 1, "row 2, column 2: no number of the type: x");
    ExpectRefused("1,,2\n", 1, "row 1, column 2: no number of the type: ");
    ExpectRefused("1 2\n", 1, "row 1, column 1: no number of the type: 1 2");
    ExpectRefused("1;2\n", 1, "row 1, column 1: no number of the type: 1;2");
    ExpectRefused("+1\n", 1, "row 1, column 1: no number of the type: +1");
    ExpectRefused("1e39\n", 1, "row 1, column 1: no number of the type: 1e39");
    ExpectRefused("# uint8\n256\n", 1, "row 1, column 1: no number of the type: 256");
    ExpectRefused("# uint8\n-1\n", 1, "row 1, column 1: no number of the type: -1");
    ExpectRefused("# int32\n1.5\n", 1, "row 1, column 1: no number of the type: 1.5");
    ExpectRefused(std::string("1\0,2", 4), 1,
                  "row 1, column 1: no number of the type: " + std::string("1\0", 2));
    ExpectRefused(std::string(100, '9') + "x", 1,
                  "row 1, column 1: no number of the type: " + std::string(40, '9'));
}

TEST(ImageCsv, TextsCutAnywhereGiveFewerRowsOrNothing)
{
    const Image image = ImageOf<std::uint16_t>(3, 3, Image::eIDT_UINT16, {1, 20, 300, 4, 5, 6, 7000, 8, 9});
    const std::string text = WriteCsv(image, 0);
    for (std::size_t length = 0; length < text.size(); ++length) {
        Image cut;
        std::string error;
        const int result = ReadCsv(std::string_view(text).substr(0, length), cut, error);
        // Only whole rows fit together; a cut first row, line of the type or last number looks whole.
        if (result == 0) {
            EXPECT_LE(cut.GetWidth(), 3);
            EXPECT_LE(cut.GetHeight(), 3);
            EXPECT_EQ(cut.GetHeight() > 1, cut.GetWidth() == 3 && cut.GetHeight() > 1);
        } else {
            EXPECT_FALSE(error.empty());
        }
    }
}

TEST(ImageCsv, OneChannelIsOneFile)
{
    const CTemporaryFolder folder;
    const Image image = ImageOf<std::uint16_t>(2, 1, Image::eIDT_UINT16, {5, 6});
    ASSERT_EQ(image.SaveCSV(folder / "a"), 0);
    ASSERT_EQ(image.SaveCSV(s2ws(folder / "ü.csv")), 0);
    for (const std::string name : {"a", "ü"}) {
        EXPECT_EQ(ReadFile(folder / (name + ".csv")), "# uint16\n5,6\n");
        for (const std::string& path : {folder / name, folder / (name + ".csv")}) {
            Image back;
            ASSERT_EQ(back.LoadCSV(path), 0);
            EXPECT_EQ(back.GetPathname(), path);
            EXPECT_TRUE(back.DoTypeAndDimMatchWith(image));
            EXPECT_EQ(BytesOf(back), BytesOf(image));
            ASSERT_EQ(back.LoadCSV(s2ws(path)), 0);
        }
    }
}

TEST(ImageCsv, ThreeChannelsAreThreeFiles)
{
    const CTemporaryFolder folder;
    const Image image = ImageOf<float>(1, 2, Image::eIDT_FLOAT32_3, {1, 2, 3, 4, 5, 6.5F});
    ASSERT_EQ(image.SaveCSV(folder / "a.csv"), 0);
    EXPECT_EQ(ReadFile(folder / "a_B.csv"), "# float32\n1\n4\n");
    EXPECT_EQ(ReadFile(folder / "a_G.csv"), "# float32\n2\n5\n");
    EXPECT_EQ(ReadFile(folder / "a_R.csv"), "# float32\n3\n6.5\n");
    EXPECT_FALSE(std::filesystem::exists(folder / "a.csv"));
    const Image bytes = RandomImage(7, 5, Image::eIDT_BGRU8, 4);
    ASSERT_EQ(bytes.SaveCSV(folder / "b"), 0);
    Image back;
    ASSERT_EQ(back.LoadCSV(folder / "a"), 0);
    EXPECT_TRUE(back.DoTypeAndDimMatchWith(image));
    EXPECT_EQ(BytesOf(back), BytesOf(image));
    ASSERT_EQ(back.LoadCSV(folder / "b.csv"), 0);
    EXPECT_TRUE(back.DoTypeAndDimMatchWith(bytes));
    EXPECT_EQ(BytesOf(back), BytesOf(bytes));
    ASSERT_EQ(back.LoadCSV(folder / "a_R.csv"), 0);
    EXPECT_EQ(ValuesOf<float>(back), (std::vector<float>{3, 6.5F}));
}

TEST(ImageCsv, ImagesWithoutATextAreNotSaved)
{
    const CTemporaryFolder folder;
    const Logging::CCapture log;
    EXPECT_EQ(RandomImage(2, 2, Image::eIDT_ARGB8, 5).SaveCSV(folder / "a"), 8);
    EXPECT_EQ(Image().SaveCSV(folder / "a"), 8);
    EXPECT_EQ(log.Count(ELevel::eError, c_sChannel, L"SaveCSV: Unsupported image type\n"), 2);
    EXPECT_TRUE(std::filesystem::is_empty(folder.GetPath()));
}

TEST(ImageCsv, FileThatCannotBeWrittenIsAFailure)
{
    const CTemporaryFolder folder;
    const Logging::CCapture log;
    EXPECT_EQ(RandomImage(2, 2, Image::eIDT_UINT8, 5).SaveCSV(folder / "none/a"), 1);
    EXPECT_EQ(log.Count(ELevel::eError, c_sChannel,
                        L"the file " + s2ws(folder / "none/a.csv") + L" could not be written!\n"),
              1);
}

TEST(ImageCsv, FullDeviceIsAFailureAndStays)
{
    const CTemporaryFolder folder;
    std::filesystem::create_symlink("/dev/full", folder / "a.csv");
    const Logging::CCapture log;
    EXPECT_EQ(RandomImage(100, 100, Image::eIDT_UINT16, 5).SaveCSV(folder / "a"), 1);
    EXPECT_EQ(log.Count(ELevel::eError, c_sChannel,
                        L"the file " + s2ws(folder / "a.csv") + L" could not be written!\n"),
              1);
    EXPECT_TRUE(std::filesystem::is_symlink(folder / "a.csv"));
    EXPECT_TRUE(std::filesystem::exists("/dev/full"));
}

TEST(ImageCsv, FoldersAndPipesAreNoFiles)
{
    const CTemporaryFolder folder;
    const std::string path = folder / "a";
    std::filesystem::create_directory(folder / "a.csv");
    ASSERT_EQ(mkfifo((folder / "a_B.csv").c_str(), 0600), 0);
    ExpectLoadFails(path, 3, "the file " + path + " could not be found or opened!\n");
}

TEST(ImageCsv, FilesThatAreNoImageLeaveTheImage)
{
    const CTemporaryFolder folder;
    const std::string path = folder / "a";
    ExpectLoadFails(path, 3, "the file " + path + " could not be found or opened!\n");
    WriteFile(folder / "a_B.csv", "# uint8\n1,2\n");
    ExpectLoadFails(path, 3, "the file " + path + "_G.csv could not be found or opened!\n");
    WriteFile(folder / "a_G.csv", "# uint8\n3,4\n");
    WriteFile(folder / "a_R.csv", "# uint8\n5\n");
    ExpectLoadFails(path, 9, "LoadCSV: the channels of " + path + " do not make an image\n");
    WriteFile(folder / "a_R.csv", "# float32\n5,6\n");
    ExpectLoadFails(path, 8, "LoadCSV: the channels of " + path + " do not make an image\n");
    WriteFile(folder / "a_B.csv", "# int8\n5,6\n");
    ExpectLoadFails(path, 8, "LoadCSV: the channels of " + path + " do not make an image\n");
    WriteFile(folder / "a_R.csv", "# float32\n5,b\n");
    ExpectLoadFails(path, 1, "LoadCSV: " + path + "_R.csv: row 1, column 2: no number of the type: b\n");
    WriteFile(folder / "a.csv", "# half\n1\n");
    ExpectLoadFails(path, 8, "LoadCSV: " + path + ".csv: an unknown type in the first line\n");
}

TEST(ImageCsv, FileThatPromisesTerabytesIsNotRead)
{
    const CTemporaryFolder folder;
    const std::string path = folder / "a.csv";
    WriteFile(path, "1");
    std::filesystem::resize_file(path, (std::uintmax_t{1} << 30) + 1); // a hole, no blocks
    ExpectLoadFails(path, 8, "LoadCSV: " + path + " has more than 1073741824 bytes\n");
}

TEST(ImageFiles, SaveChoosesTheKindOfFileByTheType)
{
    const CTemporaryFolder folder;
    for (const SType& type : c_aTypes) {
        const std::string base = folder / std::to_string(type.number);
        std::filesystem::create_directory(base + ".d");
        const Image image = type.number == Image::eIDT_FLOAT32_3 ? Image(2, 2, Image::eIDT_FLOAT32_3, 1.5F)
                                                                 : RandomImage(2, 2, type.number, 6);
        const std::string path = base + ".d\\a.b.png";
        const std::string saved = base + ".d/a.b";
        switch (type.number) {
        case Image::eIDT_ARGB8:
        case Image::eIDT_BGRU8:
        case Image::eIDT_UINT32:
        case Image::eIDT_INT32:
        case Image::eIDT_UINT8:
        case Image::eIDT_GRAY8: {
            ASSERT_EQ(image.Save(path), 0);
            Image back;
            ASSERT_EQ(back.Load(saved + ".tif"), 0);
            EXPECT_EQ(BytesOf(back), BytesOf(image));
            break;
        }
        case Image::eIDT_UINT16:
        case Image::eIDT_FLOAT32:
        case Image::eIDT_FLOAT64:
            ASSERT_EQ(image.Save(path), 0);
            EXPECT_EQ(ReadFile(saved + ".csv"), WriteCsv(image, 0));
            break;
        case Image::eIDT_FLOAT32_3:
            ASSERT_EQ(image.Save(path), 0);
            EXPECT_EQ(ReadFile(saved + "_R.csv"), "# float32\n1.5,1.5\n1.5,1.5\n");
            break;
        default:
            const Logging::CCapture log;
            EXPECT_EQ(image.Save(path), 8);
            EXPECT_EQ(log.Count(ELevel::eError, c_sChannel, L"Save: Unsupported image type\n"), 1);
            EXPECT_TRUE(std::filesystem::is_empty(base + ".d"));
        }
    }
}

TEST(ImageFiles, SaveDropsNoPointOfAFolder)
{
    const CTemporaryFolder folder;
    std::filesystem::create_directory(folder / "a.b");
    const Image image = RandomImage(2, 2, Image::eIDT_UINT8, 7);
    ASSERT_EQ(image.Save(folder / "a.b/c"), 0);
    ASSERT_EQ(image.Save(s2ws(folder / "a.b\\d")), 0);
    EXPECT_TRUE(std::filesystem::exists(folder / "a.b/c.tif"));
    EXPECT_TRUE(std::filesystem::exists(folder / "a.b/d.tif"));
    const Image words = RandomImage(2, 2, Image::eIDT_UINT16, 7);
    ASSERT_EQ(words.Save(folder / "e.csv.tif"), 0);
    EXPECT_TRUE(std::filesystem::exists(folder / "e.csv.csv"));
}

TEST(ImageFiles, SaveOfNoPixelsOrNoTypeIsRefused)
{
    const CTemporaryFolder folder;
    const Logging::CCapture log;
    EXPECT_EQ(Image().Save(folder / "a"), 8);
    EXPECT_EQ(log.Count(ELevel::eError, c_sChannel, L"Save: Unsupported image type\n"), 1);
    EXPECT_EQ(Hollow(2, 2, Image::eIDT_UINT8).Save(folder / "a"), 6);
    EXPECT_EQ(Hollow(2, 2, Image::eIDT_FLOAT32).Save(folder / "a"), 8);
}

} // namespace
} // namespace LxCV
