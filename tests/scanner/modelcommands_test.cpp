#include "scanner/app/modelcommands.h"

#include "orx/logging/logger.h"
#include "scanner/acquisition/devicememory.h"
#include "scanner/app/measurement.h"
#include "scanner/device/virtualdevice.h"
#include "tests/scanner/commandrun.h"
#include "tests/support/container.h"
#include "tests/support/environment.h"
#include "tests/support/temporaryfolder.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace app {
namespace {

using acquisition::DeviceMemory;
using TestSupport::ReadFile;
using TestSupport::WriteFile;

std::string Replaced(std::string text, const std::string& from, const std::string& to)
{
    const std::size_t at = text.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    return at == std::string::npos ? text : text.replace(at, from.size(), to);
}

class ModelCommands : public testing::Test
{
protected:
    /// What a command prints; a failing one gives its exit code and message in brackets, behind its report.
    static std::string Run(std::vector<std::string> arguments)
    {
        arguments.insert(arguments.begin(), "model");
        return RunCommand(arguments, EFailingReport::eAllowed);
    }

    const Logging::CCapture m_Quiet;
    TestSupport::CTemporaryFolder m_Folder;
    const std::string m_key = m_Folder / "device.key";
    TestSupport::CEnvironmentVariable m_Key{"LXCV_KEY_FILE", m_key};
    const std::string m_model = m_Folder / "model.txt";
    const std::string m_out = m_Folder / "out.dat";
    const std::string m_back = m_Folder / "back.txt";
    const std::string m_text = device::VirtualDevice().ParameterText(kModelRoot);
};

TEST_F(ModelCommands, ConvertedToAContainerAndBackTheTextIsTheSame)
{
    // Comments, carriage returns and foreign sections are nothing to the reader, but they stay.
    const std::string text = "# measured in spring\r\n" + m_text + "::Foreign\nkey=value\n\n";
    WriteFile(m_model, text);
    Run({"convert", m_model, "-o", m_out});
    EXPECT_EQ(ReadFile(m_out).front(), '\x02');
    EXPECT_EQ(ReadFile(m_out).find("Foreign"), std::string::npos);
    EXPECT_EQ(Run({"convert", m_out, "-o", m_back}),
              "Wrote the model as a text to " + m_back + ", " + std::to_string(text.size()) + " bytes\n");
    EXPECT_TRUE(ReadFile(m_back) == text);
}

TEST_F(ModelCommands, ConvertTellsFormFileAndSize)
{
    WriteFile(m_model, m_text);
    const std::string report = Run({"convert", m_model, "-o", m_out});
    EXPECT_EQ(report, "Wrote the model as a container to " + m_out + ", " +
                          std::to_string(std::filesystem::file_size(m_out)) + " bytes\n");
}

TEST_F(ModelCommands, ConvertTellsTheSameAsJson)
{
    WriteFile(m_model, m_text);
    const std::map<std::string, std::string> forms{
        {"text", "text"}, {"container", "container"}, {"memory", "device's memory"}};
    for (const auto& [name, told] : forms) {
        const nlohmann::ordered_json report =
            nlohmann::ordered_json::parse(Run({"convert", m_model, "-o", m_out, "--to", name, "--json"}));
        EXPECT_EQ(report, nlohmann::ordered_json({{"file", m_model},
                                                  {"out", m_out},
                                                  {"form", told},
                                                  {"bytes", std::filesystem::file_size(m_out)}}));
        EXPECT_EQ(nlohmann::json::parse(Run({"show", m_out, "--json"}))["form"], told);
    }
}

TEST_F(ModelCommands, ConvertWritesTheFormThatItIsTold)
{
    WriteFile(m_model, m_text);
    Run({"convert", m_model, "--out", m_out, "--to", "text"});
    EXPECT_TRUE(ReadFile(m_out) == m_text);
    Run({"convert", m_model, "--out", m_out, "--to", "container"});
    EXPECT_EQ(ReadFile(m_out).front(), '\x02');
}

TEST_F(ModelCommands, ADevicesMemoryIsAContainerAndErasedBytes)
{
    WriteFile(m_model, m_text);
    Run({"convert", m_model, "-o", m_out, "--to", "memory"});
    const std::string memory = ReadFile(m_out);
    ASSERT_EQ(memory.size(), DeviceMemory::kSize);
    EXPECT_EQ(memory.front(), '\x02');
    const std::size_t end = 13 + TestSupport::UInt32At(memory, 9);
    EXPECT_EQ(memory.find_first_not_of('\xFF', end), std::string::npos);
    Run({"convert", m_out, "-o", m_back});
    EXPECT_TRUE(ReadFile(m_back) == m_text);
}

TEST_F(ModelCommands, ErasedMemoryHoldsNoModel)
{
    WriteFile(m_model, std::string(DeviceMemory::kSize, '\xFF'));
    EXPECT_EQ(Run({"show", m_model}),
              Failure("'" + m_model + "' is the memory of a device that keeps no model"));
}

TEST_F(ModelCommands, OldContainersAreReadWithoutAKey)
{
    WriteFile(m_model, TestSupport::PlainContainer(m_text));
    Run({"convert", m_model, "-o", m_back});
    EXPECT_TRUE(ReadFile(m_back) == m_text);
    EXPECT_FALSE(std::filesystem::exists(m_key));
}

TEST_F(ModelCommands, RewritingDropsWhatTheLibraryDoesNotRead)
{
    WriteFile(m_model, "# a comment\n::Foreign\nkey=value\n" + m_text);
    Run({"convert", m_model, "-o", m_back, "--to", "text", "--rewrite"});
    EXPECT_TRUE(ReadFile(m_back) == m_text);
}

TEST_F(ModelCommands, RewritingKeepsTheAlgorithmConfiguration)
{
    const std::string distances = "::MV3DCamBase::LxCCCLAlgoConfig\nFocalDistance_mm=33\n";
    WriteFile(m_model, distances + m_text);
    Run({"convert", m_model, "-o", m_back, "--to", "text", "--rewrite"});
    const std::string back = ReadFile(m_back);
    const std::size_t coupling = m_text.find("::MV3DCamBase::LxCCCLAlgoConfig::CameraProjectorCoupling\n");
    ASSERT_NE(coupling, std::string::npos);
    EXPECT_TRUE(back == m_text.substr(0, coupling) + distances + m_text.substr(coupling));
}

TEST_F(ModelCommands, RewritingRefusesASectionOfModelAndAlgorithmConfiguration)
{
    WriteFile(m_model, Replaced(m_text, "MinDistCamCoords=", "FocalDistance_mm=33\nMinDistCamCoords="));
    EXPECT_EQ(
        Run({"convert", m_model, "-o", m_back, "--to", "text", "--rewrite"}),
        Failure("'" + m_model +
                "': ::MV3DCamBase::MV3DCamBase holds an algorithm configuration as well: move its keys to a "
                "section of their own, such as ::MV3DCamBase::MV3DCamBase::LxCCCLAlgoConfig"));
}

TEST_F(ModelCommands, ConvertNeverWritesOverItsInput)
{
    WriteFile(m_model, m_text);
    const std::string again = m_Folder / "./model.txt";
    EXPECT_EQ(Run({"convert", m_model, "-o", again}),
              Failure("'" + m_model + "' and '" + again + "' are one file"));
    std::filesystem::create_hard_link(m_model, m_back);
    EXPECT_EQ(Run({"convert", m_model, "-o", m_back}),
              Failure("'" + m_model + "' and '" + m_back + "' are one file"));
    EXPECT_TRUE(ReadFile(m_model) == m_text);
}

TEST_F(ModelCommands, AFailedConversionLeavesTheOutputAsItWas)
{
    WriteFile(m_model, m_text);
    WriteFile(m_out, "old");
    WriteFile(m_key, "short");
    EXPECT_EQ(
        Run({"convert", m_model, "-o", m_out}),
        Failure("cannot encrypt '" + m_out + "' with the key of '" + m_key +
                "': it is to hold 32 bytes and to be readable, or to be missing in a folder that can be "
                "written"));
    EXPECT_EQ(ReadFile(m_out), "old");
    const std::string nowhere = m_Folder / "none/out.dat";
    EXPECT_EQ(Run({"convert", m_model, "-o", nowhere, "--to", "text"}),
              Failure("cannot write '" + nowhere + "': No such file or directory"));
}

TEST_F(ModelCommands, ATextWithoutRoomInAContainerIsRefused)
{
    std::string noise;
    std::uint64_t state = 1;
    for (int i = 0; i < 200'000; ++i) {
        state = state * 6364136223846793005U + 1442695040888963407U;
        noise += "0123456789abcdef"[state >> 60];
    }
    WriteFile(m_model, m_text + "# " + noise + "\n");
    EXPECT_EQ(Run({"convert", m_model, "-o", m_out}),
              Failure("'" + m_out +
                      "' would be longer than a container can be: leave comments and foreign "
                      "sections out of the text"));
    EXPECT_FALSE(std::filesystem::exists(m_out));
}

TEST_F(ModelCommands, AContainerWithoutItsKeyIsRefusedAndNoKeyIsMade)
{
    WriteFile(m_model, m_text);
    Run({"convert", m_model, "-o", m_out});
    std::filesystem::rename(m_key, m_key + ".away");
    EXPECT_EQ(Run({"show", m_out}),
              Failure("'" + m_out + "' is encrypted, and there is no key file '" + m_key +
                      "': let LXCV_KEY_FILE name the one that it was made with"));
    EXPECT_FALSE(std::filesystem::exists(m_key));
}

TEST_F(ModelCommands, ADamagedContainerAndAForeignKeyAreTold)
{
    WriteFile(m_model, m_text);
    Run({"convert", m_model, "-o", m_out});
    const std::string expected =
        Failure("'" + m_out +
                "' is a container that was cut or changed, or that was made with another key than that of '" +
                m_key + "': let LXCV_KEY_FILE name the right one, or take the file from a backup");
    const std::string container = ReadFile(m_out);
    WriteFile(m_out, TestSupport::WithChangedBit(container, 8 * (container.size() / 2)));
    EXPECT_EQ(Run({"show", m_out}), expected);
    WriteFile(m_out, container.substr(0, container.size() - 1));
    EXPECT_EQ(Run({"show", m_out}), expected);
    WriteFile(m_out, container);
    WriteFile(m_key, std::string(32, 'k'));
    EXPECT_EQ(Run({"show", m_out}), expected);
    WriteFile(m_out, TestSupport::PlainContainer(m_text).substr(0, 100));
    EXPECT_EQ(Run({"show", m_out}),
              Failure("'" + m_out + "' is a container that was cut or changed: take it from a backup"));
}

TEST_F(ModelCommands, WhatIsNoModelIsTold)
{
    EXPECT_EQ(Run({"show", m_model}), Failure("cannot open '" + m_model + "': No such file or directory"));
    WriteFile(m_model, "");
    EXPECT_EQ(Run({"show", m_model}), Failure("'" + m_model + "' is empty"));
    WriteFile(m_model, "::Thres\nNrOfCols=8\n");
    const std::string expected =
        Failure("'" + m_model + "' is no model: it has none of a model's sections, such as '::Cams[0]'");
    EXPECT_EQ(Run({"show", m_model}), expected);
    EXPECT_EQ(Run({"convert", m_model, "-o", m_out}), expected);
    EXPECT_FALSE(std::filesystem::exists(m_out));
}

TEST_F(ModelCommands, ATextOfMoreLinesThanAModelHasIsRefused)
{
    WriteFile(m_model, "::Cams[0]\n" + std::string(999'999, '\n'));
    EXPECT_EQ(Run({"show", m_model}).find("lines"), std::string::npos);
    WriteFile(m_model, "::Cams[0]\n" + std::string(1'000'000, '\n'));
    EXPECT_EQ(Run({"show", m_model}),
              Failure("'" + m_model + "' is no model: it has more than 1000000 lines"));
}

TEST_F(ModelCommands, ARowOfEdgePositionsThatIsTooLongIsTold)
{
    WriteFile(m_model, Replaced(m_text, "LUT[2][1]=", "LUT[2][1]=\x80\x80"));
    EXPECT_EQ(
        Run({"show", m_model}),
        Failure("'" + m_model + "': " + kModelRoot +
                "::Projector::CLPattern: a row of edge positions (LUT[patch][depth]) is longer than the "
                "pattern has stripe edges: correct PatternHeight and StripeWidth, or take the section "
                "from a backup"));
}

TEST_F(ModelCommands, ShowTellsFormSectionsAndContent)
{
    WriteFile(m_model, Replaced(m_text, "NumRoiIgnore=0",
                                "NumRoiIgnore=1\n::MV3DCamBase::RoiIgnore::Roi[0]\nLeftCol=3\nTopRow=4\n"
                                "Width=50\nHeight=60"));
    const std::string report = Run({"show", m_model});
    EXPECT_TRUE(report.starts_with(m_model + ": a text, " +
                                   std::to_string(std::filesystem::file_size(m_model)) +
                                   " bytes of text, root '::MV3DCamBase'\n"))
        << report;
    for (const char* line :
         {"     2  ::MV3DCamBase::MV3DCamBase\n", "     6  ::MV3DCamBase::Cams[0]::CoordSysTrans\n",
          "  camera frame     z from 25.00 to 41.00 mm\n", "Pattern A\n",
          "  slide            7000 by 7000 slide units\n",
          "  stripe edges     140, 50 slide units apart; calibrated 25 to 122\n",
          "Ignored regions: 1\n  50 by 60 pixels from column 3, row 4\n"}) {
        EXPECT_NE(report.find(line), std::string::npos) << line << report;
    }
}

TEST_F(ModelCommands, ShowTellsTheSameAsJson)
{
    WriteFile(m_model, m_text);
    Run({"convert", m_model, "-o", m_out});
    const nlohmann::json report = nlohmann::json::parse(Run({"show", m_out, "--json"}));
    EXPECT_EQ(report["form"], "container");
    EXPECT_EQ(report["version"], 2);
    EXPECT_EQ(report["bytes"], m_text.size());
    EXPECT_EQ(report["root"], "::MV3DCamBase");
    EXPECT_EQ(report["calibrated"], true);
    EXPECT_EQ(report["sections"][0],
              nlohmann::json::parse(R"({"name": "::MV3DCamBase::MV3DCamBase", "line": 1, "keys": 2})"));
    EXPECT_EQ(report["working_space_mm"]["camera"], nlohmann::json::parse("[25.0, 41.0]"));
    EXPECT_EQ(report["pattern"]["stripe_edges"], 140);
    EXPECT_EQ(report["ignored_regions"], nlohmann::json::array());
}

TEST_F(ModelCommands, ShowTellsBothTargets)
{
    WriteFile(m_model, m_text);
    const std::string report = Run({"show", m_model});
    EXPECT_NE(report.find("Camera's target\n"
                          "  data file        registry (the installed target)\n"
                          "  squares          7 rows of 8\n"
                          "  number           none of its own\n"
                          "Projector's target\n"
                          "  data file        StandardParamsDiaA2\n"
                          "  marks            3 rows on 13 stripes, dark\n"),
              std::string::npos)
        << report;
    device::DeviceParameters parameters;
    parameters.slide = device::SlideWithBrightMarks();
    WriteFile(m_model, device::VirtualDevice(parameters).ParameterText(kModelRoot));
    const nlohmann::json json = nlohmann::json::parse(Run({"show", m_model, "--json"}));
    EXPECT_EQ(json["pattern"]["name"], "C");
    EXPECT_EQ(
        json["targets"]["camera"],
        nlohmann::json::parse(R"({"file": "registry", "rows": 7, "columns": 8, "number": "00000000"})"));
    EXPECT_EQ(json["targets"]["projector"]["file"], "StandardParamsDiaC");
    EXPECT_EQ(json["targets"]["projector"]["stripes"].size(), 11U);
}

TEST_F(ModelCommands, ShowEndsWithTheReportOnTheCalibration)
{
    WriteFile(m_model, m_text);
    const std::string report = Run({"show", m_model});
    EXPECT_NE(report.find("\nCalibration of the Structured Light System:\n\nCamera Position (World Co's):\n"),
              std::string::npos)
        << report;
    EXPECT_NE(report.find("\nInternal Projector Parameters:\n"), std::string::npos);
    EXPECT_TRUE(
        nlohmann::json::parse(Run({"show", m_model, "--json"}))["report"].get<std::string>().starts_with(
            "Calibration of the Structured Light System:\n\n"));
    WriteFile(m_model, Replaced(m_text, "Calibrated=1", "Calibrated=0"));
    EXPECT_TRUE(
        Run({"show", m_model}).ends_with("\nThe Structured Light System is currently not calibrated\n"));
}

TEST_F(ModelCommands, CheckTellsThatAModelIsSound)
{
    WriteFile(m_model, m_text);
    EXPECT_EQ(Run({"check", m_model}), m_model + " is sound\n");
    Run({"convert", m_model, "-o", m_out});
    EXPECT_EQ(nlohmann::json::parse(Run({"check", m_out, "--json"})),
              nlohmann::json::parse(R"({"file": ")" + m_out + R"(", "sound": true, "findings": []})"));
}

TEST_F(ModelCommands, CheckTellsLineSectionKeyAndRemedyAndFails)
{
    WriteFile(m_model, Replaced(m_text, "MaxDelta=0.02500000000000000139", "MaxDelta=two"));
    const std::string failure = Failure("'" + m_model + "' is not sound");
    EXPECT_EQ(Run({"check", m_model}),
              " line  kind   section, key: finding\n"
              "  138  error  ::PolynomKoma, MaxDelta: 'two' is no number; 0.02500000000000000139 is taken\n"
              "              -> write a number, with a point for its fraction\n" +
                  m_model + " is not sound\n" + failure);
    std::string json = Run({"check", m_model, "--json"});
    ASSERT_TRUE(json.ends_with(failure));
    json.resize(json.size() - failure.size());
    EXPECT_EQ(nlohmann::json::parse(json)["findings"][0],
              nlohmann::json::parse(R"({"kind": "error", "line": 138,
        "section": "::PolynomKoma", "key": "MaxDelta",
        "problem": "'two' is no number; 0.02500000000000000139 is taken",
        "advice": "write a number, with a point for its fraction"})"));
}

TEST_F(ModelCommands, CheckLeavesAModelSoundByNotes)
{
    WriteFile(m_model, Replaced(m_text, "FixedNrVisibleRows=3", "FixedNrVisibleRows=2"));
    EXPECT_EQ(
        Run({"check", m_model}),
        " line  kind   section, key: finding\n"
        "  192  note   ::ProjCalibBody::Thres, FixedNrVisibleRows: is 3 by the standard data of the slide\n"
        "              -> nothing: each reading takes the data of the pattern's slide\n" +
            m_model + " is sound\n");
}

TEST_F(ModelCommands, OfSeveralModelsTheRootTellsTheOne)
{
    WriteFile(m_model, m_text + Replaced(device::VirtualDevice().ParameterText("::Other"),
                                         "MinDistCamCoords=25", "MinDistCamCoords=27"));
    const auto least = [&](const std::vector<std::string>& arguments) {
        return nlohmann::json::parse(Run(arguments))["working_space_mm"]["camera"][0].get<double>();
    };
    EXPECT_EQ(least({"show", m_model, "--json"}), 25.0);
    EXPECT_EQ(least({"show", m_model, "--json", "--root", "::Other"}), 27.0);
}

TEST_F(ModelCommands, ARootThatTheTextLacksIsTold)
{
    WriteFile(m_model, m_text);
    for (const std::string command : {"show", "check"}) {
        EXPECT_EQ(Run({command, m_model, "--root", "::Other"}),
                  Failure("'" + m_model +
                          "' has no section of the root '::Other'; without --root its model is "
                          "that of '::MV3DCamBase'"));
    }
}

TEST_F(ModelCommands, ArgumentsThatMakeNoSenseAreRefused)
{
    EXPECT_TRUE(Run({}).starts_with("[2 "));
    EXPECT_TRUE(Run({"show"}).starts_with("[2 "));
    EXPECT_TRUE(Run({"convert", m_model}).starts_with("[2 "));
    EXPECT_TRUE(Run({"convert", m_model, "-o", m_out, "--to", "paper"}).starts_with("[2 "));
}

} // namespace
} // namespace app
