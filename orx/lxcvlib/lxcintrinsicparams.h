// What a pinhole device knows of itself: image geometry, focal length and lens distortion.
#pragma once

#include "orx/base/export.h"

#include <string>
#include <vector>

namespace LxCV {

class LxCCCTSerializer;

/// Maps between three kinds of coordinates of one device, camera or projector (an inverse camera):
/// - camera: (x, y, z) in mm, device frame, z along the optical axis;
/// - sensor: (xs, ys) in mm in the image plane at distance f, relative to the principal point;
/// - image: (u, v) in pixels, u = xs/Dx + Cx, v = ys/Dy + Cy. The image spans (0, 0) to (width, height).
/// Distorted is where the lens really images a point, undistorted where an ideal pinhole would.
///
/// Two models of distortion, chosen by `IsUseTsai`:
/// - Tsai, on sensor mm, from distorted to undistorted: undistorted = distorted·(1 + k2·r² + k4·r⁴) with r the
///   distorted radius. The way back is looked up in a table that inverts the polynomial with all four
///   coefficients: kappa1 and kappa3 deliberately count in that direction only.
/// - ICV, on coordinates x = xs/f, y = ys/f, from undistorted to distorted, with r² = x² + y²:
///     xd = f·(x·(1 + k2·r² + k4·r⁴ + k6·r⁶) + 2·tau1·x·y + tau2·(r² + 2·x²))
///     yd = f·(y·(1 + k2·r² + k4·r⁴ + k6·r⁶) + tau1·(r² + 2·y²) + 2·tau2·x·y)
///   The way back is a fixed-point iteration of 20 steps if `IsUseTau`, else a table lookup that knows the
///   radial part only, while distorting applies the tangential part in any case: the two directions then
///   disagree on purpose.
///
/// The inverse distortion table holds, at entry k, the ratio of solved to given radius for a squared radius of
/// k/100 (mm² or normalised, as the model has it). It is a cache that const operations build: by the first
/// lookup with safety factor 1.1, by one lookup out of range with 2.0, by reading with 2.0. Changing a
/// coefficient, a pitch or the image leaves the table as it is: call `InvalidateInverseDistLUT` or
/// `ComputeInverseDistLUT`. The table never has more than `sc_iMaxTableLength` entries, whatever the parameters.
///
/// There is no lock. Mapping on many threads at once needs a table that is wide enough beforehand, which reading
/// provides, or one that is final (`FinalizeInverseDistLUT`), whatever is mapped. Output pointers must not be null; they may point to the inputs' own variables.
class ORX_EXPORT LxCIntrinsicParams
{
public:
    /// Entries of the table per unit of squared radius.
    static constexpr double msc_dInvDistLutResolutionInv = 100.0;

    /// Bound of the table, against parameters that no device has: squared radii up to 500, so a corner 11 mm
    /// from the principal point at safety factor 2. A model of two such devices takes a tenth of a second.
    static constexpr int sc_iMaxTableLength = 50001;

    /// Bound of the samples that `TestFastInvDist` takes.
    static constexpr int sc_iMaxTestSamples = 100000;

    /// (u, v) pixels to sensor mm, no distortion. Always true.
    bool ImageToSensorCoords(double u, double v, double* xs, double* ys) const;

    /// Sensor mm to pixels, no distortion. Always true.
    bool SensorToImageCoords(double xs, double ys, double* u, double* v) const;

    /// Ideal projection of a camera point. False, with the outputs left alone, if z is exactly 0.
    bool CameraToUnDisSensorCoords(double x, double y, double z, double* xs, double* ys) const;
    bool CameraToUnDisImageCoords(double x, double y, double z, double* u, double* v) const;

    /// Projection of a camera point to the pixel where the lens images it. False if z is exactly 0.
    bool CameraToDisImageCoords(double x, double y, double z, double* u, double* v) const;

    /// Distorted pixel to undistorted sensor mm. Always true.
    bool DisImageToUndisSensorCoords(double u, double v, double* x, double* y) const;

    /// The same for two pixels at once, bit for bit as two single calls and faster than those.
    /// @param u,v two pixels each
    /// @param x,y receive two positions each
    bool DisImageToUndisSensorCoordsPair(const double u[2], const double v[2], double x[2],
                                         double y[2]) const;

    /// Distorted pixel to undistorted pixel. Always true.
    bool DisImageToUndisImageCoords(double u, double v, double* uOut, double* vOut) const;

    /// Undistorted sensor mm to distorted sensor mm. Always true.
    bool UndisToDisSensorCoords(double xu, double yu, double* xd, double* yd) const;

    /// Undistorted pixel to distorted pixel. Always true.
    bool UndisImageToDisImageCoords(double u, double v, double* uOut, double* vOut) const;

    /// Stores f (mm) and 1/f; no test for zero.
    void SetFocalLength(double f);
    double GetFocalLength() const { return m_dFocalLength; }             ///< mm
    double GetFocalLengthInvers() const { return m_dFocalLengthInvers; } ///< 1/mm
    double GetSecondFocalLength() const { return m_dSecondFocalLength; } ///< mm; printed, maps nothing
    void SetSecondFocalLength(double f) { m_dSecondFocalLength = f; }

    /// Pixels, truncated; a value that int cannot hold saturates, not-a-number gives 0.
    int GetImageWidth() const;
    int GetImageHeight() const;

    /// Pixels as stored. They need not be whole.
    double GetExactImageWidth() const { return m_dImageWidth; }
    double GetExactImageHeight() const { return m_dImageHeight; }
    void SetImageSize(double width, double height);

    double GetPixelPitchX() const { return m_dPixelPitchX; } ///< mm per pixel
    double GetPixelPitchY() const { return m_dPixelPitchY; } ///< mm per pixel
    void SetPixelPitch(double pitchX, double pitchY);

    double GetPrincipalPointX() const { return m_dPrincipalPointX; } ///< pixels
    double GetPrincipalPointY() const { return m_dPrincipalPointY; } ///< pixels
    void SetPrincipalPoint(double x, double y);

    /// Pixels; where a calibration starts from.
    double GetNominalPrincipalPointX() const { return m_dNominalPrincipalPointX; }
    double GetNominalPrincipalPointY() const { return m_dNominalPrincipalPointY; }
    void SetNominalPrincipalPoint(double x, double y);

    bool IsUseTsai() const { return m_bUseTsai; }
    void SetUseTsai(bool use) { m_bUseTsai = use; }
    double GetKappa1() const { return m_dKappa1; } ///< 1/mm
    double GetKappa2() const { return m_dKappa2; } ///< 1/mm²
    double GetKappa3() const { return m_dKappa3; } ///< 1/mm³
    double GetKappa4() const { return m_dKappa4; } ///< 1/mm⁴
    void SetKappas(double kappa1, double kappa2, double kappa3, double kappa4);

    /// Radial coefficients of the ICV model; no unit.
    double GetKappa2ICV() const { return m_dKappa2ICV; }
    double GetKappa4ICV() const { return m_dKappa4ICV; }
    double GetKappa6ICV() const { return m_dKappa6ICV; }
    void SetKappasICV(double kappa2, double kappa4, double kappa6);

    /// Tangential coefficients of the ICV model; no unit.
    bool IsUseTau() const { return m_bUseTau; }
    void SetUseTau(bool use) { m_bUseTau = use; }
    double GetTau1() const { return m_dTau1; }
    double GetTau2() const { return m_dTau2; }
    void SetTaus(double tau1, double tau2);

    /// Whether image size and pixel pitches are all above zero.
    bool ReadyForCalibration() const;

    /// Largest distance (mm) from the principal point to one of the four image corners.
    double GetMaxSensorRad() const;

    /// Builds the table for radii up to `safetyFactor` times that of the farthest corner. It ends earlier where
    /// the distortion polynomial stops growing or cannot be inverted. Parameters that ask for a table beyond
    /// `sc_iMaxTableLength` are logged as an error and get a table of that length; those that ask for an endless
    /// one get entry 0 only.
    /// @return true
    bool ComputeInverseDistLUT(double safetyFactor) const;

    /// Makes mapping on many threads safe for any arguments: builds the table with safety factor 2 if the present
    /// one is narrower, and spends the one rebuild by a lookup out of range.
    void FinalizeInverseDistLUT() const;

    /// Drops the table and lets the next lookup out of range widen it again. The table length stays as it was.
    void InvalidateInverseDistLUT();

    /// Entries of the table, or of the last one if there is none now; 0 before the first.
    int GetInverseDistLUTLength() const { return m_iInverseDistLength; }
    bool HasInverseDistLUT() const { return !m_vInverseDist.empty(); }

    /// Diagnosis: compares the table with exact inversion at radii step, 2·step, ... (mm) up to `safetyFactor`
    /// times `GetMaxSensorRad`. Replaces `out` by three values a radius: the radius (mm), the exact ratio and
    /// the table's. Ends at the first radius that cannot be inverted, and after `sc_iMaxTestSamples` radii.
    void TestFastInvDist(double safetyFactor, double step, std::vector<double>& out) const;

    /// Replaces `out` by focal lengths, the coefficients of the model in use, and the principal point as text.
    void PrettyPrint(std::string& out) const;

    /// Keys in this order: Nfx, Dx, Dy, Cx, Cy, CxDef, CyDef, f, Kappa1 to Kappa4, UseTsai, Kappa2ICV,
    /// Kappa4ICV, Kappa6ICV, Tau1, Tau2, UseTau, Nfy. A missing key keeps what the object holds. Reading ends
    /// with 1/f (0.0 for f = 0) and a table of safety factor 2.
    void Serialize(LxCCCTSerializer& serializer, const std::string& section);

protected:
    /// The table's ratio at a squared radius, interpolated. Out of range the table is rebuilt once with safety
    /// factor 2; if that does not help, an error is logged and the argument itself is returned, deliberately:
    /// callers take it as a ratio.
    double LookupInverseDist(double squaredRadius) const;

    /// Solves (1 + c0·r + c1·r² + ... + c5·r⁶)·r = target for r in (0, upperBound) by bisection.
    /// @param coefficients c0 to c5
    /// @param result the last radius tried, also on failure; left alone if `upperBound` is not in (1e-8, inf)
    /// @return whether the polynomial came within 1e-8 of the target
    static bool AuxInvertDistortionModel(const double* coefficients, double target, double upperBound,
                                         double& result);

    /// Least-squares fit of ratio = 1 + sum of c·r^power to n samples. The first sample counts in the right side
    /// of the normal equations only, deliberately: stored calibrations were made that way.
    /// @param radii,ratios n values each
    /// @param coefficients degree 4: four values, of r to r⁴; degree 2: four values, of r (0), r², r³ (0), r⁴;
    ///        degree 1: one value, of r². Left alone on failure.
    /// @return false for another degree, a null pointer, or a singular system
    static bool AuxFitTsaiPol(const double* radii, const double* ratios, int n, double* coefficients,
                              int degree);

private:
    void DistortICV(double xu, double yu, double* xd, double* yd) const;
    double GetMaxSensorRadSquared() const;
    double GetTableLimitICV(double safetyFactor) const;
    double GetTableLimitTsai(double safetyFactor) const;
    void GetInversionCoefficients(double (&coefficients)[6]) const;
    bool InterpolateInverseDist(double squaredRadius, double& ratio) const;
    double LookupBeyondTable(double squaredRadius) const;

    double m_dImageWidth = 0.0;             ///< pixels
    double m_dImageHeight = 0.0;            ///< pixels
    double m_dPixelPitchX = 0.0;            ///< mm per pixel
    double m_dPixelPitchY = 0.0;            ///< mm per pixel
    double m_dPrincipalPointX = 0.0;        ///< pixels
    double m_dPrincipalPointY = 0.0;        ///< pixels
    double m_dNominalPrincipalPointX = 0.0; ///< pixels
    double m_dNominalPrincipalPointY = 0.0; ///< pixels
    double m_dFocalLength = 1.0;            ///< mm
    double m_dFocalLengthInvers = 1.0;      ///< 1/mm
    double m_dSecondFocalLength = 0.0;      ///< mm
    // Length 0 goes with an empty table and a clear flag, so that copies need no code of their own.
    mutable std::vector<double> m_vInverseDist; ///< empty when there is no table
    mutable int m_iInverseDistLength = 0;       ///< outlives an invalidated table
    mutable double m_dInverseDistFactor = 0.0;  ///< safety factor of the last table
    mutable bool m_bInverseDistRetried = false; ///< whether the wider safety factor was tried
    double m_dKappa1 = 0.0;                     ///< 1/mm
    double m_dKappa2 = 0.0;                     ///< 1/mm²
    double m_dKappa3 = 0.0;                     ///< 1/mm³
    double m_dKappa4 = 0.0;                     ///< 1/mm⁴
    bool m_bUseTsai = true;
    double m_dKappa2ICV = 0.0; ///< on normalised coordinates
    double m_dKappa4ICV = 0.0; ///< on normalised coordinates
    double m_dKappa6ICV = 0.0; ///< on normalised coordinates
    double m_dTau1 = 0.0;      ///< on normalised coordinates
    double m_dTau2 = 0.0;      ///< on normalised coordinates
    bool m_bUseTau = true;
};

} // namespace LxCV
