// Opening of image sources, and the files for the replay.
#include "scanner/app/imagesources.h"

#include "orx/platform/imagecodec.h"
#include "scanner/acquisition/posetext.h"
#include "scanner/acquisition/rawimages.h"
#include "scanner/app/filecontent.h"

#include <cstddef>
#include <span>
#include <stdexcept>

namespace app {

namespace {

void WriteFloats(const device::ImageF& image, const std::filesystem::path& file)
{
    const std::span<const float> greys = image.data;
    if (!platform::WriteTiff(
            file, {image.width, image.height, platform::EPixelFormat::eBgrFloat, std::as_bytes(greys)})) {
        throw WriteFailure(file);
    }
}

} // namespace

std::unique_ptr<acquisition::VirtualFrameGrabber> OpenVirtual(const acquisition::PairOptions& options)
{
    auto grabber = std::make_unique<acquisition::VirtualFrameGrabber>();
    std::vector<std::string> arguments{"seed=" + std::to_string(options.seed),
                                       "noise=" + acquisition::NumberText(options.noise)};
    if (options.mesh) {
        const device::MeshPose& pose = options.mesh->pose;
        arguments.push_back("mesh=" + options.mesh->file.string());
        arguments.push_back("pose=" + acquisition::PoseText(pose));
        arguments.push_back("scale=" + acquisition::NumberText(pose.scale));
    } else {
        arguments.push_back("scene=" + options.scene);
    }
    const auto result = grabber->Init(arguments);
    LxCV::LxAFrameGrabber::LogResult(result);
    if (result != LxCV::LxAFrameGrabber::eRC_OK) {
        throw std::runtime_error("cannot start the virtual device: " + grabber->GetFault());
    }
    return grabber;
}

std::unique_ptr<LxCV::LxCSimFrameGrabber> OpenReplay(const acquisition::Rendering& rendering,
                                                     const std::vector<std::filesystem::path>& files)
{
    return OpenReplay(
        {rendering.pair.pattern.width, rendering.pair.pattern.height, !(rendering.options.noise > 0.0)},
        files);
}

std::unique_ptr<LxCV::LxCSimFrameGrabber> OpenReplay(const RawFormat& format,
                                                     const std::vector<std::filesystem::path>& files)
{
    auto grabber = std::make_unique<LxCV::LxCSimFrameGrabber>();
    acquisition::DescribeRawImages(format.width, format.height, format.isFloat ? 0.0 : 1.0,
                                   *grabber->GetReqs());
    std::vector<std::string> paths;
    for (const std::filesystem::path& file : files) {
        RequireNoBackslash("cannot replay", file);
        paths.push_back(file.native());
    }
    const auto result = grabber->Init(paths);
    LxCV::LxAFrameGrabber::LogResult(result);
    if (result != LxCV::LxAFrameGrabber::eRC_OK) {
        throw std::runtime_error("cannot replay '" + files.front().string() + "'");
    }
    return grabber;
}

std::vector<std::filesystem::path> WriteReplayFiles(const acquisition::Rendering& rendering,
                                                    const std::filesystem::path& out)
{
    if (rendering.options.noise > 0.0) {
        return {out / "reference.png", out / "pattern.png"};
    }
    WriteFloats(rendering.pair.reference, out / "reference.tif");
    WriteFloats(rendering.pair.pattern, out / "pattern.tif");
    return {out / "reference.tif", out / "pattern.tif"};
}

} // namespace app
