// Any text as a shading image: it is read, with memory in proportion to it, or refused; what was read is written, and
// read again as the same.
//
// Input: the text; the section is "::S".
#include "lxcshadingcorrection.h"

#include "cctimage.h"
#include "lxccctserializer.h"
#include "orx/logging/logger.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>

namespace {

using LxCV::LxCShadingCorrection;

constexpr const char* kSection = "::S";
constexpr std::size_t kFreeImageBytes = 16U << 20;

/// Pixels of the largest image that is written, so that an input takes no time.
constexpr int kLargestWritten = 100'000;

void Require(bool condition)
{
    if (!condition) {
        std::abort();
    }
}

class TextSerializer : public LxCV::LxCCCTSerializer
{
public:
    std::string GetText() { return GetStream().str(); }
};

bool Read(LxCShadingCorrection& shading, const std::string& text)
{
    TextSerializer serializer;
    std::stringstream source(text);
    serializer.ReadFromStringStream(source);
    return serializer.Init(false, false) && shading.Serialize(serializer, kSection);
}

std::string Write(LxCShadingCorrection& shading)
{
    TextSerializer serializer;
    serializer.Init(true, false);
    Require(shading.Serialize(serializer, kSection));
    return serializer.GetText();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const Logging::CCapture quiet;
    LxCShadingCorrection shading;
    const bool read = Read(shading, std::string(data, data + size));
    const LxCV::CCTImage* const image = shading.GetShadingCorrectionImage();
    Require(!read || image != nullptr);
    if (image == nullptr) {
        return 0;
    }
    const auto bytes = static_cast<std::size_t>(image->GetSizeInBytes());
    Require(bytes <= std::max(kFreeImageBytes, size));
    Require(shading.GetRangeScaleFactor() >= 0.0F && shading.GetRangeScaleFactor() <= 255.0F);
    if (image->GetSizeInPixels() > kLargestWritten || image->GetHeight() > kLargestWritten) {
        return 0;
    }
    shading.SetApplyShadingCorrection(true);
    const std::string written = Write(shading);
    LxCShadingCorrection again;
    Require(Read(again, written) && again.GetApplyShadingCorrection());
    Require(again.GetShadingCorrectionImage()->DoTypeAndDimMatchWith(*image));
    Require(Write(again) == written);
    return 0;
}
