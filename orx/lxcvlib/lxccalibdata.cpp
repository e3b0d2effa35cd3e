// The working images of one calibration step.
#include "lxccalibdata.h"

#include "lxcframegrabberreqs.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

namespace LxCV {
namespace {

using enum CCTImage::EImageDataType;

constexpr std::size_t c_uiImageCount = 25;
constexpr int c_iBitDepth = 8;

/// Pixel types by image number less one.
constexpr std::array<CCTImage::EImageDataType, c_uiImageCount> c_Types = {
    eIDT_FLOAT32_3, eIDT_FLOAT32_3, eIDT_ARGB8, eIDT_ARGB8, // camera: image, smoothed, mask, debug
    eIDT_FLOAT32,   eIDT_FLOAT32,                           // gradients
    eIDT_INT32,     eIDT_INT32,     eIDT_INT32, eIDT_INT32, // edges and ids
    eIDT_ARGB8,     eIDT_ARGB8,     eIDT_ARGB8,             // spare
    eIDT_FLOAT32_3, eIDT_FLOAT32_3, eIDT_ARGB8, eIDT_ARGB8, // projector: image, smoothed, mask, debug
    eIDT_FLOAT32,                                           // gradient
    eIDT_INT32,     eIDT_INT32,     eIDT_INT32, eIDT_INT32, // edges and ids
    eIDT_ARGB8,     eIDT_ARGB8,     eIDT_ARGB8};            // spare

struct SDump
{
    LxCCalibData::EImage image;
    std::wstring_view suffix;
};

/// The images that are dumped, in their order.
constexpr std::array<SDump, 11> c_aDumps{{
    {LxCCalibData::eCamDebugImage, L"_CamCalibImg"},
    {LxCCalibData::eCamHorEdges, L"_HorEdgeImgCam"},
    {LxCCalibData::eCamVerEdges, L"_VerEdgeImgCam"},
    {LxCCalibData::eCamHorIds, L"_HorIdImgCam"},
    {LxCCalibData::eCamVerIds, L"_VerIdImgCam"},
    {LxCCalibData::eProjDebugImage, L"_ProjCalibImg"},
    {LxCCalibData::eProjMask, L"_ProjCalibMask"},
    {LxCCalibData::eProjHorEdges, L"_HorEdgeImgProj"},
    {LxCCalibData::eProjVerEdges, L"_VerEdgeImgProj"},
    {LxCCalibData::eProjHorIds, L"_HorIdImgProj"},
    {LxCCalibData::eProjVerIds, L"_VerIdImgProj"},
}};

} // namespace

LxCCalibData::LxCCalibData() : m_vImages(c_uiImageCount) {}

LxCCalibData::LxCCalibData(const LxCCalibData& other)
    : m_vImages(other.m_vImages), m_bCamMaskInUse(other.m_bCamMaskInUse),
      m_bProjMaskInUse(other.m_bProjMaskInUse), m_bInitialized(other.m_bInitialized),
      m_iBitDepth(other.m_iBitDepth)
{
    // An image's own copy leaves the id behind.
    for (std::size_t i = 0; i < c_uiImageCount; ++i) {
        m_vImages[i].SetId(other.m_vImages[i].GetId());
    }
}

LxCCalibData::LxCCalibData(LxCCalibData&& other) noexcept : LxCCalibData()
{
    Swap(other);
}

LxCCalibData& LxCCalibData::operator=(const LxCCalibData& other)
{
    // Not image by image: an image's own assignment shares memory that the source merely wraps.
    LxCCalibData copy(other);
    Swap(copy);
    return *this;
}

LxCCalibData& LxCCalibData::operator=(LxCCalibData&& other) noexcept
{
    Swap(other);
    return *this;
}

void LxCCalibData::Swap(LxCCalibData& other) noexcept
{
    std::swap(m_vImages, other.m_vImages);
    std::swap(m_bCamMaskInUse, other.m_bCamMaskInUse);
    std::swap(m_bProjMaskInUse, other.m_bProjMaskInUse);
    std::swap(m_bInitialized, other.m_bInitialized);
    std::swap(m_iBitDepth, other.m_iBitDepth);
}

void LxCCalibData::Init(int width, int height)
{
    for (std::size_t i = 0; i < c_uiImageCount; ++i) {
        m_vImages[i].Resize(width, height, c_Types[i]);
    }
    m_iBitDepth = c_iBitDepth;
    m_bCamMaskInUse = false;
    m_bProjMaskInUse = false;
    m_bInitialized = true;
}

void LxCCalibData::Init(const std::shared_ptr<const LxCFrameGrabberReqs>& reqs)
{
    if (reqs != nullptr) {
        Init(reqs->GetWidth(), reqs->GetHeight());
    }
}

CCTImage& LxCCalibData::GetImage(EImage image)
{
    return m_vImages.at(static_cast<std::size_t>(image) - 1);
}

const CCTImage& LxCCalibData::GetImage(EImage image) const
{
    return m_vImages.at(static_cast<std::size_t>(image) - 1);
}

CCTImage::EReturnCode LxCCalibData::DumpAllImages(const std::wstring& base) const
{
    // Saving drops what follows the last point of a name: the suffix must not stand there.
    constexpr std::size_t c_iLongestExtension = 5; // ".tiff"
    const std::size_t point = std::min(base.rfind(L'.'), base.size());
    const bool hasExtension = base.size() - point <= c_iLongestExtension && CCTImage::IsValidFilename(base);
    const std::size_t nameLength = hasExtension ? point : base.size();
    const std::wstring extension = hasExtension ? base.substr(nameLength) : L".tif";
    CCTImage::EReturnCode result = CCTImage::eRC_OK;
    for (const SDump& dump : c_aDumps) {
        const std::wstring path = base.substr(0, nameLength).append(dump.suffix) + extension;
        const CCTImage::EReturnCode saved = GetImage(dump.image).Save(path);
        if (result == CCTImage::eRC_OK) {
            result = saved;
        }
    }
    return result;
}

} // namespace LxCV
