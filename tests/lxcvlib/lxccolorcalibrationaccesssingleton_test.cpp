#include "lxccolorcalibrationaccesssingleton.h"

#include "lxccolorcalibrationdata.h"
#include "orx/logging/logger.h"
#include "orx/platform/paths.h"
#include "orx/platform/unicode.h"
#include "tests/lxcvlib/colourcalibrationsupport.h"
#include "tests/support/environment.h"
#include "tests/support/temporaryfolder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>

namespace LxCV {
namespace {

using TestSupport::c_SomeMatrix;
using TestSupport::Fill;

/// The one object is without a camera in each test, and PROGRAMDATA is a folder of the test's own.
class LxCColorCalibrationAccessSingletonTest : public testing::Test
{
protected:
    LxCColorCalibrationAccessSingletonTest() { m_Access.SetNewCamera(L""); }
    ~LxCColorCalibrationAccessSingletonTest() override { m_Access.SetNewCamera(L""); }

    std::string DataFile(const std::string& camera) const
    {
        return m_Folder / ("Lumorad/ColorCalibrationData_" + camera + ".dat");
    }
    std::string ImageFile(const std::string& camera) const
    {
        return m_Folder / ("Lumorad/WhiteBalanceImage_" + camera + ".tif");
    }

    /// Files of a camera, behind the object's back.
    void StoreFiles(const std::wstring& camera, float depth)
    {
        LxCColorCalibrationData data;
        Fill(data);
        data.SetReferenceDepth(depth);
        ASSERT_TRUE(
            data.SerializeToFile(LxCColorCalibrationAccessSingleton::makeColorCalibrationPath(), camera));
    }

    TestSupport::CCalendar m_Calendar;
    ::TestSupport::CTemporaryFolder m_Folder;
    ::TestSupport::CEnvironmentVariable m_ProgramData{"PROGRAMDATA", m_Folder.GetPath().string()};
    LxCColorCalibrationAccessSingleton& m_Access =
        BtSingleton<LxCColorCalibrationAccessSingleton>::Instance();
};

TEST_F(LxCColorCalibrationAccessSingletonTest, TheFolderIsThatOfSharedDataWithSeparators)
{
    EXPECT_EQ(std::wstring(LxCColorCalibrationAccessSingleton::colorCalibRelPathExt), L"Lumorad");
    m_ProgramData.Set("/some/folder");
    EXPECT_EQ(LxCColorCalibrationAccessSingleton::makeColorCalibrationPath(), L"/some/folder\\Lumorad\\");
}

TEST_F(LxCColorCalibrationAccessSingletonTest, TheFolderOfSharedDataIsTheSystemsWithoutTheVariable)
{
    const bool wasThere = std::filesystem::exists(platform::kMachineWideDataDir);
    const ::TestSupport::CEnvironmentVariable users("XDG_DATA_HOME", m_Folder / "user");
    m_ProgramData.Set(std::nullopt);
    const std::string shared = platform::GetProgramDataDir();
    const std::wstring folder = LxCColorCalibrationAccessSingleton::makeColorCalibrationPath();
    EXPECT_EQ(folder, platform::WidenUtf8(shared) + L"\\Lumorad\\");
    EXPECT_TRUE(shared == platform::kMachineWideDataDir || shared == m_Folder / "user/lxcvlib") << shared;
    if (!wasThere) {
        std::error_code ignored;
        std::filesystem::remove(platform::kMachineWideDataDir, ignored); // only an empty folder goes
    }
}

TEST_F(LxCColorCalibrationAccessSingletonTest, ACameraWithDataButNoImageGivesNullBothTimes)
{
    StoreFiles(L"A1", 30.0F);
    StoreFiles(L"B2", 31.0F);
    std::filesystem::remove(ImageFile("B2"));
    const auto first = m_Access.GetColorCalibData(L"A1");
    const Logging::CCapture quiet;
    EXPECT_EQ(m_Access.GetColorCalibData(L"B2"), nullptr);
    EXPECT_EQ(m_Access.GetColorCalibData(L"B2"), nullptr);
    EXPECT_FALSE(m_Access.SetNewCamera(L"B2"));
    EXPECT_EQ(m_Access.GetCurrentColorCalibData(), nullptr);
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first->GetReferenceDepth(), 30.0F);
    EXPECT_TRUE(first->IsColorCalibrationDataValid());
}

TEST_F(LxCColorCalibrationAccessSingletonTest, AnExpiredRecordBecomesTheCurrentOneButIsNotStored)
{
    auto data = std::make_shared<LxCColorCalibrationData>();
    Fill(*data);
    m_Calendar.Set(2024, 6, 1);
    EXPECT_FALSE(m_Access.SetColorCalibData(L"A1", data));
    EXPECT_EQ(m_Access.GetColorCalibData(L"A1"), data);
    EXPECT_TRUE(m_Access.IsCurrentValid());
    EXPECT_TRUE(m_Access.IsCurrentExpired());
    EXPECT_FALSE(std::filesystem::exists(m_Folder / "Lumorad"));
}

TEST_F(LxCColorCalibrationAccessSingletonTest, NullLeavesNoRecordButTheCameraAndItsFiles)
{
    StoreFiles(L"A1", 30.0F);
    const auto first = m_Access.GetColorCalibData(L"A1");
    ASSERT_NE(first, nullptr);
    EXPECT_FALSE(m_Access.SetColorCalibData(L"A1", nullptr));
    EXPECT_EQ(m_Access.GetColorCalibData(L"A1"), nullptr) << "the camera is the current one";
    EXPECT_EQ(first->GetReferenceDepth(), 30.0F);
    EXPECT_TRUE(m_Access.SetNewCamera(L"A1")) << "the files are there";
}

TEST_F(LxCColorCalibrationAccessSingletonTest, NamesThatNameNoFileHaveNoRecord)
{
    StoreFiles(L"A1", 30.0F);
    StoreFiles(L"", 31.0F);
    std::filesystem::create_directories(m_Folder / "Lumorad/ColorCalibrationData_x");
    std::filesystem::create_directories(m_Folder / "Lumorad/WhiteBalanceImage_x");
    for (const std::wstring& name : {std::wstring(L"x/../A1"), std::wstring(L"x\\..\\A1"), std::wstring(L"/"),
                                     std::wstring(L"A1\0", 3), std::wstring(1, L'\0')}) {
        EXPECT_EQ(m_Access.GetColorCalibData(name), nullptr) << platform::NarrowUtf8(name);
    }
    EXPECT_FALSE(m_Access.SetNewCamera(L"x/../A1"));
    EXPECT_TRUE(m_Access.SetNewCamera(L"A1"));
}

TEST_F(LxCColorCalibrationAccessSingletonTest, NothingIsLogged)
{
    const Logging::CCapture log;
    auto data = std::make_shared<LxCColorCalibrationData>();
    EXPECT_EQ(m_Access.GetColorCalibData(L"none"), nullptr);
    EXPECT_FALSE(m_Access.SetNewCamera(L"x/y"));
    EXPECT_FALSE(m_Access.SetColorCalibData(L"A1", nullptr));
    EXPECT_FALSE(m_Access.SetColorCalibData(L"A1", data));
    Fill(*data);
    EXPECT_TRUE(m_Access.SetColorCalibData(L"A1", data));
    EXPECT_TRUE(m_Access.SetNewCamera(L"A1"));
    EXPECT_TRUE(log.GetRecords().empty());
}

TEST_F(LxCColorCalibrationAccessSingletonTest, StoresARecordBelowProgramData)
{
    auto data = std::make_shared<LxCColorCalibrationData>();
    Fill(*data);
    EXPECT_TRUE(m_Access.SetColorCalibData(L"A1", data));
    EXPECT_TRUE(std::filesystem::exists(DataFile("A1")));
    EXPECT_TRUE(std::filesystem::exists(ImageFile("A1")));
    EXPECT_EQ(m_Access.GetCurrentColorCalibData(), data);
    EXPECT_EQ(m_Access.GetColorCalibData(L"A1"), data);
    EXPECT_TRUE(m_Access.IsCurrentValid());
    EXPECT_FALSE(m_Access.IsCurrentExpired());
}

TEST_F(LxCColorCalibrationAccessSingletonTest, ReadsTheDiskOnceForACamera)
{
    StoreFiles(L"A1", 30.0F);
    const auto first = m_Access.GetColorCalibData(L"A1");
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first->GetReferenceDepth(), 30.0F);
    std::filesystem::remove(DataFile("A1"));
    EXPECT_EQ(m_Access.GetColorCalibData(L"A1"), first);
    EXPECT_EQ(m_Access.GetCurrentColorCalibData(), first);
}

TEST_F(LxCColorCalibrationAccessSingletonTest, ACameraWithoutAFileGivesNullBothTimes)
{
    EXPECT_EQ(m_Access.GetColorCalibData(L"none"), nullptr);
    StoreFiles(L"none", 30.0F);
    EXPECT_EQ(m_Access.GetColorCalibData(L"none"), nullptr) << "the disk was read already";
    EXPECT_EQ(m_Access.GetCurrentColorCalibData(), nullptr);
}

TEST_F(LxCColorCalibrationAccessSingletonTest, AHolderKeepsTheRecordOfTheOldCamera)
{
    StoreFiles(L"A1", 30.0F);
    StoreFiles(L"B2", 31.0F);
    const auto first = m_Access.GetColorCalibData(L"A1");
    const auto second = m_Access.GetColorCalibData(L"B2");
    ASSERT_NE(first, nullptr);
    ASSERT_NE(second, nullptr);
    EXPECT_NE(first, second);
    EXPECT_EQ(first->GetReferenceDepth(), 30.0F);
    EXPECT_EQ(second->GetReferenceDepth(), 31.0F);
    EXPECT_EQ(m_Access.GetColorCalibData(L"C3"), nullptr);
    EXPECT_EQ(second->GetReferenceDepth(), 31.0F);
}

TEST_F(LxCColorCalibrationAccessSingletonTest, ANewCameraIsReadFromTheDisk)
{
    StoreFiles(L"A1", 30.0F);
    EXPECT_TRUE(m_Access.SetNewCamera(L"A1"));
    const auto first = m_Access.GetCurrentColorCalibData();
    ASSERT_NE(first, nullptr);
    StoreFiles(L"A1", 32.0F);
    EXPECT_EQ(m_Access.GetColorCalibData(L"A1"), first);
    EXPECT_TRUE(m_Access.SetNewCamera(L"A1")) << "also the current one";
    ASSERT_NE(m_Access.GetCurrentColorCalibData(), nullptr);
    EXPECT_EQ(m_Access.GetCurrentColorCalibData()->GetReferenceDepth(), 32.0F);
    EXPECT_FALSE(m_Access.SetNewCamera(L"none"));
    EXPECT_EQ(m_Access.GetCurrentColorCalibData(), nullptr);
}

TEST_F(LxCColorCalibrationAccessSingletonTest, ANullNameChangesNothing)
{
    StoreFiles(L"A1", 30.0F);
    const auto first = m_Access.GetColorCalibData(L"A1");
    ASSERT_NE(first, nullptr);
    EXPECT_TRUE(m_Access.SetNewCamera(nullptr));
    EXPECT_EQ(m_Access.GetCurrentColorCalibData(), first);
}

TEST_F(LxCColorCalibrationAccessSingletonTest, WithoutARecordThereIsNoneValidAndAllHasExpired)
{
    EXPECT_FALSE(m_Access.IsCurrentValid());
    EXPECT_TRUE(m_Access.IsCurrentExpired());
    EXPECT_FALSE(m_Access.SetColorCalibData(L"A1", nullptr));
    EXPECT_EQ(m_Access.GetCurrentColorCalibData(), nullptr);
    EXPECT_FALSE(std::filesystem::exists(m_Folder / "Lumorad"));
}

TEST_F(LxCColorCalibrationAccessSingletonTest, ARecordThatCannotBeStoredIsTheCurrentOneAllTheSame)
{
    auto data = std::make_shared<LxCColorCalibrationData>();
    data->SetColorCalibrationMatrix(c_SomeMatrix);
    EXPECT_FALSE(m_Access.SetColorCalibData(L"A1", data));
    EXPECT_EQ(m_Access.GetColorCalibData(L"A1"), data);
    EXPECT_FALSE(m_Access.IsCurrentValid());
    EXPECT_FALSE(m_Access.IsCurrentExpired());
    Fill(*data);
    EXPECT_FALSE(m_Access.SetColorCalibData(L"../A1", data)) << "no name of a file";
    EXPECT_FALSE(std::filesystem::exists(m_Folder / "Lumorad"));
}

TEST_F(LxCColorCalibrationAccessSingletonTest, ARecordExpiresWhileItIsTheCurrentOne)
{
    StoreFiles(L"A1", 30.0F);
    ASSERT_NE(m_Access.GetColorCalibData(L"A1"), nullptr);
    EXPECT_FALSE(m_Access.IsCurrentExpired());
    m_Calendar.Set(2024, 6, 1);
    EXPECT_TRUE(m_Access.IsCurrentExpired());
    EXPECT_TRUE(m_Access.IsCurrentValid());
}

} // namespace
} // namespace LxCV
