#include "scanner/app/colourcommands.h"

#include "cctimage.h"
#include "lxccolorcalibrationdata.h"
#include "orx/logging/logger.h"
#include "orx/platform/clock.h"
#include "orx/platform/unicode.h"
#include "tests/scanner/commandrun.h"
#include "tests/support/environment.h"
#include "tests/support/temporaryfolder.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace app {
namespace {

using LxCV::CCTImage;
using Record = LxCV::LxCColorCalibrationData;

class ColourCommands : public testing::Test
{
protected:
    ColourCommands() { SetDate(2024, 3, 15); }

    /// What a command prints; a failing one gives its exit code and message in brackets.
    static std::string Run(std::vector<std::string> arguments)
    {
        arguments.insert(arguments.begin(), "colour");
        return RunCommand(arguments);
    }

    void SetDate(int year, unsigned month, unsigned day)
    {
        m_Clock.SetNow(std::chrono::sys_days(std::chrono::year(year) / std::chrono::month(month) / day));
    }

    std::string DataFile(const std::string& camera) const
    {
        return m_Folder / ("ColorCalibrationData_" + camera + ".dat");
    }
    std::string ImageFile(const std::string& camera) const
    {
        return m_Folder / ("WhiteBalanceImage_" + camera + ".tif");
    }

    /// A record of 2 by 1 pixels: white is 100, the matrix is diagonal and adds 1 to red.
    void Store(const std::string& camera)
    {
        Record record;
        const CCTImage white(2, 1, CCTImage::eIDT_FLOAT32_3, 100.0F);
        record.SetWhiteBalanceImg(&white);
        record.SetColorCalibrationMatrix({1, 0, 0, 0, 0, 0.5F, 0, 0, 0, 0, 2, 1});
        record.SetColorCalibrationShutterTime(4.0F);
        record.SetShutterTimeCorrectionFactor(2.0F);
        record.SetReferenceDepth(33.5F);
        ASSERT_TRUE(
            record.SerializeToFile(platform::WidenUtf8(m_folder) + L"/", platform::WidenUtf8(camera)));
    }

    /// An image of 2 by 1 pixels of the colour (10, 20, 30), blue first.
    std::string StoreImage()
    {
        const std::uint8_t colour[3] = {10, 20, 30};
        CCTImage image(2, 1, CCTImage::eIDT_BGRU8, true, nullptr);
        image.SetPixel(0, 0, colour);
        image.SetPixel(1, 0, colour);
        const std::string file = m_Folder / "image.tif";
        EXPECT_EQ(image.SaveTif(file), CCTImage::eRC_OK);
        return file;
    }

    static std::vector<float> LevelsOf(const std::string& file)
    {
        CCTImage image, floats;
        EXPECT_EQ(image.Load(file), CCTImage::eRC_OK);
        EXPECT_EQ(image.ConvertToFloat(&floats, true), CCTImage::eRC_OK);
        const auto* const levels = static_cast<const float*>(floats.GetBuffer());
        return {levels, levels + 3 * floats.GetSizeInPixels()};
    }

    const Logging::CCapture m_Quiet;
    platform::ManualClock m_Clock;
    const platform::ScopedClock m_Scoped{m_Clock};
    TestSupport::CTemporaryFolder m_Folder;
    const std::string m_folder = m_Folder.GetPath().string();
    const std::string m_out = m_Folder / "out.png";
};

TEST_F(ColourCommands, MakeStoresACalibrationThatBringsColoursBack)
{
    const std::string pictures = m_Folder / "pictures";
    const nlohmann::json made = nlohmann::json::parse(
        Run({"make", "--folder", m_folder, "--camera", "A 1", "--images", "1", "--out", pictures, "--json"}));
    EXPECT_EQ(made["camera"], "A 1");
    EXPECT_EQ(made["data_file"], DataFile("A 1"));
    EXPECT_EQ(made["image_file"], ImageFile("A 1"));
    EXPECT_EQ(made["valid"], true);
    EXPECT_EQ(made["expired"], false);
    EXPECT_EQ(made["expires"], "2024-05-15 00:00 UTC");
    EXPECT_EQ(made["white"]["width"], 658);
    EXPECT_EQ(made["white"]["height"], 494);
    EXPECT_EQ(made["fitted_patches"]["patches"], 18);
    EXPECT_EQ(made["other_patches"]["patches"], 24);
    // A level of a pixel has a noise of 3 at most, and a patch some 5000 pixels, so that its mean has one of 0.05 and
    // with white and the matrix 0.08; four times that is not reached.
    constexpr double c_tolerance = 0.35, c_factor = 50.0;
    EXPECT_LE(made["other_patches"]["corrected_largest"].get<double>(), c_tolerance);
    EXPECT_LE(c_factor * made["other_patches"]["corrected_rms"].get<double>(),
              made["other_patches"]["measured_rms"].get<double>());

    const nlohmann::json shown =
        nlohmann::json::parse(Run({"show", "--folder", m_folder, "--camera", "A 1", "--json"}));
    EXPECT_EQ(shown["matrix"], made["matrix"]);
    // A picture of the chart, corrected from its file, is the corrected picture.
    EXPECT_EQ(Run({"apply", pictures + "/chart.png", m_out, "--folder", m_folder, "--camera", "A 1"}),
              "Wrote 658 by 494 pixels with corrected colours to " + m_out + "\n");
    EXPECT_EQ(TestSupport::ReadFile(m_out), TestSupport::ReadFile(pictures + "/corrected.png"));
}

TEST_F(ColourCommands, ShowTellsTheRecord)
{
    Store("A1");
    EXPECT_EQ(Run({"show", "--folder", m_folder, "--camera", "A1"}),
              "Colour calibration of the camera A1\n"
              "  made              2024-03-15 00:00 UTC\n"
              "  expires           2024-05-15 00:00 UTC\n"
              "  shutter time      4.0000, correction factor 2.0000\n"
              "  reference depth   33.50 mm\n"
              "  white             2 by 1 pixels, mean blue 100.00, green 100.00, red 100.00\n"
              "  matrix              1.00000   0.00000   0.00000   0.00000\n"
              "                      0.00000   0.50000   0.00000   0.00000\n"
              "                      0.00000   0.00000   2.00000   1.00000\n"
              "  files             " +
                  DataFile("A1") + "\n                    " + ImageFile("A1") + "\n");
    SetDate(2024, 5, 16);
    EXPECT_NE(
        Run({"show", "--folder", m_folder, "--camera", "A1"}).find("2024-05-15 00:00 UTC, which is over\n"),
        std::string::npos);
}

TEST_F(ColourCommands, ShowTellsTheRecordAsJson)
{
    Store("A1");
    const nlohmann::json shown =
        nlohmann::json::parse(Run({"show", "--folder", m_folder, "--camera", "A1", "--json"}));
    EXPECT_EQ(shown, nlohmann::json::parse(R"({"camera": "A1", "data_file": ")" + DataFile("A1") +
                                           R"(", "image_file": ")" + ImageFile("A1") + R"(",
        "valid": true, "expired": false, "date": "2024-03-15 00:00 UTC", "expires": "2024-05-15 00:00 UTC",
        "shutter_time": 4.0, "shutter_correction": 2.0, "reference_depth_mm": 33.5,
        "matrix": [[1, 0, 0, 0], [0, 0.5, 0, 0], [0, 0, 2, 1]],
        "white": {"width": 2, "height": 1, "mean": [100, 100, 100]}})"));
}

TEST_F(ColourCommands, TheUsualFolderIsThatOfAllPrograms)
{
    const TestSupport::CEnvironmentVariable programs("PROGRAMDATA", m_folder);
    std::filesystem::create_directories(m_Folder / "Lumorad");
    Store("virtual");
    std::filesystem::rename(DataFile("virtual"), m_Folder / "Lumorad/ColorCalibrationData_virtual.dat");
    std::filesystem::rename(ImageFile("virtual"), m_Folder / "Lumorad/WhiteBalanceImage_virtual.tif");
    EXPECT_TRUE(Run({"show"}).starts_with("Colour calibration of the camera virtual\n"));
}

TEST_F(ColourCommands, ShowTellsWhichFileIsMissingOrDamaged)
{
    const std::string remedy = "; 'lumorad colour make --camera A1' makes a new one";
    const std::vector<std::string> show = {"show", "--folder", m_folder, "--camera", "A1"};
    EXPECT_EQ(Run(show), Failure("there is no colour calibration of the camera 'A1': no file '" +
                                 DataFile("A1") + "'" + remedy));
    Store("A1");
    const std::string whole = TestSupport::ReadFile(DataFile("A1"));
    for (const std::string& damaged : {whole.substr(0, 91), "\2" + whole.substr(1), std::string()}) {
        TestSupport::WriteFile(DataFile("A1"), damaged);
        EXPECT_EQ(Run(show),
                  Failure("'" + DataFile("A1") + "' is damaged or of an earlier version than 3, or '" +
                          ImageFile("A1") + "' is damaged" + remedy));
    }
    std::filesystem::remove(ImageFile("A1"));
    EXPECT_EQ(Run(show), Failure("the colour calibration of the camera 'A1' has lost its image '" +
                                 ImageFile("A1") + "'" + remedy));
}

TEST_F(ColourCommands, NamesOfCamerasAndFoldersThatCannotBeAreTold)
{
    for (const char* command : {"show", "make"}) {
        for (const char* name : {"a/b", "..\\a"}) {
            EXPECT_EQ(
                Run({command, "--folder", m_folder, "--camera", name}),
                Failure(
                    "'" + std::string(name) +
                    "' cannot be a camera's name: files are named by it, so that it has no '/' and no '\\'"));
        }
        EXPECT_EQ(Run({command, "--folder", "a\\b"}),
                  Failure("'a\\b' has a backslash, which separates folders here: take another folder"));
    }
}

TEST_F(ColourCommands, ApplyCorrectsAnImage)
{
    Store("A1");
    const std::string image = StoreImage();
    const std::vector<std::string> place = {"--folder", m_folder, "--camera", "A1"};
    const auto apply = [&](std::vector<std::string> more) {
        more.insert(more.begin(), "apply");
        more.insert(more.end(), place.begin(), place.end());
        return Run(more);
    };
    // White of 100 doubles all levels; the matrix halves green, doubles red and adds 1: (20, 20, 121).
    const std::string exact = m_Folder / "out.tif";
    EXPECT_EQ(apply({image, exact}), "Wrote 2 by 1 pixels with corrected colours to " + exact + "\n");
    EXPECT_EQ(LevelsOf(exact), (std::vector<float>{20, 20, 121, 20, 20, 121}));
    // An eighth of the shutter time: eight times that, and 8 * 120 + 1, which a PNG cuts.
    EXPECT_EQ(nlohmann::json::parse(apply({image, m_out, "--shutter-time", "0.5", "--json"})),
              nlohmann::json::parse(R"({"image": ")" + image + R"(", "out": ")" + m_out +
                                    R"(", "camera": "A1", "shutter_time": 0.5, "width": 2, "height": 1})"));
    EXPECT_EQ(LevelsOf(m_out), (std::vector<float>{160, 160, 255, 160, 160, 255}));
}

TEST_F(ColourCommands, ApplyTakesAnExpiredCalibrationOnlyWhereTold)
{
    Store("A1");
    const std::string image = StoreImage();
    SetDate(2024, 6, 1);
    EXPECT_EQ(Run({"apply", image, m_out, "--folder", m_folder, "--camera", "A1"}),
              Failure("the colour calibration '" + DataFile("A1") +
                      "' expired on 2024-05-15 00:00 UTC: make a new one, or add --expired"));
    EXPECT_FALSE(std::filesystem::exists(m_out));
    Run({"apply", image, m_out, "--folder", m_folder, "--camera", "A1", "--expired"});
    EXPECT_EQ(LevelsOf(m_out)[2], 121.0F);
}

TEST_F(ColourCommands, ApplyTellsImagesThatDoNotFit)
{
    Store("A1");
    const std::vector<std::string> place = {"--folder", m_folder, "--camera", "A1"};
    const auto apply = [&](const std::string& image, const std::string& out) {
        std::vector<std::string> arguments = {"apply", image, out};
        arguments.insert(arguments.end(), place.begin(), place.end());
        return Run(arguments);
    };
    EXPECT_EQ(apply(m_Folder / "none.png", m_out),
              Failure("there is no file '" + (m_Folder / "none.png") + "'"));
    const std::string image = StoreImage();
    EXPECT_EQ(apply(image, image), Failure("'" + image + "' and '" + image + "' are one file"));
    EXPECT_EQ(apply(image, m_Folder / "none/out.tif"),
              Failure("cannot write '" + (m_Folder / "none/out.tif") + "': No such file or directory"));
    const CCTImage large(3, 1, CCTImage::eIDT_BGRU8, true, nullptr);
    ASSERT_EQ(large.SaveTif(image), CCTImage::eRC_OK);
    EXPECT_EQ(apply(image, m_out),
              Failure("'" + image + "' cannot be corrected by '" + ImageFile("A1") +
                      "': an image of 3 by 1 pixels cannot be corrected by an image of white of 2 by 1"));
    const CCTImage grey(2, 1, CCTImage::eIDT_UINT8, true, nullptr);
    ASSERT_EQ(grey.SaveTif(image), CCTImage::eRC_OK);
    EXPECT_EQ(apply(image, m_out), Failure("'" + image + "' cannot be corrected by '" + ImageFile("A1") +
                                           "': an image without colours has none to correct"));
    EXPECT_FALSE(std::filesystem::exists(m_out));
}

TEST_F(ColourCommands, MakeTellsAFolderThatCannotBe)
{
    TestSupport::WriteFile(m_Folder / "file", "");
    const std::string folder = m_Folder / "file/folder";
    EXPECT_EQ(Run({"make", "--folder", folder}),
              Failure("cannot create the folder '" + folder + "': Not a directory"));
}

TEST_F(ColourCommands, ArgumentsWithoutSenseAreUsageErrors)
{
    for (const std::vector<std::string>& arguments :
         std::vector<std::vector<std::string>>{{},
                                               {"make", "--depth", "nan"},
                                               {"make", "--depth", "9.9"},
                                               {"make", "--white", "0"},
                                               {"make", "--images", "0"},
                                               {"make", "--noise", "-1"},
                                               {"make", "--seed", "-1"},
                                               {"apply", "a.png"},
                                               {"apply", "a.png", "b.jpg"},
                                               {"apply", "a.png", "b.png", "--shutter-time", "0"},
                                               {"show", "more"}}) {
        EXPECT_TRUE(Run(arguments).starts_with("[2 ")) << testing::PrintToString(arguments);
    }
}

} // namespace
} // namespace app
