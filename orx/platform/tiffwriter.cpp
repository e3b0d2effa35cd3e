// TIFF through libtiff: writing.
#include "orx/platform/imagereaders.h"

#include <tiffio.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <exception>
#include <memory>
#include <vector>

namespace platform {

namespace {

using namespace ImageFiles;

/// A file in memory that grows as libtiff writes. No exception may pass through libtiff.
struct CTarget
{
    std::vector<std::byte> bytes;
    std::size_t position = 0;

    static CTarget& Of(thandle_t handle) { return *static_cast<CTarget*>(handle); }

    static tmsize_t Read(thandle_t handle, void* target, tmsize_t length)
    {
        CTarget& file = Of(handle);
        if (length <= 0 || file.position >= file.bytes.size()) {
            return 0;
        }
        const auto count =
            std::min<std::size_t>(static_cast<std::size_t>(length), file.bytes.size() - file.position);
        std::memcpy(target, file.bytes.data() + file.position, count);
        file.position += count;
        return static_cast<tmsize_t>(count);
    }
    static tmsize_t Write(thandle_t handle, void* source, tmsize_t length)
    {
        CTarget& file = Of(handle);
        const auto count = static_cast<std::size_t>(length);
        try {
            file.bytes.resize(std::max(file.bytes.size(), file.position + count));
        } catch (const std::exception&) {
            return -1;
        }
        std::memcpy(file.bytes.data() + file.position, source, count);
        file.position += count;
        return length;
    }
    static toff_t Seek(thandle_t handle, toff_t offset, int whence)
    {
        CTarget& file = Of(handle);
        file.position = offset + (whence == SEEK_CUR   ? file.position
                                  : whence == SEEK_END ? file.bytes.size()
                                                       : 0);
        return file.position;
    }
    static int Close(thandle_t) { return 0; }
    static toff_t Size(thandle_t handle) { return Of(handle).bytes.size(); }
    static int OnMessage(TIFF*, void*, const char*, const char*, va_list) { return 1; } // nobody else is told
};

struct CSamples
{
    std::uint16_t count;
    std::uint16_t bits;
    std::uint16_t format;
};

CSamples SamplesOf(EPixelFormat format)
{
    switch (format) {
    case EPixelFormat::eGray8:
        return {1, 8, SAMPLEFORMAT_UINT};
    case EPixelFormat::eGrayInt8:
        return {1, 8, SAMPLEFORMAT_INT};
    case EPixelFormat::eGray16:
        return {1, 16, SAMPLEFORMAT_UINT};
    case EPixelFormat::eGrayInt16:
        return {1, 16, SAMPLEFORMAT_INT};
    case EPixelFormat::eGrayUInt32:
        return {1, 32, SAMPLEFORMAT_UINT};
    case EPixelFormat::eGrayInt32:
        return {1, 32, SAMPLEFORMAT_INT};
    case EPixelFormat::eGrayFloat:
        return {1, 32, SAMPLEFORMAT_IEEEFP};
    case EPixelFormat::eGrayDouble:
        return {1, 64, SAMPLEFORMAT_IEEEFP};
    case EPixelFormat::eBgr8:
        return {3, 8, SAMPLEFORMAT_UINT};
    case EPixelFormat::eBgra8:
        return {4, 8, SAMPLEFORMAT_UINT};
    case EPixelFormat::eBgrFloat:
        return {3, 32, SAMPLEFORMAT_IEEEFP};
    }
    return {1, 8, SAMPLEFORMAT_UINT}; // a number that is no EPixelFormat
}

void SetFields(TIFF* tiff, const CPixelsView& image, const CSamples& samples)
{
    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, static_cast<std::uint32_t>(image.width));
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, static_cast<std::uint32_t>(image.height));
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, samples.bits);
    TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, samples.count);
    TIFFSetField(tiff, TIFFTAG_SAMPLEFORMAT, samples.format);
    TIFFSetField(tiff, TIFFTAG_COMPRESSION, COMPRESSION_NONE);
    TIFFSetField(tiff, TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT);
    TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, samples.count == 1 ? PHOTOMETRIC_MINISBLACK : PHOTOMETRIC_RGB);
    TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, TIFFDefaultStripSize(tiff, 0));
    if (samples.count == 4) {
        const std::uint16_t alpha = EXTRASAMPLE_UNASSALPHA;
        TIFFSetField(tiff, TIFFTAG_EXTRASAMPLES, 1, &alpha);
    }
}

/// Changes pixels from blue, green, red to red, green, blue.
void SwapChannels(std::vector<std::byte>& row, const CSamples& samples)
{
    const std::size_t bytes = samples.bits / 8U;
    for (std::size_t i = 0; i < row.size(); i += samples.count * bytes) {
        std::swap_ranges(row.begin() + static_cast<std::ptrdiff_t>(i),
                         row.begin() + static_cast<std::ptrdiff_t>(i + bytes),
                         row.begin() + static_cast<std::ptrdiff_t>(i + 2 * bytes));
    }
}

bool WriteRows(TIFF* tiff, const CPixelsView& image, const CSamples& samples)
{
    const std::size_t rowBytes = static_cast<std::size_t>(image.width) * BytesPerPixel(image.format);
    std::vector<std::byte> row(rowBytes);
    for (std::uint32_t y = 0; y < static_cast<std::uint32_t>(image.height); ++y) {
        std::memcpy(row.data(), image.bytes.data() + y * rowBytes, rowBytes);
        if (samples.count > 1) {
            SwapChannels(row, samples);
        }
        if (TIFFWriteScanline(tiff, row.data(), y) != 1) {
            return false;
        }
    }
    return TIFFFlush(tiff) == 1;
}

} // namespace

bool WriteTiff(const std::filesystem::path& path, const CPixelsView& image)
{
    if (!IsWhole(image)) {
        return false;
    }
    // Offsets of a classic file are 32 bits wide; a tenth of that is more than the tables of strips need.
    constexpr std::size_t classicBytes = std::size_t{0xE0000000};
    CTarget target;
    bool isWritten = false;
    {
        const std::unique_ptr<TIFFOpenOptions, decltype(&TIFFOpenOptionsFree)> options(TIFFOpenOptionsAlloc(),
                                                                                       TIFFOpenOptionsFree);
        TIFFOpenOptionsSetErrorHandlerExtR(options.get(), CTarget::OnMessage, nullptr);
        TIFFOpenOptionsSetWarningHandlerExtR(options.get(), CTarget::OnMessage, nullptr);
        const std::unique_ptr<TIFF, decltype(&TIFFClose)> tiff(
            TIFFClientOpenExt("", image.bytes.size() > classicBytes ? "w8" : "w", &target, CTarget::Read,
                              CTarget::Write, CTarget::Seek, CTarget::Close, CTarget::Size, nullptr, nullptr,
                              options.get()),
            TIFFClose);
        if (tiff == nullptr) {
            return false;
        }
        const CSamples samples = SamplesOf(image.format);
        SetFields(tiff.get(), image, samples);
        isWritten = WriteRows(tiff.get(), image, samples);
    }
    return isWritten && WriteFile(path, target.bytes);
}

} // namespace platform
