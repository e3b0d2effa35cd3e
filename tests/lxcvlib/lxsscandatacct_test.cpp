#include "lxsscandatacct.h"

#include "lxclxcvlibsettings.h"
#include "orx/logging/logger.h"
#include "tests/lxcvlib/scantestsupport.h"
#include "tests/support/temporaryfolder.h"
#include "tests/support/virtualslot.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <string>
#include <vector>

namespace LxCV {
namespace {

using namespace TestSupport;
using Settings = LxCLxCVLibSettings;

std::vector<CCTImage*> FullImagesOf(const LxSScanDataCCT& scan)
{
    return {scan.GetFull3DPoints(), scan.GetFullValidMask(),  scan.GetFullNormalMask(),
            scan.GetFullNormals(),  scan.GetFullFloatPlane(), scan.GetFullUInt16Plane(),
            scan.GetFullColor(),    scan.GetARGBImage()};
}

/// Puts the setting back, whatever a test has set.
class LxSScanDataCCTTest : public testing::Test
{
protected:
    void TearDown() override { Settings::SetReduceData(m_eBefore); }

    Settings::EReduceData m_eBefore = Settings::GetReduceData();
};

TEST_F(LxSScanDataCCTTest, NewOneHasNoImages)
{
    LxSScanDataCCT scan;
    for (const CCTImage* const image : FullImagesOf(scan)) {
        EXPECT_EQ(image, nullptr);
    }
    EXPECT_EQ(scan.GetFullHostValue(), 0);
    EXPECT_EQ(scan.GetKeptHostValue(), 0);
    EXPECT_FALSE(scan.Clear());
}

TEST_F(LxSScanDataCCTTest, VirtualFunctionsKeepTheirSlots)
{
    using Sizes = bool (LxSScanDataCCT::*)(int, int, int, int, bool);
    EXPECT_EQ(::TestSupport::SlotOf(static_cast<Sizes>(&LxSScanDataCCT::Initialize)), 2);
    EXPECT_EQ(::TestSupport::SlotOf(&LxSScanDataCCT::Clear), 4);
}

TEST_F(LxSScanDataCCTTest, InitializeMakesZeroImagesOfTheTypesOfTheTable)
{
    Settings::SetReduceData(Settings::eRD_None);
    LxSScanDataCCT scan;
    scan.SetFullHostValue(3);
    scan.SetKeptHostValue(4);
    ASSERT_TRUE(scan.Initialize(8, 5, 3, 2, true));
    const std::vector<int> types = {11, 7, 7, 11, 9, 5, 2, 1};
    const std::vector<CCTImage*> images = FullImagesOf(scan);
    for (std::size_t i = 0; i < images.size(); ++i) {
        ASSERT_NE(images[i], nullptr) << i;
        EXPECT_EQ(images[i]->GetDataType(), types[i]) << i;
        EXPECT_EQ(images[i]->GetWidth(), types[i] == 1 ? 3 : 8) << i;
        EXPECT_EQ(images[i]->GetHeight(), types[i] == 1 ? 2 : 5) << i;
        EXPECT_TRUE(IsAllZero(*images[i])) << i;
    }
    EXPECT_EQ(scan.Get3DPoints()->GetWidth(), 8);
    EXPECT_EQ(scan.GetQualities().size(), 40U);
    EXPECT_EQ(scan.GetFullHostValue(), 0);
    EXPECT_EQ(scan.GetKeptHostValue(), 4);
}

TEST_F(LxSScanDataCCTTest, AReductionLeavesTheBaseAThirdOfTheColumns)
{
    for (const auto reduction : {Settings::eRD_Reduction1, Settings::eRD_Reduction2}) {
        Settings::SetReduceData(reduction);
        LxSScanDataCCT scan;
        ASSERT_TRUE(scan.Initialize(8, 5, 3, 2, true));
        EXPECT_EQ(scan.Get3DPoints()->GetWidth(), 2) << "8 / 3, rounded down";
        EXPECT_EQ(scan.GetColor()->GetWidth(), 2);
        EXPECT_EQ(scan.Get3DPoints()->GetHeight(), 5);
        EXPECT_EQ(scan.GetQualities().size(), 10U);
        EXPECT_EQ(scan.GetFull3DPoints()->GetWidth(), 8);
        EXPECT_EQ(scan.GetARGBImage()->GetWidth(), 3);
    }
}

TEST_F(LxSScanDataCCTTest, InitializeFromAnImageMakesAllImages)
{
    Settings::SetReduceData(Settings::eRD_None);
    LxSScanDataCCT scan;
    CCTImage image(6, 4, CCTImage::eIDT_UINT8, 0.0F);
    LxSScanData& base = scan;
    ASSERT_TRUE(base.Initialize(&image, false));
    EXPECT_EQ(scan.GetFull3DPoints()->GetWidth(), 6);
    EXPECT_EQ(scan.GetARGBImage()->GetWidth(), 6);
    EXPECT_EQ(scan.GetARGBImage()->GetHeight(), 4);
}

TEST_F(LxSScanDataCCTTest, InitializeRefusesSizesThatCannotBe)
{
    const Logging::CCapture quiet;
    Settings::SetReduceData(Settings::eRD_Reduction1);
    LxSScanDataCCT scan;
    EXPECT_FALSE(scan.Initialize(-1, 5, 3, 2, false)) << "a third of -1 is 0 columns";
    EXPECT_FALSE(scan.Initialize(5, 5, 3, -2, false));
    EXPECT_FALSE(scan.Initialize(INT_MAX, INT_MAX, 3, 2, true));
    EXPECT_FALSE(scan.Clear());
}

TEST_F(LxSScanDataCCTTest, ClearSetsTheImagesOfBothToZero)
{
    LxSScanDataCCT scan;
    ASSERT_TRUE(scan.Initialize(6, 4, 2, 2, false));
    std::vector<CCTImage*> images = FullImagesOf(scan);
    images.push_back(scan.Get3DPoints());
    images.push_back(scan.GetColor());
    for (CCTImage* const image : images) {
        FillAllBytes(*image, 7);
    }
    EXPECT_TRUE(scan.Clear());
    for (const CCTImage* const image : images) {
        EXPECT_TRUE(IsAllZero(*image));
    }
}

TEST_F(LxSScanDataCCTTest, ClearOfAPartWithoutAllImagesIsFalse)
{
    const Logging::CCapture quiet;
    LxSScanDataCCT scan;
    ASSERT_FALSE(scan.Initialize(6, 4, -1, 2, false)) << "no ARGB image";
    FillAllBytes(*scan.Get3DPoints(), 7);
    FillAllBytes(*scan.GetFull3DPoints(), 7);
    EXPECT_FALSE(scan.Clear());
    EXPECT_TRUE(IsAllZero(*scan.Get3DPoints()));
    EXPECT_FALSE(IsAllZero(*scan.GetFull3DPoints()));
}

TEST_F(LxSScanDataCCTTest, Write3DFileTakesThePointsThatAreAskedFor)
{
    Settings::SetReduceData(Settings::eRD_Reduction1);
    const ::TestSupport::CTemporaryFolder folder;
    LxSScanDataCCT scan;
    ASSERT_TRUE(scan.Initialize(6, 1, 2, 2, false));
    std::ranges::fill(PointsIn(scan), LxCFloat3(1.0F));
    std::ranges::fill(ElementsOf<LxCFloat3>(*scan.GetFull3DPoints()), LxCFloat3(2.0F));
    FillAllBytes(*scan.GetValidMask(), 1);
    FillAllBytes(*scan.GetFullValidMask(), 1);
    scan.GetFullValidMask()->SetPixel(5, 0, 0UL);
    ASSERT_TRUE(scan.Write3DFile(folder / "reduced", true));
    ASSERT_TRUE(scan.Write3DFile(folder / "full", false));
    ASSERT_TRUE(scan.Write3DFile(folder / "base"));

    const auto pointsOf = [&folder](const char* name) {
        return ::TestSupport::ReadFile(folder / name).substr(120);
    };
    std::string reduced = LittleEndian(2) + LittleEndian(1) + LittleEndian(3);
    for (int i = 0; i < 6; ++i) {
        reduced += LittleEndian(1.0F);
    }
    std::string full = LittleEndian(6) + LittleEndian(1) + LittleEndian(3);
    for (int i = 0; i < 18; ++i) {
        full += LittleEndian(i < 15 ? 2.0F : 0.0F);
    }
    EXPECT_EQ(pointsOf("reduced"), reduced);
    EXPECT_EQ(pointsOf("full"), full);
    EXPECT_EQ(pointsOf("base"), reduced);
}

} // namespace
} // namespace LxCV
