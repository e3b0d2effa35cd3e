#include "cctimage.h"

#include "tests/lxcvlib/imageopstestsupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstdint>
#include <utility>
#include <vector>

namespace LxCV {
namespace {

using namespace TestSupport;

using Bytes = std::vector<std::uint8_t>;

constexpr std::array<std::uint8_t, 12> c_aLow{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
constexpr std::array<std::uint8_t, 12> c_aHigh{101, 102, 103, 104, 105, 106, 107, 108, 109, 110, 111, 112};

bool HasDirectLoop(int from, int to)
{
    const bool isByte = from == Image::eIDT_UINT8 || from == Image::eIDT_GRAY8;
    const bool isWord = from == Image::eIDT_UINT32 || from == Image::eIDT_INT32;
    const int bytes = Image::GetBytesPerPixel(TypeOf(to));
    return (isByte && bytes == 1) || (isWord && bytes == 4);
}

Bytes PixelOf(const Image& image, int x, int y)
{
    Bytes pixel(static_cast<std::size_t>(image.GetBytesPerPixel()));
    EXPECT_EQ(image.GetPixel(x, y, pixel.data()), 0);
    return pixel;
}

Bytes Expected(const Image& target, bool high)
{
    const auto& pixel = high ? c_aHigh : c_aLow;
    return {pixel.begin(), pixel.begin() + target.GetBytesPerPixel()};
}

int ValueOf(const Image& image, int x, int y)
{
    return image.ConvertPixToInt(PixelOf(image, x, y).data());
}

TEST(CCTImageThreshold, AnEqualByteIsLowInAByteTarget)
{
    for (const int type : {Image::eIDT_UINT8, Image::eIDT_GRAY8}) {
        const Image source = ImageOf<std::uint8_t>(3, 1, TypeOf(type), {99, 100, 101});
        Image target = MarkedImage(3, 1, Image::eIDT_UINT8);
        EXPECT_EQ(source.ApplyThreshold(&target, 100, c_aLow.data(), c_aHigh.data()), 0);
        EXPECT_EQ(BytesOf(target), (Bytes{1, 1, 101}));
    }
}

TEST(CCTImageThreshold, AnEqualShortIsHigh)
{
    const Image source = ImageOf<std::uint16_t>(3, 1, Image::eIDT_UINT16, {99, 100, 101});
    Image target = MarkedImage(3, 1, Image::eIDT_UINT8);
    EXPECT_EQ(source.ApplyThreshold(&target, 100, c_aLow.data(), c_aHigh.data()), 0);
    EXPECT_EQ(BytesOf(target), (Bytes{1, 101, 101}));
}

TEST(CCTImageThreshold, AnEqualByteIsHighInAWiderTarget)
{
    const Image source = ImageOf<std::uint8_t>(3, 1, Image::eIDT_UINT8, {99, 100, 101});
    Image target = MarkedImage(3, 1, Image::eIDT_BGRU8);
    EXPECT_EQ(source.ApplyThreshold(&target, 100, c_aLow.data(), c_aHigh.data()), 0);
    EXPECT_EQ(BytesOf(target), (Bytes{1, 2, 3, 101, 102, 103, 101, 102, 103}));
}

TEST(CCTImageThreshold, WordsAreComparedWithTheirSign)
{
    Image target = MarkedImage(4, 1, Image::eIDT_FLOAT32);
    const Image negative = ImageOf<std::int32_t>(4, 1, Image::eIDT_INT32, {-5, -6, INT_MIN, INT_MAX});
    EXPECT_EQ(negative.ApplyThreshold(&target, -6, c_aLow.data(), c_aHigh.data()), 0);
    for (const auto& [x, high] : {std::pair{0, true}, {1, false}, {2, false}, {3, true}}) {
        EXPECT_EQ(PixelOf(target, x, 0), Expected(target, high)) << x;
    }
    // The largest unsigned words are not negative numbers.
    const Image large = ImageOf<std::uint32_t>(4, 1, Image::eIDT_UINT32, {0, INT_MAX, 1U << 31, UINT_MAX});
    EXPECT_EQ(large.ApplyThreshold(&target, INT_MAX, c_aLow.data(), c_aHigh.data()), 0);
    for (const auto& [x, high] : {std::pair{0, false}, {1, false}, {2, true}, {3, true}}) {
        EXPECT_EQ(PixelOf(target, x, 0), Expected(target, high)) << x;
    }
    EXPECT_EQ(large.ApplyThreshold(&target, -1, c_aLow.data(), c_aHigh.data()), 0);
    for (int x = 0; x < 4; ++x) {
        EXPECT_EQ(PixelOf(target, x, 0), Expected(target, true));
    }
}

TEST(CCTImageThreshold, EveryPairOfTypesFollowsItsRule)
{
    for (const SType& from : c_aTypes) {
        for (const SType& to : c_aTypes) {
            const Image source = RandomImage(37, 3, from.number, 1);
            for (int trial = 0; trial < 4; ++trial) {
                const int threshold = ValueOf(source, trial, 1); // so that equal values occur
                Image target = MarkedImage(37, 3, to.number);
                ASSERT_EQ(source.ApplyThreshold(&target, threshold, c_aLow.data(), c_aHigh.data()), 0);
                const bool direct = HasDirectLoop(from.number, to.number);
                for (int y = 0; y < 3; ++y) {
                    for (int x = 0; x < 37; ++x) {
                        const int value = ValueOf(source, x, y);
                        long long exact = value;
                        long long limit = threshold;
                        if (direct && from.number == Image::eIDT_UINT32) {
                            exact = static_cast<std::uint32_t>(value);
                        }
                        const bool high = direct ? exact > limit : exact >= limit;
                        ASSERT_EQ(PixelOf(target, x, y), Expected(target, high))
                            << "from " << from.number << " to " << to.number << " at " << threshold;
                    }
                }
            }
        }
    }
}

TEST(CCTImageThreshold, ThresholdsBeyondBytesPutAllOnOneSide)
{
    Bytes values(256);
    for (int i = 0; i < 256; ++i) {
        values[static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(i);
    }
    const Image source = ImageOf<std::uint8_t>(256, 1, Image::eIDT_UINT8, values);
    for (int threshold = -3; threshold < 260; ++threshold) {
        Image target = MarkedImage(256, 1, Image::eIDT_UINT8);
        source.ApplyThreshold(&target, threshold, c_aLow.data(), c_aHigh.data());
        for (int i = 0; i < 256; ++i) {
            ASSERT_EQ(BytesOf(target)[static_cast<std::size_t>(i)], i > threshold ? 101 : 1);
        }
    }
    for (const int threshold : {INT_MIN, INT_MAX}) {
        Image target = MarkedImage(256, 1, Image::eIDT_UINT8);
        source.ApplyThreshold(&target, threshold, c_aLow.data(), c_aHigh.data());
        EXPECT_EQ(BytesOf(target), Bytes(256, threshold < 0 ? 101 : 1));
    }
}

TEST(CCTImageThreshold, AnImageMayBeItsOwnTargetAndHoldTheTwoPixels)
{
    for (const int type : {Image::eIDT_UINT8, Image::eIDT_INT8}) {
        Image image = ImageOf<std::uint8_t>(5, 1, TypeOf(type), {9, 50, 3, 70, 20});
        auto* const pixels = static_cast<std::uint8_t*>(image.GetBuffer());
        EXPECT_EQ(image.ApplyThreshold(&image, 10, pixels, pixels + 1), 0);
        EXPECT_EQ(BytesOf(image), (Bytes{9, 50, 9, 50, 50}));
    }
}

TEST(CCTImageThreshold, RefusesWhatItCannotDo)
{
    const Image source = RandomImage(3, 2, Image::eIDT_UINT8, 1);
    Image target = MarkedImage(3, 2, Image::eIDT_UINT8);
    EXPECT_EQ(source.ApplyThreshold(nullptr, 1, c_aLow.data(), c_aHigh.data()), 1);
    EXPECT_EQ(source.ApplyThreshold(&target, 1, nullptr, c_aHigh.data()), 1);
    EXPECT_EQ(source.ApplyThreshold(&target, 1, c_aLow.data(), nullptr), 1);
    for (const auto& [width, height] : {std::pair{4, 2}, {3, 3}, {2, 2}, {0, 0}}) {
        Image other = MarkedImage(width, height, Image::eIDT_UINT8);
        EXPECT_EQ(source.ApplyThreshold(&other, 1, c_aLow.data(), c_aHigh.data()), 9);
        EXPECT_TRUE(IsUntouched(other));
    }
    EXPECT_EQ(MarkedImage(3, 2, 0).ApplyThreshold(&target, 1, c_aLow.data(), c_aHigh.data()), 8);
    EXPECT_EQ(
        CBeliedImage(3, 2, Image::eIDT_FLOAT64, 1).ApplyThreshold(&target, 1, c_aLow.data(), c_aHigh.data()),
        8);
    EXPECT_EQ(Hollow(3, 2, Image::eIDT_UINT8).ApplyThreshold(&target, 1, c_aLow.data(), c_aHigh.data()), 15);
    Image hollow = Hollow(3, 2, Image::eIDT_UINT8);
    EXPECT_EQ(source.ApplyThreshold(&hollow, 1, c_aLow.data(), c_aHigh.data()), 15);
    EXPECT_TRUE(IsUntouched(target));
    const Image empty(0, 4, Image::eIDT_UINT8, true, nullptr);
    Image emptyTarget(0, 4, Image::eIDT_UINT8, true, nullptr);
    EXPECT_EQ(empty.ApplyThreshold(&emptyTarget, 1, c_aLow.data(), c_aHigh.data()), 0);
}

// ---- ApplyAdaptiveThreshold

TEST(CCTImageAdaptiveThreshold, ATargetOfTheSameSizeAndPixelSizeConflicts)
{
    for (const SType& type : c_aTypes) {
        const Image source = RandomImage(3, 2, type.number, 1);
        Image target = MarkedImage(3, 2, type.number);
        EXPECT_EQ(source.ApplyAdaptiveThreshold(&target, c_aLow.data(), c_aHigh.data()), 14);
        EXPECT_TRUE(IsUntouched(target));
    }
    Image self = RandomImage(3, 2, Image::eIDT_UINT8, 1);
    EXPECT_EQ(self.ApplyAdaptiveThreshold(&self, c_aLow.data(), c_aHigh.data()), 14);
}

TEST(CCTImageAdaptiveThreshold, AValueBelowTheMeanAroundItIsLow)
{
    // Means of three columns, two at the ends: 15, 20, 20, 20, 15; a value equal to the mean is high.
    const Image source = ImageOf<std::uint8_t>(5, 1, Image::eIDT_UINT8, {10, 20, 30, 10, 20});
    Image target = MarkedImage(5, 1, Image::eIDT_UINT16);
    EXPECT_EQ(source.ApplyAdaptiveThreshold(&target, c_aLow.data(), c_aHigh.data(), 3, 0), 0);
    for (const auto& [x, high] : {std::pair{0, false}, {1, true}, {2, true}, {3, false}, {4, true}}) {
        EXPECT_EQ(PixelOf(target, x, 0), Expected(target, high)) << x;
    }
    // An offset of 1 lifts the threshold above the value that was equal.
    EXPECT_EQ(source.ApplyAdaptiveThreshold(&target, c_aLow.data(), c_aHigh.data(), 3, 1), 0);
    EXPECT_EQ(PixelOf(target, 1, 0), Expected(target, false));
    EXPECT_EQ(PixelOf(target, 2, 0), Expected(target, true));
}

/// Whether the threshold around a pixel of a 23 by 11 image, whose values lie row by row, is above it.
bool IsBelowMean(const std::vector<long long>& values, int x, int y, int radius, int offset)
{
    long long sum = 0;
    long long count = 0;
    for (int v = std::max(0, y - radius); v <= std::min(10, y + radius); ++v) {
        for (int u = std::max(0, x - radius); u <= std::min(22, x + radius); ++u) {
            sum += values[static_cast<std::size_t>(23 * v + u)];
            ++count;
        }
    }
    return (values[static_cast<std::size_t>(23 * y + x)] - offset) * count < sum;
}

TEST(CCTImageAdaptiveThreshold, EveryWindowEqualsTheDirectSum)
{
    for (const int type : {1, 4, 5, 6, 7, 8, 9, 12}) {
        const Image source = RandomImage(23, 11, type, 5);
        std::vector<long long> values;
        for (int i = 0; i < 23 * 11; ++i) {
            values.push_back(ValueOf(source, i % 23, i / 23));
        }
        for (const int window : {1, 3, 7, 31, 1001, INT_MAX}) {
            const int offset = window % 3 * 11 - 5;
            Image target = MarkedImage(23, 11, Image::eIDT_FLOAT32_3);
            ASSERT_EQ(source.ApplyAdaptiveThreshold(&target, c_aLow.data(), c_aHigh.data(), window, offset),
                      0);
            for (int i = 0; i < 23 * 11; ++i) {
                const bool low = IsBelowMean(values, i % 23, i / 23, std::min(window / 2, 100), offset);
                ASSERT_EQ(PixelOf(target, i % 23, i / 23), Expected(target, !low)) << type << " " << window;
            }
        }
    }
}

TEST(CCTImageAdaptiveThreshold, ExtremeOffsetsPutAllOnOneSide)
{
    const Image source = ImageOf<std::int32_t>(2, 1, Image::eIDT_INT32, {INT_MIN, INT_MAX});
    Image target = MarkedImage(2, 1, Image::eIDT_UINT8);
    EXPECT_EQ(source.ApplyAdaptiveThreshold(&target, c_aLow.data(), c_aHigh.data(), 3, INT_MAX), 0);
    EXPECT_EQ(BytesOf(target), (Bytes{1, 101})); // the mean is -0.5, so the threshold is just below INT_MAX
    EXPECT_EQ(source.ApplyAdaptiveThreshold(&target, c_aLow.data(), c_aHigh.data(), 3, INT_MIN), 0);
    EXPECT_EQ(BytesOf(target), (Bytes{101, 101}));
}

TEST(CCTImageAdaptiveThreshold, RefusesWhatItCannotDo)
{
    const Image source = RandomImage(3, 2, Image::eIDT_UINT8, 1);
    Image target = MarkedImage(3, 2, Image::eIDT_UINT16);
    EXPECT_EQ(source.ApplyAdaptiveThreshold(nullptr, c_aLow.data(), c_aHigh.data()), 1);
    EXPECT_EQ(source.ApplyAdaptiveThreshold(&target, nullptr, c_aHigh.data()), 1);
    EXPECT_EQ(source.ApplyAdaptiveThreshold(&target, c_aLow.data(), nullptr), 1);
    for (const int window : {0, -1, -3, 2, 30, INT_MIN}) {
        EXPECT_EQ(source.ApplyAdaptiveThreshold(&target, c_aLow.data(), c_aHigh.data(), window), 18);
    }
    Image larger = MarkedImage(4, 2, Image::eIDT_UINT8);
    EXPECT_EQ(source.ApplyAdaptiveThreshold(&larger, c_aLow.data(), c_aHigh.data()), 9);
    EXPECT_EQ(Hollow(3, 2, Image::eIDT_UINT8).ApplyAdaptiveThreshold(&target, c_aLow.data(), c_aHigh.data()),
              15);
    EXPECT_EQ(MarkedImage(3, 2, 0).ApplyAdaptiveThreshold(&target, c_aLow.data(), c_aHigh.data()), 8);
    EXPECT_TRUE(IsUntouched(target) && IsUntouched(larger));
}

// ---- ApplyMask

TEST(CCTImageMask, PixelsUnderZerosAreClearedOrWithInvertTheOthers)
{
    const Image mask = ImageOf<std::uint8_t>(3, 1, Image::eIDT_UINT8, {0, 1, 255});
    Image image = ImageOf<std::uint8_t>(3, 1, Image::eIDT_BGRU8, {1, 2, 3, 4, 5, 6, 7, 8, 9});
    Image inverted(image);
    EXPECT_EQ(image.ApplyMask(&mask, false), 0);
    EXPECT_EQ(BytesOf(image), (Bytes{0, 0, 0, 4, 5, 6, 7, 8, 9}));
    EXPECT_EQ(inverted.ApplyMask(&mask, true), 0);
    EXPECT_EQ(BytesOf(inverted), (Bytes{1, 2, 3, 0, 0, 0, 0, 0, 0}));
}

TEST(CCTImageMask, MasksOfEveryTypeApplyToImagesOfEveryType)
{
    for (const SType& maskType : c_aTypes) {
        for (const SType& type : c_aTypes) {
            Image mask = RandomImage(19, 4, maskType.number, 3);
            std::vector<bool> zeros;
            for (int i = 0; i < 19 * 4; ++i) {
                zeros.push_back(i % 3 == 0);
                const Bytes none(static_cast<std::size_t>(maskType.bytes), 0);
                Bytes some(static_cast<std::size_t>(maskType.bytes), 0);
                some[0] = 1; // the lowest byte of the first channel
                mask.SetPixel(i % 19, i / 19, i % 3 == 0 ? none.data() : some.data());
            }
            for (const bool invert : {false, true}) {
                const Image before = RandomImage(19, 4, type.number, 9);
                Image image(before);
                ASSERT_EQ(image.ApplyMask(&mask, invert), 0);
                for (int i = 0; i < 19 * 4; ++i) {
                    const bool cleared = zeros[static_cast<std::size_t>(i)] != invert;
                    const Bytes zero(static_cast<std::size_t>(type.bytes), 0);
                    ASSERT_EQ(PixelOf(image, i % 19, i / 19),
                              cleared ? zero : PixelOf(before, i % 19, i / 19));
                }
            }
        }
    }
}

TEST(CCTImageMask, AlphaAndTheSignOfZeroDoNotMakeAMaskPixel)
{
    const Image alpha = ImageOf<std::uint32_t>(2, 1, Image::eIDT_ARGB8, {0xFF000000U, 0x00010000U});
    const Image zero = ImageOf<float>(2, 1, Image::eIDT_FLOAT32, {-0.0F, c_fNan});
    for (const Image* const mask : {&alpha, &zero}) {
        Image image = ImageOf<std::uint8_t>(2, 1, Image::eIDT_UINT8, {5, 6});
        EXPECT_EQ(image.ApplyMask(mask, false), 0);
        EXPECT_EQ(BytesOf(image), (Bytes{0, 6}));
    }
}

TEST(CCTImageMask, AnImageMasksItself)
{
    Image image = ImageOf<std::uint8_t>(3, 1, Image::eIDT_UINT8, {0, 5, 6});
    EXPECT_EQ(image.ApplyMask(&image, false), 0);
    EXPECT_EQ(BytesOf(image), (Bytes{0, 5, 6}));
    EXPECT_EQ(image.ApplyMask(&image, true), 0);
    EXPECT_EQ(BytesOf(image), (Bytes{0, 0, 0}));
}

TEST(CCTImageMask, RefusesWhatItCannotDo)
{
    Image image = MarkedImage(3, 2, Image::eIDT_UINT16);
    EXPECT_EQ(image.ApplyMask(nullptr, false), 1);
    for (const auto& [width, height] : {std::pair{4, 2}, {3, 3}, {2, 2}, {0, 0}}) {
        const Image mask(width, height, Image::eIDT_UINT8, true, nullptr);
        EXPECT_EQ(image.ApplyMask(&mask, false), 9);
    }
    const Image hollow = Hollow(3, 2, Image::eIDT_UINT8);
    EXPECT_EQ(image.ApplyMask(&hollow, false), 15);
    const Image undefined = Hollow(3, 2, 0);
    EXPECT_EQ(image.ApplyMask(&undefined, false), 8);
    const CBeliedImage belied(3, 2, Image::eIDT_FLOAT64, 1);
    EXPECT_EQ(image.ApplyMask(&belied, false), 8);
    EXPECT_TRUE(IsUntouched(image));
    Image target = Hollow(3, 2, Image::eIDT_UINT8);
    EXPECT_EQ(target.ApplyMask(&image, false), 15);
}

} // namespace
} // namespace LxCV
