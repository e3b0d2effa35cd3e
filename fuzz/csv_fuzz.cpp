// Reads any text as an image, and writes what it is: that text must read back as the same one.
#include "imagecsv.h"
#include "orx/logging/logger.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

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
    CCTImage image;
    std::string error;
    if (LxCV::ReadCsv({reinterpret_cast<const char*>(data), size}, image, error) != CCTImage::eRC_OK) {
        Require(!error.empty());
        return 0;
    }
    Require(image.IsValid() && static_cast<std::size_t>(image.GetSizeInPixels()) <= size);
    const std::string text = LxCV::WriteCsv(image, 0);
    CCTImage again;
    Require(LxCV::ReadCsv(text, again, error) == CCTImage::eRC_OK);
    Require(again.DoTypeAndDimMatchWith(image) && LxCV::WriteCsv(again, 0) == text);
    return 0;
}
