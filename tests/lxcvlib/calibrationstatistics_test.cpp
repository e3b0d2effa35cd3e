// Tests of the statistics of cameras against their marks.
#include "cameratestsupport.h"
#include "lxcpinholecamera.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <random>
#include <vector>

namespace LxCV {
namespace {

struct SStatistics
{
    double mean = -7.0;
    double stddev = -7.0;
    double max = -7.0;
    double rms = -7.0;
    bool result = false;
};

using Operation = bool (LxCPinholeCamera::*)(double&, double&, double&, double&) const;

SStatistics Call(const LxCPinholeCamera& camera, Operation operation)
{
    SStatistics s;
    s.result = (camera.*operation)(s.mean, s.stddev, s.max, s.rms);
    return s;
}

void ExpectZeros(const SStatistics& s)
{
    EXPECT_FALSE(s.result);
    EXPECT_EQ(s.mean, 0.0);
    EXPECT_EQ(s.stddev, 0.0);
    EXPECT_EQ(s.max, 0.0);
    EXPECT_EQ(s.rms, 0.0);
}

void ExpectUntouched(const SStatistics& s)
{
    EXPECT_FALSE(s.result);
    EXPECT_EQ(s.mean, -7.0);
    EXPECT_EQ(s.stddev, -7.0);
    EXPECT_EQ(s.max, -7.0);
    EXPECT_EQ(s.rms, -7.0);
}

const std::vector<Operation> kLastView = {&LxCPinholeCamera::DistortedImagePlaneErrorStats,
                                          &LxCPinholeCamera::UndistortedImagePlaneErrorStats,
                                          &LxCPinholeCamera::ObjectSpaceErrorStats};
const std::vector<Operation> kAllViews = {&LxCPinholeCamera::DistortedImagePlaneErrorStatsMI,
                                          &LxCPinholeCamera::UndistortedImagePlaneErrorStatsMI,
                                          &LxCPinholeCamera::ObjectSpaceErrorStatsMI};

/// Marks at (0, 0, 1), seen at (e, 0) by the unit lens, so that e is their error in the image plane.
void AddErrors(LxCPinholeCamera& camera, const std::vector<double>& errors, bool newView = true)
{
    CalibMarks marks;
    for (const double e : errors) {
        marks.push_back(new LxCCalibrationData(0.0, 0.0, 1.0, e, 0.0, 1.0));
    }
    camera.AddCalibData(&marks, newView);
}

void MakeOrientations(LxCPinholeCamera& camera)
{
    camera.PerformCalib(LxCPinholeCamera::eCalibMethodTsai, false, nullptr, 0, 0, 0.0, 0, false, 0.0F, 0.0F,
                        nullptr);
}

TEST(CalibrationStatistics, ThreeErrorsByHand)
{
    // Errors 1, 2, 3: mean 2, variance (14 - 36/3)/2 = 1, maximum 3, rms sqrt(14/3).
    LxCPinholeCamera camera;
    SetUnitLens(camera);
    AddErrors(camera, {1.0, 3.0, 2.0});
    for (const Operation operation : {&LxCPinholeCamera::DistortedImagePlaneErrorStats,
                                      &LxCPinholeCamera::UndistortedImagePlaneErrorStats}) {
        const SStatistics s = Call(camera, operation);
        EXPECT_TRUE(s.result);
        EXPECT_DOUBLE_EQ(s.mean, 2.0);
        EXPECT_DOUBLE_EQ(s.stddev, 1.0);
        EXPECT_DOUBLE_EQ(s.max, 3.0);
        EXPECT_DOUBLE_EQ(s.rms, std::sqrt(14.0 / 3.0));
    }
}

TEST(CalibrationStatistics, ObjectSpaceErrorIsTheDistanceFromTheRay)
{
    // (0, 0, 1) from the line along (e, 0, 1): e / sqrt(1 + e^2); 3/5 for e = 3/4.
    LxCPinholeCamera camera;
    SetUnitLens(camera);
    AddErrors(camera, {0.75});
    const SStatistics s = Call(camera, &LxCPinholeCamera::ObjectSpaceErrorStats);
    EXPECT_TRUE(s.result);
    EXPECT_DOUBLE_EQ(s.mean, 0.6);
}

TEST(CalibrationStatistics, NormalizedErrorByHand)
{
    // With f, pitches and depth 1: e / sqrt((1 + 1)/12) = e sqrt 6. Errors 1 and 3: mean 2 sqrt 6 and
    // deviation sqrt 2 sqrt 6.
    LxCPinholeCamera camera;
    SetUnitLens(camera);
    AddErrors(camera, {1.0, 3.0});
    double mean = 0, stddev = 0;
    EXPECT_TRUE(camera.NormalizedCalibrationError(mean, stddev));
    EXPECT_DOUBLE_EQ(mean, 2.0 * std::sqrt(6.0));
    EXPECT_DOUBLE_EQ(stddev, std::sqrt(12.0));
}

TEST(CalibrationStatistics, OneMarkHasNoDeviation)
{
    LxCPinholeCamera camera;
    SetUnitLens(camera);
    AddErrors(camera, {0.5});
    MakeOrientations(camera);
    for (const auto& operations : {kLastView, kAllViews}) {
        for (const Operation operation : operations) {
            const SStatistics s = Call(camera, operation);
            EXPECT_TRUE(s.result);
            EXPECT_EQ(s.stddev, 0.0);
            EXPECT_GT(s.mean, 0.4);
            EXPECT_EQ(s.max, s.mean);
            EXPECT_DOUBLE_EQ(s.rms, s.mean);
        }
    }
    double mean = 0, stddev = -1;
    EXPECT_TRUE(camera.NormalizedCalibrationError(mean, stddev));
    EXPECT_EQ(stddev, 0.0);
}

TEST(CalibrationStatistics, EqualErrorsHaveNoDeviationWhateverTheRounding)
{
    for (int n = 2; n < 60; ++n) {
        LxCPinholeCamera camera;
        SetUnitLens(camera);
        AddErrors(camera, std::vector<double>(static_cast<std::size_t>(n), 0.1));
        const SStatistics s = Call(camera, &LxCPinholeCamera::DistortedImagePlaneErrorStats);
        // sqrt of a rounding error of n * 0.01 * 1e-16.
        EXPECT_LE(s.stddev, 1e-8) << n;
        EXPECT_GE(s.stddev, 0.0) << n;
    }
}

TEST(CalibrationStatistics, ZeroRecordsAreSkipped)
{
    LxCPinholeCamera camera;
    SetUnitLens(camera);
    AddErrors(camera, {2.0});
    CalibMarks zeros = {new LxCCalibrationData(), new LxCCalibrationData()};
    camera.AddCalibData(&zeros, false);
    const SStatistics s = Call(camera, &LxCPinholeCamera::DistortedImagePlaneErrorStats);
    EXPECT_TRUE(s.result);
    EXPECT_DOUBLE_EQ(s.mean, 2.0);
    EXPECT_EQ(s.stddev, 0.0);
}

TEST(CalibrationStatistics, NoMarksGiveFalseAndZeros)
{
    LxCPinholeCamera camera;
    SetUnitLens(camera);
    for (const Operation operation : kLastView) {
        ExpectZeros(Call(camera, operation));
    }
    MakeOrientations(camera);
    for (const Operation operation : kAllViews) {
        ExpectZeros(Call(camera, operation));
    }
    CalibMarks zeros = {new LxCCalibrationData()};
    camera.AddCalibData(&zeros, true);
    for (const Operation operation : kLastView) {
        ExpectZeros(Call(camera, operation));
    }
    double mean = -7, stddev = -7;
    EXPECT_FALSE(camera.NormalizedCalibrationError(mean, stddev));
    EXPECT_EQ(mean, 0.0);
    EXPECT_EQ(stddev, 0.0);
}

TEST(CalibrationStatistics, PlainFormsTakeTheLastView)
{
    LxCPinholeCamera camera;
    SetUnitLens(camera);
    AddErrors(camera, {5.0, 6.0});
    AddErrors(camera, {1.0});
    EXPECT_DOUBLE_EQ(Call(camera, &LxCPinholeCamera::DistortedImagePlaneErrorStats).mean, 1.0);
    AddErrors(camera, {});
    for (const Operation operation : kLastView) {
        ExpectZeros(Call(camera, operation));
    }
}

TEST(CalibrationStatistics, WithoutOrientationsAllViewsAreUntouched)
{
    LxCPinholeCamera camera;
    SetUnitLens(camera);
    AddErrors(camera, {1.0});
    for (const Operation operation : kAllViews) {
        ExpectUntouched(Call(camera, operation));
    }
}

TEST(CalibrationStatistics, ViewWithoutOrientationGivesFalseAndZeros)
{
    LxCPinholeCamera camera;
    SetUnitLens(camera);
    AddErrors(camera, {1.0});
    MakeOrientations(camera);
    AddErrors(camera, {2.0});
    for (const Operation operation : kAllViews) {
        ExpectZeros(Call(camera, operation));
    }
}

TEST(CalibrationStatistics, AllViewsUseTheirOrientations)
{
    // The orientation of the second view moves its mark by 0.25 in x, so its error of 1 becomes 0.75.
    LxCPinholeCamera camera;
    SetUnitLens(camera);
    camera.MakeTranslation(LxC3DCoordsCCT(100.0, 0.0, 0.0));
    AddErrors(camera, {2.0});
    AddErrors(camera, {1.0});
    MakeOrientations(camera);
    camera.GetTargetOrientation()[1].MakeTranslation(LxC3DCoordsCCT(0.25, 0.0, 0.0));
    const SStatistics s = Call(camera, &LxCPinholeCamera::DistortedImagePlaneErrorStatsMI);
    EXPECT_TRUE(s.result);
    EXPECT_DOUBLE_EQ(s.mean, 1.375);
    EXPECT_DOUBLE_EQ(s.max, 2.0);
}

TEST(CalibrationStatistics, ObjectSpaceIsReportedForTheMasterOnly)
{
    LxCPinholeCamera master, camera;
    SetUnitLens(camera);
    AddErrors(camera, {1.0});
    camera.SetMasterCam(&master);
    ExpectZeros(Call(camera, &LxCPinholeCamera::ObjectSpaceErrorStats));
    EXPECT_TRUE(Call(camera, &LxCPinholeCamera::DistortedImagePlaneErrorStats).result);
    camera.SetMasterCam(nullptr);
    EXPECT_TRUE(Call(camera, &LxCPinholeCamera::ObjectSpaceErrorStats).result);
}

TEST(CalibrationStatistics, SlaveTakesItsMarksInTheMastersFrame)
{
    // Only the camera's own placement leads to its frame, whatever its master's placement.
    LxCPinholeCamera master, camera;
    master.MakeTranslation(LxC3DCoordsCCT(50.0, 60.0, 70.0));
    SetUnitLens(camera);
    AddErrors(camera, {1.0});
    camera.SetMasterCam(&master);
    EXPECT_DOUBLE_EQ(Call(camera, &LxCPinholeCamera::DistortedImagePlaneErrorStats).mean, 1.0);
}

TEST(CalibrationStatistics, MarkInTheCameraPlaneIsSeenNowhere)
{
    LxCPinholeCamera camera;
    SetUnitLens(camera);
    CalibMarks marks = {new LxCCalibrationData(1.0, 1.0, 0.0, 1.0, 1.0, 1.0)};
    camera.AddCalibData(&marks, true);
    EXPECT_TRUE(std::isinf(Call(camera, &LxCPinholeCamera::DistortedImagePlaneErrorStats).mean));
    EXPECT_TRUE(std::isinf(Call(camera, &LxCPinholeCamera::UndistortedImagePlaneErrorStats).mean));
}

TEST(CalibrationStatistics, NotANumberShowsInEveryFigure)
{
    LxCPinholeCamera camera;
    SetUnitLens(camera);
    AddErrors(camera, {5.0, std::numeric_limits<double>::quiet_NaN(), 2.0});
    const SStatistics s = Call(camera, &LxCPinholeCamera::DistortedImagePlaneErrorStats);
    EXPECT_TRUE(std::isnan(s.mean));
    EXPECT_TRUE(std::isnan(s.stddev));
    EXPECT_TRUE(std::isnan(s.max));
    EXPECT_TRUE(std::isnan(s.rms));
}

TEST(CalibrationStatistics, MeasuredCamerasTableStaysAsItIs)
{
    LxCPinholeCamera camera;
    SetLens(camera, SLens());
    camera.GetIntrinsicParams()->SetUseTsai(true);
    camera.GetIntrinsicParams()->SetKappas(0.0, 1e-4, 0.0, 1e-6);
    CalibMarks marks = {new LxCCalibrationData(1.0, 2.0, 100.0, 360.0, 330.0, 1.0)};
    camera.AddCalibData(&marks, true);
    EXPECT_TRUE(Call(camera, &LxCPinholeCamera::DistortedImagePlaneErrorStats).result);
    EXPECT_FALSE(camera.GetIntrinsicParams()->HasInverseDistLUT());
}

/// Independent evaluation: all sums in long double, deviations from the mean in a second pass.
SStatistics Evaluate(const std::vector<long double>& errors)
{
    const long double n = static_cast<long double>(errors.size());
    long double sum = 0, sumSq = 0, deviations = 0;
    for (const long double e : errors) {
        sum += e;
        sumSq += e * e;
    }
    for (const long double e : errors) {
        deviations += (e - sum / n) * (e - sum / n);
    }
    SStatistics s;
    s.mean = static_cast<double>(sum / n);
    s.stddev = errors.size() > 1 ? static_cast<double>(std::sqrt(deviations / (n - 1))) : 0.0;
    s.max = static_cast<double>(*std::max_element(errors.begin(), errors.end()));
    s.rms = static_cast<double>(std::sqrt(sumSq / n));
    s.result = true;
    return s;
}

using ErrorOf = std::function<long double(const std::array<long double, 3>&, const LxCCalibrationData&)>;

ErrorOf DistortedError(const SLens& lens)
{
    return [lens](const std::array<long double, 3>& p, const LxCCalibrationData& mark) {
        const auto pixel = lens.Project(p);
        return std::hypot(pixel[0] - mark.m_dXi, pixel[1] - mark.m_dYi);
    };
}

ErrorOf UndistortedError(const SLens& lens)
{
    return [lens](const std::array<long double, 3>& p, const LxCCalibrationData& mark) {
        const auto n = lens.Undistort(mark.m_dXi, mark.m_dYi);
        return std::hypot((p[0] / p[2] - n[0]) * lens.f / lens.dx, (p[1] / p[2] - n[1]) * lens.f / lens.dy);
    };
}

/// The length of the vector product of the point and the ray's unit direction.
ErrorOf RayError(const SLens& lens)
{
    return [lens](const std::array<long double, 3>& p, const LxCCalibrationData& mark) {
        const auto n = lens.Undistort(mark.m_dXi, mark.m_dYi);
        const long double cx = p[1] - p[2] * n[1], cy = p[2] * n[0] - p[0], cz = p[0] * n[1] - p[1] * n[0];
        return std::sqrt((cx * cx + cy * cy + cz * cz) / (n[0] * n[0] + n[1] * n[1] + 1));
    };
}

ErrorOf NormalizedErrorOf(const SLens& lens)
{
    return [lens](const std::array<long double, 3>& p, const LxCCalibrationData& mark) {
        const auto n = lens.Undistort(mark.m_dXi, mark.m_dYi);
        const long double miss = std::hypot(n[0] * p[2] - p[0], n[1] * p[2] - p[1]);
        const long double pixel = std::hypot(p[2] * lens.dx / lens.f, p[2] * lens.dy / lens.f);
        return miss * std::sqrt(12.0L) / pixel;
    };
}

void ExpectNear(const SStatistics& s, const SStatistics& expected, int round)
{
    // Errors of some pixels from coordinates of some hundred: 1e-13 each; the variance loses some digits more.
    constexpr double kTolerance = 1e-9;
    EXPECT_TRUE(s.result) << round;
    EXPECT_NEAR(s.mean, expected.mean, kTolerance) << round;
    EXPECT_NEAR(s.stddev, expected.stddev, kTolerance) << round;
    EXPECT_NEAR(s.max, expected.max, kTolerance) << round;
    EXPECT_NEAR(s.rms, expected.rms, kTolerance) << round;
}

TEST(CalibrationStatistics, AgreeWithAnIndependentEvaluation)
{
    std::mt19937 random(50);
    std::normal_distribution<double> noise(0.0, 0.7); // pixels
    const SLens lens;
    const std::vector<ErrorOf> errorsOf = {DistortedError(lens), UndistortedError(lens), RayError(lens)};
    for (int round = 0; round < 60; ++round) {
        LxCPinholeCamera camera;
        SetLens(camera, lens);
        const int views = 1 + round % 4;
        std::vector<std::array<double, 6>> poses;
        std::vector<std::vector<long double>> all(3);
        std::vector<std::vector<long double>> last(4);
        for (int view = 0; view < views; ++view) {
            poses.push_back(RandomPose(random));
            const SPose pose = MakePose(poses.back());
            CalibMarks marks;
            const int count = round == 0 ? 1 : 30 + view;
            for (int i = 0; i < count; ++i) {
                const LxC3DCoordsCCT p = RandomPoint(random);
                const auto inCamera = pose.Apply(p.x, p.y, p.z);
                const auto pixel = lens.Project(inCamera);
                marks.push_back(new LxCCalibrationData(&p, static_cast<double>(pixel[0]) + noise(random),
                                                       static_cast<double>(pixel[1]) + noise(random), 1.0));
                for (std::size_t k = 0; k < 3; ++k) {
                    all[k].push_back(errorsOf[k](inCamera, *marks.back()));
                    if (view == views - 1) {
                        last[k].push_back(all[k].back());
                    }
                }
                if (view == views - 1) {
                    last[3].push_back(NormalizedErrorOf(lens)(inCamera, *marks.back()));
                }
            }
            camera.AddCalibData(&marks, true);
        }
        const auto place = [](LxCCoordSysTrans& trafo, const std::array<double, 6>& six) {
            trafo.ReadFromEulerAnglesAndVector(six[0], six[1], six[2], six[3], six[4], six[5]);
        };
        place(camera, poses.back());
        MakeOrientations(camera);
        for (std::size_t view = 0; view < poses.size(); ++view) {
            place(camera.GetTargetOrientation()[view], poses[view]);
        }
        for (std::size_t k = 0; k < 3; ++k) {
            ExpectNear(Call(camera, kLastView[k]), Evaluate(last[k]), round);
            ExpectNear(Call(camera, kAllViews[k]), Evaluate(all[k]), round);
        }
        double mean = 0, stddev = 0;
        EXPECT_TRUE(camera.NormalizedCalibrationError(mean, stddev));
        EXPECT_NEAR(mean, Evaluate(last[3]).mean, 1e-9) << round;
        EXPECT_NEAR(stddev, Evaluate(last[3]).stddev, 1e-9) << round;
    }
}

} // namespace
} // namespace LxCV
