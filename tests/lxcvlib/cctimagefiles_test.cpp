#include "cctimage.h"

#include "orx/logging/logger.h"
#include "orx/platform/imagecodec.h"
#include "orx/platform/paths.h"
#include "stringutils.h"
#include "tests/lxcvlib/imageopstestsupport.h"
#include "tests/support/temporaryfolder.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

namespace LxCV {
namespace {

using namespace TestSupport;
using Logging::ELevel;
using ::TestSupport::CTemporaryFolder;
using ::TestSupport::ReadFile;
using ::TestSupport::WriteFile;

using Bytes = std::vector<std::uint8_t>;
using Saver = Image::EReturnCode (Image::*)(const std::string&) const;
using Loader = Image::EReturnCode (Image::*)(const std::string&);

constexpr Loader c_Load = &Image::Load;
constexpr Loader c_LoadARGB = &Image::LoadARGB;
constexpr Saver c_SaveTif = &Image::SaveTif;
constexpr Saver c_SavePNG = &Image::SavePNG;
constexpr Saver c_SaveBmp = &Image::SaveBmp;

/// A log with one line, an error of the image channel.
void ExpectOneError(const Logging::CCapture& log, const std::wstring& text)
{
    EXPECT_EQ(log.GetRecords().size(), 1U);
    EXPECT_EQ(log.Count(ELevel::eError, c_sChannel, text), 1) << ws2s(text);
}

/// Loading fails with the code and one line, and the image stands.
void ExpectLoadFails(Loader load, const std::string& path, int code, const std::wstring& text)
{
    Image image = MarkedImage(3, 2, Image::eIDT_UINT16);
    image.SetPathname("before");
    const void* const buffer = image.GetBuffer();
    const Logging::CCapture log;
    EXPECT_EQ((image.*load)(path), code) << path;
    ExpectOneError(log, text);
    EXPECT_EQ(image.GetBuffer(), buffer);
    EXPECT_EQ(image.GetWidth(), 3);
    EXPECT_EQ(image.GetDataType(), Image::eIDT_UINT16);
    EXPECT_EQ(image.GetPathname(), "before");
    EXPECT_TRUE(IsUntouched(image));
}

void ExpectSaves(Saver save, const Image& image, const std::string& path, int loadedType)
{
    ASSERT_EQ((image.*save)(path), 0);
    Image back;
    ASSERT_EQ(back.Load(path), 0);
    EXPECT_EQ(back.GetDataType(), loadedType);
    EXPECT_EQ(back.GetWidth(), image.GetWidth());
    EXPECT_EQ(back.GetHeight(), image.GetHeight());
    EXPECT_EQ(BytesOf(back), BytesOf(image));
    EXPECT_EQ(back.GetPathname(), path);
}

/// A type of grey that stands for colour comes back as plain grey.
int LoadedType(int type)
{
    return type == Image::eIDT_GRAY8 ? static_cast<int>(Image::eIDT_UINT8) : type;
}

TEST(CCTImageFiles, FileNamesOfImagesEndInOneOfEightWays)
{
    for (const std::string ending : {".tif", "tiff", ".png", ".jpg", "jpeg", ".bmp", ".pfm", ".pgm"}) {
        for (const std::string& path : {ending, "a" + ending, "C:\\images\\a.b" + ending}) {
            EXPECT_TRUE(Image::IsValidFilename(path)) << path;
            EXPECT_TRUE(Image::IsValidFilename(s2ws(path))) << path;
        }
        EXPECT_FALSE(Image::IsValidFilename(ending.substr(1)));
        EXPECT_FALSE(Image::IsValidFilename(ending + " "));
    }
    for (const std::string path : {"", "a", "tif", "a.TIF", "a.gif", "a.csv", "a.png/", "png", "a.tif.txt"}) {
        EXPECT_FALSE(Image::IsValidFilename(path)) << path;
        EXPECT_FALSE(Image::IsValidFilename(s2ws(path))) << path;
    }
}

TEST(CCTImageFiles, TiffsKeepEveryType)
{
    const CTemporaryFolder folder;
    for (const SType& type : c_aTypes) {
        for (const auto& [width, height] : {std::pair{1, 1}, {3, 2}, {97, 41}}) {
            SCOPED_TRACE(std::to_string(type.number) + ": " + std::to_string(width));
            ExpectSaves(c_SaveTif, RandomImage(width, height, type.number, 1), folder / "a.tif",
                        LoadedType(type.number));
        }
    }
}

TEST(CCTImageFiles, PngsKeepBytesOfGreyAndColorAndWordsOfGrey)
{
    const CTemporaryFolder folder;
    for (const SType& type : c_aTypes) {
        const Image image = RandomImage(5, 3, type.number, 2);
        switch (type.number) {
        case Image::eIDT_ARGB8:
        case Image::eIDT_BGRU8:
        case Image::eIDT_UINT16:
        case Image::eIDT_UINT8:
        case Image::eIDT_GRAY8:
            ExpectSaves(c_SavePNG, image, folder / "a.png", LoadedType(type.number));
            break;
        default:
            const Logging::CCapture log;
            EXPECT_EQ(image.SavePNG(folder / "b.png"), 6);
            ExpectOneError(log, L"CCTImage::SavePNG: An image of data type " + std::to_wstring(type.number) +
                                    L" and 5 by 3 pixels cannot be written!\n");
        }
    }
    EXPECT_FALSE(std::filesystem::exists(folder / "b.png"));
}

TEST(CCTImageFiles, BmpsKeepBytesOfGreyAndColor)
{
    const CTemporaryFolder folder;
    for (const SType& type : c_aTypes) {
        const Image image = RandomImage(5, 3, type.number, 3);
        switch (type.number) {
        case Image::eIDT_ARGB8:
        case Image::eIDT_BGRU8:
        case Image::eIDT_UINT8:
        case Image::eIDT_GRAY8:
            ExpectSaves(c_SaveBmp, image, folder / "a.bmp", LoadedType(type.number));
            break;
        default:
            const Logging::CCapture log;
            EXPECT_EQ(image.SaveBmp(folder / "b.bmp"), 6);
            ExpectOneError(log, L"CCTImage::SaveBmp: An image of data type " + std::to_wstring(type.number) +
                                    L" and 5 by 3 pixels cannot be written!\n");
        }
    }
    EXPECT_FALSE(std::filesystem::exists(folder / "b.bmp"));
}

TEST(CCTImageFiles, ImagesWithoutPixelsOrTypeAreNotWritten)
{
    const CTemporaryFolder folder;
    const Image untyped(2, 2, Image::eIDT_Undefined, true, nullptr);
    const Image noRows(2, 0, Image::eIDT_UINT8, true, nullptr);
    const Image hollow = Hollow(2, 2, Image::eIDT_UINT8);
    const CBeliedImage belied(2, 2, Image::eIDT_FLOAT64, 1);
    for (const Image* const image : {&untyped, &noRows, &hollow, static_cast<const Image*>(&belied)}) {
        const Logging::CCapture log;
        EXPECT_EQ(image->SaveTif(folder / "a"), 6);
        ExpectOneError(log, L"CCTImage::SaveTif: The temporary image for export could not be created.");
        EXPECT_EQ(image->SavePNG(folder / "a"), 6);
        EXPECT_EQ(image->SaveBmp(folder / "a"), 6);
    }
    EXPECT_TRUE(std::filesystem::is_empty(folder.GetPath()));
}

TEST(CCTImageFiles, FileThatCannotBeWrittenIsAFailure)
{
    const CTemporaryFolder folder;
    const std::string path = folder / "none/a.bmp";
    for (const Saver save : {c_SaveTif, c_SavePNG, c_SaveBmp}) {
        const Logging::CCapture log;
        EXPECT_EQ((RandomImage(2, 2, Image::eIDT_UINT8, 4).*save)(path), 1);
        ExpectOneError(log, L"the file " + s2ws(path) + L" could not be written!\n");
    }
}

TEST(CCTImageFiles, MissingFileLeavesTheImage)
{
    const CTemporaryFolder folder;
    for (const Loader load : {c_Load, c_LoadARGB}) {
        const std::string path = folder / "ü.tif";
        ExpectLoadFails(load, path, 3, L"the file " + s2ws(path) + L" could not be found or opened!\n");
        ExpectLoadFails(load, "", 3, L"the file  could not be found or opened!\n");
        const std::string noFile = folder.GetPath().string();
        ExpectLoadFails(load, noFile, 3, L"the file " + s2ws(noFile) + L" could not be found or opened!\n");
    }
}

TEST(CCTImageFiles, UnknownPixelsLeaveTheImage)
{
    const CTemporaryFolder folder;
    WriteFile(folder / "a.png", "P6 1 1 255 abc");
    WriteFile(folder / "b.png", "text");
    for (const Loader load : {c_Load, c_LoadARGB}) {
        ExpectLoadFails(load, folder / "a.png", 8,
                        L"Der Datentyp des geladenen Bildes (RGB PPM) wird nicht unterstützt!\n");
        ExpectLoadFails(load, folder / "b.png", 8,
                        L"Der Datentyp des geladenen Bildes (no image file of a known kind) wird nicht "
                        L"unterstützt!\n");
    }
}

TEST(CCTImageFiles, FilesCutAnywhereLeaveTheImage)
{
    const CTemporaryFolder folder;
    const Image image = RandomImage(4, 3, Image::eIDT_BGRU8, 5);
    for (const Saver save : {c_SaveTif, c_SavePNG, c_SaveBmp}) {
        ASSERT_EQ((image.*save)(folder / "whole"), 0);
        const std::string whole = ReadFile(folder / "whole");
        for (std::size_t length = 0; length < whole.size(); ++length) {
            WriteFile(folder / "cut", whole.substr(0, length));
            Image target = MarkedImage(2, 2, Image::eIDT_INT8);
            const Logging::CCapture log;
            const int result = target.Load(folder / "cut");
            // The last bytes of a file may be ones that no pixel needs.
            if (result == 0) {
                EXPECT_EQ(BytesOf(target), BytesOf(image)) << length;
                continue;
            }
            EXPECT_TRUE(result == 1 || result == 8) << result << " at " << length;
            EXPECT_EQ(log.GetRecords().size(), 1U);
            EXPECT_TRUE(IsUntouched(target));
            EXPECT_EQ(target.LoadARGB(folder / "cut"), result);
            EXPECT_TRUE(IsUntouched(target));
        }
    }
}

TEST(CCTImageFiles, DamagedFileIsToldByItsName)
{
    const CTemporaryFolder folder;
    const std::string path = folder / "a.tif";
    WriteFile(path, "");
    for (const Loader load : {c_Load, c_LoadARGB}) {
        ExpectLoadFails(load, path, 1, L"the file " + s2ws(path) + L" is damaged: an empty file\n");
    }
}

TEST(CCTImageFiles, ColorLoadsAsPackedPixelsWithoutAlpha)
{
    const CTemporaryFolder folder;
    const std::string path = folder / "a.tif";
    ASSERT_EQ(ImageOf<std::uint8_t>(2, 1, Image::eIDT_BGRU8, {1, 2, 3, 253, 254, 255}).SaveTif(path), 0);
    Image image;
    ASSERT_EQ(image.LoadARGB(path), 0);
    EXPECT_EQ(image.GetDataType(), Image::eIDT_ARGB8);
    EXPECT_EQ(ValuesOf<std::uint32_t>(image), (std::vector<std::uint32_t>{0x00030201, 0x00FFFEFD}));
    EXPECT_EQ(image.GetPathname(), path);
}

TEST(CCTImageFiles, PackedPixelsKeepTheirAlpha)
{
    const CTemporaryFolder folder;
    ASSERT_EQ(ImageOf<std::uint32_t>(2, 1, Image::eIDT_ARGB8, {0x80030201, 0}).SavePNG(folder / "a"), 0);
    Image image;
    ASSERT_EQ(image.LoadARGB(folder / "a"), 0);
    EXPECT_EQ(ValuesOf<std::uint32_t>(image), (std::vector<std::uint32_t>{0x80030201, 0}));
}

TEST(CCTImageFiles, GreySpreadsOverPackedPixels)
{
    const CTemporaryFolder folder;
    ASSERT_EQ(ImageOf<std::uint8_t>(2, 1, Image::eIDT_UINT8, {7, 255}).SaveTif(folder / "a"), 0);
    ASSERT_EQ(ImageOf<float>(3, 1, Image::eIDT_FLOAT32, {6.5F, -1.0F, 300.0F}).SaveTif(folder / "b"), 0);
    Image image;
    ASSERT_EQ(image.LoadARGB(folder / "a"), 0);
    EXPECT_EQ(image.GetDataType(), Image::eIDT_ARGB8);
    EXPECT_EQ(ValuesOf<std::uint32_t>(image), (std::vector<std::uint32_t>{0x070707, 0xFFFFFF}));
    ASSERT_EQ(image.LoadARGB(folder / "b"), 0);
    EXPECT_EQ(ValuesOf<std::uint32_t>(image), (std::vector<std::uint32_t>{0x070707, 0, 0xFFFFFF}));
}

TEST(CCTImageFiles, TypesWithoutAColorFormDoNotLoadAsPackedPixels)
{
    const CTemporaryFolder folder;
    ASSERT_EQ(RandomImage(2, 2, Image::eIDT_UINT16, 6).SaveTif(folder / "a"), 0);
    ExpectLoadFails(c_LoadARGB, folder / "a", 8,
                    L"Der Datentyp des geladenen Bildes (16-bit grey TIFF) wird nicht unterstützt!\n");
}

TEST(CCTImageFiles, WrappingImageOwnsWhatItLoads)
{
    const CTemporaryFolder folder;
    ASSERT_EQ(ImageOf<std::uint8_t>(2, 1, Image::eIDT_UINT8, {7, 9}).SaveTif(folder / "a"), 0);
    Bytes memory{1, 2};
    COpenImage image(2, 1, Image::eIDT_UINT8, false, memory.data());
    ASSERT_EQ(image.Load(folder / "a"), 0);
    EXPECT_TRUE(image.OwnsBuffer());
    EXPECT_EQ(BytesOf(image), (Bytes{7, 9}));
    EXPECT_EQ(memory, (Bytes{1, 2}));
}

TEST(CCTImageFiles, LoadingReplacesNoOtherAttribute)
{
    const CTemporaryFolder folder;
    ASSERT_EQ(RandomImage(2, 1, Image::eIDT_UINT8, 7).SaveTif(folder / "a"), 0);
    Image image = RandomImage(4, 4, Image::eIDT_FLOAT64, 8);
    SetAttributes(image);
    ASSERT_EQ(image.Load(folder / "a"), 0);
    EXPECT_EQ(image.GetPathname(), folder / "a");
    image.SetPathname("path");
    ExpectAttributes(image, 17);
}

TEST(CCTImageFiles, PathsAreUtf8AndTakeBothSeparators)
{
    const CTemporaryFolder folder;
    std::filesystem::create_directory(folder.GetPath() / "Zähne");
    const Image image = RandomImage(3, 3, Image::eIDT_BGRU8, 9);
    const std::wstring path = s2ws(folder / "Zähne\\Köpfe.bmp");
    EXPECT_EQ(image.SaveBmp(path), 0);
    EXPECT_TRUE(std::filesystem::exists(folder / "Zähne/Köpfe.bmp"));
    EXPECT_EQ(image.SaveTif(path), 0);
    EXPECT_EQ(image.SavePNG(path), 0);
    Image back;
    EXPECT_EQ(back.Load(path), 0);
    EXPECT_EQ(BytesOf(back), BytesOf(image));
    EXPECT_EQ(back.LoadARGB(path), 0);
    EXPECT_EQ(back.GetPathname(), folder / "Zähne\\Köpfe.bmp");
}

TEST(CCTImageFiles, ImagesAreMadeOfFiles)
{
    const CTemporaryFolder folder;
    const Image image = RandomImage(3, 3, Image::eIDT_BGRU8, 10);
    const std::string path = folder / "a.png";
    ASSERT_EQ(image.SavePNG(path), 0);
    EXPECT_EQ(BytesOf(Image(path)), BytesOf(image));
    EXPECT_EQ(BytesOf(Image(s2ws(path))), BytesOf(image));
    Image* made = nullptr;
    ASSERT_EQ(CreateImage(&made, path), 0);
    EXPECT_EQ(BytesOf(*made), BytesOf(image));
    delete std::exchange(made, nullptr);
    ASSERT_EQ(CreateImage(&made, s2ws(path)), 0);
    EXPECT_EQ(BytesOf(*made), BytesOf(image));
    delete made;
}

TEST(CCTImageFiles, ConstructorThrowsForAFileThatDoesNotLoad)
{
    const CTemporaryFolder folder;
    const Logging::CCapture log;
    EXPECT_EQ(TextOf([&] { Image(folder / "none"); }), "failed to load image");
    EXPECT_EQ(TextOf([&] { Image(s2ws(folder / "none")); }), "failed to load image");
}

TEST(CCTImageFiles, CreationFromAMissingFileTellsNoMemory)
{
    const CTemporaryFolder folder;
    const std::string path = folder / "none";
    Image other;
    Image* made = &other;
    const std::wstring text = L"CreateImage: failed to load image (" + s2ws(path) + L")\n";
    const Logging::CCapture log;
    EXPECT_EQ(CreateImage(&made, path), 10);
    EXPECT_EQ(log.Count(ELevel::eError, c_sChannel, text), 1);
    EXPECT_EQ(CreateImage(&made, s2ws(path)), 10);
    EXPECT_EQ(log.Count(ELevel::eError, c_sChannel, text), 2);
    EXPECT_EQ(made, &other);
    EXPECT_EQ(CreateImage(nullptr, path), 1);
    EXPECT_EQ(CreateImage(nullptr, s2ws(path)), 1);
}

} // namespace
} // namespace LxCV
