// Conversions of images between pixel types.
#include "cctimage.h"
#include "orx/platform/imagecodec.h"
#include "orx/ymalgo/ymcolorrgba.h"
#include "pixelelements.h"
#include "pixelkernels.h"

#include <array>
#include <cmath>
#include <memory>
#include <new>
#include <stdexcept>

namespace LxCV {

using namespace ImageKernels;

namespace {

constexpr float c_fFullScale = 255.0F; // of a colour channel

/// Copies an `eIDT_ARGB8` image, whose alpha becomes opaque, to a bitmap.
CCTImage::EReturnCode FillBitmap(CCTImage& argb, platform::CPixels& bitmap)
{
    const CCTImage::EReturnCode result = argb.MakeOpaque(&argb);
    if (result != CCTImage::eRC_OK) {
        return result;
    }
    const std::span<const std::byte> bytes = std::as_bytes(ElementsOf<std::uint32_t>(argb));
    try {
        bitmap = {
            argb.GetWidth(), argb.GetHeight(), platform::EPixelFormat::eBgra8, {bytes.begin(), bytes.end()}};
    } catch (const std::bad_alloc&) {
        return CCTImage::eRC_OutOfMemory;
    }
    return CCTImage::eRC_OK;
}

/// Indexed by `CCTImage::EConversionMode`.
constexpr std::array<SGrayMix, 6> c_aGrayMixes{{
    {1, 0, 0, 0, 0},
    {0, 1, 0, 0, 0},
    {0, 0, 1, 0, 0},
    c_MixWeighted,
    {21846, 21846, 21846, 0, 16}, // a third; of sums up to 3 * 255, the exact quotient without its fraction
    {29, 150, 77, 128, 8},
}};

/// Calls `call(layout)` with how the pixels of a colour, or of a grey that stands for one, lie in memory.
/// @return false, and no call, for other types
template <typename Call>
bool WithColorLayout(CCTImage::EImageDataType type, Call call)
{
    switch (type) {
    case CCTImage::eIDT_ARGB8:
        call(Argb8());
        return true;
    case CCTImage::eIDT_BGRU8:
        call(Bgr8());
        return true;
    case CCTImage::eIDT_UINT8:
    case CCTImage::eIDT_GRAY8:
        call(Gray8());
        return true;
    case CCTImage::eIDT_FLOAT32:
        call(GrayFloat());
        return true;
    case CCTImage::eIDT_FLOAT32_3:
        call(BgrFloat());
        return true;
    default:
        return false;
    }
}

template <typename Layout>
auto PixelsOf(const CCTImage& image)
{
    return ElementsOf<typename Layout::Element>(image);
}

template <typename Layout>
auto PixelsOf(CCTImage& image)
{
    return ElementsOf<typename Layout::Element>(image);
}

template <typename Source, typename Target>
void ConvertImagePixels(const CCTImage& source, const SExtent& from, CCTImage& target, const SExtent& to)
{
    ConvertRows<Source, Target>(from, PixelsOf<Source>(source), to, PixelsOf<Target>(target),
                                ConvertPixels<Source, Target>);
}

bool IsColorType(CCTImage::EImageDataType type)
{
    return type == CCTImage::eIDT_ARGB8 || type == CCTImage::eIDT_BGRU8 || type == CCTImage::eIDT_FLOAT32_3;
}

CCTImage::EImageDataType FloatTypeFor(CCTImage::EImageDataType type)
{
    return IsColorType(type) || type == CCTImage::eIDT_GRAY8 ? CCTImage::eIDT_FLOAT32_3
                                                             : CCTImage::eIDT_FLOAT32;
}

struct SGammas
{
    float saturation;
    float value;
};

/// Applies the gammas to one pixel, blue, green and red on the scale 0 to 255.
template <typename Element>
void CorrectPixel(std::span<const Element, 3> source, const SGammas& gammas, std::span<Element, 3> target)
{
    const auto channel = [&source](std::size_t i) { return static_cast<float>(source[i]) / c_fFullScale; };
    YmColorRGBA::SHsv hsv = YmColorRGBA::RgbToHsv({channel(2), channel(1), channel(0)});
    // In double precision, whose rounding, which differs among processors, is lost in that to float.
    hsv.fSaturation = static_cast<float>(std::pow(double{hsv.fSaturation}, double{gammas.saturation}));
    hsv.fValue = static_cast<float>(std::pow(double{hsv.fValue}, double{gammas.value}));
    const YmColorRGBA color = YmColorRGBA::HsvToRgb(hsv);
    target[0] = ConvertElement<Element>(color.fBlue * c_fFullScale);
    target[1] = ConvertElement<Element>(color.fGreen * c_fFullScale);
    target[2] = ConvertElement<Element>(color.fRed * c_fFullScale);
}

template <typename Layout>
void CorrectPixels(std::span<const typename Layout::Element> source, const SGammas& gammas,
                   std::span<typename Layout::Element> target)
{
    constexpr std::size_t stride = Layout::c_iStride;
    for (std::size_t i = 0; i + stride <= std::min(source.size(), target.size()); i += stride) {
        CorrectPixel<typename Layout::Element>(source.subspan(i).template first<3>(), gammas,
                                               target.subspan(i).template first<3>());
        if constexpr (stride > 3) {
            target[i + 3] = source[i + 3];
        }
    }
}

template <typename T>
T JoinFour(T a, T b, T c, T d, bool sum)
{
    using Wide = std::conditional_t<std::is_integral_v<T>, std::int64_t, T>;
    const Wide total =
        (static_cast<Wide>(a) + static_cast<Wide>(b)) + (static_cast<Wide>(c) + static_cast<Wide>(d));
    if constexpr (std::is_floating_point_v<T>) {
        return sum ? total : total * T{0.25};
    } else {
        using Limits = std::numeric_limits<T>;
        return static_cast<T>(sum ? std::clamp<Wide>(total, Limits::min(), Limits::max()) : (total + 2) >> 2);
    }
}

/// @param width elements of a source row; @param channels elements of a pixel
template <typename T>
void BinElements(std::span<const T> source, std::size_t width, std::size_t channels, const SExtent& to,
                 bool sum, std::span<T> target)
{
    for (std::size_t y = 0; y < to.height; ++y) {
        const std::span<const T> upper = source.subspan(2 * y * width, width);
        const std::span<const T> lower = source.subspan((2 * y + 1) * width, width);
        const std::span<T> row = target.subspan(y * to.width * channels, to.width * channels);
        for (std::size_t x = 0; x < to.width; ++x) {
            for (std::size_t c = 0; c < channels; ++c) {
                const std::size_t left = 2 * x * channels + c;
                const std::size_t right = left + channels;
                row[x * channels + c] = JoinFour(upper[left], upper[right], lower[left], lower[right], sum);
            }
        }
    }
}

} // namespace

SExtent CCTImage::Extent() const
{
    return {static_cast<std::size_t>(m_iWidth), static_cast<std::size_t>(m_iHeight)};
}

CCTImage::EReturnCode CCTImage::Convert(CCTImage* target, bool resize) const
{
    if (target == nullptr) {
        return eRC_Failed;
    }
    switch (target->m_eDataType) {
    case eIDT_ARGB8:
        return ConvertToARGB8(target, resize);
    case eIDT_BGRU8:
        return ConvertToBGRU8(target, resize);
    case eIDT_FLOAT32:
    case eIDT_FLOAT32_3:
        return ConvertToFloat(target, resize);
    case eIDT_UINT8:
    case eIDT_GRAY8:
        if (m_eDataType == eIDT_ARGB8) {
            return ConvertToGrayscale(target, eCM_Weighted);
        }
        if (m_eDataType == eIDT_UINT8 || m_eDataType == eIDT_GRAY8) {
            return target->CopyFrom(this, false);
        }
        return eRC_OK;
    default:
        throw std::invalid_argument("CCTImage::Convert - unsupported type");
    }
}

CCTImage::EReturnCode CCTImage::ConvertToGrayscale(CCTImage* target, EConversionMode mode) const
{
    if (target == nullptr) {
        return eRC_Failed;
    }
    if (m_eDataType != eIDT_ARGB8 && m_eDataType != eIDT_BGRU8) {
        return eRC_WrongFormat;
    }
    const auto index = static_cast<std::size_t>(mode);
    if (index >= c_aGrayMixes.size()) {
        return eRC_InvalidArgument;
    }
    if (target->m_eDataType != eIDT_UINT8 && target->m_eDataType != eIDT_GRAY8) {
        return eRC_UnsupportedType;
    }
    const EReturnCode result = PrepareConversion(target, target->m_eDataType, false);
    if (result != eRC_OK) {
        return result;
    }
    const SGrayMix& mix = c_aGrayMixes[index];
    const auto convert = [&]<typename Layout>(Layout, auto kernel) {
        ConvertRows<Layout, Gray8>(Extent(), PixelsOf<Layout>(*this), target->Extent(),
                                   PixelsOf<Gray8>(*target),
                                   [&](auto source, auto gray) { kernel(source, mix, gray); });
    };
    if (m_eDataType == eIDT_ARGB8) {
        convert(Argb8(), MixArgbToGray);
    } else {
        convert(Bgr8(), MixBgrToGray);
    }
    return eRC_OK;
}

CCTImage::EReturnCode CCTImage::ConvertToARGB8(CCTImage* target, bool resize) const
{
    if (target == nullptr) {
        return eRC_Failed;
    }
    if (!resize && target->m_eDataType != eIDT_ARGB8) {
        throw std::invalid_argument("CCTImage::ConvertToARGB8 -> wrong type of destination image");
    }
    return ConvertToColor8(target, eIDT_ARGB8, resize);
}

CCTImage::EReturnCode CCTImage::ConvertToBGRU8(CCTImage* target, bool resize) const
{
    if (target == nullptr) {
        return eRC_Failed;
    }
    if (!resize && target->m_eDataType != eIDT_BGRU8) {
        throw std::invalid_argument("CCTImage::ConvertToBGRU8 -> wrong type of destination image");
    }
    return ConvertToColor8(target, eIDT_BGRU8, resize);
}

CCTImage::EReturnCode CCTImage::ConvertToFloat(CCTImage* target, bool resize) const
{
    if (target == nullptr) {
        return eRC_Failed;
    }
    const EImageDataType type = FloatTypeFor(m_eDataType);
    if (!resize && target->m_eDataType != eIDT_FLOAT32 && target->m_eDataType != eIDT_FLOAT32_3) {
        throw std::invalid_argument("CCTImage::ConvertToFloat -> wrong type of destination image");
    }
    if (!resize && target->m_eDataType != type) {
        return eRC_WrongFormat;
    }
    if (resize && target == this && m_eDataType != type) {
        CCTImage* copy = nullptr;
        const EReturnCode copied = CreateCopy(&copy, false);
        const std::unique_ptr<CCTImage> source(copy);
        return source == nullptr ? copied : source->ConvertToFloat(target, resize);
    }
    const EReturnCode result = PrepareConversion(target, type, resize);
    if (result != eRC_OK) {
        return result;
    }
    if (type == eIDT_FLOAT32_3) {
        WithColorLayout(m_eDataType, [&]<typename Source>(Source) {
            if constexpr (Source::c_bIsColor || std::is_same_v<Source, Gray8>) {
                ConvertImagePixels<Source, BgrFloat>(*this, Extent(), *target, target->Extent());
            }
        });
    } else {
        WithElementType(m_eDataType, [&]<typename T>(std::type_identity<T>) {
            ConvertImagePixels<SPixelLayout<T, 1>, GrayFloat>(*this, Extent(), *target, target->Extent());
        });
    }
    return eRC_OK;
}

CCTImage::EReturnCode CCTImage::CreateRGBFromSingleChannel(CCTImage* target,
                                                           LxCColorValueFloat::EColor channel) const
{
    if (target == nullptr) {
        return eRC_Failed;
    }
    if (!WithColorLayout(m_eDataType, [](auto) {})) {
        return eRC_WrongFormat;
    }
    if (channel < LxCColorValueFloat::eBlue || channel > LxCColorValueFloat::eRed) {
        return eRC_InvalidArgument;
    }
    if (!IsColorType(target->m_eDataType)) {
        return eRC_UnsupportedType;
    }
    const EReturnCode result = PrepareConversion(target, target->m_eDataType, false);
    if (result != eRC_OK || !DoDimMatchWith(*target)) {
        return result != eRC_OK ? result : eRC_SizeMismatch;
    }
    WithColorLayout(m_eDataType, [&]<typename Source>(Source) {
        const std::size_t element = Source::c_bIsColor ? static_cast<std::size_t>(channel) : 0;
        WithColorLayout(target->m_eDataType, [&]<typename Target>(Target) {
            if constexpr (Target::c_bIsColor) {
                SpreadChannel<Source, Target>(PixelsOf<Source>(*this), element, PixelsOf<Target>(*target));
            }
        });
    });
    return eRC_OK;
}

CCTImage::EReturnCode CCTImage::CreateBitmap(platform::CPixels* bitmap) const
{
    if (bitmap == nullptr) {
        return eRC_Failed;
    }
    CCTImage argb;
    const EReturnCode result = ConvertToARGB8(&argb, true);
    return result != eRC_OK ? result : FillBitmap(argb, *bitmap);
}

CCTImage::EReturnCode CCTImage::CreateBitmapFromGreenChannel(platform::CPixels* bitmap) const
{
    if (bitmap == nullptr) {
        return eRC_Failed;
    }
    CCTImage argb;
    EReturnCode result = argb.Resize(m_iWidth, m_iHeight, eIDT_ARGB8);
    if (result == eRC_OK) {
        result = CreateRGBFromSingleChannel(&argb, LxCColorValueFloat::eGreen);
    }
    return result != eRC_OK ? result : FillBitmap(argb, *bitmap);
}

CCTImage::EReturnCode CCTImage::MakeOpaque(CCTImage* target) const
{
    if (target == nullptr) {
        return eRC_Failed;
    }
    if (m_eDataType != eIDT_ARGB8) {
        return eRC_WrongFormat;
    }
    if (target->m_eDataType != eIDT_ARGB8) {
        return eRC_UnsupportedType;
    }
    const EReturnCode result = PrepareConversion(target, eIDT_ARGB8, false);
    if (result != eRC_OK || !DoDimMatchWith(*target)) {
        return result != eRC_OK ? result : eRC_SizeMismatch;
    }
    SetOpaque(ElementsOf<std::uint32_t>(*this), ElementsOf<std::uint32_t>(*target));
    return eRC_OK;
}

CCTImage::EReturnCode CCTImage::CorrectGammaInHSV(CCTImage* target, float sGamma, float vGamma) const
{
    if (target == nullptr) {
        return eRC_Failed;
    }
    const auto isUsable = [](float gamma) { return gamma > 0.0F && std::isfinite(gamma); };
    if (!isUsable(sGamma) || !isUsable(vGamma)) {
        return eRC_InvalidArgument;
    }
    if (!IsColorType(m_eDataType)) {
        return eRC_UnsupportedType;
    }
    if (target->m_eDataType != m_eDataType) {
        return eRC_WrongFormat;
    }
    const EReturnCode result = PrepareConversion(target, m_eDataType, false);
    if (result != eRC_OK || !DoDimMatchWith(*target)) {
        return result != eRC_OK ? result : eRC_SizeMismatch;
    }
    WithColorLayout(m_eDataType, [&]<typename Layout>(Layout) {
        if constexpr (Layout::c_bIsColor) {
            CorrectPixels<Layout>(PixelsOf<Layout>(*this), {sGamma, vGamma}, PixelsOf<Layout>(*target));
        }
    });
    return eRC_OK;
}

CCTImage::EReturnCode CCTImage::Bin4To1(CCTImage* target, bool sum) const
{
    if (target == nullptr) {
        return eRC_Failed;
    }
    const EReturnCode readable = CheckPixels(*this);
    if (readable != eRC_OK) {
        return readable;
    }
    if (target->m_iWidth != m_iWidth / 2 || target->m_iHeight != m_iHeight / 2 ||
        target->m_iBytesPerPixel != m_iBytesPerPixel) {
        return eRC_UnsupportedType;
    }
    if (target->LacksMemory()) {
        return eRC_NullPointer;
    }
    const auto channels = static_cast<std::size_t>(m_iNumChannels);
    target->StoreDataType(m_eDataType);
    if (target->IsValid()) {
        WithElementType(m_eDataType, [&]<typename T>(std::type_identity<T>) {
            BinElements<T>(ElementsOf<T>(*this), Extent().width * channels, channels, target->Extent(), sum,
                           ElementsOf<T>(*target));
        });
    }
    return eRC_OK;
}

/// The checks that conversions share; with `resize` also gives the target its size and type.
CCTImage::EReturnCode CCTImage::PrepareConversion(CCTImage* target, EImageDataType type, bool resize) const
{
    const EReturnCode readable = CheckPixels(*this);
    if (readable != eRC_OK) {
        return readable;
    }
    if (resize &&
        !(target->m_eDataType == type && DoDimMatchWith(*target) && CheckPixels(*target) == eRC_OK)) {
        return target->Resize(m_iWidth, m_iHeight, type);
    }
    const EReturnCode writable = CheckPixels(*target);
    if (writable != eRC_OK) {
        return writable;
    }
    return target->m_iWidth < m_iWidth || target->m_iHeight < m_iHeight ? eRC_SizeMismatch : eRC_OK;
}

CCTImage::EReturnCode CCTImage::ConvertToColor8(CCTImage* target, EImageDataType type, bool resize) const
{
    if (!WithColorLayout(m_eDataType, [](auto) {})) {
        return eRC_WrongFormat;
    }
    if (target == this && m_eDataType != type) {
        CCTImage* copy = nullptr;
        const EReturnCode copied = CreateCopy(&copy, false);
        const std::unique_ptr<CCTImage> source(copy);
        return source == nullptr ? copied : source->ConvertToColor8(target, type, resize);
    }
    const EReturnCode result = PrepareConversion(target, type, resize);
    if (result != eRC_OK) {
        return result;
    }
    WithColorLayout(m_eDataType, [&]<typename Source>(Source) {
        if (type == eIDT_ARGB8) {
            ConvertImagePixels<Source, Argb8>(*this, Extent(), *target, target->Extent());
        } else {
            ConvertImagePixels<Source, Bgr8>(*this, Extent(), *target, target->Extent());
        }
    });
    return eRC_OK;
}

} // namespace LxCV
