// Any bytes as a PNG, as they are and with the checksums of all chunks set right, which chance would not do.
#include "fuzz/imagetarget.h"

#include <cstdint>
#include <vector>

namespace {

constexpr std::size_t kSignatureBytes = 8;
constexpr std::size_t kFrameBytes = 12; // of a chunk: its length, its name, its checksum

/// CRC-32, bit by bit.
std::uint32_t Checksum(std::span<const std::uint8_t> bytes)
{
    std::uint32_t sum = 0xFFFFFFFF;
    for (const std::uint8_t byte : bytes) {
        sum ^= byte;
        for (int bit = 0; bit < 8; ++bit) {
            sum = (sum >> 1) ^ ((sum & 1U) != 0 ? 0xEDB88320U : 0U);
        }
    }
    return ~sum;
}

void SealChunks(std::vector<std::uint8_t>& file)
{
    std::size_t at = kSignatureBytes;
    while (at + kFrameBytes <= file.size()) {
        std::size_t length = 0;
        for (std::size_t i = 0; i < 4; ++i) {
            length = length << 8 | file[at + i];
        }
        if (length > file.size() - at - kFrameBytes) {
            return;
        }
        const std::uint32_t sum = Checksum(std::span(file).subspan(at + 4, 4 + length));
        for (std::size_t i = 0; i < 4; ++i) {
            file[at + 8 + length + i] = static_cast<std::uint8_t>(sum >> (24 - 8 * i));
        }
        at += kFrameBytes + length;
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    std::vector<std::uint8_t> file(data, data + size);
    FuzzImage::Read(std::as_bytes(std::span(file)));
    SealChunks(file);
    FuzzImage::Read(std::as_bytes(std::span(file)));
    return 0;
}
