#include "lxsscandata.h"

#include "lxccoordsystrans.h"
#include "orx/logging/logger.h"
#include "tests/lxcvlib/allocationcount.h"
#include "tests/lxcvlib/scantestsupport.h"
#include "tests/support/temporaryfolder.h"
#include "tests/support/virtualslot.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <csignal>
#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <type_traits>
#include <vector>

namespace LxCV {
namespace {

using namespace TestSupport;
using ::TestSupport::CTemporaryFolder;
using ::TestSupport::ReadFile;
using ::TestSupport::SlotOf;
using ::TestSupport::WriteFile;

constexpr const wchar_t* c_sChannel = L"ORX.Lumorad.LxSScanData";
constexpr std::size_t c_uiHeaderBytes = 132;

std::vector<CCTImage*> ImagesOf(const LxSScanData& scan)
{
    return {scan.Get3DPoints(),   scan.GetValidMask(),   scan.GetNormalMask(), scan.GetNormals(),
            scan.GetFloatPlane(), scan.GetUInt16Plane(), scan.GetColor()};
}

/// Lets the tests reach what descendants may use.
class COpenScan : public LxSScanData
{
public:
    using LxSScanData::CreateAndClear;
};

/// A 3D file as the format tells it, by no code of the library.
std::string HandWritten3DFile(std::int32_t width, std::int32_t height, std::int32_t channels,
                              const std::vector<float>& coordinates)
{
    std::string bytes;
    for (const double value : {1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0}) {
        bytes += LittleEndian(value);
    }
    bytes += LittleEndian(width) + LittleEndian(height) + LittleEndian(channels);
    for (const float value : coordinates) {
        bytes += LittleEndian(value);
    }
    return bytes;
}

/// Lets no file of this process grow beyond a size as long as it lives: writing more fails as on a full disk.
class CFileSizeLimit
{
public:
    explicit CFileSizeLimit(rlim_t bytes) : m_Handler(std::signal(SIGXFSZ, SIG_IGN))
    {
        getrlimit(RLIMIT_FSIZE, &m_Before);
        const rlimit limited = {bytes, m_Before.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limited);
    }
    CFileSizeLimit(const CFileSizeLimit&) = delete;
    CFileSizeLimit& operator=(const CFileSizeLimit&) = delete;
    ~CFileSizeLimit()
    {
        setrlimit(RLIMIT_FSIZE, &m_Before);
        std::signal(SIGXFSZ, m_Handler);
    }

private:
    void (*m_Handler)(int);
    rlimit m_Before{};
};

// --- The record

TEST(LxSScanData, NewOneHasNoImages)
{
    LxSScanData scan;
    for (const CCTImage* const image : ImagesOf(scan)) {
        EXPECT_EQ(image, nullptr);
    }
    EXPECT_EQ(scan.GetQualities().data(), nullptr);
    EXPECT_EQ(scan.GetHostValue(), 0);
    EXPECT_EQ(scan.GetNumValidPoints(), 0);
    EXPECT_EQ(scan.GetMetaData().GetFileName(), "");
    EXPECT_EQ(scan.GetMetaData().GetHostValue(), -1.0);
}

TEST(LxSScanData, OneNeverInitialisedRefusesAllThatNeedsImages)
{
    const Logging::CCapture log;
    const CTemporaryFolder folder;
    LxSScanData scan;
    double depth = 1.0;
    EXPECT_FALSE(scan.Clear());
    EXPECT_FALSE(scan.ClearQualityData());
    EXPECT_FALSE(scan.ComputeMedianDepth(&depth));
    EXPECT_EQ(depth, 0.0);
    EXPECT_FALSE(scan.Write3DFile(folder / "scan"));
    EXPECT_EQ(log.Count(Logging::ELevel::eError, c_sChannel,
                        L"LxSScanData::Write3DFile: no points with a mask of their size.\n"),
              1);
    WriteFile(folder / "file", HandWritten3DFile(1, 1, 3, {1, 2, 3}));
    EXPECT_FALSE(scan.Read3DFile(folder / "file"));
    const LxCCoordSysTrans identity;
    EXPECT_TRUE(scan.TrafoScanData(&identity)) << "there is nothing that it could not map";
}

TEST(LxSScanData, VirtualFunctionsKeepTheirSlots)
{
    using Sizes = bool (LxSScanData::*)(int, int, int, int, bool);
    using Image = bool (LxSScanData::*)(CCTImage*, bool);
    static_assert(std::has_virtual_destructor_v<LxSScanData>);
    EXPECT_EQ(SlotOf(static_cast<Sizes>(&LxSScanData::Initialize)), 2);
    EXPECT_EQ(SlotOf(static_cast<Image>(&LxSScanData::Initialize)), 3);
    EXPECT_EQ(SlotOf(&LxSScanData::Clear), 4);
}

TEST(LxSScanData, InitializeMakesZeroImagesOfTheTypesOfTheTable)
{
    LxSScanData scan;
    ASSERT_TRUE(scan.Initialize(7, 5, 3, 2, true));
    const std::vector<int> types = {11, 7, 7, 11, 9, 5, 2};
    const std::vector<CCTImage*> images = ImagesOf(scan);
    for (std::size_t i = 0; i < images.size(); ++i) {
        ASSERT_NE(images[i], nullptr) << i;
        EXPECT_EQ(images[i]->GetDataType(), types[i]) << i;
        EXPECT_EQ(images[i]->GetWidth(), 7) << i;
        EXPECT_EQ(images[i]->GetHeight(), 5) << i;
        EXPECT_TRUE(IsAllZero(*images[i])) << i;
    }
    ASSERT_EQ(scan.GetQualities().size(), 35U);
    for (const MultipleQualities& quality : scan.GetQualities()) {
        EXPECT_EQ(quality.GetSymbols(), 5);
        EXPECT_EQ(quality.GetFloatQuality(), 1.0F);
    }
}

TEST(LxSScanData, InitializeAgainStartsAnewButKeepsMetadata)
{
    LxSScanData scan;
    ASSERT_TRUE(scan.Initialize(7, 5, 7, 5, true));
    for (CCTImage* const image : ImagesOf(scan)) {
        FillAllBytes(*image, 0xFF);
    }
    scan.SetHostValue(3);
    scan.SetNumValidPoints(35);
    scan.GetMetaData().SetHostValue(2.5);
    ASSERT_TRUE(scan.Initialize(5, 7, 5, 7, false));
    for (const CCTImage* const image : ImagesOf(scan)) {
        EXPECT_TRUE(image->GetWidth() == 5 && image->GetHeight() == 7 && IsAllZero(*image));
    }
    EXPECT_EQ(scan.GetQualities().data(), nullptr);
    EXPECT_EQ(scan.GetHostValue(), 0);
    EXPECT_EQ(scan.GetNumValidPoints(), 0);
    EXPECT_EQ(scan.GetMetaData().GetHostValue(), 2.5);
}

TEST(LxSScanData, InitializeFromAnImageTakesItsSizeForBothSizes)
{
    class CSizes : public LxSScanData
    {
    public:
        using LxSScanData::Initialize;
        bool Initialize(int width, int height, int width2, int height2, bool withQualities) override
        {
            sizes = {width, height, width2, height2, withQualities ? 1 : 0};
            return LxSScanData::Initialize(width, height, width2, height2, withQualities);
        }
        std::vector<int> sizes;
    };
    CSizes scan;
    CCTImage image(6, 4, CCTImage::eIDT_UINT8, 0.0F);
    EXPECT_TRUE(scan.Initialize(&image, true));
    EXPECT_EQ(scan.sizes, (std::vector<int>{6, 4, 6, 4, 1}));
    EXPECT_TRUE(scan.Initialize(scan.Get3DPoints(), false)) << "an image that goes with the call";
    EXPECT_EQ(scan.sizes, (std::vector<int>{6, 4, 6, 4, 0}));
    EXPECT_FALSE(scan.Initialize(nullptr, true));
}

TEST(LxSScanData, InitializeRefusesNegativeAndOverflowingSizes)
{
    const Logging::CCapture quiet;
    for (const auto& [width, height] :
         {std::pair{-1, 5}, {5, -1}, {INT_MIN, INT_MIN}, {INT_MAX, INT_MAX}, {65536, 65536}, {INT_MAX, 1}}) {
        for (const bool withQualities : {false, true}) {
            LxSScanData scan;
            EXPECT_FALSE(scan.Initialize(width, height, 1, 1, withQualities)) << width << " " << height;
            EXPECT_EQ(scan.Get3DPoints(), nullptr);
            EXPECT_EQ(scan.GetQualities().data(), nullptr);
            EXPECT_FALSE(scan.Clear());
        }
    }
}

TEST(LxSScanData, InitializeTellsOfEachAllocationThatFails)
{
    const Logging::CCapture quiet;
    constexpr int c_iSide = 100;
    constexpr std::size_t c_uiSmallest = c_iSide * c_iSide; // bytes, of the masks
    std::size_t failures = 0;
    for (std::size_t allowed = 0; allowed < 8; ++allowed) {
        LxSScanData scan;
        ASSERT_TRUE(scan.Initialize(3, 3, 3, 3, true));
        const AllocationLimit limit(c_uiSmallest, allowed);
        if (scan.Initialize(c_iSide, c_iSide, 1, 1, true)) {
            continue; // the limit has no effect under some sanitizers
        }
        ++failures;
        for (const CCTImage* const image : ImagesOf(scan)) {
            EXPECT_TRUE(image == nullptr || image->GetWidth() == c_iSide)
                << "no image of the old size is left";
        }
        double depth = 0.0;
        EXPECT_FALSE(scan.ComputeMedianDepth(&depth));
        scan.ClearQualityData();
        EXPECT_FALSE(scan.Clear());
    }
    EXPECT_TRUE(failures == 8 || failures == 0) << failures;
}

TEST(LxSScanData, ClearSetsAllImagesToZeroAndKeepsNumbersAndQualities)
{
    LxSScanData scan;
    ASSERT_TRUE(scan.Initialize(4, 3, 4, 3, true));
    for (CCTImage* const image : ImagesOf(scan)) {
        FillAllBytes(*image, 0x7F);
    }
    scan.GetQualities()[11] = MultipleQualities(0.25F);
    scan.SetHostValue(3);
    EXPECT_TRUE(scan.Clear());
    for (const CCTImage* const image : ImagesOf(scan)) {
        EXPECT_TRUE(IsAllZero(*image));
    }
    EXPECT_EQ(scan.GetQualities()[11].GetFloatQuality(), 0.25F);
    EXPECT_EQ(scan.GetHostValue(), 3);
}

TEST(LxSScanData, ClearQualityDataMakesThemDefaultOnes)
{
    LxSScanData scan;
    ASSERT_TRUE(scan.Initialize(4, 3, 4, 3, true));
    for (MultipleQualities& quality : scan.GetQualities()) {
        quality = MultipleQualities(std::uint8_t{3});
    }
    EXPECT_TRUE(scan.ClearQualityData());
    for (const MultipleQualities& quality : scan.GetQualities()) {
        EXPECT_EQ(quality.GetSymbols(), 5);
    }
    ASSERT_TRUE(scan.Initialize(4, 3, 4, 3, false));
    EXPECT_FALSE(scan.ClearQualityData());
}

TEST(LxSScanData, CreateAndClearReplacesWhatTheSlotHolds)
{
    const Logging::CCapture quiet;
    CCTImage* slot = nullptr;
    ASSERT_TRUE(COpenScan::CreateAndClear(&slot, 3, 2, CCTImage::eIDT_UINT16));
    FillAllBytes(*slot, 1);
    ASSERT_TRUE(COpenScan::CreateAndClear(&slot, 2, 3, CCTImage::eIDT_FLOAT32));
    EXPECT_EQ(slot->GetDataType(), CCTImage::eIDT_FLOAT32);
    EXPECT_TRUE(IsAllZero(*slot));
    EXPECT_FALSE(COpenScan::CreateAndClear(&slot, -2, 3, CCTImage::eIDT_FLOAT32));
    EXPECT_EQ(slot, nullptr);
    CCTImage** const none = nullptr;
    EXPECT_FALSE(COpenScan::CreateAndClear(none, 2, 3, CCTImage::eIDT_FLOAT32));
}

// --- The median of depths

/// A record of that size whose depths are all `depth`.
void InitializeWithDepth(LxSScanData& scan, int width, int height, float depth)
{
    ASSERT_TRUE(scan.Initialize(width, height, width, height, false));
    std::ranges::fill(PointsIn(scan), LxCFloat3(1.0F, 2.0F, depth));
}

/// The depths that are looked at, in order, by a plain reading of the rule.
std::vector<double> SampledDepths(const LxSScanData& scan)
{
    const CCTImage& image = *scan.Get3DPoints();
    std::vector<double> depths;
    for (int y = image.GetHeight() / 20; y < image.GetHeight() - image.GetHeight() / 20; y += 10) {
        for (int x = image.GetWidth() / 20; x < image.GetWidth() - image.GetWidth() / 20; x += 10) {
            LxCFloat3 point;
            image.GetPixel(x, y, &point);
            if (point.get(2) != 0.0F) {
                depths.push_back(point.get(2));
            }
        }
    }
    return depths;
}

TEST(LxSScanData, MedianDepthRefusesANullOutput)
{
    LxSScanData scan;
    InitializeWithDepth(scan, 200, 200, 1.0F);
    EXPECT_FALSE(scan.ComputeMedianDepth(nullptr));
}

TEST(LxSScanData, MedianDepthNeedsTwoHundredSamplesThatAreNotZero)
{
    // Of 110 columns 5, 15 ... 95 and 104 > 105 - 1 are looked at: 10. Of 222 rows 11, 21 ... 201 and 211 = 222 - 11
    // is not below: 20.
    LxSScanData scan;
    InitializeWithDepth(scan, 110, 222, 30.0F);
    ASSERT_EQ(SampledDepths(scan).size(), 200U);
    double depth = 0.0;
    EXPECT_TRUE(scan.ComputeMedianDepth(&depth));
    EXPECT_EQ(depth, 30.0);

    scan.Get3DPoints()->SetFloat3PixelFast(5, 11, LxCFloat3(1.0F, 1.0F, -0.0F));
    EXPECT_FALSE(scan.ComputeMedianDepth(&depth)) << "199 are left";
    EXPECT_EQ(depth, 0.0);
}

TEST(LxSScanData, MedianDepthLooksAtNoOtherPixels)
{
    LxSScanData scan;
    // 658 / 20 = 32 and 494 / 20 = 24 pixels are left out on each side: columns 32, 42 ... 622 < 626 and rows
    // 24, 34 ... 464 < 470 are looked at. Of their pixels 199 have a depth, and so have all others: a single one of
    // these that was looked at would make up for the 200th.
    InitializeWithDepth(scan, 658, 494, 90.0F);
    int count = 0;
    for (int y = 24; y < 470; y += 10) {
        for (int x = 32; x < 626; x += 10) {
            scan.Get3DPoints()->SetFloat3PixelFast(x, y, LxCFloat3(0, 0, count++ < 199 ? 20.0F : 0.0F));
        }
    }
    double depth = 1.0;
    EXPECT_FALSE(scan.ComputeMedianDepth(&depth));
    EXPECT_EQ(depth, 0.0);
    scan.Get3DPoints()->SetFloat3PixelFast(622, 464, LxCFloat3(0, 0, 20.0F));
    EXPECT_TRUE(scan.ComputeMedianDepth(&depth)) << "the last one that is looked at is the 200th";
    EXPECT_EQ(depth, 20.0);
}

TEST(LxSScanData, MedianDepthOfExactlyTwoHundredIsTheLowerMedianOfASort)
{
    std::mt19937 random(7);
    std::uniform_real_distribution<float> depthOf(10.0F, 50.0F);
    LxSScanData scan;
    ASSERT_TRUE(scan.Initialize(110, 222, 1, 1, false));
    for (int trial = 0; trial < 20; ++trial) {
        for (LxCFloat3& point : PointsIn(scan)) {
            point = LxCFloat3(0.0F, 0.0F, depthOf(random));
        }
        std::vector<double> sorted = SampledDepths(scan);
        std::ranges::sort(sorted);
        double depth = 0.0;
        ASSERT_TRUE(scan.ComputeMedianDepth(&depth));
        EXPECT_EQ(depth, sorted[99]) << trial;
    }
}

TEST(LxSScanData, MedianDepthLiesAroundTheMedianOfAFullSort)
{
    // The rank of the median of 200 independent draws is Beta distributed about 0.5 with sigma 0.5 / sqrt(202). The mean
    // of 100 such has a tenth of that.
    constexpr int c_iTrials = 100;
    const double c_dSigma = 0.5 / std::sqrt(202.0);
    std::mt19937 random(8);
    std::gamma_distribution<float> depthOf(2.0F, 10.0F);
    LxSScanData scan;
    ASSERT_TRUE(scan.Initialize(658, 494, 1, 1, false));
    double sum = 0.0;
    for (int trial = 0; trial < c_iTrials; ++trial) {
        for (int y = 4; y < 494; y += 10) {
            for (int x = 2; x < 658; x += 10) {
                scan.Get3DPoints()->SetFloat3PixelFast(x, y, LxCFloat3(0.0F, 0.0F, depthOf(random)));
            }
        }
        const std::vector<double> depths = SampledDepths(scan);
        ASSERT_EQ(depths.size(), 60U * 45U);
        double depth = 0.0;
        ASSERT_TRUE(scan.ComputeMedianDepth(&depth));
        const auto below = std::ranges::count_if(depths, [depth](double value) { return value < depth; });
        const double rank = static_cast<double>(below) / static_cast<double>(depths.size());
        EXPECT_LE(std::abs(rank - 0.5), 5.0 * c_dSigma) << trial;
        sum += rank;

        double again = 0.0;
        ASSERT_TRUE(scan.ComputeMedianDepth(&again));
        EXPECT_EQ(depth, again) << "the same image, the same sample";
    }
    EXPECT_LE(std::abs(sum / c_iTrials - 0.5), 5.0 * c_dSigma / std::sqrt(c_iTrials));
}

TEST(LxSScanData, MedianDepthReplacesTheFirstSamplesByLaterOnes)
{
    // The first 200 samples are far, the 2500 that follow near: after them 200 * (199/200)^2500 = 7e-4 far ones are
    // expected to be left, and no median is far unless half of the places were never drawn.
    LxSScanData scan;
    InitializeWithDepth(scan, 658, 494, 20.0F);
    for (int y = 24, count = 0; count < 200; y += 10) {
        for (int x = 32; x < 658 - 32 && count < 200; x += 10, ++count) {
            scan.Get3DPoints()->SetFloat3PixelFast(x, y, LxCFloat3(0.0F, 0.0F, 80.0F));
        }
    }
    double depth = 0.0;
    EXPECT_TRUE(scan.ComputeMedianDepth(&depth));
    EXPECT_EQ(depth, 20.0);
}

TEST(LxSScanData, MedianDepthTakesNaNsAsSamples)
{
    LxSScanData scan;
    InitializeWithDepth(scan, 110, 222, std::numeric_limits<float>::quiet_NaN());
    double depth = 0.0;
    EXPECT_TRUE(scan.ComputeMedianDepth(&depth));
    EXPECT_TRUE(std::isnan(depth));
    for (int y = 0; y < 222; y += 2) {
        scan.Get3DPoints()->SetFloat3PixelFast(5, y, LxCFloat3(0.0F, 0.0F, 30.0F));
    }
    EXPECT_TRUE(scan.ComputeMedianDepth(&depth));
}

TEST(LxSScanData, MedianDepthOfAnEmptyOrForeignImageIsNone)
{
    LxSScanData scan;
    double depth = 1.0;
    ASSERT_TRUE(scan.Initialize(0, 0, 0, 0, true));
    EXPECT_FALSE(scan.ComputeMedianDepth(&depth));
    EXPECT_EQ(depth, 0.0);
    ASSERT_EQ(scan.Get3DPoints()->Resize(300, 300, CCTImage::eIDT_UINT8), CCTImage::eRC_OK);
    EXPECT_FALSE(scan.ComputeMedianDepth(&depth));
}

// --- Transformation

TEST(LxSScanData, TrafoNeedsATransform)
{
    LxSScanData scan;
    ASSERT_TRUE(scan.Initialize(2, 2, 2, 2, false));
    EXPECT_FALSE(scan.TrafoScanData(nullptr));
}

TEST(LxSScanData, TrafoOfAnEmptyImageIsTrue)
{
    LxSScanData scan;
    ASSERT_TRUE(scan.Initialize(0, 0, 0, 0, false));
    const LxCCoordSysTrans identity;
    EXPECT_TRUE(scan.TrafoScanData(&identity));
}

TEST(LxSScanData, TrafoMapsEveryPixelForwardAlsoInvalidOnes)
{
    LxCCoordSysTrans quarterTurn; // about z: x becomes y, y becomes -x; then moved by (10, 20, 30)
    const double turn[9] = {0, -1, 0, 1, 0, 0, 0, 0, 1};
    ASSERT_TRUE(quarterTurn.ReadFromMatrixAndVector(turn, 10.0, 20.0, 30.0));
    LxSScanData scan;
    ASSERT_TRUE(scan.Initialize(3, 3, 3, 3, false));
    std::ranges::fill(PointsIn(scan), LxCFloat3(1.0F, 2.0F, 3.0F));
    std::ranges::fill(ElementsOf<LxCFloat3>(*scan.GetNormals()), LxCFloat3(1.0F, 0.0F, 0.0F));
    EXPECT_TRUE(scan.TrafoScanData(&quarterTurn));
    EXPECT_EQ(scan.GetNormals()->GetFloat3Fast(1, 1).get(0), 1.0F) << "normals stay";
    for (const LxCFloat3& point : PointsIn(scan)) {
        EXPECT_TRUE(HaveSameBits(point, LxCFloat3(8.0F, 21.0F, 33.0F)));
    }
}

TEST(LxSScanData, TrafoIsThatOfTheTransformRoundedToFloat)
{
    LxCCoordSysTrans pose;
    ASSERT_TRUE(pose.ReadFromEulerAnglesAndVector(0.3, -0.7, 1.9, 11.0, -5.0, 80.0));
    LxSScanData scan;
    ASSERT_TRUE(scan.Initialize(101, 67, 1, 1, false));
    FillWithRandomPoints(scan, 3);
    const std::vector<LxCFloat3> before(PointsIn(scan).begin(), PointsIn(scan).end());
    ASSERT_TRUE(scan.TrafoScanData(&pose));
    for (std::size_t i = 0; i < before.size(); ++i) {
        double x = 0.0, y = 0.0, z = 0.0;
        pose.Transform(before[i].get(0), before[i].get(1), before[i].get(2), &x, &y, &z);
        const LxCFloat3 expected(static_cast<float>(x), static_cast<float>(y), static_cast<float>(z));
        ASSERT_TRUE(HaveSameBits(PointsIn(scan)[i], expected)) << i;
    }
}

// --- The 3D file

TEST(LxSScanData, Write3DFileWritesTheBytesOfTheFormat)
{
    const CTemporaryFolder folder;
    LxSScanData scan;
    ASSERT_TRUE(scan.Initialize(2, 3, 2, 3, false));
    std::vector<float> coordinates;
    for (int i = 0; i < 18; ++i) {
        coordinates.push_back(static_cast<float>(i) * 1.25F - 7.0F);
    }
    std::memcpy(scan.Get3DPoints()->GetBuffer(), coordinates.data(), 72);
    FillAllBytes(*scan.GetValidMask(), 1);
    const LxSScanData& constant = scan;
    ASSERT_TRUE(constant.Write3DFile(folder / "scan.bin"));
    EXPECT_EQ(ReadFile(folder / "scan.bin"), HandWritten3DFile(2, 3, 3, coordinates));
}

TEST(LxSScanData, Write3DFileZeroesInvalidPixelsInMemoryAndInTheFile)
{
    const CTemporaryFolder folder;
    const Logging::CCapture log;
    LxSScanData scan;
    ASSERT_TRUE(scan.Initialize(4, 1, 4, 1, false));
    std::ranges::fill(PointsIn(scan), LxCFloat3(1.0F, 2.0F, 3.0F));
    const std::array<std::uint8_t, 4> mask = {1, 0, 2, 1};
    std::ranges::copy(mask, BytesIn(scan.GetValidMask()).begin());
    ASSERT_TRUE(scan.Write3DFile(folder / "scan.bin"));
    EXPECT_TRUE(HaveSameBits(PointsIn(scan)[1], LxCFloat3()));
    EXPECT_TRUE(HaveSameBits(PointsIn(scan)[2], LxCFloat3()));
    EXPECT_EQ(ReadFile(folder / "scan.bin"),
              HandWritten3DFile(4, 1, 3, {1, 2, 3, 0, 0, 0, 0, 0, 0, 1, 2, 3}));
    ASSERT_EQ(log.GetRecords().size(), 1U);
    EXPECT_EQ(log.Count(Logging::ELevel::eInfo, c_sChannel, L"LxSScanData::Write3DFile iNum3DPts = 2\n"), 1);
}

TEST(LxSScanData, Write3DFileReplacesAFile)
{
    const CTemporaryFolder folder;
    WriteFile(folder / "scan.bin", std::string(1000, 'x'));
    LxSScanData scan;
    ASSERT_TRUE(scan.Initialize(0, 0, 0, 0, false));
    ASSERT_TRUE(scan.Write3DFile(folder / "scan.bin"));
    EXPECT_EQ(ReadFile(folder / "scan.bin"), HandWritten3DFile(0, 0, 3, {}));
}

TEST(LxSScanData, Write3DFileToAPathThatCannotBeMadeIsFalseWithoutAMessage)
{
    const CTemporaryFolder folder;
    ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
    LxSScanData scan;
    ASSERT_TRUE(scan.Initialize(1, 1, 1, 1, false));
    for (const std::string& path :
         {folder / "no/such/folder/scan.bin", folder.GetPath().string(), std::string(), folder / "pipe"}) {
        PointsIn(scan)[0] = LxCFloat3(1.0F, 2.0F, 3.0F);
        const Logging::CCapture log;
        EXPECT_FALSE(scan.Write3DFile(path)) << path;
        ASSERT_EQ(log.GetRecords().size(), 1U);
        EXPECT_EQ(log.Count(Logging::ELevel::eInfo, c_sChannel, L"LxSScanData::Write3DFile iNum3DPts = 0\n"),
                  1);
        EXPECT_TRUE(HaveSameBits(PointsIn(scan)[0], LxCFloat3())) << "the pixels are zeroed before";
    }
}

TEST(LxSScanData, Write3DFileToAFullDiskIsFalse)
{
    const std::string full = "/dev/full"; // takes no byte
    if (!std::filesystem::exists(full)) {
        GTEST_SKIP() << "the system has no such device";
    }
    const Logging::CCapture log;
    LxSScanData scan;
    ASSERT_TRUE(scan.Initialize(50, 50, 1, 1, false));
    EXPECT_FALSE(scan.Write3DFile(full));
    EXPECT_EQ(log.Count(Logging::ELevel::eError, c_sChannel,
                        L"LxSScanData::Write3DFile: '/dev/full' cannot be written whole.\n"),
              1);
    EXPECT_TRUE(std::filesystem::exists(full));
}

TEST(LxSScanData, Write3DFileLeavesNoFileThatTheDiskDoesNotTakeWhole)
{
    const CTemporaryFolder folder;
    LxSScanData scan;
    ASSERT_TRUE(scan.Initialize(50, 50, 1, 1, false)); // 30132 bytes
    const Logging::CCapture log;
    {
        const CFileSizeLimit limit(20000);
        EXPECT_FALSE(scan.Write3DFile(folder / "scan.bin"));
    }
    EXPECT_EQ(log.Count(Logging::ELevel::eError, c_sChannel,
                        L"LxSScanData::Write3DFile: '" +
                            std::filesystem::path(folder / "scan.bin").wstring() +
                            L"' cannot be written whole.\n"),
              1);
    EXPECT_FALSE(std::filesystem::exists(folder / "scan.bin"));
    EXPECT_TRUE(scan.Write3DFile(folder / "scan.bin"));
}

TEST(LxSScanData, Write3DFileRefusesImagesThatDoNotFit)
{
    const Logging::CCapture quiet;
    const CTemporaryFolder folder;
    CCTImage points(4, 3, CCTImage::eIDT_FLOAT32_3, 1.0F);
    CCTImage mask(4, 3, CCTImage::eIDT_UINT8, 0.0F);
    CCTImage turned(3, 4, CCTImage::eIDT_UINT8, 0.0F);
    CCTImage small(2, 2, CCTImage::eIDT_UINT8, 0.0F);
    CCTImage wide(4, 3, CCTImage::eIDT_UINT16, 0.0F);
    CCTImage depths(4, 3, CCTImage::eIDT_FLOAT32, 1.0F);
    CCTImage hollow(4, 3, CCTImage::eIDT_UINT8, false, nullptr);
    const std::string path = folder / "scan.bin";
    EXPECT_FALSE(LxSScanData::Write3DFile(nullptr, &mask, path));
    EXPECT_FALSE(LxSScanData::Write3DFile(&points, nullptr, path));
    EXPECT_FALSE(LxSScanData::Write3DFile(&points, &turned, path));
    EXPECT_FALSE(LxSScanData::Write3DFile(&points, &small, path));
    EXPECT_FALSE(LxSScanData::Write3DFile(&points, &wide, path));
    EXPECT_FALSE(LxSScanData::Write3DFile(&points, &hollow, path));
    EXPECT_FALSE(LxSScanData::Write3DFile(&depths, &mask, path));
    EXPECT_FALSE(std::filesystem::exists(path));
    EXPECT_EQ(points.GetFloat3Fast(3, 2).get(0), 1.0F) << "nothing was changed";
    EXPECT_TRUE(LxSScanData::Write3DFile(&points, &mask, path));
}

TEST(LxSScanData, Read3DFileReadsTheBytesOfTheFormat)
{
    const CTemporaryFolder folder;
    WriteFile(folder / "scan.bin", HandWritten3DFile(2, 1, 3, {1, 2, 3, 4, 5, NAN}) + "behind");
    LxSScanData scan;
    ASSERT_TRUE(scan.Initialize(2, 1, 2, 1, true));
    for (CCTImage* const image : ImagesOf(scan)) {
        FillAllBytes(*image, 0x7F);
    }
    scan.GetQualities()[0] = MultipleQualities(0.5F);
    ASSERT_TRUE(scan.Read3DFile(folder / "scan.bin"));
    EXPECT_TRUE(HaveSameBits(PointsIn(scan)[0], LxCFloat3(1.0F, 2.0F, 3.0F)));
    EXPECT_TRUE(HaveSameBits(PointsIn(scan)[1], LxCFloat3(4.0F, 5.0F, NAN)));
    EXPECT_TRUE(IsAllZero(*scan.GetValidMask()) && IsAllZero(*scan.GetColor()));
    EXPECT_EQ(scan.GetQualities()[0].GetFloatQuality(), 1.0F);
}

TEST(LxSScanData, Read3DFileTakesNoMoreBytesThanTheImageHadBefore)
{
    const CTemporaryFolder folder;
    WriteFile(folder / "scan.bin", HandWritten3DFile(2, 2, 3, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}));
    LxSScanData scan;
    ASSERT_TRUE(scan.Initialize(1, 2, 1, 2, false));
    ASSERT_TRUE(scan.Read3DFile(folder / "scan.bin"));
    ASSERT_EQ(PointsIn(scan).size(), 4U);
    EXPECT_TRUE(HaveSameBits(PointsIn(scan)[1], LxCFloat3(4.0F, 5.0F, 6.0F)));
    EXPECT_TRUE(HaveSameBits(PointsIn(scan)[2], LxCFloat3()));
    EXPECT_EQ(scan.GetValidMask()->GetHeight(), 2);

    // The mask has another size now. What follows must not go beyond it.
    const Logging::CCapture quiet;
    EXPECT_FALSE(scan.Write3DFile(folder / "again.bin"));

    ASSERT_TRUE(scan.Initialize(9, 9, 9, 9, false));
    ASSERT_TRUE(scan.Read3DFile(folder / "scan.bin")) << "a record that is larger than the file";
    ASSERT_EQ(PointsIn(scan).size(), 4U);
    EXPECT_TRUE(HaveSameBits(PointsIn(scan)[3], LxCFloat3(10.0F, 11.0F, 12.0F)));
}

TEST(LxSScanData, Read3DFileRefusesOtherThanThreeChannels)
{
    const CTemporaryFolder folder;
    const Logging::CCapture log;
    for (const std::int32_t channels : {1, 0, -3, 4, INT_MAX}) {
        WriteFile(folder / "scan.bin", HandWritten3DFile(1, 1, channels, {1, 2, 3}));
        LxSScanData scan;
        ASSERT_TRUE(scan.Initialize(1, 1, 1, 1, false));
        FillAllBytes(*scan.GetColor(), 9);
        EXPECT_FALSE(scan.Read3DFile(folder / "scan.bin")) << channels;
        EXPECT_TRUE(IsAllZero(*scan.Get3DPoints()) && IsAllZero(*scan.GetColor()))
            << "a failed read has cleared";
    }
    EXPECT_TRUE(log.GetRecords().empty());
}

TEST(LxSScanData, Read3DFileRefusesAFileThatIsCutAnywhere)
{
    const CTemporaryFolder folder;
    const std::string whole = HandWritten3DFile(2, 2, 3, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12});
    LxSScanData scan;
    ASSERT_TRUE(scan.Initialize(2, 2, 2, 2, true));
    for (std::size_t bytes = 0; bytes <= whole.size(); ++bytes) {
        WriteFile(folder / "scan.bin", whole.substr(0, bytes));
        FillAllBytes(*scan.Get3DPoints(), 0x11);
        const Logging::CCapture log;
        EXPECT_EQ(scan.Read3DFile(folder / "scan.bin"), bytes == whole.size()) << bytes;
        EXPECT_EQ(IsAllZero(*scan.Get3DPoints()), bytes < whole.size()) << bytes;
        EXPECT_EQ(scan.Get3DPoints()->GetSizeInPixels(), 4) << bytes;
        const bool cutInPoints = bytes >= c_uiHeaderBytes && bytes < whole.size();
        EXPECT_EQ(log.Count(Logging::ELevel::eError, c_sChannel,
                            L"LxSScanData::Read3DFile: '" +
                                std::filesystem::path(folder / "scan.bin").wstring() +
                                L"' is shorter than 2 by 2 points.\n"),
                  cutInPoints ? 1 : 0)
            << bytes;
    }
}

TEST(LxSScanData, Read3DFileTakesNoMemoryForSizesThatTheFileDoesNotHold)
{
    const CTemporaryFolder folder;
    LxSScanData scan;
    ASSERT_TRUE(scan.Initialize(2, 2, 2, 2, false));
    for (const auto& [width, height] : {std::pair{INT_MAX, INT_MAX},
                                        {INT_MIN, INT_MIN},
                                        {-1, -1},
                                        {-1, 1},
                                        {0x10000, 0x10000},
                                        {0x40000000, 4},
                                        {10000, 10000},
                                        {INT_MAX, 0}}) {
        WriteFile(folder / "scan.bin", HandWritten3DFile(width, height, 3, std::vector<float>(12, 1.0F)));
        const Logging::CCapture quiet;
        const AllocationLimit limit(1000000, 0);
        EXPECT_FALSE(scan.Read3DFile(folder / "scan.bin")) << width << " " << height;
    }
}

/// Whether a record has 2 by 3 pixels and no point.
bool IsClearedRecordOf2By3(const LxSScanData& scan)
{
    return std::ranges::all_of(ImagesOf(scan),
                               [](const CCTImage* image) {
                                   return image->GetWidth() == 2 && image->GetHeight() == 3 &&
                                          IsAllZero(*image);
                               }) &&
           scan.Get3DPoints()->GetDataType() == CCTImage::eIDT_FLOAT32_3 && PointsIn(scan).size() == 6;
}

TEST(LxSScanData, Read3DFileThatFailsLeavesTheImagesTheirSizes)
{
    const CTemporaryFolder folder;
    const Logging::CCapture quiet;
    LxSScanData scan;
    ASSERT_TRUE(scan.Initialize(2, 3, 2, 3, false));
    // Rows without columns and columns without rows take no byte, and so the file holds them, but no image does.
    for (const auto& [width, height] : {std::pair{INT_MAX, 0}, {0, INT_MAX}}) {
        WriteFile(folder / "scan.bin", HandWritten3DFile(width, height, 3, {}));
        FillAllBytes(*scan.Get3DPoints(), 1);
        EXPECT_FALSE(scan.Read3DFile(folder / "scan.bin"));
        EXPECT_TRUE(IsClearedRecordOf2By3(scan));
    }
    WriteFile(folder / "scan.bin", HandWritten3DFile(100, 200, 3, std::vector<float>(60000, 1.0F)));
    FillAllBytes(*scan.Get3DPoints(), 1);
    const AllocationLimit limit(240000, 0);
    if (!scan.Read3DFile(folder / "scan.bin")) { // the limit has no effect under some sanitizers
        EXPECT_TRUE(IsClearedRecordOf2By3(scan));
    }
}

TEST(LxSScanData, Read3DFileOfNoFileIsFalseAndClears)
{
    const CTemporaryFolder folder;
    ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
    LxSScanData scan;
    ASSERT_TRUE(scan.Initialize(2, 2, 2, 2, true));
    for (const std::string& path :
         {folder / "none", folder.GetPath().string(), folder / "pipe", std::string()}) {
        FillAllBytes(*scan.GetNormals(), 1);
        EXPECT_FALSE(scan.Read3DFile(path)) << path;
        EXPECT_TRUE(IsAllZero(*scan.GetNormals()));
    }
}

TEST(LxSScanData, PointsComeBackFromAFileAndFromThereAndBack)
{
    const CTemporaryFolder folder;
    LxCCoordSysTrans pose;
    ASSERT_TRUE(pose.ReadFromEulerAnglesAndVector(0.3, -0.7, 1.9, 11.0, -5.0, 8.0));
    LxCCoordSysTrans back;
    back.CopyFrom(&pose);
    ASSERT_TRUE(back.Invert());
    LxSScanData scan;
    ASSERT_TRUE(scan.Initialize(64, 48, 1, 1, false));
    FillWithRandomPoints(scan, 5);
    ASSERT_TRUE(scan.Write3DFile(folder / "first.bin")); // zeroes the invalid ones
    const std::vector<LxCFloat3> before(PointsIn(scan).begin(), PointsIn(scan).end());
    ASSERT_TRUE(scan.TrafoScanData(&pose));
    FillAllBytes(*scan.GetValidMask(), 1);
    ASSERT_TRUE(scan.Write3DFile(folder / "there.bin"));

    LxSScanData read;
    ASSERT_TRUE(read.Initialize(64, 48, 1, 1, false));
    ASSERT_TRUE(read.Read3DFile(folder / "there.bin"));
    EXPECT_EQ(RawBytesOf(*read.Get3DPoints()), RawBytesOf(*scan.Get3DPoints()));
    ASSERT_TRUE(read.TrafoScanData(&back));
    // Coordinates below 32 mm are rounded to floats twice, each by at most 1e-6 mm; lengths stay.
    constexpr double c_dTolerance = 5e-6; // mm
    for (std::size_t i = 0; i < before.size(); ++i) {
        ASSERT_LE((PointsIn(read)[i] - before[i]).getModulus(), c_dTolerance) << i;
    }
    ASSERT_TRUE(read.Read3DFile(folder / "first.bin"));
    EXPECT_EQ(std::memcmp(before.data(), read.Get3DPoints()->GetBuffer(), before.size() * 12), 0);
}

} // namespace
} // namespace LxCV
