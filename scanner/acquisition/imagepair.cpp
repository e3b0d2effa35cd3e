#include "scanner/acquisition/imagepair.h"

#include "lxaframegrabber.h"
#include "lxcframegrabberreqs.h"

#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>

namespace acquisition {

using LxCV::CCTImage;
using LxCV::LxAFrameGrabber;

namespace {

/// Without a temporary image, and in the memory that the image has where it fits: touching fresh memory is what an
/// acquisition costs.
/// @return false where there is not enough memory
bool Convert(LxAFrameGrabber& grabber, const CCTImage& raw, CCTImage& image)
{
    if (!image.DoDimMatchWith(raw) || image.GetDataType() != CCTImage::eIDT_FLOAT32_3) {
        image.Resize(raw.GetWidth(), raw.GetHeight(), CCTImage::eIDT_FLOAT32_3);
    }
    if (!image.IsValid()) {
        return false;
    }
    grabber.GetReqs()->ConvertImage(&raw, &image);
    return true;
}

/// `raw` is the raw image, whose memory serves for the next one.
void Acquire(LxAFrameGrabber& grabber, LxAFrameGrabber::ELedType kind, CCTImage& raw, CCTImage& image)
{
    if (!grabber.AcquireSingleImage(kind, raw) || !Convert(grabber, raw, image)) {
        const std::string name = kind == LxAFrameGrabber::eLT_Ref ? "reference" : "pattern";
        throw std::runtime_error(grabber.GetDriverName() + " delivers no " + name + " image");
    }
}

/// Gives the raw image back in any case.
/// @param milliseconds grows by what the conversion took
bool Take(LxAFrameGrabber& grabber, LxAFrameGrabber::ELedType kind, CCTImage& image, double& milliseconds)
{
    using Clock = std::chrono::steady_clock;
    const auto giveBack = [&grabber](CCTImage* taken) { grabber.ReEnqueueRawBuffers(taken); };
    const std::unique_ptr<CCTImage, decltype(giveBack)> raw(grabber.AcquireImageRaw(kind), giveBack);
    const Clock::time_point start = Clock::now();
    const bool isConverted = raw != nullptr && Convert(grabber, *raw, image);
    milliseconds += std::chrono::duration<double, std::milli>(Clock::now() - start).count();
    return isConverted;
}

} // namespace

ImagePair AcquirePair(LxAFrameGrabber& grabber)
{
    ImagePair images;
    CCTImage raw;
    Acquire(grabber, LxAFrameGrabber::eLT_Pat, raw, images.pattern);
    Acquire(grabber, LxAFrameGrabber::eLT_Ref, raw, images.reference);
    return images;
}

std::optional<double> TakePair(LxAFrameGrabber& grabber, ImagePair& images)
{
    double milliseconds = 0.0;
    const bool isTaken = Take(grabber, LxAFrameGrabber::eLT_Pat, images.pattern, milliseconds) &&
                         Take(grabber, LxAFrameGrabber::eLT_Ref, images.reference, milliseconds);
    return isTaken ? std::optional(milliseconds) : std::nullopt;
}

} // namespace acquisition
