// What objects with data on a GPU have in common.
#pragma once

#include "cctimage.h"
#include "orx/base/export.h"
#include "orx/gpgpu/icontext.h"

#include <memory>

namespace LxCV {

class LxCFrameGrabberReqs;

/// Holds a temporary buffer on the GPU that is large enough for any image of a measurement.
class ORX_EXPORT LxCGPUBaseData
{
public:
    /// With a context, replaces the temporary buffer by one of width * height * 12 bytes, the size of a
    /// `eIDT_FLOAT32_3` image; without one, does nothing. The raw image's sizes and type are not used: a raw image is
    /// never the largest.
    /// @throws LxCGPUException "Could not create buffer!", with the earlier buffer kept, if the size is not positive
    ///         or more than the device holds; GPGPU::CException if the device fails in another way
    void Init(int width, int height, int rawWidth, int rawHeight, CCTImage::EImageDataType rawType,
              std::shared_ptr<GPGPU::IContext> context);

    /// The same with the sizes and the raw type of a camera's images; null requirements change nothing.
    void Init(const std::shared_ptr<const LxCFrameGrabberReqs>& reqs,
              std::shared_ptr<GPGPU::IContext> context);

    /// Null before `Init` with a context.
    std::shared_ptr<GPGPU::IBuffer> GetTempBuffer() const { return m_pTempBuffer; }

protected:
    LxCGPUBaseData() = default;
    ~LxCGPUBaseData() = default;

private:
    std::shared_ptr<GPGPU::IBuffer> m_pTempBuffer;
};

} // namespace LxCV
