// Any bytes as the data file of a colour calibration, beside a good image: it is read with numbers that are finite and a
// date of the calendar, or refused with the record as new; what was read is written as the same bytes in the version of
// today, and no file appears beside the two.
#include "cctimage.h"
#include "lxccolorcalibrationdata.h"
#include "orx/platform/clock.h"
#include "orx/platform/unicode.h"
#include "tests/support/temporaryfolder.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <string>

namespace {

using LxCV::LxCColorCalibrationData;

constexpr std::size_t kVersionBytes = 4;
constexpr std::size_t kFileBytes = 92; ///< version, 15 floats and 7 words of the date
constexpr const char* kVersion = "\3\0\0";

void Require(bool condition)
{
    if (!condition) {
        std::abort();
    }
}

/// A folder with the image of the camera "c", at a time before all calibrations.
class CStage
{
public:
    CStage() : m_scoped(m_clock)
    {
        m_clock.SetNow(std::chrono::sys_days(std::chrono::year(1700) / 1 / 1));
        const LxCV::CCTImage white(2, 1, LxCV::CCTImage::eIDT_BGRU8, true, nullptr);
        Require(white.SaveTif(m_folder / "WhiteBalanceImage_c.tif") == LxCV::CCTImage::eRC_OK);
    }

    std::string File() const { return m_folder / "ColorCalibrationData_c.dat"; }
    std::wstring Folder() const { return platform::WidenUtf8(m_folder.GetPath().string()) + L"/"; }
    std::ptrdiff_t CountFiles() const
    {
        const std::filesystem::recursive_directory_iterator files(m_folder.GetPath());
        return std::distance(begin(files), end(files));
    }

private:
    TestSupport::CTemporaryFolder m_folder;
    platform::ManualClock m_clock;
    platform::ScopedClock m_scoped;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const CStage stage;
    const std::string bytes(data, data + size);
    std::filesystem::remove(stage.File());
    TestSupport::WriteFile(stage.File(), bytes);
    LxCColorCalibrationData record;
    if (!record.SerializeFromFile(stage.Folder(), L"c")) {
        Require(!record.IsColorCalibrationMatrixSet() && !record.IsReferenceDepthSet());
        Require(record.GetWhiteBalanceImg() == nullptr && record.GetCalibrationDate().IsNull());
        return 0;
    }
    const auto& matrix = record.GetColorCalibrationMatrix();
    Require(std::all_of(matrix.begin(), matrix.end(), [](float value) { return std::isfinite(value); }));
    Require(record.IsColorCalibrationDataValid() && size >= kFileBytes);
    const bool written = record.SerializeToFile(stage.Folder(), L"c");
    Require(written != record.IsColorCalibrationDataExpired());
    if (written) {
        const std::string expected =
            std::string(kVersion, kVersionBytes) + bytes.substr(kVersionBytes, kFileBytes - kVersionBytes);
        Require(TestSupport::ReadFile(stage.File()) == expected);
    }
    Require(stage.CountFiles() == 2);
    return 0;
}
