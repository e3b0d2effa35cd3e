// A complete colour calibration and a clock that stands still, for the tests of colour calibrations.
#pragma once

#include "cctimage.h"
#include "lxccolorcalibrationdata.h"
#include "orx/platform/clock.h"
#include "orx/platform/unicode.h"
#include "tests/support/temporaryfolder.h"

#include <chrono>
#include <memory>
#include <string>

namespace LxCV::TestSupport {

inline std::chrono::system_clock::time_point At(int year, unsigned month, unsigned day)
{
    return std::chrono::sys_days(std::chrono::year(year) / std::chrono::month(month) / std::chrono::day(day));
}

/// The clock stands at 15 March 2024, 00:00 UTC.
class CCalendar
{
public:
    CCalendar() : m_Scoped(m_Clock) { Set(2024, 3, 15); }
    void Set(int year, unsigned month, unsigned day) { m_Clock.SetNow(At(year, month, day)); }
    void Advance(std::chrono::milliseconds time) { m_Clock.Advance(time); }

private:
    platform::ManualClock m_Clock;
    platform::ScopedClock m_Scoped;
};

/// Whole grey levels that differ in every channel and pixel of a small image.
inline CCTImage WhiteImage(int width = 5, int height = 3)
{
    CCTImage image(width, height, CCTImage::eIDT_FLOAT32_3, 0.0F);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const auto level = static_cast<float>((20 * y + 3 * x) % 250);
            const LxCFloat3 colour(level, level + 1.0F, level + 2.0F);
            image.SetPixel(x, y, &colour);
        }
    }
    return image;
}

constexpr LxCColorCalibrationData::Matrix c_SomeMatrix = {1.5F, -0.25F, 0.125F, 3.0F, 0.0F, 1.25F,
                                                          0.5F, -4.0F,  -0.5F,  0.1F, 2.0F, 1e-3F};

inline void Fill(LxCColorCalibrationData& data)
{
    data.SetColorCalibrationMatrix(c_SomeMatrix);
    data.SetShutterTimeCorrectionFactor(1.75F);
    data.SetColorCalibrationShutterTime(12.5F);
    data.SetReferenceDepth(33.7F);
    const CCTImage white = WhiteImage();
    data.SetWhiteBalanceImg(&white);
}

/// The folder as the path text that records take.
inline std::wstring FolderText(const ::TestSupport::CTemporaryFolder& folder)
{
    return platform::WidenUtf8(folder.GetPath().string()) + L"/";
}

} // namespace LxCV::TestSupport
