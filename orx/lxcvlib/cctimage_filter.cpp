// Smoothing and gradients of images.
#include "cctimage.h"

#include "filterkernels.h"
#include "orx/logging/logger.h"

namespace LxCV {

namespace {

const Logging::CLogger s_Logger(L"ORX.Lumorad.CCTImage");

constexpr int c_iSmallestKernel = 3;
constexpr int c_iLargestKernel = 2 * static_cast<int>(FilterKernels::c_uiMaxBinomialRadius) + 1;

static_assert(CCTImage::sc_iMaxBlurSize == 2 * static_cast<int>(FilterKernels::c_uiMaxBoxRadius) + 1);

bool IsKernelOfSmooth(int kernelX, int kernelY)
{
    return kernelX == kernelY && kernelX >= c_iSmallestKernel && kernelX <= c_iLargestKernel &&
           kernelX % 2 != 0;
}

FilterKernels::SPlane PlaneOf(const CCTImage& image)
{
    return {static_cast<std::size_t>(image.GetWidth()), static_cast<std::size_t>(image.GetHeight()),
            static_cast<std::size_t>(image.GetNumChannels())};
}

std::span<const float> FloatsOf(const CCTImage& image)
{
    return {static_cast<const float*>(image.GetBuffer()), PlaneOf(image).Size()};
}

std::span<float> FloatsOf(CCTImage& image)
{
    return {static_cast<float*>(image.GetBuffer()), PlaneOf(image).Size()};
}

} // namespace

/// What all filters ask of their images but that these are two.
CCTImage::EReturnCode CCTImage::CheckFilter(const CCTImage* target) const
{
    if (target == nullptr || LacksMemory() || target->LacksMemory()) {
        return eRC_NullPointer;
    }
    return DoBPPAndDimMatchWith(*target) ? eRC_OK : eRC_SizeMismatch;
}

CCTImage::EReturnCode CCTImage::Smooth(CCTImage* target, ESmoothingMode mode, int kernelX, int kernelY) const
{
    if (const EReturnCode result = CheckFilter(target); result != eRC_OK) {
        return result;
    }
    if (mode == eSM_None) {
        return target->CopyFrom(this, false);
    }
    if (target == this) {
        s_Logger.Error(L"CCTImage::Smooth: The input image and output image could not be the same image!\n");
        return eRC_NullPointer;
    }
    if (!IsKernelOfSmooth(kernelX, kernelY)) {
        s_Logger.Error(L"CCTImage::Smooth only supports 3x3, 5x5, 7x7, 9x9 and 11x11!\n");
        return eRC_NullPointer;
    }
    if (m_eDataType != eIDT_FLOAT32_3) {
        s_Logger.Error(L"CCTImage::Smooth only supports CCTImage::eIDT_FLOAT32_3\n");
        return eRC_UnsupportedType;
    }
    if (mode == eSM_Gaussian) {
        return SmoothGauss(kernelX / 2, target);
    }
    if (mode == eSM_Blur) {
        return SmoothBlur(kernelX, target);
    }
    // The second blank of the middle sizes is deliberate: hosts filter their logs by these texts.
    if (kernelX == c_iSmallestKernel || kernelX == c_iLargestKernel) {
        s_Logger.Error(L"CCTImage::Smooth only supports CCTImage::eSM_Blur and CCTImage::eSM_Gaussian!\n");
    } else {
        s_Logger.Error(L"CCTImage::Smooth only supports  CCTImage::eSM_Blur and CCTImage::eSM_Gaussian!\n");
    }
    return eRC_NullPointer;
}

CCTImage::EReturnCode CCTImage::SmoothGauss(int radius, CCTImage* target) const
{
    if (const EReturnCode result = CheckFilter(target); result != eRC_OK) {
        return result;
    }
    if (target == this) {
        return eRC_NullPointer;
    }
    if (m_eDataType != eIDT_FLOAT32_3) {
        return eRC_UnsupportedType;
    }
    FilterKernels::SmoothBinomial(PlaneOf(*this), static_cast<std::size_t>(radius), FloatsOf(*this),
                                  FloatsOf(*target));
    return eRC_OK;
}

CCTImage::EReturnCode CCTImage::SmoothBlur(int size, CCTImage* target) const
{
    if (const EReturnCode result = CheckFilter(target); result != eRC_OK) {
        return result;
    }
    if (target == this) {
        return eRC_NullPointer;
    }
    if (size < 1 || size % 2 == 0 || size > sc_iMaxBlurSize) {
        return eRC_InvalidKernel;
    }
    if (m_eDataType != eIDT_FLOAT32_3) {
        return eRC_UnsupportedType;
    }
    FilterKernels::SmoothBox(PlaneOf(*this), static_cast<std::size_t>(size / 2), FloatsOf(*this),
                             FloatsOf(*target));
    return eRC_OK;
}

CCTImage::EReturnCode CCTImage::Sobel(CCTImage* target, bool rowsAlongX) const
{
    if (target == nullptr || LacksMemory() || target->LacksMemory()) {
        return eRC_NullPointer;
    }
    if (!DoBPPAndDimMatchWith(*target)) {
        return eRC_SizeMismatch;
    }
    if (m_eDataType != target->m_eDataType) {
        return eRC_NullPointer;
    }
    if (target == this) {
        s_Logger.Error(L"CCTImage::Sobel: The input image and output image could not be the same image!\n");
        return eRC_NullPointer;
    }
    if (m_eDataType != eIDT_FLOAT32_3) {
        s_Logger.Error(L"CCTImage::Sobel only supports CCTImage::eIDT_FLOAT32_3\n");
        return eRC_UnsupportedType;
    }
    const auto axis = rowsAlongX ? FilterKernels::EAxis::eY : FilterKernels::EAxis::eX;
    FilterKernels::Gradient(PlaneOf(*this), axis, FloatsOf(*this), FloatsOf(*target));
    return eRC_OK;
}

} // namespace LxCV
