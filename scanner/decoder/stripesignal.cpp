// Ratio of two images, smoothed.
#include "scanner/decoder/stripesignal.h"

#include "vectorunits.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <new>
#include <optional>
#include <stdexcept>

namespace decoder {

using LxCV::CCTImage;

namespace {

constexpr float kUndecodable = std::numeric_limits<float>::quiet_NaN();

/// Grey levels of 255 over the darkest reference that makes sense, one grey level, stay below this signal.
constexpr float kLargestSignal = 256.0F;

constexpr int kStripRows = 32; ///< that are computed together
constexpr int kFarthestReach =
    5; ///< rows to either side, of the largest kernel that the library smooths with

std::span<const float> FloatsOf(const CCTImage& image)
{
    return {static_cast<const float*>(image.GetImageDataRaw()),
            kChannels * static_cast<std::size_t>(image.GetSizeInPixels())};
}

void FitSize(CCTImage& image, int width, int height)
{
    const bool fits = image.IsValid() && image.GetWidth() == width && image.GetHeight() == height;
    if (!fits && image.Resize(width, height, CCTImage::eIDT_FLOAT32_3) != LxCV::CCTImage::eRC_OK) {
        throw std::bad_alloc();
    }
}

} // namespace

std::optional<ColourMatrix> UnmixingOf(const DecoderConfig& config)
{
    std::array<float, kChannels * kChannels>
        a; // first index the channel that is taken from: red, green, blue
    config.algorithm.GetCameraProjectorCoupling()->GetInverse().GetValues(a[0], a[1], a[2], a[3], a[4], a[5],
                                                                          a[6], a[7], a[8]);
    constexpr std::array<float, kChannels * kChannels> kIdentity{1.0F, 0.0F, 0.0F, 0.0F, 1.0F,
                                                                 0.0F, 0.0F, 0.0F, 1.0F};
    if (a == kIdentity) {
        return std::nullopt;
    }
    ColourMatrix matrix;
    for (std::size_t to = 0; to < kChannels; ++to) {
        for (std::size_t from = 0; from < kChannels; ++from) {
            matrix[kChannels - 1 - to][kChannels - 1 - from] = a[from * kChannels + to];
        }
    }
    return matrix;
}

namespace {

[[gnu::always_inline]] inline float RatioOf(float white, float striped, float least)
{
    const float ratio = striped / white;
    // Comparisons are joined without branches, so that loops over it run on vectors.
    const bool decodable = (white >= least) & (std::abs(ratio) <= kLargestSignal);
    return decodable ? ratio : kUndecodable;
}

[[gnu::always_inline]] inline void DivideIn(const float* reference, const float* pattern, std::size_t size,
                                            float least, float* ratios)
{
    for (std::size_t i = 0; i < size; ++i) {
        ratios[i] = RatioOf(reference[i], pattern[i], least);
    }
}

/// The same of images whose colours are unmixed first.
[[gnu::always_inline]] inline void DivideUnmixedIn(const float* reference, const float* pattern,
                                                   std::size_t size, const ColourMatrix& matrix, float least,
                                                   float* ratios)
{
    const auto [blue, green, red] = matrix;
    for (std::size_t i = 0; i + kChannels <= size; i += kChannels) {
        const float white0 = reference[i], white1 = reference[i + 1], white2 = reference[i + 2];
        const float striped0 = pattern[i], striped1 = pattern[i + 1], striped2 = pattern[i + 2];
        ratios[i] = RatioOf(blue[0] * white0 + blue[1] * white1 + blue[2] * white2,
                            blue[0] * striped0 + blue[1] * striped1 + blue[2] * striped2, least);
        ratios[i + 1] = RatioOf(green[0] * white0 + green[1] * white1 + green[2] * white2,
                                green[0] * striped0 + green[1] * striped1 + green[2] * striped2, least);
        ratios[i + 2] = RatioOf(red[0] * white0 + red[1] * white1 + red[2] * white2,
                                red[0] * striped0 + red[1] * striped1 + red[2] * striped2, least);
    }
}

void DivideBasic(const float* reference, const float* pattern, std::size_t size, float least, float* ratios)
{
    DivideIn(reference, pattern, size, least, ratios);
}

void DivideUnmixedBasic(const float* reference, const float* pattern, std::size_t size,
                        const ColourMatrix& matrix, float least, float* ratios)
{
    DivideUnmixedIn(reference, pattern, size, matrix, least, ratios);
}

#if defined(__x86_64__)
[[gnu::target("avx2")]] void DivideWide(const float* reference, const float* pattern, std::size_t size,
                                        float least, float* ratios)
{
    DivideIn(reference, pattern, size, least, ratios);
}

[[gnu::target("avx2")]] void DivideUnmixedWide(const float* reference, const float* pattern, std::size_t size,
                                               const ColourMatrix& matrix, float least, float* ratios)
{
    DivideUnmixedIn(reference, pattern, size, matrix, least, ratios);
}
#else
constexpr auto DivideWide = DivideBasic;
constexpr auto DivideUnmixedWide = DivideUnmixedBasic;
#endif

/// Two images of one size, by pixels.
void Divide(std::span<const float> reference, std::span<const float> pattern, float minReference,
            const std::optional<ColourMatrix>& unmixing, float* ratios)
{
    const bool isWide = LxCV::VectorUnits::AreWide();
    if (unmixing) {
        const auto divide = isWide ? DivideUnmixedWide : DivideUnmixedBasic;
        divide(reference.data(), pattern.data(), reference.size(), *unmixing, minReference, ratios);
    } else {
        const auto divide = isWide ? DivideWide : DivideBasic;
        divide(reference.data(), pattern.data(), reference.size(), minReference, ratios);
    }
}

} // namespace

void StripeSignal::Compute(const CCTImage& reference, const CCTImage& pattern, const DecoderConfig& config)
{
    Compute(reference, pattern, config, UnmixingOf(config));
}

void StripeSignal::Init(int width, int height)
{
    m_width = 0;
    m_height = 0;
    FitSize(m_smoothed, width, height);
    m_kept.resize(kChannels * static_cast<std::size_t>(width) * static_cast<std::size_t>(kFarthestReach));
}

void StripeSignal::Compute(const CCTImage& reference, const CCTImage& pattern, const DecoderConfig& config,
                           const std::optional<ColourMatrix>& unmixing)
{
    if (!reference.IsValid() || !pattern.IsValid() ||
        reference.GetDataType() != LxCV::CCTImage::eIDT_FLOAT32_3 ||
        !reference.DoTypeAndDimMatchWith(pattern)) {
        throw std::invalid_argument("the stripe signal needs two float colour images of one size");
    }
    const int width = reference.GetWidth();
    const int height = reference.GetHeight();
    Init(width, height);
    const int kernelY = config.Edges().m_iKernelSizeY;
    const int mode = config.Edges().m_iSmoothingMode;
    const bool isSmoothed = mode != CCTImage::eSM_None;
    const int reach = isSmoothed ? std::clamp(kernelY / 2, 0, kFarthestReach) : 0;
    // The mean adds up rows from the first one on, so how its sums round depends on where it begins.
    const int stripRows = mode == CCTImage::eSM_Blur ? height : std::min(height, kStripRows);
    const int mostRows = std::min(height, stripRows + 2 * reach);
    m_ratio.resize(kChannels * static_cast<std::size_t>(width) * static_cast<std::size_t>(mostRows));
    for (int first = 0; first < height; first += stripRows) {
        ComputeStrip(first, std::min(first + stripRows, height), reach, reference, pattern, config, unmixing);
    }
    m_blankRows = isSmoothed ? std::max(kernelY / 2 - 1, 0) : 0;
    BlankBorderRows(m_blankRows);
    m_width = width;
    m_height = height;
}

/// The rows from `first` to `end` - 1, after those above them. The ratio of some rows alone stays in the nearest caches
/// until it is smoothed.
/// @param reach rows above and below a row that its smoothing takes in
void StripeSignal::ComputeStrip(int first, int end, int reach, const CCTImage& reference,
                                const CCTImage& pattern, const DecoderConfig& config,
                                const std::optional<ColourMatrix>& unmixing)
{
    const int width = reference.GetWidth();
    const int top = std::max(first - reach, 0);
    const int rows = std::min(end + reach, reference.GetHeight()) - top;
    const std::size_t rowSize = kChannels * static_cast<std::size_t>(width);
    const std::size_t begin = rowSize * static_cast<std::size_t>(top);
    const std::size_t size = rowSize * static_cast<std::size_t>(rows);
    Divide(FloatsOf(reference).subspan(begin, size), FloatsOf(pattern).subspan(begin, size),
           config.minReference, unmixing, m_ratio.data());

    // What is smoothed without the rows above it is replaced by what was before.
    float* const target = static_cast<float*>(m_smoothed.GetImageDataRaw()) + begin;
    const std::size_t keptSize = rowSize * static_cast<std::size_t>(first - top);
    std::copy_n(target, keptSize, m_kept.data());
    const CCTImage ratio(width, rows, CCTImage::eIDT_FLOAT32_3, false, m_ratio.data());
    CCTImage smoothed(width, rows, CCTImage::eIDT_FLOAT32_3, false, target);
    const LxCV::LxCEdgeDetectionConfig& edges = config.Edges();
    const auto mode = static_cast<CCTImage::ESmoothingMode>(edges.m_iSmoothingMode);
    if (ratio.Smooth(&smoothed, mode, edges.m_iKernelSizeX, edges.m_iKernelSizeY) != CCTImage::eRC_OK) {
        throw std::invalid_argument("the stripe signal cannot be smoothed like this");
    }
    std::copy_n(m_kept.data(), keptSize, target);
}

/// Makes so many rows at the upper and at the lower border undecodable.
void StripeSignal::BlankBorderRows(int rows)
{
    const auto stride = static_cast<std::ptrdiff_t>(kChannels) * m_smoothed.GetWidth();
    const std::ptrdiff_t count = stride * std::min(rows, m_smoothed.GetHeight());
    float* const begin = static_cast<float*>(m_smoothed.GetImageDataRaw());
    float* const end = begin + stride * m_smoothed.GetHeight();
    std::fill(begin, begin + count, kUndecodable);
    std::fill(end - count, end, kUndecodable);
}

std::span<const float> StripeSignal::Values() const
{
    return m_width > 0 ? FloatsOf(m_smoothed) : std::span<const float>();
}

float StripeSignal::At(LxCV::LxCColorValueFloat::EColor channel, int column, int row) const
{
    const bool isChannel = channel >= 0 && static_cast<std::size_t>(channel) < kChannels;
    if (!isChannel || column < 0 || column >= m_width || row < 0 || row >= m_height) {
        throw std::out_of_range("the stripe signal has no such value");
    }
    return m_smoothed.GetFloat3Fast(column, row).get(channel);
}

} // namespace decoder
