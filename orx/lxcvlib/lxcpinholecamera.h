// A calibrated imaging device: a placement in space and the intrinsic parameters of a pinhole with a lens.
#pragma once

#include "ecaliberror.h"
#include "lxc3dcoordscct.h"
#include "lxccalibstate.h"
#include "lxccameratobecalibrated.h"
#include "lxcintrinsicparams.h"
#include "orx/base/export.h"

#include <cstdint>
#include <string>
#include <vector>

namespace LxCV {

class CCTImage;

class LxAPinholeCalibrationListener;
class LxCCCTSerializer;

/// Projects world points to pixels and pixels to rays, and measures how well it fits its calibration marks.
///
/// With F the forward chain of the placement (world to camera frame, mm), f the focal length and D the lens
/// distortion, a world point P = (X, Y, Z) is seen at
///
///     (x, y, z) = F P,   (xd, yd) = D(f x/z, f y/z) [sensor, mm],   (u, v) = (xd/Dx + Cx, yd/Dy + Cy) [pixels],
///
/// and a pixel is the ray from the camera centre through (xs, ys, f) in the camera frame, with (xs, ys) its
/// undistorted sensor position. All masters of the placement are cameras where `SetMasterCam` made them.
///
/// Stored, beside marks and placement of the bases: intrinsic parameters, the same reduced to an image of one
/// third of the columns (`UpdateIntrinsicParamsReduced` makes them), calibration state, virtual flag, quality
/// threshold, three error figures.
///
/// Output pointers of the mappings must not be null; they may point to the inputs' own variables. Projection is
/// const and may run on many threads at once, given a distortion table that is wide enough, which reading
/// provides. Writing needs the caller's exclusion.
class ORX_EXPORT LxCPinholeCamera : public LxCCameraToBeCalibrated
{
public:
    /// How to estimate the parameters; other numbers are unsupported. 0 and 1 are one method.
    enum ECalibMethod : std::int32_t
    {
        eCalibMethodTsai = 0,
        eCalibMethodTsaiVariant = 1,
        eCalibMethodOpenCV = 2
    };

    /// Marks that a view needs at least to be taken for calibration.
    static constexpr int sc_iMinNumCalibPoints = 10;

    LxCPinholeCamera() = default;

    /// See `CopyFrom`.
    LxCPinholeCamera(const LxCPinholeCamera& other);
    LxCPinholeCamera& operator=(const LxCPinholeCamera& other);
    ~LxCPinholeCamera() override = default;

    /// Calibration state in `section`, placement in `section`::CoordSysTrans, intrinsic parameters in
    /// `section`::IntrinsicParams. Reduced parameters, quality threshold and error figures are not stored.
    void Serialize(LxCCCTSerializer& serializer, const std::string& section) override;

    /// Copies calibration state, virtual flag, quality threshold, error figures, master, placement, intrinsic
    /// parameters and target orientations, these for as many views as the source has. The reduced parameters
    /// and the marks stay this camera's own. Null is ignored.
    void CopyFrom(const LxCPinholeCamera* other);

    LxCIntrinsicParams* GetIntrinsicParams() { return &m_IntrinsicParams; }
    const LxCIntrinsicParams* GetIntrinsicParams() const { return &m_IntrinsicParams; }
    LxCIntrinsicParams* GetIntrinsicParamsReduced() { return &m_IntrinsicParamsReduced; }
    const LxCIntrinsicParams* GetIntrinsicParamsReduced() const { return &m_IntrinsicParamsReduced; }

    /// Makes the reduced parameters from the full ones: width (w - 1)/3, which need not be whole, x pitch times
    /// 3, x of the principal points over 3; the rest is the same.
    void UpdateIntrinsicParamsReduced();

    /// Camera point (mm) to pixel; false, with the outputs left alone, if z is exactly 0.
    bool CameraToDisImageCoords(double x, double y, double z, double* u, double* v) const
    {
        return m_IntrinsicParams.CameraToDisImageCoords(x, y, z, u, v);
    }
    bool CameraToUnDisImageCoords(double x, double y, double z, double* u, double* v) const
    {
        return m_IntrinsicParams.CameraToUnDisImageCoords(x, y, z, u, v);
    }
    bool CameraToUnDisSensorCoords(double x, double y, double z, double* xs, double* ys) const
    {
        return m_IntrinsicParams.CameraToUnDisSensorCoords(x, y, z, xs, ys);
    }

    /// Distorted pixel to undistorted sensor mm, or pixel, and back. Always true.
    bool DisImageToUndisSensorCoords(double u, double v, double* x, double* y) const
    {
        return m_IntrinsicParams.DisImageToUndisSensorCoords(u, v, x, y);
    }
    bool DisImageToUndisImageCoords(double u, double v, double* uOut, double* vOut) const
    {
        return m_IntrinsicParams.DisImageToUndisImageCoords(u, v, uOut, vOut);
    }
    bool UndisImageToDisImageCoords(double u, double v, double* uOut, double* vOut) const
    {
        return m_IntrinsicParams.UndisImageToDisImageCoords(u, v, uOut, vOut);
    }
    bool ReadyForCalibration() const { return m_IntrinsicParams.ReadyForCalibration(); }

    /// Changes of frame (mm), along the chain of masters.
    void WorldToCameraCoords(double x, double y, double z, double* ox, double* oy, double* oz) const
    {
        WorldToLocalCoords(x, y, z, ox, oy, oz);
    }
    void CameraToWorldCoords(double x, double y, double z, double* ox, double* oy, double* oz) const
    {
        LocalToWorldCoords(x, y, z, ox, oy, oz);
    }

    /// From this camera's frame to that of `other`; null stands for the world.
    void CameraToCameraCoords(const LxCPinholeCamera* other, double x, double y, double z, double* ox,
                              double* oy, double* oz) const
    {
        LocalToLocalCoords(other, x, y, z, ox, oy, oz);
    }
    void GetWorld2CamTrafo(LxCCoordSysTrans* out) const { GetWorldToLocalTrafo(out); }
    void GetCam2CamTrafo(const LxCPinholeCamera* other, LxCCoordSysTrans* out) const
    {
        GetLocalToLocalTrafo(other, out);
    }

    /// The master is not owned; null makes this camera a master.
    void SetMasterCam(const LxCPinholeCamera* master) { SetMasterCoordSystem(master); }

    /// The master, or null if there is none or it is no camera.
    const LxCPinholeCamera* GetMasterCam() const;
    bool IsMasterCam() const { return IsRootObject(); }

    /// World point (mm) to pixel. Always true: a point in the camera's plane z = 0 leaves the outputs as they
    /// were.
    bool WorldToDisImageCoords(double worldX, double worldY, double worldZ, double* u, double* v) const
    {
        double x, y, z;
        WorldToCameraCoords(worldX, worldY, worldZ, &x, &y, &z);
        CameraToDisImageCoords(x, y, z, u, v);
        return true;
    }

    /// Overwrites each world point by (u, v, 0); a point in the camera's plane z = 0 keeps its x and y. Null
    /// pointers are passed over. Always true.
    bool WorldToDisImageCoords(std::vector<LxC3DCoordsCCT*>* points) const;

    /// The point on the ray of a pixel at depth `z` (mm), in the camera frame. Always true.
    bool DisImageToCameraCoords(double u, double v, double z, double* x, double* y) const
    {
        double xs, ys;
        DisImageToUndisSensorCoords(u, v, &xs, &ys);
        const double scale = z * m_IntrinsicParams.GetFocalLengthInvers();
        *x = scale * xs;
        *y = scale * ys;
        return true;
    }

    /// Where the ray of an undistorted sensor position (mm) meets the world plane z = `worldZ`.
    /// @return false, and (0, 0), for a ray parallel to that plane
    bool SensorToWorldCoords(double xs, double ys, double worldZ, double* worldX, double* worldY) const;

    /// The same for a distorted, and for an undistorted, pixel.
    bool DisImageToWorldCoords(double u, double v, double worldZ, double* worldX, double* worldY) const;
    bool UndisImageToWorldCoords(double u, double v, double worldZ, double* worldX, double* worldY) const;

    /// Undistorted sensor mm to distorted pixel. Always true.
    bool UndisSensorToDisImageCoords(double xs, double ys, double* u, double* v) const
    {
        double xd, yd;
        m_IntrinsicParams.UndisToDisSensorCoords(xs, ys, &xd, &yd);
        return m_IntrinsicParams.SensorToImageCoords(xd, yd, u, v);
    }

    /// Where the ray of a pixel meets the plane z = a x + b y + c of the camera frame (mm). Always true: a ray
    /// parallel to the plane gives values that are infinite or not numbers.
    bool IntersectLineOfViewWPlane(double u, double v, double a, double b, double c, double* x, double* y,
                                   double* z) const
    {
        double xs, ys;
        DisImageToUndisSensorCoords(u, v, &xs, &ys);
        const double f = m_IntrinsicParams.GetFocalLength();
        const double t = -c / (a * xs + b * ys - f);
        *x = t * xs;
        *y = t * ys;
        *z = t * f;
        return true;
    }

    /// The estimation of parameters is no part of this library: the parameters do not change. A new array of
    /// identity target orientations, one per view, is made, and copied to `orientations` if that is not null.
    /// @param preferTsai takes the Tsai method for a camera whose parameters use that model
    /// @return `eCalibNotDone` for the Tsai method, `eCalibOpenCVUnavailable` for the OpenCV method,
    ///         `eCalibMethodUnsupported` for any other
    ECalibError PerformCalib(ECalibMethod method, bool preferTsai,
                             std::vector<LxCCoordSysTrans>* orientations, int, int, double, int, bool, float,
                             float, LxAPinholeCalibrationListener* listener);

    /// What stamps and resets the calibration state.
    LxCCalibState* GetCalibState() { return &m_CalibState; }
    const LxCCalibState* GetCalibState() const { return &m_CalibState; }
    bool IsCalibrated() const { return m_CalibState.IsCalibrated(); }
    const std::wstring& GetCalibTime() const { return m_CalibState.GetCalibTime(); }

    /// Resets the calibration state and sets the three error figures to 999.
    void MarkAsUncalibrated();

    /// Nothing clears the flag but copying from a camera that is not virtual.
    void MakeVirtual() { m_bVirtual = true; }
    bool IsVirtual() const { return m_bVirtual; }

    /// A negative threshold counts as 0.
    void SetQualityThreshold(double threshold) { m_dQualityThreshold = threshold < 0.0 ? 0.0 : threshold; }
    double GetQualityThreshold() const { return m_dQualityThreshold; }

    /// The three error figures: 0 at first.
    void GetErrorStats(double& first, double& second, double& third) const;

    /// How far the model misses the marks that are not zero: mean, sample standard deviation (0 for one mark),
    /// maximum and root mean square over
    /// - distorted image plane: the distance between the projected and the measured pixel [pixels];
    /// - undistorted image plane: the same after removing the distortion [pixels];
    /// - object space: the distance of the point from the ray of the measured pixel [mm].
    /// The plain forms take the last view, whose points the camera's own placement leads into the camera
    /// frame; the MI forms all views, each with its target orientation.
    ///
    /// Work is done on a copy of the camera, so that the distortion table of this one is not touched.
    /// @return false, with all outputs 0, if there is no view, no mark that is not zero, or a view without
    ///         target orientation, and from `ObjectSpaceErrorStats` for a camera with a master, whose marks do
    ///         not lie in object space. The MI forms give false with the outputs untouched if there are no
    ///         target orientations at all.
    bool DistortedImagePlaneErrorStats(double& mean, double& stddev, double& max, double& rms) const;
    bool DistortedImagePlaneErrorStatsMI(double& mean, double& stddev, double& max, double& rms) const;
    bool UndistortedImagePlaneErrorStats(double& mean, double& stddev, double& max, double& rms) const;
    bool UndistortedImagePlaneErrorStatsMI(double& mean, double& stddev, double& max, double& rms) const;
    bool ObjectSpaceErrorStats(double& mean, double& stddev, double& max, double& rms) const;
    bool ObjectSpaceErrorStatsMI(double& mean, double& stddev, double& max, double& rms) const;

    /// Over the marks of the last view, the error in the plane of the object divided by the size of a pixel
    /// projected there; no unit. False, with both outputs 0, as above.
    bool NormalizedCalibrationError(double& mean, double& stddev) const;

    /// Puts a report of parameters and statistics behind `out` if `append`, else before it.
    /// @param external leaves out the intrinsic parameters
    /// @param clear empties `out` first
    void PrintCalibResults(bool external, std::string& out, bool append, bool clear) const;

    /// Writes a like report to a text file. Nothing happens if the file cannot be opened.
    void WriteCalibResults(const std::string& fileName) const;

    /// Draws each mark that is not zero into an image of this camera: a diamond at the measured position, and a line
    /// towards the projected one, enlarged up to a hundredfold, less where the third error figure is large. Null
    /// marks are passed over; a null argument draws nothing.
    void DrawCalibResults(CCTImage* image, const std::vector<LxCCalibrationData*>* marks) const;

    /// Kept for its callers. False, and `out` stays as it was.
    bool DebugObjectSpaceErrorStatsAllPlates(std::string& out, const LxCCoordSysTrans* const poses) const;

protected:
    /// The estimators behind `PerformCalib`, which ignore all arguments.
    ECalibError PerformCalibTsai(int, int, double, int, bool, float, float,
                                 LxAPinholeCalibrationListener* listener) const;
    ECalibError PerformCalibOpenCV(int, int, double, int, bool, float, float,
                                   LxAPinholeCalibrationListener* listener) const;

private:
    LxCIntrinsicParams m_IntrinsicParams;
    LxCIntrinsicParams m_IntrinsicParamsReduced;
    LxCCalibState m_CalibState;
    bool m_bVirtual = false;
    double m_dQualityThreshold = 2.0;
    double m_dErrorFigures[3] = {0.0, 0.0, 0.0};
};

} // namespace LxCV
