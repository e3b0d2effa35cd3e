#include "scanner/calibration/devicecoupling.h"

#include "lxccctserializer.h"
#include "lxccolorcompsettings.h"
#include "lxccolorvaluefloat.h"
#include "scanner/device/virtualdevice.h"

#include <gtest/gtest.h>

#include <array>
#include <sstream>

namespace calibration {
namespace {

using LxCV::LxCColorValueFloat;

TEST(DeviceCoupling, MapsTheProjectorsLightToWhatTheSensorTakes)
{
    device::OpticsParameters optics;
    optics.crosstalk = {device::Colour{0.5, 0.25, 0.125}, device::Colour{0.0625, 0.75, 0.03125},
                        device::Colour{0.375, 0.1875, 0.875}};
    LxCV::LxCColorCompSettings settings;
    SetCoupling(optics, settings);
    const LxCColorValueFloat light(32.0F, 64.0F, 128.0F); // red, green, blue
    LxCColorValueFloat taken;
    settings.GetCameraProjectorCoupling()->TransformColor(light, taken);
    EXPECT_EQ(taken.GetBlue(), 0.5F * 128.0F + 0.25F * 64.0F + 0.125F * 32.0F);
    EXPECT_EQ(taken.GetGreen(), 0.0625F * 128.0F + 0.75F * 64.0F + 0.03125F * 32.0F);
    EXPECT_EQ(taken.GetRed(), 0.375F * 128.0F + 0.1875F * 64.0F + 0.875F * 32.0F);
}

TEST(DeviceCoupling, IsWhatTheDevicesParameterTextTells)
{
    const auto valuesOf = [](const LxCV::LxCCameraProjectorCoupling& coupling) {
        std::array<float, 9> a{};
        coupling.GetValues(a[0], a[1], a[2], a[3], a[4], a[5], a[6], a[7], a[8]);
        return a;
    };
    const device::VirtualDevice device;
    LxCV::LxCColorCompSettings settings;
    SetCoupling(device.Parameters().optics, settings);
    std::stringstream text(device.ParameterText("::S"));
    LxCV::LxCCCTSerializer serializer;
    serializer.ReadFromStringStream(text);
    ASSERT_TRUE(serializer.Init(false, false));
    LxCV::LxCCameraProjectorCoupling told;
    told.Serialize(serializer, "::S::LxCCCLAlgoConfig::CameraProjectorCoupling");
    EXPECT_EQ(valuesOf(told), valuesOf(*settings.GetCameraProjectorCoupling()));
    EXPECT_NE(valuesOf(told), valuesOf({}));
}

} // namespace
} // namespace calibration
