#include "lenstestsupport.h"
#include "orx/logging/logger.h"
#include "sectiontext.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace LxCV {
namespace {

using namespace TestSupport;

TEST(LxCIntrinsicParams, StartsWithUnitFocalLengthAndNothingElse)
{
    const LxCIntrinsicParams lens;
    EXPECT_EQ(lens.GetFocalLength(), 1.0);
    EXPECT_EQ(lens.GetFocalLengthInvers(), 1.0);
    EXPECT_TRUE(lens.IsUseTsai());
    EXPECT_TRUE(lens.IsUseTau());
    for (const double value :
         {lens.GetExactImageWidth(), lens.GetExactImageHeight(), lens.GetPixelPitchX(), lens.GetPixelPitchY(),
          lens.GetPrincipalPointX(), lens.GetPrincipalPointY(), lens.GetNominalPrincipalPointX(),
          lens.GetNominalPrincipalPointY(), lens.GetSecondFocalLength(), lens.GetKappa1(), lens.GetKappa2(),
          lens.GetKappa3(), lens.GetKappa4(), lens.GetKappa2ICV(), lens.GetKappa4ICV(), lens.GetKappa6ICV(),
          lens.GetTau1(), lens.GetTau2()}) {
        EXPECT_EQ(value, 0.0);
    }
    EXPECT_FALSE(lens.HasInverseDistLUT());
    EXPECT_EQ(lens.GetInverseDistLUTLength(), 0);
    EXPECT_FALSE(lens.ReadyForCalibration());
    EXPECT_EQ(LxCIntrinsicParams::msc_dInvDistLutResolutionInv, 100.0);
}

TEST(LxCIntrinsicParams, PixelsAndSensorPositionsAreScaledAndShifted)
{
    LxCIntrinsicParams lens;
    lens.SetPixelPitch(0.5, 0.25);
    lens.SetPrincipalPoint(100.0, 50.0);
    const Point sensor = ToSensor(lens, {104.0, 42.0});
    EXPECT_EQ(sensor.x, 2.0);
    EXPECT_EQ(sensor.y, -2.0);
    double u = 0;
    double v = 0;
    EXPECT_TRUE(lens.SensorToImageCoords(2.0, -2.0, &u, &v));
    EXPECT_EQ(u, 104.0);
    EXPECT_EQ(v, 42.0);
}

TEST(LxCIntrinsicParams, AnIdealPinholeScalesByFocalLengthOverDepth)
{
    LxCIntrinsicParams lens;
    lens.SetFocalLength(10.0);
    lens.SetPixelPitch(0.5, 0.25);
    lens.SetPrincipalPoint(100.0, 50.0);
    double x = 0;
    double y = 0;
    EXPECT_TRUE(lens.CameraToUnDisSensorCoords(8.0, -16.0, 80.0, &x, &y));
    EXPECT_EQ(x, 1.0);
    EXPECT_EQ(y, -2.0);
    EXPECT_TRUE(lens.CameraToUnDisImageCoords(8.0, -16.0, 80.0, &x, &y));
    EXPECT_EQ(x, 102.0);
    EXPECT_EQ(y, 42.0);
    EXPECT_TRUE(lens.CameraToUnDisSensorCoords(8.0, -16.0, -80.0, &x, &y))
        << "behind the camera is mapped too";
    EXPECT_EQ(x, -1.0);
}

TEST(LxCIntrinsicParams, OnlyADepthOfZeroIsRefusedAndLeavesTheOutputsAlone)
{
    for (const bool useTsai : {false, true}) {
        CLens lens = MakeIcvLens(true);
        lens.SetUseTsai(useTsai);
        for (const double zero : {0.0, -0.0}) {
            double u = 5.0;
            double v = 6.0;
            EXPECT_FALSE(lens.CameraToUnDisSensorCoords(1, 2, zero, &u, &v));
            EXPECT_FALSE(lens.CameraToUnDisImageCoords(1, 2, zero, &u, &v));
            EXPECT_FALSE(lens.CameraToDisImageCoords(1, 2, zero, &u, &v));
            EXPECT_EQ(u, 5.0);
            EXPECT_EQ(v, 6.0);
        }
        double u = 0.0;
        double v = 0.0;
        EXPECT_TRUE(lens.CameraToUnDisSensorCoords(1, 2, 1e-300, &u, &v));
    }
}

TEST(LxCIntrinsicParams, FocalLengthKeepsItsInverseBesideIt)
{
    LxCIntrinsicParams lens;
    lens.SetFocalLength(8.0);
    EXPECT_EQ(lens.GetFocalLengthInvers(), 0.125);
    lens.SetFocalLength(0.0);
    EXPECT_EQ(lens.GetFocalLengthInvers(), kInfinity);
}

TEST(LxCIntrinsicParams, ImageSizeIsTruncatedAndSaturates)
{
    LxCIntrinsicParams lens;
    const auto width = [&lens](double value) {
        lens.SetImageSize(value, value);
        EXPECT_EQ(lens.GetImageWidth(), lens.GetImageHeight());
        return lens.GetImageWidth();
    };
    EXPECT_EQ(width(219.0), 219);
    EXPECT_EQ(width(218.999), 218);
    EXPECT_EQ(width(-2.9), -2);
    EXPECT_EQ(width(1e300), std::numeric_limits<int>::max());
    EXPECT_EQ(width(-kInfinity), std::numeric_limits<int>::min());
    EXPECT_EQ(width(kNaN), 0);
    lens.SetImageSize(218.5, 494.0);
    EXPECT_EQ(lens.GetExactImageWidth(), 218.5);
    EXPECT_EQ(lens.GetExactImageHeight(), 494.0);
}

TEST(LxCIntrinsicParams, IsReadyForCalibrationWithAllSizesAboveZero)
{
    for (const double bad : {0.0, -1.0, kNaN}) {
        for (int field = 0; field < 4; ++field) {
            double values[4] = {658.0, 494.0, 0.0074, 0.0074};
            LxCIntrinsicParams lens;
            lens.SetImageSize(values[0], values[1]);
            lens.SetPixelPitch(values[2], values[3]);
            EXPECT_TRUE(lens.ReadyForCalibration());
            values[field] = bad;
            lens.SetImageSize(values[0], values[1]);
            lens.SetPixelPitch(values[2], values[3]);
            EXPECT_FALSE(lens.ReadyForCalibration()) << field << ' ' << bad;
        }
    }
}

TEST(LxCIntrinsicParams, MaximumRadiusIsThatOfTheFarthestCorner)
{
    LxCIntrinsicParams lens;
    lens.SetImageSize(40.0, 30.0);
    lens.SetPixelPitch(0.1, 0.2);
    // From (10, 10) the corner (40, 30) is 30·0.1 = 3 mm and 20·0.2 = 4 mm away.
    lens.SetPrincipalPoint(10.0, 10.0);
    EXPECT_DOUBLE_EQ(lens.GetMaxSensorRad(), 5.0);
    // From (30, 20) it is the corner (0, 0), at the same distance.
    lens.SetPrincipalPoint(30.0, 20.0);
    EXPECT_DOUBLE_EQ(lens.GetMaxSensorRad(), 5.0);
    EXPECT_EQ(LxCIntrinsicParams().GetMaxSensorRad(), 0.0);
}

TEST(LxCIntrinsicParamsIcv, ForwardMappingIsTheModel)
{
    const CLens lens = MakeIcvLens(true);
    std::mt19937 random(2);
    std::uniform_real_distribution<double> depth(70.0, 110.0);
    for (const Point pixel : Pixels()) {
        const Point ideal = ToSensor(lens, pixel);
        const double z = depth(random);
        const double x = ideal.x / 12.0 * z;
        const double y = ideal.y / 12.0 * z;
        const LongPoint d =
            ReferenceDistortion(lens, static_cast<long double>(x) / z, static_cast<long double>(y) / z);
        double u = 0;
        double v = 0;
        ASSERT_TRUE(lens.CameraToDisImageCoords(x, y, z, &u, &v));
        EXPECT_NEAR(u, static_cast<double>(d.x * 12 / 0.0074L + 331.4L), kPixelTolerance)
            << pixel.x << ' ' << pixel.y;
        EXPECT_NEAR(v, static_cast<double>(d.y * 12 / 0.0075L + 244.8L), kPixelTolerance)
            << pixel.x << ' ' << pixel.y;
    }
}

TEST(LxCIntrinsicParamsIcv, TangentialTermsAreAppliedForwardWhateverUseTauSays)
{
    const CLens with = MakeIcvLens(true);
    const CLens without = MakeIcvLens(false);
    for (const Point pixel : Pixels(100)) {
        const Point sensor = ToSensor(with, pixel);
        EXPECT_EQ(Distort(with, sensor).x, Distort(without, sensor).x);
        EXPECT_EQ(Distort(with, sensor).y, Distort(without, sensor).y);
    }
}

/// The steps of the iteration as they are defined, without any short cut.
Point Iterate(const LxCIntrinsicParams& p, Point pixel, int steps)
{
    const double xs = p.GetPixelPitchX() * (pixel.x - p.GetPrincipalPointX());
    const double ys = p.GetPixelPitchY() * (pixel.y - p.GetPrincipalPointY());
    const double x0 = (1.0 / p.GetFocalLength()) * xs;
    const double y0 = (1.0 / p.GetFocalLength()) * ys;
    double x = x0;
    double y = y0;
    for (int step = 0; step < steps; ++step) {
        const double r2 = x * x + y * y;
        const double c =
            1.0 / (1.0 + ((p.GetKappa6ICV() * r2 + p.GetKappa4ICV()) * r2 + p.GetKappa2ICV()) * r2);
        const double dx = 2.0 * p.GetTau1() * x * y + p.GetTau2() * (r2 + 2.0 * x * x);
        const double dy = p.GetTau1() * (r2 + 2.0 * y * y) + 2.0 * p.GetTau2() * x * y;
        x = (x0 - dx) * c;
        y = (y0 - dy) * c;
    }
    return {p.GetFocalLength() * x, p.GetFocalLength() * y};
}

/// Equal in every bit, but that any not-a-number equals any other.
bool SameBits(double a, double b)
{
    return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b) ||
           (std::isnan(a) && std::isnan(b));
}

TEST(LxCIntrinsicParamsIcv, UndistortingIsTwentyStepsBitForBitForAnyLens)
{
    std::mt19937 random(3);
    std::uniform_real_distribution<double> unit(-1.0, 1.0);
    const std::vector<Point> pixels = Pixels(30);
    for (int trial = 0; trial < 200; ++trial) {
        // From lenses that converge in a few steps to such that swing or diverge.
        const double strength = std::pow(10.0, 0.5 * (trial % 9) - 2.0);
        CLens lens = MakeLens();
        lens.SetUseTsai(false);
        lens.SetKappasICV(strength * unit(random), 3.0 * strength * unit(random),
                          9.0 * strength * unit(random));
        lens.SetTaus(0.01 * strength * unit(random), 0.01 * strength * unit(random));
        for (std::size_t i = 0; i < pixels.size(); ++i) {
            const Point expected = Iterate(lens, pixels[i], 20);
            const Point found = Undistort(lens, pixels[i]);
            ASSERT_TRUE(SameBits(found.x, expected.x) && SameBits(found.y, expected.y))
                << "strength " << strength << ", pixel " << pixels[i].x << ' ' << pixels[i].y;
            const Point other = pixels[(i + 7) % pixels.size()];
            const double u[2] = {pixels[i].x, other.x};
            const double v[2] = {pixels[i].y, other.y};
            double x[2];
            double y[2];
            ASSERT_TRUE(lens.DisImageToUndisSensorCoordsPair(u, v, x, y));
            const Point second = Undistort(lens, other);
            ASSERT_TRUE(SameBits(x[0], expected.x) && SameBits(y[0], expected.y));
            ASSERT_TRUE(SameBits(x[1], second.x) && SameBits(y[1], second.y));
        }
    }
}

TEST(LxCIntrinsicParamsIcv, FixedPointsAndLastBitSwingsBothEndAsTwentyStepsDo)
{
    // A pincushion lens steps over the solution each time, so that the last bit of some pixels swings.
    CLens lens = MakeIcvLens(true);
    lens.SetKappasICV(0.4, 0.1, -0.02);
    int fixed = 0;
    int swinging = 0;
    for (const Point pixel : Pixels(5000)) {
        const Point last = Iterate(lens, pixel, 20);
        const Point before = Iterate(lens, pixel, 19);
        const Point twoBefore = Iterate(lens, pixel, 18);
        const bool isFixed = last.x == before.x && last.y == before.y;
        fixed += isFixed ? 1 : 0;
        swinging += !isFixed && last.x == twoBefore.x && last.y == twoBefore.y ? 1 : 0;
        const Point found = Undistort(lens, pixel);
        ASSERT_TRUE(SameBits(found.x, last.x) && SameBits(found.y, last.y)) << pixel.x << ' ' << pixel.y;
    }
    EXPECT_GT(fixed, 1000);
    EXPECT_GT(swinging, 10);
}

/// Expects a pixel, alone and as one of two, where twenty steps take it.
void ExpectTwentySteps(const LxCIntrinsicParams& lens, Point pixel)
{
    const Point expected = Iterate(lens, pixel, 20);
    const Point found = Undistort(lens, pixel);
    EXPECT_TRUE(SameBits(found.x, expected.x) && SameBits(found.y, expected.y)) << pixel.x << ' ' << pixel.y;
    const double u[2] = {100.0, pixel.x};
    const double v[2] = {50.0, pixel.y};
    double x[2];
    double y[2];
    lens.DisImageToUndisSensorCoordsPair(u, v, x, y);
    EXPECT_TRUE(SameBits(x[1], expected.x) && SameBits(y[1], expected.y)) << pixel.x << ' ' << pixel.y;
    const Point neighbour = Iterate(lens, {100.0, 50.0}, 20);
    EXPECT_TRUE(SameBits(x[0], neighbour.x) && SameBits(y[0], neighbour.y)) << pixel.x << ' ' << pixel.y;
}

TEST(LxCIntrinsicParamsIcv, TheSignOfAZeroTakesPartInAllTwentySteps)
{
    // With tau2 = -0 the displacement of x = -0 is -0, which makes it +0, and that of +0 makes it -0 again.
    CLens lens = MakeIcvLens(true);
    lens.SetTaus(1e-3, -0.0);
    lens.SetPrincipalPoint(0.0, 0.0);
    EXPECT_FALSE(std::signbit(Iterate(lens, {-0.0, 100.0}, 19).x));
    EXPECT_TRUE(std::signbit(Iterate(lens, {-0.0, 100.0}, 20).x));
    for (int row = 1; row < 494; ++row) {
        ExpectTwentySteps(lens, {-0.0, static_cast<double>(row)});
    }
}

TEST(LxCIntrinsicParamsIcv, PixelsThatAreNoPositionsTakeTwentyStepsToo)
{
    const CLens lens = MakeIcvLens(true);
    for (const double u : {kNaN, kInfinity, -kInfinity, 1e300, 1e80, -1e-310}) {
        ExpectTwentySteps(lens, {u, 50.0});
        ExpectTwentySteps(lens, {100.0, u});
        ExpectTwentySteps(lens, {u, -u});
    }
}

TEST(LxCIntrinsicParamsIcv, UndistortingInvertsTheModel)
{
    const CLens lens = MakeIcvLens(true);
    for (const Point pixel : Pixels()) {
        const Point undistorted = Undistort(lens, pixel);
        const LongPoint d = ReferenceDistortion(lens, undistorted.x / 12.0L, undistorted.y / 12.0L);
        EXPECT_NEAR(static_cast<double>(d.x * 12 / 0.0074L + 331.4L), pixel.x, kPixelTolerance);
        EXPECT_NEAR(static_cast<double>(d.y * 12 / 0.0075L + 244.8L), pixel.y, kPixelTolerance);
        double u = 0;
        double v = 0;
        lens.DisImageToUndisImageCoords(pixel.x, pixel.y, &u, &v);
        EXPECT_NEAR(ToSensor(lens, {u, v}).x, undistorted.x, 1e-13);
        EXPECT_NEAR(ToSensor(lens, {u, v}).y, undistorted.y, 1e-13);
        lens.UndisImageToDisImageCoords(u, v, &u, &v);
        EXPECT_NEAR(u, pixel.x, kPixelTolerance);
        EXPECT_NEAR(v, pixel.y, kPixelTolerance);
    }
}

TEST(LxCIntrinsicParamsIcv, TheTableInvertsTheRadialModel)
{
    CLens lens = MakeIcvLens(false);
    lens.SetTaus(0.0, 0.0);
    lens.ComputeInverseDistLUT(2.0);
    // Besides the bisection, linear interpolation: steps of 0.01 in q of a ratio 1 - k2·q + (3·k2² - k4)·q² + ...
    // give an error of 0.01²/8·2·|3·0.0225 + 0.1|, below 5e-6 of a radius of 0.26.
    const double tolerance = 12.0 * (kBisection + 0.26 * 5e-6);
    for (const Point pixel : Pixels()) {
        const Point distorted = ToSensor(lens, pixel);
        const long double given = std::hypot(distorted.x / 12.0L, distorted.y / 12.0L);
        const long double radius = ReferenceRadius({0, -0.15, 0, 0.1, 0, -0.02}, given, 1.0L);
        const long double ratio = given == 0 ? 1 : radius / given;
        const Point found = Undistort(lens, pixel);
        EXPECT_NEAR(found.x, static_cast<double>(ratio * distorted.x), tolerance);
        EXPECT_NEAR(found.y, static_cast<double>(ratio * distorted.y), tolerance);
    }
}

TEST(LxCIntrinsicParamsIcv, WithoutUseTauUndistortingIgnoresTheTangentialTerms)
{
    const CLens lens = MakeIcvLens(false);
    CLens radialOnly = lens;
    radialOnly.SetTaus(0.0, 0.0);
    double largest = 0.0;
    for (const Point pixel : Pixels(200)) {
        EXPECT_EQ(Undistort(lens, pixel).x, Undistort(radialOnly, pixel).x);
        EXPECT_EQ(Undistort(lens, pixel).y, Undistort(radialOnly, pixel).y);
        const Point back = Distort(lens, Undistort(lens, pixel));
        const Point given = ToSensor(lens, pixel);
        largest = std::max(largest, std::hypot(back.x - given.x, back.y - given.y));
    }
    // The directions disagree by the tangential displacement, up to 12·3·1e-3·0.26² mm.
    EXPECT_GT(largest, 1e-3);
    EXPECT_LT(largest, 3e-3);
}

TEST(LxCIntrinsicParamsIcv, TheTsaiCoefficientsAndTheOtherWayRoundTakeNoPart)
{
    const CLens icv = MakeIcvLens(true);
    CLens icvToo = icv;
    icvToo.SetKappas(0.1, 0.2, 0.3, 0.4);
    const CLens tsai = MakeTsaiLens(2e-3, 1e-5);
    CLens tsaiToo = tsai;
    tsaiToo.SetKappasICV(1.0, 2.0, 3.0);
    tsaiToo.SetTaus(0.1, 0.2);
    tsaiToo.SetUseTau(false);
    for (const Point pixel : Pixels(200)) {
        const Point sensor = ToSensor(icv, pixel);
        EXPECT_EQ(Undistort(icv, pixel).x, Undistort(icvToo, pixel).x);
        EXPECT_EQ(Distort(icv, sensor).y, Distort(icvToo, sensor).y);
        EXPECT_EQ(Undistort(tsai, pixel).x, Undistort(tsaiToo, pixel).x);
        EXPECT_EQ(Distort(tsai, sensor).y, Distort(tsaiToo, sensor).y);
    }
}

TEST(LxCIntrinsicParams, ThePrincipalPointStaysWhereItIsInEveryModel)
{
    for (const CLens& lens : {MakeTsaiLens(2e-3, 1e-5), MakeIcvLens(true), MakeIcvLens(false)}) {
        const Point undistorted = Undistort(lens, {331.4, 244.8});
        EXPECT_EQ(undistorted.x, 0.0);
        EXPECT_EQ(undistorted.y, 0.0);
        double u = 0;
        double v = 0;
        EXPECT_TRUE(lens.CameraToDisImageCoords(0, 0, 90, &u, &v));
        EXPECT_EQ(u, 331.4);
        EXPECT_EQ(v, 244.8);
        EXPECT_EQ(lens.LookupInverseDist(0.0), 1.0);
    }
}

TEST(LxCIntrinsicParams, OutputsMayBeTheInputs)
{
    for (const CLens& lens : {MakeTsaiLens(2e-3, 1e-5), MakeIcvLens(true), MakeIcvLens(false)}) {
        const Point expected = Undistort(lens, {100, 50});
        double u[2] = {100, 600};
        double v[2] = {50, 400};
        const Point second = Undistort(lens, {600, 400});
        lens.DisImageToUndisSensorCoordsPair(u, v, u, v);
        EXPECT_EQ(u[0], expected.x);
        EXPECT_EQ(v[0], expected.y);
        EXPECT_EQ(u[1], second.x);
        EXPECT_EQ(v[1], second.y);
        Point sensor = {1.5, -1.0};
        const Point distorted = Distort(lens, sensor);
        lens.UndisToDisSensorCoords(sensor.x, sensor.y, &sensor.x, &sensor.y);
        EXPECT_EQ(sensor.x, distorted.x);
        EXPECT_EQ(sensor.y, distorted.y);
    }
}

TEST(LxCIntrinsicParamsTsai, UndistortingIsDirectAndKnowsTheEvenCoefficientsOnly)
{
    CLens lens = MakeTsaiLens(2e-3, 1e-5);
    const CLens even = lens;
    lens.SetKappas(0.3, 2e-3, -0.2, 1e-5);
    for (const Point pixel : Pixels()) {
        const long double x = 0.0074L * (static_cast<long double>(pixel.x) - 331.4L);
        const long double y = 0.0075L * (static_cast<long double>(pixel.y) - 244.8L);
        const long double r2 = x * x + y * y;
        const long double factor = 1 + r2 * (2e-3L + r2 * 1e-5L);
        const Point found = Undistort(lens, pixel);
        EXPECT_NEAR(found.x, static_cast<double>(x * factor), 1e-14);
        EXPECT_NEAR(found.y, static_cast<double>(y * factor), 1e-14);
        EXPECT_EQ(found.x, Undistort(even, pixel).x);
    }
}

TEST(LxCIntrinsicParamsTsai, DistortingInvertsThePolynomialOfAllFourCoefficients)
{
    CLens lens = MakeLens();
    lens.SetKappas(4e-3, 2e-3, -1e-4, 1e-5);
    lens.ComputeInverseDistLUT(2.0);
    // Near the axis the ratio 1 - kappa1·r bends in r²: over the first entry, 0.1 mm, by up to a quarter of
    // kappa1·0.1 and below 1/8·0.01²·kappa1/(4·r³) further out; times the radius that stays below 4e-5 mm.
    constexpr double tolerance = 4e-5;
    for (const Point pixel : Pixels()) {
        const Point given = ToSensor(lens, pixel);
        const long double radius =
            std::hypot(static_cast<long double>(given.x), static_cast<long double>(given.y));
        const long double solved = ReferenceRadius({4e-3, 2e-3, -1e-4, 1e-5}, radius, 4.0L);
        const long double ratio = radius == 0 ? 1 : solved / radius;
        const Point found = Distort(lens, given);
        EXPECT_NEAR(found.x, static_cast<double>(ratio * given.x), tolerance);
        EXPECT_NEAR(found.y, static_cast<double>(ratio * given.y), tolerance);
    }
}

TEST(LxCIntrinsicParamsTsai, WithoutOddCoefficientsTheDirectionsAreInverse)
{
    const CLens lens = MakeTsaiLens(2e-3, 1e-5);
    // Interpolation adds 0.01²/8 of the ratio's second derivative, below 1e-4, times 3.1 mm.
    constexpr double tolerance = 2.0 * kBisection;
    for (const Point pixel : Pixels()) {
        const Point back = Distort(lens, Undistort(lens, pixel));
        EXPECT_NEAR(back.x, ToSensor(lens, pixel).x, tolerance);
        EXPECT_NEAR(back.y, ToSensor(lens, pixel).y, tolerance);
    }
}

TEST(LxCIntrinsicParamsText, PrettyPrintsTheTsaiModel)
{
    CLens lens = MakeLens();
    lens.SetFocalLength(12.345678);
    lens.SetSecondFocalLength(24.5);
    lens.SetKappas(0.5, -0.0025, 1e-10, 123456.75);
    std::string text = "what was here before";
    lens.PrettyPrint(text);
    EXPECT_EQ(text, "\nf\t= 12.3457  [mm] (fy=24.5)\n"
                    "kappa1\t= 5.000000e-01 [1/mm],kappa2\t= -2.500000e-03 [1/mm^2]\n\n"
                    "kappa3\t= 1.000000e-10 [1/mm^3],kappa4\t= 1.234568e+05 [1/mm^4]\n\n"
                    "Cx\t= 331.400000, Cy\t= 244.800000 [pix]");
}

TEST(LxCIntrinsicParamsText, PrettyPrintsTheIcvModel)
{
    CLens lens = MakeIcvLens(true);
    std::string text;
    lens.PrettyPrint(text);
    EXPECT_EQ(text, "\nf\t= 12  [mm] (fy=0)\n"
                    "kappa2\t= -1.500000e-01 [1/mm^2],kappa4\t= 1.000000e-01 [1/mm^4]"
                    "kappa6\t= -2.000000e-02 [1/mm^6]\n\n"
                    "tau1\t= 1.000000e-03 [1/mm^2],\ttau2\t= -7.000000e-04 [1/mm^2]\n\n"
                    "Cx\t= 331.400000, Cy\t= 244.800000 [pix]");
}

/// The text with every value replaced by "=", so that the keys and their order remain.
std::string KeysOf(const std::string& text)
{
    std::string keys;
    bool inValue = false;
    for (const char c : text) {
        inValue = c != '\n' && (inValue || c == '=');
        keys += inValue ? "" : std::string(1, c);
    }
    return keys;
}

TEST(LxCIntrinsicParamsText, KeysStandInTheirOrderWithTheHeightLast)
{
    CLens lens = MakeLens();
    EXPECT_EQ(
        KeysOf(TestSupport::Store(lens, "::Cam::IntrinsicParams")),
        "::Cam::"
        "IntrinsicParams\nNfx\nDx\nDy\nCx\nCy\nCxDef\nCyDef\nf\nKappa1\nKappa2\nKappa3\nKappa4\nUseTsai\n"
        "Kappa2ICV\nKappa4ICV\nKappa6ICV\nTau1\nTau2\nUseTau\nNfy\n");
}

TEST(LxCIntrinsicParamsText, RoundTripKeepsEveryFieldUnderItsKey)
{
    // Binary fractions, so that twenty digits after the point hold them exactly.
    const std::string text =
        "::P\nNfx=1.5\nDx=2.5\nDy=3.5\nCx=4.5\nCy=5.5\nCxDef=6.5\nCyDef=7.5\nf=8\nKappa1=9.5\n"
        "Kappa2=10.5\nKappa3=11.5\nKappa4=12.5\nUseTsai=0\nKappa2ICV=13.5\nKappa4ICV=14.5\n"
        "Kappa6ICV=15.5\nTau1=16.5\nTau2=17.5\nUseTau=0\nNfy=18.5\n";
    const Logging::CCapture log;
    LxCIntrinsicParams first;
    TestSupport::Load(first, "::P", text);
    LxCIntrinsicParams lens;
    TestSupport::Load(lens, "::P", TestSupport::Store(first, "::P"));
    EXPECT_EQ(lens.GetExactImageWidth(), 1.5);
    EXPECT_EQ(lens.GetPixelPitchX(), 2.5);
    EXPECT_EQ(lens.GetPixelPitchY(), 3.5);
    EXPECT_EQ(lens.GetPrincipalPointX(), 4.5);
    EXPECT_EQ(lens.GetPrincipalPointY(), 5.5);
    EXPECT_EQ(lens.GetNominalPrincipalPointX(), 6.5);
    EXPECT_EQ(lens.GetNominalPrincipalPointY(), 7.5);
    EXPECT_EQ(lens.GetFocalLength(), 8.0);
    EXPECT_EQ(lens.GetFocalLengthInvers(), 0.125);
    EXPECT_EQ(lens.GetKappa1(), 9.5);
    EXPECT_EQ(lens.GetKappa2(), 10.5);
    EXPECT_EQ(lens.GetKappa3(), 11.5);
    EXPECT_EQ(lens.GetKappa4(), 12.5);
    EXPECT_FALSE(lens.IsUseTsai());
    EXPECT_EQ(lens.GetKappa2ICV(), 13.5);
    EXPECT_EQ(lens.GetKappa4ICV(), 14.5);
    EXPECT_EQ(lens.GetKappa6ICV(), 15.5);
    EXPECT_EQ(lens.GetTau1(), 16.5);
    EXPECT_EQ(lens.GetTau2(), 17.5);
    EXPECT_FALSE(lens.IsUseTau());
    EXPECT_EQ(lens.GetExactImageHeight(), 18.5);
}

TEST(LxCIntrinsicParamsText, AMissingKeyKeepsWhatTheObjectHolds)
{
    CLens lens = MakeTsaiLens(2e-3, 1e-5);
    TestSupport::Load(lens, "::P", "::P\nNfx=640\n");
    EXPECT_EQ(lens.GetImageWidth(), 640);
    EXPECT_EQ(lens.GetImageHeight(), 494);
    EXPECT_EQ(lens.GetKappa2(), 2e-3);
    EXPECT_EQ(lens.GetFocalLengthInvers(), 1.0 / 12.0);
    TestSupport::Load(lens, "::Missing", "::P\nNfx=320\n");
    EXPECT_EQ(lens.GetImageWidth(), 640);
}

TEST(LxCIntrinsicParamsText, ReadingBuildsATableOfTwiceTheCorner)
{
    CLens lens = MakeTsaiLens(0.0, 0.0);
    TestSupport::Load(lens, "::P", "::P\nNfx=658\n");
    ASSERT_TRUE(lens.HasInverseDistLUT());
    const double m = std::pow(lens.GetMaxSensorRad() * 2.0, 2);
    EXPECT_EQ(lens.GetInverseDistLUTLength(), 1 + static_cast<int>(100.0 * m));
    CLens written = MakeTsaiLens(0.0, 0.0);
    TestSupport::Store(written, "::P");
    EXPECT_FALSE(written.HasInverseDistLUT()) << "writing builds none";
}

TEST(LxCIntrinsicParamsText, AFocalLengthOfZeroReadsWithAnInverseOfZero)
{
    const Logging::CCapture log;
    LxCIntrinsicParams lens;
    TestSupport::Load(lens, "::P", "::P\nf=0\n");
    EXPECT_EQ(lens.GetFocalLength(), 0.0);
    EXPECT_EQ(lens.GetFocalLengthInvers(), 0.0);
}

TEST(LxCIntrinsicParamsText, HostileNumbersTakeNeitherMemoryNorTimeOutOfProportion)
{
    const Logging::CCapture log;
    const std::vector<std::string> keys = {"Nfx",    "Dx",     "Cx",        "f",        "Kappa1",
                                           "Kappa2", "Kappa4", "Kappa2ICV", "Kappa6ICV"};
    for (const std::string& key : keys) {
        for (const std::string value : {"1e308", "-1e308", "1e-308", "nan", "-inf", "1e150", "x"}) {
            for (const bool useTsai : {false, true}) {
                CLens lens = MakeIcvLens(false);
                lens.SetUseTsai(useTsai);
                TestSupport::Load(lens, "::P", "::P\n" + key + "=" + value + "\n");
                EXPECT_GE(lens.GetInverseDistLUTLength(), 1) << key << '=' << value;
                EXPECT_LE(lens.GetInverseDistLUTLength(), LxCIntrinsicParams::sc_iMaxTableLength);
                for (const Point pixel : {Point{0, 0}, Point{658, 494}}) {
                    Distort(lens, Undistort(lens, pixel));
                }
                EXPECT_LE(lens.GetInverseDistLUTLength(), LxCIntrinsicParams::sc_iMaxTableLength);
            }
        }
    }
}

} // namespace
} // namespace LxCV
