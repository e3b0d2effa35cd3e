#include "cctimage.h"

#include "orx/logging/logger.h"
#include "tests/lxcvlib/imageopstestsupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace LxCV {
namespace {

using namespace TestSupport;

using Bytes = std::vector<std::uint8_t>;

/// Bytes of one channel of a pixel.
Bytes ElementOf(const Image& image, int x, int y, int channel)
{
    const int size = image.GetBytesPerPixel() / image.GetNumChannels();
    Bytes pixel(static_cast<std::size_t>(image.GetBytesPerPixel()));
    EXPECT_EQ(image.GetPixel(x, y, pixel.data()), 0);
    return {pixel.begin() + channel * size, pixel.begin() + (channel + 1) * size};
}

std::pair<int, int> Mirrored(const Image& image, int mode, int x, int y)
{
    return {mode == 1 ? image.GetWidth() - 1 - x : x, mode == 2 ? image.GetHeight() - 1 - y : y};
}

TEST(CCTImageChannels, ModeOneMirrorsLeftToRightAndModeTwoTopToBottom)
{
    const Image source = ImageOf<std::uint8_t>(3, 2, Image::eIDT_UINT8, {1, 2, 3, 4, 5, 6});
    Image target = MarkedImage(3, 2, Image::eIDT_UINT8);
    EXPECT_EQ(source.MirrorChannel(&target, 0, 0), 0);
    EXPECT_EQ(BytesOf(target), (Bytes{1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(source.MirrorChannel(&target, 0, 1), 0);
    EXPECT_EQ(BytesOf(target), (Bytes{3, 2, 1, 6, 5, 4}));
    EXPECT_EQ(source.MirrorChannel(&target, 0, 2), 0);
    EXPECT_EQ(BytesOf(target), (Bytes{4, 5, 6, 1, 2, 3}));
}

TEST(CCTImageChannels, OneChannelOfAnyTypeIsMirroredAndTheOthersStay)
{
    for (const SType& type : c_aTypes) {
        for (const auto& [width, height] : {std::pair{1, 1}, {2, 2}, {5, 4}, {4, 7}}) {
            for (int mode = 0; mode < 3; ++mode) {
                for (int channel = 0; channel < type.channels; ++channel) {
                    const Image source = RandomImage(width, height, type.number, 1);
                    const Image before = RandomImage(width, height, type.number, 2);
                    Image target(before);
                    Image inPlace(source);
                    Image self(source);
                    ASSERT_EQ(source.MirrorChannel(&target, channel, mode), 0);
                    ASSERT_EQ(inPlace.MirrorChannelInPlace(channel, mode), 0);
                    ASSERT_EQ(self.MirrorChannel(&self, channel, mode), 0);
                    for (int y = 0; y < height; ++y) {
                        for (int x = 0; x < width; ++x) {
                            const auto [fromX, fromY] = Mirrored(source, mode, x, y);
                            for (int c = 0; c < type.channels; ++c) {
                                const Bytes mirrored = ElementOf(source, fromX, fromY, c);
                                const bool mirrors = c == channel;
                                ASSERT_EQ(ElementOf(target, x, y, c),
                                          mirrors ? mirrored : ElementOf(before, x, y, c));
                                ASSERT_EQ(ElementOf(inPlace, x, y, c),
                                          mirrors ? mirrored : ElementOf(source, x, y, c));
                            }
                        }
                    }
                    ASSERT_EQ(BytesOf(self), BytesOf(inPlace));
                }
            }
        }
    }
}

TEST(CCTImageChannels, AnUnknownModeIsLoggedAndWritesNothing)
{
    const Image source = RandomImage(3, 2, Image::eIDT_BGRU8, 1);
    for (const int mode : {-1, 3, 42, INT_MAX, INT_MIN}) {
        const std::wstring text = L"Warning: CCTImage::MirrorChannel: 'iMirrorMode = " +
                                  std::to_wstring(mode) + L"' not supported!\n";
        const Logging::CCapture capture;
        Image target = MarkedImage(3, 2, Image::eIDT_BGRU8);
        EXPECT_EQ(source.MirrorChannel(&target, 0, mode), 2);
        EXPECT_EQ(capture.Count(Logging::ELevel::eWarning, c_sChannel, text), 1);
        EXPECT_EQ(target.MirrorChannelInPlace(0, mode), 2);
        EXPECT_EQ(target.MirrorChannelInPlaceUInt8(0, mode), 2);
        EXPECT_EQ(target.MirrorChannel(&target, 0, mode), 2);
        EXPECT_EQ(capture.Count(Logging::ELevel::eWarning, c_sChannel, text), 4);
        EXPECT_EQ(capture.GetRecords().size(), 4U);
        EXPECT_TRUE(IsUntouched(target));
    }
}

TEST(CCTImageChannels, MirroringRefusesWhatItCannotDo)
{
    const Image source = RandomImage(3, 2, Image::eIDT_BGRU8, 1);
    EXPECT_EQ(source.MirrorChannel(nullptr, 0, 1), 1);
    Image target = MarkedImage(3, 2, Image::eIDT_BGRU8);
    for (const int channel : {-1, 3, INT_MIN, INT_MAX}) {
        EXPECT_EQ(source.MirrorChannel(&target, channel, 1), 2);
        EXPECT_EQ(target.MirrorChannelInPlace(channel, 1), 2);
    }
    Image argb = MarkedImage(3, 2, Image::eIDT_ARGB8);
    EXPECT_EQ(source.MirrorChannel(&argb, 0, 1), 12);
    for (const auto& [width, height] : {std::pair{4, 2}, {3, 3}, {2, 2}, {0, 0}}) {
        Image other = MarkedImage(width, height, Image::eIDT_BGRU8);
        EXPECT_EQ(source.MirrorChannel(&other, 0, 1), 9);
        EXPECT_TRUE(IsUntouched(other));
    }
    Image hollow = Hollow(3, 2, Image::eIDT_BGRU8);
    EXPECT_EQ(source.MirrorChannel(&hollow, 0, 1), 15);
    EXPECT_EQ(hollow.MirrorChannel(&target, 0, 1), 15);
    EXPECT_EQ(hollow.MirrorChannelInPlace(0, 1), 15);
    EXPECT_EQ(Image().MirrorChannelInPlace(0, 1), 8);
    EXPECT_EQ(CBeliedImage(3, 2, Image::eIDT_BGRU8, 1).MirrorChannelInPlace(2, 1), 8);
    EXPECT_TRUE(IsUntouched(target) && IsUntouched(argb));
}

TEST(CCTImageChannels, TheFormsInPlaceTakeTheirTypesOnly)
{
    for (const SType& type : c_aTypes) {
        const bool isFloat = type.number == 9 || type.number == 11;
        const bool isByte = type.number == 1 || type.number == 2 || type.number == 7 || type.number == 12;
        const Image source = RandomImage(4, 3, type.number, 1);
        Image mirrored(source);
        ASSERT_EQ(mirrored.MirrorChannelInPlace(0, 1), 0);
        Image floats(source);
        EXPECT_EQ(floats.MirrorChannelInPlaceFloat(0, 1), isFloat ? 0 : 8);
        EXPECT_EQ(BytesOf(floats), BytesOf(isFloat ? mirrored : source));
        Image bytes(source);
        EXPECT_EQ(bytes.MirrorChannelInPlaceUInt8(0, 1), isByte ? 0 : 8);
        EXPECT_EQ(BytesOf(bytes), BytesOf(isByte ? mirrored : source));
    }
}

TEST(CCTImageChannels, AnEmptyImageIsItsOwnMirror)
{
    for (const auto& [width, height] : {std::pair{0, 0}, {0, 3}, {3, 0}}) {
        Image image(width, height, Image::eIDT_BGRU8, true, nullptr);
        const Image source(width, height, Image::eIDT_BGRU8, true, nullptr);
        for (int mode = 0; mode < 3; ++mode) {
            EXPECT_EQ(image.MirrorChannelInPlace(1, mode), 0);
            EXPECT_EQ(source.MirrorChannel(&image, 1, mode), 0);
        }
        EXPECT_EQ(source.ShiftImageChannels(&image, 1, 1, 1, 1), 0);
        EXPECT_EQ(source.ShiftAndMirrorImageChannels(&image, 1, 1, 1, 1), 0);
    }
}

TEST(CCTImageChannels, RedAndBlueComeFromWhereTheShiftsPoint)
{
    // One row of blue, green, red; red from one column to the right, blue from one to the left.
    const Image source = ImageOf<std::uint8_t>(3, 1, Image::eIDT_BGRU8, {1, 2, 3, 11, 12, 13, 21, 22, 23});
    Image target = MarkedImage(3, 1, Image::eIDT_ARGB8);
    EXPECT_EQ(source.ShiftImageChannels(&target, 1, 0, -1, 0), 0);
    EXPECT_EQ(BytesOf(target), (Bytes{1, 2, 13, 255, 1, 12, 23, 255, 11, 22, 23, 255}));
}

/// The byte that a channel of the result has, from the definition: mirrors first, then shifts with the nearest
/// pixel outside.
Bytes ShiftedElement(const Image& source, int x, int y, int channel, const std::array<int, 4>& shifts,
                     bool mirror)
{
    const long long cols = channel == 2 ? shifts[0] : channel == 0 ? shifts[2] : 0;
    const long long rows = channel == 2 ? shifts[1] : channel == 0 ? shifts[3] : 0;
    const auto fromX = static_cast<int>(std::clamp<long long>(x + cols, 0, source.GetWidth() - 1));
    const auto fromY = static_cast<int>(std::clamp<long long>(y + rows, 0, source.GetHeight() - 1));
    const int mode = channel == 2 ? 1 : 2;
    const auto [mirroredX, mirroredY] = Mirrored(source, mirror ? mode : 0, fromX, fromY);
    return ElementOf(source, mirroredX, mirroredY, channel);
}

TEST(CCTImageChannels, ShiftsOfAnySizeTakeTheNearestPixelOutside)
{
    constexpr std::array<std::array<int, 4>, 6> c_aShifts{{{0, 0, 0, 0},
                                                           {1, 2, -1, -2},
                                                           {-3, 1, 2, -1},
                                                           {100, -100, -100, 100},
                                                           {INT_MAX, INT_MIN, INT_MIN, INT_MAX},
                                                           {0, 3, 4, 0}}};
    for (const int from : {Image::eIDT_BGRU8, Image::eIDT_ARGB8}) {
        for (const int to : {Image::eIDT_BGRU8, Image::eIDT_ARGB8}) {
            for (const std::array<int, 4>& s : c_aShifts) {
                for (const bool mirror : {false, true}) {
                    const Image source = RandomImage(7, 5, from, 3);
                    Image target = MarkedImage(7, 5, to);
                    ASSERT_EQ(mirror ? source.ShiftAndMirrorImageChannels(&target, s[0], s[1], s[2], s[3])
                                     : source.ShiftImageChannels(&target, s[0], s[1], s[2], s[3]),
                              0);
                    for (int y = 0; y < 5; ++y) {
                        for (int x = 0; x < 7; ++x) {
                            for (int c = 0; c < 3; ++c) {
                                ASSERT_EQ(ElementOf(target, x, y, c),
                                          ShiftedElement(source, x, y, c, s, mirror));
                            }
                            if (to == Image::eIDT_ARGB8) {
                                ASSERT_EQ(ElementOf(target, x, y, 3), Bytes{255});
                            }
                        }
                    }
                }
            }
        }
    }
}

TEST(CCTImageChannels, ShiftingMirroredEqualsMirroringThenShifting)
{
    const Image source = RandomImage(9, 6, Image::eIDT_BGRU8, 8);
    Image mirrored = MarkedImage(9, 6, Image::eIDT_BGRU8);
    source.MirrorChannel(&mirrored, 0, 2);
    source.MirrorChannel(&mirrored, 1, 2);
    source.MirrorChannel(&mirrored, 2, 1);
    Image expected = MarkedImage(9, 6, Image::eIDT_ARGB8);
    Image actual = MarkedImage(9, 6, Image::eIDT_ARGB8);
    mirrored.ShiftImageChannels(&expected, 2, -1, -3, 1);
    source.ShiftAndMirrorImageChannels(&actual, 2, -1, -3, 1);
    EXPECT_EQ(BytesOf(actual), BytesOf(expected));
}

TEST(CCTImageChannels, AnImageShiftsIntoItself)
{
    for (const bool mirror : {false, true}) {
        Image image = RandomImage(6, 5, Image::eIDT_ARGB8, 8);
        Image expected = MarkedImage(6, 5, Image::eIDT_ARGB8);
        if (mirror) {
            image.ShiftAndMirrorImageChannels(&expected, 1, 2, -1, -2);
            EXPECT_EQ(image.ShiftAndMirrorImageChannels(&image, 1, 2, -1, -2), 0);
        } else {
            image.ShiftImageChannels(&expected, 1, 2, -1, -2);
            EXPECT_EQ(image.ShiftImageChannels(&image, 1, 2, -1, -2), 0);
        }
        EXPECT_EQ(BytesOf(image), BytesOf(expected));
    }
}

TEST(CCTImageChannels, ShiftingRefusesWhatItCannotDo)
{
    const Image source = RandomImage(3, 2, Image::eIDT_BGRU8, 1);
    EXPECT_EQ(source.ShiftImageChannels(nullptr, 0, 0, 0, 0), 1);
    EXPECT_EQ(source.ShiftAndMirrorImageChannels(nullptr, 0, 0, 0, 0), 1);
    for (int type = 3; type < 13; ++type) {
        Image other = MarkedImage(3, 2, type);
        EXPECT_EQ(source.ShiftImageChannels(&other, 0, 0, 0, 0), 8);
        Image target = MarkedImage(3, 2, Image::eIDT_ARGB8);
        EXPECT_EQ(other.ShiftAndMirrorImageChannels(&target, 0, 0, 0, 0), 8);
        EXPECT_TRUE(IsUntouched(other) && IsUntouched(target));
    }
    for (const auto& [width, height] : {std::pair{4, 2}, {3, 3}, {2, 2}}) {
        Image other = MarkedImage(width, height, Image::eIDT_ARGB8);
        EXPECT_EQ(source.ShiftImageChannels(&other, 0, 0, 0, 0), 9);
        EXPECT_TRUE(IsUntouched(other));
    }
    Image hollow = Hollow(3, 2, Image::eIDT_ARGB8);
    EXPECT_EQ(source.ShiftImageChannels(&hollow, 0, 0, 0, 0), 15);
    EXPECT_EQ(hollow.ShiftImageChannels(&hollow, 0, 0, 0, 0), 15);
}

} // namespace
} // namespace LxCV
