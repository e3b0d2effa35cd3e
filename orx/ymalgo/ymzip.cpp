// zlib behind sizes that are checked.
#include "orx/ymalgo/ymzip.h"

#include <algorithm>
#include <limits>
#include <zlib.h>

namespace {

/// Deflate spends at least two bits on 258 bytes.
constexpr std::size_t kLargestRatio = 1032;

/// Output taken first and the least to grow by.
constexpr std::size_t kOutputStep = 64 * 1024;

uInt LimitToZlib(std::size_t size)
{
    return static_cast<uInt>(std::min<std::size_t>(size, std::numeric_limits<uInt>::max()));
}

/// An inflate state that ends itself.
class CInflater
{
public:
    CInflater(const unsigned char* bytes, std::size_t size) : m_pNext(bytes), m_uiLeft(size)
    {
        m_bGood = inflateInit(&m_Stream) == Z_OK;
    }
    ~CInflater()
    {
        if (m_bGood) {
            inflateEnd(&m_Stream);
        }
    }
    CInflater(const CInflater&) = delete;
    CInflater& operator=(const CInflater&) = delete;

    bool IsGood() const { return m_bGood; }
    bool IsAtEnd() const { return m_bAtEnd; }
    std::size_t GetInputLeft() const { return m_uiLeft; }

    /// Writes at most `room` bytes. Returns how many; 0 where the stream is at its end, broken or cut.
    std::size_t Inflate(unsigned char* out, std::size_t room)
    {
        const uInt given = LimitToZlib(m_uiLeft);
        m_Stream.next_in = const_cast<unsigned char*>(m_pNext); // NOLINT: zlib's interface lacks the const
        m_Stream.avail_in = given;
        m_Stream.next_out = out;
        m_Stream.avail_out = LimitToZlib(room);
        const uInt offered = m_Stream.avail_out;
        const int result = inflate(&m_Stream, Z_NO_FLUSH);
        m_pNext += given - m_Stream.avail_in;
        m_uiLeft -= given - m_Stream.avail_in;
        m_bAtEnd = result == Z_STREAM_END;
        return result == Z_OK || m_bAtEnd ? offered - m_Stream.avail_out : 0;
    }

private:
    z_stream m_Stream{};
    const unsigned char* m_pNext;
    std::size_t m_uiLeft;
    bool m_bGood = false;
    bool m_bAtEnd = false;
};

} // namespace

bool YmCompressZIP::Compress(const void* bytes, std::size_t size)
{
    static const Bytef none = 0;
    m_vOutput.assign(compressBound(size), 0);
    uLongf length = m_vOutput.size();
    const auto* const input = bytes != nullptr ? static_cast<const Bytef*>(bytes) : &none;
    // zlib's own level: its best one takes 2.6 times as long and makes section text 2 % shorter.
    const bool done = compress(m_vOutput.data(), &length, input, size) == Z_OK;
    m_vOutput.resize(done ? length : 0);
    return done;
}

bool YmDecompressZIP::Decompress(const void* bytes, std::size_t compressedSize, std::size_t uncompressedSize)
{
    m_bValid = false;
    m_vOutput.clear();
    if (bytes == nullptr || uncompressedSize / kLargestRatio > compressedSize) {
        return false;
    }
    CInflater inflater(static_cast<const unsigned char*>(bytes), compressedSize);
    std::size_t size = 0;
    while (inflater.IsGood() && !inflater.IsAtEnd()) {
        // One byte more than claimed shows a stream that holds more, and gives an empty one an address.
        if (size == m_vOutput.size()) {
            const std::size_t capacity = std::min(uncompressedSize + 1, std::max(2 * size, kOutputStep));
            m_vOutput.reserve(capacity); // exactly, where resizing alone would take up to twice as much
            m_vOutput.resize(capacity);
        }
        const std::size_t written = inflater.Inflate(m_vOutput.data() + size, m_vOutput.size() - size);
        size += written;
        if (size > uncompressedSize || (written == 0 && !inflater.IsAtEnd())) {
            break;
        }
    }
    m_bValid = inflater.IsAtEnd() && inflater.GetInputLeft() == 0 && size == uncompressedSize;
    m_uiSize = size;
    if (!m_bValid) {
        m_vOutput.clear();
    }
    return m_bValid;
}
