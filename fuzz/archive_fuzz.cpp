// Loads an image from any archive, and stores what it is: that archive must hold the same one.
#include "cctimage.h"
#include "orx/logging/logger.h"
#include "orx/platform/archive.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>

namespace {

void Require(bool condition)
{
    if (!condition) {
        std::abort();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using LxCV::CCTImage;
    const Logging::CCapture capture;
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    std::istringstream stream(bytes);
    platform::CArchive in(stream);
    CCTImage image;
    if (image.Serialize(in) != CCTImage::eRC_OK) {
        Require(!image.IsValid());
        return 0;
    }
    std::ostringstream again;
    platform::CArchive out(again);
    Require(image.Serialize(out) == CCTImage::eRC_OK);
    Require(bytes.starts_with(again.str()));
    return 0;
}
