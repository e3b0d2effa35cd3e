// What objects with data on a GPU have in common.
#include "lxcgpubasedata.h"

#include "lxcframegrabberreqs.h"
#include "lxcgpuexception.h"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <utility>

namespace LxCV {

void LxCGPUBaseData::Init(int width, int height, int /*rawWidth*/, int /*rawHeight*/,
                          CCTImage::EImageDataType /*rawType*/,
                          // NOLINTNEXTLINE(performance-unnecessary-value-param): the interface passes a copy
                          std::shared_ptr<GPGPU::IContext> context)
{
    if (context == nullptr) {
        return;
    }
    constexpr std::uint64_t c_bytesPerPixel = 12; // three floats
    const std::uint64_t pixels =
        width > 0 && height > 0 ? static_cast<std::uint64_t>(width) * static_cast<std::uint64_t>(height) : 0;
    constexpr std::uint64_t c_largest = std::numeric_limits<std::size_t>::max();
    const std::size_t size = pixels <= c_largest / c_bytesPerPixel ? pixels * c_bytesPerPixel : c_largest;
    std::shared_ptr<GPGPU::IBuffer> buffer = context->CreateBuffer(size);
    if (buffer == nullptr) {
        throw LxCGPUException("Could not create buffer!");
    }
    m_pTempBuffer = std::move(buffer);
}

void LxCGPUBaseData::Init(const std::shared_ptr<const LxCFrameGrabberReqs>& reqs,
                          std::shared_ptr<GPGPU::IContext> context)
{
    if (reqs != nullptr) {
        Init(reqs->GetWidth(), reqs->GetHeight(), reqs->GetWidthRaw(), reqs->GetHeightRaw(),
             reqs->GetImgTypeRaw(), std::move(context));
    }
}

} // namespace LxCV
