#include "lxcqccserializer.h"

#include "lxsscandataqcc.h"
#include "orx/logging/logger.h"
#include "tests/lxcvlib/allocationcount.h"
#include "tests/lxcvlib/surfacefile.h"
#include "tests/support/temporaryfolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <sstream>
#include <string>
#include <sys/stat.h>

namespace LxCV {
namespace {

using namespace TestSupport;
using ::TestSupport::CTemporaryFolder;
using ::TestSupport::WriteFile;

constexpr const wchar_t* c_sChannel = L"ORX.Lumorad.LxCQCCSerializer";

std::span<float> FloatsIn(CCTImage* image)
{
    return ElementsOf<float>(*image);
}

/// Marks all that a reader could write.
void Stain(LxSScanDataQCC& scan)
{
    for (CCTImage* const image : {scan.Get3DPoints(), scan.GetValidMask(), scan.GetColor(),
                                  scan.GetFloatPlane(), scan.GetFloatImage()}) {
        FillAllBytes(*image, 7);
    }
    std::ranges::fill(scan.GetQualities(), MultipleQualities(-7.0F));
    scan.SetNumValidPoints(-7);
}

/// Reads bytes as a file.
bool Load(const std::string& bytes, LxSScanDataQCC& scan)
{
    const CTemporaryFolder folder;
    WriteFile(folder / "scan.surf", bytes);
    LxCQCCSerializer serializer;
    return serializer.LoadSurfaceFile(folder / "scan.surf", &scan);
}

/// Whether the first `count` pixels are those of the file, and all others stained.
void ExpectPoints(const LxSScanDataQCC& scan, const SSurfaceFile& file, std::size_t count)
{
    const auto stain = std::bit_cast<float>(0x07070707U);
    for (std::size_t i = 0; i < PointsIn(scan).size(); ++i) {
        const bool isRead = i < count;
        const LxCFloat3 expected =
            isRead ? LxCFloat3(file.points[3 * i + 1], file.points[3 * i], -file.points[3 * i + 2])
                   : LxCFloat3(stain);
        EXPECT_TRUE(HaveSameBits(PointsIn(scan)[i], expected)) << i;
        EXPECT_EQ(BytesIn(scan.GetValidMask())[i], isRead ? 1 : 7) << i;
        for (std::size_t k = 0; k < 3; ++k) {
            EXPECT_EQ(BytesIn(scan.GetColor())[3 * i + k], isRead ? 255 : 7) << i;
        }
    }
}

TEST(LxCQCCSerializer, ANullScanIsRefusedBeforeTheFileIsOpened)
{
    const Logging::CCapture log;
    LxCQCCSerializer serializer;
    EXPECT_FALSE(serializer.LoadSurfaceFile("/no/such/file", nullptr));
    EXPECT_TRUE(log.GetRecords().empty()) << "not even a version";
}

TEST(LxCQCCSerializer, ReadsAllThatAFileHas)
{
    const SSurfaceFile file = WholeSurfaceFile(3, 4);
    LxSScanDataQCC scan;
    ASSERT_TRUE(scan.Initialize(4, 3, 4, 3, true));
    Stain(scan);
    const std::shared_ptr<LxSConfocalScanInfo> sharedInfo = scan.GetScanInfo();
    const Logging::CCapture log;
    EXPECT_TRUE(Load(file.Bytes(), scan));
    EXPECT_EQ(scan.GetScanInfo(), sharedInfo) << "who shares it sees the numbers";
    ExpectPoints(scan, file, 12);
    for (std::size_t i = 0; i < 12; ++i) {
        EXPECT_EQ(scan.GetQualities()[i].GetFloatQuality(), file.qualities[i]) << i;
        EXPECT_EQ(scan.GetQualities()[i].GetSymbols(), 5) << i;
        EXPECT_EQ(FloatsIn(scan.GetFloatPlane())[i], file.floatPlane[i]) << i;
        EXPECT_EQ(FloatsIn(scan.GetFloatImage())[i], file.floatPlane[i]) << i;
    }
    EXPECT_EQ(scan.GetNumValidPoints(), 12);
    EXPECT_EQ(scan.GetScanInfo()->m_iA, -17);
    EXPECT_EQ(scan.GetScanInfo()->m_iB, 0x01020304);
    EXPECT_EQ(scan.GetScanInfo()->m_uiByte, 200);
    EXPECT_EQ(scan.GetScanInfo()->m_dC, 0.1);
    EXPECT_EQ(scan.GetScanInfo()->m_dD, -1e100);
    ASSERT_EQ(log.GetRecords().size(), 1U);
    EXPECT_EQ(log.Count(Logging::ELevel::eInfo, c_sChannel, L"fVersion = 12.500000"), 1);
}

TEST(LxCQCCSerializer, ReadsAFileOfBytesWrittenOutOneByOne)
{
    const std::string bytes("\x00\x00\x40\x41"                                 // version 12
                            "\x00\x00\x00\x00\x00\x00\x00\xAA\xBB"             // flags 0 to 6, two bytes
                            "\x00\x00\x00\x00\x00"                             // flags 7 to 9, 13, 14
                            "\x01\x00\x00\x00\x01\x00\x00\x00\x01\x00\x00\x00" // row, column, motor position
                            "abcdefghijklmnopqrst"
                            "\x02\x00\x00\x00\xFF\xFF\xFF\xFF\x09" // A, B, the byte
                            "abcdefgh"
                            "\x00\x00\x00\x00\x00\x00\xF0\x3F\x00\x00\x00\x00\x00\x00\x00\xC0" // 1.0, -2.0
                            "abcdefghijkl"
                            "\xEE\xEE\xEE\xEE"                                  // motor position
                            "\x00\x00\x80\x3F\x00\x00\x00\x40\x00\x00\x40\x40", // 1, 2, 3
                            4 + 9 + 5 + 12 + 20 + 9 + 8 + 16 + 12 + 4 + 12);
    LxSScanDataQCC scan;
    ASSERT_TRUE(scan.Initialize(1, 1, 1, 1, false));
    EXPECT_TRUE(Load(bytes, scan));
    EXPECT_TRUE(HaveSameBits(PointsIn(scan)[0], LxCFloat3(2.0F, 1.0F, -3.0F)));
    EXPECT_EQ(scan.GetNumValidPoints(), 1);
    EXPECT_EQ(scan.GetScanInfo()->m_iA, 2);
    EXPECT_EQ(scan.GetScanInfo()->m_iB, -1);
    EXPECT_EQ(scan.GetScanInfo()->m_uiByte, 9);
    EXPECT_EQ(scan.GetScanInfo()->m_dC, 1.0);
    EXPECT_EQ(scan.GetScanInfo()->m_dD, -2.0);
}

TEST(LxCQCCSerializer, TheNameWithoutFolderAndExtensionGoesIntoTheMetadata)
{
    LxSScanDataQCC scan;
    scan.GetMetaData().Update(nullptr, "before", "text", LxAFrameGrabber::eLS_Live, 1.5F, 2.5F);
    LxCQCCSerializer serializer;
    const Logging::CCapture quiet;
    EXPECT_TRUE(serializer.LoadSurfaceFile("C:\\data\\jaw.upper.surf", &scan)) << "that cannot be opened";
    EXPECT_EQ(scan.GetMetaData().GetFileName(), "jaw.upper");
    EXPECT_EQ(scan.GetMetaData().GetText(), "text");
    EXPECT_EQ(scan.GetMetaData().GetShutterTimePat(), 1.5F);
    EXPECT_EQ(scan.GetMetaData().GetShutterTimeRef(), 2.5F);
    EXPECT_TRUE(serializer.LoadSurfaceFile("some/where/jaw", &scan));
    EXPECT_EQ(scan.GetMetaData().GetFileName(), "jaw");
}

TEST(LxCQCCSerializer, AFileThatCannotBeOpenedReadsLikeAnEmptyOne)
{
    const CTemporaryFolder folder;
    ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
    WriteFile(folder / "empty", "");
    const SSurfaceFile none;
    for (const std::string& path :
         {folder / "none", folder / "pipe", folder / "empty", folder.GetPath().string(), std::string()}) {
        LxSScanDataQCC scan;
        ASSERT_TRUE(scan.Initialize(2, 2, 2, 2, true));
        Stain(scan);
        scan.GetScanInfo()->m_iA = 5;
        const Logging::CCapture log;
        LxCQCCSerializer serializer;
        EXPECT_TRUE(serializer.LoadSurfaceFile(path, &scan)) << path;
        ExpectPoints(scan, none, 0);
        EXPECT_EQ(scan.GetNumValidPoints(), 0);
        EXPECT_EQ(scan.GetScanInfo()->m_iA, 0);
        EXPECT_EQ(log.Count(Logging::ELevel::eInfo, c_sChannel, L"fVersion = 0.000000"), 1);
    }
}

TEST(LxCQCCSerializer, HeadersUpToVersion12AreThreeBytesShorter)
{
    SSurfaceFile file = WholeSurfaceFile(2, 2);
    const std::size_t longSize = file.Header().size();
    const float nan = std::numeric_limits<float>::quiet_NaN();
    LxCQCCSerializer serializer; // keeps no flag of the header before
    for (const float version :
         {12.5F, 0.0F, 100.0F, 11.5F, std::nextafter(12.0F, 13.0F), 12.0F, 12.5F, nan}) {
        file.version = version;
        const bool isShort = !(version > 12.0F);
        ASSERT_EQ(file.Header().size(), isShort ? longSize - 3 : longSize);
        std::istringstream stream(file.Header());
        serializer.ReadSurfaceHeader(stream);
        EXPECT_EQ(stream.tellg(), static_cast<std::streamoff>(file.Header().size())) << version;
        for (std::size_t i = 0; i < 15; ++i) {
            EXPECT_EQ(serializer.GetFlag(i), isShort && i >= 10 && i <= 12 ? 0 : 1) << version << " " << i;
        }
        EXPECT_EQ(serializer.GetFlag(15), 0);

        LxSScanDataQCC scan;
        ASSERT_TRUE(scan.Initialize(2, 2, 2, 2, false));
        EXPECT_TRUE(Load(file.Bytes(), scan));
        EXPECT_EQ(scan.GetNumValidPoints(), 4);
        EXPECT_EQ(PointsIn(scan)[3].get(0), 103.0F);
    }
}

TEST(LxCQCCSerializer, EachFlagOfTheHeaderIsItsOwnByte)
{
    for (std::size_t flag = 0; flag < 15; ++flag) {
        SSurfaceFile file;
        file.flags[flag] = 0x80;
        std::istringstream stream(file.Header());
        LxCQCCSerializer serializer;
        serializer.ReadSurfaceHeader(stream);
        for (std::size_t i = 0; i < 15; ++i) {
            EXPECT_EQ(serializer.GetFlag(i), i == flag ? 0x80 : 0) << flag << " " << i;
        }
    }
}

TEST(LxCQCCSerializer, EveryCombinationOfSectionsStaysInStep)
{
    for (unsigned int combination = 0; combination < 32; ++combination) {
        SSurfaceFile file = WholeSurfaceFile(2, 3);
        file.flags = {};
        for (std::size_t flag = 2; flag <= 6; ++flag) {
            file.flags[flag] = combination >> (flag - 2) & 1U;
        }
        LxSScanDataQCC scan;
        ASSERT_TRUE(scan.Initialize(3, 2, 3, 2, true));
        Stain(scan);
        std::istringstream stream(file.Bytes());
        LxCQCCSerializer serializer;
        serializer.ReadSurfaceHeader(stream);
        serializer.ReadSurfaceMetaData(stream);
        serializer.ReadMotorPositions(stream);
        serializer.ReadSensorData(stream);
        serializer.ReadPointCloud(stream, &scan);
        EXPECT_EQ(stream.tellg(), static_cast<std::streamoff>(file.Bytes().size())) << combination;
        ExpectPoints(scan, file, 6);
        for (std::size_t i = 0; i < 6; ++i) {
            EXPECT_EQ(scan.GetQualities()[i].GetFloatQuality(),
                      file.flags[2] != 0 ? file.qualities[i] : -7.0F);
            const float expected =
                file.flags[6] != 0 ? file.floatPlane[i] : std::bit_cast<float>(0x07070707U);
            EXPECT_EQ(FloatsIn(scan.GetFloatPlane())[i], expected) << combination;
        }
    }
}

TEST(LxCQCCSerializer, EachSensorFlagHasItsBlocks)
{
    for (std::size_t flag = 7; flag < 15; ++flag) {
        for (const std::uint32_t records : {0U, 3U}) {
            SSurfaceFile file = WholeSurfaceFile(1, 2);
            file.flags = {};
            file.flags[flag] = 1;
            file.sensorRecords = records;
            LxSScanDataQCC scan;
            ASSERT_TRUE(scan.Initialize(2, 1, 2, 1, false));
            EXPECT_TRUE(Load(file.Bytes(), scan));
            EXPECT_EQ(PointsIn(scan)[1].get(1), 1.25F) << flag;
        }
    }
    std::istringstream stream(LittleEndian(2U) + std::string(41, 'x'));
    LxCQCCSerializer().ReadSingleSensorData(stream);
    EXPECT_EQ(stream.tellg(), 44);
}

TEST(LxCQCCSerializer, PointsWithANaNAreStoredButNotValid)
{
    SSurfaceFile file = WholeSurfaceFile(2, 2);
    file.points[1] = std::numeric_limits<float>::quiet_NaN();
    file.points[3] = std::numeric_limits<float>::quiet_NaN();
    file.points[8] = std::numeric_limits<float>::quiet_NaN();
    file.points[9] = std::numeric_limits<float>::infinity();
    LxSScanDataQCC scan;
    ASSERT_TRUE(scan.Initialize(2, 2, 2, 2, false));
    EXPECT_TRUE(Load(file.Bytes(), scan));
    EXPECT_TRUE(std::isnan(PointsIn(scan)[0].get(0)));
    EXPECT_EQ(PointsIn(scan)[0].get(1), 0.25F);
    EXPECT_TRUE(std::isnan(PointsIn(scan)[1].get(1)));
    EXPECT_TRUE(std::isnan(PointsIn(scan)[2].get(2)));
    EXPECT_EQ(PointsIn(scan)[3].get(1), std::numeric_limits<float>::infinity());
    const auto mask = BytesIn(scan.GetValidMask());
    EXPECT_EQ(std::vector<int>(mask.begin(), mask.end()), (std::vector<int>{0, 0, 0, 1}));
    EXPECT_EQ(scan.GetNumValidPoints(), 1);
    EXPECT_EQ(BytesIn(scan.GetColor())[0], 255);
}

TEST(LxCQCCSerializer, ACutFileGivesThePixelsThatItHoldsAndLeavesTheOthers)
{
    const SSurfaceFile file = WholeSurfaceFile(2, 3);
    const std::string whole = file.Bytes();
    const std::size_t points = file.Preamble().size();
    const std::size_t qualities = points + 72;
    const std::size_t floats = qualities + 3 * 24;
    const auto valuesIn = [](std::size_t cut, std::size_t begin, std::size_t size) {
        return cut < begin ? std::size_t{0} : std::min<std::size_t>((cut - begin) / size, 6);
    };
    for (std::size_t cut = 0; cut <= whole.size(); ++cut) {
        LxSScanDataQCC scan;
        ASSERT_TRUE(scan.Initialize(3, 2, 3, 2, true));
        Stain(scan);
        std::istringstream stream(whole.substr(0, cut));
        const Logging::CCapture log;
        LxCQCCSerializer serializer;
        serializer.ReadSurfaceHeader(stream);
        serializer.ReadSurfaceMetaData(stream);
        serializer.ReadMotorPositions(stream);
        serializer.ReadSensorData(stream);
        serializer.ReadPointCloud(stream, &scan);
        EXPECT_EQ(log.GetRecords().size(), 1U) << "a short file is no error";
        ExpectPoints(scan, file, valuesIn(cut, points, 12));
        EXPECT_EQ(scan.GetNumValidPoints(), static_cast<int>(valuesIn(cut, points, 12))) << cut;
        for (std::size_t i = 0; i < 6; ++i) {
            EXPECT_EQ(scan.GetQualities()[i].GetFloatQuality(),
                      i < valuesIn(cut, qualities, 4) ? file.qualities[i] : -7.0F)
                << cut;
            EXPECT_EQ(FloatsIn(scan.GetFloatPlane())[i],
                      i < valuesIn(cut, floats, 4) ? file.floatPlane[i] : std::bit_cast<float>(0x07070707U))
                << cut;
        }
        const std::size_t metaData = file.Header().size();
        EXPECT_EQ(serializer.GetNumRows(), cut >= metaData + 4 ? 2U : 0U);
        EXPECT_EQ(scan.GetScanInfo()->m_iB, cut >= metaData + 40 ? file.b : 0) << cut;
        EXPECT_EQ(scan.GetScanInfo()->m_dD, cut >= metaData + 65 ? file.d : 0.0) << cut;
        if (HasFailure()) {
            FAIL() << "cut after " << cut << " bytes";
        }
    }
}

TEST(LxCQCCSerializer, AFailedReadLeavesTheValuesOfTheFileBefore)
{
    const SSurfaceFile file = WholeSurfaceFile(2, 3);
    std::istringstream whole(file.Header() + file.MetaData());
    std::istringstream cut(file.Header() + LittleEndian(9U) + LittleEndian(9U).substr(0, 3));
    LxCQCCSerializer serializer;
    for (std::istringstream* const stream : {&whole, &cut}) {
        serializer.ReadSurfaceHeader(*stream);
        serializer.ReadSurfaceMetaData(*stream);
    }
    EXPECT_EQ(serializer.GetNumRows(), 9U);
    EXPECT_EQ(serializer.GetNumColumns(), 3U);
    EXPECT_EQ(serializer.GetNumMotorPositions(), 3U);
}

TEST(LxCQCCSerializer, AScanOfAnotherSizeIsLeftAsItIs)
{
    const SSurfaceFile file = WholeSurfaceFile(3, 4);
    for (const auto& [width, height] : {std::pair{3, 4}, {4, 4}, {5, 3}, {0, 0}, {1, 12}}) {
        LxSScanDataQCC scan;
        ASSERT_TRUE(scan.Initialize(width, height, width, height, true));
        const Logging::CCapture log;
        EXPECT_TRUE(Load(file.Bytes(), scan));
        EXPECT_TRUE(IsAllZero(*scan.Get3DPoints()) && IsAllZero(*scan.GetValidMask()));
        EXPECT_EQ(scan.GetNumValidPoints(), 0);
        EXPECT_EQ(scan.GetScanInfo()->m_iA, -17);
        EXPECT_EQ(log.Count(Logging::ELevel::eError, c_sChannel,
                            L"LxCQCCSerializer::ReadPointCloud: the scan has not 4 by 3 pixels.\n"),
                  1);
    }
    LxSScanDataQCC never;
    const Logging::CCapture log;
    EXPECT_TRUE(Load(file.Bytes(), never));
    EXPECT_EQ(log.GetRecords().size(), 2U);
}

TEST(LxCQCCSerializer, AScanWithAChangedImageIsLeftAsItIs)
{
    const SSurfaceFile file = WholeSurfaceFile(3, 4);
    for (int which = 0; which < 4; ++which) {
        LxSScanDataQCC scan;
        ASSERT_TRUE(scan.Initialize(4, 3, 4, 3, true));
        CCTImage* const images[] = {scan.Get3DPoints(), scan.GetValidMask(), scan.GetColor(),
                                    scan.GetFloatPlane()};
        ASSERT_EQ(images[which]->Resize(2, 2, CCTImage::eIDT_UINT8), CCTImage::eRC_OK);
        const Logging::CCapture quiet;
        EXPECT_TRUE(Load(file.Bytes(), scan));
        for (const CCTImage* const image : images) {
            EXPECT_TRUE(IsAllZero(*image));
        }
    }
}

TEST(LxCQCCSerializer, WithoutQualitiesAndFloatImageOfThatSizeTheRestIsRead)
{
    const SSurfaceFile file = WholeSurfaceFile(3, 4);
    LxSScanDataQCC scan;
    ASSERT_TRUE(scan.Initialize(4, 3, 2, 1, false));
    EXPECT_TRUE(Load(file.Bytes(), scan));
    EXPECT_EQ(scan.GetNumValidPoints(), 12);
    EXPECT_EQ(FloatsIn(scan.GetFloatPlane())[11], 1011.0F);
    EXPECT_TRUE(IsAllZero(*scan.GetFloatImage()));
    std::istringstream stream(file.Bytes());
    LxCQCCSerializer().ReadPointCloud(stream, nullptr);
    EXPECT_EQ(stream.tellg(), 0);
}

TEST(LxCQCCSerializer, CountsBeyondTheFileTakeNoMemoryAndNoTime)
{
    constexpr std::uint32_t c_uiMost = std::numeric_limits<std::uint32_t>::max();
    for (const auto& [rows, columns] : {std::pair{c_uiMost, c_uiMost},
                                        {c_uiMost, 1U},
                                        {1U, c_uiMost},
                                        {0x10000U, 0x10000U}, // whose product is 0 in 32 bits
                                        {0x80000000U, 2U},
                                        {0U, c_uiMost},
                                        {2U, 2U}}) {
        SSurfaceFile file = WholeSurfaceFile(2, 2);
        std::string bytes = file.Bytes();
        const std::size_t metaData = file.Header().size();
        const std::string counts = LittleEndian(rows) + LittleEndian(columns) + LittleEndian(c_uiMost);
        bytes.replace(metaData, 12, counts);
        LxSScanDataQCC scan;
        ASSERT_TRUE(scan.Initialize(2, 2, 2, 2, true));
        const Logging::CCapture quiet;
        const AllocationLimit limit(1 << 20, 0);
        EXPECT_TRUE(Load(bytes, scan));
        EXPECT_EQ(scan.GetNumValidPoints(), 0);
        EXPECT_TRUE(IsAllZero(*scan.Get3DPoints()));
    }
    SSurfaceFile file = WholeSurfaceFile(2, 2);
    std::string bytes = file.Bytes();
    bytes.replace(file.Header().size() + file.MetaData().size() + 12, 4, LittleEndian(c_uiMost));
    LxSScanDataQCC scan;
    ASSERT_TRUE(scan.Initialize(2, 2, 2, 2, true));
    EXPECT_TRUE(Load(bytes, scan)) << "a sensor block of so many records";
    EXPECT_EQ(scan.GetNumValidPoints(), 0);
}

TEST(LxCQCCSerializer, LargerCloudsThanABlockAreReadWhole)
{
    SSurfaceFile file = WholeSurfaceFile(37, 101);
    LxSScanDataQCC scan;
    ASSERT_TRUE(scan.Initialize(101, 37, 101, 37, true));
    EXPECT_TRUE(Load(file.Bytes(), scan));
    ExpectPoints(scan, file, 37 * 101);
    for (std::size_t i = 0; i < 37 * 101; ++i) {
        ASSERT_EQ(scan.GetQualities()[i].GetFloatQuality(), file.qualities[i]);
        ASSERT_EQ(FloatsIn(scan.GetFloatPlane())[i], file.floatPlane[i]);
    }
}

} // namespace
} // namespace LxCV
