#include "scanner/acquisition/imagepair.h"

#include "lxaframegrabber.h"
#include "lxcframegrabberreqs.h"

#include <stdexcept>
#include <string>

namespace acquisition {

using LxCV::CCTImage;
using LxCV::LxAFrameGrabber;

namespace {

void Acquire(LxAFrameGrabber& grabber, LxAFrameGrabber::ELedType kind, CCTImage& image)
{
    CCTImage raw;
    if (!grabber.AcquireSingleImage(kind, raw)) {
        const std::string name = kind == LxAFrameGrabber::eLT_Ref ? "reference" : "pattern";
        throw std::runtime_error(grabber.GetDriverName() + " delivers no " + name + " image");
    }
    image = CCTImage(grabber.GetWidth(), grabber.GetHeight(), CCTImage::eIDT_FLOAT32_3, 0.0F);
    grabber.GetReqs()->ConvertImage(&raw, &image);
}

} // namespace

ImagePair AcquirePair(LxAFrameGrabber& grabber)
{
    ImagePair images;
    Acquire(grabber, LxAFrameGrabber::eLT_Pat, images.pattern);
    Acquire(grabber, LxAFrameGrabber::eLT_Ref, images.reference);
    return images;
}

} // namespace acquisition
