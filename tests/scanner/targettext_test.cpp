#include "scanner/app/targettext.h"

#include "lxccalibrationtargetwriter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <random>
#include <string>
#include <vector>

namespace app {
namespace {

using Writer = LxCV::LxCCalibrationTargetWriter;
using Point = std::array<double, 3>;

/// "LINE: message" of the error, or "" for a good text.
std::string ErrorOf(const std::string& text)
{
    try {
        ReadTargetText(text);
        return "";
    } catch (const TargetTextError& error) {
        return std::to_string(error.GetLine()) + ": " + error.what();
    }
}

TargetRecord RecordOf(const std::string& coordinates)
{
    const std::vector<TargetRecord> records = ReadTargetText("::123456\n" + coordinates);
    EXPECT_EQ(records.size(), 1U);
    return records.at(0);
}

TEST(TargetText, GivesItsTargetsInTheirOrder)
{
    const std::vector<TargetRecord> records =
        ReadTargetText("::200000\n1 2 3\t-4 5 -6\t0 0 0\n::000001\n7 8 9\n");
    ASSERT_EQ(records.size(), 2U);
    EXPECT_EQ(records[0].number, "200000");
    EXPECT_EQ(records[0].points, 3U);
    EXPECT_EQ(records[0].least, (Point{-4, 0, -6}));
    EXPECT_EQ(records[0].greatest, (Point{1, 5, 3}));
    EXPECT_EQ(records[1].number, "000001");
    EXPECT_EQ(records[1].points, 1U);
    EXPECT_EQ(records[1].least, (Point{7, 8, 9}));
    EXPECT_EQ(records[1].greatest, (Point{7, 8, 9}));
}

TEST(TargetText, NeedsNoLineEndAtItsEnd)
{
    EXPECT_EQ(ErrorOf("::123456\n1 2 3"), "");
}

TEST(TargetText, MayHoldEmptyPartsAndCommentsBetweenThePoints)
{
    EXPECT_EQ(RecordOf("# measured 1 2\t1 2 3\t\t#\t4 5 6\t").points, 2U);
}

TEST(TargetText, TakesNumbersOfEveryUsualForm)
{
    const TargetRecord record = RecordOf("  +1.5   -.25  2e-1 ");
    EXPECT_EQ(record.least, (Point{1.5, -0.25, 0.2}));
}

TEST(TargetText, KeepsTheThirdNumberOfThePointBefore)
{
    EXPECT_EQ(RecordOf("1 2").greatest, (Point{1, 2, 0}));
    EXPECT_EQ(RecordOf("1 2 3\t4 5").least, (Point{1, 2, 3}));
}

TEST(TargetText, IsRefusedWhereALineIsNoKey)
{
    const auto message = [](const std::string& shown) {
        return shown + " is not '::' and the first six digits of a target's number";
    };
    EXPECT_EQ(ErrorOf("\n::123456\n1 2 3\n"), "1: " + message("''"));
    EXPECT_EQ(ErrorOf("::123456\n1 2 3\n\n"), "3: " + message("''"));
    for (const std::string& key :
         {std::string("123456"), std::string(":123456"), std::string("::12345"), std::string("::1234567"),
          std::string("::12345x"), std::string("::123456 "), std::string(" ::123456")}) {
        EXPECT_EQ(ErrorOf("::000000\n1 2 3\n" + key + "\n1 2 3\n"), "3: " + message("'" + key + "'"));
    }
    EXPECT_EQ(ErrorOf(std::string("\x01\t\xFF\0z", 5)), "1: " + message("'????z'"));
    EXPECT_EQ(ErrorOf(std::string(1000, 'a')), "1: " + message("'" + std::string(40, 'a') + "...'"));
}

TEST(TargetText, IsRefusedWithCarriageReturns)
{
    EXPECT_EQ(ErrorOf("::123456\r\n1 2 3\r\n"),
              "1: the line ends with a carriage return before its line feed");
    EXPECT_EQ(ErrorOf("::123456\n1 2 3\r\n"), "2: '1 2 3?' is no point of two or three numbers");
}

TEST(TargetText, IsRefusedWhereANumberComesTwice)
{
    EXPECT_EQ(ErrorOf("::123456\n1 2 3\n::000000\n1 2 3\n::123456\n1 2 3\n"),
              "5: the target 123456 stands in line 1 already");
}

TEST(TargetText, IsRefusedWithoutCoordinates)
{
    EXPECT_EQ(ErrorOf(""), "1: the text has no target");
    EXPECT_EQ(ErrorOf("::000000\n1 2 3\n::123456\n"), "3: the target 123456 has no line of coordinates");
    EXPECT_EQ(ErrorOf("::123456"), "1: the target 123456 has no line of coordinates");
    EXPECT_EQ(ErrorOf("::123456\n\n"), "2: the target 123456 has no point");
    EXPECT_EQ(ErrorOf("::123456\n\t#\t\n"), "2: the target 123456 has no point");
}

TEST(TargetText, IsRefusedWhereAPointIsNoPoint)
{
    for (const char* point :
         {"1", "1 2 3 4", "a", "1 2 x", "1,5 2 3", "1 2 3,", "nan 1 2", "1 inf 2", "1 2 -inf", "--1 2",
          "+-1 2", "++1 2", "+ 2", "0x10 2", "1e39 0 0", "0 -1e400 0", " ", "::000000"}) {
        EXPECT_EQ(ErrorOf("::000000\n1 2 3\n::123456\n0 0 0\t" + std::string(point) + "\t0 0 0\n"),
                  "4: '" + std::string(point) + "' is no point of two or three numbers");
    }
}

TEST(TargetText, IsRefusedWhereCoordinatesDoNotFitTheStore)
{
    const std::size_t room = Writer::GetMaxCoordinatesSize();
    const std::string points = "1 2\t3 4"; // 8 bytes with its line break
    const std::string fitting = points + "\t#" + std::string(room - 11, 'x');
    EXPECT_EQ(ErrorOf("::123456\n" + fitting + "\n"), "");
    EXPECT_EQ(ErrorOf("::123456\n" + fitting + "x\n"),
              "2: the coordinates take " + std::to_string(room + 1) +
                  " bytes with two for each line break; the store has room for " + std::to_string(room));
}

TEST(TargetText, SurvivesAnyText)
{
    std::mt19937 random(11);
    const std::string alphabet = "::0123\n\n\t 1.5-e#\r\xFF";
    int good = 0;
    for (int trial = 0; trial < 20000; ++trial) {
        std::string text = trial % 2 == 0 ? "::123456\n1 2" : "";
        for (std::size_t length = random() % 30; length > 0; --length) {
            text += alphabet[random() % alphabet.size()];
        }
        const std::string error = ErrorOf(text);
        good += error.empty() ? 1 : 0;
        const auto lines = 1 + std::count(text.begin(), text.end(), '\n');
        ASSERT_TRUE(error.empty() || std::stol(error) <= lines) << text << "\n" << error;
    }
    EXPECT_GT(good, 100);
}

} // namespace
} // namespace app
