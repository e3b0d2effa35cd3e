// What the camera model tells its user about calibration: status, data and files of marks.
#include "lxcpinholeframework.h"

#include "filestreams.h"
#include "orx/logging/logger.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <initializer_list>
#include <ios>
#include <locale>
#include <ostream>
#include <span>
#include <sstream>
#include <string_view>
#include <utility>

namespace LxCV {

namespace {

const Logging::CLogger s_Logger(L"ORX.Lumorad.LxCPinholeFramework");

struct CCalibErrorText
{
    ECalibError code;
    std::string_view text;
};

constexpr CCalibErrorText c_vCalibErrorTexts[] = {
    {eCalibParamsMissing,
     "Some camera parameters required for camera calibration are missing. Please specify all "
     "parameters and try again."},
    {eCalibWorldFileNotFound,
     "The data file with the world co-ordinates of the calibration marks was not found. "
     "Please check whether you specified it correctly."},
    {eCalibWorldFileBad,
     "The data file with the coordinates of the calibration target could not be read correctly. "
     "The format should be x y z separated by white space."},
    {eCalibLibraryProblem, "There was a problem with or within the calibration library."},
    {eCalibNoMemory, "Memory allocation failed during calibration."},
    {eCalibTooFewMarks, "The number of located and identified calibration marks is insufficient."},
    {eCalibCameraNotCalibrated,
     "The camera needs to be calibrated for projector calibration, but it is not."},
    {eCalibTypeUnsupported, "This type of calibration is currently not supported."},
    {eCalibMethodUnsupported, "This calibration method is currently not supported."},
    {eCalibIdNotConvertible, "Cannot convert a calibration mark id to world coordinates."},
    {eCalibWrongOrientation, "The calibration target does not have the required orientation."},
    {eCalibNoFourSquares,
     "Could not find the four small white squares (the ones embedded within the larger black "
     "squares). All four of them need to be visible."},
    {eCalibTiltTooStrong,
     "The small white squares could be detected, but the tilt of the calibration target is too "
     "strong."},
    {eCalibTooFewReferenceMarks, "Could not find enough reference marks for identification"},
    {eCalibQualityInsufficient, "The camera calibration could be performed, but the quality of the result is "
                                "insufficient. Make sure rectification is turned off."},
    {eCalibTooFewGoodMarks,
     "Could find some usable camera calibration marks, but not enough for a high-quality "
     "calibration."},
    {eCalibVerticalFitPoor,
     "Could not improve projector calibration marks. The vertical polynomial fit (magenta) is "
     "insufficient."},
    {eCalibTooFewVerticalFits, "Could not fit enough vertical polynomials (magenta)."},
    {eCalibHorizontalFitPoor,
     "Could not improve projector calibration marks. The horizontal polynomial fit (yellow) "
     "is insufficient."},
    {eCalibDiscardedByUser, "Discard images by user decision."},
    {eCalibMirrorTube, "mirror tube error"},
};

std::string_view TextOf(ECalibError code)
{
    const auto* const found =
        std::find_if(std::begin(c_vCalibErrorTexts), std::end(c_vCalibErrorTexts),
                     [code](const CCalibErrorText& entry) { return entry.code == code; });
    return found != std::end(c_vCalibErrorTexts) ? found->text : "general error";
}

/// A line with the device's centre in the world, mm.
void PrintCentre(std::ostream& stream, const LxCPinholeCamera& device)
{
    LxC3DCoordsCCT centreInWorld;
    device.LocalToWorldCoords(0.0, 0.0, 0.0, &centreInWorld.x, &centreInWorld.y, &centreInWorld.z);
    stream << centreInWorld.x << ' ' << centreInWorld.y << ' ' << centreInWorld.z << '\n';
}

/// Appends a line of the shortest texts that give the same doubles again.
void AppendLine(std::string& text, std::initializer_list<double> numbers)
{
    std::array<char, 32> digits{};
    for (const double number : numbers) {
        const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number);
        text.append(digits.data(), end.ptr);
        text += ' ';
    }
    text.back() = '\n';
}

void AppendPixel(std::string& lines, const LxCCalibrationData& mark)
{
    AppendLine(lines, {mark.m_dXi, mark.m_dYi});
}

void AppendWorldPoint(std::string& lines, const LxCCalibrationData& mark)
{
    AppendLine(lines, {mark.m_dXw, mark.m_dYw, mark.m_dZw});
}

void AppendWorldPointAndPixel(std::string& lines, const LxCCalibrationData& mark)
{
    AppendLine(lines, {mark.m_dXw, mark.m_dYw, mark.m_dZw, mark.m_dXi, mark.m_dYi});
}

/// The lines of the marks of a view that are not zero; none for a view that is not there.
template <typename AppendMark>
std::string LinesOfView(const LxCPinholeCamera& device, int view, AppendMark appendMark)
{
    std::vector<LxCCalibrationData*> marks;
    device.GetCalibDataForView(&marks, view);
    std::string lines;
    for (const LxCCalibrationData* const mark : marks) {
        if (mark != nullptr && mark->IsNonzero()) {
            appendMark(lines, *mark);
        }
    }
    return lines;
}

/// World points of a view in the camera's frame, by the target's orientation.
std::string LinesInCamera(const LxCPinholeCamera& camera, int view, const LxCCoordSysTrans& cameraFromTarget)
{
    return LinesOfView(camera, view, [&cameraFromTarget](std::string& lines, const LxCCalibrationData& mark) {
        LxC3DCoordsCCT pointInCamera;
        cameraFromTarget.Transform(mark.GetWorldPart(), pointInCamera);
        AppendLine(lines, {pointInCamera.x, pointInCamera.y, pointInCamera.z});
    });
}

/// For each mark where the camera sees it in the plane of its z, beside where it is. `placed` is the camera before the
/// target.
std::string LinesSeenAndTrue(const LxCPinholeCamera& camera, int view, const LxCPinholeCamera& placed)
{
    return LinesOfView(camera, view, [&placed](std::string& lines, const LxCCalibrationData& mark) {
        double seenX = 0.0;
        double seenY = 0.0;
        placed.DisImageToWorldCoords(mark.m_dXi, mark.m_dYi, mark.m_dZw, &seenX, &seenY);
        AppendLine(lines,
                   {seenX, seenY, mark.m_dZw, mark.m_dXw, mark.m_dYw, mark.m_dZw, mark.m_dXi, mark.m_dYi});
    });
}

/// "\<name><view>.xyz" with the view in three digits or more.
std::string ViewFile(const char* name, int view)
{
    constexpr std::size_t c_uiDigits = 3;
    const std::string number = std::to_string(view);
    return name + std::string(c_uiDigits - std::min(number.size(), c_uiDigits), '0') + number + ".xyz";
}

/// @param name file name with a separator before it
/// @return false, with an error logged, if the file cannot be written whole
bool WriteTextFile(const std::string& directory, const std::string& name, const std::string& text)
{
    const std::string path = directory + name;
    if (path.find('\0') == std::string::npos) {
        std::ofstream file = OpenFileForWriting(path);
        file.write(text.data(), static_cast<std::streamsize>(text.size()));
        file.close();
        if (file) {
            return true;
        }
    }
    s_Logger.Error(L"LxCPinholeFramework::DebugPrintCalibResults: <%s> cannot be written\n", path.c_str());
    return false;
}

/// How many target orientations may be read. Only the camera's own array can be shorter than the list of its views.
std::size_t CountTransforms(const LxCPinholeCamera& camera, const LxCCoordSysTrans* transforms)
{
    if (transforms == nullptr) {
        return 0;
    }
    return transforms == camera.GetTargetOrientation() ? camera.GetNrOfTargetOrientations()
                                                       : static_cast<std::size_t>(camera.GetNrOfViews());
}

void WriteCameraViews(const std::string& directory, const LxCPinholeCamera& camera,
                      std::span<const LxCCoordSysTrans> transforms)
{
    LxCPinholeCamera placed(camera);
    placed.SetMasterCam(nullptr); // an orientation leads from the target to the camera without a detour
    for (int view = 0; view < camera.GetNrOfViews(); ++view) {
        std::string inCamera;
        std::string seenAndTrue;
        if (static_cast<std::size_t>(view) < transforms.size()) {
            const LxCCoordSysTrans& cameraFromTarget = transforms[static_cast<std::size_t>(view)];
            placed.LxCCoordSysTrans::CopyFrom(&cameraFromTarget);
            inCamera = LinesInCamera(camera, view, cameraFromTarget);
            seenAndTrue = LinesSeenAndTrue(camera, view, placed);
        }
        WriteTextFile(directory, ViewFile("\\CamCalib_3D_Coords_", view), inCamera);
        WriteTextFile(directory, ViewFile("\\CamCalib_5DArray_", view),
                      LinesOfView(camera, view, AppendWorldPointAndPixel));
        WriteTextFile(directory, ViewFile("\\CamCalib_8DArray_", view), seenAndTrue);
    }
}

} // namespace

void LxCPinholeFramework::InterpretCalibError(ECalibError code)
{
    if (code != eCalibOk) {
        m_sCalibStatus += TextOf(code);
        m_sCalibStatus += '\n';
    }
}

void LxCPinholeFramework::PrintCalibStatus(std::string& out, bool append, bool clear)
{
    if (m_sCalibStatus.empty()) {
        return;
    }
    if (clear) {
        out.clear();
    }
    const std::string text = m_sCalibStatus + "\n\n";
    out.insert(append ? out.size() : 0, text);
    m_sCalibStatus.clear();
}

void LxCPinholeFramework::PrintCalibData(std::string& out) const
{
    if (!m_bCalibrated) {
        out = "The Structured Light System is currently not calibrated";
        return;
    }
    std::ostringstream stream;
    stream.imbue(std::locale::classic());
    stream.precision(2);
    stream << std::fixed;
    std::string params;

    stream << "Calibration of the Structured Light System:\n\n"
           << "Camera Position (World Co's):\n";
    PrintCentre(stream, *m_pCamera);
    m_pCamera->GetIntrinsicParams()->PrettyPrint(params);
    stream << "\nInternal Camera Parameters:\n" << params;

    stream << "\n\n\nProjector Position (Camera Co's):\n";
    PrintCentre(stream, m_Projector);
    m_Projector.GetIntrinsicParams()->PrettyPrint(params);
    stream << "\nInternal Projector Parameters:\n" << params;
    out = stream.str();
}

void LxCPinholeFramework::DebugPrintCalibResults(const std::string& directory, std::string text,
                                                 std::vector<LxCCoordSysTrans>& transforms)
{
    // An element for each view, also where the caller has fewer.
    std::vector<LxCCoordSysTrans> ofViews = transforms;
    ofViews.resize(std::max(transforms.size(), static_cast<std::size_t>(m_pCamera->GetNrOfViews())));
    DebugPrintCalibResultsPart2(directory, std::move(text), m_pCamera.get(), &m_Projector, ofViews.data());
}

void LxCPinholeFramework::DebugPrintCalibResultsPart1(std::string& directory, const LxCPinholeCamera* camera,
                                                      const LxCPinholeCamera* projector)
{
    for (int view = 0; projector != nullptr && view < projector->GetNrOfViews(); ++view) {
        WriteTextFile(directory, ViewFile("\\ProjCalib_SensorCoords_", view),
                      LinesOfView(*projector, view, AppendPixel));
        WriteTextFile(directory, ViewFile("\\ProjCalib_pre_5dArray_", view),
                      LinesOfView(*projector, view, AppendWorldPointAndPixel));
    }
    for (int view = 0; camera != nullptr && view < camera->GetNrOfViews(); ++view) {
        WriteTextFile(directory, ViewFile("\\CamCalib_SensorCoords_", view),
                      LinesOfView(*camera, view, AppendPixel));
    }
}

void LxCPinholeFramework::DebugPrintCalibResultsPart2(const std::string&, std::string,
                                                      const LxCPinholeCamera*, const LxCPinholeCamera*,
                                                      LxCCoordSysTrans*)
{}

void LxCPinholeFramework::DebugPrintCalibResultsPart3(std::string& directory, const LxCPinholeCamera* camera,
                                                      const LxCPinholeCamera* projector,
                                                      LxCCoordSysTrans* transforms)
{
    std::string log = m_sCalibStatus.empty() ? "" : m_sCalibStatus + "\n\n";
    if (camera != nullptr) {
        WriteCameraViews(directory, *camera, {transforms, CountTransforms(*camera, transforms)});
        camera->PrintCalibResults(false, log, true, false);
    }
    if (projector != nullptr) {
        WriteTextFile(directory, "\\ProjCalib_3dCoords.xyz", LinesOfView(*projector, 0, AppendWorldPoint));
        WriteTextFile(directory, "\\ProjCalib_5dArray.xyz",
                      LinesOfView(*projector, 0, AppendWorldPointAndPixel));
        projector->PrintCalibResults(false, log, true, false);
    }
    if (WriteTextFile(directory, "\\log.txt", log)) {
        m_sCalibStatus.clear();
    }
}

} // namespace LxCV
