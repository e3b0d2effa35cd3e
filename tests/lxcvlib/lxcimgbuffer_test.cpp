#include "lxcimgbuffer.h"

#include "orx/logging/logger.h"
#include "tests/lxcvlib/allocationcount.h"
#include "tests/support/virtualslot.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <vector>

namespace LxCV {
namespace {

using TestSupport::SlotBehindDestructor;
using Image = CCTImage;

constexpr int c_iWidth = 7;
constexpr int c_iHeight = 5;
constexpr int c_iVidImages = 6; // the default

int LoggedErrors(const Logging::CCapture& log, const std::wstring& text)
{
    return log.Count(Logging::ELevel::eError, L"ORX.Lumorad.LxCImgBuffer", text);
}

bool IsBlack(const Image& image)
{
    const auto* const bytes = static_cast<const std::uint8_t*>(image.GetBuffer());
    return image.IsValid() &&
           std::all_of(bytes, bytes + image.GetSizeInBytes(), [](std::uint8_t byte) { return byte == 0; });
}

void Whiten(Image& image)
{
    std::memset(image.GetBuffer(), 0xFF, static_cast<std::size_t>(image.GetSizeInBytes()));
}

/// An allocated buffer of bytes.
class LxCImgBufferTest : public testing::Test
{
protected:
    void SetUp() override { ASSERT_TRUE(m_buffer.Allocate(c_iWidth, c_iHeight, Image::eIDT_UINT8)); }

    /// Writes images; the first is element 0.
    std::vector<Image*> Write(int count)
    {
        std::vector<Image*> images;
        for (int i = 0; i < count; ++i) {
            images.push_back(m_buffer.GetNextWriteImg());
        }
        return images;
    }

    LxCImgBuffer m_buffer;
};

/// What is true of a buffer without images, whichever way it came to that.
void ExpectNothing(LxCImgBuffer& buffer)
{
    EXPECT_EQ(buffer.GetCurVidBufferSize(), 0);
    EXPECT_EQ(buffer.GetWidth(), 0);
    EXPECT_EQ(buffer.GetHeight(), 0);
    EXPECT_EQ(buffer.GetBytesPerPixel(), 0);
    EXPECT_EQ(buffer.GetNextWriteImg(), nullptr);
    EXPECT_EQ(buffer.GetCurVidImg(), nullptr);
    EXPECT_EQ(buffer.GetPrevVidImg(), nullptr);
    EXPECT_EQ(buffer.GetNextVidImg(), nullptr);
    buffer.Flush();
    EXPECT_EQ(buffer.GetCurVidBufferSize(), 0);
    for (const int number : {0, 1, -1, INT_MIN, INT_MAX}) {
        EXPECT_EQ(buffer.GetOldVidImg(number), nullptr) << number;
        EXPECT_EQ(buffer.GetProcImg(number), nullptr) << number;
        EXPECT_EQ(buffer.Get(number), nullptr) << number;
    }
}

TEST(LxCImgBuffer, NewOneHasNoImages)
{
    LxCImgBuffer buffer;
    EXPECT_EQ(buffer.GetIPBufferSize(), 5);
    EXPECT_EQ(buffer.GetVidBufferSize(), 6);
    ExpectNothing(buffer);
    EXPECT_TRUE(buffer.Deallocate());
    ExpectNothing(buffer);
}

TEST(LxCImgBuffer, VirtualFunctionsKeepTheirSlots)
{
    EXPECT_EQ(SlotBehindDestructor(&LxCImgBuffer::Allocate), 0);
    EXPECT_EQ(SlotBehindDestructor(&LxCImgBuffer::Deallocate), 1);
    EXPECT_EQ(SlotBehindDestructor(&LxCImgBuffer::WaitForAccess), 2);
    EXPECT_EQ(SlotBehindDestructor(&LxCImgBuffer::ReleaseAccess), 3);
    EXPECT_EQ(SlotBehindDestructor(&LxCImgBuffer::GetNextWriteImg), 4);
    EXPECT_EQ(SlotBehindDestructor(&LxCImgBuffer::GetCurVidImg), 5);
    EXPECT_EQ(SlotBehindDestructor(&LxCImgBuffer::GetPrevVidImg), 6);
    EXPECT_EQ(SlotBehindDestructor(&LxCImgBuffer::GetOldVidImg), 7);
    EXPECT_EQ(SlotBehindDestructor(&LxCImgBuffer::GetNextVidImg), 8);
    EXPECT_EQ(SlotBehindDestructor(&LxCImgBuffer::GetProcImg), 9);
    EXPECT_EQ(SlotBehindDestructor(&LxCImgBuffer::Get), 10);
}

// --- Allocation

TEST(LxCImgBuffer, AllocateMakesBlackImagesOfBothKinds)
{
    LxCImgBuffer buffer;
    ASSERT_TRUE(buffer.Allocate(c_iWidth, c_iHeight, Image::eIDT_UINT16));
    EXPECT_EQ(buffer.GetWidth(), c_iWidth);
    EXPECT_EQ(buffer.GetHeight(), c_iHeight);
    EXPECT_EQ(buffer.GetBytesPerPixel(), 2);
    EXPECT_EQ(buffer.GetCurVidBufferSize(), 0);
    for (int i = 0; i < 5; ++i) {
        const Image* const image = buffer.GetProcImg(i);
        ASSERT_NE(image, nullptr);
        EXPECT_EQ(image->GetDataType(), Image::eIDT_ARGB8);
        EXPECT_EQ(image->GetWidth(), c_iWidth);
        EXPECT_EQ(image->GetHeight(), c_iHeight);
        EXPECT_TRUE(IsBlack(*image));
    }
    for (int i = 0; i < c_iVidImages; ++i) {
        const Image* const image = buffer.GetNextWriteImg();
        ASSERT_NE(image, nullptr);
        EXPECT_EQ(image->GetDataType(), Image::eIDT_UINT16);
        EXPECT_EQ(image->GetWidth(), c_iWidth);
        EXPECT_EQ(image->GetHeight(), c_iHeight);
        EXPECT_TRUE(IsBlack(*image));
    }
}

TEST_F(LxCImgBufferTest, AllocateRefusesSizesBelowOneAndChangesNothing)
{
    const std::vector<Image*> written = Write(2);
    Whiten(*written[1]);
    for (const int wrong : {0, -1, INT_MIN}) {
        EXPECT_FALSE(m_buffer.Allocate(wrong, 10, Image::eIDT_UINT8));
        EXPECT_FALSE(m_buffer.Allocate(10, wrong, Image::eIDT_UINT8));
    }
    EXPECT_EQ(m_buffer.GetWidth(), c_iWidth);
    EXPECT_EQ(m_buffer.GetHeight(), c_iHeight);
    EXPECT_EQ(m_buffer.GetBytesPerPixel(), 1);
    EXPECT_EQ(m_buffer.GetCurVidBufferSize(), 2);
    EXPECT_EQ(m_buffer.GetCurVidImg(), written[1]);
    EXPECT_FALSE(IsBlack(*written[1]));
}

TEST(LxCImgBuffer, AllocateRefusesBuffersOfNoImages)
{
    for (const int wrong : {0, -1, INT_MIN}) {
        LxCImgBuffer noProc(wrong, 6);
        EXPECT_FALSE(noProc.Allocate(4, 4, Image::eIDT_UINT8));
        ExpectNothing(noProc);
        LxCImgBuffer noVid(5, wrong);
        EXPECT_FALSE(noVid.Allocate(4, 4, Image::eIDT_UINT8));
        ExpectNothing(noVid);
        EXPECT_EQ(noVid.GetVidBufferSize(), wrong);
    }
}

TEST_F(LxCImgBufferTest, AllocateAgainReplacesAllImages)
{
    for (Image* const image : Write(9)) {
        Whiten(*image);
    }
    Whiten(*m_buffer.GetProcImg(4));
    ASSERT_TRUE(m_buffer.Allocate(c_iWidth, c_iHeight, Image::eIDT_UINT8)) << "memory is used again";
    EXPECT_EQ(m_buffer.GetCurVidBufferSize(), 0);
    EXPECT_TRUE(IsBlack(*m_buffer.GetProcImg(4)));
    EXPECT_TRUE(IsBlack(*m_buffer.GetCurVidImg()));
    for (Image* const image : Write(c_iVidImages)) {
        EXPECT_TRUE(IsBlack(*image));
    }
    ASSERT_TRUE(m_buffer.Allocate(3, 2, Image::eIDT_FLOAT32_3));
    EXPECT_EQ(m_buffer.GetWidth(), 3);
    EXPECT_EQ(m_buffer.GetHeight(), 2);
    EXPECT_EQ(m_buffer.GetBytesPerPixel(), 12);
    EXPECT_EQ(m_buffer.GetNextWriteImg()->GetSizeInBytes(), 72);
    EXPECT_EQ(m_buffer.GetProcImg(0)->GetSizeInBytes(), 24);
}

TEST_F(LxCImgBufferTest, DeallocateLeavesNothing)
{
    Write(3);
    EXPECT_TRUE(m_buffer.Deallocate());
    ExpectNothing(m_buffer);
    EXPECT_TRUE(m_buffer.Deallocate());
    EXPECT_TRUE(m_buffer.Allocate(2, 2, Image::eIDT_UINT8));
    const std::vector<Image*> images = Write(2);
    EXPECT_EQ(m_buffer.GetCurVidImg(), images[1]);
}

TEST(LxCImgBuffer, SizesWithoutMemoryLeaveNothing)
{
    const Logging::CCapture log;
    LxCImgBuffer buffer;
    ASSERT_TRUE(buffer.Allocate(4, 4, Image::eIDT_UINT8));
    EXPECT_FALSE(buffer.Allocate(INT_MAX, INT_MAX, Image::eIDT_UINT8));
    EXPECT_EQ(LoggedErrors(log, L"Image creation failed in LxCImgBuffer::Allocate."), 1);
    EXPECT_EQ(LoggedErrors(log, L"Video buffer creation failed in LxCImgBuffer::Allocate."), 1);
    EXPECT_EQ(LoggedErrors(log, L"Video buffer allocation failed in LxCImgBuffer::Allocate"), 0);
    ExpectNothing(buffer);
    EXPECT_EQ(buffer.GetVidBufferSize(), 6) << "without any image the ring keeps its size";
    EXPECT_TRUE(buffer.Allocate(4, 4, Image::eIDT_UINT8)) << "and a size that fits is allocated later";
}

// A pixel has 1 byte in a video image here and 4 in a processing image, so sizes tell the two apart.
constexpr int c_iEdge = 256; // pixels
constexpr std::size_t c_uiVidBytes = std::size_t{c_iEdge} * c_iEdge;
constexpr std::size_t c_uiProcBytes = 4 * c_uiVidBytes;

TEST(LxCImgBuffer, APartlyFailedVideoAllocationShrinksTheRing)
{
    const Logging::CCapture log;
    LxCImgBuffer buffer;
    {
        const AllocationLimit limit(c_uiVidBytes, 5 + 4);
        ASSERT_TRUE(buffer.Allocate(c_iEdge, c_iEdge, Image::eIDT_UINT8));
    }
    EXPECT_EQ(buffer.GetVidBufferSize(), 4);
    EXPECT_EQ(buffer.GetIPBufferSize(), 5);
    EXPECT_NE(buffer.GetProcImg(4), nullptr);
    for (const std::wstring text : {L"Image creation failed in LxCImgBuffer::Allocate.",
                                    L"Video buffer creation failed in LxCImgBuffer::Allocate.",
                                    L"Video buffer allocation failed in LxCImgBuffer::Allocate"}) {
        EXPECT_EQ(LoggedErrors(log, text), 0);
    }
    std::vector<Image*> images;
    for (int i = 0; i < 5; ++i) {
        images.push_back(buffer.GetNextWriteImg());
    }
    EXPECT_EQ(images[4], images[0]) << "the fifth write comes round";
    EXPECT_EQ(buffer.GetCurVidBufferSize(), 4);
    ASSERT_TRUE(buffer.Allocate(c_iEdge, c_iEdge, Image::eIDT_UINT8));
    EXPECT_EQ(buffer.GetVidBufferSize(), 4) << "the ring stays as small";
}

TEST(LxCImgBuffer, ARingOfOneImageIsEnough)
{
    LxCImgBuffer buffer;
    {
        const Logging::CCapture log;
        const AllocationLimit limit(c_uiVidBytes, 5 + 1);
        ASSERT_TRUE(buffer.Allocate(c_iEdge, c_iEdge, Image::eIDT_UINT8));
    }
    Image* const only = buffer.GetNextWriteImg();
    EXPECT_EQ(buffer.GetNextWriteImg(), only);
    EXPECT_EQ(buffer.GetPrevVidImg(), only);
    EXPECT_EQ(buffer.GetNextVidImg(), only);
    EXPECT_EQ(buffer.GetOldVidImg(1), only);
    EXPECT_EQ(buffer.GetOldVidImg(2), nullptr);
}

TEST(LxCImgBuffer, WithoutAnyVideoImageTheAllocationFails)
{
    const Logging::CCapture log;
    LxCImgBuffer buffer;
    const AllocationLimit limit(c_uiVidBytes, 5);
    EXPECT_FALSE(buffer.Allocate(c_iEdge, c_iEdge, Image::eIDT_UINT8));
    EXPECT_EQ(LoggedErrors(log, L"Video buffer creation failed in LxCImgBuffer::Allocate."), 1);
    EXPECT_EQ(LoggedErrors(log, L"Image creation failed in LxCImgBuffer::Allocate."), 0);
    ExpectNothing(buffer);
}

TEST(LxCImgBuffer, ProcessingImagesThatCannotBeMadeAreLeftOut)
{
    const Logging::CCapture log;
    LxCImgBuffer buffer;
    {
        const AllocationLimit limit(c_uiProcBytes, 2);
        EXPECT_TRUE(buffer.Allocate(c_iEdge, c_iEdge, Image::eIDT_UINT8));
    }
    EXPECT_EQ(LoggedErrors(log, L"Image creation failed in LxCImgBuffer::Allocate."), 1) << "it stops there";
    EXPECT_EQ(buffer.GetIPBufferSize(), 5);
    EXPECT_NE(buffer.GetProcImg(1), nullptr);
    for (int i = 2; i < 5; ++i) {
        EXPECT_EQ(buffer.GetProcImg(i), nullptr);
    }
    EXPECT_EQ(buffer.GetVidBufferSize(), 6);
    EXPECT_NE(buffer.GetNextWriteImg(), nullptr);
}

TEST(LxCImgBuffer, WithoutMemoryForTheRingTheAllocationFails)
{
    const Logging::CCapture log;
    constexpr int c_iMany = 100000; // handles of 8 bytes
    LxCImgBuffer buffer(1, c_iMany);
    const AllocationLimit limit(std::size_t{8} * c_iMany, 0);
    EXPECT_FALSE(buffer.Allocate(1, 1, Image::eIDT_UINT8));
    EXPECT_EQ(LoggedErrors(log, L"Video buffer allocation failed in LxCImgBuffer::Allocate"), 1);
    EXPECT_EQ(LoggedErrors(log, L"Video buffer creation failed in LxCImgBuffer::Allocate."), 0);
    ExpectNothing(buffer);
}

TEST(LxCImgBuffer, WithoutMemoryForTheListOfProcessingImagesThereIsNone)
{
    const Logging::CCapture log;
    constexpr int c_iMany = 100000; // handles of 8 bytes
    LxCImgBuffer buffer(c_iMany, 1);
    const AllocationLimit limit(std::size_t{8} * c_iMany, 0);
    EXPECT_TRUE(buffer.Allocate(1, 1, Image::eIDT_UINT8));
    EXPECT_EQ(LoggedErrors(log, L"Image creation failed in LxCImgBuffer::Allocate."), 1);
    EXPECT_EQ(buffer.GetProcImg(0), nullptr);
    EXPECT_NE(buffer.GetNextWriteImg(), nullptr);
}

TEST(LxCImgBuffer, AsManyImagesAsAnIntCountsFailWithoutHarm)
{
    const Logging::CCapture log;
    LxCImgBuffer buffer(INT_MAX, INT_MAX);
    const AllocationLimit limit(c_uiVidBytes, 0);
    EXPECT_FALSE(buffer.Allocate(c_iEdge, c_iEdge, Image::eIDT_UINT8));
    ExpectNothing(buffer);
}

TEST(LxCImgBuffer, ImagesOfAnUndefinedTypeHaveNoPixels)
{
    for (const auto type : {Image::eIDT_Undefined, static_cast<Image::EImageDataType>(99)}) {
        LxCImgBuffer buffer;
        ASSERT_TRUE(buffer.Allocate(3, 3, type));
        EXPECT_EQ(buffer.GetBytesPerPixel(), 0);
        Image* const image = buffer.GetNextWriteImg();
        ASSERT_NE(image, nullptr);
        EXPECT_FALSE(image->IsValid());
        buffer.Flush();
    }
}

// --- The ring

TEST_F(LxCImgBufferTest, SeventhWriteReturnsTheFirstImageAgain)
{
    const std::vector<Image*> images = Write(14);
    for (std::size_t i = 0; i < 14; ++i) {
        EXPECT_EQ(images[i], images[i % c_iVidImages]);
        EXPECT_EQ(std::count(images.begin(), images.begin() + c_iVidImages, images[i]), 1);
    }
    EXPECT_EQ(m_buffer.GetCurVidImg(), images[1]);
}

TEST_F(LxCImgBufferTest, ImagesInTheRingAreCountedUpToItsSize)
{
    for (int writes = 1; writes <= 9; ++writes) {
        Write(1);
        EXPECT_EQ(m_buffer.GetCurVidBufferSize(), std::min(writes, c_iVidImages));
    }
}

TEST_F(LxCImgBufferTest, AnEmptyRingShowsItsFirstImage)
{
    Image* const first = m_buffer.GetCurVidImg();
    EXPECT_EQ(m_buffer.GetPrevVidImg(), first);
    EXPECT_EQ(m_buffer.GetNextVidImg(), first);
    for (const int age : {0, 1, 5, 6, -1, INT_MIN, INT_MAX}) {
        EXPECT_EQ(m_buffer.GetOldVidImg(age), first) << age;
    }
    EXPECT_EQ(m_buffer.GetNextWriteImg(), first) << "and writes it first";
}

TEST_F(LxCImgBufferTest, OldImagesAreFoundByTheirAge)
{
    const std::vector<Image*> images = Write(2);
    EXPECT_EQ(m_buffer.GetOldVidImg(0), images[1]);
    EXPECT_EQ(m_buffer.GetOldVidImg(1), images[0]);
    EXPECT_EQ(m_buffer.GetOldVidImg(2), images[1]) << "as many as there are: once round";
    for (const int tooOld : {3, 5, 6, INT_MAX}) {
        EXPECT_EQ(m_buffer.GetOldVidImg(tooOld), nullptr) << tooOld;
    }
    EXPECT_EQ(m_buffer.GetCurVidImg(), images[1]) << "asking does not step";
}

TEST_F(LxCImgBufferTest, OldImagesOfAFullRingGoBackToTheOldest)
{
    const std::vector<Image*> images = Write(10);
    for (int age = 0; age < c_iVidImages; ++age) {
        EXPECT_EQ(m_buffer.GetOldVidImg(age), images[static_cast<std::size_t>(9 - age)]) << age;
    }
    EXPECT_EQ(m_buffer.GetOldVidImg(6), images[9]);
    EXPECT_EQ(m_buffer.GetOldVidImg(7), nullptr);
}

TEST_F(LxCImgBufferTest, NegativeAgesCountForwardsRoundTheRing)
{
    const std::vector<Image*> images = Write(5); // the present one is number 4, number 0 comes after it
    EXPECT_EQ(m_buffer.GetOldVidImg(-1), images[0]);
    EXPECT_EQ(m_buffer.GetOldVidImg(-5), images[4]);
    EXPECT_EQ(m_buffer.GetOldVidImg(-1000000002), images[1]);
    // 4 + 2147483648 + 5 = 5 * 429496731 + 2
    EXPECT_EQ(m_buffer.GetOldVidImg(INT_MIN), images[2]);
}

TEST_F(LxCImgBufferTest, StepsGoRoundTheImagesInTheRing)
{
    const std::vector<Image*> images = Write(3);
    for (const int expected : {1, 0, 2, 1, 0}) {
        EXPECT_EQ(m_buffer.GetPrevVidImg(), images[static_cast<std::size_t>(expected)]);
    }
    for (const int expected : {1, 2, 0, 1}) {
        EXPECT_EQ(m_buffer.GetNextVidImg(), images[static_cast<std::size_t>(expected)]);
        EXPECT_EQ(m_buffer.GetCurVidImg(), images[static_cast<std::size_t>(expected)]) << "steps move it";
    }
    EXPECT_EQ(m_buffer.GetOldVidImg(1), images[0]) << "ages count from where the steps have led";
}

TEST_F(LxCImgBufferTest, WritesGoOnFromWhereStepsHaveLed)
{
    const std::vector<Image*> images = Write(6);
    m_buffer.GetPrevVidImg();
    m_buffer.GetPrevVidImg();
    EXPECT_EQ(m_buffer.GetNextWriteImg(), images[4]);
    ASSERT_TRUE(m_buffer.Allocate(c_iWidth, c_iHeight, Image::eIDT_UINT8));
    const std::vector<Image*> partly = Write(3);
    m_buffer.GetPrevVidImg();
    Image* const fourth = m_buffer.GetNextWriteImg();
    EXPECT_EQ(std::count(partly.begin(), partly.end(), fourth), 0) << "a ring with room takes a new image";
}

TEST_F(LxCImgBufferTest, FlushClearsTheFirstImageAndEmptiesTheRing)
{
    const std::vector<Image*> images = Write(4);
    for (Image* const image : images) {
        Whiten(*image);
    }
    m_buffer.Flush();
    EXPECT_EQ(m_buffer.GetCurVidBufferSize(), 0);
    EXPECT_TRUE(IsBlack(*images[0]));
    EXPECT_FALSE(IsBlack(*images[1])) << "only the first";
    EXPECT_EQ(m_buffer.GetNextVidImg(), images[0]);
    EXPECT_EQ(m_buffer.GetOldVidImg(3), images[0]);
    EXPECT_EQ(Write(2), (std::vector<Image*>{images[0], images[1]}));
    EXPECT_EQ(m_buffer.GetOldVidImg(3), nullptr);
}

TEST_F(LxCImgBufferTest, AnyOrderOfCallsStaysWithinTheRing)
{
    std::mt19937 random(20151);
    std::vector<Image*> ring = Write(c_iVidImages);
    m_buffer.Flush();
    const auto inRing = [&](const Image* image) { return std::count(ring.begin(), ring.end(), image) == 1; };
    for (int call = 0; call < 20000; ++call) {
        const auto number = static_cast<int>(random());
        const int age = number % 3 == 0 ? number : number % 8;
        switch (random() % 7) {
        case 0:
            ASSERT_TRUE(inRing(m_buffer.GetPrevVidImg())) << call;
            break;
        case 1:
            ASSERT_TRUE(inRing(m_buffer.GetNextVidImg())) << call;
            break;
        case 2:
            ASSERT_TRUE(inRing(m_buffer.GetCurVidImg())) << call;
            break;
        case 3: {
            const bool tooOld = m_buffer.GetCurVidBufferSize() > 0 && age > m_buffer.GetCurVidBufferSize();
            ASSERT_EQ(inRing(m_buffer.GetOldVidImg(age)), !tooOld) << call << ", age " << age;
            break;
        }
        case 4:
            ASSERT_EQ(m_buffer.Get(age) != nullptr, age >= 0 && age < 5) << call << ", index " << age;
            break;
        case 5:
            if (random() % 8 == 0) {
                m_buffer.Flush();
            }
            break;
        default:
            ASSERT_TRUE(inRing(m_buffer.GetNextWriteImg())) << call;
        }
    }
}

// --- Processing images

TEST_F(LxCImgBufferTest, ProcessingImagesOutsideTheRangeAreNull)
{
    for (const int index : {-1, 5, 6, INT_MIN, INT_MAX}) {
        EXPECT_EQ(m_buffer.GetProcImg(index), nullptr) << index;
        EXPECT_EQ(m_buffer.Get(index), nullptr) << index;
    }
    for (int index = 0; index < 5; ++index) {
        EXPECT_NE(m_buffer.GetProcImg(index), nullptr);
        EXPECT_EQ(m_buffer.Get(index), m_buffer.GetProcImg(index));
    }
}

/// Numbers its processing images backwards and takes the mutex.
class Descendant : public LxCImgBuffer
{
public:
    CCTImage* GetProcImg(int index) const override
    {
        return LxCImgBuffer::GetProcImg(GetIPBufferSize() - 1 - index);
    }
    unsigned long WaitForAccess(unsigned long timeoutMs) override
    {
        return GetAccessMutex().Take(timeoutMs) ? 0 : 258;
    }
};

TEST(LxCImgBuffer, GetAsksTheDescendant)
{
    Descendant buffer;
    ASSERT_TRUE(buffer.Allocate(2, 2, Image::eIDT_UINT8));
    EXPECT_EQ(buffer.Get(4), buffer.LxCImgBuffer::GetProcImg(0));
}

TEST(LxCImgBuffer, AccessIsNotTakenHereAndSoCannotBeReleased)
{
    LxCImgBuffer buffer;
    EXPECT_EQ(buffer.WaitForAccess(0), 0U);
    EXPECT_EQ(buffer.WaitForAccess(0xFFFFFFFF), 0U);
    EXPECT_FALSE(buffer.ReleaseAccess());
}

TEST(LxCImgBuffer, AccessThatADescendantTookIsReleased)
{
    Descendant buffer;
    EXPECT_EQ(buffer.WaitForAccess(0), 0U);
    EXPECT_TRUE(buffer.ReleaseAccess());
    EXPECT_FALSE(buffer.ReleaseAccess());
}

} // namespace
} // namespace LxCV
