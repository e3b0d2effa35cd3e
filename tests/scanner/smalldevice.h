// A small virtual device for quick tests.
#pragma once

#include "scanner/device/virtualdevice.h"

namespace device {

/// The default device with a window of `width` by `height` pixels cut out of its image around the axis.
inline DeviceParameters SmallDevice(int width, int height)
{
    DeviceParameters parameters;
    parameters.camera.width = width;
    parameters.camera.height = height;
    parameters.camera.centreX = 0.5 * width - 0.7;
    parameters.camera.centreY = 0.5 * height + 0.2;
    return parameters;
}

/// Options without noise.
inline RenderOptions NoiseFree()
{
    RenderOptions options;
    options.noise = 0.0;
    return options;
}

} // namespace device
