#include "scanner/app/measurement.h"
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

} // namespace
} // namespace app
