// Cameras with known parameters, and an independent model of them, for the tests of cameras.
#pragma once

#include "lxcpinholecamera.h"

#include <array>
#include <cmath>
#include <random>
#include <vector>

namespace LxCV {

using CalibMarks = std::vector<LxCCalibrationData*>;

/// A rotation by rows and a translation: what leads from the world to a camera, in long double.
struct SPose
{
    std::array<long double, 9> r = {1, 0, 0, 0, 1, 0, 0, 0, 1};
    std::array<long double, 3> t = {0, 0, 0};

    std::array<long double, 3> Apply(long double x, long double y, long double z) const
    {
        return {r[0] * x + r[1] * y + r[2] * z + t[0], r[3] * x + r[4] * y + r[5] * z + t[1],
                r[6] * x + r[7] * y + r[8] * z + t[2]};
    }
};

/// R = X(rx) Y(ry) Z(rz), multiplied out.
inline SPose MakePose(long double rx, long double ry, long double rz, long double tx, long double ty,
                      long double tz)
{
    const long double ca = std::cos(rx), sa = std::sin(rx);
    const long double cb = std::cos(ry), sb = std::sin(ry);
    const long double cg = std::cos(rz), sg = std::sin(rz);
    SPose pose;
    pose.r = {cb * cg,
              -cb * sg,
              sb,
              ca * sg + sa * sb * cg,
              ca * cg - sa * sb * sg,
              -sa * cb,
              sa * sg - ca * sb * cg,
              sa * cg + ca * sb * sg,
              ca * cb};
    pose.t = {tx, ty, tz};
    return pose;
}

/// The lens of the test camera: polynomial distortion of normalised coordinates.
struct SLens
{
    long double f = 25.0L;    ///< mm
    long double dx = 0.0075L; ///< mm per pixel
    long double dy = 0.0060L; ///< mm per pixel
    long double cx = 330.0L;  ///< pixels
    long double cy = 240.0L;  ///< pixels
    long double k2 = -0.12L, k4 = 0.05L, k6 = -0.01L, t1 = 0.002L, t2 = -0.001L;

    std::array<long double, 2> Distort(long double x, long double y) const
    {
        const long double q = x * x + y * y;
        const long double radial = 1 + q * (k2 + q * (k4 + q * k6));
        return {radial * x + 2 * t1 * x * y + t2 * (q + 2 * x * x),
                radial * y + t1 * (q + 2 * y * y) + 2 * t2 * x * y};
    }

    /// Pixel of a camera point.
    std::array<long double, 2> Project(const std::array<long double, 3>& p) const
    {
        const auto d = Distort(p[0] / p[2], p[1] / p[2]);
        return {f * d[0] / dx + cx, f * d[1] / dy + cy};
    }

    /// Normalised undistorted position of a pixel, iterated to convergence.
    std::array<long double, 2> Undistort(long double u, long double v) const
    {
        const long double x0 = (u - cx) * dx / f, y0 = (v - cy) * dy / f;
        long double x = x0, y = y0;
        for (int i = 0; i < 200; ++i) {
            const auto d = Distort(x, y);
            x += x0 - d[0];
            y += y0 - d[1];
        }
        return {x, y};
    }
};

inline void SetLens(LxCPinholeCamera& camera, const SLens& lens)
{
    LxCIntrinsicParams& params = *camera.GetIntrinsicParams();
    params.SetUseTsai(false);
    params.SetUseTau(true);
    params.SetImageSize(658.0, 494.0);
    params.SetPixelPitch(static_cast<double>(lens.dx), static_cast<double>(lens.dy));
    params.SetPrincipalPoint(static_cast<double>(lens.cx), static_cast<double>(lens.cy));
    params.SetFocalLength(static_cast<double>(lens.f));
    params.SetKappasICV(static_cast<double>(lens.k2), static_cast<double>(lens.k4),
                        static_cast<double>(lens.k6));
    params.SetTaus(static_cast<double>(lens.t1), static_cast<double>(lens.t2));
}

/// A camera whose pixel is its sensor position in mm: f = 1, pitches 1, principal point (0, 0), no distortion.
inline void SetUnitLens(LxCPinholeCamera& camera)
{
    SLens lens;
    lens.f = lens.dx = lens.dy = 1.0L;
    lens.cx = lens.cy = lens.k2 = lens.k4 = lens.k6 = lens.t1 = lens.t2 = 0.0L;
    SetLens(camera, lens);
}

/// Six numbers for a camera some 200 mm before the origin of the world, turned by up to half a radian.
inline std::array<double, 6> RandomPose(std::mt19937& random)
{
    std::uniform_real_distribution<double> angle(-0.5, 0.5);
    std::uniform_real_distribution<double> shift(-20.0, 20.0);
    std::array<double, 6> pose{};
    for (std::size_t i = 0; i < 3; ++i) {
        pose[i] = angle(random);
        pose[i + 3] = shift(random);
    }
    pose[5] += 200.0;
    return pose;
}

inline SPose MakePose(const std::array<double, 6>& six)
{
    return MakePose(static_cast<long double>(six[0]), six[1], six[2], six[3], six[4], six[5]);
}

/// A world point near the origin, such that the camera of `RandomPose` sees it inside its image.
inline LxC3DCoordsCCT RandomPoint(std::mt19937& random)
{
    std::uniform_real_distribution<double> coordinate(-8.0, 8.0);
    const double x = coordinate(random), y = coordinate(random);
    return {x, y, coordinate(random)};
}

} // namespace LxCV
