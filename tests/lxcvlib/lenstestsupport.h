// Lenses with known parameters, and independent models of distortion, for the tests of intrinsic parameters.
#pragma once

#include "lxcintrinsicparams.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <limits>
#include <random>
#include <vector>

namespace LxCV::TestSupport {

inline constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
inline constexpr double kInfinity = std::numeric_limits<double>::infinity();

/// Roundings of a pixel position below 1000.
inline constexpr double kPixelTolerance = 1e-11;

/// Where the bisection may stop: within this of the given radius (mm, or normalised).
inline constexpr double kBisection = 1e-8;

/// The protected operations.
class CLens : public LxCIntrinsicParams
{
public:
    using LxCIntrinsicParams::AuxFitTsaiPol;
    using LxCIntrinsicParams::AuxInvertDistortionModel;
    using LxCIntrinsicParams::LookupInverseDist;
};

struct Point
{
    double x, y;
};

/// A camera of 658 by 494 pixels at 0.0074 mm and f = 12 mm; its corners lie 3.1 mm from the principal point.
inline CLens MakeLens()
{
    CLens lens;
    lens.SetImageSize(658.0, 494.0);
    lens.SetPixelPitch(0.0074, 0.0075);
    lens.SetPrincipalPoint(331.4, 244.8);
    lens.SetFocalLength(12.0);
    return lens;
}

inline CLens MakeTsaiLens(double kappa2, double kappa4)
{
    CLens lens = MakeLens();
    lens.SetKappas(0.0, kappa2, 0.0, kappa4);
    return lens;
}

inline CLens MakeIcvLens(bool useTau)
{
    CLens lens = MakeLens();
    lens.SetUseTsai(false);
    lens.SetUseTau(useTau);
    lens.SetKappasICV(-0.15, 0.1, -0.02);
    lens.SetTaus(1e-3, -7e-4);
    return lens;
}

/// Pixels over the whole image, the corners among them.
inline std::vector<Point> Pixels(int count = 2000)
{
    std::mt19937 random(1);
    std::uniform_real_distribution<double> u(0.0, 658.0);
    std::uniform_real_distribution<double> v(0.0, 494.0);
    std::vector<Point> pixels = {{0, 0},         {658, 0},   {0, 494},  {658, 494},
                                 {331.4, 244.8}, {331.4, 0}, {0, 244.8}};
    while (static_cast<int>(pixels.size()) < count) {
        const double column = u(random);
        pixels.push_back({column, v(random)});
    }
    return pixels;
}

inline Point ToSensor(const LxCIntrinsicParams& lens, Point pixel)
{
    Point sensor{};
    EXPECT_TRUE(lens.ImageToSensorCoords(pixel.x, pixel.y, &sensor.x, &sensor.y));
    return sensor;
}

inline Point Undistort(const LxCIntrinsicParams& lens, Point pixel)
{
    Point sensor{};
    EXPECT_TRUE(lens.DisImageToUndisSensorCoords(pixel.x, pixel.y, &sensor.x, &sensor.y));
    return sensor;
}

inline Point Distort(const LxCIntrinsicParams& lens, Point sensor)
{
    Point distorted{};
    EXPECT_TRUE(lens.UndisToDisSensorCoords(sensor.x, sensor.y, &distorted.x, &distorted.y));
    return distorted;
}

/// The ICV model in polar form and long double: the radius is scaled, then the tangential displacement added.
/// It returns the distorted position on the plane z = 1.
struct LongPoint
{
    long double x, y;
};

inline LongPoint ReferenceDistortion(const LxCIntrinsicParams& lens, long double x, long double y)
{
    const long double r = std::hypot(x, y);
    const long double angle = std::atan2(y, x);
    const long double scaled = r + lens.GetKappa2ICV() * std::pow(r, 3) +
                               lens.GetKappa4ICV() * std::pow(r, 5) + lens.GetKappa6ICV() * std::pow(r, 7);
    // 2xy = r² sin(2 angle), r² + 2x² = r²(2 + cos(2 angle)), r² + 2y² = r²(2 - cos(2 angle))
    const long double sine = r * r * std::sin(2 * angle);
    const long double cosine = r * r * std::cos(2 * angle);
    return {scaled * std::cos(angle) + lens.GetTau1() * sine + lens.GetTau2() * (2 * r * r + cosine),
            scaled * std::sin(angle) + lens.GetTau1() * (2 * r * r - cosine) + lens.GetTau2() * sine};
}

/// Solves r·(1 + sum of coefficients[k]·r^(k+1)) = target by bisection down to the last digit of long double. The
/// polynomial must grow on (0, upper).
inline long double ReferenceRadius(const std::vector<double>& coefficients, long double target,
                                   long double upper)
{
    long double low = 0;
    long double high = upper;
    for (int i = 0; i < 70; ++i) {
        const long double r = (low + high) / 2;
        long double value = 0;
        for (std::size_t k = coefficients.size(); k-- > 0;) {
            value = (value + coefficients[k]) * r;
        }
        ((1 + value) * r < target ? low : high) = r;
    }
    return low;
}

} // namespace LxCV::TestSupport
