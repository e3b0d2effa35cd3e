// Folder, key and captured log of a test of stores.
#pragma once

#include "lxccctserializer.h"
#include "orx/logging/logger.h"
#include "tests/support/environment.h"
#include "tests/support/temporaryfolder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

namespace LxCV::TestSupport {

/// The folder of shared data and the key are the test's own.
class StoreTest : public testing::Test
{
protected:
    std::string CopyOf(const std::string& serialNumber) const
    {
        return m_Folder / ("Lumorad/" + serialNumber + ".dat");
    }

    /// Puts a link to a device that is always full in the place of a copy.
    void FillTheDisk(const std::string& file) const
    {
        std::filesystem::create_directories(std::filesystem::path(file).parent_path());
        std::filesystem::create_symlink("/dev/full", file);
    }

    int CountDiagnostics(Logging::ELevel level, const wchar_t* text) const
    {
        return m_Capture.Count(level, L"Diagnostics.Lumorad", text);
    }

    int CountUtils(Logging::ELevel level, const std::wstring& text) const
    {
        return m_Capture.Count(level, L"ORX.Lumorad.LxCCCTEncryptionUtils", text);
    }

    ::TestSupport::CTemporaryFolder m_Folder;
    ::TestSupport::CEnvironmentVariable m_ProgramData{"PROGRAMDATA", m_Folder.GetPath().string()};
    ::TestSupport::CEnvironmentVariable m_KeyFile{"LXCV_KEY_FILE", m_Folder / "key"};
    Logging::CCapture m_Capture;
};

inline void WriteValue(LxCCCTSerializer& serializer, int value)
{
    serializer.WriteSection("::Store");
    serializer.WriteBlockComment("never there");
    serializer.Write("Value", value, "never there", c_iFormatDecimal);
}

/// The value that `WriteValue` wrote; -1 where there is none.
inline int ReadValue(LxCCCTSerializer& serializer)
{
    int value = -1;
    if (serializer.FindExtractSection("::Store")) {
        serializer.Read(serializer.GetSectionData(), "Value", value, -1);
    }
    return value;
}

} // namespace LxCV::TestSupport
