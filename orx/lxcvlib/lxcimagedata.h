// The images of one measurement.
#pragma once

#include "cctimage.h"
#include "lxcgpubuffer2d.h"
#include "lxsframegrabbermetadata.h"
#include "orx/base/export.h"
#include "orx/gpgpu/icontext.h"
#include "orx/rtti/btrttiobject.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace LxCV {

class LxCFrameGrabberReqs;

/// The images of one measurement as the camera delivers them (raw) and as the decoding works on them (processed), in
/// host memory and on the GPU, with the record of how they were taken.
///
/// Index 0 is the pattern image, taken under the stripes, and index 1 the reference image, taken under white light;
/// a measurement without the second has one raw image. An index beyond `GetMaxNumRawImages` - 1, and any before
/// `Init`, gives null.
///
/// `Init` allocates; from then on the images are only written: `SetRawImages` allocates nothing unless texts of
/// images or metadata are longer than any before. The object owns its images, which live until the next `Init`,
/// `Release` or its end; GPU buffers are shared.
///
/// It is handed from stage to stage by a shared handle, the stages run one after the other, and nothing locks.
class ORX_EXPORT LxCImageData : public BtRTTIObject
{
public:
    /// Not initialised, without images.
    LxCImageData() = default;
    LxCImageData(const LxCImageData&) = delete;
    LxCImageData& operator=(const LxCImageData&) = delete;
    ~LxCImageData() override = default;

    static const BtRTTI& GetClassRTTI(); ///< registered as "LxCImageData"
    const BtRTTI& GetRTTI() const override;

    /// Allocates black images, and with a context GPU images beside the processed ones, and replaces what is there:
    /// raw images of `rawWidth` by `rawHeight` and `rawType`, processed images of `width` by `height` and
    /// `eIDT_FLOAT32_3`, and a live image cut of `eIDT_ARGB8`, which is narrower by the setting Boundary3DData. The
    /// shifted reference is left empty. Metadata and the number of raw images stay.
    /// @param context may be null; handles of GPU images are null then
    /// @return false, with a line in the log and without images, for sizes below 1, a type without pixels, or where
    ///         the memory does not suffice, also that of the GPU
    bool Init(int width, int height, int rawWidth, int rawHeight, std::shared_ptr<GPGPU::IContext> context,
              CCTImage::EImageDataType rawType);

    /// The same with the sizes and the raw type of a camera. @return also false for null requirements
    bool Init(const std::shared_ptr<const LxCFrameGrabberReqs>& requirements,
              std::shared_ptr<GPGPU::IContext> context);

    /// Frees images and GPU buffers; `IsInitialized` is false then. Sizes, type, number of raw images and metadata
    /// stay as they were.
    void Release();

    /// Copies the first images, at most `GetMaxNumRawImages`, into the raw images, as `CCTImage::CopyFrom` does
    /// without replicated border, with its exceptions; their number becomes the number of raw images. The forms with
    /// metadata copy these too.
    /// @return false, with a line in the log and nothing changed, before `Init` and for a null among the images or
    ///         handles; false, with the number unchanged, for an image with a size but no memory
    bool SetRawImages(const std::vector<CCTImage*>& images);
    bool SetRawImages(const std::vector<CCTImage*>& images, const LxSFrameGrabberMetaData& metaData);
    bool SetRawImages(const CCTImage* pattern, const CCTImage* reference);
    bool SetRawImages(const CCTImage* pattern, const CCTImage* reference,
                      const LxSFrameGrabberMetaData& metaData);
    bool SetRawImages(const CCTImage* pattern);
    bool SetRawImages(const CCTImage* pattern, const LxSFrameGrabberMetaData& metaData);
    bool SetRawImages(const std::shared_ptr<CCTImage>& pattern, const std::shared_ptr<CCTImage>& reference,
                      const std::shared_ptr<LxSFrameGrabberMetaData>& metaData);

    CCTImage* GetRawImg(std::size_t index) const { return At(m_vRawImages, index); }
    CCTImage* GetRawPatImg() const { return GetRawImg(sc_uiPattern); }
    CCTImage* GetFirstRawImg() const { return GetRawImg(sc_uiPattern); }
    CCTImage* GetRawRefImg() const { return GetRawImg(sc_uiReference); }
    CCTImage* GetSecondRawImg() const { return GetRawImg(sc_uiReference); }

    CCTImage* GetImg(std::size_t index) const { return At(m_vImages, index); }
    CCTImage* GetPatImg() const { return GetImg(sc_uiPattern); }
    CCTImage* GetFirstImg() const { return GetImg(sc_uiPattern); }
    CCTImage* GetRefImg() const { return GetImg(sc_uiReference); }
    CCTImage* GetSecondImg() const { return GetImg(sc_uiReference); }

    /// Three float planes of a processed image's size; null without a GPU context.
    std::shared_ptr<LxCGPUBuffer2D> GetGPUImg(std::size_t index) const
    {
        return index < m_vGPUImages.size() ? m_vGPUImages[index] : nullptr;
    }
    std::shared_ptr<LxCGPUBuffer2D> GetPatImgGPU() const { return GetGPUImg(sc_uiPattern); }
    std::shared_ptr<LxCGPUBuffer2D> GetFirstImgGPU() const { return GetGPUImg(sc_uiPattern); }
    std::shared_ptr<LxCGPUBuffer2D> GetRefImgGPU() const { return GetGPUImg(sc_uiReference); }
    std::shared_ptr<LxCGPUBuffer2D> GetSecondImgGPU() const { return GetGPUImg(sc_uiReference); }

    /// The part of the live image in which 3D data are measured.
    CCTImage& GetLiveImageCut() { return m_LiveImageCut; }
    const CCTImage& GetLiveImageCut() const { return m_LiveImageCut; }

    /// Three float planes of a processed image's size, for the whole live image; null without a GPU context.
    std::shared_ptr<LxCGPUBuffer2D> GetLiveImgFloatGPU() const { return m_pLiveImgFloatGPU; }

    /// The reference image after a shift that was computed elsewhere; empty until someone sizes it.
    CCTImage& GetExternShiftedRefImg() { return m_ExternShiftedRefImg; }
    const CCTImage& GetExternShiftedRefImg() const { return m_ExternShiftedRefImg; }

    LxSFrameGrabberMetaData& GetMetaData() { return m_MetaData; }
    const LxSFrameGrabberMetaData& GetMetaData() const { return m_MetaData; }

    /// How many raw images the present measurement has.
    std::uint64_t GetNumRawImages() const { return m_uiNumRawImages; }
    void SetNumRawImages(std::uint64_t number) { m_uiNumRawImages = number; }
    std::uint64_t GetMaxNumRawImages() const { return m_uiMaxNumRawImages; }

    /// Whether there are at least two raw images.
    bool GetRefImgAvailable() const { return m_uiNumRawImages > sc_uiReference; }

    int GetWidth() const { return m_iWidth; }                 ///< pixels, processed images
    int GetHeight() const { return m_iHeight; }               ///< pixels, processed images
    int GetRawDataWidth() const { return m_iRawDataWidth; }   ///< pixels
    int GetRawDataHeight() const { return m_iRawDataHeight; } ///< pixels
    CCTImage::EImageDataType GetRawImgDataType() const { return m_eRawImgDataType; }
    bool IsInitialized() const { return m_bInitialized; }

private:
    using Images = std::vector<std::unique_ptr<CCTImage>>;

    static constexpr std::size_t sc_uiPattern = 0;
    static constexpr std::size_t sc_uiReference = 1;

    static std::unique_ptr<BtRTTIObject> CreateByFactory();

    static CCTImage* At(const Images& images, std::size_t index)
    {
        return index < images.size() ? images[index].get() : nullptr;
    }

    bool CreateImages();
    bool CreateGPUImages(const std::shared_ptr<GPGPU::IContext>& context);
    void ReleaseGPUImages();
    bool CopyRawImages(std::span<const CCTImage* const> images);
    bool KeepMetaData(const LxSFrameGrabberMetaData& metaData);

    Images m_vRawImages;
    Images m_vImages; ///< processed, `eIDT_FLOAT32_3`
    std::vector<std::shared_ptr<LxCGPUBuffer2D>> m_vGPUImages;
    CCTImage m_LiveImageCut;
    std::shared_ptr<LxCGPUBuffer2D> m_pLiveImgFloatGPU;
    CCTImage m_ExternShiftedRefImg;
    LxSFrameGrabberMetaData m_MetaData;
    std::uint64_t m_uiNumRawImages = 0;
    std::int32_t m_iWidth = 0;         ///< pixels
    std::int32_t m_iHeight = 0;        ///< pixels
    std::int32_t m_iRawDataWidth = 0;  ///< pixels
    std::int32_t m_iRawDataHeight = 0; ///< pixels
    CCTImage::EImageDataType m_eRawImgDataType = CCTImage::eIDT_BGRU8;
    bool m_bInitialized = false;
    std::uint64_t m_uiMaxNumRawImages = 2;
};

} // namespace LxCV
