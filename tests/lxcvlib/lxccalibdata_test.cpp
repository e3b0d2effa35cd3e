// Tests of the working images of a calibration step.
#include "lxccalibdata.h"

#include "lxcframegrabberreqs.h"

#include "orx/logging/logger.h"
#include "stringutils.h"
#include "tests/support/temporaryfolder.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace LxCV {
namespace {

constexpr int kWidth = 5;
constexpr int kHeight = 3;

LxCCalibData::EImage Number(int number)
{
    return static_cast<LxCCalibData::EImage>(number);
}

TEST(LxCCalibData, StartsWithEmptyImages)
{
    const LxCCalibData data;
    EXPECT_FALSE(data.IsInitialized());
    EXPECT_FALSE(data.IsCamMaskInUse());
    EXPECT_FALSE(data.IsProjMaskInUse());
    EXPECT_EQ(data.GetBitDepth(), 0);
    for (int number = 1; number <= 25; ++number) {
        EXPECT_FALSE(data.GetImage(Number(number)).IsValid()) << number;
    }
}

TEST(LxCCalibData, InitGivesEveryImageItsTypeAndSize)
{
    LxCCalibData data;
    data.SetCamMaskInUse(true);
    data.SetProjMaskInUse(true);
    data.Init(kWidth, kHeight);
    EXPECT_TRUE(data.IsInitialized());
    EXPECT_FALSE(data.IsCamMaskInUse());
    EXPECT_FALSE(data.IsProjMaskInUse());
    EXPECT_EQ(data.GetBitDepth(), 8);
    // By the type numbers of images: 1 is ARGB8, 4 INT32, 9 FLOAT32, 11 FLOAT32_3.
    const int types[25] = {11, 11, 1, 1, 9, 9, 4, 4, 4, 4, 1, 1, 1, 11, 11, 1, 1, 9, 4, 4, 4, 4, 1, 1, 1};
    for (int number = 1; number <= 25; ++number) {
        const CCTImage& image = data.GetImage(Number(number));
        EXPECT_EQ(static_cast<int>(image.GetDataType()), types[number - 1]) << number;
        EXPECT_EQ(image.GetWidth(), kWidth) << number;
        EXPECT_EQ(image.GetHeight(), kHeight) << number;
        const auto* bytes = static_cast<const std::uint8_t*>(image.GetBuffer());
        for (int i = 0; i < image.BytesPerLine() * kHeight; ++i) {
            ASSERT_EQ(bytes[i], 0) << number;
        }
    }
}

TEST(LxCCalibData, InitAnewClearsAndResizes)
{
    LxCCalibData data;
    data.Init(kWidth, kHeight);
    data.GetImage(LxCCalibData::eCamHorEdges).SetInt32PixelFast(1, 1, 77);
    data.Init(kWidth, kHeight);
    EXPECT_EQ(data.GetImage(LxCCalibData::eCamHorEdges).GetInt32PixelFast(1, 1), 0);
    data.Init(2, 2);
    EXPECT_EQ(data.GetImage(LxCCalibData::eProjSpare3).GetWidth(), 2);
    data.Init(-1, 4);
    EXPECT_EQ(data.GetImage(LxCCalibData::eCamImage).GetWidth(), 0);
    EXPECT_TRUE(data.IsInitialized());
}

TEST(LxCCalibData, TakesTheSizeOfConvertedImagesFromRequirements)
{
    const auto reqs = std::make_shared<LxCFrameGrabberReqs>();
    reqs->setWidth(7);
    reqs->setHeight(6);
    LxCCalibData data;
    data.Init(reqs);
    EXPECT_TRUE(data.IsInitialized());
    EXPECT_EQ(data.GetImage(LxCCalibData::eCamImage).GetWidth(), 7);
    EXPECT_EQ(data.GetImage(LxCCalibData::eProjSpare3).GetHeight(), 6);
    LxCCalibData untouched;
    untouched.Init(nullptr);
    EXPECT_FALSE(untouched.IsInitialized());
}

TEST(LxCCalibData, NumbersOutsideTheImagesAreRefused)
{
    LxCCalibData data;
    const LxCCalibData& constData = data;
    EXPECT_THROW(data.GetImage(Number(0)), std::out_of_range);
    EXPECT_THROW(data.GetImage(Number(26)), std::out_of_range);
    EXPECT_THROW(constData.GetImage(Number(-1)), std::out_of_range);
}

LxCCalibData MarkedData()
{
    LxCCalibData data;
    data.Init(kWidth, kHeight);
    data.GetImage(LxCCalibData::eProjVerIds).SetInt32PixelFast(4, 2, 99);
    data.GetImage(LxCCalibData::eProjVerIds).SetId(7);
    data.SetProjMaskInUse(true);
    return data;
}

void ExpectMarked(const LxCCalibData& data)
{
    EXPECT_TRUE(data.IsInitialized());
    EXPECT_TRUE(data.IsProjMaskInUse());
    EXPECT_FALSE(data.IsCamMaskInUse());
    EXPECT_EQ(data.GetBitDepth(), 8);
    std::int32_t word = 0;
    const CCTImage& image = data.GetImage(LxCCalibData::eProjVerIds);
    ASSERT_EQ(image.GetWidth(), kWidth);
    std::memcpy(&word, static_cast<const std::uint8_t*>(image.GetBuffer()) + (2 * kWidth + 4) * 4, 4);
    EXPECT_EQ(word, 99);
    EXPECT_EQ(image.GetId(), 7);
}

TEST(LxCCalibData, CopiesAreDeepAndComplete)
{
    const LxCCalibData source = MarkedData();
    LxCCalibData copy(source);
    LxCCalibData assigned;
    assigned.Init(9, 9);
    assigned = source;
    assigned = *&assigned;
    copy.GetImage(LxCCalibData::eProjVerIds).SetInt32PixelFast(0, 0, 1);
    ExpectMarked(source);
    ExpectMarked(copy);
    ExpectMarked(assigned);
    EXPECT_NE(source.GetImage(LxCCalibData::eCamImage).GetBuffer(),
              assigned.GetImage(LxCCalibData::eCamImage).GetBuffer());
}

TEST(LxCCalibData, AssignmentTakesImagesOfAnotherPixelSizeAndForeignMemory)
{
    std::vector<float> foreign(static_cast<std::size_t>(kWidth) * kHeight, 2.5F);
    LxCCalibData source;
    source.GetImage(LxCCalibData::eCamImage) =
        CCTImage(kWidth, kHeight, CCTImage::eIDT_FLOAT32, false, foreign.data());
    LxCCalibData target;
    target.Init(kWidth, kHeight);
    target = source;
    foreign.assign(foreign.size(), 0.0F);
    EXPECT_EQ(target.GetImage(LxCCalibData::eCamImage).GetDataType(), CCTImage::eIDT_FLOAT32);
    EXPECT_EQ(target.GetImage(LxCCalibData::eCamImage).GetFloatPixelFast(4, 2), 2.5F);
}

TEST(LxCCalibData, MovesLeaveAUsableObject)
{
    LxCCalibData source = MarkedData();
    LxCCalibData moved(std::move(source));
    ExpectMarked(moved);
    EXPECT_FALSE(source.IsInitialized());
    source.Init(2, 2);
    EXPECT_EQ(source.GetImage(LxCCalibData::eProjSpare3).GetWidth(), 2);
    LxCCalibData target;
    target = std::move(moved);
    ExpectMarked(target);
    moved.Init(1, 1);
    EXPECT_TRUE(moved.IsInitialized());
}

const std::map<std::string, int> c_DumpedImages{
    {"_CamCalibImg", 4},     {"_HorEdgeImgCam", 7}, {"_VerEdgeImgCam", 8},  {"_HorIdImgCam", 10},
    {"_VerIdImgCam", 9},     {"_ProjCalibImg", 17}, {"_ProjCalibMask", 16}, {"_HorEdgeImgProj", 19},
    {"_VerEdgeImgProj", 20}, {"_HorIdImgProj", 22}, {"_VerIdImgProj", 21}};

/// The first pixel of each image is its number.
LxCCalibData NumberedData()
{
    LxCCalibData data;
    data.Init(kWidth, kHeight);
    for (int number = 1; number <= 25; ++number) {
        data.GetImage(Number(number)).SetPixel(0, 0, static_cast<unsigned long>(number));
    }
    return data;
}

/// The folder of a base holds the files of all dumped images, and nothing else.
void ExpectDump(const std::string& base, const std::string& name)
{
    const ::TestSupport::CTemporaryFolder folder;
    std::filesystem::create_directory(folder / "in.png");
    ASSERT_EQ(NumberedData().DumpAllImages(s2ws(folder / "in.png/" + base)), 0);
    std::set<std::string> expected;
    for (const auto& [suffix, number] : c_DumpedImages) {
        expected.insert(name + suffix + ".tif");
        CCTImage image;
        ASSERT_EQ(image.Load(folder / "in.png/" + name + suffix + ".tif"), 0);
        EXPECT_EQ(image.GetInt32PixelFast(0, 0), number) << suffix;
        EXPECT_EQ(image.GetDataType(), NumberedData().GetImage(Number(number)).GetDataType()) << suffix;
    }
    std::set<std::string> found;
    for (const auto& entry : std::filesystem::directory_iterator(folder / "in.png")) {
        found.insert(entry.path().filename().string());
    }
    EXPECT_EQ(found, expected);
}

TEST(LxCCalibData, DumpNamesElevenImagesAfterTheirContent)
{
    ExpectDump("step", "step");
    ExpectDump("größe", "größe");
    ExpectDump("", "");
}

TEST(LxCCalibData, DumpPutsTheSuffixBeforeTheExtensionOfAnImage)
{
    ExpectDump("step.tif", "step");
    ExpectDump("step.tiff", "step");
    ExpectDump("step.2.bmp", "step.2");
    ExpectDump(".jpeg", "");
}

TEST(LxCCalibData, DumpKeepsOtherPointsOfTheBase)
{
    ExpectDump("step.2", "step.2");
    ExpectDump("v1.0.dat", "v1.0.dat");
    ExpectDump("tiff", "tiff");
    ExpectDump("a.xtiff", "a.xtiff");
    ExpectDump("end.", "end.");
}

TEST(LxCCalibData, DumpSavesInTheFixedOrder)
{
    const ::TestSupport::CTemporaryFolder folder;
    const Logging::CCapture log;
    EXPECT_EQ(NumberedData().DumpAllImages(s2ws(folder / "none/a")), 1);
    const std::vector<std::wstring> suffixes{L"_CamCalibImg",   L"_HorEdgeImgCam",  L"_VerEdgeImgCam",
                                             L"_HorIdImgCam",   L"_VerIdImgCam",    L"_ProjCalibImg",
                                             L"_ProjCalibMask", L"_HorEdgeImgProj", L"_VerEdgeImgProj",
                                             L"_HorIdImgProj",  L"_VerIdImgProj"};
    const auto records = log.GetRecords();
    ASSERT_EQ(records.size(), suffixes.size());
    for (std::size_t i = 0; i < records.size(); ++i) {
        EXPECT_EQ(records[i].text,
                  L"the file " + s2ws(folder / "none/a") + suffixes[i] + L".tif could not be written!\n");
    }
}

TEST(LxCCalibData, DumpGoesOnAfterAnImageThatCannotBeSaved)
{
    const ::TestSupport::CTemporaryFolder folder;
    LxCCalibData data = NumberedData();
    data.GetImage(LxCCalibData::eCamDebugImage) = CCTImage(2, 2, CCTImage::eIDT_INT8, true, nullptr);
    const Logging::CCapture log;
    EXPECT_EQ(data.DumpAllImages(s2ws(folder / "a")), 8);
    EXPECT_EQ(log.Count(Logging::ELevel::eError, L"ORX.Lumorad.CCTImage", L"Save: Unsupported image type\n"),
              1);
    EXPECT_FALSE(std::filesystem::exists(folder / "a_CamCalibImg.tif"));
    EXPECT_TRUE(std::filesystem::exists(folder / "a_VerIdImgProj.tif"));
}

TEST(LxCCalibData, DumpWithoutImagesSavesNothing)
{
    const ::TestSupport::CTemporaryFolder folder;
    const Logging::CCapture log;
    EXPECT_EQ(LxCCalibData().DumpAllImages(s2ws(folder / "a")), 8);
    EXPECT_EQ(log.GetRecords().size(), 11U);
    EXPECT_TRUE(std::filesystem::is_empty(folder.GetPath()));
}

} // namespace
} // namespace LxCV
