#include "lxcpropertybag.h"

#include "orx/settingsvalue/settingsstore.h"
#include "tests/lxcvlib/sectiontext.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <sstream>
#include <string>

namespace LxCV {
namespace {

/// In the section ":S" of a text, or with comments at the beginning of a new one.
class TextSerializer : public TestSupport::CTextSerializer
{
public:
    explicit TextSerializer(const std::string& text)
    {
        std::stringstream source(text);
        ReadFromStringStream(source);
        Init(false, false);
        FindExtractSection(":S");
    }
    TextSerializer() { Init(true, true); }
};

class LxCSettingsValuePropertyTest : public testing::Test
{
protected:
    LxCSettingsValuePropertyTest()
    {
        unsetenv("LXCV_SETTINGS");
        LxCSettingsStore::Instance().SetHostText(
            "Test = { Number = 5, Text = 'host', Flag = true, Real = 0.25 }");
    }
    ~LxCSettingsValuePropertyTest() override { LxCSettingsStore::Instance().Reset(); }

    LxCSettingsValue<int> m_iNumber{"Test", "Number"};
};

TEST_F(LxCSettingsValuePropertyTest, WriteFetchesTheValue)
{
    TextSerializer serializer;
    EXPECT_TRUE(LxCSettingsValueProperty<int>(&m_iNumber, 0, "Key", "comment").write(serializer));
    EXPECT_EQ(serializer.GetText(), "# comment\nKey=5\n");
    EXPECT_TRUE(m_iNumber.IsLoaded());
    EXPECT_FALSE(m_iNumber.IsChanged());
}

TEST_F(LxCSettingsValuePropertyTest, WriteUsesTheFormat)
{
    LxCSettingsStore::Instance().SetHostText("Test = { Number = 255 }");
    TextSerializer serializer;
    LxCSettingsValueProperty<int>(&m_iNumber, 0, "Key", "", c_iFormatHexadecimal).write(serializer);
    EXPECT_EQ(serializer.GetText(), "Key=0xff\n");
}

TEST_F(LxCSettingsValuePropertyTest, WriteServesEveryType)
{
    LxCSettingsValue<bool> flag("Test", "Flag");
    LxCSettingsValue<float> real("Test", "Real");
    LxCSettingsValue<std::wstring> text("Test", "Text");
    TextSerializer serializer;
    LxCSettingsValueProperty<bool>(&flag, false, "Flag").write(serializer);
    LxCSettingsValueProperty<float>(&real, 0.0F, "Real").write(serializer);
    LxCSettingsValueProperty<std::wstring>(&text, L"", "Text").write(serializer);
    EXPECT_EQ(serializer.GetText(), "Flag=1\nReal=0.25000000000000000000\nText=host\n");
}

TEST_F(LxCSettingsValuePropertyTest, ReadOfADifferentValueMarksTheChange)
{
    TextSerializer serializer(":S\nKey=6\n");
    EXPECT_TRUE(LxCSettingsValueProperty<int>(&m_iNumber, 0, "Key").read(serializer));
    EXPECT_EQ(m_iNumber.Get(), 6);
    EXPECT_TRUE(m_iNumber.IsChanged());
}

TEST_F(LxCSettingsValuePropertyTest, ReadOfTheSameValueIsNoChange)
{
    TextSerializer serializer(":S\nKey=5\n");
    EXPECT_TRUE(LxCSettingsValueProperty<int>(&m_iNumber, 0, "Key").read(serializer));
    EXPECT_EQ(m_iNumber.Get(), 5);
    EXPECT_FALSE(m_iNumber.IsChanged());
}

TEST_F(LxCSettingsValuePropertyTest, MissingKeyTakesTheDefaultAndIsReported)
{
    TextSerializer serializer(":S\nOther=6\n");
    EXPECT_FALSE(LxCSettingsValueProperty<int>(&m_iNumber, 9, "Key").read(serializer));
    EXPECT_EQ(m_iNumber.Get(), 9);
    EXPECT_TRUE(m_iNumber.IsChanged());
}

TEST_F(LxCSettingsValuePropertyTest, TextThatIsNoNumberTakesTheDefault)
{
    TextSerializer serializer(":S\nKey=many\n");
    EXPECT_TRUE(LxCSettingsValueProperty<int>(&m_iNumber, 5, "Key").read(serializer));
    EXPECT_EQ(m_iNumber.Get(), 5);
    EXPECT_FALSE(m_iNumber.IsChanged());
}

} // namespace
} // namespace LxCV
