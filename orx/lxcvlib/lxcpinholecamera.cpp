// A calibrated imaging device: a placement in space and the intrinsic parameters of a pinhole with a lens.
#include "lxcpinholecamera.h"

#include "lxccctserializer.h"
#include "lxcpropertybag.h"

#include <algorithm>
#include <iterator>

namespace LxCV {

LxCPinholeCamera::LxCPinholeCamera(const LxCPinholeCamera& other) : LxCPinholeCamera()
{
    CopyFrom(&other);
}

LxCPinholeCamera& LxCPinholeCamera::operator=(const LxCPinholeCamera& other)
{
    if (this != &other) {
        CopyFrom(&other);
    }
    return *this;
}

void LxCPinholeCamera::Serialize(LxCCCTSerializer& serializer, const std::string& section)
{
    // The section is there even if the calibration state has nothing to write.
    LxCPropertyBag().serialize(serializer, section, true);
    m_CalibState.Serialize(serializer, section);
    LxCObjectInSpace::Serialize(serializer, section + "::CoordSysTrans");
    m_IntrinsicParams.Serialize(serializer, section + "::IntrinsicParams");
}

void LxCPinholeCamera::CopyFrom(const LxCPinholeCamera* other)
{
    if (!other || other == this) {
        return;
    }
    m_CalibState = other->m_CalibState;
    m_bVirtual = other->m_bVirtual;
    m_dQualityThreshold = other->m_dQualityThreshold;
    std::copy(std::begin(other->m_dErrorFigures), std::end(other->m_dErrorFigures), m_dErrorFigures);
    LxCObjectInSpace::operator=(*other);
    m_IntrinsicParams = other->m_IntrinsicParams;
    CopyTargetOrientations(*other);
}

void LxCPinholeCamera::UpdateIntrinsicParamsReduced()
{
    constexpr double kColumnsPerReducedColumn = 3.0;
    const LxCIntrinsicParams& full = m_IntrinsicParams;
    LxCIntrinsicParams& reduced = m_IntrinsicParamsReduced;
    reduced = full;
    reduced.SetImageSize((full.GetExactImageWidth() - 1.0) / kColumnsPerReducedColumn,
                         full.GetExactImageHeight());
    reduced.SetPixelPitch(full.GetPixelPitchX() * kColumnsPerReducedColumn, full.GetPixelPitchY());
    reduced.SetPrincipalPoint(full.GetPrincipalPointX() / kColumnsPerReducedColumn,
                              full.GetPrincipalPointY());
    reduced.SetNominalPrincipalPoint(full.GetNominalPrincipalPointX() / kColumnsPerReducedColumn,
                                     full.GetNominalPrincipalPointY());
}

const LxCPinholeCamera* LxCPinholeCamera::GetMasterCam() const
{
    return dynamic_cast<const LxCPinholeCamera*>(GetMasterCoordSystem());
}

bool LxCPinholeCamera::WorldToDisImageCoords(std::vector<LxC3DCoordsCCT*>* points) const
{
    if (!points) {
        return true;
    }
    for (LxC3DCoordsCCT* const point : *points) {
        if (point) {
            double u = point->x;
            double v = point->y;
            WorldToDisImageCoords(point->x, point->y, point->z, &u, &v);
            point->Set(u, v, 0.0);
        }
    }
    return true;
}

bool LxCPinholeCamera::SensorToWorldCoords(double xs, double ys, double worldZ, double* worldX,
                                           double* worldY) const
{
    LxC3DCoordsCCT centreInWorld, sensorInWorld;
    CameraToWorldCoords(0.0, 0.0, 0.0, &centreInWorld.x, &centreInWorld.y, &centreInWorld.z);
    CameraToWorldCoords(xs, ys, m_IntrinsicParams.GetFocalLength(), &sensorInWorld.x, &sensorInWorld.y,
                        &sensorInWorld.z);
    const double fall = centreInWorld.z - sensorInWorld.z;
    if (fall == 0.0) {
        *worldX = 0.0;
        *worldY = 0.0;
        return false;
    }
    const double s = (centreInWorld.z - worldZ) / fall;
    *worldX = (sensorInWorld.x - centreInWorld.x) * s + centreInWorld.x;
    *worldY = (sensorInWorld.y - centreInWorld.y) * s + centreInWorld.y;
    return true;
}

bool LxCPinholeCamera::DisImageToWorldCoords(double u, double v, double worldZ, double* worldX,
                                             double* worldY) const
{
    double xs, ys;
    DisImageToUndisSensorCoords(u, v, &xs, &ys);
    return SensorToWorldCoords(xs, ys, worldZ, worldX, worldY);
}

bool LxCPinholeCamera::UndisImageToWorldCoords(double u, double v, double worldZ, double* worldX,
                                               double* worldY) const
{
    double xs, ys;
    m_IntrinsicParams.ImageToSensorCoords(u, v, &xs, &ys);
    return SensorToWorldCoords(xs, ys, worldZ, worldX, worldY);
}

ECalibError LxCPinholeCamera::PerformCalib(ECalibMethod method, bool preferTsai,
                                           std::vector<LxCCoordSysTrans>* orientations, int a, int b,
                                           double c, int d, bool e, float f, float g,
                                           LxAPinholeCalibrationListener* listener)
{
    if (preferTsai && m_IntrinsicParams.IsUseTsai()) {
        method = eCalibMethodTsai;
    }
    MakeTargetOrientations(static_cast<std::size_t>(GetNrOfViews()));

    ECalibError result = eCalibMethodUnsupported;
    if (method == eCalibMethodTsai || method == eCalibMethodTsaiVariant) {
        result = PerformCalibTsai(a, b, c, d, e, f, g, listener);
    } else if (method == eCalibMethodOpenCV) {
        result = PerformCalibOpenCV(a, b, c, d, e, f, g, listener);
    }

    if (orientations) {
        const LxCCoordSysTrans* const first = GetTargetOrientation();
        orientations->assign(first, first + GetNrOfTargetOrientations());
    }
    return result;
}

ECalibError LxCPinholeCamera::PerformCalibTsai(int, int, double, int, bool, float, float,
                                               LxAPinholeCalibrationListener*) const
{
    return eCalibNotDone;
}

ECalibError LxCPinholeCamera::PerformCalibOpenCV(int, int, double, int, bool, float, float,
                                                 LxAPinholeCalibrationListener*) const
{
    return eCalibOpenCVUnavailable;
}

void LxCPinholeCamera::MarkAsUncalibrated()
{
    constexpr double kUnknownError = 999.0;
    m_CalibState.ResetCalibState();
    std::fill(std::begin(m_dErrorFigures), std::end(m_dErrorFigures), kUnknownError);
}

void LxCPinholeCamera::GetErrorStats(double& first, double& second, double& third) const
{
    first = m_dErrorFigures[0];
    second = m_dErrorFigures[1];
    third = m_dErrorFigures[2];
}

bool LxCPinholeCamera::DebugObjectSpaceErrorStatsAllPlates(std::string&, const LxCCoordSysTrans* const) const
{
    return false;
}

} // namespace LxCV
