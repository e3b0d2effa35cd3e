#include "scanner/app/mtfcommand.h"

#include "orx/platform/imagecodec.h"
#include "tests/scanner/commandrun.h"
#include "tests/support/temporaryfolder.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cmath>
#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

namespace app {
namespace {

using Json = nlohmann::json;

constexpr double kContrastTolerance = 0.02;

class MtfCommand : public testing::Test
{
protected:
    /// What the program prints; a failing one gives its exit code and message in brackets.
    static std::string Run(const std::vector<std::string>& arguments) { return RunCommand(arguments); }

    /// @return the truth
    Json Render(std::vector<std::string> options) const
    {
        options.insert(options.begin(), {"render", "--target", "mtf", "--out", m_folder.GetPath().string()});
        const std::string report = Run(options);
        EXPECT_NE(report.front(), '[') << report;
        return Json::parse(TestSupport::ReadFile(m_folder / "truth.json"));
    }

    std::string WriteGrey(int width, int height, const std::vector<std::byte>& levels) const
    {
        const std::string file = m_folder / "grey.png";
        EXPECT_TRUE(platform::WritePng(file, {width, height, platform::EPixelFormat::eGray8, levels}));
        return file;
    }

    TestSupport::CTemporaryFolder m_folder;
    const std::string m_image = m_folder / "image.png";
};

TEST_F(MtfCommand, TellsTheContrastsOfARenderedChart)
{
    for (const std::vector<std::string>& options :
         {std::vector<std::string>{"--noise", "0"},
          {"--noise", "0", "--contrast", "0.3", "--blur", "0"},
          {"--noise", "0", "--contrast", "0.8", "--blur", "1.5", "--scale", "80", "--rotation", "-1"},
          {"--noise", "0.5", "--scale", "65", "--rotation", "2", "--seed", "7"}}) {
        const Json truth = Render(options);
        const Json measured = Json::parse(Run({"mtf", m_image, "--json"}));
        SCOPED_TRACE(truth.dump());
        EXPECT_EQ(measured.at("image"), m_image);
        for (const char* key : {"contrast_horizontal", "contrast_vertical"}) {
            EXPECT_NEAR(measured.at(key).get<double>(), truth.at(key).get<double>(), kContrastTolerance)
                << key;
        }
        EXPECT_NEAR(measured.at("scale_px").get<double>(), truth.at("scale_px").get<double>(), 1.25);
        EXPECT_NEAR(measured.at("centre")[0].get<double>(), 329.0, 1.25);
        EXPECT_NEAR(measured.at("centre")[1].get<double>(), 247.0, 1.25);
        // A chart turned to the right has an edge that falls to the left: its slope is a right angle less the turn.
        const double turn = truth.at("tilt_rad").get<double>();
        if (turn != 0.0) {
            EXPECT_NEAR(measured.at("angle_rad").get<double>(), std::copysign(std::acos(0.0), turn) - turn,
                        0.003);
        }
    }
}

TEST_F(MtfCommand, RenderedBarsHaveTheContrastOfTheOption)
{
    const Json sharp = Render({"--contrast", "0.25", "--blur", "0", "--rotation", "90"});
    EXPECT_NEAR(sharp.at("contrast_horizontal").get<double>(), 0.25, 1e-12);
    EXPECT_NEAR(sharp.at("contrast_vertical").get<double>(), 0.25, 1e-12);
    EXPECT_NEAR(sharp.at("tilt_rad").get<double>(), std::acos(0.0), 1e-12);
    EXPECT_EQ(sharp.at("target"), "mtf");
    EXPECT_FALSE(std::filesystem::exists(m_folder / "model.txt")) << "no camera has seen it";
    EXPECT_EQ(Run({"render", "--target", "mtf", "--contrast", "0.25", "--blur", "0", "--out",
                   m_folder.GetPath().string()}),
              "Wrote image.png and truth.json to " + m_folder.GetPath().string() +
                  "; the bars' contrast is 0.250 horizontally, 0.250 vertically\n");
}

TEST_F(MtfCommand, NoiseFollowsTheSeed)
{
    Render({"--seed", "3", "--noise", "2"});
    const std::string image = TestSupport::ReadFile(m_image);
    Render({"--seed", "3", "--noise", "2"});
    EXPECT_TRUE(TestSupport::ReadFile(m_image) == image);
    Render({"--seed", "4", "--noise", "2"});
    EXPECT_FALSE(TestSupport::ReadFile(m_image) == image);
}

TEST_F(MtfCommand, NoiseAddsToTheContrast)
{
    // Of some thousand pixels the darkest and the brightest are some three sigma off: 6 grey levels each, of a sum of
    // about 240; the bars are at 40 and at 90 of 215.
    constexpr double kMost = 0.06;
    for (const char* const turn : {"0", "0.5"}) {
        const Json truth = Render({"--seed", "3", "--noise", "2", "--rotation", turn});
        const Json measured = Json::parse(Run({"mtf", m_image, "--json"}));
        for (const char* key : {"contrast_horizontal", "contrast_vertical"}) {
            const double added = measured.at(key).get<double>() - truth.at(key).get<double>();
            EXPECT_GT(added, 0.01) << key << " at " << turn;
            EXPECT_LT(added, kMost) << key << " at " << turn;
        }
    }
}

TEST_F(MtfCommand, TextTellsAFigureALine)
{
    Render({"--noise", "0", "--contrast", "0.5", "--blur", "0"});
    EXPECT_EQ(Run({"mtf", m_image}), "Chart in " + m_image +
                                         "\n"
                                         "  centre            column 329, row 247\n"
                                         "  scale             70.00 pixels\n"
                                         "  angle             0.00 degrees\n"
                                         "  horizontal        0.498\n"
                                         "  vertical          0.498\n")
        << "215 / 3 is 71.67, rounded 72: (215 - 72) / (215 + 72) = 0.498";
}

TEST_F(MtfCommand, ThePictureHasTheMarks)
{
    Render({"--noise", "0"});
    const std::string picture = m_folder / "marked.png";
    Run({"mtf", m_image, "--out", picture});
    platform::CPixels pixels;
    std::string description;
    ASSERT_EQ(platform::ReadImageFile(picture, pixels, description), platform::EImageFileResult::eOk);
    ASSERT_EQ(pixels.width, 658);
    ASSERT_EQ(pixels.height, 494);
    const std::size_t bytesPerPixel = pixels.bytes.size() / (658U * 494U);
    const std::size_t centre = (247U * 658U + 329U) * bytesPerPixel;
    for (std::size_t channel = 0; channel < 3; ++channel) {
        EXPECT_EQ(pixels.bytes[centre + channel], std::byte{255}) << "the disc's middle is white";
    }
}

TEST_F(MtfCommand, LevelsOfSixteenBitsAreReadByTheirUpperByte)
{
    Render({"--noise", "0"});
    platform::CPixels pixels;
    std::string description;
    ASSERT_EQ(platform::ReadImageFile(m_image, pixels, description), platform::EImageFileResult::eOk);
    const std::size_t count =
        static_cast<std::size_t>(pixels.width) * static_cast<std::size_t>(pixels.height);
    const std::size_t bytesPerPixel = pixels.bytes.size() / count;
    std::string pgm = "P5\n658 494\n65535\n";
    for (std::size_t i = 0; i < count; ++i) {
        pgm += static_cast<char>(pixels.bytes[i * bytesPerPixel]);
        pgm += static_cast<char>(i % 256);
    }
    const std::string deep = m_folder / "deep.pgm";
    TestSupport::WriteFile(deep, pgm);
    Json expected = Json::parse(Run({"mtf", m_image, "--json"}));
    expected["image"] = deep;
    const std::string report = Run({"mtf", deep, "--json"});
    ASSERT_EQ(report.front(), '{') << report;
    EXPECT_EQ(Json::parse(report), expected);
}

TEST_F(MtfCommand, FailuresNameTheFileAndWhatToDo)
{
    const std::string missing = m_folder / "missing.png", text = m_folder / "text.png";
    TestSupport::WriteFile(text, "no image");
    EXPECT_EQ(Run({"mtf", missing}), "[1 lumorad: there is no file '" + missing + "'\n]");
    EXPECT_EQ(Run({"mtf", text}),
              "[1 lumorad: '" + text +
                  "' is no image of a kind that can be read: TIFF, PNG, JPEG, BMP, PGM and PFM can\n]");

    const std::string plain = WriteGrey(100, 80, std::vector<std::byte>(100 * 80, std::byte{200}));
    const std::string picture = m_folder / "marked.png";
    EXPECT_EQ(
        Run({"mtf", plain, "--size", "90", "--out", picture}),
        "[1 lumorad: '" + plain +
            "': found no disc with two rings in the central 90 by 90 pixels; bring the middle of the chart "
            "there, or change --size, --limit, --dark or --thin\n]");
    EXPECT_TRUE(std::filesystem::exists(picture)) << "also where nothing is found";

    Render({"--noise", "0", "--scale", "55"});
    EXPECT_EQ(
        Run({"mtf", m_image}),
        "[1 lumorad: '" + m_image +
            "': the outer ring is not seen in all four directions, or its width and height differ by 10 "
            "percent or more; hold the chart parallel to the image, with nothing but the rings dark within "
            "100 pixels of its middle\n]");

    Render({"--noise", "0", "--scale", "160", "--blur", "0"});
    EXPECT_EQ(
        Run({"mtf", m_image, "--dark", "100", "--size", "300"}),
        "[1 lumorad: '" + m_image +
            "': the rings' scale of 160 pixels leaves fewer than two by two places of patches in the image; "
            "hold the chart farther away, with nothing but the rings dark within 100 pixels of its "
            "middle\n]");

    const std::string nowhere = m_folder / "no folder/marked.png";
    EXPECT_EQ(Run({"mtf", plain, "--out", nowhere}),
              "[1 lumorad: cannot write '" + nowhere + "': No such file or directory\n]");
}

/// The rings' figure in one row and one column alone: a centre and a scale, but no dark pixels in 20 rows one below the
/// other.
TEST_F(MtfCommand, AChartWithoutAnEdgeIsTold)
{
    constexpr std::size_t kSide = 101;
    std::vector<std::byte> levels(kSide * kSide, std::byte{200});
    for (const std::size_t distance : {0U, 1U, 2U, 3U, 4U, 5U, 6U, 7U, 8U, 20U, 30U}) {
        for (const std::size_t place : {50 - distance, 50 + distance}) {
            levels[50 * kSide + place] = std::byte{10};
            levels[place * kSide + 50] = std::byte{10};
        }
    }
    const std::string file = WriteGrey(kSide, kSide, levels);
    EXPECT_EQ(
        Run({"mtf", file, "--thin", "3"}),
        "[1 lumorad: '" + file +
            "': found no straight edge of 20 rows with 16 bright pixels to its right; bring the line at the "
            "chart's right side into the image\n]");
}

TEST_F(MtfCommand, AContrastWithoutPatchesIsNone)
{
    Render({"--noise", "0", "--scale", "90"});
    const Json measured = Json::parse(Run({"mtf", m_image, "--json"}));
    EXPECT_TRUE(measured.at("contrast_vertical").is_null());
    EXPECT_GT(measured.at("contrast_horizontal").get<double>(), 0.5);
    EXPECT_NE(Run({"mtf", m_image}).find("  vertical          none; no patch lies within the image\n"),
              std::string::npos);
}

TEST_F(MtfCommand, SenselessOptionsAreRefused)
{
    const std::string out = m_folder / "new";
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"mtf"},
          {"mtf", "a.png", "--size", "0"},
          {"mtf", "a.png", "--limit", "257"},
          {"mtf", "a.png", "--dark", "-1"},
          {"mtf", "a.png", "--thin", "x"},
          {"render", "--out", out, "--target", "mtf", "--tilt", "3"},
          {"render", "--out", out, "--target", "mtf", "--distance", "30"},
          {"render", "--out", out, "--target", "mtf", "--contrast", "1.5"},
          {"render", "--out", out, "--target", "mtf", "--scale", "nan"},
          {"render", "--out", out, "--target", "checkerboard", "--contrast", "0.5"},
          {"render", "--out", out, "--target", "slide-c", "--scale", "70"},
          {"render", "--out", out, "--contrast", "0.5"}}) {
        EXPECT_EQ(Run(arguments).substr(0, 2), "[2") << arguments.back();
    }
    EXPECT_FALSE(std::filesystem::exists(out));
}

} // namespace
} // namespace app
