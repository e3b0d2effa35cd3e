#include "lenstestsupport.h"
#include "orx/logging/logger.h"
#include "sectiontext.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <functional>
#include <limits>
#include <thread>
#include <vector>

namespace LxCV {
namespace {

using namespace TestSupport;

constexpr wchar_t kChannel[] = L"ORX.Lumorad.LxCIntrinsicParams";
constexpr wchar_t kRebuilt[] = L"LxCIntrinsicParams::LookupInverseDist: recalculate inverse dist lut with "
                               L"c_dSafetyFactor = 2.0";
constexpr wchar_t kFailed[] = L"LxCIntrinsicParams::LookupInverseDist failed";

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

TEST(LxCIntrinsicParamsTable, ThatIsFinalIsWideAndStaysWhateverIsLookedUp)
{
    for (const double factor : {0.0, 1.1, 2.0, 3.0}) {
        const CLens lens = MakeTsaiLens(2e-3, 1e-5);
        if (factor > 0.0) {
            lens.ComputeInverseDistLUT(factor);
        }
        const CLens expected = MakeTsaiLens(2e-3, 1e-5);
        expected.ComputeInverseDistLUT(std::max(factor, 2.0));
        const Logging::CCapture log;
        lens.FinalizeInverseDistLUT();
        EXPECT_EQ(lens.GetInverseDistLUTLength(), expected.GetInverseDistLUTLength()) << factor;
        EXPECT_EQ(lens.LookupInverseDist(1e6), 1e6);
        EXPECT_EQ(lens.GetInverseDistLUTLength(), expected.GetInverseDistLUTLength()) << factor;
        EXPECT_EQ(log.Count(Logging::ELevel::eInfo, kChannel, kRebuilt), 0);
        EXPECT_EQ(log.Count(Logging::ELevel::eError, kChannel, kFailed), 1);
    }
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

TEST(LxCIntrinsicParamsTable, ReachesFromJustAboveMinusOneEntryToBelowItsLastEntry)
{
    CLens lens = MakeTsaiLens(2e-3, 1e-5);
    lens.ComputeInverseDistLUT(2.0);
    const int last = lens.GetInverseDistLUTLength() - 1;
    const double step = lens.LookupInverseDist(0.01) - 1.0;
    // Positions are truncated towards zero, so those between -1 and 0 belong to the first entry.
    EXPECT_DOUBLE_EQ(lens.LookupInverseDist(-0.005), 1.0 - 0.5 * step);
    EXPECT_NE(lens.LookupInverseDist(-0.00999), -0.00999);
    EXPECT_NE(lens.LookupInverseDist((last - 0.001) / 100.0), (last - 0.001) / 100.0);
    const Logging::CCapture log;
    EXPECT_EQ(lens.LookupInverseDist(-0.01), -0.01);
    EXPECT_EQ(log.Count(Logging::ELevel::eInfo, kChannel, kRebuilt), 1);
    // The last entry has no successor to interpolate with.
    EXPECT_EQ(lens.LookupInverseDist(last / 100.0 + 1e-9), last / 100.0 + 1e-9);
    EXPECT_EQ(log.Count(Logging::ELevel::eError, kChannel, kFailed), 2);
}

TEST(LxCIntrinsicParamsTable, ThatIsWideEnoughIsReadByManyThreadsAndStaysAsItIs)
{
    const Logging::CCapture log;
    CLens tsai = MakeTsaiLens(2e-3, 1e-5);
    CLens icv = MakeIcvLens(false);
    TestSupport::Load(tsai, "::P", "::P\n");
    TestSupport::Load(icv, "::P", "::P\n");
    const int length = tsai.GetInverseDistLUTLength();
    const std::vector<Point> pixels = Pixels();
    const auto map = [&tsai, &icv, &pixels](std::vector<double>& out) {
        for (const Point pixel : pixels) {
            const Point distorted = Distort(tsai, ToSensor(tsai, pixel));
            const Point undistorted = Undistort(icv, pixel);
            out.insert(out.end(), {distorted.x, distorted.y, undistorted.x, undistorted.y});
        }
    };
    std::vector<double> expected;
    map(expected);
    std::vector<std::vector<double>> found(4);
    std::vector<std::thread> threads;
    for (std::vector<double>& out : found) {
        threads.emplace_back(map, std::ref(out));
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (const std::vector<double>& out : found) {
        EXPECT_EQ(out, expected);
    }
    EXPECT_EQ(tsai.GetInverseDistLUTLength(), length);
    EXPECT_TRUE(log.GetRecords().empty());
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
    EXPECT_EQ(log.GetRecords().size(), 1U);
    // 331.4² + 249.2² = 171926.6
    EXPECT_EQ(log.Count(Logging::ELevel::eError, kChannel,
                        L"LxCIntrinsicParams::ComputeInverseDistLUT: squared radius 171927 is out of range"),
              1);
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

} // namespace
} // namespace LxCV
