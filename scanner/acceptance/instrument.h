// A virtual device with the decoder that measures for it.
#pragma once

#include "scanner/acceptance/accuracy.h"
#include "scanner/decoder/decoder.h"
#include "scanner/device/virtualdevice.h"

#include <functional>
#include <memory>
#include <span>
#include <vector>

namespace LxCV {
class LxCPinholeFramework;
}

namespace acceptance {

/// A point of a scan record.
struct RecordedPoint
{
    device::Vec3 position; ///< mm, camera frame
    device::Vec2 image;    ///< pixels, where the camera sees it
};

/// What one image pair gave.
struct Reading
{
    std::vector<RecordedPoint> points;
    Accuracy accuracy; ///< zeros where the truth was not asked for
};

/// Runs the whole chain: images of the device, decoder with the device's own parameter set and the coupling of its
/// colours, scan record.
class Instrument
{
public:
    /// @throws std::invalid_argument for parameters that describe no device, std::runtime_error where the library does
    ///         not take its parameter set
    explicit Instrument(const device::DeviceParameters& parameters = device::DeviceParameters(),
                        const decoder::DecoderConfig& config = {});
    ~Instrument();

    const device::VirtualDevice& Device() const { return m_device; }

    /// Calls `take` with what each exposure of a scene gave, in their order.
    /// @param isCompared whether readings are compared with the truth, which takes time
    void Observe(const device::Scene& scene, std::span<const device::Exposure> exposures, bool isCompared,
                 const std::function<void(const Reading&)>& take);

    /// What a pair of the device gives.
    /// @param scene of the pair's truth
    /// @param pair  with its truth where it is compared
    Reading Measure(const device::Scene& scene, device::RenderedPair& pair, bool isCompared);

    /// With all steps of the last measurement.
    const decoder::Decoder& GetDecoder() const { return m_decoder; }

private:
    device::VirtualDevice m_device;
    std::unique_ptr<const LxCV::LxCPinholeFramework> m_model;
    decoder::Decoder m_decoder;
};

} // namespace acceptance
