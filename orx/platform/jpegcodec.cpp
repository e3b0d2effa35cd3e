// JPEG through libjpeg-turbo.
#include "orx/platform/imagereaders.h"

#include <csetjmp>
#include <cstdio> // jpeglib.h needs it

#include <jpeglib.h>

#include <jerror.h>

namespace platform {

namespace {

using namespace ImageFiles;

constexpr const char* c_sKind = "JPEG";

/// A picture takes some ten scans; a file of thousands of empty ones would keep the decoder busy for hours.
constexpr int c_iMaxScans = 100;

/// What libjpeg cannot do, as opposed to what is wrong with a file.
bool IsBeyondLibrary(int code)
{
    switch (code) {
    case JERR_ARITH_NOTIMPL:
    case JERR_BAD_PRECISION:
    case JERR_CCIR601_NOTIMPL:
    case JERR_COMPONENT_COUNT:
    case JERR_CONVERSION_NOTIMPL:
    case JERR_FRACT_SAMPLE_NOTIMPL:
    case JERR_IMAGE_TOO_BIG:
    case JERR_NOT_COMPILED:
    case JERR_OUT_OF_MEMORY:
    case JERR_SOF_UNSUPPORTED:
        return true;
    default:
        return false;
    }
}

/// Warnings about files that are still whole; every other one means pixels that were made up.
bool IsHarmless(int code)
{
    return code == JWRN_ADOBE_XFORM || code == JWRN_JFIF_MAJOR || code == JWRN_EXTRANEOUS_DATA;
}

/// libjpeg over a file in memory.
///
/// libjpeg reports an error by a jump back into the member function that called it. These functions, and the
/// callbacks between, therefore hold nothing that has a destructor or changes after setjmp.
class CJpegReader
{
public:
    explicit CJpegReader(std::span<const std::byte> file) : m_File(file)
    {
        m_Info.err = jpeg_std_error(&m_Errors);
        m_Info.client_data = this;
        m_Errors.error_exit = OnError;
        m_Errors.emit_message = OnMessage;
        m_Errors.output_message = OnOutput;
        m_Progress.progress_monitor = OnProgress;
    }
    ~CJpegReader() { jpeg_destroy_decompress(&m_Info); }
    CJpegReader(const CJpegReader&) = delete;
    CJpegReader& operator=(const CJpegReader&) = delete;

    /// Reads all that stands before the first scan.
    bool ReadHead()
    {
        if (setjmp(m_OnError) != 0) {
            return false;
        }
        jpeg_create_decompress(&m_Info); // leaves err and client_data
        m_Info.progress = &m_Progress;
        jpeg_mem_src(&m_Info, reinterpret_cast<const unsigned char*>(m_File.data()),
                     static_cast<unsigned long>(m_File.size()));
        jpeg_read_header(&m_Info, TRUE);
        return true;
    }

    /// Reads the pixels, as grey or as bytes of blue, green, red, and the rest of the file.
    bool ReadRows(std::byte* pixels, std::size_t rowBytes)
    {
        if (setjmp(m_OnError) != 0) {
            return false;
        }
        m_Info.out_color_space = IsGrey() ? JCS_GRAYSCALE : JCS_EXT_BGR;
        m_Info.dct_method = JDCT_ISLOW; // the exact integer transform
        jpeg_start_decompress(&m_Info);
        while (m_Info.output_scanline < m_Info.output_height) {
            JSAMPROW row = reinterpret_cast<JSAMPROW>(pixels + m_Info.output_scanline * rowBytes);
            jpeg_read_scanlines(&m_Info, &row, 1);
        }
        jpeg_finish_decompress(&m_Info);
        return true;
    }

    std::uint64_t Width() const { return m_Info.image_width; }
    std::uint64_t Height() const { return m_Info.image_height; }
    bool IsGrey() const { return m_Info.jpeg_color_space == JCS_GRAYSCALE; }
    bool IsRgb() const { return m_Info.jpeg_color_space == JCS_YCbCr || m_Info.jpeg_color_space == JCS_RGB; }
    bool IsProgressive() const { return m_Info.progressive_mode != 0; }
    bool HasSeveralScans() { return jpeg_has_multiple_scans(&m_Info) != 0; }
    int Components() const { return m_Info.num_components; }

    /// Throws what the last call of libjpeg ended with.
    [[noreturn]] void Refuse() const
    {
        const std::string text = std::string("JPEG: ") + m_sMessage;
        if (IsBeyondLibrary(m_Errors.msg_code)) {
            RefuseUnsupported(text);
        }
        RefuseBroken(text);
    }

private:
    static CJpegReader& Of(j_common_ptr info) { return *static_cast<CJpegReader*>(info->client_data); }

    static void OnError(j_common_ptr info)
    {
        CJpegReader& reader = Of(info);
        info->err->format_message(info, reader.m_sMessage);
        std::longjmp(reader.m_OnError, 1);
    }
    static void OnMessage(j_common_ptr info, int level)
    {
        if (level < 0 && !IsHarmless(info->err->msg_code)) {
            OnError(info);
        }
    }
    static void OnOutput(j_common_ptr) {}
    static void OnProgress(j_common_ptr info)
    {
        if (Of(info).m_Info.input_scan_number > c_iMaxScans) {
            ERREXIT(info, JERR_BAD_PROGRESSION);
        }
    }

    std::span<const std::byte> m_File;
    jpeg_decompress_struct m_Info{};
    jpeg_error_mgr m_Errors{};
    jpeg_progress_mgr m_Progress{};
    std::jmp_buf m_OnError{};
    char m_sMessage[JMSG_LENGTH_MAX] = {};
};

std::string Describe(const CJpegReader& jpeg)
{
    const std::string samples = jpeg.IsGrey()            ? "grey"
                                : jpeg.IsRgb()           ? "RGB"
                                : jpeg.Components() == 4 ? "CMYK"
                                                         : std::to_string(jpeg.Components()) + "-component";
    return "8-bit " + samples + (jpeg.IsProgressive() ? " progressive JPEG" : " JPEG");
}

} // namespace

std::string ImageFiles::ReadJpeg(std::span<const std::byte> file, CPixels& image)
{
    CJpegReader jpeg(file);
    if (!jpeg.ReadHead()) {
        jpeg.Refuse();
    }
    std::string description = Describe(jpeg);
    if (!jpeg.IsGrey() && !jpeg.IsRgb()) {
        RefuseUnsupported(description);
    }
    const auto format = jpeg.IsGrey() ? EPixelFormat::eGray8 : EPixelFormat::eBgr8;
    const std::uint64_t perPixel = BytesPerPixel(format);
    // Several scans are gathered as 16-bit coefficients before there are pixels.
    RequireSize(c_sKind, jpeg.Width(), jpeg.Height(), jpeg.HasSeveralScans() ? 3 * perPixel : perPixel);
    RequireBytes(c_sKind, file.size(), jpeg.Width() * jpeg.Height() * perPixel / c_iMaxRatio);
    Allocate(image, c_sKind, jpeg.Width(), jpeg.Height(), format);
    if (!jpeg.ReadRows(image.bytes.data(), RowOf(image, 0).size())) {
        jpeg.Refuse();
    }
    return description;
}

} // namespace platform
