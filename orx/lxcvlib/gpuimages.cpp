// Images on a GPU beside those in host memory.
#include "gpuimages.h"

#include "cctimage.h"
#include "lxcgpuexception.h"
#include "orx/gpgpu/gpgpuexception.h"
#include "orx/logging/logger.h"

namespace LxCV {

namespace {

struct SPlanes
{
    EGPUPixelType eType;
    unsigned int uiChannels;
};

SPlanes PlanesOf(CCTImage::EImageDataType type)
{
    switch (type) {
    case CCTImage::eIDT_FLOAT32_3:
        return {eGPT_Float32, 3};
    case CCTImage::eIDT_BGRU8:
        return {eGPT_UInt8, 3};
    case CCTImage::eIDT_ARGB8:
    case CCTImage::eIDT_UINT32:
        return {eGPT_UInt32, 1};
    case CCTImage::eIDT_INT32:
        return {eGPT_Int32, 1};
    case CCTImage::eIDT_UINT16:
    case CCTImage::eIDT_INT16:
        return {eGPT_UInt16, 1};
    case CCTImage::eIDT_UINT8:
    case CCTImage::eIDT_INT8:
    case CCTImage::eIDT_GRAY8:
        return {eGPT_UInt8, 1};
    case CCTImage::eIDT_FLOAT32:
        return {eGPT_Float32, 1};
    case CCTImage::eIDT_FLOAT64:
        return {eGPT_Float64, 1};
    case CCTImage::eIDT_Undefined:
        break;
    }
    throw LxCGPUException("Could not create buffer!");
}

void LogException(const Logging::CLogger& logger, const char* text)
{
    logger.Error(L"LxCCCLAlgoData::Init: Exception %s", text);
}

} // namespace

std::shared_ptr<LxCGPUBuffer2D> CreateGPUCounterpart(const std::shared_ptr<GPGPU::IContext>& context,
                                                     const CCTImage& image)
{
    const SPlanes planes = PlanesOf(image.GetDataType());
    return std::make_shared<LxCGPUBuffer2D>(context, planes.eType,
                                            static_cast<unsigned int>(image.GetWidth()),
                                            static_cast<unsigned int>(image.GetHeight()), planes.uiChannels);
}

bool RunGPUInit(const Logging::CLogger& logger, const std::function<void()>& create)
{
    try {
        create();
    } catch (const LxCGPUException& exception) {
        LogException(logger, exception.what());
        logger.Error(L"Call stack: %s", exception.GetCallStack());
        return false;
    } catch (const GPGPU::CException& exception) {
        LogException(logger, exception.what());
        return false;
    }
    return true;
}

} // namespace LxCV
