#include "scanner/app/measurement.h"
#include "scanner/device/virtualdevice.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>

namespace app {
namespace {

TEST(ShippedModel, IsWhatTheVirtualDeviceWrites)
{
    std::ifstream file(LXCV_SOURCE_DIR "/data/virtualdevice.txt", std::ios::binary);
    ASSERT_TRUE(file);
    const std::string text(std::istreambuf_iterator<char>(file), {});
    EXPECT_TRUE(text == device::VirtualDevice().ParameterText(kModelRoot))
        << "write it anew: lumorad render --out FOLDER, then copy FOLDER/model.txt";
}

} // namespace
} // namespace app
