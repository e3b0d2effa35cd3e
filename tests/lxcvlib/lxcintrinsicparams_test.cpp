#include "lxcintrinsicparams.h"

#include "orx/logging/logger.h"
#include "sectiontext.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <numbers>
#include <random>
#include <string>
#include <vector>

namespace LxCV {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr wchar_t kChannel[] = L"ORX.Lumorad.LxCIntrinsicParams";
constexpr wchar_t kRebuilt[] = L"LxCIntrinsicParams::LookupInverseDist: recalculate inverse dist lut with "
                               L"c_dSafetyFactor = 2.0";
constexpr wchar_t kFailed[] = L"LxCIntrinsicParams::LookupInverseDist failed";

/// Roundings of a pixel position below 1000.
constexpr double kPixelTolerance = 1e-11;

/// Where the bisection may stop: within this of the given radius (mm, or normalised).
constexpr double kBisection = 1e-8;

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
CLens MakeLens()
{
    CLens lens;
    lens.SetImageSize(658.0, 494.0);
    lens.SetPixelPitch(0.0074, 0.0075);
    lens.SetPrincipalPoint(331.4, 244.8);
    lens.SetFocalLength(12.0);
    return lens;
}

CLens MakeTsaiLens(double kappa2, double kappa4)
{
    CLens lens = MakeLens();
    lens.SetKappas(0.0, kappa2, 0.0, kappa4);
    return lens;
}

CLens MakeIcvLens(bool useTau)
{
    CLens lens = MakeLens();
    lens.SetUseTsai(false);
    lens.SetUseTau(useTau);
    lens.SetKappasICV(-0.15, 0.1, -0.02);
    lens.SetTaus(1e-3, -7e-4);
    return lens;
}

/// Pixels over the whole image, the corners among them.
std::vector<Point> Pixels(int count = 2000)
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

Point ToSensor(const LxCIntrinsicParams& lens, Point pixel)
{
    Point sensor{};
    EXPECT_TRUE(lens.ImageToSensorCoords(pixel.x, pixel.y, &sensor.x, &sensor.y));
    return sensor;
}

Point Undistort(const LxCIntrinsicParams& lens, Point pixel)
{
    Point sensor{};
    EXPECT_TRUE(lens.DisImageToUndisSensorCoords(pixel.x, pixel.y, &sensor.x, &sensor.y));
    return sensor;
}

Point Distort(const LxCIntrinsicParams& lens, Point sensor)
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

LongPoint ReferenceDistortion(const LxCIntrinsicParams& lens, long double x, long double y)
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
long double ReferenceRadius(const std::vector<double>& coefficients, long double target, long double upper)
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

TEST(LxCIntrinsicParamsTable, EntriesAreTheRatiosAtHundredthsOfSquaredRadius)
{
    const CLens lens = MakeTsaiLens(2e-3, 1e-5);
    EXPECT_TRUE(lens.ComputeInverseDistLUT(1.5));
    // m = (R·1.5)², q = m + kappa2·m² + kappa4·m³, 1 + trunc(100·q) entries
    const double m = std::pow(lens.GetMaxSensorRad() * 1.5, 2);
    EXPECT_EQ(lens.GetInverseDistLUTLength(),
              1 + static_cast<int>(100.0 * (m + 2e-3 * m * m + 1e-5 * m * m * m)));
    for (int k = 1; k + 1 < lens.GetInverseDistLUTLength(); ++k) {
        const double radius = std::sqrt(k / 100.0);
        const double solved = static_cast<double>(ReferenceRadius({0, 2e-3, 0, 1e-5}, radius, 6.0L));
        EXPECT_NEAR(lens.LookupInverseDist(k / 100.0) * radius, solved, 1.01 * kBisection) << k;
    }
}

TEST(LxCIntrinsicParamsTable, IsInterpolatedLinearlyBetweenEntries)
{
    const CLens lens = MakeTsaiLens(2e-3, 1e-5);
    lens.ComputeInverseDistLUT(1.5);
    for (int k = 0; k < 1000; ++k) {
        const double at = lens.LookupInverseDist(k * 0.01);
        const double next = lens.LookupInverseDist((k + 1) * 0.01);
        EXPECT_NEAR(lens.LookupInverseDist((k + 0.25) * 0.01), 0.75 * at + 0.25 * next, 1e-12);
    }
}

TEST(LxCIntrinsicParamsTable, IcvLengthFollowsTheNormalisedCorner)
{
    CLens lens = MakeIcvLens(false);
    lens.SetKappasICV(0.1, 0.0, 0.0); // grows everywhere, so that the bound reaches every entry
    EXPECT_TRUE(lens.ComputeInverseDistLUT(2.0));
    const double m = std::pow(lens.GetMaxSensorRad() * 2.0 / 12.0, 2);
    EXPECT_EQ(lens.GetInverseDistLUTLength(), 1 + static_cast<int>(100.0 * m));
}

TEST(LxCIntrinsicParamsTable, IsBuiltByTheFirstLookupWithATenthToSpare)
{
    const CLens lens = MakeTsaiLens(0.0, 0.0);
    EXPECT_FALSE(lens.HasInverseDistLUT());
    EXPECT_NEAR(lens.LookupInverseDist(1.0), 1.0, kBisection);
    EXPECT_TRUE(lens.HasInverseDistLUT());
    const double m = std::pow(lens.GetMaxSensorRad() * 1.1, 2);
    EXPECT_EQ(lens.GetInverseDistLUTLength(), 1 + static_cast<int>(100.0 * m));
}

TEST(LxCIntrinsicParamsTable, WidensOnceAndThenReturnsTheArgument)
{
    CLens lens = MakeTsaiLens(0.0, 0.0);
    const Logging::CCapture log;
    const double corner = std::pow(lens.GetMaxSensorRad(), 2);
    EXPECT_NEAR(lens.LookupInverseDist(1.2 * corner), 1.0, kBisection);
    EXPECT_TRUE(log.GetRecords().empty());
    EXPECT_NEAR(lens.LookupInverseDist(2.0 * corner), 1.0, kBisection);
    EXPECT_EQ(log.Count(Logging::ELevel::eInfo, kChannel, kRebuilt), 1);
    EXPECT_EQ(log.Count(Logging::ELevel::eError, kChannel, kFailed), 0);
    EXPECT_EQ(lens.LookupInverseDist(5.0 * corner), 5.0 * corner);
    EXPECT_EQ(lens.LookupInverseDist(6.0 * corner), 6.0 * corner);
    EXPECT_EQ(log.Count(Logging::ELevel::eInfo, kChannel, kRebuilt), 1);
    EXPECT_EQ(log.Count(Logging::ELevel::eError, kChannel, kFailed), 2);
    EXPECT_NEAR(lens.LookupInverseDist(2.0 * corner), 1.0, kBisection) << "the table still stands";
}

TEST(LxCIntrinsicParamsTable, AFirstLookupBeyondEverythingLogsBothLines)
{
    const CLens lens = MakeTsaiLens(0.0, 0.0);
    const Logging::CCapture log;
    EXPECT_EQ(lens.LookupInverseDist(1e6), 1e6);
    EXPECT_EQ(log.GetRecords().size(), 2U);
    EXPECT_EQ(log.Count(Logging::ELevel::eInfo, kChannel, kRebuilt), 1);
    EXPECT_EQ(log.Count(Logging::ELevel::eError, kChannel, kFailed), 1);
}

TEST(LxCIntrinsicParamsTable, InvalidatingDropsItAllowsARetryAndKeepsTheLength)
{
    CLens lens = MakeTsaiLens(0.0, 0.0);
    const Logging::CCapture log;
    lens.LookupInverseDist(1e6);
    const int length = lens.GetInverseDistLUTLength();
    lens.InvalidateInverseDistLUT();
    EXPECT_FALSE(lens.HasInverseDistLUT());
    EXPECT_EQ(lens.GetInverseDistLUTLength(), length);
    lens.LookupInverseDist(1e6);
    EXPECT_EQ(log.Count(Logging::ELevel::eInfo, kChannel, kRebuilt), 2);
    lens.InvalidateInverseDistLUT();
    const CLens copy = lens;
    EXPECT_FALSE(copy.HasInverseDistLUT());
    EXPECT_NEAR(copy.LookupInverseDist(1.0), 1.0, kBisection);
}

TEST(LxCIntrinsicParamsTable, ComputingItAnewLeavesTheRetrySpent)
{
    const CLens lens = MakeTsaiLens(0.0, 0.0);
    const Logging::CCapture log;
    lens.LookupInverseDist(1e6);
    lens.ComputeInverseDistLUT(1.0);
    lens.LookupInverseDist(1e6);
    EXPECT_EQ(log.Count(Logging::ELevel::eInfo, kChannel, kRebuilt), 1);
}

TEST(LxCIntrinsicParamsTable, OfLengthOneTriggersTheOneRebuild)
{
    CLens lens = MakeIcvLens(false);
    lens.SetFocalLength(1000.0); // m = (3.1·2/1000)², far below 0.01
    const Logging::CCapture log;
    EXPECT_EQ(lens.LookupInverseDist(0.02), 0.02);
    EXPECT_EQ(lens.GetInverseDistLUTLength(), 1);
    EXPECT_EQ(log.Count(Logging::ELevel::eInfo, kChannel, kRebuilt), 1);
    EXPECT_EQ(log.Count(Logging::ELevel::eError, kChannel, kFailed), 1);
    EXPECT_EQ(lens.LookupInverseDist(0.03), 0.03);
    EXPECT_EQ(log.Count(Logging::ELevel::eInfo, kChannel, kRebuilt), 1);
    EXPECT_EQ(log.Count(Logging::ELevel::eError, kChannel, kFailed), 2);
    EXPECT_EQ(lens.LookupInverseDist(-0.005), -0.005) << "there is no second entry to interpolate with";
}

TEST(LxCIntrinsicParamsTable, ArgumentsThatAreNoRadiusAreOutOfRange)
{
    const CLens lens = MakeTsaiLens(2e-3, 0.0);
    const Logging::CCapture log;
    for (const double bad : {kInfinity, -kInfinity, 1e300, -1e300, -1.0, 4e7}) {
        EXPECT_EQ(lens.LookupInverseDist(bad), bad);
    }
    EXPECT_TRUE(std::isnan(lens.LookupInverseDist(kNaN)));
}

TEST(LxCIntrinsicParamsTable, StopsAtTheTurningPointOfTheTsaiPolynomial)
{
    // q·(1 - 0.12·q + 0.0036·q²) turns where 1 - 0.24·q + 0.0108·q² = 0: q = 50/9 or 50/3. Corners lie at 9.7.
    const CLens lens = MakeTsaiLens(-0.12, 0.0036);
    lens.ComputeInverseDistLUT(1.1);
    const double turn = 50.0 / 9.0;
    const double image = turn * (1.0 - 0.12 * turn + 0.0036 * turn * turn);
    // The upper bound of the search is the root of the image, 1.57 mm, below the turning radius of 2.36 mm: it
    // reaches only up to the image of 1.57 mm under the polynomial in the radius.
    const double reached = std::sqrt(image) * (1.0 - 0.12 * image + 0.0036 * image * image);
    EXPECT_LT(lens.GetInverseDistLUTLength(), 1 + static_cast<int>(100.0 * image));
    EXPECT_NEAR(lens.GetInverseDistLUTLength(), 100.0 * reached * reached, 2.0);
}

TEST(LxCIntrinsicParamsTable, StopsAtTheTurningPointOfTheIcvPolynomial)
{
    // In q = squared radius q·(1 - 5·q) turns at 0.1; the corners lie at (2·3.1/12)² = 0.27.
    CLens lens = MakeIcvLens(false);
    lens.SetKappasICV(-5.0, 0.0, 0.0);
    lens.ComputeInverseDistLUT(2.0);
    EXPECT_LE(lens.GetInverseDistLUTLength(), 1 + 10);
    // Entries end where the bound, a radius of sqrt(0.1), no longer reaches: 0.316·(1 - 0.5) squared is 0.025.
    EXPECT_EQ(lens.GetInverseDistLUTLength(), 3);
}

TEST(LxCIntrinsicParamsTable, EndsWhereAPolynomialWithoutFourthOrderCannotBeInverted)
{
    // kappa4 is 0, so no turning point is looked for. (3.1·1.1)² = 11.9, its image 11.9·(1 - 0.07·11.9) = 2.0.
    const CLens lens = MakeTsaiLens(-0.07, 0.0);
    EXPECT_TRUE(lens.ComputeInverseDistLUT(1.1));
    const double m = std::pow(lens.GetMaxSensorRad() * 1.1, 2);
    const double image = (1.0 - 0.07 * m) * m;
    EXPECT_LT(lens.GetInverseDistLUTLength(), 1 + static_cast<int>(100.0 * image));
    EXPECT_GT(lens.GetInverseDistLUTLength(), 100);
    // An image below zero leaves entry 0 only.
    const CLens strong = MakeTsaiLens(-1.0, 0.0);
    EXPECT_TRUE(strong.ComputeInverseDistLUT(1.1));
    EXPECT_EQ(strong.GetInverseDistLUTLength(), 1);
}

TEST(LxCIntrinsicParamsTable, StaysWhenCoefficientsChange)
{
    CLens lens = MakeTsaiLens(2e-3, 0.0);
    const double before = lens.LookupInverseDist(4.0);
    lens.SetKappas(0.0, 8e-3, 0.0, 0.0);
    EXPECT_EQ(lens.LookupInverseDist(4.0), before);
    lens.ComputeInverseDistLUT(2.0);
    EXPECT_LT(lens.LookupInverseDist(4.0), before - 0.01);
}

TEST(LxCIntrinsicParamsTable, CopiesHaveTheirOwn)
{
    CLens lens = MakeTsaiLens(2e-3, 0.0);
    lens.ComputeInverseDistLUT(2.0);
    const double before = lens.LookupInverseDist(4.0);
    const CLens constructed(lens);
    CLens assigned = MakeTsaiLens(0.0, 0.0);
    assigned.ComputeInverseDistLUT(1.0);
    assigned = lens;
    lens.SetKappas(0.0, 0.0, 0.0, 0.0);
    lens.ComputeInverseDistLUT(1.0);
    for (const CLens& copy : {constructed, assigned}) {
        EXPECT_EQ(copy.LookupInverseDist(4.0), before);
        EXPECT_EQ(copy.GetKappa2(), 2e-3);
        EXPECT_EQ(copy.GetPrincipalPointX(), 331.4);
    }
    const CLens withoutTable = MakeTsaiLens(2e-3, 0.0);
    assigned = withoutTable;
    EXPECT_FALSE(assigned.HasInverseDistLUT());
    EXPECT_EQ(assigned.GetInverseDistLUTLength(), 0);
    const Logging::CCapture log;
    assigned.LookupInverseDist(1e6);
    EXPECT_EQ(log.Count(Logging::ELevel::eInfo, kChannel, kRebuilt), 1) << "the retry flag is clear";
}

TEST(LxCIntrinsicParamsTable, IsBoundedForParametersThatNoDeviceHas)
{
    CLens lens = MakeTsaiLens(0.0, 0.0);
    lens.SetPixelPitch(1.0, 1.0); // corners 413 mm away
    const Logging::CCapture log;
    EXPECT_TRUE(lens.ComputeInverseDistLUT(1.0));
    EXPECT_EQ(lens.GetInverseDistLUTLength(), LxCIntrinsicParams::sc_iMaxTableLength);
    ASSERT_EQ(log.GetRecords().size(), 1U);
    EXPECT_EQ(log.GetRecords()[0].level, Logging::ELevel::eError);
    EXPECT_EQ(log.GetRecords()[0].channel, kChannel);
    EXPECT_EQ(log.GetRecords()[0].text.find(L"LxCIntrinsicParams::ComputeInverseDistLUT: squared radius "),
              0U);
    EXPECT_NEAR(lens.LookupInverseDist(499.0), 1.0, kBisection);
}

TEST(LxCIntrinsicParamsTable, HasOneEntryForParametersThatAskForAnEndlessOne)
{
    const Logging::CCapture log;
    for (const bool useTsai : {false, true}) {
        CLens straight = MakeTsaiLens(0.0, 0.0);
        straight.SetUseTsai(useTsai);
        for (const double bad : {kInfinity, kNaN, 1e300}) {
            CLens lens = straight;
            lens.SetPixelPitch(bad, bad);
            EXPECT_TRUE(lens.ComputeInverseDistLUT(2.0));
            EXPECT_EQ(lens.GetInverseDistLUTLength(), 1) << bad;
            EXPECT_TRUE(straight.ComputeInverseDistLUT(bad));
            EXPECT_EQ(straight.GetInverseDistLUTLength(), 1) << bad;
        }
    }
    CLens lens = MakeTsaiLens(0.0, 0.0);
    lens.SetUseTsai(false);
    lens.SetFocalLength(0.0);
    EXPECT_TRUE(lens.ComputeInverseDistLUT(2.0));
    EXPECT_EQ(lens.GetInverseDistLUTLength(), 1);
}

TEST(AuxInvertDistortionModel, SolvesThePolynomialToItsTolerance)
{
    const double coefficients[6] = {0.01, -0.02, 0.003, 0.004, -0.0005, 0.0006};
    const std::vector<double> same(coefficients, coefficients + 6);
    for (double target = 0.01; target < 1.0; target += 0.01) {
        double result = 0.0;
        ASSERT_TRUE(CLens::AuxInvertDistortionModel(coefficients, target, 1.5, result));
        // The slope stays above 0.9 there.
        EXPECT_NEAR(result, static_cast<double>(ReferenceRadius(same, target, 1.5L)), kBisection / 0.9)
            << target;
    }
}

TEST(AuxInvertDistortionModel, HalvesFromTheMiddleOfTheRange)
{
    const double none[6] = {};
    double result = 0.0;
    EXPECT_TRUE(CLens::AuxInvertDistortionModel(none, 1.0, 2.0, result));
    EXPECT_EQ(result, 1.0) << "the first trial hits";
    EXPECT_TRUE(CLens::AuxInvertDistortionModel(none, 0.75, 2.0, result));
    EXPECT_EQ(result, 0.75);
}

TEST(AuxInvertDistortionModel, FailsWhereTheBoundDoesNotReach)
{
    const double none[6] = {};
    double result = 0.0;
    EXPECT_FALSE(CLens::AuxInvertDistortionModel(none, 3.0, 2.0, result));
    EXPECT_NEAR(result, 2.0, 4.0 * kBisection) << "the last radius tried";
}

TEST(AuxInvertDistortionModel, RefusesABoundThatIsNoRange)
{
    const double none[6] = {};
    for (const double bound : {0.0, -1.0, 1e-8, kNaN, kInfinity}) {
        double result = 7.0;
        EXPECT_FALSE(CLens::AuxInvertDistortionModel(none, 1e-9, bound, result)) << bound;
        EXPECT_EQ(result, 7.0);
    }
}

TEST(AuxInvertDistortionModel, EndsForCoefficientsThatAreNotFinite)
{
    const double bad[6] = {kNaN, kInfinity, 0, 0, 0, 0};
    double result = 0.0;
    EXPECT_FALSE(CLens::AuxInvertDistortionModel(bad, 1.0, 1e300, result));
}

/// Samples of 1 + sum of c·r^power at radii 0, 0.25, ..., so that the first sample weighs nothing.
struct Samples
{
    std::vector<double> radii;
    std::vector<double> ratios;

    explicit Samples(const std::vector<double>& coefficients, double first = 0.0)
    {
        for (int i = 0; i < 20; ++i) {
            const double r = first + 0.25 * i;
            double ratio = 1.0;
            for (std::size_t k = 0; k < coefficients.size(); ++k) {
                ratio += coefficients[k] * std::pow(r, static_cast<double>(k + 1));
            }
            radii.push_back(r);
            ratios.push_back(ratio);
        }
    }
    bool Fit(double* coefficients, int degree) const
    {
        return CLens::AuxFitTsaiPol(radii.data(), ratios.data(), static_cast<int>(radii.size()), coefficients,
                                    degree);
    }
};

TEST(AuxFitTsaiPol, RecoversExactPolynomials)
{
    constexpr double tolerance = 1e-9; // powers up to r⁸ at 4.75 mm condition the system badly
    double c[4] = {9, 9, 9, 9};
    EXPECT_TRUE(Samples({0.01, -0.02, 0.003, -0.0004}).Fit(c, 4));
    EXPECT_NEAR(c[0], 0.01, tolerance);
    EXPECT_NEAR(c[1], -0.02, tolerance);
    EXPECT_NEAR(c[2], 0.003, tolerance);
    EXPECT_NEAR(c[3], -0.0004, tolerance);
    EXPECT_TRUE(Samples({0, -0.02, 0, -0.0004}).Fit(c, 2));
    EXPECT_EQ(c[0], 0.0);
    EXPECT_NEAR(c[1], -0.02, tolerance);
    EXPECT_EQ(c[2], 0.0);
    EXPECT_NEAR(c[3], -0.0004, tolerance);
}

TEST(AuxFitTsaiPol, DegreeOneWritesOneValueOnly)
{
    double c[4] = {9, 9, 9, 9};
    EXPECT_TRUE(Samples({0, -0.02}).Fit(c, 1));
    EXPECT_NEAR(c[0], -0.02, 1e-12);
    EXPECT_EQ(c[1], 9.0);
    EXPECT_EQ(c[2], 9.0);
    EXPECT_EQ(c[3], 9.0);
}

TEST(AuxFitTsaiPol, LeavesTheFirstSampleOutOfTheMatrixOnly)
{
    // Radii 1 and 2, ratios 1.5 and 3: right side 0.5·1 + 2·4 = 8.5, matrix 2⁴ = 16 without the first sample.
    const double radii[2] = {1, 2};
    const double ratios[2] = {1.5, 3};
    double c[1] = {};
    EXPECT_TRUE(CLens::AuxFitTsaiPol(radii, ratios, 2, c, 1));
    EXPECT_DOUBLE_EQ(c[0], 8.5 / 16.0);
}

TEST(AuxFitTsaiPol, RefusesOtherDegreesAndSingularSystems)
{
    double c[4] = {9, 9, 9, 9};
    for (const int degree : {-1, 0, 3, 5, std::numeric_limits<int>::max()}) {
        EXPECT_FALSE(Samples({0.01}).Fit(c, degree));
    }
    const double radius = 1.0;
    for (const int n : {-1, 0, 1}) {
        EXPECT_FALSE(CLens::AuxFitTsaiPol(&radius, &radius, n, c, 1)) << "the matrix is empty";
    }
    const double twice[3] = {1.0, 2.0, 2.0};
    EXPECT_FALSE(CLens::AuxFitTsaiPol(twice, twice, 3, c, 2)) << "one radius cannot tell two unknowns";
    const double bad[3] = {1.0, kNaN, 2.0};
    EXPECT_FALSE(CLens::AuxFitTsaiPol(bad, bad, 3, c, 4));
    EXPECT_FALSE(CLens::AuxFitTsaiPol(nullptr, twice, 3, c, 1));
    EXPECT_FALSE(CLens::AuxFitTsaiPol(twice, nullptr, 3, c, 1));
    EXPECT_FALSE(CLens::AuxFitTsaiPol(twice, twice, 3, nullptr, 1));
    EXPECT_EQ(c[0], 9.0);
}

TEST(TestFastInvDist, ComparesTheTableWithExactInversion)
{
    const CLens lens = MakeTsaiLens(2e-3, 1e-5);
    std::vector<double> out = {1, 2, 3, 4};
    lens.TestFastInvDist(1.0, 0.5, out);
    // Radii 0.5 to 3.0 mm fit below the 3.1 mm of the corner.
    ASSERT_EQ(out.size(), 18U);
    for (std::size_t i = 0; i < 6; ++i) {
        const double radius = 0.5 * static_cast<double>(i + 1);
        EXPECT_EQ(out[3 * i], radius);
        const double solved = static_cast<double>(ReferenceRadius({0, 2e-3, 0, 1e-5}, radius, 4.0L));
        EXPECT_NEAR(out[3 * i + 1], solved / radius, kBisection / radius);
        EXPECT_EQ(out[3 * i + 2], lens.LookupInverseDist(radius * radius));
    }
}

TEST(TestFastInvDist, WorksOnNormalisedRadiiInTheIcvModel)
{
    const CLens lens = MakeIcvLens(false);
    std::vector<double> out;
    lens.TestFastInvDist(1.0, 1.0, out);
    ASSERT_EQ(out.size(), 9U);
    const double normalised = 2.0 / 12.0;
    const double solved =
        static_cast<double>(ReferenceRadius({0, -0.15, 0, 0.1, 0, -0.02}, 2.0 / 12.0L, 1.0L));
    EXPECT_EQ(out[3], 2.0);
    EXPECT_NEAR(out[4], solved / normalised, kBisection / normalised);
    EXPECT_EQ(out[5], lens.LookupInverseDist(normalised * normalised));
}

TEST(TestFastInvDist, EndsAtTheFirstRadiusThatCannotBeInverted)
{
    const CLens lens = MakeTsaiLens(-0.05, 0.0); // r·(1 - 0.05·r²) turns at 2.58 mm, at a value of 1.72 mm
    std::vector<double> out;
    lens.TestFastInvDist(1.0, 0.5, out);
    EXPECT_EQ(out.size(), 9U);
}

TEST(TestFastInvDist, TakesABoundedNumberOfSamplesForAnyStep)
{
    const CLens lens = MakeTsaiLens(0.0, 0.0);
    std::vector<double> out = {1.0};
    for (const double step : {-0.5, kNaN, kInfinity, 100.0, 0.0}) {
        lens.TestFastInvDist(1.0, step, out);
        EXPECT_TRUE(out.empty()) << step;
    }
    lens.TestFastInvDist(1.0, 1e-5, out);
    EXPECT_EQ(out.size(), 3U * LxCIntrinsicParams::sc_iMaxTestSamples);
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
