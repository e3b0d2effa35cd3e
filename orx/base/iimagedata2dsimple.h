// The face of an image that modules see which do not know its class.
#pragma once

#include "orx/base/inoncopyable.h"

namespace Base {

/// Read access to a gapless, row-major two-dimensional pixel buffer. The order of the virtual operations is
/// part of the binary interface between modules.
class IImageData2DSimple : public INonCopyable
{
public:
    virtual ~IImageData2DSimple() = default;

    /// Byte 0 of pixel (0, 0), or null for an empty image. The image keeps ownership.
    virtual void* GetImageDataRaw() = 0;
    virtual const void* GetImageDataRaw() const = 0;

    virtual int BytePerPixel() const = 0;

    /// Bytes from one row to the next: width times `BytePerPixel()`, for rows have no padding.
    virtual int BytesPerLine() const = 0;

    virtual int GetWidth() const = 0;  ///< pixels
    virtual int GetHeight() const = 0; ///< pixels
};

} // namespace Base
