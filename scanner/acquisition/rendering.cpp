#include "scanner/acquisition/rendering.h"

#include "scanner/acquisition/posetext.h"

#include <algorithm>
#include <iomanip>
#include <locale>
#include <sstream>
#include <stdexcept>
#include <string>
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

/// Width, height and depth as they stand before the camera, to three digits.
std::string SizeText(const device::MeshScene& mesh)
{
    const device::Vec3 size = mesh.GetHighest() - mesh.GetLowest();
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text << std::setprecision(3) << size.x << " by " << size.y << " by " << size.z << " mm";
    return text.str();
}

void CheckMeshIsSeen(const Rendering& rendering)
{
    if (std::ranges::any_of(rendering.pair.truth.pixels, &device::PixelTruth::hit)) {
        return;
    }
    // What stands in the middle of the view and is not seen falls between the pixels.
    const char* const remedy =
        rendering.options.mesh->pose.translation
            ? "; without a translation it stands in the middle of the view"
            : "; of a file that is not in mm give the scale, 1000 for metres and 25.4 for inches";
    throw std::runtime_error("the camera sees nothing of the mesh " + rendering.options.mesh->file.string() +
                             ", " + SizeText(*rendering.mesh) + ", in the pose " +
                             PoseText(rendering.options.mesh->pose) + remedy);
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
