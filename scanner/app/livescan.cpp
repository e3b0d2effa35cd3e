// Image sources, frames and totals of live operation.
#include "scanner/app/livescan.h"

#include "lxaframegrabber.h"
#include "lxcpinholeframework.h"
#include "scanner/app/algorithmfile.h"
#include "scanner/app/cornerreport.h"
#include "scanner/app/imagefiles.h"
#include "scanner/app/imagesources.h"
#include "scanner/app/jsonreport.h"
#include "scanner/app/liveoperation.h"
#include "scanner/app/measurement.h"
#include "scanner/app/measuringmodel.h"
#include "scanner/app/processmemory.h"
#include "scanner/app/scanoutput.h"
#include "scanner/calibration/devicecoupling.h"
#include "scanner/calibration/modelreading.h"

#include <iomanip>
#include <memory>
#include <ostream>
#include <stdexcept>
#include <vector>

namespace app {

namespace {

using LxCV::CCTImage;
using LxCV::LxCPinholeFramework;

/// An image source with the model of its camera.
struct LiveSource
{
    std::unique_ptr<LxCV::LxAFrameGrabber> grabber;
    std::unique_ptr<LxCPinholeFramework> model;
    std::string modelName; ///< for messages
    decoder::DecoderConfig config{};
};

LiveSource OpenVirtualSource(const LiveOptions& options)
{
    std::unique_ptr<acquisition::VirtualFrameGrabber> grabber = OpenVirtual(options.pair);
    LiveSource source{nullptr, nullptr, "the virtual device"};
    const device::VirtualDevice& device = *grabber->GetRendering()->device;
    calibration::SetCoupling(device.Parameters().optics, source.config.algorithm);
    if (options.model.empty()) {
        source.model = calibration::ReadModel(device.ParameterText(kModelRoot), kModelRoot);
    }
    source.grabber = std::move(grabber);
    return source;
}

/// Raw images of the replay are of one type and size, and of kinds that the source takes.
RawFormat FormatOf(const LiveOptions& options)
{
    const CCTImage reference = LoadImage(options.reference);
    const CCTImage pattern = LoadImage(options.pattern);
    if (!reference.DoTypeAndDimMatchWith(pattern)) {
        throw std::runtime_error("'" + options.reference.string() + "' and '" + options.pattern.string() +
                                 "' differ in size or type: the replay wants images of one camera");
    }
    const CCTImage::EImageDataType type = reference.GetDataType();
    if (type != CCTImage::eIDT_BGRU8 && type != CCTImage::eIDT_FLOAT32_3) {
        throw std::runtime_error(
            "'" + options.reference.string() +
            "' cannot be replayed: that takes colours of 8 bits or floats, without alpha");
    }
    return {reference.GetWidth(), reference.GetHeight(), type == CCTImage::eIDT_FLOAT32_3};
}

LiveSource OpenSimulatedSource(const LiveOptions& options)
{
    return {OpenReplay(FormatOf(options), {options.reference, options.pattern}), nullptr, "", {}};
}

LiveSource Open(const LiveOptions& options)
{
    LiveSource source =
        options.grabber == kVirtualSource ? OpenVirtualSource(options) : OpenSimulatedSource(options);
    if (!options.model.empty()) {
        source.model =
            LoadMeasuringModel(options.model, options.algorithm.empty() ? &source.config.algorithm : nullptr);
        source.modelName = ModelName(options.model);
    }
    if (!options.algorithm.empty()) {
        LoadAlgorithm(options.algorithm, source.config.algorithm);
    }
    return source;
}

void RequireFrames(const LiveOptions& options, const LiveTotals& totals)
{
    if (totals.frames == 0) {
        throw std::runtime_error(
            "the source delivers no pair of images" +
            std::string(
                options.grabber == kSimulatedSource
                    ? ": the replay tells images by their file names, which want 'ref' or 'Ref' for the "
                      "reference image and 'pat' or 'Pat' for the pattern image"
                    : ""));
    }
}

nlohmann::ordered_json ToJson(const LiveFrame& frame)
{
    if (frame.isLost) {
        return {{"frame", frame.number}, {"lost", true}};
    }
    return {{"frame", frame.number}, {"points", frame.points}, {"decode_ms", frame.decodeMs}};
}

void Print(const LiveFrame& frame, std::ostream& out)
{
    constexpr int numberWidth = 6;
    constexpr int countWidth = 7;
    constexpr int timeWidth = 8;
    out << "frame " << std::setw(numberWidth) << frame.number;
    if (frame.isLost) {
        out << "  lost\n";
    } else {
        out << std::setw(countWidth) << frame.points << " points" << std::fixed << std::setprecision(1)
            << std::setw(timeWidth) << frame.decodeMs << " ms\n";
    }
    out.flush();
}

void PrintTotals(const LiveOptions& options, const LiveTotals& totals, std::ostream& out)
{
    Label(out, "frames") << totals.frames << "\n";
    Label(out, "lost") << totals.lost << "\n";
    out << std::fixed << std::setprecision(1);
    Label(out, "decoding") << totals.DecodedPerSecond() << " frames per second\n";
    Label(out, "whole") << totals.FramesPerSecond() << " frames per second\n";
    PrintFiles(options, out);
}

void PrintTotalsAsJson(const LiveOptions& options, const LiveTotals& totals,
                       const std::vector<LiveFrame>& frames, std::ostream& out)
{
    nlohmann::ordered_json json;
    json["grabber"] = options.grabber;
    json["frames"] = nlohmann::ordered_json::array();
    for (const LiveFrame& frame : frames) {
        json["frames"].push_back(ToJson(frame));
    }
    json["decoded"] = totals.frames;
    json["lost"] = totals.lost;
    json["decode_fps"] = totals.DecodedPerSecond();
    json["fps"] = totals.FramesPerSecond();
    json["files"] = FilesToJson(options);
    json["peak_memory_mb"] = PeakMemoryMb();
    PrintJson(out, json);
}

} // namespace

void RunLiveScan(const LiveOptions& options, std::ostream& out)
{
    RequireInputsStay(options);
    LiveSource source = Open(options);
    const int width = source.grabber->GetWidth();
    const int height = source.grabber->GetHeight();
    RequireCalibrated(*source.model, source.modelName, width, height);
    source.config.useTable = !options.exact;
    decoder::Decoder decoder(*source.model, source.config);
    decoder.Init(width, height);

    acquisition::ImagePair images;
    // Their JSON is made afterwards: small pieces of memory that stay from each frame would keep the memory that an image
    // was read into from being used for the next one.
    std::vector<LiveFrame> frames;
    const LiveTotals totals =
        RunLive(*source.grabber, decoder, options.frames, images, [&](const LiveFrame& frame) {
            if (options.json) {
                frames.push_back(frame);
            } else {
                Print(frame, out);
            }
        });
    RequireFrames(options, totals);
    const RecordCloud cloud = CloudOf(decoder.GetPoints(), decoder.GetRecord());
    WriteScanFiles(options, {decoder.GetRecord(), cloud});
    if (options.json) {
        PrintTotalsAsJson(options, totals, frames, out);
    } else {
        PrintTotals(options, totals, out);
    }
}

} // namespace app
