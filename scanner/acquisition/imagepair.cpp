#include "scanner/acquisition/imagepair.h"

#include "lxaframegrabber.h"
#include "lxcframegrabberreqs.h"

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
bool Take(LxAFrameGrabber& grabber, LxAFrameGrabber::ELedType kind, CCTImage& image)
{
    const auto giveBack = [&grabber](CCTImage* taken) { grabber.ReEnqueueRawBuffers(taken); };
    const std::unique_ptr<CCTImage, decltype(giveBack)> raw(grabber.AcquireImageRaw(kind), giveBack);
    return raw != nullptr && Convert(grabber, *raw, image);
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

bool TakePair(LxAFrameGrabber& grabber, ImagePair& images)
{
    return Take(grabber, LxAFrameGrabber::eLT_Pat, images.pattern) &&
           Take(grabber, LxAFrameGrabber::eLT_Ref, images.reference);
}

} // namespace acquisition
