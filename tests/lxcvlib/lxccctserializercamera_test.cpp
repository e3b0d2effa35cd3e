#include "lxccctserializercamera.h"

#include "lxccctserializerencryptedfile.h"
#include "tests/lxcvlib/cameramodel.h"
#include "tests/lxcvlib/frameworkprobe.h"
#include "tests/lxcvlib/storegrabber.h"
#include "tests/lxcvlib/storetestsupport.h"
#include "tests/support/container.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <utility>

namespace LxCV {
namespace {

using Logging::ELevel;
using TestSupport::CStoreGrabber;
using ::TestSupport::PlainContainer;
using TestSupport::ReadValue;
using ::TestSupport::WithChangedBit;
using TestSupport::WriteValue;

LxAFrameGrabber* const c_pNoGrabber = nullptr;

class LxCCCTSerializerCameraTest : public TestSupport::StoreTest
{
protected:
    bool Store(int value)
    {
        LxCCCTSerializerCamera serializer;
        EXPECT_TRUE(serializer.Init(&m_Grabber, true));
        WriteValue(serializer, value);
        return serializer.Exit();
    }

    /// The value on the device; -2 where it cannot be loaded.
    int Load()
    {
        LxCCCTSerializerCamera serializer;
        return serializer.Init(&m_Grabber, false) ? ReadValue(serializer) : -2;
    }

    CStoreGrabber m_Grabber;
};

TEST_F(LxCCCTSerializerCameraTest, LoadsWhatItStored)
{
    std::mt19937 random(22);
    for (int trial = 0; trial < 100; ++trial) {
        const int value = static_cast<int>(random());
        ASSERT_TRUE(Store(value));
        ASSERT_EQ(Load(), value);
    }
}

TEST_F(LxCCCTSerializerCameraTest, StoresNoComments)
{
    ASSERT_TRUE(Store(7));
    std::stringstream text;
    ASSERT_TRUE(m_Grabber.ReadIniFileFromDevice(text));
    EXPECT_EQ(text.str(), std::string("::Store\nValue=7\n") + '\0');
}

TEST_F(LxCCCTSerializerCameraTest, KeepsAWholeCameraModel)
{
    TestSupport::CCameraModel model = TestSupport::PlainModel();
    model.camera.height = 40.0; // a small unwrap table
    const std::string text = TestSupport::ModelText(model, "::MV3DCam");
    LxCCCTSerializerCamera storing;
    ASSERT_TRUE(storing.Init(&m_Grabber, true));
    std::stringstream source(text);
    storing.ReadFromStringStream(source);
    ASSERT_TRUE(storing.Exit());
    EXPECT_LT(m_Grabber.m_sMemory.size(), text.size() / 2);

    LxCCCTSerializerCamera loading;
    ASSERT_TRUE(loading.Init(&m_Grabber, false));
    EXPECT_TRUE(loading.HasSameData(storing)) << "the NUL behind the text aside";
    TestSupport::CFrameworkProbe loaded;
    loaded.Serialize(loading, "::MV3DCam");
    EXPECT_TRUE(loading.Exit());
    const TestSupport::CFrameworkProbe direct(text);
    const TestSupport::CXYZ point = TestSupport::EdgeXYZ(loaded, 300.0, 20.0, 70, true);
    const TestSupport::CXYZ expected = TestSupport::EdgeXYZ(direct, 300.0, 20.0, 70, true);
    EXPECT_GT(point.z, 0.0);
    EXPECT_EQ(point.x, expected.x);
    EXPECT_EQ(point.y, expected.y);
    EXPECT_EQ(point.z, expected.z);
}

TEST_F(LxCCCTSerializerCameraTest, DeviceWithoutAFileIsNotTouchedFurther)
{
    EXPECT_EQ(Load(), -2);
    EXPECT_EQ(m_Grabber.m_sOperations, "asked ");
    m_Grabber.m_sMemory = "no container";
    EXPECT_EQ(Load(), -2);
    EXPECT_EQ(m_Grabber.m_sOperations, "asked asked read ");
}

TEST_F(LxCCCTSerializerCameraTest, BaseClassOfGrabbersHasNoFile)
{
    class CWithoutStore : public CStoreGrabber
    {
        bool IsThereAnIniFileOnDevice() override { return LxAFrameGrabber::IsThereAnIniFileOnDevice(); }
        bool WriteIniFileToDevice(std::stringstream& text) override
        {
            return LxAFrameGrabber::WriteIniFileToDevice(text);
        }
    };
    CWithoutStore grabber;
    LxCCCTSerializerCamera serializer;
    EXPECT_FALSE(serializer.Init(&grabber, false));
    EXPECT_TRUE(serializer.Init(&grabber, true));
    EXPECT_FALSE(serializer.Exit());
}

TEST_F(LxCCCTSerializerCameraTest, ExitNeedsAGrabberOnlyWhenStoring)
{
    LxCCCTSerializerCamera serializer;
    EXPECT_TRUE(serializer.Exit()) << "not storing before Init";
    EXPECT_TRUE(serializer.Init(c_pNoGrabber, true));
    EXPECT_TRUE(serializer.IsStoring());
    EXPECT_FALSE(serializer.Exit());
    EXPECT_FALSE(serializer.SaveCryptedFile());
    EXPECT_FALSE(serializer.Init(c_pNoGrabber, false));
    EXPECT_FALSE(serializer.IsStoring());
    EXPECT_TRUE(serializer.Exit());
}

TEST_F(LxCCCTSerializerCameraTest, LoadingNeverWrites)
{
    ASSERT_TRUE(Store(1));
    m_Grabber.m_sOperations.clear();
    LxCCCTSerializerCamera serializer;
    ASSERT_TRUE(serializer.Init(&m_Grabber, true));
    ASSERT_TRUE(serializer.Init(&m_Grabber, false));
    EXPECT_TRUE(serializer.Exit());
    EXPECT_EQ(m_Grabber.m_sOperations, "asked read ");
}

TEST_F(LxCCCTSerializerCameraTest, DeviceThatRefusesFailsExit)
{
    m_Grabber.m_bBroken = true;
    EXPECT_FALSE(Store(1));
    EXPECT_EQ(m_Grabber.m_sMemory, "");
}

TEST_F(LxCCCTSerializerCameraTest, StoreOfVersionOneLoadsWithoutAKey)
{
    m_KeyFile.Set("/dev/null/key");
    m_Grabber.m_sMemory = PlainContainer("::Store\r\nValue=42\r\n");
    EXPECT_EQ(Load(), 42);
}

TEST_F(LxCCCTSerializerCameraTest, StoreCutAtAnyByteIsRefused)
{
    ASSERT_TRUE(Store(42));
    for (const std::string& whole : {m_Grabber.m_sMemory, PlainContainer("::Store\nValue=42\n")}) {
        for (std::size_t size = 0; size < whole.size(); ++size) {
            m_Grabber.m_sMemory = whole.substr(0, size);
            EXPECT_EQ(Load(), -2) << size;
        }
        m_Grabber.m_sMemory = whole + std::string(1000, '\xff'); // memory behind the container
        EXPECT_EQ(Load(), 42);
    }
}

TEST_F(LxCCCTSerializerCameraTest, ChangedStoreNeverLoadsAnotherValue)
{
    ASSERT_TRUE(Store(42));
    const std::string encrypted = m_Grabber.m_sMemory;
    for (std::size_t bit = 0; bit < encrypted.size() * 8; ++bit) {
        m_Grabber.m_sMemory = WithChangedBit(encrypted, bit);
        EXPECT_EQ(Load(), -2) << bit;
    }
    const std::string plain = PlainContainer("::Store\nValue=42\n");
    for (std::size_t bit = 0; bit < plain.size() * 8; ++bit) {
        m_Grabber.m_sMemory = WithChangedBit(plain, bit);
        const int value = Load(); // some bits of a stored block mean nothing
        EXPECT_TRUE(value == -2 || value == 42) << bit;
    }
}

TEST_F(LxCCCTSerializerCameraTest, StoreOfAnotherVersionIsRefused)
{
    ASSERT_TRUE(Store(42));
    m_Grabber.m_sMemory[0] = 3;
    m_Capture.Clear();
    EXPECT_EQ(Load(), -2);
    EXPECT_EQ(CountUtils(ELevel::eError,
                         L"LxCMatrixFrameGrabber::decryptAndDecompress: invalid version number 3.\n"),
              1);
}

TEST_F(LxCCCTSerializerCameraTest, TextTooBigForTheDeviceIsLostWithoutAFailure)
{
    ASSERT_TRUE(Store(42));
    std::mt19937 random(23);
    std::string noise(100'000, '\0');
    for (char& character : noise) {
        character = static_cast<char>('!' + random() % 90);
    }
    LxCCCTSerializerCamera serializer;
    ASSERT_TRUE(serializer.Init(&m_Grabber, true));
    serializer.Write("Noise", noise, "", c_iFormatDecimal);
    m_Capture.Clear();
    EXPECT_TRUE(serializer.Exit());
    EXPECT_EQ(m_Capture.GetRecords().size(), 2U);
    EXPECT_TRUE(m_Capture.GetRecords()[0].text.starts_with(
        L"Could not write camera ini file. The file is too big: "));
    EXPECT_EQ(CountDiagnostics(ELevel::eInfo, L"Write ini-file to device was successful"), 1);
    EXPECT_EQ(Load(), 42) << "the earlier store";
}

TEST_F(LxCCCTSerializerCameraTest, LargestStoreFitsTheDevice)
{
    // Random bytes do not compress, so that the store comes close to the device's size.
    std::mt19937 random(24);
    std::string text = "::Store\nValue=1\nNoise=";
    while (text.size() < 65'400) {
        const char character = static_cast<char>(random());
        text += character == '\n' || character == '\r' ? ' ' : character;
    }
    std::stringstream source(text);
    LxCCCTSerializerCamera serializer;
    ASSERT_TRUE(serializer.Init(&m_Grabber, true));
    serializer.ReadFromStringStream(source);
    EXPECT_TRUE(serializer.Exit());
    EXPECT_GT(m_Grabber.m_sMemory.size(), 65'000U);
    EXPECT_EQ(Load(), 1);
}

TEST_F(LxCCCTSerializerCameraTest, StoreWithoutALineStillHoldsTheNulBehindIt)
{
    LxCCCTSerializerCamera serializer;
    ASSERT_TRUE(serializer.Init(&m_Grabber, true));
    ASSERT_TRUE(serializer.Exit());
    EXPECT_EQ(Load(), -1) << "loads as one odd line";
}

TEST_F(LxCCCTSerializerCameraTest, SavesABackupCopyAsWell)
{
    LxCCCTSerializerCamera serializer;
    ASSERT_TRUE(serializer.Init(&m_Grabber, true));
    WriteValue(serializer, 5);
    EXPECT_TRUE(serializer.SaveCryptedFile());
    EXPECT_EQ(m_Grabber.m_sOperations, "") << "the device is not written before Exit";
    LxCCCTSerializerEncryptedFile copy;
    ASSERT_TRUE(copy.Init(&m_Grabber, false));
    EXPECT_EQ(ReadValue(copy), 5);
    FillTheDisk(CopyOf("full"));
    m_Grabber.m_sSerialNumber = "full";
    EXPECT_FALSE(serializer.SaveCryptedFile());
    EXPECT_TRUE(serializer.Exit()) << "the device has room";
}

TEST_F(LxCCCTSerializerCameraTest, MovesWithItsGrabber)
{
    LxCCCTSerializerCamera first;
    ASSERT_TRUE(first.Init(&m_Grabber, true));
    WriteValue(first, 6);
    LxCCCTSerializerCamera second(std::move(first));
    LxCCCTSerializerCamera third;
    third = std::move(second);
    EXPECT_TRUE(third.Exit());
    EXPECT_EQ(Load(), 6);
}

} // namespace
} // namespace LxCV
