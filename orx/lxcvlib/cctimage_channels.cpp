// Mirroring and shifting of single channels.
#include "cctimage.h"
#include "channelkernels.h"
#include "orx/logging/logger.h"
#include "pixelelements.h"
#include "pixelkernels.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <numeric>
#include <utility>
#include <vector>

namespace LxCV {

using namespace ImageKernels;

namespace {

const Logging::CLogger s_Logger(L"ORX.Lumorad.CCTImage");

/// 0 for a known mode, else 2 with a line in the log.
CCTImage::EReturnCode CheckMirrorMode(int mode)
{
    switch (mode) {
    case CCTImage::eMM_None:
    case CCTImage::eMM_LeftRight:
    case CCTImage::eMM_UpDown:
        return CCTImage::eRC_OK;
    default:
        s_Logger.Warning(L"Warning: CCTImage::MirrorChannel: 'iMirrorMode = %d' not supported!\n", mode);
        return CCTImage::eRC_InvalidArgument;
    }
}

/// Where the pixels of one direction come from: index i from i + shift, or the nearest one, of the image that is
/// mirrored first where `mirror` says so.
std::vector<std::size_t> SourceIndices(std::size_t size, int shift, bool mirror)
{
    std::vector<std::size_t> indices(size);
    const auto last = static_cast<std::int64_t>(size) - 1;
    for (std::size_t i = 0; i < size; ++i) {
        const std::int64_t place = std::clamp<std::int64_t>(static_cast<std::int64_t>(i) + shift, 0, last);
        indices[i] = static_cast<std::size_t>(mirror ? last - place : place);
    }
    return indices;
}

/// Calls `call` with an unsigned type as large as an element of a pixel.
template <typename Call>
void WithElementSize(int bytes, Call call)
{
    switch (bytes) {
    case 1:
        call(std::type_identity<std::uint8_t>());
        break;
    case 2:
        call(std::type_identity<std::uint16_t>());
        break;
    case 4:
        call(std::type_identity<std::uint32_t>());
        break;
    default:
        call(std::type_identity<std::uint64_t>());
        break;
    }
}

template <typename T>
void MirrorInPlace(std::span<T> elements, const SExtent& extent, std::size_t channels, std::size_t channel,
                   int mode)
{
    const auto at = [&](std::size_t x, std::size_t y) -> T& {
        return elements[(y * extent.width + x) * channels + channel];
    };
    const std::size_t columns = mode == CCTImage::eMM_LeftRight ? extent.width / 2 : extent.width;
    const std::size_t rows = mode == CCTImage::eMM_UpDown ? extent.height / 2 : extent.height;
    for (std::size_t y = 0; y < rows; ++y) {
        for (std::size_t x = 0; x < columns; ++x) {
            if (mode == CCTImage::eMM_LeftRight) {
                std::swap(at(x, y), at(extent.width - 1 - x, y));
            } else {
                std::swap(at(x, y), at(x, extent.height - 1 - y));
            }
        }
    }
}

bool IsByteColor(CCTImage::EImageDataType type)
{
    return type == CCTImage::eIDT_ARGB8 || type == CCTImage::eIDT_BGRU8;
}

} // namespace

CCTImage::EReturnCode CCTImage::MirrorChannel(CCTImage* target, int channel, int mode) const
{
    if (target == nullptr) {
        return eRC_Failed;
    }
    if (target == this) {
        return target->MirrorChannelInPlace(channel, mode);
    }
    const EReturnCode known = CheckMirrorMode(mode);
    if (known != eRC_OK) {
        return known;
    }
    if (target->m_eDataType != m_eDataType) {
        return eRC_WrongFormat;
    }
    const EReturnCode result = PrepareConversion(target, m_eDataType, false);
    if (result != eRC_OK || !DoDimMatchWith(*target)) {
        return result != eRC_OK ? result : eRC_SizeMismatch;
    }
    if (channel < 0 || channel >= m_iNumChannels) {
        return eRC_InvalidArgument;
    }
    const std::vector<std::size_t> columns = SourceIndices(Extent().width, 0, mode == eMM_LeftRight);
    const std::vector<std::size_t> rows = SourceIndices(Extent().height, 0, mode == eMM_UpDown);
    const auto channels = static_cast<std::size_t>(m_iNumChannels);
    WithElementSize(m_iBytesPerPixel / m_iNumChannels, [&]<typename T>(std::type_identity<T>) {
        GatherChannel<T>(ElementsOf<T>(*this), channels, columns, rows, static_cast<std::size_t>(channel),
                         ElementsOf<T>(*target), channels);
    });
    return eRC_OK;
}

CCTImage::EReturnCode CCTImage::MirrorChannelInPlace(int channel, int mode)
{
    const EReturnCode known = CheckMirrorMode(mode);
    if (known != eRC_OK) {
        return known;
    }
    const EReturnCode result = CheckPixels(*this);
    if (result != eRC_OK) {
        return result;
    }
    if (channel < 0 || channel >= m_iNumChannels) {
        return eRC_InvalidArgument;
    }
    if (mode != eMM_None && IsValid()) {
        WithElementSize(m_iBytesPerPixel / m_iNumChannels, [&]<typename T>(std::type_identity<T>) {
            MirrorInPlace<T>(ElementsOf<T>(*this), Extent(), static_cast<std::size_t>(m_iNumChannels),
                             static_cast<std::size_t>(channel), mode);
        });
    }
    return eRC_OK;
}

CCTImage::EReturnCode CCTImage::MirrorChannelInPlaceFloat(int channel, int mode)
{
    const bool isFloat = m_eDataType == eIDT_FLOAT32 || m_eDataType == eIDT_FLOAT32_3;
    return isFloat ? MirrorChannelInPlace(channel, mode) : eRC_UnsupportedType;
}

CCTImage::EReturnCode CCTImage::MirrorChannelInPlaceUInt8(int channel, int mode)
{
    const bool isByte = IsByteColor(m_eDataType) || m_eDataType == eIDT_UINT8 || m_eDataType == eIDT_GRAY8;
    return isByte ? MirrorChannelInPlace(channel, mode) : eRC_UnsupportedType;
}

CCTImage::EReturnCode CCTImage::ShiftImageChannels(CCTImage* target, int redCols, int redRows, int blueCols,
                                                   int blueRows) const
{
    return ShiftChannels(target, redCols, redRows, blueCols, blueRows, false);
}

CCTImage::EReturnCode CCTImage::ShiftAndMirrorImageChannels(CCTImage* target, int redCols, int redRows,
                                                            int blueCols, int blueRows) const
{
    return ShiftChannels(target, redCols, redRows, blueCols, blueRows, true);
}

CCTImage::EReturnCode CCTImage::CheckShift(const CCTImage* target) const
{
    if (target == nullptr) {
        return eRC_Failed;
    }
    if (!IsByteColor(m_eDataType) || !IsByteColor(target->m_eDataType)) {
        return eRC_UnsupportedType;
    }
    const EReturnCode readable = CheckPixels(*this);
    if (readable != eRC_OK) {
        return readable;
    }
    const EReturnCode writable = CheckPixels(*target);
    if (writable != eRC_OK) {
        return writable;
    }
    return DoDimMatchWith(*target) ? eRC_OK : eRC_SizeMismatch;
}

CCTImage::EReturnCode CCTImage::ShiftChannels(CCTImage* target, int redCols, int redRows, int blueCols,
                                              int blueRows, bool mirror) const
{
    const EReturnCode result = CheckShift(target);
    if (result != eRC_OK) {
        return result;
    }
    if (target == this) {
        CCTImage* copy = nullptr;
        const EReturnCode copied = CreateCopy(&copy, false);
        const std::unique_ptr<CCTImage> source(copy);
        return source == nullptr
                   ? copied
                   : source->ShiftChannels(target, redCols, redRows, blueCols, blueRows, mirror);
    }
    const std::array<SChannelSource, 3> channels{
        {{blueCols, blueRows, false, mirror}, {0, 0, false, mirror}, {redCols, redRows, mirror, false}}};
    GatherColors(Extent(), ElementsOf<std::uint8_t>(*this), static_cast<std::size_t>(m_iBytesPerPixel),
                 channels, ElementsOf<std::uint8_t>(*target),
                 static_cast<std::size_t>(target->m_iBytesPerPixel));
    return eRC_OK;
}

} // namespace LxCV
