// Statistics, search and arithmetic on sets of images.
#include "cctimage.h"
#include "lxcroi.h"
#include "orx/logging/logger.h"
#include "orx/platform/paths.h"
#include "pixelelements.h"
#include "pixelkernels.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <exception>
#include <filesystem>
#include <iomanip>
#include <limits>
#include <locale>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>

namespace LxCV {

using namespace ImageKernels;

namespace {

const Logging::CLogger s_Logger(L"ORX.Lumorad.CCTImage");

constexpr int c_iColorChannels = 3;
constexpr float c_fFullScale = 255.0F;

/// The part of an image within a region, as rows of elements. All but alpha of the channels count.
struct SWindow
{
    std::size_t firstColumn = 0;
    std::size_t firstRow = 0;
    std::size_t width = 0;
    std::size_t height = 0;
    std::size_t imageWidth = 0;
    std::size_t stride = 0;   ///< elements of a pixel
    std::size_t channels = 0; ///< of these, the first ones that count

    template <typename T>
    std::span<const T> Row(std::span<const T> elements, std::size_t y) const
    {
        return elements.subspan(((firstRow + y) * imageWidth + firstColumn) * stride, width * stride);
    }
};

SWindow WindowOf(const CCTImage& image, const SExtent& extent, const LxCRoi& roi)
{
    int startColumn = 0;
    int startRow = 0;
    int endColumn = 0;
    int endRow = 0;
    roi.Intersect(static_cast<int>(extent.width), static_cast<int>(extent.height), startColumn, startRow,
                  endColumn, endRow);
    SWindow window;
    if (image.IsValid() && startColumn < endColumn && startRow < endRow) {
        window.firstColumn = static_cast<std::size_t>(startColumn);
        window.firstRow = static_cast<std::size_t>(startRow);
        window.width = static_cast<std::size_t>(endColumn - startColumn);
        window.height = static_cast<std::size_t>(endRow - startRow);
    }
    window.imageWidth = extent.width;
    window.stride = static_cast<std::size_t>(image.GetNumChannels());
    window.channels = std::min<std::size_t>(window.stride, c_iColorChannels);
    return window;
}

/// The value from which on a channel counts as overmodulated.
template <typename T>
constexpr T FullScale()
{
    if constexpr (std::is_floating_point_v<T>) {
        return T{c_fFullScale};
    } else {
        return std::numeric_limits<T>::max();
    }
}

template <typename T>
bool IsNumber(T value)
{
    return value == value;
}

/// Calls `call(value)` with the numbers of one channel within a window, row by row.
template <typename T, typename Call>
void ForEachValue(std::span<const T> elements, const SWindow& window, std::size_t channel, Call call)
{
    for (std::size_t y = 0; y < window.height; ++y) {
        const std::span<const T> row = window.Row(elements, y);
        for (std::size_t i = channel; i < row.size(); i += window.stride) {
            if (IsNumber(row[i])) {
                call(row[i]);
            }
        }
    }
}

/// Nothing where the channel has no number within the window.
template <typename T>
std::optional<CCTImage::SChannelStatistics> StatisticsOf(std::span<const T> elements, const SWindow& window,
                                                         std::size_t channel)
{
    // Sums of integers are exact, whatever their number.
    std::conditional_t<std::is_integral_v<T>, std::int64_t, double> sum = 0;
    T least = std::numeric_limits<T>::max();
    T greatest = std::numeric_limits<T>::lowest();
    if constexpr (std::is_floating_point_v<T>) {
        least = std::numeric_limits<T>::infinity();
        greatest = -least;
    }
    CCTImage::SChannelStatistics statistics;
    std::int64_t count = 0;
    ForEachValue(elements, window, channel, [&](T value) {
        sum += value;
        least = std::min(least, value);
        greatest = std::max(greatest, value);
        statistics.iOvermodulated += value >= FullScale<T>() ? 1 : 0;
        ++count;
    });
    if (count == 0) {
        return std::nullopt;
    }
    statistics.dMean = static_cast<double>(sum) / static_cast<double>(count);
    statistics.dMin = static_cast<double>(least);
    statistics.dMax = static_cast<double>(greatest);
    double squares = 0.0;
    ForEachValue(elements, window, channel, [&](T value) {
        const double difference = static_cast<double>(value) - statistics.dMean;
        squares += difference * difference;
    });
    statistics.dSigma = std::sqrt(squares / static_cast<double>(count));
    return statistics;
}

struct SPeak
{
    double value = 0.0;
    std::size_t column = 0; ///< within the window
    std::size_t row = 0;    ///< within the window
};

template <typename T>
std::optional<SPeak> FindPeak(std::span<const T> elements, const SWindow& window, bool lowest)
{
    std::optional<SPeak> peak;
    for (std::size_t y = 0; y < window.height; ++y) {
        const std::span<const T> row = window.Row(elements, y);
        for (std::size_t x = 0; x < window.width; ++x) {
            double value = 0.0;
            for (std::size_t c = 0; c < window.channels; ++c) {
                value += static_cast<double>(row[x * window.stride + c]);
            }
            const bool isBetter = !peak || (lowest ? value < peak->value : value > peak->value);
            if (IsNumber(value) && isBetter) {
                peak = SPeak{value, x, y};
            }
        }
    }
    return peak;
}

/// Averages element by element, in blocks, so that the result may be one of the images.
template <typename T>
void AverageElements(const std::vector<std::span<const T>>& images, std::span<T> result)
{
    constexpr std::size_t c_iBlock = 1024; // sums that stay in the fastest cache
    std::array<double, c_iBlock> sums{};
    const auto count = static_cast<double>(images.size());
    for (std::size_t begin = 0; begin < result.size(); begin += c_iBlock) {
        const std::size_t size = std::min(c_iBlock, result.size() - begin);
        sums.fill(0.0);
        for (const std::span<const T>& image : images) {
            for (std::size_t i = 0; i < size; ++i) {
                sums[i] += static_cast<double>(image[begin + i]);
            }
        }
        for (std::size_t i = 0; i < size; ++i) {
            result[begin + i] = RoundTo<T>(sums[i] / count);
        }
    }
}

template <typename T>
T QuotientOf(T dividend, T divisor, float factor, bool clip)
{
    const double quotient = static_cast<double>(dividend) / static_cast<double>(divisor) * double{factor};
    if constexpr (std::is_floating_point_v<T>) {
        // Written so that not a number stays so.
        if (clip && quotient > double{c_fFullScale}) {
            return T{c_fFullScale};
        }
        return clip && quotient < 0.0 ? T{0} : static_cast<T>(quotient);
    } else {
        return RoundTo<T>(quotient);
    }
}

/// Every fourth element is left as in the dividend where `hasAlpha` says so.
template <typename T>
void DivideElements(std::span<const T> dividend, std::span<const T> divisor, float factor, bool clip,
                    bool hasAlpha, std::span<T> result)
{
    for (std::size_t i = 0; i < result.size(); ++i) {
        const bool isAlpha = hasAlpha && i % 4 == 3;
        result[i] = isAlpha ? dividend[i] : QuotientOf(dividend[i], divisor[i], factor, clip);
    }
}

bool HasPixels(const CCTImage* image)
{
    return image != nullptr && image->IsValid() && CheckPixels(*image) == CCTImage::eRC_OK;
}

/// Gives `result` size and type of `model`, unless it has both.
CCTImage::EReturnCode TakeShape(const CCTImage& model, const SExtent& extent, CCTImage& result)
{
    if (result.DoTypeAndDimMatchWith(model) && CheckPixels(result) == CCTImage::eRC_OK) {
        return CCTImage::eRC_OK;
    }
    return result.Resize(static_cast<int>(extent.width), static_cast<int>(extent.height),
                         model.GetDataType());
}

/// Writes a picture for whoever looks into the folder of results; without that folder, nothing. Failures do not
/// matter to the caller.
void SaveResult(const CCTImage& image, const char* path)
{
    try {
        if (std::filesystem::is_directory(platform::NativePath(path).parent_path())) {
            image.SaveTif(path);
        }
    } catch (const std::exception& exception) {
        s_Logger.Info(L"CCTImage: no picture %s: %s\n", path, exception.what());
    }
}

void PrintChannels(std::ostream& text, const char* label, const CCTImage::SStatistics& statistics,
                   auto CCTImage::SChannelStatistics::*member)
{
    text << label;
    for (int i = statistics.iChannels - 1; i >= 0; --i) {
        text << statistics.aChannels[static_cast<std::size_t>(i)].*member << (i > 0 ? "/" : "");
    }
}

} // namespace

CCTImage::EReturnCode CCTImage::GetStats(const LxCRoi& roi, SStatistics& statistics) const
{
    const EReturnCode readable = CheckPixels(*this);
    if (readable != eRC_OK) {
        return readable;
    }
    const SWindow window = WindowOf(*this, Extent(), roi);
    SStatistics found;
    found.iChannels = static_cast<int>(window.channels);
    bool isComplete = true;
    WithElementType(m_eDataType, [&]<typename T>(std::type_identity<T>) {
        for (std::size_t c = 0; c < window.channels; ++c) {
            const std::optional<SChannelStatistics> channel =
                StatisticsOf<T>(ElementsOf<T>(*this), window, c);
            isComplete = isComplete && channel.has_value();
            found.aChannels[c] = channel.value_or(SChannelStatistics());
        }
    });
    if (!isComplete) {
        return eRC_NoData;
    }
    statistics = found;
    return eRC_OK;
}

CCTImage::EReturnCode CCTImage::PrintStatistics(const LxCRoi& roi, std::string& out) const
{
    out.clear();
    SStatistics statistics;
    const EReturnCode result = GetStats(roi, statistics);
    if (result != eRC_OK) {
        return result;
    }
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text << std::fixed << std::setprecision(2);
    PrintChannels(text, "Mean=", statistics, &SChannelStatistics::dMean);
    PrintChannels(text, ", Sigma=", statistics, &SChannelStatistics::dSigma);
    PrintChannels(text, ", Overmodulated=", statistics, &SChannelStatistics::iOvermodulated);
    PrintChannels(text, ", Max=", statistics, &SChannelStatistics::dMax);
    PrintChannels(text, ", Min=", statistics, &SChannelStatistics::dMin);
    out = text.str();
    return eRC_OK;
}

CCTImage::EReturnCode CCTImage::FindGlobalPeakPos(int* x, int* y, const LxCRoi& roi, bool lowest) const
{
    if (x == nullptr || y == nullptr) {
        return eRC_NullPointer;
    }
    const EReturnCode readable = CheckPixels(*this);
    if (readable != eRC_OK) {
        return readable;
    }
    const SWindow window = WindowOf(*this, Extent(), roi);
    std::optional<SPeak> peak;
    WithElementType(m_eDataType, [&]<typename T>(std::type_identity<T>) {
        peak = FindPeak<T>(ElementsOf<T>(*this), window, lowest);
    });
    if (!peak) {
        return eRC_NoData;
    }
    *x = static_cast<int>(window.firstColumn + peak->column);
    *y = static_cast<int>(window.firstRow + peak->row);
    return eRC_OK;
}

CCTImage::EReturnCode CCTImage::CalcMeanImage(const std::vector<CCTImage*>& images, CCTImage* result)
{
    try {
        if (images.empty() || result == nullptr || !HasPixels(images.front())) {
            throw std::invalid_argument("nothing to average");
        }
        const CCTImage& first = *images.front();
        const auto fits = [&first](const CCTImage* image) {
            return HasPixels(image) && image->DoTypeAndDimMatchWith(first);
        };
        if (!std::ranges::all_of(images, fits) || TakeShape(first, first.Extent(), *result) != eRC_OK) {
            throw std::invalid_argument("images that cannot be averaged");
        }
        WithElementType(first.m_eDataType, [&]<typename T>(std::type_identity<T>) {
            std::vector<std::span<const T>> elements;
            elements.reserve(images.size());
            for (const CCTImage* const image : images) {
                elements.push_back(ElementsOf<T>(*image));
            }
            AverageElements<T>(elements, ElementsOf<T>(*result));
        });
        SaveResult(*result, "../Results/mean_image.tif");
        return eRC_OK;
    } catch (const std::exception&) {
        s_Logger.Error(L"ERROR: Could not calculate mean image\n");
        return eRC_Exception;
    }
}

CCTImage::EReturnCode CCTImage::DivideTwoImages(const CCTImage* dividend, const CCTImage* divisor,
                                                CCTImage* result, float factor, bool clip)
{
    if (dividend == nullptr || divisor == nullptr || result == nullptr) {
        return eRC_Failed;
    }
    if (dividend->m_eDataType != divisor->m_eDataType) {
        s_Logger.Error(L"ERROR: DivideTwoImages() -> The input images have different DataTypes\n");
        return eRC_WrongFormat;
    }
    if (!dividend->DoDimMatchWith(*divisor)) {
        s_Logger.Error(L"ERROR: DivideTwoImages() -> The input images have different dimensions\n");
        return eRC_SizeMismatch;
    }
    for (const CCTImage* const image : {dividend, divisor}) {
        const EReturnCode readable = CheckPixels(*image);
        if (readable != eRC_OK) {
            return readable;
        }
    }
    // Before the result is written, which may be one of the two.
    SaveResult(*dividend, "../Results/tmp_image1_Source.tif");
    SaveResult(*divisor, "../Results/tmp_image2_Divide.tif");
    const EReturnCode shaped = TakeShape(*dividend, dividend->Extent(), *result);
    if (shaped != eRC_OK) {
        return shaped;
    }
    WithElementType(dividend->m_eDataType, [&]<typename T>(std::type_identity<T>) {
        DivideElements<T>(ElementsOf<T>(*dividend), ElementsOf<T>(*divisor), factor, clip,
                          dividend->m_eDataType == eIDT_ARGB8, ElementsOf<T>(*result));
    });
    SaveResult(*result, "../Results/tmp_image3_Result.tif");
    return eRC_OK;
}

} // namespace LxCV
