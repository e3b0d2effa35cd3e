// Any bytes as a TIFF: strips, tiles, planes, palettes and compressions.
#include "fuzz/imagetarget.h"

#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    FuzzImage::Read(std::as_bytes(std::span(data, size)));
    return 0;
}
