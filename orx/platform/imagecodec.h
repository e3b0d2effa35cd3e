// Image files: TIFF, PNG, JPEG, BMP, PGM and PFM as pixels in memory, and pixels as TIFF, PNG and BMP.
//
// The kind of a file is told by its first bytes; its name plays no part. What is read:
//
//   samples                                  become         kinds
//   ---------------------------------------  -------------  ---------------------------------------------------
//   1, 2, 4 or 8 bits of grey                eGray8         PNG, TIFF, JPEG, BMP (palette of greys), PGM (maxval
//                                                           up to 255)
//   8 bits of signed grey                    eGrayInt8      TIFF
//   16 bits of grey                          eGray16        PNG, TIFF, PGM (maxval above 255)
//   16, 32 bits of signed grey               eGrayInt16,    TIFF
//                                            eGrayInt32
//   32 bits of unsigned grey                 eGrayUInt32    TIFF
//   32, 64 bits of floating-point grey       eGrayFloat,    TIFF; PFM (32 bits)
//                                            eGrayDouble
//   palette of 1, 2, 4 or 8 bits             eBgr8          PNG, TIFF, BMP
//   palette or one colour with transparency  eBgra8         PNG
//   8 bits of grey and 8 of alpha            eBgra8         PNG, TIFF
//   8 bits of red, green, blue               eBgr8          PNG, TIFF, JPEG (also YCbCr), BMP (16, 24, 32 bits)
//   8 bits of red, green, blue, alpha        eBgra8         PNG, TIFF, BMP (with an alpha mask)
//   32-bit float red, green, blue            eBgrFloat      TIFF, PFM
//
// Whatever else a file holds, such as 16-bit colour, CMYK, CIELAB, 12-bit or complex samples, colour PNM or
// compressions other than those below, has no counterpart and is eUnsupported.
//
// Grey of fewer than 8 bits is scaled, so that its white is 255, and so are the bytes of a PGM with a maxval
// below 255; wider samples, those of a 16-bit PGM with any maxval included, are the file's numbers. A BMP knows
// grey only as a palette; one whose colours are all grey gives eGray8, in any other kind a palette gives colour.
// Gamma, colour profiles, the scale of a PFM, and the orientation that a camera noted in a JPEG are not applied;
// the colours of a TIFF with associated alpha stand as stored. Of a file with several images the first is read.
//
// TIFF: both byte orders, classic and big, strips and tiles, samples together or in planes, either meaning of 0
// for unsigned grey, no compression, LZW, deflate, PackBits, JPEG; predictors; the orientations that are mirror
// images, others are eUnsupported. PNG: also interlaced. JPEG: sequential and progressive, 8 bits, grey, YCbCr
// and RGB. BMP: headers of 12, 40, 52, 56, 108 and 124 bytes, RLE8, RLE4, masks, top-down. PGM: P2 and P5.
// PFM: Pf and PF in both byte orders.
//
// Files are hostile: sizes are held against what the file can hold before memory is taken, and no file crashes,
// hangs, prints, or takes more than a few times the memory of the largest image, 512 MiB; nor may a file be
// larger than that, or an image wider or higher than 2^24 pixels. All functions may run on many threads at once.
#pragma once

#include "orx/base/export.h"

#include <cstddef>
#include <filesystem>
#include <span>
#include <string>
#include <vector>

namespace platform {

/// What a pixel is. Numbers are little-endian, channels stand in memory in the order of the name.
enum class EPixelFormat
{
    eGray8,
    eGrayInt8,
    eGray16,
    eGrayInt16,
    eGrayUInt32,
    eGrayInt32,
    eGrayFloat,
    eGrayDouble,
    eBgr8,
    eBgra8, ///< alpha is not multiplied into the colours; 255 is opaque
    eBgrFloat
};

/// Bytes from one pixel to the next.
ORX_EXPORT std::size_t BytesPerPixel(EPixelFormat format);

/// An image that owns its pixels: `height` rows of `width` pixels without gaps, the top row first.
struct CPixels
{
    int width = 0;
    int height = 0;
    EPixelFormat format = EPixelFormat::eGray8;
    std::vector<std::byte> bytes;
};

/// The same of pixels that somebody else owns.
struct CPixelsView
{
    int width = 0;
    int height = 0;
    EPixelFormat format = EPixelFormat::eGray8;
    std::span<const std::byte> bytes;
};

enum class EImageFileResult
{
    eOk,
    eNotFound,    ///< there is no such file, or it cannot be opened
    eUnsupported, ///< no image of a known kind, or one that has no counterpart here or is too large
    eBroken       ///< a known kind, but cut short or contradictory
};

/// Reads an image file.
///
/// @param image replaced on eOk, else left alone
/// @param description replaced by what the file holds in words, such as "16-bit RGB PNG"; where the image cannot
///        be had for another reason than that, by the reason
ORX_EXPORT EImageFileResult ReadImageFile(const std::filesystem::path& path, CPixels& image,
                                          std::string& description);

/// The same of a whole file in memory; never eNotFound.
ORX_EXPORT EImageFileResult ReadImage(std::span<const std::byte> file, CPixels& image,
                                      std::string& description);

/// Writes an image of any format as an uncompressed TIFF, classic where it fits into 4 GB. Colours are stored as
/// RGB, alpha as unassociated.
///
/// This and the following return false for an image without pixels, for a number of bytes that is not
/// width * height * BytesPerPixel, for a format or size that the kind of file cannot hold, and for a file that
/// cannot be written whole; what was written of it is removed.
ORX_EXPORT bool WriteTiff(const std::filesystem::path& path, const CPixelsView& image);

/// Writes eGray8, eGray16, eBgr8 or eBgra8 as PNG.
ORX_EXPORT bool WritePng(const std::filesystem::path& path, const CPixelsView& image);

/// The bytes of the file that `WritePng` writes; none where it returns false.
ORX_EXPORT std::vector<std::byte> EncodePng(const CPixelsView& image);

/// Writes eGray8 with a palette of greys, eBgr8 as 24 bits, or eBgra8 as 32 bits with an alpha mask, as BMP of
/// less than 4 GB.
ORX_EXPORT bool WriteBmp(const std::filesystem::path& path, const CPixelsView& image);

} // namespace platform
