// What callers rely on, whatever source the images come from.
#include "lxaframegrabber.h"

#include "lxcframegrabberreqs.h"
#include "lxcsimframegrabber.h"
#include "scanner/acquisition/virtualframegrabber.h"
#include "tests/scanner/smalldevice.h"
#include "tests/support/temporaryfolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <exception>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

namespace acquisition {
namespace {

using Grabber = LxCV::LxAFrameGrabber;
using LxCV::CCTImage;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr int kWidth = 24;
constexpr int kHeight = 20;
constexpr unsigned long kLong = 10000; // ms; longer than any wait that succeeds

using Arguments = std::vector<std::string>;

/// How a source comes about.
struct Source
{
    const char* name;
    std::unique_ptr<Grabber> (*make)();
    Arguments (*prepare)(const TestSupport::CTemporaryFolder& folder);
};

void PrintTo(const Source& source, std::ostream* out)
{
    *out << source.name;
}

std::unique_ptr<Grabber> MakeVirtual()
{
    return std::make_unique<VirtualFrameGrabber>(device::SmallDevice(kWidth, kHeight));
}

Arguments PrepareVirtual(const TestSupport::CTemporaryFolder&)
{
    return {"scene=plane"};
}

std::unique_ptr<Grabber> MakeSimulated()
{
    auto grabber = std::make_unique<LxCV::LxCSimFrameGrabber>();
    grabber->GetReqs()->setWidthRaw(kWidth);
    grabber->GetReqs()->setHeightRaw(kHeight);
    grabber->GetReqs()->setWidth(kWidth);
    grabber->GetReqs()->setHeight(kHeight);
    return grabber;
}

/// A pair of two different images.
Arguments PrepareSimulated(const TestSupport::CTemporaryFolder& folder)
{
    Arguments files;
    for (const char* name : {"x_Pat.png", "x_Ref.png"}) {
        CCTImage image(kWidth, kHeight, CCTImage::eIDT_BGRU8, true, nullptr);
        std::memset(image.GetBuffer(), name[2], static_cast<std::size_t>(image.GetSizeInBytes()));
        files.push_back(folder / name);
        EXPECT_EQ(image.SavePNG(files.back()), 0);
    }
    return files;
}

std::string BytesOf(const CCTImage& image)
{
    return {static_cast<const char*>(image.GetBuffer()), static_cast<std::size_t>(image.GetSizeInBytes())};
}

class FrameGrabberContract : public testing::TestWithParam<Source>
{
protected:
    FrameGrabberContract() : m_arguments(GetParam().prepare(m_folder)), m_grabber(GetParam().make()) {}

    void Run()
    {
        ASSERT_EQ(m_grabber->Init(m_arguments), 0);
        ASSERT_EQ(m_grabber->Start(), 0);
    }

    /// The next image; null where the source has none, whether it says so by null or by an exception.
    CCTImage* Next(Grabber::ELedType type = Grabber::eLT_Any)
    {
        try {
            return m_grabber->AcquireImageRaw(type);
        } catch (const std::exception&) {
            return nullptr;
        }
    }

    /// All images that the source lends at once.
    std::vector<CCTImage*> TakeAll()
    {
        std::vector<CCTImage*> images;
        while (CCTImage* const image = Next()) {
            images.push_back(image);
        }
        return images;
    }

    /// A source may refuse one image, where the next one is of another kind.
    bool TakeSingle(Grabber::ELedType type, CCTImage& image)
    {
        return m_grabber->AcquireSingleImage(type, image) || m_grabber->AcquireSingleImage(type, image);
    }

    bool IsActive() const { return m_grabber->WaitForActive(0) && !m_grabber->WaitForPause(0); }
    bool IsPaused() const { return m_grabber->WaitForPause(0) && !m_grabber->WaitForActive(0); }

    TestSupport::CTemporaryFolder m_folder;
    Arguments m_arguments;
    std::unique_ptr<Grabber> m_grabber;
};

TEST_P(FrameGrabberContract, HasNoImageBeforeInit)
{
    EXPECT_TRUE(IsPaused());
    m_grabber->Start();
    EXPECT_TRUE(IsPaused()) << "nothing flows";
    EXPECT_EQ(Next(), nullptr);
    CCTImage image;
    EXPECT_FALSE(m_grabber->AcquireSingleImage(Grabber::eLT_Pat, image));
    std::vector<CCTImage*> images;
    EXPECT_FALSE(m_grabber->AcquireMultiImage(Grabber::eLT_Any, images, 2));
    EXPECT_TRUE(images.empty());
    EXPECT_EQ(m_grabber->Pause(), 0);
    EXPECT_EQ(m_grabber->Release(), 0);
    EXPECT_TRUE(IsPaused());
}

TEST_P(FrameGrabberContract, TellsWhetherImagesFlow)
{
    ASSERT_EQ(m_grabber->Init(m_arguments), 0);
    EXPECT_TRUE(IsPaused());
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(m_grabber->Start(), 0);
        EXPECT_TRUE(IsActive());
        EXPECT_EQ(m_grabber->Start(), 0);
        EXPECT_TRUE(IsActive());
        EXPECT_NE(Next(), nullptr);
        EXPECT_EQ(m_grabber->Pause(), 0);
        EXPECT_TRUE(IsPaused());
        EXPECT_EQ(m_grabber->Pause(), 0);
        EXPECT_TRUE(IsPaused());
    }
}

TEST_P(FrameGrabberContract, WaitsEndAtTheirTimeLimit)
{
    constexpr auto limit = milliseconds(20);
    const auto begin = steady_clock::now();
    EXPECT_FALSE(m_grabber->WaitForActive(limit.count()));
    EXPECT_GE(steady_clock::now() - begin, limit);
    Run();
    const auto running = steady_clock::now();
    EXPECT_FALSE(m_grabber->WaitForPause(limit.count()));
    EXPECT_GE(steady_clock::now() - running, limit);
}

TEST_P(FrameGrabberContract, OtherThreadsWaitForStartAndPause)
{
    ASSERT_EQ(m_grabber->Init(m_arguments), 0);
    bool sawActive = false;
    bool sawPause = false;
    std::thread waiting([&] { sawActive = m_grabber->WaitForActive(kLong); });
    m_grabber->Start();
    waiting.join();
    waiting = std::thread([&] { sawPause = m_grabber->WaitForPause(kLong); });
    m_grabber->Pause();
    waiting.join();
    EXPECT_TRUE(sawActive);
    EXPECT_TRUE(sawPause);
}

TEST_P(FrameGrabberContract, ReleasedItWantsInitAgain)
{
    Run();
    EXPECT_NE(Next(), nullptr);
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(m_grabber->Release(), 0);
        EXPECT_TRUE(IsPaused());
        EXPECT_EQ(Next(), nullptr);
        m_grabber->Start();
        EXPECT_TRUE(IsPaused());
        EXPECT_EQ(Next(), nullptr);
    }
    Run();
    EXPECT_NE(Next(), nullptr);
}

TEST_P(FrameGrabberContract, InitBeginsAnewWhileImagesFlow)
{
    Run();
    CCTImage* const first = Next();
    ASSERT_NE(first, nullptr);
    const std::string bytes = BytesOf(*first);
    EXPECT_EQ(m_grabber->Init(m_arguments), 0);
    EXPECT_TRUE(IsPaused());
    EXPECT_EQ(m_grabber->Start(), 0);
    const CCTImage* const again = Next();
    ASSERT_NE(again, nullptr);
    EXPECT_EQ(BytesOf(*again), bytes);
    EXPECT_NE(m_grabber->Init({"no argument of any source"}), 0);
    m_grabber->Start();
    EXPECT_EQ(Next(), nullptr);
    EXPECT_TRUE(IsPaused());
}

TEST_P(FrameGrabberContract, TheTenthImageHasNoBuffer)
{
    Run();
    std::vector<CCTImage*> images = TakeAll();
    EXPECT_EQ(images.size(), 9U);
    EXPECT_EQ(images.size(), static_cast<std::size_t>(Grabber::sc_iQueueSize));
    std::vector<CCTImage*> sorted = images;
    std::ranges::sort(sorted);
    EXPECT_EQ(std::ranges::adjacent_find(sorted), sorted.end());
    try {
        m_grabber->AcquireImageRaw(Grabber::eLT_Any);
        ADD_FAILURE() << "no exception";
    } catch (const std::exception& error) {
        EXPECT_STREQ(error.what(), "no buffers available");
    }
    CCTImage single;
    EXPECT_FALSE(m_grabber->AcquireSingleImage(Grabber::eLT_Any, single));
    m_grabber->ReEnqueueRawBuffers(images.back());
    EXPECT_TRUE(m_grabber->AcquireSingleImage(Grabber::eLT_Any, single));
    images.pop_back();
    m_grabber->ReEnqueueRawBuffers(images);
    EXPECT_TRUE(images.empty());
    m_grabber->Start();
    EXPECT_EQ(TakeAll().size(), 9U);
}

TEST_P(FrameGrabberContract, ImagesAreTakenBackOnceAndOnlyIfLent)
{
    Run();
    CCTImage own;
    CCTImage* const lent = Next();
    ASSERT_NE(lent, nullptr);
    std::vector<CCTImage*> images{nullptr, &own, lent, lent};
    m_grabber->ReEnqueueRawBuffers(images);
    EXPECT_TRUE(images.empty());
    m_grabber->ReEnqueueRawBuffers(lent);
    m_grabber->ReEnqueueRawBuffers(images);
    const std::vector<CCTImage*> all = TakeAll();
    EXPECT_EQ(all.size(), 9U);
    EXPECT_EQ(std::ranges::count(all, &own), 0);
}

TEST_P(FrameGrabberContract, ALentImageStaysAsItIsWhateverTheSourceDoes)
{
    Run();
    CCTImage* const lent = Next();
    ASSERT_NE(lent, nullptr);
    const std::string bytes = BytesOf(*lent);
    EXPECT_EQ(bytes.size(), static_cast<std::size_t>(kWidth * kHeight * 3));
    TakeAll();
    m_grabber->Pause();
    m_grabber->Release();
    EXPECT_EQ(BytesOf(*lent), bytes);
    Run();
    TakeAll();
    EXPECT_EQ(BytesOf(*lent), bytes);
    m_grabber->ReEnqueueRawBuffers(lent);
    EXPECT_EQ(Next(), lent);
}

TEST_P(FrameGrabberContract, MayBeDestroyedWhileImagesFlowAndAreLent)
{
    Run();
    EXPECT_NE(Next(), nullptr);
    EXPECT_NE(Next(), nullptr);
    m_grabber.reset();
    m_grabber = GetParam().make();
    m_grabber->Init(m_arguments);
    m_grabber.reset();
}

TEST_P(FrameGrabberContract, SingleImagesAreCopiesOfTheKindAskedFor)
{
    ASSERT_EQ(m_grabber->Init(m_arguments), 0);
    CCTImage pattern(3, 3, CCTImage::eIDT_UINT8, 0.0F); // of another size and type
    CCTImage reference;
    ASSERT_TRUE(TakeSingle(Grabber::eLT_Pat, pattern));
    EXPECT_EQ(m_grabber->GetLEDSequence(), Grabber::eLS_Pat);
    EXPECT_TRUE(IsPaused());
    ASSERT_TRUE(TakeSingle(Grabber::eLT_Ref, reference));
    EXPECT_EQ(m_grabber->GetLEDSequence(), Grabber::eLS_Ref);
    EXPECT_TRUE(IsPaused());
    EXPECT_TRUE(pattern.GetDescription().find("_Pat") != std::string::npos) << pattern.GetDescription();
    EXPECT_TRUE(reference.GetDescription().find("_Ref") != std::string::npos) << reference.GetDescription();
    for (const CCTImage* const image : {&pattern, &reference}) {
        EXPECT_EQ(image->GetWidth(), m_grabber->GetWidthRaw());
        EXPECT_EQ(image->GetHeight(), m_grabber->GetHeightRaw());
        EXPECT_EQ(image->GetDataType(), m_grabber->GetImgTypeRaw());
    }
    EXPECT_NE(BytesOf(pattern), BytesOf(reference));
    CCTImage any;
    ASSERT_TRUE(m_grabber->AcquireSingleImage(Grabber::eLT_Any, any));
    EXPECT_EQ(m_grabber->GetLEDSequence(), Grabber::eLS_Live);
    m_grabber->Start();
    EXPECT_EQ(TakeAll().size(), 9U) << "no buffer is lost";
}

TEST_P(FrameGrabberContract, MultiImagesAreAsManyAsAskedFor)
{
    ASSERT_EQ(m_grabber->Init(m_arguments), 0);
    std::vector<CCTImage*> images;
    EXPECT_TRUE(m_grabber->AcquireMultiImage(Grabber::eLT_Any, images, 0));
    EXPECT_TRUE(m_grabber->AcquireMultiImage(Grabber::eLT_Any, images, -1));
    EXPECT_TRUE(images.empty());
    constexpr int kMany = 12; // more than there are buffers
    EXPECT_TRUE(m_grabber->AcquireMultiImage(Grabber::eLT_Any, images, kMany));
    EXPECT_EQ(images.size(), static_cast<std::size_t>(kMany));
    for (CCTImage* const image : images) {
        const std::unique_ptr<CCTImage> owned(image);
        EXPECT_EQ(owned->GetWidth(), kWidth);
        EXPECT_EQ(owned->GetDataType(), CCTImage::eIDT_BGRU8);
    }
    EXPECT_TRUE(IsPaused());
}

TEST_P(FrameGrabberContract, AnyOrderOfCallsIsSafe)
{
    std::vector<CCTImage*> held;
    const std::vector<std::function<void()>> calls{
        [&] { m_grabber->Init(m_arguments); },
        [&] { m_grabber->Start(); },
        [&] { m_grabber->Pause(); },
        [&] { m_grabber->Release(); },
        [&] {
            if (CCTImage* const image = Next()) {
                EXPECT_EQ(image->GetWidth(), kWidth);
                held.push_back(image);
            }
        },
        [&] {
            if (!held.empty()) {
                m_grabber->ReEnqueueRawBuffers(held.front());
                held.erase(held.begin());
            }
        },
        [&] { m_grabber->ReEnqueueRawBuffers(held); },
        [&] { m_grabber->Rewind(1); },
    };
    // All orders of three calls behind each other, from whatever state the ones before have left.
    for (const auto& first : calls) {
        for (const auto& second : calls) {
            for (const auto& third : calls) {
                first();
                second();
                third();
                EXPECT_NE(m_grabber->WaitForActive(0), m_grabber->WaitForPause(0));
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Sources, FrameGrabberContract,
                         testing::Values(Source{"Virtual", MakeVirtual, PrepareVirtual},
                                         Source{"Simulated", MakeSimulated, PrepareSimulated}),
                         [](const auto& source) { return std::string(source.param.name); });

} // namespace
} // namespace acquisition
