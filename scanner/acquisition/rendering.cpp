#include "scanner/acquisition/rendering.h"

#include <stdexcept>
#include <utility>

namespace acquisition {

Rendering Render(std::shared_ptr<const device::VirtualDevice> device, const PairOptions& options)
{
    if (!(options.noise >= 0.0 && options.noise <= kLargestNoise)) {
        throw std::invalid_argument("the noise must lie between 0 and 100");
    }
    Rendering rendering{options, std::move(device), device::MakeScene(options.scene), {}};
    device::RenderOptions renderOptions;
    renderOptions.seed = options.seed;
    renderOptions.noise = options.noise;
    rendering.pair = rendering.device->RenderPair(*rendering.scene, renderOptions);
    return rendering;
}

} // namespace acquisition
