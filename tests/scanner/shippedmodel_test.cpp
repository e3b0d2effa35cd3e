#include "lxcpinholeframework.h"
#include "scanner/app/measurement.h"
#include "scanner/calibration/algorithmtext.h"
#include "scanner/calibration/modelcheck.h"
#include "scanner/calibration/modelreading.h"
#include "scanner/calibration/modeltext.h"
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

/// What the library writes of the model in a text, and the text's algorithm configuration, which is no part of it.
std::string Rewritten(const std::string& text)
{
    const auto model = calibration::ReadModel(text, kModelRoot);
    EXPECT_TRUE(model->IsCalibrated());
    const std::string algorithm = calibration::AlgorithmTextOf(calibration::SplitModelText(text));
    EXPECT_TRUE(algorithm.starts_with("::MV3DCamBase::LxCCCLAlgoConfig::CameraProjectorCoupling\nArr="));
    return calibration::WriteModel(*model, kModelRoot) + algorithm;
}

TEST(ShippedModel, ReadAndWrittenByTheLibraryIsTheSame)
{
    const std::string text = TestSupport::ReadFile(LXCV_SOURCE_DIR "/data/virtualdevice.txt");
    EXPECT_TRUE(Rewritten(text) == text);
}

TEST(ShippedModel, OfTheSlideWithBrightMarksIsTheSameReadAndWritten)
{
    device::DeviceParameters parameters;
    parameters.slide = device::SlideWithBrightMarks();
    const std::string text = device::VirtualDevice(parameters).ParameterText(kModelRoot);
    EXPECT_TRUE(Rewritten(text) == text);
}

TEST(ShippedModel, IsSound)
{
    const std::string text = TestSupport::ReadFile(LXCV_SOURCE_DIR "/data/virtualdevice.txt");
    EXPECT_TRUE(calibration::CheckModel(text, kModelRoot).empty());
}

} // namespace
} // namespace app
