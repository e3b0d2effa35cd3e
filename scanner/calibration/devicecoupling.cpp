// From rows by the sensor's colour to coefficients by the colour that is taken from.
#include "scanner/calibration/devicecoupling.h"

#include "lxccolorcompsettings.h"
#include "scanner/device/virtualdevice.h"

#include <cstddef>

namespace calibration {

void SetCoupling(const device::OpticsParameters& optics, LxCV::LxCColorCompSettings& settings)
{
    constexpr std::size_t blue = 0, green = 1, red = 2;
    const auto share = [&optics](std::size_t from, std::size_t to) {
        return static_cast<float>(optics.crosstalk[to][from]);
    };
    settings.SetCameraProjectorCoupling(share(red, red), share(red, green), share(red, blue),
                                        share(green, red), share(green, green), share(green, blue),
                                        share(blue, red), share(blue, green), share(blue, blue));
}

} // namespace calibration
