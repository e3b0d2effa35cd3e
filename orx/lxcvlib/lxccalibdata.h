// The working images of one calibration step.
#pragma once

#include "cctimage.h"
#include "orx/base/export.h"

#include <memory>
#include <string>
#include <vector>

namespace LxCV {

class LxCFrameGrabberReqs;

/// Twenty-five images of one size, owned, that camera and projector calibration fill and read, with the flags
/// that belong to them. Empty until `Init`.
///
/// Copies are deep, those of images that wrap foreign memory too. Moving exchanges: a moved-from object is as
/// default-constructed, or as the target of the assignment was, and can be used again. No locks.
class ORX_EXPORT LxCCalibData
{
public:
    /// The images, by the numbers that they go by. In brackets the pixel type that `Init` gives.
    enum EImage : int
    {
        eCamImage = 1,           ///< camera image of the target, the input [eIDT_FLOAT32_3]
        eCamImageSmoothed = 2,   ///< the same, smoothed [eIDT_FLOAT32_3]
        eCamMask = 3,            ///< [eIDT_ARGB8]
        eCamDebugImage = 4,      ///< [eIDT_ARGB8]
        eCamGradientVer = 5,     ///< vertical gradient sum of the smoothed image [eIDT_FLOAT32]
        eCamGradientHor = 6,     ///< horizontal gradient sum of the smoothed image [eIDT_FLOAT32]
        eCamHorEdges = 7,        ///< `LxCCalibEdge` words of horizontal edges [eIDT_INT32]
        eCamVerEdges = 8,        ///< `LxCCalibEdge` words of vertical edges [eIDT_INT32]
        eCamVerIds = 9,          ///< `LxCCalibId` words of vertical edges [eIDT_INT32]
        eCamHorIds = 10,         ///< `LxCCalibId` words of horizontal edges [eIDT_INT32]
        eCamSpare1 = 11,         ///< [eIDT_ARGB8]
        eCamSpare2 = 12,         ///< [eIDT_ARGB8]
        eCamSpare3 = 13,         ///< [eIDT_ARGB8]
        eProjImage = 14,         ///< projector slide image, the input [eIDT_FLOAT32_3]
        eProjImageSmoothed = 15, ///< the same, smoothed [eIDT_FLOAT32_3]
        eProjMask = 16,          ///< [eIDT_ARGB8]
        eProjDebugImage = 17,    ///< [eIDT_ARGB8]
        eProjGradient = 18,      ///< [eIDT_FLOAT32]
        eProjHorEdges = 19,      ///< [eIDT_INT32]
        eProjVerEdges = 20,      ///< [eIDT_INT32]
        eProjVerIds = 21,        ///< [eIDT_INT32]
        eProjHorIds = 22,        ///< [eIDT_INT32]
        eProjSpare1 = 23,        ///< [eIDT_ARGB8]
        eProjSpare2 = 24,        ///< [eIDT_ARGB8]
        eProjSpare3 = 25         ///< [eIDT_ARGB8]
    };

    LxCCalibData();
    LxCCalibData(const LxCCalibData& other);
    LxCCalibData(LxCCalibData&& other) noexcept;
    LxCCalibData& operator=(const LxCCalibData& other);
    LxCCalibData& operator=(LxCCalibData&& other) noexcept;
    ~LxCCalibData() = default;

    /// Gives every image its type and this size, all pixels zero; clears both mask flags, sets the bit depth of
    /// the last spare image to 8 and the initialised flag. A size below 0 counts as 0.
    void Init(int width, int height);

    /// The same with the size of a camera's converted images; null requirements change nothing.
    void Init(const std::shared_ptr<const LxCFrameGrabberReqs>& reqs);

    bool IsInitialized() const { return m_bInitialized; }

    /// @throws std::out_of_range for a number that is none of `EImage`
    CCTImage& GetImage(EImage image);
    const CCTImage& GetImage(EImage image) const;

    /// Whether the camera mask, respectively the projector mask, is in use.
    bool IsCamMaskInUse() const { return m_bCamMaskInUse; }
    void SetCamMaskInUse(bool inUse) { m_bCamMaskInUse = inUse; }
    bool IsProjMaskInUse() const { return m_bProjMaskInUse; }
    void SetProjMaskInUse(bool inUse) { m_bProjMaskInUse = inUse; }

    /// Saves debug pictures, edges, ids and the projector's mask, each by `CCTImage::Save` under the base with a suffix
    /// such as "_HorEdgeImgCam". Where the base ends in the extension of an image file (see
    /// `CCTImage::IsValidFilename`), the suffix stands before that; any other point belongs to the name.
    /// @return 0, else the result of the first image that could not be saved; the others are saved nevertheless
    CCTImage::EReturnCode DumpAllImages(const std::wstring& base) const;

    /// The bits per channel of `eProjSpare3`: 8 after `Init`, 0 before.
    int GetBitDepth() const { return m_iBitDepth; }

private:
    void Swap(LxCCalibData& other) noexcept;

    std::vector<CCTImage> m_vImages; ///< the image of number n at n - 1; always all of them
    bool m_bCamMaskInUse = false;
    bool m_bProjMaskInUse = false;
    bool m_bInitialized = false;
    int m_iBitDepth = 0;
};

} // namespace LxCV
