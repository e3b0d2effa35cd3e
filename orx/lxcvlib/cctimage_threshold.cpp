// Thresholds and masks.
#include "cctimage.h"
#include "imagekernels.h"
#include "pixelelements.h"
#include "pixelkernels.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <vector>

namespace LxCV {

using namespace ImageKernels;

namespace {

/// The two pixels that a threshold writes, copied, since the caller's may lie within the target.
class CPixelPair
{
public:
    CPixelPair(const void* low, const void* high, int bytes) : m_uiBytes(static_cast<std::size_t>(bytes))
    {
        std::memcpy(m_aLow.data(), low, m_uiBytes);
        std::memcpy(m_aHigh.data(), high, m_uiBytes);
    }

    template <typename T>
    T Low() const
    {
        return As<T>(m_aLow);
    }
    template <typename T>
    T High() const
    {
        return As<T>(m_aHigh);
    }
    void Write(bool high, std::byte* pixel) const
    {
        std::memcpy(pixel, (high ? m_aHigh : m_aLow).data(), m_uiBytes);
    }

private:
    using Bytes = std::array<std::byte, sizeof(LxCFloat3)>;

    template <typename T>
    static T As(const Bytes& bytes)
    {
        T value;
        std::memcpy(&value, bytes.data(), sizeof value);
        return value;
    }

    std::size_t m_uiBytes;
    Bytes m_aLow{};
    Bytes m_aHigh{};
};

/// Thresholds by a direct loop. @return false where the pair of types has none
bool SelectDirectly(const CCTImage& source, int threshold, const CPixelPair& pair, CCTImage& target)
{
    const auto select = [&]<typename From, typename To>(std::type_identity<From>, std::type_identity<To>) {
        SelectAbove(ElementsOf<From>(source), threshold, pair.Low<To>(), pair.High<To>(),
                    ElementsOf<To>(target));
        return true;
    };
    using Byte = std::type_identity<std::uint8_t>;
    using Word = std::type_identity<std::uint32_t>;
    const int bytes = target.GetBytesPerPixel();
    switch (source.GetDataType()) {
    case CCTImage::eIDT_UINT8:
    case CCTImage::eIDT_GRAY8:
        return bytes == 1 && select(Byte(), Byte());
    case CCTImage::eIDT_UINT32:
        return bytes == 4 && select(Word(), Word());
    case CCTImage::eIDT_INT32:
        return bytes == 4 && select(std::type_identity<std::int32_t>(), Word());
    default:
        return false;
    }
}

/// Sums of the integer values of an image over windows of one row after the other.
class CWindowSums
{
public:
    CWindowSums(const CCTImage& image, const SExtent& extent, int radius)
        : m_rImage(image), m_Extent(extent), m_uiRadius(static_cast<std::size_t>(radius)),
          m_vColumnSums(extent.width)
    {
        for (std::size_t y = 0; y < std::min(m_uiRadius, extent.height); ++y) {
            AddRow(y, 1);
        }
    }

    /// Moves the windows to row y; called for each row in turn.
    void MoveTo(std::size_t y)
    {
        if (y + m_uiRadius < m_Extent.height) {
            AddRow(y + m_uiRadius, 1);
        }
        if (y > m_uiRadius) {
            AddRow(y - m_uiRadius - 1, -1);
        }
        m_iRows = SizeWithin(y, m_Extent.height);
        m_iSum = 0;
        for (std::size_t x = 0; x < std::min(m_uiRadius, m_Extent.width); ++x) {
            m_iSum += m_vColumnSums[x];
        }
    }

    /// Sum over the window around column x, called for each column in turn.
    std::int64_t SumAt(std::size_t x)
    {
        if (x + m_uiRadius < m_Extent.width) {
            m_iSum += m_vColumnSums[x + m_uiRadius];
        }
        if (x > m_uiRadius) {
            m_iSum -= m_vColumnSums[x - m_uiRadius - 1];
        }
        return m_iSum;
    }

    /// Pixels of that window.
    std::int64_t CountAt(std::size_t x) const { return m_iRows * SizeWithin(x, m_Extent.width); }

    int ValueAt(std::size_t x, std::size_t y) const
    {
        const auto bytes = static_cast<std::size_t>(m_rImage.GetBytesPerPixel());
        const auto* const pixels = static_cast<const std::byte*>(m_rImage.GetBuffer());
        return m_rImage.ConvertPixToInt(pixels + (y * m_Extent.width + x) * bytes);
    }

private:
    void AddRow(std::size_t y, int sign)
    {
        for (std::size_t x = 0; x < m_Extent.width; ++x) {
            m_vColumnSums[x] += std::int64_t{sign} * ValueAt(x, y);
        }
    }

    std::int64_t SizeWithin(std::size_t center, std::size_t size) const
    {
        const std::size_t begin = center - std::min(center, m_uiRadius);
        return static_cast<std::int64_t>(std::min(center + m_uiRadius + 1, size) - begin);
    }

    const CCTImage& m_rImage;
    SExtent m_Extent;
    std::size_t m_uiRadius;
    std::vector<std::int64_t> m_vColumnSums; ///< over the rows of the window
    std::int64_t m_iRows = 0;                ///< of the window inside the image
    std::int64_t m_iSum = 0;                 ///< over the window of the present column
};

/// Clears each pixel of `image` where whether its mask pixel is zero equals `whenZero`.
template <typename T>
void ClearWhere(std::span<const T> mask, std::size_t stride, bool hasAlpha, bool whenZero,
                std::span<std::byte> image, std::size_t bytesPerPixel)
{
    const std::size_t channels = hasAlpha ? stride - 1 : stride;
    const std::size_t pixels = mask.size() / stride;
    for (std::size_t i = 0; i < pixels; ++i) {
        const std::span<const T> pixel = mask.subspan(i * stride, channels);
        const bool isZero = std::ranges::all_of(pixel, [](T value) { return value == T{0}; });
        if (isZero == whenZero) {
            std::ranges::fill(image.subspan(i * bytesPerPixel, bytesPerPixel), std::byte{0});
        }
    }
}

} // namespace

CCTImage::EReturnCode CCTImage::CheckThreshold(const CCTImage* target, const void* lowPixel,
                                               const void* highPixel) const
{
    if (target == nullptr || lowPixel == nullptr || highPixel == nullptr) {
        return eRC_Failed;
    }
    if (!DoDimMatchWith(*target)) {
        return eRC_SizeMismatch;
    }
    const EReturnCode readable = CheckPixels(*this);
    return readable != eRC_OK ? readable : CheckPixels(*target);
}

CCTImage::EReturnCode CCTImage::ApplyThreshold(CCTImage* target, int threshold, const void* lowPixel,
                                               const void* highPixel) const
{
    const EReturnCode result = CheckThreshold(target, lowPixel, highPixel);
    if (result != eRC_OK || !IsValid()) {
        return result;
    }
    const CPixelPair pair(lowPixel, highPixel, target->m_iBytesPerPixel);
    if (SelectDirectly(*this, threshold, pair, *target)) {
        return eRC_OK;
    }
    const std::ptrdiff_t pixels = GetSizeInPixels();
    for (std::ptrdiff_t i = 0; i < pixels; ++i) {
        const int value = ConvertPixToInt(m_pBuffer + i * m_iBytesPerPixel);
        pair.Write(value >= threshold, target->m_pBuffer + i * target->m_iBytesPerPixel);
    }
    return eRC_OK;
}

CCTImage::EReturnCode CCTImage::ApplyAdaptiveThreshold(CCTImage* target, const void* lowPixel,
                                                       const void* highPixel, int windowSize,
                                                       int offset) const
{
    if (target == nullptr || lowPixel == nullptr || highPixel == nullptr) {
        return eRC_Failed;
    }
    if (DoBPPAndDimMatchWith(*target)) {
        return eRC_ImageConflict;
    }
    const EReturnCode result = CheckThreshold(target, lowPixel, highPixel);
    if (result != eRC_OK) {
        return result;
    }
    if (windowSize < 1 || windowSize % 2 == 0) {
        return eRC_InvalidKernel;
    }
    const CPixelPair pair(lowPixel, highPixel, target->m_iBytesPerPixel);
    const SExtent extent = Extent();
    CWindowSums sums(*this, extent, windowSize / 2);
    std::byte* to = target->m_pBuffer;
    for (std::size_t y = 0; y < extent.height; ++y) {
        sums.MoveTo(y);
        for (std::size_t x = 0; x < extent.width; ++x, to += target->m_iBytesPerPixel) {
            // value < sum / count + offset, without the quotient's fraction being lost
            const std::int64_t excess = std::int64_t{sums.ValueAt(x, y)} - offset;
            pair.Write(excess * sums.CountAt(x) >= sums.SumAt(x), to);
        }
    }
    return eRC_OK;
}

CCTImage::EReturnCode CCTImage::ApplyMask(const CCTImage* mask, bool invert)
{
    if (mask == nullptr) {
        return eRC_Failed;
    }
    if (!DoDimMatchWith(*mask)) {
        return eRC_SizeMismatch;
    }
    if (LacksMemory()) {
        return eRC_NullPointer;
    }
    const EReturnCode readable = CheckPixels(*mask);
    if (readable != eRC_OK || !IsValid()) {
        return readable;
    }
    WithElementType(mask->m_eDataType, [&]<typename T>(std::type_identity<T>) {
        ClearWhere<T>(ElementsOf<T>(*mask), static_cast<std::size_t>(mask->m_iNumChannels),
                      mask->m_eDataType == eIDT_ARGB8, !invert, Bytes(),
                      static_cast<std::size_t>(m_iBytesPerPixel));
    });
    return eRC_OK;
}

} // namespace LxCV
