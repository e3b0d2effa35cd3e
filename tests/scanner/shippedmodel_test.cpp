#include "lxcpinholeframework.h"
#include "scanner/app/measurement.h"
#include "scanner/calibration/modelcheck.h"
#include "scanner/calibration/modelreading.h"
#include "scanner/device/virtualdevice.h"
#include "tests/support/temporaryfolder.h"

#include <gtest/gtest.h>

#include <string>

namespace app {
namespace {

TEST(ShippedModel, IsWhatTheVirtualDeviceWrites)
{
    const std::string text = TestSupport::ReadFile(LXCV_SOURCE_DIR "/data/virtualdevice.txt");
    EXPECT_TRUE(text == device::VirtualDevice().ParameterText(kModelRoot))
        << "write it anew: lumorad render --out FOLDER, then copy FOLDER/model.txt";
}

TEST(ShippedModel, ReadAndWrittenByTheLibraryIsTheSame)
{
    const std::string text = TestSupport::ReadFile(LXCV_SOURCE_DIR "/data/virtualdevice.txt");
    const auto model = calibration::ReadModel(text, kModelRoot);
    EXPECT_TRUE(model->IsCalibrated());
    EXPECT_TRUE(calibration::WriteModel(*model, kModelRoot) == text);
}

TEST(ShippedModel, OfTheSlideWithBrightMarksIsTheSameReadAndWritten)
{
    device::DeviceParameters parameters;
    parameters.slide = device::SlideWithBrightMarks();
    const std::string text = device::VirtualDevice(parameters).ParameterText(kModelRoot);
    EXPECT_TRUE(calibration::WriteModel(*calibration::ReadModel(text, kModelRoot), kModelRoot) == text);
}

TEST(ShippedModel, IsSound)
{
    const std::string text = TestSupport::ReadFile(LXCV_SOURCE_DIR "/data/virtualdevice.txt");
    EXPECT_TRUE(calibration::CheckModel(text, kModelRoot).empty());
}

} // namespace
} // namespace app
