// The calibration side of the camera model: marks come in, are screened, and are filed in camera and projector.
#include "lxcpinholeframework.h"

#include "lxccalibrationdata.h"
#include "lxclxcvlibsettings.h"
#include "orx/logging/logger.h"

#include <cstddef>
#include <limits>
#include <unordered_set>

namespace LxCV {

namespace {

const Logging::CLogger s_Logger(L"ORX.Lumorad.LxCPinholeFramework");

using Records = std::vector<LxCCalibrationData*>;
using RecordSet = std::unordered_set<const LxCCalibrationData*>;

/// What a device has filed, of all views.
RecordSet RecordsOf(const LxCCameraToBeCalibrated& device)
{
    RecordSet filed;
    Records ofView;
    for (int view = 0; view < device.GetNrOfViews(); ++view) {
        device.GetCalibDataForView(&ofView, view);
        filed.insert(ofView.begin(), ofView.end());
    }
    return filed;
}

/// Deletes each record once, but none that the device has filed, and empties the list.
void DeleteRecords(Records& records, const LxCCameraToBeCalibrated& device)
{
    RecordSet refused(records.begin(), records.end());
    for (const LxCCalibrationData* filed : RecordsOf(device)) {
        refused.erase(filed);
    }
    records.clear();
    for (const LxCCalibrationData* record : refused) {
        delete record;
    }
}

/// Records that a target exports, owned until a device has taken them.
struct SExport
{
    SExport() = default;
    SExport(const SExport&) = delete;
    SExport& operator=(const SExport&) = delete;
    ~SExport()
    {
        for (const LxCCalibrationData* record : records) {
            delete record;
        }
    }

    Records records;
};

/// A line of the status text about marks that a device has taken.
std::string ReportOfAdding(std::size_t count, const std::string& kind, bool newView,
                           const LxCCameraToBeCalibrated& device)
{
    return "Added " + std::to_string(count) + " " + kind + " calibration marks" +
           (newView ? " from new viewpoint. " : " from current viewpoint. ") + "(yielding in total " +
           std::to_string(device.GetNrOfMarks()) + " marks from " + std::to_string(device.GetNrOfViews()) +
           " distinct view(s))\n";
}

/// A box on the target's plane, mm, its borders included.
struct SBox
{
    /// False for what is no number.
    bool Contains(double x, double y) const { return x >= minX && x <= maxX && y >= minY && y <= maxY; }

    double minX = 0.0;
    double minY = 0.0;
    double maxX = 0.0;
    double maxY = 0.0;
};

} // namespace

ECalibError LxCPinholeFramework::AddCamCalibData(std::vector<LxCCalibrationData*>* marks, bool newView)
{
    const std::size_t count = marks != nullptr ? marks->size() : 0;
    if (count < static_cast<std::size_t>(sc_iMinNumCalibPoints)) {
        m_sCalibStatus += "Did NOT add the " + std::to_string(count) +
                          " camera calibration marks, as at least " + std::to_string(sc_iMinNumCalibPoints) +
                          " per view are needed.\n";
        if (marks != nullptr) {
            DeleteRecords(*marks, *m_pCamera);
        }
        return eCalibTooFewMarks;
    }
    m_pCamera->AddCalibData(marks, newView);
    m_sCalibStatus += ReportOfAdding(count, "camera", newView, *m_pCamera);
    return eCalibOk;
}

ECalibError LxCPinholeFramework::AddProjCalibData(std::vector<LxCCalibrationData*>* marks, bool screen,
                                                  bool toCameraCoords)
{
    if (screen && !m_pCamera->IsCalibrated()) {
        s_Logger.Info(L"CMV3DCam::AddProjCalibData: Error: Camera is not calibrated. This is a prerequisite "
                      L"for calibrating the projector.\n");
        return eCalibCameraNotCalibrated;
    }
    SExport exported;
    if (marks == nullptr) {
        const ECalibError result = m_pProjCalibBody->ExportCalibrationData(exported.records);
        if (result != eCalibOk) {
            return result;
        }
        marks = &exported.records;
    }
    const std::size_t count = marks->size();
    Records screened;
    if (screen) {
        screened = ScreenProjMarks(*marks, toCameraCoords);
    }
    if (count < 1) {
        return eCalibOk;
    }
    const bool newView = !(screen && toCameraCoords);
    m_Projector.AddCalibData(screen ? &screened : marks, newView);
    exported.records.clear();
    m_sCalibStatus += ReportOfAdding(count, "projector", newView, m_Projector);
    return eCalibOk;
}

std::vector<LxCCalibrationData*> LxCPinholeFramework::ScreenProjMarks(std::vector<LxCCalibrationData*>& marks,
                                                                      bool toCameraCoords) const
{
    SBox target;
    m_pCamCalibBody->GetPositionInWC(&target.minX, &target.minY, &target.maxX, &target.maxY);
    const RecordSet filed = RecordsOf(m_Projector);
    RecordSet seen;
    Records screened;
    screened.reserve(marks.size());
    for (LxCCalibrationData*& mark : marks) {
        if (mark == nullptr || filed.contains(mark)) {
            continue;
        }
        if (!seen.insert(mark).second) {
            mark = nullptr; // a second time in the list
            continue;
        }
        double x = 0.0;
        double y = 0.0;
        double z = 0.0;
        // A ray along the plane has no point on it, but is given the origin.
        const bool isOnPlane = m_pCamera->DisImageToWorldCoords(mark->m_dXi, mark->m_dYi, 0.0, &x, &y);
        if (!isOnPlane || !target.Contains(x, y)) {
            delete mark;
            mark = nullptr;
            continue;
        }
        if (toCameraCoords) {
            m_pCamera->WorldToLocalCoords(x, y, z, &x, &y, &z);
        }
        mark->Set(x, y, z, mark->m_dXw, mark->m_dYw, 0.0, 0.0, 0, 0);
        screened.push_back(mark);
    }
    return screened;
}

void LxCPinholeFramework::RemoveAllCalibData()
{
    m_Projector.RemoveAllCalibData(true);
    m_pCamera->RemoveAllCalibData(true);
}

ECalibError LxCPinholeFramework::CalibCamProjCombined(LxCPinholeCamera::ECalibMethod,
                                                      std::vector<LxCCoordSysTrans>&, bool, bool,
                                                      const std::string&, const std::string&, const CCTImage*,
                                                      const CCTImage*)
{
    return eCalibNotDone;
}

ECalibError LxCPinholeFramework::CalibCamProjCombined3D(LxCPinholeCamera::ECalibMethod,
                                                        std::vector<LxCCoordSysTrans>&, bool, bool,
                                                        const std::string&, const std::string&,
                                                        const CCTImage*, const CCTImage*)
{
    return eCalibNotDone;
}

ECalibError LxCPinholeFramework::CalibProjectorBasedOnLSEPosCalib(LxCPinholeCamera::ECalibMethod,
                                                                  std::vector<LxCCoordSysTrans>&)
{
    return eCalibNotDone;
}

void LxCPinholeFramework::CalibStatusChanged(int minEdge, int maxEdge, bool intrinsicsChanged,
                                             bool rebuildUnwrap, bool workingSpaceChanged)
{
    if (workingSpaceChanged) {
        m_WorkingSpace.Update(m_pCamera.get());
    }
    m_bCalibrated = true;
    if (intrinsicsChanged) {
        m_pCamera->UpdateIntrinsicParamsReduced();
        m_Projector.UpdateIntrinsicParamsReduced();
    }
    if (!m_pCamera->IsCalibrated() || !m_Projector.IsCalibrated()) {
        InitIdUnwrapLUTCC();
        m_bCalibrated = false;
        return;
    }
    if (PrepareLightPlanes(minEdge, maxEdge) && (!rebuildUnwrap || InitIdUnwrapLUTCC())) {
        // From now on many threads may measure, and none of them may rebuild a lens's table under the others.
        m_pCamera->GetIntrinsicParams()->FinalizeInverseDistLUT();
        m_Projector.GetIntrinsicParams()->FinalizeInverseDistLUT();
        return;
    }
    s_Logger.Debug(L"Error while computing LUTs for the camera. System will be regarded as uncalibrated!\n");
    m_bCalibrated = false;
}

void LxCPinholeFramework::ResetCalibration(bool)
{
    if (!LxCLxCVLibSettings::IsReducedPolynomKoma()) {
        m_PolynomKoma.ClearPolynomials();
    }
    if (LxCCProjSlideCalibThres* const thres = GetProjCalibThres()) {
        thres->ResetMarkerMask();
    }
    CalibStatusChanged(0, std::numeric_limits<int>::max(), true, true, true);
}

} // namespace LxCV
