#include "lxcorxipalgorithm.h"

#include "lxsscandata.h"
#include "orx/logging/logger.h"
#include "tests/lxcvlib/scantestsupport.h"
#include "tests/support/virtualslot.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <type_traits>

namespace LxCV {
namespace {

using namespace TestSupport;

/// A record of valid points in the plane z = 30 as rows and columns of a camera see them, 1 mm apart.
void InitializeFlat(LxSScanData& scan, int width, int height)
{
    ASSERT_TRUE(scan.Initialize(width, height, width, height, false));
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            scan.Get3DPoints()->SetFloat3PixelFast(
                x, y, LxCFloat3(static_cast<float>(x), static_cast<float>(y), 30.0F));
        }
    }
    FillAllBytes(*scan.GetValidMask(), 1);
    FillAllBytes(*scan.GetNormalMask(), 1);
}

bool IsTowardsCamera(const LxCFloat3& normal)
{
    return normal.get(0) == 0.0F && normal.get(1) == 0.0F && normal.get(2) == -1.0F;
}

TEST(LxCORXIPAlgorithm, NewOneHasNoOwnersAndACopyHasNoneToo)
{
    LxCORXIPAlgorithm algorithm;
    EXPECT_EQ(algorithm.getReferenceCounter(), 0);
    ++algorithm.getReferenceCounter();
    LxCORXIPAlgorithm copy(algorithm);
    EXPECT_EQ(copy.getReferenceCounter(), 0);
    ++copy.getReferenceCounter();
    ++copy.getReferenceCounter();
    copy = algorithm;
    EXPECT_EQ(copy.getReferenceCounter(), 2) << "its own owners stay";
    Base::IReferenceCounted& base = algorithm;
    EXPECT_EQ(--base.getReferenceCounter(), 0);
}

TEST(LxCORXIPAlgorithm, VirtualFunctionsKeepTheirSlots)
{
    static_assert(std::is_base_of_v<Base::IReferenceCounted, LxCORXIPAlgorithm>);
    static_assert(std::has_virtual_destructor_v<LxCORXIPAlgorithm>);
    EXPECT_EQ(::TestSupport::SlotBehindDestructor(&LxCORXIPAlgorithm::getReferenceCounter), 0);
}

TEST(LxCORXIPAlgorithm, NormalsOfARecordWithoutPixelsAreNone)
{
    const LxCORXIPAlgorithm algorithm;
    EXPECT_TRUE(algorithm.ComputeNormals(nullptr));
    LxSScanData scan;
    scan.SetNumValidPoints(5);
    EXPECT_TRUE(algorithm.ComputeNormals(&scan));
    EXPECT_EQ(scan.GetNumValidPoints(), 5);
    ASSERT_TRUE(scan.Initialize(0, 0, 0, 0, false));
    scan.SetNumValidPoints(5);
    EXPECT_TRUE(algorithm.ComputeNormals(&scan));
    EXPECT_EQ(scan.GetNumValidPoints(), 5) << "returns before it counts";
}

TEST(LxCORXIPAlgorithm, ASinglePixelHasTheZeroNormal)
{
    LxSScanData scan;
    InitializeFlat(scan, 1, 1);
    FillAllBytes(*scan.GetNormals(), 9);
    EXPECT_TRUE(LxCORXIPAlgorithm().ComputeNormals(&scan));
    EXPECT_TRUE(IsAllZero(*scan.GetNormals()));
    EXPECT_EQ(scan.GetNumValidPoints(), 1);
    EXPECT_EQ(BytesIn(scan.GetNormalMask())[0], 1);
}

TEST(LxCORXIPAlgorithm, AFlatSquareHasNormalsTowardsTheCamera)
{
    LxSScanData scan;
    InitializeFlat(scan, 20, 20);
    EXPECT_TRUE(LxCORXIPAlgorithm().ComputeNormals(&scan));
    EXPECT_EQ(scan.GetNumValidPoints(), 400);
    for (const LxCFloat3& normal : ElementsOf<LxCFloat3>(*scan.GetNormals())) {
        EXPECT_TRUE(IsTowardsCamera(normal));
    }
}

TEST(LxCORXIPAlgorithm, MemoryIsTakenAsWidthLinesOfHeightPoints)
{
    // 3 by 2: element 1 has the neighbours 0 (none behind, the line of two ends) and 3.
    LxSScanData scan;
    ASSERT_TRUE(scan.Initialize(3, 2, 3, 2, false));
    FillAllBytes(*scan.GetValidMask(), 1);
    const auto points = PointsIn(scan);
    points[0] = LxCFloat3(2.0F, 0.0F, 0.0F);
    points[3] = LxCFloat3(0.0F, 0.0F, 3.0F);
    EXPECT_TRUE(LxCORXIPAlgorithm().ComputeNormals(&scan));
    // -(d x a) for d = (0, 0, 3), a = (2, 0, 0): d x a = (0, 6, 0)
    const LxCFloat3 normal = ElementsOf<LxCFloat3>(*scan.GetNormals())[1];
    EXPECT_EQ(normal.get(0), 0.0F);
    EXPECT_EQ(normal.get(1), -1.0F);
    EXPECT_EQ(normal.get(2), 0.0F);
}

TEST(LxCORXIPAlgorithm, AFlatCameraImageHasNormalsTowardsTheCameraInAllInnerColumns)
{
    for (const auto& [width, height] : {std::pair{658, 494}, {219, 494}}) {
        LxSScanData scan;
        InitializeFlat(scan, width, height);
        EXPECT_TRUE(LxCORXIPAlgorithm().ComputeNormals(&scan));
        for (int y = 3; y < height - 3; ++y) {
            for (int x = 1; x < width - 1; ++x) {
                ASSERT_TRUE(IsTowardsCamera(scan.GetNormals()->GetFloat3Fast(x, y))) << x << " " << y;
            }
        }
    }
}

TEST(LxCORXIPAlgorithm, InvalidPixelsAreNotCountedAndHaveNoNormal)
{
    LxSScanData scan;
    InitializeFlat(scan, 10, 10);
    BytesIn(scan.GetValidMask())[37] = 0;
    BytesIn(scan.GetValidMask())[55] = 2;
    const LxSScanData& constant = scan;
    EXPECT_TRUE(LxCORXIPAlgorithm().ComputeNormals(&constant));
    EXPECT_EQ(scan.GetNumValidPoints(), 98);
    for (std::size_t i = 0; i < 100; ++i) {
        const bool valid = i != 37 && i != 55;
        EXPECT_EQ(BytesIn(scan.GetNormalMask())[i], valid ? 1 : 0) << i;
        EXPECT_EQ(IsTowardsCamera(ElementsOf<LxCFloat3>(*scan.GetNormals())[i]), valid) << i;
    }
}

TEST(LxCORXIPAlgorithm, ImagesOfDifferentSizesAreLeftAsTheyAre)
{
    for (int which = 0; which < 4; ++which) {
        LxSScanData scan;
        InitializeFlat(scan, 6, 5);
        CCTImage* const images[] = {scan.Get3DPoints(), scan.GetValidMask(), scan.GetNormals(),
                                    scan.GetNormalMask()};
        ASSERT_EQ(images[which]->Resize(5, 6, CCTImage::eIDT_Undefined), CCTImage::eRC_OK);
        scan.SetNumValidPoints(7);
        const Logging::CCapture log;
        EXPECT_TRUE(LxCORXIPAlgorithm().ComputeNormals(&scan));
        EXPECT_EQ(scan.GetNumValidPoints(), 7);
        EXPECT_TRUE(IsAllZero(*scan.GetNormals()));
        EXPECT_EQ(log.Count(Logging::ELevel::eError, L"ORX.Lumorad.LxCORXIPAlgorithm",
                            L"LxCORXIPAlgorithm::ComputeNormals: the images differ in size.\n"),
                  1);
    }
}

} // namespace
} // namespace LxCV
