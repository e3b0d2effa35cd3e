#include "scanner/acquisition/rendering.h"

#include "scanner/acquisition/posetext.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace acquisition {

namespace {

void RenderPair(Rendering& rendering)
{
    device::RenderOptions options;
    options.seed = rendering.options.seed;
    options.noise = rendering.options.noise;
    rendering.pair = rendering.device->RenderPair(*rendering.scene, options);
}

void CheckMeshIsSeen(const Rendering& rendering)
{
    if (std::ranges::none_of(rendering.pair.truth.pixels, &device::PixelTruth::hit)) {
        throw std::runtime_error("the camera sees nothing of the mesh " +
                                 rendering.options.mesh->file.string() + " in the pose " +
                                 PoseText(rendering.mesh->GetPose()) +
                                 "; without a translation it stands in the middle of the view");
    }
}

} // namespace

Rendering Render(std::shared_ptr<const device::VirtualDevice> device, const PairOptions& options)
{
    if (!(options.noise >= 0.0 && options.noise <= kLargestNoise)) {
        throw std::invalid_argument("the noise must lie between 0 and 100");
    }
    Rendering rendering{options, std::move(device), nullptr, nullptr, {}};
    if (options.mesh) {
        const device::DeviceParameters& parameters = rendering.device->Parameters();
        rendering.mesh = device::LoadMeshScene(*options.mesh, parameters.minDepth, parameters.maxDepth);
        rendering.scene = rendering.mesh;
        rendering.options.scene = kMeshScene;
    } else {
        rendering.scene = device::MakeScene(options.scene);
    }
    RenderPair(rendering);
    if (rendering.mesh != nullptr) {
        CheckMeshIsSeen(rendering);
    }
    return rendering;
}

Rendering RenderAgain(const Rendering& rendering, std::uint64_t seed)
{
    Rendering other{rendering.options, rendering.device, rendering.scene, rendering.mesh, {}};
    other.options.seed = seed;
    RenderPair(other);
    return other;
}

} // namespace acquisition
