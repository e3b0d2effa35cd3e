// Image pairs of the virtual device with all that is known of them.
#pragma once

#include "scanner/device/meshscene.h"
#include "scanner/device/scene.h"
#include "scanner/device/virtualdevice.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace acquisition {

inline constexpr double kLargestNoise = 100.0;

/// The name of a scene that comes from a mesh.
inline constexpr const char* kMeshScene = "mesh";

/// What to render.
struct PairOptions
{
    std::string scene = "molar"; ///< one of `device::SceneNames`; without meaning where there is a mesh
    std::optional<device::MeshSource> mesh; ///< instead of a scene with a name
    std::uint64_t seed = 1;
    double noise = 1.0; ///< factor on all noise, up to `kLargestNoise`; 0 for none, and no rounding
};

/// One image pair of a device, with its truth.
struct Rendering
{
    PairOptions options; ///< for a mesh its scene is `kMeshScene`
    std::shared_ptr<const device::VirtualDevice> device;
    std::shared_ptr<const device::Scene> scene;
    std::shared_ptr<const device::MeshScene> mesh; ///< the same scene where it comes from a mesh, else null
    device::RenderedPair pair;
};

/// @throws std::invalid_argument for an unknown scene or a noise out of range
/// @throws std::runtime_error naming a mesh that cannot be read, or of which the camera sees nothing
Rendering Render(std::shared_ptr<const device::VirtualDevice> device, const PairOptions& options);

/// The same scene once more, with the noise of another seed.
Rendering RenderAgain(const Rendering& rendering, std::uint64_t seed);

} // namespace acquisition
