// Hands the images of a scan to the kernels.
#include "lxcorxipalgorithm.h"

#include "lxsscandata.h"
#include "normalkernels.h"
#include "orx/logging/logger.h"
#include "pixelelements.h"

#include <algorithm>
#include <array>

namespace LxCV {

namespace {

const Logging::CLogger s_Logger(L"ORX.Lumorad.LxCORXIPAlgorithm");

/// Whether an image has the pixels of another one's size, each of that many bytes.
bool Fits(const CCTImage& image, const CCTImage& points, int bytesPerPixel)
{
    return image.IsValid() && image.GetBytesPerPixel() == bytesPerPixel && image.DoDimMatchWith(points);
}

} // namespace

LxCORXIPAlgorithm::~LxCORXIPAlgorithm() = default;

std::atomic<long>& LxCORXIPAlgorithm::getReferenceCounter()
{
    return IReferenceCounted::getReferenceCounter();
}

bool LxCORXIPAlgorithm::ComputeNormals(const LxSScanData* scan) const
{
    if (scan == nullptr) {
        return true;
    }
    const std::array<CCTImage*, 4> images = {scan->Get3DPoints(), scan->GetValidMask(), scan->GetNormals(),
                                             scan->GetNormalMask()};
    if (std::ranges::any_of(images, [](const CCTImage* image) {
            return image == nullptr || image->GetSizeInPixels() == 0;
        })) {
        return true;
    }
    const auto [points, mask, normals, normalMask] = images;
    if (!Fits(*points, *points, sizeof(LxCFloat3)) || !Fits(*mask, *points, 1) ||
        !Fits(*normals, *points, sizeof(LxCFloat3)) || !Fits(*normalMask, *points, 1)) {
        s_Logger.Error(L"LxCORXIPAlgorithm::ComputeNormals: the images differ in size.\n");
        return true;
    }
    NormalKernels::SGrid grid;
    grid.lineLength = static_cast<std::size_t>(points->GetHeight());
    grid.points = ElementsOf<LxCFloat3>(*points);
    grid.mask = ElementsOf<std::uint8_t>(*mask);
    grid.normals = ElementsOf<LxCFloat3>(*normals);
    grid.normalMask = ElementsOf<std::uint8_t>(*normalMask);
    scan->SetNumValidPoints(static_cast<int>(NormalKernels::ComputeNormals(grid)));
    return true;
}

} // namespace LxCV
