#include "scanner/calibration/turnedimage.h"

#include "scanner/calibration/boardaccuracy.h"
#include "scanner/calibration/boardlocator.h"
#include "scanner/device/checkerboard.h"
#include "scanner/device/virtualdevice.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <stdexcept>

namespace calibration {
namespace {

using LxCV::CCTImage;

/// Of second degree in the position, another one in each channel.
double Quadratic(double x, double y, int channel)
{
    return 40.0 + 10.0 * channel + 0.7 * x - 0.3 * y + 0.01 * (channel + 1) * x * y - 0.004 * x * x;
}

CCTImage QuadraticImage(int width, int height)
{
    CCTImage image(width, height, CCTImage::eIDT_FLOAT32_3, true, nullptr);
    auto* pixel = static_cast<float*>(image.GetBuffer());
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            for (int channel = 0; channel < 3; ++channel) {
                *pixel++ = static_cast<float>(Quadratic(x, y, channel));
            }
        }
    }
    return image;
}

TEST(TurnedImage, HoldsAllCornersOfItsSource)
{
    const TurnedImage turned(QuadraticImage(61, 35));
    // The diagonal extent of 61 by 35 pixels is (61 + 35) / sqrt(2) = 67.9.
    EXPECT_EQ(turned.Image().GetWidth(), 68);
    EXPECT_EQ(turned.Image().GetHeight(), 68);
}

TEST(TurnedImage, TurnsAboutTheMiddleByAnEighthOfATurn)
{
    const TurnedImage turned(QuadraticImage(61, 35));
    const device::Vec2 middle = turned.ToSource({33.5, 33.5});
    EXPECT_NEAR(middle.x, 30.0, 1e-12);
    EXPECT_NEAR(middle.y, 17.0, 1e-12);
    const device::Vec2 right = turned.ToSource({33.5 + 10.0, 33.5});
    EXPECT_NEAR(right.x, 30.0 + 10.0 / std::numbers::sqrt2, 1e-12);
    EXPECT_NEAR(right.y, 17.0 + 10.0 / std::numbers::sqrt2, 1e-12);
}

TEST(TurnedImage, CubicConvolutionKeepsQuadraticsInside)
{
    const TurnedImage turned(QuadraticImage(61, 35));
    const auto* pixel = static_cast<const float*>(turned.Image().GetBuffer());
    int compared = 0;
    for (int y = 0; y < 68; ++y) {
        for (int x = 0; x < 68; ++x, pixel += 3) {
            const device::Vec2 place = turned.ToSource({static_cast<double>(x), static_cast<double>(y)});
            // Four samples an axis: one before the position, two behind.
            if (place.x >= 1.0 && place.x < 59.0 && place.y >= 1.0 && place.y < 33.0) {
                ++compared;
                for (int channel = 0; channel < 3; ++channel) {
                    constexpr double rounding = 1e-4; // 16 products of some 100 grey levels
                    ASSERT_NEAR(pixel[channel], Quadratic(place.x, place.y, channel), rounding);
                }
            }
        }
    }
    EXPECT_GT(compared, 1500);
}

TEST(TurnedImage, OutermostPixelsGoOnAroundTheSource)
{
    const CCTImage image(20, 10, CCTImage::eIDT_FLOAT32_3, 77.0F);
    const TurnedImage turned(image);
    const auto* first = static_cast<const float*>(turned.Image().GetBuffer());
    const std::size_t count = static_cast<std::size_t>(turned.Image().GetSizeInPixels()) * 3;
    EXPECT_TRUE(
        std::all_of(first, first + count, [](float value) { return std::abs(value - 77.0F) < 1e-4F; }));
}

TEST(TurnedImage, RefusesWhatIsNoFloatColourImage)
{
    EXPECT_THROW(TurnedImage{CCTImage()}, std::invalid_argument);
    const CCTImage words(4, 4, CCTImage::eIDT_ARGB8, true, nullptr);
    EXPECT_THROW(TurnedImage{words}, std::invalid_argument);
}

/// A board whose rows run at `rz` (radians) in the image.
device::RenderedBoard BoardAt(double rz)
{
    const device::Checkerboard board;
    device::TargetImaging imaging;
    imaging.camera = device::DeviceParameters().camera;
    imaging.noise = 2.0;
    const device::Vec3 figure{11.5, 10.5, 0.0}; // mm; the middle of the marked squares, about
    device::Placement pose{0.0, 0.0, rz, 0.0, 0.0, 33.0};
    const device::Vec3 turned = device::RotationOf(pose) * figure;
    pose.tx = -turned.x;
    pose.ty = -turned.y;
    return RenderBoard(board, pose, imaging);
}

LocatedBoard LocateIn(const device::RenderedBoard& rendered)
{
    CCTImage image(rendered.image.width, rendered.image.height, CCTImage::eIDT_FLOAT32_3, true, nullptr);
    std::copy(rendered.image.data.begin(), rendered.image.data.end(), static_cast<float*>(image.GetBuffer()));
    return BoardLocator().Locate(image);
}

TEST(BoardLocator, FindsABoardOnTheDiagonalInTheTurnedImage)
{
    for (int quarter = 0; quarter < 4; ++quarter) {
        const device::RenderedBoard rendered =
            BoardAt(std::numbers::pi * (0.25 + 0.5 * quarter)); // every diagonal
        const LocatedBoard located = LocateIn(rendered);
        ASSERT_EQ(located.error, LxCV::eCalibOk) << "quarter " << quarter;
        EXPECT_TRUE(located.isTurned);
        const BoardComparison comparison = CompareWithTruth(located.marks, rendered.corners,
                                                            rendered.image.width, rendered.image.height, 5.0);
        EXPECT_EQ(comparison.wrong, 0U);
        EXPECT_EQ(comparison.visibleNamed, comparison.visible);
        EXPECT_GT(comparison.visible, 40U);
        double largest = 0.0;
        for (const device::Vec2& error : comparison.errors) {
            largest = std::max(largest, std::hypot(error.x, error.y));
        }
        EXPECT_LT(largest, 0.12) << "pixels, as in images that are not turned";
    }
}

TEST(BoardLocator, LeavesAnUprightBoardAsItIs)
{
    const LocatedBoard located = LocateIn(BoardAt(0.1));
    EXPECT_EQ(located.error, LxCV::eCalibOk);
    EXPECT_FALSE(located.isTurned);
}

TEST(BoardLocator, MarksOfATurnedImageKeepTheMarginOfTheirSource)
{
    const device::RenderedBoard rendered = BoardAt(0.25 * std::numbers::pi);
    const LocatedBoard located = LocateIn(rendered);
    ASSERT_EQ(located.error, LxCV::eCalibOk);
    const double margin = 5.0; // pixels, of the thresholds' defaults
    for (const BoardMark& mark : located.marks) {
        if (mark.usable) {
            EXPECT_TRUE(mark.image.x >= margin && mark.image.x <= rendered.image.width - margin &&
                        mark.image.y >= margin && mark.image.y <= rendered.image.height - margin)
                << "mark " << mark.id;
        }
    }
}

} // namespace
} // namespace calibration
