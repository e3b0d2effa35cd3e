// Drawing into images of all types, on a surface with text, and the errors of calibration marks.
#include "cctimage.h"

#include "imagetestsupport.h"
#include "lxccalibrationdata.h"
#include "lxccolorvalueargb8.h"
#include "lxcellipse.h"
#include "lxcgdiplusbitmaputilities.h"
#include "lxcpatternprojector.h"
#include "orx/platform/textrenderer.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <limits>
#include <numbers>
#include <set>
#include <utility>

namespace LxCV {
namespace {

using Image = CCTImage;
using Pixels = std::set<std::pair<int, int>>;
using Color = LxCColorValueARGB8;

constexpr std::uint32_t c_uiOrange = 0xFF8010; // red 255, green 128, blue 16

Image Black(int width = 40, int height = 30, Image::EImageDataType type = Image::eIDT_ARGB8)
{
    Image image(width, height, type, true, nullptr);
    image.Clear();
    return image;
}

/// The pixels of an ARGB image that are not 0.
Pixels DrawnIn(const Image& image)
{
    Pixels pixels;
    for (int y = 0; y < image.GetHeight(); ++y) {
        for (int x = 0; x < image.GetWidth(); ++x) {
            if (image.GetInt32PixelFast(x, y) != 0) {
                pixels.emplace(x, y);
            }
        }
    }
    return pixels;
}

TEST(CCTImageDrawing, AColourBecomesAPixelOfTheImagesType)
{
    const Color color(c_uiOrange);
    constexpr int c_iGrey = (16 + 2 * 128 + 255) / 4;
    for (const TestSupport::SType& entry : TestSupport::c_aTypes) {
        const auto type = TestSupport::TypeOf(entry.number);
        Image image = Black(3, 1, type);
        image.DrawLine(1, 0, 1, 0, color);
        std::string text;
        image.PrintPixel(1, 0, text);
        const int value =
            image.ConvertPixToInt(static_cast<const std::byte*>(image.GetBuffer()) + entry.bytes);
        switch (type) {
        case Image::eIDT_ARGB8:
        case Image::eIDT_FLOAT32_3:
            EXPECT_EQ(value, 255 + 128 + 16) << text;
            break;
        case Image::eIDT_BGRU8:
            EXPECT_EQ(TestSupport::BytesOf(image),
                      (std::vector<std::uint8_t>{0, 0, 0, 16, 128, 255, 0, 0, 0}));
            break;
        case Image::eIDT_UINT32:
        case Image::eIDT_INT32:
            EXPECT_EQ(image.GetInt32PixelFast(1, 0), static_cast<int>(c_uiOrange));
            break;
        case Image::eIDT_INT8:
            EXPECT_EQ(image.GetBytePixelFast(1, 0), static_cast<signed char>(c_iGrey));
            break;
        default:
            EXPECT_EQ(value, c_iGrey) << entry.number;
            break;
        }
        std::uint64_t untouched = 0;
        ASSERT_LE(entry.bytes, 12);
        std::array<std::byte, 12> pixel{};
        for (const int x : {0, 2}) {
            image.GetPixel(x, 0, pixel.data());
            for (const std::byte byte : pixel) {
                untouched += std::to_integer<std::uint64_t>(byte);
            }
        }
        EXPECT_EQ(untouched, 0U) << entry.number;
    }
}

TEST(CCTImageDrawing, ARawPixelIsTakenAsItIsAndNullDrawsNothing)
{
    Image image = Black(5, 5, Image::eIDT_UINT16);
    const std::uint16_t pixel = 54321;
    image.DrawLine(0, 2, 4, 2, &pixel);
    for (int x = 0; x < 5; ++x) {
        EXPECT_EQ(static_cast<std::uint16_t>(image.GetInt16PixelFast(x, 2)), pixel);
        EXPECT_EQ(image.GetInt16PixelFast(x, 1), 0);
    }
    Image untouched = Black(5, 5, Image::eIDT_UINT16);
    const void* const null = nullptr;
    const double coefficients[] = {1.0};
    untouched.DrawLine(0, 0, 4, 4, null);
    untouched.DrawRect(0, 0, 4, 4, null);
    untouched.DrawTick(2, 2, 2, null);
    untouched.DrawEllipse(LxCEllipse(2, 2, 2, 2, 0), null);
    untouched.DrawPolynomial(coefficients, true, 0, 4, null);
    EXPECT_EQ(TestSupport::BytesOf(untouched), TestSupport::BytesOf(Black(5, 5, Image::eIDT_UINT16)));
}

TEST(CCTImageDrawing, RectanglesAreFramesThatGrowToEitherSide)
{
    Image image = Black();
    image.DrawRect(20, 10, 5, 4, Color::eRed);
    EXPECT_EQ(DrawnIn(image).size(), 2U * 16 + 2 * 7 - 4); // columns 5 to 20, rows 4 to 10
    EXPECT_TRUE(DrawnIn(image).contains({5, 4}) && DrawnIn(image).contains({20, 10}));
    EXPECT_FALSE(DrawnIn(image).contains({6, 5}));

    // A frame one pixel from the border and three thick takes the border's rows 0 to 2.
    Image frame = Black();
    frame.DrawRect(1, 1, 38, 28, Color::eRed, 3);
    for (int y = 0; y < 30; ++y) {
        for (int x = 0; x < 40; ++x) {
            const bool isFrame = x <= 2 || y <= 2 || x >= 37 || y >= 27;
            ASSERT_EQ(frame.GetInt32PixelFast(x, y) != 0, isFrame) << x << ' ' << y;
        }
    }
    Image none = Black();
    none.DrawRect(1, 1, 5, 5, Color::eRed, 0);
    none.DrawRect(1, 1, 5, 5, Color::eRed, INT_MIN);
    EXPECT_TRUE(DrawnIn(none).empty());
    none.DrawRect(INT_MIN, INT_MIN, INT_MAX, INT_MAX, Color::eRed);
    EXPECT_TRUE(DrawnIn(none).empty());
    none.DrawRect(1, 1, 5, 5, Color::eRed, INT_MAX);
    EXPECT_EQ(DrawnIn(none).size(), 1200U);
}

TEST(CCTImageDrawing, TicksAreUprightCrosses)
{
    Image image = Black();
    image.DrawTick(10, 12, 1, Color::eYellow);
    EXPECT_EQ(DrawnIn(image), (Pixels{{9, 12}, {10, 12}, {11, 12}, {10, 11}, {10, 13}}));
    EXPECT_EQ(image.GetInt32PixelFast(10, 12), 0xFFFF00);
    Image none = Black();
    none.DrawTick(10, 12, -1, Color::eYellow);
    EXPECT_TRUE(DrawnIn(none).empty());
    none.DrawTick(10, 12, INT_MAX, Color::eYellow);
    EXPECT_EQ(DrawnIn(none).size(), 40U + 30 - 1);
}

TEST(CCTImageDrawing, EllipsesLieOnTheirPointsAndAreClosed)
{
    const LxCEllipse ellipse(60.0, 50.0, 40.0, 15.0, 0.4);
    Image image = Black(120, 100);
    image.DrawEllipse(ellipse, Color::eGreen);
    const Pixels drawn = DrawnIn(image);
    for (const auto& [x, y] : drawn) {
        ASSERT_LE(ellipse.Distance(x, y), 1.0) << x << ' ' << y; // half a pixel of rounding on either axis
    }
    for (int i = 0; i < 360; ++i) {
        const double t = i * std::numbers::pi / 180.0;
        const double u = 40.0 * std::cos(t);
        const double w = 15.0 * std::sin(t);
        const double px = 60.0 + u * std::cos(0.4) - w * std::sin(0.4);
        const double py = 50.0 + u * std::sin(0.4) + w * std::cos(0.4);
        bool near = false;
        for (const auto& [x, y] : drawn) {
            near = near || std::hypot(x - px, y - py) <= 1.0;
        }
        ASSERT_TRUE(near) << i;
    }
}

TEST(CCTImageDrawing, EllipsesOfAnyNumbersEndSoon)
{
    Image image = Black();
    const double nan = std::numeric_limits<double>::quiet_NaN();
    for (const double value : {nan, std::numeric_limits<double>::infinity(), 1e300, -5.0, 0.0}) {
        image.DrawEllipse(LxCEllipse(value, 3, 4, 5, 0.1), Color::eGreen);
        image.DrawEllipse(LxCEllipse(3, 3, value, 5, 0.1), Color::eGreen);
        image.DrawEllipse(LxCEllipse(3, 3, 4, 5, value), Color::eGreen);
    }
    SUCCEED();
}

TEST(CCTImageDrawing, PolynomialsRunAlongEitherAxis)
{
    const double coefficients[] = {5.0, 0.5, -0.01};
    Image rows = Black();
    rows.DrawPolynomial(coefficients, true, 0, 39, Color::eMagenta);
    Image columns = Black();
    columns.DrawPolynomial(coefficients, false, 0, 29, Color::eMagenta);
    for (int p = 0; p < 30; ++p) {
        const int value = static_cast<int>(std::floor(5.0 + 0.5 * p - 0.01 * p * p + 0.5));
        EXPECT_EQ(rows.GetInt32PixelFast(p, value), 0xFF00FF) << p;
        EXPECT_EQ(columns.GetInt32PixelFast(value, p), 0xFF00FF) << p;
    }
}

TEST(CCTImageDrawing, ImagesWithoutPixelsStayAsTheyAre)
{
    Image empty;
    Image withoutMemory(4, 4, Image::eIDT_ARGB8, false, nullptr);
    for (Image* const image : {&empty, &withoutMemory}) {
        image->DrawLine(0, 0, 3, 3, Color::eRed);
        image->DrawRect(0, 0, 3, 3, Color::eRed);
        image->DrawTick(1, 1, 1, Color::eRed);
        image->DrawEllipse(LxCEllipse(1, 1, 1, 1, 0), Color::eRed);
        EXPECT_FALSE(image->IsValid());
    }
}

TEST(LxCGdiPlusBitmapUtilities, DrawsOnACopyUntilTheResultIsTaken)
{
    Image image = Black();
    LxCGdiPlusBitmapUtilities surface(image);
    surface.DrawXMark(10, 10, 3, Color(0x00FF80));
    EXPECT_TRUE(DrawnIn(image).empty());
    surface.CopyResult(nullptr);
    surface.CopyResult(&image);
    Pixels expected;
    for (int i = -3; i <= 3; ++i) {
        expected.emplace(10 + i, 10 + i);
        expected.emplace(10 + i, 10 - i);
    }
    EXPECT_EQ(DrawnIn(image), expected);
    EXPECT_EQ(image.GetInt32PixelFast(10, 10), 0x00FF80);
}

TEST(LxCGdiPlusBitmapUtilities, ResultKeepsTheImagesAttributes)
{
    Image image = Black();
    image.SetId(7);
    image.SetTimestamp(8);
    image.SetDescription("a");
    image.SetPathname("b");
    const LxCGdiPlusBitmapUtilities surface(image);
    surface.CopyResult(&image);
    EXPECT_EQ(image.GetId(), 7);
    EXPECT_EQ(image.GetTimestamp(), 8U);
    EXPECT_EQ(image.GetDescription(), "a");
    EXPECT_EQ(image.GetPathname(), "b");
}

TEST(LxCGdiPlusBitmapUtilities, TextOverTheBorderIsThatOfALargerImage)
{
    constexpr int c_iMargin = 30;
    Image large = Black(40 + 2 * c_iMargin, 30 + 2 * c_iMargin);
    LxCGdiPlusBitmapUtilities whole(large);
    whole.DrawTextW(L"HxHxHxHxHx", c_iMargin - 20, c_iMargin - 4, 40, Color::eRed);
    whole.CopyResult(&large);
    Image small = Black(40, 30);
    LxCGdiPlusBitmapUtilities part(small);
    part.DrawTextW(L"HxHxHxHxHx", -20, -4, 40, Color::eRed);
    part.CopyResult(&small);
    EXPECT_FALSE(DrawnIn(small).empty());
    for (int y = 0; y < 30; ++y) {
        for (int x = 0; x < 40; ++x) {
            ASSERT_EQ(small.GetInt32PixelFast(x, y), large.GetInt32PixelFast(x + c_iMargin, y + c_iMargin));
        }
    }
}

TEST(LxCGdiPlusBitmapUtilities, PolygonsAreClosedAndRectanglesTakeWidthAndHeight)
{
    Image image = Black();
    LxCGdiPlusBitmapUtilities surface(image);
    const LxCGdiPlusBitmapUtilities::SPoint corners[] = {{2, 2}, {8, 2}, {8, 6}, {2, 6}};
    surface.DrawPolygon(corners, Color::eRed);
    surface.DrawPolygon({}, Color::eRed);
    Image polygon = Black();
    surface.CopyResult(&polygon);
    Image rectangle = Black();
    LxCGdiPlusBitmapUtilities other(image);
    other.DrawRectangle(2, 2, 6, 4, Color::eRed);
    other.CopyResult(&rectangle);
    EXPECT_EQ(DrawnIn(polygon), DrawnIn(rectangle));
    EXPECT_EQ(DrawnIn(polygon).size(), 2U * 7 + 2 * 5 - 4);
}

TEST(LxCGdiPlusBitmapUtilities, TextHasTheFontsHeightAndStandsWhereItIsPut)
{
    for (const int size : {10, 20}) {
        Image image = Black(200, 60);
        LxCGdiPlusBitmapUtilities surface(image);
        surface.DrawTextW(L"Hx 12", 50, 20, size, Color::eMagenta);
        surface.CopyResult(&image);
        const Pixels drawn = DrawnIn(image);
        ASSERT_FALSE(drawn.empty());
        int left = INT_MAX;
        int right = INT_MIN;
        int top = INT_MAX;
        int bottom = INT_MIN;
        for (const auto& [x, y] : drawn) {
            left = std::min(left, x);
            right = std::max(right, x);
            top = std::min(top, y);
            bottom = std::max(bottom, y);
        }
        EXPECT_GE(left, 50);
        EXPECT_LE(left, 50 + size / 4);
        EXPECT_GE(top, 20);
        EXPECT_LE(bottom, 20 + 2 * size);
        // Capitals and digits of text fonts are 0.6 to 0.8 of the em square high.
        EXPECT_GE(bottom - top + 1, 6 * size / 10);
        EXPECT_LE(bottom - top + 1, 9 * size / 10);
        EXPECT_GT(right - left, 2 * size);
    }
}

TEST(LxCGdiPlusBitmapUtilities, TextIsClippedAndAnyTextIsTaken)
{
    Image image = Black();
    LxCGdiPlusBitmapUtilities surface(image);
    surface.DrawTextW(L"clipped at the border", 30, 25, 20, Color::eRed);
    surface.DrawTextW(L"far", INT_MAX, INT_MIN, 20, Color::eRed);
    surface.DrawTextW(L"", 1, 1, 20, Color::eRed);
    surface.DrawTextW(L"size", 1, 1, 0, Color::eRed);
    surface.DrawTextW(L"size", 1, 1, INT_MIN, Color::eRed);
    surface.DrawTextW(std::wstring(100000, L'W'), -100, 5, INT_MAX, Color::eRed);
    surface.DrawTextW(std::wstring{L'\n', L'\0', static_cast<wchar_t>(0x10FFFFFF), L'\u4E2D'}, 1, 1, 12,
                      Color::eRed);
    surface.CopyResult(&image);
    EXPECT_FALSE(DrawnIn(image).empty());
}

TEST(RenderText, MaskGrowsWithTheTextAndIsEmptyWithoutOne)
{
    platform::CTextMask one;
    platform::CTextMask two;
    ASSERT_TRUE(platform::RenderText(L"M", "Arial", 20, one));
    ASSERT_TRUE(platform::RenderText(L"MM", "Arial", 20, two));
    EXPECT_EQ(two.width, 2 * one.width);
    EXPECT_EQ(two.height, one.height);
    EXPECT_EQ(one.pixels.size(), static_cast<std::size_t>(one.width * one.height));
    ASSERT_TRUE(platform::RenderText(L"", "Arial", 20, two));
    EXPECT_TRUE(two.pixels.empty());
}

LxCPatternProjector SimpleDevice()
{
    LxCPatternProjector device;
    device.GetIntrinsicParams()->SetImageSize(100, 80);
    device.GetIntrinsicParams()->SetPixelPitch(0.01, 0.01);
    device.GetIntrinsicParams()->SetPrincipalPoint(50, 40);
    device.GetIntrinsicParams()->SetFocalLength(1.0);
    return device;
}

/// The diamond about (x, y): five, five and three pixels in its rows 0, 1 and 2.
Pixels Diamond(int x, int y)
{
    Pixels pixels;
    for (int row = -2; row <= 2; ++row) {
        const int a = std::abs(row) / 2;
        for (int column = a - 2; column <= 2 - a; ++column) {
            pixels.emplace(x + column, y + row);
        }
    }
    return pixels;
}

TEST(DrawCalibResults, OfACameraEnlargesTheErrorAHundredfold)
{
    // A point at depth 10 on the axis is imaged at (50, 40); it was measured 0.25 pixels further left.
    const LxCPatternProjector device = SimpleDevice();
    const LxCPinholeCamera& camera = device;
    LxCCalibrationData mark(0.0, 0.0, 10.0, 49.75, 40.0, 1.0);
    LxCCalibrationData zero;
    std::vector<LxCCalibrationData*> marks = {&mark, nullptr, &zero};
    Image image = Black(100, 80);
    camera.DrawCalibResults(&image, &marks);
    Pixels expected = Diamond(49, 40);
    for (int x = 48; x <= 75; ++x) { // 49.75 + 100 * 0.25 = 74.75, truncated, and a pixel to either side
        expected.emplace(x, 40);
    }
    EXPECT_EQ(DrawnIn(image), expected);
    EXPECT_EQ(image.GetInt32PixelFast(60, 40), 0xFF0000);
    camera.DrawCalibResults(nullptr, &marks);
    camera.DrawCalibResults(&image, nullptr);
}

TEST(DrawCalibResults, OfACameraWithLargeErrorFiguresEnlargesLess)
{
    LxCPatternProjector device = SimpleDevice();
    device.MarkAsUncalibrated(); // error figures of 999 give the least gain, 10
    const LxCPinholeCamera& camera = device;
    LxCCalibrationData mark(0.0, 0.0, 10.0, 49.0, 40.0, 1.0);
    std::vector<LxCCalibrationData*> marks = {&mark};
    Image image = Black(100, 80);
    camera.DrawCalibResults(&image, &marks);
    Pixels expected = Diamond(49, 40);
    for (int x = 48; x <= 60; ++x) {
        expected.emplace(x, 40);
    }
    EXPECT_EQ(DrawnIn(image), expected);
}

TEST(DrawCalibResults, OfAProjectorDrawsLargeMissesTwentyPixelsLong)
{
    // Camera and projector coincide and look along the world's z axis from -10, so that the plane z = 0 is 10 deep.
    LxCPatternProjector projector = SimpleDevice();
    const double position[6] = {0.0, 0.0, 0.0, 0.0, 0.0, 10.0};
    projector.ReadFromEulerAnglesAndVector(position);
    const LxCPatternProjector camera = projector;
    LxCCalibrationData mark(1.0, 0.0, 0.0, 61.0, 40.0, 1.0); // seen at 60, on the slide at 61
    std::vector<LxCCalibrationData*> marks = {&mark};
    Image image = Black(100, 80);
    projector.DrawCalibResults(&image, &camera, &marks);
    const Pixels drawn = DrawnIn(image);
    EXPECT_EQ(drawn.rbegin()->first, 81); // 60 + 20 and a pixel
    EXPECT_EQ(drawn.begin()->first, 58);
    Image grey = Black(100, 80, Image::eIDT_UINT8);
    projector.DrawCalibResults(&grey, &camera, &marks);
    EXPECT_EQ(static_cast<std::uint8_t>(grey.GetBytePixelFast(70, 40)), 255);
}

TEST(DrawCalibResults, OfAProjectorEnlargesSmallMissesAHundredfold)
{
    LxCPatternProjector projector = SimpleDevice();
    const double position[6] = {0.0, 0.0, 0.0, 0.0, 0.0, 10.0};
    projector.ReadFromEulerAnglesAndVector(position);
    const LxCPatternProjector camera = projector;
    LxCCalibrationData mark(1.0, 0.0, 0.0, 60.125, 40.0, 1.0);
    std::vector<LxCCalibrationData*> marks = {&mark};
    Image image = Black(100, 80);
    projector.DrawCalibResults(&image, &camera, &marks);
    EXPECT_EQ(DrawnIn(image).rbegin()->first, 73); // 60 + 12.5, truncated, and a pixel
}

TEST(DrawCalibResults, MarksThatAreSeenNowhereDrawNothing)
{
    const LxCPatternProjector device = SimpleDevice();
    const LxCPinholeCamera& camera = device;
    const double nan = std::numeric_limits<double>::quiet_NaN();
    LxCCalibrationData inPlane(1.0, 1.0, 0.0, 20.0, 20.0, 1.0);
    LxCCalibrationData noNumber(nan, nan, nan, nan, nan, 1.0);
    LxCCalibrationData far(1e300, 1e300, 1e-300, 1e300, -1e300, 1.0);
    std::vector<LxCCalibrationData*> marks = {&inPlane, &noNumber, &far};
    Image image = Black(100, 80);
    camera.DrawCalibResults(&image, &marks);
    device.DrawCalibResults(&image, &camera, &marks);
    EXPECT_TRUE(DrawnIn(image).empty());
}

} // namespace
} // namespace LxCV
