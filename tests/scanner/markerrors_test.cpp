#include "scanner/calibration/markerrors.h"

#include "lxcpinholeframework.h"
#include "scanner/calibration/slideexperiment.h"
#include "scanner/device/random.h"
#include "scanner/device/slidemarks.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>
#include <vector>

namespace calibration {
namespace {

using LxCV::LxCCalibrationData;

constexpr double c_nan = std::numeric_limits<double>::quiet_NaN();

/// Pixels or slide units: rounding at positions of up to some 7000 units.
constexpr double c_rounding = 1e-9;

/// A target 33 mm before the camera, turned and tilted.
constexpr device::Placement c_pose{0.15, -0.1, 0.7, 0.4, -0.3, 33.0};

constexpr TargetBox c_wideBox{-100.0, -100.0, 100.0, 100.0};

device::DeviceParameters WithDarkMarks()
{
    device::DeviceParameters parameters;
    parameters.slide = device::SlideWithDarkMarks();
    return parameters;
}

class MarkErrors : public testing::Test
{
protected:
    /// What the camera images exactly of a point of the target.
    LxCCalibrationData SeenByCamera(const device::Vec3& point) const
    {
        const device::Vec2 image = m_device.ImageFromPoint(m_motion.Forward(point));
        return {point.x, point.y, point.z, image.x, image.y, 1.0};
    }

    /// The visible corners of the slide's marks in the target's plane, as records of the slide.
    std::vector<LxCCalibrationData> SlideRecords() const
    {
        const device::Vec3 origin = m_motion.Forward({});
        std::vector<LxCCalibrationData> records;
        for (const device::MarkCorner& corner :
             FindMarkCorners(m_device, {origin, m_motion.Forward({0.0, 0.0, 1.0}) - origin})) {
            if (corner.visible) {
                records.emplace_back(corner.slide.x, corner.slide.y, 0.0, corner.image.x, corner.image.y,
                                     1.0);
            }
        }
        return records;
    }

    device::VirtualDevice m_device{WithDarkMarks()};
    device::RigidMotion m_motion{c_pose};
    TargetView m_view{m_device, m_motion};
};

TEST(ErrorFigures, AreThoseOfAHandCalculation)
{
    // 3, 4, 8: mean 5; squares from it 4 + 1 + 9 = 14 over 2; squares 9 + 16 + 64 = 89 over 3
    const ErrorFigures figures = FiguresOf(std::vector<double>{3.0, 8.0, 4.0});
    EXPECT_EQ(figures.marks, 3U);
    EXPECT_EQ(figures.mean, 5.0);
    EXPECT_DOUBLE_EQ(figures.deviation, std::sqrt(7.0));
    EXPECT_DOUBLE_EQ(figures.rms, std::sqrt(89.0 / 3.0));
    EXPECT_EQ(figures.largest, 8.0);
}

TEST(ErrorFigures, OfOneMarkHaveNoDeviation)
{
    const ErrorFigures figures = FiguresOf(std::vector<double>{2.5});
    EXPECT_EQ(figures.marks, 1U);
    EXPECT_EQ(figures.mean, 2.5);
    EXPECT_EQ(figures.deviation, 0.0);
    EXPECT_EQ(figures.rms, 2.5);
    EXPECT_EQ(figures.largest, 2.5);
}

TEST(ErrorFigures, OfNoMarksAreZero)
{
    const ErrorFigures figures = FiguresOf({});
    EXPECT_EQ(figures.marks, 0U);
    EXPECT_EQ(DifferenceOf(figures, {}), 0.0);
}

TEST(ErrorFigures, ShowAnErrorThatIsNoNumber)
{
    const ErrorFigures figures = FiguresOf(std::vector<double>{1.0, c_nan, 2.0});
    EXPECT_TRUE(std::isnan(figures.mean));
    EXPECT_TRUE(std::isnan(figures.rms));
    EXPECT_TRUE(std::isnan(figures.deviation));
    EXPECT_TRUE(std::isnan(figures.largest));
}

TEST(ErrorFigures, DifferByTheirLargestDifference)
{
    const ErrorFigures a{4, 1.0, 2.0, 3.0, 4.0};
    EXPECT_EQ(DifferenceOf(a, {4, 1.5, 2.0, 2.25, 4.0}), 0.75);
    EXPECT_EQ(DifferenceOf(a, {5, 1.0, 2.0, 3.0, 4.0}), std::numeric_limits<double>::infinity());
    EXPECT_TRUE(std::isnan(DifferenceOf(a, {4, c_nan, 2.0, 3.0, 5.0})));
}

TEST_F(MarkErrors, OfTheCameraAreDistancesInTheImage)
{
    std::vector<LxCCalibrationData> records{SeenByCamera({1.0, 2.0, 0.0}), SeenByCamera({-3.0, 1.0, 0.5})};
    records[1].m_dXi += 3.0;
    records[1].m_dYi -= 4.0;
    const std::vector<double> errors = CameraErrors(m_view, records);
    ASSERT_EQ(errors.size(), 2U);
    EXPECT_NEAR(errors[0], 0.0, c_rounding);
    EXPECT_NEAR(errors[1], 5.0, c_rounding);
}

TEST_F(MarkErrors, OfTheProjectorAreDistancesOnTheSlide)
{
    std::vector<LxCCalibrationData> records = SlideRecords();
    ASSERT_GE(records.size(), 50U);
    records[7].m_dXw += 3.0;
    records[7].m_dYw -= 4.0;
    const std::vector<double> errors = ProjectorErrors(m_view, c_wideBox, records);
    ASSERT_EQ(errors.size(), records.size());
    for (std::size_t index = 0; index < errors.size(); ++index) {
        EXPECT_NEAR(errors[index], index == 7 ? 5.0 : 0.0, c_rounding) << index;
    }
}

TEST_F(MarkErrors, OfTheProjectorLeaveOutWhatIsBesideTheBox)
{
    const std::vector<LxCCalibrationData> records = SlideRecords();
    std::size_t inside = 0;
    for (const LxCCalibrationData& record : records) {
        // The plane's point under a pixel, by bisecting the ray's depth.
        const device::Ray ray = m_device.RayFromImage({record.m_dXi, record.m_dYi});
        double near = 10.0, far = 100.0;
        for (int step = 0; step < 60; ++step) {
            const double middle = 0.5 * (near + far);
            (m_motion.Backward(middle * ray.direction).z < 0.0 ? near : far) = middle;
        }
        const device::Vec3 point = m_motion.Backward(near * ray.direction);
        inside += point.x >= -2.0 && point.x <= 3.0 && point.y >= -4.0 && point.y <= 1.0 ? 1 : 0;
    }
    ASSERT_GT(inside, 5U);
    ASSERT_LT(inside, records.size());
    EXPECT_EQ(ProjectorErrors(m_view, {-2.0, -4.0, 3.0, 1.0}, records).size(), inside);
}

TEST_F(MarkErrors, OfTheCameraAgreeWithTheLibrary)
{
    const device::CounterRandom random(5);
    const auto model = MakeModel(m_device);
    LxCV::LxCPinholeCamera& camera = *model->GetCamera();
    ASSERT_TRUE(camera.ReadFromEulerAnglesAndVector(c_pose.rx, c_pose.ry, c_pose.rz, c_pose.tx, c_pose.ty,
                                                    c_pose.tz));
    std::vector<LxCCalibrationData> records;
    std::vector<LxCCalibrationData*> owned;
    for (std::uint64_t mark = 0; mark < 3000; ++mark) {
        const auto draw = [&](std::uint64_t which) { return 2.0 * random.Uniform(5 * mark + which) - 1.0; };
        LxCCalibrationData record = SeenByCamera({8.0 * draw(0), 6.0 * draw(1), draw(2)});
        record.m_dXi += draw(3);
        record.m_dYi += draw(4);
        records.push_back(record);
        owned.push_back(std::make_unique<LxCCalibrationData>(record).release());
    }
    camera.AddCalibData(&owned, true);
    const ErrorFigures own = FiguresOf(CameraErrors(m_view, records));
    EXPECT_GT(own.rms, 0.5);
    EXPECT_LE(DifferenceOf(own, LibraryFiguresOfLastView(camera, records.size())), c_rounding);
}

} // namespace
} // namespace calibration
