#include "lxccolorcalibrationdata.h"

#include "cctimage.h"
#include "orx/logging/logger.h"
#include "orx/platform/unicode.h"
#include "tests/lxcvlib/colourcalibrationsupport.h"
#include "tests/lxcvlib/imagetestsupport.h"
#include "tests/support/temporaryfolder.h"

#include <gtest/gtest.h>

#include <bit>
#include <cstring>
#include <filesystem>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

namespace LxCV {
namespace {

using TestSupport::BytesOf;
using TestSupport::c_SomeMatrix;
using ::TestSupport::CTemporaryFolder;
using TestSupport::Fill;
using TestSupport::FolderText;
using TestSupport::WhiteImage;

constexpr float c_fNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float c_fInfinity = std::numeric_limits<float>::infinity();

static_assert(!std::is_copy_constructible_v<LxCColorCalibrationData>);

class CDataProbe : public LxCColorCalibrationData
{
public:
    using LxCColorCalibrationData::doAdditionalCalculationAfterSerialization;
};

class LxCColorCalibrationDataTest : public testing::Test
{
protected:
    std::string DataFile() const { return m_Folder / "ColorCalibrationData_cam.dat"; }
    std::string ImageFile() const { return m_Folder / "WhiteBalanceImage_cam.tif"; }
    bool Save(LxCColorCalibrationData& data) const { return data.SerializeToFile(m_sFolder, L"cam"); }
    bool Load(LxCColorCalibrationData& data) const { return data.SerializeFromFile(m_sFolder, L"cam"); }

    /// A record with its two files.
    void SaveRecord()
    {
        LxCColorCalibrationData data;
        Fill(data);
        ASSERT_TRUE(Save(data));
    }

    std::size_t CountFiles() const
    {
        const std::filesystem::recursive_directory_iterator files(m_Folder.GetPath());
        return static_cast<std::size_t>(std::distance(begin(files), end(files)));
    }

    TestSupport::CCalendar m_Calendar;
    CTemporaryFolder m_Folder;
    std::wstring m_sFolder = FolderText(m_Folder);
};

using Test = LxCColorCalibrationDataTest;

/// Little-endian words, as the data file has them.
std::string Words(const std::vector<std::uint32_t>& words)
{
    std::string bytes;
    for (const std::uint32_t word : words) {
        for (int shift = 0; shift < 32; shift += 8) {
            bytes += static_cast<char>(word >> shift);
        }
    }
    return bytes;
}

std::string DataFileOf(std::uint32_t version, const LxCColorCalibrationData::Matrix& matrix, float correction,
                       float shutterTime, float depth, const std::vector<std::uint32_t>& date)
{
    std::vector<std::uint32_t> words = {version};
    for (const float value : matrix) {
        words.push_back(std::bit_cast<std::uint32_t>(value));
    }
    for (const float value : {correction, shutterTime, depth}) {
        words.push_back(std::bit_cast<std::uint32_t>(value));
    }
    words.insert(words.end(), date.begin(), date.end());
    return Words(words);
}

const std::vector<std::uint32_t> c_Date = {2024, 3, 15, 0, 0, 0, 0};

/// That the record is one that nothing was set in.
void ExpectNew(const LxCColorCalibrationData& data)
{
    EXPECT_FALSE(data.IsColorCalibrationMatrixSet());
    EXPECT_FALSE(data.IsShutterCorrectionFactorSet());
    EXPECT_FALSE(data.IsReferenceDepthSet());
    EXPECT_FALSE(data.IsColorCalibrationShutterTimeSet());
    EXPECT_EQ(data.GetWhiteBalanceImg(), nullptr);
    EXPECT_EQ(data.GetAverageRGBinROI(), 0.0F);
    EXPECT_EQ(data.GetShutterTimeCorrectionFactor(), 0.0F);
    EXPECT_EQ(data.GetReferenceDepth(), 0.0F);
    EXPECT_EQ(data.GetColorCalibrationShutterTime(), 0.0F);
    const LxCColorCalibrationData::Matrix identity = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0};
    EXPECT_EQ(data.GetColorCalibrationMatrix(), identity);
    EXPECT_TRUE(data.GetCalibrationDate().IsNull());
    EXPECT_FALSE(data.IsColorCalibrationDataValid());
    EXPECT_TRUE(data.IsColorCalibrationDataExpired());
}

// ------------------------------------------------------------------------------------------------------- values

TEST_F(LxCColorCalibrationDataTest, IsAtFirstTheIdentityWithAZeroRightColumn)
{
    ExpectNew(LxCColorCalibrationData());
}

TEST_F(LxCColorCalibrationDataTest, SettersKeepTheirValueAndFlag)
{
    LxCColorCalibrationData data;
    EXPECT_TRUE(data.SetReferenceDepth(33.5F));
    EXPECT_TRUE(data.IsReferenceDepthSet());
    EXPECT_EQ(data.GetReferenceDepth(), 33.5F);
    EXPECT_FALSE(data.IsColorCalibrationShutterTimeSet());

    EXPECT_TRUE(data.SetColorCalibrationShutterTime(4.25F));
    EXPECT_TRUE(data.IsColorCalibrationShutterTimeSet());
    EXPECT_EQ(data.GetColorCalibrationShutterTime(), 4.25F);
    EXPECT_FALSE(data.IsShutterCorrectionFactorSet());

    EXPECT_TRUE(data.SetShutterTimeCorrectionFactor(1.5F));
    EXPECT_TRUE(data.IsShutterCorrectionFactorSet());
    EXPECT_EQ(data.GetShutterTimeCorrectionFactor(), 1.5F);
    EXPECT_TRUE(data.GetCalibrationDate().IsNull());
    EXPECT_FALSE(data.IsColorCalibrationMatrixSet());

    EXPECT_TRUE(data.SetColorCalibrationMatrix(c_SomeMatrix));
    EXPECT_TRUE(data.IsColorCalibrationMatrixSet());
    EXPECT_EQ(data.GetColorCalibrationMatrix(), c_SomeMatrix);
    EXPECT_EQ(data.GetCalibrationDate(), BtDateTime(2024, 3, 15));
}

TEST_F(LxCColorCalibrationDataTest, IsValidWithMatrixAndImage)
{
    LxCColorCalibrationData data;
    const CCTImage white = WhiteImage();
    data.SetWhiteBalanceImg(&white);
    EXPECT_FALSE(data.IsColorCalibrationDataValid());
    data.SetColorCalibrationMatrix(c_SomeMatrix);
    EXPECT_TRUE(data.IsColorCalibrationDataValid());
    data.SetWhiteBalanceImg(nullptr);
    EXPECT_FALSE(data.IsColorCalibrationDataValid());
}

TEST_F(LxCColorCalibrationDataTest, TheImageIsACopyInFloats)
{
    LxCColorCalibrationData data;
    CCTImage white = WhiteImage();
    const auto bytes = BytesOf(white);
    data.SetWhiteBalanceImg(&white);
    white.Clear();
    ASSERT_NE(data.GetWhiteBalanceImg(), nullptr);
    EXPECT_EQ(data.GetWhiteBalanceImg()->GetDataType(), CCTImage::eIDT_FLOAT32_3);
    EXPECT_EQ(BytesOf(*data.GetWhiteBalanceImg()), bytes);
    data.SetWhiteBalanceImg(data.GetWhiteBalanceImg());
    EXPECT_EQ(BytesOf(*data.GetWhiteBalanceImg()), bytes) << "its own image";
    EXPECT_EQ(data.GetAverageRGBinROI(), 0.0F);
}

TEST_F(LxCColorCalibrationDataTest, AnImageOfMorePixelsThanACameraHasIsNone)
{
    const CCTImage large(8192, 8193, CCTImage::eIDT_UINT8, true, nullptr); // a row above 2^26 pixels
    ASSERT_TRUE(large.IsValid());
    LxCColorCalibrationData data;
    data.SetWhiteBalanceImg(&large);
    EXPECT_EQ(data.GetWhiteBalanceImg(), nullptr);
}

TEST_F(LxCColorCalibrationDataTest, BytesAndGreysBecomeColourFloats)
{
    const std::uint8_t colour[3] = {10, 20, 30};
    CCTImage bytes(2, 2, CCTImage::eIDT_BGRU8, 0.0F);
    bytes.SetPixel(1, 0, colour);
    LxCColorCalibrationData data;
    data.SetWhiteBalanceImg(&bytes);
    ASSERT_NE(data.GetWhiteBalanceImg(), nullptr);
    float pixel[3] = {};
    data.GetWhiteBalanceImg()->GetPixel(1, 0, pixel);
    EXPECT_EQ(std::vector<float>(pixel, pixel + 3), (std::vector<float>{10.0F, 20.0F, 30.0F}));

    for (const CCTImage::EImageDataType type :
         {CCTImage::eIDT_UINT8, CCTImage::eIDT_GRAY8, CCTImage::eIDT_FLOAT32, CCTImage::eIDT_UINT16}) {
        CCTImage grey(3, 2, type, true, nullptr);
        grey.SetPixel(2, 1, type == CCTImage::eIDT_FLOAT32 ? std::bit_cast<std::uint32_t>(77.0F) : 77UL);
        data.SetWhiteBalanceImg(&grey);
        ASSERT_NE(data.GetWhiteBalanceImg(), nullptr) << type;
        EXPECT_EQ(data.GetWhiteBalanceImg()->GetDataType(), CCTImage::eIDT_FLOAT32_3);
        data.GetWhiteBalanceImg()->GetPixel(2, 1, pixel);
        EXPECT_EQ(std::vector<float>(pixel, pixel + 3), std::vector<float>(3, 77.0F)) << type;
    }
}

TEST_F(LxCColorCalibrationDataTest, WhatIsNoImageLeavesNone)
{
    LxCColorCalibrationData data;
    Fill(data);
    const CCTImage empty;
    data.SetWhiteBalanceImg(&empty);
    EXPECT_EQ(data.GetWhiteBalanceImg(), nullptr);
}

// ---------------------------------------------------------------------------------------------------------- age

TEST_F(LxCColorCalibrationDataTest, ExpiresTwoMonthsAfterTheMatrixWasSet)
{
    LxCColorCalibrationData data;
    data.SetColorCalibrationMatrix(c_SomeMatrix);
    EXPECT_FALSE(data.IsColorCalibrationDataExpired());
    m_Calendar.Set(2024, 5, 15);
    EXPECT_FALSE(data.IsColorCalibrationDataExpired()) << "now is not later than the date plus two months";
    m_Calendar.Advance(std::chrono::milliseconds(1));
    EXPECT_TRUE(data.IsColorCalibrationDataExpired());
    m_Calendar.Set(2024, 1, 1);
    EXPECT_FALSE(data.IsColorCalibrationDataExpired()) << "a clock that was set back";
}

TEST_F(LxCColorCalibrationDataTest, TheLastDayOfFebruaryStandsForLaterOnes)
{
    m_Calendar.Set(2023, 12, 31);
    LxCColorCalibrationData data;
    data.SetColorCalibrationMatrix(c_SomeMatrix);
    m_Calendar.Set(2024, 2, 29);
    EXPECT_FALSE(data.IsColorCalibrationDataExpired());
    m_Calendar.Set(2024, 3, 1);
    EXPECT_TRUE(data.IsColorCalibrationDataExpired());
}

TEST_F(LxCColorCalibrationDataTest, AnOldRecordLoadsAndIsValidButExpiredAndIsNotSavedAgain)
{
    SaveRecord();
    m_Calendar.Set(2024, 5, 16);
    LxCColorCalibrationData data;
    EXPECT_TRUE(Load(data));
    EXPECT_TRUE(data.IsColorCalibrationDataValid());
    EXPECT_TRUE(data.IsColorCalibrationDataExpired());
    EXPECT_FALSE(data.SerializeToFile(m_sFolder, L"other"));
    EXPECT_EQ(CountFiles(), 2U);
    data.SetColorCalibrationMatrix(data.GetColorCalibrationMatrix());
    EXPECT_TRUE(data.SerializeToFile(m_sFolder, L"other"));
}

// -------------------------------------------------------------------------------------------------------- files

TEST_F(LxCColorCalibrationDataTest, ComesBackFromItsFiles)
{
    LxCColorCalibrationData data;
    Fill(data);
    EXPECT_EQ(data.GetAverageRGBinROI(), 0.0F);
    ASSERT_TRUE(Save(data));
    EXPECT_EQ(data.GetAverageRGBinROI(), 200.0F);
    EXPECT_EQ(CountFiles(), 2U);

    m_Calendar.Set(2024, 4, 1);
    LxCColorCalibrationData loaded;
    ASSERT_TRUE(Load(loaded));
    EXPECT_EQ(loaded.GetColorCalibrationMatrix(), c_SomeMatrix);
    EXPECT_EQ(loaded.GetShutterTimeCorrectionFactor(), 1.75F);
    EXPECT_EQ(loaded.GetColorCalibrationShutterTime(), 12.5F);
    EXPECT_EQ(loaded.GetReferenceDepth(), 33.7F);
    EXPECT_EQ(loaded.GetCalibrationDate(), BtDateTime(2024, 3, 15));
    EXPECT_EQ(loaded.GetAverageRGBinROI(), 200.0F);
    EXPECT_TRUE(loaded.IsColorCalibrationMatrixSet() && loaded.IsShutterCorrectionFactorSet() &&
                loaded.IsReferenceDepthSet() && loaded.IsColorCalibrationShutterTimeSet());
    ASSERT_NE(loaded.GetWhiteBalanceImg(), nullptr);
    EXPECT_EQ(loaded.GetWhiteBalanceImg()->GetDataType(), CCTImage::eIDT_FLOAT32_3);
    EXPECT_EQ(BytesOf(*loaded.GetWhiteBalanceImg()), BytesOf(WhiteImage()));
}

TEST_F(LxCColorCalibrationDataTest, TheDataFileHasVersionMatrixThreeValuesAndDate)
{
    SaveRecord();
    const std::string expected = DataFileOf(3, c_SomeMatrix, 1.75F, 12.5F, 33.7F, c_Date);
    EXPECT_EQ(expected.size(), 92U) << "a version, 15 floats and 7 words of the date";
    EXPECT_EQ(::TestSupport::ReadFile(DataFile()), expected);
}

TEST_F(LxCColorCalibrationDataTest, TheImageFileHasBytesThatAreRounded)
{
    LxCColorCalibrationData data;
    Fill(data);
    CCTImage white(2, 1, CCTImage::eIDT_FLOAT32_3, 0.0F);
    const float colours[2][3] = {{-3.0F, 1.4F, 300.0F}, {254.6F, 0.5F, 99.9F}};
    white.SetPixel(0, 0, colours[0]);
    white.SetPixel(1, 0, colours[1]);
    data.SetWhiteBalanceImg(&white);
    ASSERT_TRUE(Save(data));
    CCTImage file;
    ASSERT_EQ(file.Load(ImageFile()), CCTImage::eRC_OK);
    EXPECT_EQ(file.GetDataType(), CCTImage::eIDT_BGRU8);
    EXPECT_EQ(BytesOf(file), (std::vector<std::uint8_t>{0, 1, 255, 255, 1, 100}));
}

TEST_F(LxCColorCalibrationDataTest, NothingIsSavedUnlessEverythingIsSet)
{
    for (int missing = 0; missing < 5; ++missing) {
        LxCColorCalibrationData data;
        const CCTImage white = WhiteImage();
        EXPECT_TRUE(missing == 0 || data.SetColorCalibrationMatrix(c_SomeMatrix));
        EXPECT_TRUE(missing == 1 || data.SetShutterTimeCorrectionFactor(1.0F));
        EXPECT_TRUE(missing == 2 || data.SetColorCalibrationShutterTime(1.0F));
        EXPECT_TRUE(missing == 3 || data.SetReferenceDepth(1.0F));
        data.SetWhiteBalanceImg(missing == 4 ? nullptr : &white);
        EXPECT_FALSE(Save(data)) << missing;
        EXPECT_EQ(CountFiles(), 0U) << missing;
        EXPECT_EQ(data.GetAverageRGBinROI(), 0.0F);
    }
}

TEST_F(LxCColorCalibrationDataTest, NumbersThatAreNotFiniteAreNotSaved)
{
    LxCColorCalibrationData data;
    Fill(data);
    data.SetReferenceDepth(c_fNaN);
    EXPECT_FALSE(Save(data));
    EXPECT_EQ(CountFiles(), 0U);
}

TEST_F(LxCColorCalibrationDataTest, PixelsThatAreNotFiniteAreKeptButNotSaved)
{
    for (const float level : {c_fNaN, c_fInfinity, -c_fInfinity}) {
        LxCColorCalibrationData data;
        Fill(data);
        CCTImage white = WhiteImage();
        const LxCFloat3 colour(1.0F, 2.0F, level);
        white.SetPixel(4, 2, &colour);
        data.SetWhiteBalanceImg(&white);
        ASSERT_NE(data.GetWhiteBalanceImg(), nullptr);
        EXPECT_EQ(BytesOf(*data.GetWhiteBalanceImg()), BytesOf(white));
        EXPECT_FALSE(Save(data)) << level;
        EXPECT_EQ(CountFiles(), 0U);
    }
}

TEST_F(LxCColorCalibrationDataTest, AnImageThatCannotBeWrittenLeavesNoNewData)
{
    const Logging::CCapture quiet;
    SaveRecord();
    const std::string before = ::TestSupport::ReadFile(DataFile());
    std::filesystem::remove(ImageFile());
    std::filesystem::create_directories(ImageFile());
    LxCColorCalibrationData data;
    Fill(data);
    data.SetReferenceDepth(99.0F);
    EXPECT_FALSE(Save(data));
    EXPECT_EQ(::TestSupport::ReadFile(DataFile()), before);
    EXPECT_EQ(data.GetAverageRGBinROI(), 0.0F);
    std::filesystem::remove(DataFile());
    EXPECT_FALSE(Save(data));
    EXPECT_EQ(CountFiles(), 1U) << "the folder in place of the image";
}

TEST_F(LxCColorCalibrationDataTest, ADataFileThatCannotBeWrittenLeavesTheImage)
{
    SaveRecord();
    const std::string before = ::TestSupport::ReadFile(ImageFile());
    LxCColorCalibrationData data;
    Fill(data);
    const CCTImage other(1, 1, CCTImage::eIDT_FLOAT32_3, 9.0F);
    data.SetWhiteBalanceImg(&other);
    std::filesystem::remove(DataFile());
    std::filesystem::create_directories(DataFile());
    EXPECT_FALSE(Save(data));
    EXPECT_EQ(::TestSupport::ReadFile(ImageFile()), before);
    std::filesystem::remove(DataFile());
    const std::string large(std::size_t{1} << 21, 'x'); // bytes; no data file of any version
    ::TestSupport::WriteFile(DataFile(), large);
    EXPECT_FALSE(Save(data));
    EXPECT_EQ(::TestSupport::ReadFile(ImageFile()), before);
    EXPECT_EQ(::TestSupport::ReadFile(DataFile()), large);
}

TEST_F(LxCColorCalibrationDataTest, ANewRecordReplacesBothFiles)
{
    SaveRecord();
    LxCColorCalibrationData data;
    Fill(data);
    data.SetReferenceDepth(99.0F);
    const CCTImage other(1, 1, CCTImage::eIDT_FLOAT32_3, 9.0F);
    data.SetWhiteBalanceImg(&other);
    ASSERT_TRUE(Save(data));
    EXPECT_EQ(CountFiles(), 2U);
    LxCColorCalibrationData loaded;
    ASSERT_TRUE(Load(loaded));
    EXPECT_EQ(loaded.GetReferenceDepth(), 99.0F);
    EXPECT_EQ(loaded.GetWhiteBalanceImg()->GetWidth(), 1);
}

TEST_F(LxCColorCalibrationDataTest, NothingIsLoggedButTheImageFileThatCannotBeReadOrWritten)
{
    const Logging::CCapture log;
    LxCColorCalibrationData data;
    EXPECT_FALSE(Save(data)) << "nothing is set";
    EXPECT_FALSE(Load(data)) << "there is no file";
    EXPECT_FALSE(data.SerializeFromFile(m_sFolder, L"a/b"));
    data.SetWhiteBalanceImg(nullptr);
    const CCTImage empty;
    data.SetWhiteBalanceImg(&empty);
    SaveRecord();
    EXPECT_TRUE(Load(data));
    ::TestSupport::WriteFile(DataFile(), DataFileOf(2, c_SomeMatrix, 1.0F, 1.0F, 1.0F, c_Date));
    EXPECT_FALSE(Load(data));
    m_Calendar.Set(2025, 1, 1);
    EXPECT_FALSE(Save(data)) << "expired";
    m_Calendar.Set(2024, 3, 15);
    EXPECT_TRUE(log.GetRecords().empty());

    SaveRecord();
    std::filesystem::remove(ImageFile());
    EXPECT_FALSE(Load(data));
    std::filesystem::create_directories(ImageFile());
    EXPECT_FALSE(Save(data));
    EXPECT_EQ(log.GetRecords().size(), 2U);
    for (const Logging::CRecord& record : log.GetRecords()) {
        EXPECT_EQ(record.channel, L"ORX.Lumorad.CCTImage");
    }
}

TEST_F(LxCColorCalibrationDataTest, MakesTheFolder)
{
    LxCColorCalibrationData data;
    Fill(data);
    EXPECT_TRUE(data.SerializeToFile(m_sFolder + L"new\\folder\\", L"cam"));
    EXPECT_TRUE(std::filesystem::exists(m_Folder / "new/folder/ColorCalibrationData_cam.dat"));
    EXPECT_TRUE(std::filesystem::exists(m_Folder / "new/folder/WhiteBalanceImage_cam.tif"));
}

TEST_F(LxCColorCalibrationDataTest, WhatCannotBeWrittenIsToldAsFalse)
{
    const Logging::CCapture quiet;
    LxCColorCalibrationData data;
    Fill(data);
    ::TestSupport::WriteFile(m_Folder / "file", "");
    EXPECT_FALSE(data.SerializeToFile(m_sFolder + L"file\\", L"cam"));
    std::filesystem::create_directories(ImageFile() + "/blocked");
    EXPECT_FALSE(Save(data));
    EXPECT_EQ(data.GetAverageRGBinROI(), 0.0F);
}

TEST_F(LxCColorCalibrationDataTest, NoCameraNameLeadsOutOfTheFolder)
{
    const std::wstring inner = m_sFolder + L"inner/";
    std::filesystem::create_directories(m_Folder / "inner/ColorCalibrationData_a");
    LxCColorCalibrationData data;
    Fill(data);
    for (const std::wstring& name : {std::wstring(L"a/../../x"), std::wstring(L"a\\..\\..\\x"),
                                     std::wstring(L"/"), std::wstring(L"x\0y", 3), std::wstring(1, L'\0')}) {
        EXPECT_FALSE(data.SerializeToFile(inner, name)) << platform::NarrowUtf8(name);
        LxCColorCalibrationData loaded;
        EXPECT_FALSE(loaded.SerializeFromFile(inner, name));
    }
    EXPECT_FALSE(data.SerializeToFile(inner + L'\0', L"cam")) << "a NUL in the folder";
    EXPECT_EQ(CountFiles(), 2U) << "the folders that the test made";
}

TEST_F(LxCColorCalibrationDataTest, AnyOtherCameraNameNamesAFile)
{
    LxCColorCalibrationData data;
    Fill(data);
    for (const wchar_t* name : {L"", L"..", L".", L"a b", L"Kamera Nr. 7 \u00e4\u65e5", L"x:y*?", L"-"}) {
        EXPECT_TRUE(data.SerializeToFile(m_sFolder, name)) << platform::NarrowUtf8(name);
        LxCColorCalibrationData loaded;
        EXPECT_TRUE(loaded.SerializeFromFile(m_sFolder, name)) << platform::NarrowUtf8(name);
    }
    EXPECT_TRUE(std::filesystem::exists(m_Folder / "ColorCalibrationData_...dat"));
    EXPECT_FALSE(data.SerializeToFile(m_sFolder, std::wstring(300, L'x'))) << "longer than names of files";
}

// ------------------------------------------------------------------------------------------------ hostile files

TEST_F(LxCColorCalibrationDataTest, EarlierVersionsAreRefusedAndChangeNothing)
{
    SaveRecord();
    for (const std::uint32_t version : {2U, 1U, 0U, 0xFFFFFFFFU, 0x80000000U}) {
        ::TestSupport::WriteFile(DataFile(), DataFileOf(version, c_SomeMatrix, 1.0F, 1.0F, 1.0F, c_Date));
        LxCColorCalibrationData data;
        EXPECT_FALSE(Load(data)) << version;
        ExpectNew(data);
    }
}

TEST_F(LxCColorCalibrationDataTest, LaterVersionsAreReadAsThisOne)
{
    SaveRecord();
    for (const std::uint32_t version : {3U, 4U, 0x7FFFFFFFU}) {
        const std::string more = DataFileOf(version, c_SomeMatrix, 2.5F, 1.0F, 1.0F, c_Date) + "and more";
        ::TestSupport::WriteFile(DataFile(), more);
        LxCColorCalibrationData data;
        EXPECT_TRUE(Load(data)) << version;
        EXPECT_EQ(data.GetShutterTimeCorrectionFactor(), 2.5F);
    }
}

TEST_F(LxCColorCalibrationDataTest, ARefusedFileLeavesARecordAsItWas)
{
    const Logging::CCapture quiet;
    SaveRecord();
    const std::string whole = ::TestSupport::ReadFile(DataFile());
    LxCColorCalibrationData data;
    data.SetColorCalibrationMatrix(c_SomeMatrix);
    data.SetReferenceDepth(5.0F);
    const CCTImage other(1, 1, CCTImage::eIDT_FLOAT32_3, 9.0F);
    data.SetWhiteBalanceImg(&other);
    const auto expectAsItWas = [&data] {
        EXPECT_EQ(data.GetColorCalibrationMatrix(), c_SomeMatrix);
        EXPECT_EQ(data.GetReferenceDepth(), 5.0F);
        EXPECT_FALSE(data.IsShutterCorrectionFactorSet());
        EXPECT_EQ(data.GetAverageRGBinROI(), 0.0F);
        ASSERT_NE(data.GetWhiteBalanceImg(), nullptr);
        EXPECT_EQ(data.GetWhiteBalanceImg()->GetWidth(), 1);
    };
    for (std::size_t length = 0; length < whole.size(); ++length) {
        ::TestSupport::WriteFile(DataFile(), whole.substr(0, length));
        EXPECT_FALSE(Load(data)) << length;
        expectAsItWas();
    }
    ::TestSupport::WriteFile(DataFile(), whole);
    std::filesystem::remove(ImageFile());
    EXPECT_FALSE(Load(data)) << "a missing image, although the data file was read";
    expectAsItWas();
    ::TestSupport::WriteFile(ImageFile(), "no image");
    EXPECT_FALSE(Load(data));
    expectAsItWas();
}

TEST_F(LxCColorCalibrationDataTest, NumbersThatAreNotFiniteAndDatesThatAreNoneAreRefused)
{
    SaveRecord();
    const std::string whole = ::TestSupport::ReadFile(DataFile());
    for (std::size_t word = 1; word < 16; ++word) {
        for (const float value : {c_fNaN, std::numeric_limits<float>::infinity()}) {
            std::string damaged = whole;
            std::memcpy(damaged.data() + 4 * word, &value, sizeof value);
            ::TestSupport::WriteFile(DataFile(), damaged);
            LxCColorCalibrationData data;
            EXPECT_FALSE(Load(data)) << word;
            ExpectNew(data);
        }
    }
    for (const std::vector<std::uint32_t>& date : {std::vector<std::uint32_t>{2024, 2, 30, 0, 0, 0, 0},
                                                   {0, 0, 0, 0, 0, 0, 1},
                                                   {2024, 0, 1, 0, 0, 0, 0},
                                                   {0xFFFFFFFF, 1, 1, 0, 0, 0, 0},
                                                   {2024, 1, 1, 0, 0, 0, 0x80000000}}) {
        ::TestSupport::WriteFile(DataFile(), DataFileOf(3, c_SomeMatrix, 1.0F, 1.0F, 1.0F, date));
        LxCColorCalibrationData data;
        EXPECT_FALSE(Load(data));
        ExpectNew(data);
    }
}

TEST_F(LxCColorCalibrationDataTest, ARecordWithoutADateIsReadAsExpired)
{
    SaveRecord();
    ::TestSupport::WriteFile(DataFile(),
                             DataFileOf(3, c_SomeMatrix, 1.0F, 1.0F, 1.0F, {0, 0, 0, 0, 0, 0, 0}));
    LxCColorCalibrationData data;
    EXPECT_TRUE(Load(data));
    EXPECT_TRUE(data.IsColorCalibrationDataExpired());
}

TEST_F(LxCColorCalibrationDataTest, RandomBytesAreReadOrRefused)
{
    SaveRecord();
    std::mt19937 random(11);
    const std::string whole = ::TestSupport::ReadFile(DataFile());
    for (int i = 0; i < 100; ++i) {
        std::string damaged =
            whole.substr(0, random() % 2 == 0 ? whole.size() : random() % (whole.size() + 1));
        for (std::size_t k = 0; k < 1 + random() % 3 && !damaged.empty(); ++k) {
            damaged[random() % damaged.size()] = static_cast<char>(random());
        }
        ::TestSupport::WriteFile(DataFile(), damaged);
        LxCColorCalibrationData data;
        if (Load(data)) {
            ASSERT_EQ(damaged.size(), whole.size()) << i;
            ASSERT_TRUE(data.IsColorCalibrationDataValid()) << i;
        } else {
            ASSERT_FALSE(data.IsColorCalibrationMatrixSet()) << i;
            ASSERT_EQ(data.GetWhiteBalanceImg(), nullptr) << i;
        }
    }
}

TEST_F(LxCColorCalibrationDataTest, AnImageThatIsCutAnywhereIsReadWholeOrRefused)
{
    SaveRecord();
    const std::string whole = ::TestSupport::ReadFile(ImageFile());
    const CCTImage white = WhiteImage();
    const Logging::CCapture quiet;
    std::size_t refused = 0;
    for (std::size_t length = 0; length < whole.size(); ++length) {
        ::TestSupport::WriteFile(ImageFile(), whole.substr(0, length));
        LxCColorCalibrationData data;
        if (Load(data)) {
            ASSERT_EQ(BytesOf(*data.GetWhiteBalanceImg()), BytesOf(white)) << length;
        } else {
            ExpectNew(data);
            ++refused;
        }
    }
    const std::size_t pixels = std::size_t{3} * 5 * 3; // bytes; a shorter file cannot hold them
    EXPECT_GE(refused, pixels);
}

TEST_F(LxCColorCalibrationDataTest, AnImageOfSizesBeyondItsFileIsRefused)
{
    SaveRecord();
    const std::string whole = ::TestSupport::ReadFile(ImageFile());
    // Directory entries of the width (256) and the height (257): tag, type, count and value, little-endian.
    const auto find = [&whole](char low) {
        const std::size_t at = whole.find(std::string{low, '\1'} + std::string("\4\0\1\0\0\0", 6));
        return at != std::string::npos ? at
                                       : whole.find(std::string{low, '\1'} + std::string("\3\0\1\0\0\0", 6));
    };
    const Logging::CCapture quiet;
    for (const char low : {'\0', '\1'}) {
        const std::size_t at = find(low);
        ASSERT_NE(at, std::string::npos);
        for (const char* size :
             {"\xff\xff\xff\xff", "\xff\xff\xff\x7f", "\xff\xff\xff\x00", "\x00\x00\x00\x00"}) {
            std::string damaged = whole;
            damaged[at + 2] = '\4'; // 32 bits
            damaged.replace(at + 8, 4, size, 4);
            ::TestSupport::WriteFile(ImageFile(), damaged);
            LxCColorCalibrationData data;
            EXPECT_FALSE(Load(data));
            ExpectNew(data);
        }
    }
}

TEST_F(LxCColorCalibrationDataTest, AnImageFileOfFloatsIsReadWhereAllAreFinite)
{
    SaveRecord();
    CCTImage white(2, 2, CCTImage::eIDT_FLOAT32_3, 0.25F);
    ASSERT_EQ(white.SaveTif(ImageFile()), CCTImage::eRC_OK);
    LxCColorCalibrationData data;
    ASSERT_TRUE(Load(data));
    EXPECT_EQ(BytesOf(*data.GetWhiteBalanceImg()), BytesOf(white));
    for (const float level : {c_fNaN, c_fInfinity, -c_fInfinity}) {
        const LxCFloat3 colour(1.0F, level, 2.0F);
        white.SetPixel(1, 1, &colour);
        ASSERT_EQ(white.SaveTif(ImageFile()), CCTImage::eRC_OK);
        LxCColorCalibrationData fresh;
        EXPECT_FALSE(Load(fresh)) << level;
        ExpectNew(fresh);
    }
}

TEST_F(LxCColorCalibrationDataTest, WhatIsNoFileIsNotRead)
{
    LxCColorCalibrationData data;
    EXPECT_FALSE(Load(data));
    EXPECT_FALSE(data.SerializeFromFile(L"", L"cam"));
    std::filesystem::create_directories(DataFile());
    EXPECT_FALSE(Load(data));
    ExpectNew(data);
}

TEST_F(LxCColorCalibrationDataTest, AGreyImageFileBecomesAColourImage)
{
    SaveRecord();
    CCTImage grey(4, 2, CCTImage::eIDT_UINT8, true, nullptr);
    grey.SetPixel(3, 1, 55UL);
    ASSERT_EQ(grey.SaveTif(ImageFile()), CCTImage::eRC_OK);
    LxCColorCalibrationData data;
    ASSERT_TRUE(Load(data));
    EXPECT_EQ(data.GetWhiteBalanceImg()->GetDataType(), CCTImage::eIDT_FLOAT32_3);
    float pixel[3] = {};
    data.GetWhiteBalanceImg()->GetPixel(3, 1, pixel);
    EXPECT_EQ(std::vector<float>(pixel, pixel + 3), std::vector<float>(3, 55.0F));
}

TEST_F(LxCColorCalibrationDataTest, ARecordWithoutAnImageHasNoneToStore)
{
    const Logging::CCapture quiet;
    CDataProbe data;
    EXPECT_FALSE(data.doAdditionalCalculationAfterSerialization(true, m_sFolder + L"x.tif"));
    EXPECT_EQ(CountFiles(), 0U);
    EXPECT_FALSE(data.doAdditionalCalculationAfterSerialization(false, m_sFolder + L"x.tif"));
    ExpectNew(data);
}

} // namespace
} // namespace LxCV
