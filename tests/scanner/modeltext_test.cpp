#include "scanner/calibration/modeltext.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

namespace calibration {
namespace {

TEST(ModelText, IsTakenApartWithTheNumbersOfItsLines)
{
    const auto sections = SplitModelText("# comment\r\n\n ::A \r\nx=1=2\n\tnonsense\t\n::B\n\n# y=3\ny= 4");
    ASSERT_EQ(sections.size(), 2U);
    EXPECT_EQ(sections[0].name, "::A");
    EXPECT_EQ(sections[0].number, 3U);
    ASSERT_EQ(sections[0].lines.size(), 2U);
    EXPECT_EQ(sections[0].lines[0].key, "x");
    EXPECT_EQ(sections[0].lines[0].value, "1=2");
    EXPECT_EQ(sections[0].lines[0].number, 4U);
    EXPECT_TRUE(sections[0].lines[0].isPair);
    EXPECT_EQ(sections[0].lines[1].key, "nonsense");
    EXPECT_FALSE(sections[0].lines[1].isPair);
    EXPECT_EQ(sections[1].lines[0].value, " 4");
    EXPECT_EQ(sections[1].lines[0].number, 9U);
}

TEST(ModelText, BeforeTheFirstHeaderIsASectionWithoutAName)
{
    const auto sections = SplitModelText("x=1\n::A\n");
    ASSERT_EQ(sections.size(), 2U);
    EXPECT_EQ(sections[0].name, "");
    EXPECT_EQ(sections[0].number, 1U);
    EXPECT_TRUE(SplitModelText("").empty());
    EXPECT_TRUE(SplitModelText("# nothing\n\n").empty());
}

TEST(ModelText, GivesTheFirstOfSectionsAndKeys)
{
    const auto sections = SplitModelText("::A\nx\nx=1\nx=2\n::A\nx=3\n");
    const ModelSection* const section = FindSection(sections, "::A");
    ASSERT_NE(section, nullptr);
    ASSERT_NE(section->Find("x"), nullptr);
    EXPECT_EQ(section->Find("x")->value, "1");
    EXPECT_EQ(section->Find("y"), nullptr);
    EXPECT_EQ(FindSection(sections, "::B"), nullptr);
}

std::optional<std::string> RootOf(const std::string& text)
{
    return FindModelRoot(SplitModelText(text));
}

TEST(ModelRoot, StandsBeforeMostOfTheSections)
{
    EXPECT_EQ(RootOf("::Unit::Cams[0]\n"), "::Unit");
    EXPECT_EQ(RootOf("::MV3DCamBase\n::Cams[0]\n"), "");
    // The root of the device's own file ends like a section.
    EXPECT_EQ(RootOf("::MV3DCamBase::MV3DCamBase\n::MV3DCamBase::Cams[0]\n"), "::MV3DCamBase");
    EXPECT_EQ(RootOf("::B::Cams[0]\n::A::Cams[0]\n::B::PolynomKoma\n"), "::B");
    EXPECT_EQ(RootOf("::B::Cams[0]\n::A::Cams[0]\n"), "::A");
}

TEST(ModelRoot, IsNothingWithoutASectionOfAModel)
{
    EXPECT_EQ(RootOf(""), std::nullopt);
    EXPECT_EQ(RootOf("::Thres\nNrOfCols=8\n"), std::nullopt);
    EXPECT_EQ(RootOf("::Cams[0]::CoordSysTrans\n"), std::nullopt);
}

} // namespace
} // namespace calibration
