// The images of a confocal scan.
#include "lxsscandataqcc.h"

#include <array>

namespace LxCV {

LxSScanDataQCC::LxSScanDataQCC() = default;

LxSScanDataQCC::~LxSScanDataQCC() = default;

bool LxSScanDataQCC::Initialize(int width, int height, int width2, int height2, bool withQualities)
{
    const bool haveBase = LxSScanData::Initialize(width, height, width2, height2, withQualities);
    const bool haveImages = CreateImages({{m_pARGBImage, width2, height2, CCTImage::eIDT_ARGB8},
                                          {m_pFloatImage, width2, height2, CCTImage::eIDT_FLOAT32}});
    return haveBase && haveImages;
}

bool LxSScanDataQCC::Clear()
{
    const bool baseCleared = LxSScanData::Clear();
    const std::array<CCTImage*, 2> images = {m_pARGBImage.get(), m_pFloatImage.get()};
    return ClearImages(images) && baseCleared;
}

} // namespace LxCV
