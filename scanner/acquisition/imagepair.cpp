#include "scanner/acquisition/imagepair.h"

#include "lxaframegrabber.h"
#include "lxcframegrabberreqs.h"

#include <functional>
#include <memory>
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

/// Gives the raw image back in any case.
bool Take(LxAFrameGrabber& grabber, LxAFrameGrabber::ELedType kind, CCTImage& image)
{
    CCTImage* const raw = grabber.AcquireImageRaw(kind);
    if (raw == nullptr) {
        return false;
    }
    const std::unique_ptr<CCTImage, std::function<void(CCTImage*)>> lent(
        raw, [&grabber](CCTImage* taken) { grabber.ReEnqueueRawBuffers(taken); });
    if (!image.DoDimMatchWith(*raw) || image.GetDataType() != CCTImage::eIDT_FLOAT32_3) {
        image.Resize(raw->GetWidth(), raw->GetHeight(), CCTImage::eIDT_FLOAT32_3);
    }
    if (!image.IsValid()) {
        return false;
    }
    grabber.GetReqs()->ConvertImage(raw, &image);
    return true;
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
