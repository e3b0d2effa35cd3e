// What the raw image of a camera is like, and how it becomes the colour image that the algorithms want.
#pragma once

#include "cctimage.h"
#include "orx/base/export.h"

#include <string>

namespace LxCV {

class LxCCCTSerializer;

/// The geometry of a camera's raw image and of the converted one, and the mounting constants of its sensors.
///
/// A camera with three sensors has one for each colour behind a prism; red and blue lie turned, scaled and shifted
/// against green, which is the reference. With c = cos(angle), n = sin(angle), a size factor s and the centre (cx, cy)
/// on the green sensor, red or blue shows at
///
///     u = (x * c + y * n) * s + cx - (n * cy + c * cx) * s + shiftCol
///     v = (y * c - x * n) * s + (n * cx - c * cy) * s + cy + shiftRow
///
/// what green shows at (x, y). Pixel (0, 0) is the centre of the top left pixel; angles are radians.
///
/// While nobody sets values, any number of threads may convert images, each into an image of its own.
class ORX_EXPORT LxCFrameGrabberReqs
{
public:
    LxCFrameGrabberReqs() = default;
    LxCFrameGrabberReqs(const LxCFrameGrabberReqs&) = default;
    LxCFrameGrabberReqs& operator=(const LxCFrameGrabberReqs&) = default;

    /// Writes or reads the mounting constants and the serial number under `section`. What a loaded text lacks
    /// stays as it is.
    virtual void Serialize(LxCCCTSerializer& serializer, const std::string& section);

    /// A quick picture for the screen, with channels shifted by whole pixels at most. `in` is a raw image, `out`
    /// one of the same size: with overlap correction `eIDT_ARGB8` or `eIDT_BGRU8`, without it `eIDT_ARGB8`. It is
    /// mirrored left to right, and takes the image type of `in`, only where there is no mirror tube.
    /// @return true; false for a null image
    /// Throws std::exception as `CCTImage::ConvertToARGB8`.
    virtual bool ComputePreliminaryLiveImages(CCTImage* in, CCTImage* out);

    /// Turns a raw image into `out`, an image of the same size: undoes the mirroring, corrects the overlap where that
    /// is switched on, and converts to the type of `out`, as `CCTImage::Convert` does. Image type, timestamp,
    /// description and pathname go along.
    ///
    /// An `eIDT_GRAY8` image takes the way of the mirrored ones, which only `eIDT_BGRU8` passes: the result is black,
    /// with a line in the log.
    /// Throws std::exception "invalid input" for a null image, and as `CCTImage::Convert`.
    virtual void ConvertImage(const CCTImage* in, CCTImage* out) const;

    virtual ~LxCFrameGrabberReqs() =
        default; // behind those above, whose places in the class's table are fixed

    /// Writes each channel of `out` with that of `in`, an `eIDT_BGRU8` image of the same type and size, mirrored by a
    /// `CCTImage::EMirrorMode` per colour. Another type of `in` leaves a line in the log, and `out` as it is.
    void MirrorRGBChannels(const CCTImage* in, CCTImage* out, int red, int green, int blue) const;

    /// Brings red and blue onto green, linear between pixels, and the nearest pixel beyond the outermost centres. `in`
    /// is `eIDT_BGRU8`, `out` `eIDT_FLOAT32_3` of the same size, and takes the image type. Values stay within 0 to 255.
    /// Other images leave a line in the log, and `out` as it is. Constants that are not finite give pixels of the
    /// border.
    void CorrectChannelOverlap(const CCTImage* in, CCTImage* out) const;

    /// Switches the overlap correction on or off, and sets the `CCTImage::EMirrorMode` of each channel.
    void SetMirrorChannelsSettings(bool correctOverlap, int red, int green, int blue);

    bool GetCorrectChannelOverlap() const { return m_bCorrectChannelOverlap; }
    int GetMirrorRChannel() const { return m_iMirrorRChannel; }
    int GetMirrorGChannel() const { return m_iMirrorGChannel; }
    int GetMirrorBChannel() const { return m_iMirrorBChannel; }

    /// Whether the scene reaches the camera through the mirror tube; without it the scene is seen mirrored.
    bool GetCCTMirrorTubeOn() const { return m_bCCTMirrorTubeOn; }
    void SetCCTMirrorTubeOn(bool on) { m_bCCTMirrorTubeOn = on; }

    const std::string& GetSerialNumber() const { return m_sSerialNumber; }
    void SetSerialNumber(const std::string& serialNumber) { m_sSerialNumber = serialNumber; }

    // Mounting constants: shifts and the centre in pixels, angles in radians, factors as 1 for equal size.
    float GetRImageShiftCol() const { return m_fRShiftCol; }
    void SetRImageShiftCol(float shift) { m_fRShiftCol = shift; }
    float GetRImageShiftRow() const { return m_fRShiftRow; }
    void SetRImageShiftRow(float shift) { m_fRShiftRow = shift; }
    float GetRImageAngle() const { return m_fRAngle; }
    void SetRImageAngle(float angle) { m_fRAngle = angle; }
    float GetRSizeFactor() const { return m_fRSizeFactor; }
    void SetRSizeFactor(float factor) { m_fRSizeFactor = factor; }
    float GetGCenterCol() const { return m_fGCenterCol; }
    void SetGCenterCol(float col) { m_fGCenterCol = col; }
    float GetGCenterRow() const { return m_fGCenterRow; }
    void SetGCenterRow(float row) { m_fGCenterRow = row; }
    float GetBImageShiftCol() const { return m_fBShiftCol; }
    void SetBImageShiftCol(float shift) { m_fBShiftCol = shift; }
    float GetBImageShiftRow() const { return m_fBShiftRow; }
    void SetBImageShiftRow(float shift) { m_fBShiftRow = shift; }
    float GetBImageAngle() const { return m_fBAngle; }
    void SetBImageAngle(float angle) { m_fBAngle = angle; }
    float GetBSizeFactor() const { return m_fBSizeFactor; }
    void SetBSizeFactor(float factor) { m_fBSizeFactor = factor; }

    // The image as the driver delivers it, in pixels and bytes.
    int GetWidthRaw() const { return m_iWidthRaw; }
    void setWidthRaw(int width) { m_iWidthRaw = width; }
    int GetHeightRaw() const { return m_iHeightRaw; }
    void setHeightRaw(int height) { m_iHeightRaw = height; }
    int GetBytesPerPixelRaw() const { return m_iBytesPerPixelRaw; }
    void setBytesPerPixelRaw(int bytes) { m_iBytesPerPixelRaw = bytes; }
    CCTImage::EImageDataType GetImgTypeRaw() const { return m_eImgTypeRaw; }
    void setImgTypeRaw(CCTImage::EImageDataType type) { m_eImgTypeRaw = type; }

    // The image after conversion.
    int GetWidth() const { return m_iWidth; }
    void setWidth(int width) { m_iWidth = width; }
    int GetHeight() const { return m_iHeight; }
    void setHeight(int height) { m_iHeight = height; }
    CCTImage::EImageDataType GetImgType() const { return m_eImgType; }
    void setImgType(CCTImage::EImageDataType type) { m_eImgType = type; }

private:
    static constexpr int sc_iDefaultWidth = 658;  ///< pixels
    static constexpr int sc_iDefaultHeight = 494; ///< pixels

    bool HasMirroredChannel() const;
    void ConvertAligned(const CCTImage& in, CCTImage& out) const;
    void ConvertUnmirrored(const CCTImage& in, CCTImage& out) const;

    std::string m_sSerialNumber = "unknown";
    float m_fRShiftCol = 0.0F;
    float m_fRShiftRow = 0.0F;
    float m_fRAngle = 0.0F;
    float m_fRSizeFactor = 1.0F;
    float m_fGCenterCol = 0.0F; ///< centre of rotation and scale
    float m_fGCenterRow = 0.0F;
    float m_fBShiftCol = 0.0F;
    float m_fBShiftRow = 0.0F;
    float m_fBAngle = 0.0F;
    float m_fBSizeFactor = 1.0F;
    bool m_bCorrectChannelOverlap = false;
    int m_iMirrorRChannel = CCTImage::eMM_None;
    int m_iMirrorGChannel = CCTImage::eMM_None;
    int m_iMirrorBChannel = CCTImage::eMM_None;
    bool m_bCCTMirrorTubeOn = true;
    int m_iWidthRaw = sc_iDefaultWidth;
    int m_iHeightRaw = sc_iDefaultHeight;
    int m_iBytesPerPixelRaw = 3;
    CCTImage::EImageDataType m_eImgTypeRaw = CCTImage::eIDT_BGRU8;
    int m_iWidth = sc_iDefaultWidth;
    int m_iHeight = sc_iDefaultHeight;
    CCTImage::EImageDataType m_eImgType = CCTImage::eIDT_FLOAT32_3;
};

} // namespace LxCV
