// Loading of models, and what keeps one from measuring.
#include "scanner/app/measuringmodel.h"

#include "lxcintrinsicparams.h"
#include "lxcpinholecamera.h"
#include "lxcpinholeframework.h"
#include "scanner/app/modelfile.h"
#include "scanner/calibration/modelreading.h"
#include "scanner/calibration/modeltext.h"

#include <cmath>
#include <stdexcept>

namespace app {

namespace {

using LxCV::LxCPinholeFramework;

std::string SizeText(double width, double height)
{
    return std::to_string(std::lround(width)) + " by " + std::to_string(std::lround(height)) + " pixels";
}

} // namespace

std::unique_ptr<LxCPinholeFramework> LoadMeasuringModel(const std::filesystem::path& file)
{
    const ModelFile source = ReadModelFile(file);
    const std::string root = RequireModelRoot(file, calibration::SplitModelText(source.text));
    try {
        return calibration::ReadModel(source.text, root);
    } catch (const calibration::ModelError& error) {
        throw std::runtime_error("'" + file.string() + "': " + error.what());
    }
}

void RequireCalibrated(const LxCPinholeFramework& model, const std::string& name, int width, int height)
{
    switch (model.GetStatus(width, height)) {
    case LxCPinholeFramework::eOk:
        return;
    case LxCPinholeFramework::eNotCalibrated:
        throw std::runtime_error(name + " is not calibrated: 'lumorad model check' tells what it lacks");
    case LxCPinholeFramework::eInvalidPattern:
        throw std::runtime_error(name +
                                 " has no usable pattern: 'lumorad model check' tells what is wrong with it");
    case LxCPinholeFramework::eImageSizeMismatch:
        break;
    }
    const LxCV::LxCIntrinsicParams& intrinsics = *model.GetCamera()->GetIntrinsicParams();
    throw std::runtime_error(name + " was calibrated with images of " +
                             SizeText(intrinsics.GetExactImageWidth(), intrinsics.GetExactImageHeight()) +
                             ", and these have " + SizeText(width, height) +
                             ": take the model of the camera that took them, or images as that camera took "
                             "them");
}

} // namespace app
