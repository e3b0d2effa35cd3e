// A two-dimensional buffer of channels on a GPU.
#include "lxcgpubuffer2d.h"

#include "lxcgpuexception.h"

#include <limits>
#include <stdexcept>
#include <utility>

namespace LxCV {

namespace {

unsigned int PixelSizeOf(EGPUPixelType type)
{
    const auto index = static_cast<std::size_t>(type);
    return index < LxCGPUBuffer2D::c_uiPixelSizes.size() ? LxCGPUBuffer2D::c_uiPixelSizes[index] : 0;
}

} // namespace

LxCGPUBuffer2D::LxCGPUBuffer2D(std::shared_ptr<GPGPU::IContext> context, EGPUPixelType type,
                               unsigned int width, unsigned int height, unsigned int channels)
    : m_pContext(std::move(context)), m_uiPixelSize(PixelSizeOf(type)), m_uiWidth(width), m_uiHeight(height),
      m_ePixelType(type)
{
    constexpr const char* c_sNoBuffer = "Could not create buffer!";
    const std::size_t largest = std::numeric_limits<std::size_t>::max();
    // The product of two numbers of 32 bits always fits; that with the pixel size may not.
    if (m_uiPixelSize > 0 && getSizeInPixels() > largest / m_uiPixelSize) {
        throw LxCGPUException(c_sNoBuffer);
    }
    const std::size_t planeSize = getSizePerChannelInBytes();
    if (channels > 0 && (m_pContext == nullptr || planeSize > m_pContext->GetMemorySize() / channels)) {
        throw LxCGPUException(c_sNoBuffer);
    }
    for (unsigned int channel = 0; channel < channels; ++channel) {
        std::shared_ptr<GPGPU::IBuffer> plane = m_pContext->CreateBuffer(planeSize);
        if (plane == nullptr) {
            throw LxCGPUException(c_sNoBuffer);
        }
        m_vPlanes.push_back(std::move(plane));
    }
}

std::shared_ptr<GPGPU::IBuffer> LxCGPUBuffer2D::getBufferHandle(std::size_t channel) const
{
    if (channel >= m_vPlanes.size()) {
        throw std::out_of_range("Invalid channel index!");
    }
    return m_vPlanes[channel];
}

bool LxCGPUBuffer2D::sizeEqual(const LxCGPUBuffer2D& other) const
{
    return m_uiWidth == other.m_uiWidth && m_uiHeight == other.m_uiHeight;
}

bool LxCGPUBuffer2D::sizeAndTypeEqual(const LxCGPUBuffer2D& other) const
{
    return sizeEqual(other) && m_ePixelType == other.m_ePixelType;
}

} // namespace LxCV
