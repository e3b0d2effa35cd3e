#include "scanner/acquisition/imagepair.h"

#include "lxaframegrabber.h"
#include "lxcframegrabberreqs.h"

#include <stdexcept>
#include <string>

namespace acquisition {

using LxCV::CCTImage;
using LxCV::LxAFrameGrabber;

namespace {

/// `raw` is the raw image, whose memory serves for the next one.
void Acquire(LxAFrameGrabber& grabber, LxAFrameGrabber::ELedType kind, CCTImage& raw, CCTImage& image)
{
    const bool acquired = grabber.AcquireSingleImage(kind, raw);
    // Made without a temporary image: touching fresh memory is what an acquisition costs.
    image.Resize(grabber.GetWidth(), grabber.GetHeight(), CCTImage::eIDT_FLOAT32_3);
    if (!acquired || !image.IsValid() || !image.DoDimMatchWith(raw)) {
        const std::string name = kind == LxAFrameGrabber::eLT_Ref ? "reference" : "pattern";
        throw std::runtime_error(grabber.GetDriverName() + " delivers no " + name + " image");
    }
    grabber.GetReqs()->ConvertImage(&raw, &image);
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

} // namespace acquisition
