// Measuring and writing of results.
#include "scanner/app/measurement.h"

#include "cctimage.h"
#include "lxcpinholeframework.h"
#include "lxsscandatacct.h"
#include "scanner/app/decoding.h"
#include "scanner/app/filecontent.h"
#include "scanner/app/measuringmodel.h"
#include "scanner/app/scanfiles.h"
#include "scanner/decoder/decoder.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <fstream>
#include <stdexcept>
#include <string>
#include <system_error>

namespace app {

namespace {

ColourImage Picture(const device::ImageF& image)
{
    return ColourImage::FromBgr(image.width, image.height, image.data);
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
        throw std::runtime_error("cannot create the folder '" + folder.string() + "': " + error.message());
    }
}

void WriteText(const std::filesystem::path& file, const std::string& text)
{
    std::ofstream stream(file, std::ios::binary);
    stream << text;
    stream.close();
    if (!stream) {
        throw WriteFailure(file);
    }
}

void WriteRendering(const acquisition::Rendering& rendering, const std::filesystem::path& out)
{
    Picture(rendering.pair.reference).WritePng(out / "reference.png");
    Picture(rendering.pair.pattern).WritePng(out / "pattern.png");
    WriteText(out / "model.txt", rendering.device->ParameterText(kModelRoot));
}

Measurement Measure(const acquisition::ImagePair& images, const acquisition::Rendering& rendering,
                    const std::filesystem::path& modelFile, ETriangulation triangulation, Progress& progress)
{
    const int width = images.pattern.GetWidth();
    const int height = images.pattern.GetHeight();
    std::shared_ptr<LxCV::LxCPinholeFramework> model;
    decoder::DecoderConfig config;
    config.useTable = triangulation == ETriangulation::eTable;
    progress.Run("load model", [&] { model = LoadMeasuringModel(modelFile, &config.algorithm); });
    RequireCalibrated(*model, ModelName(modelFile), width, height);
    const auto measuring = std::make_shared<decoder::Decoder>(*model, config);
    decoder::Decoder& decoder = *measuring;
    progress.Run("prepare", [&] { decoder.Init(width, height); });
    Decode(decoder, images, [&progress](const char* stage, auto work) { progress.Run(stage, work); });

    Measurement measurement{model, measuring, {}, {}, {}};
    progress.Run("compare", [&] {
        measurement.accuracy =
            acceptance::CompareWithTruth(*rendering.device, *rendering.scene, rendering.pair.truth,
                                         decoder.GetRegion(), decoder.GetPoints());
        if (config.useTable) {
            measurement.table = acceptance::CompareWithComputed(*model, decoder.GetPoints());
        }
    });
    const ColourImage colours = ColourImage::FromLevels(images.reference);
    for (const decoder::MeasuredPoint& point : decoder.GetPoints()) {
        measurement.cloud.push_back(ToCloudPoint(point, colours));
    }
    return measurement;
}

void WriteMeasurement(const acquisition::Rendering& rendering, const Measurement& measurement,
                      const std::filesystem::path& out)
{
    const device::RenderedPair& pair = rendering.pair;
    WritePly(out / "cloud.ply", measurement.cloud);
    Write3DFile(measurement.decoder->GetRecord(), out / "scan.3d");
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
