// Compression in memory, as the library's containers use it.
#pragma once

#include "orx/base/export.h"

#include <cstddef>
#include <vector>

/// Compresses bytes to one zlib stream (RFC 1950).
class ORX_EXPORT YmCompressZIP
{
public:
    /// @param bytes `size` bytes; may be null where `size` is 0
    /// @return whether the output buffer holds the compressed bytes; false leaves it empty
    bool Compress(const void* bytes, std::size_t size);

    /// The compressed bytes, valid to the next call; null before the first success.
    const unsigned char* GetOutputBuffer() const { return m_vOutput.empty() ? nullptr : m_vOutput.data(); }
    std::size_t GetOutputSize() const { return m_vOutput.size(); }

private:
    std::vector<unsigned char> m_vOutput;
};

/// Decompresses one zlib stream of known uncompressed size. The input may be hostile.
class ORX_EXPORT YmDecompressZIP
{
public:
    /// Accepts a stream that fills `compressedSize` bytes exactly and holds `uncompressedSize` bytes exactly. The
    /// output grows with what the stream really holds, to one byte more than `uncompressedSize` at most; a size
    /// that no stream of that length can hold is refused before any memory is taken.
    /// @return whether the output buffer holds the bytes; false leaves it empty
    bool Decompress(const void* bytes, std::size_t compressedSize, std::size_t uncompressedSize);

    /// The bytes, valid to the next call; null before the first success. Not null for zero bytes.
    const unsigned char* GetOutputBuffer() const { return m_bValid ? m_vOutput.data() : nullptr; }
    std::size_t GetOutputSize() const { return m_bValid ? m_uiSize : 0; }

private:
    std::vector<unsigned char> m_vOutput; ///< at least one byte where valid, so that it has an address
    std::size_t m_uiSize = 0;
    bool m_bValid = false;
};
