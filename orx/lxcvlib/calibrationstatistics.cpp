// The statistics of a pinhole camera against its calibration marks.
#include "calibrationstatistics.h"

#include "lxcpinholecamera.h"

#include <cmath>
#include <limits>
#include <vector>

namespace LxCV {

void CCalibrationStatistics::Add(double error)
{
    // An error that is not a number becomes the maximum, and nothing is above it then.
    if (m_uiCount == 0 || error > m_dMax || std::isnan(error)) {
        m_dMax = error;
    }
    ++m_uiCount;
    m_dSum += error;
    m_dSumSq += error * error;
}

double CCalibrationStatistics::GetMean() const
{
    return IsEmpty() ? 0.0 : m_dSum / static_cast<double>(m_uiCount);
}

double CCalibrationStatistics::GetStdDev() const
{
    if (m_uiCount < 2) {
        return 0.0;
    }
    const double n = static_cast<double>(m_uiCount);
    const double variance = (m_dSumSq - m_dSum * m_dSum / n) / (n - 1.0);
    return variance < 0.0 ? 0.0 : std::sqrt(variance);
}

double CCalibrationStatistics::GetRms() const
{
    return IsEmpty() ? 0.0 : std::sqrt(m_dSumSq / static_cast<double>(m_uiCount));
}

namespace {

using Marks = std::vector<LxCCalibrationData*>;

double DistortedImagePlaneError(const LxCPinholeCamera& camera, const LxC3DCoordsCCT& pointInCamera,
                                const LxCCalibrationData& mark)
{
    double u, v;
    if (!camera.CameraToDisImageCoords(pointInCamera.x, pointInCamera.y, pointInCamera.z, &u, &v)) {
        return std::numeric_limits<double>::infinity(); // in the camera's plane: seen nowhere
    }
    return (LxCSensorCoordsCCT(u, v) - mark.GetImagePart()).GetLength();
}

LxCSensorCoordsCCT UndistortedSensor(const LxCPinholeCamera& camera, const LxCCalibrationData& mark)
{
    LxCSensorCoordsCCT sensor;
    camera.DisImageToUndisSensorCoords(mark.m_dXi, mark.m_dYi, &sensor.x, &sensor.y);
    return sensor;
}

double UndistortedImagePlaneError(const LxCPinholeCamera& camera, const LxC3DCoordsCCT& pointInCamera,
                                  const LxCCalibrationData& mark)
{
    const LxCIntrinsicParams& params = *camera.GetIntrinsicParams();
    const double f = params.GetFocalLength();
    const LxCSensorCoordsCCT sensor = UndistortedSensor(camera, mark);
    return LxCSensorCoordsCCT((f * pointInCamera.x / pointInCamera.z - sensor.x) / params.GetPixelPitchX(),
                              (f * pointInCamera.y / pointInCamera.z - sensor.y) / params.GetPixelPitchY())
        .GetLength();
}

double ObjectSpaceError(const LxCPinholeCamera& camera, const LxC3DCoordsCCT& pointInCamera,
                        const LxCCalibrationData& mark)
{
    const LxCSensorCoordsCCT sensor = UndistortedSensor(camera, mark);
    const LxC3DCoordsCCT direction(sensor.x, sensor.y, camera.GetIntrinsicParams()->GetFocalLength());
    const double t = pointInCamera.Dot(direction) / direction.Dot(direction);
    return (pointInCamera - direction * t).GetLength();
}

double NormalizedError(const LxCPinholeCamera& camera, const LxC3DCoordsCCT& pointInCamera,
                       const LxCCalibrationData& mark)
{
    const LxCIntrinsicParams& params = *camera.GetIntrinsicParams();
    const double f = params.GetFocalLength();
    const double alpha = f / params.GetPixelPitchX();
    const double beta = f / params.GetPixelPitchY();
    const double z = pointInCamera.z;
    const LxCSensorCoordsCCT sensor = UndistortedSensor(camera, mark);
    const double missX = sensor.x * z / f - pointInCamera.x;
    const double missY = sensor.y * z / f - pointInCamera.y;
    const double missSq = missX * missX + missY * missY;
    // A pixel projected to depth z spans z/alpha by z/beta; 1/12 is the variance of a uniform distribution.
    return std::sqrt(missSq / ((1.0 / (beta * beta) + 1.0 / (alpha * alpha)) * (z * z) / 12.0));
}

/// Adds the errors of the marks that are not zero; `cameraFromMarks` leads from their frame to the camera's.
template <typename ErrorOf>
void AddErrors(const LxCPinholeCamera& camera, const Marks& marks, const LxCCoordSysTrans& cameraFromMarks,
               ErrorOf errorOf, CCalibrationStatistics& statistics)
{
    for (const LxCCalibrationData* mark : marks) {
        if (mark->IsNonzero()) {
            LxC3DCoordsCCT pointInCamera;
            cameraFromMarks.Transform(mark->GetWorldPart(), pointInCamera);
            statistics.Add(errorOf(camera, pointInCamera, *mark));
        }
    }
}

/// Errors over the last view by the camera's own placement. Empty if there is no such view.
template <typename ErrorOf>
CCalibrationStatistics LastViewStatistics(const LxCPinholeCamera& camera, ErrorOf errorOf)
{
    CCalibrationStatistics statistics;
    Marks marks;
    if (camera.GetCalibDataForView(&marks, camera.GetNrOfViews() - 1) == eCalibOk) {
        // Lookups may rebuild the distortion table, and must not do so in the camera that is measured.
        LxCPinholeCamera copy;
        copy.CopyFrom(&camera);
        AddErrors(copy, marks, copy, errorOf, statistics);
    }
    return statistics;
}

/// Errors over all views, each by its target orientation. Empty if a view lacks one.
template <typename ErrorOf>
CCalibrationStatistics AllViewsStatistics(const LxCPinholeCamera& camera, ErrorOf errorOf)
{
    CCalibrationStatistics statistics;
    LxCPinholeCamera copy;
    copy.CopyFrom(&camera);
    const std::size_t viewCount = static_cast<std::size_t>(camera.GetNrOfViews());
    if (viewCount > camera.GetNrOfTargetOrientations()) {
        return statistics;
    }
    for (std::size_t view = 0; view < viewCount; ++view) {
        Marks marks;
        if (camera.GetCalibDataForView(&marks, static_cast<int>(view)) != eCalibOk) {
            return {};
        }
        AddErrors(copy, marks, camera.GetTargetOrientation()[view], errorOf, statistics);
    }
    return statistics;
}

bool Deliver(const CCalibrationStatistics& statistics, double& mean, double& stddev, double& max, double& rms)
{
    mean = statistics.GetMean();
    stddev = statistics.GetStdDev();
    max = statistics.GetMax();
    rms = statistics.GetRms();
    return !statistics.IsEmpty();
}

} // namespace

bool LxCPinholeCamera::DistortedImagePlaneErrorStats(double& mean, double& stddev, double& max,
                                                     double& rms) const
{
    return Deliver(LastViewStatistics(*this, DistortedImagePlaneError), mean, stddev, max, rms);
}

bool LxCPinholeCamera::DistortedImagePlaneErrorStatsMI(double& mean, double& stddev, double& max,
                                                       double& rms) const
{
    return GetTargetOrientation() &&
           Deliver(AllViewsStatistics(*this, DistortedImagePlaneError), mean, stddev, max, rms);
}

bool LxCPinholeCamera::UndistortedImagePlaneErrorStats(double& mean, double& stddev, double& max,
                                                       double& rms) const
{
    return Deliver(LastViewStatistics(*this, UndistortedImagePlaneError), mean, stddev, max, rms);
}

bool LxCPinholeCamera::UndistortedImagePlaneErrorStatsMI(double& mean, double& stddev, double& max,
                                                         double& rms) const
{
    return GetTargetOrientation() &&
           Deliver(AllViewsStatistics(*this, UndistortedImagePlaneError), mean, stddev, max, rms);
}

bool LxCPinholeCamera::ObjectSpaceErrorStats(double& mean, double& stddev, double& max, double& rms) const
{
    if (!IsMasterCam()) {
        return Deliver({}, mean, stddev, max, rms);
    }
    return Deliver(LastViewStatistics(*this, ObjectSpaceError), mean, stddev, max, rms);
}

bool LxCPinholeCamera::ObjectSpaceErrorStatsMI(double& mean, double& stddev, double& max, double& rms) const
{
    return GetTargetOrientation() &&
           Deliver(AllViewsStatistics(*this, ObjectSpaceError), mean, stddev, max, rms);
}

bool LxCPinholeCamera::NormalizedCalibrationError(double& mean, double& stddev) const
{
    double max, rms;
    return Deliver(LastViewStatistics(*this, NormalizedError), mean, stddev, max, rms);
}

} // namespace LxCV
