// Arithmetic on rows of pixels of one type: conversion, thresholds, mirrors and shifts. Free of the image class.
#pragma once

#include "floattointeger.h"
#include "orx/base/export.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <type_traits>

namespace LxCV::ImageKernels {

/// Size of an image in pixels.
struct SExtent
{
    std::size_t width = 0;
    std::size_t height = 0;

    bool operator==(const SExtent&) const = default;
};

/// How a pixel lies in memory: `c_iStride` elements, of which the first three are blue, green and red, or the
/// only one is grey.
template <typename T, std::size_t stride>
struct SPixelLayout
{
    using Element = T;
    static constexpr std::size_t c_iStride = stride;
    static constexpr bool c_bIsColor = stride >= 3;
};

using Gray8 = SPixelLayout<std::uint8_t, 1>;
using Bgr8 = SPixelLayout<std::uint8_t, 3>;
using Argb8 = SPixelLayout<std::uint8_t, 4>; ///< the fourth byte is alpha
using GrayFloat = SPixelLayout<float, 1>;
using BgrFloat = SPixelLayout<float, 3>;

/// `value` rounded to the nearest integer, halves upwards, and clamped to 0 to 255; not a number becomes 0.
constexpr std::uint8_t SaturateToByte(float value)
{
    // The bits of floats from 0 upwards are ordered as integers; negative values have negative bits, and those
    // above infinity are not numbers. Masks of integers, unlike branches on floats, become vector code.
    constexpr auto c_iFull = std::bit_cast<std::int32_t>(255.0F);
    constexpr auto c_iInfinite = std::bit_cast<std::int32_t>(std::numeric_limits<float>::infinity());
    const auto bits = std::bit_cast<std::int32_t>(value);
    const std::int32_t isNumber = -static_cast<std::int32_t>(bits <= c_iInfinite);
    const std::int32_t isPositive = ~(bits >> 31);
    const std::int32_t clamped = std::min(bits & isNumber & isPositive, c_iFull);
    const float raised = std::bit_cast<float>(clamped) + 0.5F;
    return static_cast<std::uint8_t>(static_cast<int>(raised));
}

/// `value` rounded to the nearest integer, halves upwards, and clamped to the range of T, not a number becoming 0;
/// floating-point types take it as it is.
template <typename T>
T RoundTo(double value)
{
    if constexpr (std::is_floating_point_v<T>) {
        return static_cast<T>(value);
    } else {
        return TruncateTo<T>(std::floor(value + 0.5));
    }
}

/// An element on the scale 0 to 255 as byte or float.
template <typename Target, typename Source>
constexpr Target ConvertElement(Source value)
{
    if constexpr (std::is_same_v<Target, std::uint8_t> && std::is_floating_point_v<Source>) {
        return SaturateToByte(static_cast<float>(value));
    } else {
        return static_cast<Target>(value);
    }
}

/// target[i] = source[i]. The shorter span rules; the two do not overlap.
ORX_EXPORT void BytesToFloats(std::span<const std::uint8_t> source, std::span<float> target);

/// Makes pixels of 4 bytes, with alpha 0, of as many pixels of 3 bytes as both spans hold. The two do not overlap.
ORX_EXPORT void AppendAlpha(std::span<const std::uint8_t> bgr, std::span<std::uint8_t> argb);

/// Converts as many pixels as both spans hold. Grey goes to all three channels. Alpha becomes 0, but is kept
/// from `Argb8` to `Argb8`. A colour does not become grey here.
template <typename Source, typename Target>
void ConvertPixels(std::span<const typename Source::Element> source,
                   std::span<typename Target::Element> target)
{
    static_assert(Target::c_bIsColor || !Source::c_bIsColor);
    constexpr std::size_t from = Source::c_iStride;
    constexpr std::size_t to = Target::c_iStride;
    using Element = typename Target::Element;
    const std::size_t pixels = std::min(source.size() / from, target.size() / to);
    if constexpr (from == to && std::is_same_v<typename Source::Element, std::uint8_t> &&
                  std::is_same_v<Element, float>) {
        BytesToFloats(source, target);
    } else if constexpr (std::is_same_v<Source, Bgr8> && std::is_same_v<Target, Argb8>) {
        AppendAlpha(source, target);
    } else if constexpr (from == to) {
        // Element by element, which compilers turn into vector code.
        for (std::size_t i = 0; i < pixels * to; ++i) {
            target[i] = ConvertElement<Element>(source[i]);
        }
    } else {
        constexpr std::size_t green = Source::c_bIsColor ? 1 : 0;
        constexpr std::size_t red = Source::c_bIsColor ? 2 : 0;
        for (std::size_t i = 0; i < pixels; ++i) {
            target[to * i] = ConvertElement<Element>(source[from * i]);
            target[to * i + 1] = ConvertElement<Element>(source[from * i + green]);
            target[to * i + 2] = ConvertElement<Element>(source[from * i + red]);
            if constexpr (to == 4) {
                target[to * i + 3] = Element{0};
            }
        }
    }
}

/// Gives all three channels of each target pixel element number `channel` of the source pixel; alpha becomes 0.
/// As many pixels as both spans hold; nothing if the source pixel has no such element. The two may be the same
/// pixels.
template <typename Source, typename Target>
void SpreadChannel(std::span<const typename Source::Element> source, std::size_t channel,
                   std::span<typename Target::Element> target)
{
    static_assert(Target::c_bIsColor);
    constexpr std::size_t from = Source::c_iStride;
    constexpr std::size_t to = Target::c_iStride;
    using Element = typename Target::Element;
    const std::size_t pixels = channel < from ? std::min(source.size() / from, target.size() / to) : 0;
    for (std::size_t i = 0; i < pixels; ++i) {
        const auto value = ConvertElement<Element>(source[from * i + channel]);
        std::fill_n(target.begin() + static_cast<std::ptrdiff_t>(to * i), 3, value);
        if constexpr (to == 4) {
            target[to * i + 3] = Element{0};
        }
    }
}

/// Converts each row of `source` by `kernel(source row, target row)` into the begin of the row of `target`, and
/// clears what the source does not cover. The source is nowhere larger than the target, and both spans hold
/// what their extents say.
template <typename Source, typename Target, typename Kernel>
void ConvertRows(const SExtent& from, std::span<const typename Source::Element> source, const SExtent& to,
                 std::span<typename Target::Element> target, Kernel kernel)
{
    if (from == to) {
        kernel(source, target);
        return;
    }
    const std::size_t sourceRow = from.width * Source::c_iStride;
    const std::size_t targetRow = to.width * Target::c_iStride;
    for (std::size_t y = 0; y < to.height; ++y) {
        const auto row = target.subspan(y * targetRow, targetRow);
        std::size_t written = 0;
        if (y < from.height) {
            written = from.width * Target::c_iStride;
            kernel(source.subspan(y * sourceRow, sourceRow), row.first(written));
        }
        std::ranges::fill(row.subspan(written), typename Target::Element{});
    }
}

/// grey = (blue * b + green * g + red * r + offset) >> shift; the weights keep the result within a byte.
struct SGrayMix
{
    std::uint32_t blue = 0;
    std::uint32_t green = 0;
    std::uint32_t red = 0;
    std::uint32_t offset = 0;
    std::uint32_t shift = 0;

    bool operator==(const SGrayMix&) const = default;
};

/// (blue + 2 * green + red) >> 2, the mix that has a fast path.
inline constexpr SGrayMix c_MixWeighted{1, 2, 1, 0, 2};

/// Mixes pixels of three bytes, or of four with alpha left out, to grey; as many as both spans hold.
ORX_EXPORT void MixBgrToGray(std::span<const std::uint8_t> bgr, const SGrayMix& mix,
                             std::span<std::uint8_t> gray);
ORX_EXPORT void MixArgbToGray(std::span<const std::uint8_t> argb, const SGrayMix& mix,
                              std::span<std::uint8_t> gray);

/// target[i] = source[i] > threshold ? high : low. The shorter span rules; the two may be the same.
ORX_EXPORT void SelectAbove(std::span<const std::uint8_t> source, int threshold, std::uint8_t low,
                            std::uint8_t high, std::span<std::uint8_t> target);
ORX_EXPORT void SelectAbove(std::span<const std::int32_t> source, int threshold, std::uint32_t low,
                            std::uint32_t high, std::span<std::uint32_t> target);
ORX_EXPORT void SelectAbove(std::span<const std::uint32_t> source, int threshold, std::uint32_t low,
                            std::uint32_t high, std::span<std::uint32_t> target);

/// Sets the alpha byte of each word to 255. The shorter span rules; the two may be the same.
ORX_EXPORT void SetOpaque(std::span<const std::uint32_t> argb, std::span<std::uint32_t> target);

/// Copies one element of each pixel from where `rows` and `columns` say: target pixel (x, y) takes it from
/// source pixel (columns[x], rows[y]). All indices lie inside the source of `columns.size()` by `rows.size()`
/// pixels; strides and channel count elements. The two do not overlap.
template <typename T>
void GatherChannel(std::span<const T> source, std::size_t sourceStride, std::span<const std::size_t> columns,
                   std::span<const std::size_t> rows, std::size_t channel, std::span<T> target,
                   std::size_t targetStride)
{
    const std::size_t width = columns.size();
    if (width == 0) {
        return;
    }
    for (std::size_t y = 0; y < rows.size(); ++y) {
        const T* const from = source.data() + rows[y] * width * sourceStride + channel;
        T* const to = target.data() + y * width * targetStride + channel;
        for (std::size_t x = 0; x < width; ++x) {
            to[x * targetStride] = from[columns[x] * sourceStride];
        }
    }
}

} // namespace LxCV::ImageKernels
