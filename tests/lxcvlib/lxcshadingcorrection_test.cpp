#include "lxcshadingcorrection.h"

#include "cctimage.h"
#include "orx/logging/logger.h"
#include "stringutils.h"
#include "tests/lxcvlib/imagetestsupport.h"
#include "tests/lxcvlib/sectiontext.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <concepts>
#include <cstdint>
#include <cstdlib>
#include <initializer_list>
#include <limits>
#include <random>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

namespace LxCV {
namespace {

constexpr int c_iLevels = 75;
constexpr std::string_view c_sSection = "::Shading";

/// Opens what descendants may use.
class COpenShading : public LxCShadingCorrection
{
public:
    using LxCShadingCorrection::ComputeRangeScaleFactor;
    using LxCShadingCorrection::DeserializeConfig;
    using LxCShadingCorrection::GetBlock;
    using LxCShadingCorrection::MapTo;
    using LxCShadingCorrection::SerializeConfig;
    using LxCShadingCorrection::SetBlock;
};

struct SColor
{
    int red;
    int green;
    int blue;

    bool operator==(const SColor&) const = default;
};

void PrintTo(const SColor& color, std::ostream* out)
{
    *out << '(' << color.red << ", " << color.green << ", " << color.blue << ')';
}

SColor ColorAt(const LxCShadingCorrection& shading, int x, int y)
{
    std::array<std::uint8_t, 3> bgr{};
    EXPECT_EQ(shading.GetShadingCorrectionImage()->GetPixel(x, y, bgr.data()), CCTImage::eRC_OK);
    return {bgr[2], bgr[1], bgr[0]};
}

/// An image of single pixels by rows.
CCTImage ImageOf(int width, int height, const std::vector<SColor>& colors)
{
    CCTImage image(width, height, CCTImage::eIDT_BGRU8, true, nullptr);
    for (std::size_t i = 0; i < colors.size(); ++i) {
        const std::array<std::uint8_t, 3> bgr{static_cast<std::uint8_t>(colors[i].blue),
                                              static_cast<std::uint8_t>(colors[i].green),
                                              static_cast<std::uint8_t>(colors[i].red)};
        const int index = static_cast<int>(i);
        image.SetPixel(index % width, index / width, bgr.data());
    }
    return image;
}

CCTImage UniformImage(int width, int height, int value)
{
    const SColor color{value, value, value};
    return ImageOf(width, height, std::vector<SColor>(static_cast<std::size_t>(width * height), color));
}

/// What `Serialize` answers and the text that it leaves.
std::pair<bool, std::string> Store(LxCShadingCorrection& shading)
{
    TestSupport::CTextSerializer serializer;
    serializer.Init(true, false);
    const bool stored = shading.Serialize(serializer, std::string(c_sSection));
    return {stored, serializer.GetText()};
}

bool Load(LxCShadingCorrection& shading, const std::string& text)
{
    TestSupport::CTextSerializer serializer;
    std::stringstream source(text);
    serializer.ReadFromStringStream(source);
    EXPECT_TRUE(serializer.Init(false, false));
    return shading.Serialize(serializer, std::string(c_sSection));
}

struct SKeys
{
    std::string use = "1";
    std::string width = "1";
    std::string height = "1";
    std::string blockSize = "1";
    std::string minVal = "0";
    std::string maxVal = "255";
};

std::string TextOf(const SKeys& keys, const std::vector<std::string>& rows)
{
    std::string text = std::string(c_sSection) + "\nUseShadingCorrection=" + keys.use +
                       "\nWidth=" + keys.width + "\nHeight=" + keys.height + "\nBlockSize=" + keys.blockSize +
                       "\nMinVal=" + keys.minVal + "\nMaxVal=" + keys.maxVal + "\n";
    for (std::size_t i = 0; i < rows.size(); ++i) {
        text += "im[" + std::to_string(i) + "]=" + rows[i] + "\n";
    }
    return text;
}

std::string ToText(std::integral auto number)
{
    return std::to_string(number);
}

TEST(LxCShadingCorrection, IsNotAppliedAndHasNoImageAtFirst)
{
    const LxCShadingCorrection shading;
    EXPECT_FALSE(shading.GetApplyShadingCorrection());
    EXPECT_EQ(shading.GetShadingCorrectionImage(), nullptr);
    EXPECT_EQ(shading.GetRangeScaleFactor(), 0.0F);
}

TEST(LxCShadingCorrection, ScaleIsThatOfDigitZeroToLetterZ)
{
    EXPECT_EQ(LxCShadingCorrection::c_iMinAsciiCode, 48);
    EXPECT_EQ(LxCShadingCorrection::c_iMaxAsciiCode, 122);
    EXPECT_EQ(LxCShadingCorrection::c_iMaxAsciiCode - LxCShadingCorrection::c_iMinAsciiCode, c_iLevels - 1);
}

TEST(LxCShadingCorrection, InitMakesNeutralGrey)
{
    LxCShadingCorrection shading;
    shading.Init(7, 3);
    const CCTImage* image = shading.GetShadingCorrectionImage();
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(image->GetDataType(), CCTImage::eIDT_BGRU8);
    EXPECT_EQ(image->GetWidth(), 7);
    EXPECT_EQ(image->GetHeight(), 3);
    EXPECT_EQ(TestSupport::BytesOf(*image), std::vector<std::uint8_t>(7 * 3 * 3, 128));
    shading.Init(2, 2);
    EXPECT_EQ(TestSupport::BytesOf(*shading.GetShadingCorrectionImage()), std::vector<std::uint8_t>(12, 128));
}

TEST(LxCShadingCorrection, InitTakesSizesWithoutPixels)
{
    LxCShadingCorrection shading;
    for (const auto& [width, height] :
         {std::pair{0, 0}, {-3, 4}, {5, 0}, {std::numeric_limits<int>::min(), -1}}) {
        shading.Init(width, height);
        ASSERT_NE(shading.GetShadingCorrectionImage(), nullptr);
        EXPECT_EQ(shading.GetShadingCorrectionImage()->GetWidth(), std::max(width, 0));
        EXPECT_EQ(shading.GetShadingCorrectionImage()->GetHeight(), std::max(height, 0));
    }
}

TEST(LxCShadingCorrection, InitOfAnImpossibleSizeThrowsAndLeavesNoImage)
{
    const Logging::CCapture quiet;
    LxCShadingCorrection shading;
    shading.Init(2, 2);
    try {
        shading.Init(std::numeric_limits<int>::max(), 2);
        FAIL();
    } catch (const std::exception& error) {
        EXPECT_STREQ(error.what(), "image allocation failed");
    }
    EXPECT_EQ(shading.GetShadingCorrectionImage(), nullptr);
}

TEST(LxCShadingCorrection, ReleaseFreesTheImage)
{
    LxCShadingCorrection shading;
    shading.Release();
    shading.Init(4, 4);
    shading.Release();
    EXPECT_EQ(shading.GetShadingCorrectionImage(), nullptr);
    EXPECT_FALSE(Store(shading).first);
}

TEST(LxCShadingCorrection, KeepsACopyOfTheImageThatIsSet)
{
    CCTImage source = ImageOf(2, 1, {{10, 20, 30}, {250, 40, 50}});
    LxCShadingCorrection shading;
    shading.SetShadingCorrectionImage(&source);
    source.Clear();
    EXPECT_EQ(ColorAt(shading, 0, 0), (SColor{10, 20, 30}));
    EXPECT_EQ(ColorAt(shading, 1, 0), (SColor{250, 40, 50}));
    EXPECT_EQ(shading.GetRangeScaleFactor(), 250.0F);
}

TEST(LxCShadingCorrection, KeepsItsImageObjectWhileTheSizeStays)
{
    CCTImage first = UniformImage(3, 2, 7);
    CCTImage second = UniformImage(3, 2, 9);
    CCTImage other = UniformImage(2, 3, 11);
    LxCShadingCorrection shading;
    shading.SetShadingCorrectionImage(&first);
    const CCTImage* const image = shading.GetShadingCorrectionImage();
    shading.SetShadingCorrectionImage(&second);
    EXPECT_EQ(shading.GetShadingCorrectionImage(), image);
    EXPECT_EQ(shading.GetRangeScaleFactor(), 9.0F);
    shading.SetShadingCorrectionImage(&other);
    EXPECT_EQ(shading.GetShadingCorrectionImage()->GetWidth(), 2);
    EXPECT_EQ(shading.GetShadingCorrectionImage()->GetHeight(), 3);
    EXPECT_EQ(shading.GetRangeScaleFactor(), 11.0F);
    shading.SetShadingCorrectionImage(shading.GetShadingCorrectionImage());
    EXPECT_EQ(ColorAt(shading, 1, 2), (SColor{11, 11, 11}));
}

TEST(LxCShadingCorrection, ConvertsGreyFloatsAndAlpha)
{
    LxCShadingCorrection shading;
    CCTImage grey(1, 1, CCTImage::eIDT_UINT8, true, nullptr);
    grey.SetPixel(0, 0, 77UL);
    shading.SetShadingCorrectionImage(&grey);
    EXPECT_EQ(ColorAt(shading, 0, 0), (SColor{77, 77, 77}));
    CCTImage floats(1, 1, CCTImage::eIDT_FLOAT32_3, 12.5F, -3.0F, 300.0F); // blue, green, red
    shading.SetShadingCorrectionImage(&floats);
    EXPECT_EQ(ColorAt(shading, 0, 0), (SColor{255, 0, 13}));
    CCTImage alpha(1, 1, CCTImage::eIDT_ARGB8, true, nullptr);
    alpha.SetPixel(0, 0, 0xFF030201UL);
    shading.SetShadingCorrectionImage(&alpha);
    EXPECT_EQ(ColorAt(shading, 0, 0), (SColor{3, 2, 1}));
    EXPECT_EQ(shading.GetRangeScaleFactor(), 3.0F) << "alpha is no colour";
}

TEST(LxCShadingCorrection, AnImageThatCannotBeConvertedIsLogged)
{
    const Logging::CCapture capture;
    LxCShadingCorrection shading;
    CCTImage words(2, 2, CCTImage::eIDT_INT32, true, nullptr);
    shading.SetShadingCorrectionImage(&words);
    EXPECT_EQ(ColorAt(shading, 1, 1), (SColor{128, 128, 128}));
    shading.SetShadingCorrectionImage(nullptr);
    EXPECT_EQ(ColorAt(shading, 1, 1), (SColor{128, 128, 128}));
    ASSERT_EQ(capture.GetRecords().size(), 2U);
    EXPECT_EQ(capture.GetRecords().at(0).level, Logging::ELevel::eError);
    EXPECT_EQ(capture.GetRecords().at(0).channel, L"ORX.Lumorad.LxCShadingCorrection");
    EXPECT_EQ(capture.GetRecords().at(0).text, L"shading image cannot be converted, code 12");
    EXPECT_EQ(capture.GetRecords().at(1).text, L"no shading image to set");
}

TEST(LxCShadingCorrection, SurvivesACallerWhoChangesItsImage)
{
    LxCShadingCorrection shading;
    shading.SetApplyShadingCorrection(true);
    shading.Init(4, 4);
    shading.GetShadingCorrectionImage()->Resize(4, 4, CCTImage::eIDT_UINT8);
    EXPECT_EQ(Store(shading), std::pair(false, std::string()));
    CCTImage image = UniformImage(4, 4, 5);
    shading.SetShadingCorrectionImage(&image);
    EXPECT_EQ(ColorAt(shading, 3, 3), (SColor{5, 5, 5}));
}

TEST(LxCShadingCorrection, CopiesAreDeep)
{
    CCTImage image = UniformImage(2, 2, 60);
    LxCShadingCorrection shading;
    shading.SetApplyShadingCorrection(true);
    shading.SetShadingCorrectionImage(&image);
    const LxCShadingCorrection copy(shading);
    LxCShadingCorrection assigned;
    assigned.Init(9, 9);
    assigned = shading;
    shading.Init(2, 2);
    for (const LxCShadingCorrection* kept : {&copy, static_cast<const LxCShadingCorrection*>(&assigned)}) {
        EXPECT_TRUE(kept->GetApplyShadingCorrection());
        EXPECT_EQ(kept->GetRangeScaleFactor(), 60.0F);
        EXPECT_EQ(kept->GetShadingCorrectionImage()->GetWidth(), 2);
        EXPECT_EQ(ColorAt(*kept, 1, 1), (SColor{60, 60, 60}));
    }
    assigned = *&assigned;
    EXPECT_EQ(ColorAt(assigned, 0, 1), (SColor{60, 60, 60}));
    assigned = LxCShadingCorrection();
    EXPECT_EQ(assigned.GetShadingCorrectionImage(), nullptr);
    LxCShadingCorrection empty;
    empty.Init(0, 0);
    EXPECT_EQ(LxCShadingCorrection(empty).GetShadingCorrectionImage()->GetSizeInPixels(), 0);
}

TEST(LxCShadingCorrection, WritesKeysInOrderAndRowsChannelByChannel)
{
    // MinVal 0 and MaxVal 74 make a value v the code 48 + v.
    CCTImage image = ImageOf(2, 2, {{0, 1, 2}, {3, 4, 5}, {74, 10, 13}, {49, 15, 20}});
    LxCShadingCorrection shading;
    shading.SetApplyShadingCorrection(true);
    shading.SetShadingCorrectionImage(&image);
    const std::string expected = "::Shading\n"
                                 "UseShadingCorrection=1\n"
                                 "Width=2\n"
                                 "Height=2\n"
                                 "BlockSize=1\n"
                                 "MinVal=0\n"
                                 "MaxVal=74\n"
                                 "im[0]=031425\n"
                                 "im[1]=za:?=D\n";
    EXPECT_EQ(Store(shading), std::pair(true, expected));
}

TEST(LxCShadingCorrection, AUniformImageWritesZerosAndComesBack)
{
    CCTImage image = UniformImage(3, 2, 200);
    LxCShadingCorrection shading;
    shading.SetApplyShadingCorrection(true);
    shading.SetShadingCorrectionImage(&image);
    const auto [stored, text] = Store(shading);
    EXPECT_TRUE(stored);
    EXPECT_NE(text.find("MinVal=200\nMaxVal=200\nim[0]=000000000\nim[1]=000000000\n"), std::string::npos)
        << text;
    LxCShadingCorrection loaded;
    EXPECT_TRUE(Load(loaded, text));
    EXPECT_TRUE(loaded.GetApplyShadingCorrection());
    EXPECT_EQ(TestSupport::BytesOf(*loaded.GetShadingCorrectionImage()), std::vector<std::uint8_t>(18, 200));
    EXPECT_EQ(loaded.GetRangeScaleFactor(), 200.0F);
}

TEST(LxCShadingCorrection, WhileNotAppliedNothingIsWritten)
{
    LxCShadingCorrection shading;
    shading.Init(3, 3);
    EXPECT_EQ(Store(shading), std::pair(true, std::string()));
}

TEST(LxCShadingCorrection, WithoutAnImageNothingIsWrittenAndThatIsAFailure)
{
    LxCShadingCorrection shading;
    EXPECT_EQ(Store(shading), std::pair(false, std::string()));
    shading.SetApplyShadingCorrection(true);
    EXPECT_EQ(Store(shading), std::pair(false, std::string()));
}

TEST(LxCShadingCorrection, AnImageWithoutPixelsWritesTheUntouchedRange)
{
    LxCShadingCorrection shading;
    shading.SetApplyShadingCorrection(true);
    shading.Init(0, 0);
    const auto [stored, text] = Store(shading);
    EXPECT_TRUE(stored);
    EXPECT_EQ(text, "::Shading\nUseShadingCorrection=1\nWidth=0\nHeight=0\nBlockSize=1\nMinVal=1000\n"
                    "MaxVal=-1000\n");
    LxCShadingCorrection loaded;
    EXPECT_TRUE(Load(loaded, text));
    EXPECT_EQ(loaded.GetShadingCorrectionImage()->GetSizeInPixels(), 0);
}

/// The levels of the whole range, level 0 first: 255 * level / 74, to the nearest integer, halves upwards.
constexpr std::array<int, c_iLevels> c_aFullRange{
    0,   3,   7,   10,  14,  17,  21,  24,  28,  31,  34,  38,  41,  45,  48,  52,  55,  59,  62,
    65,  69,  72,  76,  79,  83,  86,  90,  93,  96,  100, 103, 107, 110, 114, 117, 121, 124, 128,
    131, 134, 138, 141, 145, 148, 152, 155, 159, 162, 165, 169, 172, 176, 179, 183, 186, 190, 193,
    196, 200, 203, 207, 210, 214, 217, 221, 224, 227, 231, 234, 238, 241, 245, 248, 252, 255};

/// The characters of all levels in order.
std::string AllCodes()
{
    std::string codes;
    for (char code = '0'; code <= 'z'; ++code) {
        codes += code;
    }
    return codes;
}

TEST(LxCShadingCorrection, EveryLevelOfTheWholeRangeDecodesByTheTable)
{
    const std::string codes = AllCodes();
    ASSERT_EQ(codes.size(), c_aFullRange.size());
    LxCShadingCorrection shading;
    // Green runs down and blue stays, so that a channel in another's place shows.
    ASSERT_TRUE(Load(shading,
                     TextOf({.width = ToText(c_iLevels)}, {codes + std::string(codes.rbegin(), codes.rend()) +
                                                           std::string(codes.size(), 'U')})));
    for (int level = 0; level < c_iLevels; ++level) {
        const SColor expected{c_aFullRange[static_cast<std::size_t>(level)],
                              c_aFullRange[static_cast<std::size_t>(c_iLevels - 1 - level)], 128};
        EXPECT_EQ(ColorAt(shading, level, 0), expected) << level;
    }
    EXPECT_EQ(shading.GetRangeScaleFactor(), 255.0F);
}

TEST(LxCShadingCorrection, EveryLevelOfTheWholeRangeIsWrittenAsItsCharacter)
{
    std::vector<SColor> colors;
    for (const int value : c_aFullRange) {
        colors.push_back({value, value, value});
    }
    CCTImage image = ImageOf(c_iLevels, 1, colors);
    LxCShadingCorrection shading;
    shading.SetApplyShadingCorrection(true);
    shading.SetShadingCorrectionImage(&image);
    const std::string codes = AllCodes();
    EXPECT_NE(Store(shading).second.find("MinVal=0\nMaxVal=255\nim[0]=" + codes + codes + codes + "\n"),
              std::string::npos);
}

TEST(LxCShadingCorrection, TheLeastAndGreatestValueTakeTheEndsOfTheScale)
{
    for (const auto& [least, greatest] : {std::pair{0, 255}, {0, 1}, {254, 255}, {17, 18}, {3, 200}}) {
        EXPECT_EQ(COpenShading::MapTo(least, least, greatest, 48, 122), 48);
        EXPECT_EQ(COpenShading::MapTo(greatest, least, greatest, 48, 122), 122);
        EXPECT_EQ(COpenShading::MapTo(48, 48, 122, least, greatest), least);
        EXPECT_EQ(COpenShading::MapTo(122, 48, 122, least, greatest), greatest);
    }
}

/// Every range of bytes at every level, in integers: least + (greatest - least) * level / 74, to the nearest integer.
TEST(LxCShadingCorrection, EveryRangeAndLevelDecodesToTheNearestValue)
{
    for (int least = 0; least <= 255; ++least) {
        for (int greatest = 0; greatest <= 255; ++greatest) {
            for (int level = 0; level < c_iLevels; ++level) {
                const int scaled =
                    2 * (greatest - least) * level + 74 * (2 * least + 1); // 148 times the value
                const int value = COpenShading::MapTo(48 + level, 48, 122, least, greatest);
                // Halfway between two values the rounding of level / 74 in doubles decides.
                const bool halfway = scaled % 148 == 0 && level % 74 != 0;
                ASSERT_TRUE(value == scaled / 148 || (halfway && value == scaled / 148 - 1))
                    << least << ' ' << greatest << ' ' << level << ' ' << value;
            }
        }
    }
}

TEST(LxCShadingCorrection, EveryRangeAndValueCodesToTheNearestLevel)
{
    for (int least = 0; least <= 255; ++least) {
        for (int greatest = least + 1; greatest <= 255; ++greatest) {
            const int range = greatest - least;
            for (int value = least; value <= greatest; ++value) {
                const int scaled = 2 * 74 * (value - least) + range; // 2 * range times the level
                ASSERT_EQ(COpenShading::MapTo(value, least, greatest, 48, 122), 48 + scaled / (2 * range))
                    << least << ' ' << greatest << ' ' << value;
            }
        }
    }
}

TEST(LxCShadingCorrection, LimitsOfAnyValueMapByTheFormula)
{
    struct SCase
    {
        int code, minVal, maxVal, value;
    };
    constexpr int c_least = std::numeric_limits<int>::min();
    constexpr int c_greatest = std::numeric_limits<int>::max();
    // (maxVal - minVal) * (code - 48) / 74 + minVal + 0.5, truncated towards zero.
    for (const SCase& test :
         std::initializer_list<SCase>{{48, 255, 0, 255},        // falling: 255.5
                                      {122, 255, 0, 0},         // 0.5
                                      {85, 255, 0, 128},        // 127.5 + 0.5
                                      {123, 255, 0, -2},        // 255 - 258.446 + 0.5 = -2.946
                                      {48, -10, 300, -9},       // -9.5
                                      {47, -10, 300, -13},      // -14.189 + 0.5
                                      {123, -10, 300, 304},     // 304.189 + 0.5
                                      {0, 0, 74, -47},          // -47.5
                                      {255, 0, 74, 207},        // 207.5
                                      {48, 1000, -1000, 1000},  // the range of an image without pixels
                                      {122, 1000, -1000, -999}, // -999.5
                                      {48, c_least, c_greatest, -2147483647}, // -2147483647.5
                                      {85, c_least, c_greatest, 0},           // -0.5 + 0.5
                                      {122, c_least, c_greatest, c_greatest}, // 2147483647.5
                                      {123, c_least, c_greatest, c_greatest}, // beyond int
                                      {47, c_least, c_greatest, c_least},
                                      {0, c_greatest, c_least, c_greatest},
                                      {200, c_greatest, c_least, c_least},
                                      {122, c_greatest, c_greatest, c_greatest},
                                      {0, c_least, c_least, -2147483647}}) {
        EXPECT_EQ(COpenShading::MapTo(test.code, 48, 122, test.minVal, test.maxVal), test.value)
            << test.code << ' ' << test.minVal << ' ' << test.maxVal;
    }
    // 58.5 + 0.5 on paper; 39 / 74 in doubles is a little less, and so is 111 times that.
    EXPECT_EQ(COpenShading::MapTo(87, 48, 122, 0, 111), 58);
    // No division where both limits are one: the steps themselves count.
    EXPECT_EQ(COpenShading::MapTo(5, 5, 5, 48, 122), 48);
    EXPECT_EQ(COpenShading::MapTo(6, 5, 5, 48, 122), 122);
    EXPECT_EQ(COpenShading::MapTo(c_least, c_greatest, c_greatest, c_greatest, c_least), c_greatest);
}

TEST(LxCShadingCorrection, TheRoundTripLosesAtMostHalfALevel)
{
    constexpr int c_trials = 200;
    std::mt19937 random(7);
    for (int trial = 0; trial < c_trials; ++trial) {
        const int width = 1 + static_cast<int>(random() % 9);
        const int height = 1 + static_cast<int>(random() % 9);
        const unsigned least = static_cast<unsigned>(random() % 256);
        const unsigned count = 1 + static_cast<unsigned>(random() % (256 - least));
        std::vector<SColor> colors(static_cast<std::size_t>(width * height));
        const auto channel = [&] { return static_cast<int>(least + random() % count); };
        for (SColor& color : colors) {
            color = {channel(), channel(), channel()};
        }
        CCTImage image = ImageOf(width, height, colors);
        LxCShadingCorrection shading;
        shading.SetApplyShadingCorrection(true);
        shading.SetShadingCorrectionImage(&image);
        LxCShadingCorrection loaded;
        ASSERT_TRUE(Load(loaded, Store(shading).second));
        const auto before = TestSupport::BytesOf(image);
        const auto after = TestSupport::BytesOf(*loaded.GetShadingCorrectionImage());
        ASSERT_EQ(after.size(), before.size());
        const auto [low, high] = std::minmax_element(before.begin(), before.end());
        // Half a level of range / 74, and half a grey value by rounding.
        const int tolerance = (*high - *low + 74) / 148;
        for (std::size_t i = 0; i < before.size(); ++i) {
            ASSERT_LE(std::abs(before[i] - after[i]), tolerance) << trial << ' ' << i;
        }
        // The range comes back exactly, so what was loaded is written as the same text again.
        ASSERT_EQ(Store(loaded).second, Store(shading).second) << trial;
        ASSERT_EQ(loaded.GetRangeScaleFactor(), static_cast<float>(*high));
    }
}

TEST(LxCShadingCorrection, ReadsBlocksAndCutsThemAtTheEdge)
{
    // 5 by 3 pixels in blocks of 2: three by two blocks, the last column and row half or a quarter inside.
    LxCShadingCorrection shading;
    ASSERT_TRUE(Load(shading, TextOf({.width = "5", .height = "3", .blockSize = "2", .maxVal = "74"},
                                     {"012345678", "9:;<=>?@A"})));
    for (int y = 0; y < 3; ++y) {
        for (int x = 0; x < 5; ++x) {
            const int first = x / 2 + 9 * (y / 2);
            EXPECT_EQ(ColorAt(shading, x, y), (SColor{first, first + 3, first + 6})) << x << ' ' << y;
        }
    }
    EXPECT_EQ(shading.GetRangeScaleFactor(), 17.0F);
}

TEST(LxCShadingCorrection, ABlockMayBeLargerThanTheImage)
{
    LxCShadingCorrection shading;
    for (const char* size : {"3", "4", "2147483647"}) {
        ASSERT_TRUE(Load(shading, TextOf({.width = "3", .height = "2", .blockSize = size}, {"0Uz"}))) << size;
        EXPECT_EQ(ColorAt(shading, 0, 0), (SColor{0, 128, 255}));
        EXPECT_EQ(ColorAt(shading, 2, 1), (SColor{0, 128, 255}));
    }
}

TEST(LxCShadingCorrection, WhatARowHasTooMuchIsPassedOver)
{
    LxCShadingCorrection shading;
    EXPECT_TRUE(Load(shading, TextOf({.maxVal = "74"}, {"123456", "ignored"})));
    EXPECT_EQ(ColorAt(shading, 0, 0), (SColor{1, 2, 3}));
}

TEST(LxCShadingCorrection, RowsMayStandInAnyOrderAndTheFirstOfAKeyCounts)
{
    LxCShadingCorrection shading;
    EXPECT_TRUE(Load(shading, "::Shading\nim[1]=333\nMaxVal=74\nim[01]=999\nHeight=2\nim[0]=111\nWidth=1\n"
                              "im[1]=444\nHeight=7\n"));
    EXPECT_EQ(ColorAt(shading, 0, 0), (SColor{1, 1, 1}));
    EXPECT_EQ(ColorAt(shading, 0, 1), (SColor{3, 3, 3}));
    EXPECT_EQ(shading.GetShadingCorrectionImage()->GetHeight(), 2);
}

TEST(LxCShadingCorrection, AMissingSectionGivesAnImageWithoutPixels)
{
    const Logging::CCapture quiet;
    LxCShadingCorrection shading;
    CCTImage image = UniformImage(2, 2, 9);
    shading.SetApplyShadingCorrection(true);
    shading.SetShadingCorrectionImage(&image);
    EXPECT_TRUE(Load(shading, "::Elsewhere\nWidth=3\nHeight=3\n"));
    EXPECT_FALSE(shading.GetApplyShadingCorrection());
    ASSERT_NE(shading.GetShadingCorrectionImage(), nullptr);
    EXPECT_EQ(shading.GetShadingCorrectionImage()->GetWidth(), 0);
    EXPECT_EQ(shading.GetShadingCorrectionImage()->GetHeight(), 0);
    EXPECT_EQ(shading.GetRangeScaleFactor(), 0.0F);
}

TEST(LxCShadingCorrection, AMissingBlockSizeIsThatOfTheWriter)
{
    LxCShadingCorrection shading;
    EXPECT_TRUE(Load(shading, "::Shading\nWidth=2\nHeight=1\nMaxVal=74\nim[0]=123456\n"));
    EXPECT_EQ(ColorAt(shading, 1, 0), (SColor{2, 4, 6}));
}

/// Loads, expects a failure with one line in the log, and returns that.
std::wstring LoadFailing(LxCShadingCorrection& shading, const std::string& text)
{
    const Logging::CCapture capture;
    EXPECT_FALSE(Load(shading, text)) << text;
    std::wstring message;
    for (const auto& entry : capture.GetRecords()) {
        if (entry.channel == L"ORX.Lumorad.LxCShadingCorrection") {
            EXPECT_EQ(entry.level, Logging::ELevel::eError);
            EXPECT_TRUE(message.empty());
            message = entry.text;
        }
    }
    return message;
}

TEST(LxCShadingCorrection, ARowThatIsTooShortFailsAndKeepsWhatWasRead)
{
    LxCShadingCorrection shading;
    const SKeys keys{.width = "3", .height = "3", .maxVal = "74"};
    // The second row lacks the blue of its last block.
    EXPECT_EQ(LoadFailing(shading, TextOf(keys, {"111222333", "44455566", "777888999"})),
              L"section ::Shading: invalid string position");
    EXPECT_TRUE(shading.GetApplyShadingCorrection());
    for (int x = 0; x < 3; ++x) {
        EXPECT_EQ(ColorAt(shading, x, 0), (SColor{1, 2, 3}));
        EXPECT_EQ(ColorAt(shading, x, 1), x < 2 ? (SColor{4, 5, 6}) : (SColor{128, 128, 128}));
        EXPECT_EQ(ColorAt(shading, x, 2), (SColor{128, 128, 128}));
    }
    EXPECT_EQ(shading.GetRangeScaleFactor(), 0.0F);
}

TEST(LxCShadingCorrection, ARowThatIsMissingOrEmptyFails)
{
    LxCShadingCorrection shading;
    EXPECT_EQ(LoadFailing(shading, TextOf({}, {})), L"section ::Shading: invalid string position");
    EXPECT_EQ(LoadFailing(shading, TextOf({}, {""})), L"section ::Shading: invalid string position");
    EXPECT_EQ(LoadFailing(shading, TextOf({}, {"00"})), L"section ::Shading: invalid string position");
    EXPECT_EQ(LoadFailing(shading, TextOf({.height = "2"}, {"000"})),
              L"section ::Shading: invalid string position");
}

TEST(LxCShadingCorrection, ABlockSizeBelowOneFailsAfterTheImageIsMade)
{
    LxCShadingCorrection shading;
    for (const std::string size : {"0", "-1", "-2147483648"}) {
        for (const std::string width : {"2", "0", "-2147483648"}) {
            const std::string text =
                TextOf({.width = width, .height = "2", .blockSize = size}, {"000000", "000000"});
            EXPECT_EQ(ws2s(LoadFailing(shading, text)),
                      "section ::Shading: block size " + size + " is below 1");
            ASSERT_NE(shading.GetShadingCorrectionImage(), nullptr);
            EXPECT_EQ(shading.GetShadingCorrectionImage()->GetWidth(), width == "2" ? 2 : 0);
        }
    }
}

TEST(LxCShadingCorrection, SizesThatAreNotPositiveGiveNoPixels)
{
    LxCShadingCorrection shading;
    for (const std::string size : {"0", "-1", "-2147483648"}) {
        for (const std::string other : {"0", "5", "-7", "2147483647", "-2147483648"}) {
            for (const std::string blockSize : {"1", "3", "2147483647"}) {
                EXPECT_TRUE(
                    Load(shading, TextOf({.width = size, .height = other, .blockSize = blockSize}, {})));
                EXPECT_TRUE(
                    Load(shading, TextOf({.width = other, .height = size, .blockSize = blockSize}, {})));
                ASSERT_NE(shading.GetShadingCorrectionImage(), nullptr);
                EXPECT_EQ(shading.GetShadingCorrectionImage()->GetSizeInPixels(), 0);
                EXPECT_EQ(shading.GetRangeScaleFactor(), 0.0F);
            }
        }
    }
    EXPECT_TRUE(Load(shading, TextOf({.width = "5", .height = "0"}, {})));
    EXPECT_EQ(shading.GetShadingCorrectionImage()->GetWidth(), 5);
}

TEST(LxCShadingCorrection, ASizeWithoutTextForItTakesNoMemory)
{
    LxCShadingCorrection shading;
    shading.Init(2, 2);
    for (const auto& [width, height, blockSize] : {std::tuple{"2000000000", "1", "1"},
                                                   {"1", "2000000000", "1"},
                                                   {"2147483647", "2147483647", "1"},
                                                   {"2147483647", "2147483647", "2147483647"},
                                                   {"65536", "65536", "65536"},
                                                   {"20000", "20000", "20000"},
                                                   {"5592406", "1", "1"}}) {
        const std::string text =
            TextOf({.width = width, .height = height, .blockSize = blockSize}, {"000000000"});
        EXPECT_EQ(ws2s(LoadFailing(shading, text)), std::string("section ::Shading: image of ") + width +
                                                        " by " + height +
                                                        " pixels is too large for its text");
        EXPECT_EQ(shading.GetShadingCorrectionImage(), nullptr);
    }
}

TEST(LxCShadingCorrection, ImagesUpToSixteenMebibytesNeedNoTextOfTheirSize)
{
    // 3 * 5592405 bytes are one below 16 MiB.
    LxCShadingCorrection shading;
    EXPECT_TRUE(Load(shading, TextOf({.width = "5592405", .blockSize = "5592405"}, {"0Uz"})));
    EXPECT_EQ(ColorAt(shading, 5592404, 0), (SColor{0, 128, 255}));
    EXPECT_EQ(LoadFailing(shading, TextOf({.width = "5592405"}, {"0Uz"})),
              L"section ::Shading: invalid string position");
    EXPECT_EQ(ColorAt(shading, 5592404, 0), (SColor{128, 128, 128}));
}

TEST(LxCShadingCorrection, LargerImagesAreReadFromTextsOfTheirSize)
{
    const std::size_t width = 6'000'000;
    LxCShadingCorrection shading;
    EXPECT_TRUE(Load(shading, TextOf({.width = ToText(width)}, {std::string(3 * width, 'z')})));
    EXPECT_EQ(shading.GetShadingCorrectionImage()->GetWidth(), 6'000'000);
    EXPECT_EQ(shading.GetRangeScaleFactor(), 255.0F);
}

TEST(LxCShadingCorrection, ManyRowsAreReadInTimeThatGrowsWithTheText)
{
    // A search through the section for each row would take 10^10 comparisons.
    const int height = 100'000;
    std::string text = TextOf({.height = ToText(height), .maxVal = "74"}, {});
    for (int y = height; y-- > 0;) {
        text += "im[" + ToText(y) + "]=" + (y % 2 == 0 ? "012" : "345") + "\n";
    }
    LxCShadingCorrection shading;
    EXPECT_TRUE(Load(shading, text));
    EXPECT_EQ(ColorAt(shading, 0, height - 2), (SColor{0, 1, 2}));
    EXPECT_EQ(ColorAt(shading, 0, height - 1), (SColor{3, 4, 5}));
}

TEST(LxCShadingCorrection, ValuesBeyondABytesRangeBecomeTheNearestByte)
{
    LxCShadingCorrection shading;
    // Characters outside the scale: '/' is one below it, '{' one above it.
    ASSERT_TRUE(Load(shading, TextOf({}, {"/{~"})));
    EXPECT_EQ(ColorAt(shading, 0, 0), (SColor{0, 255, 255}));
    // 10 + 100 * (c - 48) / 74 + 0.5 of 33, 47, 123.
    ASSERT_TRUE(Load(shading, TextOf({.minVal = "10", .maxVal = "110"}, {"!/{"})));
    EXPECT_EQ(ColorAt(shading, 0, 0), (SColor{0, 9, 111}));
    // Bytes beyond ASCII are codes above 127: 48 + 175 gives 10 + 236.49 + 0.5.
    ASSERT_TRUE(Load(shading, TextOf({.minVal = "10", .maxVal = "110"}, {"\xDF\x80\xFF"})));
    EXPECT_EQ(ColorAt(shading, 0, 0), (SColor{246, 118, 255}));
    // Limits far away.
    ASSERT_TRUE(Load(shading, TextOf({.minVal = "-2147483648", .maxVal = "2147483647"}, {"0Uz"})));
    EXPECT_EQ(ColorAt(shading, 0, 0), (SColor{0, 0, 255}));
    ASSERT_TRUE(Load(shading, TextOf({.minVal = "2147483647", .maxVal = "-2147483648"}, {"0Uz"})));
    EXPECT_EQ(ColorAt(shading, 0, 0), (SColor{255, 0, 0}));
    ASSERT_TRUE(Load(shading, TextOf({.minVal = "300", .maxVal = "-300"}, {"0Uz"})));
    EXPECT_EQ(ColorAt(shading, 0, 0), (SColor{255, 0, 0}));
    ASSERT_TRUE(Load(shading, TextOf({.minVal = "255", .maxVal = "0"}, {"0Uz"})));
    EXPECT_EQ(ColorAt(shading, 0, 0), (SColor{255, 128, 0}));
}

TEST(LxCShadingCorrection, KeysThatAreNoNumbersCountAsMissing)
{
    const Logging::CCapture quiet;
    LxCShadingCorrection shading;
    shading.SetApplyShadingCorrection(true);
    EXPECT_TRUE(Load(shading,
                     TextOf({.use = "yes", .width = "wide", .height = "99999999999", .blockSize = "x"}, {})));
    EXPECT_FALSE(shading.GetApplyShadingCorrection());
    EXPECT_EQ(shading.GetShadingCorrectionImage()->GetSizeInPixels(), 0);
}

TEST(LxCShadingCorrection, HostileTextsNeverThrow)
{
    constexpr int c_trials = 3000;
    const Logging::CCapture quiet;
    std::mt19937 random(11);
    const std::vector<std::string> numbers{"-2147483648", "-1",         "0",         "1",  "2",
                                           "3",           "17",         "1000",      "65", "2147483647",
                                           "2000000000",  "4294967296", "123456789", "",   "0x10"};
    const auto number = [&] { return numbers[random() % numbers.size()]; };
    LxCShadingCorrection shading;
    for (int trial = 0; trial < c_trials; ++trial) {
        std::vector<std::string> rows(random() % 5);
        for (std::string& row : rows) {
            row.resize(random() % 60);
            std::generate(row.begin(), row.end(), [&] { return static_cast<char>(33 + random() % 222); });
        }
        const SKeys keys{number(), number(), number(), number(), number(), number()};
        const std::string text = TextOf(keys, rows);
        const bool loaded = Load(shading, text);
        const CCTImage* const image = shading.GetShadingCorrectionImage();
        ASSERT_TRUE(!loaded || image != nullptr) << text;
        ASSERT_TRUE(image == nullptr || image->GetSizeInBytes() <= 16 << 20) << text;
        ASSERT_TRUE(shading.GetRangeScaleFactor() >= 0.0F && shading.GetRangeScaleFactor() <= 255.0F) << text;
    }
}

TEST(LxCShadingCorrection, BlocksAveragePixelsWithinTheImage)
{
    CCTImage image = ImageOf(3, 3,
                             {{0, 10, 20},
                              {1, 10, 30},
                              {200, 0, 255},
                              {2, 10, 40},
                              {3, 11, 50},
                              {201, 0, 255},
                              {100, 7, 1},
                              {101, 8, 2},
                              {77, 66, 55}});
    COpenShading shading;
    shading.SetShadingCorrectionImage(&image);
    SColor mean{};
    shading.GetBlock(1, 1, 1, mean.red, mean.green, mean.blue);
    EXPECT_EQ(mean, (SColor{3, 11, 50}));
    // (6 + 0.5) / 4, (41 + 0.5) / 4, (140 + 0.5) / 4: means are truncated, not rounded.
    shading.GetBlock(2, 0, 0, mean.red, mean.green, mean.blue);
    EXPECT_EQ(mean, (SColor{1, 10, 35}));
    // Two of the four pixels: (401 + 0.5) / 2, 0.5 / 2, (510 + 0.5) / 2.
    shading.GetBlock(2, 1, 0, mean.red, mean.green, mean.blue);
    EXPECT_EQ(mean, (SColor{200, 0, 255}));
    shading.GetBlock(2, 1, 1, mean.red, mean.green, mean.blue);
    EXPECT_EQ(mean, (SColor{77, 66, 55}));
    // All nine: (685 + 0.5) / 9 = 76.2, (122 + 0.5) / 9 = 13.6, (708 + 0.5) / 9 = 78.7.
    shading.GetBlock(std::numeric_limits<int>::max(), 0, 0, mean.red, mean.green, mean.blue);
    EXPECT_EQ(mean, (SColor{76, 13, 78}));
}

TEST(LxCShadingCorrection, BlocksAreFilledUpToTheEdge)
{
    COpenShading shading;
    shading.Init(3, 2);
    shading.SetBlock(2, 1, 0, 300, -1, 7);
    EXPECT_EQ(ColorAt(shading, 1, 0), (SColor{128, 128, 128}));
    EXPECT_EQ(ColorAt(shading, 2, 0), (SColor{255, 0, 7}));
    EXPECT_EQ(ColorAt(shading, 2, 1), (SColor{255, 0, 7}));
    EXPECT_EQ(ColorAt(shading, 1, 1), (SColor{128, 128, 128}));
}

std::string MessageOf(const auto& call)
{
    try {
        call();
    } catch (const std::out_of_range& error) {
        return error.what();
    }
    return "nothing thrown";
}

TEST(LxCShadingCorrection, BlocksOutsideTheImageThrow)
{
    constexpr int c_greatest = std::numeric_limits<int>::max();
    COpenShading shading;
    SColor mean{};
    const auto get = [&](int blockSize, int bx, int by) {
        return MessageOf([&] { shading.GetBlock(blockSize, bx, by, mean.red, mean.green, mean.blue); });
    };
    const auto set = [&](int blockSize, int bx, int by) {
        return MessageOf([&] { shading.SetBlock(blockSize, bx, by, 1, 2, 3); });
    };
    EXPECT_EQ(get(1, 0, 0), "pixel index (0, 0) outside (0, 0)");
    shading.Init(5, 4);
    EXPECT_EQ(set(1, 5, 0), "pixel index (5, 0) outside (5, 4)");
    EXPECT_EQ(set(2, 1, 2), "pixel index (2, 4) outside (5, 4)");
    EXPECT_EQ(get(3, -1, 0), "pixel index (-3, 0) outside (5, 4)");
    EXPECT_EQ(get(1, 0, -1), "pixel index (0, -1) outside (5, 4)");
    EXPECT_EQ(set(c_greatest, c_greatest, -c_greatest),
              "pixel index (2147483647, -2147483648) outside (5, 4)");
    EXPECT_EQ(set(0, 1, 1), "pixel index (0, 0) outside (5, 4)");
    EXPECT_EQ(get(-1, 0, 0), "pixel index (0, 0) outside (5, 4)");
    EXPECT_EQ(TestSupport::BytesOf(*shading.GetShadingCorrectionImage()), std::vector<std::uint8_t>(60, 128));
    EXPECT_EQ(set(2, 2, 1), "nothing thrown");
}

TEST(LxCShadingCorrection, ReadingThrowsOnlyInsideTheClass)
{
    COpenShading shading;
    TestSupport::CTextSerializer serializer;
    std::stringstream source(TextOf({}, {"0"}));
    serializer.ReadFromStringStream(source);
    ASSERT_TRUE(serializer.Init(false, false));
    EXPECT_EQ(MessageOf([&] { shading.DeserializeConfig(serializer, std::string(c_sSection)); }),
              "invalid string position");
}

TEST(LxCShadingCorrection, RangeScaleFactorIsTheLargestValueOfAnyChannel)
{
    COpenShading shading;
    shading.ComputeRangeScaleFactor();
    EXPECT_EQ(shading.GetRangeScaleFactor(), 0.0F);
    for (const SColor& color : {SColor{9, 1, 2}, {1, 9, 2}, {1, 2, 9}}) {
        CCTImage image = ImageOf(2, 2, {{3, 4, 5}, {6, 7, 8}, {0, 0, 0}, color});
        shading.SetShadingCorrectionImage(&image);
        EXPECT_EQ(shading.GetRangeScaleFactor(), 9.0F);
    }
    shading.Init(0, 7);
    shading.ComputeRangeScaleFactor();
    EXPECT_EQ(shading.GetRangeScaleFactor(), 0.0F);
}

} // namespace
} // namespace LxCV
