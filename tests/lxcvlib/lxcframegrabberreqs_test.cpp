// Tests of the sensor requirements: conversion of raw images and the section text of the mounting constants.
#include "lxcframegrabberreqs.h"

#include "imagetestsupport.h"
#include "orx/logging/logger.h"
#include "sectiontext.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <string>
#include <thread>
#include <vector>

namespace LxCV {
namespace {

using namespace TestSupport;
using Logging::ELevel;

constexpr const wchar_t* kChannel = L"ORX.Lumorad.LxCFrameGrabberReqs";
constexpr int kWidth = 13;
constexpr int kHeight = 9;

Image RawImage(unsigned seed = 1)
{
    return RandomImage(kWidth, kHeight, Image::eIDT_BGRU8, seed);
}

Image FloatImage(float value = -1.0F)
{
    return {kWidth, kHeight, Image::eIDT_FLOAT32_3, value};
}

Image LiveImage(Image::EImageDataType type = Image::eIDT_ARGB8)
{
    Image image;
    image.Resize(kWidth, kHeight, type);
    return image;
}

int ByteAt(const Image& image, int x, int y, int channel)
{
    return static_cast<const std::uint8_t*>(
        image.GetBuffer())[(y * image.GetWidth() + x) * image.GetBytesPerPixel() + channel];
}

float FloatAt(const Image& image, int x, int y, int channel)
{
    return static_cast<const float*>(image.GetBuffer())[(y * image.GetWidth() + x) * 3 + channel];
}

/// Calls `call(x, y, channel)` for three channels of each pixel.
template <typename Call>
void ForEachElement(Call call)
{
    for (int y = 0; y < kHeight; ++y) {
        for (int x = 0; x < kWidth; ++x) {
            for (int channel = 0; channel < 3; ++channel) {
                call(x, y, channel);
            }
        }
    }
}

/// The coordinate that an element comes from when its direction is mirrored.
int MirroredX(int x, int mode)
{
    return mode == Image::eMM_LeftRight ? kWidth - 1 - x : x;
}
int MirroredY(int y, int mode)
{
    return mode == Image::eMM_UpDown ? kHeight - 1 - y : y;
}

LxCFrameGrabberReqs MountedReqs()
{
    LxCFrameGrabberReqs reqs;
    reqs.SetMirrorChannelsSettings(true, 0, 0, 0);
    reqs.SetGCenterCol(6.0F);
    reqs.SetGCenterRow(4.0F);
    reqs.SetRImageShiftCol(0.25F);
    reqs.SetRImageShiftRow(-0.5F);
    reqs.SetRImageAngle(0.01F);
    reqs.SetRSizeFactor(1.01F);
    reqs.SetBImageShiftCol(-1.25F);
    reqs.SetBImageShiftRow(0.75F);
    reqs.SetBImageAngle(-0.02F);
    reqs.SetBSizeFactor(0.99F);
    return reqs;
}

TEST(LxCFrameGrabberReqs, StartsWithAnAlignedCameraOfTheUsualSize)
{
    const LxCFrameGrabberReqs reqs;
    EXPECT_EQ(reqs.GetSerialNumber(), "unknown");
    EXPECT_EQ(reqs.GetRImageShiftCol(), 0.0F);
    EXPECT_EQ(reqs.GetRImageShiftRow(), 0.0F);
    EXPECT_EQ(reqs.GetRImageAngle(), 0.0F);
    EXPECT_EQ(reqs.GetRSizeFactor(), 1.0F);
    EXPECT_EQ(reqs.GetGCenterCol(), 0.0F);
    EXPECT_EQ(reqs.GetGCenterRow(), 0.0F);
    EXPECT_EQ(reqs.GetBImageShiftCol(), 0.0F);
    EXPECT_EQ(reqs.GetBImageShiftRow(), 0.0F);
    EXPECT_EQ(reqs.GetBImageAngle(), 0.0F);
    EXPECT_EQ(reqs.GetBSizeFactor(), 1.0F);
    EXPECT_FALSE(reqs.GetCorrectChannelOverlap());
    EXPECT_EQ(reqs.GetMirrorRChannel(), 0);
    EXPECT_EQ(reqs.GetMirrorGChannel(), 0);
    EXPECT_EQ(reqs.GetMirrorBChannel(), 0);
    EXPECT_TRUE(reqs.GetCCTMirrorTubeOn());
    EXPECT_EQ(reqs.GetWidthRaw(), 658);
    EXPECT_EQ(reqs.GetHeightRaw(), 494);
    EXPECT_EQ(reqs.GetBytesPerPixelRaw(), 3);
    EXPECT_EQ(reqs.GetImgTypeRaw(), Image::eIDT_BGRU8);
    EXPECT_EQ(reqs.GetWidth(), 658);
    EXPECT_EQ(reqs.GetHeight(), 494);
    EXPECT_EQ(reqs.GetImgType(), Image::eIDT_FLOAT32_3);
}

TEST(LxCFrameGrabberReqs, KeepsTheGeometryThatADriverSets)
{
    LxCFrameGrabberReqs reqs;
    reqs.setWidthRaw(1);
    reqs.setHeightRaw(2);
    reqs.setBytesPerPixelRaw(3);
    reqs.setImgTypeRaw(Image::eIDT_GRAY8);
    reqs.setWidth(5);
    reqs.setHeight(6);
    reqs.setImgType(Image::eIDT_FLOAT32);
    EXPECT_EQ(reqs.GetWidthRaw(), 1);
    EXPECT_EQ(reqs.GetHeightRaw(), 2);
    EXPECT_EQ(reqs.GetBytesPerPixelRaw(), 3);
    EXPECT_EQ(reqs.GetImgTypeRaw(), Image::eIDT_GRAY8);
    EXPECT_EQ(reqs.GetWidth(), 5);
    EXPECT_EQ(reqs.GetHeight(), 6);
    EXPECT_EQ(reqs.GetImgType(), Image::eIDT_FLOAT32);
}

TEST(LxCFrameGrabberReqsSerialize, WritesElevenKeysInOrder)
{
    LxCFrameGrabberReqs reqs = MountedReqs();
    reqs.SetSerialNumber("SN 12");
    const std::string text = Store(reqs, "::FrameGrabberReqs");
    std::size_t place = text.find("::FrameGrabberReqs\n");
    ASSERT_NE(place, std::string::npos);
    for (const char* key : {"\nRShiftCol=0.25", "\nRShiftRow=-0.5", "\nRAngle=0.0", "\nRSizeFactor=1.0",
                            "\nGCenterCol=6.", "\nGCenterRow=4.", "\nBShiftCol=-1.25", "\nBShiftRow=0.75",
                            "\nBAngle=-0.0", "\nBSizeFactor=0.9", "\nSerialNumber=SN 12\n"}) {
        place = text.find(key, place);
        ASSERT_NE(place, std::string::npos) << key << " in\n" << text;
    }
}

TEST(LxCFrameGrabberReqsSerialize, ReadsWhatItWrote)
{
    LxCFrameGrabberReqs reqs = MountedReqs();
    reqs.SetSerialNumber("SN 12");
    LxCFrameGrabberReqs read;
    Load(read, "::X", Store(reqs, "::X"));
    EXPECT_EQ(read.GetSerialNumber(), "SN 12");
    EXPECT_EQ(read.GetRImageShiftCol(), 0.25F);
    EXPECT_EQ(read.GetRImageShiftRow(), -0.5F);
    EXPECT_EQ(read.GetRImageAngle(), 0.01F);
    EXPECT_EQ(read.GetRSizeFactor(), 1.01F);
    EXPECT_EQ(read.GetGCenterCol(), 6.0F);
    EXPECT_EQ(read.GetGCenterRow(), 4.0F);
    EXPECT_EQ(read.GetBImageShiftCol(), -1.25F);
    EXPECT_EQ(read.GetBImageShiftRow(), 0.75F);
    EXPECT_EQ(read.GetBImageAngle(), -0.02F);
    EXPECT_EQ(read.GetBSizeFactor(), 0.99F);
    // What belongs to the driver is no part of the text.
    EXPECT_FALSE(read.GetCorrectChannelOverlap());
}

TEST(LxCFrameGrabberReqsSerialize, KeepsWhatATextLacks)
{
    LxCFrameGrabberReqs reqs = MountedReqs();
    reqs.SetSerialNumber("SN 12");
    Load(reqs, "::X", "::X\nRShiftCol=3\n");
    EXPECT_EQ(reqs.GetRImageShiftCol(), 3.0F);
    EXPECT_EQ(reqs.GetRImageShiftRow(), -0.5F);
    EXPECT_EQ(reqs.GetBSizeFactor(), 0.99F);
    EXPECT_EQ(reqs.GetSerialNumber(), "SN 12");
    Load(reqs, "::Y", "::X\nRShiftCol=9\n");
    EXPECT_EQ(reqs.GetRImageShiftCol(), 3.0F);
}

TEST(MirrorRGBChannels, MirrorsEachColourByItsOwnMode)
{
    const Image raw = RawImage();
    for (int red = 0; red < 3; ++red) {
        for (int green = 0; green < 3; ++green) {
            for (int blue = 0; blue < 3; ++blue) {
                Image out = LiveImage(Image::eIDT_BGRU8);
                LxCFrameGrabberReqs().MirrorRGBChannels(&raw, &out, red, green, blue);
                const int modes[3] = {blue, green, red};
                ForEachElement([&](int x, int y, int channel) {
                    ASSERT_EQ(ByteAt(out, x, y, channel), ByteAt(raw, MirroredX(x, modes[channel]),
                                                                 MirroredY(y, modes[channel]), channel));
                });
            }
        }
    }
}

TEST(MirrorRGBChannels, RefusesEveryOtherType)
{
    const LxCFrameGrabberReqs reqs;
    for (const SType& type : c_aTypes) {
        if (type.number == Image::eIDT_BGRU8) {
            continue;
        }
        const Image in = RandomImage(kWidth, kHeight, type.number, 1);
        Image out = RandomImage(kWidth, kHeight, type.number, 2);
        const std::vector<std::uint8_t> before = BytesOf(out);
        const Logging::CCapture log;
        reqs.MirrorRGBChannels(&in, &out, 1, 2, 2);
        EXPECT_EQ(log.Count(ELevel::eError, kChannel, L"MirrorRGBChannels: wrong image date type!"), 1);
        EXPECT_EQ(log.GetRecords().size(), 1U);
        EXPECT_EQ(BytesOf(out), before) << type.number;
    }
}

TEST(MirrorRGBChannels, WritesNothingForNullImages)
{
    const LxCFrameGrabberReqs reqs;
    const Image raw = RawImage();
    Image out = RawImage(2);
    const std::vector<std::uint8_t> before = BytesOf(out);
    const Logging::CCapture log;
    reqs.MirrorRGBChannels(nullptr, &out, 1, 1, 1);
    EXPECT_EQ(log.Count(ELevel::eError, kChannel, L"MirrorRGBChannels: wrong image date type!"), 1);
    reqs.MirrorRGBChannels(&raw, nullptr, 1, 1, 1);
    EXPECT_EQ(BytesOf(out), before);
}

TEST(CorrectChannelOverlap, IsTheImageItselfForAnAlignedCamera)
{
    Image raw = RawImage();
    raw.SetType(Image::eIT_DepthmapSecondary);
    Image out = FloatImage();
    LxCFrameGrabberReqs().CorrectChannelOverlap(&raw, &out);
    ForEachElement([&](int x, int y, int c) {
        ASSERT_EQ(FloatAt(out, x, y, c), static_cast<float>(ByteAt(raw, x, y, c)));
    });
    EXPECT_EQ(out.GetType(), Image::eIT_DepthmapSecondary);
}

TEST(CorrectChannelOverlap, GivesEachColourItsOwnConstants)
{
    // Whole-pixel shifts: red from one to the right and two up, blue from three to the left and one down. Places on
    // the first column or row still mix, with weight 0 for the second.
    LxCFrameGrabberReqs reqs;
    reqs.SetRImageShiftCol(1.0F);
    reqs.SetRImageShiftRow(-2.0F);
    reqs.SetBImageShiftCol(-3.0F);
    reqs.SetBImageShiftRow(1.0F);
    const Image raw = RawImage();
    Image out = FloatImage();
    reqs.CorrectChannelOverlap(&raw, &out);
    const auto source = [&](int x, int y, int c) {
        return static_cast<float>(
            ByteAt(raw, std::clamp(x, 0, kWidth - 1), std::clamp(y, 0, kHeight - 1), c));
    };
    ForEachElement([&](int x, int y, int c) {
        const int dx = c == 2 ? 1 : (c == 0 ? -3 : 0);
        const int dy = c == 2 ? -2 : (c == 0 ? 1 : 0);
        ASSERT_EQ(FloatAt(out, x, y, c), source(x + dx, y + dy, c)) << x << ", " << y << ", " << c;
    });
}

TEST(CorrectChannelOverlap, TurnsAndScalesAboutTheGreenCentre)
{
    // Twice the size about (6, 4), where the image is a ramp of 10 a column and 7 a row: blue at (x, y) shows the ramp
    // at 6 + 2 (x - 6), 4 + 2 (y - 4). A quarter turn of red shows it at 6 + (y - 4), 4 - (x - 6).
    constexpr float kQuarter = 1.57079632679F;
    constexpr float kTolerance = 1e-4F; // (10 + 7) a pixel times about 5e-6 pixels of rounding
    LxCFrameGrabberReqs reqs;
    reqs.SetGCenterCol(6.0F);
    reqs.SetGCenterRow(4.0F);
    reqs.SetBSizeFactor(2.0F);
    reqs.SetRImageAngle(kQuarter);
    Image raw = LiveImage(Image::eIDT_BGRU8);
    auto* const bytes = static_cast<std::uint8_t*>(raw.GetBuffer());
    ForEachElement([&](int x, int y, int c) {
        bytes[(y * kWidth + x) * 3 + c] = static_cast<std::uint8_t>(10 * x + 7 * y);
    });
    Image out = FloatImage();
    reqs.CorrectChannelOverlap(&raw, &out);
    for (int y = 3; y <= 5; ++y) {
        for (int x = 4; x <= 8; ++x) {
            const auto ramp = [](int col, int row) { return static_cast<float>(10 * col + 7 * row); };
            EXPECT_NEAR(FloatAt(out, x, y, 0), ramp(2 * x - 6, 2 * y - 4), kTolerance);
            EXPECT_EQ(FloatAt(out, x, y, 1), ramp(x, y));
            EXPECT_NEAR(FloatAt(out, x, y, 2), ramp(y + 2, 10 - x), kTolerance);
        }
    }
}

TEST(CorrectChannelOverlap, RefusesImagesThatDoNotFit)
{
    const LxCFrameGrabberReqs reqs;
    const auto expectRefused = [&](const Image* in, Image* out) {
        const std::vector<std::uint8_t> before =
            out != nullptr && out->IsValid() ? BytesOf(*out) : std::vector<std::uint8_t>();
        const Logging::CCapture log;
        reqs.CorrectChannelOverlap(in, out);
        EXPECT_EQ(log.Count(ELevel::eError, kChannel, L"CorrectChannelOverlap: invalid parameters\n"), 1);
        EXPECT_EQ(log.GetRecords().size(), 1U);
        if (!before.empty()) {
            EXPECT_EQ(BytesOf(*out), before);
        }
    };
    const Image raw = RawImage();
    Image out = FloatImage();
    expectRefused(nullptr, &out);
    expectRefused(&raw, nullptr);
    const Image wider = RandomImage(kWidth + 1, kHeight, Image::eIDT_BGRU8, 1);
    expectRefused(&wider, &out);
    const Image higher = RandomImage(kWidth, kHeight + 1, Image::eIDT_BGRU8, 1);
    expectRefused(&higher, &out);
    const Image transposed = RandomImage(kHeight, kWidth, Image::eIDT_BGRU8, 1);
    expectRefused(&transposed, &out);
    for (const SType& type : c_aTypes) {
        const Image in = RandomImage(kWidth, kHeight, type.number, 1);
        Image target = RandomImage(kWidth, kHeight, type.number, 2);
        if (type.number != Image::eIDT_BGRU8) {
            expectRefused(&in, &out);
        }
        if (type.number != Image::eIDT_FLOAT32_3) {
            expectRefused(&raw, &target);
        }
    }
    Image withoutMemory(kWidth, kHeight, Image::eIDT_FLOAT32_3, false, nullptr);
    expectRefused(&raw, &withoutMemory);
}

TEST(CorrectChannelOverlap, ReadsInsideTheImageForAnyConstants)
{
    const Image raw = RawImage();
    for (const float hostile :
         {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(),
          -std::numeric_limits<float>::infinity(), 3.4e38F, -3.4e38F, 2.2e9F}) {
        for (int constant = 0; constant < 6; ++constant) {
            LxCFrameGrabberReqs reqs;
            if (constant == 0) {
                reqs.SetGCenterCol(hostile);
            } else if (constant == 1) {
                reqs.SetGCenterRow(hostile);
            } else if (constant == 2) {
                reqs.SetBImageShiftCol(hostile);
            } else if (constant == 3) {
                reqs.SetRImageShiftRow(hostile);
            } else if (constant == 4) {
                reqs.SetRImageAngle(hostile);
            } else {
                reqs.SetBSizeFactor(hostile);
            }
            Image out = FloatImage();
            reqs.CorrectChannelOverlap(&raw, &out);
            ForEachElement([&](int x, int y, int c) {
                ASSERT_TRUE(FloatAt(out, x, y, c) >= 0.0F && FloatAt(out, x, y, c) <= 255.0F);
            });
        }
    }
}

TEST(CorrectChannelOverlap, TakesAnEmptyImage)
{
    Image raw;
    raw.Resize(0, 0, Image::eIDT_BGRU8);
    Image out;
    out.Resize(0, 0, Image::eIDT_FLOAT32_3);
    const Logging::CCapture log;
    LxCFrameGrabberReqs().CorrectChannelOverlap(&raw, &out);
    EXPECT_TRUE(log.GetRecords().empty());
    EXPECT_FALSE(out.IsValid());
}

TEST(ConvertImage, ThrowsForANullImage)
{
    const LxCFrameGrabberReqs reqs;
    const Image raw = RawImage();
    Image out = FloatImage();
    EXPECT_EQ(TextOf([&] { reqs.ConvertImage(nullptr, &out); }), "invalid input");
    EXPECT_EQ(TextOf([&] { reqs.ConvertImage(&raw, nullptr); }), "invalid input");
    EXPECT_EQ(TextOf([&] { reqs.ConvertImage(nullptr, nullptr); }), "invalid input");
}

TEST(ConvertImage, IsConvertWithoutOverlapAndMirrors)
{
    LxCFrameGrabberReqs reqs = MountedReqs();
    reqs.SetMirrorChannelsSettings(false, 0, 0, 0);
    const Image raw = RawImage();
    for (const auto type : {Image::eIDT_FLOAT32_3, Image::eIDT_ARGB8, Image::eIDT_BGRU8}) {
        Image out = LiveImage(type);
        Image expected = LiveImage(type);
        reqs.ConvertImage(&raw, &out);
        raw.Convert(&expected, false);
        EXPECT_EQ(BytesOf(out), BytesOf(expected)) << type;
    }
    Image integers = LiveImage(Image::eIDT_INT32);
    EXPECT_EQ(TextOf([&] { reqs.ConvertImage(&raw, &integers); }), "CCTImage::Convert - unsupported type");
}

TEST(ConvertImage, CorrectsTheOverlapOfARawImage)
{
    const LxCFrameGrabberReqs reqs = MountedReqs();
    const Image raw = RawImage();
    Image out = FloatImage();
    Image expected = FloatImage();
    reqs.ConvertImage(&raw, &out);
    reqs.CorrectChannelOverlap(&raw, &expected);
    EXPECT_EQ(BytesOf(out), BytesOf(expected));
}

TEST(ConvertImage, UndoesTheMirrorsBeforeTheOverlap)
{
    LxCFrameGrabberReqs reqs = MountedReqs();
    const Image raw = RawImage();
    for (const bool correct : {false, true}) {
        for (int only = 0; only < 4; ++only) {
            const int red = only == 0 || only == 3 ? 1 : 0;
            const int green = only == 1 || only == 3 ? 2 : 0;
            const int blue = only == 2 || only == 3 ? 2 : 0;
            reqs.SetMirrorChannelsSettings(correct, red, green, blue);
            Image out = FloatImage();
            reqs.ConvertImage(&raw, &out);
            Image mirrored = LiveImage(Image::eIDT_BGRU8);
            reqs.MirrorRGBChannels(&raw, &mirrored, red, green, blue);
            Image expected = FloatImage();
            if (correct) {
                reqs.CorrectChannelOverlap(&mirrored, &expected);
            } else {
                mirrored.Convert(&expected, false);
            }
            EXPECT_EQ(BytesOf(out), BytesOf(expected)) << correct << only;
        }
    }
}

TEST(ConvertImage, MirrorsTheResultOfACameraWithoutMirrorTube)
{
    LxCFrameGrabberReqs reqs = MountedReqs();
    const Image raw = RawImage();
    Image straight = FloatImage();
    reqs.ConvertImage(&raw, &straight);
    reqs.SetCCTMirrorTubeOn(false);
    EXPECT_FALSE(reqs.GetCCTMirrorTubeOn());
    Image out = FloatImage();
    reqs.ConvertImage(&raw, &out);
    ForEachElement([&](int x, int y, int c) {
        ASSERT_EQ(FloatAt(out, x, y, c), FloatAt(straight, kWidth - 1 - x, y, c));
    });
}

TEST(ConvertImage, TakesTypeTimestampDescriptionAndPathname)
{
    for (const bool correct : {false, true}) {
        LxCFrameGrabberReqs reqs;
        reqs.SetMirrorChannelsSettings(correct, 1, 2, 2);
        Image raw = RawImage();
        SetAttributes(raw);
        Image out = FloatImage();
        reqs.ConvertImage(&raw, &out);
        EXPECT_EQ(out.GetType(), Image::eIT_Depthmap);
        EXPECT_EQ(out.GetTimestamp(), 4000000000U);
        EXPECT_EQ(out.GetDescription(), "description");
        EXPECT_EQ(out.GetPathname(), "path");
        // The others stay.
        EXPECT_EQ(out.GetSourcePathname(), "");
        EXPECT_EQ(out.GetId(), 0);
    }
}

TEST(ConvertImage, MakesAGreyImageBlackAndSaysWhy)
{
    const Image gray = RandomImage(kWidth, kHeight, Image::eIDT_GRAY8, 1);
    for (int settings = 0; settings < 8; ++settings) {
        const int mode = (settings & 2) != 0 ? 1 : 0;
        LxCFrameGrabberReqs reqs;
        reqs.SetMirrorChannelsSettings((settings & 1) != 0, mode, 2 * mode, 2 * mode);
        reqs.SetCCTMirrorTubeOn((settings & 4) != 0);
        Image out = FloatImage(5.0F);
        const Logging::CCapture log;
        reqs.ConvertImage(&gray, &out);
        EXPECT_EQ(log.Count(ELevel::eError, kChannel, L"MirrorRGBChannels: wrong image date type!"), 1);
        EXPECT_EQ(log.GetRecords().size(), 1U);
        ForEachElement([&](int x, int y, int c) { ASSERT_EQ(FloatAt(out, x, y, c), 0.0F); });
    }
}

TEST(ConvertImage, ConvertsOtherGreyImagesAsTheyAre)
{
    // Bytes without a colour that are not `eIDT_GRAY8` need no mirror to be undone.
    const Image gray = RandomImage(kWidth, kHeight, Image::eIDT_UINT8, 1);
    Image out = LiveImage(Image::eIDT_BGRU8);
    const Logging::CCapture log;
    LxCFrameGrabberReqs().ConvertImage(&gray, &out);
    EXPECT_TRUE(log.GetRecords().empty());
    ForEachElement([&](int x, int y, int c) { ASSERT_EQ(ByteAt(out, x, y, c), ByteAt(gray, x, y, 0)); });
}

TEST(ConvertImage, UndoesTheMirrorsOfAnImageInItsPlace)
{
    LxCFrameGrabberReqs reqs;
    reqs.SetMirrorChannelsSettings(false, 1, 2, 2);
    const Image raw = RawImage();
    Image expected = LiveImage(Image::eIDT_BGRU8);
    reqs.ConvertImage(&raw, &expected);
    Image image = raw;
    SetAttributes(image);
    reqs.ConvertImage(&image, &image);
    EXPECT_EQ(BytesOf(image), BytesOf(expected));
    EXPECT_EQ(image.GetDescription(), "description");
    EXPECT_EQ(image.GetType(), Image::eIT_Depthmap);
}

TEST(ConvertImage, LeavesAnImageOfAnotherSizeAsItIs)
{
    LxCFrameGrabberReqs reqs;
    const Image raw = RawImage();
    Image smaller(kWidth - 1, kHeight, Image::eIDT_FLOAT32_3, 5.0F);
    const std::vector<std::uint8_t> before = BytesOf(smaller);
    reqs.ConvertImage(&raw, &smaller);
    EXPECT_EQ(BytesOf(smaller), before);
    reqs.SetMirrorChannelsSettings(true, 1, 2, 2);
    const Logging::CCapture log;
    reqs.ConvertImage(&raw, &smaller);
    EXPECT_EQ(BytesOf(smaller), before);
    EXPECT_EQ(log.Count(ELevel::eError, kChannel, L"CorrectChannelOverlap: invalid parameters\n"), 1);
}

TEST(ConvertImage, TakesUnknownMirrorModesAsBlack)
{
    LxCFrameGrabberReqs reqs;
    reqs.SetMirrorChannelsSettings(false, 7, 0, 0);
    const Image raw = RawImage();
    Image out = FloatImage();
    const Logging::CCapture log;
    reqs.ConvertImage(&raw, &out);
    EXPECT_EQ(log.Count(ELevel::eWarning, c_sChannel,
                        L"Warning: CCTImage::MirrorChannel: 'iMirrorMode = 7' not supported!\n"),
              1);
    ForEachElement([&](int x, int y, int c) {
        ASSERT_EQ(FloatAt(out, x, y, c), c == 2 ? 0.0F : static_cast<float>(ByteAt(raw, x, y, c)));
    });
}

/// Has the type of three bytes a pixel and the memory of one.
class CSmallPixels : public CCTImage
{
public:
    CSmallPixels()
    {
        Resize(kWidth, kHeight, eIDT_BGRU8);
        allocate(kWidth, kHeight, 1);
        Clear();
    }
};

TEST(ConvertImage, TakesPixelsSmallerThanTheirTypeAsBlack)
{
    const CSmallPixels raw;
    ASSERT_EQ(raw.GetDataType(), Image::eIDT_BGRU8);
    for (const bool correctOverlap : {false, true}) {
        LxCFrameGrabberReqs reqs;
        reqs.SetMirrorChannelsSettings(correctOverlap, 1, 2, 2);
        Image image = FloatImage();
        reqs.ConvertImage(&raw, &image); // the address sanitizer sees a read behind the small ones
        ForEachElement([&](int x, int y, int channel) { EXPECT_EQ(FloatAt(image, x, y, channel), 0.0F); });
    }
}

TEST(ConvertImageThreads, ConvertAtOnceIntoTheirOwnImages)
{
    const LxCFrameGrabberReqs reqs = MountedReqs();
    const Image raw = RawImage();
    Image expected = FloatImage();
    reqs.ConvertImage(&raw, &expected);
    std::vector<Image> results(4, FloatImage());
    std::vector<std::thread> threads;
    for (Image& result : results) {
        threads.emplace_back([&] {
            for (int i = 0; i < 50; ++i) {
                reqs.ConvertImage(&raw, &result);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (const Image& result : results) {
        EXPECT_EQ(BytesOf(result), BytesOf(expected));
    }
}

/// A value for blue, green and red.
using Triple = std::array<int, 3>;

/// What a live image shows: each colour shifted by whole pixels from the image mirrored by its mode.
void ExpectShifted(const Image& raw, const Image& out, const Triple& modes, const Triple& cols,
                   const Triple& rows)
{
    ForEachElement([&](int x, int y, int c) {
        const auto channel = static_cast<std::size_t>(c);
        const int col = std::clamp(x + cols[channel], 0, kWidth - 1);
        const int row = std::clamp(y + rows[channel], 0, kHeight - 1);
        ASSERT_EQ(ByteAt(out, x, y, c),
                  ByteAt(raw, MirroredX(col, modes[channel]), MirroredY(row, modes[channel]), c))
            << x << ", " << y << ", " << c;
    });
}

TEST(ComputePreliminaryLiveImages, ShiftsByRoundedConstants)
{
    // floor(value + 0.5): halves go up, also below zero.
    LxCFrameGrabberReqs reqs;
    reqs.SetRImageShiftCol(1.5F);
    reqs.SetRImageShiftRow(-1.5F);
    reqs.SetBImageShiftCol(-2.51F);
    reqs.SetBImageShiftRow(0.49999997F);
    Image raw = RawImage();
    for (const bool mirrored : {false, true}) {
        reqs.SetMirrorChannelsSettings(true, mirrored ? 1 : 0, mirrored ? 2 : 0, mirrored ? 2 : 0);
        Image out = LiveImage();
        EXPECT_TRUE(reqs.ComputePreliminaryLiveImages(&raw, &out));
        ExpectShifted(raw, out, mirrored ? Triple{2, 2, 1} : Triple{0, 0, 0}, {-3, 0, 2}, {0, 0, -1});
    }
}

TEST(ComputePreliminaryLiveImages, LeavesOtherMirrorModesAlone)
{
    LxCFrameGrabberReqs reqs;
    reqs.SetRImageShiftCol(1.0F);
    reqs.SetMirrorChannelsSettings(true, 2, 1, 1);
    Image raw = RawImage();
    Image out = LiveImage();
    EXPECT_TRUE(reqs.ComputePreliminaryLiveImages(&raw, &out));
    ExpectShifted(raw, out, {0, 0, 0}, {0, 0, 1}, {0, 0, 0});
}

TEST(ComputePreliminaryLiveImages, IsAnOpaqueCopyWithoutOverlapCorrection)
{
    LxCFrameGrabberReqs reqs = MountedReqs();
    reqs.SetMirrorChannelsSettings(false, 1, 2, 2);
    Image raw = RawImage();
    Image out = LiveImage();
    EXPECT_TRUE(reqs.ComputePreliminaryLiveImages(&raw, &out));
    ExpectShifted(raw, out, {0, 0, 0}, {0, 0, 0}, {0, 0, 0});
    for (int i = 0; i < kWidth * kHeight; ++i) {
        EXPECT_EQ(ByteAt(out, i % kWidth, i / kWidth, 3), 255);
    }
    Image wrong = FloatImage();
    EXPECT_EQ(TextOf([&] { reqs.ComputePreliminaryLiveImages(&raw, &wrong); }),
              "CCTImage::ConvertToARGB8 -> wrong type of destination image");
}

TEST(ComputePreliminaryLiveImages, MirrorsAndTypesOnlyWithoutMirrorTube)
{
    LxCFrameGrabberReqs reqs;
    Image raw = RawImage();
    raw.SetType(Image::eIT_DepthmapSecondary);
    Image out = LiveImage();
    EXPECT_TRUE(reqs.ComputePreliminaryLiveImages(&raw, &out));
    EXPECT_EQ(out.GetType(), Image::eIT_Default);
    reqs.SetCCTMirrorTubeOn(false);
    EXPECT_TRUE(reqs.ComputePreliminaryLiveImages(&raw, &out));
    EXPECT_EQ(out.GetType(), Image::eIT_DepthmapSecondary);
    ExpectShifted(raw, out, {1, 1, 1}, {0, 0, 0}, {0, 0, 0});
    for (int x = 0; x < kWidth; ++x) {
        EXPECT_EQ(ByteAt(out, x, 0, 3), 255);
    }
}

TEST(ComputePreliminaryLiveImages, TakesHostileShiftsAndNullImages)
{
    LxCFrameGrabberReqs reqs;
    reqs.SetMirrorChannelsSettings(true, 0, 0, 0);
    reqs.SetRImageShiftCol(std::numeric_limits<float>::infinity());
    reqs.SetRImageShiftRow(-1e30F);
    reqs.SetBImageShiftCol(std::numeric_limits<float>::quiet_NaN());
    Image raw = RawImage();
    Image out = LiveImage();
    EXPECT_TRUE(reqs.ComputePreliminaryLiveImages(&raw, &out));
    ExpectShifted(raw, out, {0, 0, 0}, {0, 0, kWidth}, {0, 0, -kHeight});
    EXPECT_FALSE(reqs.ComputePreliminaryLiveImages(nullptr, &out));
    EXPECT_FALSE(reqs.ComputePreliminaryLiveImages(&raw, nullptr));
}

} // namespace
} // namespace LxCV
