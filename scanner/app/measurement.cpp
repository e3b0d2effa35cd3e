// Rendering, measuring and writing of results.
#include "scanner/app/measurement.h"

#include "cctimage.h"
#include "lxccctserializer.h"
#include "lxcpinholeframework.h"
#include "scanner/decoder/decoder.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace app {

namespace {

ColourImage Picture(const device::ImageF& image)
{
    return ColourImage::FromBgr(image.width, image.height, image.data);
}

void WriteText(const std::filesystem::path& file, const std::string& text)
{
    std::ofstream stream(file, std::ios::binary);
    stream << text;
    stream.close();
    if (!stream) {
        throw std::runtime_error("cannot write " + file.string());
    }
}

/// The library's path texts take a backslash for a separator, which is a letter in a path of this system; so the
/// file is opened here.
void LoadModel(const std::filesystem::path& file, LxCV::LxCPinholeFramework& model)
{
    std::stringstream text;
    std::ifstream stream(file, std::ios::binary);
    text << stream.rdbuf();
    LxCV::LxCCCTSerializer serializer;
    serializer.ReadFromStringStream(text);
    if (!stream || !serializer.Init(false, false)) {
        throw std::runtime_error("cannot read the model " + file.string());
    }
    try {
        model.Serialize(serializer, kModelRoot);
    } catch (const std::exception& error) {
        throw std::runtime_error("the model " + file.string() + " is damaged: " + error.what());
    }
}

/// A view of the device's image; the library does not change it.
LxCV::CCTImage Wrap(const device::ImageF& image)
{
    return {image.width, image.height, LxCV::CCTImage::eIDT_FLOAT32_3, false,
            const_cast<float*>(image.data.data())};
}

CloudPoint ToCloudPoint(const decoder::MeasuredPoint& point, const ColourImage& reference)
{
    const int row = std::clamp(static_cast<int>(std::lround(point.edge.row)), 0, reference.GetHeight() - 1);
    return {{point.position.x, point.position.y, point.position.z},
            point.edge.column,
            point.edge.row,
            reference.At(point.edge.column, row)};
}

} // namespace

void CreateFolder(const std::filesystem::path& folder)
{
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    if (error) {
        throw std::runtime_error("cannot create the folder " + folder.string() + ": " + error.message());
    }
}

Rendering Render(const SceneOptions& options)
{
    Rendering rendering{device::VirtualDevice(), device::MakeScene(options.scene), {}};
    device::RenderOptions renderOptions;
    renderOptions.seed = options.seed;
    renderOptions.noise = options.noise;
    rendering.pair = rendering.device.RenderPair(*rendering.scene, renderOptions);
    return rendering;
}

void WriteRendering(const Rendering& rendering, const std::filesystem::path& out)
{
    Picture(rendering.pair.reference).WritePng(out / "reference.png");
    Picture(rendering.pair.pattern).WritePng(out / "pattern.png");
    WriteText(out / "model.txt", rendering.device.ParameterText(kModelRoot));
}

Measurement Measure(const Rendering& rendering, const std::filesystem::path& modelFile, Progress& progress)
{
    const device::RenderedPair& pair = rendering.pair;
    LxCV::LxCPinholeFramework model;
    progress.Run("load model", [&] { LoadModel(modelFile, model); });
    if (model.GetStatus(pair.pattern.width, pair.pattern.height) != LxCV::LxCPinholeFramework::eOk) {
        throw std::runtime_error(modelFile.string() + " is no calibrated model for images of this size");
    }
    decoder::Decoder decoder(model);
    decoder.Init(pair.pattern.width, pair.pattern.height);
    const LxCV::CCTImage reference = Wrap(pair.reference);
    const LxCV::CCTImage pattern = Wrap(pair.pattern);
    progress.Run("remove texture", [&] { decoder.ComputeSignal(reference, pattern); });
    progress.Run("find edges", [&] { decoder.FindEdges(); });
    progress.Run("read code words", [&] { decoder.ReadCodeWords(); });
    progress.Run("trace edges", [&] { decoder.TraceEdges(); });
    progress.Run("triangulate", [&] { decoder.Triangulate(); });

    Measurement measurement;
    progress.Run("compare", [&] {
        measurement.accuracy =
            CompareWithTruth(rendering.device, *rendering.scene, pair.truth, decoder.GetPoints());
    });
    const ColourImage colours = Picture(pair.reference);
    for (const decoder::MeasuredPoint& point : decoder.GetPoints()) {
        measurement.cloud.push_back(ToCloudPoint(point, colours));
    }
    return measurement;
}

void WriteMeasurement(const Rendering& rendering, const Measurement& measurement,
                      const std::filesystem::path& out)
{
    const device::RenderedPair& pair = rendering.pair;
    WritePly(out / "cloud.ply", measurement.cloud);
    const auto [nearest, farthest] = DepthRange(measurement.cloud);
    const ColourImage depth =
        PaintDepth(pair.pattern.width, pair.pattern.height, measurement.cloud, nearest, farthest);
    depth.WritePng(out / "depth.png");

    constexpr int kGap = 8;
    constexpr Rgb kPaper = {255, 255, 255};
    ColourImage overview(3 * depth.GetWidth() + 2 * kGap, depth.GetHeight(), kPaper);
    overview.Paste(Picture(pair.reference), 0, 0);
    overview.Paste(Picture(pair.pattern), depth.GetWidth() + kGap, 0);
    overview.Paste(depth, 2 * (depth.GetWidth() + kGap), 0);
    overview.WritePng(out / "overview.png");
}

} // namespace app
