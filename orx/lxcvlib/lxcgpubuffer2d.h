// A two-dimensional buffer of channels on a GPU.
#pragma once

#include "orx/base/export.h"
#include "orx/gpgpu/icontext.h"

#include <array>
#include <cstddef>
#include <memory>
#include <vector>

namespace LxCV {

/// Type of an element of a plane; the order of the values is that of `LxCGPUBuffer2D::c_uiPixelSizes`.
enum EGPUPixelType : int
{
    eGPT_UInt8 = 0,
    eGPT_UInt16 = 1,
    eGPT_UInt32 = 2,
    eGPT_Int32 = 3,
    eGPT_Float32 = 4,
    eGPT_Float64 = 5
};

/// One plane of width * height elements a channel, each in a device buffer of its own without padding between rows.
/// Its elements are not defined until they are written. The planes keep their context alive; one pipeline uses them
/// at a time.
class ORX_EXPORT LxCGPUBuffer2D
{
public:
    /// Bytes of an element, by `EGPUPixelType`.
    static constexpr std::array<unsigned int, 6> c_uiPixelSizes{1, 2, 4, 4, 4, 8};

    /// @param width,height elements
    /// @throws LxCGPUException "Could not create buffer!" if a plane is empty or more than the device holds, or with
    ///         channels but no context; GPGPU::CException if the device fails in another way
    LxCGPUBuffer2D(std::shared_ptr<GPGPU::IContext> context, EGPUPixelType type, unsigned int width,
                   unsigned int height, unsigned int channels);

    LxCGPUBuffer2D(const LxCGPUBuffer2D&) = delete;
    LxCGPUBuffer2D& operator=(const LxCGPUBuffer2D&) = delete;

    /// The plane of a channel. Throws std::out_of_range "Invalid channel index!".
    std::shared_ptr<GPGPU::IBuffer> getBufferHandle(std::size_t channel) const;

    unsigned int GetPixelSize() const { return m_uiPixelSize; } ///< bytes of an element
    unsigned int GetWidth() const { return m_uiWidth; }
    unsigned int GetHeight() const { return m_uiHeight; }
    EGPUPixelType GetPixelType() const { return m_ePixelType; }

    std::size_t getNrChannels() const { return m_vPlanes.size(); }
    std::size_t getSizeInPixels() const { return std::size_t{m_uiWidth} * m_uiHeight; }
    std::size_t getSizePerChannelInBytes() const { return getSizeInPixels() * m_uiPixelSize; }
    std::size_t getSizeInBytes() const { return getNrChannels() * getSizePerChannelInBytes(); }

    bool sizeEqual(const LxCGPUBuffer2D& other) const;

    /// The number of channels may differ.
    bool sizeAndTypeEqual(const LxCGPUBuffer2D& other) const;

private:
    std::shared_ptr<GPGPU::IContext> m_pContext;
    std::vector<std::shared_ptr<GPGPU::IBuffer>> m_vPlanes;
    unsigned int m_uiPixelSize; ///< bytes; 0 for a type that does not exist
    unsigned int m_uiWidth;
    unsigned int m_uiHeight;
    EGPUPixelType m_ePixelType;
};

} // namespace LxCV
