#include "lxccctserializer.h"

#include "orx/logging/logger.h"
#include "tests/lxcvlib/sectiontext.h"
#include "tests/support/environment.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <utility>

namespace LxCV {
namespace {

using Logging::ELevel;
using testing::ElementsAre;
using testing::IsEmpty;
using TestSupport::CTextSerializer;

const std::wstring c_sChannel = L"ORX.Lumorad.LxCCCTSerializer";

CTextSerializer Loaded(const std::string& text)
{
    CTextSerializer serializer;
    std::stringstream source(text);
    serializer.ReadFromStringStream(source);
    EXPECT_TRUE(serializer.Init(false, false));
    return serializer;
}

CTextSerializer Storing(bool withComments)
{
    CTextSerializer serializer;
    EXPECT_TRUE(serializer.Init(true, withComments));
    return serializer;
}

/// Reads one key of the section "::A" that holds the given lines.
template <typename T>
std::pair<bool, T> ReadKey(const std::string& lines, const T& defaultValue)
{
    CTextSerializer serializer = Loaded("::A\n" + lines);
    EXPECT_TRUE(serializer.FindExtractSection("::A"));
    T value{};
    const bool found = serializer.Read<T>(serializer.GetSectionData(), "k", value, defaultValue);
    return {found, value};
}

template <typename T>
std::string Written(const T& value, int format = c_iFormatDecimal)
{
    CTextSerializer serializer = Storing(false);
    EXPECT_TRUE(serializer.Write<T>("k", value, "", format));
    return serializer.GetText();
}

template <typename T>
T ThereAndBack(const T& value, int format = c_iFormatDecimal)
{
    return ReadKey<T>(Written<T>(value, format), T{}).second;
}

TEST(LxCCCTSerializer, WritesASectionWithCommentsLineByLine)
{
    CTextSerializer serializer = Storing(true);
    serializer.WriteSection("::CoordSysTrans");
    EXPECT_TRUE(serializer.Write<double>("TheKey", 1.5, "what it is", c_iFormatDecimal));
    EXPECT_TRUE(serializer.Write<int>("Other", 7, "", c_iFormatDecimal));
    EXPECT_EQ(serializer.GetText(), "\n\n#----------------------------------\n::CoordSysTrans\n\n"
                                    "# what it is\nTheKey=1.50000000000000000000\nOther=7\n");
}

TEST(LxCCCTSerializer, WritesOnlyHeadersAndKeysWithoutComments)
{
    CTextSerializer serializer = Storing(false);
    serializer.WriteBlockComment("a group\nof keys");
    serializer.WriteSection("::A");
    serializer.Write<int>("k", 1, "comment", c_iFormatDecimal);
    EXPECT_EQ(serializer.GetText(), "::A\nk=1\n");
}

TEST(LxCCCTSerializer, WritesABlockCommentBetweenSeparators)
{
    CTextSerializer serializer = Storing(true);
    serializer.WriteBlockComment("a group\n\nof keys\n");
    EXPECT_EQ(serializer.GetText(), "#----------------------------------\n# a group\n# \n# of keys\n"
                                    "#----------------------------------\n");
}

TEST(LxCCCTSerializer, WritesFloatingPointValuesWithTwentyDigits)
{
    // The binary values nearest to 0.1 and 1/3, and a power of ten that needs no fraction.
    EXPECT_EQ(Written(0.1f), "k=0.10000000149011611938\n");
    EXPECT_EQ(Written(1.0 / 3.0), "k=0.33333333333333331483\n");
    EXPECT_EQ(Written(-1e22), "k=-10000000000000000000000.00000000000000000000\n");
    EXPECT_EQ(Written(0.0), "k=0.00000000000000000000\n");
}

TEST(LxCCCTSerializer, WritesIntegersInTheFormatThatIsAskedFor)
{
    EXPECT_EQ(Written<int>(-16), "k=-16\n");
    EXPECT_EQ(Written<int>(16, c_iFormatHexadecimal), "k=0x10\n");
    EXPECT_EQ(Written<unsigned int>(0xFFFFFFFFU, c_iFormatHexadecimal), "k=0xffffffff\n");
    EXPECT_EQ(Written<unsigned int>(0xFFFFFFFFU), "k=4294967295\n");
    EXPECT_EQ(Written<bool>(true), "k=1\n");
    EXPECT_EQ(Written<bool>(false), "k=0\n");
}

TEST(LxCCCTSerializer, RestoresTheFormatAfterEachValue)
{
    CTextSerializer serializer = Storing(false);
    serializer.Write<int>("h", 255, "", c_iFormatHexadecimal);
    serializer.Write<int>("d", 255, "", c_iFormatDecimal);
    serializer.Write<double>("f", 0.5, "", c_iFormatHexadecimal);
    EXPECT_EQ(serializer.GetText(), "h=0xff\nd=255\nf=0.50000000000000000000\n");
}

TEST(LxCCCTSerializer, WritesTextsAsTheyAre)
{
    EXPECT_EQ(Written<std::string>(" a=b # \t"), "k= a=b # \t\n");
    EXPECT_EQ(Written<std::wstring>(L"\u00E4"), "k=\xC3\xA4\n");
}

TEST(LxCCCTSerializer, ReadsHexadecimalBehindItsPrefixAndElseDecimal)
{
    EXPECT_EQ(ReadKey<int>("k=0x10\n", 0), std::pair(true, 16));
    EXPECT_EQ(ReadKey<int>("k=010\n", 0), std::pair(true, 10));
    EXPECT_EQ(ReadKey<unsigned int>("k=0xffffffff\n", 0U), std::pair(true, 0xFFFFFFFFU));
    EXPECT_EQ(ReadKey<int>("k=-0x10\n", 5), std::pair(true, 0)); // the prefix is not at the beginning
    EXPECT_EQ(ReadKey<bool>("k=0x1\n", false), std::pair(true, true));
}

TEST(LxCCCTSerializer, TakesTheValueBehindTheFirstEqualsSign)
{
    EXPECT_EQ(ReadKey<std::string>("k=a=b\n", ""), std::pair(true, std::string("a=b")));
    EXPECT_EQ(ReadKey<std::string>("k= a \n", ""), std::pair(true, std::string(" a")));
    EXPECT_EQ(ReadKey<std::string>("k =a\n", "d"), std::pair(false, std::string("d")));
    EXPECT_EQ(ReadKey<std::string>("k=\n", "d"), std::pair(true, std::string()));
    EXPECT_EQ(ReadKey<std::string>("=k\nk=v\n", "d"), std::pair(true, std::string("v")));
}

TEST(LxCCCTSerializer, LogsAValueThatDoesNotConvertAndTakesTheDefault)
{
    const Logging::CCapture capture;
    for (const std::string text : {"abc", "", "99999999999", "-99999999999", "0x", "0x1ffffffff", "--1"}) {
        EXPECT_EQ(ReadKey<int>("k=" + text + "\n", 5), std::pair(true, 5)) << text;
        const std::wstring line = L"Error: CCCTSerializer::Read Conversion failed for " +
                                  std::wstring(text.begin(), text.end()) + L"\n";
        EXPECT_EQ(capture.Count(ELevel::eInfo, c_sChannel, line), 1) << text;
    }
    EXPECT_EQ(capture.GetRecords().size(), 7U);
    EXPECT_EQ(ReadKey<double>("k=nan\n", 5.0), std::pair(true, 5.0));
    EXPECT_EQ(ReadKey<double>("k=1e999\n", 5.0), std::pair(true, 5.0));
    EXPECT_EQ(ReadKey<float>("k=1e39\n", 5.0f), std::pair(true, 5.0f));
    EXPECT_EQ(ReadKey<bool>("k=2\n", false), std::pair(true, false));
    EXPECT_EQ(ReadKey<bool>("k=true\n", false), std::pair(true, false));
}

TEST(LxCCCTSerializer, GivesTheDefaultSilentlyForAMissingKey)
{
    const Logging::CCapture capture;
    EXPECT_EQ(ReadKey<int>("K=1\nkk=2\n", 5), std::pair(false, 5));
    EXPECT_EQ(ReadKey<std::wstring>("", L"d"), std::pair(false, std::wstring(L"d")));
    EXPECT_THAT(capture.GetRecords(), IsEmpty());
}

TEST(LxCCCTSerializer, ReadsOnlyKeysAtTheirPlaces)
{
    CTextSerializer serializer;
    int value = 0;
    EXPECT_FALSE(serializer.Read<int>({}, "k", value, 1));
    EXPECT_EQ(value, 1);
    EXPECT_FALSE(serializer.Read<int>({"k"}, "k", value, 2));
    EXPECT_FALSE(serializer.Read<int>({"::A", "x", "k"}, "k", value, 3)); // "k" is a value
    EXPECT_FALSE(serializer.Read<int>({"::A", "k"}, "k", value, 4));      // without its value
    EXPECT_EQ(value, 4);
    EXPECT_TRUE(serializer.Read<int>({"::A", "k", "6", "k", "7"}, "k", value, 5));
    EXPECT_EQ(value, 6); // the first counts
}

TEST(LxCCCTSerializer, StripsLinesAndDropsCommentsAndEmptyOnes)
{
    CTextSerializer serializer = Loaded(
        "\r\n# comment\r\n \t::A \r\n\t\t# k=1\r\n\t k=2 \t\r\n\r\n  # between\r\nno pair\r\n  j=#3\r\n");
    EXPECT_TRUE(serializer.FindExtractSection("::A"));
    EXPECT_THAT(serializer.GetSectionData(), ElementsAre("::A", "k", "2", "j", "#3"));
}

TEST(LxCCCTSerializer, EndsASectionAtTheNextColon)
{
    CTextSerializer serializer = Loaded("x=0\n::A\nk=1\n::A::B\nk=2\n:odd\nk=3\n::A\nk=4\n");
    EXPECT_TRUE(serializer.FindExtractSection("::A"));
    EXPECT_THAT(serializer.GetSectionData(), ElementsAre("::A", "k", "1"));
    EXPECT_TRUE(serializer.FindExtractSection("::A::B"));
    EXPECT_THAT(serializer.GetSectionData(), ElementsAre("::A::B", "k", "2"));
    EXPECT_TRUE(serializer.FindExtractSection(":odd"));
    EXPECT_THAT(serializer.GetSectionData(), ElementsAre(":odd", "k", "3"));
}

TEST(LxCCCTSerializer, MatchesAnyWholeLineAsASection)
{
    CTextSerializer serializer = Loaded("x=0\ny=1\n::A=b\nk=2\n");
    EXPECT_TRUE(serializer.FindExtractSection("y=1"));
    EXPECT_THAT(serializer.GetSectionData(), ElementsAre("y=1", "y", "1"));
    EXPECT_TRUE(serializer.FindExtractSection("::A=b"));
    EXPECT_THAT(serializer.GetSectionData(), ElementsAre("::A=b", "::A", "b", "k", "2"));
    EXPECT_FALSE(serializer.FindExtractSection(""));
    EXPECT_FALSE(serializer.FindExtractSection("::A"));
}

TEST(LxCCCTSerializer, LogsAMissingSectionAndEmptiesTheSectionData)
{
    CTextSerializer serializer = Loaded("::A\nk=1\n");
    serializer.FindExtractSection("::A");
    const Logging::CCapture capture;
    EXPECT_FALSE(serializer.FindExtractSection("::B"));
    EXPECT_EQ(capture.Count(ELevel::eInfo, c_sChannel,
                            L"CCCTSerializer::FindExtractSection: Section ::B not found.\n"),
              1);
    EXPECT_THAT(serializer.GetSectionData(), IsEmpty());
    int value = 0;
    EXPECT_FALSE(serializer.Read<int>(serializer.GetSectionData(), "k", value, 9));
    EXPECT_EQ(value, 9);
}

TEST(LxCCCTSerializer, ExtractsIntoTheCallersVector)
{
    CTextSerializer serializer = Loaded("::A\nk=1\n::B\nj=2\n");
    LxCCCTSerializer::SectionData data{"::B", "old"};
    EXPECT_TRUE(serializer.FindExtractSection(data[0], data)); // the name lies in the output
    EXPECT_THAT(data, ElementsAre("::B", "j", "2"));
    EXPECT_THAT(serializer.GetSectionData(), IsEmpty());
}

TEST(LxCCCTSerializer, FailsToLoadATextWithoutLines)
{
    for (const std::string text : {"", "\n \t\r\n", "# only\n  # comments\n"}) {
        CTextSerializer serializer;
        std::stringstream source(text);
        serializer.ReadFromStringStream(source);
        EXPECT_FALSE(serializer.Init(false, true)) << text;
    }
}

TEST(LxCCCTSerializer, KeepsBothFlagsWhereLoadingFails)
{
    CTextSerializer serializer = Storing(false);
    EXPECT_FALSE(serializer.Init(false, true));
    EXPECT_TRUE(serializer.IsStoring());
    serializer.Init(true, false);
    serializer.WriteSection("::A");
    EXPECT_EQ(serializer.GetText(), "::A\n"); // still without comments
}

TEST(LxCCCTSerializer, KeepsTheTextThatIsThereWhenStoring)
{
    CTextSerializer serializer;
    std::stringstream source("# head\n");
    serializer.ReadFromStringStream(source);
    EXPECT_TRUE(serializer.Init(true, false));
    serializer.WriteSection("::A");
    EXPECT_TRUE(serializer.Init(true, false));
    serializer.WriteSection("::B");
    EXPECT_EQ(serializer.GetText(), "# head\n::A\n::B\n");
    EXPECT_TRUE(serializer.Exit());
}

TEST(LxCCCTSerializer, AppendsTheWholeSourceAlsoAfterLoading)
{
    CTextSerializer serializer = Loaded("::A\nk=1\n");
    std::stringstream source("::B\nk=2\n");
    std::string word;
    source >> word; // the source has been read in part
    serializer.ReadFromStringStream(source);
    EXPECT_EQ(serializer.GetText(), "::A\nk=1\n::B\nk=2\n");
    EXPECT_EQ(serializer.GetTextSize(), 16U);
    EXPECT_TRUE(serializer.Init(false, false));
    EXPECT_TRUE(serializer.FindExtractSection("::B"));
}

TEST(LxCCCTSerializer, KeepsNulBytesInsideALine)
{
    CTextSerializer serializer = Loaded(std::string("::A\nk=a\0b\n\0", 11));
    EXPECT_TRUE(serializer.FindExtractSection("::A"));
    EXPECT_THAT(serializer.GetSectionData(), ElementsAre("::A", "k", std::string("a\0b", 3)));
}

TEST(LxCCCTSerializer, ComparesTextsButForNulBytesAtTheirEnds)
{
    CTextSerializer one = Loaded(std::string("::A\nk=1\n\0\0", 10));
    CTextSerializer same = Loaded("::A\nk=1\n");
    CTextSerializer other = Loaded("::A\nk=1 \n");
    CTextSerializer inner = Loaded(std::string("::A\n\0k=1\n", 9));
    EXPECT_TRUE(one.HasSameData(same));
    EXPECT_TRUE(same.HasSameData(one));
    EXPECT_FALSE(one.HasSameData(other));
    EXPECT_FALSE(one.HasSameData(inner));
    CTextSerializer empty;
    CTextSerializer alsoEmpty;
    EXPECT_TRUE(empty.HasSameData(alsoEmpty));
}

TEST(LxCCCTSerializer, MovesWithTextSectionsAndFlags)
{
    CTextSerializer loaded = Loaded("::A\nk=1\n");
    loaded.FindExtractSection("::A");
    CTextSerializer moved(std::move(loaded));
    EXPECT_THAT(moved.GetSectionData(), ElementsAre("::A", "k", "1"));
    EXPECT_TRUE(moved.FindExtractSection("::A"));
    EXPECT_EQ(moved.GetText(), "::A\nk=1\n");
    CTextSerializer storing = Storing(true);
    storing.WriteSection("::B");
    moved = std::move(storing);
    EXPECT_TRUE(moved.IsStoring());
    moved.Write<float>("k", 0.5f, "c", c_iFormatDecimal);
    EXPECT_THAT(moved.GetText(), testing::EndsWith("::B\n\n# c\nk=0.50000000000000000000\n"));
}

TEST(LxCCCTSerializer, PassesTextsThroughToTheLog)
{
    const Logging::CCapture capture;
    CTextSerializer serializer;
    std::string text = "100 %s \xC3\xA4\n";
    serializer.logInfo(text);
    EXPECT_EQ(capture.Count(ELevel::eInfo, c_sChannel, L"100 %s \u00E4\n"), 1);
}

TEST(LxCCCTSerializer, IntegersSurviveTheWayThereAndBack)
{
    std::mt19937 random(5);
    for (int trial = 0; trial < 2000; ++trial) {
        const auto value = static_cast<unsigned int>(random()) >> (random() % 32);
        ASSERT_EQ(ThereAndBack(value), value);
        ASSERT_EQ(ThereAndBack(value, c_iFormatHexadecimal), value);
        ASSERT_EQ(ThereAndBack(static_cast<int>(value)), static_cast<int>(value));
    }
    EXPECT_EQ(ThereAndBack(std::numeric_limits<int>::min()), std::numeric_limits<int>::min());
    EXPECT_EQ(ThereAndBack(std::numeric_limits<int>::max()), std::numeric_limits<int>::max());
}

// Twenty digits behind the point resolve half a unit in the last place of a double from 1e-4 upwards, and of a
// float from 1e-12 upwards.
TEST(LxCCCTSerializer, FloatingPointValuesSurviveTheWayThereAndBack)
{
    std::mt19937 random(6);
    std::uniform_real_distribution<double> exponent(-4.0, 38.0);
    std::uniform_real_distribution<double> mantissa(1.0, 10.0);
    for (int trial = 0; trial < 2000; ++trial) {
        const double value =
            std::copysign(mantissa(random) * std::pow(10.0, exponent(random)), trial % 2 - 0.5);
        ASSERT_EQ(ThereAndBack(value), value);
        const auto single = static_cast<float>(value * 1e-8);
        ASSERT_EQ(ThereAndBack(single), single);
    }
    EXPECT_EQ(ThereAndBack(std::numeric_limits<double>::max()), std::numeric_limits<double>::max());
    EXPECT_EQ(ThereAndBack(std::numeric_limits<float>::max()), std::numeric_limits<float>::max());
    EXPECT_EQ(ThereAndBack(1e-25), 0.0); // below the last digit
}

TEST(LxCCCTSerializer, TextsSurviveTheWayThereAndBack)
{
    EXPECT_EQ(ThereAndBack<std::string>("a = \xFF b"), "a = \xFF b");
    EXPECT_EQ(ThereAndBack<std::wstring>(L"\u00E4 \u20AC"), L"\u00E4 \u20AC");
    EXPECT_TRUE(ThereAndBack(true));
}

TEST(LxCCCTSerializer, DoesNotDependOnTheGlobalLocale)
{
    const ::TestSupport::CCommaDecimalLocale locale;
    EXPECT_EQ(Written(1234567.5), "k=1234567.50000000000000000000\n");
    EXPECT_EQ(Written<int>(1234567), "k=1234567\n");
    EXPECT_EQ(ReadKey<double>("k=1234567.25\n", 0.0), std::pair(true, 1234567.25));
    EXPECT_EQ(ReadKey<double>("k=0,5\n", 1.0), std::pair(true, 0.0)); // the comma ends the number
}

TEST(LxCCCTSerializer, SurvivesRandomTexts)
{
    const Logging::CCapture capture;
    std::mt19937 random(7);
    const std::string alphabet = std::string(":=#k1x0.-e,\n\n\r\t ") + '\0' + '\xFF';
    for (int trial = 0; trial < 5000; ++trial) {
        std::string text = "::A\n";
        for (std::size_t i = random() % 60; i > 0; --i) {
            text += alphabet[random() % alphabet.size()];
        }
        CTextSerializer serializer = Loaded(text);
        ASSERT_TRUE(serializer.FindExtractSection("::A")) << testing::PrintToString(text);
        const auto& data = serializer.GetSectionData();
        ASSERT_EQ(data.size() % 2, 1U);
        for (std::size_t i = 1; i < data.size(); i += 2) {
            int number = 0;
            ASSERT_TRUE(serializer.Read<int>(data, data[i], number, 1));
            std::string value;
            ASSERT_TRUE(serializer.Read<std::string>(data, data[i], value, ""));
        }
    }
}

} // namespace
} // namespace LxCV
