#include "scanner/app/slidecommands.h"

#include "cctimage.h"
#include "orx/logging/logger.h"
#include "tests/scanner/commandrun.h"
#include "tests/support/temporaryfolder.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cmath>
#include <memory>
#include <string>
#include <vector>

namespace app {
namespace {

using TestSupport::ReadFile;
using TestSupport::WriteFile;

/// A rendered pair of the slide with dark marks in a folder, made once, and commands on it.
class SlideCommands : public testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        s_folder = std::make_unique<TestSupport::CTemporaryFolder>();
        Run({"render", "--target", "slide-a2", "--seed", "3", "--out", s_folder->GetPath().string()});
    }

    static void TearDownTestSuite() { s_folder.reset(); }

    static std::string File(const std::string& name) { return *s_folder / name; }

    /// What a command prints; a failing one gives its exit code and message in brackets.
    static std::string Run(const std::vector<std::string>& arguments) { return RunCommand(arguments); }

    static std::string Locate(const std::vector<std::string>& options,
                              const std::string& reference = "reference.png",
                              const std::string& model = "model.txt")
    {
        std::vector<std::string> arguments{"target",  "slide-locate", File(reference), File("pattern.png"),
                                           "--model", File(model)};
        arguments.insert(arguments.end(), options.begin(), options.end());
        return Run(arguments);
    }

    static std::string Failure(const std::string& message) { return "[1 lumorad: " + message + "\n]"; }

    static inline std::unique_ptr<TestSupport::CTemporaryFolder> s_folder;
    const Logging::CCapture m_quiet;
};

TEST_F(SlideCommands, LocatedMarksLieWhereTheRenderingTellsThatTheyAre)
{
    constexpr double c_largestError = 0.2; // pixels
    const nlohmann::json report = nlohmann::json::parse(Locate({"--json"}));
    const nlohmann::json truth = nlohmann::json::parse(ReadFile(File("truth.json")));
    EXPECT_EQ(report.at("slide"), "a2");
    ASSERT_GE(report.at("marks").size(), 100U);
    std::size_t compared = 0;
    for (const nlohmann::json& mark : report.at("marks")) {
        for (const nlohmann::json& corner : truth.at("corners")) {
            if (mark.at("usable").get<bool>() &&
                corner.at("slide") == nlohmann::json({mark.at("slide_u"), mark.at("slide_v")})) {
                EXPECT_NEAR(mark.at("x").get<double>(), corner.at("image").at(0).get<double>(),
                            c_largestError);
                EXPECT_NEAR(mark.at("y").get<double>(), corner.at("image").at(1).get<double>(),
                            c_largestError);
                ++compared;
            }
        }
    }
    EXPECT_GE(compared, 100U);
}

TEST_F(SlideCommands, LocatedMarksAreListedAndDrawn)
{
    const std::string text = Locate({"--out", File("marks.png")});
    EXPECT_NE(text.find(" corners of marks of the slide a2\n"), std::string::npos) << text;
    EXPECT_NE(text.find("    9       3  upper left"), std::string::npos);
    EXPECT_NE(text.find("     5200     1350\n"), std::string::npos);
    LxCV::CCTImage picture;
    ASSERT_EQ(picture.Load(File("marks.png")), LxCV::CCTImage::eRC_OK);
    EXPECT_EQ(picture.GetWidth(), 658);
    EXPECT_EQ(picture.GetHeight(), 494);
    EXPECT_EQ(Locate({"--rows", "image", "--json"}).substr(0, 1), "{");
}

TEST_F(SlideCommands, WhatCannotBeUsedIsNamed)
{
    EXPECT_EQ(Locate({}, "missing.png"), Failure("there is no file '" + File("missing.png") + "'"));
    EXPECT_EQ(Locate({}, "reference.png", "missing.txt"),
              Failure("cannot open '" + File("missing.txt") + "': No such file or directory"));
    WriteFile(File("empty.txt"), "");
    EXPECT_EQ(Locate({}, "reference.png", "empty.txt"), Failure("'" + File("empty.txt") + "' is empty"));
    WriteFile(File("text.txt"), "no model");
    EXPECT_EQ(Locate({}, "reference.png", "text.txt"),
              Failure("'" + File("text.txt") +
                      "' is no model: it has none of a model's sections, such as '::Cams[0]'"));
    const LxCV::CCTImage grey(658, 494, LxCV::CCTImage::eIDT_GRAY8, 90.0F);
    ASSERT_EQ(grey.SavePNG(File("grey.png")), LxCV::CCTImage::eRC_OK);
    EXPECT_EQ(Locate({}, "grey.png"), Failure("'" + File("grey.png") + "' is no colour image"));
    const LxCV::CCTImage small(65, 49, LxCV::CCTImage::eIDT_ARGB8, 90.0F);
    ASSERT_EQ(small.SavePNG(File("small.png")), LxCV::CCTImage::eRC_OK);
    EXPECT_EQ(Locate({}, "small.png"),
              Failure("'" + File("small.png") + "' and '" + File("pattern.png") + "' differ in size"));
}

TEST_F(SlideCommands, AnotherSlideIsNotFound)
{
    const std::string text = Locate({"--slide", "c"});
    EXPECT_EQ(text.find("[1 lumorad: '" + File("pattern.png") + "': "), 0U) << text;
}

TEST_F(SlideCommands, AccuracyOfFewPlanesIsWithinItsBounds)
{
    const nlohmann::json report = nlohmann::json::parse(
        Run({"target", "slide-accuracy", "--slide", "c", "--parallel-axes", "--poses", "1", "--json"}));
    EXPECT_EQ(report.at("slide"), "c");
    EXPECT_EQ(report.at("parallel_axes"), true);
    EXPECT_EQ(report.at("wrong"), 0);
    EXPECT_EQ(report.at("found_share"), 1.0);
    EXPECT_EQ(report.at("named_share"), 1.0);
    EXPECT_LT(report.at("mean_px").get<double>(), 0.05);
    const std::string text = Run({"target", "slide-accuracy", "--poses", "1", "--noise", "0"});
    EXPECT_EQ(text.find("Slide a2, 1 planes from seed 1, noise 0, axes converging, rows by model\n"), 0U)
        << text;
    EXPECT_NE(text.find("100.00 % of "), std::string::npos);
}

TEST_F(SlideCommands, ArgumentsThatMakeNoSenseAreRefused)
{
    EXPECT_EQ(Run({"target", "slide-accuracy", "--poses", "0"}).substr(0, 2), "[2");
    EXPECT_EQ(Run({"target", "slide-accuracy", "--noise", "nan"}).substr(0, 2), "[2");
    EXPECT_EQ(Run({"target", "slide-accuracy", "--slide", "b"}).substr(0, 2), "[2");
    EXPECT_EQ(Run({"target", "slide-locate", "a.png", "b.png"}).substr(0, 2), "[2");
}

} // namespace
} // namespace app
