#include "crawimagequeue.h"

#include <gtest/gtest.h>

#include <exception>
#include <set>
#include <type_traits>
#include <vector>

namespace LxCV {
namespace {

static_assert(!std::is_copy_constructible_v<CRawImageQueue> && !std::is_copy_assignable_v<CRawImageQueue>);

/// Lends all images, in their order.
std::vector<CCTImage*> LendAll(CRawImageQueue& queue)
{
    std::vector<CCTImage*> images;
    while (CCTImage* const image = queue.Lend()) {
        images.push_back(image);
    }
    return images;
}

TEST(CRawImageQueue, LendsAsManyDistinctImagesAsItWasFilledWith)
{
    CRawImageQueue queue;
    EXPECT_EQ(queue.Lend(), nullptr);
    queue.Fill(3, 5, 4, CCTImage::eIDT_BGRU8);
    const std::vector<CCTImage*> images = LendAll(queue);
    EXPECT_EQ(std::set<CCTImage*>(images.begin(), images.end()).size(), 3U);
    for (const CCTImage* const image : images) {
        EXPECT_EQ(image->GetWidth(), 5);
        EXPECT_EQ(image->GetHeight(), 4);
        EXPECT_EQ(image->GetDataType(), CCTImage::eIDT_BGRU8);
    }
}

TEST(CRawImageQueue, LendsInTheOrderInWhichImagesCameBack)
{
    CRawImageQueue queue;
    queue.Fill(3, 1, 1, CCTImage::eIDT_UINT8);
    const std::vector<CCTImage*> images = LendAll(queue);
    EXPECT_TRUE(queue.GiveBack(images[1]));
    EXPECT_TRUE(queue.GiveBack(images[2]));
    EXPECT_TRUE(queue.GiveBack(images[0]));
    EXPECT_EQ(LendAll(queue), (std::vector<CCTImage*>{images[1], images[2], images[0]}));
}

TEST(CRawImageQueue, TakesOnlyLentImagesAndOnlyOnce)
{
    CRawImageQueue queue;
    queue.Fill(2, 1, 1, CCTImage::eIDT_UINT8);
    CCTImage* const image = queue.Lend();
    const CCTImage foreign;
    EXPECT_FALSE(queue.GiveBack(nullptr));
    EXPECT_FALSE(queue.GiveBack(&foreign));
    EXPECT_TRUE(queue.GiveBack(image));
    EXPECT_FALSE(queue.GiveBack(image));
    EXPECT_EQ(LendAll(queue).size(), 2U);
}

TEST(CRawImageQueue, LentImagesOutliveClearingAndComeBack)
{
    CRawImageQueue queue;
    queue.Fill(2, 3, 2, CCTImage::eIDT_UINT8);
    CCTImage* const image = queue.Lend();
    queue.Clear();
    queue.Clear();
    EXPECT_EQ(queue.Lend(), nullptr);
    EXPECT_EQ(image->GetWidth(), 3);
    EXPECT_TRUE(queue.GiveBack(image));
    EXPECT_EQ(queue.Lend(), image);
}

TEST(CRawImageQueue, FillingReplacesTheFreeImages)
{
    CRawImageQueue queue;
    queue.Fill(2, 3, 2, CCTImage::eIDT_UINT8);
    CCTImage* const lent = queue.Lend();
    queue.Fill(1, 7, 7, CCTImage::eIDT_FLOAT32_3);
    EXPECT_TRUE(queue.GiveBack(lent));
    const std::vector<CCTImage*> images = LendAll(queue);
    ASSERT_EQ(images.size(), 2U);
    EXPECT_EQ(images[0]->GetWidth(), 7);
    EXPECT_EQ(images[1], lent);
    queue.Fill(0, 7, 7, CCTImage::eIDT_UINT8);
    EXPECT_EQ(queue.Lend(), nullptr);
}

TEST(CRawImageQueue, KeepsItsImagesWhereNewOnesCannotBeMade)
{
    CRawImageQueue queue;
    queue.Fill(1, 3, 2, CCTImage::eIDT_UINT8);
    constexpr int c_iHuge = 2'000'000'000;
    EXPECT_THROW(queue.Fill(1, c_iHuge, c_iHuge, CCTImage::eIDT_UINT8), std::exception);
    const CCTImage* const image = queue.Lend();
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(image->GetWidth(), 3);
}

} // namespace
} // namespace LxCV
