#include "lxcpropertybag.h"

#include "orx/logging/logger.h"
#include "tests/lxcvlib/sectiontext.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <random>
#include <sstream>

namespace LxCV {
namespace {

using testing::ElementsAre;
using TestSupport::CTextSerializer;

CTextSerializer Loaded(const std::string& text)
{
    CTextSerializer serializer;
    std::stringstream source(text);
    serializer.ReadFromStringStream(source);
    EXPECT_TRUE(serializer.Init(false, false));
    return serializer;
}

/// One variable of each type that a bag knows.
struct Values
{
    bool flag = true;
    int number = -5;
    unsigned int bits = 0x1F;
    float single = 0.5f;
    double real = 0.25;
    std::string narrow = "n";
    std::wstring wide = L"w\u00E4";
    std::vector<int> list{1, -2, 3};

    bool Serialize(LxCCCTSerializer& serializer, bool writeSection = true)
    {
        LxCPropertyBag bag;
        bag.add(new LxCBlockComment("all kinds"));
        bag.add(new LxCScalarProperty<bool>(&flag, flag, "Flag", "a flag"));
        bag.add(new LxCScalarProperty<int>(&number, number, "Number"));
        bag.add(new LxCScalarProperty<unsigned int>(&bits, bits, "Bits", "", c_iFormatHexadecimal));
        bag.add(new LxCScalarProperty<float>(&single, single, "Single"));
        bag.addScalar(real, "Real", "by its present value");
        bag.add(new LxCScalarProperty<std::string>(&narrow, narrow, "Narrow"));
        bag.add(new LxCScalarProperty<std::wstring>(&wide, wide, "Wide"));
        bag.add(new LxCVectorProperty(&list, "List", "a list"));
        return bag.serialize(serializer, "::Values", writeSection);
    }

    bool operator==(const Values&) const = default;
};

/// The vector that a text reads as.
std::vector<int> ReadVector(const std::string& text)
{
    CTextSerializer serializer = Loaded("::A\nk=" + text + "\n");
    std::vector<int> values{9, 9};
    LxCPropertyBag bag;
    bag.add(new LxCVectorProperty(&values, "k"));
    EXPECT_TRUE(bag.serialize(serializer, "::A", true));
    return values;
}

std::string WriteVector(std::vector<int> values)
{
    CTextSerializer serializer;
    serializer.Init(true, false);
    EXPECT_TRUE(LxCVectorProperty(&values, "k").write(serializer));
    return serializer.GetText();
}

TEST(LxCPropertyBag, WritesPropertiesInOrderWithTheirComments)
{
    CTextSerializer serializer;
    serializer.Init(true, true);
    EXPECT_TRUE(Values().Serialize(serializer));
    EXPECT_EQ(serializer.GetText(), "\n\n#----------------------------------\n::Values\n\n"
                                    "#----------------------------------\n# all kinds\n"
                                    "#----------------------------------\n"
                                    "# a flag\nFlag=1\nNumber=-5\nBits=0x1f\n"
                                    "Single=0.50000000000000000000\n"
                                    "# by its present value\nReal=0.25000000000000000000\n"
                                    "Narrow=n\nWide=w\xC3\xA4\n# a list\nList=1,-2,3\n");
}

TEST(LxCPropertyBag, WritesTheSectionHeaderOnlyWhereAsked)
{
    CTextSerializer serializer;
    serializer.Init(true, false);
    EXPECT_TRUE(Values().Serialize(serializer, false));
    EXPECT_THAT(serializer.GetText(), testing::StartsWith("Flag=1\n"));
}

TEST(LxCPropertyBag, ReadsBackWhatItWrote)
{
    Values stored{false, 77, 0xFFFFFFFF, -1.25f, 1e10, "a=b", L"\u20AC", {4}};
    const Values copy = stored;
    CTextSerializer storing;
    storing.Init(true, true);
    stored.Serialize(storing);
    CTextSerializer loading = Loaded(storing.GetText());
    Values read;
    EXPECT_TRUE(read.Serialize(loading));
    EXPECT_TRUE(read == copy);
}

TEST(LxCPropertyBag, ReadsTheOtherKeysWhereOneIsMissing)
{
    CTextSerializer serializer = Loaded("::Values\nFlag=0\nNarrow=x\n");
    Values values;
    EXPECT_FALSE(values.Serialize(serializer));
    EXPECT_FALSE(values.flag);
    EXPECT_EQ(values.narrow, "x");
    EXPECT_EQ(values.number, -5);
    EXPECT_THAT(values.list, ElementsAre(1, -2, 3)); // a missing vector stays as it is
}

TEST(LxCPropertyBag, ChangesNothingWhereTheSectionIsMissing)
{
    const Logging::CCapture capture;
    CTextSerializer serializer = Loaded("::Other\nFlag=0\n");
    Values values;
    EXPECT_FALSE(values.Serialize(serializer));
    EXPECT_TRUE(values == Values());
    EXPECT_EQ(capture.Count(Logging::ELevel::eInfo, L"ORX.Lumorad.LxCCCTSerializer",
                            L"CCCTSerializer::FindExtractSection: Section ::Values not found.\n"),
              1);
    EXPECT_EQ(capture.GetRecords().size(), 1U);
}

TEST(LxCPropertyBag, TakesTheGivenDefaultForAMissingKey)
{
    CTextSerializer serializer = Loaded("::A\nx=1\n");
    int number = 1;
    bool flag = false;
    LxCPropertyBag bag;
    bag.add(new LxCScalarProperty<int>(&number, 42, "k"));
    bag.add(new LxCScalarProperty<bool>(&flag, flag, "x"));
    EXPECT_FALSE(bag.serialize(serializer, "::A", true));
    EXPECT_EQ(number, 42);
    EXPECT_TRUE(flag);
}

TEST(LxCPropertyBag, CountsAValueThatDoesNotConvertAsFound)
{
    const Logging::CCapture capture;
    CTextSerializer serializer = Loaded("::A\nk=abc\n");
    int number = 3;
    LxCPropertyBag bag;
    bag.addScalar(number, "k");
    EXPECT_TRUE(bag.serialize(serializer, "::A", true));
    EXPECT_EQ(number, 3);
    EXPECT_EQ(capture.Count(Logging::ELevel::eInfo, L"ORX.Lumorad.LxCCCTSerializer",
                            L"Error: CCCTSerializer::Read Conversion failed for abc\n"),
              1);
}

TEST(LxCPropertyBag, HoldsNothingOrNullWithoutHarm)
{
    CTextSerializer serializer = Loaded("::A\nx=1\n");
    LxCPropertyBag bag;
    EXPECT_TRUE(bag.serialize(serializer, "::A", true));
    EXPECT_TRUE(bag.serialize(serializer, "::Missing", true)); // no property misses its key
    bag.add(nullptr);
    EXPECT_TRUE(bag.serialize(serializer, "::A", true));
}

TEST(LxCPropertyBag, DestroysItsPropertiesOnce)
{
    class CCounted : public LxCBlockComment
    {
    public:
        explicit CCounted(int& destroyed) : LxCBlockComment("c"), m_rDestroyed(destroyed) {}
        CCounted(const CCounted&) = delete;
        CCounted& operator=(const CCounted&) = delete;
        ~CCounted() override { ++m_rDestroyed; }

    private:
        int& m_rDestroyed;
    };
    int destroyed = 0;
    {
        LxCPropertyBag bag;
        bag.add(new CCounted(destroyed));
        const LxCPropertyBag copy(bag); // NOLINT: sharing is what is tested
        EXPECT_EQ(destroyed, 0);
    }
    EXPECT_EQ(destroyed, 1);
}

TEST(LxCBlockComment, CopiesAndIsPassedOverWhenReading)
{
    const LxCBlockComment comment("text");
    LxCBlockComment copy(comment);
    CTextSerializer loading = Loaded("::A\n");
    EXPECT_TRUE(copy.read(loading));
    CTextSerializer storing;
    storing.Init(true, true);
    EXPECT_TRUE(copy.write(storing));
    EXPECT_THAT(storing.GetText(), testing::HasSubstr("# text\n"));
}

TEST(LxCVectorProperty, WritesNumbersBetweenCommas)
{
    EXPECT_EQ(WriteVector({1, 2, 3}), "k=1,2,3\n");
    EXPECT_EQ(WriteVector({-7}), "k=-7\n");
    EXPECT_EQ(WriteVector({}), "k=\n");
}

TEST(LxCVectorProperty, ReadsWhatIsNoNumberAsZero)
{
    EXPECT_THAT(ReadVector("1,2,3"), ElementsAre(1, 2, 3));
    EXPECT_THAT(ReadVector("a,3"), ElementsAre(0, 3));
    EXPECT_THAT(ReadVector(""), ElementsAre(0));
    EXPECT_THAT(ReadVector("abc"), ElementsAre(0));
    EXPECT_THAT(ReadVector(","), ElementsAre(0, 0));
    EXPECT_THAT(ReadVector("1,2,"), ElementsAre(1, 2, 0));
    EXPECT_THAT(ReadVector(" 5 , -6x,0x10"), ElementsAre(5, -6, 0)); // base 10 stops at the x
    EXPECT_THAT(ReadVector("99999999999,1"), ElementsAre(0, 1));
}

TEST(LxCVectorProperty, VectorsSurviveTheWayThereAndBack)
{
    std::mt19937 random(8);
    for (int trial = 0; trial < 500; ++trial) {
        std::vector<int> values(1 + random() % 50);
        for (int& value : values) {
            value = static_cast<int>(random()) >> (random() % 32);
        }
        values[0] = trial % 2 == 0 ? std::numeric_limits<int>::min() : std::numeric_limits<int>::max();
        const std::string line = WriteVector(values);
        ASSERT_EQ(ReadVector(line.substr(2, line.size() - 3)), values);
    }
}

TEST(LxCPropertyBag, CountsTheKeysThatAReadingFindsMissing)
{
    LxCCCTSerializer serializer;
    std::stringstream text("::A\nFirst=1\n::B\nFirst=2\n::A\nSecond=3\n::A\n");
    serializer.ReadFromStringStream(text);
    ASSERT_TRUE(serializer.Init(false, false));
    EXPECT_EQ(serializer.GetNrOfRepeatedSections(), 2U);
    int first = 0;
    int second = 0;
    LxCPropertyBag bag;
    bag.addScalar(first, "First");
    bag.addScalar(second, "Second");
    EXPECT_FALSE(bag.serialize(serializer, "::A", true));
    EXPECT_EQ(serializer.GetNrOfMissingKeys(), 1U);
    EXPECT_FALSE(bag.serialize(serializer, "::None", true));
    EXPECT_EQ(serializer.GetNrOfMissingKeys(), 3U);
    ASSERT_TRUE(serializer.Init(true, false));
    EXPECT_TRUE(bag.serialize(serializer, "::A", true));
    EXPECT_EQ(serializer.GetNrOfMissingKeys(), 3U);
}

} // namespace
} // namespace LxCV
