// What the virtual device keeps in its memory, and what its sensors tell the library's worker.
#include "scanner/acquisition/virtualframegrabber.h"

#include "lxccctserializercamera.h"
#include "lxcframegrabbermetadatathread.h"
#include "lxcframegrabberreqs.h"
#include "lxclxcvlibsettings.h"
#include "tests/lxcvlib/storetestsupport.h"
#include "tests/scanner/smalldevice.h"
#include "tests/support/container.h"
#include "tests/support/watchdog.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <filesystem>
#include <random>
#include <sstream>
#include <string>

namespace acquisition {
namespace {

using Logging::ELevel;
using LxCV::LxCCCTSerializerCamera;
using LxCV::TestSupport::ReadValue;
using LxCV::TestSupport::WriteValue;
using TestSupport::PlainContainer;
using TestSupport::ReadFile;
using TestSupport::UInt32At;
using TestSupport::WithChangedBit;
using TestSupport::WriteFile;

constexpr int kNothing = -2;      ///< no value could be loaded
constexpr std::size_t kHead = 13; // bytes of a container before its text

class VirtualGrabberMemory : public LxCV::TestSupport::StoreTest
{
protected:
    using Grabber = VirtualFrameGrabber;

    VirtualGrabberMemory() { Open(m_grabber); }

    /// A device whose memory is in the test's file.
    void Open(Grabber& grabber) const { EXPECT_EQ(grabber.Init({"scene=plane", "memory=" + m_file}), 0); }

    static bool Store(Grabber& grabber, int value)
    {
        LxCCCTSerializerCamera serializer;
        EXPECT_TRUE(serializer.Init(&grabber, true));
        WriteValue(serializer, value);
        return serializer.Exit();
    }

    static int Load(Grabber& grabber)
    {
        LxCCCTSerializerCamera serializer;
        return serializer.Init(&grabber, false) ? ReadValue(serializer) : kNothing;
    }

    /// The value that a device reads from a memory with other bytes in it.
    int LoadFrom(const std::string& memory)
    {
        WriteFile(m_file, memory);
        Open(m_grabber);
        return Load(m_grabber);
    }

    /// The container of a value as it stands in the memory.
    std::string ContainerOf(int value)
    {
        EXPECT_TRUE(Store(m_grabber, value));
        const std::string memory = ReadFile(m_file);
        return memory.substr(0, kHead + UInt32At(memory, 9));
    }

    static device::DeviceParameters Tiny() { return device::SmallDevice(2, 2); }

    std::string m_file = m_Folder / "memory.bin";
    Grabber m_grabber{Tiny()};
};

TEST_F(VirtualGrabberMemory, LoadsWhatItStored)
{
    EXPECT_FALSE(m_grabber.IsThereAnIniFileOnDevice());
    EXPECT_EQ(Load(m_grabber), kNothing);
    for (const int value : {1, 2'000'000'000, -5}) {
        EXPECT_TRUE(Store(m_grabber, value));
        EXPECT_TRUE(m_grabber.IsThereAnIniFileOnDevice());
        EXPECT_EQ(Load(m_grabber), value);
    }
}

TEST_F(VirtualGrabberMemory, SurvivesTheProgram)
{
    EXPECT_TRUE(Store(m_grabber, 42));
    VirtualFrameGrabber other(Tiny());
    Open(other);
    EXPECT_EQ(Load(other), 42);
    EXPECT_EQ(ReadFile(m_file).size(), DeviceMemory::kSize);
}

TEST_F(VirtualGrabberMemory, WithoutAFileLastsAsLongAsTheObject)
{
    VirtualFrameGrabber other(Tiny());
    ASSERT_EQ(other.Init({"scene=plane"}), 0);
    EXPECT_TRUE(Store(other, 42));
    other.Release();
    EXPECT_EQ(Load(other), kNothing) << "a released device does not answer";
    ASSERT_EQ(other.Init({"scene=plane"}), 0);
    EXPECT_EQ(Load(other), 42);
    EXPECT_FALSE(std::filesystem::exists(m_file));
}

TEST_F(VirtualGrabberMemory, KeepsTheSettingsOfTheGrabber)
{
    m_grabber.SetShutterTimePat(1234.0F);
    m_grabber.ReadSerialNumberFromCameraDriverAndWriteToIniFile();
    LxCCCTSerializerCamera storing;
    ASSERT_TRUE(storing.Init(&m_grabber, true));
    m_grabber.Serialize(storing, "::FrameGrabber");
    ASSERT_TRUE(storing.Exit());
    VirtualFrameGrabber other(Tiny());
    Open(other);
    LxCCCTSerializerCamera loading;
    ASSERT_TRUE(loading.Init(&other, false));
    other.Serialize(loading, "::FrameGrabber");
    EXPECT_EQ(other.GetShutterTimePat(), 1234.0F);
    EXPECT_EQ(other.GetReqs()->GetSerialNumber(), "VIRTUAL1");
}

TEST_F(VirtualGrabberMemory, AContainerThatIsCutIsRefused)
{
    const std::string container = ContainerOf(7);
    ASSERT_EQ(LoadFrom(container), 7) << "what a file lacks of the area is erased";
    for (std::size_t length = 0; length < container.size(); length += 3) {
        ASSERT_EQ(LoadFrom(container.substr(0, length)), kNothing) << length;
        ASSERT_EQ(m_grabber.IsThereAnIniFileOnDevice(), length > 0);
    }
    EXPECT_EQ(CountUtils(ELevel::eError, L"Read ini-file failed"),
              static_cast<int>(container.size() - 1) / 3);
}

TEST_F(VirtualGrabberMemory, AContainerWithAFlippedBitIsRefused)
{
    const std::string container = ContainerOf(7);
    constexpr std::size_t kStep = 7; // no divisor of 8, so that all places within a byte have their turn
    for (std::size_t bit = 0; bit < 8 * container.size(); bit += kStep) {
        ASSERT_EQ(LoadFrom(WithChangedBit(container, bit)), kNothing) << bit;
    }
}

TEST_F(VirtualGrabberMemory, RandomBytesAreRefused)
{
    std::mt19937 random(73);
    for (int trial = 0; trial < 100; ++trial) {
        std::string bytes(random() % 100, '\0');
        for (char& byte : bytes) {
            byte = static_cast<char>(random());
        }
        if (!bytes.empty() && trial % 2 == 0) {
            bytes[0] = static_cast<char>(1 + trial / 2 % 2); // a version that is known
        }
        ASSERT_EQ(LoadFrom(bytes), kNothing) << trial;
    }
}

TEST_F(VirtualGrabberMemory, AnotherVersionIsRefusedAndTheOlderOneRead)
{
    std::string container = ContainerOf(7);
    container[0] = 3;
    EXPECT_EQ(LoadFrom(container), kNothing);
    EXPECT_EQ(CountUtils(ELevel::eError,
                         L"LxCMatrixFrameGrabber::decryptAndDecompress: invalid version number 3.\n"),
              1);
    EXPECT_EQ(LoadFrom(PlainContainer("::Store\nValue=9\n")), 9);
}

/// A text that hardly compresses: `size` random letters, each of which takes six bits.
std::string RandomText(std::size_t size)
{
    constexpr const char* kLetters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+-";
    std::mt19937 random(5);
    std::string text;
    for (std::size_t i = 0; i < size; ++i) {
        text += kLetters[random() % 64];
    }
    return text;
}

TEST_F(VirtualGrabberMemory, ATextThatDoesNotFitLeavesTheOldContent)
{
    constexpr std::size_t kFits = 80000;    // letters, some 60000 bytes compressed
    constexpr std::size_t kTooLong = 90000; // letters, some 68000 bytes compressed
    EXPECT_TRUE(Store(m_grabber, 7));
    const std::string before = ReadFile(m_file);
    std::stringstream tooLong(RandomText(kTooLong));
    EXPECT_FALSE(m_grabber.WriteIniFileToDevice(tooLong));
    EXPECT_EQ(m_Capture.Count(ELevel::eError, L"ORX.Lumorad.VirtualFrameGrabber",
                              L"VirtualFrameGrabber: the settings file could not be stored\n"),
              1);
    EXPECT_TRUE(ReadFile(m_file) == before);
    EXPECT_EQ(Load(m_grabber), 7);
    std::stringstream fits(RandomText(kFits));
    EXPECT_TRUE(m_grabber.WriteIniFileToDevice(fits));
    std::stringstream read;
    EXPECT_TRUE(m_grabber.ReadIniFileFromDevice(read));
    EXPECT_TRUE(read.str() == fits.str() + '\0');
}

TEST_F(VirtualGrabberMemory, AFileThatCannotBeWrittenLeavesTheOldContent)
{
    EXPECT_TRUE(Store(m_grabber, 7));
    std::filesystem::remove(m_file);
    std::filesystem::create_directory(m_file); // in the way of the new file
    EXPECT_FALSE(Store(m_grabber, 8));
    EXPECT_EQ(Load(m_grabber), 7);
}

TEST_F(VirtualGrabberMemory, AFileThatIsNoMemoryStaysAsItIs)
{
    WriteFile(m_file, std::string(DeviceMemory::kSize + 1, 'x'));
    VirtualFrameGrabber other(Tiny());
    EXPECT_EQ(other.Init({"scene=plane", "memory=" + m_file}), Grabber::eRC_ConfigFileErrononeus);
    EXPECT_EQ(m_Capture.Count(ELevel::eError, L"ORX.Lumorad.VirtualFrameGrabber",
                              L"VirtualFrameGrabber: " + std::wstring(m_file.begin(), m_file.end()) +
                                  L" is no memory of a device\n"),
              1);
    EXPECT_FALSE(Store(other, 1));
    EXPECT_EQ(ReadFile(m_file).size(), DeviceMemory::kSize + 1);
}

/// Polls without a pause, with the accelerometer; puts the settings back.
class VirtualGrabberSensors : public testing::Test
{
protected:
    using Settings = LxCV::LxCLxCVLibSettings;

    VirtualGrabberSensors()
    {
        Settings::SetEnableAccelerometer(true);
        Settings::SetFrameGrabberAdditionalInfosPeriod(0);
    }
    ~VirtualGrabberSensors() override
    {
        Settings::SetEnableAccelerometer(m_enabled);
        Settings::SetFrameGrabberAdditionalInfosPeriod(m_period);
    }

    const bool m_enabled = Settings::GetEnableAccelerometer();
    const int m_period = Settings::GetFrameGrabberAdditionalInfosPeriod();
    VirtualFrameGrabber m_grabber{device::SmallDevice(8, 8)};
};

TEST_F(VirtualGrabberSensors, AWorkerPollsThemWhileImagesFlow)
{
    constexpr unsigned long kLong = 10000;            // ms; longer than any wait that succeeds
    constexpr double kOneImage = 25.0 + 20.0 / 501.0; // degrees Celsius
    ASSERT_EQ(m_grabber.Init({"scene=plane"}), 0);
    LxCV::LxCFrameGrabberMetaDataThread worker(&m_grabber);
    ASSERT_EQ(worker.Start(), 0);
    ASSERT_EQ(m_grabber.Start(), 0);
    LxCV::LxSFrameGrabberMetaData record;
    for (int i = 0; i < 5; ++i) {
        LxCV::CCTImage* const image = m_grabber.AcquireImageRaw(VirtualFrameGrabber::eLT_Any);
        ASSERT_NE(image, nullptr);
        m_grabber.LxAFrameGrabber::ReEnqueueRawBuffers(image);
    }
    EXPECT_TRUE(TestSupport::ComesTrue([&] {
        worker.Update(record);
        return record.GetTemperatur() >= kOneImage && record.GetAccelerometerData() != nullptr;
    }));
    EXPECT_EQ(worker.Pause(true, kLong), 0);
    worker.Update(record);
    const auto acceleration = record.GetAccelerometerData();
    // See the device's placement: a camera that looks down and is tilted by one degree.
    EXPECT_EQ(acceleration->GetX(), -16);
    EXPECT_EQ(acceleration->GetY(), -21);
    EXPECT_EQ(acceleration->GetZ(), 1000);
    EXPECT_TRUE(worker.Exit());
}

} // namespace
} // namespace acquisition
