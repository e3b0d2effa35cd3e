#include "lxsscandataqcc.h"

#include "orx/logging/logger.h"
#include "tests/lxcvlib/scantestsupport.h"
#include "tests/support/virtualslot.h"

#include <gtest/gtest.h>

namespace LxCV {
namespace {

using namespace TestSupport;

TEST(LxSScanDataQCC, NewOneHasNoImagesButAScanInfoOfZeros)
{
    LxSScanDataQCC scan;
    EXPECT_EQ(scan.GetARGBImage(), nullptr);
    EXPECT_EQ(scan.GetFloatImage(), nullptr);
    EXPECT_FALSE(scan.Clear());
    ASSERT_NE(scan.GetScanInfo(), nullptr);
    EXPECT_EQ(scan.GetScanInfo()->m_iA, 0);
    EXPECT_EQ(scan.GetScanInfo()->m_iB, 0);
    EXPECT_EQ(scan.GetScanInfo()->m_uiByte, 0);
    EXPECT_EQ(scan.GetScanInfo()->m_dC, 0.0);
    EXPECT_EQ(scan.GetScanInfo()->m_dD, 0.0);
}

TEST(LxSScanDataQCC, VirtualFunctionsKeepTheirSlots)
{
    using Sizes = bool (LxSScanDataQCC::*)(int, int, int, int, bool);
    EXPECT_EQ(::TestSupport::SlotOf(static_cast<Sizes>(&LxSScanDataQCC::Initialize)), 2);
    EXPECT_EQ(::TestSupport::SlotOf(&LxSScanDataQCC::Clear), 4);
}

TEST(LxSScanDataQCC, InitializeMakesTwoImagesOfTheSecondSize)
{
    LxSScanDataQCC scan;
    ASSERT_TRUE(scan.Initialize(7, 5, 3, 2, true));
    EXPECT_EQ(scan.Get3DPoints()->GetWidth(), 7);
    EXPECT_EQ(scan.GetQualities().size(), 35U);
    for (const CCTImage* const image : {scan.GetARGBImage(), scan.GetFloatImage()}) {
        EXPECT_EQ(image->GetWidth(), 3);
        EXPECT_EQ(image->GetHeight(), 2);
        EXPECT_EQ(image->GetBytesPerPixel(), 4);
        EXPECT_TRUE(IsAllZero(*image));
    }
    EXPECT_EQ(scan.GetARGBImage()->GetDataType(), 1);
    EXPECT_EQ(scan.GetFloatImage()->GetDataType(), 9);
    const Logging::CCapture quiet;
    EXPECT_FALSE(scan.Initialize(7, 5, 3, -2, true));
    EXPECT_FALSE(scan.Initialize(-7, 5, 3, 2, true));
    EXPECT_FALSE(scan.Clear());
}

TEST(LxSScanDataQCC, InitializeFromAnImageGivesAllImagesItsSize)
{
    LxSScanDataQCC scan;
    CCTImage image(6, 4, CCTImage::eIDT_UINT8, 0.0F);
    ASSERT_TRUE(scan.Initialize(&image, false));
    EXPECT_TRUE(scan.GetFloatImage()->DoDimMatchWith(image));
    EXPECT_TRUE(scan.GetColor()->DoDimMatchWith(image));
}

TEST(LxSScanDataQCC, ClearSetsTheImagesOfBothToZero)
{
    LxSScanDataQCC scan;
    ASSERT_TRUE(scan.Initialize(7, 5, 3, 2, false));
    for (CCTImage* const image : {scan.GetARGBImage(), scan.GetFloatImage(), scan.GetColor()}) {
        FillAllBytes(*image, 7);
    }
    EXPECT_TRUE(scan.Clear());
    for (const CCTImage* const image : {scan.GetARGBImage(), scan.GetFloatImage(), scan.GetColor()}) {
        EXPECT_TRUE(IsAllZero(*image));
    }
}

} // namespace
} // namespace LxCV
