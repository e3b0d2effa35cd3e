// Loading of models, and what keeps one from measuring.
#include "scanner/app/measuringmodel.h"

#include "lxcintrinsicparams.h"
#include "lxcpinholecamera.h"
#include "lxcpinholeframework.h"
#include "scanner/app/imagefiles.h"
#include "scanner/app/modelfile.h"
#include "scanner/calibration/algorithmtext.h"
#include "scanner/calibration/modelcheck.h"
#include "scanner/calibration/modeltext.h"

#include <stdexcept>
#include <utility>
#include <vector>

namespace app {

using LxCV::LxCPinholeFramework;

namespace {

/// A model that is read as something else than is meant would measure, and wrongly.
void RequireNoObstacle(std::vector<calibration::ModelFinding> obstacles, const std::string& root)
{
    if (!obstacles.empty()) {
        obstacles.front().section.insert(0, root);
        throw std::runtime_error(calibration::FindingText(obstacles.front()) +
                                 (obstacles.size() == 1 ? "" : "; 'lumorad model check' tells everything"));
    }
}

} // namespace

std::unique_ptr<LxCPinholeFramework> LoadMeasuringModel(const std::filesystem::path& file,
                                                        LxCV::LxCCCLAlgoConfig* algorithm)
{
    const ModelFile source = ReadModelFile(file);
    const std::vector<calibration::ModelSection> sections = calibration::SplitModelText(source.text);
    const std::string root = RequireModelRoot(file, sections);
    try {
        calibration::CheckedModel checked = calibration::ReadForMeasuring(source.text, root);
        RequireNoObstacle(std::move(checked.obstacles), root);
        if (algorithm != nullptr) {
            calibration::TakeAlgorithm(source.text, sections, *algorithm);
        }
        return std::move(checked.model);
    } catch (const std::runtime_error& error) {
        throw std::runtime_error("'" + file.string() + "': " + error.what());
    }
}

std::string ModelName(const std::filesystem::path& file)
{
    return "the model '" + file.string() + "'";
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
                             SizeText(intrinsics.GetImageWidth(), intrinsics.GetImageHeight()) +
                             ", and these have " + SizeText(width, height) +
                             ": take the model of the camera that took them, or images as that camera took "
                             "them");
}

} // namespace app
