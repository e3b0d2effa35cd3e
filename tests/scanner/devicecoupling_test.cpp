#include "scanner/calibration/devicecoupling.h"

#include "lxccolorcompsettings.h"
#include "lxccolorvaluefloat.h"
#include "scanner/device/virtualdevice.h"

#include <gtest/gtest.h>

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

} // namespace
} // namespace calibration
