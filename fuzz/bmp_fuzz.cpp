// Any bytes as a BMP: palettes, run lengths and masks.
#include "fuzz/imagetarget.h"

#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    FuzzImage::Read(std::as_bytes(std::span(data, size)));
    return 0;
}
