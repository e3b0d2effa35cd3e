// Any bytes as a PGM or PFM.
#include "fuzz/imagetarget.h"

#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    FuzzImage::Read(std::as_bytes(std::span(data, size)));
    return 0;
}
