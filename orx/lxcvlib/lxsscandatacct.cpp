// Full-resolution images beside the reduced ones of a scan.
#include "lxsscandatacct.h"

#include "lxclxcvlibsettings.h"

#include <array>

namespace LxCV {

namespace {

constexpr int c_iReduction = 3; ///< columns of the full images for each of a reduced one

} // namespace

LxSScanDataCCT::LxSScanDataCCT() = default;

LxSScanDataCCT::~LxSScanDataCCT() = default;

bool LxSScanDataCCT::Initialize(int width, int height, int width2, int height2, bool withQualities)
{
    const bool reduced = LxCLxCVLibSettings::IsReduced(LxCLxCVLibSettings::GetReduceData());
    const int baseWidth = reduced ? width / c_iReduction : width;
    const bool haveBase = LxSScanData::Initialize(baseWidth, height, width2, height2, withQualities);
    const bool haveImages = CreateImages({{m_pFull3DPoints, width, height, CCTImage::eIDT_FLOAT32_3},
                                          {m_pFullValidMask, width, height, CCTImage::eIDT_UINT8},
                                          {m_pFullNormalMask, width, height, CCTImage::eIDT_UINT8},
                                          {m_pFullNormals, width, height, CCTImage::eIDT_FLOAT32_3},
                                          {m_pFullFloatPlane, width, height, CCTImage::eIDT_FLOAT32},
                                          {m_pFullUInt16Plane, width, height, CCTImage::eIDT_UINT16},
                                          {m_pFullColor, width, height, CCTImage::eIDT_BGRU8},
                                          {m_pARGBImage, width2, height2, CCTImage::eIDT_ARGB8}});
    m_iFullHostValue = 0;
    return haveBase && haveImages;
}

bool LxSScanDataCCT::Clear()
{
    const bool baseCleared = LxSScanData::Clear();
    const std::array<CCTImage*, 8> images = {
        m_pFull3DPoints.get(),   m_pFullValidMask.get(),   m_pFullNormalMask.get(), m_pFullNormals.get(),
        m_pFullFloatPlane.get(), m_pFullUInt16Plane.get(), m_pARGBImage.get(),      m_pFullColor.get()};
    return ClearImages(images) && baseCleared;
}

bool LxSScanDataCCT::Write3DFile(const std::string& fileName, bool reduced) const
{
    return reduced ? LxSScanData::Write3DFile(fileName)
                   : Write3DFile(m_pFull3DPoints.get(), m_pFullValidMask.get(), fileName);
}

} // namespace LxCV
