// Projection, distortion and its inversion by iteration or table.
#include "lxcintrinsicparams.h"

#include "floattointeger.h"
#include "lxccctserializer.h"
#include "lxcpropertybag.h"
#include "matrixroutines.h"
#include "orx/logging/logger.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <locale>
#include <sstream>

namespace LxCV {

namespace {

const Logging::CLogger s_Logger(L"ORX.Lumorad.LxCIntrinsicParams");

constexpr double c_dFirstSafetyFactor = 1.1;
constexpr double c_dSafetyFactor = 2.0;
constexpr int c_iUndistortSteps = 20;
constexpr double c_dBisectionTolerance = 1e-8; ///< of the radius and of the polynomial, mm or normalised

/// Largest squared radius of a table.
constexpr double c_dMaxTableLimit =
    (LxCIntrinsicParams::sc_iMaxTableLength - 1) / LxCIntrinsicParams::msc_dInvDistLutResolutionInv;

/// Two doubles that are computed side by side.
using Pair = double __attribute__((vector_size(2 * sizeof(double))));
using PairBits = std::uint64_t __attribute__((vector_size(sizeof(Pair))));

/// Compares bits and not values: the sign of a zero may still swing, and a NaN that stays is at rest.
bool AreSame(double ax, double ay, double bx, double by)
{
    const auto bits = [](double value) { return std::bit_cast<std::uint64_t>(value); };
    return ((bits(ax) ^ bits(bx)) | (bits(ay) ^ bits(by))) == 0;
}
bool AreSame(const Pair& ax, const Pair& ay, const Pair& bx, const Pair& by)
{
    const auto bits = [](const Pair& pair) { return std::bit_cast<PairBits>(pair); };
    const PairBits difference = (bits(ax) ^ bits(bx)) | (bits(ay) ^ bits(by));
    return (difference[0] | difference[1]) == 0;
}

/// The coefficients of the ICV model.
struct IcvModel
{
    double k2, k4, k6, tau1, tau2;

    /// One step of x <- (x0 - dx(x, y))·c(x, y) and y likewise, from the old x and y. Number is double or Pair.
    template <typename Number>
    void Step(const Number& x0, const Number& y0, const Number& x, const Number& y, Number& newX,
              Number& newY) const
    {
        const Number r2 = x * x + y * y;
        const Number c = 1.0 / (1.0 + ((k6 * r2 + k4) * r2 + k2) * r2);
        const Number dx = 2.0 * tau1 * x * y + tau2 * (r2 + 2.0 * (x * x));
        const Number dy = tau1 * (r2 + 2.0 * (y * y)) + 2.0 * tau2 * x * y;
        newX = (x0 - dx) * c;
        newY = (y0 - dy) * c;
    }

    /// Twenty steps from (x0, y0). A step that reproduces its input ends the work, since all further ones would
    /// too; so does one that reproduces the state before its input (rounding may leave the last bit swinging
    /// between two states), and then the parity of the remaining steps says which of the two stands at the end.
    template <typename Number>
    void Undistort(const Number& x0, const Number& y0, Number& x, Number& y) const
    {
        Number beforeX = x0;
        Number beforeY = y0;
        Step(x0, y0, x0, y0, x, y);
        for (int step = 2; step <= c_iUndistortSteps; ++step) {
            Number newX;
            Number newY;
            Step(x0, y0, x, y, newX, newY);
            if (AreSame(newX, newY, x, y)) {
                return;
            }
            if (AreSame(newX, newY, beforeX, beforeY) && (c_iUndistortSteps - step) % 2 != 0) {
                return;
            }
            beforeX = x;
            beforeY = y;
            x = newX;
            y = newY;
        }
    }
};

double EvaluateDistortion(const double* c, double r)
{
    return ((((((c[5] * r + c[4]) * r + c[3]) * r + c[2]) * r + c[1]) * r + c[0]) * r + 1.0) * r;
}

/// Squared radius up to which a table is built, as parameters from outside may be anything.
double BoundTableLimit(double limit)
{
    if (limit <= c_dMaxTableLimit) {
        return limit;
    }
    s_Logger.Error(L"LxCIntrinsicParams::ComputeInverseDistLUT: squared radius %g is out of range", limit);
    return std::isfinite(limit) ? c_dMaxTableLimit : 0.0;
}

} // namespace

bool LxCIntrinsicParams::ImageToSensorCoords(double u, double v, double* xs, double* ys) const
{
    *xs = (u - m_dPrincipalPointX) * m_dPixelPitchX;
    *ys = (v - m_dPrincipalPointY) * m_dPixelPitchY;
    return true;
}

bool LxCIntrinsicParams::SensorToImageCoords(double xs, double ys, double* u, double* v) const
{
    *u = xs / m_dPixelPitchX + m_dPrincipalPointX;
    *v = ys / m_dPixelPitchY + m_dPrincipalPointY;
    return true;
}

bool LxCIntrinsicParams::CameraToUnDisSensorCoords(double x, double y, double z, double* xs, double* ys) const
{
    if (z == 0.0) {
        return false;
    }
    const double scale = m_dFocalLength / z;
    *xs = scale * x;
    *ys = scale * y;
    return true;
}

bool LxCIntrinsicParams::CameraToUnDisImageCoords(double x, double y, double z, double* u, double* v) const
{
    double xs = 0.0;
    double ys = 0.0;
    return CameraToUnDisSensorCoords(x, y, z, &xs, &ys) && SensorToImageCoords(xs, ys, u, v);
}

bool LxCIntrinsicParams::CameraToDisImageCoords(double x, double y, double z, double* u, double* v) const
{
    double xs = 0.0;
    double ys = 0.0;
    return CameraToUnDisSensorCoords(x, y, z, &xs, &ys) && UndisToDisSensorCoords(xs, ys, &xs, &ys) &&
           SensorToImageCoords(xs, ys, u, v);
}

bool LxCIntrinsicParams::DisImageToUndisSensorCoords(double u, double v, double* x, double* y) const
{
    const double xs = m_dPixelPitchX * (u - m_dPrincipalPointX);
    const double ys = m_dPixelPitchY * (v - m_dPrincipalPointY);
    if (!m_bUseTsai && m_bUseTau) {
        const IcvModel model = {m_dKappa2ICV, m_dKappa4ICV, m_dKappa6ICV, m_dTau1, m_dTau2};
        double xn = 0.0;
        double yn = 0.0;
        model.Undistort(m_dFocalLengthInvers * xs, m_dFocalLengthInvers * ys, xn, yn);
        *x = m_dFocalLength * xn;
        *y = m_dFocalLength * yn;
        return true;
    }
    const double r2 = xs * xs + ys * ys;
    const double ratio = m_bUseTsai ? 1.0 + m_dKappa2 * r2 + m_dKappa4 * (r2 * r2)
                                    : LookupInverseDist(r2 / (m_dFocalLength * m_dFocalLength));
    *x = xs * ratio;
    *y = ys * ratio;
    return true;
}

bool LxCIntrinsicParams::DisImageToUndisSensorCoordsPair(const double u[2], const double v[2], double x[2],
                                                         double y[2]) const
{
    if (m_bUseTsai || !m_bUseTau) {
        const double secondU = u[1];
        const double secondV = v[1];
        DisImageToUndisSensorCoords(u[0], v[0], &x[0], &y[0]);
        return DisImageToUndisSensorCoords(secondU, secondV, &x[1], &y[1]);
    }
    const IcvModel model = {m_dKappa2ICV, m_dKappa4ICV, m_dKappa6ICV, m_dTau1, m_dTau2};
    const Pair xs = m_dPixelPitchX * (Pair{u[0], u[1]} - m_dPrincipalPointX);
    const Pair ys = m_dPixelPitchY * (Pair{v[0], v[1]} - m_dPrincipalPointY);
    Pair xn;
    Pair yn;
    model.Undistort<Pair>(m_dFocalLengthInvers * xs, m_dFocalLengthInvers * ys, xn, yn);
    xn = m_dFocalLength * xn;
    yn = m_dFocalLength * yn;
    x[0] = xn[0];
    x[1] = xn[1];
    y[0] = yn[0];
    y[1] = yn[1];
    return true;
}

bool LxCIntrinsicParams::DisImageToUndisImageCoords(double u, double v, double* uOut, double* vOut) const
{
    double xs = 0.0;
    double ys = 0.0;
    DisImageToUndisSensorCoords(u, v, &xs, &ys);
    return SensorToImageCoords(xs, ys, uOut, vOut);
}

bool LxCIntrinsicParams::UndisToDisSensorCoords(double xu, double yu, double* xd, double* yd) const
{
    if (!m_bUseTsai) {
        DistortICV(xu, yu, xd, yd);
        return true;
    }
    const double ratio = LookupInverseDist(xu * xu + yu * yu);
    *xd = xu * ratio;
    *yd = yu * ratio;
    return true;
}

bool LxCIntrinsicParams::UndisImageToDisImageCoords(double u, double v, double* uOut, double* vOut) const
{
    double xs = 0.0;
    double ys = 0.0;
    ImageToSensorCoords(u, v, &xs, &ys);
    UndisToDisSensorCoords(xs, ys, &xs, &ys);
    return SensorToImageCoords(xs, ys, uOut, vOut);
}

void LxCIntrinsicParams::SetFocalLength(double f)
{
    m_dFocalLength = f;
    m_dFocalLengthInvers = 1.0 / f;
}

int LxCIntrinsicParams::GetImageWidth() const
{
    return TruncateTo<int>(m_dImageWidth);
}
int LxCIntrinsicParams::GetImageHeight() const
{
    return TruncateTo<int>(m_dImageHeight);
}

void LxCIntrinsicParams::SetImageSize(double width, double height)
{
    m_dImageWidth = width;
    m_dImageHeight = height;
}

void LxCIntrinsicParams::SetPixelPitch(double pitchX, double pitchY)
{
    m_dPixelPitchX = pitchX;
    m_dPixelPitchY = pitchY;
}

void LxCIntrinsicParams::SetPrincipalPoint(double x, double y)
{
    m_dPrincipalPointX = x;
    m_dPrincipalPointY = y;
}

void LxCIntrinsicParams::SetNominalPrincipalPoint(double x, double y)
{
    m_dNominalPrincipalPointX = x;
    m_dNominalPrincipalPointY = y;
}

void LxCIntrinsicParams::SetKappas(double kappa1, double kappa2, double kappa3, double kappa4)
{
    m_dKappa1 = kappa1;
    m_dKappa2 = kappa2;
    m_dKappa3 = kappa3;
    m_dKappa4 = kappa4;
}

void LxCIntrinsicParams::SetKappasICV(double kappa2, double kappa4, double kappa6)
{
    m_dKappa2ICV = kappa2;
    m_dKappa4ICV = kappa4;
    m_dKappa6ICV = kappa6;
}

void LxCIntrinsicParams::SetTaus(double tau1, double tau2)
{
    m_dTau1 = tau1;
    m_dTau2 = tau2;
}

bool LxCIntrinsicParams::ReadyForCalibration() const
{
    return m_dImageWidth > 0.0 && m_dImageHeight > 0.0 && m_dPixelPitchX > 0.0 && m_dPixelPitchY > 0.0;
}

double LxCIntrinsicParams::GetMaxSensorRad() const
{
    return std::sqrt(GetMaxSensorRadSquared());
}

bool LxCIntrinsicParams::ComputeInverseDistLUT(double safetyFactor) const
{
    m_vInverseDist.clear();
    m_dInverseDistFactor = safetyFactor;
    const double limit =
        BoundTableLimit(m_bUseTsai ? GetTableLimitTsai(safetyFactor) : GetTableLimitICV(safetyFactor));
    m_iInverseDistLength = 1 + TruncateTo<int>(msc_dInvDistLutResolutionInv * std::max(limit, 0.0));
    m_vInverseDist.reserve(static_cast<std::size_t>(m_iInverseDistLength));
    m_vInverseDist.push_back(1.0);
    double coefficients[6];
    GetInversionCoefficients(coefficients);
    for (int k = 1; k < m_iInverseDistLength; ++k) {
        const double radius = std::sqrt(k / msc_dInvDistLutResolutionInv);
        double solved = 0.0;
        if (!AuxInvertDistortionModel(coefficients, radius, std::sqrt(limit), solved)) {
            m_iInverseDistLength = k;
            break;
        }
        m_vInverseDist.push_back(solved / radius);
    }
    return true;
}

void LxCIntrinsicParams::FinalizeInverseDistLUT() const
{
    if (m_vInverseDist.empty() || !(m_dInverseDistFactor >= c_dSafetyFactor)) {
        ComputeInverseDistLUT(c_dSafetyFactor);
    }
    m_bInverseDistRetried = true;
}

void LxCIntrinsicParams::InvalidateInverseDistLUT()
{
    m_vInverseDist = {};
    m_bInverseDistRetried = false;
}

void LxCIntrinsicParams::TestFastInvDist(double safetyFactor, double step, std::vector<double>& out) const
{
    out.clear();
    const double scale = m_bUseTsai ? 1.0 : m_dFocalLength;
    const double maxRadius = GetMaxSensorRad() * safetyFactor;
    double coefficients[6];
    GetInversionCoefficients(coefficients);
    const double samples = maxRadius / step;
    const int last = std::isfinite(samples) ? std::min(TruncateTo<int>(samples), sc_iMaxTestSamples) : 0;
    for (int i = 1; i <= last; ++i) {
        const double radius = i * step / scale;
        double solved = 0.0;
        if (!AuxInvertDistortionModel(coefficients, radius, maxRadius / scale, solved)) {
            return;
        }
        out.insert(out.end(), {i * step, solved / radius, LookupInverseDist(radius * radius)});
    }
}

void LxCIntrinsicParams::PrettyPrint(std::string& out) const
{
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text << "\nf\t= " << m_dFocalLength << "  [mm] (fy=" << m_dSecondFocalLength << ")\n" << std::scientific;
    if (m_bUseTsai) {
        text << "kappa1\t= " << m_dKappa1 << " [1/mm],"
             << "kappa2\t= " << m_dKappa2 << " [1/mm^2]"
             << "\n\n"
             << "kappa3\t= " << m_dKappa3 << " [1/mm^3],"
             << "kappa4\t= " << m_dKappa4 << " [1/mm^4]";
    } else {
        // The units are those of the other model; reports are compared with older ones, so they stay.
        text << "kappa2\t= " << m_dKappa2ICV << " [1/mm^2],"
             << "kappa4\t= " << m_dKappa4ICV << " [1/mm^4]"
             << "kappa6\t= " << m_dKappa6ICV << " [1/mm^6]"
             << "\n\n"
             << "tau1\t= " << m_dTau1 << " [1/mm^2],\t"
             << "tau2\t= " << m_dTau2 << " [1/mm^2]";
    }
    text << "\n\n"
         << std::fixed << "Cx\t= " << m_dPrincipalPointX << ", "
         << "Cy\t= " << m_dPrincipalPointY << " [pix]";
    out = text.str();
}

void LxCIntrinsicParams::Serialize(LxCCCTSerializer& serializer, const std::string& section)
{
    LxCPropertyBag bag;
    bag.addScalar(m_dImageWidth, "Nfx");
    bag.addScalar(m_dPixelPitchX, "Dx");
    bag.addScalar(m_dPixelPitchY, "Dy");
    bag.addScalar(m_dPrincipalPointX, "Cx");
    bag.addScalar(m_dPrincipalPointY, "Cy");
    bag.addScalar(m_dNominalPrincipalPointX, "CxDef");
    bag.addScalar(m_dNominalPrincipalPointY, "CyDef");
    bag.addScalar(m_dFocalLength, "f");
    bag.addScalar(m_dKappa1, "Kappa1");
    bag.addScalar(m_dKappa2, "Kappa2");
    bag.addScalar(m_dKappa3, "Kappa3");
    bag.addScalar(m_dKappa4, "Kappa4");
    bag.addScalar(m_bUseTsai, "UseTsai");
    bag.addScalar(m_dKappa2ICV, "Kappa2ICV");
    bag.addScalar(m_dKappa4ICV, "Kappa4ICV");
    bag.addScalar(m_dKappa6ICV, "Kappa6ICV");
    bag.addScalar(m_dTau1, "Tau1");
    bag.addScalar(m_dTau2, "Tau2");
    bag.addScalar(m_bUseTau, "UseTau");
    bag.addScalar(m_dImageHeight, "Nfy");
    bag.serialize(serializer, section, true);
    if (!serializer.IsStoring()) {
        m_dFocalLengthInvers = m_dFocalLength == 0.0 ? 0.0 : 1.0 / m_dFocalLength;
        ComputeInverseDistLUT(c_dSafetyFactor);
    }
}

double LxCIntrinsicParams::LookupInverseDist(double squaredRadius) const
{
    if (m_vInverseDist.empty() && !ComputeInverseDistLUT(c_dFirstSafetyFactor)) {
        s_Logger.Error(L"LxCIntrinsicParams::LookupInverseDist failed");
        return squaredRadius;
    }
    double ratio = 0.0;
    return InterpolateInverseDist(squaredRadius, ratio) ? ratio : LookupBeyondTable(squaredRadius);
}

bool LxCIntrinsicParams::AuxInvertDistortionModel(const double* coefficients, double target,
                                                  double upperBound, double& result)
{
    if (!(upperBound > c_dBisectionTolerance) || !std::isfinite(upperBound)) {
        return false;
    }
    double low = 0.0;
    double step = upperBound;
    do {
        step /= 2.0;
        const double r = low + step;
        result = r;
        const double error = EvaluateDistortion(coefficients, r) - target;
        if (std::abs(error) < c_dBisectionTolerance) {
            return true;
        }
        if (error < 0.0) {
            low = r;
        }
    } while (step > c_dBisectionTolerance);
    return false;
}

bool LxCIntrinsicParams::AuxFitTsaiPol(const double* radii, const double* ratios, int n, double* coefficients,
                                       int degree)
{
    const bool known = degree == 1 || degree == 2 || degree == 4;
    if (!known || radii == nullptr || ratios == nullptr || coefficients == nullptr) {
        return false;
    }
    const int powerStep = degree == 4 ? 1 : 2;
    double matrix[16] = {};
    double solution[4] = {};
    for (int i = 0; i < n; ++i) {
        double powers[9] = {1.0};
        for (int p = 1; p < 9; ++p) {
            powers[p] = powers[p - 1] * radii[i];
        }
        for (int a = 0; a < degree; ++a) {
            solution[a] += (ratios[i] - 1.0) * powers[(a + 1) * powerStep];
            for (int b = 0; b < degree && i > 0; ++b) {
                matrix[a * degree + b] += powers[(a + b + 2) * powerStep];
            }
        }
    }
    if (!SolveGaussJordan(matrix, degree, solution, 1)) {
        return false;
    }
    if (degree == 2) {
        solution[3] = solution[1];
        solution[1] = solution[0];
        solution[0] = 0.0;
        solution[2] = 0.0;
    }
    std::copy_n(solution, degree == 1 ? 1 : 4, coefficients);
    return true;
}

void LxCIntrinsicParams::DistortICV(double xu, double yu, double* xd, double* yd) const
{
    const double x = xu / m_dFocalLength;
    const double y = yu / m_dFocalLength;
    const double r2 = x * x + y * y;
    const double r4 = r2 * r2;
    const double radial = 1.0 + m_dKappa2ICV * r2 + m_dKappa4ICV * r4 + m_dKappa6ICV * (r4 * r2);
    *xd = m_dFocalLength * (radial * x + 2.0 * m_dTau1 * x * y + m_dTau2 * (r2 + 2.0 * (x * x)));
    *yd = m_dFocalLength * (radial * y + m_dTau1 * (r2 + 2.0 * (y * y)) + 2.0 * m_dTau2 * x * y);
}

double LxCIntrinsicParams::GetMaxSensorRadSquared() const
{
    double largest = 0.0;
    for (const double u : {0.0, m_dImageWidth}) {
        for (const double v : {0.0, m_dImageHeight}) {
            double xs = 0.0;
            double ys = 0.0;
            ImageToSensorCoords(u, v, &xs, &ys);
            largest = std::max(largest, xs * xs + ys * ys);
        }
    }
    return largest;
}

/// Squared normalised radius: that of the widened corner, or where the radial polynomial stops growing if that
/// is nearer. In the squared radius q the derivative of q·(1 + k2·q + k4·q² + k6·q³) vanishes there.
double LxCIntrinsicParams::GetTableLimitICV(double safetyFactor) const
{
    const double radius = GetMaxSensorRad() * safetyFactor / m_dFocalLength;
    double limit = radius * radius;
    const double derivative[4] = {1.0, 2.0 * m_dKappa2ICV, 3.0 * m_dKappa4ICV, 4.0 * m_dKappa6ICV};
    double roots[3];
    const int count = SolveCubic(derivative, roots);
    for (int i = 0; i < count; ++i) {
        if (roots[i] > 0.0 && roots[i] < limit) {
            limit = roots[i];
        }
    }
    return limit;
}

/// Squared undistorted radius (mm²): the image of the widened corner, or of the turning point of
/// q·(1 + kappa2·q + kappa4·q²) if that is nearer.
double LxCIntrinsicParams::GetTableLimitTsai(double safetyFactor) const
{
    const double radius = GetMaxSensorRad() * safetyFactor;
    double limit = radius * radius;
    const double discriminant = m_dKappa2 * m_dKappa2 - 3.0 * m_dKappa4;
    if (discriminant >= 0.0 && m_dKappa4 != 0.0) {
        const double root = std::sqrt(discriminant);
        for (const double turn :
             {(-m_dKappa2 + root) / (3.0 * m_dKappa4), (-m_dKappa2 - root) / (3.0 * m_dKappa4)}) {
            if (turn > 0.0 && turn < limit) {
                limit = turn;
            }
        }
    }
    return (m_dKappa4 * (limit * limit) + (m_dKappa2 * limit + 1.0)) * limit;
}

void LxCIntrinsicParams::GetInversionCoefficients(double (&coefficients)[6]) const
{
    const double tsai[6] = {m_dKappa1, m_dKappa2, m_dKappa3, m_dKappa4, 0.0, 0.0};
    const double icv[6] = {0.0, m_dKappa2ICV, 0.0, m_dKappa4ICV, 0.0, m_dKappa6ICV};
    std::copy_n(m_bUseTsai ? tsai : icv, 6, coefficients);
}

/// False outside the table. The table must not be empty.
bool LxCIntrinsicParams::InterpolateInverseDist(double squaredRadius, double& ratio) const
{
    const double position = squaredRadius * msc_dInvDistLutResolutionInv;
    // In doubles, so that a position that no integer holds, or none at all, is out of range too.
    if (!(position > -1.0 && position < m_iInverseDistLength - 1) || m_iInverseDistLength < 2) {
        return false;
    }
    const int index = static_cast<int>(position);
    const double* const entry = m_vInverseDist.data() + index;
    ratio = entry[0] + (entry[1] - entry[0]) * (position - index);
    return true;
}

double LxCIntrinsicParams::LookupBeyondTable(double squaredRadius) const
{
    double ratio = 0.0;
    if (!m_bInverseDistRetried) {
        s_Logger.Info(L"LxCIntrinsicParams::LookupInverseDist: recalculate inverse dist lut with "
                      L"c_dSafetyFactor = 2.0");
        m_bInverseDistRetried = true;
        if (ComputeInverseDistLUT(c_dSafetyFactor) && InterpolateInverseDist(squaredRadius, ratio)) {
            return ratio;
        }
    }
    s_Logger.Error(L"LxCIntrinsicParams::LookupInverseDist failed");
    return squaredRadius;
}

} // namespace LxCV
