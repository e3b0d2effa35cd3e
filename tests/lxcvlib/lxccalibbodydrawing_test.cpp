#include "lxccalibbody.h"

#include "cctimage.h"
#include "lxcgdiplusbitmaputilities.h"
#include "lxclxcvlibsettings.h"
#include "orx/logging/logger.h"
#include "stringutils.h"
#include "tests/lxcvlib/calibbodytestsupport.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

namespace LxCV {
namespace {

using Logging::ELevel;
using TestSupport::CPlainTarget;
using Image = CCTImage;

constexpr const wchar_t* c_sChannel = L"ORX.Lumorad.LxCCalibBody";
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr int c_iMax = std::numeric_limits<int>::max();
constexpr int c_iMin = std::numeric_limits<int>::min();

Image BlackImage(int width, int height, Image::EImageDataType type = Image::eIDT_ARGB8)
{
    return Image(width, height, type, 0.0F);
}

std::uint32_t WordAt(const Image& image, int x, int y)
{
    std::uint32_t word = 0;
    image.GetPixel(x, y, &word);
    return word;
}

/// All pixels of an image of 32 bits a pixel.
std::vector<std::uint32_t> WordsOf(const Image& image)
{
    std::vector<std::uint32_t> words;
    for (int y = 0; y < image.GetHeight(); ++y) {
        for (int x = 0; x < image.GetWidth(); ++x) {
            words.push_back(WordAt(image, x, y));
        }
    }
    return words;
}

int CountSet(const Image& image)
{
    int count = 0;
    for (const std::uint32_t word : WordsOf(image)) {
        count += word != 0 ? 1 : 0;
    }
    return count;
}

// Debug pictures

class LxCCalibBodyDrawing : public testing::Test
{
protected:
    LxCCalibBodyDrawing() { LxCLxCVLibSettings::SetDrawMarkerPosForDebugging(true); }
    ~LxCCalibBodyDrawing() override { LxCLxCVLibSettings::SetDrawMarkerPosForDebugging(false); }

    CPlainTarget m_Target;
};

TEST_F(LxCCalibBodyDrawing, MarksWithoutIdAndInvalidOnesAreGreenishXs)
{
    m_Target.AddMark(10.9, 20.9);
    Image image = BlackImage(40, 40);
    m_Target.DrawCalibMarks(&image);
    for (int i = -3; i <= 3; ++i) {
        EXPECT_EQ(WordAt(image, 10 + i, 20 + i), 0x00FF80U);
        EXPECT_EQ(WordAt(image, 10 + i, 20 - i), 0x00FF80U);
    }
    EXPECT_EQ(CountSet(image), 13);
}

/// The drawing that is expected of a mark with an id.
Image ExpectedDrawing(int width, int height, int x, int y, std::uint32_t crossColor, const std::string& text,
                      int textX, int textY)
{
    Image image = BlackImage(width, height);
    LxCGdiPlusBitmapUtilities surface(image);
    surface.DrawXMark(x, y, 3, LxCColorValueARGB8(crossColor));
    surface.DrawTextW(s2ws(text), textX, textY, 10, LxCColorValueARGB8(std::uint32_t{0xFF00FF}));
    surface.CopyResult(&image);
    return image;
}

TEST_F(LxCCalibBodyDrawing, IdentifiedMarksBearTheirIdBesideAMagentaX)
{
    struct SCase
    {
        double x;
        double y;
        int textX;
        int textY;
    };
    for (const SCase& c : {SCase{100.5, 100.5, 90, 105}, SCase{101.5, 100.5, 96, 105},
                           SCase{100.5, 101.5, 90, 96}, SCase{150.0, 150.0, 145, 145}}) {
        m_Target.Reset();
        m_Target.AddMark(c.x, c.y, 38);
        Image image = BlackImage(200, 200);
        m_Target.DrawCalibMarks(&image);
        const Image expected = ExpectedDrawing(200, 200, static_cast<int>(c.x), static_cast<int>(c.y),
                                               0xFF00FF, "38", c.textX, c.textY);
        EXPECT_EQ(WordsOf(image), WordsOf(expected)) << c.x << ", " << c.y;
    }
}

TEST_F(LxCCalibBodyDrawing, InvalidMarksKeepTheirIdsBesideAGreenishX)
{
    m_Target.AddMark(50.0, 60.0, 7)->MakeInvalid();
    Image image = BlackImage(100, 100);
    m_Target.DrawCalibMarks(&image);
    EXPECT_EQ(WordsOf(image), WordsOf(ExpectedDrawing(100, 100, 50, 60, 0x00FF80, "7", 40, 65)));
}

TEST_F(LxCCalibBodyDrawing, NeedsTheSetting)
{
    LxCLxCVLibSettings::SetDrawMarkerPosForDebugging(false);
    m_Target.AddMark(10.0, 20.0, 1);
    Image image = BlackImage(40, 40);
    m_Target.DrawCalibMarks(&image);
    EXPECT_EQ(CountSet(image), 0);
}

TEST_F(LxCCalibBodyDrawing, OfMarksAnywhereAndOnAnyImageIsHarmless)
{
    for (const double place :
         {kNaN, kInfinity, -kInfinity, 1e300, -1e300, 2147483647.0, -2147483648.0, -0.5}) {
        m_Target.AddMark(place, 5.0, c_iMin);
        m_Target.AddMark(5.0, place, c_iMax);
    }
    m_Target.DrawCalibMarks(nullptr);
    Image empty;
    m_Target.DrawCalibMarks(&empty);
    for (const auto type : {Image::eIDT_ARGB8, Image::eIDT_FLOAT32_3, Image::eIDT_UINT8}) {
        Image image = BlackImage(1, 1, type);
        m_Target.DrawCalibMarks(&image);
        EXPECT_EQ(image.GetWidth(), 1);
    }
}

// Masks

class LxCCalibBodyMask : public testing::Test
{
protected:
    CPlainTarget m_Target;
    Logging::CCapture m_Capture;
};

TEST_F(LxCCalibBodyMask, HasASquareAtEachMark)
{
    m_Target.AddMark(10.9, 12.9);
    Image mask = BlackImage(40, 40);
    m_Target.DrawMask(&mask, 5); // 5 / 2 = 2 pixels to each side
    for (int y = 0; y < 40; ++y) {
        for (int x = 0; x < 40; ++x) {
            const bool isInside = std::abs(x - 10) <= 2 && std::abs(y - 12) <= 2;
            ASSERT_EQ(WordAt(mask, x, y), isInside ? 0xFFFFFFU : 0U) << x << ", " << y;
        }
    }
}

TEST_F(LxCCalibBodyMask, SquaresAreCutAtTheBorder)
{
    m_Target.AddMark(0.0, 0.0);
    m_Target.AddMark(39.0, 39.0);
    m_Target.AddMark(-100.0, 20.0);
    m_Target.AddMark(kNaN, kNaN);
    Image mask = BlackImage(40, 40);
    m_Target.DrawMask(&mask, 4);
    EXPECT_EQ(CountSet(mask), 2 * 9);
    m_Target.DrawMask(&mask, c_iMax);
    EXPECT_EQ(CountSet(mask), 40 * 40);
}

TEST_F(LxCCalibBodyMask, OfOnePixelIsTheMarksOwn)
{
    m_Target.AddMark(3.0, 4.0);
    Image mask = BlackImage(9, 9);
    m_Target.DrawMask(&mask, 1);
    EXPECT_EQ(CountSet(mask), 1);
    EXPECT_EQ(WordAt(mask, 3, 4), 0xFFFFFFU);
}

TEST_F(LxCCalibBodyMask, IsNotDrawnWithoutAnImageOrASize)
{
    m_Target.AddMark(3.0, 4.0);
    Image mask = BlackImage(9, 9);
    m_Target.DrawMask(nullptr, 5);
    m_Target.DrawMask(&mask, 0);
    m_Target.DrawMask(&mask, c_iMin);
    EXPECT_EQ(CountSet(mask), 0);
    EXPECT_EQ(
        m_Capture.Count(ELevel::eInfo, c_sChannel,
                        L"Error: LxCCalibBody::DrawMask: Drawing without a mask or a negative mask size.\n"),
        3);
}

TEST_F(LxCCalibBodyMask, MakesMarksInvalidWhereItIsZero)
{
    Image mask = BlackImage(9, 9);
    mask.SetPixel(3, 4, 0x000001UL);
    mask.SetPixel(5, 5, 0xFF000000UL); // alpha alone is nothing
    const LxCCalibMark* const allowed = m_Target.AddMark(3.9, 4.9);
    const LxCCalibMark* const transparent = m_Target.AddMark(5.0, 5.0);
    const LxCCalibMark* const zero = m_Target.AddMark(4.0, 4.0);
    m_Target.ApplyMask(&mask);
    EXPECT_FALSE(allowed->IsInvalid());
    EXPECT_TRUE(transparent->IsInvalid());
    EXPECT_TRUE(zero->IsInvalid());
}

TEST_F(LxCCalibBodyMask, MayHaveAnyType)
{
    for (const auto type : {Image::eIDT_BGRU8, Image::eIDT_UINT8, Image::eIDT_INT16, Image::eIDT_UINT32,
                            Image::eIDT_FLOAT32, Image::eIDT_FLOAT32_3}) {
        Image mask = BlackImage(3, 2, type);
        const std::array<unsigned char, 16> pixel{0, 0, 1};
        const std::array<unsigned char, 16> first{1};
        mask.SetPixel(2, 1, mask.GetBytesPerPixel() > 2 ? pixel.data() : first.data());
        m_Target.Reset();
        const LxCCalibMark* const allowed = m_Target.AddMark(2.0, 1.0);
        const LxCCalibMark* const zero = m_Target.AddMark(1.0, 1.0);
        m_Target.ApplyMask(&mask);
        EXPECT_FALSE(allowed->IsInvalid()) << type;
        EXPECT_TRUE(zero->IsInvalid()) << type;
    }
}

TEST_F(LxCCalibBodyMask, HasNoPlaceForMarksOutsideOfIt)
{
    Image mask = BlackImage(2, 2);
    for (int i = 0; i < 4; ++i) {
        mask.SetPixel(i % 2, i / 2, 0xFFFFFFUL);
    }
    for (const double place : {-1.0, 2.0, kNaN, kInfinity, -kInfinity}) {
        m_Target.AddMark(place, 0.0);
        m_Target.AddMark(0.0, place);
    }
    const LxCCalibMark* const inside = m_Target.AddMark(-0.5, 1.5); // truncated (0, 1)
    m_Target.ApplyMask(&mask);
    for (const LxCCalibMark* mark : m_Target.GetCalibMarks()) {
        EXPECT_EQ(mark->IsInvalid(), mark != inside);
    }
    const Image empty;
    m_Target.ApplyMask(&empty);
    EXPECT_TRUE(inside->IsInvalid());
}

TEST_F(LxCCalibBodyMask, ThatIsMissingChangesNothing)
{
    const LxCCalibMark* const mark = m_Target.AddMark(1.0, 1.0);
    m_Target.ApplyMask(nullptr);
    EXPECT_FALSE(mark->IsInvalid());
    EXPECT_EQ(m_Capture.Count(ELevel::eInfo, c_sChannel,
                              L"Error: Calling LxCCalibBody::ApplyMask without a mask \n"),
              1);
}

// Margins

constexpr int c_iWidth = 100;
constexpr int c_iHeight = 80;

/// 2 for an invalid mark, 1 for one that is only unusable, 0 for one as it was.
int StateAt(double x, double y, int margin, int bottom)
{
    CPlainTarget target;
    target.m_pThres->m_iImgMargin = margin;
    target.m_pThres->m_iImgMarginBottom = bottom;
    const LxCCalibMark* const mark = target.AddMark(x, y);
    target.FilterOutMarksInImgMargin(c_iWidth, c_iHeight);
    // A mark that is used when it is not invalid is usable.
    return mark->IsInvalid() ? 2 : mark->UseForCalib() ? 0 : 1;
}

TEST(LxCCalibBodyMargin, HasBordersThatBelongToTheInside)
{
    EXPECT_EQ(StateAt(5.0, 5.0, 5, 0), 0);
    EXPECT_EQ(StateAt(95.0, 75.0, 5, 0), 0); // exactly width - margin
    EXPECT_EQ(StateAt(4.99, 40.0, 5, 0), 1);
    EXPECT_EQ(StateAt(40.0, 4.99, 5, 0), 1);
    EXPECT_EQ(StateAt(95.01, 40.0, 5, 0), 1);
    EXPECT_EQ(StateAt(40.0, 75.01, 5, 0), 1);
}

TEST(LxCCalibBodyMargin, IsWiderAtTheBottom)
{
    EXPECT_EQ(StateAt(50.0, 65.0, 5, 10), 0);
    EXPECT_EQ(StateAt(50.0, 65.01, 5, 10), 1);
    EXPECT_EQ(StateAt(50.0, 69.0, 5, 10), 1);
    EXPECT_EQ(StateAt(50.0, 69.01, 5, 10), 2);
}

TEST(LxCCalibBodyMargin, MakesMarksOutsideTheImageInvalid)
{
    EXPECT_EQ(StateAt(0.0, 0.0, 0, 0), 0);
    EXPECT_EQ(StateAt(-0.01, 0.0, 0, 0), 2);
    EXPECT_EQ(StateAt(0.0, -0.01, 0, 0), 2);
    EXPECT_EQ(StateAt(99.0, 79.0, 0, 0), 0);
    EXPECT_EQ(StateAt(99.01, 50.0, 0, 0), 2);
    EXPECT_EQ(StateAt(50.0, 79.01, 0, 0), 2);
}

TEST(LxCCalibBodyMargin, PositionsThatAreNoNumbersAreOutside)
{
    EXPECT_EQ(StateAt(kNaN, 40.0, 5, 0), 2);
    EXPECT_EQ(StateAt(40.0, kNaN, 5, 0), 2);
    EXPECT_EQ(StateAt(kInfinity, 40.0, 5, 0), 2);
}

TEST(LxCCalibBodyMargin, OfExtremeSizeOverflowsNothing)
{
    EXPECT_EQ(StateAt(50.0, 40.0, c_iMax, c_iMin), 1);
    EXPECT_EQ(StateAt(50.0, 40.0, c_iMin, c_iMax), 2);
    EXPECT_EQ(StateAt(50.0, 40.0, c_iMin, c_iMin), 0);
}

TEST(LxCCalibBodyMargin, IsThatOfTheDefaultsWithoutThresholds)
{
    CPlainTarget target(false);
    const LxCCalibMark* const inside = target.AddMark(5.0, 5.0);
    const LxCCalibMark* const outside = target.AddMark(4.9, 5.0);
    target.FilterOutMarksInImgMargin(c_iWidth, c_iHeight);
    EXPECT_TRUE(inside->UseForCalib());
    EXPECT_FALSE(outside->UseForCalib());
}

// Brightness

struct SBrightness
{
    int result = -1;
    std::array<int, 3> mean{-1, -1, -1};
    std::array<int, 3> min{-1, -1, -1};
    std::array<int, 3> max{-1, -1, -1};
    std::array<int, 3> overSat{-1, -1, -1};
};

SBrightness Analyze(const CPlainTarget& target, const Image& image, int limit, bool onlyIdentified)
{
    SBrightness b;
    b.result = target.AnalyzeBrightnessDist(&image, b.mean.data(), b.min.data(), b.max.data(),
                                            b.overSat.data(), limit, onlyIdentified);
    return b;
}

/// Grey levels: 10 left of x = 20, 201 from there.
Image TwoLevels()
{
    Image image = BlackImage(40, 30, Image::eIDT_UINT8);
    for (int y = 0; y < 30; ++y) {
        for (int x = 0; x < 40; ++x) {
            image.SetPixel(x, y, x < 20 ? 10UL : 201UL);
        }
    }
    return image;
}

TEST(LxCCalibBodyBrightness, AveragesOverMarksAndCountsBrightOnes)
{
    CPlainTarget target;
    target.AddMark(10.0, 15.0, 1);
    target.AddMark(30.9, 15.0, 2);
    target.AddMark(20.0, 15.0, 3); // columns 15 to 24: half and half, 105.5
    const SBrightness b = Analyze(target, TwoLevels(), 105, false);
    EXPECT_EQ(b.result, 0);
    EXPECT_EQ(b.mean[0], (10 + 201 + 105) / 3);
    EXPECT_EQ(b.min[0], 10);
    EXPECT_EQ(b.max[0], 201);
    EXPECT_EQ(b.overSat[0], 33); // one of three: 105 does not exceed 105
    EXPECT_EQ(b.mean[1], -1);    // a grey image has one channel
}

TEST(LxCCalibBodyBrightness, LeavesOutInvalidMarksAndOnDemandThoseWithoutId)
{
    CPlainTarget target;
    target.AddMark(10.0, 15.0, 1);
    target.AddMark(30.0, 15.0);
    target.AddMark(30.0, 15.0, 2)->MakeInvalid();
    EXPECT_EQ(Analyze(target, TwoLevels(), 255, false).max[0], 201);
    EXPECT_EQ(Analyze(target, TwoLevels(), 255, true).max[0], 10);
}

TEST(LxCCalibBodyBrightness, OfColoursHasThreeChannels)
{
    Image image = BlackImage(20, 20);
    for (int y = 0; y < 20; ++y) {
        for (int x = 0; x < 20; ++x) {
            image.SetPixel(x, y, 0x44FF2010UL);
        }
    }
    CPlainTarget target;
    target.AddMark(10.0, 10.0);
    const SBrightness b = Analyze(target, image, 0x1F, false);
    EXPECT_EQ(b.mean, (std::array<int, 3>{0x10, 0x20, 0xFF}));
    EXPECT_EQ(b.overSat, (std::array<int, 3>{0, 100, 100}));
}

TEST(LxCCalibBodyBrightness, OfNoMarkIs1WithCleanArrays)
{
    CPlainTarget target;
    target.AddMark(10.0, 10.0, 1)->MakeInvalid();
    target.AddMark(1000.0, 10.0, 1);
    target.AddMark(kNaN, 10.0, 1);
    target.AddMark(-1e300, 1e300, 1);
    const SBrightness b = Analyze(target, BlackImage(20, 20), 1, false);
    EXPECT_EQ(b.result, 1);
    EXPECT_EQ(b.mean, (std::array<int, 3>{0, 0, 0}));
    EXPECT_EQ(b.min, (std::array<int, 3>{0x7FFFFFFF, 0x7FFFFFFF, 0x7FFFFFFF}));
    EXPECT_EQ(b.max, (std::array<int, 3>{0, 0, 0}));
    EXPECT_EQ(b.overSat, (std::array<int, 3>{0, 0, 0}));
}

TEST(LxCCalibBodyBrightness, WithoutAnImageOrAPlaceIs1)
{
    CPlainTarget target;
    int place = -1;
    const Image image = BlackImage(5, 5, Image::eIDT_UINT8);
    EXPECT_EQ(target.AnalyzeBrightnessDist(nullptr, &place, &place, &place, &place, 1, false), 1);
    EXPECT_EQ(target.AnalyzeBrightnessDist(&image, nullptr, &place, &place, &place, 1, false), 1);
    EXPECT_EQ(target.AnalyzeBrightnessDist(&image, &place, nullptr, &place, &place, 1, false), 1);
    EXPECT_EQ(target.AnalyzeBrightnessDist(&image, &place, &place, nullptr, &place, 1, false), 1);
    EXPECT_EQ(target.AnalyzeBrightnessDist(&image, &place, &place, &place, nullptr, 1, false), 1);
    EXPECT_EQ(place, -1);
    EXPECT_EQ(Analyze(target, Image(), 1, false).result, 1);
}

} // namespace
} // namespace LxCV
