#include "scanner/acquisition/rawimages.h"

#include "lxcframegrabberreqs.h"

namespace acquisition {

using LxCV::CCTImage;

void DescribeRawImages(int width, int height, double noise, LxCV::LxCFrameGrabberReqs& reqs)
{
    const CCTImage::EImageDataType type = noise > 0.0 ? CCTImage::eIDT_BGRU8 : CCTImage::eIDT_FLOAT32_3;
    reqs.setWidthRaw(width);
    reqs.setHeightRaw(height);
    reqs.setImgTypeRaw(type);
    reqs.setBytesPerPixelRaw(CCTImage::GetBytesPerPixel(type));
    reqs.setWidth(width);
    reqs.setHeight(height);
}

} // namespace acquisition
