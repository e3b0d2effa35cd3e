// The images of one measurement.
#include "lxcimagedata.h"

#include "gpuimages.h"
#include "lxcframegrabberreqs.h"
#include "lxclxcvlibsettings.h"
#include "orx/logging/logger.h"

#include <algorithm>
#include <array>
#include <limits>
#include <utility>

namespace LxCV {

namespace {

const Logging::CLogger s_Logger(L"ORX.Lumorad.LxCImageData");

/// Puts the class into the registry when the library is loaded.
[[maybe_unused]] const BtRTTI& s_Registered = LxCImageData::GetClassRTTI();

/// Appends black images; false if one cannot be made.
bool AppendBlackImages(std::vector<std::unique_ptr<CCTImage>>& images, std::uint64_t count, int width,
                       int height, CCTImage::EImageDataType type)
{
    for (std::uint64_t i = 0; i < count; ++i) {
        CCTImage* image = nullptr;
        if (CreateImage(&image, width, height, type, true, nullptr) != CCTImage::eRC_OK) {
            return false;
        }
        image->Clear();
        images.push_back(std::unique_ptr<CCTImage>(image));
    }
    return true;
}

/// Width of the live image without its border, which has no 3D data.
int WidthOfCut(int width)
{
    const std::int64_t cut = std::int64_t{width} - LxCLxCVLibSettings::GetMeasurementSettingBoundary3DData();
    return static_cast<int>(std::clamp<std::int64_t>(cut, 0, std::numeric_limits<int>::max()));
}

} // namespace

const BtRTTI& LxCImageData::GetClassRTTI()
{
    static const BtRTTI s_RTTI(L"LxCImageData", nullptr, &LxCImageData::CreateByFactory);
    return s_RTTI;
}

const BtRTTI& LxCImageData::GetRTTI() const
{
    return GetClassRTTI();
}

std::unique_ptr<BtRTTIObject> LxCImageData::CreateByFactory()
{
    return std::make_unique<LxCImageData>();
}

bool LxCImageData::Init(int width, int height, int rawWidth, int rawHeight,
                        // NOLINTNEXTLINE(performance-unnecessary-value-param): the interface passes a copy
                        std::shared_ptr<GPGPU::IContext> context, CCTImage::EImageDataType rawType)
{
    Release();
    if (std::min({width, height, rawWidth, rawHeight}) < 1 || CCTImage::GetBytesPerPixel(rawType) == 0) {
        s_Logger.Error(L"LxCImageData::Init: no images of %i by %i and %i by %i pixels, raw type %i", width,
                       height, rawWidth, rawHeight, rawType);
        return false;
    }
    m_iWidth = width;
    m_iHeight = height;
    m_iRawDataWidth = rawWidth;
    m_iRawDataHeight = rawHeight;
    m_eRawImgDataType = rawType;
    m_bInitialized = CreateImages() && CreateGPUImages(context);
    if (!m_bInitialized) {
        Release();
    }
    return m_bInitialized;
}

bool LxCImageData::Init(const std::shared_ptr<const LxCFrameGrabberReqs>& requirements,
                        std::shared_ptr<GPGPU::IContext> context)
{
    if (requirements == nullptr) {
        s_Logger.Error(L"LxCImageData::Init: no requirements");
        return false;
    }
    return Init(requirements->GetWidth(), requirements->GetHeight(), requirements->GetWidthRaw(),
                requirements->GetHeightRaw(), std::move(context), requirements->GetImgTypeRaw());
}

bool LxCImageData::CreateImages()
{
    if (m_LiveImageCut.Resize(WidthOfCut(m_iWidth), m_iHeight, CCTImage::eIDT_ARGB8) == CCTImage::eRC_OK &&
        AppendBlackImages(m_vRawImages, m_uiMaxNumRawImages, m_iRawDataWidth, m_iRawDataHeight,
                          m_eRawImgDataType) &&
        AppendBlackImages(m_vImages, m_uiMaxNumRawImages, m_iWidth, m_iHeight, CCTImage::eIDT_FLOAT32_3)) {
        return true;
    }
    s_Logger.Error(L"LxCImageData::Init: out of memory");
    return false;
}

bool LxCImageData::CreateGPUImages(const std::shared_ptr<GPGPU::IContext>& context)
{
    m_vGPUImages.assign(m_vImages.size(), nullptr);
    return context == nullptr || RunGPUInit(s_Logger, [&] {
               for (std::size_t i = 0; i < m_vImages.size(); ++i) {
                   m_vGPUImages[i] = CreateGPUCounterpart(context, *m_vImages[i]);
               }
               m_pLiveImgFloatGPU = CreateGPUCounterpart(context, *m_vImages.front());
           });
}

void LxCImageData::ReleaseGPUImages()
{
    m_vGPUImages.clear();
    m_pLiveImgFloatGPU.reset();
}

void LxCImageData::Release()
{
    ReleaseGPUImages();
    m_vRawImages.clear();
    m_vImages.clear();
    m_LiveImageCut.Resize(0, 0);
    m_ExternShiftedRefImg.Resize(0, 0);
    m_bInitialized = false;
}

bool LxCImageData::CopyRawImages(std::span<const CCTImage* const> images)
{
    const auto present = images.first(std::min<std::size_t>(images.size(), m_uiMaxNumRawImages));
    if (!m_bInitialized || std::find(present.begin(), present.end(), nullptr) != present.end()) {
        s_Logger.Error(L"LxCImageData::SetRawImages: %s", m_bInitialized ? "null image" : "not initialised");
        return false;
    }
    for (std::size_t i = 0; i < present.size(); ++i) {
        if (m_vRawImages[i]->CopyFrom(present[i], false) != CCTImage::eRC_OK) {
            s_Logger.Error(L"LxCImageData::SetRawImages: image without memory");
            return false;
        }
    }
    m_uiNumRawImages = present.size();
    return true;
}

bool LxCImageData::KeepMetaData(const LxSFrameGrabberMetaData& metaData)
{
    m_MetaData = metaData;
    return true;
}

bool LxCImageData::SetRawImages(const std::vector<CCTImage*>& images)
{
    return CopyRawImages({images.data(), images.size()});
}

bool LxCImageData::SetRawImages(const std::vector<CCTImage*>& images, const LxSFrameGrabberMetaData& metaData)
{
    return SetRawImages(images) && KeepMetaData(metaData);
}

bool LxCImageData::SetRawImages(const CCTImage* pattern, const CCTImage* reference)
{
    return CopyRawImages(std::array{pattern, reference});
}

bool LxCImageData::SetRawImages(const CCTImage* pattern, const CCTImage* reference,
                                const LxSFrameGrabberMetaData& metaData)
{
    return SetRawImages(pattern, reference) && KeepMetaData(metaData);
}

bool LxCImageData::SetRawImages(const CCTImage* pattern)
{
    return CopyRawImages({&pattern, 1});
}

bool LxCImageData::SetRawImages(const CCTImage* pattern, const LxSFrameGrabberMetaData& metaData)
{
    return SetRawImages(pattern) && KeepMetaData(metaData);
}

bool LxCImageData::SetRawImages(const std::shared_ptr<CCTImage>& pattern,
                                const std::shared_ptr<CCTImage>& reference,
                                const std::shared_ptr<LxSFrameGrabberMetaData>& metaData)
{
    if (metaData == nullptr) {
        s_Logger.Error(L"LxCImageData::SetRawImages: no metadata");
        return false;
    }
    return SetRawImages(pattern.get(), reference.get(), *metaData);
}

} // namespace LxCV
