// The working images of the stripe decoding.
#include "lxccclalgodata.h"

#include "gpuimages.h"
#include "lxcframegrabberreqs.h"
#include "lxcimagedata.h"
#include "orx/logging/logger.h"

#include <algorithm>
#include <utility>

namespace LxCV {

namespace {

const Logging::CLogger s_Logger(L"ORX.Lumorad.LxCCCLAlgoData");

struct SWorkImage
{
    bool bHalved;
    CCTImage::EImageDataType eType;
};

constexpr std::array<SWorkImage, LxCCCLAlgoData::sc_uiNumWorkImages> c_workImages{{
    {false, CCTImage::eIDT_FLOAT32_3},
    {false, CCTImage::eIDT_FLOAT32_3},
    {false, CCTImage::eIDT_FLOAT32_3},
    {false, CCTImage::eIDT_FLOAT32_3},
    {true, CCTImage::eIDT_FLOAT32_3},
    {false, CCTImage::eIDT_FLOAT32_3},
    {false, CCTImage::eIDT_ARGB8},
    {false, CCTImage::eIDT_ARGB8},
    {true, CCTImage::eIDT_FLOAT32_3},
    {true, CCTImage::eIDT_FLOAT32_3},
    {true, CCTImage::eIDT_ARGB8},
}};

} // namespace

bool LxCCCLAlgoData::Init(int width, int height, int rawWidth, int rawHeight,
                          CCTImage::EImageDataType rawType,
                          // NOLINTNEXTLINE(performance-unnecessary-value-param): the interface passes a copy
                          std::shared_ptr<GPGPU::IContext> context, const CCTImage* lastImage)
{
    m_bInitialized = false;
    m_aWorkImagesGPU.fill(nullptr);
    m_bInitialized = ResizeImages(width, height) && FillLastImage(lastImage) &&
                     CreateGPUImages(width, height, rawWidth, rawHeight, rawType, context);
    return m_bInitialized;
}

bool LxCCCLAlgoData::Init(const std::shared_ptr<const LxCFrameGrabberReqs>& requirements,
                          std::shared_ptr<GPGPU::IContext> context)
{
    if (requirements == nullptr) {
        m_bInitialized = false;
        s_Logger.Error(L"LxCCCLAlgoData::Init: no requirements");
        return false;
    }
    return Init(requirements->GetWidth(), requirements->GetHeight(), requirements->GetWidthRaw(),
                requirements->GetHeightRaw(), requirements->GetImgTypeRaw(), std::move(context), nullptr);
}

bool LxCCCLAlgoData::ResizeImages(int width, int height)
{
    bool done = width > 0 && height > 0;
    for (std::size_t i = 0; done && i < m_aWorkImages.size(); ++i) {
        const int divisor = c_workImages[i].bHalved ? 2 : 1;
        done = m_aWorkImages[i].Resize(width / divisor, height / divisor, c_workImages[i].eType) ==
               CCTImage::eRC_OK;
    }
    done = done && m_LastImage.Resize(width, height, CCTImage::eIDT_ARGB8) == CCTImage::eRC_OK;
    if (!done) {
        s_Logger.Error(L"LxCCCLAlgoData::Init: no images of %i by %i pixels", width, height);
    }
    return done;
}

bool LxCCCLAlgoData::FillLastImage(const CCTImage* source)
{
    if (source == nullptr) {
        return true;
    }
    if (!source->DoTypeAndDimMatchWith(m_LastImage) || !source->IsValid()) {
        s_Logger.Error(L"LxCCCLAlgoData::Init: last image of type %i with %i by %i pixels does not fit",
                       source->GetDataType(), source->GetWidth(), source->GetHeight());
        return false;
    }
    return m_LastImage.CopyFrom(source, false) == CCTImage::eRC_OK;
}

bool LxCCCLAlgoData::CreateGPUImages(int width, int height, int rawWidth, int rawHeight,
                                     CCTImage::EImageDataType rawType,
                                     const std::shared_ptr<GPGPU::IContext>& context)
{
    return context == nullptr || RunGPUInit(s_Logger, [&] {
               LxCGPUBaseData::Init(width, height, rawWidth, rawHeight, rawType, context);
               for (std::size_t i = 0; i < m_aWorkImages.size(); ++i) {
                   m_aWorkImagesGPU[i] = CreateGPUCounterpart(context, m_aWorkImages[i]);
               }
           });
}

void LxCCCLAlgoData::SetImageData(std::shared_ptr<LxCImageData> imageData)
{
    m_pImageData = std::move(imageData);
}

} // namespace LxCV
