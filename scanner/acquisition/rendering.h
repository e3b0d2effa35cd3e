// Image pairs of the virtual device with all that is known of them.
#pragma once

#include "scanner/device/scene.h"
#include "scanner/device/virtualdevice.h"

#include <cstdint>
#include <memory>
#include <string>

namespace acquisition {

inline constexpr double kLargestNoise = 100.0;

/// What to render.
struct PairOptions
{
    std::string scene = "molar"; ///< one of `device::SceneNames`
    std::uint64_t seed = 1;
    double noise = 1.0; ///< factor on all noise, up to `kLargestNoise`; 0 for none, and no rounding
};

/// One image pair of a device, with its truth.
struct Rendering
{
    PairOptions options;
    std::shared_ptr<const device::VirtualDevice> device;
    std::shared_ptr<const device::Scene> scene;
    device::RenderedPair pair;
};

/// @throws std::invalid_argument for an unknown scene or a noise out of range
Rendering Render(std::shared_ptr<const device::VirtualDevice> device, const PairOptions& options);

} // namespace acquisition
