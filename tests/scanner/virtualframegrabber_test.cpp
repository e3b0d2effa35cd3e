#include "scanner/acquisition/virtualframegrabber.h"

#include "lxcframegrabberreqs.h"
#include "orx/logging/logger.h"
#include "tests/scanner/smalldevice.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <limits>
#include <memory>
#include <numbers>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

namespace acquisition {
namespace {

using Grabber = VirtualFrameGrabber;
using Logging::ELevel;
using LxCV::CCTImage;

static_assert(!std::is_copy_constructible_v<Grabber> && !std::is_copy_assignable_v<Grabber>);

constexpr const wchar_t* kChannel = L"ORX.Lumorad.VirtualFrameGrabber";
constexpr int kWidth = 24;
constexpr int kHeight = 20;

/// What a raw image shows, as the device renders it.
std::vector<float> PixelsOf(const CCTImage& image)
{
    const auto size = static_cast<std::size_t>(image.GetWidth() * image.GetHeight()) * 3;
    if (image.GetDataType() == CCTImage::eIDT_BGRU8) {
        const auto* const bytes = static_cast<const std::uint8_t*>(image.GetBuffer());
        return {bytes, bytes + size};
    }
    const auto* const greys = static_cast<const float*>(image.GetBuffer());
    return {greys, greys + size};
}

class VirtualGrabber : public testing::Test
{
protected:
    VirtualGrabber() : m_device(device::SmallDevice(kWidth, kHeight)), m_grabber(m_device.Parameters()) {}

    /// The pair as the device renders it without any grabber.
    device::RenderedPair Pair(const std::string& scene, std::uint64_t seed, double noise) const
    {
        device::RenderOptions options;
        options.seed = seed;
        options.noise = noise;
        return m_device.RenderPair(*device::MakeScene(scene), options);
    }

    /// Description and pixels of the next image, which goes back at once.
    std::string Next(Grabber::ELedType type)
    {
        CCTImage* const image = m_grabber.AcquireImageRaw(type);
        if (image == nullptr) {
            return "-";
        }
        m_pixels = PixelsOf(*image);
        const std::string description = image->GetDescription();
        m_grabber.LxAFrameGrabber::ReEnqueueRawBuffers(image);
        return description;
    }

    void Run(const std::vector<std::string>& arguments)
    {
        ASSERT_EQ(m_grabber.Init(arguments), 0);
        ASSERT_EQ(m_grabber.Start(), 0);
    }

    device::VirtualDevice m_device;
    Grabber m_grabber;
    std::vector<float> m_pixels;
};

TEST_F(VirtualGrabber, TellsWhatItIs)
{
    EXPECT_EQ(m_grabber.GetDriverName(), "VirtualFrameGrabber");
    EXPECT_TRUE(m_grabber.IsSimulated());
    EXPECT_EQ(m_grabber.GetSerialNumber(), "VIRTUAL1");
    EXPECT_EQ(m_grabber.GetFirmwareVersion(), "1.0");
    float minimum = 0.0F;
    float maximum = 0.0F;
    m_grabber.GetMinMaxShutterTime(minimum, maximum);
    EXPECT_EQ(minimum, 10.0F);
    EXPECT_EQ(maximum, 25000.0F);
    m_grabber.ReadSerialNumberFromCameraDriverAndWriteToIniFile();
    EXPECT_EQ(m_grabber.GetReqs()->GetSerialNumber(), "VIRTUAL1");
}

TEST_F(VirtualGrabber, TakesAPresetWhileImagesFlow)
{
    Run({"scene=plane"});
    EXPECT_EQ(m_grabber.ChangePresetShutterAsynchron(Grabber::ePS_ScatterTarget), 0);
    EXPECT_EQ(m_grabber.GetPresetShutter(), Grabber::ePS_ScatterTarget);
    EXPECT_EQ(m_grabber.GetShutterTimeRef(), 5000.0F / 2.15F);
    EXPECT_EQ(m_grabber.GetShutterTimePat(), 5000.0F / 3.33F);
}

TEST_F(VirtualGrabber, WithNoiseDeliversBytesEqualToTheRenderedPair)
{
    Run({"scene=plane", "seed=7", "noise=0.5"});
    EXPECT_EQ(m_grabber.GetWidthRaw(), kWidth);
    EXPECT_EQ(m_grabber.GetHeightRaw(), kHeight);
    EXPECT_EQ(m_grabber.GetWidth(), kWidth);
    EXPECT_EQ(m_grabber.GetHeight(), kHeight);
    EXPECT_EQ(m_grabber.GetImgTypeRaw(), CCTImage::eIDT_BGRU8);
    EXPECT_EQ(m_grabber.GetBytesPerPixelRaw(), 3);
    const device::RenderedPair pair = Pair("plane", 7, 0.5);
    EXPECT_EQ(Next(Grabber::eLT_Pat), "plane_7_Pat");
    EXPECT_EQ(m_pixels, pair.pattern.data);
    EXPECT_EQ(Next(Grabber::eLT_Ref), "plane_7_Ref");
    EXPECT_EQ(m_pixels, pair.reference.data);
}

TEST_F(VirtualGrabber, WithoutNoiseDeliversGreyLevelsThatAreNotRounded)
{
    Run({"noise=0", "scene=sphere"});
    EXPECT_EQ(m_grabber.GetImgTypeRaw(), CCTImage::eIDT_FLOAT32_3);
    EXPECT_EQ(m_grabber.GetBytesPerPixelRaw(), 12);
    const device::RenderedPair pair = Pair("sphere", 1, 0.0);
    EXPECT_EQ(Next(Grabber::eLT_Ref), "sphere_1_Ref");
    EXPECT_EQ(m_pixels, pair.reference.data);
    EXPECT_EQ(Next(Grabber::eLT_Pat), "sphere_1_Pat");
    EXPECT_EQ(m_pixels, pair.pattern.data);
}

TEST_F(VirtualGrabber, RendersTheMolarWithSeedOneUnlessTold)
{
    Run({});
    EXPECT_EQ(Next(Grabber::eLT_Pat), "molar_1_Pat");
    EXPECT_EQ(m_pixels, Pair("molar", 1, 1.0).pattern.data);
}

TEST_F(VirtualGrabber, AKindThatIsAskedForAgainComesFromTheNextPair)
{
    Run({"scene=plane"});
    EXPECT_EQ(Next(Grabber::eLT_Pat), "plane_1_Pat");
    EXPECT_EQ(Next(Grabber::eLT_Ref), "plane_1_Ref");
    EXPECT_EQ(Next(Grabber::eLT_Ref), "plane_2_Ref");
    EXPECT_EQ(Next(Grabber::eLT_Ref), "plane_3_Ref");
    EXPECT_EQ(m_pixels, Pair("plane", 3, 1.0).reference.data);
    EXPECT_EQ(Next(Grabber::eLT_Pat), "plane_3_Pat");
    EXPECT_EQ(m_pixels, Pair("plane", 3, 1.0).pattern.data);
    EXPECT_EQ(Next(Grabber::eLT_Pat), "plane_4_Pat");
}

TEST_F(VirtualGrabber, AnyImageGoesByTheLedSequence)
{
    Run({"scene=plane"});
    m_grabber.SetLEDSequence(Grabber::eLS_Live);
    EXPECT_EQ(Next(Grabber::eLT_Any), "plane_1_Ref");
    EXPECT_EQ(Next(Grabber::eLT_Any), "plane_1_Pat");
    EXPECT_EQ(Next(Grabber::eLT_Any), "plane_2_Ref");
    m_grabber.SetLEDSequence(Grabber::eLS_Ref);
    EXPECT_EQ(Next(Grabber::eLT_Any), "plane_3_Ref");
    EXPECT_EQ(Next(Grabber::eLT_Any), "plane_4_Ref");
    m_grabber.SetLEDSequence(Grabber::eLS_Pat);
    EXPECT_EQ(Next(Grabber::eLT_Any), "plane_4_Pat");
    EXPECT_EQ(Next(static_cast<Grabber::ELedType>(7)), "plane_5_Pat") << "no kind of image is any image";
}

TEST_F(VirtualGrabber, ImagesTellTheirKindAndNumber)
{
    Run({"scene=plane"});
    CCTImage* const first = m_grabber.AcquireImageRaw(Grabber::eLT_Ref);
    CCTImage* const second = m_grabber.AcquireImageRaw(Grabber::eLT_Pat);
    EXPECT_EQ(first->GetType(), 4);
    EXPECT_EQ(first->GetTimestamp(), 1U);
    EXPECT_EQ(second->GetType(), 5);
    EXPECT_EQ(second->GetTimestamp(), 2U);
}

TEST_F(VirtualGrabber, TheLastSeedIsFollowedByTheFirst)
{
    Run({"scene=plane", "seed=18446744073709551615"});
    EXPECT_EQ(Next(Grabber::eLT_Ref), "plane_18446744073709551615_Ref");
    EXPECT_EQ(Next(Grabber::eLT_Ref), "plane_0_Ref");
}

TEST_F(VirtualGrabber, TheRenderingBelongsToTheImageDeliveredLast)
{
    EXPECT_EQ(m_grabber.GetRendering(), nullptr);
    Run({"scene=plane"});
    const std::shared_ptr<const Rendering> first = m_grabber.GetRendering();
    ASSERT_NE(first, nullptr);
    Next(Grabber::eLT_Pat);
    EXPECT_EQ(m_grabber.GetRendering(), first);
    Next(Grabber::eLT_Pat);
    EXPECT_NE(m_grabber.GetRendering(), first);
    EXPECT_EQ(m_pixels, m_grabber.GetRendering()->pair.pattern.data);
    m_grabber.Release();
    EXPECT_EQ(m_grabber.GetRendering(), nullptr);
    EXPECT_EQ(first->pair.truth.width, kWidth) << "who holds a pair keeps it";
    EXPECT_EQ(first->device->Parameters().camera.height, kHeight);
    EXPECT_TRUE(first->scene->Intersect({{0.0, 0.0, 0.0}, {0.0, 0.0, 1.0}}).has_value());
}

TEST_F(VirtualGrabber, RefusesArgumentsThatMakeNoSense)
{
    for (const char* argument : {"",
                                 "=",
                                 "plane",
                                 "scene",
                                 "scene=",
                                 "scene=teapot",
                                 "Scene=plane",
                                 " scene=plane",
                                 "seed=",
                                 "seed=-1",
                                 "seed=1.5",
                                 "seed=1 ",
                                 "seed=18446744073709551616",
                                 "noise=",
                                 "noise=-0.1",
                                 "noise=100.1",
                                 "noise=nan",
                                 "noise=inf",
                                 "noise=1,5",
                                 "memory=",
                                 "depth=3"}) {
        const Logging::CCapture log;
        ASSERT_EQ(m_grabber.Init({"scene=plane"}), 0);
        EXPECT_EQ(m_grabber.Init({"scene=plane", argument}), Grabber::eRC_ConfigFileErrononeus) << argument;
        const std::string text = argument;
        EXPECT_EQ(log.Count(ELevel::eError, kChannel,
                            L"VirtualFrameGrabber: the argument " + std::wstring(text.begin(), text.end()) +
                                L" makes no sense\n"),
                  1)
            << argument;
        EXPECT_EQ(m_grabber.Start(), Grabber::eRC_CouldNotBeInitialized) << "a failed Init leaves nothing";
    }
}

TEST_F(VirtualGrabber, OfSeveralArgumentsForOneKeyTheLastCounts)
{
    Run({"seed=1", "scene=molar", "seed=5", "scene=plane"});
    EXPECT_EQ(Next(Grabber::eLT_Ref), "plane_5_Ref");
}

TEST_F(VirtualGrabber, ImagesFromBeforeReleaseTakeTheNewType)
{
    Run({"scene=plane"});
    CCTImage* const old = m_grabber.AcquireImageRaw(Grabber::eLT_Ref);
    Run({"scene=plane", "noise=0"});
    EXPECT_EQ(old->GetDataType(), CCTImage::eIDT_BGRU8);
    m_grabber.LxAFrameGrabber::ReEnqueueRawBuffers(old);
    CCTImage* image = nullptr;
    for (int i = 0; i < Grabber::sc_iQueueSize; ++i) {
        image = m_grabber.AcquireImageRaw(i % 2 == 0 ? Grabber::eLT_Ref : Grabber::eLT_Pat);
        EXPECT_NE(image, old);
    }
    image = m_grabber.AcquireImageRaw(Grabber::eLT_Ref);
    ASSERT_EQ(image, old);
    EXPECT_EQ(PixelsOf(*image), m_grabber.GetRendering()->pair.reference.data);
}

TEST_F(VirtualGrabber, LogsWhereNoImageIsFree)
{
    Run({"scene=plane"});
    for (int i = 0; i < Grabber::sc_iQueueSize; ++i) {
        ASSERT_NE(m_grabber.AcquireImageRaw(i % 2 == 0 ? Grabber::eLT_Ref : Grabber::eLT_Pat), nullptr);
    }
    const std::shared_ptr<const Rendering> rendering = m_grabber.GetRendering();
    const Logging::CCapture log;
    EXPECT_THROW(m_grabber.AcquireImageRaw(Grabber::eLT_Ref), std::exception);
    EXPECT_EQ(log.Count(ELevel::eError, kChannel, L"VirtualFrameGrabber: callers hold all raw images\n"), 1);
    EXPECT_EQ(m_grabber.GetRendering(), rendering) << "no pair is spent";
}

TEST_F(VirtualGrabber, LogsAnImageThatIsNotLent)
{
    CCTImage own;
    std::vector<CCTImage*> images{&own, nullptr};
    const Logging::CCapture log;
    m_grabber.ReEnqueueRawBuffers(images);
    EXPECT_TRUE(images.empty());
    EXPECT_EQ(log.Count(ELevel::eError, kChannel,
                        L"VirtualFrameGrabber: an image that is not lent cannot be given back\n"),
              2);
}

TEST(VirtualGrabberAlone, RefusesParametersOfNoDevice)
{
    EXPECT_THROW(Grabber(device::SmallDevice(0, 10)), std::invalid_argument);
}

TEST(VirtualGrabberAlone, IsDarkWhereGreyLevelsAreNoNumbers)
{
    device::DeviceParameters parameters = device::SmallDevice(4, 4);
    parameters.optics.exposure = std::numeric_limits<double>::quiet_NaN();
    Grabber grabber(parameters);
    ASSERT_EQ(grabber.Init({"scene=plane"}), 0);
    grabber.Start();
    const CCTImage* const image = grabber.AcquireImageRaw(Grabber::eLT_Ref);
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(PixelsOf(*image), std::vector<float>(4 * 4 * 3, 0.0F));
}

TEST_F(VirtualGrabber, WarmsUpWithTheImagesItDelivers)
{
    EXPECT_EQ(m_grabber.ReadFPGATemperature(), 0.0);
    Run({"scene=plane"});
    EXPECT_EQ(m_grabber.ReadFPGATemperature(), 25.0);
    double before = 25.0;
    for (int i = 0; i < 4; ++i) {
        Next(Grabber::eLT_Any);
        EXPECT_GT(m_grabber.ReadFPGATemperature(), before);
        before = m_grabber.ReadFPGATemperature();
    }
    constexpr double kTolerance = 1e-13; // degrees, some rounding errors
    EXPECT_NEAR(before, 25.0 + 80.0 / 504.0, kTolerance);
    m_grabber.Init({"scene=plane"});
    EXPECT_EQ(m_grabber.ReadFPGATemperature(), 25.0);
    m_grabber.Release();
    EXPECT_EQ(m_grabber.ReadFPGATemperature(), 0.0);
}

/// Reading of a device that is turned by a quarter about one axis of its camera.
std::vector<int> Gravity(double rx, double ry, double rz)
{
    device::DeviceParameters parameters = device::SmallDevice(4, 4);
    parameters.cameraFromWorld = {rx, ry, rz, 1.0, 2.0, 3.0};
    Grabber grabber(parameters);
    EXPECT_EQ(grabber.Init({"scene=plane"}), 0);
    int x = 0;
    int y = 0;
    int z = 0;
    EXPECT_TRUE(grabber.ReadAccelerometer(x, y, z));
    return {x, y, z};
}

TEST(VirtualGrabberAlone, FeelsGravityAlongTheWorldsZAxis)
{
    constexpr double kQuarter = 0.5 * std::numbers::pi;
    EXPECT_EQ(Gravity(0.0, 0.0, 0.0), (std::vector<int>{0, 0, 1000}));
    EXPECT_EQ(Gravity(0.0, 0.0, 1.0), (std::vector<int>{0, 0, 1000}));
    // A right-handed quarter about x carries z to -y, one about y carries z to x.
    EXPECT_EQ(Gravity(kQuarter, 0.0, 0.0), (std::vector<int>{0, -1000, 0}));
    EXPECT_EQ(Gravity(0.0, kQuarter, 0.0), (std::vector<int>{1000, 0, 0}));
    EXPECT_EQ(Gravity(std::numbers::pi, 0.0, 0.0), (std::vector<int>{0, 0, -1000}));
    // (sin ry, -sin rx cos ry, cos rx cos ry) with sin 0.021 = 0.020998, sin -0.016 = -0.015999
    EXPECT_EQ(Gravity(0.021, -0.016, 0.009), (std::vector<int>{-16, -21, 1000}));
}

TEST_F(VirtualGrabber, WithoutInitNothingOnTheDeviceAnswers)
{
    int x = 1;
    int y = 1;
    int z = 1;
    EXPECT_FALSE(m_grabber.ReadAccelerometer(x, y, z));
    EXPECT_EQ(x + y + z, 0);
    std::stringstream text("::A\nB=1\n");
    EXPECT_FALSE(m_grabber.WriteIniFileToDevice(text));
    EXPECT_FALSE(m_grabber.IsThereAnIniFileOnDevice());
    EXPECT_FALSE(m_grabber.ReadIniFileFromDevice(text));
}

TEST_F(VirtualGrabber, OtherThreadsReadItsSensorsWhileImagesFlow)
{
    m_grabber.SetLEDSequence(Grabber::eLS_Ref); // a new pair for each image
    std::atomic<bool> done = false;
    std::thread reader([&] {
        while (!done) {
            int x = 0;
            int y = 0;
            int z = 0;
            m_grabber.ReadAccelerometer(x, y, z);
            const double temperature = m_grabber.ReadFPGATemperature();
            EXPECT_TRUE(temperature == 0.0 || (temperature >= 25.0 && temperature < 45.0)) << temperature;
            if (const auto rendering = m_grabber.GetRendering()) {
                EXPECT_EQ(rendering->pair.reference.width, kWidth);
            }
        }
    });
    for (int i = 0; i < 3; ++i) {
        Run({"scene=plane"});
        for (int image = 0; image < 5; ++image) {
            Next(Grabber::eLT_Any);
        }
    }
    done = true;
    reader.join();
}

} // namespace
} // namespace acquisition
