#include "scanner/app/truthfiles.h"

#include "scanner/app/colourimage.h"
#include "scanner/app/filecontent.h"
#include "scanner/app/pointcloud.h"

#include <bit>
#include <cstddef>
#include <fstream>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

namespace app {

namespace {

static_assert(std::endian::native == std::endian::little, "floats are written as they stand in memory");

/// A grey PFM file has its lowest row first; the negative scale tells the order of its bytes.
void WritePfm(const std::filesystem::path& file, const device::GroundTruth& truth)
{
    std::ofstream stream(file, std::ios::binary);
    stream << "Pf\n" << std::to_string(truth.width) << " " << std::to_string(truth.height) << "\n-1.0\n";
    std::vector<float> line(static_cast<std::size_t>(truth.width));
    for (int row = truth.height - 1; row >= 0; --row) {
        for (int col = 0; col < truth.width; ++col) {
            const device::PixelTruth& pixel = truth.At(col, row);
            line[static_cast<std::size_t>(col)] = pixel.hit ? static_cast<float>(pixel.pointInCamera.z)
                                                            : std::numeric_limits<float>::quiet_NaN();
        }
        stream.write(reinterpret_cast<const char*>(line.data()),
                     static_cast<std::streamsize>(line.size() * sizeof(float)));
    }
    stream.close();
    if (!stream) {
        throw WriteFailure(file);
    }
}

std::vector<CloudPoint> VisibleSurface(const device::RenderedPair& pair)
{
    const ColourImage colours =
        ColourImage::FromBgr(pair.reference.width, pair.reference.height, pair.reference.data);
    std::vector<CloudPoint> points;
    for (int row = 0; row < pair.truth.height; ++row) {
        for (int col = 0; col < pair.truth.width; ++col) {
            const device::PixelTruth& pixel = pair.truth.At(col, row);
            if (pixel.hit) {
                const device::Vec3& at = pixel.pointInCamera;
                points.push_back({{at.x, at.y, at.z}, col, static_cast<double>(row), colours.At(col, row)});
            }
        }
    }
    return points;
}

} // namespace

void WriteTruth(const acquisition::Rendering& rendering, const std::filesystem::path& out)
{
    WritePfm(out / "depth.pfm", rendering.pair.truth);
    WritePly(out / "truth.ply", VisibleSurface(rendering.pair));
}

} // namespace app
