#include "scanner/calibration/calibrationcheck.h"

#include "lxccalibbody.h"
#include "lxcpinholeframework.h"
#include "orx/logging/logger.h"
#include "scanner/calibration/boardaccuracy.h"
#include "scanner/calibration/boardlocator.h"
#include "scanner/calibration/imageview.h"
#include "scanner/calibration/slideaccuracy.h"
#include "scanner/calibration/slideexperiment.h"

#include <array>
#include <cmath>
#include <locale>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace calibration {

namespace {

using LxCV::ECalibError;
using LxCV::LxCCalibrationData;
using LxCV::LxCPinholeCamera;
using LxCV::LxCPinholeFramework;

constexpr double c_boardNoise = 2.0; // grey levels

constexpr std::array<Perturbation, 5> c_perturbations{
    {{"camera-focal-length", "the camera's focal length is 0.1 percent too long",
      [](device::DeviceParameters& model) { model.camera.focalLength *= 1.001; }},
     {"camera-centre", "the camera's principal point is 0.5 pixels too far right",
      [](device::DeviceParameters& model) { model.camera.centreX += 0.5; }},
     {"camera-distortion", "the camera's quadratic distortion is 10 percent too strong",
      [](device::DeviceParameters& model) { model.camera.k2 *= 1.1; }},
     {"projector-focal-length", "the projector's focal length is 0.1 percent too long",
      [](device::DeviceParameters& model) { model.projector.focalLength *= 1.001; }},
     {"projector-angle", "the projector is turned by 0.0005 radians about its x axis",
      [](device::DeviceParameters& model) { model.projectorFromCamera.rx += 0.0005; }}}};

/// The board's placement with the origin of the target's frame in the middle of the corners, as the library has it.
device::Placement FromMiddle(const device::Checkerboard& board, device::Placement placement)
{
    const double middle = 0.5 * (board.squareBegin + board.squareEnd);
    const device::Vec3 shift =
        device::RotationOf(placement) * device::Vec3{0.5 * board.pitch * (board.columns - 1) + middle,
                                                     0.5 * board.pitch * (board.rows - 1) + middle, 0.0};
    placement.tx += shift.x;
    placement.ty += shift.y;
    placement.tz += shift.z;
    return placement;
}

/// The box around a board's corners, each side moved outwards by 1.5 percent of the extent, as the library's targets
/// have it by default.
TargetBox BoxOf(const device::Checkerboard& board)
{
    constexpr double margin = 0.015;
    const double side = board.squareEnd - board.squareBegin;
    const double width = board.pitch * (board.columns - 1) + side;
    const double height = board.pitch * (board.rows - 1) + side;
    const double x = (0.5 + margin) * width, y = (0.5 + margin) * height;
    return {-x, -y, x, y};
}

device::DeviceParameters TrueParameters(const CalibrationCheck& check)
{
    device::DeviceParameters parameters;
    parameters.slide = SlideParametersOf(check.slide);
    parameters.optics.cameraBlur = check.blur;
    return parameters;
}

device::DeviceParameters ModelParameters(const CalibrationCheck& check)
{
    device::DeviceParameters parameters = TrueParameters(check);
    if (check.perturbation != nullptr) {
        check.perturbation->apply(parameters);
    }
    return parameters;
}

std::vector<double> Lengths(const std::vector<device::Vec2>& errors)
{
    std::vector<double> lengths;
    lengths.reserve(errors.size());
    for (const device::Vec2& error : errors) {
        lengths.push_back(std::hypot(error.x, error.y));
    }
    return lengths;
}

/// Copies for the library, which takes them over.
std::vector<LxCCalibrationData*> CopiesOf(std::span<const LxCCalibrationData> records)
{
    std::vector<LxCCalibrationData*> copies;
    copies.reserve(records.size());
    for (const LxCCalibrationData& record : records) {
        copies.push_back(std::make_unique<LxCCalibrationData>(record).release());
    }
    return copies;
}

/// Errors of one device over all views.
struct AllErrors
{
    std::vector<double> noise;
    std::vector<double> computed;

    void Add(const std::vector<double>& noiseOfView, const std::vector<double>& computedOfView)
    {
        noise.insert(noise.end(), noiseOfView.begin(), noiseOfView.end());
        computed.insert(computed.end(), computedOfView.begin(), computedOfView.end());
    }

    void Summarise(DeviceErrors& errors) const
    {
        errors.noise = FiguresOf(noise);
        errors.computed = FiguresOf(computed);
    }
};

/// The largest difference between the library's figures and the computed ones; not a number if any is none.
double LargestDifference(const CalibrationCheckResult& result)
{
    std::vector<double> differences;
    const auto compare = [&](const DeviceErrors& errors) {
        differences.push_back(DifferenceOf(errors.library, errors.computed));
    };
    for (const ViewCheck& view : result.views) {
        compare(view.camera);
        compare(view.projector);
    }
    compare(result.camera);
    compare(result.projector);
    return FiguresOf(differences).largest;
}

class Checker
{
public:
    explicit Checker(const CalibrationCheck& check)
        : m_check(check), m_device(TrueParameters(check)), m_assumed(ModelParameters(check)),
          m_locatingModel(MakeModel(m_device)), m_model(MakeModel(m_assumed)),
          m_slideLocator(check.slide, *m_locatingModel), m_box(BoxOf(check.board))
    {
        m_boardLocator.UseBoard(check.board);
        std::istringstream board(DataFileOf(check.board));
        if (m_model->GetCamCalibBody()->Read3DCoordsFromStream(board) != LxCV::eCalibOk) {
            throw std::runtime_error("the model's target takes no coordinates");
        }
    }

    CalibrationCheckResult Run()
    {
        for (std::size_t view = 0; view < m_check.views; ++view) {
            AddView(m_check.seed + view);
        }
        Summarise();
        WriteMarks();
        return std::move(m_result);
    }

private:
    void AddView(std::uint64_t seed);
    void AddBoard(const device::Placement& cameraFromBoard, const device::RigidMotion& cameraFromTarget,
                  ViewCheck& view);
    void AddSlide(const device::RigidMotion& cameraFromTarget, ViewCheck& view);
    void AddCameraRecords(const std::vector<LxCCalibrationData>& records, ViewCheck& view);
    void AddProjectorRecords(const std::vector<LxCCalibrationData>& records, ViewCheck& view);
    void Summarise();
    void WriteMarks() const;

    const CalibrationCheck& m_check;
    device::VirtualDevice m_device;                       ///< what renders
    device::VirtualDevice m_assumed;                      ///< what the model says
    std::unique_ptr<LxCPinholeFramework> m_locatingModel; ///< true: names of marks are not what is checked
    std::unique_ptr<LxCPinholeFramework> m_model;
    BoardLocator m_boardLocator;
    SlideLocator m_slideLocator;
    TargetBox m_box;
    std::vector<LxCV::LxCCoordSysTrans> m_placements; ///< of the camera in its views
    AllErrors m_camera;
    AllErrors m_projector;
    std::vector<double> m_slideInImage; ///< pixels
    CalibrationCheckResult m_result;
};

void Checker::AddView(std::uint64_t seed)
{
    ViewCheck view;
    view.seed = seed;
    const device::Placement cameraFromBoard =
        device::DrawBoardPlacement(m_check.board, m_device.Parameters().camera, m_check.range, seed);
    const device::Placement placement = FromMiddle(m_check.board, cameraFromBoard);
    const device::RigidMotion cameraFromTarget(placement);
    m_model->GetCamera()->ReadFromEulerAnglesAndVector(placement.rx, placement.ry, placement.rz, placement.tx,
                                                       placement.ty, placement.tz);
    AddBoard(cameraFromBoard, cameraFromTarget, view);
    AddSlide(cameraFromTarget, view);
    m_result.wrong += view.wrong;
    m_result.views.push_back(std::move(view));
}

void Checker::AddBoard(const device::Placement& cameraFromBoard, const device::RigidMotion& cameraFromTarget,
                       ViewCheck& view)
{
    device::TargetImaging imaging;
    imaging.camera = m_device.Parameters().camera;
    imaging.blur = m_check.blur;
    imaging.noise = c_boardNoise * m_check.noise;
    imaging.seed = view.seed;
    device::RenderedBoard rendered;
    m_result.renderTimes.Run(
        "board", [&] { rendered = device::RenderBoard(m_check.board, cameraFromBoard, imaging); });
    const LocatedBoard located = m_boardLocator.Locate(ViewOf(rendered.image));
    m_result.boardTimes += located.times;
    view.boardProblem = located.problem;
    if (located.error != LxCV::eCalibOk) {
        return;
    }
    const BoardComparison truth =
        CompareWithTruth(located.marks, rendered.corners, rendered.image.width, rendered.image.height, 0.0);
    std::vector<LxCCalibrationData> records;
    m_result.boardTimes.Run("export", [&] { records = m_boardLocator.ExportRecords(); });
    const std::vector<double> noise = Lengths(truth.errors);
    const std::vector<double> computed = CameraErrors({m_assumed, cameraFromTarget}, records);
    AddCameraRecords(records, view);
    if (!view.boardProblem.empty()) {
        return;
    }
    view.wrong += truth.wrong;
    view.camera.noise = FiguresOf(noise);
    view.camera.computed = FiguresOf(computed);
    m_camera.Add(noise, computed);
}

void Checker::AddCameraRecords(const std::vector<LxCCalibrationData>& records, ViewCheck& view)
{
    const LxCPinholeCamera& camera = *m_model->GetCamera();
    std::vector<LxCCalibrationData*> marks = CopiesOf(records);
    ECalibError error = LxCV::eCalibOk;
    m_result.modelTimes.Run("add camera marks", [&] { error = m_model->AddCamCalibData(&marks, true); });
    if (error != LxCV::eCalibOk) {
        view.boardProblem = "found " + std::to_string(records.size()) +
                            " corners that calibration takes, of at least " +
                            std::to_string(LxCPinholeCamera::sc_iMinNumCalibPoints) + " that a view needs";
        return;
    }
    m_placements.push_back(camera);
    m_result.modelTimes.Run("statistics",
                            [&] { view.camera.library = LibraryFiguresOfLastView(camera, records.size()); });
}

void Checker::AddSlide(const device::RigidMotion& cameraFromTarget, ViewCheck& view)
{
    const device::Vec3 origin = cameraFromTarget.Forward({0.0, 0.0, 0.0});
    const device::PlanePose plane{origin, cameraFromTarget.Forward({0.0, 0.0, 1.0}) - origin};
    RenderedSlide rendered;
    m_result.renderTimes.Run("slide",
                             [&] { rendered = RenderSlide(m_device, plane, m_check.noise, view.seed); });
    const LocatedSlide located = m_slideLocator.Locate(ViewOf(rendered.reference), ViewOf(rendered.pattern));
    m_result.slideTimes += located.times;
    view.slideProblem = located.problem;
    if (located.error != LxCV::eCalibOk) {
        return;
    }
    const SlideComparison truth =
        CompareWithTruth(located.marks, rendered.corners, RangeOf(m_device.Parameters()));
    view.wrong += truth.corners.wrong;
    const std::vector<double> inImage = Lengths(truth.corners.errors);
    view.slideInImage = FiguresOf(inImage);
    m_slideInImage.insert(m_slideInImage.end(), inImage.begin(), inImage.end());
    const std::vector<double> noise = ProjectorErrors({m_device, cameraFromTarget}, m_box, located.records);
    const std::vector<double> computed =
        ProjectorErrors({m_assumed, cameraFromTarget}, m_box, located.records);
    AddProjectorRecords(located.records, view);
    view.projector.noise = FiguresOf(noise);
    view.projector.computed = FiguresOf(computed);
    m_projector.Add(noise, computed);
}

void Checker::AddProjectorRecords(const std::vector<LxCCalibrationData>& records, ViewCheck& view)
{
    const LxCV::LxCPatternProjector& projector = *m_model->GetProjector();
    const auto before = static_cast<std::size_t>(projector.GetNrOfMarks());
    std::vector<LxCCalibrationData*> marks = CopiesOf(records);
    m_result.modelTimes.Run("add projector marks", [&] {
        // The one reason to refuse, a camera that is not calibrated, is none here.
        m_model->AddProjCalibData(&marks, true, true);
    });
    // The projector holds the marks of all views as one: those of this view are measured by a copy.
    std::vector<LxCCalibrationData*> held;
    projector.GetCalibDataForView(&held, 0);
    std::vector<LxCCalibrationData> ofView;
    for (std::size_t index = before; index < held.size(); ++index) {
        ofView.push_back(*held[index]);
    }
    view.screened = records.size() - ofView.size();
    LxCPinholeCamera copy;
    copy.CopyFrom(&projector);
    std::vector<LxCCalibrationData*> copies = CopiesOf(ofView);
    copy.AddCalibData(&copies, true);
    m_result.modelTimes.Run("statistics",
                            [&] { view.projector.library = LibraryFiguresOfLastView(copy, ofView.size()); });
}

void Checker::Summarise()
{
    m_camera.Summarise(m_result.camera);
    m_projector.Summarise(m_result.projector);
    m_result.slideInImage = FiguresOf(m_slideInImage);
    LxCPinholeCamera& camera = *m_model->GetCamera();
    const LxCV::LxCPatternProjector& projector = *m_model->GetProjector();
    // Makes room for the target's orientation in each view, which the library does not estimate and we know.
    camera.PerformCalib(LxCPinholeCamera::eCalibMethodTsai, false, nullptr, 0, 0, 0.0, 0, false, 0.0F, 0.0F,
                        nullptr);
    for (std::size_t view = 0; view < m_placements.size(); ++view) {
        camera.GetTargetOrientation()[view] = m_placements[view];
    }
    m_result.modelTimes.Run("statistics", [&] {
        m_result.camera.library =
            LibraryFiguresOfAllViews(camera, static_cast<std::size_t>(camera.GetNrOfMarks()));
        m_result.projector.library =
            LibraryFiguresOfLastView(projector, static_cast<std::size_t>(projector.GetNrOfMarks()));
    });
    m_result.difference = LargestDifference(m_result);
    m_model->PrintCalibStatus(m_result.status, true, true);
    m_model->PrintCalibData(m_result.model);
    camera.PrintCalibResults(false, m_result.cameraReport, true, true);
    projector.PrintCalibResults(false, m_result.projectorReport, true, true);
    m_result.renderTimes = m_result.renderTimes.MeanOver(m_check.views);
    m_result.boardTimes = m_result.boardTimes.MeanOver(m_check.views);
    m_result.slideTimes = m_result.slideTimes.MeanOver(m_check.views);
}

void Checker::WriteMarks() const
{
    if (m_check.marks.empty()) {
        return;
    }
    if (!m_model->GetCamera()->ExportCalibData((m_check.marks / "camera").string()) ||
        !m_model->GetProjector()->ExportCalibData((m_check.marks / "projector").string())) {
        throw std::runtime_error("cannot write the marks to '" + m_check.marks.string() + "'");
    }
}

/// What speaks against one device.
std::string ObjectionOf(const std::string& name, const DeviceErrors& errors, double limit)
{
    if (errors.library.marks == 0) {
        return "no marks of the " + name + " were found";
    }
    if (!(errors.Ratio() <= limit)) {
        std::ostringstream text;
        text.imbue(std::locale::classic());
        text << "the " << name << " misses the marks by " << errors.Ratio() << " times their own error";
        return text.str();
    }
    return "";
}

} // namespace

std::span<const Perturbation> Perturbations()
{
    return c_perturbations;
}

std::string CalibrationCheckResult::Objection(double limit) const
{
    if (wrong > 0) {
        return std::to_string(wrong) + " marks have a wrong name";
    }
    if (!(difference <= c_agreement)) {
        return "the library's figures are not those of the virtual device's equations";
    }
    const std::string ofCamera = ObjectionOf("camera", camera, limit);
    return ofCamera.empty() ? ObjectionOf("projector", projector, limit) : ofCamera;
}

CalibrationCheckResult Run(const CalibrationCheck& check)
{
    const Logging::CCapture quiet; // what was not found is told by the views
    return Checker(check).Run();
}

} // namespace calibration
