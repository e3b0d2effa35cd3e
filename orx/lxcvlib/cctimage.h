// The image type of the library.
#pragma once

#include "lxccolorvaluefloat.h"
#include "lxcfloat3.h"
#include "orx/base/export.h"
#include "orx/base/iimagedata2dsimple.h"

#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <span>
#include <string>
#include <vector>

namespace platform {
class CArchive;
struct CPixels;
} // namespace platform

namespace LxCV {

class LxCColorValueARGB8;
class LxCEllipse;
class LxCRoi;

namespace ImageKernels {
struct SExtent;
}

/// A row-major, gapless, two-dimensional buffer of pixels whose type is chosen at run time.
///
/// Pixel (x, y) starts at byte (width * y + x) * bytesPerPixel; pixel (0, 0) is the top left one. Pixel data
/// are little-endian.
///
/// An image is empty, or owns its buffer, or wraps a buffer that it was handed and that must outlive it. An
/// owned buffer starts at a multiple of `sc_iAlignment` bytes. Wrapping ends only by `Resize`, also by that of an
/// assignment.
///
/// Invariant: width, height and pixel size are not negative, and each product of them, a factor of zero left
/// out, fits an int. A size beyond that counts as an allocation failure.
///
/// Many threads may read an image at once; a writer must have it alone.
class ORX_EXPORT CCTImage : public Base::IImageData2DSimple
{
public:
    /// Type of a pixel; the numbers are part of files and of other modules.
    enum EImageDataType : int
    {
        eIDT_Undefined = 0,
        eIDT_ARGB8 = 1, ///< packed 32 bits: blue in the low byte, then green, red, alpha
        eIDT_BGRU8 = 2, ///< three bytes: blue, green, red
        eIDT_UINT32 = 3,
        eIDT_INT32 = 4, ///< also carries the packed 32-bit pixel formats
        eIDT_UINT16 = 5,
        eIDT_INT16 = 6,
        eIDT_UINT8 = 7,
        eIDT_INT8 = 8,
        eIDT_FLOAT32 = 9,
        eIDT_FLOAT64 = 10,
        eIDT_FLOAT32_3 = 11, ///< a `LxCFloat3`; of a colour, blue is element 0
        eIDT_GRAY8 = 12      ///< one byte of grey that stands for a colour image
    };

    /// A second classification, free for callers but for the two depth maps.
    enum EImageType : int
    {
        eIT_Default = 0,
        eIT_Depthmap = 1,
        eIT_DepthmapSecondary = 2
    };

    /// Result of image operations; callers compare the numbers and pass them on.
    enum EReturnCode : int
    {
        eRC_OK = 0,
        eRC_Failed = 1,           ///< an image pointer is null, or the operation is impossible on this image
        eRC_InvalidArgument = 2,  ///< negative size; coordinates or dimensions that do not fit
        eRC_FileNotFound = 3,     ///< the file to load does not exist
        eRC_FileTypeMismatch = 6, ///< the data type cannot be written to the requested file format
        eRC_UnsupportedType = 8,  ///< the data type or file format is not handled by this operation
        eRC_SizeMismatch = 9,     ///< two images, or an image and a block, differ in size or pixel size
        eRC_OutOfMemory = 10,     ///< allocation failed
        eRC_OutOfImage = 11,      ///< coordinates lie outside the image
        eRC_WrongFormat = 12,     ///< the source's data type cannot be converted to what is asked
        eRC_NoData = 13,          ///< a statistic found no pixels to work on
        eRC_ImageConflict = 14,   ///< input and working image conflict
        eRC_NullPointer = 15,     ///< pixel data are null, or an argument of a filter is not usable
        eRC_Exception = 17,       ///< an exception was caught
        eRC_InvalidKernel = 18    ///< the kernel size is not a positive odd number
    };

    /// Filters that smooth an image.
    enum ESmoothingMode : int
    {
        eSM_None = 0,
        eSM_Gaussian = 1,
        eSM_Blur = 2
    };

    /// Which grey a colour becomes; b, g, r are the pixel's channels, and fractions are dropped.
    enum EConversionMode : int
    {
        eCM_Blue = 0,
        eCM_Green = 1,
        eCM_Red = 2,
        eCM_Weighted = 3, ///< (b + 2 * g + r) / 4
        eCM_Mean = 4,     ///< (b + g + r) / 3
        eCM_Luma = 5      ///< (29 * b + 150 * g + 77 * r + 128) / 256, the luma of ITU-R BT.601
    };

    /// What `MirrorChannel` does; the numbers are part of camera settings.
    enum EMirrorMode : int
    {
        eMM_None = 0,
        eMM_LeftRight = 1, ///< the first column becomes the last one
        eMM_UpDown = 2     ///< the first row becomes the last one
    };

    /// Statistics of one channel within a region; pixels that are not a number are left out.
    struct SChannelStatistics
    {
        double dMean = 0.0;
        double dSigma = 0.0; ///< root of the mean squared difference from the mean
        double dMin = 0.0;
        double dMax = 0.0;
        int iOvermodulated = 0; ///< pixels at full scale: 255 or more, for wider integers their largest value
    };

    /// Of a colour image three channels, in the order blue, green, red and without alpha; of another one one.
    struct SStatistics
    {
        int iChannels = 0;
        std::array<SChannelStatistics, 3> aChannels{};
    };

    static constexpr std::size_t sc_iAlignment = 64; ///< bytes; serves the widest vector loads

    /// The empty image.
    CCTImage() = default;

    /// An owning copy, also of a wrapping image; a source that has a size but no memory gives zeros. The id
    /// is not copied. Throws std::exception "allocate failed"; also, as `CopyFrom` does, "new image type has
    /// different pixel size" for an image that a failed allocation has left with a type but no pixels.
    CCTImage(const CCTImage& source);

    /// Allocates and fills every pixel of a `eIDT_FLOAT32_3` image with (value, value, value). A pixel of
    /// another type takes the first bytes of that triple. A width or height below 1 becomes 0. Throws
    /// std::exception "image allocation failed".
    CCTImage(int width, int height, EImageDataType type, float value);

    /// The same with (first, second, third).
    CCTImage(int width, int height, EImageDataType type, float first, float second, float third);

    /// Allocates, leaving the pixels as they are and ignoring `data`; or wraps `data`, which the caller keeps
    /// and which must hold width * height pixels, aligned for their elements. A width or height below 1
    /// becomes 0. A wrapped null is an image without pixels. Throws std::exception "image allocation failed",
    /// also for a wrapped size that no int can tell.
    CCTImage(int width, int height, EImageDataType type, bool allocateMemory, void* data);

    /// The image of a file, as `Load` reads it. Throws std::exception "failed to load image".
    explicit CCTImage(const std::string& path);
    explicit CCTImage(const std::wstring& path);

    /// A flag in the place of the fill value is a forgotten fifth argument.
    template <std::same_as<bool> Flag>
    CCTImage(int width, int height, EImageDataType type, Flag allocateMemory) = delete;

    ~CCTImage() override;

    /// From an image that owns its pixels: copies them, after a `Resize` where width, height or pixel size
    /// differ; where that fails, this image is left without pixels. From a wrapping or empty image: becomes
    /// another wrapper of the same memory, and frees the buffer that it owned, unless the source wraps that
    /// very buffer: then this image goes on owning it. Takes data type, image type, id, timestamp and texts.
    CCTImage& operator=(const CCTImage& source);

    /// The element quotients of two `eIDT_FLOAT32_3` images of one size, those above 255 set to 255. Images
    /// that differ in size or type, or are of another type, give an image of this one's size and type with
    /// all bytes 0. Throws std::exception "image allocation failed".
    CCTImage operator/(const CCTImage& divisor) const;

    /// A new image of the same size and type, which the caller owns; without `sizeOnly` also with the same
    /// pixels and texts, else with pixels as they were allocated.
    /// @return 0; 1 for a null `copy`; with `*copy` null, 10 where it cannot be made and 15 where this image
    ///         has a size but no memory
    EReturnCode CreateCopy(CCTImage** copy, bool sizeOnly) const;

    void* GetImageDataRaw() override { return m_pBuffer; }
    const void* GetImageDataRaw() const override { return m_pBuffer; }
    int BytePerPixel() const override { return m_iBytesPerPixel; }
    int BytesPerLine() const override { return m_iWidth * m_iBytesPerPixel; }
    int GetWidth() const override { return m_iWidth; }
    int GetHeight() const override { return m_iHeight; }

    /// Byte 0 of pixel (0, 0), null while empty; the image keeps ownership.
    void* GetBuffer() { return m_pBuffer; }
    const void* GetBuffer() const { return m_pBuffer; }

    int GetBytesPerPixel() const { return m_iBytesPerPixel; }

    /// Bytes of a pixel of the type; 0 for `eIDT_Undefined` and unknown types.
    static int GetBytesPerPixel(EImageDataType type);

    EImageDataType GetDataType() const { return m_eDataType; }

    /// Reinterprets the pixels; nothing is converted. Throws std::exception "new image type has different
    /// pixel size".
    void SetDataType(EImageDataType type);

    EImageType GetType() const { return m_eImageType; }
    void SetType(EImageType type) { m_eImageType = type; }

    /// Channels of a pixel; 0 for an undefined type.
    int GetNumChannels() const { return m_iNumChannels; }

    int GetSizeInPixels() const { return m_iWidth * m_iHeight; }
    int GetSizeInBytes() const { return GetSizeInPixels() * m_iBytesPerPixel; }

    /// Whether there is at least one byte of pixels.
    bool IsValid() const { return m_pBuffer != nullptr && GetSizeInBytes() > 0; }

    /// Whether a pixel holds several channels. Throws std::exception "logic error" for an undefined type.
    bool IsColor() const;

    /// The negation of `IsColor`, with its exception.
    bool IsGrayScale() const { return !IsColor(); }

    /// Whether the type is no colour type. Deliberately unlike `IsGrayScale`, an undefined type counts as
    /// black and white, and nothing is thrown.
    bool IsBW() const;

    bool IsDepthmap() const;

    bool DoDimMatchWith(const CCTImage& other) const;        ///< width and height
    bool DoBPPAndDimMatchWith(const CCTImage& other) const;  ///< pixel size, width and height
    bool DoTypeAndDimMatchWith(const CCTImage& other) const; ///< data type, width and height

    /// Whether margin <= x < width - margin, and so for y.
    bool CoordsAreValid(int x, int y, int margin = 0) const { return AreInside<std::int64_t>(x, y, margin); }
    bool CoordsAreValid(float x, float y, int margin = 0) const { return AreInside(x, y, margin); }
    bool CoordsAreValid(double x, double y, int margin = 0) const { return AreInside(x, y, margin); }

    /// Copies one pixel to `out`. Outside the image `out` is cleared.
    /// @return 0, 11 outside the image, 15 for a null `out`
    EReturnCode GetPixel(int x, int y, void* out) const;

    /// Copies one pixel from `in`. @return 0, 11 outside the image, 15 for a null `in`; then nothing is
    /// written
    EReturnCode SetPixel(int x, int y, const void* in);

    /// Writes the lowest bytes of `value`, the pixel's further bytes as 0. @return 0, or 11 outside the image
    EReturnCode SetPixel(int x, int y, unsigned long value);

    // The operations from here to the last SetFloatPixelFast are for inner loops: they test neither coordinates
    // nor types. The caller answers for a pixel inside the image and of the size that the name tells.

    EReturnCode GetPixelFast(int x, int y, void* out) const
    {
        std::memcpy(out, PixelAddress(x, y), static_cast<std::size_t>(m_iBytesPerPixel));
        return eRC_OK;
    }
    void SetPixelFast(int x, int y, const void* in)
    {
        std::memcpy(PixelAddress(x, y), in, static_cast<std::size_t>(m_iBytesPerPixel));
    }

    signed char& GetBytePixelFast(int x, int y) { return Element<signed char>(x, y); }
    const signed char& GetBytePixelFast(int x, int y) const { return Element<signed char>(x, y); }
    short& GetInt16PixelFast(int x, int y) { return Element<short>(x, y); }
    const short& GetInt16PixelFast(int x, int y) const { return Element<short>(x, y); }
    int& GetInt32PixelFast(int x, int y) { return Element<int>(x, y); }
    const int& GetInt32PixelFast(int x, int y) const { return Element<int>(x, y); }
    float& GetFloatPixelFast(int x, int y) { return Element<float>(x, y); }
    const float& GetFloatPixelFast(int x, int y) const { return Element<float>(x, y); }
    LxCFloat3& GetFloat3Fast(int x, int y) { return Element<LxCFloat3>(x, y); }
    const LxCFloat3& GetFloat3Fast(int x, int y) const { return Element<LxCFloat3>(x, y); }

    void SetBytePixelFast(int x, int y, signed char value) { Store(PixelAddress(x, y), value); }
    void SetInt16PixelFast(int x, int y, short value) { Store(PixelAddress(x, y), value); }
    void SetInt32PixelFast(int x, int y, int value) { Store(PixelAddress(x, y), value); }
    void SetFloatPixelFast(int x, int y, float value) { Store(PixelAddress(x, y), value); }
    void SetFloat3PixelFast(int x, int y, const LxCFloat3& value) { Store(PixelAddress(x, y), value); }

    /// Writes the 32-bit element number (width * y + x) * channels + channel.
    void SetFloatPixelFast(int x, int y, int channel, float value)
    {
        const std::ptrdiff_t element = PixelIndex(x, y) * m_iNumChannels + channel;
        Store(m_pBuffer + element * static_cast<std::ptrdiff_t>(sizeof(float)), value);
    }

    /// One pixel of this image's type as an integer: the sum of the colour channels, floating-point values
    /// truncated towards zero. A float beyond int gives the nearest int, one that is not a number 0.
    /// `eIDT_BGRU8` is not summed up: like any pixel of an unknown type, it is read as an unsigned number if
    /// it is 1, 2 or 4 bytes large, and gives 0 otherwise.
    /// @param converted if not null, set to whether there was a pixel of a size that can be read
    /// @return 1 for a null pixel
    int ConvertPixToInt(const void* pixel, bool* converted = nullptr) const;

    /// The pixel at a place between pixel centres, linear between its four neighbours, channel by channel.
    /// Integers are rounded to the nearest, halves upwards.
    /// @param x, y  pixels; 0 <= x <= width - 1, and so for y
    /// @param pixel receives a pixel of this image's type; untouched on failure
    /// @return 0; 11 outside the image and for a coordinate that is no number; 15 for a null `pixel`; 8 for an
    ///         undefined type
    EReturnCode GetSubPixelLinearInterpol(double x, double y, void* pixel) const;

    /// The pixel as text with two decimals, colours as red, green, blue. Types without a text form give
    /// "unsupported image type". @return 0, or 2 with "invalid coords" outside the image
    EReturnCode PrintPixel(int x, int y, std::string& out) const;

    /// Sets all bytes of the pixels to zero, owned or not.
    void Clear();

    /// Gives the image a size and, unless `type` is `eIDT_Undefined`, a type, and clears all pixels, also
    /// where the size stays. A negative size counts as 0. A wrapped buffer is left alone, with a line in the
    /// log; the image then owns a new one.
    /// @return 0, or 10 with the image left without pixels and the data type unchanged
    EReturnCode Resize(int width, int height, EImageDataType type = eIDT_Undefined);

    /// Copies pixels, data type, image type, timestamp and texts. A source that is smaller by even numbers is
    /// placed in the middle, and the border takes the nearest source pixels or, without `replicateBorder`,
    /// zeros. Throws std::exception "CCTImage::CopyFrom - Size mismatch: ..." for a source that is larger or
    /// has another pixel size, "CCTImage::CopyFrom - Size of destination image not allowed!" for an odd
    /// difference, and "new image type has different pixel size".
    /// @return 0, 1 for a null source, 15 where either image has a size but no memory
    EReturnCode CopyFrom(const CCTImage* source, bool replicateBorder);

    /// Copies pixels from `data`, whose size must be the image's.
    /// @return 0, 9 for another size, 15 for null data; then nothing is written
    EReturnCode CopyDataFrom(const void* data, int width, int height, int bytesPerPixel);

    // Conversion, channels, thresholds, statistics and arithmetic. Unless said otherwise, they return 0; 1 for a
    // null image, 8 for pixels of a type that they do not handle, 9 for an image of a size that does not fit, and
    // 15 for one with a size but no memory; images are then left as they were. They write pixels, but neither
    // image type nor timestamp and texts. A target may be this image; other images do not share memory in part.

    /// Converts to the target's data type: as `ConvertToARGB8`, `ConvertToBGRU8` or `ConvertToFloat` with the
    /// same flag. To `eIDT_UINT8` and `eIDT_GRAY8`, an `eIDT_ARGB8` image as `ConvertToGrayscale` with
    /// `eCM_Weighted`, and an image of either of the two as `CopyFrom` without replicated border, exceptions and
    /// data type included. Deliberately, any other image then returns 0 and leaves the target alone. Throws
    /// std::exception "CCTImage::Convert - unsupported type" for a target of another type.
    EReturnCode Convert(CCTImage* target, bool resize) const;

    /// Greys of an `eIDT_ARGB8` or `eIDT_BGRU8` image in the upper left of an `eIDT_UINT8` or `eIDT_GRAY8`
    /// target; what the target has more becomes 0.
    /// @return also 12 for an image of another type, 2 for an unknown mode, 9 for a target that is smaller
    EReturnCode ConvertToGrayscale(CCTImage* target, EConversionMode mode) const;

    /// Converts `eIDT_ARGB8`, `eIDT_BGRU8`, `eIDT_UINT8`, `eIDT_GRAY8`, `eIDT_FLOAT32` and `eIDT_FLOAT32_3`
    /// images to a colour of bytes. Grey goes to all channels; floats are rounded, halves upwards, and clamped to
    /// 0 to 255; alpha becomes 0, but is kept from `eIDT_ARGB8` to `eIDT_ARGB8`. The image comes to lie in the
    /// upper left of the target; what the target has more becomes 0.
    /// @param resize gives the target this image's size and the result's type first, whatever it was, with the
    ///        return codes of `Resize`
    /// @return also 12 for an image of another type, 9 for a target that is smaller
    /// Throws std::exception "CCTImage::ConvertToARGB8 -> wrong type of destination image", respectively
    /// "CCTImage::ConvertToBGRU8 -> wrong type of destination image", for a target that keeps another type.
    EReturnCode ConvertToARGB8(CCTImage* target, bool resize) const;
    EReturnCode ConvertToBGRU8(CCTImage* target, bool resize) const;

    /// The same to floats of equal value: colours and `eIDT_GRAY8` to `eIDT_FLOAT32_3`, all other types to
    /// `eIDT_FLOAT32`. @return also 12 for a target that keeps the other one of these two types
    /// Throws std::exception "CCTImage::ConvertToFloat -> wrong type of destination image" for a target that
    /// keeps another type.
    EReturnCode ConvertToFloat(CCTImage* target, bool resize) const;

    /// A grey picture of one channel in a colour form: all channels of the target, `eIDT_ARGB8`, `eIDT_BGRU8` or
    /// `eIDT_FLOAT32_3` of this image's size, take that channel of this image, of a grey image its only one.
    /// Values are converted as by `ConvertToBGRU8` and `ConvertToFloat`; alpha becomes 0.
    /// @return also 12 for an image that `ConvertToBGRU8` does not take, 2 for an unknown channel
    EReturnCode CreateRGBFromSingleChannel(CCTImage* target, LxCColorValueFloat::EColor channel) const;

    /// A bitmap as screens and image files take it, of the image or a grey one of its green channel: 32-bit pixels
    /// (`platform::EPixelFormat::eBgra8`), opaque, the top row first. Values are converted as by `ConvertToARGB8`;
    /// of a grey image its only channel counts as green.
    /// @param bitmap replaced; the caller's own
    /// @return also 12 for an image that `ConvertToARGB8` does not take, 10
    EReturnCode CreateBitmap(platform::CPixels* bitmap) const;
    EReturnCode CreateBitmapFromGreenChannel(platform::CPixels* bitmap) const;

    /// Copies an `eIDT_ARGB8` image to a target of the same type and size, with alpha 255.
    /// @return also 12 for an image of another type
    EReturnCode MakeOpaque(CCTImage* target) const;

    /// Writes one channel of the target, an image of the same type and size, with that of this image, mirrored by
    /// an `EMirrorMode`; the other channels stay. @param channel element of the pixel, counted from 0
    /// @return also 12 for a target of another type, 2 for a channel that the pixels do not have, and for an
    ///         unknown mode, with a line in the log
    EReturnCode MirrorChannel(CCTImage* target, int channel, int mode) const;

    /// Mirrors one channel in its place. The two other forms take only images of float elements, respectively of
    /// unsigned bytes, and return 8 otherwise.
    EReturnCode MirrorChannelInPlace(int channel, int mode);
    EReturnCode MirrorChannelInPlaceFloat(int channel, int mode);
    EReturnCode MirrorChannelInPlaceUInt8(int channel, int mode);

    /// Shifts red and blue against green by whole pixels: target pixel (x, y) takes its red from pixel
    /// (x + redCols, y + redRows) of this image, its blue likewise, and its green from (x, y). Places outside the
    /// image take the nearest pixel. Images and targets are `eIDT_ARGB8` or `eIDT_BGRU8` of the same size; alpha
    /// becomes 255.
    EReturnCode ShiftImageChannels(CCTImage* target, int redCols, int redRows, int blueCols,
                                   int blueRows) const;

    /// The same for an image whose red channel is mirrored left to right first, and its green and blue channels
    /// top to bottom, as cameras deliver them whose red sensor looks through one mirror more.
    EReturnCode ShiftAndMirrorImageChannels(CCTImage* target, int redCols, int redRows, int blueCols,
                                            int blueRows) const;

    /// Raises saturation, 0 to 1, and value, 0 to 255 scaled to 1, of each pixel in HSV space to the powers
    /// `sGamma` and `vGamma`, and keeps hue and alpha. Images are `eIDT_ARGB8`, `eIDT_BGRU8` or `eIDT_FLOAT32_3`,
    /// targets of the same type and size. Channels that are negative or not a number count as 0.
    /// @return also 12 for a target of another type, 2 for a gamma that is not above 0 and finite
    EReturnCode CorrectGammaInHSV(CCTImage* target, float sGamma, float vGamma) const;

    /// Joins each two by two pixels, channel by channel, into one; an odd last column or row is left out. The
    /// target has half the width, half the height and the same pixel size, and takes the data type.
    /// @param sum whether to add the four, clamped to what the type holds, or to take their mean, rounded with
    ///        halves upwards
    /// @return also 8 for a target of another size
    EReturnCode Bin4To1(CCTImage* target, bool sum) const;

    /// Writes each target pixel with the pixel at `highPixel` or at `lowPixel`, which are of the target's type.
    /// Where `eIDT_UINT8` and `eIDT_GRAY8` images have targets of one byte a pixel, and `eIDT_UINT32` and
    /// `eIDT_INT32` images targets of four, a value above the threshold is high, and one equal to it is low. For
    /// all other pairs the value is that of `ConvertPixToInt`, and one equal to the threshold is, deliberately,
    /// high. @return also 1 for a null pixel
    EReturnCode ApplyThreshold(CCTImage* target, int threshold, const void* lowPixel,
                               const void* highPixel) const;

    /// The same, by `ConvertPixToInt`, with a threshold for each pixel: the mean of the window around it, as far
    /// as that lies inside the image, plus `offset`; a value below it is low, any other high.
    /// @param windowSize pixels of a side, odd
    /// @return also 14 for a target of the same size and pixel size, as callers rely on: the target's pixels are
    ///         of another size; 18 for a window that is not positive and odd
    EReturnCode ApplyAdaptiveThreshold(CCTImage* target, const void* lowPixel, const void* highPixel,
                                       int windowSize = 31, int offset = 0) const;

    /// Sets all bytes of the pixels to zero where the pixel of `mask`, an image of any type and the same size, is
    /// 0, or, with `invert`, where it is not. A mask pixel is 0 if all its channels but alpha are.
    EReturnCode ApplyMask(const CCTImage* mask, bool invert);

    // Filters. What they share: the target is another image of this one's pixel size, width and height, and its
    // pixels alone are written; a border repeats the nearest pixel. @return 0; 15 for a null target, one that is
    // this image, and where an image has a size but no memory; 9 for another size; 8 for a type other than
    // `eIDT_FLOAT32_3`; then nothing is written

    /// Smooths with a Gaussian or a mean over a square of 3, 5, 7, 9 or 11 pixels; `eSM_None` copies by
    /// `CopyFrom`, whatever the kernel and the type.
    /// @return also 15 for another kernel or mode. What the kernel, the mode, the type or one image for two does
    ///         not allow leaves a line in the log; so it does in `Sobel`
    EReturnCode Smooth(CCTImage* target, ESmoothingMode mode, int kernelX, int kernelY) const;

    /// Binomial weights along both axes, those of 3 pixels 1/4, 1/2, 1/4.
    EReturnCode SmoothGauss3x3(CCTImage* target) const { return SmoothGauss(1, target); }
    EReturnCode SmoothGauss5x5(CCTImage* target) const { return SmoothGauss(2, target); }
    EReturnCode SmoothGauss7x7(CCTImage* target) const { return SmoothGauss(3, target); }
    EReturnCode SmoothGauss9x9(CCTImage* target) const { return SmoothGauss(4, target); }
    EReturnCode SmoothGauss11x11(CCTImage* target) const { return SmoothGauss(5, target); }

    /// The mean over a square of `size` pixels.
    /// @return also 18 for a size that is not positive and odd, or above `sc_iMaxBlurSize`
    EReturnCode SmoothBlur(int size, CCTImage* target) const;

    static constexpr int sc_iMaxBlurSize = 511; ///< pixels

    /// Sobel's kernel over 4: the row -1/4, -1/2, -1/4 against the row 1/4, 1/2, 1/4.
    /// @param rowsAlongX whether the kernel's rows lie along x, for differences along y (lower minus upper); else
    ///                   they lie along y, for differences along x (right minus left)
    EReturnCode Sobel(CCTImage* target, bool rowsAlongX) const;

    /// Statistics of the part of the image within a region.
    /// @return also 13 for a region without pixels, and where a channel has no pixel that is a number;
    ///         `statistics` is written with 0 only
    EReturnCode GetStats(const LxCRoi& roi, SStatistics& statistics) const;

    /// The statistics as text with two decimals, such as
    /// "Mean=100.25, Sigma=3.50, Overmodulated=0, Max=107.00, Min=93.00"; of a colour image three numbers each,
    /// red, green and blue, joined by "/". `out` becomes empty where there are none.
    /// @return as `GetStats`
    EReturnCode PrintStatistics(const LxCRoi& roi, std::string& out) const;

    /// The position of the greatest pixel value within a region, or of the `lowest`; the first one in memory order
    /// among equals. The value of a colour is the sum of its channels but alpha; what is not a number is left out.
    /// @return also 15 for a null argument, 13 where there is no value; `x` and `y` are written with 0 only
    EReturnCode FindGlobalPeakPos(int* x, int* y, const LxCRoi& roi, bool lowest) const;

    /// The mean of images of one size and type, element by element, integers rounded with halves upwards. The
    /// result, which may be one of the images, takes size and type. Where the folder "../Results" exists, it is
    /// also written to "../Results/mean_image.tif".
    /// @return 0, or 17 with a line in the log for null images, no image, and ones that differ or have no pixels
    static EReturnCode CalcMeanImage(const std::vector<CCTImage*>& images, CCTImage* result);

    /// result = dividend / divisor * factor, element by element, for images of one size and type, alpha as in the
    /// dividend; integers are rounded, halves upwards, and clamped to what the type holds, 0 / 0 giving 0. The
    /// result, which may be one of the two, takes size and type. Where the folder "../Results" exists, the three
    /// are also written to "../Results/tmp_image1_Source.tif", "../Results/tmp_image2_Divide.tif" and
    /// "../Results/tmp_image3_Result.tif".
    /// @param clip whether floating-point results are clamped to 0 to 255
    /// @return also 12 for different types, with a line in the log as for different sizes
    static EReturnCode DivideTwoImages(const CCTImage* dividend, const CCTImage* divisor, CCTImage* result,
                                       float factor, bool clip);

    // Image files. Narrow paths are UTF-8; both separators count. Loading replaces pixels, data type and pathname,
    // also of a wrapping image, which from then on owns its pixels; a failure leaves the image as it was. Failures
    // write a line to the log.

    /// Whether the last four characters of a path, as they stand, are those of an image file: ".tif", "tiff", ".png",
    /// ".jpg", "jpeg", ".bmp", ".pfm" or ".pgm".
    static bool IsValidFilename(const std::string& path);
    static bool IsValidFilename(const std::wstring& path);

    /// Reads a TIFF, PNG, JPEG, BMP, PGM or PFM file; its content tells the kind, not its name. Grey becomes the
    /// grey type of the file's samples, 8-bit colours `eIDT_BGRU8`, with alpha `eIDT_ARGB8`, and float colours
    /// `eIDT_FLOAT32_3`.
    /// @return 0; 3 where there is no such file; 8 for what is no image that a data type can hold; 1 for a damaged
    ///         file; 10
    EReturnCode Load(const std::string& path);
    EReturnCode Load(const std::wstring& path);

    /// The same into `eIDT_ARGB8`: as `ConvertToARGB8` does, so that alpha is 0 unless the file has one.
    /// @return also 8 for a type that `ConvertToARGB8` does not take
    EReturnCode LoadARGB(const std::string& path);
    EReturnCode LoadARGB(const std::wstring& path);

    /// Writes a TIFF that `Load` reads with the same type and pixels, but `eIDT_GRAY8` as `eIDT_UINT8`.
    /// @return 0; 6 for an undefined type or no pixels; 1 where the file cannot be written
    EReturnCode SaveTif(const std::string& path) const;
    EReturnCode SaveTif(const std::wstring& path) const;

    /// The same as PNG, for `eIDT_UINT8`, `eIDT_GRAY8`, `eIDT_UINT16`, `eIDT_BGRU8` and `eIDT_ARGB8`.
    /// @return also 6 for other types
    EReturnCode SavePNG(const std::string& path) const;
    EReturnCode SavePNG(const std::wstring& path) const;

    /// The same as BMP, for `eIDT_UINT8`, `eIDT_GRAY8`, `eIDT_BGRU8` and `eIDT_ARGB8`.
    /// @return also 6 for other types
    EReturnCode SaveBmp(const std::string& path) const;
    EReturnCode SaveBmp(const std::wstring& path) const;

    /// Writes the image under the path without its extension, which is what follows the last point of the file name:
    /// `eIDT_ARGB8`, `eIDT_BGRU8`, `eIDT_UINT32`, `eIDT_INT32`, `eIDT_UINT8` and `eIDT_GRAY8` with ".tif" as
    /// `SaveTif` does, `eIDT_UINT16`, `eIDT_FLOAT32`, `eIDT_FLOAT64` and `eIDT_FLOAT32_3` as `SaveCSV` does.
    /// @return as these; 8 for other types
    EReturnCode Save(const std::string& path) const;
    EReturnCode Save(const std::wstring& path) const;

    /// Writes text, as `WriteCsv` tells it: of one channel to the path with ".csv", of three channels to three files
    /// "_R.csv", "_G.csv" and "_B.csv". A ".csv" at the end of the path is dropped first.
    /// @return 0; 8 for `eIDT_ARGB8`, an undefined type and no pixels; 1 where a file cannot be written
    EReturnCode SaveCSV(const std::string& path) const;
    EReturnCode SaveCSV(const std::wstring& path) const;

    /// Reads such text: the file of the path, else the one that `SaveCSV` writes to the path for one channel, else
    /// the three that it writes for three channels: of uint8 to `eIDT_BGRU8`, of float32 to `eIDT_FLOAT32_3`.
    /// @return 0; 3 where there are no such files; 9 for channels of different sizes; 8 for types that do not make an
    ///         image, and for a file of more than 1 GiB; 1 for a damaged file; 10
    EReturnCode LoadCSV(const std::string& path);
    EReturnCode LoadCSV(const std::wstring& path);

    /// Stores the image in an archive that stores: types, size, pixels, id, timestamp and texts. From one that loads
    /// it takes all of these, and then owns its buffer; where that fails, the image is left as it was.
    /// @return 0; storing, 8 for pixels whose size is not that of their type, 15 for a size without memory, 1 where
    ///         the archive cannot be written; loading, 8 for what is no image, 1 for a damaged one, 10
    EReturnCode Serialize(platform::CArchive& archive);

    // Drawing, for debug pictures: without anti-aliasing, clipped at the border, in a time that the image's size
    // bounds. Integers are pixel centres. The colour is one pixel of this image's type, of which a null draws nothing,
    // or an ARGB word, which becomes red, green and blue of a colour image, the word itself of a 32-bit image, and
    // the grey (blue + 2 * green + red) / 4 of any other.

    /// Both ends are drawn.
    void DrawLine(int x1, int y1, int x2, int y2, const void* pixel);
    void DrawLine(int x1, int y1, int x2, int y2, const LxCColorValueARGB8& color);

    /// A frame; a thicker one grows by half to either side.
    void DrawRect(int left, int top, int right, int bottom, const void* pixel, int thickness = 1);
    void DrawRect(int left, int top, int right, int bottom, const LxCColorValueARGB8& color,
                  int thickness = 1);

    /// An upright cross that reaches `size` pixels to all four sides.
    void DrawTick(int x, int y, int size, const void* pixel);
    void DrawTick(int x, int y, int size, const LxCColorValueARGB8& color);

    void DrawEllipse(const LxCEllipse& ellipse, const void* pixel);
    void DrawEllipse(const LxCEllipse& ellipse, const LxCColorValueARGB8& color);

    /// The curve value = c[0] + c[1] p + c[2] p² ... for positions p from `first` to `last`.
    /// @param alongX whether positions are columns and values rows; else the other way round
    void DrawPolynomial(std::span<const double> coefficients, bool alongX, int first, int last,
                        const void* pixel);
    void DrawPolynomial(std::span<const double> coefficients, bool alongX, int first, int last,
                        const LxCColorValueARGB8& color);

    const std::string& GetPathname() const { return m_sPathname; }
    void SetPathname(const std::string& pathname) { m_sPathname = pathname; }
    const std::string& GetSourcePathname() const { return m_sSourcePathname; }
    void SetSourcePathname(const std::string& pathname) { m_sSourcePathname = pathname; }
    int GetId() const { return m_iId; }
    void SetId(int id) { m_iId = id; }
    std::uint32_t GetTimestamp() const { return m_uiTimestamp; }
    void SetTimestamp(std::uint32_t timestamp) { m_uiTimestamp = timestamp; }
    const std::string& GetDescription() const { return m_sDescription; }
    void SetDescription(const std::string& description) { m_sDescription = description; }

protected:
    /// Frees an owned buffer and returns every member to its initial value.
    void initializeToDefaults();

    /// Provides an owned buffer, with its bytes as they are; the present one is kept where it is owned and
    /// has the same number of bytes. @return 0, or 10 with all sizes 0 and no buffer
    EReturnCode allocate(int width, int height, int bytesPerPixel);

    /// Frees an owned buffer and sets all sizes to 0. Returns 0.
    EReturnCode deallocate();

    /// Turns an owned `eIDT_BGRU8` image into `eIDT_ARGB8` with alpha 0.
    /// @return 0, also for an image that is `eIDT_ARGB8` already; 12 for other types, 1 for a wrapped buffer,
    ///         10
    EReturnCode rearrangeFromBGR8ToARGB();

    bool OwnsBuffer() const { return m_pAllocation != nullptr; }

private:
    EReturnCode SmoothGauss(int radius, CCTImage* target) const;
    EReturnCode CheckFilter(const CCTImage* target) const;
    void PlotLine(double x1, double y1, double x2, double y2, const void* pixel);

    struct SFreeAligned
    {
        void operator()(std::byte* memory) const
        {
            ::operator delete (memory, std::align_val_t{sc_iAlignment});
        }
    };
    using Allocation = std::unique_ptr<std::byte, SFreeAligned>;

    static Allocation AllocateAligned(std::size_t bytes);

    template <typename T>
    bool AreInside(T x, T y, int margin) const
    {
        const auto low = static_cast<T>(margin);
        const auto right = static_cast<T>(std::int64_t{m_iWidth} - margin);
        const auto bottom = static_cast<T>(std::int64_t{m_iHeight} - margin);
        return low <= x && x < right && low <= y && y < bottom;
    }

    std::ptrdiff_t PixelIndex(int x, int y) const { return std::ptrdiff_t{m_iWidth} * y + x; }
    std::byte* PixelAddress(int x, int y) { return m_pBuffer + PixelIndex(x, y) * m_iBytesPerPixel; }
    const std::byte* PixelAddress(int x, int y) const
    {
        return m_pBuffer + PixelIndex(x, y) * m_iBytesPerPixel;
    }

    template <typename T>
    T& Element(int x, int y)
    {
        return reinterpret_cast<T*>(m_pBuffer)[PixelIndex(x, y)];
    }
    template <typename T>
    const T& Element(int x, int y) const
    {
        return reinterpret_cast<const T*>(m_pBuffer)[PixelIndex(x, y)];
    }
    template <typename T>
    static void Store(std::byte* address, const T& value)
    {
        std::memcpy(address, &value, sizeof value);
    }

    bool HasPixel(int x, int y) const { return m_pBuffer != nullptr && CoordsAreValid(x, y); }
    bool LacksMemory() const { return m_pBuffer == nullptr && GetSizeInBytes() > 0; }
    std::size_t ByteCount() const { return IsValid() ? static_cast<std::size_t>(GetSizeInBytes()) : 0; }
    std::span<std::byte> Bytes() { return {m_pBuffer, ByteCount()}; }
    std::span<const std::byte> Bytes() const { return {m_pBuffer, ByteCount()}; }
    ImageKernels::SExtent Extent() const;
    EReturnCode PrepareConversion(CCTImage* target, EImageDataType type, bool resize) const;
    EReturnCode ConvertToColor8(CCTImage* target, EImageDataType type, bool resize) const;
    EReturnCode CheckShift(const CCTImage* target) const;
    EReturnCode ShiftChannels(CCTImage* target, int redCols, int redRows, int blueCols, int blueRows,
                              bool mirror) const;
    EReturnCode CheckThreshold(const CCTImage* target, const void* lowPixel, const void* highPixel) const;
    void StoreDataType(EImageDataType type);
    void Fill(const LxCFloat3& value);
    void WrapBufferOf(const CCTImage& source);
    void TakePixelsOf(CCTImage& owner);
    EReturnCode StoreTo(platform::CArchive& archive) const;
    EReturnCode LoadFrom(platform::CArchive& archive);
    void ThrowUnlessCenterFits(const CCTImage& source) const;
    void CopyToCenter(const CCTImage& source, bool replicateBorder);
    void TakeAttributesOf(const CCTImage& source);

    Allocation m_pAllocation;          ///< null unless the image owns its buffer
    std::size_t m_iAllocatedBytes = 0; ///< of m_pAllocation while that is not null
    int m_iWidth = 0;                  ///< pixels
    int m_iHeight = 0;                 ///< pixels
    int m_iBytesPerPixel = 0;
    EImageDataType m_eDataType = eIDT_Undefined;
    int m_iNumChannels = 0; ///< of m_eDataType
    EImageType m_eImageType = eIT_Default;
    std::byte* m_pBuffer = nullptr; ///< byte 0 of pixel (0, 0); inside m_pAllocation where that is not null
    std::string m_sPathname;
    std::string m_sSourcePathname;
    int m_iId = 0;
    std::uint32_t m_uiTimestamp = 0;
    std::string m_sDescription;
};

/// Makes an image on the heap, which the caller owns, by the constructor of the same form.
/// @return 0; 1 for a null `image`; 2 for a negative size; 10 where the constructor throws, with a line in
///         the log. `*image` is written with 0 only
ORX_EXPORT CCTImage::EReturnCode CreateImage(CCTImage** image, int width, int height,
                                             CCTImage::EImageDataType type, bool allocateMemory, void* data);

/// The same of a file; also a file that does not exist gives 10.
ORX_EXPORT CCTImage::EReturnCode CreateImage(CCTImage** image, const std::string& path);
ORX_EXPORT CCTImage::EReturnCode CreateImage(CCTImage** image, const std::wstring& path);

} // namespace LxCV
