// The working images of the stripe decoding.
#pragma once

#include "cctimage.h"
#include "lxcgpubasedata.h"
#include "lxcgpubuffer2d.h"
#include "orx/base/export.h"
#include "orx/gpgpu/icontext.h"

#include <array>
#include <cstddef>
#include <memory>

namespace LxCV {

class LxCFrameGrabberReqs;
class LxCImageData;

/// Working images for the decoding stage, which gives them their meaning, beside the images of the measurement,
/// which are shared. For images of w by h pixels there are
///
///     index     size         type
///     0 to 3    w by h       `eIDT_FLOAT32_3`
///     4         w/2 by h/2   `eIDT_FLOAT32_3`
///     5         w by h       `eIDT_FLOAT32_3`
///     6, 7      w by h       `eIDT_ARGB8`
///     8, 9      w/2 by h/2   `eIDT_FLOAT32_3`
///     10        w/2 by h/2   `eIDT_ARGB8`
///
/// with halves rounded down, three images that the decoding stage sizes itself, and one last image of w by h pixels
/// and `eIDT_ARGB8`. The images of `eIDT_ARGB8` carry packed words: extrema, edge positions, symbols.
///
/// `Init` takes all memory but that of the three. Stages use the object one after the other; nothing locks.
class ORX_EXPORT LxCCCLAlgoData : public LxCGPUBaseData
{
public:
    static constexpr std::size_t sc_uiNumWorkImages = 11;
    static constexpr std::size_t sc_uiNumFreeImages = 3;

    LxCCCLAlgoData() = default;
    LxCCCLAlgoData(const LxCCCLAlgoData&) = delete;
    LxCCCLAlgoData& operator=(const LxCCCLAlgoData&) = delete;

    /// Sizes and clears the working images and the last image. With a context also makes the buffer of
    /// `LxCGPUBaseData`, and a GPU image beside each working image. The three free images and the image data stay.
    /// @param rawWidth, rawHeight, rawType tell the camera's raw images; no working image depends on them
    /// @param context   may be null
    /// @param lastImage not null: of `width` by `height` pixels and `eIDT_ARGB8`; the last image takes its pixels
    /// @return `IsInitialized`: false, with a line in the log, for sizes below 1, a last image that does not fit, or
    ///         where the memory does not suffice, also that of the GPU
    bool Init(int width, int height, int rawWidth, int rawHeight, CCTImage::EImageDataType rawType,
              std::shared_ptr<GPGPU::IContext> context, const CCTImage* lastImage);

    /// The same with the sizes and the raw type of a camera, and a cleared last image.
    /// @return also false for null requirements
    bool Init(const std::shared_ptr<const LxCFrameGrabberReqs>& requirements,
              std::shared_ptr<GPGPU::IContext> context);

    bool IsInitialized() const { return m_bInitialized; }

    /// The images of the measurement; null until they are set.
    std::shared_ptr<LxCImageData> GetImageData() const { return m_pImageData; }
    void SetImageData(std::shared_ptr<LxCImageData> imageData);

    /// A working image; null for an index beyond them.
    CCTImage* GetWorkImg(std::size_t index)
    {
        return index < m_aWorkImages.size() ? &m_aWorkImages[index] : nullptr;
    }
    const CCTImage* GetWorkImg(std::size_t index) const
    {
        return index < m_aWorkImages.size() ? &m_aWorkImages[index] : nullptr;
    }

    /// An image that the decoding stage sizes, empty until then; null for an index beyond them.
    CCTImage* GetFreeImg(std::size_t index)
    {
        return index < m_aFreeImages.size() ? &m_aFreeImages[index] : nullptr;
    }

    /// The GPU image beside a working image: three float planes beside `eIDT_FLOAT32_3`, one plane of words beside
    /// `eIDT_ARGB8`. Null without a context, and for an index beyond them.
    std::shared_ptr<LxCGPUBuffer2D> GetWorkImgGPU(std::size_t index) const
    {
        return index < m_aWorkImagesGPU.size() ? m_aWorkImagesGPU[index] : nullptr;
    }

    CCTImage& GetLastImg() { return m_LastImage; }
    const CCTImage& GetLastImg() const { return m_LastImage; }

private:
    bool ResizeImages(int width, int height);
    bool FillLastImage(const CCTImage* source);
    bool CreateGPUImages(int width, int height, int rawWidth, int rawHeight, CCTImage::EImageDataType rawType,
                         const std::shared_ptr<GPGPU::IContext>& context);

    std::array<CCTImage, sc_uiNumWorkImages> m_aWorkImages;
    std::array<CCTImage, sc_uiNumFreeImages> m_aFreeImages;
    std::array<std::shared_ptr<LxCGPUBuffer2D>, sc_uiNumWorkImages> m_aWorkImagesGPU;
    CCTImage m_LastImage;
    std::shared_ptr<LxCImageData> m_pImageData;
    bool m_bInitialized = false;
};

} // namespace LxCV
