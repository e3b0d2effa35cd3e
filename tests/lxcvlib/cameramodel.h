// A camera model as plain numbers, its section text, and its equations in long double.
#pragma once

#include <array>
#include <cmath>
#include <cstddef>
#include <iomanip>
#include <locale>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace LxCV::TestSupport {

/// Camera or projector. Lengths in mm, image coordinates in pixels or slide units.
struct CDeviceModel
{
    bool calibrated = true;
    double width = 0.0;
    double height = 0.0;
    double pitchX = 1.0;
    double pitchY = 1.0;
    double cx = 0.0;
    double cy = 0.0;
    double f = 1.0;
    bool useTsai = false;
    double kappa2 = 0.0; ///< Tsai, 1/mm^2
    double kappa4 = 0.0; ///< Tsai, 1/mm^4
    double k2 = 0.0;
    double k4 = 0.0;
    double k6 = 0.0;
    double tau1 = 0.0;
    double tau2 = 0.0;
    std::array<double, 3> t{}; ///< outer to inner frame: inner = X(r0) Y(r1) Z(r2) outer + t
    std::array<double, 3> r{};
};

struct CCameraModel
{
    CDeviceModel camera;
    CDeviceModel projector;
    double minDepth = 25.0; ///< camera frame
    double maxDepth = 41.0;
    std::string digits = "2163050307412525052743436347214303614703416165612707056507256365";
    int stripeWidth = 50;
    int patternWidth = 7000;
    int patternHeight = 7000;
    int numPatches = 0;
    int numPatchesDepth = 0;
    double minDistProjToScene = 20.0; ///< projector frame
    double maxDistProjToScene = 50.0;
    std::vector<std::string>
        rows; ///< [patch][depth patch]: a byte per edge from 1 on, quarter units above 128
    std::array<double, 30> koma{};
    double komaMaxDelta = 0.025;
    bool useKoma = false;

    int NumEdges() const { return (patternHeight + stripeWidth - 1) / stripeWidth; }
    double NominalPosition(int edge) const { return (edge - 1.0) * stripeWidth; }
};

/// 658 by 494 pixels on 17 by 13 mm at 33 mm; the projector 7 mm beside the camera, with crossing axes.
inline CCameraModel PlainModel()
{
    CCameraModel model;
    CDeviceModel& camera = model.camera;
    camera.width = 658.0;
    camera.height = 494.0;
    camera.pitchX = camera.pitchY = 0.0075;
    camera.cx = 331.0;
    camera.cy = 245.0;
    camera.f = 9.5;
    CDeviceModel& projector = model.projector;
    projector.width = 7000.0;
    projector.height = 7000.0;
    projector.pitchX = projector.pitchY = 0.001;
    projector.cx = 3490.0;
    projector.cy = 3520.0;
    projector.f = 11.0;
    const double angle = std::atan(7.0 / 33.0);
    projector.r = {angle, 0.0, 0.0};
    projector.t = {0.0, 7.0 * std::cos(angle), 7.0 * std::sin(angle)};
    return model;
}

/// An image of few rows, so that the unwrap table, which most of a model's loading goes into, is small.
inline CCameraModel SmallModel()
{
    CCameraModel model = PlainModel();
    model.camera.height = 40.0;
    return model;
}

/// A plausible device with everything drawn anew.
inline CCameraModel RandomModel(std::mt19937_64& random, bool useTsai)
{
    const auto within = [&random](double limit) {
        return std::uniform_real_distribution<double>(-limit, limit)(random);
    };
    CCameraModel model = PlainModel();
    for (CDeviceModel* device : {&model.camera, &model.projector}) {
        device->f += within(1.0);
        device->cx += within(10.0);
        device->cy += within(10.0);
        device->useTsai = useTsai;
        device->kappa2 = within(1e-3);
        device->kappa4 = within(1e-6);
        device->k2 = within(0.15);
        device->k4 = within(0.1);
        device->k6 = within(0.1);
        device->tau1 = within(2e-3);
        device->tau2 = within(2e-3);
        for (int i = 0; i < 3; ++i) {
            device->t[static_cast<std::size_t>(i)] += within(0.5);
            device->r[static_cast<std::size_t>(i)] += within(0.02);
        }
    }
    model.numPatches = 4;
    model.numPatchesDepth = 1 + static_cast<int>(random() % 4);
    for (int i = 0; i < model.numPatches * model.numPatchesDepth; ++i) {
        std::string row;
        for (int edge = 1; edge < model.NumEdges(); ++edge) {
            row += static_cast<char>(118 + random() % 21);
        }
        model.rows.push_back(row);
    }
    for (double& coefficient : model.koma) {
        coefficient = within(1e-5);
    }
    model.useKoma = true;
    return model;
}

// ------------------------------------------------------------------------------------------------ section text

inline void WriteDevice(std::ostream& out, const CDeviceModel& device, const std::string& section)
{
    out << section << "\nCalibrated=" << device.calibrated << "\nCalibTime=01.03.2024 09:00\n"
        << "CalibRevNumber=200000\nCalibInfos=\n"
        << section << "::CoordSysTrans\nTx=" << device.t[0] << "\nTy=" << device.t[1]
        << "\nTz=" << device.t[2] << "\nRx=" << device.r[0] << "\nRy=" << device.r[1]
        << "\nRz=" << device.r[2] << "\n"
        << section << "::IntrinsicParams\nNfx=" << device.width << "\nDx=" << device.pitchX
        << "\nDy=" << device.pitchY << "\nCx=" << device.cx << "\nCy=" << device.cy << "\nCxDef=" << device.cx
        << "\nCyDef=" << device.cy << "\nf=" << device.f << "\nKappa1=0\nKappa2=" << device.kappa2
        << "\nKappa3=0\nKappa4=" << device.kappa4 << "\nUseTsai=" << device.useTsai
        << "\nKappa2ICV=" << device.k2 << "\nKappa4ICV=" << device.k4 << "\nKappa6ICV=" << device.k6
        << "\nTau1=" << device.tau1 << "\nTau2=" << device.tau2 << "\nUseTau=1\nNfy=" << device.height
        << "\n";
}

inline void WritePattern(std::ostream& out, const CCameraModel& model, const std::string& section)
{
    out << section << "\nPatternHeight=" << model.patternHeight << "\nPatternWidth=" << model.patternWidth
        << "\nPattern=" << model.digits << "\nCodewordLen=4\nStripeWidth=" << model.stripeWidth
        << "\nEdgePositionMethod=0\nCalibrated=1\nCalibRevNumber=200000\n"
        << "MinDistProjToScene=" << model.minDistProjToScene
        << "\nMaxDistProjToScene=" << model.maxDistProjToScene << "\nNumPatches=" << model.numPatches
        << "\nNumPatchesDepth=" << model.numPatchesDepth << "\nDataVersion=2\n";
    for (std::size_t i = 0; i < model.rows.size(); ++i) {
        const auto depths = static_cast<std::size_t>(model.numPatchesDepth);
        out << "LUT[" << i / depths << "][" << i % depths << "]=" << model.rows[i] << "\n";
    }
}

/// The model below `root`; every double survives.
inline std::string ModelText(const CCameraModel& model, const std::string& root)
{
    std::ostringstream out;
    out.imbue(std::locale::classic());
    out << std::setprecision(17) << root << "::MV3DCamBase\nMinDistCamCoords=" << model.minDepth
        << "\nMaxDistCamCoords=" << model.maxDepth << "\n";
    WriteDevice(out, model.camera, root + "::Cams[0]");
    WriteDevice(out, model.projector, root + "::Projector::PinholeProjector::PinholeCamera");
    WritePattern(out, model, root + "::Projector::CLPattern");
    out << root << "::PolynomKoma\n";
    for (std::size_t i = 0; i < model.koma.size(); ++i) {
        out << "P" << i / 10 << i % 10 << "=" << model.koma[i] << "\n";
    }
    out << "MaxDelta=" << model.komaMaxDelta << "\nUse=" << model.useKoma << "\n";
    return out.str();
}

// --------------------------------------------------------------------------------------------------- equations

using Real = long double;
struct Vector
{
    Real& operator[](std::size_t i) { return values[i]; }
    Real operator[](std::size_t i) const { return values[i]; }

    Real values[3];
};

inline Vector operator+(const Vector& a, const Vector& b)
{
    return {a[0] + b[0], a[1] + b[1], a[2] + b[2]};
}
inline Vector operator-(const Vector& a, const Vector& b)
{
    return {a[0] - b[0], a[1] - b[1], a[2] - b[2]};
}
inline Vector operator*(Real s, const Vector& a)
{
    return {s * a[0], s * a[1], s * a[2]};
}
inline Real Dot(const Vector& a, const Vector& b)
{
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}
inline Vector Cross(const Vector& a, const Vector& b)
{
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

/// The rows of X(r0) Y(r1) Z(r2).
inline std::array<Vector, 3> Rotation(const CDeviceModel& device)
{
    const Real a = device.r[0];
    const Real b = device.r[1];
    const Real c = device.r[2];
    const Real sa = std::sin(a), ca = std::cos(a), sb = std::sin(b), cb = std::cos(b), sc = std::sin(c),
               cc = std::cos(c);
    return {Vector{cb * cc, -cb * sc, sb}, Vector{ca * sc + sa * sb * cc, ca * cc - sa * sb * sc, -sa * cb},
            Vector{sa * sc - ca * sb * cc, sa * cc + ca * sb * sc, ca * cb}};
}

inline Vector InnerFromOuter(const CDeviceModel& device, const Vector& outer)
{
    const auto rows = Rotation(device);
    const Vector t{device.t[0], device.t[1], device.t[2]};
    return Vector{Dot(rows[0], outer), Dot(rows[1], outer), Dot(rows[2], outer)} + t;
}

inline Vector OuterFromInner(const CDeviceModel& device, const Vector& inner)
{
    const auto rows = Rotation(device);
    const Vector p = inner - Vector{device.t[0], device.t[1], device.t[2]};
    return p[0] * rows[0] + p[1] * rows[1] + p[2] * rows[2];
}

/// What the lens makes of the ideal direction (x, y, 1), as sensor position over focal length; z is unused.
inline Vector Distort(const CDeviceModel& device, Real x, Real y)
{
    const Real q = x * x + y * y;
    if (!device.useTsai) {
        const Real radial = 1.0L + q * (device.k2 + q * (device.k4 + q * device.k6));
        return {radial * x + 2.0L * device.tau1 * x * y + device.tau2 * (q + 2.0L * x * x),
                radial * y + device.tau1 * (q + 2.0L * y * y) + 2.0L * device.tau2 * x * y, 0.0L};
    }
    // The undistorted radius is rho (1 + kappa2 rho^2 + kappa4 rho^4) of the distorted one.
    const Real radius = std::sqrt(q) * device.f;
    if (radius == 0.0L) {
        return {x, y, 0.0L};
    }
    Real rho = radius;
    for (int step = 0; step < 50; ++step) {
        const Real s = rho * rho;
        const Real value = rho * (1.0L + s * (device.kappa2 + s * device.kappa4)) - radius;
        rho -= value / (1.0L + s * (3.0L * device.kappa2 + s * 5.0L * device.kappa4));
    }
    return {x * rho / radius, y * rho / radius, 0.0L};
}

/// The ideal direction of a sensor position over focal length.
inline Vector Undistort(const CDeviceModel& device, Real xd, Real yd)
{
    if (device.useTsai) {
        const Real s = (xd * xd + yd * yd) * device.f * device.f;
        const Real ratio = 1.0L + s * (device.kappa2 + s * device.kappa4);
        return {xd * ratio, yd * ratio, 1.0L};
    }
    // Newton's method with numerical derivatives, which the remainder's convergence makes exact.
    Real x = xd;
    Real y = yd;
    for (int step = 0; step < 50; ++step) {
        constexpr Real h = 1e-9L;
        const Vector at = Distort(device, x, y);
        const Vector atX = (1.0L / h) * (Distort(device, x + h, y) - at);
        const Vector atY = (1.0L / h) * (Distort(device, x, y + h) - at);
        const Real missX = xd - at[0];
        const Real missY = yd - at[1];
        const Real det = atX[0] * atY[1] - atY[0] * atX[1];
        x += (missX * atY[1] - missY * atY[0]) / det;
        y += (missY * atX[0] - missX * atX[1]) / det;
    }
    return {x, y, 1.0L};
}

inline Vector DirectionFromImage(const CDeviceModel& device, Real u, Real v)
{
    return Undistort(device, (u - device.cx) * device.pitchX / device.f,
                     (v - device.cy) * device.pitchY / device.f);
}

inline Vector ImageFromPoint(const CDeviceModel& device, const Vector& point)
{
    const Vector seen = Distort(device, point[0] / point[2], point[1] / point[2]);
    return {seen[0] * device.f / device.pitchX + device.cx, seen[1] * device.f / device.pitchY + device.cy,
            0.0L};
}

/// Where the ray along `direction` from the camera's centre meets the plane through the projector's centre and two
/// slide positions.
inline Vector PointOnSlideLine(const CCameraModel& model, const Vector& direction, Real col1, Real col2,
                               Real row)
{
    const Vector centre = OuterFromInner(model.projector, {0.0L, 0.0L, 0.0L});
    const Vector a = OuterFromInner(model.projector, DirectionFromImage(model.projector, col1, row)) - centre;
    const Vector b = OuterFromInner(model.projector, DirectionFromImage(model.projector, col2, row)) - centre;
    const Vector normal = Cross(a, b);
    return (Dot(normal, centre) / Dot(normal, direction)) * direction;
}

/// The calibrated slide row of an edge, bytes above 128 being quarter units. `margin` receives how far the column is
/// from the border of a patch, in slide units.
inline Real CalibratedPosition(const CCameraModel& model, int edge, Real col, Real depth, Real& margin)
{
    const Real cell = static_cast<Real>(model.patternHeight) / model.numPatches;
    const Real patch = std::fmin(std::fmax(std::floor(col / cell), 0.0L), model.numPatches - 1.0L);
    margin = std::fabs(col / cell - std::round(col / cell)) * cell;
    const auto value = [&](Real depthPatch) {
        const auto index = static_cast<std::size_t>(patch * model.numPatchesDepth + depthPatch);
        const auto byte =
            static_cast<unsigned char>(model.rows.at(index).at(static_cast<std::size_t>(edge - 1)));
        return model.NominalPosition(edge) + (byte - 128) * 0.25L;
    };
    const Real last = model.numPatchesDepth - 1.0L;
    if (last < 1.0L) {
        return value(0.0L);
    }
    const Real t = (depth - model.minDistProjToScene) /
                       (static_cast<Real>(model.maxDistProjToScene) - model.minDistProjToScene) *
                       model.numPatchesDepth -
                   0.5L;
    if (t < 0.0L || t >= last) {
        return value(t < 0.0L ? 0.0L : last);
    }
    const Real k = std::floor(t);
    return (1.0L - (t - k)) * value(k) + (t - k) * value(k + 1.0L);
}

inline Vector WithoutKoma(const CCameraModel& model, const Vector& p)
{
    const Real x = p[0];
    const Real y = p[1] + 3.5L;
    const Real z = p[2] - 33.0L;
    const Real terms[10] = {1.0L, z, z * z, y, y * z, y * y, x, x * z, x * y, x * x};
    Vector delta{};
    for (std::size_t axis = 0; axis < 3; ++axis) {
        for (std::size_t i = 0; i < 10; ++i) {
            delta[axis] += model.koma[10 * axis + i] * terms[i];
        }
        delta[axis] = std::fmin(std::fmax(delta[axis], -static_cast<Real>(model.komaMaxDelta)),
                                static_cast<Real>(model.komaMaxDelta));
    }
    return model.useKoma ? p - delta : p;
}

struct CTriangulated
{
    Vector inCamera; ///< mm
    Vector inWorld;  ///< mm
    Real patchMargin = 1e9L;
};

/// A pixel on a stripe edge to its point, by rays and normals.
inline CTriangulated Triangulate(const CCameraModel& model, double col, double row, int edge)
{
    const Vector direction = DirectionFromImage(model.camera, col, row);
    const Real width = model.patternWidth;
    const Real nominal = model.NominalPosition(edge);
    Vector first = PointOnSlideLine(model, direction, 0.25L * width, 0.75L * width, nominal);
    if (first[2] < 0.0L) {
        first = -1.0L * first;
    }
    const Vector inProjector = InnerFromOuter(model.projector, first);
    const Real slideCol = ImageFromPoint(model.projector, inProjector)[0];
    CTriangulated result;
    const Real slideRow = model.numPatches > 0
                              ? CalibratedPosition(model, edge, slideCol, inProjector[2], result.patchMargin)
                              : nominal;
    result.inCamera =
        WithoutKoma(model, PointOnSlideLine(model, direction, slideCol - 1.0L, slideCol + 1.0L, slideRow));
    result.inWorld = OuterFromInner(model.camera, result.inCamera);
    return result;
}

} // namespace LxCV::TestSupport
