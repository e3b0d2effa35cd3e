// What the conversion of raw images works on.
#pragma once

#include "cctimage.h"
#include "lxcgpubasedata.h"
#include "lxcgpubuffer2d.h"
#include "orx/base/export.h"
#include "orx/gpgpu/icontext.h"

#include <memory>

namespace LxCV {

class LxCFrameGrabberReqs;
class LxCImageData;

/// A raw image in three bytes a pixel, which the conversion writes, in host memory and on the GPU, beside the images
/// of the measurement, which are shared. All memory is taken by `Init`. Stages use it one after the other; nothing
/// locks.
class ORX_EXPORT LxCRawProcessingData : public LxCGPUBaseData
{
public:
    LxCRawProcessingData() = default;
    LxCRawProcessingData(const LxCRawProcessingData&) = delete;
    LxCRawProcessingData& operator=(const LxCRawProcessingData&) = delete;

    /// Makes a black raw image of `rawWidth` by `rawHeight` and `eIDT_BGRU8`, and replaces an earlier one. With a
    /// context also the buffer of `LxCGPUBaseData`, and the raw image's planes. The image data stay.
    /// @param rawType  type of the camera's raw images; the raw image here does not depend on it
    /// @param context  may be null
    /// @param rawOnGPU whether raw images are converted on the GPU; without, they have no planes there
    /// @return `IsInitialized`: false, with a line in the log, for sizes below 1, or where the memory does not
    ///         suffice, also that of the GPU
    bool Init(int width, int height, int rawWidth, int rawHeight, CCTImage::EImageDataType rawType,
              std::shared_ptr<GPGPU::IContext> context, bool rawOnGPU);

    /// The same with the sizes and the raw type of a camera. @return also false for null requirements
    bool Init(const std::shared_ptr<const LxCFrameGrabberReqs>& requirements,
              std::shared_ptr<GPGPU::IContext> context, bool rawOnGPU);

    bool IsInitialized() const { return m_bInitialized; }

    /// The images of the measurement; null until they are set.
    std::shared_ptr<LxCImageData> GetImageData() const { return m_pImageData; }
    void SetImageData(std::shared_ptr<LxCImageData> imageData);

    CCTImage& GetRawImage() { return m_RawImage; }
    const CCTImage& GetRawImage() const { return m_RawImage; }

    /// Three planes of bytes of the raw image's size, blue, green and red; null where they were not made.
    std::shared_ptr<LxCGPUBuffer2D> GetRawImageGPU() const { return m_pRawImageGPU; }

private:
    std::shared_ptr<LxCImageData> m_pImageData;
    CCTImage m_RawImage;
    std::shared_ptr<LxCGPUBuffer2D> m_pRawImageGPU;
    bool m_bInitialized = false;
};

} // namespace LxCV
