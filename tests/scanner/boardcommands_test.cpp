#include "scanner/app/boardcommands.h"

#include "orx/logging/logger.h"
#include "orx/platform/imagecodec.h"
#include "tests/scanner/commandrun.h"
#include "tests/support/environment.h"
#include "tests/support/temporaryfolder.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cmath>
#include <filesystem>
#include <string>
#include <vector>

namespace app {
namespace {

class BoardCommands : public testing::Test
{
protected:
    /// What the program prints; a failing one gives its exit code and message in brackets.
    static std::string Run(const std::vector<std::string>& arguments) { return RunCommand(arguments); }

    std::string Render(const std::string& rotation) const
    {
        Run({"render", "--target", "checkerboard", "--rotation", rotation, "--noise", "2", "--seed", "5",
             "--out", m_folder.GetPath().string()});
        return m_folder / "image.png";
    }

    const Logging::CCapture m_quiet;
    TestSupport::CTemporaryFolder m_folder;
    TestSupport::CEnvironmentVariable m_store{"LXCV_STORE", m_folder / "store"};
};

TEST_F(BoardCommands, LocatedCornersAreThoseThatWereRendered)
{
    const std::string image = Render("10");
    const auto located = nlohmann::json::parse(Run({"target", "locate", image, "--json"}));
    EXPECT_EQ(located.at("target"), "nominal");
    EXPECT_EQ(located.at("quarter_turns"), 0);
    EXPECT_EQ(located.at("searched_turned"), false);
    const auto& marks = located.at("marks");
    ASSERT_GE(marks.size(), 60U);
    for (const auto& mark : marks) {
        EXPECT_EQ(mark.at("square").get<int>(), (mark.at("id").get<int>() + 3) / 4);
        EXPECT_GT(mark.at("quality").get<double>(), 0.0);
        EXPECT_LT(mark.at("quality").get<double>(), 1.0);
        EXPECT_LE(std::abs(mark.at("world_mm").at(0).get<double>()), 11.01);
    }
}

TEST_F(BoardCommands, TextTellsACornerALine)
{
    const std::string text = Run({"target", "locate", Render("10")});
    EXPECT_NE(text.find(" corners of the nominal target, turned by 0 quarters\n"), std::string::npos) << text;
    EXPECT_NE(text.find("27  upper left"), std::string::npos) << text;
    EXPECT_NE(text.find("prepare "), std::string::npos);
}

TEST_F(BoardCommands, ABoardOnTheDiagonalIsToldToBeFoundInTheTurnedImage)
{
    const std::string image = Render("45");
    const auto located = nlohmann::json::parse(Run({"target", "locate", image, "--json"}));
    EXPECT_EQ(located.at("searched_turned"), true);
    EXPECT_GE(located.at("marks").size(), 60U);
    const std::string text = Run({"target", "locate", image});
    EXPECT_NE(text.find(" quarters in the image turned by 45 degrees\n"), std::string::npos) << text;
}

TEST_F(BoardCommands, PicturesHaveTheImagesSize)
{
    const std::string image = Render("100"), picture = m_folder / "located.png",
                      edges = m_folder / "edges.png";
    Run({"target", "locate", image, "--out", picture, "--edges", edges});
    for (const std::string& file : {picture, edges}) {
        platform::CPixels pixels;
        std::string description;
        ASSERT_EQ(platform::ReadImageFile(file, pixels, description), platform::EImageFileResult::eOk)
            << file;
        EXPECT_EQ(pixels.width, 658);
        EXPECT_EQ(pixels.height, 494);
    }
}

TEST_F(BoardCommands, FailuresNameTheFileAndTheReason)
{
    const std::string missing = m_folder / "missing.png", text = m_folder / "text.png";
    TestSupport::WriteFile(text, "no image");
    EXPECT_EQ(Run({"target", "locate", missing}), "[1 lumorad: there is no file '" + missing + "'\n]");
    EXPECT_EQ(Run({"target", "locate", text}),
              "[1 lumorad: '" + text +
                  "' is no image of a kind that can be read: TIFF, PNG, JPEG, BMP, PGM and PFM can\n]");
    const std::string image = Render("0");
    EXPECT_EQ(Run({"target", "locate", image, "--target", missing}),
              "[1 lumorad: cannot open '" + missing + "': No such file or directory\n]");
    const std::string nowhere = m_folder / "no folder/located.png";
    EXPECT_EQ(Run({"target", "locate", image, "--out", nowhere}),
              "[1 lumorad: cannot write '" + nowhere + "': No such file or directory\n]");
}

TEST_F(BoardCommands, ImageWithoutTargetStillGivesItsPicture)
{
    const std::string file = m_folder / "grey.png", picture = m_folder / "located.png";
    const std::vector<std::byte> grey(100 * 80, std::byte{128});
    ASSERT_TRUE(platform::WritePng(file, {100, 80, platform::EPixelFormat::eGray8, grey}));
    EXPECT_EQ(Run({"target", "locate", file, "--out", picture}),
              "[1 lumorad: '" + file +
                  "': found 0 of the four dark squares with a bright square inside; all of them need to be "
                  "visible\n]");
    EXPECT_TRUE(std::filesystem::exists(picture));
}

TEST_F(BoardCommands, SenselessOptionsAreRefused)
{
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"target", "locate"},
          {"target", "locate", "a.png", "--refine", "much"},
          {"target", "locate", "a.png", "--nominal", "--target", "b.txt"},
          {"target", "accuracy", "--poses", "0"},
          {"target", "accuracy", "--poses", "-1"},
          {"target", "accuracy", "--blur", "nan"},
          {"target", "accuracy", "--noise", "1e9"}}) {
        EXPECT_EQ(Run(arguments).substr(0, 2), "[2") << arguments.back();
    }
}

TEST_F(BoardCommands, AccuracyIsReportedForItsPoses)
{
    const std::vector<std::string> arguments{"target", "accuracy", "--poses", "3",
                                             "--seed", "6",        "--noise", "0"};
    const std::string text = Run(arguments);
    EXPECT_NE(text.find("3 poses from seed 6, blur 0.8 pixels, noise 0 grey levels"), std::string::npos)
        << text;
    std::vector<std::string> asJson = arguments;
    asJson.emplace_back("--json");
    const auto report = nlohmann::json::parse(Run(asJson));
    EXPECT_EQ(report.at("poses"), 3);
    EXPECT_EQ(report.at("wrong"), 0);
    EXPECT_EQ(report.at("named_share"), 1.0);
    constexpr double withoutNoise = 0.015; // pixels; 1/64 of which positions are multiples
    EXPECT_LT(report.at("mean_px").get<double>(), withoutNoise);
    EXPECT_GT(report.at("mean_px").get<double>(), 0.0);
    EXPECT_LE(report.at("mean_px").get<double>(), report.at("p95_px").get<double>());
    EXPECT_LE(report.at("p99_px").get<double>(), report.at("max_px").get<double>());
}

} // namespace
} // namespace app
