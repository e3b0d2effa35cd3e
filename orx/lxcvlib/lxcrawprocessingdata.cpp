// What the conversion of raw images works on.
#include "lxcrawprocessingdata.h"

#include "gpuimages.h"
#include "lxcframegrabberreqs.h"
#include "lxcimagedata.h"
#include "orx/logging/logger.h"

#include <algorithm>
#include <utility>

namespace LxCV {

namespace {

const Logging::CLogger s_Logger(L"ORX.Lumorad.LxCRawProcessingData");

} // namespace

bool LxCRawProcessingData::Init(
    int width, int height, int rawWidth, int rawHeight, CCTImage::EImageDataType rawType,
    // NOLINTNEXTLINE(performance-unnecessary-value-param): the interface passes a copy
    std::shared_ptr<GPGPU::IContext> context, bool rawOnGPU)
{
    m_bInitialized = false;
    m_pRawImageGPU.reset();
    if (std::min({width, height, rawWidth, rawHeight}) < 1 ||
        m_RawImage.Resize(rawWidth, rawHeight, CCTImage::eIDT_BGRU8) != CCTImage::eRC_OK) {
        s_Logger.Error(L"LxCRawProcessingData::Init: no images of %i by %i and %i by %i pixels", width,
                       height, rawWidth, rawHeight);
        return false;
    }
    m_bInitialized = context == nullptr || RunGPUInit(s_Logger, [&] {
                         LxCGPUBaseData::Init(width, height, rawWidth, rawHeight, rawType, context);
                         if (rawOnGPU) {
                             m_pRawImageGPU = CreateGPUCounterpart(context, m_RawImage);
                         }
                     });
    return m_bInitialized;
}

bool LxCRawProcessingData::Init(const std::shared_ptr<const LxCFrameGrabberReqs>& requirements,
                                std::shared_ptr<GPGPU::IContext> context, bool rawOnGPU)
{
    if (requirements == nullptr) {
        m_bInitialized = false;
        s_Logger.Error(L"LxCRawProcessingData::Init: no requirements");
        return false;
    }
    return Init(requirements->GetWidth(), requirements->GetHeight(), requirements->GetWidthRaw(),
                requirements->GetHeightRaw(), requirements->GetImgTypeRaw(), std::move(context), rawOnGPU);
}

void LxCRawProcessingData::SetImageData(std::shared_ptr<LxCImageData> imageData)
{
    m_pImageData = std::move(imageData);
}

} // namespace LxCV
