// A target's marks and the images they lie in: debug pictures, masks, margins and brightness.
#include "lxccalibbody.h"

#include "cctimage.h"
#include "floattointeger.h"
#include "lxccolorvalueargb8.h"
#include "lxcgdiplusbitmaputilities.h"
#include "lxclxcvlibsettings.h"
#include "lxcroi.h"
#include "orx/logging/logger.h"
#include "pixelelements.h"
#include "saturate.h"
#include "stringutils.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>

namespace LxCV {

namespace {

const Logging::CLogger s_Logger(L"ORX.Lumorad.LxCCalibBody");

constexpr LxCColorValueARGB8 c_colorUnidentified{std::uint32_t{0x00FF80}};
constexpr LxCColorValueARGB8 c_colorIdentified{std::uint32_t{0xFF00FF}};
constexpr int c_iXMarkSize = 3;       // pixels
constexpr int c_iFontSize = 10;       // pixels
constexpr int c_iNearBorder = 101;    // pixels; texts of marks below it stand on the other side
constexpr int c_iBrightnessSize = 10; // pixels; side of the region whose brightness counts
constexpr int c_iPercent = 100;

/// The truncated position of a mark, where it is a number.
struct SPixel
{
    explicit SPixel(const LxCCalibMark& mark)
        : exists(!std::isnan(mark.GetXImg()) && !std::isnan(mark.GetYImg())),
          x(TruncateTo<int>(mark.GetXImg())), y(TruncateTo<int>(mark.GetYImg()))
    {}

    bool exists;
    int x;
    int y;
};

int Sum(std::int64_t a, int b)
{
    return SaturateToInt(a + b);
}

void DrawId(LxCGdiPlusBitmapUtilities& surface, const LxCCalibMark& mark, const SPixel& pixel)
{
    std::string text;
    mark.Sprint(text, false);
    surface.DrawTextW(s2ws(text), Sum(pixel.x, pixel.x < c_iNearBorder ? -10 : -5),
                      Sum(pixel.y, pixel.y < c_iNearBorder ? 5 : -5), c_iFontSize, c_colorIdentified);
}

void FillSquare(CCTImage& image, const SPixel& center, int reach)
{
    const int last = std::min(Sum(center.y, reach), image.GetHeight() - 1);
    for (int y = std::max(Sum(center.y, -reach), 0); y <= last; ++y) {
        image.DrawLine(Sum(center.x, -reach), y, Sum(center.x, reach), y, LxCColorValueARGB8::eWhite);
    }
}

/// Whether the image has a pixel there of which any channel but alpha differs from 0.
bool IsSet(const CCTImage& image, const SPixel& pixel)
{
    if (!pixel.exists || !image.IsValid() || !image.CoordsAreValid(pixel.x, pixel.y)) {
        return false;
    }
    bool isSet = false;
    WithElementType(image.GetDataType(), [&]<typename T>(std::type_identity<T>) {
        const std::span<const T> elements = ElementsOf<T>(image);
        const std::size_t pixels =
            static_cast<std::size_t>(image.GetWidth()) * static_cast<std::size_t>(image.GetHeight());
        const std::size_t channels = elements.size() / pixels;
        const std::size_t index =
            static_cast<std::size_t>(pixel.y) * static_cast<std::size_t>(image.GetWidth()) +
            static_cast<std::size_t>(pixel.x);
        const std::size_t counted = image.GetDataType() == CCTImage::eIDT_ARGB8 ? 3 : channels;
        const std::span<const T> values = elements.subspan(index * channels, counted);
        isSet = std::any_of(values.begin(), values.end(), [](T value) { return value != T{0}; });
    });
    return isSet;
}

} // namespace

void LxCCalibBody::DrawCalibMarks(CCTImage* image) const
{
    if (image == nullptr || !LxCLxCVLibSettings::IsDrawMarkerPosForDebugging()) {
        return;
    }
    LxCGdiPlusBitmapUtilities surface(*image);
    for (const LxCCalibMark* mark : m_vMarks) {
        const SPixel pixel(*mark);
        if (pixel.exists) {
            const bool isIdentified = mark->GetId() != 0;
            surface.DrawXMark(pixel.x, pixel.y, c_iXMarkSize,
                              isIdentified && !mark->IsInvalid() ? c_colorIdentified : c_colorUnidentified);
            if (isIdentified) {
                DrawId(surface, *mark, pixel);
            }
        }
    }
    surface.CopyResult(image);
}

void LxCCalibBody::DrawMask(CCTImage* mask, int size) const
{
    if (mask == nullptr || size < 1) {
        s_Logger.Info(L"Error: LxCCalibBody::DrawMask: Drawing without a mask or a negative mask size.\n");
        return;
    }
    for (const LxCCalibMark* mark : m_vMarks) {
        const SPixel pixel(*mark);
        if (pixel.exists) {
            FillSquare(*mask, pixel, size / 2);
        }
    }
}

void LxCCalibBody::ApplyMask(const CCTImage* mask)
{
    if (mask == nullptr) {
        s_Logger.Info(L"Error: Calling LxCCalibBody::ApplyMask without a mask \n");
        return;
    }
    for (LxCCalibMark* mark : m_vMarks) {
        if (!IsSet(*mask, SPixel(*mark))) {
            mark->MakeInvalid();
        }
    }
}

void LxCCalibBody::FilterOutMarksInImgMargin(int width, int height)
{
    const LxCCalibThres& thres = GetThresOrDefaults();
    // In double, which holds every sum of these exactly.
    const double margin = thres.m_iImgMargin;
    const double bottom = static_cast<double>(height) - thres.m_iImgMarginBottom;
    for (LxCCalibMark* mark : m_vMarks) {
        const double x = mark->GetXImg();
        const double y = mark->GetYImg();
        // Asked this way round, so that what is no number lies outside.
        if (!(x >= margin && y >= margin && x <= width - margin && y <= bottom - margin)) {
            mark->MarkAsUnusableForCalib();
        }
        if (!(x >= 0.0 && y >= 0.0 && x <= width - 1.0 && y <= bottom - 1.0)) {
            mark->MakeInvalid();
        }
    }
}

ECalibError LxCCalibBody::AnalyzeBrightnessDist(const CCTImage* image, int* mean, int* min, int* max,
                                                int* overSat, int limit, bool onlyIdentified) const
{
    if (image == nullptr || mean == nullptr || min == nullptr || max == nullptr || overSat == nullptr) {
        return eCalibNotDone;
    }
    const std::size_t channels = image->IsBW() ? 1 : 3;
    std::fill_n(mean, channels, 0);
    std::fill_n(min, channels, std::numeric_limits<int>::max());
    std::fill_n(max, channels, 0);
    std::fill_n(overSat, channels, 0);

    std::array<std::int64_t, 3> sum{};
    std::array<std::int64_t, 3> bright{};
    std::int64_t count = 0;
    for (const LxCCalibMark* mark : m_vMarks) {
        const SPixel pixel(*mark);
        const LxCRoi region(Sum(pixel.x, -c_iBrightnessSize / 2), Sum(pixel.y, -c_iBrightnessSize / 2),
                            c_iBrightnessSize, c_iBrightnessSize);
        CCTImage::SStatistics statistics;
        if (!pixel.exists || !IsSeen(*mark, onlyIdentified) ||
            image->GetStats(region, statistics) != CCTImage::eRC_OK) {
            continue;
        }
        ++count;
        for (std::size_t channel = 0; channel < channels; ++channel) {
            const int value = TruncateTo<int>(statistics.aChannels[channel].dMean);
            sum[channel] += value;
            bright[channel] += value > limit ? 1 : 0;
            min[channel] = std::min(min[channel], value);
            max[channel] = std::max(max[channel], value);
        }
    }
    if (count == 0) {
        return eCalibNotDone;
    }
    for (std::size_t channel = 0; channel < channels; ++channel) {
        mean[channel] = static_cast<int>(sum[channel] / count);
        overSat[channel] = static_cast<int>(c_iPercent * bright[channel] / count);
    }
    return eCalibOk;
}

} // namespace LxCV
