// Persistence, status and triangulation of the camera model.
#include "lxcpinholeframework.h"

#include "lxaframegrabber.h"
#include "lxclxcvlibsettings.h"
#include "lxcpropertybag.h"
#include "orx/logging/logger.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <limits>
#include <typeinfo>

namespace LxCV {

namespace {

const Logging::CLogger s_Logger(L"ORX.Lumorad.LxCPinholeFramework");

/// Edges that take each step of the triangulation together, since the steps of one have to wait for each other.
constexpr std::int64_t c_iEdgesAtOnce = 8;

constexpr double c_dLocalPlaneDepth = 30.0; ///< mm, projector frame; where the local plane's points are taken

std::string RegionSection(const std::string& section, std::size_t index)
{
    return section + "::Roi[" + std::to_string(index) + "]";
}

/// Regions to read: as many as the text tells, if it is long enough to hold them or the object holds them
/// already; otherwise as many as there are sections, so that a false number takes no memory.
std::size_t CountRegions(LxCCCTSerializer& serializer, const std::string& section, int told,
                         std::size_t present)
{
    const std::size_t bytesEach = RegionSection(section, 0).size() + 1;
    const std::size_t possible = std::max(present, serializer.GetTextSize() / bytesEach);
    if (told >= 0 && static_cast<std::size_t>(told) <= possible) {
        return static_cast<std::size_t>(told);
    }
    std::size_t found = 0;
    LxCCCTSerializer::SectionData data;
    while (told > 0 && serializer.FindExtractSection(RegionSection(section, found), data)) {
        ++found;
    }
    s_Logger.Error(L"LxCPinholeFramework::Serialize: %i ignored regions are not possible, %i are read\n",
                   told, found);
    return found;
}

/// Says what else is silent: keys that an older text lacks, and sections that are in it twice.
void WarnOfIncompleteText(const LxCCCTSerializer& serializer, std::size_t missingKeys)
{
    if (missingKeys > 0) {
        s_Logger.Warning(
            L"LxCPinholeFramework::Serialize: %i values are not in the text, defaults stand for them\n",
            missingKeys);
    }
    if (serializer.GetNrOfRepeatedSections() > 0) {
        s_Logger.Warning(
            L"LxCPinholeFramework::Serialize: %i sections of the text are repeated, the first of each "
            L"is read\n",
            serializer.GetNrOfRepeatedSections());
    }
}

} // namespace

LxCPinholeFramework::LxCPinholeFramework()
    : m_pCamera(std::make_unique<LxCPinholeCamera>()),
      m_pProjCalibBody(std::make_unique<LxCProjSlideCalibBody>()),
      m_pCamCalibBody(std::make_unique<LxCCBCalibBody>(true))
{
    m_Projector.SetMasterCam(m_pCamera.get());
}

LxCPinholeFramework::~LxCPinholeFramework() = default;

void LxCPinholeFramework::Serialize(LxCCCTSerializer& serializer, const std::string& section)
{
    const bool reading = !serializer.IsStoring();
    const std::size_t missingBefore = serializer.GetNrOfMissingKeys();
    m_bCalibrated = m_bCalibrated && !reading;
    m_WorkingSpace.Serialize(serializer, section + "::MV3DCamBase");
    m_pCamera->Serialize(serializer, section + "::Cams[0]");
    m_Projector.Serialize(serializer, section + "::Projector");
    if (reading) {
        m_Projector.SetMasterCam(m_pCamera.get());
    }
    m_PolynomKoma.Serialize(serializer, section + "::PolynomKoma");
    if (reading) {
        CalibStatusChanged(0, std::numeric_limits<int>::max(), true, true, true);
    }
    SerializeRoiIgnore(serializer, section + "::RoiIgnore");
    m_pCamCalibBody->Serialize(serializer, section + "::CamCalibBody");
    m_pProjCalibBody->Serialize(serializer, section + "::ProjCalibBody");
    if (reading) {
        LoadStandardSlide();
        WarnOfIncompleteText(serializer, serializer.GetNrOfMissingKeys() - missingBefore);
    }
}

void LxCPinholeFramework::SerializeRoiIgnore(LxCCCTSerializer& serializer, const std::string& section)
{
    int count = static_cast<int>(m_vRoiIgnore.size());
    LxCPropertyBag bag;
    bag.addScalar(count, "NumRoiIgnore");
    bag.serialize(serializer, section, true);
    if (!serializer.IsStoring()) {
        m_vRoiIgnore.resize(CountRegions(serializer, section, count, m_vRoiIgnore.size()));
    }
    for (std::size_t i = 0; i < m_vRoiIgnore.size(); ++i) {
        m_vRoiIgnore[i].Serialize(serializer, RegionSection(section, i));
    }
}

void LxCPinholeFramework::LoadStandardSlide()
{
    const bool isC = m_Projector.GetCLPattern()->GetPatternString() == LxCStripePattern::GetPatternStringC();
    m_pProjCalibBody->SetCoordFile(isC ? LxCCalibBody::sc_StandardParammsDiaC
                                       : LxCCalibBody::sc_StandardParammsDiaA2);
    m_pProjCalibBody->ForgetDataFile();
    m_pProjCalibBody->LoadDataFile();
}

const LxCCProjSlideCalibThres* LxCPinholeFramework::GetProjCalibThres() const
{
    // Measuring asks for them, and a comparison of types is much cheaper than a cast that has to search.
    const LxCCalibThres* const thres = m_pProjCalibBody->GetThres();
    if (thres != nullptr && typeid(*thres) == typeid(LxCCProjSlideCalibThres)) {
        return static_cast<const LxCCProjSlideCalibThres*>(thres);
    }
    return dynamic_cast<const LxCCProjSlideCalibThres*>(thres);
}

LxCPinholeFramework::EReturnCode LxCPinholeFramework::GetStatus(int width, int height) const
{
    const EReturnCode status = GetModelStatus();
    if (status != eOk) {
        return status;
    }
    using Settings = LxCLxCVLibSettings;
    LxCIntrinsicParams& intrinsics = *m_pCamera->GetIntrinsicParams();
    const double calibratedWidth = intrinsics.GetExactImageWidth();
    if (width != calibratedWidth && calibratedWidth > 0.0) {
        if (width != Settings::GetRawDataWidth()) {
            s_Logger.Error(L"Non matching image dimensions (width) for the camera!\n");
            return eImageSizeMismatch;
        }
        intrinsics.SetImageSize(Settings::GetRawDataWidth(), intrinsics.GetExactImageHeight());
        intrinsics.SetPrincipalPoint(intrinsics.GetPrincipalPointX() - Settings::GetRawDataOffsetCol(),
                                     intrinsics.GetPrincipalPointY());
    }
    const double calibratedHeight = intrinsics.GetExactImageHeight();
    if (height != calibratedHeight && calibratedHeight > 0.0) {
        if (height != Settings::GetRawDataHeight()) {
            s_Logger.Error(L"Non matching image dimensions (height) for the camera!\n");
            return eImageSizeMismatch;
        }
        intrinsics.SetImageSize(intrinsics.GetExactImageWidth(), Settings::GetRawDataHeight());
        intrinsics.SetPrincipalPoint(intrinsics.GetPrincipalPointX(),
                                     intrinsics.GetPrincipalPointY() - Settings::GetRawDataOffsetRow());
    }
    return eOk;
}

LxCPinholeFramework::EReturnCode LxCPinholeFramework::GetStatus(const LxAFrameGrabber* grabber) const
{
    const EReturnCode status = GetModelStatus();
    if (status != eOk) {
        return status;
    }
    return grabber != nullptr ? GetStatus(grabber->GetWidth(), grabber->GetHeight()) : eImageSizeMismatch;
}

LxCPinholeFramework::EReturnCode LxCPinholeFramework::GetModelStatus() const
{
    if (!m_Projector.GetCLPattern()->IsValid()) {
        s_Logger.Error(L"Error: CMV3DCam::GetStatus(): Invalid Pattern.\n");
        return eInvalidPattern;
    }
    if (!m_bCalibrated) {
        s_Logger.Error(L"Error: CMV3DCam::GetStatus(): Not Calibrated.\n");
        return eNotCalibrated;
    }
    return eOk;
}

void LxCPinholeFramework::SetWorkingSpace(double min, double max, bool camCoords)
{
    if (camCoords) {
        m_WorkingSpace.SetUsingCamCoords(min, max, m_pCamera.get());
    } else {
        m_WorkingSpace.SetUsingWorldCoords(min, max, m_pCamera.get());
    }
    if (!m_bCalibrated) {
        s_Logger.Error(L"Error: CMV3DCam::SetDistCamToScene: Not calibrated.\n");
        return;
    }
    if (!InitIdUnwrapLUTCC()) {
        s_Logger.Error(L"Error: Failed to init cc LUT for the camera!\n");
    }
}

void LxCPinholeFramework::ComputeEdgeXYZ(double col, double row, int stripeEdge, bool camCoords, double* X,
                                         double* Y, double* Z, bool skipNearMarks) const
{
    LxC3DCoordsCCT point;
    ComputeEdgesXYZ(col, row, stripeEdge, camCoords, {&point, 1}, skipNearMarks);
    *X = point.x;
    *Y = point.y;
    *Z = point.z;
}

void LxCPinholeFramework::ComputeEdgesXYZ(double col, double row, int firstEdge, bool camCoords,
                                          std::span<LxC3DCoordsCCT> points, bool skipNearMarks) const
{
    std::fill(points.begin(), points.end(), LxC3DCoordsCCT());
    const std::vector<double>& nominal = m_Projector.GetCLPattern()->GetNominalEdgePositions();
    const std::int64_t first = std::max(firstEdge, 0);
    const std::int64_t end = std::min(std::int64_t{firstEdge} + std::ssize(points),
                                      std::min(std::ssize(m_vEdgePlanes), std::ssize(nominal)));
    if (!m_pCamera->IsCalibrated() || first >= end) {
        return;
    }
    CSensorPoint undistorted{};
    m_pCamera->DisImageToUndisSensorCoords(col, row, &undistorted.x, &undistorted.y);
    for (std::int64_t edge = first; edge < end; edge += c_iEdgesAtOnce) {
        const std::int64_t count = std::min(c_iEdgesAtOnce, end - edge);
        ComputePointsOnEdges(
            undistorted, static_cast<int>(edge), camCoords,
            points.subspan(static_cast<std::size_t>(edge - firstEdge), static_cast<std::size_t>(count)),
            skipNearMarks);
    }
}

void LxCPinholeFramework::ComputePointsOnEdges(const CSensorPoint& undistorted, int firstEdge, bool camCoords,
                                               std::span<LxC3DCoordsCCT> points, bool skipNearMarks) const
{
    const LxCStripePattern& pattern = *m_Projector.GetCLPattern();
    const LxC3DCoordsCCT origin = ProjectorInCamera();
    std::array<CSlidePoint, c_iEdgesAtOnce> slidePoints;
    const auto index = static_cast<std::size_t>(firstEdge);
    for (std::size_t i = 0; i < points.size(); ++i) {
        slidePoints[i] = EstimateSlidePoint(undistorted, m_vEdgePlanes[index + i]);
    }
    for (std::size_t i = 0; i < points.size(); ++i) {
        CSlidePoint& slide = slidePoints[i];
        slide.row =
            pattern.GetNumPatches() >= 1
                ? pattern.GetCalibratetPosition(firstEdge + static_cast<int>(i), slide.col, slide.depth)
                : pattern.GetNominalEdgePositions()[index + i];
    }
    const LxCCProjSlideCalibThres* const marks = skipNearMarks ? GetProjCalibThres() : nullptr;
    for (std::size_t i = 0; i < points.size(); ++i) {
        const CSlidePoint& slide = slidePoints[i];
        LxC3DCoordsCCT& point = points[i];
        if (marks == nullptr || !marks->IsCloseByMarkerPosition(firstEdge + static_cast<int>(i), slide.col)) {
            ComputeXYZInLocalPlane(undistorted, origin, slide.col, slide.row, camCoords, &point.x, &point.y,
                                   &point.z);
        }
    }
}

void LxCPinholeFramework::ComputeEdgeXYZSubEdge(double col, double row, double projCol, double /*projRow*/,
                                                double slideRow, bool camCoords, double* X, double* Y,
                                                double* Z, bool /*skipNearMarks*/) const
{
    if (!m_pCamera->IsCalibrated()) {
        *X = 0.0;
        *Y = 0.0;
        *Z = 0.0;
        return;
    }
    CSensorPoint undistorted{};
    m_pCamera->DisImageToUndisSensorCoords(col, row, &undistorted.x, &undistorted.y);
    ComputeXYZInLocalPlane(undistorted, ProjectorInCamera(), projCol, slideRow, camCoords, X, Y, Z);
}

double LxCPinholeFramework::ComputeEdgeDepth(double col, double row, int stripeEdge, bool camCoords,
                                             bool skipNearMarks) const
{
    double x = 0.0;
    double y = 0.0;
    double z = 0.0;
    ComputeEdgeXYZ(col, row, stripeEdge, camCoords, &x, &y, &z, skipNearMarks);
    return z;
}

LxCPinholeFramework::CSlidePoint LxCPinholeFramework::EstimateSlidePoint(const CSensorPoint& undistorted,
                                                                         const CLightPlane& plane) const
{
    const double inverseFocalLength = m_pCamera->GetIntrinsicParams()->GetFocalLengthInvers();
    const double depth = std::abs(plane.Intersect(undistorted.x, undistorted.y));
    double x = depth * undistorted.x * inverseFocalLength;
    double y = depth * undistorted.y * inverseFocalLength;
    double z = depth;
    m_pCamera->LocalToWorldCoords(x, y, z, &x, &y, &z);
    m_Projector.WorldToLocalCoords(x, y, z, &x, &y, &z);
    CSlidePoint slide{0.0, 0.0, z};
    m_Projector.CameraToDisImageCoords(x, y, z, &slide.col, &slide.row);
    return slide;
}

LxC3DCoordsCCT LxCPinholeFramework::ProjectorInCamera() const
{
    LxC3DCoordsCCT origin;
    m_Projector.LocalToLocalCoords(m_pCamera.get(), 0.0, 0.0, 0.0, &origin.x, &origin.y, &origin.z);
    return origin;
}

void LxCPinholeFramework::ComputeXYZInLocalPlane(const CSensorPoint& undistorted,
                                                 const LxC3DCoordsCCT& origin, double projCol,
                                                 double slideRow, bool camCoords, double* X, double* Y,
                                                 double* Z) const
{
    const LxCPinholeCamera& camera = *m_pCamera;
    LxC3DCoordsCCT onEdge[2];
    TwoPointsOnEdge(projCol, slideRow, onEdge);

    const LxCIntrinsicParams& intrinsics = *camera.GetIntrinsicParams();
    double z = AuxComputeDepth(origin, onEdge[0] - origin, onEdge[1] - origin, undistorted.x, undistorted.y,
                               intrinsics.GetFocalLength());
    double x = z * intrinsics.GetFocalLengthInvers() * undistorted.x;
    double y = z * intrinsics.GetFocalLengthInvers() * undistorted.y;
    m_PolynomKoma.CorrectPoint(&x, &y, &z);
    if (!camCoords) {
        camera.LocalToWorldCoords(x, y, z, &x, &y, &z);
    }
    *X = x;
    *Y = y;
    *Z = z;
}

void LxCPinholeFramework::TwoPointsOnEdge(double projCol, double slideRow, LxC3DCoordsCCT (&points)[2]) const
{
    // Both positions are undistorted at once, since that is half of the time of a point.
    const LxCIntrinsicParams& intrinsics = *m_Projector.GetIntrinsicParams();
    const double cols[2] = {projCol - 1.0, projCol + 1.0};
    const double rows[2] = {slideRow, slideRow};
    double xs[2];
    double ys[2];
    intrinsics.DisImageToUndisSensorCoordsPair(cols, rows, xs, ys);
    const double scale = c_dLocalPlaneDepth * intrinsics.GetFocalLengthInvers();
    for (int i = 0; i < 2; ++i) {
        LxC3DCoordsCCT& p = points[i];
        m_Projector.LocalToLocalCoords(m_pCamera.get(), scale * xs[i], scale * ys[i], c_dLocalPlaneDepth,
                                       &p.x, &p.y, &p.z);
    }
}

double LxCPinholeFramework::AuxComputeDepth(const LxC3DCoordsCCT& p0, const LxC3DCoordsCCT& d1,
                                            const LxC3DCoordsCCT& d2, double ux, double uy, double f) const
{
    // The plane as y = m x + n z + c; the ray as (ux, uy, f) z / f.
    const double det = d1.x * d2.z - d2.x * d1.z;
    if (det == 0.0) {
        return std::numeric_limits<double>::lowest();
    }
    const double m = (d1.y * d2.z - d2.y * d1.z) / det;
    const double n = -(d1.y * d2.x - d2.y * d1.x) / det;
    return (p0.y - m * p0.x - n * p0.z) * f / (uy - m * ux - n * f);
}

void LxCPinholeFramework::AuxTrafoProjImgToCamCoords(const LxCPinholeCamera* from, const LxCPinholeCamera* to,
                                                     double u, double v, double z, double* x, double* y,
                                                     double* zOut) const
{
    double xFrom = 0.0;
    double yFrom = 0.0;
    from->DisImageToCameraCoords(u, v, z, &xFrom, &yFrom);
    from->LocalToLocalCoords(to, xFrom, yFrom, z, x, y, zOut);
}

} // namespace LxCV
