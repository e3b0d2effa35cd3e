// A compressed stream without a compressor.
#pragma once

#include <cstdint>
#include <string>

namespace TestSupport {

/// The zlib stream (RFC 1950) of one stored deflate block (RFC 1951) of at most 65535 bytes.
inline std::string StoredZlib(const std::string& text)
{
    const auto length = static_cast<std::uint16_t>(text.size());
    const auto inverted = static_cast<std::uint16_t>(~length);
    std::string stream("\x78\x01\x01", 3); // the head, and the mark of a last and stored block
    for (const std::uint16_t number : {length, inverted}) {
        stream.push_back(static_cast<char>(number & 0xFF));
        stream.push_back(static_cast<char>(number >> 8));
    }
    stream += text;
    std::uint32_t a = 1; // Adler-32
    std::uint32_t b = 0;
    for (const char character : text) {
        a = (a + static_cast<unsigned char>(character)) % 65521;
        b = (b + a) % 65521;
    }
    for (const std::uint32_t byte : {b >> 8, b & 0xFF, a >> 8, a & 0xFF}) {
        stream.push_back(static_cast<char>(byte));
    }
    return stream;
}

} // namespace TestSupport
