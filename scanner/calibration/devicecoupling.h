// The colours of the virtual device as the library's parameters of the decoding stage.
#pragma once

namespace LxCV {
class LxCColorCompSettings;
}
namespace device {
struct OpticsParameters;
}

namespace calibration {

/// Makes the coupling that of a device, as if it had been calibrated without error: what the sensor's colours take from
/// those of the projector.
void SetCoupling(const device::OpticsParameters& optics, LxCV::LxCColorCompSettings& settings);

} // namespace calibration
