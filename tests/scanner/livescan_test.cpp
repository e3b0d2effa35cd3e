#include "scanner/app/livescan.h"

#include "scanner/acquisition/virtualframegrabber.h"
#include "scanner/app/liveoperation.h"
#include "scanner/app/measurement.h"
#include "tests/scanner/commandrun.h"
#include "tests/scanner/scanfilereaders.h"
#include "tests/scanner/smalldevice.h"
#include "tests/scanner/testmodel.h"
#include "tests/support/heapuse.h"
#include "tests/support/temporaryfolder.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace app {
namespace {

using acquisition::ImagePair;
using Json = nlohmann::json;

constexpr int kWidth = 90;
constexpr int kHeight = 200;

/// A device that loses every third image.
class LossyGrabber : public acquisition::VirtualFrameGrabber
{
public:
    LossyGrabber() : VirtualFrameGrabber(device::SmallDevice(kWidth, kHeight)) {}

    LxCV::CCTImage* AcquireImageRaw(ELedType type) override
    {
        return ++m_asked % 3 == 0 ? nullptr : VirtualFrameGrabber::AcquireImageRaw(type);
    }

private:
    int m_asked = 0;
};

class LiveOperation : public testing::Test
{
protected:
    LiveOperation() { m_decoder.Init(kWidth, kHeight); }

    std::vector<LiveFrame> Run(acquisition::VirtualFrameGrabber& grabber, std::size_t frames)
    {
        EXPECT_EQ(grabber.Init({"scene=plane", "seed=5"}), 0);
        std::vector<LiveFrame> told;
        m_totals = RunLive(grabber, m_decoder, frames, m_images,
                           [&told](const LiveFrame& frame) { told.push_back(frame); });
        return told;
    }

    device::VirtualDevice m_device{device::SmallDevice(kWidth, kHeight)};
    std::unique_ptr<LxCV::LxCPinholeFramework> m_model = scannertest::LoadModel(m_device);
    decoder::Decoder m_decoder{*m_model};
    ImagePair m_images;
    LiveTotals m_totals;
};

TEST_F(LiveOperation, FramesAreTheOnesThatTheSourceDeliversOneByOne)
{
    acquisition::VirtualFrameGrabber grabber(device::SmallDevice(kWidth, kHeight));
    const std::vector<LiveFrame> frames = Run(grabber, 3);
    ASSERT_EQ(frames.size(), 3U);
    // The same pairs, which differ in their seed, through a decoder of their own each.
    for (std::size_t i = 0; i < frames.size(); ++i) {
        acquisition::VirtualFrameGrabber other(device::SmallDevice(kWidth, kHeight));
        ASSERT_EQ(other.Init({"scene=plane", "seed=" + std::to_string(5 + i)}), 0);
        const ImagePair images = acquisition::AcquirePair(other);
        decoder::Decoder decoder(*m_model);
        decoder.ComputeSignal(images.reference, images.pattern);
        decoder.FindEdges();
        decoder.ReadCodeWords();
        decoder.TraceEdges();
        decoder.Triangulate();
        EXPECT_EQ(frames[i].number, i + 1);
        EXPECT_FALSE(frames[i].isLost);
        EXPECT_GT(frames[i].points, 1000U);
        EXPECT_EQ(frames[i].points, decoder.GetPoints().size());
        EXPECT_GT(frames[i].decodeMs, 0.0);
    }
    EXPECT_EQ(m_totals.frames, 3U);
    EXPECT_EQ(m_totals.lost, 0U);
    EXPECT_EQ(grabber.AcquireImageRaw(LxCV::LxAFrameGrabber::eLT_Pat), nullptr) << "it is paused";
}

TEST_F(LiveOperation, RatesAreFramesByTime)
{
    acquisition::VirtualFrameGrabber grabber(device::SmallDevice(kWidth, kHeight));
    const std::vector<LiveFrame> frames = Run(grabber, 4);
    double sum = 0.0;
    for (const LiveFrame& frame : frames) {
        sum += frame.decodeMs;
    }
    EXPECT_DOUBLE_EQ(m_totals.decodeMs, sum);
    EXPECT_GT(m_totals.wholeMs, sum);
    EXPECT_DOUBLE_EQ(m_totals.DecodedPerSecond(), 4000.0 / sum);
    EXPECT_DOUBLE_EQ(m_totals.FramesPerSecond(), 4000.0 / m_totals.wholeMs);
    EXPECT_EQ(LiveTotals().DecodedPerSecond(), 0.0);
}

TEST_F(LiveOperation, LostFramesAreCountedAndPassedOver)
{
    LossyGrabber grabber;
    // Images are asked for as P R, P lost, P R, P lost ...: every second pair is lost.
    const std::vector<LiveFrame> frames = Run(grabber, 6);
    ASSERT_EQ(frames.size(), 6U);
    std::vector<bool> lost;
    for (const LiveFrame& frame : frames) {
        lost.push_back(frame.isLost);
        EXPECT_EQ(frame.points > 0, !frame.isLost);
    }
    EXPECT_EQ(lost, (std::vector<bool>{false, true, false, true, false, true}));
    EXPECT_EQ(m_totals.frames, 3U);
    EXPECT_EQ(m_totals.lost, 3U);
}

TEST_F(LiveOperation, ASourceThatDoesNotStartIsNamed)
{
    acquisition::VirtualFrameGrabber grabber(device::SmallDevice(kWidth, kHeight));
    try {
        RunLive(grabber, m_decoder, 1, m_images, [](const LiveFrame&) {});
        FAIL();
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "VirtualFrameGrabber does not start");
    }
}

TEST_F(LiveOperation, NoFrameKeepsMemory)
{
    constexpr std::size_t kFrames = 10;
    constexpr std::size_t kTolerance =
        std::size_t{2} * kFrames * 1024; // an image of a byte a pixel has 18000 bytes
    acquisition::VirtualFrameGrabber grabber(device::SmallDevice(kWidth, kHeight));
    Run(grabber, kFrames);
    const std::size_t before = TestSupport::HeapBytesInUse();
    Run(grabber, 3 * kFrames);
    const std::size_t after = TestSupport::HeapBytesInUse();
    EXPECT_LT(after, before + kTolerance);
    const std::vector<std::byte> kept(kTolerance);
    EXPECT_GE(TestSupport::HeapBytesInUse(), after + kept.size()) << "what is kept is seen";
}

/// The command, on the files of a small device or on the device as it is.
class LiveScan : public testing::Test
{
protected:
    LiveScan()
    {
        WriteRendering(acquisition::Render(
                           std::make_shared<device::VirtualDevice>(device::SmallDevice(kWidth, kHeight)), {}),
                       m_folder.GetPath());
    }

    std::string Replay(std::vector<std::string> options) const
    {
        options.insert(options.begin(), {"scan", m_folder / "reference.png", m_folder / "pattern.png",
                                         "--model", m_folder / "model.txt", "--grabber", "simulated"});
        return RunCommand(options);
    }

    TestSupport::CTemporaryFolder m_folder;
};

TEST_F(LiveScan, MeasuresTheVirtualDeviceWithItsOwnModel)
{
    const std::string file = m_folder / "last.ply";
    const Json report = Json::parse(RunCommand({"scan", "--grabber", "virtual", "--frames", "2", "--scene",
                                                "plane", "--seed", "3", "-o", file, "--json"}));
    EXPECT_EQ(report.at("grabber"), "virtual");
    EXPECT_EQ(report.at("decoded"), 2);
    EXPECT_EQ(report.at("lost"), 0);
    ASSERT_EQ(report.at("frames").size(), 2U);
    EXPECT_EQ(report.at("frames").at(1).at("frame"), 2);
    EXPECT_GT(report.at("frames").at(1).at("points"), 30000);
    EXPECT_GT(report.at("frames").at(1).at("decode_ms"), 0.0);
    EXPECT_GT(report.at("decode_fps"), report.at("fps"));
    EXPECT_GT(report.at("peak_memory_mb"), 1.0);
    EXPECT_EQ(report.at("files").at(0).at("file"), file);
    EXPECT_EQ(scantest::ReadPly(file).size(), report.at("frames").at(1).at("points"));
}

TEST_F(LiveScan, MeasuresTheVirtualDeviceAsTheDemoDoes)
{
    // The same images, model and coupling of the colours.
    const std::string demo = m_folder / "demo";
    RunCommand({"demo", "--scene", "plane", "--seed", "3", "--no-report", "--out", demo});
    RunCommand({"scan", "--grabber", "virtual", "--frames", "1", "--scene", "plane", "--seed", "3", "-o",
                m_folder / "last.3d"});
    const std::string points = TestSupport::ReadFile(demo + "/scan.3d");
    EXPECT_GT(points.size(), 1'000'000U);
    EXPECT_TRUE(TestSupport::ReadFile(m_folder / "last.3d") == points);
}

TEST_F(LiveScan, ReplaysFilesAsOftenAsAskedFor)
{
    const Json once =
        Json::parse(RunCommand({"scan", m_folder / "reference.png", m_folder / "pattern.png", "--model",
                                m_folder / "model.txt", "--json", "-o", m_folder / "once.xyz"}));
    const Json report = Json::parse(Replay({"--frames", "3", "--json", "-o", m_folder / "last.xyz"}));
    ASSERT_EQ(report.at("frames").size(), 3U);
    for (const Json& frame : report.at("frames")) {
        EXPECT_EQ(frame.at("points"), once.at("points"));
    }
    EXPECT_EQ(TestSupport::ReadFile(m_folder / "last.xyz"), TestSupport::ReadFile(m_folder / "once.xyz"));
}

TEST_F(LiveScan, PrintsALineAFrame)
{
    const std::string points =
        Json::parse(Replay({"--frames", "1", "--json"})).at("frames")[0]["points"].dump();
    std::istringstream report(Replay({"--frames", "2"}));
    std::vector<std::string> lines;
    for (std::string line; std::getline(report, line);) {
        lines.push_back(line);
    }
    ASSERT_EQ(lines.size(), 7U);
    const std::string begin = "frame      1" + std::string(7 - points.size(), ' ') + points + " points";
    EXPECT_EQ(lines[0].substr(0, begin.size()), begin);
    EXPECT_EQ(lines[0].substr(lines[0].size() - 3), " ms");
    EXPECT_EQ(lines[1].substr(0, 12), "frame      2");
    EXPECT_EQ(lines[2], "  frames            2");
    EXPECT_EQ(lines[3], "  lost              0");
    EXPECT_EQ(lines[4].substr(0, 20), "  decoding          ");
    EXPECT_EQ(lines[5].substr(0, 20), "  whole             ");
    EXPECT_NE(lines[5].find(" frames per second"), std::string::npos);
    EXPECT_EQ(lines[6].substr(0, 20), "  peak memory       ");
}

TEST_F(LiveScan, ASourceThatDeliversNothingIsAnError)
{
    std::filesystem::rename(m_folder / "reference.png", m_folder / "white.png");
    EXPECT_EQ(RunCommand({"scan", m_folder / "white.png", m_folder / "pattern.png", "--model",
                          m_folder / "model.txt", "--grabber", "simulated", "--frames", "2", "--json"}),
              Failure("the source delivers no pair of images: the replay tells images by their file names, "
                      "which want 'ref' or 'Ref' for the reference image and 'pat' or 'Pat' for the pattern "
                      "image"));
}

TEST_F(LiveScan, ReplayedImagesMustBeOfOneKind)
{
    const std::string grey = m_folder / "ref.pgm";
    TestSupport::WriteFile(grey, "P5 90 200 255\n" + std::string(std::size_t{kWidth} * kHeight, 'd'));
    const std::string pattern = m_folder / "pattern.png";
    EXPECT_EQ(
        RunCommand({"scan", grey, pattern, "--model", m_folder / "model.txt", "--grabber", "simulated"}),
        Failure("'" + grey + "' and '" + pattern +
                "' differ in size or type: the replay wants images of one camera"));
    const std::string other = m_folder / "pat.pgm";
    std::filesystem::copy_file(grey, other);
    EXPECT_EQ(
        RunCommand({"scan", grey, other, "--model", m_folder / "model.txt", "--grabber", "simulated"}),
        Failure("'" + grey + "' cannot be replayed: that takes colours of 8 bits or floats, without alpha"));
}

TEST_F(LiveScan, AModelOfAnotherSizeIsRefused)
{
    const std::string model = m_folder / "model.txt";
    TestSupport::WriteFile(model,
                           device::VirtualDevice(device::SmallDevice(80, 100)).ParameterText(kModelRoot));
    EXPECT_EQ(
        Replay({}),
        Failure("the model '" + model +
                "' was calibrated with images of 80 by 100 pixels, and these have 90 by 200 pixels: take "
                "the model of the camera that took them, or images as that camera took them"));
}

/// What is printed of a wrong use.
std::string Misuse(const std::string& message)
{
    return "[2 " + message + "\nRun with --help for more information.\n]";
}

TEST_F(LiveScan, TheVirtualDeviceTakesNoFiles)
{
    const std::string expected = Misuse("REF: the virtual device takes images of its own");
    const std::string image = m_folder / "reference.png";
    EXPECT_EQ(RunCommand({"scan", "--grabber", "virtual", image, m_folder / "pattern.png"}), expected);
    EXPECT_EQ(RunCommand({"scan", "--grabber", "virtual", image}), expected);
}

TEST_F(LiveScan, FilesAreWantedAllThree)
{
    const std::string expected = Misuse("scan: wants REF, PAT and --model, or --grabber virtual");
    const std::string reference = m_folder / "reference.png";
    const std::string pattern = m_folder / "pattern.png";
    const std::string model = m_folder / "model.txt";
    for (const std::vector<std::string>& arguments : {
             std::vector<std::string>{"scan"},
             {"scan", reference, pattern},
             {"scan", reference, "--model", model},
             {"scan", "--grabber", "simulated", reference, pattern},
             {"scan", "--grabber", "simulated", reference, "--model", model},
             {"scan", "--grabber", "simulated", "--model", model},
         }) {
        EXPECT_EQ(RunCommand(arguments), expected) << testing::PrintToString(arguments);
    }
}

TEST_F(LiveScan, OnlyTheVirtualDeviceIsToldWhatItSees)
{
    const std::string mesh = m_folder / "mesh.obj";
    for (const auto& [name, value] : {std::pair{"--scene", "plane"}, {"--seed", "1"}, {"--noise", "0"}}) {
        const std::string expected =
            Misuse(std::string(name) + ": tells the virtual device what it sees; it wants --grabber virtual");
        EXPECT_EQ(Replay({name, value}), expected);
        EXPECT_EQ(RunCommand({"scan", m_folder / "reference.png", m_folder / "pattern.png", "--model",
                              m_folder / "model.txt", name, value}),
                  expected);
    }
    const std::string more = ": tells the virtual device what it sees; it wants --grabber virtual";
    EXPECT_EQ(Replay({"--mesh", mesh}), Misuse("--mesh" + more));
    EXPECT_EQ(Replay({"--mesh", mesh, "--pose", "0,0,0"}), Misuse("--mesh" + more));
}

TEST_F(LiveScan, OptionsOutOfTheirRangeAreRefused)
{
    EXPECT_EQ(RunCommand({"scan", "--grabber", "teapot"}),
              Misuse("--grabber: teapot not in {virtual,simulated}"));
    for (const std::string frames : {"0", "1000001"}) {
        EXPECT_EQ(RunCommand({"scan", "--grabber", "virtual", "--frames", frames}),
                  Misuse("--frames: Value " + frames + " is no number from 1 to 1000000"));
    }
}

TEST_F(LiveScan, LiveOperationAndItsOptionsGoTogether)
{
    EXPECT_EQ(RunCommand({"scan", "--grabber", "virtual", "--report", m_folder / "report.html"}),
              Misuse("--report excludes --grabber"));
    EXPECT_EQ(RunCommand({"scan", m_folder / "reference.png", m_folder / "pattern.png", "--model",
                          m_folder / "model.txt", "--frames", "2"}),
              Misuse("--frames requires --grabber"));
}

} // namespace
} // namespace app
