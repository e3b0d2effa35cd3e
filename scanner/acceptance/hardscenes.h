// Scenes that are hard to measure, and what is wrong with the points that they give.
#pragma once

#include "scanner/decoder/decoderconfig.h"
#include "scanner/device/virtualdevice.h"

#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace acceptance {

struct HardScene
{
    std::string name;
    std::shared_ptr<const device::Scene> scene;       ///< that the pattern image sees
    std::shared_ptr<const device::Scene> atReference; ///< that the reference image sees; null: the same
    device::OpticsParameters optics;
};

/// Occlusion, grazing sight, highlights, too much light, motion between both images, and no object at all.
std::vector<HardScene> HardScenes();

/// Points of one kind. The error of a point is its distance from the place that the camera sees there, or, where that is
/// more than 0.2 mm, from the nearest one that it sees within a pixel: at a border that is the nearer one of two surfaces.
struct PointErrors
{
    std::size_t points = 0;
    std::size_t wrong = 0;  ///< with a wrong edge number, see `Accuracy`
    std::size_t ghosts = 0; ///< with an error of more than 0.2 mm, or where the camera sees nothing
    double rmsMm = 0.0;     ///< of the errors
    double worstMm = 0.0;
};

struct HardFigures
{
    PointErrors all;
    PointErrors unlit;   ///< with nothing that the projector lights within 2 pixels of them
    PointErrors clipped; ///< with a reference at the upper end of its scale beside them, in any channel
    PointErrors moved;   ///< where the two images see different places
    double coverage = 0.0;
};

/// The figures of a scene for each exposure. The errors are those against what the pattern image sees.
/// @param parameters of the device, whose optics are replaced
/// @param config     of the decoder, whose coupling is replaced by that of the device
std::vector<HardFigures> MeasureHardScene(const HardScene& scene, device::DeviceParameters parameters,
                                          std::span<const device::Exposure> exposures,
                                          const decoder::DecoderConfig& config = {});

} // namespace acceptance
