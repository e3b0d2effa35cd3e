// Two calibrations of the virtual device, compared.
#include "lxccalibcheckercct.h"

#include "scanner/device/virtualdevice.h"
#include "tests/scanner/testmodel.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <limits>
#include <memory>
#include <vector>

namespace {

constexpr float kDepth = 33.0F; ///< mm, middle of the working range
constexpr double kOnePercent = 1.01;

/// Lengths of some ten mm carry errors of about 1e-12 mm, and so does the ratio for each mm.
constexpr double kRatioTolerance = 1e-9;

class Checker : public LxCV::LxCCalibCheckerCCT
{
public:
    using LxCCalibCheckerCCT::ComputeDistanceRatio;
    using LxCCalibCheckerCCT::GetValuesAfter;
    using LxCCalibCheckerCCT::GetValuesBefore;
    using LxCCalibCheckerCCT::LxCCalibCheckerCCT;
};

/// The device with all its lengths in space times a factor; lenses and slide see the same directions.
device::VirtualDevice ScaledDevice(double factor)
{
    device::DeviceParameters parameters;
    for (double* length : {&parameters.projectorFromCamera.tx, &parameters.projectorFromCamera.ty,
                           &parameters.projectorFromCamera.tz, &parameters.minDepth, &parameters.maxDepth}) {
        *length *= factor;
    }
    return device::VirtualDevice(parameters);
}

/// A checker that has seen the device before and after.
struct Comparison
{
    Comparison(const device::VirtualDevice& before, const device::VirtualDevice& after)
        : framework(scannertest::LoadModel(before)), checker(framework.get(), kDepth)
    {
        checker.ComputeComparativeValuesBeforeCalibration();
        scannertest::LoadInto(*framework, after);
        checker.ComputeComparativeValuesAfterCalibration();
    }
    std::unique_ptr<LxCV::LxCPinholeFramework> framework;
    Checker checker;
};

TEST(CalibrationComparison, TheSameCalibrationGivesExactlyOne)
{
    const Comparison same(ScaledDevice(1.0), ScaledDevice(1.0));
    ASSERT_TRUE(same.checker.IsComparativeValuesComputed());
    EXPECT_EQ(same.checker.GetDistanceRatio(), 1.0);
    for (const double distance : same.checker.GetValuesBefore().m_vdDistances) {
        EXPECT_GT(distance, 0.1) << "mm: a length that tells something";
    }
}

TEST(CalibrationComparison, OnePercentOfScaleGivesOnePointZeroOneWhateverThreePairsDo)
{
    const Comparison scaled(ScaledDevice(1.0), ScaledDevice(kOnePercent));
    EXPECT_NEAR(scaled.checker.GetDistanceRatio(), kOnePercent, kRatioTolerance);
    const std::vector<double>& before = scaled.checker.GetValuesBefore().m_vdDistances;
    const std::vector<double>& after = scaled.checker.GetValuesAfter().m_vdDistances;
    ASSERT_EQ(after.size(), 24U);
    for (const double odd : {0.0, 1e6, std::numeric_limits<double>::quiet_NaN()}) {
        for (std::size_t a = 0; a < after.size(); ++a) {
            for (std::size_t b = a + 1; b < after.size(); ++b) {
                for (std::size_t c = b + 1; c < after.size(); ++c) {
                    std::vector<double> disturbed = after;
                    disturbed[a] = disturbed[b] = disturbed[c] = odd;
                    ASSERT_NEAR(Checker::ComputeDistanceRatio(before, disturbed), kOnePercent,
                                kRatioTolerance)
                        << "pairs " << a + 1 << ", " << b + 1 << ", " << c + 1 << " at " << odd;
                }
            }
        }
    }
}

TEST(CalibrationComparison, AnotherFocalLengthIsTold)
{
    device::DeviceParameters parameters;
    parameters.camera.focalLength *= kOnePercent;
    const Comparison changed(ScaledDevice(1.0), device::VirtualDevice(parameters));
    EXPECT_GT(changed.checker.GetDistanceRatio(), 1.001);
    EXPECT_TRUE(std::isfinite(changed.checker.GetDistanceRatio()));
}

} // namespace
