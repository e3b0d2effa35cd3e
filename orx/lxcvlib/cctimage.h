// The image type of the library.
#pragma once

#include "lxcfloat3.h"
#include "orx/base/export.h"
#include "orx/base/iimagedata2dsimple.h"

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <span>
#include <string>

namespace LxCV {

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
    void StoreDataType(EImageDataType type);
    void Fill(const LxCFloat3& value);
    void WrapBufferOf(const CCTImage& source);
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

} // namespace LxCV
